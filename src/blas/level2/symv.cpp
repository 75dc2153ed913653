// y := alpha A x + beta y with A symmetric (real) or Hermitian (complex),
// one triangle stored.
//
// The cores touch each stored element once for both of its uses: a(i, j)
// off the diagonal adds a(i, j) * alpha x(j) to y(i) and a(i, j) * x(i) to
// the dot that y(j) receives. Columns go in groups of eight, rows eight (or
// sixteen) lanes a step, y(i) loaded and stored once per step for the whole
// group; the triangle at the head of a group is done in scalar steps.
#include <type_traits>

#include "blas/level2/level2.hpp"

namespace orb::l2 {
namespace {

constexpr int G = 8;  // columns per group

// Triangles of more than this many elements have their columns prefetched
// a few lines ahead; smaller ones come from the caches soon enough, and
// there the extra loads cost more than they bring.
constexpr double kPrefetchFrom = 7e5;
constexpr int kPrefetchAhead = 32;  // elements

// The rows [lo, hi) of a group of g columns: y(i) += a(i, c) * t(c) in
// column order and acc(c) += a(i, c) * x(i) by lanes. Each element of A is
// loaded once into a register for both of its uses; left to itself the
// compiler folds the load into both fused steps, which doubles the load
// traffic and, on cores that split 512-bit loads, made the core load-bound.
template <class T, int g>
__attribute__((always_inline)) inline void rows(int lo, int hi, const T* const* col, const vec<T>* vt, const T* x,
                                                T* y, vec<T>* acc, bool pf) {
  using V = vec<T>;
  constexpr int N = V::N;
  int i = lo;
  auto full = [&](auto prefetch) __attribute__((always_inline)) {
    for (; i + N <= hi; i += N) {
      V yv = V::loadu(y + i);
      const V xv = V::loadu(x + i);
      #pragma GCC unroll 8
      for (int c = 0; c < g; ++c) {
        if constexpr (decltype(prefetch)::value) __builtin_prefetch(col[c] + i + kPrefetchAhead, 0, 3);
        V av = V::loadu(col[c] + i);
        simd::pin(av);
        yv = fma(av, vt[c], yv);
        acc[c] = fma(av, xv, acc[c]);
      }
      yv.storeu(y + i);
    }
  };
  if (pf) full(std::true_type{});
  else full(std::false_type{});
  if (i < hi) {
    const int r = hi - i;
    V yv = V::load_mask(y + i, r);
    const V xv = V::load_mask(x + i, r);
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      const V av = V::load_mask(col[c] + i, r);
      yv = fma(av, vt[c], yv);
      acc[c] = fma(av, xv, acc[c]);
    }
    yv.store_mask(y + i, r);
  }
}

// Lower core over the columns [j0, j1), x and y contiguous.
template <class T>
void symv_l(int n, T alpha, const T* a, idx lda, const T* x, T* y, int c0, int c1) {
  using V = vec<T>;
  const bool pf = 0.5 * double(n) * double(n) > kPrefetchFrom;
  // Full groups, then single columns: g is a constant in each, so the
  // group's accumulators live in registers.
  auto step = [&](int j0, auto gc) {
    constexpr int g = decltype(gc)::value;
    const T* col[G];
    T t[G], d[G];
    V vt[G], acc[G];
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      col[c] = a + idx(j0 + c) * lda;
      t[c] = alpha * x[j0 + c];
      vt[c] = V::set1(t[c]);
      acc[c] = V::zero();
      d[c] = T(0);
    }
    // Head triangle: rows j0 .. j0 + g - 1.
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      const int j = j0 + c;
      d[c] = col[c][j] * x[j];
      for (int i = j + 1; i < j0 + g; ++i) {
        y[i] = std::fma(col[c][i], t[c], y[i]);
        d[c] = std::fma(col[c][i], x[i], d[c]);
      }
    }
    rows<T, g>(j0 + g, n, col, vt, x, y, acc, pf);
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) y[j0 + c] = std::fma(alpha, d[c] + simd::reduce_add(acc[c]), y[j0 + c]);
  };
  int j0 = c0;
  for (; j0 + G <= c1; j0 += G) step(j0, std::integral_constant<int, G>{});
  for (; j0 < c1; ++j0) step(j0, std::integral_constant<int, 1>{});
}

// Upper core over the columns [c0, c1).
template <class T>
void symv_u(int n, T alpha, const T* a, idx lda, const T* x, T* y, int c0, int c1) {
  using V = vec<T>;
  const bool pf = 0.5 * double(n) * double(n) > kPrefetchFrom;
  // Full groups, then single columns: g is a constant in each, so the
  // group's accumulators live in registers.
  auto step = [&](int j0, auto gc) {
    constexpr int g = decltype(gc)::value;
    const T* col[G];
    T t[G], d[G];
    V vt[G], acc[G];
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      col[c] = a + idx(j0 + c) * lda;
      t[c] = alpha * x[j0 + c];
      vt[c] = V::set1(t[c]);
      acc[c] = V::zero();
      d[c] = T(0);
    }
    rows<T, g>(0, j0, col, vt, x, y, acc, pf);
    // Head triangle: rows j0 .. j0 + c of column j0 + c.
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      const int j = j0 + c;
      for (int k = j0; k < j; ++k) {
        y[k] = std::fma(col[c][k], t[c], y[k]);
        d[c] = std::fma(col[c][k], x[k], d[c]);
      }
      d[c] = std::fma(col[c][j], x[j], d[c]);
    }
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) y[j0 + c] = std::fma(alpha, simd::reduce_add(acc[c]) + d[c], y[j0 + c]);
  };
  int j0 = c0;
  for (; j0 + G <= c1; j0 += G) step(j0, std::integral_constant<int, G>{});
  for (; j0 < c1; ++j0) step(j0, std::integral_constant<int, 1>{});
}

// Strided x and y with no buffers: the same sums in plain order.
template <class T>
void symv_nobuffer(bool up, int n, T alpha, const T* a, idx lda, const T* x, int incx, T* y, int incy) {
  const T* xs = x + first(n, incx);
  T* ys = y + first(n, incy);
  for (int j = 0; j < n; ++j) {
    const T* col = a + idx(j) * lda;
    const T t = alpha * xs[idx(j) * incx];
    T d = T(0);
    const int lo = up ? 0 : j + 1, hi = up ? j : n;
    for (int i = lo; i < hi; ++i) {
      ys[idx(i) * incy] = std::fma(col[i], t, ys[idx(i) * incy]);
      d = std::fma(col[i], xs[idx(i) * incx], d);
    }
    d = std::fma(col[j], xs[idx(j) * incx], d);
    ys[idx(j) * incy] = std::fma(alpha, d, ys[idx(j) * incy]);
  }
}

template <class T>
void symv_kernel(const char* uplo, int n, T alpha, const T* a, idx lda, const T* x, T* y, bool b0, int c0, int c1) {
  // The _b0 forms never read y: it is cleared and then accumulated into.
  if (b0)
    for (int i = 0; i < n; ++i) y[i] = T(0);
  if (upper(uplo) == 'U') symv_u(n, alpha, a, lda, x, y, c0, c1);
  else symv_l(n, alpha, a, lda, x, y, c0, c1);
}

template <class T>
void symv(const char* uplo, const int* pn, const T* palpha, const T* a, const int* plda, const T* x,
          const int* pincx, const T* pbeta, T* y, const int* pincy, const char* name) {
  const int n = *pn;
  if (n <= 0) return;
  const T alpha = *palpha, beta = *pbeta;
  if (alpha == T(0) && beta == T(1)) return;
  const int incx = *pincx, incy = *pincy;
  const idx lda = *plda;
  if (alpha == T(0)) {
    scale_y(n, beta, y, incy);
    return;
  }
  const bool b0 = beta == T(0);
  if (!b0) scale_y(n, beta, y, incy);
  const T* xb = x;
  T* xbuf = nullptr;
  T* yb = y;
  T* ybuf = nullptr;
  bool nobuf = false;
  if (incx != 1) {
    xbuf = static_cast<T*>(orb_serv_allocate(sizeof(T) * std::size_t(n), 64));
    if (orb_serv_check_ptr_and_warn(xbuf, name) != 0) nobuf = true;
    else {
      const T* xs = x + first(n, incx);
      for (int i = 0; i < n; ++i) xbuf[i] = xs[idx(i) * incx];
      xb = xbuf;
    }
  }
  if (!nobuf && incy != 1) {
    ybuf = static_cast<T*>(orb_serv_allocate(sizeof(T) * std::size_t(n), 64));
    if (orb_serv_check_ptr_and_warn(ybuf, name) != 0) nobuf = true;
    else if (!b0) {
      const T* ys = y + first(n, incy);
      for (int i = 0; i < n; ++i) ybuf[i] = ys[idx(i) * incy];
    }
    yb = ybuf;
  }
  if (nobuf) {
    if (b0) scale_y(n, T(0), y, incy);
    symv_nobuffer(is_u(uplo), n, alpha, a, lda, x, incx, y, incy);
  } else {
    symv_kernel(uplo, n, alpha, a, lda, xb, yb, b0, 0, n);
    if (ybuf) {
      T* ys = y + first(n, incy);
      for (int i = 0; i < n; ++i) ys[idx(i) * incy] = ybuf[i];
    }
  }
  if (ybuf) orb_serv_deallocate(ybuf);
  if (xbuf) orb_serv_deallocate(xbuf);
}

// ---- Hermitian ----------------------------------------------------------------

// y += alpha A x on contiguous complex vectors: per column, the update of
// the rows off the diagonal and the conjugated dot for y(j), with the real
// diagonal (its imaginary part is never read).
template <class T>
void hemv_core(bool up, int n, cx<T> alpha, const T* a, idx lda, const T* x, T* y) {
  for (int j = 0; j < n; ++j) {
    const T* col = a + 2 * idx(j) * lda;
    const cx<T> xj{x[2 * j], x[2 * j + 1]};
    const cx<T> t = cmul(alpha, xj);
    const int lo = up ? 0 : j + 1, len = up ? j : n - j - 1;
    caxpy_run(len, t, col + 2 * lo, y + 2 * lo);
    cx<T> d = cdot_run<T, true>(len, col + 2 * lo, x + 2 * lo);
    const T ajj = col[2 * j];
    d = {std::fma(ajj, xj.re, d.re), std::fma(ajj, xj.im, d.im)};
    const cx<T> v = cfma(alpha, d, cx<T>{y[2 * j], y[2 * j + 1]});
    y[2 * j] = v.re, y[2 * j + 1] = v.im;
  }
}

template <class C>
void hemv(const char* uplo, const int* pn, const C* palpha, const C* pa, const int* plda, const C* px,
          const int* pincx, const C* pbeta, C* py, const int* pincy, const char* name) {
  using T = R<C>;
  const int n = *pn;
  if (n <= 0) return;
  const cx<T> alpha = ld(palpha), beta = ld(pbeta);
  const bool azero = alpha.re == T(0) && alpha.im == T(0);
  if (azero && beta.re == T(1) && beta.im == T(0)) return;
  const int incx = *pincx, incy = *pincy;
  const idx lda = *plda;
  T* y = rp(py);
  scale_y(n, beta, y, incy);
  if (azero) return;
  const T* a = rp(pa);
  const T* x = rp(px);
  const bool up = is_u(uplo);
  const T* xb = x;
  T* xbuf = nullptr;
  T* yb = y;
  T* ybuf = nullptr;
  bool nobuf = false;
  if (incx != 1) {
    xbuf = static_cast<T*>(orb_serv_allocate(2 * sizeof(T) * std::size_t(n), 64));
    if (orb_serv_check_ptr_and_warn(xbuf, name) != 0) nobuf = true;
    else {
      const T* xs = x + 2 * first(n, incx);
      for (int i = 0; i < n; ++i) xbuf[2 * i] = xs[2 * idx(i) * incx], xbuf[2 * i + 1] = xs[2 * idx(i) * incx + 1];
      xb = xbuf;
    }
  }
  if (!nobuf && incy != 1) {
    ybuf = static_cast<T*>(orb_serv_allocate(2 * sizeof(T) * std::size_t(n), 64));
    if (orb_serv_check_ptr_and_warn(ybuf, name) != 0) nobuf = true;
    else {
      const T* ys = y + 2 * first(n, incy);
      for (int i = 0; i < n; ++i) ybuf[2 * i] = ys[2 * idx(i) * incy], ybuf[2 * i + 1] = ys[2 * idx(i) * incy + 1];
      yb = ybuf;
    }
  }
  if (nobuf) {
    const T* xs = x + 2 * first(n, incx);
    T* ys = y + 2 * first(n, incy);
    for (int j = 0; j < n; ++j) {
      const T* col = a + 2 * idx(j) * lda;
      const cx<T> xj{xs[2 * idx(j) * incx], xs[2 * idx(j) * incx + 1]};
      const cx<T> t = cmul(alpha, xj);
      cx<T> d{T(0), T(0)};
      const int lo = up ? 0 : j + 1, hi = up ? j : n;
      for (int i = lo; i < hi; ++i) {
        const cx<T> aij{col[2 * i], col[2 * i + 1]};
        T* ye = ys + 2 * idx(i) * incy;
        const cx<T> v = cfma(aij, t, cx<T>{ye[0], ye[1]});
        ye[0] = v.re, ye[1] = v.im;
        d = cfma(conj(aij), cx<T>{xs[2 * idx(i) * incx], xs[2 * idx(i) * incx + 1]}, d);
      }
      d = {std::fma(col[2 * j], xj.re, d.re), std::fma(col[2 * j], xj.im, d.im)};
      T* ye = ys + 2 * idx(j) * incy;
      const cx<T> v = cfma(alpha, d, cx<T>{ye[0], ye[1]});
      ye[0] = v.re, ye[1] = v.im;
    }
  } else {
    hemv_core(up, n, alpha, a, lda, xb, yb);
    if (ybuf) {
      T* ys = y + 2 * first(n, incy);
      for (int i = 0; i < n; ++i) ys[2 * idx(i) * incy] = ybuf[2 * i], ys[2 * idx(i) * incy + 1] = ybuf[2 * i + 1];
    }
  }
  if (ybuf) orb_serv_deallocate(ybuf);
  if (xbuf) orb_serv_deallocate(xbuf);
}

}  // namespace
}  // namespace orb::l2

using namespace orb::l2;

#define ORB_SYMV(t, T, NAME)                                                                                      \
  ORB_API void ORB_BLAS(x##t##symv)(const char* uplo, const int* n, const T* alpha, const T* a, const int* lda,  \
                                    const T* x, const int* incx, const T* beta, T* y, const int* incy) {         \
    symv(uplo, n, alpha, a, lda, x, incx, beta, y, incy, NAME);                                                  \
  }                                                                                                              \
  /* Chooses the core for the columns [first, last); beta_zero picks the _b0 form. */                           \
  ORB_API void ORB_BLAS(x##t##symv_kernel)(const char* uplo, const int* n, const T* alpha, const T* a,           \
                                           const int* lda, const T* x, T* y, const int* beta_zero,               \
                                           const int* first, const int* last) {                                  \
    symv_kernel(uplo, *n, *alpha, a, *lda, x, y, *beta_zero != 0, *first, *last);                               \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##symv_l)(const int* n, const T* alpha, const T* a, const int* lda, const T* x, T* y) { \
    symv_l(*n, *alpha, a, *lda, x, y, 0, *n);                                                                    \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##symv_u)(const int* n, const T* alpha, const T* a, const int* lda, const T* x, T* y) { \
    symv_u(*n, *alpha, a, *lda, x, y, 0, *n);                                                                    \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##symv_l_b0)(const int* n, const T* alpha, const T* a, const int* lda, const T* x,      \
                                      T* y) {                                                                    \
    symv_kernel("L", *n, *alpha, a, *lda, x, y, true, 0, *n);                                                    \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##symv_u_b0)(const int* n, const T* alpha, const T* a, const int* lda, const T* x,      \
                                      T* y) {                                                                    \
    symv_kernel("U", *n, *alpha, a, *lda, x, y, true, 0, *n);                                                    \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##symv_nobuffer)(const char* uplo, const int* n, const T* alpha, const T* a,            \
                                          const int* lda, const T* x, const int* incx, T* y, const int* incy) {  \
    if (*n > 0) symv_nobuffer(is_u(uplo), *n, *alpha, a, *lda, x, *incx, y, *incy);                             \
  }
ORB_SYMV(s, float, "SSYMV")
ORB_SYMV(d, double, "DSYMV")
#undef ORB_SYMV

ORB_API void ORB_BLAS(chemv)(const char* uplo, const int* n, const orb_complex8* alpha, const orb_complex8* a,
                             const int* lda, const orb_complex8* x, const int* incx, const orb_complex8* beta,
                             orb_complex8* y, const int* incy) {
  hemv(uplo, n, alpha, a, lda, x, incx, beta, y, incy, "CHEMV");
}
ORB_API void ORB_BLAS(zhemv)(const char* uplo, const int* n, const orb_complex16* alpha, const orb_complex16* a,
                             const int* lda, const orb_complex16* x, const int* incx, const orb_complex16* beta,
                             orb_complex16* y, const int* incy) {
  hemv(uplo, n, alpha, a, lda, x, incx, beta, y, incy, "ZHEMV");
}
