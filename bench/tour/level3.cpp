// Level-3 BLAS beyond GEMM on the tour: a triangular solve and product, the
// symmetric and Hermitian rank-k updates and products, the triangle of a
// product, and the three-product complex GEMM, each checked against a plain
// loop in long double (on sampled entries where the full loop would take
// long) and timed at n = 500 on the threads orb picks.
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

constexpr int kN = 500;

double gflops(double flops, double seconds) { return flops / seconds * 1e-9; }

std::size_t at(int i, int j, int ld) { return std::size_t(j) * ld + i; }

void run_level3(outcome& o) {
  const int n = kN;
  const double nn = double(n) * n * n;
  std::printf("  (n = %d, square; speeds are GFLOPS of the routine's nominal count)\n", n);
  auto a = random_doubles(std::size_t(n) * n, 11);
  for (double& x : a) x *= 1.0 / n;
  for (int j = 0; j < n; ++j) a[at(j, j, n)] = 1 + 0.5 * (j % 3);  // a well-conditioned triangle
  const auto b0 = random_doubles(std::size_t(n) * n, 12);
  const auto c0 = random_doubles(std::size_t(n) * n, 13);
  const double one = 1, half = 0.5;

  {  // dtrsm: solve L X = B, then multiply back in long double
    auto x = b0;
    orb_blas_dtrsm("L", "L", "N", "N", &n, &n, &one, a.data(), &n, x.data(), &n);
    double err = 0;
    for (int j = 0; j < n; j += 37)
      for (int i = 0; i < n; ++i) {
        long double s = 0;
        for (int k = 0; k <= i; ++k) s += (long double)a[at(i, k, n)] * x[at(k, j, n)];
        err = std::max(err, double(std::fabs(s - b0[at(i, j, n)])));
      }
    const double t = best_seconds([&] {
      x = b0;
      orb_blas_dtrsm("L", "L", "N", "N", &n, &n, &one, a.data(), &n, x.data(), &n);
    });
    report(o, "dtrsm", fmt("L X = B, |L X - B| = %.1e", err), err < 1e-12, gflops(nn, t), "GFLOPS");
  }
  {  // dtrmm: B := U^T B with a unit diagonal that is never read (NaN there)
    auto u = a;
    for (int j = 0; j < n; ++j) u[at(j, j, n)] = std::nan("");
    auto x = b0;
    orb_blas_dtrmm("L", "U", "T", "U", &n, &n, &one, u.data(), &n, x.data(), &n);
    double err = 0;
    for (int j = 0; j < n; j += 41)
      for (int i = 0; i < n; ++i) {
        long double s = b0[at(i, j, n)];
        for (int k = 0; k < i; ++k) s += (long double)u[at(k, i, n)] * b0[at(k, j, n)];
        err = std::max(err, double(std::fabs(s - x[at(i, j, n)])));
      }
    const double t = best_seconds([&] {
      x = b0;
      orb_blas_dtrmm("L", "U", "T", "U", &n, &n, &one, u.data(), &n, x.data(), &n);
    });
    report(o, "dtrmm", fmt("B := U^T B, unit diagonal unread, error %.1e", err), err < 1e-12, gflops(nn, t),
           "GFLOPS");
  }
  {  // dsyrk: the upper triangle of A A^T + C/2; the lower one keeps its NaN
    auto c = c0;
    for (int j = 0; j < n; ++j)
      for (int i = j + 1; i < n; ++i) c[at(i, j, n)] = std::nan("");
    orb_blas_dsyrk("U", "N", &n, &n, &one, a.data(), &n, &half, c.data(), &n);
    double err = 0;
    bool kept = true;
    for (int j = 0; j < n; j += 13)
      for (int i = 0; i < n; i += 7) {
        if (i > j) {
          kept = kept && std::isnan(c[at(i, j, n)]);
          continue;
        }
        long double s = 0.5L * c0[at(i, j, n)];
        for (int k = 0; k < n; ++k) s += (long double)a[at(i, k, n)] * a[at(j, k, n)];
        err = std::max(err, double(std::fabs(s - c[at(i, j, n)])));
      }
    const double t = best_seconds([&] { orb_blas_dsyrk("U", "N", &n, &n, &one, a.data(), &n, &half, c.data(), &n); });
    report(o, "dsyrk", fmt("C := A A^T + C/2 (upper), error %.1e, lower kept", err), err < 1e-12 && kept,
           gflops(nn, t), "GFLOPS");
  }
  {  // dsymm: A's lower triangle stands for the whole symmetric matrix
    std::vector<double> c(c0.size());
    const double zero = 0;
    orb_blas_dsymm("L", "L", &n, &n, &one, a.data(), &n, b0.data(), &n, &zero, c.data(), &n);
    double err = 0;
    for (int j = 0; j < n; j += 29)
      for (int i = 0; i < n; i += 3) {
        long double s = 0;
        for (int k = 0; k < n; ++k) s += (long double)(i >= k ? a[at(i, k, n)] : a[at(k, i, n)]) * b0[at(k, j, n)];
        err = std::max(err, double(std::fabs(s - c[at(i, j, n)])));
      }
    const double t = best_seconds(
        [&] { orb_blas_dsymm("L", "L", &n, &n, &one, a.data(), &n, b0.data(), &n, &zero, c.data(), &n); });
    report(o, "dsymm", fmt("C := A B, A symmetric (lower stored), error %.1e", err), err < 1e-12, gflops(2 * nn, t),
           "GFLOPS");
  }
  {  // dgemmt: the lower triangle of A B^T alone
    auto c = c0;
    const double zero = 0;
    orb_blas_dgemmt("L", "N", "T", &n, &n, &one, a.data(), &n, b0.data(), &n, &zero, c.data(), &n);
    double err = 0;
    bool kept = true;
    for (int j = 0; j < n; j += 17)
      for (int i = 0; i < n; i += 5) {
        if (i < j) {
          kept = kept && c[at(i, j, n)] == c0[at(i, j, n)];
          continue;
        }
        long double s = 0;
        for (int k = 0; k < n; ++k) s += (long double)a[at(i, k, n)] * b0[at(j, k, n)];
        err = std::max(err, double(std::fabs(s - c[at(i, j, n)])));
      }
    const double t = best_seconds(
        [&] { orb_blas_dgemmt("L", "N", "T", &n, &n, &one, a.data(), &n, b0.data(), &n, &zero, c.data(), &n); });
    report(o, "dgemmt", fmt("C := A B^T (lower), error %.1e, upper kept", err), err < 1e-12 && kept, gflops(nn, t),
           "GFLOPS");
  }

  // Complex: A and B as n x n complex matrices from the same numbers.
  const int hn = n / 2;  // the same bytes as the real matrices
  const auto* za = reinterpret_cast<const orb_complex16*>(a.data());
  const auto* zb = reinterpret_cast<const orb_complex16*>(b0.data());
  using cl = std::complex<long double>;
  auto zval = [](const orb_complex16* p, std::size_t k) {
    const double* d = reinterpret_cast<const double*>(p) + 2 * k;
    return cl(d[0], d[1]);
  };
  {  // zherk: C := A A^H, whose diagonal comes out real
    std::vector<double> c(2 * std::size_t(hn) * hn, std::nan(""));
    const double zero = 0;
    auto* zc = reinterpret_cast<orb_complex16*>(c.data());
    orb_blas_zherk("L", "N", &hn, &hn, &one, za, &hn, &zero, zc, &hn);
    double err = 0;
    bool real_diag = true;
    for (int j = 0; j < hn; j += 11)
      for (int i = j; i < hn; i += 3) {
        cl s = 0;
        for (int k = 0; k < hn; ++k) s += zval(za, at(i, k, hn)) * std::conj(zval(za, at(j, k, hn)));
        err = std::max(err, double(std::abs(s - zval(zc, at(i, j, hn)))));
        if (i == j) real_diag = real_diag && c[2 * at(i, i, hn) + 1] == 0;
      }
    const double t = best_seconds([&] { orb_blas_zherk("L", "N", &hn, &hn, &one, za, &hn, &zero, zc, &hn); });
    report(o, "zherk", fmt("C := A A^H (n = %.0f), error %.1e, diagonal real", hn, err), err < 1e-12 && real_diag,
           gflops(4.0 * hn * hn * hn, t), "GFLOPS");
  }
  {  // zgemm3m against zgemm: three real products instead of four
    const orb_complex16 zone{1, 0}, zzero{0, 0};
    std::vector<double> c1(2 * std::size_t(hn) * hn), c2(c1.size());
    auto* z1 = reinterpret_cast<orb_complex16*>(c1.data());
    auto* z2 = reinterpret_cast<orb_complex16*>(c2.data());
    orb_blas_zgemm("N", "N", &hn, &hn, &hn, &zone, za, &hn, zb, &hn, &zzero, z1, &hn);
    orb_blas_zgemm3m("N", "N", &hn, &hn, &hn, &zone, za, &hn, zb, &hn, &zzero, z2, &hn);
    double err = 0;
    for (std::size_t i = 0; i < c1.size(); ++i) err = std::max(err, std::fabs(c1[i] - c2[i]));
    const double t3 = best_seconds(
        [&] { orb_blas_zgemm3m("N", "N", &hn, &hn, &hn, &zone, za, &hn, zb, &hn, &zzero, z2, &hn); });
    const double t4 = best_seconds(
        [&] { orb_blas_zgemm("N", "N", &hn, &hn, &hn, &zone, za, &hn, zb, &hn, &zzero, z1, &hn); });
    report(o, "zgemm3m", fmt("= zgemm within %.1e; %.2fx zgemm's time", err, t3 / t4), err < 1e-12,
           gflops(8.0 * hn * hn * hn, t3), "GFLOPS");
  }
}

registrar reg("level3", 40, run_level3);

}  // namespace
}  // namespace orb::tour
