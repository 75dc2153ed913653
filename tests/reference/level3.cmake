# Level 3, GEMM: the Fortran and CBLAS test programs of each type, with
# inputs that switch every routine but GEMM off (error exits on), so that
# GEMM is checked on its own while the other level-3 routines are built.
#
# The programs are linked with BIND_NOW: they bind every BLAS name they
# reference when they start, the routines their input leaves off included.
# Until the core has those, a library of stand-ins built for these runs
# (level3_stubs.c) supplies the missing ones; the runner preloads it for
# the program alone and lets only the listed names bind to it. The list is
# made after each build of the core from what the programs reference and
# the core does not export, so a routine the core gains leaves the list by
# itself, and once the core has them all the library is empty and nothing
# is preloaded.
set(ORB_REF3_PROGRAMS "")
foreach(t s d c z)
  foreach(p xblat3${t} x${t}cblat3)
    if(EXISTS ${ORB_REF_BLAS_DIR}/${p})
      list(APPEND ORB_REF3_PROGRAMS ${ORB_REF_BLAS_DIR}/${p})
    endif()
  endforeach()
endforeach()
if(NOT ORB_REF3_PROGRAMS)
  return()
endif()

set(ORB_REF3_STUB_DIR ${CMAKE_CURRENT_BINARY_DIR}/reference/level3_stubs)
set(ORB_REF3_STUB_NAMES ${ORB_REF3_STUB_DIR}/names.txt)
file(MAKE_DIRECTORY ${ORB_REF3_STUB_DIR})
add_custom_command(
  OUTPUT ${ORB_REF3_STUB_DIR}/stamp
  BYPRODUCTS ${ORB_REF3_STUB_DIR}/level3_stubs.inc ${ORB_REF3_STUB_NAMES}
  COMMAND sh ${CMAKE_CURRENT_LIST_DIR}/level3_stubs.sh ${CMAKE_NM} $<TARGET_FILE:orb_core>
          ${ORB_REF3_STUB_DIR}/level3_stubs.inc ${ORB_REF3_STUB_NAMES} ${ORB_REF3_STUB_DIR}/stamp
          ${ORB_REF3_PROGRAMS}
  DEPENDS orb_core ${CMAKE_CURRENT_LIST_DIR}/level3_stubs.sh
  COMMENT "Listing the level-3 names the reference programs need and the core lacks"
  VERBATIM)
add_custom_target(orb_ref3_stub_list DEPENDS ${ORB_REF3_STUB_DIR}/stamp)
# Not installed (no install rule), not linked to anything: only preloaded.
add_library(orb_ref3_stubs SHARED ${CMAKE_CURRENT_LIST_DIR}/level3_stubs.c)
target_include_directories(orb_ref3_stubs PRIVATE ${ORB_REF3_STUB_DIR})
set_target_properties(orb_ref3_stubs PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${ORB_REF3_STUB_DIR})
add_dependencies(orb_ref3_stubs orb_ref3_stub_list)
add_dependencies(orb_isa_probe orb_ref3_stubs)
set(ORB_REF3_STUB_ENV ORB_REF_STUBS=$<TARGET_FILE:orb_ref3_stubs> ORB_REF_STUB_NAMES=${ORB_REF3_STUB_NAMES})

foreach(t s d c z)
  orb_reference_test(xblat3${t} level23 INPUT tests/reference/${t}blat3_gemm.in NAME xblat3${t}_gemm)
  orb_reference_test(x${t}cblat3 level23 INPUT tests/reference/${t}in3_gemm NAME x${t}cblat3_gemm)
  foreach(name xblat3${t}_gemm x${t}cblat3_gemm)
    foreach(isa ${ORB_TEST_ISAS})
      if(TEST reference.${name}.${isa})
        set_property(TEST reference.${name}.${isa} APPEND PROPERTY ENVIRONMENT ${ORB_REF3_STUB_ENV})
      endif()
    endforeach()
  endforeach()
endforeach()

# TRMM and TRSM, switched on alone in the same way.
foreach(t s d c z)
  orb_reference_test(xblat3${t} level23 INPUT tests/reference/${t}blat3_trx.in NAME xblat3${t}_trx)
  orb_reference_test(x${t}cblat3 level23 INPUT tests/reference/${t}in3_trx NAME x${t}cblat3_trx)
  foreach(name xblat3${t}_trx x${t}cblat3_trx)
    foreach(isa ${ORB_TEST_ISAS})
      if(TEST reference.${name}.${isa})
        set_property(TEST reference.${name}.${isa} APPEND PROPERTY ENVIRONMENT ${ORB_REF3_STUB_ENV})
      endif()
    endforeach()
  endforeach()
endforeach()

# The checks of the stand-ins themselves, while the core lacks level 3
# (the kernel list of level 3 does not exist yet): a routine the input
# switches on reaches its stand-in, which must end the run loudly; and a
# stand-in missing from the runner's list is a binding outside the core.
if(NOT EXISTS ${CMAKE_SOURCE_DIR}/src/frame/kernels_level3.def AND EXISTS ${ORB_REF_BLAS_DIR}/xblat3d
   AND EXISTS ${ORB_REF_BLAS_DIR}/dblat3.in)
  set(dir ${CMAKE_CURRENT_BINARY_DIR}/reference/stub_reached)
  file(MAKE_DIRECTORY ${dir})
  add_test(NAME reference.level3_stub_is_loud
           COMMAND sh ${ORB_REF_RUNNER} $<TARGET_FILE:orb_isa_probe> def ${ORB_REF_LIBDIR} level23
                   ${ORB_REF_BLAS_DIR}/xblat3d ${ORB_REF_BLAS_DIR}/dblat3.in
           WORKING_DIRECTORY ${dir})
  set_tests_properties(reference.level3_stub_is_loud PROPERTIES
                       ENVIRONMENT "${ORB_REF3_STUB_ENV}"
                       PASS_REGULAR_EXPRESSION "called a stand-in \\(status 86\\): dsymm_;"
                       LABELS "reference")

  set(dir ${CMAKE_CURRENT_BINARY_DIR}/reference/stub_unlisted)
  file(MAKE_DIRECTORY ${dir})
  # The list without dsymm_: that stand-in still binds, now unlisted.
  add_test(NAME reference.level3_stub_unlisted_is_stray
           COMMAND sh -c "grep -v -x dsymm_ \"$0\" > unlisted.txt; ORB_REF_STUB_NAMES=\"$PWD/unlisted.txt\" exec sh \"$@\""
                   ${ORB_REF3_STUB_NAMES} ${ORB_REF_RUNNER} $<TARGET_FILE:orb_isa_probe> def ${ORB_REF_LIBDIR}
                   level23 ${ORB_REF_BLAS_DIR}/xblat3d ${CMAKE_SOURCE_DIR}/tests/reference/dblat3_gemm.in
           WORKING_DIRECTORY ${dir})
  set_tests_properties(reference.level3_stub_unlisted_is_stray PROPERTIES
                       ENVIRONMENT "${ORB_REF3_STUB_ENV}"
                       PASS_REGULAR_EXPRESSION "symbols bound outside liborb_core"
                       LABELS "reference")
endif()
