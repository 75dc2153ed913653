// Argument checks of the level-2 routines, shared by the public names and
// the C interface. Each returns 0 when the arguments are legal, otherwise
// the 1-based position of the first illegal one, in the order the
// reference routines test them.
#pragma once

namespace orb::core::l2check {

inline char up(char c) { return char(c & ~32); }
inline bool trans_ok(char c) { c = up(c); return c == 'N' || c == 'T' || c == 'C'; }
inline bool uplo_ok(char c) { c = up(c); return c == 'U' || c == 'L'; }
inline bool diag_ok(char c) { c = up(c); return c == 'U' || c == 'N'; }
inline int max1(int v) { return v > 1 ? v : 1; }

// trans, m, n, alpha, a, lda, x, incx, beta, y, incy
inline int gemv(char trans, int m, int n, int lda, int incx, int incy) {
  if (!trans_ok(trans)) return 1;
  if (m < 0) return 2;
  if (n < 0) return 3;
  if (lda < max1(m)) return 6;
  if (incx == 0) return 8;
  if (incy == 0) return 11;
  return 0;
}
// trans, m, n, kl, ku, alpha, a, lda, x, incx, beta, y, incy
inline int gbmv(char trans, int m, int n, int kl, int ku, int lda, int incx, int incy) {
  if (!trans_ok(trans)) return 1;
  if (m < 0) return 2;
  if (n < 0) return 3;
  if (kl < 0) return 4;
  if (ku < 0) return 5;
  if (lda < kl + ku + 1) return 8;
  if (incx == 0) return 10;
  if (incy == 0) return 13;
  return 0;
}
// uplo, n, alpha, a, lda, x, incx, beta, y, incy
inline int symv(char uplo, int n, int lda, int incx, int incy) {
  if (!uplo_ok(uplo)) return 1;
  if (n < 0) return 2;
  if (lda < max1(n)) return 5;
  if (incx == 0) return 7;
  if (incy == 0) return 10;
  return 0;
}
// uplo, n, k, alpha, a, lda, x, incx, beta, y, incy
inline int sbmv(char uplo, int n, int k, int lda, int incx, int incy) {
  if (!uplo_ok(uplo)) return 1;
  if (n < 0) return 2;
  if (k < 0) return 3;
  if (lda < k + 1) return 6;
  if (incx == 0) return 8;
  if (incy == 0) return 11;
  return 0;
}
// uplo, n, alpha, ap, x, incx, beta, y, incy
inline int spmv(char uplo, int n, int incx, int incy) {
  if (!uplo_ok(uplo)) return 1;
  if (n < 0) return 2;
  if (incx == 0) return 6;
  if (incy == 0) return 9;
  return 0;
}
// uplo, trans, diag, n, a, lda, x, incx
inline int trmv(char uplo, char trans, char diag, int n, int lda, int incx) {
  if (!uplo_ok(uplo)) return 1;
  if (!trans_ok(trans)) return 2;
  if (!diag_ok(diag)) return 3;
  if (n < 0) return 4;
  if (lda < max1(n)) return 6;
  if (incx == 0) return 8;
  return 0;
}
// uplo, trans, diag, n, k, a, lda, x, incx
inline int tbmv(char uplo, char trans, char diag, int n, int k, int lda, int incx) {
  if (!uplo_ok(uplo)) return 1;
  if (!trans_ok(trans)) return 2;
  if (!diag_ok(diag)) return 3;
  if (n < 0) return 4;
  if (k < 0) return 5;
  if (lda < k + 1) return 7;
  if (incx == 0) return 9;
  return 0;
}
// uplo, trans, diag, n, ap, x, incx
inline int tpmv(char uplo, char trans, char diag, int n, int incx) {
  if (!uplo_ok(uplo)) return 1;
  if (!trans_ok(trans)) return 2;
  if (!diag_ok(diag)) return 3;
  if (n < 0) return 4;
  if (incx == 0) return 7;
  return 0;
}
// m, n, alpha, x, incx, y, incy, a, lda
inline int ger(int m, int n, int incx, int incy, int lda) {
  if (m < 0) return 1;
  if (n < 0) return 2;
  if (incx == 0) return 5;
  if (incy == 0) return 7;
  if (lda < max1(m)) return 9;
  return 0;
}
// uplo, n, alpha, x, incx, a, lda
inline int syr(char uplo, int n, int incx, int lda) {
  if (!uplo_ok(uplo)) return 1;
  if (n < 0) return 2;
  if (incx == 0) return 5;
  if (lda < max1(n)) return 7;
  return 0;
}
// uplo, n, alpha, x, incx, ap
inline int spr(char uplo, int n, int incx) {
  if (!uplo_ok(uplo)) return 1;
  if (n < 0) return 2;
  if (incx == 0) return 5;
  return 0;
}
// uplo, n, alpha, x, incx, y, incy, a, lda
inline int syr2(char uplo, int n, int incx, int incy, int lda) {
  if (!uplo_ok(uplo)) return 1;
  if (n < 0) return 2;
  if (incx == 0) return 5;
  if (incy == 0) return 7;
  if (lda < max1(n)) return 9;
  return 0;
}
// uplo, n, alpha, x, incx, y, incy, ap
inline int spr2(char uplo, int n, int incx, int incy) {
  if (!uplo_ok(uplo)) return 1;
  if (n < 0) return 2;
  if (incx == 0) return 5;
  if (incy == 0) return 7;
  return 0;
}
// m, n, alpha, a, lda, x1, incx1, x2, incx2, beta, y1, incy1, y2, incy2
inline int gem2v(int m, int n, int lda, int incx1, int incx2, int incy1, int incy2) {
  if (m < 0) return 1;
  if (n < 0) return 2;
  if (lda < max1(m)) return 5;
  if (incx1 == 0) return 7;
  if (incx2 == 0) return 9;
  if (incy1 == 0) return 12;
  if (incy2 == 0) return 14;
  return 0;
}

}  // namespace orb::core::l2check
