// What the benchmarks and the tour share: the same deterministic data for
// every library compared, and the peer libraries opened by path.
#pragma once

#include <unistd.h>

#include <dlfcn.h>
#include <immintrin.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "orb/orb_service.h"

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

// The processor's model name as the kernel reports it ("" where unknown),
// for the head of every table.
inline std::string cpu_model() {
  std::FILE* f = std::fopen("/proc/cpuinfo", "r");
  if (!f) return "";
  char line[512];
  std::string name;
  while (std::fgets(line, sizeof line, f)) {
    if (std::strncmp(line, "model name", 10) != 0) continue;
    const char* v = std::strchr(line, ':');
    if (v) name = v + 1;
    break;
  }
  std::fclose(f);
  const auto b = name.find_first_not_of(" \t"), e = name.find_last_not_of(" \t\n");
  return b == std::string::npos ? "" : name.substr(b, e - b + 1);
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

// ---- Peak: independent fused multiply-add chains at the vector width of
// each kernel build, twelve of them in named registers (an array may go
// through memory): twelve cover the latency (4 cycles) times the ports (2)
// of the processors here. The portable build has no fused multiply-add
// instruction of its own and rounds each lane through std::fma, as the
// portable loop here does.
#define ORB_FMA12(V, E, FMA, SET, STORE, LANES)                                           \
  V c0 = SET(1.0), c1 = SET(1.001), c2 = SET(1.002), c3 = SET(1.003), c4 = SET(1.004);   \
  V c5 = SET(1.005), c6 = SET(1.006), c7 = SET(1.007), c8 = SET(1.008), c9 = SET(1.009); \
  V c10 = SET(1.01), c11 = SET(1.011);                                                    \
  const V a = SET(0.999999), b = SET(1e-7);                                               \
  for (long it = 0; it < iters; ++it) {                                                   \
    c0 = FMA(c0, a, b), c1 = FMA(c1, a, b), c2 = FMA(c2, a, b), c3 = FMA(c3, a, b);       \
    c4 = FMA(c4, a, b), c5 = FMA(c5, a, b), c6 = FMA(c6, a, b), c7 = FMA(c7, a, b);       \
    c8 = FMA(c8, a, b), c9 = FMA(c9, a, b), c10 = FMA(c10, a, b), c11 = FMA(c11, a, b);   \
  }                                                                                       \
  E t[LANES];                                                                             \
  double s = 0;                                                                           \
  for (V v : {c0, c1, c2, c3, c4, c5, c6, c7, c8, c9, c10, c11}) {                        \
    STORE(t, v);                                                                          \
    for (E x : t) s += double(x);                                                         \
  }                                                                                       \
  return s;
__attribute__((target("avx512f"))) inline double fma_loop_avx512(long iters) {
  ORB_FMA12(__m512d, double, _mm512_fmadd_pd, _mm512_set1_pd, _mm512_storeu_pd, 8)
}
__attribute__((target("avx512f"))) inline double fma_loop_avx512_single(long iters) {
  ORB_FMA12(__m512, float, _mm512_fmadd_ps, _mm512_set1_ps, _mm512_storeu_ps, 16)
}
__attribute__((target("avx2,fma"))) inline double fma_loop_avx2(long iters) {
  ORB_FMA12(__m256d, double, _mm256_fmadd_pd, _mm256_set1_pd, _mm256_storeu_pd, 4)
}
__attribute__((target("avx2,fma"))) inline double fma_loop_avx2_single(long iters) {
  ORB_FMA12(__m256, float, _mm256_fmadd_ps, _mm256_set1_ps, _mm256_storeu_ps, 8)
}
// The portable build's vector operation: a 16-byte vector, each lane
// through std::fma.
inline __m128d fma_lanes(__m128d a, __m128d b, __m128d c) {
  double x[2], y[2], z[2];
  _mm_storeu_pd(x, a), _mm_storeu_pd(y, b), _mm_storeu_pd(z, c);
  return _mm_setr_pd(std::fma(x[0], y[0], z[0]), std::fma(x[1], y[1], z[1]));
}
inline __m128 fma_lanes(__m128 a, __m128 b, __m128 c) {
  float x[4], y[4], z[4];
  _mm_storeu_ps(x, a), _mm_storeu_ps(y, b), _mm_storeu_ps(z, c);
  return _mm_setr_ps(std::fma(x[0], y[0], z[0]), std::fma(x[1], y[1], z[1]), std::fma(x[2], y[2], z[2]),
                     std::fma(x[3], y[3], z[3]));
}
inline __m128d set1_pd(double v) { return _mm_set1_pd(v); }
inline __m128 set1_ps(double v) { return _mm_set1_ps(float(v)); }
inline double fma_loop_def(long iters) { ORB_FMA12(__m128d, double, fma_lanes, set1_pd, _mm_storeu_pd, 2) }
inline double fma_loop_def_single(long iters) { ORB_FMA12(__m128, float, fma_lanes, set1_ps, _mm_storeu_ps, 4) }
#undef ORB_FMA12

inline volatile double g_sink;

// The kernel builds, by the name of their library.
enum class build { def, avx2, avx512 };
inline const char* build_name(build b) { return b == build::avx512 ? "avx512" : b == build::avx2 ? "avx2" : "def"; }
// The build orb runs here (ORB_ISA may have asked for a narrower one).
inline build build_in_use() {
  const std::string lib = orb_kernel_library();
  return lib.find("avx512") != std::string::npos ? build::avx512
         : lib.find("avx2") != std::string::npos ? build::avx2
                                                  : build::def;
}
// Whether this processor runs a build's instructions.
inline bool build_runs(build b) {
  const int level = orb_serv_cpu_detect();
  return b == build::def || (b == build::avx2 && level >= 7) || (b == build::avx512 && level >= 8);
}

// One core's peak of a build in GFLOPS, double or single precision: 0 where
// the processor lacks the build's instructions.
inline double measure_peak(build b, bool single) {
  if (!build_runs(b)) return 0;
  const int lanes = (b == build::avx512 ? 8 : b == build::avx2 ? 4 : 2) * (single ? 2 : 1);
  double (*loop)(long) = b == build::avx512 ? (single ? fma_loop_avx512_single : fma_loop_avx512)
                         : b == build::avx2 ? (single ? fma_loop_avx2_single : fma_loop_avx2)
                                            : (single ? fma_loop_def_single : fma_loop_def);
  // Many short runs, keeping the fastest: on a shared machine some run
  // gets the core to itself.
  const long iters = b == build::def ? 10000 : 200000;
  double best = 1e300;
  for (int r = 0; r < 60; ++r) {
    const auto t0 = std::chrono::steady_clock::now();
    g_sink = loop(iters);
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
  }
  return 2.0 * lanes * 12 * double(iters) / best * 1e-9;
}

// Double-precision peak of one core in GFLOPS for the build in use.
inline double measure_peak() { return measure_peak(build_in_use(), false); }

// Threaded libraries take turns in the benchmarks. Threads that spin after
// their call would steal the cores from the next library, so the OpenMP
// runtime is asked to let waiting threads sleep, and so is OpenBLAS's own
// pool (whose workers otherwise spin some 0.1 s after each call: long
// enough to hold a core through the whole next batch of another library,
// which then runs two threads on one core). Both read the setting at load,
// hence the fresh start of the program with it; call first thing in main.
inline void restart_with_sleeping_peers(char** argv) {
  if (std::getenv("OMP_WAIT_POLICY")) return;
  setenv("OMP_WAIT_POLICY", "passive", 1);
  setenv("OPENBLAS_THREAD_TIMEOUT", "4", 0);
  execv("/proc/self/exe", argv);
}

// Best seconds per call of each function, in alternating batches, so that
// the peers see the same state of the machine (the first sets the batch
// length; a null function is skipped and keeps 1e300).
inline std::vector<double> race(const std::vector<std::function<void()>>& fs, double min_time) {
  std::vector<double> best(fs.size(), 1e300);
  for (auto& f : fs)
    if (f) f();
  long reps = 1;
  double spent = 0;
  while (spent < min_time * double(fs.size())) {
    for (std::size_t i = 0; i < fs.size(); ++i) {
      if (!fs[i]) continue;
      const auto t0 = std::chrono::steady_clock::now();
      for (long r = 0; r < reps; ++r) fs[i]();
      const double dt = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
      spent += dt;
      if (dt / double(reps) < best[i]) best[i] = dt / double(reps);
      if (i == 0 && dt < 0.002) reps *= 2;
    }
  }
  return best;
}

}  // namespace orb::bench
