// Helpers shared by the level-1 kernels.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/kernels.hpp"
#include "frame/simd.hpp"

namespace orb::l1 {

using simd::vec;

// Where element 0 of a vector of length n with increment inc lies, counted
// from the address the caller gave: a negative increment starts at the far
// end, so that element i is at (1 - n + i) * inc.
inline std::ptrdiff_t first(int n, int inc) {
  return inc < 0 ? std::ptrdiff_t(1 - n) * inc : 0;
}

// Byte address of a pointer, for alignment tests.
template <class T>
inline std::uintptr_t addr(const T* p) {
  return reinterpret_cast<std::uintptr_t>(p);
}

// Length of the alignment peel that brings p to 64 bytes, or 0 when p is not
// even on an element boundary (no peel then, the loop runs unaligned).
template <class T>
inline int peel64(const T* p, int n) {
  if (addr(p) % sizeof(T) != 0) return 0;
  const std::uintptr_t a = addr(p) & 63;
  if (a == 0) return 0;
  const int k = int((64 - a) / sizeof(T));
  return k < n ? k : n;
}

// The real type beneath a complex interface type.
template <class C> struct real_of { using type = C; };
template <> struct real_of<orb_complex8> { using type = float; };
template <> struct real_of<orb_complex16> { using type = double; };

}  // namespace orb::l1
