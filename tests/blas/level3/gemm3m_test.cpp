// The three-product complex GEMM (?gemm3m) and the real-by-complex GEMM
// (scgemm, dzgemm): agreement with the reference complex GEMM (for the
// mixed forms, on A widened to complex), the paths chosen at the size
// edges, quick returns, beta 0, lack of memory, the same bits in every
// build and on any number of threads, and argument checks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <complex>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "orb/cblas.h"
#include "orb/orb_blas.h"
#include "orb/orb_blas_fortran.h"
#include "orb/orb_service.h"
#include "tests/blas/level3/syx_support.hpp"
#include "tests/blas/level3/xerbla_capture.hpp"
#include "tests/support/oracle.hpp"

namespace {

using namespace orb::test;

template <class C> struct cx;
template <> struct cx<orb_complex8> {
  using R = float;
  using Fn3m = decltype(&orb_blas_cgemm3m);
  using FnMix = decltype(&orb_blas_scgemm);
  static constexpr const char* ref = "cgemm_";
  static constexpr const char* x = "c";
  static constexpr Fn3m gemm3m = &orb_blas_cgemm3m;
  static constexpr auto gemm = &orb_blas_cgemm;
  static constexpr auto real_gemm = &orb_blas_sgemm;
  static constexpr FnMix mixed = &orb_blas_scgemm;
  static constexpr const char* kernel3m = "xcgemm3m";
  static constexpr const char* kernel_mixed = "xscgemm";
  static constexpr Fn3m fortran3m = &cgemm3m_;
  static constexpr FnMix fortran_mixed = &scgemm_;
  static constexpr auto cblas3m = &cblas_cgemm3m;
};
template <> struct cx<orb_complex16> {
  using R = double;
  using Fn3m = decltype(&orb_blas_zgemm3m);
  using FnMix = decltype(&orb_blas_dzgemm);
  static constexpr const char* ref = "zgemm_";
  static constexpr const char* x = "z";
  static constexpr Fn3m gemm3m = &orb_blas_zgemm3m;
  static constexpr auto gemm = &orb_blas_zgemm;
  static constexpr auto real_gemm = &orb_blas_dgemm;
  static constexpr FnMix mixed = &orb_blas_dzgemm;
  static constexpr const char* kernel3m = "xzgemm3m";
  static constexpr const char* kernel_mixed = "xdzgemm";
  static constexpr Fn3m fortran3m = &zgemm3m_;
  static constexpr FnMix fortran_mixed = &dzgemm_;
  static constexpr auto cblas3m = &cblas_zgemm3m;
};

template <class C>
C mk(double re, double im) {
  using R = typename cx<C>::R;
  return C{R(re), R(im)};
}

// One problem: op(A) m x k, op(B) k x n, C m x n with padded leading
// dimensions. A is complex; `real_a` is its real part, the operand of the
// mixed forms, and the complex A of those checks is that part widened.
template <class C>
struct problem {
  using R = typename cx<C>::R;
  char ta, tb;
  int m, n, k, lda, ldb, ldc;
  std::vector<C> a, b, c;
  std::vector<R> real_a;
  problem(char ta_, char tb_, int m_, int n_, int k_, unsigned seed) : ta(ta_), tb(tb_), m(m_), n(n_), k(k_) {
    const int ra = ta == 'N' ? m : k, ca = ta == 'N' ? k : m;
    const int rb = tb == 'N' ? k : n, cb = tb == 'N' ? n : k;
    lda = std::max(ra, 1) + 2;
    ldb = std::max(rb, 1) + 1;
    ldc = std::max(m, 1) + 3;
    a = fill(std::size_t(lda) * std::max(ca, 1), seed);
    b = fill(std::size_t(ldb) * std::max(cb, 1), seed + 1);
    c = fill(std::size_t(ldc) * std::max(n, 1), seed + 2);
    for (const C& e : a) real_a.push_back(e.re);
  }
  static std::vector<C> fill(std::size_t count, unsigned seed) {
    const std::vector<R> v = random_vector<R>(2 * count, seed);
    std::vector<C> out(count);
    for (std::size_t i = 0; i < count; ++i) out[i] = C{v[2 * i], v[2 * i + 1]};
    return out;
  }
  std::vector<C> widened_a() const {
    std::vector<C> w(a.size());
    for (std::size_t i = 0; i < a.size(); ++i) w[i] = C{real_a[i], R(0)};
    return w;
  }
  template <class F, class A>
  std::vector<C> run(F f, const A* amat, C alpha, C beta) const {
    std::vector<C> out = c;
    f(&ta, &tb, &m, &n, &k, &alpha, amat, &lda, b.data(), &ldb, &beta, out.data(), &ldc);
    return out;
  }
  std::vector<C> run3m(C alpha, C beta) const { return run(cx<C>::gemm3m, a.data(), alpha, beta); }
  std::vector<C> run_mixed(C alpha, C beta) const { return run(cx<C>::mixed, real_a.data(), alpha, beta); }
  std::vector<C> reference(const std::vector<C>& amat, C alpha, C beta) const {
    return run(orb::test::reference<decltype(cx<C>::gemm)>(cx<C>::ref), amat.data(), alpha, beta);
  }
};

// Bitwise equality of two results (NaN equals NaN, -0 differs from +0).
template <class C>
bool same_bits(const std::vector<C>& x, const std::vector<C>& y) {
  return x.size() == y.size() && std::memcmp(x.data(), y.data(), x.size() * sizeof(C)) == 0;
}
using orb::test::same_bits;

long double mag(long double re, long double im) { return std::fabs(re) + std::fabs(im); }

// Each element of `got` within a bound of the reference's: a few units of
// rounding per term of the sum of magnitudes. The three-product form's
// imaginary part cancels terms as large as (|Re a| + |Im a|)(|Re b| + |Im b|),
// which is what the magnitudes below measure.
template <class C>
::testing::AssertionResult near(const problem<C>& p, const std::vector<C>& amat, C alpha, C beta,
                                const std::vector<C>& got, const std::vector<C>& want) {
  using R = typename cx<C>::R;
  const long double eps = std::numeric_limits<R>::epsilon();
  for (int j = 0; j < p.n; ++j) {
    for (int i = 0; i < p.m; ++i) {
      long double s = 0;
      for (int l = 0; l < p.k; ++l) {
        const C& x = p.ta == 'N' ? amat[i + std::size_t(l) * p.lda] : amat[l + std::size_t(i) * p.lda];
        const C& y = p.tb == 'N' ? p.b[l + std::size_t(j) * p.ldb] : p.b[j + std::size_t(l) * p.ldb];
        s += mag(x.re, x.im) * mag(y.re, y.im);
      }
      const std::size_t at = i + std::size_t(j) * p.ldc;
      const long double bound =
          8 * eps * (p.k + 4) * (mag(alpha.re, alpha.im) * s + mag(beta.re, beta.im) * mag(p.c[at].re, p.c[at].im));
      const long double err = mag(got[at].re - want[at].re, got[at].im - want[at].im);
      if (!(err <= bound))
        return ::testing::AssertionFailure() << "element (" << i << "," << j << ") off by " << double(err)
                                             << ", bound " << double(bound);
    }
  }
  for (std::size_t at = 0; at < got.size(); ++at) {
    if (int(at % p.ldc) >= p.m && !same_bits(got[at], p.c[at]))
      return ::testing::AssertionFailure() << "padding of C changed at " << at;
  }
  return ::testing::AssertionSuccess();
}

struct shape {
  char ta, tb;
  int m, n, k;
};
std::ostream& operator<<(std::ostream& o, const shape& s) {
  return o << s.ta << s.tb << " m=" << s.m << " n=" << s.n << " k=" << s.k;
}

// Small and large sizes; K strips (beyond 128 and 256), row blocks
// (beyond 1000), column strips (beyond 192 and 1000), every operator.
const shape kShapes[] = {
    {'N', 'N', 9, 9, 9},     {'T', 'C', 33, 17, 40},   {'C', 'T', 20, 12, 300}, {'N', 'C', 1003, 10, 12},
    {'T', 'N', 10, 1001, 9}, {'C', 'N', 4, 200, 5},    {'N', 'T', 3, 7, 11},    {'T', 'T', 12, 5, 3},
    {'C', 'C', 40, 30, 20},  {'N', 'N', 200, 20, 130},
};

template <class C>
void against_reference(const shape& s, C alpha, C beta) {
  problem<C> p(s.ta, s.tb, s.m, s.n, s.k, unsigned(s.m * 31 + s.n * 7 + s.k));
  EXPECT_TRUE(near(p, p.a, alpha, beta, p.run3m(alpha, beta), p.reference(p.a, alpha, beta)))
      << cx<C>::x << "gemm3m " << s;
  const std::vector<C> wide = p.widened_a();
  EXPECT_TRUE(near(p, wide, alpha, beta, p.run_mixed(alpha, beta), p.reference(wide, alpha, beta)))
      << cx<C>::x << " mixed " << s;
}

TEST(Gemm3m, AgreesWithReferenceComplexGemm) {
  for (const shape& s : kShapes) {
    against_reference<orb_complex16>(s, mk<orb_complex16>(0.75, -0.5), mk<orb_complex16>(-0.25, 0.5));
    against_reference<orb_complex8>(s, mk<orb_complex8>(1, 0), mk<orb_complex8>(1, 0));
    against_reference<orb_complex16>(s, mk<orb_complex16>(1, 0), mk<orb_complex16>(0, 0));
    against_reference<orb_complex8>(s, mk<orb_complex8>(0, 2), mk<orb_complex8>(0.5, 0));
  }
}

// The three-product form, worked out here on the same planes with the same
// real GEMM: exact for one strip of K (k up to 128) and one block of rows.
template <class C>
std::vector<C> model3m(const problem<C>& p, C alpha, C beta) {
  using R = typename cx<C>::R;
  const int m = p.m, n = p.n, k = p.k;
  std::vector<R> a3(3 * std::size_t(m) * k), b3(3 * std::size_t(k) * n), p3(3 * std::size_t(m) * n);
  for (int l = 0; l < k; ++l)
    for (int i = 0; i < m; ++i) {
      C v = p.ta == 'N' ? p.a[i + std::size_t(l) * p.lda] : p.a[l + std::size_t(i) * p.lda];
      if (p.ta == 'C') v.im = -v.im;
      const R xr = alpha.re * v.re - alpha.im * v.im, xi = alpha.re * v.im + alpha.im * v.re;
      const std::size_t at = i + std::size_t(l) * m, plane = std::size_t(m) * k;
      a3[at] = xr, a3[plane + at] = xi, a3[2 * plane + at] = xr + xi;
    }
  for (int j = 0; j < n; ++j)
    for (int l = 0; l < k; ++l) {
      C v = p.tb == 'N' ? p.b[l + std::size_t(j) * p.ldb] : p.b[j + std::size_t(l) * p.ldb];
      if (p.tb == 'C') v.im = -v.im;
      const std::size_t at = l + std::size_t(j) * k, plane = std::size_t(k) * n;
      b3[at] = v.re, b3[plane + at] = v.im, b3[2 * plane + at] = v.re + v.im;
    }
  const R one = 1, zero = 0;
  for (int q = 0; q < 3; ++q)
    cx<C>::real_gemm("N", "N", &m, &n, &k, &one, &a3[q * std::size_t(m) * k], &m, &b3[q * std::size_t(k) * n], &k,
                     &zero, &p3[q * std::size_t(m) * n], &m);
  std::vector<C> out = p.c;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      const std::size_t at = i + std::size_t(j) * m, plane = std::size_t(m) * n;
      const R xr = p3[at] - p3[plane + at], xi = (p3[2 * plane + at] - p3[at]) - p3[plane + at];
      C& z = out[i + std::size_t(j) * p.ldc];
      const R cr = beta.re * z.re - beta.im * z.im, ci = beta.re * z.im + beta.im * z.re;
      z = C{cr + xr, ci + xi};
    }
  return out;
}

// Below 9 rows or columns, or with k up to 8, the complex GEMM does the
// work (its bits); from there on the three products (the model's bits).
template <class C>
void path_edges() {
  const C alpha = mk<C>(0.5, -1.5), beta = mk<C>(0.25, 0.75);
  const shape to_gemm[] = {{'N', 'N', 8, 40, 40}, {'T', 'C', 40, 8, 40}, {'C', 'N', 40, 40, 8}};
  for (const shape& s : to_gemm) {
    problem<C> p(s.ta, s.tb, s.m, s.n, s.k, 5u);
    EXPECT_TRUE(same_bits(p.run3m(alpha, beta), p.run(cx<C>::gemm, p.a.data(), alpha, beta))) << s;
  }
  const shape split[] = {{'N', 'N', 9, 40, 40}, {'T', 'C', 40, 9, 40}, {'C', 'T', 40, 40, 9}, {'N', 'T', 9, 9, 9}};
  for (const shape& s : split) {
    problem<C> p(s.ta, s.tb, s.m, s.n, s.k, 6u);
    EXPECT_TRUE(same_bits(p.run3m(alpha, beta), model3m(p, alpha, beta))) << s;
  }
  // The mixed form: fewer than 4 rows, columns or K go direct and need no
  // memory; from 4 on, the planes are allocated.
  const shape direct[] = {{'N', 'N', 3, 40, 40}, {'T', 'C', 40, 3, 40}, {'N', 'T', 40, 40, 3}};
  for (const shape& s : direct) {
    problem<C> p(s.ta, s.tb, s.m, s.n, s.k, 7u);
    const long before = orb_test_allocation_count();
    p.run_mixed(alpha, beta);
    EXPECT_EQ(orb_test_allocation_count(), before) << s;
  }
  problem<C> p('N', 'C', 4, 4, 4, 8u);
  const long before = orb_test_allocation_count();
  p.run_mixed(alpha, beta);
  EXPECT_GE(orb_test_allocation_count(), before + 2);
}

TEST(Gemm3m, PathEdges) {
  path_edges<orb_complex16>();
  path_edges<orb_complex8>();
}

// alpha 0 with beta 1 reads nothing; beta 0 clears NaN in C.
template <class C>
void quick_returns_and_beta_zero() {
  using R = typename cx<C>::R;
  const int m = 12, n = 11, k = 10, ld = 12;
  const C zero = mk<C>(0, 0), one = mk<C>(1, 0);
  auto* fault = static_cast<C*>(faulting_pointer());
  auto* rfault = static_cast<R*>(faulting_pointer());
  const char* ops = "N";
  cx<C>::gemm3m(ops, ops, &m, &n, &k, &zero, fault, &ld, fault, &ld, &one, fault, &ld);
  cx<C>::mixed(ops, ops, &m, &n, &k, &zero, rfault, &ld, fault, &ld, &one, fault, &ld);
  for (const char* tag : runnable_builds()) {
    kernel_of<typename cx<C>::Fn3m>(tag, cx<C>::kernel3m)(ops, ops, &m, &n, &k, &zero, fault, &ld, fault, &ld, &one,
                                                            fault, &ld);
    kernel_of<typename cx<C>::FnMix>(tag, cx<C>::kernel_mixed)(ops, ops, &m, &n, &k, &zero, rfault, &ld, fault, &ld,
                                                                &one, fault, &ld);
  }
  const R nan = std::numeric_limits<R>::quiet_NaN();
  for (const shape& s : {shape{'N', 'T', 12, 11, 10}, shape{'T', 'N', 3, 11, 10}, shape{'N', 'N', 12, 11, 0}}) {
    problem<C> p(s.ta, s.tb, s.m, s.n, s.k, 9u);
    problem<C> zeroed = p;
    for (int j = 0; j < s.n; ++j)
      for (int i = 0; i < s.m; ++i) {
        p.c[i + std::size_t(j) * p.ldc] = C{nan, nan};
        zeroed.c[i + std::size_t(j) * p.ldc] = zero;
      }
    const std::vector<C> wide = p.widened_a();
    for (const C alpha : {mk<C>(0.5, 1), zero}) {
      const std::vector<C> want = zeroed.reference(p.a, alpha, zero), want_mixed = zeroed.reference(wide, alpha, zero);
      const std::vector<C> got = p.run3m(alpha, zero), got_mixed = p.run_mixed(alpha, zero);
      for (int j = 0; j < s.n; ++j)
        for (int i = 0; i < s.m; ++i) {
          const std::size_t at = i + std::size_t(j) * p.ldc;
          EXPECT_FALSE(std::isnan(got[at].re) || std::isnan(got[at].im)) << s;
          EXPECT_FALSE(std::isnan(got_mixed[at].re) || std::isnan(got_mixed[at].im)) << s;
        }
      EXPECT_TRUE(near(zeroed, p.a, alpha, zero, got, want)) << s;
      EXPECT_TRUE(near(zeroed, wide, alpha, zero, got_mixed, want_mixed)) << s;
    }
  }
}

TEST(Gemm3m, QuickReturnsAndBetaZero) {
  quick_returns_and_beta_zero<orb_complex16>();
  quick_returns_and_beta_zero<orb_complex8>();
}

// With any one of the three blocks missing, the complex GEMM gives the
// result (the same bits); the mixed form without its planes goes direct.
// Nothing is left allocated either way.
template <class C>
void without_memory() {
  const C alpha = mk<C>(-0.5, 0.25), beta = mk<C>(1.5, -0.5);
  problem<C> p('T', 'N', 30, 25, 20, 11u);
  const std::vector<C> plain = p.run(cx<C>::gemm, p.a.data(), alpha, beta);
  const std::vector<C> wide = p.widened_a();
  const std::vector<C> want_mixed = p.reference(wide, alpha, beta);
  for (int nth = 1; nth <= 3; ++nth) {
    const long live = orb_test_live_blocks();
    orb_test_fail_allocation(nth, 0);
    const std::vector<C> got = p.run3m(alpha, beta);
    orb_test_fail_allocation(0, 0);
    EXPECT_TRUE(same_bits(got, plain)) << "block " << nth;
    EXPECT_EQ(orb_test_live_blocks(), live) << "block " << nth;
  }
  for (int nth = 1; nth <= 2; ++nth) {
    const long live = orb_test_live_blocks();
    orb_test_fail_allocation(nth, 0);
    const std::vector<C> got = p.run_mixed(alpha, beta);
    orb_test_fail_allocation(0, 0);
    EXPECT_TRUE(near(p, wide, alpha, beta, got, want_mixed)) << "mixed, block " << nth;
    EXPECT_EQ(orb_test_live_blocks(), live) << "mixed, block " << nth;
  }
}

TEST(Gemm3m, WithoutMemory) {
  without_memory<orb_complex16>();
  without_memory<orb_complex8>();
}

using syx::thread_count;

// Every build's kernel gives the loaded build's bits, or the public name
// on two and three threads does (its real products run on them).
template <class C>
void same_bits_everywhere(const shape& s, bool threads) {
  const C alpha = mk<C>(0.75, 0.5), beta = mk<C>(-1, 0.25);
  problem<C> p(s.ta, s.tb, s.m, s.n, s.k, 12u);
  std::vector<C> one3m, one_mixed;
  {
    thread_count t(1);
    one3m = p.run3m(alpha, beta);
    one_mixed = p.run_mixed(alpha, beta);
  }
  for (const char* tag : threads ? std::vector<const char*>{} : runnable_builds()) {
    EXPECT_TRUE(same_bits(p.run(kernel_of<typename cx<C>::Fn3m>(tag, cx<C>::kernel3m), p.a.data(), alpha, beta),
                          one3m))
        << tag << " " << s;
    EXPECT_TRUE(same_bits(
        p.run(kernel_of<typename cx<C>::FnMix>(tag, cx<C>::kernel_mixed), p.real_a.data(), alpha, beta), one_mixed))
        << tag << " " << s;
  }
  for (int count : {2, 3}) {
    if (!threads) break;
    thread_count t(count);
    EXPECT_TRUE(same_bits(p.run3m(alpha, beta), one3m)) << count << " threads " << s;
    EXPECT_TRUE(same_bits(p.run_mixed(alpha, beta), one_mixed)) << count << " threads " << s;
  }
}

// Threads: the real products of the first K strip are large enough for a
// team; two strips of columns (past 192) and of K. Builds: tile tails, two
// and three strips of K.
TEST(Gemm3m, SameBitsInEveryBuildAndOnThreads) {
  same_bits_everywhere<orb_complex16>({'N', 'C', 130, 200, 150}, true);
  same_bits_everywhere<orb_complex8>({'T', 'N', 160, 130, 140}, true);
  same_bits_everywhere<orb_complex16>({'C', 'T', 20, 15, 30}, false);
  same_bits_everywhere<orb_complex8>({'N', 'T', 37, 21, 260}, false);
}

// ---- Argument checks: GEMM's positions under each routine's own name.

struct bad_call {
  char ta, tb;
  int m, n, k, lda, ldb, ldc, position;
};
const bad_call kBad[] = {
    {'X', 'N', 2, 2, 2, 2, 2, 2, 1}, {'N', 'X', 2, 2, 2, 2, 2, 2, 2},  {'N', 'N', -1, 2, 2, 2, 2, 2, 3},
    {'N', 'N', 2, -1, 2, 2, 2, 2, 4}, {'N', 'N', 2, 2, -1, 2, 2, 2, 5}, {'N', 'N', 3, 2, 2, 2, 2, 3, 8},
    {'T', 'N', 2, 2, 3, 2, 3, 2, 8}, {'N', 'N', 2, 2, 3, 2, 2, 2, 10}, {'N', 'T', 2, 3, 2, 2, 2, 2, 10},
    {'N', 'N', 3, 2, 2, 3, 2, 2, 13},
};

template <class C>
void bad_arguments() {
  using R = typename cx<C>::R;
  const std::string upper = cx<C>::x[0] == 'z' ? "Z" : "C";
  const std::string mixed_name = cx<C>::x[0] == 'z' ? "DZGEMM" : "SCGEMM";
  std::vector<C> a(16), b(16), c(16, mk<C>(3, 4));
  std::vector<R> ra(16);
  const C alpha = mk<C>(1, 1), beta = mk<C>(0, 0);
  for (const bad_call& t : kBad) {
    xerbla_capture::reset();
    cx<C>::fortran3m(&t.ta, &t.tb, &t.m, &t.n, &t.k, &alpha, a.data(), &t.lda, b.data(), &t.ldb, &beta, c.data(),
                     &t.ldc);
    EXPECT_EQ(xerbla_capture::fortran().name, upper + "GEMM3M");
    EXPECT_EQ(xerbla_capture::fortran().info, t.position);
    xerbla_capture::reset();
    cx<C>::fortran_mixed(&t.ta, &t.tb, &t.m, &t.n, &t.k, &alpha, ra.data(), &t.lda, b.data(), &t.ldb, &beta,
                         c.data(), &t.ldc);
    EXPECT_EQ(xerbla_capture::fortran().name, mixed_name);
    EXPECT_EQ(xerbla_capture::fortran().info, t.position);
    // CBLAS, column-major: the same check, one position later; row-major:
    // the transposed call's check (m and n, lda and ldb trade places).
    const auto cb = cx<C>::cblas3m;
    const auto op = [](char ch) { return ch == 'N' ? CblasNoTrans : ch == 'T' ? CblasTrans : CBLAS_TRANSPOSE(99); };
    xerbla_capture::reset();
    cb(CblasColMajor, op(t.ta), op(t.tb), t.m, t.n, t.k, &alpha, a.data(), t.lda, b.data(), t.ldb, &beta, c.data(),
       t.ldc);
    EXPECT_EQ(xerbla_capture::cblas().name, std::string("cblas_") + cx<C>::x + "gemm3m");
    EXPECT_EQ(xerbla_capture::cblas().info, t.position + 1);
    for (const C& e : c) EXPECT_TRUE(same_bits(e, mk<C>(3, 4)));
  }
  // Row-major: the rows of C are its leading dimension.
  const auto cb = cx<C>::cblas3m;
  struct row_case {
    CBLAS_LAYOUT layout;
    int ta, m, n, k, lda, ldb, ldc, position;
  };
  const row_case rows[] = {
      {CBLAS_LAYOUT(7), CblasNoTrans, 2, 2, 2, 2, 2, 2, 1},   {CblasRowMajor, 77, 2, 2, 2, 2, 2, 2, 2},
      {CblasRowMajor, CblasNoTrans, -1, 2, 2, 2, 2, 2, 5},    {CblasRowMajor, CblasNoTrans, 2, -1, 2, 2, 2, 2, 4},
      {CblasRowMajor, CblasNoTrans, 2, 2, -1, 2, 2, 2, 6},    {CblasRowMajor, CblasNoTrans, 2, 3, 2, 1, 3, 3, 11},
      {CblasRowMajor, CblasNoTrans, 2, 3, 2, 2, 2, 3, 9},     {CblasRowMajor, CblasNoTrans, 2, 3, 2, 2, 3, 2, 14},
  };
  for (const row_case& r : rows) {
    xerbla_capture::reset();
    cb(r.layout, CBLAS_TRANSPOSE(r.ta), CblasNoTrans, r.m, r.n, r.k, &alpha, a.data(), r.lda, b.data(), r.ldb, &beta,
       c.data(), r.ldc);
    EXPECT_EQ(xerbla_capture::cblas().info, r.position) << "row-major case " << &r - rows;
  }
  for (const C& e : c) EXPECT_TRUE(same_bits(e, mk<C>(3, 4)));
}

TEST(Gemm3m, BadArgumentsAtGemmPositions) {
  bad_arguments<orb_complex16>();
  bad_arguments<orb_complex8>();
}

// The row-major CBLAS form computes C = op(A) op(B) on row-major arrays.
TEST(Gemm3m, CblasRowMajor) {
  using C = orb_complex16;
  const int m = 13, n = 10, k = 11;
  // Row-major C (m x n) is the column-major C' (n x m) = B' A': the
  // problem's A (n x k) is the row-major B, its B (k x m) the row-major A.
  problem<C> p('N', 'N', n, m, k, 21u);
  const C alpha = mk<C>(0.5, 0.5), beta = mk<C>(1, -1);
  std::vector<C> got = p.c;
  cblas_zgemm3m(CblasRowMajor, CblasNoTrans, CblasNoTrans, m, n, k, &alpha, p.b.data(), p.ldb, p.a.data(), p.lda,
                &beta, got.data(), p.ldc);
  EXPECT_TRUE(near(p, p.a, alpha, beta, got, p.reference(p.a, alpha, beta)));
}

}  // namespace
