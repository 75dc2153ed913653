// Declarations of the DFT kernels a kernel library exports, for the DFT
// sources. Apart from frame/kernels.hpp because the list is long and
// generated: a change to it recompiles the DFT sources alone.
#pragma once

#include "dft/dft_types.h"
#include "frame/export.hpp"

// ORB_DFTK(cDFTfwd_5_64fc) is orb_dft_avx2_cDFTfwd_5_64fc in the AVX2 build.
#define ORB_DFTK(name) ORB_CAT(orb_dft_, ORB_TAG, _, name)

#define ORB_DFT(ret, name, params, args) ORB_API ret ORB_DFTK(name) params;
#define ORB_DFT_TABLE(type, name, extents) ORB_API const type ORB_DFTK(name) extents;
#include "frame/kernels_dft.def"
#undef ORB_DFT
#undef ORB_DFT_TABLE
