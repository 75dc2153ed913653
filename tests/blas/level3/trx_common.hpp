// Shared by the TRSM and TRMM tests: problems with the unreferenced
// triangle (and a unit diagonal) filled with NaN, so that any read of them
// shows; the reference BLAS as oracle; captured error reports.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "orb/orb_blas.h"
#include "orb/orb_service.h"
#include "tests/blas/level3/syx_support.hpp"
#include "tests/blas/level3/xerbla_capture.hpp"
#include "tests/support/oracle.hpp"

namespace orb::test::trx {

using gemm::make;
using gemm::scalar;
using syx::thread_count;

// Tolerance relative to the largest element of the result.
template <class T> constexpr double tol = sizeof(typename scalar<T>::R) == 4 ? 2e-4 : 1e-11;

template <class T> double mag(const T& v) {
  if constexpr (std::is_arithmetic_v<T>) return std::fabs(double(v));
  else return std::hypot(double(v.re), double(v.im));
}
inline double nan_v() { return std::numeric_limits<double>::quiet_NaN(); }

template <class T>
using trx_fn = void (*)(const char*, const char*, const char*, const char*, const int*, const int*, const T*,
                        const T*, const int*, T*, const int*);

// One call's data: A of order k (m for "L", n for "R") with leading
// dimension k + 3, B of m x n with leading dimension m + 2.
template <class T>
struct problem {
  char side, uplo, ta, diag;
  int m, n, k, lda, ldb;
  std::vector<T> a, b;
  problem(char s, char u, char t, char d, int m_, int n_, unsigned seed)
      : side(s), uplo(u), ta(t), diag(d), m(m_), n(n_) {
    k = side == 'L' ? m : n;
    lda = std::max(k, 1) + 3;
    ldb = std::max(m, 1) + 2;
    const auto r = random_vector<double>(std::size_t(lda) * k * 2 + std::size_t(ldb) * n * 2 + 2, seed);
    std::size_t p = 0;
    a.assign(std::size_t(lda) * std::max(k, 1), make<T>(nan_v(), nan_v()));
    // Off-diagonal entries small enough that the solve stays well
    // conditioned at every order; a diagonal of modulus 1 to 2.
    const double off = 1.0 / std::max(k, 1);
    for (int j = 0; j < k; ++j)
      for (int i = 0; i < k; ++i) {
        const bool stored = u == 'U' ? i <= j : i >= j;
        const double x = r[p++], y = r[p++];
        if (!stored) continue;
        if (i == j) {
          if (d == 'N') a[i + std::size_t(j) * lda] = make<T>(1.5 + 0.5 * x, 0.5 * y);
        } else {
          a[i + std::size_t(j) * lda] = make<T>(off * x, off * y);
        }
      }
    b.resize(std::size_t(ldb) * std::max(n, 1));
    for (auto& e : b) {
      const double x = r[p++ % r.size()], y = r[p++ % r.size()];
      e = make<T>(x, y);
    }
  }
  std::vector<T> run(trx_fn<T> f, const T& alpha) const {
    std::vector<T> out = b;
    const char s[2] = {side, 0}, u[2] = {uplo, 0}, t[2] = {ta, 0}, d[2] = {diag, 0};
    f(s, u, t, d, &m, &n, &alpha, a.data(), &lda, out.data(), &ldb);
    return out;
  }
};

// Largest difference over the m x n part, relative to the largest
// reference element (at least 1).
template <class T>
double difference(const std::vector<T>& x, const std::vector<T>& ref, int m, int n, int ld) {
  double worst = 0, scale = 1;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      const T& e = ref[i + std::size_t(j) * ld];
      scale = std::max(scale, mag(e));
      T d = x[i + std::size_t(j) * ld];
      if constexpr (std::is_arithmetic_v<T>) d = d - e;
      else d = T{d.re - e.re, d.im - e.im};
      worst = std::max(worst, std::isnan(mag(d)) ? 1e300 : mag(d));
    }
  return worst / scale;
}

template <class T>
bool same_bits(const std::vector<T>& x, const std::vector<T>& y) {
  return x.size() == y.size() && std::memcmp(x.data(), y.data(), x.size() * sizeof(T)) == 0;
}

// Error reports, as the last call left them.
using reports = xerbla_capture::report;
inline reports& fortran_reports() { return xerbla_capture::fortran(); }
inline reports& cblas_reports() { return xerbla_capture::cblas(); }

}  // namespace orb::test::trx
