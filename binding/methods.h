// The file object's methods, by family. Each takes the object and the
// argument tuple (METH_VARARGS).
#pragma once

#include "oxm_object.h"

// The method table (null-terminated).
extern PyMethodDef oxm_methods[];

// Scenes, sources, parts, reps and viewports (methods_scene.cpp).
PyObject *oxm_partSrcInfo(PyObject *self, PyObject *args);
PyObject *oxm_partSrcSteps(PyObject *self, PyObject *args);
PyObject *oxm_partInfo(PyObject *self, PyObject *args);
PyObject *oxm_partStaticRep(PyObject *self, PyObject *args);
PyObject *oxm_partDynamicRep(PyObject *self, PyObject *args);
PyObject *oxm_repInfo(PyObject *self, PyObject *args);
PyObject *oxm_repGeoms(PyObject *self, PyObject *args);
PyObject *oxm_vportInfo(PyObject *self, PyObject *args);
PyObject *oxm_vportIndices(PyObject *self, PyObject *args);
PyObject *oxm_sceneInfo(PyObject *self, PyObject *args);

// Geometry (methods_geom.cpp).
PyObject *oxm_geomInfo(PyObject *self, PyObject *args);
PyObject *oxm_geomExtents(PyObject *self, PyObject *args);
PyObject *oxm_elemListInfo(PyObject *self, PyObject *args);
PyObject *oxm_elemListVarInfo(PyObject *self, PyObject *args);
PyObject *oxm_elemInfo(PyObject *self, PyObject *args);
PyObject *oxm_elemVarValues(PyObject *self, PyObject *args);
PyObject *oxm_nodeInfo(PyObject *self, PyObject *args);
PyObject *oxm_nodeVarInfo(PyObject *self, PyObject *args);
PyObject *oxm_nodeVarValues(PyObject *self, PyObject *args);

// Variables (methods_var.cpp).
PyObject *oxm_varInfo(PyObject *self, PyObject *args);

// Tagged attributes (methods_attrs.cpp).
PyObject *oxm_vportAttrs(PyObject *self, PyObject *args);
PyObject *oxm_rendAttrs(PyObject *self, PyObject *args);
