/* Hooks of liborb_core for tests only; not part of the installed headers. */
#ifndef ORB_TEST_HOOKS_H
#define ORB_TEST_HOOKS_H

#ifdef __cplusplus
extern "C" {
#endif

/* Makes the nth allocation from now fail (1 = the next one) through any of
   orb_serv_allocate, orb_serv_malloc, orb_serv_calloc, orb_dft_kepMalloc.
   With persistent non-zero, that one and every later one fail. 0 disarms. */
void orb_test_fail_allocation(long nth, int persistent);
/* Allocations attempted since load, failed ones included. */
long orb_test_allocation_count(void);
/* Blocks handed out and not yet released. */
long orb_test_live_blocks(void);
/* An exported kernel of one build ("avx512", "avx2", "def"), or null when
   that build cannot be loaded here or lacks the name. name is the part after
   the build tag, such as "xddot". */
void* orb_test_kernel(const char* tag, const char* name);
/* The same for a transposition kernel: name is the routine, such as
   "domatcopy2_t" for orb_trans_<tag>_orb_domatcopy2_t. */
void* orb_test_trans_kernel(const char* tag, const char* name);
/* The same for a DFT kernel or table: name such as "cDFTfwd_5_64fc" for
   orb_dft_<tag>_cDFTfwd_5_64fc, or "BATCH_CDFT_32fc". */
void* orb_test_dft_kernel(const char* tag, const char* name);
/* The entry of that name in the core's DFT table (filled from the loaded
   build), or null for a name not listed. */
const void* orb_test_dft_loaded(const char* name);

#ifdef __cplusplus
}
#endif

#endif
