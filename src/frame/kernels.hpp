// Declarations of everything a kernel library exports. Each kernel source
// includes this, so a definition that strays from its listed signature fails
// to compile instead of failing at load time.
#pragma once

#include <stddef.h>

#include "frame/export.hpp"
#include "orb/orb_types.h"
#include "orb/orb_service.h"

#define ORB_K(ret, kernel, pub, params, args) ORB_API ret ORB_BLAS(kernel) params;
#include "frame/kernels.def"
#undef ORB_K
#define ORB_T(ret, routine, params, args) ORB_API ret ORB_TRANS(routine) params;
#include "frame/kernels_trans.def"
#undef ORB_T

// The instruction-set level this build serves (9 AVX-512, 7 AVX2, 0 portable).
ORB_API int dll_cpu_version(void);
ORB_API int ORB_BLAS(get_kernel_api_version)(void);
ORB_API int ORB_BLAS(get_ikernel_api_version)(void);
ORB_API int ORB_BLAS(get_bkernel_api_version)(void);
ORB_API int ORB_BLAS(get_fkernel_api_version)(void);
ORB_API int ORB_BLAS(get_hkernel_api_version)(void);
