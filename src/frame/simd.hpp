// The logical 64-byte vector every kernel is written against.
//
// A vec<double> has 8 lanes and a vec<float> 16, whatever the build. On the
// AVX-512 build a vector is one zmm register, on the AVX2 build two ymm
// registers, on the portable build four xmm registers. Every operation is
// lane-wise, and the reductions fold halves in a fixed tree, so the order of
// accumulation of a kernel, and with it every bit of its result, does not
// depend on the build it runs in.
//
// The portable build has no fused multiply-add instruction; fma() there
// rounds once per lane through std::fma, which is slower but exact, so the
// bits still agree.
#pragma once

#include <immintrin.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#ifndef ORB_LEVEL
#error "ORB_LEVEL must name the instruction-set level of this build"
#endif

namespace orb::simd {

#if ORB_LEVEL >= 9
inline constexpr int kRegBytes = 64;
#elif ORB_LEVEL >= 7
inline constexpr int kRegBytes = 32;
#else
inline constexpr int kRegBytes = 16;
#endif

// Native register of one part of a logical vector, and its operations.
template <class T> struct reg;

#if ORB_LEVEL >= 9
// A compare mask as a plain integer. The move out of the mask register is
// spelled out because GCC 12, when it spills a byte-wide mask (seen at -O1
// under the sanitizers), stores it with kmovb and reloads the slot as a
// full word, so the bits above the mask were garbage.
inline unsigned mask_bits(__mmask8 m) {
  unsigned r;
  asm("kmovb %1, %0" : "=r"(r) : "k"(m));
  return r;
}
inline unsigned mask_bits(__mmask16 m) {
  unsigned r;
  asm("kmovw %1, %0" : "=r"(r) : "k"(m));
  return r;
}
template <> struct reg<double> {
  using R = __m512d;
  static constexpr int W = 8;
  static R zero() { return _mm512_setzero_pd(); }
  static R set1(double a) { return _mm512_set1_pd(a); }
  static R loadu(const double* p) { return _mm512_loadu_pd(p); }
  static R load(const double* p) { return _mm512_load_pd(p); }
  static void storeu(double* p, R v) { _mm512_storeu_pd(p, v); }
  static void store(double* p, R v) { _mm512_store_pd(p, v); }
  static R add(R a, R b) { return _mm512_add_pd(a, b); }
  static R sub(R a, R b) { return _mm512_sub_pd(a, b); }
  static R mul(R a, R b) { return _mm512_mul_pd(a, b); }
  static R div(R a, R b) { return _mm512_div_pd(a, b); }
  static R fma(R a, R b, R c) { return _mm512_fmadd_pd(a, b, c); }
  static R fnma(R a, R b, R c) { return _mm512_fnmadd_pd(a, b, c); }
  static R max(R a, R b) { return _mm512_max_pd(a, b); }
  static R min(R a, R b) { return _mm512_min_pd(a, b); }
  static R abs(R a) { return _mm512_abs_pd(a); }
  static R maskz_loadu(const double* p, int live) {
    return _mm512_maskz_loadu_pd(__mmask8((1u << live) - 1u), p);
  }
  static void mask_storeu(double* p, R v, int live) {
    _mm512_mask_storeu_pd(p, __mmask8((1u << live) - 1u), v);
  }
  static R blend_gt(R a, R b, R x, R y) {
    return _mm512_mask_blend_pd(_mm512_cmp_pd_mask(a, b, _CMP_GT_OQ), y, x);
  }
  static R gather(const double* p, std::ptrdiff_t stride, int live) {
    const __m256i idx = _mm256_mullo_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7),
                                           _mm256_set1_epi32(int(stride)));
    return _mm512_mask_i32gather_pd(_mm512_setzero_pd(), __mmask8((1u << live) - 1u), idx, p, 8);
  }
  static unsigned eq_mask(R a, R b) { return mask_bits(_mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ)); }
  static unsigned gt_mask(R a, R b) { return mask_bits(_mm512_cmp_pd_mask(a, b, _CMP_GT_OQ)); }
  static R swap_pairs(R a) { return _mm512_mask_permute_pd(a, __mmask8(0xff), a, 0x55); }
  // (The masked forms here and in swap_pairs: the unmasked intrinsics pass
  // GCC 12 an undefined vector that -Wmaybe-uninitialized then reports.)
  static R broadcast_lane(R a, int i) { return _mm512_mask_permutexvar_pd(a, __mmask8(0xff), _mm512_set1_epi64(i), a); }
  static double first(R a) { return _mm512_cvtsd_f64(a); }
  static R loadu_cvt(const float* p) { return _mm512_maskz_cvtps_pd(__mmask8(0xff), _mm256_loadu_ps(p)); }
  static R maskz_loadu_cvt(const float* p, int live) {
    return _mm512_maskz_cvtps_pd(__mmask8(0xff), _mm256_maskz_loadu_ps(__mmask8((1u << live) - 1u), p));
  }
};
template <> struct reg<float> {
  using R = __m512;
  static constexpr int W = 16;
  static R zero() { return _mm512_setzero_ps(); }
  static R set1(float a) { return _mm512_set1_ps(a); }
  static R loadu(const float* p) { return _mm512_loadu_ps(p); }
  static R load(const float* p) { return _mm512_load_ps(p); }
  static void storeu(float* p, R v) { _mm512_storeu_ps(p, v); }
  static void store(float* p, R v) { _mm512_store_ps(p, v); }
  static R add(R a, R b) { return _mm512_add_ps(a, b); }
  static R sub(R a, R b) { return _mm512_sub_ps(a, b); }
  static R mul(R a, R b) { return _mm512_mul_ps(a, b); }
  static R div(R a, R b) { return _mm512_div_ps(a, b); }
  static R fma(R a, R b, R c) { return _mm512_fmadd_ps(a, b, c); }
  static R fnma(R a, R b, R c) { return _mm512_fnmadd_ps(a, b, c); }
  static R max(R a, R b) { return _mm512_max_ps(a, b); }
  static R min(R a, R b) { return _mm512_min_ps(a, b); }
  static R abs(R a) { return _mm512_abs_ps(a); }
  static R maskz_loadu(const float* p, int live) {
    return _mm512_maskz_loadu_ps(__mmask16((1u << live) - 1u), p);
  }
  static void mask_storeu(float* p, R v, int live) {
    _mm512_mask_storeu_ps(p, __mmask16((1u << live) - 1u), v);
  }
  static R blend_gt(R a, R b, R x, R y) {
    return _mm512_mask_blend_ps(_mm512_cmp_ps_mask(a, b, _CMP_GT_OQ), y, x);
  }
  static R gather(const float* p, std::ptrdiff_t stride, int live) {
    const __m512i idx = _mm512_mullo_epi32(
        _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15),
        _mm512_set1_epi32(int(stride)));
    return _mm512_mask_i32gather_ps(_mm512_setzero_ps(), __mmask16((1u << live) - 1u), idx, p, 4);
  }
  static unsigned eq_mask(R a, R b) { return mask_bits(_mm512_cmp_ps_mask(a, b, _CMP_EQ_OQ)); }
  static unsigned gt_mask(R a, R b) { return mask_bits(_mm512_cmp_ps_mask(a, b, _CMP_GT_OQ)); }
  static R swap_pairs(R a) { return _mm512_mask_permute_ps(a, __mmask16(0xffff), a, 0xB1); }
  static R broadcast_lane(R a, int i) {
    return _mm512_mask_permutexvar_ps(a, __mmask16(0xffff), _mm512_set1_epi32(i), a);
  }
  static float first(R a) { return _mm512_cvtss_f32(a); }
};
#elif ORB_LEVEL >= 7
template <> struct reg<double> {
  using R = __m256d;
  static constexpr int W = 4;
  static __m256i live_mask(int live) {
    return _mm256_cmpgt_epi64(_mm256_set1_epi64x(live), _mm256_setr_epi64x(0, 1, 2, 3));
  }
  static R zero() { return _mm256_setzero_pd(); }
  static R set1(double a) { return _mm256_set1_pd(a); }
  static R loadu(const double* p) { return _mm256_loadu_pd(p); }
  static R load(const double* p) { return _mm256_load_pd(p); }
  static void storeu(double* p, R v) { _mm256_storeu_pd(p, v); }
  static void store(double* p, R v) { _mm256_store_pd(p, v); }
  static R add(R a, R b) { return _mm256_add_pd(a, b); }
  static R sub(R a, R b) { return _mm256_sub_pd(a, b); }
  static R mul(R a, R b) { return _mm256_mul_pd(a, b); }
  static R div(R a, R b) { return _mm256_div_pd(a, b); }
  static R fma(R a, R b, R c) { return _mm256_fmadd_pd(a, b, c); }
  static R fnma(R a, R b, R c) { return _mm256_fnmadd_pd(a, b, c); }
  static R max(R a, R b) { return _mm256_max_pd(a, b); }
  static R min(R a, R b) { return _mm256_min_pd(a, b); }
  static R abs(R a) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), a); }
  static R maskz_loadu(const double* p, int live) { return _mm256_maskload_pd(p, live_mask(live)); }
  static void mask_storeu(double* p, R v, int live) { _mm256_maskstore_pd(p, live_mask(live), v); }
  static R blend_gt(R a, R b, R x, R y) { return _mm256_blendv_pd(y, x, _mm256_cmp_pd(a, b, _CMP_GT_OQ)); }
  static R gather(const double* p, std::ptrdiff_t stride, int live) {
    const __m128i idx = _mm_mullo_epi32(_mm_setr_epi32(0, 1, 2, 3), _mm_set1_epi32(int(stride)));
    return _mm256_mask_i32gather_pd(_mm256_setzero_pd(), p, idx,
                                    _mm256_castsi256_pd(live_mask(live)), 8);
  }
  static unsigned eq_mask(R a, R b) {
    return unsigned(_mm256_movemask_pd(_mm256_cmp_pd(a, b, _CMP_EQ_OQ)));
  }
  static unsigned gt_mask(R a, R b) {
    return unsigned(_mm256_movemask_pd(_mm256_cmp_pd(a, b, _CMP_GT_OQ)));
  }
  static R swap_pairs(R a) { return _mm256_permute_pd(a, 0x5); }
  static R loadu_cvt(const float* p) { return _mm256_cvtps_pd(_mm_loadu_ps(p)); }
  static R maskz_loadu_cvt(const float* p, int live) {
    return _mm256_cvtps_pd(_mm_maskload_ps(p, _mm_cmpgt_epi32(_mm_set1_epi32(live), _mm_setr_epi32(0, 1, 2, 3))));
  }
};
template <> struct reg<float> {
  using R = __m256;
  static constexpr int W = 8;
  static __m256i live_mask(int live) {
    return _mm256_cmpgt_epi32(_mm256_set1_epi32(live), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
  }
  static R zero() { return _mm256_setzero_ps(); }
  static R set1(float a) { return _mm256_set1_ps(a); }
  static R loadu(const float* p) { return _mm256_loadu_ps(p); }
  static R load(const float* p) { return _mm256_load_ps(p); }
  static void storeu(float* p, R v) { _mm256_storeu_ps(p, v); }
  static void store(float* p, R v) { _mm256_store_ps(p, v); }
  static R add(R a, R b) { return _mm256_add_ps(a, b); }
  static R sub(R a, R b) { return _mm256_sub_ps(a, b); }
  static R mul(R a, R b) { return _mm256_mul_ps(a, b); }
  static R div(R a, R b) { return _mm256_div_ps(a, b); }
  static R fma(R a, R b, R c) { return _mm256_fmadd_ps(a, b, c); }
  static R fnma(R a, R b, R c) { return _mm256_fnmadd_ps(a, b, c); }
  static R max(R a, R b) { return _mm256_max_ps(a, b); }
  static R min(R a, R b) { return _mm256_min_ps(a, b); }
  static R abs(R a) { return _mm256_andnot_ps(_mm256_set1_ps(-0.0f), a); }
  static R maskz_loadu(const float* p, int live) { return _mm256_maskload_ps(p, live_mask(live)); }
  static void mask_storeu(float* p, R v, int live) { _mm256_maskstore_ps(p, live_mask(live), v); }
  static R blend_gt(R a, R b, R x, R y) { return _mm256_blendv_ps(y, x, _mm256_cmp_ps(a, b, _CMP_GT_OQ)); }
  static R gather(const float* p, std::ptrdiff_t stride, int live) {
    const __m256i idx = _mm256_mullo_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7),
                                           _mm256_set1_epi32(int(stride)));
    return _mm256_mask_i32gather_ps(_mm256_setzero_ps(), p, idx,
                                    _mm256_castsi256_ps(live_mask(live)), 4);
  }
  static unsigned eq_mask(R a, R b) {
    return unsigned(_mm256_movemask_ps(_mm256_cmp_ps(a, b, _CMP_EQ_OQ)));
  }
  static unsigned gt_mask(R a, R b) {
    return unsigned(_mm256_movemask_ps(_mm256_cmp_ps(a, b, _CMP_GT_OQ)));
  }
  static R swap_pairs(R a) { return _mm256_permute_ps(a, 0xB1); }
};
#else
// Portable build: SSE2 only. Masked memory operations and gathers go lane by
// lane so that no byte outside the live lanes is touched.
template <> struct reg<double> {
  using R = __m128d;
  static constexpr int W = 2;
  static R zero() { return _mm_setzero_pd(); }
  static R set1(double a) { return _mm_set1_pd(a); }
  static R loadu(const double* p) { return _mm_loadu_pd(p); }
  static R load(const double* p) { return _mm_load_pd(p); }
  static void storeu(double* p, R v) { _mm_storeu_pd(p, v); }
  static void store(double* p, R v) { _mm_store_pd(p, v); }
  static R add(R a, R b) { return _mm_add_pd(a, b); }
  static R sub(R a, R b) { return _mm_sub_pd(a, b); }
  static R mul(R a, R b) { return _mm_mul_pd(a, b); }
  static R div(R a, R b) { return _mm_div_pd(a, b); }
  static R fma(R a, R b, R c) {
    alignas(16) double x[2], y[2], z[2];
    _mm_store_pd(x, a), _mm_store_pd(y, b), _mm_store_pd(z, c);
    return _mm_setr_pd(std::fma(x[0], y[0], z[0]), std::fma(x[1], y[1], z[1]));
  }
  static R fnma(R a, R b, R c) { return fma(_mm_xor_pd(a, _mm_set1_pd(-0.0)), b, c); }
  static R max(R a, R b) { return _mm_max_pd(a, b); }
  static R min(R a, R b) { return _mm_min_pd(a, b); }
  static R abs(R a) { return _mm_andnot_pd(_mm_set1_pd(-0.0), a); }
  static R maskz_loadu(const double* p, int live) {
    return live >= 2 ? _mm_loadu_pd(p) : live == 1 ? _mm_load_sd(p) : _mm_setzero_pd();
  }
  static void mask_storeu(double* p, R v, int live) {
    if (live >= 2) _mm_storeu_pd(p, v);
    else if (live == 1) _mm_store_sd(p, v);
  }
  static R blend_gt(R a, R b, R x, R y) {
    const R m = _mm_cmpgt_pd(a, b);
    return _mm_or_pd(_mm_and_pd(m, x), _mm_andnot_pd(m, y));
  }
  static R gather(const double* p, std::ptrdiff_t stride, int live) {
    return _mm_setr_pd(live > 0 ? p[0] : 0.0, live > 1 ? p[stride] : 0.0);
  }
  static unsigned eq_mask(R a, R b) { return unsigned(_mm_movemask_pd(_mm_cmpeq_pd(a, b))); }
  static unsigned gt_mask(R a, R b) { return unsigned(_mm_movemask_pd(_mm_cmpgt_pd(a, b))); }
  static R swap_pairs(R a) { return _mm_shuffle_pd(a, a, 1); }
  static R loadu_cvt(const float* p) {
    return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
  }
  static R maskz_loadu_cvt(const float* p, int live) {
    return live >= 2 ? loadu_cvt(p) : live == 1 ? _mm_cvtps_pd(_mm_load_ss(p)) : _mm_setzero_pd();
  }
};
template <> struct reg<float> {
  using R = __m128;
  static constexpr int W = 4;
  static R zero() { return _mm_setzero_ps(); }
  static R set1(float a) { return _mm_set1_ps(a); }
  static R loadu(const float* p) { return _mm_loadu_ps(p); }
  static R load(const float* p) { return _mm_load_ps(p); }
  static void storeu(float* p, R v) { _mm_storeu_ps(p, v); }
  static void store(float* p, R v) { _mm_store_ps(p, v); }
  static R add(R a, R b) { return _mm_add_ps(a, b); }
  static R sub(R a, R b) { return _mm_sub_ps(a, b); }
  static R mul(R a, R b) { return _mm_mul_ps(a, b); }
  static R div(R a, R b) { return _mm_div_ps(a, b); }
  static R fma(R a, R b, R c) {
    alignas(16) float x[4], y[4], z[4];
    _mm_store_ps(x, a), _mm_store_ps(y, b), _mm_store_ps(z, c);
    return _mm_setr_ps(std::fma(x[0], y[0], z[0]), std::fma(x[1], y[1], z[1]),
                       std::fma(x[2], y[2], z[2]), std::fma(x[3], y[3], z[3]));
  }
  static R fnma(R a, R b, R c) { return fma(_mm_xor_ps(a, _mm_set1_ps(-0.0f)), b, c); }
  static R max(R a, R b) { return _mm_max_ps(a, b); }
  static R min(R a, R b) { return _mm_min_ps(a, b); }
  static R abs(R a) { return _mm_andnot_ps(_mm_set1_ps(-0.0f), a); }
  static R maskz_loadu(const float* p, int live) {
    if (live >= 4) return _mm_loadu_ps(p);
    alignas(16) float t[4] = {0.f, 0.f, 0.f, 0.f};
    for (int i = 0; i < live; ++i) t[i] = p[i];
    return _mm_load_ps(t);
  }
  static void mask_storeu(float* p, R v, int live) {
    if (live >= 4) return _mm_storeu_ps(p, v);
    alignas(16) float t[4];
    _mm_store_ps(t, v);
    for (int i = 0; i < live; ++i) p[i] = t[i];
  }
  static R blend_gt(R a, R b, R x, R y) {
    const R m = _mm_cmpgt_ps(a, b);
    return _mm_or_ps(_mm_and_ps(m, x), _mm_andnot_ps(m, y));
  }
  static R gather(const float* p, std::ptrdiff_t stride, int live) {
    alignas(16) float t[4] = {0.f, 0.f, 0.f, 0.f};
    for (int i = 0; i < live && i < 4; ++i) t[i] = p[i * stride];
    return _mm_load_ps(t);
  }
  static unsigned eq_mask(R a, R b) { return unsigned(_mm_movemask_ps(_mm_cmpeq_ps(a, b))); }
  static unsigned gt_mask(R a, R b) { return unsigned(_mm_movemask_ps(_mm_cmpgt_ps(a, b))); }
  static R swap_pairs(R a) { return _mm_shuffle_ps(a, a, 0xB1); }
};
#endif

// Sum of the lanes of one native register by the halving tree (upper half
// onto lower half, the lower lanes always the first operand), so that with
// the cross-register halving of reduce_add the tree is the same on every
// build. Done in registers: the store and reload it replaces cost small
// reductions a large share of their time.
#if ORB_LEVEL >= 9
inline double hsum(__m512d r) {
  const __m256d a = _mm256_add_pd(_mm512_maskz_extractf64x4_pd(0xff, r, 0), _mm512_maskz_extractf64x4_pd(0xff, r, 1));
  const __m128d b = _mm_add_pd(_mm256_castpd256_pd128(a), _mm256_extractf128_pd(a, 1));
  return _mm_cvtsd_f64(_mm_add_sd(b, _mm_unpackhi_pd(b, b)));
}
inline float hsum(__m512 r) {
  const __m256 a = _mm256_add_ps(_mm512_maskz_extractf32x8_ps(0xff, r, 0), _mm512_maskz_extractf32x8_ps(0xff, r, 1));
  const __m128 b = _mm_add_ps(_mm256_castps256_ps128(a), _mm256_extractf128_ps(a, 1));
  const __m128 c = _mm_add_ps(b, _mm_movehl_ps(b, b));
  return _mm_cvtss_f32(_mm_add_ss(c, _mm_shuffle_ps(c, c, 1)));
}
#elif ORB_LEVEL >= 7
inline double hsum(__m256d r) {
  const __m128d b = _mm_add_pd(_mm256_castpd256_pd128(r), _mm256_extractf128_pd(r, 1));
  return _mm_cvtsd_f64(_mm_add_sd(b, _mm_unpackhi_pd(b, b)));
}
inline float hsum(__m256 r) {
  const __m128 b = _mm_add_ps(_mm256_castps256_ps128(r), _mm256_extractf128_ps(r, 1));
  const __m128 c = _mm_add_ps(b, _mm_movehl_ps(b, b));
  return _mm_cvtss_f32(_mm_add_ss(c, _mm_shuffle_ps(c, c, 1)));
}
#else
inline double hsum(__m128d b) { return _mm_cvtsd_f64(_mm_add_sd(b, _mm_unpackhi_pd(b, b))); }
inline float hsum(__m128 b) {
  const __m128 c = _mm_add_ps(b, _mm_movehl_ps(b, b));
  return _mm_cvtss_f32(_mm_add_ss(c, _mm_shuffle_ps(c, c, 1)));
}
#endif

// Hides a value from the optimiser's view of how it was computed. GCC 12
// fuses the shape of a complex product (a*b - c*d) into vfmaddsub even with
// contraction off, which would round differently in the builds that have
// it; passing each product through here keeps it rounded on its own.
template <class T>
inline T opaque(T v) {
  asm("" : "+x"(v));
  return v;
}

// The logical vector: K native registers holding N = 64 / sizeof(T) lanes.
template <class T>
struct vec {
  using Reg = reg<T>;
  using R = typename Reg::R;
  static constexpr int N = int(64 / sizeof(T));
  static constexpr int W = Reg::W;
  static constexpr int K = N / W;
  R r[K];

  static vec zero() { vec v; for (int k = 0; k < K; ++k) v.r[k] = Reg::zero(); return v; }
  static vec set1(T a) { vec v; for (int k = 0; k < K; ++k) v.r[k] = Reg::set1(a); return v; }
  static vec loadu(const T* p) { vec v; for (int k = 0; k < K; ++k) v.r[k] = Reg::loadu(p + k * W); return v; }
  // p must be 64-byte aligned.
  static vec load(const T* p) { vec v; for (int k = 0; k < K; ++k) v.r[k] = Reg::load(p + k * W); return v; }
  void storeu(T* p) const { for (int k = 0; k < K; ++k) Reg::storeu(p + k * W, r[k]); }
  void store(T* p) const { for (int k = 0; k < K; ++k) Reg::store(p + k * W, r[k]); }

  // Lanes [0, live) come from memory, the rest are zero; nothing past
  // p[live - 1] is read. live is clamped to [0, N].
  static vec load_mask(const T* p, int live) {
    vec v;
    for (int k = 0; k < K; ++k) {
      const int l = live - k * W;
      v.r[k] = l >= W ? Reg::loadu(p + k * W) : l > 0 ? Reg::maskz_loadu(p + k * W, l) : Reg::zero();
    }
    return v;
  }
  // Writes lanes [0, live) only.
  void store_mask(T* p, int live) const {
    for (int k = 0; k < K; ++k) {
      const int l = live - k * W;
      if (l >= W) Reg::storeu(p + k * W, r[k]);
      else if (l > 0) Reg::mask_storeu(p + k * W, r[k], l);
    }
  }
  // Lane i takes p[i * stride] for i < live, zero for the others. The
  // stride is in elements and may be negative or zero.
  static vec gather(const T* p, std::ptrdiff_t stride, int live = N) {
    vec v;
    for (int k = 0; k < K; ++k) {
      const int l = live - k * W;
      v.r[k] = l > 0 ? Reg::gather(p + std::ptrdiff_t(k) * W * stride, stride, l < W ? l : W) : Reg::zero();
    }
    return v;
  }

  // Eight floats widened to a vector of doubles (T = double only).
  static vec load_cvt(const float* p) {
    vec v;
    for (int k = 0; k < K; ++k) v.r[k] = Reg::loadu_cvt(p + k * W);
    return v;
  }
  // As load_cvt on lanes [0, live), zero in the others; reads nothing past
  // p[live - 1].
  static vec load_cvt_mask(const float* p, int live) {
    vec v;
    for (int k = 0; k < K; ++k) {
      const int l = live - k * W;
      v.r[k] = l >= W ? Reg::loadu_cvt(p + k * W) : l > 0 ? Reg::maskz_loadu_cvt(p + k * W, l) : Reg::zero();
    }
    return v;
  }

  // Lane i holds the number i: 0, 1, 2, ... N - 1.
  static vec iota() {
    alignas(64) T t[N];
    for (int i = 0; i < N; ++i) t[i] = T(i);
    return loadu(t);
  }
  // Lane-wise a > b ? x : y; a NaN lane takes y. Whether the compare
  // raises the invalid flag on a NaN differs between builds (SSE2 has no
  // quiet ordered compare), so callers must not rely on it either way.
  friend vec blend_gt(const vec& a, const vec& b, const vec& x, const vec& y) {
    vec v;
    for (int k = 0; k < K; ++k) v.r[k] = Reg::blend_gt(a.r[k], b.r[k], x.r[k], y.r[k]);
    return v;
  }

  T lane(int i) const {
    alignas(64) T t[N];
    storeu(t);
    return t[i];
  }
  // Every lane set to lane i. In registers where the build has a lane
  // permute (AVX-512), else through memory; the value is the same.
  vec broadcast_lane(int i) const {
    if constexpr (requires(R x) { Reg::broadcast_lane(x, 0); }) {
      const R b = Reg::broadcast_lane(r[i / W], i % W);
      vec v;
      for (int k = 0; k < K; ++k) v.r[k] = b;
      return v;
    } else {
      return set1(lane(i));
    }
  }
  // Lane 0.
  T first() const {
    if constexpr (requires(R x) { Reg::first(x); }) return Reg::first(r[0]);
    else return lane(0);
  }

  // Bit i set where lane i of a equals lane i of b (ordered compare).
  friend unsigned eq_mask(const vec& a, const vec& b) {
    unsigned m = 0;
    for (int k = 0; k < K; ++k) m |= Reg::eq_mask(a.r[k], b.r[k]) << (k * W);
    return m;
  }
  friend unsigned gt_mask(const vec& a, const vec& b) {
    unsigned m = 0;
    for (int k = 0; k < K; ++k) m |= Reg::gt_mask(a.r[k], b.r[k]) << (k * W);
    return m;
  }

#define ORB_VEC_BINOP(name, op)                                          \
  friend vec name(const vec& a, const vec& b) {                          \
    vec v;                                                               \
    for (int k = 0; k < K; ++k) v.r[k] = Reg::op(a.r[k], b.r[k]);        \
    return v;                                                            \
  }
  ORB_VEC_BINOP(operator+, add)
  ORB_VEC_BINOP(operator-, sub)
  ORB_VEC_BINOP(operator*, mul)
  ORB_VEC_BINOP(operator/, div)
  // max/min follow the instruction's rule: when either lane is a NaN the
  // second operand is returned, and a NaN raises the invalid flag.
  ORB_VEC_BINOP(max, max)
  ORB_VEC_BINOP(min, min)
#undef ORB_VEC_BINOP

  // a * b + c, rounded once.
  friend vec fma(const vec& a, const vec& b, const vec& c) {
    vec v;
    for (int k = 0; k < K; ++k) v.r[k] = Reg::fma(a.r[k], b.r[k], c.r[k]);
    return v;
  }
  // -(a * b) + c, rounded once.
  friend vec fnma(const vec& a, const vec& b, const vec& c) {
    vec v;
    for (int k = 0; k < K; ++k) v.r[k] = Reg::fnma(a.r[k], b.r[k], c.r[k]);
    return v;
  }
  // Lanes 2i and 2i + 1 trade places: (re, im) pairs become (im, re).
  friend vec swap_pairs(const vec& a) {
    vec v;
    for (int k = 0; k < K; ++k) v.r[k] = Reg::swap_pairs(a.r[k]);
    return v;
  }
  friend vec abs(const vec& a) {
    vec v;
    for (int k = 0; k < K; ++k) v.r[k] = Reg::abs(a.r[k]);
    return v;
  }
};

// Makes the compiler hold v in registers at this point. A loaded vector used
// by two instructions is otherwise apt to be folded into both as a memory
// operand, which loads it twice: on cores that split 512-bit loads that
// doubles the load traffic of complex kernels.
template <class T>
inline void pin(vec<T>& v) {
  for (int k = 0; k < vec<T>::K; ++k) __asm__("" : "+v"(v.r[k]));
}

// Folds a vector to one value by halves: the upper half is added onto the
// lower half until one lane is left (for doubles: lanes 4-7 onto 0-3, then
// 2-3 onto 0-1, then 1 onto 0). The tree is the same on every build.
template <class T>
inline T reduce_add(const vec<T>& v) {
  using V = vec<T>;
  typename V::R r[V::K];
  for (int k = 0; k < V::K; ++k) r[k] = v.r[k];
  // Across registers first: register j + k holds the lanes k * W above
  // those of register j, so this is the same halving as within one.
  for (int k = V::K / 2; k >= 1; k /= 2)
    for (int j = 0; j < k; ++j) r[j] = V::Reg::add(r[j], r[j + k]);
  return hsum(r[0]);
}

// The same halving tree with max: used by the index-of-maximum kernels.
template <class T>
inline T reduce_max(const vec<T>& v) {
  alignas(64) T t[vec<T>::N];
  v.storeu(t);
  for (int h = vec<T>::N / 2; h >= 1; h /= 2)
    for (int i = 0; i < h; ++i) t[i] = t[i + h] > t[i] ? t[i + h] : t[i];
  return t[0];
}
template <class T>
inline T reduce_min(const vec<T>& v) {
  alignas(64) T t[vec<T>::N];
  v.storeu(t);
  for (int h = vec<T>::N / 2; h >= 1; h /= 2)
    for (int i = 0; i < h; ++i) t[i] = t[i + h] < t[i] ? t[i + h] : t[i];
  return t[0];
}

// Mask of the form (1 << r) - 1 on the logical vector's lanes.
template <class T>
inline unsigned lane_mask(int r) {
  return r >= vec<T>::N ? (vec<T>::N == 32 ? 0xffffffffu : (1u << vec<T>::N) - 1u) : (1u << r) - 1u;
}

// ---- Moving blocks of data: in-register transposition, sign flips,
// streaming stores and prefetch. None of these does arithmetic, so a block
// moved by any build holds the same bits.

// Every loop below is unrolled and every routine inlined: the block must
// stay in registers, which loops over arrays of registers would not.
//
// Transposes a square block of one register per row: W registers of W lanes
// (of T), or with Unit = 16 a block of 128-bit units (a vec<double> of
// complex doubles). Row i lane j trades places with row j lane i.
#if ORB_LEVEL >= 9
// The zero-masked forms with a full mask: GCC 12 warns about the undefined
// source register of the plain forms once they are inlined.
[[gnu::always_inline]] inline void native_transpose(__m512d* r) {
  __m512d t[8];
  #pragma GCC unroll 16
  for (int i = 0; i < 8; i += 2) {
    t[i] = _mm512_maskz_unpacklo_pd(0xff, r[i], r[i + 1]);
    t[i + 1] = _mm512_maskz_unpackhi_pd(0xff, r[i], r[i + 1]);
  }
  // t[0] = r0.0 r1.0 | r0.2 r1.2 | r0.4 r1.4 | r0.6 r1.6 ; t[1] the odd lanes
  __m512d u[8];
  #pragma GCC unroll 16
  for (int i = 0; i < 8; i += 4)
    #pragma GCC unroll 16
    for (int k = 0; k < 2; ++k) {
      u[i + k] = _mm512_maskz_shuffle_f64x2(0xff, t[i + k], t[i + 2 + k], 0x88);      // 128-bit lanes 0,2 | 0,2
      u[i + 2 + k] = _mm512_maskz_shuffle_f64x2(0xff, t[i + k], t[i + 2 + k], 0xdd);  // lanes 1,3 | 1,3
    }
  #pragma GCC unroll 16
  for (int k = 0; k < 4; ++k) {
    r[k] = _mm512_maskz_shuffle_f64x2(0xff, u[k], u[4 + k], 0x88);
    r[4 + k] = _mm512_maskz_shuffle_f64x2(0xff, u[k], u[4 + k], 0xdd);
  }
}
[[gnu::always_inline]] inline void native_transpose(__m512* r) {
  __m512 t[16];
  #pragma GCC unroll 16
  for (int i = 0; i < 16; i += 2) {
    t[i] = _mm512_maskz_unpacklo_ps(0xffff, r[i], r[i + 1]);
    t[i + 1] = _mm512_maskz_unpackhi_ps(0xffff, r[i], r[i + 1]);
  }
  __m512 u[16];
  #pragma GCC unroll 16
  for (int i = 0; i < 16; i += 4)
    #pragma GCC unroll 16
    for (int k = 0; k < 2; ++k) {
      u[i + k] = _mm512_castpd_ps(_mm512_maskz_unpacklo_pd(0xff, _mm512_castps_pd(t[i + k]), _mm512_castps_pd(t[i + 2 + k])));
      u[i + 2 + k] = _mm512_castpd_ps(_mm512_maskz_unpackhi_pd(0xff, _mm512_castps_pd(t[i + k]), _mm512_castps_pd(t[i + 2 + k])));
    }
  // u[4g + s] holds, in each 128-bit lane l, column 4l + {0, 2, 1, 3}[s]
  // of rows 4g..4g+3; the 128-bit shuffles below keep that order.
  __m512 v[16];
  #pragma GCC unroll 16
  for (int i = 0; i < 16; i += 8)
    #pragma GCC unroll 16
    for (int k = 0; k < 4; ++k) {
      v[i + k] = _mm512_maskz_shuffle_f32x4(0xffff, u[i + k], u[i + 4 + k], 0x88);
      v[i + 4 + k] = _mm512_maskz_shuffle_f32x4(0xffff, u[i + k], u[i + 4 + k], 0xdd);
    }
  #pragma GCC unroll 16
  for (int k = 0; k < 8; ++k) {
    r[k] = _mm512_maskz_shuffle_f32x4(0xffff, v[k], v[8 + k], 0x88);
    r[8 + k] = _mm512_maskz_shuffle_f32x4(0xffff, v[k], v[8 + k], 0xdd);
  }
  __m512 c[16];
  static constexpr int kFrom[16] = {0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15};
  #pragma GCC unroll 16
  for (int i = 0; i < 16; ++i) c[i] = r[kFrom[i]];
  #pragma GCC unroll 16
  for (int i = 0; i < 16; ++i) r[i] = c[i];
}
[[gnu::always_inline]] inline void native_transpose_units16(__m512d* r) {
  const __m512d t0 = _mm512_maskz_shuffle_f64x2(0xff, r[0], r[1], 0x44), t1 = _mm512_maskz_shuffle_f64x2(0xff, r[0], r[1], 0xee);
  const __m512d t2 = _mm512_maskz_shuffle_f64x2(0xff, r[2], r[3], 0x44), t3 = _mm512_maskz_shuffle_f64x2(0xff, r[2], r[3], 0xee);
  r[0] = _mm512_maskz_shuffle_f64x2(0xff, t0, t2, 0x88);
  r[1] = _mm512_maskz_shuffle_f64x2(0xff, t0, t2, 0xdd);
  r[2] = _mm512_maskz_shuffle_f64x2(0xff, t1, t3, 0x88);
  r[3] = _mm512_maskz_shuffle_f64x2(0xff, t1, t3, 0xdd);
}
inline constexpr int kUnits16PerReg = 4;
inline __m512d bit_xor(__m512d a, __m512d b) { return _mm512_xor_pd(a, b); }
inline __m512 bit_xor(__m512 a, __m512 b) { return _mm512_xor_ps(a, b); }
inline void stream_reg(double* p, __m512d v) { _mm512_stream_pd(p, v); }
inline void stream_reg(float* p, __m512 v) { _mm512_stream_ps(p, v); }
#elif ORB_LEVEL >= 7
[[gnu::always_inline]] inline void native_transpose(__m256d* r) {
  const __m256d t0 = _mm256_unpacklo_pd(r[0], r[1]), t1 = _mm256_unpackhi_pd(r[0], r[1]);
  const __m256d t2 = _mm256_unpacklo_pd(r[2], r[3]), t3 = _mm256_unpackhi_pd(r[2], r[3]);
  r[0] = _mm256_permute2f128_pd(t0, t2, 0x20);
  r[1] = _mm256_permute2f128_pd(t1, t3, 0x20);
  r[2] = _mm256_permute2f128_pd(t0, t2, 0x31);
  r[3] = _mm256_permute2f128_pd(t1, t3, 0x31);
}
[[gnu::always_inline]] inline void native_transpose(__m256* r) {
  __m256 t[8], u[8];
  #pragma GCC unroll 16
  for (int i = 0; i < 8; i += 2) {
    t[i] = _mm256_unpacklo_ps(r[i], r[i + 1]);
    t[i + 1] = _mm256_unpackhi_ps(r[i], r[i + 1]);
  }
  #pragma GCC unroll 16
  for (int i = 0; i < 8; i += 4) {
    u[i + 0] = _mm256_shuffle_ps(t[i], t[i + 2], 0x44);
    u[i + 1] = _mm256_shuffle_ps(t[i], t[i + 2], 0xee);
    u[i + 2] = _mm256_shuffle_ps(t[i + 1], t[i + 3], 0x44);
    u[i + 3] = _mm256_shuffle_ps(t[i + 1], t[i + 3], 0xee);
  }
  #pragma GCC unroll 16
  for (int k = 0; k < 4; ++k) {
    r[k] = _mm256_permute2f128_ps(u[k], u[4 + k], 0x20);
    r[4 + k] = _mm256_permute2f128_ps(u[k], u[4 + k], 0x31);
  }
}
[[gnu::always_inline]] inline void native_transpose_units16(__m256d* r) {
  const __m256d t0 = _mm256_permute2f128_pd(r[0], r[1], 0x20), t1 = _mm256_permute2f128_pd(r[0], r[1], 0x31);
  r[0] = t0;
  r[1] = t1;
}
inline constexpr int kUnits16PerReg = 2;
inline __m256d bit_xor(__m256d a, __m256d b) { return _mm256_xor_pd(a, b); }
inline __m256 bit_xor(__m256 a, __m256 b) { return _mm256_xor_ps(a, b); }
inline void stream_reg(double* p, __m256d v) { _mm256_stream_pd(p, v); }
inline void stream_reg(float* p, __m256 v) { _mm256_stream_ps(p, v); }
#else
[[gnu::always_inline]] inline void native_transpose(__m128d* r) {
  const __m128d t0 = _mm_unpacklo_pd(r[0], r[1]), t1 = _mm_unpackhi_pd(r[0], r[1]);
  r[0] = t0;
  r[1] = t1;
}
[[gnu::always_inline]] inline void native_transpose(__m128* r) { _MM_TRANSPOSE4_PS(r[0], r[1], r[2], r[3]); }
[[gnu::always_inline]] inline void native_transpose_units16(__m128d*) {}
inline constexpr int kUnits16PerReg = 1;
inline __m128d bit_xor(__m128d a, __m128d b) { return _mm_xor_pd(a, b); }
inline __m128 bit_xor(__m128 a, __m128 b) { return _mm_xor_ps(a, b); }
inline void stream_reg(double* p, __m128d v) { _mm_stream_pd(p, v); }
inline void stream_reg(float* p, __m128 v) { _mm_stream_ps(p, v); }
#endif

// Transposes N logical vectors (an N x N block of lanes) in place. The
// block is cut into K x K blocks of one native register each, every one
// transposed in registers and moved to the mirror position.
template <class T>
[[gnu::always_inline]] inline void transpose(vec<T>* v) {
  using V = vec<T>;
  constexpr int W = V::W, K = V::K;
  typename V::R blk[W];
  V out[V::N];
  #pragma GCC unroll 16
  for (int bi = 0; bi < K; ++bi)
    #pragma GCC unroll 16
    for (int bk = 0; bk < K; ++bk) {
      #pragma GCC unroll 16
      for (int t = 0; t < W; ++t) blk[t] = v[bi * W + t].r[bk];
      native_transpose(blk);
      #pragma GCC unroll 16
      for (int t = 0; t < W; ++t) out[bk * W + t].r[bi] = blk[t];
    }
  #pragma GCC unroll 16
  for (int i = 0; i < V::N; ++i) v[i] = out[i];
}

// The same for a block of 4 x 4 complex doubles: each vector is one row of
// four 16-byte units.
[[gnu::always_inline]] inline void transpose_units16(vec<double>* v) {
  using V = vec<double>;
  constexpr int U = kUnits16PerReg, K = V::K;
  typename V::R blk[U];
  V out[4];
  #pragma GCC unroll 16
  for (int bi = 0; bi < K; ++bi)
    #pragma GCC unroll 16
    for (int bk = 0; bk < K; ++bk) {
      #pragma GCC unroll 16
      for (int t = 0; t < U; ++t) blk[t] = v[bi * U + t].r[bk];
      native_transpose_units16(blk);
      #pragma GCC unroll 16
      for (int t = 0; t < U; ++t) out[bk * U + t].r[bi] = blk[t];
    }
  #pragma GCC unroll 16
  for (int i = 0; i < 4; ++i) v[i] = out[i];
}

// Lane-wise exclusive or of the bit patterns: with a mask of sign bits it
// negates lanes exactly as the scalar unary minus does (NaNs included).
template <class T>
inline vec<T> bit_xor(const vec<T>& a, const vec<T>& b) {
  vec<T> v;
  for (int k = 0; k < vec<T>::K; ++k) v.r[k] = bit_xor(a.r[k], b.r[k]);
  return v;
}
// The odd lanes' sign bits: conjugates a vector of interleaved complex values.
template <class T>
inline vec<T> odd_sign_mask() {
  alignas(64) T t[vec<T>::N];
  for (int i = 0; i < vec<T>::N; ++i) t[i] = (i & 1) ? T(-0.0) : T(0.0);
  return vec<T>::load(t);
}

// A store that bypasses the caches (p 64-byte aligned). A run of them ends
// with stream_fence() before the data is handed to another thread.
template <class T>
inline void stream(T* p, const vec<T>& v) {
  for (int k = 0; k < vec<T>::K; ++k) stream_reg(p + k * vec<T>::W, v.r[k]);
}
inline void stream_fence() { _mm_sfence(); }

// Asks for the cache line at p ahead of its use (a hint: never faults).
inline void prefetch(const void* p) { _mm_prefetch(static_cast<const char*>(p), _MM_HINT_T0); }

}  // namespace orb::simd
