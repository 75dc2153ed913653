// Shared by the tests of SYRK, HERK, SYR2K, HER2K, GEMMT, SYMM and HEMM: one
// problem record per call, the library's and the reference BLAS's forms of
// each routine, and the comparisons.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "orb/orb_blas_fortran.h"
#include "tests/blas/engine/gemm_model.hpp"
#include "tests/support/orb_test_hooks.h"

namespace orb::test::syx {

using gemm::make;
using gemm::random_matrix;
using gemm::scalar;

template <class T> using R_of = typename scalar<T>::R;
template <class T> constexpr bool cplx = scalar<T>::C == 2;

template <class T> R_of<T> re(const T& v) { return reinterpret_cast<const R_of<T>*>(&v)[0]; }
template <class T> R_of<T> im(const T& v) { return cplx<T> ? reinterpret_cast<const R_of<T>*>(&v)[1] : R_of<T>(0); }
template <class T> T conj(T v) {
  if constexpr (cplx<T>) v.im = -v.im;
  return v;
}
template <class T> T nan_value() { return make<T>(std::numeric_limits<double>::quiet_NaN(), -1.0); }

// The standard name of the library (the Fortran form), by name.
template <class F> F ours(const std::string& name) {
  void* f = dlsym(RTLD_DEFAULT, name.c_str());
  if (!f) ADD_FAILURE() << "the library lacks " << name;
  return reinterpret_cast<F>(f);
}

template <class T, class S>
using syrk_fn = void (*)(const char*, const char*, const int*, const int*, const S*, const T*, const int*, const S*,
                         T*, const int*);
template <class T, class S>
using syr2k_fn = void (*)(const char*, const char*, const int*, const int*, const T*, const T*, const int*,
                          const T*, const int*, const S*, T*, const int*);
template <class T>
using gemmt_fn = void (*)(const char*, const char*, const char*, const int*, const int*, const T*, const T*,
                          const int*, const T*, const int*, const T*, T*, const int*);
template <class T>
using symm_fn = void (*)(const char*, const char*, const int*, const int*, const T*, const T*, const int*,
                         const T*, const int*, const T*, T*, const int*);
template <class T> using gemm_fn = gemm::gemm_fn<T>;

// ---- The triangle-output routines ------------------------------------------------------

enum class fam { syrk, herk, syr2k, her2k, gemmt };
inline const char* fam_name(fam f) {
  switch (f) {
    case fam::syrk: return "syrk";
    case fam::herk: return "herk";
    case fam::syr2k: return "syr2k";
    case fam::her2k: return "her2k";
    default: return "gemmt";
  }
}

// One call: operands with leading dimensions `pad` above the minimum, C
// random in its stored triangle and NaN elsewhere (other triangle and
// padding), so that any write outside the triangle shows.
template <class T>
struct tri_problem {
  fam f;
  char uplo, ta, tb;
  int n, k, lda, ldb, ldc;
  T alpha, beta;
  std::vector<T> a, b, c;

  tri_problem(fam f_, char uplo_, char ta_, char tb_, int n_, int k_, int pad, T alpha_, T beta_, unsigned seed)
      : f(f_), uplo(uplo_), ta(ta_), tb(tb_), n(n_), k(k_), alpha(alpha_), beta(beta_) {
    if (f == fam::herk) alpha = make<T>(re(alpha)), beta = make<T>(re(beta));
    if (f == fam::her2k) beta = make<T>(re(beta));
    const int ar = ta == 'N' ? n : k, ac = ta == 'N' ? k : n;
    const bool gt = f == fam::gemmt;
    const int br = gt ? (tb == 'N' ? k : n) : ar, bc = gt ? (tb == 'N' ? n : k) : ac;
    lda = std::max(1, ar + pad);
    ldb = std::max(1, br + pad);
    ldc = std::max(1, n + pad);
    a = random_matrix<T>(std::size_t(lda) * std::max(1, ac), seed);
    b = random_matrix<T>(std::size_t(ldb) * std::max(1, bc), seed + 1);
    c = random_matrix<T>(std::size_t(ldc) * std::max(1, n), seed + 2);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < ldc; ++i)
        if (!stored(i, j)) c[i + std::size_t(j) * ldc] = nan_value<T>();
  }
  bool stored(int i, int j) const { return i < n && (uplo == 'L' ? i >= j : i <= j); }
  bool hermitian() const { return f == fam::herk || f == fam::her2k; }

  // The library's standard name on a copy of C.
  std::vector<T> run_ours() const { return run(false); }
  std::vector<T> run_reference() const { return run(true); }

  // A routine of this problem's family: the library's ("x?syrk" and the
  // like, through `kernel`), or with `reference` the reference BLAS's.
  std::vector<T> run(bool reference, const char* tag = nullptr) const {
    std::vector<T> out = c;
    const std::string x = scalar<T>::x;
    const char u[2] = {uplo, 0}, sa[2] = {ta, 0}, sb[2] = {tb, 0};
    auto pick = [&](const std::string& name) -> void* {
      if (tag) return orb_test_kernel(tag, ("x" + name).c_str());
      return reference ? reference_symbol((name + "_").c_str()) : dlsym(RTLD_DEFAULT, (name + "_").c_str());
    };
    using S = R_of<T>;
    switch (f) {
      case fam::syrk:
        reinterpret_cast<syrk_fn<T, T>>(pick(x + "syrk"))(u, sa, &n, &k, &alpha, a.data(), &lda, &beta, out.data(),
                                                          &ldc);
        break;
      case fam::herk: {
        const S al = re(alpha), be = re(beta);
        reinterpret_cast<syrk_fn<T, S>>(pick(x + "herk"))(u, sa, &n, &k, &al, a.data(), &lda, &be, out.data(), &ldc);
        break;
      }
      case fam::syr2k:
        reinterpret_cast<syr2k_fn<T, T>>(pick(x + "syr2k"))(u, sa, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb,
                                                            &beta, out.data(), &ldc);
        break;
      case fam::her2k: {
        const S be = re(beta);
        reinterpret_cast<syr2k_fn<T, S>>(pick(x + "her2k"))(u, sa, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb,
                                                            &be, out.data(), &ldc);
        break;
      }
      case fam::gemmt:
        if (reference && !tag) {
          // The triangle of a reference GEMM.
          std::vector<T> full = c;
          for (auto& e : full)
            if (std::isnan(re(e))) e = make<T>(0);
          reinterpret_cast<gemm_fn<T>>(reference_symbol((x + "gemm_").c_str()))(
              sa, sb, &n, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, full.data(), &ldc);
          for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i)
              if (stored(i, j)) out[i + std::size_t(j) * ldc] = full[i + std::size_t(j) * ldc];
        } else {
          reinterpret_cast<gemmt_fn<T>>(pick(x + "gemmt"))(u, sa, sb, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb,
                                                          &beta, out.data(), &ldc);
        }
        break;
    }
    return out;
  }
};

template <class T>
std::ostream& operator<<(std::ostream& o, const tri_problem<T>& p) {
  return o << scalar<T>::x << fam_name(p.f) << ' ' << p.uplo << p.ta << p.tb << " n " << p.n << " k " << p.k
           << " alpha " << re(p.alpha) << ',' << im(p.alpha) << " beta " << re(p.beta) << ',' << im(p.beta);
}

// Tolerance of one element with `terms` products of size about 1.
template <class T> double tolerance(int terms) {
  return (sizeof(R_of<T>) == 4 ? 2e-6 : 4e-15) * 8 * (terms + 4);
}

// `got` against `want` on the stored elements (to the tolerance), and the
// elements outside the triangle (or, for SYMM, the rows of C) left exactly
// as they were.
template <class P, class T>
::testing::AssertionResult triangle_near(const P& p, const std::vector<T>& got, const std::vector<T>& want,
                                         int terms) {
  const double tol = tolerance<T>(terms);
  for (int j = 0; j < p.n; ++j)
    for (int i = 0; i < p.ldc; ++i) {
      const std::size_t e = i + std::size_t(j) * p.ldc;
      if (!p.stored(i, j)) {
        if (!same_bits(got[e], p.c[e])) return ::testing::AssertionFailure() << "wrote outside at " << i << ',' << j;
        continue;
      }
      const double dr = std::fabs(double(re(got[e])) - re(want[e])), di = std::fabs(double(im(got[e])) - im(want[e]));
      const double scale = 1 + std::fabs(double(re(want[e]))) + std::fabs(double(im(want[e])));
      if (!(dr <= tol * scale && di <= tol * scale))
        return ::testing::AssertionFailure() << "element " << i << ',' << j << " got " << re(got[e]) << ','
                                             << im(got[e]) << " want " << re(want[e]) << ',' << im(want[e]);
      if (p.hermitian() && i == j && im(got[e]) != 0)
        return ::testing::AssertionFailure() << "diagonal " << i << " not real";
    }
  return ::testing::AssertionSuccess();
}

template <class T>
::testing::AssertionResult all_same_bits(const std::vector<T>& x, const std::vector<T>& y) {
  if (x.size() != y.size()) return ::testing::AssertionFailure() << "sizes differ";
  for (std::size_t i = 0; i < x.size(); ++i)
    if (!same_bits(x[i], y[i])) return ::testing::AssertionFailure() << "element " << i << " differs";
  return ::testing::AssertionSuccess();
}

struct thread_count {
  explicit thread_count(int n) { orb_set_num_threads(n); }
  ~thread_count() { orb_set_num_threads(0); }
};

// Each allocation of a call by `run` made to fail in turn, once and for
// good: `check(result, nth)` on what comes back, and nothing left allocated.
template <class Run, class Check>
void each_allocation_failing(Run run, Check check) {
  const long live = orb_test_live_blocks(), before = orb_test_allocation_count();
  run();
  const long count = orb_test_allocation_count() - before;
  EXPECT_GE(count, 1);
  for (long nth = 1; nth <= count + 1; ++nth)
    for (int persistent : {0, 1}) {
      orb_test_fail_allocation(nth, persistent);
      const auto got = run();
      orb_test_fail_allocation(0, 0);
      check(got, nth);
      EXPECT_EQ(orb_test_live_blocks(), live) << "failing allocation " << nth;
    }
}

}  // namespace orb::test::syx
