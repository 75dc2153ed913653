// Real dot products. The order of accumulation is fixed by n and the
// increments alone, never by alignment, so the same call gives the same bits
// on every build and every address.
#include <cmath>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

template <class T>
T dot_real(const int* pn, const T* x, const int* pincx, const T* y, const int* pincy) {
  using V = vec<T>;
  constexpr int N = V::N;
  const int n = *pn;
  if (n < 1) return T(0);
  const int incx = *pincx, incy = *pincy;

  if (incx == 1 && incy == 1) {
    V a0 = V::zero(), a1 = V::zero(), a2 = V::zero(), a3 = V::zero();
    int i = 0;
    const int main_end = n & ~(4 * N - 1);
    for (; i < main_end; i += 4 * N) {
      a0 = fma(V::loadu(y + i), V::loadu(x + i), a0);
      a1 = fma(V::loadu(y + i + N), V::loadu(x + i + N), a1);
      a2 = fma(V::loadu(y + i + 2 * N), V::loadu(x + i + 2 * N), a2);
      a3 = fma(V::loadu(y + i + 3 * N), V::loadu(x + i + 3 * N), a3);
    }
    if (n & (2 * N)) {
      a0 = fma(V::loadu(y + i), V::loadu(x + i), a0);
      a1 = fma(V::loadu(y + i + N), V::loadu(x + i + N), a1);
      i += 2 * N;
    }
    if (n & N) {
      a0 = fma(V::loadu(y + i), V::loadu(x + i), a0);
      i += N;
    }
    if (n & (N - 1)) {
      const int r = n & (N - 1);
      a0 = fma(V::load_mask(y + i, r), V::load_mask(x + i, r), a0);
    }
    return simd::reduce_add((a0 + a1) + (a2 + a3));
  }

  const T* xs = x + first(n, incx);
  const T* ys = y + first(n, incy);
  auto X = [&](int i) { return xs[std::ptrdiff_t(i) * incx]; };
  auto Y = [&](int i) { return ys[std::ptrdiff_t(i) * incy]; };
  T s0 = 0, s1 = 0, s2 = 0, s3 = 0;
  int i = 0;
  for (; i < (n & ~3); i += 4) {
    s0 = std::fma(X(i), Y(i), s0);
    s1 = std::fma(X(i + 1), Y(i + 1), s1);
    s2 = std::fma(X(i + 2), Y(i + 2), s2);
    s3 = std::fma(X(i + 3), Y(i + 3), s3);
  }
  T t0 = s0 + s2, t1 = s1 + s3;
  if (n & 2) {
    t0 = std::fma(X(i), Y(i), t0);
    t1 = std::fma(X(i + 1), Y(i + 1), t1);
    i += 2;
  }
  T s = t0 + t1;
  if (n & 1) s = std::fma(X(i), Y(i), s);
  return s;
}

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API float ORB_BLAS(xsdot)(const int* n, const float* x, const int* incx, const float* y, const int* incy) {
  return dot_real(n, x, incx, y, incy);
}
ORB_API double ORB_BLAS(xddot)(const int* n, const double* x, const int* incx, const double* y, const int* incy) {
  return dot_real(n, x, incx, y, incy);
}
