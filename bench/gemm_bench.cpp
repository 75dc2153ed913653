// GEMM speed: orb side by side with OpenBLAS and BLIS (and libxsmm for
// small sizes, where the build has it), for SGEMM, DGEMM, CGEMM and ZGEMM,
// on 1 and 2 threads, square sizes and skinny shapes (one side 2 to 16).
//
// Each (routine, shape, threads) first runs every library once on the same
// data and compares the results with orb's (relative to the size of the
// terms); an orb result that disagrees is marked WRONG. Then the libraries
// are timed in alternating batches until each has run for the minimum time,
// so that a noisy neighbour hurts all alike; the best batch of each is kept.
// Speeds are GFLOPS (2 m n k flops per call for a real type, 8 m n k for a
// complex one), and the fraction of the peak of orb's kernel build in use
// (its precision, times the threads), which is measured at start from a
// loop of independent fused multiply-adds at that build's vector width
// (peak_bench prints it for every build).
//
//   gemm_bench [--full] [--square N,...] [--small] [--skinny] [--min-time S] [--threads 1,2]
//              [--types sdcz] [--beta B,...] [--trans NN,TN,...] [--csv FILE] [--png FILE]
//              [--openblas PATH] [--blis PATH]
//
// The default run takes a couple of minutes; --full sweeps square sizes up
// to 4000 and every skinny width from 2 to 16; --square 500,1000 runs just
// those square sizes; --small the square sizes up to 32, odd ones among
// them; --skinny 800 x 800 with K from 2 to 16. alpha is 1; beta is 0.5
// unless --beta names others (each is run); the operators are NN unless
// --trans names others (the first letter for A, the second for B).
#include <immintrin.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
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

#ifdef ORB_BENCH_LIBXSMM
extern "C" {
void libxsmm_init(void);
void libxsmm_dgemm(const char*, const char*, const int*, const int*, const int*, const double*, const double*,
                   const int*, const double*, const int*, const double*, double*, const int*);
void libxsmm_sgemm(const char*, const char*, const int*, const int*, const int*, const float*, const float*,
                   const int*, const float*, const int*, const float*, float*, const int*);
}
#endif

#ifndef ORB_BENCH_OPENBLAS
#define ORB_BENCH_OPENBLAS "/usr/lib/x86_64-linux-gnu/openblas-pthread/libopenblas.so.0"
#endif
#ifndef ORB_BENCH_BLIS
#define ORB_BENCH_BLIS "/usr/lib/x86_64-linux-gnu/blis-openmp/libblis.so.4"
#endif

namespace {

using clock_type = std::chrono::steady_clock;

// A GEMM with the Fortran interface; complex scalars and arrays as void*.
using gemm_fn = void (*)(const char*, const char*, const int*, const int*, const int*, const void*, const void*,
                         const int*, const void*, const int*, const void*, void*, const int*);

struct library {
  std::string name;
  void* handle = nullptr;
  gemm_fn gemm[4] = {};  // s d c z
  void (*set_threads)(int) = nullptr;
  // libxsmm: real types, one thread, sizes up to 64 (beyond, its
  // libxsmm_?gemm hands the call to the BLAS the program links, orb here).
  bool small_only = false;
};

bool open_peer(library& lib, const std::string& name, const std::string& path, const char* threads_symbol) {
  lib.name = name;
  lib.handle = orb::bench::open_peer_library("gemm_bench", path, "leaving " + name + " out");
  if (!lib.handle) return false;
  const char* names[4] = {"sgemm_", "dgemm_", "cgemm_", "zgemm_"};
  for (int t = 0; t < 4; ++t) orb::bench::peer_symbol(lib.handle, lib.gemm[t], names[t]);
  orb::bench::peer_symbol(lib.handle, lib.set_threads, threads_symbol);
  return true;
}

void orb_set(int n) { orb_set_num_threads(n); }

library orb_library() {
  library lib;
  lib.name = "orb";
  lib.gemm[0] = reinterpret_cast<gemm_fn>(&orb_blas_sgemm);
  lib.gemm[1] = reinterpret_cast<gemm_fn>(&orb_blas_dgemm);
  lib.gemm[2] = reinterpret_cast<gemm_fn>(&orb_blas_cgemm);
  lib.gemm[3] = reinterpret_cast<gemm_fn>(&orb_blas_zgemm);
  lib.set_threads = &orb_set;
  return lib;
}

// ---- Data.
struct matrix {
  std::vector<double> store;  // enough doubles for the elements, aligned by vector
  void* p() { return store.data(); }
};
void fill(std::vector<double>& v, std::size_t doubles, unsigned seed) {
  v.resize(doubles + 8);
  orb::bench::fill_random(v.data(), v.size(), seed);
}
// The values as the type's reals (floats for s and c).
void as_type(int t, std::vector<double>& v) {
  if (t == 0 || t == 2) {
    std::vector<double> out(v.size() / 2 + 8);
    float* f = reinterpret_cast<float*>(out.data());
    for (std::size_t i = 0; i < v.size(); ++i) f[i] = float(v[i]);
    v.swap(out);
  }
}

struct shape {
  const char* kind;  // "square", "skinny-n", "skinny-m", "skinny-k"
  int m, n, k;
  char ta = 'N', tb = 'N';
  double beta = 0.5;
};

struct result {
  double gflops = 0;
  bool ran = false;
  bool wrong = false;
};

const char kType[4] = {'s', 'd', 'c', 'z'};
int reals(int t) { return t >= 2 ? 2 : 1; }

// Largest relative difference of two results, over the size of the terms
// (each element's terms are bounded by k: the inputs lie in [-1, 1)).
double difference(int t, const std::vector<double>& x, const std::vector<double>& y, std::size_t count, int k) {
  double worst = 0;
  const std::size_t n = count * reals(t);
  for (std::size_t i = 0; i < n; ++i) {
    double a, b;
    if (t == 0 || t == 2) {
      a = reinterpret_cast<const float*>(x.data())[i];
      b = reinterpret_cast<const float*>(y.data())[i];
    } else {
      a = x[i];
      b = y[i];
    }
    if (!std::isfinite(a)) return 1e300;
    worst = std::max(worst, std::fabs(a - b) / (k + 1.0));
  }
  return worst;
}

struct bench {
  std::vector<library> libs;
  double min_time = 0.15;
  double peak1 = 0, peak1_single = 0;  // one core of the build in use

  // Times every library on one case; results[i] for libs[i].
  std::vector<result> run(int t, const shape& s, int threads) {
    const int m = s.m, n = s.n, k = s.k;
    const char ta[2] = {s.ta, 0}, tb[2] = {s.tb, 0};
    const int lda = s.ta == 'N' ? m : k, ldb = s.tb == 'N' ? k : n;
    const std::size_t na = std::size_t(m) * k * reals(t), nb = std::size_t(k) * n * reals(t),
                      nc = std::size_t(m) * n * reals(t);
    std::vector<double> a, b, c0;
    fill(a, na, 1);
    fill(b, nb, 2);
    fill(c0, nc, 3);
    as_type(t, a);
    as_type(t, b);
    as_type(t, c0);
    const double one[2] = {1.0, 0.0}, half[2] = {s.beta, 0.0};
    const float onef[2] = {1.0f, 0.0f}, halff[2] = {float(s.beta), 0.0f};
    const void* alpha = (t == 0 || t == 2) ? static_cast<const void*>(onef) : static_cast<const void*>(one);
    const void* beta = (t == 0 || t == 2) ? static_cast<const void*>(halff) : static_cast<const void*>(half);
    std::vector<result> out(libs.size());
    std::vector<std::vector<double>> cs(libs.size(), c0);
    std::vector<bool> use(libs.size(), false);
    for (std::size_t l = 0; l < libs.size(); ++l) {
      library& L = libs[l];
      if (!L.gemm[t]) continue;
      if (L.small_only && (threads > 1 || std::max({m, n, k}) > 64)) continue;
      use[l] = true;
      if (L.set_threads) L.set_threads(threads);
      L.gemm[t](ta, tb, &m, &n, &k, alpha, a.data(), &lda, b.data(), &ldb, beta, cs[l].data(), &m);
    }
    // Agreement with the first peer that ran (orb is libs[0]).
    for (std::size_t l = 1; l < libs.size(); ++l)
      if (use[l]) {
        const double eps = (t == 0 || t == 2) ? 1.2e-7 : 2.3e-16;
        out[0].wrong = difference(t, cs[0], cs[l], std::size_t(m) * n, k) > 8 * eps * (k + 2);
        break;
      }
    const double flops = (t >= 2 ? 8.0 : 2.0) * m * n * double(k);
    std::vector<double> best(libs.size(), 1e300), spent(libs.size(), 0.0);
    std::vector<long> reps(libs.size(), 1);
    bool again = true;
    while (again) {
      again = false;
      for (std::size_t l = 0; l < libs.size(); ++l) {
        if (!use[l] || spent[l] >= min_time) continue;
        library& L = libs[l];
        if (L.set_threads) L.set_threads(threads);
        const auto t0 = clock_type::now();
        for (long r = 0; r < reps[l]; ++r)
          L.gemm[t](ta, tb, &m, &n, &k, alpha, a.data(), &lda, b.data(), &ldb, beta, cs[l].data(), &m);
        const double dt = std::chrono::duration<double>(clock_type::now() - t0).count();
        spent[l] += dt;
        best[l] = std::min(best[l], dt / double(reps[l]));
        if (dt < 0.01) reps[l] *= 2;
        again = again || spent[l] < min_time;
      }
    }
    for (std::size_t l = 0; l < libs.size(); ++l)
      if (use[l]) {
        out[l].ran = true;
        out[l].gflops = flops / best[l] * 1e-9;
      }
    return out;
  }
};

// "1,2,3" as numbers.
std::vector<int> int_list(const std::string& v) {
  std::vector<int> out;
  for (std::size_t p = 0; p < v.size();) {
    out.push_back(std::atoi(v.c_str() + p));
    const auto q = v.find(',', p);
    if (q == std::string::npos) break;
    p = q + 1;
  }
  return out;
}

// The default set, or only the square sizes asked for with --square (or
// --small), or the short K shapes of --skinny.
std::vector<shape> shapes(bool full, const std::vector<int>& only, bool skinny) {
  std::vector<shape> out;
  if (skinny) {
    for (int k : {2, 3, 4, 5, 6, 8, 10, 12, 14, 16}) out.push_back({"skinny-k", 800, 800, k});
    return out;
  }
  if (!only.empty()) {
    for (int s : only) out.push_back({"square", s, s, s});
    return out;
  }
  const std::vector<int> square = full ? std::vector<int>{4, 6, 8, 12, 16, 24, 32, 48, 64, 96, 128, 192, 256, 384,
                                                          512, 768, 1000, 1500, 2000, 3000, 4000}
                                       : std::vector<int>{4, 8, 16, 32, 64, 128, 256, 512, 1000};
  for (int s : square) out.push_back({"square", s, s, s});
  const std::vector<int> thin = full ? std::vector<int>{2, 3, 4, 5, 6, 8, 10, 12, 14, 16} : std::vector<int>{2, 8, 16};
  const int big = full ? 2000 : 800;
  for (int w : thin) out.push_back({"skinny-n", big, w, big});
  for (int w : thin) out.push_back({"skinny-m", w, big, big});
  for (int w : thin) out.push_back({"skinny-k", big, big, w});
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  orb::bench::restart_with_sleeping_peers(argv);
  bool full = false;
  std::string csv = "gemm_bench.csv", png, types = "sdcz";
  std::string openblas = ORB_BENCH_OPENBLAS, blis = ORB_BENCH_BLIS;
  std::vector<int> thread_counts = {1, 2};
  std::vector<int> square_only;
  bool skinny = false;
  std::vector<double> betas = {0.5};
  std::vector<std::string> transes = {"NN"};
  bench B;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto next = [&]() -> std::string { return i + 1 < argc ? argv[++i] : ""; };
    if (a == "--full") full = true;
    else if (a == "--min-time") B.min_time = std::atof(next().c_str());
    else if (a == "--csv") csv = next();
    else if (a == "--png") png = next();
    else if (a == "--types") types = next();
    else if (a == "--openblas") openblas = next();
    else if (a == "--blis") blis = next();
    else if (a == "--square") square_only = int_list(next());
    else if (a == "--small") square_only = {4, 5, 8, 13, 16, 24, 31, 32};
    else if (a == "--skinny") skinny = true;
    else if (a == "--beta") {
      betas.clear();
      const std::string v = next();
      for (std::size_t p = 0; p < v.size();) {
        betas.push_back(std::atof(v.c_str() + p));
        const auto q = v.find(',', p);
        if (q == std::string::npos) break;
        p = q + 1;
      }
    } else if (a == "--trans") {
      transes.clear();
      const std::string v = next();
      for (std::size_t p = 0; p + 1 < v.size(); p += 3) transes.push_back(v.substr(p, 2));
    }
    else if (a == "--threads") thread_counts = int_list(next());
    else {
      std::fprintf(stderr,
                   "usage: gemm_bench [--full] [--square N,...] [--small] [--skinny] [--beta B,...] [--trans NN,TN] [--min-time S] [--threads 1,2] [--types sdcz] [--csv FILE] "
                   "[--png FILE] [--openblas PATH] [--blis PATH]\n");
      return 2;
    }
  }
  if (png.empty()) png = csv.substr(0, csv.rfind('.')) + ".png";

  B.libs.push_back(orb_library());
  library ob, bl;
  if (open_peer(ob, "OpenBLAS", openblas, "openblas_set_num_threads")) B.libs.push_back(ob);
  if (open_peer(bl, "BLIS", blis, "bli_thread_set_num_threads")) B.libs.push_back(bl);
#ifdef ORB_BENCH_LIBXSMM
  {
    libxsmm_init();
    library xs;
    xs.name = "libxsmm";
    xs.gemm[0] = reinterpret_cast<gemm_fn>(&libxsmm_sgemm);
    xs.gemm[1] = reinterpret_cast<gemm_fn>(&libxsmm_dgemm);
    xs.small_only = true;
    B.libs.push_back(xs);
  }
#else
  std::printf("# libxsmm: not in this build (Debian's libxsmm-dev absent at configure time)\n");
#endif

  const orb::bench::build in_use = orb::bench::build_in_use();
  B.peak1 = orb::bench::measure_peak(in_use, false);
  B.peak1_single = orb::bench::measure_peak(in_use, true);
  long cpus = sysconf(_SC_NPROCESSORS_ONLN);
  const std::string model = orb::bench::cpu_model();
  std::printf("# processor: %s\n# orb kernels: %s; %ld processors; measured peak of the %s build %.1f GFLOPS double, "
              "%.1f single, per core\n",
              model.c_str(), orb_kernel_library(), cpus, orb::bench::build_name(in_use), B.peak1, B.peak1_single);
  std::FILE* out = std::fopen(csv.c_str(), "w");
  if (out) {
    std::fprintf(out, "# processor=%s kernels=%s peak_double_per_core=%.2f peak_single_per_core=%.2f processors=%ld\n",
                 model.c_str(), orb_kernel_library(), B.peak1, B.peak1_single, cpus);
    std::fprintf(out, "type,kind,m,n,k,threads,library,gflops,peak_fraction,orb_ratio,wrong,trans,beta\n");
  }
  for (char tc : types) {
    const int t = int(std::strchr("sdcz", tc) - "sdcz");
    if (t < 0 || t > 3) continue;
    // Each type's table names the processor and the peak its %peak is of.
    std::printf("# %cgemm on %s, %%peak of %.1f GFLOPS per core (%s build, %s precision)\n", kType[t], model.c_str(),
                t == 0 || t == 2 ? B.peak1_single : B.peak1, orb::bench::build_name(in_use),
                t == 0 || t == 2 ? "single" : "double");
    std::printf("%-4s %-8s %2s %5s %5s %5s %5s %3s %9s %6s", "type", "shape", "op", "beta", "m", "n", "k", "thr",
                "orb", "%peak");
    for (std::size_t l = 1; l < B.libs.size(); ++l) std::printf(" %9s %6s", B.libs[l].name.c_str(), "ratio");
    std::printf("\n");
    std::vector<shape> all;
    for (const std::string& tr : transes)
      for (double beta : betas)
        for (shape s : shapes(full, square_only, skinny)) {
          s.ta = char(std::toupper(tr[0])), s.tb = char(std::toupper(tr[1])), s.beta = beta;
          all.push_back(s);
        }
    for (int threads : thread_counts)
      for (const shape& s : all) {
        const std::vector<result> r = B.run(t, s, threads);
        const double peak = (t == 0 || t == 2 ? B.peak1_single : B.peak1) * threads;
        std::printf("%-4c %-8s %c%c %5g %5d %5d %5d %3d %9.2f %5.1f%%", kType[t], s.kind, s.ta, s.tb, s.beta, s.m, s.n,
                    s.k, threads,
                    r[0].gflops, peak > 0 ? 100 * r[0].gflops / peak : 0.0);
        for (std::size_t l = 1; l < B.libs.size(); ++l) {
          if (r[l].ran) std::printf(" %9.2f %6.2f", r[l].gflops, r[0].gflops / r[l].gflops);
          else std::printf(" %9s %6s", "-", "-");
        }
        std::printf("%s\n", r[0].wrong ? "  WRONG" : "");
        std::fflush(stdout);
        if (out)
          for (std::size_t l = 0; l < B.libs.size(); ++l)
            if (r[l].ran)
              std::fprintf(out, "%c,%s,%d,%d,%d,%d,%s,%.3f,%.4f,%.3f,%d,%c%c,%g\n", kType[t], s.kind, s.m, s.n, s.k,
                           threads, B.libs[l].name.c_str(), r[l].gflops, peak > 0 ? r[l].gflops / peak : 0.0,
                           r[0].gflops / r[l].gflops, l == 0 && r[0].wrong ? 1 : 0, s.ta, s.tb, s.beta);
      }
  }
  if (out) {
    std::fclose(out);
    std::printf("# wrote %s\n", csv.c_str());
    // The plot, when the plotting script and matplotlib are there.
    std::string script = __FILE__;
    script = script.substr(0, script.rfind('/') + 1) + "gemm_plot.py";
    const std::string cmd = "/usr/bin/python3 '" + script + "' '" + csv + "' '" + png + "' 2>/dev/null";
    if (access(script.c_str(), R_OK) == 0 && std::system(cmd.c_str()) == 0) std::printf("# wrote %s\n", png.c_str());
  }
  return 0;
}
