// Complex dot products, plain (x . y) and conjugated (conj(x) . y).
//
// Two sums are carried: the straight products x * y, lane by lane, which
// hold xr yr in the even lanes and xi yi in the odd ones, and the crossed
// products x * swap(y), which hold xr yi and xi yr. At the end
//   plain:       re = sum(xr yr) - sum(xi yi),  im = sum(xr yi) + sum(xi yr)
//   conjugated:  re = sum(xr yr) + sum(xi yi),  im = sum(xr yi) - sum(xi yr)
// so the two forms differ in one sign only. The order of accumulation is a
// function of n and the increments, never of alignment or build.
#include <cmath>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

// Folds a vector by halves down to its first two lanes: lane 0 sums the even
// lanes, lane 1 the odd ones.
template <class T>
inline void fold_pairs(const vec<T>& v, T& even, T& odd) {
  alignas(64) T t[vec<T>::N];
  v.storeu(t);
  for (int h = vec<T>::N / 2; h >= 2; h /= 2)
    for (int i = 0; i < h; ++i) t[i] = t[i] + t[i + h];
  even = t[0];
  odd = t[1];
}

// One element's four products into a set of partial sums.
template <class T>
struct Quad {
  T rr = 0, ii = 0, ri = 0, ir = 0;
  void add(const T* p, const T* q) {
    rr = std::fma(p[0], q[0], rr);
    ii = std::fma(p[1], q[1], ii);
    ri = std::fma(p[0], q[1], ri);
    ir = std::fma(p[1], q[0], ir);
  }
  friend Quad operator+(const Quad& a, const Quad& b) {
    return Quad{a.rr + b.rr, a.ii + b.ii, a.ri + b.ri, a.ir + b.ir};
  }
};

template <bool Conj, class C>
void dot_complex(C* result, const int* pn, const C* x, const int* pincx, const C* y, const int* pincy) {
  using T = typename real_of<C>::type;
  using V = vec<T>;
  constexpr int N = V::N;
  const int n = *pn;
  T* res = reinterpret_cast<T*>(result);
  if (n < 1) {
    res[0] = T(0);
    res[1] = T(0);
    return;
  }
  int incx = *pincx, incy = *pincy;
  // Both walking backwards pairs the same elements as both walking
  // forwards; take the forward walk (and with it the unit-stride path).
  if (incx < 0 && incy < 0) incx = -incx, incy = -incy;

  T rr, ii, ri, ir;
  if (incx == 1 && incy == 1) {
    const T* xs = reinterpret_cast<const T*>(x);
    const T* ys = reinterpret_cast<const T*>(y);
    const int total = 2 * n;  // reals; N / 2 complex numbers a vector
    V r0 = V::zero(), r1 = V::zero(), r2 = V::zero(), r3 = V::zero();
    V c0 = V::zero(), c1 = V::zero(), c2 = V::zero(), c3 = V::zero();
    auto step = [](V xv, V yv, V& r, V& c) {
      simd::pin(xv);
      simd::pin(yv);
      r = fma(xv, yv, r);
      c = fma(xv, swap_pairs(yv), c);
    };
    int i = 0;
    const int main_end = total & ~(4 * N - 1);
    for (; i < main_end; i += 4 * N) {
      step(V::loadu(xs + i), V::loadu(ys + i), r0, c0);
      step(V::loadu(xs + i + N), V::loadu(ys + i + N), r1, c1);
      step(V::loadu(xs + i + 2 * N), V::loadu(ys + i + 2 * N), r2, c2);
      step(V::loadu(xs + i + 3 * N), V::loadu(ys + i + 3 * N), r3, c3);
    }
    if (total & (2 * N)) {
      step(V::loadu(xs + i), V::loadu(ys + i), r0, c0);
      step(V::loadu(xs + i + N), V::loadu(ys + i + N), r1, c1);
      i += 2 * N;
    }
    if (total & N) {
      step(V::loadu(xs + i), V::loadu(ys + i), r0, c0);
      i += N;
    }
    if (total & (N - 1)) {
      const int r = total & (N - 1);
      step(V::load_mask(xs + i, r), V::load_mask(ys + i, r), r0, c0);
    }
    fold_pairs((r0 + r1) + (r2 + r3), rr, ii);
    fold_pairs((c0 + c1) + (c2 + c3), ri, ir);
  } else {
    // Four partial sums on element i mod 4, then as the real dot product:
    // (s0 + s2), (s1 + s3), two more elements onto those, one sum, and the
    // last odd element onto it.
    const T* xs = reinterpret_cast<const T*>(x + first(n, incx));
    const T* ys = reinterpret_cast<const T*>(y + first(n, incy));
    const std::ptrdiff_t sx = 2 * std::ptrdiff_t(incx), sy = 2 * std::ptrdiff_t(incy);
    Quad<T> s0, s1, s2, s3;
    int i = 0;
    for (; i < (n & ~3); i += 4, xs += 4 * sx, ys += 4 * sy) {
      s0.add(xs, ys);
      s1.add(xs + sx, ys + sy);
      s2.add(xs + 2 * sx, ys + 2 * sy);
      s3.add(xs + 3 * sx, ys + 3 * sy);
    }
    Quad<T> t0 = s0 + s2, t1 = s1 + s3;
    if (n & 2) {
      t0.add(xs, ys);
      t1.add(xs + sx, ys + sy);
      xs += 2 * sx;
      ys += 2 * sy;
    }
    Quad<T> s = t0 + t1;
    if (n & 1) s.add(xs, ys);
    rr = s.rr, ii = s.ii, ri = s.ri, ir = s.ir;
  }
  if (Conj) {
    res[0] = rr + ii;
    res[1] = ri - ir;
  } else {
    res[0] = rr - ii;
    res[1] = ri + ir;
  }
}

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API void ORB_BLAS(xcdotc)(orb_complex8* result, const int* n, const orb_complex8* x, const int* incx,
                              const orb_complex8* y, const int* incy) {
  dot_complex<true>(result, n, x, incx, y, incy);
}
ORB_API void ORB_BLAS(xcdotu)(orb_complex8* result, const int* n, const orb_complex8* x, const int* incx,
                              const orb_complex8* y, const int* incy) {
  dot_complex<false>(result, n, x, incx, y, incy);
}
ORB_API void ORB_BLAS(xzdotc)(orb_complex16* result, const int* n, const orb_complex16* x, const int* incx,
                              const orb_complex16* y, const int* incy) {
  dot_complex<true>(result, n, x, incx, y, incy);
}
ORB_API void ORB_BLAS(xzdotu)(orb_complex16* result, const int* n, const orb_complex16* x, const int* incx,
                              const orb_complex16* y, const int* incy) {
  dot_complex<false>(result, n, x, incx, y, incy);
}
