// axpy and axpby: element-wise fused updates checked bit for bit against
// plain loops, the summed form of incy == 0 against extended sums, and the
// result against the reference BLAS.
#include <cfloat>
#include <limits>

#include "tests/blas/level1/arith_support.hpp"

namespace {

using namespace orb::l1test;

template <class T>
using axpy_fn = void (*)(const int*, const T*, const T*, const int*, T*, const int*);
template <class T>
using axpby_fn = void (*)(const int*, const T*, const T*, const int*, const T*, T*, const int*);

template <class T> struct RealNames;
#define ORB_REAL_NAMES(T, p)                                    \
  template <> struct RealNames<T> {                             \
    static constexpr auto axpy = orb_blas_##p##axpy;            \
    static constexpr auto axpby = orb_blas_##p##axpby;          \
    static constexpr const char* kaxpy = "x" #p "axpy";         \
    static constexpr const char* kaxpby = "x" #p "axpby";       \
    static constexpr const char* ref = #p "axpy_";              \
  };
ORB_REAL_NAMES(double, d)
ORB_REAL_NAMES(float, s)
#undef ORB_REAL_NAMES

// y := alpha x + y as a loop of fused updates: the promise of every path
// but incy == 0.
template <class T>
void fma_loop(int n, T alpha, const T* x, int incx, T* y, int incy) {
  const T* xs = x + first(n, incx);
  T* ys = y + first(n, incy);
  for (int i = 0; i < n; ++i) ys[i * incy] = std::fma(alpha, xs[i * incx], ys[i * incy]);
}

template <class T>
class RealAxpy : public ::testing::TestWithParam<Walk> {};
using DaxpyWalk = RealAxpy<double>;
using SaxpyWalk = RealAxpy<float>;

template <class T>
void check_walk(const Walk& w) {
  const auto [n, incx, incy] = w;
  const T alpha = T(0.7071);
  const auto x = random_vector<T>(span(n, incx), 1);
  const auto y0 = random_vector<T>(span(n, incy) + 3, 2);
  auto y = y0;
  RealNames<T>::axpy(&n, &alpha, x.data(), &incx, y.data(), &incy);
  if (incy != 0) {
    auto want = y0;
    fma_loop(n, alpha, x.data(), incx, want.data(), incy);
    EXPECT_TRUE(same_vectors(y, want));
    // The reference rounds twice per element: close, not equal.
    auto ref = y0;
    orb::test::reference<axpy_fn<T>>(RealNames<T>::ref)(&n, &alpha, x.data(), &incx, ref.data(), &incy);
    for (std::size_t i = 0; i < y.size(); ++i)
      EXPECT_NEAR(double(y[i]), double(ref[i]), 4 * std::numeric_limits<T>::epsilon()) << i;
  } else {
    // One element written: y[0] + the sum of alpha x, close to the exact sum.
    long double s = 0, mag = 0;
    const T* xs = x.data() + first(n, incx);
    for (int i = 0; i < n; ++i) s += (long double)alpha * xs[i * incx], mag += std::fabs(alpha * xs[i * incx]);
    EXPECT_TRUE(close_to(y[0], y0[0] + s, mag + std::fabs(y0[0]), 2 * n * std::numeric_limits<T>::epsilon()));
    for (std::size_t i = 1; i < y.size(); ++i) EXPECT_TRUE(same_bits(y[i], y0[i])) << i;
  }
}

TEST_P(DaxpyWalk, FusedPerElementOrSummedOnce) { check_walk<double>(GetParam()); }
TEST_P(SaxpyWalk, FusedPerElementOrSummedOnce) { check_walk<float>(GetParam()); }

// 7, 8, 19, 20 switch the double paths (masked only, no peel, peel); 15,
// 16, 38, 39 the float ones.
INSTANTIATE_TEST_SUITE_P(Paths, DaxpyWalk,
                         ::testing::Values(Walk{1, 1, 1}, Walk{7, 1, 1}, Walk{8, 1, 1}, Walk{19, 1, 1},
                                           Walk{20, 1, 1}, Walk{21, 1, 1}, Walk{1000, 1, 1}, Walk{33, 2, 3},
                                           Walk{33, -2, 1}, Walk{17, 1, -1}, Walk{40, 0, 1}, Walk{9, 0, 2},
                                           Walk{100, 3, 0}, Walk{31, 1, 0}, Walk{32, 1, 0}, Walk{33, -1, 0},
                                           Walk{70, 0, 0}));
INSTANTIATE_TEST_SUITE_P(Paths, SaxpyWalk,
                         ::testing::Values(Walk{1, 1, 1}, Walk{15, 1, 1}, Walk{16, 1, 1}, Walk{38, 1, 1},
                                           Walk{39, 1, 1}, Walk{40, 1, 1}, Walk{1001, 1, 1}, Walk{33, 2, 3},
                                           Walk{33, -2, -1}, Walk{40, 0, 1}, Walk{100, 3, 0}, Walk{63, 1, 0},
                                           Walk{64, 1, 0}, Walk{65, -2, 0}));

// Every alignment of x and y, including a y that is not on a whole element
// (no peel at all), gives the bits of the fused loop.
template <class T>
void check_alignments() {
  for (int n : {5, 8, 19, 20, 38, 39, 64, 77, 200}) {
    const auto x = random_vector<T>(n, 3);
    const auto y0 = random_vector<T>(n, 4);
    auto want = y0;
    const T alpha = T(-1.25);
    fma_loop(n, alpha, x.data(), 1, want.data(), 1);
    const int one = 1;
    for (std::size_t ox = 0; ox < 64; ox += sizeof(T))
      for (std::size_t oy = 0; oy < 64; oy += sizeof(T) / 2) {
        Placed<T> px(x, ox), py(y0, oy);
        RealNames<T>::axpy(&n, &alpha, px.get(), &one, py.get(), &one);
        ASSERT_TRUE(same_vectors(py.values(), want)) << "n=" << n << " x+" << ox << " y+" << oy;
      }
  }
}
TEST(AxpyAlignment, DoubleAnyAlignmentSameBits) { check_alignments<double>(); }
TEST(AxpyAlignment, FloatAnyAlignmentSameBits) { check_alignments<float>(); }

TEST(AxpyEdges, QuickReturnsTouchNothing) {
  double* bad = static_cast<double*>(orb::test::faulting_pointer());
  const double one = 1.0, zero = 0.0;
  const float fzero = 0.0f;
  const orb_complex16 zz{0.0, 0.0};
  const orb_complex8 cz{0.0f, 0.0f};
  const int inc = 1;
  for (int n : {0, -3}) {
    orb_blas_daxpy(&n, &one, bad, &inc, bad, &inc);
    orb_blas_caxpy(&n, reinterpret_cast<const orb_complex8*>(&one), reinterpret_cast<orb_complex8*>(bad), &inc,
                   reinterpret_cast<orb_complex8*>(bad), &inc);
    orb_blas_daxpby(&n, &one, bad, &inc, &zero, bad, &inc);
  }
  const int n = 100;
  orb_blas_daxpy(&n, &zero, bad, &inc, bad, &inc);
  orb_blas_saxpy(&n, &fzero, reinterpret_cast<float*>(bad), &inc, reinterpret_cast<float*>(bad), &inc);
  orb_blas_zaxpy(&n, &zz, reinterpret_cast<orb_complex16*>(bad), &inc, reinterpret_cast<orb_complex16*>(bad), &inc);
  orb_blas_caxpy(&n, &cz, reinterpret_cast<orb_complex8*>(bad), &inc, reinterpret_cast<orb_complex8*>(bad), &inc);
  // axpby returns at once only when alpha is 0 and beta is 1 together.
  orb_blas_daxpby(&n, &zero, bad, &inc, &one, bad, &inc);
  const orb_complex16 z1{1.0, 0.0};
  orb_blas_zaxpby(&n, &zz, reinterpret_cast<orb_complex16*>(bad), &inc, &z1, reinterpret_cast<orb_complex16*>(bad),
                  &inc);
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

// Complex: the documented rounding per element, as a scalar loop.
template <class T>
void caxpy_loop(int n, T ar, T ai, const T* x, int incx, T* y, int incy) {
  const T* xs = x + 2 * first(n, incx);
  T* ys = y + 2 * first(n, incy);
  for (int k = 0; k < n; ++k) {
    const T* p = xs + 2 * k * incx;
    T* q = ys + 2 * k * incy;
    const T tr = std::fma(-ai, p[1], q[0]), ti = std::fma(ai, p[0], q[1]);
    q[0] = std::fma(ar, p[0], tr);
    q[1] = std::fma(ar, p[1], ti);
  }
}

template <class T, class C>
void check_complex_axpy(void (*f)(const int*, const C*, const C*, const int*, C*, const int*), const char* ref_name) {
  const C alpha{T(0.375), T(-1.5)};
  for (Walk w : {Walk{1, 1, 1}, Walk{3, 1, 1}, Walk{4, 1, 1}, Walk{7, 1, 1}, Walk{16, 1, 1}, Walk{17, 1, 1},
                 Walk{35, 1, 1}, Walk{64, 1, 1}, Walk{203, 1, 1}, Walk{13, 2, -3}, Walk{12, -1, -1}, Walk{9, 0, 1},
                 Walk{21, 3, 0}}) {
    const auto [n, incx, incy] = w;
    const auto x = random_vector<T>(span(n, incx, 2), 5);
    const auto y0 = random_vector<T>(span(n, incy, 2), 6);
    auto y = y0;
    f(&n, &alpha, reinterpret_cast<const C*>(x.data()), &incx, reinterpret_cast<C*>(y.data()), &incy);
    auto ref = y0;
    orb::test::reference<void (*)(const int*, const C*, const C*, const int*, C*, const int*)>(ref_name)(
        &n, &alpha, reinterpret_cast<const C*>(x.data()), &incx, reinterpret_cast<C*>(ref.data()), &incy);
    const double tol = (incy == 0 ? 4 * n : 8) * std::numeric_limits<T>::epsilon();
    for (std::size_t i = 0; i < y.size(); ++i) EXPECT_NEAR(double(y[i]), double(ref[i]), tol) << w << " " << i;
    if (incy != 0) {
      auto want = y0;
      caxpy_loop(n, alpha.re, alpha.im, x.data(), incx, want.data(), incy);
      EXPECT_TRUE(same_vectors(y, want)) << w;
    }
  }
  // Alignments of y, whole elements or not: the same bits.
  for (int n : {5, 16, 40, 101}) {
    const auto x = random_vector<T>(2 * n, 7);
    const auto y0 = random_vector<T>(2 * n, 8);
    auto want = y0;
    caxpy_loop(n, alpha.re, alpha.im, x.data(), 1, want.data(), 1);
    const int one = 1;
    for (std::size_t oy = 0; oy < 64; oy += sizeof(T)) {
      Placed<T> px(x, 8), py(y0, oy);
      f(&n, &alpha, reinterpret_cast<C*>(px.get()), &one, reinterpret_cast<C*>(py.get()), &one);
      EXPECT_TRUE(same_vectors(py.values(), want)) << "n=" << n << " y+" << oy;
    }
  }
}
TEST(ComplexAxpy, Caxpy) { check_complex_axpy<float, orb_complex8>(orb_blas_caxpy, "caxpy_"); }
TEST(ComplexAxpy, Zaxpy) { check_complex_axpy<double, orb_complex16>(orb_blas_zaxpy, "zaxpy_"); }

// axpby: beta 0 writes alpha x without reading y; other betas fuse alpha x
// onto beta y; beta 1 is axpy to the bit.
template <class T>
void check_axpby() {
  for (Walk w : {Walk{1, 1, 1}, Walk{7, 1, 1}, Walk{20, 1, 1}, Walk{39, 1, 1}, Walk{100, 1, 1}, Walk{257, 1, 1},
                 Walk{33, 2, -3}, Walk{10, 0, 1}, Walk{10, 1, 0}}) {
    const auto [n, incx, incy] = w;
    const auto x = random_vector<T>(span(n, incx), 9);
    const auto y0 = random_vector<T>(span(n, incy), 10);
    for (T beta : {T(0), T(1), T(-0.5), T(3)}) {
      for (T alpha : {T(0), T(0.25)}) {
        if (alpha == T(0) && beta == T(1)) continue;
        auto y = y0;
        if (beta == T(0)) std::fill(y.begin(), y.end(), std::numeric_limits<T>::quiet_NaN());
        auto want = y;
        const T* xs = x.data() + first(n, incx);
        T* ws = want.data() + first(n, incy);
        for (int i = 0; i < n; ++i) {
          T& q = ws[i * incy];
          q = beta == T(0) ? alpha * xs[i * incx] : std::fma(alpha, xs[i * incx], beta * q);
        }
        RealNames<T>::axpby(&n, &alpha, x.data(), &incx, &beta, y.data(), &incy);
        EXPECT_TRUE(same_vectors(y, want)) << w << " alpha " << alpha << " beta " << beta;
      }
    }
    if (incy != 0) {
      const T alpha = T(-2.5), one = T(1);
      auto a = y0, b = y0;
      RealNames<T>::axpby(&n, &alpha, x.data(), &incx, &one, a.data(), &incy);
      RealNames<T>::axpy(&n, &alpha, x.data(), &incx, b.data(), &incy);
      EXPECT_TRUE(same_vectors(a, b)) << w;
    }
  }
  // Alpha 0 is no shortcut: a NaN in x reaches y.
  const int n = 3, one = 1;
  std::vector<T> x{1, std::numeric_limits<T>::quiet_NaN(), 2}, y{1, 1, 1};
  const T zero = 0, two = 2;
  RealNames<T>::axpby(&n, &zero, x.data(), &one, &two, y.data(), &one);
  EXPECT_EQ(y[0], T(2));
  EXPECT_TRUE(std::isnan(y[1]));
}
TEST(Axpby, Double) { check_axpby<double>(); }
TEST(Axpby, Float) { check_axpby<float>(); }

template <class T, class C>
void check_complex_axpby(void (*f)(const int*, const C*, const C*, const int*, const C*, C*, const int*)) {
  const C alpha{T(0.5), T(-0.75)};
  for (C beta : {C{0, 0}, C{T(1.25), T(0.5)}, C{1, 0}})
    for (Walk w : {Walk{1, 1, 1}, Walk{9, 1, 1}, Walk{40, 1, 1}, Walk{131, 1, 1}, Walk{17, -2, 3}}) {
      const auto [n, incx, incy] = w;
      const auto x = random_vector<T>(span(n, incx, 2), 11);
      auto y = random_vector<T>(span(n, incy, 2), 12);
      // Long double oracle of alpha x + beta y.
      std::vector<long double> want(y.begin(), y.end());
      const T* xs = x.data() + 2 * first(n, incx);
      const std::ptrdiff_t oy = 2 * first(n, incy);
      for (int i = 0; i < n; ++i) {
        const long double xr = xs[2 * i * incx], xi = xs[2 * i * incx + 1];
        long double& yr = want[oy + 2 * i * incy];
        long double& yi = want[oy + 2 * i * incy + 1];
        const long double nr = alpha.re * xr - alpha.im * xi + beta.re * yr - beta.im * yi;
        const long double ni = alpha.re * xi + alpha.im * xr + beta.re * yi + beta.im * yr;
        yr = nr, yi = ni;
      }
      f(&n, &alpha, reinterpret_cast<const C*>(x.data()), &incx, &beta, reinterpret_cast<C*>(y.data()), &incy);
      for (std::size_t i = 0; i < y.size(); ++i)
        EXPECT_TRUE(close_to(y[i], want[i], 4, 4 * std::numeric_limits<T>::epsilon())) << w << " " << i;
      // Unit stride and a strided walk of the same numbers agree bit for bit.
      if (incx == 1 && incy == 1) {
        const int two = 2;
        std::vector<T> x2(4 * n), y2(4 * n);
        auto y1 = random_vector<T>(2 * n, 12);
        for (int i = 0; i < n; ++i) x2[4 * i] = x[2 * i], x2[4 * i + 1] = x[2 * i + 1], y2[4 * i] = y1[2 * i],
                                    y2[4 * i + 1] = y1[2 * i + 1];
        f(&n, &alpha, reinterpret_cast<const C*>(x2.data()), &two, &beta, reinterpret_cast<C*>(y2.data()), &two);
        for (int i = 0; i < n; ++i)
          ASSERT_TRUE(same_bits(y2[4 * i], y[2 * i]) && same_bits(y2[4 * i + 1], y[2 * i + 1])) << w << " " << i;
      }
    }
}
TEST(Axpby, ComplexFloat) { check_complex_axpby<float, orb_complex8>(orb_blas_caxpby); }
TEST(Axpby, ComplexDouble) { check_complex_axpby<double, orb_complex16>(orb_blas_zaxpby); }

// Every build runs the same arithmetic: compare the kernels themselves.
template <class F, class Call>
void across_builds(const char* name, const Call& call) {
  const auto builds = orb::test::runnable_builds();
  for (const char* b : builds) {
    ASSERT_NE(orb::test::kernel_of<F>(b, name), nullptr) << b << " " << name;
  }
  for (const char* b : builds) call(b, orb::test::kernel_of<F>(b, name));
}

TEST(AxpyBuilds, EveryBuildSameBits) {
  for (Walk w : {Walk{7, 1, 1}, Walk{20, 1, 1}, Walk{39, 1, 1}, Walk{301, 1, 1}, Walk{77, 1, 0}, Walk{150, -3, 0},
                 Walk{25, 2, -1}}) {
    const auto [n, incx, incy] = w;
    const auto xd = random_vector<double>(span(n, incx, 2), 13);
    const auto yd = random_vector<double>(span(n, incy, 2), 14);
    const auto xf = random_vector<float>(span(n, incx, 2), 15);
    const auto yf = random_vector<float>(span(n, incy, 2), 16);
    std::vector<double> base_d, base_z, base_db, base_zb;
    std::vector<float> base_s, base_c, base_sb, base_cb;
    const double ad = 0.3;
    const float af = 0.3f;
    const orb_complex16 az{0.3, -0.7}, bz{1.5, 0.25};
    const orb_complex8 ac{0.3f, -0.7f}, bc{1.5f, 0.25f};
    const double bd = -1.5;
    const float bf = -1.5f;
    auto keep = [](auto& base, const auto& v, const char* b) {
      if (base.empty()) base = v;
      else EXPECT_TRUE(same_vectors(v, base)) << b;
    };
    across_builds<axpy_fn<double>>("xdaxpy", [&](const char* b, auto f) {
      auto y = yd;
      f(&n, &ad, xd.data(), &incx, y.data(), &incy);
      keep(base_d, y, b);
    });
    across_builds<axpy_fn<float>>("xsaxpy", [&](const char* b, auto f) {
      auto y = yf;
      f(&n, &af, xf.data(), &incx, y.data(), &incy);
      keep(base_s, y, b);
    });
    across_builds<axpy_fn<orb_complex16>>("xzaxpy", [&](const char* b, auto f) {
      auto y = yd;
      f(&n, &az, reinterpret_cast<const orb_complex16*>(xd.data()), &incx,
        reinterpret_cast<orb_complex16*>(y.data()), &incy);
      keep(base_z, y, b);
    });
    across_builds<axpy_fn<orb_complex8>>("xcaxpy", [&](const char* b, auto f) {
      auto y = yf;
      f(&n, &ac, reinterpret_cast<const orb_complex8*>(xf.data()), &incx, reinterpret_cast<orb_complex8*>(y.data()),
        &incy);
      keep(base_c, y, b);
    });
    across_builds<axpby_fn<double>>("xdaxpby", [&](const char* b, auto f) {
      auto y = yd;
      f(&n, &ad, xd.data(), &incx, &bd, y.data(), &incy);
      keep(base_db, y, b);
    });
    across_builds<axpby_fn<float>>("xsaxpby", [&](const char* b, auto f) {
      auto y = yf;
      f(&n, &af, xf.data(), &incx, &bf, y.data(), &incy);
      keep(base_sb, y, b);
    });
    across_builds<axpby_fn<orb_complex16>>("xzaxpby", [&](const char* b, auto f) {
      auto y = yd;
      f(&n, &az, reinterpret_cast<const orb_complex16*>(xd.data()), &incx, &bz,
        reinterpret_cast<orb_complex16*>(y.data()), &incy);
      keep(base_zb, y, b);
    });
    across_builds<axpby_fn<orb_complex8>>("xcaxpby", [&](const char* b, auto f) {
      auto y = yf;
      f(&n, &ac, reinterpret_cast<const orb_complex8*>(xf.data()), &incx, &bc,
        reinterpret_cast<orb_complex8*>(y.data()), &incy);
      keep(base_cb, y, b);
    });
  }
}

}  // namespace
