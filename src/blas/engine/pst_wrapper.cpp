// The no-buffer path of every level-3 operation, as the packed drivers'
// `fallback`: it turns the records back into the public routine's
// arguments and calls the routine of that operation that needs no buffers.
// GEMM, and any operation that has no such routine in this library, goes to
// the direct GEMM.
#include "blas/engine/engine.hpp"
#include "blas/engine/paths.hpp"

namespace orb::paths {
namespace {

using engine::blas_matrix;
using engine::blas_op_params;

template <class T> struct nobuf;
#define ORB_NOBUF_SET(T, x)                                                         \
  template <> struct nobuf<T> {                                                     \
    static constexpr auto gemm = &ORB_BLAS(x##gemm_pst);                            \
    static constexpr auto symm = &ORB_BLAS(x##symm_pst);                            \
    static constexpr auto syrk = &ORB_BLAS(x##syrk_nobufs);                         \
    static constexpr auto syr2k = &ORB_BLAS(x##syr2k_nobufs);                       \
    static constexpr auto trmm = &ORB_BLAS(x##trmm_nobuf);                          \
    static constexpr auto trsm = &ORB_BLAS(x##trsm_nobuf);                          \
    static constexpr auto gemmt = &ORB_BLAS(x##gemmt_nobufs);                       \
  };
ORB_NOBUF_SET(float, s)
ORB_NOBUF_SET(double, d)
ORB_NOBUF_SET(orb_complex8, c)
ORB_NOBUF_SET(orb_complex16, z)
#undef ORB_NOBUF_SET

inline const char* text_or(const char* t, const char* fallback) { return t ? t : fallback; }

template <class T>
void wrapper(blas_op_params<T>* p, blas_matrix* a, blas_matrix* b, blas_matrix* c, bool hermitian_op_done) {
  using S = nobuf<T>;
  const T* ab = static_cast<const T*>(a->base);
  const T* bb = static_cast<const T*>(b->base);
  T* cb = static_cast<T*>(c->base);
  const char* ta = text_or(p->transa_text, "N");
  const char* tb = text_or(p->transb_text, "N");
  const char* side = text_or(p->side_text, "L");
  const char* uplo = text_or(p->uplo_text, "U");
  const char* diag = text_or(p->diag_text, "N");
  const int m = c->rows, n = c->cols, k = a->cols;
  if (hermitian_op_done) return;
  switch (p->op) {
    case engine::op_symm:
      return S::symm(side, uplo, &m, &n, &p->alpha, ab, &a->ld, bb, &b->ld, &p->beta, cb, &c->ld);
    case engine::op_syrk:
      return S::syrk(uplo, ta, &n, &k, &p->alpha, ab, &a->ld, &p->beta, cb, &c->ld);
    case engine::op_syr2k:
      return S::syr2k(uplo, ta, &n, &k, &p->alpha, ab, &a->ld, bb, &b->ld, &p->beta, cb, &c->ld);
    case engine::op_trmm:
      return S::trmm(side, uplo, ta, diag, &m, &n, &p->alpha, ab, &a->ld, cb, &c->ld);
    case engine::op_trsm:
      return S::trsm(side, uplo, ta, diag, &m, &n, &p->alpha, ab, &a->ld, cb, &c->ld);
    case engine::op_gemmt:
      return S::gemmt(uplo, ta, tb, &n, &k, &p->alpha, ab, &a->ld, bb, &b->ld, &p->beta, cb, &c->ld);
    case engine::op_syr2k_half1:
    case engine::op_syr2k_half2:
      // The two halves of a SYR2K: alpha A op(B) and alpha B op(A), beta
      // applied by the first call only. The pair is taken in one order
      // when A is not transposed and in the other when it is.
      {
        const T one = engine::one<T>();
        const bool a_first = (*ta & ~32) == 'N';
        const T* x = a_first ? ab : bb;
        const T* y = a_first ? bb : ab;
        const int* lx = a_first ? &a->ld : &b->ld;
        const int* ly = a_first ? &b->ld : &a->ld;
        S::gemmt(uplo, ta, tb, &n, &k, &p->alpha, x, lx, y, ly, &p->beta, cb, &c->ld);
        S::gemmt(uplo, ta, tb, &n, &k, &p->alpha, y, ly, x, lx, &one, cb, &c->ld);
        return;
      }
    default:
      break;
  }
  S::gemm(ta, tb, &m, &n, &k, &p->alpha, ab, &a->ld, bb, &b->ld, &p->beta, cb, &c->ld);
}

// HEMM, HERK and HER2K of the complex types; true when served.
template <class T, class R, class Hemm, class Herk, class Her2k>
bool hermitian(blas_op_params<T>* p, blas_matrix* a, blas_matrix* b, blas_matrix* c, Hemm hemm, Herk herk,
               Her2k her2k) {
  const T* ab = static_cast<const T*>(a->base);
  const T* bb = static_cast<const T*>(b->base);
  T* cb = static_cast<T*>(c->base);
  const char* ta = text_or(p->transa_text, "N");
  const char* side = text_or(p->side_text, "L");
  const char* uplo = text_or(p->uplo_text, "U");
  const int m = c->rows, n = c->cols, k = a->cols;
  const R alpha_re = p->alpha.re, beta_re = p->beta.re;
  switch (p->op) {
    case engine::op_hemm:
      hemm(side, uplo, &m, &n, &p->alpha, ab, &a->ld, bb, &b->ld, &p->beta, cb, &c->ld);
      return true;
    case engine::op_herk:
      herk(uplo, ta, &n, &k, &alpha_re, ab, &a->ld, &beta_re, cb, &c->ld);
      return true;
    case engine::op_her2k:
      her2k(uplo, ta, &n, &k, &p->alpha, ab, &a->ld, bb, &b->ld, &beta_re, cb, &c->ld);
      return true;
    default:
      return false;
  }
}

}  // namespace
}  // namespace orb::paths

using namespace orb::paths;
using orb::engine::blas_matrix;
using orb::engine::blas_op_params;

ORB_API void ORB_BLAS(s_pst_wrapper)(blas_op_params<float>* p, blas_matrix* a, blas_matrix* b, blas_matrix* c) {
  wrapper(p, a, b, c, false);
}
ORB_API void ORB_BLAS(d_pst_wrapper)(blas_op_params<double>* p, blas_matrix* a, blas_matrix* b, blas_matrix* c) {
  wrapper(p, a, b, c, false);
}
ORB_API void ORB_BLAS(c_pst_wrapper)(blas_op_params<orb_complex8>* p, blas_matrix* a, blas_matrix* b,
                                     blas_matrix* c) {
  wrapper(p, a, b, c,
          hermitian<orb_complex8, float>(p, a, b, c, &ORB_BLAS(chemm_nobufs), &ORB_BLAS(cherk_nobufs),
                                         &ORB_BLAS(cher2k_nobufs)));
}
ORB_API void ORB_BLAS(z_pst_wrapper)(blas_op_params<orb_complex16>* p, blas_matrix* a, blas_matrix* b,
                                     blas_matrix* c) {
  wrapper(p, a, b, c,
          hermitian<orb_complex16, double>(p, a, b, c, &ORB_BLAS(zhemm_nobufs), &ORB_BLAS(zherk_nobufs),
                                           &ORB_BLAS(zher2k_nobufs)));
}
