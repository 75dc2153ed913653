// The standard interfaces over level 1: the Fortran names (gfortran's
// calling convention, complex function results by value) and CBLAS (values
// instead of addresses, zero-based indices), against Debian's reference BLAS
// called through the same function types.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <string>
#include <vector>

#include "orb/cblas.h"
#include "orb/orb.h"
#include "orb/orb_blas_fortran.h"
#include "tests/support/oracle.hpp"

extern "C" {
void orb_c_zdotc(int n, const double* x, int incx, const double* y, int incy, double out[2]);
void orb_c_cdotu(int n, const float* x, int incx, const float* y, int incy, float out[2]);
double orb_c_cblas_ddot(int n, const double* x, int incx, const double* y, int incy);
size_t orb_c_cblas_icamax(int n, const float* x, int incx);
float orb_c_xsnrm2(int n, const float* x, int incx);
}

namespace {

using orb::test::reference;
using orb::test::same_bits;
using cf = std::complex<float>;
using cd = std::complex<double>;

// Routines as gfortran calls them: every argument by address, COMPLEX
// results by value as a C _Complex.
template <class R>
using f_dot = R (*)(const int*, const void*, const int*, const void*, const int*);
template <class R>
using f_reduce = R (*)(const int*, const void*, const int*);

struct Case {
  int n, incx, incy;
};

std::string case_name(const ::testing::TestParamInfo<Case>& info) {
  auto num = [](int v) { return v < 0 ? "m" + std::to_string(-v) : std::to_string(v); };
  return "n" + num(info.param.n) + "_x" + num(info.param.incx) + "_y" + num(info.param.incy);
}

// Unit and non-unit strides, negative ones on either side and both, and the
// sizes where the kernels change path.
const Case kCases[] = {{0, 1, 1},   {1, 1, 1},   {7, 1, 1},    {16, 1, 1},  {33, 1, 1},
                       {100, 1, 1}, {17, -1, -1}, {23, 2, -3}, {19, -2, 1}, {40, -3, -2},
                       {31, 3, 2},  {9, 1, -1}};

template <class T>
struct real_of {
  using type = T;
};
template <class T>
struct real_of<std::complex<T>> {
  using type = T;
};

// Vector of n elements at stride inc, random in [-1, 1) (both parts).
template <class T>
std::vector<T> strided(int n, int inc, unsigned seed) {
  using R = typename real_of<T>::type;
  const std::size_t len = std::size_t(std::max(1, 1 + (std::max(n, 1) - 1) * std::abs(inc)));
  auto re = orb::test::random_vector<R>(len, seed);
  auto im = orb::test::random_vector<R>(len, seed + 1000);
  std::vector<T> v(len);
  for (std::size_t i = 0; i < len; ++i) {
    if constexpr (std::is_same_v<T, R>)
      v[i] = re[i];
    else
      v[i] = T(re[i], im[i]);
  }
  return v;
}

// Element i of a vector of n at stride inc (a negative stride starts at the far end).
template <class T>
T& elem(std::vector<T>& v, int n, int inc, int i) {
  return v[std::size_t(inc >= 0 ? i * inc : (n - 1 - i) * -inc)];
}

template <class T>
double eps() {
  return std::is_same_v<typename real_of<T>::type, float> ? 1.2e-7 : 2.3e-16;
}

// |a - b| within tol of the scale: enough for results that differ from the
// reference only in the order of rounding.
template <class T>
::testing::AssertionResult close(T a, T b, double tol, double scale = 1.0) {
  const double d = std::abs(std::complex<double>(a) - std::complex<double>(b));
  if (d <= tol * std::max(scale, 1e-300)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << a << " vs " << b << " (difference " << d << ", allowed "
                                       << tol * scale << ")";
}

template <class T>
::testing::AssertionResult close_vectors(const std::vector<T>& a, const std::vector<T>& b, double tol) {
  for (std::size_t i = 0; i < a.size(); ++i) {
    const double scale = std::max(1.0, std::abs(std::complex<double>(b[i])));
    if (auto r = close(a[i], b[i], tol, scale); !r) return r << " at element " << i;
  }
  return ::testing::AssertionSuccess();
}

// Our exported Fortran name, checked to come from liborb_core.
template <class F>
F ours(const char* name) {
  void* p = dlsym(RTLD_DEFAULT, name);
  Dl_info info{};
  if (!p || !dladdr(p, &info) || !info.dli_fname || !std::strstr(info.dli_fname, "liborb_core")) {
    ADD_FAILURE() << name << " does not come from liborb_core ("
                  << (p && info.dli_fname ? info.dli_fname : "missing") << ")";
    return nullptr;
  }
  return reinterpret_cast<F>(p);
}

// ---------------------------------------------------------------------------
// Fortran complex function results.

class FortranComplexDot : public ::testing::TestWithParam<Case> {};

template <class T>
void check_complex_dot(const char* name, const Case& c,
                       void (*sub)(int, const void*, int, const void*, int, void*)) {
  using R = std::conditional_t<std::is_same_v<T, cf>, orb_fortran_complex8, orb_fortran_complex16>;
  auto mine = ours<f_dot<R>>(name);
  ASSERT_NE(mine, nullptr);
  auto ref = reference<f_dot<R>>(name);
  auto x = strided<T>(c.n, c.incx, 11);
  auto y = strided<T>(c.n, c.incy, 12);
  const R got = mine(&c.n, x.data(), &c.incx, y.data(), &c.incy);
  const R want = ref(&c.n, x.data(), &c.incx, y.data(), &c.incy);
  const T g(__real__ got, __imag__ got), w(__real__ want, __imag__ want);
  if (c.n == 0) {
    EXPECT_EQ(g, T(0)) << name;
  }
  EXPECT_TRUE(close(g, w, 4 * eps<T>() * std::sqrt(double(std::max(c.n, 1))), 2.0 * std::max(c.n, 1)))
      << name;
  T via_cblas(-7, -7);
  sub(c.n, x.data(), c.incx, y.data(), c.incy, &via_cblas);
  EXPECT_TRUE(same_bits(g, via_cblas)) << name << ": " << g << " by value, " << via_cblas << " from the cblas form";
}

TEST_P(FortranComplexDot, ReturnsTheResultByValueAsGfortranDoes) {
  const Case c = GetParam();
  check_complex_dot<cf>("cdotc_", c, cblas_cdotc_sub);
  check_complex_dot<cf>("cdotu_", c, cblas_cdotu_sub);
  check_complex_dot<cd>("zdotc_", c, cblas_zdotc_sub);
  check_complex_dot<cd>("zdotu_", c, cblas_zdotu_sub);
}

TEST_P(FortranComplexDot, CallersInCGetTheSameBits) {
  const Case c = GetParam();
  auto x = strided<cd>(c.n, c.incx, 21);
  auto y = strided<cd>(c.n, c.incy, 22);
  double out[2];
  orb_c_zdotc(c.n, reinterpret_cast<const double*>(x.data()), c.incx, reinterpret_cast<const double*>(y.data()),
              c.incy, out);
  const orb_fortran_complex16 r = zdotc_(&c.n, reinterpret_cast<const orb_complex16*>(x.data()), &c.incx,
                                         reinterpret_cast<const orb_complex16*>(y.data()), &c.incy);
  EXPECT_TRUE(same_bits(out[0], double(__real__ r)));
  EXPECT_TRUE(same_bits(out[1], double(__imag__ r)));

  auto xf = strided<cf>(c.n, c.incx, 23);
  auto yf = strided<cf>(c.n, c.incy, 24);
  float outf[2];
  orb_c_cdotu(c.n, reinterpret_cast<const float*>(xf.data()), c.incx, reinterpret_cast<const float*>(yf.data()),
              c.incy, outf);
  cf sub;
  cblas_cdotu_sub(c.n, xf.data(), c.incx, yf.data(), c.incy, &sub);
  EXPECT_TRUE(same_bits(outf[0], sub.real()));
  EXPECT_TRUE(same_bits(outf[1], sub.imag()));
}

INSTANTIATE_TEST_SUITE_P(Strides, FortranComplexDot, ::testing::ValuesIn(kCases), case_name);

// Real function results: float comes back as a float (gfortran), not as
// the double of the old f2c convention.
TEST(FortranRealResults, MatchTheReferenceThroughTheSameTypes) {
  const int n = 37, one = 1, two = 2;
  auto xs = strided<float>(n, 1, 31), ys = strided<float>(n, 1, 32);
  auto xc = strided<cf>(n, 2, 33);
  auto xd = strided<double>(n, 1, 34), yd = strided<double>(n, 1, 35);
  const double tf = 8 * eps<float>() * n, td = 8 * eps<double>() * n;

  auto check_f = [&](const char* name, auto call, double tol) {
    void* mine = ours<void*>(name);
    ASSERT_NE(mine, nullptr);
    EXPECT_TRUE(close(call(mine), call(orb::test::reference_symbol(name)), tol, n)) << name;
  };
  check_f("sdot_", [&](void* f) { return reinterpret_cast<f_dot<float>>(f)(&n, xs.data(), &one, ys.data(), &one); }, tf);
  check_f("ddot_", [&](void* f) { return reinterpret_cast<f_dot<double>>(f)(&n, xd.data(), &one, yd.data(), &one); }, td);
  check_f("dsdot_", [&](void* f) { return reinterpret_cast<f_dot<double>>(f)(&n, xs.data(), &one, ys.data(), &one); }, td);
  check_f("sdsdot_", [&](void* f) {
    const float sb = 0.25f;
    using F = float (*)(const int*, const float*, const void*, const int*, const void*, const int*);
    return reinterpret_cast<F>(f)(&n, &sb, xs.data(), &one, ys.data(), &one);
  }, tf);
  check_f("snrm2_", [&](void* f) { return reinterpret_cast<f_reduce<float>>(f)(&n, xs.data(), &one); }, tf);
  check_f("sasum_", [&](void* f) { return reinterpret_cast<f_reduce<float>>(f)(&n, xs.data(), &one); }, tf);
  check_f("scnrm2_", [&](void* f) { return reinterpret_cast<f_reduce<float>>(f)(&n, xc.data(), &two); }, tf);
  check_f("scasum_", [&](void* f) { return reinterpret_cast<f_reduce<float>>(f)(&n, xc.data(), &two); }, tf);
  check_f("dnrm2_", [&](void* f) { return reinterpret_cast<f_reduce<double>>(f)(&n, xd.data(), &one); }, td);
  check_f("scabs1_", [&](void* f) { return reinterpret_cast<float (*)(const void*)>(f)(&xc[3]); }, tf);
  const cd z(-3.5, 0.25);
  check_f("dcabs1_", [&](void* f) { return reinterpret_cast<double (*)(const void*)>(f)(&z); }, td);
  check_f("isamax_", [&](void* f) { return double(reinterpret_cast<f_reduce<int>>(f)(&n, xs.data(), &one)); }, 0);
}

// ---------------------------------------------------------------------------
// CBLAS against the reference's Fortran routines, with the same vectors.

class Cblas : public ::testing::TestWithParam<Case> {};

template <class T>
using f_axpy = void (*)(const int*, const void*, const void*, const int*, void*, const int*);
using f_pair = void (*)(const int*, void*, const int*, void*, const int*);

template <class T, class Alpha, class Call>
void check_axpy(const char* ref_name, const Case& c, Alpha alpha, Call cblas) {
  auto x = strided<T>(c.n, c.incx, 41);
  auto y = strided<T>(c.n, c.incy, 42);
  auto yref = y;
  cblas(c.n, alpha, x.data(), c.incx, y.data(), c.incy);
  const T a(alpha);
  reference<f_axpy<T>>(ref_name)(&c.n, &a, x.data(), &c.incx, yref.data(), &c.incy);
  EXPECT_TRUE(close_vectors(y, yref, 4 * eps<T>())) << ref_name;
}

TEST_P(Cblas, AxpyFollowsTheIncrements) {
  const Case c = GetParam();
  check_axpy<float>("saxpy_", c, 0.75f, cblas_saxpy);
  check_axpy<double>("daxpy_", c, -1.25, cblas_daxpy);
  const cf ac(0.5f, -2.0f);
  const cd az(-0.25, 1.5);
  check_axpy<cf>("caxpy_", c, ac, [&](int n, cf, const cf* x, int ix, cf* y, int iy) { cblas_caxpy(n, &ac, x, ix, y, iy); });
  check_axpy<cd>("zaxpy_", c, az, [&](int n, cd, const cd* x, int ix, cd* y, int iy) { cblas_zaxpy(n, &az, x, ix, y, iy); });
}

// The reference has no axpby: y = alpha x + beta y element by element in
// long double is the oracle.
template <class T, class Call>
void check_axpby(const Case& c, T alpha, T beta, Call cblas) {
  auto x = strided<T>(c.n, c.incx, 43);
  auto y = strided<T>(c.n, c.incy, 44);
  auto want = y;
  using L = std::conditional_t<std::is_same_v<T, typename real_of<T>::type>, long double,
                               std::complex<long double>>;
  for (int i = 0; i < c.n; ++i) {
    const L v = L(alpha) * L(elem(x, c.n, c.incx, i)) + L(beta) * L(elem(want, c.n, c.incy, i));
    elem(want, c.n, c.incy, i) = T(v);
  }
  cblas(c.n, x.data(), c.incx, y.data(), c.incy);
  EXPECT_TRUE(close_vectors(y, want, 8 * eps<T>()));
}

TEST_P(Cblas, AxpbyFollowsTheIncrements) {
  const Case c = GetParam();
  check_axpby<float>(c, 0.75f, -0.5f, [](int n, const float* x, int ix, float* y, int iy) {
    cblas_saxpby(n, 0.75f, x, ix, -0.5f, y, iy);
  });
  check_axpby<double>(c, -1.25, 2.0, [](int n, const double* x, int ix, double* y, int iy) {
    cblas_daxpby(n, -1.25, x, ix, 2.0, y, iy);
  });
  const cf ac(0.5f, -2.0f), bc(1.0f, 0.5f);
  check_axpby<cf>(c, ac, bc, [&](int n, const cf* x, int ix, cf* y, int iy) { cblas_caxpby(n, &ac, x, ix, &bc, y, iy); });
  const cd az(-0.25, 1.5), bz(0.0, -1.0);
  check_axpby<cd>(c, az, bz, [&](int n, const cd* x, int ix, cd* y, int iy) { cblas_zaxpby(n, &az, x, ix, &bz, y, iy); });
}

template <class T, class R, class Call>
void check_dot(const char* ref_name, const Case& c, Call cblas) {
  auto x = strided<T>(c.n, c.incx, 45);
  auto y = strided<T>(c.n, c.incy, 46);
  const R got = cblas(c.n, x.data(), c.incx, y.data(), c.incy);
  const R want = reference<f_dot<R>>(ref_name)(&c.n, x.data(), &c.incx, y.data(), &c.incy);
  EXPECT_TRUE(close(got, want, 4 * eps<R>() * std::sqrt(double(std::max(c.n, 1))), std::max(c.n, 1))) << ref_name;
}

TEST_P(Cblas, DotsFollowTheIncrements) {
  const Case c = GetParam();
  check_dot<float, float>("sdot_", c, cblas_sdot);
  check_dot<double, double>("ddot_", c, cblas_ddot);
  check_dot<float, double>("dsdot_", c, cblas_dsdot);
  check_dot<double, double>("ddot_", c, orb_c_cblas_ddot);
  {
    auto x = strided<float>(c.n, c.incx, 47);
    auto y = strided<float>(c.n, c.incy, 48);
    const float sb = -0.5f;
    using F = float (*)(const int*, const float*, const void*, const int*, const void*, const int*);
    const float want = reference<F>("sdsdot_")(&c.n, &sb, x.data(), &c.incx, y.data(), &c.incy);
    EXPECT_TRUE(close(cblas_sdsdot(c.n, sb, x.data(), c.incx, y.data(), c.incy), want, 4 * eps<float>(),
                      std::max(c.n, 1)));
  }
  // The complex forms: the reference's function result against the _sub form.
  auto complex_dot = [&](auto tag, const char* ref_name, auto sub) {
    using T = decltype(tag);
    using R = std::conditional_t<std::is_same_v<T, cf>, orb_fortran_complex8, orb_fortran_complex16>;
    auto x = strided<T>(c.n, c.incx, 49);
    auto y = strided<T>(c.n, c.incy, 50);
    T got;
    sub(c.n, x.data(), c.incx, y.data(), c.incy, &got);
    const R w = reference<f_dot<R>>(ref_name)(&c.n, x.data(), &c.incx, y.data(), &c.incy);
    EXPECT_TRUE(close(got, T(__real__ w, __imag__ w), 4 * eps<T>() * std::sqrt(double(std::max(c.n, 1))),
                      2.0 * std::max(c.n, 1)))
        << ref_name;
  };
  complex_dot(cf{}, "cdotu_", cblas_cdotu_sub);
  complex_dot(cf{}, "cdotc_", cblas_cdotc_sub);
  complex_dot(cd{}, "zdotu_", cblas_zdotu_sub);
  complex_dot(cd{}, "zdotc_", cblas_zdotc_sub);
}

template <class T, class Call>
void check_pair(const char* ref_name, const Case& c, Call cblas) {
  auto x = strided<T>(c.n, c.incx, 51);
  auto y = strided<T>(c.n, c.incy, 52);
  auto xr = x, yr = y;
  cblas(c.n, x.data(), c.incx, y.data(), c.incy);
  reference<f_pair>(ref_name)(&c.n, xr.data(), &c.incx, yr.data(), &c.incy);
  EXPECT_EQ(x, xr) << ref_name;
  EXPECT_EQ(y, yr) << ref_name;
}

TEST_P(Cblas, SwapAndCopyFollowTheIncrements) {
  const Case c = GetParam();
  check_pair<float>("sswap_", c, cblas_sswap);
  check_pair<double>("dswap_", c, cblas_dswap);
  check_pair<cf>("cswap_", c, [](int n, cf* x, int ix, cf* y, int iy) { cblas_cswap(n, x, ix, y, iy); });
  check_pair<cd>("zswap_", c, [](int n, cd* x, int ix, cd* y, int iy) { cblas_zswap(n, x, ix, y, iy); });
  check_pair<float>("scopy_", c, cblas_scopy);
  check_pair<double>("dcopy_", c, cblas_dcopy);
  check_pair<cf>("ccopy_", c, [](int n, cf* x, int ix, cf* y, int iy) { cblas_ccopy(n, x, ix, y, iy); });
  check_pair<cd>("zcopy_", c, [](int n, cd* x, int ix, cd* y, int iy) { cblas_zcopy(n, x, ix, y, iy); });
}

template <class T, class S, class Call>
void check_rot(const char* ref_name, const Case& c, S cs, S sn, Call cblas) {
  auto x = strided<T>(c.n, c.incx, 53);
  auto y = strided<T>(c.n, c.incy, 54);
  auto xr = x, yr = y;
  cblas(c.n, x.data(), c.incx, y.data(), c.incy, cs, sn);
  using F = void (*)(const int*, void*, const int*, void*, const int*, const S*, const S*);
  reference<F>(ref_name)(&c.n, xr.data(), &c.incx, yr.data(), &c.incy, &cs, &sn);
  EXPECT_TRUE(close_vectors(x, xr, 4 * eps<T>())) << ref_name;
  EXPECT_TRUE(close_vectors(y, yr, 4 * eps<T>())) << ref_name;
}

TEST_P(Cblas, RotationsFollowTheIncrements) {
  const Case c = GetParam();
  check_rot<float>("srot_", c, 0.6f, 0.8f, cblas_srot);
  check_rot<double>("drot_", c, 0.8, -0.6, cblas_drot);
  check_rot<cf>("csrot_", c, 0.28f, 0.96f,
                [](int n, cf* x, int ix, cf* y, int iy, float a, float b) { cblas_csrot(n, x, ix, y, iy, a, b); });
  check_rot<cd>("zdrot_", c, -0.6, 0.8,
                [](int n, cd* x, int ix, cd* y, int iy, double a, double b) { cblas_zdrot(n, x, ix, y, iy, a, b); });

  // Modified rotations, each form of the flag.
  auto rotm = [&](auto cblas, const char* ref_name, auto flag, unsigned seed) {
    using T = decltype(flag);
    const T param[5] = {flag, T(0.5), T(-0.25), T(2.0), T(0.75)};
    auto x = strided<T>(c.n, c.incx, seed), y = strided<T>(c.n, c.incy, seed + 1);
    auto xr = x, yr = y;
    cblas(c.n, x.data(), c.incx, y.data(), c.incy, param);
    using F = void (*)(const int*, void*, const int*, void*, const int*, const T*);
    reference<F>(ref_name)(&c.n, xr.data(), &c.incx, yr.data(), &c.incy, param);
    EXPECT_TRUE(close_vectors(x, xr, 4 * eps<T>())) << ref_name << " flag " << flag;
    EXPECT_TRUE(close_vectors(y, yr, 4 * eps<T>())) << ref_name << " flag " << flag;
  };
  for (double flag : {-1.0, 0.0, 1.0, -2.0}) {
    rotm(cblas_drotm, "drotm_", flag, 55);
    rotm(cblas_srotm, "srotm_", float(flag), 57);
  }

  // crot and zrot (complex sine) have no reference routine in BLAS:
  // x' = c x + s y, y' = c y - conj(s) x, in long double.
  const cd s(0.48, -0.6);
  const double co = 0.64;
  auto x = strided<cd>(c.n, c.incx, 59), y = strided<cd>(c.n, c.incy, 60);
  auto xw = x, yw = y;
  for (int i = 0; i < c.n; ++i) {
    using L = std::complex<long double>;
    const L xi(elem(x, c.n, c.incx, i)), yi(elem(y, c.n, c.incy, i)), sl(s);
    elem(xw, c.n, c.incx, i) = cd((long double)co * xi + sl * yi);
    elem(yw, c.n, c.incy, i) = cd((long double)co * yi - std::conj(sl) * xi);
  }
  cblas_zrot(c.n, x.data(), c.incx, y.data(), c.incy, co, &s);
  EXPECT_TRUE(close_vectors(x, xw, 4 * eps<cd>()));
  EXPECT_TRUE(close_vectors(y, yw, 4 * eps<cd>()));
}

INSTANTIATE_TEST_SUITE_P(Strides, Cblas, ::testing::ValuesIn(kCases), case_name);

// One-vector routines: the reference ignores a vector with an increment
// below 1, so these take positive strides (nrm2 also a negative one, which
// both walk backwards over the same elements).
struct OneVector {
  int n, inc;
};
class CblasOneVector : public ::testing::TestWithParam<OneVector> {};

// One strided vector of each type, from seeds seed to seed + 3.
struct EachType {
  std::vector<float> s;
  std::vector<double> d;
  std::vector<cf> c;
  std::vector<cd> z;
};
EachType each_type(int n, int inc, unsigned seed) {
  return {strided<float>(n, inc, seed), strided<double>(n, inc, seed + 1), strided<cf>(n, inc, seed + 2),
          strided<cd>(n, inc, seed + 3)};
}

TEST_P(CblasOneVector, NormsSumsAndScalingMatchTheReference) {
  const auto [n, inc] = GetParam();
  auto [xs, xd, xc, xz] = each_type(n, inc, 61);
  const double sz = std::max(n, 1);
  // A norm or sum of magnitudes of CBLAS against the reference routine.
  auto reduce = [&](auto cblas, const char* ref_name, const auto& x) {
    using R = decltype(cblas(n, x.data(), inc));
    return close(cblas(n, x.data(), inc), reference<f_reduce<R>>(ref_name)(&n, x.data(), &inc), 4 * eps<R>(), sz);
  };
  EXPECT_TRUE(reduce(cblas_snrm2, "snrm2_", xs));
  EXPECT_TRUE(reduce(cblas_dnrm2, "dnrm2_", xd));
  EXPECT_TRUE(reduce(cblas_scnrm2, "scnrm2_", xc));
  EXPECT_TRUE(reduce(cblas_dznrm2, "dznrm2_", xz));
  EXPECT_TRUE(same_bits(orb_c_xsnrm2(n, xs.data(), inc), cblas_snrm2(n, xs.data(), inc)));
  if (inc < 1) return;
  EXPECT_TRUE(reduce(cblas_sasum, "sasum_", xs));
  EXPECT_TRUE(reduce(cblas_dasum, "dasum_", xd));
  EXPECT_TRUE(reduce(cblas_scasum, "scasum_", xc));
  EXPECT_TRUE(reduce(cblas_dzasum, "dzasum_", xz));

  using f_scal = void (*)(const int*, const void*, void*, const int*);
  auto scal = [&](auto v, const char* ref_name, const auto& alpha, auto cblas) {
    auto r = v;
    cblas(v.data());
    reference<f_scal>(ref_name)(&n, &alpha, r.data(), &inc);
    EXPECT_TRUE(close_vectors(v, r, 4 * eps<typename decltype(v)::value_type>())) << ref_name;
  };
  const float as = -1.5f;
  const double ad = 0.375;
  const cf ac(0.5f, 1.5f);
  const cd az(-2.0, 0.125);
  scal(xs, "sscal_", as, [&](float* p) { cblas_sscal(n, as, p, inc); });
  scal(xd, "dscal_", ad, [&](double* p) { cblas_dscal(n, ad, p, inc); });
  scal(xc, "cscal_", ac, [&](cf* p) { cblas_cscal(n, &ac, p, inc); });
  scal(xz, "zscal_", az, [&](cd* p) { cblas_zscal(n, &az, p, inc); });
  scal(xc, "csscal_", as, [&](cf* p) { cblas_csscal(n, as, p, inc); });
  scal(xz, "zdscal_", ad, [&](cd* p) { cblas_zdscal(n, ad, p, inc); });
}

// Index of the largest magnitude: CBLAS counts from 0, the Fortran form
// from 1; both answer 0 for an empty vector.
TEST_P(CblasOneVector, IndicesCountFromZero) {
  const auto [n, inc] = GetParam();
  auto [xs, xd, xc, xz] = each_type(n, inc, 65);
  auto fortran = [&](const char* name, const void* x) {
    const int i = reference<f_reduce<int>>(name)(&n, x, &inc);
    return CBLAS_INDEX(i > 0 ? i - 1 : 0);
  };
  EXPECT_EQ(cblas_isamax(n, xs.data(), inc), fortran("isamax_", xs.data()));
  EXPECT_EQ(cblas_idamax(n, xd.data(), inc), fortran("idamax_", xd.data()));
  EXPECT_EQ(cblas_icamax(n, xc.data(), inc), fortran("icamax_", xc.data()));
  EXPECT_EQ(cblas_izamax(n, xz.data(), inc), fortran("izamax_", xz.data()));
  EXPECT_EQ(orb_c_cblas_icamax(n, reinterpret_cast<const float*>(xc.data()), inc), fortran("icamax_", xc.data()));

  // The reference has no i?amin: the first index of the smallest |re| + |im|.
  auto smallest = [&](auto& v) {
    CBLAS_INDEX best = 0;
    double m = INFINITY;
    for (int i = 0; i < n && inc > 0; ++i) {
      const auto e = std::complex<double>(elem(v, n, inc, i));
      const double a = std::abs(e.real()) + std::abs(e.imag());
      if (a < m) m = a, best = CBLAS_INDEX(i);
    }
    return best;
  };
  EXPECT_EQ(cblas_isamin(n, xs.data(), inc), smallest(xs));
  EXPECT_EQ(cblas_idamin(n, xd.data(), inc), smallest(xd));
  EXPECT_EQ(cblas_icamin(n, xc.data(), inc), smallest(xc));
  EXPECT_EQ(cblas_izamin(n, xz.data(), inc), smallest(xz));
}

INSTANTIATE_TEST_SUITE_P(Strides, CblasOneVector,
                         ::testing::Values(OneVector{0, 1}, OneVector{1, 1}, OneVector{5, 1}, OneVector{33, 1},
                                           OneVector{100, 3}, OneVector{41, 2}, OneVector{29, -2}),
                         [](const ::testing::TestParamInfo<OneVector>& i) {
                           return "n" + std::to_string(i.param.n) + "_inc" +
                                  (i.param.inc < 0 ? "m" + std::to_string(-i.param.inc) : std::to_string(i.param.inc));
                         });

// Scalars by address in CBLAS too: the generators of rotations.
TEST(CblasRotg, MatchesTheReference) {
  const std::pair<double, double> real_cases[] = {{3.0, 4.0}, {-5.0, 2.0}, {0.0, 0.0}, {0.0, -1.5}, {2.5, 0.0}, {1e-3, -7.0}};
  for (auto [a0, b0] : real_cases) {
    double a = a0, b = b0, c, s, ar = a0, br = b0, cr, sr;
    cblas_drotg(&a, &b, &c, &s);
    reference<void (*)(double*, double*, double*, double*)>("drotg_")(&ar, &br, &cr, &sr);
    for (auto [g, w] : std::initializer_list<std::pair<double, double>>{{a, ar}, {b, br}, {c, cr}, {s, sr}})
      EXPECT_TRUE(close(g, w, 4 * eps<double>(), std::max(1.0, std::abs(w)))) << a0 << ", " << b0;
    float fa = float(a0), fb = float(b0), fc, fs, far = float(a0), fbr = float(b0), fcr, fsr;
    cblas_srotg(&fa, &fb, &fc, &fs);
    reference<void (*)(float*, float*, float*, float*)>("srotg_")(&far, &fbr, &fcr, &fsr);
    for (auto [g, w] : std::initializer_list<std::pair<float, float>>{{fa, far}, {fb, fbr}, {fc, fcr}, {fs, fsr}})
      EXPECT_TRUE(close(g, w, 4 * eps<float>(), std::max(1.0f, std::abs(w)))) << a0 << ", " << b0;
  }
  // a = 0 is left out: there the reference (since 3.10) answers with a real
  // r = |b|, the classic convention with s = 1 and r = b. Both are rotations.
  const std::pair<cd, cd> complex_cases[] = {{cd(3, -1), cd(4, 2)}, {cd(-2, 0.5), cd(0, 0)}, {cd(1e-2, 3), cd(-5, 0.5)}};
  for (auto [a0, b0] : complex_cases) {
    cd a = a0, b = b0, s, ar = a0, sr;
    double c, cr;
    cblas_zrotg(&a, &b, &c, &s);
    reference<void (*)(void*, const void*, double*, void*)>("zrotg_")(&ar, &b0, &cr, &sr);
    EXPECT_TRUE(close(a, ar, 8 * eps<double>(), std::abs(ar) + 1));
    EXPECT_TRUE(close(c, cr, 8 * eps<double>()));
    EXPECT_TRUE(close(s, sr, 8 * eps<double>()));
    cf fa(a0), fb(b0), fs, far(a0), fsr;
    float fc, fcr;
    cblas_crotg(&fa, &fb, &fc, &fs);
    reference<void (*)(void*, const void*, float*, void*)>("crotg_")(&far, &fb, &fcr, &fsr);
    EXPECT_TRUE(close(fa, far, 8 * eps<float>(), std::abs(far) + 1));
    EXPECT_TRUE(close(fc, fcr, 8 * eps<float>()));
    EXPECT_TRUE(close(fs, fsr, 8 * eps<float>()));
  }
}

TEST(CblasRotmg, PassesTheLastCoordinateByValue) {
  // Moderate values: no rescaling step, on both the flag-0 and the flag-1 path.
  const std::pair<double, int> cases[] = {{0.5, 0}, {3.0, 1}};
  for (auto [y1v, flag_path] : cases) {
    double d1 = 2.0, d2 = 1.5, x1 = 1.25, p[5] = {};
    double rd1 = d1, rd2 = d2, rx1 = x1, rp[5] = {};
    cblas_drotmg(&d1, &d2, &x1, y1v, p);
    reference<void (*)(double*, double*, double*, const double*, double*)>("drotmg_")(&rd1, &rd2, &rx1, &y1v, rp);
    EXPECT_EQ(p[0], rp[0]) << "path " << flag_path;
    for (auto [g, w] : std::initializer_list<std::pair<double, double>>{{d1, rd1}, {d2, rd2}, {x1, rx1}})
      EXPECT_TRUE(close(g, w, 8 * eps<double>(), std::abs(w))) << "path " << flag_path;
    const float fy1 = float(y1v);
    float f1 = 2.0f, f2 = 1.5f, fx = 1.25f, fp[5] = {}, r1 = f1, r2 = f2, rx = fx, rfp[5] = {};
    cblas_srotmg(&f1, &f2, &fx, fy1, fp);
    reference<void (*)(float*, float*, float*, const float*, float*)>("srotmg_")(&r1, &r2, &rx, &fy1, rfp);
    EXPECT_EQ(fp[0], rfp[0]);
    for (auto [g, w] : std::initializer_list<std::pair<float, float>>{{f1, r1}, {f2, r2}, {fx, rx}})
      EXPECT_TRUE(close(g, w, 8 * eps<float>(), std::abs(w))) << "path " << flag_path;
  }
}

TEST(CblasCabs1, SumsTheMagnitudesOfBothParts) {
  const cf c(-1.5f, 0.25f);
  const cd z(3.0, -4.0);
  EXPECT_EQ(cblas_scabs1(&c), 1.75f);
  EXPECT_EQ(cblas_dcabs1(&z), 7.0);
}

// The norms the kernel libraries call back give what the public routines give.
TEST(BackCalls, NormsEqualThePublicRoutines) {
  const int n = 45, inc = 2;
  auto xs = strided<float>(n, inc, 71);
  auto xd = strided<double>(n, inc, 72);
  std::vector<orb_complex8> c8(std::size_t(n * inc));
  std::vector<orb_complex16> c16(std::size_t(n * inc));
  for (std::size_t i = 0; i < c8.size(); ++i) {
    c8[i] = {xs[i % xs.size()], -xs[(i + 1) % xs.size()]};
    c16[i] = {xd[i % xd.size()], xd[(i + 3) % xd.size()]};
  }
  EXPECT_TRUE(same_bits(orb_blas_xsnrm2(&n, xs.data(), &inc), orb_blas_snrm2(&n, xs.data(), &inc)));
  EXPECT_TRUE(same_bits(orb_blas_xdnrm2(&n, xd.data(), &inc), orb_blas_dnrm2(&n, xd.data(), &inc)));
  EXPECT_TRUE(same_bits(orb_blas_xscnrm2(&n, c8.data(), &inc), orb_blas_scnrm2(&n, c8.data(), &inc)));
  EXPECT_TRUE(same_bits(orb_blas_xdznrm2(&n, c16.data(), &inc), orb_blas_dznrm2(&n, c16.data(), &inc)));
  EXPECT_GT(orb_blas_xdnrm2(&n, xd.data(), &inc), 0.0);
}

}  // namespace
