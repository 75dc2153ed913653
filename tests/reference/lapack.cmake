# Programs of other packages on orb's drop-in libblas.so.3: Debian's
# reference LAPACK (package liblapack3) with a driver program of ours and
# with its own linear-equation test programs (liblapack-test), and numpy
# and scipy under Debian's own Python (python3-numpy, python3-scipy). Each
# run goes through run_lapack_on_orb.sh, which checks with the dynamic
# linker that LAPACK's BLAS calls really reached liborb_core, and skips
# (status 77) when a package is not installed. Runs on the build the
# processor selects by default. Label "reference".

set(ORB_LAPACK_DIR "/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/lapack"
    CACHE PATH "Directory of the reference LAPACK (liblapack.so.3) and its test programs")
set(ORB_SYSTEM_PYTHON "/usr/bin/python3" CACHE FILEPATH "The Python that sees the distribution's numpy and scipy")
set(ORB_LAPACK_RUNNER ${CMAKE_CURRENT_LIST_DIR}/run_lapack_on_orb.sh)

if(NOT ORB_TARGET_I386 AND NOT ORB_SANITIZE)
  add_executable(lapack_on_orb ${CMAKE_CURRENT_LIST_DIR}/lapack_on_orb.c)
  target_link_libraries(lapack_on_orb PRIVATE ${CMAKE_DL_LIBS} m)
  add_dependencies(lapack_on_orb orb_shim_blas orb_shim_cblas orb_kernels)

  # orb_lapack_test(name mode args...)
  function(orb_lapack_test name mode)
    set(dir ${CMAKE_CURRENT_BINARY_DIR}/reference/${name})
    file(MAKE_DIRECTORY ${dir})
    add_test(NAME reference.${name}
             COMMAND sh ${ORB_LAPACK_RUNNER} ${mode} ${ORB_REF_LIBDIR} ${ORB_REF_BLAS_DIR} ${ORB_LAPACK_DIR} ${ARGN}
             WORKING_DIRECTORY ${dir})
    set_tests_properties(reference.${name} PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 900 LABELS "reference")
  endfunction()

  orb_lapack_test(lapack_drivers drivers $<TARGET_FILE:lapack_on_orb>)
  foreach(t s d c z)
    orb_lapack_test(xlintst${t} lintst ${ORB_LAPACK_DIR}/xlintst${t} ${ORB_LAPACK_DIR}/${t}test.in)
  endforeach()
  orb_lapack_test(numpy_scipy python ${ORB_SYSTEM_PYTHON} ${CMAKE_CURRENT_LIST_DIR}/numpy_on_orb.py)
endif()
