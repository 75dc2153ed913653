// Complex products built on the real GEMM: the three-product form
// (x?gemm3m) and the real-by-complex forms (xdzgemm, xscgemm). Both keep
// their operands in real planes of their own and multiply them through the
// public orb_blas_?gemm, so the core's threads and the engine's paths
// serve them as they serve any real GEMM.
#pragma once

#include "blas/engine/paths.hpp"

namespace orb::level3 {

// The copiers' complex scaling, (sr + i si)(vr + i vi), as separate
// products and sums: these planes feed a real GEMM, and every build must
// round them alike.
template <class R>
inline void scale_by(R sr, R si, R& vr, R& vi) {
  const R tr = sr * vr - si * vi;
  const R ti = sr * vi + si * vr;
  vr = tr, vi = ti;
}

// Element (i, j) of op(X), op 'N', 'T' or 'C', for a complex X stored
// column-major (interleaved parts, leading dimension ld in elements),
// scaled by (sr, si) when `scaled`.
template <class R>
inline void op_element(char op, const R* x, ptrdiff_t ld, int i, int j, bool scaled, R sr, R si, R& vr, R& vi) {
  const R* v = op == 'N' ? x + 2 * (i + j * ld) : x + 2 * (j + i * ld);
  vr = v[0], vi = op == 'C' ? -v[1] : v[1];
  if (scaled) scale_by(sr, si, vr, vi);
}

}  // namespace orb::level3

// Plane copiers of the three-product form. Each splits a rows x cols block
// of op(X) into three real planes of leading dimension ldp: real parts,
// imaginary parts and their sum. x points at the block's first element as
// stored (column-major, leading dimension ldx); the suffix names the
// operator ("n" as stored, "t" transposed, "c" conjugate-transposed). The A
// side multiplies each element by alpha on the way.
#define ORB_3M_COPYA_ARGS(C, R) \
  int rows, int cols, const C *x, int ldx, const C *alpha, R *re, R *im, R *sum, int ldp
#define ORB_3M_COPYB_ARGS(C, R) int rows, int cols, const C *x, int ldx, R *re, R *im, R *sum, int ldp
#define ORB_3M_COPY_DECLS(x, C, R)                                           \
  ORB_API void ORB_BLAS(x##gemm3m_copyan)(ORB_3M_COPYA_ARGS(C, R));          \
  ORB_API void ORB_BLAS(x##gemm3m_copyat)(ORB_3M_COPYA_ARGS(C, R));          \
  ORB_API void ORB_BLAS(x##gemm3m_copyac)(ORB_3M_COPYA_ARGS(C, R));          \
  ORB_API void ORB_BLAS(x##gemm3m_copybn)(ORB_3M_COPYB_ARGS(C, R));          \
  ORB_API void ORB_BLAS(x##gemm3m_copybt)(ORB_3M_COPYB_ARGS(C, R));          \
  ORB_API void ORB_BLAS(x##gemm3m_copybc)(ORB_3M_COPYB_ARGS(C, R));
ORB_3M_COPY_DECLS(c, orb_complex8, float)
ORB_3M_COPY_DECLS(z, orb_complex16, double)
#undef ORB_3M_COPY_DECLS

// Helpers of the real-by-complex form (x = dz or sc; C complex, R real).
//   _copyb     alpha * op(B), a k x cols block, into real and imaginary
//              planes of leading dimension ldp
//   _copyc_fwd beta * C, a rows x cols block, into two planes
//   _copyc_bwd the two planes back into C, interleaved
//   _getbufs   the planes of B for k rows (null when memory is out);
//              _getbufs_c the planes of one block of C; _freebufs gives
//              either back (null is allowed)
//   _mscale    C = beta * C (beta 0 stores zeros)
//   _pst       the whole product directly, no buffers: any sizes
#define ORB_MIXED_DECLS(x, C, R)                                                                              \
  ORB_API void ORB_BLAS(x##gemm_copyb)(const char *transb, int k, int cols, const C *b, int ldb, const C *alpha, \
                                       R *re, R *im, int ldp);                                                 \
  ORB_API void ORB_BLAS(x##gemm_copyc_fwd)(int rows, int cols, const C *c, int ldc, const C *beta, R *re,     \
                                           R *im, int ldp);                                                    \
  ORB_API void ORB_BLAS(x##gemm_copyc_bwd)(int rows, int cols, const R *re, const R *im, int ldp, C *c,       \
                                           int ldc);                                                           \
  ORB_API void *ORB_BLAS(x##gemm_getbufs)(int k);                                                              \
  ORB_API void *ORB_BLAS(x##gemm_getbufs_c)(void);                                                             \
  ORB_API void ORB_BLAS(x##gemm_freebufs)(void *block);                                                        \
  ORB_API void ORB_BLAS(x##gemm_mscale)(int rows, int cols, const C *beta, C *c, int ldc);                     \
  ORB_API void ORB_BLAS(x##gemm_pst)(const char *transa, const char *transb, const int *m, const int *n,       \
                                     const int *k, const C *alpha, const R *a, const int *lda, const C *b,     \
                                     const int *ldb, const C *beta, C *c, const int *ldc);
ORB_MIXED_DECLS(sc, orb_complex8, float)
ORB_MIXED_DECLS(dz, orb_complex16, double)
#undef ORB_MIXED_DECLS
