// The stored packed A under threads of the program: computes on one handle
// while another thread (or another team) packs it again, in the plain form,
// the team form and through the public store. The packs alternate between
// two factors, so every compute must use the packed A (result 0) and give,
// bit for bit, the product of one of the two: a pack waits for running
// computes and a compute for a running pack, so a compute never sees a
// panel half packed with one factor and half with the other.
//
// The threads are std::threads, never an OpenMP team, so that the
// ThreadSanitizer build sees every synchronisation (its CTest run selects
// the GemmConcurrency tests with the other thread tests of this program).
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <latch>
#include <thread>
#include <vector>

#include "orb/orb_gemm_pack.h"
#include "tests/blas/engine/gemm_model.hpp"

namespace {

using namespace orb::test::gemm;
using orb::engine::gemm_barrier;
using orb::test::same_bits;

template <class T>
using internal_fn = int (*)(const char*, const char*, const int*, const int*, const int*, const T*, const T*,
                            const int*, const T*, const int*, const T*, T*, const int*, const int*, void**);
template <class T>
using team_fn = int (*)(const char*, const char*, const int*, const int*, const int*, const T*, const T*, const int*,
                        const T*, const int*, const T*, T*, const int*, const int*, void**, const int*, const int*,
                        const int*, const int*, const int*, const int*, void*);

enum { op_create = 0, op_pack = 1, op_compute = 2, op_destroy = 4 };

constexpr int kComputers = 3, kRounds = 4, kPacks = 3;

// Operands of one product: A (M x K) shared, a B and a C per computing thread.
template <class T>
struct problem {
  static constexpr int M = 70, N = 40, K = 90;
  const T alpha = make<T>(0.75, -0.5), beta = make<T>(-1.25, 0.25);
  const T alphas[2] = {alpha, make<T>(-2, 1)};
  std::vector<T> a = random_matrix<T>(std::size_t(M) * K, 1);
  std::vector<std::vector<T>> b, c0;
  explicit problem(int count) {
    for (int t = 0; t < count; ++t) {
      b.push_back(random_matrix<T>(std::size_t(K) * N, 10 + t));
      c0.push_back(random_matrix<T>(std::size_t(M) * N, 20 + t));
    }
  }
};

bool same(const std::vector<double>& x, const std::vector<double>& y) {
  if (x.size() != y.size()) return false;
  for (std::size_t i = 0; i < x.size(); ++i)
    if (!same_bits(x[i], y[i])) return false;
  return true;
}

// One of the two products, whole.
bool either(const std::vector<double>& x, const std::vector<std::vector<double>>& two) {
  return same(x, two[0]) || same(x, two[1]);
}

// kComputers threads run compute(t, c) kRounds times on their own copy of
// C, each result to be one of expect[t], while one more thread runs
// pack(r) for r = 1 .. kPacks. Returns the number of failures.
template <class Compute, class Pack>
int race(const problem<double>& p, const std::vector<std::vector<std::vector<double>>>& expect, Compute compute,
         Pack pack) {
  std::latch start(kComputers + 1);
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kComputers; ++t)
    threads.emplace_back([&, t] {
      start.arrive_and_wait();
      for (int r = 0; r < kRounds; ++r) {
        std::vector<double> c = p.c0[t];
        if (compute(t, c.data()) != 0 || !either(c, expect[t])) failures.fetch_add(1);
      }
    });
  threads.emplace_back([&] {
    start.arrive_and_wait();
    for (int r = 1; r <= kPacks; ++r)
      if (pack(r) != 0) failures.fetch_add(100);
  });
  for (auto& th : threads) th.join();
  return failures.load();
}

// Plain form: kComputers threads compute with the packed A while one more
// packs it again, kPacks times.
TEST(GemmConcurrency, ComputesWhileAnotherThreadPacks) {
  auto f = engine_fn<internal_fn<double>>("xdgemm_internal");
  ASSERT_NE(f, nullptr);
  problem<double> p(kComputers);
  const int M = p.M, N = p.N, K = p.K;
  const int create = op_create, pack = op_pack, compute = op_compute, destroy = op_destroy;
  void* h = nullptr;
  ASSERT_EQ(f("N", "N", &M, &N, &K, &p.alpha, p.a.data(), &M, p.b[0].data(), &K, &p.beta, p.c0[0].data(), &M, &create,
              &h),
            0);
  ASSERT_EQ(f("N", "N", &M, &N, &K, &p.alpha, p.a.data(), &M, p.b[0].data(), &K, &p.beta, p.c0[0].data(), &M, &pack,
              &h),
            0);
  // What each computing thread may get: its product with either factor,
  // on the model.
  std::vector<std::vector<std::vector<double>>> expect(kComputers);
  for (int t = 0; t < kComputers; ++t)
    for (const double al : p.alphas) {
      expect[t].push_back(p.c0[t]);
      model<double>::run('N', 'N', M, N, K, al, p.a.data(), M, p.b[t].data(), K, p.beta, expect[t].back().data(), M);
    }

  EXPECT_EQ(race(
                p, expect,
                [&](int t, double* c) {
                  return f("N", "N", &M, &N, &K, &p.alpha, p.a.data(), &M, p.b[t].data(), &K, &p.beta, c, &M,
                           &compute, &h);
                },
                [&](int r) {
                  return f("N", "N", &M, &N, &K, &p.alphas[r % 2], p.a.data(), &M, nullptr, &K, &p.beta, nullptr, &M,
                           &pack, &h);
                }),
            0);
  EXPECT_EQ(f("N", "N", &M, &N, &K, &p.alpha, p.a.data(), &M, nullptr, &K, &p.beta, nullptr, &M, &destroy, &h), 0);
}

// Team form: a team of two computes on a team handle while a second team of
// two, with its own barrier, packs the same handle again. Only each team's
// thread 0 takes the handle's lock; the members meet at their barriers.
TEST(GemmConcurrency, TeamComputesWhileAnotherTeamPacks) {
  auto f = engine_fn<team_fn<double>>("xdgemm_internal_team");
  ASSERT_NE(f, nullptr);
  problem<double> p(1);
  const int M = p.M, N = p.N, K = p.K;
  const int slot = 0, slots = 1, group = 0, copies = 1, one = 1, two = 2;
  alignas(64) static gemm_barrier solo, computing, packing;
  solo = computing = packing = gemm_barrier{};
  void* h = nullptr;
  auto call = [&](int op, int thread, const int& size, gemm_barrier* bar, double* c, int factor = 0) {
    return f("N", "N", &M, &N, &K, &p.alphas[factor], p.a.data(), &M, p.b[0].data(), &K, &p.beta, c, &M, &op, &h,
             &slot, &slots, &group, &copies, &thread, &size, bar);
  };
  std::vector<std::vector<double>> expect;
  for (const double al : p.alphas) {
    expect.push_back(p.c0[0]);
    model<double>::run('N', 'N', M, N, K, al, p.a.data(), M, p.b[0].data(), K, p.beta, expect.back().data(), M);
  }
  std::vector<double> c = p.c0[0];
  ASSERT_EQ(call(op_create, 0, one, &solo, c.data()), 0);
  ASSERT_NE(h, nullptr);
  ASSERT_EQ(call(op_pack, 0, one, &solo, c.data()), 0);

  std::latch start(4);
  std::barrier meet(2);
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  // Both members of the computing team write their own rows of one C;
  // between rounds the team meets while thread 0 checks and restores it.
  for (int t = 0; t < 2; ++t)
    threads.emplace_back([&, t] {
      start.arrive_and_wait();
      for (int r = 0; r < kRounds; ++r) {
        if (call(op_compute, t, two, &computing, c.data()) != 0) failures.fetch_add(1);
        meet.arrive_and_wait();
        if (t == 0) {
          if (!either(c, expect)) failures.fetch_add(10);
          c = p.c0[0];
        }
        meet.arrive_and_wait();
      }
    });
  for (int t = 0; t < 2; ++t)
    threads.emplace_back([&, t] {
      start.arrive_and_wait();
      for (int r = 1; r <= kPacks; ++r)
        if (call(op_pack, t, two, &packing, nullptr, r % 2) != 0) failures.fetch_add(100);
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(call(op_destroy, 0, one, &solo, nullptr), 0);
  EXPECT_EQ(h, nullptr);
}

// The public store: the documented promise that a pack waits for running
// computes and a compute for a running pack, with the store's own fields
// (the alpha of the last pack) read by every compute.
TEST(GemmConcurrency, PublicStoreComputesWhileAnotherThreadPacks) {
  problem<double> p(kComputers);
  const int M = p.M, N = p.N, K = p.K;
  orb_gemm_pack* store = nullptr;
  ASSERT_EQ(orb_dgemm_pack_create(&store, 'N', M, K), 0);
  // Each thread's product with either factor, from the store itself.
  std::vector<std::vector<std::vector<double>>> expect(kComputers);
  for (int f : {1, 0}) {
    ASSERT_EQ(orb_dgemm_pack(store, 'N', M, K, p.alphas[f], p.a.data(), M), 0);
    for (int t = 0; t < kComputers; ++t) {
      expect[t].insert(expect[t].begin(), p.c0[t]);
      ASSERT_EQ(orb_dgemm_pack_compute(store, 'N', 'N', M, N, K, p.a.data(), M, p.b[t].data(), K, p.beta,
                                       expect[t].front().data(), M),
                0);
    }
  }

  EXPECT_EQ(race(
                p, expect,
                [&](int t, double* c) {
                  return orb_dgemm_pack_compute(store, 'N', 'N', M, N, K, p.a.data(), M, p.b[t].data(), K, p.beta,
                                                c, M);
                },
                [&](int r) { return orb_dgemm_pack(store, 'N', M, K, p.alphas[r % 2], p.a.data(), M); }),
            0);
  EXPECT_EQ(orb_dgemm_pack_destroy(store), 0);
}

}  // namespace
