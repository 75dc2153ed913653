// The syx family's entries of the engine's routine table: the triangle
// driver, its beta on one triangle and its diagonal-cutting kernels for the
// triangle-output routines; the mirroring copiers and their driver for
// SYMM and HEMM.
#include "blas/level3/syx.hpp"

namespace orb::level3 {

using namespace orb::engine;

template <class T>
void syx_kernel_info(const blas_op_params<T>* params, const blas_matrix*, const blas_matrix*, const blas_matrix*,
                     gemm_kernel_info<T>* info) {
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
      const bool herm = is_complex<T> && (op == op_herk || op == op_her2k);
      info->syrk_driver = syrk_driver<T>;
      info->syrk_scale = herm ? herk_scale<T> : syrk_scale<T>;
      if (herm) info->kernel = lower ? tri_ker0<T, true, true> : tri_ker0<T, false, true>;
      else info->kernel = lower ? tri_ker0<T, true, false> : tri_ker0<T, false, false>;
      break;
    }
    case op_symm:
    case op_hemm: {
      const bool left = params->side != 1;
      if constexpr (is_complex<T>) {
        if (op == op_hemm) {
          if (left) info->copy_a = lower ? mirror_copy<T, true, true, true> : mirror_copy<T, false, true, true>;
          else info->copy_b = lower ? mirror_copy<T, true, false, true> : mirror_copy<T, false, false, true>;
          info->driver = symm_driver<T>;
          break;
        }
      }
      if (left) info->copy_a = lower ? mirror_copy<T, true, true, false> : mirror_copy<T, false, true, false>;
      else info->copy_b = lower ? mirror_copy<T, true, false, false> : mirror_copy<T, false, false, false>;
      info->driver = symm_driver<T>;
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
