# The reference BLAS test programs (Debian's libblas-test) run on orb.
#
# The programs are linked against libblas.so.3; with LD_LIBRARY_PATH at
# lib/blas of this build tree they load orb's libblas.so.3, whose symbols
# all live in liborb_core.so.2. Each program runs once per kernel build
# (ORB_ISA), in a working directory of its own, through run_reference.sh,
# which reads the program's report (the programs exit 0 even when a routine
# fails) and checks with the dynamic linker that the calls really reached
# orb and the build asked for.
#
# Adding a program is one line in a reference/<level>.cmake file:
#   orb_reference_test(xblat2d level23 INPUT dblat2.in)
# INPUT is a file in ORB_REF_BLAS_DIR or a path of the source tree; it
# becomes the program's standard input. level1 and level23 name the kind of
# report the program prints.

add_executable(orb_isa_probe ${CMAKE_CURRENT_LIST_DIR}/isa_probe.c)
target_include_directories(orb_isa_probe PRIVATE ${CMAKE_SOURCE_DIR}/include)
target_link_libraries(orb_isa_probe PRIVATE orb_core)
# The runs need the drop-in libraries and the kernel builds, not only the probe.
add_dependencies(orb_isa_probe orb_shim_blas orb_shim_cblas orb_kernels)

set(ORB_REF_RUNNER ${CMAKE_CURRENT_LIST_DIR}/run_reference.sh)
set(ORB_REF_LIBDIR ${CMAKE_BINARY_DIR}/lib/blas)

if(NOT EXISTS ${ORB_REF_BLAS_DIR})
  message(STATUS "No reference BLAS test programs in ${ORB_REF_BLAS_DIR} (package libblas-test): "
                 "the reference runs are left out")
endif()

# orb_reference_test(program kind [INPUT file] [NAME name] [TIMEOUT seconds])
function(orb_reference_test program kind)
  cmake_parse_arguments(ARG "" "INPUT;NAME;TIMEOUT" "" ${ARGN})
  set(path ${ORB_REF_BLAS_DIR}/${program})
  if(NOT EXISTS ${path})
    return()
  endif()
  set(input "")
  if(ARG_INPUT)
    if(IS_ABSOLUTE ${ARG_INPUT})
      set(input ${ARG_INPUT})
    elseif(EXISTS ${ORB_REF_BLAS_DIR}/${ARG_INPUT})
      set(input ${ORB_REF_BLAS_DIR}/${ARG_INPUT})
    else()
      set(input ${CMAKE_SOURCE_DIR}/${ARG_INPUT})
    endif()
  endif()
  set(name ${program})
  if(ARG_NAME)
    set(name ${ARG_NAME})
  endif()
  set(timeout 300)
  if(ARG_TIMEOUT)
    set(timeout ${ARG_TIMEOUT})
  endif()
  foreach(isa ${ORB_TEST_ISAS})
    set(dir ${CMAKE_CURRENT_BINARY_DIR}/reference/${name}.${isa})
    file(MAKE_DIRECTORY ${dir})
    add_test(NAME reference.${name}.${isa}
             COMMAND sh ${ORB_REF_RUNNER} $<TARGET_FILE:orb_isa_probe> ${isa} ${ORB_REF_LIBDIR}
                     ${kind} ${path} ${input}
             WORKING_DIRECTORY ${dir})
    set_tests_properties(reference.${name}.${isa} PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT ${timeout}
                         LABELS "reference;${isa}")
  endforeach()
endfunction()

# The checks of the runner itself: a run that went to another BLAS must fail
# even when that BLAS passes every test.
if(EXISTS ${ORB_REF_BLAS_DIR}/xblat1d AND EXISTS ${ORB_REF_BLAS_DIR}/libblas.so.3)
  set(dir ${CMAKE_CURRENT_BINARY_DIR}/reference/foreign_blas)
  file(MAKE_DIRECTORY ${dir})
  add_test(NAME reference.detects_foreign_blas
           COMMAND sh ${ORB_REF_RUNNER} $<TARGET_FILE:orb_isa_probe> def ${ORB_REF_BLAS_DIR} level1
                   ${ORB_REF_BLAS_DIR}/xblat1d
           WORKING_DIRECTORY ${dir})
  set_tests_properties(reference.detects_foreign_blas PROPERTIES
                       PASS_REGULAR_EXPRESSION "symbols bound outside liborb_core" LABELS "reference")
endif()

# <cblas.h> through -I<prefix>/include/orb: the compiler must take orb's
# header (-H lists what it opened), and the header must compile alone.
add_test(NAME interfaces.cblas_header_alone
         COMMAND ${CMAKE_C_COMPILER} -fsyntax-only -H -I${CMAKE_SOURCE_DIR}/include/orb
                 ${CMAKE_CURRENT_LIST_DIR}/cblas_standalone.c)
set_tests_properties(interfaces.cblas_header_alone PROPERTIES
                     PASS_REGULAR_EXPRESSION "include/orb/cblas\\.h"
                     FAIL_REGULAR_EXPRESSION "error|orb_types\\.h|/usr/include/[^ ]*/cblas"
                     LABELS "unit")

# The Fortran header is generated from the kernel lists; a list changed
# without regenerating it fails here.
find_package(Python3 COMPONENTS Interpreter QUIET)
if(Python3_Interpreter_FOUND)
  add_test(NAME interfaces.fortran_header_current
           COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/tools/gen_fortran_header.py --check)
  set_tests_properties(interfaces.fortran_header_current PROPERTIES LABELS "unit")
endif()
