// Triangular solve (trsv) and product (trmv).
//
// Both walk the diagonal in blocks: the dependent triangular work stays in
// small unblocked kernels (blocks of 32 for the solve, 64 for the product)
// and the rectangular part goes to GEMV. The solve calls GEMV through the
// public routine, so that the core's choices (threads, checks) apply to it;
// the product calls the GEMV kernel of this library directly, as its
// threaded form does. The one exception is the real transposed product on
// a contiguous x, which needs no blocks: every result is a dot of entries
// of x not yet overwritten, so it runs as one pass of column groups.
#include "blas/level2/level2.hpp"
#include "orb/orb_blas.h"

namespace orb::l2 {
namespace {

// Address to pass for the subvector of L elements that starts at element k
// of a vector whose element 0 lies at xs: the BLAS rule wants the lowest
// address when the increment is negative.
template <class T>
inline T* sub(T* xs, int k, int len, int inc, int width = 1) {
  return xs + idx(inc > 0 ? k : k + len - 1) * inc * width;
}

// ---- Unblocked kernels ----------------------------------------------------

// Real solve of one diagonal block; x starts at element 0, increment inc.
template <class T, bool Up, bool Trans, bool Unit>
void trsv_block(int n, const T* a, idx lda, T* x, int inc) {
  if (inc == 1) {
    if (!Trans) {
      // Column-oriented: divide, then apply the column to the rest.
      if (!Up) {
        for (int j = 0; j < n; ++j) {
          const T* col = a + idx(j) * lda;
          if (!Unit) x[j] = x[j] / col[j];
          axpy_run(n - j - 1, -x[j], col + j + 1, x + j + 1);
        }
      } else {
        for (int j = n - 1; j >= 0; --j) {
          const T* col = a + idx(j) * lda;
          if (!Unit) x[j] = x[j] / col[j];
          axpy_run(j, -x[j], col, x);
        }
      }
    } else {
      // Row-oriented: a dot of the solved part with the column.
      if (Up) {
        for (int j = 0; j < n; ++j) {
          const T* col = a + idx(j) * lda;
          const T t = x[j] - dot_run(j, col, x);
          x[j] = Unit ? t : t / col[j];
        }
      } else {
        for (int j = n - 1; j >= 0; --j) {
          const T* col = a + idx(j) * lda;
          const T t = x[j] - dot_run(n - j - 1, col + j + 1, x + j + 1);
          x[j] = Unit ? t : t / col[j];
        }
      }
    }
    return;
  }
  auto X = [&](int i) -> T& { return x[idx(i) * inc]; };
  if (!Trans) {
    for (int s = 0; s < n; ++s) {
      const int j = Up ? n - 1 - s : s;
      const T* col = a + idx(j) * lda;
      if (!Unit) X(j) = X(j) / col[j];
      const T t = -X(j);
      if (Up) for (int i = 0; i < j; ++i) X(i) = std::fma(col[i], t, X(i));
      else for (int i = j + 1; i < n; ++i) X(i) = std::fma(col[i], t, X(i));
    }
  } else {
    for (int s = 0; s < n; ++s) {
      const int j = Up ? s : n - 1 - s;
      const T* col = a + idx(j) * lda;
      T d = T(0);
      if (Up) for (int i = 0; i < j; ++i) d = std::fma(col[i], X(i), d);
      else for (int i = j + 1; i < n; ++i) d = std::fma(col[i], X(i), d);
      const T t = X(j) - d;
      X(j) = Unit ? t : t / col[j];
    }
  }
}

// Complex solve of one diagonal block; Conj for the conjugate transpose.
template <class T, bool Up, bool Trans, bool Conj, bool Unit>
void ctrsv_block(int n, const T* a, idx lda, T* x, int inc) {
  auto X = [&](int i) -> T* { return x + 2 * idx(i) * inc; };
  auto diag = [&](int j) {
    const T* e = a + 2 * (idx(j) * lda + j);
    return Conj ? cx<T>{e[0], -e[1]} : cx<T>{e[0], e[1]};
  };
  if (!Trans) {
    for (int s = 0; s < n; ++s) {
      const int j = Up ? n - 1 - s : s;
      const T* col = a + 2 * idx(j) * lda;
      cx<T> xj{X(j)[0], X(j)[1]};
      if (!Unit) xj = cdiv(xj, diag(j));
      X(j)[0] = xj.re, X(j)[1] = xj.im;
      const cx<T> t{-xj.re, -xj.im};
      const int lo = Up ? 0 : j + 1, len = Up ? j : n - j - 1;
      if (inc == 1) {
        caxpy_run(len, t, col + 2 * lo, x + 2 * lo);
      } else {
        for (int i = lo; i < lo + len; ++i) {
          const cx<T> v = cfma(cx<T>{col[2 * i], col[2 * i + 1]}, t, cx<T>{X(i)[0], X(i)[1]});
          X(i)[0] = v.re, X(i)[1] = v.im;
        }
      }
    }
  } else {
    for (int s = 0; s < n; ++s) {
      const int j = Up ? s : n - 1 - s;
      const T* col = a + 2 * idx(j) * lda;
      const int lo = Up ? 0 : j + 1, len = Up ? j : n - j - 1;
      cx<T> d;
      if (inc == 1) {
        d = cdot_run<T, Conj>(len, col + 2 * lo, x + 2 * lo);
      } else {
        d = {T(0), T(0)};
        for (int i = lo; i < lo + len; ++i) {
          cx<T> av{col[2 * i], col[2 * i + 1]};
          if (Conj) av = conj(av);
          d = cfma(av, cx<T>{X(i)[0], X(i)[1]}, d);
        }
      }
      cx<T> t = csub(cx<T>{X(j)[0], X(j)[1]}, d);
      if (!Unit) t = cdiv(t, diag(j));
      X(j)[0] = t.re, X(j)[1] = t.im;
    }
  }
}

// Unblocked product of one diagonal block: x := op(A) x.
template <class T>
void trmv_block(bool up, bool trans, bool conj_a, bool unit, int n, const T* a, idx lda, T* x, int inc) {
  (void)conj_a;
  auto X = [&](int i) -> T& { return x[idx(i) * inc]; };
  if (!trans) {
    for (int s = 0; s < n; ++s) {
      const int j = up ? s : n - 1 - s;
      const T* col = a + idx(j) * lda;
      const T t = X(j);
      const int lo = up ? 0 : j + 1, len = up ? j : n - j - 1;
      if (inc == 1) axpy_run(len, t, col + lo, x + lo);
      else for (int i = lo; i < lo + len; ++i) X(i) = std::fma(col[i], t, X(i));
      if (!unit) X(j) = t * col[j];
    }
  } else {
    for (int s = 0; s < n; ++s) {
      const int j = up ? n - 1 - s : s;
      const T* col = a + idx(j) * lda;
      const int lo = up ? 0 : j + 1, len = up ? j : n - j - 1;
      T d;
      if (inc == 1) {
        d = dot_run(len, col + lo, x + lo);
      } else {
        d = T(0);
        for (int i = lo; i < lo + len; ++i) d = std::fma(col[i], X(i), d);
      }
      X(j) = (unit ? X(j) : X(j) * col[j]) + d;
    }
  }
}

template <class T>
void ctrmv_block(bool up, bool trans, bool conj_a, bool unit, int n, const T* a, idx lda, T* x, int inc) {
  auto X = [&](int i) -> T* { return x + 2 * idx(i) * inc; };
  if (!trans) {
    for (int s = 0; s < n; ++s) {
      const int j = up ? s : n - 1 - s;
      const T* col = a + 2 * idx(j) * lda;
      const cx<T> t{X(j)[0], X(j)[1]};
      const int lo = up ? 0 : j + 1, len = up ? j : n - j - 1;
      if (inc == 1) {
        caxpy_run(len, t, col + 2 * lo, x + 2 * lo);
      } else {
        for (int i = lo; i < lo + len; ++i) {
          const cx<T> v = cfma(cx<T>{col[2 * i], col[2 * i + 1]}, t, cx<T>{X(i)[0], X(i)[1]});
          X(i)[0] = v.re, X(i)[1] = v.im;
        }
      }
      if (!unit) {
        const cx<T> v = cmul(t, cx<T>{col[2 * j], col[2 * j + 1]});
        X(j)[0] = v.re, X(j)[1] = v.im;
      }
    }
  } else {
    for (int s = 0; s < n; ++s) {
      const int j = up ? n - 1 - s : s;
      const T* col = a + 2 * idx(j) * lda;
      const int lo = up ? 0 : j + 1, len = up ? j : n - j - 1;
      cx<T> d;
      if (inc == 1) {
        d = conj_a ? cdot_run<T, true>(len, col + 2 * lo, x + 2 * lo) : cdot_run<T, false>(len, col + 2 * lo, x + 2 * lo);
      } else {
        d = {T(0), T(0)};
        for (int i = lo; i < lo + len; ++i) {
          cx<T> av{col[2 * i], col[2 * i + 1]};
          if (conj_a) av = conj(av);
          d = cfma(av, cx<T>{X(i)[0], X(i)[1]}, d);
        }
      }
      cx<T> xj{X(j)[0], X(j)[1]};
      if (!unit) {
        cx<T> ajj{col[2 * j], col[2 * j + 1]};
        if (conj_a) ajj = conj(ajj);
        xj = cmul(xj, ajj);
      }
      X(j)[0] = xj.re + d.re, X(j)[1] = xj.im + d.im;
    }
  }
}

// Real transposed product with contiguous x in one pass: column j's result
// is its diagonal term plus the dot of the column's off-diagonal part with
// the x not yet overwritten. Columns go in groups of eight that share each
// load of x, walked so that every group reads only entries of x that are
// still to be rewritten (from the right for the upper triangle, from the
// left for the lower); rows common to the group run in lanes, the small
// triangle at the group's head in scalar steps after them, and the group
// writes its results once all eight are formed. Per column:
//   x(j) := (unit ? x(j) : x(j) a(j, j)) + (lanes folded + head in order).
constexpr int kTrmvGroup = 8;
// Triangles of more than this many elements are prefetched along the columns.
constexpr double kTrmvPrefetchFrom = 7e5;
constexpr int kTrmvAhead = 32;  // elements

template <class T, bool Up, bool Unit, bool Prefetch>
void trmv_t_unit(int n, const T* a, idx lda, T* x) {
  using V = vec<T>;
  constexpr int N = V::N;
  auto group = [&](int j0, auto gc) {
    constexpr int g = decltype(gc)::value;
    V acc[g];
    const T* col[g];
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) acc[c] = V::zero(), col[c] = a + idx(j0 + c) * lda;
    // Rows below the group's own (upper: [0, j0)) or above (lower: [j0 + g, n)).
    const int lo = Up ? 0 : j0 + g, hi = Up ? j0 : n;
    int i = lo;
    for (; i + 2 * N <= hi; i += 2 * N) {
      #pragma GCC unroll 2
      for (int u = 0; u < 2; ++u) {
        const V xv = V::loadu(x + i + u * N);
        #pragma GCC unroll 8
        for (int c = 0; c < g; ++c) {
          if constexpr (Prefetch) __builtin_prefetch(col[c] + i + u * N + kTrmvAhead, 0, 3);
          acc[c] = fma(V::loadu(col[c] + i + u * N), xv, acc[c]);
        }
      }
    }
    for (; i + N <= hi; i += N) {
      const V xv = V::loadu(x + i);
      #pragma GCC unroll 8
      for (int c = 0; c < g; ++c) acc[c] = fma(V::loadu(col[c] + i), xv, acc[c]);
    }
    if (i < hi) {
      const int r = hi - i;
      const V xv = V::load_mask(x + i, r);
      #pragma GCC unroll 8
      for (int c = 0; c < g; ++c) acc[c] = fma(V::load_mask(col[c] + i, r), xv, acc[c]);
    }
    T res[g];
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) {
      const int j = j0 + c;
      T d = simd::reduce_add(acc[c]);
      if (Up) for (int k = j0; k < j; ++k) d = std::fma(col[c][k], x[k], d);
      else for (int k = j + 1; k < j0 + g; ++k) d = std::fma(col[c][k], x[k], d);
      res[c] = (Unit ? x[j] : x[j] * col[c][j]) + d;
    }
    #pragma GCC unroll 8
    for (int c = 0; c < g; ++c) x[j0 + c] = res[c];
  };
  constexpr int G = kTrmvGroup;
  if (Up) {
    int j = n;
    for (; j >= G; j -= G) group(j - G, std::integral_constant<int, G>{});
    for (; j > 0; --j) group(j - 1, std::integral_constant<int, 1>{});
  } else {
    int j = 0;
    for (; j + G <= n; j += G) group(j, std::integral_constant<int, G>{});
    for (; j < n; ++j) group(j, std::integral_constant<int, 1>{});
  }
}

template <class T>
void trmv_t_unit(bool up, bool unit, int n, const T* a, idx lda, T* x) {
  const bool pf = 0.5 * double(n) * double(n) > kTrmvPrefetchFrom;
#define ORB_TRMV_T(U, D)                                      \
  if (up == U && unit == D) {                                 \
    if (pf) trmv_t_unit<T, U, D, true>(n, a, lda, x);         \
    else trmv_t_unit<T, U, D, false>(n, a, lda, x);           \
    return;                                                   \
  }
  ORB_TRMV_T(true, true)
  ORB_TRMV_T(true, false)
  ORB_TRMV_T(false, true)
  ORB_TRMV_T(false, false)
#undef ORB_TRMV_T
}

inline void tr_block(bool up, bool trans, bool conj_a, bool unit, int n, const float* a, idx lda, float* x, int inc) {
  trmv_block(up, trans, conj_a, unit, n, a, lda, x, inc);
}
inline void tr_block(bool up, bool trans, bool conj_a, bool unit, int n, const double* a, idx lda, double* x, int inc) {
  trmv_block(up, trans, conj_a, unit, n, a, lda, x, inc);
}
inline void tr_block(bool up, bool trans, bool conj_a, bool unit, int n, const orb_complex8* a, idx lda,
                     orb_complex8* x, int inc) {
  ctrmv_block(up, trans, conj_a, unit, n, rp(a), lda, rp(x), inc);
}
inline void tr_block(bool up, bool trans, bool conj_a, bool unit, int n, const orb_complex16* a, idx lda,
                     orb_complex16* x, int inc) {
  ctrmv_block(up, trans, conj_a, unit, n, rp(a), lda, rp(x), inc);
}

// ---- Drivers --------------------------------------------------------------

template <class T> struct ops;
template <> struct ops<float> {
  static constexpr auto pub_gemv = &orb_blas_sgemv;
  static constexpr auto gemv = &ORB_BLAS(xsgemv);
};
template <> struct ops<double> {
  static constexpr auto pub_gemv = &orb_blas_dgemv;
  static constexpr auto gemv = &ORB_BLAS(xdgemv);
};
template <> struct ops<orb_complex8> {
  static constexpr auto pub_gemv = &orb_blas_cgemv;
  static constexpr auto gemv = &ORB_BLAS(xcgemv);
};
template <> struct ops<orb_complex16> {
  static constexpr auto pub_gemv = &orb_blas_zgemv;
  static constexpr auto gemv = &ORB_BLAS(xzgemv);
};
template <class T> inline T one() { return T(1); }
template <> inline orb_complex8 one<orb_complex8>() { return {1.f, 0.f}; }
template <> inline orb_complex16 one<orb_complex16>() { return {1.0, 0.0}; }
template <class T> inline T minus_one() { return T(-1); }
template <> inline orb_complex8 minus_one<orb_complex8>() { return {-1.f, 0.f}; }
template <> inline orb_complex16 minus_one<orb_complex16>() { return {-1.0, 0.0}; }

// The blocked solve. Walks that start at the first row (lower with no
// transpose, upper transposed) take blocks of 32 from the top, the
// remainder last; the others take them from the bottom, the remainder at
// the top. After each diagonal block its panel updates the rest of x.
template <class C>
void trsv(const char* uplo, const char* trans, int n, const C* a, int lda, C* x, int incx,
          void (*solve)(int, const C*, idx, C*, int)) {
  constexpr int NB = 32;
  const bool up = is_u(uplo), nt = is_n(trans);
  C* xs = x + first(n, incx);
  const C mone = minus_one<C>(), pone = one<C>();
  const char* gtrans = nt ? "N" : (is_c(trans) ? "C" : "T");
  const bool forward = (!up && nt) || (up && !nt);
  const int nb = n / NB, rem = n - nb * NB;
  for (int b = 0; b <= nb; ++b) {
    const int len = b < nb ? NB : rem;
    if (len == 0) continue;
    const int i0 = forward ? b * NB : (b < nb ? n - (b + 1) * NB : 0);
    solve(len, a + idx(i0) * lda + i0, lda, xs + idx(i0) * incx, incx);
    const int r0 = forward ? i0 + len : 0, rn = forward ? n - r0 : i0;
    if (rn <= 0) continue;
    const C* xb = sub(xs, i0, len, incx);
    C* xr = sub(xs, r0, rn, incx);
    if (nt) ops<C>::pub_gemv(gtrans, &rn, &len, &mone, a + idx(i0) * lda + r0, &lda, xb, &incx, &pone, xr, &incx);
    else ops<C>::pub_gemv(gtrans, &len, &rn, &mone, a + idx(r0) * lda + i0, &lda, xb, &incx, &pone, xr, &incx);
  }
}

// The rows [f, l) of the product, for x walked so that every block reads
// its sources before they are overwritten (see the four cases below).
template <class C>
void trmv_range(bool up, bool nt, bool cj, bool unit, int n, const C* a, int lda, C* xs, int incx) {
  constexpr int NB = 64;
  const char* gtrans = nt ? "N" : (cj ? "C" : "T");
  const C pone = one<C>();
  // Upper no-transpose and lower transposed walk from the top; the other
  // two from the bottom. The block at the far end takes what is left.
  const bool top_down = (up && nt) || (!up && !nt);
  int done = 0;
  while (done < n) {
    const int len = n - done < NB ? n - done : NB;
    const int i0 = top_down ? done : n - done - len, i1 = i0 + len;
    C* xb = sub(xs, i0, len, incx);
    if (up && nt) {
      // rows above the block take the block's columns first
      if (i0 > 0) ops<C>::gemv(gtrans, &i0, &len, &pone, a + idx(i0) * lda, &lda, xb, &incx, &pone, sub(xs, 0, i0, incx), &incx);
      tr_block(up, !nt, cj, unit, len, a + idx(i0) * lda + i0, lda, xs + idx(i0) * incx, incx);
    } else if (!up && nt) {
      const int rn = n - i1;
      if (rn > 0) ops<C>::gemv(gtrans, &rn, &len, &pone, a + idx(i0) * lda + i1, &lda, xb, &incx, &pone, sub(xs, i1, rn, incx), &incx);
      tr_block(up, !nt, cj, unit, len, a + idx(i0) * lda + i0, lda, xs + idx(i0) * incx, incx);
    } else if (up) {
      tr_block(up, !nt, cj, unit, len, a + idx(i0) * lda + i0, lda, xs + idx(i0) * incx, incx);
      if (i0 > 0) ops<C>::gemv(gtrans, &i0, &len, &pone, a + idx(i0) * lda, &lda, sub(xs, 0, i0, incx), &incx, &pone, xb, &incx);
    } else {
      tr_block(up, !nt, cj, unit, len, a + idx(i0) * lda + i0, lda, xs + idx(i0) * incx, incx);
      const int rn = n - i1;
      if (rn > 0) ops<C>::gemv(gtrans, &rn, &len, &pone, a + idx(i0) * lda + i1, &lda, sub(xs, i1, rn, incx), &incx, &pone, xb, &incx);
    }
    done += len;
  }
}

template <class C>
void trmv(const char* uplo, const char* trans, const char* diag, const int* pn, const C* a, const int* plda, C* x,
          const int* pincx) {
  const int n = *pn;
  if (n <= 0) return;
  if constexpr (!is_complex_v<C>) {
    if (*pincx == 1 && !is_n(trans)) {
      trmv_t_unit(is_u(uplo), !is_n(diag), n, a, *plda, x);
      return;
    }
  }
  trmv_range(is_u(uplo), is_n(trans), is_c(trans), !is_n(diag), n, a, *plda, x + first(n, *pincx), *pincx);
}

// One thread's rows [f, l) of op(A) w, written to the same rows of x; w is a
// contiguous copy of x taken before any thread began.
template <class C>
void trmv_in_thread(const char* uplo, const char* trans, const char* diag, int n, const C* a, int lda, C* x, int incx,
                    int f, int l, const C* w) {
  if (n <= 0 || f >= l) return;
  const bool up = is_u(uplo), nt = is_n(trans), cj = is_c(trans), unit = !is_n(diag);
  C* xs = x + first(n, incx);
  const int len = l - f;
  for (int i = f; i < l; ++i) xs[idx(i) * incx] = w[i];
  tr_block(up, !nt, cj, unit, len, a + idx(f) * lda + f, lda, xs + idx(f) * incx, incx);
  const char* gtrans = nt ? "N" : (cj ? "C" : "T");
  const C pone = one<C>();
  const int inc1 = 1;
  C* xb = sub(xs, f, len, incx);
  if (up && nt) {
    const int k = n - l;
    if (k > 0) ops<C>::gemv(gtrans, &len, &k, &pone, a + idx(l) * lda + f, &lda, w + l, &inc1, &pone, xb, &incx);
  } else if (nt) {
    if (f > 0) ops<C>::gemv(gtrans, &len, &f, &pone, a + f, &lda, w, &inc1, &pone, xb, &incx);
  } else if (up) {
    if (f > 0) ops<C>::gemv(gtrans, &f, &len, &pone, a + idx(f) * lda, &lda, w, &inc1, &pone, xb, &incx);
  } else {
    const int k = n - l;
    if (k > 0) ops<C>::gemv(gtrans, &k, &len, &pone, a + idx(f) * lda + l, &lda, w + l, &inc1, &pone, xb, &incx);
  }
}

}  // namespace
}  // namespace orb::l2

using namespace orb::l2;
using c8 = orb_complex8;
using c16 = orb_complex16;

// Unblocked solve kernels: uplo letter, trans letter, diag letter.
#define ORB_TRSV_R(t, T, u, tr, d, Up, Tr, Unit)                                                                \
  ORB_API void ORB_BLAS(t##trsv_##u##tr##d)(const int* n, const T* a, const int* lda, T* x, const int* incx) { \
    trsv_block<T, Up, Tr, Unit>(*n, a, *lda, x, *incx);                                                        \
  }
#define ORB_TRSV_REAL(ty, T)                            \
  ORB_TRSV_R(ty, T, l, n, n, false, false, false)       \
  ORB_TRSV_R(ty, T, l, n, u, false, false, true)        \
  ORB_TRSV_R(ty, T, l, t, n, false, true, false)        \
  ORB_TRSV_R(ty, T, l, t, u, false, true, true)         \
  ORB_TRSV_R(ty, T, u, n, n, true, false, false)        \
  ORB_TRSV_R(ty, T, u, n, u, true, false, true)         \
  ORB_TRSV_R(ty, T, u, t, n, true, true, false)         \
  ORB_TRSV_R(ty, T, u, t, u, true, true, true)
ORB_TRSV_REAL(s, float)
ORB_TRSV_REAL(d, double)

#define ORB_TRSV_C(t, C, u, tr, d, Up, Tr, Cj, Unit)                                                            \
  ORB_API void ORB_BLAS(t##trsv_##u##tr##d)(const int* n, const C* a, const int* lda, C* x, const int* incx) { \
    ctrsv_block<R<C>, Up, Tr, Cj, Unit>(*n, rp(a), *lda, rp(x), *incx);                                        \
  }
#define ORB_TRSV_COMPLEX(ty, C)                              \
  ORB_TRSV_C(ty, C, l, n, n, false, false, false, false)     \
  ORB_TRSV_C(ty, C, l, n, u, false, false, false, true)      \
  ORB_TRSV_C(ty, C, l, t, n, false, true, false, false)      \
  ORB_TRSV_C(ty, C, l, t, u, false, true, false, true)       \
  ORB_TRSV_C(ty, C, l, c, n, false, true, true, false)       \
  ORB_TRSV_C(ty, C, l, c, u, false, true, true, true)        \
  ORB_TRSV_C(ty, C, u, n, n, true, false, false, false)      \
  ORB_TRSV_C(ty, C, u, n, u, true, false, false, true)       \
  ORB_TRSV_C(ty, C, u, t, n, true, true, false, false)       \
  ORB_TRSV_C(ty, C, u, t, u, true, true, false, true)        \
  ORB_TRSV_C(ty, C, u, c, n, true, true, true, false)        \
  ORB_TRSV_C(ty, C, u, c, u, true, true, true, true)
ORB_TRSV_COMPLEX(c, c8)
ORB_TRSV_COMPLEX(z, c16)

// The driver picks the unblocked kernel of its letters.
#define ORB_TRSV_PICK_REAL(t, T)                                                                          \
  static void (*pick_##t(const char* uplo, const char* trans, const char* diag))(int, const T*, idx, T*, int) { \
    const bool up = is_u(uplo), tr = !is_n(trans), unit = !is_n(diag);                                  \
    if (up) {                                                                                             \
      if (tr) return unit ? &trsv_block<T, true, true, true> : &trsv_block<T, true, true, false>;         \
      return unit ? &trsv_block<T, true, false, true> : &trsv_block<T, true, false, false>;               \
    }                                                                                                     \
    if (tr) return unit ? &trsv_block<T, false, true, true> : &trsv_block<T, false, true, false>;         \
    return unit ? &trsv_block<T, false, false, true> : &trsv_block<T, false, false, false>;               \
  }
ORB_TRSV_PICK_REAL(s, float)
ORB_TRSV_PICK_REAL(d, double)

template <class C, bool Up, bool Tr, bool Cj, bool Unit>
static void csolve(int n, const C* a, idx lda, C* x, int inc) {
  ctrsv_block<R<C>, Up, Tr, Cj, Unit>(n, rp(a), lda, rp(x), inc);
}
template <class C>
static void (*pick_c(const char* uplo, const char* trans, const char* diag))(int, const C*, idx, C*, int) {
  const bool up = is_u(uplo), tr = !is_n(trans), cj = is_c(trans), unit = !is_n(diag);
#define ORB_PICK(U, T, J) \
  return unit ? &csolve<C, U, T, J, true> : &csolve<C, U, T, J, false>
  if (up) {
    if (!tr) ORB_PICK(true, false, false);
    if (cj) ORB_PICK(true, true, true);
    ORB_PICK(true, true, false);
  }
  if (!tr) ORB_PICK(false, false, false);
  if (cj) ORB_PICK(false, true, true);
  ORB_PICK(false, true, false);
#undef ORB_PICK
}

ORB_API void ORB_BLAS(xstrsv)(const char* uplo, const char* trans, const char* diag, const int* n, const float* a,
                              const int* lda, float* x, const int* incx) {
  if (*n > 0) trsv(uplo, trans, *n, a, *lda, x, *incx, pick_s(uplo, trans, diag));
}
ORB_API void ORB_BLAS(xdtrsv)(const char* uplo, const char* trans, const char* diag, const int* n, const double* a,
                              const int* lda, double* x, const int* incx) {
  if (*n > 0) trsv(uplo, trans, *n, a, *lda, x, *incx, pick_d(uplo, trans, diag));
}
ORB_API void ORB_BLAS(xctrsv)(const char* uplo, const char* trans, const char* diag, const int* n, const c8* a,
                              const int* lda, c8* x, const int* incx) {
  if (*n > 0) trsv(uplo, trans, *n, a, *lda, x, *incx, pick_c<c8>(uplo, trans, diag));
}
ORB_API void ORB_BLAS(xztrsv)(const char* uplo, const char* trans, const char* diag, const int* n, const c16* a,
                              const int* lda, c16* x, const int* incx) {
  if (*n > 0) trsv(uplo, trans, *n, a, *lda, x, *incx, pick_c<c16>(uplo, trans, diag));
}

#define ORB_TRMV(t, C)                                                                                           \
  ORB_API void ORB_BLAS(x##t##trmv)(const char* uplo, const char* trans, const char* diag, const int* n,        \
                                    const C* a, const int* lda, C* x, const int* incx) {                        \
    trmv(uplo, trans, diag, n, a, lda, x, incx);                                                                 \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##trmv_in)(const char* uplo, const char* trans, const char* diag, const int* n,        \
                                    const C* a, const int* lda, C* x, const int* incx) {                        \
    if (*n > 0)                                                                                                  \
      tr_block(is_u(uplo), !is_n(trans), is_c(trans), !is_n(diag), *n, a, *lda, x + first(*n, *incx), *incx);   \
  }                                                                                                              \
  ORB_API void ORB_BLAS(x##t##trmv_in_thread)(const char* uplo, const char* trans, const char* diag,            \
                                              const int* n, const C* a, const int* lda, C* x, const int* incx,  \
                                              const int* first, const int* last, const C* work) {               \
    trmv_in_thread(uplo, trans, diag, *n, a, *lda, x, *incx, *first, *last, work);                              \
  }
ORB_TRMV(s, float)
ORB_TRMV(d, double)
ORB_TRMV(c, c8)
ORB_TRMV(z, c16)
