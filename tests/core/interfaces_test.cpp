// The standard interfaces over level 1: the Fortran names (gfortran's
// calling convention, complex function results by value) against Debian's
// reference BLAS called through the same function types, and CBLAS (values
// instead of addresses, zero-based indices) against the routines it wraps.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <limits>
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

// Vector of n elements at stride inc, random in [-1, 1) (both parts).
template <class T>
std::vector<T> strided(int n, int inc, unsigned seed) {
  const std::size_t len = n > 1 ? std::size_t(n - 1) * std::abs(inc) + 1 : 1;
  const auto r = orb::test::random_vector<double>(2 * len, seed);
  std::vector<T> v(len);
  for (std::size_t i = 0; i < len; ++i) {
    if constexpr (requires { v[i].imag(); }) v[i] = T(r[2 * i], r[2 * i + 1]);
    else v[i] = T(r[2 * i]);
  }
  return v;
}

template <class T>
double eps() {
  return std::numeric_limits<decltype(std::abs(T{}))>::epsilon();
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
// CBLAS forwards to the orb_blas routines, whose values the level-1 tests
// check: for the same numbers it must give the same bits and results.

// ours(x, y) and theirs(x, y) on copies of the same strided x and y: the
// same results, and x and y left with the same bits.
template <class T, class A, class B>
void same_as(const char* what, const Case& c, A ours, B theirs) {
  auto x = strided<T>(c.n, c.incx, 41), y = strided<T>(c.n, c.incy, 42);
  auto x2 = x, y2 = y;
  const auto r = ours(x.data(), y.data()), r2 = theirs(x2.data(), y2.data());
  EXPECT_TRUE(same_bits(r, r2)) << what;
  EXPECT_EQ(std::memcmp(x.data(), x2.data(), x.size() * sizeof(T)), 0) << what << " x";
  EXPECT_EQ(std::memcmp(y.data(), y2.data(), y.size() * sizeof(T)), 0) << what << " y";
}

class Cblas : public ::testing::TestWithParam<Case> {};

TEST_P(Cblas, TwoVectorRoutinesForwardTheirArguments) {
  const Case c = GetParam();
  const int n = c.n, ix = c.incx, iy = c.incy;
  const float as = 0.75f, bs = -0.5f, cs = 0.6f, ss = 0.8f, sb = -0.5f;
  const double ad = -1.25, bd = 2.0, cd_ = 0.8, sd = -0.6;
  const cf ac(0.5f, -2.0f), bc(1.0f, 0.5f);
  const cd az(-0.25, 1.5), bz(0.0, -1.0), sz(0.48, -0.6);
  using S = float*;
  using D = double*;
  using C = orb_complex8*;
  using Z = orb_complex16*;
  // Routines with no result: compared by the vectors they leave.
#define ORB_SAME(T, name, cblas_call, orb_call)                                                       \
  same_as<T>(name, c, [&](T* x, T* y) { cblas_call; return 0; }, [&](T* x, T* y) { orb_call; return 0; })
  ORB_SAME(float, "saxpy", cblas_saxpy(n, as, x, ix, y, iy), orb_blas_saxpy(&n, &as, x, &ix, y, &iy));
  ORB_SAME(double, "daxpy", cblas_daxpy(n, ad, x, ix, y, iy), orb_blas_daxpy(&n, &ad, x, &ix, y, &iy));
  ORB_SAME(cf, "caxpy", cblas_caxpy(n, &ac, x, ix, y, iy), orb_blas_caxpy(&n, C(&ac), C(x), &ix, C(y), &iy));
  ORB_SAME(cd, "zaxpy", cblas_zaxpy(n, &az, x, ix, y, iy), orb_blas_zaxpy(&n, Z(&az), Z(x), &ix, Z(y), &iy));
  ORB_SAME(float, "saxpby", cblas_saxpby(n, as, x, ix, bs, y, iy), orb_blas_saxpby(&n, &as, x, &ix, &bs, y, &iy));
  ORB_SAME(double, "daxpby", cblas_daxpby(n, ad, x, ix, bd, y, iy), orb_blas_daxpby(&n, &ad, x, &ix, &bd, y, &iy));
  ORB_SAME(cf, "caxpby", cblas_caxpby(n, &ac, x, ix, &bc, y, iy), orb_blas_caxpby(&n, C(&ac), C(x), &ix, C(&bc), C(y), &iy));
  ORB_SAME(cd, "zaxpby", cblas_zaxpby(n, &az, x, ix, &bz, y, iy), orb_blas_zaxpby(&n, Z(&az), Z(x), &ix, Z(&bz), Z(y), &iy));
  ORB_SAME(float, "sswap", cblas_sswap(n, x, ix, y, iy), orb_blas_sswap(&n, x, &ix, y, &iy));
  ORB_SAME(double, "dswap", cblas_dswap(n, x, ix, y, iy), orb_blas_dswap(&n, x, &ix, y, &iy));
  ORB_SAME(cf, "cswap", cblas_cswap(n, x, ix, y, iy), orb_blas_cswap(&n, C(x), &ix, C(y), &iy));
  ORB_SAME(cd, "zswap", cblas_zswap(n, x, ix, y, iy), orb_blas_zswap(&n, Z(x), &ix, Z(y), &iy));
  ORB_SAME(float, "scopy", cblas_scopy(n, x, ix, y, iy), orb_blas_scopy(&n, x, &ix, y, &iy));
  ORB_SAME(double, "dcopy", cblas_dcopy(n, x, ix, y, iy), orb_blas_dcopy(&n, x, &ix, y, &iy));
  ORB_SAME(cf, "ccopy", cblas_ccopy(n, x, ix, y, iy), orb_blas_ccopy(&n, C(x), &ix, C(y), &iy));
  ORB_SAME(cd, "zcopy", cblas_zcopy(n, x, ix, y, iy), orb_blas_zcopy(&n, Z(x), &ix, Z(y), &iy));
  ORB_SAME(float, "srot", cblas_srot(n, x, ix, y, iy, cs, ss), orb_blas_srot(&n, x, &ix, y, &iy, &cs, &ss));
  ORB_SAME(double, "drot", cblas_drot(n, x, ix, y, iy, cd_, sd), orb_blas_drot(&n, x, &ix, y, &iy, &cd_, &sd));
  ORB_SAME(cf, "csrot", cblas_csrot(n, x, ix, y, iy, cs, ss), orb_blas_csrot(&n, C(x), &ix, C(y), &iy, &cs, &ss));
  ORB_SAME(cd, "zdrot", cblas_zdrot(n, x, ix, y, iy, cd_, sd), orb_blas_zdrot(&n, Z(x), &ix, Z(y), &iy, &cd_, &sd));
  ORB_SAME(cd, "zrot", cblas_zrot(n, x, ix, y, iy, cd_, &sz), orb_blas_zrot(&n, Z(x), &ix, Z(y), &iy, &cd_, Z(&sz)));
  for (float flag : {-1.0f, 0.0f, 1.0f, -2.0f}) {
    const float pf[5] = {flag, 0.5f, -0.25f, 2.0f, 0.75f};
    const double pd[5] = {flag, 0.5, -0.25, 2.0, 0.75};
    ORB_SAME(float, "srotm", cblas_srotm(n, x, ix, y, iy, pf), orb_blas_srotm(&n, x, &ix, y, &iy, pf));
    ORB_SAME(double, "drotm", cblas_drotm(n, x, ix, y, iy, pd), orb_blas_drotm(&n, x, &ix, y, &iy, pd));
  }
#undef ORB_SAME
  // Dot products: compared by their results.
  same_as<float>("sdot", c, [&](S x, S y) { return cblas_sdot(n, x, ix, y, iy); }, [&](S x, S y) { return orb_blas_sdot(&n, x, &ix, y, &iy); });
  same_as<double>("ddot", c, [&](D x, D y) { return cblas_ddot(n, x, ix, y, iy); }, [&](D x, D y) { return orb_blas_ddot(&n, x, &ix, y, &iy); });
  same_as<double>("ddot from C", c, [&](D x, D y) { return orb_c_cblas_ddot(n, x, ix, y, iy); }, [&](D x, D y) { return orb_blas_ddot(&n, x, &ix, y, &iy); });
  same_as<float>("dsdot", c, [&](S x, S y) { return cblas_dsdot(n, x, ix, y, iy); }, [&](S x, S y) { return orb_blas_dsdot(&n, x, &ix, y, &iy); });
  same_as<float>("sdsdot", c, [&](S x, S y) { return cblas_sdsdot(n, sb, x, ix, y, iy); },
                 [&](S x, S y) { return orb_blas_sdsdot(&n, &sb, x, &ix, y, &iy); });
  auto cdot = [&](const char* name, auto sub, auto mine) {
    same_as<cf>(name, c, [&](cf* x, cf* y) { cf r; sub(n, x, ix, y, iy, &r); return r; },
                [&](cf* x, cf* y) { orb_complex8 r; mine(&r, &n, C(x), &ix, C(y), &iy); return cf(r.re, r.im); });
  };
  auto zdot = [&](const char* name, auto sub, auto mine) {
    same_as<cd>(name, c, [&](cd* x, cd* y) { cd r; sub(n, x, ix, y, iy, &r); return r; },
                [&](cd* x, cd* y) { orb_complex16 r; mine(&r, &n, Z(x), &ix, Z(y), &iy); return cd(r.re, r.im); });
  };
  cdot("cdotu", cblas_cdotu_sub, orb_blas_cdotu);
  cdot("cdotc", cblas_cdotc_sub, orb_blas_cdotc);
  zdot("zdotu", cblas_zdotu_sub, orb_blas_zdotu);
  zdot("zdotc", cblas_zdotc_sub, orb_blas_zdotc);
}

INSTANTIATE_TEST_SUITE_P(Strides, Cblas, ::testing::ValuesIn(kCases), case_name);

// One-vector routines, the increment of y ignored: norms, sums, scaling,
// and the indices, which CBLAS counts from 0 (0 for an empty vector).
TEST_P(Cblas, OneVectorRoutinesForwardTheirArguments) {
  const Case c = GetParam();
  const int n = c.n, ix = c.incx;
  const float as = -1.5f;
  const double ad = 0.375;
  const cf ac(0.5f, 1.5f);
  const cd az(-2.0, 0.125);
  using C = orb_complex8*;
  using Z = orb_complex16*;
#define ORB_SAME(T, name, cblas_call, orb_call) \
  same_as<T>(name, c, [&](T* x, T*) { return cblas_call; }, [&](T* x, T*) { return orb_call; })
  ORB_SAME(float, "snrm2", cblas_snrm2(n, x, ix), orb_blas_snrm2(&n, x, &ix));
  ORB_SAME(float, "snrm2 from C", orb_c_xsnrm2(n, x, ix), orb_blas_snrm2(&n, x, &ix));
  ORB_SAME(double, "dnrm2", cblas_dnrm2(n, x, ix), orb_blas_dnrm2(&n, x, &ix));
  ORB_SAME(cf, "scnrm2", cblas_scnrm2(n, x, ix), orb_blas_scnrm2(&n, C(x), &ix));
  ORB_SAME(cd, "dznrm2", cblas_dznrm2(n, x, ix), orb_blas_dznrm2(&n, Z(x), &ix));
  ORB_SAME(float, "sasum", cblas_sasum(n, x, ix), orb_blas_sasum(&n, x, &ix));
  ORB_SAME(double, "dasum", cblas_dasum(n, x, ix), orb_blas_dasum(&n, x, &ix));
  ORB_SAME(cf, "scasum", cblas_scasum(n, x, ix), orb_blas_scasum(&n, C(x), &ix));
  ORB_SAME(cd, "dzasum", cblas_dzasum(n, x, ix), orb_blas_dzasum(&n, Z(x), &ix));
  ORB_SAME(float, "sscal", (cblas_sscal(n, as, x, ix), 0), (orb_blas_sscal(&n, &as, x, &ix), 0));
  ORB_SAME(double, "dscal", (cblas_dscal(n, ad, x, ix), 0), (orb_blas_dscal(&n, &ad, x, &ix), 0));
  ORB_SAME(cf, "cscal", (cblas_cscal(n, &ac, x, ix), 0), (orb_blas_cscal(&n, C(&ac), C(x), &ix), 0));
  ORB_SAME(cd, "zscal", (cblas_zscal(n, &az, x, ix), 0), (orb_blas_zscal(&n, Z(&az), Z(x), &ix), 0));
  ORB_SAME(cf, "csscal", (cblas_csscal(n, as, x, ix), 0), (orb_blas_csscal(&n, &as, C(x), &ix), 0));
  ORB_SAME(cd, "zdscal", (cblas_zdscal(n, ad, x, ix), 0), (orb_blas_zdscal(&n, &ad, Z(x), &ix), 0));
  // The index from 0 and from 1.
  auto from0 = [](int i) { return CBLAS_INDEX(i > 0 ? i - 1 : 0); };
  ORB_SAME(float, "isamax", cblas_isamax(n, x, ix), from0(orb_blas_isamax(&n, x, &ix)));
  ORB_SAME(double, "idamax", cblas_idamax(n, x, ix), from0(orb_blas_idamax(&n, x, &ix)));
  ORB_SAME(cf, "icamax", cblas_icamax(n, x, ix), from0(orb_blas_icamax(&n, C(x), &ix)));
  ORB_SAME(cf, "icamax from C", orb_c_cblas_icamax(n, reinterpret_cast<float*>(x), ix), from0(orb_blas_icamax(&n, C(x), &ix)));
  ORB_SAME(cd, "izamax", cblas_izamax(n, x, ix), from0(orb_blas_izamax(&n, Z(x), &ix)));
  ORB_SAME(float, "isamin", cblas_isamin(n, x, ix), from0(orb_blas_isamin(&n, x, &ix)));
  ORB_SAME(double, "idamin", cblas_idamin(n, x, ix), from0(orb_blas_idamin(&n, x, &ix)));
  ORB_SAME(cf, "icamin", cblas_icamin(n, x, ix), from0(orb_blas_icamin(&n, C(x), &ix)));
  ORB_SAME(cd, "izamin", cblas_izamin(n, x, ix), from0(orb_blas_izamin(&n, Z(x), &ix)));
#undef ORB_SAME
  if (n > 1 && ix > 0) {
    // Not all zero: an index past the first is within reach.
    std::vector<double> v(std::size_t(n) * ix, 0.0);
    v[std::size_t(n - 1) * ix] = -3;
    EXPECT_EQ(cblas_idamax(n, v.data(), ix), CBLAS_INDEX(n - 1));
  }
}

// Scalars by address in CBLAS too: the generators of rotations, and the
// last coordinate of the modified one by value.
TEST(Cblas, GeneratorsAndCabs1ForwardTheirArguments) {
  for (auto [a0, b0] : {std::pair{3.0, 4.0}, {-5.0, 2.0}, {0.0, -1.5}, {1e-3, -7.0}}) {
    double d[4] = {a0, b0}, e[4] = {a0, b0};
    cblas_drotg(&d[0], &d[1], &d[2], &d[3]);
    orb_blas_drotg(&e[0], &e[1], &e[2], &e[3]);
    EXPECT_EQ(std::memcmp(d, e, sizeof d), 0) << a0 << ", " << b0;
    float f[4] = {float(a0), float(b0)}, g[4] = {float(a0), float(b0)};
    cblas_srotg(&f[0], &f[1], &f[2], &f[3]);
    orb_blas_srotg(&g[0], &g[1], &g[2], &g[3]);
    EXPECT_EQ(std::memcmp(f, g, sizeof f), 0) << a0 << ", " << b0;
    cd za(a0, b0), zs, zb(b0, -a0);
    orb_complex16 wa{a0, b0}, ws, wb{b0, -a0};
    double zc, wc;
    cblas_zrotg(&za, &zb, &zc, &zs);
    orb_blas_zrotg(&wa, &wb, &wc, &ws);
    EXPECT_TRUE(same_bits(za, cd(wa.re, wa.im)) && same_bits(zs, cd(ws.re, ws.im)) && same_bits(zc, wc));
    cf ca{float(a0), float(b0)}, cs, cb{float(b0), 1.0f};
    orb_complex8 va{float(a0), float(b0)}, vs, vb{float(b0), 1.0f};
    float cc, vc;
    cblas_crotg(&ca, &cb, &cc, &cs);
    orb_blas_crotg(&va, &vb, &vc, &vs);
    EXPECT_TRUE(same_bits(ca, cf(va.re, va.im)) && same_bits(cs, cf(vs.re, vs.im)) && same_bits(cc, vc));
    // Modified rotations: a, b as the second coordinate, on both flag paths.
    double m[8] = {2.0, 1.5, 1.25}, r[8] = {2.0, 1.5, 1.25};
    cblas_drotmg(&m[0], &m[1], &m[2], b0, &m[3]);
    orb_blas_drotmg(&r[0], &r[1], &r[2], &b0, &r[3]);
    EXPECT_EQ(std::memcmp(m, r, sizeof m), 0) << b0;
    const float fb = float(b0);
    float mf[8] = {2.0f, 1.5f, 1.25f}, rf[8] = {2.0f, 1.5f, 1.25f};
    cblas_srotmg(&mf[0], &mf[1], &mf[2], fb, &mf[3]);
    orb_blas_srotmg(&rf[0], &rf[1], &rf[2], &fb, &rf[3]);
    EXPECT_EQ(std::memcmp(mf, rf, sizeof mf), 0) << b0;
  }
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
