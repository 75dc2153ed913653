/* The C interface to orb's BLAS (CBLAS): sizes, increments and real scalars
   by value, complex scalars and arrays by address (interleaved real and
   imaginary parts), results returned, complex results written through the
   last argument. The header stands alone, so that compiling with
   -I<prefix>/include/orb makes #include <cblas.h> work unchanged. */
#ifndef CBLAS_H
#define CBLAS_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Index results of the i?amax family are zero-based. */
#ifndef CBLAS_INDEX
#define CBLAS_INDEX size_t
#endif

typedef enum CBLAS_LAYOUT { CblasRowMajor = 101, CblasColMajor = 102 } CBLAS_LAYOUT;
typedef enum CBLAS_TRANSPOSE { CblasNoTrans = 111, CblasTrans = 112, CblasConjTrans = 113 } CBLAS_TRANSPOSE;
typedef enum CBLAS_UPLO { CblasUpper = 121, CblasLower = 122 } CBLAS_UPLO;
typedef enum CBLAS_DIAG { CblasNonUnit = 131, CblasUnit = 132 } CBLAS_DIAG;
typedef enum CBLAS_SIDE { CblasLeft = 141, CblasRight = 142 } CBLAS_SIDE;
/* The older name of the layout type. */
typedef CBLAS_LAYOUT CBLAS_ORDER;

/* Reports an illegal argument (number p, 1-based as the routine counts) of
   routine rout; form is a printf format for the rest. A program may define
   its own to take the reports. */
void cblas_xerbla(int p, const char* rout, const char* form, ...);

/* ---- Level 1 ---- */

float cblas_sdsdot(const int n, const float alpha, const float* x, const int incx, const float* y,
                   const int incy);
double cblas_dsdot(const int n, const float* x, const int incx, const float* y, const int incy);
float cblas_sdot(const int n, const float* x, const int incx, const float* y, const int incy);
double cblas_ddot(const int n, const double* x, const int incx, const double* y, const int incy);

void cblas_cdotu_sub(const int n, const void* x, const int incx, const void* y, const int incy, void* dotu);
void cblas_cdotc_sub(const int n, const void* x, const int incx, const void* y, const int incy, void* dotc);
void cblas_zdotu_sub(const int n, const void* x, const int incx, const void* y, const int incy, void* dotu);
void cblas_zdotc_sub(const int n, const void* x, const int incx, const void* y, const int incy, void* dotc);

float cblas_snrm2(const int n, const float* x, const int incx);
float cblas_sasum(const int n, const float* x, const int incx);
double cblas_dnrm2(const int n, const double* x, const int incx);
double cblas_dasum(const int n, const double* x, const int incx);
float cblas_scnrm2(const int n, const void* x, const int incx);
float cblas_scasum(const int n, const void* x, const int incx);
double cblas_dznrm2(const int n, const void* x, const int incx);
double cblas_dzasum(const int n, const void* x, const int incx);

CBLAS_INDEX cblas_isamax(const int n, const float* x, const int incx);
CBLAS_INDEX cblas_idamax(const int n, const double* x, const int incx);
CBLAS_INDEX cblas_icamax(const int n, const void* x, const int incx);
CBLAS_INDEX cblas_izamax(const int n, const void* x, const int incx);
CBLAS_INDEX cblas_isamin(const int n, const float* x, const int incx);
CBLAS_INDEX cblas_idamin(const int n, const double* x, const int incx);
CBLAS_INDEX cblas_icamin(const int n, const void* x, const int incx);
CBLAS_INDEX cblas_izamin(const int n, const void* x, const int incx);

void cblas_sswap(const int n, float* x, const int incx, float* y, const int incy);
void cblas_scopy(const int n, const float* x, const int incx, float* y, const int incy);
void cblas_saxpy(const int n, const float alpha, const float* x, const int incx, float* y, const int incy);
void cblas_dswap(const int n, double* x, const int incx, double* y, const int incy);
void cblas_dcopy(const int n, const double* x, const int incx, double* y, const int incy);
void cblas_daxpy(const int n, const double alpha, const double* x, const int incx, double* y, const int incy);
void cblas_cswap(const int n, void* x, const int incx, void* y, const int incy);
void cblas_ccopy(const int n, const void* x, const int incx, void* y, const int incy);
void cblas_caxpy(const int n, const void* alpha, const void* x, const int incx, void* y, const int incy);
void cblas_zswap(const int n, void* x, const int incx, void* y, const int incy);
void cblas_zcopy(const int n, const void* x, const int incx, void* y, const int incy);
void cblas_zaxpy(const int n, const void* alpha, const void* x, const int incx, void* y, const int incy);

/* y := alpha x + beta y */
void cblas_saxpby(const int n, const float alpha, const float* x, const int incx, const float beta, float* y,
                  const int incy);
void cblas_daxpby(const int n, const double alpha, const double* x, const int incx, const double beta,
                  double* y, const int incy);
void cblas_caxpby(const int n, const void* alpha, const void* x, const int incx, const void* beta, void* y,
                  const int incy);
void cblas_zaxpby(const int n, const void* alpha, const void* x, const int incx, const void* beta, void* y,
                  const int incy);

void cblas_srotg(float* a, float* b, float* c, float* s);
void cblas_srotmg(float* d1, float* d2, float* b1, const float b2, float* p);
void cblas_srot(const int n, float* x, const int incx, float* y, const int incy, const float c, const float s);
void cblas_srotm(const int n, float* x, const int incx, float* y, const int incy, const float* p);
void cblas_drotg(double* a, double* b, double* c, double* s);
void cblas_drotmg(double* d1, double* d2, double* b1, const double b2, double* p);
void cblas_drot(const int n, double* x, const int incx, double* y, const int incy, const double c,
                const double s);
void cblas_drotm(const int n, double* x, const int incx, double* y, const int incy, const double* p);
void cblas_crotg(void* a, void* b, float* c, void* s);
void cblas_zrotg(void* a, void* b, double* c, void* s);
/* Complex vectors rotated with a real cosine and a complex sine (crot,
   zrot) or a real sine (csrot, zdrot). */
void cblas_crot(const int n, void* x, const int incx, void* y, const int incy, const float c, const void* s);
void cblas_zrot(const int n, void* x, const int incx, void* y, const int incy, const double c, const void* s);
void cblas_csrot(const int n, void* x, const int incx, void* y, const int incy, const float c, const float s);
void cblas_zdrot(const int n, void* x, const int incx, void* y, const int incy, const double c,
                 const double s);

void cblas_sscal(const int n, const float alpha, float* x, const int incx);
void cblas_dscal(const int n, const double alpha, double* x, const int incx);
void cblas_cscal(const int n, const void* alpha, void* x, const int incx);
void cblas_zscal(const int n, const void* alpha, void* x, const int incx);
void cblas_csscal(const int n, const float alpha, void* x, const int incx);
void cblas_zdscal(const int n, const double alpha, void* x, const int incx);

/* |re| + |im| of one complex number. */
float cblas_scabs1(const void* c);
double cblas_dcabs1(const void* z);

/* ---- Level 2 ----
   Matrices column-major or row-major as the layout says; scalars of the
   complex routines by address. Triangular, symmetric and Hermitian
   routines read only the triangle uplo names. */

void cblas_sgemv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n,
                 const float alpha, const float* a, const int lda, const float* x, const int incx,
                 const float beta, float* y, const int incy);
void cblas_dgemv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n,
                 const double alpha, const double* a, const int lda, const double* x, const int incx,
                 const double beta, double* y, const int incy);
void cblas_cgemv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n,
                 const void* alpha, const void* a, const int lda, const void* x, const int incx,
                 const void* beta, void* y, const int incy);
void cblas_zgemv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n,
                 const void* alpha, const void* a, const int lda, const void* x, const int incx,
                 const void* beta, void* y, const int incy);
void cblas_scgemv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n,
                  const void* alpha, const float* a, const int lda, const void* x, const int incx,
                  const void* beta, void* y, const int incy);
void cblas_dzgemv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n,
                  const void* alpha, const double* a, const int lda, const void* x, const int incx,
                  const void* beta, void* y, const int incy);
void cblas_sgbmv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const int kl,
                 const int ku, const float alpha, const float* a, const int lda, const float* x,
                 const int incx, const float beta, float* y, const int incy);
void cblas_dgbmv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const int kl,
                 const int ku, const double alpha, const double* a, const int lda, const double* x,
                 const int incx, const double beta, double* y, const int incy);
void cblas_cgbmv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const int kl,
                 const int ku, const void* alpha, const void* a, const int lda, const void* x, const int incx,
                 const void* beta, void* y, const int incy);
void cblas_zgbmv(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE ta, const int m, const int n, const int kl,
                 const int ku, const void* alpha, const void* a, const int lda, const void* x, const int incx,
                 const void* beta, void* y, const int incy);
void cblas_ssymv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const float alpha,
                 const float* a, const int lda, const float* x, const int incx, const float beta, float* y,
                 const int incy);
void cblas_ssbmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const int k,
                 const float alpha, const float* a, const int lda, const float* x, const int incx,
                 const float beta, float* y, const int incy);
void cblas_sspmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const float alpha,
                 const float* ap, const float* x, const int incx, const float beta, float* y, const int incy);
void cblas_dsymv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const double alpha,
                 const double* a, const int lda, const double* x, const int incx, const double beta,
                 double* y, const int incy);
void cblas_dsbmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const int k,
                 const double alpha, const double* a, const int lda, const double* x, const int incx,
                 const double beta, double* y, const int incy);
void cblas_dspmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const double alpha,
                 const double* ap, const double* x, const int incx, const double beta, double* y,
                 const int incy);
void cblas_chemv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const void* alpha,
                 const void* a, const int lda, const void* x, const int incx, const void* beta, void* y,
                 const int incy);
void cblas_chbmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const int k,
                 const void* alpha, const void* a, const int lda, const void* x, const int incx,
                 const void* beta, void* y, const int incy);
void cblas_chpmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const void* alpha,
                 const void* ap, const void* x, const int incx, const void* beta, void* y, const int incy);
void cblas_zhemv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const void* alpha,
                 const void* a, const int lda, const void* x, const int incx, const void* beta, void* y,
                 const int incy);
void cblas_zhbmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const int k,
                 const void* alpha, const void* a, const int lda, const void* x, const int incx,
                 const void* beta, void* y, const int incy);
void cblas_zhpmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const void* alpha,
                 const void* ap, const void* x, const int incx, const void* beta, void* y, const int incy);
void cblas_strmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const float* a, const int lda, float* x, const int incx);
void cblas_strsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const float* a, const int lda, float* x, const int incx);
void cblas_stbmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const int k, const float* a, const int lda, float* x,
                 const int incx);
void cblas_stbsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const int k, const float* a, const int lda, float* x,
                 const int incx);
void cblas_stpmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const float* ap, float* x, const int incx);
void cblas_stpsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const float* ap, float* x, const int incx);
void cblas_dtrmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const double* a, const int lda, double* x,
                 const int incx);
void cblas_dtrsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const double* a, const int lda, double* x,
                 const int incx);
void cblas_dtbmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const int k, const double* a, const int lda, double* x,
                 const int incx);
void cblas_dtbsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const int k, const double* a, const int lda, double* x,
                 const int incx);
void cblas_dtpmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const double* ap, double* x, const int incx);
void cblas_dtpsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const double* ap, double* x, const int incx);
void cblas_ctrmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const void* a, const int lda, void* x, const int incx);
void cblas_ctrsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const void* a, const int lda, void* x, const int incx);
void cblas_ctbmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const int k, const void* a, const int lda, void* x,
                 const int incx);
void cblas_ctbsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const int k, const void* a, const int lda, void* x,
                 const int incx);
void cblas_ctpmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const void* ap, void* x, const int incx);
void cblas_ctpsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const void* ap, void* x, const int incx);
void cblas_ztrmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const void* a, const int lda, void* x, const int incx);
void cblas_ztrsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const void* a, const int lda, void* x, const int incx);
void cblas_ztbmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const int k, const void* a, const int lda, void* x,
                 const int incx);
void cblas_ztbsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const int k, const void* a, const int lda, void* x,
                 const int incx);
void cblas_ztpmv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const void* ap, void* x, const int incx);
void cblas_ztpsv(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE ta,
                 const CBLAS_DIAG diag, const int n, const void* ap, void* x, const int incx);
void cblas_sger(const CBLAS_LAYOUT layout, const int m, const int n, const float alpha, const float* x,
                const int incx, const float* y, const int incy, float* a, const int lda);
void cblas_dger(const CBLAS_LAYOUT layout, const int m, const int n, const double alpha, const double* x,
                const int incx, const double* y, const int incy, double* a, const int lda);
void cblas_cgeru(const CBLAS_LAYOUT layout, const int m, const int n, const void* alpha, const void* x,
                 const int incx, const void* y, const int incy, void* a, const int lda);
void cblas_cgerc(const CBLAS_LAYOUT layout, const int m, const int n, const void* alpha, const void* x,
                 const int incx, const void* y, const int incy, void* a, const int lda);
void cblas_zgeru(const CBLAS_LAYOUT layout, const int m, const int n, const void* alpha, const void* x,
                 const int incx, const void* y, const int incy, void* a, const int lda);
void cblas_zgerc(const CBLAS_LAYOUT layout, const int m, const int n, const void* alpha, const void* x,
                 const int incx, const void* y, const int incy, void* a, const int lda);
void cblas_ssyr(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const float alpha,
                const float* x, const int incx, float* a, const int lda);
void cblas_sspr(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const float alpha,
                const float* x, const int incx, float* ap);
void cblas_ssyr2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const float alpha,
                 const float* x, const int incx, const float* y, const int incy, float* a, const int lda);
void cblas_sspr2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const float alpha,
                 const float* x, const int incx, const float* y, const int incy, float* ap);
void cblas_dsyr(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const double alpha,
                const double* x, const int incx, double* a, const int lda);
void cblas_dspr(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const double alpha,
                const double* x, const int incx, double* ap);
void cblas_dsyr2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const double alpha,
                 const double* x, const int incx, const double* y, const int incy, double* a, const int lda);
void cblas_dspr2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const double alpha,
                 const double* x, const int incx, const double* y, const int incy, double* ap);
void cblas_cher(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const float alpha,
                const void* x, const int incx, void* a, const int lda);
void cblas_chpr(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const float alpha,
                const void* x, const int incx, void* ap);
void cblas_cher2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const void* alpha,
                 const void* x, const int incx, const void* y, const int incy, void* a, const int lda);
void cblas_chpr2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const void* alpha,
                 const void* x, const int incx, const void* y, const int incy, void* ap);
void cblas_zher(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const double alpha,
                const void* x, const int incx, void* a, const int lda);
void cblas_zhpr(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const double alpha,
                const void* x, const int incx, void* ap);
void cblas_zher2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const void* alpha,
                 const void* x, const int incx, const void* y, const int incy, void* a, const int lda);
void cblas_zhpr2(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const int n, const void* alpha,
                 const void* x, const int incx, const void* y, const int incy, void* ap);
void cblas_sgem2vu(const CBLAS_LAYOUT layout, const int m, const int n, const float alpha, const float* a,
                   const int lda, const float* x1, const int incx1, const float* x2, const int incx2,
                   const float beta, float* y1, const int incy1, float* y2, const int incy2);
void cblas_dgem2vu(const CBLAS_LAYOUT layout, const int m, const int n, const double alpha, const double* a,
                   const int lda, const double* x1, const int incx1, const double* x2, const int incx2,
                   const double beta, double* y1, const int incy1, double* y2, const int incy2);
void cblas_cgem2vc(const CBLAS_LAYOUT layout, const int m, const int n, const void* alpha, const void* a,
                   const int lda, const void* x1, const int incx1, const void* x2, const int incx2,
                   const void* beta, void* y1, const int incy1, void* y2, const int incy2);
void cblas_zgem2vc(const CBLAS_LAYOUT layout, const int m, const int n, const void* alpha, const void* a,
                   const int lda, const void* x1, const int incx1, const void* x2, const int incx2,
                   const void* beta, void* y1, const int incy1, void* y2, const int incy2);

/* ---- Sparse vectors: nz values of x with 1-based indices into y. */

void cblas_saxpyi(const int nz, const float alpha, const float* x, const int* indx, float* y);
void cblas_daxpyi(const int nz, const double alpha, const double* x, const int* indx, double* y);
void cblas_caxpyi(const int nz, const void* alpha, const void* x, const int* indx, void* y);
void cblas_zaxpyi(const int nz, const void* alpha, const void* x, const int* indx, void* y);
float cblas_sdoti(const int nz, const float* x, const int* indx, const float* y);
double cblas_ddoti(const int nz, const double* x, const int* indx, const double* y);
void cblas_cdotci_sub(const int nz, const void* x, const int* indx, const void* y, void* dotci);
void cblas_cdotui_sub(const int nz, const void* x, const int* indx, const void* y, void* dotui);
void cblas_zdotci_sub(const int nz, const void* x, const int* indx, const void* y, void* dotci);
void cblas_zdotui_sub(const int nz, const void* x, const int* indx, const void* y, void* dotui);
void cblas_sgthr(const int nz, const float* y, float* x, const int* indx);
void cblas_sgthrz(const int nz, float* y, float* x, const int* indx);
void cblas_ssctr(const int nz, const float* x, const int* indx, float* y);
void cblas_dgthr(const int nz, const double* y, double* x, const int* indx);
void cblas_dgthrz(const int nz, double* y, double* x, const int* indx);
void cblas_dsctr(const int nz, const double* x, const int* indx, double* y);
void cblas_cgthr(const int nz, const void* y, void* x, const int* indx);
void cblas_cgthrz(const int nz, void* y, void* x, const int* indx);
void cblas_csctr(const int nz, const void* x, const int* indx, void* y);
void cblas_zgthr(const int nz, const void* y, void* x, const int* indx);
void cblas_zgthrz(const int nz, void* y, void* x, const int* indx);
void cblas_zsctr(const int nz, const void* x, const int* indx, void* y);
void cblas_sroti(const int nz, float* x, const int* indx, float* y, const float c, const float s);
void cblas_droti(const int nz, double* x, const int* indx, double* y, const double c, const double s);

/* ---- Level 3 ----
   C := alpha op(A) op(B) + beta C, matrices in the given layout. */

void cblas_sgemm(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                 const int m, const int n, const int k, const float alpha, const float* a, const int lda,
                 const float* b, const int ldb, const float beta, float* c, const int ldc);
void cblas_dgemm(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                 const int m, const int n, const int k, const double alpha, const double* a, const int lda,
                 const double* b, const int ldb, const double beta, double* c, const int ldc);
void cblas_cgemm(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                 const int m, const int n, const int k, const void* alpha, const void* a, const int lda,
                 const void* b, const int ldb, const void* beta, void* c, const int ldc);
void cblas_zgemm(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb,
                 const int m, const int n, const int k, const void* alpha, const void* a, const int lda,
                 const void* b, const int ldb, const void* beta, void* c, const int ldc);

/* SYMM, HEMM: C := alpha A B + beta C (side Left) or alpha B A + beta C
   (side Right), A symmetric or Hermitian, one triangle stored.
   SYRK, HERK: C := alpha op(A) op(A)' + beta C on one triangle of C.
   SYR2K, HER2K: C := alpha op(A) op(B)' + alpha' op(B) op(A)' + beta C.
   GEMMT: C := alpha op(A) op(B) + beta C on one triangle of C.
   TRMM: B := alpha op(A) B or alpha B op(A); TRSM: solves op(A) X =
   alpha B or X op(A) = alpha B in place, A triangular.
   GEMM3M: GEMM of the complex types with three real products. */

void cblas_ssymm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const int m, const int n,
        const float alpha, const float* a, const int lda, const float* b, const int ldb, const float beta, float* c,
        const int ldc);
void cblas_ssyrk(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n, const
        int k, const float alpha, const float* a, const int lda, const float beta, float* c, const int ldc);
void cblas_ssyr2k(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n, const
        int k, const float alpha, const float* a, const int lda, const float* b, const int ldb, const float beta,
        float* c, const int ldc);
void cblas_sgemmt(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE transa, const
        CBLAS_TRANSPOSE transb, const int n, const int k, const float alpha, const float* a, const int lda, const
        float* b, const int ldb, const float beta, float* c, const int ldc);
void cblas_strmm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE
        transa, const CBLAS_DIAG diag, const int m, const int n, const float alpha, const float* a, const int lda,
        float* b, const int ldb);
void cblas_strsm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE
        transa, const CBLAS_DIAG diag, const int m, const int n, const float alpha, const float* a, const int lda,
        float* b, const int ldb);
void cblas_dsymm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const int m, const int n,
        const double alpha, const double* a, const int lda, const double* b, const int ldb, const double beta,
        double* c, const int ldc);
void cblas_dsyrk(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n, const
        int k, const double alpha, const double* a, const int lda, const double beta, double* c, const int ldc);
void cblas_dsyr2k(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n, const
        int k, const double alpha, const double* a, const int lda, const double* b, const int ldb, const double
        beta, double* c, const int ldc);
void cblas_dgemmt(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE transa, const
        CBLAS_TRANSPOSE transb, const int n, const int k, const double alpha, const double* a, const int lda, const
        double* b, const int ldb, const double beta, double* c, const int ldc);
void cblas_dtrmm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE
        transa, const CBLAS_DIAG diag, const int m, const int n, const double alpha, const double* a, const int lda,
        double* b, const int ldb);
void cblas_dtrsm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE
        transa, const CBLAS_DIAG diag, const int m, const int n, const double alpha, const double* a, const int lda,
        double* b, const int ldb);
void cblas_csymm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const int m, const int n,
        const void* alpha, const void* a, const int lda, const void* b, const int ldb, const void* beta, void* c,
        const int ldc);
void cblas_csyrk(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n, const
        int k, const void* alpha, const void* a, const int lda, const void* beta, void* c, const int ldc);
void cblas_csyr2k(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n, const
        int k, const void* alpha, const void* a, const int lda, const void* b, const int ldb, const void* beta,
        void* c, const int ldc);
void cblas_cgemmt(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE transa, const
        CBLAS_TRANSPOSE transb, const int n, const int k, const void* alpha, const void* a, const int lda, const
        void* b, const int ldb, const void* beta, void* c, const int ldc);
void cblas_ctrmm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE
        transa, const CBLAS_DIAG diag, const int m, const int n, const void* alpha, const void* a, const int lda,
        void* b, const int ldb);
void cblas_ctrsm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE
        transa, const CBLAS_DIAG diag, const int m, const int n, const void* alpha, const void* a, const int lda,
        void* b, const int ldb);
void cblas_zsymm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const int m, const int n,
        const void* alpha, const void* a, const int lda, const void* b, const int ldb, const void* beta, void* c,
        const int ldc);
void cblas_zsyrk(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n, const
        int k, const void* alpha, const void* a, const int lda, const void* beta, void* c, const int ldc);
void cblas_zsyr2k(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n, const
        int k, const void* alpha, const void* a, const int lda, const void* b, const int ldb, const void* beta,
        void* c, const int ldc);
void cblas_zgemmt(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE transa, const
        CBLAS_TRANSPOSE transb, const int n, const int k, const void* alpha, const void* a, const int lda, const
        void* b, const int ldb, const void* beta, void* c, const int ldc);
void cblas_ztrmm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE
        transa, const CBLAS_DIAG diag, const int m, const int n, const void* alpha, const void* a, const int lda,
        void* b, const int ldb);
void cblas_ztrsm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE
        transa, const CBLAS_DIAG diag, const int m, const int n, const void* alpha, const void* a, const int lda,
        void* b, const int ldb);
void cblas_chemm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const int m, const int n,
        const void* alpha, const void* a, const int lda, const void* b, const int ldb, const void* beta, void* c,
        const int ldc);
void cblas_cherk(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n, const
        int k, const float alpha, const void* a, const int lda, const float beta, void* c, const int ldc);
void cblas_cher2k(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n, const
        int k, const void* alpha, const void* a, const int lda, const void* b, const int ldb, const float beta,
        void* c, const int ldc);
void cblas_cgemm3m(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb, const int
        m, const int n, const int k, const void* alpha, const void* a, const int lda, const void* b, const int ldb,
        const void* beta, void* c, const int ldc);
void cblas_zhemm(const CBLAS_LAYOUT layout, const CBLAS_SIDE side, const CBLAS_UPLO uplo, const int m, const int n,
        const void* alpha, const void* a, const int lda, const void* b, const int ldb, const void* beta, void* c,
        const int ldc);
void cblas_zherk(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n, const
        int k, const double alpha, const void* a, const int lda, const double beta, void* c, const int ldc);
void cblas_zher2k(const CBLAS_LAYOUT layout, const CBLAS_UPLO uplo, const CBLAS_TRANSPOSE trans, const int n, const
        int k, const void* alpha, const void* a, const int lda, const void* b, const int ldb, const double beta,
        void* c, const int ldc);
void cblas_zgemm3m(const CBLAS_LAYOUT layout, const CBLAS_TRANSPOSE transa, const CBLAS_TRANSPOSE transb, const int
        m, const int n, const int k, const void* alpha, const void* a, const int lda, const void* b, const int ldb,
        const void* beta, void* c, const int ldc);

#ifdef __cplusplus
}
#endif

#endif
