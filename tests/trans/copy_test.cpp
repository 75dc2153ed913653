// Out-of-place copies and sums against the plain-loop models, bit for bit,
// with guard values in every gap and past the end: every path of the
// kernels (recursive, one row, one column, tiles of 8 and 16, unaligned
// destinations, partial tiles, both panels), every letter in both cases,
// both orderings, 1 to 3 threads, batches, quick returns, argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "tests/trans/model.hpp"

namespace {
std::string g_name;
int g_info = 0;
}  // namespace

extern "C" void xerbla_(const char* name, const int* info, std::size_t len) {
  g_name.assign(name, len);
  g_info = *info;
}

namespace {

using namespace orb::test::trans;
using orb::test::faulting_pointer;

// A buffer of n elements at a chosen distance from a 64-byte boundary,
// filled with guard values.
template <class T>
struct buffer {
  std::vector<unsigned char> raw;
  T* p;
  size_t n;
  buffer(size_t count, size_t offset_bytes = 0) : raw(count * sizeof(T) + 128), n(count) {
    auto base = reinterpret_cast<std::uintptr_t>(raw.data());
    p = reinterpret_cast<T*>((base + 63) / 64 * 64 + offset_bytes);
    for (size_t i = 0; i < n; ++i) p[i] = guard<T>();
  }
  std::vector<T> values() const { return std::vector<T>(p, p + n); }
};

template <class T>
class TransCopy : public ::testing::Test {};
using Types = ::testing::Types<float, double, orb_complex8, orb_complex16>;
TYPED_TEST_SUITE(TransCopy, Types);

struct shape {
  size_t rows, cols;
};
const shape kShapes[] = {{1, 1}, {1, 5}, {5, 1}, {3, 4}, {4, 3}, {5, 5}, {7, 9},    {8, 8},   {9, 17},
                         {13, 12}, {16, 16}, {17, 33}, {33, 17}, {64, 70}, {100, 37}, {1, 40}, {40, 1},
                         {29, 23}, {12, 45}};

// One copy through the public name, checked against the model.
template <class T>
void check_copy(char o, char t, size_t rows, size_t cols, T alpha, size_t gap_a, size_t gap_b, size_t sa, size_t sb,
                size_t offset_b = 0) {
  const bool row = up(o) == 'R';
  const size_t ar = row ? rows : cols, ac = row ? cols : rows;  // lines and their length
  const size_t br = tr(t) ? ac : ar, bc = tr(t) ? ar : ac;
  const size_t lda = (ac - 1) * sa + 1 + gap_a, ldb = (bc - 1) * sb + 1 + gap_b;
  buffer<T> a(ar * lda), b(br * ldb + 3, offset_b);
  const auto va = random_values<T>(a.n, unsigned(rows * 131 + cols));
  std::copy(va.begin(), va.end(), a.p);
  std::vector<T> want = b.values();
  model_copy<T>(o, t, rows, cols, alpha, a.p, lda, sa, want.data(), ldb, sb);
  if (sa == 1 && sb == 1) omatcopy(o, t, rows, cols, alpha, a.p, lda, b.p, ldb);
  else omatcopy2(o, t, rows, cols, alpha, a.p, lda, sa, b.p, ldb, sb);
  EXPECT_TRUE(same_all(b.values(), want)) << o << t << " " << rows << "x" << cols << " lda " << lda << " ldb " << ldb
                                          << " strides " << sa << "," << sb;
}

TYPED_TEST(TransCopy, MatchesModel) {
  using T = TypeParam;
  const T alphas[] = {make<T>(1), make<T>(0.75, -0.5)};
  for (char o : {'R', 'c'})
    for (char t : {'N', 't', 'r', 'C'})
      for (const shape& s : kShapes)
        for (const T& alpha : alphas)
          for (size_t gap : {0, 3}) {
            check_copy<T>(o, t, s.rows, s.cols, alpha, gap, gap + 1, 1, 1);
            check_copy<T>(o, t, s.rows, s.cols, alpha, gap, 0, 2, 3);
          }
}

// The tile plan: tiles of 8 and 16 (the stride product at, below and above
// 2^24 for doubles), destinations off a line boundary with power-of-two
// leading dimensions, panels of 512 and 2048 columns.
TYPED_TEST(TransCopy, TilePlan) {
  using T = TypeParam;
  const T one = make<T>(1);
  const size_t scale = 8 / sizeof(T) ? 8 / sizeof(T) : 1;
  for (size_t rows : {70, 40})
    for (size_t above : {0, 1}) check_copy<T>('R', 'T', rows, 100, one, 1024 - 100, 2048 * scale - rows + above, 1, 1);
  for (size_t off : {0, 4, 8})
    for (size_t ld : {64, 256, 512}) check_copy<T>('R', 'C', 37, 45, one, ld - 45, ld - 37, 1, 1, off);
  // A result of 4 MiB or more goes past the caches when its lines are
  // whole; an odd leading dimension keeps the regular stores.
  const size_t wide = (size_t(4) << 20) / (520 * sizeof(T)) + 3;
  check_copy<T>('R', 'T', 520, wide, one, 8, 8 - 520 % 8, 1, 1);
  check_copy<T>('C', 'C', wide, 520, one, 0, 1, 1, 1);
  check_copy<T>('R', 'T', 20, 600, one, 0, 0, 1, 1);
  check_copy<T>('R', 'T', 20, 700, one, 100, 0, 1, 1);
}

// The same bits for 1, 2 and 3 threads, on shapes that take the team.
TYPED_TEST(TransCopy, Threads) {
  using T = TypeParam;
  for (int threads : {1, 2, 3}) {
    orb_set_num_threads(threads);
    check_copy<T>('R', 'N', 17, 6000, make<T>(1), 0, 0, 1, 1);
    check_copy<T>('C', 'T', 330, 310, make<T>(1), 2, 1, 1, 1);
    check_copy<T>('R', 'c', 310, 330, make<T>(0.5, 2), 0, 3, 1, 1);
    check_copy<T>('R', 'T', 300, 350, make<T>(1), 0, 0, 2, 2);
  }
  orb_set_num_threads(0);
}

// One sum through the public name against the model; c is a separate array.
template <class T>
void check_add(char o, char ta, char tb, size_t rows, size_t cols, T alpha, T beta, size_t gap) {
  const bool row = up(o) == 'R';
  const size_t cr = row ? rows : cols, cc = row ? cols : rows;
  const size_t ldc = cc + gap, lda = (tr(ta) ? cr : cc) + gap + 1, ldb = (tr(tb) ? cr : cc) + 2 * gap;
  buffer<T> a((tr(ta) ? cc : cr) * lda), b((tr(tb) ? cc : cr) * ldb), c(cr * ldc + 5);
  const auto va = random_values<T>(a.n, 7), vb = random_values<T>(b.n, 8);
  std::copy(va.begin(), va.end(), a.p);
  std::copy(vb.begin(), vb.end(), b.p);
  std::vector<T> want = c.values();
  model_add<T>(o, ta, tb, rows, cols, alpha, a.p, lda, beta, b.p, ldb, want.data(), ldc);
  omatadd(o, ta, tb, rows, cols, alpha, a.p, lda, beta, b.p, ldb, c.p, ldc);
  EXPECT_TRUE(same_all(c.values(), want)) << o << ta << tb << " " << rows << "x" << cols << " gap " << gap;
}

TYPED_TEST(TransCopy, SumMatchesModel) {
  using T = TypeParam;
  const T al = make<T>(0.75, -0.5), be = make<T>(-1.25, 0.25);
  for (char o : {'r', 'C'})
    for (char ta : {'N', 't', 'R', 'c'})
      for (char tb : {'n', 'T', 'r', 'C'})
        for (const shape& s : {shape{1, 1}, shape{5, 3}, shape{9, 17}, shape{16, 16}, shape{33, 20}})
          for (size_t gap : {0, 2}) check_add<T>(o, ta, tb, s.rows, s.cols, al, be, gap);
  // A zero scalar copies the other operand, shape swapped for a transposed one.
  check_add<T>('R', 'N', 'T', 6, 11, make<T>(0), be, 1);
  check_add<T>('R', 'C', 'N', 6, 11, al, make<T>(0), 1);
  check_add<T>('C', 'T', 'T', 7, 3, make<T>(0), make<T>(1), 0);
  for (int threads : {1, 2, 3}) {
    orb_set_num_threads(threads);
    check_add<T>('R', 'N', 'N', 300, 350, al, be, 0);
    check_add<T>('C', 'T', 'C', 300, 350, al, be, 1);
  }
  orb_set_num_threads(0);
}

// The row-major sum kernels at the edges of their paths, in every build:
// streaming stores from 1,600,001 bytes of contiguous result, and the
// transposed pair at 799 and 800 rows.
TYPED_TEST(TransCopy, SumKernelEdges) {
  using T = TypeParam;
  using kernel = void (*)(size_t, size_t, T, const T*, size_t, T, const T*, size_t, T*, size_t);
  const T al = make<T>(0.75, -0.5), be = make<T>(-1.25, 0.25);
  const size_t big = 1600000 / sizeof(T);
  struct edge {
    const char* name;
    char ta, tb;
    size_t rows, cols;
  };
  const edge edges[] = {{"omatadd_nn", 'N', 'N', 1, big},     {"omatadd_nn", 'N', 'N', 1, big + 1},
                        {"omatadd_tt", 'T', 'T', 799, 20},    {"omatadd_tt", 'T', 'T', 800, 21},
                        {"omatadd_nt", 'N', 'T', 45, 23}};
  for (const char* tag : orb::test::runnable_builds())
    for (const edge& e : edges) {
      const auto k = trans_kernel<T, kernel>(tag, e.name);
      ASSERT_NE(k, nullptr) << tag << " " << e.name;
      const size_t lda = tr(e.ta) ? e.rows : e.cols, ldb = tr(e.tb) ? e.rows : e.cols;
      const auto a = random_values<T>((tr(e.ta) ? e.cols : e.rows) * lda, 3);
      const auto b = random_values<T>((tr(e.tb) ? e.cols : e.rows) * ldb, 4);
      buffer<T> c(e.rows * e.cols + 2);
      std::vector<T> want = c.values();
      model_add<T>('R', e.ta, e.tb, e.rows, e.cols, al, a.data(), lda, be, b.data(), ldb, want.data(), e.cols);
      k(e.rows, e.cols, al, a.data(), lda, be, b.data(), ldb, c.p, e.cols);
      EXPECT_TRUE(same_all(c.values(), want)) << tag << " " << e.name << " " << e.rows << "x" << e.cols;
    }
}

// One row with ldb 0 keeps the last element; the plain copy of bytes.
TYPED_TEST(TransCopy, KernelEdges) {
  using T = TypeParam;
  using copy2 = void (*)(size_t, size_t, T, const T*, size_t, size_t, T*, size_t, size_t);
  using unroll = void (*)(void*, size_t, const void*, size_t);
  for (const char* tag : orb::test::runnable_builds()) {
    const auto t = trans_kernel<T, copy2>(tag, "omatcopy2_t");
    ASSERT_NE(t, nullptr);
    for (size_t cols : {1, 5, 15, 16, 40, 300}) {
      const auto a = random_values<T>(cols, 9);
      T b[2] = {guard<T>(), guard<T>()};
      t(1, cols, make<T>(1), a.data(), cols, 1, b, 0, 1);
      EXPECT_TRUE(same(b[0], a[cols - 1]) && same(b[1], guard<T>())) << tag << " " << cols;
    }
    const auto u = reinterpret_cast<unroll>(orb_test_trans_kernel(tag, "unrollcopy"));
    ASSERT_NE(u, nullptr);
    for (size_t bytes : {4, 60, 64, 100, 1028, 4096 + 196, 102400, 102404, 300004})
      for (size_t off : {0, 4}) {
        buffer<float> src(bytes / 4), dst(bytes / 4 + 16, off);
        for (size_t i = 0; i < src.n; ++i) src.p[i] = float(i) + 0.5f;
        u(dst.p, bytes, src.p, bytes);
        EXPECT_EQ(std::memcmp(dst.p, src.p, bytes), 0) << tag << " " << bytes;
        EXPECT_TRUE(same(dst.p[bytes / 4], guard<float>()));
        u(dst.p, bytes - 1, faulting_pointer(), bytes);  // more than the room: nothing
        u(nullptr, bytes, src.p, bytes);
      }
  }
}

// Batches: no group, groups of different shapes; strided counts 0, 1, many.
TYPED_TEST(TransCopy, Batches) {
  using T = TypeParam;
  auto* bad = static_cast<T*>(faulting_pointer());
  const T* const bad_a[1] = {bad};
  T* const bad_b[1] = {bad};
  const size_t one = 1;
  const T al1 = make<T>(1);
  if constexpr (std::is_same_v<T, double>) {
    orb_domatcopy_batch('R', "N", &one, &one, &al1, bad_a, &one, bad_b, &one, 0, &one);
    orb_domatcopy_batch_strided('R', 'T', 3, 3, al1, bad, 3, 9, bad, 3, 9, 0);
    orb_domatadd_batch_strided('R', 'T', 'N', 3, 3, al1, bad, 3, 9, al1, bad, 3, 9, bad, 3, 9, 0);
  }
  const char trans[2] = {'T', 'n'};
  const size_t rows[2] = {5, 20}, cols[2] = {7, 3}, lda[2] = {7, 4}, ldb[2] = {6, 3}, sizes[2] = {2, 3};
  const T alpha[2] = {make<T>(1), make<T>(-2, 0.5)};
  std::vector<std::vector<T>> as, bs, want;
  std::vector<const T*> pa;
  std::vector<T*> pb;
  for (size_t g = 0, m = 0; g < 2; ++g)
    for (size_t i = 0; i < sizes[g]; ++i, ++m) {
      as.push_back(random_values<T>(rows[g] * lda[g], unsigned(m)));
      const size_t nb = (tr(trans[g]) ? cols[g] : rows[g]) * ldb[g];
      bs.emplace_back(nb, guard<T>());
      want.emplace_back(nb, guard<T>());
      model_copy<T>('R', trans[g], rows[g], cols[g], alpha[g], as.back().data(), lda[g], 1, want.back().data(),
                    ldb[g], 1);
    }
  for (auto& a : as) pa.push_back(a.data());
  for (auto& b : bs) pb.push_back(b.data());
#define ORB_BATCH_CALL(x, TT)                                                                                 \
  if constexpr (std::is_same_v<T, TT>) {                                                                      \
    orb_##x##omatcopy_batch('R', trans, rows, cols, alpha, pa.data(), lda, pb.data(), ldb, 2, sizes);         \
    for (size_t count : {1, 4}) {                                                                             \
      const auto a = random_values<T>(count * 50, 5);                                                         \
      std::vector<T> b(count * 60, guard<T>()), w(count * 60, guard<T>());                                    \
      for (size_t m = 0; m < count; ++m)                                                                      \
        model_copy<T>('C', 'C', 4, 6, alpha[1], a.data() + m * 50, 5, 1, w.data() + m * 60, 7, 1);           \
      orb_##x##omatcopy_batch_strided('C', 'C', 4, 6, alpha[1], a.data(), 5, 50, b.data(), 7, 60, count);     \
      EXPECT_TRUE(same_all(b, w)) << "strided copy " << count;                                               \
      std::vector<T> c(count * 60, guard<T>()), cw(count * 60, guard<T>());                                   \
      for (size_t m = 0; m < count; ++m)                                                                      \
        model_add<T>('R', 'T', 'N', 5, 4, alpha[1], a.data() + m * 50, 6, alpha[0], a.data() + m * 50 + 3, 5, \
                     cw.data() + m * 60, 7);                                                                  \
      orb_##x##omatadd_batch_strided('R', 'T', 'N', 5, 4, alpha[1], a.data(), 6, 50, alpha[0], a.data() + 3,  \
                                     5, 50, c.data(), 7, 60, count);                                          \
      EXPECT_TRUE(same_all(c, cw)) << "strided sum " << count;                                               \
    }                                                                                                         \
  }
  ORB_BATCH_CALL(s, float)
  ORB_BATCH_CALL(d, double)
  ORB_BATCH_CALL(c, orb_complex8)
  ORB_BATCH_CALL(z, orb_complex16)
#undef ORB_BATCH_CALL
  for (size_t m = 0; m < bs.size(); ++m) EXPECT_TRUE(same_all(bs[m], want[m])) << "batch matrix " << m;
}

// Empty shapes touch nothing; bad arguments are reported by position and
// nothing is written.
TEST(TransChecks, QuickReturnsAndBadArguments) {
  auto* bad = static_cast<double*>(faulting_pointer());
  g_info = 0;
  orb_domatcopy('R', 'T', 0, 5, 2.0, bad, 5, bad, 1);
  orb_domatcopy2('C', 'N', 4, 0, 2.0, bad, 4, 1, bad, 4, 1);
  orb_domatadd('R', 'N', 'T', 0, 3, 1.0, bad, 3, 1.0, bad, 1, bad, 3);
  orb_dimatcopy('R', 'T', 3, 0, 1.0, bad, 1, 3);
  EXPECT_EQ(g_info, 0);
  std::vector<double> a(20, 1.0), b(20, -3.0);
  struct bad_call {
    int position;
    std::function<void()> call;
  };
  const bad_call calls[] = {
      {1, [&] { orb_domatcopy('X', 'T', 2, 3, 1.0, a.data(), 3, b.data(), 2); }},
      {2, [&] { orb_domatcopy('R', 'x', 2, 3, 1.0, a.data(), 3, b.data(), 2); }},
      {7, [&] { orb_domatcopy('R', 'T', 2, 3, 1.0, a.data(), 2, b.data(), 2); }},
      {9, [&] { orb_domatcopy('R', 'T', 2, 3, 1.0, a.data(), 3, b.data(), 1); }},
      {9, [&] { orb_domatcopy('C', 'N', 2, 3, 1.0, a.data(), 2, b.data(), 1); }},
      {8, [&] { orb_domatcopy2('R', 'N', 2, 3, 1.0, a.data(), 3, 0, b.data(), 3, 1); }},
      {10, [&] { orb_domatcopy2('R', 'N', 2, 3, 1.0, a.data(), 3, 1, b.data(), 4, 2); }},
      {11, [&] { orb_domatcopy2('R', 'N', 2, 3, 1.0, a.data(), 3, 1, b.data(), 9, 0); }},
      {3, [&] { orb_domatadd('R', 'N', 'Q', 2, 3, 1.0, a.data(), 3, 1.0, a.data(), 3, b.data(), 3); }},
      {8, [&] { orb_domatadd('R', 'T', 'N', 2, 3, 1.0, a.data(), 1, 1.0, a.data(), 3, b.data(), 3); }},
      {11, [&] { orb_domatadd('C', 'N', 'C', 2, 3, 1.0, a.data(), 2, 1.0, a.data(), 2, b.data(), 2); }},
      {13, [&] { orb_domatadd('R', 'N', 'N', 2, 3, 1.0, a.data(), 3, 1.0, a.data(), 3, b.data(), 2); }},
      {8, [&] { orb_dimatcopy('R', 'T', 2, 3, 1.0, b.data(), 3, 1); }},
      {7, [&] { orb_dimatcopy('C', 'N', 4, 3, 1.0, b.data(), 3, 4); }},
      {11, [&] { orb_domatcopy_batch_strided('R', 'N', 2, 3, 1.0, a.data(), 3, 6, b.data(), 3, 5, 2); }},
      {9, [&] { orb_dimatcopy_batch_strided('R', 'T', 2, 3, 1.0, b.data(), 3, 2, 5, 2); }},
  };
  for (const bad_call& c : calls) {
    g_info = 0;
    c.call();
    EXPECT_EQ(g_info, c.position) << g_name;
    EXPECT_TRUE(std::all_of(b.begin(), b.end(), [](double v) { return v == -3.0; })) << g_name;
  }
  g_info = 0;
  orb_zomatcopy('r', 'c', 1, 1, orb_complex16{1, 0}, nullptr, 0, nullptr, 1);
  EXPECT_EQ(g_info, 7);
  EXPECT_EQ(g_name, "ORB_ZOMATCOPY");
}

// With verbose mode on, each public call prints one line: letters and
// sizes as given, scalars by value, arrays by address.
TEST(TransChecks, VerboseLines) {
  int* mode = orb_serv_verbose_mode();
  const int saved = *mode;
  *mode = 1;
  std::vector<double> a(6, 1.0), b(6, 0.0);
  testing::internal::CaptureStdout();
  orb_domatcopy('R', 'T', 2, 3, 2.5, a.data(), 3, b.data(), 2);
  orb_zimatcopy('C', 'c', 1, 1, orb_complex16{1, -2}, reinterpret_cast<orb_complex16*>(b.data()), 1, 1);
  const std::string out = testing::internal::GetCapturedStdout();
  *mode = saved;
  EXPECT_EQ(out.rfind("orb_verbose: ORB_DOMATCOPY(R,T,2,3,2.5,", 0), 0u) << out;
  EXPECT_NE(out.find("\norb_verbose: ORB_ZIMATCOPY(C,c,1,1,(1,-2),"), std::string::npos) << out;
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 2);
}

}  // namespace
