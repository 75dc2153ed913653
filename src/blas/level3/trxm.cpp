// TRSM and TRMM: the entries x?trsm and x?trmm, their no-buffer paths and
// the small product.
//
// The entry builds the engine's records (op 8 for the solve, 7 for the
// product), lets the routine table pick the driver by side and by the
// triangle of op(A), applies alpha to B once and calls the driver; the
// drivers, the triangle copiers and the triangular kernels are in
// trxm_packed.cpp. The no-buffer paths and the small product walk B in
// place through the direct bodies (trxm_direct.hpp), as do the skinny
// solves strsm_pst and ctrsm_pst.
#include <type_traits>

#include "blas/engine/paths.hpp"
#include "blas/level3/level3.hpp"
#include "blas/level3/trxm.hpp"
#include "blas/level3/trxm_direct.hpp"

namespace orb::level3 {
namespace {

using engine::blas_matrix;
using engine::blas_op_params;
using engine::gemm_kernel_info;

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
  // Single precision with a triangle no taller than one register strip:
  // packing it would cost more than the solve, so the skinny form solves B
  // in place. The test reads the triangle's order alone, so every block of
  // a call the core splits takes the same path.
  if constexpr (std::is_same_v<T, float> || std::is_same_v<T, orb_complex8>) {
    if (op == engine::op_trsm && av.rows <= st.unroll_m) {
      if constexpr (std::is_same_v<T, float>)
        ORB_BLAS(strsm_pst)(side, uplo, transa, diag, pm, pn, alpha, a, lda, b, ldb);
      else
        ORB_BLAS(ctrsm_pst)(side, uplo, transa, diag, pm, pn, alpha, a, lda, b, ldb);
      return;
    }
  }
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

}  // namespace orb::level3

using namespace orb::level3;

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
  }

ORB_TRX_EXPORTS(float, s)
ORB_TRX_EXPORTS(double, d)
ORB_TRX_EXPORTS(orb_complex8, c)
ORB_TRX_EXPORTS(orb_complex16, z)
#undef ORB_TRX_EXPORTS

ORB_API void ORB_BLAS(strsm_pst)(ORB_TRX_ARGS(float)) {
  direct_call<float, true>(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);
}
ORB_API void ORB_BLAS(ctrsm_pst)(ORB_TRX_ARGS(orb_complex8)) {
  direct_call<orb_complex8, true>(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);
}
ORB_API void ORB_BLAS(strmm_sm)(ORB_TRX_ARGS(float)) {
  direct_call<float, false>(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);
}
ORB_API void ORB_BLAS(dtrmm_sm)(ORB_TRX_ARGS(double)) {
  direct_call<double, false>(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);
}
