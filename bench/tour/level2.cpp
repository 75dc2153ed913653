// Level-2 BLAS on the tour: matrix-vector products, a triangular solve, rank
// updates and the sparse-vector routines, each checked against a plain loop
// in long double and timed on a matrix that fits in the last-level cache.
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

constexpr int kN = 1000;  // 8 MB matrix of doubles

double max_rel_error(const std::vector<double>& got, const std::vector<long double>& want) {
  long double scale = 1, err = 0;
  for (std::size_t i = 0; i < got.size(); ++i) {
    scale = std::max(scale, std::fabs(want[i]));
    err = std::max(err, std::fabs((long double)got[i] - want[i]));
  }
  return double(err / scale);
}

void run_level2(outcome& o) {
  const int n = kN, one = 1;
  std::printf("  (n = %d, square matrices, unit stride; speeds are matrix bytes over the best call)\n", n);
  auto a = random_doubles(std::size_t(n) * n, 1);
  for (int j = 0; j < n; ++j) a[std::size_t(j) * n + j] = n;  // a well-conditioned triangle
  const auto x = random_doubles(n, 2);
  const auto y0 = random_doubles(n, 3);
  const double bytes = 8.0 * n * n;

  for (const char* tr : {"N", "T"}) {  // dgemv
    const double alpha = 0.5, beta = 2;
    auto y = y0;
    orb_blas_dgemv(tr, &n, &n, &alpha, a.data(), &n, x.data(), &one, &beta, y.data(), &one);
    std::vector<long double> want(n);
    for (int i = 0; i < n; ++i) {
      long double s = 0;
      for (int k = 0; k < n; ++k) s += (long double)(*tr == 'N' ? a[std::size_t(k) * n + i] : a[std::size_t(i) * n + k]) * x[k];
      want[i] = 0.5L * s + 2.0L * y0[i];
    }
    const double err = max_rel_error(y, want);
    const double t = best_seconds([&] {
      const double b1 = 1;
      orb_blas_dgemv(tr, &n, &n, &alpha, a.data(), &n, x.data(), &one, &b1, y.data(), &one);
    });
    report(o, "dgemv", fmt(*tr == 'N' ? "y := A x + y, max rel. error %.1e" : "y := A^T x + y, max rel. error %.1e", err),
           err < 1e-13, gbs(bytes, t), "GB/s");
  }
  {  // dsymv: the lower triangle serves for both of its uses
    const double alpha = 1, beta = 0;
    std::vector<double> y(n);
    orb_blas_dsymv("L", &n, &alpha, a.data(), &n, x.data(), &one, &beta, y.data(), &one);
    std::vector<long double> want(n, 0);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        const double aij = i >= j ? a[std::size_t(j) * n + i] : a[std::size_t(i) * n + j];
        want[i] += (long double)aij * x[j];
      }
    const double err = max_rel_error(y, want);
    const double t = best_seconds([&] { orb_blas_dsymv("L", &n, &alpha, a.data(), &n, x.data(), &one, &beta, y.data(), &one); });
    report(o, "dsymv", fmt("y := A x, A symmetric, max rel. error %.1e", err), err < 1e-13, gbs(bytes / 2, t), "GB/s");
  }
  {  // dtrsv: solve, then multiply back
    auto b = x;
    orb_blas_dtrsv("L", "N", "N", &n, a.data(), &n, b.data(), &one);
    std::vector<long double> back(n, 0);
    for (int j = 0; j < n; ++j)
      for (int i = j; i < n; ++i) back[i] += (long double)a[std::size_t(j) * n + i] * b[j];
    const double err = max_rel_error(x, back);
    auto w = x;
    const double t = best_seconds([&] {
      w = x;
      orb_blas_dtrsv("L", "N", "N", &n, a.data(), &n, w.data(), &one);
    });
    report(o, "dtrsv", fmt("L z = x, |L z - x| / |x| = %.1e", err), err < 1e-13, gbs(bytes / 2, t), "GB/s");
  }
  {  // dger: a zero in y leaves its column alone, NaN and all
    auto g = a;
    auto y = y0;
    y[7] = 0;
    g[std::size_t(7) * n + 3] = std::nan("");
    const double alpha = -1;
    orb_blas_dger(&n, &n, &alpha, x.data(), &one, y.data(), &one, g.data(), &n);
    double err = 0;
    for (int j = 0; j < n; j += 97)
      for (int i = 0; i < n; i += 89)
        if (j != 7) err = std::max(err, std::fabs(g[std::size_t(j) * n + i] - (a[std::size_t(j) * n + i] - x[i] * y[j])));
    const bool nan_kept = std::isnan(g[std::size_t(7) * n + 3]);
    const double small = 1e-300;
    const double t = best_seconds([&] { orb_blas_dger(&n, &n, &small, x.data(), &one, y0.data(), &one, g.data(), &n); });
    report(o, "dger", fmt("A := A - x y^T, error %.1e; skipped column kept its NaN", err), err < 1e-12 && nan_kept,
           gbs(2 * bytes, t), "GB/s");
  }
  {  // sparse vectors: gather, dot, scatter-add
    const int nz = 300;
    std::vector<int> idx(nz);
    for (int i = 0; i < nz; ++i) idx[i] = 1 + (i * 7) % n;
    std::vector<double> xs(nz);
    orb_blas_dgthr(&nz, y0.data(), xs.data(), idx.data());
    const double d = orb_blas_ddoti(&nz, xs.data(), idx.data(), y0.data());
    long double want = 0;
    for (int i = 0; i < nz; ++i) want += (long double)y0[idx[i] - 1] * y0[idx[i] - 1];
    auto y = y0;
    const double alpha = -1;
    orb_blas_daxpyi(&nz, &alpha, xs.data(), idx.data(), y.data());
    bool cleared = true;
    for (int i = 0; i < nz; ++i) cleared = cleared && y[idx[i] - 1] == 0;
    report(o, "ddoti", fmt("gathered . y = %.15g (loop %.15g); y - gathered is 0 there", d, double(want)),
           close(d, double(want), 1e-13) && cleared, 0, "");
  }
}

registrar reg("level2", 20, run_level2);

}  // namespace
}  // namespace orb::tour
