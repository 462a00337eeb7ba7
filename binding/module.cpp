// The _oxm module: the vocabulary's constants and the file-object type.
#define OXM_IMPORT_ARRAY_HERE
#include "oxm_object.h"
#include "pycompat.h"
#include "vocab.h"

namespace {

PyMethodDef module_methods[] = {{nullptr, nullptr, 0, nullptr}};

// Registers every OXR_ constant, in the table's (name) order. A constant
// that cannot be registered fails the import rather than going missing.
int add_oxm_constants(PyObject *module) {
    for (const vocab::Constant &c : vocab::kConstants)
        if (PyModule_AddIntConstant(module, c.name, c.value) < 0) return -1;
    return 0;
}

// The module (new reference), or null with the exception the import
// raises. A failed numpy binding is printed first, then reported as the
// ImportError that scripts know.
PyObject *make_module() {
    PyObject *type = oxm_make_type();
    if (!type) return nullptr;
    PyObject *module =
        py::create_module("_oxm", "Example module that creates an extension type.", module_methods);
    if (!module) {
        Py_DECREF(type);
        return nullptr;
    }
    if (add_oxm_constants(module) < 0 || PyModule_AddObject(module, "oxm", type) < 0) {
        Py_DECREF(type);
        Py_DECREF(module);
        return nullptr;
    }
    if (py::import_numpy() < 0) {
        PyErr_Print();
        PyErr_SetString(PyExc_ImportError, "numpy.core.multiarray failed to import");
        Py_DECREF(module);
        return nullptr;
    }
    return module;
}

}  // namespace

OXM_MODULE_ENTRY(_oxm, make_module)
