// The public GEMM: which path a call takes (seen in the bits of its result,
// each path having an exact model), agreement with the reference BLAS, the
// same bits for 1, 2 and 3 threads, edge cases, and argument checks in the
// Fortran, C and CBLAS forms.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "orb/orb_blas.h"
#include "tests/blas/engine/paths_model.hpp"
#include "tests/support/orb_test_hooks.h"

// Reports of illegal arguments land here instead of on stderr.
namespace {
std::string g_xerbla_name;
int g_xerbla_info = 0;
int g_xerbla_calls = 0;
}  // namespace

extern "C" void xerbla_(const char* name, const int* info, std::size_t len) {
  g_xerbla_name.assign(name, len);
  while (!g_xerbla_name.empty() && g_xerbla_name.back() == ' ') g_xerbla_name.pop_back();
  g_xerbla_info = *info;
  ++g_xerbla_calls;
}

namespace {
std::string g_cblas_name;
int g_cblas_info = 0;
}  // namespace

extern "C" void cblas_xerbla(int p, const char* rout, const char*, ...) {
  g_cblas_name = rout;
  g_cblas_info = p;
}

// The standard names, as a Fortran or C program declares them.
extern "C" {
void dgemm_(const char*, const char*, const int*, const int*, const int*, const double*, const double*, const int*,
            const double*, const int*, const double*, double*, const int*);
void sgemm_(const char*, const char*, const int*, const int*, const int*, const float*, const float*, const int*,
            const float*, const int*, const float*, float*, const int*);
void cblas_dgemm(int layout, int transa, int transb, int m, int n, int k, double alpha, const double* a, int lda,
                 const double* b, int ldb, double beta, double* c, int ldc);
void cblas_zgemm(int layout, int transa, int transb, int m, int n, int k, const void* alpha, const void* a,
                 int lda, const void* b, int ldb, const void* beta, void* c, int ldc);
}

namespace {

using namespace orb::test;
using namespace orb::test::paths;
using gemm::make;
using gemm::random_matrix;

#define ORB_GEMM_PUBLIC(T, x)                                                                                    \
  void call(const char* ta, const char* tb, const int* m, const int* n, const int* k, const T* alpha, const T* a, \
            const int* lda, const T* b, const int* ldb, const T* beta, T* c, const int* ldc) {                   \
    orb_blas_##x##gemm(ta, tb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);                                    \
  }
ORB_GEMM_PUBLIC(float, s)
ORB_GEMM_PUBLIC(double, d)
ORB_GEMM_PUBLIC(orb_complex8, c)
ORB_GEMM_PUBLIC(orb_complex16, z)
#undef ORB_GEMM_PUBLIC

template <class T>
struct problem {
  char ta, tb;
  int m, n, k, lda, ldb, ldc;
  std::vector<T> a, b, c;
  problem(char ta_, char tb_, int m_, int n_, int k_, unsigned seed)
      : ta(ta_), tb(tb_), m(m_), n(n_), k(k_) {
    const int ra = ta == 'N' ? m : k, ca = ta == 'N' ? k : m;
    const int rb = tb == 'N' ? k : n, cb = tb == 'N' ? n : k;
    lda = std::max(ra, 1) + 1;
    ldb = std::max(rb, 1) + 2;
    ldc = std::max(m, 1) + 3;
    a = random_matrix<T>(std::size_t(lda) * std::max(ca, 1), seed);
    b = random_matrix<T>(std::size_t(ldb) * std::max(cb, 1), seed + 1);
    c = random_matrix<T>(std::size_t(ldc) * std::max(n, 1), seed + 2);
  }
  std::vector<T> run(const T& alpha, const T& beta) const {
    std::vector<T> out = c;
    call(&ta, &tb, &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, out.data(), &ldc);
    return out;
  }
};

enum class path { t_smalln, n_smalln, nocopy, packed, pst, sm };

template <class T>
void expect_path(path want, char ta, char tb, int m, int n, int k, T alpha, T beta) {
  problem<T> p(ta, tb, m, n, k, unsigned(m + 3 * n + 7 * k));
  const std::vector<T> got = p.run(alpha, beta);
  std::vector<T> model = p.c;
  const T* a = p.a.data();
  const T* b = p.b.data();
  switch (want) {
    case path::t_smalln:
      if constexpr (scalar<T>::C == 1) t_smalln<T>(m, n, k, alpha, a, p.lda, b, p.ldb, beta, model.data(), p.ldc);
      break;
    case path::n_smalln:
      if constexpr (std::is_same_v<T, double>) n_smalln(m, k, alpha, a, p.lda, b, p.ldb, beta, model.data(), p.ldc);
      break;
    case path::nocopy:
      if constexpr (scalar<T>::C == 1)
        nocopy_real<T>(ta, tb, m, n, k, alpha, a, p.lda, b, p.ldb, beta, model.data(), p.ldc);
      break;
    case path::packed:
      gemm::model<T>::run(ta, tb, m, n, k, alpha, a, p.lda, b, p.ldb, beta, model.data(), p.ldc);
      break;
    case path::pst:
      pst<T>(ta, tb, m, n, k, alpha, a, p.lda, b, p.ldb, beta, model.data(), p.ldc);
      break;
    case path::sm:
      if constexpr (scalar<T>::C == 2) sm<T>(ta, tb, m, n, k, alpha, a, p.lda, b, p.ldb, model.data(), p.ldc);
      break;
  }
  EXPECT_TRUE(same_bits(got, model)) << scalar<T>::x << "gemm " << ta << tb << " m=" << m << " n=" << n
                                     << " k=" << k << " expected path " << int(want);
  EXPECT_TRUE(near_reference<T>(ta, tb, m, n, k, alpha, a, p.lda, b, p.ldb, beta, p.c.data(), got.data(), p.ldc));
}

TEST(GemmEntry, EachCallTakesItsPath) {
  // Narrow n with A transposed: dot products.
  expect_path<double>(path::t_smalln, 'T', 'N', 37, 3, 50, 0.5, 0.0);
  expect_path<double>(path::t_smalln, 'T', 'N', 9, 2, 17, -1.0, 2.0);
  expect_path<float>(path::t_smalln, 'T', 'N', 21, 4, 96, 0.5, 1.0);
  expect_path<float>(path::t_smalln, 'T', 'N', 21, 7, 200, 0.5, 0.0);
  // k below 24 n: not narrow enough for single precision.
  expect_path<float>(path::nocopy, 'T', 'N', 21, 4, 95, 0.5, 1.0);
  // Two columns, both not transposed.
  expect_path<double>(path::n_smalln, 'N', 'N', 45, 2, 30, 1.5, 0.25);
  // 192 by 191 goes without copies, with K in blocks of 384, 384, 1.
  expect_path<double>(path::nocopy, 'N', 'N', 192, 191, 769, 0.5, -0.5);
  expect_path<double>(path::nocopy, 'N', 'T', 191, 192, 600, 1.0, 1.0);
  expect_path<float>(path::nocopy, 'T', 'T', 40, 90, 50, -2.0, 0.0);
  // Both 192: packed.
  expect_path<double>(path::packed, 'N', 'N', 192, 192, 100, 0.5, 0.0);
  expect_path<double>(path::packed, 'T', 'N', 300, 100, 200, 0.5, 1.0);
  // Packed shapes below the register tile go the direct way.
  expect_path<double>(path::pst, 'T', 'T', 300, 5, 100, 0.75, 0.5);
  expect_path<double>(path::pst, 'T', 'N', 7, 4, 5, 0.75, 0.0);
  expect_path<orb_complex8>(path::pst, 'N', 'C', 100, 2, 50, make<orb_complex8>(0.5, 1), make<orb_complex8>(0, 0));
  // Tiny complex with beta exactly 1: unrolled; any other beta: packed.
  expect_path<orb_complex16>(path::sm, 'C', 'T', 5, 6, 7, make<orb_complex16>(0.5, -1), make<orb_complex16>(1, 0));
  expect_path<orb_complex16>(path::packed, 'C', 'T', 5, 6, 7, make<orb_complex16>(0.5, -1),
                             make<orb_complex16>(0.5, 0));
  expect_path<orb_complex8>(path::packed, 'N', 'N', 2, 5, 5, make<orb_complex8>(1, 0), make<orb_complex8>(1, 0));
}

// ---- Threads ----------------------------------------------------------------

struct thread_count {
  explicit thread_count(int n) { orb_set_num_threads(n); }
  ~thread_count() { orb_set_num_threads(0); }
};

// With `failing`, each allocation of the two-thread call also fails in
// turn: once, the same bits; for good, the bits of one thread without
// memory; nothing left allocated either way.
template <class T>
void expect_thread_invariant(char ta, char tb, int m, int n, int k, T alpha, T beta, bool failing = false) {
  problem<T> p(ta, tb, m, n, k, unsigned(m * 7 + n + k));
  std::vector<T> one;
  {
    thread_count t(1);
    one = p.run(alpha, beta);
  }
  EXPECT_TRUE(near_reference<T>(ta, tb, m, n, k, alpha, p.a.data(), p.lda, p.b.data(), p.ldb, beta, p.c.data(),
                                one.data(), p.ldc));
  for (int threads : {2, 3}) {
    thread_count t(threads);
    EXPECT_TRUE(same_bits(p.run(alpha, beta), one))
        << scalar<T>::x << "gemm " << ta << tb << " m=" << m << " n=" << n << " k=" << k << " on " << threads
        << " threads";
  }
  if (!failing) return;
  std::vector<T> bare;
  {
    thread_count t(1);
    orb_test_fail_allocation(1, 1);
    bare = p.run(alpha, beta);
    orb_test_fail_allocation(0, 0);
  }
  thread_count t(2);
  const long live = orb_test_live_blocks(), before = orb_test_allocation_count();
  p.run(alpha, beta);
  const long count = orb_test_allocation_count() - before;
  for (long nth = 1; nth <= count + 1; ++nth)
    for (int persistent : {0, 1}) {
      orb_test_fail_allocation(nth, persistent);
      const std::vector<T> got = p.run(alpha, beta);
      orb_test_fail_allocation(0, 0);
      EXPECT_TRUE(same_bits(got, persistent && nth == 1 ? bare : one))
          << scalar<T>::x << "gemm allocation " << nth << (persistent ? " on" : "") << " failing";
      EXPECT_EQ(orb_test_live_blocks(), live);
    }
}

// Packed calls with rows enough run as one team sharing B: several K
// blocks, several N blocks (the two B panels in turn), rows beyond one A
// panel (z on two threads). Sizes just above the core's threshold for
// threads: this test also runs under ThreadSanitizer.
TEST(GemmEntry, SameBitsWhenTheTeamSharesB) {
  expect_thread_invariant<double>('N', 'N', 200, 260, 60, 0.5, 0.25, true);
  expect_thread_invariant<double>('T', 'N', 400, 20, 390, -1.0, 0.0);
  expect_thread_invariant<float>('T', 'N', 200, 30, 400, 0.5, 1.0);
  expect_thread_invariant<orb_complex8>('N', 'C', 100, 300, 72, make<orb_complex8>(0.5, -1),
                                        make<orb_complex8>(0.25, 0.5));
  expect_thread_invariant<orb_complex16>('C', 'T', 5000, 20, 22, make<orb_complex16>(1, 1),
                                         make<orb_complex16>(-1, 0));
}

// Every shape is above the size where the core starts a team.
TEST(GemmEntry, SameBitsOnOneTwoAndThreeThreads) {
  expect_thread_invariant<double>('N', 'N', 400, 390, 60, 0.5, 0.25);   // packed
  expect_thread_invariant<double>('T', 'N', 500, 40, 130, -1.0, 0.0);   // packed, by rows
  // Packed as a whole, cut into blocks that alone would go without copies.
  expect_thread_invariant<double>('N', 'N', 256, 200, 600, 0.5, 0.25);
  expect_thread_invariant<float>('N', 'T', 200, 300, 520, -1.5, 1.0);
  expect_thread_invariant<double>('N', 'T', 700, 100, 100, 1.0, 1.0);   // no-copy
  expect_thread_invariant<double>('T', 'N', 4000, 3, 200, 1.0, 0.5);     // dot products, by rows
  expect_thread_invariant<double>('N', 'N', 4000, 2, 300, 2.0, 0.0);    // two columns, by rows
  expect_thread_invariant<float>('T', 'T', 150, 300, 120, 0.5, -1.0);   // no-copy
  expect_thread_invariant<orb_complex16>('C', 'N', 200, 200, 60, make<orb_complex16>(0.5, 0.5),
                                         make<orb_complex16>(0, 1));
  expect_thread_invariant<orb_complex8>('N', 'T', 1000, 5, 500, make<orb_complex8>(1, 0), make<orb_complex8>(0, 0));
}

// ---- Edge cases -------------------------------------------------------------------

template <class T>
void edge_cases() {
  const T zero = make<T>(0), one = make<T>(1), half = make<T>(0.5);
  const T nan = make<T>(std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::quiet_NaN());
  // alpha 0 and beta 0 clear C, NaN included, whatever A and B hold.
  for (int m : {5, 200}) {
    problem<T> p('N', 'N', m, 7, 9, 5);
    std::fill(p.c.begin(), p.c.end(), nan);
    std::fill(p.a.begin(), p.a.end(), nan);
    const std::vector<T> got = p.run(zero, zero);
    for (int j = 0; j < p.n; ++j)
      for (int i = 0; i < m; ++i) {
        const T e = got[i + std::size_t(j) * p.ldc];
        EXPECT_TRUE(orb::test::same_bits(e, zero)) << scalar<T>::x << " (" << i << ", " << j << ")";
      }
    // Outside the m rows nothing is touched.
    EXPECT_TRUE(std::isnan(re(&got[m])[0]));
  }
  // m or n of 0: C (and A, B) are not touched at all.
  {
    void* bad = faulting_pointer();
    const int zero_i = 0, five = 5, ld = 5;
    call("N", "N", &zero_i, &five, &five, &one, static_cast<const T*>(bad), &ld, static_cast<const T*>(bad), &ld,
         &zero, static_cast<T*>(bad), &ld);
    call("T", "C", &five, &zero_i, &five, &one, static_cast<const T*>(bad), &ld, static_cast<const T*>(bad), &ld,
         &zero, static_cast<T*>(bad), &ld);
  }
  // k of 0: beta alone; alpha 0 with beta 1: C untouched (arrays unread).
  {
    problem<T> p('N', 'T', 30, 20, 0, 9);
    std::vector<T> want = p.c;
    gemm::model<T>::scale(p.m, p.n, half, want.data(), p.ldc);
    EXPECT_TRUE(same_bits(p.run(one, half), want));
    problem<T> q('T', 'N', 30, 20, 10, 9);
    void* bad = faulting_pointer();
    std::vector<T> c = q.c;
    call("T", "N", &q.m, &q.n, &q.k, &zero, static_cast<const T*>(bad), &q.lda, static_cast<const T*>(bad), &q.ldb,
         &one, c.data(), &q.ldc);
    EXPECT_TRUE(same_bits(c, q.c));
  }
}

TEST(GemmEntry, EdgeCases) {
  edge_cases<float>();
  edge_cases<double>();
  edge_cases<orb_complex8>();
  edge_cases<orb_complex16>();
}

// ---- Argument checks ----------------------------------------------------------------

TEST(GemmEntry, IllegalArgumentsReachXerbla) {
  struct bad {
    const char *ta, *tb;
    int m, n, k, lda, ldb, ldc, info;
  };
  const bad cases[] = {
      {"X", "N", 1, 1, 1, 1, 1, 1, 1},  {"N", "x", 1, 1, 1, 1, 1, 1, 2},  {"N", "N", -1, 1, 1, 1, 1, 1, 3},
      {"N", "N", 1, -1, 1, 1, 1, 1, 4}, {"N", "N", 1, 1, -1, 1, 1, 1, 5}, {"N", "N", 4, 1, 1, 3, 1, 4, 8},
      {"T", "N", 1, 1, 4, 3, 4, 1, 8},  {"N", "N", 1, 1, 4, 1, 3, 1, 10}, {"N", "t", 1, 4, 1, 1, 3, 1, 10},
      {"N", "N", 4, 1, 1, 4, 1, 3, 13}, {"C", "C", 0, 0, 0, 0, 0, 0, 8},
  };
  void* fault = faulting_pointer();
  const double one = 1.0;
  for (const bad& c : cases) {
    g_xerbla_calls = 0;
    orb_blas_dgemm(c.ta, c.tb, &c.m, &c.n, &c.k, &one, static_cast<const double*>(fault), &c.lda,
                   static_cast<const double*>(fault), &c.ldb, &one, static_cast<double*>(fault), &c.ldc);
    EXPECT_EQ(g_xerbla_calls, 1);
    EXPECT_EQ(g_xerbla_name, "DGEMM");
    EXPECT_EQ(g_xerbla_info, c.info) << c.ta << c.tb << " m=" << c.m << " n=" << c.n << " k=" << c.k;
    // The Fortran name checks the same way.
    g_xerbla_calls = 0;
    const float onef = 1.0f;
    sgemm_(c.ta, c.tb, &c.m, &c.n, &c.k, &onef, static_cast<const float*>(fault), &c.lda,
           static_cast<const float*>(fault), &c.ldb, &onef, static_cast<float*>(fault), &c.ldc);
    EXPECT_EQ(g_xerbla_name, "SGEMM");
    EXPECT_EQ(g_xerbla_info, c.info);
  }
}

TEST(GemmEntry, FortranAndCblasForms) {
  problem<double> p('T', 'N', 33, 21, 17, 4);
  const std::vector<double> want = p.run(0.5, -1.0);
  std::vector<double> f = p.c;
  const double alpha = 0.5, beta = -1.0;
  dgemm_(&p.ta, &p.tb, &p.m, &p.n, &p.k, &alpha, p.a.data(), &p.lda, p.b.data(), &p.ldb, &beta, f.data(), &p.ldc);
  EXPECT_TRUE(same_bits(f, want));
  // Column-major CBLAS is the same call.
  std::vector<double> cm = p.c;
  cblas_dgemm(102, 112, 111, p.m, p.n, p.k, 0.5, p.a.data(), p.lda, p.b.data(), p.ldb, -1.0, cm.data(), p.ldc);
  EXPECT_TRUE(same_bits(cm, want));
  // Row-major: C' = B' A'. The same column-major arrays read row-major are
  // the transposes, so the row-major call with operands swapped gives C.
  std::vector<double> rm = p.c;
  cblas_dgemm(101, 111, 112, p.n, p.m, p.k, 0.5, p.b.data(), p.ldb, p.a.data(), p.lda, -1.0, rm.data(), p.ldc);
  EXPECT_TRUE(same_bits(rm, want));
  // Complex, row-major against column-major on the same arrays.
  problem<orb_complex16> z('N', 'C', 9, 12, 5, 8);
  const orb_complex16 za = make<orb_complex16>(0.5, 2), zb = make<orb_complex16>(1, -1);
  const std::vector<orb_complex16> zwant = z.run(za, zb);
  std::vector<orb_complex16> zr = z.c;
  // (A B^H)^T = conj(B) A^T: as row-major, op(B) = B read transposed and conjugated.
  cblas_zgemm(101, 113, 111, z.n, z.m, z.k, &za, z.b.data(), z.ldb, z.a.data(), z.lda, &zb, zr.data(), z.ldc);
  // That row-major call is column-major (A^T)^T ... = A conj(B)^T: the same product.
  EXPECT_TRUE(near_reference<orb_complex16>('N', 'C', z.m, z.n, z.k, za, z.a.data(), z.lda, z.b.data(), z.ldb, zb,
                                            z.c.data(), zr.data(), z.ldc));
  EXPECT_TRUE(same_bits(zr, zwant));
}

TEST(GemmEntry, CblasReportsCblasPositions) {
  double x[16] = {};
  struct bad {
    int layout, ta, tb, m, n, k, lda, ldb, ldc, info;
  };
  const bad cases[] = {
      {7, 111, 111, 1, 1, 1, 1, 1, 1, 1},     {102, 1, 111, 1, 1, 1, 1, 1, 1, 2},
      {102, 111, 0, 1, 1, 1, 1, 1, 1, 3},     {102, 111, 111, -1, 1, 1, 1, 1, 1, 4},
      {102, 111, 111, 1, -1, 1, 1, 1, 1, 5},  {102, 111, 111, 1, 1, -1, 1, 1, 1, 6},
      {102, 111, 111, 2, 0, 0, 1, 1, 2, 9},   {102, 111, 111, 0, 0, 2, 1, 1, 1, 11},
      {102, 111, 111, 2, 0, 0, 2, 1, 1, 14},
      // Row-major: the transposed call's positions (m and n, lda and ldb swap).
      {101, 111, 111, -1, 1, 1, 1, 1, 1, 5},  {101, 111, 111, 1, -1, 1, 1, 1, 1, 4},
      {101, 111, 111, 0, 2, 2, 1, 2, 2, 11},  {101, 111, 111, 0, 2, 2, 2, 1, 2, 9},
      {101, 111, 111, 0, 2, 0, 1, 2, 1, 14},
  };
  for (const bad& c : cases) {
    g_cblas_info = 0;
    cblas_dgemm(c.layout, c.ta, c.tb, c.m, c.n, c.k, 1.0, x, c.lda, x, c.ldb, 1.0, x, c.ldc);
    EXPECT_EQ(g_cblas_name, "cblas_dgemm");
    EXPECT_EQ(g_cblas_info, c.info) << "layout " << c.layout << " m=" << c.m << " n=" << c.n << " k=" << c.k;
  }
}

}  // namespace
