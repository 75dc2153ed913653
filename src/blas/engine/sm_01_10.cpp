// Tiny complex products: C += alpha op(A) op(B) for k from 1 to 10, each k
// with its own fully unrolled body. The entry sends only beta exactly (1, 0)
// here, so C is only added to.
//
// Each element is sum_p op(A)(i, p) op(B)(p, j), formed in order of p with
// one fused step per real part, then C += alpha * sum: scalar arithmetic,
// the same bits on every build.
#include <utility>

#include "blas/engine/paths.hpp"

namespace orb::paths {
namespace {

template <class T, int K, char TA, char TB>
void sm_body(int m, int n, T ar, T ai, const T* a, int lda, const T* b, int ldb, T* c, int ldc) {
  constexpr T sa = TA == 'C' ? T(-1) : T(1), sb = TB == 'C' ? T(-1) : T(1);
  for (int j = 0; j < n; ++j) {
    // op(B)(:, j) for this column, loaded once.
    T br[K], bi[K];
    [&]<std::size_t... P>(std::index_sequence<P...>) {
      ((br[P] = TB == 'N' ? b[2 * (P + ptrdiff_t(j) * ldb)] : b[2 * (j + ptrdiff_t(P) * ldb)]), ...);
      ((bi[P] = sb * (TB == 'N' ? b[2 * (P + ptrdiff_t(j) * ldb) + 1] : b[2 * (j + ptrdiff_t(P) * ldb) + 1])), ...);
    }(std::make_index_sequence<K>{});
    for (int i = 0; i < m; ++i) {
      T sr = 0, si = 0;
      [&]<std::size_t... P>(std::index_sequence<P...>) {
        auto step = [&](std::size_t p) {
          const T* e = TA == 'N' ? a + 2 * (i + ptrdiff_t(p) * lda) : a + 2 * (p + ptrdiff_t(i) * lda);
          const T xr = e[0], xi = sa * e[1];
          sr = std::fma(xr, br[p], std::fma(-xi, bi[p], sr));
          si = std::fma(xr, bi[p], std::fma(xi, br[p], si));
        };
        (step(P), ...);
      }(std::make_index_sequence<K>{});
      T* o = c + 2 * (i + ptrdiff_t(j) * ldc);
      o[0] = std::fma(ar, sr, std::fma(-ai, si, o[0]));
      o[1] = std::fma(ar, si, std::fma(ai, sr, o[1]));
    }
  }
}

template <class C, int K>
void sm(const char* transa, const char* transb, const int* m, const int* n, const C* alpha, const C* a,
        const int* lda, const C* b, const int* ldb, C* c, const int* ldc) {
  using T = typename real_of<C>::type;
  // The operators are tested once; "T" is anything that is neither.
  const char ta = orb_serv_lsame(transa, "N", 1, 1) ? 'N' : orb_serv_lsame(transa, "C", 1, 1) ? 'C' : 'T';
  const char tb = orb_serv_lsame(transb, "N", 1, 1) ? 'N' : orb_serv_lsame(transb, "C", 1, 1) ? 'C' : 'T';
  if (*m < 1 || *n < 1) return;
  if (alpha->re == 0 && alpha->im == 0) return;  // beta is (1, 0): nothing to do
  const T* ap = reinterpret_cast<const T*>(a);
  const T* bp = reinterpret_cast<const T*>(b);
  T* cp = reinterpret_cast<T*>(c);
  const T ar = alpha->re, ai = alpha->im;
#define ORB_SM_PAIR(x, y)                                                            \
  if (ta == x && tb == y) return sm_body<T, K, x, y>(*m, *n, ar, ai, ap, *lda, bp, *ldb, cp, *ldc);
  ORB_SM_PAIR('N', 'N') ORB_SM_PAIR('N', 'T') ORB_SM_PAIR('N', 'C')
  ORB_SM_PAIR('T', 'N') ORB_SM_PAIR('T', 'T') ORB_SM_PAIR('T', 'C')
  ORB_SM_PAIR('C', 'N') ORB_SM_PAIR('C', 'T') ORB_SM_PAIR('C', 'C')
#undef ORB_SM_PAIR
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
