// Public level-2 and sparse-vector names (orb_blas_dgemv, ...).
//
// Each checks its arguments as the reference routines do, in their order,
// and reports the first illegal one through orb_serv_xerbla with the
// routine's name in capitals; then it forwards to the kernel of the loaded
// library. The triangular product and the symmetric rank updates of large
// problems run on the core's threads: each thread takes a share through the
// _in_thread kernels, with results as the sequential kernels define them
// (the rank updates bit for bit; the product with each row summed by GEMV).
// With ORB_CBWR asking for reproducible results, the product stays on one
// thread. With ORB_VERBOSE on, each call prints one line with its arguments
// and its time.
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/dispatch.hpp"
#include "core/blas/fortran_forms.hpp"
#include "core/blas/level2_checks.hpp"
#include "core/blas/reports.hpp"
#include "orb/orb_blas.h"
#include "orb/orb_service.h"

namespace orb::core {
namespace {

// ---- Reports ------------------------------------------------------------------

using reports::report;
using reports::verbose_line;
using reports::verbose_on;


// ---- Checks, one per public name, with its parameters --------------------------

using namespace orb::core;
namespace l2check = orb::core::l2check;

#define ORB_NO_CHECK(pub) \
  template <class... A>   \
  int check_##pub(A...) { \
    return 0;             \
  }

static int check_sgemv(const char* trans, const int* m, const int* n, const float*, const float*, const int* lda, const float*, const int* incx, const float*, float*, const int* incy) {
  return l2check::gemv(*trans, *m, *n, *lda, *incx, *incy);
}
static int check_dgemv(const char* trans, const int* m, const int* n, const double*, const double*, const int* lda, const double*, const int* incx, const double*, double*, const int* incy) {
  return l2check::gemv(*trans, *m, *n, *lda, *incx, *incy);
}
static int check_cgemv(const char* trans, const int* m, const int* n, const orb_complex8*, const orb_complex8*, const int* lda, const orb_complex8*, const int* incx, const orb_complex8*, orb_complex8*, const int* incy) {
  return l2check::gemv(*trans, *m, *n, *lda, *incx, *incy);
}
static int check_zgemv(const char* trans, const int* m, const int* n, const orb_complex16*, const orb_complex16*, const int* lda, const orb_complex16*, const int* incx, const orb_complex16*, orb_complex16*, const int* incy) {
  return l2check::gemv(*trans, *m, *n, *lda, *incx, *incy);
}
static int check_scgemv(const char* trans, const int* m, const int* n, const orb_complex8*, const float*, const int* lda, const orb_complex8*, const int* incx, const orb_complex8*, orb_complex8*, const int* incy) {
  return l2check::gemv(*trans, *m, *n, *lda, *incx, *incy);
}
static int check_dzgemv(const char* trans, const int* m, const int* n, const orb_complex16*, const double*, const int* lda, const orb_complex16*, const int* incx, const orb_complex16*, orb_complex16*, const int* incy) {
  return l2check::gemv(*trans, *m, *n, *lda, *incx, *incy);
}
static int check_sgem2vu(const int* m, const int* n, const float*, const float*, const int* lda, const float*, const int* incx1, const float*, const int* incx2, const float*, float*, const int* incy1, float*, const int* incy2) {
  return l2check::gem2v(*m, *n, *lda, *incx1, *incx2, *incy1, *incy2);
}
static int check_dgem2vu(const int* m, const int* n, const double*, const double*, const int* lda, const double*, const int* incx1, const double*, const int* incx2, const double*, double*, const int* incy1, double*, const int* incy2) {
  return l2check::gem2v(*m, *n, *lda, *incx1, *incx2, *incy1, *incy2);
}
static int check_cgem2vc(const int* m, const int* n, const orb_complex8*, const orb_complex8*, const int* lda, const orb_complex8*, const int* incx1, const orb_complex8*, const int* incx2, const orb_complex8*, orb_complex8*, const int* incy1, orb_complex8*, const int* incy2) {
  return l2check::gem2v(*m, *n, *lda, *incx1, *incx2, *incy1, *incy2);
}
static int check_zgem2vc(const int* m, const int* n, const orb_complex16*, const orb_complex16*, const int* lda, const orb_complex16*, const int* incx1, const orb_complex16*, const int* incx2, const orb_complex16*, orb_complex16*, const int* incy1, orb_complex16*, const int* incy2) {
  return l2check::gem2v(*m, *n, *lda, *incx1, *incx2, *incy1, *incy2);
}
static int check_sger(const int* m, const int* n, const float*, const float*, const int* incx, const float*, const int* incy, float*, const int* lda) {
  return l2check::ger(*m, *n, *incx, *incy, *lda);
}
static int check_dger(const int* m, const int* n, const double*, const double*, const int* incx, const double*, const int* incy, double*, const int* lda) {
  return l2check::ger(*m, *n, *incx, *incy, *lda);
}
static int check_cgerc(const int* m, const int* n, const orb_complex8*, const orb_complex8*, const int* incx, const orb_complex8*, const int* incy, orb_complex8*, const int* lda) {
  return l2check::ger(*m, *n, *incx, *incy, *lda);
}
static int check_cgeru(const int* m, const int* n, const orb_complex8*, const orb_complex8*, const int* incx, const orb_complex8*, const int* incy, orb_complex8*, const int* lda) {
  return l2check::ger(*m, *n, *incx, *incy, *lda);
}
static int check_zgerc(const int* m, const int* n, const orb_complex16*, const orb_complex16*, const int* incx, const orb_complex16*, const int* incy, orb_complex16*, const int* lda) {
  return l2check::ger(*m, *n, *incx, *incy, *lda);
}
static int check_zgeru(const int* m, const int* n, const orb_complex16*, const orb_complex16*, const int* incx, const orb_complex16*, const int* incy, orb_complex16*, const int* lda) {
  return l2check::ger(*m, *n, *incx, *incy, *lda);
}
static int check_ssyr(const char* uplo, const int* n, const float*, const float*, const int* incx, float*, const int* lda) {
  return l2check::syr(*uplo, *n, *incx, *lda);
}
static int check_ssyr2(const char* uplo, const int* n, const float*, const float*, const int* incx, const float*, const int* incy, float*, const int* lda) {
  return l2check::syr2(*uplo, *n, *incx, *incy, *lda);
}
static int check_dsyr(const char* uplo, const int* n, const double*, const double*, const int* incx, double*, const int* lda) {
  return l2check::syr(*uplo, *n, *incx, *lda);
}
static int check_dsyr2(const char* uplo, const int* n, const double*, const double*, const int* incx, const double*, const int* incy, double*, const int* lda) {
  return l2check::syr2(*uplo, *n, *incx, *incy, *lda);
}
static int check_cher(const char* uplo, const int* n, const float*, const orb_complex8*, const int* incx, orb_complex8*, const int* lda) {
  return l2check::syr(*uplo, *n, *incx, *lda);
}
static int check_cher2(const char* uplo, const int* n, const orb_complex8*, const orb_complex8*, const int* incx, const orb_complex8*, const int* incy, orb_complex8*, const int* lda) {
  return l2check::syr2(*uplo, *n, *incx, *incy, *lda);
}
static int check_zher(const char* uplo, const int* n, const double*, const orb_complex16*, const int* incx, orb_complex16*, const int* lda) {
  return l2check::syr(*uplo, *n, *incx, *lda);
}
static int check_zher2(const char* uplo, const int* n, const orb_complex16*, const orb_complex16*, const int* incx, const orb_complex16*, const int* incy, orb_complex16*, const int* lda) {
  return l2check::syr2(*uplo, *n, *incx, *incy, *lda);
}
static int check_ssymv(const char* uplo, const int* n, const float*, const float*, const int* lda, const float*, const int* incx, const float*, float*, const int* incy) {
  return l2check::symv(*uplo, *n, *lda, *incx, *incy);
}
static int check_dsymv(const char* uplo, const int* n, const double*, const double*, const int* lda, const double*, const int* incx, const double*, double*, const int* incy) {
  return l2check::symv(*uplo, *n, *lda, *incx, *incy);
}
static int check_chemv(const char* uplo, const int* n, const orb_complex8*, const orb_complex8*, const int* lda, const orb_complex8*, const int* incx, const orb_complex8*, orb_complex8*, const int* incy) {
  return l2check::symv(*uplo, *n, *lda, *incx, *incy);
}
static int check_zhemv(const char* uplo, const int* n, const orb_complex16*, const orb_complex16*, const int* lda, const orb_complex16*, const int* incx, const orb_complex16*, orb_complex16*, const int* incy) {
  return l2check::symv(*uplo, *n, *lda, *incx, *incy);
}
static int check_strsv(const char* uplo, const char* trans, const char* diag, const int* n, const float*, const int* lda, float*, const int* incx) {
  return l2check::trmv(*uplo, *trans, *diag, *n, *lda, *incx);
}
static int check_dtrsv(const char* uplo, const char* trans, const char* diag, const int* n, const double*, const int* lda, double*, const int* incx) {
  return l2check::trmv(*uplo, *trans, *diag, *n, *lda, *incx);
}
static int check_ctrsv(const char* uplo, const char* trans, const char* diag, const int* n, const orb_complex8*, const int* lda, orb_complex8*, const int* incx) {
  return l2check::trmv(*uplo, *trans, *diag, *n, *lda, *incx);
}
static int check_ztrsv(const char* uplo, const char* trans, const char* diag, const int* n, const orb_complex16*, const int* lda, orb_complex16*, const int* incx) {
  return l2check::trmv(*uplo, *trans, *diag, *n, *lda, *incx);
}
static int check_strmv(const char* uplo, const char* trans, const char* diag, const int* n, const float*, const int* lda, float*, const int* incx) {
  return l2check::trmv(*uplo, *trans, *diag, *n, *lda, *incx);
}
static int check_dtrmv(const char* uplo, const char* trans, const char* diag, const int* n, const double*, const int* lda, double*, const int* incx) {
  return l2check::trmv(*uplo, *trans, *diag, *n, *lda, *incx);
}
static int check_ctrmv(const char* uplo, const char* trans, const char* diag, const int* n, const orb_complex8*, const int* lda, orb_complex8*, const int* incx) {
  return l2check::trmv(*uplo, *trans, *diag, *n, *lda, *incx);
}
static int check_ztrmv(const char* uplo, const char* trans, const char* diag, const int* n, const orb_complex16*, const int* lda, orb_complex16*, const int* incx) {
  return l2check::trmv(*uplo, *trans, *diag, *n, *lda, *incx);
}
static int check_sgbmv(const char* trans, const int* m, const int* n, const int* kl, const int* ku, const float*, const float*, const int* lda, const float*, const int* incx, const float*, float*, const int* incy) {
  return l2check::gbmv(*trans, *m, *n, *kl, *ku, *lda, *incx, *incy);
}
static int check_dgbmv(const char* trans, const int* m, const int* n, const int* kl, const int* ku, const double*, const double*, const int* lda, const double*, const int* incx, const double*, double*, const int* incy) {
  return l2check::gbmv(*trans, *m, *n, *kl, *ku, *lda, *incx, *incy);
}
static int check_cgbmv(const char* trans, const int* m, const int* n, const int* kl, const int* ku, const orb_complex8*, const orb_complex8*, const int* lda, const orb_complex8*, const int* incx, const orb_complex8*, orb_complex8*, const int* incy) {
  return l2check::gbmv(*trans, *m, *n, *kl, *ku, *lda, *incx, *incy);
}
static int check_zgbmv(const char* trans, const int* m, const int* n, const int* kl, const int* ku, const orb_complex16*, const orb_complex16*, const int* lda, const orb_complex16*, const int* incx, const orb_complex16*, orb_complex16*, const int* incy) {
  return l2check::gbmv(*trans, *m, *n, *kl, *ku, *lda, *incx, *incy);
}
static int check_ssbmv(const char* uplo, const int* n, const int* k, const float*, const float*, const int* lda, const float*, const int* incx, const float*, float*, const int* incy) {
  return l2check::sbmv(*uplo, *n, *k, *lda, *incx, *incy);
}
static int check_dsbmv(const char* uplo, const int* n, const int* k, const double*, const double*, const int* lda, const double*, const int* incx, const double*, double*, const int* incy) {
  return l2check::sbmv(*uplo, *n, *k, *lda, *incx, *incy);
}
static int check_chbmv(const char* uplo, const int* n, const int* k, const orb_complex8*, const orb_complex8*, const int* lda, const orb_complex8*, const int* incx, const orb_complex8*, orb_complex8*, const int* incy) {
  return l2check::sbmv(*uplo, *n, *k, *lda, *incx, *incy);
}
static int check_zhbmv(const char* uplo, const int* n, const int* k, const orb_complex16*, const orb_complex16*, const int* lda, const orb_complex16*, const int* incx, const orb_complex16*, orb_complex16*, const int* incy) {
  return l2check::sbmv(*uplo, *n, *k, *lda, *incx, *incy);
}
static int check_stbmv(const char* uplo, const char* trans, const char* diag, const int* n, const int* k, const float*, const int* lda, float*, const int* incx) {
  return l2check::tbmv(*uplo, *trans, *diag, *n, *k, *lda, *incx);
}
static int check_dtbmv(const char* uplo, const char* trans, const char* diag, const int* n, const int* k, const double*, const int* lda, double*, const int* incx) {
  return l2check::tbmv(*uplo, *trans, *diag, *n, *k, *lda, *incx);
}
static int check_ctbmv(const char* uplo, const char* trans, const char* diag, const int* n, const int* k, const orb_complex8*, const int* lda, orb_complex8*, const int* incx) {
  return l2check::tbmv(*uplo, *trans, *diag, *n, *k, *lda, *incx);
}
static int check_ztbmv(const char* uplo, const char* trans, const char* diag, const int* n, const int* k, const orb_complex16*, const int* lda, orb_complex16*, const int* incx) {
  return l2check::tbmv(*uplo, *trans, *diag, *n, *k, *lda, *incx);
}
static int check_stbsv(const char* uplo, const char* trans, const char* diag, const int* n, const int* k, const float*, const int* lda, float*, const int* incx) {
  return l2check::tbmv(*uplo, *trans, *diag, *n, *k, *lda, *incx);
}
static int check_dtbsv(const char* uplo, const char* trans, const char* diag, const int* n, const int* k, const double*, const int* lda, double*, const int* incx) {
  return l2check::tbmv(*uplo, *trans, *diag, *n, *k, *lda, *incx);
}
static int check_ctbsv(const char* uplo, const char* trans, const char* diag, const int* n, const int* k, const orb_complex8*, const int* lda, orb_complex8*, const int* incx) {
  return l2check::tbmv(*uplo, *trans, *diag, *n, *k, *lda, *incx);
}
static int check_ztbsv(const char* uplo, const char* trans, const char* diag, const int* n, const int* k, const orb_complex16*, const int* lda, orb_complex16*, const int* incx) {
  return l2check::tbmv(*uplo, *trans, *diag, *n, *k, *lda, *incx);
}
static int check_sspmv(const char* uplo, const int* n, const float*, const float*, const float*, const int* incx, const float*, float*, const int* incy) {
  return l2check::spmv(*uplo, *n, *incx, *incy);
}
static int check_dspmv(const char* uplo, const int* n, const double*, const double*, const double*, const int* incx, const double*, double*, const int* incy) {
  return l2check::spmv(*uplo, *n, *incx, *incy);
}
static int check_chpmv(const char* uplo, const int* n, const orb_complex8*, const orb_complex8*, const orb_complex8*, const int* incx, const orb_complex8*, orb_complex8*, const int* incy) {
  return l2check::spmv(*uplo, *n, *incx, *incy);
}
static int check_zhpmv(const char* uplo, const int* n, const orb_complex16*, const orb_complex16*, const orb_complex16*, const int* incx, const orb_complex16*, orb_complex16*, const int* incy) {
  return l2check::spmv(*uplo, *n, *incx, *incy);
}
static int check_stpmv(const char* uplo, const char* trans, const char* diag, const int* n, const float*, float*, const int* incx) {
  return l2check::tpmv(*uplo, *trans, *diag, *n, *incx);
}
static int check_dtpmv(const char* uplo, const char* trans, const char* diag, const int* n, const double*, double*, const int* incx) {
  return l2check::tpmv(*uplo, *trans, *diag, *n, *incx);
}
static int check_ctpmv(const char* uplo, const char* trans, const char* diag, const int* n, const orb_complex8*, orb_complex8*, const int* incx) {
  return l2check::tpmv(*uplo, *trans, *diag, *n, *incx);
}
static int check_ztpmv(const char* uplo, const char* trans, const char* diag, const int* n, const orb_complex16*, orb_complex16*, const int* incx) {
  return l2check::tpmv(*uplo, *trans, *diag, *n, *incx);
}
static int check_stpsv(const char* uplo, const char* trans, const char* diag, const int* n, const float*, float*, const int* incx) {
  return l2check::tpmv(*uplo, *trans, *diag, *n, *incx);
}
static int check_dtpsv(const char* uplo, const char* trans, const char* diag, const int* n, const double*, double*, const int* incx) {
  return l2check::tpmv(*uplo, *trans, *diag, *n, *incx);
}
static int check_ctpsv(const char* uplo, const char* trans, const char* diag, const int* n, const orb_complex8*, orb_complex8*, const int* incx) {
  return l2check::tpmv(*uplo, *trans, *diag, *n, *incx);
}
static int check_ztpsv(const char* uplo, const char* trans, const char* diag, const int* n, const orb_complex16*, orb_complex16*, const int* incx) {
  return l2check::tpmv(*uplo, *trans, *diag, *n, *incx);
}
static int check_sspr(const char* uplo, const int* n, const float*, const float*, const int* incx, float*) {
  return l2check::spr(*uplo, *n, *incx);
}
static int check_dspr(const char* uplo, const int* n, const double*, const double*, const int* incx, double*) {
  return l2check::spr(*uplo, *n, *incx);
}
static int check_chpr(const char* uplo, const int* n, const float*, const orb_complex8*, const int* incx, orb_complex8*) {
  return l2check::spr(*uplo, *n, *incx);
}
static int check_zhpr(const char* uplo, const int* n, const double*, const orb_complex16*, const int* incx, orb_complex16*) {
  return l2check::spr(*uplo, *n, *incx);
}
static int check_sspr2(const char* uplo, const int* n, const float*, const float*, const int* incx, const float*, const int* incy, float*) {
  return l2check::spr2(*uplo, *n, *incx, *incy);
}
static int check_dspr2(const char* uplo, const int* n, const double*, const double*, const int* incx, const double*, const int* incy, double*) {
  return l2check::spr2(*uplo, *n, *incx, *incy);
}
static int check_chpr2(const char* uplo, const int* n, const orb_complex8*, const orb_complex8*, const int* incx, const orb_complex8*, const int* incy, orb_complex8*) {
  return l2check::spr2(*uplo, *n, *incx, *incy);
}
static int check_zhpr2(const char* uplo, const int* n, const orb_complex16*, const orb_complex16*, const int* incx, const orb_complex16*, const int* incy, orb_complex16*) {
  return l2check::spr2(*uplo, *n, *incx, *incy);
}
ORB_NO_CHECK(saxpyi)
ORB_NO_CHECK(daxpyi)
ORB_NO_CHECK(caxpyi)
ORB_NO_CHECK(zaxpyi)
ORB_NO_CHECK(sdoti)
ORB_NO_CHECK(ddoti)
ORB_NO_CHECK(cdotci)
ORB_NO_CHECK(cdotui)
ORB_NO_CHECK(zdotci)
ORB_NO_CHECK(zdotui)
ORB_NO_CHECK(sgthr)
ORB_NO_CHECK(dgthr)
ORB_NO_CHECK(cgthr)
ORB_NO_CHECK(zgthr)
ORB_NO_CHECK(sgthrz)
ORB_NO_CHECK(dgthrz)
ORB_NO_CHECK(cgthrz)
ORB_NO_CHECK(zgthrz)
ORB_NO_CHECK(ssctr)
ORB_NO_CHECK(dsctr)
ORB_NO_CHECK(csctr)
ORB_NO_CHECK(zsctr)
ORB_NO_CHECK(sroti)
ORB_NO_CHECK(droti)

#undef ORB_NO_CHECK

// ---- Threaded forms -------------------------------------------------------------

// Problems from this order on are shared among the threads.
constexpr int kTrmvThreadsFrom = 2048;
constexpr int kSyrThreadsFrom = 1024;

int team_size(int n, int from) {
  if (n < from) return 1;
  const int t = orb_get_max_threads();
  return t > 1 ? t : 1;
}

// Columns [first, last) of thread t among nt for a triangle of order n,
// balanced by the number of stored elements (upper: column j has j + 1).
void triangle_share(bool upper, int n, int t, int nt, int& first, int& last) {
  auto cut = [&](int k) {
    if (k <= 0) return 0;
    if (k >= nt) return n;
    // Upper: elements of columns [0, c) ~ c^2 / 2; lower mirrors it.
    const double f = double(k) / double(nt);
    const int c = upper ? int(double(n) * std::sqrt(f)) : n - int(double(n) * std::sqrt(1.0 - f));
    return c < 0 ? 0 : (c > n ? n : c);
  };
  first = cut(t);
  last = cut(t + 1);
}

template <class T>
struct syr_job {
  const char* uplo;
  const int* n;
  const T* alpha;
  const T* x;
  const int* incx;
  const T* y;  // null for syr
  const int* incy;
  T* a;
  const int* lda;
  void (*syr)(const char*, const int*, const T*, const T*, const int*, T*, const int*, const int*, const int*);
  void (*syr2)(const char*, const int*, const T*, const T*, const int*, const T*, const int*, T*, const int*,
               const int*, const int*);
};

template <class T>
void syr_part(int t, int nt, void* p) {
  auto* j = static_cast<syr_job<T>*>(p);
  int f, l;
  triangle_share(*j->uplo == 'U' || *j->uplo == 'u', *j->n, t, nt, f, l);
  if (f >= l) return;
  if (j->y) j->syr2(j->uplo, j->n, j->alpha, j->x, j->incx, j->y, j->incy, j->a, j->lda, &f, &l);
  else j->syr(j->uplo, j->n, j->alpha, j->x, j->incx, j->a, j->lda, &f, &l);
}

void threaded_xssyr(const char* uplo, const int* n, const float* alpha, const float* x, const int* incx, float* a,
                    const int* lda) {
  if (team_size(*n, kSyrThreadsFrom) == 1) return kernels().xssyr(uplo, n, alpha, x, incx, a, lda);
  syr_job<float> j{uplo, n, alpha, x, incx, nullptr, nullptr, a, lda, kernels().xssyr_in_thread, nullptr};
  orb_conv_do_parallel(&syr_part<float>, &j);
}
void threaded_xdsyr(const char* uplo, const int* n, const double* alpha, const double* x, const int* incx,
                    double* a, const int* lda) {
  if (team_size(*n, kSyrThreadsFrom) == 1) return kernels().xdsyr(uplo, n, alpha, x, incx, a, lda);
  syr_job<double> j{uplo, n, alpha, x, incx, nullptr, nullptr, a, lda, kernels().xdsyr_in_thread, nullptr};
  orb_conv_do_parallel(&syr_part<double>, &j);
}
void threaded_xssyr2(const char* uplo, const int* n, const float* alpha, const float* x, const int* incx,
                     const float* y, const int* incy, float* a, const int* lda) {
  if (team_size(*n, kSyrThreadsFrom) == 1) return kernels().xssyr2(uplo, n, alpha, x, incx, y, incy, a, lda);
  syr_job<float> j{uplo, n, alpha, x, incx, y, incy, a, lda, nullptr, kernels().xssyr2_in_thread};
  orb_conv_do_parallel(&syr_part<float>, &j);
}
void threaded_xdsyr2(const char* uplo, const int* n, const double* alpha, const double* x, const int* incx,
                     const double* y, const int* incy, double* a, const int* lda) {
  if (team_size(*n, kSyrThreadsFrom) == 1) return kernels().xdsyr2(uplo, n, alpha, x, incx, y, incy, a, lda);
  syr_job<double> j{uplo, n, alpha, x, incx, y, incy, a, lda, nullptr, kernels().xdsyr2_in_thread};
  orb_conv_do_parallel(&syr_part<double>, &j);
}

template <class T>
struct trmv_job {
  const char *uplo, *trans, *diag;
  const int* n;
  const T* a;
  const int* lda;
  T* x;
  const int* incx;
  const T* work;
  void (*part)(const char*, const char*, const char*, const int*, const T*, const int*, T*, const int*,
               const int*, const int*, const T*);
};

template <class T>
void trmv_part(int t, int nt, void* p) {
  auto* j = static_cast<trmv_job<T>*>(p);
  const int n = *j->n;
  const int f = int(long(n) * t / nt), l = int(long(n) * (t + 1) / nt);
  if (f < l) j->part(j->uplo, j->trans, j->diag, j->n, j->a, j->lda, j->x, j->incx, &f, &l, j->work);
}

// x is copied once; every thread then reads the copy and writes its rows.
template <class T>
bool trmv_threads(const char* uplo, const char* trans, const char* diag, const int* n, const T* a, const int* lda,
                  T* x, const int* incx,
                  void (*part)(const char*, const char*, const char*, const int*, const T*, const int*, T*,
                               const int*, const int*, const int*, const T*)) {
  if (team_size(*n, kTrmvThreadsFrom) == 1 || orb_serv_cbwr_get(1) != 1) return false;
  T* w = static_cast<T*>(orb_serv_allocate(sizeof(T) * std::size_t(*n), 64));
  if (!w) return false;
  const int inc = *incx;
  const T* xs = x + (inc < 0 ? std::ptrdiff_t(1 - *n) * inc : 0);
  for (int i = 0; i < *n; ++i) w[i] = xs[std::ptrdiff_t(i) * inc];
  trmv_job<T> j{uplo, trans, diag, n, a, lda, x, incx, w, part};
  orb_conv_do_parallel(&trmv_part<T>, &j);
  orb_serv_deallocate(w);
  return true;
}

#define ORB_TRMV_THREADED(t, T)                                                                          \
  void threaded_x##t##trmv(const char* uplo, const char* trans, const char* diag, const int* n, const T* a, \
                           const int* lda, T* x, const int* incx) {                                        \
    if (!trmv_threads(uplo, trans, diag, n, a, lda, x, incx, kernels().x##t##trmv_in_thread))              \
      kernels().x##t##trmv(uplo, trans, diag, n, a, lda, x, incx);                                         \
  }
ORB_TRMV_THREADED(s, float)
ORB_TRMV_THREADED(d, double)
ORB_TRMV_THREADED(c, orb_complex8)
ORB_TRMV_THREADED(z, orb_complex16)
#undef ORB_TRMV_THREADED

}  // namespace
}  // namespace orb::core

using namespace orb::core;

// Routines with a threaded form; the rest forward to their kernel directly.
#define ORB_L2_THREADED_strmv ~, threaded
#define ORB_L2_THREADED_dtrmv ~, threaded
#define ORB_L2_THREADED_ctrmv ~, threaded
#define ORB_L2_THREADED_ztrmv ~, threaded
#define ORB_L2_THREADED_ssyr ~, threaded
#define ORB_L2_THREADED_dsyr ~, threaded
#define ORB_L2_THREADED_ssyr2 ~, threaded
#define ORB_L2_THREADED_dsyr2 ~, threaded
#define ORB_L2_FORM(pub) ORB_FORTRAN_SECOND(ORB_L2_THREADED_##pub, plain, ~)
#define ORB_L2_plain(kernel, args) kernels().kernel args
#define ORB_L2_threaded(kernel, args) threaded_##kernel args
#define ORB_L2_CALL(pub, kernel, args) ORB_FORTRAN_CAT(ORB_L2_, ORB_L2_FORM(pub))(kernel, args)

#define ORB_KI(ret, kernel, params, args)
#define ORB_K(ret, kernel, pub, params, args)        \
  extern "C" ret orb_blas_##pub params {              \
    const int info = check_##pub args;                \
    if (info != 0) {                                  \
      report(#pub, info);                             \
      return ret();                                   \
    }                                                 \
    if (verbose_on()) {                               \
      verbose_line line(#pub);                        \
      line.format args;                               \
      return ORB_L2_CALL(pub, kernel, args);          \
    }                                                 \
    return ORB_L2_CALL(pub, kernel, args);            \
  }
#include "frame/kernels_level2.def"
#undef ORB_K
#undef ORB_KI
