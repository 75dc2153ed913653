// Real matrix with complex vectors (scgemv, dzgemv), and the two-product
// gem2v forms that read A once for y1 := alpha A x1 + beta y1 and
// y2 := alpha A^T x2 + beta y2 (A^H in the complex forms).
#include <type_traits>

#include "blas/level2/gemv.hpp"

namespace orb::l2 {
namespace {

// Below this many elements of x and y together the split into real arrays
// costs more than it saves, and the single pass runs directly.
constexpr int kSplitFrom = 16;

// xr/xi := Re/Im of alpha * x, over len elements of x.
template <class C>
void copyx(int len, const C* palpha, const C* x, int incx, R<C>* xr, R<C>* xi) {
  const cx<R<C>> alpha = ld(palpha);
  const C* xs = x + first(len, incx);
  for (int k = 0; k < len; ++k) {
    const cx<R<C>> v = cmul(alpha, ld(xs + idx(k) * incx));
    xr[k] = v.re, xi[k] = v.im;
  }
}
template <class C>
void copyy_fwd(int len, const C* y, int incy, R<C>* yr, R<C>* yi) {
  const C* ys = y + first(len, incy);
  for (int k = 0; k < len; ++k) yr[k] = rp(ys + idx(k) * incy)[0], yi[k] = rp(ys + idx(k) * incy)[1];
}
template <class C>
void copyy_bwd(int len, const R<C>* yr, const R<C>* yi, C* y, int incy) {
  C* ys = y + first(len, incy);
  for (int k = 0; k < len; ++k) rp(ys + idx(k) * incy)[0] = yr[k], rp(ys + idx(k) * incy)[1] = yi[k];
}

// The single pass with no temporary arrays. It reproduces the order of the
// split path exactly (two real GEMVs with alpha = 1 on Re and Im of alpha x),
// so that a failed allocation changes nothing in the result: the column
// form updates each y(i) column by column by fused steps, and the
// transposed form sums in the lanes of the real kernel, row 0 peeled into
// lane 0, rows 1 onward in turn, a masked step adding +0 to idle lanes,
// then the halving tree.
template <class C>
void gemv_pst(const char* trans, int m, int n, const C* palpha, const R<C>* a, idx lda, const C* x, int incx, C* y,
              int incy) {
  using T = R<C>;
  constexpr int N = vec<T>::N;
  const cx<T> alpha = ld(palpha);
  const bool nt = is_n(trans);
  const int leny = nt ? m : n, lenx = nt ? n : m;
  const C* xs = x + first(lenx, incx);
  C* ys = y + first(leny, incy);
  if (nt) {
    for (int j = 0; j < n; ++j) {
      const cx<T> t = cmul(alpha, ld(xs + idx(j) * incx));
      const T* col = a + idx(j) * lda;
      for (int i = 0; i < m; ++i) {
        T* e = rp(ys + idx(i) * incy);
        e[0] = std::fma(col[i], t.re, e[0]);
        e[1] = std::fma(col[i], t.im, e[1]);
      }
    }
    return;
  }
  const int body = m - 1;
  for (int j = 0; j < n; ++j) {
    const T* col = a + idx(j) * lda;
    T pr[N] = {}, pi[N] = {};
    const cx<T> x0 = cmul(alpha, ld(xs));
    pr[0] = x0.re * col[0];
    pi[0] = x0.im * col[0];
    for (int i = 1; i < m; ++i) {
      const cx<T> v = cmul(alpha, ld(xs + idx(i) * incx));
      const int l = (i - 1) % N;
      pr[l] = std::fma(col[i], v.re, pr[l]);
      pi[l] = std::fma(col[i], v.im, pi[l]);
    }
    if (body % N != 0)
      for (int l = body % N; l < N; ++l) pr[l] = pr[l] + T(0), pi[l] = pi[l] + T(0);
    for (int h = N / 2; h >= 1; h /= 2)
      for (int l = 0; l < h; ++l) pr[l] = pr[l] + pr[l + h], pi[l] = pi[l] + pi[l + h];
    T* e = rp(ys + idx(j) * incy);
    e[0] = std::fma(T(1), pr[0], e[0]);
    e[1] = std::fma(T(1), pi[0], e[1]);
  }
}

template <class C>
void mixed_gemv(const char* trans, const int* pm, const int* pn, const C* palpha, const R<C>* a, const int* plda,
                const C* x, const int* pincx, const C* pbeta, C* y, const int* pincy, const char* name,
                void (*gemv)(const char*, const int*, const int*, const R<C>*, const R<C>*, const int*,
                             const R<C>*, const int*, const R<C>*, R<C>*, const int*),
                void (*scal)(const int*, const C*, C*, const int*)) {
  using T = R<C>;
  const int m = *pm, n = *pn;
  if (m <= 0 || n <= 0) return;
  const cx<T> alpha = ld(palpha), beta = ld(pbeta);
  const bool nt = is_n(trans);
  const int leny = nt ? m : n, lenx = nt ? n : m;
  const int incx = *pincx, incy = *pincy;
  if (alpha.re == T(0) && alpha.im == T(0)) {
    if (beta.re == T(1) && beta.im == T(0)) return;
    if ((beta.re == T(0) && beta.im == T(0)) || incy == 0) {
      scale_y(leny, beta, rp(y), incy);
    } else {
      const int inc = incy < 0 ? -incy : incy;
      scal(&leny, pbeta, y, &inc);
    }
    return;
  }
  scale_y(leny, beta, rp(y), incy);
  if (incy != 0 && lenx + leny > kSplitFrom) {
    T* xb = static_cast<T*>(orb_serv_allocate(sizeof(T) * 2 * std::size_t(lenx), 128));
    const bool xbad = orb_serv_check_ptr_and_warn(xb, name) != 0;
    T* yb = xbad ? nullptr : static_cast<T*>(orb_serv_allocate(sizeof(T) * 2 * std::size_t(leny), 128));
    const bool ybad = xbad || orb_serv_check_ptr_and_warn(yb, name) != 0;
    if (!ybad) {
      copyx(lenx, palpha, x, incx, xb, xb + lenx);
      copyy_fwd(leny, y, incy, yb, yb + leny);
      const T one = T(1);
      const int inc1 = 1;
      gemv(trans, pm, pn, &one, a, plda, xb, &inc1, &one, yb, &inc1);
      gemv(trans, pm, pn, &one, a, plda, xb + lenx, &inc1, &one, yb + leny, &inc1);
      copyy_bwd(leny, yb, yb + leny, y, incy);
    }
    if (yb) orb_serv_deallocate(yb);
    if (xb) orb_serv_deallocate(xb);
    if (!ybad) return;
  }
  gemv_pst(trans, m, n, palpha, a, *plda, x, incx, y, incy);
}

// ---- gem2v ----------------------------------------------------------------

// Unit strides: one pass, four columns a step sharing y1 and x2.
template <class T>
void gem2v_unit(int m, int n, T alpha, const T* a, idx lda, const T* x1, const T* x2, T* y1, T* y2) {
  using V = vec<T>;
  constexpr int N = V::N;
  constexpr int G = 4;
  // Full groups, then single columns: g is a constant in each, so the
  // group's accumulators live in registers.
  auto step = [&](int j0, auto gc) {
    constexpr int g = decltype(gc)::value;
    V vt[G], acc[G];
    const T* col[G];
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      vt[c] = V::set1(alpha * x1[j0 + c]);
      acc[c] = V::zero();
      col[c] = a + idx(j0 + c) * lda;
    }
    for (int i = 0; i < m; i += N) {
      const int r = m - i < N ? m - i : N;
      V yv = V::load_mask(y1 + i, r);
      const V xv = V::load_mask(x2 + i, r);
      #pragma GCC unroll 8
      for (int c = 0; c < g; ++c) {
        const V av = r == N ? V::loadu(col[c] + i) : V::load_mask(col[c] + i, r);
        yv = fma(av, vt[c], yv);
        acc[c] = fma(av, xv, acc[c]);
      }
      yv.store_mask(y1 + i, r);
    }
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) y2[j0 + c] = std::fma(alpha, simd::reduce_add(acc[c]), y2[j0 + c]);
  };
  int j0 = 0;
  for (; j0 + G <= n; j0 += G) step(j0, std::integral_constant<int, G>{});
  for (; j0 < n; ++j0) step(j0, std::integral_constant<int, 1>{});
}

template <class T>
void gem2v_real(const int* pm, const int* pn, const T* palpha, const T* a, const int* plda, const T* x1,
                const int* pincx1, const T* x2, const int* pincx2, const T* pbeta, T* y1, const int* pincy1,
                T* y2, const int* pincy2) {
  const int m = *pm, n = *pn;
  if (m <= 0 || n <= 0) return;
  const T alpha = *palpha, beta = *pbeta;
  const int incx1 = *pincx1, incx2 = *pincx2, incy1 = *pincy1, incy2 = *pincy2;
  scale_y(m, beta, y1, incy1);
  scale_y(n, beta, y2, incy2);
  if (alpha == T(0)) return;
  const idx lda = *plda;
  const T* x1s = x1 + first(n, incx1);
  const T* x2s = x2 + first(m, incx2);
  T* y1s = y1 + first(m, incy1);
  T* y2s = y2 + first(n, incy2);
  if (incx1 == 1 && incx2 == 1 && incy1 == 1 && incy2 == 1) {
    gem2v_unit(m, n, alpha, a, lda, x1s, x2s, y1s, y2s);
    return;
  }
  for (int j = 0; j < n; ++j) {
    const T* col = a + idx(j) * lda;
    const T t = alpha * x1s[idx(j) * incx1];
    T s = T(0);
    for (int i = 0; i < m; ++i) {
      T& e = y1s[idx(i) * incy1];
      e = std::fma(col[i], t, e);
      s = std::fma(col[i], x2s[idx(i) * incx2], s);
    }
    T& e = y2s[idx(j) * incy2];
    e = std::fma(alpha, s, e);
  }
}

// Complex unit-stride core: y1 += A (alpha x1), y2 += alpha A^H x2.
template <class C>
void gem2v_f(const int* pm, const int* pn, const C* palpha, const C* pa, const int* plda, const C* px1,
             const C* px2, const C* pbeta, C* py1, C* py2) {
  using T = R<C>;
  using V = vec<T>;
  constexpr int N = V::N;
  constexpr int G = 4;
  const int m = *pm, n = *pn;
  if (m <= 0 || n <= 0) return;
  const cx<T> alpha = ld(palpha), beta = ld(pbeta);
  scale_y(m, beta, rp(py1), 1);
  scale_y(n, beta, rp(py2), 1);
  if (alpha.re == T(0) && alpha.im == T(0)) return;
  const T* a = rp(pa);
  const idx lda = *plda;
  const T *x1 = rp(px1), *x2 = rp(px2);
  T *y1 = rp(py1), *y2 = rp(py2);
  const int total = 2 * m;
  const V sp = V::set1(T(1)), sq = pair_pattern<T>(T(1), T(-1));
  // Full groups, then single columns: g is a constant in each, so the
  // group's accumulators live in registers.
  auto step = [&](int j0, auto gc) {
    constexpr int g = decltype(gc)::value;
    V vr[G], vi[G], p[G], q[G];
    const T* col[G];
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      const cx<T> t = cmul(alpha, cx<T>{x1[2 * (j0 + c)], x1[2 * (j0 + c) + 1]});
      vr[c] = V::set1(t.re);
      vi[c] = pair_pattern<T>(-t.im, t.im);
      p[c] = q[c] = V::zero();
      col[c] = a + 2 * idx(j0 + c) * lda;
    }
    for (int i = 0; i < total; i += N) {
      const int r = total - i < N ? total - i : N;
      V yv = V::load_mask(y1 + i, r);
      const V xv = V::load_mask(x2 + i, r);
      const V xs = swap_ri(xv);
      #pragma GCC unroll 8
      for (int c = 0; c < g; ++c) {
        const V av = r == N ? V::loadu(col[c] + i) : V::load_mask(col[c] + i, r);
        const V as = swap_ri(av);
        yv = fma(as, vi[c], fma(av, vr[c], yv));
        p[c] = fma(av, xv, p[c]);
        q[c] = fma(av, xs, q[c]);
      }
      yv.store_mask(y1 + i, r);
    }
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      const cx<T> s{simd::reduce_add(p[c] * sp), simd::reduce_add(q[c] * sq)};
      T* e = y2 + 2 * (j0 + c);
      const cx<T> v = cfma(alpha, s, cx<T>{e[0], e[1]});
      e[0] = v.re, e[1] = v.im;
    }
  };
  int j0 = 0;
  for (; j0 + G <= n; j0 += G) step(j0, std::integral_constant<int, G>{});
  for (; j0 < n; ++j0) step(j0, std::integral_constant<int, 1>{});
}

// Complex wrapper: unit strides go to the core; others are pieced from the
// level-1 kernels, scal for the beta step and axpy and dotc per column.
template <class C>
void gem2v_complex(const int* pm, const int* pn, const C* palpha, const C* a, const int* plda, const C* x1,
                   const int* pincx1, const C* x2, const int* pincx2, const C* pbeta, C* y1, const int* pincy1,
                   C* y2, const int* pincy2, void (*core)(const int*, const int*, const C*, const C*, const int*,
                                                          const C*, const C*, const C*, C*, C*),
                   void (*scal)(const int*, const C*, C*, const int*),
                   void (*axpy)(const int*, const C*, const C*, const int*, C*, const int*),
                   void (*dotc)(C*, const int*, const C*, const int*, const C*, const int*)) {
  using T = R<C>;
  const int m = *pm, n = *pn;
  if (m <= 0 || n <= 0) return;
  const int incx1 = *pincx1, incx2 = *pincx2, incy1 = *pincy1, incy2 = *pincy2;
  if (incx1 == 1 && incx2 == 1 && incy1 == 1 && incy2 == 1) {
    core(pm, pn, palpha, a, plda, x1, x2, pbeta, y1, y2);
    return;
  }
  const cx<T> alpha = ld(palpha), beta = ld(pbeta);
  const bool bzero = beta.re == T(0) && beta.im == T(0);
  if (!(beta.re == T(1) && beta.im == T(0))) {
    if (bzero || incy1 == 0) scale_y(m, beta, rp(y1), incy1);
    else { const int inc = incy1 < 0 ? -incy1 : incy1; scal(pm, pbeta, y1, &inc); }
    if (bzero || incy2 == 0) scale_y(n, beta, rp(y2), incy2);
    else { const int inc = incy2 < 0 ? -incy2 : incy2; scal(pn, pbeta, y2, &inc); }
  }
  if (alpha.re == T(0) && alpha.im == T(0)) return;
  const idx lda = *plda;
  const C* x1s = x1 + first(n, incx1);
  C* y2s = y2 + first(n, incy2);
  const int one = 1;
  for (int j = 0; j < n; ++j) {
    const C* col = a + idx(j) * lda;
    const cx<T> t = cmul(alpha, ld(x1s + idx(j) * incx1));
    C tc;
    st(&tc, t);
    axpy(pm, &tc, col, &one, y1, pincy1);
    C d;
    dotc(&d, pm, col, &one, x2, pincx2);
    C* e = y2s + idx(j) * incy2;
    st(e, cfma(alpha, ld(&d), ld(e)));
  }
}

}  // namespace
}  // namespace orb::l2

using namespace orb::l2;
using c8 = orb_complex8;
using c16 = orb_complex16;

ORB_API void ORB_BLAS(dzgemv_copyx)(const int* n, const c16* alpha, const c16* x, const int* incx, double* xr,
                                    double* xi) {
  copyx(*n, alpha, x, *incx, xr, xi);
}
ORB_API void ORB_BLAS(dzgemv_copyy_fwd)(const int* n, const c16* y, const int* incy, double* yr, double* yi) {
  copyy_fwd(*n, y, *incy, yr, yi);
}
ORB_API void ORB_BLAS(dzgemv_copyy_bwd)(const int* n, const double* yr, const double* yi, c16* y, const int* incy) {
  copyy_bwd(*n, yr, yi, y, *incy);
}
ORB_API void ORB_BLAS(scgemv_copyx)(const int* n, const c8* alpha, const c8* x, const int* incx, float* xr,
                                    float* xi) {
  copyx(*n, alpha, x, *incx, xr, xi);
}
ORB_API void ORB_BLAS(scgemv_copyy_fwd)(const int* n, const c8* y, const int* incy, float* yr, float* yi) {
  copyy_fwd(*n, y, *incy, yr, yi);
}
ORB_API void ORB_BLAS(scgemv_copyy_bwd)(const int* n, const float* yr, const float* yi, c8* y, const int* incy) {
  copyy_bwd(*n, yr, yi, y, *incy);
}
// The single-pass forms, y already scaled by beta.
ORB_API void ORB_BLAS(dzgemv_pst)(const char* trans, const int* m, const int* n, const c16* alpha, const double* a,
                                  const int* lda, const c16* x, const int* incx, c16* y, const int* incy) {
  if (*m > 0 && *n > 0) gemv_pst(trans, *m, *n, alpha, a, *lda, x, *incx, y, *incy);
}
ORB_API void ORB_BLAS(scgemv_pst)(const char* trans, const int* m, const int* n, const c8* alpha, const float* a,
                                  const int* lda, const c8* x, const int* incx, c8* y, const int* incy) {
  if (*m > 0 && *n > 0) gemv_pst(trans, *m, *n, alpha, a, *lda, x, *incx, y, *incy);
}

ORB_API void ORB_BLAS(dzgemv)(const char* trans, const int* m, const int* n, const c16* alpha, const double* a,
                              const int* lda, const c16* x, const int* incx, const c16* beta, c16* y,
                              const int* incy) {
  mixed_gemv(trans, m, n, alpha, a, lda, x, incx, beta, y, incy, "DZGEMV", &ORB_BLAS(xdgemv), &ORB_BLAS(xzscal));
}
ORB_API void ORB_BLAS(scgemv)(const char* trans, const int* m, const int* n, const c8* alpha, const float* a,
                              const int* lda, const c8* x, const int* incx, const c8* beta, c8* y,
                              const int* incy) {
  mixed_gemv(trans, m, n, alpha, a, lda, x, incx, beta, y, incy, "SCGEMV", &ORB_BLAS(xsgemv), &ORB_BLAS(xcscal));
}

ORB_API void ORB_BLAS(sgem2vu)(const int* m, const int* n, const float* alpha, const float* a, const int* lda,
                               const float* x1, const int* incx1, const float* x2, const int* incx2,
                               const float* beta, float* y1, const int* incy1, float* y2, const int* incy2) {
  gem2v_real(m, n, alpha, a, lda, x1, incx1, x2, incx2, beta, y1, incy1, y2, incy2);
}
ORB_API void ORB_BLAS(dgem2vu)(const int* m, const int* n, const double* alpha, const double* a, const int* lda,
                               const double* x1, const int* incx1, const double* x2, const int* incx2,
                               const double* beta, double* y1, const int* incy1, double* y2, const int* incy2) {
  gem2v_real(m, n, alpha, a, lda, x1, incx1, x2, incx2, beta, y1, incy1, y2, incy2);
}
ORB_API void ORB_BLAS(cgem2vc_f)(const int* m, const int* n, const c8* alpha, const c8* a, const int* lda,
                                 const c8* x1, const int*, const c8* x2, const int*, const c8* beta, c8* y1,
                                 const int*, c8* y2, const int*) {
  gem2v_f(m, n, alpha, a, lda, x1, x2, beta, y1, y2);
}
ORB_API void ORB_BLAS(zgem2vc_f)(const int* m, const int* n, const c16* alpha, const c16* a, const int* lda,
                                 const c16* x1, const int*, const c16* x2, const int*, const c16* beta, c16* y1,
                                 const int*, c16* y2, const int*) {
  gem2v_f(m, n, alpha, a, lda, x1, x2, beta, y1, y2);
}
ORB_API void ORB_BLAS(cgem2vc)(const int* m, const int* n, const c8* alpha, const c8* a, const int* lda,
                               const c8* x1, const int* incx1, const c8* x2, const int* incx2, const c8* beta,
                               c8* y1, const int* incy1, c8* y2, const int* incy2) {
  gem2v_complex(m, n, alpha, a, lda, x1, incx1, x2, incx2, beta, y1, incy1, y2, incy2, &gem2v_f<c8>,
                &ORB_BLAS(xcscal), &ORB_BLAS(xcaxpy), &ORB_BLAS(xcdotc));
}
ORB_API void ORB_BLAS(zgem2vc)(const int* m, const int* n, const c16* alpha, const c16* a, const int* lda,
                               const c16* x1, const int* incx1, const c16* x2, const int* incx2, const c16* beta,
                               c16* y1, const int* incy1, c16* y2, const int* incy2) {
  gem2v_complex(m, n, alpha, a, lda, x1, incx1, x2, incx2, beta, y1, incy1, y2, incy2, &gem2v_f<c16>,
                &ORB_BLAS(xzscal), &ORB_BLAS(xzaxpy), &ORB_BLAS(xzdotc));
}
