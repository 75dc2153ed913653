# Level 2: the Fortran and the CBLAS test programs of each type, with the
# input files Debian ships beside them (error-exit tests on).
foreach(t s d c z)
  orb_reference_test(xblat2${t} level23 INPUT ${t}blat2.in)
  orb_reference_test(x${t}cblat2 level23 INPUT ${t}in2)
endforeach()
