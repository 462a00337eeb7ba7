// The file object: one scene file opened for reading.
#pragma once

#include "pycompat.h"
#include "scnapi/scnapi.h"

struct OxmObject {
    PyObject_HEAD
    scnapi_handle *handle;  // null until initialised
    PyObject *filename;     // the path object given to the initialiser
};

// Readies the type object "_oxm.OXM" and returns it (new reference), or
// null with an exception set.
PyObject *oxm_make_type();

// The object's open handle, or null with ValueError set when the object was
// never initialised on a file.
scnapi_handle *oxm_handle(PyObject *self);

// After a failed library call: flushes the library's diagnostic line (C
// stdout) so it precedes the exception, then raises RuntimeError(message).
PyObject *oxm_library_error(const char *message);
