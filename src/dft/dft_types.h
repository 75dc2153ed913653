/* Types the DFT kernels' signatures use (see src/frame/kernels_dft.def). */
#ifndef ORB_DFT_TYPES_H
#define ORB_DFT_TYPES_H

#include "dft/codelet_types.h"

/* Plans of the signal-primitive layer, opaque outside it: one for
   the power-of-two door, one for the any-length door. */
typedef struct orb_keps_fft_spec orb_keps_fft_spec;
typedef struct orb_keps_dft_spec orb_keps_dft_spec;

/* Power-of-two door and the team primitives (src/dft/signal/fft*.cpp,
   src/dft/backends/sync.cpp). A team barrier: two counters that only
   grow, a cache line apart, both zero before the team's first wait. */
#include <stdint.h>
typedef struct orb_dft_barrier {
  int64_t arrived;
  char pad_arrived[56];
  int64_t released;
  char pad_released[56];
} orb_dft_barrier;

/* The any-length door's helpers (src/dft/signal/helpers.cpp): a complex
   value passed by value, as (re, im). */
typedef struct orb_keps_32fc {
  float re, im;
} orb_keps_32fc;
typedef struct orb_keps_64fc {
  double re, im;
} orb_keps_64fc;

/* The descriptor node, its tensors, backends and accessor table. */
#include "dft/dfti_node.h"

#endif
