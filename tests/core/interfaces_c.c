/* The standard interfaces as a C program sees them: the headers must
   compile as C, and a C caller must get the same results as a C++ one,
   complex function results included (C's own _Complex, returned by value). */
#include "orb/orb.h"
#include "orb/cblas.h"
#include "orb/orb_blas_fortran.h"

#include <complex.h>

_Static_assert(CblasRowMajor == 101 && CblasColMajor == 102, "layout values");
_Static_assert(CblasNoTrans == 111 && CblasTrans == 112 && CblasConjTrans == 113, "transpose values");
_Static_assert(CblasUpper == 121 && CblasLower == 122, "uplo values");
_Static_assert(CblasNonUnit == 131 && CblasUnit == 132, "diag values");
_Static_assert(CblasLeft == 141 && CblasRight == 142, "side values");
_Static_assert(sizeof(orb_fortran_complex8) == 2 * sizeof(float), "complex8 is a pair of floats");
_Static_assert(sizeof(orb_fortran_complex16) == 2 * sizeof(double), "complex16 is a pair of doubles");

/* Prototypes for the C++ side. */
void orb_c_zdotc(int n, const double* x, int incx, const double* y, int incy, double out[2]);
void orb_c_cdotu(int n, const float* x, int incx, const float* y, int incy, float out[2]);
double orb_c_cblas_ddot(int n, const double* x, int incx, const double* y, int incy);
size_t orb_c_cblas_icamax(int n, const float* x, int incx);
float orb_c_xsnrm2(int n, const float* x, int incx);

void orb_c_zdotc(int n, const double* x, int incx, const double* y, int incy, double out[2]) {
  const double _Complex r = zdotc_(&n, (const orb_complex16*)x, &incx, (const orb_complex16*)y, &incy);
  out[0] = creal(r);
  out[1] = cimag(r);
}

void orb_c_cdotu(int n, const float* x, int incx, const float* y, int incy, float out[2]) {
  const float _Complex r = cdotu_(&n, (const orb_complex8*)x, &incx, (const orb_complex8*)y, &incy);
  out[0] = crealf(r);
  out[1] = cimagf(r);
}

double orb_c_cblas_ddot(int n, const double* x, int incx, const double* y, int incy) {
  return cblas_ddot(n, x, incx, y, incy);
}

size_t orb_c_cblas_icamax(int n, const float* x, int incx) { return cblas_icamax(n, x, incx); }

float orb_c_xsnrm2(int n, const float* x, int incx) { return orb_blas_xsnrm2(&n, x, &incx); }
