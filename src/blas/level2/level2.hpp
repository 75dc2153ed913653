// Helpers shared by the level-2 and sparse-vector kernels.
//
// Everything here is written against the logical vector, so a helper gives
// the same bits in every build. The contiguous helpers (axpy_run, dot_run
// and their complex forms) fix their order of accumulation: lane l of a dot
// sums elements l, l + N, l + 2N, ... in turn, the tail is one masked step,
// and the lanes fold by the halving tree of reduce_add.
#pragma once

#include <cmath>
#include <cstddef>

#include "blas/level1/level1.hpp"

namespace orb::l2 {

using simd::vec;
using l1::first;
using l1::real_of;
using idx = std::ptrdiff_t;

// Character arguments: both cases side by side, anything else is the
// default branch, as the public routine has checked the letter already.
inline bool is_n(const char* c) { return *c == 'N' || *c == 'n'; }
inline bool is_u(const char* c) { return *c == 'U' || *c == 'u'; }
inline bool is_c(const char* c) { return *c == 'C' || *c == 'c'; }
inline char upper(const char* c) { return char(*c & ~32); }

// Real and imaginary part access on interleaved complex arrays.
template <class C> using R = typename real_of<C>::type;
template <class C> inline R<C>* rp(C* p) { return reinterpret_cast<R<C>*>(p); }
template <class C> inline const R<C>* rp(const C* p) { return reinterpret_cast<const R<C>*>(p); }

template <class T> inline constexpr bool is_complex_v = false;
template <> inline constexpr bool is_complex_v<orb_complex8> = true;
template <> inline constexpr bool is_complex_v<orb_complex16> = true;

// Scalar complex arithmetic on (re, im) pairs, written out so that every
// kernel rounds in the same way: products as ar*br - ai*bi, ar*bi + ai*br.
template <class T> struct cx {
  T re, im;
};
template <class T> inline cx<T> cmul(cx<T> a, cx<T> b) {
  return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
template <class T> inline cx<T> conj(cx<T> a) { return {a.re, -a.im}; }
template <class T> inline cx<T> cadd(cx<T> a, cx<T> b) { return {a.re + b.re, a.im + b.im}; }
template <class T> inline cx<T> csub(cx<T> a, cx<T> b) { return {a.re - b.re, a.im - b.im}; }
// a / b scaled by the larger part of b (Smith's method): the squared
// magnitude of b would overflow or underflow long before the quotient does,
// and LAPACK scales matrices to near those limits on purpose.
template <class T> inline cx<T> cdiv(cx<T> a, cx<T> b) {
  if (std::fabs(b.re) >= std::fabs(b.im)) {
    const T r = b.im / b.re, d = b.re + b.im * r;
    return {(a.re + a.im * r) / d, (a.im - a.re * r) / d};
  }
  const T r = b.re / b.im, d = b.im + b.re * r;
  return {(a.re * r + a.im) / d, (a.im * r - a.re) / d};
}
template <class C> inline cx<R<C>> ld(const C* p) { return {rp(p)[0], rp(p)[1]}; }
template <class C> inline void st(C* p, cx<R<C>> v) { rp(p)[0] = v.re, rp(p)[1] = v.im; }
// y + a * b with each part formed by two fused steps, in the order of the
// vector form (caxpy_run), so that strided and contiguous paths agree.
template <class T> inline cx<T> cfma(cx<T> a, cx<T> b, cx<T> y) {
  return {std::fma(-a.im, b.im, std::fma(a.re, b.re, y.re)), std::fma(a.re, b.im, std::fma(a.im, b.re, y.im))};
}

// Swaps the two parts of every complex number held in a vector (lanes 2k
// and 2k + 1). A lane permutation, so exact in every build.
template <class T>
inline vec<T> swap_ri(const vec<T>& v) {
  vec<T> r;
  for (int k = 0; k < vec<T>::K; ++k) {
#if ORB_LEVEL >= 9
    if constexpr (sizeof(T) == 8) r.r[k] = _mm512_shuffle_pd(v.r[k], v.r[k], 0x55);
    else r.r[k] = _mm512_shuffle_ps(v.r[k], v.r[k], 0xB1);
#elif ORB_LEVEL >= 7
    if constexpr (sizeof(T) == 8) r.r[k] = _mm256_shuffle_pd(v.r[k], v.r[k], 5);
    else r.r[k] = _mm256_shuffle_ps(v.r[k], v.r[k], 0xB1);
#else
    if constexpr (sizeof(T) == 8) r.r[k] = _mm_shuffle_pd(v.r[k], v.r[k], 1);
    else r.r[k] = _mm_shuffle_ps(v.r[k], v.r[k], 0xB1);
#endif
  }
  return r;
}

// (s0, s1, s0, s1, ...): the sign pattern of the even and odd lanes.
template <class T>
inline vec<T> pair_pattern(T even, T odd) {
  alignas(64) T t[vec<T>::N];
  for (int l = 0; l < vec<T>::N; ++l) t[l] = (l & 1) ? odd : even;
  return vec<T>::loadu(t);
}

// ---- Contiguous real runs ------------------------------------------------

// y[0..n) := y + t * a, one fused step an element.
template <class T>
inline void axpy_run(int n, T t, const T* a, T* y) {
  using V = vec<T>;
  constexpr int N = V::N;
  const V vt = V::set1(t);
  int i = 0;
  for (; i + N <= n; i += N) fma(V::loadu(a + i), vt, V::loadu(y + i)).storeu(y + i);
  if (i < n) fma(V::load_mask(a + i, n - i), vt, V::load_mask(y + i, n - i)).store_mask(y + i, n - i);
}

// y[0..n) := y + t1 * a + t2 * b, as two fused steps in that order.
template <class T>
inline void axpy2_run(int n, T t1, const T* a, T t2, const T* b, T* y) {
  using V = vec<T>;
  constexpr int N = V::N;
  const V v1 = V::set1(t1), v2 = V::set1(t2);
  int i = 0;
  for (; i + N <= n; i += N)
    fma(V::loadu(b + i), v2, fma(V::loadu(a + i), v1, V::loadu(y + i))).storeu(y + i);
  if (i < n) {
    const int r = n - i;
    fma(V::load_mask(b + i, r), v2, fma(V::load_mask(a + i, r), v1, V::load_mask(y + i, r))).store_mask(y + i, r);
  }
}

// sum a[i] * x[i] over [0, n): lanes, masked tail, halving tree.
template <class T>
inline T dot_run(int n, const T* a, const T* x) {
  using V = vec<T>;
  constexpr int N = V::N;
  if (n <= 0) return T(0);
  V acc = V::zero();
  int i = 0;
  for (; i + N <= n; i += N) acc = fma(V::loadu(a + i), V::loadu(x + i), acc);
  if (i < n) acc = fma(V::load_mask(a + i, n - i), V::load_mask(x + i, n - i), acc);
  return simd::reduce_add(acc);
}

// ---- Contiguous complex runs (arrays of interleaved pairs) ----------------

// y[0..n) := y + t * a, or y + t * conj(a).
template <class T, bool ConjA = false>
inline void caxpy_run(int n, cx<T> t, const T* a, T* y) {
  using V = vec<T>;
  constexpr int N = V::N;
  // a * t = a * tr + swap(a) * (-ti, ti); conj(a) * t = a * (tr, -tr) ...
  // written as: lanes (ar, ai) * (tr, tr) + (ai, ar) * (-ti, ti), with the
  // conjugate flipping the sign of ai in both products.
  const V vr = ConjA ? pair_pattern<T>(t.re, -t.re) : V::set1(t.re);
  const V vi = ConjA ? pair_pattern<T>(t.im, t.im) : pair_pattern<T>(-t.im, t.im);
  const int total = 2 * n;
  int i = 0;
  for (; i + N <= total; i += N) {
    const V av = V::loadu(a + i);
    fma(swap_ri(av), vi, fma(av, vr, V::loadu(y + i))).storeu(y + i);
  }
  if (i < total) {
    const int r = total - i;
    const V av = V::load_mask(a + i, r);
    fma(swap_ri(av), vi, fma(av, vr, V::load_mask(y + i, r))).store_mask(y + i, r);
  }
}

// sum a[i] * x[i] (or conj(a[i]) * x[i]) over [0, n) complex elements.
template <class T, bool ConjA = false>
inline cx<T> cdot_run(int n, const T* a, const T* x) {
  using V = vec<T>;
  constexpr int N = V::N;
  if (n <= 0) return {T(0), T(0)};
  V p = V::zero(), q = V::zero();  // p: (ar xr, ai xi), q: (ar xi, ai xr)
  const int total = 2 * n;
  int i = 0;
  for (; i + N <= total; i += N) {
    const V av = V::loadu(a + i), xv = V::loadu(x + i);
    p = fma(av, xv, p);
    q = fma(av, swap_ri(xv), q);
  }
  if (i < total) {
    const int r = total - i;
    const V av = V::load_mask(a + i, r), xv = V::load_mask(x + i, r);
    p = fma(av, xv, p);
    q = fma(av, swap_ri(xv), q);
  }
  const V sp = ConjA ? V::set1(T(1)) : pair_pattern<T>(T(1), T(-1));
  const V sq = ConjA ? pair_pattern<T>(T(1), T(-1)) : V::set1(T(1));
  return {simd::reduce_add(p * sp), simd::reduce_add(q * sq)};
}

// ---- The beta pass of y ---------------------------------------------------

// y := beta * y over len elements with increment inc (start as the BLAS
// rule has it). beta = 1 leaves y; beta = 0 stores zeros. inc = 0 is done
// honestly: the one element is scaled len times, by beta^len formed in
// lanes, thirty-two factors a step.
template <class T>
void scale_y(int len, T beta, T* y, int inc) {
  using V = vec<T>;
  constexpr int N = V::N;
  if (len <= 0 || beta == T(1)) return;
  if (inc == 0) {
    if (beta == T(0)) {
      y[0] = T(0);
      return;
    }
    constexpr int G = 32 / N;  // vectors a step
    V p[G];
    for (int g = 0; g < G; ++g) p[g] = V::set1(T(1));
    const V vb = V::set1(beta);
    int i = 0;
    for (; i + 32 <= len; i += 32)
      for (int g = 0; g < G; ++g) p[g] = p[g] * vb;
    if (i < len) {
      const int r = len - i;
      for (int g = 0; g < G; ++g) {
        const int live = r - g * N;
        if (live <= 0) break;
        alignas(64) T f[N];
        for (int l = 0; l < N; ++l) f[l] = l < live ? beta : T(1);
        p[g] = p[g] * V::loadu(f);
      }
    }
    for (int g = 1; g < G; ++g) p[0] = p[0] * p[g];
    alignas(64) T t[N];
    p[0].storeu(t);
    for (int h = N / 2; h >= 1; h /= 2)
      for (int l = 0; l < h; ++l) t[l] = t[l] * t[l + h];
    y[0] = y[0] * t[0];
    return;
  }
  if (inc == 1) {
    if (beta == T(0)) {
      for (int i = 0; i < len; ++i) y[i] = T(0);
      return;
    }
    const V vb = V::set1(beta);
    int i = 0;
    for (; i + 2 * N <= len; i += 2 * N) {
      (V::loadu(y + i) * vb).storeu(y + i);
      (V::loadu(y + i + N) * vb).storeu(y + i + N);
    }
    for (; i < len; i += N) {
      const int r = len - i < N ? len - i : N;
      (V::load_mask(y + i, r) * vb).store_mask(y + i, r);
    }
    return;
  }
  T* ys = y + first(len, inc);
  for (int i = 0; i < len; ++i) {
    T& e = ys[idx(i) * inc];
    e = beta == T(0) ? T(0) : e * beta;
  }
}

// The complex beta pass: y := beta * y, with the same edges.
template <class T>
void scale_y(int len, cx<T> beta, T* y, int inc) {
  if (len <= 0 || (beta.re == T(1) && beta.im == T(0))) return;
  const bool zero = beta.re == T(0) && beta.im == T(0);
  if (inc == 0) {
    if (zero) {
      y[0] = y[1] = T(0);
      return;
    }
    // beta^len by squaring would round differently from len products;
    // the honest product is kept, in order.
    cx<T> p{T(1), T(0)};
    for (int i = 0; i < len; ++i) p = cmul(p, beta);
    const cx<T> v = cmul(cx<T>{y[0], y[1]}, p);
    y[0] = v.re, y[1] = v.im;
    return;
  }
  T* ys = y + 2 * first(len, inc);
  if (zero) {
    for (int i = 0; i < len; ++i) ys[2 * idx(i) * inc] = ys[2 * idx(i) * inc + 1] = T(0);
    return;
  }
  if (inc == 1) {
    using V = vec<T>;
    constexpr int N = V::N;
    const V vr = V::set1(beta.re), vi = pair_pattern<T>(-beta.im, beta.im);
    const int total = 2 * len;
    int i = 0;
    for (; i + N <= total; i += N) {
      const V yv = V::loadu(ys + i);
      (yv * vr + swap_ri(yv) * vi).storeu(ys + i);
    }
    if (i < total) {
      const V yv = V::load_mask(ys + i, total - i);
      (yv * vr + swap_ri(yv) * vi).store_mask(ys + i, total - i);
    }
    return;
  }
  for (int i = 0; i < len; ++i) {
    T* e = ys + 2 * idx(i) * inc;
    const cx<T> v = cmul(beta, cx<T>{e[0], e[1]});
    e[0] = v.re, e[1] = v.im;
  }
}

}  // namespace orb::l2
