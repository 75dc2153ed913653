// GEMM in the packed driver's order, in one pass over C and without
// buffers from the allocator.
//
// For a short K the packed driver spends its time around the arithmetic:
// it allocates panels, packs both operands, and with a beta other than 0
// and 1 it reads and writes C twice, once to scale it and once to add the
// product. Here each element of C gets exactly what it gets there:
//
//   op(A) with alpha applied as the A copier applies it (1 and -1 move the
//   bits, anything else multiplies; complex factors as (fr xr - fi xi,
//   fr xi + fi xr), each product rounded on its own, after conjugation),
//   op(B) as it stands (conjugated for "C"),
//   one fused multiply-add chain in K order from zero per real product
//   (complex: sums of a * re(b) and of a * im(b), combined as
//   (rr + -ii, ir + ri)),
//   and then C = res (beta 0), C + res (beta 1), or (beta C) + res with
//   beta C rounded as the driver's scaling pass rounds it.
//
// (beta C) + res are the same two roundings as the separate pass followed
// by the kernel's addition, so the bits are those of the packed driver
// when K fits one of its K blocks, which the callers make sure of.
//
// op(A) is read in place when it is neither transposed nor scaled; else a
// block of rows is packed (alpha in it) into a buffer on the stack. Within
// a block of rows the columns go outer and strips of rows inner, so C is
// walked down its columns, one contiguous stretch per column.
#include "blas/engine/paths.hpp"

namespace orb::paths {
namespace {

using simd::kRegBytes;

// Reals of packed A the stack holds.
constexpr int kStackReals = 4096;

template <class R, int C>
struct onepass_tile_shape {
  // Vectors of rows per strip and columns per tile: six (AVX2: twelve
  // registers) or twelve accumulator vectors.
  static constexpr int RV = kRegBytes == 64 ? 2 : 1;
  static constexpr int JN = C == 1 ? 6 : 3;
};

// beta applied to a vector of C the way the driver's scaling pass does it.
template <class R, int C>
struct beta_factor {
  vec<R> vr, vi;
  beta_factor(R br, R bi) : vr(vec<R>::set1(br)), vi(vec<R>::zero()) {
    // (-bi, bi) pairs; the product by -1 or 1 is exact.
    if constexpr (C == 2) vi = vec<R>::set1(bi) * vec<R>::load(lane_patterns<R>::minus_plus);
  }
  vec<R> apply(const vec<R>& x) const {
    if constexpr (C == 1) return vr * x;
    else return vr * x + vi * swap_pairs(x);
  }
};

enum { c_store = 0, c_add = 1, c_scale = 2 };

struct b_view {
  const void* base;
  ptrdiff_t col, step;  // reals between columns, between K steps
  bool conj;
};

// One tile: `live` reals of rows (Full: RV whole vectors) by JN columns.
// ap: op(A) of the strip at K step 0, astep reals per K step.
template <class R, int C, int RV, int JN, bool Full>
__attribute__((always_inline)) inline void tile(int k, int live, const R* ap, ptrdiff_t astep, const R* bp,
                                                const b_view& bv, R* cp, ptrdiff_t ldc, int mode,
                                                const beta_factor<R, C>& f) {
  using V = vec<R>;
  constexpr int N = V::N;
  V acc[JN * C][RV];
#pragma GCC unroll 12
  for (int j = 0; j < JN * C; ++j)
#pragma GCC unroll 2
    for (int r = 0; r < RV; ++r) acc[j][r] = V::zero();
  for (int p = 0; p < k; ++p) {
    V av[RV];
    const R* src = ap + p * astep;
#pragma GCC unroll 2
    for (int r = 0; r < RV; ++r) av[r] = Full ? V::loadu(src + r * N) : V::load_mask(src + r * N, live - r * N);
    const R* b = bp + p * bv.step;
#pragma GCC unroll 6
    for (int j = 0; j < JN; ++j) {
      const R* e = b + j * bv.col;
      if constexpr (C == 1) {
        const V s = V::set1(e[0]);
#pragma GCC unroll 2
        for (int r = 0; r < RV; ++r) acc[j][r] = fma(av[r], s, acc[j][r]);
      } else {
        const V sr = V::set1(e[0]), si = V::set1(bv.conj ? -e[1] : e[1]);
#pragma GCC unroll 2
        for (int r = 0; r < RV; ++r) {
          acc[2 * j][r] = fma(av[r], sr, acc[2 * j][r]);
          acc[2 * j + 1][r] = fma(av[r], si, acc[2 * j + 1][r]);
        }
      }
    }
  }
  const V sign = C == 2 ? V::load(lane_patterns<R>::minus_plus) : V::zero();
#pragma GCC unroll 6
  for (int j = 0; j < JN; ++j) {
    R* cj = cp + j * ldc;
#pragma GCC unroll 2
    for (int r = 0; r < RV; ++r) {
      V res;
      if constexpr (C == 1) res = acc[j][r];
      else res = acc[2 * j][r] + swap_pairs(acc[2 * j + 1][r]) * sign;
      R* o = cj + r * N;
      const int l = live - r * N;
      if (mode == c_store) {
        if (Full) res.storeu(o);
        else if (l > 0) res.store_mask(o, l);
      } else {
        if (!Full && l <= 0) continue;
        const V x = Full ? V::loadu(o) : V::load_mask(o, l);
        const V y = mode == c_add ? x + res : f.apply(x) + res;
        if (Full) y.storeu(o);
        else y.store_mask(o, l);
      }
    }
  }
}

// All columns of a block of rows, strips inner.
template <class R, int C, bool Full, int RV = onepass_tile_shape<R, C>::RV>
inline void strip_columns(int n, int k, int live, const R* ap, ptrdiff_t astep, const b_view& bv, R* cp,
                          ptrdiff_t ldc, int mode, const beta_factor<R, C>& f) {
  constexpr int JN = onepass_tile_shape<R, C>::JN;
  // A last strip that fills one vector takes the tiles of one vector.
  if constexpr (!Full && RV > 1) {
    if (live <= vec<R>::N) return strip_columns<R, C, false, 1>(n, k, live, ap, astep, bv, cp, ldc, mode, f);
  }
  const R* b = static_cast<const R*>(bv.base);
  int j = 0;
  for (; j + JN <= n; j += JN)
    tile<R, C, RV, JN, Full>(k, live, ap, astep, b + j * bv.col, bv, cp + j * ldc, ldc, mode, f);
  const int rest = n - j;
  if constexpr (JN == 6) {
    if (rest & 4) {
      tile<R, C, RV, 4, Full>(k, live, ap, astep, b + j * bv.col, bv, cp + j * ldc, ldc, mode, f);
      j += 4;
    }
  }
  if (rest & 2) {
    tile<R, C, RV, 2, Full>(k, live, ap, astep, b + j * bv.col, bv, cp + j * ldc, ldc, mode, f);
    j += 2;
  }
  if (rest & 1) tile<R, C, RV, 1, Full>(k, live, ap, astep, b + j * bv.col, bv, cp + j * ldc, ldc, mode, f);
}

// op(A)(i, p) times alpha, as the A copier forms it.
template <class R, int C>
struct a_factor {
  R fr, fi;
  int kind;  // 0 one, 1 minus one, 2 any
  bool conj;
  void operator()(const R* x, R* y) const {
    if constexpr (C == 1) {
      y[0] = kind == 0 ? x[0] : kind == 1 ? -x[0] : fr * x[0];
    } else {
      const R xr = x[0], xi = conj ? -x[1] : x[1];
      if (kind == 0) y[0] = xr, y[1] = xi;
      else if (kind == 1) y[0] = -xr, y[1] = -xi;
      else {
        y[0] = simd::opaque(fr * xr) - fi * xi;
        y[1] = simd::opaque(fr * xi) + fi * xr;
      }
    }
  }
};

template <class R, int C>
void run(char ta, char tb, int m, int n, int k, const R* alpha, const R* a, int lda, const R* b, int ldb,
         const R* beta, R* c, int ldc) {
  using V = vec<R>;
  constexpr int N = V::N;
  constexpr int SR = onepass_tile_shape<R, C>::RV * N;  // reals per strip
  constexpr int SE = SR / C;                            // elements per strip
  a_factor<R, C> af;
  af.fr = alpha[0];
  af.fi = C == 2 ? alpha[C - 1] : R(0);
  af.kind = (af.fr == R(1) && af.fi == R(0)) ? 0 : (af.fr == R(-1) && af.fi == R(0)) ? 1 : 2;
  af.conj = ta == 'C';
  const R br = beta[0], bi = C == 2 ? beta[C - 1] : R(0);
  const int mode = (br == R(0) && bi == R(0)) ? c_store : (br == R(1) && bi == R(0)) ? c_add : c_scale;
  const beta_factor<R, C> f(br, bi);
  b_view bv;
  bv.base = b;
  bv.col = (tb == 'N' ? ptrdiff_t(ldb) : 1) * C;
  bv.step = (tb == 'N' ? 1 : ptrdiff_t(ldb)) * C;
  bv.conj = tb == 'C';
  const ptrdiff_t ldcr = ptrdiff_t(ldc) * C;
  const bool in_place = ta == 'N' && af.kind == 0;

  alignas(64) R buf[kStackReals];
  // Rows per block: all of them when A is read in place, else whole strips
  // of the stack buffer.
  const int block = in_place ? m : (kStackReals / (SR * k)) * SE;
  for (int i0 = 0; i0 < m; i0 += block) {
    const int mb = m - i0 < block ? m - i0 : block;
    if (!in_place) {
      // Strip s of the block at buf + s * k * SR, row r of it at K step p
      // at p * SR + r * C.
      for (int s = 0; s * SE < mb; ++s) {
        R* dst = buf + ptrdiff_t(s) * k * SR;
        const int rows = mb - s * SE < SE ? mb - s * SE : SE;
        for (int p = 0; p < k; ++p)
          for (int r = 0; r < rows; ++r) {
            const int i = i0 + s * SE + r;
            const R* x = a + (ta == 'N' ? i + ptrdiff_t(p) * lda : p + ptrdiff_t(i) * lda) * C;
            af(x, dst + p * SR + r * C);
          }
      }
    }
    auto strip_a = [&](int s, ptrdiff_t& astep) -> const R* {
      if (in_place) {
        astep = ptrdiff_t(lda) * C;
        return a + ptrdiff_t(i0 + s * SE) * C;
      }
      astep = SR;
      return buf + ptrdiff_t(s) * k * SR;
    };
    // Columns in groups of the tile width, strips of rows inside each.
    using S = onepass_tile_shape<R, C>;
    constexpr int JN = S::JN;
    for (int j0 = 0; j0 < n; j0 += JN) {
      const int nb = n - j0 < JN ? n - j0 : JN;
      b_view bj = bv;
      bj.base = b + j0 * bv.col;
      R* cj = c + ptrdiff_t(i0) * C + j0 * ldcr;
      int s = 0;
      for (; (s + 1) * SE <= mb; ++s) {
        ptrdiff_t astep;
        const R* ap = strip_a(s, astep);
        strip_columns<R, C, true>(nb, k, SR, ap, astep, bj, cj + ptrdiff_t(s) * SR, ldcr, mode, f);
      }
      if (s * SE < mb) {
        ptrdiff_t astep;
        const R* ap = strip_a(s, astep);
        strip_columns<R, C, false>(nb, k, (mb - s * SE) * C, ap, astep, bj, cj + ptrdiff_t(s) * SR, ldcr, mode,
                                   f);
      }
    }
  }
}

}  // namespace

template <class T>
void onepass_gemm(char ta, char tb, int m, int n, int k, const T* alpha, const T* a, int lda, const T* b, int ldb,
                  const T* beta, T* c, int ldc) {
  using R = typename real_of<T>::type;
  constexpr int C = int(sizeof(T) / sizeof(R));
  if (m < 1 || n < 1 || k < 1 || k > kOnePassMaxK) return;
  run<R, C>(ta, tb, m, n, k, reinterpret_cast<const R*>(alpha), reinterpret_cast<const R*>(a), lda,
            reinterpret_cast<const R*>(b), ldb, reinterpret_cast<const R*>(beta), reinterpret_cast<R*>(c), ldc);
}

template void onepass_gemm<float>(char, char, int, int, int, const float*, const float*, int, const float*, int,
                                  const float*, float*, int);
template void onepass_gemm<double>(char, char, int, int, int, const double*, const double*, int, const double*, int,
                                   const double*, double*, int);
template void onepass_gemm<orb_complex8>(char, char, int, int, int, const orb_complex8*, const orb_complex8*, int,
                                         const orb_complex8*, int, const orb_complex8*, orb_complex8*, int);
template void onepass_gemm<orb_complex16>(char, char, int, int, int, const orb_complex16*, const orb_complex16*,
                                          int, const orb_complex16*, int, const orb_complex16*, orb_complex16*,
                                          int);

}  // namespace orb::paths
