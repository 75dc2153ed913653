// The records that carry one level-3 call through the GEMM engine, and the
// routines of the engine that other parts of the library call.
//
// One call is described by a blas_op_params (which routine, its operators,
// alpha and beta) and three blas_matrix views (A, B, C). Before the loops
// start, a gemm_strategy fixes how the work is done and a gemm_kernel_info
// collects the routines that do it; the drivers call only through that
// table, so the same driver serves every level-3 routine. gemm_buffers owns
// the packed panels of a call.
//
// The four types share the records; the scalars (alpha, beta, factors) are
// of the type itself: float, double, orb_complex8, orb_complex16.
//
// Signatures other parts implement against:
//   driver:   int f(blas_op_params<T>*, blas_matrix* a, blas_matrix* b,
//                   blas_matrix* c, gemm_buffers* buffers, gemm_kernel_info<T>*)
//             (xdgemm_nocopy_driver and xsgemm_nocopy_driver have this form;
//             they ignore buffers and info)
//   fallback: void f(blas_op_params<T>*, blas_matrix* a, blas_matrix* b,
//                    blas_matrix* c)   (d_pst_wrapper and its s, c, z forms)
#pragma once

#include <cstddef>
#include <cstdint>

#include "blas/engine/team_state.hpp"
#include "frame/kernels.hpp"
#include "frame/simd.hpp"
#include "orb/orb_service.h"
#include "orb/orb_types.h"

namespace orb::engine {

// ---- Operation codes --------------------------------------------------------
enum : int {
  op_gemm = 0,
  op_symm = 1,
  op_hemm = 2,
  op_syrk = 3,
  op_herk = 4,
  op_syr2k = 5,
  op_her2k = 6,
  op_trmm = 7,
  op_trsm = 8,
  op_gemmt = 9,
  op_syr2k_half1 = 12,
  op_syr2k_half2 = 13,
};
// The routines whose output is a triangle (SYRK, SYR2K, GEMMT) in one test.
inline constexpr unsigned kTriangleOutputMask = 0x228;

// ---- Flag bits of a view ------------------------------------------------------
enum : int {
  flag_notrans = 1,
  flag_trans = 2,
  flag_conjtrans = 4,
  flag_lower = 8,
  flag_upper = 16,
  flag_nonunit = 32,
  flag_unit = 64,
  flag_packed = 128,
};

// ---- blas_op_params -----------------------------------------------------------
template <class T>
struct blas_op_params {
  const char* side_text;
  const char* uplo_text;
  const char* diag_text;
  const char* transa_text;
  const char* transb_text;
  T alpha;
  T beta;
  int side;    // 0 left, 1 right, -1 other letter, 2 not given
  int uplo;    // 0 upper, 1 lower, -1 other letter, 2 not given
  int diag;    // 0 unit, 1 non-unit, -1 other letter, 2 not given
  int transa;  // 0 N, 1 T, 2 C, -1 other letter, 3 no text
  int transb;
  int op;
};

// ---- blas_matrix --------------------------------------------------------------
struct blas_matrix;
using address_fn = void* (*)(int i, int j, const blas_matrix* view);

struct blas_matrix {
  void* base;
  int rows;
  int cols;
  int ld;
  int pack_unit;
  int pack_width;
  int rows_total;
  int elem_size;
  int flags;
  address_fn at;
};

// ---- gemm_strategy ------------------------------------------------------------
struct gemm_strategy;
using check_fn = int (*)(gemm_strategy*);

struct gemm_strategy {
  int flavour;     // 2 plain, 4 after a no-copy request
  int copy_mode;   // 2 copy A and B, 4 A packed for the call, 16 no copies, 32
  int loop_order;  // 4, 32, 64, 128
  int pack_mode;   // 2: buffers of the packing interface
  int reserved[3];
  int unroll_m, unroll_n, unroll_k;
  int pad_m, pad_n, pad_k;
  int vector_elems;
  check_fn check;
};

// ---- gemm_buffers -------------------------------------------------------------
struct gemm_buffers {
  void* block;   // what the allocation returned, 0 when none
  void* header;  // header of a packed matrix (packing interface), else 0
  blas_matrix a_panel;
  blas_matrix b_panel;
  int mode;  // 3 A and B, 1 A, 2 B, 4 B per team member, 5 A per team member
  int m_block, n_block, k_block;
  int a_offset, a_align;
  int b_offset, b_align;
  int copies;
  int (*get_bufs)(gemm_buffers*);
  std::size_t (*get_size)(gemm_buffers*);
  void (*set_bufs)(void* address, gemm_buffers*);
  void (*free_bufs)(gemm_buffers*);
};

// ---- gemm_kernel_info ---------------------------------------------------------
template <class T> struct gemm_kernel_info;

template <class T> using scale_fn = void (*)(blas_matrix* c, const T* beta);
template <class T> using copy_fn = void (*)(const blas_matrix* src, blas_matrix* panel, const T* factor);
template <class T>
using kernel_fn = void (*)(const T* one, const blas_matrix* a_panel, const blas_matrix* b_panel,
                           const T* beta, blas_matrix* c, void* scratch);
template <class T>
using driver_fn = int (*)(blas_op_params<T>* params, blas_matrix* a, blas_matrix* b, blas_matrix* c,
                          gemm_buffers* buffers, gemm_kernel_info<T>* info);
template <class T>
using fallback_fn = void (*)(blas_op_params<T>* params, blas_matrix* a, blas_matrix* b, blas_matrix* c);
// Diagonal handling and triangular kernels of TRMM and TRSM: their drivers
// define what they pass; the GEMM engine only stores them.
template <class T> using tri_scale_fn = void (*)(blas_op_params<T>* params, blas_matrix* tri, blas_matrix* other);
template <class T> using tri_kernel_fn = kernel_fn<T>;

template <class T>
struct gemm_kernel_info {
  int pst_m_limit;
  int pst_n_limit;
  int k_limit;
  const char* name;
  scale_fn<T> scale_c;
  copy_fn<T> copy_a;
  copy_fn<T> copy_b;
  tri_scale_fn<T> tri_scale;
  kernel_fn<T> kernel;
  tri_kernel_fn<T> tri_kernel;
  driver_fn<T> driver;
  fallback_fn<T> fallback;
  scale_fn<T> syrk_scale;
  driver_fn<T> syrk_driver;
  gemm_strategy strategy;
};

// ---- Team form ----------------------------------------------------------------
// gemm_barrier and gemm_team_state: team_state.hpp.

inline constexpr int ORB_BARRIER_YIELD_MAX_CYCLES_DEFAULT = 5000;

template <class T>
struct gemm_pack_handle {
  gemm_kernel_info<T> info;
  gemm_buffers buffers;   // mode 1, all of A
  gemm_buffers shared_b;  // team form, first handle: mode 4, shared by the team
  gemm_buffers* shared_b_ref;
  const T* packed_from;
  T alpha;
  int m, k, lda;
  char transa;
  volatile int lock;
  volatile int state;  // -1 idle, 1 packing, 2 in use, 3 being released
  volatile int users;
};

// ---- Register tile ---------------------------------------------------------------
// Strips of unroll_m rows that one register tile of the packed kernels spans
// (kernel.hpp): 4 where the build has 32 vector registers (AVX-512 in the
// 64-bit mode), else 1. The panels are laid out in strips either way, so
// the copy routines and every routine reading the panels do not depend on
// it, and neither does any bit of a result.
#if ORB_LEVEL >= 9 && defined(__x86_64__)
inline constexpr int kTileStrips = 4;
#else
inline constexpr int kTileStrips = 1;
#endif

// ---- Per-type constants -------------------------------------------------------
template <class T> struct gemm_traits;
template <> struct gemm_traits<float> {
  using real = float;
  static constexpr int comps = 1, unroll_m = 16, unroll_n = 6, vector_elems = 16, pad_step = 8;
  static constexpr int m_block_max = 9984, n_block_max = 384, pst_m = 12, pst_n = 6;
  static constexpr char letter = 's';
};
template <> struct gemm_traits<double> {
  using real = double;
  static constexpr int comps = 1, unroll_m = 8, unroll_n = 6, vector_elems = 8, pad_step = 8;
  static constexpr int m_block_max = 4992, n_block_max = 192, pst_m = 8, pst_n = 6;
  static constexpr char letter = 'd';
};
template <> struct gemm_traits<orb_complex8> {
  using real = float;
  static constexpr int comps = 2, unroll_m = 8, unroll_n = 3, vector_elems = 8, pad_step = 8;
  static constexpr int m_block_max = 4992, n_block_max = 192, pst_m = 8, pst_n = 3;
  static constexpr char letter = 'c';
};
template <> struct gemm_traits<orb_complex16> {
  using real = double;
  static constexpr int comps = 2, unroll_m = 4, unroll_n = 3, vector_elems = 4, pad_step = 4;
  static constexpr int m_block_max = 2496, n_block_max = 96, pst_m = 4, pst_n = 3;
  static constexpr char letter = 'z';
};

// ---- Scalar helpers -----------------------------------------------------------
template <class T> inline bool is_one(const T& v) { return v == T(1); }
template <class T> inline bool is_zero(const T& v) { return v == T(0); }
template <class T> inline bool is_minus_one(const T& v) { return v == T(-1); }
template <class T> inline T one() { return T(1); }
template <class T> inline T zero() { return T(0); }
#define ORB_ENGINE_COMPLEX_HELPERS(C)                                                  \
  template <> inline bool is_one(const C& v) { return v.re == 1 && v.im == 0; }        \
  template <> inline bool is_zero(const C& v) { return v.re == 0 && v.im == 0; }       \
  template <> inline bool is_minus_one(const C& v) { return v.re == -1 && v.im == 0; } \
  template <> inline C one() { return C{1, 0}; }                                       \
  template <> inline C zero() { return C{0, 0}; }
ORB_ENGINE_COMPLEX_HELPERS(orb_complex8)
ORB_ENGINE_COMPLEX_HELPERS(orb_complex16)
#undef ORB_ENGINE_COMPLEX_HELPERS

// Character of an operator, case folded; 0 for a null text.
inline char upper_char(const char* t) { return t ? char(*t & ~32) : 0; }

// Code of an operator text: 0 N, 1 T, 2 C, -1 any other letter, 3 none.
inline int trans_code(const char* t) {
  if (!t) return 3;
  const char c = char(*t & ~32);
  return c == 'N' ? 0 : c == 'T' ? 1 : c == 'C' ? 2 : -1;
}

// Each product of a complex multiply stays rounded on its own (simd.hpp).
using simd::opaque;

inline int round_up(int v, int step) { return (v + step - 1) / step * step; }

// ---- Views --------------------------------------------------------------------
inline void* getPointer_notrans(int i, int j, const blas_matrix* v) {
  return static_cast<char*>(v->base) + (std::ptrdiff_t(j) * v->ld + i) * v->elem_size;
}
inline void* getPointer_trans(int i, int j, const blas_matrix* v) {
  return static_cast<char*>(v->base) + (std::ptrdiff_t(i) * v->ld + j) * v->elem_size;
}
// i walks K, j is the first row (or column) of a panel.
inline void* getPointer_buffer(int i, int j, const blas_matrix* v) {
  const int unit = v->pack_unit > 0 ? v->pack_unit : 1;
  const std::ptrdiff_t krows = (v->rows + unit - 1) / unit;
  return static_cast<char*>(v->base) +
         (std::ptrdiff_t(i) * v->pack_width + krows * j * unit) * v->elem_size;
}

template <class T>
inline void blas_initialize_matrix(const char* trans_text, int rows, int cols, const T* base, int ld,
                                   blas_matrix* v) {
  v->base = const_cast<T*>(base);
  v->rows = rows;
  v->cols = cols;
  v->ld = ld;
  v->pack_unit = 0;
  v->pack_width = 0;
  v->rows_total = rows;
  v->elem_size = int(sizeof(T));
  const int code = trans_code(trans_text);
  v->flags = code == 0 ? flag_notrans : code == 1 ? flag_trans : code == 2 ? flag_conjtrans : 0;
  v->at = (code == 3 || code == 0) ? getPointer_notrans : getPointer_trans;
}
// Short form, for C.
template <class T>
inline void blas_initialize_matrix(int rows, int cols, T* base, int ld, blas_matrix* v) {
  blas_initialize_matrix<T>(nullptr, rows, cols, base, ld, v);
}

template <class T>
inline void blas_initialize_op_params(const char* transa_text, const char* transb_text, const T* alpha,
                                      const T* beta, blas_op_params<T>* p) {
  p->op = op_gemm;
  p->side_text = p->uplo_text = p->diag_text = nullptr;
  p->transa_text = transa_text;
  p->transb_text = transb_text;
  p->alpha = *alpha;
  p->beta = *beta;
  p->transa = trans_code(transa_text);
  p->transb = trans_code(transb_text);
  p->side = p->uplo = p->diag = 2;
}

// A view of the block (i0, j0) of rows x cols of another view.
inline blas_matrix sub_view(const blas_matrix& v, int i0, int j0, int rows, int cols) {
  blas_matrix s = v;
  s.base = v.at(i0, j0, &v);
  s.rows = rows;
  s.cols = cols;
  return s;
}

// ---- Typed engine routines (per type, template form) ---------------------------
// The exported names below forward to these; the level-3 routines may call
// either.
template <class T> int check_strategy(gemm_strategy* s);
template <class T> void initialize_strategy(gemm_strategy* s);
template <class T>
void initialize_kernel_info(const blas_op_params<T>* params, const blas_matrix* a, const blas_matrix* b,
                            const blas_matrix* c, const gemm_strategy* strategy, gemm_kernel_info<T>* info);
template <class T>
void initialize_buffers(const blas_matrix* a, const blas_matrix* b, const gemm_strategy* s, gemm_buffers* buf);
template <class T>
void trxm_initialize_buffers(int right, const blas_matrix* a, const blas_matrix* b, const gemm_strategy* s,
                             gemm_buffers* buf);
// Barrier of a thread team: all nthreads callers return together.
void orb_barrier_wait(gemm_barrier* barrier, int thread, int nthreads);

}  // namespace orb::engine

// ---- Exported engine routines -------------------------------------------------
#define ORB_ENGINE_DECLS(T, t)                                                                               \
  ORB_API void ORB_BLAS(t##gemm_zero_desc)(void);                                                            \
  ORB_API int ORB_BLAS(t##gemm_api_support)(void);                                                           \
  ORB_API void ORB_BLAS(t##gemm_get_kernel)(void);                                                           \
  ORB_API void ORB_BLAS(t##gemm_get_optimal_kernel)(void);                                                   \
  ORB_API void ORB_BLAS(t##gemm_get_kernel_version)(void);                                                   \
  ORB_API void ORB_BLAS(t##gemm_num_kernels)(void);                                                          \
  ORB_API void ORB_BLAS(t##gemm_set_blks_size)(void);                                                        \
  ORB_API void ORB_BLAS(t##gemm_get_blks_size)(void);                                                        \
  ORB_API void ORB_BLAS(t##gemm_get_bufs_size)(void);                                                        \
  ORB_API void ORB_BLAS(x##t##gemm_par)(void);                                                               \
  ORB_API void ORB_BLAS(x##t##gemm_1)(void);                                                                 \
  ORB_API void ORB_BLAS(x##t##gemm_bdz)(void);                                                               \
  ORB_API void ORB_BLAS(x##t##gemm_brc)(void);                                                               \
  ORB_API void ORB_BLAS(t##gemm_copyan_htn)(void);                                                           \
  ORB_API void ORB_BLAS(t##gemm_copyat_htn)(void);                                                           \
  ORB_API void ORB_BLAS(t##gemm_copybn_htn)(void);                                                           \
  ORB_API void ORB_BLAS(t##gemm_copybt_htn)(void);                                                           \
  ORB_API void ORB_BLAS(t##gemm_initialize_strategy)(orb::engine::gemm_strategy * s);                        \
  ORB_API void ORB_BLAS(t##gemm_initialize_kernel_info)(                                                     \
      const orb::engine::blas_op_params<T>* params, const orb::engine::blas_matrix* a,                       \
      const orb::engine::blas_matrix* b, const orb::engine::blas_matrix* c,                                  \
      const orb::engine::gemm_strategy* strategy, orb::engine::gemm_kernel_info<T>* info);                   \
  ORB_API void ORB_BLAS(t##gemm_map_thread_to_kernel)(const int* thread_info, orb::engine::gemm_strategy* s); \
  ORB_API void ORB_BLAS(t##gemm_initialize_buffers)(const orb::engine::blas_matrix* a,                       \
                                                    const orb::engine::blas_matrix* b,                       \
                                                    const orb::engine::gemm_strategy* s,                     \
                                                    orb::engine::gemm_buffers* buf);                         \
  ORB_API void ORB_BLAS(t##trxm_initialize_buffers)(int right, const orb::engine::blas_matrix* a,            \
                                                    const orb::engine::blas_matrix* b,                       \
                                                    const orb::engine::gemm_strategy* s,                     \
                                                    orb::engine::gemm_buffers* buf);                         \
  ORB_API int ORB_BLAS(t##gemm_get_bufs)(orb::engine::gemm_buffers * buf);                                   \
  ORB_API std::size_t ORB_BLAS(t##gemm_get_size_bufs)(orb::engine::gemm_buffers * buf);                      \
  ORB_API int ORB_BLAS(t##gemm_get_bufs_pack)(orb::engine::gemm_buffers * buf);                              \
  ORB_API void ORB_BLAS(t##gemm_set_bufs_pack)(void* address, orb::engine::gemm_buffers* buf);               \
  ORB_API void ORB_BLAS(t##gemm_free_bufs)(orb::engine::gemm_buffers * buf);                                 \
  ORB_API void ORB_BLAS(t##gemm_copyan)(const orb::engine::blas_matrix* src, orb::engine::blas_matrix* dst,  \
                                        const T* factor);                                                    \
  ORB_API void ORB_BLAS(t##gemm_copyat)(const orb::engine::blas_matrix* src, orb::engine::blas_matrix* dst,  \
                                        const T* factor);                                                    \
  ORB_API void ORB_BLAS(t##gemm_copybn)(const orb::engine::blas_matrix* src, orb::engine::blas_matrix* dst,  \
                                        const T* factor);                                                    \
  ORB_API void ORB_BLAS(t##gemm_copybt)(const orb::engine::blas_matrix* src, orb::engine::blas_matrix* dst,  \
                                        const T* factor);                                                    \
  ORB_API void ORB_BLAS(t##gemm_kernel_0)(const int* m, const int* n, const int* k, const T* factor,        \
                                          const T* a, const T* b, T* c, int ldc);                            \
  ORB_API void ORB_BLAS(t##gemm_kernel_0_b0)(const int* m, const int* n, const int* k, const T* factor,     \
                                             const T* a, const T* b, T* c, int ldc);                         \
  ORB_API void ORB_BLAS(t##gemm_ker0)(const T* one, const orb::engine::blas_matrix* a_panel,                \
                                      const orb::engine::blas_matrix* b_panel, const T* beta,                \
                                      orb::engine::blas_matrix* c, void* scratch);                           \
  ORB_API void ORB_BLAS(t##gemm_mscale)(const int* rows, const int* cols, const T* beta, T* c,              \
                                        const int* ldc);                                                     \
  ORB_API void ORB_BLAS(t##gemm_mscale_wrapper)(orb::engine::blas_matrix * c, const T* beta);               \
  ORB_API int ORB_BLAS(t##_generic_fullacopybcopy)(                                                          \
      orb::engine::blas_op_params<T> * params, orb::engine::blas_matrix * a, orb::engine::blas_matrix * b,   \
      orb::engine::blas_matrix * c, orb::engine::gemm_buffers * buffers,                                     \
      orb::engine::gemm_kernel_info<T> * info);                                                              \
  ORB_API int ORB_BLAS(x##t##gemm_acopiedbcopy)(                                                             \
      orb::engine::blas_op_params<T> * params, orb::engine::blas_matrix * a, orb::engine::blas_matrix * b,   \
      orb::engine::blas_matrix * c, orb::engine::gemm_buffers * buffers,                                     \
      orb::engine::gemm_kernel_info<T> * info);

ORB_ENGINE_DECLS(float, s)
ORB_ENGINE_DECLS(double, d)
ORB_ENGINE_DECLS(orb_complex8, c)
ORB_ENGINE_DECLS(orb_complex16, z)

// Conjugating copy wrappers of the complex types (flag 4).
ORB_API void ORB_BLAS(cgemm_copyac)(const orb::engine::blas_matrix* src, orb::engine::blas_matrix* dst,
                                    const orb_complex8* factor);
ORB_API void ORB_BLAS(cgemm_copybc)(const orb::engine::blas_matrix* src, orb::engine::blas_matrix* dst,
                                    const orb_complex8* factor);
ORB_API void ORB_BLAS(zgemm_copyac)(const orb::engine::blas_matrix* src, orb::engine::blas_matrix* dst,
                                    const orb_complex16* factor);
ORB_API void ORB_BLAS(zgemm_copybc)(const orb::engine::blas_matrix* src, orb::engine::blas_matrix* dst,
                                    const orb_complex16* factor);

// Copy bodies: (k, long side, source, ld, factor, panel), sizes by address.
#define ORB_COPY_BODY(T, name)                                                                  \
  ORB_API void ORB_BLAS(name)(const int* k, const int* long_side, const T* source, const int* ld, \
                              const T* factor, T* panel);
ORB_COPY_BODY(float, sgemm_scopy_down16_ea)
ORB_COPY_BODY(float, sgemm_scopy_right16_ea)
ORB_COPY_BODY(float, sgemm_scopy_right6_ea)
ORB_COPY_BODY(float, sgemm_scopy_down6_ea)
ORB_COPY_BODY(double, dgemm_dcopy_down8_ea)
ORB_COPY_BODY(double, dgemm_dcopy_right8_ea)
ORB_COPY_BODY(double, dgemm_dcopy_right6_ea)
ORB_COPY_BODY(double, dgemm_dcopy_down6_ea)
ORB_COPY_BODY(orb_complex8, cgemm_ccopy_down8_ea)
ORB_COPY_BODY(orb_complex8, cgemm_ccopy_right8_ea)
ORB_COPY_BODY(orb_complex8, cgemm_ccopy_right3_ea)
ORB_COPY_BODY(orb_complex8, cgemm_ccopy_down3_ea)
ORB_COPY_BODY(orb_complex8, cgemm_cccopy_right8_ea)
ORB_COPY_BODY(orb_complex8, cgemm_cccopy_down3_ea)
ORB_COPY_BODY(orb_complex8, cgemm_cccopy_down8_ea)
ORB_COPY_BODY(orb_complex8, cgemm_cccopy_right3_ea)
ORB_COPY_BODY(orb_complex16, zgemm_zcopy_down4_ea)
ORB_COPY_BODY(orb_complex16, zgemm_zcopy_right4_ea)
ORB_COPY_BODY(orb_complex16, zgemm_zcopy_right3_ea)
ORB_COPY_BODY(orb_complex16, zgemm_zcopy_down3_ea)
ORB_COPY_BODY(orb_complex16, zgemm_zccopy_right4_ea)
ORB_COPY_BODY(orb_complex16, zgemm_zccopy_down3_ea)
ORB_COPY_BODY(orb_complex16, zgemm_zccopy_down4_ea)
ORB_COPY_BODY(orb_complex16, zgemm_zccopy_right3_ea)
#undef ORB_COPY_BODY
