// The team primitives of the DFT kernels: a static partition of a range
// among the members of a team, and a spinning barrier whose counters only
// grow. Inline here for the kernels of this library; exported in sync.cpp
// under their list names for callers outside it.
#pragma once

#include <cstdint>

#include "dft/dft_types.h"

namespace orb::dft {

// Member tid's share [start, start + count) of total units dealt in blocks
// of grain, ceil(blocks / nthreads) blocks to each member until they run
// out; the member that reaches the end is cut short there.
inline void balance220_impl(long total, long grain, int nthreads, int tid, long* start, long* count) {
  if (nthreads < 2 || total == 0) {
    *start = 0;
    *count = total;
    return;
  }
  if (grain <= 1) {
    const long c = (total + nthreads - 1) / nthreads;
    const long k = total / c;
    *start = tid * c;
    *count = tid < k ? c : tid == k ? total - c * k : 0;
    return;
  }
  const long b = (total + grain - 1) / grain;
  const long c = (b + nthreads - 1) / nthreads;
  const long k = c ? b / c : -1;
  *start = tid * grain * c;
  long blocks = k < 0 ? 0 : tid < k ? c : tid == k ? b - c * k : 0;
  long n = blocks * grain;
  if (blocks > 0 && *start + n > total) {
    n -= grain - total % grain;
    if (n < 0) n = 0;
  }
  *count = n;
}

// The leader (role 0) waits for the other nthreads - 1 to arrive, then
// releases them; the counters never reset, each wait moves the target on.
// It spins on purpose: the team's members run on cores of their own.
inline void moon_hit_barrier_wait_impl(orb_dft_barrier* b, int role, int nthreads) {
  if (nthreads <= 1) return;
  const int64_t target = __atomic_load_n(&b->released, __ATOMIC_ACQUIRE) + nthreads - 1;
  if (role == 0) {
    while (__atomic_load_n(&b->arrived, __ATOMIC_ACQUIRE) < target) {
    }
    __atomic_store_n(&b->released, target, __ATOMIC_RELEASE);
  } else {
    int64_t seen = __atomic_load_n(&b->arrived, __ATOMIC_RELAXED);
    while (!__atomic_compare_exchange_n(&b->arrived, &seen, seen + 1, true, __ATOMIC_ACQ_REL, __ATOMIC_RELAXED)) {
    }
    while (__atomic_load_n(&b->released, __ATOMIC_ACQUIRE) < target) {
    }
  }
}

}  // namespace orb::dft
