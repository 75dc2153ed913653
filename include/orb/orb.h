/* orb: everything a program needs in one include. The CBLAS interface is
   <orb/cblas.h> (or <cblas.h> with -I<prefix>/include/orb), and the
   standard Fortran names are declared in <orb/orb_blas_fortran.h>. */
#ifndef ORB_H
#define ORB_H

#include "orb/orb_types.h"
#include "orb/orb_service.h"
#include "orb/orb_blas.h"
#include "orb/orb_trans.h"
#include "orb/orb_dft.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Euclidean norms under the names the kernel libraries call back: the same
   arguments and results as orb_blas_snrm2 and its kin. */
float orb_blas_xsnrm2(const int* n, const float* x, const int* incx);
double orb_blas_xdnrm2(const int* n, const double* x, const int* incx);
float orb_blas_xscnrm2(const int* n, const orb_complex8* x, const int* incx);
double orb_blas_xdznrm2(const int* n, const orb_complex16* x, const int* incx);

#ifdef __cplusplus
}
#endif

#endif
