// The plan of the power-of-two door and how its memory is laid
// out. A plan lives in memory its caller provides (any
// alignment: the record starts at the next multiple of 64); its tables
// follow the record in the same block.
#pragma once

#include <cstdint>

#include "dft/dft_types.h"
#include "dft/signal/fft_core.hpp"

// Kinds: 4, 5, 6 for the complex, split and real single kinds, 7, 8, 9
// for the double ones.
struct orb_keps_fft_spec {
  int kind;
  int order;
  int scale_fwd;  // nonzero: the forward transform multiplies by scale
  int scale_inv;
  double scale;    // 1/N or 1/sqrt(N); double kinds
  float scale32;   // the same, single kinds
  int hint;
  int buf_size;    // bytes of work buffer a transform needs (0: none)
  void* twiddle_table;  // the tables' block, behind the record
  int* bitrev_table;    // the permutation of part 1's vectors
  void* alloc;          // the block InitAlloc took, or null
  int complex_order;    // order of the complex transform inside (order - 1 for real kinds)
  int pad_;
  const void* real_tw;  // real recombination: cos and sin of 2 pi k / N, k = 1 .. N/4, by vectors
  orb::dft::fft::cplan<float> plan32;
  orb::dft::fft::cplan<double> plan64;
};

namespace orb::dft::fft {

enum class form { c, split, real };

template <class T, form F>
inline constexpr int kKind = (sizeof(T) == 8 ? 7 : 4) + (F == form::c ? 0 : F == form::split ? 1 : 2);

template <class T>
inline cplan<T>& plan_of(orb_keps_fft_spec* s) {
  if constexpr (sizeof(T) == 8) return s->plan64;
  else return s->plan32;
}
template <class T>
inline const cplan<T>& plan_of(const orb_keps_fft_spec* s) {
  if constexpr (sizeof(T) == 8) return s->plan64;
  else return s->plan32;
}
template <class T>
inline T scale_of(const orb_keps_fft_spec* s) {
  if constexpr (sizeof(T) == 8) return s->scale;
  else return s->scale32;
}

// Orders the vector core takes; below, the codelets.
inline constexpr int kMinCoreOrder = 6;

}  // namespace orb::dft::fft
