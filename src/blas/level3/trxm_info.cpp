// The trxm family's entries of the engine's routine table, by routine, side
// and the triangle of op(A) (a transposed upper triangle is a lower one):
// the driver, the triangular kernel, the diagonal preparation and the
// copiers of the operands the drivers pack with the engine's copiers.
//
// Side "L": A's panel holds op(A) (the general copier by A's operator, as
// the engine chose it) and B's panel the columns of B. Side "R": the roles
// turn: A's panel holds strips of B's rows (plain copier) and B's panel
// op(A) (the B-side copier by A's operator).
#include "blas/level3/level3.hpp"
#include "blas/level3/trxm.hpp"

namespace orb::level3 {
namespace {

template <class T> struct trx_routines;
#define ORB_TRX_ROUTINES(T, t, copybc)                                                                            \
  template <> struct trx_routines<T> {                                                                            \
    static constexpr engine::copy_fn<T> copyan = ORB_BLAS(t##gemm_copyan);                                        \
    static constexpr engine::copy_fn<T> copybn = ORB_BLAS(t##gemm_copybn);                                        \
    static constexpr engine::copy_fn<T> copybt = ORB_BLAS(t##gemm_copybt);                                        \
    static constexpr engine::copy_fn<T> copyb_conj = copybc;                                                      \
    static constexpr engine::tri_kernel_fn<T> kernels[2][2][2] = {                                                \
        {{ORB_BLAS(t##trmm_kernel_left_upper), ORB_BLAS(t##trmm_kernel_left_lower)},                              \
         {ORB_BLAS(t##trmm_kernel_right_upper), ORB_BLAS(t##trmm_kernel_right_lower)}},                           \
        {{ORB_BLAS(t##trsm_kernel_left_upper), ORB_BLAS(t##trsm_kernel_left_lower)},                              \
         {ORB_BLAS(t##trsm_kernel_right_upper), ORB_BLAS(t##trsm_kernel_right_lower)}}};                          \
    /* [solve][right][unit] */                                                                                    \
    static constexpr engine::tri_scale_fn<T> scales[2][2][2] = {                                                  \
        {{nullptr, ORB_BLAS(t##trmm_scale_left_unit)}, {nullptr, ORB_BLAS(t##trmm_scale_right_unit)}},            \
        {{ORB_BLAS(t##trsm_scale_left), ORB_BLAS(t##trsm_scale_left_unit)},                                       \
         {ORB_BLAS(t##trsm_scale_right), ORB_BLAS(t##trsm_scale_right_unit)}}};                                   \
  };
ORB_TRX_ROUTINES(float, s, ORB_BLAS(sgemm_copybt))
ORB_TRX_ROUTINES(double, d, ORB_BLAS(dgemm_copybt))
ORB_TRX_ROUTINES(orb_complex8, c, ORB_BLAS(cgemm_copybc))
ORB_TRX_ROUTINES(orb_complex16, z, ORB_BLAS(zgemm_copybc))
#undef ORB_TRX_ROUTINES

}  // namespace

template <class T>
void trxm_kernel_info(const engine::blas_op_params<T>* params, const engine::blas_matrix* a,
                      const engine::blas_matrix*, const engine::blas_matrix*, engine::gemm_kernel_info<T>* info) {
  using Rt = trx_routines<T>;
  const bool solve = params->op == engine::op_trsm;
  const bool right = params->side == 1;
  const bool lower = ((a->flags & engine::flag_lower) != 0) == ((a->flags & engine::flag_notrans) != 0);
  const bool unit = (a->flags & engine::flag_unit) != 0;
  info->driver = trx_driver<T>(solve, right, lower);
  info->tri_kernel = Rt::kernels[solve][right][lower];
  info->tri_scale = Rt::scales[solve][right][unit];
  if (right) {
    info->copy_a = Rt::copyan;
    info->copy_b = (a->flags & engine::flag_conjtrans) ? Rt::copyb_conj
                   : (a->flags & engine::flag_trans)   ? Rt::copybt
                                                       : Rt::copybn;
  }
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
