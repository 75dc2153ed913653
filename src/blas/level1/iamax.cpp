// Index of the element of largest (or smallest) magnitude, 1-based; the
// magnitude of a complex element is |re| + |im|. Ties go to the lowest
// index. A NaN anywhere makes the result the index of the first NaN.
//
// NaNs are not looked for element by element. The invalid-operation flag
// is saved and cleared on entry; every value then passes through a max or
// min instruction, or a signalling compare, which raises that flag when it
// meets a NaN. Only when the flag stands at the end does a second pass look
// for the first NaN. On the way out the caller's flags are merged back, so
// a call adds flags and never removes one.
//
// The flags live in MXCSR: every floating-point operation of these kernels
// is an SSE or AVX one on both targets, and the x87 status word is never
// touched, so it keeps whatever the caller had in it.
// GCC 12 warns about the deliberately undefined pass-through operand inside
// its own AVX-512 max and min intrinsics once they are inlined here.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ < 13
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <cmath>
#include <cstddef>

#include "blas/level1/level1.hpp"

namespace orb::l1 {
namespace {

// Of the six sticky flags only invalid-operation carries information back
// to the search, so only that one needs to start clear: the others are
// left standing, which merges them with whatever the search raises exactly
// as saving, clearing and or-ing them back would, without the cost of
// writing the control register (tens of cycles) on every call.
class FlagGuard {
 public:
  static constexpr unsigned kInvalid = 0x01;

  FlagGuard() : saved_(read()) {
    if (saved_ & kInvalid) write(saved_ & ~kInvalid);
  }
  ~FlagGuard() {
    if (saved_ & kInvalid) write(read() | kInvalid);
  }
  FlagGuard(const FlagGuard&) = delete;
  FlagGuard& operator=(const FlagGuard&) = delete;
  bool invalid() const { return read() & kInvalid; }

 private:
  // The memory clobber keeps the loads of the vector on their side of the
  // reads and writes of the register.
  static unsigned read() {
    unsigned r;
    asm volatile("stmxcsr %0" : "=m"(r) : : "memory");
    return r;
  }
  static void write(unsigned r) { asm volatile("ldmxcsr %0" : : "m"(r) : "memory"); }
  unsigned saved_;
};

// a > b with a compare that raises the invalid flag on a NaN operand.
inline bool gt_signal(double a, double b) { return _mm_comigt_sd(_mm_set_sd(a), _mm_set_sd(b)); }
inline bool gt_signal(float a, float b) { return _mm_comigt_ss(_mm_set_ss(a), _mm_set_ss(b)); }

// T real type, P reals per element (1 or 2), Max largest or smallest.
template <class T, int P, bool Max>
struct Search {
  using V = vec<T>;
  static constexpr int N = V::N;

  static T measure(const T* p) {
    if constexpr (P == 1)
      return std::fabs(p[0]);
    else
      return std::fabs(p[0]) + std::fabs(p[1]);
  }
  // Lane-wise measure of a vector of reals. For complex data both lanes of
  // a pair get the pair's measure (the sum is the same either way round).
  static V measure(const V& v) {
    const V a = abs(v);
    if constexpr (P == 1)
      return a;
    else
      return a + swap_pairs(a);
  }
  static V pick(const V& acc, const V& v) { return Max ? max(acc, v) : min(acc, v); }
  static bool better(T a, T b) { return Max ? gt_signal(a, b) : gt_signal(b, a); }
  static T reduce(const V& v) { return Max ? simd::reduce_max(v) : simd::reduce_min(v); }

  // Lane-wise extreme of the measures of m reals at p, on four
  // accumulators that start from the block's first measure.
  static V block(const T* p, int m) {
    const V seed = V::set1(measure(p));
    V a0 = seed, a1 = seed, a2 = seed, a3 = seed;
    int i = 0;
    for (; i + 4 * N <= m; i += 4 * N) {
      a0 = pick(a0, measure(V::loadu(p + i)));
      a1 = pick(a1, measure(V::loadu(p + i + N)));
      a2 = pick(a2, measure(V::loadu(p + i + 2 * N)));
      a3 = pick(a3, measure(V::loadu(p + i + 3 * N)));
    }
    if (i + 2 * N <= m) {
      a0 = pick(a0, measure(V::loadu(p + i)));
      a1 = pick(a1, measure(V::loadu(p + i + N)));
      i += 2 * N;
    }
    if (i + N <= m) {
      a0 = pick(a0, measure(V::loadu(p + i)));
      i += N;
    }
    if (i < m) {
      V v = measure(V::load_mask(p + i, m - i));
      // Dead lanes read as 0, which cannot win a maximum; for a minimum
      // they take the seed instead.
      if (!Max) v = blend_gt(V::set1(T(m - i)), V::iota(), v, seed);
      a0 = pick(a0, v);
    }
    return pick(pick(a0, a1), pick(a2, a3));
  }

  // Position (0-based, in elements) of the first element of the m reals at
  // p whose measure equals value; -1 if there is none.
  static int find(const T* p, int m, T value) {
    const V t = V::set1(value);
    int i = 0;
    // Two masks side by side fit one unsigned. Kept 32 bits wide on purpose:
    // GCC 12 at -O1 with sanitizers spilled a byte-wide AVX-512 mask with
    // kmovb and reloaded it as 64 bits, garbage above the mask included.
    static_assert(2 * N <= 32);
    for (; i + 2 * N <= m; i += 2 * N) {
      const unsigned k = eq_mask(measure(V::loadu(p + i)), t) | eq_mask(measure(V::loadu(p + i + N)), t) << N;
      if (k) return (i + __builtin_ctz(k)) / P;
    }
    for (; i < m; i += N) {
      const int live = m - i < N ? m - i : N;
      const unsigned k = eq_mask(measure(V::load_mask(p + i, live)), t) & simd::lane_mask<T>(live);
      if (k) return (i + __builtin_ctz(k)) / P;
    }
    return -1;
  }

  static int first_nan(int n, const T* x, int incx) {
    for (int i = 0; i < n; ++i)
      if (std::isnan(measure(x + std::ptrdiff_t(i) * incx * P))) return i + 1;
    return 0;
  }

  // Unit stride, n >= 8: extremes block by block, then one pass over the
  // winning block for the position.
  static int unit(int n, const T* x, const FlagGuard& flags) {
    const int bs = n >= 4098 ? 1024 : 512;
    T best = T(0);
    int bstart = 0, blen = 0;
    for (int s = 0; s < n; s += bs) {
      const int len = n - s < bs ? n - s : bs;
      const V e = block(x + std::ptrdiff_t(s) * P, len * P);
      // Any lane strictly beyond the best so far means the block's extreme is.
      if (s == 0 || (Max ? gt_mask(e, V::set1(best)) : gt_mask(V::set1(best), e)) != 0) {
        best = reduce(e);
        bstart = s;
        blen = len;
      }
    }
    if (flags.invalid()) return first_nan(n, x, 1);
    const int k = find(x + std::ptrdiff_t(bstart) * P, blen * P, best);
    return k < 0 ? first_nan(n, x, 1) : bstart + k + 1;
  }

  // Any increment: gathers of N elements with the running extreme and its
  // index per lane, then a scalar loop over what is left. Indices are
  // carried as values of T, exact below 2^24 even for float; longer runs go
  // in chunks of that size.
  static int strided(int n, const T* x, int incx, const FlagGuard& flags) {
    T best;
    int bidx, i;
    const std::ptrdiff_t step = std::ptrdiff_t(incx) * P;  // reals between elements
    if (n > N) {
      const int g = n - n % N;
      constexpr int chunk = sizeof(T) == 4 ? (1 << 24) : (1 << 30);
      best = T(0);
      bidx = 0;
      for (int c0 = 0; c0 < g; c0 += chunk) {
        const int c1 = g - c0 < chunk ? g : c0 + chunk;
        const T* base = x + std::ptrdiff_t(c0) * step;
        V mx = V::set1(measure(base)), ix = V::zero(), cur = V::iota();
        const V inc = V::set1(T(N));
        for (int k = c0; k < c1; k += N) {
          const T* p = x + std::ptrdiff_t(k) * step;
          const V v = P == 1 ? abs(V::gather(p, step))
                             : abs(V::gather(p, step)) + abs(V::gather(p + 1, step));
          ix = Max ? blend_gt(v, mx, cur, ix) : blend_gt(mx, v, cur, ix);
          mx = pick(mx, v);
          cur = cur + inc;
        }
        alignas(64) T mv[N], iv[N];
        mx.storeu(mv);
        ix.storeu(iv);
        const T w = reduce(mx);
        int at = -1;
        for (int l = 0; l < N; ++l)
          if (mv[l] == w && (at < 0 || int(iv[l]) < at)) at = int(iv[l]);
        if (at < 0) at = 0;  // only when a NaN is present; found again below
        if (c0 == 0 || (Max ? w > best : w < best)) best = w, bidx = c0 + at;
      }
      i = g;
    } else {
      best = measure(x);
      bidx = 0;
      i = 1;
    }
    for (; i < n; ++i) {
      const T m = measure(x + std::ptrdiff_t(i) * step);
      if (better(m, best)) best = m, bidx = i;
    }
    if (flags.invalid()) return first_nan(n, x, incx);
    return bidx + 1;
  }

  static int run(const int* pn, const T* x, const int* pincx) {
    const int n = *pn, incx = *pincx;
    if (n < 1 || incx < 1) return 0;
    if (n == 1) return 1;
    const FlagGuard flags;
    if (incx == 1 && n >= 8) return unit(n, x, flags);
    return strided(n, x, incx, flags);
  }
};

}  // namespace
}  // namespace orb::l1

using namespace orb::l1;

ORB_API int ORB_BLAS(xisamax)(const int* n, const float* x, const int* incx) {
  return Search<float, 1, true>::run(n, x, incx);
}
ORB_API int ORB_BLAS(xidamax)(const int* n, const double* x, const int* incx) {
  return Search<double, 1, true>::run(n, x, incx);
}
ORB_API int ORB_BLAS(xicamax)(const int* n, const orb_complex8* x, const int* incx) {
  return Search<float, 2, true>::run(n, &x->re, incx);
}
ORB_API int ORB_BLAS(xizamax)(const int* n, const orb_complex16* x, const int* incx) {
  return Search<double, 2, true>::run(n, &x->re, incx);
}
ORB_API int ORB_BLAS(xisamin)(const int* n, const float* x, const int* incx) {
  return Search<float, 1, false>::run(n, x, incx);
}
ORB_API int ORB_BLAS(xidamin)(const int* n, const double* x, const int* incx) {
  return Search<double, 1, false>::run(n, x, incx);
}
ORB_API int ORB_BLAS(xicamin)(const int* n, const orb_complex8* x, const int* incx) {
  return Search<float, 2, false>::run(n, &x->re, incx);
}
ORB_API int ORB_BLAS(xizamin)(const int* n, const orb_complex16* x, const int* incx) {
  return Search<double, 2, false>::run(n, &x->re, incx);
}
