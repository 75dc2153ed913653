// The threaded forms of the transposition routines: the kernels hand a call
// over with the serial routine that does the work, and this file cuts it
// into ranges of rows, columns or matrices for the core's team. Every
// element of a result is computed on its own, so the cut changes no bit.
//
// One thread, a call from inside a parallel region, or a core built
// without OpenMP (the ThreadSanitizer build) runs the serial routine on the
// calling thread; the square in-place transposition then answers 0 and its
// kernel does the work itself.
#include <cstddef>

#ifdef ORB_HAVE_OPENMP
#include <omp.h>
#endif

#include "orb/orb_service.h"
#include "trans/callbacks.h"

namespace {

using std::size_t;

// Each thread is given at least this many bytes to move: starting and
// joining a team costs microseconds (far more on a busy machine), which a
// smaller share of a copy would not repay.
constexpr double kBytesPerThread = 256.0 * 1024;

// Threads for a call that moves `bytes` (read and written).
int team_size(double bytes) {
#ifdef ORB_HAVE_OPENMP
  if (omp_in_parallel()) return 1;
  const int most = orb_get_max_threads();
  const double fit = bytes / kBytesPerThread;
  return fit < 1 ? 1 : fit < most ? int(fit) : most;
#else
  (void)bytes;
  return 1;
#endif
}

// Runs body(k) for k in [0, count) on up to `threads` threads.
template <class F>
void run(int threads, size_t count, F body) {
#ifdef ORB_HAVE_OPENMP
  if (threads > 1 && count > 1) {
    const int t = count < size_t(threads) ? int(count) : threads;
#pragma omp parallel for num_threads(t) schedule(dynamic, 1)
    for (long k = 0; k < long(count); ++k) body(size_t(k));
    return;
  }
#endif
  (void)threads;
  for (size_t k = 0; k < count; ++k) body(k);
}

inline char fold(char c) { return char(c & ~32); }
inline bool transposes(char t) { return fold(t) == 'T' || fold(t) == 'C'; }

// Ranges start on multiples of 16 rows, so that every range but the last
// fills whole register tiles.
constexpr size_t kAlign = 16;

struct cut {
  size_t step, count;
};
cut cut_into(size_t total, int threads) {
  size_t step = (total + size_t(threads) - 1) / size_t(threads);
  step = (step + kAlign - 1) / kAlign * kAlign;
  return {step, (total + step - 1) / step};
}

template <class T, class Fn>
void copy2_par(char ordering, char trans, size_t rows, size_t cols, T alpha, const T* a, size_t lda, size_t sa, T* b,
               size_t ldb, size_t sb, Fn seq) {
  const int threads = team_size(2.0 * sizeof(T) * double(rows) * double(cols));
  if (threads < 2) return seq(ordering, trans, rows, cols, alpha, a, lda, sa, b, ldb, sb);
  // Row-major terms: R rows of C elements.
  const bool col = fold(ordering) == 'C';
  const size_t R = col ? cols : rows, C = col ? rows : cols;
  const bool tr = transposes(trans);
  const bool by_rows = R >= C;
  const cut k = cut_into(by_rows ? R : C, threads);
  run(threads, k.count, [&](size_t id) {
    const size_t first = id * k.step;
    const size_t total = by_rows ? R : C;
    const size_t n = total - first < k.step ? total - first : k.step;
    if (by_rows) {
      seq('R', trans, n, C, alpha, a + first * lda, lda, sa, tr ? b + first * sb : b + first * ldb, ldb, sb);
    } else {
      seq('R', trans, R, n, alpha, a + first * sa, lda, sa, tr ? b + first * ldb : b + first * sb, ldb, sb);
    }
  });
}

template <class T, class Fn>
void add_par(char ordering, char ta, char tb, size_t rows, size_t cols, T alpha, const T* a, size_t lda, T beta,
             const T* b, size_t ldb, T* c, size_t ldc, Fn seq) {
  const int threads = team_size(3.0 * sizeof(T) * double(rows) * double(cols));
  if (threads < 2) return seq(ordering, ta, tb, rows, cols, alpha, a, lda, beta, b, ldb, c, ldc);
  const bool col = fold(ordering) == 'C';
  const size_t R = col ? cols : rows, C = col ? rows : cols;
  const cut k = cut_into(R, threads);
  run(threads, k.count, [&](size_t id) {
    const size_t first = id * k.step;
    const size_t n = R - first < k.step ? R - first : k.step;
    seq('R', ta, tb, n, C, alpha, transposes(ta) ? a + first : a + first * lda, lda, beta,
        transposes(tb) ? b + first : b + first * ldb, ldb, c + first * ldc, ldc);
  });
}

template <class T, class Fn>
void copy_batch_par(char ordering, const char* trans, const size_t* rows, const size_t* cols, const T* alpha,
                    const T* const* a, const size_t* lda, T* const* b, const size_t* ldb, size_t groups,
                    const size_t* group_size, Fn seq) {
  size_t total = 0;
  double bytes = 0;
  for (size_t g = 0; g < groups; ++g) {
    total += group_size[g];
    bytes += 2.0 * sizeof(T) * double(rows[g]) * double(cols[g]) * double(group_size[g]);
  }
  // Matrix m belongs to the group whose running total first exceeds m.
  run(team_size(bytes), total, [&](size_t m) {
    size_t g = 0, start = 0;
    while (start + group_size[g] <= m) start += group_size[g++];
    seq(ordering, trans[g], rows[g], cols[g], alpha[g], a[m], lda[g], 1, b[m], ldb[g], 1);
  });
}

template <class T, class Fn>
void copy_strided_par(char ordering, char trans, size_t rows, size_t cols, T alpha, const T* a, size_t lda,
                      size_t stride_a, T* b, size_t ldb, size_t stride_b, size_t count, Fn seq) {
  run(team_size(2.0 * sizeof(T) * double(rows) * double(cols) * double(count)), count, [&](size_t m) {
    seq(ordering, trans, rows, cols, alpha, a + m * stride_a, lda, 1, b + m * stride_b, ldb, 1);
  });
}

template <class T, class Fn>
void add_strided_par(char ordering, char ta, char tb, size_t rows, size_t cols, T alpha, const T* a, size_t lda,
                     size_t stride_a, T beta, const T* b, size_t ldb, size_t stride_b, T* c, size_t ldc,
                     size_t stride_c, size_t count, Fn one) {
  run(team_size(3.0 * sizeof(T) * double(rows) * double(cols) * double(count)), count, [&](size_t m) {
    one(ordering, ta, tb, rows, cols, alpha, a + m * stride_a, lda, beta, b + m * stride_b, ldb, c + m * stride_c,
        ldc);
  });
}

template <class T, class Fn>
int square_par(size_t n, T* ab, size_t lda, Fn team) {
  const int threads = team_size(2.0 * sizeof(T) * double(n) * double(n));
  if (threads < 2) return 0;
#ifdef ORB_HAVE_OPENMP
#pragma omp parallel num_threads(threads)
  team(omp_get_thread_num(), omp_get_num_threads(), n, ab, lda);
  return 1;
#else
  (void)n, (void)ab, (void)lda, (void)team;
  return 0;
#endif
}

}  // namespace

#define ORB_TRANS_PAR(x, T)                                                                                     \
  extern "C" void orb_trans_orb_##x##omatcopy2_par(char ordering, char trans, size_t rows, size_t cols,         \
                                                   T alpha, const T* a, size_t lda, size_t stridea, T* b,       \
                                                   size_t ldb, size_t strideb, orb_trans_##x##copy2_fn seq) {   \
    copy2_par<T>(ordering, trans, rows, cols, alpha, a, lda, stridea, b, ldb, strideb, seq);                    \
  }                                                                                                             \
  extern "C" void orb_trans_orb_##x##omatadd_par(char ordering, char transa, char transb, size_t rows,          \
                                                 size_t cols, T alpha, const T* a, size_t lda, T beta,          \
                                                 const T* b, size_t ldb, T* c, size_t ldc,                      \
                                                 orb_trans_##x##add_fn seq) {                                   \
    add_par<T>(ordering, transa, transb, rows, cols, alpha, a, lda, beta, b, ldb, c, ldc, seq);                 \
  }                                                                                                             \
  extern "C" void orb_trans_orb_##x##omatcopy_batch_par(                                                        \
      char ordering, const char* trans, const size_t* rows, const size_t* cols, const T* alpha,                 \
      const T* const* a, const size_t* lda, T* const* b, const size_t* ldb, size_t groups,                      \
      const size_t* group_size, orb_trans_##x##copy2_fn seq) {                                                  \
    copy_batch_par<T>(ordering, trans, rows, cols, alpha, a, lda, b, ldb, groups, group_size, seq);             \
  }                                                                                                             \
  extern "C" void orb_trans_orb_##x##omatcopy_batch_strided_par(                                                \
      char ordering, char trans, size_t rows, size_t cols, T alpha, const T* a, size_t lda, size_t stride_a,    \
      T* b, size_t ldb, size_t stride_b, size_t count, orb_trans_##x##copy2_fn seq) {                           \
    copy_strided_par<T>(ordering, trans, rows, cols, alpha, a, lda, stride_a, b, ldb, stride_b, count, seq);    \
  }                                                                                                             \
  extern "C" void orb_trans_orb_##x##omatadd_batch_strided_par(                                                 \
      char ordering, char transa, char transb, size_t rows, size_t cols, T alpha, const T* a, size_t lda,       \
      size_t stride_a, T beta, const T* b, size_t ldb, size_t stride_b, T* c, size_t ldc, size_t stride_c,      \
      size_t count, orb_trans_##x##add_fn one) {                                                                \
    add_strided_par<T>(ordering, transa, transb, rows, cols, alpha, a, lda, stride_a, beta, b, ldb, stride_b,   \
                       c, ldc, stride_c, count, one);                                                           \
  }                                                                                                             \
  extern "C" int orb_trans_orb_##x##imatcopy_square_t_par(size_t n, T* ab, size_t lda,                          \
                                                          orb_trans_##x##team_fn team) {                        \
    return square_par<T>(n, ab, lda, team);                                                                     \
  }

ORB_TRANS_PAR(s, float)
ORB_TRANS_PAR(d, double)
ORB_TRANS_PAR(c, orb_complex8)
ORB_TRANS_PAR(z, orb_complex16)
