// Plane and modified rotations, and their construction.
//
// Applying a rotation rounds each product and sum once, in the textbook
// order, so the real forms and the complex forms with real c and s agree
// with the reference BLAS to the bit. The complex form with complex s is
// checked against extended precision and against itself on strided data.
// The constructions are checked against the reference where both follow
// the same rule, against the defining identities everywhere, and with
// exact values where this library's rule is its own.
#include <array>
#include <random>

#include "tests/blas/level1/l1_support.hpp"

namespace {

using namespace orb::l1test;

template <class E, class S>
using rot_fn = void (*)(const int*, E*, const int*, E*, const int*, const S*, const S*);
template <class T>
using rotm_fn = void (*)(const int*, T*, const int*, T*, const int*, const T*);

std::vector<Walk> cases() {
  std::vector<Walk> v;
  for (int n : {1, 3, 7, 8, 9, 15, 16, 17, 31, 32, 33, 47, 64, 65, 100, 257})
    for (auto o : {std::pair<std::size_t, std::size_t>{0, 0}, {8, 8}, {24, 0}, {4, 36}, {56, 12}})
      v.push_back({n, 1, 1, o.first, o.second});
  for (int n : {1, 2, 9, 33, 100})
    for (auto i : {std::pair<int, int>{2, 3}, {-1, 1}, {1, -1}, {-2, -3}, {3, -2}, {0, 1}, {1, 0}, {2, 1}})
      v.push_back({n, i.first, i.second, 8, 16});
  return v;
}

// Debian's 32-bit reference BLAS computes on the x87 unit, whose extended
// intermediates round differently; there it is an oracle to the last place
// only, while on x86-64 it rounds each operation as these kernels do.
constexpr bool kReferenceRoundsLikeUs = sizeof(void*) == 8;

// x and y placed at the walk's offsets and rotated by call(x, y), one after
// the other; nothing around them may change.
template <class E, class Call>
std::vector<E> rotated(const Walk& c, const std::vector<E>& x, const std::vector<E>& y, Call call) {
  Guarded gx(x, c.xoff), gy(y, c.yoff);
  call(gx.as<E>(), gy.as<E>());
  EXPECT_TRUE(gx.untouched_around() && gy.untouched_around()) << c;
  auto r = gx.values<E>(), ry = gy.values<E>();
  r.insert(r.end(), ry.begin(), ry.end());
  return r;
}

// A rotation kernel of every build against the reference (xdrot against
// drot_): bit for bit where the reference rounds as we do, else within 4
// epsilon per rotation applied to an element (all n where an increment is 0).
template <class F, class E, class Call>
void against_reference(const Walk& c, const std::string& name, Call call) {
  const auto x = random_elements<E>(span(c.n, c.incx), 50 + c.n);
  const auto y = random_elements<E>(span(c.n, c.incy), 60 + c.n);
  const auto ref = orb::test::reference<F>((name.substr(1) + "_").c_str());
  const auto want = rotated(Walk{c.n, c.incx, c.incy}, x, y, [&](E* px, E* py) { call(ref, px, py); });
  const auto got = in_every_build<F>(name, [&](F f) { return rotated(c, x, y, [&](E* px, E* py) { call(f, px, py); }); });
  if (kReferenceRoundsLikeUs) {
    EXPECT_TRUE(same_vectors(got, want)) << name << " " << c;
  } else {
    EXPECT_TRUE(close_vectors(got, want, 4 * eps<E> * (c.incx == 0 || c.incy == 0 ? c.n : 1))) << name << " " << c;
  }
}

template <class E, class S>
void check_rot(const Walk& c, const char* name, S cs, S sn) {
  against_reference<rot_fn<E, S>, E>(c, name, [&](auto f, E* x, E* y) { f(&c.n, x, &c.incx, y, &c.incy, &cs, &sn); });
}

template <class T>
void check_rotm(const Walk& c, const char* name, const T* param) {
  against_reference<rotm_fn<T>, T>(c, name, [&](auto f, T* x, T* y) { f(&c.n, x, &c.incx, y, &c.incy, param); });
}

// Complex s: y := c y - conj(s) x. Extended precision gives the values;
// the unit-stride vector path must give the bits of the strided loop, and
// every build the same bits.
template <class E>
void check_complex_s(const Walk& c) {
  using T = real_t<E>;
  using F = void (*)(const int*, E*, const int*, E*, const int*, const T*, const E*);
  const T cs = T(0.6);
  const E sn = {T(0.48), T(-0.64)};
  const auto x = random_elements<E>(span(c.n, c.incx), 70 + c.n);
  const auto y = random_elements<E>(span(c.n, c.incy), 80 + c.n);
  const auto xy = in_every_build<F>(kernel<E>("rot"), [&](F f) {
    return rotated(c, x, y, [&](E* px, E* py) { f(&c.n, px, &c.incx, py, &c.incy, &cs, &sn); });
  });
  const std::vector<E> rx(xy.begin(), xy.begin() + x.size()), ry(xy.begin() + x.size(), xy.end());
  if (c.incx != 0 && c.incy != 0) {
    auto wx = x, wy = y;
    for (int i = 0; i < c.n; ++i) {
      E& p = wx[first(c.n, c.incx) + i * c.incx];
      E& q = wy[first(c.n, c.incy) + i * c.incy];
      const auto xv = val(p), yv = val(q), s = val(sn);
      const auto nx = (long double)cs * xv + s * yv, ny = (long double)cs * yv - std::conj(s) * xv;
      p = make<E>(nx.real(), nx.imag()), q = make<E>(ny.real(), ny.imag());
    }
    EXPECT_TRUE(close_vectors(rx, wx, 4 * eps<E>)) << c;
    EXPECT_TRUE(close_vectors(ry, wy, 4 * eps<E>)) << c;
  }
  // The same elements at increment 2 go through the strided loop.
  if (c.incx == 1 && c.incy == 1) {
    std::vector<E> sx(2 * x.size()), sy(2 * y.size());
    for (std::size_t i = 0; i < x.size(); ++i) sx[2 * i] = x[i], sy[2 * i] = y[i];
    const int two = 2;
    orb::test::kernel_of<F>(orb::test::runnable_builds().front(), kernel<E>("rot").c_str())(&c.n, sx.data(), &two, sy.data(), &two, &cs, &sn);
    for (std::size_t i = 0; i < x.size(); ++i)
      ASSERT_TRUE(same_bits(sx[2 * i], rx[i]) && same_bits(sy[2 * i], ry[i])) << c << " strided, element " << i;
  }
}

class Rotation : public ::testing::TestWithParam<Walk> {};

// Every rotation kernel at every walk: real c and s bit for bit against the
// reference (rot, the complex forms with a real sine, rotm with every flag),
// a complex sine against extended precision.
TEST_P(Rotation, EveryKernel) {
  const Walk& c = GetParam();
  check_rot<double, double>(c, "xdrot", 0.8, 0.6);
  check_rot<double, double>(c, "xdrot", -0.28, 0.96);
  check_rot<float, float>(c, "xsrot", 0.6f, -0.8f);
  check_rot<orb_complex16, double>(c, "xzdrot", 0.8, 0.6);
  check_rot<orb_complex8, float>(c, "xcsrot", 0.28f, -0.96f);
  // Entries of H that are not 1 or -1, so a body that multiplied by the
  // wrong entry, or by an implicit one, would show.
  for (float flag : {-1.0f, 0.0f, 1.0f, -2.0f}) {
    const double p[5] = {flag, 0.75, -1.25, 0.3125, 1.5};
    const float pf[5] = {flag, 1.75f, 0.625f, -0.375f, 0.5f};
    check_rotm<double>(c, "xdrotm", p);
    check_rotm<float>(c, "xsrotm", pf);
  }
  check_complex_s<orb_complex16>(c);
  check_complex_s<orb_complex8>(c);
}

INSTANTIATE_TEST_SUITE_P(Walks, Rotation, ::testing::ValuesIn(cases()));

// n < 1: no access to the vectors, nor to c and s (nor to param); flag -2
// means H = I: nothing is read beyond the flag.
TEST(Rotation, NoWorkTouchesNothing) {
  void* bad = orb::test::faulting_pointer();
  auto* d = static_cast<double*>(bad);
  auto* s = static_cast<float*>(bad);
  auto* z = static_cast<orb_complex16*>(bad);
  auto* c = static_cast<orb_complex8*>(bad);
  const int one = 1;
  for (int n : {0, -1}) {
    orb_blas_drot(&n, d, &one, d, &one, d, d);
    orb_blas_srot(&n, s, &one, s, &one, s, s);
    orb_blas_zrot(&n, z, &one, z, &one, d, z);
    orb_blas_crot(&n, c, &one, c, &one, s, c);
    orb_blas_zdrot(&n, z, &one, z, &one, d, d);
    orb_blas_csrot(&n, c, &one, c, &one, s, s);
    orb_blas_drotm(&n, d, &one, d, &one, d);
    orb_blas_srotm(&n, s, &one, s, &one, s);
  }
  const int n = 5;
  const double pd[5] = {-2.0, NAN, NAN, NAN, NAN};
  const float ps[5] = {-2.0f, NAN, NAN, NAN, NAN};
  orb_blas_drotm(&n, d, &one, d, &one, pd);
  orb_blas_srotm(&n, s, &one, s, &one, ps);
}

// ---------------------------------------------------------------- rotg

template <class T>
using rotg_fn = void (*)(T*, T*, T*, T*);

// Relative distance in units of epsilon.
template <class T>
double ulps(T got, T want) {
  if (got == want) return 0;
  return double(std::fabs((long double)got - want) / (std::fabs((long double)want) * std::numeric_limits<T>::epsilon()));
}

template <class T>
void rotg_against_reference(const char* ref_name, rotg_fn<T> mine) {
  auto ref = orb::test::reference<rotg_fn<T>>(ref_name);
  std::mt19937 g(7);
  std::uniform_real_distribution<double> m(-1.0, 1.0);
  std::uniform_int_distribution<int> e(-30, 30);
  for (int k = 0; k < 5000; ++k) {
    T a = T(std::ldexp(m(g), e(g))), b = T(std::ldexp(m(g), e(g)));
    if (k % 7 == 0) b = (k % 2 ? a : -a);  // equal magnitudes: b decides
    T a1 = a, b1 = b, c1, s1, a2 = a, b2 = b, c2, s2;
    mine(&a1, &b1, &c1, &s1);
    ref(&a2, &b2, &c2, &s2);
    ASSERT_LE(ulps(a1, a2), 4) << a << " " << b;
    ASSERT_LE(ulps(c1, c2), 4) << a << " " << b;
    ASSERT_LE(ulps(s1, s2), 4) << a << " " << b;
    ASSERT_LE(ulps(b1, b2), 8) << a << " " << b;
    // The defining identities.
    ASSERT_NEAR(double(c1 * c1 + s1 * s1), 1.0, 8 * std::numeric_limits<T>::epsilon());
    ASSERT_LE(ulps(T(c1 * a + s1 * b), a1), 8) << a << " " << b;
  }
}

TEST(Rotg, RealMatchesReference) {
  rotg_against_reference<double>("drotg_", orb_blas_drotg);
  rotg_against_reference<float>("srotg_", orb_blas_srotg);
}

TEST(Rotg, RealSpecialValues) {
  struct Want {
    double a, b, r, z, c, s;
  };
  // r takes the sign of the larger magnitude, of b on a tie; z is s when
  // |a| > |b|, else 1 / c, else 1 when c is 0.
  const Want w[] = {
      {0, 0, 0, 0, 1, 0},        {0, 2, 2, 1, 0, 1},     {0, -2, -2, 1, 0, 1},  {-3, 0, -3, 0, 1, 0},
      {3, 0, 3, 0, 1, 0},        {-4, 3, -5, -0.6, 0.8, -0.6}, {3, -4, -5, 1 / -0.6, -0.6, 0.8},
      {-2, 2, std::sqrt(8.0), 1 / (-2 / std::sqrt(8.0)), -2 / std::sqrt(8.0), 2 / std::sqrt(8.0)},
  };
  for (const auto& t : w) {
    double a = t.a, b = t.b, c, s;
    orb_blas_drotg(&a, &b, &c, &s);
    EXPECT_NEAR(a, t.r, 4e-16 * std::fabs(t.r)) << t.a << "," << t.b;
    EXPECT_NEAR(b, t.z, 4e-16 * std::fabs(t.z)) << t.a << "," << t.b;
    EXPECT_NEAR(c, t.c, 4e-16) << t.a << "," << t.b;
    EXPECT_NEAR(s, t.s, 4e-16) << t.a << "," << t.b;
    float af = float(t.a), bf = float(t.b), cf, sf;
    orb_blas_srotg(&af, &bf, &cf, &sf);
    EXPECT_NEAR(af, t.r, 4e-7 * std::fabs(t.r));
    EXPECT_NEAR(cf, t.c, 4e-7);
  }
  // Scaling by |a| + |b| keeps the squares in range at both ends.
  for (double big : {1e300, 1e-300, 1e-310}) {
    double a = 3 * big, b = 4 * big, c, s;
    orb_blas_drotg(&a, &b, &c, &s);
    EXPECT_NEAR(a / big, 5.0, 1e-6) << big;
    EXPECT_NEAR(c, 0.6, 1e-6);
    EXPECT_NEAR(s, 0.8, 1e-6);
  }
}

template <class E, class T>
void crotg_against_reference(const char* ref_name, void (*mine)(E*, const E*, T*, E*)) {
  auto ref = orb::test::reference<void (*)(E*, const E*, T*, E*)>(ref_name);
  std::mt19937 g(9);
  std::uniform_real_distribution<double> m(-1.0, 1.0);
  std::uniform_int_distribution<int> e(-20, 20);
  const double tol = 16 * std::numeric_limits<T>::epsilon();
  for (int k = 0; k < 5000; ++k) {
    const int ea = e(g), eb = e(g);
    const E a = {T(std::ldexp(m(g), ea)), T(std::ldexp(m(g), ea))};
    const E b = {T(std::ldexp(m(g), eb)), T(std::ldexp(m(g), eb))};
    E a1 = a, s1, a2 = a, s2;
    T c1, c2;
    mine(&a1, &b, &c1, &s1);
    ref(&a2, &b, &c2, &s2);
    const double na = std::hypot(double(a2.re), double(a2.im));
    ASSERT_NEAR(a1.re, a2.re, tol * na);
    ASSERT_NEAR(a1.im, a2.im, tol * na);
    ASSERT_NEAR(c1, c2, tol);
    ASSERT_NEAR(s1.re, s2.re, tol);
    ASSERT_NEAR(s1.im, s2.im, tol);
  }
  // |a| = 0: c = 0, s = 1, a takes b.
  E a = {T(0), T(-0.0)}, s;
  const E b = {T(3), T(-4)};
  T c = T(7);
  mine(&a, &b, &c, &s);
  EXPECT_EQ(c, T(0));
  EXPECT_EQ(s.re, T(1));
  EXPECT_EQ(s.im, T(0));
  EXPECT_EQ(a.re, T(3));
  EXPECT_EQ(a.im, T(-4));
}

TEST(Rotg, ComplexMatchesReference) {
  crotg_against_reference<orb_complex16, double>("zrotg_", orb_blas_zrotg);
  crotg_against_reference<orb_complex8, float>("crotg_", orb_blas_crotg);
}

// ---------------------------------------------------------------- rotmg

template <class T>
using rotmg_fn = void (*)(T*, T*, T*, const T*, T*);

template <class T>
struct Rotmg {
  T d1, d2, x1, y1;
  T param[5];
  void run(rotmg_fn<T> f) { f(&d1, &d2, &x1, &y1, param); }
};

// The full H that param stands for.
template <class T>
void full_h(const T* p, long double h[4]) {
  if (p[0] < 0) {
    h[0] = p[1], h[1] = p[2], h[2] = p[3], h[3] = p[4];
  } else if (p[0] == 0) {
    h[0] = 1, h[1] = p[2], h[2] = p[3], h[3] = 1;
  } else {
    h[0] = p[1], h[1] = -1, h[2] = 1, h[3] = p[4];
  }
}

// The identities a modified rotation satisfies: H (x1, y1) = (x1', 0) and
// H^T diag(d1', d2') H = diag(d1, d2); so also d1' x1'^2 = d1 x1^2 + d2 y1^2.
template <class T>
::testing::AssertionResult identities_hold(T d1, T d2, T x1, T y1, const Rotmg<T>& out, double tol) {
  long double h[4];  // h11 h21 h12 h22
  full_h(out.param, h);
  const long double e1 = h[0] * x1 + h[2] * y1, e2 = h[1] * x1 + h[3] * y1;
  const long double sx = std::fabs(h[0] * x1) + std::fabs(h[2] * y1);
  const long double sy = std::fabs(h[1] * x1) + std::fabs(h[3] * y1);
  if (std::fabs(e1 - out.x1) > tol * sx) return ::testing::AssertionFailure() << "x1' " << double(e1) << " vs " << out.x1;
  if (std::fabs(e2) > tol * sy) return ::testing::AssertionFailure() << "second component " << double(e2);
  const long double D1 = out.d1, D2 = out.d2;
  const long double m11 = h[0] * h[0] * D1 + h[1] * h[1] * D2, m22 = h[2] * h[2] * D1 + h[3] * h[3] * D2;
  const long double m12 = h[0] * h[2] * D1 + h[1] * h[3] * D2;
  const long double s11 = std::fabs(h[0] * h[0] * D1) + std::fabs(h[1] * h[1] * D2);
  const long double s22 = std::fabs(h[2] * h[2] * D1) + std::fabs(h[3] * h[3] * D2);
  if (std::fabs(m11 - d1) > tol * s11) return ::testing::AssertionFailure() << "H^T D H (1,1) " << double(m11) << " vs " << d1;
  if (std::fabs(m22 - d2) > tol * s22) return ::testing::AssertionFailure() << "H^T D H (2,2) " << double(m22) << " vs " << d2;
  if (std::fabs(m12) > tol * std::sqrt(s11 * s22)) return ::testing::AssertionFailure() << "H^T D H (1,2) " << double(m12);
  return ::testing::AssertionSuccess();
}

template <class T>
::testing::AssertionResult close(T got, T want, double tol) {
  if (got == want || std::fabs((long double)got - want) <= tol * std::fabs((long double)want)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << got << " vs " << want;
}

// Random and extreme inputs: against the reference, and the identities.
template <class T>
void rotmg_sweep(const char* ref_name, rotmg_fn<T> mine, double tol_ref, double tol_id) {
  auto ref = orb::test::reference<rotmg_fn<T>>(ref_name);
  std::mt19937 g(11);
  std::uniform_real_distribution<double> m(-1.0, 1.0);
  std::uniform_int_distribution<int> ed(-40, 40), ex(-10, 10);
  int compared = 0, rescaled = 0, reference_wrong = 0;
  for (int k = 0; k < 20000; ++k) {
    T d1 = T(std::ldexp(std::fabs(m(g)), ed(g))), d2 = T(std::ldexp(std::fabs(m(g)), ed(g)));
    T x1 = T(std::ldexp(m(g), ex(g))), y1 = T(std::ldexp(m(g), ex(g)));
    if (k % 11 == 0) d1 = -d1;
    if (k % 13 == 0) y1 = 0;
    if (k % 17 == 0) d2 = -d2;
    Rotmg<T> a{d1, d2, x1, y1, {9, 9, 9, 9, 9}}, b = a;
    a.run(mine);
    if (a.param[0] == T(-1) && a.d1 == 0 && a.d2 == 0 && a.x1 == 0) {
      // A failure: only where the inputs are unusable.
      ASSERT_TRUE(d1 < 0 || d2 * y1 * y1 < 0) << d1 << " " << d2 << " " << x1 << " " << y1;
      continue;
    }
    if (a.param[0] == T(-2)) {
      ASSERT_EQ(d2 * y1, T(0));
      ASSERT_TRUE(a.d1 == d1 && a.d2 == d2 && a.x1 == x1) << "flag -2 changed the inputs";
      continue;
    }
    ASSERT_TRUE(identities_hold(d1, d2, x1, y1, a, tol_id)) << d1 << " " << d2 << " " << x1 << " " << y1;
    // Every d ends in the window, except a large d2 met with a unit diagonal H.
    const T gamsq = T(16777216.0), rgamsq = T(5.960464477539e-8);
    ASSERT_TRUE(a.d1 == 0 || (a.d1 > rgamsq && a.d1 < gamsq)) << a.d1;
    if (std::fabs(a.d2) >= gamsq) continue;  // that case: exact tests below
    ASSERT_TRUE(a.d2 == 0 || std::fabs(a.d2) > rgamsq) << a.d2;
    b.run(ref);
    // The reference refills h21 = -1, h12 = 1 at every scaling step after
    // the first, not only before the first, which breaks its H whenever a
    // second step follows; where its answer fails the identities it is no
    // oracle.
    if (!identities_hold(d1, d2, x1, y1, b, tol_id)) {
      ++reference_wrong;
      continue;
    }
    rescaled += a.param[0] < 0;
    ++compared;
    ASSERT_EQ(a.param[0], b.param[0]) << d1 << " " << d2 << " " << x1 << " " << y1;
    ASSERT_TRUE(close(a.d1, b.d1, tol_ref)) << "d1; " << d1 << " " << d2 << " " << x1 << " " << y1;
    ASSERT_TRUE(close(a.d2, b.d2, tol_ref)) << "d2; " << d1 << " " << d2 << " " << x1 << " " << y1;
    ASSERT_TRUE(close(a.x1, b.x1, tol_ref)) << "x1; " << d1 << " " << d2 << " " << x1 << " " << y1;
    for (int i = 1; i < 5; ++i)
      ASSERT_TRUE(close(a.param[i], b.param[i], tol_ref)) << "h" << i << "; " << d1 << " " << d2 << " " << x1 << " " << y1;
  }
  // Wide exponents make multi-step rescaling common, where the reference
  // goes wrong; enough single-step and unscaled cases remain to compare.
  EXPECT_GT(compared, 1000);
  EXPECT_GT(rescaled, 150);
  EXPECT_GT(reference_wrong, 0) << "the reference no longer refills H at every step: compare everything";
}

TEST(Rotmg, DoubleMatchesReferenceAndIdentities) { rotmg_sweep<double>("drotmg_", orb_blas_drotmg, 1e-12, 1e-13); }
TEST(Rotmg, FloatMatchesReferenceAndIdentities) { rotmg_sweep<float>("srotmg_", orb_blas_srotmg, 2e-6, 2e-6); }

// Unusable inputs (d1 < 0, or q2 < 0 with |d1 x1^2| <= |d2 y1^2|) write
// flag -1 and +0 everywhere else; a zero second component (d2 y1 = 0)
// changes nothing but the flag, -2.
TEST(Rotmg, FailureAndZeroSecondComponent) {
  for (auto v : {std::array<double, 4>{-1, 2, 3, 4}, {-0.0 - 1e-300, 1, 1, 1}, {1, -1, 0, 1}, {0, -2, 5, 1}}) {
    Rotmg<double> r{v[0], v[1], v[2], v[3], {7, 7, 7, 7, 7}};
    r.run(orb_blas_drotmg);
    EXPECT_EQ(r.param[0], -1.0);
    for (double e : {r.param[1], r.param[2], r.param[3], r.param[4], r.d1, r.d2, r.x1}) EXPECT_TRUE(same_bits(e, 0.0));
  }
  for (auto v : {std::array<double, 4>{2, 0, 3, 5}, {2, 3, 4, 0}, {0, 0, 0, 0}}) {
    Rotmg<double> r{v[0], v[1], v[2], v[3], {7, 7, 7, 7, 7}};
    r.run(orb_blas_drotmg);
    EXPECT_EQ(r.param[0], -2.0);
    for (int i = 1; i < 5; ++i) EXPECT_EQ(r.param[i], 7.0);
    EXPECT_TRUE(r.d1 == v[0] && r.d2 == v[1] && r.x1 == v[2]);
  }
}

// Flag 0 without rescaling: only h21 and h12 are stored, and u = 1 - h12 h21
// is formed by one fused multiply-add. The inputs are chosen so that the
// fused and the unfused u differ, which the reference (unfused) cannot see.
TEST(Rotmg, UnitDiagonalFormUsesFusedU) {
  int seen_difference = 0;
  for (int k = 0; k < 200; ++k) {
    const double x1 = 1.5 + k / 37.0;
    const double d1 = 1.0, d2 = 0.9, y1 = 0.7;
    const double t = y1 / (d1 * x1);
    const double h21 = -t * d1, h12 = t * d2;
    const double u = std::fma(-h12, h21, 1.0);
    seen_difference += u != 1.0 - h12 * h21;
    Rotmg<double> r{d1, d2, x1, y1, {7, 7, 7, 7, 7}};
    r.run(orb_blas_drotmg);
    EXPECT_EQ(r.param[0], 0.0);
    EXPECT_EQ(r.param[1], 7.0);
    EXPECT_EQ(r.param[4], 7.0);
    EXPECT_TRUE(same_bits(r.param[2], h21)) << x1;
    EXPECT_TRUE(same_bits(r.param[3], h12)) << x1;
    EXPECT_TRUE(same_bits(r.x1, u * x1)) << x1;
    EXPECT_TRUE(same_bits(r.d1, d1 * (1.0 / u))) << x1;
    EXPECT_TRUE(same_bits(r.d2, d2 * (1.0 / u))) << x1;
  }
  EXPECT_GT(seen_difference, 0) << "no input tells a fused u from an unfused one";
}

// A d2 of at least gamsq met while H has a unit diagonal is not brought
// down: H becomes full, and one step of the small-value loop multiplies d2
// by gamsq and h21, h22 by 1/4096. With flag 1 the same d2 is shrunk.
TEST(Rotmg, LargeD2WithUnitDiagonalTakesOneGrowingStep) {
  const double d1 = 1.0, d2 = 0x1p30, x1 = 1e6, y1 = 1.0;
  const double t = y1 / (d1 * x1), h21 = -t * d1, h12 = t * d2, u = std::fma(-h12, h21, 1.0);
  const double ru = 1.0 / u;
  Rotmg<double> r{d1, d2, x1, y1, {7, 7, 7, 7, 7}};
  r.run(orb_blas_drotmg);
  EXPECT_EQ(r.param[0], -1.0);
  EXPECT_EQ(r.param[1], 1.0);
  EXPECT_TRUE(same_bits(r.param[2], h21 * 0x1p-12));
  EXPECT_TRUE(same_bits(r.param[3], h12));
  EXPECT_EQ(r.param[4], 0x1p-12);
  EXPECT_TRUE(same_bits(r.d1, d1 * ru));
  EXPECT_TRUE(same_bits(r.d2, d2 * ru * 16777216.0));
  EXPECT_TRUE(same_bits(r.x1, u * x1));
  EXPECT_TRUE(identities_hold(d1, d2, x1, y1, r, 1e-14));

  float f1 = 1.0f, f2 = 0x1p30f, fx = 1e6f;
  const float fy = 1.0f;
  float fp[5];
  orb_blas_srotmg(&f1, &f2, &fx, &fy, fp);
  EXPECT_EQ(fp[0], -1.0f);
  EXPECT_EQ(fp[4], 0x1p-12f);
  EXPECT_GT(f2, 16777216.0f);

  // Flag 1 first (|d1 x1^2| <= |d2 y1^2|): the large d2 is shrunk.
  Rotmg<double> s{1.0, 0x1p40, 1.0, 1.0, {7, 7, 7, 7, 7}};
  s.run(orb_blas_drotmg);
  EXPECT_EQ(s.param[0], -1.0);
  EXPECT_LT(std::fabs(s.d2), 16777216.0);
  EXPECT_GT(std::fabs(s.d2), 5.960464477539e-8);
  EXPECT_TRUE(identities_hold(1.0, 0x1p40, 1.0, 1.0, s, 1e-12));
}

// d1 is scaled down by the constant 5.960464477539e-8, a hair away from
// 2^-24, and up by exactly 2^24, with x1 and h11, h12 following by 4096.
TEST(Rotmg, RescalingStepsOfD1) {
  {  // Large d1, flag 0: one shrinking step.
    const double d1 = 0x1p26, d2 = 1.0, x1 = 1.0, y1 = 1.0;
    const double t = y1 / (d1 * x1), h21 = -t * d1, h12 = t * d2, u = std::fma(-h12, h21, 1.0);
    Rotmg<double> r{d1, d2, x1, y1, {7, 7, 7, 7, 7}};
    r.run(orb_blas_drotmg);
    EXPECT_EQ(r.param[0], -1.0);
    EXPECT_TRUE(same_bits(r.d1, d1 * (1.0 / u) * 5.960464477539e-8));
    EXPECT_TRUE(same_bits(r.x1, u * x1 * 4096.0));
    EXPECT_EQ(r.param[1], 4096.0);
    EXPECT_TRUE(same_bits(r.param[3], h12 * 4096.0));
    EXPECT_TRUE(same_bits(r.param[2], h21));
    EXPECT_EQ(r.param[4], 1.0);
  }
  {  // Small d1, flag 1 (u = 1 + h11 h22 fused, d1 and d2 trade places
     // over u): two growing steps.
    const double d1 = 0x1p-60, d2 = 1.0, x1 = 1.0, y1 = 1.0;
    Rotmg<double> r{d1, d2, x1, y1, {7, 7, 7, 7, 7}};
    r.run(orb_blas_drotmg);
    const double t = x1 / (d2 * y1), h11 = t * d1, h22 = t * d2, u = std::fma(h11, h22, 1.0);
    EXPECT_EQ(r.param[0], -1.0);
    // After the swap d1 is d2 / u = 1 / u, already in the window; d2 = d1 / u
    // is small and grows by 2^24 until above rgamsq: 2^-60 -> 2^-36 -> 2^-12.
    EXPECT_TRUE(same_bits(r.d1, d2 * (1.0 / u)));
    EXPECT_TRUE(same_bits(r.d2, d1 * (1.0 / u) * 0x1p48));
    EXPECT_TRUE(same_bits(r.param[1], h11));
    EXPECT_EQ(r.param[2], -0x1p-24);
    EXPECT_EQ(r.param[3], 1.0);
    EXPECT_TRUE(same_bits(r.param[4], h22 * 0x1p-24));
  }
}

// Infinite inputs, and a d1 that comes out negative (which the growing loop
// would carry to -infinity and beyond), end in finite time.
TEST(Rotmg, DegenerateInputsReturn) {
  const double inf = std::numeric_limits<double>::infinity();
  const double in[][4] = {{inf, 1, 1, 1}, {1, inf, 1, 1}, {1, -inf, 1, 1}, {1, 1, inf, 1},
                          {1, 1, 1, inf}, {0, -1e-300, 0, 1e-20}, {1e-300, 1e300, 1e300, 1e-300}};
  for (const auto& v : in) {
    Rotmg<double> r{v[0], v[1], v[2], v[3], {7, 7, 7, 7, 7}};
    r.run(orb_blas_drotmg);
    EXPECT_TRUE(r.param[0] == -2 || r.param[0] == -1 || r.param[0] == 0 || r.param[0] == 1);
  }
}

}  // namespace
