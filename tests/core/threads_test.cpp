// Work splitting, locks and the parallel region of the core.
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstdint>
#include <thread>
#include <tuple>
#include <vector>

#include "orb/orb_service.h"

namespace {

struct piece {
  int first, length;
};

std::vector<piece> slices(int nthr, int total, int block) {
  std::vector<piece> s(nthr);
  for (int t = 0; t < nthr; ++t) {
    int local = -1;
    s[t].first = block > 0 ? orb_serv_divbythreadsnb(&t, &nthr, &total, &block, &local)
                           : orb_serv_divbythreads(&t, &nthr, &total, &local);
    s[t].length = local;
  }
  return s;
}

// The slices tile [0, total) in thread order: each starts where the one
// before ended, none is negative, and they end exactly at total.
void expect_tiling(const std::vector<piece>& s, int total) {
  std::int64_t at = 0;
  for (std::size_t t = 0; t < s.size(); ++t) {
    ASSERT_GE(s[t].length, 0) << "thread " << t;
    if (s[t].length > 0) {
      ASSERT_EQ(s[t].first, at) << "thread " << t;
    }
    at += s[t].length;
  }
  ASSERT_EQ(at, total);
}

class Split : public ::testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(Split, EvenSlicesTileTheWork) {
  const auto [nthr, total] = GetParam();
  const auto s = slices(nthr, total, 0);
  expect_tiling(s, total);
  int lo = INT_MAX, hi = 0;
  for (const auto& p : s) lo = std::min(lo, p.length), hi = std::max(hi, p.length);
  EXPECT_LE(hi - lo, 1) << "the split is documented as even";
}

TEST_P(Split, BlockedSlicesStartOnBlocks) {
  const auto [nthr, total] = GetParam();
  for (int block : {1, 2, 3, 4, 6, 8, 16, 24, 64, 1000}) {
    SCOPED_TRACE(block);
    const auto s = slices(nthr, total, block);
    expect_tiling(s, total);
    int last = -1;
    for (int t = 0; t < nthr; ++t)
      if (s[t].length > 0) last = t;
    int lo = INT_MAX, hi = 0;
    for (int t = 0; t < nthr; ++t) {
      if (s[t].length == 0) continue;
      EXPECT_EQ(s[t].first % block, 0) << "thread " << t;
      if (t != last) {
        EXPECT_EQ(s[t].length % block, 0) << "only the last slice may hold a partial block";
        lo = std::min(lo, s[t].length), hi = std::max(hi, s[t].length);
      }
    }
    if (lo <= hi) {
      EXPECT_LE(hi - lo, block) << "whole blocks are dealt out evenly";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, Split,
                         ::testing::Combine(::testing::Values(1, 2, 3, 4, 5, 7, 8, 16, 17, 64),
                                            ::testing::Values(0, 1, 2, 3, 7, 8, 9, 63, 64, 65, 100,
                                                              1000, 4097, 12345, 1000003)));

TEST(Split, HugeTotalsDoNotOverflow) {
  for (int nthr : {1, 3, 7, 64}) {
    expect_tiling(slices(nthr, INT_MAX, 0), INT_MAX);
    expect_tiling(slices(nthr, INT_MAX, 8), INT_MAX);
    expect_tiling(slices(nthr, INT_MAX - 5, 1 << 20), INT_MAX - 5);
  }
}

TEST(Split, OddArgumentsGiveEmptySlices) {
  int local = -1, t = 5, n = 4, total = 100, block = 0;
  orb_serv_divbythreads(&t, &n, &total, &local);
  EXPECT_EQ(local, 0) << "a thread number past the team";
  t = 0, n = 1, total = -3;
  EXPECT_EQ(orb_serv_divbythreads(&t, &n, &total, &local), 0);
  EXPECT_EQ(local, 0) << "a negative total";
  total = 10;
  orb_serv_divbythreadsnb(&t, &n, &total, &block, &local);
  EXPECT_EQ(local, 10) << "a block size of 0 counts as 1";
}

TEST(Lock, ExcludesUnderContention) {
  static volatile int word = 0;
  long counter = 0;       // plain on purpose: only the lock protects it
  std::atomic<int> inside{0};
  std::atomic<bool> overlap{false};
  const int threads = 6, rounds = 20000;
  std::vector<std::thread> team;
  for (int i = 0; i < threads; ++i)
    team.emplace_back([&] {
      for (int r = 0; r < rounds; ++r) {
        orb_serv_lock(&word);
        if (inside.fetch_add(1, std::memory_order_relaxed) != 0) overlap = true;
        counter = counter + 1;
        inside.fetch_sub(1, std::memory_order_relaxed);
        orb_serv_unlock(&word);
      }
    });
  for (auto& t : team) t.join();
  EXPECT_FALSE(overlap.load());
  EXPECT_EQ(counter, long(threads) * rounds);
  EXPECT_EQ(word, 0) << "an unlocked word is zero again";
}

TEST(Lock, PublishesWritesToTheNextHolder) {
  // A writer fills a record under the lock; a reader that sees the flag
  // under the same lock must see the whole record.
  static volatile int word = 0;
  static int data[64];
  static int ready = 0;
  std::thread writer([] {
    orb_serv_lock(&word);
    for (int i = 0; i < 64; ++i) data[i] = i * 3 + 1;
    ready = 1;
    orb_serv_unlock(&word);
  });
  bool seen = false;
  while (!seen) {
    orb_serv_lock(&word);
    if (ready) {
      seen = true;
      for (int i = 0; i < 64; ++i) ASSERT_EQ(data[i], i * 3 + 1);
    }
    orb_serv_unlock(&word);
    orb_serv_thread_yield();
  }
  writer.join();
}

struct team_record {
  std::atomic<int> calls{0};
  std::atomic<std::uint64_t> seen{0};  // bit per thread number
  std::atomic<int> size_mismatch{0};
  int size = -1;
};

void mark(int thread, int team_size, void* context) {
  auto* r = static_cast<team_record*>(context);
  if (thread >= 0 && thread < 64) r->seen.fetch_or(std::uint64_t(1) << thread);
  if (r->calls.fetch_add(1) == 0) r->size = team_size;
  if (team_size < 1) r->size_mismatch = 1;
}

TEST(Parallel, EveryThreadRunsOnceAndAllFinishBeforeReturn) {
  for (int want : {1, 2, 3, 4}) {
    orb_set_num_threads(want);
    EXPECT_EQ(orb_get_max_threads(), want);
    team_record r;
    orb_conv_do_parallel(&mark, &r);
    const int n = r.calls.load();
    ASSERT_GE(n, 1);
    EXPECT_LE(n, want);
    EXPECT_EQ(r.size, n) << "team size as passed to the task";
    EXPECT_EQ(r.seen.load(), (std::uint64_t(1) << n) - 1) << "thread numbers 0 to team size - 1, each once";
    EXPECT_EQ(r.size_mismatch.load(), 0);
  }
  orb_set_num_threads(0);
  EXPECT_GE(orb_get_max_threads(), 1);
  int pl = 0;
  orb_pdepl_pl_get_max_thread(&pl, nullptr);
  EXPECT_EQ(pl, orb_get_max_threads());
}

}  // namespace
