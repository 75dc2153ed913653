// The trxm family's entries of the engine's routine table: the driver by
// routine, side and the triangle of op(A) (a transposed upper triangle is a
// lower one). The drivers run the diagonal blocks through their own direct
// bodies and the rest through the engine's GEMM, so the general copiers and
// kernel the engine put in the table stay as they are.
#include "blas/level3/level3.hpp"
#include "blas/level3/trxm.hpp"

namespace orb::level3 {

template <class T>
void trxm_kernel_info(const engine::blas_op_params<T>* params, const engine::blas_matrix* a,
                      const engine::blas_matrix*, const engine::blas_matrix*, engine::gemm_kernel_info<T>* info) {
  const bool solve = params->op == engine::op_trsm;
  const bool right = params->side == 1;
  const bool lower = ((a->flags & engine::flag_lower) != 0) == ((a->flags & engine::flag_notrans) != 0);
  info->driver = trx_driver<T>(solve, right, lower);
  info->tri_scale = nullptr;
  info->tri_kernel = nullptr;
}

#define ORB_INST(T)                                                                                         \
  template void trxm_kernel_info<T>(const engine::blas_op_params<T>*, const engine::blas_matrix*,         \
                                      const engine::blas_matrix*, const engine::blas_matrix*,               \
                                      engine::gemm_kernel_info<T>*);
ORB_INST(float)
ORB_INST(double)
ORB_INST(orb_complex8)
ORB_INST(orb_complex16)
#undef ORB_INST

}  // namespace orb::level3
