// asum, nrm2, scal and cabs1 against the reference BLAS and extended sums,
// with the edge values that tell the algorithms apart: squares beyond the
// double range, NaN times zero, the x87 control word.
#include <limits>

#include "tests/blas/level1/arith_support.hpp"

namespace {

using namespace orb::l1test;

template <class T>
using norm_fn = T (*)(const int*, const T*, const int*);
using ref_cnorm = float (*)(const int*, const void*, const int*);
using ref_znorm = double (*)(const int*, const void*, const int*);

// Walks for the one-vector kernels: Walk::incy is unused.
class OneVector : public ::testing::TestWithParam<Walk> {};

TEST_P(OneVector, AsumAndNrm2MatchExtendedSums) {
  const auto [n, incx, unused] = GetParam();
  (void)unused;
  const auto xd = random_vector<double>(span(n, incx, 2), 51);
  const auto xf = random_vector<float>(span(n, incx, 2), 52);
  // Real: element i at first + i * incx. Complex: pairs.
  long double ad = 0, af = 0, qd = 0, qf = 0, azd = 0, azf = 0, qzd = 0, qzf = 0;
  for (int i = 0; i < n; ++i) {
    const std::ptrdiff_t k = first(n, incx) + i * incx;
    ad += std::fabs(xd[k]), af += std::fabs(xf[k]);
    qd += (long double)xd[k] * xd[k], qf += (long double)xf[k] * xf[k];
    azd += std::fabs(xd[2 * k]) + std::fabs(xd[2 * k + 1]);
    azf += std::fabs(xf[2 * k]) + std::fabs(xf[2 * k + 1]);
    qzd += (long double)xd[2 * k] * xd[2 * k] + (long double)xd[2 * k + 1] * xd[2 * k + 1];
    qzf += (long double)xf[2 * k] * xf[2 * k] + (long double)xf[2 * k + 1] * xf[2 * k + 1];
  }
  auto zx = reinterpret_cast<const orb_complex16*>(xd.data());
  auto cx = reinterpret_cast<const orb_complex8*>(xf.data());
  if (incx > 0) {
    // The reference sums nothing for incx < 1.
    EXPECT_TRUE(close_to(orb_blas_dasum(&n, xd.data(), &incx),
                         orb::test::reference<norm_fn<double>>("dasum_")(&n, xd.data(), &incx), ad,
                         2 * n * DBL_EPSILON));
    EXPECT_TRUE(close_to(orb_blas_sasum(&n, xf.data(), &incx),
                         orb::test::reference<norm_fn<float>>("sasum_")(&n, xf.data(), &incx), af,
                         2 * n * FLT_EPSILON));
  }
  EXPECT_TRUE(close_to(orb_blas_dasum(&n, xd.data(), &incx), ad, ad, n * DBL_EPSILON));
  EXPECT_TRUE(close_to(orb_blas_sasum(&n, xf.data(), &incx), af, af, n * FLT_EPSILON));
  EXPECT_TRUE(close_to(orb_blas_dzasum(&n, zx, &incx), azd, azd, 2 * n * DBL_EPSILON));
  EXPECT_TRUE(close_to(orb_blas_scasum(&n, cx, &incx), azf, azf, 2 * n * FLT_EPSILON));

  // The extended sum with no scaling is accurate to about one rounding.
  const double nd = orb_blas_dnrm2(&n, xd.data(), &incx);
  const float nf = orb_blas_snrm2(&n, xf.data(), &incx);
  EXPECT_TRUE(close_to(nd, std::sqrt(qd), std::sqrt(qd), 2 * DBL_EPSILON));
  EXPECT_TRUE(close_to(nf, std::sqrt(qf), std::sqrt(qf), FLT_EPSILON));
  EXPECT_TRUE(close_to(orb_blas_dznrm2(&n, zx, &incx), std::sqrt(qzd), std::sqrt(qzd), 2 * DBL_EPSILON));
  EXPECT_TRUE(close_to(orb_blas_scnrm2(&n, cx, &incx), std::sqrt(qzf), std::sqrt(qzf), FLT_EPSILON));
  EXPECT_TRUE(close_to(nd, orb::test::reference<norm_fn<double>>("dnrm2_")(&n, xd.data(), &incx), nd,
                       8 * DBL_EPSILON));
  EXPECT_TRUE(close_to(nf, orb::test::reference<norm_fn<float>>("snrm2_")(&n, xf.data(), &incx), nf,
                       8 * FLT_EPSILON));
  EXPECT_TRUE(close_to(orb_blas_dznrm2(&n, zx, &incx), orb::test::reference<ref_znorm>("dznrm2_")(&n, zx, &incx),
                       nd + 1, 8 * DBL_EPSILON));
  EXPECT_TRUE(close_to(orb_blas_scnrm2(&n, cx, &incx), orb::test::reference<ref_cnorm>("scnrm2_")(&n, cx, &incx),
                       nf + 1, 8 * FLT_EPSILON));
  // The increment counts by its absolute value.
  const int back = -incx;
  EXPECT_TRUE(same_bits(nd, orb_blas_dnrm2(&n, xd.data(), &back)));
  EXPECT_TRUE(same_bits(nf, orb_blas_snrm2(&n, xf.data(), &back)));
}

INSTANTIATE_TEST_SUITE_P(Walks, OneVector,
                         ::testing::Values(Walk{1, 1, 0}, Walk{3, 1, 0}, Walk{7, 1, 0}, Walk{8, 1, 0},
                                           Walk{15, 1, 0}, Walk{16, 1, 0}, Walk{17, 1, 0}, Walk{31, 1, 0},
                                           Walk{33, 1, 0}, Walk{64, 1, 0}, Walk{100, 1, 0}, Walk{4097, 1, 0},
                                           Walk{5, 2, 0}, Walk{40, 3, 0}, Walk{77, 7, 0}, Walk{9, -1, 0},
                                           Walk{41, -2, 0}, Walk{1000, -1, 0}));

// asum: chunk k of one vector goes to sum k mod 2 whether the chunks are
// loaded or gathered, so a strided copy of a vector sums to the same bits.
TEST(Asum, StridedCopySumsToTheSameBits) {
  for (int n : {1, 7, 8, 15, 16, 17, 40, 63, 64, 65, 129, 1000}) {
    const auto x = random_vector<double>(n, 53);
    const auto xf = random_vector<float>(n, 54);
    for (int inc : {2, 5}) {
      std::vector<double> xs(span(n, inc));
      std::vector<float> xfs(span(n, inc));
      for (int i = 0; i < n; ++i) xs[i * inc] = x[i], xfs[i * inc] = xf[i];
      const int one = 1;
      EXPECT_TRUE(same_bits(orb_blas_dasum(&n, x.data(), &one), orb_blas_dasum(&n, xs.data(), &inc))) << n;
      EXPECT_TRUE(same_bits(orb_blas_sasum(&n, xf.data(), &one), orb_blas_sasum(&n, xfs.data(), &inc))) << n;
    }
  }
}

TEST(Asum, ComplexIsMagnitudeOfBothParts) {
  const int n = 3, one = 1, zero = 0;
  const double z[] = {-1.0, 2.0, 3.0, -4.0, -0.5, -0.25};
  EXPECT_EQ(orb_blas_dzasum(&n, reinterpret_cast<const orb_complex16*>(z), &one), 10.75);
  // A zero increment counts the first element n times.
  EXPECT_EQ(orb_blas_dzasum(&n, reinterpret_cast<const orb_complex16*>(z), &zero), 9.0);
}

// dnrm2 near the top of the range: the squares overflow double but not the
// extended sum, so the result is finite and right to the last bits.
TEST(Nrm2, NoOverflowNearTheTopOfTheRange) {
  // The squares overflow double, the norms stay below DBL_MAX.
  for (int n : {1, 2, 9, 100, 250}) {
    std::vector<double> x(n, DBL_MAX / 16);
    const int one = 1;
    const double r = orb_blas_dnrm2(&n, x.data(), &one);
    const double want = double(std::sqrt((long double)n) * (DBL_MAX / 16));
    ASSERT_TRUE(std::isfinite(r)) << n;
    EXPECT_TRUE(close_to(r, want, want, 2 * DBL_EPSILON)) << n;
    std::vector<double> z(2 * n, -DBL_MAX / 32);
    EXPECT_TRUE(std::isfinite(orb_blas_dznrm2(&n, reinterpret_cast<const orb_complex16*>(z.data()), &one)));
    std::vector<float> f(n, FLT_MAX);
    const float rf = orb_blas_snrm2(&n, f.data(), &one);
    // sqrt(n) FLT_MAX is beyond float for n > 1: infinity, not NaN or zero.
    EXPECT_TRUE(n == 1 ? rf == FLT_MAX : std::isinf(rf)) << n;
  }
  // And near the bottom: squares of subnormals are not flushed.
  std::vector<double> tiny{4.9406564584124654e-324, 4.9406564584124654e-324, 4.9406564584124654e-324,
                           4.9406564584124654e-324};
  const int n = 4, one = 1;
  EXPECT_EQ(orb_blas_dnrm2(&n, tiny.data(), &one), 2 * 4.9406564584124654e-324);
}

TEST(Nrm2, NaNAndInfinity) {
  const int n = 5, one = 1;
  std::vector<double> x{1, 2, std::numeric_limits<double>::infinity(), 3, 4};
  EXPECT_TRUE(std::isinf(orb_blas_dnrm2(&n, x.data(), &one)));
  x[1] = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(std::isnan(orb_blas_dnrm2(&n, x.data(), &one)));
}

// The x87 precision control is set for the sum and given back afterwards.
static unsigned short control_word() {
  unsigned short cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
static void set_control_word(unsigned short cw) { __asm__ volatile("fldcw %0" : : "m"(cw)); }

TEST(Nrm2, ExtendedSumWhateverTheCallersPrecisionControl) {
  const int n = 1000, one = 1;
  const auto x = random_vector<double>(n, 55);
  const double base = orb_blas_dnrm2(&n, x.data(), &one);
  const unsigned short saved = control_word();
  const unsigned short dbl = (saved & ~0x300) | 0x200;  // 53-bit mantissas
  set_control_word(dbl);
  const double r = orb_blas_dnrm2(&n, x.data(), &one);
  const unsigned short after = control_word();
  set_control_word(saved);
  EXPECT_EQ(after, dbl);
  EXPECT_TRUE(same_bits(r, base));
}

TEST(Nrm2, QuickReturns) {
  const double* bad = static_cast<const double*>(orb::test::faulting_pointer());
  const int one = 1;
  for (int n : {0, -2}) {
    EXPECT_EQ(orb_blas_dnrm2(&n, bad, &one), 0.0);
    EXPECT_EQ(orb_blas_snrm2(&n, reinterpret_cast<const float*>(bad), &one), 0.0f);
    EXPECT_EQ(orb_blas_dznrm2(&n, reinterpret_cast<const orb_complex16*>(bad), &one), 0.0);
    EXPECT_EQ(orb_blas_scnrm2(&n, reinterpret_cast<const orb_complex8*>(bad), &one), 0.0f);
    EXPECT_EQ(orb_blas_dasum(&n, bad, &one), 0.0);
    EXPECT_EQ(orb_blas_sasum(&n, reinterpret_cast<const float*>(bad), &one), 0.0f);
    EXPECT_EQ(orb_blas_dzasum(&n, reinterpret_cast<const orb_complex16*>(bad), &one), 0.0);
    EXPECT_EQ(orb_blas_scasum(&n, reinterpret_cast<const orb_complex8*>(bad), &one), 0.0f);
  }
}

// scal multiplies every element, so alpha 0 leaves NaN and infinity as NaN.
TEST(Scal, AlphaZeroKeepsNaN) {
  const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  for (int n : {1, 3, 8, 13, 40, 77}) {
    for (std::size_t off : {0, 8, 24}) {
      std::vector<double> v(n, 5.0);
      v[0] = nan;
      v[n / 2] = inf;
      v[n - 1] = -inf;
      Placed<double> x(v, off);
      const int one = 1;
      const double zero = 0.0;
      orb_blas_dscal(&n, &zero, x.get(), &one);
      const auto r = x.values();
      EXPECT_TRUE(std::isnan(r[0]) && std::isnan(r[n / 2]) && std::isnan(r[n - 1])) << n;
      for (int i = 1; i < n - 1; ++i) {
        if (i != n / 2) {
          EXPECT_EQ(r[i], 0.0) << i;
        }
      }
      // Alpha 1 multiplies too, and changes nothing but a signalling NaN.
      const double onev = 1.0;
      Placed<double> y(v, off);
      orb_blas_dscal(&n, &onev, y.get(), &one);
      for (int i = 0; i < n; ++i) EXPECT_TRUE(std::isnan(v[i]) ? std::isnan(y.values()[i]) : y.values()[i] == v[i]);
    }
  }
  std::vector<float> cf{std::numeric_limits<float>::quiet_NaN(), 1.0f, 2.0f, std::numeric_limits<float>::infinity()};
  const int n = 2, one = 1;
  const orb_complex8 czero{0, 0};
  orb_blas_cscal(&n, &czero, reinterpret_cast<orb_complex8*>(cf.data()), &one);
  EXPECT_TRUE(std::isnan(cf[0]) && std::isnan(cf[1]) && std::isnan(cf[2]) && std::isnan(cf[3]));
}

// scal against the plain product (real) and the crossed product (complex)
// at every alignment, and against the reference.
template <class T>
void check_real_scal(void (*f)(const int*, const T*, T*, const int*), const char* ref) {
  const T alpha = T(-0.3);
  for (Walk w : {Walk{1, 1, 0}, Walk{7, 1, 0}, Walk{16, 1, 0}, Walk{33, 1, 0}, Walk{100, 1, 0}, Walk{1025, 1, 0},
                 Walk{19, 3, 0}, Walk{37, -2, 0}, Walk{21, -1, 0}}) {
    const auto [n, incx, unused] = w;
    (void)unused;
    const auto x0 = random_vector<T>(span(n, incx), 56);
    auto want = x0;
    for (int i = 0; i < n; ++i) want[first(n, incx) + i * incx] *= alpha;
    for (std::size_t off = 0; off < 64; off += sizeof(T) / 2) {
      Placed<T> x(x0, off);
      f(&n, &alpha, x.get(), &incx);
      ASSERT_TRUE(same_vectors(x.values(), want)) << w << " +" << off;
    }
    if (incx > 0) {
      auto r = x0;
      orb::test::reference<void (*)(const int*, const T*, T*, const int*)>(ref)(&n, &alpha, r.data(), &incx);
      EXPECT_TRUE(same_vectors(r, want)) << w;
    }
  }
}
TEST(Scal, Double) { check_real_scal<double>(orb_blas_dscal, "dscal_"); }
TEST(Scal, Float) { check_real_scal<float>(orb_blas_sscal, "sscal_"); }

template <class T, class C>
void check_complex_scal(void (*f)(const int*, const C*, C*, const int*),
                        void (*fr)(const int*, const T*, C*, const int*), const char* ref) {
  const C alpha{T(0.625), T(-1.75)};
  const T ralpha = T(1.5);
  for (Walk w : {Walk{1, 1, 0}, Walk{3, 1, 0}, Walk{8, 1, 0}, Walk{17, 1, 0}, Walk{64, 1, 0}, Walk{301, 1, 0},
                 Walk{11, 2, 0}, Walk{13, -3, 0}}) {
    const auto [n, incx, unused] = w;
    (void)unused;
    const auto x0 = random_vector<T>(span(n, incx, 2), 57);
    auto want = x0, wantr = x0;
    for (int i = 0; i < n; ++i) {
      T* p = want.data() + 2 * (first(n, incx) + i * incx);
      const T xr = p[0], xi = p[1];
      p[0] = std::fma(alpha.re, xr, -alpha.im * xi);
      p[1] = std::fma(alpha.re, xi, alpha.im * xr);
      T* q = wantr.data() + 2 * (first(n, incx) + i * incx);
      q[0] *= ralpha, q[1] *= ralpha;
    }
    for (std::size_t off = 0; off < 64; off += sizeof(T)) {
      Placed<T> x(x0, off), xr(x0, off);
      f(&n, &alpha, reinterpret_cast<C*>(x.get()), &incx);
      fr(&n, &ralpha, reinterpret_cast<C*>(xr.get()), &incx);
      ASSERT_TRUE(same_vectors(x.values(), want)) << w << " +" << off;
      ASSERT_TRUE(same_vectors(xr.values(), wantr)) << w << " +" << off;
    }
    if (incx > 0) {
      auto r = x0;
      orb::test::reference<void (*)(const int*, const C*, C*, const int*)>(ref)(&n, &alpha,
                                                                                 reinterpret_cast<C*>(r.data()), &incx);
      for (std::size_t i = 0; i < r.size(); ++i)
        EXPECT_NEAR(double(r[i]), double(want[i]), 4 * std::numeric_limits<T>::epsilon()) << w << " " << i;
    }
  }
}
TEST(Scal, ComplexFloat) { check_complex_scal<float, orb_complex8>(orb_blas_cscal, orb_blas_csscal, "cscal_"); }
TEST(Scal, ComplexDouble) { check_complex_scal<double, orb_complex16>(orb_blas_zscal, orb_blas_zdscal, "zscal_"); }

TEST(Scal, QuickReturnsTouchNothing) {
  double* bad = static_cast<double*>(orb::test::faulting_pointer());
  const int one = 1;
  const double a = 2.0;
  const orb_complex16 za{1, 1};
  for (int n : {0, -1}) {
    orb_blas_dscal(&n, &a, bad, &one);
    orb_blas_sscal(&n, reinterpret_cast<const float*>(&a), reinterpret_cast<float*>(bad), &one);
    orb_blas_zscal(&n, &za, reinterpret_cast<orb_complex16*>(bad), &one);
    orb_blas_zdscal(&n, &a, reinterpret_cast<orb_complex16*>(bad), &one);
  }
}

TEST(Cabs1, SumOfMagnitudes) {
  for (orb_complex16 z : {orb_complex16{-3, 4}, orb_complex16{0, -0.0}, orb_complex16{1e300, -1e300}}) {
    const double want = orb::test::reference<double (*)(const orb_complex16*)>("dcabs1_")(&z);
    EXPECT_EQ(orb_blas_dcabs1(&z), want);
    const orb_complex8 c{float(z.re / 1e290), float(z.im)};
    EXPECT_EQ(orb_blas_scabs1(&c), orb::test::reference<float (*)(const orb_complex8*)>("scabs1_")(&c));
  }
  const orb_complex16 big{DBL_MAX, DBL_MAX};
  EXPECT_TRUE(std::isinf(orb_blas_dcabs1(&big)));
}

// One-vector kernels: every build gives the same bits.
TEST(NormScalBuilds, EveryBuildSameBits) {
  const auto builds = orb::test::runnable_builds();
  for (Walk w : {Walk{1, 1, 0}, Walk{13, 1, 0}, Walk{31, 1, 0}, Walk{67, 1, 0}, Walk{1000, 1, 0}, Walk{45, 3, 0},
                 Walk{29, -2, 0}}) {
    const auto [n, incx, unused] = w;
    (void)unused;
    const auto xd = random_vector<double>(span(n, incx, 2), 58);
    const auto xf = random_vector<float>(span(n, incx, 2), 59);
    std::vector<double> first_d;
    std::vector<float> first_f;
    for (const char* b : builds) {
      std::vector<double> rd;
      std::vector<float> rf;
      rd.push_back(orb::test::kernel_of<norm_fn<double>>(b, "xdasum")(&n, xd.data(), &incx));
      rd.push_back(orb::test::kernel_of<norm_fn<double>>(b, "xdnrm2")(&n, xd.data(), &incx));
      rd.push_back(orb::test::kernel_of<ref_znorm>(b, "xdzasum")(&n, xd.data(), &incx));
      rd.push_back(orb::test::kernel_of<ref_znorm>(b, "xdznrm2")(&n, xd.data(), &incx));
      rf.push_back(orb::test::kernel_of<norm_fn<float>>(b, "xsasum")(&n, xf.data(), &incx));
      rf.push_back(orb::test::kernel_of<norm_fn<float>>(b, "xsnrm2")(&n, xf.data(), &incx));
      rf.push_back(orb::test::kernel_of<ref_cnorm>(b, "xscasum")(&n, xf.data(), &incx));
      rf.push_back(orb::test::kernel_of<ref_cnorm>(b, "xscnrm2")(&n, xf.data(), &incx));
      auto sd = xd, sz = xd;
      auto sf = xf, sc = xf;
      const double a = 0.7;
      const orb_complex16 za{0.7, -0.2};
      const orb_complex8 ca{0.7f, -0.2f};
      const float af = 0.7f;
      orb::test::kernel_of<void (*)(const int*, const double*, double*, const int*)>(b, "xdscal")(&n, &a, sd.data(),
                                                                                                  &incx);
      orb::test::kernel_of<void (*)(const int*, const orb_complex16*, double*, const int*)>(b, "xzscal")(
          &n, &za, sz.data(), &incx);
      orb::test::kernel_of<void (*)(const int*, const float*, float*, const int*)>(b, "xsscal")(&n, &af, sf.data(),
                                                                                               &incx);
      orb::test::kernel_of<void (*)(const int*, const orb_complex8*, float*, const int*)>(b, "xcscal")(
          &n, &ca, sc.data(), &incx);
      rd.insert(rd.end(), sd.begin(), sd.end());
      rd.insert(rd.end(), sz.begin(), sz.end());
      rf.insert(rf.end(), sf.begin(), sf.end());
      rf.insert(rf.end(), sc.begin(), sc.end());
      if (first_d.empty()) {
        first_d = rd, first_f = rf;
        continue;
      }
      EXPECT_TRUE(same_vectors(rd, first_d)) << b << " " << w;
      EXPECT_TRUE(same_vectors(rf, first_f)) << b << " " << w;
    }
  }
}

}  // namespace
