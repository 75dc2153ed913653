// TRSM and TRMM on the engine's packed panels: the triangle copiers, the
// diagonal preparations, the triangular register kernels and the four
// drivers of each routine.
//
// A driver walks the triangular dimension in K blocks (the engine's K block
// for the call's triangle, rounded to whole panels). For each block the
// diagonal triangle is packed once, in the layout of the operand it plays:
// side "L" as strips of unroll_m rows (the A panel), side "R" as groups of
// unroll_n columns (the B panel). Each strip or group holds the whole K of
// the block, with zeros outside the triangle. For the solve the copy holds
// -A and the diagonal then holds the reciprocal of A's diagonal (tri_scale),
// so the triangular kernels only add and multiply; for the product it holds
// A, with 1 written on a unit diagonal. A solve whose diagonal has an
// element with no usable reciprocal (subnormal, or so large that the
// reciprocal would be) goes to ?trsm_nobuf, which divides.
//
// The triangular kernel takes one strip against one column group at a time:
// the part of the strip left of (or, for an upper triangle, right of) its
// own diagonal square is a plain register-kernel call over the rows already
// solved (or the original rows, for the product), and the square itself is
// finished in registers. The solve writes each solved row both to B and back
// into the B panel, so the rest of the block and the update of the rows the
// block reaches beyond its diagonal (one register-kernel pass with K the
// block's order) read it from there.
//
// Every element's operations depend on the triangular dimension alone:
// with side "L" the columns of B are independent, with side "R" its rows,
// so a call cut into column blocks (left) or row blocks (right) gives the
// bits of the whole call, in every build.
#include <array>
#include <cmath>
#include <limits>
#include <type_traits>

#include "blas/engine/engine.hpp"
#include "blas/engine/kernel.hpp"
#include "blas/engine/paths.hpp"
#include "blas/level3/level3.hpp"
#include "blas/level3/trxm.hpp"
#include "blas/level3/trxm_direct.hpp"

namespace orb::level3 {
namespace {

using engine::blas_matrix;
using engine::blas_op_params;
using engine::gemm_buffers;
using engine::gemm_kernel_info;
using std::ptrdiff_t;

template <class T> using real_t = typename direct::real_of<T>::type;
template <class T> constexpr int comps_of = engine::gemm_traits<T>::comps;

template <class T> struct kernels_of;
#define ORB_TRX_KERNELS(T, t)                                                      \
  template <> struct kernels_of<T> {                                               \
    static constexpr auto nobuf = ORB_BLAS(t##trsm_nobuf);                         \
  };
ORB_TRX_KERNELS(float, s)
ORB_TRX_KERNELS(double, d)
ORB_TRX_KERNELS(orb_complex8, c)
ORB_TRX_KERNELS(orb_complex16, z)
#undef ORB_TRX_KERNELS

// The panels of a packed short side of length L: panels of width W, then
// one of each power of two below W that the rest needs, widest first (the
// layout of the engine's copiers and register kernels). f(start, width) in
// that order, or in the reverse order.
template <class F>
inline void each_panel(int L, int W, bool backward, F f) {
  const int full = L / W;
  int tail_start[5], tail_width[5], tails = 0;
  int pos = full * W;
  for (int w = 16; w >= 1; w >>= 1)
    if (w < W && ((L - full * W) & w)) {
      tail_start[tails] = pos;
      tail_width[tails++] = w;
      pos += w;
    }
  if (!backward) {
    for (int i = 0; i < full; ++i) f(i * W, W);
    for (int t = 0; t < tails; ++t) f(tail_start[t], tail_width[t]);
  } else {
    for (int t = tails - 1; t >= 0; --t) f(tail_start[t], tail_width[t]);
    for (int i = full - 1; i >= 0; --i) f(i * W, W);
  }
}

// The row of the tile each lane holds (0, 1, 2, ... for the real types; 0,
// 0, 1, 1, ... for the complex ones), in read-only memory: built on the
// stack at every square, the vector waited for its own stores.
template <class R, int C>
struct lane_rows {
  static constexpr std::array<R, simd::vec<R>::N> make() {
    std::array<R, simd::vec<R>::N> a{};
    for (int i = 0; i < simd::vec<R>::N; ++i) a[i] = R(i / C);
    return a;
  }
  alignas(64) static constexpr std::array<R, simd::vec<R>::N> lanes = make();
};

// ---- Scalar steps of the left-side squares (C reals an element) -----------------
template <class R, int C>
inline void mul_by(R* out, const R* v, const R* d) {
  if constexpr (C == 1) {
    out[0] = v[0] * d[0];
  } else {
    const R re = engine::opaque(v[0] * d[0]) - v[1] * d[1];
    const R im = engine::opaque(v[0] * d[1]) + v[1] * d[0];
    out[0] = re;
    out[1] = im;
  }
}

// acc += a x for a vector a of coefficients and one scalar x: for the
// complex types a x is a xr + (-ai, ar) xi, the pair swap and the sign
// exact, each lane one fused step per part.
template <class R, int C>
__attribute__((always_inline)) inline void add_scaled(simd::vec<R>& acc, const simd::vec<R>& a, const R* x,
                                                     const simd::vec<R>& sign) {
  using V = simd::vec<R>;
  acc = fma(a, V::set1(x[0]), acc);
  if constexpr (C == 2) acc = fma(swap_pairs(a) * sign, V::set1(x[1]), acc);
}

// The part of a tile left of (or right of) its diagonal square: len K
// steps of a panel of w rows (a, w lanes a step) against a group of GW
// columns (b, GW values a step), formed as the register kernels form a
// tile: each element one fused chain in K order from zero (the complex
// types: one chain fed by the real parts of b, one by the imaginary parts,
// joined at the end), in registers, so the square goes on from there.
template <class R, int C, int GW, bool Full>
__attribute__((always_inline)) inline void rect_sum(int len, int live, const R* __restrict a,
                                                    const R* __restrict b, simd::vec<R>* out,
                                                    const simd::vec<R>& sign) {
  using V = simd::vec<R>;
  constexpr int NA = GW * C;
  V acc[NA];
#pragma GCC unroll 12
  for (int j = 0; j < NA; ++j) acc[j] = V::zero();
  for (int p = 0; p < len; ++p) {
    const V av = Full ? V::loadu(a + ptrdiff_t(p) * V::N) : V::load_mask(a + ptrdiff_t(p) * live, live);
    const R* bp = b + ptrdiff_t(p) * NA;
#pragma GCC unroll 12
    for (int j = 0; j < NA; ++j) acc[j] = fma(av, V::set1(bp[j]), acc[j]);
  }
#pragma GCC unroll 6
  for (int j = 0; j < GW; ++j) {
    if constexpr (C == 1) out[j] = acc[j];
    else out[j] = acc[2 * j] + swap_pairs(acc[2 * j + 1]) * sign;
  }
}

// The tile of B plus its rectangle (the solve), or the rectangle alone (the
// product), as the square starts from.
template <class R, int C, int GW, bool Solve>
__attribute__((always_inline)) inline void tile_start(int w, int len, const R* a, const R* b, const R* c,
                                                      ptrdiff_t ldc, simd::vec<R>* v, const simd::vec<R>& sign) {
  using V = simd::vec<R>;
  const int live = w * C;
  if (len > 0) {
    if (live == V::N) rect_sum<R, C, GW, true>(len, live, a, b, v, sign);
    else rect_sum<R, C, GW, false>(len, live, a, b, v, sign);
  } else {
#pragma GCC unroll 6
    for (int j = 0; j < GW; ++j) v[j] = V::zero();
  }
  if constexpr (Solve)
#pragma GCC unroll 6
    for (int j = 0; j < GW; ++j) {
      const V cj = V::load_mask(c + ptrdiff_t(j) * ldc * C, live);
      v[j] = len > 0 ? cj + v[j] : cj;
    }
}

// The diagonal square of one strip (w rows starting at row s0 of the block)
// against one column group (gw columns): as is the strip's packed A, bg the
// group's B panel, c the tile of B, v the tile as tile_start left it. Each
// column of the tile is one vector (rows in lanes); the square's column q
// is one vector of the packed strip. The solve goes on from the tile with
// its rectangle taken off: row q of each
// column is read from the vector as it stands, multiplied by the reciprocal
// and stored to c and bg, then its terms go to every lane (the lanes of
// rows already solved take the zeros or terms of no use and are never read
// again). The product adds the square's terms (reading bg, the block's rows
// as they were) to the tile, or to zero when nothing came before; there
// only the lanes of the triangle take them, so that a NaN or infinity in a
// row of B reaches no row the triangle does not join it to.
template <class R, int C, int GW, bool Solve, bool Lower>
__attribute__((always_inline)) inline void left_square(int w, const R* as, int s0, R* bg, R* c, ptrdiff_t ldc,
                                                       simd::vec<R>* v) {
  using V = simd::vec<R>;
  constexpr int N = V::N;
  const int live = w * C;
  V sign = V::zero();
  if constexpr (C == 2) sign = direct::complex_factor<R>::signs();
  auto coef = [&](int q) { return V::load_mask(as + ptrdiff_t(s0 + q) * w * C, live); };
  auto row = [&](int q, int j) { return bg + (ptrdiff_t(s0 + q) * GW + j) * C; };
  if constexpr (Solve && C == 1) {
    // Real: row q of each column is taken from the register itself, every
    // lane at once, so the chain of a step is a permute, a multiply and a
    // fused update, with no round trip through memory.
    for (int step = 0; step < w; ++step) {
      const int q = Lower ? step : w - 1 - step;
      const V a = coef(q);
      const V d = V::set1(as[ptrdiff_t(s0 + q) * w + q]);
#pragma GCC unroll 6
      for (int j = 0; j < GW; ++j) {
        const V x = v[j].broadcast_lane(q) * d;
        const R xq = x.first();
        c[ptrdiff_t(j) * ldc + q] = xq;
        *row(q, j) = xq;
        v[j] = fma(a, x, v[j]);
      }
    }
  } else if constexpr (Solve) {
    alignas(64) R t[6][N];
    for (int j = 0; j < GW; ++j) v[j].store(t[j]);
    for (int step = 0; step < w; ++step) {
      const int q = Lower ? step : w - 1 - step;
      const V a = coef(q);
      const R* d = as + (ptrdiff_t(s0 + q) * w + q) * C;
      for (int j = 0; j < GW; ++j) {
        R x[C];
        mul_by<R, C>(x, t[j] + q * C, d);
        R* cj = c + (ptrdiff_t(j) * ldc + q) * C;
        R* bj = row(q, j);
        for (int e = 0; e < C; ++e) cj[e] = bj[e] = x[e];
        V v = V::load(t[j]);
        add_scaled<R, C>(v, a, x, sign);
        v.store(t[j]);
      }
    }
  } else {
    const V lane_row = V::loadu(lane_rows<R, C>::lanes.data());
    for (int q = 0; q < w; ++q) {
      const V a = coef(q);
      // Lower: rows q and below; upper: rows q and above.
      const V edge = V::set1(Lower ? R(q) - R(0.5) : R(q) + R(0.5));
      // Unrolled, so that the tile stays in registers.
#pragma GCC unroll 6
      for (int j = 0; j < GW; ++j) {
        V nv = v[j];
        add_scaled<R, C>(nv, a, row(q, j), sign);
#pragma GCC unroll 4
        for (int k = 0; k < V::K; ++k)
          v[j].r[k] = Lower ? V::Reg::blend_gt(lane_row.r[k], edge.r[k], nv.r[k], v[j].r[k])
                            : V::Reg::blend_gt(edge.r[k], lane_row.r[k], nv.r[k], v[j].r[k]);
      }
    }
    for (int j = 0; j < GW; ++j) v[j].store_mask(c + ptrdiff_t(j) * ldc * C, live);
  }
}

// The diagonal square of one column group (gw columns starting at column
// g0 of the block) against one row strip (w rows): tg is the group's packed
// triangle, xs the strip's panel of B (solved columns, or the original ones
// for the product), c the tile of B, v the tile as tile_start left it.
// Columns are whole vectors here.
template <class R, int C, int GW, bool Solve, bool Upper>
__attribute__((always_inline)) inline void right_square(int w, const R* tg, int g0, R* xs, R* c, ptrdiff_t ldc,
                                                        simd::vec<R>* v) {
  using V = simd::vec<R>;
  const int live = w * C;
  V sign = V::zero();
  if constexpr (C == 2) sign = direct::complex_factor<R>::signs();
  auto t = [&](int p, int j) { return tg + (ptrdiff_t(p) * GW + j) * C; };
  auto add_times = [&](V& acc, const V& x, const R* f) {
    acc = fma(x, V::set1(f[0]), acc);
    if constexpr (C == 2) acc = fma(swap_pairs(x) * sign, V::set1(f[1]), acc);
  };
  // Every loop unrolled (GW is a constant), so that the tile stays in
  // registers and each k below is a constant.
  if constexpr (Solve) {
#pragma GCC unroll 6
    for (int step = 0; step < GW; ++step) {
      const int j = Upper ? step : GW - 1 - step;
      const R* d = t(g0 + j, j);
      V x = v[j] * V::set1(d[0]);
      if constexpr (C == 2) x = x + (swap_pairs(v[j]) * sign) * V::set1(d[1]);
      x.store_mask(c + ptrdiff_t(j) * ldc * C, live);
      x.store_mask(xs + ptrdiff_t(g0 + j) * w * C, live);
      const int j0 = Upper ? j + 1 : 0, j1 = Upper ? GW : j;
#pragma GCC unroll 6
      for (int k = j0; k < j1; ++k) add_times(v[k], x, t(g0 + j, k));
    }
  } else {
#pragma GCC unroll 6
    for (int j = 0; j < GW; ++j) {
      const V x = V::load_mask(xs + ptrdiff_t(g0 + j) * w * C, live);
      const int j0 = Upper ? j : 0, j1 = Upper ? GW : j + 1;
#pragma GCC unroll 6
      for (int k = j0; k < j1; ++k) add_times(v[k], x, t(g0 + j, k));
    }
    for (int j = 0; j < GW; ++j) v[j].store_mask(c + ptrdiff_t(j) * ldc * C, live);
  }
}

// One tile: its rectangle, then its square, the group width a constant so
// that the tile stays in registers.
template <class R, int C, int GW, bool Solve, bool Lower>
void left_tile(int w, int len, int k0, const R* as, int s0, R* bg, R* cg, ptrdiff_t ldc,
               const simd::vec<R>& sign) {
  simd::vec<R> v[GW];
  tile_start<R, C, GW, Solve>(w, len, as + ptrdiff_t(k0) * w * C, bg + ptrdiff_t(k0) * GW * C, cg, ldc, v, sign);
  left_square<R, C, GW, Solve, Lower>(w, as, s0, bg, cg, ldc, v);
}
template <class R, int C, int GW, bool Solve, bool Upper>
void right_tile(int w, int len, int k0, const R* tg, int g0, R* xs, R* cg, ptrdiff_t ldc,
                const simd::vec<R>& sign) {
  simd::vec<R> v[GW];
  tile_start<R, C, GW, Solve>(w, len, xs + ptrdiff_t(k0) * w * C, tg + ptrdiff_t(k0) * GW * C, cg, ldc, v, sign);
  right_square<R, C, GW, Solve, Upper>(w, tg, g0, xs, cg, ldc, v);
}

// Where the build's register file holds a wide tile (engine::kTileStrips
// strips of the engine), the rectangles run that many tiles at once: on the
// left, one strip against that many column groups (the groups share the
// strip's K range); on the right, that many strips against one column group,
// which is the engine's own wide tile. One strip against one group keeps
// six accumulators, too few to cover the latency of two FMA units. Every
// element is the same chain as in the one-tile form, so no bit moves.
constexpr int kWide = engine::kTileStrips;

// Left: the rectangles of one full strip (UM rows, len K steps from a)
// against kWide full column groups (b, groups gstride apart), into the tiles
// of B at c: stored for the product, added for the solve, as the one-tile
// form starts. Apart from the squares, so that nothing else competes for
// the registers of the 24 accumulators.
template <class R, int C, int GW, bool Solve>
__attribute__((noinline)) void left_rects_wide(int len, const R* __restrict a, const R* __restrict b,
                                               ptrdiff_t gstride, R* c, ptrdiff_t ldc, const simd::vec<R>& sign) {
  using V = simd::vec<R>;
  constexpr int N = V::N, NA = GW * C;
  V acc[kWide][NA];
#pragma GCC unroll 4
  for (int g = 0; g < kWide; ++g)
#pragma GCC unroll 6
    for (int j = 0; j < NA; ++j) acc[g][j] = V::zero();
  static_assert(kWide == 4 || sizeof(R) == 0, "the wide rectangles are written for four groups");
  // One pointer a group, each stepped on its own, so that every broadcast
  // is a constant displacement from one of them.
  const R *b0 = b, *b1 = b + gstride, *b2 = b + 2 * gstride, *b3 = b + 3 * gstride;
  for (int p = 0; p < len; ++p) {
    const V av = V::loadu(a);
#pragma GCC unroll 6
    for (int j = 0; j < NA; ++j) {
      engine::kern::fma_wide(acc[0][j], av, V::set1(b0[j]));
      engine::kern::fma_wide(acc[1][j], av, V::set1(b1[j]));
      engine::kern::fma_wide(acc[2][j], av, V::set1(b2[j]));
      engine::kern::fma_wide(acc[3][j], av, V::set1(b3[j]));
    }
    engine::kern::pin_wide<kWide, NA>(acc);
    a += N;
    b0 += NA;
    b1 += NA;
    b2 += NA;
    b3 += NA;
  }
#pragma GCC unroll 4
  for (int g = 0; g < kWide; ++g)
#pragma GCC unroll 6
    for (int j = 0; j < GW; ++j) {
      V v;
      if constexpr (C == 1) v = acc[g][j];
      else v = acc[g][2 * j] + swap_pairs(acc[g][2 * j + 1]) * sign;
      R* cj = c + (ptrdiff_t(g) * GW + j) * ldc * C;
      (Solve ? V::loadu(cj) + v : v).storeu(cj);
    }
}

// Left, the product: kWide full strips from s0 (as, strips UM k C apart)
// against one full column group (bg), into the tiles of B at c (stored).
// Each strip's rectangle keeps its own K range, [0, its first row) for a
// lower triangle and [its last row + 1, k) for an upper one: the strips
// share the steps they have in common and the first (lower) or last
// (upper) strips drop out of the steps they do not take, so that every
// accumulator is the chain of the one-strip form. (The solve cannot do
// this: a strip's rectangle reads the rows the strip before it solves.)
template <class R, int C, int GW, bool Lower>
__attribute__((noinline)) void left_rects_strips(int k, int s0, const R* __restrict as, const R* __restrict bg,
                                                 R* c, ptrdiff_t ldc, const simd::vec<R>& sign) {
  using V = simd::vec<R>;
  constexpr int N = V::N, NA = GW * C, UM = N / C;
  const ptrdiff_t sstride = ptrdiff_t(UM) * k * C;
  V acc[kWide][NA];
#pragma GCC unroll 4
  for (int t = 0; t < kWide; ++t)
#pragma GCC unroll 6
    for (int j = 0; j < NA; ++j) acc[t][j] = V::zero();
  // K steps [from, to) of the strips lo to hi - 1.
  auto run = [&]<int LO, int HI>(int from, int to) __attribute__((always_inline)) {
    const R* a = as + ptrdiff_t(from) * N;
    const R* b = bg + ptrdiff_t(from) * NA;
    for (int p = from; p < to; ++p, a += N, b += NA) {
      V av[HI - LO];
#pragma GCC unroll 4
      for (int t = LO; t < HI; ++t) av[t - LO] = V::loadu(a + t * sstride);
#pragma GCC unroll 6
      for (int j = 0; j < NA; ++j) {
        const V bv = V::set1(b[j]);
#pragma GCC unroll 4
        for (int t = LO; t < HI; ++t) engine::kern::fma_wide(acc[t][j], av[t - LO], bv);
      }
      if constexpr (HI - LO == kWide) engine::kern::pin_wide<kWide, NA>(acc);
    }
  };
  if constexpr (Lower) {
    run.template operator()<0, 4>(0, s0);
    run.template operator()<1, 4>(s0, s0 + UM);
    run.template operator()<2, 4>(s0 + UM, s0 + 2 * UM);
    run.template operator()<3, 4>(s0 + 2 * UM, s0 + 3 * UM);
  } else {
    run.template operator()<0, 1>(s0 + UM, s0 + 2 * UM);
    run.template operator()<0, 2>(s0 + 2 * UM, s0 + 3 * UM);
    run.template operator()<0, 3>(s0 + 3 * UM, s0 + 4 * UM);
    run.template operator()<0, 4>(s0 + 4 * UM, k);
  }
#pragma GCC unroll 4
  for (int t = 0; t < kWide; ++t)
#pragma GCC unroll 6
    for (int j = 0; j < GW; ++j) {
      V v;
      if constexpr (C == 1) v = acc[t][j];
      else v = acc[t][2 * j] + swap_pairs(acc[t][2 * j + 1]) * sign;
      v.storeu(c + t * N + ptrdiff_t(j) * ldc * C);
    }
}

// The rectangles of kWide groups at once, then each group's square from
// its tile as they left it.
template <class R, int C, int GW, bool Solve, bool Lower>
void left_tiles_wide(int len, int k0, const R* as, int s0, R* bg, ptrdiff_t gstride, R* cg, ptrdiff_t ldc,
                     const simd::vec<R>& sign) {
  using V = simd::vec<R>;
  constexpr int N = V::N;
  left_rects_wide<R, C, GW, Solve>(len, as + ptrdiff_t(k0) * N, bg + ptrdiff_t(k0) * GW * C, gstride, cg, ldc, sign);
  for (int g = 0; g < kWide; ++g) {
    V v[GW];
    R* c = cg + ptrdiff_t(g) * GW * ldc * C;
    for (int j = 0; j < GW; ++j) v[j] = V::loadu(c + ptrdiff_t(j) * ldc * C);
    left_square<R, C, GW, Solve, Lower>(N / C, as, s0, bg + g * gstride, c, ldc, v);
  }
}

// Right: kWide full strips (xs, strips sstride apart) against one full
// column group: the rectangles by the engine's wide tile into the tile of B
// (stored for the product, added for the solve, as the one-tile form
// starts), then each strip's square from there.
template <class R, int C, int GW, bool Solve, bool Upper>
void right_tiles_wide(int len, int k0, const R* tg, int g0, R* xs, ptrdiff_t sstride, R* cg, ptrdiff_t ldc) {
  using V = simd::vec<R>;
  constexpr int N = V::N;
  if (len > 0)
    engine::kern::tile<R, C, kWide, GW, true>(len, N, xs + ptrdiff_t(k0) * N, sstride, tg + ptrdiff_t(k0) * GW * C,
                                              cg, ldc, !Solve, reinterpret_cast<const char*>(xs));
  for (int s = 0; s < kWide; ++s) {
    V v[GW];
    R* c = cg + s * N;
    for (int j = 0; j < GW; ++j) v[j] = len > 0 || Solve ? V::loadu(c + ptrdiff_t(j) * ldc * C) : V::zero();
    right_square<R, C, GW, Solve, Upper>(N / C, tg, g0, xs + s * sstride, c, ldc, v);
  }
}

// f with the group width as a constant: 6, 4, 2, 1 for the real types, 3,
// 2, 1 for the complex ones (the engine's column tiles and their tails).
template <int C, class F>
inline void by_width(int gw, F f) {
  if constexpr (C == 1) {
    switch (gw) {
      case 6: return f(std::integral_constant<int, 6>{});
      case 4: return f(std::integral_constant<int, 4>{});
      case 2: return f(std::integral_constant<int, 2>{});
      default: return f(std::integral_constant<int, 1>{});
    }
  } else {
    switch (gw) {
      case 3: return f(std::integral_constant<int, 3>{});
      case 2: return f(std::integral_constant<int, 2>{});
      default: return f(std::integral_constant<int, 1>{});
    }
  }
}

// ---- Triangular kernels: (m, n, k, factor, a, b, c, ldc) as the register kernels --
// Left: a is the packed triangle (m strips, K = k = m), b the B panel of n
// columns, c the m x n block of B.
template <class T, bool Solve, bool Lower>
void left_kernel(int m, int n, int k, const T* a, T* b, T* c, int ldc) {
  using R = real_t<T>;
  constexpr int C = comps_of<T>;
  constexpr int UM = engine::gemm_traits<T>::unroll_m, UN = engine::gemm_traits<T>::unroll_n;
  if (m < 1 || n < 1) return;
  const R* A = reinterpret_cast<const R*>(a);
  R* B = reinterpret_cast<R*>(b);
  R* Cm = reinterpret_cast<R*>(c);
  simd::vec<R> sign = simd::vec<R>::zero();
  if constexpr (C == 2) sign = direct::complex_factor<R>::signs();
  if constexpr (!Solve && kWide > 1) {
    // The product: wide tiles of kWide whole strips against each whole
    // group, then the groups left strip by strip, then the strips left.
    constexpr int H = kWide * UM;
    const int wide_rows = m / H * H, groups = n / UN;
    for (int s0 = 0; s0 < wide_rows; s0 += H) {
      for (int g = 0; g < groups; ++g) {
        R* bg = B + ptrdiff_t(g) * UN * k * C;
        R* cg = Cm + (s0 + ptrdiff_t(g) * UN * ldc) * C;
        left_rects_strips<R, C, UN, Lower>(k, s0, A + ptrdiff_t(s0) * k * C, bg, cg, ldc, sign);
        for (int t = 0; t < kWide; ++t) {
          simd::vec<R> v[UN];
          R* ct = cg + t * UM * C;
          for (int j = 0; j < UN; ++j) v[j] = simd::vec<R>::loadu(ct + ptrdiff_t(j) * ldc * C);
          left_square<R, C, UN, false, Lower>(UM, A + ptrdiff_t(s0 + t * UM) * k * C, s0 + t * UM, bg, ct, ldc, v);
        }
      }
      for (int t = 0; t < kWide; ++t) {
        const int st = s0 + t * UM;
        const R* as = A + ptrdiff_t(st) * k * C;
        const int k0 = Lower ? 0 : st + UM, len = Lower ? st : k - st - UM;
        each_panel(n - groups * UN, UN, false, [&](int jr, int gw) {
          const int j0 = groups * UN + jr;
          by_width<C>(gw, [&](auto width) {
            left_tile<R, C, decltype(width)::value, false, Lower>(UM, len, k0, as, st, B + ptrdiff_t(j0) * k * C,
                                                                  Cm + (st + ptrdiff_t(j0) * ldc) * C, ldc, sign);
          });
        });
      }
    }
    each_panel(m - wide_rows, UM, false, [&](int sr, int w) {
      const int st = wide_rows + sr;
      const R* as = A + ptrdiff_t(st) * k * C;
      const int k0 = Lower ? 0 : st + w, len = Lower ? st : k - st - w;
      each_panel(n, UN, false, [&](int j0, int gw) {
        by_width<C>(gw, [&](auto width) {
          left_tile<R, C, decltype(width)::value, false, Lower>(w, len, k0, as, st, B + ptrdiff_t(j0) * k * C,
                                                                Cm + (st + ptrdiff_t(j0) * ldc) * C, ldc, sign);
        });
      });
    });
    return;
  }
  // The columns are independent: chunks of kWide whole groups first, each
  // taken through every strip (so the chunk's B panel stays near while the
  // strips of the triangle stream by), then the groups left, strip by strip.
  const int wide_cols = kWide > 1 ? n / (kWide * UN) * (kWide * UN) : 0;
  for (int j = 0; j < wide_cols; j += kWide * UN)
    each_panel(m, UM, Solve && !Lower, [&](int s0, int w) {
      const R* as = A + ptrdiff_t(s0) * k * C;
      const int k0 = Lower ? 0 : s0 + w, len = Lower ? s0 : k - s0 - w;
      R* bg = B + ptrdiff_t(j) * k * C;
      R* cg = Cm + (s0 + ptrdiff_t(j) * ldc) * C;
      if (w == UM && len > 0) {
        if constexpr (kWide > 1)
          left_tiles_wide<R, C, UN, Solve, Lower>(len, k0, as, s0, bg, ptrdiff_t(k) * UN * C, cg, ldc, sign);
        return;
      }
      for (int g = 0; g < kWide; ++g)
        left_tile<R, C, UN, Solve, Lower>(w, len, k0, as, s0, bg + ptrdiff_t(g) * k * UN * C,
                                          cg + ptrdiff_t(g) * UN * ldc * C, ldc, sign);
    });
  // The panel layout from a whole group on is the layout of the columns left.
  each_panel(m, UM, Solve && !Lower, [&](int s0, int w) {
    const R* as = A + ptrdiff_t(s0) * k * C;
    const int k0 = Lower ? 0 : s0 + w, len = Lower ? s0 : k - s0 - w;
    each_panel(n - wide_cols, UN, false, [&](int jr, int gw) {
      const int j0 = wide_cols + jr;
      R* bg = B + ptrdiff_t(j0) * k * C;
      R* cg = Cm + (s0 + ptrdiff_t(j0) * ldc) * C;
      by_width<C>(gw, [&](auto width) {
        left_tile<R, C, decltype(width)::value, Solve, Lower>(w, len, k0, as, s0, bg, cg, ldc, sign);
      });
    });
  });
}

// Right: a is the row panel of B (m rows, K = k = n), b the packed triangle
// (n columns in groups), c the m x n block of B.
template <class T, bool Solve, bool Upper>
void right_kernel(int m, int n, int k, T* a, const T* b, T* c, int ldc) {
  using R = real_t<T>;
  constexpr int C = comps_of<T>;
  constexpr int UM = engine::gemm_traits<T>::unroll_m, UN = engine::gemm_traits<T>::unroll_n;
  if (m < 1 || n < 1) return;
  R* A = reinterpret_cast<R*>(a);
  const R* B = reinterpret_cast<const R*>(b);
  R* Cm = reinterpret_cast<R*>(c);
  simd::vec<R> sign = simd::vec<R>::zero();
  if constexpr (C == 2) sign = direct::complex_factor<R>::signs();
  auto strips = [&](int s0, int w, int wide) {
    R* xs = A + ptrdiff_t(s0) * k * C;
    each_panel(n, UN, Solve && !Upper, [&](int g0, int gw) {
      const R* tg = B + ptrdiff_t(g0) * k * C;
      const int k0 = Upper ? 0 : g0 + gw, len = Upper ? g0 : k - g0 - gw;
      R* cg = Cm + (s0 + ptrdiff_t(g0) * ldc) * C;
      if (wide > 1 && gw == UN) {
        right_tiles_wide<R, C, UN, Solve, Upper>(len, k0, tg, g0, xs, ptrdiff_t(UM) * k * C, cg, ldc);
        return;
      }
      for (int s = 0; s < wide; ++s)
        by_width<C>(gw, [&](auto width) {
          right_tile<R, C, decltype(width)::value, Solve, Upper>(w, len, k0, tg, g0, xs + ptrdiff_t(s) * UM * k * C,
                                                                 cg + s * UM * C, ldc, sign);
        });
    });
  };
  // Whole wide tiles of strips first (the strips are independent), then
  // the rows left, from a whole strip on, one strip at a time.
  int s = 0;
  if constexpr (kWide > 1)
    for (; s + kWide * UM <= m; s += kWide * UM) strips(s, UM, kWide);
  each_panel(m - s, UM, false, [&](int sr, int w) { strips(s + sr, w, 1); });
}

template <class T> inline T negated(const T& v) {
  if constexpr (comps_of<T> == 1) return -v;
  else return T{-v.re, -v.im};
}

// ---- Triangle copier --------------------------------------------------------------
template <class T, bool Neg, bool Conj>
inline T taken(T v) {
  if constexpr (Conj) v = direct::conj(v);
  if constexpr (Neg) v = negated(v);
  return v;
}

// Elements [from, to) of one panel step: source element r at src + r * rs.
template <class T, bool Neg, bool Conj>
inline void copy_run(T* out, const T* src, ptrdiff_t rs, int from, int to) {
  for (int r = from; r < to; ++r) out[r] = taken<T, Neg, Conj>(src[r * rs]);
}

// The diagonal block of op(A) (src: a square view with A's flags) into the
// panel layout of its side, times factor (1 or -1 only), zeros outside the
// triangle of op(A); a unit diagonal is not read, 1 stands there. Each
// panel step is a run of zeros, a run of the triangle (the diagonal element
// among it) and a run of zeros.
template <class T, bool Right, bool Lower, bool Neg, bool Conj>
void copy_triangle_as(const blas_matrix* src, blas_matrix* dst) {
  const int L = src->rows;
  const T* a = static_cast<const T*>(src->base);
  const ptrdiff_t ld = src->ld;
  const bool trans = (src->flags & (engine::flag_trans | engine::flag_conjtrans)) != 0;
  const bool unit = (src->flags & engine::flag_unit) != 0;
  const T zero = engine::zero<T>(), one = engine::one<T>();
  T* d = static_cast<T*>(dst->base);
  dst->rows = L;
  dst->cols = L;
  // Rows r of a panel step from r_lo on (else up to r_hi) are in the
  // triangle: left lower and right upper from q - s0 on, the others up to it.
  constexpr bool from_edge = Right ? !Lower : Lower;
  each_panel(L, dst->pack_width, false, [&](int s0, int w) {
    T* p = d + ptrdiff_t(s0) * L;
    for (int q = 0; q < L; ++q) {
      T* out = p + ptrdiff_t(q) * w;
      // Left: element (s0 + r, q) of op(A); right: (q, s0 + r).
      const bool along = Right == trans;  // r runs down a column of A
      const T* base = along ? a + s0 + q * ld : a + q + s0 * ld;
      const ptrdiff_t rs = along ? 1 : ld;
      const int dr = q - s0;
      int lo = from_edge ? dr : 0, hi = from_edge ? w : dr + 1;
      lo = lo < 0 ? 0 : lo > w ? w : lo;
      hi = hi < 0 ? 0 : hi > w ? w : hi;
      for (int r = 0; r < lo; ++r) out[r] = zero;
      if (unit && dr >= lo && dr < hi) {
        copy_run<T, Neg, Conj>(out, base, rs, lo, dr);
        out[dr] = one;
        copy_run<T, Neg, Conj>(out, base, rs, dr + 1, hi);
      } else {
        copy_run<T, Neg, Conj>(out, base, rs, lo, hi);
      }
      for (int r = hi > lo ? hi : lo; r < w; ++r) out[r] = zero;
    }
  });
}

template <class T, bool Right, bool Lower>
void copy_triangle(const blas_matrix* src, blas_matrix* dst, const T* factor) {
  const bool neg = engine::is_minus_one(*factor);
  const bool conj = (src->flags & engine::flag_conjtrans) != 0;
  if (neg) conj ? copy_triangle_as<T, Right, Lower, true, true>(src, dst)
               : copy_triangle_as<T, Right, Lower, true, false>(src, dst);
  else conj ? copy_triangle_as<T, Right, Lower, false, true>(src, dst)
            : copy_triangle_as<T, Right, Lower, false, false>(src, dst);
}

// ---- Diagonal preparations ------------------------------------------------------
// The diagonal of a packed triangle lies at the same place in both layouts:
// element s0 + r of the panel starting at s0 (width w) at s0 * K + (s0 + r) * w + r.
template <class F>
inline void each_diagonal(const blas_matrix* tri, F f) {
  const int L = tri->cols, K = tri->rows;
  each_panel(L, tri->pack_width, false, [&](int s0, int w) {
    for (int r = 0; r < w; ++r) f(ptrdiff_t(s0) * K + ptrdiff_t(s0 + r) * w + r);
  });
}

// The panel holds -a on the diagonal: it becomes -1 / (-a) = 1 / a.
template <class T>
void reciprocal_diagonal(blas_op_params<T>*, blas_matrix* tri, blas_matrix*) {
  T* d = static_cast<T*>(tri->base);
  each_diagonal(tri, [&](ptrdiff_t at) {
    if constexpr (comps_of<T> == 1) d[at] = T(-1) / d[at];
    else d[at] = direct::div(T{-1, 0}, d[at]);
  });
}

template <class T>
void unit_diagonal(blas_op_params<T>*, blas_matrix* tri, blas_matrix*) {
  T* d = static_cast<T*>(tri->base);
  each_diagonal(tri, [&](ptrdiff_t at) { d[at] = engine::one<T>(); });
}

// ---- Drivers ----------------------------------------------------------------------
// A diagonal element whose reciprocal would overflow or lose bits: a
// subnormal one (for the complex types, both parts below the smallest
// normal and not both zero), or one so large that its reciprocal would be
// subnormal (a part of 2^(emax - 1) or more).
template <class T>
bool awkward_diagonal(const blas_matrix* av) {
  using R = real_t<T>;
  const R small = std::numeric_limits<R>::min();
  const R big = R(0.5) / small;
  const R* a = static_cast<const R*>(av->base);
  constexpr int C = comps_of<T>;
  for (int i = 0; i < av->rows; ++i) {
    const R* e = a + (ptrdiff_t(i) * av->ld + i) * C;
    bool tiny = true, zero = true, large = false;
    for (int c = 0; c < C; ++c) {
      tiny = tiny && std::fabs(e[c]) < small;
      zero = zero && e[c] == R(0);
      large = large || std::fabs(e[c]) >= big;
    }
    if ((tiny && !zero) || large) return true;
  }
  return false;
}

template <class T> using tri_copy_fn = void (*)(const blas_matrix*, blas_matrix*, const T*);

template <class T, bool Solve, bool Right, bool Lower>
int driver(blas_op_params<T>* params, blas_matrix* av, blas_matrix* bv, blas_matrix*, gemm_buffers* given,
           gemm_kernel_info<T>* info) {
  using G = engine::gemm_traits<T>;
  const int M = bv->rows, N = bv->cols;
  if (M < 1 || N < 1) return 0;
  // A call that arrives here directly may still carry its alpha.
  if (!engine::is_one(params->alpha)) {
    info->scale_c(bv, &params->alpha);
    if (engine::is_zero(params->alpha)) return 0;
    params->alpha = engine::one<T>();
  }
  if constexpr (Solve) {
    if ((av->flags & engine::flag_nonunit) && awkward_diagonal<T>(av)) {
      const int lda = av->ld, ldb = bv->ld;
      kernels_of<T>::nobuf(params->side_text, params->uplo_text, params->transa_text, params->diag_text, &M, &N,
                           &params->alpha, static_cast<const T*>(av->base), &lda, static_cast<T*>(bv->base), &ldb);
      return 0;
    }
  }
  const engine::gemm_strategy& st = info->strategy;
  const int um = st.unroll_m, un = st.unroll_n;
  const int K = Right ? N : M;
  gemm_buffers local;
  gemm_buffers* buf = given;
  if (!buf) {
    if constexpr (Solve) {
      engine::trxm_initialize_buffers<T>(Right, av, bv, &st, &local);
    } else {
      // The product's K block: the whole triangle below 192, else the
      // engine's K block, rounded up to whole strips either way.
      engine::initialize_buffers<T>(av, bv, &st, &local);
      local.k_block = engine::round_up(K < 192 ? K : local.k_block, um);
    }
    const int kb = local.k_block;
    // The A panel takes the triangle (side L) or the row strips of B (side
    // R); the B panel the columns of B (L) or the triangle (R); the panel
    // of the triangle also takes op(A)'s part beyond the block.
    const int cap = engine::round_up(K < G::m_block_max ? K : G::m_block_max, Right ? un : um);
    if (!Right) local.m_block = kb + cap;
    else {
      local.m_block = engine::round_up(M < G::m_block_max ? M : G::m_block_max, um);
      local.n_block = kb + cap;
    }
    local.get_bufs(&local);
    buf = &local;
  }
  // Buffers a caller gave must hold a triangle and at least one strip
  // beyond it; any that do not are treated as none.
  const int room = Right ? buf->n_block - buf->k_block : buf->m_block - buf->k_block;
  if (room < (Right ? un : um) || orb_serv_check_ptr_and_warn(buf->block, info->name)) {
    if (!given) buf->free_bufs(buf);
    info->fallback(params, av, bv, bv);
    return 0;
  }

  const int kb = buf->k_block;
  const tri_copy_fn<T> copy_tri = copy_triangle<T, Right, Lower>;
  const T one = engine::one<T>(), zero = engine::zero<T>();
  const T factor = Solve ? negated(one) : one;
  T* apan = static_cast<T*>(buf->a_panel.base);
  T* bpan = static_cast<T*>(buf->b_panel.base);
  // Rows (L) or columns (R) beyond the diagonal block: after it for a lower
  // op(A) on the left and an upper one on the right. The solve walks
  // towards them, the product away from them.
  constexpr bool after = Right ? !Lower : Lower;
  constexpr bool forward = Solve ? after : !after;
  const int blocks = (K + kb - 1) / kb;
  for (int s = 0; s < blocks; ++s) {
    const int i0 = (forward ? s : blocks - 1 - s) * kb;
    const int ib = K - i0 < kb ? K - i0 : kb;
    const int o0 = after ? i0 + ib : 0;
    const int on = after ? K - i0 - ib : i0;
    const blas_matrix tri_src = engine::sub_view(*av, i0, i0, ib, ib);
    blas_matrix tri = Right ? buf->b_panel : buf->a_panel;
    tri.base = Right ? bpan : apan;
    copy_tri(&tri_src, &tri, &factor);
    if (info->tri_scale) info->tri_scale(params, &tri, bv);
    T* beyond = (Right ? bpan : apan) + ptrdiff_t(ib) * ib;
    if constexpr (!Right) {
      const int cap = buf->m_block - kb;
      const bool once = on <= cap;
      for (int j0 = 0; j0 < N; j0 += buf->n_block) {
        const int jn = N - j0 < buf->n_block ? N - j0 : buf->n_block;
        blas_matrix bp = buf->b_panel;
        bp.base = bpan;
        bp.rows = ib;
        bp.cols = jn;
        blas_matrix blk = engine::sub_view(*bv, i0, j0, ib, jn);
        // The solve fills the panel as it solves; the product reads the
        // block's rows as they were.
        if constexpr (!Solve) info->copy_b(&blk, &bp, &one);
        info->tri_kernel(&one, &tri, &bp, Solve ? &one : &zero, &blk, nullptr);
        for (int r0 = 0; r0 < on; r0 += cap) {
          const int rn = on - r0 < cap ? on - r0 : cap;
          blas_matrix op = buf->a_panel;
          op.base = beyond;
          if (!once || j0 == 0) {
            const blas_matrix src = engine::sub_view(*av, o0 + r0, i0, rn, ib);
            info->copy_a(&src, &op, &factor);
          }
          op.rows = ib;
          blas_matrix cv = engine::sub_view(*bv, o0 + r0, j0, rn, jn);
          info->kernel(&one, &op, &bp, &one, &cv, nullptr);
        }
      }
    } else {
      const int cap = buf->n_block - kb;
      const bool once = on <= cap;
      for (int r0 = 0; r0 < M; r0 += buf->m_block) {
        const int rn = M - r0 < buf->m_block ? M - r0 : buf->m_block;
        blas_matrix xp = buf->a_panel;
        xp.base = apan;
        xp.rows = ib;
        xp.cols = rn;
        blas_matrix blk = engine::sub_view(*bv, r0, i0, rn, ib);
        if constexpr (!Solve) info->copy_a(&blk, &xp, &one);
        info->tri_kernel(&one, &xp, &tri, Solve ? &one : &zero, &blk, nullptr);
        for (int c0 = 0; c0 < on; c0 += cap) {
          const int cn = on - c0 < cap ? on - c0 : cap;
          blas_matrix op = buf->b_panel;
          op.base = beyond;
          if (!once || r0 == 0) {
            const blas_matrix src = engine::sub_view(*av, i0, o0 + c0, ib, cn);
            info->copy_b(&src, &op, &factor);
          }
          op.rows = ib;
          blas_matrix cv = engine::sub_view(*bv, r0, o0 + c0, rn, cn);
          info->kernel(&one, &xp, &op, &one, &cv, nullptr);
        }
      }
    }
  }
  if (!given) buf->free_bufs(buf);
  return 0;
}

// The table's form of a triangular kernel: the views give the sizes.
template <class T, bool Solve, bool Right, bool Lower>
void tri_kernel_view(const T*, const blas_matrix* ap, const blas_matrix* bp, const T*, blas_matrix* cv, void*) {
  if constexpr (!Right)
    left_kernel<T, Solve, Lower>(cv->rows, cv->cols, ap->rows, static_cast<const T*>(ap->base),
                                 static_cast<T*>(bp->base), static_cast<T*>(cv->base), cv->ld);
  else
    right_kernel<T, Solve, !Lower>(cv->rows, cv->cols, bp->rows, static_cast<T*>(ap->base),
                                   static_cast<const T*>(bp->base), static_cast<T*>(cv->base), cv->ld);
}

}  // namespace

template <class T>
engine::driver_fn<T> trx_driver(bool solve, bool right, bool lower) {
  if (solve) {
    if (right) return lower ? driver<T, true, true, true> : driver<T, true, true, false>;
    return lower ? driver<T, true, false, true> : driver<T, true, false, false>;
  }
  if (right) return lower ? driver<T, false, true, true> : driver<T, false, true, false>;
  return lower ? driver<T, false, false, true> : driver<T, false, false, false>;
}

template engine::driver_fn<float> trx_driver<float>(bool, bool, bool);
template engine::driver_fn<double> trx_driver<double>(bool, bool, bool);
template engine::driver_fn<orb_complex8> trx_driver<orb_complex8>(bool, bool, bool);
template engine::driver_fn<orb_complex16> trx_driver<orb_complex16>(bool, bool, bool);

}  // namespace orb::level3

using namespace orb::level3;
using orb::engine::blas_matrix;
using orb::engine::blas_op_params;
using orb::engine::gemm_buffers;
using orb::engine::gemm_kernel_info;

#define ORB_TRX_DRIVER_EXPORT(T, name, solve, right, lower)                                                  \
  ORB_API int ORB_BLAS(name)(blas_op_params<T> * p, blas_matrix * a, blas_matrix * b, blas_matrix * c,       \
                             gemm_buffers * buf, gemm_kernel_info<T> * info) {                               \
    return driver<T, solve, right, lower>(p, a, b, c, buf, info);                                            \
  }
#define ORB_TRX_TRI(T, t, op, solve, side, uplo, right, lower, short_name)                                      \
  ORB_API void ORB_BLAS(t##op##_kernel_##short_name##_0)(const int* m, const int* n, const int* k, const T*,    \
                                                         T* a, T* b, T* c, int ldc) {                           \
    if constexpr (right) right_kernel<T, solve, !lower>(*m, *n, *k, a, b, c, ldc);                               \
    else left_kernel<T, solve, lower>(*m, *n, *k, a, b, c, ldc);                                                 \
  }                                                                                                             \
  ORB_API void ORB_BLAS(t##op##_kernel_##side##_##uplo)(const T* one, const blas_matrix* ap, const blas_matrix* bp, \
                                                        const T* beta, blas_matrix* cv, void* scratch) {        \
    tri_kernel_view<T, solve, right, lower>(one, ap, bp, beta, cv, scratch);                                    \
  }
#define ORB_TRX_PACKED_EXPORTS(T, t)                                                                          \
  ORB_TRX_DRIVER_EXPORT(T, x##t##trsm_left_lower_fullacopybcopy, true, false, true)                          \
  ORB_TRX_DRIVER_EXPORT(T, x##t##trsm_left_upper_fullacopybcopy, true, false, false)                         \
  ORB_TRX_DRIVER_EXPORT(T, x##t##trsm_right_lower_fullacopybcopy, true, true, true)                          \
  ORB_TRX_DRIVER_EXPORT(T, x##t##trsm_right_upper_fullacopybcopy, true, true, false)                         \
  ORB_TRX_DRIVER_EXPORT(T, x##t##trmm_left_lower_fullacopybcopy, false, false, true)                         \
  ORB_TRX_DRIVER_EXPORT(T, x##t##trmm_left_upper_fullacopybcopy, false, false, false)                        \
  ORB_TRX_DRIVER_EXPORT(T, x##t##trmm_right_lower_fullacopybcopy, false, true, true)                         \
  ORB_TRX_DRIVER_EXPORT(T, x##t##trmm_right_upper_fullacopybcopy, false, true, false)                        \
  ORB_TRX_TRI(T, t, trsm, true, left, lower, false, true, ll)                                                 \
  ORB_TRX_TRI(T, t, trsm, true, left, upper, false, false, lu)                                                \
  ORB_TRX_TRI(T, t, trsm, true, right, lower, true, true, rl)                                                 \
  ORB_TRX_TRI(T, t, trsm, true, right, upper, true, false, ru)                                                \
  ORB_TRX_TRI(T, t, trmm, false, left, lower, false, true, ll)                                                \
  ORB_TRX_TRI(T, t, trmm, false, left, upper, false, false, lu)                                               \
  ORB_TRX_TRI(T, t, trmm, false, right, lower, true, true, rl)                                                \
  ORB_TRX_TRI(T, t, trmm, false, right, upper, true, false, ru)                                               \
  ORB_API void ORB_BLAS(t##trxm_copy_left_lower)(const blas_matrix* s, blas_matrix* d, const T* f) {         \
    copy_triangle<T, false, true>(s, d, f);                                                                   \
  }                                                                                                           \
  ORB_API void ORB_BLAS(t##trxm_copy_left_upper)(const blas_matrix* s, blas_matrix* d, const T* f) {         \
    copy_triangle<T, false, false>(s, d, f);                                                                  \
  }                                                                                                           \
  ORB_API void ORB_BLAS(t##trxm_copy_right_lower)(const blas_matrix* s, blas_matrix* d, const T* f) {        \
    copy_triangle<T, true, true>(s, d, f);                                                                    \
  }                                                                                                           \
  ORB_API void ORB_BLAS(t##trxm_copy_right_upper)(const blas_matrix* s, blas_matrix* d, const T* f) {        \
    copy_triangle<T, true, false>(s, d, f);                                                                   \
  }                                                                                                           \
  ORB_API void ORB_BLAS(t##trsm_scale_left)(blas_op_params<T> * p, blas_matrix * tri, blas_matrix * o) {     \
    reciprocal_diagonal<T>(p, tri, o);                                                                        \
  }                                                                                                           \
  ORB_API void ORB_BLAS(t##trsm_scale_right)(blas_op_params<T> * p, blas_matrix * tri, blas_matrix * o) {    \
    reciprocal_diagonal<T>(p, tri, o);                                                                        \
  }                                                                                                           \
  ORB_API void ORB_BLAS(t##trsm_scale_left_unit)(blas_op_params<T> * p, blas_matrix * tri, blas_matrix * o) { \
    unit_diagonal<T>(p, tri, o);                                                                              \
  }                                                                                                           \
  ORB_API void ORB_BLAS(t##trsm_scale_right_unit)(blas_op_params<T> * p, blas_matrix * tri, blas_matrix * o) { \
    unit_diagonal<T>(p, tri, o);                                                                              \
  }                                                                                                           \
  ORB_API void ORB_BLAS(t##trmm_scale_left_unit)(blas_op_params<T> * p, blas_matrix * tri, blas_matrix * o) { \
    unit_diagonal<T>(p, tri, o);                                                                              \
  }                                                                                                           \
  ORB_API void ORB_BLAS(t##trmm_scale_right_unit)(blas_op_params<T> * p, blas_matrix * tri, blas_matrix * o) { \
    unit_diagonal<T>(p, tri, o);                                                                              \
  }

ORB_TRX_PACKED_EXPORTS(float, s)
ORB_TRX_PACKED_EXPORTS(double, d)
ORB_TRX_PACKED_EXPORTS(orb_complex8, c)
ORB_TRX_PACKED_EXPORTS(orb_complex16, z)
#undef ORB_TRX_PACKED_EXPORTS
#undef ORB_TRX_TRI
#undef ORB_TRX_DRIVER_EXPORT
