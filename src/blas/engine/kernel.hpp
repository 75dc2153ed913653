// The register kernels: one packed A block times one packed B block into C.
//
// A strip of the A panel is one vector of rows (16 floats, 8 doubles, 8
// complex floats, 4 complex doubles). A tile is MV strips by JN columns of
// B: every K step loads the MV A vectors, broadcasts each B scalar once and
// fuses it into that column's MV accumulators, so each element of the tile
// is one running sum in K order from zero, one fused multiply-add per step,
// whatever MV is: the shape of the tile never changes a bit of C. The
// complex types keep two accumulators per column, one fed by the real part
// of the B element and one by the imaginary part, and combine them once at
// the end: the second is swapped within each pair and its new real lane
// negated, then added to the first.
//
// How many strips a tile spans follows the register file (kTileStrips in
// engine.hpp). With 8 vector registers (the 32-bit mode) or 16 (AVX2, two
// registers a vector) a tile is one strip: 6 vectors of accumulators, 6 or
// 12 registers. The 64-bit AVX-512 build has 32: a tile of 4 strips holds
// 24 accumulators, enough independent chains to keep two FMA units with a
// four-cycle latency busy, and needs 4 A loads and 6 (real) broadcasts for
// 24 multiply-adds instead of 1 and 6 for 6, so the load ports stay free.
// The 4 strips (up to 96 KiB of A at the largest K block) live in L2 and are
// reused across the whole B block; each B group streams past them once.
#pragma once

#include <array>

#include "blas/engine/engine.hpp"
#include "frame/simd.hpp"

namespace orb::engine::kern {

using simd::vec;

// Rounds (of 8 K steps) at the end of a tile during which C is prefetched,
// by the tile's column count; a tile of several strips has more lines of C
// to bring and takes one a round.
template <int C, int JN, int MV>
constexpr int tail_rounds() {
  if constexpr (MV > 1) return 32;
  else if constexpr (C == 1) return JN == 6 ? 28 : JN == 4 ? 24 : JN == 2 ? 20 : 18;
  else return JN == 3 ? 22 : JN == 2 ? 20 : 18;
}

// Ties the six accumulator vectors of a one-strip tile to registers after
// each K step: left alone, the register allocator of the AVX2 build rotates
// a couple of them through the stack once per round.
template <class V>
__attribute__((always_inline)) inline void pin([[maybe_unused]] V* acc) {
#if defined(__x86_64__)  // the 32-bit mode names only eight vector registers
  if constexpr (simd::kRegBytes == 32 && V::K == 2) {
    asm("" : "+x"(acc[0].r[0]), "+x"(acc[0].r[1]), "+x"(acc[1].r[0]), "+x"(acc[1].r[1]), "+x"(acc[2].r[0]),
        "+x"(acc[2].r[1]), "+x"(acc[3].r[0]), "+x"(acc[3].r[1]), "+x"(acc[4].r[0]), "+x"(acc[4].r[1]),
        "+x"(acc[5].r[0]), "+x"(acc[5].r[1]));
  } else if constexpr (simd::kRegBytes == 64 && V::K == 1) {
    asm("" : "+v"(acc[0].r[0]), "+v"(acc[1].r[0]), "+v"(acc[2].r[0]), "+v"(acc[3].r[0]), "+v"(acc[4].r[0]),
        "+v"(acc[5].r[0]));
  }
#endif
}

// The same for the 24 accumulators of a four-strip AVX-512 tile: without
// it the compiler overlaps successive K steps of the unrolled round, runs
// out of registers and spills accumulators to the stack.
template <int MV, int NA, class V>
__attribute__((always_inline)) inline void pin_wide([[maybe_unused]] V (&acc)[MV][NA]) {
#if defined(__x86_64__)
  if constexpr (simd::kRegBytes == 64 && V::K == 1 && MV == 4 && NA == 6) {
    asm("" : "+v"(acc[0][0].r[0]), "+v"(acc[0][1].r[0]), "+v"(acc[0][2].r[0]), "+v"(acc[0][3].r[0]),
        "+v"(acc[0][4].r[0]), "+v"(acc[0][5].r[0]), "+v"(acc[1][0].r[0]), "+v"(acc[1][1].r[0]),
        "+v"(acc[1][2].r[0]), "+v"(acc[1][3].r[0]), "+v"(acc[1][4].r[0]), "+v"(acc[1][5].r[0]));
    asm("" : "+v"(acc[2][0].r[0]), "+v"(acc[2][1].r[0]), "+v"(acc[2][2].r[0]), "+v"(acc[2][3].r[0]),
        "+v"(acc[2][4].r[0]), "+v"(acc[2][5].r[0]), "+v"(acc[3][0].r[0]), "+v"(acc[3][1].r[0]),
        "+v"(acc[3][2].r[0]), "+v"(acc[3][3].r[0]), "+v"(acc[3][4].r[0]), "+v"(acc[3][5].r[0]));
  }
#endif
}

// acc += a * b for the wide tile, the accumulator always the destination:
// given the choice, the compiler picks the forms that overwrite the A or
// broadcast register and then copies accumulators around to make up for it.
// Same instruction, same rounding.
template <class V>
__attribute__((always_inline)) inline void fma_wide(V& acc, const V& a, const V& b) {
#if defined(__x86_64__) && ORB_LEVEL >= 9
  if constexpr (V::K == 1 && sizeof(acc.r[0]) == 64) {
    if constexpr (V::N == 8) asm("vfmadd231pd %2, %1, %0" : "+v"(acc.r[0]) : "v"(a.r[0]), "v"(b.r[0]));
    else asm("vfmadd231ps %2, %1, %0" : "+v"(acc.r[0]) : "v"(a.r[0]), "v"(b.r[0]));
    return;
  }
#endif
  acc = fma(a, b, acc);
}

// acc += a * b with b broadcast. On the AVX2 build the instruction is
// written out for the real tiles so that the accumulator stays the
// destination register: left to itself the compiler picks operand orders
// that make it shuffle accumulators between registers and through the
// stack. Same instruction, same rounding. (The complex tiles come out
// better left to the compiler.)
template <class V, class R>
__attribute__((always_inline)) inline void fma_into(V& acc, const V& a, R bval) {
#if ORB_LEVEL >= 7 && ORB_LEVEL < 9
  const auto b = V::Reg::set1(bval);
  for (int k = 0; k < V::K; ++k) {
    if constexpr (sizeof(R) == 8) asm("vfmadd231pd %2, %1, %0" : "+x"(acc.r[k]) : "x"(a.r[k]), "x"(b));
    else asm("vfmadd231ps %2, %1, %0" : "+x"(acc.r[k]) : "x"(a.r[k]), "x"(b));
  }
#else
  acc = fma(a, V::set1(bval), acc);
#endif
}

// -1, +1, -1, ... over one vector, in read-only memory: built on the stack
// for every tile, the vector would wait for its own stores to be forwarded.
template <class R>
struct alternating_signs {
  static constexpr std::array<R, vec<R>::N> make() {
    std::array<R, vec<R>::N> a{};
    for (int i = 0; i < vec<R>::N; ++i) a[i] = (i & 1) ? R(1) : R(-1);
    return a;
  }
  alignas(64) static constexpr std::array<R, vec<R>::N> lanes = make();
};

// One tile of MV strips of w rows each (live = w * C lanes; only a
// one-strip tile may be partial) and JN columns. a and b are the panels at
// K step 0, astride the distance between strips of A, c the tile's first
// element; pf is where the prefetch of the next A panel goes.
template <class R, int C, int MV, int JN, bool Full>
__attribute__((always_inline)) inline void tile(int k, int live, const R* __restrict a, std::ptrdiff_t astride,
                                                const R* __restrict b, R* c, std::ptrdiff_t ldc, bool b0,
                                                const char* pf) {
  static_assert(MV == 1 || Full, "only a one-strip tile is partial");
  using V = vec<R>;
  constexpr int N = V::N;
  constexpr int NA = JN * C;
  const int astep = Full ? N : live;
  V acc[MV][NA];
#pragma GCC unroll 4
  for (int s = 0; s < MV; ++s)
#pragma GCC unroll 12
    for (int j = 0; j < NA; ++j) acc[s][j] = V::zero();

  auto step = [&](int p) __attribute__((always_inline)) {
    const R* bp = b + std::ptrdiff_t(p) * NA;
    if constexpr (MV == 1) {
      const V av = Full ? V::loadu(a + std::ptrdiff_t(p) * N) : V::load_mask(a + std::ptrdiff_t(p) * astep, live);
#pragma GCC unroll 12
      for (int j = 0; j < NA; ++j) {
        if constexpr (C == 1) fma_into(acc[0][j], av, bp[j]);
        else acc[0][j] = fma(av, V::set1(bp[j]), acc[0][j]);
      }
      if constexpr (NA == 6) pin(acc[0]);
    } else {
      V av[MV];
#pragma GCC unroll 4
      for (int s = 0; s < MV; ++s) av[s] = V::loadu(a + s * astride + std::ptrdiff_t(p) * N);
#pragma GCC unroll 12
      for (int j = 0; j < NA; ++j) {
        const V bv = V::set1(bp[j]);
#pragma GCC unroll 4
        for (int s = 0; s < MV; ++s) fma_wide(acc[s][j], av[s], bv);
      }
      pin_wide<MV, NA>(acc);
    }
  };

  const int rounds = k >> 3;
  constexpr int T = tail_rounds<C, JN, MV>();
  // Bytes of one column of the tile in C, and the cache lines that may span.
  const std::size_t col_bytes = std::size_t(MV) * std::size_t(live) * sizeof(R);
  constexpr int kLines = MV == 1 ? 2 : MV + 1;
  auto c_line = [&](int col, int l) __attribute__((always_inline)) {
    const std::size_t off = std::size_t(l) * 64 < col_bytes ? std::size_t(l) * 64 : col_bytes - 1;
    return reinterpret_cast<const char*>(c + std::ptrdiff_t(col) * ldc * C) + (l == kLines - 1 ? col_bytes - 1 : off);
  };
  // A short K has no rounds to hide C's lines behind, and reading and
  // writing C is then most of the work: ask for the columns of the tile
  // three tiles ahead, so that they arrive before the tile that needs them.
  if (k < 16) {
#pragma GCC unroll 6
    for (int j = 0; j < JN; ++j)
#pragma GCC unroll 5
      for (int l = 0; l < kLines; ++l) __builtin_prefetch(c_line(3 * JN + j, l), 1, 3);
  }
  const int plain = rounds > T ? rounds - T : 0;
  int p = 0;
  for (int r = 0; r < plain; ++r, p += 8) {
    __builtin_prefetch(pf + r * 64, 0, 2);
#pragma GCC unroll 8
    for (int s = 0; s < 8; ++s) step(p + s);
  }
  // The last rounds also bring the tile's C columns into the nearest cache,
  // one line a round: a one-strip tile in alternate stretches of 6 rounds.
  int line = 0;
  for (int r = plain; r < rounds; ++r, p += 8) {
    __builtin_prefetch(pf + r * 64, 0, 2);
    if ((MV > 1 || (((r - plain) / 6) & 1) == 0) && !b0 && line < kLines * JN) {
      __builtin_prefetch(c_line(line / kLines, line % kLines), 1, 3);
      ++line;
    }
#pragma GCC unroll 8
    for (int s = 0; s < 8; ++s) step(p + s);
  }
  if (k & 4) {
#pragma GCC unroll 4
    for (int s = 0; s < 4; ++s) step(p + s);
    p += 4;
  }
  if (k & 2) {
    step(p);
    step(p + 1);
    p += 2;
  }
  if (k & 1) step(p);

  // C update, column by column.
  const int clive = Full ? N : live;
  if constexpr (C == 1) {
#pragma GCC unroll 6
    for (int j = 0; j < JN; ++j) {
#pragma GCC unroll 4
      for (int s = 0; s < MV; ++s) {
        R* cj = c + std::ptrdiff_t(j) * ldc + s * N;
        if (Full) {
          if (b0) acc[s][j].storeu(cj);
          else (V::loadu(cj) + acc[s][j]).storeu(cj);
        } else {
          if (b0) acc[s][j].store_mask(cj, clive);
          else (V::load_mask(cj, clive) + acc[s][j]).store_mask(cj, clive);
        }
      }
    }
  } else {
    // (rr, ir) + (-ii, ri): the second accumulator swapped within each pair,
    // its new real lanes negated (a multiplication by -1 is exact), added.
    const V sign = V::loadu(alternating_signs<R>::lanes.data());
#pragma GCC unroll 3
    for (int j = 0; j < JN; ++j) {
#pragma GCC unroll 4
      for (int s = 0; s < MV; ++s) {
        const V res = acc[s][2 * j] + swap_pairs(acc[s][2 * j + 1]) * sign;
        R* cj = c + std::ptrdiff_t(j) * ldc * 2 + s * N;
        if (Full) {
          if (b0) res.storeu(cj);
          else (V::loadu(cj) + res).storeu(cj);
        } else {
          if (b0) res.store_mask(cj, clive);
          else (V::load_mask(cj, clive) + res).store_mask(cj, clive);
        }
      }
    }
  }
}

// All the columns of MV strips of rows of width w.
template <class R, int C, int MV, int UN, bool Full>
inline void row_panel(int n, int k, int w, const R* a, const R* b, R* c, std::ptrdiff_t ldc, bool b0,
                      const R* next_a) {
  const int live = w * C;
  const std::ptrdiff_t astride = std::ptrdiff_t(w) * C * k;
  const char* pf = reinterpret_cast<const char*>(next_a);
  // Each tile prefetches k * 8 bytes of the next A panel, one line a round:
  // successive tiles take successive stretches of its MV strips.
  const std::size_t pf_span = std::size_t(k) * 8;
  auto at = [&](int j) __attribute__((always_inline)) { return b + std::ptrdiff_t(j) * k * C; };
  auto cat = [&](int j) __attribute__((always_inline)) { return c + std::ptrdiff_t(j) * ldc * C; };
  int j = 0, t = 0;
  for (; j + UN <= n; j += UN, ++t)
    tile<R, C, MV, UN, Full>(k, live, a, astride, at(j), cat(j), ldc, b0, pf + (t % (8 * MV)) * pf_span);
  const int rest = n - j;
  if constexpr (UN == 6) {
    if (rest & 4) {
      tile<R, C, MV, 4, Full>(k, live, a, astride, at(j), cat(j), ldc, b0, pf);
      j += 4;
    }
  }
  if (rest & 2) {
    tile<R, C, MV, 2, Full>(k, live, a, astride, at(j), cat(j), ldc, b0, pf);
    j += 2;
  }
  if (rest & 1) tile<R, C, MV, 1, Full>(k, live, a, astride, at(j), cat(j), ldc, b0, pf);
}

// m x n block of C from the panels of A (m rows by k) and B (k by n): whole
// tiles of kTileStrips strips first, then two strips, then one, then the
// partial strip in halving widths.
template <class R, int C, int UM, int UN>
void kernel(int m, int n, int k, const R* a, const R* b, R* c, int ldc, bool b0) {
  if (m < 1 || n < 1 || k < 1) return;
  auto ap = [&](int i) __attribute__((always_inline)) { return a + std::ptrdiff_t(i) * k * C; };
  int i = 0;
  if constexpr (kTileStrips > 1) {
    constexpr int H = kTileStrips * UM;
    for (; i + H <= m; i += H) row_panel<R, C, kTileStrips, UN, true>(n, k, UM, ap(i), b, c + std::ptrdiff_t(i) * C, ldc, b0, ap(i + H));
    if (i + 2 * UM <= m) {
      row_panel<R, C, 2, UN, true>(n, k, UM, ap(i), b, c + std::ptrdiff_t(i) * C, ldc, b0, ap(i + 2 * UM));
      i += 2 * UM;
    }
  }
  for (; i + UM <= m; i += UM) row_panel<R, C, 1, UN, true>(n, k, UM, ap(i), b, c + std::ptrdiff_t(i) * C, ldc, b0, ap(i + UM));
  const int rest = m - i;
  for (int w = UM / 2; w >= 1; w /= 2) {
    if (!(rest & w)) continue;
    row_panel<R, C, 1, UN, false>(n, k, w, ap(i), b, c + std::ptrdiff_t(i) * C, ldc, b0, ap(i));
    i += w;
  }
}

}  // namespace orb::engine::kern

// The exported pair of one type: kernel_0 adds to C, kernel_0_b0 stores.
#define ORB_REGISTER_KERNELS(T, t, R, C, UM, UN)                                                                \
  ORB_API void ORB_BLAS(t##gemm_kernel_0)(const int* m, const int* n, const int* k, const T*, const T* a,      \
                                          const T* b, T* c, int ldc) {                                          \
    orb::engine::kern::kernel<R, C, UM, UN>(*m, *n, *k, reinterpret_cast<const R*>(a),                          \
                                            reinterpret_cast<const R*>(b), reinterpret_cast<R*>(c), ldc, false); \
  }                                                                                                             \
  ORB_API void ORB_BLAS(t##gemm_kernel_0_b0)(const int* m, const int* n, const int* k, const T*, const T* a,   \
                                             const T* b, T* c, int ldc) {                                       \
    orb::engine::kern::kernel<R, C, UM, UN>(*m, *n, *k, reinterpret_cast<const R*>(a),                          \
                                            reinterpret_cast<const R*>(b), reinterpret_cast<R*>(c), ldc, true);  \
  }
