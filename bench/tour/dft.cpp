// Fourier transforms on the tour: complex and real forward transforms of a
// power of two, a mixed-radix length and a prime, in double precision,
// each checked against a direct sum in long double (relative L2 error
// within a small multiple of eps log2 N), then a forward-backward round
// trip with the backward scale 1/N, and timed (GFLOPS: 5 N log2 N over the
// time of one transform, half of it for a real one).
#include <cmath>
#include <complex>
#include <cstdio>
#include <vector>

#include "bench/tour/tour.hpp"
#include "orb/orb_dft.h"

namespace orb::tour {
namespace {

using cld = std::complex<long double>;

// X[k] = sum_j x[j] exp(-2 pi i j k / N), the angle reduced exactly (j k mod N).
std::vector<cld> direct_sum(const std::vector<cld>& x) {
  const long n = long(x.size());
  const long double w = -2.0L * 3.141592653589793238462643383279503L / (long double)n;
  std::vector<cld> cs(n), y(n);
  for (long r = 0; r < n; ++r) cs[r] = cld(std::cos(w * r), std::sin(w * r));
  for (long k = 0; k < n; ++k) {
    cld s = 0;
    for (long j = 0, r = 0; j < n; ++j, r = (r + k) % n) s += x[j] * cs[r];
    y[k] = s;
  }
  return y;
}

double rel_error(const double* got, const std::vector<cld>& want, long values) {
  long double num = 0, den = 0;
  for (long k = 0; k < values; ++k) {
    const long double dr = got[2 * k] - want[k].real(), di = got[2 * k + 1] - want[k].imag();
    num += dr * dr + di * di;
    den += std::norm(want[k]);
  }
  return double(std::sqrt(num / den));
}

// One length, one domain: commit, check against the direct sum, round trip, time.
void one(outcome& o, long n, bool real) {
  const double bound = 8 * 0x1p-52 * std::log2(double(n));
  const auto src = random_doubles(real ? n : 2 * n, 11);
  std::vector<cld> x(n);
  for (long j = 0; j < n; ++j) x[j] = real ? cld(src[j], 0) : cld(src[2 * j], src[2 * j + 1]);
  const std::vector<cld> want = direct_sum(x);
  const long values = real ? n / 2 + 1 : n;  // a real result: the conjugate-even half
  orb_dft_handle h = nullptr;
  long st = orb_dft_create_descriptor_1d(&h, ORB_DFT_DOUBLE, real ? ORB_DFT_REAL : ORB_DFT_COMPLEX, n);
  if (!st) st = orb_dft_set_value_long(h, ORB_DFT_PLACEMENT, ORB_DFT_NOT_INPLACE);
  if (!st) st = orb_dft_set_value_double(h, ORB_DFT_BACKWARD_SCALE, 1.0 / double(n));
  if (!st) st = orb_dft_commit_descriptor(h);
  std::vector<double> in(src), out(2 * values), back(src.size());
  double err = 1, trip = 1, gflops = 0;
  if (!st) st = orb_dft_compute_forward_ptrs(h, in.data(), out.data(), nullptr, nullptr);
  if (!st) {
    err = rel_error(out.data(), want, values);
    st = orb_dft_compute_backward_ptrs(h, out.data(), back.data(), nullptr, nullptr);
    double num = 0, den = 0;
    for (std::size_t i = 0; i < src.size(); ++i) {
      num += (back[i] - src[i]) * (back[i] - src[i]);
      den += src[i] * src[i];
    }
    trip = std::sqrt(num / den);
    const double s = best_seconds([&] { orb_dft_compute_forward_ptrs(h, in.data(), out.data(), nullptr, nullptr); });
    gflops = (real ? 2.5 : 5.0) * double(n) * std::log2(double(n)) / s * 1e-9;
  }
  orb_dft_free_descriptor(&h);
  const std::string what = fmt(real ? "real N = %.0f: error %.1e, round trip %.1e" : "complex N = %.0f: error %.1e, round trip %.1e",
                               double(n), err, trip);
  report(o, real ? "dft r2c" : "dft c2c", st ? what + " (" + orb_dft_error_message(st) + ")" : what,
         !st && err <= bound && trip <= bound, gflops, "GFLOPS");
}

void run_dft(outcome& o) {
  std::printf("  (double precision, out of place, one descriptor per line; against a long double direct sum)\n");
  for (bool real : {false, true})
    for (long n : {4096L, 1000L, 1009L}) one(o, n, real);
}

registrar reg("dft", 50, run_dft);

}  // namespace
}  // namespace orb::tour
