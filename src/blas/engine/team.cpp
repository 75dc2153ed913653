// The packed GEMM on a team of threads: x?gemm_team is called by every
// member at once, each with its number, the team's size and one shared
// state. The rows of C are dealt out in whole register tiles; each (K, N)
// block of B is packed once, every member packing its share of the
// column slivers into a panel all of them read, and each member packs its
// own rows of A with alpha and runs the register kernel on them.
//
// The sums are those of the one-thread packed driver: the same K blocks
// (from the whole call's sizes), B packed with factor 1, A with alpha, a
// beta other than 0 and 1 applied once before any product. Every element
// of C receives, per K block, one fused multiply-add chain in K order, so
// the team's result is the one-thread result to the bit.
//
// Two B panels alternate. A member packs the panel of step s + 1 only after
// the barrier of step s, which every member reaches after finishing its
// products of step s - 1, the last step that read that panel: one barrier
// per step.
//
// Thread 0 takes one allocation for the B panels and every member's A
// panel before the first barrier; when it fails, each member runs the
// one-thread packed driver on its rows, which gives the same bits.
#include "blas/engine/engine.hpp"
#include "blas/engine/paths.hpp"

namespace orb::engine {
namespace {

constexpr std::size_t kPage = 4096;
inline std::size_t pages(std::size_t bytes) { return (bytes + kPage - 1) / kPage * kPage; }
inline int min_int(int x, int y) { return x < y ? x : y; }

template <class T>
void team_gemm(const char* transa, const char* transb, int M, int N, int K, const T* palpha, const T* a, int lda,
               const T* b, int ldb, const T* pbeta, T* c, int ldc, int thread, int nthreads,
               gemm_team_state* state) {
  if (M < 1 || N < 1) return;
  blas_op_params<T> params;
  blas_initialize_op_params<T>(transa, transb, palpha, pbeta, &params);
  blas_matrix A, B, C;
  blas_initialize_matrix<T>(transa, M, K, a, lda, &A);
  blas_initialize_matrix<T>(transb, K, N, b, ldb, &B);
  blas_initialize_matrix<T>(M, N, c, ldc, &C);
  gemm_strategy sgy;
  initialize_strategy<T>(&sgy);
  gemm_kernel_info<T> info;
  initialize_kernel_info<T>(&params, &A, &B, &C, &sgy, &info);
  const int um = info.strategy.unroll_m;
  // Rows go out, and A is packed and multiplied, in groups of the strips one
  // register tile spans.
  const int group = um * kTileStrips;

  int rows = 0;
  const int r0 = orb_serv_divbythreadsnb(&thread, &nthreads, &M, &group, &rows);
  const T alpha = *palpha, onev = one<T>();
  T beta = *pbeta;
  blas_matrix mine = sub_view(C, r0 < M ? r0 : 0, 0, rows, N);
  // Nothing to multiply: C := beta C on each member's rows.
  if (is_zero(alpha) || K < 1) {
    if (rows > 0 && !is_one(beta)) info.scale_c(&mine, &beta);
    return;
  }

  gemm_buffers bf;
  initialize_buffers<T>(&A, &B, &info.strategy, &bf);
  const int kb = bf.k_block, nblk = bf.n_block;
  const int groups = (M + group - 1) / group;
  const int most = (groups + nthreads - 1) / nthreads * group;  // rows of the largest share
  const int cap = round_up(min_int(most, bf.m_block), um);
  const std::size_t e = sizeof(T);
  const std::size_t b_bytes = pages(std::size_t(nblk) * std::size_t(kb) * e + 768);
  const std::size_t a_bytes = pages(std::size_t(cap) * std::size_t(kb) * e + 1664);
  gemm_barrier* bar = &state->barrier;
  if (thread == 0) state->block = orb_serv_allocate(kPage + 2 * b_bytes + std::size_t(nthreads) * a_bytes, 128);
  orb_barrier_wait(bar, thread, nthreads);
  if (!state->block) {
    if (rows > 0) {
      const T* ar = upper_char(transa) == 'N' ? a + r0 : a + std::ptrdiff_t(r0) * lda;
      gemm_entries<T>::packed(transa, transb, &rows, &N, &K, palpha, ar, &lda, b, &ldb, pbeta, c + r0, &ldc);
    }
    return;
  }
  // The panels start at different offsets into a page, so that A and B do
  // not fall on the same cache sets.
  char* base = reinterpret_cast<char*>((reinterpret_cast<std::uintptr_t>(state->block) + kPage - 1) & ~(kPage - 1));
  char* b_panels[2] = {base + 768, base + b_bytes + 768};
  blas_matrix ap = bf.a_panel;
  ap.base = base + 2 * b_bytes + std::size_t(thread) * a_bytes + 1664;

  if (rows > 0 && !is_one(beta) && !is_zero(beta)) {
    info.scale_c(&mine, &beta);
    beta = onev;
  }
  const bool all_rows_fit = rows <= cap;
  int step = 0;
  for (int p0 = 0; p0 < K; p0 += kb) {
    const int kl = min_int(kb, K - p0);
    const T bet = p0 == 0 ? beta : onev;
    for (int j0 = 0; j0 < N; j0 += nblk, ++step) {
      const int nb = min_int(nblk, N - j0);
      blas_matrix bp = bf.b_panel;
      bp.base = b_panels[step & 1];
      bp.rows = kl;
      bp.cols = nb;
      {
        // This member's slivers of the panel; the last, partial one falls
        // to the last member with any, as in a whole panel.
        int cols = 0;
        const int c0 = orb_serv_divbythreadsnb(&thread, &nthreads, &nb, &info.strategy.unroll_n, &cols);
        if (cols > 0) {
          blas_matrix src = sub_view(B, p0, j0 + c0, kl, cols);
          blas_matrix dst = bp;
          dst.base = getPointer_buffer(0, c0, &bp);
          info.copy_b(&src, &dst, &onev);
        }
      }
      orb_barrier_wait(bar, thread, nthreads);
      for (int i = 0; i < rows; i += cap) {
        const int ms = min_int(cap, rows - i);
        blas_matrix apv = ap;
        apv.rows = kl;
        if (all_rows_fit && j0 > 0) {
          // Packed at the first N block of this K block.
          blas_matrix cv = sub_view(C, r0 + i, j0, ms, nb);
          info.kernel(&onev, &apv, &bp, &bet, &cv, nullptr);
          continue;
        }
        // Group by group of strips, each multiplied while it is fresh in cache.
        for (int s = 0; s < ms; s += group) {
          const int sr = min_int(group, ms - s);
          blas_matrix src = sub_view(A, r0 + i + s, p0, sr, kl);
          blas_matrix dst = apv;
          dst.base = getPointer_buffer(0, s, &apv);
          info.copy_a(&src, &dst, &alpha);
          blas_matrix cv = sub_view(C, r0 + i + s, j0, sr, nb);
          info.kernel(&onev, &dst, &bp, &bet, &cv, nullptr);
        }
      }
    }
  }
  // Nobody reads the panels once everybody is here.
  orb_barrier_wait(bar, thread, nthreads);
  if (thread == 0) {
    orb_serv_deallocate(state->block);
    state->block = nullptr;
  }
}

}  // namespace
}  // namespace orb::engine

using namespace orb::engine;

#define ORB_TEAM_EXPORTS(T, t)                                                                                  \
  ORB_API void ORB_BLAS(x##t##gemm_team)(const char* transa, const char* transb, const int* m, const int* n,   \
                                         const int* k, const T* alpha, const T* a, const int* lda, const T* b, \
                                         const int* ldb, const T* beta, T* c, const int* ldc,                  \
                                         const int* thread, const int* nthreads, void* state) {                \
    team_gemm<T>(transa, transb, *m, *n, *k, alpha, a, *lda, b, *ldb, beta, c, *ldc, *thread, *nthreads,     \
                 static_cast<gemm_team_state*>(state));                                                         \
  }
ORB_TEAM_EXPORTS(float, s)
ORB_TEAM_EXPORTS(double, d)
ORB_TEAM_EXPORTS(orb_complex8, c)
ORB_TEAM_EXPORTS(orb_complex16, z)
#undef ORB_TEAM_EXPORTS
