// The file object's method table.
#include "convert.h"
#include "methods.h"

namespace {

// Counting methods: the library count as an int, unchanged (0 for an absent
// collection, -1 when the library fails to close it). Arguments are ignored.
template <int (*Count)(scnapi_handle *)>
PyObject *count_method(PyObject *self, PyObject *) {
    scnapi_handle *h = oxm_handle(self);
    if (!h) return nullptr;
    return int_value(Count(h));
}

}  // namespace

// The doc strings are part of the interface, repeats included.
PyMethodDef oxm_methods[] = {
    {"partSrcNum", count_method<scn_read_psrc_num>, METH_VARARGS,
     "Return the number of parts in the file."},
    {"partSrcInfo", oxm_partSrcInfo, METH_VARARGS, "Return info about the given part."},
    {"partSrcSteps", oxm_partSrcSteps, METH_VARARGS, "Return the steps associated with the part."},
    {"partNum", count_method<scn_read_part_num>, METH_VARARGS,
     "Return the steps associated with the part."},
    {"partInfo", oxm_partInfo, METH_VARARGS, "Return info about the given part."},
    {"partStaticRep", oxm_partStaticRep, METH_VARARGS, "Return static rep for the given part."},
    {"partDynamicRep", oxm_partDynamicRep, METH_VARARGS, "Return dynamic rep for the given part."},
    {"geomNum", count_method<scn_read_geom_num>, METH_VARARGS,
     "Return the number of geoms in the file."},
    {"geomInfo", oxm_geomInfo, METH_VARARGS, "Return info about the given geom."},
    {"geomExtents", oxm_geomExtents, METH_VARARGS, "Return the extents associated with the geom."},
    {"repNum", count_method<scn_read_rep_num>, METH_VARARGS,
     "Return the number of reps in the file."},
    {"repInfo", oxm_repInfo, METH_VARARGS, "Return info about the given rep."},
    {"repGeoms", oxm_repGeoms, METH_VARARGS, "Return the geoms associated with the rep."},
    {"elemListNum", count_method<scn_read_elem_list_num>, METH_VARARGS,
     "Return the number of elemlists in the file."},
    {"elemListInfo", oxm_elemListInfo, METH_VARARGS, "Return info about the given elemlist."},
    {"elemListVarInfo", oxm_elemListVarInfo, METH_VARARGS,
     "Return info about the given variable in the given elemlist."},
    {"elemInfo", oxm_elemInfo, METH_VARARGS,
     "Return info about the given element record in the given elemlist."},
    {"elemVarValues", oxm_elemVarValues, METH_VARARGS,
     "Return var values for the given var and element record in the given elemlist."},
    {"vportNum", count_method<scn_read_vport_num>, METH_VARARGS,
     "Return the number of viewports in the file."},
    {"vportInfo", oxm_vportInfo, METH_VARARGS, "Return info about the given viewport."},
    {"vportIndices", oxm_vportIndices, METH_VARARGS,
     "Return the indices associated with the viewport."},
    {"vportAttrs", oxm_vportAttrs, METH_VARARGS, "Return the attrs associated with the viewport."},
    {"rendAttrNum", count_method<scn_read_rendAttr_num>, METH_VARARGS,
     "Return the number of rendAttrs in the file."},
    {"rendAttrs", oxm_rendAttrs, METH_VARARGS, "Return the attrs associated with the rendAttr."},
    {"varNum", count_method<scn_read_var_num>, METH_VARARGS, "Return the number of vars in the file."},
    {"varInfo", oxm_varInfo, METH_VARARGS, "Return info about the given var."},
    {"nodeNum", count_method<scn_read_nodes_num>, METH_VARARGS,
     "Return the number of nodes in the file."},
    {"nodeInfo", oxm_nodeInfo, METH_VARARGS, "Return info dict about the given node."},
    {"nodeVarInfo", oxm_nodeVarInfo, METH_VARARGS, "Return info about vars in the given nodes."},
    {"nodeVarValues", oxm_nodeVarValues, METH_VARARGS, "Return var values for given nodes."},
    {"sceneNum", count_method<scn_read_scene_num>, METH_VARARGS,
     "Return the number of scenes in the file."},
    {"sceneInfo", oxm_sceneInfo, METH_VARARGS, "Return info dict about the given scene."},
    {nullptr, nullptr, 0, nullptr},
};
