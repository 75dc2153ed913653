// The table of kernels the core forwards to, filled from one kernel library.
#pragma once

#include <stddef.h>

#include "orb/orb_types.h"
#include "dft/dft_types.h"

namespace orb::core {

struct kernel_table {
#define ORB_K(ret, kernel, pub, params, args) ret(*kernel) params;
#include "frame/kernels.def"
#undef ORB_K
  int level;         // dll_cpu_version of the library
  const char* name;  // its file name, or "built-in portable kernels"
};

// The transposition kernels of the same library, in a table of their own.
struct trans_table {
#define ORB_T(ret, routine, params, args) ret(*routine) params;
#include "frame/kernels_trans.def"
#undef ORB_T
  int level;
  const char* name;
};

// The DFT kernels of the same library: routines and their tables.
struct dft_table {
#define ORB_DFT(ret, name, params, args) ret(*name) params;
#define ORB_DFT_TABLE(type, name, extents) const type (*name) extents;
#include "frame/kernels_dft.def"
#undef ORB_DFT
#undef ORB_DFT_TABLE
  int level;
  const char* name;
};

// The table of the best kernel library this processor runs (or the one
// ORB_ISA asks for). Loaded on first use; safe from any thread.
const kernel_table& kernels();
// Its transposition kernels, from the same library as kernels().
const trans_table& trans_kernels();
// Its DFT kernels, from the same library as kernels().
const dft_table& dft_kernels();

// Looks up one exported kernel of a given build ("avx512", "avx2", "def"),
// loading that build if needed. Null when the build or the name is missing.
// Used by tests that compare the builds with each other.
void* kernel_symbol(const char* tag, const char* name);
// The same for the transposition kernels: name is the routine ("domatcopy").
void* trans_kernel_symbol(const char* tag, const char* name);
// The same for the DFT kernels and tables: name is "cDFTfwd_5_64fc".
void* dft_kernel_symbol(const char* tag, const char* name);

}  // namespace orb::core
