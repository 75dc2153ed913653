// Helpers of the level-2 tests: random data, element access for the four
// types, comparisons with a tolerance scaled to the size of the sums, and
// the builds this processor runs.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "orb/orb_blas.h"
#include "orb/orb_service.h"
#include "tests/support/oracle.hpp"

namespace orb::l2test {

template <class E> struct real_of { using type = E; };
template <> struct real_of<orb_complex8> { using type = float; };
template <> struct real_of<orb_complex16> { using type = double; };
template <class E> using R = typename real_of<E>::type;
template <class E> constexpr bool is_complex = !std::is_same_v<E, R<E>>;

template <class E>
std::vector<E> rnd(std::size_t n, unsigned seed) {
  const auto r = orb::test::random_vector<R<E>>(n * (is_complex<E> ? 2 : 1), seed);
  std::vector<E> v(n);
  std::memcpy(v.data(), r.data(), n * sizeof(E));
  return v;
}

// Elements as std::complex<long double>, for oracles and comparisons.
template <class E> std::complex<long double> val(const E& e) {
  if constexpr (is_complex<E>) return {e.re, e.im};
  else return {e, 0};
}
template <class E> E make(long double re, long double im = 0) {
  if constexpr (is_complex<E>) return E{R<E>(re), R<E>(im)};
  else return E(re);
}
template <class E> E from(std::complex<long double> v) { return make<E>(v.real(), v.imag()); }

template <class E> constexpr long double eps() { return std::is_same_v<R<E>, float> ? 1.2e-7L : 2.3e-16L; }

// |got - want| <= tol * eps * scale for each element.
template <class E>
::testing::AssertionResult close(const std::vector<E>& got, const std::vector<std::complex<long double>>& want,
                                 long double scale, long double tol = 8) {
  if (got.size() != want.size()) return ::testing::AssertionFailure() << "size";
  for (std::size_t i = 0; i < got.size(); ++i) {
    const long double d = std::abs(val(got[i]) - want[i]);
    if (!(d <= tol * eps<E>() * scale))
      return ::testing::AssertionFailure() << "element " << i << ": got " << val(got[i]).real() << ","
                                           << val(got[i]).imag() << " want " << want[i].real() << ","
                                           << want[i].imag() << " (diff " << d << ")";
  }
  return ::testing::AssertionSuccess();
}
template <class E>
::testing::AssertionResult close(const std::vector<E>& got, const std::vector<E>& want, long double scale,
                                 long double tol = 8) {
  std::vector<std::complex<long double>> w;
  for (const E& e : want) w.push_back(val(e));
  return close(got, w, scale, tol);
}

template <class E>
::testing::AssertionResult same(const std::vector<E>& a, const std::vector<E>& b) {
  if (a.size() != b.size()) return ::testing::AssertionFailure() << "size";
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::memcmp(&a[i], &b[i], sizeof(E)) != 0)
      return ::testing::AssertionFailure() << "element " << i << " differs: " << val(a[i]).real() << ","
                                           << val(a[i]).imag() << " vs " << val(b[i]).real() << ","
                                           << val(b[i]).imag();
  return ::testing::AssertionSuccess();
}

// Elements a vector of n with increment inc spans, and element i's offset.
inline std::size_t span(int n, int inc) { return n > 0 ? std::size_t(n - 1) * std::size_t(std::abs(inc)) + 1 : 1; }
inline std::ptrdiff_t at(int n, int inc, int i) { return (inc < 0 ? std::ptrdiff_t(1 - n) * inc : 0) + std::ptrdiff_t(i) * inc; }

inline std::string type_letter(const std::type_info& t) {
  if (t == typeid(float)) return "s";
  if (t == typeid(double)) return "d";
  if (t == typeid(orb_complex8)) return "c";
  return "z";
}
template <class E> std::string letter() { return type_letter(typeid(E)); }

// The public routines of one element type; symv is hemv for complex.
template <class E> struct pub;
#define ORB_PUB(E, t, sy, g2)                                    \
  template <> struct pub<E> {                                    \
    static constexpr auto gemv = orb_blas_##t##gemv;             \
    static constexpr auto gem2v = orb_blas_##t##gem2v##g2;       \
    static constexpr auto symv = orb_blas_##t##sy##mv;           \
    static constexpr auto trsv = orb_blas_##t##trsv;             \
    static constexpr auto trmv = orb_blas_##t##trmv;             \
  };
ORB_PUB(float, s, sy, u)
ORB_PUB(double, d, sy, u)
ORB_PUB(orb_complex8, c, he, c)
ORB_PUB(orb_complex16, z, he, c)
#undef ORB_PUB

// Restores the allocation hook whatever a test does.
struct no_memory {
  explicit no_memory(long nth = 1) { orb_test_fail_allocation(nth, 1); }
  ~no_memory() { orb_test_fail_allocation(0, 0); }
};

}  // namespace orb::l2test
