// copy and swap against the reference BLAS, on every build: every byte of
// the result, and not one byte written outside the vectors, at every length
// that changes the path (the vector blocks, the masked tail, the 15000-byte
// switch to a block move), every alignment and every sign of increment.
#include "tests/blas/level1/l1_support.hpp"

namespace {

using namespace orb::l1test;

template <class E>
using copy_fn = void (*)(const int*, const E*, const int*, E*, const int*);
template <class E>
using swap_fn = void (*)(const int*, E*, const int*, E*, const int*);

template <class E>
void check_copy(const Walk& c) {
  const std::size_t lx = span(c.n, c.incx), ly = span(c.n, c.incy);
  const auto x = random_elements<E>(lx, 10 + c.n);
  const auto y = random_elements<E>(ly, 20 + c.n);
  auto want = y;
  orb::test::reference<copy_fn<E>>(reference<E>("copy").c_str())(&c.n, x.data(), &c.incx, want.data(), &c.incy);
  for (auto [build, f] : every_build<copy_fn<E>>(kernel<E>("copy"))) {
    Guarded gx(x, c.xoff), gy(y, c.yoff);
    f(&c.n, gx.as<E>(), &c.incx, gy.as<E>(), &c.incy);
    EXPECT_TRUE(gy.holds(want)) << build << " " << kernel<E>("copy") << " " << c;
    EXPECT_TRUE(gx.holds(x)) << build << " x changed";
  }
}

template <class E>
void check_swap(const Walk& c) {
  const std::size_t lx = span(c.n, c.incx), ly = span(c.n, c.incy);
  const auto x = random_elements<E>(lx, 30 + c.n);
  const auto y = random_elements<E>(ly, 40 + c.n);
  auto wx = x, wy = y;
  orb::test::reference<swap_fn<E>>(reference<E>("swap").c_str())(&c.n, wx.data(), &c.incx, wy.data(), &c.incy);
  for (auto [build, f] : every_build<swap_fn<E>>(kernel<E>("swap"))) {
    Guarded gx(x, c.xoff), gy(y, c.yoff);
    f(&c.n, gx.as<E>(), &c.incx, gy.as<E>(), &c.incy);
    EXPECT_TRUE(gx.holds(wx)) << build << " " << kernel<E>("swap") << " x " << c;
    EXPECT_TRUE(gy.holds(wy)) << build << " " << kernel<E>("swap") << " y " << c;
  }
}

// Lengths around every switch of the unit-stride paths, for 4-, 8- and
// 16-byte elements alike: vector blocks of 8 to 64 reals, the masked tail,
// and the 15000-byte switch (937/938 elements of 16 bytes, 1875/1876 of 8,
// 3750/3751 of 4).
const int kLengths[] = {1, 2, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65, 100, 937, 938, 1875, 1876, 3750, 3751, 5000};

std::vector<Walk> unit_cases() {
  // Offsets: both aligned; the same offset within a line (the peel); two
  // different offsets; and addresses off the element size altogether.
  const std::size_t offs[][2] = {{0, 0}, {8, 8}, {24, 24}, {4, 4}, {0, 8}, {40, 16}, {4, 12}, {0, 4}};
  std::vector<Walk> v;
  for (int n : kLengths)
    for (auto o : offs) v.push_back({n, 1, 1, o[0], o[1]});
  return v;
}
std::vector<Walk> strided_cases() {
  const int incs[][2] = {{2, 3}, {-1, 1}, {1, -1}, {-2, -3}, {3, -1}, {0, 1}, {0, 2}, {0, -1}, {2, 0}, {-1, 0}, {1, 2}, {2, 1}};
  std::vector<Walk> v;
  for (int n : {1, 2, 3, 8, 17, 33, 100, 1876, 3751})
    for (auto i : incs) v.push_back({n, i[0], i[1], 8, 16});
  // The fill (x of increment 0) on both sides of the switch, y off its line.
  for (int n : {15, 16, 17, 937, 938, 1875, 1876, 3751, 5000})
    for (std::size_t yo : {0, 4, 8, 24, 56}) v.push_back({n, 0, 1, 0, yo});
  return v;
}

class Movement : public ::testing::TestWithParam<Walk> {};

TEST_P(Movement, CopyAndSwapMatchReferenceAndStayInside) {
  for_each_type([&]<class E>() {
    check_copy<E>(GetParam());
    check_swap<E>(GetParam());
  });
}

INSTANTIATE_TEST_SUITE_P(UnitStride, Movement, ::testing::ValuesIn(unit_cases()));
INSTANTIATE_TEST_SUITE_P(Strided, Movement, ::testing::ValuesIn(strided_cases()));

// n < 1 returns before any access to either vector.
TEST(Movement, EmptyLengthTouchesNothing) {
  for_each_type([]<class E>() {
    E* bad = static_cast<E*>(orb::test::faulting_pointer());
    for (int n : {0, -1})
      for (int inc : {1, -1, 0}) {
        for (auto [b, f] : every_build<copy_fn<E>>(kernel<E>("copy"))) f(&n, bad, &inc, bad, &inc);
        for (auto [b, f] : every_build<swap_fn<E>>(kernel<E>("swap"))) f(&n, bad, &inc, bad, &inc);
      }
  });
}

}  // namespace
