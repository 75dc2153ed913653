// The GEMM engine's records (strategies, kernel info, matrix views), read
// by test programs that are built for no kernel level of their own: the
// build macros then name a placeholder.
#pragma once

#ifndef ORB_TAG
#define ORB_TAG test
#endif
#ifndef ORB_LEVEL
#define ORB_LEVEL 0
#endif
#include "blas/engine/engine.hpp"
