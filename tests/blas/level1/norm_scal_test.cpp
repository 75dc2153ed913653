// asum, nrm2 and scal on every build against the reference BLAS, extended
// sums and exact products, with the edge values that tell the algorithms
// apart: squares beyond the double range, NaN times zero, the x87 control
// word; and cabs1.
#include "tests/blas/level1/l1_support.hpp"

namespace {

using namespace orb::l1test;

template <class E>
using norm_fn = real_t<E> (*)(const int*, const E*, const int*);
template <class E, class A = E>
using scal_fn = void (*)(const int*, const A*, E*, const int*);

// The letters of the norms and real scalings: s, d, sc, dz.
template <class E>
std::string norm_name(const char* op) {
  return std::string(parts<E> == 2 ? (sizeof(E) == 8 ? "sc" : "dz") : type_letter<E>) + op;
}

// Walks for the one-vector kernels: Walk::incy and yoff are unused.
class OneVector : public ::testing::TestWithParam<Walk> {};

template <class E>
void check_norms(const Walk& w) {
  const int n = w.n, incx = w.incx;
  const auto x = random_elements<E>(span(n, incx), 51);
  long double sum = 0, squares = 0;
  for (int i = 0; i < n; ++i) {
    const auto v = val(x[first(n, incx) + i * incx]);
    sum += std::fabs(v.real()) + std::fabs(v.imag()), squares += std::norm(v);
  }
  auto norm = [&](const char* op, int inc) {
    return in_every_build<norm_fn<E>>("x" + norm_name<E>(op), [&](auto f) {
      Guarded g(x, w.xoff);
      return f(&n, g.as<E>(), &inc);
    });
  };
  auto ref = [&](const char* op) { return orb::test::reference<norm_fn<E>>((norm_name<E>(op) + "_").c_str())(&n, x.data(), &incx); };
  const real_t<E> asum = norm("asum", incx), nrm2 = norm("nrm2", incx);
  EXPECT_TRUE(close_to(asum, sum, sum, parts<E> * n * eps<E>)) << w;
  // The reference sums nothing for incx < 1.
  if (incx > 0) {
    EXPECT_TRUE(close_to(asum, ref("asum"), sum, 2 * parts<E> * n * eps<E>)) << w;
  }
  // The extended sum with no scaling is accurate to about one rounding; the
  // increment counts by its absolute value.
  EXPECT_TRUE(close_to(nrm2, std::sqrt(squares), std::sqrt(squares), 2 * eps<E>)) << w;
  EXPECT_TRUE(close_to(nrm2, ref("nrm2"), nrm2 + parts<E> - 1, 8 * eps<E>)) << w;
  EXPECT_TRUE(same_bits(nrm2, norm("nrm2", -incx))) << w;
  // asum: chunk k goes to sum k mod 2 whether the chunks are loaded or
  // gathered, so a strided copy of a real vector sums to the same bits.
  if (parts<E> == 1 && incx == 1)
    for (int inc : {2, 5}) {
      std::vector<E> xs(span(n, inc));
      for (int i = 0; i < n; ++i) xs[i * inc] = x[i];
      const auto f = orb::test::kernel_of<norm_fn<E>>(orb::test::runnable_builds().front(), kernel<E>("asum").c_str());
      EXPECT_TRUE(same_bits(asum, f(&n, xs.data(), &inc))) << w << " copied to increment " << inc;
    }
}

TEST_P(OneVector, AsumAndNrm2MatchExtendedSums) {
  for_each_type([&]<class E>() { check_norms<E>(GetParam()); });
}

// scal: the plain product (real, and complex by a real), the crossed
// product of one fused step per part (complex), at the walk's offset;
// the reference rounds real products alike.
template <class E>
void check_scal(const Walk& w) {
  const int n = w.n, incx = w.incx;
  const E alpha = make<E>(0.625, -1.75);
  const real_t<E> ralpha = real_t<E>(-0.3);
  const auto x0 = random_elements<E>(span(n, incx), 56);
  auto want = x0, wantr = x0;
  for (int i = 0; i < n; ++i) {
    E& p = want[first(n, incx) + i * incx];
    E& q = wantr[first(n, incx) + i * incx];
    if constexpr (parts<E> == 1) {
      p *= alpha, q *= ralpha;
    } else {
      const auto xr = p.re, xi = p.im;
      p = E{std::fma(alpha.re, xr, -alpha.im * xi), std::fma(alpha.re, xi, alpha.im * xr)};
      q.re *= ralpha, q.im *= ralpha;
    }
  }
  auto scaled = [&](auto fn_type, const std::string& name, const auto& a) {
    return in_every_build<decltype(fn_type)>(name, [&](auto f) {
      Guarded g(x0, w.xoff);
      f(&n, &a, g.as<E>(), &incx);
      EXPECT_TRUE(g.untouched_around()) << name << " " << w;
      return g.values<E>();
    });
  };
  const auto got = scaled(scal_fn<E>{}, kernel<E>("scal"), alpha);
  EXPECT_TRUE(same_vectors(got, want)) << w;
  if constexpr (parts<E> == 2) {
    EXPECT_TRUE(same_vectors(scaled(scal_fn<E, real_t<E>>{}, sizeof(E) == 8 ? "xcsscal" : "xzdscal", ralpha), wantr)) << w;
  }
  if (incx > 0) {
    auto r = x0;
    orb::test::reference<scal_fn<E>>(reference<E>("scal").c_str())(&n, &alpha, r.data(), &incx);
    EXPECT_TRUE(parts<E> == 1 ? same_vectors(r, want) : close_vectors(r, want, 4 * eps<E>)) << w;
  }
}

TEST_P(OneVector, ScalExactProducts) {
  for_each_type([&]<class E>() { check_scal<E>(GetParam()); });
}

std::vector<Walk> one_vector_walks() {
  std::vector<Walk> v;
  for (int n : {1, 3, 7, 8, 13, 15, 16, 17, 31, 33, 64, 67, 100, 1000, 1025, 4097})
    v.push_back({n, 1, 0, std::size_t(n % 8) * 8});
  for (int n : {7, 16, 33, 100})
    for (std::size_t off : {4, 12, 24, 36, 60}) v.push_back({n, 1, 0, off});
  // A zero increment takes the first element n times.
  for (auto [n, inc] : {std::pair{5, 2}, {40, 3}, {77, 7}, {19, 3}, {11, 2}, {9, -1}, {41, -2}, {1000, -1}, {13, -3},
                        {3, 0}, {40, 0}})
    v.push_back({n, inc, 0, 8});
  return v;
}
INSTANTIATE_TEST_SUITE_P(Walks, OneVector, ::testing::ValuesIn(one_vector_walks()));

// dnrm2 near the top of the range: the squares overflow double but not the
// extended sum, so the result is finite and right to the last bits.
TEST(Nrm2, NoOverflowNearTheTopOfTheRange) {
  // The squares overflow double, the norms stay below DBL_MAX.
  for (int n : {1, 2, 9, 100, 250}) {
    std::vector<double> x(n, DBL_MAX / 16);
    const int one = 1;
    const double r = orb_blas_dnrm2(&n, x.data(), &one);
    const double want = double(std::sqrt((long double)n) * (DBL_MAX / 16));
    ASSERT_TRUE(std::isfinite(r)) << n;
    EXPECT_TRUE(close_to(r, want, want, 2 * DBL_EPSILON)) << n;
    std::vector<double> z(2 * n, -DBL_MAX / 32);
    EXPECT_TRUE(std::isfinite(orb_blas_dznrm2(&n, reinterpret_cast<const orb_complex16*>(z.data()), &one)));
    std::vector<float> f(n, FLT_MAX);
    const float rf = orb_blas_snrm2(&n, f.data(), &one);
    // sqrt(n) FLT_MAX is beyond float for n > 1: infinity, not NaN or zero.
    EXPECT_TRUE(n == 1 ? rf == FLT_MAX : std::isinf(rf)) << n;
  }
  // And near the bottom: squares of subnormals are not flushed.
  std::vector<double> tiny{4.9406564584124654e-324, 4.9406564584124654e-324, 4.9406564584124654e-324,
                           4.9406564584124654e-324};
  const int n = 4, one = 1;
  EXPECT_EQ(orb_blas_dnrm2(&n, tiny.data(), &one), 2 * 4.9406564584124654e-324);
}

TEST(Nrm2, NaNAndInfinity) {
  const int n = 5, one = 1;
  std::vector<double> x{1, 2, std::numeric_limits<double>::infinity(), 3, 4};
  EXPECT_TRUE(std::isinf(orb_blas_dnrm2(&n, x.data(), &one)));
  x[1] = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(std::isnan(orb_blas_dnrm2(&n, x.data(), &one)));
}

// The x87 precision control is set for the sum and given back afterwards.
static unsigned short control_word() {
  unsigned short cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
static void set_control_word(unsigned short cw) { __asm__ volatile("fldcw %0" : : "m"(cw)); }

TEST(Nrm2, ExtendedSumWhateverTheCallersPrecisionControl) {
  const int n = 1000, one = 1;
  const auto x = random_elements<double>(n, 55);
  const double base = orb_blas_dnrm2(&n, x.data(), &one);
  const unsigned short saved = control_word();
  const unsigned short dbl = (saved & ~0x300) | 0x200;  // 53-bit mantissas
  set_control_word(dbl);
  const double r = orb_blas_dnrm2(&n, x.data(), &one);
  const unsigned short after = control_word();
  set_control_word(saved);
  EXPECT_EQ(after, dbl);
  EXPECT_TRUE(same_bits(r, base));
}

// n < 1: zero, no access; scal touches nothing.
TEST(NormScal, QuickReturnsTouchNothing) {
  for_each_type([]<class E>() {
    E* bad = static_cast<E*>(orb::test::faulting_pointer());
    const E a = make<E>(2, 1);
    const int one = 1;
    for (int n : {0, -2}) {
      for (const char* op : {"asum", "nrm2"})
        for (auto [b, f] : every_build<norm_fn<E>>("x" + norm_name<E>(op))) EXPECT_TRUE(same_bits(f(&n, bad, &one), real_t<E>(0))) << b << op;
      for (auto [b, f] : every_build<scal_fn<E>>(kernel<E>("scal"))) f(&n, &a, bad, &one);
    }
  });
}

// scal multiplies every element, so alpha 0 leaves NaN and infinity as NaN,
// and alpha 1 changes nothing (but a signalling NaN).
TEST(NormScal, ScalAlphaZeroKeepsNaN) {
  const double inf = std::numeric_limits<double>::infinity();
  for (int n : {1, 3, 8, 13, 40, 77}) {
    for (std::size_t off : {0, 8, 24}) {
      std::vector<double> v(n, 5.0);
      v[0] = NAN, v[n / 2] = inf, v[n - 1] = -inf;
      for (double alpha : {0.0, 1.0}) {
        Guarded x(v, off);
        const int one = 1;
        orb_blas_dscal(&n, &alpha, x.as<double>(), &one);
        const auto r = x.values<double>();
        for (int i = 0; i < n; ++i) {
          const double want = alpha * v[i];
          EXPECT_TRUE(std::isnan(want) ? std::isnan(r[i]) : r[i] == want) << n << " " << i;
        }
      }
    }
  }
  std::vector<float> cf{NAN, 1.0f, 2.0f, std::numeric_limits<float>::infinity()};
  const int n = 2, one = 1;
  const orb_complex8 czero{0, 0};
  orb_blas_cscal(&n, &czero, reinterpret_cast<orb_complex8*>(cf.data()), &one);
  EXPECT_TRUE(std::isnan(cf[0]) && std::isnan(cf[1]) && std::isnan(cf[2]) && std::isnan(cf[3]));
}

TEST(Cabs1, SumOfMagnitudes) {
  for (orb_complex16 z : {orb_complex16{-3, 4}, orb_complex16{0, -0.0}, orb_complex16{1e300, -1e300}}) {
    const double want = orb::test::reference<double (*)(const orb_complex16*)>("dcabs1_")(&z);
    EXPECT_EQ(orb_blas_dcabs1(&z), want);
    const orb_complex8 c{float(z.re / 1e290), float(z.im)};
    EXPECT_EQ(orb_blas_scabs1(&c), orb::test::reference<float (*)(const orb_complex8*)>("scabs1_")(&c));
  }
  const orb_complex16 big{DBL_MAX, DBL_MAX};
  EXPECT_TRUE(std::isinf(orb_blas_dcabs1(&big)));
}

}  // namespace
