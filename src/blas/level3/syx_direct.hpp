// The direct forms of the symmetric and triangle-output routines: no panel
// memory at all, yet the arithmetic of the packed walk.
//
// The packed walk gives each element of C, per K block, one chain of fused
// multiply-adds from zero over (factor x op(A)(i, p)) * op(B)(p, j), the
// factor applied as the copier applies it, and then adds the chain to C (or
// stores it, for the first K block when beta is 0); beta other than 0 and 1
// has been applied to C before. The complex tiles keep one chain for the
// real and one for the imaginary part of op(B)(p, j) and combine them at the
// end. The routines here do the same steps in the same order, with the K
// blocks the engine would take for the call, so that a call that cannot
// get memory, a skinny call that is not worth the panels and a call on the
// panels give the same bits.
//
// A row strip of one vector of op(A), times alpha, lives on the stack for
// one K block; the columns of C that meet the stored part are then walked
// in groups of four.
#pragma once

#include "blas/level3/syx.hpp"

namespace orb::level3::direct {

using engine::gemm_traits;
using simd::vec;

inline int min_of(int x, int y) { return x < y ? x : y; }
inline int max_of(int x, int y) { return x > y ? x : y; }

// x times the packing factor, as the general copiers do it: exactly 1
// moves the bits, exactly -1 flips signs, anything else multiplies (complex:
// each product rounded on its own).
enum { f_one = 0, f_minus = 1, f_any = 2 };
template <class T> int factor_mode(const T& f) {
  return engine::is_one(f) ? f_one : engine::is_minus_one(f) ? f_minus : f_any;
}
template <class T> inline T by_factor(int mode, const T& f, const T& x) {
  return mode == f_one ? x : mode == f_minus ? -x : f * x;
}
template <class C> inline C by_factor_complex(int mode, const C& f, const C& x) {
  if (mode == f_one) return x;
  if (mode == f_minus) return C{-x.re, -x.im};
  return C{engine::opaque(f.re * x.re) - f.im * x.im, engine::opaque(f.re * x.im) + f.im * x.re};
}
inline orb_complex8 by_factor(int mode, const orb_complex8& f, const orb_complex8& x) {
  return by_factor_complex(mode, f, x);
}
inline orb_complex16 by_factor(int mode, const orb_complex16& f, const orb_complex16& x) {
  return by_factor_complex(mode, f, x);
}

// Element (i, j) of the full matrix whose lower (or upper) triangle is
// stored; the Hermitian form conjugates the mirrored half and reads the
// diagonal as real.
template <class T>
inline T full_element(const T* a, std::ptrdiff_t ld, bool lower, bool herm, int i, int j) {
  const bool stored = lower ? i >= j : i <= j;
  T v = stored ? a[i + j * ld] : a[j + i * ld];
  if (herm) {
    if (!stored) v = conj_of(v);
    if (i == j) real_diagonal(v);
  }
  return v;
}

// One operand as its copier reads it: element (r, c) of op(X).
enum kind { as_stored, transposed, conj_transposed, sym_lower, sym_upper, herm_lower, herm_upper };
template <class T>
struct operand {
  const T* x;
  std::ptrdiff_t ld;
  kind how;
  T at(int r, int c) const {
    switch (how) {
      case as_stored: return x[r + c * ld];
      case transposed: return x[c + r * ld];
      case conj_transposed: return conj_of(x[c + r * ld]);
      case sym_lower: return full_element(x, ld, true, false, r, c);
      case sym_upper: return full_element(x, ld, false, false, r, c);
      case herm_lower: return full_element(x, ld, true, true, r, c);
      default: return full_element(x, ld, false, true, r, c);
    }
  }
};

// The operand of an operator letter ('N', 'T', 'C'; the real types read
// 'C' as 'T').
template <class T> operand<T> of_letter(const T* x, int ld, char op) {
  const kind k = op == 'N' ? as_stored : (op == 'C' && is_complex<T>) ? conj_transposed : transposed;
  return operand<T>{x, ld, k};
}

// Which part of C a job writes: all of it, or the lower (row >= column) or
// upper triangle of the whole matrix.
enum part { whole, lower_part, upper_part };

template <class T>
struct job {
  operand<T> a, b;  // op(A) rows x K, op(B) K x columns
  T alpha;          // the factor of op(A)
  int K, kblk;
  T* c;
  std::ptrdiff_t ldc;
  part where;
  bool real_diag;  // the Hermitian forms: the diagonal of C stays real
};

// The engine's K block for a call of depth K.
template <class T> int k_block_of(int rows, int cols, int K) {
  engine::gemm_strategy st;
  engine::initialize_strategy<T>(&st);
  engine::blas_matrix a, b;
  engine::blas_initialize_matrix<T>(nullptr, rows, K, nullptr, rows, &a);
  engine::blas_initialize_matrix<T>(nullptr, K, cols, nullptr, K, &b);
  engine::gemm_buffers buf;
  engine::initialize_buffers<T>(&a, &b, &st, &buf);
  return buf.k_block;
}

// op(A) rows [i, i + live) at K step p, as reals of one vector (lanes past
// the rows are 0), conjugated where the operand says so but not yet scaled.
template <class T>
inline vec<typename gemm_traits<T>::real> strip_step(const operand<T>& a, int i, int live, int p) {
  using R = typename gemm_traits<T>::real;
  constexpr int C = gemm_traits<T>::comps;
  using V = vec<R>;
  if (a.how == as_stored) return V::load_mask(reinterpret_cast<const R*>(a.x + i + p * a.ld), live * C);
  if constexpr (C == 1) {
    if (a.how == transposed) return V::gather(a.x + p + i * a.ld, a.ld, live);
  }
  alignas(64) R t[V::N] = {};
  for (int r = 0; r < live; ++r) {
    const T v = a.at(i + r, p);
    const R* vr = reinterpret_cast<const R*>(&v);
    for (int s = 0; s < C; ++s) t[r * C + s] = vr[s];
  }
  return V::load(t);
}

// The chains of W columns of a plain op(B) against a packed strip: column t
// from col + t * cstep, K steps bstep apart.
template <class T, int W>
inline void columns(int kb, const typename gemm_traits<T>::real* strip, const T* col, std::ptrdiff_t bstep,
                    std::ptrdiff_t cstep, bool conj_b, vec<typename gemm_traits<T>::real>* acc) {
  using R = typename gemm_traits<T>::real;
  constexpr int C = gemm_traits<T>::comps;
  using V = vec<R>;
  for (int q = 0; q < kb; ++q) {
    const V av = V::load(strip + std::ptrdiff_t(q) * V::N);
    const R* b = reinterpret_cast<const R*>(col + q * bstep);
#pragma GCC unroll 4
    for (int t = 0; t < W; ++t) {
      const R* bt = b + t * cstep * C;
      acc[t * C] = fma(av, V::set1(bt[0]), acc[t * C]);
      if constexpr (C == 2) acc[t * C + 1] = fma(av, V::set1(conj_b ? -bt[1] : bt[1]), acc[t * C + 1]);
    }
  }
}

// Rows [i0, i1) by columns [j0, j1) of C (the part of them the job writes),
// over all of K. `store_first`: the first K block stores (beta was 0).
template <class T>
void run(const job<T>& jb, int i0, int i1, int j0, int j1, bool store_first) {
  using R = typename gemm_traits<T>::real;
  constexpr int C = gemm_traits<T>::comps;
  using V = vec<R>;
  constexpr int N = V::N;
  constexpr int RV = N / C;  // rows of C per vector
  constexpr int kMaxSteps = 384;
  // Packed vectors of op(A) on the stack: one strip of a whole K block, or
  // all the strips of a short K block.
  constexpr int kVectors = 1024;
  constexpr int G = 4;  // columns at a time
  if (i1 <= i0 || j1 <= j0 || jb.K < 1) return;
  alignas(64) R strip[kVectors * N];
  // Room for a full vector read from any row offset of the first N.
  alignas(64) R out[2 * N];
  alignas(64) R sg[N];
  for (int l = 0; l < N; ++l) sg[l] = (l & 1) ? R(1) : R(-1);
  const V sign = V::loadu(sg);
  const int mode = factor_mode(jb.alpha);
  const R* f = reinterpret_cast<const R*>(&jb.alpha);
  const V fr = V::set1(f[0]), fi = V::set1(C == 2 ? f[C - 1] : R(0));

  // Rows [i, i + live) of op(A) times alpha, as the copier applies the factor.
  auto pack = [&](int i, int live, int p0, int steps, R* dst) {
    for (int q = 0; q < steps; ++q) {
      V v = strip_step(jb.a, i, live, p0 + q);
      if (mode == f_minus) {
        v.store(out);
        for (int l = 0; l < N; ++l) out[l] = -out[l];
        v = V::load(out);
      } else if (mode == f_any) {
        if constexpr (C == 1) v = fr * v;
        else v = fr * v + (fi * swap_pairs(v)) * sign;
      }
      v.store(dst + std::ptrdiff_t(q) * N);
    }
  };
  // The plain operands (not the mirrored ones of SYMM) are read in place:
  // K steps `bstep` apart, conjugated for the conjugate transposed one.
  const bool plain_b = jb.b.how == as_stored || jb.b.how == transposed || jb.b.how == conj_transposed;
  const bool conj_b = jb.b.how == conj_transposed;
  const std::ptrdiff_t bstep = jb.b.how == as_stored ? 1 : jb.b.ld;

  // Columns [j, j + w) of the rows [i, i + live) for the K block at p0 of
  // kb steps; sp: the strip packed for the block (null: pack as it goes).
  auto block = [&](int i, int live, const R* sp, int j, int w, int p0, int kb, bool store) {
    V acc[G * C];
    for (int t = 0; t < G * C; ++t) acc[t] = V::zero();
    if (plain_b && sp) {
      const T* col = jb.b.how == as_stored ? jb.b.x + p0 + j * jb.b.ld : jb.b.x + j + p0 * jb.b.ld;
      const std::ptrdiff_t cstep = jb.b.how == as_stored ? jb.b.ld : 1;
      switch (w) {
        case 4: columns<T, 4>(kb, sp, col, bstep, cstep, conj_b, acc); break;
        case 3: columns<T, 3>(kb, sp, col, bstep, cstep, conj_b, acc); break;
        case 2: columns<T, 2>(kb, sp, col, bstep, cstep, conj_b, acc); break;
        default: columns<T, 1>(kb, sp, col, bstep, cstep, conj_b, acc); break;
      }
    } else {
      for (int q0 = 0; q0 < kb; q0 += kMaxSteps) {
        const int steps = min_of(kMaxSteps, kb - q0);
        if (!sp) pack(i, live, p0 + q0, steps, strip);
        const R* base = sp ? sp + std::ptrdiff_t(q0) * N : strip;
        for (int q = 0; q < steps; ++q) {
          const V av = V::load(base + std::ptrdiff_t(q) * N);
          for (int t = 0; t < w; ++t) {
            const T bv = jb.b.at(p0 + q0 + q, j + t);
            const R* br = reinterpret_cast<const R*>(&bv);
            for (int s = 0; s < C; ++s) acc[t * C + s] = fma(av, V::set1(br[s]), acc[t * C + s]);
          }
        }
      }
    }
    for (int t = 0; t < w; ++t) {
      const int cj = j + t;
      V res = acc[t * C];
      if constexpr (C == 2) res = acc[t * C] + swap_pairs(acc[t * C + 1]) * sign;
      int ra = i, re = i + live;
      if (jb.where == lower_part) ra = max_of(ra, cj);
      if (jb.where == upper_part) re = min_of(re, cj + 1);
      if (re <= ra) continue;
      const int lanes = (re - ra) * C;
      R* e = reinterpret_cast<R*>(jb.c + ra + cj * jb.ldc);
      // Only a strip that meets the diagonal starts past its first row.
      V o = res;
      if (ra != i) {
        res.store(out);
        o = V::load_mask(out + (ra - i) * C, lanes);
      }
      (store ? o : V::load_mask(e, lanes) + o).store_mask(e, lanes);
      if (C == 2 && jb.real_diag && cj >= ra && cj < re) real_diagonal(jb.c[cj + cj * jb.ldc]);
    }
  };
  // Columns of one strip that meet the written part.
  auto span = [&](int i, int live, int ca, int cb, int& ja, int& je) {
    ja = ca, je = cb;
    if (jb.where == lower_part) je = min_of(cb, i + live);
    if (jb.where == upper_part) ja = max_of(ca, i);
  };

  const int strips = (i1 - i0 + RV - 1) / RV;
  for (int p0 = 0; p0 < jb.K; p0 += jb.kblk) {
    const int kb = min_of(jb.kblk, jb.K - p0);
    const bool store = store_first && p0 == 0;
    if (std::ptrdiff_t(kb) * strips <= kVectors) {
      // A short block: every strip packed once, then C column by column,
      // each column's rows in order.
      for (int s = 0; s < strips; ++s) {
        const int i = i0 + s * RV;
        pack(i, min_of(RV, i1 - i), p0, kb, strip + std::ptrdiff_t(s) * kb * N);
      }
      for (int j = j0; j < j1; j += G) {
        const int w = min_of(G, j1 - j);
        for (int s = 0; s < strips; ++s) {
          const int i = i0 + s * RV, live = min_of(RV, i1 - i);
          int ja, je;
          span(i, live, j, j + w, ja, je);
          if (ja >= je) continue;
          block(i, live, strip + std::ptrdiff_t(s) * kb * N, ja, je - ja, p0, kb, store);
        }
      }
      continue;
    }
    // Otherwise blocks of columns, strip by strip within each, so that the
    // lines of C a strip touches lie next to those of the strip before.
    constexpr int kColumns = 64;
    const bool once = kb <= kMaxSteps;
    for (int c0 = j0; c0 < j1; c0 += kColumns) {
      const int c1 = min_of(j1, c0 + kColumns);
      for (int i = i0; i < i1; i += RV) {
        const int live = min_of(RV, i1 - i);
        int ja, je;
        span(i, live, c0, c1, ja, je);
        if (ja >= je) continue;
        if (once) pack(i, live, p0, kb, strip);
        for (int j = ja; j < je; j += G) block(i, live, once ? strip : nullptr, j, min_of(G, je - j), p0, kb, store);
      }
    }
  }
}

}  // namespace orb::level3::direct
