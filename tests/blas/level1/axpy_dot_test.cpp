// axpy and dot against the reference BLAS and against the fixed order of
// accumulation the kernels promise.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "orb/orb_blas.h"
#include "tests/support/oracle.hpp"

namespace {

using orb::test::random_vector;
using orb::test::same_bits;

using daxpy_fn = void (*)(const int*, const double*, const double*, const int*, double*, const int*);
using ddot_fn = double (*)(const int*, const double*, const int*, const double*, const int*);

struct Strides {
  int n, incx, incy;
};

class DaxpyTest : public ::testing::TestWithParam<Strides> {};

TEST_P(DaxpyTest, MatchesReferenceBitForBit) {
  const auto [n, incx, incy] = GetParam();
  const double alpha = 0.7071;
  auto x = random_vector<double>(std::size_t(std::max(1, n * std::abs(incx))), 1);
  auto y = random_vector<double>(std::size_t(std::max(1, n * std::abs(incy))), 2);
  auto yref = y;
  orb_blas_daxpy(&n, &alpha, x.data(), &incx, y.data(), &incy);
  if (incy != 0) {
    // Element-wise fused updates: the same bits as a plain fma loop.
    const double* xs = x.data() + (incx < 0 ? (1 - n) * incx : 0);
    double* ys = yref.data() + (incy < 0 ? (1 - n) * incy : 0);
    for (int i = 0; i < n; ++i) ys[i * incy] = std::fma(alpha, xs[i * incx], ys[i * incy]);
    for (std::size_t i = 0; i < y.size(); ++i) ASSERT_TRUE(same_bits(y[i], yref[i])) << i;
  } else {
    auto ref = orb::test::reference<daxpy_fn>("daxpy_");
    ref(&n, &alpha, x.data(), &incx, yref.data(), &incy);
    EXPECT_NEAR(y[0], yref[0], 1e-13 * n);
  }
}

INSTANTIATE_TEST_SUITE_P(Paths, DaxpyTest,
                         ::testing::Values(Strides{7, 1, 1}, Strides{8, 1, 1}, Strides{19, 1, 1},
                                           Strides{20, 1, 1}, Strides{1000, 1, 1}, Strides{33, 2, 3},
                                           Strides{33, -2, 1}, Strides{40, 0, 1}, Strides{100, 3, 0},
                                           Strides{31, 1, 0}, Strides{33, -1, 0}));

TEST(Ddot, SameBitsWhateverTheAlignment) {
  const int n = 1000, one = 1;
  auto x = random_vector<double>(n + 8, 3);
  auto y = random_vector<double>(n + 8, 4);
  std::vector<double> xs(n + 8), ys(n + 8);
  const double base = orb_blas_ddot(&n, x.data(), &one, y.data(), &one);
  for (int off = 1; off < 8; ++off) {
    std::copy(x.begin(), x.begin() + n, xs.begin() + off);
    std::copy(y.begin(), y.begin() + n, ys.begin() + (7 - off));
    const double r = orb_blas_ddot(&n, xs.data() + off, &one, ys.data() + (7 - off), &one);
    EXPECT_TRUE(same_bits(r, base)) << off;
  }
}

TEST(Ddot, EveryBuildGivesTheSameBits) {
  for (int n : {1, 7, 8, 9, 31, 32, 33, 47, 1001}) {
    auto x = random_vector<double>(n, 5);
    auto y = random_vector<double>(n, 6);
    const int one = 1;
    const double base = orb_blas_ddot(&n, x.data(), &one, y.data(), &one);
    for (const char* b : orb::test::runnable_builds()) {
      auto f = orb::test::kernel_of<ddot_fn>(b, "xddot");
      ASSERT_NE(f, nullptr) << b;
      EXPECT_TRUE(same_bits(f(&n, x.data(), &one, y.data(), &one), base)) << b << " n=" << n;
    }
  }
}

}  // namespace
