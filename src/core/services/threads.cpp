// Locks, work splitting and the one parallel region the core runs for the
// kernels (orb_conv_do_parallel). The kernel libraries create no threads;
// the team here is OpenMP's when the core is built with it, one thread
// otherwise.
#include <sched.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <thread>

#ifdef ORB_HAVE_OPENMP
#include <omp.h>
#endif

#include "orb/orb_service.h"

namespace {

// A lock word is taken by swapping in 1 (acquire) and released by storing
// 0 (release). While it is held the waiters only read it, so the cache line
// stays shared until it is freed; after a while of spinning they give the
// processor away so that a holder that was preempted can run.
constexpr int kSpinsBeforeYield = 1000;

inline void cpu_relax() {
#if defined(__i386__) || defined(__x86_64__)
  __builtin_ia32_pause();
#endif
}

int positive_env(const char* name) {
  const char* v = std::getenv(name);
  if (!v || !*v) return 0;
  char* end = nullptr;
  const long n = std::strtol(v, &end, 10);  // OMP_NUM_THREADS may be a list: take its first entry
  if (end == v || n <= 0) return 0;
  return n > 1 << 16 ? 1 << 16 : int(n);
}

int available_processors() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof(set), &set) == 0) {
    const int n = CPU_COUNT(&set);
    if (n > 0) return n;
  }
  const unsigned h = std::thread::hardware_concurrency();
  return h ? int(h) : 1;
}

int default_threads() {
  static const int n = [] {
    if (int v = positive_env("ORB_NUM_THREADS")) return v;
    if (int v = positive_env("OMP_NUM_THREADS")) return v;
    return available_processors();
  }();
  return n;
}

std::atomic<int> g_requested_threads{0};  // orb_set_num_threads; 0 means the default

// One thread's slice of total items, in units: the first total % nthr
// threads get one unit more. Computed in 64 bits so that no product of the
// 32-bit arguments can overflow.
struct slice {
  std::int64_t first, length;
};
slice split(std::int64_t ithr, std::int64_t nthr, std::int64_t total) {
  if (total <= 0 || nthr <= 0 || ithr < 0 || ithr >= nthr) return {total > 0 ? total : 0, 0};
  const std::int64_t base = total / nthr, extra = total % nthr;
  const std::int64_t first = ithr * base + (ithr < extra ? ithr : extra);
  return {first, base + (ithr < extra ? 1 : 0)};
}

}  // namespace

extern "C" {

void orb_serv_lock(volatile int* word) {
  int* w = const_cast<int*>(word);
  for (;;) {
    if (__atomic_exchange_n(w, 1, __ATOMIC_ACQUIRE) == 0) return;
    int spins = 0;
    while (__atomic_load_n(w, __ATOMIC_RELAXED) != 0) {
      if (++spins < kSpinsBeforeYield) {
        cpu_relax();
      } else {
        orb_serv_thread_yield();
        spins = 0;
      }
    }
  }
}

void orb_serv_unlock(volatile int* word) { __atomic_store_n(const_cast<int*>(word), 0, __ATOMIC_RELEASE); }

void orb_serv_thread_yield(void) { sched_yield(); }

// A thread number outside 0..nthr-1, a count below 1 or an empty total give
// local length 0, starting at the end of the work.
int orb_serv_divbythreads(const int* ithr, const int* nthr, const int* total, int* local) {
  const slice s = split(*ithr, *nthr, *total);
  *local = int(s.length);
  return int(s.first);
}

// Whole blocks are dealt out evenly; the last block may be short, and it
// falls to the last thread that has any work. A block size below 1 counts
// as 1.
int orb_serv_divbythreadsnb(const int* ithr, const int* nthr, const int* total, const int* block,
                            int* local) {
  const std::int64_t n = *total > 0 ? *total : 0;
  const std::int64_t b = *block > 0 ? *block : 1;
  const slice blocks = split(*ithr, *nthr, (n + b - 1) / b);
  std::int64_t first = blocks.first * b, end = (blocks.first + blocks.length) * b;
  if (first > n) first = n;
  if (end > n) end = n;
  *local = int(end - first);
  return int(first);
}

int orb_get_max_threads(void) {
  const int r = g_requested_threads.load(std::memory_order_relaxed);
  return r > 0 ? r : default_threads();
}

void orb_set_num_threads(int n) { g_requested_threads.store(n > 0 ? n : 0, std::memory_order_relaxed); }

// Inside an enclosing parallel region OpenMP runs a nested region on one
// thread (nesting is off by default), so the work is never oversubscribed.
void orb_conv_do_parallel(void (*fn)(int thread, int team_size, void* context), void* context) {
  if (!fn) return;
#ifdef ORB_HAVE_OPENMP
  const int want = orb_get_max_threads();
  if (want > 1 && !omp_in_parallel()) {
#pragma omp parallel num_threads(want)
    fn(omp_get_thread_num(), omp_get_num_threads(), context);
    return;
  }
#endif
  fn(0, 1, context);
}

void orb_pdepl_pl_get_max_thread(int* result, void* /*unused*/) {
  if (result) *result = orb_get_max_threads();
}

}  // extern "C"
