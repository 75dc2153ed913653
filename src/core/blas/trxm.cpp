// Public TRSM, TRMM and packed TRMM names (orb_blas_dtrsm, ...), their
// Fortran names (dtrsm_, ...) and the CBLAS forms.
//
// orb_blas_?trsm and orb_blas_?trmm check their arguments as the reference
// routines do, in their order, report the first illegal one through
// orb_serv_xerbla and return without touching B. orb_blas_?ptrmm takes the
// arguments of ?trmm with A packed by columns as ?tpmv takes it and no lda,
// and checks them the same way (ldb is its tenth argument).
//
// A large call runs on the core's OpenMP team: B is cut into blocks of
// columns for side "L" and of rows for side "R", whose results do not
// depend on each other, and each thread runs the kernel's entry on its
// block. The kernel's paths and blocking depend on the order of the
// triangle alone, which every block shares, and each element of B is
// computed by the same operations whatever block it is in, so the result
// is the same to the bit for any number of threads.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>

#ifdef ORB_HAVE_OPENMP
#include <omp.h>
#endif

#include "core/blas/cblas_state.hpp"
#include "core/blas/reports.hpp"
#include "core/dispatch.hpp"
#include "orb/cblas.h"
#include "orb/orb_blas.h"
#include "orb/orb_service.h"

namespace orb::core {
namespace {

inline char up(char c) { return char(c & ~32); }
inline int max1(int v) { return v > 1 ? v : 1; }

// 0 when legal, else the position the reference routine reports. ldb_pos
// is 11 for ?trsm and ?trmm, 10 for ?ptrmm (lda_pos 0: no lda).
int trx_check(char side, char uplo, char transa, char diag, int m, int n, int lda, int ldb, int lda_pos,
              int ldb_pos) {
  const char s = up(side), u = up(uplo), t = up(transa), d = up(diag);
  const int nrowa = s == 'L' ? m : n;
  if (s != 'L' && s != 'R') return 1;
  if (u != 'U' && u != 'L') return 2;
  if (t != 'N' && t != 'T' && t != 'C') return 3;
  if (d != 'U' && d != 'N') return 4;
  if (m < 0) return 5;
  if (n < 0) return 6;
  if (lda_pos && lda < max1(nrowa)) return lda_pos;
  if (ldb < max1(m)) return ldb_pos;
  return 0;
}


using reports::report;
using reports::verbose_on;

// One verbose line, as the level-2 names print it: the routine, its
// characters and sizes by value, arrays and scalars by address, the time.
void verbose(const char* pub, double t0, const char* side, const char* uplo, const char* transa, const char* diag,
             int m, int n, const void* alpha, const void* a, const int* lda, const void* b, int ldb) {
  std::string text;
  for (const char* p = pub; *p; ++p) text += char(std::toupper(static_cast<unsigned char>(*p)));
  char buf[256];
  if (lda)
    std::snprintf(buf, sizeof buf, "(%c,%c,%c,%c,%d,%d,%p,%p,%d,%p,%d)", *side, *uplo, *transa, *diag, m, n, alpha,
                  a, *lda, b, ldb);
  else
    std::snprintf(buf, sizeof buf, "(%c,%c,%c,%c,%d,%d,%p,%p,%p,%d)", *side, *uplo, *transa, *diag, m, n, alpha, a,
                  b, ldb);
  text += buf;
  orb_serv_print_verbose_info(0, text.c_str(), orb_serv_dsecnd() - t0);
}

template <class T> using trx_fn = void (*)(const char*, const char*, const char*, const char*, const int*,
                                           const int*, const T*, const T*, const int*, T*, const int*);

// Below this many multiply-adds a call stays on one thread.
constexpr double kThreadedWork = 128.0 * 128.0 * 128.0;
// Row blocks (side "R") start on multiples of this, so no block starts
// inside a register tile of any type.
constexpr int kRowAlign = 16;

template <class T>
void run(trx_fn<T> kernel, const char* side, const char* uplo, const char* transa, const char* diag, int m, int n,
         const T* alpha, const T* a, int lda, T* b, int ldb) {
  const bool right = up(*side) == 'R';
  const int k = right ? n : m;
  int threads = 1;
  if (0.5 * double(k) * k * (right ? m : n) >= kThreadedWork) {
    threads = orb_get_max_threads();
#ifdef ORB_HAVE_OPENMP
    if (omp_in_parallel()) threads = 1;
#else
    threads = 1;
#endif
  }
  // Left: blocks of columns of B; right: blocks of rows.
  const int total = right ? m : n;
  int step = (total + threads - 1) / std::max(threads, 1);
  if (right && threads > 1) step = (step + kRowAlign - 1) / kRowAlign * kRowAlign;
  const int blocks = step > 0 ? (total + step - 1) / step : 1;
  if (threads < 2 || blocks < 2) {
    kernel(side, uplo, transa, diag, &m, &n, alpha, a, &lda, b, &ldb);
    return;
  }
  auto block = [&](int id) {
    const int first = id * step;
    const int len = std::min(step, total - first);
    if (len < 1) return;
    if (right) kernel(side, uplo, transa, diag, &len, &n, alpha, a, &lda, b + first, &ldb);
    else kernel(side, uplo, transa, diag, &m, &len, alpha, a, &lda, b + std::ptrdiff_t(first) * ldb, &ldb);
  };
#ifdef ORB_HAVE_OPENMP
#pragma omp parallel for num_threads(blocks) schedule(static, 1)
  for (int id = 0; id < blocks; ++id) block(id);
#else
  for (int id = 0; id < blocks; ++id) block(id);
#endif
}

template <class T>
void public_trx(const char* pub, trx_fn<T> kernel, const char* side, const char* uplo, const char* transa,
                const char* diag, const int* m, const int* n, const T* alpha, const T* a, const int* lda, T* b,
                const int* ldb) {
  const int info = trx_check(*side, *uplo, *transa, *diag, *m, *n, *lda, *ldb, 9, 11);
  if (info != 0) {
    report(pub, info);
    return;
  }
  if (*m == 0 || *n == 0) return;
  if (verbose_on()) {
    const double t0 = orb_serv_dsecnd();
    run<T>(kernel, side, uplo, transa, diag, *m, *n, alpha, a, *lda, b, *ldb);
    verbose(pub, t0, side, uplo, transa, diag, *m, *n, alpha, a, lda, b, *ldb);
    return;
  }
  run<T>(kernel, side, uplo, transa, diag, *m, *n, alpha, a, *lda, b, *ldb);
}

template <class T>
void public_ptrmm(const char* pub,
                  void (*kernel)(const char*, const char*, const char*, const char*, const int*, const int*,
                                 const T*, const T*, T*, const int*),
                  const char* side, const char* uplo, const char* transa, const char* diag, const int* m,
                  const int* n, const T* alpha, const T* ap, T* b, const int* ldb) {
  const int info = trx_check(*side, *uplo, *transa, *diag, *m, *n, 0, *ldb, 0, 10);
  if (info != 0) {
    report(pub, info);
    return;
  }
  if (*m == 0 || *n == 0) return;
  const double t0 = verbose_on() ? orb_serv_dsecnd() : 0.0;
  kernel(side, uplo, transa, diag, m, n, alpha, ap, b, ldb);
  if (verbose_on()) verbose(pub, t0, side, uplo, transa, diag, *m, *n, alpha, ap, nullptr, b, *ldb);
}

// ---- CBLAS ----------------------------------------------------------------------

using call_scope = orb::core::cblas_call_scope;

// A row-major B is the column-major B', so the call becomes the
// transposed one: the side and the triangle flip, m and n swap, the
// operator stays (op(A)' on the stored A' is op of that storage). The
// enumerations are reported at their own positions, the rest at the
// position of the column-major call plus one.
template <class T>
void cblas_trx(const char* rout, void (*f)(const char*, const char*, const char*, const char*, const int*,
                                           const int*, const T*, const T*, const int*, T*, const int*),
               int layout, int side, int uplo, int transa, int diag, int m, int n, const T* alpha, const T* a,
               int lda, T* b, int ldb) {
  const bool row = layout == CblasRowMajor;
  call_scope scope(row);
  if (layout != CblasColMajor && layout != CblasRowMajor) {
    cblas_xerbla(1, rout, "Illegal layout setting, %d\n", layout);
    return;
  }
  char s, u, t, d;
  if (side == CblasLeft) s = row ? 'R' : 'L';
  else if (side == CblasRight) s = row ? 'L' : 'R';
  else {
    cblas_xerbla(2, rout, "Illegal Side setting, %d\n", side);
    return;
  }
  if (uplo == CblasUpper) u = row ? 'L' : 'U';
  else if (uplo == CblasLower) u = row ? 'U' : 'L';
  else {
    cblas_xerbla(3, rout, "Illegal Uplo setting, %d\n", uplo);
    return;
  }
  if (transa == CblasNoTrans) t = 'N';
  else if (transa == CblasTrans) t = 'T';
  else if (transa == CblasConjTrans) t = 'C';
  else {
    cblas_xerbla(4, rout, "Illegal Trans setting, %d\n", transa);
    return;
  }
  if (diag == CblasUnit) d = 'U';
  else if (diag == CblasNonUnit) d = 'N';
  else {
    cblas_xerbla(5, rout, "Illegal Diag setting, %d\n", diag);
    return;
  }
  const int cm = row ? n : m, cn = row ? m : n;
  if (const int info = trx_check(s, u, t, d, cm, cn, lda, ldb, 9, 11)) {
    cblas_xerbla(info + 1, rout, "");
    return;
  }
  f(&s, &u, &t, &d, &cm, &cn, alpha, a, &lda, b, &ldb);
}

}  // namespace
}  // namespace orb::core

using orb::core::cblas_trx;
using orb::core::kernels;
using orb::core::public_ptrmm;
using orb::core::public_trx;

#define ORB_TRX_PUBLIC(t, T)                                                                                  \
  extern "C" void orb_blas_##t##trsm(const char* side, const char* uplo, const char* transa, const char* diag, \
                                     const int* m, const int* n, const T* alpha, const T* a, const int* lda,   \
                                     T* b, const int* ldb) {                                                   \
    public_trx<T>(#t "trsm", kernels().x##t##trsm, side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);    \
  }                                                                                                            \
  extern "C" void orb_blas_##t##trmm(const char* side, const char* uplo, const char* transa, const char* diag, \
                                     const int* m, const int* n, const T* alpha, const T* a, const int* lda,   \
                                     T* b, const int* ldb) {                                                   \
    public_trx<T>(#t "trmm", kernels().x##t##trmm, side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);    \
  }                                                                                                            \
  extern "C" __attribute__((visibility("default"))) void t##trsm_(                                            \
      const char* side, const char* uplo, const char* transa, const char* diag, const int* m, const int* n,    \
      const T* alpha, const T* a, const int* lda, T* b, const int* ldb) {                                      \
    orb_blas_##t##trsm(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);                                 \
  }                                                                                                            \
  extern "C" __attribute__((visibility("default"))) void t##trmm_(                                            \
      const char* side, const char* uplo, const char* transa, const char* diag, const int* m, const int* n,    \
      const T* alpha, const T* a, const int* lda, T* b, const int* ldb) {                                      \
    orb_blas_##t##trmm(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);                                 \
  }
ORB_TRX_PUBLIC(s, float)
ORB_TRX_PUBLIC(d, double)
ORB_TRX_PUBLIC(c, orb_complex8)
ORB_TRX_PUBLIC(z, orb_complex16)
#undef ORB_TRX_PUBLIC

#define ORB_PTRMM_PUBLIC(t, T)                                                                                 \
  extern "C" void orb_blas_##t##ptrmm(const char* side, const char* uplo, const char* transa,                 \
                                      const char* diag, const int* m, const int* n, const T* alpha,            \
                                      const T* ap, T* b, const int* ldb) {                                     \
    public_ptrmm<T>(#t "ptrmm", kernels().x##t##ptrmm, side, uplo, transa, diag, m, n, alpha, ap, b, ldb);     \
  }                                                                                                            \
  extern "C" __attribute__((visibility("default"))) void t##ptrmm_(                                           \
      const char* side, const char* uplo, const char* transa, const char* diag, const int* m, const int* n,    \
      const T* alpha, const T* ap, T* b, const int* ldb) {                                                     \
    orb_blas_##t##ptrmm(side, uplo, transa, diag, m, n, alpha, ap, b, ldb);                                    \
  }
ORB_PTRMM_PUBLIC(s, float)
ORB_PTRMM_PUBLIC(d, double)
#undef ORB_PTRMM_PUBLIC

#define ORB_CBLAS_TRX(t, op, T, S, P, CP, conv)                                                              \
  extern "C" void cblas_##t##op(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo,     \
                                const CBLAS_TRANSPOSE transa, const CBLAS_DIAG diag, const int m, const int n, \
                                S alpha, CP a, const int lda, P b, const int ldb) {                          \
    cblas_trx<T>("cblas_" #t #op, &orb_blas_##t##op, layout, side, uplo, transa, diag, m, n, conv(alpha),     \
                 static_cast<const T*>(a), lda, static_cast<T*>(b), ldb);                                    \
  }
#define ORB_ADDR(x) &x
#define ORB_CAST8(x) static_cast<const orb_complex8*>(x)
#define ORB_CAST16(x) static_cast<const orb_complex16*>(x)
ORB_CBLAS_TRX(s, trsm, float, const float, float*, const float*, ORB_ADDR)
ORB_CBLAS_TRX(s, trmm, float, const float, float*, const float*, ORB_ADDR)
ORB_CBLAS_TRX(d, trsm, double, const double, double*, const double*, ORB_ADDR)
ORB_CBLAS_TRX(d, trmm, double, const double, double*, const double*, ORB_ADDR)
ORB_CBLAS_TRX(c, trsm, orb_complex8, const void*, void*, const void*, ORB_CAST8)
ORB_CBLAS_TRX(c, trmm, orb_complex8, const void*, void*, const void*, ORB_CAST8)
ORB_CBLAS_TRX(z, trsm, orb_complex16, const void*, void*, const void*, ORB_CAST16)
ORB_CBLAS_TRX(z, trmm, orb_complex16, const void*, void*, const void*, ORB_CAST16)
#undef ORB_ADDR
#undef ORB_CAST8
#undef ORB_CAST16
#undef ORB_CBLAS_TRX
