// The any-length door of the signal layer (kepsDFT*) for the six kinds:
// every length to 300 and the lengths on both sides of each change of
// method, against a long double DFT (FFTW's long double library beyond a
// few thousand points); the inverse after the forward; the same bits in
// every build and in place; the real layouts; the scale flags; the status
// words; allocation failure; and the helpers.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "dft/dft_types.h"
#include "tests/support/oracle.hpp"
#include "tests/support/orb_test_hooks.h"

namespace {

using ld = long double;
using cld = std::complex<ld>;

// Relative L2 error at most kC * eps * log2(N), one c for every method.
constexpr double kC = 1.0;

template <class T>
double bound(int n) {
  return kC * std::numeric_limits<T>::epsilon() * std::max(1.0, std::log2(double(n)));
}

double rel_err(const std::vector<cld>& got, const std::vector<cld>& want) {
  ld e = 0, w = 0;
  for (size_t i = 0; i < got.size(); ++i) e += std::norm(got[i] - want[i]), w += std::norm(want[i]);
  return double(std::sqrt(e / (w > 0 ? w : 1)));
}

// The oracle: a long double DFT, by FFTW's long double library past 2048.
std::vector<cld> dft(const std::vector<cld>& x, int sign) {
  const int n = int(x.size());
  std::vector<cld> y(n);
  if (n > 2048) {
    using plan_fn = void* (*)(int, void*, void*, int, unsigned);
    static void* lib = dlopen("libfftw3l.so.3", RTLD_NOW | RTLD_LOCAL);
    if (!lib) ADD_FAILURE() << "libfftw3l.so.3 is not installed";
    if (!lib) return y;
    auto plan = reinterpret_cast<plan_fn>(dlsym(lib, "fftwl_plan_dft_1d"));
    auto exec = reinterpret_cast<void (*)(void*)>(dlsym(lib, "fftwl_execute"));
    auto destroy = reinterpret_cast<void (*)(void*)>(dlsym(lib, "fftwl_destroy_plan"));
    std::vector<cld> in(x);
    void* p = plan(n, in.data(), y.data(), sign, 1u << 6 /* FFTW_ESTIMATE */);
    exec(p);
    destroy(p);
    return y;
  }
  std::vector<cld> w(n);
  const ld pi = 3.141592653589793238462643383279502884L;
  for (int k = 0; k < n; ++k) w[k] = std::polar(ld(1), sign * 2 * pi * ld(k) / n);
  for (int k = 0; k < n; ++k) {
    cld s = 0;
    for (int j = 0; j < n; ++j) s += x[j] * w[(long(j) * k) % n];
    y[k] = s;
  }
  return y;
}

enum Shape { kInterleaved, kSplit, kReal };
enum Format { kPerm, kPack, kCcs };
const char* const kFormatName[] = {"Perm", "Pack", "CCS"};

struct Kind {
  const char* name;  // C_32fc ...
  Shape shape;
  bool dbl;
};
void PrintTo(const Kind& k, std::ostream* os) { *os << k.name; }

// The door of one kind in one build, through its exported names.
template <class T>
struct Door {
  std::string tag, kind;
  void* fn(const std::string& op) const {
    void* f = orb_test_dft_kernel(tag.c_str(), ("kepsDFT" + op + "_" + kind).c_str());
    EXPECT_NE(f, nullptr) << tag << " lacks kepsDFT" << op << "_" << kind;
    return f;
  }
  int get_size(int n, int flag, int* s, int* i, int* b) const {
    return reinterpret_cast<int (*)(int, int, int, int*, int*, int*)>(fn("GetSize"))(n, flag, 0, s, i, b);
  }
  int init(int n, int flag, orb_keps_dft_spec* spec, unsigned char* ib) const {
    return reinterpret_cast<int (*)(int, int, int, orb_keps_dft_spec*, unsigned char*)>(fn("Init"))(n, flag, 0, spec, ib);
  }
  using c_fn = int (*)(const T*, T*, const orb_keps_dft_spec*, unsigned char*);
  using s_fn = int (*)(const T*, const T*, T*, T*, const orb_keps_dft_spec*, unsigned char*);
  c_fn real(bool inv, Format f) const {
    const std::string name = inv ? std::string("Inv_") + kFormatName[f] + "ToR" : std::string("Fwd_RTo") + kFormatName[f];
    return reinterpret_cast<c_fn>(fn(name));
  }
};

// A plan in caller memory at an odd address, freed with it.
struct SpecMem {
  std::vector<unsigned char> mem, init, buf;
  orb_keps_dft_spec* spec() { return reinterpret_cast<orb_keps_dft_spec*>(mem.data() + 3); }
  unsigned char* work() { return buf.empty() ? nullptr : buf.data() + 5; }
};

template <class T>
int make(const Door<T>& d, int n, int flag, SpecMem& m, bool own_buf) {
  int ss = 0, is = 0, bs = 0;
  int st = d.get_size(n, flag, &ss, &is, &bs);
  if (st) return st;
  m.mem.assign(size_t(ss) + 3, 0);
  m.init.assign(size_t(is) + 1, 0);
  m.buf.clear();
  if (own_buf) m.buf.assign(size_t(bs) + 5, 0);
  return d.init(n, flag, m.spec(), is ? m.init.data() + 1 : nullptr);
}

// One transform: complex values in, complex values out (for real kinds the
// spectrum's bins 0 to N/2, or N real values as complex with zero imaginary
// parts), and the raw memory it wrote for the bit comparison.
template <class T>
std::vector<cld> run(const Door<T>& d, Shape sh, SpecMem& m, int n, const std::vector<cld>& x, bool inv, bool in_place,
                     Format f, std::vector<T>& raw, int* status) {
  std::vector<cld> y;
  const orb_keps_dft_spec* sp = m.spec();
  if (sh == kInterleaved) {
    std::vector<T> src(2 * size_t(n)), dst(2 * size_t(n));
    for (int j = 0; j < n; ++j) src[2 * j] = T(x[j].real()), src[2 * j + 1] = T(x[j].imag());
    T* out = in_place ? src.data() : dst.data();
    *status = reinterpret_cast<typename Door<T>::c_fn>(d.fn(inv ? "Inv_CToC" : "Fwd_CToC"))(src.data(), out, sp, m.work());
    raw.assign(out, out + 2 * size_t(n));
    for (int j = 0; j < n; ++j) y.emplace_back(raw[2 * j], raw[2 * j + 1]);
  } else if (sh == kSplit) {
    std::vector<T> re(n), im(n), ore(n), oim(n);
    for (int j = 0; j < n; ++j) re[j] = T(x[j].real()), im[j] = T(x[j].imag());
    T* dr = in_place ? re.data() : ore.data();
    T* di = in_place ? im.data() : oim.data();
    *status = reinterpret_cast<typename Door<T>::s_fn>(d.fn(inv ? "Inv_CToC" : "Fwd_CToC"))(re.data(), im.data(), dr, di,
                                                                                           sp, m.work());
    raw.assign(dr, dr + n);
    raw.insert(raw.end(), di, di + n);
    for (int j = 0; j < n; ++j) y.emplace_back(dr[j], di[j]);
  } else {
    const int h = n / 2, spec_len = f == kCcs ? 2 * h + 2 : n;
    std::vector<T> src(size_t(spec_len) + 2, T(0)), dst(size_t(spec_len) + 2, T(-7));
    if (!inv) {
      for (int j = 0; j < n; ++j) src[j] = T(x[j].real());
    } else {  // x holds the bins 0 to N/2
      for (int k = 0; k <= h; ++k) {
        const T re = T(x[k].real()), im = T(x[k].imag());
        if (f == kCcs) src[2 * k] = re, src[2 * k + 1] = im;
        else if (k == 0) src[0] = re;
        else if (2 * k == n) src[f == kPack ? n - 1 : 1] = re;
        else if (f == kPerm && !(n & 1)) src[2 * k] = re, src[2 * k + 1] = im;
        else src[2 * k - 1] = re, src[2 * k] = im;
      }
    }
    T* out = in_place ? src.data() : dst.data();
    *status = d.real(inv, f)(src.data(), out, sp, m.work());
    if (inv) {
      raw.assign(out, out + n);
      for (int j = 0; j < n; ++j) y.emplace_back(out[j], 0);
    } else {
      raw.assign(out, out + spec_len);
      EXPECT_EQ(out[spec_len], in_place ? T(0) : T(-7)) << "wrote past the spectrum";
      for (int k = 0; k <= h; ++k) {
        T re, im = 0;
        if (f == kCcs) re = out[2 * k], im = out[2 * k + 1];
        else if (k == 0) re = out[0];
        else if (2 * k == n) re = out[f == kPack ? n - 1 : 1];
        else if (f == kPerm && !(n & 1)) re = out[2 * k], im = out[2 * k + 1];
        else re = out[2 * k - 1], im = out[2 * k];
        y.emplace_back(re, im);
      }
    }
  }
  return y;
}

std::vector<int> lengths() {
  std::vector<int> v;
  for (int n = 1; n <= 300; ++n) v.push_back(n);
  // Special-case lengths, factoring limits, the convolution's M table edge
  // (2N - 1 = 8192), primes, mixed radix.
  for (int n : {302, 303, 320, 336, 360, 375, 384, 400, 432, 440, 448, 456, 480, 500, 504, 640, 656, 720, 864, 960,
                1000, 1009, 1248, 1280, 1458, 1728, 1920, 1960, 2018, 2916, 4095, 4096, 4097, 4116, 6000, 8192, 8193, 139264,
                10007, 15625, 19683, 65537, 99991})
    v.push_back(n);
  return v;
}

class KepsDft : public ::testing::TestWithParam<Kind> {};

template <class T>
void check_kind(const Kind& kind) {
  const auto builds = orb::test::runnable_builds();
  const Shape sh = kind.shape;
  const int formats = sh == kReal ? 3 : 1;
  for (int n : lengths()) {
    SCOPED_TRACE(std::string(kind.name) + " N " + std::to_string(n));
    const auto r = orb::test::random_vector<double>(2 * size_t(n), unsigned(n));
    std::vector<cld> x(n);
    for (int j = 0; j < n; ++j) x[j] = cld(T(r[2 * j]), sh == kReal ? T(0) : T(r[2 * j + 1]));
    std::vector<cld> want = dft(x, -1);
    if (sh == kReal) want.resize(n / 2 + 1);
    for (int fi = 0; fi < formats; ++fi) {
      const Format f = Format(fi);
      std::vector<T> first_fwd, first_inv;
      for (size_t b = 0; b < builds.size(); ++b) {
        Door<T> d{builds[b], kind.name};
        SpecMem m;
        // Forward unscaled, inverse times 1/N; the first build out of place
        // with the layer's own buffer, the others in place with ours.
        ASSERT_EQ(make(d, n, 2, m, b > 0), 0) << builds[b];
        std::vector<T> raw_f, raw_i;
        int st = -1;
        const std::vector<cld> y = run(d, sh, m, n, x, false, b > 0, f, raw_f, &st);
        ASSERT_EQ(st, 0) << builds[b];
        const std::vector<cld> back = run(d, sh, m, n, y, true, b == 0, f, raw_i, &st);
        ASSERT_EQ(st, 0) << builds[b];
        if (b == 0) {
          EXPECT_LE(rel_err(y, want), bound<T>(n)) << kFormatName[f];
          EXPECT_LE(rel_err(back, x), bound<T>(n)) << "inverse after forward " << kFormatName[f];
          first_fwd = raw_f, first_inv = raw_i;
        } else {
          EXPECT_TRUE(raw_f == first_fwd) << builds[b] << " forward differs from " << builds[0];
          EXPECT_TRUE(raw_i == first_inv) << builds[b] << " inverse differs from " << builds[0];
        }
      }
    }
  }
}

TEST_P(KepsDft, EveryLengthMatchesTheOracleInEveryBuild) {
  if (GetParam().dbl) check_kind<double>(GetParam());
  else check_kind<float>(GetParam());
}

const Kind kKinds[] = {{"C_32fc", kInterleaved, false}, {"C_64fc", kInterleaved, true}, {"C_32f", kSplit, false},
                       {"C_64f", kSplit, true},         {"R_32f", kReal, false},        {"R_64f", kReal, true}};

INSTANTIATE_TEST_SUITE_P(Kinds, KepsDft, ::testing::ValuesIn(kKinds),
                         [](const auto& info) { return std::string(info.param.name); });

// The four flags scale forward and inverse as documented, on each method.
TEST(KepsDft, ScaleFlags) {
  Door<double> d{"def", "C_64fc"};
  for (int n : {7, 16, 60, 64, 73, 101, 1000}) {
    const auto r = orb::test::random_vector<double>(2 * size_t(n), unsigned(n + 1));
    std::vector<cld> x(n);
    for (int j = 0; j < n; ++j) x[j] = cld(r[2 * j], r[2 * j + 1]);
    const std::vector<cld> want = dft(x, -1), want_inv = dft(x, 1);
    for (int flag : {8, 1, 2, 4}) {
      const ld sf = flag == 1 ? ld(1) / n : flag == 4 ? 1 / std::sqrt(ld(n)) : 1;
      const ld si = flag == 2 ? ld(1) / n : flag == 4 ? 1 / std::sqrt(ld(n)) : 1;
      SpecMem m;
      ASSERT_EQ(make(d, n, flag, m, false), 0);
      std::vector<double> raw;
      int st;
      std::vector<cld> wf(want), wi(want_inv);
      for (auto& v : wf) v *= sf;
      for (auto& v : wi) v *= si;
      EXPECT_LE(rel_err(run(d, kInterleaved, m, n, x, false, false, kPerm, raw, &st), wf), bound<double>(n)) << n << " " << flag;
      EXPECT_LE(rel_err(run(d, kInterleaved, m, n, x, true, false, kPerm, raw, &st), wi), bound<double>(n)) << n << " " << flag;
    }
  }
}

// Status words: sizes, flags, null pointers, a plan of another kind.
TEST(KepsDft, StatusWords) {
  Door<double> c{"def", "C_64fc"}, r{"def", "R_64f"};
  int s, i, b;
  EXPECT_EQ(c.get_size(0, 8, &s, &i, &b), -6);
  EXPECT_EQ(c.get_size(-5, 8, &s, &i, &b), -6);
  EXPECT_EQ(c.get_size(10, 3, &s, &i, &b), -18);
  EXPECT_EQ(c.get_size(10, 8, nullptr, &i, &b), -8);
  EXPECT_EQ(c.get_size(1 << 26, 8, &s, &i, &b) == 0 || c.get_size(1 << 26, 8, &s, &i, &b) == -6, true);
  EXPECT_EQ(c.get_size((1 << 26) - 3, 8, &s, &i, &b), -6);  // beyond the longest in double
  EXPECT_EQ(c.get_size((1 << 25) + 1, 8, &s, &i, &b), -6);  // no plan: longer than the convolution takes
  EXPECT_EQ(c.init(10, 8, nullptr, nullptr), -8);
  SpecMem m;
  ASSERT_EQ(make(c, 30, 8, m, false), 0);
  std::vector<double> v(64);
  auto rf = r.real(false, kPack);
  EXPECT_EQ(rf(v.data(), v.data(), m.spec(), nullptr), -13);
  auto cf = reinterpret_cast<Door<double>::c_fn>(c.fn("Fwd_CToC"));
  EXPECT_EQ(cf(nullptr, v.data(), m.spec(), nullptr), -8);
  EXPECT_EQ(cf(v.data(), v.data(), nullptr, nullptr), -8);
  int size = -1;
  EXPECT_EQ(reinterpret_cast<int (*)(const orb_keps_dft_spec*, int*)>(c.fn("GetBufSize"))(m.spec(), &size), 0);
  EXPECT_GE(size, 0);
}

// Every allocation of InitAlloc and of a transform that takes its own
// buffer may fail: -9, and nothing leaks.
TEST(KepsDft, AllocationFailureReportsMemoryAndLeaksNothing) {
  for (const char* kind : {"C_64fc", "C_32f", "R_64f"}) {
    Door<double> d{"def", kind};
    auto init_alloc = reinterpret_cast<int (*)(orb_keps_dft_spec**, int, int, int)>(d.fn("InitAlloc"));
    auto free_spec = reinterpret_cast<int (*)(orb_keps_dft_spec*)>(d.fn("Free"));
    for (int n : {17, 97, 1000, 4097}) {
      SCOPED_TRACE(std::string(kind) + " " + std::to_string(n));
      const long live = orb_test_live_blocks();
      for (long nth = 1; nth <= 3; ++nth) {
        orb_keps_dft_spec* spec = reinterpret_cast<orb_keps_dft_spec*>(1);
        orb_test_fail_allocation(nth, 0);
        const int st = init_alloc(&spec, n, 8, 0);
        orb_test_fail_allocation(0, 0);
        if (st == 0) {
          EXPECT_EQ(free_spec(spec), 0);
        } else {
          EXPECT_EQ(st, -9);
          EXPECT_EQ(spec, nullptr);
        }
        EXPECT_EQ(orb_test_live_blocks(), live);
      }
      orb_keps_dft_spec* spec = nullptr;
      ASSERT_EQ(init_alloc(&spec, n, 8, 0), 0);
      std::vector<double> a(4 * size_t(n) + 4, 1.0), b(4 * size_t(n) + 4, 1.0);
      orb_test_fail_allocation(1, 1);
      int st;
      if (std::string(kind) == "C_64fc")
        st = reinterpret_cast<Door<double>::c_fn>(d.fn("Fwd_CToC"))(a.data(), b.data(), spec, nullptr);
      else if (std::string(kind) == "C_32f")
        st = reinterpret_cast<Door<double>::s_fn>(d.fn("Fwd_CToC"))(a.data(), a.data() + n, b.data(), b.data() + n,
                                                                  spec, nullptr);
      else
        st = d.real(false, kCcs)(a.data(), b.data(), spec, nullptr);
      orb_test_fail_allocation(0, 0);
      EXPECT_EQ(st, -9);
      EXPECT_EQ(b[0], 1.0) << "nothing is written when the buffer fails";
      EXPECT_EQ(free_spec(spec), 0);
      EXPECT_EQ(orb_test_live_blocks(), live);
    }
  }
}

// The radix sorts against std::stable_sort, values and indices, both ways.
template <class T>
void check_sorts(const char* sfx) {
  auto asc = reinterpret_cast<int (*)(T*, int, unsigned char*)>(
      orb_test_dft_kernel("def", (std::string("kepsSortRadixAscend_") + sfx + "_I").c_str()));
  auto desc = reinterpret_cast<int (*)(T*, int, unsigned char*)>(
      orb_test_dft_kernel("def", (std::string("kepsSortRadixDescend_") + sfx + "_I").c_str()));
  auto iasc = reinterpret_cast<int (*)(const T*, int, int*, int, unsigned char*)>(
      orb_test_dft_kernel("def", (std::string("kepsSortRadixIndexAscend_") + sfx).c_str()));
  auto idesc = reinterpret_cast<int (*)(const T*, int, int*, int, unsigned char*)>(
      orb_test_dft_kernel("def", (std::string("kepsSortRadixIndexDescend_") + sfx).c_str()));
  ASSERT_TRUE(asc && desc && iasc && idesc) << sfx;
  for (int len : {1, 2, 7, 1000}) {
    const auto r = orb::test::random_vector<double>(size_t(len), unsigned(len));
    std::vector<T> v(len);
    for (int i = 0; i < len; ++i) v[i] = T(r[i] * (std::is_signed_v<T> ? 100 : 50) + (std::is_signed_v<T> ? 0 : 50));
    if (len > 3) v[1] = v[2];  // ties keep their order
    for (bool down : {false, true}) {
      std::vector<int> order(len);
      std::iota(order.begin(), order.end(), 0);
      std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return down ? v[a] > v[b] : v[a] < v[b]; });
      std::vector<T> s(v);
      std::vector<unsigned char> buf(2 * size_t(len) * (sizeof(T) + 4) + 64);
      EXPECT_EQ((down ? desc : asc)(s.data(), len, len > 5 ? buf.data() : nullptr), 0);
      std::vector<int> idx(len, -1);
      EXPECT_EQ((down ? idesc : iasc)(v.data(), int(sizeof(T)), idx.data(), len, nullptr), 0);
      for (int i = 0; i < len; ++i) {
        EXPECT_EQ(s[i], v[order[i]]) << sfx << " " << len << " " << down;
        EXPECT_EQ(idx[i], order[i]) << sfx << " " << len << " " << down;
      }
    }
  }
}

TEST(KepsHelpers, RadixSorts) {
  check_sorts<short>("16s");
  check_sorts<unsigned short>("16u");
  check_sorts<int>("32s");
  check_sorts<unsigned>("32u");
  check_sorts<float>("32f");
  check_sorts<long long>("64s");
  check_sorts<unsigned long long>("64u");
  check_sorts<double>("64f");
}

TEST(KepsHelpers, FillCopyProducts) {
  const int n = 37;
  auto mallocd = reinterpret_cast<double* (*)(int)>(orb_test_dft_kernel("def", "kepsMalloc_64fc"));
  auto freep = reinterpret_cast<void (*)(void*)>(orb_test_dft_kernel("def", "kepsFree"));
  auto setc = reinterpret_cast<int (*)(orb_keps_64fc, double*, int)>(orb_test_dft_kernel("def", "kepsSet_64fc"));
  auto mulc = reinterpret_cast<int (*)(orb_keps_64fc, double*, int)>(orb_test_dft_kernel("def", "kepsMulC_64fc_I"));
  auto mulci = reinterpret_cast<int (*)(double, double*, int)>(orb_test_dft_kernel("def", "kepsMulC_64f_I"));
  auto conj = reinterpret_cast<int (*)(const double*, double*, int)>(orb_test_dft_kernel("def", "kepsConj_64fc"));
  auto mul = reinterpret_cast<int (*)(const double*, const double*, double*, int)>(orb_test_dft_kernel("def", "kepsMul_64fc"));
  auto zero = reinterpret_cast<int (*)(double*, int)>(orb_test_dft_kernel("def", "kepsZero_64f"));
  const long live = orb_test_live_blocks();
  double* p = mallocd(n);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 64, 0u);
  EXPECT_EQ(setc({1.5, -2.0}, p, n), 0);
  EXPECT_EQ(mulc({0.0, 1.0}, p, n), 0);  // times i: (2, 1.5)
  EXPECT_EQ(conj(p, p, n), 0);           // (2, -1.5)
  std::vector<double> q(2 * n);
  EXPECT_EQ(mul(p, p, q.data(), n), 0);  // (4 - 2.25, -6)
  EXPECT_EQ(mulci(2.0, q.data(), 2 * n), 0);
  for (int i = 0; i < n; ++i) {
    EXPECT_EQ(p[2 * i], 2.0);
    EXPECT_EQ(p[2 * i + 1], -1.5);
    EXPECT_EQ(q[2 * i], 3.5);
    EXPECT_EQ(q[2 * i + 1], -12.0);
  }
  EXPECT_EQ(zero(q.data(), 2 * n), 0);
  EXPECT_EQ(q[2 * n - 1], 0.0);
  EXPECT_EQ(zero(q.data(), 0), -6);
  EXPECT_EQ(zero(nullptr, 3), -8);
  freep(p);
  EXPECT_EQ(orb_test_live_blocks(), live);
}

}  // namespace
