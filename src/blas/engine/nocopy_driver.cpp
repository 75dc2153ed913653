// The no-copy driver: blocks of K, then M, then N, each handed to a
// register kernel that reads A and B where they lie. Only C is written.
//
// The first K block applies the call's beta; every later block adds to C.
// Block sizes come from the whole extent (see nocopy_block), so the order
// in which an element of C is summed depends on K alone: any sub-block of C
// run through this driver gives the same bits as the whole.
#include "blas/engine/engine.hpp"
#include "blas/engine/paths.hpp"

namespace orb::paths {
namespace {

using engine::blas_matrix;
using engine::blas_op_params;

struct trim {
  int limit, step, half;  // at or above limit: step; above half: half of it; else all
};
struct limits {
  trim k, m, n;
};
// A not transposed: long K blocks, narrow N blocks; A transposed: the
// strip is read across lda, so K blocks are shorter and N blocks wider.
template <class T> struct nocopy_limits;
template <> struct nocopy_limits<double> {
  static constexpr limits plain{{768, 384, 384}, {8064, 4032, 6048}, {128, 64, 96}};
  static constexpr limits trans{{384, 192, 192}, {8064, 4032, 6048}, {768, 384, 576}};
};
template <> struct nocopy_limits<float> {
  static constexpr limits plain{{768, 384, 384}, {16128, 8064, 12096}, {128, 64, 96}};
  static constexpr limits trans{{384, 192, 192}, {16128, 8064, 12096}, {768, 384, 576}};
};

template <class T> struct nocopy_tables;
#define ORB_NOCOPY_TABLE(T, x)                                                                           \
  template <> struct nocopy_tables<T> {                                                                  \
    using fn = void (*)(ORB_NOCOPY_ARGS(T));                                                             \
    /* index 8 (A "C") + 4 (A "T" or "C") + 2 (B "C") + (B "T" or "C"); "C" reads as "T" in a real type */ \
    static constexpr fn b0[16] = {                                                                       \
        ORB_BLAS(x##gemm_kernel_nocopy_NN_b0), ORB_BLAS(x##gemm_kernel_nocopy_NT_b0), 0,                 \
        ORB_BLAS(x##gemm_kernel_nocopy_NT_b0), ORB_BLAS(x##gemm_kernel_nocopy_TN_b0),                    \
        ORB_BLAS(x##gemm_kernel_nocopy_TT_b0), 0, ORB_BLAS(x##gemm_kernel_nocopy_TT_b0), 0, 0, 0, 0,    \
        ORB_BLAS(x##gemm_kernel_nocopy_TN_b0), ORB_BLAS(x##gemm_kernel_nocopy_TT_b0), 0,                 \
        ORB_BLAS(x##gemm_kernel_nocopy_TT_b0)};                                                          \
    static constexpr fn b1[16] = {                                                                       \
        ORB_BLAS(x##gemm_kernel_nocopy_NN_b1), ORB_BLAS(x##gemm_kernel_nocopy_NT_b1), 0,                 \
        ORB_BLAS(x##gemm_kernel_nocopy_NT_b1), ORB_BLAS(x##gemm_kernel_nocopy_TN_b1),                    \
        ORB_BLAS(x##gemm_kernel_nocopy_TT_b1), 0, ORB_BLAS(x##gemm_kernel_nocopy_TT_b1), 0, 0, 0, 0,    \
        ORB_BLAS(x##gemm_kernel_nocopy_TN_b1), ORB_BLAS(x##gemm_kernel_nocopy_TT_b1), 0,                 \
        ORB_BLAS(x##gemm_kernel_nocopy_TT_b1)};                                                          \
    static constexpr fn bn[16] = {                                                                       \
        ORB_BLAS(x##gemm_kernel_nocopy_NN_bn), ORB_BLAS(x##gemm_kernel_nocopy_NT_bn), 0,                 \
        ORB_BLAS(x##gemm_kernel_nocopy_NT_bn), ORB_BLAS(x##gemm_kernel_nocopy_TN_bn),                    \
        ORB_BLAS(x##gemm_kernel_nocopy_TT_bn), 0, ORB_BLAS(x##gemm_kernel_nocopy_TT_bn), 0, 0, 0, 0,    \
        ORB_BLAS(x##gemm_kernel_nocopy_TN_bn), ORB_BLAS(x##gemm_kernel_nocopy_TT_bn), 0,                 \
        ORB_BLAS(x##gemm_kernel_nocopy_TT_bn)};                                                          \
  };
ORB_NOCOPY_TABLE(double, d)
ORB_NOCOPY_TABLE(float, s)
#undef ORB_NOCOPY_TABLE

// The driver's work from the call's own values. Operator codes: 0 "N",
// 1 "T", 2 "C".
template <class T>
void nocopy_run(int ca, int cb, int m, int n, int k, const T* palpha, const T* a, int lda, const T* b, int ldb,
                const T* pbeta, T* c, int ldc) {
  if (m < 1 || n < 1) return;
  const T beta = *pbeta;
  if (k < 1 || *palpha == T(0)) {
    if (beta != T(1))
      for (int j = 0; j < n; ++j) scale_column(m, beta, c + ptrdiff_t(j) * ldc);
    return;
  }
  const int index = 8 * (ca == 2) + 4 * (ca != 0) + 2 * (cb == 2) + (cb != 0);
  using tables = nocopy_tables<T>;
  const auto first = beta == T(0) ? tables::b0[index] : beta == T(1) ? tables::b1[index] : tables::bn[index];
  const limits& lim = ca == 0 ? nocopy_limits<T>::plain : nocopy_limits<T>::trans;
  // The common small call is one block: no loops to set up, and the
  // factors go on by the caller's addresses.
  if (k <= lim.k.half && m <= lim.m.half && n <= lim.n.half) {
    first(m, n, k, palpha, a, lda, b, ldb, pbeta, c, ldc);
    return;
  }
  const T alpha = *palpha;
  const auto later = tables::b1[index];
  const int ks = nocopy_block(k, lim.k.limit, lim.k.step, lim.k.half);
  const int ms = nocopy_block(m, lim.m.limit, lim.m.step, lim.m.half);
  const int ns = nocopy_block(n, lim.n.limit, lim.n.step, lim.n.half);
  for (int p0 = 0; p0 < k; p0 += ks) {
    const int kb = k - p0 < ks ? k - p0 : ks;
    const auto kernel = p0 == 0 ? first : later;
    for (int i0 = 0; i0 < m; i0 += ms) {
      const int mb = m - i0 < ms ? m - i0 : ms;
      const T* ab = ca == 0 ? a + i0 + ptrdiff_t(p0) * lda : a + p0 + ptrdiff_t(i0) * lda;
      for (int j0 = 0; j0 < n; j0 += ns) {
        const int nb = n - j0 < ns ? n - j0 : ns;
        const T* bb = cb == 0 ? b + p0 + ptrdiff_t(j0) * ldb : b + j0 + ptrdiff_t(p0) * ldb;
        kernel(mb, nb, kb, &alpha, ab, lda, bb, ldb, &beta, c + i0 + ptrdiff_t(j0) * ldc, ldc);
      }
    }
  }
}

// Codes of the views: 0 "N", 1 "T", 2 "C"; anything else reads as "T".
inline int nocopy_code(int t) { return t == 0 || t == 3 ? 0 : t == 2 ? 2 : 1; }

template <class T>
int nocopy_driver(blas_op_params<T>* params, blas_matrix* av, blas_matrix* bv, blas_matrix* cv) {
  nocopy_run<T>(nocopy_code(params->transa), nocopy_code(params->transb), cv->rows, cv->cols, av->cols,
                &params->alpha, static_cast<const T*>(av->base), av->ld, static_cast<const T*>(bv->base), bv->ld,
                &params->beta, static_cast<T*>(cv->base), cv->ld);
  return 0;
}

}  // namespace

void nocopy_gemm(char ta, char tb, int m, int n, int k, const double* alpha, const double* a, int lda,
                 const double* b, int ldb, const double* beta, double* c, int ldc) {
  nocopy_run<double>(ta == 'N' ? 0 : ta == 'C' ? 2 : 1, tb == 'N' ? 0 : tb == 'C' ? 2 : 1, m, n, k, alpha, a, lda, b,
                     ldb, beta, c, ldc);
}
void nocopy_gemm(char ta, char tb, int m, int n, int k, const float* alpha, const float* a, int lda, const float* b,
                 int ldb, const float* beta, float* c, int ldc) {
  nocopy_run<float>(ta == 'N' ? 0 : ta == 'C' ? 2 : 1, tb == 'N' ? 0 : tb == 'C' ? 2 : 1, m, n, k, alpha, a, lda, b,
                    ldb, beta, c, ldc);
}
}  // namespace orb::paths

ORB_API int ORB_BLAS(xdgemm_nocopy_driver)(orb::engine::blas_op_params<double>* params, orb::engine::blas_matrix* a,
                                           orb::engine::blas_matrix* b, orb::engine::blas_matrix* c,
                                           orb::engine::gemm_buffers*, orb::engine::gemm_kernel_info<double>*) {
  return orb::paths::nocopy_driver(params, a, b, c);
}
ORB_API int ORB_BLAS(xsgemm_nocopy_driver)(orb::engine::blas_op_params<float>* params, orb::engine::blas_matrix* a,
                                           orb::engine::blas_matrix* b, orb::engine::blas_matrix* c,
                                           orb::engine::gemm_buffers*, orb::engine::gemm_kernel_info<float>*) {
  return orb::paths::nocopy_driver(params, a, b, c);
}
