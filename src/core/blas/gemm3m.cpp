// Public names of the three-product complex GEMM (orb_blas_cgemm3m,
// orb_blas_zgemm3m) and of the real-by-complex GEMM (orb_blas_scgemm,
// orb_blas_dzgemm), with their Fortran names and, for the three-product
// form, CBLAS in both layouts.
//
// The arguments are checked as GEMM checks them, at GEMM's positions; an
// illegal one goes to xerbla under the routine's own name. A legal call
// goes to the kernel on this thread: the kernel's real products come back
// through orb_blas_?gemm, which runs them on the core's threads.
#include <cstdio>

#include "core/blas/cblas_gemm.hpp"
#include "core/dispatch.hpp"
#include "orb/cblas.h"
#include "orb/orb_blas.h"
#include "orb/orb_service.h"

namespace {

template <class T> bool zero(const T& v) { return v.re == 0 && v.im == 0; }
template <class T> bool one(const T& v) { return v.re == 1 && v.im == 0; }

// Checks, quick returns, the verbose line, then the kernel. name is the
// routine in capitals ("ZGEMM3M"), as xerbla and the verbose line show it.
template <class K, class A, class T>
void forward(const char* name, int name_len, K kernel, const char* transa, const char* transb, const int* m,
             const int* n, const int* k, const T* alpha, const A* a, const int* lda, const T* b, const int* ldb,
             const T* beta, T* c, const int* ldc) {
  const int info = orb::core::gemm_check(*transa, *transb, *m, *n, *k, *lda, *ldb, *ldc);
  if (info != 0) {
    orb_serv_xerbla(name, &info, name_len);
    return;
  }
  if (*m == 0 || *n == 0) return;
  if ((zero(*alpha) || *k == 0) && one(*beta)) return;
  if (*orb_serv_verbose_mode() != 1) {
    kernel(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    return;
  }
  const double t0 = orb_serv_dsecnd();
  kernel(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
  char line[300];
  orb_serv_snprintf_s(line, sizeof line, sizeof line - 1, "%s(%c,%c,%d,%d,%d,%p,%p,%d,%p,%d,%p,%p,%d)", name,
                      *transa, *transb, *m, *n, *k, static_cast<const void*>(alpha), static_cast<const void*>(a),
                      *lda, static_cast<const void*>(b), *ldb, static_cast<const void*>(beta),
                      static_cast<const void*>(c), *ldc);
  orb_serv_print_verbose_info(0, line, orb_serv_dsecnd() - t0);
}

}  // namespace

using orb::core::kernels;

#define ORB_GEMM_PARAMS(T, A)                                                                               \
  const char *transa, const char *transb, const int *m, const int *n, const int *k, const T *alpha,         \
      const A *a, const int *lda, const T *b, const int *ldb, const T *beta, T *c, const int *ldc
#define ORB_GEMM_NAMES transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc
#define ORB_VISIBLE __attribute__((visibility("default")))

extern "C" {

void orb_blas_cgemm3m(ORB_GEMM_PARAMS(orb_complex8, orb_complex8)) {
  forward("CGEMM3M", 7, kernels().xcgemm3m, ORB_GEMM_NAMES);
}
void orb_blas_zgemm3m(ORB_GEMM_PARAMS(orb_complex16, orb_complex16)) {
  forward("ZGEMM3M", 7, kernels().xzgemm3m, ORB_GEMM_NAMES);
}
void orb_blas_scgemm(ORB_GEMM_PARAMS(orb_complex8, float)) {
  forward("SCGEMM", 6, kernels().xscgemm, ORB_GEMM_NAMES);
}
void orb_blas_dzgemm(ORB_GEMM_PARAMS(orb_complex16, double)) {
  forward("DZGEMM", 6, kernels().xdzgemm, ORB_GEMM_NAMES);
}

// Fortran names; the hidden character lengths gfortran appends are not
// read (only the first character of each operator matters).
ORB_VISIBLE void cgemm3m_(ORB_GEMM_PARAMS(orb_complex8, orb_complex8)) { orb_blas_cgemm3m(ORB_GEMM_NAMES); }
ORB_VISIBLE void zgemm3m_(ORB_GEMM_PARAMS(orb_complex16, orb_complex16)) { orb_blas_zgemm3m(ORB_GEMM_NAMES); }
ORB_VISIBLE void scgemm_(ORB_GEMM_PARAMS(orb_complex8, float)) { orb_blas_scgemm(ORB_GEMM_NAMES); }
ORB_VISIBLE void dzgemm_(ORB_GEMM_PARAMS(orb_complex16, double)) { orb_blas_dzgemm(ORB_GEMM_NAMES); }

#define ORB_CBLAS_GEMM3M(x, T)                                                                                \
  void cblas_##x##gemm3m(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,  \
                         const int m, const int n, const int k, const void* alpha, const void* a, const int lda, \
                         const void* b, const int ldb, const void* beta, void* c, const int ldc) {              \
    orb::core::cblas_gemm_form<T>(&orb_blas_##x##gemm3m, "cblas_" #x "gemm3m", layout, transa, transb, m, n, k,   \
                                  static_cast<const T*>(alpha), static_cast<const T*>(a), lda,                 \
                                  static_cast<const T*>(b), ldb, static_cast<const T*>(beta), static_cast<T*>(c), \
                                  ldc);                                                                         \
  }
ORB_CBLAS_GEMM3M(c, orb_complex8)
ORB_CBLAS_GEMM3M(z, orb_complex16)
#undef ORB_CBLAS_GEMM3M

}  // extern "C"
