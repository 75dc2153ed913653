// SYMM and HEMM: C := alpha A B + beta C (side left) or alpha B A + beta C
// (side right), A symmetric or Hermitian with one triangle stored.
//
// On the engine this is a GEMM whose copier reads the stored triangle and
// writes the full matrix into the panel: the element of the other triangle
// is read at its mirror position (conjugated for HEMM, whose diagonal is
// taken as real). The factor is applied exactly as the general copiers
// apply it, so the result has the bits of x?gemm_packed on the explicitly
// mirrored matrix. Small problems and calls without panel memory take the
// direct form (syx_direct.hpp), which reads the stored triangle in place and
// keeps the same arithmetic, hence the same bits.
#include <type_traits>

#include "blas/level3/syx_direct.hpp"

namespace orb::level3 {

using namespace orb::engine;

namespace {

inline int min_int(int x, int y) { return x < y ? x : y; }
inline int max_int(int x, int y) { return x > y ? x : y; }
inline char up(const char* t) { return char(*t & ~32); }

// The engine's general copiers of each type: A as stored, transposed and
// conjugate transposed; B likewise (the real types have no conjugate).
template <class T> struct plain_copy;
#define ORB_PLAIN_COPY(T, t, ac, bc)                                 \
  template <> struct plain_copy<T> {                                 \
    static constexpr copy_fn<T> an = ORB_BLAS(t##gemm_copyan);       \
    static constexpr copy_fn<T> at = ORB_BLAS(t##gemm_copyat);       \
    static constexpr copy_fn<T> ac_ = ac;                            \
    static constexpr copy_fn<T> bn = ORB_BLAS(t##gemm_copybn);       \
    static constexpr copy_fn<T> bt = ORB_BLAS(t##gemm_copybt);       \
    static constexpr copy_fn<T> bc_ = bc;                            \
  };
ORB_PLAIN_COPY(float, s, ORB_BLAS(sgemm_copyat), ORB_BLAS(sgemm_copybt))
ORB_PLAIN_COPY(double, d, ORB_BLAS(dgemm_copyat), ORB_BLAS(dgemm_copybt))
ORB_PLAIN_COPY(orb_complex8, c, ORB_BLAS(cgemm_copyac), ORB_BLAS(cgemm_copybc))
ORB_PLAIN_COPY(orb_complex16, z, ORB_BLAS(zgemm_copyac), ORB_BLAS(zgemm_copybc))
#undef ORB_PLAIN_COPY

}  // namespace

// The panel is cut as the general copiers cut it: panels of the register
// tile's width, then one of each power of two below it. Each panel meets the
// diagonal in one square of its own width; along K, the part before that
// square and the part after it lie wholly in one triangle each. Those two
// parts go to the engine's own copiers, reading the stored triangle as
// stored or transposed (conjugated for HEMM), so they move as fast as a
// GEMM operand and apply the factor the same way; only the square is
// copied element by element, where HEMM also takes the diagonal as real.
template <class T, bool Lower, bool Left, bool Herm>
void mirror_copy(const blas_matrix* src, blas_matrix* panel, const T* factor) {
  using P = plain_copy<T>;
  constexpr int W = Left ? gemm_traits<T>::unroll_m : gemm_traits<T>::unroll_n;
  const T* a = static_cast<const T*>(src->base);
  const std::ptrdiff_t ld = src->ld;
  // First index of the long side and of K in the whole matrix.
  const int g0 = Left ? src->pack_unit : src->pack_width;
  const int q0 = Left ? src->pack_width : src->pack_unit;
  const int k = Left ? src->cols : src->rows;
  const int L = Left ? src->rows : src->cols;
  panel->rows = k;
  panel->cols = L;
  if (k < 1 || L < 1) return;
  T* dst = static_cast<T*>(panel->base);
  const int mode = direct::factor_mode(*factor);
  // Element (long g, K q) of the operand lies in the stored triangle as
  // stored when q comes before g's square (side left, lower; side right,
  // upper), otherwise when it comes after.
  constexpr bool stored_before = Left == Lower;
  const copy_fn<T> as_stored = Left ? P::an : P::bn;
  const copy_fn<T> mirrored = Herm ? (Left ? P::ac_ : P::bc_) : (Left ? P::at : P::bt);
  int r0 = 0;
  auto one_panel = [&](int w) {
    T* d = dst + std::ptrdiff_t(r0) * k;
    const int s0 = g0 + r0, s1 = s0 + w;
    // K stretches before, in and after the square [s0, s1).
    const int b1 = min_int(q0 + k, s0), m0 = max_int(q0, s0), m1 = min_int(q0 + k, s1), a0 = max_int(q0, s1);
    auto part = [&](int qa, int qb, bool stored) {
      if (qb <= qa) return;
      blas_matrix from = *src;
      from.ld = int(ld);
      // Stored: (g, q) side left, (q, g) side right, at its place; mirrored:
      // read from the other triangle.
      const bool row_is_g = Left == stored;
      from.base = const_cast<T*>(row_is_g ? a + s0 + std::ptrdiff_t(qa) * ld : a + qa + std::ptrdiff_t(s0) * ld);
      from.rows = Left ? w : qb - qa;
      from.cols = Left ? qb - qa : w;
      blas_matrix to = *panel;
      to.base = d + std::ptrdiff_t(qa - q0) * w;
      (stored ? as_stored : mirrored)(&from, &to, factor);
    };
    part(q0, b1, stored_before);
    part(a0, q0 + k, !stored_before);
    // The square: in K column q the rows from the diagonal on (side left,
    // lower; side right, upper) or up to it are stored at their place.
    auto square = [&](auto mode_tag) {
      constexpr int M = decltype(mode_tag)::value;
      const T f = *factor;
      for (int q = m0; q < m1; ++q) {
        const int rd = q - s0;
        T* dq = d + std::ptrdiff_t(q - q0) * w;
        for (int r = 0; r < w; ++r) {
          const int g = s0 + r;
          const bool stored = stored_before ? r >= rd : r <= rd;
          T v = stored == Left ? a[g + q * ld] : a[q + g * ld];
          if constexpr (Herm) {
            if (!stored) v = conj_of(v);
            if (r == rd) real_diagonal(v);
          }
          dq[r] = direct::by_factor(M, f, v);
        }
      }
    };
    if (mode == direct::f_one) square(std::integral_constant<int, direct::f_one>{});
    else if (mode == direct::f_minus) square(std::integral_constant<int, direct::f_minus>{});
    else square(std::integral_constant<int, direct::f_any>{});
    r0 += w;
  };
  while (r0 + W <= L) one_panel(W);
  const int rest = L - r0;
  for (int w = 8; w >= 1; w /= 2)
    if (w < W && (rest & w)) one_panel(w);
}

namespace {

// A view of the block (i, j) of the stored matrix for the mirroring copiers.
inline blas_matrix mirror_block(const blas_matrix& s, int i, int j, int rows, int cols) {
  blas_matrix v = s;
  v.rows = rows;
  v.cols = cols;
  v.pack_unit = i;
  v.pack_width = j;
  return v;
}

inline blas_matrix panel_at(const blas_matrix& p, int kb, int r) {
  blas_matrix v = p;
  v.rows = kb;
  v.base = getPointer_buffer(0, r, &v);
  return v;
}

}  // namespace

// The packed driver of SYMM and HEMM: a (the stored matrix) and b (the
// general one) as the public routine has them; by side, they become the
// engine's first and second operands.
template <class T>
int symm_driver(blas_op_params<T>* params, blas_matrix* a, blas_matrix* b, blas_matrix* c, gemm_buffers*,
                gemm_kernel_info<T>* info) {
  const bool left = params->side != 1;
  blas_matrix* opa = left ? a : b;
  blas_matrix* opb = left ? b : a;
  const int M = c->rows, N = c->cols, K = opa->cols;
  if (M < 1 || N < 1) return 0;
  const T alpha = params->alpha;
  T beta = params->beta;
  if (!is_one(beta) && !is_zero(beta)) {
    info->scale_c(c, &beta);
    beta = one<T>();
    params->beta = beta;
  }
  if (is_zero(alpha) || K < 1) {
    if (is_zero(beta)) info->scale_c(c, &beta);
    return 0;
  }
  gemm_buffers buf;
  initialize_buffers<T>(opa, opb, &info->strategy, &buf);
  buf.get_bufs(&buf);
  if (orb_serv_check_ptr_and_warn(buf.block, info->name)) {
    info->fallback(params, a, b, c);
    return 0;
  }
  const int mblk = buf.m_block, nblk = buf.n_block, kblk = buf.k_block;
  const T onev = one<T>();
  for (int p0 = 0; p0 < K; p0 += kblk) {
    const int kb = min_int(kblk, K - p0);
    const T bet = p0 == 0 ? beta : onev;
    for (int i0 = 0; i0 < M; i0 += mblk) {
      const int mb = min_int(mblk, M - i0);
      blas_matrix ap = panel_at(buf.a_panel, kb, 0);
      blas_matrix asrc = left ? mirror_block(*opa, i0, p0, mb, kb) : sub_view(*opa, i0, p0, mb, kb);
      info->copy_a(&asrc, &ap, &alpha);
      for (int j0 = 0; j0 < N; j0 += nblk) {
        const int nb = min_int(nblk, N - j0);
        blas_matrix bp = panel_at(buf.b_panel, kb, 0);
        blas_matrix bsrc = left ? sub_view(*opb, p0, j0, kb, nb) : mirror_block(*opb, p0, j0, kb, nb);
        info->copy_b(&bsrc, &bp, &onev);
        ap.rows = kb;
        blas_matrix cv = sub_view(*c, i0, j0, mb, nb);
        info->kernel(&onev, &ap, &bp, &bet, &cv, nullptr);
      }
    }
  }
  buf.free_bufs(&buf);
  return 0;
}

namespace {

// Direct SYMM and HEMM: the steps of the packed driver with no panels
// (beta on C first, then per K block the chains of the mirrored operand).
template <class T, bool Herm>
void symm_direct(const char* side, const char* uplo, int M, int N, const T& alpha, const T* a, int lda,
                 const T* b, int ldb, const T& beta, T* c, int ldc) {
  if (M < 1 || N < 1 || (is_zero(alpha) && is_one(beta))) return;
  const bool left = up(side) == 'L', lower = up(uplo) == 'L';
  T be = beta;
  if (!is_one(be) && !is_zero(be)) {
    prim<T>::mscale(&M, &N, &be, c, &ldc);
    be = one<T>();
  }
  if (is_zero(alpha)) {
    if (is_zero(be)) prim<T>::mscale(&M, &N, &be, c, &ldc);
    return;
  }
  using direct::operand;
  const direct::kind how = Herm ? (lower ? direct::herm_lower : direct::herm_upper)
                                : (lower ? direct::sym_lower : direct::sym_upper);
  const operand<T> sym{a, lda, how}, gen{b, ldb, direct::as_stored};
  const int K = left ? M : N;
  const direct::job<T> jb{left ? sym : gen, left ? gen : sym, alpha, K, direct::k_block_of<T>(M, N, K), c, ldc,
                          direct::whole, false};
  direct::run(jb, 0, M, 0, N, is_zero(be));
}

template <class T, bool Herm>
void xsymm(const char* side, const char* uplo, int M, int N, const T& alpha, const T* a, int lda, const T* b,
           int ldb, const T& beta, T* c, int ldc, bool may_go_direct) {
  if (M < 1 || N < 1 || (is_zero(alpha) && is_one(beta))) return;
  if (may_go_direct && M <= 7 && N <= 7) {
    symm_direct<T, Herm>(side, uplo, M, N, alpha, a, lda, b, ldb, beta, c, ldc);
    return;
  }
  blas_op_params<T> params;
  blas_initialize_op_params<T>("N", "N", &alpha, &beta, &params);
  params.op = Herm ? op_hemm : op_symm;
  params.side_text = side;
  params.uplo_text = uplo;
  params.side = up(side) == 'L' ? 0 : up(side) == 'R' ? 1 : -1;
  params.uplo = up(uplo) == 'U' ? 0 : up(uplo) == 'L' ? 1 : -1;
  const int ka = params.side == 1 ? N : M;
  blas_matrix S, G, C;
  blas_initialize_matrix<T>(nullptr, ka, ka, a, lda, &S);
  S.flags = params.uplo == 1 ? flag_lower : flag_upper;
  blas_initialize_matrix<T>("N", M, N, b, ldb, &G);
  blas_initialize_matrix<T>(M, N, c, ldc, &C);
  gemm_strategy st;
  initialize_strategy<T>(&st);
  gemm_kernel_info<T> info;
  initialize_kernel_info<T>(&params, &S, &G, &C, &st, &info);
  info.driver(&params, &S, &G, &C, nullptr, &info);
}

}  // namespace

#define ORB_INST(T)                                                                                              \
  template int symm_driver<T>(blas_op_params<T>*, blas_matrix*, blas_matrix*, blas_matrix*, gemm_buffers*,      \
                              gemm_kernel_info<T>*);                                                            \
  template void mirror_copy<T, true, true, false>(const blas_matrix*, blas_matrix*, const T*);                  \
  template void mirror_copy<T, false, true, false>(const blas_matrix*, blas_matrix*, const T*);                 \
  template void mirror_copy<T, true, false, false>(const blas_matrix*, blas_matrix*, const T*);                 \
  template void mirror_copy<T, false, false, false>(const blas_matrix*, blas_matrix*, const T*);
ORB_INST(float)
ORB_INST(double)
ORB_INST(orb_complex8)
ORB_INST(orb_complex16)
#undef ORB_INST
#define ORB_INST(T)                                                                                              \
  template void mirror_copy<T, true, true, true>(const blas_matrix*, blas_matrix*, const T*);                   \
  template void mirror_copy<T, false, true, true>(const blas_matrix*, blas_matrix*, const T*);                  \
  template void mirror_copy<T, true, false, true>(const blas_matrix*, blas_matrix*, const T*);                  \
  template void mirror_copy<T, false, false, true>(const blas_matrix*, blas_matrix*, const T*);
ORB_INST(orb_complex8)
ORB_INST(orb_complex16)
#undef ORB_INST

}  // namespace orb::level3

using namespace orb::level3;
using orb::engine::blas_matrix;

#define ORB_I const int*
#define ORB_SYMM_ARGS(T)                                                                                 \
  const char *side, const char *uplo, ORB_I m, ORB_I n, const T *alpha, const T *a, ORB_I lda, const T *b, \
      ORB_I ldb, const T *beta, T *c, ORB_I ldc
#define ORB_SYMM_PASS side, uplo, *m, *n, *alpha, a, *lda, b, *ldb, *beta, c, *ldc

#define ORB_MIRROR_EXPORT(T, name, lower, left, herm)                                          \
  ORB_API void ORB_BLAS(name)(const blas_matrix* src, blas_matrix* panel, const T* factor) { \
    mirror_copy<T, lower, left, herm>(src, panel, factor);                                   \
  }

#define ORB_SYMM_EXPORTS(T, t)                                                                                  \
  ORB_API void ORB_BLAS(x##t##symm)(ORB_SYMM_ARGS(T)) { xsymm<T, false>(ORB_SYMM_PASS, true); }                \
  ORB_API void ORB_BLAS(x##t##symm_packed)(ORB_SYMM_ARGS(T)) { xsymm<T, false>(ORB_SYMM_PASS, false); }        \
  ORB_API void ORB_BLAS(t##symm_pst)(ORB_SYMM_ARGS(T)) {                                                       \
    symm_direct<T, false>(side, uplo, *m, *n, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);                       \
  }                                                                                                             \
  ORB_API int ORB_BLAS(t##symm_fullacopybcopy)(orb::engine::blas_op_params<T> * p, blas_matrix * a,            \
                                               blas_matrix * b, blas_matrix * c,                               \
                                               orb::engine::gemm_buffers * buf,                                \
                                               orb::engine::gemm_kernel_info<T> * info) {                      \
    return symm_driver<T>(p, a, b, c, buf, info);                                                              \
  }                                                                                                             \
  ORB_MIRROR_EXPORT(T, t##symm_copy_lower_left, true, true, false)                                             \
  ORB_MIRROR_EXPORT(T, t##symm_copy_upper_left, false, true, false)                                            \
  ORB_MIRROR_EXPORT(T, t##symm_copy_lower_right, true, false, false)                                           \
  ORB_MIRROR_EXPORT(T, t##symm_copy_upper_right, false, false, false)

ORB_SYMM_EXPORTS(float, s)
ORB_SYMM_EXPORTS(double, d)
ORB_SYMM_EXPORTS(orb_complex8, c)
ORB_SYMM_EXPORTS(orb_complex16, z)
#undef ORB_SYMM_EXPORTS

#define ORB_HEMM_EXPORTS(T, t)                                                                                  \
  ORB_API void ORB_BLAS(x##t##hemm)(ORB_SYMM_ARGS(T)) { xsymm<T, true>(ORB_SYMM_PASS, true); }                 \
  ORB_API void ORB_BLAS(x##t##hemm_packed)(ORB_SYMM_ARGS(T)) { xsymm<T, true>(ORB_SYMM_PASS, false); }         \
  ORB_API void ORB_BLAS(t##hemm_nobufs)(ORB_SYMM_ARGS(T)) {                                                    \
    symm_direct<T, true>(side, uplo, *m, *n, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);                        \
  }                                                                                                             \
  ORB_MIRROR_EXPORT(T, t##hemm_copy_lower_left, true, true, true)                                              \
  ORB_MIRROR_EXPORT(T, t##hemm_copy_upper_left, false, true, true)                                             \
  ORB_MIRROR_EXPORT(T, t##hemm_copy_lower_right, true, false, true)                                            \
  ORB_MIRROR_EXPORT(T, t##hemm_copy_upper_right, false, false, true)

ORB_HEMM_EXPORTS(orb_complex8, c)
ORB_HEMM_EXPORTS(orb_complex16, z)
#undef ORB_HEMM_EXPORTS
#undef ORB_MIRROR_EXPORT
#undef ORB_SYMM_PASS
#undef ORB_SYMM_ARGS
#undef ORB_I
