// Level-2 BLAS speed, orb side by side with OpenBLAS in the same process,
// both on one thread.
//
// Square problems from matrices that sit in the L2 cache to matrices far
// beyond the last-level cache. The matrix stays warm between calls, as in
// the level-1 benchmark: a matrix that fits a cache is measured from it.
// Speeds are GB/s of the matrix bytes the routine must touch (dgemv reads
// n^2 doubles; dger reads and writes them; the triangular and symmetric
// routines touch one triangle), which is what bounds every one of them.
// Each point alternates batches of orb and OpenBLAS calls until both have
// run for the minimum time and keeps the best batch of each.
//
// Before timing, both libraries run on the same data and their results are
// compared; a routine whose results disagree is marked WRONG.
//
//   level2_bench [--quick] [--min-time S] [--max N] [--routines dgemv_n,...]
//                [--csv FILE] [--openblas PATH]
//
// The CSV has the columns of the level-1 benchmark, so bench/plot.py draws
// it.
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "orb/orb_blas.h"
#include "orb/orb_service.h"

namespace {

using clock_type = std::chrono::steady_clock;
using cplx = orb_complex16;

struct peer {
  void* h = nullptr;
  decltype(&orb_blas_dgemv) dgemv = nullptr;
  decltype(&orb_blas_zgemv) zgemv = nullptr;
  decltype(&orb_blas_dsymv) dsymv = nullptr;
  decltype(&orb_blas_dtrsv) dtrsv = nullptr;
  decltype(&orb_blas_dtrmv) dtrmv = nullptr;
  decltype(&orb_blas_dger) dger = nullptr;
  decltype(&orb_blas_dsyr2) dsyr2 = nullptr;
  bool open(const std::string& path) {
    h = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!h) {
      std::fprintf(stderr, "level2_bench: cannot open %s (%s); measuring orb alone\n", path.c_str(), dlerror());
      return false;
    }
    auto sym = [&](auto& f, const char* n) { f = reinterpret_cast<std::decay_t<decltype(f)>>(dlsym(h, n)); };
    sym(dgemv, "dgemv_");
    sym(zgemv, "zgemv_");
    sym(dsymv, "dsymv_");
    sym(dtrsv, "dtrsv_");
    sym(dtrmv, "dtrmv_");
    sym(dger, "dger_");
    sym(dsyr2, "dsyr2_");
    void (*threads)(int) = nullptr;
    sym(threads, "openblas_set_num_threads");
    if (threads) threads(1);
    return true;
  }
};

std::vector<double> random_doubles(std::size_t n, unsigned seed) {
  std::vector<double> v(n);
  unsigned long long s = 0x9E3779B97F4A7C15ull ^ seed;
  for (auto& e : v) {
    s = s * 6364136223846793005ull + 1442695040888963407ull;
    e = double(s >> 11) * 0x1.0p-53 * 2.0 - 1.0;
  }
  return v;
}

// The data of one point: a matrix (real, or complex as pairs), vectors,
// and a well-conditioned triangle for the solve.
struct problem {
  int n;
  std::vector<double> a, x, y, x0, y0;
  explicit problem(int order, bool complex) : n(order) {
    const std::size_t w = complex ? 2 : 1;
    a = random_doubles(w * std::size_t(n) * n, 1);
    if (!complex)
      for (int j = 0; j < n; ++j) a[std::size_t(j) * n + j] = n + 1.0;  // dominant diagonal for the solve
    x0 = random_doubles(w * n, 2);
    y0 = random_doubles(w * n, 3);
    x = x0, y = y0;
  }
  void reset() { x = x0, y = y0; }
};

struct routine {
  const char* name;
  bool complex;
  double bytes_per_n2;  // matrix bytes touched per n^2
  // Runs one call on orb (0) or the peer (1); returns false where the peer lacks it.
  std::function<bool(int, problem&, const peer&)> call;
  // The vector or matrix that holds the result.
  std::function<const std::vector<double>&(problem&)> result;
};

const std::vector<routine>& routines() {
  static const std::vector<routine> r = {
      {"dgemv_n", false, 8,
       [](int w, problem& p, const peer& P) {
         const int one = 1;
         const double al = 1e-3, be = 0.5;
         auto f = w ? P.dgemv : orb_blas_dgemv;
         if (!f) return false;
         f("N", &p.n, &p.n, &al, p.a.data(), &p.n, p.x.data(), &one, &be, p.y.data(), &one);
         return true;
       },
       [](problem& p) -> const std::vector<double>& { return p.y; }},
      {"dgemv_t", false, 8,
       [](int w, problem& p, const peer& P) {
         const int one = 1;
         const double al = 1e-3, be = 0.5;
         auto f = w ? P.dgemv : orb_blas_dgemv;
         if (!f) return false;
         f("T", &p.n, &p.n, &al, p.a.data(), &p.n, p.x.data(), &one, &be, p.y.data(), &one);
         return true;
       },
       [](problem& p) -> const std::vector<double>& { return p.y; }},
      {"zgemv_n", true, 16,
       [](int w, problem& p, const peer& P) {
         const int one = 1;
         const cplx al{1e-3, 1e-4}, be{0.5, 0.1};
         auto f = w ? P.zgemv : orb_blas_zgemv;
         if (!f) return false;
         f("N", &p.n, &p.n, &al, reinterpret_cast<const cplx*>(p.a.data()), &p.n,
           reinterpret_cast<const cplx*>(p.x.data()), &one, &be, reinterpret_cast<cplx*>(p.y.data()), &one);
         return true;
       },
       [](problem& p) -> const std::vector<double>& { return p.y; }},
      {"dsymv", false, 4,
       [](int w, problem& p, const peer& P) {
         const int one = 1;
         const double al = 1e-3, be = 0.5;
         auto f = w ? P.dsymv : orb_blas_dsymv;
         if (!f) return false;
         f("L", &p.n, &al, p.a.data(), &p.n, p.x.data(), &one, &be, p.y.data(), &one);
         return true;
       },
       [](problem& p) -> const std::vector<double>& { return p.y; }},
      {"dtrsv", false, 4,
       [](int w, problem& p, const peer& P) {
         const int one = 1;
         auto f = w ? P.dtrsv : orb_blas_dtrsv;
         if (!f) return false;
         p.x = p.x0;  // repeated solves would sink into subnormals
         f("L", "N", "N", &p.n, p.a.data(), &p.n, p.x.data(), &one);
         return true;
       },
       [](problem& p) -> const std::vector<double>& { return p.x; }},
      {"dtrmv", false, 4,
       [](int w, problem& p, const peer& P) {
         const int one = 1;
         auto f = w ? P.dtrmv : orb_blas_dtrmv;
         if (!f) return false;
         p.x = p.x0;  // repeated products would overflow
         f("U", "T", "U", &p.n, p.a.data(), &p.n, p.x.data(), &one);
         return true;
       },
       [](problem& p) -> const std::vector<double>& { return p.x; }},
      {"dger", false, 16,
       [](int w, problem& p, const peer& P) {
         const int one = 1;
         const double al = 1e-12;
         auto f = w ? P.dger : orb_blas_dger;
         if (!f) return false;
         f(&p.n, &p.n, &al, p.x.data(), &one, p.y.data(), &one, p.a.data(), &p.n);
         return true;
       },
       [](problem& p) -> const std::vector<double>& { return p.a; }},
      {"dsyr2", false, 8,
       [](int w, problem& p, const peer& P) {
         const int one = 1;
         const double al = 1e-12;
         auto f = w ? P.dsyr2 : orb_blas_dsyr2;
         if (!f) return false;
         f("U", &p.n, &al, p.x.data(), &one, p.y.data(), &one, p.a.data(), &p.n);
         return true;
       },
       [](problem& p) -> const std::vector<double>& { return p.a; }},
  };
  return r;
}

bool agree(const std::vector<double>& a, const std::vector<double>& b) {
  double scale = 1;
  for (double v : b) scale = std::max(scale, std::fabs(v));
  for (std::size_t i = 0; i < a.size(); ++i)
    if (!(std::fabs(a[i] - b[i]) <= 1e-10 * scale)) return false;
  return true;
}

std::string human(double bytes) {
  char buf[32];
  if (bytes >= double(1 << 30)) std::snprintf(buf, sizeof buf, "%.1f GiB", bytes / (1 << 30));
  else if (bytes >= double(1 << 20)) std::snprintf(buf, sizeof buf, "%.1f MiB", bytes / (1 << 20));
  else std::snprintf(buf, sizeof buf, "%.0f KiB", bytes / 1024);
  return buf;
}

}  // namespace

int main(int argc, char** argv) {
  double min_time = 0.2;
  int max_n = 6000;
  std::string csv = "level2_bench.csv", only, openblas = ORB_BENCH_OPENBLAS;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto next = [&]() -> std::string {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "level2_bench: %s needs a value\n", a.c_str());
        std::exit(2);
      }
      return argv[++i];
    };
    if (a == "--quick") min_time = 0.04, max_n = 3000;
    else if (a == "--min-time") min_time = std::atof(next().c_str());
    else if (a == "--max") max_n = std::atoi(next().c_str());
    else if (a == "--routines") only = "," + next() + ",";
    else if (a == "--csv") csv = next();
    else if (a == "--openblas") openblas = next();
    else {
      std::fprintf(stderr, "usage: level2_bench [--quick] [--min-time S] [--max N] [--routines a,b] [--csv FILE] "
                           "[--openblas PATH]\n");
      return 2;
    }
  }
  orb_set_num_threads(1);
  peer P;
  P.open(openblas);
  const long l1 = orb_serv_get_cache_size(1), l2 = orb_serv_get_cache_size(2), l3 = orb_serv_get_cache_size(3);
  std::printf("level-2 BLAS, one thread: orb (%s) against %s\n", orb_kernel_library(), openblas.c_str());
  std::printf("caches: L1d %s, L2 %s, L3 %s; each point runs at least %.0f ms per library\n", human(l1).c_str(),
              human(l2).c_str(), human(l3).c_str(), 1000 * min_time);
  std::FILE* out = std::fopen(csv.c_str(), "w");
  if (!out) {
    std::fprintf(stderr, "level2_bench: cannot write %s\n", csv.c_str());
    return 2;
  }
  std::fprintf(out, "# orb=%s peer=%s l1=%ld l2=%ld l3=%ld\n", orb_kernel_library(), openblas.c_str(), l1, l2, l3);
  std::fprintf(out, "routine,n,working_set_bytes,orb_gbs,openblas_gbs,ratio,orb_agrees\n");
  const int sizes[] = {100, 200, 400, 700, 1000, 1500, 2000, 3000, 4000, 6000, 8000};
  for (const routine& r : routines()) {
    if (!only.empty() && only.find("," + std::string(r.name) + ",") == std::string::npos) continue;
    std::printf("\n%-8s %6s %10s %10s %10s %7s\n", r.name, "n", "matrix", "orb GB/s", "OpenBLAS", "ratio");
    for (const int n : sizes) {
      if (n > max_n) break;
      problem p(n, r.complex);
      // Agreement on one call from the same data.
      r.call(0, p, P);
      const std::vector<double> mine = r.result(p);
      p.reset();
      bool ok = true;
      if (r.call(1, p, P)) ok = agree(mine, r.result(p));
      // Timing: batches alternate; x and y are reset before each batch so
      // repeated calls stay in range (the matrix drifts by 1e-12 a call).
      const double bytes = r.bytes_per_n2 * double(n) * n;
      // Short batches, many rounds: on a busy machine the best batch is one that
      // ran without being preempted.
      const long reps = std::max(1L, long(2e7 / std::max(bytes, 1.0)));
      double best[2] = {1e300, 1e300};
      double spent[2] = {0, 0};
      bool has_peer = r.call(1, p, P);
      for (int round = 0; round < 20000 && (spent[0] < min_time || (has_peer && spent[1] < min_time)); ++round) {
        for (int w = 0; w < (has_peer ? 2 : 1); ++w) {
          p.reset();
          const auto t0 = clock_type::now();
          for (long k = 0; k < reps; ++k) r.call(w, p, P);
          const double dt = std::chrono::duration<double>(clock_type::now() - t0).count();
          spent[w] += dt;
          best[w] = std::min(best[w], dt / double(reps));
        }
      }
      const double g0 = bytes / best[0] * 1e-9, g1 = has_peer ? bytes / best[1] * 1e-9 : 0;
      const double ratio = has_peer ? g0 / g1 : 0;
      std::printf("%-8s %6d %10s %10.2f ", "", n, human(bytes).c_str(), g0);
      if (has_peer) std::printf("%10.2f %7.2f", g1, ratio);
      else std::printf("%10s %7s", "-", "-");
      std::printf("%s\n", ok ? "" : "  WRONG");
      std::fflush(stdout);
      std::fprintf(out, "%s,%d,%.0f,%.4f,%.4f,%.4f,%d\n", r.name, n, bytes, g0, g1, ratio, ok ? 1 : 0);
    }
  }
  std::fclose(out);
  std::printf("\nwrote %s (draw it with bench/plot.py)\n", csv.c_str());
  return 0;
}
