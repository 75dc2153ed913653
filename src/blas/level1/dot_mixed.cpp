// Dot products of single-precision vectors accumulated in double.
//
// Every element is widened to double first. The product of two widened
// floats is exact in double, so each fused step rounds once, in the sum.
// The order of accumulation follows the double dot product: at unit stride
// four vector sums on blocks of 32, then 16, 8 and a masked rest; otherwise
// four scalar sums on element i mod 4.
#include <cmath>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

double dot_widened(const int* pn, const float* x, const int* pincx, const float* y, const int* pincy) {
  using V = vec<double>;
  constexpr int N = V::N;
  const int n = *pn;
  int incx = *pincx, incy = *pincy;
  // Both walking backwards pairs the same elements as both walking forwards.
  if (incx < 0 && incy < 0) incx = -incx, incy = -incy;

  if (incx == 1 && incy == 1) {
    V a0 = V::zero(), a1 = V::zero(), a2 = V::zero(), a3 = V::zero();
    int i = 0;
    const int main_end = n & ~(4 * N - 1);
    for (; i < main_end; i += 4 * N) {
      a0 = fma(V::load_cvt(y + i), V::load_cvt(x + i), a0);
      a1 = fma(V::load_cvt(y + i + N), V::load_cvt(x + i + N), a1);
      a2 = fma(V::load_cvt(y + i + 2 * N), V::load_cvt(x + i + 2 * N), a2);
      a3 = fma(V::load_cvt(y + i + 3 * N), V::load_cvt(x + i + 3 * N), a3);
    }
    if (n & (2 * N)) {
      a0 = fma(V::load_cvt(y + i), V::load_cvt(x + i), a0);
      a1 = fma(V::load_cvt(y + i + N), V::load_cvt(x + i + N), a1);
      i += 2 * N;
    }
    if (n & N) {
      a0 = fma(V::load_cvt(y + i), V::load_cvt(x + i), a0);
      i += N;
    }
    if (n & (N - 1)) {
      const int r = n & (N - 1);
      a0 = fma(V::load_cvt_mask(y + i, r), V::load_cvt_mask(x + i, r), a0);
    }
    return simd::reduce_add((a0 + a1) + (a2 + a3));
  }

  const float* xs = x + first(n, incx);
  const float* ys = y + first(n, incy);
  const std::ptrdiff_t sx = incx, sy = incy;
  auto X = [&](int i) { return double(xs[i * sx]); };
  auto Y = [&](int i) { return double(ys[i * sy]); };
  double s0 = 0, s1 = 0, s2 = 0, s3 = 0;
  int i = 0;
  for (; i < (n & ~7); i += 8) {
    s0 = std::fma(X(i), Y(i), s0);
    s1 = std::fma(X(i + 1), Y(i + 1), s1);
    s2 = std::fma(X(i + 2), Y(i + 2), s2);
    s3 = std::fma(X(i + 3), Y(i + 3), s3);
    s0 = std::fma(X(i + 4), Y(i + 4), s0);
    s1 = std::fma(X(i + 5), Y(i + 5), s1);
    s2 = std::fma(X(i + 6), Y(i + 6), s2);
    s3 = std::fma(X(i + 7), Y(i + 7), s3);
  }
  if (n & 4) {
    s0 = std::fma(X(i), Y(i), s0);
    s1 = std::fma(X(i + 1), Y(i + 1), s1);
    s2 = std::fma(X(i + 2), Y(i + 2), s2);
    s3 = std::fma(X(i + 3), Y(i + 3), s3);
    i += 4;
  }
  double t0 = s0 + s2, t1 = s1 + s3;
  if (n & 2) {
    t0 = std::fma(X(i), Y(i), t0);
    t1 = std::fma(X(i + 1), Y(i + 1), t1);
    i += 2;
  }
  double s = t0 + t1;
  if (n & 1) s = std::fma(X(i), Y(i), s);
  return s;
}

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API double ORB_BLAS(xdsdot)(const int* n, const float* x, const int* incx, const float* y, const int* incy) {
  if (*n < 1) return 0.0;
  return dot_widened(n, x, incx, y, incy);
}
// sb joins the double sum, and only the total is rounded to float.
ORB_API float ORB_BLAS(xsdsdot)(const int* n, const float* sb, const float* x, const int* incx, const float* y,
                                const int* incy) {
  if (*n < 1) return *sb;
  return float(double(*sb) + dot_widened(n, x, incx, y, incy));
}
