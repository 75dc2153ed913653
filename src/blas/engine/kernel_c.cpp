// Register kernels of the c type (8 rows by 3 columns).
#include "blas/engine/kernel.hpp"

ORB_REGISTER_KERNELS(orb_complex8, c, float, 2, 8, 3)
