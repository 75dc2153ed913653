// CBLAS GEMM in both layouts (core/blas/cblas_gemm.hpp says how).
#include "core/blas/cblas_gemm.hpp"
#include "orb/orb_blas.h"

using orb::core::cblas_gemm_form;

extern "C" {

void cblas_sgemm(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                 const int m, const int n, const int k, const float alpha, const float* a, const int lda,
                 const float* b, const int ldb, const float beta, float* c, const int ldc) {
  cblas_gemm_form<float>(&orb_blas_sgemm, "cblas_sgemm", layout, transa, transb, m, n, k, &alpha, a, lda, b, ldb,
                    &beta, c, ldc);
}
void cblas_dgemm(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                 const int m, const int n, const int k, const double alpha, const double* a, const int lda,
                 const double* b, const int ldb, const double beta, double* c, const int ldc) {
  cblas_gemm_form<double>(&orb_blas_dgemm, "cblas_dgemm", layout, transa, transb, m, n, k, &alpha, a, lda, b, ldb,
                     &beta, c, ldc);
}
void cblas_cgemm(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                 const int m, const int n, const int k, const void* alpha, const void* a, const int lda,
                 const void* b, const int ldb, const void* beta, void* c, const int ldc) {
  using C = orb_complex8;
  cblas_gemm_form<C>(&orb_blas_cgemm, "cblas_cgemm", layout, transa, transb, m, n, k, static_cast<const C*>(alpha),
                static_cast<const C*>(a), lda, static_cast<const C*>(b), ldb, static_cast<const C*>(beta),
                static_cast<C*>(c), ldc);
}
void cblas_zgemm(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                 const int m, const int n, const int k, const void* alpha, const void* a, const int lda,
                 const void* b, const int ldb, const void* beta, void* c, const int ldc) {
  using C = orb_complex16;
  cblas_gemm_form<C>(&orb_blas_zgemm, "cblas_zgemm", layout, transa, transb, m, n, k, static_cast<const C*>(alpha),
                static_cast<const C*>(a), lda, static_cast<const C*>(b), ldb, static_cast<const C*>(beta),
                static_cast<C*>(c), ldc);
}

}  // extern "C"
