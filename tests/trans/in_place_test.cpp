// In-place transposition and copy (?imatcopy) and the in-place sum behind
// ?omatadd, against the out-of-place models: squares through the team and
// alone, alpha 1 and 2, rectangles by cycles with padding that must stay
// untouched, rows moved both ways, c given as either operand, the scratch
// of the in-place sum failing, and the square team under threads the test
// starts (run under ThreadSanitizer too).
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/trans/model.hpp"

namespace {

using namespace orb::test::trans;

template <class T>
class TransInPlace : public ::testing::Test {};
using Types = ::testing::Types<float, double, orb_complex8, orb_complex16>;
TYPED_TEST_SUITE(TransInPlace, Types);

// ?imatcopy against ?omatcopy's model: the result positions must hold the
// model's values, and positions outside both the source and the result
// their guard values.
template <class T>
void check_in_place(char o, char t, size_t rows, size_t cols, T alpha, size_t gap_a, size_t gap_b) {
  const bool row = up(o) == 'R';
  const size_t src_lines = row ? rows : cols, src_len = row ? cols : rows;
  const size_t dst_lines = tr(t) ? src_len : src_lines, dst_len = tr(t) ? src_lines : src_len;
  const size_t lda = src_len + gap_a, ldb = dst_len + gap_b;
  const size_t n = std::max(src_lines * lda, dst_lines * ldb) + 4;
  std::vector<T> ab(n, guard<T>());
  std::vector<bool> in_src(n, false), in_dst(n, false);
  const auto v = random_values<T>(n, unsigned(rows * 7 + cols));
  for (size_t i = 0; i < src_lines; ++i)
    for (size_t j = 0; j < src_len; ++j) ab[i * lda + j] = v[i * lda + j], in_src[i * lda + j] = true;
  for (size_t i = 0; i < dst_lines; ++i)
    for (size_t j = 0; j < dst_len; ++j) in_dst[i * ldb + j] = true;
  std::vector<T> want(n, guard<T>());
  model_copy<T>(o, t, rows, cols, alpha, ab.data(), lda, 1, want.data(), ldb, 1);
  imatcopy(o, t, rows, cols, alpha, ab.data(), lda, ldb);
  size_t bad = 0;
  for (size_t p = 0; p < n; ++p) {
    if (in_dst[p]) bad += !same(ab[p], want[p]);
    else if (!in_src[p]) bad += !same(ab[p], guard<T>());
  }
  EXPECT_EQ(bad, 0u) << o << t << " " << rows << "x" << cols << " lda " << lda << " ldb " << ldb;
}

TYPED_TEST(TransInPlace, MatchesModel) {
  using T = TypeParam;
  const T one = make<T>(1), two = make<T>(2, -1);
  struct shape {
    size_t rows, cols, gap_a, gap_b;
  };
  // 3 x 5 row-major transposed has lda 5, ldb 3: (0, 0) stays, the rest
  // follows cycles. Prime sides with padding; squares alike and with
  // lda != ldb; rows moved toward the front and toward the back.
  const shape shapes[] = {{3, 5, 0, 0}, {7, 11, 2, 6}, {13, 5, 6, 9}, {31, 31, 0, 0},
                          {29, 29, 4, 1}, {9, 6, 3, 0}, {9, 6, 0, 5}};
  for (char o : {'R', 'c'})
    for (char t : {'T', 'c', 'n', 'R'})
      for (const T& alpha : {one, two})
        for (const shape& s : shapes) check_in_place<T>(o, t, s.rows, s.cols, alpha, s.gap_a, s.gap_b);
}

// Squares of 256 (alone) and 300 (on the team when alpha is 1), 1 to 3 threads.
TYPED_TEST(TransInPlace, Squares) {
  using T = TypeParam;
  for (int threads : {1, 2, 3}) {
    orb_set_num_threads(threads);
    for (size_t n : {256, 300}) {
      check_in_place<T>('R', 'T', n, n, make<T>(1), 3, 3);
      check_in_place<T>('C', 'C', n, n, make<T>(1), 0, 0);
    }
  }
  orb_set_num_threads(0);
  check_in_place<T>('R', 'T', 300, 300, make<T>(2), 0, 0);
}

// ?omatadd with c as a or as b, every pair of operations, square and
// rectangular: the bits of the out-of-place sum. With the scratch of the
// square path failing, the same bits and no block left.
TYPED_TEST(TransInPlace, SumIntoOperand) {
  using T = TypeParam;
  const T al = make<T>(0.75, -0.5), be = make<T>(-1.25, 0.25);
  struct shape {
    size_t rows, cols, ld_self, ldc;
  };
  const shape shapes[] = {{6, 6, 6, 6}, {37, 37, 40, 40}, {5, 8, 9, 8}, {8, 5, 9, 11}};
  for (int fail : {0, 1})
    for (char o : {'R', 'c'})
      for (char ta : {'N', 't', 'R', 'C'})
        for (char tb : {'n', 'T', 'r', 'c'})
          for (const shape& s : shapes)
            for (bool a_is_c : {true, false}) {
              const char tself = a_is_c ? ta : tb, tother = a_is_c ? tb : ta;
              const bool row = up(o) == 'R';
              const size_t cl = row ? s.rows : s.cols, cn = row ? s.cols : s.rows;  // lines of c, length
              const size_t self_lines = tr(tself) ? cn : cl, other_lines = tr(tother) ? cn : cl;
              const size_t ldo = (tr(tother) ? cl : cn) + 1;
              const size_t n = std::max(self_lines * s.ld_self, cl * s.ldc);
              auto c = random_values<T>(n, 11);
              const auto other = random_values<T>(other_lines * ldo, 12);
              std::vector<T> want(n, guard<T>());
              const T* a = a_is_c ? c.data() : other.data();
              const T* b = a_is_c ? other.data() : c.data();
              const size_t lda = a_is_c ? s.ld_self : ldo, ldb = a_is_c ? ldo : s.ld_self;
              model_add<T>(o, ta, tb, s.rows, s.cols, al, a, lda, be, b, ldb, want.data(), s.ldc);
              const long live = orb_test_live_blocks();
              if (fail) orb_test_fail_allocation(1, 1);
              omatadd(o, ta, tb, s.rows, s.cols, al, a, lda, be, b, ldb, c.data(), s.ldc);
              orb_test_fail_allocation(0, 0);
              EXPECT_EQ(orb_test_live_blocks(), live);
              size_t bad = 0;
              for (size_t i = 0; i < cl; ++i)
                for (size_t j = 0; j < cn; ++j) bad += !same(c[i * s.ldc + j], want[i * s.ldc + j]);
              EXPECT_EQ(bad, 0u) << o << ta << tb << " " << s.rows << "x" << s.cols << (a_is_c ? " a" : " b")
                                 << " is c, failing " << fail;
            }
}

// The square team called from threads the test starts: each takes its share
// of the block pairs; together they transpose the whole square.
TYPED_TEST(TransInPlace, SquareTeamOnOwnThreads) {
  using T = TypeParam;
  using team = void (*)(int, int, size_t, T*, size_t);
  const size_t n = 301, lda = 305;
  for (const char* tag : orb::test::runnable_builds()) {
    for (char op : {'T', 'C'}) {
      if (op == 'C' && !kind<T>::complex) continue;
      const auto k = trans_kernel<T, team>(tag, op == 'T' ? "imatcopy_square_t_team" : "imatcopy_square_c_team");
      ASSERT_NE(k, nullptr);
      auto ab = random_values<T>(n * lda, 21);
      std::vector<T> want(ab);
      model_copy<T>('R', op, n, n, make<T>(1), ab.data(), lda, 1, want.data(), lda, 1);
      for (int threads : {1, 3}) {
        auto x = ab;
        std::vector<std::thread> team_threads;
        for (int t = 0; t < threads; ++t) team_threads.emplace_back([&, t] { k(t, threads, n, x.data(), lda); });
        for (auto& th : team_threads) th.join();
        EXPECT_TRUE(same_all(x, want)) << tag << " " << op << " " << threads << " threads";
      }
    }
  }
}

// The named pieces of the square and of the copies, in every build: each
// transposes (part of) a square or a rectangle, checked against the model.
TYPED_TEST(TransInPlace, NamedPieces) {
  using T = TypeParam;
  using square_fn = void (*)(T*, size_t, size_t);
  using int_square_fn = int (*)(T*, size_t, size_t);
  using swap_fn = void (*)(T*, T*, size_t);
  using pieces_fn = void (*)(size_t, T*, size_t, size_t, size_t);
  using team = void (*)(int, int, size_t, T*, size_t);
  using rec_fn = void (*)(size_t, size_t, T, const T*, size_t, size_t, T*, size_t, size_t);
  using rec1_fn = void (*)(size_t, size_t, const T*, size_t, size_t, T*, size_t, size_t);
  using blk_fn = void (*)(size_t, size_t, const T*, size_t, T*, size_t);
  constexpr size_t E = 64 / sizeof(T);  // the register block's edge
  // Transposes an n x n square (leading dimension lda) by `run` and compares.
  auto square = [](const char* what, size_t n, size_t lda, auto run) {
    auto ab = random_values<T>(n * lda, unsigned(n));
    std::vector<T> want(ab);
    model_copy<T>('R', 'T', n, n, make<T>(1), ab.data(), lda, 1, want.data(), lda, 1);
    run(ab.data(), n, lda);
    EXPECT_TRUE(same_all(ab, want)) << what << " " << n;
  };
  for (const char* tag : orb::test::runnable_builds()) {
    SCOPED_TRACE(tag);
    const auto sq = trans_kernel<T, int_square_fn>(tag, "sqtrans");
    const auto fit = trans_kernel<T, square_fn>(tag, "sqtrans_fit_64");
    const auto swap = trans_kernel<T, swap_fn>(tag, "swap_2blocks_16x16");
    const auto pieces = trans_kernel<T, pieces_fn>(tag, "imatcopy_square_t_64x64n");
    const auto steam = trans_kernel<T, team>(tag, "sqtrans_team");
    const auto init = trans_kernel<T, void (*)()>(tag, "soi_init");
    ASSERT_TRUE(sq && fit && swap && pieces && steam && init);
    init();
    square("sqtrans", 37, 40, [&](T* p, size_t n, size_t ld) { EXPECT_EQ(sq(p, n, ld), 0); });
    square("sqtrans", 40, 41, [&](T* p, size_t n, size_t ld) { EXPECT_EQ(sq(p, n, ld), 0); });
    square("sqtrans_fit_64", 70, 72, fit);
    // Two blocks across the diagonal and the two on it: the whole 2E square.
    square("swap_2blocks", 2 * E, 2 * E + 3, [&](T* p, size_t, size_t ld) {
      swap(p, p, ld);
      swap(p + E, p + E * ld, ld);
      swap(p + E * ld + E, p + E * ld + E, ld);
    });
    // 130 is three super tiles a side: six pieces, done in two calls, or by
    // a team of three called one after the other.
    square("64x64n", 130, 131, [&](T* p, size_t n, size_t ld) { pieces(n, p, ld, 0, 2), pieces(n, p, ld, 2, 4); });
    square("sqtrans_team", 130, 130, [&](T* p, size_t n, size_t ld) {
      for (int t = 0; t < 3; ++t) steam(t, 3, n, p, ld);
    });
    // The recursive forms and the register tile kernel, out of place.
    const T al = make<T>(0.5, -2);
    const auto a = random_values<T>(29 * 50, 3);
    const auto rec = trans_kernel<T, rec_fn>(tag, "omatcopy2_rec_t");
    const auto rec1 = trans_kernel<T, rec1_fn>(tag, "omatcopy2_rec_t_1");
    const auto blk = trans_kernel<T, blk_fn>(tag, "omatcopy_blk_t_one_transpose_kernel_by_src_rows");
    ASSERT_TRUE(rec && rec1 && blk);
    auto out = [&](const char* what, char t, T alpha, size_t sa, size_t sb, auto run) {
      std::vector<T> b(23 * 90, guard<T>()), want(b);
      model_copy<T>('R', t, 29, 23, alpha, a.data(), 50, sa, want.data(), 90, sb);
      run(b.data());
      EXPECT_TRUE(same_all(b, want)) << what;
    };
    out("rec_t", 'T', al, 2, 2, [&](T* b) { rec(29, 23, al, a.data(), 50, 2, b, 90, 2); });
    out("rec_t_1", 'T', make<T>(1), 2, 1, [&](T* b) { rec1(29, 23, a.data(), 50, 2, b, 90, 1); });
    out("blk_t", 'T', make<T>(1), 1, 1, [&](T* b) { blk(29, 23, a.data(), 50, b, 90); });
    if constexpr (kind<T>::complex) {
      const auto recc = trans_kernel<T, rec_fn>(tag, "omatcopy2_rec_c");
      ASSERT_TRUE(recc);
      out("rec_c", 'C', al, 1, 3, [&](T* b) { recc(29, 23, al, a.data(), 50, 1, b, 90, 3); });
    }
  }
}

TYPED_TEST(TransInPlace, Batches) {
  using T = TypeParam;
  const char trans[2] = {'T', 'N'};
  const size_t rows[2] = {4, 6}, cols[2] = {6, 2}, lda[2] = {6, 3}, ldb[2] = {4, 2}, sizes[2] = {1, 2};
  const T alpha[2] = {make<T>(1), make<T>(3, 1)};
  std::vector<std::vector<T>> ms, want;
  std::vector<T*> ptrs;
  for (size_t g = 0, m = 0; g < 2; ++g)
    for (size_t i = 0; i < sizes[g]; ++i, ++m) {
      ms.push_back(random_values<T>(24, unsigned(m + 30)));
      want.emplace_back(ms.back());
      std::vector<T> src(ms.back());
      model_copy<T>('R', trans[g], rows[g], cols[g], alpha[g], src.data(), lda[g], 1, want.back().data(), ldb[g], 1);
    }
  for (auto& m : ms) ptrs.push_back(m.data());
  auto strided = random_values<T>(3 * 30, 40);
  std::vector<T> sw(strided);
  for (size_t m = 0; m < 3; ++m) {
    std::vector<T> src(strided.begin() + m * 30, strided.begin() + m * 30 + 30);
    model_copy<T>('C', 'T', 5, 4, alpha[1], src.data(), 5, 1, sw.data() + m * 30, 4, 1);
  }
#define ORB_BATCH_CALL(x, TT)                                                                         \
  if constexpr (std::is_same_v<T, TT>) {                                                              \
    orb_##x##imatcopy_batch('R', trans, rows, cols, alpha, ptrs.data(), lda, ldb, 2, sizes);          \
    orb_##x##imatcopy_batch_strided('C', 'T', 5, 4, alpha[1], strided.data(), 5, 4, 30, 3);           \
  }
  ORB_BATCH_CALL(s, float)
  ORB_BATCH_CALL(d, double)
  ORB_BATCH_CALL(c, orb_complex8)
  ORB_BATCH_CALL(z, orb_complex16)
#undef ORB_BATCH_CALL
  // Only the result positions are compared (the rest of the source is stale).
  for (size_t g = 0, m = 0; g < 2; ++g)
    for (size_t i = 0; i < sizes[g]; ++i, ++m) {
      const size_t lines = tr(trans[g]) ? cols[g] : rows[g], len = tr(trans[g]) ? rows[g] : cols[g];
      for (size_t r = 0; r < lines; ++r)
        for (size_t c = 0; c < len; ++c) EXPECT_TRUE(same(ms[m][r * ldb[g] + c], want[m][r * ldb[g] + c]));
    }
  for (size_t m = 0; m < 3; ++m)
    for (size_t r = 0; r < 5; ++r)
      for (size_t c = 0; c < 4; ++c) EXPECT_TRUE(same(strided[m * 30 + r * 4 + c], sw[m * 30 + r * 4 + c]));
}

}  // namespace
