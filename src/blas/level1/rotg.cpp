// Construction of a plane rotation that zeroes the second of two values.
#include <cmath>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

// Each product of a complex multiply stays rounded on its own (simd.hpp).
using simd::opaque;

// Real (a, b): r = +-sqrt(a^2 + b^2) with the sign of the larger of the two
// (of b on a tie), c = a / r, s = b / r, and the reconstruction value z in
// b: s when |a| > |b|, else 1 / c (1 when c is 0). Both values are scaled by
// |a| + |b| before squaring, so no square overflows or underflows where the
// result itself is representable.
template <class T>
void rotg_real(T* pa, T* pb, T* pc, T* ps) {
  const T a = *pa, b = *pb;
  const T aa = std::fabs(a), ab = std::fabs(b);
  const T roe = aa > ab ? a : b;
  const T scale = aa + ab;
  if (scale == T(0)) {
    *pc = T(1);
    *ps = T(0);
    *pa = T(0);
    *pb = T(0);
    return;
  }
  const T ta = a / scale, tb = b / scale;
  const T r = std::copysign(T(1), roe) * scale * std::sqrt(std::fma(ta, ta, tb * tb));
  const T c = a / r, s = b / r;
  T z = T(1);
  if (aa > ab)
    z = s;
  else if (c != T(0))
    z = T(1) / c;
  *pc = c;
  *ps = s;
  *pa = r;
  *pb = z;
}

// Complex (a, b), real c: with |a| = 0 the rotation swaps, c = 0, s = 1 and
// a takes b. Otherwise norm = sqrt(|a|^2 + |b|^2) formed on a / scale and
// b / scale, alpha = a / |a|, c = |a| / norm, s = alpha conj(b) / norm and
// a := alpha norm. Moduli are taken as the C library's hypot does.
template <class C>
void rotg_complex(C* pa, const C* pb, typename real_of<C>::type* pc, C* ps) {
  using T = typename real_of<C>::type;
  const T ar = pa->re, ai = pa->im, br = pb->re, bi = pb->im;
  const T aa = std::hypot(ar, ai);
  if (aa == T(0)) {
    *pc = T(0);
    ps->re = T(1);
    ps->im = T(0);
    pa->re = br;
    pa->im = bi;
    return;
  }
  const T scale = aa + std::hypot(br, bi);
  const T ma = std::hypot(ar / scale, ai / scale), mb = std::hypot(br / scale, bi / scale);
  const T norm = scale * std::sqrt(ma * ma + mb * mb);
  const T alr = ar / aa, ali = ai / aa;
  *pc = aa / norm;
  ps->re = (opaque(alr * br) + opaque(ali * bi)) / norm;
  ps->im = (opaque(ali * br) - opaque(alr * bi)) / norm;
  pa->re = alr * norm;
  pa->im = ali * norm;
}

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API void ORB_BLAS(srotg)(float* a, float* b, float* c, float* s) { rotg_real(a, b, c, s); }
ORB_API void ORB_BLAS(drotg)(double* a, double* b, double* c, double* s) { rotg_real(a, b, c, s); }
ORB_API void ORB_BLAS(crotg)(orb_complex8* a, const orb_complex8* b, float* c, orb_complex8* s) {
  rotg_complex(a, b, c, s);
}
ORB_API void ORB_BLAS(zrotg)(orb_complex16* a, const orb_complex16* b, double* c, orb_complex16* s) {
  rotg_complex(a, b, c, s);
}
