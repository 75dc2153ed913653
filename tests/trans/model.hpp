// Plain-loop models of the transposition routines, and helpers to build
// matrices with guard values in every gap, for the tests.
#pragma once

#include <cstddef>
#include <cstring>
#include <random>
#include <vector>

#include "orb/orb_service.h"
#include "orb/orb_trans.h"
#include "tests/support/oracle.hpp"

namespace orb::test::trans {

using std::size_t;

template <class T> struct kind {
  using S = T;
  static constexpr bool complex = false;
};
template <> struct kind<orb_complex8> {
  using S = float;
  static constexpr bool complex = true;
};
template <> struct kind<orb_complex16> {
  using S = double;
  static constexpr bool complex = true;
};

template <class T>
T make(double re, double im = 0) {
  if constexpr (kind<T>::complex) return T{typename kind<T>::S(re), typename kind<T>::S(im)};
  else return T(re);
}
template <class T>
bool one(const T& a) {
  if constexpr (kind<T>::complex) return a.re == 1 && a.im == 0;
  else return a == 1;
}
template <class T>
bool zero(const T& a) {
  if constexpr (kind<T>::complex) return a.re == 0 && a.im == 0;
  else return a == 0;
}
template <class T>
T conj(const T& a) {
  if constexpr (kind<T>::complex) return T{a.re, -a.im};
  else return a;
}
// alpha * x, each product rounded on its own.
template <class T>
T mul(const T& s, const T& x) {
  if constexpr (kind<T>::complex) {
    using S = typename kind<T>::S;
    volatile S rr = s.re * x.re, ii = s.im * x.im, ri = s.re * x.im, ir = s.im * x.re;
    return T{S(rr - ii), S(ri + ir)};
  } else {
    return s * x;
  }
}
template <class T>
T plus(const T& x, const T& y) {
  if constexpr (kind<T>::complex) return T{x.re + y.re, x.im + y.im};
  else return x + y;
}
template <class T>
bool same(const T& a, const T& b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

inline char up(char c) { return char(c & ~32); }
inline bool tr(char t) { return up(t) == 'T' || up(t) == 'C'; }
template <class T>
bool cj(char t) {
  return kind<T>::complex && (up(t) == 'R' || up(t) == 'C');
}

template <class T>
T guard() {
  return make<T>(-7777.0, 5555.0);
}

template <class T>
std::vector<T> random_values(size_t n, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> d(-1.0, 1.0);
  std::vector<T> v(n);
  for (auto& e : v) {
    const double re = d(g), im = d(g);
    e = make<T>(re, im);
  }
  return v;
}

// Position of (i, j) of a rows x cols matrix in the given ordering.
inline size_t at(char ordering, size_t i, size_t j, size_t ld, size_t stride = 1) {
  return up(ordering) == 'R' ? i * ld + j * stride : j * ld + i * stride;
}

// op(a) scaled into b, the model of ?omatcopy2: b must hold guard values;
// the model writes only the result positions.
template <class T>
void model_copy(char o, char t, size_t rows, size_t cols, T alpha, const T* a, size_t lda, size_t sa, T* b,
                size_t ldb, size_t sb) {
  for (size_t i = 0; i < rows; ++i)
    for (size_t j = 0; j < cols; ++j) {
      T v = a[at(o, i, j, lda, sa)];
      if (cj<T>(t)) v = conj(v);
      if (!one(alpha)) v = mul(alpha, v);
      b[tr(t) ? at(o, j, i, ldb, sb) : at(o, i, j, ldb, sb)] = v;
    }
}

// The model of ?omatadd (c not an operand): a zero scalar makes it a copy.
template <class T>
void model_add(char o, char ta, char tb, size_t rows, size_t cols, T alpha, const T* a, size_t lda, T beta,
               const T* b, size_t ldb, T* c, size_t ldc) {
  for (size_t i = 0; i < rows; ++i)
    for (size_t j = 0; j < cols; ++j) {
      T x = tr(ta) ? a[at(o, j, i, lda)] : a[at(o, i, j, lda)];
      T y = tr(tb) ? b[at(o, j, i, ldb)] : b[at(o, i, j, ldb)];
      if (cj<T>(ta)) x = conj(x);
      if (cj<T>(tb)) y = conj(y);
      T r;
      if (zero(alpha)) r = one(beta) ? y : mul(beta, y);
      else if (zero(beta)) r = one(alpha) ? x : mul(alpha, x);
      else r = plus(mul(alpha, x), mul(beta, y));
      c[at(o, i, j, ldc)] = r;
    }
}

// Every element of got equals want, bit for bit; the first difference is
// reported by index.
template <class T>
::testing::AssertionResult same_all(const std::vector<T>& got, const std::vector<T>& want) {
  if (got.size() != want.size()) return ::testing::AssertionFailure() << "sizes differ";
  for (size_t i = 0; i < got.size(); ++i)
    if (!same(got[i], want[i])) return ::testing::AssertionFailure() << "first difference at element " << i;
  return ::testing::AssertionSuccess();
}

// The public routines by type.
#define ORB_TRANS_TEST_API(x, T)                                                                                 \
  inline void omatcopy2(char o, char t, size_t r, size_t c, T al, const T* a, size_t lda, size_t sa, T* b,      \
                        size_t ldb, size_t sb) {                                                                 \
    orb_##x##omatcopy2(o, t, r, c, al, a, lda, sa, b, ldb, sb);                                                  \
  }                                                                                                              \
  inline void omatcopy(char o, char t, size_t r, size_t c, T al, const T* a, size_t lda, T* b, size_t ldb) {     \
    orb_##x##omatcopy(o, t, r, c, al, a, lda, b, ldb);                                                           \
  }                                                                                                              \
  inline void omatadd(char o, char ta, char tb, size_t r, size_t c, T al, const T* a, size_t lda, T be,          \
                      const T* b, size_t ldb, T* cc, size_t ldc) {                                               \
    orb_##x##omatadd(o, ta, tb, r, c, al, a, lda, be, b, ldb, cc, ldc);                                          \
  }                                                                                                              \
  inline void imatcopy(char o, char t, size_t r, size_t c, T al, T* ab, size_t lda, size_t ldb) {                \
    orb_##x##imatcopy(o, t, r, c, al, ab, lda, ldb);                                                             \
  }                                                                                                              \
  inline const char* letter(T*) { return #x; }
ORB_TRANS_TEST_API(s, float)
ORB_TRANS_TEST_API(d, double)
ORB_TRANS_TEST_API(c, orb_complex8)
ORB_TRANS_TEST_API(z, orb_complex16)
#undef ORB_TRANS_TEST_API

// Kernel `routine` (without the type letter) of type T in build `tag`.
template <class T, class F>
F trans_kernel(const char* tag, const char* routine) {
  const std::string name = std::string(letter(static_cast<T*>(nullptr))) + routine;
  return reinterpret_cast<F>(orb_test_trans_kernel(tag, name.c_str()));
}

}  // namespace orb::test::trans
