// Triangular solve and product with many right-hand sides (TRSM, TRMM) and
// the packed-triangle product (PTRMM): the routines of the kernel library
// that are not in the kernel list, for the family's own sources and tests.
//
// All routines taking the public routine's arguments take them as the
// public routine does, by address: (side, uplo, transa, diag, m, n, alpha,
// a, lda, b, ldb), column-major, complex interleaved. The packed forms drop
// lda: A is a triangle of order m (side "L") or n (side "R") stored by
// columns as the packed level-2 routines store it.
#pragma once

#include "blas/engine/engine.hpp"

#define ORB_TRX_ARGS(T)                                                                                  \
  const char *side, const char *uplo, const char *transa, const char *diag, const int *m, const int *n, \
      const T *alpha, const T *a, const int *lda, T *b, const int *ldb
#define ORB_PTRX_ARGS(T)                                                                                 \
  const char *side, const char *uplo, const char *transa, const char *diag, const int *m, const int *n, \
      const T *alpha, const T *ap, T *b, const int *ldb

// The drivers of the routine table: one per side and effective triangle
// (the triangle of op(A)), the same for both routines' records.
#define ORB_TRX_DRIVER(T, name)                                                                             \
  ORB_API int ORB_BLAS(name)(orb::engine::blas_op_params<T> * params, orb::engine::blas_matrix * a,         \
                             orb::engine::blas_matrix * b, orb::engine::blas_matrix * c,                    \
                             orb::engine::gemm_buffers * buffers, orb::engine::gemm_kernel_info<T> * info);
#define ORB_TRX_DECLS(T, t)                                            \
  ORB_TRX_DRIVER(T, x##t##trsm_left_lower_fullacopybcopy)              \
  ORB_TRX_DRIVER(T, x##t##trsm_left_upper_fullacopybcopy)              \
  ORB_TRX_DRIVER(T, x##t##trsm_right_lower_fullacopybcopy)             \
  ORB_TRX_DRIVER(T, x##t##trsm_right_upper_fullacopybcopy)             \
  ORB_TRX_DRIVER(T, x##t##trmm_left_lower_fullacopybcopy)              \
  ORB_TRX_DRIVER(T, x##t##trmm_left_upper_fullacopybcopy)              \
  ORB_TRX_DRIVER(T, x##t##trmm_right_lower_fullacopybcopy)             \
  ORB_TRX_DRIVER(T, x##t##trmm_right_upper_fullacopybcopy)
ORB_TRX_DECLS(float, s)
ORB_TRX_DECLS(double, d)
ORB_TRX_DECLS(orb_complex8, c)
ORB_TRX_DECLS(orb_complex16, z)
#undef ORB_TRX_DECLS
#undef ORB_TRX_DRIVER

// The small-size product (left with m <= 10, right with n <= 10).
ORB_API void ORB_BLAS(strmm_sm)(ORB_TRX_ARGS(float));
ORB_API void ORB_BLAS(dtrmm_sm)(ORB_TRX_ARGS(double));

// Packed triangle: _copya unpacks A into call-local scratch and runs the
// blocked product on it; _pst reads the packed triangle in place and needs
// no memory (the path when the scratch cannot be had).
ORB_API void ORB_BLAS(sptrmm_pst)(ORB_PTRX_ARGS(float));
ORB_API void ORB_BLAS(dptrmm_pst)(ORB_PTRX_ARGS(double));
ORB_API int ORB_BLAS(sptrmm_copya)(ORB_PTRX_ARGS(float));
ORB_API int ORB_BLAS(dptrmm_copya)(ORB_PTRX_ARGS(double));

namespace orb::level3 {

// Order of the diagonal blocks of the blocked drivers: the GEMM updates
// between them have this K, so every thread count sees the same sums.
template <class T> constexpr int trx_block() { return engine::gemm_traits<T>::comps == 2 ? 64 : 128; }

template <class T> engine::driver_fn<T> trx_driver(bool solve, bool right, bool lower);

}  // namespace orb::level3
