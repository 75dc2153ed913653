// Shared pieces of the symmetric, Hermitian and triangle-output routines
// (SYRK, HERK, SYR2K, HER2K, GEMMT, SYMM, HEMM).
//
// All of them run on the GEMM engine's panels and register kernels. The
// triangle-output routines walk only the blocks of C that meet the stored
// triangle; the tile that straddles the diagonal is computed into a scratch
// tile and only its stored half is added to C. SYMM and HEMM are a GEMM
// whose copier builds the full matrix from the stored triangle while it
// packs. Each element of C thus receives, per K block, the same chain of
// fused multiply-adds as the engine's x?gemm_packed gives it.
#pragma once

#include "blas/engine/engine.hpp"
#include "blas/engine/paths.hpp"
#include "blas/level3/level3.hpp"

// The skinny forms of SYRK and HERK (the public routine's arguments).
#define ORB_SYX_PST_DECL(T, R, t, name)                                                                       \
  ORB_API void ORB_BLAS(t##name##_pst)(const char* uplo, const char* trans, const int* n, const int* k,    \
                                       const R* alpha, const T* a, const int* lda, const R* beta, T* c,   \
                                       const int* ldc);
ORB_SYX_PST_DECL(float, float, s, syrk)
ORB_SYX_PST_DECL(double, double, d, syrk)
ORB_SYX_PST_DECL(orb_complex8, orb_complex8, c, syrk)
ORB_SYX_PST_DECL(orb_complex16, orb_complex16, z, syrk)
ORB_SYX_PST_DECL(orb_complex8, float, c, herk)
ORB_SYX_PST_DECL(orb_complex16, double, z, herk)
#undef ORB_SYX_PST_DECL

namespace orb::level3 {

using engine::blas_matrix;
using engine::blas_op_params;
using engine::gemm_buffers;
using engine::gemm_kernel_info;
using engine::gemm_traits;

template <class T> struct real_of { using type = T; };
template <> struct real_of<orb_complex8> { using type = float; };
template <> struct real_of<orb_complex16> { using type = double; };

template <class T> inline constexpr bool is_complex = gemm_traits<T>::comps == 2;

// The engine routines of each type that these routines build on.
template <class T> struct prim;
#define ORB_SYX_PRIM(T, t)                                                \
  template <> struct prim<T> {                                            \
    static constexpr auto add = ORB_BLAS(t##gemm_kernel_0);               \
    static constexpr auto store = ORB_BLAS(t##gemm_kernel_0_b0);          \
    static constexpr auto mscale = ORB_BLAS(t##gemm_mscale);              \
    static constexpr auto pst = ORB_BLAS(t##gemm_pst);                    \
    static constexpr auto gemm = ORB_BLAS(x##t##gemm);                    \
  };
ORB_SYX_PRIM(float, s)
ORB_SYX_PRIM(double, d)
ORB_SYX_PRIM(orb_complex8, c)
ORB_SYX_PRIM(orb_complex16, z)
#undef ORB_SYX_PRIM

// ---- Scalar arithmetic shared by the direct paths -----------------------------
template <class T> inline T conj_of(const T& v) { return v; }
inline orb_complex8 conj_of(const orb_complex8& v) { return {v.re, -v.im}; }
inline orb_complex16 conj_of(const orb_complex16& v) { return {v.re, -v.im}; }
template <class T> inline T mul(const T& x, const T& y) { return x * y; }
inline orb_complex8 mul(const orb_complex8& x, const orb_complex8& y) {
  return {x.re * y.re - x.im * y.im, x.re * y.im + x.im * y.re};
}
inline orb_complex16 mul(const orb_complex16& x, const orb_complex16& y) {
  return {x.re * y.re - x.im * y.im, x.re * y.im + x.im * y.re};
}
template <class T> inline T add(const T& x, const T& y) { return x + y; }
inline orb_complex8 add(const orb_complex8& x, const orb_complex8& y) { return {x.re + y.re, x.im + y.im}; }
inline orb_complex16 add(const orb_complex16& x, const orb_complex16& y) { return {x.re + y.re, x.im + y.im}; }
template <class T> inline void real_diagonal(T&) {}
inline void real_diagonal(orb_complex8& v) { v.im = 0; }
inline void real_diagonal(orb_complex16& v) { v.im = 0; }

// ---- Triangle-output routines (syrk.cpp) ----------------------------------------

// Where a block of C lies against the diagonal: the row of its first
// element minus its column, in the whole matrix. The triangle kernels get it
// through their scratch argument.
struct tri_position {
  int offset;
};

// The packed walk over the triangle of C: c is a block of the whole C whose
// element (0, 0) lies `d0` rows below the diagonal (d0 = row - column).
// Returns 2 when the panels could not be had (nothing written then, except
// beta already applied, in which case params->beta has become 1).
template <class T>
int tri_walk(blas_op_params<T>* params, blas_matrix* a, blas_matrix* b, blas_matrix* c, int d0,
             gemm_kernel_info<T>* info);

// Beta on the stored triangle of the block c (position d0); the Hermitian
// forms clear the imaginary part of the diagonal elements.
template <class T>
void tri_scale(const blas_matrix* c, const T& beta, bool lower, int d0, bool hermitian);

template <class T> int syrk_driver(blas_op_params<T>*, blas_matrix*, blas_matrix*, blas_matrix*, gemm_buffers*,
                                   gemm_kernel_info<T>*);
template <class T> int syrk_acopied(blas_op_params<T>*, blas_matrix*, blas_matrix*, blas_matrix*, gemm_buffers*,
                                    gemm_kernel_info<T>*);
template <class T> void syrk_scale(blas_matrix* c, const T* beta);
template <class T> void herk_scale(blas_matrix* c, const T* beta);
template <class T, bool Lower, bool Herm>
void tri_ker0(const T* one, const blas_matrix* ap, const blas_matrix* bp, const T* beta, blas_matrix* c,
              void* position);

// ---- SYMM and HEMM (symm.cpp) ----------------------------------------------------

// The mirroring copiers. The source view is the whole stored matrix (base,
// ld, flags 8 or 16 by the stored triangle) with rows and cols the block to
// pack and pack_unit, pack_width the block's first row and column: the copy
// needs to know where the diagonal lies.
template <class T, bool Lower, bool Left, bool Herm>
void mirror_copy(const blas_matrix* src, blas_matrix* panel, const T* factor);
template <class T> int symm_driver(blas_op_params<T>*, blas_matrix*, blas_matrix*, blas_matrix*, gemm_buffers*,
                                   gemm_kernel_info<T>*);

}  // namespace orb::level3

// ---- Exported pieces that the routine table names ------------------------------------
#define ORB_SYX_PIECES(T, t)                                                                                     \
  ORB_API int ORB_BLAS(x##t##syrk_fullacopybcopy)(orb::engine::blas_op_params<T>*, orb::engine::blas_matrix*,     \
                                                  orb::engine::blas_matrix*, orb::engine::blas_matrix*,           \
                                                  orb::engine::gemm_buffers*, orb::engine::gemm_kernel_info<T>*); \
  ORB_API int ORB_BLAS(t##symm_fullacopybcopy)(orb::engine::blas_op_params<T>*, orb::engine::blas_matrix*,        \
                                               orb::engine::blas_matrix*, orb::engine::blas_matrix*,              \
                                               orb::engine::gemm_buffers*, orb::engine::gemm_kernel_info<T>*);    \
  ORB_API void ORB_BLAS(t##syrk_lower_ker0)(const T*, const orb::engine::blas_matrix*,                            \
                                            const orb::engine::blas_matrix*, const T*, orb::engine::blas_matrix*, \
                                            void*);                                                               \
  ORB_API void ORB_BLAS(t##syrk_upper_ker0)(const T*, const orb::engine::blas_matrix*,                            \
                                            const orb::engine::blas_matrix*, const T*, orb::engine::blas_matrix*, \
                                            void*);                                                               \
  ORB_API void ORB_BLAS(t##syrk_mscale)(orb::engine::blas_matrix*, const T*);                                     \
  ORB_API void ORB_BLAS(t##symm_copy_lower_left)(const orb::engine::blas_matrix*, orb::engine::blas_matrix*,      \
                                                 const T*);                                                       \
  ORB_API void ORB_BLAS(t##symm_copy_upper_left)(const orb::engine::blas_matrix*, orb::engine::blas_matrix*,      \
                                                 const T*);                                                       \
  ORB_API void ORB_BLAS(t##symm_copy_lower_right)(const orb::engine::blas_matrix*, orb::engine::blas_matrix*,     \
                                                  const T*);                                                      \
  ORB_API void ORB_BLAS(t##symm_copy_upper_right)(const orb::engine::blas_matrix*, orb::engine::blas_matrix*,     \
                                                  const T*);
ORB_SYX_PIECES(float, s)
ORB_SYX_PIECES(double, d)
ORB_SYX_PIECES(orb_complex8, c)
ORB_SYX_PIECES(orb_complex16, z)
#undef ORB_SYX_PIECES
#define ORB_HERM_PIECES(T, t)                                                                                    \
  ORB_API void ORB_BLAS(t##herk_lower_ker0)(const T*, const orb::engine::blas_matrix*,                            \
                                            const orb::engine::blas_matrix*, const T*, orb::engine::blas_matrix*, \
                                            void*);                                                               \
  ORB_API void ORB_BLAS(t##herk_upper_ker0)(const T*, const orb::engine::blas_matrix*,                            \
                                            const orb::engine::blas_matrix*, const T*, orb::engine::blas_matrix*, \
                                            void*);                                                               \
  ORB_API void ORB_BLAS(t##herk_mscale)(orb::engine::blas_matrix*, const T*);                                     \
  ORB_API void ORB_BLAS(t##hemm_copy_lower_left)(const orb::engine::blas_matrix*, orb::engine::blas_matrix*,      \
                                                 const T*);                                                       \
  ORB_API void ORB_BLAS(t##hemm_copy_upper_left)(const orb::engine::blas_matrix*, orb::engine::blas_matrix*,      \
                                                 const T*);                                                       \
  ORB_API void ORB_BLAS(t##hemm_copy_lower_right)(const orb::engine::blas_matrix*, orb::engine::blas_matrix*,     \
                                                  const T*);                                                      \
  ORB_API void ORB_BLAS(t##hemm_copy_upper_right)(const orb::engine::blas_matrix*, orb::engine::blas_matrix*,     \
                                                  const T*);
ORB_HERM_PIECES(orb_complex8, c)
ORB_HERM_PIECES(orb_complex16, z)
#undef ORB_HERM_PIECES
