// Public transposition names (orb_domatcopy, ...): each checks its
// arguments, reports the first bad one through orb_serv_xerbla with its
// position and returns without writing anything, and otherwise forwards to
// the kernel of the loaded library, which threads through the core's
// threaded forms (threads.cpp) where a call is large enough.
#include <cstddef>

#include "core/blas/reports.hpp"
#include "core/dispatch.hpp"
#include "orb/orb_service.h"
#include "orb/orb_trans.h"

namespace {

using std::size_t;

inline char fold(char c) { return char(c & ~32); }
inline bool ordering_ok(char o) { return fold(o) == 'R' || fold(o) == 'C'; }
inline bool trans_ok(char t) {
  t = fold(t);
  return t == 'N' || t == 'T' || t == 'R' || t == 'C';
}
inline bool transposes(char t) { return fold(t) == 'T' || fold(t) == 'C'; }

// Least leading dimension of a rows x cols matrix in the given ordering
// whose neighbours along a line are `stride` apart: the lines must not
// overlap.
inline size_t least_ld(char ordering, size_t rows, size_t cols, size_t stride) {
  const size_t inner = fold(ordering) == 'R' ? cols : rows;
  const size_t s = stride ? stride : 1;
  return inner <= 1 ? 1 : (inner - 1) * s + 1;
}
// Elements from the first of a matrix to the first of the next line past
// its last: the least distance between matrices of a strided batch.
inline size_t span(char ordering, size_t rows, size_t cols, size_t ld) {
  return ld * (fold(ordering) == 'R' ? rows : cols);
}

using orb::core::reports::report;
using orb::core::reports::verbose_on;

// The verbose line of a call, as the BLAS names print theirs. The batch
// forms' arrays of letters are arrays like the others: shown by address.
inline const void* shown(const char* letters) { return letters; }
template <class A>
A shown(A a) {
  return a;
}
struct trans_line : orb::core::reports::verbose_line {
  using verbose_line::verbose_line;
  template <class... A>
  void format(A... a) {
    verbose_line::format(shown(a)...);
  }
};

// The checks of one scaled copy: 0 or the position of the first bad
// argument, given the positions of lda, stridea, ldb, strideb (0: absent).
int copy_check(char ordering, char trans, size_t rows, size_t cols, size_t lda, size_t sa, size_t ldb, size_t sb,
               int plda, int psa, int pldb, int psb) {
  if (!ordering_ok(ordering)) return 1;
  if (!trans_ok(trans)) return 2;
  if (lda < least_ld(ordering, rows, cols, sa)) return plda;
  if (psa && sa < 1) return psa;
  const bool t = transposes(trans);
  if (ldb < least_ld(ordering, t ? cols : rows, t ? rows : cols, sb)) return pldb;
  if (psb && sb < 1) return psb;
  return 0;
}

int add_check(char ordering, char ta, char tb, size_t rows, size_t cols, size_t lda, size_t ldb, size_t ldc,
              int plda, int pldb, int pldc) {
  if (!ordering_ok(ordering)) return 1;
  if (!trans_ok(ta)) return 2;
  if (!trans_ok(tb)) return 3;
  if (lda < (transposes(ta) ? least_ld(ordering, cols, rows, 1) : least_ld(ordering, rows, cols, 1))) return plda;
  if (ldb < (transposes(tb) ? least_ld(ordering, cols, rows, 1) : least_ld(ordering, rows, cols, 1))) return pldb;
  if (ldc < least_ld(ordering, rows, cols, 1)) return pldc;
  return 0;
}

// In place: the leading dimension must suit the source (lda) and the
// result (ldb).
int in_place_check(char ordering, char trans, size_t rows, size_t cols, size_t lda, size_t ldb, int plda, int pldb) {
  return copy_check(ordering, trans, rows, cols, lda, 1, ldb, 1, plda, 0, pldb, 0);
}

}  // namespace

// The kernel call, with its verbose line when verbose mode is on.
#define ORB_TRANS_FORWARD(routine, member, args)       \
  if (verbose_on()) {                                  \
    trans_line line(routine);                          \
    line.format args;                                  \
    orb::core::trans_kernels().member args;            \
  } else {                                             \
    orb::core::trans_kernels().member args;            \
  }

#define ORB_TRANS_PUBLIC(x, T)                                                                                  \
  extern "C" void orb_##x##omatcopy(char ordering, char trans, size_t rows, size_t cols, T alpha, const T* a,   \
                                    size_t lda, T* b, size_t ldb) {                                             \
    if (int info = copy_check(ordering, trans, rows, cols, lda, 1, ldb, 1, 7, 0, 9, 0))                         \
      return report("orb_" #x "omatcopy", info);                                                                \
    ORB_TRANS_FORWARD("orb_" #x "omatcopy", x##omatcopy, (ordering, trans, rows, cols, alpha, a, lda, b, ldb));                 \
  }                                                                                                             \
  extern "C" void orb_##x##omatcopy2(char ordering, char trans, size_t rows, size_t cols, T alpha, const T* a,  \
                                     size_t lda, size_t stridea, T* b, size_t ldb, size_t strideb) {            \
    if (int info = copy_check(ordering, trans, rows, cols, lda, stridea, ldb, strideb, 7, 8, 10, 11))           \
      return report("orb_" #x "omatcopy2", info);                                                               \
    ORB_TRANS_FORWARD("orb_" #x "omatcopy2", x##omatcopy2, (ordering, trans, rows, cols, alpha, a, lda, stridea, b, ldb,        \
                                            strideb));                                                           \
  }                                                                                                             \
  extern "C" void orb_##x##omatadd(char ordering, char transa, char transb, size_t rows, size_t cols, T alpha,  \
                                   const T* a, size_t lda, T beta, const T* b, size_t ldb, T* c, size_t ldc) {  \
    if (int info = add_check(ordering, transa, transb, rows, cols, lda, ldb, ldc, 8, 11, 13))                   \
      return report("orb_" #x "omatadd", info);                                                                 \
    ORB_TRANS_FORWARD("orb_" #x "omatadd", x##omatadd, (ordering, transa, transb, rows, cols, alpha, a, lda, beta, b, ldb, c, \
                                          ldc));                                                                 \
  }                                                                                                             \
  extern "C" void orb_##x##imatcopy(char ordering, char trans, size_t rows, size_t cols, T alpha, T* ab,        \
                                    size_t lda, size_t ldb) {                                                   \
    if (int info = in_place_check(ordering, trans, rows, cols, lda, ldb, 7, 8))                                 \
      return report("orb_" #x "imatcopy", info);                                                                \
    ORB_TRANS_FORWARD("orb_" #x "imatcopy", x##imatcopy, (ordering, trans, rows, cols, alpha, ab, lda, ldb));                   \
  }                                                                                                             \
  extern "C" void orb_##x##omatcopy_batch(char ordering, const char* trans_array, const size_t* rows_array,     \
                                          const size_t* cols_array, const T* alpha_array,                       \
                                          const T* const* a_array, const size_t* lda_array, T* const* b_array,  \
                                          const size_t* ldb_array, size_t group_count,                          \
                                          const size_t* group_size) {                                           \
    for (size_t g = 0; g < group_count; ++g)                                                                    \
      if (int info = copy_check(ordering, trans_array[g], rows_array[g], cols_array[g], lda_array[g], 1,        \
                                ldb_array[g], 1, 7, 0, 9, 0))                                                   \
        return report("orb_" #x "omatcopy_batch", info);                                                        \
    if (group_count == 0 && !ordering_ok(ordering)) return report("orb_" #x "omatcopy_batch", 1);               \
    ORB_TRANS_FORWARD("orb_" #x "omatcopy_batch", x##omatcopy_batch, (ordering, trans_array, rows_array, cols_array, alpha_array,    \
                                                 a_array, lda_array, b_array, ldb_array, group_count,           \
                                                 group_size));                                                   \
  }                                                                                                             \
  extern "C" void orb_##x##omatcopy_batch_strided(char ordering, char trans, size_t rows, size_t cols, T alpha, \
                                                  const T* a, size_t lda, size_t stride_a, T* b, size_t ldb,    \
                                                  size_t stride_b, size_t batch_size) {                         \
    int info = copy_check(ordering, trans, rows, cols, lda, 1, ldb, 1, 7, 0, 10, 0);                            \
    const bool t = transposes(trans);                                                                           \
    if (!info && batch_size > 1 && stride_a < span(ordering, rows, cols, lda)) info = 8;                        \
    if (!info && batch_size > 1 && stride_b < span(ordering, t ? cols : rows, t ? rows : cols, ldb)) info = 11; \
    if (info) return report("orb_" #x "omatcopy_batch_strided", info);                                          \
    ORB_TRANS_FORWARD("orb_" #x "omatcopy_batch_strided", x##omatcopy_batch_strided, (ordering, trans, rows, cols, alpha, a, lda, stride_a,  \
                                                         b, ldb, stride_b, batch_size));                         \
  }                                                                                                             \
  extern "C" void orb_##x##omatadd_batch_strided(char ordering, char transa, char transb, size_t rows,          \
                                                 size_t cols, T alpha, const T* a, size_t lda, size_t stride_a, \
                                                 T beta, const T* b, size_t ldb, size_t stride_b, T* c,         \
                                                 size_t ldc, size_t stride_c, size_t batch_size) {              \
    int info = add_check(ordering, transa, transb, rows, cols, lda, ldb, ldc, 8, 12, 15);                       \
    const bool ta = transposes(transa), tb = transposes(transb);                                                \
    if (!info && batch_size > 1 && stride_a < span(ordering, ta ? cols : rows, ta ? rows : cols, lda))          \
      info = 9;                                                                                                 \
    if (!info && batch_size > 1 && stride_b < span(ordering, tb ? cols : rows, tb ? rows : cols, ldb))          \
      info = 13;                                                                                                \
    if (!info && batch_size > 1 && stride_c < span(ordering, rows, cols, ldc)) info = 16;                       \
    if (info) return report("orb_" #x "omatadd_batch_strided", info);                                           \
    ORB_TRANS_FORWARD("orb_" #x "omatadd_batch_strided", x##omatadd_batch_strided, (ordering, transa, transb, rows, cols, alpha, a, lda,    \
                                                        stride_a, beta, b, ldb, stride_b, c, ldc, stride_c,     \
                                                        batch_size));                                            \
  }                                                                                                             \
  extern "C" void orb_##x##imatcopy_batch(char ordering, const char* trans_array, const size_t* rows_array,     \
                                          const size_t* cols_array, const T* alpha_array, T* const* ab_array,   \
                                          const size_t* lda_array, const size_t* ldb_array, size_t group_count, \
                                          const size_t* group_size) {                                           \
    for (size_t g = 0; g < group_count; ++g)                                                                    \
      if (int info = in_place_check(ordering, trans_array[g], rows_array[g], cols_array[g], lda_array[g],       \
                                    ldb_array[g], 7, 8))                                                        \
        return report("orb_" #x "imatcopy_batch", info);                                                        \
    if (group_count == 0 && !ordering_ok(ordering)) return report("orb_" #x "imatcopy_batch", 1);               \
    ORB_TRANS_FORWARD("orb_" #x "imatcopy_batch", x##imatcopy_batch, (ordering, trans_array, rows_array, cols_array, alpha_array,    \
                                                 ab_array, lda_array, ldb_array, group_count, group_size));      \
  }                                                                                                             \
  extern "C" void orb_##x##imatcopy_batch_strided(char ordering, char trans, size_t rows, size_t cols, T alpha, \
                                                  T* ab, size_t lda, size_t ldb, size_t stride,                 \
                                                  size_t batch_size) {                                          \
    int info = in_place_check(ordering, trans, rows, cols, lda, ldb, 7, 8);                                     \
    const bool t = transposes(trans);                                                                           \
    if (!info && batch_size > 1 &&                                                                              \
        (stride < span(ordering, rows, cols, lda) || stride < span(ordering, t ? cols : rows, t ? rows : cols, ldb))) \
      info = 9;                                                                                                 \
    if (info) return report("orb_" #x "imatcopy_batch_strided", info);                                          \
    ORB_TRANS_FORWARD("orb_" #x "imatcopy_batch_strided", x##imatcopy_batch_strided, (ordering, trans, rows, cols, alpha, ab, lda, ldb,      \
                                                         stride, batch_size));                                   \
  }

ORB_TRANS_PUBLIC(s, float)
ORB_TRANS_PUBLIC(d, double)
ORB_TRANS_PUBLIC(c, orb_complex8)
ORB_TRANS_PUBLIC(z, orb_complex16)
