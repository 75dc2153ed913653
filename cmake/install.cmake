# Installation: the core and its kernel libraries side by side (the core
# finds them in its own directory), the drop-in BLAS directory, the headers,
# a pkg-config file and a CMake package.
#
#   <prefix>/<libdir>/liborb_core.so.2, liborb_avx2.so.2, liborb_avx512.so.2
#   <prefix>/<libdir>/orb/blas/libblas.so.3, libcblas.so.3
#   <prefix>/include/orb/*.h
#   <prefix>/<libdir>/pkgconfig/orb.pc
#   <prefix>/<libdir>/cmake/orb/orbConfig.cmake       (target orb::orb)
include(CMakePackageConfigHelpers)

set(ORB_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/orb)
set(ORB_INSTALL_BLASDIR ${CMAKE_INSTALL_LIBDIR}/orb/blas)

# Users link orb::orb, in the build tree (add_subdirectory) as after install.
set_target_properties(orb_core PROPERTIES EXPORT_NAME orb)
if(NOT TARGET orb::orb)
  add_library(orb::orb ALIAS orb_core)
endif()

install(TARGETS orb_core EXPORT orbTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Kernel libraries are opened by the core, never linked by users: no
# development link names.
foreach(tag ${ORB_KERNEL_LIBS})
  set_target_properties(orb_${tag} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS orb_${tag} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_SKIP)
endforeach()

# The drop-in directory sits two levels below the core.
foreach(name blas cblas)
  if(TARGET orb_shim_${name})
    set_target_properties(orb_shim_${name} PROPERTIES INSTALL_RPATH "$ORIGIN/../..")
    install(TARGETS orb_shim_${name} LIBRARY DESTINATION ${ORB_INSTALL_BLASDIR} COMPONENT runtime NAMELINK_SKIP)
  endif()
endforeach()

install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/orb DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development FILES_MATCHING PATTERN "*.h")

# pkg-config. The prefix is the one given at install time (cmake --install
# --prefix), so the file is written then; the rest is fixed here.
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(ORB_PC_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(ORB_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
configure_file(${CMAKE_CURRENT_LIST_DIR}/orb.pc.in ${CMAKE_BINARY_DIR}/orb.pc.template @ONLY)
install(CODE "
  set(pc_dir \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig\")
  if(IS_ABSOLUTE \"${CMAKE_INSTALL_LIBDIR}\")
    set(pc_dir \"${CMAKE_INSTALL_LIBDIR}/pkgconfig\")
  endif()
  file(READ \"${CMAKE_BINARY_DIR}/orb.pc.template\" pc)
  string(REPLACE \"%PREFIX%\" \"\${CMAKE_INSTALL_PREFIX}\" pc \"\${pc}\")
  message(STATUS \"Installing: \$ENV{DESTDIR}\${pc_dir}/orb.pc\")
  file(WRITE \"\$ENV{DESTDIR}\${pc_dir}/orb.pc\" \"\${pc}\")
  list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\$ENV{DESTDIR}\${pc_dir}/orb.pc\")
" COMPONENT development)

install(EXPORT orbTargets NAMESPACE orb:: DESTINATION ${ORB_INSTALL_CMAKEDIR} COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/orbConfig.cmake.in
  ${CMAKE_BINARY_DIR}/orbConfig.cmake INSTALL_DESTINATION ${ORB_INSTALL_CMAKEDIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/orbConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/orbConfig.cmake ${CMAKE_BINARY_DIR}/orbConfigVersion.cmake
  DESTINATION ${ORB_INSTALL_CMAKEDIR} COMPONENT development)
