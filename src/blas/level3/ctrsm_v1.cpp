// The older complex single-precision solve, xctrsm_v1, kept beside xctrsm
// (which the core calls): a blocked solve on a packed triangle of its own,
// with tiles of 4 rows of the triangle by 8 columns of B on the left, and 2
// columns of the triangle by 8 or 16 rows of B on the right.
//
// The entry applies alpha (exactly zero clears B through cgemm_mscale),
// picks the order of the diagonal blocks from the problem's size and calls
// ctrsm_left or ctrsm_right. Those pack each diagonal block of op(A) with
// ctrsm_copya_a4 (left: strips of 4 rows) or ctrsm_copya_a2 (right: groups
// of 2 columns), the copy holding -op(A) with the reciprocal of the
// diagonal (1 for a unit one) and zeros outside the triangle, solve the
// block in place on B with ctrsm_left_ker or ctrsm_right_ker and their
// tiles, and take the solved rows (columns) off the rest of B with the
// engine's GEMM. The block's scratch comes from the service; without it,
// or with a diagonal element whose reciprocal would overflow or be
// subnormal, the call goes to ctrsm_nobuf.
//
// The tiles work element by element, each product rounded on its own, in
// an order fixed by the block order alone.
#include <cmath>
#include <limits>

#include "blas/engine/engine.hpp"
#include "blas/engine/paths.hpp"
#include "blas/level3/trxm.hpp"
#include "blas/level3/trxm_direct.hpp"

namespace orb::level3 {
namespace {

using C8 = orb_complex8;
using direct::letters;
using std::ptrdiff_t;

inline C8 neg(const C8& v) { return C8{-v.re, -v.im}; }

// The order of the diagonal blocks, from the triangle's order k and B's
// other dimension: a narrow B takes short blocks (the GEMM between them has
// little to do), a wide one longer blocks as the triangle grows.
int block_order(int k, int other) {
  if (k < 256) return k;
  if (other < 200) return 64;
  if (k < 512) return 128;
  if (k < 2048) return 192;
  if (k < 4096) return 256;
  return 384;
}

// op(A)(i, j) of the stored triangle.
inline C8 op_elem(const letters& l, const C8* a, ptrdiff_t lda, int i, int j) {
  const C8 v = l.trans ? a[j + i * lda] : a[i + j * lda];
  return l.conj ? direct::conj(v) : v;
}

// Whether op(A) is lower triangular.
inline bool op_lower(const letters& l) { return l.upper == l.trans; }

// The diagonal block of order k at a: panels of W rows (side L) or W
// columns (side R) holding all k steps, the last panel narrower when k is
// not a multiple of W; element (panel row or column r, step p) of the panel
// at s0 at s0 * k + p * w + r.
template <int W>
void pack_block(const letters& l, int k, const C8* a, ptrdiff_t lda, C8* dst) {
  const bool lower = op_lower(l);
  const C8 zero{0, 0}, one{1, 0};
  for (int s0 = 0; s0 < k; s0 += W) {
    const int w = k - s0 < W ? k - s0 : W;
    C8* p = dst + ptrdiff_t(s0) * k;
    for (int q = 0; q < k; ++q)
      for (int r = 0; r < w; ++r) {
        // Left: row s0 + r, column q; right: row q, column s0 + r.
        const int i = l.right ? q : s0 + r, j = l.right ? s0 + r : q;
        const bool in = lower ? j <= i : j >= i;
        C8 v = zero;
        if (in && i == j) v = l.unit ? one : direct::div(one, op_elem(l, a, lda, i, i));
        else if (in) v = neg(op_elem(l, a, lda, i, j));
        p[ptrdiff_t(q) * w + r] = v;
      }
  }
}

// One strip of w <= 4 rows (first row s0 of a block of order k) against
// up to 8 columns of B, in place: the rows already solved are read from B.
template <bool Lower>
void left_tile(int k, int w, int s0, const C8* strip, C8* b, ptrdiff_t ldb, int cols) {
  const int p0 = Lower ? 0 : s0 + w, p1 = Lower ? s0 : k;
  for (int j = 0; j < cols; ++j) {
    C8* bj = b + j * ldb;
    C8 acc[4];
    for (int r = 0; r < w; ++r) acc[r] = bj[s0 + r];
    for (int p = p0; p < p1; ++p) {
      const C8 x = bj[p];
      for (int r = 0; r < w; ++r) acc[r] = direct::add(acc[r], direct::mul(strip[ptrdiff_t(p) * w + r], x));
    }
    for (int step = 0; step < w; ++step) {
      const int q = Lower ? step : w - 1 - step;
      const C8 x = direct::mul(acc[q], strip[ptrdiff_t(s0 + q) * w + q]);
      acc[q] = x;
      const int r0 = Lower ? q + 1 : 0, r1 = Lower ? w : q;
      for (int r = r0; r < r1; ++r) acc[r] = direct::add(acc[r], direct::mul(strip[ptrdiff_t(s0 + q) * w + r], x));
    }
    for (int r = 0; r < w; ++r) bj[s0 + r] = acc[r];
  }
}

// One group of w <= 2 columns (first column g0 of a block of order k)
// against up to R rows of B, in place: the columns already solved are read
// from B.
template <bool Upper, int R>
void right_tile(int k, int w, int g0, const C8* group, C8* b, ptrdiff_t ldb, int rows) {
  const int p0 = Upper ? 0 : g0 + w, p1 = Upper ? g0 : k;
  for (int i = 0; i < rows; ++i) {
    C8 acc[2];
    for (int c = 0; c < w; ++c) acc[c] = b[i + (g0 + c) * ldb];
    for (int p = p0; p < p1; ++p) {
      const C8 x = b[i + p * ldb];
      for (int c = 0; c < w; ++c) acc[c] = direct::add(acc[c], direct::mul(x, group[ptrdiff_t(p) * w + c]));
    }
    for (int step = 0; step < w; ++step) {
      const int q = Upper ? step : w - 1 - step;
      const C8 x = direct::mul(acc[q], group[ptrdiff_t(g0 + q) * w + q]);
      acc[q] = x;
      const int c0 = Upper ? q + 1 : 0, c1 = Upper ? w : q;
      for (int c = c0; c < c1; ++c) acc[c] = direct::add(acc[c], direct::mul(x, group[ptrdiff_t(g0 + q) * w + c]));
    }
    for (int c = 0; c < w; ++c) b[i + (g0 + c) * ldb] = acc[c];
  }
}

}  // namespace
}  // namespace orb::level3

using namespace orb::level3;
using C8 = orb_complex8;

// The tiles: (order k, panel width w, first row or column s0, the panel,
// b, ldb, columns or rows of B up to the tile's).
#define ORB_V1_TILE(name, body)                                                                              \
  ORB_API void ORB_BLAS(name)(const int* k, const int* w, const int* s0, const C8* panel, C8* b, const int* ldb, \
                              const int* count) {                                                            \
    body(*k, *w, *s0, panel, b, *ldb, *count);                                                               \
  }
ORB_V1_TILE(ctrsm_ker_lln_a4_b8, left_tile<true>)
ORB_V1_TILE(ctrsm_ker_lun_a4_b8, left_tile<false>)
ORB_V1_TILE(ctrsm_ker_rln_a2_b8, (right_tile<false, 8>))
ORB_V1_TILE(ctrsm_ker_run_a2_b8, (right_tile<true, 8>))
ORB_V1_TILE(ctrsm_ker_rln_a2_b16, (right_tile<false, 16>))
ORB_V1_TILE(ctrsm_ker_run_a2_b16, (right_tile<true, 16>))
#undef ORB_V1_TILE

// The copiers: the diagonal block of order k of op(A) at a (letters as the
// public routine's) into dst.
ORB_API void ORB_BLAS(ctrsm_copya_a4)(const char* side, const char* uplo, const char* transa, const char* diag,
                                      const int* k, const C8* a, const int* lda, C8* dst) {
  pack_block<4>(orb::level3::direct::read_letters(side, uplo, transa, diag, true), *k, a, *lda, dst);
}
ORB_API void ORB_BLAS(ctrsm_copya_a2)(const char* side, const char* uplo, const char* transa, const char* diag,
                                      const int* k, const C8* a, const int* lda, C8* dst) {
  pack_block<2>(orb::level3::direct::read_letters(side, uplo, transa, diag, true), *k, a, *lda, dst);
}

// The solve of one packed diagonal block of order k in place on B: left,
// m = k rows by n columns, in tiles of 8 columns; right, m rows by n = k
// columns, in tiles of 16 rows, then 8, then the rest. lower: op(A) lower.
ORB_API void ORB_BLAS(ctrsm_left_ker)(const int* lower, const int* k, const int* n, const C8* packed, C8* b,
                                      const int* ldb) {
  const int K = *k;
  for (int j0 = 0; j0 < *n; j0 += 8) {
    const int cols = *n - j0 < 8 ? *n - j0 : 8;
    const int strips = (K + 3) / 4;
    for (int t = 0; t < strips; ++t) {
      const int s0 = (*lower ? t : strips - 1 - t) * 4;
      const int w = K - s0 < 4 ? K - s0 : 4;
      (*lower ? ORB_BLAS(ctrsm_ker_lln_a4_b8) : ORB_BLAS(ctrsm_ker_lun_a4_b8))(
          k, &w, &s0, packed + std::ptrdiff_t(s0) * K, b + std::ptrdiff_t(j0) * *ldb, ldb, &cols);
    }
  }
}
ORB_API void ORB_BLAS(ctrsm_right_ker)(const int* lower, const int* m, const int* k, const C8* packed, C8* b,
                                       const int* ldb) {
  const int K = *k;
  for (int i0 = 0; i0 < *m;) {
    const int left = *m - i0;
    const bool wide = left >= 16;
    const int rows = wide ? 16 : left < 8 ? left : 8;
    const int groups = (K + 1) / 2;
    for (int t = 0; t < groups; ++t) {
      const int g0 = (*lower ? groups - 1 - t : t) * 2;
      const int w = K - g0 < 2 ? K - g0 : 2;
      auto tile = *lower ? (wide ? ORB_BLAS(ctrsm_ker_rln_a2_b16) : ORB_BLAS(ctrsm_ker_rln_a2_b8))
                         : (wide ? ORB_BLAS(ctrsm_ker_run_a2_b16) : ORB_BLAS(ctrsm_ker_run_a2_b8));
      tile(k, &w, &g0, packed + std::ptrdiff_t(g0) * K, b + i0, ldb, &rows);
    }
    i0 += rows;
  }
}

namespace orb::level3 {
namespace {

// The blocked walk of either side, alpha already applied. Returns false
// when the scratch could not be had (nothing has been written then).
bool blocked_v1(const char* side, const char* uplo, const char* transa, const char* diag, int m, int n,
                const C8* a, int lda, C8* b, int ldb) {
  const letters l = direct::read_letters(side, uplo, transa, diag, true);
  const int K = l.right ? n : m;
  const int kb = block_order(K, l.right ? m : n);
  void* block = orb_serv_allocate(std::size_t(kb) * kb * sizeof(C8), 64);
  if (orb_serv_check_ptr_and_warn(block, "CTRSM")) return false;
  C8* packed = static_cast<C8*>(block);
  const bool lower = op_lower(l);
  const int low = lower ? 1 : 0;
  // Left lower and right upper solve from the first block on.
  const bool forward = l.right ? !lower : lower;
  const C8 one{1, 0}, minus_one{-1, 0};
  const char no[] = "N";
  const int blocks = (K + kb - 1) / kb;
  auto at = [&](int i, int j) { return l.trans ? a + j + std::ptrdiff_t(i) * lda : a + i + std::ptrdiff_t(j) * lda; };
  for (int s = 0; s < blocks; ++s) {
    const int i0 = (forward ? s : blocks - 1 - s) * kb;
    const int ib = K - i0 < kb ? K - i0 : kb;
    const int o0 = forward ? i0 + ib : 0, on = forward ? K - i0 - ib : i0;
    if (!l.right) {
      ORB_BLAS(ctrsm_copya_a4)(side, uplo, transa, diag, &ib, at(i0, i0), &lda, packed);
      ORB_BLAS(ctrsm_left_ker)(&low, &ib, &n, packed, b + i0, &ldb);
      if (on > 0)
        ORB_BLAS(xcgemm)(transa, no, &on, &n, &ib, &minus_one, at(o0, i0), &lda, b + i0, &ldb, &one, b + o0, &ldb);
    } else {
      ORB_BLAS(ctrsm_copya_a2)(side, uplo, transa, diag, &ib, at(i0, i0), &lda, packed);
      ORB_BLAS(ctrsm_right_ker)(&low, &m, &ib, packed, b + std::ptrdiff_t(i0) * ldb, &ldb);
      if (on > 0)
        ORB_BLAS(xcgemm)(no, transa, &m, &on, &ib, &minus_one, b + std::ptrdiff_t(i0) * ldb, &ldb, at(i0, o0), &lda,
                         &one, b + std::ptrdiff_t(o0) * ldb, &ldb);
    }
  }
  orb_serv_deallocate(block);
  return true;
}

// A diagonal element whose reciprocal would overflow (both parts
// subnormal, not both zero) or be subnormal (a part of 2^126 or more).
bool awkward_diagonal(int k, const C8* a, int lda) {
  const float small = std::numeric_limits<float>::min(), big = 0.5f / small;
  for (int i = 0; i < k; ++i) {
    const C8 e = a[i + std::ptrdiff_t(i) * lda];
    if (std::fabs(e.re) < small && std::fabs(e.im) < small && (e.re != 0 || e.im != 0)) return true;
    if (std::fabs(e.re) >= big || std::fabs(e.im) >= big) return true;
  }
  return false;
}

}  // namespace
}  // namespace orb::level3

// The two sides' walks, alpha already applied: the arguments are the
// public routine's.
#define ORB_V1_SIDE(name)                                                                                      \
  ORB_API void ORB_BLAS(name)(const char* side, const char* uplo, const char* transa, const char* diag,        \
                              const int* m, const int* n, const C8* a, const int* lda, C8* b, const int* ldb) { \
    const C8 one{1, 0};                                                                                        \
    if (!blocked_v1(side, uplo, transa, diag, *m, *n, a, *lda, b, *ldb))                                       \
      ORB_BLAS(ctrsm_nobuf)(side, uplo, transa, diag, m, n, &one, a, lda, b, ldb);                             \
  }
ORB_V1_SIDE(ctrsm_left)
ORB_V1_SIDE(ctrsm_right)
#undef ORB_V1_SIDE

ORB_API void ORB_BLAS(xctrsm_v1)(ORB_TRX_ARGS(orb_complex8)) {
  const int M = *m, N = *n;
  if (M < 1 || N < 1) return;
  if (!orb::engine::is_one(*alpha)) ORB_BLAS(cgemm_mscale)(m, n, alpha, b, ldb);
  if (orb::engine::is_zero(*alpha)) return;
  const bool right = (*side & ~32) == 'R';
  const bool unit = (*diag & ~32) == 'U';
  const C8 one{1, 0};
  if (!unit && awkward_diagonal(right ? N : M, a, *lda)) {
    ORB_BLAS(ctrsm_nobuf)(side, uplo, transa, diag, m, n, &one, a, lda, b, ldb);
    return;
  }
  (right ? ORB_BLAS(ctrsm_right) : ORB_BLAS(ctrsm_left))(side, uplo, transa, diag, m, n, a, lda, b, ldb);
}
