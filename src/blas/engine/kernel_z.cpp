// Register kernels of the z type (4 rows by 3 columns).
#include "blas/engine/kernel.hpp"

ORB_REGISTER_KERNELS(orb_complex16, z, double, 2, 4, 3)
