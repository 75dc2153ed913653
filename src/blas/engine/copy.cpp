// Packing of operand blocks into the panels the register kernels walk.
//
// A block whose short side has s elements and whose K side has k is stored
// as panels of the register tile's width W, then at most one narrower panel
// of each power of two below W for the rest. Within a panel of width w,
// element (r, p) lies at p * w + r, so one K step is w consecutive elements.
//
// "down" bodies read sources whose short index runs along memory (A as
// stored, B transposed); "right" bodies read sources whose K index runs
// along memory (A transposed, B as stored) and transpose as they go.
//
// The factor is applied as the panel is written: exactly 1 moves the bits,
// exactly -1 flips signs, anything else (NaN included) multiplies. Complex
// factors multiply as (fr xr - fi xi, fr xi + fi xr), each product rounded
// on its own; the conjugating bodies conjugate x first.
#include <type_traits>

#include "blas/engine/engine.hpp"

namespace orb::engine {
namespace {

enum { f_one = 0, f_minus = 1, f_any = 2 };

template <class T, int Mode, bool Conj>
struct element_op;

template <class R, int Mode, bool Conj>
struct real_op {
  R f;
  void operator()(const R* x, R* y) const {
    if constexpr (Mode == f_one) y[0] = x[0];
    else if constexpr (Mode == f_minus) y[0] = -x[0];
    else y[0] = f * x[0];
  }
};

template <class R, int Mode, bool Conj>
struct complex_op {
  R fr, fi;
  void operator()(const R* x, R* y) const {
    const R xr = x[0];
    const R xi = Conj ? -x[1] : x[1];
    if constexpr (Mode == f_one) {
      y[0] = xr;
      y[1] = xi;
    } else if constexpr (Mode == f_minus) {
      y[0] = -xr;
      y[1] = -xi;
    } else {
      y[0] = opaque(fr * xr) - fi * xi;
      y[1] = opaque(fr * xi) + fi * xr;
    }
  }
};

template <class T> struct real_type { using type = T; };
template <> struct real_type<orb_complex8> { using type = float; };
template <> struct real_type<orb_complex16> { using type = double; };

// One panel of width w: src(r, p) at src + (down ? r + p * ld : p + r * ld)
// elements, each of C reals. The width is a constant here so that the
// inner loops unroll into whole-vector moves.
template <int C, bool Down, int w, class R, class Op>
inline void copy_panel(int k, const R* __restrict src, std::ptrdiff_t ld, const Op& op, R* __restrict dst) {
  if constexpr (Down) {
    for (int p = 0; p < k; ++p) {
      const R* s = src + std::ptrdiff_t(p) * ld * C;
      __builtin_prefetch(s + 32 * ld * C);
      R* d = dst + std::ptrdiff_t(p) * w * C;
#pragma GCC unroll 16
      for (int r = 0; r < w; ++r) op(s + r * C, d + r * C);
    }
  } else {
    // K runs along memory: walk it in steps of 8 so that each source column
    // is read in whole lines while the panel is written in order.
    int p = 0;
    for (; p + 8 <= k; p += 8) {
#pragma GCC unroll 16
      for (int r = 0; r < w; ++r) __builtin_prefetch(src + (std::ptrdiff_t(r) * ld + p + 16) * C);
#pragma GCC unroll 8
      for (int q = 0; q < 8; ++q) {
#pragma GCC unroll 16
        for (int r = 0; r < w; ++r)
          op(src + (std::ptrdiff_t(r) * ld + p + q) * C, dst + (std::ptrdiff_t(p + q) * w + r) * C);
      }
    }
    for (; p < k; ++p)
#pragma GCC unroll 16
      for (int r = 0; r < w; ++r)
        op(src + (std::ptrdiff_t(r) * ld + p) * C, dst + (std::ptrdiff_t(p) * w + r) * C);
  }
}

template <int W, int C, bool Down, class R, class Op>
void copy_all(int k, int L, const R* src, std::ptrdiff_t ld, const Op& op, R* dst) {
  // Offset of the short index r in the source, in reals.
  const std::ptrdiff_t step = Down ? C : ld * C;
  int r0 = 0;
  for (; r0 + W <= L; r0 += W)
    copy_panel<C, Down, W>(k, src + r0 * step, ld, op, dst + std::ptrdiff_t(r0) * k * C);
  const int rest = L - r0;
  // The rest as panels of the powers of two below W, widest first.
  auto tail = [&](auto width) {
    constexpr int w = decltype(width)::value;
    if constexpr (w < W) {
      if (rest & w) {
        copy_panel<C, Down, w>(k, src + r0 * step, ld, op, dst + std::ptrdiff_t(r0) * k * C);
        r0 += w;
      }
    }
  };
  tail(std::integral_constant<int, 8>{});
  tail(std::integral_constant<int, 4>{});
  tail(std::integral_constant<int, 2>{});
  tail(std::integral_constant<int, 1>{});
}

template <class T, int W, bool Down, bool Conj>
void copy_body(const int* pk, const int* pl, const T* source, const int* pld, const T* factor, T* panel) {
  using R = typename real_type<T>::type;
  constexpr int C = int(sizeof(T) / sizeof(R));
  const int k = *pk, L = *pl;
  if (k < 1 || L < 1) return;
  const R* src = reinterpret_cast<const R*>(source);
  R* dst = reinterpret_cast<R*>(panel);
  const std::ptrdiff_t ld = *pld;
  const R* f = reinterpret_cast<const R*>(factor);
  if constexpr (C == 1) {
    if (f[0] == R(1)) copy_all<W, 1, Down>(k, L, src, ld, real_op<R, f_one, Conj>{f[0]}, dst);
    else if (f[0] == R(-1)) copy_all<W, 1, Down>(k, L, src, ld, real_op<R, f_minus, Conj>{f[0]}, dst);
    else copy_all<W, 1, Down>(k, L, src, ld, real_op<R, f_any, Conj>{f[0]}, dst);
  } else {
    if (f[0] == R(1) && f[1] == R(0))
      copy_all<W, 2, Down>(k, L, src, ld, complex_op<R, f_one, Conj>{f[0], f[1]}, dst);
    else if (f[0] == R(-1) && f[1] == R(0))
      copy_all<W, 2, Down>(k, L, src, ld, complex_op<R, f_minus, Conj>{f[0], f[1]}, dst);
    else
      copy_all<W, 2, Down>(k, L, src, ld, complex_op<R, f_any, Conj>{f[0], f[1]}, dst);
  }
}

// A wrapper: the source view's block goes to the panel view, whose rows
// become K and cols the long side.
template <class T>
inline void copy_view(void (*body)(const int*, const int*, const T*, const int*, const T*, T*),
                      const blas_matrix* src, blas_matrix* dst, const T* factor, bool a_side) {
  const int k = a_side ? src->cols : src->rows;
  const int L = a_side ? src->rows : src->cols;
  dst->rows = k;
  dst->cols = L;
  body(&k, &L, static_cast<const T*>(src->base), &src->ld, factor, static_cast<T*>(dst->base));
}

}  // namespace
}  // namespace orb::engine

using namespace orb::engine;

#define ORB_BODY(T, name, W, down, conj)                                                                  \
  ORB_API void ORB_BLAS(name)(const int* k, const int* l, const T* s, const int* ld, const T* f, T* p) { \
    copy_body<T, W, down, conj>(k, l, s, ld, f, p);                                                       \
  }

ORB_BODY(float, sgemm_scopy_down16_ea, 16, true, false)
ORB_BODY(float, sgemm_scopy_right16_ea, 16, false, false)
ORB_BODY(float, sgemm_scopy_right6_ea, 6, false, false)
ORB_BODY(float, sgemm_scopy_down6_ea, 6, true, false)
ORB_BODY(double, dgemm_dcopy_down8_ea, 8, true, false)
ORB_BODY(double, dgemm_dcopy_right8_ea, 8, false, false)
ORB_BODY(double, dgemm_dcopy_right6_ea, 6, false, false)
ORB_BODY(double, dgemm_dcopy_down6_ea, 6, true, false)
ORB_BODY(orb_complex8, cgemm_ccopy_down8_ea, 8, true, false)
ORB_BODY(orb_complex8, cgemm_ccopy_right8_ea, 8, false, false)
ORB_BODY(orb_complex8, cgemm_ccopy_right3_ea, 3, false, false)
ORB_BODY(orb_complex8, cgemm_ccopy_down3_ea, 3, true, false)
ORB_BODY(orb_complex8, cgemm_cccopy_right8_ea, 8, false, true)
ORB_BODY(orb_complex8, cgemm_cccopy_down3_ea, 3, true, true)
ORB_BODY(orb_complex8, cgemm_cccopy_down8_ea, 8, true, true)
ORB_BODY(orb_complex8, cgemm_cccopy_right3_ea, 3, false, true)
ORB_BODY(orb_complex16, zgemm_zcopy_down4_ea, 4, true, false)
ORB_BODY(orb_complex16, zgemm_zcopy_right4_ea, 4, false, false)
ORB_BODY(orb_complex16, zgemm_zcopy_right3_ea, 3, false, false)
ORB_BODY(orb_complex16, zgemm_zcopy_down3_ea, 3, true, false)
ORB_BODY(orb_complex16, zgemm_zccopy_right4_ea, 4, false, true)
ORB_BODY(orb_complex16, zgemm_zccopy_down3_ea, 3, true, true)
ORB_BODY(orb_complex16, zgemm_zccopy_down4_ea, 4, true, true)
ORB_BODY(orb_complex16, zgemm_zccopy_right3_ea, 3, false, true)
#undef ORB_BODY

#define ORB_WRAP(T, name, body, a_side)                                                         \
  ORB_API void ORB_BLAS(name)(const blas_matrix* src, blas_matrix* dst, const T* factor) { \
    copy_view<T>(ORB_BLAS(body), src, dst, factor, a_side);                                  \
  }

ORB_WRAP(float, sgemm_copyan, sgemm_scopy_down16_ea, true)
ORB_WRAP(float, sgemm_copyat, sgemm_scopy_right16_ea, true)
ORB_WRAP(float, sgemm_copybn, sgemm_scopy_right6_ea, false)
ORB_WRAP(float, sgemm_copybt, sgemm_scopy_down6_ea, false)
ORB_WRAP(double, dgemm_copyan, dgemm_dcopy_down8_ea, true)
ORB_WRAP(double, dgemm_copyat, dgemm_dcopy_right8_ea, true)
ORB_WRAP(double, dgemm_copybn, dgemm_dcopy_right6_ea, false)
ORB_WRAP(double, dgemm_copybt, dgemm_dcopy_down6_ea, false)
ORB_WRAP(orb_complex8, cgemm_copyan, cgemm_ccopy_down8_ea, true)
ORB_WRAP(orb_complex8, cgemm_copyat, cgemm_ccopy_right8_ea, true)
ORB_WRAP(orb_complex8, cgemm_copyac, cgemm_cccopy_right8_ea, true)
ORB_WRAP(orb_complex8, cgemm_copybn, cgemm_ccopy_right3_ea, false)
ORB_WRAP(orb_complex8, cgemm_copybt, cgemm_ccopy_down3_ea, false)
ORB_WRAP(orb_complex8, cgemm_copybc, cgemm_cccopy_down3_ea, false)
ORB_WRAP(orb_complex16, zgemm_copyan, zgemm_zcopy_down4_ea, true)
ORB_WRAP(orb_complex16, zgemm_copyat, zgemm_zcopy_right4_ea, true)
ORB_WRAP(orb_complex16, zgemm_copyac, zgemm_zccopy_right4_ea, true)
ORB_WRAP(orb_complex16, zgemm_copybn, zgemm_zcopy_right3_ea, false)
ORB_WRAP(orb_complex16, zgemm_copybt, zgemm_zcopy_down3_ea, false)
ORB_WRAP(orb_complex16, zgemm_copybc, zgemm_zccopy_down3_ea, false)
#undef ORB_WRAP
