// Illegal arguments of SYMM, HEMM, SYRK, HERK, SYR2K, HER2K and GEMMT in
// the three forms (orb_blas_*, the Fortran names, CBLAS in both layouts):
// the first illegal argument is reported with the reference routine's name
// and position, and C is not touched. Also the verbose lines of level 3.
#include <algorithm>
#include <cctype>
#include <cstdio>

#include "orb/orb_blas.h"
#include "tests/blas/level3/syx_support.hpp"
#include "tests/blas/level3/xerbla_capture.hpp"

namespace {

using namespace orb::test;
using namespace orb::test::syx;

// All arrays point at a page that faults on any access: a report must
// come before any element is read or written.
void* bad() { return faulting_pointer(); }

std::string upper(std::string s) {
  for (auto& ch : s) ch = char(std::toupper(static_cast<unsigned char>(ch)));
  return s;
}

// One illegal call in the Fortran form and the orb_blas_ form.
template <class F, class... A>
void expect_report(const std::string& name, int pos, A... args) {
  for (const std::string& sym : {name + "_", "orb_blas_" + name}) {
    xerbla_capture::fortran().calls = 0;
    auto f = ours<F>(sym);
    ASSERT_NE(f, nullptr);
    f(args...);
    EXPECT_EQ(xerbla_capture::fortran().calls, 1) << sym;
    EXPECT_EQ(xerbla_capture::fortran().info, pos) << sym;
    EXPECT_EQ(xerbla_capture::fortran().name, upper(name)) << sym;
  }
}
template <class F, class... A>
void expect_cblas(const std::string& name, int pos, A... args) {
  xerbla_capture::cblas().calls = 0;
  auto f = ours<F>("cblas_" + name);
  ASSERT_NE(f, nullptr);
  f(args...);
  EXPECT_EQ(xerbla_capture::cblas().calls, 1) << name << " position " << pos;
  EXPECT_EQ(xerbla_capture::cblas().info, pos) << name;
  EXPECT_EQ(xerbla_capture::cblas().name, "cblas_" + name);
}

constexpr int kCol = 102, kRow = 101, kUpper = 121, kLower = 122, kNoTrans = 111, kTrans = 112, kConjTrans = 113,
              kLeft = 141, kRight = 142;

using fsyrk = void (*)(const char*, const char*, const int*, const int*, const void*, const void*, const int*,
                       const void*, void*, const int*);
using fsyr2k = void (*)(const char*, const char*, const int*, const int*, const void*, const void*, const int*,
                        const void*, const int*, const void*, void*, const int*);
using fsymm = fsyr2k;
using fgemmt = void (*)(const char*, const char*, const char*, const int*, const int*, const void*, const void*,
                        const int*, const void*, const int*, const void*, void*, const int*);

// S: how CBLAS takes alpha (a real by value, a complex by address), B: beta.
template <class S, class B>
using csyrk = void (*)(int, int, int, int, int, S, const void*, int, B, void*, int);
template <class S, class B>
using csyr2k = void (*)(int, int, int, int, int, S, const void*, int, const void*, int, B, void*, int);
template <class S>
using csymm = void (*)(int, int, int, int, int, S, const void*, int, const void*, int, S, void*, int);
template <class S>
using cgemmt = void (*)(int, int, int, int, int, int, S, const void*, int, const void*, int, S, void*, int);

template <class S> S scalar_arg() {
  if constexpr (std::is_pointer_v<S>) {
    static double z[2] = {1, 0};
    return z;
  } else {
    return S(1);
  }
}

// SYRK and HERK: uplo 1, trans 2, n 3, k 4, lda 7, ldc 10; with `two`,
// SYR2K and HER2K: ldb 9, ldc 12. `refused` is the operator letter the
// routine does not take (0: none). CBLAS takes alpha as S, beta as B.
template <class S, class B>
void rank_k(const std::string& name, bool two, char refused, int refused_enum) {
  const int n = 3, k = 2, neg = -1, one = 1, ld = 3;
  const void* x = bad();
  void* c = bad();
  auto fortran = [&](int pos, const char* u, const char* t, const int* pn, const int* pk, const int* lda,
                     const int* ldb, const int* ldc) {
    if (two) expect_report<fsyr2k>(name, pos, u, t, pn, pk, x, x, lda, x, ldb, x, c, ldc);
    else expect_report<fsyrk>(name, pos, u, t, pn, pk, x, x, lda, x, c, ldc);
  };
  fortran(1, "X", "N", &n, &k, &ld, &ld, &ld);
  fortran(2, "U", "X", &n, &k, &ld, &ld, &ld);
  const char r[2] = {refused, 0};
  if (refused) fortran(2, "U", r, &n, &k, &ld, &ld, &ld);
  fortran(3, "L", "N", &neg, &k, &ld, &ld, &ld);
  fortran(4, "L", "N", &n, &neg, &ld, &ld, &ld);
  fortran(7, "L", "N", &n, &k, &one, &ld, &ld);
  if (two) fortran(9, "L", "N", &n, &k, &ld, &one, &ld);
  fortran(two ? 12 : 10, "U", "N", &n, &k, &ld, &ld, &one);
  const S al = scalar_arg<S>();
  const B be = scalar_arg<B>();
  auto cblas = [&](int pos, int layout, int u, int t, int cn, int ck, int lda, int ldb, int ldc) {
    if (two) expect_cblas<csyr2k<S, B>>(name, pos, layout, u, t, cn, ck, al, x, lda, x, ldb, be, c, ldc);
    else expect_cblas<csyrk<S, B>>(name, pos, layout, u, t, cn, ck, al, x, lda, be, c, ldc);
  };
  // The enumerations, each form in one layout or the other.
  cblas(1, 0, kUpper, kNoTrans, n, k, ld, ld, ld);
  cblas(2, two ? kRow : kCol, 0, kNoTrans, n, k, ld, ld, ld);
  cblas(3, two ? kCol : kRow, kLower, 0, n, k, ld, ld, ld);
  if (refused_enum) cblas(3, two ? kRow : kCol, kLower, refused_enum, n, k, ld, ld, ld);
  for (int layout : {kCol, kRow}) {
    // Row-major A is n x k with k per row: the transposed call reads it.
    const int short_ld = layout == kCol ? n - 1 : k - 1;
    cblas(4, layout, kLower, kNoTrans, -1, k, ld, ld, ld);
    cblas(5, layout, kLower, kNoTrans, n, -1, ld, ld, ld);
    cblas(8, layout, kUpper, kNoTrans, n, k, short_ld, ld, ld);
    if (two) cblas(10, layout, kUpper, kNoTrans, n, k, ld, short_ld, ld);
    cblas(two ? 13 : 11, layout, kUpper, kNoTrans, n, k, ld, ld, n - 1);
  }
}

// SYMM and HEMM: side 1, uplo 2, m 3, n 4, lda 7, ldb 9, ldc 12. In
// row-major order m and n trade places in the call that is run.
template <class S>
void symm(const std::string& name) {
  const int m = 3, n = 2, neg = -1, one = 1, ld = 3;
  const void* x = bad();
  void* c = bad();
  expect_report<fsymm>(name, 1, "X", "U", &m, &n, x, x, &ld, x, &ld, x, c, &ld);
  expect_report<fsymm>(name, 2, "L", "X", &m, &n, x, x, &ld, x, &ld, x, c, &ld);
  expect_report<fsymm>(name, 3, "L", "U", &neg, &n, x, x, &ld, x, &ld, x, c, &ld);
  expect_report<fsymm>(name, 4, "R", "U", &m, &neg, x, x, &ld, x, &ld, x, c, &ld);
  expect_report<fsymm>(name, 7, "L", "U", &m, &n, x, x, &one, x, &ld, x, c, &ld);
  expect_report<fsymm>(name, 7, "R", "L", &m, &n, x, x, &one, x, &ld, x, c, &ld);
  expect_report<fsymm>(name, 9, "R", "L", &m, &n, x, x, &ld, x, &one, x, c, &ld);
  expect_report<fsymm>(name, 12, "R", "L", &m, &n, x, x, &ld, x, &ld, x, c, &one);
  const S s = scalar_arg<S>();
  using F = csymm<S>;
  expect_cblas<F>(name, 1, 0, kLeft, kUpper, m, n, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 2, kCol, 0, kUpper, m, n, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 3, kRow, kRight, 0, m, n, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 4, kCol, kLeft, kUpper, -1, n, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 5, kRow, kLeft, kUpper, -1, n, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 5, kCol, kLeft, kUpper, m, -1, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 4, kRow, kLeft, kUpper, m, -1, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 8, kCol, kLeft, kUpper, m, n, s, x, m - 1, x, ld, s, c, ld);
  expect_cblas<F>(name, 10, kCol, kLeft, kUpper, m, n, s, x, ld, x, m - 1, s, c, ld);
  expect_cblas<F>(name, 10, kRow, kLeft, kUpper, m, n, s, x, ld, x, n - 1, s, c, ld);
  expect_cblas<F>(name, 13, kRow, kRight, kLower, m, n, s, x, ld, x, ld, s, c, n - 1);
}

// GEMMT: uplo 1, transa 2, transb 3, n 4, k 5, lda 8, ldb 10, ldc 13. In
// row-major order the operands trade places in the call that is run.
template <class S>
void gemmt(const std::string& name) {
  const int n = 3, k = 2, neg = -1, one = 1, ld = 3;
  const void* x = bad();
  void* c = bad();
  expect_report<fgemmt>(name, 1, "X", "N", "N", &n, &k, x, x, &ld, x, &ld, x, c, &ld);
  expect_report<fgemmt>(name, 2, "U", "X", "N", &n, &k, x, x, &ld, x, &ld, x, c, &ld);
  expect_report<fgemmt>(name, 3, "U", "N", "X", &n, &k, x, x, &ld, x, &ld, x, c, &ld);
  expect_report<fgemmt>(name, 4, "U", "N", "N", &neg, &k, x, x, &ld, x, &ld, x, c, &ld);
  expect_report<fgemmt>(name, 5, "U", "N", "N", &n, &neg, x, x, &ld, x, &ld, x, c, &ld);
  expect_report<fgemmt>(name, 8, "U", "N", "N", &n, &k, x, x, &one, x, &ld, x, c, &ld);
  expect_report<fgemmt>(name, 8, "L", "T", "N", &n, &k, x, x, &one, x, &ld, x, c, &ld);
  expect_report<fgemmt>(name, 10, "L", "N", "N", &n, &k, x, x, &ld, x, &one, x, c, &ld);
  expect_report<fgemmt>(name, 10, "L", "N", "C", &n, &k, x, x, &ld, x, &k, x, c, &ld);
  expect_report<fgemmt>(name, 13, "L", "C", "T", &n, &k, x, x, &ld, x, &ld, x, c, &k);
  const S s = scalar_arg<S>();
  using F = cgemmt<S>;
  expect_cblas<F>(name, 1, 0, kUpper, kNoTrans, kNoTrans, n, k, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 2, kCol, 0, kNoTrans, kNoTrans, n, k, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 3, kRow, kUpper, 0, kNoTrans, n, k, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 4, kCol, kUpper, kNoTrans, 0, n, k, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 5, kRow, kUpper, kNoTrans, kTrans, -1, k, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 6, kCol, kUpper, kNoTrans, kTrans, n, -1, s, x, ld, x, ld, s, c, ld);
  expect_cblas<F>(name, 9, kCol, kUpper, kNoTrans, kTrans, n, k, s, x, n - 1, x, ld, s, c, ld);
  // Row-major: A (n x k, lda >= k) is the second operand of the call run.
  expect_cblas<F>(name, 11, kRow, kUpper, kNoTrans, kTrans, n, k, s, x, k - 1, x, ld, s, c, ld);
  expect_cblas<F>(name, 9, kRow, kUpper, kNoTrans, kNoTrans, n, k, s, x, ld, x, n - 1, s, c, ld);
  expect_cblas<F>(name, 14, kRow, kLower, kConjTrans, kTrans, n, k, s, x, ld, x, ld, s, c, n - 1);
}

TEST(SyxErrors, RankKAndRank2K) {
  for (bool two : {false, true}) {
    const std::string form = two ? "syr2k" : "syrk";
    rank_k<float, float>("s" + form, two, 0, 0);
    rank_k<double, double>("d" + form, two, 0, 0);
    rank_k<const double*, const double*>("c" + form, two, 'C', kConjTrans);
    rank_k<const double*, const double*>("z" + form, two, 'C', kConjTrans);
  }
  rank_k<float, float>("cherk", false, 'T', kTrans);
  rank_k<double, double>("zherk", false, 'T', kTrans);
  rank_k<const double*, float>("cher2k", true, 'T', kTrans);
  rank_k<const double*, double>("zher2k", true, 'T', kTrans);
  // The real forms read "C" as "T".
  const int n = 3, k = 2, one = 1;
  expect_report<fsyr2k>("ssyr2k", 9, "U", "T", &n, &k, bad(), bad(), &k, bad(), &one, bad(), bad(), &n);
  expect_report<fsyr2k>("dsyr2k", 7, "U", "C", &n, &k, bad(), bad(), &one, bad(), &k, bad(), bad(), &n);
  expect_cblas<csyr2k<float, float>>("ssyr2k", 13, kCol, kUpper, kConjTrans, n, k, 1.0f, bad(), n, bad(), n, 1.0f,
                                     bad(), 2);
}

TEST(SyxErrors, SymmHemm) {
  symm<float>("ssymm");
  symm<double>("dsymm");
  symm<const double*>("csymm");
  symm<const double*>("zsymm");
  symm<const double*>("chemm");
  symm<const double*>("zhemm");
}

TEST(SyxErrors, Gemmt) {
  gemmt<float>("sgemmt");
  gemmt<double>("dgemmt");
  gemmt<const double*>("cgemmt");
  gemmt<const double*>("zgemmt");
}

// CBLAS GEMMT in row-major order: the same product as the column-major
// call on the transposes (alpha then enters the other operand, so to
// rounding), the other triangle untouched.
TEST(SyxErrors, CblasGemmtLayouts) {
  const int n = 9, k = 5;
  const auto a = random_matrix<double>(n * k, 1), b = random_matrix<double>(n * k, 2);
  auto c = random_matrix<double>(n * n, 3);
  // ct holds the row-major C column by column.
  std::vector<double> ct(c.size());
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) ct[i + j * n] = c[j + i * n];
  const auto before = c;
  // Row-major: C (n x n) = A (n x k) B' with B n x k, upper triangle.
  ours<cgemmt<double>>("cblas_dgemmt")(kRow, kUpper, kNoTrans, kTrans, n, k, 0.5, a.data(), k, b.data(), k, 2.0,
                                       c.data(), n);
  // The same in column-major terms: the row-major A and B are A' and B'.
  ours<cgemmt<double>>("cblas_dgemmt")(kCol, kUpper, kTrans, kNoTrans, n, k, 0.5, a.data(), k, b.data(), k, 2.0,
                                       ct.data(), n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      if (j >= i) EXPECT_NEAR(c[j + i * n], ct[i + j * n], 1e-14) << i << ',' << j;
      else EXPECT_TRUE(same_bits(c[j + i * n], before[j + i * n])) << i << ',' << j;
    }
}

// With verbose mode on, each call prints one line with its name and
// arguments, and still computes.
TEST(Level3, VerboseLines) {
  const int n = 2, k = 1, ld = 2, m3 = 3, ld3 = 3, zm = 2, zn = 3, zk = 4;
  double a[9] = {1, 2, 1, 1, 1, 1, 1, 1, 1}, b[6] = {1, 1, 1, 1, 1, 1}, c[4] = {0, 0, 0, 0}, r[12] = {};
  const double one = 1;
  const orb_complex16 alpha{1, 1}, beta{0, 0};
  std::vector<orb_complex16> z(12, orb_complex16{1, 0}), zc(6);
  int* mode = orb_serv_verbose_mode();
  const int saved = *mode;
  *mode = 1;
  ::testing::internal::CaptureStdout();
  dsyrk_("L", "N", &n, &k, &one, a, &ld, &one, c, &ld);
  orb_blas_dtrsm("L", "U", "N", "N", &m3, &n, &one, a, &ld3, b, &ld3);
  orb_blas_dptrmm("R", "L", "T", "U", &m3, &n, &one, a, b, &ld3);
  zgemm3m_("N", "T", &zm, &zn, &zk, &alpha, z.data(), &zm, z.data(), &zn, &beta, zc.data(), &zm);
  dzgemm_("N", "T", &zm, &zn, &zk, &alpha, r, &zm, z.data(), &zn, &beta, zc.data(), &zm);
  std::fflush(stdout);
  const std::string out = ::testing::internal::GetCapturedStdout();
  *mode = saved;
  EXPECT_EQ(out.rfind("orb_verbose: DSYRK(L,N,2,1,", 0), 0u) << out;
  for (const char* line : {"\norb_verbose: DTRSM(L,U,N,N,3,2,", "\norb_verbose: DPTRMM(R,L,T,U,3,2,",
                           "\norb_verbose: ZGEMM3M(N,T,2,3,4,", "\norb_verbose: DZGEMM(N,T,2,3,4,"})
    EXPECT_NE(out.find(line), std::string::npos) << line << out;
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 5);
  EXPECT_EQ(c[0], 1);
  EXPECT_EQ(c[1], 2);
  EXPECT_EQ(c[3], 4);
  EXPECT_EQ(c[2], 0);
}

}  // namespace
