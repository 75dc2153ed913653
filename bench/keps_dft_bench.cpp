// The signal layer's any-length door (kepsDFT*) beside FFTW (FFTW_MEASURE,
// one thread, same process, planning untimed): complex and real, double and
// single, out of place, on mixed-radix and prime lengths. Times are the
// calling thread's CPU time (CLOCK_THREAD_CPUTIME_ID), best batch of several,
// so other work on the machine disturbs them little. GFLOPS = 5 N log2 N / t
// (half for real data); the ratio is FFTW's time over orb's.
//
//   keps_dft_bench [--build avx512|avx2|def] [--sizes N,...] [--csv FILE]
#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/common.hpp"

extern "C" void* orb_test_dft_kernel(const char* tag, const char* name);

namespace {

double thread_seconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// Calls per batch for about 20 ms of f.
template <class F>
int batch_reps(F&& f) {
  f();
  int reps = 1;
  for (;;) {
    const double t0 = thread_seconds();
    for (int i = 0; i < reps; ++i) f();
    if (thread_seconds() - t0 > 0.02 || reps > (1 << 24)) return reps;
    reps *= 2;
  }
}
template <class F>
double batch_time(F&& f, int reps) {
  const double t0 = thread_seconds();
  for (int i = 0; i < reps; ++i) f();
  return (thread_seconds() - t0) / reps;
}

struct Fftw {
  void* (*plan_dft)(int, void*, void*, int, unsigned) = nullptr;
  void* (*plan_r2c)(int, void*, void*, unsigned) = nullptr;
  void (*execute)(void*) = nullptr;
  void* (*malloc_)(size_t) = nullptr;
  bool open(const char* lib, const char* pre) {
    void* h = orb::bench::open_peer_library("keps_dft_bench", lib, "measuring orb alone");
    if (!h) return false;
    const std::string p(pre);
    orb::bench::peer_symbol(h, plan_dft, (p + "plan_dft_1d").c_str());
    orb::bench::peer_symbol(h, plan_r2c, (p + "plan_dft_r2c_1d").c_str());
    orb::bench::peer_symbol(h, execute, (p + "execute").c_str());
    orb::bench::peer_symbol(h, malloc_, (p + "malloc").c_str());
    return plan_dft && plan_r2c && execute && malloc_;
  }
};

template <class T>
struct Row {
  double orb = 0, fftw = 0;
};

template <class T>
Row<T> measure(const char* tag, const char* kind, bool real, int n, Fftw& fw) {
  using size_fn = int (*)(int, int, int, int*, int*, int*);
  using init_fn = int (*)(int, int, int, void*, unsigned char*);
  using run_fn = int (*)(const T*, T*, const void*, unsigned char*);
  const std::string k(kind);
  auto gs = reinterpret_cast<size_fn>(orb_test_dft_kernel(tag, ("kepsDFTGetSize_" + k).c_str()));
  auto in = reinterpret_cast<init_fn>(orb_test_dft_kernel(tag, ("kepsDFTInit_" + k).c_str()));
  auto fwd = reinterpret_cast<run_fn>(
      orb_test_dft_kernel(tag, ((real ? "kepsDFTFwd_RToCCS_" : "kepsDFTFwd_CToC_") + k).c_str()));
  Row<T> row;
  if (!gs || !in || !fwd) return row;
  int ss, is, bs;
  if (gs(n, 8, 0, &ss, &is, &bs)) return row;
  std::vector<unsigned char> spec(static_cast<size_t>(ss)), init(static_cast<size_t>(is) + 1), buf(static_cast<size_t>(bs) + 1);
  if (in(n, 8, 0, spec.data(), init.data())) return row;
  const size_t len = real ? size_t(n) : 2 * size_t(n);
  const auto d = orb::bench::random_doubles(len, unsigned(n));
  std::vector<T> src(d.begin(), d.end()), dst(2 * size_t(n) + 2);
  auto run_orb = [&] { fwd(src.data(), dst.data(), spec.data(), buf.data()); };
  void* p = nullptr;
  if (fw.execute) {
    T* a = static_cast<T*>(fw.malloc_(sizeof(T) * (2 * size_t(n) + 2)));
    T* b = static_cast<T*>(fw.malloc_(sizeof(T) * (2 * size_t(n) + 2)));
    p = real ? fw.plan_r2c(n, a, b, 0 /* FFTW_MEASURE */) : fw.plan_dft(n, a, b, -1, 0);
    for (size_t i = 0; i < len; ++i) a[i] = src[i];
  }
  auto run_fftw = [&] { fw.execute(p); };
  // Batches of the two alternate, the best of each kept: a change in the
  // load of the machine meets both alike.
  const int ro = batch_reps(run_orb), rf = p ? batch_reps(run_fftw) : 0;
  row.orb = row.fftw = 1e300;
  for (int b = 0; b < 7; ++b) {
    row.orb = std::min(row.orb, batch_time(run_orb, ro));
    if (p) row.fftw = std::min(row.fftw, batch_time(run_fftw, rf));
  }
  if (!p) row.fftw = 0;
  return row;
}

}  // namespace

int main(int argc, char** argv) {
  const char* tag = "avx512";
  std::vector<int> sizes = {60, 100, 120, 240, 360, 480, 500, 720, 1000, 1200, 1500, 2000, 2187, 2400, 3000, 3125,
                            4095, 5000, 6000, 6561, 7000, 10000, 15625, 16807, 30000, 50000, 100000, 17, 31, 97,
                            1009, 10007, 65537};
  FILE* csv = nullptr;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (!std::strcmp(argv[i], "--build")) tag = argv[i + 1];
    else if (!std::strcmp(argv[i], "--csv")) csv = std::fopen(argv[i + 1], "w");
    else if (!std::strcmp(argv[i], "--sizes")) {
      sizes.clear();
      for (char* p = argv[i + 1]; *p;) {
        sizes.push_back(int(std::strtol(p, &p, 10)));
        if (*p == ',') ++p;
      }
    }
  }
  Fftw fd, ff;
  fd.open("libfftw3.so.3", "fftw_");
  ff.open("libfftw3f.so.3", "fftwf_");
  std::printf("kepsDFT (%s build) vs FFTW 3 (FFTW_MEASURE, 1 thread), out of place, forward\n", tag);
  std::printf("processor: %s\n", orb::bench::cpu_model().c_str());
  std::printf("%7s | %-7s %9s %9s %6s | %-7s %9s %9s %6s | %-6s %9s %9s %6s | %-6s %9s %9s %6s\n", "N", "C_64fc",
              "orb GF", "fftw GF", "ratio", "C_32fc", "orb GF", "fftw GF", "ratio", "R_64f", "orb GF", "fftw GF",
              "ratio", "R_32f", "orb GF", "fftw GF", "ratio");
  if (csv) std::fprintf(csv, "n,kind,orb_s,fftw_s\n");
  for (int n : sizes) {
    const double flops = 5.0 * n * std::log2(double(n));
    std::printf("%7d |", n);
    auto cell = [&](const char* kind, double o, double f, double fl) {
      std::printf(" %-7s %9.2f %9.2f %6.2f |", "", fl / o * 1e-9, f > 0 ? fl / f * 1e-9 : 0.0, f > 0 ? f / o : 0.0);
      if (csv) std::fprintf(csv, "%d,%s,%.6e,%.6e\n", n, kind, o, f);
    };
    auto a = measure<double>(tag, "C_64fc", false, n, fd);
    cell("C_64fc", a.orb, a.fftw, flops);
    auto b = measure<float>(tag, "C_32fc", false, n, ff);
    cell("C_32fc", b.orb, b.fftw, flops);
    auto c = measure<double>(tag, "R_64f", true, n, fd);
    cell("R_64f", c.orb, c.fftw, flops / 2);
    auto e = measure<float>(tag, "R_32f", true, n, ff);
    cell("R_32f", e.orb, e.fftw, flops / 2);
    std::printf("\n");
    std::fflush(stdout);
  }
  if (csv) std::fclose(csv);
  return 0;
}
