// The public DFT interface against independent oracles: a long double
// direct sum (and FFTW 3, opened by path, for long lengths), over complex
// (interleaved and split) and real transforms in their four layouts, in and
// out of place, strides with offsets, batches, ranks 1 to 3 and the scales.
// Then the bits: the three kernel builds and 1 to 3 threads agree; every
// allocation failing in turn gives status 1 and leaks nothing; bad input
// gives the documented codes.
#include <gtest/gtest.h>
#include <dlfcn.h>

#include <climits>
#include <cmath>
#include <complex>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "dft/dfti_node.h"
#include "orb/orb.h"
#include "tests/support/orb_test_hooks.h"

namespace {

using ld = long double;
using cld = std::complex<ld>;

// ---- Oracles.
// Direct sum along one dimension of a C-order array of complex values.
void direct_along(std::vector<cld>& a, const std::vector<long>& n, int dim, int sign) {
  long inner = 1, outer = 1;
  for (size_t i = dim + 1; i < n.size(); ++i) inner *= n[i];
  for (int i = 0; i < dim; ++i) outer *= n[i];
  const long N = n[dim];
  std::vector<cld> w(N), line(N);
  for (long k = 0; k < N; ++k) w[k] = std::polar(1.0L, sign * 2 * acosl(-1) * k / N);
  for (long o = 0; o < outer; ++o)
    for (long i = 0; i < inner; ++i) {
      for (long k = 0; k < N; ++k) {
        cld s = 0;
        for (long j = 0; j < N; ++j) s += a[(o * N + j) * inner + i] * w[(j * k) % N];
        line[k] = s;
      }
      for (long k = 0; k < N; ++k) a[(o * N + k) * inner + i] = line[k];
    }
}
std::vector<cld> direct(std::vector<cld> a, const std::vector<long>& n, int sign) {
  for (size_t d = 0; d < n.size(); ++d) direct_along(a, n, int(d), sign);
  return a;
}

// FFTW for long one-dimensional complex transforms: its long double
// library, so that the oracle's own error stays far below the bound.
struct fftw {
  void* h = nullptr;
  void* (*plan)(int, void*, void*, int, unsigned) = nullptr;
  void (*execute)(void*) = nullptr;
  void (*destroy)(void*) = nullptr;
  fftw() {
#if defined(__i386__)
    h = dlopen("/usr/lib/i386-linux-gnu/libfftw3l.so.3", RTLD_NOW | RTLD_LOCAL);
#else
    h = dlopen("/usr/lib/x86_64-linux-gnu/libfftw3l.so.3", RTLD_NOW | RTLD_LOCAL);
#endif
    if (!h) return;
    plan = reinterpret_cast<decltype(plan)>(dlsym(h, "fftwl_plan_dft_1d"));
    execute = reinterpret_cast<decltype(execute)>(dlsym(h, "fftwl_execute"));
    destroy = reinterpret_cast<decltype(destroy)>(dlsym(h, "fftwl_destroy_plan"));
  }
  std::vector<cld> run(const std::vector<cld>& x, int sign) const {
    const long n = long(x.size());
    std::vector<ld> in(2 * n), out(2 * n);
    void* p = plan(int(n), in.data(), out.data(), sign, 64 /* FFTW_ESTIMATE */);
    for (long i = 0; i < n; ++i) in[2 * i] = x[i].real(), in[2 * i + 1] = x[i].imag();
    execute(p);
    destroy(p);
    std::vector<cld> y(n);
    for (long i = 0; i < n; ++i) y[i] = cld(out[2 * i], out[2 * i + 1]);
    return y;
  }
};
const fftw& fftw_lib() {
  static const fftw f;
  return f;
}

ld rel_l2(const std::vector<cld>& a, const std::vector<cld>& b) {
  ld num = 0, den = 0;
  for (size_t i = 0; i < a.size(); ++i) num += std::norm(a[i] - b[i]), den += std::norm(b[i]);
  return den == 0 ? sqrtl(num) : sqrtl(num / den);
}

// ---- A case and its run through the public interface.
struct dft_case {
  bool dbl = true;
  bool real = false;
  bool split = false;
  bool inplace = false;
  std::vector<long> n{8};  // C order
  long batch = 1;
  long pad = 0;      // extra elements between rows / transforms
  long stride = 1;   // stride of the last dimension (both sides)
  long offset = 0;   // first element of both sides
  int format = ORB_DFT_CCE_FORMAT;  // real: CCE (complex array) or a packed real array
  double fscale = 1, bscale = -1;   // bscale -1: 1 / N
  bool side_by_side = false;        // rank 1: transforms one element apart, stations batch apart
  long threads = 0;
  std::string name() const {
    std::string s = std::string(dbl ? "d" : "s") + (real ? "r" : split ? "p" : "c") + (inplace ? "i" : "o");
    for (long x : n) s += "_" + std::to_string(x);
    return s + "_b" + std::to_string(batch) + "_s" + std::to_string(stride) + "_f" + std::to_string(format);
  }
};

long total(const std::vector<long>& n) {
  long t = 1;
  for (long x : n) t *= x;
  return t;
}

// One side's layout: logical extents, strides (C order), distance, offset,
// in scalar units of the array (complex elements count one for the
// interleaved side as strides go; the array itself holds width scalars
// per element).
struct side {
  std::vector<long> ext, str;
  long dist = 0, off = 0, width = 1, size = 0;
};

side make_side(const dft_case& c, std::vector<long> ext, int width, long scalar_pad_width) {
  side s;
  s.ext = ext;
  s.width = width;
  s.off = c.offset;
  const int r = int(ext.size());
  s.str.assign(r, 0);
  long st = c.stride;
  for (int i = r - 1; i >= 0; --i) {
    s.str[i] = st;
    long e = i == r - 1 ? scalar_pad_width : ext[i];
    st = st * e + (i == r - 1 ? c.pad : 0);
  }
  s.dist = st + c.pad;
  if (c.side_by_side) s.str.back() = c.batch, s.dist = 1;
  long last = s.off;
  for (int i = 0; i < r; ++i) last += (ext[i] - 1) * s.str[i];
  last += (c.batch - 1) * s.dist;
  s.size = (last + 1) * width;
  return s;
}

// Element index (in array elements) of logical element e of transform t.
long at(const side& s, long t, long e) {
  long idx = s.off + t * s.dist;
  for (int i = int(s.ext.size()) - 1; i >= 0; --i) {
    idx += (e % s.ext[i]) * s.str[i];
    e /= s.ext[i];
  }
  return idx;
}

template <class T>
struct result {
  long status = 0;
  std::vector<cld> fwd, bwd;  // logical outputs of all transforms
  std::vector<T> raw_fwd, raw_bwd;
};

// The two sides of a case: forward domain (x) and backward domain (y).
struct layouts {
  side x, y;
  long ylog;  // logical element count of one transform's y side
  bool y_complex_array;
};
layouts layouts_of(const dft_case& c) {
  layouts L;
  const int r = int(c.n.size());
  if (!c.real) {
    const int w = c.split ? 1 : 2;
    L.x = make_side(c, c.n, w, c.n.back());
    L.y = L.x;
    L.ylog = total(c.n);
    L.y_complex_array = true;
    return L;
  }
  std::vector<long> h = c.n;
  h.back() = h.back() / 2 + 1;
  if (c.format == ORB_DFT_CCE_FORMAT) {
    // In place: the real rows padded to 2 (N/2 + 1) reals.
    L.x = make_side(c, c.n, 1, c.inplace ? 2 * h.back() : c.n.back());
    L.y = make_side(c, h, 2, h.back());
    if (c.inplace) {
      for (int i = 0; i < r - 1; ++i) L.x.str[i] = 2 * L.y.str[i];
      L.x.dist = 2 * L.y.dist;
      L.x.off = 2 * L.y.off;
      L.x.size = L.y.size = std::max(L.x.size, L.y.size);
    }
    L.ylog = total(h);
    L.y_complex_array = true;
    return L;
  }
  const long m = c.format == ORB_DFT_CCS_FORMAT ? 2 * (c.n[0] / 2 + 1) : c.n[0];
  L.x = make_side(c, c.n, 1, c.inplace ? m : c.n[0]);
  L.y = make_side(c, {m}, 1, m);
  if (c.inplace) L.x.size = L.y.size = std::max(L.x.size, L.y.size), L.x.dist = L.y.dist;
  L.ylog = m;
  L.y_complex_array = false;
  return L;
}

std::vector<long> node_strides(const side& s) {
  std::vector<long> v{s.off};
  for (long x : s.str) v.push_back(x);
  return v;
}

template <class T>
long configure(orb_dft_handle h, const dft_case& c, const layouts& L) {
  long st = 0;
  auto ok = [&](long s) { st = st ? st : s; };
  const long N = total(c.n);
  ok(orb_dft_set_value(h, ORB_DFT_PLACEMENT, long(c.inplace ? ORB_DFT_INPLACE : ORB_DFT_NOT_INPLACE)));
  if (c.split) ok(orb_dft_set_value(h, ORB_DFT_COMPLEX_STORAGE, long(ORB_DFT_REAL_REAL)));
  if (c.real && c.format != ORB_DFT_CCE_FORMAT) {
    ok(orb_dft_set_value(h, ORB_DFT_CONJUGATE_EVEN_STORAGE, long(ORB_DFT_COMPLEX_REAL)));
    ok(orb_dft_set_value(h, ORB_DFT_PACKED_FORMAT, long(c.format)));
  }
  std::vector<long> xs = node_strides(L.x), ys = node_strides(L.y);
  ok(orb_dft_set_value(h, ORB_DFT_FWD_STRIDES, xs.data()));
  ok(orb_dft_set_value(h, ORB_DFT_BWD_STRIDES, ys.data()));
  if (c.real && c.inplace) {
    // In place, the input and output layouts must agree with the forward
    // and backward ones (the real side twice the complex side).
    ok(orb_dft_set_value(h, ORB_DFT_INPUT_STRIDES, xs.data()));
    ok(orb_dft_set_value(h, ORB_DFT_OUTPUT_STRIDES, ys.data()));
    ok(orb_dft_set_value(h, ORB_DFT_INPUT_DISTANCE, L.x.dist));
    ok(orb_dft_set_value(h, ORB_DFT_OUTPUT_DISTANCE, L.y.dist));
  }
  ok(orb_dft_set_value(h, ORB_DFT_NUMBER_OF_TRANSFORMS, c.batch));
  ok(orb_dft_set_value(h, ORB_DFT_FWD_DISTANCE, L.x.dist));
  ok(orb_dft_set_value(h, ORB_DFT_BWD_DISTANCE, L.y.dist));
  ok(orb_dft_set_value(h, ORB_DFT_FORWARD_SCALE, c.fscale));
  ok(orb_dft_set_value(h, ORB_DFT_BACKWARD_SCALE, c.bscale < 0 ? 1.0 / double(N) : c.bscale));
  if (c.threads) ok(orb_dft_set_value(h, ORB_DFT_THREAD_LIMIT, c.threads));
  return st;
}

// Random input of a case: batch transforms of the forward domain.
std::vector<cld> input_of(const dft_case& c, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> d(-1, 1);
  std::vector<cld> x(c.batch * total(c.n));
  for (auto& v : x) v = c.real ? cld(d(g), 0) : cld(d(g), d(g));
  return x;
}

// Writes logical values into a side's array(s); reads them back.
template <class T>
void put(const side& s, std::vector<T>& a, std::vector<T>& b, bool split, long t, long e, cld v, bool complex) {
  const long i = at(s, t, e);
  if (split) a[i] = T(v.real()), b[i] = T(v.imag());
  else if (complex) a[2 * i] = T(v.real()), a[2 * i + 1] = T(v.imag());
  else a[i] = T(v.real());
}
template <class T>
cld get(const side& s, const std::vector<T>& a, const std::vector<T>& b, bool split, long t, long e, bool complex) {
  const long i = at(s, t, e);
  if (split) return cld(a[i], b[i]);
  if (complex) return cld(a[2 * i], a[2 * i + 1]);
  return cld(a[i], 0);
}

// Runs forward then backward; fwd holds the y side (packed layouts read as
// reals), bwd the x side.
template <class T>
result<T> run(const dft_case& c, const std::vector<cld>& x) {
  result<T> R;
  const layouts L = layouts_of(c);
  orb_dft_handle h = nullptr;
  const auto prec = c.dbl ? ORB_DFT_DOUBLE : ORB_DFT_SINGLE;
  const auto dom = c.real ? ORB_DFT_REAL : ORB_DFT_COMPLEX;
  R.status = c.n.size() == 1 ? orb_dft_create_descriptor(&h, prec, dom, 1L, c.n[0])
                             : orb_dft_create_descriptor(&h, prec, dom, long(c.n.size()), c.n.data());
  if (R.status) return R;
  R.status = configure<T>(h, c, L);
  if (!R.status) R.status = orb_dft_commit_descriptor(h);
  if (R.status) {
    orb_dft_free_descriptor(&h);
    return R;
  }
  const bool xc = !c.real;
  const long xn = L.x.size / L.x.width, yn = L.y.size / L.y.width;
  const long per = c.split ? 1 : 1;
  (void)per;
  std::vector<T> xa(L.x.size + 8, T(-7)), xb(c.split ? xn + 8 : 0, T(-7));
  std::vector<T> ya(L.y.size + 8, T(-7)), yb(c.split ? yn + 8 : 0, T(-7));
  const long tn = total(c.n);
  for (long t = 0; t < c.batch; ++t)
    for (long e = 0; e < tn; ++e) put(L.x, xa, xb, c.split, t, e, x[t * tn + e], xc);
  long st;
  if (c.inplace) {
    // One array holds both sides (real: the larger of the two layouts).
    st = c.split ? orb_dft_compute_forward(h, xa.data(), xb.data()) : orb_dft_compute_forward(h, xa.data());
    ya = xa, yb = xb;
  } else {
    st = c.split ? orb_dft_compute_forward(h, xa.data(), xb.data(), ya.data(), yb.data())
                 : orb_dft_compute_forward(h, xa.data(), ya.data());
  }
  R.status = st;
  if (!st) {
    for (long t = 0; t < c.batch; ++t)
      for (long e = 0; e < L.ylog; ++e) R.fwd.push_back(get(L.y, ya, yb, c.split, t, e, L.y_complex_array));
    R.raw_fwd = ya;
    std::vector<T> za(L.x.size + 8, T(-7)), zb(c.split ? xn + 8 : 0, T(-7));
    if (c.inplace) {
      st = c.split ? orb_dft_compute_backward(h, ya.data(), yb.data()) : orb_dft_compute_backward(h, ya.data());
      za = ya, zb = yb;
    } else {
      st = c.split ? orb_dft_compute_backward(h, ya.data(), yb.data(), za.data(), zb.data())
                   : orb_dft_compute_backward(h, ya.data(), za.data());
    }
    R.status = st;
    if (!st) {
      for (long t = 0; t < c.batch; ++t)
        for (long e = 0; e < tn; ++e) R.bwd.push_back(get(L.x, za, zb, c.split, t, e, xc));
      R.raw_bwd = za;
    }
  }
  orb_dft_free_descriptor(&h);
  return R;
}

// The expected forward result of one transform, in the y side's logical
// layout.
std::vector<cld> expected(const dft_case& c, const std::vector<cld>& x) {
  const long N = total(c.n);
  std::vector<cld> X;
  if (!c.real && c.n.size() == 1 && N > 2048 && fftw_lib().h) X = fftw_lib().run(x, -1);
  else X = direct(x, c.n, -1);
  for (auto& v : X) v *= ld(c.fscale);
  if (!c.real) return X;
  std::vector<long> h = c.n;
  const long last = c.n.back(), half = last / 2 + 1;
  h.back() = half;
  std::vector<cld> H(total(h));
  for (long e = 0; e < total(h); ++e) H[e] = X[(e / half) * last + e % half];
  if (c.format == ORB_DFT_CCE_FORMAT || c.format == ORB_DFT_CCS_FORMAT) {
    if (c.format == ORB_DFT_CCE_FORMAT) return H;
    std::vector<cld> r;
    for (cld v : H) r.push_back(v.real()), r.push_back(v.imag());
    return r;
  }
  std::vector<cld> r{H[0].real()};
  if (c.format == ORB_DFT_PERM_FORMAT && last % 2 == 0) r.push_back(H[last / 2].real());
  for (long k = 1; 2 * k < last; ++k) r.push_back(H[k].real()), r.push_back(H[k].imag());
  if (c.format == ORB_DFT_PACK_FORMAT && last % 2 == 0) r.push_back(H[last / 2].real());
  return r;
}

// One constant for every path: relative L2 error at most c eps log2 N.
ld bound(const dft_case& c) {
  const ld eps = c.dbl ? ld(std::numeric_limits<double>::epsilon()) : ld(std::numeric_limits<float>::epsilon());
  const ld lg = std::max<ld>(1, log2l(ld(total(c.n))));
  return 8 * eps * lg;
}

template <class T>
void check(const dft_case& c) {
  SCOPED_TRACE(c.name());
  const std::vector<cld> x = input_of(c, 1234u + unsigned(total(c.n)));
  result<T> R = run<T>(c, x);
  ASSERT_EQ(R.status, 0) << orb_dft_error_message(R.status);
  const long tn = total(c.n);
  const long yl = long(R.fwd.size()) / c.batch;
  for (long t = 0; t < c.batch; ++t) {
    std::vector<cld> xt(x.begin() + t * tn, x.begin() + (t + 1) * tn);
    std::vector<cld> want = expected(c, xt);
    std::vector<cld> got(R.fwd.begin() + t * yl, R.fwd.begin() + (t + 1) * yl);
    ASSERT_EQ(got.size(), want.size());
    EXPECT_LE(rel_l2(got, want), bound(c)) << "forward, transform " << t;
    // Forward then backward multiplies by N fscale bscale.
    std::vector<cld> back(R.bwd.begin() + t * tn, R.bwd.begin() + (t + 1) * tn);
    const ld factor = ld(c.fscale) * (c.bscale < 0 ? 1 : ld(c.bscale) * ld(tn));
    for (auto& v : back) v /= factor;
    EXPECT_LE(rel_l2(back, xt), 2 * bound(c)) << "round trip, transform " << t;
  }
}

void check(const dft_case& c) { c.dbl ? check<double>(c) : check<float>(c); }

// ---- Lengths 1 to 300, every kind, both precisions.
class Lengths : public ::testing::TestWithParam<int> {};
TEST_P(Lengths, EveryKindAgainstDirectSum) {
  const long n = GetParam();
  for (bool dbl : {true, false})
    for (bool inplace : {true, false}) {
      dft_case c;
      c.dbl = dbl, c.inplace = inplace, c.n = {n};
      check(c);
      c.split = true;
      check(c);
      c.split = false, c.real = true;
      for (int f : {ORB_DFT_CCE_FORMAT, ORB_DFT_CCS_FORMAT, ORB_DFT_PACK_FORMAT, ORB_DFT_PERM_FORMAT}) {
        c.format = f;
        check(c);
      }
    }
}
INSTANTIATE_TEST_SUITE_P(OneTo300, Lengths, ::testing::Range(1, 301));

// Longer lengths across the method boundaries: powers of two, mixed radix,
// primes (FFTW beyond a few thousand points).
class LongLengths : public ::testing::TestWithParam<long> {};
TEST_P(LongLengths, ComplexAndReal) {
  for (bool dbl : {true, false}) {
    dft_case c;
    c.dbl = dbl, c.n = {GetParam()};
    check(c);
    if (GetParam() <= 20000) {
      c.real = true;
      check(c);
    }
  }
}
INSTANTIATE_TEST_SUITE_P(Selection, LongLengths,
                         ::testing::Values(512L, 1000L, 1009L, 1024L, 2048L, 2310L, 4095L, 4096L, 4097L, 6000L, 8192L,
                                           16384L, 65536L, 65537L, 100000L, 1L << 20));

// Strides with offsets, padded rows, batches, ranks 2 and 3, scales.
struct layout_param {
  std::vector<long> n;
  long batch, stride, offset, pad;
  double fscale;
};
class Layouts : public ::testing::TestWithParam<layout_param> {};
TEST_P(Layouts, EveryKind) {
  const layout_param& p = GetParam();
  for (bool dbl : {true, false})
    for (bool inplace : {false, true})
      for (int kind = 0; kind < 3; ++kind) {
        dft_case c;
        c.dbl = dbl, c.inplace = inplace, c.n = p.n, c.batch = p.batch, c.stride = p.stride, c.offset = p.offset;
        c.pad = p.pad, c.fscale = p.fscale;
        c.split = kind == 1, c.real = kind == 2;
        if (c.real && c.inplace && c.stride != 1) continue;  // in-place real takes unit strides
        check(c);
      }
}
INSTANTIATE_TEST_SUITE_P(
    Strided, Layouts,
    ::testing::Values(layout_param{{12}, 3, 1, 5, 2, 1.0}, layout_param{{17}, 2, 3, 1, 0, 1.0},
                      layout_param{{16}, 4, 2, 0, 1, 0.25}, layout_param{{6, 10}, 1, 1, 0, 0, 1.0},
                      layout_param{{5, 8}, 3, 1, 2, 3, 1.0}, layout_param{{4, 6, 9}, 2, 1, 0, 0, 0.5},
                      layout_param{{3, 4, 5}, 1, 2, 1, 1, 1.0}, layout_param{{15}, 1, 1, 0, 0, 1.0 / 15},
                      layout_param{{64}, 5, 1, 0, 0, 0.125}, layout_param{{7, 7}, 2, 1, 0, 0, 3.0}));

// Small cubes of equal lengths with unit scales, which run straight on the
// codelets.
TEST(Tiny, CubesOnTheCodelets) {
  const std::vector<std::vector<long>> shapes{{8, 8},    {5, 5},       {16, 16},     {32, 32},
                                              {3, 3, 3}, {12, 12, 12}, {16, 16, 16}, {2, 2, 2}, {4, 4}};
  for (const auto& n : shapes)
    for (bool dbl : {true, false})
      for (bool inplace : {true, false}) {
        dft_case c;
        c.n = n, c.dbl = dbl, c.inplace = inplace, c.bscale = 1, c.batch = 3, c.pad = 1;
        check(c);
        c.real = true;
        check(c);
      }
}

// Batches of eight side by side through the codelets, complex and real.
TEST(SideBySide, BatchesOfEight) {
  for (long n : {2L, 12L, 60L, 64L, 100L, 256L})
    for (bool dbl : {true, false})
      for (bool real : {false, true})
        for (long batch : {8L, 24L}) {
          dft_case c;
          c.n = {real ? 2 * n : n}, c.dbl = dbl, c.real = real, c.batch = batch, c.side_by_side = true;
          c.fscale = 0.5;
          check(c);
        }
}

// Which backend took a node (the handle is the node itself).
const void* backend_of(orb_dft_handle h) { return reinterpret_cast<DftiNode*>(h)->backend; }

TEST(Backends, TheirRulesOfAcceptance) {
  auto taken = [](std::vector<long> n, bool real, long batch, double bscale) {
    orb_dft_handle h = nullptr;
    const auto dom = real ? ORB_DFT_REAL : ORB_DFT_COMPLEX;
    EXPECT_EQ(orb_dft_create_descriptor_md(&h, ORB_DFT_DOUBLE, dom, long(n.size()), n.data()), 0);
    orb_dft_set_value(h, ORB_DFT_PLACEMENT, long(ORB_DFT_NOT_INPLACE));
    orb_dft_set_value(h, ORB_DFT_NUMBER_OF_TRANSFORMS, batch);
    orb_dft_set_value(h, ORB_DFT_INPUT_DISTANCE, 8192L);
    orb_dft_set_value(h, ORB_DFT_OUTPUT_DISTANCE, 8192L);
    orb_dft_set_value(h, ORB_DFT_BACKWARD_SCALE, bscale);
    EXPECT_EQ(orb_dft_commit_descriptor(h), 0);
    const void* b = backend_of(h);
    orb_dft_free_descriptor(&h);
    return b;
  };
  ASSERT_NE(orb_test_dft_loaded("bkd_c2c_2d_tiny_d"), nullptr);
  EXPECT_EQ(taken({8, 8}, false, 1, 1.0), orb_test_dft_loaded("bkd_c2c_2d_tiny_d"));
  EXPECT_EQ(taken({4, 4, 4}, false, 2, 1.0), orb_test_dft_loaded("bkd_c2c_3d_tiny_d"));
  EXPECT_EQ(taken({8, 8}, false, 1, 0.5), nullptr);  // a scale: the default path
  EXPECT_EQ(taken({16, 16}, true, 1, 1.0), orb_test_dft_loaded("bkd_r2c_2d_tiny_d"));
  EXPECT_EQ(taken({8, 8, 8}, true, 1, 1.0), orb_test_dft_loaded("bkd_r2c_3d_tiny_d"));
  EXPECT_EQ(taken({100}, false, 1, 1.0), orb_test_dft_loaded("bkd_c2c_1d_small_d"));
  EXPECT_EQ(taken({100}, true, 1, 1.0), orb_test_dft_loaded("bkd_r2c_1d_small_d"));
  EXPECT_EQ(taken({5000}, false, 1, 1.0), nullptr);  // past the small backend: the default
  {
    orb_dft_handle h = nullptr;
    ASSERT_EQ(orb_dft_create_descriptor(&h, ORB_DFT_DOUBLE, ORB_DFT_REAL, 1L, 64L), 0);
    const long st[2] = {0, 16};
    orb_dft_set_value(h, ORB_DFT_PLACEMENT, long(ORB_DFT_NOT_INPLACE));
    orb_dft_set_value(h, ORB_DFT_NUMBER_OF_TRANSFORMS, 16L);
    orb_dft_set_value(h, ORB_DFT_INPUT_STRIDES, st);
    orb_dft_set_value(h, ORB_DFT_OUTPUT_STRIDES, st);
    orb_dft_set_value(h, ORB_DFT_INPUT_DISTANCE, 1L);
    orb_dft_set_value(h, ORB_DFT_OUTPUT_DISTANCE, 1L);
    ASSERT_EQ(orb_dft_commit_descriptor(h), 0);
    EXPECT_EQ(backend_of(h), orb_test_dft_loaded("bkd_r2c_1d_dnnsmall_d"));
    orb_dft_free_descriptor(&h);
  }
  EXPECT_EQ(taken({5000}, true, 1, 1.0), orb_test_dft_loaded("bkd_r2c_1d_even_d"));
}

// The four scale flags of the signal layer and a scale it cannot take.
TEST(Scales, FlagsAndOthers) {
  for (long n : {8L, 9L, 30L})
    for (int kind = 0; kind < 2; ++kind) {
      const double N = double(n);
      const double pairs[][2] = {{1, 1}, {1 / N, 1}, {1, 1 / N}, {1 / std::sqrt(N), 1 / std::sqrt(N)}, {2.5, 0.75}};
      for (auto& s : pairs) {
        dft_case c;
        c.n = {n}, c.real = kind == 1, c.fscale = s[0], c.bscale = s[1];
        check(c);
      }
    }
}

// ---- Bits: the three builds, driven by their own kernels; 1 to 3 threads.
// Kinds: 0 complex, 1 real, 2 split complex, 3 complex n x 6, 4 real n x 6.
using create_fn = int (*)(DftiNode**, int, void*);
using create_md_fn = int (*)(DftiNode**, int, const int*, void*);
template <class T>
std::vector<T> build_result(const char* tag, int kind, long n, long batch) {
  const bool real = kind == 1 || kind == 4, md = kind >= 3;
  DftiNode* node = nullptr;
  const int lengths[2] = {int(n), 6};
  if (md) {
    auto create = reinterpret_cast<create_md_fn>(orb_test_dft_kernel(tag, real ? "dfti_create_drmd" : "dfti_create_dcmd"));
    if (!create || create(&node, 2, lengths, nullptr)) return {};
  } else {
    auto create = reinterpret_cast<create_fn>(orb_test_dft_kernel(tag, real ? "dfti_create_dr1d" : "dfti_create_dc1d"));
    if (!create || create(&node, int(n), nullptr)) return {};
  }
  orb_dft_bless_node_thr(node);
  node->placement = DFTI_NOT_INPLACE;
  if (kind == 2) node->complex_storage = DFTI_REAL_REAL;
  node->bscale = 1.0 / 3;  // a scale the layer cannot take: the drivers scale
  const long rows = md ? 6 : 1;
  const long xs = (n + 2) * rows, ys = (real ? n / 2 + 1 : n) * rows;
  if (md && real) {
    const int out[3] = {0, 1, int(n / 2 + 1)};
    node->methods->setOutputStrides(node, out);
  }
  node->methods->setNumberOfTransforms(node, int(batch));
  node->methods->setFwdDistance(node, int(xs));  // both directions: the forward domain is x
  node->methods->setBwdDistance(node, int(ys));
  std::vector<T> x(batch * xs * 2), y(batch * ys * 2), z(batch * xs * 2);
  std::mt19937 g(7);
  std::uniform_real_distribution<T> d(-1, 1);
  for (auto& v : x) v = d(g);
  std::vector<T> out;
  const long half = long(y.size()) / 2;
  bool ok = !node->methods->commit(node);
  if (ok && kind == 2)
    ok = !node->compute_fwd(node, x.data(), x.data() + batch * xs, y.data(), y.data() + half) &&
         !node->compute_bwd(node, y.data(), y.data() + half, z.data(), z.data() + batch * xs);
  else if (ok)
    ok = !node->compute_fwd(node, x.data(), y.data(), nullptr, nullptr);
  if (ok) {
    out = y;
    if (kind == 2) out.insert(out.end(), z.begin(), z.end());
  }
  node->destroy(node);
  return out;
}

TEST(Bits, SameInEveryBuild) {
  for (long n : {1L, 2L, 5L, 16L, 17L, 60L, 64L, 97L, 128L, 210L, 256L, 1000L, 1024L, 5000L})
    for (int kind = 0; kind < 5; ++kind) {
      const std::vector<double> ref = build_result<double>("def", kind, n, 3);
      ASSERT_FALSE(ref.empty()) << kind << " " << n;
      for (const char* tag : {"avx2", "avx512"}) {
        const std::vector<double> got = build_result<double>(tag, kind, n, 3);
        if (got.empty()) continue;  // build not runnable here
        EXPECT_EQ(0, std::memcmp(got.data(), ref.data(), ref.size() * sizeof(double))) << tag << " kind " << kind << " n " << n;
      }
    }
}

TEST(Bits, ThreadsGiveTheBitsOfOne) {
  for (long threads : {2L, 3L})
    for (bool real : {false, true}) {
      dft_case c;
      c.n = {48}, c.batch = 7, c.real = real, c.threads = 1;
      const std::vector<cld> x = input_of(c, 99);
      const result<double> one = run<double>(c, x);
      orb_set_num_threads(int(threads));
      c.threads = threads;
      const result<double> many = run<double>(c, x);
      orb_set_num_threads(0);
      ASSERT_EQ(one.status, 0);
      ASSERT_EQ(many.status, 0);
      EXPECT_EQ(0, std::memcmp(one.raw_fwd.data(), many.raw_fwd.data(), one.raw_fwd.size() * sizeof(double)));
      EXPECT_EQ(0, std::memcmp(one.raw_bwd.data(), many.raw_bwd.data(), one.raw_bwd.size() * sizeof(double)));
    }
}

// ---- Allocation failure at each allocation of create, commit and compute.
TEST(Memory, EachAllocationFailingInTurn) {
  const dft_case cases[] = {
      [] { dft_case c; c.n = {30}; c.batch = 3; return c; }(),
      [] { dft_case c; c.n = {6, 10}; c.real = true; return c; }(),
      [] { dft_case c; c.n = {4, 5, 6}; c.split = true; c.inplace = true; return c; }(),
      [] { dft_case c; c.n = {300}; c.batch = 3; c.format = ORB_DFT_PACK_FORMAT; c.real = true; return c; }(),
  };
  for (const dft_case& c : cases) {
    SCOPED_TRACE(c.name());
    const std::vector<cld> x = input_of(c, 5);
    const result<double> good = run<double>(c, x);
    ASSERT_EQ(good.status, 0);
    for (long nth = 1;; ++nth) {
      const long live = orb_test_live_blocks();
      const long before = orb_test_allocation_count();
      orb_test_fail_allocation(nth, 0);
      const result<double> r = run<double>(c, x);
      const bool failed = orb_test_allocation_count() - before >= nth;
      orb_test_fail_allocation(0, 0);
      EXPECT_EQ(orb_test_live_blocks(), live) << "allocation " << nth;
      if (r.status == 0) {
        EXPECT_EQ(0, std::memcmp(r.raw_fwd.data(), good.raw_fwd.data(), good.raw_fwd.size() * sizeof(double)));
      } else {
        EXPECT_EQ(r.status, ORB_DFT_MEMORY_ERROR) << "allocation " << nth;
      }
      if (!failed) break;
    }
  }
}

// ---- Bad input and the documented codes.
TEST(BadInput, Codes) {
  orb_dft_handle h = nullptr;
  EXPECT_EQ(orb_dft_create_descriptor(nullptr, ORB_DFT_DOUBLE, ORB_DFT_COMPLEX, 1L, 8L), 3);
  EXPECT_EQ(orb_dft_create_descriptor(&h, ORB_DFT_DOUBLE, ORB_DFT_COMPLEX, 1L, 0L), 3);
  EXPECT_EQ(orb_dft_create_descriptor(&h, ORB_DFT_DOUBLE, ORB_DFT_COMPLEX, 0L, nullptr), 3);
  const long zero[] = {4, 0};
  EXPECT_EQ(orb_dft_create_descriptor(&h, ORB_DFT_DOUBLE, ORB_DFT_COMPLEX, 2L, zero), 3);
#if LONG_MAX > INT_MAX
  EXPECT_EQ(orb_dft_create_descriptor(&h, ORB_DFT_DOUBLE, ORB_DFT_COMPLEX, 1L, long(INT_MAX) + 1), 9);
#endif
  EXPECT_EQ(h, nullptr);
  EXPECT_EQ(orb_dft_commit_descriptor(nullptr), 3);
  EXPECT_EQ(orb_dft_set_value(nullptr, ORB_DFT_PLACEMENT, long(ORB_DFT_INPLACE)), 3);
  double data[64] = {};
  EXPECT_EQ(orb_dft_compute_forward(nullptr, data), 3);

  ASSERT_EQ(orb_dft_create_descriptor(&h, ORB_DFT_DOUBLE, ORB_DFT_COMPLEX, 1L, 16L), 0);
  EXPECT_EQ(orb_dft_compute_forward(h, data), ORB_DFT_NOT_COMMITTED);
  EXPECT_STREQ(orb_dft_error_message(ORB_DFT_NOT_COMMITTED), "descriptor not committed");
  EXPECT_EQ(orb_dft_set_value(h, ORB_DFT_THREAD_LIMIT, -1L), 3);
  EXPECT_EQ(orb_dft_set_value(h, ORB_DFT_NUMBER_OF_TRANSFORMS, 0L), 3);
  EXPECT_EQ(orb_dft_set_value(h, static_cast<orb_dft_config_param>(999), 1L), ORB_DFT_BAD_KEY);
  EXPECT_STREQ(orb_dft_error_message(ORB_DFT_BAD_KEY), "unknown configuration key");
  EXPECT_EQ(orb_dft_set_value(h, ORB_DFT_PLACEMENT, 7L), 3);
  const long zs[] = {0, 0};
  EXPECT_EQ(orb_dft_set_value(h, ORB_DFT_INPUT_STRIDES, zs), 0);
  EXPECT_EQ(orb_dft_commit_descriptor(h), 3);  // zero stride
  const long ones[] = {0, 1};
  EXPECT_EQ(orb_dft_set_value(h, ORB_DFT_INPUT_STRIDES, ones), 0);
  EXPECT_EQ(orb_dft_commit_descriptor(h), 0);
  EXPECT_EQ(orb_dft_compute_forward(h, nullptr), 3);
  EXPECT_EQ(orb_dft_free_descriptor(&h), 0);
  EXPECT_EQ(h, nullptr);

  // Past the signal layer's limit (2^24 but for powers of two): 9, before
  // any memory is taken for the transform.
  for (long n : {(1L << 24) + 1, (1L << 26) + 1}) {
    ASSERT_EQ(orb_dft_create_descriptor(&h, ORB_DFT_DOUBLE, ORB_DFT_COMPLEX, 1L, n), 0);
    EXPECT_EQ(orb_dft_commit_descriptor(h), 9) << n;
    const long strided[] = {0, 2};
    orb_dft_set_value(h, ORB_DFT_INPUT_STRIDES, strided);
    EXPECT_EQ(orb_dft_commit_descriptor(h), 9) << n;
    orb_dft_free_descriptor(&h);
  }

  // A conjugate-even result packed in a real array has no CCE format.
  ASSERT_EQ(orb_dft_create_descriptor(&h, ORB_DFT_DOUBLE, ORB_DFT_REAL, 1L, 16L), 0);
  EXPECT_EQ(orb_dft_set_value(h, ORB_DFT_CONJUGATE_EVEN_STORAGE, long(ORB_DFT_COMPLEX_REAL)), 0);
  EXPECT_EQ(orb_dft_commit_descriptor(h), 6);
  orb_dft_free_descriptor(&h);
}

// ---- Behaviour of the descriptor worth pinning down.
TEST(Descriptor, CommitStateAndCopies) {
  orb_dft_handle h = nullptr, c = nullptr;
  ASSERT_EQ(orb_dft_create_descriptor(&h, ORB_DFT_DOUBLE, ORB_DFT_COMPLEX, 1L, 12L), 0);
  ASSERT_EQ(orb_dft_commit_descriptor(h), 0);
  long status = 0;
  EXPECT_EQ(orb_dft_set_value(h, ORB_DFT_FORWARD_SCALE, 1.0), 0);
  orb_dft_get_value(h, ORB_DFT_COMMIT_STATUS, &status);
  EXPECT_EQ(status, ORB_DFT_COMMITTED);  // the same scale again
  EXPECT_EQ(orb_dft_set_value(h, ORB_DFT_INPUT_DISTANCE, 12L), 0);
  orb_dft_get_value(h, ORB_DFT_COMMIT_STATUS, &status);
  EXPECT_EQ(status, ORB_DFT_COMMITTED);  // a distance waits for the next commit
  EXPECT_EQ(orb_dft_set_value(h, ORB_DFT_FORWARD_SCALE, 2.0), 0);
  orb_dft_get_value(h, ORB_DFT_COMMIT_STATUS, &status);
  EXPECT_EQ(status, ORB_DFT_UNCOMMITTED);
  double scale = 0;
  orb_dft_get_value(h, ORB_DFT_FORWARD_SCALE, &scale);
  EXPECT_EQ(scale, 2.0);
  EXPECT_EQ(orb_dft_set_value(h, ORB_DFT_DESCRIPTOR_NAME, "a long name here"), 0);
  char name[11] = {};
  orb_dft_get_value(h, ORB_DFT_DESCRIPTOR_NAME, name);
  EXPECT_STREQ(name, "a long nam");
  ASSERT_EQ(orb_dft_copy_descriptor(h, &c), 0);
  orb_dft_get_value(c, ORB_DFT_FORWARD_SCALE, &scale);
  EXPECT_EQ(scale, 2.0);
  long lengths[3] = {};
  orb_dft_get_value(c, ORB_DFT_LENGTHS, lengths);
  EXPECT_EQ(lengths[0], 12);
  EXPECT_EQ(orb_dft_commit_descriptor(c), 0);
  orb_dft_free_descriptor(&c);
  orb_dft_free_descriptor(&h);
  EXPECT_EQ(orb_dft_free_descriptor(&h), 0);  // a null handle is freed already

  // Arrays in C order both ways; defaults pack the last dimension.
  const long n2[2] = {5, 7};
  ASSERT_EQ(orb_dft_create_descriptor(&h, ORB_DFT_SINGLE, ORB_DFT_COMPLEX, 2L, n2), 0);
  long got[3] = {};
  orb_dft_get_value(h, ORB_DFT_INPUT_STRIDES, got);
  EXPECT_EQ(got[0], 0);
  EXPECT_EQ(got[1], 7);
  EXPECT_EQ(got[2], 1);
  const long strides[3] = {3, 20, 2};
  EXPECT_EQ(orb_dft_set_value(h, ORB_DFT_OUTPUT_STRIDES, strides), 0);
  orb_dft_get_value(h, ORB_DFT_OUTPUT_STRIDES, got);
  EXPECT_EQ(got[0], 3);
  EXPECT_EQ(got[1], 20);
  EXPECT_EQ(got[2], 2);
  orb_dft_get_value(h, ORB_DFT_LENGTHS, got);
  EXPECT_EQ(got[0], 5);
  EXPECT_EQ(got[1], 7);
  long v = 0;
  EXPECT_EQ(orb_dft_set_value(h, ORB_DFT_THREAD_LIMIT, 2L), 0);
  orb_dft_get_value(h, ORB_DFT_THREAD_LIMIT, &v);
  EXPECT_EQ(v, 2);
  orb_dft_get_value(h, ORB_DFT_DIMENSION, &v);
  EXPECT_EQ(v, 2);
  orb_dft_get_value(h, ORB_DFT_PRECISION, &v);
  EXPECT_EQ(v, ORB_DFT_SINGLE);
  char version[200] = {};
  EXPECT_EQ(orb_dft_get_value(h, ORB_DFT_VERSION, version), 0);
  EXPECT_GT(std::strlen(version), 0u);
  orb_dft_free_descriptor(&h);
}

}  // namespace
