// Out-of-place sums c = alpha*op(a) + beta*op(b): ?omatadd, its serial form,
// the row-major kernels for every pair of operations, and the strided batch.
//
// Every kernel computes each element by sum() (trans.hpp) or its vector
// twin, so the bits are those of the plain formula whatever the path:
// rows of vectors for two untransposed operands (with streaming stores for
// long contiguous runs), register blocks for the others.
#include <type_traits>

#include "trans/trans.hpp"

namespace orb::trans {

// In-place sums, where c is one of the operands (imatcopy.cpp).
template <class T>
void imatadd(char ordering, char transa, char transb, size_t rows, size_t cols, T alpha, const T* a, size_t lda,
             T beta, const T* b, size_t ldb, T* c, size_t ldc);

namespace {

template <class T>
struct vsum {
  using S = typename elem<T>::S;
  using V = vec<S>;
  vscaler<T> sa, sb;
  vsum(T alpha, T beta) : sa(alpha), sb(beta) {}
  [[gnu::always_inline]] V operator()(const V& x, const V& y) const {
    V p = sa(x), q = sb(y);
    simd::pin(p);
    simd::pin(q);
    return p + q;
  }
};

// Processors whose streaming stores cost more than they save.
inline bool avoid_stream() { return orb_serv_cpuistvl() != 0 && orb_serv_cpuisnrd() == 0; }

// A row (or one run) of n elements with neither operand transposed.
template <class T, bool CA, bool CB>
void sum_run(size_t n, const T* a, const T* b, T* c, const T& alpha, const T& beta, const vsum<T>& f, bool stream) {
  using S = typename elem<T>::S;
  using V = vec<S>;
  constexpr int L = elem<T>::Lanes;
  const V m = conj_mask<T>();
  size_t k = 0;  // elements done
  if (stream) {
    // Up to the first line boundary of c one element at a time, then whole
    // lines that bypass the cache.
    while (k < n && (reinterpret_cast<std::uintptr_t>(c + k) & 63) != 0) {
      c[k] = sum(alpha, CA ? conj(a[k]) : a[k], beta, CB ? conj(b[k]) : b[k]);
      ++k;
    }
  }
  const S* x = reinterpret_cast<const S*>(a);
  const S* y = reinterpret_cast<const S*>(b);
  S* z = reinterpret_cast<S*>(c);
  const size_t lanes = n * L;
  size_t i = k * L;
  for (; i + V::N <= lanes; i += V::N) {
    V u = V::loadu(x + i), v = V::loadu(y + i);
    if constexpr (CA) u = simd::bit_xor(u, m);
    if constexpr (CB) v = simd::bit_xor(v, m);
    const V r = f(u, v);
    if (stream) simd::stream(z + i, r);
    else r.storeu(z + i);
  }
  if (stream) simd::stream_fence();
  if (i < lanes) {
    const int live = int(lanes - i);
    V u = V::load_mask(x + i, live), v = V::load_mask(y + i, live);
    if constexpr (CA) u = simd::bit_xor(u, m);
    if constexpr (CB) v = simd::bit_xor(v, m);
    f(u, v).store_mask(z + i, live);
  }
}

// Loads the block of op(x) at rows [i, i+nr), columns [j, j+nc) as Edge
// vectors of lanes (rows past nr zero). x is row-major; transposed, op(x)
// row i is column i of x. Full: nr and nc are Edge, and every loop has a
// fixed count, so the block stays in registers.
template <class T, bool Tr, bool Cj, bool Full>
[[gnu::always_inline]] inline void load_op_block(const T* x, size_t ldx, size_t i, size_t j, int nr, int nc,
                                                 vec<typename elem<T>::S>* out) {
  using B = block<T>;
  using VS = vec<typename elem<T>::S>;
  typename B::V v[B::Slots];
  if constexpr (Full) nr = B::Edge, nc = B::Edge;
  if constexpr (Tr) {
    // Rows [j, j+nc) of x, columns [i, i+nr), transposed in registers.
    if constexpr (Full) B::template load_full<false>(x + j * ldx + i, ldx, v);
    else B::template load_part<false>(x + j * ldx + i, ldx, nc, nr, v);
  } else if constexpr (Full) {
#pragma GCC unroll 16
    for (int r = 0; r < B::Edge; ++r) v[r] = B::V::loadu(B::row(x + i * ldx + j, ldx, r));
  } else {
    for (int r = 0; r < nr; ++r) v[r] = B::V::load_mask(B::row(x + i * ldx + j, ldx, r), nc * B::UPE);
  }
  const VS m = conj_mask<T>();
#pragma GCC unroll 16
  for (int r = 0; r < (Full ? int(B::Edge) : nr); ++r) {
    if constexpr (std::is_same_v<typename B::V, VS>) out[r] = v[r];
    else std::memcpy(&out[r], &v[r], sizeof(VS));
    if constexpr (Cj) out[r] = simd::bit_xor(out[r], m);
  }
}

// One block of c from the blocks of op(a) and op(b).
template <class T, bool TA, bool CA, bool TB, bool CB, bool Full>
[[gnu::always_inline]] inline void sum_block(size_t i, size_t j, int nr, int nc, const T* a, size_t lda, const T* b,
                                             size_t ldb, T* c, size_t ldc, const vsum<T>& f) {
  using S = typename elem<T>::S;
  using V = vec<S>;
  constexpr size_t E = elem<T>::Edge;
  constexpr int L = elem<T>::Lanes;
  V va[E], vb[E];
  if constexpr (!Full)
    for (size_t r = 0; r < E; ++r) va[r] = vb[r] = V::zero();
  load_op_block<T, TA, CA, Full>(a, lda, i, j, nr, nc, va);
  load_op_block<T, TB, CB, Full>(b, ldb, i, j, nr, nc, vb);
#pragma GCC unroll 16
  for (int r = 0; r < (Full ? int(E) : nr); ++r) {
    S* z = reinterpret_cast<S*>(c + (i + r) * ldc + j);
    const V v = f(va[r], vb[r]);
    if constexpr (Full) v.storeu(z);
    else v.store_mask(z, nc * L);
  }
}

// Any pair with a transposed operand: c in blocks of Edge x Edge.
template <class T, bool TA, bool CA, bool TB, bool CB>
void sum_blocks(size_t rows, size_t cols, T alpha, const T* a, size_t lda, T beta, const T* b, size_t ldb, T* c,
                size_t ldc) {
  constexpr size_t E = elem<T>::Edge;
  const vsum<T> f(alpha, beta);
  // Operands within the first-level cache need no lines asked for ahead.
  const bool ahead = rows * cols * sizeof(T) > 8192;
  for (size_t i = 0; i < rows; i += E) {
    const int nr = int(rows - i < E ? rows - i : E);
    for (size_t j = 0; j < cols; j += E) {
      const int nc = int(cols - j < E ? cols - j : E);
      // A transposed operand is read down its columns, which the hardware
      // does not foresee: ask now for the lines of the block four ahead,
      // far enough for them to come from memory in time.
      constexpr size_t D = 4 * E;
      if (ahead && j + D < cols) {
        if constexpr (TA)
          for (size_t r = 0; r < E; ++r) simd::prefetch(a + (j + D + r) * lda + i);
        if constexpr (TB)
          for (size_t r = 0; r < E; ++r) simd::prefetch(b + (j + D + r) * ldb + i);
      }
      if (nr == int(E) && nc == int(E)) sum_block<T, TA, CA, TB, CB, true>(i, j, nr, nc, a, lda, b, ldb, c, ldc, f);
      else sum_block<T, TA, CA, TB, CB, false>(i, j, nr, nc, a, lda, b, ldb, c, ldc, f);
    }
  }
}

// Both operands transposed, from 800 rows: c is walked in panels of 16
// columns, and each row of a panel takes its 16 elements of a and of b by
// gathers down 16 source rows (two gathers of 8 for doubles and complex
// floats, which move as one 64-bit unit). The 16 source lines are read
// front to back as the panel goes down, streams the hardware prefetcher
// follows. Complex doubles (two units an element) and leading dimensions
// too long for the gather's 32-bit offsets stay with the blocks.
template <class T>
constexpr bool gathers_elements = sizeof(T) <= 8;

template <class T, bool CA, bool CB>
void sum_gather_tt(size_t rows, size_t cols, T alpha, const T* a, size_t lda, T beta, const T* b, size_t ldb, T* c,
                   size_t ldc) {
  using S = typename elem<T>::S;
  using U = typename elem<T>::U;
  using VS = vec<S>;
  using VU = vec<U>;
  constexpr int L = elem<T>::Lanes;
  constexpr size_t P = 16, per = size_t(VU::N);
  const vsum<T> f(alpha, beta);
  const VS m = conj_mask<T>();
  for (size_t j0 = 0; j0 < cols; j0 += P) {
    const size_t nc = cols - j0 < P ? cols - j0 : P;
    for (size_t i = 0; i < rows; ++i) {
      S* z = reinterpret_cast<S*>(c + i * ldc + j0);
      for (size_t k = 0; k < nc; k += per) {
        const int live = int(nc - k < per ? nc - k : per);
        const VU ga = VU::gather(reinterpret_cast<const U*>(a + (j0 + k) * lda + i), ptrdiff_t(lda), live);
        const VU gb = VU::gather(reinterpret_cast<const U*>(b + (j0 + k) * ldb + i), ptrdiff_t(ldb), live);
        VS u, v;
        if constexpr (std::is_same_v<VU, VS>) {
          u = ga, v = gb;
        } else {
          std::memcpy(&u, &ga, sizeof(VS));
          std::memcpy(&v, &gb, sizeof(VS));
        }
        if constexpr (CA) u = simd::bit_xor(u, m);
        if constexpr (CB) v = simd::bit_xor(v, m);
        const VS r = f(u, v);
        if (live == int(per)) r.storeu(z + k * L);
        else r.store_mask(z + k * L, live * L);
      }
    }
  }
}

template <class T, bool TA, bool CA, bool TB, bool CB>
void sum_kernel(size_t rows, size_t cols, T alpha, const T* a, size_t lda, T beta, const T* b, size_t ldb, T* c,
                size_t ldc) {
  if (rows == 0 || cols == 0) return;
  if constexpr (!TA && !TB) {
    const vsum<T> f(alpha, beta);
    const bool contiguous = lda == ldb && ldb == ldc && cols == ldc;
    const bool aligned = ((reinterpret_cast<std::uintptr_t>(a) | reinterpret_cast<std::uintptr_t>(b) |
                           reinterpret_cast<std::uintptr_t>(c)) & 7) == 0 &&
                         reinterpret_cast<std::uintptr_t>(c) % sizeof(T) == 0;
    if (contiguous && aligned && rows * sizeof(T) * cols >= 1600001 && !avoid_stream()) {
      sum_run<T, CA, CB>(rows * cols, a, b, c, alpha, beta, f, true);
      return;
    }
    for (size_t i = 0; i < rows; ++i) sum_run<T, CA, CB>(cols, a + i * lda, b + i * ldb, c + i * ldc, alpha, beta, f, false);
  } else {
    if constexpr (TA && TB && gathers_elements<T>) {
      constexpr size_t most = size_t(1) << 26;  // 16 * lda within the gather's offsets
      if (rows >= 800 && lda < most && ldb < most && !avoid_stream())
        return sum_gather_tt<T, CA, CB>(rows, cols, alpha, a, lda, beta, b, ldb, c, ldc);
    }
    sum_blocks<T, TA, CA, TB, CB>(rows, cols, alpha, a, lda, beta, b, ldb, c, ldc);
  }
}

// Operation letter to its code: N 1, T 2, R 4, C 8 (times 16 for b).
inline int op_code(char t) {
  switch (fold(t)) {
    case 'N': return 1;
    case 'T': return 2;
    case 'R': return 4;
    case 'C': return 8;
    default: return 0;
  }
}

template <class T>
void add_seq(char ordering, char transa, char transb, size_t rows, size_t cols, T alpha, const T* a, size_t lda,
             T beta, const T* b, size_t ldb, T* c, size_t ldc) {
  const char o = fold(ordering);
  if (o != 'R' && o != 'C') return;
  if (o == 'C') {
    const size_t r = rows;
    rows = cols;
    cols = r;
  }
  const int ca = op_code(transa), cb = op_code(transb);
  if (ca == 0 || cb == 0) return;
  const bool ta = ca == 2 || ca == 8, tb = cb == 2 || cb == 8;
  // Real types conjugate nothing: R is N and C is T.
  const bool ja = elem<T>::complex && (ca == 4 || ca == 8), jb = elem<T>::complex && (cb == 4 || cb == 8);
  const int code = (ta ? 8 : 0) | (ja ? 4 : 0) | (tb ? 2 : 0) | (jb ? 1 : 0);
#define ORB_CASE(k, TA, CA, TB, CB) \
  case k: return sum_kernel<T, TA, CA, TB, CB>(rows, cols, alpha, a, lda, beta, b, ldb, c, ldc);
  if constexpr (elem<T>::complex) {
    switch (code) {
      ORB_CASE(0, false, false, false, false)
      ORB_CASE(1, false, false, false, true)
      ORB_CASE(2, false, false, true, false)
      ORB_CASE(3, false, false, true, true)
      ORB_CASE(4, false, true, false, false)
      ORB_CASE(5, false, true, false, true)
      ORB_CASE(6, false, true, true, false)
      ORB_CASE(7, false, true, true, true)
      ORB_CASE(8, true, false, false, false)
      ORB_CASE(9, true, false, false, true)
      ORB_CASE(10, true, false, true, false)
      ORB_CASE(11, true, false, true, true)
      ORB_CASE(12, true, true, false, false)
      ORB_CASE(13, true, true, false, true)
      ORB_CASE(14, true, true, true, false)
      ORB_CASE(15, true, true, true, true)
      default: return;
    }
  } else {
    switch (code) {
      ORB_CASE(0, false, false, false, false)
      ORB_CASE(2, false, false, true, false)
      ORB_CASE(8, true, false, false, false)
      ORB_CASE(10, true, false, true, false)
      default: return;
    }
  }
#undef ORB_CASE
}

inline bool threaded(size_t rows, size_t cols, size_t size) {
  return rows >= 17 && cols >= 17 && rows * size * cols > 0x20000;
}

inline bool transposes(char t) {
  t = fold(t);
  return t == 'T' || t == 'C';
}

}  // namespace

// The whole entry: empty shapes, c given as an operand, a zero scalar, then
// the serial form or (may_thread) the core's team.
template <class T>
void omatadd_entry(char ordering, char transa, char transb, size_t rows, size_t cols, T alpha, const T* a, size_t lda,
                   T beta, const T* b, size_t ldb, T* c, size_t ldc, bool may_thread,
                   void (*seq)(char, char, char, size_t, size_t, T, const T*, size_t, T, const T*, size_t, T*, size_t),
                   void (*par)(char, char, char, size_t, size_t, T, const T*, size_t, T, const T*, size_t, T*, size_t,
                               decltype(seq)),
                   void (*copy)(char, char, size_t, size_t, T, const T*, size_t, T*, size_t)) {
  if (rows == 0 || cols == 0) return;
  if (a == c || b == c) {
    imatadd<T>(ordering, transa, transb, rows, cols, alpha, a, lda, beta, b, ldb, c, ldc);
    return;
  }
  if (is_zero(alpha)) {
    if (transposes(transb)) copy(ordering, transb, cols, rows, beta, b, ldb, c, ldc);
    else copy(ordering, transb, rows, cols, beta, b, ldb, c, ldc);
    return;
  }
  if (is_zero(beta)) {
    if (transposes(transa)) copy(ordering, transa, cols, rows, alpha, a, lda, c, ldc);
    else copy(ordering, transa, rows, cols, alpha, a, lda, c, ldc);
    return;
  }
  if (may_thread && threaded(rows, cols, sizeof(T))) par(ordering, transa, transb, rows, cols, alpha, a, lda, beta, b, ldb, c, ldc, seq);
  else add_seq<T>(ordering, transa, transb, rows, cols, alpha, a, lda, beta, b, ldb, c, ldc);
}

// Per matrix of a batch: the whole entry on the calling thread.
template <class T>
void omatadd_one(char ordering, char transa, char transb, size_t rows, size_t cols, T alpha, const T* a, size_t lda,
                 T beta, const T* b, size_t ldb, T* c, size_t ldc);

}  // namespace orb::trans

#define ORB_TRANS_ADD_KERNEL(x, T, name, TA, CA, TB, CB)                                                      \
  ORB_API void ORB_TRANS(x##omatadd_##name)(size_t rows, size_t cols, T alpha, const T* a, size_t lda, T beta, \
                                            const T* b, size_t ldb, T* c, size_t ldc) {                        \
    orb::trans::sum_kernel<T, TA, CA, TB, CB>(rows, cols, alpha, a, lda, beta, b, ldb, c, ldc);                \
  }

#define ORB_TRANS_ADD(x, T)                                                                                     \
  ORB_API void ORB_TRANS(x##omatadd_seq)(char ordering, char transa, char transb, size_t rows, size_t cols,     \
                                        T alpha, const T* a, size_t lda, T beta, const T* b, size_t ldb, T* c,  \
                                        size_t ldc) {                                                           \
    orb::trans::add_seq<T>(ordering, transa, transb, rows, cols, alpha, a, lda, beta, b, ldb, c, ldc);          \
  }                                                                                                             \
  template <>                                                                                                   \
  void orb::trans::omatadd_one<T>(char ordering, char transa, char transb, size_t rows, size_t cols, T alpha,   \
                                  const T* a, size_t lda, T beta, const T* b, size_t ldb, T* c, size_t ldc) {   \
    omatadd_entry<T>(ordering, transa, transb, rows, cols, alpha, a, lda, beta, b, ldb, c, ldc, false,          \
                     &ORB_TRANS(x##omatadd_seq), &orb_trans_orb_##x##omatadd_par, &ORB_TRANS(x##omatcopy));     \
  }                                                                                                             \
  ORB_API void ORB_TRANS(x##omatadd)(char ordering, char transa, char transb, size_t rows, size_t cols,         \
                                    T alpha, const T* a, size_t lda, T beta, const T* b, size_t ldb, T* c,      \
                                    size_t ldc) {                                                               \
    orb::trans::omatadd_entry<T>(ordering, transa, transb, rows, cols, alpha, a, lda, beta, b, ldb, c, ldc,     \
                                 true, &ORB_TRANS(x##omatadd_seq), &orb_trans_orb_##x##omatadd_par,             \
                                 &ORB_TRANS(x##omatcopy));                                                      \
  }                                                                                                             \
  ORB_API void ORB_TRANS(x##omatadd_batch_strided)(                                                            \
      char ordering, char transa, char transb, size_t rows, size_t cols, T alpha, const T* a, size_t lda,       \
      size_t stride_a, T beta, const T* b, size_t ldb, size_t stride_b, T* c, size_t ldc, size_t stride_c,      \
      size_t batch_size) {                                                                                      \
    if (batch_size == 0) return;                                                                                \
    if (batch_size == 1)                                                                                        \
      return ORB_TRANS(x##omatadd)(ordering, transa, transb, rows, cols, alpha, a, lda, beta, b, ldb, c, ldc);  \
    orb_trans_orb_##x##omatadd_batch_strided_par(ordering, transa, transb, rows, cols, alpha, a, lda, stride_a, \
                                                 beta, b, ldb, stride_b, c, ldc, stride_c, batch_size,          \
                                                 &orb::trans::omatadd_one<T>);                                  \
  }                                                                                                             \
  ORB_TRANS_ADD_KERNEL(x, T, nn, false, false, false, false)                                                    \
  ORB_TRANS_ADD_KERNEL(x, T, nt, false, false, true, false)                                                     \
  ORB_TRANS_ADD_KERNEL(x, T, tt, true, false, true, false)

#define ORB_TRANS_ADD_CONJ(x, T)                               \
  ORB_TRANS_ADD_KERNEL(x, T, nc, false, false, true, true)     \
  ORB_TRANS_ADD_KERNEL(x, T, tc, true, false, true, true)      \
  ORB_TRANS_ADD_KERNEL(x, T, rn, false, true, false, false)    \
  ORB_TRANS_ADD_KERNEL(x, T, rr, false, true, false, true)     \
  ORB_TRANS_ADD_KERNEL(x, T, rc, false, true, true, true)

ORB_TRANS_ADD(s, float)
ORB_TRANS_ADD(d, double)
ORB_TRANS_ADD(c, orb_complex8)
ORB_TRANS_ADD(z, orb_complex16)
ORB_TRANS_ADD_CONJ(c, orb_complex8)
ORB_TRANS_ADD_CONJ(z, orb_complex16)
