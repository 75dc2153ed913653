// CBLAS GEMM in both layouts. A row-major matrix is the column-major
// transpose of itself, so a row-major call C = op(A) op(B) is run as the
// column-major C' = op(B)' op(A)': the operators and sizes swap places.
//
// Illegal arguments go to cblas_xerbla with the CBLAS position (layout 1,
// transa 2, transb 3, m 4, n 5, k 6, lda 9, ldb 11, ldc 14). In row-major
// order the sizes and leading dimensions are checked on the transposed
// call and reported at that call's positions, as the reference CBLAS does
// and as its test programs expect.
#include "orb/cblas.h"
#include "orb/orb_blas.h"

namespace orb::core {
int gemm_check(char transa, char transb, int m, int n, int k, int lda, int ldb, int ldc);
}

namespace {

bool letter(int t, char& out) {
  switch (t) {
    case CblasNoTrans: out = 'N'; return true;
    case CblasTrans: out = 'T'; return true;
    case CblasConjTrans: out = 'C'; return true;
    default: return false;
  }
}

template <class T, class F>
void cblas_gemm(F f, const char* name, int layout, int transa, int transb, int m, int n, int k, const T* alpha,
                const T* a, int lda, const T* b, int ldb, const T* beta, T* c, int ldc) {
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
    f(&ta, &tb, &m, &n, &k, alpha, a, &lda, b, &ldb, beta, c, &ldc);
  } else {
    if (const int info = orb::core::gemm_check(tb, ta, n, m, k, ldb, lda, ldc)) {
      cblas_xerbla(info + 1, name, "");
      return;
    }
    f(&tb, &ta, &n, &m, &k, alpha, b, &ldb, a, &lda, beta, c, &ldc);
  }
}

}  // namespace

extern "C" {

void cblas_sgemm(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                 const int m, const int n, const int k, const float alpha, const float* a, const int lda,
                 const float* b, const int ldb, const float beta, float* c, const int ldc) {
  cblas_gemm<float>(&orb_blas_sgemm, "cblas_sgemm", layout, transa, transb, m, n, k, &alpha, a, lda, b, ldb,
                    &beta, c, ldc);
}
void cblas_dgemm(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                 const int m, const int n, const int k, const double alpha, const double* a, const int lda,
                 const double* b, const int ldb, const double beta, double* c, const int ldc) {
  cblas_gemm<double>(&orb_blas_dgemm, "cblas_dgemm", layout, transa, transb, m, n, k, &alpha, a, lda, b, ldb,
                     &beta, c, ldc);
}
void cblas_cgemm(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                 const int m, const int n, const int k, const void* alpha, const void* a, const int lda,
                 const void* b, const int ldb, const void* beta, void* c, const int ldc) {
  using C = orb_complex8;
  cblas_gemm<C>(&orb_blas_cgemm, "cblas_cgemm", layout, transa, transb, m, n, k, static_cast<const C*>(alpha),
                static_cast<const C*>(a), lda, static_cast<const C*>(b), ldb, static_cast<const C*>(beta),
                static_cast<C*>(c), ldc);
}
void cblas_zgemm(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                 const int m, const int n, const int k, const void* alpha, const void* a, const int lda,
                 const void* b, const int ldb, const void* beta, void* c, const int ldc) {
  using C = orb_complex16;
  cblas_gemm<C>(&orb_blas_zgemm, "cblas_zgemm", layout, transa, transb, m, n, k, static_cast<const C*>(alpha),
                static_cast<const C*>(a), lda, static_cast<const C*>(b), ldb, static_cast<const C*>(beta),
                static_cast<C*>(c), ldc);
}

}  // extern "C"
