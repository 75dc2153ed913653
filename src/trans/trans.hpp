// Shared pieces of the transposition kernels: the element types, the one
// formula of a scaled value and of a sum, and the moves of one square block
// of elements through registers.
//
// Every value a routine writes is alpha * x (or alpha * x + beta * y) by the
// formula below, lane for lane the same whether it is computed in a scalar
// loop, a vector loop, a tile or a thread's share, so the bits never depend
// on the path taken. An alpha of exactly 1 copies (conjugating where asked)
// and multiplies nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/kernels.hpp"
#include "frame/simd.hpp"
#include "trans/callbacks.h"

namespace orb::trans {

using std::ptrdiff_t;
using std::size_t;
using simd::vec;

inline char fold(char c) { return char(c & ~32); }

// S: the real type of a lane; Lanes: lanes per element; Edge: elements on
// the side of a block one logical vector per row holds; U: the lane type
// the block is moved as (complex floats move as one 64-bit unit).
template <class T> struct elem;
template <> struct elem<float> {
  using S = float;
  using U = float;
  static constexpr bool complex = false;
  static constexpr int Lanes = 1, Edge = 16;
  static constexpr char letter = 's';
};
template <> struct elem<double> {
  using S = double;
  using U = double;
  static constexpr bool complex = false;
  static constexpr int Lanes = 1, Edge = 8;
  static constexpr char letter = 'd';
};
template <> struct elem<orb_complex8> {
  using S = float;
  using U = double;
  static constexpr bool complex = true;
  static constexpr int Lanes = 2, Edge = 8;
  static constexpr char letter = 'c';
};
template <> struct elem<orb_complex16> {
  using S = double;
  using U = double;
  static constexpr bool complex = true;
  static constexpr int Lanes = 2, Edge = 4;
  static constexpr char letter = 'z';
};

template <class T>
inline bool is_one(const T& a) {
  if constexpr (elem<T>::complex) return a.re == 1 && a.im == 0;
  else return a == 1;
}
template <class T>
inline T unit() {
  if constexpr (elem<T>::complex) return T{1, 0};
  else return T(1);
}
template <class T>
inline bool is_zero(const T& a) {
  if constexpr (elem<T>::complex) return a.re == 0 && a.im == 0;
  else return a == 0;
}
template <class T>
inline T conj(const T& a) {
  if constexpr (elem<T>::complex) return T{a.re, -a.im};
  else return a;
}

// alpha * x: for complex (ar*xr - ai*xi, ar*xi + ai*xr), each product
// rounded on its own.
template <class T>
inline T mul(const T& s, const T& x) {
  if constexpr (elem<T>::complex) {
    using S = typename elem<T>::S;
    const S rr = simd::opaque(S(s.re * x.re)), ii = simd::opaque(S(s.im * x.im));
    const S ri = simd::opaque(S(s.re * x.im)), ir = simd::opaque(S(s.im * x.re));
    return T{S(rr - ii), S(ri + ir)};
  } else {
    return s * x;
  }
}
template <class T>
inline T add(const T& x, const T& y) {
  if constexpr (elem<T>::complex) return T{x.re + y.re, x.im + y.im};
  else return x + y;
}

// The scaled value of one element: op(x) (conjugated when Conj), times
// alpha unless alpha is exactly 1.
template <class T, bool Conj>
struct scaler {
  T alpha;
  bool one;
  explicit scaler(T a) : alpha(a), one(is_one(a)) {}
  T operator()(T x) const {
    if constexpr (Conj) x = conj(x);
    return one ? x : mul(alpha, x);
  }
};

// The same on a vector of lanes: alpha*x is ar*x + (-ai, ai, ...)*swap(x),
// which rounds every lane exactly as mul() does.
template <class T>
struct vscaler {
  using S = typename elem<T>::S;
  using V = vec<S>;
  V re, im;
  explicit vscaler(T a) {
    if constexpr (elem<T>::complex) {
      re = V::set1(a.re);
      alignas(64) S t[V::N];
      for (int i = 0; i < V::N; ++i) t[i] = (i & 1) ? a.im : S(-a.im);
      im = V::loadu(t);
    } else {
      re = V::set1(a);
    }
  }
  [[gnu::always_inline]] V operator()(const V& x) const {
    if constexpr (elem<T>::complex) {
      V p = re * x, q = im * swap_pairs(x);
      simd::pin(p);
      simd::pin(q);
      return p + q;
    } else {
      return re * x;
    }
  }
};

// Sign bits of the imaginary lanes of a vector of S.
template <class T>
inline vec<typename elem<T>::S> conj_mask() {
  return simd::odd_sign_mask<typename elem<T>::S>();
}

// One block of up to Edge x Edge elements: rows [0, nr) of the source
// (row-major, stride 1, leading dimension lda) land as columns of the
// destination: b[j*ldb + i] = op(a[i*lda + j]), i < nr, j < nc. Rows and
// columns past nr and nc are neither read nor written.
template <class T>
struct block {
  using E = elem<T>;
  using U = typename E::U;
  using V = vec<U>;
  static constexpr int Edge = E::Edge;
  // Units of U per element: complex doubles are two doubles.
  static constexpr int UPE = int(sizeof(T) / sizeof(U));
  static constexpr int Slots = Edge < V::N ? V::N : Edge;

  [[gnu::always_inline]] static void turn(V* v) {
    if constexpr (sizeof(T) == 16) simd::transpose_units16(v);
    else simd::transpose(v);
  }
  // The imaginary part's sign: a complex float's is the top bit of its
  // 64-bit unit; a complex double's that of its odd double.
  [[gnu::always_inline]] static V conj_bits() {
    if constexpr (sizeof(T) == 8 && E::complex) return V::set1(U(-0.0));
    else return simd::odd_sign_mask<U>();
  }
  [[gnu::always_inline]] static const U* row(const T* p, size_t ld, int i) {
    return reinterpret_cast<const U*>(p + ptrdiff_t(i) * ptrdiff_t(ld));
  }
  [[gnu::always_inline]] static U* row(T* p, size_t ld, int i) { return reinterpret_cast<U*>(p + ptrdiff_t(i) * ptrdiff_t(ld)); }

  // A whole block: every loop has a fixed count, so the block stays in
  // registers.
  template <bool Conj>
  [[gnu::always_inline]] static void load_full(const T* a, size_t lda, V* v) {
#pragma GCC unroll 16
    for (int i = 0; i < Edge; ++i) v[i] = V::loadu(row(a, lda, i));
    turn(v);
    if constexpr (Conj) {
      const V m = conj_bits();
#pragma GCC unroll 16
      for (int j = 0; j < Edge; ++j) v[j] = simd::bit_xor(v[j], m);
    }
  }
  [[gnu::always_inline]] static void store_full(const V* v, T* b, size_t ldb) {
#pragma GCC unroll 16
    for (int j = 0; j < Edge; ++j) v[j].storeu(row(b, ldb, j));
  }
  // The same past the caches: every row of the block is one whole line
  // (b and ldb line-aligned).
  [[gnu::always_inline]] static void stream_full(const V* v, T* b, size_t ldb) {
#pragma GCC unroll 16
    for (int j = 0; j < Edge; ++j) simd::stream(row(b, ldb, j), v[j]);
  }
  template <bool Conj>
  static void load_part(const T* a, size_t lda, int nr, int nc, V* v) {
    for (int i = 0; i < nr; ++i) v[i] = V::load_mask(row(a, lda, i), nc * UPE);
    for (int i = nr; i < Edge; ++i) v[i] = V::zero();
    turn(v);
    if constexpr (Conj) {
      const V m = conj_bits();
      for (int j = 0; j < nc; ++j) v[j] = simd::bit_xor(v[j], m);
    }
  }
  static void store_part(const V* v, T* b, size_t ldb, int nr, int nc) {
    for (int j = 0; j < nc; ++j) v[j].store_mask(row(b, ldb, j), nr * UPE);
  }
};

template <class T, bool Conj, bool Stream = false>
[[gnu::always_inline]] inline void move_block_t(const T* a, size_t lda, T* b, size_t ldb, int nr, int nc) {
  using B = block<T>;
  typename B::V v[B::Slots];
  if (nr == B::Edge && nc == B::Edge) {
    B::template load_full<Conj>(a, lda, v);
    if constexpr (Stream) B::stream_full(v, b, ldb);
    else B::store_full(v, b, ldb);
  } else {
    B::template load_part<Conj>(a, lda, nr, nc, v);
    B::store_part(v, b, ldb, nr, nc);
  }
}

// A contiguous run of n elements scaled: dst[i] = s(src[i]), by vectors
// (vs) and a masked vector for the tail.
template <class T, bool Conj>
inline void scale_run(size_t n, const T* src, T* dst, const scaler<T, Conj>& s, const vscaler<T>& vs) {
  using S = typename elem<T>::S;
  using V = vec<S>;
  constexpr int L = elem<T>::Lanes;
  const S* x = reinterpret_cast<const S*>(src);
  S* y = reinterpret_cast<S*>(dst);
  const size_t lanes = n * L;
  const V m = conj_mask<T>();
  size_t i = 0;
  for (; i + V::N <= lanes; i += V::N) {
    V v = V::loadu(x + i);
    if constexpr (Conj) v = simd::bit_xor(v, m);
    if (!s.one) v = vs(v);
    v.storeu(y + i);
  }
  if (i < lanes) {
    const int live = int(lanes - i);
    V v = V::load_mask(x + i, live);
    if constexpr (Conj) v = simd::bit_xor(v, m);
    if (!s.one) v = vs(v);
    v.store_mask(y + i, live);
  }
}

// The one formula of a sum: alpha*x + beta*y, each term as mul() gives it.
template <class T>
inline T sum(const T& alpha, const T& x, const T& beta, const T& y) {
  return add(mul(alpha, x), mul(beta, y));
}

}  // namespace orb::trans
