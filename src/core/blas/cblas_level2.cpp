// CBLAS level 2 and the sparse-vector routines.
//
// A row-major matrix is the column-major storage of its transpose, so each
// row-major call becomes a column-major one: m and n (and kl, ku) trade
// places, the triangle flips, and the transpose flag flips. Where the
// result would need the conjugate of a stored matrix (row-major with
// conjugate transpose, and the Hermitian routines), the complex
// conjugations are moved onto the vectors: y is conjugated in place before
// and after, x is conjugated into a scratch copy, and the scalars are
// conjugated.
//
// Illegal arguments reach cblas_xerbla with the CBLAS routine's name: the
// layout and the enumerations by their own position, the rest by the
// position in the column-major call plus one, with RowMajorStrg set for a
// row-major call, as programs that catch the reports expect.
#include <cstddef>

#include "core/blas/cblas_state.hpp"
#include "core/blas/level2_checks.hpp"
#include "orb/cblas.h"
#include "orb/orb_blas.h"
#include "orb/orb_service.h"

namespace {

using c8 = orb_complex8;
using c16 = orb_complex16;
namespace chk = orb::core::l2check;

template <class C> constexpr bool is_cx = false;
template <> constexpr bool is_cx<c8> = true;
template <> constexpr bool is_cx<c16> = true;

template <class T> const T* as(const void* p) { return static_cast<const T*>(p); }
template <class T> T* as(void* p) { return static_cast<T*>(p); }

using call_scope = orb::core::cblas_call_scope;

// Reports the argument at `pos` unless it is legal; answers whether it is.
bool legal(const char* rout, bool is_legal, int pos) {
  if (!is_legal) cblas_xerbla(pos, rout, "");
  return is_legal;
}
// The checks of the column-major call count the layout in front of them.
bool checked(const char* rout, int info) { return legal(rout, info == 0, info + 1); }

// ---- Enumerations --------------------------------------------------------------

// The Fortran letter of a transpose flag for a column-major call; 0 when
// illegal. Row-major flips N and T; C becomes N with conjugated vectors.
char trans_letter(CBLAS_TRANSPOSE t, bool row, bool& conj) {
  conj = false;
  switch (t) {
    case CblasNoTrans: return row ? 'T' : 'N';
    case CblasTrans: return row ? 'N' : 'T';
    case CblasConjTrans:
      if (!row) return 'C';
      conj = true;
      return 'N';
    default: return 0;
  }
}
char uplo_letter(CBLAS_UPLO u, bool row) {
  if (u == CblasUpper) return row ? 'L' : 'U';
  if (u == CblasLower) return row ? 'U' : 'L';
  return 0;
}
char diag_letter(CBLAS_DIAG d) {
  if (d == CblasUnit) return 'U';
  if (d == CblasNonUnit) return 'N';
  return 0;
}
// 1 = row-major, 0 = column-major, -1 illegal.
int layout_row(CBLAS_LAYOUT l) { return l == CblasRowMajor ? 1 : l == CblasColMajor ? 0 : -1; }

// The layout and the triangle, the first two arguments of the symmetric,
// Hermitian and triangular routines: the triangle's letter for the
// column-major call, or 0 once one of them is reported.
char open_uplo(const char* rout, int row, CBLAS_UPLO uplo) {
  if (!legal(rout, row >= 0, 1)) return 0;
  const char u = uplo_letter(uplo, row);
  return legal(rout, u != 0, 2) ? u : 0;
}

// Real scalars come by value, complex ones by address.
template <class T> const T* scalar(const T& v) { return &v; }
template <class T> const T* scalar(const void* p) { return static_cast<const T*>(p); }

// ---- Conjugation helpers -----------------------------------------------------------

template <class C> void conj_inplace(int n, C* v, int inc) {
  if (n <= 0) return;
  const int a = inc < 0 ? -inc : inc;
  for (int i = 0; i < n; ++i) v[std::ptrdiff_t(i) * a].im = -v[std::ptrdiff_t(i) * a].im;
}
template <class C> C conj(C v) { return C{v.re, -v.im}; }

// A conjugated copy of x with unit stride (elements in the order of x). If
// no memory can be had, x itself is conjugated in place and restored later.
template <class C> struct conj_copy {
  const C* p;
  int inc;
  C* buf = nullptr;
  C* inplace = nullptr;
  int n, inc0;
  conj_copy(int len, const C* x, int incx) : p(x), inc(incx), n(len), inc0(incx) {
    if (len <= 0) return;
    buf = static_cast<C*>(orb_serv_allocate(sizeof(C) * std::size_t(len), 64));
    if (buf) {
      const C* xs = x + (incx < 0 ? std::ptrdiff_t(1 - len) * incx : 0);
      for (int i = 0; i < len; ++i) buf[i] = conj(xs[std::ptrdiff_t(i) * incx]);
      p = buf;
      inc = 1;
    } else {
      inplace = const_cast<C*>(x);
      conj_inplace(len, inplace, incx);
    }
  }
  ~conj_copy() {
    if (buf) orb_serv_deallocate(buf);
    if (inplace) conj_inplace(n, inplace, inc0);
  }
};

// y := alpha op(A) x + beta y where the column-major call would need the
// conjugate of the stored matrix: conj(y) := conj(alpha) A conj(x) +
// conj(beta) conj(y) instead. call(alpha, x, incx, beta) runs the product.
template <class C, class F>
void conjugated_product(int lenx, const C* x, int incx, int leny, C* y, int incy, const C* alpha, const C* beta,
                        F call) {
  const C ca = conj(*alpha), cb = conj(*beta);
  conj_copy<C> xc(lenx, x, incx);
  conj_inplace(leny, y, incy);
  call(&ca, xc.p, &xc.inc, &cb);
  conj_inplace(leny, y, incy);
}

// ---- General products (gemv, gbmv) ----------------------------------------------

// A holds the matrix elements, V the vectors' and scalars' (complex V over
// a real A for the mixed forms, where A^H = A^T and nothing is conjugated).
// call(trans, m, n, kl, ku, alpha, x, incx, beta) runs the column-major form.
template <class A, class V, bool Band, class F>
void general_product(const char* rout, CBLAS_LAYOUT layout, CBLAS_TRANSPOSE ta, int m, int n, int kl, int ku,
                     int lda, const V* alpha, const V* x, int incx, const V* beta, V* y, int incy, F call) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  if (!legal(rout, row >= 0, 1)) return;
  bool cj = false;
  const char t = trans_letter(ta, row, cj);
  if (!legal(rout, t != 0, 2)) return;
  const int fm = row ? n : m, fn = row ? m : n, fkl = row ? ku : kl, fku = row ? kl : ku;
  if (!checked(rout, Band ? chk::gbmv(t, fm, fn, fkl, fku, lda, incx, incy) : chk::gemv(t, fm, fn, lda, incx, incy)))
    return;
  auto run = [&](const V* al, const V* xx, const int* ix, const V* be) {
    call(&t, &fm, &fn, &fkl, &fku, al, xx, ix, be);
  };
  if constexpr (is_cx<A>) {
    if (cj) return conjugated_product(fn, x, incx, fm, y, incy, alpha, beta, run);
  }
  run(alpha, x, &incx, beta);
}

// ---- Symmetric / Hermitian products (full, band, packed) -------------------------------

// kind 0: full (lda), 1: band (k, lda), 2: packed.
template <class C, bool Herm, int Kind, class F>
void sym_product(const char* rout, CBLAS_LAYOUT layout, CBLAS_UPLO uplo, int n, int k, const C* alpha, int lda,
                 const C* x, int incx, const C* beta, C* y, int incy, F call) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  const char u = open_uplo(rout, row, uplo);
  if (!u || !checked(rout, Kind == 0   ? chk::symv(u, n, lda, incx, incy)
                           : Kind == 1 ? chk::sbmv(u, n, k, lda, incx, incy)
                                       : chk::spmv(u, n, incx, incy)))
    return;
  auto run = [&](const C* al, const C* xx, const int* ix, const C* be) { call(&u, al, xx, ix, be); };
  if constexpr (Herm) {
    if (row) return conjugated_product(n, x, incx, n, y, incy, alpha, beta, run);
  }
  run(alpha, x, &incx, beta);
}

// ---- Triangular (full, band, packed; product and solve) -------------------------------

template <class C, int Kind, class F>
void triangular(const char* rout, CBLAS_LAYOUT layout, CBLAS_UPLO uplo, CBLAS_TRANSPOSE ta, CBLAS_DIAG diag, int n,
                int k, int lda, C* x, int incx, F call) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  const char u = open_uplo(rout, row, uplo);
  if (!u) return;
  bool cj = false;
  const char t = trans_letter(ta, row, cj);
  if (!legal(rout, t != 0, 3)) return;
  const char d = diag_letter(diag);
  if (!legal(rout, d != 0, 4)) return;
  if (!checked(rout, Kind == 0   ? chk::trmv(u, t, d, n, lda, incx)
                     : Kind == 1 ? chk::tbmv(u, t, d, n, k, lda, incx)
                                 : chk::tpmv(u, t, d, n, incx)))
    return;
  if constexpr (is_cx<C>) {
    if (cj) {
      conj_inplace(n, x, incx);
      call(&u, &t, &d);
      conj_inplace(n, x, incx);
      return;
    }
  }
  call(&u, &t, &d);
}

// ---- Rank updates ------------------------------------------------------------------------

template <class C>
void ger(const char* rout, CBLAS_LAYOUT layout, int m, int n, const C* alpha, const C* x, int incx, const C* y,
         int incy, C* a, int lda, bool conj_y,
         void (*f)(const int*, const int*, const C*, const C*, const int*, const C*, const int*, C*, const int*),
         void (*fu)(const int*, const int*, const C*, const C*, const int*, const C*, const int*, C*, const int*)) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  if (!legal(rout, row >= 0, 1)) return;
  if (!row) {
    if (checked(rout, chk::ger(m, n, incx, incy, lda))) f(&m, &n, alpha, x, &incx, y, &incy, a, &lda);
    return;
  }
  if (!checked(rout, chk::ger(n, m, incy, incx, lda))) return;
  if constexpr (is_cx<C>) {
    if (conj_y) {
      conj_copy<C> yc(n, y, incy);
      fu(&n, &m, alpha, yc.p, &yc.inc, x, &incx, a, &lda);
      return;
    }
  }
  (void)conj_y;
  (void)fu;
  f(&n, &m, alpha, y, &incy, x, &incx, a, &lda);
}

// Symmetric and Hermitian updates, full or packed. check(uplo, incx[, incy])
// tests the rest of the arguments; call(uplo, x, incx[, y, incy]) updates.
// Hermitian ones in row-major: the stored triangle is that of conj(A), so x
// (and y) are conjugated and, for the rank-2 forms, trade places.
template <class C, bool Herm, class Check, class F>
void sym_rank1(const char* rout, CBLAS_LAYOUT layout, CBLAS_UPLO uplo, int n, const C* x, int incx, Check check,
               F call) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  const char u = open_uplo(rout, row, uplo);
  if (!u || !checked(rout, check(u, incx))) return;
  if constexpr (Herm) {
    if (row) {
      conj_copy<C> xc(n, x, incx);
      call(&u, xc.p, &xc.inc);
      return;
    }
  }
  call(&u, x, &incx);
}
template <class C, bool Herm, class Check, class F>
void sym_rank2(const char* rout, CBLAS_LAYOUT layout, CBLAS_UPLO uplo, int n, const C* x, int incx, const C* y,
               int incy, Check check, F call) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  const char u = open_uplo(rout, row, uplo);
  if (!u) return;
  if constexpr (Herm) {
    if (row) {
      if (!checked(rout, check(u, incy, incx))) return;
      conj_copy<C> xc(n, x, incx), yc(n, y, incy);
      call(&u, yc.p, &yc.inc, xc.p, &xc.inc);
      return;
    }
  }
  if (checked(rout, check(u, incx, incy))) call(&u, x, &incx, y, &incy);
}

// ---- Two products in one pass -------------------------------------------------------------

// Checks in the column-major frame; call(row, m, n) runs a legal call.
template <class F>
void two_products(const char* rout, CBLAS_LAYOUT layout, int m, int n, int lda, int incx1, int incx2, int incy1,
                  int incy2, F call) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  if (!legal(rout, row >= 0, 1)) return;
  const int fm = row ? n : m, fn = row ? m : n;
  if (checked(rout, chk::gem2v(fm, fn, lda, incx1, incx2, incy1, incy2))) call(row == 1, &fm, &fn);
}

}  // namespace

extern "C" {

// ---- General ---------------------------------------------------------------------------------

// S is the scalar parameter (a real by value, a complex by address), AT and
// VT the declared element types of the matrix and of the vectors.
#define ORB_GEMV(name, A, V, S, AT, VT)                                                                           \
  void cblas_##name(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const S alpha, \
                    const AT* a, const int lda, const VT* x, const int incx, const S beta, VT* y,                 \
                    const int incy) {                                                                             \
    general_product<A, V, false>(                                                                                 \
        "cblas_" #name, layout, ta, m, n, 0, 0, lda, scalar<V>(alpha), as<V>(x), incx, scalar<V>(beta), as<V>(y), \
        incy,                                                                                                     \
        [&](const char* t, const int* fm, const int* fn, const int*, const int*, const V* al, const V* xx,        \
            const int* ix, const V* be) {                                                                         \
          orb_blas_##name(t, fm, fn, al, as<A>(a), &lda, xx, ix, be, as<V>(y), &incy);                            \
        });                                                                                                       \
  }
ORB_GEMV(sgemv, float, float, float, float, float)
ORB_GEMV(dgemv, double, double, double, double, double)
ORB_GEMV(cgemv, c8, c8, void*, void, void)
ORB_GEMV(zgemv, c16, c16, void*, void, void)
ORB_GEMV(scgemv, float, c8, void*, float, void)
ORB_GEMV(dzgemv, double, c16, void*, double, void)
#undef ORB_GEMV

#define ORB_GBMV(t, C, S, AS)                                                                                     \
  void cblas_##t##gbmv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n,            \
                       const int kl, const int ku, const S alpha, const AS* a, const int lda, const AS* x,       \
                       const int incx, const S beta, AS* y, const int incy) {                                     \
    general_product<C, C, true>(                                                                                  \
        "cblas_" #t "gbmv", layout, ta, m, n, kl, ku, lda, scalar<C>(alpha), as<C>(x), incx, scalar<C>(beta),    \
        as<C>(y), incy,                                                                                           \
        [&](const char* tr, const int* fm, const int* fn, const int* fkl, const int* fku, const C* al,           \
            const C* xx, const int* ix, const C* be) {                                                            \
          orb_blas_##t##gbmv(tr, fm, fn, fkl, fku, al, as<C>(a), &lda, xx, ix, be, as<C>(y), &incy);             \
        });                                                                                                       \
  }
ORB_GBMV(s, float, float, float)
ORB_GBMV(d, double, double, double)
ORB_GBMV(c, c8, void*, void)
ORB_GBMV(z, c16, void*, void)
#undef ORB_GBMV

// ---- Symmetric and Hermitian products ---------------------------------------------------------

// The three products of one type: full, band and packed are the name parts
// (sy, sb, sp real; he, hb, hp complex), Herm whether row-major conjugates.
#define ORB_SYM_PRODUCTS(t, full, band, packed, C, Herm, S, AS)                                                   \
  void cblas_##t##full##mv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const S alpha,         \
                           const AS* a, const int lda, const AS* x, const int incx, const S beta, AS* y,          \
                           const int incy) {                                                                      \
    sym_product<C, Herm, 0>("cblas_" #t #full "mv", layout, uplo, n, 0, scalar<C>(alpha), lda, as<C>(x), incx,    \
                            scalar<C>(beta), as<C>(y), incy,                                                      \
                            [&](const char* u, const C* al, const C* xx, const int* ix, const C* be) {            \
                              orb_blas_##t##full##mv(u, &n, al, as<C>(a), &lda, xx, ix, be, as<C>(y), &incy);     \
                            });                                                                                   \
  }                                                                                                               \
  void cblas_##t##band##mv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const int k,           \
                           const S alpha, const AS* a, const int lda, const AS* x, const int incx, const S beta,  \
                           AS* y, const int incy) {                                                               \
    sym_product<C, Herm, 1>("cblas_" #t #band "mv", layout, uplo, n, k, scalar<C>(alpha), lda, as<C>(x), incx,    \
                            scalar<C>(beta), as<C>(y), incy,                                                      \
                            [&](const char* u, const C* al, const C* xx, const int* ix, const C* be) {            \
                              orb_blas_##t##band##mv(u, &n, &k, al, as<C>(a), &lda, xx, ix, be, as<C>(y), &incy); \
                            });                                                                                   \
  }                                                                                                               \
  void cblas_##t##packed##mv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const S alpha,       \
                             const AS* ap, const AS* x, const int incx, const S beta, AS* y, const int incy) {    \
    sym_product<C, Herm, 2>("cblas_" #t #packed "mv", layout, uplo, n, 0, scalar<C>(alpha), 1, as<C>(x), incx,    \
                            scalar<C>(beta), as<C>(y), incy,                                                      \
                            [&](const char* u, const C* al, const C* xx, const int* ix, const C* be) {            \
                              orb_blas_##t##packed##mv(u, &n, al, as<C>(ap), xx, ix, be, as<C>(y), &incy);        \
                            });                                                                                   \
  }
ORB_SYM_PRODUCTS(s, sy, sb, sp, float, false, float, float)
ORB_SYM_PRODUCTS(d, sy, sb, sp, double, false, double, double)
ORB_SYM_PRODUCTS(c, he, hb, hp, c8, true, void*, void)
ORB_SYM_PRODUCTS(z, he, hb, hp, c16, true, void*, void)
#undef ORB_SYM_PRODUCTS

// ---- Triangular ---------------------------------------------------------------------------------

// One routine: shape tr (full), tb (band) or tp (packed), op mv or sv.
// MATRIX is the parenthesised list of the matrix parameters, ARGS how they
// are passed on; K and LDA feed the argument check.
#define ORB_UNPAREN(...) __VA_ARGS__
#define ORB_TRIANGULAR_ONE(t, shape, op, Kind, C, AS, K, LDA, MATRIX, ARGS)                                       \
  void cblas_##t##shape##op(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,           \
                            const CBLAS_DIAG diag, const int n, ORB_UNPAREN MATRIX, AS* x, const int incx) {      \
    triangular<C, Kind>("cblas_" #t #shape #op, layout, uplo, ta, diag, n, K, LDA, as<C>(x), incx,                \
                        [&](const char* u, const char* tr, const char* d) {                                       \
                          orb_blas_##t##shape##op(u, tr, d, &n, ORB_UNPAREN ARGS, as<C>(x), &incx);               \
                        });                                                                                       \
  }
#define ORB_TRIANGULAR(t, C, AS)                                                                                  \
  ORB_TRIANGULAR_ONE(t, tr, mv, 0, C, AS, 0, lda, (const AS* a, const int lda), (as<C>(a), &lda))                 \
  ORB_TRIANGULAR_ONE(t, tr, sv, 0, C, AS, 0, lda, (const AS* a, const int lda), (as<C>(a), &lda))                 \
  ORB_TRIANGULAR_ONE(t, tb, mv, 1, C, AS, k, lda, (const int k, const AS* a, const int lda), (&k, as<C>(a), &lda)) \
  ORB_TRIANGULAR_ONE(t, tb, sv, 1, C, AS, k, lda, (const int k, const AS* a, const int lda), (&k, as<C>(a), &lda)) \
  ORB_TRIANGULAR_ONE(t, tp, mv, 2, C, AS, 0, 1, (const AS* ap), (as<C>(ap)))                                      \
  ORB_TRIANGULAR_ONE(t, tp, sv, 2, C, AS, 0, 1, (const AS* ap), (as<C>(ap)))
ORB_TRIANGULAR(s, float, float)
ORB_TRIANGULAR(d, double, double)
ORB_TRIANGULAR(c, c8, void)
ORB_TRIANGULAR(z, c16, void)
#undef ORB_TRIANGULAR
#undef ORB_TRIANGULAR_ONE
#undef ORB_UNPAREN

// ---- Rank updates ----------------------------------------------------------------------------------

void cblas_sger(const CBLAS_LAYOUT layout, const int m, const int n, const float alpha, const float* x,
                const int incx, const float* y, const int incy, float* a, const int lda) {
  ger<float>("cblas_sger", layout, m, n, &alpha, x, incx, y, incy, a, lda, false, &orb_blas_sger, nullptr);
}
void cblas_dger(const CBLAS_LAYOUT layout, const int m, const int n, const double alpha, const double* x,
                const int incx, const double* y, const int incy, double* a, const int lda) {
  ger<double>("cblas_dger", layout, m, n, &alpha, x, incx, y, incy, a, lda, false, &orb_blas_dger, nullptr);
}
#define ORB_GER_COMPLEX(t, C)                                                                                     \
  void cblas_##t##geru(const CBLAS_LAYOUT layout, const int m, const int n, const void* alpha, const void* x,     \
                       const int incx, const void* y, const int incy, void* a, const int lda) {                   \
    ger<C>("cblas_" #t "geru", layout, m, n, as<C>(alpha), as<C>(x), incx, as<C>(y), incy, as<C>(a), lda, false,  \
           &orb_blas_##t##geru, &orb_blas_##t##geru);                                                             \
  }                                                                                                               \
  void cblas_##t##gerc(const CBLAS_LAYOUT layout, const int m, const int n, const void* alpha, const void* x,     \
                       const int incx, const void* y, const int incy, void* a, const int lda) {                   \
    ger<C>("cblas_" #t "gerc", layout, m, n, as<C>(alpha), as<C>(x), incx, as<C>(y), incy, as<C>(a), lda, true,   \
           &orb_blas_##t##gerc, &orb_blas_##t##geru);                                                             \
  }
ORB_GER_COMPLEX(c, c8)
ORB_GER_COMPLEX(z, c16)
#undef ORB_GER_COMPLEX

// The four updates of one type: syr, spr, syr2, spr2 (real, Herm false) or
// her, hpr, her2, hpr2 (complex). RS is the real scalar of the rank-1
// forms, S the scalar of the rank-2 forms.
#define ORB_SYM_UPDATES(t, full, packed, C, Herm, RS, S, AS)                                                      \
  void cblas_##t##full(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const RS alpha,             \
                       const AS* x, const int incx, AS* a, const int lda) {                                       \
    sym_rank1<C, Herm>(                                                                                           \
        "cblas_" #t #full, layout, uplo, n, as<C>(x), incx,                                                       \
        [&](char u, int ix) { return chk::syr(u, n, ix, lda); },                                                  \
        [&](const char* u, const C* xx, const int* ix) {                                                          \
          orb_blas_##t##full(u, &n, &alpha, xx, ix, as<C>(a), &lda);                                              \
        });                                                                                                       \
  }                                                                                                               \
  void cblas_##t##packed(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const RS alpha,           \
                         const AS* x, const int incx, AS* ap) {                                                   \
    sym_rank1<C, Herm>(                                                                                           \
        "cblas_" #t #packed, layout, uplo, n, as<C>(x), incx, [&](char u, int ix) { return chk::spr(u, n, ix); }, \
        [&](const char* u, const C* xx, const int* ix) {                                                          \
          orb_blas_##t##packed(u, &n, &alpha, xx, ix, as<C>(ap));                                                 \
        });                                                                                                       \
  }                                                                                                               \
  void cblas_##t##full##2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const S alpha,           \
                          const AS* x, const int incx, const AS* y, const int incy, AS* a, const int lda) {       \
    sym_rank2<C, Herm>(                                                                                           \
        "cblas_" #t #full "2", layout, uplo, n, as<C>(x), incx, as<C>(y), incy,                                   \
        [&](char u, int ix, int iy) { return chk::syr2(u, n, ix, iy, lda); },                                     \
        [&](const char* u, const C* xx, const int* ix, const C* yy, const int* iy) {                              \
          orb_blas_##t##full##2(u, &n, scalar<C>(alpha), xx, ix, yy, iy, as<C>(a), &lda);                         \
        });                                                                                                       \
  }                                                                                                               \
  void cblas_##t##packed##2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const S alpha,         \
                            const AS* x, const int incx, const AS* y, const int incy, AS* ap) {                   \
    sym_rank2<C, Herm>(                                                                                           \
        "cblas_" #t #packed "2", layout, uplo, n, as<C>(x), incx, as<C>(y), incy,                                 \
        [&](char u, int ix, int iy) { return chk::spr2(u, n, ix, iy); },                                          \
        [&](const char* u, const C* xx, const int* ix, const C* yy, const int* iy) {                              \
          orb_blas_##t##packed##2(u, &n, scalar<C>(alpha), xx, ix, yy, iy, as<C>(ap));                            \
        });                                                                                                       \
  }
ORB_SYM_UPDATES(s, syr, spr, float, false, float, float, float)
ORB_SYM_UPDATES(d, syr, spr, double, false, double, double, double)
ORB_SYM_UPDATES(c, her, hpr, c8, true, float, void*, void)
ORB_SYM_UPDATES(z, her, hpr, c16, true, double, void*, void)
#undef ORB_SYM_UPDATES

// ---- Two products in one pass ---------------------------------------------------------------------

// Row-major: A is the transpose of the stored column-major matrix, so the
// two products trade their roles (real), or each becomes a GEMV (complex,
// where the conjugate of the stored matrix would be needed).
#define ORB_GEM2V_REAL(t, T)                                                                                      \
  void cblas_##t##gem2vu(const CBLAS_LAYOUT layout, const int m, const int n, const T alpha, const T* a,          \
                         const int lda, const T* x1, const int incx1, const T* x2, const int incx2, const T beta, \
                         T* y1, const int incy1, T* y2, const int incy2) {                                        \
    two_products("cblas_" #t "gem2vu", layout, m, n, lda, incx1, incx2, incy1, incy2,                             \
                 [&](bool row, const int* fm, const int* fn) {                                                    \
                   if (row)                                                                                       \
                     orb_blas_##t##gem2vu(fm, fn, &alpha, a, &lda, x2, &incx2, x1, &incx1, &beta, y2, &incy2, y1, \
                                          &incy1);                                                                \
                   else                                                                                           \
                     orb_blas_##t##gem2vu(fm, fn, &alpha, a, &lda, x1, &incx1, x2, &incx2, &beta, y1, &incy1, y2, \
                                          &incy2);                                                                \
                 });                                                                                              \
  }
ORB_GEM2V_REAL(s, float)
ORB_GEM2V_REAL(d, double)
#undef ORB_GEM2V_REAL

#define ORB_GEM2V_COMPLEX(t, C)                                                                                   \
  void cblas_##t##gem2vc(const CBLAS_LAYOUT layout, const int m, const int n, const void* alpha, const void* a,   \
                         const int lda, const void* x1, const int incx1, const void* x2, const int incx2,         \
                         const void* beta, void* y1, const int incy1, void* y2, const int incy2) {                \
    bool by_gemv = false;                                                                                         \
    two_products("cblas_" #t "gem2vc", layout, m, n, lda, incx1, incx2, incy1, incy2,                             \
                 [&](bool row, const int*, const int*) {                                                          \
                   by_gemv = row;                                                                                 \
                   if (!row)                                                                                      \
                     orb_blas_##t##gem2vc(&m, &n, as<C>(alpha), as<C>(a), &lda, as<C>(x1), &incx1, as<C>(x2),     \
                                          &incx2, as<C>(beta), as<C>(y1), &incy1, as<C>(y2), &incy2);             \
                 });                                                                                              \
    if (!by_gemv) return;                                                                                         \
    cblas_##t##gemv(layout, CblasNoTrans, m, n, alpha, a, lda, x1, incx1, beta, y1, incy1);                       \
    cblas_##t##gemv(layout, CblasConjTrans, m, n, alpha, a, lda, x2, incx2, beta, y2, incy2);                     \
  }
ORB_GEM2V_COMPLEX(c, c8)
ORB_GEM2V_COMPLEX(z, c16)
#undef ORB_GEM2V_COMPLEX

// ---- Sparse vectors -----------------------------------------------------------------------------------

void cblas_saxpyi(const int nz, const float alpha, const float* x, const int* indx, float* y) {
  orb_blas_saxpyi(&nz, &alpha, x, indx, y);
}
void cblas_daxpyi(const int nz, const double alpha, const double* x, const int* indx, double* y) {
  orb_blas_daxpyi(&nz, &alpha, x, indx, y);
}
void cblas_caxpyi(const int nz, const void* alpha, const void* x, const int* indx, void* y) {
  orb_blas_caxpyi(&nz, as<c8>(alpha), as<c8>(x), indx, as<c8>(y));
}
void cblas_zaxpyi(const int nz, const void* alpha, const void* x, const int* indx, void* y) {
  orb_blas_zaxpyi(&nz, as<c16>(alpha), as<c16>(x), indx, as<c16>(y));
}
float cblas_sdoti(const int nz, const float* x, const int* indx, const float* y) {
  return orb_blas_sdoti(&nz, x, indx, y);
}
double cblas_ddoti(const int nz, const double* x, const int* indx, const double* y) {
  return orb_blas_ddoti(&nz, x, indx, y);
}
void cblas_cdotci_sub(const int nz, const void* x, const int* indx, const void* y, void* dotci) {
  orb_blas_cdotci(as<c8>(dotci), &nz, as<c8>(x), indx, as<c8>(y));
}
void cblas_cdotui_sub(const int nz, const void* x, const int* indx, const void* y, void* dotui) {
  orb_blas_cdotui(as<c8>(dotui), &nz, as<c8>(x), indx, as<c8>(y));
}
void cblas_zdotci_sub(const int nz, const void* x, const int* indx, const void* y, void* dotci) {
  orb_blas_zdotci(as<c16>(dotci), &nz, as<c16>(x), indx, as<c16>(y));
}
void cblas_zdotui_sub(const int nz, const void* x, const int* indx, const void* y, void* dotui) {
  orb_blas_zdotui(as<c16>(dotui), &nz, as<c16>(x), indx, as<c16>(y));
}
#define ORB_GATHER(t, C, AS)                                                                                    \
  void cblas_##t##gthr(const int nz, const AS* y, AS* x, const int* indx) {                                     \
    orb_blas_##t##gthr(&nz, as<C>(y), as<C>(x), indx);                                                          \
  }                                                                                                             \
  void cblas_##t##gthrz(const int nz, AS* y, AS* x, const int* indx) {                                          \
    orb_blas_##t##gthrz(&nz, as<C>(y), as<C>(x), indx);                                                         \
  }                                                                                                             \
  void cblas_##t##sctr(const int nz, const AS* x, const int* indx, AS* y) {                                     \
    orb_blas_##t##sctr(&nz, as<C>(x), indx, as<C>(y));                                                          \
  }
ORB_GATHER(s, float, float)
ORB_GATHER(d, double, double)
ORB_GATHER(c, c8, void)
ORB_GATHER(z, c16, void)
void cblas_sroti(const int nz, float* x, const int* indx, float* y, const float c, const float s) {
  orb_blas_sroti(&nz, x, indx, y, &c, &s);
}
void cblas_droti(const int nz, double* x, const int* indx, double* y, const double c, const double s) {
  orb_blas_droti(&nz, x, indx, y, &c, &s);
}

}  // extern "C"
