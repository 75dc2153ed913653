// Placeholders for kernels listed but not written yet: weak, so a real
// definition anywhere in the library replaces them. Remove when empty.
#include "frame/kernels.hpp"

#pragma GCC diagnostic ignored "-Wunused-parameter"
#define ORB_K(ret, kernel, pub, params, args) \
  ORB_API __attribute__((weak)) ret ORB_BLAS(kernel) params { return ret(); }
#include "frame/kernels.def"
#undef ORB_K
