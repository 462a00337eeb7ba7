// Reader methods for geometry: geoms, node sets, element lists, element
// records and the variable values stored on them.
#include "convert.h"
#include "methods.h"
#include "scnapi/bulk_readers.h"
#include "scnapi/geometry.h"

namespace {

// Floats per value of a variable kind: the library's own count, so that
// normalised vectors (3), complex scalars (2) and complex vectors (6) come
// back whole as (count, components) arrays; other kinds store no values.
int components(int kind) { return scnapi::component_count(kind); }

// Nodes (or elements) per row of the connectivity of an element type; 0
// for types whose elements have no fixed size.
int nodes_per_element(int type) {
    switch (type) {
        case OXR_ELEM_LINELIST:
            return 2;
        case OXR_ELEM_TRILIST:
            return 3;
        case OXR_ELEM_QUADLIST:
            return 4;
        default:
            return 0;
    }
}

// The name and description of variable record `var`, and its kind.
struct VarHeader {
    char name[OXR_VAR_NAME_SIZE] = {};
    char desc[OXR_VAR_DESC_SIZE] = {};
    int kind = 0;

    int read(scnapi_handle *h, int var) {
        return scn_read_var_info(h, var, name, desc, nullptr, &kind, nullptr, nullptr);
    }
};

// Adds "varValues": `count` values of a variable of `kind`, which `read`
// fills, shaped (count,) for one component and (count, components)
// otherwise. The reader is given the array's exact size and allocates it
// only when the stored values fill it. A buffer that cannot be allocated
// leaves the entry out; a count no record can have, or a failed read,
// raises RuntimeError (`read_failed`). Kinds without stored values give a
// (count, 0) array without reading. -1 with an exception set on failure.
template <class Read>
int add_var_values(PyObject *dict, int count, int kind, const char *read_failed, Read &&read) {
    int n = components(kind);
    Dims one = {count}, many = {count, n};
    PyRef values;
    auto nothing = [](const scnapi::ArrayOut &) { return 0; };
    Fill outcome = n == 0 ? fill_array(values, NPY_FLOAT, many, nothing)
                          : fill_array(values, NPY_FLOAT, n == 1 ? one : many, read);
    switch (outcome) {
        case Fill::Ok:
            return PyDict_SetItemString(dict, "varValues", values.get());
        case Fill::NoMemory:
            PyErr_Clear();
            return 0;
        case Fill::BadCount:
        case Fill::ReadFailed:
            break;
    }
    oxm_library_error(read_failed);
    return -1;
}

}  // namespace

PyObject *oxm_geomInfo(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    int nodes = 0, elems = 0, extents = 0;
    if (scn_read_geom_info(h, index, &nodes, &elems, &extents) != 0)
        return oxm_library_error("Can't read geom info");
    return make_dict({Field::integer("whichNodes", nodes), Field::integer("whichElemList", elems),
                      Field::flag("extentsProvided", extents)});
}

PyObject *oxm_geomExtents(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    int empty = 0;
    float lo[3] = {}, hi[3] = {};
    if (scn_read_geom_extents(h, index, &empty, lo, hi) != 0)
        return oxm_library_error("Can't read geom extents");
    PyRef dict(make_dict({Field::flag("empty", empty)}));
    if (!dict || dict_put(dict.get(), "minValues", float_array_copy(lo, 3)) < 0 ||
        dict_put(dict.get(), "maxValues", float_array_copy(hi, 3)) < 0)
        return nullptr;
    return dict.release();
}

PyObject *oxm_elemListInfo(PyObject *self, PyObject *args) {
    int index;
    scnapi_handle *h = method_args(self, args, "i", &index);
    if (!h) return nullptr;
    int recs = 0, vars = 0, normals = 0, ids = 0;
    if (scn_read_elem_list_info(h, index, &recs, &vars, &normals, &ids) != 0)
        return oxm_library_error("Can't read geom info");
    return make_dict({Field::integer("numElemRecs", recs), Field::integer("numElemVars", vars),
                      Field::integer("elemNormalIndex", normals), Field::flag("hasElemIDs", ids)});
}

PyObject *oxm_elemListVarInfo(PyObject *self, PyObject *args) {
    int index, slot;
    scnapi_handle *h = method_args(self, args, "ii", &index, &slot);
    if (!h) return nullptr;
    int var = 0, use_undefined = 0;
    float undefined = 0.0f;
    if (scn_read_elem_list_var_info(h, index, slot, &var, &use_undefined, &undefined) != 0)
        return oxm_library_error("Can't read geom info");
    return make_dict({Field::integer("varID", var), Field::real("undefinedValue", undefined),
                      Field::flag("useUndefined", use_undefined)});
}

PyObject *oxm_elemInfo(PyObject *self, PyObject *args) {
    int list, rec;
    scnapi_handle *h = method_args(self, args, "ii", &list, &rec);
    if (!h) return nullptr;
    int type = 0, count = 0, length = 0;
    if (scn_read_elem_info(h, list, rec, &type, &count, &length) != 0)
        return oxm_library_error("Can't read elem info");
    PyRef dict(make_dict({Field::integer("elemCount", count), Field::integer("listLength", length),
                          Field::enumeration("elemListType", type)}));
    if (!dict) return nullptr;
    // The library reads exactly the list length: rows of a fixed-size type
    // only when the length is a whole number of elements, else one flat
    // row, so that an odd record is returned whole rather than cut.
    int per = nodes_per_element(type);
    bool rows = per > 0 && count >= 0 && static_cast<long long>(count) * per == length;
    Dims flat = {length}, shaped = {count, per};
    PyObject *conn = library_array(NPY_INT, rows ? shaped : flat, nullptr,
                                   [&](const scnapi::ArrayOut &out) {
                                       return scnapi::read_elem_connectivity(h, list, rec, out);
                                   });
    if (dict_put(dict.get(), "connectivity", conn) < 0) return nullptr;
    PyObject *ids = library_array(NPY_INT, {count}, nullptr, [&](const scnapi::ArrayOut &out) {
        return scnapi::read_elem_ids(h, list, rec, out);
    });
    if (dict_put(dict.get(), "ids", ids) < 0) return nullptr;
    return dict.release();
}

PyObject *oxm_elemVarValues(PyObject *self, PyObject *args) {
    int list, rec, var;
    scnapi_handle *h = method_args(self, args, "iii", &list, &rec, &var);
    if (!h) return nullptr;
    PyRef dict(PyDict_New());
    if (!dict) return nullptr;
    int count = 0;
    if (scn_read_elem_info(h, list, rec, nullptr, &count, nullptr) != 0)
        return oxm_library_error("Can't read elem info in elemVarValues");
    VarHeader header;
    if (header.read(h, var) != 0) return oxm_library_error("Can't read var info in elemVarValues");
    if (add_fields(dict.get(), {Field::text("varName", header.name),
                                Field::text("varDesc", header.desc)}) < 0)
        return nullptr;
    // The third index is both the variable record and the record's slot:
    // the values are read into an array of element count x components of
    // the variable named, and refused by the reader unless they fill it.
    auto read = [&](const scnapi::ArrayOut &out) {
        return scnapi::read_elem_var_values(h, list, rec, var, out);
    };
    if (add_var_values(dict.get(), count, header.kind, "Can't read part source steps", read) < 0)
        return nullptr;
    return dict.release();
}

PyObject *oxm_nodeInfo(PyObject *self, PyObject *args) {
    scnapi_handle *h = oxm_handle(self);
    if (!h) return nullptr;
    // Counting first builds, once per handle, the node-set table of an old
    // layout file that the node readers translate indexes through.
    scn_read_nodes_num(h);
    int index;
    if (!PyArg_ParseTuple(args, "i", &index)) return nullptr;
    int count = 0, dim = 0, has_ids = 0, vars = 0, normals = 0;
    if (scn_read_nodes_info(h, index, &count, &dim, &has_ids, &vars, &normals) != 0)
        return oxm_library_error("Can't read scene info");
    PyRef dict(make_dict({Field::integer("nodeCount", count), Field::integer("dimension", dim),
                          Field::nonzero("hasNodeIds", has_ids), Field::integer("numNodalVars", vars),
                          Field::integer("nodeNormalIndex", normals)}));
    if (!dict) return nullptr;
    PyObject *coords = library_array(NPY_FLOAT, {count, dim}, nullptr,
                                     [&](const scnapi::ArrayOut &out) {
                                         return scnapi::read_nodes_coords(h, index, out);
                                     });
    if (dict_put(dict.get(), "coords", coords) < 0) return nullptr;
    return dict.release();
}

PyObject *oxm_nodeVarInfo(PyObject *self, PyObject *args) {
    int index, slot;
    scnapi_handle *h = method_args(self, args, "ii", &index, &slot);
    if (!h) return nullptr;
    int var = 0, count = 0, use_undefined = 0;
    float undefined = 0.0f;
    if (scn_read_nodes_var_info(h, index, slot, &var, &count, &use_undefined, &undefined) != 0)
        return oxm_library_error("Can't read scene info");
    return make_dict({Field::integer("varID", var), Field::integer("varCount", count),
                      Field::real("undefinedValue", undefined),
                      Field::flag("useUndefined", use_undefined)});
}

PyObject *oxm_nodeVarValues(PyObject *self, PyObject *args) {
    int index, var;
    scnapi_handle *h = method_args(self, args, "ii", &index, &var);
    if (!h) return nullptr;
    int count = 0;
    if (scn_read_nodes_info(h, index, &count, nullptr, nullptr, nullptr, nullptr) != 0)
        return oxm_library_error("Can't read node info");
    PyRef dict(PyDict_New());
    if (!dict) return nullptr;
    VarHeader header;
    if (header.read(h, var) != 0) return oxm_library_error("Can't read var info");
    if (add_fields(dict.get(), {Field::text("varName", header.name),
                                Field::text("varDesc", header.desc)}) < 0)
        return nullptr;
    // The second index is both the variable record and the node set's slot:
    // the values are read into an array of node count x components of the
    // variable named, and refused by the reader unless they fill it.
    auto read = [&](const scnapi::ArrayOut &out) {
        return scnapi::read_nodes_var_values(h, index, var, out);
    };
    if (add_var_values(dict.get(), count, header.kind, "Can't read node var values steps", read) < 0)
        return nullptr;
    return dict.release();
}
