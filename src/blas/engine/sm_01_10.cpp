// Tiny complex products: C += alpha op(A) op(B) for k from 1 to 10, each k
// with its own fully unrolled body. The entry sends only beta exactly (1, 0)
// here, so C is only added to.
//
// Each element is sum_p op(A)(i, p) op(B)(p, j), formed in order of p as
// sr = fma(xr, br, fma(-xi, bi, sr)), si = fma(xr, bi, fma(xi, br, si))
// from zero, then C += alpha * sum as o.re = fma(ar, sr, fma(-ai, si, o.re)),
// o.im = fma(ar, si, fma(ai, sr, o.im)): lane-wise fused steps, the same
// bits on every build.
#include <utility>

#include "blas/engine/paths.hpp"

namespace orb::paths {
namespace {

// The lanes hold C's elements as they lie, (re, im) pairs, so that no
// reordering is needed on the way in or out. Per K step each pair gets
// (xr, xr) and (xi, xi) of its op(A) element, (br, bi) and (-bi, br) of the
// op(B) element: acc = fma((xr, xr), (br, bi), fma((xi, xi), (-bi, br), acc))
// is the scalar form above lane by lane ((-xi) bi and xi (-bi) are the same
// product). At the end o = fma(acc, (ar, ar), fma(swap(acc), (-ai, ai), o)).
//
// K and the operators stay run-time values: unrolled for each of them the
// bodies took minutes to compile for nothing measurable.
constexpr int kSmMaxK = 10;
template <class T> struct sm_shape;
template <> struct sm_shape<float> { static constexpr int RV = 2; };   // 16 rows
template <> struct sm_shape<double> { static constexpr int RV = 3; };  // 12 rows

template <class T>
struct sm_ctx {
  using V = vec<T>;
  V odd, zero, va, vai;  // odd lanes 1 (else 0); alpha as (ar, ar), (-ai, ai)
  const T* b;
  ptrdiff_t bstep, bcol;  // reals between K steps, between columns of op(B)
  bool conj_b;
  T* c;
  ptrdiff_t ldc;  // reals
  int k, live;
};

// JN columns from j of one block of NV vectors of rows; xa holds (xr, xr)
// and (xi, xi) per K step and row vector.
template <class T, int NV, int JN>
__attribute__((noinline)) void sm_columns(const sm_ctx<T>& x, const vec<T> (*xa)[sm_shape<T>::RV][2], int j) {
  using V = vec<T>;
  constexpr int N = V::N;
  V acc[JN][NV];
#pragma GCC unroll 4
  for (int q = 0; q < JN; ++q)
#pragma GCC unroll 3
    for (int r = 0; r < NV; ++r) acc[q][r] = V::zero();
  const T* bj = x.b + j * x.bcol;
#pragma GCC unroll 2
  for (int p = 0; p < x.k; ++p) {
#pragma GCC unroll 4
    for (int q = 0; q < JN; ++q) {
      const T* e = bj + p * x.bstep + q * x.bcol;
      const T br = e[0], bi = x.conj_b ? -e[1] : e[1];
      const V vr = V::set1(br), vi = V::set1(bi);
      const V v = blend_gt(x.odd, x.zero, vi, vr);             // (br, bi)
      const V u = blend_gt(x.odd, x.zero, vr, V::set1(-bi));  // (-bi, br)
#pragma GCC unroll 3
      for (int r = 0; r < NV; ++r) acc[q][r] = fma(xa[p][r][0], v, fma(xa[p][r][1], u, acc[q][r]));
    }
  }
#pragma GCC unroll 4
  for (int q = 0; q < JN; ++q) {
    T* o = x.c + (j + q) * x.ldc;
#pragma GCC unroll 3
    for (int r = 0; r < NV; ++r) {
      const int l = x.live - r * N;
      const V cv = l >= N ? V::loadu(o + r * N) : V::load_mask(o + r * N, l);
      const V y = fma(acc[q][r], x.va, fma(swap_pairs(acc[q][r]), x.vai, cv));
      l >= N ? y.storeu(o + r * N) : y.store_mask(o + r * N, l);
    }
  }
}

// As many columns at once as the registers allow, so that their chains of
// fused steps overlap.
template <class T, int NV>
void sm_all_columns(const sm_ctx<T>& x, const vec<T> (*xa)[sm_shape<T>::RV][2], int n) {
  constexpr int JN = NV == 1 ? 4 : NV == 2 ? 3 : 2;
  int j = 0;
  for (; j + JN <= n; j += JN) sm_columns<T, NV, JN>(x, xa, j);
  const int rest = n - j;
  if constexpr (JN > 3) {
    if (rest == 3) return sm_columns<T, NV, 3>(x, xa, j);
  }
  if constexpr (JN > 2) {
    if (rest == 2) return sm_columns<T, NV, 2>(x, xa, j);
  }
  if (rest >= 1) sm_columns<T, NV, 1>(x, xa, j);
}

template <class T>
void sm_body(char ta, char tb, int m, int n, int K, T ar, T ai, const T* a, int lda, const T* b, int ldb, T* c,
             int ldc) {
  using V = vec<T>;
  constexpr int N = V::N, H = N / 2, RV = sm_shape<T>::RV;
  sm_ctx<T> x;
  x.odd = V::load(lane_patterns<T>::odd);
  x.vai = V::set1(ai) * V::load(lane_patterns<T>::minus_plus);  // (-ai, ai): exact
  x.zero = V::zero();
  x.va = V::set1(ar);
  x.b = b;
  x.bstep = tb == 'N' ? 2 : 2 * ptrdiff_t(ldb);
  x.bcol = tb == 'N' ? 2 * ptrdiff_t(ldb) : 2;
  x.conj_b = tb == 'C';
  x.ldc = 2 * ptrdiff_t(ldc);
  x.k = K;
  const T sa = ta == 'C' ? T(-1) : T(1);
  for (int i0 = 0; i0 < m; i0 += RV * H) {
    const int rows = m - i0 < RV * H ? m - i0 : RV * H;
    const int live = 2 * rows, nv = (live + N - 1) / N;
    // op(A) of the block as pairs (xr, xi), from where it lies when not
    // transposed, else gathered here.
    alignas(64) T at[kSmMaxK][RV * N];
    if (ta != 'N') {
      for (int p = 0; p < K; ++p)
        for (int r = 0; r < nv * H; ++r) {
          if (r < rows) {
            const T* e = a + 2 * (p + ptrdiff_t(i0 + r) * lda);
            at[p][2 * r] = e[0], at[p][2 * r + 1] = e[1];
          } else {
            at[p][2 * r] = 0, at[p][2 * r + 1] = 0;
          }
        }
    }
    V xa[kSmMaxK][RV][2];
    for (int p = 0; p < K; ++p)
      for (int r = 0; r < nv; ++r) {
        const int l = live - r * N;
        const T* src = a + 2 * (i0 + ptrdiff_t(p) * lda) + r * N;
        const V v = ta != 'N' ? V::load(&at[p][r * N]) : l >= N ? V::loadu(src) : V::load_mask(src, l);
        const V vs = swap_pairs(v);
        xa[p][r][0] = blend_gt(x.odd, x.zero, vs, v);  // (xr, xr)
        const V xi = blend_gt(x.odd, x.zero, v, vs);   // (xi, xi)
        xa[p][r][1] = ta == 'C' ? xi * V::set1(sa) : xi;
      }
    x.c = c + 2 * ptrdiff_t(i0);
    x.live = live;
    if (nv == 1) sm_all_columns<T, 1>(x, xa, n);
    else if (nv == 2) sm_all_columns<T, 2>(x, xa, n);
    else if constexpr (RV >= 3) sm_all_columns<T, 3>(x, xa, n);
  }
}

template <class C, int K>
void sm(const char* transa, const char* transb, const int* m, const int* n, const C* alpha, const C* a,
        const int* lda, const C* b, const int* ldb, C* c, const int* ldc) {
  using T = typename real_of<C>::type;
  // The operators are tested once; "T" is anything that is neither.
  const char ta = op_of(transa), tb = op_of(transb);
  if (*m < 1 || *n < 1) return;
  if (alpha->re == 0 && alpha->im == 0) return;  // beta is (1, 0): nothing to do
  sm_body<T>(ta, tb, *m, *n, K, alpha->re, alpha->im, reinterpret_cast<const T*>(a), *lda,
             reinterpret_cast<const T*>(b), *ldb, reinterpret_cast<T*>(c), *ldc);
}

}  // namespace
}  // namespace orb::paths

using namespace orb::paths;

#define ORB_SM_DEF(nn, K)                                                             \
  ORB_API void ORB_BLAS(cgemm_sm_##nn)(ORB_GEMM_ARGS(orb_complex8)) {                 \
    (void)k, (void)beta;                                                              \
    sm<orb_complex8, K>(transa, transb, m, n, alpha, a, lda, b, ldb, c, ldc);         \
  }                                                                                   \
  ORB_API void ORB_BLAS(zgemm_sm_##nn)(ORB_GEMM_ARGS(orb_complex16)) {                \
    (void)k, (void)beta;                                                              \
    sm<orb_complex16, K>(transa, transb, m, n, alpha, a, lda, b, ldb, c, ldc);        \
  }
ORB_SM_DEF(01, 1)
ORB_SM_DEF(02, 2)
ORB_SM_DEF(03, 3)
ORB_SM_DEF(04, 4)
ORB_SM_DEF(05, 5)
ORB_SM_DEF(06, 6)
ORB_SM_DEF(07, 7)
ORB_SM_DEF(08, 8)
ORB_SM_DEF(09, 9)
ORB_SM_DEF(10, 10)

namespace {
template <class C, class F>
void sm_dispatch(const F (&table)[10], ORB_GEMM_ARGS(C)) {
  table[*k - 1](transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}
}  // namespace

ORB_API void ORB_BLAS(cgemm_sm_01_10)(ORB_GEMM_ARGS(orb_complex8)) {
  using F = void (*)(ORB_GEMM_ARGS(orb_complex8));
  static constexpr F table[10] = {&ORB_BLAS(cgemm_sm_01), &ORB_BLAS(cgemm_sm_02), &ORB_BLAS(cgemm_sm_03),
                                  &ORB_BLAS(cgemm_sm_04), &ORB_BLAS(cgemm_sm_05), &ORB_BLAS(cgemm_sm_06),
                                  &ORB_BLAS(cgemm_sm_07), &ORB_BLAS(cgemm_sm_08), &ORB_BLAS(cgemm_sm_09),
                                  &ORB_BLAS(cgemm_sm_10)};
  // Outside the unrolled range: the direct routine, which honours any beta.
  if (*k < 1 || *k > 10) return ORB_BLAS(cgemm_pst)(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
  sm_dispatch<orb_complex8>(table, transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}
ORB_API void ORB_BLAS(zgemm_sm_01_10)(ORB_GEMM_ARGS(orb_complex16)) {
  using F = void (*)(ORB_GEMM_ARGS(orb_complex16));
  static constexpr F table[10] = {&ORB_BLAS(zgemm_sm_01), &ORB_BLAS(zgemm_sm_02), &ORB_BLAS(zgemm_sm_03),
                                  &ORB_BLAS(zgemm_sm_04), &ORB_BLAS(zgemm_sm_05), &ORB_BLAS(zgemm_sm_06),
                                  &ORB_BLAS(zgemm_sm_07), &ORB_BLAS(zgemm_sm_08), &ORB_BLAS(zgemm_sm_09),
                                  &ORB_BLAS(zgemm_sm_10)};
  // Outside the unrolled range: the direct routine, which honours any beta.
  if (*k < 1 || *k > 10) return ORB_BLAS(zgemm_pst)(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
  sm_dispatch<orb_complex16>(table, transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}
