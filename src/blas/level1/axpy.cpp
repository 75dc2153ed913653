// y := alpha x + y.
#include <cmath>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

// Below this length the unit-stride path does not peel for alignment.
template <class T> constexpr int kPeelFrom = 0;
template <> constexpr int kPeelFrom<double> = 20;
template <> constexpr int kPeelFrom<float> = 39;

template <class T>
void axpy_real(const int* pn, const T* palpha, const T* x, const int* pincx, T* y, const int* pincy) {
  using V = vec<T>;
  constexpr int N = V::N;
  const int n = *pn;
  const T alpha = *palpha;
  if (n < 1 || alpha == T(0)) return;
  const int incx = *pincx, incy = *pincy;

  if (incx == 1 && incy == 1) {
    const V va = V::set1(alpha);
    int i = 0, end = 0;
    if (n >= kPeelFrom<T>) {
      const int peel = peel64(y, n);
      if (peel > 0) {
        fma(va, V::load_mask(x, peel), V::load_mask(y, peel)).store_mask(y, peel);
        if (peel == n) return;
      }
      i = peel;
      end = n - ((n - peel) & (N - 1));
    } else if (n >= N) {
      end = n & ~(N - 1);
    }
    for (; i < end; i += N) fma(va, V::loadu(x + i), V::loadu(y + i)).storeu(y + i);
    if (i < n) {
      const int r = n - i;
      fma(va, V::load_mask(x + i, r), V::load_mask(y + i, r)).store_mask(y + i, r);
    }
    return;
  }

  const T* xs = x + first(n, incx);
  if (incy != 0) {
    T* ys = y + first(n, incy);
    for (int i = 0; i < n; ++i)
      ys[std::ptrdiff_t(i) * incy] = std::fma(alpha, xs[std::ptrdiff_t(i) * incx], ys[std::ptrdiff_t(i) * incy]);
    return;
  }

  // Every update lands on y[0]: sum alpha x first, then add once.
  const V va = V::set1(alpha);
  V acc = V::zero();
  int i = 0;
  if (n >= 4 * N) {
    V a0 = V::zero(), a1 = V::zero(), a2 = V::zero(), a3 = V::zero();
    for (; i + 4 * N <= n; i += 4 * N) {
      const T* p = xs + std::ptrdiff_t(i) * incx;
      a0 = fma(V::gather(p, incx), va, a0);
      a1 = fma(V::gather(p + std::ptrdiff_t(N) * incx, incx), va, a1);
      a2 = fma(V::gather(p + std::ptrdiff_t(2 * N) * incx, incx), va, a2);
      a3 = fma(V::gather(p + std::ptrdiff_t(3 * N) * incx, incx), va, a3);
    }
    acc = (a0 + a1) + (a2 + a3);
  }
  for (; i < n; i += N) {
    const int r = n - i < N ? n - i : N;
    acc = fma(V::gather(xs + std::ptrdiff_t(i) * incx, incx, r), va, acc);
  }
  y[0] = y[0] + simd::reduce_add(acc);
}

// Complex: y += alpha x with alpha = (ar, ai). Each part is formed as
// yr + ar*xr - ai*xi and yi + ar*xi + ai*xr, two roundings of fused steps.
template <class C>
void axpy_complex(const int* pn, const C* palpha, const C* x, const int* pincx, C* y, const int* pincy) {
  using T = typename real_of<C>::type;
  const int n = *pn;
  const T ar = palpha->re, ai = palpha->im;
  if (n < 1 || (ar == T(0) && ai == T(0))) return;
  const int incx = *pincx, incy = *pincy;
  const T* xs = reinterpret_cast<const T*>(x + first(n, incx));
  T* ys = reinterpret_cast<T*>(y + first(n, incy));

  if (incx == 1 && incy == 1) {
    using V = vec<T>;
    constexpr int N = V::N;  // real lanes: N / 2 complex elements a vector
    // Lane pattern: even lanes real parts, odd lanes imaginary parts.
    alignas(64) T sgn[N];
    for (int l = 0; l < N; ++l) sgn[l] = (l & 1) ? T(1) : T(-1);
    const V var = V::set1(ar), vai = V::set1(ai), vs = V::loadu(sgn);
    const int total = 2 * n;
    int i = 0;
    for (; i + N <= total; i += N) {
      const V xv = V::loadu(xs + i);
      // Swapped pairs (xi, xr) come from a shifted gather of the same data.
      alignas(64) T sw[N];
      for (int l = 0; l < N; l += 2) sw[l] = xs[i + l + 1], sw[l + 1] = xs[i + l];
      const V xsw = V::loadu(sw);
      const V t = fma(vai * vs, xsw, V::loadu(ys + i));
      fma(var, xv, t).storeu(ys + i);
    }
    for (; i < total; i += 2) {
      const T xr = xs[i], xi = xs[i + 1];
      const T tr = std::fma(-ai, xi, ys[i]);
      const T ti = std::fma(ai, xr, ys[i + 1]);
      ys[i] = std::fma(ar, xr, tr);
      ys[i + 1] = std::fma(ar, xi, ti);
    }
    return;
  }
  if (incy == 0) {
    // Same rule as the real form: sum first, add once.
    T sr = 0, si = 0;
    for (int k = 0; k < n; ++k) {
      const T* p = xs + 2 * std::ptrdiff_t(k) * incx;
      sr = std::fma(ar, p[0], std::fma(-ai, p[1], sr));
      si = std::fma(ar, p[1], std::fma(ai, p[0], si));
    }
    reinterpret_cast<T*>(y)[0] += sr;
    reinterpret_cast<T*>(y)[1] += si;
    return;
  }
  for (int k = 0; k < n; ++k) {
    const T* p = xs + 2 * std::ptrdiff_t(k) * incx;
    T* q = ys + 2 * std::ptrdiff_t(k) * incy;
    const T xr = p[0], xi = p[1];
    const T tr = std::fma(-ai, xi, q[0]);
    const T ti = std::fma(ai, xr, q[1]);
    q[0] = std::fma(ar, xr, tr);
    q[1] = std::fma(ar, xi, ti);
  }
}

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API void ORB_BLAS(xsaxpy)(const int* n, const float* alpha, const float* x, const int* incx, float* y, const int* incy) {
  axpy_real(n, alpha, x, incx, y, incy);
}
ORB_API void ORB_BLAS(xdaxpy)(const int* n, const double* alpha, const double* x, const int* incx, double* y, const int* incy) {
  axpy_real(n, alpha, x, incx, y, incy);
}
ORB_API void ORB_BLAS(xcaxpy)(const int* n, const orb_complex8* alpha, const orb_complex8* x, const int* incx, orb_complex8* y, const int* incy) {
  axpy_complex(n, alpha, x, incx, y, incy);
}
ORB_API void ORB_BLAS(xzaxpy)(const int* n, const orb_complex16* alpha, const orb_complex16* x, const int* incx, orb_complex16* y, const int* incy) {
  axpy_complex(n, alpha, x, incx, y, incy);
}
