// Names the kernels call back for norms: orb_blas_xsnrm2 and its kin go
// straight to the loaded kernel, with the public routine's arguments.
// Declared in orb/orb.h.
#include "core/dispatch.hpp"
#include "orb/orb.h"

extern "C" float orb_blas_xsnrm2(const int* n, const float* x, const int* incx) {
  return orb::core::kernels().xsnrm2(n, x, incx);
}
extern "C" double orb_blas_xdnrm2(const int* n, const double* x, const int* incx) {
  return orb::core::kernels().xdnrm2(n, x, incx);
}
extern "C" float orb_blas_xscnrm2(const int* n, const orb_complex8* x, const int* incx) {
  return orb::core::kernels().xscnrm2(n, x, incx);
}
extern "C" double orb_blas_xdznrm2(const int* n, const orb_complex16* x, const int* incx) {
  return orb::core::kernels().xdznrm2(n, x, incx);
}
