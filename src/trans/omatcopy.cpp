// Out-of-place scaled copy and transposition: ?omatcopy, ?omatcopy2 and
// their serial form and row-major kernels, the batch forms, and the plain
// block copy unrollcopy.
//
// The entry folds the ordering into the shape (a column-major matrix is the
// row-major one with rows and columns swapped), so every kernel below knows
// row-major only: element (i, j) of A at a[i*lda + j*stridea].
#include "trans/trans.hpp"

namespace orb::trans {
namespace {

// ---- The plain kernel: b(i, j) = op(a(i, j)).
template <class T, bool Conj>
void copy_n(size_t rows, size_t cols, T alpha, const T* a, size_t lda, size_t sa, T* b, size_t ldb, size_t sb) {
  if (rows == 0 || cols == 0) return;
  const scaler<T, Conj> s(alpha);
  if (!Conj && s.one && sa == 1 && sb == 1 && lda == cols && ldb == cols) {
    // One run of memory.
    const size_t bytes = rows * cols * sizeof(T);
    ORB_TRANS(unrollcopy)(b, bytes, a, bytes);
    return;
  }
  if (sa == 1 && sb == 1) {
    const vscaler<T> vs(alpha);
    for (size_t i = 0; i < rows; ++i) scale_run<T, Conj>(cols, a + i * lda, b + i * ldb, s, vs);
    return;
  }
  for (size_t i = 0; i < rows; ++i) {
    const T* x = a + i * lda;
    T* y = b + i * ldb;
    size_t j = 0;
    for (; j + 2 <= cols; j += 2) {
      const T x0 = x[j * sa], x1 = x[(j + 1) * sa];
      y[j * sb] = s(x0);
      y[(j + 1) * sb] = s(x1);
    }
    if (j < cols) y[j * sb] = s(x[j * sa]);
  }
}

// ---- The recursive transposition, for any alpha and any strides: halves
// the longer side until both are at most 4 and moves the small blocks by a
// double loop. The first half recurses, the second goes on in the loop, so
// the depth is the binary logarithm of the longer side.
template <class T, bool Conj>
void rec_t(size_t rows, size_t cols, const scaler<T, Conj>& s, const T* a, size_t lda, size_t sa, T* b, size_t ldb,
           size_t sb) {
  while (rows > 4 || cols > 4) {
    if (rows <= cols) {
      const size_t half = cols >> 1;
      rec_t<T, Conj>(rows, half, s, a, lda, sa, b, ldb, sb);
      a += half * sa;
      b += half * ldb;
      cols -= half;
    } else {
      const size_t half = rows >> 1;
      rec_t<T, Conj>(half, cols, s, a, lda, sa, b, ldb, sb);
      a += half * lda;
      b += half * sb;
      rows -= half;
    }
  }
  for (size_t i = 0; i < rows; ++i) {
    const T* x = a + i * lda;
    size_t j = 0;
    for (; j + 2 <= cols; j += 2) {
      const T x0 = x[j * sa], x1 = x[(j + 1) * sa];
      b[j * ldb + i * sb] = s(x0);
      b[(j + 1) * ldb + i * sb] = s(x1);
    }
    if (j < cols) b[j * ldb + i * sb] = s(x[j * sa]);
  }
}

// ---- The tile plan of the transposing kernel (alpha 1, unit strides).
struct plan {
  int tile;        // source rows per tile
  size_t panel;    // columns per panel
  bool registers;  // tiles go through the register block
};

template <class T>
plan make_plan(size_t rows, size_t lda, const T* b, size_t ldb) {
  constexpr size_t size = sizeof(T);
  plan p{8, 2048, true};
  if ((reinterpret_cast<std::uintptr_t>(b) & 63) == 0) {
    // The product of the strides (in 32 bits, as the plan has always been
    // tuned) says how far apart a tile's lines lie.
    const std::uint32_t prod = std::uint32_t(ldb) * std::uint32_t(lda) * std::uint32_t(size);
    if (prod > (1u << 24)) p.tile = 16;
    else if (prod == (1u << 24)) p.tile = ldb > 128 && rows >= 64 ? 16 : 8;
    // A tile is never shorter than the register block of the type.
    if (p.tile < elem<T>::Edge) p.tile = elem<T>::Edge;
  } else {
    // b off a line boundary: tiles as tall as the source rows in a page,
    // fewer when the destination lines are far apart.
    const size_t la = lda * size, lb = ldb * size;
    const size_t ra = (la + 4095) / la, rb = (lb + 4095) / lb;
    size_t t = lb <= 4096 ? ra * 8 : (62 - (rb + 7) / rb) * ra;
    if (t > 8) t &= ~size_t(7);
    else if (t > 4) t &= ~size_t(3);
    else if (t > 2) t &= ~size_t(1);
    // Source rows a multiple of 32 KiB apart fall on the same cache sets.
    const size_t v = ((la * ra) & 0x7fff) >> 3;
    if (v == 0 && ra * 8 < t && ra * 8 >= 8) t = ra * 8;
    p.tile = int(t > 64 ? 64 : t < 1 ? 1 : t);
    // The plan counts in rows of doubles; floats move in blocks of 16 rows.
    if (p.tile >= 8 && p.tile < elem<T>::Edge) p.tile = elem<T>::Edge;
    p.registers = p.tile % elem<T>::Edge == 0;
  }
  if (rows <= 4) p.registers = false;
  p.panel = ((4096 / (lda ? lda : 1)) >> 3) > 1 ? 512 : 2048;
  // Each column of a panel is a destination line; lines a page or more
  // apart each need their own page translation, and a panel's worth must
  // stay in the TLB while the tiles walk down it (4096^2 doubles: 6 GB/s
  // with 2048 columns, 12 with 256).
  if (ldb * size >= 4096 && p.panel > 256) p.panel = 256;
  return p;
}

// Results this large go past the caches: a transposed destination is
// written a line at a time far from its neighbours, and a regular store
// would first read each line in (a third more traffic) and push the source
// out of the second-level cache. Whole lines need a line-aligned b and
// leading dimension. Smaller results stay in cache for their next use.
constexpr size_t kStreamBytes = size_t(4) << 20;
template <class T>
inline bool streams(const T* b, size_t ldb, size_t bytes) {
  return bytes >= kStreamBytes && (reinterpret_cast<std::uintptr_t>(b) & 63) == 0 && (ldb * sizeof(T)) % 64 == 0;
}

// A tile of source rows [0, nr) and columns [0, nc) through register blocks
// of Edge x Edge, a column of blocks at a time: each destination line gets
// the tile's elements one after the other (for a tile of 16 complex doubles,
// four lines in a row), which keeps its writes together for the memory.
// Each block takes one line of each of its source rows; the line
// kPrefetchLines blocks ahead is asked for now, so that it arrives from
// memory (some hundred nanoseconds) about when it is needed: the next line
// alone would come too late, and the rows, far apart, are separate streams
// for the hardware to find.
constexpr size_t kPrefetchLines = 6;
template <class T, bool Conj, bool Stream = false>
void blk_t_by_src_rows(size_t nr, size_t nc, const T* a, size_t lda, T* b, size_t ldb) {
  constexpr size_t E = elem<T>::Edge;
  constexpr size_t ahead = kPrefetchLines * E;
  for (size_t j = 0; j < nc; j += E) {
    const int bc = int(nc - j < E ? nc - j : E);
    if (j + ahead < nc)
      for (size_t r = 0; r < nr; ++r) simd::prefetch(a + r * lda + j + ahead);
    for (size_t i = 0; i < nr; i += E) {
      const int br = int(nr - i < E ? nr - i : E);
      if ((br < int(E) || bc < int(E)) && (br < 8 || bc < 8)) {
        // A partial block with fewer than 8 rows or columns: element by
        // element, cheaper than building masks for a mostly empty block.
        const T* x = a + i * lda + j;
        T* y = b + j * ldb + i;
        for (int r = 0; r < br; ++r)
          for (int c = 0; c < bc; ++c) y[size_t(c) * ldb + r] = Conj ? conj(x[size_t(r) * lda + c]) : x[size_t(r) * lda + c];
      } else {
        // Whole blocks, and (floats) partial ones of 8 to 15 by masks.
        move_block_t<T, Conj, Stream>(a + i * lda + j, lda, b + j * ldb + i, ldb, br, bc);
      }
    }
  }
}

template <class T, bool Conj>
void tile_t(size_t rows, size_t cols, const T* a, size_t lda, T* b, size_t ldb) {
  const plan p = make_plan(rows, lda, b, ldb);
  const size_t t = size_t(p.tile);
  const bool stream = streams(b, ldb, rows * cols * sizeof(T));
  for (size_t j0 = 0; j0 < cols; j0 += p.panel) {
    const size_t nc = cols - j0 < p.panel ? cols - j0 : p.panel;
    for (size_t i0 = 0; i0 < rows; i0 += t) {
      const size_t nr = rows - i0 < t ? rows - i0 : t;
      const T* at = a + i0 * lda + j0;
      T* bt = b + j0 * ldb + i0;
      if (p.registers) {
        if (stream) blk_t_by_src_rows<T, Conj, true>(nr, nc, at, lda, bt, ldb);
        else blk_t_by_src_rows<T, Conj>(nr, nc, at, lda, bt, ldb);
        continue;
      }
      // Element by element, in the order of the source rows, tile by tile.
      for (size_t jj = 0; jj < nc; jj += t) {
        const size_t mc = nc - jj < t ? nc - jj : t;
        for (size_t i = 0; i < nr; ++i)
          for (size_t j = jj; j < jj + mc; ++j) bt[j * ldb + i] = Conj ? conj(at[i * lda + j]) : at[i * lda + j];
      }
    }
  }
  if (stream) simd::stream_fence();
}

// ---- The transposing kernel: b(j, i) = op(a(i, j)).
template <class T, bool Conj>
void copy_t(size_t rows, size_t cols, T alpha, const T* a, size_t lda, size_t sa, T* b, size_t ldb, size_t sb) {
  if (rows == 0 || cols == 0) return;
  const scaler<T, Conj> s(alpha);
  if (!s.one || sa != 1 || sb != 1 || lda == 0) {
    rec_t<T, Conj>(rows, cols, s, a, lda, sa, b, ldb, sb);
    return;
  }
  if (rows == 1) {
    // A row becomes a column. With ldb 0 every element lands on b[0] and
    // the last one stays.
    if (ldb == 0) {
      b[0] = s(a[cols - 1]);
      return;
    }
    for (size_t j = 0; j < cols; ++j) b[j * ldb] = s(a[j]);
    return;
  }
  if (cols == 1) {
    for (size_t i = 0; i < rows; ++i) b[i] = s(a[i * lda]);
    return;
  }
  // A matrix that fits the first-level cache has no pages or sets to plan
  // for: straight through the register blocks.
  if (rows * cols * sizeof(T) <= 16384) return blk_t_by_src_rows<T, Conj>(rows, cols, a, lda, b, ldb);
  // A large result whose lines can be whole but whose b is off a line
  // boundary (memory from malloc is 16-byte aligned): the first few source
  // rows, up to the line boundary of b, go as a thin strip; the rest then
  // starts on whole lines and goes past the caches.
  const size_t off = reinterpret_cast<std::uintptr_t>(b) & 63;
  if (off != 0 && off % sizeof(T) == 0 && streams(b - off / sizeof(T), ldb, rows * cols * sizeof(T))) {
    const size_t head = (64 - off) / sizeof(T);
    if (head < rows) {
      blk_t_by_src_rows<T, Conj>(head, cols, a, lda, b, ldb);
      a += head * lda;
      b += head;
      rows -= head;
    }
  }
  tile_t<T, Conj>(rows, cols, a, lda, b, ldb);
}

// ---- Serial entry: letters, ordering, kernel.
template <class T>
void copy2_seq(char ordering, char trans, size_t rows, size_t cols, T alpha, const T* a, size_t lda, size_t sa, T* b,
               size_t ldb, size_t sb) {
  const char o = fold(ordering), t = fold(trans);
  if (o != 'R' && o != 'C') return;
  if (o == 'C') {
    const size_t r = rows;
    rows = cols;
    cols = r;
  }
  constexpr bool cx = elem<T>::complex;
  switch (t) {
    case 'N': copy_n<T, false>(rows, cols, alpha, a, lda, sa, b, ldb, sb); break;
    case 'R': copy_n<T, cx>(rows, cols, alpha, a, lda, sa, b, ldb, sb); break;
    case 'T': copy_t<T, false>(rows, cols, alpha, a, lda, sa, b, ldb, sb); break;
    case 'C': copy_t<T, cx>(rows, cols, alpha, a, lda, sa, b, ldb, sb); break;
    default: break;
  }
}

// A team pays off from 17 rows and columns and 32 KiB of source.
inline bool threaded(size_t rows, size_t cols, size_t size) {
  return rows >= 17 && cols >= 17 && rows * size * cols > 32768;
}

}  // namespace
}  // namespace orb::trans

// The plain copy of bytes. Large runs into a line-aligned destination go by
// the string move in 2 KiB pieces; the rest by whole vectors in steps of
// 1024 down to 64 bytes, and a masked vector for the last four-byte units.
ORB_API void ORB_TRANS(unrollcopy)(void* dst, size_t dst_size, const void* src, size_t bytes) {
  if (!dst || !src || bytes == 0 || dst_size == 0 || bytes > dst_size) return;
  using V = orb::simd::vec<float>;
  auto* d = static_cast<unsigned char*>(dst);
  const auto* s = static_cast<const unsigned char*>(src);
  if (bytes >= 102401 && (reinterpret_cast<std::uintptr_t>(d) & 63) == 0) {
    while (bytes >= 2048) {
      void* dd = d;
      const void* ss = s;
      std::size_t units = 512;
      __asm__ volatile("rep movsl" : "+D"(dd), "+S"(ss), "+c"(units) : : "memory");
      d += 2048;
      s += 2048;
      bytes -= 2048;
    }
  }
  for (std::size_t step = 1024; step >= 64; step >>= 1) {
    while (bytes >= step) {
      for (std::size_t k = 0; k < step; k += 64)
        V::loadu(reinterpret_cast<const float*>(s + k)).storeu(reinterpret_cast<float*>(d + k));
      d += step;
      s += step;
      bytes -= step;
    }
  }
  const int units = int(bytes >> 2);
  if (units > 0) V::load_mask(reinterpret_cast<const float*>(s), units).store_mask(reinterpret_cast<float*>(d), units);
}

#define ORB_TRANS_COPY(x, T)                                                                                 \
  ORB_API void ORB_TRANS(x##omatcopy2_seq)(char ordering, char trans, size_t rows, size_t cols, T alpha,     \
                                          const T* a, size_t lda, size_t stridea, T* b, size_t ldb,          \
                                          size_t strideb) {                                                  \
    orb::trans::copy2_seq<T>(ordering, trans, rows, cols, alpha, a, lda, stridea, b, ldb, strideb);         \
  }                                                                                                          \
  ORB_API void ORB_TRANS(x##omatcopy2)(char ordering, char trans, size_t rows, size_t cols, T alpha,         \
                                      const T* a, size_t lda, size_t stridea, T* b, size_t ldb,              \
                                      size_t strideb) {                                                      \
    if (rows == 0 || cols == 0) return;                                                                      \
    if (orb::trans::threaded(rows, cols, sizeof(T)))                                                         \
      orb_trans_orb_##x##omatcopy2_par(ordering, trans, rows, cols, alpha, a, lda, stridea, b, ldb, strideb, \
                                       &ORB_TRANS(x##omatcopy2_seq));                                        \
    else                                                                                                     \
      orb::trans::copy2_seq<T>(ordering, trans, rows, cols, alpha, a, lda, stridea, b, ldb, strideb);       \
  }                                                                                                          \
  ORB_API void ORB_TRANS(x##omatcopy)(char ordering, char trans, size_t rows, size_t cols, T alpha,          \
                                     const T* a, size_t lda, T* b, size_t ldb) {                             \
    ORB_TRANS(x##omatcopy2)(ordering, trans, rows, cols, alpha, a, lda, 1, b, ldb, 1);                       \
  }                                                                                                          \
  ORB_API void ORB_TRANS(x##omatcopy2_n)(size_t rows, size_t cols, T alpha, const T* a, size_t lda,          \
                                        size_t stridea, T* b, size_t ldb, size_t strideb) {                  \
    orb::trans::copy_n<T, false>(rows, cols, alpha, a, lda, stridea, b, ldb, strideb);                      \
  }                                                                                                          \
  ORB_API void ORB_TRANS(x##omatcopy2_t)(size_t rows, size_t cols, T alpha, const T* a, size_t lda,          \
                                        size_t stridea, T* b, size_t ldb, size_t strideb) {                  \
    orb::trans::copy_t<T, false>(rows, cols, alpha, a, lda, stridea, b, ldb, strideb);                      \
  }                                                                                                          \
  ORB_API void ORB_TRANS(x##omatcopy2_rec_t)(size_t rows, size_t cols, T alpha, const T* a, size_t lda,      \
                                            size_t stridea, T* b, size_t ldb, size_t strideb) {              \
    const orb::trans::scaler<T, false> s(alpha);                                                             \
    orb::trans::rec_t<T, false>(rows, cols, s, a, lda, stridea, b, ldb, strideb);                           \
  }                                                                                                          \
  ORB_API void ORB_TRANS(x##omatcopy2_rec_t_1)(size_t rows, size_t cols, const T* a, size_t lda,             \
                                              size_t stridea, T* b, size_t ldb, size_t strideb) {            \
    const orb::trans::scaler<T, false> s(orb::trans::unit<T>());                                             \
    orb::trans::rec_t<T, false>(rows, cols, s, a, lda, stridea, b, ldb, strideb);                           \
  }                                                                                                          \
  ORB_API void ORB_TRANS(x##omatcopy_blk_t_one_transpose_kernel_by_src_rows)(size_t rows, size_t cols,       \
                                                                            const T* a, size_t lda, T* b,    \
                                                                            size_t ldb) {                    \
    orb::trans::blk_t_by_src_rows<T, false>(rows, cols, a, lda, b, ldb);                                     \
  }                                                                                                          \
  ORB_API void ORB_TRANS(x##omatcopy_batch)(char ordering, const char* trans_array, const size_t* rows_array, \
                                           const size_t* cols_array, const T* alpha_array,                   \
                                           const T* const* a_array, const size_t* lda_array,                 \
                                           T* const* b_array, const size_t* ldb_array, size_t group_count,   \
                                           const size_t* group_size) {                                       \
    if (group_count == 0) return;                                                                            \
    orb_trans_orb_##x##omatcopy_batch_par(ordering, trans_array, rows_array, cols_array, alpha_array,        \
                                          a_array, lda_array, b_array, ldb_array, group_count, group_size,   \
                                          &ORB_TRANS(x##omatcopy2_seq));                                     \
  }                                                                                                          \
  ORB_API void ORB_TRANS(x##omatcopy_batch_strided)(char ordering, char trans, size_t rows, size_t cols,     \
                                                   T alpha, const T* a, size_t lda, size_t stride_a, T* b,   \
                                                   size_t ldb, size_t stride_b, size_t batch_size) {         \
    if (batch_size == 0) return;                                                                             \
    if (batch_size == 1) return ORB_TRANS(x##omatcopy)(ordering, trans, rows, cols, alpha, a, lda, b, ldb);  \
    orb_trans_orb_##x##omatcopy_batch_strided_par(ordering, trans, rows, cols, alpha, a, lda, stride_a, b,   \
                                                  ldb, stride_b, batch_size, &ORB_TRANS(x##omatcopy2_seq));  \
  }

#define ORB_TRANS_COPY_CONJ(x, T)                                                                  \
  ORB_API void ORB_TRANS(x##omatcopy2_r)(size_t rows, size_t cols, T alpha, const T* a, size_t lda, \
                                        size_t stridea, T* b, size_t ldb, size_t strideb) {         \
    orb::trans::copy_n<T, true>(rows, cols, alpha, a, lda, stridea, b, ldb, strideb);              \
  }                                                                                                 \
  ORB_API void ORB_TRANS(x##omatcopy2_c)(size_t rows, size_t cols, T alpha, const T* a, size_t lda, \
                                        size_t stridea, T* b, size_t ldb, size_t strideb) {         \
    orb::trans::copy_t<T, true>(rows, cols, alpha, a, lda, stridea, b, ldb, strideb);              \
  }                                                                                                 \
  ORB_API void ORB_TRANS(x##omatcopy2_rec_c)(size_t rows, size_t cols, T alpha, const T* a,         \
                                            size_t lda, size_t stridea, T* b, size_t ldb,           \
                                            size_t strideb) {                                       \
    const orb::trans::scaler<T, true> s(alpha);                                                     \
    orb::trans::rec_t<T, true>(rows, cols, s, a, lda, stridea, b, ldb, strideb);                   \
  }

ORB_TRANS_COPY(s, float)
ORB_TRANS_COPY(d, double)
ORB_TRANS_COPY(c, orb_complex8)
ORB_TRANS_COPY(z, orb_complex16)
ORB_TRANS_COPY_CONJ(c, orb_complex8)
ORB_TRANS_COPY_CONJ(z, orb_complex16)
