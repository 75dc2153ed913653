// Helpers of the tests of data movement, rotations and index searches:
// buffers placed at a chosen offset with guard bytes around them, and the
// kernels of every build this processor runs.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "orb/orb_types.h"
#include "tests/support/oracle.hpp"

namespace orb::kstest {

template <class E> struct real_of { using type = E; };
template <> struct real_of<orb_complex8> { using type = float; };
template <> struct real_of<orb_complex16> { using type = double; };
template <class E> constexpr int parts = int(sizeof(E) / sizeof(typename real_of<E>::type));

// The letter of an element type in BLAS names: s, d, c or z.
template <class E> constexpr const char* type_letter = nullptr;
template <> inline constexpr const char* type_letter<float> = "s";
template <> inline constexpr const char* type_letter<double> = "d";
template <> inline constexpr const char* type_letter<orb_complex8> = "c";
template <> inline constexpr const char* type_letter<orb_complex16> = "z";

// Elements a vector of n elements with increment inc spans (at least one).
inline std::size_t span(int n, int inc) {
  return n > 0 ? std::size_t(n - 1) * std::size_t(std::abs(inc)) + 1 : 1;
}

// Random elements: each real part in [-1, 1).
template <class E>
std::vector<E> random_elements(std::size_t n, unsigned seed) {
  using T = typename real_of<E>::type;
  const auto r = orb::test::random_vector<T>(n * parts<E>, seed);
  std::vector<E> v(n);
  std::memcpy(v.data(), r.data(), n * sizeof(E));
  return v;
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
  // No byte outside the payload changed.
  ::testing::AssertionResult untouched_around() const {
    for (const unsigned char* q = raw_.data(); q < p_; ++q)
      if (*q != kPattern) return ::testing::AssertionFailure() << "write " << (p_ - q) << " bytes before the vector";
    for (const unsigned char* q = p_ + bytes_; q < raw_.data() + raw_.size(); ++q)
      if (*q != kPattern) return ::testing::AssertionFailure() << "write " << (q - p_ - bytes_) << " bytes past the vector";
    return ::testing::AssertionSuccess();
  }
  // The payload equals `want` byte for byte, and no byte outside it changed.
  ::testing::AssertionResult holds(const void* want) const {
    if (auto r = untouched_around(); !r) return r;
    for (std::size_t i = 0; i < bytes_; ++i)
      if (p_[i] != static_cast<const unsigned char*>(want)[i]) return ::testing::AssertionFailure() << "byte " << i << " differs";
    return ::testing::AssertionSuccess();
  }
  template <class E>
  ::testing::AssertionResult holds(const std::vector<E>& want) const {
    if (want.size() * sizeof(E) != bytes_) return ::testing::AssertionFailure() << "size";
    return holds(static_cast<const void*>(want.data()));
  }

 private:
  std::vector<unsigned char> raw_;
  unsigned char* p_;
  std::size_t bytes_;
};

// The kernel `name` (such as "xdcopy") of every build this processor runs.
template <class F>
std::vector<std::pair<const char*, F>> every_build(const char* name) {
  std::vector<std::pair<const char*, F>> out;
  for (const char* b : orb::test::runnable_builds()) {
    F f = orb::test::kernel_of<F>(b, name);
    EXPECT_NE(f, nullptr) << b << " lacks " << name;
    if (f) out.emplace_back(b, f);
  }
  return out;
}

// check.template operator()<E>() for each element type, s d c z in turn.
template <class F>
void for_each_type(F&& check) {
  check.template operator()<float>();
  check.template operator()<double>();
  check.template operator()<orb_complex8>();
  check.template operator()<orb_complex16>();
}

}  // namespace orb::kstest
