// The public packed-operand interface: right numbers against the
// reference BLAS, the packed A actually used (result 0) or the plain
// fallback taken (result 1) as documented, concurrent computes on one store
// from several threads, team stores, and allocation failure at every
// allocation with no block left behind.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "orb/orb_blas.h"
#include "orb/orb_gemm_pack.h"
#include "tests/blas/engine/paths_model.hpp"
#include "tests/support/orb_test_hooks.h"

namespace {

using namespace orb::test;
using namespace orb::test::paths;
using gemm::random_matrix;

struct operands {
  int m, n, k, lda, ldb, ldc;
  std::vector<double> a, b, c;
  operands(int m_, int n_, int k_, unsigned seed) : m(m_), n(n_), k(k_), lda(m_ + 3), ldb(k_ + 1), ldc(m_ + 2) {
    a = random_matrix<double>(std::size_t(lda) * k, seed);
    b = random_matrix<double>(std::size_t(ldb) * n, seed + 1);
    c = random_matrix<double>(std::size_t(ldc) * n, seed + 2);
  }
};

TEST(GemmPackInterface, PackOnceMultiplyMany) {
  operands x(150, 40, 90, 3);
  orb_gemm_pack* store = nullptr;
  ASSERT_EQ(orb_dgemm_pack_create(&store, 'N', x.m, x.k), 0);
  ASSERT_NE(store, nullptr);
  ASSERT_EQ(orb_dgemm_pack(store, 'N', x.m, x.k, 0.75, x.a.data(), x.lda), 0);
  // Rows `first` on of the A at `a`: the result `want` (0: the packed A
  // used, 1: the plain way) and the product with the packed factor.
  auto check = [&](int first, const double* a, const std::vector<double>& b, double beta, int want) {
    const int rows = x.m - first;
    std::vector<double> c = x.c;
    EXPECT_EQ(orb_dgemm_pack_compute(store, 'N', 'N', rows, x.n, x.k, a + first, x.lda, b.data(), x.ldb, beta,
                                     c.data(), x.ldc),
              want)
        << "first row " << first;
    EXPECT_TRUE(near_reference<double>('N', 'N', rows, x.n, x.k, 0.75, a + first, x.lda, b.data(), x.ldb, beta,
                                       x.c.data(), c.data(), x.ldc));
  };
  for (int round = 0; round < 3; ++round)
    check(0, x.a.data(), random_matrix<double>(std::size_t(x.ldb) * x.n, 40 + round), 0.5, 0);
  // A block of rows starting on the register tile uses the packed A; one
  // off the tile, or another matrix, goes the plain way, still right.
  check(16, x.a.data(), x.b, 0.0, 0);
  check(3, x.a.data(), x.b, 1.0, 1);
  const std::vector<double> other = x.a;
  check(0, other.data(), x.b, 1.0, 1);
  EXPECT_EQ(orb_dgemm_pack_release(store), 0);
  EXPECT_EQ(orb_sgemm_pack_release(store), -1);  // a double store
  EXPECT_EQ(orb_dgemm_pack_destroy(store), 0);
}

TEST(GemmPackInterface, ConcurrentComputesOnOneStore) {
  operands x(200, 30, 120, 11);
  orb_gemm_pack* store = nullptr;
  ASSERT_EQ(orb_dgemm_pack_create(&store, 'T', x.m, x.k), 0);
  // transa "T": A is k by m in memory.
  std::vector<double> a = random_matrix<double>(std::size_t(x.k + 1) * x.m, 12);
  const int lda = x.k + 1;
  ASSERT_EQ(orb_dgemm_pack(store, 'T', x.m, x.k, -1.0, a.data(), lda), 0);
  constexpr int kThreads = 4, kRounds = 6;
  std::vector<std::vector<double>> bs, expect;
  for (int t = 0; t < kThreads; ++t) {
    bs.push_back(random_matrix<double>(std::size_t(x.ldb) * x.n, 100 + t));
    expect.push_back(x.c);
    ASSERT_EQ(orb_dgemm_pack_compute(store, 'T', 'N', x.m, x.n, x.k, a.data(), lda, bs[t].data(), x.ldb, 0.25,
                                     expect[t].data(), x.ldc),
              0);
    EXPECT_TRUE(near_reference<double>('T', 'N', x.m, x.n, x.k, -1.0, a.data(), lda, bs[t].data(), x.ldb, 0.25,
                                       x.c.data(), expect[t].data(), x.ldc));
  }
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> team;
  for (int t = 0; t < kThreads; ++t)
    team.emplace_back([&, t] {
      for (int r = 0; r < kRounds; ++r) {
        std::vector<double> c = x.c;
        const int res = orb_dgemm_pack_compute(store, 'T', 'N', x.m, x.n, x.k, a.data(), lda, bs[t].data(), x.ldb,
                                               0.25, c.data(), x.ldc);
        if (res != 0 || !same_bits(c, expect[t])) ++failures[t];
      }
    });
  for (auto& th : team) th.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
  EXPECT_EQ(orb_dgemm_pack_destroy(store), 0);
}

// A team store on teams of 1, 2 and 3, and a plain store with the core on
// 1, 2 and 3 threads (a product big enough for the plain GEMM to take
// them, so that the compute runs on the team too): one result, the bits
// of one thread. Two column blocks: the team meets twice.
TEST(GemmPackInterface, TeamStoreGivesTheSameBitsForAnyTeam) {
  operands x(260, 200, 70, 21);
  std::vector<double> first;
  for (int run = 0; run < 6; ++run) {
    const int threads = 1 + run % 3;
    const bool team = run < 3;
    orb_set_num_threads(team ? 0 : threads);
    orb_gemm_pack* store = nullptr;
    ASSERT_EQ(team ? orb_dgemm_pack_create_team(&store, 'N', x.m, x.k, threads)
                   : orb_dgemm_pack_create(&store, 'N', x.m, x.k),
              0);
    ASSERT_EQ(orb_dgemm_pack(store, 'N', x.m, x.k, 1.5, x.a.data(), x.lda), 0);
    std::vector<double> c = x.c;
    EXPECT_EQ(orb_dgemm_pack_compute(store, 'N', 'N', x.m, x.n, x.k, x.a.data(), x.lda, x.b.data(), x.ldb, -0.5,
                                     c.data(), x.ldc),
              0);
    EXPECT_TRUE(near_reference<double>('N', 'N', x.m, x.n, x.k, 1.5, x.a.data(), x.lda, x.b.data(), x.ldb, -0.5,
                                       x.c.data(), c.data(), x.ldc));
    if (first.empty()) first = c;
    else EXPECT_TRUE(same_bits(c, first)) << threads << " threads" << (team ? ", team store" : "");
    EXPECT_EQ(orb_dgemm_pack_release(store), 0);
    EXPECT_EQ(orb_dgemm_pack_destroy(store), 0);
  }
  orb_set_num_threads(0);
}

TEST(GemmPackInterface, ComplexStore) {
  using C = orb_complex16;
  const int m = 40, n = 9, k = 33;
  std::vector<C> a = random_matrix<C>(std::size_t(k) * m, 5), b = random_matrix<C>(std::size_t(k) * n, 6),
                 c0 = random_matrix<C>(std::size_t(m) * n, 7);
  const C alpha{0.5, -0.25}, beta{0.0, 1.0};
  orb_gemm_pack* store = nullptr;
  ASSERT_EQ(orb_zgemm_pack_create(&store, 'C', m, k), 0);
  ASSERT_EQ(orb_zgemm_pack(store, 'C', m, k, &alpha, a.data(), k), 0);
  std::vector<C> c = c0;
  EXPECT_EQ(orb_zgemm_pack_compute(store, 'C', 'N', m, n, k, a.data(), k, b.data(), k, &beta, c.data(), m), 0);
  EXPECT_TRUE(near_reference<C>('C', 'N', m, n, k, alpha, a.data(), k, b.data(), k, beta, c0.data(), c.data(), m));
  EXPECT_EQ(orb_zgemm_pack_destroy(store), 0);
}

// Every allocation of a store's life failing in turn: each call still
// answers, the numbers that come back are right, and nothing leaks.
// The plain store runs its compute on two threads (a product big enough).
TEST(GemmPackInterface, AllocationFailureAtEachStep) {
  operands x(260, 130, 70, 31);
  orb_set_num_threads(2);
  const long live = orb_test_live_blocks();
  for (long nth = 1; nth <= 8; ++nth) {
    for (bool team : {false, true}) {
      orb_test_fail_allocation(nth, 0);
      orb_gemm_pack* store = nullptr;
      const int made = team ? orb_dgemm_pack_create_team(&store, 'N', x.m, x.k, 2)
                            : orb_dgemm_pack_create(&store, 'N', x.m, x.k);
      std::vector<double> c = x.c;
      if (made == 0) {
        ASSERT_NE(store, nullptr);
        orb_dgemm_pack(store, 'N', x.m, x.k, 2.0, x.a.data(), x.lda);
        const int r = orb_dgemm_pack_compute(store, 'N', 'N', x.m, x.n, x.k, x.a.data(), x.lda, x.b.data(), x.ldb,
                                             0.5, c.data(), x.ldc);
        EXPECT_TRUE(r == 0 || r == 1);
        EXPECT_TRUE(near_reference<double>('N', 'N', x.m, x.n, x.k, 2.0, x.a.data(), x.lda, x.b.data(), x.ldb, 0.5,
                                           x.c.data(), c.data(), x.ldc))
            << "allocation " << nth << (team ? " (team)" : "");
        orb_dgemm_pack_destroy(store);
      } else {
        EXPECT_EQ(made, 1);
        EXPECT_EQ(store, nullptr);
      }
      orb_test_fail_allocation(0, 0);
      EXPECT_EQ(orb_test_live_blocks(), live) << "allocation " << nth << (team ? " (team)" : "");
    }
  }
  orb_set_num_threads(0);
}

// The public GEMM with every allocation failing: the paths without buffers
// take over and the numbers stay right.
TEST(GemmPackInterface, PublicGemmWithoutMemory) {
  const long live = orb_test_live_blocks();
  for (char ta : {'N', 'T'}) {
    const int m = 260, n = 230, k = 50;
    const int lda = ta == 'N' ? m : k;
    std::vector<double> a = random_matrix<double>(std::size_t(lda) * (ta == 'N' ? k : m), 1);
    std::vector<double> b = random_matrix<double>(std::size_t(k) * n, 2), c0 = random_matrix<double>(std::size_t(m) * n, 3);
    std::vector<double> c = c0;
    const double alpha = 0.5, beta = 2.0;
    orb_test_fail_allocation(1, 1);
    orb_blas_dgemm(&ta, "N", &m, &n, &k, &alpha, a.data(), &lda, b.data(), &k, &beta, c.data(), &m);
    orb_test_fail_allocation(0, 0);
    EXPECT_TRUE(near_reference<double>(ta, 'N', m, n, k, alpha, a.data(), lda, b.data(), k, beta, c0.data(), c.data(), m));
  }
  EXPECT_EQ(orb_test_live_blocks(), live);
}

}  // namespace
