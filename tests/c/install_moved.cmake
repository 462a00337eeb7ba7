# Installs the build into STAGED, checks that no installed CMake or
# pkg-config file names a FORBIDDEN path ("|"-separated), then moves the tree
# to MOVED.
#   cmake -DBUILD_DIR=<build> -DSTAGED=<dir> -DMOVED=<dir> -DFORBIDDEN=<a|b> -P install_moved.cmake
file(REMOVE_RECURSE "${STAGED}" "${MOVED}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${STAGED}"
                OUTPUT_QUIET RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "cmake --install failed")
endif()
string(REPLACE "|" ";" forbidden "${FORBIDDEN}")
file(GLOB_RECURSE installed_texts "${STAGED}/*.cmake" "${STAGED}/*.pc")
foreach(file ${installed_texts})
  file(READ "${file}" text)
  foreach(path ${forbidden})
    string(FIND "${text}" "${path}" at)
    if(at GREATER -1)
      message(SEND_ERROR "${file} names ${path}")
    endif()
  endforeach()
endforeach()
file(RENAME "${STAGED}" "${MOVED}")
