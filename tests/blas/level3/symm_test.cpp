// SYMM and HEMM: against the reference BLAS through the standard names, bit
// for bit against the engine's packed GEMM on the explicitly mirrored
// matrix, the unread other triangle, thread counts, builds and failed
// allocations.
#include "tests/blas/level3/syx_support.hpp"

namespace {

using namespace orb::test;
using namespace orb::test::syx;

// One call: the symmetric (Hermitian) matrix with NaN in the triangle that
// is not stored, so that reading it shows.
template <class T>
struct symm_problem {
  bool herm;
  char side, uplo;
  int m, n, ka, lda, ldb, ldc;
  T alpha, beta;
  std::vector<T> a, b, c;

  symm_problem(bool herm_, char side_, char uplo_, int m_, int n_, int pad, T alpha_, T beta_, unsigned seed)
      : herm(herm_), side(side_), uplo(uplo_), m(m_), n(n_), alpha(alpha_), beta(beta_) {
    ka = side == 'L' ? m : n;
    lda = std::max(1, ka + pad);
    ldb = std::max(1, m + pad);
    ldc = std::max(1, m + pad);
    a = random_matrix<T>(std::size_t(lda) * std::max(1, ka), seed);
    b = random_matrix<T>(std::size_t(ldb) * std::max(1, n), seed + 1);
    c = random_matrix<T>(std::size_t(ldc) * std::max(1, n), seed + 2);
    for (int j = 0; j < ka; ++j)
      for (int i = 0; i < ka; ++i)
        if (uplo == 'L' ? i < j : i > j) a[i + std::size_t(j) * lda] = nan_value<T>();
    // The imaginary part of a Hermitian diagonal is not read.
    if (herm)
      for (int j = 0; j < ka; ++j) a[j + std::size_t(j) * lda] = make<T>(re(a[j + std::size_t(j) * lda]), 1e30);
  }
  std::string name() const { return std::string(scalar<T>::x) + (herm ? "hemm" : "symm"); }
  // What triangle_near reads: C's m rows are written, its diagonal may be complex.
  bool stored(int i, int) const { return i < m; }
  bool hermitian() const { return false; }
  std::vector<T> run(bool reference, const char* tag = nullptr) const {
    std::vector<T> out = c;
    const char s[2] = {side, 0}, u[2] = {uplo, 0};
    void* f = tag ? orb_test_kernel(tag, ("x" + name()).c_str())
                  : reference ? reference_symbol((name() + "_").c_str()) : dlsym(RTLD_DEFAULT, (name() + "_").c_str());
    reinterpret_cast<symm_fn<T>>(f)(s, u, &m, &n, &alpha, a.data(), &lda, b.data(), &ldb, &beta, out.data(), &ldc);
    return out;
  }
  // The full matrix, as GEMM needs it.
  std::vector<T> mirrored() const {
    std::vector<T> full(std::size_t(ka) * ka);
    for (int j = 0; j < ka; ++j)
      for (int i = 0; i < ka; ++i) {
        const bool stored = uplo == 'L' ? i >= j : i <= j;
        T v = stored ? a[i + std::size_t(j) * lda] : a[j + std::size_t(i) * lda];
        if (herm && !stored) v = conj(v);
        if (herm && i == j) v = make<T>(re(v), 0);
        full[i + std::size_t(j) * ka] = v;
      }
    return full;
  }
};

template <class T>
std::ostream& operator<<(std::ostream& o, const symm_problem<T>& p) {
  return o << p.name() << ' ' << p.side << p.uplo << ' ' << p.m << 'x' << p.n << " alpha " << re(p.alpha) << ','
           << im(p.alpha) << " beta " << re(p.beta) << ',' << im(p.beta);
}

template <class T>
::testing::AssertionResult near(const symm_problem<T>& p, const std::vector<T>& got, const std::vector<T>& want) {
  return triangle_near(p, got, want, p.ka);
}

struct shape {
  int m, n;
};
// 7 x 7 takes the direct path, 7 x 8 the engine; tile tails; several K
// blocks (400) and N blocks (400 columns on the left).
const shape kShapes[] = {{1, 1}, {7, 7}, {7, 8}, {8, 7}, {33, 20}, {9, 400}, {400, 9}};

template <class T>
void against_reference(bool herm) {
  const T alphas[] = {make<T>(0.75, -0.5), make<T>(1), make<T>(0)};
  const T betas[] = {make<T>(0), make<T>(-0.5, 0.25), make<T>(1), make<T>(2)};
  int v = 0;
  for (char side : {'L', 'R'})
    for (char uplo : {'U', 'L'})
      for (const shape& s : kShapes) {
        ++v;
        symm_problem<T> p(herm, side, uplo, s.m, s.n, v % 3, alphas[v % 3], betas[v % 4], unsigned(v));
        SCOPED_TRACE(::testing::Message() << p);
        ASSERT_TRUE(near(p, p.run(false), p.run(true)));
      }
}

TEST(SymmFamily, SingleAgainstReference) { against_reference<float>(false); }
TEST(SymmFamily, DoubleAgainstReference) { against_reference<double>(false); }
TEST(SymmFamily, ComplexAgainstReference) {
  against_reference<orb_complex8>(false);
  against_reference<orb_complex8>(true);
}
TEST(SymmFamily, DoubleComplexAgainstReference) {
  against_reference<orb_complex16>(false);
  against_reference<orb_complex16>(true);
}

// The engine path, and the direct one of the smallest shapes, have the bits
// of x?gemm_packed on the mirrored matrix.
template <class T>
void exact_against_packed_gemm(bool herm) {
  auto packed = gemm::engine_fn<gemm_fn<T>>(std::string("x") + scalar<T>::x + "gemm_packed");
  ASSERT_NE(packed, nullptr);
  const T betas[] = {make<T>(0), make<T>(1), make<T>(-1.5, 0.5)};
  int v = 0;
  for (char side : {'L', 'R'})
    for (char uplo : {'U', 'L'})
      for (const shape& s : {shape{6, 7}, shape{7, 8}, shape{61, 45}, side == 'L' ? shape{410, 9} : shape{9, 410}}) {
        // Several K blocks on one side and triangle per variant, the other
        // side in the other variant of the type.
        const char big_side = herm != (sizeof(R_of<T>) == 8) ? 'L' : 'R';
        if (s.m + s.n > 400 && (side != big_side || (side == 'L') != (uplo == 'U'))) continue;
        ++v;
        symm_problem<T> p(herm, side, uplo, s.m, s.n, v % 2, make<T>(0.5, -0.75), betas[v % 3], unsigned(v));
        SCOPED_TRACE(::testing::Message() << p);
        const auto got = p.run(false, gemm::current_tag());
        const auto full = p.mirrored();
        std::vector<T> want = p.c;
        const int k = p.ka;
        if (side == 'L')
          packed("N", "N", &p.m, &p.n, &k, &p.alpha, full.data(), &k, p.b.data(), &p.ldb, &p.beta, want.data(),
                 &p.ldc);
        else
          packed("N", "N", &p.m, &p.n, &k, &p.alpha, p.b.data(), &p.ldb, full.data(), &k, &p.beta, want.data(),
                 &p.ldc);
        ASSERT_TRUE(all_same_bits(got, want));
      }
}

TEST(SymmFamily, EqualsPackedGemmOnMirroredMatrix) {
  exact_against_packed_gemm<float>(false);
  exact_against_packed_gemm<double>(false);
  exact_against_packed_gemm<orb_complex8>(false);
  exact_against_packed_gemm<orb_complex8>(true);
  exact_against_packed_gemm<orb_complex16>(false);
  exact_against_packed_gemm<orb_complex16>(true);
}

TEST(SymmFamily, ThreadCountsGiveTheSameBits) {
  for (char side : {'L', 'R'})
    for (int size : {90, 200}) {
      symm_problem<double> p(false, side, side == 'L' ? 'U' : 'L', size, size + 3, 1, 0.5, 0.0, 5);
      SCOPED_TRACE(::testing::Message() << p);
      std::vector<double> one;
      {
        thread_count t(1);
        one = p.run(false);
      }
      EXPECT_TRUE(near(p, one, p.run(true)));
      for (int threads : {2, 3}) {
        thread_count t(threads);
        EXPECT_TRUE(all_same_bits(p.run(false), one)) << threads << " threads";
      }
    }
}

TEST(SymmFamily, BuildsAgreeBitForBit) {
  const auto builds = runnable_builds();
  for (const shape& s : {shape{7, 7}, shape{60, 50}}) {
    symm_problem<orb_complex8> p(true, 'R', 'U', s.m, s.n, 1, make<orb_complex8>(1, 0.5), make<orb_complex8>(2), 3);
    const auto first = p.run(false, builds[0]);
    for (const char* tag : builds) EXPECT_TRUE(all_same_bits(p.run(false, tag), first)) << tag << ' ' << p;
  }
}

TEST(SymmFamily, AllocationFailures) {
  for (char side : {'L', 'R'}) {
    symm_problem<orb_complex16> p(true, side, 'L', 40, 30, 1, make<orb_complex16>(1, 1), make<orb_complex16>(0.5),
                                  8);
    symm_problem<float> q(false, side, 'U', 40, 30, 1, 0.5f, 0.0f, 9);
    const long live = orb_test_live_blocks();
    const auto normal = p.run(false);
    const auto normalq = q.run(false);
    for (int persistent : {0, 1}) {
      orb_test_fail_allocation(1, persistent);
      const auto got = p.run(false);
      const auto gotq = q.run(false);
      orb_test_fail_allocation(0, 0);
      EXPECT_TRUE(near(p, got, p.run(true))) << p;
      EXPECT_TRUE(near(q, gotq, q.run(true))) << q;
      // The direct form has the bits of the packed one.
      EXPECT_TRUE(all_same_bits(got, normal)) << p;
      EXPECT_TRUE(all_same_bits(gotq, normalq)) << q;
      EXPECT_EQ(orb_test_live_blocks(), live);
    }
  }
}

}  // namespace
