// Small helpers of the level-1 arithmetic tests.
#pragma once

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "orb/orb_blas.h"
#include "tests/support/oracle.hpp"

namespace orb::l1test {

using orb::test::random_vector;
using orb::test::same_bits;

// Offset of element 0 for a vector of length n with increment inc.
inline std::ptrdiff_t first(int n, int inc) { return inc < 0 ? std::ptrdiff_t(1 - n) * inc : 0; }

// Reals a strided vector spans (at least one).
inline std::size_t span(int n, int inc, int parts = 1) {
  const std::size_t s = std::size_t(n > 0 ? (n - 1) * std::abs(inc) + 1 : 1);
  return s * std::size_t(parts);
}

// A buffer whose data starts `offset` bytes past a 64-byte boundary, so
// that tests choose the alignment the kernels see. The offset need not be a
// multiple of the element size.
template <class T>
class Placed {
 public:
  Placed(const std::vector<T>& v, std::size_t offset) : raw_(v.size() * sizeof(T) + 128), n_(v.size()) {
    const std::uintptr_t a = reinterpret_cast<std::uintptr_t>(raw_.data());
    p_ = raw_.data() + ((64 - a % 64) % 64) + offset;
    std::memcpy(p_, v.data(), n_ * sizeof(T));
  }
  T* get() { return reinterpret_cast<T*>(p_); }
  std::vector<T> values() const {
    std::vector<T> v(n_);
    std::memcpy(v.data(), p_, n_ * sizeof(T));
    return v;
  }

 private:
  std::vector<unsigned char> raw_;
  unsigned char* p_;
  std::size_t n_;
};

template <class T>
::testing::AssertionResult same_vectors(const std::vector<T>& a, const std::vector<T>& b) {
  if (a.size() != b.size()) return ::testing::AssertionFailure() << "sizes " << a.size() << " and " << b.size();
  for (std::size_t i = 0; i < a.size(); ++i)
    if (!same_bits(a[i], b[i]))
      return ::testing::AssertionFailure() << "element " << i << ": " << a[i] << " vs " << b[i];
  return ::testing::AssertionSuccess();
}

// Relative closeness with a bound scaled by a magnitude (such as sum |x y|).
inline ::testing::AssertionResult close_to(long double got, long double want, long double scale, long double tol) {
  const long double err = std::fabs(got - want);
  if (err <= tol * (scale > 0 ? scale : 1)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "got " << double(got) << " want " << double(want) << " err " << double(err)
                                       << " bound " << double(tol * scale);
}

// Increments worth walking: unit, strided, negative, and zero where legal.
struct Walk {
  int n, incx, incy;
};
inline std::ostream& operator<<(std::ostream& o, const Walk& w) {
  return o << "n" << w.n << "_x" << w.incx << "_y" << w.incy;
}

}  // namespace orb::l1test
