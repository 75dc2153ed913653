// axpy and axpby on every build: element-wise fused updates bit for bit
// against plain loops, the summed form of incy == 0 against extended sums,
// and the values of the reference BLAS.
#include "tests/blas/level1/l1_support.hpp"

namespace {

using namespace orb::l1test;

template <class E>
using axpy_fn = void (*)(const int*, const E*, const E*, const int*, E*, const int*);
template <class E>
using axpby_fn = void (*)(const int*, const E*, const E*, const int*, const E*, E*, const int*);

// alpha x + y as every path of axpy rounds it: one fused step for a real
// element; for a complex one the imaginary part of alpha goes in first.
template <class E>
E fused_axpy(E a, E x, E y) {
  if constexpr (parts<E> == 1) {
    return std::fma(a, x, y);
  } else {
    const auto tr = std::fma(-a.im, x.im, y.re), ti = std::fma(a.im, x.re, y.im);
    return E{std::fma(a.re, x.re, tr), std::fma(a.re, x.im, ti)};
  }
}

class Axpy : public ::testing::TestWithParam<Walk> {};

template <class E>
void check_axpy(const Walk& w) {
  const auto [n, incx, incy, xoff, yoff] = w;
  const E alpha = make<E>(0.7071, -1.5);
  const auto x = random_elements<E>(span(n, incx), 1);
  const auto y0 = random_elements<E>(span(n, incy) + 3, 2);
  const auto y = in_every_build<axpy_fn<E>>(kernel<E>("axpy"), [&](auto f) {
    Guarded gx(x, xoff), gy(y0, yoff);
    f(&n, &alpha, gx.as<E>(), &incx, gy.as<E>(), &incy);
    EXPECT_TRUE(gx.holds(x) && gy.untouched_around()) << w;
    return gy.values<E>();
  });
  if (incy != 0) {
    auto want = y0;
    for (int i = 0; i < n; ++i) {
      E& q = want[first(n, incy) + i * incy];
      q = fused_axpy(alpha, x[first(n, incx) + i * incx], q);
    }
    EXPECT_TRUE(same_vectors(y, want)) << w;
    // The reference rounds twice per element: close, not equal.
    auto ref = y0;
    orb::test::reference<axpy_fn<E>>(reference<E>("axpy").c_str())(&n, &alpha, x.data(), &incx, ref.data(), &incy);
    EXPECT_TRUE(close_vectors(y, ref, 8 * eps<E>)) << w;
  } else {
    // One element written: y[0] + the sum of alpha x, close to the exact sum.
    std::complex<long double> s = val(y0[0]);
    long double mag = std::abs(s);
    for (int i = 0; i < n; ++i) {
      const auto t = val(alpha) * val(x[first(n, incx) + i * incx]);
      s += t, mag += std::abs(t);
    }
    EXPECT_TRUE(close_to(val(y[0]), s, mag, 4 * n * eps<E>)) << w;
    for (std::size_t i = 1; i < y.size(); ++i) EXPECT_TRUE(same_bits(y[i], y0[i])) << w << " " << i;
  }
}

TEST_P(Axpy, FusedPerElementOrSummedOnce) {
  for_each_type([&]<class E>() { check_axpy<E>(GetParam()); });
}

// 7, 8, 19, 20 switch the double paths (masked only, no peel, peel); 15, 16,
// 38, 39 the float ones; the short complex lengths fill a fraction of one
// vector. The offsets place y aligned, a little or far past a line, and off a
// whole element (no peel).
std::vector<Walk> axpy_walks() {
  std::vector<Walk> v;
  for (int n : {1, 3, 4, 7, 8, 15, 16, 17, 19, 20, 35, 38, 39, 40, 77, 203, 1000})
    for (auto o : {std::pair<std::size_t, std::size_t>{0, 0}, {8, 8}, {16, 40}, {56, 4}, {4, 12}, {36, 60}})
      v.push_back({n, 1, 1, o.first, o.second});
  for (Walk w : {Walk{33, 2, 3}, Walk{33, -2, 1}, Walk{17, 1, -1}, Walk{12, -1, -1}, Walk{13, 2, -3}, Walk{40, 0, 1},
                 Walk{9, 0, 2}, Walk{100, 3, 0}, Walk{31, 1, 0}, Walk{32, 1, 0}, Walk{33, -1, 0}, Walk{63, 1, 0},
                 Walk{64, 1, 0}, Walk{65, -2, 0}, Walk{70, 0, 0}})
    v.push_back({w.n, w.incx, w.incy, 8, 16});
  return v;
}
INSTANTIATE_TEST_SUITE_P(Paths, Axpy, ::testing::ValuesIn(axpy_walks()));

// axpby: beta 0 writes alpha x and never reads y; other betas fuse alpha x
// onto beta y (real) or round close to the exact value (complex); beta 1 is
// axpy to the bit, and alpha 0 is no shortcut unless beta is 1.
template <class E>
void check_axpby(const Walk& w) {
  const auto [n, incx, incy, xoff, yoff] = w;
  const auto x = random_elements<E>(span(n, incx), 9);
  const auto y0 = random_elements<E>(span(n, incy), 10);
  for (E beta : {make<E>(0), make<E>(1), make<E>(-0.5, 1.25), make<E>(3)})
    for (E alpha : {make<E>(0), make<E>(0.25, -0.75)}) {
      if (val(alpha) == 0.0L && val(beta) == 1.0L) continue;
      auto yin = y0;
      if (val(beta) == 0.0L) yin.assign(y0.size(), make<E>(NAN, NAN));
      const auto y = in_every_build<axpby_fn<E>>(kernel<E>("axpby"), [&](auto f) {
        Guarded gy(yin, yoff);
        f(&n, &alpha, x.data(), &incx, &beta, gy.as<E>(), &incy);
        EXPECT_TRUE(gy.untouched_around());
        return gy.values<E>();
      });
      auto want = yin;
      for (int i = 0; i < n; ++i) {
        const E& p = x[first(n, incx) + i * incx];
        E& q = want[first(n, incy) + i * incy];
        if constexpr (parts<E> == 1) {
          q = beta == 0 ? alpha * p : std::fma(alpha, p, beta * q);
        } else {
          const auto v = val(alpha) * val(p) + (val(beta) == 0.0L ? 0.0L : val(beta) * val(q));
          q = make<E>(v.real(), v.imag());
        }
      }
      if (parts<E> == 1) EXPECT_TRUE(same_vectors(y, want)) << w << " alpha " << val(alpha) << " beta " << val(beta);
      else EXPECT_TRUE(close_vectors(y, want, (incy ? 4 : 4 * n) * eps<E>)) << w << " alpha " << val(alpha) << " beta " << val(beta);
      // Unit stride and a strided walk over the same numbers agree bit for bit.
      if (incx == 1 && incy == 1) {
        std::vector<E> x2(2 * n), y2(2 * n);
        for (int i = 0; i < n; ++i) x2[2 * i] = x[i], y2[2 * i] = yin[i];
        const int two = 2;
        orb::test::kernel_of<axpby_fn<E>>(orb::test::runnable_builds().front(), kernel<E>("axpby").c_str())(
            &n, &alpha, x2.data(), &two, &beta, y2.data(), &two);
        for (int i = 0; i < n; ++i) ASSERT_TRUE(same_bits(y2[2 * i], y[i])) << w << " strided, element " << i;
      }
      if (val(beta) == 1.0L && incy != 0) {
        auto b = y0;
        orb::test::kernel_of<axpy_fn<E>>(orb::test::runnable_builds().front(), kernel<E>("axpy").c_str())(
            &n, &alpha, x.data(), &incx, b.data(), &incy);
        EXPECT_TRUE(same_vectors(y, b)) << w << " beta 1 is axpy";
      }
    }
}

class Axpby : public ::testing::TestWithParam<Walk> {};
TEST_P(Axpby, AgainstPlainLoops) {
  for_each_type([&]<class E>() { check_axpby<E>(GetParam()); });
}
INSTANTIATE_TEST_SUITE_P(Paths, Axpby,
                         ::testing::Values(Walk{1, 1, 1}, Walk{7, 1, 1, 8, 0}, Walk{20, 1, 1, 0, 24},
                                           Walk{39, 1, 1, 4, 4}, Walk{131, 1, 1}, Walk{257, 1, 1, 0, 8},
                                           Walk{33, 2, -3}, Walk{17, -2, 3}, Walk{10, 0, 1}, Walk{10, 1, 0}));

TEST(AxpyEdges, QuickReturnsTouchNothing) {
  for_each_type([]<class E>() {
    E* bad = static_cast<E*>(orb::test::faulting_pointer());
    const E zero = make<E>(0), one = make<E>(1);
    const int inc = 1;
    // n > 0 returns at once only for alpha 0 (for axpby, with beta 1).
    for (int n : {0, -3, 100}) {
      for (auto [b, f] : every_build<axpy_fn<E>>(kernel<E>("axpy"))) f(&n, n > 0 ? &zero : &one, bad, &inc, bad, &inc);
      for (auto [b, f] : every_build<axpby_fn<E>>(kernel<E>("axpby")))
        f(&n, n > 0 ? &zero : &one, bad, &inc, n > 0 ? &one : &zero, bad, &inc);
    }
  });
}

// Alpha 0 with beta other than 1 still reads x: a NaN there reaches y.
TEST(AxpyEdges, AxpbyAlphaZeroPassesNaNOn) {
  const int n = 3, one = 1;
  std::vector<double> x{1, NAN, 2}, y{1, 1, 1};
  const double zero = 0, two = 2;
  orb_blas_daxpby(&n, &zero, x.data(), &one, &two, y.data(), &one);
  EXPECT_EQ(y[0], 2.0);
  EXPECT_TRUE(std::isnan(y[1]));
}

// The summed form of incy == 0 must not let the dead lanes of its last
// masked step see alpha: an infinite alpha times zeros would be NaN.
TEST(AxpyEdges, SummedFormWithInfiniteAlphaStaysInfinite) {
  const double inf = std::numeric_limits<double>::infinity();
  for (int n : {1, 3, 9, 35}) {
    std::vector<double> x(n, 1.0);
    double y = 2.0;
    const int incx = 1, incy = 0;
    orb_blas_daxpy(&n, &inf, x.data(), &incx, &y, &incy);
    EXPECT_EQ(y, inf) << n;
  }
}

}  // namespace
