// CBLAS SYMM, HEMM, SYRK, HERK, SYR2K, HER2K and GEMMT in both layouts.
//
// A row-major matrix is the column-major storage of its transpose, so a
// row-major call is run as a column-major one: SYMM and HEMM swap m and n
// and flip side and triangle (the transpose of a symmetric matrix is
// itself, that of a Hermitian one is its conjugate, which the flipped
// triangle stores as it stands); the rank-k routines flip the triangle and
// the operator (HER2K also takes the conjugate alpha); GEMMT flips the
// triangle and swaps the operands with their operators.
//
// Illegal arguments reach cblas_xerbla with the CBLAS routine's name: the
// layout and the enumerations by their own positions, the rest by their
// position in the column-major call that is run, plus one, with
// RowMajorStrg set for a row-major call.
#include "core/blas/cblas_state.hpp"
#include "core/blas/syx_checks.hpp"
#include "orb/cblas.h"
#include "orb/orb_blas.h"

namespace {

using c8 = orb_complex8;
using c16 = orb_complex16;
namespace chk = orb::core::l3check;
using chk::letters;

using call_scope = orb::core::cblas_call_scope;

// 1 row-major, 0 column-major, -1 illegal (reported).
int open_layout(const char* rout, CBLAS_LAYOUT l) {
  if (l == CblasRowMajor) return 1;
  if (l == CblasColMajor) return 0;
  cblas_xerbla(1, rout, "Illegal layout setting, %d\n", int(l));
  return -1;
}
char uplo_letter(const char* rout, CBLAS_UPLO u, bool row, int pos) {
  if (u == CblasUpper) return row ? 'L' : 'U';
  if (u == CblasLower) return row ? 'U' : 'L';
  cblas_xerbla(pos, rout, "Illegal Uplo setting, %d\n", int(u));
  return 0;
}
char side_letter(const char* rout, CBLAS_SIDE s, bool row, int pos) {
  if (s == CblasLeft) return row ? 'R' : 'L';
  if (s == CblasRight) return row ? 'L' : 'R';
  cblas_xerbla(pos, rout, "Illegal Side setting, %d\n", int(s));
  return 0;
}
// The operator of a rank-k routine for the column-major call; 0 when the
// routine does not take it.
char rank_letter(const char* rout, CBLAS_TRANSPOSE t, bool row, letters l, int pos) {
  char c = 0;
  const char other = l == letters::hermitian ? 'C' : 'T';
  if (t == CblasNoTrans) c = row ? other : 'N';
  else if (t == CblasTrans && l != letters::hermitian) c = row ? 'N' : 'T';
  else if (t == CblasConjTrans && l != letters::complex_symmetric) c = row ? 'N' : other;
  if (!c) cblas_xerbla(pos, rout, "Illegal Trans setting, %d\n", int(t));
  return c;
}
char gemm_letter(const char* rout, CBLAS_TRANSPOSE t, int pos, const char* what) {
  switch (t) {
    case CblasNoTrans: return 'N';
    case CblasTrans: return 'T';
    case CblasConjTrans: return 'C';
    default: cblas_xerbla(pos, rout, what, int(t)); return 0;
  }
}
bool checked(const char* rout, int info) {
  if (info) cblas_xerbla(info + 1, rout, "");
  return info == 0;
}

template <class T> const T* as(const void* p) { return static_cast<const T*>(p); }
template <class T> T* as(void* p) { return static_cast<T*>(p); }
template <class T> const T* scalar(const T& v) { return &v; }
template <class T> const T* scalar(const void* p) { return static_cast<const T*>(p); }

template <class T, class S, class F>
void symm(F f, const char* rout, CBLAS_LAYOUT layout, CBLAS_SIDE side, CBLAS_UPLO uplo, int m, int n, S alpha,
          const void* a, int lda, const void* b, int ldb, S beta, void* c, int ldc) {
  const int row = open_layout(rout, layout);
  if (row < 0) return;
  call_scope scope(row == 1);
  const char sd = side_letter(rout, side, row, 2);
  if (!sd) return;
  const char up = uplo_letter(rout, uplo, row, 3);
  if (!up) return;
  const int mm = row ? n : m, nn = row ? m : n;
  if (!checked(rout, chk::symm(sd, up, mm, nn, lda, ldb, ldc))) return;
  f(&sd, &up, &mm, &nn, scalar<T>(alpha), as<T>(a), &lda, as<T>(b), &ldb, scalar<T>(beta), as<T>(c), &ldc);
}

template <class T, class S, class F>
void syrk(F f, const char* rout, letters l, CBLAS_LAYOUT layout, CBLAS_UPLO uplo, CBLAS_TRANSPOSE trans, int n,
          int k, const S* alpha, const void* a, int lda, const S* beta, void* c, int ldc) {
  const int row = open_layout(rout, layout);
  if (row < 0) return;
  call_scope scope(row == 1);
  const char up = uplo_letter(rout, uplo, row, 2);
  if (!up) return;
  const char tr = rank_letter(rout, trans, row, l, 3);
  if (!tr) return;
  if (!checked(rout, chk::syrk(up, tr, n, k, lda, ldc, l))) return;
  f(&up, &tr, &n, &k, alpha, as<T>(a), &lda, beta, as<T>(c), &ldc);
}

template <class T, class R, class F>
void syr2k(F f, const char* rout, letters l, CBLAS_LAYOUT layout, CBLAS_UPLO uplo, CBLAS_TRANSPOSE trans, int n,
           int k, const T* alpha, const void* a, int lda, const void* b, int ldb, const R* beta, void* c, int ldc) {
  const int row = open_layout(rout, layout);
  if (row < 0) return;
  call_scope scope(row == 1);
  const char up = uplo_letter(rout, uplo, row, 2);
  if (!up) return;
  const char tr = rank_letter(rout, trans, row, l, 3);
  if (!tr) return;
  if (!checked(rout, chk::syr2k(up, tr, n, k, lda, ldb, ldc, l))) return;
  f(&up, &tr, &n, &k, alpha, as<T>(a), &lda, as<T>(b), &ldb, beta, as<T>(c), &ldc);
}

// HER2K in row-major order: the conjugate of C is formed, which swaps
// the roles of alpha and its conjugate.
template <class C>
C her2k_alpha(const void* alpha, bool row) {
  C v = *static_cast<const C*>(alpha);
  if (row) v.im = -v.im;
  return v;
}

template <class T, class S, class F>
void gemmt(F f, const char* rout, CBLAS_LAYOUT layout, CBLAS_UPLO uplo, CBLAS_TRANSPOSE transa,
           CBLAS_TRANSPOSE transb, int n, int k, S alpha, const void* a, int lda, const void* b, int ldb, S beta,
           void* c, int ldc) {
  const int row = open_layout(rout, layout);
  if (row < 0) return;
  call_scope scope(row == 1);
  const char up = uplo_letter(rout, uplo, row, 2);
  if (!up) return;
  const char ta = gemm_letter(rout, transa, 3, "Illegal TransA setting, %d\n");
  if (!ta) return;
  const char tb = gemm_letter(rout, transb, 4, "Illegal TransB setting, %d\n");
  if (!tb) return;
  if (!row) {
    if (!checked(rout, chk::gemmt(up, ta, tb, n, k, lda, ldb, ldc))) return;
    f(&up, &ta, &tb, &n, &k, scalar<T>(alpha), as<T>(a), &lda, as<T>(b), &ldb, scalar<T>(beta), as<T>(c), &ldc);
  } else {
    if (!checked(rout, chk::gemmt(up, tb, ta, n, k, ldb, lda, ldc))) return;
    f(&up, &tb, &ta, &n, &k, scalar<T>(alpha), as<T>(b), &ldb, as<T>(a), &lda, scalar<T>(beta), as<T>(c), &ldc);
  }
}

}  // namespace

extern "C" {

void cblas_ssymm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const int m, const int n,
                 const float alpha, const float* a, const int lda, const float* b, const int ldb, const float beta,
                 float* c, const int ldc) {
  symm<float>(&orb_blas_ssymm, "cblas_ssymm", layout, side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc);
}
void cblas_dsymm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const int m, const int n,
                 const double alpha, const double* a, const int lda, const double* b, const int ldb,
                 const double beta, double* c, const int ldc) {
  symm<double>(&orb_blas_dsymm, "cblas_dsymm", layout, side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc);
}
#define ORB_CBLAS_CSYMM(name, T)                                                                               \
  void cblas_##name(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const int m,     \
                    const int n, const void* alpha, const void* a, const int lda, const void* b, const int ldb, \
                    const void* beta, void* c, const int ldc) {                                                \
    symm<T>(&orb_blas_##name, "cblas_" #name, layout, side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc); \
  }
ORB_CBLAS_CSYMM(csymm, c8)
ORB_CBLAS_CSYMM(zsymm, c16)
ORB_CBLAS_CSYMM(chemm, c8)
ORB_CBLAS_CSYMM(zhemm, c16)
#undef ORB_CBLAS_CSYMM

void cblas_ssyrk(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n,
                 const int k, const float alpha, const float* a, const int lda, const float beta, float* c,
                 const int ldc) {
  syrk<float, float>(&orb_blas_ssyrk, "cblas_ssyrk", letters::real, layout, uplo, trans, n, k, &alpha, a,
                            lda, &beta, c, ldc);
}
void cblas_dsyrk(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n,
                 const int k, const double alpha, const double* a, const int lda, const double beta, double* c,
                 const int ldc) {
  syrk<double, double>(&orb_blas_dsyrk, "cblas_dsyrk", letters::real, layout, uplo, trans, n, k, &alpha,
                               a, lda, &beta, c, ldc);
}
void cblas_csyrk(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n,
                 const int k, const void* alpha, const void* a, const int lda, const void* beta, void* c,
                 const int ldc) {
  syrk<c8, c8>(&orb_blas_csyrk, "cblas_csyrk", letters::complex_symmetric, layout, uplo, trans, n, k,
                   scalar<c8>(alpha), a, lda, scalar<c8>(beta), c, ldc);
}
void cblas_zsyrk(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n,
                 const int k, const void* alpha, const void* a, const int lda, const void* beta, void* c,
                 const int ldc) {
  syrk<c16, c16>(&orb_blas_zsyrk, "cblas_zsyrk", letters::complex_symmetric, layout, uplo, trans, n, k,
                      scalar<c16>(alpha), a, lda, scalar<c16>(beta), c, ldc);
}
void cblas_cherk(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n,
                 const int k, const float alpha, const void* a, const int lda, const float beta, void* c,
                 const int ldc) {
  syrk<c8, float>(&orb_blas_cherk, "cblas_cherk", letters::hermitian, layout, uplo, trans, n, k, &alpha, a,
                         lda, &beta, c, ldc);
}
void cblas_zherk(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n,
                 const int k, const double alpha, const void* a, const int lda, const double beta, void* c,
                 const int ldc) {
  syrk<c16, double>(&orb_blas_zherk, "cblas_zherk", letters::hermitian, layout, uplo, trans, n, k, &alpha,
                            a, lda, &beta, c, ldc);
}

void cblas_ssyr2k(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n,
                  const int k, const float alpha, const float* a, const int lda, const float* b, const int ldb,
                  const float beta, float* c, const int ldc) {
  syr2k<float, float>(&orb_blas_ssyr2k, "cblas_ssyr2k", letters::real, layout, uplo, trans, n, k, &alpha, a, lda,
                      b, ldb, &beta, c, ldc);
}
void cblas_dsyr2k(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n,
                  const int k, const double alpha, const double* a, const int lda, const double* b, const int ldb,
                  const double beta, double* c, const int ldc) {
  syr2k<double, double>(&orb_blas_dsyr2k, "cblas_dsyr2k", letters::real, layout, uplo, trans, n, k, &alpha, a,
                        lda, b, ldb, &beta, c, ldc);
}
void cblas_csyr2k(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n,
                  const int k, const void* alpha, const void* a, const int lda, const void* b, const int ldb,
                  const void* beta, void* c, const int ldc) {
  syr2k<c8, c8>(&orb_blas_csyr2k, "cblas_csyr2k", letters::complex_symmetric, layout, uplo, trans, n, k,
                as<c8>(alpha), a, lda, b, ldb, as<c8>(beta), c, ldc);
}
void cblas_zsyr2k(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n,
                  const int k, const void* alpha, const void* a, const int lda, const void* b, const int ldb,
                  const void* beta, void* c, const int ldc) {
  syr2k<c16, c16>(&orb_blas_zsyr2k, "cblas_zsyr2k", letters::complex_symmetric, layout, uplo, trans, n, k,
                  as<c16>(alpha), a, lda, b, ldb, as<c16>(beta), c, ldc);
}
void cblas_cher2k(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n,
                  const int k, const void* alpha, const void* a, const int lda, const void* b, const int ldb,
                  const float beta, void* c, const int ldc) {
  const c8 al = her2k_alpha<c8>(alpha, layout == CblasRowMajor);
  syr2k<c8, float>(&orb_blas_cher2k, "cblas_cher2k", letters::hermitian, layout, uplo, trans, n, k, &al, a, lda, b,
                   ldb, &beta, c, ldc);
}
void cblas_zher2k(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n,
                  const int k, const void* alpha, const void* a, const int lda, const void* b, const int ldb,
                  const double beta, void* c, const int ldc) {
  const c16 al = her2k_alpha<c16>(alpha, layout == CblasRowMajor);
  syr2k<c16, double>(&orb_blas_zher2k, "cblas_zher2k", letters::hermitian, layout, uplo, trans, n, k, &al, a, lda,
                     b, ldb, &beta, c, ldc);
}

void cblas_sgemmt(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE transa,
                  const CBLAS_TRANSPOSE transb, const int n, const int k, const float alpha, const float* a,
                  const int lda, const float* b, const int ldb, const float beta, float* c, const int ldc) {
  gemmt<float>(&orb_blas_sgemmt, "cblas_sgemmt", layout, uplo, transa, transb, n, k, alpha, a, lda, b, ldb, beta,
               c, ldc);
}
void cblas_dgemmt(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE transa,
                  const CBLAS_TRANSPOSE transb, const int n, const int k, const double alpha, const double* a,
                  const int lda, const double* b, const int ldb, const double beta, double* c, const int ldc) {
  gemmt<double>(&orb_blas_dgemmt, "cblas_dgemmt", layout, uplo, transa, transb, n, k, alpha, a, lda, b, ldb, beta,
                c, ldc);
}
void cblas_cgemmt(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE transa,
                  const CBLAS_TRANSPOSE transb, const int n, const int k, const void* alpha, const void* a,
                  const int lda, const void* b, const int ldb, const void* beta, void* c, const int ldc) {
  gemmt<c8>(&orb_blas_cgemmt, "cblas_cgemmt", layout, uplo, transa, transb, n, k, alpha, a, lda, b, ldb, beta, c,
            ldc);
}
void cblas_zgemmt(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE transa,
                  const CBLAS_TRANSPOSE transb, const int n, const int k, const void* alpha, const void* a,
                  const int lda, const void* b, const int ldb, const void* beta, void* c, const int ldc) {
  gemmt<c16>(&orb_blas_zgemmt, "cblas_zgemmt", layout, uplo, transa, transb, n, k, alpha, a, lda, b, ldb, beta, c,
             ldc);
}

}  // extern "C"
