# Level 3, GEMM: the Fortran and CBLAS test programs of each type, with
# inputs that switch every routine but GEMM off (error exits on), so that
# GEMM is checked on its own while the other level-3 routines are built.
# The programs bind every BLAS name they use when they start, the routines
# they do not test included; they are added once the core has the other
# level-3 names (the level-3 kernel list exists).
if(EXISTS ${CMAKE_SOURCE_DIR}/src/frame/kernels_level3.def)
  foreach(t s d c z)
    orb_reference_test(xblat3${t} level23 INPUT tests/reference/${t}blat3_gemm.in NAME xblat3${t}_gemm)
    orb_reference_test(x${t}cblat3 level23 INPUT tests/reference/${t}in3_gemm NAME x${t}cblat3_gemm)
  endforeach()
endif()
