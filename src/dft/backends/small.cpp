// The codelet backends for small transforms in batches: tiny two- and
// three-dimensional cubes, and the dnnsmall batches of eight.
#include "dft/dfti.hpp"

using namespace orb::dft;

namespace {
int decline(const orb_dfti_backend*, DftiNode*) { return DFTI_DECLINED; }
}  // namespace

extern "C" {
#define ORB_DFTI_SMALL(name) \
  ORB_API const orb_dfti_backend ORB_DFTK(bkd_##name)[1] = {{decline, backend_detach, nullptr}};
ORB_DFTI_SMALL(c2c_3d_tiny_s) ORB_DFTI_SMALL(c2c_3d_tiny_d)
ORB_DFTI_SMALL(c2c_2d_tiny_s) ORB_DFTI_SMALL(c2c_2d_tiny_d)
ORB_DFTI_SMALL(r2c_3d_tiny_s) ORB_DFTI_SMALL(r2c_3d_tiny_d)
ORB_DFTI_SMALL(r2c_2d_tiny_s) ORB_DFTI_SMALL(r2c_2d_tiny_d)
ORB_DFTI_SMALL(r2c_1d_dnnsmall_s) ORB_DFTI_SMALL(r2c_1d_dnnsmall_d)
ORB_DFTI_SMALL(r2c_2d_dnnsmall_s) ORB_DFTI_SMALL(r2c_2d_dnnsmall_d)
ORB_DFTI_SMALL(c2c_1d_dnnsmall_s) ORB_DFTI_SMALL(c2c_1d_dnnsmall_d)
#undef ORB_DFTI_SMALL
}
