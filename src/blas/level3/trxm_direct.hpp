// The direct triangular solve and product: B walked in place with no
// buffers, A read through a column accessor, so that the same bodies serve
// a full triangle (?trsm_nobuf, ?trmm_nobuf, the diagonal blocks of the
// blocked drivers, the small product) and a packed one (?ptrmm_pst).
//
// The bodies never read the triangle A does not store, nor its diagonal
// when diag is "U". Each element of B gets its operations in an order set
// by the triangle alone: with side "L" the columns of B are independent,
// with side "R" the rows are, so a call cut into blocks of columns (left)
// or rows (right) gives the bits of the whole call. The solve divides by
// the diagonal (no reciprocal, which would overflow for a subnormal
// element); complex division scales by the larger part of the divisor, so
// a diagonal of huge or tiny modulus gives no spurious overflow.
#pragma once

#include <cmath>
#include <cstddef>

#include "blas/engine/engine.hpp"
#include "frame/simd.hpp"

namespace orb::level3::direct {

using std::ptrdiff_t;

template <class T> struct real_of { using type = T; };
template <> struct real_of<orb_complex8> { using type = float; };
template <> struct real_of<orb_complex16> { using type = double; };
template <class T> constexpr bool is_complex = !std::is_same_v<T, typename real_of<T>::type>;

// ---- Scalar arithmetic, one rounding per operation --------------------------------
template <class T> inline T mul(T a, T b) { return a * b; }
template <class T> inline T add(T a, T b) { return a + b; }
template <class T> inline T sub(T a, T b) { return a - b; }
template <class T> inline T div(T a, T b) { return a / b; }
template <class T> inline T conj(T a) { return a; }

#define ORB_TRX_COMPLEX_OPS(C)                                                                   \
  template <> inline C mul(C a, C b) {                                                           \
    return C{engine::opaque(a.re * b.re) - a.im * b.im, engine::opaque(a.re * b.im) + a.im * b.re}; \
  }                                                                                              \
  template <> inline C add(C a, C b) { return C{a.re + b.re, a.im + b.im}; }                     \
  template <> inline C sub(C a, C b) { return C{a.re - b.re, a.im - b.im}; }                     \
  template <> inline C conj(C a) { return C{a.re, -a.im}; }                                      \
  template <> inline C div(C a, C b) {                                                           \
    if (std::fabs(b.re) >= std::fabs(b.im)) {                                                    \
      const auto r = b.im / b.re, d = b.re + b.im * r;                                           \
      return C{(a.re + a.im * r) / d, (a.im - a.re * r) / d};                                    \
    }                                                                                            \
    const auto r = b.re / b.im, d = b.im + b.re * r;                                             \
    return C{(a.re * r + a.im) / d, (a.im * r - a.re) / d};                                      \
  }
ORB_TRX_COMPLEX_OPS(orb_complex8)
ORB_TRX_COMPLEX_OPS(orb_complex16)
#undef ORB_TRX_COMPLEX_OPS

// ---- Column operations ------------------------------------------------------------
// A complex factor on interleaved lanes: s x is (sr xr - si xi, sr xi + si xr),
// the product of the swapped pair by (-si, si) supplying the second terms,
// so each lane rounds as mul() does.
template <class R>
struct complex_factor {
  simd::vec<R> re, im;
  template <class C>
  explicit complex_factor(const C& s) : re(simd::vec<R>::set1(s.re)) {
    constexpr int N = simd::vec<R>::N;
    alignas(64) R sg[N];
    for (int i = 0; i < N; ++i) sg[i] = (i & 1) ? s.im : -s.im;
    im = simd::vec<R>::loadu(sg);
  }
  // The same from (-1, 1) in every pair, made once by the caller: a
  // multiplication by -1 or 1 is exact.
  template <class C>
  complex_factor(const C& s, const simd::vec<R>& sign)
      : re(simd::vec<R>::set1(s.re)), im(simd::vec<R>::set1(s.im) * sign) {}
  static simd::vec<R> signs() {
    constexpr int N = simd::vec<R>::N;
    alignas(64) R sg[N];
    for (int i = 0; i < N; ++i) sg[i] = (i & 1) ? R(1) : R(-1);
    return simd::vec<R>::loadu(sg);
  }
  simd::vec<R> times(const simd::vec<R>& x) const { return re * x + im * swap_pairs(x); }
};

// y := y + s x (Minus: y - s x), len elements.
template <bool Minus, class T>
inline void axpy(int len, T s, const T* __restrict x, T* __restrict y) {
  if constexpr (is_complex<T>) {
    using R = typename real_of<T>::type;
    using V = simd::vec<R>;
    constexpr int N = V::N;
    const complex_factor<R> f(s);
    const R* xr = reinterpret_cast<const R*>(x);
    R* yr = reinterpret_cast<R*>(y);
    const int n2 = 2 * len;
    int i = 0;
    for (; i + N <= n2; i += N) {
      const V p = f.times(V::loadu(xr + i));
      (Minus ? V::loadu(yr + i) - p : V::loadu(yr + i) + p).storeu(yr + i);
    }
    if (i < n2) {
      const V p = f.times(V::load_mask(xr + i, n2 - i));
      const V o = V::load_mask(yr + i, n2 - i);
      (Minus ? o - p : o + p).store_mask(yr + i, n2 - i);
    }
  } else {
    using V = simd::vec<T>;
    constexpr int N = V::N;
    const V vs = V::set1(s);
    int i = 0;
    for (; i + N <= len; i += N) {
      const V p = vs * V::loadu(x + i);
      (Minus ? V::loadu(y + i) - p : V::loadu(y + i) + p).storeu(y + i);
    }
    if (i < len) {
      const V p = vs * V::load_mask(x + i, len - i);
      const V o = V::load_mask(y + i, len - i);
      (Minus ? o - p : o + p).store_mask(y + i, len - i);
    }
  }
}
// y := s y.
template <class T>
inline void scal(int len, T s, T* y) {
  if constexpr (is_complex<T>) {
    using R = typename real_of<T>::type;
    using V = simd::vec<R>;
    constexpr int N = V::N;
    const complex_factor<R> f(s);
    R* yr = reinterpret_cast<R*>(y);
    const int n2 = 2 * len;
    int i = 0;
    for (; i + N <= n2; i += N) f.times(V::loadu(yr + i)).storeu(yr + i);
    if (i < n2) f.times(V::load_mask(yr + i, n2 - i)).store_mask(yr + i, n2 - i);
  } else {
    using V = simd::vec<T>;
    constexpr int N = V::N;
    const V vs = V::set1(s);
    int i = 0;
    for (; i + N <= len; i += N) (vs * V::loadu(y + i)).storeu(y + i);
    if (i < len) (vs * V::load_mask(y + i, len - i)).store_mask(y + i, len - i);
  }
}
// B := alpha B, columns of len elements; alpha 0 stores zeros.
template <class T>
inline void scale_all(int rows, int cols, T alpha, T* b, ptrdiff_t ldb) {
  if (engine::is_one(alpha)) return;
  for (int j = 0; j < cols; ++j) {
    T* col = b + j * ldb;
    if (engine::is_zero(alpha))
      for (int i = 0; i < rows; ++i) col[i] = engine::zero<T>();
    else scal(rows, alpha, col);
  }
}

// ---- Accessors of the triangle ---------------------------------------------------
// col(j) gives p with A(i, j) = p[i] for the stored rows i of column j.
template <class T>
struct full_triangle {
  const T* a;
  ptrdiff_t lda;
  const T* col(int j) const { return a + j * lda; }
};
// Packed by columns: upper column j holds rows 0..j, lower rows j..n-1.
template <class T>
struct packed_triangle {
  const T* ap;
  ptrdiff_t n;
  bool upper;
  const T* col(int j) const {
    const ptrdiff_t jj = j;
    return upper ? ap + jj * (jj + 1) / 2 : ap + jj * (2 * n - jj + 1) / 2 - jj;
  }
};

// The letters, folded: side 'L'/'R', uplo 'U'/'L', transa 'N'/'T'/'C', diag.
struct letters {
  bool right, upper, trans, conj, unit;
};
inline letters read_letters(const char* side, const char* uplo, const char* transa, const char* diag,
                            bool complex) {
  const char s = char(*side & ~32), u = char(*uplo & ~32), t = char(*transa & ~32), d = char(*diag & ~32);
  return letters{s == 'R', u == 'U', t != 'N', complex && t == 'C', d == 'U'};
}

// op(A)(i, j) for the letters; element of the stored triangle only.
template <class T, class A>
inline T op_elem(const A& acc, const letters& l, int i, int j) {
  const T v = l.trans ? acc.col(i)[j] : acc.col(j)[i];
  return l.conj ? conj(v) : v;
}

// ---- Left side with op(A) transposed: row k of op(A) is column k of A, ---------
// so each element of B is one dot product with a column of A (complex: a
// running sum in increasing order of the row; real: fused in the lanes of
// the logical vector, then folded). W columns of B go together, each with
// its own sums, so that W are under way at once; every element is computed
// the same way whatever W is.
template <int W, bool Solve, class T, class A>
void dots(const letters& l, int m, const A& acc, T* b, ptrdiff_t ldb) {
  T* x[W];
  for (int w = 0; w < W; ++w) x[w] = b + w * ldb;
  // The solve runs with the triangle of op(A): forward for a stored upper
  // triangle; the product runs against it.
  const bool forward = Solve ? l.upper : !l.upper;
  for (int s = 0; s < m; ++s) {
    const int k = forward ? s : m - 1 - s;
    const T* ak = acc.col(k);
    const int i0 = l.upper ? 0 : k + 1, i1 = l.upper ? k : m;
    const T dk = l.unit ? T{} : (l.conj ? conj(ak[k]) : ak[k]);
    T t[W];
    for (int w = 0; w < W; ++w) t[w] = (Solve || l.unit) ? x[w][k] : mul(dk, x[w][k]);
    if constexpr (is_complex<T>) {
      for (int i = i0; i < i1; ++i) {
        const T e = l.conj ? conj(ak[i]) : ak[i];
        for (int w = 0; w < W; ++w) t[w] = Solve ? sub(t[w], mul(e, x[w][i])) : add(t[w], mul(e, x[w][i]));
      }
    } else {
      // Real: the dot product in vector lanes, folded in the fixed tree of
      // reduce_add, then added to the element.
      using V = simd::vec<T>;
      constexpr int N = V::N;
      V sum[W];
      for (int w = 0; w < W; ++w) sum[w] = V::zero();
      int i = i0;
      for (; i + N <= i1; i += N) {
        const V e = V::loadu(ak + i);
        for (int w = 0; w < W; ++w) sum[w] = fma(e, V::loadu(x[w] + i), sum[w]);
      }
      if (i < i1) {
        const V e = V::load_mask(ak + i, i1 - i);
        for (int w = 0; w < W; ++w) sum[w] = fma(e, V::load_mask(x[w] + i, i1 - i), sum[w]);
      }
      for (int w = 0; w < W; ++w) {
        const T d = simd::reduce_add(sum[w]);
        t[w] = Solve ? t[w] - d : t[w] + d;
      }
    }
    for (int w = 0; w < W; ++w) x[w][k] = (Solve && !l.unit) ? div(t[w], dk) : t[w];
  }
}

// ---- Left side with op(A) = A: column k of A goes, scaled by element k of
// each column of B, into that column's other rows. W columns of B go
// together so that their updates overlap; each element is computed the
// same way whatever W is. The solve divides element k first and walks down
// a lower triangle (up an upper one); the product walks the other way and
// multiplies element k last.
template <int W, bool Solve, class T, class A>
void axpys(const letters& l, int m, const A& acc, T* b, ptrdiff_t ldb) {
  T* x[W];
  for (int w = 0; w < W; ++w) x[w] = b + w * ldb;
  const bool forward = Solve ? !l.upper : l.upper;
  for (int s = 0; s < m; ++s) {
    const int k = forward ? s : m - 1 - s;
    const T* ak = acc.col(k);
    const int r0 = l.upper ? 0 : k + 1, len = l.upper ? k : m - k - 1;
    if constexpr (Solve) {
      if (!l.unit)
        for (int w = 0; w < W; ++w) x[w][k] = div(x[w][k], ak[k]);
      for (int w = 0; w < W; ++w) axpy<true>(len, x[w][k], ak + r0, x[w] + r0);
    } else {
      for (int w = 0; w < W; ++w) axpy<false>(len, x[w][k], ak + r0, x[w] + r0);
      if (!l.unit)
        for (int w = 0; w < W; ++w) x[w][k] = mul(x[w][k], ak[k]);
    }
  }
}

// ---- Right side: column j of the result is column j of B with the other
// columns op(A) reaches from row j: for the solve those already solved,
// less, then divided by the diagonal; for the product those not yet
// overwritten, added after multiplying by the diagonal. Rows are
// independent: they go in chunks of two vectors held in registers while
// the column takes every term, in increasing order of the column it comes
// from.
template <bool Solve, class T, class A>
void right_side(const letters& l, int m, int n, const A& acc, T* b, ptrdiff_t ldb) {
  using R = typename real_of<T>::type;
  using V = simd::vec<R>;
  constexpr int N = V::N;
  constexpr int C = is_complex<T> ? 2 : 1;
  const bool op_upper = l.upper != l.trans;
  const bool forward = Solve ? op_upper : !op_upper;
  R* br = reinterpret_cast<R*>(b);
  const ptrdiff_t ld = ldb * C;
  const int total = m * C;
  const V sign = complex_factor<R>::signs();
  auto times = [&sign](const T& e, const V& x) {
    if constexpr (C == 2) return complex_factor<R>(e, sign).times(x);
    else return V::set1(e) * x;
  };
  for (int i = 0; i < total; i += 2 * N) {
    const int live = total - i < 2 * N ? total - i : 2 * N;
    const int l0 = live < N ? live : N, l1 = live - l0;
    auto load = [&](const R* p, V& v0, V& v1) {
      v0 = l0 == N ? V::loadu(p) : V::load_mask(p, l0);
      v1 = l1 == N ? V::loadu(p + N) : l1 > 0 ? V::load_mask(p + N, l1) : V::zero();
    };
    for (int s = 0; s < n; ++s) {
      const int j = forward ? s : n - 1 - s;
      R* cj = br + j * ld + i;
      V y0, y1;
      load(cj, y0, y1);
      if (!Solve && !l.unit) {
        const T d = op_elem<T>(acc, l, j, j);
        y0 = times(d, y0);
        y1 = times(d, y1);
      }
      const int k0 = op_upper ? 0 : j + 1, k1 = op_upper ? j : n;
      for (int k = k0; k < k1; ++k) {
        const T e = op_elem<T>(acc, l, k, j);
        V x0, x1;
        load(br + k * ld + i, x0, x1);
        const V p0 = times(e, x0), p1 = times(e, x1);
        y0 = Solve ? y0 - p0 : y0 + p0;
        y1 = Solve ? y1 - p1 : y1 + p1;
      }
      if (Solve && !l.unit) {
        const T d = op_elem<T>(acc, l, j, j);
        if constexpr (C == 1) {
          y0 = y0 / V::set1(d);
          y1 = y1 / V::set1(d);
        }
      }
      if (l0 == N) y0.storeu(cj);
      else y0.store_mask(cj, l0);
      if (l1 == N) y1.storeu(cj + N);
      else if (l1 > 0) y1.store_mask(cj + N, l1);
      if constexpr (C == 2) {
        if (Solve && !l.unit) {
          const T d = op_elem<T>(acc, l, j, j);
          T* xj = reinterpret_cast<T*>(cj);
          for (int e = 0; e < live / 2; ++e) xj[e] = div(xj[e], d);
        }
      }
    }
  }
}

// ---- Solve: op(A) X = B or X op(A) = B (alpha already applied) --------------------------
template <class T, class A>
void solve(const letters& l, int m, int n, const A& acc, T* b, ptrdiff_t ldb) {
  if (m < 1 || n < 1) return;
  if (!l.right && l.trans) {
    int j = 0;
    for (; j + 4 <= n; j += 4) dots<4, true>(l, m, acc, b + j * ldb, ldb);
    for (; j < n; ++j) dots<1, true>(l, m, acc, b + j * ldb, ldb);
    return;
  }
  if (!l.right) {
    int j = 0;
    for (; j + 4 <= n; j += 4) axpys<4, true>(l, m, acc, b + j * ldb, ldb);
    for (; j < n; ++j) axpys<1, true>(l, m, acc, b + j * ldb, ldb);
    return;
  }
  right_side<true>(l, m, n, acc, b, ldb);
}

// ---- Product: B := op(A) B or B op(A) (alpha already applied) ------------------------------
template <class T, class A>
void product(const letters& l, int m, int n, const A& acc, T* b, ptrdiff_t ldb) {
  if (m < 1 || n < 1) return;
  if (!l.right && l.trans) {
    int j = 0;
    for (; j + 4 <= n; j += 4) dots<4, false>(l, m, acc, b + j * ldb, ldb);
    for (; j < n; ++j) dots<1, false>(l, m, acc, b + j * ldb, ldb);
    return;
  }
  if (!l.right) {
    int j = 0;
    for (; j + 4 <= n; j += 4) axpys<4, false>(l, m, acc, b + j * ldb, ldb);
    for (; j < n; ++j) axpys<1, false>(l, m, acc, b + j * ldb, ldb);
    return;
  }
  right_side<false>(l, m, n, acc, b, ldb);
}

}  // namespace orb::level3::direct
