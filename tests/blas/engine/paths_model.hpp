// Scalar models of the GEMM paths that need no packing, exact to the bit,
// and a tolerance check against the reference BLAS.
//
// No-copy: K blocks of a width fixed by K (and the operator of A); each
// element is one fused chain per block, then alpha * sum + beta * C on the
// first block (beta 0: alpha * sum; beta 1: fused add) and alpha * sum + C
// on the others.
// Direct (pst): beta applied to C first, then one chain over all of K and
// C = alpha * sum + C fused. Complex: the chains a*re(b) and a*im(b) of
// both parts of a, combined with the operators' signs, then
// C += alpha * t as two fused steps per part.
// Narrow-n dot products (t_smalln): lane l of a vector of N lanes sums the
// K indices p = l mod N, the lanes fold by halves, then alpha * sum, then
// beta * C added fused (the _b0 form stores alpha * sum).
// n == 2 (n_smalln): one chain over K; beta 0: alpha * sum, else
// alpha * sum + beta * C fused.
// Tiny complex (sm): per element (sr, si) fused in K order, then
// C += alpha * s as in the direct path.
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "blas/engine/paths_route.hpp"
#include "tests/blas/engine/gemm_model.hpp"

namespace orb::test::paths {

using gemm::scalar;

template <class T>
using R = typename scalar<T>::R;

template <class T>
const R<T>* re(const T* p) {
  return reinterpret_cast<const R<T>*>(p);
}
template <class T>
R<T>* re(T* p) {
  return reinterpret_cast<R<T>*>(p);
}

// op(X)(i, p) as C reals, with no conjugation applied.
template <class T>
const R<T>* at(char t, const T* x, int ld, int i, int p) {
  return re(x) + (t == 'N' ? std::ptrdiff_t(i) + std::ptrdiff_t(p) * ld : std::ptrdiff_t(p) + std::ptrdiff_t(i) * ld) *
                     scalar<T>::C;
}

template <class Rt>
Rt beta_scaled(Rt beta, Rt c) {
  return beta == Rt(0) ? Rt(0) : beta == Rt(1) ? c : beta * c;
}

template <class Rt>
void nocopy_real(char ta, char tb, int m, int n, int k, Rt alpha, const Rt* a, int lda, const Rt* b, int ldb,
                 Rt beta, Rt* c, int ldc) {
  if (m < 1 || n < 1) return;
  if (k < 1 || alpha == Rt(0)) {
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < m; ++i) c[i + std::ptrdiff_t(j) * ldc] = beta_scaled(beta, c[i + std::ptrdiff_t(j) * ldc]);
    return;
  }
  const int ks = ta == 'N' ? orb::paths::nocopy_block(k, 768, 384, 384) : orb::paths::nocopy_block(k, 384, 192, 192);
  for (int p0 = 0; p0 < k; p0 += ks) {
    const int pe = std::min(k, p0 + ks);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < m; ++i) {
        Rt s = 0;
        for (int p = p0; p < pe; ++p) s = std::fma(*at(ta, a, lda, i, p), *at(tb, b, ldb, p, j), s);
        Rt& o = c[i + std::ptrdiff_t(j) * ldc];
        if (p0 > 0 || beta == Rt(1)) o = std::fma(alpha, s, o);
        else if (beta == Rt(0)) o = alpha * s;
        else o = std::fma(alpha, s, beta * o);
      }
  }
}

template <class T>
void pst(char ta, char tb, int m, int n, int k, T alpha, const T* a, int lda, const T* b, int ldb, T beta, T* c,
         int ldc) {
  using Rt = R<T>;
  constexpr int C = scalar<T>::C;
  if (m < 1 || n < 1) return;
  const Rt* al = re(&alpha);
  const Rt* be = re(&beta);
  const bool product = (al[0] != 0 || al[C - 1] != 0) && k > 0;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      Rt* o = re(c + i + std::ptrdiff_t(j) * ldc);
      if constexpr (C == 1) {
        o[0] = beta_scaled(be[0], o[0]);
        if (!product) continue;
        Rt s = 0;
        for (int p = 0; p < k; ++p) s = std::fma(*at(ta, a, lda, i, p), *at(tb, b, ldb, p, j), s);
        o[0] = std::fma(al[0], s, o[0]);
      } else {
        if (be[0] == 0 && be[1] == 0) o[0] = 0, o[1] = 0;
        else if (!(be[0] == 1 && be[1] == 0)) {
          const Rt cr = o[0], ci = o[1];
          o[0] = std::fma(be[0], cr, -(be[1] * ci));
          o[1] = std::fma(be[0], ci, be[1] * cr);
        }
        if (!product) continue;
        Rt xr = 0, xi = 0, yr = 0, yi = 0;
        for (int p = 0; p < k; ++p) {
          const Rt* x = at(ta, a, lda, i, p);
          const Rt* y = at(tb, b, ldb, p, j);
          xr = std::fma(x[0], y[0], xr);
          xi = std::fma(x[1], y[0], xi);
          yr = std::fma(x[0], y[1], yr);
          yi = std::fma(x[1], y[1], yi);
        }
        const bool ca = ta == 'C', cb = tb == 'C';
        Rt tr, ti;
        if (!ca && !cb) tr = xr - yi, ti = xi + yr;
        else if (ca && !cb) tr = xr + yi, ti = yr - xi;
        else if (!ca && cb) tr = xr + yi, ti = xi - yr;
        else tr = xr - yi, ti = -(xi + yr);
        o[0] = std::fma(al[0], tr, std::fma(-al[1], ti, o[0]));
        o[1] = std::fma(al[0], ti, std::fma(al[1], tr, o[1]));
      }
    }
}

template <class Rt>
void t_smalln(int m, int n, int k, Rt alpha, const Rt* a, int lda, const Rt* b, int ldb, Rt beta, Rt* c, int ldc) {
  constexpr int N = 64 / sizeof(Rt);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      Rt lane[N] = {};
      for (int p = 0; p < k; ++p)
        lane[p % N] = std::fma(a[p + std::ptrdiff_t(i) * lda], b[p + std::ptrdiff_t(j) * ldb], lane[p % N]);
      for (int h = N / 2; h >= 1; h /= 2)
        for (int l = 0; l < h; ++l) lane[l] = lane[l] + lane[l + h];
      const Rt s = alpha * lane[0];
      Rt& o = c[i + std::ptrdiff_t(j) * ldc];
      o = beta == Rt(0) ? s : std::fma(beta, o, s);
    }
}

inline void n_smalln(int m, int k, double alpha, const double* a, int lda, const double* b, int ldb, double beta,
                     double* c, int ldc) {
  for (int j = 0; j < 2; ++j)
    for (int i = 0; i < m; ++i) {
      double s = 0;
      for (int p = 0; p < k; ++p) s = std::fma(a[i + std::ptrdiff_t(p) * lda], b[p + std::ptrdiff_t(j) * ldb], s);
      double& o = c[i + std::ptrdiff_t(j) * ldc];
      o = beta == 0.0 ? alpha * s : std::fma(alpha, s, beta * o);
    }
}

template <class T>
void sm(char ta, char tb, int m, int n, int k, T alpha, const T* a, int lda, const T* b, int ldb, T* c, int ldc) {
  using Rt = R<T>;
  const Rt* al = re(&alpha);
  if (al[0] == 0 && al[1] == 0) return;
  const Rt sa = ta == 'C' ? -1 : 1, sb = tb == 'C' ? -1 : 1;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      Rt sr = 0, si = 0;
      for (int p = 0; p < k; ++p) {
        const Rt* x = at(ta, a, lda, i, p);
        const Rt* y = at(tb, b, ldb, p, j);
        const Rt xr = x[0], xi = sa * x[1], br = y[0], bi = sb * y[1];
        sr = std::fma(xr, br, std::fma(-xi, bi, sr));
        si = std::fma(xr, bi, std::fma(xi, br, si));
      }
      Rt* o = re(c + i + std::ptrdiff_t(j) * ldc);
      o[0] = std::fma(al[0], sr, std::fma(-al[1], si, o[0]));
      o[1] = std::fma(al[0], si, std::fma(al[1], sr, o[1]));
    }
}

// |C - reference| within a bound of the size of the terms: elementwise
// (k + 2) * eps * (|alpha| sum |a||b| + |beta| |c|), plus a tiny absolute floor.
template <class T>
::testing::AssertionResult near_reference(char ta, char tb, int m, int n, int k, T alpha, const T* a, int lda,
                                          const T* b, int ldb, T beta, const T* c0, const T* c, int ldc) {
  using Rt = R<T>;
  constexpr int C = scalar<T>::C;
  using ref_fn = void (*)(const char*, const char*, const int*, const int*, const int*, const T*, const T*,
                          const int*, const T*, const int*, const T*, T*, const int*, std::size_t, std::size_t);
  const std::string name = std::string(scalar<T>::x) + "gemm_";
  auto ref = orb::test::reference<ref_fn>(name.c_str());
  std::vector<T> r(c0, c0 + std::size_t(ldc) * n);
  ref(&ta, &tb, &m, &n, &k, &alpha, a, &lda, b, &ldb, &beta, r.data(), &ldc, 1, 1);
  const Rt eps = std::numeric_limits<Rt>::epsilon();
  const Rt* al = re(&alpha);
  const Rt* be = re(&beta);
  const double amag = std::hypot(double(al[0]), C == 2 ? double(al[C - 1]) : 0.0);
  const double bmag = std::hypot(double(be[0]), C == 2 ? double(be[C - 1]) : 0.0);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      double mag = 0;
      for (int p = 0; p < k; ++p) {
        const Rt* x = at(ta, a, lda, i, p);
        const Rt* y = at(tb, b, ldb, p, j);
        mag += std::hypot(double(x[0]), C == 2 ? double(x[C - 1]) : 0.0) *
               std::hypot(double(y[0]), C == 2 ? double(y[C - 1]) : 0.0);
      }
      const Rt* o0 = re(c0 + i + std::ptrdiff_t(j) * ldc);
      const double cmag = std::hypot(double(o0[0]), C == 2 ? double(o0[C - 1]) : 0.0);
      const double bound = (k + 4) * double(eps) * 4 * (amag * mag + bmag * cmag) + 1e-30;
      for (int q = 0; q < C; ++q) {
        const double got = re(c + i + std::ptrdiff_t(j) * ldc)[q];
        const double want = re(r.data() + i + std::ptrdiff_t(j) * ldc)[q];
        if (!(std::fabs(got - want) <= bound))
          return ::testing::AssertionFailure() << "element (" << i << ", " << j << ") part " << q << ": " << got
                                               << " against the reference " << want << " (bound " << bound
                                               << "), m=" << m << " n=" << n << " k=" << k << " " << ta << tb;
      }
    }
  return ::testing::AssertionSuccess();
}

template <class T>
::testing::AssertionResult same_bits(const std::vector<T>& x, const std::vector<T>& y) {
  if (x.size() != y.size()) return ::testing::AssertionFailure() << "sizes differ";
  for (std::size_t e = 0; e < x.size(); ++e)
    if (std::memcmp(&x[e], &y[e], sizeof(T)) != 0)
      return ::testing::AssertionFailure() << "first difference at element " << e;
  return ::testing::AssertionSuccess();
}

}  // namespace orb::test::paths
