// The trxm family's entries of the engine's routine table.
#include "blas/level3/level3.hpp"

namespace orb::level3 {

template <class T>
void trxm_kernel_info(const engine::blas_op_params<T>*, const engine::blas_matrix*, const engine::blas_matrix*,
                      const engine::blas_matrix*, engine::gemm_kernel_info<T>*) {}

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
