// The _oxm module: the vocabulary's constants and the file-object type.
#define OXM_IMPORT_ARRAY_HERE
#include "numpy_api.h"
#include "oxm_object.h"
#include "vocab.h"

namespace {

PyMethodDef module_methods[] = {{nullptr, nullptr, 0, nullptr}};

PyModuleDef oxm_module = {
    PyModuleDef_HEAD_INIT, "_oxm", "Example module that creates an extension type.", -1,
    module_methods, nullptr, nullptr, nullptr, nullptr,
};

// Registers every OXR_ constant, in the table's (name) order. A constant
// that cannot be registered fails the import rather than going missing.
int add_oxm_constants(PyObject *module) {
    for (const vocab::Constant &c : vocab::kConstants)
        if (PyModule_AddIntConstant(module, c.name, c.value) < 0) return -1;
    return 0;
}

}  // namespace

PyMODINIT_FUNC PyInit__oxm(void) {
    PyObject *type = oxm_make_type();
    if (!type) return nullptr;
    PyObject *module = PyModule_Create(&oxm_module);
    if (!module) {
        Py_DECREF(type);
        return nullptr;
    }
    if (add_oxm_constants(module) < 0 || PyModule_AddObject(module, "oxm", type) < 0) {
        Py_DECREF(type);
        Py_DECREF(module);
        return nullptr;
    }
    if (_import_array() < 0) {
        PyErr_Print();
        PyErr_SetString(PyExc_ImportError, "numpy.core.multiarray failed to import");
        Py_DECREF(module);
        return nullptr;
    }
    return module;
}
