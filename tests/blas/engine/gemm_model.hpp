// A scalar model of the packed GEMM path, and helpers shared by the engine
// tests.
//
// The packed path is exactly predictable. alpha enters A as it is packed
// (1 and -1 move bits, anything else multiplies; complex factors multiply
// as (fr xr - fi xi, fr xi + fi xr), the conjugating operators conjugate
// first). A beta other than 0 and 1 is applied to C once up front. Then per
// K block each element of C is one fused multiply-add chain in K order from
// zero, stored (first block, beta 0) or added to C. A complex element keeps
// four real chains (a.re*b.re, a.im*b.re, a.re*b.im, a.im*b.im) combined
// at the end as (rr + -ii, ir + ri).
#pragma once

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "orb/orb_service.h"
#include "orb/orb_types.h"
#include "tests/support/oracle.hpp"

#include "tests/support/engine_records.hpp"

namespace orb::test::gemm {

template <class T> struct scalar;
template <> struct scalar<float> { using R = float; static constexpr int C = 1; static constexpr const char* x = "s"; };
template <> struct scalar<double> { using R = double; static constexpr int C = 1; static constexpr const char* x = "d"; };
template <> struct scalar<orb_complex8> { using R = float; static constexpr int C = 2; static constexpr const char* x = "c"; };
template <> struct scalar<orb_complex16> { using R = double; static constexpr int C = 2; static constexpr const char* x = "z"; };

template <class T>
T make(double re, double im = 0) {
  using R = typename scalar<T>::R;
  T v;
  R* p = reinterpret_cast<R*>(&v);
  p[0] = R(re);
  if constexpr (scalar<T>::C == 2) p[1] = R(im);
  return v;
}

template <class T>
std::vector<T> random_matrix(std::size_t count, unsigned seed) {
  using R = typename scalar<T>::R;
  std::vector<T> v(count);
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> d(-1.0, 1.0);
  R* p = reinterpret_cast<R*>(v.data());
  for (std::size_t i = 0; i < count * scalar<T>::C; ++i) p[i] = R(d(g));
  return v;
}

// The tag of the build the suite runs on.
inline const char* current_tag() {
  const char* isa = std::getenv("ORB_ISA");
  if (isa && *isa) return isa;
  const int level = orb_kernel_level();
  return level >= 9 ? "avx512" : level >= 7 ? "avx2" : "def";
}

template <class F>
F engine_fn(const std::string& name) {
  return kernel_of<F>(current_tag(), name.c_str());
}

template <class T>
using gemm_fn = void (*)(const char*, const char*, const int*, const int*, const int*, const T*, const T*,
                         const int*, const T*, const int*, const T*, T*, const int*);

inline int k_block(int K) {
  if (K > 384) return K < 768 ? (K + 1) / 2 : 384;
  return K < 128 ? 128 : K;
}

template <class T>
struct model {
  using R = typename scalar<T>::R;
  static constexpr int C = scalar<T>::C;

  // Element (short index i, K index p) of a packed operand as C reals, with
  // the factor of packing applied. k_contig: K runs along memory.
  static void packed(bool k_contig, bool conj, const T* x, int ld, int i, int p, const T& f, R* out) {
    const R* s = reinterpret_cast<const R*>(x) + (k_contig ? std::ptrdiff_t(p) + std::ptrdiff_t(i) * ld
                                                           : std::ptrdiff_t(i) + std::ptrdiff_t(p) * ld) * C;
    const R* fr = reinterpret_cast<const R*>(&f);
    if constexpr (C == 1) {
      out[0] = fr[0] == R(1) ? s[0] : fr[0] == R(-1) ? -s[0] : fr[0] * s[0];
    } else {
      const R xr = s[0], xi = conj ? -s[1] : s[1];
      if (fr[0] == R(1) && fr[1] == R(0)) out[0] = xr, out[1] = xi;
      else if (fr[0] == R(-1) && fr[1] == R(0)) out[0] = -xr, out[1] = -xi;
      else out[0] = fr[0] * xr - fr[1] * xi, out[1] = fr[0] * xi + fr[1] * xr;
    }
  }
  static bool zero(const T& v) {
    const R* p = reinterpret_cast<const R*>(&v);
    return p[0] == R(0) && (C == 1 || p[C - 1] == R(0));
  }
  static bool one(const T& v) {
    const R* p = reinterpret_cast<const R*>(&v);
    return p[0] == R(1) && (C == 1 || p[C - 1] == R(0));
  }
  static void scale(int M, int N, const T& beta, T* c, int ldc) {
    const R* b = reinterpret_cast<const R*>(&beta);
    for (int j = 0; j < N; ++j)
      for (int i = 0; i < M; ++i) {
        R* e = reinterpret_cast<R*>(c + i + std::ptrdiff_t(j) * ldc);
        if (zero(beta)) {
          for (int q = 0; q < C; ++q) e[q] = R(0);
        } else if constexpr (C == 1) {
          e[0] = b[0] * e[0];
        } else {
          const R xr = e[0], xi = e[1];
          e[0] = b[0] * xr - b[1] * xi;
          e[1] = b[0] * xi + b[1] * xr;
        }
      }
  }

  // C := alpha op(A) op(B) + beta C by the rule of the packed path, with
  // the K blocks of width kblock (0: the engine's rule).
  static void run(char ta, char tb, int M, int N, int K, T alpha, const T* a, int lda, const T* b, int ldb,
                  T beta, T* c, int ldc, int kblock = 0) {
    if (M < 1 || N < 1) return;
    if (K < 1) {
      if (!one(beta)) scale(M, N, beta, c, ldc);
      return;
    }
    if (!one(beta) && !zero(beta)) {
      scale(M, N, beta, c, ldc);
      beta = make<T>(1);
    }
    if (zero(alpha)) {
      if (zero(beta)) scale(M, N, beta, c, ldc);
      return;
    }
    const int kb = kblock > 0 ? kblock : k_block(K);
    const T unit = make<T>(1);
    std::vector<R> ap(std::size_t(K) * C), bp(std::size_t(K) * C);
    for (int p0 = 0; p0 < K; p0 += kb) {
      const int pe = std::min(K, p0 + kb);
      const bool store = p0 == 0 && zero(beta);
      for (int j = 0; j < N; ++j) {
        for (int p = p0; p < pe; ++p) packed(tb == 'N', tb == 'C', b, ldb, j, p, unit, &bp[p * C]);
        for (int i = 0; i < M; ++i) {
          R* e = reinterpret_cast<R*>(c + i + std::ptrdiff_t(j) * ldc);
          if constexpr (C == 1) {
            R s = 0;
            for (int p = p0; p < pe; ++p) {
              packed(ta != 'N', ta == 'C', a, lda, i, p, alpha, &ap[0]);
              s = std::fma(ap[0], bp[p], s);
            }
            e[0] = store ? s : e[0] + s;
          } else {
            R rr = 0, ir = 0, ri = 0, ii = 0;
            for (int p = p0; p < pe; ++p) {
              R av[2];
              packed(ta != 'N', ta == 'C', a, lda, i, p, alpha, av);
              rr = std::fma(av[0], bp[2 * p], rr);
              ir = std::fma(av[1], bp[2 * p], ir);
              ri = std::fma(av[0], bp[2 * p + 1], ri);
              ii = std::fma(av[1], bp[2 * p + 1], ii);
            }
            const R re = rr + -ii, im = ir + ri;
            e[0] = store ? re : e[0] + re;
            e[1] = store ? im : e[1] + im;
          }
        }
      }
    }
  }
};

}  // namespace orb::test::gemm
