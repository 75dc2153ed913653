// The power-of-two door: every order 0 to 22 of every kind against FFTW's
// long double transform (opened by path), the inverse after the forward,
// in place against out of place, the same bits in every build and on a
// team of 2 or 3, the scale flags as an exact product, the status words,
// and allocation failures that leak nothing.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "dft/dft_types.h"
#include "tests/support/oracle.hpp"
#include "tests/support/orb_test_hooks.h"

namespace {

using ld = long double;
using cld = std::complex<ld>;

// Relative L2 error at most kC * eps * log2(N) (N >= 2), every kind.
constexpr double kC = 2.0;

template <class T>
double bound(long n) {
  return kC * std::numeric_limits<T>::epsilon() * std::max(1.0, std::log2(double(n)));
}

// FFTW's long double library, by path.
struct fftwl {
  using plan = void*;
  plan (*dft)(int, cld*, cld*, int, unsigned);
  plan (*r2c)(int, ld*, cld*, unsigned);
  void (*execute)(plan);
  void (*destroy)(plan);
  static const fftwl& get() {
    static const fftwl f = [] {
      void* h = dlopen("/usr/lib/x86_64-linux-gnu/libfftw3l.so.3", RTLD_NOW | RTLD_LOCAL);
      if (!h) h = dlopen("libfftw3l.so.3", RTLD_NOW | RTLD_LOCAL);
      fftwl r{};
      if (!h) return r;
      r.dft = reinterpret_cast<decltype(r.dft)>(dlsym(h, "fftwl_plan_dft_1d"));
      r.r2c = reinterpret_cast<decltype(r.r2c)>(dlsym(h, "fftwl_plan_dft_r2c_1d"));
      r.execute = reinterpret_cast<decltype(r.execute)>(dlsym(h, "fftwl_execute"));
      r.destroy = reinterpret_cast<decltype(r.destroy)>(dlsym(h, "fftwl_destroy_plan"));
      return r;
    }();
    return f;
  }
};
constexpr unsigned kEstimate = 1u << 6;

std::vector<cld> oracle_dft(std::vector<cld> x) {
  const auto& f = fftwl::get();
  std::vector<cld> y(x.size());
  auto p = f.dft(int(x.size()), x.data(), y.data(), -1, kEstimate);
  f.execute(p);
  f.destroy(p);
  return y;
}
std::vector<cld> oracle_r2c(std::vector<ld> x) {
  const auto& f = fftwl::get();
  std::vector<cld> y(x.size() / 2 + 1);
  auto p = f.r2c(int(x.size()), x.data(), y.data(), kEstimate);
  f.execute(p);
  f.destroy(p);
  return y;
}

double rel_err(const std::vector<cld>& got, const std::vector<cld>& want) {
  ld e = 0, w = 0;
  for (size_t i = 0; i < got.size(); ++i) e += std::norm(got[i] - want[i]), w += std::norm(want[i]);
  return double(std::sqrt(e / (w > 0 ? w : 1)));
}

enum class Form { c, split, real };
struct Kind {
  const char* name;  // C_64fc ...
  Form form;
  bool dbl;
};
void PrintTo(const Kind& k, std::ostream* os) { *os << k.name; }

std::string sfx(const Kind& k) { return std::string(k.dbl ? "64f" : "32f") + (k.form == Form::c ? "c" : ""); }

// The door's routines of one build for one kind, as untyped pointers.
struct Door {
  const char* tag;  // null: the loaded build
  Kind kind;
  void* fn(const std::string& name) const {
    const void* p = tag ? orb_test_dft_kernel(tag, name.c_str()) : orb_test_dft_loaded(name.c_str());
    return const_cast<void*>(p);
  }
  int get_size(int order, int flag, int* s, int* i, int* b) const {
    using F = int (*)(int, int, int, int*, int*, int*);
    return reinterpret_cast<F>(fn(std::string("kepsFFTGetSize_") + kind.name))(order, flag, 0, s, i, b);
  }
  int init_alloc(orb_keps_fft_spec** h, int order, int flag) const {
    using F = int (*)(orb_keps_fft_spec**, int, int, int);
    return reinterpret_cast<F>(fn(std::string("kepsFFTInitAlloc_") + kind.name))(h, order, flag, 0);
  }
  int free_spec(orb_keps_fft_spec* s) const {
    using F = int (*)(orb_keps_fft_spec*);
    return reinterpret_cast<F>(fn(std::string("kepsFFTFree_") + kind.name))(s);
  }
  // One transform (name such as "Fwd_CToC" or "Inv_PackToR") on T values;
  // split data: the real parts then the imaginary parts in one array.
  template <class T>
  int call(const std::string& what, const T* src, T* dst, long n, const orb_keps_fft_spec* s, unsigned char* buf,
           bool inplace) const {
    const std::string name = "kepsFFT" + what + "_" + sfx(kind) + (inplace ? "_I" : "");
    void* f = fn(name);
    if (!f) return 1000;
    if (kind.form == Form::split) {
      if (inplace)
        return reinterpret_cast<int (*)(T*, T*, const orb_keps_fft_spec*, unsigned char*)>(f)(dst, dst + n, s, buf);
      return reinterpret_cast<int (*)(const T*, const T*, T*, T*, const orb_keps_fft_spec*, unsigned char*)>(f)(
          src, src + n, dst, dst + n, s, buf);
    }
    if (inplace) return reinterpret_cast<int (*)(T*, const orb_keps_fft_spec*, unsigned char*)>(f)(dst, s, buf);
    return reinterpret_cast<int (*)(const T*, T*, const orb_keps_fft_spec*, unsigned char*)>(f)(src, dst, s, buf);
  }
};

// The forward result of a kind as complex values 0 .. N-1 (real: 0 .. N/2
// from the layout at hand).
template <class T>
std::vector<cld> as_complex(const Kind& k, const std::vector<T>& y, long n, const std::string& layout) {
  std::vector<cld> r;
  if (k.form == Form::c)
    for (long i = 0; i < n; ++i) r.emplace_back(y[2 * i], y[2 * i + 1]);
  else if (k.form == Form::split)
    for (long i = 0; i < n; ++i) r.emplace_back(y[i], y[n + i]);
  else {
    r.resize(n / 2 + 1);
    r[0] = y[0];
    if (n == 1) return r;
    const long nyq = layout == "Perm" ? 1 : layout == "Pack" ? n - 1 : n, off = layout == "Pack" ? -1 : 0;
    r[n / 2] = y[nyq];
    for (long i = 1; i < n / 2; ++i) r[i] = cld(y[2 * i + off], y[2 * i + 1 + off]);
    if (layout == "CCS") {
      EXPECT_TRUE(y[1] == 0 && y[n + 1] == 0);
    }
  }
  return r;
}

const Kind kKinds[] = {{"C_64fc", Form::c, true},    {"C_32fc", Form::c, false}, {"C_64f", Form::split, true},
                       {"C_32f", Form::split, false}, {"R_64f", Form::real, true}, {"R_32f", Form::real, false}};

class FftDoor : public ::testing::TestWithParam<Kind> {};

template <class T>
void check_orders(const Kind& kind) {
  ASSERT_NE(fftwl::get().execute, nullptr) << "FFTW's long double library (libfftw3-long3) is missing";
  const Door door{nullptr, kind};
  const auto builds = orb::test::runnable_builds();
  const bool real = kind.form == Form::real;
  const std::vector<std::string> fwd = real ? std::vector<std::string>{"Fwd_RToPerm", "Fwd_RToPack", "Fwd_RToCCS"}
                                            : std::vector<std::string>{"Fwd_CToC"};
  const std::vector<std::string> inv = real ? std::vector<std::string>{"Inv_PermToR", "Inv_PackToR", "Inv_CCSToR"}
                                            : std::vector<std::string>{"Inv_CToC"};
  for (int order = 0; order <= 22; ++order) {
    const long n = 1L << order;
    SCOPED_TRACE(std::string(kind.name) + " order " + std::to_string(order));
    const long len = real ? n : 2 * n, out_len = real ? n + 2 : 2 * n;
    const auto xv = orb::test::random_vector<T>(size_t(len), unsigned(order * 7 + 1));
    // The oracle on the same (rounded) input.
    std::vector<cld> want;
    if (real) {
      want = oracle_r2c(std::vector<ld>(xv.begin(), xv.end()));
    } else {
      std::vector<cld> xc(n);
      for (long i = 0; i < n; ++i)
        xc[i] = kind.form == Form::c ? cld(xv[2 * i], xv[2 * i + 1]) : cld(xv[i], xv[n + i]);
      want = oracle_dft(xc);
    }
    orb_keps_fft_spec* s = nullptr;  // forward unscaled, inverse by 1/N
    ASSERT_EQ(door.init_alloc(&s, order, 2), 0);
    int ss, is, bs;
    ASSERT_EQ(door.get_size(order, 2, &ss, &is, &bs), 0);
    std::vector<unsigned char> buf(size_t(bs) + 1);
    for (size_t f = 0; f < fwd.size(); ++f) {
      const std::string layout = real ? fwd[f].substr(7) : "";
      std::vector<T> y(out_len, T(-7));
      ASSERT_EQ(door.call(fwd[f], xv.data(), y.data(), n, s, nullptr, false), 0) << fwd[f];
      const double err = rel_err(as_complex(kind, y, n, layout), want);
      EXPECT_LE(err, bound<T>(n)) << fwd[f];
      // In place, with a buffer of the caller's at an odd address: the same bits.
      std::vector<T> z(xv);
      z.resize(out_len);
      ASSERT_EQ(door.call(fwd[f], z.data(), z.data(), n, s, buf.data() + 1, true), 0);
      z.resize(!real ? out_len : layout != "CCS" ? n : n == 1 ? 2 : n + 2);
      y.resize(z.size());
      EXPECT_TRUE(std::memcmp(y.data(), z.data(), sizeof(T) * y.size()) == 0) << fwd[f] << " in place";
      // The same bits in every build, up to order 16.
      if (order <= 16)
        for (const char* tag : builds) {
          const Door other{tag, kind};
          orb_keps_fft_spec* so = nullptr;
          ASSERT_EQ(other.init_alloc(&so, order, 2), 0);
          std::vector<T> yo(y.size(), T(-7));
          ASSERT_EQ(other.call(fwd[f], xv.data(), yo.data(), n, so, nullptr, false), 0);
          EXPECT_TRUE(std::memcmp(y.data(), yo.data(), sizeof(T) * y.size()) == 0) << tag;
          other.free_spec(so);
        }
      // The inverse by 1/N returns the input.
      std::vector<T> back(len, T(-7));
      ASSERT_EQ(door.call(inv[f], y.data(), back.data(), n, s, nullptr, false), 0);
      std::vector<cld> bc, xc;
      for (long i = 0; i < len; ++i) bc.emplace_back(back[i]), xc.emplace_back(xv[i]);
      EXPECT_LE(rel_err(bc, xc), bound<T>(n)) << inv[f];
    }
    EXPECT_EQ(door.free_spec(s), 0);
  }
}

TEST_P(FftDoor, EveryOrderAgainstTheOracleAndBack) {
  if (GetParam().dbl) check_orders<double>(GetParam());
  else check_orders<float>(GetParam());
}

// A scale flag multiplies the unscaled result by the scale, exactly.
template <class T>
void check_scales(const Kind& kind) {
  const Door door{nullptr, kind};
  const bool real = kind.form == Form::real;
  const std::string fwd = real ? "Fwd_RToPerm" : "Fwd_CToC", inv = real ? "Inv_PermToR" : "Inv_CToC";
  for (int order : {3, 9, 12}) {
    const long n = 1L << order, len = real ? n : 2 * n;
    const auto x = orb::test::random_vector<T>(size_t(len), 5u);
    orb_keps_fft_spec* plain = nullptr;
    ASSERT_EQ(door.init_alloc(&plain, order, 8), 0);
    std::vector<T> yf(len), yi(len);
    door.call(fwd, x.data(), yf.data(), n, plain, nullptr, false);
    door.call(inv, x.data(), yi.data(), n, plain, nullptr, false);
    for (int flag : {1, 2, 4}) {
      SCOPED_TRACE(std::string(kind.name) + " order " + std::to_string(order) + " flag " + std::to_string(flag));
      orb_keps_fft_spec* s = nullptr;
      ASSERT_EQ(door.init_alloc(&s, order, flag), 0);
      const T sc = T(flag == 4 ? 1.0 / std::sqrt(double(n)) : 1.0 / double(n));
      std::vector<T> zf(len), zi(len);
      door.call(fwd, x.data(), zf.data(), n, s, nullptr, false);
      door.call(inv, x.data(), zi.data(), n, s, nullptr, false);
      for (long i = 0; i < len; ++i) {
        ASSERT_EQ(zf[i], flag == 2 ? yf[i] : yf[i] * sc) << i;
        ASSERT_EQ(zi[i], flag == 1 ? yi[i] : yi[i] * sc) << i;
      }
      door.free_spec(s);
    }
    door.free_spec(plain);
  }
}

TEST_P(FftDoor, ScaleFlagsMultiplyExactly) {
  if (GetParam().dbl) check_scales<double>(GetParam());
  else check_scales<float>(GetParam());
}

// Status words, and failures of every allocation leaving nothing behind.
TEST_P(FftDoor, StatusWordsAndAllocationFailures) {
  const Kind kind = GetParam();
  const Door door{nullptr, kind};
  int ss, is, bs;
  const int top = kind.dbl ? 26 : 27;
  EXPECT_EQ(door.get_size(top, 8, &ss, &is, &bs), 0);
  EXPECT_EQ(door.get_size(top + 1, 8, &ss, &is, &bs), -17);
  EXPECT_EQ(door.get_size(-1, 8, &ss, &is, &bs), -17);
  EXPECT_EQ(door.get_size(5, 3, &ss, &is, &bs), -18);
  EXPECT_EQ(door.get_size(5, 8, nullptr, &is, &bs), -8);
  orb_keps_fft_spec* s = nullptr;
  EXPECT_EQ(door.init_alloc(&s, 5, 0), -18);
  // A plan of another kind is refused.
  const Door other{nullptr, kKinds[kind.form == Form::c ? 4 : 0]};
  ASSERT_EQ(other.init_alloc(&s, 8, 8), 0);
  std::vector<double> d(1024);
  const std::string fwd = kind.form == Form::real ? "Fwd_RToPerm" : "Fwd_CToC";
  EXPECT_EQ(door.call(fwd, d.data(), d.data(), 256, s, nullptr, false), -13);
  EXPECT_EQ(door.free_spec(s), -13);
  other.free_spec(s);
  EXPECT_EQ(door.call<double>(fwd, nullptr, d.data(), 256, nullptr, nullptr, false), -8);
  // InitAlloc: the plan block, then (order above 10) the init buffer;
  // a transform without a buffer: its own.
  for (int order : {8, 12}) {
    for (long nth = 1; nth <= 2; ++nth) {
      const long live = orb_test_live_blocks();
      orb_test_fail_allocation(nth, 0);
      const int st = door.init_alloc(&s, order, 8);
      orb_test_fail_allocation(0, 0);
      if (st == 0) {
        EXPECT_TRUE(nth == 2 && order <= 10);
        door.free_spec(s);
      } else {
        EXPECT_EQ(st, -9);
      }
      EXPECT_EQ(orb_test_live_blocks(), live) << order << " " << nth;
    }
    ASSERT_EQ(door.init_alloc(&s, order, 8), 0);
    const long live = orb_test_live_blocks();
    std::vector<double> x(1L << (order + 1), 0.5), y(x.size(), 3.0);
    orb_test_fail_allocation(1, 0);
    EXPECT_EQ(door.call(fwd, x.data(), y.data(), 1L << order, s, nullptr, false), -9);
    orb_test_fail_allocation(0, 0);
    EXPECT_EQ(y[0], 3.0) << "nothing done";
    EXPECT_EQ(orb_test_live_blocks(), live);
    door.free_spec(s);
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, FftDoor, ::testing::ValuesIn(kKinds),
                         [](const auto& i) { return std::string(i.param.name); });

// The team form: 2 and 3 members on threads of the test give the bits of
// one thread, at orders with whole-array stages and without.
template <class T>
void check_team(const char* sfx) {
  using Init = int (*)(orb_keps_fft_spec**, int, int, int);
  using Run = int (*)(const T*, T*, const orb_keps_fft_spec*, unsigned char*);
  using Team = int (*)(const T*, T*, const orb_keps_fft_spec*, unsigned char*, int, int, orb_dft_barrier*);
  using Size = int (*)(int, int, int, int*, int*, int*);
  const std::string c = std::string("C_") + sfx;
  auto init = reinterpret_cast<Init>(const_cast<void*>(orb_test_dft_loaded(("kepsFFTInitAlloc_" + c).c_str())));
  auto size = reinterpret_cast<Size>(const_cast<void*>(orb_test_dft_loaded(("kepsFFTGetSize_" + c).c_str())));
  auto free_ = reinterpret_cast<int (*)(orb_keps_fft_spec*)>(
      const_cast<void*>(orb_test_dft_loaded(("kepsFFTFree_" + c).c_str())));
  for (bool inv : {false, true}) {
    const std::string d = inv ? "Inv" : "Fwd";
    auto one = reinterpret_cast<Run>(const_cast<void*>(orb_test_dft_loaded(("kepsFFT" + d + "_CToC_" + sfx).c_str())));
    auto team = reinterpret_cast<Team>(
        const_cast<void*>(orb_test_dft_loaded(("thread_cFft" + d + "CoreNorm_" + std::string(sfx)).c_str())));
    ASSERT_NE(team, nullptr);
    for (int order : {4, 10, 17}) {
      const long n = 1L << order;
      orb_keps_fft_spec* s = nullptr;
      ASSERT_EQ(init(&s, order, 4, 0), 0);
      int ss, is, bs;
      size(order, 4, 0, &ss, &is, &bs);
      const auto x = orb::test::random_vector<T>(size_t(2 * n), 11u);
      std::vector<T> want(2 * n);
      ASSERT_EQ(one(x.data(), want.data(), s, nullptr), 0);
      for (int nt : {2, 3}) {
        std::vector<T> got(2 * n, T(-1));
        std::vector<unsigned char> buf(size_t(bs) + 64);
        orb_dft_barrier bar{};
        std::vector<std::thread> th;
        std::vector<int> st(nt, -1);
        for (int t = 1; t < nt; ++t)
          th.emplace_back([&, t] { st[t] = team(x.data(), got.data(), s, buf.data(), nt, t, &bar); });
        st[0] = team(x.data(), got.data(), s, buf.data(), nt, 0, &bar);
        for (auto& t : th) t.join();
        for (int t = 0; t < nt; ++t) EXPECT_EQ(st[t], 0);
        EXPECT_TRUE(std::memcmp(got.data(), want.data(), sizeof(T) * 2 * n) == 0)
            << d << " order " << order << " threads " << nt;
      }
      free_(s);
    }
  }
}

TEST(FftTeam, SameBitsAsOneThread) {
  check_team<double>("64fc");
  check_team<float>("32fc");
}

// The partition deals every unit to exactly one member, in order.
TEST(FftTeam, Balance220CoversTheRange) {
  using Bal = void (*)(long, long, int, int, long*, long*);
  auto bal = reinterpret_cast<Bal>(const_cast<void*>(orb_test_dft_loaded("balance220")));
  ASSERT_NE(bal, nullptr);
  for (long total : {0L, 1L, 7L, 64L, 1000L})
    for (long grain : {1L, 4L, 16L})
      for (int nt : {1, 2, 3, 5, 8}) {
        long next = 0;
        for (int t = 0; t < nt; ++t) {
          long start, count;
          bal(total, grain, nt, t, &start, &count);
          if (count == 0) continue;
          EXPECT_EQ(start, next) << total << " " << grain << " " << nt << " " << t;
          next = start + count;
        }
        EXPECT_EQ(next, total) << total << " " << grain << " " << nt;
      }
}

}  // namespace
