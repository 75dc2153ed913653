// The power-of-two door of the signal layer: plans of orders 0 to
// 26 (27 in single precision) for complex, split complex and real data,
// and the transforms. Orders below 6 run the codelets; above, the vector
// core of fft_core.hpp. A real transform of N points is the complex one
// of N/2 points followed by the recombination of its halves; its result
// is built in Perm order and converted to Pack or CCS.
#include "dft/signal/fft.hpp"

#include <climits>
#include <cmath>
#include <cstring>

#include "dft/signal/fft_base_table.hpp"
#include "frame/kernels_dft.hpp"
#include "orb/orb_service.h"

extern "C" double orb_dft_fft_fix_twiddle_table_64f[257];

namespace orb::dft::fft {
namespace {

constexpr int kOk = 0, kSizeErr = -6, kNullErr = -8, kMemErr = -9, kKindErr = -13, kOrderErr = -17, kFlagErr = -18;
constexpr int kFixedOrder = 10;

inline unsigned char* align64(void* p) {
  const std::uintptr_t a = reinterpret_cast<std::uintptr_t>(p);
  return reinterpret_cast<unsigned char*>(a + (-a & 63));
}

template <class T>
int max_order() { return sizeof(T) == 8 ? 26 : 27; }

bool flag_ok(int flag) { return flag == 8 || flag == 1 || flag == 2 || flag == 4; }

// ---- Twiddles from a quarter-wave sine table of order qo >= the order.
struct twiddles {
  const double* qs;
  int qo;
  // cos and sin of 2 pi e / 2^order.
  void at(long e, int order, double* c, double* s) const {
    const long n = 1L << qo, q = n / 4;
    long k = (e << (qo - order)) & (n - 1);
    if (k <= q) *s = qs[k], *c = qs[q - k];
    else if (k <= 2 * q) *s = qs[2 * q - k], *c = -qs[k - q];
    else if (k <= 3 * q) *s = -qs[k - 2 * q], *c = -qs[3 * q - k];
    else *s = -qs[4 * q - k], *c = qs[k - 3 * q];
  }
};

// A bump allocator over the plan's tables; with a null base it
// only counts.
struct arena {
  unsigned char* base;
  std::int64_t used;
  template <class U>
  U* take(std::int64_t count) {
    used = (used + 63) & ~std::int64_t(63);
    U* p = base ? reinterpret_cast<U*>(base + used) : nullptr;
    used += count * std::int64_t(sizeof(U));
    return p;
  }
};

// In-cache block of part 1: 512 KiB of complex values (2^15 double, 2^16
// single), a quarter of a 2 MiB second-level cache: stages on larger
// blocks run over the whole array, the rest block by block.
template <class T>
constexpr std::ptrdiff_t kBlockVectors = (std::ptrdiff_t(1) << (sizeof(T) == 8 ? 15 : 16)) / kV<T>;

// From this order on part 2 builds its twiddles from a small table (the
// plain one would be 1.5 (double) or 1.75 (single) times the data).
template <class T>
constexpr int kCompactOrder = sizeof(T) == 8 ? 12 : 13;

// Lays out (base null: sizes only) and fills the plan of a complex
// transform of order >= kMinCoreOrder.
template <class T>
void build_cplan(cplan<T>& p, int order, arena& a, const twiddles* tw) {
  constexpr int NV = kV<T>, L = kL<T>;
  const long n = 1L << order, m = n / NV;
  int lg = 0;
  while ((1L << lg) < m) ++lg;
  p.order = order;
  p.m = int(m);
  p.first_r2 = lg & 1;
  p.nstages = p.first_r2 + lg / 2;
  p.blk_stage = 0;
  while (p.blk_stage < p.nstages && stage_size(p, p.blk_stage) > kBlockVectors<T>) ++p.blk_stage;
  for (int s = 0; s < p.nstages; ++s) {
    const long size = stage_size(p, s);
    const int r = (s == 0 && p.first_r2) ? 2 : 4;
    const long h = size / r;
    T* t = a.take<T>(h * 2 * (r - 1));
    p.stage_tw[s] = t;
    if (!t) continue;
    for (long i = 0; i < h; ++i)
      for (int j = 1; j < r; ++j) {
        double c, sn;
        tw->at(long(j) * i * (n / size), order, &c, &sn);
        t[2 * ((r - 1) * i + j - 1)] = T(c);
        t[2 * ((r - 1) * i + j - 1) + 1] = T(-sn);
      }
  }
  int* perm = a.take<int>(m);
  p.perm = perm;
  if (perm) {
    for (long k = 0; k < m; ++k) {
      long pos = 0, size = m, kk = k;
      for (int s = 0; s < p.nstages; ++s) {
        const int r = (s == 0 && p.first_r2) ? 2 : 4;
        size /= r;
        pos += (kk % r) * size;
        kk /= r;
      }
      perm[k] = int(pos);
    }
  }
  p.compact = order >= kCompactOrder<T>;
  if (p.compact) {
    T* f = a.take<T>((m / NV) * (NV - 1) * 2);
    T* k = a.take<T>((NV - 1) * 4 * L);
    p.final_tw = f;
    p.final_const = k;
    if (!f) return;
    for (long b = 0; b < m / NV; ++b)
      for (int j = 1; j < NV; ++j) {
        double co, sn;
        tw->at(long(j) * b * NV, order, &co, &sn);
        f[(b * (NV - 1) + j - 1) * 2] = T(co);
        f[(b * (NV - 1) + j - 1) * 2 + 1] = T(-sn);
      }
    for (int j = 1; j < NV; ++j)
      for (int c = 0; c < NV; ++c) {
        double co, sn;
        tw->at(long(j) * c, order, &co, &sn);
        T* v = k + (j - 1) * 4 * L + 2 * c;  // w = co - i sn
        v[0] = v[1] = T(co);
        v[L] = v[L + 1] = T(-sn);
        v[2 * L] = T(-co), v[2 * L + 1] = T(co);
        v[3 * L] = T(sn), v[3 * L + 1] = T(-sn);
      }
    return;
  }
  T* f = a.take<T>((m / NV) * (NV - 1) * 2 * L);
  p.final_tw = f;
  if (f) {
    for (long b = 0; b < m / NV; ++b)
      for (int j = 1; j < NV; ++j) {
        T* wr = f + (b * (NV - 1) + j - 1) * 2 * L;
        T* wi = wr + L;
        for (int c = 0; c < NV; ++c) {
          double co, sn;
          tw->at(long(j) * (b * NV + c), order, &co, &sn);
          wr[2 * c] = wr[2 * c + 1] = T(co);
          wi[2 * c] = T(sn);
          wi[2 * c + 1] = T(-sn);
        }
      }
  }
}

// The real recombination's table: k = 1 .. N/4 in vectors of V values,
// a vector of cosines and one of sines each.
template <class T>
long real_table_len(long n) {
  return (n / 4 + kV<T> - 1) / kV<T> * 2 * kL<T>;
}

// Sizes of a plan: its block (record, tables, alignment slack),
// the init buffer (the quarter-wave table of orders above 10) and the work
// buffer of a transform.
template <class T, form F>
int sizes(int order, std::int64_t* spec, std::int64_t* init, std::int64_t* buf) {
  arena a{nullptr, std::int64_t(sizeof(orb_keps_fft_spec))};
  const int co = F == form::real ? order - 1 : order;
  const long n = 1L << order;
  if (co >= kMinCoreOrder) {
    cplan<T> p{};
    build_cplan<T>(p, co, a, nullptr);
  }
  if (F == form::real && co >= kMinCoreOrder) a.take<T>(real_table_len<T>(n));
  *spec = a.used + 64;
  *init = order > kFixedOrder ? std::int64_t(n / 4 + 1) * 8 + 64 : 0;
  // Complex: N values for part 1. Split: the same (its halves double as
  // part 2's output). Real: the half-length values and their work.
  *buf = co >= kMinCoreOrder ? std::int64_t(2) * n * std::int64_t(sizeof(T)) : 0;
  if (*buf) *buf = ((*buf + 63) & ~std::int64_t(63)) + 64;
  return (*spec > INT_MAX || *buf > INT_MAX) ? kSizeErr : kOk;
}

template <class T, form F>
int get_size(int order, int flag, int /*hint*/, int* spec_size, int* init_size, int* buf_size) {
  if (!spec_size || !init_size || !buf_size) return kNullErr;
  if (order < 0 || order > max_order<T>()) return kOrderErr;
  if (!flag_ok(flag)) return kFlagErr;
  std::int64_t s, i, b;
  if (const int st = sizes<T, F>(order, &s, &i, &b)) return st;
  *spec_size = int(s);
  *init_size = int(i);
  *buf_size = int(b);
  return kOk;
}

template <class T, form F>
int init(orb_keps_fft_spec** handle, int order, int flag, int hint, unsigned char* spec_mem, unsigned char* init_buf) {
  if (!handle || !spec_mem) return kNullErr;
  if (order < 0 || order > max_order<T>()) return kOrderErr;
  if (!flag_ok(flag)) return kFlagErr;
  std::int64_t ss, is, bs;
  if (const int st = sizes<T, F>(order, &ss, &is, &bs)) return st;
  if (is && !init_buf) return kNullErr;
  unsigned char* base = align64(spec_mem);
  std::memset(base, 0, std::size_t(ss - 64));
  auto* s = reinterpret_cast<orb_keps_fft_spec*>(base);
  const long n = 1L << order;
  s->kind = kKind<T, F>;
  s->order = order;
  s->scale_fwd = flag == 1 || flag == 4;
  s->scale_inv = flag == 2 || flag == 4;
  s->scale = flag == 4 ? 1.0 / std::sqrt(double(n)) : 1.0 / double(n);
  s->scale32 = float(s->scale);
  s->hint = hint;
  s->buf_size = int(bs);
  s->complex_order = F == form::real ? order - 1 : order;
  twiddles tw{orb_dft_fft_fix_twiddle_table_64f, kFixedOrder};
  if (order > kFixedOrder) {
    double* q = reinterpret_cast<double*>(align64(init_buf));
    fill_quarter_sine(q, n);
    tw = {q, order};
  }
  arena a{base, std::int64_t(sizeof(orb_keps_fft_spec))};
  if (s->complex_order >= kMinCoreOrder) {
    cplan<T>& p = plan_of<T>(s);
    build_cplan<T>(p, s->complex_order, a, &tw);
    s->bitrev_table = const_cast<int*>(p.perm);
    s->twiddle_table = const_cast<T*>(p.stage_tw[0] ? p.stage_tw[0] : p.final_tw);
    if (F == form::real) {
      T* r = a.take<T>(real_table_len<T>(n));
      constexpr int NV = kV<T>, L = kL<T>;
      for (long j = 0; j < real_table_len<T>(n) / (2 * L); ++j)
        for (int c = 0; c < NV; ++c) {
          double co, sn;
          tw.at(1 + NV * j + c, order, &co, &sn);
          T* w = r + j * 2 * L + 2 * c;
          w[0] = w[1] = T(co);
          w[L] = T(sn);
          w[L + 1] = T(-sn);
        }
      s->real_tw = r;
    }
  }
  *handle = s;
  return kOk;
}

template <class T, form F>
int init_alloc(orb_keps_fft_spec** handle, int order, int flag, int hint) {
  if (!handle) return kNullErr;
  int ss, is, bs;
  if (const int st = get_size<T, F>(order, flag, hint, &ss, &is, &bs)) return st;
  void* mem = orb_serv_allocate(std::size_t(ss), 64);
  if (!mem) return kMemErr;
  void* ib = nullptr;
  if (is) {
    ib = orb_serv_allocate(std::size_t(is), 64);
    if (!ib) {
      orb_serv_deallocate(mem);
      return kMemErr;
    }
  }
  const int st = init<T, F>(handle, order, flag, hint, static_cast<unsigned char*>(mem), static_cast<unsigned char*>(ib));
  if (ib) orb_serv_deallocate(ib);
  if (st) {
    orb_serv_deallocate(mem);
    return st;
  }
  (*handle)->alloc = mem;
  return kOk;
}

template <class T, form F>
int free_spec(orb_keps_fft_spec* s) {
  if (!s) return kNullErr;
  if (s->kind != kKind<T, F>) return kKindErr;
  if (s->alloc) orb_serv_deallocate(s->alloc);
  return kOk;
}

template <class T, form F>
int get_buf_size(const orb_keps_fft_spec* s, int* size) {
  if (!s || !size) return kNullErr;
  if (s->kind != kKind<T, F>) return kKindErr;
  *size = s->buf_size;
  return kOk;
}

// The caller's work buffer aligned, or one of the layer's own.
struct work {
  unsigned char* p = nullptr;
  void* owned = nullptr;
  int get(const orb_keps_fft_spec* s, unsigned char* buf) {
    if (!s->buf_size) return kOk;
    if (buf) {
      p = align64(buf);
      return kOk;
    }
    owned = orb_serv_allocate(std::size_t(s->buf_size), 64);
    if (!owned) return kMemErr;
    p = align64(owned);
    return kOk;
  }
  ~work() {
    if (owned) orb_serv_deallocate(owned);
  }
};

template <class T>
void scale_array(T* p, long n, T scale) {
  for (long i = 0; i < n; ++i) p[i] *= scale;
}

// ---- Codelets of the small orders.
template <class T, bool Inv>
void small_complex(int order, const T* src, T* dst) {
  if constexpr (sizeof(T) == 8) {
    using fn = void (*)(const double*, int, double*, int, int);
    static constexpr fn fwd[6] = {ORB_DFTK(cFFT_1_64fc), ORB_DFTK(cFFT_2_64fc), ORB_DFTK(cFFTfwd_4_64fc),
                                  ORB_DFTK(cFFTfwd_8_64fc), ORB_DFTK(cFFTfwd_16_64fc), ORB_DFTK(cFFTfwd_32_64fc)};
    static constexpr fn inv[6] = {ORB_DFTK(cFFT_1_64fc), ORB_DFTK(cFFT_2_64fc), ORB_DFTK(cFFTinv_4_64fc),
                                  ORB_DFTK(cFFTinv_8_64fc), ORB_DFTK(cFFTinv_16_64fc), ORB_DFTK(cFFTinv_32_64fc)};
    (Inv ? inv : fwd)[order](src, 1, dst, 1, 1);
  } else {
    using fn = void (*)(const float*, int, float*, int, int);
    static constexpr fn fwd[6] = {ORB_DFTK(cFFT_1_32fc), ORB_DFTK(cFFT_2_32fc), ORB_DFTK(cFFTfwd_4_32fc),
                                  ORB_DFTK(cFFTfwd_8_32fc), ORB_DFTK(cFFTfwd_16_32fc), ORB_DFTK(cFFTfwd_32_32fc)};
    static constexpr fn inv[6] = {ORB_DFTK(cFFT_1_32fc), ORB_DFTK(cFFT_2_32fc), ORB_DFTK(cFFTinv_4_32fc),
                                  ORB_DFTK(cFFTinv_8_32fc), ORB_DFTK(cFFTinv_16_32fc), ORB_DFTK(cFFTinv_32_32fc)};
    (Inv ? inv : fwd)[order](src, 1, dst, 1, 1);
  }
}

template <class T, bool Inv>
void small_split(int order, const T* sre, const T* sim, T* dre, T* dim) {
  if constexpr (sizeof(T) == 8) {
    using fn = void (*)(const double*, const double*, int, double*, double*, int, int);
    static constexpr fn fwd[6] = {ORB_DFTK(crFFT_1_64f), ORB_DFTK(crFFT_2_64f), ORB_DFTK(crFFTfwd_4_64f),
                                  ORB_DFTK(crFFTfwd_8_64f), ORB_DFTK(crFFTfwd_16_64f), ORB_DFTK(crFFTfwd_32_64f)};
    static constexpr fn inv[6] = {ORB_DFTK(crFFT_1_64f), ORB_DFTK(crFFT_2_64f), ORB_DFTK(crFFTinv_4_64f),
                                  ORB_DFTK(crFFTinv_8_64f), ORB_DFTK(crFFTinv_16_64f), ORB_DFTK(crFFTinv_32_64f)};
    (Inv ? inv : fwd)[order](sre, sim, 1, dre, dim, 1, 1);
  } else {
    using fn = void (*)(const float*, const float*, int, float*, float*, int, int);
    static constexpr fn fwd[6] = {ORB_DFTK(crFFT_1_32f), ORB_DFTK(crFFT_2_32f), ORB_DFTK(crFFTfwd_4_32f),
                                  ORB_DFTK(crFFTfwd_8_32f), ORB_DFTK(crFFTfwd_16_32f), ORB_DFTK(crFFTfwd_32_32f)};
    static constexpr fn inv[6] = {ORB_DFTK(crFFT_1_32f), ORB_DFTK(crFFT_2_32f), ORB_DFTK(crFFTinv_4_32f),
                                  ORB_DFTK(crFFTinv_8_32f), ORB_DFTK(crFFTinv_16_32f), ORB_DFTK(crFFTinv_32_32f)};
    (Inv ? inv : fwd)[order](sre, sim, 1, dre, dim, 1, 1);
  }
}

// Real codelets, orders 1 to 6: N reals to the N/2 + 1 values of CCS and
// back, times *scale.
template <class T, bool Inv>
void small_real(int order, const T* in, T* out, T scale) {
  if constexpr (sizeof(T) == 8) {
    using fn = int (*)(const double*, double*, const double*);
    static constexpr fn fwd[7] = {nullptr, ORB_DFTK(xd_f2_1df), ORB_DFTK(xd_f4_1df), ORB_DFTK(xd_f8_1df),
                                  ORB_DFTK(xd_f16_1df), ORB_DFTK(xd_f32_1df), ORB_DFTK(xd_f64_1df)};
    static constexpr fn inv[7] = {nullptr, ORB_DFTK(xd_f2_1db), ORB_DFTK(xd_f4_1db), ORB_DFTK(xd_f8_1db),
                                  ORB_DFTK(xd_f16_1db), ORB_DFTK(xd_f32_1db), ORB_DFTK(xd_f64_1db)};
    (Inv ? inv : fwd)[order](in, out, &scale);
  } else {
    using fn = int (*)(const float*, float*, const float*);
    static constexpr fn fwd[7] = {nullptr, ORB_DFTK(xs_f2_1df), ORB_DFTK(xs_f4_1df), ORB_DFTK(xs_f8_1df),
                                  ORB_DFTK(xs_f16_1df), ORB_DFTK(xs_f32_1df), ORB_DFTK(xs_f64_1df)};
    static constexpr fn inv[7] = {nullptr, ORB_DFTK(xs_f2_1db), ORB_DFTK(xs_f4_1db), ORB_DFTK(xs_f8_1db),
                                  ORB_DFTK(xs_f16_1db), ORB_DFTK(xs_f32_1db), ORB_DFTK(xs_f64_1db)};
    (Inv ? inv : fwd)[order](in, out, &scale);
  }
}

template <class T, bool Inv>
bool scaled(const orb_keps_fft_spec* s) {
  return Inv ? s->scale_inv : s->scale_fwd;
}

// ---- Complex, interleaved.
template <class T, bool Inv>
int complex_run(const T* src, T* dst, const orb_keps_fft_spec* s, unsigned char* buf) {
  if (!src || !dst || !s) return kNullErr;
  if (s->kind != kKind<T, form::c>) return kKindErr;
  const long n = 1L << s->order;
  const bool sc = scaled<T, Inv>(s);
  const T scale = scale_of<T>(s);
  if (s->order < kMinCoreOrder) {
    small_complex<T, Inv>(s->order, src, dst);
    if (sc) scale_array(dst, 2 * n, scale);
    return kOk;
  }
  work w;
  if (const int st = w.get(s, buf)) return st;
  run<T, Inv>(plan_of<T>(s), src, reinterpret_cast<T*>(w.p), dst, dst + n, sc, scale);
  return kOk;
}

// ---- Complex, split: interleaved in the buffer, part 1 in place there,
// part 2 into the destination arrays (first half of the values in the
// real array, second half in the imaginary one), then split back through
// the buffer.
template <class T, bool Inv>
int split_run(const T* sre, const T* sim, T* dre, T* dim, const orb_keps_fft_spec* s, unsigned char* buf) {
  if (!sre || !sim || !dre || !dim || !s) return kNullErr;
  if (s->kind != kKind<T, form::split>) return kKindErr;
  const long n = 1L << s->order;
  const bool sc = scaled<T, Inv>(s);
  const T scale = scale_of<T>(s);
  if (s->order < kMinCoreOrder) {
    small_split<T, Inv>(s->order, sre, sim, dre, dim);
    if (sc) scale_array(dre, n, scale), scale_array(dim, n, scale);
    return kOk;
  }
  work w;
  if (const int st = w.get(s, buf)) return st;
  T* a = reinterpret_cast<T*>(w.p);
  for (long i = 0; i < n; ++i) a[2 * i] = sre[i], a[2 * i + 1] = sim[i];
  run<T, Inv>(plan_of<T>(s), a, a, dre, dim, sc, scale);
  std::memcpy(a, dre, sizeof(T) * n);
  std::memcpy(a + n, dim, sizeof(T) * n);
  for (long i = 0; i < n; ++i) dre[i] = a[2 * i], dim[i] = a[2 * i + 1];
  return kOk;
}

// ---- Real.
enum class packing { perm, pack, ccs };

// Perm (N reals, at p) to the other layouts, in place (CCS needs N + 2).
template <class T>
void from_perm(T* p, long n, packing to) {
  if (to == packing::perm) return;
  if (n == 1) {
    if (to == packing::ccs) p[1] = T(0);
    return;
  }
  if (to == packing::pack) {
    const T r = p[1];
    std::memmove(p + 1, p + 2, sizeof(T) * (n - 2));
    p[n - 1] = r;
  } else {
    p[n] = p[1];
    p[n + 1] = T(0);
    p[1] = T(0);
  }
}

// Where R0, R(N/2) and the pair of frequency k (1 <= k < N/2) lie.
struct layout {
  long nyq;  // index of R(N/2)
  long off;  // pair k at 2k + off
};
inline layout layout_of(packing f, long n) {
  return f == packing::perm ? layout{1, 0} : f == packing::pack ? layout{n - 1, -1} : layout{n, 0};
}

template <class T>
int real_fwd(const T* src, T* dst, const orb_keps_fft_spec* s, unsigned char* buf, packing to) {
  if (!src || !dst || !s) return kNullErr;
  if (s->kind != kKind<T, form::real>) return kKindErr;
  const long n = 1L << s->order;
  const bool sc = s->scale_fwd;
  const T scale = sc ? scale_of<T>(s) : T(1);
  if (s->order == 0) {
    dst[0] = src[0] * scale;
  } else if (s->complex_order < kMinCoreOrder) {
    alignas(64) T t[66];
    small_real<T, false>(s->order, src, t, scale);
    dst[0] = t[0];
    dst[1] = t[n];
    std::memcpy(dst + 2, t + 2, sizeof(T) * (n - 2));
  } else {
    work w;
    if (const int st = w.get(s, buf)) return st;
    const long h = n / 2;
    run<T, false>(plan_of<T>(s), src, reinterpret_cast<T*>(w.p), dst, dst + h, false, T(1));
    const T* tw = static_cast<const T*>(s->real_tw);
    if (sc) real_fwd_recombine<T, true>(dst, h, tw, scale);
    else real_fwd_recombine<T, false>(dst, h, tw, scale);
  }
  from_perm(dst, n, to);
  return kOk;
}

template <class T>
int real_inv(const T* src, T* dst, const orb_keps_fft_spec* s, unsigned char* buf, packing from) {
  if (!src || !dst || !s) return kNullErr;
  if (s->kind != kKind<T, form::real>) return kKindErr;
  const long n = 1L << s->order;
  const bool sc = s->scale_inv;
  const T scale = sc ? scale_of<T>(s) : T(1);
  const layout lo = layout_of(from, n);
  if (s->order == 0) {
    dst[0] = src[0] * scale;
    return kOk;
  }
  if (s->complex_order < kMinCoreOrder) {
    alignas(64) T t[66];
    t[0] = src[0];
    t[1] = T(0);
    for (long k = 1; k < n / 2; ++k) t[2 * k] = src[2 * k + lo.off], t[2 * k + 1] = src[2 * k + 1 + lo.off];
    t[n] = src[lo.nyq];
    t[n + 1] = T(0);
    small_real<T, true>(s->order, t, dst, scale);
    return kOk;
  }
  work w;
  if (const int st = w.get(s, buf)) return st;
  const long h = n / 2;
  T* z = reinterpret_cast<T*>(w.p);
  T* wk = z + n;
  real_inv_recombine<T>(src + lo.off, src[0], src[lo.nyq], z, h, static_cast<const T*>(s->real_tw));
  run<T, true>(plan_of<T>(s), z, wk, dst, dst + h, sc, scale);
  return kOk;
}

// ---- Team form of the complex transform.
template <class T, bool Inv>
int complex_team(const T* src, T* dst, const orb_keps_fft_spec* s, unsigned char* buf, int nthreads, int tid,
                 orb_dft_barrier* barrier) {
  if (!src || !dst || !s || (nthreads > 1 && !barrier)) return kNullErr;
  if (s->kind != kKind<T, form::c>) return kKindErr;
  if (s->order < kMinCoreOrder) return tid == 0 ? complex_run<T, Inv>(src, dst, s, buf) : kOk;
  if (!buf) return kNullErr;
  const long n = 1L << s->order;
  run_team<T, Inv>(plan_of<T>(s), src, reinterpret_cast<T*>(align64(buf)), dst, dst + n, scaled<T, Inv>(s),
                   scale_of<T>(s), nthreads, tid, barrier);
  return kOk;
}

}  // namespace
}  // namespace orb::dft::fft

// ---- Exported names.
using orb::dft::fft::form;
namespace ff = orb::dft::fft;

#define ORB_FFT_SPEC_ENTRIES(K, T, F)                                                                         \
  int ORB_DFTK(kepsFFTGetSize_##K)(int order, int flag, int hint, int* spec_size, int* init_size,          \
                                   int* buf_size) {                                                       \
    return ff::get_size<T, F>(order, flag, hint, spec_size, init_size, buf_size);                          \
  }                                                                                                       \
  int ORB_DFTK(kepsFFTInit_##K)(orb_keps_fft_spec * *handle, int order, int flag, int hint,                \
                                unsigned char* spec_mem, unsigned char* init_buf) {                       \
    return ff::init<T, F>(handle, order, flag, hint, spec_mem, init_buf);                                  \
  }                                                                                                       \
  int ORB_DFTK(kepsFFTInitAlloc_##K)(orb_keps_fft_spec * *handle, int order, int flag, int hint) {         \
    return ff::init_alloc<T, F>(handle, order, flag, hint);                                                \
  }                                                                                                       \
  int ORB_DFTK(kepsFFTFree_##K)(orb_keps_fft_spec * spec) { return ff::free_spec<T, F>(spec); }            \
  int ORB_DFTK(kepsFFTGetBufSize_##K)(const orb_keps_fft_spec* spec, int* size) {                          \
    return ff::get_buf_size<T, F>(spec, size);                                                             \
  }
ORB_FFT_SPEC_ENTRIES(C_32fc, float, form::c)
ORB_FFT_SPEC_ENTRIES(C_64fc, double, form::c)
ORB_FFT_SPEC_ENTRIES(C_32f, float, form::split)
ORB_FFT_SPEC_ENTRIES(C_64f, double, form::split)
ORB_FFT_SPEC_ENTRIES(R_32f, float, form::real)
ORB_FFT_SPEC_ENTRIES(R_64f, double, form::real)

#define ORB_FFT_COMPLEX_ENTRIES(S, T)                                                                         \
  int ORB_DFTK(kepsFFTFwd_CToC_##S)(const T* src, T* dst, const orb_keps_fft_spec* spec, unsigned char* buf) { \
    return ff::complex_run<T, false>(src, dst, spec, buf);                                                 \
  }                                                                                                       \
  int ORB_DFTK(kepsFFTInv_CToC_##S)(const T* src, T* dst, const orb_keps_fft_spec* spec, unsigned char* buf) { \
    return ff::complex_run<T, true>(src, dst, spec, buf);                                                  \
  }                                                                                                       \
  int ORB_DFTK(kepsFFTFwd_CToC_##S##_I)(T * srcdst, const orb_keps_fft_spec* spec, unsigned char* buf) {  \
    return ff::complex_run<T, false>(srcdst, srcdst, spec, buf);                                           \
  }                                                                                                       \
  int ORB_DFTK(kepsFFTInv_CToC_##S##_I)(T * srcdst, const orb_keps_fft_spec* spec, unsigned char* buf) {  \
    return ff::complex_run<T, true>(srcdst, srcdst, spec, buf);                                            \
  }                                                                                                       \
  int ORB_DFTK(thread_cFftFwdCoreNorm_##S)(const T* src, T* dst, const orb_keps_fft_spec* spec,          \
                                           unsigned char* buf, int nthreads, int tid,                    \
                                           orb_dft_barrier* barrier) {                                    \
    return ff::complex_team<T, false>(src, dst, spec, buf, nthreads, tid, barrier);                        \
  }                                                                                                       \
  int ORB_DFTK(thread_cFftInvCoreNorm_##S)(const T* src, T* dst, const orb_keps_fft_spec* spec,          \
                                           unsigned char* buf, int nthreads, int tid,                    \
                                           orb_dft_barrier* barrier) {                                    \
    return ff::complex_team<T, true>(src, dst, spec, buf, nthreads, tid, barrier);                         \
  }
ORB_FFT_COMPLEX_ENTRIES(32fc, float)
ORB_FFT_COMPLEX_ENTRIES(64fc, double)

#define ORB_FFT_SPLIT_ENTRIES(S, T)                                                                           \
  int ORB_DFTK(kepsFFTFwd_CToC_##S)(const T* src_re, const T* src_im, T* dst_re, T* dst_im,                \
                                    const orb_keps_fft_spec* spec, unsigned char* buf) {                  \
    return ff::split_run<T, false>(src_re, src_im, dst_re, dst_im, spec, buf);                             \
  }                                                                                                       \
  int ORB_DFTK(kepsFFTInv_CToC_##S)(const T* src_re, const T* src_im, T* dst_re, T* dst_im,                \
                                    const orb_keps_fft_spec* spec, unsigned char* buf) {                  \
    return ff::split_run<T, true>(src_re, src_im, dst_re, dst_im, spec, buf);                              \
  }                                                                                                       \
  int ORB_DFTK(kepsFFTFwd_CToC_##S##_I)(T * re, T * im, const orb_keps_fft_spec* spec, unsigned char* buf) { \
    return ff::split_run<T, false>(re, im, re, im, spec, buf);                                             \
  }                                                                                                       \
  int ORB_DFTK(kepsFFTInv_CToC_##S##_I)(T * re, T * im, const orb_keps_fft_spec* spec, unsigned char* buf) { \
    return ff::split_run<T, true>(re, im, re, im, spec, buf);                                              \
  }
ORB_FFT_SPLIT_ENTRIES(32f, float)
ORB_FFT_SPLIT_ENTRIES(64f, double)

#define ORB_FFT_REAL_ENTRY(NAME, S, T, CALL, P)                                                               \
  int ORB_DFTK(kepsFFT##NAME##_##S)(const T* src, T* dst, const orb_keps_fft_spec* spec, unsigned char* buf) { \
    return ff::CALL<T>(src, dst, spec, buf, ff::packing::P);                                               \
  }                                                                                                       \
  int ORB_DFTK(kepsFFT##NAME##_##S##_I)(T * srcdst, const orb_keps_fft_spec* spec, unsigned char* buf) {  \
    return ff::CALL<T>(srcdst, srcdst, spec, buf, ff::packing::P);                                         \
  }
#define ORB_FFT_REAL_ENTRIES(S, T)                 \
  ORB_FFT_REAL_ENTRY(Fwd_RToPerm, S, T, real_fwd, perm) \
  ORB_FFT_REAL_ENTRY(Fwd_RToPack, S, T, real_fwd, pack) \
  ORB_FFT_REAL_ENTRY(Fwd_RToCCS, S, T, real_fwd, ccs)   \
  ORB_FFT_REAL_ENTRY(Inv_PermToR, S, T, real_inv, perm) \
  ORB_FFT_REAL_ENTRY(Inv_PackToR, S, T, real_inv, pack) \
  ORB_FFT_REAL_ENTRY(Inv_CCSToR, S, T, real_inv, ccs)
ORB_FFT_REAL_ENTRIES(32f, float)
ORB_FFT_REAL_ENTRIES(64f, double)
