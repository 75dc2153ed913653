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

// The routines the drivers reach through the routine table (the tri_kernel,
// tri_scale and copier slots):
//   ?trsm_kernel_{left,right}_{lower,upper}, ?trmm_kernel_...: views as the
//     engine's ?gemm_ker0, forwarding to ?trsm_kernel_{ll,lu,rl,ru}_0 and
//     ?trmm_kernel_..._0, which take (m, n, k, factor, a, b, c, ldc) as
//     ?gemm_kernel_0 does. Left: a the packed triangle (order m), b the B
//     panel, c B. Right: a the row panel of B, b the packed triangle (order
//     n), c B. The solve writes its result to c and into the panel of B.
//   ?trsm_scale_{left,right}[_unit], ?trmm_scale_{left,right}_unit: the
//     diagonal of a packed triangle made its reciprocal (the copy holds -A),
//     or 1.
//   ?trxm_copy_{left,right}_{lower,upper}: the diagonal block of op(A) into
//     the panel layout of its side, zeros outside the triangle.
#define ORB_TRX_TRI(T, name)                                                                                   \
  ORB_API void ORB_BLAS(name)(const T* one, const orb::engine::blas_matrix* a_panel,                          \
                              const orb::engine::blas_matrix* b_panel, const T* beta,                         \
                              orb::engine::blas_matrix* c, void* scratch);
#define ORB_TRX_TRI0(T, name)                                                                                  \
  ORB_API void ORB_BLAS(name)(const int* m, const int* n, const int* k, const T* factor, T* a, T* b, T* c, int ldc);
#define ORB_TRX_SCALE(T, name)                                                                                 \
  ORB_API void ORB_BLAS(name)(orb::engine::blas_op_params<T> * params, orb::engine::blas_matrix * tri,        \
                              orb::engine::blas_matrix * other);
#define ORB_TRX_COPY(T, name)                                                                                  \
  ORB_API void ORB_BLAS(name)(const orb::engine::blas_matrix* src, orb::engine::blas_matrix* dst, const T* factor);
#define ORB_TRX_OP_DECLS(T, t, op)                                                                             \
  ORB_TRX_TRI(T, t##op##_kernel_left_lower)                                                                    \
  ORB_TRX_TRI(T, t##op##_kernel_left_upper)                                                                    \
  ORB_TRX_TRI(T, t##op##_kernel_right_lower)                                                                   \
  ORB_TRX_TRI(T, t##op##_kernel_right_upper)                                                                   \
  ORB_TRX_TRI0(T, t##op##_kernel_ll_0)                                                                         \
  ORB_TRX_TRI0(T, t##op##_kernel_lu_0)                                                                         \
  ORB_TRX_TRI0(T, t##op##_kernel_rl_0)                                                                         \
  ORB_TRX_TRI0(T, t##op##_kernel_ru_0)
#define ORB_TRX_TABLE_DECLS(T, t)                                                                              \
  ORB_TRX_OP_DECLS(T, t, trsm)                                                                                 \
  ORB_TRX_OP_DECLS(T, t, trmm)                                                                                 \
  ORB_TRX_SCALE(T, t##trsm_scale_left)                                                                         \
  ORB_TRX_SCALE(T, t##trsm_scale_left_unit)                                                                    \
  ORB_TRX_SCALE(T, t##trsm_scale_right)                                                                        \
  ORB_TRX_SCALE(T, t##trsm_scale_right_unit)                                                                   \
  ORB_TRX_SCALE(T, t##trmm_scale_left_unit)                                                                    \
  ORB_TRX_SCALE(T, t##trmm_scale_right_unit)                                                                   \
  ORB_TRX_COPY(T, t##trxm_copy_left_lower)                                                                     \
  ORB_TRX_COPY(T, t##trxm_copy_left_upper)                                                                     \
  ORB_TRX_COPY(T, t##trxm_copy_right_lower)                                                                    \
  ORB_TRX_COPY(T, t##trxm_copy_right_upper)
#define ORB_TRX_ALL(T, t) ORB_TRX_DECLS(T, t) ORB_TRX_TABLE_DECLS(T, t)
ORB_TRX_ALL(float, s)
ORB_TRX_ALL(double, d)
ORB_TRX_ALL(orb_complex8, c)
ORB_TRX_ALL(orb_complex16, z)
#undef ORB_TRX_ALL
#undef ORB_TRX_TABLE_DECLS
#undef ORB_TRX_OP_DECLS
#undef ORB_TRX_COPY
#undef ORB_TRX_SCALE
#undef ORB_TRX_TRI0
#undef ORB_TRX_TRI
#undef ORB_TRX_DECLS
#undef ORB_TRX_DRIVER

// The skinny solves of single precision (a triangle no taller than one
// register strip), in place with no buffers.
ORB_API void ORB_BLAS(strsm_pst)(ORB_TRX_ARGS(float));
ORB_API void ORB_BLAS(ctrsm_pst)(ORB_TRX_ARGS(orb_complex8));

// The older complex solve (ctrsm_v1.cpp): the entry with the public
// arguments, the two sides' walks (alpha applied), the block copiers, the
// solves of one packed block and their tiles.
ORB_API void ORB_BLAS(xctrsm_v1)(ORB_TRX_ARGS(orb_complex8));
ORB_API void ORB_BLAS(ctrsm_left)(const char* side, const char* uplo, const char* transa, const char* diag,
                                  const int* m, const int* n, const orb_complex8* a, const int* lda, orb_complex8* b,
                                  const int* ldb);
ORB_API void ORB_BLAS(ctrsm_right)(const char* side, const char* uplo, const char* transa, const char* diag,
                                   const int* m, const int* n, const orb_complex8* a, const int* lda,
                                   orb_complex8* b, const int* ldb);
ORB_API void ORB_BLAS(ctrsm_copya_a4)(const char* side, const char* uplo, const char* transa, const char* diag,
                                      const int* k, const orb_complex8* a, const int* lda, orb_complex8* dst);
ORB_API void ORB_BLAS(ctrsm_copya_a2)(const char* side, const char* uplo, const char* transa, const char* diag,
                                      const int* k, const orb_complex8* a, const int* lda, orb_complex8* dst);
ORB_API void ORB_BLAS(ctrsm_left_ker)(const int* lower, const int* k, const int* n, const orb_complex8* packed,
                                      orb_complex8* b, const int* ldb);
ORB_API void ORB_BLAS(ctrsm_right_ker)(const int* lower, const int* m, const int* k, const orb_complex8* packed,
                                       orb_complex8* b, const int* ldb);
#define ORB_V1_TILE_DECL(name)                                                                         \
  ORB_API void ORB_BLAS(name)(const int* k, const int* w, const int* s0, const orb_complex8* panel, \
                              orb_complex8* b, const int* ldb, const int* count);
ORB_V1_TILE_DECL(ctrsm_ker_lln_a4_b8)
ORB_V1_TILE_DECL(ctrsm_ker_lun_a4_b8)
ORB_V1_TILE_DECL(ctrsm_ker_rln_a2_b8)
ORB_V1_TILE_DECL(ctrsm_ker_run_a2_b8)
ORB_V1_TILE_DECL(ctrsm_ker_rln_a2_b16)
ORB_V1_TILE_DECL(ctrsm_ker_run_a2_b16)
#undef ORB_V1_TILE_DECL

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

template <class T> engine::driver_fn<T> trx_driver(bool solve, bool right, bool lower);

}  // namespace orb::level3
