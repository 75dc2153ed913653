// The CBLAS form of every GEMM-shaped routine (GEMM, GEMM3M): a row-major
// matrix is the column-major transpose of itself, so a row-major call
// C = op(A) op(B) runs as the column-major C' = op(B)' op(A)': the
// operators and sizes swap places.
//
// Illegal arguments go to cblas_xerbla with the CBLAS position (layout 1,
// transa 2, transb 3, m 4, n 5, k 6, lda 9, ldb 11, ldc 14). In row-major
// order the sizes and leading dimensions are checked on the transposed call
// and reported at that call's positions, as the reference CBLAS does and as
// its test programs expect.
#pragma once

#include "core/blas/cblas_state.hpp"
#include "orb/cblas.h"

namespace orb::core {

int gemm_check(char transa, char transb, int m, int n, int k, int lda, int ldb, int ldc);

inline bool cblas_trans_letter(int t, char& out) {
  switch (t) {
    case CblasNoTrans: out = 'N'; return true;
    case CblasTrans: out = 'T'; return true;
    case CblasConjTrans: out = 'C'; return true;
    default: return false;
  }
}

// f is the Fortran-style routine (orb_blas_?gemm, orb_blas_?gemm3m).
template <class T, class F>
void cblas_gemm_form(F f, const char* name, int layout, int transa, int transb, int m, int n, int k,
                     const T* alpha, const T* a, int lda, const T* b, int ldb, const T* beta, T* c, int ldc) {
  const cblas_call_scope scope(layout == CblasRowMajor);
  char ta, tb;
  if (layout != CblasColMajor && layout != CblasRowMajor) {
    cblas_xerbla(1, name, "Illegal layout setting, %d\n", layout);
    return;
  }
  if (!cblas_trans_letter(transa, ta)) {
    cblas_xerbla(2, name, "Illegal TransA setting, %d\n", transa);
    return;
  }
  if (!cblas_trans_letter(transb, tb)) {
    cblas_xerbla(3, name, "Illegal TransB setting, %d\n", transb);
    return;
  }
  if (layout == CblasColMajor) {
    if (const int info = gemm_check(ta, tb, m, n, k, lda, ldb, ldc)) {
      cblas_xerbla(info + 1, name, "");
      return;
    }
    f(&ta, &tb, &m, &n, &k, alpha, a, &lda, b, &ldb, beta, c, &ldc);
  } else {
    if (const int info = gemm_check(tb, ta, n, m, k, ldb, lda, ldc)) {
      cblas_xerbla(info + 1, name, "");
      return;
    }
    f(&tb, &ta, &n, &m, &k, alpha, b, &ldb, a, &lda, beta, c, &ldc);
  }
}

}  // namespace orb::core
