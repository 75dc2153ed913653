// y := x, and the fill of y with one value when x has increment 0.
//
// Unit-stride copies up to 15000 bytes run on vectors; longer ones are one
// block move by the processor's string instructions, which on current
// processors stream as fast as any vector loop and need no tail handling.
// A copy moves bits, so every path gives the same result; the paths differ
// only in speed and in never touching memory outside the two vectors.
#include <cstddef>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

// Unit-stride copies of more bytes than this are a block move.
constexpr std::size_t kMoveBytes = 15000;

// Block move in 4-byte units, then the odd bytes. The direction flag is
// clear on entry by the calling convention, so the move runs forwards.
inline void string_move(void* dst, const void* src, std::size_t bytes) {
  std::size_t words = bytes >> 2, rest = bytes & 3;
  asm volatile("rep movsl" : "+D"(dst), "+S"(src), "+c"(words) : : "memory");
  asm volatile("rep movsb" : "+D"(dst), "+S"(src), "+c"(rest) : : "memory");
}

// m reals from x to y in blocks of four, two and one vectors, then one
// masked step. Aligned: both addresses are on 64 bytes.
template <bool Aligned, class T>
void copy_blocks(const T* x, T* y, std::ptrdiff_t m) {
  using V = vec<T>;
  constexpr int N = V::N;
  auto ld = [](const T* p) { return Aligned ? V::load(p) : V::loadu(p); };
  auto st = [](T* p, const V& v) { Aligned ? v.store(p) : v.storeu(p); };
  std::ptrdiff_t i = 0;
  for (; i + 4 * N <= m; i += 4 * N) {
    const V a = ld(x + i), b = ld(x + i + N), c = ld(x + i + 2 * N), d = ld(x + i + 3 * N);
    st(y + i, a), st(y + i + N, b), st(y + i + 2 * N, c), st(y + i + 3 * N, d);
  }
  if (i + 2 * N <= m) {
    const V a = ld(x + i), b = ld(x + i + N);
    st(y + i, a), st(y + i + N, b);
    i += 2 * N;
  }
  if (i + N <= m) {
    st(y + i, ld(x + i));
    i += N;
  }
  if (i < m) V::load_mask(x + i, int(m - i)).store_mask(y + i, int(m - i));
}

// E is the element type (a real, or a complex pair of reals T).
template <class E>
void copy_vectors(const int* pn, const E* x, const int* pincx, E* y, const int* pincy) {
  using T = typename real_of<E>::type;
  using V = vec<T>;
  constexpr int N = V::N;
  constexpr int P = int(sizeof(E) / sizeof(T));  // reals per element
  const int n = *pn;
  if (n < 1) return;
  const int incx = *pincx, incy = *pincy;
  const std::size_t bytes = std::size_t(n) * sizeof(E);

  if (incx == 1 && incy == 1) {
    if (bytes > kMoveBytes) {
      string_move(y, x, bytes);
      return;
    }
    const T* xr = reinterpret_cast<const T*>(x);
    T* yr = reinterpret_cast<T*>(y);
    const int m = n * P;
    if (((addr(x) ^ addr(y)) & 63) == 0 && addr(y) % sizeof(T) == 0) {
      // Same offset within a cache line: peel y to 64 bytes and x follows.
      const int peel = peel64(yr, m);
      if (peel > 0) V::load_mask(xr, peel).store_mask(yr, peel);
      copy_blocks<true>(xr + peel, yr + peel, m - peel);
    } else {
      copy_blocks<false>(xr, yr, m);
    }
    return;
  }

  if (incx == 0 && incy == 1) {
    // Fill: a vector holding x[0] in every element, stored over y.
    alignas(64) T pat[N];
    const T* x0 = reinterpret_cast<const T*>(x);
    for (int l = 0; l < N; ++l) pat[l] = x0[l % P];
    const V v = V::loadu(pat);
    T* yr = reinterpret_cast<T*>(y);
    const std::ptrdiff_t m = std::ptrdiff_t(n) * P;
    std::ptrdiff_t i = 0;
    if (bytes > kMoveBytes && n >= 16) {
      // Peel whole elements, so the pattern keeps its phase.
      const std::ptrdiff_t peel = std::ptrdiff_t(peel64(y, n)) * P;
      if (peel > 0) v.store_mask(yr, int(peel));
      i = peel;
      for (; i + 2 * N <= m; i += 2 * N) v.storeu(yr + i), v.storeu(yr + i + N);
    } else {
      for (; i + 4 * N <= m; i += 4 * N)
        v.storeu(yr + i), v.storeu(yr + i + N), v.storeu(yr + i + 2 * N), v.storeu(yr + i + 3 * N);
    }
    for (; i + N <= m; i += N) v.storeu(yr + i);
    if (i < m) v.store_mask(yr + i, int(m - i));
    return;
  }

  const E* xs = x + first(n, incx);
  E* ys = y + first(n, incy);
  for (int i = 0; i < n; ++i) ys[std::ptrdiff_t(i) * incy] = xs[std::ptrdiff_t(i) * incx];
}

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API void ORB_BLAS(xscopy)(const int* n, const float* x, const int* incx, float* y, const int* incy) {
  copy_vectors(n, x, incx, y, incy);
}
ORB_API void ORB_BLAS(xdcopy)(const int* n, const double* x, const int* incx, double* y, const int* incy) {
  copy_vectors(n, x, incx, y, incy);
}
ORB_API void ORB_BLAS(xccopy)(const int* n, const orb_complex8* x, const int* incx, orb_complex8* y, const int* incy) {
  copy_vectors(n, x, incx, y, incy);
}
ORB_API void ORB_BLAS(xzcopy)(const int* n, const orb_complex16* x, const int* incx, orb_complex16* y, const int* incy) {
  copy_vectors(n, x, incx, y, incy);
}
