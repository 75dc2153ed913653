// Placeholders for level-1 kernels not written yet: weak, so a real
// definition anywhere in the library replaces them. Remove when empty.
#include "blas/level1/level1.hpp"

#pragma GCC diagnostic ignored "-Wunused-parameter"
#define ORB_K(ret, kernel, pub, params, args) \
  ORB_API __attribute__((weak)) ret ORB_BLAS(kernel) params { return ret(); }
#include "frame/kernels_level1.def"
#undef ORB_K
