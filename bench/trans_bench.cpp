// Matrix transposition speed: orb beside OpenBLAS (opened by path, same
// process) and memcpy of the same bytes, on 1 and 2 threads.
//
// Routines: ?omatcopy N and T, ?imatcopy T on squares and rectangles,
// ?omatadd NN, NT, TT, for d and z (s and c on a shorter list). OpenBLAS has
// no omatadd: its ?geadd (C := alpha A + beta C, no transposition) stands in
// for NN, and a plain loop for NT and TT. Speeds are GB/s of the bytes a
// routine must read and write; memcpy moving the bytes of the result is the
// ceiling ("of memcpy" is the fraction of it). Each point alternates batches
// of the libraries and keeps the best batch of each. Before timing, the
// results of orb and the peer are compared; a mismatch is marked WRONG.
//
//   trans_bench [--quick] [--full] [--threads 1,2] [--csv FILE] [--openblas PATH] [--sizes N,...] [--only NAME]
#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/common.hpp"
#include "orb/orb_service.h"
#include "orb/orb_trans.h"

namespace {

using std::size_t;

enum { kRowMajor = 101, kNoTrans = 111, kTrans = 112 };

struct peer {
  void* h = nullptr;
  void (*domatcopy)(int, int, int, int, double, const double*, int, double*, int) = nullptr;
  void (*somatcopy)(int, int, int, int, float, const float*, int, float*, int) = nullptr;
  void (*zomatcopy)(int, int, int, int, const double*, const double*, int, double*, int) = nullptr;
  void (*comatcopy)(int, int, int, int, const float*, const float*, int, float*, int) = nullptr;
  void (*dimatcopy)(int, int, int, int, double, double*, int, int) = nullptr;
  void (*zimatcopy)(int, int, int, int, const double*, double*, int, int) = nullptr;
  void (*dgeadd)(int, int, int, double, const double*, int, double, double*, int) = nullptr;
  void (*zgeadd)(int, int, int, const double*, const double*, int, const double*, double*, int) = nullptr;
  void (*set_threads)(int) = nullptr;
  void open(const std::string& path) {
    h = orb::bench::open_peer_library("trans_bench", path, "measuring orb alone");
    if (!h) return;
    using orb::bench::peer_symbol;
    peer_symbol(h, domatcopy, "cblas_domatcopy");
    peer_symbol(h, somatcopy, "cblas_somatcopy");
    peer_symbol(h, zomatcopy, "cblas_zomatcopy");
    peer_symbol(h, comatcopy, "cblas_comatcopy");
    peer_symbol(h, dimatcopy, "cblas_dimatcopy");
    peer_symbol(h, zimatcopy, "cblas_zimatcopy");
    peer_symbol(h, dgeadd, "cblas_dgeadd");
    peer_symbol(h, zgeadd, "cblas_zgeadd");
    peer_symbol(h, set_threads, "openblas_set_num_threads");
  }
};

std::string cpu_model() {
  std::ifstream f("/proc/cpuinfo");
  std::string line;
  while (std::getline(f, line))
    if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
  return "unknown processor";
}

struct options {
  double min_time = 0.2;
  bool full = false;
  std::vector<int> threads = {1, 2};
  std::string csv, openblas = ORB_BENCH_OPENBLAS;
  std::vector<size_t> squares;  // --sizes: only these squares
  std::string only;             // --only: routines whose name contains this
};

struct point {
  const char* routine;
  size_t rows, cols, ld;
  int threads;
  double bytes;
  std::function<void()> orb, peer;
  std::function<bool()> agree;  // results of the last orb and peer calls
};

void run(const options& opt) {
  peer ob;
  ob.open(opt.openblas);
  std::printf("trans_bench on %s\n", cpu_model().c_str());
  std::printf("%-16s %6s %6s %6s %3s %9s %9s %9s %7s %8s\n", "routine", "rows", "cols", "ld", "thr", "orb GB/s",
              "peer GB/s", "memcpy", "ratio", "of mcpy");
  std::FILE* csv = opt.csv.empty() ? nullptr : std::fopen(opt.csv.c_str(), "w");
  if (csv) std::fprintf(csv, "routine,rows,cols,ld,threads,orb_gbs,peer_gbs,memcpy_gbs\n");
  std::vector<size_t> sizes = {16, 64, 256, 1024, 2048, 4096};
  if (opt.full) sizes.push_back(8192);
  if (opt.min_time < 0.1) sizes = {64, 1024};
  if (!opt.squares.empty()) sizes = opt.squares;
  struct shape {
    size_t r, c, ld;
  };
  std::vector<shape> shapes;
  for (size_t n : sizes) shapes.push_back({n, n, n});
  if (opt.squares.empty()) {
    shapes.push_back({1000, 3001, 3001});
    shapes.push_back({1000, 1000, 1024});
  }
  for (int threads : opt.threads) {
    orb_set_num_threads(threads);
    if (ob.set_threads) ob.set_threads(threads);
    for (const shape& s : shapes) {
      const size_t n = s.r * s.ld, nt = s.c * (s.r > s.ld ? s.r : s.ld);
      const size_t cap = (n > nt ? n : nt) + 64;
      std::vector<double> a(2 * cap), b(2 * cap), c(2 * cap), d(2 * cap), e(2 * cap);
      orb::bench::fill_random(a.data(), a.size(), 1);
      orb::bench::fill_random(b.data(), b.size(), 2);
      const int R = int(s.r), C = int(s.c), ld = int(s.ld);
      const size_t ldt = s.r;  // leading dimension of a transposed result
      const double z1[2] = {1, 0}, za[2] = {0.5, 0}, zb[2] = {-2, 0};
      const orb_complex16 oz1{1, 0}, oza{0.5, 0}, ozb{-2, 0};
      auto* za_ = reinterpret_cast<orb_complex16*>(a.data());
      auto* zb_ = reinterpret_cast<orb_complex16*>(b.data());
      auto* zc_ = reinterpret_cast<orb_complex16*>(c.data());
      auto* zd_ = reinterpret_cast<orb_complex16*>(d.data());
      // Floats of their own: the bits of random doubles read as floats hold
      // signalling NaNs, which a peer that multiplies by 1 would quieten.
      std::vector<float> fa_v(4 * cap);
      for (size_t i = 0; i < fa_v.size(); ++i) fa_v[i] = float(a[i % a.size()]);
      float* fa = fa_v.data();
      auto* fc = reinterpret_cast<float*>(c.data());
      auto* fd = reinterpret_cast<float*>(d.data());
      const double elems = double(s.r) * double(s.c);
      // The results agree on the matrix (not the gaps between its lines):
      // `lines` lines of `len` elements of `size` bytes, `ldl` apart.
      auto same_lines = [&](size_t lines, size_t len, size_t ldl, size_t size) {
        const auto* x = reinterpret_cast<const unsigned char*>(c.data());
        const auto* y = reinterpret_cast<const unsigned char*>(d.data());
        for (size_t i = 0; i < lines; ++i)
          if (std::memcmp(x + i * ldl * size, y + i * ldl * size, len * size) != 0) return false;
        return true;
      };
      std::vector<point> pts = {
          {"domatcopy_n", s.r, s.c, s.ld, threads, 16 * elems,
           [&] { orb_domatcopy('R', 'N', s.r, s.c, 1.0, a.data(), s.ld, c.data(), s.ld); },
           ob.domatcopy ? std::function<void()>([&] { ob.domatcopy(kRowMajor, kNoTrans, R, C, 1.0, a.data(), ld, d.data(), ld); }) : nullptr,
           [&] { return same_lines(s.r, s.c, s.ld, 8); }},
          {"domatcopy_t", s.r, s.c, s.ld, threads, 16 * elems,
           [&] { orb_domatcopy('R', 'T', s.r, s.c, 1.0, a.data(), s.ld, c.data(), ldt); },
           ob.domatcopy ? std::function<void()>([&] { ob.domatcopy(kRowMajor, kTrans, R, C, 1.0, a.data(), ld, d.data(), R); }) : nullptr,
           [&] { return same_lines(s.c, s.r, ldt, 8); }},
          {"zomatcopy_n", s.r, s.c, s.ld, threads, 32 * elems,
           [&] { orb_zomatcopy('R', 'N', s.r, s.c, oz1, za_, s.ld, zc_, s.ld); },
           ob.zomatcopy ? std::function<void()>([&] { ob.zomatcopy(kRowMajor, kNoTrans, R, C, z1, a.data(), ld, d.data(), ld); }) : nullptr,
           [&] { return same_lines(s.r, s.c, s.ld, 16); }},
          {"zomatcopy_t", s.r, s.c, s.ld, threads, 32 * elems,
           [&] { orb_zomatcopy('R', 'T', s.r, s.c, oz1, za_, s.ld, zc_, ldt); },
           ob.zomatcopy ? std::function<void()>([&] { ob.zomatcopy(kRowMajor, kTrans, R, C, z1, a.data(), ld, d.data(), R); }) : nullptr,
           [&] { return same_lines(s.c, s.r, ldt, 16); }},
          {"somatcopy_t", s.r, s.c, s.ld, threads, 8 * elems,
           [&] { orb_somatcopy('R', 'T', s.r, s.c, 1.0f, fa, s.ld, fc, ldt); },
           ob.somatcopy ? std::function<void()>([&] { ob.somatcopy(kRowMajor, kTrans, R, C, 1.0f, fa, ld, fd, R); }) : nullptr,
           [&] { return same_lines(s.c, s.r, ldt, 4); }},
          {"comatcopy_t", s.r, s.c, s.ld, threads, 16 * elems,
           [&] { orb_comatcopy('R', 'T', s.r, s.c, orb_complex8{1, 0}, reinterpret_cast<orb_complex8*>(fa), s.ld, reinterpret_cast<orb_complex8*>(fc), ldt); },
           ob.comatcopy ? std::function<void()>([&] { const float f1[2] = {1, 0}; ob.comatcopy(kRowMajor, kTrans, R, C, f1, fa, ld, fd, R); }) : nullptr,
           [&] { return same_lines(s.c, s.r, ldt, 8); }},
          // In place: the same matrix transposed back and forth (an even
          // number of calls leaves it as it was).
          {"dimatcopy_t", s.r, s.c, s.ld, threads, 16 * elems,
           [&] { orb_dimatcopy('R', 'T', s.r, s.c, 1.0, c.data(), s.ld, ldt); orb_dimatcopy('R', 'T', s.c, s.r, 1.0, c.data(), ldt, s.ld); },
           ob.dimatcopy ? std::function<void()>([&] { ob.dimatcopy(kRowMajor, kTrans, R, C, 1.0, d.data(), ld, R); ob.dimatcopy(kRowMajor, kTrans, C, R, 1.0, d.data(), R, ld); }) : nullptr,
           [&] { return same_lines(s.r, s.c, s.ld, 8); }},
          {"zimatcopy_t", s.r, s.c, s.ld, threads, 32 * elems,
           [&] { orb_zimatcopy('R', 'T', s.r, s.c, oz1, zc_, s.ld, ldt); orb_zimatcopy('R', 'T', s.c, s.r, oz1, zc_, ldt, s.ld); },
           ob.zimatcopy ? std::function<void()>([&] { ob.zimatcopy(kRowMajor, kTrans, R, C, z1, d.data(), ld, R); ob.zimatcopy(kRowMajor, kTrans, C, R, z1, d.data(), R, ld); }) : nullptr,
           [&] { return same_lines(s.r, s.c, s.ld, 16); }},
          {"domatadd_nn", s.r, s.c, s.ld, threads, 24 * elems,
           [&] { orb_domatadd('R', 'N', 'N', s.r, s.c, 0.5, a.data(), s.ld, -2.0, b.data(), s.ld, c.data(), s.ld); },
           ob.dgeadd ? std::function<void()>([&] { std::memcpy(d.data(), b.data(), 8 * n); ob.dgeadd(kRowMajor, R, C, 0.5, a.data(), ld, -2.0, d.data(), ld); }) : nullptr,
           [&] { return same_lines(s.r, s.c, s.ld, 8); }},
          {"domatadd_nt", s.r, s.c, s.ld, threads, 24 * elems,
           [&] { orb_domatadd('R', 'N', 'T', s.r, s.c, 0.5, a.data(), s.ld, -2.0, b.data(), s.r, c.data(), s.ld); },
           [&] { for (size_t i = 0; i < s.r; ++i) for (size_t j = 0; j < s.c; ++j) d[i * s.ld + j] = 0.5 * a[i * s.ld + j] + -2.0 * b[j * s.r + i]; },
           [&] { return same_lines(s.r, s.c, s.ld, 8); }},
          {"domatadd_tt", s.r, s.c, s.ld, threads, 24 * elems,
           [&] { orb_domatadd('R', 'T', 'T', s.r, s.c, 0.5, a.data(), s.r, -2.0, b.data(), s.r, c.data(), s.ld); },
           [&] { for (size_t i = 0; i < s.r; ++i) for (size_t j = 0; j < s.c; ++j) d[i * s.ld + j] = 0.5 * a[j * s.r + i] + -2.0 * b[j * s.r + i]; },
           [&] { return same_lines(s.r, s.c, s.ld, 8); }},
          {"zomatadd_nn", s.r, s.c, s.ld, threads, 48 * elems,
           [&] { orb_zomatadd('R', 'N', 'N', s.r, s.c, oza, za_, s.ld, ozb, zb_, s.ld, zc_, s.ld); },
           ob.zgeadd ? std::function<void()>([&] { std::memcpy(d.data(), b.data(), 16 * n); ob.zgeadd(kRowMajor, R, C, za, a.data(), ld, zb, d.data(), ld); }) : nullptr,
           nullptr},
      };
      (void)zd_;
      for (point& p : pts) {
        // Short list for s and c, and the memory-heavy plain loops only up to 4096.
        const bool sc = p.routine[0] == 's' || p.routine[0] == 'c';
        if (sc && s.r != s.c) continue;
        if (!opt.only.empty() && std::strstr(p.routine, opt.only.c_str()) == nullptr) continue;
        // memcpy moves the bytes of the result (a sum reads two matrices).
        const bool sum = std::strstr(p.routine, "omatadd") != nullptr;
        const size_t bytes = size_t(p.bytes / (sum ? 3 : 2));
        auto mc = [&] { std::memcpy(e.data(), b.data(), bytes); };
        // The in-place pairs work on c and d: both start from the same data.
        std::memcpy(c.data(), a.data(), 8 * a.size());
        std::memcpy(d.data(), a.data(), 8 * a.size());
        std::vector<std::function<void()>> fs = {p.orb, p.peer, mc};
        std::vector<double> t = orb::bench::race(fs, opt.min_time);
        // Agreement of the last results (the in-place pairs leave the source).
        std::string note;
        if (p.peer && p.agree) {
          p.orb();
          p.peer();
          if (!p.agree()) note = " WRONG";
        }
        const double go = p.bytes / t[0] * 1e-9, gp = p.peer ? p.bytes / t[1] * 1e-9 : 0,
                     gm = 2.0 * double(bytes) / t[2] * 1e-9;
        std::printf("%-16s %6zu %6zu %6zu %3d %9.2f %9.2f %9.2f %7.2f %8.2f%s\n", p.routine, s.r, s.c, s.ld, threads,
                    go, gp, gm, gp > 0 ? go / gp : 0.0, go / gm, note.c_str());
        std::fflush(stdout);
        if (csv) std::fprintf(csv, "%s,%zu,%zu,%zu,%d,%.3f,%.3f,%.3f\n", p.routine, s.r, s.c, s.ld, threads, go, gp, gm);
      }
    }
  }
  if (csv) std::fclose(csv);
}

}  // namespace

int main(int argc, char** argv) {
  orb::bench::restart_with_sleeping_peers(argv);
  options opt;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    auto next = [&]() -> std::string { return i + 1 < argc ? argv[++i] : ""; };
    if (arg == "--quick") opt.min_time = 0.05;
    else if (arg == "--full") opt.full = true;
    else if (arg == "--csv") opt.csv = next();
    else if (arg == "--openblas") opt.openblas = next();
    else if (arg == "--only") opt.only = next();
    else if (arg == "--sizes") {
      const std::string list = next();
      for (size_t p = 0; p < list.size();) {
        size_t q = list.find(',', p);
        if (q == std::string::npos) q = list.size();
        opt.squares.push_back(std::strtoul(list.substr(p, q - p).c_str(), nullptr, 10));
        p = q + 1;
      }
    }
    else if (arg == "--threads") {
      opt.threads.clear();
      const std::string list = next();
      for (size_t p = 0; p < list.size();) {
        opt.threads.push_back(std::atoi(list.c_str() + p));
        p = list.find(',', p);
        if (p == std::string::npos) break;
        ++p;
      }
    } else {
      std::fprintf(stderr, "usage: trans_bench [--quick] [--full] [--threads 1,2] [--csv FILE] [--openblas PATH] [--sizes N,...] [--only NAME]\n");
      return 2;
    }
  }
  run(opt);
  return 0;
}
