// Public names of SYMM, HEMM, SYRK, HERK, SYR2K, HER2K and GEMMT
// (orb_blas_dsyrk, ...) and their standard Fortran names (dsyrk_, ...).
//
// Each checks its arguments as the reference routine does, in its order,
// reports the first illegal one through orb_serv_xerbla and returns without
// touching C. A legal call that is large enough runs on the core's threads,
// cut only where the outputs are independent: the triangle-output routines
// into stretches of columns of C's triangle of about equal area, SYMM and
// HEMM into columns of C (side left) or rows (side right). Every block runs
// the kernel's walk with the K blocks of the whole call, so the bits do not
// depend on the number of threads. With ORB_VERBOSE on, each call prints one
// line with its arguments and its time.
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <string>

#ifdef ORB_HAVE_OPENMP
#include <omp.h>
#endif

#include "core/blas/reports.hpp"
#include "core/blas/syx_checks.hpp"
#include "core/dispatch.hpp"
#include "orb/orb_blas.h"
#include "orb/orb_blas_fortran.h"
#include "orb/orb_service.h"

namespace orb::core {
namespace {

using l3check::letters;

// ---- Reports ------------------------------------------------------------------

using reports::report;
using reports::verbose_line;
using reports::verbose_on;


// ---- Scalars --------------------------------------------------------------------

inline bool is_zero(float v) { return v == 0.0f; }
inline bool is_zero(double v) { return v == 0.0; }
inline bool is_zero(const orb_complex8& v) { return v.re == 0.0f && v.im == 0.0f; }
inline bool is_zero(const orb_complex16& v) { return v.re == 0.0 && v.im == 0.0; }
inline bool is_one(float v) { return v == 1.0f; }
inline bool is_one(double v) { return v == 1.0; }
inline bool is_one(const orb_complex8& v) { return v.re == 1.0f && v.im == 0.0f; }
inline bool is_one(const orb_complex16& v) { return v.re == 1.0 && v.im == 0.0; }
template <class T, class R> T as_complex(R v) { return T{v, R(0)}; }

// ---- Threads --------------------------------------------------------------------

// Below this many multiply-adds a call stays on one thread: starting and
// joining the team would cost more than it saves.
constexpr double kThreadedWork = 128.0 * 128.0 * 128.0;

int team_for(double work, int parts) {
  if (work < kThreadedWork || parts < 2) return 1;
  int t = orb_get_max_threads();
#ifdef ORB_HAVE_OPENMP
  if (omp_in_parallel()) t = 1;
#else
  t = 1;
#endif
  if (t > parts) t = parts;
  return t < 1 ? 1 : t;
}

template <class F>
void run_team(int blocks, F&& block) {
#ifdef ORB_HAVE_OPENMP
#pragma omp parallel for num_threads(blocks) schedule(static, 1)
  for (int id = 0; id < blocks; ++id) block(id);
#else
  for (int id = 0; id < blocks; ++id) block(id);
#endif
}

// Column bounds of `parts` stretches of the n x n triangle with about equal
// areas: the column j of the lower triangle holds n - j elements, of the
// upper j + 1.
constexpr int kMaxTeam = 256;
void stretches(int n, bool lower, int parts, int* bound) {
  const double total = double(n) * (n + 1) / 2;
  bound[0] = 0;
  int j = 0;
  double area = 0;
  for (int p = 1; p < parts; ++p) {
    const double target = total * p / parts;
    while (j < n && area < target) {
      area += lower ? n - j : j + 1;
      ++j;
    }
    // Each stretch keeps at least one column.
    const int lo = bound[p - 1] + 1, hi = n - (parts - p);
    bound[p] = j < lo ? lo : j > hi ? hi : j;
    j = bound[p];
    area = lower ? double(j) * n - double(j) * (j - 1) / 2 : double(j) * (j + 1) / 2;
  }
  bound[parts] = n;
}

// The operators of the first pass of SYRK, HERK, SYR2K and HER2K.
void first_pass(char trans, bool herm, char& ta, char& tb) {
  const char other = herm ? 'C' : 'T';
  if ((trans & ~32) == 'N') ta = 'N', tb = other;
  else ta = other, tb = 'N';
}

template <class T, class Stretch>
void triangle_team(Stretch stretch, int op, const char* uplo, char ta, char tb, int n, int k, const T* alpha,
                   const T* a, int lda, const T* b, int ldb, const T* beta, T* c, int ldc, int threads) {
  int bound[kMaxTeam + 1];
  if (threads > kMaxTeam) threads = kMaxTeam;
  stretches(n, (*uplo & ~32) == 'L', threads, bound);
  const char sa[2] = {ta, 0}, sb[2] = {tb, 0};
  run_team(threads, [&](int id) {
    const int j0 = bound[id], j1 = bound[id + 1];
    stretch(&op, uplo, sa, sb, &n, &k, alpha, a, &lda, b, &ldb, beta, c, &ldc, &j0, &j1);
  });
}

// ---- The routines -------------------------------------------------------------------

template <class T, class Whole, class Stretch>
void run_syrk(Whole whole, Stretch stretch, bool herm, const char* uplo, const char* trans, int n, int k,
              const T* alpha, const T* a, int lda, const T* beta, T* c, int ldc) {
  const int threads = team_for(double(n) * n * (k > 1 ? k : 1) / 2, n);
  if (threads < 2) return whole();
  char ta, tb;
  first_pass(*trans, herm, ta, tb);
  triangle_team<T>(stretch, herm ? 4 : 3, uplo, ta, tb, n, k, alpha, a, lda, a, lda, beta, c, ldc, threads);
}

// SYRK of the real types at long k and small n goes to the kernel that
// reads A where it lies: there the packed walk spends most of its time
// copying A twice per K block. The choice is by sizes alone, so the bits do
// not depend on the team.
constexpr int kLongK = 4096;
constexpr int kLongKMaxN = 48;
inline bool long_k(int n, int k) { return k >= kLongK && n <= kLongKMaxN; }

template <class T, class Whole, class Stretch>
void run_syrk_4k(Whole whole, Stretch stretch, const char* uplo, const char* trans, int n, int k, const T* alpha,
                 const T* a, int lda, const T* beta, T* c, int ldc) {
  int threads = team_for(double(n) * n * k / 2, n);
  if (threads < 2) return whole();
  if (threads > kMaxTeam) threads = kMaxTeam;
  int bound[kMaxTeam + 1];
  stretches(n, (*uplo & ~32) == 'L', threads, bound);
  run_team(threads, [&](int id) {
    const int j0 = bound[id], j1 = bound[id + 1];
    stretch(uplo, trans, &n, &k, alpha, a, &lda, beta, c, &ldc, &j0, &j1);
  });
}

template <class T, class Whole, class Stretch>
void run_syr2k(Whole whole, Stretch stretch, bool herm, const char* uplo, const char* trans, int n, int k,
               const T* alpha, const T* a, int lda, const T* b, int ldb, const T* beta, T* c, int ldc) {
  // Small n with beta other than 0 takes the kernel's short cut as a whole.
  const bool short_cut = n <= 128 && !is_zero(*beta);
  const int threads = short_cut ? 1 : team_for(double(n) * n * (k > 1 ? k : 1), n);
  if (threads < 2) return whole();
  char ta, tb;
  first_pass(*trans, herm, ta, tb);
  triangle_team<T>(stretch, herm ? 6 : 5, uplo, ta, tb, n, k, alpha, a, lda, b, ldb, beta, c, ldc, threads);
}

template <class T, class Whole, class Stretch>
void run_gemmt(Whole whole, Stretch stretch, const char* uplo, const char* transa, const char* transb, int n,
               int k, const T* alpha, const T* a, int lda, const T* b, int ldb, const T* beta, T* c, int ldc) {
  const int threads = team_for(double(n) * n * (k > 1 ? k : 1) / 2, n);
  if (threads < 2) return whole();
  triangle_team<T>(stretch, 9, uplo, *transa, *transb, n, k, alpha, a, lda, b, ldb, beta, c, ldc, threads);
}

template <class T, class Whole, class Packed>
void run_symm(Whole whole, Packed packed, const char* side, const char* uplo, int m, int n, const T* alpha,
              const T* a, int lda, const T* b, int ldb, const T* beta, T* c, int ldc) {
  const bool left = (*side & ~32) == 'L';
  const int ka = left ? m : n;
  const int threads = team_for(double(m) * n * ka, left ? n : m);
  if (threads < 2) return whole();
  // Side left: columns of B and C; side right: rows of B and C.
  const int total = left ? n : m;
  run_team(threads, [&](int id) {
    const int p0 = int(std::int64_t(total) * id / threads), p1 = int(std::int64_t(total) * (id + 1) / threads);
    const int len = p1 - p0;
    if (len < 1) return;
    const T* bb = left ? b + std::ptrdiff_t(p0) * ldb : b + p0;
    T* cc = left ? c + std::ptrdiff_t(p0) * ldc : c + p0;
    const int mm = left ? m : len, nn = left ? len : n;
    packed(side, uplo, &mm, &nn, alpha, a, &lda, bb, &ldb, beta, cc, &ldc);
  });
}

}  // namespace
}  // namespace orb::core

using namespace orb::core;
namespace l3check = orb::core::l3check;

// The entry of one name: the check, the report, the verbose line, the work.
#define ORB_SYX_ENTRY(pub, info_expr, verbose_args, ...) \
  do {                                                       \
    const int info = (info_expr);                            \
    if (info != 0) {                                         \
      report(#pub, info);                                    \
      return;                                                \
    }                                                        \
    if (verbose_on()) {                                      \
      verbose_line line(#pub);                               \
      line.format verbose_args;                              \
      __VA_ARGS__;                                           \
      return;                                                \
    }                                                        \
    __VA_ARGS__;                                             \
  } while (0)

#define ORB_PUBLIC_SYMM(t, T, name, kname)                                                                       \
  extern "C" void orb_blas_##t##name(const char* side, const char* uplo, const int* m, const int* n,             \
                                     const T* alpha, const T* a, const int* lda, const T* b, const int* ldb,     \
                                     const T* beta, T* c, const int* ldc) {                                      \
    ORB_SYX_ENTRY(t##name, l3check::symm(*side, *uplo, *m, *n, *lda, *ldb, *ldc),                                \
                  (side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc), {                                     \
                    if (*m == 0 || *n == 0 || (is_zero(*alpha) && is_one(*beta))) break;                         \
                    auto whole = [&] { kernels().x##t##kname(side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc); }; \
                    run_symm<T>(whole, kernels().x##t##kname##_packed, side, uplo, *m, *n, alpha, a, *lda, b,    \
                                *ldb, beta, c, *ldc);                                                            \
                  });                                                                                            \
  }
ORB_PUBLIC_SYMM(s, float, symm, symm)
ORB_PUBLIC_SYMM(d, double, symm, symm)
ORB_PUBLIC_SYMM(c, orb_complex8, symm, symm)
ORB_PUBLIC_SYMM(z, orb_complex16, symm, symm)
ORB_PUBLIC_SYMM(c, orb_complex8, hemm, hemm)
ORB_PUBLIC_SYMM(z, orb_complex16, hemm, hemm)
#undef ORB_PUBLIC_SYMM

#define ORB_PUBLIC_SYRK(t, T, L)                                                                                 \
  extern "C" void orb_blas_##t##syrk(const char* uplo, const char* trans, const int* n, const int* k,            \
                                     const T* alpha, const T* a, const int* lda, const T* beta, T* c,            \
                                     const int* ldc) {                                                           \
    ORB_SYX_ENTRY(t##syrk, l3check::syrk(*uplo, *trans, *n, *k, *lda, *ldc, L),                                  \
                  (uplo, trans, n, k, alpha, a, lda, beta, c, ldc), {                                            \
                    if (*n == 0 || ((is_zero(*alpha) || *k == 0) && is_one(*beta))) break;                       \
                    auto whole = [&] { kernels().x##t##syrk(uplo, trans, n, k, alpha, a, lda, beta, c, ldc); };  \
                    run_syrk<T>(whole, kernels().x##t##syrk_stretch, false, uplo, trans, *n, *k, alpha, a, *lda, \
                                beta, c, *ldc);                                                                  \
                  });                                                                                            \
  }
ORB_PUBLIC_SYRK(c, orb_complex8, letters::complex_symmetric)
ORB_PUBLIC_SYRK(z, orb_complex16, letters::complex_symmetric)
#undef ORB_PUBLIC_SYRK

// The real types also have the long-k kernel.
#define ORB_PUBLIC_REAL_SYRK(t, T)                                                                               \
  extern "C" void orb_blas_##t##syrk(const char* uplo, const char* trans, const int* n, const int* k,            \
                                     const T* alpha, const T* a, const int* lda, const T* beta, T* c,            \
                                     const int* ldc) {                                                           \
    ORB_SYX_ENTRY(t##syrk, l3check::syrk(*uplo, *trans, *n, *k, *lda, *ldc, letters::real),                      \
                  (uplo, trans, n, k, alpha, a, lda, beta, c, ldc), {                                            \
                    if (*n == 0 || ((is_zero(*alpha) || *k == 0) && is_one(*beta))) break;                       \
                    if (long_k(*n, *k)) {                                                                        \
                      auto whole = [&] { kernels().t##syrk_4k(uplo, trans, n, k, alpha, a, lda, beta, c, ldc); }; \
                      run_syrk_4k<T>(whole, kernels().t##syrk_4k_stretch, uplo, trans, *n, *k, alpha, a, *lda,   \
                                     beta, c, *ldc);                                                             \
                      break;                                                                                     \
                    }                                                                                            \
                    auto whole = [&] { kernels().x##t##syrk(uplo, trans, n, k, alpha, a, lda, beta, c, ldc); };  \
                    run_syrk<T>(whole, kernels().x##t##syrk_stretch, false, uplo, trans, *n, *k, alpha, a, *lda, \
                                beta, c, *ldc);                                                                  \
                  });                                                                                            \
  }
ORB_PUBLIC_REAL_SYRK(s, float)
ORB_PUBLIC_REAL_SYRK(d, double)
#undef ORB_PUBLIC_REAL_SYRK

#define ORB_PUBLIC_HERK(t, T, R)                                                                                 \
  extern "C" void orb_blas_##t##herk(const char* uplo, const char* trans, const int* n, const int* k,            \
                                     const R* alpha, const T* a, const int* lda, const R* beta, T* c,            \
                                     const int* ldc) {                                                           \
    ORB_SYX_ENTRY(t##herk, l3check::syrk(*uplo, *trans, *n, *k, *lda, *ldc, letters::hermitian),                 \
                  (uplo, trans, n, k, alpha, a, lda, beta, c, ldc), {                                            \
                    if (*n == 0 || ((*alpha == 0 || *k == 0) && *beta == 1)) break;                              \
                    auto whole = [&] { kernels().x##t##herk(uplo, trans, n, k, alpha, a, lda, beta, c, ldc); };  \
                    const T al = as_complex<T>(*alpha), be = as_complex<T>(*beta);                               \
                    run_syrk<T>(whole, kernels().x##t##syrk_stretch, true, uplo, trans, *n, *k, &al, a, *lda,    \
                                &be, c, *ldc);                                                                   \
                  });                                                                                            \
  }
ORB_PUBLIC_HERK(c, orb_complex8, float)
ORB_PUBLIC_HERK(z, orb_complex16, double)
#undef ORB_PUBLIC_HERK

#define ORB_PUBLIC_SYR2K(t, T, L)                                                                                \
  extern "C" void orb_blas_##t##syr2k(const char* uplo, const char* trans, const int* n, const int* k,           \
                                      const T* alpha, const T* a, const int* lda, const T* b, const int* ldb,    \
                                      const T* beta, T* c, const int* ldc) {                                     \
    ORB_SYX_ENTRY(t##syr2k, l3check::syr2k(*uplo, *trans, *n, *k, *lda, *ldb, *ldc, L),                          \
                  (uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc), {                                    \
                    if (*n == 0 || ((is_zero(*alpha) || *k == 0) && is_one(*beta))) break;                       \
                    auto whole = [&] {                                                                           \
                      kernels().x##t##syr2k(uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc);             \
                    };                                                                                           \
                    run_syr2k<T>(whole, kernels().x##t##syrk_stretch, false, uplo, trans, *n, *k, alpha, a,      \
                                 *lda, b, *ldb, beta, c, *ldc);                                                  \
                  });                                                                                            \
  }
ORB_PUBLIC_SYR2K(s, float, letters::real)
ORB_PUBLIC_SYR2K(d, double, letters::real)
ORB_PUBLIC_SYR2K(c, orb_complex8, letters::complex_symmetric)
ORB_PUBLIC_SYR2K(z, orb_complex16, letters::complex_symmetric)
#undef ORB_PUBLIC_SYR2K

#define ORB_PUBLIC_HER2K(t, T, R)                                                                                \
  extern "C" void orb_blas_##t##her2k(const char* uplo, const char* trans, const int* n, const int* k,           \
                                      const T* alpha, const T* a, const int* lda, const T* b, const int* ldb,    \
                                      const R* beta, T* c, const int* ldc) {                                     \
    ORB_SYX_ENTRY(t##her2k, l3check::syr2k(*uplo, *trans, *n, *k, *lda, *ldb, *ldc, letters::hermitian),         \
                  (uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc), {                                    \
                    if (*n == 0 || ((is_zero(*alpha) || *k == 0) && *beta == 1)) break;                          \
                    auto whole = [&] {                                                                           \
                      kernels().x##t##her2k(uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc);             \
                    };                                                                                           \
                    const T be = as_complex<T>(*beta);                                                           \
                    run_syr2k<T>(whole, kernels().x##t##syrk_stretch, true, uplo, trans, *n, *k, alpha, a, *lda, \
                                 b, *ldb, &be, c, *ldc);                                                         \
                  });                                                                                            \
  }
ORB_PUBLIC_HER2K(c, orb_complex8, float)
ORB_PUBLIC_HER2K(z, orb_complex16, double)
#undef ORB_PUBLIC_HER2K

#define ORB_PUBLIC_GEMMT(t, T)                                                                                   \
  extern "C" void orb_blas_##t##gemmt(const char* uplo, const char* transa, const char* transb, const int* n,     \
                                      const int* k, const T* alpha, const T* a, const int* lda, const T* b,      \
                                      const int* ldb, const T* beta, T* c, const int* ldc) {                     \
    ORB_SYX_ENTRY(t##gemmt, l3check::gemmt(*uplo, *transa, *transb, *n, *k, *lda, *ldb, *ldc),                   \
                  (uplo, transa, transb, n, k, alpha, a, lda, b, ldb, beta, c, ldc), {                           \
                    if (*n == 0 || ((is_zero(*alpha) || *k == 0) && is_one(*beta))) break;                       \
                    auto whole = [&] {                                                                           \
                      kernels().x##t##gemmt(uplo, transa, transb, n, k, alpha, a, lda, b, ldb, beta, c, ldc);    \
                    };                                                                                           \
                    const char ta = char(*transa & ~32), tb = char(*transb & ~32);                               \
                    run_gemmt<T>(whole, kernels().x##t##syrk_stretch, uplo, &ta, &tb, *n, *k, alpha, a, *lda, b, \
                                 *ldb, beta, c, *ldc);                                                           \
                  });                                                                                            \
  }
ORB_PUBLIC_GEMMT(s, float)
ORB_PUBLIC_GEMMT(d, double)
ORB_PUBLIC_GEMMT(c, orb_complex8)
ORB_PUBLIC_GEMMT(z, orb_complex16)
#undef ORB_PUBLIC_GEMMT
#undef ORB_SYX_ENTRY

// ---- Standard Fortran names -------------------------------------------------------
// The hidden character lengths gfortran appends are not needed: only the
// first character of each letter argument is read.
#define ORB_F_SYMM(name, T)                                                                                  \
  extern "C" void name##_(const char* side, const char* uplo, const int* m, const int* n, const T* alpha,     \
                          const T* a, const int* lda, const T* b, const int* ldb, const T* beta, T* c,       \
                          const int* ldc) {                                                                  \
    orb_blas_##name(side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc);                                  \
  }
#define ORB_F_SYRK(name, T, S)                                                                               \
  extern "C" void name##_(const char* uplo, const char* trans, const int* n, const int* k, const S* alpha,   \
                          const T* a, const int* lda, const S* beta, T* c, const int* ldc) {                 \
    orb_blas_##name(uplo, trans, n, k, alpha, a, lda, beta, c, ldc);                                         \
  }
#define ORB_F_SYR2K(name, T, S)                                                                              \
  extern "C" void name##_(const char* uplo, const char* trans, const int* n, const int* k, const T* alpha,   \
                          const T* a, const int* lda, const T* b, const int* ldb, const S* beta, T* c,       \
                          const int* ldc) {                                                                  \
    orb_blas_##name(uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc);                                 \
  }
#define ORB_F_GEMMT(name, T)                                                                                 \
  extern "C" void name##_(const char* uplo, const char* transa, const char* transb, const int* n,            \
                          const int* k, const T* alpha, const T* a, const int* lda, const T* b,              \
                          const int* ldb, const T* beta, T* c, const int* ldc) {                             \
    orb_blas_##name(uplo, transa, transb, n, k, alpha, a, lda, b, ldb, beta, c, ldc);                        \
  }
ORB_F_SYMM(ssymm, float)
ORB_F_SYMM(dsymm, double)
ORB_F_SYMM(csymm, orb_complex8)
ORB_F_SYMM(zsymm, orb_complex16)
ORB_F_SYMM(chemm, orb_complex8)
ORB_F_SYMM(zhemm, orb_complex16)
ORB_F_SYRK(ssyrk, float, float)
ORB_F_SYRK(dsyrk, double, double)
ORB_F_SYRK(csyrk, orb_complex8, orb_complex8)
ORB_F_SYRK(zsyrk, orb_complex16, orb_complex16)
ORB_F_SYRK(cherk, orb_complex8, float)
ORB_F_SYRK(zherk, orb_complex16, double)
ORB_F_SYR2K(ssyr2k, float, float)
ORB_F_SYR2K(dsyr2k, double, double)
ORB_F_SYR2K(csyr2k, orb_complex8, orb_complex8)
ORB_F_SYR2K(zsyr2k, orb_complex16, orb_complex16)
ORB_F_SYR2K(cher2k, orb_complex8, float)
ORB_F_SYR2K(zher2k, orb_complex16, double)
ORB_F_GEMMT(sgemmt, float)
ORB_F_GEMMT(dgemmt, double)
ORB_F_GEMMT(cgemmt, orb_complex8)
ORB_F_GEMMT(zgemmt, orb_complex16)
#undef ORB_F_SYMM
#undef ORB_F_SYRK
#undef ORB_F_SYR2K
#undef ORB_F_GEMMT
