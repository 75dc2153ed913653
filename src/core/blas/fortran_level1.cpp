// Standard Fortran names of the level-1 routines (saxpy_, ddot_, ...), as
// programs built against any BLAS with gfortran expect them. Each forwards
// its arguments unchanged to the public orb_blas_* routine.
//
// The names come from the kernel list, so a routine added there gets its
// Fortran name here without further work. One convention differs from the
// public routines: gfortran returns a COMPLEX function result by value, the
// way GCC returns a C _Complex, while the public routines write it through a
// leading address. The complex dot products are therefore written by hand.
#include "core/blas/fortran_forms.hpp"
#include "orb/orb_blas.h"
#include "orb/orb_blas_fortran.h"

#define ORB_COMPLEX_RESULT_cdotc ~, complex_result
#define ORB_COMPLEX_RESULT_cdotu ~, complex_result
#define ORB_COMPLEX_RESULT_zdotc ~, complex_result
#define ORB_COMPLEX_RESULT_zdotu ~, complex_result

#define ORB_K(ret, kernel, pub, params, args) ORB_FORTRAN_FORWARD(ret, pub, params, args)
#include "frame/kernels_level1.def"
#undef ORB_K

// The result travels back in registers (x86-64: xmm0 for both kinds; i386:
// edx:eax for the float pair, a hidden address for the double pair), which
// the compiler arranges from the declared type.
#define ORB_FORTRAN_COMPLEX_DOT(pub, ctype, rtype)                                                  \
  extern "C" rtype pub##_(const int* n, const ctype* x, const int* incx, const ctype* y,            \
                          const int* incy) {                                                        \
    return orb_fortran_by_value<rtype>(&orb_blas_##pub, n, x, incx, y, incy);                       \
  }

ORB_FORTRAN_COMPLEX_DOT(cdotc, orb_complex8, orb_fortran_complex8)
ORB_FORTRAN_COMPLEX_DOT(cdotu, orb_complex8, orb_fortran_complex8)
ORB_FORTRAN_COMPLEX_DOT(zdotc, orb_complex16, orb_fortran_complex16)
ORB_FORTRAN_COMPLEX_DOT(zdotu, orb_complex16, orb_fortran_complex16)
