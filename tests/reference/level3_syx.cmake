# Level 3, the symmetric, Hermitian and rank-k routines (SYMM, HEMM, SYRK,
# HERK, SYR2K, HER2K): the Fortran and CBLAS test programs of each type with
# inputs that switch those on and the others off, error exits included. The
# stand-ins of level3.cmake cover the names the core does not have yet.
if(NOT DEFINED ORB_REF3_STUB_ENV)
  return()
endif()
foreach(t s d c z)
  orb_reference_test(xblat3${t} level23 INPUT tests/reference/${t}blat3_syx.in NAME xblat3${t}_syx)
  orb_reference_test(x${t}cblat3 level23 INPUT tests/reference/${t}in3_syx NAME x${t}cblat3_syx)
  foreach(name xblat3${t}_syx x${t}cblat3_syx)
    foreach(isa ${ORB_TEST_ISAS})
      if(TEST reference.${name}.${isa})
        set_property(TEST reference.${name}.${isa} APPEND PROPERTY ENVIRONMENT ${ORB_REF3_STUB_ENV})
      endif()
    endforeach()
  endforeach()
endforeach()
