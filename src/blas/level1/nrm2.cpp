// Euclidean norms, with no scaling of any kind.
//
// Double and double complex: the squares are summed in the x87 extended
// format. Its 15-bit exponent holds the square of any double, so nothing
// overflows or underflows on the way and no scaling pass is needed; the
// square root is taken in that format too, and rounded to double once at
// the end. The precision control is set to extended for the duration of the
// call and restored after, whatever the caller had.
//
// Single and single complex: each element is widened to double, where its
// square is exact and cannot overflow, and the squares are summed with
// fused multiply-adds in double; the square root is rounded to float.
//
// The increment enters by its absolute value: the set of elements is the
// same either way. n < 1 gives 0.
#include <cmath>
#include <cstdlib>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

// Sets the x87 precision control to 64-bit mantissas (bits 8-9 of the
// control word) and restores the caller's control word on the way out.
class ExtendedPrecision {
 public:
  ExtendedPrecision() {
    __asm__ volatile("fnstcw %0" : "=m"(saved_) : : "memory");
    unsigned short cw = saved_ | 0x300;
    __asm__ volatile("fldcw %0" : : "m"(cw) : "memory");
  }
  ~ExtendedPrecision() { __asm__ volatile("fldcw %0" : : "m"(saved_) : "memory"); }
  ExtendedPrecision(const ExtendedPrecision&) = delete;
  ExtendedPrecision& operator=(const ExtendedPrecision&) = delete;

 private:
  unsigned short saved_;
};

// Square root in extended precision, pinned before the control word goes
// back: the barrier keeps the compiler from moving the root past it.
inline long double root(long double s) {
  long double r = sqrtl(s);
  __asm__ volatile("" : "+t"(r));
  return r;
}

// Sum of squares of n doubles at unit stride: four sums, element i to sum
// i mod 4, eight elements a step with the next lines fetched 512 bytes ahead.
long double sumsq_unit(int n, const double* x) {
  long double a0 = 0, a1 = 0, a2 = 0, a3 = 0;
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    __builtin_prefetch(x + i + 64);
    const long double v0 = x[i], v1 = x[i + 1], v2 = x[i + 2], v3 = x[i + 3];
    a0 += v0 * v0;
    a1 += v1 * v1;
    a2 += v2 * v2;
    a3 += v3 * v3;
    const long double v4 = x[i + 4], v5 = x[i + 5], v6 = x[i + 6], v7 = x[i + 7];
    a0 += v4 * v4;
    a1 += v5 * v5;
    a2 += v6 * v6;
    a3 += v7 * v7;
  }
  const int r = n - i;  // fewer than 8, still on sum (element mod 4)
  auto sq = [&](int k) { const long double v = x[i + k]; return v * v; };
  if (r > 0) a0 += sq(0);
  if (r > 1) a1 += sq(1);
  if (r > 2) a2 += sq(2);
  if (r > 3) a3 += sq(3);
  if (r > 4) a0 += sq(4);
  if (r > 5) a1 += sq(5);
  if (r > 6) a2 += sq(6);
  return (a0 + a1) + (a2 + a3);
}

// One sum, in order.
long double sumsq_strided(int n, const double* x, std::ptrdiff_t s) {
  long double a = 0;
  for (int i = 0; i < n; ++i, x += s) {
    const long double v = *x;
    a += v * v;
  }
  return a;
}

// Widened single precision: four vector sums on blocks of 32, then 16, 8 and
// a masked rest, folded like the dot products.
double sumsq_unit(int n, const float* x) {
  using V = vec<double>;
  constexpr int N = V::N;
  V a0 = V::zero(), a1 = V::zero(), a2 = V::zero(), a3 = V::zero();
  int i = 0;
  for (; i + 4 * N <= n; i += 4 * N) {
    const V v0 = V::load_cvt(x + i), v1 = V::load_cvt(x + i + N);
    const V v2 = V::load_cvt(x + i + 2 * N), v3 = V::load_cvt(x + i + 3 * N);
    a0 = fma(v0, v0, a0);
    a1 = fma(v1, v1, a1);
    a2 = fma(v2, v2, a2);
    a3 = fma(v3, v3, a3);
  }
  if (i + 2 * N <= n) {
    const V v0 = V::load_cvt(x + i), v1 = V::load_cvt(x + i + N);
    a0 = fma(v0, v0, a0);
    a1 = fma(v1, v1, a1);
    i += 2 * N;
  }
  if (i + N <= n) {
    const V v0 = V::load_cvt(x + i);
    a0 = fma(v0, v0, a0);
    i += N;
  }
  if (i < n) {
    const V v0 = V::load_cvt_mask(x + i, n - i);
    a0 = fma(v0, v0, a0);
  }
  return simd::reduce_add((a0 + a1) + (a2 + a3));
}

// Four scalar sums on element i mod 4, combined as (s0 + s1) + (s2 + s3).
double sumsq_strided(int n, const float* x, std::ptrdiff_t s) {
  double a[4] = {0, 0, 0, 0};
  int i = 0;
  for (; i + 4 <= n; i += 4, x += 4 * s) {
    for (int k = 0; k < 4; ++k) {
      const double v = x[k * s];
      a[k] = std::fma(v, v, a[k]);
    }
  }
  for (int k = 0; i < n; ++i, ++k, x += s) {
    const double v = *x;
    a[k] = std::fma(v, v, a[k]);
  }
  return (a[0] + a[1]) + (a[2] + a[3]);
}

// Complex at other strides (s counts reals), double: real part then
// imaginary part of each element, one sum.
long double sumsq_pairs(int n, const double* x, std::ptrdiff_t s) {
  long double a = 0;
  for (int i = 0; i < n; ++i, x += s) {
    const long double re = x[0], im = x[1];
    a += re * re;
    a += im * im;
  }
  return a;
}
// Single: real and imaginary parts in two sums.
double sumsq_pairs(int n, const float* x, std::ptrdiff_t s) {
  double a = 0, b = 0;
  for (int i = 0; i < n; ++i, x += s) {
    const double re = x[0], im = x[1];
    a = std::fma(re, re, a);
    b = std::fma(im, im, b);
  }
  return a + b;
}

// Sum of squares of n elements of `parts` reals each (1 real, 2 complex),
// in the accumulator of T: long double for double, double for float.
template <class T>
auto sumsq(int n, const T* x, int incx, int parts) {
  if (incx == 1 || incx == -1) return sumsq_unit(parts * n, x);
  if (parts == 1) return sumsq_strided(n, x, std::abs(incx));
  return sumsq_pairs(n, x, 2 * std::ptrdiff_t(std::abs(incx)));
}

double dnrm2(int n, const double* x, int incx, int parts) {
  if (n < 1) return 0.0;
  ExtendedPrecision ext;
  return double(root(sumsq(n, x, incx, parts)));
}

float snrm2(int n, const float* x, int incx, int parts) {
  if (n < 1) return 0.0f;
  return float(std::sqrt(sumsq(n, x, incx, parts)));
}

}  // namespace
}  // namespace orb::l1

ORB_API float ORB_BLAS(xsnrm2)(const int* n, const float* x, const int* incx) {
  return orb::l1::snrm2(*n, x, *incx, 1);
}
ORB_API double ORB_BLAS(xdnrm2)(const int* n, const double* x, const int* incx) {
  return orb::l1::dnrm2(*n, x, *incx, 1);
}
ORB_API float ORB_BLAS(xscnrm2)(const int* n, const orb_complex8* x, const int* incx) {
  return orb::l1::snrm2(*n, reinterpret_cast<const float*>(x), *incx, 2);
}
ORB_API double ORB_BLAS(xdznrm2)(const int* n, const orb_complex16* x, const int* incx) {
  return orb::l1::dnrm2(*n, reinterpret_cast<const double*>(x), *incx, 2);
}
