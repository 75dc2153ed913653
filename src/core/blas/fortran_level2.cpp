// Standard Fortran names of the level-2 and sparse-vector routines
// (dgemv_, zhemv_, sgthr_, ...), as programs built against any BLAS with
// gfortran expect them. Each forwards to the public orb_blas_* routine,
// which checks the arguments and reports through xerbla_. The hidden
// lengths that gfortran appends for character arguments come after the
// listed parameters and are not needed: only the first character is read.
//
// The complex sparse dots are COMPLEX functions in Fortran and return their
// value; the public routines write it through a leading address, so those
// four are written by hand.
#include "core/blas/fortran_forms.hpp"
#include "orb/orb_blas.h"
#include "orb/orb_blas_fortran.h"

#define ORB_COMPLEX_RESULT_cdotci ~, complex_result
#define ORB_COMPLEX_RESULT_cdotui ~, complex_result
#define ORB_COMPLEX_RESULT_zdotci ~, complex_result
#define ORB_COMPLEX_RESULT_zdotui ~, complex_result

#define ORB_KI(ret, kernel, params, args)
#define ORB_K(ret, kernel, pub, params, args) ORB_FORTRAN_FORWARD(ret, pub, params, args)
#include "frame/kernels_level2.def"
#undef ORB_K
#undef ORB_KI

#define ORB_FORTRAN_SPARSE_DOT(pub, ctype, rtype)                                              \
  extern "C" rtype pub##_(const int* nz, const ctype* x, const int* indx, const ctype* y) {    \
    return orb_fortran_by_value<rtype>(&orb_blas_##pub, nz, x, indx, y);                       \
  }

ORB_FORTRAN_SPARSE_DOT(cdotci, orb_complex8, orb_fortran_complex8)
ORB_FORTRAN_SPARSE_DOT(cdotui, orb_complex8, orb_fortran_complex8)
ORB_FORTRAN_SPARSE_DOT(zdotci, orb_complex16, orb_fortran_complex16)
ORB_FORTRAN_SPARSE_DOT(zdotui, orb_complex16, orb_fortran_complex16)
