// What the benchmarks and the tour share: the same deterministic data for
// every library compared, and the peer libraries opened by path.
#pragma once

#include <dlfcn.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace orb::bench {

// Values in [-1, 1) from a small linear congruential generator: the same
// data on every machine and in every program that asks with the same seed.
inline void fill_random(double* p, std::size_t n, unsigned seed) {
  unsigned long long s = 0x9E3779B97F4A7C15ull ^ seed;
  for (std::size_t i = 0; i < n; ++i) {
    s = s * 6364136223846793005ull + 1442695040888963407ull;
    p[i] = double(s >> 11) * 0x1.0p-53 * 2.0 - 1.0;
  }
}
inline std::vector<double> random_doubles(std::size_t n, unsigned seed) {
  std::vector<double> v(n);
  fill_random(v.data(), n, seed);
  return v;
}

// A peer library, reached by path so that the alternatives system cannot
// swap in another BLAS (or orb itself). When it cannot be opened, says so
// with what the program does instead, and answers null.
inline void* open_peer_library(const char* program, const std::string& path, const std::string& otherwise) {
  void* h = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!h) std::fprintf(stderr, "%s: cannot open %s (%s); %s\n", program, path.c_str(), dlerror(), otherwise.c_str());
  return h;
}

// f := the peer's symbol `name` (null where it lacks it).
template <class F>
void peer_symbol(void* library, F& f, const char* name) {
  f = reinterpret_cast<F>(dlsym(library, name));
}

}  // namespace orb::bench
