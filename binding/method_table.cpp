// The file object's method table.
#include "methods.h"

namespace {

// Counting methods: the library count as an int, unchanged (0 for an absent
// collection, -1 when the library fails to close it). Arguments are ignored.
template <int (*Count)(scnapi_handle *)>
PyObject *count_method(PyObject *self, PyObject *) {
    scnapi_handle *h = oxm_handle(self);
    if (!h) return nullptr;
    return PyLong_FromLong(Count(h));
}

}  // namespace

PyMethodDef oxm_methods[] = {
    {"sceneNum", count_method<scn_read_scene_num>, METH_VARARGS,
     "Return the number of scenes in the file."},
    {nullptr, nullptr, 0, nullptr},
};
