/* Types the DFT kernels' signatures use (see src/frame/kernels_dft.def). */
#ifndef ORB_DFT_TYPES_H
#define ORB_DFT_TYPES_H

#include "dft/codelet_types.h"

/* Specifications of the signal-primitive layer, opaque outside it: one for
   the power-of-two door, one for the any-length door. */
typedef struct orb_keps_fft_spec orb_keps_fft_spec;
typedef struct orb_keps_dft_spec orb_keps_dft_spec;

/* The descriptor node, its tensors, backends and accessor table. */
#include "dft/dfti_node.h"

#endif
