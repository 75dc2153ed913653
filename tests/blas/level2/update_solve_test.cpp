// Rank updates, symmetric and Hermitian products, triangular product and
// solve: the reference BLAS at block-edge sizes, the documented edges
// (skipped columns, real diagonals, unread unit diagonals, no-buffer
// paths), and the threaded forms against the single-thread ones.
#include <algorithm>
#include <cmath>
#include <limits>

#include "tests/blas/level2/l2_support.hpp"

namespace {

using namespace orb::l2test;
using orb::test::reference;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Runs f with the core's team size set to t, then restores the default.
template <class F>
void with_threads(int t, F f) {
  orb_set_num_threads(t);
  f();
  orb_set_num_threads(0);
}

// ---- ger ---------------------------------------------------------------------

// The real forms are checked to the bit below; the complex ones skip a
// column of zero y(j) as well, so its NaN survives.
TEST(Ger, ZeroInYSkipsItsColumnSoNaNSurvives) {
  const int m = 13, n = 6, lda = 13, one = 1;
  std::vector<orb_complex16> az(std::size_t(m) * n, orb_complex16{1, 1});
  az[3 * lda + 4] = orb_complex16{kNaN, 0};
  auto yz = rnd<orb_complex16>(n, 4);
  const auto xz = rnd<orb_complex16>(m, 5);
  yz[3] = orb_complex16{0, 0};
  const orb_complex16 al{1, 2};
  orb_blas_zgerc(&m, &n, &al, xz.data(), &one, yz.data(), &one, az.data(), &lda);
  EXPECT_TRUE(std::isnan(az[3 * lda + 4].re));
  EXPECT_EQ(az[3 * lda + 5].re, 1.0);
}

// Every element takes exactly one fused step, a + x(i) * (y(j) alpha), in
// every build, whatever the alignment of A, the grouping of the columns or
// the stride of x; a zero y(j) leaves its column untouched (NaN included),
// also inside a group of nonzero ones.
template <class T>
void ger_exact(const char* name) {
  using ger_fn = void (*)(const int*, const int*, const T*, const T*, const int*, const T*, const int*, T*,
                          const int*);
  unsigned seed = 80;
  for (const char* tag : orb::test::runnable_builds()) {
    const auto ger = orb::test::kernel_of<ger_fn>(tag, name);
    for (const int m : {1, 7, 16, 37, 100})
      for (const int n : {3, 8, 9, 19})
        for (const int shift : {0, 1, 3})
          for (const int incx : {1, -2}) {
            const int lda = m + 3, incy = 1;
            // shift moves A off a 64-byte line, so the row peel varies.
            std::vector<T> store(std::size_t(lda) * n + shift + 16);
            T* a = store.data() + shift;
            const auto a0 = rnd<T>(std::size_t(lda) * n, seed++);
            std::copy(a0.begin(), a0.end(), a);
            const auto xv = rnd<T>(m, seed++);
            auto y = rnd<T>(n, seed++);
            if (n > 9) y[10] = T(0), a[10 * std::size_t(lda) + m / 2] = T(kNaN);
            std::vector<T> x(span(m, incx));
            for (int i = 0; i < m; ++i) x[at(m, incx, i)] = xv[i];
            std::vector<T> want(a, a + std::size_t(lda) * n);
            const T alpha = T(0.75);
            for (int j = 0; j < n; ++j)
              if (y[j] != T(0))
                for (int i = 0; i < m; ++i)
                  want[std::size_t(j) * lda + i] = std::fma(xv[i], y[j] * alpha, want[std::size_t(j) * lda + i]);
            ger(&m, &n, &alpha, x.data(), &incx, y.data(), &incy, a, &lda);
            const std::vector<T> got(a, a + std::size_t(lda) * n);
            ASSERT_TRUE(same(got, want)) << tag << " m=" << m << " n=" << n << " shift " << shift << " incx " << incx;
          }
  }
}
TEST(Ger, OneFusedStepPerElementInEveryBuildAndLayout) {
  ger_exact<double>("xdger");
  ger_exact<float>("xsger");
}

// ---- Hermitian updates ----------------------------------------------------------

// Every Hermitian update leaves a real diagonal, also in the columns that a
// zero x(j) skips.
TEST(HermitianUpdates, ClearTheImaginaryPartOfTheDiagonal) {
  const int n = 9, lda = 9, one = 1;
  for (const char* uplo : {"U", "L"}) {
    auto x = rnd<orb_complex16>(n, 6), y = rnd<orb_complex16>(n, 7);
    x[4] = orb_complex16{0, 0};
    y[4] = orb_complex16{0, 0};
    std::vector<orb_complex16> a(std::size_t(n) * lda, orb_complex16{0.5, 0.25});
    std::vector<orb_complex16> ap(std::size_t(n) * (n + 1) / 2, orb_complex16{0.5, 0.25});
    auto a2 = a, ap2 = ap;
    const double alpha = 0.5;
    const orb_complex16 alpha2{0.5, -1};
    orb_blas_zher(uplo, &n, &alpha, x.data(), &one, a.data(), &lda);
    orb_blas_zhpr(uplo, &n, &alpha, x.data(), &one, ap.data());
    orb_blas_zher2(uplo, &n, &alpha2, x.data(), &one, y.data(), &one, a2.data(), &lda);
    orb_blas_zhpr2(uplo, &n, &alpha2, x.data(), &one, y.data(), &one, ap2.data());
    for (int j = 0; j < n; ++j) {
      const std::size_t d = std::size_t(j) * lda + j;
      const std::size_t p = *uplo == 'U' ? std::size_t(j) * (j + 1) / 2 + j : std::size_t(j) * n - std::size_t(j) * (j - 1) / 2;
      EXPECT_EQ(a[d].im, 0.0) << uplo << j;
      EXPECT_EQ(a2[d].im, 0.0) << uplo << j;
      EXPECT_EQ(ap[p].im, 0.0) << uplo << j;
      EXPECT_EQ(ap2[p].im, 0.0) << uplo << j;
    }
    EXPECT_EQ(a[4 * lda + 4].re, 0.5);
  }
  std::vector<orb_complex8> c(16, orb_complex8{1, 1});
  std::vector<orb_complex8> xc(4, orb_complex8{0, 0});
  const int four = 4;
  const float al = 1;
  orb_blas_cher("L", &four, &al, xc.data(), &one, c.data(), &four);
  for (int j = 0; j < 4; ++j) EXPECT_EQ(c[j * 4 + j].im, 0.f);
}

// ---- syr2 ------------------------------------------------------------------------

// Each stored element takes a + x(i) (alpha y(j)), then + y(i) (alpha x(j)),
// two fused steps, in every build, for column groups cut anywhere, shifted
// matrices and strided vectors; a column whose x(j) and y(j) are both zero
// is left as it is, also inside a group.
TEST(SymmetricUpdates, Syr2TwoFusedStepsPerElementInEveryBuild) {
  using syr2_fn = void (*)(const char*, const int*, const double*, const double*, const int*, const double*,
                           const int*, double*, const int*);
  unsigned seed = 90;
  for (const char* tag : orb::test::runnable_builds()) {
    const auto syr2 = orb::test::kernel_of<syr2_fn>(tag, "xdsyr2");
    for (const char* uplo : {"U", "L"})
      for (const int n : {1, 7, 8, 9, 23, 40})
        for (const int shift : {0, 3})
          for (const int inc : {1, -2}) {
            const int lda = n + 5;
            std::vector<double> store(std::size_t(lda) * n + 8);
            double* a = store.data() + shift;
            const auto a0 = rnd<double>(std::size_t(lda) * n, seed++);
            std::copy(a0.begin(), a0.end(), a);
            const auto xv = rnd<double>(n, seed++);
            auto yv = rnd<double>(n, seed++);
            std::vector<double> x(span(n, inc)), y(span(n, 1));
            const bool skip = n > 20;
            if (skip) x[at(n, inc, 18)] = 0.0, yv[18] = 0.0, a[18 * std::size_t(lda) + 18] = kNaN;
            for (int i = 0; i < n; ++i) x[at(n, inc, i)] = skip && i == 18 ? 0.0 : xv[i], y[i] = yv[i];
            std::vector<double> want(a, a + std::size_t(lda) * n);
            const double alpha = -0.625;
            for (int j = 0; j < n; ++j) {
              const double xj = x[at(n, inc, j)], yj = y[j];
              if (xj == 0.0 && yj == 0.0) continue;
              const int lo = *uplo == 'U' ? 0 : j, hi = *uplo == 'U' ? j + 1 : n;
              for (int i = lo; i < hi; ++i) {
                double& e = want[std::size_t(j) * lda + i];
                e = std::fma(y[i], alpha * xj, std::fma(x[at(n, inc, i)], alpha * yj, e));
              }
            }
            const int one = 1;
            syr2(uplo, &n, &alpha, x.data(), &inc, y.data(), &one, a, &lda);
            const std::vector<double> got(a, a + std::size_t(lda) * n);
            ASSERT_TRUE(same(got, want)) << tag << " " << uplo << " n=" << n << " shift " << shift << " inc " << inc;
          }
  }
}

// ---- Symmetric rank updates on the core's threads ------------------------------------

TEST(SymmetricUpdates, ThreadedSharesGiveTheSingleThreadBits) {
  // From order 1024 on the triangle is shared among the threads.
  const int n = 1024, lda = 1027, inc = 1, incn = -2;
  const auto x = rnd<double>(span(n, incn), 8), y = rnd<double>(n, 9);
  const auto a0 = rnd<double>(std::size_t(lda) * n, 10);
  const double alpha = -0.75;
  for (const char* uplo : {"U", "L"}) {
    auto a1 = a0, a4 = a0, b1 = a0, b4 = a0;
    with_threads(1, [&] {
      orb_blas_dsyr(uplo, &n, &alpha, x.data(), &incn, a1.data(), &lda);
      orb_blas_dsyr2(uplo, &n, &alpha, x.data(), &incn, y.data(), &inc, b1.data(), &lda);
    });
    with_threads(4, [&] {
      orb_blas_dsyr(uplo, &n, &alpha, x.data(), &incn, a4.data(), &lda);
      orb_blas_dsyr2(uplo, &n, &alpha, x.data(), &incn, y.data(), &inc, b4.data(), &lda);
    });
    EXPECT_TRUE(same(a4, a1)) << uplo;
    EXPECT_TRUE(same(b4, b1)) << uplo;
    // and the reference agrees
    auto ar = a0;
    reference<void (*)(const char*, const int*, const double*, const double*, const int*, double*, const int*,
                       std::size_t)>("dsyr_")(uplo, &n, &alpha, x.data(), &incn, ar.data(), &lda, 1);
    EXPECT_TRUE(close(a1, ar, 4));
  }
}

// ---- Triangular product and solve -------------------------------------------------------

template <class E>
using tr_fn = void (*)(const char*, const char*, const char*, const int*, const E*, const int*, E*, const int*);
template <class E>
using ref_tr_fn = void (*)(const char*, const char*, const char*, const int*, const E*, const int*, E*, const int*,
                           std::size_t, std::size_t, std::size_t);

// A well-conditioned triangle: dominant diagonal.
template <class E>
std::vector<E> triangle(int n, int lda, unsigned seed) {
  auto a = rnd<E>(std::size_t(lda) * n, seed);
  for (int j = 0; j < n; ++j) a[std::size_t(j) * lda + j] = make<E>(n + 1.0, 0.5);
  return a;
}

template <class E>
long double magnitude(const std::vector<E>& v) {
  long double m = 1;
  for (const E& e : v) m = std::max(m, std::abs(val(e)));
  return m;
}

template <class E>
class Triangular : public ::testing::Test {};
using Types = ::testing::Types<float, double, orb_complex8, orb_complex16>;
TYPED_TEST_SUITE(Triangular, Types);

// The block edges of the solve (31, 32, 33: no full block, one, one and a
// remainder row) and of the product (64, 65), for every letter.
TYPED_TEST(Triangular, SolveAndProductMatchReferenceAtBlockEdges) {
  using E = TypeParam;
  const auto rsv = reference<ref_tr_fn<E>>((letter<E>() + "trsv_").c_str());
  const auto rmv = reference<ref_tr_fn<E>>((letter<E>() + "trmv_").c_str());
  for (const int n : {1, 31, 32, 33, 64, 65, 97})
    for (const char* uplo : {"U", "L"})
      for (const char* tr : {"N", "T", "C"})
        for (const char* diag : {"N", "U"})
          for (const int inc : {1, -2}) {
            const int lda = n + 1;
            auto a = triangle<E>(n, lda, unsigned(n + *uplo + *tr));
            // A unit diagonal is never read, here or by the reference.
            if (*diag == 'U')
              for (int j = 0; j < n; ++j) a[std::size_t(j) * lda + j] = make<E>(kNaN, kNaN);
            const auto x0 = rnd<E>(span(n, inc), 3);
            auto x = x0, xr = x0;
            pub<E>::trsv(uplo, tr, diag, &n, a.data(), &lda, x.data(), &inc);
            rsv(uplo, tr, diag, &n, a.data(), &lda, xr.data(), &inc, 1, 1, 1);
            // A unit triangle with random entries grows the solution: the
            // tolerance follows the size of the result.
            ASSERT_TRUE(close(x, xr, 8.0L * n * magnitude(xr))) << "trsv " << uplo << tr << diag << " n=" << n << " inc " << inc;
            x = x0, xr = x0;
            pub<E>::trmv(uplo, tr, diag, &n, a.data(), &lda, x.data(), &inc);
            rmv(uplo, tr, diag, &n, a.data(), &lda, xr.data(), &inc, 1, 1, 1);
            ASSERT_TRUE(close(x, xr, 4.0L * n * n)) << "trmv " << uplo << tr << diag << " n=" << n << " inc " << inc;
          }
}

// A unit packed solve reads no diagonal: NaN there, zeros elsewhere, x stays.
TEST(TriangularEdges, PackedUnitDiagonalIsNeverRead) {
  const int n = 70, one = 1;
  for (const char* uplo : {"U", "L"})
    for (const char* tr : {"N", "T"}) {
      std::vector<double> ap(std::size_t(n) * (n + 1) / 2, 0.0), x(n, 1.0);
      for (int j = 0; j < n; ++j) ap[*uplo == 'U' ? std::size_t(j) * (j + 3) / 2 : std::size_t(j) * (2 * n - j + 1) / 2] = kNaN;
      orb_blas_dtpsv(uplo, tr, "U", &n, ap.data(), x.data(), &one);
      for (double e : x) EXPECT_EQ(e, 1.0) << uplo << tr;
    }
}

TEST(TriangularEdges, ZeroOnTheDiagonalGivesInfinitiesNotAStop) {
  const int n = 40, lda = 40, one = 1;
  auto a = triangle<double>(n, lda, 9);
  a[std::size_t(39) * lda + 39] = 0.0;
  std::vector<double> x(n, 1.0);
  orb_blas_dtrsv("U", "N", "N", &n, a.data(), &lda, x.data(), &one);
  EXPECT_TRUE(std::isinf(x[39]));
}

// Complex diagonals near the ends of the exponent range: the quotient is
// representable, so the solve must give it (the squared magnitude of such a
// diagonal overflows or underflows). The triangular, banded and packed
// solves share the division; trsv and tbsv stand for them.
TEST(TriangularEdges, ComplexDiagonalsNearTheLimitsDivideWithoutOverflow) {
  const int n = 1, one = 1, k = 0;
  for (const double s : {1e300, 1e-300}) {
    const orb_complex16 d{3 * s, 4 * s};
    for (int form = 0; form < 2; ++form) {
      orb_complex16 x{25 * s, 0};
      if (form == 0) orb_blas_ztrsv("U", "N", "N", &n, &d, &n, &x, &one);
      else orb_blas_ztbsv("U", "N", "N", &n, &k, &d, &n, &x, &one);
      EXPECT_NEAR(x.re, 3.0, 1e-15) << s << " form " << form;  // 25 / (3 + 4i) = 3 - 4i
      EXPECT_NEAR(x.im, -4.0, 1e-15) << s << " form " << form;
    }
  }
}

// The product runs the same order in every build (the transposed one with
// contiguous x in one pass of column groups), close to the reference's
// values, also past the size where the columns are prefetched. From order
// 2048 on the public routine shares the rows among the core's threads.
TEST(TriangularEdges, ProductSameBitsInEveryBuildAndOnThreads) {
  using trmv_fn = void (*)(const char*, const char*, const char*, const int*, const double*, const int*, double*,
                           const int*);
  const auto rmv = reference<ref_tr_fn<double>>("dtrmv_");
  for (const int n : {3, 8, 29, 100, 2048}) {
    const int lda = n + 3, inc = n < 2048 ? 1 : -1;
    const auto a = triangle<double>(n, lda, unsigned(40 + n));
    for (const char* uplo : {"U", "L"})
      for (const char* tr : {"N", "T"})
        for (const char* diag : {"N", "U"}) {
          const auto x0 = rnd<double>(n, 41);
          auto xr = x0, xt = x0;
          rmv(uplo, tr, diag, &n, a.data(), &lda, xr.data(), &inc, 1, 1, 1);
          std::vector<double> first;
          for (const char* tag : orb::test::runnable_builds()) {
            auto x = x0;
            orb::test::kernel_of<trmv_fn>(tag, "xdtrmv")(uplo, tr, diag, &n, a.data(), &lda, x.data(), &inc);
            if (first.empty()) first = x;
            EXPECT_TRUE(same(x, first)) << tag << " " << uplo << tr << diag << " n=" << n;
          }
          EXPECT_TRUE(close(first, xr, 4.0L * n * n)) << uplo << tr << diag << " n=" << n;
          with_threads(4, [&] { orb_blas_dtrmv(uplo, tr, diag, &n, a.data(), &lda, xt.data(), &inc); });
          EXPECT_TRUE(close(xt, xr, 4.0L * n * n)) << "threads " << uplo << tr << diag << " n=" << n;
        }
  }
}

// ---- Symmetric and Hermitian products ------------------------------------------------------

template <class E>
using symv_fn = void (*)(const char*, const int*, const E*, const E*, const int*, const E*, const int*, const E*,
                         E*, const int*);
template <class E>
using ref_symv_fn = void (*)(const char*, const int*, const E*, const E*, const int*, const E*, const int*,
                             const E*, E*, const int*, std::size_t);

template <class E>
class Symv : public ::testing::Test {};
TYPED_TEST_SUITE(Symv, Types);

// Against the reference; with strided y also without buffers, which must
// agree up to rounding; beta = 0 never reads y.
TYPED_TEST(Symv, MatchesReferenceWithAndWithoutBuffers) {
  using E = TypeParam;
  const auto ref = reference<ref_symv_fn<E>>((letter<E>() + (is_complex<E> ? "hemv_" : "symv_")).c_str());
  unsigned seed = 50;
  for (const int n : {1, 5, 8, 37, 150})
    for (const char* uplo : {"U", "L"})
      for (const int incx : {1, -2})
        for (const int incy : {1, 3}) {
          const int lda = n + 2;
          auto a = rnd<E>(std::size_t(lda) * n, seed++);
          // The imaginary part of a Hermitian diagonal is never read.
          if (is_complex<E>)
            for (int j = 0; j < n; ++j) a[std::size_t(j) * lda + j] = make<E>(val(a[std::size_t(j) * lda + j]).real(), kNaN);
          const auto x = rnd<E>(span(n, incx), seed++);
          const auto y0 = rnd<E>(span(n, incy), seed++);
          const E alpha = make<E>(0.5, 1), beta = make<E>(-1, 0.5);
          auto y = y0, yr = y0, yn = y0;
          pub<E>::symv(uplo, &n, &alpha, a.data(), &lda, x.data(), &incx, &beta, y.data(), &incy);
          ref(uplo, &n, &alpha, a.data(), &lda, x.data(), &incx, &beta, yr.data(), &incy, 1);
          ASSERT_TRUE(close(y, yr, 4.0L * (n + 2))) << uplo << " n=" << n << " " << incx << "," << incy;
          {
            no_memory none;
            pub<E>::symv(uplo, &n, &alpha, a.data(), &lda, x.data(), &incx, &beta, yn.data(), &incy);
          }
          ASSERT_TRUE(close(yn, y, 4.0L * (n + 2))) << "no buffers " << uplo << " n=" << n;
          // beta = 0 with NaN in y: y is written, never read.
          std::vector<E> ynan(y0.size(), make<E>(kNaN, kNaN)), yz(y0.size(), make<E>(0));
          const E zero = make<E>(0);
          pub<E>::symv(uplo, &n, &alpha, a.data(), &lda, x.data(), &incx, &zero, ynan.data(), &incy);
          pub<E>::symv(uplo, &n, &alpha, a.data(), &lda, x.data(), &incx, &zero, yz.data(), &incy);
          for (int i = 0; i < n; ++i) ASSERT_TRUE(orb::test::same_bits(ynan[at(n, incy, i)], yz[at(n, incy, i)]));
        }
}

}  // namespace
