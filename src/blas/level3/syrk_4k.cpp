// SYRK of the real types for long k, straight from A: no panels, no
// engine records.
//
// At a k of thousands the packed walk copies A twice for every K block
// (once as the row operand, once as the column operand) while each copied
// element serves only n / 2 multiply-adds; for a small n that copy is
// most of the time. Here A is read where it lies:
//
//  - trans "N" (A is n x k, a column of A per step of k): a vector of rows
//    of C times up to six columns, one fused multiply-add chain per element
//    in k order, as a rank-one update per step;
//  - trans "T" (A is k x n, k along memory): four by two dot products,
//    each a vector of partial sums over k, added up in a fixed tree.
//
// K goes in blocks of 512 so that the rows of A a tile reads stay in the
// second-level cache; each block's sum enters C as c + alpha * sum. The
// arithmetic of an element depends only on the element, not on the tile
// or the stretch of columns it falls in, so a call cut among threads gives
// the bits of the whole call.
#include "blas/level3/syx.hpp"

namespace orb::level3 {
namespace {

using simd::vec;

constexpr int kKBlock = 512;

inline int min_int(int x, int y) { return x < y ? x : y; }
inline int max_int(int x, int y) { return x > y ? x : y; }

// The rows of the triangle in column j: [first, end).
inline int first_row(bool lower, int j) { return lower ? j : 0; }
inline int end_row(bool lower, int n, int j) { return lower ? n : j + 1; }

template <class T>
void scale_triangle(bool lower, int n, T beta, T* c, int ldc, int j0, int j1) {
  if (beta == T(1)) return;
  for (int j = j0; j < j1; ++j) {
    T* cj = c + std::ptrdiff_t(j) * ldc;
    const int r1 = end_row(lower, n, j);
    for (int i = first_row(lower, j); i < r1; ++i) cj[i] = beta == T(0) ? T(0) : beta * cj[i];
  }
}

// Trans "N": rows [i, i + live) of C times columns [j, j + W) over k steps
// of A from column p0.
template <class T, int W>
void rank_tile(bool lower, int live, int kb, T alpha, const T* a, std::ptrdiff_t lda, int i, int j, int p0, T* c,
               std::ptrdiff_t ldc) {
  using V = vec<T>;
  constexpr int N = V::N;
  V acc[W];
  for (int t = 0; t < W; ++t) acc[t] = V::zero();
  const T* ap = a + i + p0 * lda;
  const T* bp = a + j + p0 * lda;
  if (live == N) {
    for (int p = 0; p < kb; ++p) {
      const V av = V::loadu(ap + p * lda);
      const T* b = bp + p * lda;
#pragma GCC unroll 6
      for (int t = 0; t < W; ++t) acc[t] = fma(av, V::set1(b[t]), acc[t]);
    }
  } else {
    for (int p = 0; p < kb; ++p) {
      const V av = V::load_mask(ap + p * lda, live);
      const T* b = bp + p * lda;
#pragma GCC unroll 6
      for (int t = 0; t < W; ++t) acc[t] = fma(av, V::set1(b[t]), acc[t]);
    }
  }
  alignas(64) T out[N];
  const V va = V::set1(alpha);
  for (int t = 0; t < W; ++t) {
    const int col = j + t;
    (va * acc[t]).store(out);
    const int r0 = lower ? max_int(i, col) : i, r1 = lower ? i + live : min_int(i + live, col + 1);
    T* cj = c + col * ldc;
    for (int r = r0; r < r1; ++r) cj[r] = cj[r] + out[r - i];
  }
}

template <class T>
void rank_form(bool lower, int n, int k, T alpha, const T* a, int lda, T* c, int ldc, int j0, int j1) {
  constexpr int N = vec<T>::N;
  constexpr int JW = 6;
  for (int p0 = 0; p0 < k; p0 += kKBlock) {
    const int kb = min_int(kKBlock, k - p0);
    for (int j = j0; j < j1; j += JW) {
      const int w = min_int(JW, j1 - j);
      const int ia = first_row(lower, j), ie = min_int(n, end_row(lower, n, j + w - 1));
      for (int i = ia; i < ie; i += N) {
        const int live = min_int(N, ie - i);
        switch (w) {
          case 6: rank_tile<T, 6>(lower, live, kb, alpha, a, lda, i, j, p0, c, ldc); break;
          case 5: rank_tile<T, 5>(lower, live, kb, alpha, a, lda, i, j, p0, c, ldc); break;
          case 4: rank_tile<T, 4>(lower, live, kb, alpha, a, lda, i, j, p0, c, ldc); break;
          case 3: rank_tile<T, 3>(lower, live, kb, alpha, a, lda, i, j, p0, c, ldc); break;
          case 2: rank_tile<T, 2>(lower, live, kb, alpha, a, lda, i, j, p0, c, ldc); break;
          default: rank_tile<T, 1>(lower, live, kb, alpha, a, lda, i, j, p0, c, ldc); break;
        }
      }
    }
  }
}

// Trans "T": the dot products of columns [i, i + RI) with columns
// [j, j + CJ) of A over kb elements from p0.
template <class T, int RI, int CJ>
void dot_tile(bool lower, int kb, T alpha, const T* a, std::ptrdiff_t lda, int i, int j, int p0, T* c,
              std::ptrdiff_t ldc) {
  using V = vec<T>;
  constexpr int N = V::N;
  V acc[RI * CJ];
  for (int t = 0; t < RI * CJ; ++t) acc[t] = V::zero();
  const T* x[RI];
  const T* y[CJ];
  for (int r = 0; r < RI; ++r) x[r] = a + p0 + (i + r) * lda;
  for (int s = 0; s < CJ; ++s) y[s] = a + p0 + (j + s) * lda;
  int p = 0;
  for (; p + N <= kb; p += N) {
    V yv[CJ];
#pragma GCC unroll 4
    for (int s = 0; s < CJ; ++s) yv[s] = V::loadu(y[s] + p);
#pragma GCC unroll 4
    for (int r = 0; r < RI; ++r) {
      const V xv = V::loadu(x[r] + p);
#pragma GCC unroll 4
      for (int s = 0; s < CJ; ++s) acc[r * CJ + s] = fma(xv, yv[s], acc[r * CJ + s]);
    }
  }
  if (p < kb) {
    const int live = kb - p;
    V yv[CJ];
    for (int s = 0; s < CJ; ++s) yv[s] = V::load_mask(y[s] + p, live);
    for (int r = 0; r < RI; ++r) {
      const V xv = V::load_mask(x[r] + p, live);
      for (int s = 0; s < CJ; ++s) acc[r * CJ + s] = fma(xv, yv[s], acc[r * CJ + s]);
    }
  }
  for (int r = 0; r < RI; ++r)
    for (int s = 0; s < CJ; ++s) {
      const int row = i + r, col = j + s;
      if (lower ? row < col : row > col) continue;
      T& e = c[row + col * ldc];
      e = e + alpha * reduce_add(acc[r * CJ + s]);
    }
}

template <class T, int RI>
void dot_row(int cj, bool lower, int kb, T alpha, const T* a, int lda, int i, int j, int p0, T* c, int ldc) {
  if (cj == 2) dot_tile<T, RI, 2>(lower, kb, alpha, a, lda, i, j, p0, c, ldc);
  else dot_tile<T, RI, 1>(lower, kb, alpha, a, lda, i, j, p0, c, ldc);
}

template <class T>
void dot_form(bool lower, int n, int k, T alpha, const T* a, int lda, T* c, int ldc, int j0, int j1) {
  constexpr int RI = 4, CJ = 2;
  for (int p0 = 0; p0 < k; p0 += kKBlock) {
    const int kb = min_int(kKBlock, k - p0);
    for (int j = j0; j < j1; j += CJ) {
      const int w = min_int(CJ, j1 - j);
      const int ia = first_row(lower, j), ie = min_int(n, end_row(lower, n, j + w - 1));
      int i = ia;
      for (; i + RI <= ie; i += RI) dot_row<T, RI>(w, lower, kb, alpha, a, lda, i, j, p0, c, ldc);
      switch (ie - i) {
        case 3: dot_row<T, 3>(w, lower, kb, alpha, a, lda, i, j, p0, c, ldc); break;
        case 2: dot_row<T, 2>(w, lower, kb, alpha, a, lda, i, j, p0, c, ldc); break;
        case 1: dot_row<T, 1>(w, lower, kb, alpha, a, lda, i, j, p0, c, ldc); break;
        default: break;
      }
    }
  }
}

// Columns [j0, j1) of the triangle.
template <class T>
void syrk_4k(const char* uplo, const char* trans, int n, int k, T alpha, const T* a, int lda, T beta, T* c,
             int ldc, int j0, int j1) {
  if (j0 < 0) j0 = 0;
  if (j1 > n) j1 = n;
  if (n < 1 || j1 <= j0) return;
  if ((alpha == T(0) || k < 1) && beta == T(1)) return;
  const bool lower = (*uplo & ~32) == 'L';
  scale_triangle(lower, n, beta, c, ldc, j0, j1);
  if (alpha == T(0) || k < 1) return;
  if ((*trans & ~32) == 'N') rank_form(lower, n, k, alpha, a, lda, c, ldc, j0, j1);
  else dot_form(lower, n, k, alpha, a, lda, c, ldc, j0, j1);
}

}  // namespace
}  // namespace orb::level3

#define ORB_I const int*
#define ORB_SYRK_4K(T, t)                                                                                       \
  ORB_API void ORB_BLAS(t##syrk_4k)(const char* uplo, const char* trans, ORB_I n, ORB_I k, const T* alpha,     \
                                    const T* a, ORB_I lda, const T* beta, T* c, ORB_I ldc) {                   \
    orb::level3::syrk_4k<T>(uplo, trans, *n, *k, *alpha, a, *lda, *beta, c, *ldc, 0, *n);                       \
  }                                                                                                             \
  ORB_API void ORB_BLAS(t##syrk_4k_stretch)(const char* uplo, const char* trans, ORB_I n, ORB_I k,              \
                                            const T* alpha, const T* a, ORB_I lda, const T* beta, T* c,         \
                                            ORB_I ldc, ORB_I j0, ORB_I j1) {                                    \
    orb::level3::syrk_4k<T>(uplo, trans, *n, *k, *alpha, a, *lda, *beta, c, *ldc, *j0, *j1);                    \
  }
ORB_SYRK_4K(float, s)
ORB_SYRK_4K(double, d)
#undef ORB_SYRK_4K
#undef ORB_I
