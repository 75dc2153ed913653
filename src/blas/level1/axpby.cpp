// y := alpha x + beta y.
//
// Two bodies: beta == 0 forms alpha x and never reads y (so a y full of NaN
// or garbage is simply overwritten), any other beta forms fma(alpha, x,
// beta y). With beta == 1 that is exactly the rounding of axpy. Alpha == 0 is
// no special case unless beta is 1 as well: x is still read, so a NaN in x
// reaches y as it would through the arithmetic.
#include <cmath>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

template <class T> constexpr int kPeelFrom = 0;
template <> constexpr int kPeelFrom<double> = 20;
template <> constexpr int kPeelFrom<float> = 39;

// Unit-stride walk over n reals of x and y, applying op(xv, yv) -> new y.
// ReadY false: y is only written (op gets zeros). Pairs true: the arrays are
// interleaved complex numbers, so the peel must keep pairs whole.
template <class T, bool ReadY, bool Pairs, class Op>
void walk(int n, const T* x, T* y, const Op& op) {
  using V = vec<T>;
  constexpr int N = V::N;
  auto ld = [&](int i) { return ReadY ? V::loadu(y + i) : V::zero(); };
  auto ldm = [&](int i, int r) { return ReadY ? V::load_mask(y + i, r) : V::zero(); };
  int i = 0, end = 0;
  if (n >= kPeelFrom<T>) {
    int peel = 0;
    if (!Pairs || addr(y) % (2 * sizeof(T)) == 0) peel = peel64(y, n);
    if (peel > 0) {
      op(V::load_mask(x, peel), ldm(0, peel)).store_mask(y, peel);
      if (peel == n) return;
    }
    i = peel;
    end = n - ((n - peel) & (N - 1));
  } else if (n >= N) {
    end = n & ~(N - 1);
  }
  for (; i + 2 * N <= end; i += 2 * N) {
    const V y0 = op(V::loadu(x + i), ld(i));
    const V y1 = op(V::loadu(x + i + N), ld(i + N));
    y0.storeu(y + i);
    y1.storeu(y + i + N);
  }
  if (i < end) {
    op(V::loadu(x + i), ld(i)).storeu(y + i);
    i += N;
  }
  if (i < n) {
    const int r = n - i;
    op(V::load_mask(x + i, r), ldm(i, r)).store_mask(y + i, r);
  }
}

template <class T>
void axpby_real(const int* pn, const T* palpha, const T* x, const int* pincx, const T* pbeta, T* y,
                const int* pincy) {
  using V = vec<T>;
  const int n = *pn;
  if (n < 1) return;
  const T alpha = *palpha, beta = *pbeta;
  if (alpha == T(0) && beta == T(1)) return;
  const int incx = *pincx, incy = *pincy;

  if (incx == 1 && incy == 1) {
    const V va = V::set1(alpha), vb = V::set1(beta);
    if (beta == T(0))
      walk<T, false, false>(n, x, y, [&](const V& xv, const V&) { return va * xv; });
    else
      walk<T, true, false>(n, x, y, [&](const V& xv, const V& yv) { return fma(va, xv, vb * yv); });
    return;
  }
  // Strided, in order, so that incy == 0 sees every update in turn.
  const T* xs = x + first(n, incx);
  T* ys = y + first(n, incy);
  const std::ptrdiff_t sx = incx, sy = incy;
  if (beta == T(0))
    for (int i = 0; i < n; ++i, xs += sx, ys += sy) *ys = alpha * *xs;
  else
    for (int i = 0; i < n; ++i, xs += sx, ys += sy) *ys = std::fma(alpha, *xs, beta * *ys);
}

// Complex, per element with alpha = (ar, ai), beta = (br, bi):
//   beta == 0:  re = fma(ar, xr, -ai xi),  im = fma(ar, xi, ai xr)
//   otherwise:  t = beta y as re = fma(br, yr, -bi yi), im = fma(br, yi, bi yr),
//               then t += (-ai xi, ai xr) and t += ar x, each fused.
template <class T>
inline void caxpby_one(T ar, T ai, T br, T bi, const T* p, T* q) {
  const T xr = p[0], xi = p[1], yr = q[0], yi = q[1];
  T tr = std::fma(br, yr, -bi * yi);
  T ti = std::fma(br, yi, bi * yr);
  tr = std::fma(-ai, xi, tr);
  ti = std::fma(ai, xr, ti);
  q[0] = std::fma(ar, xr, tr);
  q[1] = std::fma(ar, xi, ti);
}
template <class T>
inline void cax_one(T ar, T ai, const T* p, T* q) {
  const T xr = p[0], xi = p[1];
  q[0] = std::fma(ar, xr, -ai * xi);
  q[1] = std::fma(ar, xi, ai * xr);
}

template <class C>
void axpby_complex(const int* pn, const C* palpha, const C* x, const int* pincx, const C* pbeta, C* y,
                   const int* pincy) {
  using T = typename real_of<C>::type;
  using V = vec<T>;
  constexpr int N = V::N;
  const int n = *pn;
  if (n < 1) return;
  const T ar = palpha->re, ai = palpha->im, br = pbeta->re, bi = pbeta->im;
  if (ar == T(0) && ai == T(0) && br == T(1) && bi == T(0)) return;
  const bool beta0 = br == T(0) && bi == T(0);
  const int incx = *pincx, incy = *pincy;

  if (incx == 1 && incy == 1) {
    alignas(64) T pa[N], pb[N];
    for (int l = 0; l < N; ++l) pa[l] = (l & 1) ? ai : -ai, pb[l] = (l & 1) ? bi : -bi;
    const V var = V::set1(ar), vais = V::loadu(pa), vbr = V::set1(br), vbis = V::loadu(pb);
    const T* xs = reinterpret_cast<const T*>(x);
    T* ys = reinterpret_cast<T*>(y);
    if (beta0)
      walk<T, false, true>(2 * n, xs, ys, [&](V xv, const V&) {
        simd::pin(xv);
        return fma(var, xv, vais * swap_pairs(xv));
      });
    else
      walk<T, true, true>(2 * n, xs, ys, [&](V xv, V yv) {
        simd::pin(xv);
        simd::pin(yv);
        const V t = fma(vbr, yv, vbis * swap_pairs(yv));
        return fma(var, xv, fma(vais, swap_pairs(xv), t));
      });
    return;
  }
  const T* xs = reinterpret_cast<const T*>(x + first(n, incx));
  T* ys = reinterpret_cast<T*>(y + first(n, incy));
  const std::ptrdiff_t sx = 2 * std::ptrdiff_t(incx), sy = 2 * std::ptrdiff_t(incy);
  if (beta0)
    for (int i = 0; i < n; ++i, xs += sx, ys += sy) cax_one(ar, ai, xs, ys);
  else
    for (int i = 0; i < n; ++i, xs += sx, ys += sy) caxpby_one(ar, ai, br, bi, xs, ys);
}

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API void ORB_BLAS(xsaxpby)(const int* n, const float* alpha, const float* x, const int* incx, const float* beta,
                               float* y, const int* incy) {
  axpby_real(n, alpha, x, incx, beta, y, incy);
}
ORB_API void ORB_BLAS(xdaxpby)(const int* n, const double* alpha, const double* x, const int* incx,
                               const double* beta, double* y, const int* incy) {
  axpby_real(n, alpha, x, incx, beta, y, incy);
}
ORB_API void ORB_BLAS(xcaxpby)(const int* n, const orb_complex8* alpha, const orb_complex8* x, const int* incx,
                               const orb_complex8* beta, orb_complex8* y, const int* incy) {
  axpby_complex(n, alpha, x, incx, beta, y, incy);
}
ORB_API void ORB_BLAS(xzaxpby)(const int* n, const orb_complex16* alpha, const orb_complex16* x, const int* incx,
                               const orb_complex16* beta, orb_complex16* y, const int* incy) {
  axpby_complex(n, alpha, x, incx, beta, y, incy);
}
