// Fourier transform speed: orb beside FFTW 3 (opened by path, same process,
// one thread, plans made with FFTW_MEASURE before any timing).
//
// Cases: complex (c2c) and real (r2c, forward, conjugate-even result), double
// and single precision, in and out of place; lengths: powers of two 8 to
// 2^22, mixed radix (2^a 3^b 5^c 7^d: 1000, 4095, 6000 and others) and primes
// (17, 1009, 65537). GFLOPS is the usual nominal count, 5 N log2 N over the
// time of one transform (half of it for a real one), so that the columns
// compare across lengths. Each point alternates batches of the two
// libraries and keeps the best batch of each. Before timing, the forward
// results of orb and FFTW on the same data are compared (relative L2 error);
// one past 16 eps log2 N is marked WRONG.
//
//   dft_bench [--quick] [--lengths N,...] [--only c2c|r2c] [--precision d|s] [--csv FILE]
//             [--fftw PATH] [--fftwf PATH]
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench/common.hpp"
#include "orb/orb_dft.h"
#include "orb/orb_service.h"

namespace {

// FFTW's basic interface, one precision: plans are opaque pointers.
struct fftw_lib {
  void* h = nullptr;
  void* (*plan_c2c)(int, void*, void*, int, unsigned) = nullptr;
  void* (*plan_r2c)(int, void*, void*, unsigned) = nullptr;
  void (*execute)(void*) = nullptr;
  void (*destroy)(void*) = nullptr;
  bool open(const std::string& path, const char* prefix) {
    h = orb::bench::open_peer_library("dft_bench", path, "measuring orb alone");
    if (!h) return false;
    const std::string p = prefix;
    orb::bench::peer_symbol(h, plan_c2c, (p + "_plan_dft_1d").c_str());
    orb::bench::peer_symbol(h, plan_r2c, (p + "_plan_dft_r2c_1d").c_str());
    orb::bench::peer_symbol(h, execute, (p + "_execute").c_str());
    orb::bench::peer_symbol(h, destroy, (p + "_destroy_plan").c_str());
    return plan_c2c && plan_r2c && execute && destroy;
  }
};
constexpr int kFftwForward = -1;
constexpr unsigned kFftwMeasure = 0;

// Memory on a cache line, freed with the case.
struct buffer {
  void* p = nullptr;
  explicit buffer(std::size_t bytes) { p = std::aligned_alloc(64, (bytes + 63) / 64 * 64); }
  ~buffer() { std::free(p); }
  buffer(const buffer&) = delete;
  buffer& operator=(const buffer&) = delete;
};

struct options {
  double min_time = 0.1;
  std::vector<long> lengths;  // empty: the standard list
  std::string only, precision = "ds", csv = "dft_bench.csv";
  std::string fftw = "/usr/lib/" ORB_BENCH_MULTIARCH "/libfftw3.so.3";
  std::string fftwf = "/usr/lib/" ORB_BENCH_MULTIARCH "/libfftw3f.so.3";
};

std::vector<long> standard_lengths() {
  std::vector<long> v;
  for (long n = 8; n <= (1L << 22); n *= 2) v.push_back(n);
  for (long n : {60L, 100L, 1000L, 1536L, 2520L, 4095L, 6000L, 10000L, 15625L, 100000L, 1000000L}) v.push_back(n);
  for (long n : {17L, 1009L, 65537L}) v.push_back(n);
  return v;
}

// pow2, mixed (2^a 3^b 5^c 7^d), prime, or other (a larger prime factor).
const char* length_class(long n) {
  if ((n & (n - 1)) == 0) return "pow2";
  long m = n;
  for (long p : {2L, 3L, 5L, 7L})
    while (m % p == 0) m /= p;
  if (m == 1) return "mixed";
  for (long p = 2; p * p <= n; ++p)
    if (n % p == 0) return "other";
  return "prime";
}

// One case of one precision T (double or float).
template <class T>
struct bench_case {
  bool real, inplace;
  long n;
  // Elements of T in the input and output arrays (complex: 2 per value).
  std::size_t in_elems() const { return real ? (inplace ? 2 * (n / 2 + 1) : n) : 2 * n; }
  std::size_t out_elems() const { return real ? 2 * (n / 2 + 1) : 2 * n; }
};

template <class T>
long make_orb(orb_dft_handle* h, const bench_case<T>& c) {
  const auto prec = sizeof(T) == 8 ? ORB_DFT_DOUBLE : ORB_DFT_SINGLE;
  long st = orb_dft_create_descriptor_1d(h, prec, c.real ? ORB_DFT_REAL : ORB_DFT_COMPLEX, c.n);
  if (st) return st;
  st = orb_dft_set_value_long(*h, ORB_DFT_PLACEMENT, c.inplace ? ORB_DFT_INPLACE : ORB_DFT_NOT_INPLACE);
  if (st) return st;
  return orb_dft_commit_descriptor(*h);
}

template <class T>
void fill(T* p, std::size_t n, unsigned seed) {
  std::vector<double> d = orb::bench::random_doubles(n, seed);
  for (std::size_t i = 0; i < n; ++i) p[i] = T(d[i]);
}

// Relative L2 distance of the first m elements of x and y.
template <class T>
double rel_l2(const T* x, const T* y, std::size_t m) {
  double num = 0, den = 0;
  for (std::size_t i = 0; i < m; ++i) {
    num += (double(x[i]) - double(y[i])) * (double(x[i]) - double(y[i]));
    den += double(y[i]) * double(y[i]);
  }
  return den > 0 ? std::sqrt(num / den) : std::sqrt(num);
}

template <class T>
void run_case(const options& opt, const fftw_lib& fw, const bench_case<T>& c, std::FILE* csv) {
  const char pc = sizeof(T) == 8 ? 'd' : 's';
  const std::size_t in_b = c.in_elems() * sizeof(T), out_b = c.out_elems() * sizeof(T);
  // orb's arrays and FFTW's, each pair laid out as its placement asks.
  buffer oi(in_b > out_b ? in_b : out_b), oo(out_b), fi(in_b > out_b ? in_b : out_b), fo(out_b);
  T* o_in = static_cast<T*>(oi.p);
  T* o_out = c.inplace ? o_in : static_cast<T*>(oo.p);
  T* f_in = static_cast<T*>(fi.p);
  T* f_out = c.inplace ? f_in : static_cast<T*>(fo.p);
  orb_dft_handle h = nullptr;
  const long st = make_orb(&h, c);
  void* plan = nullptr;
  if (fw.h) {  // FFTW_MEASURE overwrites the arrays: plan before filling
    const int n = int(c.n);
    plan = c.real ? fw.plan_r2c(n, f_in, f_out, kFftwMeasure) : fw.plan_c2c(n, f_in, f_out, kFftwForward, kFftwMeasure);
  }
  auto reset = [&] {
    fill(o_in, c.in_elems(), 7);
    fill(f_in, c.in_elems(), 7);
  };
  reset();
  std::string note;
  double err = 0;
  if (st) {
    note = " orb status " + std::to_string(st);
  } else {
    orb_dft_compute_forward_ptrs(h, o_in, c.inplace ? nullptr : o_out, nullptr, nullptr);
    if (plan) {
      fw.execute(plan);
      err = rel_l2(o_out, f_out, c.out_elems());
      const double eps = sizeof(T) == 8 ? 0x1p-52 : 0x1p-23;
      if (!(err <= 16 * eps * std::log2(double(c.n) + 1))) note = " WRONG";
    }
  }
  reset();
  std::vector<std::function<void()>> fs = {
      st ? std::function<void()>() : [&] { orb_dft_compute_forward_ptrs(h, o_in, c.inplace ? nullptr : o_out, nullptr, nullptr); },
      plan ? std::function<void()>([&] { fw.execute(plan); }) : std::function<void()>()};
  const std::vector<double> t = orb::bench::race(fs, opt.min_time);
  const double flops = (c.real ? 2.5 : 5.0) * double(c.n) * std::log2(double(c.n));
  const double go = st ? 0 : flops / t[0] * 1e-9, gf = plan ? flops / t[1] * 1e-9 : 0;
  const char* kind = c.real ? "r2c" : "c2c";
  const char* place = c.inplace ? "in" : "out";
  std::printf("%c %-4s %-3s %-6s %9ld %9.2f %9.2f %7.2f %9.1e%s\n", pc, kind, place, length_class(c.n), c.n, go, gf,
              gf > 0 && go > 0 ? go / gf : 0.0, err, note.c_str());
  std::fflush(stdout);
  if (csv)
    std::fprintf(csv, "%c%s_%s,%s,%ld,%.3f,%.3f,%d\n", pc, kind, place, length_class(c.n), c.n, go, gf,
                 note.empty() ? 1 : 0);
  if (plan) fw.destroy(plan);
  orb_dft_free_descriptor(&h);
}

template <class T>
void run_precision(const options& opt, const fftw_lib& fw, std::FILE* csv) {
  for (const char* kind : {"c2c", "r2c"}) {
    if (!opt.only.empty() && opt.only != kind) continue;
    for (bool inplace : {false, true})
      for (long n : opt.lengths.empty() ? standard_lengths() : opt.lengths) {
        if (std::strcmp(kind, "r2c") == 0 && n < 2) continue;
        run_case<T>(opt, fw, bench_case<T>{std::strcmp(kind, "r2c") == 0, inplace, n}, csv);
      }
  }
}

std::vector<long> parse_list(const std::string& s) {
  std::vector<long> v;
  for (std::size_t p = 0; p < s.size();) {
    v.push_back(std::strtol(s.c_str() + p, nullptr, 10));
    p = s.find(',', p);
    if (p == std::string::npos) break;
    ++p;
  }
  return v;
}

}  // namespace

int main(int argc, char** argv) {
  options opt;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto next = [&]() -> std::string { return i + 1 < argc ? argv[++i] : ""; };
    if (a == "--quick") opt.min_time = 0.02;
    else if (a == "--lengths") opt.lengths = parse_list(next());
    else if (a == "--only") opt.only = next();
    else if (a == "--precision") opt.precision = next();
    else if (a == "--csv") opt.csv = next();
    else if (a == "--fftw") opt.fftw = next();
    else if (a == "--fftwf") opt.fftwf = next();
    else {
      std::fprintf(stderr, "usage: dft_bench [--quick] [--lengths N,...] [--only c2c|r2c] [--precision d|s|ds] "
                           "[--csv FILE] [--fftw PATH] [--fftwf PATH]\n");
      return 2;
    }
  }
  orb_set_num_threads(1);
  std::FILE* csv = std::fopen(opt.csv.c_str(), "w");
  const std::string model = orb::bench::cpu_model();
  std::string model_word = model.empty() ? "unknown" : model;  // one word for the CSV's key=value line
  for (char& ch : model_word)
    if (ch == ' ') ch = '_';
  std::printf("dft_bench: orb against FFTW 3 (FFTW_MEASURE), one thread, on %s\n", model.c_str());
  std::printf("GFLOPS: 5 N log2 N / t (complex), half of it (real); ratio orb / FFTW; err: relative L2 distance\n");
  std::printf("%s %-4s %-3s %-6s %9s %9s %9s %7s %9s\n", "p", "kind", "pl", "class", "N", "orb", "FFTW", "ratio",
              "err");
  if (csv) {
    std::fprintf(csv, "# processor=%s title=DFT,_one_thread xcol=n xlabel=N ylabel=GFLOPS "
                      "ycol=orb_gflops peercol=fftw_gflops peer=FFTW\n",
                 model_word.c_str());
    std::fprintf(csv, "routine,class,n,orb_gflops,fftw_gflops,orb_agrees\n");
  }
  if (opt.precision.find('d') != std::string::npos) {
    fftw_lib fw;
    if (!fw.open(opt.fftw, "fftw")) fw = fftw_lib{};
    run_precision<double>(opt, fw, csv);
  }
  if (opt.precision.find('s') != std::string::npos) {
    fftw_lib fw;
    if (!fw.open(opt.fftwf, "fftwf")) fw = fftw_lib{};
    run_precision<float>(opt, fw, csv);
  }
  if (csv) {
    std::fclose(csv);
    std::printf("wrote %s (plot: /usr/bin/python3 bench/plot.py %s)\n", opt.csv.c_str(), opt.csv.c_str());
  }
  return 0;
}
