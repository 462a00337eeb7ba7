// Reader methods for scenes, part sources, parts, reps and viewports.
#include "convert.h"
#include "methods.h"
#include "scnapi/bulk_readers.h"

namespace {

// The index list of a rep or viewport: `count` ints that `read` fills,
// allocated by the reader once the stored list is found to fill them. A
// count that cannot be allocated (negative ones included) is reported as
// an allocation failure, a failed read under the steps message: the
// messages scripts already match on.
template <class Read>
PyObject *index_array(int count, Read &&read) {
    PyRef array;
    switch (fill_array(array, NPY_INT, {count}, read)) {
        case Fill::Ok:
            return array.release();
        case Fill::NoMemory:
            PyErr_Clear();
            [[fallthrough]];
        case Fill::BadCount:
            return oxm_library_error("Can't allocate memory in repGeoms");
        case Fill::ReadFailed:
            break;
    }
    return oxm_library_error("Can't read part source steps");
}

// A one-entry dictionary {key: value}; `value` (null: an exception is set)
// is stolen.
PyObject *single_entry(const char *key, PyObject *value) {
    PyRef owned(value);
    if (!owned) return nullptr;
    PyRef dict(PyDict_New());
    if (!dict || PyDict_SetItemString(dict.get(), key, owned.get()) < 0) return nullptr;
    return dict.release();
}

}  // namespace

PyObject *oxm_partSrcInfo(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    int steps = 0, step_id = 0;
    if (scn_read_psrc_info(h, index, &steps, &step_id) != 0)
        return oxm_library_error("Can't read part source info");
    return make_dict({Field::integer("stepCount", steps), Field::integer("stepID", step_id)});
}

PyObject *oxm_partSrcSteps(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    int steps = 0;
    if (scn_read_psrc_info(h, index, &steps, nullptr) != 0)
        return oxm_library_error("Can't read part source info");
    // A source without steps has no step arrays in the file: it reads as
    // two empty arrays rather than as an error.
    // Both arrays are allocated by the reader once it has found the stored
    // steps to fill them.
    LazyArray indexes(NPY_INT, {steps < 1 ? 0 : steps});
    LazyArray values(NPY_FLOAT, {steps < 1 ? 0 : steps});
    if (steps >= 1) {
        int status = scnapi::read_psrc_steps(h, index, indexes.out(), values.out());
        if (indexes.no_memory() || values.no_memory()) return nullptr;
        if (status != 0) return oxm_library_error("Can't read part source steps");
    }
    PyRef dict(PyDict_New());
    if (!dict || dict_put(dict.get(), "indexes", indexes.take()) < 0 ||
        dict_put(dict.get(), "stepvals", values.take()) < 0)
        return nullptr;
    return dict.release();
}

PyObject *oxm_partInfo(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    char name[SCNAPI_NAME_LEN] = {}, desc[SCNAPI_NAME_LEN] = {};
    int type = 0;
    if (scn_read_part_info(h, index, name, desc, &type) != 0)
        return oxm_library_error("Can't read part source info");
    return make_dict({Field::text("name", name), Field::text("description", desc),
                      Field::enumeration("partType", type)});
}

// The rep indexes of a part: -1 when unreadable, never an exception.
PyObject *oxm_partStaticRep(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    int rep = scn_read_part_static_rep(h, index);
    std::fflush(stdout);
    return int_value(rep);
}

PyObject *oxm_partDynamicRep(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    int rep = scn_read_part_dynamic_rep(h, index);
    std::fflush(stdout);
    return int_value(rep);
}

PyObject *oxm_repInfo(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    int geoms = 0, type = 0, rend_attr = 0;
    if (scn_read_rep_info(h, index, &geoms, &type, &rend_attr) != 0)
        return oxm_library_error("Can't read geom info");
    return make_dict({Field::integer("geomCount", geoms), Field::enumeration("repType", type),
                      Field::integer("rendAttrIndex", rend_attr)});
}

PyObject *oxm_repGeoms(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    int geoms = 0;
    if (scn_read_rep_info(h, index, &geoms, nullptr, nullptr) != 0)
        return oxm_library_error("Can't read rep info");
    return single_entry("indexes", index_array(geoms, [&](const scnapi::ArrayOut &out) {
                            return scnapi::read_rep_geoms(h, index, out);
                        }));
}

PyObject *oxm_vportInfo(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    int parts = 0;
    if (scn_read_vport_info(h, index, &parts) != 0)
        return oxm_library_error("Can't read geom info");
    return make_dict({Field::integer("numParts", parts)});
}

PyObject *oxm_vportIndices(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    int parts = 0;
    if (scn_read_vport_info(h, index, &parts) != 0)
        return oxm_library_error("Can't read rep info");
    // A viewport without parts stores no index list: an empty array.
    if (parts < 1)
        return single_entry("partIndexes",
                            index_array(0, [](const scnapi::ArrayOut &) { return 0; }));
    return single_entry("partIndexes", index_array(parts, [&](const scnapi::ArrayOut &out) {
                            return scnapi::read_vport_indices(h, index, out);
                        }));
}

PyObject *oxm_sceneInfo(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    char name[SCNAPI_NAME_LEN] = {};
    int parts = 0, annots = 0, vports = 0, aplanes = 0, views = 0, frames = 0;
    int start = 0, end = 0, stride = 0, loop = 0, run = 0;
    float fps = 0.0f;
    if (scn_read_scene_info(h, index, name, &parts, &annots, &vports, &aplanes, &views, &frames,
                            &start, &end, &stride, &loop, &run, &fps) != 0)
        return oxm_library_error("Can't read scene info");
    return make_dict({
        Field::text("name", name),
        Field::integer("nParts", parts),
        Field::integer("nAnnots", annots),
        Field::integer("nVports", vports),
        Field::integer("nAplanes", aplanes),
        Field::integer("nViews", views),
        Field::integer("nFrames", frames),
        Field::integer("startFrame", start),
        Field::integer("endFrame", end),
        Field::integer("stride", stride),
        Field::integer("loopMode", loop),
        Field::integer("runMode", run),
        Field::truncated("fps", fps),
    });
}
