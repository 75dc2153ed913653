// Sparse vectors: a compressed vector x of nz values with 1-based indices
// into a dense vector y.
//
// Indices are taken as given: a repeated index is outside the contract of
// axpyi and sctr, while gthrz and roti are defined element by element, in
// order, so that a repeated index behaves as a sequence of single steps.
#include "blas/level2/elem.hpp"

namespace orb::l2 {
namespace {

template <class C>
void axpyi(int nz, const C* palpha, const C* x, const int* indx, C* y) {
  using E = elem<C>;
  if (nz < 1) return;
  const auto alpha = E::load(palpha);
  if (E::is_zero(alpha)) return;
  for (int i = 0; i < nz; ++i) {
    C* e = y + (indx[i] - 1);
    E::store(e, E::madd(alpha, E::load(x + i), E::load(e)));
  }
}

// Real dot: two accumulators, 2N values a step, then masked steps of N in
// the first; the accumulators are added and folded once.
template <class T>
T doti(int nz, const T* x, const int* indx, const T* y) {
  using V = vec<T>;
  constexpr int N = V::N;
  if (nz < 1) return T(0);
  V a0 = V::zero(), a1 = V::zero();
  alignas(64) T g[2 * N];
  int i = 0;
  for (; i + 2 * N <= nz; i += 2 * N) {
    for (int l = 0; l < 2 * N; ++l) g[l] = y[indx[i + l] - 1];
    a0 = fma(V::loadu(x + i), V::loadu(g), a0);
    a1 = fma(V::loadu(x + i + N), V::loadu(g + N), a1);
  }
  for (; i < nz; i += N) {
    const int r = nz - i < N ? nz - i : N;
    for (int l = 0; l < r; ++l) g[l] = y[indx[i + l] - 1];
    a0 = fma(V::load_mask(x + i, r), V::load_mask(g, r), a0);
  }
  return simd::reduce_add(a0 + a1);
}

// Complex dot, x conjugated or not, in index order.
template <class C, bool Conj>
void cdoti(C* result, int nz, const C* x, const int* indx, const C* y) {
  using E = elem<C>;
  auto d = E::zero();
  for (int i = 0; i < nz; ++i) d = E::madd(E::cj(E::load(x + i), Conj), E::load(y + (indx[i] - 1)), d);
  E::store(result, d);
}

template <class C>
void gthr(int nz, const C* y, C* x, const int* indx) {
  for (int i = 0; i < nz; ++i) x[i] = y[indx[i] - 1];
}

template <class C>
void gthrz(int nz, C* y, C* x, const int* indx) {
  for (int i = 0; i < nz; ++i) {
    C* e = y + (indx[i] - 1);
    x[i] = *e;
    *e = C{};
  }
}

template <class C>
void sctr(int nz, const C* x, const int* indx, C* y) {
  for (int i = 0; i < nz; ++i) y[indx[i] - 1] = x[i];
}

// Plane rotation of (x, y(index)): no vector form, since a repeated index
// makes each step depend on the one before.
template <class T>
void roti(int nz, T* x, const int* indx, T* y, T c, T s) {
  if (nz < 1 || (c == T(1) && s == T(0))) return;
  for (int i = 0; i < nz; ++i) {
    T& yk = y[indx[i] - 1];
    const T xo = x[i];
    x[i] = std::fma(c, xo, s * yk);
    yk = std::fma(-xo, s, c * yk);
  }
}

}  // namespace
}  // namespace orb::l2

using namespace orb::l2;
using c8 = orb_complex8;
using c16 = orb_complex16;

#define ORB_SPARSE(t, C)                                                                                        \
  ORB_API void ORB_BLAS(t##axpyi)(const int* nz, const C* alpha, const C* x, const int* indx, C* y) {           \
    axpyi(*nz, alpha, x, indx, y);                                                                              \
  }                                                                                                             \
  ORB_API void ORB_BLAS(t##gthr)(const int* nz, const C* y, C* x, const int* indx) { gthr(*nz, y, x, indx); }   \
  ORB_API void ORB_BLAS(t##gthrz)(const int* nz, C* y, C* x, const int* indx) { gthrz(*nz, y, x, indx); }       \
  ORB_API void ORB_BLAS(t##sctr)(const int* nz, const C* x, const int* indx, C* y) { sctr(*nz, x, indx, y); }
ORB_SPARSE(s, float)
ORB_SPARSE(d, double)
ORB_SPARSE(c, c8)
ORB_SPARSE(z, c16)

ORB_API float ORB_BLAS(sdoti)(const int* nz, const float* x, const int* indx, const float* y) {
  return doti(*nz, x, indx, y);
}
ORB_API double ORB_BLAS(ddoti)(const int* nz, const double* x, const int* indx, const double* y) {
  return doti(*nz, x, indx, y);
}
ORB_API void ORB_BLAS(cdotci)(c8* r, const int* nz, const c8* x, const int* indx, const c8* y) {
  cdoti<c8, true>(r, *nz, x, indx, y);
}
ORB_API void ORB_BLAS(cdotui)(c8* r, const int* nz, const c8* x, const int* indx, const c8* y) {
  cdoti<c8, false>(r, *nz, x, indx, y);
}
ORB_API void ORB_BLAS(zdotci)(c16* r, const int* nz, const c16* x, const int* indx, const c16* y) {
  cdoti<c16, true>(r, *nz, x, indx, y);
}
ORB_API void ORB_BLAS(zdotui)(c16* r, const int* nz, const c16* x, const int* indx, const c16* y) {
  cdoti<c16, false>(r, *nz, x, indx, y);
}
ORB_API void ORB_BLAS(sroti)(const int* nz, float* x, const int* indx, float* y, const float* c, const float* s) {
  roti(*nz, x, indx, y, *c, *s);
}
ORB_API void ORB_BLAS(droti)(const int* nz, double* x, const int* indx, double* y, const double* c,
                             const double* s) {
  roti(*nz, x, indx, y, *c, *s);
}
