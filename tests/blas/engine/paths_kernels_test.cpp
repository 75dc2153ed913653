// The GEMM paths without packing, called directly: each matches its exact
// scalar model bit for bit on every build (so the builds agree with each
// other), and stays within rounding of the reference BLAS.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "tests/blas/engine/paths_model.hpp"
#include "tests/support/orb_test_hooks.h"

namespace {

using namespace orb::test;
using namespace orb::test::paths;
using gemm::make;
using gemm::random_matrix;

template <class T>
using gemm_fn = gemm::gemm_fn<T>;
template <class T>
using nocopy_fn = void (*)(int, int, int, const T*, const T*, int, const T*, int, const T*, T*, int);

struct shape {
  char ta, tb;
  int m, n, k;
};

template <class T>
struct problem {
  shape s;
  int lda, ldb, ldc;
  std::vector<T> a, b, c;
  problem(shape s_, unsigned seed, int pad = 3) : s(s_) {
    const int ra = s.ta == 'N' ? s.m : s.k, ca = s.ta == 'N' ? s.k : s.m;
    const int rb = s.tb == 'N' ? s.k : s.n, cb = s.tb == 'N' ? s.n : s.k;
    lda = std::max(ra, 1) + pad;
    ldb = std::max(rb, 1) + pad;
    ldc = std::max(s.m, 1) + pad;
    a = random_matrix<T>(std::size_t(lda) * std::max(ca, 1), seed);
    b = random_matrix<T>(std::size_t(ldb) * std::max(cb, 1), seed + 1);
    c = random_matrix<T>(std::size_t(ldc) * std::max(s.n, 1), seed + 2);
  }
};

const double kBetas[] = {0.0, 1.0, -0.75};

// `want`, the model's result on the problem, is within rounding of the
// reference BLAS, and kernel `name` of every build gives its bits. The
// operators are passed to the kernel as `la`, `lb`.
template <class T>
void model_on_every_build(const std::string& name, const problem<T>& p, T alpha, T beta, const std::vector<T>& want,
                          char la, char lb) {
  const shape& s = p.s;
  EXPECT_TRUE(near_reference<T>(s.ta, s.tb, s.m, s.n, s.k, alpha, p.a.data(), p.lda, p.b.data(), p.ldb, beta,
                                p.c.data(), want.data(), p.ldc));
  for (const char* tag : runnable_builds()) {
    auto f = kernel_of<gemm_fn<T>>(tag, name.c_str());
    ASSERT_NE(f, nullptr) << tag << " " << name;
    std::vector<T> got = p.c;
    f(&la, &lb, &s.m, &s.n, &s.k, &alpha, p.a.data(), &p.lda, p.b.data(), &p.ldb, &beta, got.data(), &p.ldc);
    EXPECT_TRUE(same_bits(got, want)) << tag << " " << name << " " << s.ta << s.tb << " m=" << s.m << " n=" << s.n
                                      << " k=" << s.k << " beta=" << re(&beta)[0];
  }
}

// ---- Direct routines ---------------------------------------------------------

template <class T>
void check_pst(const shape& s, double alpha_re, double alpha_im, double beta_re, double beta_im) {
  problem<T> p(s, unsigned(s.m * 131 + s.n * 17 + s.k));
  const T alpha = make<T>(alpha_re, alpha_im), beta = make<T>(beta_re, beta_im);
  std::vector<T> want = p.c;
  pst<T>(s.ta, s.tb, s.m, s.n, s.k, alpha, p.a.data(), p.lda, p.b.data(), p.ldb, beta, want.data(), p.ldc);
  model_on_every_build(std::string(scalar<T>::x) + "gemm_pst", p, alpha, beta, want, s.ta, s.tb);
}

const shape kPstShapes[] = {{'N', 'N', 37, 5, 19}, {'N', 'T', 3, 7, 40}, {'T', 'N', 7, 4, 33},
                            {'T', 'T', 70, 3, 9},  {'N', 'N', 1, 1, 1},  {'T', 'N', 17, 1, 0}};

TEST(GemmPaths, DirectRealMatchesModelOnEveryBuild) {
  for (const shape& s : kPstShapes)
    for (double beta : kBetas) {
      check_pst<double>(s, 0.5, 0, beta, 0);
      check_pst<float>(s, -1.25, 0, beta, 0);
    }
  check_pst<double>({'N', 'T', 9, 9, 9}, 0.0, 0, 0.5, 0);  // alpha 0: beta only
}

TEST(GemmPaths, DirectComplexMatchesModelOnEveryBuild) {
  const char ops[] = {'N', 'T', 'C'};
  for (char ta : ops)
    for (char tb : ops) {
      check_pst<orb_complex16>({ta, tb, 11, 3, 13}, 0.5, -0.25, 0.0, 0.0);
      check_pst<orb_complex16>({ta, tb, 4, 5, 7}, 1.0, 0.0, 0.5, 0.75);
      check_pst<orb_complex8>({ta, tb, 19, 2, 6}, -0.5, 2.0, 1.0, 0.0);
      check_pst<orb_complex8>({ta, tb, 8, 1, 21}, 0.25, 0.0, 0.0, 1.0);
    }
}

// ---- Narrow n ------------------------------------------------------------------

template <class T>
void check_t_smalln(int m, int n, int k, double beta) {
  problem<T> p({'T', 'N', m, n, k}, unsigned(m + 7 * n + 13 * k));
  const T alpha = T(0.75), b = T(beta);
  std::vector<T> want = p.c;
  t_smalln<T>(m, n, k, alpha, p.a.data(), p.lda, p.b.data(), p.ldb, b, want.data(), p.ldc);
  model_on_every_build(std::string(scalar<T>::x) + "gemm_t_smalln", p, alpha, b, want, 'T', 'N');
}

TEST(GemmPaths, NarrowTransposedMatchesModelOnEveryBuild) {
  for (double beta : kBetas) {
    check_t_smalln<double>(13, 2, 29, beta);
    check_t_smalln<double>(5, 3, 64, beta);
    // Single-precision column groups: 4 -> 2+2, 5 -> 2+3, 7 -> 2+2+3.
    for (int n : {2, 4, 5, 7, 15}) check_t_smalln<float>(9, n, 24 * n + 3, beta);
  }
}

TEST(GemmPaths, TwoColumnsMatchModelOnEveryBuild) {
  for (int m : {1, 3, 7, 16, 31, 32, 63, 77})
    for (double beta : kBetas) {
      problem<double> p({'N', 'N', m, 2, 11}, unsigned(m));
      std::vector<double> want = p.c;
      n_smalln(m, 11, -1.5, p.a.data(), p.lda, p.b.data(), p.ldb, beta, want.data(), p.ldc);
      model_on_every_build("dgemm_n_smalln", p, -1.5, beta, want, 'N', 'N');
    }
}

// ---- No-copy kernels -------------------------------------------------------------

template <class T>
void check_nocopy_kernel(char ta, char tb, int m, int n, int k, double beta) {
  const char* form = beta == 0.0 ? "_b0" : beta == 1.0 ? "_b1" : "_bn";
  const std::string name =
      std::string(scalar<T>::x) + "gemm_kernel_nocopy_" + char(ta == 'N' ? 'N' : 'T') + char(tb == 'N' ? 'N' : 'T') + form;
  problem<T> p({ta, tb, m, n, k}, unsigned(m * 3 + n * 5 + k));
  const T alpha = T(1.5), b = T(beta);
  // One K block: the kernel is the model's first block.
  std::vector<T> want = p.c;
  nocopy_real<T>(ta, tb, m, n, k, alpha, p.a.data(), p.lda, p.b.data(), p.ldb, b, want.data(), p.ldc);
  for (const char* tag : runnable_builds()) {
    auto f = kernel_of<nocopy_fn<T>>(tag, name.c_str());
    ASSERT_NE(f, nullptr) << name;
    std::vector<T> got = p.c;
    f(m, n, k, &alpha, p.a.data(), p.lda, p.b.data(), p.ldb, &b, got.data(), p.ldc);
    EXPECT_TRUE(same_bits(got, want)) << tag << " " << name << " m=" << m << " n=" << n << " k=" << k;
  }
}

TEST(GemmPaths, NocopyKernelsMatchModelOnEveryBuild) {
  const char ops[] = {'N', 'T'};
  for (char ta : ops)
    for (char tb : ops)
      for (double beta : kBetas) {
        // 25 columns: more than 18, so a misaligned A goes through the scratch.
        check_nocopy_kernel<double>(ta, tb, 21, 25, 37, beta);
        check_nocopy_kernel<double>(ta, tb, 16, 6, 5, beta);
        check_nocopy_kernel<float>(ta, tb, 45, 13, 29, beta);
        check_nocopy_kernel<float>(ta, tb, 3, 1, 192, beta);
      }
}

// ---- Tiny complex products ------------------------------------------------------

template <class T>
void check_sm(char ta, char tb, int m, int n, int k) {
  problem<T> p({ta, tb, m, n, k}, unsigned(m * 100 + n * 10 + k));
  const T alpha = make<T>(0.5, -1.25), beta = make<T>(1.0, 0.0);
  std::vector<T> want = p.c;
  sm<T>(ta, tb, m, n, k, alpha, p.a.data(), p.lda, p.b.data(), p.ldb, want.data(), p.ldc);
  // Lower-case operators take the same path.
  model_on_every_build(std::string(scalar<T>::x) + "gemm_sm_01_10", p, alpha, beta, want, char(ta | 32),
                       char(tb | 32));
}

TEST(GemmPaths, TinyComplexMatchModelForEveryUnrolledK) {
  const char ops[] = {'N', 'T', 'C'};
  for (int k = 1; k <= 10; ++k)
    for (char ta : ops)
      for (char tb : ops) {
        check_sm<orb_complex8>(ta, tb, 3 + k % 8, 10 - k % 7, k);
        check_sm<orb_complex16>(ta, tb, 10 - k % 7, 3 + k % 8, k);
      }
  // More rows than one block of vectors holds.
  check_sm<orb_complex8>('C', 'N', 37, 5, 4);
  check_sm<orb_complex16>('T', 'C', 29, 7, 9);
}

// ---- Short K in one pass -----------------------------------------------------------

// x?gemm_packed with a short K (or a product small all round) runs in one
// pass over C, beta folded in: it must keep the packed model's bits on every
// build, allocate nothing, and so give the same bits with memory failing.
template <class T>
void check_onepass(const shape& s, int v) {
  problem<T> p(s, unsigned(s.m * 7 + s.n * 3 + s.k + v));
  const T alphas[] = {make<T>(1), make<T>(-1), make<T>(0.5, -1.25)};
  const T betas[] = {make<T>(0), make<T>(1), make<T>(-0.75, 0.5)};
  const T alpha = alphas[v % 3], beta = betas[(v / 3) % 3];
  std::vector<T> want = p.c;
  gemm::model<T>::run(s.ta, s.tb, s.m, s.n, s.k, alpha, p.a.data(), p.lda, p.b.data(), p.ldb, beta, want.data(),
                      p.ldc);
  const std::string name = std::string("x") + scalar<T>::x + "gemm_packed";
  model_on_every_build(name, p, alpha, beta, want, s.ta, s.tb);
  auto f = kernel_of<gemm_fn<T>>(gemm::current_tag(), name.c_str());
  ASSERT_NE(f, nullptr);
  std::vector<T> got = p.c;
  const long before = orb_test_allocation_count();
  orb_test_fail_allocation(1, 1);
  f(&s.ta, &s.tb, &s.m, &s.n, &s.k, &alpha, p.a.data(), &p.lda, p.b.data(), &p.ldb, &beta, got.data(), &p.ldc);
  orb_test_fail_allocation(0, 0);
  EXPECT_EQ(orb_test_allocation_count(), before);
  EXPECT_TRUE(same_bits(got, want)) << "without memory " << s.ta << s.tb << " m=" << s.m << " k=" << s.k;
}

TEST(GemmPaths, OnePassMatchesPackedModelOnEveryBuild) {
  const char ops[] = {'N', 'T', 'C'};
  // Short K with row blocks beyond one stack buffer, tails of rows and
  // columns; a small product with K at the one-pass limit.
  const int dims[][3] = {{300, 11, 16}, {41, 23, 3}, {7, 9, 1}, {5, 70, 12}, {33, 64, 64}};
  int v = 0;
  for (char ta : ops)
    for (char tb : ops)
      for (const auto& d : dims) {
        const shape s{ta, tb, d[0], d[1], d[2]};
        check_onepass<float>(s, v);
        check_onepass<double>(s, v + 1);
        check_onepass<orb_complex8>(s, v + 2);
        check_onepass<orb_complex16>(s, v + 3);
        ++v;
      }
}

// ---- Block rule of the no-copy driver --------------------------------------------

TEST(GemmPaths, NocopyBlockRule) {
  auto blocks = [](int total, int limit, int step, int half) {
    std::vector<int> out;
    const int s = orb::paths::nocopy_block(total, limit, step, half);
    for (int p = 0; p < total; p += s) out.push_back(std::min(s, total - p));
    return out;
  };
  EXPECT_EQ(blocks(769, 768, 384, 384), (std::vector<int>{384, 384, 1}));
  EXPECT_EQ(blocks(600, 768, 384, 384), (std::vector<int>{300, 300}));
  EXPECT_EQ(blocks(384, 768, 384, 384), (std::vector<int>{384}));
  EXPECT_EQ(blocks(97, 128, 64, 96), (std::vector<int>{49, 48}));
  EXPECT_EQ(blocks(96, 128, 64, 96), (std::vector<int>{96}));
  EXPECT_EQ(blocks(200, 128, 64, 96), (std::vector<int>{64, 64, 64, 8}));
}

}  // namespace
