// Level-3 BLAS beyond GEMM: orb side by side with OpenBLAS in one process,
// on 1 and 2 threads: TRSM, TRMM, SYRK, SYR2K, SYMM, GEMMT in double, their
// Hermitian and triangular complex forms in double complex, and ZGEMM3M.
//
// Both libraries are reached through their Fortran names (orb's from the
// core this program links, OpenBLAS's opened by path), so every call goes
// through the public checks and the thread decision a user's call takes.
// Each case first runs both once on the same data and compares the results
// (relative to the size of the terms); an orb result that disagrees is
// marked WRONG. Then batches alternate until each library has run for the
// minimum time; the best batch of each is kept. Speeds are GFLOPS of the
// routine's nominal count (TRSM and TRMM m^2 n, SYRK n^2 k, SYR2K 2 n^2 k,
// SYMM 2 m^2 n, GEMMT n^2 k, complex four times that; ZGEMM3M as ZGEMM,
// 8 m n k), with the fraction of the measured peak of the cores used.
//
//   level3_bench [--sizes 100,500,...] [--threads 1,2] [--routines dtrsm,...]
//                [--min-time S] [--csv FILE] [--openblas PATH]
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/common.hpp"
#include "orb/orb_service.h"

#ifndef ORB_BENCH_OPENBLAS
#define ORB_BENCH_OPENBLAS "/usr/lib/x86_64-linux-gnu/openblas-pthread/libopenblas.so.0"
#endif

namespace {

using clock_type = std::chrono::steady_clock;
using V = void*;
using CV = const void*;
using CC = const char*;
using CI = const int*;

// The Fortran argument lists, complex scalars and arrays as void*.
using trxm_fn = void (*)(CC, CC, CC, CC, CI, CI, CV, CV, CI, V, CI);                   // side uplo trans diag
using syrk_fn = void (*)(CC, CC, CI, CI, CV, CV, CI, CV, V, CI);                        // uplo trans
using syr2k_fn = void (*)(CC, CC, CI, CI, CV, CV, CI, CV, CI, CV, V, CI);               // uplo trans
using symm_fn = void (*)(CC, CC, CI, CI, CV, CV, CI, CV, CI, CV, V, CI);                // side uplo
using gemmt_fn = void (*)(CC, CC, CC, CI, CI, CV, CV, CI, CV, CI, CV, V, CI);           // uplo transa transb
using gemm_fn = void (*)(CC, CC, CI, CI, CI, CV, CV, CI, CV, CI, CV, V, CI);            // transa transb

enum kind { TRSM, TRMM, SYRK, SYR2K, SYMM, GEMMT, GEMM };

struct routine {
  const char* name;  // the Fortran name without the underscore
  kind k;
  bool complex;
  double flops_factor;  // times the nominal real count
};

const routine kRoutines[] = {
    {"dtrsm", TRSM, false, 1},  {"dtrmm", TRMM, false, 1},   {"dsyrk", SYRK, false, 1},
    {"dsyr2k", SYR2K, false, 1}, {"dsymm", SYMM, false, 1},  {"dgemmt", GEMMT, false, 1},
    {"ztrsm", TRSM, true, 4},   {"ztrmm", TRMM, true, 4},    {"zherk", SYRK, true, 4},
    {"zher2k", SYR2K, true, 4}, {"zhemm", SYMM, true, 4},    {"zgemm3m", GEMM, true, 4},
};

double nominal_flops(const routine& r, double n) {
  switch (r.k) {
    case TRSM: case TRMM: case SYRK: case GEMMT: return r.flops_factor * n * n * n;
    case SYR2K: case SYMM: case GEMM: return 2 * r.flops_factor * n * n * n;
  }
  return 0;
}

struct library {
  const char* name;
  void* handle;
  void (*set_threads)(int);
  void* fn(const routine& r) const { return dlsym(handle, (std::string(r.name) + "_").c_str()); }
};

void orb_set(int n) { orb_set_num_threads(n); }

// One square problem: A (a triangle with a unit-sized diagonal and small
// off-diagonal terms, so repeated solves and products stay in range), B, C.
struct problem {
  int n;
  std::vector<double> a, b, c, b0, c0;
  problem(int order, bool complex) : n(order) {
    const std::size_t w = complex ? 2 : 1, nn = std::size_t(n) * n;
    a = orb::bench::random_doubles(w * nn, 1);
    for (double& x : a) x *= 0.1 / n;
    for (int j = 0; j < n; ++j) a[w * (std::size_t(j) * n + j)] = 1.0;  // real diagonal (HEMM, HERK read it so)
    b0 = orb::bench::random_doubles(w * nn, 2);
    c0 = orb::bench::random_doubles(w * nn, 3);
    reset();
  }
  void reset() { b = b0, c = c0; }
};

// One call of the routine on the problem; the result is in p.b (TRSM,
// TRMM) or p.c.
void call(const routine& r, void* f, problem& p) {
  const int n = p.n;
  const double one[2] = {1, 0}, half[2] = {0.5, 0};
  const double* al = one;
  const double* be = half;
  switch (r.k) {
    case TRSM: case TRMM:
      reinterpret_cast<trxm_fn>(f)("L", "L", "N", "N", &n, &n, al, p.a.data(), &n, p.b.data(), &n);
      break;
    case SYRK:  // zherk takes real scalars: the first double of each pair
      reinterpret_cast<syrk_fn>(f)("U", "N", &n, &n, al, p.a.data(), &n, be, p.c.data(), &n);
      break;
    case SYR2K:  // zher2k: complex alpha, real beta
      reinterpret_cast<syr2k_fn>(f)("U", "N", &n, &n, al, p.a.data(), &n, p.b.data(), &n, be, p.c.data(), &n);
      break;
    case SYMM:
      reinterpret_cast<symm_fn>(f)("L", "U", &n, &n, al, p.a.data(), &n, p.b.data(), &n, be, p.c.data(), &n);
      break;
    case GEMMT:
      reinterpret_cast<gemmt_fn>(f)("U", "N", "T", &n, &n, al, p.a.data(), &n, p.b.data(), &n, be, p.c.data(), &n);
      break;
    case GEMM:
      reinterpret_cast<gemm_fn>(f)("N", "N", &n, &n, &n, al, p.a.data(), &n, p.b.data(), &n, be, p.c.data(), &n);
      break;
  }
}

const std::vector<double>& result(const routine& r, problem& p) { return (r.k == TRSM || r.k == TRMM) ? p.b : p.c; }

double difference(const std::vector<double>& x, const std::vector<double>& y, int n) {
  double worst = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (!std::isfinite(x[i])) return 1e300;
    worst = std::max(worst, std::fabs(x[i] - y[i]) / (n + 1.0));
  }
  return worst;
}

std::vector<int> int_list(const std::string& s) {
  std::vector<int> v;
  for (std::size_t i = 0; i < s.size();) {
    v.push_back(std::atoi(s.c_str() + i));
    const std::size_t c = s.find(',', i);
    if (c == std::string::npos) break;
    i = c + 1;
  }
  return v;
}

}  // namespace

int main(int argc, char** argv) {
  double min_time = 0.3;
  std::vector<int> sizes = {100, 250, 500, 1000, 2000}, threads = {1, 2};
  std::string csv = "level3_bench.csv", only, openblas = ORB_BENCH_OPENBLAS;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto next = [&]() -> std::string {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "level3_bench: %s needs a value\n", a.c_str());
        std::exit(2);
      }
      return argv[++i];
    };
    if (a == "--sizes") sizes = int_list(next());
    else if (a == "--threads") threads = int_list(next());
    else if (a == "--routines") only = "," + next() + ",";
    else if (a == "--min-time") min_time = std::atof(next().c_str());
    else if (a == "--csv") csv = next();
    else if (a == "--openblas") openblas = next();
    else {
      std::fprintf(stderr, "usage: level3_bench [--sizes N,...] [--threads 1,2] [--routines dtrsm,...] "
                           "[--min-time S] [--csv FILE] [--openblas PATH]\n");
      return 2;
    }
  }

  std::vector<library> libs = {{"orb", RTLD_DEFAULT, &orb_set}};
  if (void* h = orb::bench::open_peer_library("level3_bench", openblas, "measuring orb alone")) {
    library ob{"OpenBLAS", h, nullptr};
    orb::bench::peer_symbol(h, ob.set_threads, "openblas_set_num_threads");
    libs.push_back(ob);
  }
  const double peak1 = orb::bench::measure_peak();
  std::printf("level-3 BLAS: orb (%s) against %s\n", orb_kernel_library(), openblas.c_str());
  std::printf("processor: %s; measured peak %.1f GFLOPS double per core\n", orb::bench::cpu_model().c_str(), peak1);
  std::FILE* out = std::fopen(csv.c_str(), "w");
  if (!out) {
    std::fprintf(stderr, "level3_bench: cannot write %s\n", csv.c_str());
    return 2;
  }
  std::fprintf(out, "routine,threads,n,orb_gflops,openblas_gflops,ratio,orb_peak_fraction,orb_agrees\n");

  for (const routine& r : kRoutines) {
    if (!only.empty() && only.find("," + std::string(r.name) + ",") == std::string::npos) continue;
    void* f[2] = {libs[0].fn(r), libs.size() > 1 ? libs[1].fn(r) : nullptr};
    if (!f[0]) {
      std::printf("\n%s: orb lacks it\n", r.name);
      continue;
    }
    const int nlib = f[1] ? 2 : 1;
    std::printf("\n%-8s %3s %5s %10s %10s %7s %6s\n", r.name, "thr", "n", "orb GFLOPS", "OpenBLAS", "ratio", "peak");
    for (const int t : threads) {
      for (const int n : sizes) {
        for (const library& L : libs)
          if (L.set_threads) L.set_threads(t);
        problem p(n, r.complex);
        call(r, f[0], p);
        const std::vector<double> mine = result(r, p);
        bool ok = true;
        if (nlib == 2) {
          p.reset();
          call(r, f[1], p);
          ok = difference(mine, result(r, p), n) <= 1e-12;
        }
        const double flops = nominal_flops(r, n);
        const long reps = std::max(1L, long(2e8 / flops));
        double best[2] = {1e300, 1e300}, spent[2] = {0, 0};
        for (int round = 0; round < 1000 && (spent[0] < min_time || (nlib == 2 && spent[1] < min_time)); ++round) {
          for (int w = 0; w < nlib; ++w) {
            p.reset();
            const auto t0 = clock_type::now();
            for (long k = 0; k < reps; ++k) call(r, f[w], p);
            const double dt = std::chrono::duration<double>(clock_type::now() - t0).count();
            spent[w] += dt;
            best[w] = std::min(best[w], dt / double(reps));
          }
        }
        const double g0 = flops / best[0] * 1e-9, g1 = nlib == 2 ? flops / best[1] * 1e-9 : 0;
        const double frac = peak1 > 0 ? g0 / (peak1 * t) : 0;
        std::printf("%-8s %3d %5d %10.1f ", "", t, n, g0);
        if (nlib == 2) std::printf("%10.1f %7.2f", g1, g0 / g1);
        else std::printf("%10s %7s", "-", "-");
        std::printf(" %5.0f%%%s\n", 100 * frac, ok ? "" : "  WRONG");
        std::fflush(stdout);
        std::fprintf(out, "%s,%d,%d,%.3f,%.3f,%.4f,%.4f,%d\n", r.name, t, n, g0, g1, nlib == 2 ? g0 / g1 : 0, frac,
                     ok ? 1 : 0);
      }
    }
  }
  std::fclose(out);
  std::printf("\nwrote %s\n", csv.c_str());
  return 0;
}
