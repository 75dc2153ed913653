// The register kernels: one packed A block times one packed B block into C.
//
// A tile is one vector of A rows (16 floats, 8 doubles, 8 complex floats,
// 4 complex doubles) by UN columns of B. Every K step loads the A vector,
// broadcasts each B scalar and fuses it into that column's accumulator, so
// each element of the tile is one running sum in K order from zero, one
// fused multiply-add per step. The complex types keep two accumulators per
// column, one fed by the real part of the B element and one by the
// imaginary part, and combine them once at the end: the second is swapped
// within each pair and its new real lane negated, then added to the first.
//
// The tile is 6 vectors of accumulators whatever the type: 6 registers on
// AVX-512, 12 on AVX2, plus the A vector and the broadcast.
#pragma once

#include "blas/engine/engine.hpp"
#include "frame/simd.hpp"

namespace orb::engine::kern {

using simd::vec;

// Rounds (of 8 K steps) at the end of a tile during which C is prefetched,
// by the tile's column count.
template <int C, int JN>
constexpr int tail_rounds() {
  if constexpr (C == 1) return JN == 6 ? 28 : JN == 4 ? 24 : JN == 2 ? 20 : 18;
  else return JN == 3 ? 22 : JN == 2 ? 20 : 18;
}

// Ties the six accumulator vectors of a full tile to registers after each
// K step: left alone, the register allocator of the AVX2 build rotates a
// couple of them through the stack once per round.
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

// One tile of w rows (live = w * C lanes) and JN columns. a and b are the
// panels at K step 0, c the tile's first element; pf is where the prefetch
// of the next A panel goes.
template <class R, int C, int JN, bool Full>
__attribute__((always_inline)) inline void tile(int k, int live, const R* __restrict a, const R* __restrict b,
                                                R* c, std::ptrdiff_t ldc, bool b0, const char* pf) {
  using V = vec<R>;
  constexpr int N = V::N;
  constexpr int NA = JN * C;
  const int astep = Full ? N : live;
  V acc[NA];
#pragma GCC unroll 12
  for (int j = 0; j < NA; ++j) acc[j] = V::zero();

  auto step = [&](int p) __attribute__((always_inline)) {
    const V av = Full ? V::loadu(a + std::ptrdiff_t(p) * N) : V::load_mask(a + std::ptrdiff_t(p) * astep, live);
    const R* bp = b + std::ptrdiff_t(p) * NA;
#pragma GCC unroll 12
    for (int j = 0; j < NA; ++j) {
      if constexpr (C == 1) fma_into(acc[j], av, bp[j]);
      else acc[j] = fma(av, V::set1(bp[j]), acc[j]);
    }
    if constexpr (NA == 6) pin(acc);
  };

  const int rounds = k >> 3;
  constexpr int T = tail_rounds<C, JN>();
  // A short K has no rounds to hide C's lines behind, and reading and
  // writing C is then most of the work: ask for the columns of the tile
  // three tiles ahead, so that they arrive before the tile that needs them.
  if (k < 16) {
    const std::size_t bytes = std::size_t(live) * sizeof(R);
#pragma GCC unroll 6
    for (int j = 0; j < JN; ++j) {
      const char* cl = reinterpret_cast<const char*>(c + std::ptrdiff_t(3 * JN + j) * ldc * C);
      __builtin_prefetch(cl, 1, 3);
      __builtin_prefetch(cl + bytes - 1, 1, 3);
    }
  }
  const int plain = rounds > T ? rounds - T : 0;
  int p = 0;
  for (int r = 0; r < plain; ++r, p += 8) {
    __builtin_prefetch(pf + r * 64, 0, 2);
#pragma GCC unroll 8
    for (int s = 0; s < 8; ++s) step(p + s);
  }
  // The last rounds also bring the tile's C columns into the nearest cache,
  // in alternate stretches of 6 rounds, one line per round.
  int line = 0;
  const std::size_t col_bytes = std::size_t(live) * sizeof(R);
  for (int r = plain; r < rounds; ++r, p += 8) {
    __builtin_prefetch(pf + r * 64, 0, 2);
    if ((((r - plain) / 6) & 1) == 0 && !b0 && line < 2 * JN) {
      const char* cl = reinterpret_cast<const char*>(c + std::ptrdiff_t(line >> 1) * ldc * C);
      __builtin_prefetch(cl + (line & 1) * (col_bytes - 1), 1, 3);
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
  if constexpr (C == 1) {
#pragma GCC unroll 6
    for (int j = 0; j < JN; ++j) {
      R* cj = c + std::ptrdiff_t(j) * ldc;
      if (Full) {
        if (b0) acc[j].storeu(cj);
        else (V::loadu(cj) + acc[j]).storeu(cj);
      } else {
        if (b0) acc[j].store_mask(cj, live);
        else (V::load_mask(cj, live) + acc[j]).store_mask(cj, live);
      }
    }
  } else {
    // (rr, ir) + (-ii, ri): the second accumulator swapped within each pair,
    // its new real lanes negated (a multiplication by -1 is exact), added.
    alignas(64) R sg[N];
    for (int i = 0; i < N; ++i) sg[i] = (i & 1) ? R(1) : R(-1);
    const V sign = V::loadu(sg);
#pragma GCC unroll 3
    for (int j = 0; j < JN; ++j) {
      const V res = acc[2 * j] + swap_pairs(acc[2 * j + 1]) * sign;
      R* cj = c + std::ptrdiff_t(j) * ldc * 2;
      if (Full) {
        if (b0) res.storeu(cj);
        else (V::loadu(cj) + res).storeu(cj);
      } else {
        if (b0) res.store_mask(cj, live);
        else (V::load_mask(cj, live) + res).store_mask(cj, live);
      }
    }
  }
}

// All the columns of one row panel of width w.
template <class R, int C, int UN, bool Full>
inline void row_panel(int n, int k, int w, const R* a, const R* b, R* c, std::ptrdiff_t ldc, bool b0,
                      const R* next_a) {
  const int live = w * C;
  const char* pf = reinterpret_cast<const char*>(next_a);
  const std::size_t pf_span = std::size_t(k) * 8;  // bytes of next A prefetched per tile
  int j = 0, t = 0;
  for (; j + UN <= n; j += UN, ++t)
    tile<R, C, UN, Full>(k, live, a, b + std::ptrdiff_t(j) * k * C, c + std::ptrdiff_t(j) * ldc * C, ldc, b0,
                         pf + (t & 7) * pf_span);
  const int rest = n - j;
  if constexpr (UN == 6) {
    if (rest & 4) {
      tile<R, C, 4, Full>(k, live, a, b + std::ptrdiff_t(j) * k * C, c + std::ptrdiff_t(j) * ldc * C, ldc, b0, pf);
      j += 4;
    }
  }
  if (rest & 2) {
    tile<R, C, 2, Full>(k, live, a, b + std::ptrdiff_t(j) * k * C, c + std::ptrdiff_t(j) * ldc * C, ldc, b0, pf);
    j += 2;
  }
  if (rest & 1) tile<R, C, 1, Full>(k, live, a, b + std::ptrdiff_t(j) * k * C, c + std::ptrdiff_t(j) * ldc * C, ldc, b0, pf);
}

// m x n block of C from the panels of A (m rows by k) and B (k by n).
template <class R, int C, int UM, int UN>
void kernel(int m, int n, int k, const R* a, const R* b, R* c, int ldc, bool b0) {
  if (m < 1 || n < 1 || k < 1) return;
  int i = 0;
  for (; i + UM <= m; i += UM) {
    const R* ap = a + std::ptrdiff_t(i) * k * C;
    row_panel<R, C, UN, true>(n, k, UM, ap, b, c + std::ptrdiff_t(i) * C, ldc, b0, ap + std::ptrdiff_t(UM) * k * C);
  }
  const int rest = m - i;
  for (int w = UM / 2; w >= 1; w /= 2) {
    if (!(rest & w)) continue;
    const R* ap = a + std::ptrdiff_t(i) * k * C;
    row_panel<R, C, UN, false>(n, k, w, ap, b, c + std::ptrdiff_t(i) * C, ldc, b0, ap);
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
