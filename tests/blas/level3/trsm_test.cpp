// TRSM: the reference BLAS on every letter combination and the blocking
// edges, the three public forms, threads, builds, failed allocations,
// error reports; a subnormal diagonal and complex diagonals of extreme
// modulus.
#include <complex>

#include "tests/blas/level3/trx_checks.hpp"

namespace {

using namespace orb::test::trx;
using orb::test::trx::op;

// Orders 11 and 17 leave partial register tiles; 385 takes K blocks of
// 192, 192 and 1; 257 columns on the left take more than one panel of B.
#define ORB_TRSM_TESTS(T, tag)                                                                                    \
  TEST(Trsm, AgreesWithTheReference_##tag) {                                                                      \
    against_reference<T>(op::trsm, {{1, 1}, {3, 5}, {11, 17}, {17, 11}, {129, 4}, {4, 257}, {385, 3}, {3, 385}}); \
  }                                                                                                               \
  TEST(Trsm, ThreeFormsSameBits_##tag) { three_forms<T>(op::trsm, 13, 9); }                                      \
  TEST(Trsm, SameBitsOnOneTwoThreeThreads_##tag) { thread_invariant<T>(op::trsm); }                              \
  TEST(Trsm, SameBitsInEveryBuild_##tag) { same_in_every_build<T>(op::trsm); }                                   \
  TEST(Trsm, FailedAllocations_##tag) { without_memory<T>(op::trsm); }                                           \
  TEST(Trsm, ErrorReports_##tag) { error_reports<T>(op::trsm); }                                                 \
  TEST(Trsm, AlphaZeroAndQuickReturns_##tag) { alpha_zero_and_quick_returns<T>(op::trsm); }
ORB_TRSM_TESTS(float, s)
ORB_TRSM_TESTS(double, d)
ORB_TRSM_TESTS(orb_complex8, c)
ORB_TRSM_TESTS(orb_complex16, z)
#undef ORB_TRSM_TESTS

// A diagonal triangle: every x is b / d, rounded once, whatever the path.
template <class T>
void diagonal_solve(char side, int m, int n, const T& special, const T& b_scale) {
  for (char u : {'U', 'L'}) {
    problem<T> p(side, u, 'N', 'N', m, n, 4);
    const int k = p.k;
    for (int j = 0; j < k; ++j)
      for (int i = 0; i < k; ++i)
        if (u == 'U' ? i <= j : i >= j) p.a[i + std::size_t(j) * p.lda] = make<T>(i == j ? 1 : 0);
    const int at = k / 2;
    p.a[at + std::size_t(at) * p.lda] = special;
    for (auto& e : p.b) {
      if constexpr (std::is_arithmetic_v<T>) e = e * b_scale;
      else e = T{e.re * b_scale.re, e.im * b_scale.re};
    }
    const auto x = p.run(forms<T>::pub(op::trsm), make<T>(1));
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < m; ++i) {
        const T& bi = p.b[i + std::size_t(j) * p.ldb];
        const T& xi = x[i + std::size_t(j) * p.ldb];
        const bool hit = (side == 'L' ? i : j) == at;
        if constexpr (std::is_arithmetic_v<T>) {
          EXPECT_TRUE(orb::test::same_bits(xi, hit ? T(bi / special) : bi)) << side << u << m << "x" << n;
        } else {
          using L = std::complex<long double>;
          const L want = hit ? L(bi.re, bi.im) / L(special.re, special.im) : L(bi.re, bi.im);
          const L got(xi.re, xi.im);
          EXPECT_LE(double(std::abs(got - want) / std::abs(want)), tol<T>) << side << u << m << "x" << n;
        }
      }
  }
}

TEST(Trsm, SubnormalDiagonalGivesTheQuotient) {
  for (auto [s, m, n] : {std::tuple{'L', 300, 7}, std::tuple{'R', 7, 300}, std::tuple{'L', 5, 3}}) {
    diagonal_solve<double>(s, m, n, 3e-310, 1e-10);
    diagonal_solve<float>(s, m, n, 3e-40f, 1e-5f);
    // Reciprocals that would be subnormal take the same path.
    diagonal_solve<double>(s, m, n, -1.5e308, 1e300);
    diagonal_solve<float>(s, m, n, 2e38f, 1e30f);
  }
}

TEST(Trsm, ComplexDiagonalsOfExtremeModulus) {
  for (auto [s, m, n] : {std::tuple{'L', 140, 5}, std::tuple{'R', 5, 140}}) {
    diagonal_solve<orb_complex16>(s, m, n, make<orb_complex16>(1e300, -1e300), make<orb_complex16>(1e300));
    diagonal_solve<orb_complex16>(s, m, n, make<orb_complex16>(1e-300, 2e-300), make<orb_complex16>(1e-300));
    diagonal_solve<orb_complex8>(s, m, n, make<orb_complex8>(1e30, 1e30), make<orb_complex8>(1e30));
    diagonal_solve<orb_complex8>(s, m, n, make<orb_complex8>(-1e-30, 1e-30), make<orb_complex8>(1e-30));
  }
}

}  // namespace

namespace {

using namespace orb::test::trx;
using orb::test::kernel_of;
using orb::test::reference;
using orb::test::runnable_builds;

// The older complex solve, reached in each build's kernel library: the
// reference on every letter combination (order 300 against a narrow B
// takes blocks of 64, the last one short), the same bits in every build,
// and a subnormal diagonal element.
TEST(Trsm, OlderComplexFormAgreesWithTheReference) {
  using T = orb_complex8;
  const auto ref = reference<trx_fn<T>>("ctrsm_");
  const T alphas[] = {make<T>(0), make<T>(1), make<T>(-0.7, 0.4)};
  unsigned seed = 40;
  each_letters([&](char s, char u, char t, char d) {
    for (auto [m, n] : {std::pair{1, 1}, std::pair{7, 5}, std::pair{300, 5}, std::pair{5, 300}, std::pair{19, 37}}) {
        const T& alpha = alphas[++seed % 3];
        const problem<T> p(s, u, t, d, m, n, seed);
        const auto want = p.run(ref, alpha);
        std::vector<T> first;
        for (const char* tag : runnable_builds()) {
          const auto f = kernel_of<trx_fn<T>>(tag, "xctrsm_v1");
          ASSERT_NE(f, nullptr) << tag;
          const auto x = p.run(f, alpha);
          EXPECT_LE(difference(x, want, m, n, p.ldb), tol<T>) << label(op::trsm, p) << " v1 " << tag;
          EXPECT_TRUE(padding_kept(p, x));
          if (first.empty()) first = x;
          else EXPECT_TRUE(same_bits(x, first)) << label(op::trsm, p) << " v1 build " << tag;
        }
    }
  });
  const auto f = kernel_of<trx_fn<T>>(runnable_builds().front(), "xctrsm_v1");
  // (The reference divides on the left only: on the right it multiplies by
  // the reciprocal, which overflows here.)
  for (char u : {'L', 'U'}) {
    problem<T> p('L', u, 'N', 'N', 9, 9, 3);
    p.a[4 + std::size_t(4) * p.lda] = make<T>(3e-40, 0);
    for (auto& e : p.b) e = make<T>(e.re * 1e-35, e.im * 1e-35);
    EXPECT_LE(difference(p.run(f, make<T>(1)), p.run(ref, make<T>(1)), 9, 9, p.ldb), tol<T>) << u;
  }
}

}  // namespace

#include "tests/support/engine_records.hpp"

namespace {

using namespace orb::engine;
using orb::test::kernel_of;
using orb::test::runnable_builds;
using orb::test::trx::problem;

// A driver given panels too small for the whole call: the rows (side L) or
// columns (side R) beyond each diagonal block and B's other dimension go in
// several pieces; the bits are those of the public call. Order 400 takes
// two K blocks (of 200, 204 for the solve on the right).
TEST(Trsm, DriversOnSmallGivenPanelsKeepTheBits) {
  const char* tag = runnable_builds().front();
  auto init_s = kernel_of<void (*)(gemm_strategy*)>(tag, "dgemm_initialize_strategy");
  auto init_k = kernel_of<void (*)(const blas_op_params<double>*, const blas_matrix*, const blas_matrix*,
                                   const blas_matrix*, const gemm_strategy*, gemm_kernel_info<double>*)>(
      tag, "dgemm_initialize_kernel_info");
  auto init_b = kernel_of<void (*)(int, const blas_matrix*, const blas_matrix*, const gemm_strategy*, gemm_buffers*)>(
      tag, "dtrxm_initialize_buffers");
  auto get = kernel_of<int (*)(gemm_buffers*)>(tag, "dgemm_get_bufs");
  auto release = kernel_of<void (*)(gemm_buffers*)>(tag, "dgemm_free_bufs");
  ASSERT_TRUE(init_s && init_k && init_b && get && release);
  for (bool solve : {true, false})
    for (char s : {'L', 'R'})
      for (char u : {'U', 'L'})
        for (char t : {'N', 'T'}) {
          const bool right = s == 'R';
          const problem<double> p(s, u, t, 'N', right ? 20 : 400, right ? 400 : 20, 17);
          const auto want = p.run(solve ? orb_blas_dtrsm : orb_blas_dtrmm, 1.0);
          auto x = p.b;
          const double one = 1;
          const char side[2] = {s, 0}, uplo[2] = {u, 0}, ta[2] = {t, 0};
          blas_op_params<double> params;
          blas_initialize_op_params<double>(ta, nullptr, &one, &one, &params);
          params.op = solve ? op_trsm : op_trmm;
          params.side_text = side;
          params.uplo_text = uplo;
          params.diag_text = "N";
          params.side = right ? 1 : 0;
          params.uplo = u == 'U' ? 0 : 1;
          params.diag = 1;
          params.transb = 3;
          blas_matrix av, bv;
          blas_initialize_matrix<double>(ta, p.k, p.k, p.a.data(), p.lda, &av);
          av.flags |= (u == 'U' ? flag_upper : flag_lower) | flag_nonunit;
          blas_initialize_matrix<double>(p.m, p.n, x.data(), p.ldb, &bv);
          gemm_strategy st;
          init_s(&st);
          gemm_kernel_info<double> info;
          init_k(&params, &av, &bv, &bv, &st, &info);
          gemm_buffers buf;
          init_b(right, &av, &bv, &info.strategy, &buf);
          // The solve's K block is the one it finds for itself; the
          // product's, from the engine's, is 200 at this order.
          if (!solve) buf.k_block = 200;
          if (right) {
            buf.m_block = 16;
            buf.n_block = buf.k_block + 12;
          } else {
            buf.m_block = buf.k_block + 16;
            buf.n_block = 12;
          }
          get(&buf);
          ASSERT_NE(buf.block, nullptr);
          info.driver(&params, &av, &bv, &bv, &buf, &info);
          release(&buf);
          EXPECT_TRUE(orb::test::trx::same_bits(x, want)) << (solve ? "trsm " : "trmm ") << s << u << t;
        }
}

}  // namespace
