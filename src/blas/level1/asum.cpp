// Sum of magnitudes: sum |x[i]| for real x, sum |re| + |im| for complex x.
//
// The vector is taken in chunks of one vector each (N lanes); chunk k goes
// to accumulator k mod 2, the last chunk masked. The two accumulators are
// added and folded by halves. Unit stride loads the chunks, other strides
// gather them, so for a real vector the two paths give the same bits. The
// magnitude is an and with the sign bit cleared.
#include <cmath>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

// Chunk k of N elements is ld(i, live) with i = k N; it goes to
// accumulator k mod 2.
template <class T, class Load>
T asum_chunks(int n, const Load& ld) {
  using V = vec<T>;
  constexpr int N = V::N;
  V a0 = V::zero(), a1 = V::zero();
  int i = 0;
  for (; i + 4 * N <= n; i += 4 * N) {
    a0 = a0 + abs(ld(i, N));
    a1 = a1 + abs(ld(i + N, N));
    a0 = a0 + abs(ld(i + 2 * N, N));
    a1 = a1 + abs(ld(i + 3 * N, N));
  }
  if (i + 2 * N <= n) {
    a0 = a0 + abs(ld(i, N));
    a1 = a1 + abs(ld(i + N, N));
    i += 2 * N;
  }
  bool odd = false;  // whether the next chunk goes to a1
  if (i + N <= n) {
    a0 = a0 + abs(ld(i, N));
    i += N;
    odd = true;
  }
  if (i < n) {
    const V t = abs(ld(i, n - i));
    if (odd) a1 = a1 + t;
    else a0 = a0 + t;
  }
  return simd::reduce_add(a0 + a1);
}

template <class T>
T asum_unit(int n, const T* x) {
  using V = vec<T>;
  return asum_chunks<T>(n, [x](int i, int r) { return r == V::N ? V::loadu(x + i) : V::load_mask(x + i, r); });
}

// The same chunks gathered with a stride in elements (any sign, or zero).
template <class T>
T asum_strided(int n, const T* x, std::ptrdiff_t s) {
  using V = vec<T>;
  return asum_chunks<T>(n, [x, s](int i, int r) { return V::gather(x + i * s, s, r); });
}

template <class T>
T asum_real(const int* pn, const T* x, const int* pincx) {
  const int n = *pn;
  if (n < 1) return T(0);
  const int incx = *pincx;
  if (incx == 1) return asum_unit(n, x);
  return asum_strided(n, x + first(n, incx), incx);
}

// Complex: at unit stride the 2n interleaved reals are one real vector. At
// other strides the real parts and the imaginary parts are gathered apart,
// one accumulator each.
template <class T, class C>
T asum_complex(const int* pn, const C* x, const int* pincx) {
  using V = vec<T>;
  constexpr int N = V::N;
  const int n = *pn;
  if (n < 1) return T(0);
  const int incx = *pincx;
  if (incx == 1) return asum_unit(2 * n, reinterpret_cast<const T*>(x));
  const T* p = reinterpret_cast<const T*>(x + first(n, incx));
  const std::ptrdiff_t s = 2 * std::ptrdiff_t(incx);
  V a0 = V::zero(), a1 = V::zero();
  for (int i = 0; i < n; i += N) {
    const int r = n - i < N ? n - i : N;
    a0 = a0 + abs(V::gather(p + i * s, s, r));
    a1 = a1 + abs(V::gather(p + i * s + 1, s, r));
  }
  return simd::reduce_add(a0 + a1);
}

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API float ORB_BLAS(xsasum)(const int* n, const float* x, const int* incx) { return asum_real(n, x, incx); }
ORB_API double ORB_BLAS(xdasum)(const int* n, const double* x, const int* incx) { return asum_real(n, x, incx); }
ORB_API float ORB_BLAS(xscasum)(const int* n, const orb_complex8* x, const int* incx) {
  return asum_complex<float>(n, x, incx);
}
ORB_API double ORB_BLAS(xdzasum)(const int* n, const orb_complex16* x, const int* incx) {
  return asum_complex<double>(n, x, incx);
}
