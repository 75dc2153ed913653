// Modified plane rotation: (x, y) := H (x, y) on every pair of elements,
// with H given by a flag and up to four entries.
//
// The flag selects one of three bodies, each written for its own shape of H
// (full; ones on the diagonal; ones off the diagonal with -1 below), so no
// multiplication by a known 1 is done. Products and sums are rounded one by
// one, without fused multiply-adds: a vector lane and the strided loop give
// the same bits, and those of the textbook formulas.
#include <cstddef>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

// h = (h11, h21, h12, h22), as in param[1..4]. U is a scalar or a vector.
struct Full {
  template <class U>
  static void apply(U& x, U& y, const U* h) {
    const U w = x, z = y;
    x = w * h[0] + z * h[2];
    y = w * h[1] + z * h[3];
  }
};
struct UnitDiagonal {  // h11 = h22 = 1
  template <class U>
  static void apply(U& x, U& y, const U* h) {
    const U w = x, z = y;
    x = w + z * h[2];
    y = w * h[1] + z;
  }
};
struct UnitAnti {  // h12 = 1, h21 = -1
  template <class U>
  static void apply(U& x, U& y, const U* h) {
    const U w = x, z = y;
    x = w * h[0] + z;
    y = z * h[3] - w;
  }
};

template <class Op, class T>
void rotm_run(int n, T* x, int incx, T* y, int incy, const T* param) {
  const T h[4] = {param[1], param[2], param[3], param[4]};
  if (incx == 1 && incy == 1) {
    using V = vec<T>;
    constexpr int N = V::N;
    const V hv[4] = {V::set1(h[0]), V::set1(h[1]), V::set1(h[2]), V::set1(h[3])};
    auto masked = [&](int i, int r) {
      V a = V::load_mask(x + i, r), b = V::load_mask(y + i, r);
      Op::apply(a, b, hv);
      a.store_mask(x + i, r);
      b.store_mask(y + i, r);
    };
    auto block = [&](int i) {
      V a = V::loadu(x + i), b = V::loadu(y + i);
      Op::apply(a, b, hv);
      a.storeu(x + i);
      b.storeu(y + i);
    };
    const int peel = peel64(x, n);
    if (peel > 0) masked(0, peel);
    int i = peel;
    for (; i + 4 * N <= n; i += 4 * N) {
      block(i), block(i + N), block(i + 2 * N), block(i + 3 * N);
    }
    if (i + 2 * N <= n) block(i), block(i + N), i += 2 * N;
    if (i + N <= n) block(i), i += N;
    if (i < n) masked(i, n - i);
    return;
  }
  T* xs = x + first(n, incx);
  T* ys = y + first(n, incy);
  for (int i = 0; i < n; ++i) Op::apply(xs[std::ptrdiff_t(i) * incx], ys[std::ptrdiff_t(i) * incy], h);
}

template <class T>
void rotm(const int* pn, T* x, const int* pincx, T* y, const int* pincy, const T* param) {
  const int n = *pn;
  if (n < 1) return;
  const T flag = param[0];
  if (flag + T(2) == T(0)) return;  // H is the identity
  if (flag < T(0))
    rotm_run<Full>(n, x, *pincx, y, *pincy, param);
  else if (flag == T(0))
    rotm_run<UnitDiagonal>(n, x, *pincx, y, *pincy, param);
  else
    rotm_run<UnitAnti>(n, x, *pincx, y, *pincy, param);
}

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API void ORB_BLAS(xsrotm)(const int* n, float* x, const int* incx, float* y, const int* incy, const float* param) {
  rotm(n, x, incx, y, incy, param);
}
ORB_API void ORB_BLAS(xdrotm)(const int* n, double* x, const int* incx, double* y, const int* incy, const double* param) {
  rotm(n, x, incx, y, incy, param);
}
