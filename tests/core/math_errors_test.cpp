// sincospi, the sign and ceiling helpers, lsame, and the reach of the error
// reports: this program defines its own xerbla_ and cblas_xerbla, as the
// test programs of the BLAS family do, and the core's reports must land here.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <algorithm>
#include <limits>
#include <random>
#include <string>

#include "orb/orb_service.h"
#include "tests/support/oracle.hpp"

extern "C" void xerbla_(const char* name, const int* info, std::size_t len);
extern "C" void cblas_xerbla(int p, const char* rout, const char* form, ...);

namespace {
struct caught {
  int calls = 0;
  std::string name;
  int info = 0;
  std::size_t len = 0;
} g_xerbla, g_cblas;
}  // namespace

extern "C" void xerbla_(const char* name, const int* info, std::size_t len) {
  ++g_xerbla.calls;
  g_xerbla.name.assign(name, len);
  g_xerbla.info = *info;
  g_xerbla.len = len;
}

extern "C" void cblas_xerbla(int p, const char* rout, const char* form, ...) {
  ++g_cblas.calls;
  g_cblas.info = p;
  g_cblas.name = rout;
  char buf[128];
  va_list ap;
  va_start(ap, form);
  std::vsnprintf(buf, sizeof buf, form, ap);
  va_end(ap);
  g_cblas.name += buf;
}

namespace {

using orb::test::same_bits;

TEST(Xerbla, ReachesTheProgramsOwnHandler) {
  g_xerbla = {};
  const int pos = 4;
  orb_serv_xerbla("DGEBAL", &pos, 6);
  EXPECT_EQ(g_xerbla.calls, 1);
  EXPECT_EQ(g_xerbla.name, "DGEBAL");
  EXPECT_EQ(g_xerbla.info, 4);
  EXPECT_EQ(g_xerbla.len, 6u);
  // The name length is what bounds the name, not a terminator.
  orb_serv_xerbla("DLASD3XXXX", &pos, 6);
  EXPECT_EQ(g_xerbla.name, "DLASD3");
}

// The core's own handle: dlsym on it finds the core's definitions, which a
// program's definitions hide from everyone else.
void* core_handle() {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(&orb_serv_xerbla), &info) || !info.dli_fname) return nullptr;
  return dlopen(info.dli_fname, RTLD_NOLOAD | RTLD_LAZY);
}

TEST(Xerbla, ProgramDefinitionsHideTheCoreDefaults) {
  void* core = core_handle();
  ASSERT_NE(core, nullptr);
  for (const char* name : {"xerbla_", "cblas_xerbla"}) {
    void* mine = dlsym(RTLD_DEFAULT, name);
    void* theirs = dlsym(core, name);
    ASSERT_NE(theirs, nullptr) << name << ": the core has a default";
    EXPECT_NE(mine, theirs) << name;
    EXPECT_EQ(mine, name[0] == 'x' ? reinterpret_cast<void*>(&xerbla_) : reinterpret_cast<void*>(&cblas_xerbla));
  }
  dlclose(core);
}

TEST(Xerbla, CoreDefaultsReportAndReturn) {
  void* core = core_handle();
  ASSERT_NE(core, nullptr);
  using fortran = void (*)(const char*, const int*, std::size_t);
  using cblas = void (*)(int, const char*, const char*, ...);
  auto fx = reinterpret_cast<fortran>(dlsym(core, "xerbla_"));
  auto fc = reinterpret_cast<cblas>(dlsym(core, "cblas_xerbla"));
  ASSERT_TRUE(fx && fc);
  g_xerbla = {}, g_cblas = {};
  const int pos = 2;
  testing::internal::CaptureStderr();
  fx("DGEMV   ", &pos, 8);
  fc(7, "cblas_dgemm", "Illegal ldc value %d\n", -1);
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("2"), std::string::npos) << said;
  EXPECT_NE(said.find("DGEMV"), std::string::npos) << said;
  EXPECT_NE(said.find("DGEMV had"), std::string::npos) << "Fortran padding is trimmed: " << said;
  EXPECT_NE(said.find("cblas_dgemm"), std::string::npos) << said;
  EXPECT_NE(said.find("Illegal ldc value -1"), std::string::npos) << said;
  EXPECT_EQ(g_xerbla.calls + g_cblas.calls, 0) << "the defaults are the core's, not this program's";
  dlclose(core);
}

TEST(Characters, LsameIgnoresCaseOnly) {
  for (int a = 0; a < 128; ++a)
    for (const char* b : {"N", "T", "C", "U", "L", "n"}) {
      const char ca = char(a);
      const bool same = std::toupper(a) == std::toupper(b[0]);
      EXPECT_EQ(orb_serv_lsame(&ca, b, 1, 1) != 0, same) << a << " " << b;
    }
}

TEST(Signs, MagnitudeOfFirstSignOfSecond) {
  const double cases[][3] = {{3.0, -1.0, -3.0},  {-3.0, 2.0, 3.0},  {-3.0, -0.0, -3.0},
                             {-3.0, 0.0, 3.0},   {0.0, -5.0, -0.0}, {-0.0, 5.0, 0.0},
                             {INFINITY, -1, -INFINITY}};
  for (const auto& c : cases) {
    EXPECT_TRUE(same_bits(orb_serv_d_sign(&c[0], &c[1]), c[2])) << c[0] << " " << c[1];
    const float a = float(c[0]), b = float(c[1]);
    EXPECT_TRUE(same_bits(orb_serv_s_sign(&a, &b), float(c[2])));
  }
}

TEST(Ceiling, RoundsUpToWhole) {
  const double cases[][2] = {{1.0, 1.0}, {1.25, 2.0}, {-1.25, -1.0}, {-0.5, -0.0}, {1e300, 1e300},
                             {4503599627370495.5, 4503599627370496.0}};
  for (const auto& c : cases) {
    EXPECT_TRUE(same_bits(orb_serv_int2d_ceil(&c[0]), c[1])) << c[0];
    const float f = float(c[0]);
    EXPECT_EQ(orb_serv_int2f_ceil(&f), std::ceil(f));
  }
}

TEST(Sincospi, ExactAtWholeAndHalfWholeArguments) {
  for (std::int64_t k = -2000; k <= 2000; ++k) {
    double s, c;
    orb_serv_libm_sincospi(double(k), &s, &c);
    EXPECT_EQ(s, 0.0) << k;
    EXPECT_EQ(c, (k % 2 == 0) ? 1.0 : -1.0) << k;
    EXPECT_EQ(std::signbit(s), k < 0) << "sin(pi k) takes the sign of k";
    orb_serv_libm_sincospi(double(k) + 0.5, &s, &c);
    EXPECT_EQ(s, ((k % 2 + 2) % 2 == 0) ? 1.0 : -1.0) << k;
    EXPECT_TRUE(same_bits(c, 0.0)) << "cos(pi (k + 1/2)) is +0, k = " << k;
    float sf, cf;
    orb_serv_libm_sincospif(float(k) + 0.5f, &sf, &cf);
    EXPECT_EQ(sf, ((k % 2 + 2) % 2 == 0) ? 1.0f : -1.0f) << k;
    EXPECT_TRUE(same_bits(cf, 0.0f)) << k;
    orb_serv_libm_sincospif(float(k), &sf, &cf);
    EXPECT_EQ(sf, 0.0f);
    EXPECT_EQ(cf, (k % 2 == 0) ? 1.0f : -1.0f);
  }
}

TEST(Sincospi, LargeArgumentsAreWholeNumbers) {
  double s, c;
  orb_serv_libm_sincospi(0x1p52 + 1.0, &s, &c);  // odd
  EXPECT_EQ(s, 0.0);
  EXPECT_EQ(c, -1.0);
  orb_serv_libm_sincospi(0x1p52 + 0.5 * 2, &s, &c);
  EXPECT_EQ(c, -1.0);
  orb_serv_libm_sincospi(-1e300, &s, &c);
  EXPECT_TRUE(same_bits(s, -0.0));
  EXPECT_EQ(c, 1.0);
  orb_serv_libm_sincospi(0x1p51 + 0.5, &s, &c);
  EXPECT_EQ(s, 1.0);
  float sf, cf;
  orb_serv_libm_sincospif(0x1p23f + 1.0f, &sf, &cf);
  EXPECT_EQ(cf, -1.0f);
  orb_serv_libm_sincospif(3e38f, &sf, &cf);
  EXPECT_EQ(cf, 1.0f);
  orb_serv_libm_sincospi(std::numeric_limits<double>::infinity(), &s, &c);
  EXPECT_TRUE(std::isnan(s) && std::isnan(c));
  orb_serv_libm_sincospif(std::nanf(""), &sf, &cf);
  EXPECT_TRUE(std::isnan(sf) && std::isnan(cf));
}

// The oracle: sin(pi r) in long double on an argument brought into
// [-1/2, 1/2] by the identities sin(pi (x + 2)) = sin(pi x) and
// sin(pi (1 - x)) = sin(pi x), each step exact in long double; cos(pi x)
// as sin(pi (x + 1/2)). Its error is far below a double's ulp.
long double sinpi_oracle(long double x) {
  const long double pi = 3.141592653589793238462643383279502884L;
  long double r = std::fmod(x, 2.0L);  // (-2, 2), exact
  if (r >= 1.0L) r -= 2.0L;
  if (r < -1.0L) r += 2.0L;
  if (r > 0.5L) r = 1.0L - r;
  if (r < -0.5L) r = -1.0L - r;
  return std::sin(pi * r);
}

// Distance from the true value in units of the last place of the result type.
template <class T>
double ulps(T got, long double want) {
  const T w = T(want);
  const T ulp = std::nextafter(std::fabs(w), T(INFINITY)) - std::fabs(w);
  return w == 0 ? (got == 0 ? 0.0 : INFINITY) : double(std::fabs(got - want) / ulp);
}

// Within an ulp of the true values, and odd/even symmetry bit for bit.
TEST(Sincospi, CloseToTheTrueValues) {
  std::mt19937_64 g(7);
  std::uniform_real_distribution<double> d(-100.0, 100.0);
  double worst = 0, worstf = 0;
  for (int i = 0; i < 20000; ++i) {
    double x = d(g);
    if (i % 5 == 0) x = std::nearbyint(x) + std::ldexp(d(g), -20);  // near the zeros
    if (i % 5 == 1) x = std::nearbyint(2 * x) / 2 + std::ldexp(d(g), -30);
    double s, c;
    orb_serv_libm_sincospi(x, &s, &c);
    worst = std::max({worst, ulps(s, sinpi_oracle(x)), ulps(c, sinpi_oracle(x + 0.5L))});
    double s2, c2;
    orb_serv_libm_sincospi(-x, &s2, &c2);
    ASSERT_TRUE(same_bits(s2, -s)) << x;
    ASSERT_TRUE(same_bits(c2, c)) << x;
    const float xf = float(x);
    float sf, cf;
    orb_serv_libm_sincospif(xf, &sf, &cf);
    worstf = std::max({worstf, ulps(sf, sinpi_oracle(xf)), ulps(cf, sinpi_oracle(xf + 0.5L))});
  }
  EXPECT_LE(worst, 1.0);
  EXPECT_LE(worstf, 1.0);
  double s, c;
  orb_serv_libm_sincospi(0.25, &s, &c);
  EXPECT_LE(ulps(s, std::sqrt(0.5L)), 0.5);
  EXPECT_LE(ulps(c, std::sqrt(0.5L)), 0.5);
}

TEST(Libm, SameAsTheCLibrary) {
  for (double x : {0.0, -0.0, 0.5, 1.0, 3.0, 1e5, -7.25, 1e22}) {
    EXPECT_TRUE(same_bits(orb_serv_libm_sin(x), std::sin(x))) << x;
    EXPECT_TRUE(same_bits(orb_serv_libm_cos(x), std::cos(x))) << x;
    EXPECT_TRUE(same_bits(orb_serv_libm_sinf(float(x)), std::sin(float(x)))) << x;
    EXPECT_TRUE(same_bits(orb_serv_libm_cosf(float(x)), std::cos(float(x)))) << x;
  }
}

}  // namespace
