// The team primitives under their exported names (see sync.hpp).
#include "dft/backends/sync.hpp"

#include "frame/kernels_dft.hpp"

void ORB_DFTK(balance220)(long total, long grain, int nthreads, int tid, long* start, long* count) {
  orb::dft::balance220_impl(total, grain, nthreads, tid, start, count);
}

void ORB_DFTK(moon_hit_barrier_wait)(orb_dft_barrier* barrier, int role, int nthreads) {
  orb::dft::moon_hit_barrier_wait_impl(barrier, role, nthreads);
}
