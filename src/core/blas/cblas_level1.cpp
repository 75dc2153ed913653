// CBLAS level 1: values become addresses, void* becomes the complex type,
// and each call goes to the public orb_blas_* routine. Level-1 routines do
// not depend on the layout, so nothing here is transposed or checked.
#include "core/blas/cblas_state.hpp"
#include "orb/cblas.h"
#include "orb/orb_blas.h"

// Defined once here for every level; level 1 checks nothing, so it leaves
// them alone.
int CBLAS_CallFromC = 0;
int RowMajorStrg = 0;

namespace {

using c8 = orb_complex8;
using c16 = orb_complex16;

template <class T>
const T* as(const void* p) {
  return static_cast<const T*>(p);
}
template <class T>
T* as(void* p) {
  return static_cast<T*>(p);
}

// The Fortran-style index is 1-based with 0 for an empty vector; CBLAS
// counts from 0, and answers 0 for an empty vector too.
CBLAS_INDEX zero_based(int i) { return i > 0 ? CBLAS_INDEX(i - 1) : 0; }

}  // namespace

extern "C" {

// ---- Dot products.

float cblas_sdsdot(const int n, const float alpha, const float* x, const int incx, const float* y,
                   const int incy) {
  return orb_blas_sdsdot(&n, &alpha, x, &incx, y, &incy);
}
double cblas_dsdot(const int n, const float* x, const int incx, const float* y, const int incy) {
  return orb_blas_dsdot(&n, x, &incx, y, &incy);
}
float cblas_sdot(const int n, const float* x, const int incx, const float* y, const int incy) {
  return orb_blas_sdot(&n, x, &incx, y, &incy);
}
double cblas_ddot(const int n, const double* x, const int incx, const double* y, const int incy) {
  return orb_blas_ddot(&n, x, &incx, y, &incy);
}

#define ORB_CBLAS_CDOT(name, c)                                                               \
  void cblas_##name##_sub(const int n, const void* x, const int incx, const void* y,          \
                          const int incy, void* result) {                                     \
    orb_blas_##name(as<c>(result), &n, as<c>(x), &incx, as<c>(y), &incy);                     \
  }
ORB_CBLAS_CDOT(cdotu, c8)
ORB_CBLAS_CDOT(cdotc, c8)
ORB_CBLAS_CDOT(zdotu, c16)
ORB_CBLAS_CDOT(zdotc, c16)
#undef ORB_CBLAS_CDOT

// ---- Norms, sums of magnitudes, index of the largest or smallest.

#define ORB_CBLAS_REDUCE(ret, name, xtype, elem)                   \
  ret cblas_##name(const int n, xtype x, const int incx) {         \
    return orb_blas_##name(&n, as<elem>(x), &incx);                \
  }
ORB_CBLAS_REDUCE(float, snrm2, const float*, float)
ORB_CBLAS_REDUCE(float, sasum, const float*, float)
ORB_CBLAS_REDUCE(double, dnrm2, const double*, double)
ORB_CBLAS_REDUCE(double, dasum, const double*, double)
ORB_CBLAS_REDUCE(float, scnrm2, const void*, c8)
ORB_CBLAS_REDUCE(float, scasum, const void*, c8)
ORB_CBLAS_REDUCE(double, dznrm2, const void*, c16)
ORB_CBLAS_REDUCE(double, dzasum, const void*, c16)
#undef ORB_CBLAS_REDUCE

#define ORB_CBLAS_INDEX(name, xtype, elem)                              \
  CBLAS_INDEX cblas_##name(const int n, xtype x, const int incx) {      \
    return zero_based(orb_blas_##name(&n, as<elem>(x), &incx));         \
  }
ORB_CBLAS_INDEX(isamax, const float*, float)
ORB_CBLAS_INDEX(idamax, const double*, double)
ORB_CBLAS_INDEX(icamax, const void*, c8)
ORB_CBLAS_INDEX(izamax, const void*, c16)
ORB_CBLAS_INDEX(isamin, const float*, float)
ORB_CBLAS_INDEX(idamin, const double*, double)
ORB_CBLAS_INDEX(icamin, const void*, c8)
ORB_CBLAS_INDEX(izamin, const void*, c16)
#undef ORB_CBLAS_INDEX

// ---- Swap, copy, axpy, axpby. Real alpha and beta come by value, complex
// ones by address.

#define ORB_CBLAS_VECTORS(p, xtype, ytype, elem)                                     \
  void cblas_##p##swap(const int n, ytype x, const int incx, ytype y, const int incy) { \
    orb_blas_##p##swap(&n, as<elem>(x), &incx, as<elem>(y), &incy);                 \
  }                                                                                  \
  void cblas_##p##copy(const int n, xtype x, const int incx, ytype y, const int incy) { \
    orb_blas_##p##copy(&n, as<elem>(x), &incx, as<elem>(y), &incy);                 \
  }
ORB_CBLAS_VECTORS(s, const float*, float*, float)
ORB_CBLAS_VECTORS(d, const double*, double*, double)
ORB_CBLAS_VECTORS(c, const void*, void*, c8)
ORB_CBLAS_VECTORS(z, const void*, void*, c16)
#undef ORB_CBLAS_VECTORS

#define ORB_CBLAS_REAL_AXPY(p, t)                                                           \
  void cblas_##p##axpy(const int n, const t alpha, const t* x, const int incx, t* y,        \
                       const int incy) {                                                    \
    orb_blas_##p##axpy(&n, &alpha, x, &incx, y, &incy);                                     \
  }                                                                                         \
  void cblas_##p##axpby(const int n, const t alpha, const t* x, const int incx, const t beta, \
                        t* y, const int incy) {                                             \
    orb_blas_##p##axpby(&n, &alpha, x, &incx, &beta, y, &incy);                             \
  }
ORB_CBLAS_REAL_AXPY(s, float)
ORB_CBLAS_REAL_AXPY(d, double)
#undef ORB_CBLAS_REAL_AXPY

#define ORB_CBLAS_COMPLEX_AXPY(p, c)                                                           \
  void cblas_##p##axpy(const int n, const void* alpha, const void* x, const int incx, void* y, \
                       const int incy) {                                                       \
    orb_blas_##p##axpy(&n, as<c>(alpha), as<c>(x), &incx, as<c>(y), &incy);                   \
  }                                                                                            \
  void cblas_##p##axpby(const int n, const void* alpha, const void* x, const int incx,         \
                        const void* beta, void* y, const int incy) {                           \
    orb_blas_##p##axpby(&n, as<c>(alpha), as<c>(x), &incx, as<c>(beta), as<c>(y), &incy);     \
  }
ORB_CBLAS_COMPLEX_AXPY(c, c8)
ORB_CBLAS_COMPLEX_AXPY(z, c16)
#undef ORB_CBLAS_COMPLEX_AXPY

// ---- Rotations.

#define ORB_CBLAS_REAL_ROT(p, t)                                                                 \
  void cblas_##p##rotg(t* a, t* b, t* c, t* s) { orb_blas_##p##rotg(a, b, c, s); }              \
  void cblas_##p##rotmg(t* d1, t* d2, t* b1, const t b2, t* param) {                            \
    orb_blas_##p##rotmg(d1, d2, b1, &b2, param);                                                 \
  }                                                                                              \
  void cblas_##p##rot(const int n, t* x, const int incx, t* y, const int incy, const t c,       \
                      const t s) {                                                               \
    orb_blas_##p##rot(&n, x, &incx, y, &incy, &c, &s);                                           \
  }                                                                                              \
  void cblas_##p##rotm(const int n, t* x, const int incx, t* y, const int incy, const t* param) { \
    orb_blas_##p##rotm(&n, x, &incx, y, &incy, param);                                           \
  }
ORB_CBLAS_REAL_ROT(s, float)
ORB_CBLAS_REAL_ROT(d, double)
#undef ORB_CBLAS_REAL_ROT

#define ORB_CBLAS_COMPLEX_ROT(p, rp, t, c)                                                       \
  void cblas_##p##rotg(void* a, void* b, t* cs, void* s) {                                       \
    orb_blas_##p##rotg(as<c>(a), as<c>(b), cs, as<c>(s));                                        \
  }                                                                                              \
  void cblas_##p##rot(const int n, void* x, const int incx, void* y, const int incy, const t cs, \
                      const void* s) {                                                           \
    orb_blas_##p##rot(&n, as<c>(x), &incx, as<c>(y), &incy, &cs, as<c>(s));                      \
  }                                                                                              \
  void cblas_##p##rp##rot(const int n, void* x, const int incx, void* y, const int incy,         \
                          const t cs, const t s) {                                               \
    orb_blas_##p##rp##rot(&n, as<c>(x), &incx, as<c>(y), &incy, &cs, &s);                        \
  }
ORB_CBLAS_COMPLEX_ROT(c, s, float, c8)
ORB_CBLAS_COMPLEX_ROT(z, d, double, c16)
#undef ORB_CBLAS_COMPLEX_ROT

// ---- Scaling.

void cblas_sscal(const int n, const float alpha, float* x, const int incx) {
  orb_blas_sscal(&n, &alpha, x, &incx);
}
void cblas_dscal(const int n, const double alpha, double* x, const int incx) {
  orb_blas_dscal(&n, &alpha, x, &incx);
}
void cblas_cscal(const int n, const void* alpha, void* x, const int incx) {
  orb_blas_cscal(&n, as<c8>(alpha), as<c8>(x), &incx);
}
void cblas_zscal(const int n, const void* alpha, void* x, const int incx) {
  orb_blas_zscal(&n, as<c16>(alpha), as<c16>(x), &incx);
}
void cblas_csscal(const int n, const float alpha, void* x, const int incx) {
  orb_blas_csscal(&n, &alpha, as<c8>(x), &incx);
}
void cblas_zdscal(const int n, const double alpha, void* x, const int incx) {
  orb_blas_zdscal(&n, &alpha, as<c16>(x), &incx);
}

float cblas_scabs1(const void* c) { return orb_blas_scabs1(as<c8>(c)); }
double cblas_dcabs1(const void* z) { return orb_blas_dcabs1(as<c16>(z)); }

}  // extern "C"
