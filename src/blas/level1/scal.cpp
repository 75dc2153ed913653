// x := alpha x.
//
// Every element is multiplied, whatever alpha is: there is no shortcut for
// alpha 0 or 1, so 0 times a NaN or an infinity stays a NaN, as the
// arithmetic says. A negative increment walks from the far end (the same
// elements); any other stride, zero included, is walked as given.
#include <cmath>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

// Unit-stride walk applying op to every vector of n reals: one masked step
// brings x to 64 bytes, then four vectors a step, then two, one and a
// masked rest. Pairs: the reals are interleaved complex numbers and the
// peel must keep them whole.
template <class T, bool Pairs, class Op>
void scal_walk(int n, T* x, const Op& op) {
  using V = vec<T>;
  constexpr int N = V::N;
  int i = 0;
  if (!Pairs || addr(x) % (2 * sizeof(T)) == 0) {
    const int peel = peel64(x, n);
    if (peel > 0) {
      op(V::load_mask(x, peel)).store_mask(x, peel);
      i = peel;
    }
  }
  for (; i + 4 * N <= n; i += 4 * N) {
    const V v0 = op(V::loadu(x + i)), v1 = op(V::loadu(x + i + N));
    const V v2 = op(V::loadu(x + i + 2 * N)), v3 = op(V::loadu(x + i + 3 * N));
    v0.storeu(x + i);
    v1.storeu(x + i + N);
    v2.storeu(x + i + 2 * N);
    v3.storeu(x + i + 3 * N);
  }
  if (i + 2 * N <= n) {
    const V v0 = op(V::loadu(x + i)), v1 = op(V::loadu(x + i + N));
    v0.storeu(x + i);
    v1.storeu(x + i + N);
    i += 2 * N;
  }
  if (i + N <= n) {
    op(V::loadu(x + i)).storeu(x + i);
    i += N;
  }
  if (i < n) op(V::load_mask(x + i, n - i)).store_mask(x + i, n - i);
}

// Strided: n elements of size `parts` reals, s reals apart, each real
// multiplied by alpha.
template <class T>
void scal_strided(int n, T alpha, T* x, std::ptrdiff_t s, int parts) {
  int i = 0;
  if (parts == 1) {
    for (; i + 4 <= n; i += 4, x += 4 * s) {
      x[0] = alpha * x[0];
      x[s] = alpha * x[s];
      x[2 * s] = alpha * x[2 * s];
      x[3 * s] = alpha * x[3 * s];
    }
    for (; i < n; ++i, x += s) *x = alpha * *x;
  } else {
    for (; i < n; ++i, x += s) {
      x[0] = alpha * x[0];
      x[1] = alpha * x[1];
    }
  }
}

template <class T>
void scal_real(const int* pn, const T* palpha, T* x, const int* pincx) {
  using V = vec<T>;
  const int n = *pn;
  if (n < 1) return;
  const T alpha = *palpha;
  const int incx = *pincx;
  if (incx == 1) {
    const V va = V::set1(alpha);
    scal_walk<T, false>(n, x, [&](const V& v) { return va * v; });
    return;
  }
  scal_strided(n, alpha, x + first(n, incx), incx, 1);
}

// Real alpha on complex x: both parts times alpha.
template <class T, class C>
void scal_real_complex(const int* pn, const T* palpha, C* x, const int* pincx) {
  using V = vec<T>;
  const int n = *pn;
  if (n < 1) return;
  const T alpha = *palpha;
  const int incx = *pincx;
  T* xs = reinterpret_cast<T*>(x);
  if (incx == 1) {
    const V va = V::set1(alpha);
    scal_walk<T, true>(2 * n, xs, [&](const V& v) { return va * v; });
    return;
  }
  scal_strided(n, alpha, reinterpret_cast<T*>(x + first(n, incx)), 2 * std::ptrdiff_t(incx), 2);
}

// Complex alpha by a crossed multiply:
//   re = fma(ar, xr, -ai xi),  im = fma(ar, xi, ai xr).
template <class T, class C>
void scal_complex(const int* pn, const C* palpha, C* x, const int* pincx) {
  using V = vec<T>;
  constexpr int N = V::N;
  const int n = *pn;
  if (n < 1) return;
  const T ar = palpha->re, ai = palpha->im;
  const int incx = *pincx;
  if (incx == 1) {
    alignas(64) T pat[N];
    for (int l = 0; l < N; ++l) pat[l] = (l & 1) ? ai : -ai;
    const V var = V::set1(ar), vais = V::loadu(pat);
    scal_walk<T, true>(2 * n, reinterpret_cast<T*>(x),
                       [&](V v) {
                         simd::pin(v);
                         return fma(var, v, vais * swap_pairs(v));
                       });
    return;
  }
  T* p = reinterpret_cast<T*>(x + first(n, incx));
  const std::ptrdiff_t s = 2 * std::ptrdiff_t(incx);
  for (int i = 0; i < n; ++i, p += s) {
    const T xr = p[0], xi = p[1];
    p[0] = std::fma(ar, xr, -ai * xi);
    p[1] = std::fma(ar, xi, ai * xr);
  }
}

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API void ORB_BLAS(xsscal)(const int* n, const float* alpha, float* x, const int* incx) {
  scal_real(n, alpha, x, incx);
}
ORB_API void ORB_BLAS(xdscal)(const int* n, const double* alpha, double* x, const int* incx) {
  scal_real(n, alpha, x, incx);
}
ORB_API void ORB_BLAS(xcscal)(const int* n, const orb_complex8* alpha, orb_complex8* x, const int* incx) {
  scal_complex<float>(n, alpha, x, incx);
}
ORB_API void ORB_BLAS(xzscal)(const int* n, const orb_complex16* alpha, orb_complex16* x, const int* incx) {
  scal_complex<double>(n, alpha, x, incx);
}
ORB_API void ORB_BLAS(xcsscal)(const int* n, const float* alpha, orb_complex8* x, const int* incx) {
  scal_real_complex(n, alpha, x, incx);
}
ORB_API void ORB_BLAS(xzdscal)(const int* n, const double* alpha, orb_complex16* x, const int* incx) {
  scal_real_complex(n, alpha, x, incx);
}
