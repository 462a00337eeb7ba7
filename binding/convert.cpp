#include "convert.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "vocab.h"

PyObject *text_value(const char *field, std::size_t width) {
    const void *nul = std::memchr(field, '\0', width);
    Py_ssize_t n = nul ? static_cast<const char *>(nul) - field : static_cast<Py_ssize_t>(width);
    return py::text(field, n);
}

PyObject *flag_value(int value) { return PyBool_FromLong(value == 1); }

int dict_put(PyObject *dict, const char *key, PyObject *value) {
    if (!value) return -1;
    int status = PyDict_SetItemString(dict, key, value);
    Py_DECREF(value);
    return status;
}

namespace {

// frames-per-second and the like: a float as an int, truncated toward zero.
// Non-finite values raise (ValueError/OverflowError) rather than invent a
// number.
PyObject *truncated_value(float value) { return py::integer_from_double(std::trunc(value)); }

int add_field(PyObject *dict, const Field &f) {
    const int *ival = static_cast<const int *>(f.value);
    const float *fval = static_cast<const float *>(f.value);
    switch (f.kind) {
        case Field::Kind::Int:
            return dict_put(dict, f.key, int_value(*ival));
        case Field::Kind::Float:
            return dict_put(dict, f.key, PyFloat_FromDouble(*fval));
        case Field::Kind::Flag:
            return dict_put(dict, f.key, flag_value(*ival));
        case Field::Kind::NonZero:
            return dict_put(dict, f.key, PyBool_FromLong(*ival != 0));
        case Field::Kind::Truncated:
            return dict_put(dict, f.key, truncated_value(*fval));
        case Field::Kind::Enum: {
            if (dict_put(dict, f.key, int_value(*ival)) < 0) return -1;
            char name_key[64];  // the longest key is far shorter
            std::snprintf(name_key, sizeof name_key, "%sString", f.key);
            return dict_put(dict, name_key, py::str(vocab::enum_name(*ival)));
        }
        case Field::Kind::Text:
            return dict_put(dict, f.key, text_value(static_cast<const char *>(f.value), f.width));
    }
    return 0;
}

}  // namespace

int add_fields(PyObject *dict, std::initializer_list<Field> fields) {
    for (const Field &f : fields)
        if (add_field(dict, f) < 0) return -1;
    return 0;
}

PyObject *make_dict(std::initializer_list<Field> fields) {
    PyRef dict(PyDict_New());
    if (!dict || add_fields(dict.get(), fields) < 0) return nullptr;
    return dict.release();
}

PyObject *new_zeroed_array(int typenum, Dims dims, Fill *outcome) {
    LazyArray array(typenum, dims);
    if (array.bad_count()) {
        *outcome = Fill::BadCount;
        return nullptr;
    }
    PyObject *made = array.take();
    *outcome = made ? Fill::Ok : Fill::NoMemory;
    return made;
}

LazyArray::LazyArray(int typenum, Dims dims) : typenum_(typenum) {
    for (long long d : dims) {
        // The library sizes its reads with 32-bit counts: a record claiming
        // more elements than that is malformed, whatever memory is free.
        if (d < 0 || (d > 0 && elements_ > INT_MAX / d)) {
            elements_ = -1;
            return;
        }
        elements_ *= d;
        shape_[nd_++] = static_cast<npy_intp>(d);
    }
}

scnapi::ArrayOut LazyArray::out() {
    return scnapi::ArrayOut(elements_, [this] { return make(); });
}

void *LazyArray::make() {
    // A reader goes on with its next item after a failed one: no second
    // array is made while an exception is pending.
    if (!array_ && !no_memory_) {
        array_.reset(PyErr_Occurred() ? nullptr : PyArray_ZEROS(nd_, shape_, typenum_, 0));
        // numpy reports an impossible allocation as MemoryError already;
        // anything else it might raise is reported the same way.
        if (!array_ && !PyErr_Occurred()) PyErr_NoMemory();
        if (!array_ && !PyErr_ExceptionMatches(PyExc_MemoryError)) {
            PyErr_Clear();
            PyErr_NoMemory();
        }
        no_memory_ = !array_;
    }
    return array_ ? PyArray_DATA(reinterpret_cast<PyArrayObject *>(array_.get())) : nullptr;
}

PyObject *LazyArray::take() {
    if (!make()) return nullptr;
    return array_.release();
}

PyObject *float_array_copy(const float *values, long long n) {
    Fill outcome;
    PyObject *array = new_zeroed_array(NPY_FLOAT, {n}, &outcome);
    if (!array) return nullptr;
    std::memcpy(PyArray_DATA(reinterpret_cast<PyArrayObject *>(array)), values,
                static_cast<std::size_t>(n) * sizeof(float));
    return array;
}
