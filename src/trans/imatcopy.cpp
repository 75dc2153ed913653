// In-place scaled copy and transposition (?imatcopy), the in-place sum
// behind ?omatadd when c is one of its operands, and the batch forms.
//
// A square with equal leading dimensions is transposed by swapping blocks
// across the diagonal (alpha 1 through registers, on the core's team when
// large). Any other shape follows the cycles of the permutation of
// positions, which needs no memory beyond a few integers: the price is a
// division per step.
#include "trans/trans.hpp"

namespace orb::trans {
namespace {

// ---- Square transposition with alpha 1. Two blocks of Edge x Edge
// elements (the edge by type: 16 floats, 8 doubles or complex floats, 4
// complex doubles) trade places through registers: p (ni x nj) becomes the
// transpose of q (nj x ni) and q that of p. Both are in registers before
// either is stored, so p == q (a diagonal block) turns in place.
template <class T, bool Conj>
[[gnu::always_inline]] inline void swap_blocks(T* p, T* q, size_t lda, int ni, int nj) {
  using B = block<T>;
  typename B::V x[B::Slots], y[B::Slots];
  if (ni == B::Edge && nj == B::Edge) {
    B::template load_full<Conj>(p, lda, x);
    if (p != q) B::template load_full<Conj>(q, lda, y);
    B::store_full(x, q, lda);
    if (p != q) B::store_full(y, p, lda);
  } else if (ni < 8 || nj < 8) {
    // A thin remainder: element pairs, no masks to build.
    for (int i = 0; i < ni; ++i)
      for (int j = (p == q ? i : 0); j < nj; ++j) {
        T* u = p + ptrdiff_t(i) * ptrdiff_t(lda) + j;
        T* v = q + ptrdiff_t(j) * ptrdiff_t(lda) + i;
        const T x0 = *u, y0 = *v;
        *u = Conj ? conj(y0) : y0;
        *v = Conj ? conj(x0) : x0;
      }
  } else {
    B::template load_part<Conj>(p, lda, ni, nj, x);
    if (p != q) B::template load_part<Conj>(q, lda, nj, ni, y);
    B::store_part(x, q, lda, ni, nj);
    if (p != q) B::store_part(y, p, lda, nj, ni);
  }
}

// The square is cut into super tiles of 64 x 64 elements; super tile (I, J)
// and its mirror (J, I) are one piece of work, numbered row by row of the
// upper triangle. Pieces [first, first + count) are done, each block by
// block. A piece's two tiles are 64 lines each: their pages stay in the
// TLB and their lines in the second-level cache while it is worked on,
// where whole rows of blocks would run down the full height of the matrix.
constexpr size_t kSuper = 64;

inline size_t super_count(size_t n) {
  const size_t nb = (n + kSuper - 1) / kSuper;
  return nb * (nb + 1) / 2;
}

template <class T, bool Conj>
void super_pairs(size_t n, T* ab, size_t lda, size_t first, size_t count) {
  constexpr size_t E = elem<T>::Edge;
  const size_t nb = (n + kSuper - 1) / kSuper;
  size_t k = 0;
  for (size_t si = 0; si < nb && count > 0; ++si) {
    const size_t row_pairs = nb - si;
    if (k + row_pairs <= first) {
      k += row_pairs;
      continue;
    }
    for (size_t sj = si + (first > k ? first - k : 0); sj < nb && count > 0; ++sj, --count) {
      const size_t i1 = (si + 1) * kSuper < n ? (si + 1) * kSuper : n;
      const size_t j1 = (sj + 1) * kSuper < n ? (sj + 1) * kSuper : n;
      for (size_t i = si * kSuper; i < i1; i += E) {
        const int ni = int(i1 - i < E ? i1 - i : E);
        for (size_t j = (si == sj ? i : sj * kSuper); j < j1; j += E) {
          const int nj = int(j1 - j < E ? j1 - j : E);
          swap_blocks<T, Conj>(ab + i * lda + j, ab + j * lda + i, lda, ni, nj);
        }
      }
    }
    k += row_pairs;
    first = k;
  }
}

// The whole square by blocks, any n (partial blocks at the edges).
template <class T, bool Conj>
void sqtrans_fit(T* ab, size_t n, size_t lda) {
  super_pairs<T, Conj>(n, ab, lda, 0, super_count(n));
}

// Element pairs across the diagonal for rows and columns [from, n), two a
// step along a row where the two ranges do not overlap.
template <class T, bool Conj>
void swap_rest(T* ab, size_t n, size_t lda, size_t from) {
  auto op = [](const T& v) { return Conj ? conj(v) : v; };
  for (size_t i = 0; i < n; ++i) {
    const size_t j0 = i < from ? from : i;
    T* r = ab + i * lda;
    if (j0 == i) r[i] = op(r[i]);
    size_t j = j0 == i ? i + 1 : j0;
    for (; j + 2 <= n; j += 2) {
      const T x0 = r[j], x1 = r[j + 1], y0 = ab[j * lda + i], y1 = ab[(j + 1) * lda + i];
      r[j] = op(y0), r[j + 1] = op(y1);
      ab[j * lda + i] = op(x0), ab[(j + 1) * lda + i] = op(x1);
    }
    if (j < n) {
      const T x0 = r[j], y0 = ab[j * lda + i];
      r[j] = op(y0), ab[j * lda + i] = op(x0);
    }
  }
}

// Alpha 1, serial: whole blocks by sqtrans_fit, and where neither n nor lda
// is a multiple of the edge the last n % Edge rows and columns by element
// pairs. Answers 0: done.
template <class T, bool Conj>
int sqtrans(T* ab, size_t n, size_t lda) {
  constexpr size_t E = elem<T>::Edge;
  if (lda % E == 0 || n % E == 0) {
    sqtrans_fit<T, Conj>(ab, n, lda);
    return 0;
  }
  const size_t m = n & ~(E - 1);
  sqtrans_fit<T, Conj>(ab, m, lda);
  swap_rest<T, Conj>(ab, n, lda, m);
  return 0;
}

// One thread's share of the team: an even slice of the super tile pieces.
template <class T, bool Conj>
void sqtrans_team(int thread, int nthreads, size_t n, T* ab, size_t lda) {
  const int total = int(super_count(n));
  int count = 0;
  const int first = orb_serv_divbythreads(&thread, &nthreads, &total, &count);
  super_pairs<T, Conj>(n, ab, lda, size_t(first), size_t(count));
}

// Square, any alpha: pairs swapped and scaled element by element, the
// diagonal scaled once.
template <class T, bool Conj>
void square_scaled(size_t n, T alpha, T* ab, size_t lda) {
  const scaler<T, Conj> s(alpha);
  for (size_t i = 0; i < n; ++i) {
    T* row = ab + i * lda;
    for (size_t j = 0; j < i; ++j) {
      const T x = row[j], y = ab[j * lda + i];
      row[j] = s(y);
      ab[j * lda + i] = s(x);
    }
    row[i] = s(row[i]);
  }
}

// ---- General shape, transposed: the source rows x cols (leading dimension
// lda) becomes cols x rows (leading dimension ldb) in the same storage.
// Element (r, c) at p = r*lda + c goes to q = c*ldb + r. Each chain of
// moves is walked once, from its leader: the position no element moves
// into (the chain then ends at a position outside the source), or the
// lowest position of a closed cycle. Positions outside both matrices are
// neither read nor written.
// Division by a fixed divisor through a multiplication by its reciprocal,
// corrected to the exact quotient: the walk divides at every step.
struct divider {
  size_t d;
  double inv;
  explicit divider(size_t v) : d(v), inv(1.0 / double(v)) {}
  // Quotient and remainder of p by d.
  void operator()(size_t p, size_t& q, size_t& r) const {
    q = size_t(double(p) * inv);
    while (q * d > p) --q;
    while ((q + 1) * d <= p) ++q;
    r = p - q * d;
  }
};

template <class T, bool Conj>
void mipt_t(size_t rows, size_t cols, T alpha, T* ab, size_t lda, size_t ldb) {
  const scaler<T, Conj> s(alpha);
  const divider by_a(lda), by_b(ldb);
  size_t q, r;
  auto in_source = [&](size_t p) { return by_a(p, q, r), r < cols && q < rows; };
  auto in_dest = [&](size_t p) { return by_b(p, q, r), r < rows && q < cols; };
  auto dest = [&](size_t p) { return by_a(p, q, r), r * ldb + q; };
  auto source_of = [&](size_t p) { return by_b(p, q, r), r * lda + q; };
  for (size_t r = 0; r < rows; ++r)
    for (size_t c = 0; c < cols; ++c) {
      const size_t p = r * lda + c;
      if (in_dest(p)) {
        // Walk back along the chain: p leads only if the walk comes back
        // to it without passing a lower position or the chain's start.
        size_t q = source_of(p);
        bool leader = false;
        for (;;) {
          if (q == p) {
            leader = true;
            break;
          }
          if (q < p || !in_dest(q)) break;
          q = source_of(q);
        }
        if (!leader) continue;
      }
      T v = s(ab[p]);
      size_t q = dest(p);
      while (q != p && in_source(q)) {
        const T w = ab[q];
        ab[q] = v;
        v = s(w);
        q = dest(q);
      }
      ab[q] = v;
    }
}

// ---- General shape, not transposed: row r moves from r*lda to r*ldb.
// Rows toward the front go first, rows toward the back last, so no row is
// overwritten before it has moved.
template <class T, bool Conj>
void mipt_n(size_t rows, size_t cols, T alpha, T* ab, size_t lda, size_t ldb) {
  const scaler<T, Conj> s(alpha);
  if (s.one && !Conj && lda == ldb) return;
  using S = typename elem<T>::S;
  using V = vec<S>;
  constexpr int L = elem<T>::Lanes;
  const vscaler<T> vs(alpha);
  const V m = conj_mask<T>();
  auto step = [&](const S* x, S* y, int live) {
    V v = live == V::N ? V::loadu(x) : V::load_mask(x, live);
    if constexpr (Conj) v = simd::bit_xor(v, m);
    if (!s.one) v = vs(v);
    if (live == V::N) v.storeu(y);
    else v.store_mask(y, live);
  };
  const size_t lanes = cols * L;
  if (lda >= ldb) {
    for (size_t r = 0; r < rows; ++r) {
      const S* x = reinterpret_cast<const S*>(ab + r * lda);
      S* y = reinterpret_cast<S*>(ab + r * ldb);
      for (size_t i = 0; i < lanes; i += V::N) step(x + i, y + i, int(lanes - i < size_t(V::N) ? lanes - i : V::N));
    }
  } else {
    for (size_t r = rows; r-- > 0;) {
      const S* x = reinterpret_cast<const S*>(ab + r * lda);
      S* y = reinterpret_cast<S*>(ab + r * ldb);
      for (size_t end = lanes; end > 0;) {
        const size_t start = end >= size_t(V::N) ? end - V::N : 0;
        step(x + start, y + start, int(end - start));
        end = start;
      }
    }
  }
}

// The core's team for the square: par runs team on it, or answers 0.
template <class T>
struct team_hooks {
  int (*par)(size_t, T*, size_t, void (*)(int, int, size_t, T*, size_t));
  void (*team_t)(int, int, size_t, T*, size_t);  // transposing
  void (*team_c)(int, int, size_t, T*, size_t);  // conjugating too
};

// Square with equal leading dimensions: alpha 1 by blocks, on the team
// above 256 rows; any other alpha by scaled element pairs.
template <class T, bool Conj>
void square_t(size_t n, T alpha, T* ab, size_t lda, const team_hooks<T>& h) {
  if (!is_one(alpha)) return square_scaled<T, Conj>(n, alpha, ab, lda);
  if (n > 256 && h.par(n, ab, lda, Conj ? h.team_c : h.team_t)) return;
  sqtrans<T, Conj>(ab, n, lda);
}

// Square, not transposed: every element scaled (conjugated) where it is.
template <class T, bool Conj>
void square_n(size_t n, T alpha, T* ab, size_t lda) {
  mipt_n<T, Conj>(n, n, alpha, ab, lda, lda);
}

template <class T>
void imatcopy_entry(char ordering, char trans, size_t rows, size_t cols, T alpha, T* ab, size_t lda, size_t ldb,
                    const team_hooks<T>& h) {
  if (rows == 0 || cols == 0) return;
  const char o = fold(ordering), t = fold(trans);
  if (o != 'R' && o != 'C') return;
  constexpr bool cx = elem<T>::complex;
  if (o == 'C') {
    const size_t r = rows;
    rows = cols;
    cols = r;
  }
  const bool conj = cx && (t == 'C' || t == 'R');
  if (t == 'T' || t == 'C') {
    if (rows == cols && lda == ldb) {
      if (conj) square_t<T, cx>(rows, alpha, ab, lda, h);
      else square_t<T, false>(rows, alpha, ab, lda, h);
    } else if (conj) {
      mipt_t<T, cx>(rows, cols, alpha, ab, lda, ldb);
    } else {
      mipt_t<T, false>(rows, cols, alpha, ab, lda, ldb);
    }
  } else if (t == 'N' || t == 'R') {
    const bool square = rows == cols && cols == lda && lda == ldb;
    if (conj) {
      if (square) square_n<T, cx>(rows, alpha, ab, lda);
      else mipt_n<T, cx>(rows, cols, alpha, ab, lda, ldb);
    } else if (square) {
      square_n<T, false>(rows, alpha, ab, lda);
    } else {
      mipt_n<T, false>(rows, cols, alpha, ab, lda, ldb);
    }
  }
}

}  // namespace

// ---- In-place sum: c = alpha*op(a) + beta*op(b) with c equal to a or b
// (or both). The operand that is c is first brought to c's shape in place
// (transposed by the cycle walk, or moved to c's leading dimension; a pure
// move, no arithmetic), then every element is summed by the one formula. A
// transposed square operand with c's leading dimension is done in one pass
// by row pairs instead: row i is kept in a scratch row while row i and
// column i are written; without the scratch, by swapping pairs of elements.
// Both give the bits of the out-of-place sum. c as both operands, one
// transposed and one not, can only be done on a square: elsewhere nothing
// is written.
template <class T>
void imatadd(char ordering, char transa, char transb, size_t rows, size_t cols, T alpha, const T* a, size_t lda,
             T beta, const T* b, size_t ldb, T* c, size_t ldc);

namespace {

inline int op_bits(char t) {  // 1 transposed, 2 conjugated; -1 unknown
  switch (fold(t)) {
    case 'N': return 0;
    case 'T': return 1;
    case 'R': return 2;
    case 'C': return 3;
    default: return -1;
  }
}

template <class T>
inline T op_at(const T* x, size_t ldx, int bits, size_t i, size_t j) {
  const T v = (bits & 1) ? x[j * ldx + i] : x[i * ldx + j];
  return (bits & 2) ? conj(v) : v;
}

// Square, the aliased operand transposed with c's leading dimension.
template <class T>
void square_pairs(size_t n, T alpha, int abits, const T* a, size_t lda, T beta, int bbits, const T* b, size_t ldb,
                  T* c, size_t ldc, bool a_is_c, bool b_is_c) {
  // Old values of op(a) and op(b) at (i, j), given the old c values at (i, j)
  // and (j, i).
  auto f = [&](size_t i, size_t j, const T& cij, const T& cji) {
    T x, y;
    if (a_is_c) {
      const T v = (abits & 1) ? cji : cij;
      x = (abits & 2) ? conj(v) : v;
    } else {
      x = op_at(a, lda, abits, i, j);
    }
    if (b_is_c) {
      const T v = (bbits & 1) ? cji : cij;
      y = (bbits & 2) ? conj(v) : v;
    } else {
      y = op_at(b, ldb, bbits, i, j);
    }
    return sum(alpha, x, beta, y);
  };
  T* row = static_cast<T*>(orb_serv_allocate(n * sizeof(T), 64));
  for (size_t i = 0; i < n; ++i) {
    T* ci = c + i * ldc;
    if (row) {
      std::memcpy(row + i, ci + i, (n - i) * sizeof(T));
      for (size_t j = i; j < n; ++j) ci[j] = f(i, j, row[j], c[j * ldc + i]);
      for (size_t j = i + 1; j < n; ++j) c[j * ldc + i] = f(j, i, c[j * ldc + i], row[j]);
    } else {
      for (size_t j = i + 1; j < n; ++j) {
        const T x = ci[j], y = c[j * ldc + i];
        ci[j] = f(i, j, x, y);
        c[j * ldc + i] = f(j, i, y, x);
      }
      ci[i] = f(i, i, ci[i], ci[i]);
    }
  }
  if (row) orb_serv_deallocate(row);
}

// Brings the aliased operand (rows x cols of op, stored with ldx) to c's
// shape in place, as is: conjugation is left to the sum.
template <class T>
void to_c_shape(size_t rows, size_t cols, int bits, T* c, size_t ldx, size_t ldc) {
  const T one = [] {
    if constexpr (elem<T>::complex) return T{1, 0};
    else return T(1);
  }();
  if (bits & 1) mipt_t<T, false>(cols, rows, one, c, ldx, ldc);
  else if (ldx != ldc) mipt_n<T, false>(rows, cols, one, c, ldx, ldc);
}

}  // namespace

template <class T>
auto add_seq_fn() {
  if constexpr (elem<T>::letter == 's') return &ORB_TRANS(somatadd_seq);
  else if constexpr (elem<T>::letter == 'd') return &ORB_TRANS(domatadd_seq);
  else if constexpr (elem<T>::letter == 'c') return &ORB_TRANS(comatadd_seq);
  else return &ORB_TRANS(zomatadd_seq);
}

template <class T>
void imatadd(char ordering, char transa, char transb, size_t rows, size_t cols, T alpha, const T* a, size_t lda,
             T beta, const T* b, size_t ldb, T* c, size_t ldc) {
  const char o = fold(ordering);
  if (o != 'R' && o != 'C') return;
  int abits = op_bits(transa), bbits = op_bits(transb);
  if (abits < 0 || bbits < 0) return;
  if (!elem<T>::complex) abits &= 1, bbits &= 1;
  if (o == 'C') {
    const size_t r = rows;
    rows = cols;
    cols = r;
  }
  const bool a_is_c = a == c, b_is_c = b == c;
  const bool any_t = (a_is_c && (abits & 1)) || (b_is_c && (bbits & 1));
  if (rows == cols && any_t && (!a_is_c || lda == ldc) && (!b_is_c || ldb == ldc)) {
    square_pairs<T>(rows, alpha, abits, a, lda, beta, bbits, b, ldb, c, ldc, a_is_c, b_is_c);
    return;
  }
  // Both operands are c: only one shape change can be made in place.
  if (a_is_c && b_is_c && (((abits ^ bbits) & 1) != 0 || lda != ldb)) return;
  const size_t ldx = a_is_c ? lda : ldb;
  const int xbits = a_is_c ? abits : bbits;
  to_c_shape<T>(rows, cols, xbits, c, ldx, ldc);
  // The aliased operand is now c itself, untransposed; the row-major
  // kernels finish the sum.
  static constexpr char kLetter[4] = {'N', 'T', 'R', 'C'};
  const char ta = a_is_c ? kLetter[abits & 2] : kLetter[abits];
  const char tb = b_is_c ? kLetter[bbits & 2] : kLetter[bbits];
  add_seq_fn<T>()('R', ta, tb, rows, cols, alpha, a_is_c ? c : a, a_is_c ? ldc : lda, beta, b_is_c ? c : b,
                  b_is_c ? ldc : ldb, c, ldc);
}

template void imatadd<float>(char, char, char, size_t, size_t, float, const float*, size_t, float, const float*,
                             size_t, float*, size_t);
template void imatadd<double>(char, char, char, size_t, size_t, double, const double*, size_t, double,
                              const double*, size_t, double*, size_t);
template void imatadd<orb_complex8>(char, char, char, size_t, size_t, orb_complex8, const orb_complex8*, size_t,
                                    orb_complex8, const orb_complex8*, size_t, orb_complex8*, size_t);
template void imatadd<orb_complex16>(char, char, char, size_t, size_t, orb_complex16, const orb_complex16*, size_t,
                                     orb_complex16, const orb_complex16*, size_t, orb_complex16*, size_t);

}  // namespace orb::trans

#define ORB_TRANS_IN_PLACE(x, T)                                                                               \
  ORB_API void ORB_TRANS(x##soi_init)(void) {}                                                                 \
  ORB_API void ORB_TRANS(x##swap_2blocks_16x16)(T* p, T* q, size_t lda) {                                      \
    constexpr int E = orb::trans::elem<T>::Edge;                                                               \
    orb::trans::swap_blocks<T, false>(p, q, lda, E, E);                                                        \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##imatcopy_square_t_64x64n)(size_t n, T* ab, size_t lda, size_t first,              \
                                                      size_t count) {                                          \
    orb::trans::super_pairs<T, false>(n, ab, lda, first, count);                                               \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##sqtrans_fit_64)(T* ab, size_t n, size_t lda) {                                     \
    orb::trans::sqtrans_fit<T, false>(ab, n, lda);                                                             \
  }                                                                                                            \
  ORB_API int ORB_TRANS(x##sqtrans)(T* ab, size_t n, size_t lda) {                                             \
    return orb::trans::sqtrans<T, false>(ab, n, lda);                                                          \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##sqtrans_team)(int thread, int nthreads, size_t n, T* ab, size_t lda) {             \
    orb::trans::sqtrans_team<T, false>(thread, nthreads, n, ab, lda);                                          \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##imatcopy_square_t_team)(int thread, int nthreads, size_t n, T* ab, size_t lda) {    \
    ORB_TRANS(x##soi_init)();                                                                                  \
    ORB_TRANS(x##sqtrans_team)(thread, nthreads, n, ab, lda);                                                  \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##imatcopy_square_t)(size_t n, T alpha, T* ab, size_t lda) {                         \
    orb::trans::square_t<T, false>(n, alpha, ab, lda, orb::trans::hooks_##x());                                \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##imatcopy_square_n)(size_t n, T alpha, T* ab, size_t lda) {                         \
    orb::trans::square_n<T, false>(n, alpha, ab, lda);                                                         \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##imatcopy_mipt_t)(size_t rows, size_t cols, T alpha, T* ab, size_t lda, size_t ldb) { \
    if (rows == 0 || cols == 0) return;                                                                        \
    orb::trans::mipt_t<T, false>(rows, cols, alpha, ab, lda, ldb);                                             \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##imatcopy_mipt_n)(size_t rows, size_t cols, T alpha, T* ab, size_t lda, size_t ldb) { \
    orb::trans::mipt_n<T, false>(rows, cols, alpha, ab, lda, ldb);                                             \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##imatadd)(char ordering, char transa, char transb, size_t rows, size_t cols,         \
                                    T alpha, const T* a, size_t lda, T beta, const T* b, size_t ldb, T* c,     \
                                    size_t ldc) {                                                              \
    if (rows == 0 || cols == 0) return;                                                                        \
    orb::trans::imatadd<T>(ordering, transa, transb, rows, cols, alpha, a, lda, beta, b, ldb, c, ldc);         \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##imatcopy)(char ordering, char trans, size_t rows, size_t cols, T alpha, T* ab,      \
                                     size_t lda, size_t ldb) {                                                 \
    orb::trans::imatcopy_entry<T>(ordering, trans, rows, cols, alpha, ab, lda, ldb, orb::trans::hooks_##x());  \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##imatcopy_batch)(char ordering, const char* trans_array, const size_t* rows_array,   \
                                           const size_t* cols_array, const T* alpha_array, T* const* ab_array, \
                                           const size_t* lda_array, const size_t* ldb_array, size_t group_count, \
                                           const size_t* group_size) {                                         \
    size_t m = 0;                                                                                              \
    for (size_t g = 0; g < group_count; ++g)                                                                   \
      for (size_t i = 0; i < group_size[g]; ++i, ++m)                                                          \
        ORB_TRANS(x##imatcopy)(ordering, trans_array[g], rows_array[g], cols_array[g], alpha_array[g],         \
                               ab_array[m], lda_array[g], ldb_array[g]);                                       \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##imatcopy_batch_strided)(char ordering, char trans, size_t rows, size_t cols,       \
                                                   T alpha, T* ab, size_t lda, size_t ldb, size_t stride,      \
                                                   size_t batch_size) {                                        \
    for (size_t i = 0; i < batch_size; ++i)                                                                    \
      ORB_TRANS(x##imatcopy)(ordering, trans, rows, cols, alpha, ab + i * stride, lda, ldb);                   \
  }

// The conjugating team of the complex squares.
#define ORB_TRANS_SQUARE_C(x, T)                                                                               \
  ORB_API void ORB_TRANS(x##imatcopy_square_c_team)(int thread, int nthreads, size_t n, T* ab, size_t lda) {    \
    ORB_TRANS(x##soi_init)();                                                                                  \
    orb::trans::sqtrans_team<T, true>(thread, nthreads, n, ab, lda);                                           \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##imatcopy_square_c)(size_t n, T alpha, T* ab, size_t lda) {                         \
    orb::trans::square_t<T, true>(n, alpha, ab, lda, orb::trans::hooks_##x());                                 \
  }                                                                                                            \
  ORB_API void ORB_TRANS(x##imatcopy_mipt_c)(size_t rows, size_t cols, T alpha, T* ab, size_t lda, size_t ldb) { \
    if (rows == 0 || cols == 0) return;                                                                        \
    orb::trans::mipt_t<T, true>(rows, cols, alpha, ab, lda, ldb);                                              \
  }

namespace orb::trans {
namespace {
template <class T>
team_hooks<T> hooks(int (*par)(size_t, T*, size_t, void (*)(int, int, size_t, T*, size_t)),
                    void (*t)(int, int, size_t, T*, size_t), void (*c)(int, int, size_t, T*, size_t)) {
  return {par, t, c};
}
inline team_hooks<float> hooks_s() {
  return hooks<float>(&orb_trans_orb_simatcopy_square_t_par, &ORB_TRANS(simatcopy_square_t_team),
                      &ORB_TRANS(simatcopy_square_t_team));
}
inline team_hooks<double> hooks_d() {
  return hooks<double>(&orb_trans_orb_dimatcopy_square_t_par, &ORB_TRANS(dimatcopy_square_t_team),
                       &ORB_TRANS(dimatcopy_square_t_team));
}
inline team_hooks<orb_complex8> hooks_c() {
  return hooks<orb_complex8>(&orb_trans_orb_cimatcopy_square_t_par, &ORB_TRANS(cimatcopy_square_t_team),
                             &ORB_TRANS(cimatcopy_square_c_team));
}
inline team_hooks<orb_complex16> hooks_z() {
  return hooks<orb_complex16>(&orb_trans_orb_zimatcopy_square_t_par, &ORB_TRANS(zimatcopy_square_t_team),
                              &ORB_TRANS(zimatcopy_square_c_team));
}
}  // namespace
}  // namespace orb::trans

ORB_TRANS_IN_PLACE(s, float)
ORB_TRANS_IN_PLACE(d, double)
ORB_TRANS_IN_PLACE(c, orb_complex8)
ORB_TRANS_IN_PLACE(z, orb_complex16)
ORB_TRANS_SQUARE_C(c, orb_complex8)
ORB_TRANS_SQUARE_C(z, orb_complex16)
