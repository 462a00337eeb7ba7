"""Geometry readers of the file object: geoms, node sets, element lists,
element records and variable values, on files of both layouts and on
malformed files."""
import numpy as np
import pytest

import _oxm
from oxm_files import TOP, Writer
from scnlib import floats, h5build, int_attr, text_attr

SCALAR, VECTOR, NVECTOR, CSCALAR, CVECTOR, CONSTANT = range(3100, 3106)
# variable index -> (kind, components)
KINDS = {0: (SCALAR, 1), 1: (VECTOR, 3), 2: (NVECTOR, 3), 3: (CSCALAR, 2), 4: (CVECTOR, 6),
         5: (CONSTANT, 0)}
NODES = 4
ELEMS = [  # (type, element count, connectivity)
    (2004, 2, [0, 1, 2, 1, 2, 3]),
    (2001, 3, [0, 1, 1, 2, 2, 3]),
    (2006, 1, [0, 1, 2, 3]),
    (2003, 2, [3, 0, 1, 2, 3, 1, 2, 3]),
    (2004, 1, [0, 1]),  # shorter than a triangle: kept flat
]


def values(count, components, base):
    return [base + i for i in range(count * max(components, 1))]


@pytest.fixture(scope="module")
def geo_file(tmp_path_factory):
    p = tmp_path_factory.mktemp("geometry") / "geometry.h5"
    with Writer(p) as f:
        for var, (kind, _) in KINDS.items():
            f.variable(var, f"v{var}", kind, desc=f"kind {kind}")
        f.geom(0, 0, 0, 1, 0, floats([-1, -2, -3]), floats([1, 2, 3]))
        f.geom(1, 1, 1, 0, 1, None, None)
        f.node_set(0, [float(i) for i in range(NODES * 3)], 3, ids=[11, 12, 13, 14],
                   nvars=len(KINDS), normal=-1)
        f.node_set(1, [], 2)
        for var, (_, comps) in KINDS.items():
            f.nodes_var(0, var, var, NODES, var % 2, -99.0, floats(values(NODES, comps, 100)))
        f.elem_list(0, len(ELEMS), len(KINDS), 4, 1)
        f.elem_list(1, 1, 0, -1, 0)
        for var in KINDS:
            f.elem_list_var_info(0, var, var, 1 - var % 2, 1e30)
        for rec, (etype, count, conn) in enumerate(ELEMS):
            f.elem_rec(0, rec, etype, count, conn, list(range(100, 100 + count)))
        for var, (_, comps) in KINDS.items():
            f.elem_var(0, 0, var, var, 2, floats(values(2, comps, 10 * var)))
        f.elem_rec(1, 0, 2004, 1, [0, 1, 2])
    return p


@pytest.fixture(scope="module")
def oxm(geo_file):
    return _oxm.oxm(str(geo_file))


KEYS = [
    ("geomInfo", (0,), {"whichNodes": int, "whichElemList": int, "extentsProvided": bool}),
    ("geomExtents", (0,), {"empty": bool, "minValues": np.ndarray, "maxValues": np.ndarray}),
    ("elemListInfo", (0,), {"numElemRecs": int, "numElemVars": int, "elemNormalIndex": int,
                            "hasElemIDs": bool}),
    ("elemListVarInfo", (0, 1), {"varID": int, "undefinedValue": float, "useUndefined": bool}),
    ("elemInfo", (0, 0), {"elemCount": int, "listLength": int, "elemListType": int,
                          "elemListTypeString": str, "connectivity": np.ndarray,
                          "ids": np.ndarray}),
    ("elemVarValues", (0, 0, 0), {"varName": str, "varDesc": str, "varValues": np.ndarray}),
    ("nodeInfo", (0,), {"nodeCount": int, "dimension": int, "hasNodeIds": bool,
                        "numNodalVars": int, "nodeNormalIndex": int, "coords": np.ndarray}),
    ("nodeVarInfo", (0, 1), {"varID": int, "varCount": int, "undefinedValue": float,
                             "useUndefined": bool}),
    ("nodeVarValues", (0, 1), {"varName": str, "varDesc": str, "varValues": np.ndarray}),
]


@pytest.mark.parametrize("method, args, keys", KEYS, ids=[k[0] for k in KEYS])
def test_keys_and_types(oxm, method, args, keys):
    result = getattr(oxm, method)(*args)
    assert {k: type(v) for k, v in result.items()} == keys


@pytest.mark.parametrize("method, args, expected", [
    ("geomInfo", (0,), {"whichNodes": 0, "whichElemList": 0, "extentsProvided": True}),
    ("geomInfo", (1,), {"whichNodes": 1, "whichElemList": 1, "extentsProvided": False}),
    ("elemListInfo", (0,), {"numElemRecs": 5, "numElemVars": 6, "elemNormalIndex": 4,
                            "hasElemIDs": True}),
    ("elemListVarInfo", (0, 2), {"varID": 2, "undefinedValue": pytest.approx(1e30, rel=1e-6),
                                 "useUndefined": True}),
    ("elemListVarInfo", (0, 1), {"varID": 1, "undefinedValue": pytest.approx(1e30, rel=1e-6),
                                 "useUndefined": False}),
    ("nodeVarInfo", (0, 3), {"varID": 3, "varCount": NODES, "undefinedValue": -99.0,
                             "useUndefined": True}),
])
def test_values(oxm, method, args, expected):
    assert getattr(oxm, method)(*args) == expected


def test_extents_are_independent_arrays(oxm):
    first = oxm.geomExtents(0)
    assert first["empty"] is False
    assert first["minValues"].tolist() == [-1, -2, -3] and first["minValues"].dtype == np.float32
    assert first["maxValues"].tolist() == [1, 2, 3] and first["maxValues"].shape == (3,)
    first["minValues"][:] = 7
    empty = oxm.geomExtents(1)
    assert empty["empty"] is True and empty["minValues"].tolist() == [0, 0, 0]
    assert first["maxValues"].tolist() == [1, 2, 3] and first["minValues"].tolist() == [7] * 3


def test_node_set(oxm):
    info = oxm.nodeInfo(0)
    assert {k: info[k] for k in ("nodeCount", "dimension", "hasNodeIds", "numNodalVars",
                                 "nodeNormalIndex")} == {
        "nodeCount": 4, "dimension": 3, "hasNodeIds": True, "numNodalVars": 6,
        "nodeNormalIndex": -1}
    coords = info["coords"]
    assert coords.dtype == np.float32 and coords.shape == (NODES, 3) and coords.flags.owndata
    assert coords.tolist() == np.arange(12, dtype=np.float32).reshape(4, 3).tolist()
    # An empty node set stores no coordinates: the read fails, "coords" is None.
    empty = oxm.nodeInfo(1)
    assert empty["nodeCount"] == 0 and empty["hasNodeIds"] is False and empty["coords"] is None


@pytest.mark.parametrize("rec", range(len(ELEMS)))
def test_element_records(oxm, rec):
    etype, count, conn = ELEMS[rec]
    info = oxm.elemInfo(0, rec)
    assert (info["elemListType"], info["elemCount"], info["listLength"]) == (etype, count,
                                                                             len(conn))
    assert getattr(_oxm, info["elemListTypeString"]) == etype
    per = {2001: 2, 2004: 3, 2006: 4}.get(etype)
    shape = (count, per) if per and per * count == len(conn) else (len(conn),)
    assert info["connectivity"].dtype == np.int32 and info["connectivity"].shape == shape
    assert info["connectivity"].ravel().tolist() == conn
    assert info["ids"].dtype == np.int32 and info["ids"].tolist() == list(range(100, 100 + count))


def test_record_without_ids(oxm, c_out):
    info = oxm.elemInfo(1, 0)
    assert info["ids"] is None and info["connectivity"].tolist() == [[0, 1, 2]]
    assert "Error opening dataset" in c_out()


@pytest.mark.parametrize("var", sorted(KINDS))
@pytest.mark.parametrize("where", ["node", "elem"])
def test_variable_values_by_kind(oxm, var, where):
    kind, comps = KINDS[var]
    if where == "node":
        result, count, base = oxm.nodeVarValues(0, var), NODES, 100
    else:
        result, count, base = oxm.elemVarValues(0, 0, var), 2, 10 * var
    assert result["varName"] == f"v{var}" and result["varDesc"] == f"kind {kind}"
    array = result["varValues"]
    assert array.dtype == np.float32
    assert array.shape == ((count,) if comps == 1 else (count, comps))
    assert array.ravel().tolist() == (values(count, comps, base) if comps else [])


@pytest.mark.parametrize("method, args, message", [
    ("geomInfo", (5,), "Can't read geom info"),
    ("geomExtents", (5,), "Can't read geom extents"),
    ("elemListInfo", (5,), "Can't read geom info"),
    ("elemListVarInfo", (0, 9), "Can't read geom info"),
    ("elemInfo", (0, 9), "Can't read elem info"),
    ("elemVarValues", (0, 9, 0), "Can't read elem info in elemVarValues"),
    ("elemVarValues", (0, 0, 9), "Can't read var info in elemVarValues"),
    ("elemVarValues", (0, 1, 0), "Can't read part source steps"),
    ("nodeInfo", (5,), "Can't read scene info"),
    ("nodeVarInfo", (0, 9), "Can't read scene info"),
    ("nodeVarValues", (5, 0), "Can't read node info"),
    ("nodeVarValues", (0, 9), "Can't read var info"),
    ("nodeVarValues", (1, 0), "Can't read node var values steps"),
])
def test_failures(oxm, c_out, method, args, message):
    with pytest.raises(RuntimeError) as err:
        getattr(oxm, method)(*args)
    assert str(err.value) == message
    assert c_out() != ""


def group(**attrs):
    return {"attrs": {k: int_attr(v) for k, v in attrs.items()}}


def dataset(dtype, value):
    return {"type": "dataset", "dtype": dtype, "value": value}


LEGACY = {
    "/top": {"attrs": {"scn_api_version": text_attr("1.02.00"),
                       "scn_file_version": text_attr("1.00")}},
    "/top/Geoms": group(nGeoms=2),
    "/top/Geoms/geom_0": group(extentsProvided=0),
    "/top/Geoms/geom_0/nodes": group(numNodes=0, nodeDimension=3, hasNodeIds=0,
                                     numNodalVars=0, nodeNormalIndex=0),
    "/top/Geoms/geom_1": group(extentsProvided=0),
    "/top/Geoms/geom_1/nodes": group(numNodes=3, nodeDimension=2, hasNodeIds=1,
                                     numNodalVars=0, nodeNormalIndex=-1),
    "/top/Geoms/geom_1/nodes/coords": dataset("float32", [0, 1, 2, 3, 4, 5]),
    "/top/Geoms/geom_1/nodes/ids": dataset("int32", [7, 8, 9]),
    "/top/Geoms/geom_1/elemlists": group(numElementLists=1),
    "/top/Geoms/geom_1/elemlists/elemlist_0": group(elemListType=2004, elemCount=1, lenList=3),
    "/top/Geoms/geom_1/elemlists/elemlist_0/conn": dataset("int32", [0, 1, 2]),
}


def test_legacy_layout_node_info_first(tmp_path):
    p = tmp_path / "legacy.h5"
    h5build(p, LEGACY)
    o = _oxm.oxm(str(p))
    # No prior count: nodeInfo builds the legacy node-set table itself.
    info = o.nodeInfo(0)
    assert info["nodeCount"] == 3 and info["dimension"] == 2 and info["hasNodeIds"] is True
    assert info["coords"].shape == (3, 2) and info["coords"].tolist() == [[0, 1], [2, 3], [4, 5]]
    assert (o.geomNum(), o.nodeNum(), o.elemListNum()) == (2, 1, 1)
    assert o.elemInfo(0, 0)["connectivity"].tolist() == [[0, 1, 2]]


NODE_SET = {"/top/Nodes": group(nNodes=1)}
ELEM_LIST = {"/top/ElemLists": group(nElemLists=1),
             "/top/ElemLists/elemlist_0": group(numElemRecs=1, numElemVars=1,
                                                elemNormalIndex=0, hasElemIds=1)}
VARS = {"/top/Vars": group(nVars=2),
        "/top/Vars/var_0": {"attrs": {"varName": text_attr("s", 64),
                                      "varDesc": text_attr("", 128),
                                      "varCentering": int_attr(3000),
                                      "varKind": int_attr(SCALAR),
                                      "extentsProvided": int_attr(0),
                                      "paletteProvided": int_attr(0)}},
        "/top/Vars/var_1": {"attrs": {"varName": text_attr("v", 64),
                                      "varDesc": text_attr("", 128),
                                      "varCentering": int_attr(3000),
                                      "varKind": int_attr(VECTOR),
                                      "extentsProvided": int_attr(0),
                                      "paletteProvided": int_attr(0)}}}


def nodes(count, dim, coords, **extra):
    tree = {**NODE_SET, "/top/Nodes/nodes_0": group(numNodes=count, nodeDimension=dim,
                                                    hasNodeIds=0, numNodalVars=1,
                                                    nodeNormalIndex=0)}
    if coords is not None:
        tree["/top/Nodes/nodes_0/coords"] = dataset("float32", coords)
    return {**tree, **extra}


def node_var(var_index, num_values, vals):
    return {"/top/Nodes/nodes_0/var_0": group(varIndex=var_index, numValues=num_values,
                                              useUndefined=0),
            "/top/Nodes/nodes_0/var_0/vals": dataset("float32", vals)}


def elem(etype, count, length, conn, ids):
    return {**ELEM_LIST,
            "/top/ElemLists/elemlist_0/elem_0": group(elemListType=etype, elemCount=count,
                                                      lenList=length),
            "/top/ElemLists/elemlist_0/elem_0/conn": dataset("int32", conn),
            "/top/ElemLists/elemlist_0/elem_0/ids": dataset("int32", ids)}


# Files whose counts disagree with their arrays: each method must either
# return None for the entry or fail with its message, never write past the
# arrays it sized.
MALFORMED = [
    ("coords longer than nodes x dim", "nodeInfo", (0,), nodes(2, 3, list(range(12))),
     {"coords": None}),
    ("negative node count", "nodeInfo", (0,), nodes(-2, 3, list(range(6))), {"coords": None}),
    ("node count x dim overflows", "nodeInfo", (0,), nodes(2**30, 3, [0.0]), {"coords": None}),
    ("conn longer than lenList", "elemInfo", (0, 0), elem(2004, 1, 3, list(range(9)), [1]),
     {"connectivity": None, "ids": [1]}),
    ("ids longer than elemCount", "elemInfo", (0, 0), elem(2004, 1, 3, [0, 1, 2], [1, 2, 3]),
     {"connectivity": [[0, 1, 2]], "ids": None}),
    ("negative counts", "elemInfo", (0, 0), elem(2004, -1, -3, [0, 1, 2], [1]),
     {"connectivity": None, "ids": None}),
    ("slot values exceed node count", "nodeVarValues", (0, 0),
     {**VARS, **nodes(2, 1, [0, 1]), **node_var(0, 5, list(range(5)))},
     "Can't read node var values steps"),
    ("slot names a vector, record a scalar", "nodeVarValues", (0, 0),
     {**VARS, **nodes(2, 1, [0, 1]), **node_var(1, 2, list(range(6)))},
     "Can't read node var values steps"),
    ("vals longer than the slot's count", "nodeVarValues", (0, 0),
     {**VARS, **nodes(2, 1, [0, 1]), **node_var(0, 2, list(range(7)))},
     "Can't read node var values steps"),
    ("elem slot names a vector, record a scalar", "elemVarValues", (0, 0, 0),
     {**VARS, **elem(2004, 2, 6, list(range(6)), [1, 2]),
      "/top/ElemLists/elemlist_0/var_0": group(varIndex=1, useUndefined=0),
      "/top/ElemLists/elemlist_0/elem_0/var_0": group(numValues=2),
      "/top/ElemLists/elemlist_0/elem_0/var_0/vals": dataset("float32", list(range(6)))},
     "Can't read part source steps"),
    ("negative element count", "elemVarValues", (0, 0, 0),
     {**VARS, **elem(2004, -2, 6, list(range(6)), [1, 2]),
      "/top/ElemLists/elemlist_0/var_0": group(varIndex=0, useUndefined=0)},
     "Can't read part source steps"),
]


@pytest.mark.parametrize("case, method, args, tree, expected", MALFORMED,
                         ids=[m[0] for m in MALFORMED])
def test_malformed_files(tmp_path, c_out, case, method, args, tree, expected):
    p = tmp_path / "bad.h5"
    h5build(p, {**TOP, **tree})
    call = getattr(_oxm.oxm(str(p)), method)
    if isinstance(expected, str):
        with pytest.raises(RuntimeError) as err:
            call(*args)
        assert str(err.value) == expected
        return
    result = call(*args)
    for key, value in expected.items():
        got = result[key]
        assert (got is None) if value is None else (got.tolist() == value)
