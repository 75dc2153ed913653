// How a kernel library names what it exports.
//
// Every build of the kernel library compiles the same sources; the build's
// tag (avx512, avx2, def) goes into each exported name, so that the core can
// hold several builds in one process and pick the one the processor runs:
// ORB_BLAS(xdaxpy) is orb_blas_avx2_xdaxpy in the AVX2 build.
#pragma once

#ifndef ORB_TAG
#error "ORB_TAG must name the build (avx512, avx2, def)"
#endif

#define ORB_CAT_(a, b, c, d) a##b##c##d
#define ORB_CAT(a, b, c, d) ORB_CAT_(a, b, c, d)

#define ORB_BLAS(name) ORB_CAT(orb_blas_, ORB_TAG, _, name)
// Transposition kernels: ORB_TRANS(domatcopy) is orb_trans_avx2_orb_domatcopy.
#define ORB_TRANS(name) ORB_CAT(orb_trans_, ORB_TAG, _orb_, name)

// Linkage and visibility of an exported kernel. Everything else in a kernel
// library is hidden, so the builds never interpose on each other.
#define ORB_API extern "C" __attribute__((visibility("default")))
