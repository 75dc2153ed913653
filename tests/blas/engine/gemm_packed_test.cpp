// The packed GEMM path bit for bit against its scalar model, the loop
// orders against each other, the model against the reference BLAS, and the
// edge cases of the entry.
#include <gtest/gtest.h>

#include <limits>

#include "tests/blas/engine/gemm_model.hpp"

namespace {

using namespace orb::test::gemm;
using orb::test::same_bits;

struct Shape {
  char ta, tb;
  int m, n, k;
};

std::ostream& operator<<(std::ostream& o, const Shape& s) {
  return o << s.ta << s.tb << ' ' << s.m << 'x' << s.n << 'x' << s.k;
}

template <class T>
void fill_operands(const Shape& s, int pad, std::vector<T>& a, int& lda, std::vector<T>& b, int& ldb,
                   std::vector<T>& c, int& ldc, unsigned seed) {
  const int ar = s.ta == 'N' ? s.m : s.k, ac = s.ta == 'N' ? s.k : s.m;
  const int br = s.tb == 'N' ? s.k : s.n, bc = s.tb == 'N' ? s.n : s.k;
  lda = std::max(1, ar + pad);
  ldb = std::max(1, br + pad);
  ldc = std::max(1, s.m + pad);
  a = random_matrix<T>(std::size_t(lda) * std::max(1, ac), seed);
  b = random_matrix<T>(std::size_t(ldb) * std::max(1, bc), seed + 1);
  c = random_matrix<T>(std::size_t(ldc) * std::max(1, s.n), seed + 2);
}

template <class T>
void expect_same(const std::vector<T>& x, const std::vector<T>& y, const char* what) {
  ASSERT_EQ(x.size(), y.size());
  for (std::size_t i = 0; i < x.size(); ++i) {
    using R = typename scalar<T>::R;
    const R* p = reinterpret_cast<const R*>(&x[i]);
    const R* q = reinterpret_cast<const R*>(&y[i]);
    ASSERT_TRUE(same_bits(x[i], y[i])) << what << ": element " << i << " got " << p[0] << ',' << p[scalar<T>::C - 1]
                                       << " expected " << q[0] << ',' << q[scalar<T>::C - 1];
  }
}

template <class T>
void check_entry(const Shape& s, T alpha, T beta, int pad) {
  auto f = engine_fn<gemm_fn<T>>(std::string("x") + scalar<T>::x + "gemm");
  ASSERT_NE(f, nullptr);
  std::vector<T> a, b, c;
  int lda, ldb, ldc;
  fill_operands(s, pad, a, lda, b, ldb, c, ldc, 11);
  auto expect = c;
  const char ta[2] = {s.ta, 0}, tb[2] = {s.tb, 0};
  f(ta, tb, &s.m, &s.n, &s.k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, c.data(), &ldc);
  model<T>::run(s.ta, s.tb, s.m, s.n, s.k, alpha, a.data(), lda, b.data(), ldb, beta, expect.data(), ldc);
  expect_same(c, expect, "entry");
}

// Shapes that reach the packed driver through the entry. Row tails of
// every width (the rest of m modulo the tile), column tails of every width,
// several N blocks and K blocks (385 -> 193 + 192; 800 -> 384 + 384 + 32).
const Shape kRealShapes[] = {
    {'N', 'N', 205, 197, 385}, {'N', 'T', 199, 390, 40}, {'T', 'N', 213, 9, 200}, {'T', 'T', 262, 251, 800},
    {'C', 'N', 300, 100, 200}, {'N', 'C', 207, 194, 3},  {'T', 'N', 215, 7, 17},
};
const Shape kComplexShapes[] = {
    {'N', 'N', 13, 7, 385}, {'C', 'N', 15, 11, 50}, {'N', 'C', 9, 200, 30}, {'C', 'C', 21, 5, 800},
    {'T', 'T', 11, 4, 3},   {'T', 'C', 31, 14, 130}, {'C', 'T', 11, 3, 1},   {'N', 'T', 23, 199, 60},
    {'C', 'N', 75, 20, 200},
};

template <class T>
void run_shapes(const Shape* shapes, std::size_t count) {
  using R = typename scalar<T>::R;
  const T alphas[] = {make<T>(0.75, -0.5), make<T>(1), make<T>(-1)};
  const T betas[] = {make<T>(0), make<T>(1), make<T>(-0.25, 0.5)};
  for (std::size_t i = 0; i < count; ++i)
    for (int v = 0; v < 3; ++v) {
      SCOPED_TRACE(::testing::Message() << shapes[i] << " variant " << v);
      check_entry<T>(shapes[i], alphas[v], betas[(v + i) % 3], int(i % 3));
      if (::testing::Test::HasFatalFailure()) return;
    }
  (void)sizeof(R);
}

TEST(PackedGemm, SingleMatchesModelBitForBit) { run_shapes<float>(kRealShapes, std::size(kRealShapes)); }
TEST(PackedGemm, DoubleMatchesModelBitForBit) { run_shapes<double>(kRealShapes, std::size(kRealShapes)); }
TEST(PackedGemm, ComplexMatchesModelBitForBit) {
  run_shapes<orb_complex8>(kComplexShapes, std::size(kComplexShapes));
}
TEST(PackedGemm, DoubleComplexMatchesModelBitForBit) {
  run_shapes<orb_complex16>(kComplexShapes, std::size(kComplexShapes));
}

// The register kernels of this build against those of the portable build on
// the same panels: a 64-bit AVX-512 tile spans four strips of A, the
// portable (and every 32-bit) tile one, and C must not see the difference.
// Rows cover whole wide tiles, two- and one-strip rest and partial strips;
// K covers the rounds, the prefetching tail and every remainder.
template <class T>
void kernel_shapes_agree() {
  using kfn = void (*)(const int*, const int*, const int*, const T*, const T*, const T*, T*, int);
  const std::string x = scalar<T>::x;
  for (const char* form : {"gemm_kernel_0", "gemm_kernel_0_b0"}) {
    auto mine = engine_fn<kfn>(x + form);
    auto portable = orb::test::kernel_of<kfn>("def", (x + form).c_str());
    ASSERT_NE(mine, nullptr);
    ASSERT_NE(portable, nullptr);
    const int strip = 64 / int(sizeof(T));
    for (int m : {4 * strip * 2 + 3 * strip + strip / 2 + 1, 2 * strip + 3})
      for (int k : {1, 13, 70, 384}) {
        const int n = 6 * 3 + 5, ldc = m + 3;
        const auto a = random_matrix<T>(std::size_t(m) * k, 1 + k), b = random_matrix<T>(std::size_t(n) * k, 2 + k);
        auto c = random_matrix<T>(std::size_t(ldc) * n, 3);
        auto expect = c;
        const T one = make<T>(1);
        mine(&m, &n, &k, &one, a.data(), b.data(), c.data(), ldc);
        portable(&m, &n, &k, &one, a.data(), b.data(), expect.data(), ldc);
        SCOPED_TRACE(::testing::Message() << form << ' ' << m << 'x' << n << 'x' << k);
        expect_same(c, expect, "kernel");
      }
  }
}

TEST(PackedGemm, KernelTileShapesAgree) {
  kernel_shapes_agree<float>();
  kernel_shapes_agree<double>();
  kernel_shapes_agree<orb_complex8>();
  kernel_shapes_agree<orb_complex16>();
}

// The model itself against the reference BLAS, so that kernel and model
// cannot share a mistake.
template <class T>
void model_against_reference(const char* name, double tol) {
  using R = typename scalar<T>::R;
  const Shape s{'T', 'N', 37, 23, 410};
  std::vector<T> a, b, c;
  int lda, ldb, ldc;
  fill_operands(s, 1, a, lda, b, ldb, c, ldc, 5);
  auto ref = c;
  const T alpha = make<T>(0.5, 0.25), beta = make<T>(-1.5, 0.75);
  model<T>::run(s.ta, s.tb, s.m, s.n, s.k, alpha, a.data(), lda, b.data(), ldb, beta, c.data(), ldc);
  auto f = orb::test::reference<gemm_fn<T>>(name);
  f("T", "N", &s.m, &s.n, &s.k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, ref.data(), &ldc);
  const R* x = reinterpret_cast<const R*>(c.data());
  const R* y = reinterpret_cast<const R*>(ref.data());
  for (std::size_t i = 0; i < c.size() * scalar<T>::C; ++i) ASSERT_NEAR(x[i], y[i], tol) << i;
}

TEST(PackedGemm, ModelAgreesWithReference) {
  model_against_reference<float>("sgemm_", 2e-4);
  model_against_reference<double>("dgemm_", 1e-12);
  model_against_reference<orb_complex8>("cgemm_", 4e-4);
  model_against_reference<orb_complex16>("zgemm_", 2e-12);
}

// Every loop order of the driver gives the same bits: only the K-block cut
// decides the rounding.
template <class T>
void loop_orders() {
  using namespace orb::engine;
  const std::string x = scalar<T>::x;
  auto init_s = engine_fn<void (*)(gemm_strategy*)>(x + "gemm_initialize_strategy");
  auto init_k = engine_fn<void (*)(const blas_op_params<T>*, const blas_matrix*, const blas_matrix*,
                                   const blas_matrix*, const gemm_strategy*, gemm_kernel_info<T>*)>(
      x + "gemm_initialize_kernel_info");
  ASSERT_NE(init_s, nullptr);
  ASSERT_NE(init_k, nullptr);
  SCOPED_TRACE(x);
  const Shape s{'N', 'T', 37, 29, 400};
  std::vector<T> a, b, c0;
  int lda, ldb, ldc;
  fill_operands(s, 2, a, lda, b, ldb, c0, ldc, 21);
  auto expect = c0;
  const T alpha = make<T>(-0.3, 0.9), beta = make<T>(0.5, -0.5);
  model<T>::run(s.ta, s.tb, s.m, s.n, s.k, alpha, a.data(), lda, b.data(), ldb, beta, expect.data(), ldc);
  for (int order : {4, 32, 64, 128}) {
    auto c = c0;
    blas_op_params<T> p;
    blas_initialize_op_params<T>("N", "T", &alpha, &beta, &p);
    blas_matrix A, B, Cv;
    blas_initialize_matrix<T>("N", s.m, s.k, a.data(), lda, &A);
    blas_initialize_matrix<T>("T", s.k, s.n, b.data(), ldb, &B);
    blas_initialize_matrix<T>(s.m, s.n, c.data(), ldc, &Cv);
    gemm_strategy st;
    init_s(&st);
    st.loop_order = order;
    gemm_kernel_info<T> info;
    init_k(&p, &A, &B, &Cv, &st, &info);
    EXPECT_EQ(info.strategy.loop_order, order);
    EXPECT_EQ(info.driver(&p, &A, &B, &Cv, nullptr, &info), 0);
    SCOPED_TRACE(order);
    expect_same(c, expect, "loop order");
  }
}

TEST(PackedGemm, LoopOrdersAgree) {
  loop_orders<float>();
  loop_orders<double>();
  loop_orders<orb_complex8>();
  loop_orders<orb_complex16>();
}

// ---- Edge cases of the entry ------------------------------------------------

template <class T>
void edge_cases() {
  using R = typename scalar<T>::R;
  auto f = engine_fn<gemm_fn<T>>(std::string("x") + scalar<T>::x + "gemm");
  ASSERT_NE(f, nullptr);
  const R nan = std::numeric_limits<R>::quiet_NaN();
  const int M = 200, N = 201, K = 50;
  std::vector<T> a = random_matrix<T>(M * K, 1), b = random_matrix<T>(K * N, 2);
  // alpha 0, beta 0: C becomes zero even where it held NaN.
  {
    std::vector<T> c(std::size_t(M) * N, make<T>(nan, nan));
    const T zero = make<T>(0);
    f("N", "N", &M, &N, &K, &zero, a.data(), &M, b.data(), &K, &zero, c.data(), &M);
    for (auto& e : c) ASSERT_TRUE(same_bits(e, make<T>(0)));
  }
  // alpha 0, beta 1 touches nothing.
  {
    std::vector<T> c(std::size_t(M) * N, make<T>(nan, nan));
    const T zero = make<T>(0), one = make<T>(1);
    f("N", "N", &M, &N, &K, &zero, a.data(), &M, b.data(), &K, &one, c.data(), &M);
    for (auto& e : c) ASSERT_TRUE(same_bits(e, make<T>(nan, nan)));
  }
  // m or n of 0 leaves C alone and touches no array, also with beta 0.
  {
    void* bad = orb::test::faulting_pointer();
    const T zero = make<T>(0), alpha = make<T>(2);
    const int zero_i = 0, one_i = 1;
    f("N", "N", &zero_i, &N, &K, &alpha, static_cast<T*>(bad), &one_i, static_cast<T*>(bad), &K, &zero,
      static_cast<T*>(bad), &one_i);
    f("N", "N", &M, &zero_i, &K, &alpha, static_cast<T*>(bad), &M, static_cast<T*>(bad), &K, &zero,
      static_cast<T*>(bad), &M);
  }
  // k of 0 applies beta alone.
  {
    auto c = random_matrix<T>(std::size_t(M) * N, 3);
    auto expect = c;
    const T alpha = make<T>(1.5), beta = make<T>(0.5, 2);
    const int k0 = 0, ld1 = 1;
    f("N", "N", &M, &N, &k0, &alpha, a.data(), &M, b.data(), &ld1, &beta, c.data(), &M);
    model<T>::scale(M, N, beta, expect.data(), M);
    expect_same(c, expect, "k = 0");
  }
}

TEST(PackedGemm, EdgeCasesOfTheEntry) {
  edge_cases<float>();
  edge_cases<double>();
  edge_cases<orb_complex8>();
  edge_cases<orb_complex16>();
}

}  // namespace
