// Direct GEMM: no buffers, no block loops. It serves shapes too thin for
// packing to pay, and it is the path every packed driver falls back to when
// it cannot get memory, so it takes any sizes, operators, alpha and beta,
// and allocates nothing.
//
// Columns of C go in pairs (then an odd one), rows in vector steps with a
// masked tail, and K is walked in order. Every element of C is one chain of
// fused multiply-adds over K, then C = alpha * sum + beta * C with beta
// applied to C first; the result thus does not depend on where the element
// sits in the row or column walk.
#include "blas/engine/paths.hpp"

namespace orb::paths {
namespace {

// op(A)(i.., p) for R vectors of rows starting at row i, `live` rows in all.
template <class T, int R>
struct a_strip {
  using V = vec<T>;
  static constexpr int N = V::N;
  static void load(V (&av)[R], bool trans, const T* a, int lda, int i, int p, int live) {
    #pragma GCC unroll 16
    for (int r = 0; r < R; ++r) {
      const int l = live - r * N;
      if (!trans) {
        const T* src = a + i + r * N + ptrdiff_t(p) * lda;
        av[r] = l >= N ? V::loadu(src) : V::load_mask(src, l);
      } else {
        av[r] = V::gather(a + p + ptrdiff_t(i + r * N) * lda, lda, l >= N ? N : l);
      }
    }
  }
};

template <class T, int R>
void pst_real_block(bool ta, bool tb, int live, int ncols, int k, T alpha, const T* a, int lda, const T* b,
                    int ldb, T* c, int ldc, int i, int j) {
  using V = vec<T>;
  constexpr int N = V::N;
  V acc0[R], acc1[R];
  #pragma GCC unroll 16
  for (int r = 0; r < R; ++r) acc0[r] = V::zero(), acc1[r] = V::zero();
  const T* b0 = tb ? b + j : b + ptrdiff_t(j) * ldb;
  const T* b1 = tb ? b + j + 1 : b + ptrdiff_t(j + 1) * ldb;
  const ptrdiff_t bstep = tb ? ldb : 1;
  V av[R];
  if (ncols == 2) {
    for (int p = 0; p < k; ++p) {
      a_strip<T, R>::load(av, ta, a, lda, i, p, live);
      const V v0 = V::set1(b0[p * bstep]), v1 = V::set1(b1[p * bstep]);
      #pragma GCC unroll 16
      for (int r = 0; r < R; ++r) acc0[r] = fma(av[r], v0, acc0[r]), acc1[r] = fma(av[r], v1, acc1[r]);
    }
  } else {
    for (int p = 0; p < k; ++p) {
      a_strip<T, R>::load(av, ta, a, lda, i, p, live);
      const V v0 = V::set1(b0[p * bstep]);
      #pragma GCC unroll 16
      for (int r = 0; r < R; ++r) acc0[r] = fma(av[r], v0, acc0[r]);
    }
  }
  const V va = V::set1(alpha);
  for (int jj = 0; jj < ncols; ++jj) {
    T* cc = c + i + ptrdiff_t(j + jj) * ldc;
    const V* acc = jj == 0 ? acc0 : acc1;
    #pragma GCC unroll 16
    for (int r = 0; r < R; ++r) {
      const int l = live - r * N;
      if (l >= N) fma(va, acc[r], V::loadu(cc + r * N)).storeu(cc + r * N);
      else if (l > 0) fma(va, acc[r], V::load_mask(cc + r * N, l)).store_mask(cc + r * N, l);
    }
  }
}

template <class T>
void pst_real(const char* transa, const char* transb, int m, int n, int k, T alpha, const T* a, int lda,
              const T* b, int ldb, T beta, T* c, int ldc) {
  using V = vec<T>;
  constexpr int N = V::N;
  if (m < 1 || n < 1) return;
  const bool ta = op_of(transa) != 'N', tb = op_of(transb) != 'N';
  const bool product = alpha != T(0) && k > 0;
  for (int j = 0; j < n; j += 2) {
    const int nc = n - j >= 2 ? 2 : 1;
    for (int jj = 0; jj < nc; ++jj) scale_column(m, beta, c + ptrdiff_t(j + jj) * ldc);
    if (!product) continue;
    int i = 0;
    for (; i + 4 * N <= m; i += 4 * N) pst_real_block<T, 4>(ta, tb, 4 * N, nc, k, alpha, a, lda, b, ldb, c, ldc, i, j);
    for (; i + N <= m; i += N) pst_real_block<T, 1>(ta, tb, N, nc, k, alpha, a, lda, b, ldb, c, ldc, i, j);
    if (i < m) pst_real_block<T, 1>(ta, tb, m - i, nc, k, alpha, a, lda, b, ldb, c, ldc, i, j);
  }
}

// Complex: a vector holds N/2 interleaved elements. Each output keeps two
// accumulators, sum a * re(b) and sum a * im(b), combined with the signs of
// the operators at the end.
template <class T, int R>
void pst_complex_block(char ta, char tb, int live, int ncols, int k, T ar, T ai, const T* a, int lda,
                       const T* b, int ldb, T* c, int ldc, int i, int j) {
  using V = vec<T>;
  constexpr int N = V::N, H = N / 2;
  V accr[2][R], acci[2][R];
  #pragma GCC unroll 16
  for (int q = 0; q < 2; ++q)
    #pragma GCC unroll 16
    for (int r = 0; r < R; ++r) accr[q][r] = V::zero(), acci[q][r] = V::zero();
  const bool trans_a = ta != 'N', trans_b = tb != 'N';
  const ptrdiff_t bstep = trans_b ? 2 * ptrdiff_t(ldb) : 2;
  const T* bc[2] = {trans_b ? b + 2 * ptrdiff_t(j) : b + 2 * ptrdiff_t(j) * ldb,
                    trans_b ? b + 2 * ptrdiff_t(j + 1) : b + 2 * ptrdiff_t(j + 1) * ldb};
  for (int p = 0; p < k; ++p) {
    V av[R];
    #pragma GCC unroll 16
    for (int r = 0; r < R; ++r) {
      const int l = live - r * H;  // complex elements in this vector
      if (!trans_a) {
        const T* src = a + 2 * (i + r * H + ptrdiff_t(p) * lda);
        av[r] = l >= H ? V::loadu(src) : V::load_mask(src, l > 0 ? 2 * l : 0);
      } else {
        alignas(64) T t[N] = {};
        for (int e = 0; e < H && e < l; ++e) {
          const T* s = a + 2 * (p + ptrdiff_t(i + r * H + e) * lda);
          t[2 * e] = s[0], t[2 * e + 1] = s[1];
        }
        av[r] = V::load(t);
      }
    }
    #pragma GCC unroll 16
    for (int q = 0; q < ncols; ++q) {
      const T* bp = bc[q] + p * bstep;
      const V vr = V::set1(bp[0]), vi = V::set1(bp[1]);
      #pragma GCC unroll 16
      for (int r = 0; r < R; ++r) accr[q][r] = fma(av[r], vr, accr[q][r]), acci[q][r] = fma(av[r], vi, acci[q][r]);
    }
  }
  const bool ca = ta == 'C', cb = tb == 'C';
  #pragma GCC unroll 16
  for (int q = 0; q < ncols; ++q) {
    T* cc = c + 2 * (i + ptrdiff_t(j + q) * ldc);
    #pragma GCC unroll 16
    for (int r = 0; r < R; ++r) {
      alignas(64) T x[N], y[N];
      accr[q][r].store(x);
      acci[q][r].store(y);
      for (int e = 0; e < H && r * H + e < live; ++e) {
        // x = (sum ar br, sum ai br), y = (sum ar bi, sum ai bi)
        const T xr = x[2 * e], xi = x[2 * e + 1], yr = y[2 * e], yi = y[2 * e + 1];
        T tr, ti;
        if (!ca && !cb) tr = xr - yi, ti = xi + yr;
        else if (ca && !cb) tr = xr + yi, ti = yr - xi;
        else if (!ca && cb) tr = xr + yi, ti = xi - yr;
        else tr = xr - yi, ti = -(xi + yr);
        T* o = cc + 2 * (r * H + e);
        o[0] = std::fma(ar, tr, std::fma(-ai, ti, o[0]));
        o[1] = std::fma(ar, ti, std::fma(ai, tr, o[1]));
      }
    }
  }
}

template <class C>
void pst_complex(const char* transa, const char* transb, int m, int n, int k, const C& alpha, const C* a,
                 int lda, const C* b, int ldb, const C& beta, C* c, int ldc) {
  using T = typename real_of<C>::type;
  constexpr int H = vec<T>::N / 2;
  if (m < 1 || n < 1) return;
  const char ta = op_of(transa), tb = op_of(transb);
  const bool product = (alpha.re != T(0) || alpha.im != T(0)) && k > 0;
  const T* ap = reinterpret_cast<const T*>(a);
  const T* bp = reinterpret_cast<const T*>(b);
  T* cp = reinterpret_cast<T*>(c);
  for (int j = 0; j < n; j += 2) {
    const int nc = n - j >= 2 ? 2 : 1;
    for (int jj = 0; jj < nc; ++jj) scale_column_complex(m, beta.re, beta.im, cp + 2 * ptrdiff_t(j + jj) * ldc);
    if (!product) continue;
    int i = 0;
    for (; i + 2 * H <= m; i += 2 * H)
      pst_complex_block<T, 2>(ta, tb, 2 * H, nc, k, alpha.re, alpha.im, ap, lda, bp, ldb, cp, ldc, i, j);
    for (; i < m; i += H)
      pst_complex_block<T, 1>(ta, tb, m - i < H ? m - i : H, nc, k, alpha.re, alpha.im, ap, lda, bp, ldb, cp, ldc, i, j);
  }
}

}  // namespace
}  // namespace orb::paths

using namespace orb::paths;

ORB_API void ORB_BLAS(sgemm_pst)(ORB_GEMM_ARGS(float)) {
  pst_real(transa, transb, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);
}
ORB_API void ORB_BLAS(dgemm_pst)(ORB_GEMM_ARGS(double)) {
  pst_real(transa, transb, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);
}
ORB_API void ORB_BLAS(cgemm_pst)(ORB_GEMM_ARGS(orb_complex8)) {
  pst_complex(transa, transb, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);
}
ORB_API void ORB_BLAS(zgemm_pst)(ORB_GEMM_ARGS(orb_complex16)) {
  pst_complex(transa, transb, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);
}
