// Helpers of the level-1 tests: the four element types, strided vectors,
// buffers placed at a chosen offset between guard bytes, comparisons, and
// the kernels of every build this processor runs.
#pragma once

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "orb/orb_blas.h"
#include "tests/support/oracle.hpp"

namespace orb::l1test {

using orb::test::same_bits;

template <class E> struct real_of { using type = E; };
template <> struct real_of<orb_complex8> { using type = float; };
template <> struct real_of<orb_complex16> { using type = double; };
template <class E> using real_t = typename real_of<E>::type;
template <class E> constexpr int parts = int(sizeof(E) / sizeof(real_t<E>));
template <class E> constexpr real_t<E> eps = std::numeric_limits<real_t<E>>::epsilon();

// The letter of an element type in BLAS names: s, d, c or z.
template <class E> constexpr const char* type_letter = nullptr;
template <> inline constexpr const char* type_letter<float> = "s";
template <> inline constexpr const char* type_letter<double> = "d";
template <> inline constexpr const char* type_letter<orb_complex8> = "c";
template <> inline constexpr const char* type_letter<orb_complex16> = "z";
// Kernel and reference names of an operation: kernel<E>("axpy") is "xdaxpy".
template <class E> std::string kernel(const char* op) { return std::string("x") + type_letter<E> + op; }
template <class E> std::string reference(const char* op) { return std::string(type_letter<E>) + op + "_"; }

// Elements as std::complex<long double>, for oracles, and back.
template <class E> std::complex<long double> val(const E& e) {
  if constexpr (parts<E> == 2) return {e.re, e.im};
  else return {e, 0};
}
template <class E> E make(long double re, long double im = 0) {
  if constexpr (parts<E> == 2) return E{real_t<E>(re), real_t<E>(im)};
  else return E(re);
}

// Offset of element 0 of a vector of n with increment inc, and the number
// of elements it spans (at least one).
inline std::ptrdiff_t first(int n, int inc) { return inc < 0 ? std::ptrdiff_t(1 - n) * inc : 0; }
inline std::size_t span(int n, int inc) { return n > 0 ? std::size_t(n - 1) * std::size_t(std::abs(inc)) + 1 : 1; }

// Random elements: each real part in [-1, 1).
template <class E>
std::vector<E> random_elements(std::size_t n, unsigned seed) {
  const auto r = orb::test::random_vector<real_t<E>>(n * parts<E>, seed);
  std::vector<E> v(n);
  std::memcpy(v.data(), r.data(), n * sizeof(E));
  return v;
}

// Bitwise equality of two vectors, naming the first element that differs.
template <class E>
::testing::AssertionResult same_vectors(const std::vector<E>& a, const std::vector<E>& b) {
  if (a.size() != b.size()) return ::testing::AssertionFailure() << "sizes " << a.size() << " and " << b.size();
  for (std::size_t i = 0; i < a.size(); ++i)
    if (!same_bits(a[i], b[i]))
      return ::testing::AssertionFailure() << "element " << i << ": " << val(a[i]).real() << "," << val(a[i]).imag()
                                           << " vs " << val(b[i]).real() << "," << val(b[i]).imag();
  return ::testing::AssertionSuccess();
}

// |got - want| <= tol * scale (scale 0 counts as 1).
inline ::testing::AssertionResult close_to(std::complex<long double> got, std::complex<long double> want,
                                           long double scale, long double tol) {
  const long double err = std::abs(got - want);
  if (err <= tol * (scale > 0 ? scale : 1)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "got " << double(got.real()) << "," << double(got.imag()) << " want "
                                       << double(want.real()) << "," << double(want.imag()) << " err " << double(err)
                                       << " bound " << double(tol * scale);
}
// Element by element, each scaled by max(1, |want|); equal bits (NaN
// included) always pass.
template <class E>
::testing::AssertionResult close_vectors(const std::vector<E>& got, const std::vector<E>& want, long double tol) {
  for (std::size_t i = 0; i < want.size(); ++i)
    if (auto r = same_bits(got[i], want[i]) ? ::testing::AssertionSuccess() : close_to(val(got[i]), val(want[i]), std::max(1.0L, std::abs(val(want[i]))), tol); !r)
      return r << " at element " << i;
  return ::testing::AssertionSuccess();
}

// Bytes of one vector placed `offset` bytes past a 64-byte boundary, with
// 128 guard bytes of a fixed pattern on each side. The offset need not be a
// multiple of the element size: kernels must cope with any address.
class Guarded {
 public:
  static constexpr std::size_t kGuard = 128;
  static constexpr unsigned char kPattern = 0xA5;

  Guarded(const void* data, std::size_t bytes, std::size_t offset) : raw_(bytes + 2 * kGuard + 128, kPattern), bytes_(bytes) {
    const std::uintptr_t a = reinterpret_cast<std::uintptr_t>(raw_.data()) + kGuard;
    p_ = raw_.data() + kGuard + (64 - a % 64) % 64 + offset;
    std::memcpy(p_, data, bytes);
  }
  template <class E>
  Guarded(const std::vector<E>& v, std::size_t offset) : Guarded(v.data(), v.size() * sizeof(E), offset) {}

  template <class E>
  E* as() {
    return reinterpret_cast<E*>(p_);
  }
  template <class E>
  std::vector<E> values() const {
    std::vector<E> v(bytes_ / sizeof(E));
    std::memcpy(v.data(), p_, bytes_);
    return v;
  }
  // No byte outside the payload changed.
  ::testing::AssertionResult untouched_around() const {
    for (const unsigned char* q = raw_.data(); q < p_; ++q)
      if (*q != kPattern) return ::testing::AssertionFailure() << "write " << (p_ - q) << " bytes before the vector";
    for (const unsigned char* q = p_ + bytes_; q < raw_.data() + raw_.size(); ++q)
      if (*q != kPattern) return ::testing::AssertionFailure() << "write " << (q - p_ - bytes_) << " bytes past the vector";
    return ::testing::AssertionSuccess();
  }
  // The payload equals `want` bit for bit, and no byte outside it changed.
  template <class E>
  ::testing::AssertionResult holds(const std::vector<E>& want) const {
    if (auto r = untouched_around(); !r) return r;
    return same_vectors(values<E>(), want);
  }

 private:
  std::vector<unsigned char> raw_;
  unsigned char* p_;
  std::size_t bytes_;
};

// The kernel `name` (such as "xdcopy") of every build this processor runs.
template <class F>
std::vector<std::pair<const char*, F>> every_build(const std::string& name) {
  std::vector<std::pair<const char*, F>> out;
  for (const char* b : orb::test::runnable_builds()) {
    F f = orb::test::kernel_of<F>(b, name.c_str());
    EXPECT_NE(f, nullptr) << b << " lacks " << name;
    if (f) out.emplace_back(b, f);
  }
  return out;
}

template <class T>
std::vector<unsigned char> bytes_of(const T& v) {
  const unsigned char* p;
  std::size_t n;
  if constexpr (requires { v.data(); }) p = reinterpret_cast<const unsigned char*>(v.data()), n = v.size() * sizeof(v[0]);
  else p = reinterpret_cast<const unsigned char*>(&v), n = sizeof v;
  return {p, p + n};
}

// call(f) with the kernel `name` of every build: all must give the same
// bits, as every build runs the same order of operations. Returns the
// result of the first build.
template <class F, class Call>
auto in_every_build(const std::string& name, Call call) {
  decltype(call(F{})) result{};
  bool have = false;
  for (auto [build, f] : every_build<F>(name)) {
    auto r = call(f);
    if (!have) result = r, have = true;
    else EXPECT_TRUE(bytes_of(r) == bytes_of(result)) << build << " differs from the first build in " << name;
  }
  return result;
}

// check.template operator()<E>() for each element type, s d c z in turn.
template <class F>
void for_each_type(F&& check) {
  check.template operator()<float>();
  check.template operator()<double>();
  check.template operator()<orb_complex8>();
  check.template operator()<orb_complex16>();
}

// A walk over one or two vectors: length, increments, and the byte offsets
// of x and y past a 64-byte boundary.
struct Walk {
  int n, incx, incy;
  std::size_t xoff = 0, yoff = 0;
};
inline std::ostream& operator<<(std::ostream& o, const Walk& w) {
  return o << "n" << w.n << " incx" << w.incx << " incy" << w.incy << " at +" << w.xoff << ",+" << w.yoff;
}

}  // namespace orb::l1test
