# Level 1: the Fortran and the CBLAS test programs of each type.
foreach(t s d c z)
  orb_reference_test(xblat1${t} level1)
  orb_reference_test(x${t}cblat1 level1)
endforeach()
