// No-copy register kernels: C(mb x nb) = alpha op(A) op(B) + beta C with A
// and B read where they lie, for the medium sizes where a packing pass would
// cost more than it saves.
//
// A strip of rows of op(A) is held as vectors; each element of op(B) is
// broadcast straight from memory; the tile is 8 columns wide in the 64-bit
// AVX-512 build, 6 in the others and 2 in the portable build. Every element
// of C is one chain of fused multiply-adds over the K block, in order, then
// alpha * sum + beta * C: the tile height can thus follow the register file
// of the build (two vectors where 32 registers are there, one otherwise)
// without changing a bit of the result.
//
// A transposed A (or an unaligned one when many columns reuse the strip)
// is read once per strip into a page-aligned scratch on the stack, and the
// remaining column tiles read the strip from there.
#include "blas/engine/paths.hpp"

namespace orb::paths {
namespace {

#if ORB_LEVEL >= 9
constexpr int kStripVecs = 2;
#else
constexpr int kStripVecs = 1;
#endif
#if ORB_LEVEL >= 9 && defined(__x86_64__)
// 32 vector registers: eight columns (sixteen accumulators over a strip of
// two vectors) keep more chains in flight, and a matrix of 8, 16, 24 or 32
// columns takes whole tiles.
constexpr int kTileCols = 8;
#elif ORB_LEVEL >= 7
constexpr int kTileCols = 6;
#else
// The portable build's vector is four SSE registers: two columns of
// accumulators (eight registers) leave room for the strip and the broadcast
// where six would spill, and make a third of the code to compile.
constexpr int kTileCols = 2;
#endif
// K block the scratch holds; a longer K reads the strip in place.
constexpr int kScratchK = 384;

enum strip_mode { kSource, kSourceToScratch, kScratch };

template <class T, bool TA>
inline vec<T> load_strip(const T* a, int lda, int i, int p, int live) {
  using V = vec<T>;
  constexpr int N = V::N;
  if (TA) return V::gather(a + p + ptrdiff_t(i) * lda, lda, live >= N ? N : live);
  const T* src = a + i + ptrdiff_t(p) * lda;
  return live >= N ? V::loadu(src) : V::load_mask(src, live);
}

// beta_kind is 0, 1 or 2 (any other value, read from beta): it only shapes the
// update of C after the K loop, so it is a run-time value there; only the
// prefetch of B's next column (PF: B not transposed and beta 1) changes the
// loop itself. Fewer copies of the tile, the same instructions per tile.
template <class T, bool TA, bool TB, bool PF, int R, int NJ, strip_mode mode>
void tile(int live, int kb, T alpha, const T* a, int lda, const T* b, int ldb, int beta_kind, T beta, T* c,
          int ldc, int i, int j, T* scratch) {
  using V = vec<T>;
  constexpr int N = V::N;
  V acc[R][NJ];
  #pragma GCC unroll 16
  for (int r = 0; r < R; ++r)
    #pragma GCC unroll 16
    for (int q = 0; q < NJ; ++q) acc[r][q] = V::zero();
  const T* bq[NJ];
  #pragma GCC unroll 16
  for (int q = 0; q < NJ; ++q) bq[q] = TB ? b + j + q : b + ptrdiff_t(j + q) * ldb;
  const ptrdiff_t bstep = TB ? ldb : 1;
  for (int p = 0; p < kb; ++p) {
    V av[R];
    if constexpr (mode == kScratch) {
      #pragma GCC unroll 16
      for (int r = 0; r < R; ++r) av[r] = V::load(scratch + (ptrdiff_t(p) * R + r) * N);
    } else {
      #pragma GCC unroll 16
      for (int r = 0; r < R; ++r) av[r] = load_strip<T, TA>(a, lda, i + r * N, p, live - r * N);
      if constexpr (mode == kSourceToScratch)
        #pragma GCC unroll 16
        for (int r = 0; r < R; ++r) av[r].store(scratch + (ptrdiff_t(p) * R + r) * N);
    }
    if (PF) __builtin_prefetch(bq[0] + p + 128 / sizeof(T));
    #pragma GCC unroll 16
    for (int q = 0; q < NJ; ++q) {
      const V bv = V::set1(bq[q][p * bstep]);
      #pragma GCC unroll 16
      for (int r = 0; r < R; ++r) acc[r][q] = fma(av[r], bv, acc[r][q]);
    }
  }
  const V va = V::set1(alpha), vb = V::set1(beta);
  if (beta_kind != 0 && live < R * N) {
    // A short strip: masked stores to one column followed by masked loads
    // of the next stall the load until the store leaves the core (the
    // masks hide that the elements do not overlap), so every column of C
    // is read before any is written.
    V cv[R][NJ];
    #pragma GCC unroll 16
    for (int q = 0; q < NJ; ++q)
      #pragma GCC unroll 16
      for (int r = 0; r < R; ++r) {
        const int l = live - r * N;
        const T* o = c + i + r * N + ptrdiff_t(j + q) * ldc;
        cv[r][q] = l >= N ? V::loadu(o) : l > 0 ? V::load_mask(o, l) : V::zero();
      }
    #pragma GCC unroll 16
    for (int q = 0; q < NJ; ++q)
      #pragma GCC unroll 16
      for (int r = 0; r < R; ++r) {
        const int l = live - r * N;
        if (l <= 0) break;
        T* o = c + i + r * N + ptrdiff_t(j + q) * ldc;
        const V out = beta_kind == 1 ? fma(va, acc[r][q], cv[r][q]) : fma(va, acc[r][q], vb * cv[r][q]);
        l >= N ? out.storeu(o) : out.store_mask(o, l);
      }
    return;
  }
  #pragma GCC unroll 16
  for (int q = 0; q < NJ; ++q) {
    T* cc = c + i + ptrdiff_t(j + q) * ldc;
    #pragma GCC unroll 16
    for (int r = 0; r < R; ++r) {
      const int l = live - r * N;
      if (l <= 0) break;
      T* o = cc + r * N;
      V out;
      if (beta_kind == 0) out = va * acc[r][q];
      else {
        const V cv = l >= N ? V::loadu(o) : V::load_mask(o, l);
        out = beta_kind == 1 ? fma(va, acc[r][q], cv) : fma(va, acc[r][q], vb * cv);
      }
      l >= N ? out.storeu(o) : out.store_mask(o, l);
    }
  }
}

template <class T, bool TA, bool TB, bool PF, int R, strip_mode mode>
__attribute__((always_inline)) inline void tiles(int live, int nj, int kb, T alpha, const T* a, int lda, const T* b,
                                                 int ldb, int beta_kind, T beta, T* c, int ldc, int i, int j,
                                                 T* scratch) {
  switch (nj) {
#define ORB_TILE(w)                                                                                      \
  case w:                                                                                                \
    if constexpr (w <= kTileCols)                                                                        \
      tile<T, TA, TB, PF, R, w, mode>(live, kb, alpha, a, lda, b, ldb, beta_kind, beta, c, ldc, i, j, scratch); \
    break;
    ORB_TILE(1) ORB_TILE(2) ORB_TILE(3) ORB_TILE(4) ORB_TILE(5) ORB_TILE(6) ORB_TILE(7) ORB_TILE(8)
#undef ORB_TILE
  }
}

// A strip across the columns: the first tile of a strip headed for the
// scratch copies it there, the others read it back.
template <class T, bool TA, bool TB, bool PF, int R>
__attribute__((always_inline)) inline void strip(strip_mode first, int live, int nb, int kb, T alpha, const T* a,
                                                 int lda, const T* b, int ldb, int beta_kind, T beta, T* c, int ldc,
                                                 int i, T* scratch) {
  for (int j = 0; j < nb; j += kTileCols) {
    const int nj = nb - j < kTileCols ? nb - j : kTileCols;
    if (first == kSource)
      tiles<T, TA, TB, PF, R, kSource>(live, nj, kb, alpha, a, lda, b, ldb, beta_kind, beta, c, ldc, i, j, scratch);
    else if (j == 0)
      tiles<T, TA, TB, PF, R, kSourceToScratch>(live, nj, kb, alpha, a, lda, b, ldb, beta_kind, beta, c, ldc, i, j,
                                                scratch);
    else
      tiles<T, TA, TB, PF, R, kScratch>(live, nj, kb, alpha, a, lda, b, ldb, beta_kind, beta, c, ldc, i, j, scratch);
  }
}

template <class T, bool TA, bool TB, bool PF>
void strips(strip_mode first, int mb, int nb, int kb, T alpha, const T* a, int lda, const T* b, int ldb,
            int beta_kind, T beta, T* c, int ldc, T* scratch) {
  constexpr int N = vec<T>::N, S = kStripVecs * N;
  int i = 0;
  for (; i + S <= mb; i += S)
    strip<T, TA, TB, PF, kStripVecs>(first, S, nb, kb, alpha, a, lda, b, ldb, beta_kind, beta, c, ldc, i, scratch);
  for (; i < mb; i += N)
    strip<T, TA, TB, PF, 1>(first, mb - i < N ? mb - i : N, nb, kb, alpha, a, lda, b, ldb, beta_kind, beta, c,
                            ldc, i, scratch);
}

// The scratch lives in a frame of its own, so that calls which read A in
// place (small ones above all) do not pay for setting up tens of kilobytes
// of stack.
template <class T, bool TA, bool TB, bool PF>
__attribute__((noinline)) void strips_through_scratch(int mb, int nb, int kb, T alpha, const T* a, int lda,
                                                      const T* b, int ldb, int beta_kind, T beta, T* c, int ldc) {
  constexpr int S = kStripVecs * vec<T>::N;
  // Room for one strip over the K block, page-aligned.
  alignas(4096) T scratch[kScratchK * S + 128 / sizeof(T)];
  strips<T, TA, TB, PF>(kSourceToScratch, mb, nb, kb, alpha, a, lda, b, ldb, beta_kind, beta, c, ldc, scratch);
}

template <class T, bool TA, bool TB, int BETA>
void nocopy(int mb, int nb, int kb, const T* palpha, const T* a, int lda, const T* b, int ldb, const T* pbeta, T* c,
            int ldc) {
  if (mb < 1 || nb < 1) return;
  const T alpha = *palpha, beta = BETA == 2 ? *pbeta : T(BETA);
  constexpr bool PF = !TB && BETA == 1;
  if (kb < 1) {
    // Nothing to add: only beta acts.
    if (BETA != 1)
      for (int j = 0; j < nb; ++j) scale_column(mb, beta, c + ptrdiff_t(j) * ldc);
    return;
  }
  if (kb <= kScratchK && nb > kTileCols) {
    const bool unaligned = (reinterpret_cast<std::uintptr_t>(a) % 32) != 0 || (ptrdiff_t(lda) * sizeof(T)) % 32 != 0;
    if (TA || (nb > 18 && unaligned))
      return strips_through_scratch<T, TA, TB, PF>(mb, nb, kb, alpha, a, lda, b, ldb, BETA, beta, c, ldc);
  }
  strips<T, TA, TB, PF>(kSource, mb, nb, kb, alpha, a, lda, b, ldb, BETA, beta, c, ldc, nullptr);
}

}  // namespace
}  // namespace orb::paths

using namespace orb::paths;

#define ORB_NOCOPY_DEF(T, x, op, ta, tb)                                                          \
  ORB_API void ORB_BLAS(x##gemm_kernel_nocopy_##op##_b0)(ORB_NOCOPY_ARGS(T)) {                  \
    nocopy<T, ta, tb, 0>(mb, nb, kb, alpha, a, lda, b, ldb, beta, c, ldc);                      \
  }                                                                                             \
  ORB_API void ORB_BLAS(x##gemm_kernel_nocopy_##op##_b1)(ORB_NOCOPY_ARGS(T)) {                  \
    nocopy<T, ta, tb, 1>(mb, nb, kb, alpha, a, lda, b, ldb, beta, c, ldc);                      \
  }                                                                                             \
  ORB_API void ORB_BLAS(x##gemm_kernel_nocopy_##op##_bn)(ORB_NOCOPY_ARGS(T)) {                  \
    nocopy<T, ta, tb, 2>(mb, nb, kb, alpha, a, lda, b, ldb, beta, c, ldc);                      \
  }
ORB_NOCOPY_DEF(double, d, NN, false, false)
ORB_NOCOPY_DEF(double, d, NT, false, true)
ORB_NOCOPY_DEF(double, d, TN, true, false)
ORB_NOCOPY_DEF(double, d, TT, true, true)
ORB_NOCOPY_DEF(float, s, NN, false, false)
ORB_NOCOPY_DEF(float, s, NT, false, true)
ORB_NOCOPY_DEF(float, s, TN, true, false)
ORB_NOCOPY_DEF(float, s, TT, true, true)
