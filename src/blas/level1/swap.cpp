// x <-> y.
#include <cstddef>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

// Swaps lanes [0, live) of the two vectors at x and y.
template <class T>
inline void swap_mask(T* x, T* y, int live) {
  using V = vec<T>;
  const V a = V::load_mask(x, live), b = V::load_mask(y, live);
  b.store_mask(x, live);
  a.store_mask(y, live);
}

template <class E>
void swap_vectors(const int* pn, E* x, const int* pincx, E* y, const int* pincy) {
  using T = typename real_of<E>::type;
  using V = vec<T>;
  constexpr int N = V::N;
  constexpr int P = int(sizeof(E) / sizeof(T));
  const int n = *pn;
  if (n < 1) return;
  const int incx = *pincx, incy = *pincy;

  if (incx == 1 && incy == 1 && n >= 16) {
    T* xr = reinterpret_cast<T*>(x);
    T* yr = reinterpret_cast<T*>(y);
    const std::ptrdiff_t m = std::ptrdiff_t(n) * P;
    // Peel so that the stores to y are aligned, as in axpy.
    const std::ptrdiff_t peel = peel64(yr, m > N ? N : int(m));
    if (peel > 0) swap_mask(xr, yr, int(peel));
    std::ptrdiff_t i = peel;
    for (; i + 2 * N <= m; i += 2 * N) {
      const V a0 = V::loadu(xr + i), a1 = V::loadu(xr + i + N);
      const V b0 = V::loadu(yr + i), b1 = V::loadu(yr + i + N);
      b0.storeu(xr + i), b1.storeu(xr + i + N);
      a0.storeu(yr + i), a1.storeu(yr + i + N);
    }
    if (i + N <= m) {
      const V a = V::loadu(xr + i), b = V::loadu(yr + i);
      b.storeu(xr + i);
      a.storeu(yr + i);
      i += N;
    }
    if (i < m) swap_mask(xr + i, yr + i, int(m - i));
    return;
  }

  // Two elements a step. Each exchange completes before the next starts, so
  // an increment of 0 behaves as the element-by-element definition says.
  E* xs = x + first(n, incx);
  E* ys = y + first(n, incy);
  int i = 0;
  for (; i + 2 <= n; i += 2) {
    E* p0 = xs + std::ptrdiff_t(i) * incx;
    E* q0 = ys + std::ptrdiff_t(i) * incy;
    const E t0 = *p0;
    *p0 = *q0;
    *q0 = t0;
    E* p1 = p0 + incx;
    E* q1 = q0 + incy;
    const E t1 = *p1;
    *p1 = *q1;
    *q1 = t1;
  }
  if (i < n) {
    E* p = xs + std::ptrdiff_t(i) * incx;
    E* q = ys + std::ptrdiff_t(i) * incy;
    const E t = *p;
    *p = *q;
    *q = t;
  }
}

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API void ORB_BLAS(xsswap)(const int* n, float* x, const int* incx, float* y, const int* incy) {
  swap_vectors(n, x, incx, y, incy);
}
ORB_API void ORB_BLAS(xdswap)(const int* n, double* x, const int* incx, double* y, const int* incy) {
  swap_vectors(n, x, incx, y, incy);
}
ORB_API void ORB_BLAS(xcswap)(const int* n, orb_complex8* x, const int* incx, orb_complex8* y, const int* incy) {
  swap_vectors(n, x, incx, y, incy);
}
ORB_API void ORB_BLAS(xzswap)(const int* n, orb_complex16* x, const int* incx, orb_complex16* y, const int* incy) {
  swap_vectors(n, x, incx, y, incy);
}
