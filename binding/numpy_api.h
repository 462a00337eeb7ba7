// numpy's C API for the module's translation units. The module binds the
// API table once at import (module.cpp, through pycompat.h); the others
// use it.
#pragma once

#define PY_ARRAY_UNIQUE_SYMBOL oxm_ARRAY_API
#define NPY_NO_DEPRECATED_API NPY_1_7_API_VERSION
// Python 3: built against numpy 2 headers, runs on numpy 1.x as well.
// Python 2.7: built against numpy 1.16 headers, which ignore this.
#define NPY_TARGET_VERSION NPY_1_21_API_VERSION
#ifndef OXM_IMPORT_ARRAY_HERE
#define NO_IMPORT_ARRAY
#endif
#include <numpy/arrayobject.h>
