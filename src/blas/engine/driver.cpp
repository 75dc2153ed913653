// GEMM entries and the packed drivers.
//
// x?gemm picks a path: the narrow and tiny special kernels, the no-copy
// driver for medium sizes, or the packed driver. The packed driver applies
// a beta other than 0 and 1 to C once, then walks M, K and N blocks: B is
// packed per (K, N) block with factor 1, A per strip of rows with alpha, and
// the register kernel adds each K block's product to C (or stores it, for
// the first K block when beta is 0). So each element of C receives, per K
// block, one fused multiply-add chain in K order.
#include <cstring>

#include "blas/engine/engine.hpp"
#include "blas/engine/paths.hpp"

namespace orb::engine {
namespace {

template <class T> struct real_of { using type = T; };
template <> struct real_of<orb_complex8> { using type = float; };
template <> struct real_of<orb_complex16> { using type = double; };

// The factor of a column scaling: the real one in every lane, or for the
// complex types (-bi, bi) in each pair for the swapped column.
template <class R, int C>
struct column_factor {
  simd::vec<R> vr, vi;
  column_factor(R br, R bi) : vr(simd::vec<R>::set1(br)), vi(simd::vec<R>::zero()) {
    if constexpr (C == 2) {
      constexpr int N = simd::vec<R>::N;
      alignas(64) R sg[N];
      for (int i = 0; i < N; ++i) sg[i] = (i & 1) ? bi : -bi;
      vi = simd::vec<R>::loadu(sg);
    }
  }
};

// One column of C times beta, in blocks of two vectors with a masked tail.
// Complex: (br xr - bi xi, br xi + bi xr), each product rounded on its
// own, the second taken from the pair-swapped column.
template <class R, int C>
__attribute__((always_inline)) inline void scale_stretch(R* col, int len, const column_factor<R, C>& f) {
  using V = simd::vec<R>;
  constexpr int N = V::N;
  auto one = [&](const V& x) __attribute__((always_inline)) {
    if constexpr (C == 1) return f.vr * x;
    else return f.vr * x + f.vi * swap_pairs(x);
  };
  int i = 0;
  for (; i + 2 * N <= len; i += 2 * N) {
    const V x0 = V::loadu(col + i), x1 = V::loadu(col + i + N);
    one(x0).storeu(col + i);
    one(x1).storeu(col + i + N);
  }
  for (; i < len; i += N) {
    const int live = len - i < N ? len - i : N;
    one(V::load_mask(col + i, live)).store_mask(col + i, live);
  }
}

// C = beta C. Columns go in groups of four, so that four streams of C are
// under way at once. Beta 0 stores zeros and reads nothing, so a NaN in C
// goes away.
template <class T>
void mscale(int rows, int cols, const T& beta, T* c, int ldc) {
  if (rows < 1 || cols < 1) return;
  using R = typename real_of<T>::type;
  constexpr int C = int(sizeof(T) / sizeof(R));
  R* cr = reinterpret_cast<R*>(c);
  const std::ptrdiff_t ld = std::ptrdiff_t(ldc) * C;
  const int len = rows * C;
  if (is_zero(beta)) {
    for (int j = 0; j < cols; ++j) std::memset(cr + j * ld, 0, std::size_t(len) * sizeof(R));
    return;
  }
  const R* b = reinterpret_cast<const R*>(&beta);
  const column_factor<R, C> f(b[0], C == 2 ? b[C - 1] : R(0));
  int j = 0;
  for (; j + 4 <= cols; j += 4) {
    scale_stretch<R, C>(cr + j * ld, len, f);
    scale_stretch<R, C>(cr + (j + 1) * ld, len, f);
    scale_stretch<R, C>(cr + (j + 2) * ld, len, f);
    scale_stretch<R, C>(cr + (j + 3) * ld, len, f);
  }
  for (; j < cols; ++j) scale_stretch<R, C>(cr + j * ld, len, f);
}

// Steps shared by the drivers ahead of the loops. Returns true when the
// call is complete.
template <class T>
bool prologue(blas_op_params<T>* params, blas_matrix* a, blas_matrix* c, gemm_kernel_info<T>* info, T& alpha,
              T& beta) {
  alpha = params->alpha;
  beta = params->beta;
  if (c->rows < 1 || c->cols < 1) return true;
  if (a->cols < 1) {
    if (!is_one(beta)) info->scale_c(c, &beta);
    return true;
  }
  if (!is_one(beta) && !is_zero(beta)) {
    info->scale_c(c, &beta);
    beta = one<T>();
    params->beta = beta;
  }
  if (is_zero(alpha)) {
    if (is_zero(beta)) info->scale_c(c, &beta);
    return true;
  }
  return false;
}

inline int min_int(int x, int y) { return x < y ? x : y; }

// A panel view positioned at the panel of row (or column) r, for K length kb.
inline blas_matrix panel_at(const blas_matrix& p, int kb, int r) {
  blas_matrix v = p;
  v.rows = kb;
  v.base = getPointer_buffer(0, r, &v);
  return v;
}

}  // namespace

template <class T>
int generic_fullacopybcopy(blas_op_params<T>* params, blas_matrix* a, blas_matrix* b, blas_matrix* c,
                           gemm_buffers* given, gemm_kernel_info<T>* info) {
  T alpha, beta;
  if (prologue(params, a, c, info, alpha, beta)) return 0;
  gemm_buffers local;
  gemm_buffers* buf = given;
  if (!buf) {
    initialize_buffers<T>(a, b, &info->strategy, &local);
    local.get_bufs(&local);
    buf = &local;
  }
  if (orb_serv_check_ptr_and_warn(buf->block, info->name)) {
    info->fallback(params, a, b, c);
    return 0;
  }

  const int M = c->rows, N = c->cols, K = a->cols;
  const int mblk = buf->m_block, nblk = buf->n_block, kblk = buf->k_block;
  const int um = info->strategy.unroll_m;
  const T onev = one<T>();

  // Packs rows [r, r + s) of the current (i0, p0) block into the A panel.
  auto pack_a = [&](int i0, int p0, int r, int s, int kb, bool in_place) {
    blas_matrix src = sub_view(*a, i0 + r, p0, s, kb);
    blas_matrix dst = panel_at(buf->a_panel, kb, in_place ? r : 0);
    info->copy_a(&src, &dst, &alpha);
    return dst;
  };
  auto pack_b = [&](int p0, int j0, int kb, int nb) {
    blas_matrix src = sub_view(*b, p0, j0, kb, nb);
    blas_matrix dst = panel_at(buf->b_panel, kb, 0);
    info->copy_b(&src, &dst, &onev);
    return dst;
  };
  auto run = [&](const blas_matrix& ap, const blas_matrix& bp, int i, int j, int rows, int cols, const T& bet) {
    blas_matrix cv = sub_view(*c, i, j, rows, cols);
    info->kernel(&onev, &ap, &bp, &bet, &cv, nullptr);
  };
  // The rows of one (i0, p0, j0) block: strips of unroll_m rows are packed
  // as they are first needed, as many at a time as a register tile spans;
  // once packed, the rest goes as one call.
  auto rows_of = [&](int i0, int p0, int j0, int mb, int kb, int nb, const blas_matrix& bp, int& water,
                     const T& bet) {
    int r = 0;
    while (r < mb) {
      if (r < water) {
        run(panel_at(buf->a_panel, kb, r), bp, i0 + r, j0, mb - r, nb, bet);
        r = mb;
      } else {
        const int s = min_int(um * kTileStrips, mb - r);
        const blas_matrix ap = pack_a(i0, p0, r, s, kb, nb < N);
        if (nb < N) water = r + s;
        run(ap, bp, i0 + r, j0, s, nb, bet);
        r += s;
      }
    }
  };

  switch (info->strategy.loop_order) {
    case 4:
      for (int i0 = 0; i0 < M; i0 += mblk) {
        const int mb = min_int(mblk, M - i0);
        for (int p0 = 0; p0 < K; p0 += kblk) {
          const int kb = min_int(kblk, K - p0);
          const T bet = p0 == 0 ? beta : onev;
          int water = 0;
          for (int j0 = 0; j0 < N; j0 += nblk) {
            const int nb = min_int(nblk, N - j0);
            const blas_matrix bp = pack_b(p0, j0, kb, nb);
            rows_of(i0, p0, j0, mb, kb, nb, bp, water, bet);
          }
        }
      }
      break;
    case 32:
      for (int p0 = 0; p0 < K; p0 += kblk) {
        const int kb = min_int(kblk, K - p0);
        const T bet = p0 == 0 ? beta : onev;
        for (int i0 = 0; i0 < M; i0 += mblk) {
          const int mb = min_int(mblk, M - i0);
          int water = 0;
          for (int j0 = 0; j0 < N; j0 += nblk) {
            const int nb = min_int(nblk, N - j0);
            const blas_matrix bp = pack_b(p0, j0, kb, nb);
            rows_of(i0, p0, j0, mb, kb, nb, bp, water, bet);
          }
        }
      }
      break;
    case 64:
      for (int p0 = 0; p0 < K; p0 += kblk) {
        const int kb = min_int(kblk, K - p0);
        const T bet = p0 == 0 ? beta : onev;
        for (int j0 = 0; j0 < N; j0 += nblk) {
          const int nb = min_int(nblk, N - j0);
          const blas_matrix bp = pack_b(p0, j0, kb, nb);
          for (int i0 = 0; i0 < M; i0 += mblk) {
            const int mb = min_int(mblk, M - i0);
            run(pack_a(i0, p0, 0, mb, kb, true), bp, i0, j0, mb, nb, bet);
          }
        }
      }
      break;
    case 128:
      for (int p0 = 0; p0 < K; p0 += kblk) {
        const int kb = min_int(kblk, K - p0);
        const T bet = p0 == 0 ? beta : onev;
        for (int i0 = 0; i0 < M; i0 += mblk) {
          const int mb = min_int(mblk, M - i0);
          const blas_matrix ap = pack_a(i0, p0, 0, mb, kb, true);
          for (int j0 = 0; j0 < N; j0 += nblk) {
            const int nb = min_int(nblk, N - j0);
            run(ap, pack_b(p0, j0, kb, nb), i0, j0, mb, nb, bet);
          }
        }
      }
      break;
    default:
      break;
  }
  if (!given) buf->free_bufs(buf);
  return 0;
}

template <class T>
int acopiedbcopy(blas_op_params<T>* params, blas_matrix* a, blas_matrix* b, blas_matrix* c, gemm_buffers* buf,
                 gemm_kernel_info<T>* info) {
  T alpha, beta;
  if (prologue(params, a, c, info, alpha, beta)) return 0;
  if (!buf || orb_serv_check_ptr_and_warn(buf->block, info->name)) {
    info->fallback(params, a, b, c);
    return 0;
  }
  const int M = c->rows, N = c->cols, K = a->cols;
  const T onev = one<T>();
  blas_matrix ap = buf->a_panel;
  ap.rows = K;
  for (int j0 = 0; j0 < N; j0 += buf->n_block) {
    const int nb = min_int(buf->n_block, N - j0);
    blas_matrix src = sub_view(*b, 0, j0, K, nb);
    blas_matrix bp = panel_at(buf->b_panel, K, 0);
    info->copy_b(&src, &bp, &onev);
    blas_matrix cv = sub_view(*c, 0, j0, M, nb);
    info->kernel(&onev, &ap, &bp, &beta, &cv, nullptr);
  }
  return 0;
}

namespace {

// The packed branch of x?gemm. With `may_go_direct` the shapes below the
// register tile take the direct routine; without it (a block of a call the
// core split among threads) the driver runs whatever the block's size.
template <class T>
void packed(const char* transa, const char* transb, const int* pm, const int* pn, const int* pk, const T* palpha,
            const T* a, const int* lda, const T* b, const int* ldb, const T* pbeta, T* c, const int* ldc,
            bool may_go_direct) {
  using G = gemm_traits<T>;
  const int M = *pm, N = *pn, K = *pk;
  if (M < 1 || N < 1) return;
  const char ta = upper_char(transa), tb = upper_char(transb);
  // The decisions below need only the call's own values; the records are
  // built once the driver is sure to run.
  if (is_zero(*palpha)) {
    if (!is_one(*pbeta)) mscale<T>(M, N, *pbeta, c, *ldc);
    return;
  }
  const bool direct = (ta != 'N' && tb == 'N') ? M < G::pst_m : N < G::pst_n;
  if (direct && may_go_direct) {
    gemm_entries<T>::pst(transa, transb, pm, pn, pk, palpha, a, lda, b, ldb, pbeta, c, ldc);
    return;
  }
  // A short K, or a product small all round: the driver's result without
  // its buffers, packing or separate beta pass. A short K is then bound by
  // the traffic of C, which the one pass halves for a beta other than 0
  // and 1; a small product is bound by the setting up.
  if (K >= 1 && (K <= 16 || (K <= paths::kOnePassMaxK && M <= 64 && N <= 64))) {
    paths::onepass_gemm<T>(ta, tb, M, N, K, palpha, a, *lda, b, *ldb, pbeta, c, *ldc);
    return;
  }
  blas_op_params<T> params;
  blas_initialize_op_params<T>(transa, transb, palpha, pbeta, &params);
  blas_matrix A, B, Cv;
  blas_initialize_matrix<T>(transa, M, K, a, *lda, &A);
  blas_initialize_matrix<T>(transb, K, N, b, *ldb, &B);
  blas_initialize_matrix<T>(M, N, c, *ldc, &Cv);
  gemm_strategy st;
  initialize_strategy<T>(&st);
  gemm_kernel_info<T> info;
  initialize_kernel_info<T>(&params, &A, &B, &Cv, &st, &info);
  info.driver(&params, &A, &B, &Cv, nullptr, &info);
}

template <class T>
void xgemm(const char* transa, const char* transb, const int* pm, const int* pn, const int* pk, const T* palpha,
           const T* a, const int* lda, const T* b, const int* ldb, const T* pbeta, T* c, const int* ldc) {
  using G = gemm_traits<T>;
  const int M = *pm, N = *pn, K = *pk;
  if (M < 1 || N < 1) return;
  const char ta = upper_char(transa), tb = upper_char(transb);
  const bool alpha0 = is_zero(*palpha);

  if constexpr (G::letter == 'd') {
    if (!alpha0 && K > 0) {
      if (ta == 'T' && tb == 'N' && (N == 2 || N == 3)) {
        ORB_BLAS(dgemm_t_smalln)(transa, transb, pm, pn, pk, palpha, a, lda, b, ldb, pbeta, c, ldc);
        return;
      }
      if (ta == 'N' && tb == 'N' && N == 2) {
        ORB_BLAS(dgemm_n_smalln)(transa, transb, pm, pn, pk, palpha, a, lda, b, ldb, pbeta, c, ldc);
        return;
      }
    }
  } else if constexpr (G::letter == 's') {
    if (ta == 'T' && tb == 'N' && N >= 2 && N <= 15 && K >= 24 * N && !alpha0 && K > 0) {
      ORB_BLAS(sgemm_t_smalln)(transa, transb, pm, pn, pk, palpha, a, lda, b, ldb, pbeta, c, ldc);
      return;
    }
  } else {
    if (M >= 3 && M <= 10 && N >= 3 && N <= 10 && K >= 1 && K <= 10 && is_one(*pbeta)) {
      if constexpr (G::letter == 'c')
        ORB_BLAS(cgemm_sm_01_10)(transa, transb, pm, pn, pk, palpha, a, lda, b, ldb, pbeta, c, ldc);
      else
        ORB_BLAS(zgemm_sm_01_10)(transa, transb, pm, pn, pk, palpha, a, lda, b, ldb, pbeta, c, ldc);
      return;
    }
  }

  bool nocopy = false;
  if constexpr (G::comps == 1) {
    if (!alpha0) {
      if (ta == 'N') nocopy = !(M >= 192 && N >= 192);
      else if (G::letter == 'd') nocopy = !((M > N && M >= K) || (M >= 192 && N >= 192));
      else nocopy = !((M > N && M >= K) || M >= 192);
    }
  }

  if constexpr (G::comps == 1) {
    // The no-copy driver needs nothing of the records but the call's own
    // values, and building them costs a small call as much as its
    // arithmetic: go straight to the driver's work.
    if (nocopy) {
      paths::nocopy_gemm(ta, tb, M, N, K, palpha, a, *lda, b, *ldb, pbeta, c, *ldc);
      return;
    }
  }

  packed<T>(transa, transb, pm, pn, pk, palpha, a, lda, b, ldb, pbeta, c, ldc, true);
}

}  // namespace

#define ORB_INST(T)                                                                                              \
  template int generic_fullacopybcopy<T>(blas_op_params<T>*, blas_matrix*, blas_matrix*, blas_matrix*,         \
                                         gemm_buffers*, gemm_kernel_info<T>*);                                  \
  template int acopiedbcopy<T>(blas_op_params<T>*, blas_matrix*, blas_matrix*, blas_matrix*, gemm_buffers*, \
                               gemm_kernel_info<T>*);
ORB_INST(float)
ORB_INST(double)
ORB_INST(orb_complex8)
ORB_INST(orb_complex16)
#undef ORB_INST

}  // namespace orb::engine

using namespace orb::engine;

#define ORB_DRIVER_EXPORTS(T, t)                                                                                \
  ORB_API void ORB_BLAS(x##t##gemm)(const char* transa, const char* transb, const int* m, const int* n,        \
                                    const int* k, const T* alpha, const T* a, const int* lda, const T* b,      \
                                    const int* ldb, const T* beta, T* c, const int* ldc) {                     \
    xgemm<T>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);                                    \
  }                                                                                                             \
  ORB_API void ORB_BLAS(x##t##gemm_packed)(const char* transa, const char* transb, const int* m, const int* n, \
                                           const int* k, const T* alpha, const T* a, const int* lda,           \
                                           const T* b, const int* ldb, const T* beta, T* c, const int* ldc) {  \
    packed<T>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, false);                             \
  }                                                                                                             \
  ORB_API void ORB_BLAS(t##gemm_ker0)(const T* one, const blas_matrix* ap, const blas_matrix* bp,              \
                                      const T* beta, blas_matrix* cv, void*) {                                 \
    (is_zero(*beta) ? ORB_BLAS(t##gemm_kernel_0_b0) : ORB_BLAS(t##gemm_kernel_0))(                              \
        &cv->rows, &cv->cols, &ap->rows, one, static_cast<const T*>(ap->base),                                  \
        static_cast<const T*>(bp->base), static_cast<T*>(cv->base), cv->ld);                                    \
  }                                                                                                             \
  ORB_API void ORB_BLAS(t##gemm_mscale)(const int* rows, const int* cols, const T* beta, T* c,                 \
                                        const int* ldc) {                                                       \
    mscale<T>(*rows, *cols, *beta, c, *ldc);                                                                    \
  }                                                                                                             \
  ORB_API void ORB_BLAS(t##gemm_mscale_wrapper)(blas_matrix * cv, const T* beta) {                             \
    ORB_BLAS(t##gemm_mscale)(&cv->rows, &cv->cols, beta, static_cast<T*>(cv->base), &cv->ld);                  \
  }                                                                                                             \
  ORB_API int ORB_BLAS(t##_generic_fullacopybcopy)(blas_op_params<T> * p, blas_matrix * a, blas_matrix * b,    \
                                                   blas_matrix * c, gemm_buffers * buf,                         \
                                                   gemm_kernel_info<T> * info) {                                \
    return generic_fullacopybcopy<T>(p, a, b, c, buf, info);                                                    \
  }                                                                                                             \
  ORB_API int ORB_BLAS(x##t##gemm_acopiedbcopy)(blas_op_params<T> * p, blas_matrix * a, blas_matrix * b,       \
                                                blas_matrix * c, gemm_buffers * buf,                            \
                                                gemm_kernel_info<T> * info) {                                   \
    return acopiedbcopy<T>(p, a, b, c, buf, info);                                                              \
  }

ORB_DRIVER_EXPORTS(float, s)
ORB_DRIVER_EXPORTS(double, d)
ORB_DRIVER_EXPORTS(orb_complex8, c)
ORB_DRIVER_EXPORTS(orb_complex16, z)
