// Real transforms of the legacy drivers (xd_fN, xs_fN) through a complex
// transform of half the length.
//
// Forward: the N reals, read as N/2 complex values z_j = x_2j + i x_2j+1,
// go through the complex body; the result Z splits into the transforms of
// the even and the odd samples, A_k = (Z_k + conj Z_{M-k}) / 2 and
// B_k = (Z_k - conj Z_{M-k}) / 2i, and X_k = A_k + W^k B_k for k = 0 .. M
// (M = N/2, W = exp(-2 pi i / N), Z_M = Z_0). Backward runs the same steps
// the other way with the factors of 2 left in, so that the result is the
// unnormalised inverse. The recombination is scalar arithmetic in the
// order written, the same in every build; the twiddles are constants of
// the translation unit (real_twiddles<N>, cos and -sin of 2 pi k / N).
#pragma once

#include "dft/codelets/io.hpp"

namespace orb::dft {

template <int N>
struct real_twiddles;

template <int N, class T>
int real_fwd(const T* in, T* out, T scale) {
  constexpr int M = N / 2;
  alignas(64) T z[2 * M];
  il_run<M>(in, 2, z, fwd_map(2), 2);
  const T half = T(0.5);
  for (int k = 0; k <= M; ++k) {
    const int m = (M - k) % M, kk = k % M;
    const T zr = z[2 * kk], zi = z[2 * kk + 1], mr = z[2 * m], mi = z[2 * m + 1];
    const T ar = half * (zr + mr), ai = half * (zi - mi);
    const T br = half * (zi + mi), bi = half * (mr - zr);
    const T c = T(real_twiddles<N>::c[k]), s = T(real_twiddles<N>::s[k]);
    out[2 * k] = (ar + (c * br - s * bi)) * scale;
    out[2 * k + 1] = (ai + (c * bi + s * br)) * scale;
  }
  return 0;
}

template <int N, class T>
int real_bwd(const T* in, T* out, T scale) {
  constexpr int M = N / 2;
  alignas(64) T z[2 * M];
  for (int k = 0; k < M; ++k) {
    const int m = M - k;
    // The imaginary parts of X_0 and X_M are zero in a conjugate-even input.
    const T xr = in[2 * k], xi = k == 0 ? T(0) : in[2 * k + 1];
    const T mr = in[2 * m], mi = m == M ? T(0) : in[2 * m + 1];
    const T ar = xr + mr, ai = xi - mi;
    const T dr = xr - mr, di = xi + mi;
    // B = D times conj(W^k); Z = A + i B.
    const T c = T(real_twiddles<N>::c[k]), s = T(real_twiddles<N>::s[k]);
    const T br = c * dr + s * di, bi = c * di - s * dr;
    z[2 * k] = ar - bi;
    z[2 * k + 1] = ai + br;
  }
  scaled_run<M>(z, out, inv_map(M, 2), scale);
  return 0;
}

}  // namespace orb::dft
