// Level-1 BLAS on the tour: each routine runs on random data through the
// public names, is checked against a plain loop (long double where the loop
// accumulates), and timed on vectors that fit in the last-level cache.
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/tour/tour.hpp"
#include "orb/orb_blas.h"

namespace orb::tour {
namespace {

constexpr int kN = 200000;  // 1.6 MB per double vector

void run_level1(outcome& o) {
  const int n = kN, one = 1;
  std::printf("  (n = %d, unit stride; speeds are the best of repeated calls)\n", n);
  const auto x = random_doubles(n, 1);
  const auto y0 = random_doubles(n, 2);

  {  // daxpy
    const double alpha = 0.5;
    auto y = y0;
    orb_blas_daxpy(&n, &alpha, x.data(), &one, y.data(), &one);
    double err = 0;
    for (int i = 0; i < n; ++i) err = std::max(err, std::fabs(y[i] - (alpha * x[i] + y0[i])));
    const double t = best_seconds([&] { orb_blas_daxpy(&n, &alpha, x.data(), &one, y.data(), &one); });
    report(o, "daxpy", fmt("y := 0.5 x + y, max error %.1e", err), err <= 1e-15, gbs(24.0 * n, t), "GB/s");
  }
  {  // ddot
    double r = orb_blas_ddot(&n, x.data(), &one, y0.data(), &one);
    long double want = 0;
    for (int i = 0; i < n; ++i) want += (long double)x[i] * y0[i];
    const double t = best_seconds([&] { r = orb_blas_ddot(&n, x.data(), &one, y0.data(), &one); });
    report(o, "ddot", fmt("x.y = %.15g (loop %.15g)", r, double(want)), close(r, double(want), 1e-12),
           gbs(16.0 * n, t), "GB/s");
  }
  {  // dnrm2
    double r = orb_blas_dnrm2(&n, x.data(), &one);
    long double ss = 0;
    for (int i = 0; i < n; ++i) ss += (long double)x[i] * x[i];
    const double want = double(std::sqrt(ss));
    const double t = best_seconds([&] { r = orb_blas_dnrm2(&n, x.data(), &one); });
    report(o, "dnrm2", fmt("|x| = %.15g (loop %.15g)", r, want), close(r, want, 1e-14), gbs(8.0 * n, t), "GB/s");
    // Scaling: a vector whose squares overflow still has a finite norm.
    const int two = 2;
    const double big[2] = {3e300, 4e300};
    const double rb = orb_blas_dnrm2(&two, big, &one);
    report(o, "dnrm2", fmt("|(3e300, 4e300)| = %.6g", rb), close(rb, 5e300, 1e-15), 0, "");
  }
  {  // dasum
    double r = orb_blas_dasum(&n, x.data(), &one);
    long double want = 0;
    for (int i = 0; i < n; ++i) want += std::fabs(x[i]);
    const double t = best_seconds([&] { r = orb_blas_dasum(&n, x.data(), &one); });
    report(o, "dasum", fmt("sum |x| = %.15g (loop %.15g)", r, double(want)), close(r, double(want), 1e-12),
           gbs(8.0 * n, t), "GB/s");
  }
  {  // idamax: the first index of the largest magnitude, counted from 1
    auto v = x;
    v[n / 3] = -2.0;
    v[2 * n / 3] = 2.0;  // a tie later on: the first one wins
    int r = orb_blas_idamax(&n, v.data(), &one);
    const int want = n / 3 + 1;
    const double t = best_seconds([&] { r = orb_blas_idamax(&n, v.data(), &one); });
    report(o, "idamax", fmt("index %.0f (expected %.0f)", r, want), r == want, gbs(8.0 * n, t), "GB/s");
  }
  {  // dscal: one rounding per element, so exactly the loop's result
    auto v = x;
    const double alpha = -1.5;
    orb_blas_dscal(&n, &alpha, v.data(), &one);
    bool same = true;
    for (int i = 0; i < n; ++i) same = same && v[i] == alpha * x[i];
    const double a2 = 0.9999999;
    const double t = best_seconds([&] { orb_blas_dscal(&n, &a2, v.data(), &one); });
    report(o, "dscal", "x := -1.5 x, every element exact", same, gbs(16.0 * n, t), "GB/s");
  }
  {  // dcopy
    std::vector<double> v(n, 0.0);
    orb_blas_dcopy(&n, x.data(), &one, v.data(), &one);
    const bool same = v == x;
    const double t = best_seconds([&] { orb_blas_dcopy(&n, x.data(), &one, v.data(), &one); });
    report(o, "dcopy", "y := x, every element exact", same, gbs(16.0 * n, t), "GB/s");
  }
  {  // drot: a plane rotation of two vectors
    auto a = x, b = y0;
    const double c = 0.6, s = 0.8;
    orb_blas_drot(&n, a.data(), &one, b.data(), &one, &c, &s);
    double err = 0;
    for (int i = 0; i < n; ++i) {
      err = std::max(err, std::fabs(a[i] - (c * x[i] + s * y0[i])));
      err = std::max(err, std::fabs(b[i] - (c * y0[i] - s * x[i])));
    }
    const double t = best_seconds([&] { orb_blas_drot(&n, a.data(), &one, b.data(), &one, &c, &s); });
    report(o, "drot", fmt("rotate by (0.6, 0.8), max error %.1e", err), err <= 4e-16, gbs(32.0 * n, t), "GB/s");
  }
  {  // drotg: the rotation that zeroes b
    double a = 3, b = 4, c = 0, s = 0;
    orb_blas_drotg(&a, &b, &c, &s);
    const bool ok = close(a, 5, 1e-15) && close(c, 0.6, 1e-15) && close(s, 0.8, 1e-15) && close(b, 1 / 0.6, 1e-15);
    char buf[128];
    std::snprintf(buf, sizeof buf, "(3, 4): r %.3g c %.3g s %.3g z %.4g", a, c, s, b);
    report(o, "drotg", buf, ok, 0, "");
  }

  // Complex vectors of n / 2 elements: the same bytes as the real ones.
  const int m = n / 2;
  const auto* zx = reinterpret_cast<const orb_complex16*>(x.data());
  const auto* zy0 = reinterpret_cast<const orb_complex16*>(y0.data());
  auto cx = [&](int i) { return std::complex<long double>(zx[i].re, zx[i].im); };
  auto cy = [&](int i) { return std::complex<long double>(zy0[i].re, zy0[i].im); };
  {  // zaxpy
    const orb_complex16 alpha = {0.25, -0.75};
    std::vector<orb_complex16> zy(zy0, zy0 + m);
    orb_blas_zaxpy(&m, &alpha, zx, &one, zy.data(), &one);
    double err = 0;
    const std::complex<long double> al(alpha.re, alpha.im);
    for (int i = 0; i < m; ++i) {
      const auto w = al * cx(i) + cy(i);
      err = std::max(err, double(std::abs(std::complex<long double>(zy[i].re, zy[i].im) - w)));
    }
    const double t = best_seconds([&] { orb_blas_zaxpy(&m, &alpha, zx, &one, zy.data(), &one); });
    report(o, "zaxpy", fmt("y := (0.25-0.75i) x + y, max error %.1e", err), err <= 1e-15, gbs(48.0 * m, t),
           "GB/s");
  }
  {  // zdotc: conjugate of x times y
    orb_complex16 r = {0, 0};
    orb_blas_zdotc(&r, &m, zx, &one, zy0, &one);
    std::complex<long double> want = 0;
    for (int i = 0; i < m; ++i) want += std::conj(cx(i)) * cy(i);
    const double t = best_seconds([&] { orb_blas_zdotc(&r, &m, zx, &one, zy0, &one); });
    char buf[128];
    std::snprintf(buf, sizeof buf, "x^H y = %.10g%+.10gi", r.re, r.im);
    const bool ok = close(r.re, double(want.real()), 1e-12) && close(r.im, double(want.imag()), 1e-12);
    report(o, "zdotc", buf, ok, gbs(32.0 * m, t), "GB/s");
  }
}

registrar reg("level1", 10, run_level1);

}  // namespace
}  // namespace orb::tour
