// The differences between the interpreters the module is built for,
// CPython 2.7 and CPython 3.9+, in one place. The rest of the binding is
// one source: it reaches integers, text, paths, module creation and the
// numpy import only through what is declared here.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <cstring>

#include "numpy_api.h"

#if PY_MAJOR_VERSION < 3
#define OXM_PY2 1
// 2.7 sets a reference count through the field itself.
#ifndef Py_SET_REFCNT
#define Py_SET_REFCNT(o, n) (Py_REFCNT(o) = (n))
#endif
#endif

namespace py {

// An integer result: on 2.7 a plain `int` (never a `long`, which scripts
// would see as 3L).
inline PyObject *integer(long value) {
#ifdef OXM_PY2
    return PyInt_FromLong(value);
#else
    return PyLong_FromLong(value);
#endif
}

// int(value) for a double: truncated toward zero; non-finite values raise.
// On 2.7 a value that fits is a plain `int`, as int(24.9) is there.
inline PyObject *integer_from_double(double value) {
    PyObject *n = PyLong_FromDouble(value);
#ifdef OXM_PY2
    if (n) {
        PyObject *plain = PyNumber_Int(n);
        Py_DECREF(n);
        return plain;
    }
#endif
    return n;
}

// A str of ASCII text (keys, constant names, messages).
inline PyObject *str(const char *text) {
#ifdef OXM_PY2
    return PyString_FromString(text);
#else
    return PyUnicode_FromString(text);
#endif
}

// `format` with its one "%s" replaced by the str `text` (a new reference,
// stolen; null: an exception is already set), as format % text.
inline PyObject *substitute(const char *format, PyObject *text) {
    PyObject *pattern = text ? str(format) : nullptr;
    PyObject *result = pattern ? PyNumber_Remainder(pattern, text) : nullptr;
    Py_XDECREF(pattern);
    Py_XDECREF(text);
    return result;
}

// A stored text field of `n` bytes as str. On 2.7 str is bytes: the bytes
// as stored. On 3 they are decoded as UTF-8, or as Latin-1 when they are
// not valid UTF-8, so that every stored name can be read.
inline PyObject *text(const char *bytes, Py_ssize_t n) {
#ifdef OXM_PY2
    return PyString_FromStringAndSize(bytes, n);
#else
    PyObject *text = PyUnicode_DecodeUTF8(bytes, n, nullptr);
    if (text || !PyErr_ExceptionMatches(PyExc_UnicodeDecodeError)) return text;
    PyErr_Clear();
    return PyUnicode_DecodeLatin1(bytes, n, nullptr);
#endif
}

// The bytes the library opens for a path argument (new reference), or
// null with TypeError, ValueError (an embedded NUL) or UnicodeError set.
// 3: str, bytes and os.PathLike, as the interpreter converts file names.
// 2.7: a str as it is, a unicode encoded with the file-system encoding.
inline PyObject *fs_path(PyObject *arg) {
#ifdef OXM_PY2
    PyObject *bytes = nullptr;
    if (PyString_Check(arg)) {
        Py_INCREF(arg);
        bytes = arg;
    } else if (PyUnicode_Check(arg)) {
        bytes = PyUnicode_AsEncodedString(arg, Py_FileSystemDefaultEncoding, "strict");
        if (!bytes) return nullptr;
    } else {
        PyErr_Format(PyExc_TypeError, "expected str or unicode, not %.200s", Py_TYPE(arg)->tp_name);
        return nullptr;
    }
    if (std::strlen(PyString_AS_STRING(bytes)) != static_cast<size_t>(PyString_GET_SIZE(bytes))) {
        Py_DECREF(bytes);
        PyErr_SetString(PyExc_ValueError, "embedded null byte");
        return nullptr;
    }
    return bytes;
#else
    PyObject *bytes = nullptr;
    return PyUnicode_FSConverter(arg, &bytes) ? bytes : nullptr;
#endif
}

// A file-system name as str, for messages: decoded as the interpreter
// decodes file names on 3, the bytes themselves on 2.7.
inline PyObject *fs_name(const char *path) {
#ifdef OXM_PY2
    return PyString_FromString(path);
#else
    return PyUnicode_DecodeFSDefault(path);
#endif
}

// The text of a path object as str (for the repr): a str as it is, bytes,
// path objects (3) and unicode (2.7) as file-system names, anything else by
// str(); empty when there is no object.
inline PyObject *path_text(PyObject *path) {
    if (!path) return str("");
#ifdef OXM_PY2
    if (PyString_Check(path)) {
        Py_INCREF(path);
        return path;
    }
    if (PyUnicode_Check(path))
        return PyUnicode_AsEncodedString(path, Py_FileSystemDefaultEncoding, "replace");
    return PyObject_Str(path);
#else
    PyObject *fs = PyOS_FSPath(path);
    if (!fs) {
        PyErr_Clear();
        return PyObject_Str(path);
    }
    if (!PyBytes_Check(fs)) return fs;
    PyObject *text = PyUnicode_DecodeFSDefaultAndSize(PyBytes_AS_STRING(fs), PyBytes_GET_SIZE(fs));
    Py_DECREF(fs);
    return text;
#endif
}

// A new module (new reference) without functions of its own, or null with
// the interpreter's exception. 2.7 creates it with the extension API
// version 1013 and keeps it in sys.modules from then on.
inline PyObject *create_module(const char *name, const char *doc, PyMethodDef *methods) {
#ifdef OXM_PY2
    static_assert(PYTHON_API_VERSION == 1013, "the 2.7 extension API");
    PyObject *module = Py_InitModule4(name, methods, doc, nullptr, PYTHON_API_VERSION);
    Py_XINCREF(module);  // Py_InitModule4 lends its reference
    return module;
#else
    static PyModuleDef def = {PyModuleDef_HEAD_INIT, name, doc, -1, methods,
                              nullptr, nullptr, nullptr, nullptr};
    return PyModule_Create(&def);
#endif
}

#ifdef OXM_IMPORT_ARRAY_HERE
// Binds numpy's API table (PyArray_API); -1 with an exception set.
//
// On 3 this is numpy's own import procedure. On 2.7 the procedure is
// written out here rather than taken from numpy 1.16's headers, whose
// import imports numpy.core._multiarray_umath, prints versions with "0x"
// and requires its own feature version (13): the module needs feature
// version 10 (numpy 1.10) only, and reports failures in these texts.
inline int import_numpy() {
#ifdef OXM_PY2
    static_assert(NPY_VERSION == 0x1000009, "built against numpy's ABI version 0x1000009");
    static_assert(NPY_BYTE_ORDER == NPY_LITTLE_ENDIAN, "built for little-endian machines");
    const unsigned abi = 0x1000009, feature = 10;
    PyObject *numpy = PyImport_ImportModule("numpy.core.multiarray");
    if (!numpy) {
        PyErr_SetString(PyExc_ImportError, "numpy.core.multiarray failed to import");
        return -1;
    }
    PyObject *api = PyObject_GetAttrString(numpy, "_ARRAY_API");
    Py_DECREF(numpy);
    if (!api) {
        PyErr_SetString(PyExc_AttributeError, "_ARRAY_API not found");
        return -1;
    }
    if (Py_TYPE(api) != &PyCObject_Type) {
        PyErr_SetString(PyExc_RuntimeError, "_ARRAY_API is not PyCObject object");
        Py_DECREF(api);
        return -1;
    }
    PyArray_API = static_cast<void **>(PyCObject_AsVoidPtr(api));
    Py_DECREF(api);
    if (!PyArray_API) {
        PyErr_SetString(PyExc_RuntimeError, "_ARRAY_API is NULL pointer");
        return -1;
    }
    if (PyArray_GetNDArrayCVersion() != abi) {
        PyErr_Format(PyExc_RuntimeError,
                     "module compiled against ABI version %x but this version of numpy is %x",
                     abi, PyArray_GetNDArrayCVersion());
        return -1;
    }
    if (PyArray_GetNDArrayCFeatureVersion() < feature) {
        PyErr_Format(PyExc_RuntimeError,
                     "module compiled against API version %x but this version of numpy is %x",
                     feature, PyArray_GetNDArrayCFeatureVersion());
        return -1;
    }
    int order = PyArray_GetEndianness();
    if (order == NPY_CPU_UNKNOWN_ENDIAN) {
        PyErr_SetString(PyExc_RuntimeError, "FATAL: module compiled as unknown endian");
        return -1;
    }
    if (order != NPY_CPU_LITTLE) {
        PyErr_SetString(PyExc_RuntimeError,
                        "FATAL: module compiled as little endian, but detected different "
                        "endianness at runtime");
        return -1;
    }
    return 0;
#else
    return _import_array();
#endif
}
#endif

}  // namespace py

// The module's entry point, which returns `make()`: PyInit_<name> on 3;
// init<name> on 2.7, where the module lives on in sys.modules and the
// entry returns nothing. `make` returns a new reference, or null with an
// exception set.
#ifdef OXM_PY2
#define OXM_MODULE_ENTRY(name, make) \
    extern "C" __attribute__((visibility("default"))) void init##name(void) { Py_XDECREF(make()); }
#else
#define OXM_MODULE_ENTRY(name, make) \
    PyMODINIT_FUNC PyInit_##name(void) { return make(); }
#endif
