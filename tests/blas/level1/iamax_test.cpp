// Index of largest and smallest magnitude: the first of equal extremes,
// the first NaN when there is one, the caller's exception flags kept, on
// every build and on both sides of every switch of path (the 8-element
// vector path, blocks of 512 and of 1024 elements from n = 4098, the
// gathered strided path from 9 elements).
#include <algorithm>
#include <cfenv>
#include <random>

#include "tests/blas/level1/l1_support.hpp"

namespace {

using namespace orb::l1test;

template <class E>
using search_fn = int (*)(const int*, const E*, const int*);

template <class E>
std::string kernel_name(bool max) {
  return std::string("xi") + type_letter<E> + (max ? "amax" : "amin");
}

// The magnitude, rounded in the element's own precision.
inline float measure(float v) { return std::fabs(v); }
inline double measure(double v) { return std::fabs(v); }
inline float measure(orb_complex8 v) { return std::fabs(v.re) + std::fabs(v.im); }
inline double measure(orb_complex16 v) { return std::fabs(v.re) + std::fabs(v.im); }

// The plain definition: first NaN, else first strict extreme. 1-based.
template <class E>
int oracle(int n, const E* x, int incx, bool max) {
  if (n < 1 || incx < 1) return 0;
  for (int i = 0; i < n; ++i)
    if (std::isnan(measure(x[std::ptrdiff_t(i) * incx]))) return i + 1;
  int best = 0;
  for (int i = 1; i < n; ++i) {
    const auto m = measure(x[std::ptrdiff_t(i) * incx]), b = measure(x[std::ptrdiff_t(best) * incx]);
    if (max ? m > b : m < b) best = i;
  }
  return best + 1;
}

// Every build gives want; for the maximum on NaN-free data the reference
// BLAS agrees as well.
template <class E>
void expect_index(int n, const std::vector<E>& x, int incx, bool max, int want, const char* what) {
  for (auto [build, f] : every_build<search_fn<E>>(kernel_name<E>(max))) {
    Guarded g(x, 8);
    EXPECT_EQ(f(&n, g.as<E>(), &incx), want) << build << " " << kernel_name<E>(max) << " n" << n << " inc" << incx << " " << what;
    EXPECT_TRUE(g.holds(x)) << build << " changed x";
  }
}

template <class E>
void expect_reference(int n, const std::vector<E>& x, int incx, int want) {
  const std::string ref = std::string("i") + type_letter<E> + "amax_";
  EXPECT_EQ(orb::test::reference<search_fn<E>>(ref.c_str())(&n, x.data(), &incx), want) << ref << " n" << n;
}

struct Case {
  int n, incx;
};
std::ostream& operator<<(std::ostream& o, const Case& c) { return o << "n" << c.n << " incx" << c.incx; }

std::vector<Case> cases() {
  std::vector<Case> v;
  // The blocks of 512 and 1024 elements matter to the unit stride alone.
  for (int n : {2, 7, 8, 9, 16, 17, 33, 64, 65, 511, 513, 1024, 1025, 4097, 4098, 9001})
    for (int inc : {1, 2, 5})
      if (n < 4097 || inc == 1) v.push_back({n, inc});
  return v;
}

class Search : public ::testing::TestWithParam<Case> {};

// Random data, then few distinct values: ties everywhere, across lanes,
// blocks and chunks.
template <class E>
void random_data(const Case& c) {
  using T = real_t<E>;
  auto x = random_elements<E>(span(c.n, c.incx), 100 + c.n + c.incx);
  std::mt19937 g(c.n);
  std::uniform_int_distribution<int> d(-3, 3);
  for (const char* what : {"random", "few values"}) {
    for (bool max : {true, false}) {
      const int want = oracle(c.n, x.data(), c.incx, max);
      expect_index(c.n, x, c.incx, max, want, what);
      if (max) expect_reference(c.n, x, c.incx, want);
    }
    T* r = reinterpret_cast<T*>(x.data());
    for (std::size_t i = 0; i < x.size() * parts<E>; ++i) r[i] = T(d(g));
  }
}

// Positions worth planting a value at: the ends, block and lane borders.
std::vector<int> spots(int n) {
  std::vector<int> p;
  for (int k : {0, 1, 7, 8, 15, 16, 31, 32, 511, 512, 1023, 1024, 2047, 2048, 4095, 4096, 4097, n / 3, n / 2, n - 2, n - 1})
    if (k >= 0 && k < n && (p.empty() || std::find(p.begin(), p.end(), k) == p.end())) p.push_back(k);
  std::sort(p.begin(), p.end());
  return p;
}

template <class E>
E with_measure(double m, int sign, int variant) {
  using T = typename real_of<E>::type;
  if constexpr (parts<E> == 1) {
    (void)variant;
    return E(sign * m);
  } else {
    if (std::isinf(m)) return E{T(sign) * T(m), T(0)};
    // Split the measure differently between the parts: equal sums.
    const T a = variant % 2 ? T(m * 0.75) : T(m * 0.25);
    return E{T(sign) * a, T(-sign) * (T(m) - a)};
  }
}

// Equal extremes planted at two places: the first wins, whatever the
// signs, the split of a complex value, or the blocks they fall in.
template <class E>
void planted_ties(const Case& c) {
  const auto base = random_elements<E>(span(c.n, c.incx), 200 + c.n);
  const auto p = spots(c.n);
  for (std::size_t i = 0; i < p.size(); ++i) {
    for (std::size_t j = i + 1; j < p.size(); j += 3) {
      auto x = base;
      x[std::size_t(p[i]) * c.incx] = with_measure<E>(4.0, -1, 0);
      x[std::size_t(p[j]) * c.incx] = with_measure<E>(4.0, 1, 1);
      expect_index(c.n, x, c.incx, true, p[i] + 1, "tied maxima");
      x[std::size_t(p[i]) * c.incx] = with_measure<E>(0.0, -1, 0);
      x[std::size_t(p[j]) * c.incx] = with_measure<E>(0.0, 1, 1);
      expect_index(c.n, x, c.incx, false, p[i] + 1, "tied minima");
    }
  }
}

// A NaN anywhere, in either part of a complex value, makes its index the
// result, the first one when there are several, even with an infinity or a
// larger value before it.
template <class E>
void first_nan(const Case& c) {
  using T = typename real_of<E>::type;
  const T nan = std::numeric_limits<T>::quiet_NaN(), inf = std::numeric_limits<T>::infinity();
  const auto base = random_elements<E>(span(c.n, c.incx), 300 + c.n);
  const auto p = spots(c.n);
  for (std::size_t i = 0; i < p.size(); ++i) {
    auto x = base;
    T* e = reinterpret_cast<T*>(&x[std::size_t(p[i]) * c.incx]);
    e[parts<E> == 2 && i % 2 ? 1 : 0] = nan;
    if (p[i] > 0) x[0] = with_measure<E>(double(inf), 1, 0);
    if (i + 1 < p.size()) reinterpret_cast<T*>(&x[std::size_t(p.back()) * c.incx])[0] = -nan;
    for (bool max : {true, false}) expect_index(c.n, x, c.incx, max, p[i] + 1, "first NaN");
  }
}

TEST_P(Search, RandomTiedAndNaNData) {
  for_each_type([&]<class E>() {
    random_data<E>(GetParam());
    planted_ties<E>(GetParam());
    first_nan<E>(GetParam());
  });
}

INSTANTIATE_TEST_SUITE_P(Lengths, Search, ::testing::ValuesIn(cases()));

// incx < 1 gives 0 and n < 1 gives 0, with no access; n = 1 gives 1.
TEST(SearchQuickReturns, IncrementAndLength) {
  for_each_type([]<class E>() {
    E* bad = static_cast<E*>(orb::test::faulting_pointer());
    for (int n : {-1, 0, 1, 2, 100})
      for (int inc : {-3, -1, 0, 1, 2}) {
        const int want = (n < 1 || inc < 1) ? 0 : n == 1 ? 1 : -1;
        if (want < 0) continue;
        for (bool max : {true, false})
          for (auto [b, f] : every_build<search_fn<E>>(kernel_name<E>(max)))
            EXPECT_EQ(f(&n, bad, &inc), want) << b << " " << kernel_name<E>(max) << " n" << n << " inc" << inc;
      }
  });
}

// ------------------------------------------------------------ flags

// Raises flags both ways a program might: by arithmetic in SSE registers,
// and through <cfenv> (which on x86-64 uses the x87 status word for some).
void raise_by_arithmetic(int flags) {
  volatile double big = 1e308, ten = 10.0, zero = 0.0, one = 1.0, tiny = 1e-308, three = 3.0;
  volatile double r;
  if (flags & FE_OVERFLOW) r = big * ten;
  if (flags & FE_INEXACT) r = one / three;
  if (flags & FE_INVALID) r = zero / zero;
  if (flags & FE_DIVBYZERO) r = one / zero;
  if (flags & FE_UNDERFLOW) r = tiny / big;
  (void)r;
}

class SearchFlags : public ::testing::TestWithParam<Case> {};

TEST_P(SearchFlags, CallerFlagsSurvive) {
  const auto [n, incx] = GetParam();
  auto x = orb::test::random_vector<double>(span(n, incx), 9);
  x[std::size_t(n / 2) * incx] = 5.0;
  const int want = n / 2 + 1;
  for (auto [build, f] : every_build<search_fn<double>>("xidamax")) {
    // Inexact and overflow, raised both ways: both survive, nothing is added.
    std::feclearexcept(FE_ALL_EXCEPT);
    raise_by_arithmetic(FE_INEXACT | FE_OVERFLOW);
    std::feraiseexcept(FE_INEXACT | FE_OVERFLOW);
    EXPECT_EQ(f(&n, x.data(), &incx), want) << build;
    EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), FE_INEXACT | FE_OVERFLOW) << build;
    // Every flag standing, invalid included: none is lost, and a standing
    // invalid flag is not taken for a NaN in the data.
    std::feclearexcept(FE_ALL_EXCEPT);
    raise_by_arithmetic(FE_ALL_EXCEPT);
    std::feraiseexcept(FE_ALL_EXCEPT);
    EXPECT_EQ(f(&n, x.data(), &incx), want) << build;
    EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), FE_ALL_EXCEPT) << build;
    // With a NaN the search adds the invalid flag and removes nothing.
    auto y = x;
    y[std::size_t(n - 1) * incx] = std::nan("");
    std::feclearexcept(FE_ALL_EXCEPT);
    raise_by_arithmetic(FE_UNDERFLOW | FE_DIVBYZERO);
    EXPECT_EQ(f(&n, y.data(), &incx), n) << build;
    EXPECT_EQ(std::fetestexcept(FE_UNDERFLOW | FE_DIVBYZERO), FE_UNDERFLOW | FE_DIVBYZERO) << build;
    std::feclearexcept(FE_ALL_EXCEPT);
  }
}

INSTANTIATE_TEST_SUITE_P(Paths, SearchFlags,
                         ::testing::Values(Case{2, 1}, Case{7, 1}, Case{8, 1}, Case{100, 1},
                                           Case{5000, 1}, Case{5, 3}, Case{100, 3}, Case{4098, 2}));

}  // namespace
