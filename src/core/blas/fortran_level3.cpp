// Standard Fortran names of the GEMM routines (sgemm_, dgemm_, cgemm_,
// zgemm_), as programs built against any BLAS with gfortran expect them.
// Each forwards to the public orb_blas_?gemm, which checks the arguments
// and reports through xerbla_. The hidden character lengths gfortran
// appends after the listed parameters are not needed: only the first
// character of each operator is read.
#include "orb/orb_blas.h"

#define ORB_FORTRAN_GEMM(x, T)                                                                           \
  extern "C" __attribute__((visibility("default"))) void x##gemm_(                                      \
      const char* transa, const char* transb, const int* m, const int* n, const int* k, const T* alpha,  \
      const T* a, const int* lda, const T* b, const int* ldb, const T* beta, T* c, const int* ldc) {     \
    orb_blas_##x##gemm(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);                    \
  }
ORB_FORTRAN_GEMM(s, float)
ORB_FORTRAN_GEMM(d, double)
ORB_FORTRAN_GEMM(c, orb_complex8)
ORB_FORTRAN_GEMM(z, orb_complex16)
