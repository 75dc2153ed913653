// The syx family's entries of the engine's routine table: the triangle
// driver, its beta on one triangle and its diagonal-cutting kernels for the
// triangle-output routines; the mirroring copiers and their driver for
// SYMM and HEMM.
#include "blas/level3/syx.hpp"

namespace orb::level3 {

using namespace orb::engine;

namespace {

// The exported pieces of each type, gathered so that one template fills the
// table. The real types have no Hermitian pieces: their HERK and HEMM are
// SYRK and SYMM.
template <class T> struct pieces;
#define ORB_PIECES(T, t, h, hm)                                                                     \
  template <> struct pieces<T> {                                                                   \
    static constexpr driver_fn<T> syrk_driver = ORB_BLAS(x##t##syrk_fullacopybcopy);               \
    static constexpr driver_fn<T> symm_driver = ORB_BLAS(t##symm_fullacopybcopy);                  \
    static constexpr kernel_fn<T> lower = ORB_BLAS(t##syrk_lower_ker0);                            \
    static constexpr kernel_fn<T> upper = ORB_BLAS(t##syrk_upper_ker0);                            \
    static constexpr scale_fn<T> scale = ORB_BLAS(t##syrk_mscale);                                 \
    static constexpr kernel_fn<T> herm_lower = ORB_BLAS(h##_lower_ker0);                           \
    static constexpr kernel_fn<T> herm_upper = ORB_BLAS(h##_upper_ker0);                           \
    static constexpr scale_fn<T> herm_scale = ORB_BLAS(h##_mscale);                                \
    static constexpr copy_fn<T> mirror[2][2][2] = {                                                \
        {{ORB_BLAS(t##symm_copy_upper_right), ORB_BLAS(t##symm_copy_upper_left)},                  \
         {ORB_BLAS(t##symm_copy_lower_right), ORB_BLAS(t##symm_copy_lower_left)}},                 \
        {{ORB_BLAS(hm##_copy_upper_right), ORB_BLAS(hm##_copy_upper_left)},                  \
         {ORB_BLAS(hm##_copy_lower_right), ORB_BLAS(hm##_copy_lower_left)}}};                \
  };
ORB_PIECES(float, s, ssyrk, ssymm)
ORB_PIECES(double, d, dsyrk, dsymm)
ORB_PIECES(orb_complex8, c, cherk, chemm)
ORB_PIECES(orb_complex16, z, zherk, zhemm)
#undef ORB_PIECES

}  // namespace

template <class T>
void syx_kernel_info(const blas_op_params<T>* params, const blas_matrix*, const blas_matrix*, const blas_matrix*,
                     gemm_kernel_info<T>* info) {
  using P = pieces<T>;
  const int op = params->op;
  const bool lower = params->uplo == 1;
  switch (op) {
    case op_syrk:
    case op_herk:
    case op_syr2k:
    case op_her2k:
    case op_gemmt:
    case op_syr2k_half1:
    case op_syr2k_half2: {
      const bool herm = op == op_herk || op == op_her2k;
      info->syrk_driver = P::syrk_driver;
      info->syrk_scale = herm ? P::herm_scale : P::scale;
      if (herm) info->kernel = lower ? P::herm_lower : P::herm_upper;
      else info->kernel = lower ? P::lower : P::upper;
      break;
    }
    case op_symm:
    case op_hemm: {
      const bool left = params->side != 1;
      const copy_fn<T> copy = P::mirror[op == op_hemm][lower][left];
      if (left) info->copy_a = copy;
      else info->copy_b = copy;
      info->driver = P::symm_driver;
      break;
    }
    default:
      break;
  }
}

#define ORB_INST(T)                                                                                         \
  template void syx_kernel_info<T>(const engine::blas_op_params<T>*, const engine::blas_matrix*,         \
                                      const engine::blas_matrix*, const engine::blas_matrix*,               \
                                      engine::gemm_kernel_info<T>*);
ORB_INST(float)
ORB_INST(double)
ORB_INST(orb_complex8)
ORB_INST(orb_complex16)
#undef ORB_INST

}  // namespace orb::level3
