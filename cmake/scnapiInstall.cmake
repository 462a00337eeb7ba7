# The installed library: headers under <includedir>/scnapi, the libraries,
# and beside them in <libdir> the CMake package (cmake/scnapi) and scnapi.pc
# (pkgconfig).  Every path they hold is relative to where they lie, so an
# installed tree can be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
if(DEFINED SKBUILD)
  # In a wheel the C library lives inside the oxm package (oxm.get_include(),
  # oxm.get_cmake_dir()), not at the top of site-packages.
  set(CMAKE_INSTALL_LIBDIR oxm/lib)
  set(CMAKE_INSTALL_INCLUDEDIR oxm/include)
endif()
set(SCNAPI_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/scnapi)
set(SCNAPI_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# A wheel carries the shared library only: auditwheel relinks it to the HDF5
# the wheel bundles, while the static one would need the system's HDF5 and
# its headers, which a wheel is there to spare.
set(installed_libraries scnapi_shared)
if(NOT DEFINED SKBUILD)
  list(APPEND installed_libraries scnapi_static)
  list(JOIN SCNAPI_PKG_CONFIG_MODULES ", " SCNAPI_PC_REQUIRES_PRIVATE)
  list(TRANSFORM SCNAPI_CXX_RUNTIME PREPEND -l OUTPUT_VARIABLE SCNAPI_PC_LIBS_PRIVATE)
endif()
install(TARGETS ${installed_libraries} EXPORT scnapiTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${SCNAPI_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/scnapi)

install(EXPORT scnapiTargets NAMESPACE scnapi:: DESTINATION ${SCNAPI_CMAKE_DIR})
configure_package_config_file(cmake/scnapiConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/scnapiConfig.cmake
  INSTALL_DESTINATION ${SCNAPI_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/scnapiConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/scnapiConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/scnapiConfigVersion.cmake
  cmake/scnapiDependencies.cmake
  DESTINATION ${SCNAPI_CMAKE_DIR})

file(RELATIVE_PATH SCNAPI_PC_PREFIX /${SCNAPI_PKGCONFIG_DIR} /)
string(REGEX REPLACE "/$" "" SCNAPI_PC_PREFIX "${SCNAPI_PC_PREFIX}")
configure_file(cmake/scnapi.pc.in ${CMAKE_CURRENT_BINARY_DIR}/scnapi.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/scnapi.pc DESTINATION ${SCNAPI_PKGCONFIG_DIR})
