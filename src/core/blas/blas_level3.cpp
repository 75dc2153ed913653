// Public GEMM names (orb_blas_sgemm, ...) and the packed-operand interface.
//
// orb_blas_?gemm checks its arguments as the reference routine does, in its
// order, reports the first illegal one through orb_serv_xerbla and returns
// without touching C. A legal call runs on the core's threads when it is
// big enough, on the core's GEMM team (team.hpp). A call that takes the
// packed path runs the kernel's x?gemm_team: the team shares each packed
// panel of B and deals out the rows of C. Any other call is cut into
// blocks of rows and columns (never K) and each thread runs the kernel's
// x?gemm on its blocks; a cut is taken only when every block goes down the
// same path of the kernel as the whole call would. Every path sums each
// element of C in an order fixed by K alone, so the result is the same to
// the bit for any number of threads.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <new>

#ifdef ORB_HAVE_OPENMP
#include <omp.h>
#endif

#include "blas/engine/paths_route.hpp"
#include "blas/engine/team_state.hpp"
#include "core/dispatch.hpp"
#include "core/team.hpp"
#include "orb/orb_blas.h"
#include "orb/orb_gemm_pack.h"
#include "orb/orb_service.h"

namespace orb::core {
namespace {

using paths::route;

// Names go to xerbla_ blank-padded to six characters, the width the
// reference test programs' XERBLA declares for them.
template <class T> struct gemm_type;
template <> struct gemm_type<float> {
  static constexpr char letter = 's';
  static constexpr const char* name = "SGEMM ";
  static bool is_zero(const float& v) { return v == 0.0f; }
  static bool is_one(const float& v) { return v == 1.0f; }
};
template <> struct gemm_type<double> {
  static constexpr char letter = 'd';
  static constexpr const char* name = "DGEMM ";
  static bool is_zero(const double& v) { return v == 0.0; }
  static bool is_one(const double& v) { return v == 1.0; }
};
template <> struct gemm_type<orb_complex8> {
  static constexpr char letter = 'c';
  static constexpr const char* name = "CGEMM ";
  static bool is_zero(const orb_complex8& v) { return v.re == 0.0f && v.im == 0.0f; }
  static bool is_one(const orb_complex8& v) { return v.re == 1.0f && v.im == 0.0f; }
};
template <> struct gemm_type<orb_complex16> {
  static constexpr char letter = 'z';
  static constexpr const char* name = "ZGEMM ";
  static bool is_zero(const orb_complex16& v) { return v.re == 0.0 && v.im == 0.0; }
  static bool is_one(const orb_complex16& v) { return v.re == 1.0 && v.im == 0.0; }
};

// x?gemm, or with `packed` x?gemm_packed: the packed path on a block,
// whatever the block's own size would choose.
template <class T>
auto gemm_kernel(bool packed = false) {
  const auto& k = kernels();
  if constexpr (gemm_type<T>::letter == 's') return packed ? k.xsgemm_packed : k.xsgemm;
  else if constexpr (gemm_type<T>::letter == 'd') return packed ? k.xdgemm_packed : k.xdgemm;
  else if constexpr (gemm_type<T>::letter == 'c') return packed ? k.xcgemm_packed : k.xcgemm;
  else return packed ? k.xzgemm_packed : k.xzgemm;
}

// x?gemm_team: the packed path on a team.
template <class T>
auto gemm_team_kernel() {
  const auto& k = kernels();
  if constexpr (gemm_type<T>::letter == 's') return k.xsgemm_team;
  else if constexpr (gemm_type<T>::letter == 'd') return k.xdgemm_team;
  else if constexpr (gemm_type<T>::letter == 'c') return k.xcgemm_team;
  else return k.xzgemm_team;
}

inline char fold(char c) { return char(c & ~32); }
inline bool trans_ok(char c) {
  c = fold(c);
  return c == 'N' || c == 'T' || c == 'C';
}
inline int max1(int v) { return v > 1 ? v : 1; }

}  // namespace

// 0 when legal, else the position the reference routine reports.
int gemm_check(char transa, char transb, int m, int n, int k, int lda, int ldb, int ldc) {
  const int nrowa = fold(transa) == 'N' ? m : k;
  const int nrowb = fold(transb) == 'N' ? k : n;
  if (!trans_ok(transa)) return 1;
  if (!trans_ok(transb)) return 2;
  if (m < 0) return 3;
  if (n < 0) return 4;
  if (k < 0) return 5;
  if (lda < max1(nrowa)) return 8;
  if (ldb < max1(nrowb)) return 10;
  if (ldc < max1(m)) return 13;
  return 0;
}

namespace {

// Below this many multiply-adds (some 0.1 ms of one core) a call stays on
// one thread: starting and joining the team would cost more than it saves.
constexpr double kThreadedWork = 128.0 * 128.0 * 128.0;
// Row blocks start on multiples of this, which every type's register tile
// divides, so no block starts inside a tile.
constexpr int kRowAlign = 16;
// A packed call with at least this many rows per thread runs as one team
// sharing B; with fewer rows the blocks of the plan (columns, mostly) keep
// the threads busier.
constexpr int kTeamRows = 32;

struct grid {
  int tm = 1, tn = 1;  // blocks of rows, of columns
  int rows = 0, cols = 0;  // rows and columns of a full block
  bool packed = false;  // the blocks run the packed path whatever their size
};

// Rows (or columns) of block b when `total` is cut into blocks of `step`.
inline int part(int total, int step, int b) {
  const int first = b * step;
  return first >= total ? 0 : std::min(step, total - first);
}

template <class T>
grid plan(char ta, char tb, int m, int n, int k, bool alpha_zero, bool beta_one, int threads) {
  grid best;
  if (threads < 2) return best;
  const char type = gemm_type<T>::letter;
  const route whole = paths::gemm_route(type, ta, tb, m, n, k, alpha_zero, beta_one);
  if (whole == route::none || whole == route::sm) return best;
  int best_blocks = 1;
  for (int tm = 1; tm <= threads; ++tm) {
    for (int tn = 1; tm * tn <= threads; ++tn) {
      if (tm * tn <= best_blocks) continue;
      int rows = (m + tm - 1) / tm;
      if (tm > 1) rows = (rows + kRowAlign - 1) / kRowAlign * kRowAlign;
      const int cols = (n + tn - 1) / tn;
      // Every block must be non-empty and take the whole call's path. The
      // packed path is open to any block (its sums depend on K alone), so
      // a call that takes it may be cut into blocks that alone would go
      // another way.
      if (part(m, rows, tm - 1) < 1 || part(n, cols, tn - 1) < 1) continue;
      bool same = whole == route::packed;
      const int rs[2] = {rows, part(m, rows, tm - 1)};
      const int cs[2] = {cols, part(n, cols, tn - 1)};
      if (!same) {
        same = true;
        for (int r : rs)
          for (int c : cs) same = same && paths::gemm_route(type, ta, tb, r, c, k, alpha_zero, beta_one) == whole;
      }
      if (!same) continue;
      best = {tm, tn, rows, cols, whole == route::packed};
      best_blocks = tm * tn;
    }
  }
  return best;
}

// The threads a call may have: 1 for a small one or inside a parallel region.
int threads_for(int m, int n, int k) {
  if (double(m) * n * std::max(k, 1) < kThreadedWork) return 1;
#ifdef ORB_HAVE_OPENMP
  if (omp_in_parallel()) return 1;
#endif
  return orb_get_max_threads();
}

// A call big enough for a team: the plan and the team. Out of line, so that
// a small call does not set up this frame (the block closure, the team's
// arguments) only to skip it.
template <class T>
__attribute__((noinline)) void run_gemm_team(const char* transa, const char* transb, int m, int n, int k,
                                             const T* alpha, const T* a, int lda, const T* b, int ldb,
                                             const T* beta, T* c, int ldc) {
  using G = gemm_type<T>;
  const auto kernel = gemm_kernel<T>();
  const int threads = threads_for(m, n, k);
  if (threads < 2) {
    kernel(transa, transb, &m, &n, &k, alpha, a, &lda, b, &ldb, beta, c, &ldc);
    return;
  }
  const char ta = fold(*transa), tb = fold(*transb);
  const grid g = plan<T>(ta, tb, m, n, k, G::is_zero(*alpha), G::is_one(*beta), threads);
  const int blocks = g.tm * g.tn;
  if (blocks < 2) {
    kernel(transa, transb, &m, &n, &k, alpha, a, &lda, b, &ldb, beta, c, &ldc);
    return;
  }
  if (g.packed && m >= kTeamRows * threads) {
    const auto team_kernel = gemm_team_kernel<T>();
    engine::gemm_team_state state{};
    auto member = [&](int thread, int size) {
      team_kernel(transa, transb, &m, &n, &k, alpha, a, &lda, b, &ldb, beta, c, &ldc, &thread, &size, &state);
    };
    team_run(threads, member);
    return;
  }
  const auto packed_kernel = gemm_kernel<T>(true);
  auto block = [&](int id) {
    const int bi = id / g.tn, bj = id % g.tn;
    const int i0 = bi * g.rows, j0 = bj * g.cols;
    const int mb = part(m, g.rows, bi), nb = part(n, g.cols, bj);
    if (mb < 1 || nb < 1) return;
    // op(A) rows i0.. and op(B) columns j0.. of the whole call.
    const T* ab = ta == 'N' ? a + i0 : a + std::ptrdiff_t(i0) * lda;
    const T* bb = tb == 'N' ? b + std::ptrdiff_t(j0) * ldb : b + j0;
    (g.packed ? packed_kernel : kernel)(transa, transb, &mb, &nb, &k, alpha, ab, &lda, bb, &ldb, beta,
                                        c + i0 + std::ptrdiff_t(j0) * ldc, &ldc);
  };
  // The team may come smaller than asked: each member takes every size-th block.
  auto member = [&](int thread, int size) {
    for (int id = thread; id < blocks; id += size) block(id);
  };
  team_run(blocks, member);
}

template <class T>
inline void run_gemm(const char* transa, const char* transb, int m, int n, int k, const T* alpha, const T* a,
                     int lda, const T* b, int ldb, const T* beta, T* c, int ldc) {
  // Small calls stay on this thread without asking about threads at all.
  if (double(m) * n * std::max(k, 1) < kThreadedWork) {
    gemm_kernel<T>()(transa, transb, &m, &n, &k, alpha, a, &lda, b, &ldb, beta, c, &ldc);
    return;
  }
  run_gemm_team<T>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

template <class T>
void public_gemm(const char* transa, const char* transb, const int* m, const int* n, const int* k, const T* alpha,
                 const T* a, const int* lda, const T* b, const int* ldb, const T* beta, T* c, const int* ldc) {
  using G = gemm_type<T>;
  const int info = gemm_check(*transa, *transb, *m, *n, *k, *lda, *ldb, *ldc);
  if (info != 0) {
    orb_serv_xerbla(G::name, &info, 6);
    return;
  }
  if (*m == 0 || *n == 0) return;
  if ((G::is_zero(*alpha) || *k == 0) && G::is_one(*beta)) return;
  run_gemm<T>(transa, transb, *m, *n, *k, alpha, a, *lda, b, *ldb, beta, c, *ldc);
}

}  // namespace

// The threads the public GEMM would run a legal call on: those of the
// team for a packed call with rows enough, the blocks of the plan for
// another, 1 where it stays on the caller's thread.
template <class T>
int gemm_threads(char transa, char transb, int m, int n, int k, const T& alpha, const T& beta) {
  using G = gemm_type<T>;
  if (m < 1 || n < 1) return 1;
  const int threads = threads_for(m, n, k);
  if (threads < 2) return 1;
  const grid g = plan<T>(fold(transa), fold(transb), m, n, k, G::is_zero(alpha), G::is_one(beta), threads);
  if (g.tm * g.tn < 2) return 1;
  return g.packed && m >= kTeamRows * threads ? threads : g.tm * g.tn;
}
template int gemm_threads<float>(char, char, int, int, int, const float&, const float&);
template int gemm_threads<double>(char, char, int, int, int, const double&, const double&);
template int gemm_threads<orb_complex8>(char, char, int, int, int, const orb_complex8&, const orb_complex8&);
template int gemm_threads<orb_complex16>(char, char, int, int, int, const orb_complex16&, const orb_complex16&);

}  // namespace orb::core

using orb::core::public_gemm;

extern "C" {

void orb_blas_sgemm(const char* transa, const char* transb, const int* m, const int* n, const int* k,
                    const float* alpha, const float* a, const int* lda, const float* b, const int* ldb,
                    const float* beta, float* c, const int* ldc) {
  public_gemm(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}
void orb_blas_dgemm(const char* transa, const char* transb, const int* m, const int* n, const int* k,
                    const double* alpha, const double* a, const int* lda, const double* b, const int* ldb,
                    const double* beta, double* c, const int* ldc) {
  public_gemm(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}
void orb_blas_cgemm(const char* transa, const char* transb, const int* m, const int* n, const int* k,
                    const orb_complex8* alpha, const orb_complex8* a, const int* lda, const orb_complex8* b,
                    const int* ldb, const orb_complex8* beta, orb_complex8* c, const int* ldc) {
  public_gemm(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}
void orb_blas_zgemm(const char* transa, const char* transb, const int* m, const int* n, const int* k,
                    const orb_complex16* alpha, const orb_complex16* a, const int* lda, const orb_complex16* b,
                    const int* ldb, const orb_complex16* beta, orb_complex16* c, const int* ldc) {
  public_gemm(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

}  // extern "C"
