// The quarter-wave sine table every twiddle of the power-of-two door is
// read from: s[k] = sin(2 pi k / n) for k = 0 .. n/4. The first eighth
// comes from sin itself and the rest from cos at the mirrored index, so
// each entry is computed where its function is flat-free and accurate.
// The core's fixed table (order 10) and the kernels' tables of larger
// orders are filled by this one routine, with the core's sin and cos.
#pragma once

#include <cstddef>

#include "orb/orb_service.h"

namespace orb::dft::fft {

inline constexpr double kTwoPi = 6.283185307179586;

template <class T>
inline void fill_quarter_sine(T* s, long n) {
  const long q = n / 4, e = n / 8;
  for (long k = 0; k <= q; ++k)
    s[k] = T(k <= e ? orb_serv_libm_sin(kTwoPi * double(k) / double(n))
                    : orb_serv_libm_cos(kTwoPi * double(q - k) / double(n)));
}

}  // namespace orb::dft::fft
