// Public level-1 names: each forwards its arguments unchanged to the kernel
// of the loaded library. Level 1 has no argument to check.
#include "core/dispatch.hpp"
#include "orb/orb_blas.h"

#define ORB_K(ret, kernel, pub, params, args) \
  extern "C" ret orb_blas_##pub params { return orb::core::kernels().kernel args; }
#include "frame/kernels_level1.def"
#undef ORB_K
