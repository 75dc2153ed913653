// GEMV, the mixed real-complex forms and gem2v: against the reference BLAS
// at sizes past the small ones of the reference test programs, the exact
// column order of the no-transpose form, the same bits in every build and
// for every stride, and the edges of the beta pass.
#include <cmath>
#include <limits>

#include "tests/blas/level2/l2_support.hpp"

namespace {

using namespace orb::l2test;
using orb::test::faulting_pointer;
using orb::test::kernel_of;
using orb::test::reference;
using orb::test::runnable_builds;

template <class E>
using gemv_fn = void (*)(const char*, const int*, const int*, const E*, const E*, const int*, const E*, const int*,
                         const E*, E*, const int*);
template <class E>
using ref_gemv_fn = void (*)(const char*, const int*, const int*, const E*, const E*, const int*, const E*,
                             const int*, const E*, E*, const int*, std::size_t);

template <class E>
class Gemv : public ::testing::Test {};
using Types = ::testing::Types<float, double, orb_complex8, orb_complex16>;
TYPED_TEST_SUITE(Gemv, Types);

// Sizes from below one vector to several unrolled steps, all transposes:
// the public routine against the reference. Every build runs the same
// order of operations, also on strided vectors (x backwards), so each
// gives the bits of the public unit-stride call, and leaves the gaps alone.
TYPED_TEST(Gemv, MatchesReferenceSameBitsInEveryBuildAndStride) {
  using E = TypeParam;
  const auto ref = reference<ref_gemv_fn<E>>((letter<E>() + "gemv_").c_str());
  const std::string name = "x" + letter<E>() + "gemv";
  const int sizes[] = {1, 7, 9, 33, 77, 130};
  const E alpha = make<E>(0.75, -0.5), beta = make<E>(-1.25, 0.25);
  unsigned seed = 1;
  for (const char tr : {'N', 'T', 'C'})
    for (const int m : sizes)
      for (const int n : sizes) {
        const int lda = m + 3, one = 1, incx = -2, incy = 3;
        const int lx = tr == 'N' ? n : m, ly = tr == 'N' ? m : n;
        const auto a = rnd<E>(std::size_t(lda) * n, seed++);
        const auto x = rnd<E>(lx, seed++);
        const auto y0 = rnd<E>(ly, seed++);
        auto y = y0, y_ref = y0;
        pub<E>::gemv(&tr, &m, &n, &alpha, a.data(), &lda, x.data(), &one, &beta, y.data(), &one);
        ref(&tr, &m, &n, &alpha, a.data(), &lda, x.data(), &one, &beta, y_ref.data(), &one, 1);
        ASSERT_TRUE(close(y, y_ref, 4.0L * (lx + 2))) << tr << " m=" << m << " n=" << n;
        std::vector<E> xs(span(lx, incx)), ys0(span(ly, incy)), want(ys0.size());
        for (int i = 0; i < lx; ++i) xs[at(lx, incx, i)] = x[i];
        for (int i = 0; i < ly; ++i) ys0[at(ly, incy, i)] = y0[i], want[at(ly, incy, i)] = y[i];
        for (const char* tag : runnable_builds()) {
          auto ys = ys0;
          kernel_of<gemv_fn<E>>(tag, name.c_str())(&tr, &m, &n, &alpha, a.data(), &lda, xs.data(), &incx, &beta,
                                                    ys.data(), &incy);
          ASSERT_TRUE(same(ys, want)) << tag << " strided " << tr << " m=" << m << " n=" << n;
        }
      }
}

// Without transpose each y(i) takes its columns in order, one fused step
// each with alpha x(j) formed first: exactly this loop.
TEST(GemvExact, ColumnOrderOfTheNoTransposeForm) {
  for (const int m : {1, 5, 8, 21, 64}) {
    for (const int n : {1, 3, 4, 8, 13, 29}) {
      const int lda = m, one = 1;
      const auto a = rnd<double>(std::size_t(m) * n, 11 + m);
      const auto x = rnd<double>(n, 12 + n);
      auto y = rnd<double>(m, 13);
      auto want = y;
      const double alpha = 0.3, beta = 1.0;
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < m; ++i) want[i] = std::fma(a[std::size_t(j) * lda + i], alpha * x[j], want[i]);
      orb_blas_dgemv("N", &m, &n, &alpha, a.data(), &lda, x.data(), &one, &beta, y.data(), &one);
      EXPECT_TRUE(same(y, want)) << m << "x" << n;
    }
  }
}

// The edges of the beta pass and of the quick returns, grouped.
struct Edge {
  const char* name;
  void (*run)(const char* tag);
};

void incy_zero_scales_honestly(const char* tag) {
  // The public routine refuses incy = 0; the kernel scales the one element
  // once per element of y: beta = 2 over 10 elements is 1024.
  for (const char tr : {'N', 'T'}) {
    const int m = 10, n = 10, lda = 10, one = 1, zero = 0;
    std::vector<double> a(100, 0.0), x(10, 0.0), y{3.0};
    const double alpha = 0.0, beta = 2.0;
    kernel_of<gemv_fn<double>>(tag, "xdgemv")(&tr, &m, &n, &alpha, a.data(), &lda, x.data(), &one, &beta, y.data(),
                                               &zero);
    EXPECT_EQ(y[0], 3072.0) << tr;
    std::vector<float> af(100, 0.f), xf(10, 0.f), yf{1.5f};
    const float alf = 0.f, bef = 2.f;
    kernel_of<gemv_fn<float>>(tag, "xsgemv")(&tr, &m, &n, &alf, af.data(), &lda, xf.data(), &one, &bef, yf.data(),
                                              &zero);
    EXPECT_EQ(yf[0], 1536.f) << tr;
  }
  // 40 factors: past one step of 32, through the masked tail.
  const int m = 40, n = 1, lda = 40, one = 1, zero = 0;
  std::vector<double> a(40, 1.0), x(1, 1.0), y{1.0};
  const double alpha = 0.0, beta = -2.0;
  kernel_of<gemv_fn<double>>(tag, "xdgemv")("N", &m, &n, &alpha, a.data(), &lda, x.data(), &one, &beta, y.data(),
                                             &zero);
  EXPECT_EQ(y[0], std::ldexp(1.0, 40));
}

// Alpha 0 never reads A or x; beta 0 never reads y either.
void alpha_zero_never_reads_a(const char* tag) {
  const int m = 19, n = 7, lda = 19, one = 1;
  const double zero = 0.0;
  const auto* bad = static_cast<const double*>(faulting_pointer());
  for (const char tr : {'N', 'T'})
    for (const double beta : {0.0, 0.5}) {
      std::vector<double> y(19, beta == 0 ? NAN : 2.0);
      kernel_of<gemv_fn<double>>(tag, "xdgemv")(&tr, &m, &n, &zero, bad, &lda, bad, &one, &beta, y.data(), &one);
      for (int i = 0; i < (tr == 'N' ? m : n); ++i) EXPECT_TRUE(orb::test::same_bits(y[i], 2.0 * beta)) << tr << i;
    }
  std::vector<orb_complex16> yz(19, orb_complex16{NAN, NAN});
  const orb_complex16 z0{0, 0};
  const auto* badz = static_cast<const orb_complex16*>(faulting_pointer());
  kernel_of<gemv_fn<orb_complex16>>(tag, "xzgemv")("C", &m, &n, &z0, badz, &lda, badz, &one, &z0, yz.data(), &one);
  for (int i = 0; i < n; ++i) EXPECT_TRUE(yz[i].re == 0.0 && yz[i].im == 0.0) << i;
}

class GemvEdge : public ::testing::TestWithParam<Edge> {};
TEST_P(GemvEdge, InEveryBuild) {
  for (const char* tag : runnable_builds()) {
    SCOPED_TRACE(tag);
    GetParam().run(tag);
  }
}
INSTANTIATE_TEST_SUITE_P(Edges, GemvEdge,
                         ::testing::Values(Edge{"incy_zero", incy_zero_scales_honestly},
                                           Edge{"alpha_zero", alpha_zero_never_reads_a}),
                         [](const auto& i) { return std::string(i.param.name); });

// ---- Real matrix, complex vectors ------------------------------------------------

template <class C, class T>
using mixed_fn = void (*)(const char*, const int*, const int*, const C*, const T*, const int*, const C*, const int*,
                          const C*, C*, const int*);

template <class C, class T>
void mixed_case(mixed_fn<C, T> f, const char* ref_name) {
  const auto ref = reference<ref_gemv_fn<C>>(ref_name);
  unsigned seed = 40;
  for (const char tr : {'N', 'T', 'C'})
    for (const int m : {3, 17, 120})
      for (const int n : {2, 9, 65})
        for (const int inc : {1, -2}) {
          const int lda = m + 1, lx = tr == 'N' ? n : m, ly = tr == 'N' ? m : n;
          const auto a = rnd<T>(std::size_t(lda) * n, seed++);
          std::vector<C> ac(a.size());
          for (std::size_t i = 0; i < a.size(); ++i) ac[i] = C{a[i], 0};
          const auto x = rnd<C>(span(lx, inc), seed++);
          const auto y0 = rnd<C>(span(ly, inc), seed++);
          const C alpha{T(0.5), T(-1.5)}, beta{T(2), T(0.25)};
          auto y = y0, y_ref = y0, y_nomem = y0;
          f(&tr, &m, &n, &alpha, a.data(), &lda, x.data(), &inc, &beta, y.data(), &inc);
          ref(&tr, &m, &n, &alpha, ac.data(), &lda, x.data(), &inc, &beta, y_ref.data(), &inc, 1);
          ASSERT_TRUE(close(y, y_ref, 4.0L * (lx + 2))) << tr << " " << m << "x" << n << " inc " << inc;
          {
            // Without its temporary arrays the single pass gives the same bits.
            no_memory none;
            f(&tr, &m, &n, &alpha, a.data(), &lda, x.data(), &inc, &beta, y_nomem.data(), &inc);
          }
          ASSERT_TRUE(same(y_nomem, y)) << tr << " " << m << "x" << n << " inc " << inc;
        }
}

TEST(MixedGemv, DzgemvAgainstZgemvAndWithoutMemory) {
  mixed_case<orb_complex16, double>(orb_blas_dzgemv, "zgemv_");
}
TEST(MixedGemv, ScgemvAgainstCgemvAndWithoutMemory) { mixed_case<orb_complex8, float>(orb_blas_scgemv, "cgemv_"); }

TEST(MixedGemv, AlphaZeroOnlyScales) {
  const int m = 30, n = 4, lda = 30, one = 1;
  const auto* bad = static_cast<const double*>(faulting_pointer());
  const auto* badx = static_cast<const orb_complex16*>(faulting_pointer());
  auto y = rnd<orb_complex16>(30, 3);
  const auto y0 = y;
  const orb_complex16 alpha{0, 0}, beta{0, 2};
  orb_blas_dzgemv("N", &m, &n, &alpha, bad, &lda, badx, &one, &beta, y.data(), &one);
  for (int i = 0; i < m; ++i) {
    EXPECT_EQ(y[i].re, -2 * y0[i].im);
    EXPECT_EQ(y[i].im, 2 * y0[i].re);
  }
}

// ---- gem2v ---------------------------------------------------------------------------

template <class E>
using gem2v_fn = void (*)(const int*, const int*, const E*, const E*, const int*, const E*, const int*, const E*,
                          const int*, const E*, E*, const int*, E*, const int*);
template <class E>
class Gem2v : public ::testing::Test {};
TYPED_TEST_SUITE(Gem2v, Types);

// Against plain loops in long double: y1 = alpha A x1 + beta y1,
// y2 = alpha A' x2 + beta y2 (conjugate transpose in the complex forms).
TYPED_TEST(Gem2v, MatchesPlainLoops) {
  using E = TypeParam;
  unsigned seed = 90;
  for (const int m : {1, 6, 31, 100})
    for (const int n : {1, 5, 19})
      for (const int inc : {1, 2, -1}) {
        const int lda = m + 2;
        const auto a = rnd<E>(std::size_t(lda) * n, seed++);
        const auto x1 = rnd<E>(span(n, inc), seed++), x2 = rnd<E>(span(m, inc), seed++);
        auto y1 = rnd<E>(span(m, inc), seed++), y2 = rnd<E>(span(n, inc), seed++);
        const E alpha = make<E>(1.25, 0.5), beta = make<E>(-0.5, 1);
        std::vector<std::complex<long double>> w1(y1.size()), w2(y2.size());
        for (std::size_t i = 0; i < y1.size(); ++i) w1[i] = val(y1[i]);
        for (std::size_t i = 0; i < y2.size(); ++i) w2[i] = val(y2[i]);
        const auto al = val(alpha), be = val(beta);
        for (int i = 0; i < m; ++i) {
          std::complex<long double> s = 0;
          for (int j = 0; j < n; ++j) s += val(a[std::size_t(j) * lda + i]) * val(x1[at(n, inc, j)]);
          w1[at(m, inc, i)] = al * s + be * w1[at(m, inc, i)];
        }
        for (int j = 0; j < n; ++j) {
          std::complex<long double> s = 0;
          for (int i = 0; i < m; ++i) s += std::conj(val(a[std::size_t(j) * lda + i])) * val(x2[at(m, inc, i)]);
          w2[at(n, inc, j)] = al * s + be * w2[at(n, inc, j)];
        }
        pub<E>::gem2v(&m, &n, &alpha, a.data(), &lda, x1.data(), &inc, x2.data(), &inc, &beta, y1.data(), &inc,
                       y2.data(), &inc);
        ASSERT_TRUE(close(y1, w1, 4.0L * (n + 2))) << m << "x" << n << " inc " << inc;
        ASSERT_TRUE(close(y2, w2, 4.0L * (m + 2))) << m << "x" << n << " inc " << inc;
      }
}

}  // namespace
