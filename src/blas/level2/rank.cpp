// Rank-1 and rank-2 updates of general, symmetric and Hermitian matrices.
//
// Every update goes column by column (the real general and symmetric rank-2
// ones eight columns at a time when their vectors are contiguous), each
// element receiving its terms by fused steps in a fixed order, so the
// grouped, strided and contiguous paths give the same bits. A zero x(j) (or y(j) for ger) skips its column: a NaN stored
// there stays as it is, as the reference routines have it.
#include "blas/level2/level2.hpp"

namespace orb::l2 {
namespace {

// ---- General ----------------------------------------------------------------

// Columns of the rank-1 update taken together when x is contiguous: each
// load of x serves all of them.
constexpr int kGerGroup = 8;
// Matrices of more than this many elements are prefetched for writing a
// few lines ahead of the stores; smaller ones sit in the caches.
constexpr double kGerPrefetchFrom = 1.5e6;
constexpr int kGerAhead = 64;  // elements

// a(:, c) += x * t(c) for the g columns of a group, over m rows. The rows
// are peeled so that the first column's stores land on whole lines. Each
// element sees the one fused step of the column-by-column update.
template <class T, int g, bool Prefetch>
void ger_group(int m, const T* x, const T* t, T* const* col) {
  using V = vec<T>;
  constexpr int N = V::N;
  V vt[g];
  #pragma GCC unroll 8
  for (int c = 0; c < g; ++c) vt[c] = V::set1(t[c]);
  int i = 0;
  const int peel = m >= 2 * N ? l1::peel64(col[0], m) : 0;
  if (peel > 0) {
    const V xv = V::load_mask(x, peel);
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) fma(xv, vt[c], V::load_mask(col[c], peel)).store_mask(col[c], peel);
    i = peel;
  }
  for (; i + N <= m; i += N) {
    const V xv = V::loadu(x + i);
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      if constexpr (Prefetch) __builtin_prefetch(col[c] + i + kGerAhead, 1, 3);
      fma(xv, vt[c], V::loadu(col[c] + i)).storeu(col[c] + i);
    }
  }
  if (i < m) {
    const int r = m - i;
    const V xv = V::load_mask(x + i, r);
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) fma(xv, vt[c], V::load_mask(col[c] + i, r)).store_mask(col[c] + i, r);
  }
}

template <class T>
void ger_real(const int* pm, const int* pn, const T* palpha, const T* x, const int* pincx, const T* y,
              const int* pincy, T* a, const int* plda,
              void (*axpy)(const int*, const T*, const T*, const int*, T*, const int*)) {
  const int m = *pm, n = *pn;
  const T alpha = *palpha;
  if (m <= 0 || n <= 0 || alpha == T(0)) return;
  const int incy = *pincy;
  const idx lda = *plda;
  const T* ys = y + first(n, incy);
  const int one = 1;
  auto column = [&](int j) {
    const T yj = ys[idx(j) * incy];
    if (yj != T(0)) {
      const T t = yj * alpha;
      axpy(pm, &t, x, pincx, a + idx(j) * lda, &one);
    }
  };
  int j = 0;
  if (*pincx == 1) {
    constexpr int G = kGerGroup;
    const bool pf = double(m) * double(n) > kGerPrefetchFrom;
    for (; j + G <= n; j += G) {
      T t[G];
      T* col[G];
      bool whole = true;
      for (int c = 0; c < G; ++c) {
        const T yj = ys[idx(j + c) * incy];
        whole = whole && yj != T(0);
        t[c] = yj * alpha;
        col[c] = a + idx(j + c) * lda;
      }
      if (!whole) {
        for (int c = 0; c < G; ++c) column(j + c);
      } else if (pf) {
        ger_group<T, G, true>(m, x, t, col);
      } else {
        ger_group<T, G, false>(m, x, t, col);
      }
    }
  }
  for (; j < n; ++j) column(j);
}

// col[0..len) += x * t for x contiguous or strided (start already applied).
template <class T>
inline void col_update(int len, cx<T> t, const T* x, int incx, T* col) {
  if (incx == 1) {
    caxpy_run(len, t, x, col);
    return;
  }
  for (int i = 0; i < len; ++i) {
    const T* e = x + 2 * idx(i) * incx;
    const cx<T> v = cfma(cx<T>{e[0], e[1]}, t, cx<T>{col[2 * i], col[2 * i + 1]});
    col[2 * i] = v.re, col[2 * i + 1] = v.im;
  }
}
template <class T>
inline void col_update(int len, T t, const T* x, int incx, T* col) {
  if (incx == 1) {
    axpy_run(len, t, x, col);
    return;
  }
  for (int i = 0; i < len; ++i) col[i] = std::fma(x[idx(i) * incx], t, col[i]);
}

template <class C, bool Conj>
void ger_complex(const int* pm, const int* pn, const C* palpha, const C* x, const int* pincx, const C* y,
                 const int* pincy, C* pa, const int* plda) {
  using T = R<C>;
  const int m = *pm, n = *pn;
  const cx<T> alpha = ld(palpha);
  if (m <= 0 || n <= 0 || (alpha.re == T(0) && alpha.im == T(0))) return;
  const int incx = *pincx, incy = *pincy;
  const idx lda = *plda;
  const T* xs = rp(x + first(m, incx));
  const C* ys = y + first(n, incy);
  T* a = rp(pa);
  for (int j = 0; j < n; ++j) {
    cx<T> yj = ld(ys + idx(j) * incy);
    if (yj.re == T(0) && yj.im == T(0)) continue;
    if (Conj) yj = conj(yj);
    col_update(m, cmul(yj, alpha), xs, incx, a + 2 * idx(j) * lda);
  }
}

// ---- Symmetric --------------------------------------------------------------

// Columns [j0, j1) of A += alpha x x^T on the triangle of uplo.
template <class T>
void syr_cols(bool up, int n, T alpha, const T* x, int incx, T* a, idx lda, int j0, int j1) {
  const T* xs = x + first(n, incx);
  for (int j = j0; j < j1; ++j) {
    const T xj = xs[idx(j) * incx];
    if (xj == T(0)) continue;
    const T t = alpha * xj;
    const int lo = up ? 0 : j, len = up ? j + 1 : n - j;
    col_update(len, t, xs + idx(lo) * incx, incx, a + idx(j) * lda + lo);
  }
}

// a(i, c) += x(i) * t1(c) + y(i) * t2(c), two fused steps in that order, on
// the rows [0, m) of the g columns of a group; rows peeled as in ger_group.
template <class T, int g, bool Prefetch>
void syr2_group(int m, const T* x, const T* y, const T* t1, const T* t2, T* const* col) {
  using V = vec<T>;
  constexpr int N = V::N;
  V v1[g], v2[g];
  #pragma GCC unroll 8
  for (int c = 0; c < g; ++c) v1[c] = V::set1(t1[c]), v2[c] = V::set1(t2[c]);
  int i = 0;
  const int peel = m >= 2 * N ? l1::peel64(col[0], m) : 0;
  if (peel > 0) {
    const V xv = V::load_mask(x, peel), yv = V::load_mask(y, peel);
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c)
      fma(yv, v2[c], fma(xv, v1[c], V::load_mask(col[c], peel))).store_mask(col[c], peel);
    i = peel;
  }
  for (; i + N <= m; i += N) {
    const V xv = V::loadu(x + i), yv = V::loadu(y + i);
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      if constexpr (Prefetch) __builtin_prefetch(col[c] + i + kGerAhead, 1, 3);
      fma(yv, v2[c], fma(xv, v1[c], V::loadu(col[c] + i))).storeu(col[c] + i);
    }
  }
  if (i < m) {
    const int r = m - i;
    const V xv = V::load_mask(x + i, r), yv = V::load_mask(y + i, r);
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) fma(yv, v2[c], fma(xv, v1[c], V::load_mask(col[c] + i, r))).store_mask(col[c] + i, r);
  }
}

// Columns [j0, j1) of A += alpha (x y^T + y x^T) on the triangle of uplo.
// With both vectors contiguous, columns go in groups of eight: the rows all
// of them store (above the group for the upper triangle, below it for the
// lower) in one pass that loads x and y once, the small triangle of the
// group column by column. Each element takes the same two fused steps as
// in the column-by-column form.
template <class T>
void syr2_cols(bool up, int n, T alpha, const T* x, int incx, const T* y, int incy, T* a, idx lda, int j0, int j1) {
  const T* xs = x + first(n, incx);
  const T* ys = y + first(n, incy);
  const bool unit = incx == 1 && incy == 1;
  auto column = [&](int j) {
    const T xj = xs[idx(j) * incx], yj = ys[idx(j) * incy];
    if (xj == T(0) && yj == T(0)) return;
    const T t1 = alpha * yj, t2 = alpha * xj;
    const int lo = up ? 0 : j, len = up ? j + 1 : n - j;
    T* col = a + idx(j) * lda + lo;
    if (unit) {
      axpy2_run(len, t1, xs + lo, t2, ys + lo, col);
    } else {
      for (int i = 0; i < len; ++i)
        col[i] = std::fma(ys[idx(lo + i) * incy], t2, std::fma(xs[idx(lo + i) * incx], t1, col[i]));
    }
  };
  int j = j0;
  if (unit) {
    constexpr int G = kGerGroup;
    const bool pf = 0.5 * double(n) * double(n) > kGerPrefetchFrom;
    for (; j + G <= j1; j += G) {
      T t1[G], t2[G];
      T* col[G];
      bool whole = true;
      for (int c = 0; c < G; ++c) {
        whole = whole && !(xs[j + c] == T(0) && ys[j + c] == T(0));
        t1[c] = alpha * ys[j + c], t2[c] = alpha * xs[j + c];
        col[c] = a + idx(j + c) * lda + (up ? 0 : j + G);
      }
      if (!whole) {
        for (int c = 0; c < G; ++c) column(j + c);
        continue;
      }
      // Upper: rows [0, j) shared, then rows [j, j + c] of column j + c.
      // Lower: rows [j + c, j + G) of column j + c, then rows [j + G, n).
      const int lo = up ? 0 : j + G, m = up ? j : n - j - G;
      if (!up)
        for (int c = 0; c < G; ++c)
          axpy2_run(G - c, t1[c], xs + j + c, t2[c], ys + j + c, a + idx(j + c) * lda + j + c);
      if (pf) syr2_group<T, G, true>(m, xs + lo, ys + lo, t1, t2, col);
      else syr2_group<T, G, false>(m, xs + lo, ys + lo, t1, t2, col);
      if (up)
        for (int c = 0; c < G; ++c) axpy2_run(c + 1, t1[c], xs + j, t2[c], ys + j, a + idx(j + c) * lda + j);
    }
  }
  for (; j < j1; ++j) column(j);
}

// ---- Hermitian ----------------------------------------------------------------

// A += alpha x x^H (alpha real). The diagonal keeps only its real part,
// also in columns that a zero x(j) skips.
template <class C>
void her(const char* uplo, const int* pn, const R<C>* palpha, const C* x, const int* pincx, C* pa, const int* plda) {
  using T = R<C>;
  const int n = *pn;
  const T alpha = *palpha;
  if (n <= 0 || alpha == T(0)) return;
  const bool up = is_u(uplo);
  const int incx = *pincx;
  const idx lda = *plda;
  const T* xs = rp(x + first(n, incx));
  T* a = rp(pa);
  for (int j = 0; j < n; ++j) {
    const T* xe = xs + 2 * idx(j) * incx;
    const cx<T> xj{xe[0], xe[1]};
    T* col = a + 2 * idx(j) * lda;
    T* d = col + 2 * j;
    if (xj.re == T(0) && xj.im == T(0)) {
      d[1] = T(0);
      continue;
    }
    const cx<T> t{alpha * xj.re, -(alpha * xj.im)};
    if (up) col_update(j, t, xs, incx, col);
    const cx<T> p = cmul(xj, t);
    d[0] = d[0] + p.re;
    d[1] = T(0);
    if (!up) col_update(n - j - 1, t, xs + 2 * idx(j + 1) * incx, incx, d + 2);
  }
}

// A += alpha x y^H + conj(alpha) y x^H.
template <class C>
void her2(const char* uplo, const int* pn, const C* palpha, const C* x, const int* pincx, const C* y,
          const int* pincy, C* pa, const int* plda) {
  using T = R<C>;
  const int n = *pn;
  const cx<T> alpha = ld(palpha);
  if (n <= 0 || (alpha.re == T(0) && alpha.im == T(0))) return;
  const bool up = is_u(uplo);
  const int incx = *pincx, incy = *pincy;
  const idx lda = *plda;
  const T* xs = rp(x + first(n, incx));
  const T* ys = rp(y + first(n, incy));
  T* a = rp(pa);
  for (int j = 0; j < n; ++j) {
    const cx<T> xj{xs[2 * idx(j) * incx], xs[2 * idx(j) * incx + 1]};
    const cx<T> yj{ys[2 * idx(j) * incy], ys[2 * idx(j) * incy + 1]};
    T* col = a + 2 * idx(j) * lda;
    T* d = col + 2 * j;
    if (xj.re == T(0) && xj.im == T(0) && yj.re == T(0) && yj.im == T(0)) {
      d[1] = T(0);
      continue;
    }
    const cx<T> t1 = cmul(alpha, conj(yj));
    const cx<T> t2 = conj(cmul(alpha, xj));
    if (up) {
      col_update(j, t1, xs, incx, col);
      col_update(j, t2, ys, incy, col);
    }
    const cx<T> p1 = cmul(xj, t1), p2 = cmul(yj, t2);
    d[0] = d[0] + (p1.re + p2.re);
    d[1] = T(0);
    if (!up) {
      col_update(n - j - 1, t1, xs + 2 * idx(j + 1) * incx, incx, d + 2);
      col_update(n - j - 1, t2, ys + 2 * idx(j + 1) * incy, incy, d + 2);
    }
  }
}

}  // namespace
}  // namespace orb::l2

using namespace orb::l2;
using c8 = orb_complex8;
using c16 = orb_complex16;

ORB_API void ORB_BLAS(xsger)(const int* m, const int* n, const float* alpha, const float* x, const int* incx,
                             const float* y, const int* incy, float* a, const int* lda) {
  ger_real(m, n, alpha, x, incx, y, incy, a, lda, &ORB_BLAS(xsaxpy));
}
ORB_API void ORB_BLAS(xdger)(const int* m, const int* n, const double* alpha, const double* x, const int* incx,
                             const double* y, const int* incy, double* a, const int* lda) {
  ger_real(m, n, alpha, x, incx, y, incy, a, lda, &ORB_BLAS(xdaxpy));
}
ORB_API void ORB_BLAS(xcgerc)(const int* m, const int* n, const c8* alpha, const c8* x, const int* incx,
                              const c8* y, const int* incy, c8* a, const int* lda) {
  ger_complex<c8, true>(m, n, alpha, x, incx, y, incy, a, lda);
}
ORB_API void ORB_BLAS(xcgeru)(const int* m, const int* n, const c8* alpha, const c8* x, const int* incx,
                              const c8* y, const int* incy, c8* a, const int* lda) {
  ger_complex<c8, false>(m, n, alpha, x, incx, y, incy, a, lda);
}
ORB_API void ORB_BLAS(xzgerc)(const int* m, const int* n, const c16* alpha, const c16* x, const int* incx,
                              const c16* y, const int* incy, c16* a, const int* lda) {
  ger_complex<c16, true>(m, n, alpha, x, incx, y, incy, a, lda);
}
ORB_API void ORB_BLAS(xzgeru)(const int* m, const int* n, const c16* alpha, const c16* x, const int* incx,
                              const c16* y, const int* incy, c16* a, const int* lda) {
  ger_complex<c16, false>(m, n, alpha, x, incx, y, incy, a, lda);
}

#define ORB_SYR(t, T)                                                                                          \
  ORB_API void ORB_BLAS(x##t##syr)(const char* uplo, const int* n, const T* alpha, const T* x, const int* incx, \
                                   T* a, const int* lda) {                                                     \
    if (*n > 0 && *alpha != T(0)) syr_cols(is_u(uplo), *n, *alpha, x, *incx, a, *lda, 0, *n);                 \
  }                                                                                                            \
  ORB_API void ORB_BLAS(x##t##syr_in_thread)(const char* uplo, const int* n, const T* alpha, const T* x,        \
                                             const int* incx, T* a, const int* lda, const int* first,          \
                                             const int* last) {                                                \
    if (*n > 0 && *alpha != T(0)) syr_cols(is_u(uplo), *n, *alpha, x, *incx, a, *lda, *first, *last);         \
  }                                                                                                            \
  ORB_API void ORB_BLAS(x##t##syr2)(const char* uplo, const int* n, const T* alpha, const T* x,                \
                                    const int* incx, const T* y, const int* incy, T* a, const int* lda) {      \
    if (*n > 0 && *alpha != T(0)) syr2_cols(is_u(uplo), *n, *alpha, x, *incx, y, *incy, a, *lda, 0, *n);      \
  }                                                                                                            \
  ORB_API void ORB_BLAS(x##t##syr2_in_thread)(const char* uplo, const int* n, const T* alpha, const T* x,       \
                                              const int* incx, const T* y, const int* incy, T* a,              \
                                              const int* lda, const int* first, const int* last) {             \
    if (*n > 0 && *alpha != T(0))                                                                              \
      syr2_cols(is_u(uplo), *n, *alpha, x, *incx, y, *incy, a, *lda, *first, *last);                          \
  }
ORB_SYR(s, float)
ORB_SYR(d, double)
#undef ORB_SYR

ORB_API void ORB_BLAS(cher)(const char* uplo, const int* n, const float* alpha, const c8* x, const int* incx, c8* a,
                            const int* lda) {
  her(uplo, n, alpha, x, incx, a, lda);
}
ORB_API void ORB_BLAS(zher)(const char* uplo, const int* n, const double* alpha, const c16* x, const int* incx,
                            c16* a, const int* lda) {
  her(uplo, n, alpha, x, incx, a, lda);
}
ORB_API void ORB_BLAS(cher2)(const char* uplo, const int* n, const c8* alpha, const c8* x, const int* incx,
                             const c8* y, const int* incy, c8* a, const int* lda) {
  her2(uplo, n, alpha, x, incx, y, incy, a, lda);
}
ORB_API void ORB_BLAS(zher2)(const char* uplo, const int* n, const c16* alpha, const c16* x, const int* incx,
                             const c16* y, const int* incy, c16* a, const int* lda) {
  her2(uplo, n, alpha, x, incx, y, incy, a, lda);
}
