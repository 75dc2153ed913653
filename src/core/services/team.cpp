// The GEMM team (team.hpp). Each helper has a mailbox of its own on its own
// cache line: the caller writes the job into the mailboxes of the members it
// needs, bumps their generation and does its own share; each member runs
// its share and counts itself off. After a job a helper spins for a short
// while on its generation, then sleeps on it. A helper that was asleep
// costs some tens of microseconds to wake on a virtual machine, as much as
// the whole of a GEMM of order 128 on two cores, which is why the team does
// not sleep at once as an OpenMP team under a passive wait policy does.
#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>

#ifdef ORB_HAVE_OPENMP
#include <omp.h>
#endif

#include "core/team.hpp"

namespace orb::core {
namespace {

constexpr int kMaxHelpers = 127;
// How long a helper stays awake after a job: longer than the gap between
// the calls of a loop of GEMMs, short enough not to hold a core from the
// rest of the program for long.
constexpr auto kAwake = std::chrono::microseconds(200);
// A waiting thread gives its processor away early and often: on a busy
// machine the member it waits for may be queued behind it on the same
// processor.
constexpr int kSpinsBeforeYield = 100;

inline void cpu_relax() {
#if defined(__i386__) || defined(__x86_64__)
  __builtin_ia32_pause();
#endif
}

struct alignas(64) mailbox {
  std::atomic<std::uint32_t> generation{0};
  std::atomic<std::uint32_t> asleep{0};  // the helper is (about to be) in the futex wait
  std::uint32_t born = 0;  // the generation when the helper was started
  void (*fn)(int, int, void*) = nullptr;  // written before generation moves
  void* context = nullptr;
  int size = 0;
};

mailbox g_box[kMaxHelpers + 1];  // index = thread number; 0 unused
std::atomic<int> g_busy{0};      // a call holds the team
std::atomic<int> g_started{0};   // helpers 1 .. g_started are running
alignas(64) std::atomic<int> g_pending{0};
std::atomic<bool> g_atfork{false};

// The futex calls on a generation word (Linux): sleep while it still holds
// `seen`, wake its sleeper.
void futex_wait(std::atomic<std::uint32_t>& word, std::uint32_t seen) {
  syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAIT_PRIVATE, seen, nullptr, nullptr, 0);
}
void futex_wake(std::atomic<std::uint32_t>& word) {
  syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

// The helper says it sleeps before it looks at the generation a last time,
// the caller moves the generation before it looks whether the helper
// sleeps (both in the one total order of sequentially consistent
// operations): either the helper sees the new generation or the caller
// sees it asleep and wakes it.
void sleep_on(mailbox& box, std::uint32_t seen) {
  box.asleep.store(1, std::memory_order_seq_cst);
  while (box.generation.load(std::memory_order_seq_cst) == seen) futex_wait(box.generation, seen);
  box.asleep.store(0, std::memory_order_relaxed);
}

void* helper_main(void* arg) {
  const int me = int(reinterpret_cast<std::intptr_t>(arg));
  mailbox& box = g_box[me];
  // Not the generation now: the caller may already have posted the first
  // job by the time this thread runs.
  std::uint32_t seen = box.born;
  for (;;) {
    const auto since = std::chrono::steady_clock::now();
    int spins = 0;
    std::uint32_t now;
    while ((now = box.generation.load(std::memory_order_acquire)) == seen) {
      if (++spins % 256 != 0) {
        cpu_relax();
      } else if (std::chrono::steady_clock::now() - since > kAwake) {
        sleep_on(box, seen);
      } else {
        sched_yield();
      }
    }
    seen = now;
    box.fn(me, box.size, box.context);
    g_pending.fetch_sub(1, std::memory_order_acq_rel);
  }
  return nullptr;
}

// A child of fork has none of the parent's helpers.
void forget_helpers() {
  g_started.store(0, std::memory_order_relaxed);
  g_busy.store(0, std::memory_order_relaxed);
}

// Starts helpers until there are `count`; returns how many there are.
int start_helpers(int count) {
  if (count > kMaxHelpers) count = kMaxHelpers;
  int have = g_started.load(std::memory_order_relaxed);
  if (have >= count) return have;
  if (!g_atfork.exchange(true)) pthread_atfork(nullptr, nullptr, forget_helpers);
  pthread_attr_t attr;
  if (pthread_attr_init(&attr) != 0) return have;
  pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  while (have < count) {
    pthread_t id;
    g_box[have + 1].born = g_box[have + 1].generation.load(std::memory_order_relaxed);
    if (pthread_create(&id, &attr, helper_main, reinterpret_cast<void*>(std::intptr_t(have + 1))) != 0) break;
    ++have;
  }
  pthread_attr_destroy(&attr);
  g_started.store(have, std::memory_order_relaxed);
  return have;
}

}  // namespace

int team_run(int want, void (*fn)(int, int, void*), void* context) {
  int expected = 0;
  bool alone = want < 2;
#ifdef ORB_HAVE_OPENMP
  alone = alone || omp_in_parallel();
#endif
  if (alone || !g_busy.compare_exchange_strong(expected, 1, std::memory_order_acquire)) {
    fn(0, 1, context);
    return 1;
  }
  const int helpers = start_helpers(want - 1);
  const int size = helpers + 1 < want ? helpers + 1 : want;
  g_pending.store(size - 1, std::memory_order_relaxed);
  for (int t = 1; t < size; ++t) {
    mailbox& box = g_box[t];
    box.fn = fn;
    box.context = context;
    box.size = size;
    box.generation.fetch_add(1, std::memory_order_seq_cst);
    if (box.asleep.load(std::memory_order_seq_cst)) futex_wake(box.generation);
  }
  fn(0, size, context);
  int spins = 0;
  while (g_pending.load(std::memory_order_acquire) != 0) {
    if (++spins < kSpinsBeforeYield) cpu_relax();
    else sched_yield();
  }
  g_busy.store(0, std::memory_order_release);
  return size;
}

}  // namespace orb::core
