// |re| + |im| of one complex number: the cheap magnitude that the index
// searches and the complex level-2 kernels compare by.
#include <cmath>

#include "blas/level1/level1.hpp"

ORB_API float ORB_BLAS(scabs1)(const orb_complex8* z) { return std::fabs(z->re) + std::fabs(z->im); }
ORB_API double ORB_BLAS(dcabs1)(const orb_complex16* z) { return std::fabs(z->re) + std::fabs(z->im); }
