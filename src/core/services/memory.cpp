// Memory services. Every block the library uses comes from here, so that a
// test can make any chosen allocation fail and check the fallback path.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <malloc.h>

#include "orb/orb_service.h"
#include "tests/support/orb_test_hooks.h"

namespace {

std::atomic<long> g_count{0};      // allocations attempted
std::atomic<long> g_live{0};       // blocks out
std::atomic<long> g_fail_at{0};    // attempt number that fails, 0 none
std::atomic<int> g_fail_sticky{0}; // and every later one

bool injected_failure() {
  const long n = g_count.fetch_add(1, std::memory_order_relaxed) + 1;
  const long at = g_fail_at.load(std::memory_order_relaxed);
  if (at == 0) return false;
  return n == at || (g_fail_sticky.load(std::memory_order_relaxed) && n > at);
}

size_t fix_alignment(long alignment) {
  size_t a = alignment <= 0 ? 64 : size_t(alignment);
  if (a & (a - 1)) {  // not a power of two: round up to one
    size_t p = 64;
    while (p < a) p <<= 1;
    a = p;
  }
  if (a < sizeof(void*)) a = sizeof(void*);
  return a;
}

void* aligned_block(size_t bytes, long alignment) {
  if (injected_failure()) return nullptr;
  void* p = nullptr;
  if (posix_memalign(&p, fix_alignment(alignment), bytes ? bytes : 1) != 0) return nullptr;
  g_live.fetch_add(1, std::memory_order_relaxed);
  return p;
}

void release(void* p) {
  if (!p) return;
  g_live.fetch_sub(1, std::memory_order_relaxed);
  std::free(p);
}

// Call-local scratch (orb_serv_allocate / orb_serv_deallocate) comes and
// goes on every call of a packed GEMM or a Fourier transform; for a small
// product the trip through malloc costs as much as the arithmetic, and a
// large block (a transform's work buffer is 16 bytes a point) comes from
// mmap and goes back to the system at every call, so that every call
// faulted its pages in afresh (a third of the time of a transform of 32768
// points). Each thread keeps the last such block it gave back, up to
// kKeptBytes (what other BLAS keep per thread for their buffers), and hands
// it out again when it is large enough, not four times too large, and
// aligned as asked. A kept block is not out: the live count of the tests
// does not include it.
constexpr size_t kKeptBytes = size_t(64) << 20;

struct kept_block {
  void* p = nullptr;
  size_t bytes = 0;
  ~kept_block() { std::free(p); }
};
thread_local kept_block t_kept;

void* scratch_block(size_t bytes, long alignment) {
  if (injected_failure()) return nullptr;
  const size_t a = fix_alignment(alignment);
  kept_block& k = t_kept;
  if (k.p && k.bytes >= bytes && k.bytes <= 4 * bytes + 4096 && reinterpret_cast<uintptr_t>(k.p) % a == 0) {
    void* p = k.p;
    k.p = nullptr;
    g_live.fetch_add(1, std::memory_order_relaxed);
    return p;
  }
  void* p = nullptr;
  // Rounded up to a whole number of 4 KiB so that a kept block fits the
  // next call of about the same size.
  const size_t rounded = bytes <= kKeptBytes ? (bytes + 4095) & ~size_t(4095) : bytes;
  if (posix_memalign(&p, a, rounded ? rounded : 1) != 0) return nullptr;
  g_live.fetch_add(1, std::memory_order_relaxed);
  return p;
}

void release_scratch(void* p) {
  if (!p) return;
  g_live.fetch_sub(1, std::memory_order_relaxed);
  const size_t bytes = malloc_usable_size(p);
  if (bytes > kKeptBytes) {
    std::free(p);
    return;
  }
  kept_block& k = t_kept;
  std::free(k.p);
  k.p = p;
  k.bytes = bytes;
}

}  // namespace

extern "C" {

void* orb_serv_allocate(size_t bytes, int alignment) { return scratch_block(bytes, alignment); }
void orb_serv_deallocate(void* p) { release_scratch(p); }
void* orb_serv_malloc(size_t bytes, int alignment) { return aligned_block(bytes, alignment); }

void* orb_serv_calloc(size_t count, size_t element_size, int alignment) {
  if (element_size && count > size_t(-1) / element_size) {
    injected_failure();
    return nullptr;
  }
  void* p = aligned_block(count * element_size, alignment);
  if (p) std::memset(p, 0, count * element_size);
  return p;
}

void orb_serv_free(void* p) { release(p); }

void* orb_dft_kepMalloc(int bytes) {
  if (bytes < 0) return nullptr;
  return aligned_block(size_t(bytes), 64);
}
void orb_dft_kepFree(void* p) { release(p); }

int orb_serv_check_ptr(const void* p, const char*) { return p ? 0 : 1; }

int orb_serv_check_ptr_and_warn(const void* p, const char* routine) {
  if (p) return 0;
  std::fprintf(stderr, "orb warning: %s could not get its work buffer and continues without it\n",
               routine ? routine : "a routine");
  return 1;
}

void orb_test_fail_allocation(long nth, int persistent) {
  g_fail_sticky.store(persistent ? 1 : 0);
  g_fail_at.store(nth > 0 ? g_count.load() + nth : 0);
}
long orb_test_allocation_count(void) { return g_count.load(); }
long orb_test_live_blocks(void) { return g_live.load(); }

}  // extern "C"
