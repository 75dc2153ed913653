// The checks both routines share, run by trsm_test.cpp and trmm_test.cpp
// on their own routine: the reference BLAS over every letter combination,
// the three public forms, the same bits for any thread count and in every
// build, failed allocations, and the error reports.
#pragma once

#include "orb/cblas.h"
#include "orb/orb_blas_fortran.h"
#include "tests/blas/level3/trx_common.hpp"
#include "tests/support/orb_test_hooks.h"

namespace orb::test::trx {

enum class op { trsm, trmm };

template <class T> struct forms;
#define ORB_TRX_FORMS(T, t, V)                                                                                 \
  template <> struct forms<T> {                                                                               \
    static trx_fn<T> pub(op o) { return o == op::trsm ? orb_blas_##t##trsm : orb_blas_##t##trmm; }            \
    static trx_fn<T> fortran(op o) { return o == op::trsm ? t##trsm_ : t##trmm_; }                              \
    static void cblas(op o, int layout, int s, int u, int ta, int d, int m, int n, const T& alpha, const T* a, \
                      int lda, T* b, int ldb) {                                                                \
      auto f = o == op::trsm ? cblas_##t##trsm : cblas_##t##trmm;                                              \
      f(CBLAS_LAYOUT(layout), CBLAS_SIDE(s), CBLAS_UPLO(u), CBLAS_TRANSPOSE(ta), CBLAS_DIAG(d), m, n, V(alpha), \
        a, lda, b, ldb);                                                                                       \
    }                                                                                                          \
  };
#define ORB_BY_VALUE(x) x
#define ORB_BY_ADDRESS(x) &x
ORB_TRX_FORMS(float, s, ORB_BY_VALUE)
ORB_TRX_FORMS(double, d, ORB_BY_VALUE)
ORB_TRX_FORMS(orb_complex8, c, ORB_BY_ADDRESS)
ORB_TRX_FORMS(orb_complex16, z, ORB_BY_ADDRESS)
#undef ORB_TRX_FORMS
#undef ORB_BY_VALUE
#undef ORB_BY_ADDRESS

inline std::string name_of(const char* x, op o) { return std::string(x) + (o == op::trsm ? "trsm" : "trmm"); }

template <class T>
std::string label(op o, const problem<T>& p) {
  return name_of(scalar<T>::x, o) + " " + p.side + p.uplo + p.ta + p.diag + " m=" + std::to_string(p.m) +
         " n=" + std::to_string(p.n);
}

// Rows m..ldb-1 of every column are never written.
template <class T>
bool padding_kept(const problem<T>& p, const std::vector<T>& x) {
  for (int j = 0; j < p.n; ++j)
    for (int i = p.m; i < p.ldb; ++i)
      if (!orb::test::same_bits(x[i + std::size_t(j) * p.ldb], p.b[i + std::size_t(j) * p.ldb])) return false;
  return true;
}

template <class F>
void each_letters(F f) {
  for (char s : {'L', 'R'})
    for (char u : {'U', 'L'})
      for (char t : {'N', 'T', 'C'})
        for (char d : {'N', 'U'}) f(s, u, t, d);
}

// Every letter combination on the sizes given, alpha 0, 1 and another in
// turn (each combination meets all three over the sizes). Past order 100
// the blocking, not the diagonal's letter, is under test: each such size
// takes one diagonal letter, the next size the other.
template <class T>
void against_reference(op o, std::initializer_list<std::pair<int, int>> sizes) {
  const auto ref = reference<trx_fn<T>>((name_of(scalar<T>::x, o) + "_").c_str());
  const T alphas[] = {make<T>(0), make<T>(1), make<T>(-0.7, 0.4)};
  unsigned seed = 1;
  each_letters([&](char s, char u, char t, char d) {
    int large = 0;
    for (auto [m, n] : sizes) {
      if (std::max(m, n) > 100 && (d == 'U') != (++large % 2 == 0)) continue;
      const T& alpha = alphas[++seed % 3];
      const problem<T> p(s, u, t, d, m, n, seed);
      const auto x = p.run(forms<T>::pub(o), alpha);
      EXPECT_LE(difference(x, p.run(ref, alpha), m, n, p.ldb), tol<T>) << label(o, p) << " " << mag(alpha);
      EXPECT_TRUE(padding_kept(p, x)) << label(o, p);
    }
  });
}

// The Fortran name and CBLAS in both layouts give the bits of orb_blas_.
template <class T>
void three_forms(op o, int m, int n) {
  const T alpha = make<T>(0.5, -0.25);
  each_letters([&](char s, char u, char t, char d) {
    const problem<T> p(s, u, t, d, m, n, 7);
    const auto want = p.run(forms<T>::pub(o), alpha);
    EXPECT_TRUE(same_bits(p.run(forms<T>::fortran(o), alpha), want)) << label(o, p);
    const int cs = s == 'L' ? CblasLeft : CblasRight, cu = u == 'U' ? CblasUpper : CblasLower;
    const int ct = t == 'N' ? CblasNoTrans : t == 'T' ? CblasTrans : CblasConjTrans;
    const int cd = d == 'U' ? CblasUnit : CblasNonUnit;
    auto col = p.b;
    forms<T>::cblas(o, CblasColMajor, cs, cu, ct, cd, m, n, alpha, p.a.data(), p.lda, col.data(), p.ldb);
    EXPECT_TRUE(same_bits(col, want)) << label(o, p) << " column-major";
    // The same memory read as row-major is the transposed problem.
    auto row = p.b;
    forms<T>::cblas(o, CblasRowMajor, cs == CblasLeft ? CblasRight : CblasLeft,
                    cu == CblasUpper ? CblasLower : CblasUpper, ct, cd, n, m, alpha, p.a.data(), p.lda, row.data(),
                    p.ldb);
    EXPECT_TRUE(same_bits(row, want)) << label(o, p) << " row-major";
  });
}

// 1, 2 and 3 threads give the same bits just above the size where the
// core starts a team (half of 400 * 400 * 30 multiply-adds); order 400
// takes two K blocks.
template <class T>
void thread_invariant(op o) {
  for (auto [s, t, m, n] : {std::tuple{'L', 'N', 400, 30}, std::tuple{'R', 'C', 30, 400}}) {
    const problem<T> p(s, 'L', t, 'N', m, n, 11);
    const T alpha = make<T>(1.5, 0.5);
    std::vector<T> one;
    {
      thread_count tc(1);
      one = p.run(forms<T>::pub(o), alpha);
    }
    for (int threads : {2, 3}) {
      thread_count tc(threads);
      EXPECT_TRUE(same_bits(p.run(forms<T>::pub(o), alpha), one)) << label(o, p) << " threads " << threads;
    }
  }
}

// Every build's kernel gives the bits of the first: the engine's blocks
// with wide and single tiles and their tails at order 200, the small path at 11.
template <class T>
void same_in_every_build(op o) {
  const std::string kernel = "x" + name_of(scalar<T>::x, o);
  for (auto [s, m, n] : {std::tuple{'L', 200, 29}, std::tuple{'R', 70, 200}, std::tuple{'L', 11, 5}}) {
    each_letters([&, s = s, m = m, n = n](char side, char u, char t, char d) {
      if (side != s) return;
      const problem<T> p(s, u, t, d, m, n, 5);
      std::vector<T> first;
      for (const char* tag : runnable_builds()) {
        const auto f = kernel_of<trx_fn<T>>(tag, kernel.c_str());
        ASSERT_NE(f, nullptr) << tag << " " << kernel;
        const auto x = p.run(f, make<T>(-0.5, 2));
        if (first.empty()) first = x;
        else EXPECT_TRUE(same_bits(x, first)) << label(o, p) << " build " << tag;
      }
    });
  }
}

// Each allocation of a call made to fail in turn: the numbers stay right
// and nothing leaks.
template <class T>
void without_memory(op o) {
  for (auto [s, m, n] : {std::tuple{'L', 200, 24}, std::tuple{'R', 24, 200}}) {
    const problem<T> p(s, 'U', 'T', 'N', m, n, 3);
    const T alpha = make<T>(0.75);
    const auto want = p.run(forms<T>::pub(o), alpha);
    SCOPED_TRACE(label(o, p));
    syx::each_allocation_failing([&] { return p.run(forms<T>::pub(o), alpha); },
                                 [&](const std::vector<T>& x, long nth) {
                                   EXPECT_LE(difference(x, want, m, n, p.ldb), tol<T>) << "failing " << nth;
                                 });
  }
}

// Every position each form reports, with B untouched.
template <class T>
void error_reports(op o) {
  const std::string upper = [&] {
    std::string n = name_of(scalar<T>::x, o);
    for (auto& c : n) c = char(std::toupper(c));
    return n;
  }();
  struct bad {
    char s, u, t, d;
    int m, n, lda, ldb, info;
  };
  const bad cases[] = {{'X', 'U', 'N', 'N', 2, 3, 2, 2, 1}, {'L', 'X', 'N', 'N', 2, 3, 2, 2, 2},
                       {'L', 'U', 'X', 'N', 2, 3, 2, 2, 3}, {'L', 'U', 'N', 'X', 2, 3, 2, 2, 4},
                       {'L', 'U', 'N', 'N', -1, 3, 2, 2, 5}, {'R', 'U', 'N', 'N', 2, -1, 2, 2, 6},
                       {'L', 'U', 'N', 'N', 3, 2, 2, 3, 9},  {'R', 'L', 'T', 'U', 2, 3, 2, 2, 9},
                       {'L', 'U', 'N', 'N', 2, 3, 2, 1, 11}, {'R', 'U', 'C', 'N', 3, 0, 1, 2, 11}};
  std::vector<T> a(16, make<T>(1)), b(16, make<T>(2));
  const T alpha = make<T>(1);
  for (const bad& c : cases) {
    for (auto f : {forms<T>::pub(o), forms<T>::fortran(o)}) {
      auto& r = fortran_reports();
      const int calls = r.calls;
      auto x = b;
      f(&c.s, &c.u, &c.t, &c.d, &c.m, &c.n, &alpha, a.data(), &c.lda, x.data(), &c.ldb);
      EXPECT_EQ(r.calls, calls + 1) << upper << " " << c.info;
      EXPECT_EQ(r.info, c.info) << upper;
      EXPECT_EQ(r.name, upper);
      EXPECT_TRUE(same_bits(x, b));
    }
  }
  // CBLAS: the enumerations at their own positions, the rest one past the
  // Fortran position; row-major at the positions of the transposed call.
  struct cbad {
    int layout, s, u, t, d, m, n, lda, ldb, info;
  };
  const int L = CblasLeft, R = CblasRight, U = CblasUpper, N = CblasNoTrans, NU = CblasNonUnit;
  const cbad ccases[] = {{0, L, U, N, NU, 2, 2, 2, 2, 1},
                         {CblasColMajor, 0, U, N, NU, 2, 2, 2, 2, 2},
                         {CblasRowMajor, L, 0, N, NU, 2, 2, 2, 2, 3},
                         {CblasColMajor, L, U, 0, NU, 2, 2, 2, 2, 4},
                         {CblasRowMajor, L, U, N, 0, 2, 2, 2, 2, 5},
                         {CblasColMajor, L, U, N, NU, -1, 2, 2, 2, 6},
                         {CblasColMajor, L, U, N, NU, 2, -1, 2, 2, 7},
                         {CblasColMajor, L, U, N, NU, 3, 2, 2, 3, 10},
                         {CblasColMajor, R, U, N, NU, 2, 3, 3, 1, 12},
                         // Row-major m x n is the column-major n x m.
                         {CblasRowMajor, L, U, N, NU, -1, 2, 2, 2, 7},
                         {CblasRowMajor, L, U, N, NU, 2, -1, 2, 2, 6},
                         {CblasRowMajor, L, U, N, NU, 3, 2, 2, 3, 10},
                         {CblasRowMajor, R, U, N, NU, 2, 3, 3, 2, 12}};
  const std::string cname = "cblas_" + name_of(scalar<T>::x, o);
  for (const cbad& c : ccases) {
    auto& r = cblas_reports();
    const int calls = r.calls;
    auto x = b;
    forms<T>::cblas(o, c.layout, c.s, c.u, c.t, c.d, c.m, c.n, alpha, a.data(), c.lda, x.data(), c.ldb);
    EXPECT_EQ(r.calls, calls + 1) << cname << " " << c.info;
    EXPECT_EQ(r.info, c.info) << cname << " layout " << c.layout;
    EXPECT_EQ(r.name, cname);
    EXPECT_TRUE(same_bits(x, b));
  }
}

// alpha 0 zeroes B without reading A (all NaN); empty sizes touch nothing.
template <class T>
void alpha_zero_and_quick_returns(op o) {
  each_letters([&](char s, char u, char t, char d) {
    problem<T> p(s, u, t, d, 270, 12, 9);
    std::fill(p.a.begin(), p.a.end(), make<T>(nan_v(), nan_v()));
    const auto x = p.run(forms<T>::pub(o), make<T>(0));
    for (int j = 0; j < p.n; ++j)
      for (int i = 0; i < p.m; ++i)
        EXPECT_TRUE(orb::test::same_bits(x[i + std::size_t(j) * p.ldb], make<T>(0))) << label(o, p);
    EXPECT_TRUE(padding_kept(p, x));
  });
  T* nowhere = static_cast<T*>(faulting_pointer());
  const T alpha = make<T>(2);
  const int zero = 0, five = 5, one = 1;
  forms<T>::pub(o)("L", "U", "N", "N", &zero, &five, &alpha, nowhere, &one, nowhere, &one);
  forms<T>::pub(o)("R", "L", "T", "U", &five, &zero, &alpha, nowhere, &one, nowhere, &five);
}

}  // namespace orb::test::trx
