// Argument checks of SYMM, HEMM, SYRK, HERK, SYR2K, HER2K and GEMMT, shared
// by the public names and the C interface. Each returns 0 when the
// arguments are legal, otherwise the 1-based position of the first illegal
// one, in the order the reference routines test them.
#pragma once

namespace orb::core::l3check {

inline char up(char c) { return char(c & ~32); }
inline bool uplo_ok(char c) { c = up(c); return c == 'U' || c == 'L'; }
inline bool side_ok(char c) { c = up(c); return c == 'L' || c == 'R'; }
inline bool trans_ok(char c) { c = up(c); return c == 'N' || c == 'T' || c == 'C'; }
inline int max1(int v) { return v > 1 ? v : 1; }

// The operator letters each rank-k routine accepts: the real ones all
// three, the complex symmetric ones N and T, the Hermitian ones N and C.
enum class letters { real, complex_symmetric, hermitian };
inline bool rank_trans_ok(char c, letters l) {
  c = up(c);
  switch (l) {
    case letters::real: return c == 'N' || c == 'T' || c == 'C';
    case letters::complex_symmetric: return c == 'N' || c == 'T';
    default: return c == 'N' || c == 'C';
  }
}

// side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc
inline int symm(char side, char uplo, int m, int n, int lda, int ldb, int ldc) {
  const int nrowa = up(side) == 'L' ? m : n;
  if (!side_ok(side)) return 1;
  if (!uplo_ok(uplo)) return 2;
  if (m < 0) return 3;
  if (n < 0) return 4;
  if (lda < max1(nrowa)) return 7;
  if (ldb < max1(m)) return 9;
  if (ldc < max1(m)) return 12;
  return 0;
}
// uplo, trans, n, k, alpha, a, lda, beta, c, ldc
inline int syrk(char uplo, char trans, int n, int k, int lda, int ldc, letters l) {
  const int nrowa = up(trans) == 'N' ? n : k;
  if (!uplo_ok(uplo)) return 1;
  if (!rank_trans_ok(trans, l)) return 2;
  if (n < 0) return 3;
  if (k < 0) return 4;
  if (lda < max1(nrowa)) return 7;
  if (ldc < max1(n)) return 10;
  return 0;
}
// uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc
inline int syr2k(char uplo, char trans, int n, int k, int lda, int ldb, int ldc, letters l) {
  const int nrowa = up(trans) == 'N' ? n : k;
  if (!uplo_ok(uplo)) return 1;
  if (!rank_trans_ok(trans, l)) return 2;
  if (n < 0) return 3;
  if (k < 0) return 4;
  if (lda < max1(nrowa)) return 7;
  if (ldb < max1(nrowa)) return 9;
  if (ldc < max1(n)) return 12;
  return 0;
}
// uplo, transa, transb, n, k, alpha, a, lda, b, ldb, beta, c, ldc
inline int gemmt(char uplo, char transa, char transb, int n, int k, int lda, int ldb, int ldc) {
  const int nrowa = up(transa) == 'N' ? n : k;
  const int nrowb = up(transb) == 'N' ? k : n;
  if (!uplo_ok(uplo)) return 1;
  if (!trans_ok(transa)) return 2;
  if (!trans_ok(transb)) return 3;
  if (n < 0) return 4;
  if (k < 0) return 5;
  if (lda < max1(nrowa)) return 8;
  if (ldb < max1(nrowb)) return 10;
  if (ldc < max1(n)) return 13;
  return 0;
}

}  // namespace orb::core::l3check
