// Mathematics for the kernels: the C library's sine and cosine, and sine
// and cosine of pi times x.
//
// sincospi reduces x before it meets pi: x = n/2 + f with n whole and
// |f| <= 1/4, both exact in floating point, so that whole and half-whole
// arguments give exactly 0 and +-1 (sin(pi) is 0, not 1.2e-16), and large
// arguments lose nothing to the rounding of pi * x. The remaining angle
// pi * f is formed in a wider type, so the results are within an ulp or so
// of the true values, and the same on every thread and every build.
#include <cmath>
#include <cstdint>

#include "orb/orb_service.h"

namespace {

constexpr long double kPiL = 3.141592653589793238462643383279502884L;

// Sine and cosine of pi * (n/2 + f) from sine and cosine of pi * f, by the
// quarter turn n mod 4.
template <class T>
void by_quadrant(std::int64_t n, T sf, T cf, T* s, T* c) {
  switch (n & 3) {
    case 0: *s = sf, *c = cf; break;
    case 1: *s = cf, *c = -sf; break;
    case 2: *s = -sf, *c = -cf; break;
    default: *s = -cf, *c = sf; break;
  }
}

// Zeros: sin(pi x) takes the sign of x, as sin does at 0; cos(pi x) is +0.
template <class T>
void tidy_zeros(T x, T* s, T* c) {
  if (*s == T(0)) *s = std::copysign(T(0), x);
  if (*c == T(0)) *c = T(0);
}

}  // namespace

extern "C" {

double orb_serv_libm_sin(double x) { return std::sin(x); }
double orb_serv_libm_cos(double x) { return std::cos(x); }
float orb_serv_libm_sinf(float x) { return std::sin(x); }
float orb_serv_libm_cosf(float x) { return std::cos(x); }

void orb_serv_libm_sincospi(double x, double* s, double* c) {
  double rs, rc;
  if (!std::isfinite(x)) {
    rs = rc = x - x;  // NaN for infinities and NaNs alike
  } else if (std::fabs(x) >= 0x1p53) {
    rs = std::copysign(0.0, x), rc = 1.0;  // every double this large is an even whole number
  } else {
    const double twice = std::nearbyint(2.0 * x);  // 2x is exact; |twice| < 2^54
    const double f = x - 0.5 * twice;              // exact: |f| <= 1/4
    const long double a = kPiL * f;
    by_quadrant<double>(std::int64_t(twice), double(std::sin(a)), double(std::cos(a)), &rs, &rc);
    tidy_zeros(x, &rs, &rc);
  }
  if (s) *s = rs;
  if (c) *c = rc;
}

void orb_serv_libm_sincospif(float x, float* s, float* c) {
  float rs, rc;
  if (!std::isfinite(x)) {
    rs = rc = x - x;
  } else if (std::fabs(x) >= 0x1p24f) {
    rs = std::copysign(0.0f, x), rc = 1.0f;
  } else {
    const float twice = std::nearbyint(2.0f * x);
    const float f = x - 0.5f * twice;
    const double a = double(kPiL) * double(f);
    by_quadrant<float>(std::int64_t(twice), float(std::sin(a)), float(std::cos(a)), &rs, &rc);
    tidy_zeros(x, &rs, &rc);
  }
  if (s) *s = rs;
  if (c) *c = rc;
}

}  // extern "C"
