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
    as_oxm(self)->filename = PyUnicode_FromString("");
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
    PyObject *text = PyUnicode_DecodeFSDefault(path);
    if (text) {
        PyErr_Format(PyExc_OSError, "Can't open scene file '%U'", text);
        Py_DECREF(text);
    }
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
    // str, bytes and os.PathLike are accepted; the library takes bytes.
    PyObject *encoded = nullptr;
    if (!PyUnicode_FSConverter(arg, &encoded)) return -1;
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
    PyTypeObject *type = Py_TYPE(self_obj);
    close_handle(self);
    Py_CLEAR(self->filename);
    type->tp_free(self_obj);
    Py_DECREF(type);
}

// The filename's text: a str as it is, bytes and path objects decoded as
// file-system names, anything else by str(); empty when deleted.
PyObject *filename_text(PyObject *filename) {
    if (!filename) return PyUnicode_FromString("");
    PyObject *path = PyOS_FSPath(filename);
    if (!path) {
        PyErr_Clear();
        return PyObject_Str(filename);
    }
    PyObject *text = path;
    if (PyBytes_Check(path)) {
        text = PyUnicode_DecodeFSDefaultAndSize(PyBytes_AS_STRING(path), PyBytes_GET_SIZE(path));
        Py_DECREF(path);
    }
    return text;
}

PyObject *oxm_repr(PyObject *self) {
    PyObject *text = filename_text(as_oxm(self)->filename);
    if (!text) return nullptr;
    PyObject *repr = PyUnicode_FromFormat("<_oxm.oxm(\"%U\")>", text);
    Py_DECREF(text);
    return repr;
}

PyMemberDef oxm_members[] = {
    {"filename", T_OBJECT_EX, offsetof(OxmObject, filename), 0, "The filename."},
    {nullptr, 0, 0, 0, nullptr},
};

PyType_Slot oxm_slots[] = {
    {Py_tp_doc, const_cast<char *>("OXM File Object")},
    {Py_tp_new, reinterpret_cast<void *>(oxm_new)},
    {Py_tp_init, reinterpret_cast<void *>(oxm_init)},
    {Py_tp_dealloc, reinterpret_cast<void *>(oxm_dealloc)},
    {Py_tp_repr, reinterpret_cast<void *>(oxm_repr)},
    {Py_tp_methods, oxm_methods},
    {Py_tp_members, oxm_members},
    {0, nullptr},
};

// Default flags only: the type cannot be subclassed.
PyType_Spec oxm_spec = {"_oxm.OXM", sizeof(OxmObject), 0, Py_TPFLAGS_DEFAULT, oxm_slots};

}  // namespace

PyObject *oxm_make_type() { return PyType_FromSpec(&oxm_spec); }

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
