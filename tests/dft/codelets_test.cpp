// DFT codelets against a long double DFT: every codelet of every family,
// every count its width allows, gaps between stations left untouched, the
// inverse after the forward, the same bits in every build, and the tables.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <string>
#include <vector>

#include "dft/codelet_types.h"
#include "tests/support/oracle.hpp"
#include "tests/support/orb_test_hooks.h"

namespace {

using ld = long double;
using cld = std::complex<ld>;

// The error bound: relative L2 error at most kC * eps * log2(N) (N >= 2).
constexpr double kC = 1.0;

std::vector<cld> dft(const std::vector<cld>& x, int sign) {
  const int n = int(x.size());
  std::vector<cld> y(n);
  const ld pi = 3.141592653589793238462643383279502884L;
  for (int k = 0; k < n; ++k)
    for (int j = 0; j < n; ++j) y[k] += x[j] * std::polar(ld(1), sign * 2 * pi * ld((long(j) * k) % n) / n);
  return y;
}

template <class T>
double bound(int n) {
  return kC * std::numeric_limits<T>::epsilon() * std::max(1.0, std::log2(double(n)));
}

double rel_err(const std::vector<cld>& got, const std::vector<cld>& want) {
  ld e = 0, w = 0;
  for (size_t i = 0; i < got.size(); ++i) e += std::norm(got[i] - want[i]), w += std::norm(want[i]);
  return double(std::sqrt(e / (w > 0 ? w : 1)));
}

// Memory of one call: T values, a guard in every slot the codelet must not
// write.
template <class T>
constexpr T kGuard = T(-1234.5);

enum class Kind { il, vl, sp };
struct Family {
  const char* name;
  Kind kind;
  bool dbl;
};

void PrintTo(const Family& f, std::ostream* os) { *os << f.name; }

std::string codelet_name(Kind kind, bool dbl, int n, bool inv) {
  const std::string c = dbl ? "64fc" : "32fc", s = dbl ? "64f" : "32f";
  char buf[64];
  if (kind == Kind::vl) {
    std::snprintf(buf, sizeof buf, "%s%02d_%s", inv ? "i" : "f", n, c.c_str());
    return buf;
  }
  const std::string pre = kind == Kind::sp ? "cr" : "c", sfx = kind == Kind::sp ? s : c;
  if (n <= 2) return pre + "FFT_" + std::to_string(n) + "_" + sfx;
  const bool pow2 = (n & (n - 1)) == 0;
  return pre + (pow2 ? "FFT" : "DFT") + (inv ? "inv_" : "fwd_") + std::to_string(n) + "_" + sfx;
}

const int kLengths[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 32};

// One call of a batched codelet on count transforms with the given
// strides; returns the memory it left, and the outputs through y.
template <class T>
std::vector<T> run_batched(Kind kind, void* fn, int n, int count, int is, int os, const std::vector<cld>& x,
                           std::vector<cld>& y) {
  // Complex elements per stride unit, and the buffers' sizes in T.
  const int unit = kind == Kind::vl ? int(16 / (2 * sizeof(T))) : 1;
  const size_t in_len = size_t(n) * is * unit, out_len = size_t(n) * os * unit;
  y.assign(size_t(n) * count, cld());
  if (kind == Kind::sp) {
    std::vector<T> sr(in_len, kGuard<T>), si(in_len, kGuard<T>), mem(2 * out_len, kGuard<T>);
    for (int j = 0; j < n; ++j)
      for (int t = 0; t < count; ++t)
        sr[size_t(j) * is + t] = T(x[size_t(t) * n + j].real()), si[size_t(j) * is + t] = T(x[size_t(t) * n + j].imag());
    if constexpr (sizeof(T) == 8)
      reinterpret_cast<orb_dft_crdft_64f_fn>(fn)(sr.data(), si.data(), is, mem.data(), mem.data() + out_len, count, os);
    else
      reinterpret_cast<orb_dft_crdft_32f_fn>(fn)(sr.data(), si.data(), is, mem.data(), mem.data() + out_len, count, os);
    for (int k = 0; k < n; ++k)
      for (int t = 0; t < count; ++t)
        y[size_t(t) * n + k] = cld(mem[size_t(k) * os + t], mem[out_len + size_t(k) * os + t]);
    return mem;
  }
  std::vector<T> src(2 * in_len, kGuard<T>), mem(2 * out_len, kGuard<T>);
  const size_t cis = size_t(is) * unit, cos_ = size_t(os) * unit;
  for (int j = 0; j < n; ++j)
    for (int t = 0; t < count; ++t) {
      src[2 * (j * cis + t)] = T(x[size_t(t) * n + j].real());
      src[2 * (j * cis + t) + 1] = T(x[size_t(t) * n + j].imag());
    }
  if (kind == Kind::vl) {
    if constexpr (sizeof(T) == 8) reinterpret_cast<orb_dft_vl_64fc_fn>(fn)(src.data(), is, mem.data(), os);
    else reinterpret_cast<orb_dft_vl_32fc_fn>(fn)(src.data(), is, mem.data(), os);
  } else {
    if constexpr (sizeof(T) == 8) reinterpret_cast<orb_dft_cdft_64fc_fn>(fn)(src.data(), is, mem.data(), os, count);
    else reinterpret_cast<orb_dft_cdft_32fc_fn>(fn)(src.data(), is, mem.data(), os, count);
  }
  for (int k = 0; k < n; ++k)
    for (int t = 0; t < count; ++t) y[size_t(t) * n + k] = cld(mem[2 * (k * cos_ + t)], mem[2 * (k * cos_ + t) + 1]);
  return mem;
}

class Codelets : public ::testing::TestWithParam<Family> {};

template <class T>
void check_family(Kind kind) {
  const bool dbl = sizeof(T) == 8;
  const int lanes = 64 / int(sizeof(T));  // of the logical vector
  const int width = kind == Kind::sp ? lanes : lanes / 2;
  const auto builds = orb::test::runnable_builds();
  for (int n : kLengths)
    for (int count = kind == Kind::vl ? width : 1; count <= width; ++count)
      for (int gap : {0, 3}) {
        const int unit = kind == Kind::vl ? int(16 / (2 * sizeof(T))) : 1;
        const int is = kind == Kind::vl ? (width / unit) + gap : count + gap, os = is + (gap ? 2 : 0);
        const auto xr = orb::test::random_vector<double>(size_t(2) * n * count, unsigned(n * 100 + count));
        std::vector<cld> x(size_t(n) * count);
        for (size_t i = 0; i < x.size(); ++i) x[i] = cld(T(xr[2 * i]), T(xr[2 * i + 1]));
        for (bool inv : {false, true}) {
          const std::string name = codelet_name(kind, dbl, n, inv);
          SCOPED_TRACE(name + " count " + std::to_string(count) + " gap " + std::to_string(gap));
          std::vector<T> first;
          for (const char* tag : builds) {
            void* fn = orb_test_dft_kernel(tag, name.c_str());
            ASSERT_NE(fn, nullptr) << tag;
            std::vector<cld> y;
            const std::vector<T> mem = run_batched<T>(kind, fn, n, count, is, os, x, y);
            if (first.empty()) {
              first = mem;
              for (int t = 0; t < count; ++t) {
                const std::vector<cld> xt(x.begin() + size_t(t) * n, x.begin() + size_t(t + 1) * n);
                const std::vector<cld> yt(y.begin() + size_t(t) * n, y.begin() + size_t(t + 1) * n);
                EXPECT_LE(rel_err(yt, dft(xt, inv ? 1 : -1)), bound<T>(n)) << tag << " transform " << t;
              }
              // Every slot outside the outputs keeps its guard.
              size_t written = 0;
              for (T v : mem) written += !orb::test::same_bits(v, kGuard<T>);
              EXPECT_LE(written, size_t(2) * n * count) << tag;
            } else {
              EXPECT_EQ(std::memcmp(mem.data(), first.data(), mem.size() * sizeof(T)), 0) << tag << " differs from "
                                                                                          << builds[0];
            }
          }
        }
      }
}

TEST_P(Codelets, MatchTheLongDoubleDftInEveryBuild) {
  if (GetParam().dbl) check_family<double>(GetParam().kind);
  else check_family<float>(GetParam().kind);
}

INSTANTIATE_TEST_SUITE_P(Families, Codelets,
                         ::testing::Values(Family{"il32", Kind::il, false}, Family{"il64", Kind::il, true},
                                           Family{"vl32", Kind::vl, false}, Family{"vl64", Kind::vl, true},
                                           Family{"sp32", Kind::sp, false}, Family{"sp64", Kind::sp, true}),
                         [](const auto& info) { return std::string(info.param.name); });

// The inverse after the forward, in place, gives N times the input.
TEST(Codelets, InverseAfterForwardInPlace) {
  for (int n : kLengths) {
    const auto r = orb::test::random_vector<double>(size_t(8) * n, unsigned(n));
    std::vector<double> a(r);
    auto f = reinterpret_cast<orb_dft_cdft_64fc_fn>(orb_test_dft_kernel("def", codelet_name(Kind::il, true, n, false).c_str()));
    auto i = reinterpret_cast<orb_dft_cdft_64fc_fn>(orb_test_dft_kernel("def", codelet_name(Kind::il, true, n, true).c_str()));
    ASSERT_TRUE(f && i);
    f(a.data(), 4, a.data(), 4, 4);
    i(a.data(), 4, a.data(), 4, 4);
    for (size_t k = 0; k < a.size(); ++k) EXPECT_NEAR(a[k] / n, r[k], 8 * bound<double>(n)) << n;
  }
}

// smallradix for every length, and the legacy codelets, against the long
// double DFT, in every build to the bit; forward with scale 1 then inverse
// with 1/N returns the input.
TEST(Codelets, OneScaledTransform) {
  const auto builds = orb::test::runnable_builds();
  for (int n = 2; n <= 64; ++n) {
    const auto r = orb::test::random_vector<double>(size_t(2) * n, unsigned(n + 7));
    std::vector<cld> x(n);
    for (int j = 0; j < n; ++j) x[j] = cld(r[2 * j], r[2 * j + 1]);
    const double one = 1.0, inv_n = 1.0 / n, half = 0.5;
    std::vector<double> first;
    for (const char* tag : builds) {
      auto f = reinterpret_cast<orb_dft_smallradix_64fc_fn>(
          orb_test_dft_kernel(tag, ("smallradixDFTFwd_CToC_" + std::to_string(n) + "_64fc").c_str()));
      auto b = reinterpret_cast<orb_dft_smallradix_64fc_fn>(
          orb_test_dft_kernel(tag, ("smallradixDFTInv_CToC_" + std::to_string(n) + "_64fc").c_str()));
      ASSERT_TRUE(f && b) << n;
      std::vector<double> y(2 * n), z(2 * n), w(2 * n);
      f(r.data(), y.data(), &half);
      b(r.data(), w.data(), &one);
      std::vector<cld> yc(n), wc(n);
      for (int k = 0; k < n; ++k) yc[k] = cld(2 * ld(y[2 * k]), 2 * ld(y[2 * k + 1])), wc[k] = cld(w[2 * k], w[2 * k + 1]);
      EXPECT_LE(rel_err(yc, dft(x, -1)), bound<double>(n)) << tag << " " << n;
      EXPECT_LE(rel_err(wc, dft(x, 1)), bound<double>(n)) << tag << " " << n;
      z = y;
      f(r.data(), z.data(), &one);
      b(z.data(), z.data(), &inv_n);
      for (int k = 0; k < 2 * n; ++k) EXPECT_NEAR(z[k], r[k], 4 * bound<double>(n)) << tag << " " << n;
      y.insert(y.end(), w.begin(), w.end());
      if (first.empty()) first = y;
      else EXPECT_EQ(std::memcmp(first.data(), y.data(), y.size() * 8), 0) << tag << " " << n;
    }
  }
}

template <class T>
void check_legacy_real(const char* pre) {
  using fn = int (*)(const T*, T*, const T*);
  const auto builds = orb::test::runnable_builds();
  for (int n : {2, 4, 8, 16, 32, 64}) {
    const auto r = orb::test::random_vector<double>(size_t(n), unsigned(n));
    std::vector<T> x(r.begin(), r.end());
    std::vector<cld> xc(x.begin(), x.end());
    const std::vector<cld> want = dft(xc, -1);
    const T one = 1, inv_n = T(1) / T(n);
    std::vector<T> first;
    for (const char* tag : builds) {
      auto f = reinterpret_cast<fn>(orb_test_dft_kernel(tag, (std::string(pre) + "_f" + std::to_string(n) + "_1df").c_str()));
      auto b = reinterpret_cast<fn>(orb_test_dft_kernel(tag, (std::string(pre) + "_f" + std::to_string(n) + "_1db").c_str()));
      ASSERT_TRUE(f && b) << n;
      std::vector<T> y(n + 2), z(n);
      EXPECT_EQ(f(x.data(), y.data(), &one), 0);
      std::vector<cld> yc(n / 2 + 1), wc(want.begin(), want.begin() + n / 2 + 1);
      for (int k = 0; k <= n / 2; ++k) yc[k] = cld(y[2 * k], y[2 * k + 1]);
      EXPECT_LE(rel_err(yc, wc), bound<T>(n)) << pre << " " << tag << " " << n;
      EXPECT_EQ(b(y.data(), z.data(), &inv_n), 0);
      for (int k = 0; k < n; ++k) EXPECT_NEAR(z[k], x[k], 4 * bound<T>(n)) << pre << " " << tag << " " << n;
      y.insert(y.end(), z.begin(), z.end());
      if (first.empty()) first = y;
      else EXPECT_EQ(std::memcmp(first.data(), y.data(), y.size() * sizeof(T)), 0) << tag << " " << n;
    }
  }
}

TEST(Codelets, LegacyCodelets) {
  check_legacy_real<double>("xd");
  check_legacy_real<float>("xs");
  using fn = int (*)(const float*, float*, const float*);
  for (int n : {2, 4}) {
    const auto r = orb::test::random_vector<float>(size_t(2) * n, unsigned(n));
    std::vector<cld> x(n);
    for (int j = 0; j < n; ++j) x[j] = cld(r[2 * j], r[2 * j + 1]);
    for (const char* tag : orb::test::runnable_builds())
      for (bool inv : {false, true}) {
        auto f = reinterpret_cast<fn>(
            orb_test_dft_kernel(tag, ("xc_f" + std::to_string(n) + (inv ? "_1db" : "_1df")).c_str()));
        ASSERT_NE(f, nullptr);
        std::vector<float> y(2 * n);
        const float two = 2;
        EXPECT_EQ(f(r.data(), y.data(), &two), 0);
        std::vector<cld> yc(n), w = dft(x, inv ? 1 : -1);
        for (int k = 0; k < n; ++k) yc[k] = cld(y[2 * k], y[2 * k + 1]) / ld(2), w[k] = w[k];
        EXPECT_LE(rel_err(yc, w), bound<float>(n)) << tag << " " << n;
      }
  }
}

// cFFT_1 moves exactly count complex values: 5 through the full width, 4
// through half of it; nothing past them is touched.
TEST(Codelets, CopyOfLengthOneMovesExactlyCount) {
  for (const char* tag : orb::test::runnable_builds())
    for (int count : {4, 5}) {
      auto f = reinterpret_cast<orb_dft_cdft_32fc_fn>(orb_test_dft_kernel(tag, "cFFT_1_32fc"));
      ASSERT_NE(f, nullptr);
      std::vector<float> src(16), dst(16, kGuard<float>);
      for (int i = 0; i < 16; ++i) src[i] = float(i + 1);
      f(src.data(), 1, dst.data(), 1, count);
      for (int i = 0; i < 16; ++i) EXPECT_EQ(dst[i], i < 2 * count ? src[i] : kGuard<float>) << tag << " " << count;
    }
}

// The tables: entry N-1 is the length-N codelet of the same build, entries
// 16 to 30 (lengths 17 to 31) null; smallradix by N.
TEST(Codelets, Tables) {
  for (const char* tag : orb::test::runnable_builds())
    for (bool dbl : {false, true}) {
      const std::string c = dbl ? "64fc" : "32fc", s = dbl ? "64f" : "32f";
      auto cdft = static_cast<void* const*>(orb_test_dft_kernel(tag, ("BATCH_CDFT_" + c).c_str()));
      auto vl = static_cast<void* const*>(orb_test_dft_kernel(tag, ("BATCH_CDFT_VL_" + c).c_str()));
      auto crf = static_cast<void* const*>(orb_test_dft_kernel(tag, ("BATCH_CRDFT_" + s).c_str()));
      auto cri = static_cast<void* const*>(orb_test_dft_kernel(tag, ("BATCH_CRDFT_INV_" + s).c_str()));
      ASSERT_TRUE(cdft && vl && crf && cri);
      for (int i = 0; i < 32; ++i) {
        const int n = i + 1;
        const bool held = n <= 16 || n == 32;
        for (bool inv : {false, true}) {
          auto want = [&](Kind k) { return held ? orb_test_dft_kernel(tag, codelet_name(k, dbl, n, inv).c_str()) : nullptr; };
          EXPECT_EQ(cdft[32 * inv + i], want(Kind::il)) << tag << " " << n;
          EXPECT_EQ(vl[32 * inv + i], want(Kind::vl)) << tag << " " << n;
          EXPECT_EQ((inv ? cri : crf)[i], want(Kind::sp)) << tag << " " << n;
        }
      }
    }
  for (const char* tag : orb::test::runnable_builds()) {
    auto fw = static_cast<void* const*>(orb_test_dft_kernel(tag, "zsmallradix_forward"));
    auto iv = static_cast<void* const*>(orb_test_dft_kernel(tag, "zsmallradix_inverse"));
    ASSERT_TRUE(fw && iv);
    EXPECT_EQ(fw[0], nullptr);
    EXPECT_EQ(iv[1], nullptr);
    for (int n = 2; n <= 64; ++n) {
      EXPECT_EQ(fw[n], orb_test_dft_kernel(tag, ("smallradixDFTFwd_CToC_" + std::to_string(n) + "_64fc").c_str()));
      EXPECT_EQ(iv[n], orb_test_dft_kernel(tag, ("smallradixDFTInv_CToC_" + std::to_string(n) + "_64fc").c_str()));
    }
  }
  // The core's table holds the loaded build's entries.
  const char* isa = std::getenv("ORB_ISA");
  if (isa) {
    EXPECT_EQ(orb_test_dft_loaded("cDFTfwd_5_64fc"), orb_test_dft_kernel(isa, "cDFTfwd_5_64fc"));
  }
}

}  // namespace
