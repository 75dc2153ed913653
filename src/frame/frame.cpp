// The level query and the interface versions. Constants of the build: the
// core reads them to check that a library it loaded is the one it asked for.
#include "frame/kernels.hpp"

ORB_API int dll_cpu_version(void) { return ORB_LEVEL; }

// The plain GEMM interface is at version 2; each reduced-precision family
// (integer, bfloat16, packed-float, half) at version 1.
ORB_API int ORB_BLAS(get_kernel_api_version)(void) { return 2; }
ORB_API int ORB_BLAS(get_ikernel_api_version)(void) { return 1; }
ORB_API int ORB_BLAS(get_bkernel_api_version)(void) { return 1; }
ORB_API int ORB_BLAS(get_fkernel_api_version)(void) { return 1; }
ORB_API int ORB_BLAS(get_hkernel_api_version)(void) { return 1; }
