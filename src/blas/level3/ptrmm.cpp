// Triangular product with a packed triangle: B := alpha op(A) B (side "L")
// or alpha B op(A) (side "R"), in place on B.
//
// The arguments are those of ?trmm with A in packed storage and no lda:
// (side, uplo, transa, diag, m, n, alpha, ap, b, ldb). The triangle has the
// order of its side (m for "L", n for "R") and is packed by columns as
// ?tpmv takes it: upper column j holds rows 0..j, lower column j rows
// j..order-1. With diag "U" its diagonal is not read.
//
// x?ptrmm unpacks the triangle into call-local scratch (?ptrmm_copya) and
// runs the blocked product of ?trmm on it; when the scratch cannot be had,
// ?ptrmm_pst computes the product reading the packed triangle in place.
#include <cstring>

#include "blas/level3/trxm.hpp"
#include "blas/level3/trxm_direct.hpp"

namespace orb::level3 {
namespace {

template <class T> struct trmm_of;
template <> struct trmm_of<float> {
  static constexpr auto trmm = ORB_BLAS(xstrmm);
};
template <> struct trmm_of<double> {
  static constexpr auto trmm = ORB_BLAS(xdtrmm);
};

template <class T>
void pst(const char* side, const char* uplo, const char* transa, const char* diag, const int* pm, const int* pn,
         const T* alpha, const T* ap, T* b, const int* ldb) {
  const int m = *pm, n = *pn;
  if (m < 1 || n < 1) return;
  direct::scale_all(m, n, *alpha, b, *ldb);
  if (engine::is_zero(*alpha)) return;
  const direct::letters l = direct::read_letters(side, uplo, transa, diag, false);
  const direct::packed_triangle<T> acc{ap, l.right ? n : m, l.upper};
  direct::product(l, m, n, acc, b, *ldb);
}

// Returns 1 when the scratch could not be had (nothing done), else 0.
template <class T>
int copya(const char* side, const char* uplo, const char* transa, const char* diag, const int* pm, const int* pn,
          const T* alpha, const T* ap, T* b, const int* ldb) {
  const int m = *pm, n = *pn;
  if (m < 1 || n < 1) return 0;
  const bool right = engine::upper_char(side) == 'R', upper = engine::upper_char(uplo) == 'U';
  const int k = right ? n : m;
  T* a = static_cast<T*>(orb_serv_allocate(sizeof(T) * std::size_t(k) * std::size_t(k), 128));
  if (!a) return 1;
  // The other triangle stays unset: the product never reads it.
  const direct::packed_triangle<T> acc{ap, k, upper};
  for (int j = 0; j < k; ++j) {
    const int r0 = upper ? 0 : j, r1 = upper ? j + 1 : k;
    std::memcpy(a + std::ptrdiff_t(j) * k + r0, acc.col(j) + r0, sizeof(T) * std::size_t(r1 - r0));
  }
  trmm_of<T>::trmm(side, uplo, transa, diag, pm, pn, alpha, a, &k, b, ldb);
  orb_serv_deallocate(a);
  return 0;
}

template <class T>
void xptrmm(const char* side, const char* uplo, const char* transa, const char* diag, const int* m, const int* n,
            const T* alpha, const T* ap, T* b, const int* ldb) {
  if (*m < 1 || *n < 1) return;
  if (engine::is_zero(*alpha)) {
    direct::scale_all(*m, *n, *alpha, b, *ldb);
    return;
  }
  if (copya<T>(side, uplo, transa, diag, m, n, alpha, ap, b, ldb) != 0)
    pst<T>(side, uplo, transa, diag, m, n, alpha, ap, b, ldb);
}

}  // namespace
}  // namespace orb::level3

using namespace orb::level3;

#define ORB_PTRMM_EXPORTS(T, t)                                                    \
  ORB_API void ORB_BLAS(x##t##ptrmm)(ORB_PTRX_ARGS(T)) {                           \
    xptrmm<T>(side, uplo, transa, diag, m, n, alpha, ap, b, ldb);                  \
  }                                                                                \
  ORB_API void ORB_BLAS(t##ptrmm_pst)(ORB_PTRX_ARGS(T)) {                          \
    pst<T>(side, uplo, transa, diag, m, n, alpha, ap, b, ldb);                     \
  }                                                                                \
  ORB_API int ORB_BLAS(t##ptrmm_copya)(ORB_PTRX_ARGS(T)) {                         \
    return copya<T>(side, uplo, transa, diag, m, n, alpha, ap, b, ldb);            \
  }
ORB_PTRMM_EXPORTS(float, s)
ORB_PTRMM_EXPORTS(double, d)
#undef ORB_PTRMM_EXPORTS
