// The GEMM paths that need no packed buffers: narrow-n dot-product kernels,
// the no-copy driver with its register kernels, the unrolled tiny complex
// products and the direct routines that also serve as the fallback when a
// packed driver cannot get memory.
//
// All routines taking the public routine's arguments take them as the
// public routine does: thirteen addresses (transa, transb, m, n, k, alpha,
// a, lda, b, ldb, beta, c, ldc), column-major, complex interleaved.
#pragma once

#include "frame/kernels.hpp"
#include "orb/orb_types.h"

#define ORB_GEMM_ARGS(T)                                                                      \
  const char *transa, const char *transb, const int *m, const int *n, const int *k,          \
      const T *alpha, const T *a, const int *lda, const T *b, const int *ldb, const T *beta, \
      T *c, const int *ldc

// transa "T", transb "N", narrow n: columns of C in groups of three, the
// remainder (n mod 3) served first in groups of two.
ORB_API void ORB_BLAS(dgemm_t_smalln)(ORB_GEMM_ARGS(double));
ORB_API void ORB_BLAS(sgemm_t_smalln)(ORB_GEMM_ARGS(float));

// One group of two or three columns (width) for dgemm_t_smalln: dot
// products of the columns of A with those of B. The _b0 forms store
// alpha * A'B without reading C (beta is not read).
#define ORB_GEMM_T_N23_ARGS(T)                                                              \
  const int *m, const int *k, const T *alpha, const T *a, const int *lda, const int *width, \
      const T *b, const int *ldb, const T *beta, T *c, const int *ldc
ORB_API void ORB_BLAS(dgemm_t_n23)(ORB_GEMM_T_N23_ARGS(double));
ORB_API void ORB_BLAS(dgemm_t_n23_b0)(ORB_GEMM_T_N23_ARGS(double));
ORB_API void ORB_BLAS(sgemm_t_n23)(ORB_GEMM_T_N23_ARGS(float));
ORB_API void ORB_BLAS(sgemm_t_n23_b0)(ORB_GEMM_T_N23_ARGS(float));

// Both "N" and n == 2.
ORB_API void ORB_BLAS(dgemm_n_smalln)(ORB_GEMM_ARGS(double));

// No-copy register kernels: C(mb x nb) = alpha op(A) op(B) + beta C with A
// and B read where they lie. _b0 stores without reading C, _b1 adds to C,
// _bn scales C by beta.
#define ORB_NOCOPY_ARGS(T)                                                                  \
  int mb, int nb, int kb, const T *alpha, const T *a, int lda, const T *b, int ldb,        \
      const T *beta, T *c, int ldc
#define ORB_NOCOPY_DECL(T, x, op)                                               \
  ORB_API void ORB_BLAS(x##gemm_kernel_nocopy_##op##_b0)(ORB_NOCOPY_ARGS(T)); \
  ORB_API void ORB_BLAS(x##gemm_kernel_nocopy_##op##_b1)(ORB_NOCOPY_ARGS(T)); \
  ORB_API void ORB_BLAS(x##gemm_kernel_nocopy_##op##_bn)(ORB_NOCOPY_ARGS(T));
ORB_NOCOPY_DECL(double, d, NN)
ORB_NOCOPY_DECL(double, d, NT)
ORB_NOCOPY_DECL(double, d, TN)
ORB_NOCOPY_DECL(double, d, TT)
ORB_NOCOPY_DECL(float, s, NN)
ORB_NOCOPY_DECL(float, s, NT)
ORB_NOCOPY_DECL(float, s, TN)
ORB_NOCOPY_DECL(float, s, TT)
#undef ORB_NOCOPY_DECL
typedef void (*orb_nocopy_kernel_d)(ORB_NOCOPY_ARGS(double));
typedef void (*orb_nocopy_kernel_s)(ORB_NOCOPY_ARGS(float));

// Tiny complex products: 3 <= m, n <= 10, 1 <= k <= 10, beta exactly (1, 0),
// so they only add to C. cgemm_sm_01_10 dispatches on k to cgemm_sm_01 ...
// cgemm_sm_10, each with k unrolled completely.
ORB_API void ORB_BLAS(cgemm_sm_01_10)(ORB_GEMM_ARGS(orb_complex8));
ORB_API void ORB_BLAS(zgemm_sm_01_10)(ORB_GEMM_ARGS(orb_complex16));
#define ORB_SM_DECL(nn)                                                  \
  ORB_API void ORB_BLAS(cgemm_sm_##nn)(ORB_GEMM_ARGS(orb_complex8)); \
  ORB_API void ORB_BLAS(zgemm_sm_##nn)(ORB_GEMM_ARGS(orb_complex16));
ORB_SM_DECL(01)
ORB_SM_DECL(02)
ORB_SM_DECL(03)
ORB_SM_DECL(04)
ORB_SM_DECL(05)
ORB_SM_DECL(06)
ORB_SM_DECL(07)
ORB_SM_DECL(08)
ORB_SM_DECL(09)
ORB_SM_DECL(10)
#undef ORB_SM_DECL

// Direct GEMM with no buffers and no block loops: any sizes, any operators,
// any alpha and beta. Allocates nothing, so it cannot fail.
ORB_API void ORB_BLAS(sgemm_pst)(ORB_GEMM_ARGS(float));
ORB_API void ORB_BLAS(dgemm_pst)(ORB_GEMM_ARGS(double));
ORB_API void ORB_BLAS(cgemm_pst)(ORB_GEMM_ARGS(orb_complex8));
ORB_API void ORB_BLAS(zgemm_pst)(ORB_GEMM_ARGS(orb_complex16));

namespace orb::engine {
// The whole-call entries of each type, for code written once over the
// types: x?gemm, the packed branch x?gemm_packed, the direct ?gemm_pst.
template <class T> struct gemm_entries;
#define ORB_GEMM_ENTRIES(T, t)                                   \
  template <> struct gemm_entries<T> {                           \
    static constexpr auto gemm = ORB_BLAS(x##t##gemm);           \
    static constexpr auto packed = ORB_BLAS(x##t##gemm_packed);  \
    static constexpr auto pst = ORB_BLAS(t##gemm_pst);           \
  };
ORB_GEMM_ENTRIES(float, s)
ORB_GEMM_ENTRIES(double, d)
ORB_GEMM_ENTRIES(orb_complex8, c)
ORB_GEMM_ENTRIES(orb_complex16, z)
#undef ORB_GEMM_ENTRIES
}  // namespace orb::engine

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "blas/engine/paths_route.hpp"
#include "frame/simd.hpp"

// Helpers shared by the translation units of these paths.
namespace orb::paths {

// The no-copy driver's work from the call's own values: ta and tb are the
// operator letters, upper case ('N', 'T', 'C'; any other reads as 'T').
void nocopy_gemm(char ta, char tb, int m, int n, int k, const double* alpha, const double* a, int lda,
                 const double* b, int ldb, const double* beta, double* c, int ldc);
void nocopy_gemm(char ta, char tb, int m, int n, int k, const float* alpha, const float* a, int lda, const float* b,
                 int ldb, const float* beta, float* c, int ldc);

// The packed driver's result for K from 1 to kOnePassMaxK (which one K
// block of that driver always covers), computed in one pass over C with no
// allocated buffers (onepass.cpp). ta and tb as for nocopy_gemm.
inline constexpr int kOnePassMaxK = 64;
template <class T>
void onepass_gemm(char ta, char tb, int m, int n, int k, const T* alpha, const T* a, int lda, const T* b, int ldb,
                  const T* beta, T* c, int ldc);

using simd::vec;
using std::ptrdiff_t;

// Operator letter folded to 'N', 'T' or 'C' (any other letter reads as 'T',
// like the address functions of the views do).
inline char op_of(const char* t) {
  const char u = char(*t & ~32);
  return u == 'N' ? 'N' : u == 'C' ? 'C' : 'T';
}

template <class C> struct real_of { using type = C; };
template <> struct real_of<orb_complex8> { using type = float; };
template <> struct real_of<orb_complex16> { using type = double; };

// Lane patterns of the complex kernels, read from constant memory (a
// vector assembled on the stack costs a stalled store-to-load forward).
// Lane i of the first vector of each: odd is i & 1, minus_plus is -1 on
// even lanes and 1 on odd ones.
template <class T>
struct lane_patterns {
  alignas(64) static constexpr T odd[16] = {0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1};
  alignas(64) static constexpr T minus_plus[16] = {-1, 1, -1, 1, -1, 1, -1, 1, -1, 1, -1, 1, -1, 1, -1, 1};
};

// Complex product x * y, each part with one fused step: the same bits on
// every build.
template <class T>
inline void cmul(T xr, T xi, T yr, T yi, T& zr, T& zi) {
  zr = std::fma(xr, yr, -(xi * yi));
  zi = std::fma(xr, yi, xi * yr);
}

// beta applied to an m-row column of a real C: 0 stores zeros (so a NaN
// there goes away), 1 leaves it, anything else multiplies.
template <class T>
inline void scale_column(int m, T beta, T* c) {
  using V = vec<T>;
  constexpr int N = V::N;
  if (beta == T(1)) return;
  int i = 0;
  if (beta == T(0)) {
    const V z = V::zero();
    for (; i + N <= m; i += N) z.storeu(c + i);
    if (i < m) z.store_mask(c + i, m - i);
    return;
  }
  const V vb = V::set1(beta);
  for (; i + N <= m; i += N) (vb * V::loadu(c + i)).storeu(c + i);
  if (i < m) (vb * V::load_mask(c + i, m - i)).store_mask(c + i, m - i);
}

// The same for a complex column of m elements (interleaved).
template <class T>
inline void scale_column_complex(int m, T br, T bi, T* c) {
  if (br == T(1) && bi == T(0)) return;
  if (br == T(0) && bi == T(0)) {
    scale_column<T>(2 * m, T(0), c);
    return;
  }
  for (int i = 0; i < m; ++i) {
    T zr, zi;
    cmul(br, bi, c[2 * i], c[2 * i + 1], zr, zi);
    c[2 * i] = zr, c[2 * i + 1] = zi;
  }
}

}  // namespace orb::paths

// ---- Routines on the engine's records (blas/engine/engine.hpp) -------------
namespace orb::engine {
template <class T> struct blas_op_params;
struct blas_matrix;
struct gemm_buffers;
template <class T> struct gemm_kernel_info;
}  // namespace orb::engine

// The no-copy driver, reached through `driver` of the kernel table when the
// strategy asks for no copies. It takes A and B in place, writes only C,
// ignores buffers and info, and returns 0.
#define ORB_NOCOPY_DRIVER_DECL(T, x)                                                                         \
  ORB_API int ORB_BLAS(x##gemm_nocopy_driver)(                                                              \
      orb::engine::blas_op_params<T> * params, orb::engine::blas_matrix * a, orb::engine::blas_matrix * b, \
      orb::engine::blas_matrix * c, orb::engine::gemm_buffers * buffers, orb::engine::gemm_kernel_info<T> * info);
ORB_NOCOPY_DRIVER_DECL(double, xd)
ORB_NOCOPY_DRIVER_DECL(float, xs)
#undef ORB_NOCOPY_DRIVER_DECL

// The path with no buffers for any level-3 operation: `fallback` of the
// kernel table. GEMM (and any operation without a routine of its own) goes
// to ?gemm_pst; the others to the no-buffer routine of that operation
// below, when the library has it.
#define ORB_PST_WRAPPER_DECL(T, x)                                                                   \
  ORB_API void ORB_BLAS(x##_pst_wrapper)(orb::engine::blas_op_params<T> * params,                    \
                                         orb::engine::blas_matrix * a, orb::engine::blas_matrix * b, \
                                         orb::engine::blas_matrix * c);
ORB_PST_WRAPPER_DECL(float, s)
ORB_PST_WRAPPER_DECL(double, d)
ORB_PST_WRAPPER_DECL(orb_complex8, c)
ORB_PST_WRAPPER_DECL(orb_complex16, z)
#undef ORB_PST_WRAPPER_DECL

// No-buffer routines of the other level-3 operations, which the wrappers
// forward to. They take the public routine's arguments, by address, in the
// order of the reference interface.
#define ORB_NOBUF_DECLS(T, R, x)                                                                             \
  ORB_API void ORB_BLAS(x##symm_pst)(                                                 \
      const char* side, const char* uplo, const int* m, const int* n, const T* alpha, const T* a,            \
      const int* lda, const T* b, const int* ldb, const T* beta, T* c, const int* ldc);                      \
  ORB_API void ORB_BLAS(x##syrk_nobufs)(const char* uplo, const char* trans,          \
                                                              const int* n, const int* k, const T* alpha,    \
                                                              const T* a, const int* lda, const T* beta,     \
                                                              T* c, const int* ldc);                         \
  ORB_API void ORB_BLAS(x##syr2k_nobufs)(                                             \
      const char* uplo, const char* trans, const int* n, const int* k, const T* alpha, const T* a,           \
      const int* lda, const T* b, const int* ldb, const T* beta, T* c, const int* ldc);                      \
  ORB_API void ORB_BLAS(x##trmm_nobuf)(                                               \
      const char* side, const char* uplo, const char* transa, const char* diag, const int* m, const int* n,  \
      const T* alpha, const T* a, const int* lda, T* b, const int* ldb);                                     \
  ORB_API void ORB_BLAS(x##trsm_nobuf)(                                               \
      const char* side, const char* uplo, const char* transa, const char* diag, const int* m, const int* n,  \
      const T* alpha, const T* a, const int* lda, T* b, const int* ldb);                                     \
  ORB_API void ORB_BLAS(x##gemmt_nobufs)(                                             \
      const char* uplo, const char* transa, const char* transb, const int* n, const int* k, const T* alpha, \
      const T* a, const int* lda, const T* b, const int* ldb, const T* beta, T* c, const int* ldc);
ORB_NOBUF_DECLS(float, float, s)
ORB_NOBUF_DECLS(double, double, d)
ORB_NOBUF_DECLS(orb_complex8, float, c)
ORB_NOBUF_DECLS(orb_complex16, double, z)
#undef ORB_NOBUF_DECLS
#define ORB_HERM_NOBUF_DECLS(T, R, x)                                                                        \
  ORB_API void ORB_BLAS(x##hemm_nobufs)(                                              \
      const char* side, const char* uplo, const int* m, const int* n, const T* alpha, const T* a,            \
      const int* lda, const T* b, const int* ldb, const T* beta, T* c, const int* ldc);                      \
  ORB_API void ORB_BLAS(x##herk_nobufs)(const char* uplo, const char* trans,          \
                                                              const int* n, const int* k, const R* alpha,    \
                                                              const T* a, const int* lda, const R* beta,     \
                                                              T* c, const int* ldc);                         \
  ORB_API void ORB_BLAS(x##her2k_nobufs)(                                             \
      const char* uplo, const char* trans, const int* n, const int* k, const T* alpha, const T* a,           \
      const int* lda, const T* b, const int* ldb, const R* beta, T* c, const int* ldc);
ORB_HERM_NOBUF_DECLS(orb_complex8, float, c)
ORB_HERM_NOBUF_DECLS(orb_complex16, double, z)
#undef ORB_HERM_NOBUF_DECLS
