// Banded and packed storage: products, triangular products and solves, and
// the packed rank updates.
//
// Both storages hold each column of the matrix as one contiguous segment,
// so every kernel here is the column loop of the reference routine over a
// "geometry" that tells where column j lies and which rows it holds; the
// inner step on a segment is a vector run (elem.hpp) for contiguous x or y
// and a scalar loop for strided ones.
#include "blas/level2/elem.hpp"

namespace orb::l2 {
namespace {

inline int imax(int a, int b) { return a > b ? a : b; }
inline int imin(int a, int b) { return a < b ? a : b; }

// Column j holds A(i, j) at col(j)[i] for lo(j) <= i <= hi(j).
template <class C> struct band_upper {
  const C* a; idx lda; int k;
  const C* col(int j) const { return a + idx(j) * lda + (k - j); }
  int lo(int j) const { return imax(0, j - k); }
  int hi(int j) const { return j; }
};
template <class C> struct band_lower {
  const C* a; idx lda; int k; int n;
  const C* col(int j) const { return a + idx(j) * lda - j; }
  int lo(int j) const { return j; }
  int hi(int j) const { return imin(n - 1, j + k); }
};
template <class C> struct packed_upper {
  const C* ap;
  const C* col(int j) const { return ap + idx(j) * (j + 1) / 2; }
  int lo(int) const { return 0; }
  int hi(int j) const { return j; }
};
template <class C> struct packed_lower {
  const C* ap; int n;
  const C* col(int j) const { return ap + idx(j) * n - idx(j) * (j - 1) / 2 - j; }
  int lo(int j) const { return j; }
  int hi(int) const { return n - 1; }
};

// ---- Triangular product and solve -------------------------------------------

template <class C, class G>
void tmv(const G& g, bool up, bool trans, bool cj, bool unit, int n, svec<C> x) {
  using E = elem<C>;
  if (!trans) {
    for (int s = 0; s < n; ++s) {
      const int j = up ? s : n - 1 - s;
      const C* p = g.col(j);
      const auto t = E::load(x.at(j));
      if (up) seg_axpy(j - g.lo(j), t, p + g.lo(j), x, g.lo(j), false);
      else seg_axpy(g.hi(j) - j, t, p + j + 1, x, j + 1, false);
      if (!unit) E::store(x.at(j), E::mul(t, E::load(p + j)));
    }
  } else {
    for (int s = 0; s < n; ++s) {
      const int j = up ? n - 1 - s : s;
      const C* p = g.col(j);
      auto v = E::load(x.at(j));
      if (!unit) v = E::mul(v, E::cj(E::load(p + j), cj));
      const auto d = up ? seg_dot(j - g.lo(j), p + g.lo(j), x, g.lo(j), cj) : seg_dot(g.hi(j) - j, p + j + 1, x, j + 1, cj);
      E::store(x.at(j), E::add(v, d));
    }
  }
}

template <class C, class G>
void tsv(const G& g, bool up, bool trans, bool cj, bool unit, int n, svec<C> x) {
  using E = elem<C>;
  if (!trans) {
    for (int s = 0; s < n; ++s) {
      const int j = up ? n - 1 - s : s;
      const C* p = g.col(j);
      auto v = E::load(x.at(j));
      if (!unit) {
        v = E::div(v, E::load(p + j));
        E::store(x.at(j), v);
      }
      if (up) seg_axpy(j - g.lo(j), E::neg(v), p + g.lo(j), x, g.lo(j), false);
      else seg_axpy(g.hi(j) - j, E::neg(v), p + j + 1, x, j + 1, false);
    }
  } else {
    for (int s = 0; s < n; ++s) {
      const int j = up ? s : n - 1 - s;
      const C* p = g.col(j);
      const auto d = up ? seg_dot(j - g.lo(j), p + g.lo(j), x, g.lo(j), cj) : seg_dot(g.hi(j) - j, p + j + 1, x, j + 1, cj);
      auto v = E::sub(E::load(x.at(j)), d);
      if (!unit) v = E::div(v, E::cj(E::load(p + j), cj));
      E::store(x.at(j), v);
    }
  }
}

// The same solve in plain scalar steps, each sum in index order: its order
// of accumulation depends on nothing but the data.
template <class C, class G>
void tsv_plain(const G& g, bool up, bool trans, bool cj, bool unit, int n, svec<C> x) {
  using E = elem<C>;
  for (int s = 0; s < n; ++s) {
    const int j = (up != trans) ? n - 1 - s : s;
    const C* p = g.col(j);
    const int lo = up ? g.lo(j) : j + 1, hi = up ? j - 1 : g.hi(j);
    if (!trans) {
      auto v = E::load(x.at(j));
      if (!unit) v = E::div(v, E::load(p + j));
      E::store(x.at(j), v);
      for (int i = lo; i <= hi; ++i) E::store(x.at(i), E::madd(E::load(p + i), E::neg(v), E::load(x.at(i))));
    } else {
      auto d = E::zero();
      for (int i = lo; i <= hi; ++i) d = E::madd(E::cj(E::load(p + i), cj), E::load(x.at(i)), d);
      auto v = E::sub(E::load(x.at(j)), d);
      if (!unit) v = E::div(v, E::cj(E::load(p + j), cj));
      E::store(x.at(j), v);
    }
  }
}

template <class C>
void tb(bool solve, const char* uplo, const char* trans, const char* diag, const int* pn, const int* pk, const C* a,
        const int* plda, C* x, const int* pincx, bool plain = false) {
  const int n = *pn;
  if (n <= 0) return;
  const bool up = is_u(uplo), tr = !is_n(trans), cj = is_c(trans), unit = !is_n(diag);
  const svec<C> xv(x, n, *pincx);
  if (up) {
    const band_upper<C> g{a, *plda, *pk};
    if (!solve) tmv<C>(g, up, tr, cj, unit, n, xv);
    else if (plain) tsv_plain<C>(g, up, tr, cj, unit, n, xv);
    else tsv<C>(g, up, tr, cj, unit, n, xv);
  } else {
    const band_lower<C> g{a, *plda, *pk, n};
    if (!solve) tmv<C>(g, up, tr, cj, unit, n, xv);
    else if (plain) tsv_plain<C>(g, up, tr, cj, unit, n, xv);
    else tsv<C>(g, up, tr, cj, unit, n, xv);
  }
}

template <class C>
void tp(bool solve, const char* uplo, const char* trans, const char* diag, const int* pn, const C* ap, C* x,
        const int* pincx) {
  const int n = *pn;
  if (n <= 0) return;
  const bool up = is_u(uplo), tr = !is_n(trans), cj = is_c(trans), unit = !is_n(diag);
  const svec<C> xv(x, n, *pincx);
  if (up) {
    const packed_upper<C> g{ap};
    if (solve) tsv<C>(g, up, tr, cj, unit, n, xv);
    else tmv<C>(g, up, tr, cj, unit, n, xv);
  } else {
    const packed_lower<C> g{ap, n};
    if (solve) tsv<C>(g, up, tr, cj, unit, n, xv);
    else tmv<C>(g, up, tr, cj, unit, n, xv);
  }
}

// The complex banded solves through the level-1 dots and updates: the
// transposed step is a dot of the segment with x, the other an axpy.
template <class C>
void tbsv_vial1(const char* uplo, const char* trans, const char* diag, const int* pn, const int* pk, const C* a,
                const int* plda, C* x, const int* pincx,
                void (*dotu)(C*, const int*, const C*, const int*, const C*, const int*),
                void (*dotc)(C*, const int*, const C*, const int*, const C*, const int*),
                void (*axpy)(const int*, const C*, const C*, const int*, C*, const int*)) {
  using E = elem<C>;
  const int n = *pn;
  if (n <= 0) return;
  const bool up = is_u(uplo), tr = !is_n(trans), cj = is_c(trans), unit = !is_n(diag);
  const int inc = *pincx, one = 1;
  const svec<C> xv(x, n, inc);
  const int k = *pk;
  const idx lda = *plda;
  auto col = [&](int j) { return up ? a + idx(j) * lda + (k - j) : a + idx(j) * lda - j; };
  // Address of the segment [lo, lo + len) of x by the BLAS rule.
  auto seg = [&](int lo, int len) { return xv.p + idx(inc > 0 ? lo : lo + len - 1) * inc; };
  for (int s = 0; s < n; ++s) {
    const int j = (up != tr) ? n - 1 - s : s;
    const C* p = col(j);
    const int lo = up ? imax(0, j - k) : j + 1, len = up ? j - lo : imin(n - 1, j + k) - j;
    if (!tr) {
      auto v = E::load(xv.at(j));
      if (!unit) v = E::div(v, E::load(p + j));
      E::store(xv.at(j), v);
      if (len > 0) {
        C t;
        E::store(&t, E::neg(v));
        axpy(&len, &t, p + lo, &one, seg(lo, len), &inc);
      }
    } else {
      C d;
      E::store(&d, E::zero());
      if (len > 0) (cj ? dotc : dotu)(&d, &len, p + lo, &one, seg(lo, len), &inc);
      auto v = E::sub(E::load(xv.at(j)), E::load(&d));
      if (!unit) v = E::div(v, E::cj(E::load(p + j), cj));
      E::store(xv.at(j), v);
    }
  }
}

// ---- General band product ------------------------------------------------------

template <class C>
void gbmv(const char* trans, const int* pm, const int* pn, const int* pkl, const int* pku, const C* palpha,
          const C* a, const int* plda, const C* x, const int* pincx, const C* pbeta, C* y, const int* pincy) {
  using E = elem<C>;
  const int m = *pm, n = *pn;
  if (m <= 0 || n <= 0) return;
  const auto alpha = E::load(palpha), beta = E::load(pbeta);
  const bool nt = is_n(trans), cj = is_c(trans);
  const int leny = nt ? m : n, lenx = nt ? n : m;
  const bool azero = E::is_zero(alpha);
  if constexpr (is_complex_v<C>) {
    if (azero && beta.re == R<C>(1) && beta.im == R<C>(0)) return;
    scale_y(leny, beta, rp(y), *pincy);
  } else {
    if (azero && beta == C(1)) return;
    scale_y(leny, beta, y, *pincy);
  }
  if (azero) return;
  const int kl = *pkl, ku = *pku;
  const idx lda = *plda;
  const svec<C> xv(const_cast<C*>(x), lenx, *pincx), yv(y, leny, *pincy);
  for (int j = 0; j < n; ++j) {
    const int lo = imax(0, j - ku), hi = imin(m - 1, j + kl);
    const C* col = a + idx(j) * lda + (ku - j);  // A(i, j) = col[i]
    if (nt) {
      seg_axpy(hi - lo + 1, E::mul(alpha, E::load(xv.at(j))), col + lo, yv, lo, false);
    } else {
      const auto d = seg_dot(hi - lo + 1, col + lo, xv, lo, cj);
      E::store(yv.at(j), E::madd(alpha, d, E::load(yv.at(j))));
    }
  }
}

// ---- Symmetric and Hermitian products ----------------------------------------------

template <class C, class G>
void smv(const G& g, bool up, bool herm, int n, const C* palpha, const C* x, int incx, const C* pbeta, C* y,
         int incy) {
  using E = elem<C>;
  const auto alpha = E::load(palpha), beta = E::load(pbeta);
  const bool azero = E::is_zero(alpha);
  if constexpr (is_complex_v<C>) {
    if (azero && beta.re == R<C>(1) && beta.im == R<C>(0)) return;
    scale_y(n, beta, rp(y), incy);
  } else {
    if (azero && beta == C(1)) return;
    scale_y(n, beta, y, incy);
  }
  if (azero) return;
  const svec<C> xv(const_cast<C*>(x), n, incx), yv(y, n, incy);
  for (int j = 0; j < n; ++j) {
    const C* p = g.col(j);
    const auto t = E::mul(alpha, E::load(xv.at(j)));
    const int lo = up ? g.lo(j) : j + 1, len = up ? j - g.lo(j) : g.hi(j) - j;
    seg_axpy(len, t, p + lo, yv, lo, false);
    const auto d = seg_dot(len, p + lo, xv, lo, herm);
    const auto djj = herm ? E::real_part(E::load(p + j)) : E::load(p + j);
    E::store(yv.at(j), E::madd(alpha, d, E::madd(t, djj, E::load(yv.at(j)))));
  }
}

// ---- Packed rank updates ----------------------------------------------------------

// dst[0..len) += src * t, src a strided segment starting at element lo.
template <class C>
inline void seg_update(int len, typename elem<C>::S t, const svec<C>& src, int lo, C* dst) {
  using E = elem<C>;
  if (len <= 0) return;
  if (src.inc == 1) {
    E::axpy(len, t, src.at(lo), dst, false);
    return;
  }
  for (int i = 0; i < len; ++i) E::store(dst + i, E::madd(E::load(src.at(lo + i)), t, E::load(dst + i)));
}

// A += alpha x x' (x' = x^T, or x^H with real alpha when herm).
template <class C>
void spr(bool herm, const char* uplo, int n, const C& alpha, const C* x, int incx, C* ap) {
  using E = elem<C>;
  const bool up = is_u(uplo);
  const svec<C> xv(const_cast<C*>(x), n, incx);
  for (int j = 0; j < n; ++j) {
    C* p = const_cast<C*>(up ? packed_upper<C>{ap}.col(j) : packed_lower<C>{ap, n}.col(j));
    const auto xj = E::load(xv.at(j));
    if (E::is_zero(xj)) {
      if constexpr (is_complex_v<C>) if (herm) rp(p + j)[1] = R<C>(0);
      continue;
    }
    const auto t = E::mul(E::load(&alpha), E::cj(xj, herm));
    const int lo = up ? 0 : j + 1, len = up ? j : n - j - 1;
    seg_update(len, t, xv, lo, p + lo);
    if (herm) {
      if constexpr (is_complex_v<C>) {
        rp(p + j)[0] = rp(p + j)[0] + E::mul(xj, t).re;
        rp(p + j)[1] = R<C>(0);
      }
    } else {
      E::store(p + j, E::madd(xj, t, E::load(p + j)));
    }
  }
}

// A += alpha x y' + alpha' y x' (symmetric: x y^T + y x^T scaled by alpha;
// Hermitian: alpha x y^H + conj(alpha) y x^H).
template <class C>
void spr2(bool herm, const char* uplo, int n, const C* palpha, const C* x, int incx, const C* y, int incy, C* ap) {
  using E = elem<C>;
  const bool up = is_u(uplo);
  const auto alpha = E::load(palpha);
  const svec<C> xv(const_cast<C*>(x), n, incx), yv(const_cast<C*>(y), n, incy);
  for (int j = 0; j < n; ++j) {
    C* p = const_cast<C*>(up ? packed_upper<C>{ap}.col(j) : packed_lower<C>{ap, n}.col(j));
    const auto xj = E::load(xv.at(j)), yj = E::load(yv.at(j));
    if (E::is_zero(xj) && E::is_zero(yj)) {
      if constexpr (is_complex_v<C>) if (herm) rp(p + j)[1] = R<C>(0);
      continue;
    }
    const auto t1 = E::mul(alpha, E::cj(yj, herm));
    const auto t2 = E::cj(E::mul(alpha, xj), herm);
    const int lo = up ? 0 : j + 1, len = up ? j : n - j - 1;
    seg_update(len, t1, xv, lo, p + lo);
    seg_update(len, t2, yv, lo, p + lo);
    if (herm) {
      if constexpr (is_complex_v<C>) {
        rp(p + j)[0] = rp(p + j)[0] + (E::mul(xj, t1).re + E::mul(yj, t2).re);
        rp(p + j)[1] = R<C>(0);
      }
    } else {
      E::store(p + j, E::madd(yj, t2, E::madd(xj, t1, E::load(p + j))));
    }
  }
}

}  // namespace
}  // namespace orb::l2

using namespace orb::l2;
using c8 = orb_complex8;
using c16 = orb_complex16;

#define ORB_GBMV(t, C)                                                                                             \
  ORB_API void ORB_BLAS(t##gbmv)(const char* trans, const int* m, const int* n, const int* kl, const int* ku,     \
                                 const C* alpha, const C* a, const int* lda, const C* x, const int* incx,          \
                                 const C* beta, C* y, const int* incy) {                                           \
    gbmv(trans, m, n, kl, ku, alpha, a, lda, x, incx, beta, y, incy);                                              \
  }
ORB_GBMV(s, float)
ORB_GBMV(d, double)
ORB_GBMV(c, c8)
ORB_GBMV(z, c16)

#define ORB_SBMV(name, C, herm)                                                                                    \
  ORB_API void ORB_BLAS(name)(const char* uplo, const int* n, const int* k, const C* alpha, const C* a,           \
                              const int* lda, const C* x, const int* incx, const C* beta, C* y, const int* incy) { \
    if (*n <= 0) return;                                                                                           \
    if (is_u(uplo)) smv(band_upper<C>{a, *lda, *k}, true, herm, *n, alpha, x, *incx, beta, y, *incy);              \
    else smv(band_lower<C>{a, *lda, *k, *n}, false, herm, *n, alpha, x, *incx, beta, y, *incy);                    \
  }
ORB_SBMV(ssbmv, float, false)
ORB_SBMV(dsbmv, double, false)
ORB_SBMV(chbmv, c8, true)
ORB_SBMV(zhbmv, c16, true)

#define ORB_SPMV(name, C, herm)                                                                                    \
  ORB_API void ORB_BLAS(name)(const char* uplo, const int* n, const C* alpha, const C* ap, const C* x,            \
                              const int* incx, const C* beta, C* y, const int* incy) {                             \
    if (*n <= 0) return;                                                                                           \
    if (is_u(uplo)) smv(packed_upper<C>{ap}, true, herm, *n, alpha, x, *incx, beta, y, *incy);                     \
    else smv(packed_lower<C>{ap, *n}, false, herm, *n, alpha, x, *incx, beta, y, *incy);                           \
  }
ORB_SPMV(sspmv, float, false)
ORB_SPMV(dspmv, double, false)
ORB_SPMV(chpmv, c8, true)
ORB_SPMV(zhpmv, c16, true)

#define ORB_TBTP(t, C)                                                                                              \
  ORB_API void ORB_BLAS(t##tpmv)(const char* uplo, const char* trans, const char* diag, const int* n, const C* ap, \
                                 C* x, const int* incx) {                                                           \
    tp(false, uplo, trans, diag, n, ap, x, incx);                                                                   \
  }                                                                                                                 \
  ORB_API void ORB_BLAS(t##tpsv)(const char* uplo, const char* trans, const char* diag, const int* n, const C* ap, \
                                 C* x, const int* incx) {                                                           \
    tp(true, uplo, trans, diag, n, ap, x, incx);                                                                    \
  }
ORB_TBTP(s, float)
ORB_TBTP(d, double)
ORB_TBTP(c, c8)
ORB_TBTP(z, c16)

#define ORB_TB(name, C, solve, plain)                                                                            \
  ORB_API void ORB_BLAS(name)(const char* uplo, const char* trans, const char* diag, const int* n, const int* k, \
                              const C* a, const int* lda, C* x, const int* incx) {                              \
    tb(solve, uplo, trans, diag, n, k, a, lda, x, incx, plain);                                                  \
  }
ORB_TB(stbmv, float, false, false)
ORB_TB(dtbmv, double, false, false)
ORB_TB(ztbmv, c16, false, false)
ORB_TB(ctbmv_f, c8, false, false)
ORB_TB(stbsv, float, true, false)
ORB_TB(dtbsv, double, true, false)
ORB_TB(ctbsv_f, c8, true, false)
ORB_TB(ctbsv_f_cnr, c8, true, true)
ORB_TB(ztbsv_f, c16, true, false)

ORB_API void ORB_BLAS(ctbmv)(const char* uplo, const char* trans, const char* diag, const int* n, const int* k,
                             const c8* a, const int* lda, c8* x, const int* incx) {
  ORB_BLAS(ctbmv_f)(uplo, trans, diag, n, k, a, lda, x, incx);
}

ORB_API void ORB_BLAS(ctbsv_vial1)(const char* uplo, const char* trans, const char* diag, const int* n, const int* k,
                                   const c8* a, const int* lda, c8* x, const int* incx) {
  tbsv_vial1(uplo, trans, diag, n, k, a, lda, x, incx, &ORB_BLAS(xcdotu), &ORB_BLAS(xcdotc), &ORB_BLAS(xcaxpy));
}
ORB_API void ORB_BLAS(ztbsv_vial1)(const char* uplo, const char* trans, const char* diag, const int* n, const int* k,
                                   const c16* a, const int* lda, c16* x, const int* incx) {
  tbsv_vial1(uplo, trans, diag, n, k, a, lda, x, incx, &ORB_BLAS(xzdotu), &ORB_BLAS(xzdotc), &ORB_BLAS(xzaxpy));
}

// Single complex: long transposed solves go through the level-1 dots; the
// rest to the core, or to its fixed-order form when reproducible results
// are asked for.
ORB_API void ORB_BLAS(ctbsv)(const char* uplo, const char* trans, const char* diag, const int* n, const int* k,
                             const c8* a, const int* lda, c8* x, const int* incx) {
  if (*n <= 0) return;
  if (upper(trans) != 'N' && *n >= 500) ORB_BLAS(ctbsv_vial1)(uplo, trans, diag, n, k, a, lda, x, incx);
  else if (orb_serv_cbwr_get(1) == 1) ORB_BLAS(ctbsv_f)(uplo, trans, diag, n, k, a, lda, x, incx);
  else ORB_BLAS(ctbsv_f_cnr)(uplo, trans, diag, n, k, a, lda, x, incx);
}
// Double complex: the core serves only short lower solves with no transpose.
ORB_API void ORB_BLAS(ztbsv)(const char* uplo, const char* trans, const char* diag, const int* n, const int* k,
                             const c16* a, const int* lda, c16* x, const int* incx) {
  if (*n <= 0) return;
  if (upper(uplo) != 'U' && is_n(trans) && *n < 400) ORB_BLAS(ztbsv_f)(uplo, trans, diag, n, k, a, lda, x, incx);
  else ORB_BLAS(ztbsv_vial1)(uplo, trans, diag, n, k, a, lda, x, incx);
}

#define ORB_SPR(name, C, RT, herm)                                                                               \
  ORB_API void ORB_BLAS(name)(const char* uplo, const int* n, const RT* alpha, const C* x, const int* incx,      \
                              C* ap) {                                                                           \
    if (*n <= 0 || *alpha == RT(0)) return;                                                                      \
    C a{};                                                                                                       \
    *reinterpret_cast<RT*>(&a) = *alpha;                                                                         \
    spr(herm, uplo, *n, a, x, *incx, ap);                                                                        \
  }
ORB_SPR(sspr, float, float, false)
ORB_SPR(dspr, double, double, false)
ORB_SPR(chpr, c8, float, true)
ORB_SPR(zhpr, c16, double, true)

#define ORB_SPR2(name, C, herm)                                                                                  \
  ORB_API void ORB_BLAS(name)(const char* uplo, const int* n, const C* alpha, const C* x, const int* incx,       \
                              const C* y, const int* incy, C* ap) {                                              \
    if (*n <= 0 || elem<C>::is_zero(elem<C>::load(alpha))) return;                                              \
    spr2(herm, uplo, *n, alpha, x, *incx, y, *incy, ap);                                                         \
  }
ORB_SPR2(sspr2, float, false)
ORB_SPR2(dspr2, double, false)
ORB_SPR2(chpr2, c8, true)
ORB_SPR2(zhpr2, c16, true)
