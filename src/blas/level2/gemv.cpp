// y := alpha op(A) x + beta y, for the four types.
//
// One pass over A. Transposed: columns eight at a time share the loads of
// x, each column a dot in lanes. Not transposed: columns eight at a time
// share the load and store of y, alpha going into x first. The order along
// a column never depends on the strides, so strided calls give the bits of
// unit-stride ones.
#include <type_traits>

#include "blas/level2/gemv.hpp"

namespace orb::l2 {

// ---- Real -----------------------------------------------------------------

// x loader for a run of rows: unit stride or a strided gather.
template <class T, bool Unit>
inline vec<T> xload(const T* x, int incx, int i, int live) {
  if constexpr (Unit) return live >= vec<T>::N ? vec<T>::loadu(x + i) : vec<T>::load_mask(x + i, live);
  else return vec<T>::gather(x + idx(i) * incx, incx, live);
}

// Columns per group of the transposed form. Eight beat four on the 512-bit
// build and, though their accumulators then fill the register file, on the
// 256-bit one as well: the loads of x shared by more columns matter more.
constexpr int kGemvTGroup = 8;
// Distance of the software prefetch along each column, in elements.
constexpr int kGemvTAhead = 32;

// Transposed: y(j) := y(j) + alpha * (column j . x) for the columns [0, n).
// Row 0 is peeled into lane 0 so that the vector loop starts at row 1. The
// columns of a group share each load of x; every column's sum runs in the
// same order whatever the group. The hardware prefetcher follows eight
// column streams poorly once A has left the L2 cache, so each column is
// prefetched a few lines ahead.
template <class T, bool Unit>
void gemv_t(int m, int n, T alpha, const T* a, idx lda, const T* x, int incx, T* y, int incy) {
  using V = vec<T>;
  constexpr int N = V::N;
  const T x0 = x[0];
  const int body = m - 1;
  const int full = body / N * N;
  int j = 0;
  auto group = [&](auto G) {
    constexpr int g = decltype(G)::value;
    V acc[g];
    const T* col[g];
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      col[c] = a + idx(j + c) * lda;
      acc[c] = V::zero();
    }
    {
      alignas(64) T t[N] = {};
      #pragma GCC unroll 8
      for (int c = 0; c < g; ++c) {
        t[0] = x0 * col[c][0];
        acc[c] = V::loadu(t);
      }
    }
    int i = 1;
    for (; i + 2 * N <= 1 + full; i += 2 * N) {
      #pragma GCC unroll 2
      for (int u = 0; u < 2; ++u) {
        const V xv = xload<T, Unit>(x, incx, i + u * N, N);
        #pragma GCC unroll 8
        for (int c = 0; c < g; ++c) {
          __builtin_prefetch(col[c] + i + u * N + kGemvTAhead, 0, 3);
          acc[c] = fma(V::loadu(col[c] + i + u * N), xv, acc[c]);
        }
      }
    }
    for (; i < 1 + full; i += N) {
      const V xv = xload<T, Unit>(x, incx, i, N);
      #pragma GCC unroll 8
      for (int c = 0; c < g; ++c) acc[c] = fma(V::loadu(col[c] + i), xv, acc[c]);
    }
    if (i < m) {
      const int r = m - i;
      const V xv = xload<T, Unit>(x, incx, i, r);
      #pragma GCC unroll 8
      for (int c = 0; c < g; ++c) acc[c] = fma(V::load_mask(col[c] + i, r), xv, acc[c]);
    }
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      T& yj = y[idx(j + c) * incy];
      yj = std::fma(alpha, simd::reduce_add(acc[c]), yj);
    }
    j += g;
  };
  // x(1) lies at x[0] for unit stride; for strides the caller passes the
  // start of x, and row i is at x[i * incx].
  for (; j + kGemvTGroup <= n;) group(std::integral_constant<int, kGemvTGroup>{});
  if (j + 4 <= n) group(std::integral_constant<int, 4>{});
  switch (n - j) {
    case 3: group(std::integral_constant<int, 3>{}); break;
    case 2: group(std::integral_constant<int, 2>{}); break;
    case 1: group(std::integral_constant<int, 1>{}); break;
    default: break;
  }
}

// Not transposed: y := y + A (alpha x), columns in groups of G.
template <class T, int G>
inline void gemv_n_group(int m, const T* const* col, const T* t, T* y) {
  using V = vec<T>;
  constexpr int N = V::N;
  V vt[G];
  #pragma GCC unroll 8
  for (int c = 0; c < G; ++c) vt[c] = V::set1(t[c]);
  int i = 0;
  for (; i + N <= m; i += N) {
    V yv = V::loadu(y + i);
    #pragma GCC unroll 8
    for (int c = 0; c < G; ++c) yv = fma(V::loadu(col[c] + i), vt[c], yv);
    yv.storeu(y + i);
  }
  if (i < m) {
    const int r = m - i;
    V yv = V::load_mask(y + i, r);
    #pragma GCC unroll 8
    for (int c = 0; c < G; ++c) yv = fma(V::load_mask(col[c] + i, r), vt[c], yv);
    yv.store_mask(y + i, r);
  }
}

template <class T>
void gemv_n_unit(int m, int n, T alpha, const T* a, idx lda, const T* x, int incx, T* y) {
  int j = 0;
  const T* col[8];
  T t[8];
  for (; j + 8 <= n; j += 8) {
    for (int c = 0; c < 8; ++c) col[c] = a + idx(j + c) * lda, t[c] = alpha * x[idx(j + c) * incx];
    gemv_n_group<T, 8>(m, col, t, y);
  }
  if (j + 4 <= n) {
    for (int c = 0; c < 4; ++c) col[c] = a + idx(j + c) * lda, t[c] = alpha * x[idx(j + c) * incx];
    gemv_n_group<T, 4>(m, col, t, y);
    j += 4;
  }
  for (; j < n; ++j) axpy_run(m, alpha * x[idx(j) * incx], a + idx(j) * lda, y);
}

// Not transposed with strided y: gather y, four columns a step, scatter.
template <class T>
void gemv_n_strided(int m, int n, T alpha, const T* a, idx lda, const T* x, int incx, T* y, int incy) {
  using V = vec<T>;
  constexpr int N = V::N;
  for (int i0 = 0; i0 < m; i0 += N) {
    const int r = m - i0 < N ? m - i0 : N;
    T* yp = y + idx(i0) * incy;
    V yv = V::gather(yp, incy, r);
    int j = 0;
    for (; j + 4 <= n; j += 4)
      for (int c = 0; c < 4; ++c)
        yv = fma(V::load_mask(a + idx(j + c) * lda + i0, r), V::set1(alpha * x[idx(j + c) * incx]), yv);
    for (; j < n; ++j) yv = fma(V::load_mask(a + idx(j) * lda + i0, r), V::set1(alpha * x[idx(j) * incx]), yv);
    alignas(64) T t[N];
    yv.storeu(t);
    for (int l = 0; l < r; ++l) yp[idx(l) * incy] = t[l];
  }
}

template <class T>
void gemv_real(const char* trans, const int* pm, const int* pn, const T* palpha, const T* a, const int* plda,
               const T* x, const int* pincx, const T* pbeta, T* y, const int* pincy) {
  const int m = *pm, n = *pn;
  if (m <= 0 || n <= 0) return;
  const T alpha = *palpha, beta = *pbeta;
  if (alpha == T(0) && beta == T(1)) return;
  const bool nt = is_n(trans);
  const int leny = nt ? m : n, lenx = nt ? n : m;
  const int incx = *pincx, incy = *pincy;
  const idx lda = *plda;
  scale_y(leny, beta, y, incy);
  if (alpha == T(0)) return;
  const T* xs = x + first(lenx, incx);
  T* ys = y + first(leny, incy);
  if (incx == 0 || incy == 0) {
    // Outside the public contract: plain loops, in the reference order.
    if (nt) {
      for (int j = 0; j < n; ++j) {
        const T t = alpha * xs[idx(j) * incx];
        for (int i = 0; i < m; ++i) ys[idx(i) * incy] = std::fma(a[idx(j) * lda + i], t, ys[idx(i) * incy]);
      }
    } else {
      for (int j = 0; j < n; ++j) {
        T s = T(0);
        for (int i = 0; i < m; ++i) s = std::fma(a[idx(j) * lda + i], xs[idx(i) * incx], s);
        ys[idx(j) * incy] = std::fma(alpha, s, ys[idx(j) * incy]);
      }
    }
    return;
  }
  if (nt) {
    if (incy == 1) gemv_n_unit(m, n, alpha, a, lda, xs, incx, ys);
    else gemv_n_strided(m, n, alpha, a, lda, xs, incx, ys, incy);
  } else {
    if (incx == 1) gemv_t<T, true>(m, n, alpha, a, lda, xs, 1, ys, incy);
    else gemv_t<T, false>(m, n, alpha, a, lda, xs, incx, ys, incy);
  }
}

// ---- Complex --------------------------------------------------------------

// Complex matrices of more than this many reals have their columns
// prefetched a few lines ahead in the not-transposed form.
constexpr double kCgemvPrefetchFrom = 5e5;
constexpr int kCgemvAhead = 32;  // reals

// y[0..total) += the g columns of a group, contiguous y. The loaded column
// vector is held in a register for both of its uses; otherwise the swap
// reads it from memory a second time.
template <class T, int g, bool Prefetch>
void cgemv_n_rows(int total, const T* const* cols, const vec<T>* pr, const vec<T>* pi, T* y) {
  using V = vec<T>;
  constexpr int N = V::N;
  // Local copies: the vector stores to y may alias anything, and would
  // otherwise make the compiler reread the factors and pointers each step.
  const T* col[g];
  V vr[g], vi[g];
  #pragma GCC unroll 8
  for (int c = 0; c < g; ++c) col[c] = cols[c], vr[c] = pr[c], vi[c] = pi[c];
  int i = 0;
  for (; i + N <= total; i += N) {
    V yv = V::loadu(y + i);
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      if constexpr (Prefetch) __builtin_prefetch(col[c] + i + kCgemvAhead, 0, 3);
      V av = V::loadu(col[c] + i);
      simd::pin(av);
      yv = fma(swap_ri(av), vi[c], fma(av, vr[c], yv));
    }
    yv.storeu(y + i);
  }
  if (i < total) {
    const int r = total - i;
    V yv = V::load_mask(y + i, r);
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      const V av = V::load_mask(col[c] + i, r);
      yv = fma(swap_ri(av), vi[c], fma(av, vr[c], yv));
    }
    yv.store_mask(y + i, r);
  }
}

// Not transposed: y := y + A t, t = alpha x, a column at a time in groups
// of eight sharing y; each column by the swapped-copy form of caxpy_run.
// The group only decides how often y is loaded and stored: y(i) takes the
// columns in order whatever it is.
template <class T>
void cgemv_n(int m, int n, cx<T> alpha, const T* a, idx lda, const T* x, int incx, T* y, int incy) {
  using V = vec<T>;
  constexpr int N = V::N;
  constexpr int G = 8;
  const int total = 2 * m;
  const bool pf = 2.0 * double(m) * double(n) > kCgemvPrefetchFrom;
  // Full groups, then single columns: g is a constant in each, so the
  // group's accumulators live in registers.
  auto step = [&](int j0, auto gc) {
    constexpr int g = decltype(gc)::value;
    V vr[G], vi[G];
    const T* col[G];
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      const cx<T> t = cmul(alpha, cx<T>{x[2 * idx(j0 + c) * incx], x[2 * idx(j0 + c) * incx + 1]});
      vr[c] = V::set1(t.re);
      vi[c] = pair_pattern<T>(-t.im, t.im);
      col[c] = a + 2 * idx(j0 + c) * lda;
    }
    if (incy == 1) {
      if (pf) cgemv_n_rows<T, g, true>(total, col, vr, vi, y);
      else cgemv_n_rows<T, g, false>(total, col, vr, vi, y);
    } else {
      alignas(64) T t[N];
      for (int i = 0; i < total; i += N) {
        const int r = total - i < N ? total - i : N;
        for (int l = 0; l < r; l += 2) {
          const T* e = y + 2 * idx((i + l) / 2) * incy;
          t[l] = e[0], t[l + 1] = e[1];
        }
        V yv = V::load_mask(t, r);
        #pragma GCC unroll 8
        for (int c = 0; c < g; ++c) {
          const V av = V::load_mask(col[c] + i, r);
          yv = fma(swap_ri(av), vi[c], fma(av, vr[c], yv));
        }
        yv.storeu(t);
        for (int l = 0; l < r; l += 2) {
          T* e = y + 2 * idx((i + l) / 2) * incy;
          e[0] = t[l], e[1] = t[l + 1];
        }
      }
    }
  };
  int j0 = 0;
  for (; j0 + G <= n; j0 += G) step(j0, std::integral_constant<int, G>{});
  if (j0 + 4 <= n) step(j0, std::integral_constant<int, 4>{}), j0 += 4;
  for (; j0 < n; ++j0) step(j0, std::integral_constant<int, 1>{});
}

// Transposed: y(j) := y(j) + alpha * (column j . x), the column conjugated
// for "C". Four columns share each load of x and its swapped copy.
template <class T, bool Conj>
void cgemv_t(int m, int n, cx<T> alpha, const T* a, idx lda, const T* x, int incx, T* y, int incy) {
  using V = vec<T>;
  constexpr int N = V::N;
  constexpr int G = 4;
  const int total = 2 * m;
  alignas(64) T xt[N];
  const V sp = Conj ? V::set1(T(1)) : pair_pattern<T>(T(1), T(-1));
  const V sq = Conj ? pair_pattern<T>(T(1), T(-1)) : V::set1(T(1));
  // Full groups, then single columns: g is a constant in each, so the
  // group's accumulators live in registers.
  auto step = [&](int j0, auto gc) {
    constexpr int g = decltype(gc)::value;
    V p[G], q[G];
    const T* col[G];
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) p[c] = q[c] = V::zero(), col[c] = a + 2 * idx(j0 + c) * lda;
    for (int i = 0; i < total; i += N) {
      const int r = total - i < N ? total - i : N;
      V xv;
      if (incx == 1) {
        xv = V::load_mask(x + i, r);
      } else {
        for (int l = 0; l < r; l += 2) {
          const T* e = x + 2 * idx((i + l) / 2) * incx;
          xt[l] = e[0], xt[l + 1] = e[1];
        }
        xv = V::load_mask(xt, r);
      }
      const V xs = swap_ri(xv);
      #pragma GCC unroll 8
      for (int c = 0; c < g; ++c) {
        const V av = r == N ? V::loadu(col[c] + i) : V::load_mask(col[c] + i, r);
        p[c] = fma(av, xv, p[c]);
        q[c] = fma(av, xs, q[c]);
      }
    }
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      const cx<T> s{simd::reduce_add(p[c] * sp), simd::reduce_add(q[c] * sq)};
      T* e = y + 2 * idx(j0 + c) * incy;
      const cx<T> v = cfma(alpha, s, cx<T>{e[0], e[1]});
      e[0] = v.re, e[1] = v.im;
    }
  };
  int j0 = 0;
  for (; j0 + G <= n; j0 += G) step(j0, std::integral_constant<int, G>{});
  for (; j0 < n; ++j0) step(j0, std::integral_constant<int, 1>{});
}

template <class C>
void gemv_complex(const char* trans, const int* pm, const int* pn, const C* palpha, const C* pa, const int* plda,
                  const C* px, const int* pincx, const C* pbeta, C* py, const int* pincy) {
  using T = R<C>;
  const int m = *pm, n = *pn;
  if (m <= 0 || n <= 0) return;
  const cx<T> alpha = ld(palpha), beta = ld(pbeta);
  const bool azero = alpha.re == T(0) && alpha.im == T(0);
  if (azero && beta.re == T(1) && beta.im == T(0)) return;
  const bool nt = is_n(trans);
  const int leny = nt ? m : n, lenx = nt ? n : m;
  const int incx = *pincx, incy = *pincy;
  const idx lda = *plda;
  T* y = rp(py);
  scale_y(leny, beta, y, incy);
  if (azero) return;
  const T* a = rp(pa);
  const T* xs = rp(px) + 2 * first(lenx, incx);
  T* ys = y + 2 * first(leny, incy);
  if (incx == 0 || incy == 0) {
    const bool conj_a = is_c(trans);
    for (int j = 0; j < n; ++j) {
      if (nt) {
        const cx<T> t = cmul(alpha, cx<T>{xs[2 * idx(j) * incx], xs[2 * idx(j) * incx + 1]});
        for (int i = 0; i < m; ++i) {
          T* e = ys + 2 * idx(i) * incy;
          const cx<T> v = cfma(cx<T>{a[2 * (idx(j) * lda + i)], a[2 * (idx(j) * lda + i) + 1]}, t, cx<T>{e[0], e[1]});
          e[0] = v.re, e[1] = v.im;
        }
      } else {
        cx<T> s{T(0), T(0)};
        for (int i = 0; i < m; ++i) {
          cx<T> av{a[2 * (idx(j) * lda + i)], a[2 * (idx(j) * lda + i) + 1]};
          if (conj_a) av = conj(av);
          s = cfma(av, cx<T>{xs[2 * idx(i) * incx], xs[2 * idx(i) * incx + 1]}, s);
        }
        T* e = ys + 2 * idx(j) * incy;
        const cx<T> v = cfma(alpha, s, cx<T>{e[0], e[1]});
        e[0] = v.re, e[1] = v.im;
      }
    }
    return;
  }
  if (nt) cgemv_n(m, n, alpha, a, lda, xs, incx, ys, incy);
  else if (is_c(trans)) cgemv_t<T, true>(m, n, alpha, a, lda, xs, incx, ys, incy);
  else cgemv_t<T, false>(m, n, alpha, a, lda, xs, incx, ys, incy);
}

template void gemv_real<float>(const char*, const int*, const int*, const float*, const float*, const int*,
                               const float*, const int*, const float*, float*, const int*);
template void gemv_real<double>(const char*, const int*, const int*, const double*, const double*, const int*,
                                const double*, const int*, const double*, double*, const int*);
template void gemv_t<float, false>(int, int, float, const float*, idx, const float*, int, float*, int);
template void gemv_t<double, false>(int, int, double, const double*, idx, const double*, int, double*, int);

}  // namespace orb::l2

using namespace orb::l2;

ORB_API void ORB_BLAS(xsgemv)(const char* trans, const int* m, const int* n, const float* alpha, const float* a,
                              const int* lda, const float* x, const int* incx, const float* beta, float* y,
                              const int* incy) {
  gemv_real(trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}
ORB_API void ORB_BLAS(xdgemv)(const char* trans, const int* m, const int* n, const double* alpha, const double* a,
                              const int* lda, const double* x, const int* incx, const double* beta, double* y,
                              const int* incy) {
  gemv_real(trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}
ORB_API void ORB_BLAS(xcgemv)(const char* trans, const int* m, const int* n, const orb_complex8* alpha,
                              const orb_complex8* a, const int* lda, const orb_complex8* x, const int* incx,
                              const orb_complex8* beta, orb_complex8* y, const int* incy) {
  gemv_complex(trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}
ORB_API void ORB_BLAS(xzgemv)(const char* trans, const int* m, const int* n, const orb_complex16* alpha,
                              const orb_complex16* a, const int* lda, const orb_complex16* x, const int* incx,
                              const orb_complex16* beta, orb_complex16* y, const int* incy) {
  gemv_complex(trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}
