// Plane rotations: x := c x + s y, y := c y - s x.
//
// The real forms are the modified rotation with a full H: they build
// (-1, c, -s, s, c) and hand it on, so the two share one kernel and its
// rounding. The complex forms with a real s rotate the 2n reals the same
// way; the form with a complex s takes y := c y - conj(s) x. No fused
// multiply-adds, so vector lanes and the strided loop agree to the bit.
#include <cstddef>

#include "blas/level1/level1.hpp"

using namespace orb::l1;

ORB_API void ORB_BLAS(xsrot)(const int* n, float* x, const int* incx, float* y, const int* incy, const float* c, const float* s) {
  if (*n < 1) return;
  const float param[5] = {-1.0f, *c, -*s, *s, *c};
  ORB_BLAS(xsrotm)(n, x, incx, y, incy, param);
}
ORB_API void ORB_BLAS(xdrot)(const int* n, double* x, const int* incx, double* y, const int* incy, const double* c, const double* s) {
  if (*n < 1) return;
  const double param[5] = {-1.0, *c, -*s, *s, *c};
  ORB_BLAS(xdrotm)(n, x, incx, y, incy, param);
}

namespace orb::l1 {
namespace {

// Each product of a complex multiply stays rounded on its own (simd.hpp).
using simd::opaque;

// The two loops of a complex rotation. Unit strides: rotate(a, b, px, py,
// live) rotates a vector's worth of the 2n reals and stores the `live`
// lanes of the new x and y at px and py; whole vectors first, then one
// masked tail. Other strides: rotate(p, q) updates the element pair at p in
// x and at q in y.
template <class T, class F>
void each_vector(int n, T* x, T* y, F rotate) {
  using V = vec<T>;
  constexpr int N = V::N;
  const std::ptrdiff_t m = 2 * std::ptrdiff_t(n);
  std::ptrdiff_t i = 0;
  for (; i + N <= m; i += N) rotate(V::loadu(x + i), V::loadu(y + i), x + i, y + i, N);
  if (i < m) {
    const int r = int(m - i);
    rotate(V::load_mask(x + i, r), V::load_mask(y + i, r), x + i, y + i, r);
  }
}
template <class V, class T>
void store_both(const V& nx, const V& ny, T* px, T* py, int live) {
  if (live == V::N) nx.storeu(px), ny.storeu(py);
  else nx.store_mask(px, live), ny.store_mask(py, live);
}
template <class T, class F>
void each_element(int n, T* x, int incx, T* y, int incy, F rotate) {
  T* xs = x + 2 * first(n, incx);
  T* ys = y + 2 * first(n, incy);
  for (int i = 0; i < n; ++i) rotate(xs + 2 * std::ptrdiff_t(i) * incx, ys + 2 * std::ptrdiff_t(i) * incy);
}

// Complex vectors, real c and s: the rotation acts on each real alike.
template <class T>
void rot_real_cs(int n, T* x, int incx, T* y, int incy, T c, T s) {
  if (incx == 1 && incy == 1) {
    using V = vec<T>;
    const V vc = V::set1(c), vs = V::set1(s);
    each_vector(n, x, y, [&](const V& a, const V& b, T* px, T* py, int live) {
      store_both(vc * a + vs * b, vc * b - vs * a, px, py, live);
    });
    return;
  }
  each_element(n, x, incx, y, incy, [&](T* p, T* q) {
    for (int k = 0; k < 2; ++k) {
      const T a = p[k], b = q[k];
      p[k] = opaque(c * a) + opaque(s * b);
      q[k] = opaque(c * b) - opaque(s * a);
    }
  });
}

// Complex s = (sr, si): x := c x + s y, y := c y - conj(s) x, with
//   s y       = (sr yr - si yi, sr yi + si yr)
//   conj(s) x = (sr xr + si xi, sr xi - si xr).
// On vectors the crossed products come from the pair-swapped data times a
// lane sign of -1 or +1, which changes no bit against the scalar formulas.
template <class T>
void rot_complex_s(int n, T* x, int incx, T* y, int incy, T c, T sr, T si) {
  if (incx == 1 && incy == 1) {
    using V = vec<T>;
    constexpr int N = V::N;
    alignas(64) T sg[N];
    for (int l = 0; l < N; ++l) sg[l] = (l & 1) ? T(1) : T(-1);
    const V vc = V::set1(c), vsr = V::set1(sr), vsi = V::set1(si), vsg = V::loadu(sg);
    each_vector(n, x, y, [&](const V& a, const V& b, T* px, T* py, int live) {
      const V sy = vsr * b + vsg * (vsi * swap_pairs(b));
      const V sx = vsr * a - vsg * (vsi * swap_pairs(a));
      store_both(vc * a + sy, vc * b - sx, px, py, live);
    });
    return;
  }
  each_element(n, x, incx, y, incy, [&](T* p, T* q) {
    const T xr = p[0], xi = p[1], yr = q[0], yi = q[1];
    const T cxr = opaque(c * xr), cxi = opaque(c * xi), cyr = opaque(c * yr), cyi = opaque(c * yi);
    p[0] = cxr + (opaque(sr * yr) - opaque(si * yi));
    p[1] = cxi + (opaque(sr * yi) + opaque(si * yr));
    q[0] = cyr - (opaque(sr * xr) + opaque(si * xi));
    q[1] = cyi - (opaque(sr * xi) - opaque(si * xr));
  });
}

}  // namespace
}  // namespace orb::l1

ORB_API void ORB_BLAS(xcrot)(const int* n, orb_complex8* x, const int* incx, orb_complex8* y, const int* incy, const float* c, const orb_complex8* s) {
  if (*n < 1) return;
  rot_complex_s(*n, &x->re, *incx, &y->re, *incy, *c, s->re, s->im);
}
ORB_API void ORB_BLAS(xzrot)(const int* n, orb_complex16* x, const int* incx, orb_complex16* y, const int* incy, const double* c, const orb_complex16* s) {
  if (*n < 1) return;
  rot_complex_s(*n, &x->re, *incx, &y->re, *incy, *c, s->re, s->im);
}
ORB_API void ORB_BLAS(xcsrot)(const int* n, orb_complex8* x, const int* incx, orb_complex8* y, const int* incy, const float* c, const float* s) {
  if (*n < 1) return;
  rot_real_cs(*n, &x->re, *incx, &y->re, *incy, *c, *s);
}
ORB_API void ORB_BLAS(xzdrot)(const int* n, orb_complex16* x, const int* incx, orb_complex16* y, const int* incy, const double* c, const double* s) {
  if (*n < 1) return;
  rot_real_cs(*n, &x->re, *incx, &y->re, *incy, *c, *s);
}
