// The complex power-of-two transform of the signal layer, on the logical
// vector of frame/simd.hpp.
//
// A vector holds V complex values (V = 4 in double, 8 in single). With
// N = V M, index n = V t + j puts sample x[V t + j] in lane j of vector t,
// so memory as it stands is V interleaved sequences x_j[t] side by side.
// The transform runs in two parts:
//   1. M-point transforms of the V sequences at once, each vector one
//      station: radix-4 decimation in frequency (one radix-2 stage first
//      when log2 M is odd), every operation lane-wise, twiddles broadcast
//      from a scalar table. The results land in digit-reversed order of
//      vectors (the permutation table).
//   2. The final radix-V step: X[k + M q] = sum_j w_V^(j q) w_N^(j k)
//      A_j[k]. V vectors k0 .. k0+V-1 are read in permuted order,
//      transposed (lane c now holds k0 + c), multiplied by w_N^(j k) from
//      a table in vector form, and combined across vectors; output vector
//      q goes to k0 + M q.
// Stages whose blocks exceed the in-cache block run over the whole array
// one after the other; below it every block runs its remaining stages
// while it sits in cache. Part 1 reads the source and writes the work
// buffer; part 2 reads the buffer and writes the destination, so the
// transform works in place and out of place alike.
//
// Every step is a loop over independent units (butterflies, blocks), which
// the team form deals out among threads with a barrier between steps; a
// unit computes the same numbers whichever thread runs it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cmath>
#include <cstring>

#include "dft/backends/sync.hpp"
#include "frame/simd.hpp"

namespace orb::dft::fft {

using simd::vec;

template <class T>
inline constexpr int kV = 32 / int(sizeof(T));  // complex values per vector
template <class T>
inline constexpr int kL = 64 / int(sizeof(T));  // T lanes per vector

// The stage plan of one complex transform of order >= 6, kept in the memory
// of the layer's plan record. Pointers point into the same block.
template <class T>
struct cplan {
  int order;
  int m;          // vectors (N / V)
  int nstages;    // stages of part 1
  int first_r2;   // stage 0 is radix 2
  int blk_stage;  // first stage whose blocks fit the in-cache block
  int pad_;
  const T* stage_tw[32];  // per stage: radix 4, 6 scalars per butterfly (w, w^2, w^3); radix 2, 2
  const int* perm;        // vector k of part 1's result lies at perm[k]
  // Part 2's twiddles w_N^(j k), k = V b + c. Plain: per block b, (V-1)
  // pairs of vectors (re twice per value, (-im, im)). Compact (large
  // orders, where the plain table would outgrow the cache): per block the
  // V-1 scalars w_N^(j V b), and per j four constant vectors of w_N^(j c)
  // (re twice, im twice, (-re, re), (-im, im)); the lanes' twiddles are
  // their products.
  int compact;
  int pad2_;
  const T* final_tw;
  const T* final_const;
};

// ---- Lane-wise complex arithmetic on interleaved (re, im) pairs.
template <class T>
[[gnu::always_inline]] inline vec<T> alt_sign() {  // (-0, +0, -0, +0, ...)
  struct blk {
    alignas(64) T t[kL<T>];
  };
  static constexpr blk b = [] {
    blk r{};
    for (int i = 0; i < kL<T>; ++i) r.t[i] = (i & 1) ? T(0) : T(-0.0);
    return r;
  }();
  return vec<T>::load(b.t);
}

// a times -i (forward) or +i (inverse), exactly.
template <class T, bool Inv>
[[gnu::always_inline]] inline vec<T> rot(const vec<T>& a) {
  // (im, -re) for -i; (-im, re) for +i.
  const vec<T> s = swap_pairs(a);
  if constexpr (Inv) return simd::bit_xor(s, alt_sign<T>());
  else return simd::bit_xor(s, simd::bit_xor(alt_sign<T>(), vec<T>::set1(T(-0.0))));
}

// a times w where wr = (c, c, ...) and wi = (-s, s, ...) hold the forward
// twiddle c - i s... in the lanes of each value; the inverse takes the
// conjugate.
template <class T, bool Inv>
[[gnu::always_inline]] inline vec<T> cmul(const vec<T>& a, const vec<T>& wr, const vec<T>& wi) {
  const vec<T> p = a * wr;
  if constexpr (Inv) return fnma(swap_pairs(a), wi, p);
  else return fma(swap_pairs(a), wi, p);
}

// The same with the twiddle as two scalars (real and imaginary part of
// the forward twiddle) broadcast to every value.
template <class T, bool Inv>
[[gnu::always_inline]] inline vec<T> cmul_s(const vec<T>& a, const T* w) {
  return cmul<T, Inv>(a, vec<T>::set1(w[0]), simd::bit_xor(vec<T>::set1(w[1]), alt_sign<T>()));
}

// ---- Part 1: stages on whole vectors.

// One radix-4 butterfly in place: a0 + a1 + a2 + a3 and the other three
// sums, those times w^1, w^2, w^3 (six scalars at w) when Twiddled.
template <class T, bool Inv, bool Twiddled>
[[gnu::always_inline]] inline void bfly4(vec<T>& a0, vec<T>& a1, vec<T>& a2, vec<T>& a3, const T* w) {
  const vec<T> t0 = a0 + a2, t1 = a0 - a2, t2 = a1 + a3, t3 = rot<T, Inv>(a1 - a3);
  a0 = t0 + t2;
  if constexpr (Twiddled) {
    a1 = cmul_s<T, Inv>(t1 + t3, w);
    a2 = cmul_s<T, Inv>(t0 - t2, w + 2);
    a3 = cmul_s<T, Inv>(t1 - t3, w + 4);
  } else {
    a1 = t1 + t3;
    a2 = t0 - t2;
    a3 = t1 - t3;
  }
}

// Radix-4 butterflies [i0, i1) of a block at in / out with span h vectors.
template <class T, bool Inv>
inline void radix4(const T* in, T* out, std::ptrdiff_t h, const T* tw, std::ptrdiff_t i0, std::ptrdiff_t i1) {
  using V = vec<T>;
  constexpr int L = kL<T>;
  for (std::ptrdiff_t i = i0; i < i1; ++i) {
    const T* p = in + i * L;
    V a0 = V::loadu(p), a1 = V::loadu(p + h * L), a2 = V::loadu(p + 2 * h * L), a3 = V::loadu(p + 3 * h * L);
    bfly4<T, Inv, true>(a0, a1, a2, a3, tw + 6 * i);
    T* q = out + i * L;
    a0.storeu(q);
    a1.storeu(q + h * L);
    a2.storeu(q + 2 * h * L);
    a3.storeu(q + 3 * h * L);
  }
}

// The last radix-4 stage (span 1, twiddles 1) over nb blocks of 4 vectors.
template <class T, bool Inv>
inline void radix4_last(const T* in, T* out, std::ptrdiff_t nb) {
  using V = vec<T>;
  constexpr int L = kL<T>;
  for (std::ptrdiff_t b = 0; b < nb; ++b) {
    const T* p = in + 4 * b * L;
    V a0 = V::loadu(p), a1 = V::loadu(p + L), a2 = V::loadu(p + 2 * L), a3 = V::loadu(p + 3 * L);
    bfly4<T, Inv, false>(a0, a1, a2, a3, nullptr);
    T* q = out + 4 * b * L;
    a0.storeu(q);
    a1.storeu(q + L);
    a2.storeu(q + 2 * L);
    a3.storeu(q + 3 * L);
  }
}

// Two radix-4 stages at once (spans h and h/4, twiddles tw0 and tw1) on
// nb blocks of 4h vectors: the 16 vectors one pair of butterfly groups
// shares stay in registers between the stages. The numbers are those of
// the two stages run one after the other; the second has no twiddles when
// its span is 1.
template <class T, bool Inv>
inline void radix4x2(const T* in, T* out, std::ptrdiff_t h, const T* tw0, const T* tw1, std::ptrdiff_t nb) {
  using V = vec<T>;
  constexpr int L = kL<T>;
  const std::ptrdiff_t hq = h / 4, s1 = hq * L, s3 = 3 * hq * L;
  for (std::ptrdiff_t b = 0; b < nb; ++b) {
    // One pointer per quarter, moving one vector a step; the four vectors
    // of a quarter at offsets 0, s1, 2 s1, s3 (addressing modes, not a
    // register per address).
    const T* ip[4];
    T* op[4];
    #pragma GCC unroll 4
    for (int q = 0; q < 4; ++q) ip[q] = in + (b * 4 + q) * h * L, op[q] = out + (b * 4 + q) * h * L;
    for (std::ptrdiff_t i = 0; i < hq; ++i) {
      V x[4][4];  // x[q][a]: vector i + a hq of quarter q
      #pragma GCC unroll 4
      for (int q = 0; q < 4; ++q) {
        x[q][0] = V::loadu(ip[q]);
        x[q][1] = V::loadu(ip[q] + s1);
        x[q][2] = V::loadu(ip[q] + 2 * s1);
        x[q][3] = V::loadu(ip[q] + s3);
        ip[q] += L;
      }
      #pragma GCC unroll 4
      for (int a = 0; a < 4; ++a) bfly4<T, Inv, true>(x[0][a], x[1][a], x[2][a], x[3][a], tw0 + 6 * (i + a * hq));
      #pragma GCC unroll 4
      for (int q = 0; q < 4; ++q) {
        if (hq == 1) bfly4<T, Inv, false>(x[q][0], x[q][1], x[q][2], x[q][3], nullptr);
        else bfly4<T, Inv, true>(x[q][0], x[q][1], x[q][2], x[q][3], tw1 + 6 * i);
      }
      #pragma GCC unroll 4
      for (int q = 0; q < 4; ++q) {
        x[q][0].storeu(op[q]);
        x[q][1].storeu(op[q] + s1);
        x[q][2].storeu(op[q] + 2 * s1);
        x[q][3].storeu(op[q] + s3);
        op[q] += L;
      }
    }
  }
}

// A radix-2 stage (span h, twiddles tw0) and the radix-4 stage after it
// (span h/4, twiddles tw1; none when that span is 1) at once on one block
// of 2h vectors: 8 vectors in registers between the stages.
template <class T, bool Inv>
inline void radix2x4(const T* in, T* out, std::ptrdiff_t h, const T* tw0, const T* tw1) {
  using V = vec<T>;
  constexpr int L = kL<T>;
  const std::ptrdiff_t hq = h / 4, s1 = hq * L, s3 = 3 * hq * L;
  const T* ip[2] = {in, in + h * L};
  T* op[2] = {out, out + h * L};
  for (std::ptrdiff_t i = 0; i < hq; ++i) {
    V x[2][4];  // x[q][a]: vector i + a hq of half q
    #pragma GCC unroll 2
    for (int q = 0; q < 2; ++q) {
      x[q][0] = V::loadu(ip[q]);
      x[q][1] = V::loadu(ip[q] + s1);
      x[q][2] = V::loadu(ip[q] + 2 * s1);
      x[q][3] = V::loadu(ip[q] + s3);
      ip[q] += L;
    }
    #pragma GCC unroll 4
    for (int a = 0; a < 4; ++a) {
      const V d = x[0][a] - x[1][a];
      x[0][a] = x[0][a] + x[1][a];
      x[1][a] = cmul_s<T, Inv>(d, tw0 + 2 * (i + a * hq));
    }
    #pragma GCC unroll 2
    for (int q = 0; q < 2; ++q) {
      if (hq == 1) bfly4<T, Inv, false>(x[q][0], x[q][1], x[q][2], x[q][3], nullptr);
      else bfly4<T, Inv, true>(x[q][0], x[q][1], x[q][2], x[q][3], tw1 + 6 * i);
    }
    #pragma GCC unroll 2
    for (int q = 0; q < 2; ++q) {
      x[q][0].storeu(op[q]);
      x[q][1].storeu(op[q] + s1);
      x[q][2].storeu(op[q] + 2 * s1);
      x[q][3].storeu(op[q] + s3);
      op[q] += L;
    }
  }
}

template <class T, bool Inv>
inline void radix2(const T* in, T* out, std::ptrdiff_t h, const T* tw, std::ptrdiff_t i0, std::ptrdiff_t i1) {
  using V = vec<T>;
  constexpr int L = kL<T>;
  for (std::ptrdiff_t i = i0; i < i1; ++i) {
    const V a0 = V::loadu(in + i * L), a1 = V::loadu(in + (i + h) * L);
    (a0 + a1).storeu(out + i * L);
    cmul_s<T, Inv>(a0 - a1, tw + 2 * i).storeu(out + (i + h) * L);
  }
}

// Stage s over butterflies [u0, u1) of the whole array (butterfly u is
// index u % h of block u / h).
template <class T, bool Inv>
inline void stage_range(const cplan<T>& p, int s, const T* in, T* out, std::ptrdiff_t u0, std::ptrdiff_t u1) {
  const bool r2 = s == 0 && p.first_r2;
  const int r = r2 ? 2 : 4;
  const std::ptrdiff_t size = std::ptrdiff_t(p.m) >> (2 * s - (p.first_r2 && s > 0 ? 1 : 0));
  const std::ptrdiff_t h = size / r;
  constexpr int L = kL<T>;
  while (u0 < u1) {
    const std::ptrdiff_t b = u0 / h, i = u0 % h, e = std::min<std::ptrdiff_t>(h, i + (u1 - u0));
    const T* bi = in + b * size * L;
    T* bo = out + b * size * L;
    if (r2) radix2<T, Inv>(bi, bo, h, p.stage_tw[s], i, e);
    else if (h == 1) radix4_last<T, Inv>(bi, bo, 1);
    else radix4<T, Inv>(bi, bo, h, p.stage_tw[s], i, e);
    u0 += e - i;
  }
}

// Size in vectors of the blocks of stage s.
template <class T>
inline std::ptrdiff_t stage_size(const cplan<T>& p, int s) {
  return std::ptrdiff_t(p.m) >> (2 * s - (p.first_r2 && s > 0 ? 1 : 0));
}

// All stages from s0 on, on the block starting at vector off (its size
// that of stage s0); the first reads in, the others work in out.
template <class T, bool Inv>
inline void block_stages(const cplan<T>& p, int s0, const T* in, T* out, std::ptrdiff_t off) {
  constexpr int L = kL<T>;
  const std::ptrdiff_t size = stage_size(p, s0);
  const T* src = in + off * L;
  T* dst = out + off * L;
  for (int s = s0; s < p.nstages; ++s) {
    const std::ptrdiff_t bs = stage_size(p, s);
    const bool r2 = s == 0 && p.first_r2;
    const std::ptrdiff_t h = bs / (r2 ? 2 : 4);
    if (s + 1 < p.nstages) {
      // The block is the whole transform when its first stage is radix 2.
      if (r2) radix2x4<T, Inv>(src, dst, h, p.stage_tw[s], p.stage_tw[s + 1]);
      else radix4x2<T, Inv>(src, dst, h, p.stage_tw[s], p.stage_tw[s + 1], size / bs);
      ++s;
    } else if (!r2 && h == 1) {
      radix4_last<T, Inv>(src, dst, size / 4);
    } else {
      for (std::ptrdiff_t b = 0; b < size; b += bs) {
        if (r2) radix2<T, Inv>(src + b * L, dst + b * L, h, p.stage_tw[s], 0, h);
        else radix4<T, Inv>(src + b * L, dst + b * L, h, p.stage_tw[s], 0, h);
      }
    }
    src = dst;
  }
}

// The complex values of a vector in reverse order (lane pair c trades
// with pair V-1-c). Data movement only, so every build gives the same bits.
// (Masked forms with a full mask: the plain ones pass GCC 12 an undefined
// operand that -Wmaybe-uninitialized reports.)
template <class T>
[[gnu::always_inline]] inline vec<T> reverse_pairs(const vec<T>& a) {
  vec<T> r;
#if ORB_LEVEL >= 9
  if constexpr (sizeof(T) == 8)
    r.r[0] = _mm512_mask_permutexvar_pd(a.r[0], 0xff, _mm512_setr_epi64(6, 7, 4, 5, 2, 3, 0, 1), a.r[0]);
  else
    r.r[0] = _mm512_mask_permutexvar_ps(a.r[0], 0xffff, _mm512_setr_epi32(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1),
                                       a.r[0]);
#elif ORB_LEVEL >= 7
  for (int k = 0; k < 2; ++k) {
    if constexpr (sizeof(T) == 8) r.r[k] = _mm256_permute2f128_pd(a.r[1 - k], a.r[1 - k], 1);
    else r.r[k] = _mm256_permutevar8x32_ps(a.r[1 - k], _mm256_setr_epi32(6, 7, 4, 5, 2, 3, 0, 1));
  }
#else
  for (int k = 0; k < 4; ++k) {
    if constexpr (sizeof(T) == 8) r.r[k] = a.r[3 - k];
    else r.r[k] = _mm_shuffle_ps(a.r[3 - k], a.r[3 - k], _MM_SHUFFLE(1, 0, 3, 2));
  }
#endif
  return r;
}

// ---- Part 2: the radix-V step across V vectors.

template <class To, class From>
[[gnu::always_inline]] inline vec<To> bitcast(const vec<From>& v) {
  static_assert(sizeof(vec<To>) == sizeof(vec<From>));
  vec<To> r;
  std::memcpy(&r, &v, sizeof r);
  return r;
}

template <class T, bool Inv>
[[gnu::always_inline]] inline void dft4(vec<T>* u) {
  bfly4<T, Inv, false>(u[0], u[1], u[2], u[3], nullptr);
}

// Eight points: two halves, the odd half turned by w_8^j, then radix 4 on
// each; outputs in natural order.
template <class T, bool Inv>
[[gnu::always_inline]] inline void dft8(vec<T>* u) {
  using V = vec<T>;
  const V c = V::set1(T(0.70710678118654752440));
  V s[4], d[4];
  #pragma GCC unroll 16
  for (int j = 0; j < 4; ++j) s[j] = u[j] + u[j + 4], d[j] = u[j] - u[j + 4];
  d[1] = (d[1] + rot<T, Inv>(d[1])) * c;
  d[2] = rot<T, Inv>(d[2]);
  d[3] = (rot<T, Inv>(d[3]) - d[3]) * c;
  dft4<T, Inv>(s);
  dft4<T, Inv>(d);
  #pragma GCC unroll 16
  for (int q = 0; q < 4; ++q) u[2 * q] = s[q], u[2 * q + 1] = d[q];
}

// Blocks [b0, b1) of part 2 (block b: vectors V b .. V b + V - 1), each
// output times scale when Scaled.
// Outputs q < V/2 go to out, the others to out_hi (the second half of the
// transform; the split kinds give it a place of its own).
template <class T, bool Inv, bool Scaled>
inline void final_range(const cplan<T>& p, const T* in, T* out, T* out_hi, std::ptrdiff_t b0, std::ptrdiff_t b1,
                        T scale) {
  using V = vec<T>;
  constexpr int NV = kV<T>, L = kL<T>;
  const std::ptrdiff_t m = p.m;
  for (std::ptrdiff_t b = b0; b < b1; ++b) {
    V u[NV];
    const int* pk = p.perm + b * NV;
    if constexpr (NV == 4) {
      #pragma GCC unroll 16
      for (int c = 0; c < 4; ++c) u[c] = V::loadu(in + std::ptrdiff_t(pk[c]) * L);
      simd::transpose_units16(u);
    } else {
      vec<double> d[8];
      #pragma GCC unroll 16
      for (int c = 0; c < 8; ++c) d[c] = vec<double>::loadu(reinterpret_cast<const double*>(in + std::ptrdiff_t(pk[c]) * L));
      simd::transpose(d);
      #pragma GCC unroll 16
      for (int c = 0; c < 8; ++c) u[c] = bitcast<T>(d[c]);
    }
    if (p.compact) {
      const T* w = p.final_tw + b * (NV - 1) * 2;
      #pragma GCC unroll 16
      for (int j = 1; j < NV; ++j) {
        const T* c = p.final_const + (j - 1) * 4 * L;
        const V wr = V::set1(w[2 * (j - 1)]), wi = V::set1(w[2 * (j - 1) + 1]);
        const V tr = fnma(V::load(c + L), wi, V::load(c) * wr), ti = fma(V::load(c + 3 * L), wr, V::load(c + 2 * L) * wi);
        u[j] = cmul<T, Inv>(u[j], tr, ti);
      }
    } else {
      const T* w = p.final_tw + b * (NV - 1) * 2 * L;
      #pragma GCC unroll 16
      for (int j = 1; j < NV; ++j) u[j] = cmul<T, Inv>(u[j], V::load(w + (j - 1) * 2 * L), V::load(w + (j - 1) * 2 * L + L));
    }
    if constexpr (NV == 4) dft4<T, Inv>(u);
    else dft8<T, Inv>(u);
    #pragma GCC unroll 16
    for (int q = 0; q < NV; ++q) {
      T* o = (q < NV / 2 ? out : out_hi) + (b * NV + (q % (NV / 2)) * m) * 2;
      if constexpr (Scaled) (u[q] * V::set1(scale)).storeu(o);
      else u[q].storeu(o);
    }
  }
}

// ---- The whole transform as steps over units, for one thread or a team.

// Units of step k: steps 0 .. blk_stage-1 are whole-array stages (units:
// butterflies), then the in-cache blocks (units: blocks), then part 2
// (units: blocks of V vectors).
template <class T>
inline int step_count(const cplan<T>& p) { return p.blk_stage + 2; }

template <class T>
inline std::ptrdiff_t step_units(const cplan<T>& p, int k) {
  if (k < p.blk_stage) return p.m / ((k == 0 && p.first_r2) ? 2 : 4);
  if (k == p.blk_stage) return p.blk_stage < p.nstages ? p.m / stage_size(p, p.blk_stage) : 0;
  return p.m / kV<T>;
}

template <class T, bool Inv>
inline void step_run(const cplan<T>& p, int k, const T* src, T* buf, T* dst, T* dst_hi, std::ptrdiff_t u0,
                     std::ptrdiff_t u1, bool scaled, T scale) {
  if (u0 >= u1) return;
  if (k < p.blk_stage) {
    stage_range<T, Inv>(p, k, k == 0 ? src : buf, buf, u0, u1);
  } else if (k == p.blk_stage) {
    const std::ptrdiff_t bs = stage_size(p, p.blk_stage);
    for (std::ptrdiff_t u = u0; u < u1; ++u) block_stages<T, Inv>(p, p.blk_stage, k == 0 ? src : buf, buf, u * bs);
  } else {
    // With no stage at all (m = 1), part 2 reads the source.
    const T* in = p.nstages == 0 ? src : buf;
    if (scaled) final_range<T, Inv, true>(p, in, dst, dst_hi, u0, u1, scale);
    else final_range<T, Inv, false>(p, in, dst, dst_hi, u0, u1, scale);
  }
}

// One thread: every step whole. buf may be src (part 1 then works in
// place), never dst; dst_hi receives the second half of the output.
template <class T, bool Inv>
inline void run(const cplan<T>& p, const T* src, T* buf, T* dst, T* dst_hi, bool scaled, T scale) {
  for (int k = 0; k < step_count(p); ++k)
    step_run<T, Inv>(p, k, src, buf, dst, dst_hi, 0, step_units(p, k), scaled, scale);
}

// Member tid of a team of nthreads: its share of every step, the team
// meeting at the barrier between steps (tid 0 leads).
template <class T, bool Inv>
inline void run_team(const cplan<T>& p, const T* src, T* buf, T* dst, T* dst_hi, bool scaled, T scale, int nthreads,
                     int tid, orb_dft_barrier* barrier) {
  for (int k = 0; k < step_count(p); ++k) {
    long start = 0, count = 0;
    balance220_impl(step_units(p, k), 1, nthreads, tid, &start, &count);
    step_run<T, Inv>(p, k, src, buf, dst, dst_hi, start, start + count, scaled, scale);
    if (k + 1 < step_count(p)) moon_hit_barrier_wait_impl(barrier, tid, nthreads);
  }
}

// ---- Real recombination. Z holds the h-point transform of the N = 2h
// reals read as pairs; W^k = c - i s (s = sin 2 pi k / N). The table has,
// for k = 1 + V j + lane, a vector of c twice per value and one of (s, -s).
// Values k and h - k are done together: k in whole vectors while the
// mirror vector stays above h/2, the rest one by one in scalar code that
// rounds exactly as the lanes do.

// Scalar mirrors of cmul and rot.
template <class T, bool Inv>
[[gnu::always_inline]] inline void cmul1(T ar, T ai, T c, T s, T* zr, T* zi) {
  if constexpr (Inv) *zr = std::fma(-ai, s, ar * c), *zi = std::fma(ar, s, ai * c);
  else *zr = std::fma(ai, s, ar * c), *zi = std::fma(ar, -s, ai * c);
}

// Forward, in place on z (interleaved, h values): X_k = A_k + W^k B_k and
// X_(h-k) = conj(A_k - W^k B_k), A_k = (Z_k + conj Z_(h-k)) / 2,
// B_k = (Z_k - conj Z_(h-k)) / 2i; the result in Perm order, times scale.
template <class T, bool Scaled>
inline void real_fwd_recombine(T* z, long h, const T* tw, T scale) {
  using V = vec<T>;
  constexpr int NV = kV<T>, L = kL<T>;
  const T zr0 = z[0], zi0 = z[1];
  z[0] = Scaled ? (zr0 + zi0) * scale : zr0 + zi0;
  z[1] = Scaled ? (zr0 - zi0) * scale : zr0 - zi0;
  const V half = V::set1(T(0.5)), conj = simd::odd_sign_mask<T>(), sc = V::set1(scale);
  long k = 1;
  for (; k + NV - 1 < h / 2; k += NV) {
    const long mk = h - k - NV + 1;
    const V zk = V::loadu(z + 2 * k), zm = simd::bit_xor(reverse_pairs(V::loadu(z + 2 * mk)), conj);
    const V a = (zk + zm) * half, b = rot<T, false>(zk - zm) * half;
    const T* w = tw + (k - 1) / NV * 2 * L;
    const V t = cmul<T, false>(b, V::load(w), V::load(w + L));
    V xk = a + t, xm = simd::bit_xor(a - t, conj);
    if constexpr (Scaled) xk = xk * sc, xm = xm * sc;
    xk.storeu(z + 2 * k);
    reverse_pairs(xm).storeu(z + 2 * mk);
  }
  for (; k <= h / 2; ++k) {
    const long m = h - k;
    const T zr = z[2 * k], zi = z[2 * k + 1], mr = z[2 * m], mi = -z[2 * m + 1];
    const T ar = (zr + mr) * T(0.5), ai = (zi + mi) * T(0.5);
    const T br = (zi - mi) * T(0.5), bi = -(zr - mr) * T(0.5);
    const T* w = tw + (k - 1) / NV * 2 * L + 2 * ((k - 1) % NV);
    T tr, ti;
    cmul1<T, false>(br, bi, w[0], w[L], &tr, &ti);
    T xr = ar + tr, xi = ai + ti, yr = ar - tr, yi = -(ai - ti);
    if constexpr (Scaled) xr *= scale, xi *= scale, yr *= scale, yi *= scale;
    z[2 * k] = xr, z[2 * k + 1] = xi;
    z[2 * m] = yr, z[2 * m + 1] = yi;
  }
}

// Inverse: from X (frequency k at x + 2k, R0 at x[0], R(N/2) at nyq) to
// Z_k = A + i B, Z_(h-k) = conj(A - i B), A = X_k + conj X_(h-k),
// B = (X_k - conj X_(h-k)) conj W^k (the factors 2 stay: unnormalised).
template <class T>
inline void real_inv_recombine(const T* x, T r0, T rn, T* z, long h, const T* tw) {
  using V = vec<T>;
  constexpr int NV = kV<T>, L = kL<T>;
  z[0] = r0 + rn;
  z[1] = r0 - rn;
  const V conj = simd::odd_sign_mask<T>();
  long k = 1;
  for (; k + NV - 1 < h / 2; k += NV) {
    const long mk = h - k - NV + 1;
    const V xk = V::loadu(x + 2 * k), xm = simd::bit_xor(reverse_pairs(V::loadu(x + 2 * mk)), conj);
    const V a = xk + xm, d = xk - xm;
    const T* w = tw + (k - 1) / NV * 2 * L;
    const V b = rot<T, true>(cmul<T, true>(d, V::load(w), V::load(w + L)));
    (a + b).storeu(z + 2 * k);
    reverse_pairs(simd::bit_xor(a - b, conj)).storeu(z + 2 * mk);
  }
  for (; k <= h / 2; ++k) {
    const long m = h - k;
    const T xr = x[2 * k], xi = x[2 * k + 1], mr = x[2 * m], mi = -x[2 * m + 1];
    const T ar = xr + mr, ai = xi + mi, dr = xr - mr, di = xi - mi;
    const T* w = tw + (k - 1) / NV * 2 * L + 2 * ((k - 1) % NV);
    T br, bi;
    cmul1<T, true>(dr, di, w[0], w[L], &br, &bi);
    // i B = (-bi, br)
    z[2 * k] = ar + -bi, z[2 * k + 1] = ai + br;
    z[2 * m] = ar - -bi, z[2 * m + 1] = -(ai - br);
  }
}

}  // namespace orb::dft::fft
