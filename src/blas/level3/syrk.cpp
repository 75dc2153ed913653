// SYRK, HERK, SYR2K, HER2K and GEMMT: products written to one triangle of C.
//
// The engine sees each as a GEMM of an n x k and a k x n operand (for SYRK
// and HERK two views of the same memory) of which only one triangle of C is
// wanted. The walk skips the blocks of C that lie outside the triangle; in
// a block that meets the diagonal, the columns clear of it go to the
// register kernel straight on C, and each tile that straddles it is
// computed into a scratch tile of which only the stored half is added. The
// other triangle of C is never read or written.
//
// SYR2K and HER2K are two walks, the second with the operands swapped,
// beta 1 and (HER2K) the conjugate alpha; small n with beta other than 0
// forms alpha op(A) op(B)' once into scratch and folds it into the
// triangle instead. Without panel memory, every routine has a direct form
// (syx_direct.hpp) that does the walk's arithmetic in the walk's order, so
// it gives the same bits; SYRK and HERK of skinny k or small n take it from
// the start. For long k, the real SYRK also has a kernel that reads A in
// place (syrk_4k.cpp), which the core picks by sizes.
#include <type_traits>

#include "blas/level3/syx_direct.hpp"

namespace orb::level3 {

using namespace orb::engine;

namespace {

inline int min_int(int x, int y) { return x < y ? x : y; }
inline int max_int(int x, int y) { return x > y ? x : y; }

// Scratch of the diagonal tiles: one register tile of any type.
constexpr int kScratchElems = 16 * 6;

// The m x n block of C at `c` against the panels a (m rows) and b (n
// columns), its first element `d` rows below the diagonal. Full panels of
// the register tile start every UM rows and UN columns of the block.
template <class T>
void tri_kernel(bool lower, bool herm, bool b0, int m, int n, int k, const T* a, const T* b, T* c, int ldc,
                int d, const T* beta = nullptr) {
  using G = gemm_traits<T>;
  constexpr int UM = G::unroll_m, UN = G::unroll_n;
  static_assert(UM * UN <= kScratchElems, "scratch tile too small for the register tile");
  if (m < 1 || n < 1 || k < 1) return;
  const T one = engine::one<T>();
  auto direct = [&](int r0, int rows, int c0, int cols) {
    if (rows < 1 || cols < 1) return;
    (b0 ? prim<T>::store : prim<T>::add)(&rows, &cols, &k, &one, a + std::ptrdiff_t(r0) * k,
                                         b + std::ptrdiff_t(c0) * k, c + r0 + std::ptrdiff_t(c0) * ldc, ldc);
  };
  auto through_scratch = [&](int r0, int c0, int w) {
    int s = min_int(UM, m - r0);
    alignas(64) T tile[kScratchElems];
    prim<T>::store(&s, &w, &k, &one, a + std::ptrdiff_t(r0) * k, b + std::ptrdiff_t(c0) * k, tile, s);
    // In each column the stored rows of the tile are one stretch [lo, hi):
    // a masked vector step of reals adds (or stores) them, lane by lane.
    using R = typename gemm_traits<T>::real;
    using V = simd::vec<R>;
    constexpr int C = gemm_traits<T>::comps;
    for (int j = 0; j < w; ++j) {
      const int col = c0 + j;
      // Row of the tile on the diagonal of this column (may lie outside).
      const int diag = col - d - r0;
      const int lo = lower ? max_int(0, diag) : 0, hi = lower ? s : min_int(s, diag + 1);
      if (hi <= lo) continue;
      R* e = reinterpret_cast<R*>(c + r0 + lo + std::ptrdiff_t(col) * ldc);
      const R* t = reinterpret_cast<const R*>(tile + lo + j * s);
      const int live = (hi - lo) * C;
      for (int q = 0; q < live; q += V::N) {
        const int l = min_int(V::N, live - q);
        const V tv = V::load_mask(t + q, l);
        (b0 ? tv : V::load_mask(e + q, l) + tv).store_mask(e + q, l);
      }
      if (herm && diag >= lo && diag < hi) real_diagonal(c[r0 + diag + std::ptrdiff_t(col) * ldc]);
    }
  };
  // The Hermitian forms send the diagonal through the scratch tile too, where
  // its imaginary part is cleared: `strict` keeps it out of the direct calls.
  const int strict = herm ? 1 : 0;
  // Each register tile (UM rows from a multiple of UM, UN columns from a
  // multiple of UN) is inside the triangle, outside, or straddles the
  // diagonal; which one alone decides the path of its elements. The walk
  // takes the rows in chunks of one wide register tile and, in each chunk,
  // all the columns: the chunk's rows of the A panel are then reused across
  // the whole B block, as in GEMM, instead of every column group streaming
  // all rows of A (which left the cache once the A block outgrew the L2).
  // With a beta other than 0 and 1 (the first K block of a call), each
  // chunk's part of the triangle is scaled just before its products are
  // added, while those lines of C are still near: the same two roundings
  // as a scaling pass over the whole triangle ahead of the walk, without
  // the second trip through memory that pass cost when K is short.
  auto scale_rows = [&](int r0, int r1) {
    const int rows = r1 - r0, one_col = 1;
    // Columns that hold every row of [r0, r1): up to r0 + d (lower), from
    // r1 - 1 + d (upper); the band between them a stretch per column.
    if (lower) {
      const int cf = max_int(0, min_int(n, r0 + d + 1));
      if (cf > 0) prim<T>::mscale(&rows, &cf, beta, c + r0, &ldc);
      for (int col = cf; col < n && col - d < r1; ++col) {
        const int len = r1 - (col - d);
        prim<T>::mscale(&len, &one_col, beta, c + (col - d) + std::ptrdiff_t(col) * ldc, &ldc);
      }
    } else {
      const int ct = max_int(0, min_int(n, r1 - 1 + d));
      const int cols = n - ct;
      if (cols > 0) prim<T>::mscale(&rows, &cols, beta, c + r0 + std::ptrdiff_t(ct) * ldc, &ldc);
      for (int col = max_int(0, r0 + d); col < ct; ++col) {
        const int len = col - d - r0 + 1;
        prim<T>::mscale(&len, &one_col, beta, c + r0 + std::ptrdiff_t(col) * ldc, &ldc);
      }
    }
    if (herm)
      for (int r = r0; r < r1; ++r)
        if (r + d >= 0 && r + d < n) real_diagonal(c[r + std::ptrdiff_t(r + d) * ldc]);
  };
  constexpr int RH = UM * kTileStrips;
  for (int t0 = 0; t0 < m; t0 += RH) {
    const int t1 = min_int(m, t0 + RH);
    if (beta) scale_rows(t0, t1);
    if (lower) {
      // Column groups inside for every row of the chunk: c0 + w - 1 <= t0 + d - strict.
      const int e = t0 + d + 1 - strict;
      const int cf = e <= 0 ? 0 : min_int(e / UN * UN, n);
      direct(t0, t1 - t0, 0, cf);
      for (int c0 = cf; c0 < n; c0 += UN) {
        const int w = min_int(UN, n - c0);
        const int first = c0 - d;  // first row that meets the group
        if (first >= t1) break;
        const int full = c0 + w - 1 - d + strict;  // rows from here hold the whole group
        int r0 = first <= t0 ? t0 : first / UM * UM;
        for (; r0 < t1 && r0 < full; r0 += UM) through_scratch(r0, c0, w);
        if (r0 < t1) direct(r0, t1 - r0, c0, w);
      }
    } else {
      // Column groups inside for every row of the chunk: c0 >= t1 - 1 + d + strict.
      const int x = t1 - 1 + d + strict;
      const int ct = x <= 0 ? 0 : min_int((x + UN - 1) / UN * UN, n);
      direct(t0, t1 - t0, ct, n - ct);
      for (int c0 = 0; c0 < ct; c0 += UN) {
        const int w = min_int(UN, n - c0);
        const int end = min_int(t1, c0 + w - d);  // rows before this meet the group
        if (end <= t0) continue;
        const int full = c0 - d + 1 - strict;  // rows before this hold the whole group
        const int rf = full <= t0 ? t0 : full >= m ? t1 : min_int(t1, full / UM * UM);
        direct(t0, rf - t0, c0, w);
        for (int r0 = rf; r0 < end; r0 += UM) through_scratch(r0, c0, w);
      }
    }
  }
}

// Panel view at row (or column) r of a packed panel, for K length kb.
inline blas_matrix panel_at(const blas_matrix& p, int kb, int r) {
  blas_matrix v = p;
  v.rows = kb;
  v.base = getPointer_buffer(0, r, &v);
  return v;
}

template <class T> inline bool hermitian_op(int op) {
  return is_complex<T> && (op == op_herk || op == op_her2k);
}

}  // namespace

template <class T>
void tri_scale(const blas_matrix* c, const T& beta, bool lower, int d0, bool hermitian) {
  T* base = static_cast<T*>(c->base);
  const int rows = c->rows, ld = c->ld, one = 1;
  for (int j = 0; j < c->cols; ++j) {
    const int r0 = lower ? max_int(0, j - d0) : 0;
    const int r1 = lower ? rows : min_int(rows, j - d0 + 1);
    if (r1 <= r0) continue;
    const int len = r1 - r0;
    T* col = base + std::ptrdiff_t(j) * ld;
    prim<T>::mscale(&len, &one, &beta, col + r0, &ld);
    const int dr = j - d0;
    if (hermitian && dr >= 0 && dr < rows) real_diagonal(col[dr]);
  }
}

template <class T>
int tri_walk(blas_op_params<T>* params, blas_matrix* a, blas_matrix* b, blas_matrix* c, int d0,
             gemm_kernel_info<T>* info) {
  const int M = c->rows, N = c->cols, K = a->cols;
  if (M < 1 || N < 1) return 0;
  const bool lower = params->uplo == 1;
  const bool herm = hermitian_op<T>(params->op);
  const T alpha = params->alpha;
  const T beta = params->beta;
  const bool general = !is_one(beta) && !is_zero(beta);
  if (is_zero(alpha) || K < 1) {
    if (!is_one(beta)) tri_scale<T>(c, beta, lower, d0, herm);
    if (general) params->beta = one<T>();
    return 0;
  }
  gemm_buffers buf;
  initialize_buffers<T>(a, b, &info->strategy, &buf);
  buf.get_bufs(&buf);
  // Without panel memory nothing has been touched: the caller's fallback
  // does the whole call.
  if (orb_serv_check_ptr_and_warn(buf.block, info->name)) return 2;
  // A beta other than 0 and 1 goes with the first K block into the kernel,
  // which scales each part of the triangle as it reaches it; a later walk
  // over the same C (SYR2K's second pass) adds.
  if (general) params->beta = one<T>();

  const int mblk = buf.m_block, nblk = buf.n_block, kblk = buf.k_block;
  const int um = info->strategy.unroll_m;
  const T onev = one<T>();
  // Strips of A already packed for the current (row block, K block).
  constexpr int kMaxStrips = 1024;
  bool packed[kMaxStrips];
  for (int p0 = 0; p0 < K; p0 += kblk) {
    const int kb = min_int(kblk, K - p0);
    const T bet = p0 == 0 ? beta : onev;
    for (int i0 = 0; i0 < M; i0 += mblk) {
      const int mb = min_int(mblk, M - i0);
      const int strips = (mb + um - 1) / um;
      for (int s = 0; s < strips && s < kMaxStrips; ++s) packed[s] = false;
      for (int j0 = 0; j0 < N; j0 += nblk) {
        const int nb = min_int(nblk, N - j0);
        // Rows of this block that meet the triangle in columns [j0, j0 + nb).
        int rs, re;
        if (lower) {
          rs = max_int(0, j0 - d0 - i0);
          re = mb;
        } else {
          rs = 0;
          re = min_int(mb, j0 + nb - d0 - i0);
        }
        if (rs >= re) continue;
        rs = rs / um * um;
        re = min_int(mb, (re + um - 1) / um * um);
        blas_matrix bsrc = sub_view(*b, p0, j0, kb, nb);
        blas_matrix bp = panel_at(buf.b_panel, kb, 0);
        info->copy_b(&bsrc, &bp, &onev);
        for (int r = rs; r < re; r += um) {
          const int st = r / um;
          if (st < kMaxStrips && packed[st]) continue;
          const int s = min_int(um, mb - r);
          blas_matrix asrc = sub_view(*a, i0 + r, p0, s, kb);
          blas_matrix ap = panel_at(buf.a_panel, kb, r);
          info->copy_a(&asrc, &ap, &alpha);
          if (st < kMaxStrips) packed[st] = true;
        }
        blas_matrix ap = panel_at(buf.a_panel, kb, rs);
        blas_matrix cv = sub_view(*c, i0 + rs, j0, re - rs, nb);
        tri_position pos{i0 + rs + d0 - j0};
        info->kernel(&onev, &ap, &bp, &bet, &cv, &pos);
      }
    }
  }
  buf.free_bufs(&buf);
  return 0;
}

template <class T, bool Lower, bool Herm>
void tri_ker0(const T*, const blas_matrix* ap, const blas_matrix* bp, const T* beta, blas_matrix* c,
              void* position) {
  const int d = position ? static_cast<const tri_position*>(position)->offset : 0;
  // beta 0 stores, 1 adds, anything else scales the triangle on the way.
  const bool b0 = is_zero(*beta);
  tri_kernel<T>(Lower, Herm, b0, c->rows, c->cols, ap->rows, static_cast<const T*>(ap->base),
                static_cast<const T*>(bp->base), static_cast<T*>(c->base), c->ld, d,
                b0 || is_one(*beta) ? nullptr : beta);
}

template <class T>
int syrk_driver(blas_op_params<T>* params, blas_matrix* a, blas_matrix* b, blas_matrix* c, gemm_buffers*,
                gemm_kernel_info<T>* info) {
  return tri_walk<T>(params, a, b, c, 0, info);
}

// The walk with A already in the panel memory `buf` (all of its rows, K in
// one block, alpha applied, as the packing interface leaves it): only B is
// packed, one column block at a time, and each block runs the rows of A
// that meet the triangle. Returns 2 when there is no panel memory.
template <class T>
int syrk_acopied(blas_op_params<T>* params, blas_matrix* a, blas_matrix* b, blas_matrix* c, gemm_buffers* buf,
                 gemm_kernel_info<T>* info) {
  const int M = c->rows, N = c->cols, K = a->cols;
  if (M < 1 || N < 1) return 0;
  const bool lower = params->uplo == 1;
  const bool herm = hermitian_op<T>(params->op);
  T beta = params->beta;
  if (!is_one(beta) && !is_zero(beta)) {
    tri_scale<T>(c, beta, lower, 0, herm);
    beta = one<T>();
    params->beta = beta;
  }
  if (is_zero(params->alpha) || K < 1) {
    if (is_zero(beta)) tri_scale<T>(c, beta, lower, 0, herm);
    return 0;
  }
  if (!buf || orb_serv_check_ptr_and_warn(buf->block, info->name)) return 2;
  const int um = info->strategy.unroll_m;
  const T onev = one<T>();
  blas_matrix whole_a = buf->a_panel;
  whole_a.rows = K;
  for (int j0 = 0; j0 < N; j0 += buf->n_block) {
    const int nb = min_int(buf->n_block, N - j0);
    int rs = lower ? max_int(0, j0) : 0;
    int re = lower ? M : min_int(M, j0 + nb);
    if (rs >= re) continue;
    rs = rs / um * um;
    re = min_int(M, (re + um - 1) / um * um);
    blas_matrix bsrc = sub_view(*b, 0, j0, K, nb);
    blas_matrix bp = panel_at(buf->b_panel, K, 0);
    info->copy_b(&bsrc, &bp, &onev);
    blas_matrix ap = panel_at(whole_a, K, rs);
    blas_matrix cv = sub_view(*c, rs, j0, re - rs, nb);
    tri_position pos{rs - j0};
    info->kernel(&onev, &ap, &bp, &beta, &cv, &pos);
  }
  return 0;
}

template <class T> void syrk_scale(blas_matrix* c, const T* beta) {
  tri_scale<T>(c, *beta, (c->flags & flag_lower) != 0, 0, false);
}
template <class T> void herk_scale(blas_matrix* c, const T* beta) {
  tri_scale<T>(c, *beta, (c->flags & flag_lower) != 0, 0, true);
}

namespace {

// ---- Direct forms -----------------------------------------------------------------

inline char up(const char* t) { return char(*t & ~32); }

// Operator letters of the two operands of SYRK-like routines by trans: the
// real types read "C" as "T", the Hermitian forms conjugate.
template <class T>
void operators(const char* trans, bool herm, char& ta, char& tb) {
  const char t = up(trans);
  const char other = herm ? 'C' : 'T';
  if (t == 'N') ta = 'N', tb = other;
  else ta = other, tb = 'N';
}

// Columns [j0, j1) of the triangle of one call (op 3, 4, 5, 6 or 9) with no
// panel memory: the steps of the packed walk, beta on the triangle first,
// then the product (SYR2K and HER2K: both passes, the second with the
// operands swapped and, for HER2K, the conjugate alpha). One pass of any of
// them is op 9 (op 4 for the Hermitian forms).
template <class T>
void direct_triangle(int op, bool lower, char ta, char tb, int n, int k, const T& alpha, const T* a, int lda,
                     const T* b, int ldb, T beta, T* c, int ldc, int j0, int j1) {
  if (j0 < 0) j0 = 0;
  if (j1 > n) j1 = n;
  if (n < 1 || j1 <= j0) return;
  const bool herm = hermitian_op<T>(op);
  const bool two = op == op_syr2k || op == op_her2k;
  const int r0 = lower ? j0 : 0, r1 = lower ? n : j1;
  blas_matrix whole;
  blas_initialize_matrix<T>(n, n, c, ldc, &whole);
  const blas_matrix cv = sub_view(whole, r0, j0, r1 - r0, j1 - j0);
  if (!is_one(beta) && !is_zero(beta)) {
    tri_scale<T>(&cv, beta, lower, r0 - j0, herm);
    beta = one<T>();
  }
  if (is_zero(alpha) || k < 1) {
    if (is_zero(beta)) tri_scale<T>(&cv, beta, lower, r0 - j0, herm);
    return;
  }
  direct::job<T> jb{direct::of_letter(a, lda, ta), direct::of_letter(b, ldb, tb), alpha, k,
                    direct::k_block_of<T>(n, n, k), c, ldc, lower ? direct::lower_part : direct::upper_part, herm};
  direct::run(jb, r0, r1, j0, j1, is_zero(beta));
  if (two) {
    jb.a = direct::of_letter(b, ldb, ta);
    jb.b = direct::of_letter(a, lda, tb);
    jb.alpha = herm ? conj_of(alpha) : alpha;
    direct::run(jb, r0, r1, j0, j1, false);
  }
}

template <class T>
void syrk_direct(bool herm, const char* uplo, const char* trans, int n, int k, const T& alpha, const T* a, int lda,
                 const T& beta, T* c, int ldc) {
  if (n < 1 || ((is_zero(alpha) || k < 1) && is_one(beta))) return;
  char ta, tb;
  operators<T>(trans, herm, ta, tb);
  direct_triangle<T>(herm ? op_herk : op_syrk, up(uplo) == 'L', ta, tb, n, k, alpha, a, lda, a, lda, beta, c, ldc,
                     0, n);
}

template <class T>
void syr2k_direct(bool herm, const char* uplo, const char* trans, int n, int k, const T& alpha, const T* a,
                  int lda, const T* b, int ldb, const T& beta, T* c, int ldc) {
  if (n < 1 || ((is_zero(alpha) || k < 1) && is_one(beta))) return;
  char ta, tb;
  operators<T>(trans, herm, ta, tb);
  direct_triangle<T>(herm ? op_her2k : op_syr2k, up(uplo) == 'L', ta, tb, n, k, alpha, a, lda, b, ldb, beta, c,
                     ldc, 0, n);
}

template <class T>
void gemmt_direct(const char* uplo, const char* transa, const char* transb, int n, int k, const T& alpha,
                  const T* a, int lda, const T* b, int ldb, const T& beta, T* c, int ldc) {
  if (n < 1 || ((is_zero(alpha) || k < 1) && is_one(beta))) return;
  direct_triangle<T>(op_gemmt, up(uplo) == 'L', paths::op_of(transa), paths::op_of(transb), n, k, alpha, a, lda, b,
                     ldb, beta, c, ldc, 0, n);
}

// ---- Entries on the engine -----------------------------------------------------------

// The records of one pass: the operands as the engine's A (n x k) and B
// (k x n), C n x n with its triangle flag.
template <class T>
struct tri_call {
  blas_op_params<T> params;
  blas_matrix A, B, C;
  gemm_kernel_info<T> info;
};

template <class T>
void set_up(tri_call<T>& t, int op, const char* uplo, const char* ta, const char* tb, int n, int k, const T& alpha,
            const T& beta, const T* a, int lda, const T* b, int ldb, T* c, int ldc) {
  blas_initialize_op_params<T>(ta, tb, &alpha, &beta, &t.params);
  t.params.op = op;
  t.params.uplo_text = uplo;
  t.params.uplo = up(uplo) == 'U' ? 0 : up(uplo) == 'L' ? 1 : -1;
  blas_initialize_matrix<T>(ta, n, k, a, lda, &t.A);
  blas_initialize_matrix<T>(tb, k, n, b, ldb, &t.B);
  blas_initialize_matrix<T>(n, n, c, ldc, &t.C);
  t.C.flags = t.params.uplo == 1 ? flag_lower : flag_upper;
  gemm_strategy st;
  initialize_strategy<T>(&st);
  initialize_kernel_info<T>(&t.params, &t.A, &t.B, &t.C, &st, &t.info);
}

inline const char* text(char c) {
  switch (c) {
    case 'N': return "N";
    case 'T': return "T";
    default: return "C";
  }
}

// SYRK, HERK and GEMMT: one pass, the direct form when panels are missing.
template <class T>
void one_pass(int op, const char* uplo, char ta, char tb, int n, int k, const T& alpha, const T& beta,
              const T* a, int lda, const T* b, int ldb, T* c, int ldc) {
  tri_call<T> t;
  set_up<T>(t, op, uplo, text(ta), text(tb), n, k, alpha, beta, a, lda, b, ldb, c, ldc);
  if (t.info.syrk_driver(&t.params, &t.A, &t.B, &t.C, nullptr, &t.info) == 2)
    t.info.fallback(&t.params, &t.A, &t.B, &t.C);
}

// SYRK and HERK with k up to kSkinnyK, or n up to kSmallN, go to the
// skinny form: a product of so few terms is all reading and writing C,
// which the panels only add to, and a small triangle costs less than
// setting up the walk. The skinny form has the bits of the walk.
constexpr int kSkinnyK = 4;
constexpr int kSmallN = 32;

template <class T>
void skinny_syrk(bool herm, const char* uplo, const char* trans, int n, int k, const T& alpha, const T* a, int lda,
                 const T& beta, T* c, int ldc) {
  if constexpr (is_complex<T>) {
    if (herm) {
      const auto al = alpha.re, be = beta.re;
      if constexpr (sizeof(T) == 8) ORB_BLAS(cherk_pst)(uplo, trans, &n, &k, &al, a, &lda, &be, c, &ldc);
      else ORB_BLAS(zherk_pst)(uplo, trans, &n, &k, &al, a, &lda, &be, c, &ldc);
      return;
    }
  }
  if constexpr (std::is_same_v<T, float>) ORB_BLAS(ssyrk_pst)(uplo, trans, &n, &k, &alpha, a, &lda, &beta, c, &ldc);
  else if constexpr (std::is_same_v<T, double>)
    ORB_BLAS(dsyrk_pst)(uplo, trans, &n, &k, &alpha, a, &lda, &beta, c, &ldc);
  else if constexpr (sizeof(T) == 8) ORB_BLAS(csyrk_pst)(uplo, trans, &n, &k, &alpha, a, &lda, &beta, c, &ldc);
  else ORB_BLAS(zsyrk_pst)(uplo, trans, &n, &k, &alpha, a, &lda, &beta, c, &ldc);
}

template <class T>
void xsyrk(bool herm, const char* uplo, const char* trans, int n, int k, const T& alpha, const T* a, int lda,
           const T& beta, T* c, int ldc) {
  if (n < 1) return;
  if ((is_zero(alpha) || k < 1) && is_one(beta)) return;
  if (k <= kSkinnyK || n <= kSmallN)
    return skinny_syrk<T>(herm, uplo, trans, n, k, alpha, a, lda, beta, c, ldc);
  char ta, tb;
  operators<T>(trans, herm, ta, tb);
  one_pass<T>(herm ? op_herk : op_syrk, uplo, ta, tb, n, k, alpha, beta, a, lda, a, lda, c, ldc);
}

template <class T>
void xgemmt(const char* uplo, const char* transa, const char* transb, int n, int k, const T& alpha, const T* a,
            int lda, const T* b, int ldb, const T& beta, T* c, int ldc) {
  if (n < 1) return;
  if ((is_zero(alpha) || k < 1) && is_one(beta)) return;
  one_pass<T>(op_gemmt, uplo, paths::op_of(transa), paths::op_of(transb), n, k, alpha, beta, a, lda, b, ldb, c,
              ldc);
}

// The short cut of small SYR2K: G = alpha op(A) op(B)' in scratch (leading
// dimension 192), then c = beta c + g(i,j) + g(j,i) on the triangle (the
// conjugate of g(j,i) for HER2K, whose diagonal stays real). False when the
// scratch cannot be had.
constexpr int kShortLd = 192;
constexpr int kShortMaxN = 128;

template <class T>
bool syr2k_short(bool herm, const char* uplo, char ta, char tb, int n, int k, const T& alpha, const T* a, int lda,
                 const T* b, int ldb, const T& beta, T* c, int ldc) {
  T* g = static_cast<T*>(orb_serv_allocate(sizeof(T) * kShortLd * kShortMaxN, 4096));
  if (!g) return false;
  const char sa[2] = {ta, 0}, sb[2] = {tb, 0};
  const T zero = engine::zero<T>();
  const int ldg = kShortLd;
  prim<T>::gemm(sa, sb, &n, &n, &k, &alpha, a, &lda, b, &ldb, &zero, g, &ldg);
  const bool lower = up(uplo) == 'L';
  for (int j = 0; j < n; ++j) {
    const int i0 = lower ? j : 0, i1 = lower ? n : j + 1;
    for (int i = i0; i < i1; ++i) {
      T& e = c[i + std::ptrdiff_t(j) * ldc];
      const T gij = g[i + std::ptrdiff_t(j) * ldg];
      const T gji = herm ? conj_of(g[j + std::ptrdiff_t(i) * ldg]) : g[j + std::ptrdiff_t(i) * ldg];
      e = add(add(mul(beta, e), gij), gji);
      if (herm && i == j) real_diagonal(e);
    }
  }
  orb_serv_deallocate(g);
  return true;
}

template <class T>
void xsyr2k(bool herm, const char* uplo, const char* trans, int n, int k, const T& alpha, const T* a, int lda,
            const T* b, int ldb, const T& beta, T* c, int ldc) {
  if (n < 1) return;
  if ((is_zero(alpha) || k < 1) && is_one(beta)) return;
  char ta, tb;
  operators<T>(trans, herm, ta, tb);
  if (n <= kShortMaxN && !is_zero(beta) && syr2k_short<T>(herm, uplo, ta, tb, n, k, alpha, a, lda, b, ldb, beta, c, ldc))
    return;
  const int op = herm ? op_her2k : op_syr2k;
  tri_call<T> t;
  set_up<T>(t, op, uplo, text(ta), text(tb), n, k, alpha, beta, a, lda, b, ldb, c, ldc);
  if (t.info.syrk_driver(&t.params, &t.A, &t.B, &t.C, nullptr, &t.info) == 2) {
    t.info.fallback(&t.params, &t.A, &t.B, &t.C);
    return;
  }
  const T alpha2 = herm ? conj_of(alpha) : alpha;
  tri_call<T> u;
  set_up<T>(u, op, uplo, text(ta), text(tb), n, k, alpha2, one<T>(), b, ldb, a, lda, c, ldc);
  if (u.info.syrk_driver(&u.params, &u.A, &u.B, &u.C, nullptr, &u.info) == 2) {
    // The first half is in C; the direct form adds the second.
    orb_serv_check_ptr_and_warn(nullptr, "syr2k");
    direct_triangle<T>(herm ? op_herk : op_gemmt, up(uplo) == 'L', ta, tb, n, k, alpha2, b, ldb, a, lda, one<T>(),
                       c, ldc, 0, n);
  }
}

// Columns [j0, j1) of the triangle, for one member of the core's team: the
// same walk as the whole call (the same K blocks, so the same sums), on the
// part of C those columns hold. op: 3 SYRK, 4 HERK, 5 SYR2K, 6 HER2K, 9
// GEMMT; ta and tb are the operators of the first pass.
template <class T>
void stretch(int op, const char* uplo, char ta, char tb, int n, int k, const T& alpha, const T* a, int lda,
             const T* b, int ldb, const T& beta, T* c, int ldc, int j0, int j1) {
  if (j0 < 0) j0 = 0;
  if (j1 > n) j1 = n;
  if (j1 <= j0 || n < 1) return;
  const bool herm = hermitian_op<T>(op);
  const bool two = op == op_syr2k || op == op_her2k;
  const bool lower = up(uplo) == 'L';
  const int r0 = lower ? j0 : 0, r1 = lower ? n : j1;
  const T alpha2 = herm && two ? conj_of(alpha) : alpha;
  // SYRK and HERK of skinny k go direct, as the whole call does.
  const bool skinny = (op == op_syrk || op == op_herk) && k <= kSkinnyK;
  auto pass = [&](const T& al, const T& be, const T* x, int ldx, const T* y, int ldy) {
    tri_call<T> t;
    set_up<T>(t, op, uplo, text(ta), text(tb), n, k, al, be, x, ldx, y, ldy, c, ldc);
    blas_matrix A = sub_view(t.A, r0, 0, r1 - r0, k);
    blas_matrix B = sub_view(t.B, 0, j0, k, j1 - j0);
    blas_matrix C = sub_view(t.C, r0, j0, r1 - r0, j1 - j0);
    if (skinny || tri_walk<T>(&t.params, &A, &B, &C, r0 - j0, &t.info) == 2)
      direct_triangle<T>(herm ? op_herk : op_gemmt, lower, ta, tb, n, k, al, x, ldx, y, ldy, t.params.beta, c, ldc,
                         j0, j1);
  };
  // SYRK and HERK read A twice; the others have a second operand.
  const bool same = op == op_syrk || op == op_herk;
  pass(alpha, beta, a, lda, same ? a : b, same ? lda : ldb);
  if (two) pass(alpha2, one<T>(), b, ldb, a, lda);
}

}  // namespace

#define ORB_INST(T)                                                                                               \
  template int tri_walk<T>(blas_op_params<T>*, blas_matrix*, blas_matrix*, blas_matrix*, int, gemm_kernel_info<T>*); \
  template void tri_scale<T>(const blas_matrix*, const T&, bool, int, bool);                                      \
  template int syrk_driver<T>(blas_op_params<T>*, blas_matrix*, blas_matrix*, blas_matrix*, gemm_buffers*,        \
                              gemm_kernel_info<T>*);                                                              \
  template int syrk_acopied<T>(blas_op_params<T>*, blas_matrix*, blas_matrix*, blas_matrix*, gemm_buffers*,       \
                               gemm_kernel_info<T>*);                                                             \
  template void syrk_scale<T>(blas_matrix*, const T*);                                                            \
  template void herk_scale<T>(blas_matrix*, const T*);                                                            \
  template void tri_ker0<T, true, false>(const T*, const blas_matrix*, const blas_matrix*, const T*, blas_matrix*, \
                                         void*);                                                                  \
  template void tri_ker0<T, false, false>(const T*, const blas_matrix*, const blas_matrix*, const T*,             \
                                          blas_matrix*, void*);                                                   \
  template void tri_ker0<T, true, true>(const T*, const blas_matrix*, const blas_matrix*, const T*, blas_matrix*,  \
                                        void*);                                                                   \
  template void tri_ker0<T, false, true>(const T*, const blas_matrix*, const blas_matrix*, const T*, blas_matrix*, \
                                         void*);
ORB_INST(float)
ORB_INST(double)
ORB_INST(orb_complex8)
ORB_INST(orb_complex16)
#undef ORB_INST

}  // namespace orb::level3

using namespace orb::level3;
using orb::engine::blas_matrix;
using orb::engine::blas_op_params;
using orb::engine::gemm_buffers;
using orb::engine::gemm_kernel_info;

#define ORB_I const int*

// Every type: SYRK, SYR2K, GEMMT, their pieces and direct forms.
#define ORB_SYRK_EXPORTS(T, t)                                                                                   \
  ORB_API void ORB_BLAS(x##t##syrk)(const char* uplo, const char* trans, ORB_I n, ORB_I k, const T* alpha,      \
                                    const T* a, ORB_I lda, const T* beta, T* c, ORB_I ldc) {                    \
    xsyrk<T>(false, uplo, trans, *n, *k, *alpha, a, *lda, *beta, c, *ldc);                                      \
  }                                                                                                              \
  ORB_API void ORB_BLAS(x##t##syr2k)(const char* uplo, const char* trans, ORB_I n, ORB_I k, const T* alpha,     \
                                     const T* a, ORB_I lda, const T* b, ORB_I ldb, const T* beta, T* c,         \
                                     ORB_I ldc) {                                                               \
    xsyr2k<T>(false, uplo, trans, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);                            \
  }                                                                                                              \
  ORB_API void ORB_BLAS(x##t##gemmt)(const char* uplo, const char* transa, const char* transb, ORB_I n, ORB_I k, \
                                     const T* alpha, const T* a, ORB_I lda, const T* b, ORB_I ldb,              \
                                     const T* beta, T* c, ORB_I ldc) {                                          \
    xgemmt<T>(uplo, transa, transb, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);                          \
  }                                                                                                              \
  ORB_API void ORB_BLAS(x##t##syrk_stretch)(ORB_I op, const char* uplo, const char* transa, const char* transb, \
                                            ORB_I n, ORB_I k, const T* alpha, const T* a, ORB_I lda,            \
                                            const T* b, ORB_I ldb, const T* beta, T* c, ORB_I ldc, ORB_I j0,    \
                                            ORB_I j1) {                                                         \
    stretch<T>(*op, uplo, orb::paths::op_of(transa), orb::paths::op_of(transb), *n, *k, *alpha, a, *lda, b,     \
               *ldb, *beta, c, *ldc, *j0, *j1);                                                                 \
  }                                                                                                              \
  ORB_API int ORB_BLAS(x##t##syrk_fullacopybcopy)(blas_op_params<T> * p, blas_matrix * a, blas_matrix * b,      \
                                                  blas_matrix * c, gemm_buffers * buf,                          \
                                                  gemm_kernel_info<T> * info) {                                 \
    return syrk_driver<T>(p, a, b, c, buf, info);                                                               \
  }                                                                                                              \
  ORB_API int ORB_BLAS(x##t##syrk_acopiedbcopy)(blas_op_params<T> * p, blas_matrix * a, blas_matrix * b,        \
                                                blas_matrix * c, gemm_buffers * buf,                            \
                                                gemm_kernel_info<T> * info) {                                   \
    return syrk_acopied<T>(p, a, b, c, buf, info);                                                              \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##syrk_lower_ker0)(const T* one, const blas_matrix* ap, const blas_matrix* bp,         \
                                            const T* beta, blas_matrix* c, void* pos) {                         \
    tri_ker0<T, true, false>(one, ap, bp, beta, c, pos);                                                        \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##syrk_upper_ker0)(const T* one, const blas_matrix* ap, const blas_matrix* bp,         \
                                            const T* beta, blas_matrix* c, void* pos) {                         \
    tri_ker0<T, false, false>(one, ap, bp, beta, c, pos);                                                       \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##syrk_kernel_lower)(ORB_I m, ORB_I n, ORB_I k, const T* a, const T* b, T* c,          \
                                              ORB_I ldc, ORB_I offset) {                                        \
    tri_kernel<T>(true, false, false, *m, *n, *k, a, b, c, *ldc, *offset);                                      \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##syrk_kernel_lower_b0)(ORB_I m, ORB_I n, ORB_I k, const T* a, const T* b, T* c,       \
                                                 ORB_I ldc, ORB_I offset) {                                     \
    tri_kernel<T>(true, false, true, *m, *n, *k, a, b, c, *ldc, *offset);                                       \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##syrk_kernel_upper)(ORB_I m, ORB_I n, ORB_I k, const T* a, const T* b, T* c,          \
                                              ORB_I ldc, ORB_I offset) {                                        \
    tri_kernel<T>(false, false, false, *m, *n, *k, a, b, c, *ldc, *offset);                                     \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##syrk_kernel_upper_b0)(ORB_I m, ORB_I n, ORB_I k, const T* a, const T* b, T* c,       \
                                                 ORB_I ldc, ORB_I offset) {                                     \
    tri_kernel<T>(false, false, true, *m, *n, *k, a, b, c, *ldc, *offset);                                      \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##syrk_mscale)(blas_matrix * c, const T* beta) { syrk_scale<T>(c, beta); }             \
  ORB_API void ORB_BLAS(t##syrk_nobufs)(const char* uplo, const char* trans, ORB_I n, ORB_I k, const T* alpha,  \
                                        const T* a, ORB_I lda, const T* beta, T* c, ORB_I ldc) {                \
    syrk_direct<T>(false, uplo, trans, *n, *k, *alpha, a, *lda, *beta, c, *ldc);                                \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##syrk_pst)(const char* uplo, const char* trans, ORB_I n, ORB_I k, const T* alpha,     \
                                     const T* a, ORB_I lda, const T* beta, T* c, ORB_I ldc) {                   \
    if (*k > kSkinnyK && *n > kSmallN)                                                                          \
      return ORB_BLAS(t##syrk_nobufs)(uplo, trans, n, k, alpha, a, lda, beta, c, ldc);                          \
    syrk_direct<T>(false, uplo, trans, *n, *k, *alpha, a, *lda, *beta, c, *ldc);                                \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##syr2k_nobufs)(const char* uplo, const char* trans, ORB_I n, ORB_I k, const T* alpha, \
                                         const T* a, ORB_I lda, const T* b, ORB_I ldb, const T* beta, T* c,     \
                                         ORB_I ldc) {                                                           \
    syr2k_direct<T>(false, uplo, trans, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);                      \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##gemmt_nobufs)(const char* uplo, const char* transa, const char* transb, ORB_I n,     \
                                         ORB_I k, const T* alpha, const T* a, ORB_I lda, const T* b, ORB_I ldb, \
                                         const T* beta, T* c, ORB_I ldc) {                                      \
    gemmt_direct<T>(uplo, transa, transb, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);                    \
  }

ORB_SYRK_EXPORTS(float, s)
ORB_SYRK_EXPORTS(double, d)
ORB_SYRK_EXPORTS(orb_complex8, c)
ORB_SYRK_EXPORTS(orb_complex16, z)
#undef ORB_SYRK_EXPORTS

// The Hermitian forms: real alpha and beta for HERK, real beta for HER2K.
#define ORB_HERK_EXPORTS(T, R, t)                                                                                \
  ORB_API void ORB_BLAS(x##t##herk)(const char* uplo, const char* trans, ORB_I n, ORB_I k, const R* alpha,      \
                                    const T* a, ORB_I lda, const R* beta, T* c, ORB_I ldc) {                    \
    xsyrk<T>(true, uplo, trans, *n, *k, T{*alpha, 0}, a, *lda, T{*beta, 0}, c, *ldc);                           \
  }                                                                                                              \
  ORB_API void ORB_BLAS(x##t##her2k)(const char* uplo, const char* trans, ORB_I n, ORB_I k, const T* alpha,     \
                                     const T* a, ORB_I lda, const T* b, ORB_I ldb, const R* beta, T* c,         \
                                     ORB_I ldc) {                                                               \
    xsyr2k<T>(true, uplo, trans, *n, *k, *alpha, a, *lda, b, *ldb, T{*beta, 0}, c, *ldc);                       \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##herk_lower_ker0)(const T* one, const blas_matrix* ap, const blas_matrix* bp,         \
                                            const T* beta, blas_matrix* c, void* pos) {                         \
    tri_ker0<T, true, true>(one, ap, bp, beta, c, pos);                                                         \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##herk_upper_ker0)(const T* one, const blas_matrix* ap, const blas_matrix* bp,         \
                                            const T* beta, blas_matrix* c, void* pos) {                         \
    tri_ker0<T, false, true>(one, ap, bp, beta, c, pos);                                                        \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##herk_kernel_lower)(ORB_I m, ORB_I n, ORB_I k, const T* a, const T* b, T* c,          \
                                              ORB_I ldc, ORB_I offset) {                                        \
    tri_kernel<T>(true, true, false, *m, *n, *k, a, b, c, *ldc, *offset);                                       \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##herk_kernel_upper)(ORB_I m, ORB_I n, ORB_I k, const T* a, const T* b, T* c,          \
                                              ORB_I ldc, ORB_I offset) {                                        \
    tri_kernel<T>(false, true, false, *m, *n, *k, a, b, c, *ldc, *offset);                                      \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##herk_mscale)(blas_matrix * c, const T* beta) { herk_scale<T>(c, beta); }             \
  ORB_API void ORB_BLAS(t##herk_pst)(const char* uplo, const char* trans, ORB_I n, ORB_I k, const R* alpha,     \
                                     const T* a, ORB_I lda, const R* beta, T* c, ORB_I ldc) {                   \
    if (*k > kSkinnyK && *n > kSmallN)                                                                          \
      return ORB_BLAS(t##herk_nobufs)(uplo, trans, n, k, alpha, a, lda, beta, c, ldc);                          \
    syrk_direct<T>(true, uplo, trans, *n, *k, T{*alpha, 0}, a, *lda, T{*beta, 0}, c, *ldc);                     \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##herk_nobufs)(const char* uplo, const char* trans, ORB_I n, ORB_I k, const R* alpha,  \
                                        const T* a, ORB_I lda, const R* beta, T* c, ORB_I ldc) {                \
    syrk_direct<T>(true, uplo, trans, *n, *k, T{*alpha, 0}, a, *lda, T{*beta, 0}, c, *ldc);                     \
  }                                                                                                              \
  ORB_API void ORB_BLAS(t##her2k_nobufs)(const char* uplo, const char* trans, ORB_I n, ORB_I k, const T* alpha, \
                                         const T* a, ORB_I lda, const T* b, ORB_I ldb, const R* beta, T* c,     \
                                         ORB_I ldc) {                                                           \
    syr2k_direct<T>(true, uplo, trans, *n, *k, *alpha, a, *lda, b, *ldb, T{*beta, 0}, c, *ldc);                 \
  }

ORB_HERK_EXPORTS(orb_complex8, float, c)
ORB_HERK_EXPORTS(orb_complex16, double, z)
#undef ORB_HERK_EXPORTS
#undef ORB_I
