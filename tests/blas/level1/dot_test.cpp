// Dot products: real, complex (plain and conjugated) and single precision
// accumulated in double, against the reference BLAS and extended sums, and
// the promise that the bits depend on n and the increments only.
#include <limits>
#include <type_traits>

#include "tests/blas/level1/arith_support.hpp"

namespace {

using namespace orb::l1test;

using ddot_fn = double (*)(const int*, const double*, const int*, const double*, const int*);
using sdot_fn = float (*)(const int*, const float*, const int*, const float*, const int*);
using dsdot_fn = double (*)(const int*, const float*, const int*, const float*, const int*);
using sdsdot_fn = float (*)(const int*, const float*, const float*, const int*, const float*, const int*);
template <class C>
using cdot_fn = void (*)(C*, const int*, const C*, const int*, const C*, const int*);
// gfortran returns complex results by value.
using ref_cdot = __complex__ float (*)(const int*, const void*, const int*, const void*, const int*);
using ref_zdot = __complex__ double (*)(const int*, const void*, const int*, const void*, const int*);

// Interleaved reals read as the complex elements they hold.
const orb_complex8* as_complex(const float* p) { return reinterpret_cast<const orb_complex8*>(p); }
const orb_complex16* as_complex(const double* p) { return reinterpret_cast<const orb_complex16*>(p); }

class RealDot : public ::testing::TestWithParam<Walk> {};

TEST_P(RealDot, CloseToReferenceAndExactSum) {
  const auto [n, incx, incy] = GetParam();
  const auto xd = random_vector<double>(span(n, incx), 21), yd = random_vector<double>(span(n, incy), 22);
  const auto xf = random_vector<float>(span(n, incx), 23), yf = random_vector<float>(span(n, incy), 24);
  long double sd = 0, md = 0, sf = 0, mf = 0;
  for (int i = 0; i < n; ++i) {
    const long double pd = (long double)xd[first(n, incx) + i * incx] * yd[first(n, incy) + i * incy];
    const long double pf = (long double)xf[first(n, incx) + i * incx] * yf[first(n, incy) + i * incy];
    sd += pd, md += std::fabs(pd), sf += pf, mf += std::fabs(pf);
  }
  const double d = orb_blas_ddot(&n, xd.data(), &incx, yd.data(), &incy);
  const float s = orb_blas_sdot(&n, xf.data(), &incx, yf.data(), &incy);
  EXPECT_TRUE(close_to(d, sd, md, (n + 2) * DBL_EPSILON));
  EXPECT_TRUE(close_to(s, sf, mf, (n + 2) * FLT_EPSILON));
  EXPECT_TRUE(close_to(d, orb::test::reference<ddot_fn>("ddot_")(&n, xd.data(), &incx, yd.data(), &incy), md,
                       2 * (n + 2) * DBL_EPSILON));
  // Single precision accumulated in double: the products are exact, only
  // the n sums round, in double.
  const double ds = orb_blas_dsdot(&n, xf.data(), &incx, yf.data(), &incy);
  EXPECT_TRUE(close_to(ds, sf, mf, (n + 2) * DBL_EPSILON));
  EXPECT_TRUE(close_to(ds, orb::test::reference<dsdot_fn>("dsdot_")(&n, xf.data(), &incx, yf.data(), &incy), mf,
                       2 * (n + 2) * DBL_EPSILON));
  const float sb = 0.375f;
  const float sds = orb_blas_sdsdot(&n, &sb, xf.data(), &incx, yf.data(), &incy);
  EXPECT_EQ(sds, float(double(sb) + ds));
  EXPECT_TRUE(close_to(sds, orb::test::reference<sdsdot_fn>("sdsdot_")(&n, &sb, xf.data(), &incx, yf.data(), &incy),
                       mf + sb, FLT_EPSILON));
}

INSTANTIATE_TEST_SUITE_P(Walks, RealDot,
                         ::testing::Values(Walk{1, 1, 1}, Walk{7, 1, 1}, Walk{8, 1, 1}, Walk{9, 1, 1},
                                           Walk{31, 1, 1}, Walk{33, 1, 1}, Walk{47, 1, 1}, Walk{63, 1, 1},
                                           Walk{64, 1, 1}, Walk{121, 1, 1}, Walk{4099, 1, 1}, Walk{1, 2, 3},
                                           Walk{2, 2, 3}, Walk{3, -1, 2}, Walk{17, 3, -2}, Walk{50, -1, -1},
                                           Walk{37, -2, -3}, Walk{20, 0, 1}, Walk{21, 1, 0}, Walk{9, 0, 0}));

// The unit-stride order holds whatever the alignment of x and y.
TEST(DotOrder, SameBitsWhateverTheAlignment) {
  const int one = 1;
  for (int n : {5, 40, 1000}) {
    const auto xd = random_vector<double>(n, 3), yd = random_vector<double>(n, 4);
    const auto xf = random_vector<float>(2 * n, 5), yf = random_vector<float>(2 * n, 6);
    const double d0 = orb_blas_ddot(&n, xd.data(), &one, yd.data(), &one);
    const float s0 = orb_blas_sdot(&n, xf.data(), &one, yf.data(), &one);
    const double ds0 = orb_blas_dsdot(&n, xf.data(), &one, yf.data(), &one);
    orb_complex8 c0;
    orb_complex16 z0;
    orb_blas_cdotc(&c0, &n, reinterpret_cast<const orb_complex8*>(xf.data()), &one,
                   reinterpret_cast<const orb_complex8*>(yf.data()), &one);
    const auto xz = random_vector<double>(2 * n, 7), yz = random_vector<double>(2 * n, 8);
    orb_blas_zdotu(&z0, &n, reinterpret_cast<const orb_complex16*>(xz.data()), &one,
                   reinterpret_cast<const orb_complex16*>(yz.data()), &one);
    for (std::size_t off = 0; off < 64; off += 4) {
      Placed<double> pxd(xd, off), pyd(yd, 60 - off), pxz(xz, off), pyz(yz, 64 - off);
      Placed<float> pxf(xf, off), pyf(yf, 60 - off);
      EXPECT_TRUE(same_bits(orb_blas_ddot(&n, pxd.get(), &one, pyd.get(), &one), d0)) << off;
      EXPECT_TRUE(same_bits(orb_blas_sdot(&n, pxf.get(), &one, pyf.get(), &one), s0)) << off;
      EXPECT_TRUE(same_bits(orb_blas_dsdot(&n, pxf.get(), &one, pyf.get(), &one), ds0)) << off;
      orb_complex8 c;
      orb_complex16 z;
      orb_blas_cdotc(&c, &n, reinterpret_cast<const orb_complex8*>(pxf.get()), &one,
                     reinterpret_cast<const orb_complex8*>(pyf.get()), &one);
      orb_blas_zdotu(&z, &n, reinterpret_cast<const orb_complex16*>(pxz.get()), &one,
                     reinterpret_cast<const orb_complex16*>(pyz.get()), &one);
      EXPECT_TRUE(same_bits(c.re, c0.re) && same_bits(c.im, c0.im)) << off;
      EXPECT_TRUE(same_bits(z.re, z0.re) && same_bits(z.im, z0.im)) << off;
    }
  }
}

// Complex dot products against the reference and an extended sum.
template <class T, class C, class Ref>
void check_complex_dot(const Walk& w, void (*dotc)(C*, const int*, const C*, const int*, const C*, const int*),
                       void (*dotu)(C*, const int*, const C*, const int*, const C*, const int*), const char* refc,
                       const char* refu) {
  const auto [n, incx, incy] = w;
  const auto x = random_vector<T>(span(n, incx, 2), 31), y = random_vector<T>(span(n, incy, 2), 32);
  long double ur = 0, ui = 0, cr = 0, ci = 0, mag = 0;
  for (int i = 0; i < n; ++i) {
    const long double xr = x[2 * (first(n, incx) + i * incx)], xi = x[2 * (first(n, incx) + i * incx) + 1];
    const long double yr = y[2 * (first(n, incy) + i * incy)], yi = y[2 * (first(n, incy) + i * incy) + 1];
    ur += xr * yr - xi * yi, ui += xr * yi + xi * yr;
    cr += xr * yr + xi * yi, ci += xr * yi - xi * yr;
    mag += (std::fabs(xr) + std::fabs(xi)) * (std::fabs(yr) + std::fabs(yi));
  }
  const C* xc = reinterpret_cast<const C*>(x.data());
  const C* yc = reinterpret_cast<const C*>(y.data());
  C u, c;
  dotu(&u, &n, xc, &incx, yc, &incy);
  dotc(&c, &n, xc, &incx, yc, &incy);
  const T eps = std::numeric_limits<T>::epsilon();
  EXPECT_TRUE(close_to(u.re, ur, mag, (n + 2) * eps)) << w;
  EXPECT_TRUE(close_to(u.im, ui, mag, (n + 2) * eps)) << w;
  EXPECT_TRUE(close_to(c.re, cr, mag, (n + 2) * eps)) << w;
  EXPECT_TRUE(close_to(c.im, ci, mag, (n + 2) * eps)) << w;
  const auto ru = orb::test::reference<Ref>(refu)(&n, xc, &incx, yc, &incy);
  const auto rc = orb::test::reference<Ref>(refc)(&n, xc, &incx, yc, &incy);
  EXPECT_TRUE(close_to(u.re, __real__ ru, mag, 2 * (n + 2) * eps)) << w;
  EXPECT_TRUE(close_to(u.im, __imag__ ru, mag, 2 * (n + 2) * eps)) << w;
  EXPECT_TRUE(close_to(c.re, __real__ rc, mag, 2 * (n + 2) * eps)) << w;
  EXPECT_TRUE(close_to(c.im, __imag__ rc, mag, 2 * (n + 2) * eps)) << w;
}

class ComplexDot : public ::testing::TestWithParam<Walk> {};
TEST_P(ComplexDot, Single) {
  check_complex_dot<float, orb_complex8, ref_cdot>(GetParam(), orb_blas_cdotc, orb_blas_cdotu, "cdotc_", "cdotu_");
}
TEST_P(ComplexDot, Double) {
  check_complex_dot<double, orb_complex16, ref_zdot>(GetParam(), orb_blas_zdotc, orb_blas_zdotu, "zdotc_",
                                                      "zdotu_");
}
INSTANTIATE_TEST_SUITE_P(Walks, ComplexDot,
                         ::testing::Values(Walk{1, 1, 1}, Walk{3, 1, 1}, Walk{4, 1, 1}, Walk{8, 1, 1},
                                           Walk{15, 1, 1}, Walk{16, 1, 1}, Walk{17, 1, 1}, Walk{31, 1, 1},
                                           Walk{32, 1, 1}, Walk{45, 1, 1}, Walk{1003, 1, 1}, Walk{5, 2, 1},
                                           Walk{6, 1, -2}, Walk{7, -3, 2}, Walk{19, -1, -1}, Walk{23, -2, -4},
                                           Walk{11, 0, 1}, Walk{12, 2, 0}));

// Both increments negative pair the same elements as both positive; the
// walk is turned forwards, so the bits are those of the positive call.
TEST(DotOrder, BothNegativeIsTheForwardWalk) {
  for (int n : {1, 6, 33, 250}) {
    for (int inc : {1, 2}) {
      const auto x = random_vector<float>(span(n, inc, 2), 41), y = random_vector<float>(span(n, inc + 1, 2), 42);
      const auto xz = random_vector<double>(span(n, inc, 2), 43), yz = random_vector<double>(span(n, inc + 1, 2), 44);
      const int px = inc, py = inc + 1, nx = -inc, ny = -(inc + 1);
      EXPECT_TRUE(same_bits(orb_blas_dsdot(&n, x.data(), &px, y.data(), &py),
                            orb_blas_dsdot(&n, x.data(), &nx, y.data(), &ny)));
      const float sb = 1.0f;
      EXPECT_TRUE(same_bits(orb_blas_sdsdot(&n, &sb, x.data(), &px, y.data(), &py),
                            orb_blas_sdsdot(&n, &sb, x.data(), &nx, y.data(), &ny)));
      // A complex dot of the reals in xr and yr, forwards and backwards.
      auto both_ways = [&](auto dot, const auto& xr, const auto& yr) {
        using C = std::remove_cv_t<std::remove_pointer_t<decltype(as_complex(xr.data()))>>;
        C a, b;
        dot(&a, &n, as_complex(xr.data()), &px, as_complex(yr.data()), &py);
        dot(&b, &n, as_complex(xr.data()), &nx, as_complex(yr.data()), &ny);
        EXPECT_TRUE(same_bits(a.re, b.re) && same_bits(a.im, b.im)) << n;
      };
      both_ways(orb_blas_cdotu, x, y);
      both_ways(orb_blas_zdotc, xz, yz);
    }
  }
}

// The conjugated product of x with itself is |x|^2 with a zero imaginary
// part, exactly: the crossed sums cancel term by term in the same order.
TEST(DotOrder, ConjugatedSelfProductIsReal) {
  for (int n : {1, 5, 16, 77}) {
    const auto x = random_vector<double>(2 * n, 45);
    const int one = 1;
    orb_complex16 r;
    orb_blas_zdotc(&r, &n, reinterpret_cast<const orb_complex16*>(x.data()), &one,
                   reinterpret_cast<const orb_complex16*>(x.data()), &one);
    EXPECT_EQ(r.im, 0.0) << n;
    EXPECT_GT(r.re, 0.0);
  }
}

TEST(DotEdges, QuickReturnsTouchNothing) {
  const double* bad = static_cast<const double*>(orb::test::faulting_pointer());
  const float* fbad = reinterpret_cast<const float*>(bad);
  const int one = 1;
  for (int n : {0, -1}) {
    EXPECT_EQ(orb_blas_ddot(&n, bad, &one, bad, &one), 0.0);
    EXPECT_EQ(orb_blas_sdot(&n, fbad, &one, fbad, &one), 0.0f);
    EXPECT_EQ(orb_blas_dsdot(&n, fbad, &one, fbad, &one), 0.0);
    const float sb = -0.0f;
    const float r = orb_blas_sdsdot(&n, &sb, fbad, &one, fbad, &one);
    EXPECT_TRUE(same_bits(r, sb));  // sb itself, sign of zero included
    orb_complex16 z{7, 7};
    orb_blas_zdotc(&z, &n, reinterpret_cast<const orb_complex16*>(bad), &one,
                   reinterpret_cast<const orb_complex16*>(bad), &one);
    EXPECT_EQ(z.re, 0.0);
    EXPECT_EQ(z.im, 0.0);
    orb_complex8 c{7, 7};
    orb_blas_cdotu(&c, &n, reinterpret_cast<const orb_complex8*>(bad), &one,
                   reinterpret_cast<const orb_complex8*>(bad), &one);
    EXPECT_EQ(c.re, 0.0f);
    EXPECT_EQ(c.im, 0.0f);
  }
}

// Every build gives the same bits, for every dot kernel.
TEST(DotBuilds, EveryBuildSameBits) {
  const auto builds = orb::test::runnable_builds();
  for (Walk w : {Walk{1, 1, 1}, Walk{7, 1, 1}, Walk{9, 1, 1}, Walk{31, 1, 1}, Walk{33, 1, 1}, Walk{47, 1, 1},
                 Walk{1001, 1, 1}, Walk{13, 2, -1}, Walk{29, -1, -1}}) {
    const auto [n, incx, incy] = w;
    const auto xd = random_vector<double>(span(n, incx, 2), 5), yd = random_vector<double>(span(n, incy, 2), 6);
    const auto xf = random_vector<float>(span(n, incx, 2), 7), yf = random_vector<float>(span(n, incy, 2), 8);
    double bd = 0, bds = 0;
    float bs = 0, bsds = 0;
    orb_complex16 bzc{}, bzu{};
    orb_complex8 bcc{}, bcu{};
    bool firstb = true;
    for (const char* b : builds) {
      auto ddot = orb::test::kernel_of<ddot_fn>(b, "xddot");
      auto sdot = orb::test::kernel_of<sdot_fn>(b, "xsdot");
      auto dsdot = orb::test::kernel_of<dsdot_fn>(b, "xdsdot");
      auto sdsdot = orb::test::kernel_of<sdsdot_fn>(b, "xsdsdot");
      auto zdotc = orb::test::kernel_of<cdot_fn<orb_complex16>>(b, "xzdotc");
      auto zdotu = orb::test::kernel_of<cdot_fn<orb_complex16>>(b, "xzdotu");
      auto cdotc = orb::test::kernel_of<cdot_fn<orb_complex8>>(b, "xcdotc");
      auto cdotu = orb::test::kernel_of<cdot_fn<orb_complex8>>(b, "xcdotu");
      ASSERT_TRUE(ddot && sdot && dsdot && sdsdot && zdotc && zdotu && cdotc && cdotu) << b;
      const float sb = 0.5f;
      const double d = ddot(&n, xd.data(), &incx, yd.data(), &incy);
      const float s = sdot(&n, xf.data(), &incx, yf.data(), &incy);
      const double ds = dsdot(&n, xf.data(), &incx, yf.data(), &incy);
      const float sds = sdsdot(&n, &sb, xf.data(), &incx, yf.data(), &incy);
      orb_complex16 zc, zu;
      orb_complex8 cc, cu;
      auto zx = reinterpret_cast<const orb_complex16*>(xd.data());
      auto zy = reinterpret_cast<const orb_complex16*>(yd.data());
      auto cx = reinterpret_cast<const orb_complex8*>(xf.data());
      auto cy = reinterpret_cast<const orb_complex8*>(yf.data());
      zdotc(&zc, &n, zx, &incx, zy, &incy);
      zdotu(&zu, &n, zx, &incx, zy, &incy);
      cdotc(&cc, &n, cx, &incx, cy, &incy);
      cdotu(&cu, &n, cx, &incx, cy, &incy);
      if (firstb) {
        bd = d, bs = s, bds = ds, bsds = sds, bzc = zc, bzu = zu, bcc = cc, bcu = cu;
        firstb = false;
        continue;
      }
      EXPECT_TRUE(same_bits(d, bd)) << b << " " << w;
      EXPECT_TRUE(same_bits(s, bs)) << b << " " << w;
      EXPECT_TRUE(same_bits(ds, bds)) << b << " " << w;
      EXPECT_TRUE(same_bits(sds, bsds)) << b << " " << w;
      EXPECT_TRUE(same_bits(zc.re, bzc.re) && same_bits(zc.im, bzc.im)) << b << " " << w;
      EXPECT_TRUE(same_bits(zu.re, bzu.re) && same_bits(zu.im, bzu.im)) << b << " " << w;
      EXPECT_TRUE(same_bits(cc.re, bcc.re) && same_bits(cc.im, bcc.im)) << b << " " << w;
      EXPECT_TRUE(same_bits(cu.re, bcu.re) && same_bits(cu.im, bcu.im)) << b << " " << w;
    }
  }
}

}  // namespace
