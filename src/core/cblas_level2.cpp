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

#include "core/cblas_state.hpp"
#include "core/level2_checks.hpp"
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

// Sets the two words for the duration of one call.
struct call_scope {
  explicit call_scope(bool row) {
    CBLAS_CallFromC = 1;
    RowMajorStrg = row ? 1 : 0;
  }
  ~call_scope() {
    CBLAS_CallFromC = 0;
    RowMajorStrg = 0;
  }
};

bool bad(const char* rout, int pos) {
  cblas_xerbla(pos, rout, "");
  return true;
}

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

// ---- gemv -----------------------------------------------------------------------

template <class C, class S>
void gemv_complex(const char* rout, CBLAS_LAYOUT layout, CBLAS_TRANSPOSE ta, int m, int n, const S* alpha, const C* a,
          int lda, const C* x, int incx, const S* beta, S* y, int incy,
          void (*f)(const char*, const int*, const int*, const S*, const C*, const int*, const S*, const int*,
                    const S*, S*, const int*)) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  if (row < 0 && bad(rout, 1)) return;
  bool cj = false;
  const char t = trans_letter(ta, row, cj);
  if (!t && bad(rout, 2)) return;
  const int fm = row ? n : m, fn = row ? m : n;
  if (const int info = chk::gemv(t, fm, fn, lda, incx, incy)) {
    bad(rout, info + 1);
    return;
  }
  {
    if (cj) {
      const int leny = fm, lenx = fn;
      const S ca = conj(*alpha), cb = conj(*beta);
      conj_copy<S> xc(lenx, x, incx);
      conj_inplace(leny, y, incy);
      f(&t, &fm, &fn, &ca, a, &lda, xc.p, &xc.inc, &cb, y, &incy);
      conj_inplace(leny, y, incy);
      return;
    }
  }
  f(&t, &fm, &fn, alpha, a, &lda, x, &incx, beta, y, &incy);
}

template <class T>
void gemv_real(const char* rout, CBLAS_LAYOUT layout, CBLAS_TRANSPOSE ta, int m, int n, T alpha, const T* a,
               int lda, const T* x, int incx, T beta, T* y, int incy,
               void (*f)(const char*, const int*, const int*, const T*, const T*, const int*, const T*,
                         const int*, const T*, T*, const int*)) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  if (row < 0 && bad(rout, 1)) return;
  bool cj = false;
  char t = trans_letter(ta, row, cj);
  if (!t && bad(rout, 2)) return;
  const int fm = row ? n : m, fn = row ? m : n;
  if (const int info = chk::gemv(t, fm, fn, lda, incx, incy)) {
    bad(rout, info + 1);
    return;
  }
  f(&t, &fm, &fn, &alpha, a, &lda, x, &incx, &beta, y, &incy);
}

// Real matrix, complex vectors: A^H = A^T, so nothing is conjugated.
template <class T, class C>
void mixed_gemv(const char* rout, CBLAS_LAYOUT layout, CBLAS_TRANSPOSE ta, int m, int n, const C* alpha,
                const T* a, int lda, const C* x, int incx, const C* beta, C* y, int incy,
                void (*f)(const char*, const int*, const int*, const C*, const T*, const int*, const C*,
                          const int*, const C*, C*, const int*)) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  if (row < 0 && bad(rout, 1)) return;
  bool cj = false;
  const char t = trans_letter(ta, row, cj);
  if (!t && bad(rout, 2)) return;
  const int fm = row ? n : m, fn = row ? m : n;
  if (const int info = chk::gemv(t, fm, fn, lda, incx, incy)) {
    bad(rout, info + 1);
    return;
  }
  f(&t, &fm, &fn, alpha, a, &lda, x, &incx, beta, y, &incy);
}

// ---- gbmv --------------------------------------------------------------------------

template <class C>
void gbmv(const char* rout, CBLAS_LAYOUT layout, CBLAS_TRANSPOSE ta, int m, int n, int kl, int ku, const C* alpha,
          const C* a, int lda, const C* x, int incx, const C* beta, C* y, int incy,
          void (*f)(const char*, const int*, const int*, const int*, const int*, const C*, const C*, const int*,
                    const C*, const int*, const C*, C*, const int*)) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  if (row < 0 && bad(rout, 1)) return;
  bool cj = false;
  const char t = trans_letter(ta, row, cj);
  if (!t && bad(rout, 2)) return;
  const int fm = row ? n : m, fn = row ? m : n, fkl = row ? ku : kl, fku = row ? kl : ku;
  if (const int info = chk::gbmv(t, fm, fn, fkl, fku, lda, incx, incy)) {
    bad(rout, info + 1);
    return;
  }
  if constexpr (is_cx<C>) {
    if (cj) {
      const C ca = conj(*alpha), cb = conj(*beta);
      conj_copy<C> xc(fn, x, incx);
      conj_inplace(fm, y, incy);
      f(&t, &fm, &fn, &fkl, &fku, &ca, a, &lda, xc.p, &xc.inc, &cb, y, &incy);
      conj_inplace(fm, y, incy);
      return;
    }
  }
  f(&t, &fm, &fn, &fkl, &fku, alpha, a, &lda, x, &incx, beta, y, &incy);
}

// ---- Symmetric / Hermitian products (full, band, packed) -------------------------------

// kind 0: full (lda), 1: band (k, lda), 2: packed.
template <class C, bool Herm, int Kind, class F>
void sym_product(const char* rout, CBLAS_LAYOUT layout, CBLAS_UPLO uplo, int n, int k, const C* alpha, const C*,
                 int lda, const C* x, int incx, const C* beta, C* y, int incy, F call) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  if (row < 0 && bad(rout, 1)) return;
  const char u = uplo_letter(uplo, row);
  if (!u && bad(rout, 2)) return;
  const int info = Kind == 0 ? chk::symv(u, n, lda, incx, incy)
                   : Kind == 1 ? chk::sbmv(u, n, k, lda, incx, incy)
                               : chk::spmv(u, n, incx, incy);
  if (info) {
    bad(rout, info + 1);
    return;
  }
  if constexpr (Herm) {
    if (row) {
      const C ca = conj(*alpha), cb = conj(*beta);
      conj_copy<C> xc(n, x, incx);
      conj_inplace(n, y, incy);
      call(&u, &ca, xc.p, &xc.inc, &cb);
      conj_inplace(n, y, incy);
      return;
    }
  }
  call(&u, alpha, x, &incx, beta);
}

// ---- Triangular (full, band, packed; product and solve) -------------------------------

template <class C, int Kind, class F>
void triangular(const char* rout, CBLAS_LAYOUT layout, CBLAS_UPLO uplo, CBLAS_TRANSPOSE ta, CBLAS_DIAG diag, int n,
                int k, int lda, C* x, int incx, F call) {
  const int row = layout_row(layout);
  call_scope scope(row == 1);
  if (row < 0 && bad(rout, 1)) return;
  const char u = uplo_letter(uplo, row);
  if (!u && bad(rout, 2)) return;
  bool cj = false;
  const char t = trans_letter(ta, row, cj);
  if (!t && bad(rout, 3)) return;
  const char d = diag_letter(diag);
  if (!d && bad(rout, 4)) return;
  const int info = Kind == 0 ? chk::trmv(u, t, d, n, lda, incx)
                   : Kind == 1 ? chk::tbmv(u, t, d, n, k, lda, incx)
                               : chk::tpmv(u, t, d, n, incx);
  if (info) {
    bad(rout, info + 1);
    return;
  }
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
  if (row < 0 && bad(rout, 1)) return;
  if (!row) {
    if (const int info = chk::ger(m, n, incx, incy, lda)) {
      bad(rout, info + 1);
      return;
    }
    f(&m, &n, alpha, x, &incx, y, &incy, a, &lda);
    return;
  }
  if (const int info = chk::ger(n, m, incy, incx, lda)) {
    bad(rout, info + 1);
    return;
  }
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

}  // namespace

extern "C" {

// ---- General ---------------------------------------------------------------------------------

void cblas_sgemv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const float alpha,
                 const float* a, const int lda, const float* x, const int incx, const float beta, float* y,
                 const int incy) {
  gemv_real("cblas_sgemv", layout, ta, m, n, alpha, a, lda, x, incx, beta, y, incy, &orb_blas_sgemv);
}
void cblas_dgemv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const double alpha,
                 const double* a, const int lda, const double* x, const int incx, const double beta, double* y,
                 const int incy) {
  gemv_real("cblas_dgemv", layout, ta, m, n, alpha, a, lda, x, incx, beta, y, incy, &orb_blas_dgemv);
}
void cblas_cgemv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const void* alpha,
                 const void* a, const int lda, const void* x, const int incx, const void* beta, void* y,
                 const int incy) {
  gemv_complex<c8, c8>("cblas_cgemv", layout, ta, m, n, as<c8>(alpha), as<c8>(a), lda, as<c8>(x), incx, as<c8>(beta),
               as<c8>(y), incy, &orb_blas_cgemv);
}
void cblas_zgemv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const void* alpha,
                 const void* a, const int lda, const void* x, const int incx, const void* beta, void* y,
                 const int incy) {
  gemv_complex<c16, c16>("cblas_zgemv", layout, ta, m, n, as<c16>(alpha), as<c16>(a), lda, as<c16>(x), incx,
                 as<c16>(beta), as<c16>(y), incy, &orb_blas_zgemv);
}
void cblas_scgemv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const void* alpha,
                  const float* a, const int lda, const void* x, const int incx, const void* beta, void* y,
                  const int incy) {
  mixed_gemv("cblas_scgemv", layout, ta, m, n, as<c8>(alpha), a, lda, as<c8>(x), incx, as<c8>(beta), as<c8>(y),
             incy, &orb_blas_scgemv);
}
void cblas_dzgemv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const void* alpha,
                  const double* a, const int lda, const void* x, const int incx, const void* beta, void* y,
                  const int incy) {
  mixed_gemv("cblas_dzgemv", layout, ta, m, n, as<c16>(alpha), a, lda, as<c16>(x), incx, as<c16>(beta),
             as<c16>(y), incy, &orb_blas_dzgemv);
}

#define ORB_CBLAS_GBMV(t, C, S, AS, VAL)                                                                          \
  void cblas_##t##gbmv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n,            \
                       const int kl, const int ku, const S alpha, const AS* a, const int lda, const AS* x,       \
                       const int incx, const S beta, AS* y, const int incy) {                                     \
    gbmv<C>("cblas_" #t "gbmv", layout, ta, m, n, kl, ku, VAL(alpha), as<C>(a), lda, as<C>(x), incx, VAL(beta),  \
            as<C>(y), incy, &orb_blas_##t##gbmv);                                                                 \
  }
#define ORB_ADDR(v) &v
ORB_CBLAS_GBMV(s, float, float, float, ORB_ADDR)
ORB_CBLAS_GBMV(d, double, double, double, ORB_ADDR)
#undef ORB_ADDR
void cblas_cgbmv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const int kl,
                 const int ku, const void* alpha, const void* a, const int lda, const void* x, const int incx,
                 const void* beta, void* y, const int incy) {
  gbmv<c8>("cblas_cgbmv", layout, ta, m, n, kl, ku, as<c8>(alpha), as<c8>(a), lda, as<c8>(x), incx, as<c8>(beta),
           as<c8>(y), incy, &orb_blas_cgbmv);
}
void cblas_zgbmv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const int kl,
                 const int ku, const void* alpha, const void* a, const int lda, const void* x, const int incx,
                 const void* beta, void* y, const int incy) {
  gbmv<c16>("cblas_zgbmv", layout, ta, m, n, kl, ku, as<c16>(alpha), as<c16>(a), lda, as<c16>(x), incx,
            as<c16>(beta), as<c16>(y), incy, &orb_blas_zgbmv);
}

// ---- Symmetric and Hermitian products ---------------------------------------------------------

#define ORB_SYMV_REAL(t, T)                                                                                       \
  void cblas_##t##symv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const T alpha, const T* a,  \
                       const int lda, const T* x, const int incx, const T beta, T* y, const int incy) {           \
    sym_product<T, false, 0>("cblas_" #t "symv", layout, uplo, n, 0, &alpha, a, lda, x, incx, &beta, y, incy,     \
                             [&](const char* u, const T* al, const T* xx, const int* ix, const T* be) {           \
                               orb_blas_##t##symv(u, &n, al, a, &lda, xx, ix, be, y, &incy);                      \
                             });                                                                                  \
  }                                                                                                               \
  void cblas_##t##sbmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const int k, const T alpha, \
                       const T* a, const int lda, const T* x, const int incx, const T beta, T* y,                 \
                       const int incy) {                                                                          \
    sym_product<T, false, 1>("cblas_" #t "sbmv", layout, uplo, n, k, &alpha, a, lda, x, incx, &beta, y, incy,     \
                             [&](const char* u, const T* al, const T* xx, const int* ix, const T* be) {           \
                               orb_blas_##t##sbmv(u, &n, &k, al, a, &lda, xx, ix, be, y, &incy);                  \
                             });                                                                                  \
  }                                                                                                               \
  void cblas_##t##spmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const T alpha, const T* ap, \
                       const T* x, const int incx, const T beta, T* y, const int incy) {                          \
    sym_product<T, false, 2>("cblas_" #t "spmv", layout, uplo, n, 0, &alpha, ap, 1, x, incx, &beta, y, incy,      \
                             [&](const char* u, const T* al, const T* xx, const int* ix, const T* be) {           \
                               orb_blas_##t##spmv(u, &n, al, ap, xx, ix, be, y, &incy);                           \
                             });                                                                                  \
  }
ORB_SYMV_REAL(s, float)
ORB_SYMV_REAL(d, double)

#define ORB_HEMV(t, C)                                                                                            \
  void cblas_##t##hemv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const void* alpha,          \
                       const void* a, const int lda, const void* x, const int incx, const void* beta, void* y,    \
                       const int incy) {                                                                          \
    sym_product<C, true, 0>("cblas_" #t "hemv", layout, uplo, n, 0, as<C>(alpha), as<C>(a), lda, as<C>(x), incx,  \
                            as<C>(beta), as<C>(y), incy,                                                          \
                            [&](const char* u, const C* al, const C* xx, const int* ix, const C* be) {            \
                              orb_blas_##t##hemv(u, &n, al, as<C>(a), &lda, xx, ix, be, as<C>(y), &incy);         \
                            });                                                                                   \
  }                                                                                                               \
  void cblas_##t##hbmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const int k,                \
                       const void* alpha, const void* a, const int lda, const void* x, const int incx,            \
                       const void* beta, void* y, const int incy) {                                               \
    sym_product<C, true, 1>("cblas_" #t "hbmv", layout, uplo, n, k, as<C>(alpha), as<C>(a), lda, as<C>(x), incx,  \
                            as<C>(beta), as<C>(y), incy,                                                          \
                            [&](const char* u, const C* al, const C* xx, const int* ix, const C* be) {            \
                              orb_blas_##t##hbmv(u, &n, &k, al, as<C>(a), &lda, xx, ix, be, as<C>(y), &incy);     \
                            });                                                                                   \
  }                                                                                                               \
  void cblas_##t##hpmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const void* alpha,          \
                       const void* ap, const void* x, const int incx, const void* beta, void* y,                  \
                       const int incy) {                                                                          \
    sym_product<C, true, 2>("cblas_" #t "hpmv", layout, uplo, n, 0, as<C>(alpha), as<C>(ap), 1, as<C>(x), incx,   \
                            as<C>(beta), as<C>(y), incy,                                                          \
                            [&](const char* u, const C* al, const C* xx, const int* ix, const C* be) {            \
                              orb_blas_##t##hpmv(u, &n, al, as<C>(ap), xx, ix, be, as<C>(y), &incy);              \
                            });                                                                                   \
  }
ORB_HEMV(c, c8)
ORB_HEMV(z, c16)

// ---- Triangular ---------------------------------------------------------------------------------

#define ORB_TRIANGULAR(t, C, AS)                                                                                  \
  void cblas_##t##trmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,                \
                       const CBLAS_DIAG diag, const int n, const AS* a, const int lda, AS* x, const int incx) {   \
    triangular<C, 0>("cblas_" #t "trmv", layout, uplo, ta, diag, n, 0, lda, as<C>(x), incx,                       \
                     [&](const char* u, const char* tr, const char* d) {                                          \
                       orb_blas_##t##trmv(u, tr, d, &n, as<C>(a), &lda, as<C>(x), &incx);                         \
                     });                                                                                          \
  }                                                                                                               \
  void cblas_##t##trsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,                \
                       const CBLAS_DIAG diag, const int n, const AS* a, const int lda, AS* x, const int incx) {   \
    triangular<C, 0>("cblas_" #t "trsv", layout, uplo, ta, diag, n, 0, lda, as<C>(x), incx,                       \
                     [&](const char* u, const char* tr, const char* d) {                                          \
                       orb_blas_##t##trsv(u, tr, d, &n, as<C>(a), &lda, as<C>(x), &incx);                         \
                     });                                                                                          \
  }                                                                                                               \
  void cblas_##t##tbmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,                \
                       const CBLAS_DIAG diag, const int n, const int k, const AS* a, const int lda, AS* x,        \
                       const int incx) {                                                                          \
    triangular<C, 1>("cblas_" #t "tbmv", layout, uplo, ta, diag, n, k, lda, as<C>(x), incx,                       \
                     [&](const char* u, const char* tr, const char* d) {                                          \
                       orb_blas_##t##tbmv(u, tr, d, &n, &k, as<C>(a), &lda, as<C>(x), &incx);                     \
                     });                                                                                          \
  }                                                                                                               \
  void cblas_##t##tbsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,                \
                       const CBLAS_DIAG diag, const int n, const int k, const AS* a, const int lda, AS* x,        \
                       const int incx) {                                                                          \
    triangular<C, 1>("cblas_" #t "tbsv", layout, uplo, ta, diag, n, k, lda, as<C>(x), incx,                       \
                     [&](const char* u, const char* tr, const char* d) {                                          \
                       orb_blas_##t##tbsv(u, tr, d, &n, &k, as<C>(a), &lda, as<C>(x), &incx);                     \
                     });                                                                                          \
  }                                                                                                               \
  void cblas_##t##tpmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,                \
                       const CBLAS_DIAG diag, const int n, const AS* ap, AS* x, const int incx) {                 \
    triangular<C, 2>("cblas_" #t "tpmv", layout, uplo, ta, diag, n, 0, 1, as<C>(x), incx,                         \
                     [&](const char* u, const char* tr, const char* d) {                                          \
                       orb_blas_##t##tpmv(u, tr, d, &n, as<C>(ap), as<C>(x), &incx);                              \
                     });                                                                                          \
  }                                                                                                               \
  void cblas_##t##tpsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,                \
                       const CBLAS_DIAG diag, const int n, const AS* ap, AS* x, const int incx) {                 \
    triangular<C, 2>("cblas_" #t "tpsv", layout, uplo, ta, diag, n, 0, 1, as<C>(x), incx,                         \
                     [&](const char* u, const char* tr, const char* d) {                                          \
                       orb_blas_##t##tpsv(u, tr, d, &n, as<C>(ap), as<C>(x), &incx);                              \
                     });                                                                                          \
  }
ORB_TRIANGULAR(s, float, float)
ORB_TRIANGULAR(d, double, double)
ORB_TRIANGULAR(c, c8, void)
ORB_TRIANGULAR(z, c16, void)

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

#define ORB_SYR_REAL(t, T)                                                                                        \
  void cblas_##t##syr(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const T alpha, const T* x,   \
                      const int incx, T* a, const int lda) {                                                      \
    const int row = layout_row(layout);                                                                           \
    call_scope scope(row == 1);                                                                                   \
    if (row < 0 && bad("cblas_" #t "syr", 1)) return;                                                             \
    const char u = uplo_letter(uplo, row);                                                                        \
    if (!u && bad("cblas_" #t "syr", 2)) return;                                                                  \
    if (const int info = chk::syr(u, n, incx, lda)) {                                                             \
      bad("cblas_" #t "syr", info + 1);                                                                           \
      return;                                                                                                     \
    }                                                                                                             \
    orb_blas_##t##syr(&u, &n, &alpha, x, &incx, a, &lda);                                                         \
  }                                                                                                               \
  void cblas_##t##spr(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const T alpha, const T* x,   \
                      const int incx, T* ap) {                                                                    \
    const int row = layout_row(layout);                                                                           \
    call_scope scope(row == 1);                                                                                   \
    if (row < 0 && bad("cblas_" #t "spr", 1)) return;                                                             \
    const char u = uplo_letter(uplo, row);                                                                        \
    if (!u && bad("cblas_" #t "spr", 2)) return;                                                                  \
    if (const int info = chk::spr(u, n, incx)) {                                                                  \
      bad("cblas_" #t "spr", info + 1);                                                                           \
      return;                                                                                                     \
    }                                                                                                             \
    orb_blas_##t##spr(&u, &n, &alpha, x, &incx, ap);                                                              \
  }                                                                                                               \
  void cblas_##t##syr2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const T alpha, const T* x,  \
                       const int incx, const T* y, const int incy, T* a, const int lda) {                         \
    const int row = layout_row(layout);                                                                           \
    call_scope scope(row == 1);                                                                                   \
    if (row < 0 && bad("cblas_" #t "syr2", 1)) return;                                                            \
    const char u = uplo_letter(uplo, row);                                                                        \
    if (!u && bad("cblas_" #t "syr2", 2)) return;                                                                 \
    if (const int info = chk::syr2(u, n, incx, incy, lda)) {                                                      \
      bad("cblas_" #t "syr2", info + 1);                                                                          \
      return;                                                                                                     \
    }                                                                                                             \
    orb_blas_##t##syr2(&u, &n, &alpha, x, &incx, y, &incy, a, &lda);                                              \
  }                                                                                                               \
  void cblas_##t##spr2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const T alpha, const T* x,  \
                       const int incx, const T* y, const int incy, T* ap) {                                       \
    const int row = layout_row(layout);                                                                           \
    call_scope scope(row == 1);                                                                                   \
    if (row < 0 && bad("cblas_" #t "spr2", 1)) return;                                                            \
    const char u = uplo_letter(uplo, row);                                                                        \
    if (!u && bad("cblas_" #t "spr2", 2)) return;                                                                 \
    if (const int info = chk::spr2(u, n, incx, incy)) {                                                           \
      bad("cblas_" #t "spr2", info + 1);                                                                          \
      return;                                                                                                     \
    }                                                                                                             \
    orb_blas_##t##spr2(&u, &n, &alpha, x, &incx, y, &incy, ap);                                                   \
  }
ORB_SYR_REAL(s, float)
ORB_SYR_REAL(d, double)

// Hermitian updates in row-major: the stored triangle is that of conj(A), so
// x (and y) are conjugated and, for the rank-2 forms, trade places.
#define ORB_HER(t, C, RT)                                                                                         \
  void cblas_##t##her(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const RT alpha,              \
                      const void* x, const int incx, void* a, const int lda) {                                    \
    const int row = layout_row(layout);                                                                           \
    call_scope scope(row == 1);                                                                                   \
    if (row < 0 && bad("cblas_" #t "her", 1)) return;                                                             \
    const char u = uplo_letter(uplo, row);                                                                        \
    if (!u && bad("cblas_" #t "her", 2)) return;                                                                  \
    if (const int info = chk::syr(u, n, incx, lda)) {                                                             \
      bad("cblas_" #t "her", info + 1);                                                                           \
      return;                                                                                                     \
    }                                                                                                             \
    if (row) {                                                                                                    \
      conj_copy<C> xc(n, as<C>(x), incx);                                                                         \
      orb_blas_##t##her(&u, &n, &alpha, xc.p, &xc.inc, as<C>(a), &lda);                                           \
    } else {                                                                                                      \
      orb_blas_##t##her(&u, &n, &alpha, as<C>(x), &incx, as<C>(a), &lda);                                         \
    }                                                                                                             \
  }                                                                                                               \
  void cblas_##t##hpr(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const RT alpha,              \
                      const void* x, const int incx, void* ap) {                                                  \
    const int row = layout_row(layout);                                                                           \
    call_scope scope(row == 1);                                                                                   \
    if (row < 0 && bad("cblas_" #t "hpr", 1)) return;                                                             \
    const char u = uplo_letter(uplo, row);                                                                        \
    if (!u && bad("cblas_" #t "hpr", 2)) return;                                                                  \
    if (const int info = chk::spr(u, n, incx)) {                                                                  \
      bad("cblas_" #t "hpr", info + 1);                                                                           \
      return;                                                                                                     \
    }                                                                                                             \
    if (row) {                                                                                                    \
      conj_copy<C> xc(n, as<C>(x), incx);                                                                         \
      orb_blas_##t##hpr(&u, &n, &alpha, xc.p, &xc.inc, as<C>(ap));                                                \
    } else {                                                                                                      \
      orb_blas_##t##hpr(&u, &n, &alpha, as<C>(x), &incx, as<C>(ap));                                              \
    }                                                                                                             \
  }                                                                                                               \
  void cblas_##t##her2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const void* alpha,          \
                       const void* x, const int incx, const void* y, const int incy, void* a, const int lda) {    \
    const int row = layout_row(layout);                                                                           \
    call_scope scope(row == 1);                                                                                   \
    if (row < 0 && bad("cblas_" #t "her2", 1)) return;                                                            \
    const char u = uplo_letter(uplo, row);                                                                        \
    if (!u && bad("cblas_" #t "her2", 2)) return;                                                                 \
    if (const int info = row ? chk::syr2(u, n, incy, incx, lda) : chk::syr2(u, n, incx, incy, lda)) {             \
      bad("cblas_" #t "her2", info + 1);                                                                          \
      return;                                                                                                     \
    }                                                                                                             \
    if (row) {                                                                                                    \
      conj_copy<C> xc(n, as<C>(x), incx), yc(n, as<C>(y), incy);                                                  \
      orb_blas_##t##her2(&u, &n, as<C>(alpha), yc.p, &yc.inc, xc.p, &xc.inc, as<C>(a), &lda);                     \
    } else {                                                                                                      \
      orb_blas_##t##her2(&u, &n, as<C>(alpha), as<C>(x), &incx, as<C>(y), &incy, as<C>(a), &lda);                 \
    }                                                                                                             \
  }                                                                                                               \
  void cblas_##t##hpr2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const void* alpha,          \
                       const void* x, const int incx, const void* y, const int incy, void* ap) {                  \
    const int row = layout_row(layout);                                                                           \
    call_scope scope(row == 1);                                                                                   \
    if (row < 0 && bad("cblas_" #t "hpr2", 1)) return;                                                            \
    const char u = uplo_letter(uplo, row);                                                                        \
    if (!u && bad("cblas_" #t "hpr2", 2)) return;                                                                 \
    if (const int info = row ? chk::spr2(u, n, incy, incx) : chk::spr2(u, n, incx, incy)) {                       \
      bad("cblas_" #t "hpr2", info + 1);                                                                          \
      return;                                                                                                     \
    }                                                                                                             \
    if (row) {                                                                                                    \
      conj_copy<C> xc(n, as<C>(x), incx), yc(n, as<C>(y), incy);                                                  \
      orb_blas_##t##hpr2(&u, &n, as<C>(alpha), yc.p, &yc.inc, xc.p, &xc.inc, as<C>(ap));                          \
    } else {                                                                                                      \
      orb_blas_##t##hpr2(&u, &n, as<C>(alpha), as<C>(x), &incx, as<C>(y), &incy, as<C>(ap));                      \
    }                                                                                                             \
  }
ORB_HER(c, c8, float)
ORB_HER(z, c16, double)

// ---- Two products in one pass ---------------------------------------------------------------------

// Row-major: A is the transpose of the stored column-major matrix, so the
// two products trade their roles (real), or each becomes a GEMV (complex,
// where the conjugate of the stored matrix would be needed).
#define ORB_GEM2V_REAL(t, T)                                                                                      \
  void cblas_##t##gem2vu(const CBLAS_LAYOUT layout, const int m, const int n, const T alpha, const T* a,          \
                         const int lda, const T* x1, const int incx1, const T* x2, const int incx2, const T beta, \
                         T* y1, const int incy1, T* y2, const int incy2) {                                        \
    const int row = layout_row(layout);                                                                           \
    call_scope scope(row == 1);                                                                                   \
    if (row < 0 && bad("cblas_" #t "gem2vu", 1)) return;                                                          \
    const int fm = row ? n : m, fn = row ? m : n;                                                                 \
    if (const int info = chk::gem2v(fm, fn, lda, incx1, incx2, incy1, incy2)) {                                   \
      bad("cblas_" #t "gem2vu", info + 1);                                                                        \
      return;                                                                                                     \
    }                                                                                                             \
    if (row) orb_blas_##t##gem2vu(&fm, &fn, &alpha, a, &lda, x2, &incx2, x1, &incx1, &beta, y2, &incy2, y1, &incy1); \
    else orb_blas_##t##gem2vu(&fm, &fn, &alpha, a, &lda, x1, &incx1, x2, &incx2, &beta, y1, &incy1, y2, &incy2);  \
  }
ORB_GEM2V_REAL(s, float)
ORB_GEM2V_REAL(d, double)

#define ORB_GEM2V_COMPLEX(t, C)                                                                                   \
  void cblas_##t##gem2vc(const CBLAS_LAYOUT layout, const int m, const int n, const void* alpha, const void* a,   \
                         const int lda, const void* x1, const int incx1, const void* x2, const int incx2,         \
                         const void* beta, void* y1, const int incy1, void* y2, const int incy2) {                \
    const int row = layout_row(layout);                                                                           \
    {                                                                                                             \
      call_scope scope(row == 1);                                                                                 \
      if (row < 0 && bad("cblas_" #t "gem2vc", 1)) return;                                                        \
      const int fm = row ? n : m, fn = row ? m : n;                                                               \
      if (const int info = chk::gem2v(fm, fn, lda, incx1, incx2, incy1, incy2)) {                                 \
        bad("cblas_" #t "gem2vc", info + 1);                                                                      \
        return;                                                                                                   \
      }                                                                                                           \
      if (!row) {                                                                                                 \
        orb_blas_##t##gem2vc(&m, &n, as<C>(alpha), as<C>(a), &lda, as<C>(x1), &incx1, as<C>(x2), &incx2,          \
                             as<C>(beta), as<C>(y1), &incy1, as<C>(y2), &incy2);                                  \
        return;                                                                                                   \
      }                                                                                                           \
    }                                                                                                             \
    cblas_##t##gemv(layout, CblasNoTrans, m, n, alpha, a, lda, x1, incx1, beta, y1, incy1);                       \
    cblas_##t##gemv(layout, CblasConjTrans, m, n, alpha, a, lda, x2, incx2, beta, y2, incy2);                     \
  }
ORB_GEM2V_COMPLEX(c, c8)
ORB_GEM2V_COMPLEX(z, c16)

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
