// TRSM and TRMM on the engine: the entries x?trsm and x?trmm, the four
// drivers of each, their no-buffer paths and the small product.
//
// The entry builds the engine's records (op 8 for the solve, 7 for the
// product), lets the routine table pick the driver by side and by the
// triangle of op(A), applies alpha to B once and calls the driver. A driver
// walks the triangular dimension in diagonal blocks of trx_block<T>()
// elements: the block itself goes through the direct body (trxm_direct.hpp)
// and its part off the diagonal is one GEMM on the engine's packed path with
// K the block's order, which sums each element in an order fixed by that K
// alone. The solve walks in dependency order and subtracts each solved block
// from the blocks still to come; the product walks the other way and adds
// each block, still unchanged, to the blocks already done before forming
// its own product in place. Both depend on the triangular dimension only,
// so a call cut into blocks of B's columns (side "L") or rows (side "R")
// gives the bits of the whole call.
#include "blas/engine/paths.hpp"
#include "blas/level3/level3.hpp"
#include "blas/level3/trxm.hpp"
#include "blas/level3/trxm_direct.hpp"

namespace orb::level3 {
namespace {

using engine::blas_matrix;
using engine::blas_op_params;
using engine::gemm_buffers;
using engine::gemm_kernel_info;
using std::ptrdiff_t;

template <class T> struct gemm_of;
#define ORB_TRX_GEMM(T, t)                                          \
  template <> struct gemm_of<T> {                                   \
    static constexpr auto packed = ORB_BLAS(x##t##gemm_packed);     \
  };
ORB_TRX_GEMM(float, s)
ORB_TRX_GEMM(double, d)
ORB_TRX_GEMM(orb_complex8, c)
ORB_TRX_GEMM(orb_complex16, z)
#undef ORB_TRX_GEMM

template <class T>
direct::letters letters_of(const blas_op_params<T>* p) {
  return direct::read_letters(p->side_text, p->uplo_text, p->transa_text, p->diag_text,
                              engine::gemm_traits<T>::comps == 2);
}

// Address of op(A)(r, c).
template <class T>
const T* op_at(const T* a, ptrdiff_t lda, bool trans, int r, int c) {
  return trans ? a + c + r * lda : a + r + c * lda;
}

// One driver for both routines, both sides and both triangles of op(A).
template <class T, bool Solve, bool Right, bool Lower>
int blocked(blas_op_params<T>* params, blas_matrix* av, blas_matrix* bv, blas_matrix*, gemm_buffers*,
            gemm_kernel_info<T>*) {
  const int M = bv->rows, N = bv->cols;
  if (M < 1 || N < 1) return 0;
  T* b = static_cast<T*>(bv->base);
  const ptrdiff_t ldb = bv->ld;
  // A call that arrives here directly may still carry its alpha.
  if (!engine::is_one(params->alpha)) {
    direct::scale_all(M, N, params->alpha, b, ldb);
    if (engine::is_zero(params->alpha)) return 0;
    params->alpha = engine::one<T>();
  }
  const T* a = static_cast<const T*>(av->base);
  const int lda = av->ld;
  const int ldbi = bv->ld;
  const direct::letters l = letters_of(params);
  const char* ta = params->transa_text;
  const char no[] = "N";
  const T one = engine::one<T>();
  T factor = one;  // -1 for the solve: the update subtracts
  if constexpr (Solve) {
    if constexpr (engine::gemm_traits<T>::comps == 2) factor = T{-1, 0};
    else factor = T(-1);
  }
  const int K = Right ? N : M;
  const int kb = trx_block<T>();
  const int blocks = (K + kb - 1) / kb;
  // Forward walk for the solve of a lower op(A) on the left or an upper one
  // on the right; the product walks the other way.
  const bool forward = Solve ? (Right ? !Lower : Lower) : (Right ? Lower : !Lower);
  for (int s = 0; s < blocks; ++s) {
    const int bi = forward ? s : blocks - 1 - s;
    const int i0 = bi * kb;
    const int ib = K - i0 < kb ? K - i0 : kb;
    const direct::full_triangle<T> diag{a + i0 + ptrdiff_t(i0) * lda, lda};
    T* bd = Right ? b + i0 * ldb : b + i0;
    // The rows (left) or columns (right) of B the block of op(A) reaches
    // beyond its diagonal: for the solve those the walk has not reached yet
    // (they take the solved block off), for the product those it has
    // passed (they take the block's contribution before it is overwritten).
    const bool beyond = Solve ? forward : !forward;
    const int o0 = beyond ? i0 + ib : 0;
    const int on = beyond ? K - i0 - ib : i0;
    // B_o += factor op(A)_{o,i} B_i (left) or B_o += factor B_i op(A)_{i,o}
    // (right): one GEMM with K the block's order.
    auto update = [&] {
      if (on < 1) return;
      if (!Right)
        gemm_of<T>::packed(ta, no, &on, &N, &ib, &factor, op_at(a, lda, l.trans, o0, i0), &lda, bd, &ldbi, &one,
                           b + o0, &ldbi);
      else
        gemm_of<T>::packed(no, ta, &M, &on, &ib, &factor, bd, &ldbi, op_at(a, lda, l.trans, i0, o0), &lda, &one,
                           b + o0 * ldb, &ldbi);
    };
    if constexpr (Solve) {
      direct::solve(l, Right ? M : ib, Right ? ib : N, diag, bd, ldb);
      update();
    } else {
      update();
      direct::product(l, Right ? M : ib, Right ? ib : N, diag, bd, ldb);
    }
  }
  return 0;
}

// The records of a call, as the engine's entries build them.
template <class T>
void fill_records(int op, const char* side, const char* uplo, const char* transa, const char* diag, int m, int n,
                  const T* alpha, const T* a, int lda, T* b, int ldb, blas_op_params<T>* p, blas_matrix* av,
                  blas_matrix* bv) {
  const T one = engine::one<T>();
  engine::blas_initialize_op_params<T>(transa, nullptr, alpha, &one, p);
  p->op = op;
  p->side_text = side;
  p->uplo_text = uplo;
  p->diag_text = diag;
  const char s = engine::upper_char(side), u = engine::upper_char(uplo), d = engine::upper_char(diag);
  p->side = s == 'L' ? 0 : s == 'R' ? 1 : -1;
  p->uplo = u == 'U' ? 0 : u == 'L' ? 1 : -1;
  p->diag = d == 'U' ? 0 : d == 'N' ? 1 : -1;
  p->transb = 3;
  const int k = s == 'R' ? n : m;
  engine::blas_initialize_matrix<T>(transa, k, k, a, lda, av);
  av->flags |= (u == 'U' ? engine::flag_upper : engine::flag_lower) |
               (d == 'U' ? engine::flag_unit : engine::flag_nonunit);
  engine::blas_initialize_matrix<T>(m, n, b, ldb, bv);
}

template <class T>
void entry(int op, const char* side, const char* uplo, const char* transa, const char* diag, const int* pm,
           const int* pn, const T* alpha, const T* a, const int* lda, T* b, const int* ldb) {
  const int m = *pm, n = *pn;
  if (m < 1 || n < 1) return;
  blas_op_params<T> p;
  blas_matrix av, bv;
  fill_records(op, side, uplo, transa, diag, m, n, alpha, a, *lda, b, *ldb, &p, &av, &bv);
  engine::gemm_strategy st;
  engine::initialize_strategy<T>(&st);
  gemm_kernel_info<T> info;
  engine::initialize_kernel_info<T>(&p, &av, &bv, &bv, &st, &info);
  if (!engine::is_one(p.alpha)) {
    info.scale_c(&bv, &p.alpha);
    if (engine::is_zero(p.alpha)) return;
    p.alpha = engine::one<T>();
  }
  info.driver(&p, &av, &bv, &bv, nullptr, &info);
}

// The direct bodies on the public arguments.
template <class T, bool Solve>
void direct_call(const char* side, const char* uplo, const char* transa, const char* diag, const int* pm,
                 const int* pn, const T* alpha, const T* a, const int* lda, T* b, const int* ldb) {
  const int m = *pm, n = *pn;
  if (m < 1 || n < 1) return;
  direct::scale_all(m, n, *alpha, b, *ldb);
  if (engine::is_zero(*alpha)) return;
  const direct::letters l = direct::read_letters(side, uplo, transa, diag, engine::gemm_traits<T>::comps == 2);
  const direct::full_triangle<T> acc{a, *lda};
  if constexpr (Solve) direct::solve(l, m, n, acc, b, *ldb);
  else direct::product(l, m, n, acc, b, *ldb);
}

// x?trmm: the small product, or the engine.
template <class T>
void trmm_entry(const char* side, const char* uplo, const char* transa, const char* diag, const int* pm,
                const int* pn, const T* alpha, const T* a, const int* lda, T* b, const int* ldb) {
  if (*pm < 1 || *pn < 1) return;
  const bool right = engine::upper_char(side) == 'R';
  if ((right ? *pn : *pm) <= 10) {
    direct_call<T, false>(side, uplo, transa, diag, pm, pn, alpha, a, lda, b, ldb);
    return;
  }
  entry<T>(engine::op_trmm, side, uplo, transa, diag, pm, pn, alpha, a, lda, b, ldb);
}

}  // namespace

template <class T>
engine::driver_fn<T> trx_driver(bool solve, bool right, bool lower) {
  if (solve) {
    if (right) return lower ? blocked<T, true, true, true> : blocked<T, true, true, false>;
    return lower ? blocked<T, true, false, true> : blocked<T, true, false, false>;
  }
  if (right) return lower ? blocked<T, false, true, true> : blocked<T, false, true, false>;
  return lower ? blocked<T, false, false, true> : blocked<T, false, false, false>;
}

template engine::driver_fn<float> trx_driver<float>(bool, bool, bool);
template engine::driver_fn<double> trx_driver<double>(bool, bool, bool);
template engine::driver_fn<orb_complex8> trx_driver<orb_complex8>(bool, bool, bool);
template engine::driver_fn<orb_complex16> trx_driver<orb_complex16>(bool, bool, bool);

}  // namespace orb::level3

using namespace orb::level3;
using orb::engine::blas_matrix;
using orb::engine::blas_op_params;
using orb::engine::gemm_buffers;
using orb::engine::gemm_kernel_info;

#define ORB_TRX_EXPORTS(T, t)                                                                                  \
  ORB_API void ORB_BLAS(x##t##trsm)(ORB_TRX_ARGS(T)) {                                                         \
    entry<T>(orb::engine::op_trsm, side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);                     \
  }                                                                                                            \
  ORB_API void ORB_BLAS(x##t##trmm)(ORB_TRX_ARGS(T)) {                                                         \
    trmm_entry<T>(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);                                      \
  }                                                                                                            \
  ORB_API void ORB_BLAS(t##trsm_nobuf)(ORB_TRX_ARGS(T)) {                                                      \
    direct_call<T, true>(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);                               \
  }                                                                                                            \
  ORB_API void ORB_BLAS(t##trmm_nobuf)(ORB_TRX_ARGS(T)) {                                                      \
    direct_call<T, false>(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);                              \
  }                                                                                                            \
  ORB_API int ORB_BLAS(x##t##trsm_left_lower_fullacopybcopy)(blas_op_params<T> * p, blas_matrix * a,           \
                                                             blas_matrix * b, blas_matrix * c,                 \
                                                             gemm_buffers * buf, gemm_kernel_info<T> * info) { \
    return trx_driver<T>(true, false, true)(p, a, b, c, buf, info);                                            \
  }                                                                                                            \
  ORB_API int ORB_BLAS(x##t##trsm_left_upper_fullacopybcopy)(blas_op_params<T> * p, blas_matrix * a,           \
                                                             blas_matrix * b, blas_matrix * c,                 \
                                                             gemm_buffers * buf, gemm_kernel_info<T> * info) { \
    return trx_driver<T>(true, false, false)(p, a, b, c, buf, info);                                           \
  }                                                                                                            \
  ORB_API int ORB_BLAS(x##t##trsm_right_lower_fullacopybcopy)(blas_op_params<T> * p, blas_matrix * a,          \
                                                              blas_matrix * b, blas_matrix * c,                \
                                                              gemm_buffers * buf, gemm_kernel_info<T> * info) { \
    return trx_driver<T>(true, true, true)(p, a, b, c, buf, info);                                             \
  }                                                                                                            \
  ORB_API int ORB_BLAS(x##t##trsm_right_upper_fullacopybcopy)(blas_op_params<T> * p, blas_matrix * a,          \
                                                              blas_matrix * b, blas_matrix * c,                \
                                                              gemm_buffers * buf, gemm_kernel_info<T> * info) { \
    return trx_driver<T>(true, true, false)(p, a, b, c, buf, info);                                            \
  }                                                                                                            \
  ORB_API int ORB_BLAS(x##t##trmm_left_lower_fullacopybcopy)(blas_op_params<T> * p, blas_matrix * a,           \
                                                             blas_matrix * b, blas_matrix * c,                 \
                                                             gemm_buffers * buf, gemm_kernel_info<T> * info) { \
    return trx_driver<T>(false, false, true)(p, a, b, c, buf, info);                                           \
  }                                                                                                            \
  ORB_API int ORB_BLAS(x##t##trmm_left_upper_fullacopybcopy)(blas_op_params<T> * p, blas_matrix * a,           \
                                                             blas_matrix * b, blas_matrix * c,                 \
                                                             gemm_buffers * buf, gemm_kernel_info<T> * info) { \
    return trx_driver<T>(false, false, false)(p, a, b, c, buf, info);                                          \
  }                                                                                                            \
  ORB_API int ORB_BLAS(x##t##trmm_right_lower_fullacopybcopy)(blas_op_params<T> * p, blas_matrix * a,          \
                                                              blas_matrix * b, blas_matrix * c,                \
                                                              gemm_buffers * buf, gemm_kernel_info<T> * info) { \
    return trx_driver<T>(false, true, true)(p, a, b, c, buf, info);                                            \
  }                                                                                                            \
  ORB_API int ORB_BLAS(x##t##trmm_right_upper_fullacopybcopy)(blas_op_params<T> * p, blas_matrix * a,          \
                                                              blas_matrix * b, blas_matrix * c,                \
                                                              gemm_buffers * buf, gemm_kernel_info<T> * info) { \
    return trx_driver<T>(false, true, false)(p, a, b, c, buf, info);                                           \
  }

ORB_TRX_EXPORTS(float, s)
ORB_TRX_EXPORTS(double, d)
ORB_TRX_EXPORTS(orb_complex8, c)
ORB_TRX_EXPORTS(orb_complex16, z)
#undef ORB_TRX_EXPORTS

ORB_API void ORB_BLAS(strmm_sm)(ORB_TRX_ARGS(float)) {
  direct_call<float, false>(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);
}
ORB_API void ORB_BLAS(dtrmm_sm)(ORB_TRX_ARGS(double)) {
  direct_call<double, false>(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);
}
