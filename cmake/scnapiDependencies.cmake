# The libraries libscnapi links with, one scnapi_dependency() row each at
# the end of this file.  The same rows serve the build (which stops with the
# install hints when one is missing), the installed CMake package (where the
# static library's consumers link them) and scnapi.pc (Requires.private).
#
# Each is found by find_path/find_library into an IMPORTED target
# scnapi_deps::<name>, with pkg-config's directories as hints when
# pkg-config is there.  Nothing is compiled to find them (FindHDF5 does, in
# a language the consumer may not have enabled), and no path of the machine
# that built the library is recorded in the installed package.
#
# <name>_ROOT (a CMake or environment variable) names an installation prefix
# to use instead; then only that prefix is searched, so that a custom build
# is never mixed with the system's headers or libraries.
#
# Afterwards:
#   SCNAPI_DEPENDENCIES          the names of the rows
#   SCNAPI_DEPENDENCY_TARGETS    their scnapi_deps:: targets
#   SCNAPI_PKG_CONFIG_MODULES    their pkg-config modules
#   SCNAPI_MISSING_DEPENDENCIES  how to install those not found ("" if none)

set(SCNAPI_DEPENDENCIES "")
set(SCNAPI_DEPENDENCY_TARGETS "")
set(SCNAPI_PKG_CONFIG_MODULES "")
set(SCNAPI_MISSING_DEPENDENCIES "")
find_package(PkgConfig QUIET)

# scnapi_dependency(<name> PKG_CONFIG <module> HEADER <file> LIBRARY <names>...
#                   [PATH_SUFFIXES <dirs>...] INSTALL <where to get it>...)
function(scnapi_dependency name)
  cmake_parse_arguments(PARSE_ARGV 1 dep "" "PKG_CONFIG;HEADER" "LIBRARY;PATH_SUFFIXES;INSTALL")
  set(SCNAPI_DEPENDENCIES ${SCNAPI_DEPENDENCIES} ${name} PARENT_SCOPE)
  set(SCNAPI_DEPENDENCY_TARGETS ${SCNAPI_DEPENDENCY_TARGETS} scnapi_deps::${name} PARENT_SCOPE)
  set(SCNAPI_PKG_CONFIG_MODULES ${SCNAPI_PKG_CONFIG_MODULES} ${dep_PKG_CONFIG} PARENT_SCOPE)
  if(TARGET scnapi_deps::${name})
    return()
  endif()

  set(root "${${name}_ROOT}")
  if(NOT root)
    set(root "$ENV{${name}_ROOT}")
  endif()
  # A new root invalidates what an earlier configure found.
  if(NOT "${root}" STREQUAL "${SCNAPI_${name}_SEARCHED_ROOT}")
    unset(SCNAPI_${name}_INCLUDE_DIR CACHE)
    unset(SCNAPI_${name}_LIBRARY CACHE)
    set(SCNAPI_${name}_SEARCHED_ROOT "${root}" CACHE INTERNAL "")
  endif()
  set(where "")
  set(include_hints "")
  set(library_hints "")
  if(root)
    set(CMAKE_PREFIX_PATH "${root}")
    set(where NO_PACKAGE_ROOT_PATH NO_CMAKE_ENVIRONMENT_PATH NO_SYSTEM_ENVIRONMENT_PATH NO_CMAKE_SYSTEM_PATH)
  elseif(PKG_CONFIG_FOUND)
    pkg_check_modules(scnapi_pc_${name} QUIET ${dep_PKG_CONFIG})
    set(include_hints ${scnapi_pc_${name}_INCLUDE_DIRS})
    set(library_hints ${scnapi_pc_${name}_LIBRARY_DIRS})
  endif()
  find_path(SCNAPI_${name}_INCLUDE_DIR ${dep_HEADER}
            HINTS ${include_hints} PATH_SUFFIXES ${dep_PATH_SUFFIXES} ${where})
  find_library(SCNAPI_${name}_LIBRARY NAMES ${dep_LIBRARY}
               HINTS ${library_hints} PATH_SUFFIXES ${dep_PATH_SUFFIXES} ${where})
  mark_as_advanced(SCNAPI_${name}_INCLUDE_DIR SCNAPI_${name}_LIBRARY)

  if(NOT SCNAPI_${name}_INCLUDE_DIR OR NOT SCNAPI_${name}_LIBRARY)
    list(JOIN dep_INSTALL ", " install)
    string(APPEND SCNAPI_MISSING_DEPENDENCIES "  ${name}: install ${install}\n"
           "    or name an installation prefix with -D${name}_ROOT=<prefix>\n")
    set(SCNAPI_MISSING_DEPENDENCIES "${SCNAPI_MISSING_DEPENDENCIES}" PARENT_SCOPE)
    return()
  endif()
  add_library(scnapi_deps::${name} UNKNOWN IMPORTED)
  set_target_properties(scnapi_deps::${name} PROPERTIES
    IMPORTED_LOCATION "${SCNAPI_${name}_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${SCNAPI_${name}_INCLUDE_DIR}")
endfunction()

# Debian keeps the serial HDF5 under hdf5/serial (libhdf5_serial in the
# multiarch directory).
scnapi_dependency(HDF5 PKG_CONFIG hdf5 HEADER hdf5.h LIBRARY hdf5 hdf5_serial PATH_SUFFIXES hdf5/serial
  INSTALL "libhdf5-dev (Debian, Ubuntu)" "hdf5-devel (Fedora)" "hdf5 (Homebrew)")
scnapi_dependency(Libdeflate PKG_CONFIG libdeflate HEADER libdeflate.h LIBRARY deflate
  INSTALL "libdeflate-dev (Debian, Ubuntu)" "libdeflate-devel (Fedora)" "libdeflate (Homebrew)")
