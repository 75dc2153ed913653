// The process-wide table of generated GEMM kernels.
//
// The table holds only the head of each of its 4096 bucket lists; entries
// carry their own links and are built, searched and freed by the kernel
// library. What lives here is the storage of the heads, a reader-writer
// lock per bucket and the count of kernels with its mutex. The callers take
// a bucket lock before the counter mutex, never the other way round.
#include <atomic>
#include <mutex>
#include <shared_mutex>

#include "orb/orb_service.h"

namespace {

constexpr int kBuckets = 4096;

// Each bucket on its own cache line, so that readers of neighbouring
// buckets do not bounce one line between processors.
struct alignas(64) bucket {
  std::shared_mutex lock;
  std::atomic<void*> head{nullptr};
};

bucket g_buckets[kBuckets];
std::mutex g_count_mutex;
std::atomic<int> g_count{0};

// The callers form indices by masking with 0xfff; anything else is refused
// (no lock, no store, a null head) rather than reaching outside the table.
bucket* at(int index) { return (index >= 0 && index < kBuckets) ? &g_buckets[index] : nullptr; }

}  // namespace

extern "C" {

void orb__blas_lock_total_jits(void) { g_count_mutex.lock(); }
void orb__blas_unlock_total_jits(void) { g_count_mutex.unlock(); }
int orb__blas_get_total_jits(void) { return g_count.load(std::memory_order_relaxed); }

void orb__blas_incr_number_jits(int index) {
  if (at(index)) g_count.fetch_add(1, std::memory_order_relaxed);
}

void orb__blas_read_lock_jit_hashtable(int index) {
  if (bucket* b = at(index)) b->lock.lock_shared();
}
void orb__blas_read_unlock_jit_hashtable(int index) {
  if (bucket* b = at(index)) b->lock.unlock_shared();
}
void orb__blas_write_lock_jit_hashtable(int index) {
  if (bucket* b = at(index)) b->lock.lock();
}
void orb__blas_write_unlock_jit_hashtable(int index) {
  if (bucket* b = at(index)) b->lock.unlock();
}

// The caller holds the bucket's lock; the lock orders these accesses, the
// atomics only keep a stray unlocked reader well defined.
void orb__blas_read_no_lock_jit_hashtable(void** slot, int index) {
  if (!slot) return;
  bucket* b = at(index);
  *slot = b ? b->head.load(std::memory_order_acquire) : nullptr;
}

void orb__blas_write_jit_hashtable(void* entry, int index) {
  if (bucket* b = at(index)) b->head.store(entry, std::memory_order_release);
}

}  // extern "C"
