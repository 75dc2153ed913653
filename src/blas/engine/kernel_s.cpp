// Register kernels of the s type (16 rows by 6 columns).
#include "blas/engine/kernel.hpp"

ORB_REGISTER_KERNELS(float, s, float, 1, 16, 6)
