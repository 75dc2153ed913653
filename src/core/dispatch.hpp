// The table of kernels the core forwards to, filled from one kernel library.
#pragma once

#include "orb/orb_types.h"

namespace orb::core {

struct kernel_table {
#define ORB_K(ret, kernel, pub, params, args) ret(*kernel) params;
#include "frame/kernels.def"
#undef ORB_K
  int level;         // dll_cpu_version of the library
  const char* name;  // its file name, or "built-in portable kernels"
};

// The table of the best kernel library this processor runs (or the one
// ORB_ISA asks for). Loaded on first use; safe from any thread.
const kernel_table& kernels();

// Looks up one exported kernel of a given build ("avx512", "avx2", "def"),
// loading that build if needed. Null when the build or the name is missing.
// Used by tests that compare the builds with each other.
void* kernel_symbol(const char* tag, const char* name);

}  // namespace orb::core
