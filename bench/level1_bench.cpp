// Level-1 BLAS speed, orb side by side with OpenBLAS in the same process.
//
// Sizes run from vectors that sit in the L1 cache to vectors far beyond the
// last-level cache. Data stay warm between calls: a vector that fits in a
// cache is measured from that cache, which is how level-1 routines are met
// inside larger computations; beyond the last level every call streams from
// memory anyway. Each (routine, size) alternates batches of orb and OpenBLAS
// calls until both have run for the minimum time, so that a noisy neighbour
// hurts both alike, and keeps the best batch of each. Speeds are in GB/s of
// the bytes the routine must move (daxpy reads x and y and writes y: 24
// bytes per element).
//
// Before timing, both libraries run on the same data and their results are
// compared; a routine of orb that gives other numbers is marked WRONG, and
// its speed means nothing.
//
//   level1_bench [--quick] [--min-time S] [--max N] [--min N]
//                [--routines daxpy,ddot,...] [--csv FILE] [--openblas PATH]
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
#include "orb/orb_blas.h"
#include "orb/orb_service.h"

#pragma weak orb_serv_get_cache_size

namespace {

using clock_type = std::chrono::steady_clock;

// ---- The peer library.
struct peer {
  void* handle = nullptr;
  std::string path;
  void (*daxpy)(const int*, const double*, const double*, const int*, double*, const int*) = nullptr;
  double (*ddot)(const int*, const double*, const int*, const double*, const int*) = nullptr;
  double (*dnrm2)(const int*, const double*, const int*) = nullptr;
  int (*idamax)(const int*, const double*, const int*) = nullptr;
  void (*dcopy)(const int*, const double*, const int*, double*, const int*) = nullptr;
  void (*dscal)(const int*, const double*, double*, const int*) = nullptr;
  void (*zaxpy)(const int*, const void*, const void*, const int*, void*, const int*) = nullptr;
  // The Fortran zdotc_ returns a complex value whose convention varies; the
  // CBLAS form writes through an address, as orb does.
  void (*zdotc_sub)(int, const void*, int, const void*, int, void*) = nullptr;
  void (*set_threads)(int) = nullptr;

  bool open(const std::string& p) {
    path = p;
    handle = orb::bench::open_peer_library("level1_bench", p, "measuring orb alone");
    if (!handle) return false;
    auto sym = [&](auto& f, const char* name) { orb::bench::peer_symbol(handle, f, name); };
    sym(daxpy, "daxpy_");
    sym(ddot, "ddot_");
    sym(dnrm2, "dnrm2_");
    sym(idamax, "idamax_");
    sym(dcopy, "dcopy_");
    sym(dscal, "dscal_");
    sym(zaxpy, "zaxpy_");
    sym(zdotc_sub, "cblas_zdotc_sub");
    sym(set_threads, "openblas_set_num_threads");
    if (set_threads) set_threads(1);
    return true;
  }
};

// ---- Aligned buffers filled with deterministic values in [-1, 1).
struct buffer {
  double* p = nullptr;
  std::size_t n = 0;
  explicit buffer(std::size_t doubles, unsigned seed) : n(doubles) {
    const std::size_t bytes = (doubles * sizeof(double) + 63) / 64 * 64;
    p = static_cast<double*>(std::aligned_alloc(64, bytes ? bytes : 64));
    if (!p) {
      std::fprintf(stderr, "level1_bench: out of memory for %zu doubles\n", doubles);
      std::exit(2);
    }
    orb::bench::fill_random(p, doubles, seed);
  }
  buffer(const buffer&) = delete;
  buffer& operator=(const buffer&) = delete;
  ~buffer() { std::free(p); }
  void copy_from(const buffer& o) { std::memcpy(p, o.p, n * sizeof(double)); }
};

// ---- One routine: how to set it up, run it on either library, and how
// many bytes one call moves per element.
struct routine {
  const char* name;
  int doubles_per_element;  // 1 real, 2 complex
  int bytes_per_element;    // bytes one call reads and writes per element
  int vectors;              // vectors the call touches: its working set
};

const routine kRoutines[] = {
    {"daxpy", 1, 24, 2}, {"ddot", 1, 16, 2},  {"dnrm2", 1, 8, 1},  {"idamax", 1, 8, 1},
    {"dcopy", 1, 16, 2}, {"dscal", 1, 16, 1}, {"zaxpy", 2, 48, 2}, {"zdotc", 2, 32, 2},
};

// Runs routine r once on orb (which = 0) or the peer (which = 1). The scalar
// results land in `sink` so the calls cannot be dropped.
struct runner {
  const peer& P;
  volatile double sink = 0;

  bool available(const char* name, int which) const {
    if (which == 0) return true;
    if (!P.handle) return false;
    const std::string s = name;
    if (s == "daxpy") return P.daxpy;
    if (s == "ddot") return P.ddot;
    if (s == "dnrm2") return P.dnrm2;
    if (s == "idamax") return P.idamax;
    if (s == "dcopy") return P.dcopy;
    if (s == "dscal") return P.dscal;
    if (s == "zaxpy") return P.zaxpy;
    if (s == "zdotc") return P.zdotc_sub;
    return false;
  }

  // Scalars are chosen so that repeating a call thousands of times neither
  // overflows nor runs into subnormals, and none is a value (such as 1) for
  // which a library might skip the work.
  void call(const char* name, int which, int n, double* x, double* y) {
    const int one = 1;
    const std::string s = name;
    if (s == "daxpy") {
      const double a = 1e-9;
      which ? P.daxpy(&n, &a, x, &one, y, &one) : orb_blas_daxpy(&n, &a, x, &one, y, &one);
    } else if (s == "ddot") {
      sink = which ? P.ddot(&n, x, &one, y, &one) : orb_blas_ddot(&n, x, &one, y, &one);
    } else if (s == "dnrm2") {
      sink = which ? P.dnrm2(&n, x, &one) : orb_blas_dnrm2(&n, x, &one);
    } else if (s == "idamax") {
      sink = which ? P.idamax(&n, x, &one) : orb_blas_idamax(&n, x, &one);
    } else if (s == "dcopy") {
      which ? P.dcopy(&n, x, &one, y, &one) : orb_blas_dcopy(&n, x, &one, y, &one);
    } else if (s == "dscal") {
      const double a = 0.99999999;
      which ? P.dscal(&n, &a, x, &one) : orb_blas_dscal(&n, &a, x, &one);
    } else if (s == "zaxpy") {
      const orb_complex16 a = {1e-9, -2e-9};
      if (which)
        P.zaxpy(&n, &a, x, &one, y, &one);
      else
        orb_blas_zaxpy(&n, &a, reinterpret_cast<orb_complex16*>(x), &one, reinterpret_cast<orb_complex16*>(y), &one);
    } else if (s == "zdotc") {
      orb_complex16 r = {0, 0};
      if (which)
        P.zdotc_sub(n, x, 1, y, 1, &r);
      else
        orb_blas_zdotc(&r, &n, reinterpret_cast<orb_complex16*>(x), &one, reinterpret_cast<orb_complex16*>(y), &one);
      sink = r.re + r.im;
    }
  }

  // Runs the routine once on each library from the same data and says
  // whether orb's numbers agree with the peer's (or, without a peer, with a
  // plain loop).
  bool agrees(const routine& r, int n) {
    const std::size_t len = std::size_t(n) * r.doubles_per_element;
    buffer x0(len, 11), y0(len, 12), x1(len, 11), y1(len, 12);
    const std::string s = r.name;
    auto tol = [&](double a, double b, double t) {
      return std::isfinite(a) && std::fabs(a - b) <= t * std::max(1.0, std::fabs(b));
    };
    const double eps = 1e-12 + 1e-15 * std::sqrt(double(n));
    // The reference: the peer, or plain loops.
    double ref_scalar = 0, orb_scalar = 0;
    if (available(r.name, 1)) {
      call(r.name, 1, n, x1.p, y1.p);
      ref_scalar = sink;
    } else {
      const double a = s == "dscal" ? 0.99999999 : 1e-9;
      long double acc = 0;
      int imax = 0;
      for (std::size_t i = 0; i < len; ++i) {
        if (s == "daxpy") y1.p[i] += a * x1.p[i];
        if (s == "ddot") acc += (long double)x1.p[i] * y1.p[i];
        if (s == "dnrm2") acc += (long double)x1.p[i] * x1.p[i];
        if (s == "idamax" && std::fabs(x1.p[i]) > std::fabs(x1.p[imax])) imax = int(i);
        if (s == "dcopy") y1.p[i] = x1.p[i];
        if (s == "dscal") x1.p[i] *= a;
      }
      if (s == "zaxpy")
        for (int i = 0; i < n; ++i) {
          const double xr = x1.p[2 * i], xi = x1.p[2 * i + 1];
          y1.p[2 * i] += 1e-9 * xr + 2e-9 * xi;
          y1.p[2 * i + 1] += 1e-9 * xi - 2e-9 * xr;
        }
      if (s == "zdotc") {
        long double re = 0, im = 0;
        for (int i = 0; i < n; ++i) {
          re += (long double)x1.p[2 * i] * y1.p[2 * i] + (long double)x1.p[2 * i + 1] * y1.p[2 * i + 1];
          im += (long double)x1.p[2 * i] * y1.p[2 * i + 1] - (long double)x1.p[2 * i + 1] * y1.p[2 * i];
        }
        acc = re + im;
      }
      ref_scalar = s == "dnrm2" ? double(std::sqrt(acc)) : s == "idamax" ? imax + 1 : double(acc);
    }
    call(r.name, 0, n, x0.p, y0.p);
    orb_scalar = sink;
    if (s == "ddot" || s == "dnrm2" || s == "zdotc") return tol(orb_scalar, ref_scalar, eps);
    if (s == "idamax") return orb_scalar == ref_scalar;
    for (std::size_t i = 0; i < len; ++i)
      if (!tol(x0.p[i], x1.p[i], 1e-15) || !tol(y0.p[i], y1.p[i], 1e-15)) return false;
    return true;
  }
};

struct measurement {
  double seconds[2] = {0, 0};  // best time of one call, per library; 0 when not run
};

// Alternating batches: each batch repeats the call until it lasts at least
// `batch_time` (or once, for long calls); batches continue until each
// library has run for `min_time` and at least three batches.
measurement measure(runner& R, const routine& r, int n, double min_time, bool with_peer) {
  const std::size_t len = std::size_t(n) * r.doubles_per_element;
  buffer x(len, 1), y(len, 2);
  measurement m;
  const int libs = with_peer ? 2 : 1;
  double total[2] = {0, 0};
  long reps[2] = {1, 1};
  int batches[2] = {0, 0};
  double best[2] = {1e300, 1e300};
  const double batch_time = std::min(0.01, min_time / 5);
  for (int w = 0; w < libs; ++w) R.call(r.name, w, n, x.p, y.p);  // warm up
  for (;;) {
    bool done = true;
    for (int w = 0; w < libs; ++w) done = done && total[w] >= min_time && batches[w] >= 3;
    if (done) break;
    for (int w = 0; w < libs; ++w) {
      const auto t0 = clock_type::now();
      for (long k = 0; k < reps[w]; ++k) R.call(r.name, w, n, x.p, y.p);
      const double dt = std::chrono::duration<double>(clock_type::now() - t0).count();
      total[w] += dt;
      ++batches[w];
      best[w] = std::min(best[w], dt / double(reps[w]));
      if (dt < batch_time) reps[w] = std::max(reps[w] * 2, long(reps[w] * batch_time / std::max(dt, 1e-9)));
    }
  }
  for (int w = 0; w < libs; ++w) m.seconds[w] = best[w];
  return m;
}

long cache_bytes(int level) {
  if (&orb_serv_get_cache_size) {
    const int b = orb_serv_get_cache_size(level);
    if (b > 0) return b;
  }
  const int names[] = {_SC_LEVEL1_DCACHE_SIZE, _SC_LEVEL2_CACHE_SIZE, _SC_LEVEL3_CACHE_SIZE};
  const long b = sysconf(names[level - 1]);
  return b > 0 ? b : 0;
}

std::string human(double bytes) {
  char buf[32];
  if (bytes >= 1 << 30)
    std::snprintf(buf, sizeof buf, "%.0f GiB", bytes / (1 << 30));
  else if (bytes >= 1 << 20)
    std::snprintf(buf, sizeof buf, "%.0f MiB", bytes / (1 << 20));
  else
    std::snprintf(buf, sizeof buf, "%.0f KiB", bytes / 1024);
  return buf;
}

}  // namespace

int main(int argc, char** argv) {
  // Compare one thread with one thread: level-1 speed is a matter of the
  // kernel, not of the team size.
  setenv("ORB_NUM_THREADS", "1", 0);
  setenv("OPENBLAS_NUM_THREADS", "1", 0);

  double min_time = 0.05;
  long min_n = 256, max_n = 32L << 20;
  std::string csv = "level1_bench.csv";
  std::string peer_path = ORB_BENCH_OPENBLAS;
  if (const char* e = std::getenv("ORB_BENCH_OPENBLAS")) peer_path = e;
  std::vector<std::string> only;
  bool quick = false;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto next = [&]() -> std::string {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "level1_bench: %s needs a value\n", a.c_str());
        std::exit(2);
      }
      return argv[++i];
    };
    if (a == "--quick") {
      quick = true;
      min_time = 0.01;
    } else if (a == "--min-time") {
      min_time = std::atof(next().c_str());
    } else if (a == "--max") {
      max_n = std::atol(next().c_str());
    } else if (a == "--min") {
      min_n = std::atol(next().c_str());
    } else if (a == "--csv") {
      csv = next();
    } else if (a == "--openblas") {
      peer_path = next();
    } else if (a == "--routines") {
      std::string list = next() + ",";
      for (std::size_t p; (p = list.find(',')) != std::string::npos; list.erase(0, p + 1))
        if (p) only.push_back(list.substr(0, p));
    } else {
      std::fprintf(stderr,
                   "usage: level1_bench [--quick] [--min-time S] [--min N] [--max N] "
                   "[--routines a,b] [--csv FILE] [--openblas PATH]\n");
      return 2;
    }
  }
  // 32-bit processes have less address space than the largest vectors need.
  if (sizeof(void*) == 4) max_n = std::min(max_n, 8L << 20);

  peer P;
  const bool have_peer = P.open(peer_path);
  runner R{P};

  std::vector<long> sizes;
  for (long n = min_n; n <= max_n; n *= quick ? 4 : 2) sizes.push_back(n);

  std::printf("level-1 BLAS, one thread: orb (%s) against %s\n", orb_kernel_library(),
              have_peer ? P.path.c_str() : "nothing");
  std::printf("caches: L1d %s, L2 %s, L3 %s; each point runs at least %.0f ms per library\n",
              human(cache_bytes(1)).c_str(), human(cache_bytes(2)).c_str(), human(cache_bytes(3)).c_str(),
              min_time * 1e3);

  std::FILE* out = std::fopen(csv.c_str(), "w");
  if (!out) {
    std::fprintf(stderr, "level1_bench: cannot write %s\n", csv.c_str());
    return 2;
  }
  std::fprintf(out, "# orb=%s peer=%s l1=%ld l2=%ld l3=%ld\n", orb_kernel_library(),
               have_peer ? P.path.c_str() : "", cache_bytes(1), cache_bytes(2), cache_bytes(3));
  std::fprintf(out, "routine,n,working_set_bytes,orb_gbs,openblas_gbs,ratio,orb_agrees\n");

  int wrong = 0;
  struct summary_row {
    std::string name;
    double log_ratio_cache = 0, log_ratio_mem = 0;
    int n_cache = 0, n_mem = 0;
  };
  std::vector<summary_row> summary;
  const double llc = double(cache_bytes(3) ? cache_bytes(3) : cache_bytes(2));
  for (const routine& r : kRoutines) {
    if (!only.empty() && std::find(only.begin(), only.end(), r.name) == only.end()) continue;
    const bool with_peer = R.available(r.name, 1);
    std::printf("\n%-7s %10s %10s %12s %12s %8s\n", r.name, "n", "data", "orb GB/s", "OpenBLAS", "ratio");
    summary_row row{r.name};
    for (long n : sizes) {
      const double bytes = double(n) * r.doubles_per_element * 8.0 * r.vectors;
      const bool ok = R.agrees(r, int(n));
      if (!ok) ++wrong;
      const measurement m = measure(R, r, int(n), min_time, with_peer);
      const double moved = double(n) * r.bytes_per_element;
      const double g0 = moved / m.seconds[0] * 1e-9;
      const double g1 = with_peer ? moved / m.seconds[1] * 1e-9 : 0;
      const double ratio = with_peer ? g0 / g1 : 0;
      std::printf("%-7s %10ld %10s %12.2f ", "", n, human(bytes).c_str(), g0);
      if (with_peer)
        std::printf("%12.2f %8.2f", g1, ratio);
      else
        std::printf("%12s %8s", "-", "-");
      std::printf("%s\n", ok ? "" : "  WRONG");
      std::fflush(stdout);
      std::fprintf(out, "%s,%ld,%.0f,%.4f,%.4f,%.4f,%d\n", r.name, n, bytes, g0, g1, ratio, ok ? 1 : 0);
      if (with_peer && ok) {
        if (bytes <= llc / 2) {
          row.log_ratio_cache += std::log(ratio);
          ++row.n_cache;
        } else if (bytes >= 4 * llc) {
          row.log_ratio_mem += std::log(ratio);
          ++row.n_mem;
        }
      }
    }
    summary.push_back(row);
  }
  std::fclose(out);

  if (have_peer) {
    std::printf("\nsummary: geometric mean of orb/OpenBLAS\n%-7s %14s %14s\n", "", "in cache", "from memory");
    for (const auto& s : summary) {
      std::printf("%-7s ", s.name.c_str());
      if (s.n_cache)
        std::printf("%14.2f ", std::exp(s.log_ratio_cache / s.n_cache));
      else
        std::printf("%14s ", "-");
      if (s.n_mem)
        std::printf("%14.2f\n", std::exp(s.log_ratio_mem / s.n_mem));
      else
        std::printf("%14s\n", "-");
    }
  }
  std::printf("\nwrote %s\n", csv.c_str());
  // Wrong numbers are the test suite's business; here they only void the
  // speeds they stand next to.
  if (wrong) std::printf("%d points where orb's results disagree with the reference (marked WRONG)\n", wrong);
  return 0;
}
