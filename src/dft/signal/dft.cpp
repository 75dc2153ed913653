// The any-length door (kepsDFT*) for the six kinds: building the
// plan, and the transform calls. See dft_plan.hpp for the methods.
#include <cstring>

#include "dft/signal/dft_plan.hpp"

// The power-of-two door lives in its own sources; a build without it
// leaves these null, and powers of two then take the prime-factor stages
// (4s and a 2) like any other length.
ORB_API [[gnu::weak]] int ORB_DFTK(kepsFFTGetSize_C_64fc)(int, int, int, int*, int*, int*);
ORB_API [[gnu::weak]] int ORB_DFTK(kepsFFTInit_C_64fc)(orb_keps_fft_spec**, int, int, int, unsigned char*,
                                                       unsigned char*);
ORB_API [[gnu::weak]] int ORB_DFTK(kepsFFTFwd_CToC_64fc)(const double*, double*, const orb_keps_fft_spec*,
                                                         unsigned char*);
ORB_API [[gnu::weak]] int ORB_DFTK(kepsFFTInv_CToC_64fc)(const double*, double*, const orb_keps_fft_spec*,
                                                         unsigned char*);
ORB_API [[gnu::weak]] int ORB_DFTK(kepsFFTGetSize_C_32fc)(int, int, int, int*, int*, int*);
ORB_API [[gnu::weak]] int ORB_DFTK(kepsFFTInit_C_32fc)(orb_keps_fft_spec**, int, int, int, unsigned char*,
                                                       unsigned char*);
ORB_API [[gnu::weak]] int ORB_DFTK(kepsFFTFwd_CToC_32fc)(const float*, float*, const orb_keps_fft_spec*,
                                                         unsigned char*);
ORB_API [[gnu::weak]] int ORB_DFTK(kepsFFTInv_CToC_32fc)(const float*, float*, const orb_keps_fft_spec*,
                                                         unsigned char*);

namespace orb::dft::keps {
namespace {

template <class T>
struct Fft;
template <>
struct Fft<double> {
  static bool present() { return ORB_DFTK(kepsFFTGetSize_C_64fc) && ORB_DFTK(kepsFFTInit_C_64fc); }
  static int get_size(int o, int* s, int* i, int* b) { return ORB_DFTK(kepsFFTGetSize_C_64fc)(o, kFlagNone, 0, s, i, b); }
  static int init(orb_keps_fft_spec** h, int o, unsigned char* mem, unsigned char* ib) {
    return ORB_DFTK(kepsFFTInit_C_64fc)(h, o, kFlagNone, 0, mem, ib);
  }
  static int run(bool inv, const double* s, double* d, const orb_keps_fft_spec* sp, unsigned char* b) {
    return (inv ? ORB_DFTK(kepsFFTInv_CToC_64fc) : ORB_DFTK(kepsFFTFwd_CToC_64fc))(s, d, sp, b);
  }
};
template <>
struct Fft<float> {
  static bool present() { return ORB_DFTK(kepsFFTGetSize_C_32fc) && ORB_DFTK(kepsFFTInit_C_32fc); }
  static int get_size(int o, int* s, int* i, int* b) { return ORB_DFTK(kepsFFTGetSize_C_32fc)(o, kFlagNone, 0, s, i, b); }
  static int init(orb_keps_fft_spec** h, int o, unsigned char* mem, unsigned char* ib) {
    return ORB_DFTK(kepsFFTInit_C_32fc)(h, o, kFlagNone, 0, mem, ib);
  }
  static int run(bool inv, const float* s, float* d, const orb_keps_fft_spec* sp, unsigned char* b) {
    return (inv ? ORB_DFTK(kepsFFTInv_CToC_32fc) : ORB_DFTK(kepsFFTFwd_CToC_32fc))(s, d, sp, b);
  }
};

// Memory of the tables behind the record: counts bytes when sizing, hands
// out 64-byte aligned pieces when filling.
struct Arena {
  unsigned char* base;  // null when sizing
  std::size_t off = 0;
  unsigned char* bytes(std::size_t n) {
    off = round64(off);
    unsigned char* p = base ? base + off : nullptr;
    off += n;
    return p;
  }
  template <class T>
  T* cplx(std::size_t n) {
    return reinterpret_cast<T*>(bytes(n * 2 * sizeof(T)));
  }
  bool sizing() const { return base == nullptr; }
};

template <class T>
constexpr std::size_t cbytes(std::size_t n) {
  return round64(n * 2 * sizeof(T));
}

// The convolution length for a transform of length n.
inline int conv_length(int n) {
  static constexpr int kLen[] = {128,  144,  160,  192,  200,  256,  288,  320,  384,  400,  512,
                                 576,  640,  768,  800,  1024, 1152, 1280, 1536, 1600, 2048, 2304,
                                 2560, 3072, 3200, 4096, 4608, 5120, 6144, 6400, 8192};
  const long l = 2L * n - 1;
  if (l > 8192) {
    long m = 1;
    while (m < l) m <<= 1;
    return int(m);
  }
  for (int m : kLen)
    if (m >= l) return m;
  return 8192;
}

template <class T>
int build_engine(Spec<T>* sp, Arena& a, int n, const PlanOpts& o, unsigned char* init_buf, std::size_t* init_need);
template <class T>
void run_engine(const Spec<T>* sp, const T* src, T* dst, bool inv, unsigned char* work);

// The engine of length n as a record of its own, behind the current one;
// *work gets the bytes of work buffer it needs.
template <class T>
int build_nested(Spec<T>** out, Arena& a, int n, const PlanOpts& o, unsigned char* init_buf, std::size_t* init_need,
                 int* work) {
  Spec<T> scratch;
  unsigned char* mem = a.bytes(sizeof(Spec<T>));
  Spec<T>* sp = a.sizing() ? &scratch : reinterpret_cast<Spec<T>*>(mem);
  std::memset(static_cast<void*>(sp), 0, sizeof(Spec<T>));
  sp->kind = KindWords<T>::c;
  const int st = build_engine(sp, a, n, o, init_buf, init_need);
  *out = a.sizing() ? nullptr : sp;
  *work = sp->engine_buf;
  return st;
}

template <class T>
void run_engine(const Spec<T>* sp, const T* src, T* dst, bool inv, unsigned char* work);

// Staged methods: the record's stages and their tables. The passes that
// run them need not follow the factors one by one: the transform is the
// same for any grouping and order of the prime factors, so the factors'
// primes are regrouped into as few passes as the straight-line bodies allow
// (largest body first), each pass a sweep over the data saved.
// Stage record i: the factor; then pass i (if there is one): its radix (0:
// no pass), m, s, offset of its twiddles (elements of T), their form (-1
// one per (p, j), -2 per lane; from 0 up, one per (p, j) and the radix's
// own roots at that byte offset from the root table).
inline int plan_passes(const int* f, int k, int cap, int* pass) {
  static constexpr int kPrimes[] = {2, 3, 5, 7, 11, 13};
  static constexpr int kBodies[] = {32, 30, 28, 24, 20, 18, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2};
  int have[6] = {}, big[kMaxStages], nbig = 0;
  for (int i = 0; i < k; ++i) {
    int v = f[i];
    for (int j = 0; j < 6; ++j)
      while (v % kPrimes[j] == 0) v /= kPrimes[j], ++have[j];
    if (v > 1) big[nbig++] = v;
  }
  int np = 0;
  for (int b : kBodies) {
    if (b > cap && b > 2) continue;
    int need[6] = {}, v = b;
    for (int j = 0; j < 6; ++j)
      while (v % kPrimes[j] == 0) v /= kPrimes[j], ++need[j];
    for (;;) {
      bool fits = true;
      for (int j = 0; j < 6; ++j) fits = fits && need[j] <= have[j];
      if (!fits) break;
      if (np == k) return 0;
      for (int j = 0; j < 6; ++j) have[j] -= need[j];
      pass[np++] = b;
    }
  }
  for (int j = 0; j < 6; ++j)
    if (have[j]) return 0;  // a prime the cap left out
  for (int i = 0; i < nbig; ++i) {
    if (np == k) return 0;
    pass[np++] = big[i];
  }
  return np;
}

enum : int { kTwPlain = -1, kTwLanes = -2 };

template <class T>
void build_stages(Spec<T>* sp, Arena& a, int n, const int* f, int k) {
  constexpr int C = KindWords<T>::lanes, VN = vec<T>::N;
  T* roots = a.template cplx<T>(n);
  if (!a.sizing()) fill_roots(roots, n, n);
  sp->roots = roots;
  std::size_t tw_total = 0;  // elements of T
  int s = 1, max_r = 0;
  int pass[kMaxStages];
  // A pass of radix r runs n / r columns; a radix that leaves fewer than a
  // vector of them wastes lanes, so the largest radix is capped where that
  // costs no extra pass.
  int np = plan_passes(f, k, n, pass);
  for (int cap : {n / C, 2 * n / C, n / 2}) {
    int trial[kMaxStages];
    if (np && plan_passes(f, k, cap, trial) == np) {
      std::memcpy(pass, trial, sizeof(int) * std::size_t(np));
      break;
    }
  }
  if (np == 0) {  // more passes than factors: the factors as they stand
    np = k;
    for (int i = 0; i < k; ++i) pass[i] = f[i];
  }
  for (int i = 0; i < k; ++i) sp->stage[i][0] = f[i], sp->stage[i][1] = 0;
  for (int i = 0; i < np; ++i) {
    const int r = pass[i], m = n / (s * r);
    int* rec = sp->stage[i];
    const int form = !has_body(r) ? 0 : s < C ? kTwLanes : kTwPlain;
    rec[1] = r, rec[2] = m, rec[3] = s, rec[4] = int(tw_total), rec[5] = form;
    tw_total += form == kTwLanes ? lane_table_size<T>(r, m, s) : 2 * std::size_t(m) * (r - 1);
    tw_total = (tw_total + VN - 1) / VN * VN;
    s *= r;
    max_r = r > max_r ? r : max_r;
  }
  T* tw = reinterpret_cast<T*>(a.bytes((tw_total ? tw_total : 1) * sizeof(T)));
  sp->twiddles = tw;
  for (int i = 0; i < k; ++i) {
    int* rec = sp->stage[i];
    const int r = rec[1], m = rec[2], st = rec[3];
    if (!r) continue;
    T* t = tw + rec[4];
    if (!a.sizing() && rec[5] == kTwLanes) fill_lane_table(t, r, m, st, roots, n);
    else if (!a.sizing())
      for (int p = 0; p < m; ++p)
        for (int j = 1; j < r; ++j) {
          const std::size_t idx = std::size_t(j) * p * st;  // below n
          t[2 * (std::size_t(p) * (r - 1) + j - 1)] = roots[2 * idx];
          t[2 * (std::size_t(p) * (r - 1) + j - 1) + 1] = roots[2 * idx + 1];
        }
    // A radix without a body takes its roots from every (n / r)-th one;
    // the direct method reads the table itself.
    if (has_body(r) || r == n) continue;
    T* rr = a.template cplx<T>(r);
    if (!a.sizing()) {
      for (int j = 0; j < r; ++j) {
        rr[2 * j] = roots[2 * std::size_t(j) * (n / r)];
        rr[2 * j + 1] = roots[2 * std::size_t(j) * (n / r) + 1];
      }
      rec[5] = int((reinterpret_cast<unsigned char*>(rr) - reinterpret_cast<const unsigned char*>(roots)));
    }
  }
  sp->stages_minus_1 = k - 1;
  sp->engine_buf = int(2 * cbytes<T>(n) + cbytes<T>(std::size_t(max_r) * C) + 64);
}

// Complex pairs (re, im) to the two arrays of a lane-wise product: out[0,
// 2n) the real parts doubled, out[2n, 4n) the pairs (-im, im).
template <class T>
void expand_table(const T* in, T* out, int n) {
  for (int j = 0; j < n; ++j) {
    out[2 * j] = out[2 * j + 1] = in[2 * j];
    out[2 * std::size_t(n) + 2 * j] = -in[2 * j + 1];
    out[2 * std::size_t(n) + 2 * j + 1] = in[2 * j + 1];
  }
}

// out = a times the expanded table b (of length nb) over n complex values.
template <class T>
void cmul_table(const T* a, const T* b, std::size_t nb, T* out, int n) {
  using V = vec<T>;
  const T* bi = b + 2 * nb;
  const std::size_t len = 2 * std::size_t(n);
  std::size_t i = 0;
  for (; i + V::N <= len; i += V::N) {
    const V x = V::loadu(a + i);
    fma(x, V::loadu(b + i), swap_pairs(x) * V::loadu(bi + i)).storeu(out + i);
  }
  if (i < len) {
    const int live = int(len - i);
    const V x = V::load_mask(a + i, live);
    fma(x, V::load_mask(b + i, live), swap_pairs(x) * V::load_mask(bi + i, live)).store_mask(out + i, live);
  }
}

template <class T>
int build_engine(Spec<T>* sp, Arena& a, int n, const PlanOpts& o, unsigned char* init_buf, std::size_t* init_need) {
  sp->length = n;
  sp->is_pow2 = (n & (n - 1)) == 0;
  if (n < 17) {
    sp->method = kCodelet;
    sp->engine_buf = 0;
    return kOk;
  }
  if (sp->is_pow2 && Fft<T>::present()) {
    int order = 0;
    while ((1 << order) < n) ++order;
    int ss = 0, is = 0, bs = 0;
    int st = Fft<T>::get_size(order, &ss, &is, &bs);
    if (st != kOk) return st;
    unsigned char* mem = a.bytes(std::size_t(ss) + 64);
    if (std::size_t(is) > *init_need) *init_need = std::size_t(is);
    if (!a.sizing()) {
      st = Fft<T>::init(&sp->fft, order, align64(mem), init_buf);
      if (st != kOk) return st;
    }
    sp->method = kFft;
    sp->engine_buf = int(round64(std::size_t(bs)) + 64);
    return kOk;
  }
  if (n > KindWords<T>::max_len) return kSize;
  int f[kMaxStages];
  const int k = plan_factors(n, o, f);
  if (k > 0) {
    sp->method = kPrimeFact;
    sp->is_prime_fact = 1;
    build_stages(sp, a, n, f, k);
    return kOk;
  }
  if (n <= o.direct_max) {
    sp->method = kDirect;
    f[0] = n;
    build_stages(sp, a, n, f, 1);
    return kOk;
  }
  if (n > KindWords<T>::max_conv) return kSize;
  // Bluestein: x_k w^(k^2/2) convolved with the conjugate chirp.
  const int m = conv_length(n);
  sp->method = kConv;
  sp->conv_len = m;
  // Both tables as two arrays each: the real parts doubled (re, re) and
  // the pairs (-im, im), the forms a lane-wise complex product takes.
  T* chirp = a.template cplx<T>(2 * std::size_t(n));
  T* filt = a.template cplx<T>(2 * std::size_t(m));
  sp->chirp = chirp;
  sp->filter = filt;
  const PlanOpts inner_opts{false, false, KindWords<T>::threshold, KindWords<T>::threshold};
  int inner_buf = 0;
  const int st = build_nested(&sp->inner, a, m, inner_opts, init_buf, init_need, &inner_buf);
  if (st != kOk) return st;
  sp->engine_buf = int(cbytes<T>(m) + std::size_t(inner_buf) + 64);
  // Init work: the filter before its expansion, and the engine's work.
  if (std::size_t(sp->engine_buf) > *init_need) *init_need = std::size_t(sp->engine_buf);
  if (!a.sizing()) {
    // j^2 mod 2n by running sums: (j+1)^2 = j^2 + 2j + 1. The chirp is
    // exp(-i pi j^2 / n); plain pairs go to the filter's place first.
    T* plain = filt;
    long idx = 0;
    for (int j = 0; j < n; ++j) {
      double s, c;
      orb_serv_libm_sincospi(double(idx) / double(n), &s, &c);
      plain[2 * j] = T(c), plain[2 * j + 1] = T(-s);
      idx += 2L * j + 1;
      idx %= 2L * n;
    }
    expand_table(plain, chirp, n);
    // The conjugate chirp, mirrored, times 1/M for the unscaled inverse,
    // transformed once here.
    T* f = reinterpret_cast<T*>(init_buf);
    std::memset(f, 0, std::size_t(m) * 2 * sizeof(T));
    const T inv_m = T(1.0 / m);
    for (int j = 0; j < n; ++j) {
      f[2 * j] = plain[2 * j] * inv_m, f[2 * j + 1] = -plain[2 * j + 1] * inv_m;
      if (j) f[2 * (m - j)] = f[2 * j], f[2 * (m - j) + 1] = f[2 * j + 1];
    }
    run_engine(sp->inner, f, f, false, init_buf + cbytes<T>(m));
    expand_table(f, filt, m);
  }
  return kOk;
}

// ------------------------------------------------------------- compute
template <class T>
void run_engine(const Spec<T>* sp, const T* src, T* dst, bool inv, unsigned char* work) {
  const int n = sp->length;
  switch (sp->method) {
    case kCodelet:
      Codelets<T>::get(inv, n)(src, 1, dst, 1, 1);
      return;
    case kFft:
      Fft<T>::run(inv, src, dst, sp->fft, align64(work));
      return;
    case kConv: {
      const int m = sp->conv_len;
      T* a = reinterpret_cast<T*>(align64(work));
      unsigned char* rest = reinterpret_cast<unsigned char*>(a) + cbytes<T>(m);
      cmul_table(src, sp->chirp, n, a, n);
      std::memset(a + 2 * n, 0, std::size_t(m - n) * 2 * sizeof(T));
      run_engine(sp->inner, a, a, false, rest);
      cmul_table(a, sp->filter, m, a, m);
      run_engine(sp->inner, a, a, true, rest);
      cmul_table(a, sp->chirp, n, dst, n);
      if (inv)  // the inverse is the forward read backwards
        for (int i = 1, j = n - 1; i < j; ++i, --j) {
          std::swap(dst[2 * i], dst[2 * j]);
          std::swap(dst[2 * i + 1], dst[2 * j + 1]);
        }
      return;
    }
    default: {
      const int k = sp->stages_minus_1 + 1;
      int passes = 0;
      for (int i = 0; i < k; ++i) passes += sp->stage[i][1] != 0;
      T* w1 = reinterpret_cast<T*>(align64(work));
      T* w2 = w1 + cbytes<T>(n) / sizeof(T);
      T* tmp = w2 + cbytes<T>(n) / sizeof(T);
      const T* cur = src;
      if (src == dst && (passes & 1)) {
        std::memcpy(w2, src, std::size_t(n) * 2 * sizeof(T));
        cur = w2;
      }
      // Passes alternate between w1 and dst so that the last lands in dst.
      // A transform too long for the second-level cache runs its first
      // passes whole, then the rest one group of columns at a time: from
      // the pass whose stride s holds a vector of columns and whose group
      // (n / s columns of one vector each, two arrays) fits in the
      // first-level cache.
      constexpr int C = KindWords<T>::lanes;
      constexpr std::size_t kGroupBytes = std::size_t(32) << 10;  // within the first-level cache
      int split = k;
      if (std::size_t(n) * 4 * sizeof(T) > (std::size_t(512) << 10))
        for (int i = 0; i < k; ++i) {
          const int* rec = sp->stage[i];
          if (rec[1] && rec[3] >= C && rec[3] % C == 0 && has_body(rec[1]) &&
              std::size_t(n) / rec[3] * C * 4 * sizeof(T) <= kGroupBytes) {
            split = i;
            break;
          }
        }
      // A pass without a body runs whole: the groups need every later pass
      // to keep to its columns.
      for (int i = split; i < k; ++i)
        if (sp->stage[i][1] && !has_body(sp->stage[i][1])) split = k;
      auto pass = [&](int i, const T* in, T* out, int qa, int w, int qstep, int nt) {
        const int* rec = sp->stage[i];
        const int r = rec[1];
        const T* tw = sp->twiddles + rec[4];
        if (has_body(r)) {
          with_radix(r, [&](auto R) {
            stage_body<T, decltype(R)::value>(in, out, rec[2], rec[3], rec[5] == kTwLanes ? nullptr : tw,
                                              rec[5] == kTwLanes ? tw : nullptr, inv, tmp, qa, w, qstep, nt);
          });
        } else {
          const T* roots = r == n ? sp->roots
                                  : reinterpret_cast<const T*>(reinterpret_cast<const unsigned char*>(sp->roots) + rec[5]);
          run_stage_generic(in, out, r, rec[2], rec[3], tw, roots, inv, tmp);
        }
      };
      int left = passes;
      for (int i = 0; i < split; ++i) {
        if (!sp->stage[i][1]) continue;
        T* out = (--left & 1) ? w1 : dst;
        pass(i, cur, out, 0, sp->stage[i][3], sp->stage[i][3], 1);
        cur = out;
      }
      if (split < k) {
        const int s0 = sp->stage[split][3];
        for (int qa = 0; qa < s0; qa += C) {
          const T* in = cur;
          int l = left;
          for (int i = split; i < k; ++i) {
            const int* rec = sp->stage[i];
            if (!rec[1]) continue;
            T* out = (--l & 1) ? w1 : dst;
            pass(i, in, out, qa, C, s0, rec[3] / s0);
            in = out;
          }
        }
      }
    }
  }
}

// The record behind a caller's pointer.
template <class T>
Spec<T>* record(void* p) {
  return reinterpret_cast<Spec<T>*>(align64(static_cast<unsigned char*>(p)));
}
template <class T>
const Spec<T>* record(const void* p) {
  return reinterpret_cast<const Spec<T>*>(align64(static_cast<const unsigned char*>(const_cast<void*>(p))));
}

enum class Shape { interleaved, split, real };

template <class T>
int kind_word(Shape sh) {
  return sh == Shape::interleaved ? KindWords<T>::c : sh == Shape::split ? KindWords<T>::split : KindWords<T>::real;
}

// Builds the whole record; with the arena's base null it only sizes it.
// init_need gets the bytes of init buffer the build needs.
template <class T>
int build(Spec<T>* sp, Arena& a, Shape sh, int n, int flag, int hint, unsigned char* init_buf, std::size_t* init_need) {
  std::memset(static_cast<void*>(sp), 0, sizeof(Spec<T>));
  sp->hint = hint;
  sp->scale_fwd = flag == kFlagFwd || flag == kFlagSqrt;
  sp->scale_inv = flag == kFlagInv || flag == kFlagSqrt;
  sp->scale = flag == kFlagSqrt ? T(1.0 / std::sqrt(double(n))) : flag == kFlagNone ? T(1) : T(1.0 / double(n));
  const int t = KindWords<T>::threshold;
  std::size_t extra = 0;
  int engine = 0, st = kOk;
  if (sh != Shape::real) {
    // Split storage keeps threes apart and skips the fixed table.
    const PlanOpts o{sh == Shape::split, sh == Shape::split, t, t};
    st = build_engine(sp, a, n, o, init_buf, init_need);
    engine = sp->engine_buf;
    if (sh == Shape::split && n >= 17) extra = cbytes<T>(n);
  } else if (n < 17) {
    sp->method = kCodelet;  // promoted to complex on the stack
  } else if (!(n & 1)) {
    // Even: the complex transform of the N/2 pairs, then recombination.
    const int h = n / 2;
    T* rec = a.template cplx<T>(std::size_t(h / 2) + 1);
    if (!a.sizing()) fill_roots(rec, n, h / 2 + 1);
    sp->recomb = rec;
    const PlanOpts o{false, false, t, t};
    st = build_nested(&sp->inner, a, h, o, init_buf, init_need, &engine);
    extra = cbytes<T>(h);
  } else {
    // Odd: the complex transform of the promoted data; above 90 points
    // without a plan, the convolution.
    const PlanOpts o{true, true, t, 90};
    st = build_nested(&sp->inner, a, n, o, init_buf, init_need, &engine);
    extra = cbytes<T>(n);
  }
  sp->kind = kind_word<T>(sh);
  sp->length = n;
  sp->is_pow2 = (n & (n - 1)) == 0;
  if (st != kOk) return st;
  sp->engine_buf = engine;
  const std::size_t bytes = extra + std::size_t(engine) + (extra || engine ? 64 : 0);
  if (bytes > std::size_t(0x7fffffff)) return kSize;
  sp->buf_size = int(bytes);
  return kOk;
}

template <class T>
int check_args(int n, int flag) {
  if (n < 1) return kSize;
  if (flag != kFlagFwd && flag != kFlagInv && flag != kFlagSqrt && flag != kFlagNone) return kBadFlag;
  return kOk;
}

template <class T>
int get_size(Shape sh, int n, int flag, int hint, int* spec_size, int* init_size, int* buf_size) {
  if (!spec_size || !init_size || !buf_size) return kNull;
  int st = check_args<T>(n, flag);
  if (st != kOk) return st;
  Spec<T> probe;
  Arena a{nullptr};
  std::size_t init_need = 0;
  st = build(&probe, a, sh, n, flag, hint, nullptr, &init_need);
  if (st != kOk) return st;
  const std::size_t spec = 64 + round64(kFixedBytes) + round64(a.off);
  if (spec > std::size_t(0x7fffffff)) return kSize;
  *spec_size = int(spec);
  *init_size = init_need ? int(init_need + 64) : 0;
  *buf_size = probe.buf_size;
  return kOk;
}

template <class T>
int init(Shape sh, int n, int flag, int hint, orb_keps_dft_spec* spec, unsigned char* init_buf) {
  if (!spec) return kNull;
  int ss = 0, is = 0, bs = 0;
  int st = get_size<T>(sh, n, flag, hint, &ss, &is, &bs);
  if (st != kOk) return st;
  unsigned char* own = nullptr;
  if (is && !init_buf) {
    own = static_cast<unsigned char*>(orb_serv_allocate(std::size_t(is), 64));
    if (!own) return kMem;
    init_buf = own;
  }
  Spec<T>* sp = record<T>(static_cast<void*>(spec));
  Arena a{reinterpret_cast<unsigned char*>(sp) + round64(kFixedBytes)};
  std::size_t init_need = 0;
  st = build(sp, a, sh, n, flag, hint, is ? align64(init_buf) : nullptr, &init_need);
  if (own) orb_serv_deallocate(own);
  if (st != kOk) std::memset(static_cast<void*>(sp), 0, sizeof(Spec<T>));
  return st;
}

template <class T>
int init_alloc(Shape sh, orb_keps_dft_spec** out, int n, int flag, int hint) {
  if (!out) return kNull;
  *out = nullptr;
  int ss = 0, is = 0, bs = 0;
  int st = get_size<T>(sh, n, flag, hint, &ss, &is, &bs);
  if (st != kOk) return st;
  void* mem = orb_serv_allocate(std::size_t(ss), 64);
  if (!mem) return kMem;
  st = init<T>(sh, n, flag, hint, static_cast<orb_keps_dft_spec*>(mem), nullptr);
  if (st != kOk) {
    orb_serv_deallocate(mem);
    return st;
  }
  *out = static_cast<orb_keps_dft_spec*>(mem);
  return kOk;
}

template <class T>
int free_spec(Shape sh, orb_keps_dft_spec* spec) {
  if (!spec) return kNull;
  if (record<T>(static_cast<void*>(spec))->kind != kind_word<T>(sh)) return kWrongKind;
  orb_serv_deallocate(spec);
  return kOk;
}

template <class T>
int get_buf_size(Shape sh, const orb_keps_dft_spec* spec, int* size) {
  if (!spec || !size) return kNull;
  const Spec<T>* sp = record<T>(static_cast<const void*>(spec));
  if (sp->kind != kind_word<T>(sh)) return kWrongKind;
  *size = sp->buf_size;
  return kOk;
}

// Runs body(work) with the caller's buffer aligned, or one of our own.
template <class T, class F>
int with_buffer(const Spec<T>* sp, unsigned char* buf, F&& body) {
  if (!sp->buf_size) {
    body(static_cast<unsigned char*>(nullptr));
    return kOk;
  }
  unsigned char* own = nullptr;
  if (!buf) {
    own = static_cast<unsigned char*>(orb_serv_allocate(std::size_t(sp->buf_size), 64));
    if (!own) return kMem;
    buf = own;
  }
  body(align64(buf));
  if (own) orb_serv_deallocate(own);
  return kOk;
}

template <class T>
void scale_array(T* p, std::size_t count, T s) {
  using V = vec<T>;
  const V sv = V::set1(s);
  std::size_t i = 0;
  for (; i + V::N <= count; i += V::N) (V::loadu(p + i) * sv).storeu(p + i);
  if (i < count) (V::load_mask(p + i, int(count - i)) * sv).store_mask(p + i, int(count - i));
}

template <class T>
const Spec<T>* checked(Shape sh, const void* spec, int* st) {
  const Spec<T>* sp = record<T>(spec);
  *st = sp->kind == kind_word<T>(sh) ? kOk : kWrongKind;
  return sp;
}

template <class T>
int ctoc(const T* src, T* dst, const orb_keps_dft_spec* spec, unsigned char* buf, bool inv) {
  if (!src || !dst || !spec) return kNull;
  int st;
  const Spec<T>* sp = checked<T>(Shape::interleaved, spec, &st);
  if (st != kOk) return st;
  st = with_buffer(sp, buf, [&](unsigned char* w) { run_engine(sp, src, dst, inv, w); });
  if (st == kOk && (inv ? sp->scale_inv : sp->scale_fwd)) scale_array(dst, 2 * std::size_t(sp->length), sp->scale);
  return st;
}

template <class T>
int ctoc_split(const T* sre, const T* sim, T* dre, T* dim, const orb_keps_dft_spec* spec, unsigned char* buf, bool inv) {
  if (!sre || !sim || !dre || !dim || !spec) return kNull;
  int st;
  const Spec<T>* sp = checked<T>(Shape::split, spec, &st);
  if (st != kOk) return st;
  const int n = sp->length;
  st = with_buffer(sp, buf, [&](unsigned char* w) {
    alignas(64) T small[32] = {};
    T* u = n < 17 ? small : reinterpret_cast<T*>(w);
    unsigned char* rest = n < 17 ? nullptr : w + cbytes<T>(n);
    for (int j = 0; j < n; ++j) u[2 * j] = sre[j], u[2 * j + 1] = sim[j];
    run_engine(sp, u, u, inv, rest);
    for (int j = 0; j < n; ++j) dre[j] = u[2 * j], dim[j] = u[2 * j + 1];
  });
  if (st == kOk && (inv ? sp->scale_inv : sp->scale_fwd)) {
    scale_array(dre, std::size_t(n), sp->scale);
    scale_array(dim, std::size_t(n), sp->scale);
  }
  return st;
}

// Bins of a real spectrum in the three layouts, k from 0 to n/2.
template <class T>
void put_bin(T* d, Format f, int n, int k, T re, T im) {
  if (f == kCcs) {
    d[2 * k] = re, d[2 * k + 1] = im;
  } else if (k == 0) {
    d[0] = re;
  } else if (!(n & 1) && 2 * k == n) {
    d[f == kPack ? n - 1 : 1] = re;
  } else if (f == kPerm && !(n & 1)) {
    d[2 * k] = re, d[2 * k + 1] = im;
  } else {
    d[2 * k - 1] = re, d[2 * k] = im;
  }
}
template <class T>
void get_bin(const T* s, Format f, int n, int k, T* re, T* im) {
  const bool edge = k == 0 || (!(n & 1) && 2 * k == n);
  if (f == kCcs) *re = s[2 * k], *im = s[2 * k + 1];
  else if (k == 0) *re = s[0];
  else if (edge) *re = s[f == kPack ? n - 1 : 1];
  else if (f == kPerm && !(n & 1)) *re = s[2 * k], *im = s[2 * k + 1];
  else *re = s[2 * k - 1], *im = s[2 * k];
  if (edge) *im = T(0);
}

template <class T>
int real_fwd(const T* src, T* dst, const orb_keps_dft_spec* spec, unsigned char* buf, Format f) {
  if (!src || !dst || !spec) return kNull;
  int st;
  const Spec<T>* sp = checked<T>(Shape::real, spec, &st);
  if (st != kOk) return st;
  const int n = sp->length;
  st = with_buffer(sp, buf, [&](unsigned char* w) {
    if (n < 17 || (n & 1)) {
      alignas(64) T small[32] = {};
      T* u = n < 17 ? small : reinterpret_cast<T*>(w);
      for (int j = 0; j < n; ++j) u[2 * j] = src[j], u[2 * j + 1] = T(0);
      if (n < 17) Codelets<T>::get(false, n)(u, 1, u, 1, 1);
      else run_engine(sp->inner, u, u, false, w + cbytes<T>(n));
      for (int k = 0; k <= n / 2; ++k) put_bin(dst, f, n, k, u[2 * k], (2 * k == n || k == 0) ? T(0) : u[2 * k + 1]);
      return;
    }
    const int h = n / 2;
    T* z = reinterpret_cast<T*>(w);
    run_engine(sp->inner, src, z, false, w + cbytes<T>(h));
    const T half = T(0.5);
    const T* rw = sp->recomb;
    put_bin(dst, f, n, 0, z[0] + z[1], T(0));
    put_bin(dst, f, n, h, z[0] - z[1], T(0));
    // Bins 1 to N/2 - 1 sit at 2k (CCS, Perm) or 2k - 1 (Pack).
    T* d = dst + (f == kPack ? -1 : 0);
    for (int k = 1; 2 * k <= h; ++k) {
      const int m = h - k;
      const T zr = z[2 * k], zi = z[2 * k + 1], mr = z[2 * m], mi = -z[2 * m + 1];
      const T er = half * (zr + mr), ei = half * (zi + mi);
      // O = -i (Z_k - conj Z_(h-k)) / 2
      const T orr = half * (zi - mi), oi = -half * (zr - mr);
      const T wr = rw[2 * k], wi = rw[2 * k + 1];
      const T tr = wr * orr - wi * oi, ti = wr * oi + wi * orr;
      d[2 * k] = er + tr, d[2 * k + 1] = ei + ti;
      if (m != k) d[2 * m] = er - tr, d[2 * m + 1] = ti - ei;
    }
  });
  if (st == kOk && sp->scale_fwd) scale_array(dst, std::size_t(f == kCcs ? 2 * (n / 2) + 2 : n), sp->scale);
  return st;
}

template <class T>
int real_inv(const T* src, T* dst, const orb_keps_dft_spec* spec, unsigned char* buf, Format f) {
  if (!src || !dst || !spec) return kNull;
  int st;
  const Spec<T>* sp = checked<T>(Shape::real, spec, &st);
  if (st != kOk) return st;
  const int n = sp->length;
  st = with_buffer(sp, buf, [&](unsigned char* w) {
    if (n < 17 || (n & 1)) {
      alignas(64) T small[32] = {};
      T* u = n < 17 ? small : reinterpret_cast<T*>(w);
      for (int k = 0; k <= n / 2; ++k) {
        T re, im;
        get_bin(src, f, n, k, &re, &im);
        u[2 * k] = re, u[2 * k + 1] = im;
        if (k) u[2 * (n - k)] = re, u[2 * (n - k) + 1] = -im;
      }
      if (n < 17) Codelets<T>::get(true, n)(u, 1, u, 1, 1);
      else run_engine(sp->inner, u, u, true, w + cbytes<T>(n));
      for (int j = 0; j < n; ++j) dst[j] = u[2 * j];
      return;
    }
    const int h = n / 2;
    T* z = reinterpret_cast<T*>(w);
    const T* rw = sp->recomb;
    T x0, xh, dummy;
    get_bin(src, f, n, 0, &x0, &dummy);
    get_bin(src, f, n, h, &xh, &dummy);
    z[0] = x0 + xh, z[1] = x0 - xh;
    const T* d = src + (f == kPack ? -1 : 0);
    for (int k = 1; 2 * k <= h; ++k) {
      const int m = h - k;
      const T kr = d[2 * k], ki = d[2 * k + 1], mr = d[2 * m], mi = -d[2 * m + 1];  // X_k, conj X_(h-k)
      const T er = kr + mr, ei = ki + mi;
      const T dr = kr - mr, di = ki - mi;
      const T wr = rw[2 * k], wi = -rw[2 * k + 1];  // conj w^k
      const T orr = dr * wr - di * wi, oi = dr * wi + di * wr;
      // Z_k = E + i O; Z_(h-k) = conj E + i conj O
      z[2 * k] = er - oi, z[2 * k + 1] = ei + orr;
      if (m != k) z[2 * m] = er + oi, z[2 * m + 1] = orr - ei;
    }
    run_engine(sp->inner, z, dst, true, w + cbytes<T>(h));
  });
  if (st == kOk && sp->scale_inv) scale_array(dst, std::size_t(n), sp->scale);
  return st;
}

}  // namespace
}  // namespace orb::dft::keps

// ------------------------------------------------------------- exports
namespace k = orb::dft::keps;

#define ORB_KEPS_DEFINE_COMMON(K, T, SHAPE)                                                                    \
  int ORB_DFTK(kepsDFTGetSize_##K)(int length, int flag, int hint, int* spec_size, int* init_size,          \
                                   int* buf_size) {                                                         \
    return k::get_size<T>(SHAPE, length, flag, hint, spec_size, init_size, buf_size);                       \
  }                                                                                                         \
  int ORB_DFTK(kepsDFTInit_##K)(int length, int flag, int hint, orb_keps_dft_spec* spec,                    \
                                unsigned char* init_buf) {                                                  \
    return k::init<T>(SHAPE, length, flag, hint, spec, init_buf);                                           \
  }                                                                                                         \
  int ORB_DFTK(kepsDFTInitAlloc_##K)(orb_keps_dft_spec * *spec, int length, int flag, int hint) {           \
    return k::init_alloc<T>(SHAPE, spec, length, flag, hint);                                               \
  }                                                                                                         \
  int ORB_DFTK(kepsDFTFree_##K)(orb_keps_dft_spec * spec) { return k::free_spec<T>(SHAPE, spec); }          \
  int ORB_DFTK(kepsDFTGetBufSize_##K)(const orb_keps_dft_spec* spec, int* size) {                           \
    return k::get_buf_size<T>(SHAPE, spec, size);                                                           \
  }

#define ORB_KEPS_DEFINE_C(K, T)                                                                                \
  ORB_KEPS_DEFINE_COMMON(K, T, k::Shape::interleaved)                                                          \
  int ORB_DFTK(kepsDFTFwd_CToC_##K)(const T* src, T* dst, const orb_keps_dft_spec* spec, unsigned char* buf) { \
    return k::ctoc<T>(src, dst, spec, buf, false);                                                          \
  }                                                                                                         \
  int ORB_DFTK(kepsDFTInv_CToC_##K)(const T* src, T* dst, const orb_keps_dft_spec* spec, unsigned char* buf) { \
    return k::ctoc<T>(src, dst, spec, buf, true);                                                           \
  }

#define ORB_KEPS_DEFINE_SPLIT(K, T)                                                                            \
  ORB_KEPS_DEFINE_COMMON(K, T, k::Shape::split)                                                                \
  int ORB_DFTK(kepsDFTFwd_CToC_##K)(const T* src_re, const T* src_im, T* dst_re, T* dst_im,                 \
                                    const orb_keps_dft_spec* spec, unsigned char* buf) {                    \
    return k::ctoc_split<T>(src_re, src_im, dst_re, dst_im, spec, buf, false);                              \
  }                                                                                                         \
  int ORB_DFTK(kepsDFTInv_CToC_##K)(const T* src_re, const T* src_im, T* dst_re, T* dst_im,                 \
                                    const orb_keps_dft_spec* spec, unsigned char* buf) {                    \
    return k::ctoc_split<T>(src_re, src_im, dst_re, dst_im, spec, buf, true);                               \
  }

#define ORB_KEPS_DEFINE_REAL_PAIR(K, T, FWD, INV, FMT)                                                         \
  int ORB_DFTK(kepsDFTFwd_RTo##FWD##_##K)(const T* src, T* dst, const orb_keps_dft_spec* spec,              \
                                          unsigned char* buf) {                                             \
    return k::real_fwd<T>(src, dst, spec, buf, FMT);                                                        \
  }                                                                                                         \
  int ORB_DFTK(kepsDFTInv_##INV##ToR_##K)(const T* src, T* dst, const orb_keps_dft_spec* spec,              \
                                          unsigned char* buf) {                                             \
    return k::real_inv<T>(src, dst, spec, buf, FMT);                                                        \
  }

#define ORB_KEPS_DEFINE_REAL(K, T)                                                                             \
  ORB_KEPS_DEFINE_COMMON(K, T, k::Shape::real)                                                                 \
  ORB_KEPS_DEFINE_REAL_PAIR(K, T, Perm, Perm, k::kPerm)                                                        \
  ORB_KEPS_DEFINE_REAL_PAIR(K, T, Pack, Pack, k::kPack)                                                        \
  ORB_KEPS_DEFINE_REAL_PAIR(K, T, CCS, CCS, k::kCcs)

ORB_KEPS_DEFINE_C(C_32fc, float)
ORB_KEPS_DEFINE_C(C_64fc, double)
ORB_KEPS_DEFINE_SPLIT(C_32f, float)
ORB_KEPS_DEFINE_SPLIT(C_64f, double)
ORB_KEPS_DEFINE_REAL(R_32f, float)
ORB_KEPS_DEFINE_REAL(R_64f, double)
