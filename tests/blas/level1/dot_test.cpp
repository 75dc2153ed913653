// Dot products on every build: real, complex (plain and conjugated) and
// single precision accumulated in double, against the reference BLAS and
// extended sums, and the promise that the bits depend on n and the
// increments only.
#include "tests/blas/level1/l1_support.hpp"

namespace {

using namespace orb::l1test;

template <class E>
using dot_fn = E (*)(const int*, const E*, const int*, const E*, const int*);
using dsdot_fn = double (*)(const int*, const float*, const int*, const float*, const int*);
using sdsdot_fn = float (*)(const int*, const float*, const float*, const int*, const float*, const int*);
template <class E>
using cdot_fn = void (*)(E*, const int*, const E*, const int*, const E*, const int*);
// gfortran returns complex results by value.
template <class E>
using ref_cdot_fn = std::conditional_t<parts<E> == 2 && sizeof(E) == 8, __complex__ float, __complex__ double> (*)(
    const int*, const E*, const int*, const E*, const int*);

// A dot kernel of every build on x and y placed at the walk's offsets. The
// bits must not depend on the addresses; where `turned`, both increments
// negative pair the same elements as both positive and the kernel turns
// the walk forwards, so the bits are those of the positive call.
template <class F, class E, class Call>
auto dot_of(const std::string& name, const Walk& w, const std::vector<E>& x, const std::vector<E>& y, bool turned,
            Call call) {
  return in_every_build<F>(name, [&](F f) {
    Guarded gx(x, w.xoff), gy(y, w.yoff), ax(x, 0), ay(y, 0);
    const auto r = call(f, gx.as<E>(), w.incx, gy.as<E>(), w.incy);
    EXPECT_TRUE(bytes_of(r) == bytes_of(call(f, ax.as<E>(), w.incx, ay.as<E>(), w.incy))) << name << " " << w;
    if (turned && w.incx < 0 && w.incy < 0) {
      EXPECT_TRUE(bytes_of(r) == bytes_of(call(f, ax.as<E>(), -w.incx, ay.as<E>(), -w.incy))) << name << " " << w;
    }
    return r;
  });
}

template <class E>
void check_dots(const Walk& w) {
  const int n = w.n;
  const auto x = random_elements<E>(span(n, w.incx), 21), y = random_elements<E>(span(n, w.incy), 22);
  // Extended sums of x y and conj(x) y, and a bound of their rounding.
  std::complex<long double> u = 0, c = 0;
  long double mag = 0;
  for (int i = 0; i < n; ++i) {
    const auto xv = val(x[first(n, w.incx) + i * w.incx]), yv = val(y[first(n, w.incy) + i * w.incy]);
    u += xv * yv, c += std::conj(xv) * yv;
    mag += (std::fabs(xv.real()) + std::fabs(xv.imag())) * (std::fabs(yv.real()) + std::fabs(yv.imag()));
  }
  const long double tol = (n + 2) * eps<E>;
  if constexpr (parts<E> == 1) {
    auto call = [&](auto f, const E* xp, int ix, const E* yp, int iy) { return f(&n, xp, &ix, yp, &iy); };
    const E d = dot_of<dot_fn<E>>(kernel<E>("dot"), w, x, y, false, call);
    EXPECT_TRUE(close_to(d, u, mag, tol)) << w;
    const E ref = orb::test::reference<dot_fn<E>>(reference<E>("dot").c_str())(&n, x.data(), &w.incx, y.data(), &w.incy);
    EXPECT_TRUE(close_to(d, ref, mag, 2 * tol)) << w;
    if constexpr (std::is_same_v<E, float>) {
      // Accumulated in double: the products are exact, only the sums round.
      const double ds = dot_of<dsdot_fn>("xdsdot", w, x, y, true, call);
      EXPECT_TRUE(close_to(ds, u, mag, (n + 2) * DBL_EPSILON)) << w;
      EXPECT_TRUE(close_to(ds, orb::test::reference<dsdot_fn>("dsdot_")(&n, x.data(), &w.incx, y.data(), &w.incy), mag,
                           2 * (n + 2) * DBL_EPSILON));
      const float sb = 0.375f;
      const float sds = dot_of<sdsdot_fn>("xsdsdot", w, x, y, true, [&](auto f, const E* xp, int ix, const E* yp, int iy) {
        return f(&n, &sb, xp, &ix, yp, &iy);
      });
      EXPECT_EQ(sds, float(double(sb) + ds)) << w;
      EXPECT_TRUE(close_to(sds, orb::test::reference<sdsdot_fn>("sdsdot_")(&n, &sb, x.data(), &w.incx, y.data(), &w.incy),
                           mag + sb, FLT_EPSILON));
    }
  } else {
    auto call = [&](auto f, const E* xp, int ix, const E* yp, int iy) {
      E r;
      f(&r, &n, xp, &ix, yp, &iy);
      return r;
    };
    for (auto [op, want] : {std::pair{"dotu", u}, std::pair{"dotc", c}}) {
      const E r = dot_of<cdot_fn<E>>(kernel<E>(op), w, x, y, true, call);
      EXPECT_TRUE(close_to(val(r), want, mag, tol)) << op << " " << w;
      const auto ref = orb::test::reference<ref_cdot_fn<E>>(reference<E>(op).c_str())(&n, x.data(), &w.incx, y.data(), &w.incy);
      EXPECT_TRUE(close_to(val(r), {__real__ ref, __imag__ ref}, mag, 2 * tol)) << op << " " << w;
    }
  }
}

class Dot : public ::testing::TestWithParam<Walk> {};
TEST_P(Dot, CloseToReferenceAndExactSumSameBitsEverywhere) {
  for_each_type([&]<class E>() { check_dots<E>(GetParam()); });
}

// Lengths around the vector blocks of 4- to 16-byte elements, a few
// addresses for each, and every sign of increment.
std::vector<Walk> dot_walks() {
  std::vector<Walk> v;
  for (int n : {1, 3, 4, 7, 8, 9, 15, 16, 17, 31, 32, 33, 45, 47, 63, 64, 121, 1003, 4099})
    v.push_back({n, 1, 1, std::size_t(n % 16) * 4, std::size_t(60 - n % 16 * 4)});
  for (int n : {5, 40, 1000})
    for (std::size_t off : {0, 4, 8, 20, 36, 52, 60}) v.push_back({n, 1, 1, off, 60 - off});
  for (Walk s : {Walk{1, 2, 3}, Walk{2, 2, 3}, Walk{3, -1, 2}, Walk{6, 1, -2}, Walk{17, 3, -2}, Walk{50, -1, -1},
                 Walk{37, -2, -3}, Walk{6, -1, -2}, Walk{250, -2, -3}, Walk{20, 0, 1}, Walk{21, 1, 0}, Walk{9, 0, 0}})
    v.push_back({s.n, s.incx, s.incy, 8, 16});
  return v;
}
INSTANTIATE_TEST_SUITE_P(Walks, Dot, ::testing::ValuesIn(dot_walks()));

// The conjugated product of x with itself is |x|^2 with a zero imaginary
// part, exactly: the crossed sums cancel term by term in the same order.
TEST(DotEdges, ConjugatedSelfProductIsReal) {
  for (int n : {1, 5, 16, 77}) {
    const auto x = random_elements<orb_complex16>(n, 45);
    const int one = 1;
    orb_complex16 r;
    orb_blas_zdotc(&r, &n, x.data(), &one, x.data(), &one);
    EXPECT_EQ(r.im, 0.0) << n;
    EXPECT_GT(r.re, 0.0);
  }
}

// n < 1: zero (sb itself for sdsdot, sign of zero included), no access.
TEST(DotEdges, QuickReturnsTouchNothing) {
  void* bad = orb::test::faulting_pointer();
  const int one = 1;
  for (int n : {0, -1}) {
    EXPECT_TRUE(same_bits(orb_blas_ddot(&n, static_cast<double*>(bad), &one, static_cast<double*>(bad), &one), 0.0));
    EXPECT_TRUE(same_bits(orb_blas_sdot(&n, static_cast<float*>(bad), &one, static_cast<float*>(bad), &one), 0.0f));
    EXPECT_TRUE(same_bits(orb_blas_dsdot(&n, static_cast<float*>(bad), &one, static_cast<float*>(bad), &one), 0.0));
    const float sb = -0.0f;
    EXPECT_TRUE(same_bits(orb_blas_sdsdot(&n, &sb, static_cast<float*>(bad), &one, static_cast<float*>(bad), &one), sb));
    orb_complex16 z{7, 7};
    orb_blas_zdotc(&z, &n, static_cast<orb_complex16*>(bad), &one, static_cast<orb_complex16*>(bad), &one);
    EXPECT_TRUE(z.re == 0.0 && z.im == 0.0);
    orb_complex8 c{7, 7};
    orb_blas_cdotu(&c, &n, static_cast<orb_complex8*>(bad), &one, static_cast<orb_complex8*>(bad), &one);
    EXPECT_TRUE(c.re == 0.0f && c.im == 0.0f);
  }
}

}  // namespace
