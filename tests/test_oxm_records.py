"""The file object's method table, and what each method returns: exact keys,
value types, dtypes and shapes, and every RuntimeError message. Python 3 and
2.7 (where text is 2.7's str and dictionaries have no order)."""
import numpy as np
import pytest

import _oxm
from oxm_files import ELEMS, NODES, TOP, VARS, channels, key_order, merged, text, values, write_scene
from scnlib import PY2, h5build, int_attr, text_attr

METHODS = {  # name: (number of index arguments, doc string); counting methods take none
    "partSrcNum": (0, "Return the number of parts in the file."),
    "partSrcInfo": (1, "Return info about the given part."),
    "partSrcSteps": (1, "Return the steps associated with the part."),
    "partNum": (0, "Return the steps associated with the part."),
    "partInfo": (1, "Return info about the given part."),
    "partStaticRep": (1, "Return static rep for the given part."),
    "partDynamicRep": (1, "Return dynamic rep for the given part."),
    "geomNum": (0, "Return the number of geoms in the file."),
    "geomInfo": (1, "Return info about the given geom."),
    "geomExtents": (1, "Return the extents associated with the geom."),
    "repNum": (0, "Return the number of reps in the file."),
    "repInfo": (1, "Return info about the given rep."),
    "repGeoms": (1, "Return the geoms associated with the rep."),
    "elemListNum": (0, "Return the number of elemlists in the file."),
    "elemListInfo": (1, "Return info about the given elemlist."),
    "elemListVarInfo": (2, "Return info about the given variable in the given elemlist."),
    "elemInfo": (2, "Return info about the given element record in the given elemlist."),
    "elemVarValues": (3, "Return var values for the given var and element record in the given "
                         "elemlist."),
    "vportNum": (0, "Return the number of viewports in the file."),
    "vportInfo": (1, "Return info about the given viewport."),
    "vportIndices": (1, "Return the indices associated with the viewport."),
    "vportAttrs": (1, "Return the attrs associated with the viewport."),
    "rendAttrNum": (0, "Return the number of rendAttrs in the file."),
    "rendAttrs": (1, "Return the attrs associated with the rendAttr."),
    "varNum": (0, "Return the number of vars in the file."),
    "varInfo": (1, "Return info about the given var."),
    "nodeNum": (0, "Return the number of nodes in the file."),
    "nodeInfo": (1, "Return info dict about the given node."),
    "nodeVarInfo": (2, "Return info about vars in the given nodes."),
    "nodeVarValues": (2, "Return var values for given nodes."),
    "sceneNum": (0, "Return the number of scenes in the file."),
    "sceneInfo": (1, "Return info dict about the given scene."),
}


@pytest.fixture(scope="module")
def oxm(tmp_path_factory):
    path = tmp_path_factory.mktemp("scene") / "scene.h5"
    write_scene(path)
    return _oxm.oxm(str(path))


def test_method_table_and_docs():
    assert {m for m in dir(_oxm.oxm) if not m.startswith("_") and m != "filename"} == set(METHODS)
    assert {m: getattr(_oxm.oxm, m).__doc__ for m in METHODS} == {
        m: doc for m, (_, doc) in METHODS.items()}


@pytest.mark.parametrize("method", sorted(METHODS))
def test_uninitialised_object_raises(method):
    with pytest.raises(ValueError):
        getattr(_oxm.oxm.__new__(_oxm.oxm), method)(*(0,) * METHODS[method][0])


def test_counts_ignore_arguments_and_absent_collections_count_zero(oxm, tmp_path):
    counts = [m for m, (n, _) in METHODS.items() if n == 0]
    expected = {"partSrcNum": 2, "partNum": 2, "geomNum": 2, "repNum": 2, "elemListNum": 2,
                "vportNum": 2, "rendAttrNum": 2, "varNum": 6, "nodeNum": 2, "sceneNum": 2}
    for args in [(), (1, 2, 3), ("anything",)]:
        assert {m: getattr(oxm, m)(*args) for m in counts} == expected
    h5build(tmp_path / "empty.h5", TOP)
    empty = _oxm.oxm(str(tmp_path / "empty.h5"))
    assert {m: getattr(empty, m)() for m in counts} == dict.fromkeys(counts, 0)


def f32(*values):
    return np.array(values, np.float32)


def i32(*values):
    return np.array(values, np.int32)


def var_info(var, kind_name, centering_name="OXR_CENTER_NODE", extents=None, palette=None):
    name, desc, kind, _, options = VARS[var]
    info = {"varName": name, "varDesc": desc, "centering": options.get("centering", 3000),
            "centeringString": centering_name, "kind": kind, "kindString": kind_name,
            "extentsExist": extents is not None}
    if extents is not None:
        info["min"], info["max"] = extents
    return merged(info, {"paletteExist": palette is not None}, palette or {})


def palette(name, code, code_name, lo, hi, samples, words, counts):
    info = {"paletteName": name, "interpolation": code, "interpolationString": code_name,
            "paletteMin": lo, "paletteMax": hi, "numSamples": samples, "colorspace": code,
            "colorspaceString": code_name}
    info.update({"num{}Values".format(w): n for w, n in zip(words, counts)})
    for w, (control, colors) in zip(words, channels(*counts)):
        info[w.lower() + "Control"], info[w.lower() + "Colors"] = f32(*control), f32(*colors)
    return info


def var_values(var, count, base):
    name, desc, _, comps, _ = VARS[var]
    vals = f32(*values(count, comps, base)[:count * comps])
    return {"varName": name, "varDesc": desc,
            "varValues": vals.reshape((count,) if comps == 1 else (count, comps)).copy()}


UNKNOWN, UNDEFINED = "ERROR: Unknown enum.", float(np.float32(1e30))
SCENE = dict.fromkeys(["nParts", "nAnnots", "nVports", "nAplanes", "nViews"], 0)


def scene(name, **values):
    """sceneInfo's keys in order."""
    out = {"name": name}
    out.update(SCENE)
    for key in ["nFrames", "startFrame", "endFrame", "stride", "loopMode", "runMode", "fps"]:
        out[key] = values[key]
    return out


RESULTS = [
    ("sceneInfo", (0,), scene("intro", nFrames=120, startFrame=1, endFrame=100, stride=2,
                              loopMode=1, runMode=0, fps=29)),
    # 256 bytes of a two-byte character: nothing cut; fps truncated toward zero
    ("sceneInfo", (1,), scene(text(u"\xe9".encode("utf-8") * 128), nFrames=0, startFrame=0,
                              endFrame=0, stride=1, loopMode=0, runMode=0, fps=-24)),
    ("partSrcInfo", (0,), {"stepCount": 3, "stepID": 7}),
    ("partSrcInfo", (1,), {"stepCount": 0, "stepID": -2}),
    ("partSrcSteps", (0,), {"indexes": i32(3, 1, 4), "stepvals": f32(0.5, 1.5, 2.5)}),
    ("partSrcSteps", (1,), {"indexes": i32(), "stepvals": f32()}),  # no steps: not an error
    ("partInfo", (0,), {"name": "wing", "description": "left wing", "partType": 2,
                        "partTypeString": "OXR_PART_CONTOUR"}),
    # a name filling its whole field has no terminator and is read whole
    ("partInfo", (1,), {"name": "x" * 256, "description": "", "partType": 1234,
                        "partTypeString": UNKNOWN}),
    ("partStaticRep", (0,), 0), ("partDynamicRep", (0,), 1),
    ("partStaticRep", (1,), -1), ("partDynamicRep", (1,), 5),
    ("partStaticRep", (99,), -1), ("partDynamicRep", (99,), -1),  # a missing part
    ("repInfo", (0,), {"geomCount": 3, "repType": 1005, "repTypeString": "OXR_REP_FULL",
                       "rendAttrIndex": 3}),
    ("repInfo", (1,), {"geomCount": 0, "repType": 1000, "repTypeString": "OXR_REP_NONE",
                       "rendAttrIndex": 0}),
    ("repGeoms", (0,), {"indexes": i32(4, 2, 9)}),
    ("vportInfo", (0,), {"numParts": 0}), ("vportInfo", (1,), {"numParts": 3}),
    ("vportIndices", (0,), {"partIndexes": i32()}),
    ("vportIndices", (1,), {"partIndexes": i32(5, 0, 2)}),
    ("vportAttrs", (0,), {}), ("rendAttrs", (0,), {}),
    ("geomInfo", (0,), {"whichNodes": 0, "whichElemList": 0, "extentsProvided": True}),
    ("geomInfo", (1,), {"whichNodes": 1, "whichElemList": 1, "extentsProvided": False}),
    ("geomExtents", (0,), {"empty": False, "minValues": f32(-1, -2, -3),
                           "maxValues": f32(1, 2, 3)}),
    ("geomExtents", (1,), {"empty": True, "minValues": f32(0, 0, 0), "maxValues": f32(0, 0, 0)}),
    ("nodeInfo", (0,), {"nodeCount": 4, "dimension": 3, "hasNodeIds": True, "numNodalVars": 6,
                        "nodeNormalIndex": -1,
                        "coords": np.arange(12, dtype=np.float32).reshape(NODES, 3).copy()}),
    # an empty node set stores no coordinates
    ("nodeInfo", (1,), {"nodeCount": 0, "dimension": 2, "hasNodeIds": False, "numNodalVars": 0,
                        "nodeNormalIndex": -1, "coords": None}),
    ("nodeVarInfo", (0, 2), {"varID": 2, "varCount": NODES, "undefinedValue": -99.0,
                             "useUndefined": False}),
    ("nodeVarInfo", (0, 3), {"varID": 3, "varCount": NODES, "undefinedValue": -99.0,
                             "useUndefined": True}),
    ("elemListInfo", (0,), {"numElemRecs": 5, "numElemVars": 6, "elemNormalIndex": 4,
                            "hasElemIDs": True}),
    ("elemListVarInfo", (0, 1), {"varID": 1, "undefinedValue": UNDEFINED, "useUndefined": False}),
    ("elemListVarInfo", (0, 2), {"varID": 2, "undefinedValue": UNDEFINED, "useUndefined": True}),
] + [
    ("elemInfo", (0, rec), {
        "elemCount": count, "listLength": len(conn), "elemListType": etype,
        "elemListTypeString": name, "connectivity": i32(*conn).reshape(shape).copy(),
        "ids": np.arange(100, 100 + count, dtype=np.int32)})
    for rec, ((etype, count, conn, shape), name) in enumerate(zip(ELEMS, [
        "OXR_ELEM_TRILIST", "OXR_ELEM_LINELIST", "OXR_ELEM_QUADLIST", "OXR_ELEM_POLYGONS",
        "OXR_ELEM_TRILIST"]))
] + [
    ("elemInfo", (1, 0), {"elemCount": 1, "listLength": 3, "elemListType": 2004,  # no ids
                          "elemListTypeString": "OXR_ELEM_TRILIST",
                          "connectivity": i32(0, 1, 2).reshape(1, 3).copy(), "ids": None}),
] + [
    ("nodeVarValues", (0, var), var_values(var, NODES, 100)) for var in range(len(VARS))
] + [
    ("elemVarValues", (0, 0, var), var_values(var, 2, 10 * var)) for var in range(len(VARS))
] + [
    ("varInfo", (0,), var_info(0, "OXR_VAR_SCALAR")),
    ("varInfo", (1,), var_info(1, "OXR_VAR_VECTOR", "OXR_CENTER_ELEMENT",
                               extents=(f32(1, 2, 3), f32(4, 5, 6)))),
    ("varInfo", (2,), var_info(2, "OXR_VAR_NORMALIZED_VECTOR", palette=palette(
        "rainbow", 10, "OXR_PART_BND", -1.0, 2.0, 64, ["Red", "Green", "Blue", "Alpha"],
        [2, 3, 4, 2]))),
    ("varInfo", (3,), var_info(3, "OXR_VAR_COMPLEX_SCALAR", extents=(-1.0, 1.0))),
    # the palette name comes back as its first 31 characters
    ("varInfo", (4,), var_info(4, "OXR_VAR_COMPLEX_VECTOR", UNKNOWN, palette=palette(
        "p" * 31, 20, UNKNOWN, 0.0, 1.0, 256, ["Hue", "Sat", "Val", "Alpha"], [1, 0, 2, 3]))),
    # a kind without an extents layout: the extents read leaves its zeros
    ("varInfo", (5,), var_info(5, "OXR_VAR_PER_PART_CONSTANT", extents=(f32(0, 0, 0),) * 2)),
]


def typed(value):
    """A result as comparable data: keys in order (key_order), each value
    with its type; arrays with dtype, shape and whether they own
    C-contiguous writable data."""
    if isinstance(value, dict):
        return [(k, typed(value[k])) for k in key_order(value)]
    if isinstance(value, np.ndarray):
        flags = value.flags
        return ("ndarray", value.dtype.name, value.shape,
                flags.c_contiguous and flags.writeable and flags.owndata, value.tolist())
    return type(value).__name__, value


@pytest.mark.parametrize("method,args,expected", RESULTS,
                         ids=["{}{}".format(m, a) for m, a, _ in RESULTS])
def test_results(oxm, method, args, expected):
    assert typed(getattr(oxm, method)(*args)) == typed(expected)


def test_arrays_are_new_on_every_call(oxm):
    first = oxm.geomExtents(0)
    first["minValues"][:] = 7
    assert oxm.geomExtents(0)["minValues"].tolist() == [-1, -2, -3]
    assert oxm.geomExtents(1)["minValues"].tolist() == [0, 0, 0]


FAILURES = [  # method, arguments, message, what the library printed
    ("sceneInfo", (7,), "Can't read scene info", "scn_read_scene_info"),
    ("partSrcInfo", (5,), "Can't read part source info", "scn_read_psrc_info"),
    ("partSrcSteps", (5,), "Can't read part source info", "scn_read_psrc_info"),
    ("partInfo", (2,), "Can't read part source info", "scn_read_part_info"),
    ("repInfo", (-1,), "Can't read geom info", "scn_read_rep_info"),
    ("repGeoms", (9,), "Can't read rep info", "scn_read_rep_info"),
    # a rep without geoms stores no geom list: the list read fails
    ("repGeoms", (1,), "Can't read part source steps", "Error opening dataset"),
    ("vportInfo", (4,), "Can't read geom info", "scn_read_vport_info"),
    ("vportIndices", (4,), "Can't read rep info", "scn_read_vport_info"),
    ("vportAttrs", (555,), "Could not get number of vport attributes", ""),
    ("rendAttrs", (555,), "Could not get number of vport attributes", ""),
    ("rendAttrs", (1,), "Failed to read numinstances", ""),
    ("varInfo", (99,), "Can't read var info",
     "scn_read_var_info: error opening group '/top/Vars/var_99'"),
    ("geomInfo", (5,), "Can't read geom info", "scn_read_geom_info"),
    ("geomExtents", (5,), "Can't read geom extents", "scn_read_geom_extents"),
    ("elemListInfo", (5,), "Can't read geom info", "scn_read_elem_list_info"),
    ("elemListVarInfo", (0, 9), "Can't read geom info", "scn_read_elem_list_var_info"),
    ("elemInfo", (0, 9), "Can't read elem info", "scn_read_elem_info"),
    ("elemVarValues", (0, 9, 0), "Can't read elem info in elemVarValues", "scn_read_elem_info"),
    ("elemVarValues", (0, 0, 9), "Can't read var info in elemVarValues", "scn_read_var_info"),
    # the value methods call the readers they name, and print their lines only
    ("elemVarValues", (0, 1, 0), "Can't read part source steps",
     "scn_read_elem_var_values: error opening group '/top/ElemLists/elemlist_0/elem_1/var_0'\n"),
    ("nodeInfo", (5,), "Can't read scene info", "scn_read_nodes_info"),
    ("nodeVarInfo", (0, 9), "Can't read scene info", "scn_read_nodes_var_info"),
    ("nodeVarValues", (1, 0), "Can't read node var values steps",
     "scn_read_nodes_var_values: error opening group '/top/Nodes/nodes_1/var_0'\n"),
    ("nodeVarValues", (5, 0), "Can't read node info",
     "scn_read_nodes_info: error opening group '/top/Nodes/nodes_5'\n"),
    ("nodeVarValues", (0, 9), "Can't read var info",
     "scn_read_var_info: error opening group '/top/Vars/var_9'\n"),
]


@pytest.mark.parametrize("method,args,message,printed", FAILURES,
                         ids=["{}{}".format(f[0], f[1]) for f in FAILURES])
def test_failures(oxm, c_out, method, args, message, printed):
    with pytest.raises(RuntimeError) as err:
        getattr(oxm, method)(*args)
    assert str(err.value) == message
    out = c_out()
    assert out == printed if printed.endswith("\n") else printed in out


def test_latin1_fallback_for_invalid_utf8(tmp_path):
    p = tmp_path / "latin.h5"
    part = {"partName": text_attr(u"caf\xe9 \xff"), "partDesc": text_attr("ok"),
            "partType": int_attr(0)}
    h5build(p, merged(TOP, {"/top/Parts": {"attrs": {"nParts": int_attr(1)}},
                            "/top/Parts/part_0": {"attrs": part}}))
    info = _oxm.oxm(str(p)).partInfo(0)
    # 2.7: the stored bytes as they are
    assert info["name"] == (b"caf\xe9 \xff" if PY2 else u"caf\xe9 \xff")
    assert info["partTypeString"] == "OXR_PART_MODEL"
