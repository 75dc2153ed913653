// Level-3 BLAS beyond GEMM: orb side by side with OpenBLAS and BLIS in one
// process, on 1 and 2 threads: TRSM, TRMM, SYRK, SYR2K, SYMM, GEMMT in
// double, their Hermitian and triangular complex forms in double complex,
// and ZGEMM3M; besides the square sizes, TRSM of 64 rows and a wide B (the
// panel solve of a blocked LU) and SYRK of k = 64 (its trailing update).
//
// Every library is reached through its Fortran names (orb's from the core
// this program links, the peers' opened by path), so every call goes
// through the public checks and the thread decision a user's call takes.
// A peer that lacks a routine (OpenBLAS 0.3.21 has no GEMMT) shows "-".
// Each case first runs every library once on the same data and compares
// the results with orb's (relative to the size of the terms); an orb result
// that disagrees is marked WRONG. Then batches alternate until each library
// has run for the minimum time; the best batch of each is kept. Speeds are
// GFLOPS of the routine's nominal count (TRSM and TRMM m^2 n, SYRK n^2 k,
// SYR2K 2 n^2 k, SYMM 2 m^2 n, GEMMT n^2 k, complex four times that;
// ZGEMM3M as ZGEMM, 8 m n k), with the fraction of the measured peak of the
// cores used, and orb's speed over each peer's.
//
//   level3_bench [--sizes 100,500,...] [--full] [--threads 1,2]
//                [--routines dtrsm,...] [--min-time S] [--csv FILE]
//                [--png FILE] [--openblas PATH] [--blis PATH]
// --full: sizes 32 to 4000 (the default stops at 2000).
#include <dlfcn.h>
#include <stdlib.h>
#include <unistd.h>

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
#ifndef ORB_BENCH_BLIS
#define ORB_BENCH_BLIS "/usr/lib/x86_64-linux-gnu/blis-openmp/libblis.so.4"
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
// The shape of a case for a size n: square, or one dimension fixed at 64.
enum shape { SQUARE, M64, K64 };

struct routine {
  const char* name;  // the Fortran name without the underscore
  kind k;
  bool complex;
  shape sh;
  const char* label;
};

const routine kRoutines[] = {
    {"dtrsm", TRSM, false, SQUARE, "square"},   {"dtrsm", TRSM, false, M64, "m=64"},
    {"dtrmm", TRMM, false, SQUARE, "square"},   {"dsyrk", SYRK, false, SQUARE, "square"},
    {"dsyrk", SYRK, false, K64, "k=64"},        {"dsyr2k", SYR2K, false, SQUARE, "square"},
    {"dsymm", SYMM, false, SQUARE, "square"},   {"dgemmt", GEMMT, false, SQUARE, "square"},
    {"ztrsm", TRSM, true, SQUARE, "square"},    {"ztrmm", TRMM, true, SQUARE, "square"},
    {"zherk", SYRK, true, SQUARE, "square"},    {"zher2k", SYR2K, true, SQUARE, "square"},
    {"zhemm", SYMM, true, SQUARE, "square"},    {"zgemm3m", GEMM, true, SQUARE, "square"},
};

struct library {
  std::string name;
  void* handle;
  void (*set_threads)(int);
  void* fn(const routine& r) const { return dlsym(handle, (std::string(r.name) + "_").c_str()); }
};

void orb_set(int n) { orb_set_num_threads(n); }

// One problem: m, n, k as the routine reads them (TRSM, TRMM, SYMM: A m x m,
// B and C m x n; SYRK, SYR2K, GEMMT: A and B n x k, C n x n; GEMM: all
// three). A has a unit-sized diagonal and small off-diagonal terms, so
// repeated solves and products stay in range, and a real diagonal (HEMM,
// HERK read it so).
struct problem {
  int m, n, k, lda, ldb, ldc;
  std::size_t w;
  std::vector<double> a, b, c, b0, c0;
  problem(const routine& r, int size) : w(r.complex ? 2 : 1) {
    m = n = k = size;
    if (r.sh == M64) m = 64;
    if (r.sh == K64) k = 64;
    const bool tri = r.k == TRSM || r.k == TRMM || r.k == SYMM;
    const int arows = tri || r.k == GEMM ? m : n, acols = tri ? m : k;
    lda = arows;
    ldb = tri ? m : r.k == GEMM ? k : n;
    ldc = tri || r.k == GEMM ? m : n;
    const int bcols = tri || r.k == GEMM ? n : k;
    a = orb::bench::random_doubles(w * std::size_t(lda) * acols, 1);
    for (double& x : a) x *= 0.1 / std::max(arows, acols);
    for (int j = 0; j < std::min(arows, acols); ++j) a[w * (std::size_t(j) * lda + j)] = 1.0;
    b0 = orb::bench::random_doubles(w * std::size_t(ldb) * bcols, 2);
    c0 = orb::bench::random_doubles(w * std::size_t(ldc) * n, 3);
    reset();
  }
  void reset() { b = b0, c = c0; }
  double flops(const routine& r) const {
    const double f = r.complex ? 4 : 1, M = m, N = n, K = k;
    switch (r.k) {
      case TRSM: case TRMM: return f * M * M * N;
      case SYRK: case GEMMT: return f * N * N * K;
      case SYR2K: return 2 * f * N * N * K;
      case SYMM: return 2 * f * M * M * N;
      case GEMM: return 2 * f * M * N * K;
    }
    return 0;
  }
};

// One call of the routine on the problem; the result is in p.b (TRSM,
// TRMM) or p.c.
void call(const routine& r, void* f, problem& p) {
  const double one[2] = {1, 0}, half[2] = {0.5, 0};
  const double* al = one;
  const double* be = half;
  double *a = p.a.data(), *b = p.b.data(), *c = p.c.data();
  switch (r.k) {
    case TRSM: case TRMM:
      reinterpret_cast<trxm_fn>(f)("L", "L", "N", "N", &p.m, &p.n, al, a, &p.lda, b, &p.ldb);
      break;
    case SYRK:  // zherk takes real scalars: the first double of each pair
      reinterpret_cast<syrk_fn>(f)("U", "N", &p.n, &p.k, al, a, &p.lda, be, c, &p.ldc);
      break;
    case SYR2K:  // zher2k: complex alpha, real beta
      reinterpret_cast<syr2k_fn>(f)("U", "N", &p.n, &p.k, al, a, &p.lda, b, &p.ldb, be, c, &p.ldc);
      break;
    case SYMM:
      reinterpret_cast<symm_fn>(f)("L", "U", &p.m, &p.n, al, a, &p.lda, b, &p.ldb, be, c, &p.ldc);
      break;
    case GEMMT:
      reinterpret_cast<gemmt_fn>(f)("U", "N", "T", &p.n, &p.k, al, a, &p.lda, b, &p.ldb, be, c, &p.ldc);
      break;
    case GEMM:
      reinterpret_cast<gemm_fn>(f)("N", "N", &p.m, &p.n, &p.k, al, a, &p.lda, b, &p.ldb, be, c, &p.ldc);
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
  orb::bench::restart_with_sleeping_peers(argv);
  double min_time = 0.3;
  std::vector<int> sizes = {32, 100, 250, 500, 1000, 2000}, threads = {1, 2};
  std::string csv = "level3_bench.csv", png, only, openblas = ORB_BENCH_OPENBLAS, blis = ORB_BENCH_BLIS;
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
    else if (a == "--full") sizes = {32, 64, 100, 250, 500, 1000, 2000, 4000};
    else if (a == "--threads") threads = int_list(next());
    else if (a == "--routines") only = "," + next() + ",";
    else if (a == "--min-time") min_time = std::atof(next().c_str());
    else if (a == "--csv") csv = next();
    else if (a == "--png") png = next();
    else if (a == "--openblas") openblas = next();
    else if (a == "--blis") blis = next();
    else {
      std::fprintf(stderr, "usage: level3_bench [--sizes N,...] [--full] [--threads 1,2] [--routines dtrsm,...] "
                           "[--min-time S] [--csv FILE] [--png FILE] [--openblas PATH] [--blis PATH]\n");
      return 2;
    }
  }
  if (png.empty()) png = csv.substr(0, csv.rfind('.')) + ".png";

  std::vector<library> libs = {{"orb", RTLD_DEFAULT, &orb_set}};
  const struct {
    const char* name;
    std::string path;
    const char* threads_symbol;
  } peers[] = {{"OpenBLAS", openblas, "openblas_set_num_threads"}, {"BLIS", blis, "bli_thread_set_num_threads"}};
  for (const auto& pr : peers)
    if (void* h = orb::bench::open_peer_library("level3_bench", pr.path, std::string("leaving ") + pr.name + " out")) {
      library L{pr.name, h, nullptr};
      orb::bench::peer_symbol(h, L.set_threads, pr.threads_symbol);
      libs.push_back(L);
    }
  const double peak1 = orb::bench::measure_peak();
  std::printf("level-3 BLAS: orb (%s)", orb_kernel_library());
  for (std::size_t l = 1; l < libs.size(); ++l) std::printf(" against %s", libs[l].name.c_str());
  std::printf("\nprocessor: %s; measured peak %.1f GFLOPS double per core\n", orb::bench::cpu_model().c_str(),
              peak1);
  std::FILE* out = std::fopen(csv.c_str(), "w");
  if (!out) {
    std::fprintf(stderr, "level3_bench: cannot write %s\n", csv.c_str());
    return 2;
  }
  std::fprintf(out, "# kernels=%s peak_double_per_core=%.2f\n", orb_kernel_library(), peak1);
  std::fprintf(out, "routine,shape,m,n,k,threads,library,gflops,peak_fraction,orb_ratio,wrong\n");

  const std::size_t nlib = libs.size();
  for (const routine& r : kRoutines) {
    if (!only.empty() && only.find("," + std::string(r.name) + ",") == std::string::npos) continue;
    std::vector<void*> f(nlib);
    for (std::size_t l = 0; l < nlib; ++l) f[l] = libs[l].fn(r);
    if (!f[0]) {
      std::printf("\n%s: orb lacks it\n", r.name);
      continue;
    }
    std::printf("\n%-8s %-7s %3s %5s %9s", r.name, r.label, "thr", "n", "orb");
    for (std::size_t l = 1; l < nlib; ++l) std::printf(" %9s %6s", libs[l].name.c_str(), "ratio");
    std::printf(" %6s   (GFLOPS; ratio: orb over the peer)\n", "peak");
    for (const int t : threads) {
      for (const int n : sizes) {
        for (const library& L : libs)
          if (L.set_threads) L.set_threads(t);
        problem p(r, n);
        call(r, f[0], p);
        const std::vector<double> mine = result(r, p);
        bool ok = true;
        for (std::size_t l = 1; l < nlib; ++l)
          if (f[l]) {
            p.reset();
            call(r, f[l], p);
            ok = ok && difference(mine, result(r, p), std::max(p.m, p.k)) <= 1e-12;
          }
        const double flops = p.flops(r);
        const long reps = std::max(1L, long(2e8 / flops));
        std::vector<double> best(nlib, 1e300), spent(nlib, 0);
        auto short_of_time = [&] {
          for (std::size_t l = 0; l < nlib; ++l)
            if (f[l] && spent[l] < min_time) return true;
          return false;
        };
        for (int round = 0; round < 1000 && short_of_time(); ++round)
          for (std::size_t l = 0; l < nlib; ++l) {
            if (!f[l]) continue;
            p.reset();
            const auto t0 = clock_type::now();
            for (long q = 0; q < reps; ++q) call(r, f[l], p);
            const double dt = std::chrono::duration<double>(clock_type::now() - t0).count();
            spent[l] += dt;
            best[l] = std::min(best[l], dt / double(reps));
          }
        std::vector<double> g(nlib, 0);
        for (std::size_t l = 0; l < nlib; ++l)
          if (f[l]) g[l] = flops / best[l] * 1e-9;
        const double frac = peak1 > 0 ? g[0] / (peak1 * t) : 0;
        std::printf("%-8s %-7s %3d %5d %9.1f", "", "", t, n, g[0]);
        for (std::size_t l = 1; l < nlib; ++l) {
          if (f[l]) std::printf(" %9.1f %6.2f", g[l], g[0] / g[l]);
          else std::printf(" %9s %6s", "-", "-");
        }
        std::printf(" %5.0f%%%s\n", 100 * frac, ok ? "" : "  WRONG");
        std::fflush(stdout);
        for (std::size_t l = 0; l < nlib; ++l)
          if (f[l])
            std::fprintf(out, "%s,%s,%d,%d,%d,%d,%s,%.3f,%.4f,%.4f,%d\n", r.name, r.label, p.m, p.n, p.k, t,
                         libs[l].name.c_str(), g[l], peak1 > 0 ? g[l] / (peak1 * t) : 0, g[0] / g[l], ok ? 0 : 1);
      }
    }
  }
  std::fclose(out);
  std::printf("\nwrote %s\n", csv.c_str());
  // The plot, when the plotting script and matplotlib are there.
  std::string script = __FILE__;
  script = script.substr(0, script.rfind('/') + 1) + "level3_plot.py";
  const std::string cmd = "/usr/bin/python3 '" + script + "' '" + csv + "' '" + png + "' 2>/dev/null";
  if (access(script.c_str(), R_OK) == 0 && std::system(cmd.c_str()) == 0) std::printf("wrote %s\n", png.c_str());
  return 0;
}
