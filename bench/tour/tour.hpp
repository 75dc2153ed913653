// The tour: a short walk through what orb can do on this machine. Each
// subsystem has one file here that registers a section with a static
// registrar; main.cpp runs every registered section in order. A new
// subsystem adds its own file and needs no change anywhere else.
#pragma once

#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/common.hpp"

namespace orb::tour {

using bench::random_doubles;

// One line of results: what ran, whether its numbers were right, how fast.
struct outcome {
  int checks = 0;
  int failures = 0;
};

struct section {
  const char* name;     // short word, used on the command line to pick sections
  int order;            // sections run in increasing order
  void (*run)(outcome&);
};

std::vector<section>& sections();

struct registrar {
  registrar(const char* name, int order, void (*run)(outcome&)) {
    sections().push_back({name, order, run});
  }
};

// Best time of one call in seconds: the call repeats in batches until at
// least `min_seconds` have gone by, and the fastest batch average is kept.
template <class F>
double best_seconds(F&& f, double min_seconds = 0.05) {
  using clock = std::chrono::steady_clock;
  f();  // warm caches, page in, load the kernel library
  double best = 1e300;
  long reps = 1;
  double total = 0;
  while (total < min_seconds) {
    const auto t0 = clock::now();
    for (long r = 0; r < reps; ++r) f();
    const double dt = std::chrono::duration<double>(clock::now() - t0).count();
    total += dt;
    if (dt / double(reps) < best) best = dt / double(reps);
    if (dt < 0.005) reps *= 2;
  }
  return best;
}

// Prints one result line and counts it.
inline void report(outcome& o, const char* routine, const std::string& result, bool ok, double rate,
                   const char* unit) {
  ++o.checks;
  if (!ok) ++o.failures;
  std::printf("  %-8s %-56s %s", routine, result.c_str(), ok ? "ok  " : "FAIL");
  if (rate > 0)
    std::printf(" %8.2f %s\n", rate, unit);
  else
    std::printf("\n");
}

// printf into a string, for the result column.
inline std::string fmt(const char* f, double a, double b = 0, double c = 0, double d = 0) {
  char buf[160];
  std::snprintf(buf, sizeof buf, f, a, b, c, d);
  return buf;
}

inline double gbs(double bytes, double seconds) { return bytes / seconds * 1e-9; }

// Relative closeness with a floor, for comparing with plain loops whose order
// of accumulation differs from the kernel's.
inline bool close(double got, double want, double tol) {
  if (std::isnan(got) || std::isnan(want)) return std::isnan(got) && std::isnan(want);
  return std::fabs(got - want) <= tol * std::fmax(1.0, std::fabs(want));
}

}  // namespace orb::tour
