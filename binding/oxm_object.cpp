#include "oxm_object.h"

#include <hdf5.h>
#include <structmember.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "methods.h"
#include "scnapi/handle.h"

namespace {

OxmObject *as_oxm(PyObject *self) { return reinterpret_cast<OxmObject *>(self); }

PyObject *oxm_new(PyTypeObject *type, PyObject *, PyObject *) {
    PyObject *self = type->tp_alloc(type, 0);
    if (!self) return nullptr;
    as_oxm(self)->handle = nullptr;
    as_oxm(self)->filename = py::str("");
    if (!as_oxm(self)->filename) {
        Py_DECREF(self);
        return nullptr;
    }
    return self;
}

// Raises the OSError for a file that scn_read_begin could not open: the
// errno-specific subclass (FileNotFoundError, PermissionError) when the
// path itself cannot be read, else a plain OSError naming the path.
void raise_open_error(PyObject *path_obj, const char *path) {
    std::fflush(stdout);
    if (access(path, R_OK) != 0) {
        PyErr_SetFromErrnoWithFilenameObject(PyExc_OSError, path_obj);
        return;
    }
    PyObject *message = py::substitute("Can't open scene file '%s'", py::fs_name(path));
    if (!message) return;
    PyErr_SetObject(PyExc_OSError, message);
    Py_DECREF(message);
}

// Releases the object's handle. The file is closed but HDF5 is not shut
// down, so other file objects of the process keep their files.
void close_handle(OxmObject *self) {
    if (self->handle) scnapi::release_handle(&self->handle, false);
    self->handle = nullptr;
}

int oxm_init(PyObject *self_obj, PyObject *args, PyObject *kwds) {
    static const char *kwlist[] = {"filename", nullptr};
    OxmObject *self = as_oxm(self_obj);
    PyObject *arg = nullptr;
    if (!PyArg_ParseTupleAndKeywords(args, kwds, "O", const_cast<char **>(kwlist), &arg))
        return -1;
    // The library takes the path as bytes (pycompat.h: what each
    // interpreter accepts as a path).
    PyObject *encoded = py::fs_path(arg);
    if (!encoded) return -1;
    Py_INCREF(arg);
    Py_XSETREF(self->filename, arg);
    // Initialising again replaces the file: the old handle is released.
    close_handle(self);
    const char *path = PyBytes_AS_STRING(encoded);
    const char *names[1] = {path};
    // The library reports read failures in its own one-line diagnostics;
    // HDF5's error stacks would only repeat them on stderr.
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    self->handle = scn_read_begin(names);
    if (!self->handle) raise_open_error(arg, path);
    Py_DECREF(encoded);
    return self->handle ? 0 : -1;
}

void oxm_dealloc(PyObject *self_obj) {
    OxmObject *self = as_oxm(self_obj);
    close_handle(self);
    Py_CLEAR(self->filename);
    Py_TYPE(self_obj)->tp_free(self_obj);
}

// The filename's text (empty when deleted) in place of the %s.
PyObject *oxm_repr(PyObject *self) {
    return py::substitute("<_oxm.oxm(\"%s\")>", py::path_text(as_oxm(self)->filename));
}

PyMemberDef oxm_members[] = {
    {const_cast<char *>("filename"), T_OBJECT_EX, offsetof(OxmObject, filename), 0,
     const_cast<char *>("The filename.")},
    {nullptr, 0, 0, 0, nullptr},
};

// A static type object on every interpreter, set up field by field (the
// slot layout differs between 2.7 and 3). Default flags only: the type
// cannot be subclassed and takes no part in cyclic garbage collection.
PyTypeObject oxm_type;

void describe_type(PyTypeObject *t) {
    Py_SET_REFCNT(reinterpret_cast<PyObject *>(t), 1);  // static: never freed
    t->tp_name = "_oxm.OXM";
    t->tp_doc = "OXM File Object";
    t->tp_basicsize = sizeof(OxmObject);
    t->tp_flags = Py_TPFLAGS_DEFAULT;
    t->tp_new = oxm_new;
    t->tp_init = oxm_init;
    t->tp_dealloc = oxm_dealloc;
    t->tp_repr = oxm_repr;
    t->tp_methods = oxm_methods;
    t->tp_members = oxm_members;
}

}  // namespace

PyObject *oxm_make_type() {
    if (!(oxm_type.tp_flags & Py_TPFLAGS_READY)) {
        describe_type(&oxm_type);
        if (PyType_Ready(&oxm_type) < 0) return nullptr;
    }
    Py_INCREF(&oxm_type);
    return reinterpret_cast<PyObject *>(&oxm_type);
}

scnapi_handle *oxm_handle(PyObject *self) {
    scnapi_handle *h = as_oxm(self)->handle;
    if (!h) PyErr_SetString(PyExc_ValueError, "oxm object has no open scene file");
    return h;
}

PyObject *oxm_library_error(const char *message) {
    std::fflush(stdout);
    PyErr_SetString(PyExc_RuntimeError, message);
    return nullptr;
}
