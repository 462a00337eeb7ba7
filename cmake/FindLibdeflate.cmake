# Finds libdeflate (Debian: libdeflate-dev) and defines Libdeflate::Libdeflate.
# Used by the build and installed next to scnapiConfig.cmake, whose static
# library needs it at link time. pkg-config, when present, only adds hints.
find_package(PkgConfig QUIET)
if(PKG_CONFIG_FOUND)
  pkg_check_modules(PC_LIBDEFLATE QUIET libdeflate)
endif()
find_path(Libdeflate_INCLUDE_DIR libdeflate.h HINTS ${PC_LIBDEFLATE_INCLUDE_DIRS})
find_library(Libdeflate_LIBRARY NAMES deflate libdeflate HINTS ${PC_LIBDEFLATE_LIBRARY_DIRS})
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Libdeflate
  REQUIRED_VARS Libdeflate_LIBRARY Libdeflate_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "libdeflate is required: install Debian's libdeflate-dev (apt-get install libdeflate-dev)")
if(Libdeflate_FOUND AND NOT TARGET Libdeflate::Libdeflate)
  add_library(Libdeflate::Libdeflate UNKNOWN IMPORTED)
  set_target_properties(Libdeflate::Libdeflate PROPERTIES
    IMPORTED_LOCATION "${Libdeflate_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${Libdeflate_INCLUDE_DIR}")
endif()
mark_as_advanced(Libdeflate_INCLUDE_DIR Libdeflate_LIBRARY)
