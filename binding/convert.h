// Turning library records into Python values: owned references, text
// fields, dictionaries built from field tables, and numpy arrays that the
// library fills in place.
#pragma once

#include <cstddef>
#include <cstdio>
#include <initializer_list>
#include <memory>

#include "oxm_object.h"
#include "pycompat.h"
#include "scnapi/counted_io.h"

// ---- references ------------------------------------------------------------

struct PyDecref {
    void operator()(PyObject *o) const { Py_DECREF(o); }
};
// An owned reference, released when it goes out of scope.
using PyRef = std::unique_ptr<PyObject, PyDecref>;

// ---- arguments -------------------------------------------------------------

// Parses the record indexes of a method ("i", "ii" or "iii", one int* per
// letter), then fetches the object's handle. Null with TypeError (bad
// arguments) or ValueError (object without a file) set.
template <class... Ints>
scnapi_handle *method_args(PyObject *self, PyObject *args, const char *format, Ints *...idx) {
    if (!PyArg_ParseTuple(args, format, idx...)) return nullptr;
    return oxm_handle(self);
}

// ---- scalar values ---------------------------------------------------------

// A text field of `width` bytes as str: the bytes up to the first NUL, or
// the whole field when it has none (a full field is not terminated), as
// py::text makes them a str.
PyObject *text_value(const char *field, std::size_t width);

// A stored int as a Python int.
inline PyObject *int_value(int value) { return py::integer(value); }

// A stored flag: True only for exactly 1.
PyObject *flag_value(int value);

// ---- dictionaries ----------------------------------------------------------

// One dictionary entry taken from a library output.
struct Field {
    enum class Kind {
        Int,       // Python int
        Float,     // Python float
        Flag,      // True only for exactly 1
        NonZero,   // True for any non-zero value
        Truncated, // a float as an int, truncated toward zero
        Enum,      // the int, then "<key>String": its constant name
        Text,      // a text field of `width` bytes
    };
    const char *key;
    Kind kind;
    const void *value;
    std::size_t width;

    static Field integer(const char *k, const int &v) { return {k, Kind::Int, &v, 0}; }
    static Field real(const char *k, const float &v) { return {k, Kind::Float, &v, 0}; }
    static Field flag(const char *k, const int &v) { return {k, Kind::Flag, &v, 0}; }
    static Field nonzero(const char *k, const int &v) { return {k, Kind::NonZero, &v, 0}; }
    static Field truncated(const char *k, const float &v) { return {k, Kind::Truncated, &v, 0}; }
    static Field enumeration(const char *k, const int &v) { return {k, Kind::Enum, &v, 0}; }
    template <std::size_t N>
    static Field text(const char *k, const char (&v)[N]) { return {k, Kind::Text, v, N}; }
};

// Stores `value` (a new reference, stolen; null = failure already raised)
// under `key`. -1 with an exception set on failure.
int dict_put(PyObject *dict, const char *key, PyObject *value);

// Adds the fields in order; -1 with an exception set on failure.
int add_fields(PyObject *dict, std::initializer_list<Field> fields);

// A new dictionary of the fields, or null with an exception set.
PyObject *make_dict(std::initializer_list<Field> fields);

// ---- arrays ----------------------------------------------------------------

// Shape of an array, as counts read from the file (a negative count is
// possible in a malformed file and is refused before allocating).
using Dims = std::initializer_list<long long>;

template <class T>
struct NpyType;
template <>
struct NpyType<int> {
    static_assert(sizeof(int) == 4, "the library's ints are 32-bit");
    static constexpr int value = NPY_INT;
};
template <>
struct NpyType<float> {
    static_assert(sizeof(float) == 4, "the library's floats are 32-bit");
    static constexpr int value = NPY_FLOAT;
};

// What became of an attempt to fill a new array from the library.
enum class Fill {
    Ok,          // the array holds what the library read
    BadCount,    // a dimension is negative or the element count is absurd
    NoMemory,    // the array could not be allocated (MemoryError is set)
    ReadFailed,  // the library call failed (its diagnostic is printed)
};

// A new zero-filled C-contiguous array of `dims`, which owns its memory,
// or null: BadCount (nothing raised) when a dimension is negative or the
// element count exceeds the 32-bit range the library sizes its reads with,
// NoMemory (MemoryError set) when it cannot be allocated.
PyObject *new_zeroed_array(int typenum, Dims dims, Fill *outcome);

// The element buffer of an array made by new_zeroed_array.
template <class T>
T *array_data(PyObject *array) {
    return static_cast<T *>(PyArray_DATA(reinterpret_cast<PyArrayObject *>(array)));
}

// A new array of `dims` that a library reader allocates through out(),
// only once it has found stored data that fills it exactly: a count the
// file does not back with data costs no memory.
class LazyArray {
public:
    LazyArray(int typenum, Dims dims);

    // A dimension is negative or the element count exceeds 32 bits.
    bool bad_count() const { return elements_ < 0; }
    // The array could not be made (MemoryError, or an earlier exception, is
    // set).
    bool no_memory() const { return no_memory_; }
    scnapi::ArrayOut out();
    // The array, made now if the reader had nothing to store in it; null
    // with MemoryError set when it cannot be made.
    PyObject *take();

private:
    void *make();

    int typenum_;
    npy_intp shape_[NPY_MAXDIMS] = {};
    int nd_ = 0;
    long long elements_ = 1;
    PyRef array_;
    bool no_memory_ = false;
};

// Lets `read(out)` (a library reader taking an ArrayOut, returning its
// status) fill a new array of `dims`. On Ok `result` holds the array.
template <class Read>
Fill fill_array(PyRef &result, int typenum, Dims dims, Read &&read) {
    LazyArray array(typenum, dims);
    if (array.bad_count()) return Fill::BadCount;
    int status = read(array.out());
    if (array.no_memory()) return Fill::NoMemory;
    if (status != 0) return Fill::ReadFailed;
    result.reset(array.take());
    return result ? Fill::Ok : Fill::NoMemory;
}

// The usual policy over fill_array: the filled array; or, when the count is
// unusable or the read fails, RuntimeError(message), or None when `message`
// is null (entries that a failed read leaves out); MemoryError when the
// array cannot be allocated. Null with an exception set on failure.
template <class Read>
PyObject *library_array(int typenum, Dims dims, const char *message, Read &&read) {
    PyRef array;
    switch (fill_array(array, typenum, dims, read)) {
        case Fill::Ok:
            return array.release();
        case Fill::NoMemory:
            return nullptr;
        case Fill::BadCount:
        case Fill::ReadFailed:
            break;
    }
    if (message) return oxm_library_error(message);
    std::fflush(stdout);
    Py_RETURN_NONE;
}

// A new one-dimensional float array holding a copy of `n` values.
PyObject *float_array_copy(const float *values, long long n);
