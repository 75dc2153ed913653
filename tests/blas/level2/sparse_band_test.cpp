// Sparse-vector routines against plain loops, and the banded routines at
// the sizes where their switches choose another path (the reference test
// programs stop at order 9).
#include <cmath>
#include <limits>
#include <numeric>

#include "tests/blas/level2/l2_support.hpp"

namespace {

using namespace orb::l2test;
using orb::test::kernel_of;
using orb::test::reference;
using orb::test::runnable_builds;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Distinct 1-based indices into a vector of length len, shuffled.
std::vector<int> indices(int nz, int len, unsigned seed) {
  std::vector<int> p(len);
  std::iota(p.begin(), p.end(), 1);
  std::mt19937 g(seed);
  std::shuffle(p.begin(), p.end(), g);
  p.resize(nz);
  return p;
}

template <class E>
class Sparse : public ::testing::Test {};
using Types = ::testing::Types<float, double, orb_complex8, orb_complex16>;
TYPED_TEST_SUITE(Sparse, Types);

template <class E> struct sp;
#define ORB_SP(E, t)                                                \
  template <> struct sp<E> {                                        \
    static constexpr auto axpyi = orb_blas_##t##axpyi;              \
    static constexpr auto gthr = orb_blas_##t##gthr;                \
    static constexpr auto gthrz = orb_blas_##t##gthrz;              \
    static constexpr auto sctr = orb_blas_##t##sctr;                \
  };
ORB_SP(float, s)
ORB_SP(double, d)
ORB_SP(orb_complex8, c)
ORB_SP(orb_complex16, z)
#undef ORB_SP

TYPED_TEST(Sparse, AxpyiGatherScatterMatchPlainLoops) {
  using E = TypeParam;
  for (const int nz : {0, 1, 15, 16, 17, 33, 200}) {
    const int len = 2 * nz + 5;
    const auto idx = indices(nz, len, unsigned(nz));
    const auto x = rnd<E>(std::max(nz, 1), 3);
    const auto y0 = rnd<E>(len, 4);
    const E alpha = make<E>(0.5, -2);
    auto y = y0;
    sp<E>::axpyi(&nz, &alpha, x.data(), idx.data(), y.data());
    std::vector<std::complex<long double>> want(len);
    for (int i = 0; i < len; ++i) want[i] = val(y0[i]);
    for (int i = 0; i < nz; ++i) want[idx[i] - 1] += val(alpha) * val(x[i]);
    EXPECT_TRUE(close(y, want, 4)) << nz;

    std::vector<E> g(std::max(nz, 1), make<E>(9));
    sp<E>::gthr(&nz, y0.data(), g.data(), idx.data());
    for (int i = 0; i < nz; ++i) EXPECT_TRUE(orb::test::same_bits(g[i], y0[idx[i] - 1]));
    auto ys = y0;
    sp<E>::sctr(&nz, x.data(), idx.data(), ys.data());
    for (int i = 0; i < nz; ++i) EXPECT_TRUE(orb::test::same_bits(ys[idx[i] - 1], x[i]));
    auto yz = y0;
    sp<E>::gthrz(&nz, yz.data(), g.data(), idx.data());
    for (int i = 0; i < nz; ++i) {
      EXPECT_TRUE(orb::test::same_bits(g[i], y0[idx[i] - 1]));
      EXPECT_EQ(val(yz[idx[i] - 1]), std::complex<long double>(0));
    }
  }
}

TEST(SparseEdges, GthrzWithARepeatedIndexGivesTheValueThenZero) {
  const int nz = 4;
  const int idx[] = {3, 1, 3, 3};
  std::vector<double> y{1, 2, 3, 4}, x(4, -1);
  orb_blas_dgthrz(&nz, y.data(), x.data(), idx);
  EXPECT_EQ(x, (std::vector<double>{3, 1, 0, 0}));
  EXPECT_EQ(y, (std::vector<double>{0, 2, 0, 4}));
  std::vector<orb_complex16> yz{{1, 1}, {2, 2}, {3, 3}}, xz(4);
  orb_blas_zgthrz(&nz, yz.data(), xz.data(), idx);
  EXPECT_EQ(xz[0].im, 3.0);
  EXPECT_EQ(xz[2].re, 0.0);
}

TEST(SparseEdges, DotsMatchPlainLoops) {
  for (const int nz : {1, 7, 16, 32, 33, 100}) {
    const int len = nz + 9;
    const auto idx = indices(nz, len, 7u + nz);
    const auto xd = rnd<double>(nz, 1), yd = rnd<double>(len, 2);
    const auto xs = rnd<float>(nz, 3), ys = rnd<float>(len, 4);
    long double sd = 0, ss = 0;
    for (int i = 0; i < nz; ++i) sd += (long double)xd[i] * yd[idx[i] - 1], ss += (long double)xs[i] * ys[idx[i] - 1];
    EXPECT_NEAR(orb_blas_ddoti(&nz, xd.data(), idx.data(), yd.data()), double(sd), 1e-15 * nz);
    EXPECT_NEAR(orb_blas_sdoti(&nz, xs.data(), idx.data(), ys.data()), float(ss), 1e-6 * nz);
    const auto xz = rnd<orb_complex16>(nz, 5), yz = rnd<orb_complex16>(len, 6);
    std::complex<long double> c = 0, u = 0;
    for (int i = 0; i < nz; ++i) {
      c += std::conj(val(xz[i])) * val(yz[idx[i] - 1]);
      u += val(xz[i]) * val(yz[idx[i] - 1]);
    }
    orb_complex16 rc, ru;
    orb_blas_zdotci(&rc, &nz, xz.data(), idx.data(), yz.data());
    orb_blas_zdotui(&ru, &nz, xz.data(), idx.data(), yz.data());
    EXPECT_LT(std::abs(val(rc) - c), 1e-14L * nz);
    EXPECT_LT(std::abs(val(ru) - u), 1e-14L * nz);
  }
  const int zero = 0;
  EXPECT_EQ(orb_blas_ddoti(&zero, nullptr, nullptr, nullptr), 0.0);
}

TEST(SparseEdges, RotiInOrderAndIdentityLeavesNaN) {
  const int nz = 3;
  const int idx[] = {2, 2, 1};
  std::vector<double> x{1, 2, 3}, y{10, 20};
  const double c = 0.6, s = 0.8;
  std::vector<double> wx = x, wy = y;
  for (int i = 0; i < nz; ++i) {
    const double xo = wx[i];
    double& yk = wy[idx[i] - 1];
    wx[i] = std::fma(c, xo, s * yk);
    yk = std::fma(-xo, s, c * yk);
  }
  orb_blas_droti(&nz, x.data(), idx, y.data(), &c, &s);
  EXPECT_TRUE(same(x, wx));
  EXPECT_TRUE(same(y, wy));
  std::vector<double> xn{kNaN, 1, 2}, yn{kNaN, kNaN};
  const double one = 1, zero = 0;
  orb_blas_droti(&nz, xn.data(), idx, yn.data(), &one, &zero);
  EXPECT_TRUE(std::isnan(xn[0]) && std::isnan(yn[0]) && std::isnan(yn[1]) && xn[1] == 1);
}

// ---- Banded ----------------------------------------------------------------------------

TEST(Banded, ZeroBandwidthIsADiagonalScaling) {
  const int m = 37, n = 37, kl = 0, ku = 0, lda = 1, one = 1;
  const auto d = rnd<double>(n, 1), x = rnd<double>(n, 2);
  auto y = rnd<double>(m, 3);
  const auto y0 = y;
  const double alpha = 1.5, beta = -0.5;
  for (const char* tr : {"N", "T"}) {
    y = y0;
    orb_blas_dgbmv(tr, &m, &n, &kl, &ku, &alpha, d.data(), &lda, x.data(), &one, &beta, y.data(), &one);
    for (int i = 0; i < m; ++i) EXPECT_NEAR(y[i], alpha * d[i] * x[i] + beta * y0[i], 1e-15) << tr << i;
  }
}

template <class E>
using tb_fn = void (*)(const char*, const char*, const char*, const int*, const int*, const E*, const int*, E*,
                       const int*);
template <class E>
using ref_tb_fn = void (*)(const char*, const char*, const char*, const int*, const int*, const E*, const int*, E*,
                           const int*, std::size_t, std::size_t, std::size_t);

// A band with a dominant diagonal (row k of the storage for upper, 0 for lower).
template <class E>
std::vector<E> band(int n, int k, int lda, bool upper, unsigned seed) {
  auto a = rnd<E>(std::size_t(lda) * n, seed);
  for (int j = 0; j < n; ++j) a[std::size_t(j) * lda + (upper ? k : 0)] = make<E>(4.0 + k, 1);
  return a;
}

// The complex banded solves switch paths on size and letters: every path,
// and the fixed-order core, against the reference.
template <class E>
void banded_solves(const char* kernel_prefix, const char* ref_name, std::initializer_list<const char*> cores) {
  const auto ref = reference<ref_tb_fn<E>>(ref_name);
  for (const int n : {7, 399, 401, 520})
    for (const int k : {0, 3, 9})
      for (const char* uplo : {"U", "L"})
        for (const char* tr : {"N", "T", "C"})
          for (const int inc : {1, -2}) {
            const int lda = k + 1;
            const auto a = band<E>(n, k, lda, *uplo == 'U', unsigned(n + k));
            const auto x0 = rnd<E>(span(n, inc), 5);
            auto xr = x0;
            ref(uplo, tr, "N", &n, &k, a.data(), &lda, xr.data(), &inc, 1, 1, 1);
            for (const char* tag : runnable_builds()) {
              for (const char* core : cores) {
                auto x = x0;
                const std::string name = std::string(kernel_prefix) + core;
                kernel_of<tb_fn<E>>(tag, name.c_str())(uplo, tr, "N", &n, &k, a.data(), &lda, x.data(), &inc);
                ASSERT_TRUE(close(x, xr, 16.0L * (k + 1))) << name << " " << tag << " " << uplo << tr << " n=" << n
                                                          << " k=" << k << " inc " << inc;
              }
            }
          }
}

TEST(Banded, CtbsvEveryPathMatchesReference) {
  banded_solves<orb_complex8>("ctbsv", "ctbsv_", {"", "_f", "_f_cnr", "_vial1"});
}
TEST(Banded, ZtbsvEveryPathMatchesReference) {
  banded_solves<orb_complex16>("ztbsv", "ztbsv_", {"", "_f", "_vial1"});
}

}  // namespace
