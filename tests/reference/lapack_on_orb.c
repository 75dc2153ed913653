/* LAPACK drivers on a BLAS chosen by the dynamic linker.

     lapack_on_orb LAPACK_LIBRARY OUT [REFERENCE]

   Opens the reference LAPACK by its path (LAPACK_LIBRARY; the alternatives
   link may point at another implementation), whose BLAS calls then go to
   the libblas.so.3 that LD_LIBRARY_PATH finds first. Runs dgesv, dpotrf,
   dsyev, dgesvd, zheev, zgetrf, dsytrd, zhetrd and dtrtri at sizes from 10
   to 500, checks each result by a residual of its own (small multiples of
   n eps), and writes the results to OUT. With REFERENCE, a file the same
   program wrote on another BLAS, each result must also agree with that
   one within a tolerance that rounding differences cannot reach.

   Exit status: 0 all good, 1 a check failed, 2 could not run. */
#include <complex.h>
#include <dlfcn.h>
#include <float.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef double complex zc;

/* Fortran routines: every scalar by address, character lengths last. */
typedef void dgesv_t(const int*, const int*, double*, const int*, int*, double*, const int*, int*);
typedef void dpotrf_t(const char*, const int*, double*, const int*, int*, size_t);
typedef void dsyev_t(const char*, const char*, const int*, double*, const int*, double*, double*, const int*, int*,
                     size_t, size_t);
typedef void dgesvd_t(const char*, const char*, const int*, const int*, double*, const int*, double*, double*,
                      const int*, double*, const int*, double*, const int*, int*, size_t, size_t);
typedef void zheev_t(const char*, const char*, const int*, zc*, const int*, double*, zc*, const int*, double*, int*,
                     size_t, size_t);
typedef void zgetrf_t(const int*, const int*, zc*, const int*, int*, int*);
typedef void dsytrd_t(const char*, const int*, double*, const int*, double*, double*, double*, double*, const int*,
                      int*, size_t);
typedef void zhetrd_t(const char*, const int*, zc*, const int*, double*, double*, zc*, zc*, const int*, int*, size_t);
typedef void dtrtri_t(const char*, const char*, const int*, double*, const int*, int*, size_t, size_t);

static dgesv_t* dgesv;
static dpotrf_t* dpotrf;
static dsyev_t* dsyev;
static dgesvd_t* dgesvd;
static zheev_t* zheev;
static zgetrf_t* zgetrf;
static dsytrd_t* dsytrd;
static zhetrd_t* zhetrd;
static dtrtri_t* dtrtri;

static FILE* out;
static FILE* ref;
static int failures;

/* Residuals are in units of n eps times the sizes involved: a correct
   factorisation gives a few units, far below this. */
static const double kResidualLimit = 30.0;
/* Results on two BLAS differ by rounding, amplified at most by the mild
   conditioning of these matrices. */
static const double kAgreement = 1e-8;

static unsigned long long seed_state;
static double rnd(void) {
  seed_state = seed_state * 6364136223846793005ULL + 1442695040888963407ULL;
  return (double)(seed_state >> 11) / 9007199254740992.0 * 2.0 - 1.0;
}

static void* xalloc(size_t bytes) {
  void* p = calloc(bytes ? bytes : 1, 1);
  if (!p) {
    fprintf(stderr, "out of memory\n");
    exit(2);
  }
  return p;
}

static void check(const char* what, int n, double residual) {
  const int bad = !(residual <= kResidualLimit);
  printf("%-8s n=%3d residual %8.3f%s\n", what, n, residual, bad ? "  TOO LARGE" : "");
  failures += bad;
}

/* One result: written to OUT, compared with the same record of REFERENCE. */
static void record(const char* what, int n, const double* v, size_t count) {
  int len = (int)strlen(what);
  fwrite(&len, sizeof len, 1, out);
  fwrite(what, 1, (size_t)len, out);
  fwrite(&n, sizeof n, 1, out);
  fwrite(&count, sizeof count, 1, out);
  fwrite(v, sizeof *v, count, out);
  if (!ref) return;
  int rlen = 0, rn = 0;
  size_t rcount = 0;
  char name[64] = {0};
  if (fread(&rlen, sizeof rlen, 1, ref) != 1 || rlen <= 0 || rlen >= 64 || fread(name, 1, (size_t)rlen, ref) != (size_t)rlen ||
      fread(&rn, sizeof rn, 1, ref) != 1 || fread(&rcount, sizeof rcount, 1, ref) != 1 || strcmp(name, what) != 0 ||
      rn != n || rcount != count) {
    printf("%-8s n=%3d: the reference file does not hold this result\n", what, n);
    ++failures;
    return;
  }
  double* w = xalloc(count * sizeof *w);
  if (fread(w, sizeof *w, count, ref) != count) {
    printf("%-8s n=%3d: the reference file is short\n", what, n);
    ++failures;
    free(w);
    return;
  }
  double scale = 0, diff = 0;
  for (size_t i = 0; i < count; ++i) {
    scale = fmax(scale, fabs(w[i]));
    diff = fmax(diff, fabs(v[i] - w[i]));
  }
  const double rel = diff / (scale > 0 ? scale : 1);
  const int bad = !(rel <= kAgreement);
  printf("%-8s n=%3d agrees with the reference to %.2e%s\n", what, n, rel, bad ? "  DIFFERENT" : "");
  failures += bad;
  free(w);
}

static double norm_inf(int m, int n, const double* a, int lda) {
  double best = 0;
  for (int i = 0; i < m; ++i) {
    double s = 0;
    for (int j = 0; j < n; ++j) s += fabs(a[i + (size_t)j * lda]);
    best = fmax(best, s);
  }
  return best;
}

static double znorm_inf(int n, const zc* a, int lda) {
  double best = 0;
  for (int i = 0; i < n; ++i) {
    double s = 0;
    for (int j = 0; j < n; ++j) s += cabs(a[i + (size_t)j * lda]);
    best = fmax(best, s);
  }
  return best;
}

static void run_dgesv(int n) {
  const int nrhs = 3, lda = n + 1;
  double* a = xalloc(sizeof(double) * lda * n);
  double* a0 = xalloc(sizeof(double) * lda * n);
  double* b = xalloc(sizeof(double) * n * nrhs);
  double* b0 = xalloc(sizeof(double) * n * nrhs);
  int* ipiv = xalloc(sizeof(int) * n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) a0[i + (size_t)j * lda] = rnd() + (i == j ? 2.0 : 0.0);
  for (int i = 0; i < n * nrhs; ++i) b0[i] = rnd();
  memcpy(a, a0, sizeof(double) * lda * n);
  memcpy(b, b0, sizeof(double) * n * nrhs);
  int info = 0;
  dgesv(&n, &nrhs, a, &lda, ipiv, b, &n, &info);
  double r = 0;
  for (int c = 0; c < nrhs; ++c)
    for (int i = 0; i < n; ++i) {
      long double s = -b0[i + (size_t)c * n];
      for (int j = 0; j < n; ++j) s += (long double)a0[i + (size_t)j * lda] * b[j + (size_t)c * n];
      r = fmax(r, fabs((double)s));
    }
  const double scale = norm_inf(n, n, a0, lda) * norm_inf(n, nrhs, b, n) * n * DBL_EPSILON;
  check("dgesv", n, info ? INFINITY : r / scale);
  record("dgesv", n, b, (size_t)n * nrhs);
  free(a), free(a0), free(b), free(b0), free(ipiv);
}

/* Symmetric positive definite: M M' / n + I. */
static void spd(int n, double* a, int lda) {
  double* m = xalloc(sizeof(double) * n * n);
  for (int i = 0; i < n * n; ++i) m[i] = rnd();
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      double s = 0;
      for (int l = 0; l < n; ++l) s += m[i + (size_t)l * n] * m[j + (size_t)l * n];
      a[i + (size_t)j * lda] = s / n + (i == j ? 1.0 : 0.0);
    }
  free(m);
}

static void run_dpotrf(int n) {
  const int lda = n + 2;
  double* a = xalloc(sizeof(double) * lda * n);
  double* a0 = xalloc(sizeof(double) * lda * n);
  spd(n, a0, lda);
  memcpy(a, a0, sizeof(double) * lda * n);
  int info = 0;
  dpotrf("L", &n, a, &lda, &info, 1);
  double r = 0;
  double* l = xalloc(sizeof(double) * n * n);
  for (int j = 0; j < n; ++j)
    for (int i = j; i < n; ++i) l[i + (size_t)j * n] = a[i + (size_t)j * lda];
  for (int j = 0; j < n; ++j)
    for (int i = j; i < n; ++i) {
      long double s = -a0[i + (size_t)j * lda];
      for (int p = 0; p <= j; ++p) s += (long double)l[i + (size_t)p * n] * l[j + (size_t)p * n];
      r = fmax(r, fabs((double)s));
    }
  check("dpotrf", n, info ? INFINITY : r / (norm_inf(n, n, a0, lda) * n * DBL_EPSILON));
  record("dpotrf", n, l, (size_t)n * n);
  free(a), free(a0), free(l);
}

static void symmetric(int n, double* a, int lda) {
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) a[i + (size_t)j * lda] = a[j + (size_t)i * lda] = rnd();
}

static void run_dsyev(int n) {
  const int lda = n;
  double* a = xalloc(sizeof(double) * lda * n);
  double* a0 = xalloc(sizeof(double) * lda * n);
  double* w = xalloc(sizeof(double) * n);
  symmetric(n, a0, lda);
  memcpy(a, a0, sizeof(double) * lda * n);
  int lwork = -1, info = 0;
  double q = 0;
  dsyev("V", "U", &n, a, &lda, w, &q, &lwork, &info, 1, 1);
  lwork = (int)q;
  double* work = xalloc(sizeof(double) * lwork);
  dsyev("V", "U", &n, a, &lda, w, work, &lwork, &info, 1, 1);
  double r = 0, o = 0;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      long double s = -(long double)w[j] * a[i + (size_t)j * lda], t = i == j ? -1.0L : 0.0L;
      for (int l = 0; l < n; ++l) {
        s += (long double)a0[i + (size_t)l * lda] * a[l + (size_t)j * lda];
        t += (long double)a[l + (size_t)i * lda] * a[l + (size_t)j * lda];
      }
      r = fmax(r, fabs((double)s));
      o = fmax(o, fabs((double)t));
    }
  check("dsyev", n, info ? INFINITY : fmax(r / norm_inf(n, n, a0, lda), o) / (n * DBL_EPSILON));
  record("dsyev", n, w, (size_t)n);
  free(a), free(a0), free(w), free(work);
}

static void run_dgesvd(int n) {
  const int m = n + n / 4, lda = m;
  double* a = xalloc(sizeof(double) * lda * n);
  double* a0 = xalloc(sizeof(double) * lda * n);
  double* s = xalloc(sizeof(double) * n);
  double* u = xalloc(sizeof(double) * m * n);
  double* vt = xalloc(sizeof(double) * n * n);
  for (int i = 0; i < lda * n; ++i) a0[i] = rnd();
  memcpy(a, a0, sizeof(double) * lda * n);
  int lwork = -1, info = 0;
  double q = 0;
  dgesvd("S", "S", &m, &n, a, &lda, s, u, &m, vt, &n, &q, &lwork, &info, 1, 1);
  lwork = (int)q;
  double* work = xalloc(sizeof(double) * lwork);
  dgesvd("S", "S", &m, &n, a, &lda, s, u, &m, vt, &n, work, &lwork, &info, 1, 1);
  double r = 0;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      long double t = -a0[i + (size_t)j * lda];
      for (int l = 0; l < n; ++l) t += (long double)u[i + (size_t)l * m] * s[l] * vt[l + (size_t)j * n];
      r = fmax(r, fabs((double)t));
    }
  check("dgesvd", n, info ? INFINITY : r / (norm_inf(m, n, a0, lda) * m * DBL_EPSILON));
  record("dgesvd", n, s, (size_t)n);
  free(a), free(a0), free(s), free(u), free(vt), free(work);
}

static void hermitian(int n, zc* a, int lda) {
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < j; ++i) {
      a[i + (size_t)j * lda] = rnd() + I * rnd();
      a[j + (size_t)i * lda] = conj(a[i + (size_t)j * lda]);
    }
    a[j + (size_t)j * lda] = rnd();
  }
}

static void run_zheev(int n) {
  const int lda = n + 1;
  zc* a = xalloc(sizeof(zc) * lda * n);
  zc* a0 = xalloc(sizeof(zc) * lda * n);
  double* w = xalloc(sizeof(double) * n);
  double* rwork = xalloc(sizeof(double) * (3 * n));
  hermitian(n, a0, lda);
  memcpy(a, a0, sizeof(zc) * lda * n);
  int lwork = -1, info = 0;
  zc q = 0;
  zheev("V", "L", &n, a, &lda, w, &q, &lwork, rwork, &info, 1, 1);
  lwork = (int)creal(q);
  zc* work = xalloc(sizeof(zc) * lwork);
  zheev("V", "L", &n, a, &lda, w, work, &lwork, rwork, &info, 1, 1);
  double r = 0;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      long double complex s = -(long double)w[j] * a[i + (size_t)j * lda];
      for (int l = 0; l < n; ++l) s += (long double complex)a0[i + (size_t)l * lda] * a[l + (size_t)j * lda];
      r = fmax(r, (double)cabsl(s));
    }
  check("zheev", n, info ? INFINITY : r / (znorm_inf(n, a0, lda) * n * DBL_EPSILON));
  record("zheev", n, w, (size_t)n);
  free(a), free(a0), free(w), free(rwork), free(work);
}

static void run_zgetrf(int n) {
  const int lda = n;
  zc* a = xalloc(sizeof(zc) * lda * n);
  zc* a0 = xalloc(sizeof(zc) * lda * n);
  int* ipiv = xalloc(sizeof(int) * n);
  for (int i = 0; i < lda * n; ++i) a0[i] = rnd() + I * rnd();
  memcpy(a, a0, sizeof(zc) * lda * n);
  int info = 0;
  zgetrf(&n, &n, a, &lda, ipiv, &info);
  /* L U with the row interchanges undone, last first, gives A back. */
  zc* lu = xalloc(sizeof(zc) * n * n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      long double complex s = 0;
      const int top = i < j ? i : j;
      for (int p = 0; p <= top; ++p) {
        const zc l = p == i ? 1.0 : a[i + (size_t)p * lda];
        s += (long double complex)l * a[p + (size_t)j * lda];
      }
      lu[i + (size_t)j * n] = (zc)s;
    }
  for (int i = n - 1; i >= 0; --i) {
    const int p = ipiv[i] - 1;
    if (p != i)
      for (int j = 0; j < n; ++j) {
        const zc t = lu[i + (size_t)j * n];
        lu[i + (size_t)j * n] = lu[p + (size_t)j * n];
        lu[p + (size_t)j * n] = t;
      }
  }
  double r = 0;
  for (int i = 0; i < n * n; ++i) r = fmax(r, cabs(lu[i] - a0[i]));
  check("zgetrf", n, info ? INFINITY : r / (znorm_inf(n, a0, lda) * n * DBL_EPSILON));
  record("zgetrf", n, (const double*)a, (size_t)2 * n * n);
  free(a), free(a0), free(ipiv), free(lu);
}

/* A tridiagonal form keeps the trace and the Frobenius norm. */
static void tridiagonal_check(const char* what, int n, const double* d, const double* e, long double trace,
                              long double frob2) {
  long double t = 0, f = 0;
  for (int i = 0; i < n; ++i) t += d[i], f += (long double)d[i] * d[i];
  for (int i = 0; i + 1 < n; ++i) f += 2.0L * e[i] * e[i];
  const double r = fmax(fabs((double)(t - trace)) / sqrt((double)frob2), fabs((double)(f - frob2)) / (double)frob2);
  check(what, n, r / (n * DBL_EPSILON));
}

static void run_dsytrd(int n) {
  const int lda = n + 3;
  double* a = xalloc(sizeof(double) * lda * n);
  double *d = xalloc(sizeof(double) * n), *e = xalloc(sizeof(double) * n), *tau = xalloc(sizeof(double) * n);
  symmetric(n, a, lda);
  long double trace = 0, frob2 = 0;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      const double v = a[i + (size_t)j * lda];
      frob2 += (long double)v * v;
      if (i == j) trace += v;
    }
  int lwork = -1, info = 0;
  double q = 0;
  dsytrd("U", &n, a, &lda, d, e, tau, &q, &lwork, &info, 1);
  lwork = (int)q;
  double* work = xalloc(sizeof(double) * lwork);
  dsytrd("U", &n, a, &lda, d, e, tau, work, &lwork, &info, 1);
  if (info) check("dsytrd", n, INFINITY);
  tridiagonal_check("dsytrd", n, d, e, trace, frob2);
  record("dsytrd.d", n, d, (size_t)n);
  record("dsytrd.e", n, e, (size_t)(n - 1));
  free(a), free(d), free(e), free(tau), free(work);
}

static void run_zhetrd(int n) {
  const int lda = n;
  zc* a = xalloc(sizeof(zc) * lda * n);
  double *d = xalloc(sizeof(double) * n), *e = xalloc(sizeof(double) * n);
  zc* tau = xalloc(sizeof(zc) * n);
  hermitian(n, a, lda);
  long double trace = 0, frob2 = 0;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      const double v = cabs(a[i + (size_t)j * lda]);
      frob2 += (long double)v * v;
      if (i == j) trace += creal(a[i + (size_t)j * lda]);
    }
  int lwork = -1, info = 0;
  zc q = 0;
  zhetrd("L", &n, a, &lda, d, e, tau, &q, &lwork, &info, 1);
  lwork = (int)creal(q);
  zc* work = xalloc(sizeof(zc) * lwork);
  zhetrd("L", &n, a, &lda, d, e, tau, work, &lwork, &info, 1);
  if (info) check("zhetrd", n, INFINITY);
  /* e holds the magnitudes of the subdiagonal (real after a diagonal
     unitary scaling), so the same invariants hold. */
  tridiagonal_check("zhetrd", n, d, e, trace, frob2);
  record("zhetrd.d", n, d, (size_t)n);
  record("zhetrd.e", n, e, (size_t)(n - 1));
  free(a), free(d), free(e), free(tau), free(work);
}

static void run_dtrtri(int n) {
  const int lda = n + 1;
  double* a = xalloc(sizeof(double) * lda * n);
  double* a0 = xalloc(sizeof(double) * lda * n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) a0[i + (size_t)j * lda] = i == j ? 1.5 + 0.5 * rnd() : rnd() / n;
  memcpy(a, a0, sizeof(double) * lda * n);
  int info = 0;
  dtrtri("U", "N", &n, a, &lda, &info, 1, 1);
  double r = 0;
  double* inv = xalloc(sizeof(double) * n * n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) inv[i + (size_t)j * n] = a[i + (size_t)j * lda];
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) {
      long double s = i == j ? -1.0L : 0.0L;
      for (int l = i; l <= j; ++l) s += (long double)a0[i + (size_t)l * lda] * inv[l + (size_t)j * n];
      r = fmax(r, fabs((double)s));
    }
  check("dtrtri", n, info ? INFINITY : r / (norm_inf(n, n, a0, lda) * norm_inf(n, n, inv, n) * n * DBL_EPSILON));
  record("dtrtri", n, inv, (size_t)n * n);
  free(a), free(a0), free(inv);
}

static void* need(void* lib, const char* name) {
  void* f = dlsym(lib, name);
  if (!f) {
    fprintf(stderr, "%s: %s\n", name, dlerror());
    exit(2);
  }
  return f;
}

int main(int argc, char** argv) {
  if (argc < 3) {
    fprintf(stderr, "usage: %s LAPACK_LIBRARY OUT [REFERENCE]\n", argv[0]);
    return 2;
  }
  void* lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (!lib) {
    fprintf(stderr, "cannot open %s: %s\n", argv[1], dlerror());
    return 2;
  }
  dgesv = (dgesv_t*)need(lib, "dgesv_");
  dpotrf = (dpotrf_t*)need(lib, "dpotrf_");
  dsyev = (dsyev_t*)need(lib, "dsyev_");
  dgesvd = (dgesvd_t*)need(lib, "dgesvd_");
  zheev = (zheev_t*)need(lib, "zheev_");
  zgetrf = (zgetrf_t*)need(lib, "zgetrf_");
  dsytrd = (dsytrd_t*)need(lib, "dsytrd_");
  zhetrd = (zhetrd_t*)need(lib, "zhetrd_");
  dtrtri = (dtrtri_t*)need(lib, "dtrtri_");
  out = fopen(argv[2], "wb");
  if (!out) {
    perror(argv[2]);
    return 2;
  }
  if (argc > 3 && !(ref = fopen(argv[3], "rb"))) {
    perror(argv[3]);
    return 2;
  }
  static const int sizes[] = {10, 37, 64, 129, 250, 500};
  for (size_t s = 0; s < sizeof sizes / sizeof *sizes; ++s) {
    const int n = sizes[s];
    seed_state = 0x9e3779b97f4a7c15ULL + (unsigned long long)n;
    run_dgesv(n);
    run_dpotrf(n);
    run_dsyev(n);
    run_dgesvd(n);
    run_zheev(n);
    run_zgetrf(n);
    run_dsytrd(n);
    run_zhetrd(n);
    run_dtrtri(n);
  }
  fclose(out);
  if (ref) fclose(ref);
  printf("%s\n", failures ? "SOME CHECKS FAILED" : "all checks passed");
  return failures ? 1 : 0;
}
