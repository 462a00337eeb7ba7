// The file object's methods, by family. Each takes the object and the
// argument tuple (METH_VARARGS).
#pragma once

#include "oxm_object.h"

// The method table (null-terminated).
extern PyMethodDef oxm_methods[];
