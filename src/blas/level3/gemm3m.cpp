// x?gemm3m: a complex GEMM out of three real products instead of four.
//
// With alpha folded into A (A' = alpha op(A)), and B = op(B),
//   P1 = Re(A') Re(B),  P2 = Im(A') Im(B),
//   P3 = (Re(A') + Im(A')) (Re(B) + Im(B)),
//   C  = beta C + (P1 - P2, P3 - P1 - P2).
// The imaginary part is a difference of larger numbers, so it rounds less
// well than a plain complex product; whoever calls this form accepts that
// for the quarter of the multiplies saved.
//
// Small problems (fewer than 9 rows or columns, or k up to 8) go to the
// complex GEMM: there the split costs more than it saves. So does a call
// whose planes cannot be allocated, so a lack of memory changes the speed,
// never the meaning, of the result.
//
// The real products go through the public orb_blas_?gemm: they take the
// core's threads and whatever path of the engine their shapes call for.
#include <cstdint>

#include "blas/level3/gemm3m.hpp"
#include "orb/orb_blas.h"

namespace orb::level3 {
namespace {

using paths::real_of;
using std::ptrdiff_t;

// Layout of the working memory. The planes of A and of B are each three
// planes of kPlaneBytes in one block; the result planes hold a block of up
// to kRows rows of P1, P2 and P3 across all n columns.
constexpr std::size_t kPlaneBytes = 0xfa000;       // 1,024,000
constexpr std::size_t kOperandBytes = 3072000;     // three planes
constexpr std::size_t kResultColumnBytes = 8000;   // one column of one result plane
constexpr int kRows = 1000;                        // rows of C per block
constexpr int kAlign = 128;

template <class C> struct types;
template <> struct types<orb_complex8> {
  static constexpr const char* name = "CGEMM3M";
  static constexpr auto real_gemm = &orb_blas_sgemm;
  static constexpr auto complex_gemm = &orb_blas_cgemm;
};
template <> struct types<orb_complex16> {
  static constexpr const char* name = "ZGEMM3M";
  static constexpr auto real_gemm = &orb_blas_dgemm;
  static constexpr auto complex_gemm = &orb_blas_zgemm;
};

// The split of one block of op(X) into its three planes. Op is 'N', 'T' or
// 'C'; with `alpha` non-null and not exactly one, each element is first
// multiplied by it (the unit case copies, so that an infinity in X does not
// meet a zero part of alpha).
template <char Op, class R>
void split(int rows, int cols, const R* x, ptrdiff_t ldx, const R* alpha, R* re, R* im, R* sum, ptrdiff_t ldp) {
  const bool scaled = alpha != nullptr && !(alpha[0] == R(1) && alpha[1] == R(0));
  const R ar = scaled ? alpha[0] : R(1), ai = scaled ? alpha[1] : R(0);
  for (int j = 0; j < cols; ++j) {
    for (int i = 0; i < rows; ++i) {
      R vr, vi;
      op_element(Op, x, ldx, i, j, scaled, ar, ai, vr, vi);
      const ptrdiff_t at = i + j * ldp;
      re[at] = vr;
      im[at] = vi;
      sum[at] = vr + vi;
    }
  }
}

// C = beta C + (P1 - P2, P3 - P1 - P2) for a rows x cols block; the planes
// have leading dimension ldp. Beta exactly 0 stores the result alone, so
// that what C held (NaN included) is gone.
template <class R>
void combine(int rows, int cols, const R* p1, const R* p2, const R* p3, ptrdiff_t ldp, const R* beta, R* c,
             ptrdiff_t ldc) {
  const R br = beta[0], bi = beta[1];
  const bool zero = br == R(0) && bi == R(0), one = br == R(1) && bi == R(0);
  for (int j = 0; j < cols; ++j) {
    R* cj = c + 2 * j * ldc;
    for (int i = 0; i < rows; ++i) {
      const ptrdiff_t at = i + j * ldp;
      const R xr = p1[at] - p2[at];
      const R xi = (p3[at] - p1[at]) - p2[at];
      R cr = cj[2 * i], ci = cj[2 * i + 1];
      if (zero) {
        cr = xr, ci = xi;
      } else if (one) {
        cr = cr + xr, ci = ci + xi;
      } else {
        scale_by(br, bi, cr, ci);
        cr = cr + xr, ci = ci + xi;
      }
      cj[2 * i] = cr, cj[2 * i + 1] = ci;
    }
  }
}

template <class C>
using copya_fn = void (*)(int, int, const C*, int, const C*, typename real_of<C>::type*, typename real_of<C>::type*,
                          typename real_of<C>::type*, int);
template <class C>
using copyb_fn = void (*)(int, int, const C*, int, typename real_of<C>::type*, typename real_of<C>::type*,
                          typename real_of<C>::type*, int);

template <class C> struct copiers;
template <> struct copiers<orb_complex8> {
  static copya_fn<orb_complex8> a(char op) {
    return op == 'N' ? &ORB_BLAS(cgemm3m_copyan) : op == 'T' ? &ORB_BLAS(cgemm3m_copyat) : &ORB_BLAS(cgemm3m_copyac);
  }
  static copyb_fn<orb_complex8> b(char op) {
    return op == 'N' ? &ORB_BLAS(cgemm3m_copybn) : op == 'T' ? &ORB_BLAS(cgemm3m_copybt) : &ORB_BLAS(cgemm3m_copybc);
  }
};
template <> struct copiers<orb_complex16> {
  static copya_fn<orb_complex16> a(char op) {
    return op == 'N' ? &ORB_BLAS(zgemm3m_copyan) : op == 'T' ? &ORB_BLAS(zgemm3m_copyat) : &ORB_BLAS(zgemm3m_copyac);
  }
  static copyb_fn<orb_complex16> b(char op) {
    return op == 'N' ? &ORB_BLAS(zgemm3m_copybn) : op == 'T' ? &ORB_BLAS(zgemm3m_copybt) : &ORB_BLAS(zgemm3m_copybc);
  }
};

template <class C>
void gemm3m(const char* transa, const char* transb, const int* m, const int* n, const int* k, const C* alpha,
            const C* a, const int* lda, const C* b, const int* ldb, const C* beta, C* c, const int* ldc) {
  using R = typename real_of<C>::type;
  using Ty = types<C>;
  const int M = *m, N = *n, K = *k;
  if (M < 1 || N < 1) return;
  const ptrdiff_t LDC = *ldc;
  if (K < 1 || (alpha->re == R(0) && alpha->im == R(0))) {
    if (beta->re == R(1) && beta->im == R(0)) return;
    for (int j = 0; j < N; ++j) paths::scale_column_complex<R>(M, beta->re, beta->im, &c[j * LDC].re);
    return;
  }
  if (M < 9 || N < 9 || K <= 8) {
    Ty::complex_gemm(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    return;
  }
  const char ta = char(*transa & ~32), tb = char(*transb & ~32);
  const auto ok = [](char t) { return t == 'N' || t == 'T' || t == 'C'; };
  if (!ok(ta) || !ok(tb)) return;
  const copya_fn<C> copya = copiers<C>::a(ta);
  const copyb_fn<C> copyb = copiers<C>::b(tb);

  // The three blocks; when one cannot be had, the others go back and the
  // plain complex product does the work.
  const std::uint64_t result_bytes = std::uint64_t(N) * 3 * kResultColumnBytes;
  void* blocks[3] = {nullptr, nullptr, nullptr};
  const std::size_t sizes[3] = {kOperandBytes, kOperandBytes, std::size_t(result_bytes)};
  bool have = true;
  for (int i = 0; i < 3 && have; ++i) {
    if (i == 2 && result_bytes > SIZE_MAX) {
      have = false;
      break;
    }
    blocks[i] = orb_serv_allocate(sizes[i], kAlign);
    have = orb_serv_check_ptr_and_warn(blocks[i], Ty::name) == 0;
  }
  if (!have) {
    for (void* p : blocks)
      if (p) orb_serv_deallocate(p);
    Ty::complex_gemm(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    return;
  }
  const auto plane = [](void* block, std::size_t offset) {
    return reinterpret_cast<R*>(static_cast<char*>(block) + offset);
  };
  R* const ar = plane(blocks[0], 0);
  R* const ai = plane(blocks[0], kPlaneBytes);
  R* const as = plane(blocks[0], 2 * kPlaneBytes);
  R* const br = plane(blocks[1], 0);
  R* const bi = plane(blocks[1], kPlaneBytes);
  R* const bs = plane(blocks[1], 2 * kPlaneBytes);
  const std::size_t result_plane = std::size_t(N) * kResultColumnBytes;
  R* const p1 = plane(blocks[2], 0);
  R* const p2 = plane(blocks[2], result_plane);
  R* const p3 = plane(blocks[2], 2 * result_plane);

  // A strip of K is as deep as a plane of A holds for a full block of rows;
  // a strip of N as wide as a plane of B holds for a full strip of K.
  const int kstrip = int(kPlaneBytes / sizeof(R) / kRows);
  const int nstrip = int(kPlaneBytes / sizeof(R) / std::size_t(kstrip));
  const ptrdiff_t LDA = *lda, LDB = *ldb;
  const int ldr = kRows;
  const char* no = "N";
  const R one = R(1);
  for (int i0 = 0; i0 < M; i0 += kRows) {
    const int mb = M - i0 < kRows ? M - i0 : kRows;
    for (int l0 = 0; l0 < K; l0 += kstrip) {
      const int kb = K - l0 < kstrip ? K - l0 : kstrip;
      const C* ablock = ta == 'N' ? a + i0 + l0 * LDA : a + l0 + i0 * LDA;
      copya(mb, kb, ablock, int(LDA), alpha, ar, ai, as, mb);
      const R rbeta = l0 == 0 ? R(0) : R(1);
      for (int j0 = 0; j0 < N; j0 += nstrip) {
        const int nb = N - j0 < nstrip ? N - j0 : nstrip;
        const C* bblock = tb == 'N' ? b + l0 + j0 * LDB : b + j0 + l0 * LDB;
        copyb(kb, nb, bblock, int(LDB), br, bi, bs, kb);
        const ptrdiff_t at = ptrdiff_t(j0) * ldr;
        Ty::real_gemm(no, no, &mb, &nb, &kb, &one, ar, &mb, br, &kb, &rbeta, p1 + at, &ldr);
        Ty::real_gemm(no, no, &mb, &nb, &kb, &one, ai, &mb, bi, &kb, &rbeta, p2 + at, &ldr);
        Ty::real_gemm(no, no, &mb, &nb, &kb, &one, as, &mb, bs, &kb, &rbeta, p3 + at, &ldr);
      }
    }
    combine<R>(mb, N, p1, p2, p3, ldr, &beta->re, &c[i0].re, LDC);
  }
  for (void* p : blocks) orb_serv_deallocate(p);
}

}  // namespace
}  // namespace orb::level3

using orb::level3::split;

#define ORB_3M_COPIERS(t, C, R)                                                                       \
  void ORB_BLAS(t##gemm3m_copyan)(ORB_3M_COPYA_ARGS(C, R)) {                                          \
    split<'N'>(rows, cols, &x->re, ldx, &alpha->re, re, im, sum, ldp);                                 \
  }                                                                                                   \
  void ORB_BLAS(t##gemm3m_copyat)(ORB_3M_COPYA_ARGS(C, R)) {                                          \
    split<'T'>(rows, cols, &x->re, ldx, &alpha->re, re, im, sum, ldp);                                 \
  }                                                                                                   \
  void ORB_BLAS(t##gemm3m_copyac)(ORB_3M_COPYA_ARGS(C, R)) {                                          \
    split<'C'>(rows, cols, &x->re, ldx, &alpha->re, re, im, sum, ldp);                                 \
  }                                                                                                   \
  void ORB_BLAS(t##gemm3m_copybn)(ORB_3M_COPYB_ARGS(C, R)) {                                          \
    split<'N'>(rows, cols, &x->re, ldx, static_cast<const R*>(nullptr), re, im, sum, ldp);             \
  }                                                                                                   \
  void ORB_BLAS(t##gemm3m_copybt)(ORB_3M_COPYB_ARGS(C, R)) {                                          \
    split<'T'>(rows, cols, &x->re, ldx, static_cast<const R*>(nullptr), re, im, sum, ldp);             \
  }                                                                                                   \
  void ORB_BLAS(t##gemm3m_copybc)(ORB_3M_COPYB_ARGS(C, R)) {                                          \
    split<'C'>(rows, cols, &x->re, ldx, static_cast<const R*>(nullptr), re, im, sum, ldp);             \
  }
ORB_3M_COPIERS(c, orb_complex8, float)
ORB_3M_COPIERS(z, orb_complex16, double)
#undef ORB_3M_COPIERS

void ORB_BLAS(xcgemm3m)(const char* transa, const char* transb, const int* m, const int* n, const int* k,
                        const orb_complex8* alpha, const orb_complex8* a, const int* lda, const orb_complex8* b,
                        const int* ldb, const orb_complex8* beta, orb_complex8* c, const int* ldc) {
  orb::level3::gemm3m(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}
void ORB_BLAS(xzgemm3m)(const char* transa, const char* transb, const int* m, const int* n, const int* k,
                        const orb_complex16* alpha, const orb_complex16* a, const int* lda, const orb_complex16* b,
                        const int* ldb, const orb_complex16* beta, orb_complex16* c, const int* ldc) {
  orb::level3::gemm3m(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}
