// The any-length door of the signal layer: the plan record, the
// choice of method by length, and the complex engine every kind runs on.
//
// One template over the real type T serves the six kinds. The complex
// engine works on interleaved values; the split kinds interleave into the
// work buffer around it, and the real kinds run it at half length (even N,
// with a recombination) or on the promoted data (odd N).
//
// Methods of the engine, by length n:
//   codelet     n < 17: one call of the codelet of that length;
//   fft         n a power of two: the nested power-of-two plan;
//   prime-fact  a plan of stages, from the fixed table or the factoring;
//   direct      n up to the threshold and no plan: one stage of radix n;
//   conv        otherwise: Bluestein's convolution over a plan of length M.
// The staged methods run a self-sorting (Stockham) decimation in frequency:
// stage i of radix r reads columns at stride s*m and writes them at stride
// s, then multiplies by its twiddles, so the result comes out in order and
// no reordering pass is needed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "dft/codelets/bodies.hpp"
#include "dft/dft_types.h"
#include "frame/kernels_dft.hpp"
#include "frame/simd.hpp"
#include "orb/orb_service.h"

namespace orb::dft::keps {

using simd::vec;

enum : int { kOk = 0, kSize = -6, kNull = -8, kMem = -9, kWrongKind = -13, kBadFlag = -18 };
enum : int { kFlagFwd = 1, kFlagInv = 2, kFlagSqrt = 4, kFlagNone = 8 };
enum Method : int { kCodelet = 0, kFft = 1, kPrimeFact = 2, kDirect = 3, kConv = 4 };
// Layout of a real transform's spectrum.
enum Format : int { kPerm = 0, kPack = 1, kCcs = 2 };

inline constexpr int kFixedBytes = 580;  // the record's fixed part
inline constexpr int kMaxStages = 19;
inline constexpr int kMaxRadix = 151;  // the cofactor rule bounds a stage by 150

inline std::uintptr_t up64(std::uintptr_t p) { return (-p & 63) + p; }
template <class P>
inline P* align64(P* p) {
  return reinterpret_cast<P*>(up64(reinterpret_cast<std::uintptr_t>(p)));
}
inline std::size_t round64(std::size_t n) { return (n + 63) & ~std::size_t(63); }

// The record. Fields up to the stage records are in the documented order;
// the engine's own words follow in the rest of the fixed part.
template <class T>
struct Spec {
  int kind;
  int length;
  int scale_fwd;
  int scale_inv;
  T scale;
  int hint;
  int buf_size;  // bytes of work buffer a transform call needs
  int is_pow2;
  const T* roots;     // the n roots of unity exp(-2 pi i k / n)
  const T* twiddles;  // the stages' twiddles
  const T* chirp;     // convolution: exp(-i pi j^2 / n)
  const T* filter;    // convolution: the transformed conjugate chirp, times 1/M
  const T* recomb;    // real, even N: exp(-2 pi i k / N), k to N/4
  Spec* inner;        // complex engine of the real kinds, of the convolution
  orb_keps_fft_spec* fft;
  int stages_minus_1;
  int is_prime_fact;
  // Stage records of six words, the factor first (the words after it:
  // build_stages in dft.cpp).
  int stage[kMaxStages][6];
  int method;
  int conv_len;  // M
  int engine_buf;  // bytes of work the engine needs, aligned pieces
};
static_assert(sizeof(Spec<double>) <= kFixedBytes && sizeof(Spec<float>) <= kFixedBytes);

// Kind words.
template <class T>
struct KindWords;
template <>
struct KindWords<float> {
  static constexpr int c = 13, split = 14, real = 15;
  static constexpr int threshold = 50;
  static constexpr int max_len = (1 << 27) - 1, max_conv = (1 << 26) - 1;
  static constexpr int lanes = 8;  // complex values in one logical vector
};
template <>
struct KindWords<double> {
  static constexpr int c = 16, split = 17, real = 18;
  static constexpr int threshold = 75;
  static constexpr int max_len = (1 << 26) - 1, max_conv = (1 << 25) - 1;
  static constexpr int lanes = 4;
};

// Planning: the fixed factorisations and the factoring rule.
struct SpecialCase {
  short n;
  signed char f[4];
};
inline constexpr SpecialCase kSpecial[] = {
    {18, {6, 3}},          {24, {3, 8}},        {28, {4, 7}},         {30, {5, 6}},       {36, {6, 6}},
    {40, {5, 8}},          {42, {7, 6}},        {48, {6, 8}},         {50, {10, 5}},      {56, {7, 8}},
    {60, {10, 6}},         {63, {7, 9}},        {66, {6, 11}},        {70, {10, 7}},      {75, {15, 5}},
    {80, {5, 16}},         {84, {14, 6}},       {88, {11, 8}},        {90, {10, 9}},      {96, {6, 16}},
    {98, {7, 14}},         {100, {4, 5, 5}},    {105, {15, 7}},       {108, {9, 12}},     {110, {10, 11}},
    {112, {7, 16}},        {120, {15, 8}},      {126, {14, 9}},       {140, {10, 14}},    {144, {12, 12}},
    {160, {10, 16}},       {162, {6, 3, 9}},    {168, {14, 12}},      {174, {6, 29}},     {176, {11, 16}},
    {180, {15, 12}},       {192, {12, 16}},     {208, {13, 16}},      {210, {15, 14}},    {216, {3, 9, 8}},
    {224, {14, 16}},       {240, {15, 16}},     {250, {10, 5, 5}},    {252, {4, 9, 7}},   {255, {15, 17}},
    {288, {3, 6, 16}},     {320, {4, 5, 16}},   {336, {7, 3, 16}},    {360, {5, 9, 8}},   {384, {6, 8, 8}},
    {400, {5, 5, 16}},     {432, {6, 9, 8}},    {440, {11, 5, 8}},    {448, {7, 8, 8}},   {456, {3, 8, 19}},
    {480, {6, 5, 16}},     {500, {5, 5, 4, 5}}, {504, {7, 9, 8}},     {640, {8, 5, 16}},  {656, {16, 41}},
    {720, {15, 3, 16}},    {864, {6, 9, 16}},   {960, {15, 8, 8}},    {1000, {5, 5, 5, 8}}, {1248, {12, 13, 8}},
    {1280, {16, 5, 16}},   {1458, {2, 9, 9, 9}}, {1728, {12, 9, 16}}, {1920, {8, 15, 16}}, {1960, {5, 7, 7, 8}},
    {2916, {7, 7, 12, 7}}, {4116, {7, 7, 12, 7}},
};

// Options of the planning that depend on the kind rather than the length.
struct PlanOpts {
  bool no_special;  // split kinds, real kinds of odd N
  bool no_nine;     // the same: threes stay apart
  int threshold;    // T
  int direct_max;   // no plan and n up to this: direct
};

// The factors of n into f; returns their count, 0 when there is no plan.
inline int plan_factors(int n, const PlanOpts& o, int* f) {
  if (!o.no_special)
    for (const SpecialCase& c : kSpecial)
      if (c.n == n) {
        // An entry whose factors do not multiply to its length (2916 is
        // listed with the factors of 4116) falls to the factoring.
        int k = 0, prod = 1;
        while (k < 4 && c.f[k]) f[k] = c.f[k], prod *= c.f[k], ++k;
        if (prod == n) return k;
        break;
      }
  int k = 0, rem = n;
  int fours = 0;
  while (rem % 4 == 0) rem /= 4, ++fours;
  if (rem % 2 == 0) f[k++] = 2, rem /= 2;
  for (int i = 0; i < fours; ++i) f[k++] = 4;
  for (int d = 3; d * d <= rem; d += 2) {
    if (rem % d) continue;
    if (d > o.threshold) return 0;
    while (rem % d == 0) {
      if (d == 3 && !o.no_nine && k > 0 && f[k - 1] == 3) f[k - 1] = 9;
      else f[k++] = d;
      rem /= d;
    }
    if (k >= kMaxStages - 1) return 0;
  }
  if (rem > 1) {
    if (rem > ((n & 1) ? o.threshold : 150)) return 0;
    f[k++] = rem;
  }
  if (k == 0) return 0;
  // A 2 and a 3 at the head become one stage of 6.
  if (k >= 2 && ((f[0] == 2 && f[1] == 3) || (f[0] == 3 && f[1] == 2))) {
    f[0] = 6;
    for (int i = 1; i + 1 < k; ++i) f[i] = f[i + 1];
    --k;
  }
  return k;
}

// The roots of unity exp(-2 pi i k / n) for k < count, each from the
// nearest angle of the first half so that conjugate pairs are exact.
template <class T>
void fill_roots(T* w, int n, int count) {
  for (int k = 0; k < count; ++k) {
    const long kk = k % n;
    const bool upper = 2 * kk > n;
    const long j = upper ? n - kk : kk;
    double s, c;
    orb_serv_libm_sincospi(2.0 * double(j) / double(n), &s, &c);
    w[2 * k] = T(c);
    w[2 * k + 1] = T(upper ? s : -s);
  }
}

// ---------------------------------------------------------------- stages
template <class T>
struct Codelets;
template <>
struct Codelets<double> {
  static orb_dft_cdft_64fc_fn get(bool inv, int n) { return ORB_DFTK(BATCH_CDFT_64fc)[inv][n - 1]; }
};
template <>
struct Codelets<float> {
  static orb_dft_cdft_32fc_fn get(bool inv, int n) { return ORB_DFTK(BATCH_CDFT_32fc)[inv][n - 1]; }
};

// The even lanes' sign bits: (-wi, wi) pairs for a complex product.
template <class T>
inline vec<T> even_sign_mask() {
  return simd::bit_xor(vec<T>::set1(T(-0.0)), simd::odd_sign_mask<T>());
}

// a times (wr + i wi) in every complex lane: a*wr + swap(a)*(-wi, wi).
template <class T>
[[gnu::always_inline]] inline vec<T> cmul_bcast(const vec<T>& a, const vec<T>& wr, const vec<T>& wi_signed) {
  return a * wr + swap_pairs(a) * wi_signed;
}

// A transform of radix r on cnt columns (cnt up to the lanes of a vector)
// for a radix without a codelet: the symmetric sums and differences of
// stations k and r - k, then two accumulations per output pair. roots holds
// the r roots of the radix; strides in complex values.
template <class T>
void generic_radix(const T* src, std::ptrdiff_t ss, T* dst, std::ptrdiff_t ds, int cnt, int r, const T* roots,
                   bool inv) {
  using V = vec<T>;
  const int live = 2 * cnt;
  const int h = (r - 1) / 2;
  V s[kMaxRadix / 2 + 1], e[kMaxRadix / 2 + 1];
  const V a0 = V::load_mask(src, live);
  const V odd = simd::odd_sign_mask<T>();
  V dc = a0;
  for (int k = 1; k <= h; ++k) {
    const V x = V::load_mask(src + 2 * k * ss, live), y = V::load_mask(src + 2 * (r - k) * ss, live);
    s[k] = x + y;
    e[k] = simd::bit_xor(swap_pairs(x - y), odd);  // -i (x - y)
    dc = dc + s[k];
  }
  V mid = V::zero();
  if (!(r & 1)) {
    mid = V::load_mask(src + 2 * (r / 2) * ss, live);
    dc = dc + mid;
  }
  dc.store_mask(dst, live);
  for (int j = 1; j <= h; ++j) {
    V a = a0, b = V::zero();
    for (int k = 1; k <= h; ++k) {
      const int idx = int((long(j) * k) % r);
      a = fma(s[k], V::set1(roots[2 * idx]), a);
      b = fma(e[k], V::set1(-roots[2 * idx + 1]), b);
    }
    if (!(r & 1)) a = (j & 1) ? a - mid : a + mid;
    const V plus = a + b, minus = a - b;
    (inv ? minus : plus).store_mask(dst + 2 * j * ds, live);
    (inv ? plus : minus).store_mask(dst + 2 * (r - j) * ds, live);
  }
  if (!(r & 1)) {
    V a = a0;
    for (int k = 1; k <= h; ++k) a = (k & 1) ? a - s[k] : a + s[k];
    a = ((r / 2) & 1) ? a - mid : a + mid;
    a.store_mask(dst + 2 * (r / 2) * ds, live);
  }
}

// One stage: y[q + s(r p + j)] = w^(jp) * sum_k x[q + s(p + k m)] w_r^(jk),
// w = exp(-+2 pi i / (r m)). tw holds w^(jp) at [p (r-1) + j - 1] (forward;
// the inverse takes the conjugates). tmp: r * lanes complex values. This
// form serves the radices without a straight-line body (stage_body below).
template <class T>
void run_stage_generic(const T* x, T* y, int r, int m, int s, const T* tw, const T* roots, bool inv, T* tmp) {
  using V = vec<T>;
  constexpr int C = KindWords<T>::lanes;
  const int sm = s * m;
  if (s >= C) {
    const V neg_even = even_sign_mask<T>();
    for (int p = 0; p < m; ++p) {
      for (int q0 = 0; q0 < s; q0 += C)
        generic_radix(x + 2 * (std::ptrdiff_t(s) * p + q0), sm, y + 2 * (std::ptrdiff_t(s) * r * p + q0), s,
                s - q0 < C ? s - q0 : C, r, roots, inv);
      if (p == 0) continue;
      const T* w = tw + 2 * std::ptrdiff_t(p) * (r - 1);
      for (int j = 1; j < r; ++j) {
        const V wr = V::set1(w[2 * (j - 1)]);
        const V wi = simd::bit_xor(V::set1(inv ? -w[2 * (j - 1) + 1] : w[2 * (j - 1) + 1]), neg_even);
        T* row = y + 2 * std::ptrdiff_t(s) * (std::ptrdiff_t(r) * p + j);
        int q = 0;
        for (; q + C <= s; q += C) cmul_bcast(V::loadu(row + 2 * q), wr, wi).storeu(row + 2 * q);
        if (q < s) cmul_bcast(V::load_mask(row + 2 * q, 2 * (s - q)), wr, wi).store_mask(row + 2 * q, 2 * (s - q));
      }
    }
    return;
  }
  // Few columns per group: the lanes run over (p, q) together, through tmp.
  const T sgn = inv ? T(-1) : T(1);
  int p = 0, q = 0;
  for (int i0 = 0; i0 < sm; i0 += C) {
    const int cnt = sm - i0 < C ? sm - i0 : C;
    generic_radix(x + 2 * std::ptrdiff_t(i0), sm, tmp, C, cnt, r, roots, inv);
    for (int l = 0; l < cnt; ++l) {
      T* out = y + 2 * (q + std::ptrdiff_t(s) * r * p);
      out[0] = tmp[2 * l];
      out[1] = tmp[2 * l + 1];
      const T* w = tw + 2 * std::ptrdiff_t(p) * (r - 1);
      for (int j = 1; j < r; ++j) {
        const T ar = tmp[2 * (j * C + l)], ai = tmp[2 * (j * C + l) + 1];
        const T wr = w[2 * (j - 1)], wi = sgn * w[2 * (j - 1) + 1];
        T* o = out + 2 * std::ptrdiff_t(s) * j;
        if (p == 0) {
          o[0] = ar, o[1] = ai;
        } else {
          o[0] = ar * wr - ai * wi;
          o[1] = ai * wr + ar * wi;
        }
      }
      if (++q == s) q = 0, ++p;
    }
  }
}


// ------------------------------------------------- stages with a body
// The codelet bodies (dft/codelets/bodies.hpp) with the twiddles applied as
// each output is stored, so a stage reads and writes its data once.
//
// Many columns (s at least the lanes of a vector): the lanes run over q,
// and output j of column group p takes the one twiddle w^(jp), broadcast.
// Few columns: the lanes run over (p, q) together, each lane with its own
// twiddle from a table laid out by vectors; the outputs go through tmp and
// are scattered to their places.
template <class T>
struct tw_io : il_ops<T> {
  using V = vec<T>;
  const T* src;
  std::ptrdiff_t is;  // elements of T between stations
  T* dst;
  std::ptrdiff_t ds;  // elements of T between outputs
  int live;
  int r;
  bool inv;
  // Broadcast twiddles: w^(jp) at tw[2 (j - 1)], or null for none.
  const T* tw;
  // Per-lane twiddles: for output j, the real parts doubled (wr, wr) at
  // lane[(j - 1) 2 width] and (-wi, wi) after them; null for none.
  const T* lane;
  V flip;  // sign bits that conjugate (-wi, wi) pairs: zero forward
  V neg_even;
  [[gnu::always_inline]] V ld(int j) const { return V::load_mask(src + j * is, live); }
  [[gnu::always_inline]] void st(int k, const V& v) const {
    const int j = (inv && k) ? r - k : k;
    V o = v;
    if (j && tw) {
      const V wr = V::set1(tw[2 * (j - 1)]);
      const V wi = simd::bit_xor(V::set1(tw[2 * (j - 1) + 1]), simd::bit_xor(neg_even, flip));
      o = fma(o, wr, swap_pairs(o) * wi);
    } else if (j && lane) {
      const T* l = lane + std::ptrdiff_t(j - 1) * 2 * V::N;
      o = fma(o, V::load(l), swap_pairs(o) * simd::bit_xor(V::load(l + V::N), flip));
    }
    o.store_mask(dst + j * ds, live);
  }
};

// The radices a pass may take: those with a body.
inline bool has_body(int r) {
  return (r >= 2 && r <= 16) || r == 18 || r == 20 || r == 24 || r == 28 || r == 30 || r == 32;
}

// Calls f with the radix as a constant, for the radices with a body.
template <class F>
[[gnu::always_inline]] inline void with_radix(int r, F&& f) {
  switch (r) {
#define ORB_KEPS_RADIX(R) \
  case R:                 \
    f(std::integral_constant<int, R>{}); \
    break;
    ORB_KEPS_RADIX(2) ORB_KEPS_RADIX(3) ORB_KEPS_RADIX(4) ORB_KEPS_RADIX(5) ORB_KEPS_RADIX(6) ORB_KEPS_RADIX(7)
    ORB_KEPS_RADIX(8) ORB_KEPS_RADIX(9) ORB_KEPS_RADIX(10) ORB_KEPS_RADIX(11) ORB_KEPS_RADIX(12)
    ORB_KEPS_RADIX(13) ORB_KEPS_RADIX(14) ORB_KEPS_RADIX(15) ORB_KEPS_RADIX(16) ORB_KEPS_RADIX(18)
    ORB_KEPS_RADIX(20) ORB_KEPS_RADIX(24) ORB_KEPS_RADIX(28) ORB_KEPS_RADIX(30) ORB_KEPS_RADIX(32)
#undef ORB_KEPS_RADIX
    default:
      break;
  }
}

// Per-lane twiddles of a stage with few columns: chunk c of lanes, output j.
template <class T>
std::size_t lane_table_size(int r, int m, int s) {  // in elements of T
  constexpr int N = vec<T>::N;
  const std::size_t chunks = (std::size_t(s) * m + N / 2 - 1) / (N / 2);
  return chunks * (r - 1) * 2 * N;
}
template <class T>
void fill_lane_table(T* out, int r, int m, int s, const T* roots, int n_total) {
  constexpr int N = vec<T>::N, C = N / 2;
  const int sm = s * m;
  const std::size_t chunks = (std::size_t(sm) + C - 1) / C;
  for (std::size_t c = 0; c < chunks; ++c)
    for (int j = 1; j < r; ++j) {
      T* wr = out + (c * (r - 1) + (j - 1)) * 2 * N;
      T* wi = wr + N;
      for (int l = 0; l < C; ++l) {
        const std::size_t i = c * C + l;
        const std::size_t p = i < std::size_t(sm) ? i / s : 0;
        const std::size_t idx = std::size_t(j) * p * s % std::size_t(n_total);
        const T re = roots[2 * idx], im = roots[2 * idx + 1];
        wr[2 * l] = re, wr[2 * l + 1] = re;
        wi[2 * l] = -im, wi[2 * l + 1] = im;
      }
    }
}

// A pass over the columns q of [qa + t qstep, qa + t qstep + w) for t below
// nt (the whole pass: qa 0, w s, nt 1). Columns of different residues mod
// qstep never meet in later passes, which lets a long transform finish one
// group of columns at a time while it stays in cache.
template <class T, int R>
[[gnu::noinline]] void stage_body(const T* x, T* y, int m, int s, const T* tw, const T* lanes, bool inv, T* tmp,
                                  int qa, int w, int qstep, int nt) {
  using V = vec<T>;
  constexpr int C = V::N / 2;
  const std::ptrdiff_t sm = std::ptrdiff_t(s) * m;
  tw_io<T> io{};
  io.r = R;
  io.inv = inv;
  io.flip = inv ? V::set1(T(-0.0)) : V::zero();
  io.neg_even = simd::bit_xor(V::set1(T(-0.0)), simd::odd_sign_mask<T>());
  io.is = 2 * sm;
  if (s >= C) {
    io.ds = 2 * std::ptrdiff_t(s);
    for (int p = 0; p < m; ++p) {
      io.tw = p ? tw + 2 * std::ptrdiff_t(p) * (R - 1) : nullptr;
      for (int t = 0; t < nt; ++t) {
        const int q1 = qa + t * qstep, q2 = q1 + w;
        for (int q0 = q1; q0 < q2; q0 += C) {
          io.src = x + 2 * (std::ptrdiff_t(s) * p + q0);
          io.dst = y + 2 * (std::ptrdiff_t(s) * R * p + q0);
          io.live = 2 * (q2 - q0 < C ? q2 - q0 : C);
          body<R>::run(io);
        }
      }
    }
    return;
  }
  io.ds = 2 * C;
  io.dst = tmp;
  int p = 0, q = 0;
  for (std::ptrdiff_t i0 = 0, c = 0; i0 < sm; i0 += C, ++c) {
    const int cnt = sm - i0 < C ? int(sm - i0) : C;
    io.src = x + 2 * i0;
    io.live = 2 * cnt;
    io.lane = lanes + c * (R - 1) * 2 * V::N;
    body<R>::run(io);
    // One complex value (two T) per move.
    for (int l = 0; l < cnt; ++l) {
      T* out = y + 2 * (q + std::ptrdiff_t(s) * R * p);
      #pragma GCC unroll 16
      for (int j = 0; j < R; ++j) std::memcpy(out + 2 * std::ptrdiff_t(s) * j, tmp + 2 * (j * C + l), 2 * sizeof(T));
      if (++q == s) q = 0, ++p;
    }
  }
}

}  // namespace orb::dft::keps
