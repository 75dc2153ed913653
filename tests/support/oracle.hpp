// Oracles and helpers shared by the tests.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace orb::test {

// A routine of the reference BLAS (Debian's libblas3, opened by its own
// path so that the alternatives link cannot swap in another library).
// Aborts the test program if the reference is missing: the oracle is part
// of the suite's set-up.
void* reference_symbol(const char* name);

template <class F>
F reference(const char* name) {
  return reinterpret_cast<F>(reference_symbol(name));
}

// An exported kernel of one build, or null where the build cannot run here.
template <class F>
F kernel_of(const char* tag, const char* name);

// Builds this processor can run, best first: of "avx512", "avx2", "def".
std::vector<const char*> runnable_builds();

// Bitwise equality, so that NaN equals NaN and -0 differs from +0.
template <class T>
bool same_bits(const T& a, const T& b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// Deterministic random values in [-1, 1).
template <class T>
std::vector<T> random_vector(std::size_t n, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> d(-1.0, 1.0);
  std::vector<T> v(n);
  for (auto& e : v) e = T(d(g));
  return v;
}

// A page that faults on any access: quick-return tests pass it as an array.
void* faulting_pointer();

}  // namespace orb::test

#include "tests/support/orb_test_hooks.h"

template <class F>
F orb::test::kernel_of(const char* tag, const char* name) {
  return reinterpret_cast<F>(orb_test_kernel(tag, name));
}
