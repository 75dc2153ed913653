// The operations the generated codelet bodies are written in, and the ways
// their data come and go.
//
// A body (bodies.hpp, from tools/gen_dft_codelets.py) is one straight-line
// transform of a fixed length over values of an abstract complex vector: it
// loads station j with io.ld(j), combines values with the operations below,
// and stores output k with io.st(k, v). The same body serves every layout:
//   - il_ops: interleaved complex values, (re, im) pairs in the lanes of one
//     logical vector (8 complex floats or 4 complex doubles);
//   - sp_ops: split storage, one logical vector of real parts and one of
//     imaginary parts (16 floats or 8 doubles of each).
// Every operation is lane-wise on the logical vector of frame/simd.hpp, so a
// body gives the same bits in every build.
//
// The inverse transform is the forward body with its outputs k and N - k
// trading places (output 0 stays): the same numbers a body with the signs
// of its sine constants reversed would give. So each length is compiled
// once per layout, and the inverse entry differs from the forward one only
// in the store addresses it hands the body.
#pragma once

#include <cstddef>

#include "frame/simd.hpp"

namespace orb::dft {

using simd::vec;

// A logical vector of T with E in the even lanes and O in the odd ones, as
// a constant in the program.
template <class T, double E, double O>
struct alt_const {
  struct block {
    alignas(64) T t[vec<T>::N];
  };
  static constexpr block make() {
    block b{};
    for (int i = 0; i < vec<T>::N; ++i) b.t[i] = T((i & 1) ? O : E);
    return b;
  }
  static constexpr block value = make();
};

template <class T, double E, double O>
[[gnu::always_inline]] inline vec<T> alt() {
  if constexpr (E == O && E != 0.0) return vec<T>::set1(T(E));
  else return vec<T>::load(alt_const<T, E, O>::value.t);
}

// Interleaved complex values. rot swaps the real and imaginary part of each
// value; mul<E, O> multiplies real parts by E and imaginary parts by O.
template <class T>
struct il_ops {
  using V = vec<T>;
  static V add(const V& a, const V& b) { return a + b; }
  static V sub(const V& a, const V& b) { return a - b; }
  static V rot(const V& a) { return swap_pairs(a); }
  template <double E, double O>
  static V mul(const V& a) { return a * alt<T, E, O>(); }
  template <double E, double O>
  static V fmul(const V& a, const V& acc) { return fma(a, alt<T, E, O>(), acc); }
  // a times -i: (im, -re), exactly.
  static V negi(const V& a) { return simd::bit_xor(swap_pairs(a), alt<T, 0.0, -0.0>()); }
  // a times i: (-im, re).
  static V posi(const V& a) { return simd::bit_xor(swap_pairs(a), alt<T, -0.0, 0.0>()); }
  static V neg(const V& a) { return simd::bit_xor(a, alt<T, -0.0, -0.0>()); }
  // a + (-i) b and a - (-i) b.
  static V addnegi(const V& a, const V& b) { return a + negi(b); }
  static V subnegi(const V& a, const V& b) { return a - negi(b); }
};

// Split complex values: a vector of real parts and one of imaginary parts.
template <class T>
struct sp_ops {
  using R = vec<T>;
  struct V {
    R re, im;
  };
  static R negr(const R& a) { return simd::bit_xor(a, R::set1(T(-0.0))); }
  static V add(const V& a, const V& b) { return {a.re + b.re, a.im + b.im}; }
  static V sub(const V& a, const V& b) { return {a.re - b.re, a.im - b.im}; }
  static V rot(const V& a) { return {a.im, a.re}; }
  template <double E, double O>
  static V mul(const V& a) { return {a.re * R::set1(T(E)), a.im * R::set1(T(O))}; }
  template <double E, double O>
  static V fmul(const V& a, const V& acc) { return {fma(a.re, R::set1(T(E)), acc.re), fma(a.im, R::set1(T(O)), acc.im)}; }
  static V negi(const V& a) { return {a.im, negr(a.re)}; }
  static V posi(const V& a) { return {negr(a.im), a.re}; }
  static V neg(const V& a) { return {negr(a.re), negr(a.im)}; }
  static V addnegi(const V& a, const V& b) { return {a.re + b.im, a.im - b.re}; }
  static V subnegi(const V& a, const V& b) { return {a.re - b.im, a.im + b.re}; }
};

// Where the outputs go: output 0 at dst, output k > 0 at dst + base + k *
// step (elements of T). Forward: base 0, step the output stride. Inverse:
// base N times the stride, step minus the stride.
struct out_map {
  std::ptrdiff_t base, step;
  std::ptrdiff_t at(int k) const { return k == 0 ? 0 : base + k * step; }
};

// Interleaved stations, count complex values each, under a lane mask.
template <class T>
struct il_io : il_ops<T> {
  using V = vec<T>;
  const T* src;
  std::ptrdiff_t is;  // elements of T between stations
  T* dst;
  out_map out;
  int live;  // 2 * count lanes
  V ld(int j) const { return V::load_mask(src + j * is, live); }
  void st(int k, const V& v) const { v.store_mask(dst + out.at(k), live); }
};

// Split stations: count real parts and count imaginary parts each.
template <class T>
struct sp_io : sp_ops<T> {
  using R = vec<T>;
  using V = typename sp_ops<T>::V;
  const T* sre;
  const T* sim;
  std::ptrdiff_t is;
  T* dre;
  T* dim;
  out_map out;
  int live;
  V ld(int j) const { return {R::load_mask(sre + j * is, live), R::load_mask(sim + j * is, live)}; }
  void st(int k, const V& v) const {
    v.re.store_mask(dre + out.at(k), live);
    v.im.store_mask(dim + out.at(k), live);
  }
};

template <int N>
struct body;

// The length-N body over one layout, compiled once per layout and length.
template <int N, class T>
[[gnu::noinline]] void il_run(const T* src, std::ptrdiff_t is, T* dst, out_map out, int live) {
  const il_io<T> io{{}, src, is, dst, out, live};
  body<N>::run(io);
}
template <int N, class T>
[[gnu::noinline]] void sp_run(const T* sre, const T* sim, std::ptrdiff_t is, T* dre, T* dim, out_map out, int live) {
  const sp_io<T> io{{}, sre, sim, is, dre, dim, out, live};
  body<N>::run(io);
}

// The output maps of a length-N transform with output stride os.
inline out_map fwd_map(std::ptrdiff_t os) { return {0, os}; }
inline out_map inv_map(int n, std::ptrdiff_t os) { return {n * os, -os}; }

// One contiguous interleaved transform (count 1), every output then
// multiplied by scale (in scalar arithmetic, the same in every build).
template <int N, class T>
void scaled_run(const T* src, T* dst, out_map out, T scale) {
  il_run<N>(src, 2, dst, out, 2);
  for (int i = 0; i < 2 * N; ++i) dst[i] *= scale;
}

}  // namespace orb::dft
