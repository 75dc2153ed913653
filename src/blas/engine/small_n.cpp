// Narrow-n GEMM without packing.
//
// transa "T", transb "N" (dgemm_t_smalln, sgemm_t_smalln): every element of
// C is the dot product of a column of A with a column of B, so the kernels
// walk K down both columns with full vectors, fold the lanes at the end and
// apply alpha and beta once. Columns of C go in groups of three, never
// alone: the remainder n mod 3 is served first, in groups of two.
//
// Both "N" with n == 2 (dgemm_n_smalln): the two columns of B act as
// scalars and C's two columns are built as sums of scaled columns of A.
#include "blas/engine/paths.hpp"

namespace orb::paths {
namespace {

// Columns of A taken together in one pass down K.
constexpr int kAGroup = 4;

template <class T, bool B0, int W, int G>
void t_group(int k, T alpha, const T* a, int lda, int i, const T* b, int ldb, T beta, T* c, int ldc) {
  using V = vec<T>;
  constexpr int N = V::N;
  V acc[G][W];
  #pragma GCC unroll 16
  for (int g = 0; g < G; ++g)
    #pragma GCC unroll 16
    for (int w = 0; w < W; ++w) acc[g][w] = V::zero();
  const T* ac[G];
  #pragma GCC unroll 16
  for (int g = 0; g < G; ++g) ac[g] = a + ptrdiff_t(i + g) * lda;
  int p = 0;
  for (; p + N <= k; p += N) {
    V bv[W];
    #pragma GCC unroll 16
    for (int w = 0; w < W; ++w) bv[w] = V::loadu(b + p + ptrdiff_t(w) * ldb);
    #pragma GCC unroll 16
    for (int g = 0; g < G; ++g) {
      const V av = V::loadu(ac[g] + p);
      #pragma GCC unroll 16
      for (int w = 0; w < W; ++w) acc[g][w] = fma(av, bv[w], acc[g][w]);
    }
  }
  if (p < k) {
    const int r = k - p;
    V bv[W];
    #pragma GCC unroll 16
    for (int w = 0; w < W; ++w) bv[w] = V::load_mask(b + p + ptrdiff_t(w) * ldb, r);
    #pragma GCC unroll 16
    for (int g = 0; g < G; ++g) {
      const V av = V::load_mask(ac[g] + p, r);
      #pragma GCC unroll 16
      for (int w = 0; w < W; ++w) acc[g][w] = fma(av, bv[w], acc[g][w]);
    }
  }
  #pragma GCC unroll 16
  for (int g = 0; g < G; ++g)
    #pragma GCC unroll 16
    for (int w = 0; w < W; ++w) {
      T* o = c + (i + g) + ptrdiff_t(w) * ldc;
      const T s = alpha * simd::reduce_add(acc[g][w]);
      *o = B0 ? s : std::fma(beta, *o, s);
    }
}

template <class T, bool B0, int W>
void t_n23_width(int m, int k, T alpha, const T* a, int lda, const T* b, int ldb, T beta, T* c, int ldc) {
  int i = 0;
  for (; i + kAGroup <= m; i += kAGroup) t_group<T, B0, W, kAGroup>(k, alpha, a, lda, i, b, ldb, beta, c, ldc);
  for (; i < m; ++i) t_group<T, B0, W, 1>(k, alpha, a, lda, i, b, ldb, beta, c, ldc);
}

template <class T, bool B0>
void t_n23(const int* m, const int* k, const T* alpha, const T* a, const int* lda, const int* width, const T* b,
           const int* ldb, const T* beta, T* c, const int* ldc) {
  if (*m < 1) return;
  const T bt = B0 ? T(0) : *beta;
  switch (*width) {
    case 1: t_n23_width<T, B0, 1>(*m, *k, *alpha, a, *lda, b, *ldb, bt, c, *ldc); break;
    case 2: t_n23_width<T, B0, 2>(*m, *k, *alpha, a, *lda, b, *ldb, bt, c, *ldc); break;
    default: t_n23_width<T, B0, 3>(*m, *k, *alpha, a, *lda, b, *ldb, bt, c, *ldc); break;
  }
}

using n23_fn_d = void (*)(ORB_GEMM_T_N23_ARGS(double));
using n23_fn_s = void (*)(ORB_GEMM_T_N23_ARGS(float));

template <class T, class F>
void t_smalln(F plain, F b0, const int* m, const int* n, const int* k, const T* alpha, const T* a, const int* lda,
              const T* b, const int* ldb, const T* beta, T* c, const int* ldc) {
  if (*m < 1 || *n < 1) return;
  const F f = *beta == T(0) ? b0 : plain;
  int j = 0;
  auto call = [&](int w) {
    f(m, k, alpha, a, lda, &w, b + ptrdiff_t(j) * *ldb, ldb, beta, c + ptrdiff_t(j) * *ldc, ldc);
    j += w;
  };
  const int rest = *n % 3;
  if (rest == 2) call(2);
  else if (rest == 1 && *n >= 4) call(2), call(2);
  else if (rest == 1) call(1);  // n == 1: never from the entry, served all the same
  while (j < *n) call(3);
}

}  // namespace
}  // namespace orb::paths

namespace orb::paths {
namespace {

// n == 2, both "N": rows in blocks of 32, 16, 8, 4, 2, 1 (R vectors of L
// live rows each), K walked in order for every block.
template <bool B0, int R>
void n2_block(int live, int k, double alpha, const double* a, int lda, const double* b, int ldb, double beta,
              double* c, int ldc, int i) {
  using V = vec<double>;
  constexpr int N = V::N;
  V acc0[R], acc1[R];
  #pragma GCC unroll 16
  for (int r = 0; r < R; ++r) acc0[r] = V::zero(), acc1[r] = V::zero();
  const double* b1 = b + ldb;
  for (int p = 0; p < k; ++p) {
    const double* ap = a + i + ptrdiff_t(p) * lda;
    const V v0 = V::set1(b[p]), v1 = V::set1(b1[p]);
    #pragma GCC unroll 16
    for (int r = 0; r < R; ++r) {
      const int l = live - r * N;
      const V av = l >= N ? V::loadu(ap + r * N) : V::load_mask(ap + r * N, l);
      acc0[r] = fma(av, v0, acc0[r]);
      acc1[r] = fma(av, v1, acc1[r]);
    }
  }
  const V va = V::set1(alpha), vb = V::set1(beta);
  #pragma GCC unroll 16
  for (int q = 0; q < 2; ++q) {
    double* cc = c + i + ptrdiff_t(q) * ldc;
    const V* acc = q == 0 ? acc0 : acc1;
    #pragma GCC unroll 16
    for (int r = 0; r < R; ++r) {
      const int l = live - r * N;
      if (B0) {
        const V o = va * acc[r];
        l >= N ? o.storeu(cc + r * N) : o.store_mask(cc + r * N, l);
      } else {
        const V cv = l >= N ? V::loadu(cc + r * N) : V::load_mask(cc + r * N, l);
        const V o = fma(va, acc[r], vb * cv);
        l >= N ? o.storeu(cc + r * N) : o.store_mask(cc + r * N, l);
      }
    }
  }
}

template <bool B0>
void n_smalln(int m, int k, double alpha, const double* a, int lda, const double* b, int ldb, double beta,
              double* c, int ldc) {
  int i = 0;
  for (; i + 32 <= m; i += 32) n2_block<B0, 4>(32, k, alpha, a, lda, b, ldb, beta, c, ldc, i);
  if (m - i >= 16) n2_block<B0, 2>(16, k, alpha, a, lda, b, ldb, beta, c, ldc, i), i += 16;
  for (int step = 8; step >= 1; step /= 2)
    if (m - i >= step) n2_block<B0, 1>(step, k, alpha, a, lda, b, ldb, beta, c, ldc, i), i += step;
}

}  // namespace
}  // namespace orb::paths

using namespace orb::paths;

ORB_API void ORB_BLAS(dgemm_t_n23)(ORB_GEMM_T_N23_ARGS(double)) { t_n23<double, false>(m, k, alpha, a, lda, width, b, ldb, beta, c, ldc); }
ORB_API void ORB_BLAS(dgemm_t_n23_b0)(ORB_GEMM_T_N23_ARGS(double)) { t_n23<double, true>(m, k, alpha, a, lda, width, b, ldb, beta, c, ldc); }
ORB_API void ORB_BLAS(sgemm_t_n23)(ORB_GEMM_T_N23_ARGS(float)) { t_n23<float, false>(m, k, alpha, a, lda, width, b, ldb, beta, c, ldc); }
ORB_API void ORB_BLAS(sgemm_t_n23_b0)(ORB_GEMM_T_N23_ARGS(float)) { t_n23<float, true>(m, k, alpha, a, lda, width, b, ldb, beta, c, ldc); }

ORB_API void ORB_BLAS(dgemm_t_smalln)(ORB_GEMM_ARGS(double)) {
  (void)transa, (void)transb;
  t_smalln<double, n23_fn_d>(&ORB_BLAS(dgemm_t_n23), &ORB_BLAS(dgemm_t_n23_b0), m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}
ORB_API void ORB_BLAS(sgemm_t_smalln)(ORB_GEMM_ARGS(float)) {
  (void)transa, (void)transb;
  t_smalln<float, n23_fn_s>(&ORB_BLAS(sgemm_t_n23), &ORB_BLAS(sgemm_t_n23_b0), m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

ORB_API void ORB_BLAS(dgemm_n_smalln)(ORB_GEMM_ARGS(double)) {
  (void)transa, (void)transb;
  if (*m < 1 || *n < 1) return;
  // The entry sends only n == 2; any other n goes the direct way.
  if (*n != 2) return ORB_BLAS(dgemm_pst)(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
  if (*beta == 0.0) n_smalln<true>(*m, *k, *alpha, a, *lda, b, *ldb, 0.0, c, *ldc);
  else n_smalln<false>(*m, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);
}
