"""Where an installed wheel keeps the C library for C and C++ consumers.

The wheel installs libscnapi's headers and shared library inside this
package, with its CMake package and pkg-config file::

    cmake -Dscnapi_DIR=$(python -c "import oxm; print(oxm.get_cmake_dir())") ...
    PKG_CONFIG_PATH=$(python -c "import oxm; print(oxm.get_pkgconfig_dir())") pkg-config --cflags --libs scnapi

The directories exist in an installed wheel only, not in a source tree.
"""
import os

_ROOT = os.path.dirname(os.path.abspath(__file__))


def get_include() -> str:
    """The directory to put on the include path for ``#include "scnapi/scnapi.h"``."""
    return os.path.join(_ROOT, "include")


def get_cmake_dir() -> str:
    """The directory of ``scnapiConfig.cmake``, for ``scnapi_DIR`` or ``CMAKE_PREFIX_PATH``."""
    return os.path.join(_ROOT, "lib", "cmake", "scnapi")


def get_pkgconfig_dir() -> str:
    """The directory of ``scnapi.pc``, for ``PKG_CONFIG_PATH``."""
    return os.path.join(_ROOT, "lib", "pkgconfig")
