// Matrix transposition on the tour: out-of-place copies, in-place
// transpositions and sums, each checked against a plain loop (the results
// are copies and single products, so they must match exactly) and timed on
// matrices that fit in the last-level cache.
#include <cstdio>
#include <cstring>
#include <vector>

#include "bench/tour/tour.hpp"
#include "orb/orb_trans.h"

namespace orb::tour {
namespace {

constexpr std::size_t kR = 1000, kC = 1200;

bool equal(const std::vector<double>& x, const std::vector<double>& y) {
  return x.size() == y.size() && std::memcmp(x.data(), y.data(), x.size() * sizeof(double)) == 0;
}

void run_trans(outcome& o) {
  std::printf("  (%zu x %zu doubles, row-major; speeds are bytes read and written over the best call)\n", kR, kC);
  const auto a = random_doubles(kR * kC, 1), b = random_doubles(kR * kC, 2);
  const double bytes = 2.0 * 8 * kR * kC;
  std::vector<double> out(kR * kC), want(kR * kC);
  for (char t : {'N', 'T'}) {
    for (std::size_t i = 0; i < kR; ++i)
      for (std::size_t j = 0; j < kC; ++j) {
        if (t == 'N') want[i * kC + j] = a[i * kC + j];
        else want[j * kR + i] = a[i * kC + j];
      }
    const std::size_t ldb = t == 'N' ? kC : kR;
    orb_domatcopy('R', t, kR, kC, 1.0, a.data(), kC, out.data(), ldb);
    const bool ok = equal(out, want);
    const double s = best_seconds([&] { orb_domatcopy('R', t, kR, kC, 1.0, a.data(), kC, out.data(), ldb); });
    report(o, "domatcopy", t == 'N' ? "B := A, exact" : "B := A^T, exact", ok, gbs(bytes, s), "GB/s");
  }
  {
    std::vector<double> x(a);
    orb_dimatcopy('R', 'T', kR, kC, 1.0, x.data(), kC, kR);
    const bool ok = equal(x, want);  // want holds A^T from the loop above
    std::vector<double> sq(random_doubles(kR * kR, 3)), sq0(sq);
    orb_dimatcopy('R', 'T', kR, kR, 1.0, sq.data(), kR, kR);
    bool sq_ok = true;
    for (std::size_t i = 0; i < kR && sq_ok; ++i)
      for (std::size_t j = 0; j < kR; ++j) sq_ok = sq_ok && sq[i * kR + j] == sq0[j * kR + i];
    const double s = best_seconds([&] { orb_dimatcopy('R', 'T', kR, kR, 1.0, sq.data(), kR, kR); });
    report(o, "dimatcopy", "A := A^T square in place, exact", sq_ok, gbs(2.0 * 8 * kR * kR, s), "GB/s");
    report(o, "dimatcopy", "A := A^T 1000 x 1200 in place by cycles, exact", ok, 0, "");
  }
  for (char ta : {'N', 'T'}) {
    const std::size_t lda = ta == 'N' ? kC : kR;
    std::vector<double> c(kR * kC);
    orb_domatadd('R', ta, 'N', kR, kC, 0.5, a.data(), lda, -2.0, b.data(), kC, c.data(), kC);
    bool ok = true;
    for (std::size_t i = 0; i < kR && ok; ++i)
      for (std::size_t j = 0; j < kC; ++j) {
        const double x = ta == 'N' ? a[i * kC + j] : a[j * kR + i];
        ok = ok && c[i * kC + j] == 0.5 * x + -2.0 * b[i * kC + j];
      }
    const double s = best_seconds(
        [&] { orb_domatadd('R', ta, 'N', kR, kC, 0.5, a.data(), lda, -2.0, b.data(), kC, c.data(), kC); });
    report(o, "domatadd", ta == 'N' ? "C := a A + b B, exact" : "C := a A^T + b B, exact", ok, gbs(1.5 * bytes, s),
           "GB/s");
  }
}

registrar reg("trans", 40, run_trans);

}  // namespace
}  // namespace orb::tour
