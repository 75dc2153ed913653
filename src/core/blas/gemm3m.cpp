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

#include "core/blas/cblas_state.hpp"
#include "core/dispatch.hpp"
#include "orb/cblas.h"
#include "orb/orb_blas.h"
#include "orb/orb_service.h"

namespace orb::core {
int gemm_check(char transa, char transb, int m, int n, int k, int lda, int ldb, int ldc);
}

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

bool letter(int t, char& out) {
  switch (t) {
    case CblasNoTrans: out = 'N'; return true;
    case CblasTrans: out = 'T'; return true;
    case CblasConjTrans: out = 'C'; return true;
    default: return false;
  }
}

// The two words CBLAS error handlers read, set for the call's duration.
struct call_scope {
  explicit call_scope(bool row) {
    CBLAS_CallFromC = 1;
    RowMajorStrg = row ? 1 : 0;
  }
  ~call_scope() {
    CBLAS_CallFromC = 0;
    RowMajorStrg = 0;
  }
};

// CBLAS: a row-major C = op(A) op(B) is the column-major C' = op(B)' op(A)';
// positions as cblas_?gemm reports them (layout 1, transa 2, transb 3, then
// GEMM's positions plus one, on the transposed call in row-major order).
template <class T, class F>
void cblas_form(F f, const char* name, int layout, int transa, int transb, int m, int n, int k, const void* alpha,
                const void* a, int lda, const void* b, int ldb, const void* beta, void* c, int ldc) {
  const T* al = static_cast<const T*>(alpha);
  const T* A = static_cast<const T*>(a);
  const T* B = static_cast<const T*>(b);
  const T* be = static_cast<const T*>(beta);
  T* C = static_cast<T*>(c);
  const call_scope scope(layout == CblasRowMajor);
  char ta, tb;
  if (layout != CblasColMajor && layout != CblasRowMajor) {
    cblas_xerbla(1, name, "Illegal layout setting, %d\n", layout);
    return;
  }
  if (!letter(transa, ta)) {
    cblas_xerbla(2, name, "Illegal TransA setting, %d\n", transa);
    return;
  }
  if (!letter(transb, tb)) {
    cblas_xerbla(3, name, "Illegal TransB setting, %d\n", transb);
    return;
  }
  if (layout == CblasColMajor) {
    if (const int info = orb::core::gemm_check(ta, tb, m, n, k, lda, ldb, ldc)) {
      cblas_xerbla(info + 1, name, "");
      return;
    }
    f(&ta, &tb, &m, &n, &k, al, A, &lda, B, &ldb, be, C, &ldc);
  } else {
    if (const int info = orb::core::gemm_check(tb, ta, n, m, k, ldb, lda, ldc)) {
      cblas_xerbla(info + 1, name, "");
      return;
    }
    f(&tb, &ta, &n, &m, &k, al, B, &ldb, A, &lda, be, C, &ldc);
  }
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

void cblas_cgemm3m(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                   const int m, const int n, const int k, const void* alpha, const void* a, const int lda,
                   const void* b, const int ldb, const void* beta, void* c, const int ldc) {
  cblas_form<orb_complex8>(&orb_blas_cgemm3m, "cblas_cgemm3m", layout, transa, transb, m, n, k, alpha, a, lda, b,
                           ldb, beta, c, ldc);
}
void cblas_zgemm3m(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                   const int m, const int n, const int k, const void* alpha, const void* a, const int lda,
                   const void* b, const int ldb, const void* beta, void* c, const int ldc) {
  cblas_form<orb_complex16>(&orb_blas_zgemm3m, "cblas_zgemm3m", layout, transa, transb, m, n, k, alpha, a, lda,
                            b, ldb, beta, c, ldc);
}

}  // extern "C"
