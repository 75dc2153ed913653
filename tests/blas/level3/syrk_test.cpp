// SYRK, HERK, SYR2K, HER2K and GEMMT: against the reference BLAS through
// the standard names, bit for bit against the engine's packed GEMM, the
// untouched other triangle, thread counts, builds and failed allocations.
#include "tests/blas/level3/syx_support.hpp"

namespace {

using namespace orb::test;
using namespace orb::test::syx;

// Operators each family takes, by type.
template <class T>
std::vector<std::pair<char, char>> operators(fam f) {
  if (f == fam::gemmt) {
    if constexpr (cplx<T>) return {{'N', 'N'}, {'T', 'C'}, {'C', 'N'}, {'N', 'T'}};
    else return {{'N', 'N'}, {'T', 'N'}, {'N', 'T'}, {'T', 'T'}, {'C', 'N'}};
  }
  if (f == fam::herk || f == fam::her2k) return {{'N', 0}, {'C', 0}};
  if constexpr (cplx<T>) return {{'N', 0}, {'T', 0}};
  else return {{'N', 0}, {'T', 0}, {'C', 0}};
}

template <class T>
std::vector<fam> families() {
  if constexpr (cplx<T>) return {fam::syrk, fam::herk, fam::syr2k, fam::her2k, fam::gemmt};
  else return {fam::syrk, fam::syr2k, fam::gemmt};
}

struct size_case {
  int n, k;
};
// Tile tails of every type, several K blocks (400: 200 + 200), the short
// cut of SYR2K on both sides of 128, k of 0.
const size_case kSizes[] = {{1, 1}, {7, 3}, {33, 70}, {20, 400}, {128, 9}, {129, 9}, {200, 12}, {17, 0}};

template <class T>
void against_reference() {
  const T alphas[] = {make<T>(0.75, -0.5), make<T>(1), make<T>(0)};
  const T betas[] = {make<T>(2), make<T>(0), make<T>(1), make<T>(-0.5, 0.25)};
  int variant = 0;
  for (fam f : families<T>())
    for (auto ops : operators<T>(f))
      for (char uplo : {'U', 'L'})
        for (const size_case& s : kSizes) {
          ++variant;
          const T alpha = alphas[variant % 3 == 2 && s.n > 7 ? 0 : variant % 2];
          const T beta = betas[variant % 4];
          const char tb = f == fam::gemmt ? ops.second : 0;
          tri_problem<T> p(f, uplo, ops.first, tb, s.n, s.k, variant % 3, alpha, beta, unsigned(variant));
          SCOPED_TRACE(::testing::Message() << p);
          const int terms = (f == fam::syr2k || f == fam::her2k ? 2 : 1) * s.k;
          ASSERT_TRUE(triangle_near(p, p.run_ours(), p.run_reference(), terms));
        }
}

TEST(SyrkFamily, SingleAgainstReference) { against_reference<float>(); }
TEST(SyrkFamily, DoubleAgainstReference) { against_reference<double>(); }
TEST(SyrkFamily, ComplexAgainstReference) { against_reference<orb_complex8>(); }
TEST(SyrkFamily, DoubleComplexAgainstReference) { against_reference<orb_complex16>(); }

// The engine path against x?gemm_packed on the same operands: the stored
// triangle has the bits of the full product's (SYR2K and HER2K: two
// products, the second with beta 1; HERK and HER2K but their diagonals,
// whose real parts agree and whose imaginary parts are 0).
template <class T>
void exact_against_packed_gemm() {
  auto packed = gemm::engine_fn<gemm_fn<T>>(std::string("x") + scalar<T>::x + "gemm_packed");
  ASSERT_NE(packed, nullptr);
  const T betas[] = {make<T>(0), make<T>(1), make<T>(-1.5, 0.5)};
  int v = 0;
  for (fam f : families<T>())
    for (auto ops : operators<T>(f))
      for (char uplo : {'U', 'L'}) {
        ++v;
        // k of 3 and n of 29: SYRK and HERK take the skinny form, with the
        // same bits (SYR2K of n 128 and below its short cut, which has not:
        // it is taken past 128 here). Two K blocks from k 385, for the
        // two-product forms on the last of them only (HER2K for complex).
        const bool two = f == fam::syr2k || f == fam::her2k, last = f == (cplx<T> ? fam::her2k : fam::syr2k);
        const int n = two ? 130 + v % 5 : v % 4 == 2 ? 29 : 60 + v % 5;
        const int k = v % 4 == 1 && (!two || last) ? 385 : v % 4 == 3 ? 3 : 37;
        const char tb = f == fam::gemmt ? ops.second : 0;
        tri_problem<T> p(f, uplo, ops.first, tb, n, k, v % 2, make<T>(0.5, -0.75), betas[v % 3], unsigned(v));
        SCOPED_TRACE(::testing::Message() << p);
        const std::vector<T> got = p.run(false, gemm::current_tag());
        // The full products.
        std::vector<T> full = p.c;
        for (auto& e : full)
          if (std::isnan(re(e))) e = make<T>(0);
        const bool herm = p.hermitian();
        const char other = herm ? 'C' : 'T';
        char x = p.ta, y = f == fam::gemmt ? p.tb : (p.ta == 'N' ? other : 'N');
        const char sx[2] = {x, 0}, sy[2] = {y, 0};
        const T* second = f == fam::syrk || f == fam::herk ? p.a.data() : p.b.data();
        const int ld2 = f == fam::syrk || f == fam::herk ? p.lda : p.ldb;
        packed(sx, sy, &n, &n, &k, &p.alpha, p.a.data(), &p.lda, second, &ld2, &p.beta, full.data(), &p.ldc);
        if (f == fam::syr2k || f == fam::her2k) {
          const T one = make<T>(1), alpha2 = herm ? conj(p.alpha) : p.alpha;
          packed(sx, sy, &n, &n, &k, &alpha2, p.b.data(), &p.ldb, p.a.data(), &p.lda, &one, full.data(), &p.ldc);
        }
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < p.ldc; ++i) {
            const std::size_t e = i + std::size_t(j) * p.ldc;
            if (!p.stored(i, j)) {
              ASSERT_TRUE(same_bits(got[e], p.c[e])) << "outside " << i << ',' << j;
            } else if (herm && i == j) {
              ASSERT_TRUE(same_bits(re(got[e]), re(full[e]))) << "diagonal " << i;
              ASSERT_EQ(im(got[e]), 0) << "diagonal " << i;
            } else {
              ASSERT_TRUE(same_bits(got[e], full[e])) << i << ',' << j;
            }
          }
      }
}

TEST(SyrkFamily, SingleEqualsPackedGemm) { exact_against_packed_gemm<float>(); }
TEST(SyrkFamily, DoubleEqualsPackedGemm) { exact_against_packed_gemm<double>(); }
TEST(SyrkFamily, ComplexEqualsPackedGemm) { exact_against_packed_gemm<orb_complex8>(); }
TEST(SyrkFamily, DoubleComplexEqualsPackedGemm) { exact_against_packed_gemm<orb_complex16>(); }

// Beta 0 clears NaN in the stored triangle (k 0 included); HERK makes the
// diagonal real even at beta 1.
TEST(SyrkFamily, BetaZeroClearsAndHerkDiagonalIsReal) {
  for (int k : {0, 5, 300}) {
    tri_problem<double> p(fam::syrk, 'L', 'N', 0, 40, k, 2, 1.0, 0.0, 3);
    for (int j = 0; j < p.n; ++j)
      for (int i = j; i < p.n; ++i) p.c[i + std::size_t(j) * p.ldc] = std::nan("");
    EXPECT_TRUE(triangle_near(p, p.run_ours(), p.run_reference(), k + 1));
  }
  tri_problem<orb_complex8> h(fam::herk, 'U', 'C', 0, 30, 12, 0, make<orb_complex8>(1), make<orb_complex8>(1), 4);
  for (int j = 0; j < h.n; ++j) h.c[j + std::size_t(j) * h.ldc].im = 3;
  const auto got = h.run_ours();
  for (int j = 0; j < h.n; ++j) EXPECT_EQ(got[j + std::size_t(j) * h.ldc].im, 0.0f);
  EXPECT_TRUE(triangle_near(h, got, h.run_reference(), 13));
}

// Quick returns, SYMM's too, read and write nothing.
TEST(SyrkFamily, QuickReturnsTouchNothing) {
  auto* bad = static_cast<double*>(faulting_pointer());
  const int n = 5, k = 3, zero = 0, ld = 5;
  const double one = 1, nil = 0;
  dsyrk_("U", "N", &zero, &k, &one, bad, &ld, &nil, bad, &ld);
  dsyrk_("U", "N", &n, &k, &nil, bad, &ld, &one, bad, &ld);
  dsyrk_("L", "T", &n, &zero, &one, bad, &ld, &one, bad, &ld);
  dsyr2k_("L", "N", &n, &k, &nil, bad, &ld, bad, &ld, &one, bad, &ld);
  dgemmt_("U", "N", "T", &n, &zero, &one, bad, &ld, bad, &ld, &one, bad, &ld);
  dsymm_("L", "U", &zero, &n, &one, bad, &ld, bad, &ld, &nil, bad, &ld);
  dsymm_("R", "L", &n, &zero, &one, bad, &ld, bad, &ld, &nil, bad, &ld);
  dsymm_("R", "L", &n, &n, &nil, bad, &ld, bad, &ld, &one, bad, &ld);
  const float fone = 1, fnil = 0;
  auto* cbad = static_cast<orb_complex8*>(faulting_pointer());
  cherk_("U", "C", &n, &k, &fnil, cbad, &ld, &fone, cbad, &ld);
  SUCCEED();
}

// 1, 2 and 3 threads give the same bits just above the size from which a
// call is split (n * n * k / 2 multiply-adds of 128 cubed): the Hermitian
// forms in double complex, the others in double.
template <class T>
void thread_counts(fam f, char uplo) {
  tri_problem<T> p(f, uplo, cplx<T> ? 'C' : 'T', 'N', 170, 150, 1, make<T>(0.5, 0.25), make<T>(0), 7);
  SCOPED_TRACE(::testing::Message() << p);
  std::vector<T> one;
  {
    thread_count t(1);
    one = p.run_ours();
  }
  EXPECT_TRUE(triangle_near(p, one, p.run_reference(), 2 * p.k));
  for (int threads : {2, 3}) {
    thread_count t(threads);
    EXPECT_TRUE(all_same_bits(p.run_ours(), one)) << threads << " threads";
  }
}

TEST(SyrkFamily, ThreadCountsGiveTheSameBits) {
  thread_counts<double>(fam::syrk, 'U');
  thread_counts<double>(fam::syr2k, 'L');
  thread_counts<double>(fam::gemmt, 'U');
  thread_counts<orb_complex16>(fam::herk, 'L');
  thread_counts<orb_complex16>(fam::her2k, 'U');
}

// Every build gives the same bits.
TEST(SyrkFamily, BuildsAgreeBitForBit) {
  const auto builds = runnable_builds();
  for (fam f : families<float>())
    for (int n : {50, 150}) {
      tri_problem<float> p(f, 'L', 'T', 'N', n, 70, 1, 0.5f, n == 50 ? 2.0f : 0.0f, 9);
      const auto first = p.run(false, builds[0]);
      for (const char* tag : builds) EXPECT_TRUE(all_same_bits(p.run(false, tag), first)) << tag << ' ' << p;
    }
  tri_problem<orb_complex8> h(fam::her2k, 'U', 'N', 0, 140, 33, 0, make<orb_complex8>(1, 2), make<orb_complex8>(3),
                              2);
  const auto first = h.run(false, builds[0]);
  for (const char* tag : builds) EXPECT_TRUE(all_same_bits(h.run(false, tag), first)) << tag;
}

// A failed allocation at each allocation of a call (SYR2K: the first and
// the second pass, the short cut) gives the right numbers and leaks nothing;
// off the short cut of SYR2K, the very bits of the call with its memory.
template <class T>
void allocation_failures(tri_problem<T> p, bool exact = true) {
  SCOPED_TRACE(::testing::Message() << p);
  const auto want = p.run_reference(), normal = p.run_ours();
  each_allocation_failing([&] { return p.run_ours(); }, [&](const std::vector<T>& got, long nth) {
    EXPECT_TRUE(triangle_near(p, got, want, 2 * p.k + 2)) << "failing allocation " << nth;
    if (exact) {
      EXPECT_TRUE(all_same_bits(got, normal)) << "failing allocation " << nth;
    }
  });
}

TEST(SyrkFamily, AllocationFailures) {
  allocation_failures(tri_problem<double>(fam::syrk, 'L', 'N', 0, 100, 40, 1, 0.5, 2.0, 1));
  allocation_failures(tri_problem<double>(fam::syr2k, 'U', 'T', 0, 130, 40, 1, 0.5, 2.0, 2));
  allocation_failures(tri_problem<double>(fam::syr2k, 'L', 'N', 0, 60, 40, 1, 0.5, 2.0, 3), false);
  allocation_failures(tri_problem<float>(fam::gemmt, 'U', 'N', 'T', 100, 40, 1, 0.5f, 0.0f, 4));
  allocation_failures(tri_problem<orb_complex8>(fam::herk, 'U', 'C', 0, 100, 40, 1, make<orb_complex8>(1),
                                                make<orb_complex8>(0.5), 5));
  allocation_failures(tri_problem<orb_complex16>(fam::her2k, 'L', 'N', 0, 130, 40, 1, make<orb_complex16>(1, 1),
                                                 make<orb_complex16>(0.5), 6));
  allocation_failures(tri_problem<orb_complex16>(fam::her2k, 'U', 'C', 0, 90, 40, 1, make<orb_complex16>(1, 1),
                                                 make<orb_complex16>(0.5), 7),
                      false);
  // The skinny form of SYRK allocates nothing.
  tri_problem<float> skinny(fam::syrk, 'U', 'T', 0, 70, 3, 1, 0.5f, 0.0f, 8);
  const long before = orb_test_allocation_count();
  EXPECT_TRUE(triangle_near(skinny, skinny.run_ours(), skinny.run_reference(), 3));
  EXPECT_EQ(orb_test_allocation_count(), before);
}

// The driver that finds A already packed (all rows, K in one block, alpha
// applied) walks the triangle with the bits of the whole call; without
// panel memory it says so with 2.
TEST(SyrkFamily, AlreadyCopiedADriver) {
  using namespace orb::engine;
  const std::string tag = gemm::current_tag();
  auto init_s = gemm::engine_fn<void (*)(gemm_strategy*)>("dgemm_initialize_strategy");
  auto init_i = gemm::engine_fn<void (*)(const blas_op_params<double>*, const blas_matrix*, const blas_matrix*,
                                         const blas_matrix*, const gemm_strategy*, gemm_kernel_info<double>*)>(
      "dgemm_initialize_kernel_info");
  auto init_b = gemm::engine_fn<void (*)(const blas_matrix*, const blas_matrix*, const gemm_strategy*,
                                         gemm_buffers*)>("dgemm_initialize_buffers");
  auto acopied = gemm::engine_fn<int (*)(blas_op_params<double>*, blas_matrix*, blas_matrix*, blas_matrix*,
                                         gemm_buffers*, gemm_kernel_info<double>*)>("xdsyrk_acopiedbcopy");
  ASSERT_TRUE(init_s && init_i && init_b && acopied);
  for (char uplo : {'L', 'U'}) {
    tri_problem<double> p(fam::syrk, uplo, 'N', 0, 50, 100, 2, -0.75, 0.5, 11);
    const auto want = p.run(false, tag.c_str());
    std::vector<double> got = p.c;
    const char u[2] = {uplo, 0};
    blas_op_params<double> params;
    blas_initialize_op_params<double>("N", "T", &p.alpha, &p.beta, &params);
    params.op = op_syrk;
    params.uplo_text = u;
    params.uplo = uplo == 'L' ? 1 : 0;
    blas_matrix A, B, C;
    blas_initialize_matrix<double>("N", p.n, p.k, p.a.data(), p.lda, &A);
    blas_initialize_matrix<double>("T", p.k, p.n, p.a.data(), p.lda, &B);
    blas_initialize_matrix<double>(p.n, p.n, got.data(), p.ldc, &C);
    C.flags = uplo == 'L' ? flag_lower : flag_upper;
    gemm_strategy s;
    init_s(&s);
    gemm_kernel_info<double> info;
    init_i(&params, &A, &B, &C, &s, &info);
    gemm_buffers buf;
    init_b(&A, &B, &s, &buf);
    ASSERT_GE(buf.k_block, p.k);
    const long live = orb_test_live_blocks();
    ASSERT_EQ(buf.get_bufs(&buf), 0);
    blas_matrix ap = buf.a_panel;
    ap.rows = p.k;
    info.copy_a(&A, &ap, &p.alpha);
    ASSERT_EQ(acopied(&params, &A, &B, &C, &buf, &info), 0);
    buf.free_bufs(&buf);
    EXPECT_EQ(orb_test_live_blocks(), live);
    EXPECT_TRUE(all_same_bits(got, want)) << uplo;
    params.beta = 1;
    EXPECT_EQ(acopied(&params, &A, &B, &C, nullptr, &info), 2);
  }
}

// Long k at small n goes to the kernel that reads A where it lies: against
// the reference, the same bits on 1, 2 and 3 threads and in every build.
TEST(SyrkFamily, LongKKernel) {
  const auto builds = runnable_builds();
  int v = 0;
  for (char trans : {'N', 'T'})
    for (char uplo : {'L', 'U'}) {
      ++v;
      tri_problem<double> p(fam::syrk, uplo, trans, 0, 37, 4100, v % 2, 0.5, v % 2 ? 0.0 : -1.5, unsigned(v));
      SCOPED_TRACE(::testing::Message() << p);
      std::vector<double> one;
      {
        thread_count t(1);
        one = p.run_ours();
      }
      EXPECT_TRUE(triangle_near(p, one, p.run_reference(), p.k));
      for (int threads : {2, 3}) {
        thread_count t(threads);
        EXPECT_TRUE(all_same_bits(p.run_ours(), one)) << threads << " threads";
      }
      tri_problem<float> q(fam::syrk, uplo, trans, 0, 21, 4096, 0, 2.0f, 1.0f, unsigned(v));
      EXPECT_TRUE(triangle_near(q, q.run_ours(), q.run_reference(), q.k)) << q;
      std::vector<float> first;
      for (const char* tag : builds) {
        auto f = reinterpret_cast<syrk_fn<float, float>>(orb_test_kernel(tag, "ssyrk_4k"));
        ASSERT_NE(f, nullptr) << tag;
        std::vector<float> out = q.c;
        const char u[2] = {uplo, 0}, t[2] = {trans, 0};
        f(u, t, &q.n, &q.k, &q.alpha, q.a.data(), &q.lda, &q.beta, out.data(), &q.ldc);
        if (first.empty()) first = out;
        EXPECT_TRUE(all_same_bits(out, first)) << tag;
      }
    }
}

}  // namespace
