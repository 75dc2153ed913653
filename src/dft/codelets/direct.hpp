// The smallradix lengths that have no straight-line body (the primes from 17
// up, their multiples, and a few others; see tools/gen_dft_codelets.py):
// one transform by the direct method over symmetric pairs, in scalar double
// arithmetic with fused multiply-adds, the same in every build.
//
// With a_j = x_j + x_{N-j} and b_j = x_j - x_{N-j} (j = 1 .. (N-1)/2) and,
// for even N, h = x_{N/2}:
//   X_k     = x_0 + (-1)^k h + sum_j a_j cos(2 pi jk/N) - i sum_j b_j sin(2 pi jk/N)
//   X_{N-k} = the same with + i.
// The inverse stores X_k at N - k. c and s hold cos and sin of 2 pi r / N.
#pragma once

#include <cmath>

namespace orb::dft {

inline void direct_dft(const double* src, double* dst, int n, const double* c, const double* s, bool inverse,
                       double scale) {
  const int m = (n - 1) / 2;
  const bool even = n % 2 == 0;
  double ar[32], ai[32], br[32], bi[32], yr[64], yi[64];
  const double x0r = src[0], x0i = src[1];
  const double hr = even ? src[n] : 0.0, hi = even ? src[n + 1] : 0.0;
  double sr = x0r, si = x0i;
  for (int j = 1; j <= m; ++j) {
    const double* p = src + 2 * j;
    const double* q = src + 2 * (n - j);
    ar[j - 1] = p[0] + q[0], ai[j - 1] = p[1] + q[1];
    br[j - 1] = p[0] - q[0], bi[j - 1] = p[1] - q[1];
    sr += ar[j - 1], si += ai[j - 1];
  }
  if (even) sr += hr, si += hi;
  yr[0] = sr, yi[0] = si;
  for (int k = 1; k <= n / 2; ++k) {
    double rr = x0r, ri = x0i;
    if (even) {
      if (k & 1) rr -= hr, ri -= hi;
      else rr += hr, ri += hi;
    }
    double wr = 0.0, wi = 0.0;
    int r = 0;
    for (int j = 1; j <= m; ++j) {
      r += k;
      if (r >= n) r -= n;
      rr = std::fma(ar[j - 1], c[r], rr);
      ri = std::fma(ai[j - 1], c[r], ri);
      // -i b sin: (b_im sin, -b_re sin)
      wr = std::fma(bi[j - 1], s[r], wr);
      wi = std::fma(-br[j - 1], s[r], wi);
    }
    yr[k] = rr + wr, yi[k] = ri + wi;
    if (n - k != k) yr[n - k] = rr - wr, yi[n - k] = ri - wi;
  }
  for (int k = 0; k < n; ++k) {
    const int at = inverse && k ? n - k : k;
    dst[2 * at] = yr[k] * scale;
    dst[2 * at + 1] = yi[k] * scale;
  }
}

}  // namespace orb::dft
