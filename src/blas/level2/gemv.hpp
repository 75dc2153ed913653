// The GEMV frame, shared by the kernels that run a GEMV inside them.
#pragma once

#include "blas/level2/level2.hpp"

namespace orb::l2 {

// The whole real GEMV kernel, arguments as the public routine has them.
template <class T>
void gemv_real(const char* trans, const int* m, const int* n, const T* alpha, const T* a, const int* lda,
               const T* x, const int* incx, const T* beta, T* y, const int* incy);

}  // namespace orb::l2
