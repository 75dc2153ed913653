// GEMM on the tour: the four types through the public names, checked
// against a plain long double loop; the shapes that take each of the
// engine's paths; the same bits on one and two threads; and a packed A
// multiplied by several B through the packed-operand interface.
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/tour/tour.hpp"
#include "orb/orb_blas.h"
#include "orb/orb_gemm_pack.h"
#include "orb/orb_service.h"

namespace orb::tour {
namespace {

// Interleaved reals as the complex elements they hold.
template <class C, class R>
const C* as(const R* p) {
  return reinterpret_cast<const C*>(p);
}
template <class C, class R>
C* as(R* p) {
  return reinterpret_cast<C*>(p);
}

// Largest error of C = alpha op(A) op(B) + beta C0 (no transposes here
// but for A in the real cases) against a long double loop, relative to k.
double dgemm_error(char ta, int m, int n, int k, double alpha, const std::vector<double>& a, int lda,
                   const std::vector<double>& b, double beta, const std::vector<double>& c0,
                   const std::vector<double>& c) {
  double worst = 0;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      long double s = 0;
      for (int p = 0; p < k; ++p)
        s += (long double)(ta == 'N' ? a[i + std::size_t(p) * lda] : a[p + std::size_t(i) * lda]) *
             b[p + std::size_t(j) * k];
      const long double want = alpha * s + beta * (long double)c0[i + std::size_t(j) * m];
      worst = std::max(worst, double(std::fabs(want - c[i + std::size_t(j) * m])) / k);
    }
  return worst;
}

void run_gemm(outcome& o) {
  std::printf("  (C := alpha op(A) op(B) + beta C; speeds are the best of repeated calls, on %d thread%s)\n",
              orb_get_max_threads(), orb_get_max_threads() == 1 ? "" : "s");
  // Each shape goes down another path of the engine.
  struct shape {
    const char* what;
    char ta;
    int m, n, k;
  };
  const shape shapes[] = {
      {"packed panels", 'N', 500, 500, 500}, {"no copies", 'N', 150, 600, 300},
      {"dot products (n = 3)", 'T', 2000, 3, 400}, {"two columns", 'N', 3000, 2, 300},
      {"direct, thin", 'T', 6, 400, 300},
  };
  for (const shape& s : shapes) {
    const int lda = s.ta == 'N' ? s.m : s.k;
    const auto a = random_doubles(std::size_t(lda) * (s.ta == 'N' ? s.k : s.m), 1);
    const auto b = random_doubles(std::size_t(s.k) * s.n, 2);
    const auto c0 = random_doubles(std::size_t(s.m) * s.n, 3);
    auto c = c0;
    const double alpha = 0.5, beta = -1.0;
    orb_blas_dgemm(&s.ta, "N", &s.m, &s.n, &s.k, &alpha, a.data(), &lda, b.data(), &s.k, &beta, c.data(), &s.m);
    const double err = dgemm_error(s.ta, s.m, s.n, s.k, alpha, a, lda, b, beta, c0, c);
    const double t = best_seconds([&] {
      orb_blas_dgemm(&s.ta, "N", &s.m, &s.n, &s.k, &alpha, a.data(), &lda, b.data(), &s.k, &beta, c.data(), &s.m);
    });
    char what[96];
    std::snprintf(what, sizeof what, "%c %dx%dx%d %s, err %.1e", s.ta, s.m, s.n, s.k, s.what, err);
    report(o, "dgemm", what, err <= 1e-15, 2.0 * s.m * s.n * s.k / t * 1e-9, "GFLOPS");
  }

  {  // The other types on one square size.
    const int n = 300;
    const auto a = random_doubles(std::size_t(2) * n * n, 4), b = random_doubles(std::size_t(2) * n * n, 5);
    std::vector<float> af(a.begin(), a.end()), bf(b.begin(), b.end()), cf(std::size_t(2) * n * n, 0.0f);
    std::vector<double> cd(std::size_t(2) * n * n, 0.0);
    const float onef[2] = {1, 0}, zerof[2] = {0, 0};
    const double one[2] = {1, 0}, zero[2] = {0, 0};
    // Element (7, 11) against a long double sum.
    auto check = [&](bool cplx, bool single) {
      std::complex<long double> s = 0;
      for (int p = 0; p < n; ++p) {
        const std::size_t ia = cplx ? 2 * (7 + std::size_t(p) * n) : 7 + std::size_t(p) * n;
        const std::size_t ib = cplx ? 2 * (p + std::size_t(11) * n) : p + std::size_t(11) * n;
        const std::complex<long double> x(single ? af[ia] : a[ia], cplx ? (single ? af[ia + 1] : a[ia + 1]) : 0);
        const std::complex<long double> y(single ? bf[ib] : b[ib], cplx ? (single ? bf[ib + 1] : b[ib + 1]) : 0);
        s += x * y;
      }
      const std::size_t ic = cplx ? 2 * (7 + std::size_t(11) * n) : 7 + std::size_t(11) * n;
      const double re = single ? cf[ic] : cd[ic], im = cplx ? (single ? cf[ic + 1] : cd[ic + 1]) : 0;
      return std::abs(std::complex<long double>(re, im) - s) / n;
    };
    // One type: the call, its check and its speed (flops per n^3: 2 real, 8 complex).
    auto run = [&](const char* name, bool cplx, bool single, double tol, double flops, auto&& call) {
      call();
      const double e = double(check(cplx, single));
      const double t = best_seconds(call);
      report(o, name, fmt("N %.0fx%.0fx%.0f, err %.1e", n, n, n, e).c_str(), e <= tol, flops * n * n * n / t * 1e-9,
             "GFLOPS");
    };
    float onef1 = 1, zerof1 = 0;
    double one1 = 1, zero1 = 0;
    run("sgemm", false, true, 1e-6, 2.0, [&] {
      orb_blas_sgemm("N", "N", &n, &n, &n, &onef1, af.data(), &n, bf.data(), &n, &zerof1, cf.data(), &n);
    });
    orb_blas_dgemm("N", "N", &n, &n, &n, &one1, a.data(), &n, b.data(), &n, &zero1, cd.data(), &n);
    run("cgemm", true, true, 1e-6, 8.0, [&] {
      orb_blas_cgemm("N", "N", &n, &n, &n, as<orb_complex8>(onef), as<orb_complex8>(af.data()), &n,
                     as<orb_complex8>(bf.data()), &n, as<orb_complex8>(zerof), as<orb_complex8>(cf.data()), &n);
    });
    run("zgemm", true, false, 1e-15, 8.0, [&] {
      orb_blas_zgemm("N", "N", &n, &n, &n, as<orb_complex16>(one), as<orb_complex16>(a.data()), &n,
                     as<orb_complex16>(b.data()), &n, as<orb_complex16>(zero), as<orb_complex16>(cd.data()), &n);
    });
  }

  {  // The same bits on one and on two threads.
    const int m = 600, n = 500, k = 200;
    const auto a = random_doubles(std::size_t(m) * k, 6), b = random_doubles(std::size_t(k) * n, 7);
    std::vector<double> c1(std::size_t(m) * n), c2(std::size_t(m) * n);
    const double alpha = 1, beta = 0;
    orb_set_num_threads(1);
    orb_blas_dgemm("N", "N", &m, &n, &k, &alpha, a.data(), &m, b.data(), &k, &beta, c1.data(), &m);
    orb_set_num_threads(2);
    orb_blas_dgemm("N", "N", &m, &n, &k, &alpha, a.data(), &m, b.data(), &k, &beta, c2.data(), &m);
    orb_set_num_threads(0);
    const bool same = std::memcmp(c1.data(), c2.data(), c1.size() * sizeof(double)) == 0;
    report(o, "dgemm", "600x500x200 on 1 and 2 threads: same bits", same, 0, "");
  }

  {  // Pack A once, multiply it by several B.
    const int m = 400, n = 64, k = 400, rounds = 8;
    const auto a = random_doubles(std::size_t(m) * k, 8);
    std::vector<std::vector<double>> bs;
    for (int r = 0; r < rounds; ++r) bs.push_back(random_doubles(std::size_t(k) * n, 20 + r));
    std::vector<double> c(std::size_t(m) * n);
    orb_gemm_pack* store = nullptr;
    bool ok = orb_dgemm_pack_create(&store, 'N', m, k) == 0 && orb_dgemm_pack(store, 'N', m, k, 2.0, a.data(), m) == 0;
    double err = 0;
    for (int r = 0; ok && r < rounds; ++r) {
      ok = orb_dgemm_pack_compute(store, 'N', 'N', m, n, k, a.data(), m, bs[r].data(), k, 0.0, c.data(), m) == 0;
      err = std::max(err, dgemm_error('N', m, n, k, 2.0, a, m, bs[r], 0.0, c, c));
    }
    const double t_packed = best_seconds([&] {
      for (int r = 0; r < rounds; ++r)
        orb_dgemm_pack_compute(store, 'N', 'N', m, n, k, a.data(), m, bs[r].data(), k, 0.0, c.data(), m);
    });
    const double alpha = 2.0, beta = 0.0;
    const double t_plain = best_seconds([&] {
      for (int r = 0; r < rounds; ++r)
        orb_blas_dgemm("N", "N", &m, &n, &k, &alpha, a.data(), &m, bs[r].data(), &k, &beta, c.data(), &m);
    });
    if (store) orb_dgemm_pack_destroy(store);
    report(o, "packed", fmt("A 400x400 packed once, 8 B of 64 columns, err %.1e", err).c_str(), ok && err <= 1e-15,
           t_plain / t_packed, "x the plain calls");
  }
}

registrar reg("gemm", 30, run_gemm);

}  // namespace
}  // namespace orb::tour
