// The recombination of a real transform of even length N from a complex one
// of M = N/2 (z[j] = x[2j] + i x[2j+1], Z its transform), by pairs k and
// M - k, with W^k = exp(-2 pi i k / N) and W^(M-k) = -conj(W^k):
//   forward  X[k] = (Z[k] + conj Z[M-k]) / 2 - i W^k (Z[k] - conj Z[M-k]) / 2
//   backward Z[k] = (X[k] + conj X[M-k]) + i conj(W^k) (X[k] - conj X[M-k])
// (the backward with the factor 2 that makes the half-length inverse give
// the unscaled real inverse). Shared by the backends that build real
// transforms on complex ones.
#pragma once

namespace orb::dft {

template <class T>
struct cplx {
  T re, im;
};
template <class T>
inline cplx<T> mul(cplx<T> a, cplx<T> b) {
  return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
template <class T>
inline cplx<T> conj(cplx<T> a) {
  return {a.re, -a.im};
}

// Both ends: X[0] and X[M] from Z[0], and back.
template <class T>
inline void recombine_ends_fwd(cplx<T> z0, cplx<T>& x0, cplx<T>& xm) {
  x0 = {z0.re + z0.im, T(0)};
  xm = {z0.re - z0.im, T(0)};
}
template <class T>
inline cplx<T> recombine_ends_inv(cplx<T> x0, cplx<T> xm) {
  return {x0.re + xm.re, x0.re - xm.re};
}

// The pair (k, M - k), 0 < k <= M/2; when k = M - k only the first counts.
template <class T>
inline void recombine_fwd(cplx<T> zk, cplx<T> zmk, cplx<T> wk, cplx<T> wmk, cplx<T>& xk, cplx<T>& xmk) {
  const T half = T(0.5);
  const cplx<T> zm = conj(zmk);
  const cplx<T> A = {half * (zk.re + zm.re), half * (zk.im + zm.im)};
  const cplx<T> B = {half * (zk.re - zm.re), half * (zk.im - zm.im)};
  const cplx<T> t = mul(wk, B);  // then times -i
  xk = {A.re + t.im, A.im - t.re};
  // X[M-k] = conj(A) + i W^(M-k) conj(B).
  const cplx<T> u = mul(wmk, conj(B));
  xmk = {A.re - u.im, -A.im + u.re};
}
template <class T>
inline void recombine_inv(cplx<T> xk, cplx<T> xmk, cplx<T> wk, cplx<T> wmk, cplx<T>& zk, cplx<T>& zmk) {
  const cplx<T> xm = conj(xmk);
  const cplx<T> S = {xk.re + xm.re, xk.im + xm.im};
  const cplx<T> D = {xk.re - xm.re, xk.im - xm.im};
  const cplx<T> t = mul(conj(wk), D);  // then times i
  zk = {S.re - t.im, S.im + t.re};
  // Z[M-k] = conj(S) + i W^k conj(D) = conj(S) - i conj(W^(M-k)) conj(D).
  const cplx<T> u = mul(conj(wmk), conj(D));
  zmk = {S.re + u.im, -S.im - u.re};
}

}  // namespace orb::dft
