// TRMM: the reference BLAS on every letter combination, across the small
// path's edge (order 10 and 11) and the blocking edges, the three public
// forms, threads, builds, failed allocations and error reports. Packed
// TRMM: the product of the unpacked triangle, with and without scratch,
// and its error reports.
#include "tests/blas/level3/trx_checks.hpp"

namespace {

using namespace orb::test::trx;
using orb::test::trx::op;

#define ORB_TRMM_TESTS(T, tag)                                                                              \
  TEST(Trmm, AgreesWithTheReference_##tag) {                                                                \
    against_reference<T>(op::trmm,                                                                          \
                         {{1, 1}, {10, 4}, {4, 10}, {11, 3}, {3, 11}, {17, 23}, {129, 5}, {5, 257}, {385, 3}, \
                          {2, 385}});                                                                       \
  }                                                                                                         \
  TEST(Trmm, ThreeFormsSameBits_##tag) { three_forms<T>(op::trmm, 19, 12); }                               \
  TEST(Trmm, SameBitsOnOneTwoThreeThreads_##tag) { thread_invariant<T>(op::trmm); }                        \
  TEST(Trmm, SameBitsInEveryBuild_##tag) { same_in_every_build<T>(op::trmm); }                             \
  TEST(Trmm, FailedAllocations_##tag) { without_memory<T>(op::trmm); }                                     \
  TEST(Trmm, ErrorReports_##tag) { error_reports<T>(op::trmm); }                                           \
  TEST(Trmm, AlphaZeroAndQuickReturns_##tag) { alpha_zero_and_quick_returns<T>(op::trmm); }
ORB_TRMM_TESTS(float, s)
ORB_TRMM_TESTS(double, d)
ORB_TRMM_TESTS(orb_complex8, c)
ORB_TRMM_TESTS(orb_complex16, z)
#undef ORB_TRMM_TESTS

template <class T>
using ptrmm_fn = void (*)(const char*, const char*, const char*, const char*, const int*, const int*, const T*,
                          const T*, T*, const int*);

// The packed triangle of a problem's A, by columns.
template <class T>
std::vector<T> packed(const problem<T>& p) {
  std::vector<T> ap;
  for (int j = 0; j < p.k; ++j)
    for (int i = p.uplo == 'U' ? 0 : j; i < (p.uplo == 'U' ? j + 1 : p.k); ++i)
      ap.push_back(p.a[i + std::size_t(j) * p.lda]);
  return ap;
}

// Order 270 on the diagonal letter 'N' only (the copy of the triangle does
// not depend on it).
template <class T>
void ptrmm_matches_trmm(ptrmm_fn<T> pub, ptrmm_fn<T> fortran) {
  for (auto [m, n] : {std::pair{12, 7}, std::pair{7, 12}, std::pair{270, 9}, std::pair{9, 270}})
    each_letters([&, m = m, n = n](char s, char u, char t, char d) {
      if (std::max(m, n) > 100 && d == 'U') return;
      const problem<T> p(s, u, t, d, m, n, 21);
      const auto ap = packed(p);
      const T alpha = make<T>(-1.25);
      const auto want = p.run(forms<T>::pub(op::trmm), alpha);
      const char cs[2] = {s, 0}, cu[2] = {u, 0}, ct[2] = {t, 0}, cd[2] = {d, 0};
      for (auto f : {pub, fortran}) {
        auto x = p.b;
        f(cs, cu, ct, cd, &p.m, &p.n, &alpha, ap.data(), x.data(), &p.ldb);
        EXPECT_TRUE(same_bits(x, want)) << label(op::trmm, p) << " packed";
      }
      // Without scratch the packed triangle is read in place.
      const long live = orb_test_live_blocks();
      orb_test_fail_allocation(1, 1);
      auto x = p.b;
      pub(cs, cu, ct, cd, &p.m, &p.n, &alpha, ap.data(), x.data(), &p.ldb);
      orb_test_fail_allocation(0, 0);
      EXPECT_EQ(orb_test_live_blocks(), live);
      EXPECT_LE(difference(x, want, m, n, p.ldb), tol<T>) << label(op::trmm, p) << " packed in place";
      EXPECT_TRUE(padding_kept(p, x));
    });
}

TEST(Ptrmm, MatchesTrmmOnTheUnpackedTriangle) {
  ptrmm_matches_trmm<float>(orb_blas_sptrmm, sptrmm_);
  ptrmm_matches_trmm<double>(orb_blas_dptrmm, dptrmm_);
}

TEST(Ptrmm, ErrorReports) {
  struct bad {
    char s, u, t, d;
    int m, n, ldb, info;
  };
  const bad cases[] = {{'X', 'U', 'N', 'N', 2, 3, 2, 1}, {'L', 'X', 'N', 'N', 2, 3, 2, 2},
                       {'L', 'U', 'X', 'N', 2, 3, 2, 3}, {'L', 'U', 'N', 'X', 2, 3, 2, 4},
                       {'L', 'U', 'N', 'N', -1, 3, 2, 5}, {'R', 'U', 'N', 'N', 2, -1, 2, 6},
                       {'L', 'U', 'N', 'N', 3, 2, 2, 10}};
  std::vector<double> ap(16, 1.0), b(16, 2.0);
  const double alpha = 1;
  for (const bad& c : cases)
    for (auto f : {orb_blas_dptrmm, dptrmm_}) {
      auto& r = fortran_reports();
      auto x = b;
      f(&c.s, &c.u, &c.t, &c.d, &c.m, &c.n, &alpha, ap.data(), x.data(), &c.ldb);
      EXPECT_EQ(r.info, c.info);
      EXPECT_EQ(r.name, "DPTRMM");
      EXPECT_TRUE(same_bits(x, b));
    }
}

}  // namespace
