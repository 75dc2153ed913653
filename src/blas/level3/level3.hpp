// The level-3 routines' side of the engine's routine table: after the
// engine has filled a gemm_kernel_info with its general copiers, kernel and
// drivers, the operation's own family replaces what it does differently
// (triangular copiers and kernels, the triangle drivers, mirroring copiers).
#pragma once

#include "blas/engine/engine.hpp"

namespace orb::level3 {

// TRSM and TRMM (op 7, 8).
template <class T>
void trxm_kernel_info(const engine::blas_op_params<T>* params, const engine::blas_matrix* a,
                      const engine::blas_matrix* b, const engine::blas_matrix* c, engine::gemm_kernel_info<T>* info);

// SYMM, HEMM, SYRK, HERK, SYR2K, HER2K, GEMMT and the SYR2K halves.
template <class T>
void syx_kernel_info(const engine::blas_op_params<T>* params, const engine::blas_matrix* a,
                     const engine::blas_matrix* b, const engine::blas_matrix* c, engine::gemm_kernel_info<T>* info);

}  // namespace orb::level3
