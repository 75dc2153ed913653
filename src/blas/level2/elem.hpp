// One scalar vocabulary for the real and complex forms of the banded and
// packed kernels: S is T for real element types and cx<T> for complex ones,
// and the helpers below pick the contiguous vector runs where they apply.
#pragma once

#include "blas/level2/level2.hpp"

namespace orb::l2 {

template <class C> struct elem {
  using T = C;
  using S = C;
  static S load(const C* p) { return *p; }
  static void store(C* p, S v) { *p = v; }
  static S zero() { return S(0); }
  static bool is_zero(S v) { return v == S(0); }
  static S cj(S v, bool) { return v; }
  static S mul(S a, S b) { return a * b; }
  static S add(S a, S b) { return a + b; }
  static S sub(S a, S b) { return a - b; }
  static S div(S a, S b) { return a / b; }
  static S neg(S a) { return -a; }
  static S madd(S a, S b, S y) { return std::fma(a, b, y); }  // y + a b
  static S real_part(S a) { return a; }
  // y[0..len) += a[0..len) * t, contiguous.
  static void axpy(int len, S t, const C* a, C* y, bool) { axpy_run(len, t, a, y); }
  static S dot(int len, const C* a, const C* x, bool) { return dot_run(len, a, x); }
};

template <class C> struct celem {
  using T = R<C>;
  using S = cx<T>;
  static S load(const C* p) { return ld(p); }
  static void store(C* p, S v) { st(p, v); }
  static S zero() { return {T(0), T(0)}; }
  static bool is_zero(S v) { return v.re == T(0) && v.im == T(0); }
  static S cj(S v, bool c) { return c ? conj(v) : v; }
  static S mul(S a, S b) { return cmul(a, b); }
  static S add(S a, S b) { return cadd(a, b); }
  static S sub(S a, S b) { return csub(a, b); }
  static S div(S a, S b) { return cdiv(a, b); }
  static S neg(S a) { return {-a.re, -a.im}; }
  static S madd(S a, S b, S y) { return cfma(a, b, y); }
  static S real_part(S a) { return {a.re, T(0)}; }
  static void axpy(int len, S t, const C* a, C* y, bool conj_a) {
    if (conj_a) caxpy_run<T, true>(len, t, rp(a), rp(y));
    else caxpy_run<T, false>(len, t, rp(a), rp(y));
  }
  static S dot(int len, const C* a, const C* x, bool conj_a) {
    return conj_a ? cdot_run<T, true>(len, rp(a), rp(x)) : cdot_run<T, false>(len, rp(a), rp(x));
  }
};
template <> struct elem<orb_complex8> : celem<orb_complex8> {};
template <> struct elem<orb_complex16> : celem<orb_complex16> {};

// A strided vector: element i of length-n vector with increment inc.
template <class C>
struct svec {
  C* p;  // element 0
  int inc;
  svec(C* base, int n, int incr) : p(base + first(n, incr)), inc(incr) {}
  C* at(int i) const { return p + idx(i) * inc; }
};

// y[lo..lo+len) += a[..] * t for a contiguous column segment and a strided
// or contiguous vector.
template <class C>
inline void seg_axpy(int len, typename elem<C>::S t, const C* a, const svec<C>& y, int lo, bool conj_a) {
  using E = elem<C>;
  if (len <= 0) return;
  if (y.inc == 1) {
    E::axpy(len, t, a, y.at(lo), conj_a);
    return;
  }
  for (int i = 0; i < len; ++i) E::store(y.at(lo + i), E::madd(E::cj(E::load(a + i), conj_a), t, E::load(y.at(lo + i))));
}

template <class C>
inline typename elem<C>::S seg_dot(int len, const C* a, const svec<C>& x, int lo, bool conj_a) {
  using E = elem<C>;
  if (len <= 0) return E::zero();
  if (x.inc == 1) return E::dot(len, a, x.at(lo), conj_a);
  typename E::S d = E::zero();
  for (int i = 0; i < len; ++i) d = E::madd(E::cj(E::load(a + i), conj_a), E::load(x.at(lo + i)), d);
  return d;
}

}  // namespace orb::l2
