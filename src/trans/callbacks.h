// The threaded forms of the transposition routines, which live in the core:
// the kernels decide when a call is worth a team, hand it over here with
// the serial routine that does the work, and the core calls that routine on
// ranges of rows, columns or matrices from its own threads. The serial
// routine comes with the call, so the work stays in the build that asked.
#pragma once

#include <stddef.h>

#include "orb/orb_types.h"

#define ORB_TRANS_CALLBACKS(x, T)                                                                         \
  typedef void (*orb_trans_##x##copy2_fn)(char, char, size_t, size_t, T, const T*, size_t, size_t, T*,   \
                                          size_t, size_t);                                               \
  typedef void (*orb_trans_##x##add_fn)(char, char, char, size_t, size_t, T, const T*, size_t, T,        \
                                        const T*, size_t, T*, size_t);                                   \
  typedef void (*orb_trans_##x##team_fn)(int, int, size_t, T*, size_t);                                  \
  void orb_trans_orb_##x##omatcopy2_par(char ordering, char trans, size_t rows, size_t cols, T alpha,    \
                                        const T* a, size_t lda, size_t stridea, T* b, size_t ldb,        \
                                        size_t strideb, orb_trans_##x##copy2_fn seq);                    \
  void orb_trans_orb_##x##omatadd_par(char ordering, char transa, char transb, size_t rows, size_t cols, \
                                      T alpha, const T* a, size_t lda, T beta, const T* b, size_t ldb,   \
                                      T* c, size_t ldc, orb_trans_##x##add_fn seq);                      \
  void orb_trans_orb_##x##omatcopy_batch_par(char ordering, const char* trans, const size_t* rows,       \
                                             const size_t* cols, const T* alpha, const T* const* a,      \
                                             const size_t* lda, T* const* b, const size_t* ldb,          \
                                             size_t groups, const size_t* group_size,                    \
                                             orb_trans_##x##copy2_fn seq);                               \
  void orb_trans_orb_##x##omatcopy_batch_strided_par(char ordering, char trans, size_t rows, size_t cols, \
                                                     T alpha, const T* a, size_t lda, size_t stride_a,   \
                                                     T* b, size_t ldb, size_t stride_b, size_t count,    \
                                                     orb_trans_##x##copy2_fn seq);                       \
  void orb_trans_orb_##x##omatadd_batch_strided_par(                                                     \
      char ordering, char transa, char transb, size_t rows, size_t cols, T alpha, const T* a, size_t lda, \
      size_t stride_a, T beta, const T* b, size_t ldb, size_t stride_b, T* c, size_t ldc, size_t stride_c, \
      size_t count, orb_trans_##x##add_fn one);                                                          \
  /* Runs team(thread, team size, n, ab, lda) on the core's team; 0 when    \
     there is no team to run it on (the caller then does the work). */      \
  int orb_trans_orb_##x##imatcopy_square_t_par(size_t n, T* ab, size_t lda, orb_trans_##x##team_fn team);

#ifdef __cplusplus
extern "C" {
#endif
ORB_TRANS_CALLBACKS(s, float)
ORB_TRANS_CALLBACKS(d, double)
ORB_TRANS_CALLBACKS(c, orb_complex8)
ORB_TRANS_CALLBACKS(z, orb_complex16)
#ifdef __cplusplus
}
#endif
#undef ORB_TRANS_CALLBACKS
