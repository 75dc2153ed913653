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
  constexpr int G = 4;  // columns at a time
  if (i1 <= i0 || j1 <= j0 || jb.K < 1) return;
  alignas(64) R strip[kMaxSteps * N];
  alignas(64) R out[N];
  alignas(64) R sg[N];
  for (int l = 0; l < N; ++l) sg[l] = (l & 1) ? R(1) : R(-1);
  const V sign = V::loadu(sg);
  const int mode = factor_mode(jb.alpha);

  auto pack = [&](int i, int live, int p0, int steps) {
    for (int q = 0; q < steps; ++q) {
      R* d = strip + std::ptrdiff_t(q) * N;
      for (int r = 0; r < RV; ++r) {
        T v = r < live ? by_factor(mode, jb.alpha, jb.a.at(i + r, p0 + q)) : engine::zero<T>();
        const R* vr = reinterpret_cast<const R*>(&v);
        for (int s = 0; s < C; ++s) d[r * C + s] = vr[s];
      }
    }
  };

  for (int p0 = 0; p0 < jb.K; p0 += jb.kblk) {
    const int kb = min_of(jb.kblk, jb.K - p0);
    const bool store = store_first && p0 == 0;
    const bool once = kb <= kMaxSteps;
    for (int i = i0; i < i1; i += RV) {
      const int live = min_of(RV, i1 - i);
      // Columns that meet the written part of these rows.
      int ja = j0, je = j1;
      if (jb.where == lower_part) je = min_of(j1, i + live);
      if (jb.where == upper_part) ja = max_of(j0, i);
      if (ja >= je) continue;
      if (once) pack(i, live, p0, kb);
      for (int j = ja; j < je; j += G) {
        const int w = min_of(G, je - j);
        V acc[G * C];
        for (int t = 0; t < G * C; ++t) acc[t] = V::zero();
        for (int q0 = 0; q0 < kb; q0 += kMaxSteps) {
          const int steps = min_of(kMaxSteps, kb - q0);
          if (!once) pack(i, live, p0 + q0, steps);
          for (int q = 0; q < steps; ++q) {
            const V av = V::load(strip + std::ptrdiff_t(q) * N);
            for (int t = 0; t < w; ++t) {
              const T bv = jb.b.at(p0 + q0 + q, j + t);
              const R* br = reinterpret_cast<const R*>(&bv);
              for (int s = 0; s < C; ++s) acc[t * C + s] = fma(av, V::set1(br[s]), acc[t * C + s]);
            }
          }
        }
        for (int t = 0; t < w; ++t) {
          const int col = j + t;
          V res = acc[t * C];
          if constexpr (C == 2) res = acc[t * C] + swap_pairs(acc[t * C + 1]) * sign;
          res.store(out);
          int ra = i, re = i + live;
          if (jb.where == lower_part) ra = max_of(ra, col);
          if (jb.where == upper_part) re = min_of(re, col + 1);
          for (int row = ra; row < re; ++row) {
            R* e = reinterpret_cast<R*>(jb.c + row + col * jb.ldc);
            const R* o = out + (row - i) * C;
            for (int s = 0; s < C; ++s) e[s] = store ? o[s] : e[s] + o[s];
            if (C == 2 && jb.real_diag && row == col) e[1] = R(0);
          }
        }
      }
    }
  }
}

}  // namespace orb::level3::direct
