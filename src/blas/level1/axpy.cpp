// y := alpha x + y.
#include <cmath>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

// Below this length the unit-stride path does not peel for alignment: the
// peel costs a masked step, which only pays off once the vector loop is long.
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
      // Peel so that the stores of the main loop land on 64-byte lines.
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
    // Element-wise fused updates: the unrolling only keeps several loads in
    // flight, each element still sees one fma.
    T* ys = y + first(n, incy);
    const std::ptrdiff_t sx = incx, sy = incy;
    int i = 0;
    for (; i + 4 <= n; i += 4) {
      const T x0 = xs[0], x1 = xs[sx], x2 = xs[2 * sx], x3 = xs[3 * sx];
      const T y0 = ys[0], y1 = ys[sy], y2 = ys[2 * sy], y3 = ys[3 * sy];
      ys[0] = std::fma(alpha, x0, y0);
      ys[sy] = std::fma(alpha, x1, y1);
      ys[2 * sy] = std::fma(alpha, x2, y2);
      ys[3 * sy] = std::fma(alpha, x3, y3);
      xs += 4 * sx;
      ys += 4 * sy;
    }
    for (; i < n; ++i, xs += sx, ys += sy) *ys = std::fma(alpha, *xs, *ys);
    return;
  }

  // Every update lands on y[0]: sum alpha x first, then add once. The sum
  // rounds differently from a chain of updates, on purpose: it is one
  // vector reduction instead of n dependent steps.
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
    // The dead lanes take 0 * 0, not 0 * alpha: an infinite alpha must not
    // turn them into NaN. The accumulator lanes are never -0, so adding +0
    // leaves them as they are.
    const V vr = r == N ? va : V::gather(&alpha, 0, r);
    acc = fma(V::gather(xs + std::ptrdiff_t(i) * incx, incx, r), vr, acc);
  }
  y[0] = y[0] + simd::reduce_add(acc);
}

// One complex update, the rounding that every path shares:
//   re: yr - ai xi, then + ar xr;  im: yi + ai xr, then + ar xi,
// each step a fused multiply-add.
template <class T>
inline void caxpy_one(T ar, T ai, const T* p, T* q) {
  const T xr = p[0], xi = p[1];
  const T tr = std::fma(-ai, xi, q[0]);
  const T ti = std::fma(ai, xr, q[1]);
  q[0] = std::fma(ar, xr, tr);
  q[1] = std::fma(ar, xi, ti);
}

// The vector form of caxpy_one on interleaved pairs: t = (-ai, ai) * (xi, xr)
// + y, then ar * x + t.
template <class T>
struct CaxpyStep {
  vec<T> var, vais;
  vec<T> operator()(vec<T> xv, const vec<T>& yv) const {
    simd::pin(xv);
    return fma(var, xv, fma(vais, swap_pairs(xv), yv));
  }
};

// Unit-stride complex update on 2n interleaved reals. Stores are brought to
// 64 bytes when y sits on a whole element; steps of four vectors, then one,
// then a masked one, all with the bits of caxpy_one.
template <class T>
void caxpy_a(int n, T ar, T ai, const T* xs, T* ys) {
  using V = vec<T>;
  constexpr int N = V::N;
  alignas(64) T pat[N];
  for (int l = 0; l < N; ++l) pat[l] = (l & 1) ? ai : -ai;
  const CaxpyStep<T> step{V::set1(ar), V::loadu(pat)};
  const int total = 2 * n;
  int i = 0;
  if (total >= 4 * N && addr(ys) % (2 * sizeof(T)) == 0) {
    const int peel = peel64(ys, total);  // even: y is on a whole element
    if (peel > 0) step(V::load_mask(xs, peel), V::load_mask(ys, peel)).store_mask(ys, peel);
    i = peel;
  }
  for (; i + 4 * N <= total; i += 4 * N) {
    const V y0 = step(V::loadu(xs + i), V::loadu(ys + i));
    const V y1 = step(V::loadu(xs + i + N), V::loadu(ys + i + N));
    const V y2 = step(V::loadu(xs + i + 2 * N), V::loadu(ys + i + 2 * N));
    const V y3 = step(V::loadu(xs + i + 3 * N), V::loadu(ys + i + 3 * N));
    y0.storeu(ys + i);
    y1.storeu(ys + i + N);
    y2.storeu(ys + i + 2 * N);
    y3.storeu(ys + i + 3 * N);
  }
  for (; i + N <= total; i += N) step(V::loadu(xs + i), V::loadu(ys + i)).storeu(ys + i);
  if (i < total) {
    const int r = total - i;
    step(V::load_mask(xs + i, r), V::load_mask(ys + i, r)).store_mask(ys + i, r);
  }
}

template <class C>
void axpy_complex(const int* pn, const C* palpha, const C* x, const int* pincx, C* y, const int* pincy) {
  using T = typename real_of<C>::type;
  const int n = *pn;
  const T ar = palpha->re, ai = palpha->im;
  if (n < 1 || (ar == T(0) && ai == T(0))) return;
  const int incx = *pincx, incy = *pincy;

  if (incx == 1 && incy == 1) {
    caxpy_a(n, ar, ai, reinterpret_cast<const T*>(x), reinterpret_cast<T*>(y));
    return;
  }
  const T* xs = reinterpret_cast<const T*>(x + first(n, incx));
  const std::ptrdiff_t sx = 2 * std::ptrdiff_t(incx);
  if (incy == 0) {
    // As in the real form: sum alpha x first, then add once.
    T sr = 0, si = 0;
    for (int k = 0; k < n; ++k, xs += sx) {
      sr = std::fma(ar, xs[0], std::fma(-ai, xs[1], sr));
      si = std::fma(ar, xs[1], std::fma(ai, xs[0], si));
    }
    T* y0 = reinterpret_cast<T*>(y);
    y0[0] = y0[0] + sr;
    y0[1] = y0[1] + si;
    return;
  }
  T* ys = reinterpret_cast<T*>(y + first(n, incy));
  const std::ptrdiff_t sy = 2 * std::ptrdiff_t(incy);
  int k = 0;
  for (; k + 2 <= n; k += 2, xs += 2 * sx, ys += 2 * sy) {
    caxpy_one(ar, ai, xs, ys);
    caxpy_one(ar, ai, xs + sx, ys + sy);
  }
  if (k < n) caxpy_one(ar, ai, xs, ys);
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
