// Register kernels of the d type (8 rows by 6 columns).
#include "blas/engine/kernel.hpp"

ORB_REGISTER_KERNELS(double, d, double, 1, 8, 6)
