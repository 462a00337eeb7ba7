"""The file object on files of the legacy layout and on malformed or
hand-built files (Python 3 and 2.7)."""
import numpy as np
import pytest

import _oxm
from geomlib import TOP, f32, group, i32, legacy_tree
from oxm_files import VECTOR, Writer, merged
from scnlib import floats, h5build, text_attr


def test_legacy_layout_node_info_first(tmp_path):
    p = tmp_path / "legacy.h5"
    h5build(p, legacy_tree((0, 3)))  # node set 0 and element list 0 are in geom 1
    o = _oxm.oxm(str(p))
    # No prior count: nodeInfo builds the legacy node-set table itself.
    info = o.nodeInfo(0)
    assert {k: info[k] for k in ("nodeCount", "dimension", "hasNodeIds", "nodeNormalIndex")} == {
        "nodeCount": 3, "dimension": 3, "hasNodeIds": True, "nodeNormalIndex": 11}
    assert info["coords"].tolist() == np.arange(100, 109).reshape(3, 3).tolist()
    assert (o.geomNum(), o.nodeNum(), o.elemListNum()) == (2, 1, 1)
    assert o.elemInfo(0, 0)["connectivity"].tolist() == [[1, 0, 9]]


VARS = merged({"/top/Vars": group(nVars=2)}, {
    "/top/Vars/var_{}".format(i): {"attrs": merged(
        {"varName": text_attr(name, 64), "varDesc": text_attr("", 128)},
        group(varCentering=3000, varKind=kind, extentsProvided=0, paletteProvided=0)["attrs"])}
    for i, (name, kind) in enumerate([("s", 3100), ("v", 3101)])})
ELEM = "/top/ElemLists/elemlist_0"


def nodes(count, dim, coords, var_index=None, num_values=0, vals=()):
    tree = merged(VARS, {"/top/Nodes": group(nNodes=1),
                         "/top/Nodes/nodes_0": group(numNodes=count, nodeDimension=dim,
                                                     hasNodeIds=0, numNodalVars=1,
                                                     nodeNormalIndex=0),
                         "/top/Nodes/nodes_0/coords": f32(coords)})
    if var_index is not None:
        tree["/top/Nodes/nodes_0/var_0"] = group(varIndex=var_index, numValues=num_values,
                                                 useUndefined=0)
        tree["/top/Nodes/nodes_0/var_0/vals"] = f32(vals)
    return tree


def elem(etype, count, length, conn, ids, vals=None):
    tree = merged(VARS, {
        "/top/ElemLists": group(nElemLists=1),
        ELEM: group(numElemRecs=1, numElemVars=1, elemNormalIndex=0, hasElemIds=1),
        ELEM + "/elem_0": group(elemListType=etype, elemCount=count, lenList=length),
        ELEM + "/elem_0/conn": i32(conn), ELEM + "/elem_0/ids": i32(ids)})
    if vals is not None:
        tree[ELEM + "/elem_0/var_0"] = group(numValues=count)
        tree[ELEM + "/elem_0/var_0/vals"] = f32(vals)
    return tree


def palette_var(**extra):
    """A variable whose palette announces two red values but stores no colours."""
    ints = merged(dict(varCentering=3000, varKind=3100, extentsProvided=0, paletteProvided=1,
                       paletteInterp=10, colorSpace=10, nSamples=2, nRedOrHue=2, nGrnOrSat=0,
                       nBluOrVal=0, nAlpha=0), extra)
    attrs = merged({"varName": text_attr("v", 64), "varDesc": text_attr("", 128),
                    "paletteName": text_attr("p", 64)}, group(**ints)["attrs"])
    return {"/top/Vars": group(nVars=1), "/top/Vars/var_0": {"attrs": attrs}}


REND = "/top/RendAttrs/rendAttr_0"
NO_COLOURS = merged({"paletteExist": True, "numRedValues": 2}, dict.fromkeys(
    [c + k for c in ("red", "green", "blue", "alpha") for k in ("Control", "Colors")], "absent"))


def record(family, group_name, attrs, **arrays):
    record_path = "/top/{}/{}_0".format(family, group_name)
    return merged({"/top/" + family: group(**{"n" + family: 1}), record_path: group(**attrs)},
                  {record_path + "/" + k: v for k, v in arrays.items()})


# Files whose counts disagree with their arrays, or are impossible: each
# method leaves the entry out (None) or fails with its message, never writing
# past the arrays it sized; and records only a hand-built file can hold.
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
     nodes(2, 1, [0, 1], 0, 5, range(5)), "Can't read node var values steps"),
    ("slot names a vector, record a scalar", "nodeVarValues", (0, 0),
     nodes(2, 1, [0, 1], 1, 2, range(6)), "Can't read node var values steps"),
    ("vals longer than the slot's count", "nodeVarValues", (0, 0),
     nodes(2, 1, [0, 1], 0, 2, range(7)), "Can't read node var values steps"),
    ("vector values on a scalar record", "elemVarValues", (0, 0, 0),
     elem(2004, 2, 6, list(range(6)), [1, 2], vals=list(range(6))),
     "Can't read part source steps"),
    ("negative element count", "elemVarValues", (0, 0, 0),
     elem(2004, -2, 6, list(range(6)), [1, 2], vals=[1, 2]), "Can't read part source steps"),
    ("rep geoms longer than numRepGeoms", "repGeoms", (0,),
     record("Reps", "rep", {"numRepGeoms": 2, "repType": 1005, "rendAttrIndex": 0},
            geomIndicies=i32([1, 2, 3, 4, 5])), "Can't read part source steps"),
    ("negative numRepGeoms", "repGeoms", (0,),
     record("Reps", "rep", {"numRepGeoms": -4, "repType": 1005, "rendAttrIndex": 0}),
     "Can't allocate memory in repGeoms"),
    ("steps longer than nSteps", "partSrcSteps", (0,),
     record("Psrcs", "psrc", {"nSteps": 2, "stepId": 0}, partIndices=i32([1, 2, 3, 4]),
            stepValues=f32([1, 2, 3, 4])), "Can't read part source steps"),
    ("viewport parts longer than nParts", "vportIndices", (0,),
     record("Vports", "vport", {"numAttrs": 0, "nParts": 1}, partIndices=i32([7, 8, 9])),
     "Can't read part source steps"),
    ("palette channel datasets missing", "varInfo", (0,), palette_var(), NO_COLOURS),
    ("negative palette channel count", "varInfo", (0,), palette_var(nGrnOrSat=-3), NO_COLOURS),
    ("unnamed tags share one key", "rendAttrs", (0,),
     {"/top/RendAttrs": group(nRendAttrs=1), REND: group(numAttrs=3, ivalsLen=1, fvalsLen=0,
                                                         cvalsLen=0),
      REND + "/attrTags": i32([1109, 1100, 1110]), REND + "/attrPtrs": i32([0, 0, 0]),
      REND + "/ivals": i32([1])}, {"ERROR: Unknown enum.": None, "OXR_RENDATTR_ISVISIBLE": True}),
]


@pytest.mark.parametrize("case, method, args, tree, expected", MALFORMED,
                         ids=[m[0] for m in MALFORMED])
def test_malformed_files(tmp_path, c_out, case, method, args, tree, expected):
    p = tmp_path / "bad.h5"
    h5build(p, merged(TOP, tree))
    call = getattr(_oxm.oxm(str(p)), method)
    if isinstance(expected, str):
        with pytest.raises(RuntimeError) as err:
            call(*args)
        assert str(err.value) == expected
        return
    result = call(*args)
    got = {k: result.get(k, "absent") for k in expected}
    assert {k: v.tolist() if isinstance(v, np.ndarray) else v for k, v in got.items()} == expected


def test_element_values_without_the_lists_slot(tmp_path, c_out):
    """Values written by the element-value writer alone read back: the
    method reads what the element-value reader reads, nothing else."""
    p = tmp_path / "values.h5"
    with Writer(p) as w:
        w.variable(0, "v", VECTOR)
        w.elem_list(0, 1, 1, -1, 0)
        w.elem_rec(0, 0, 2004, 2, [0, 1, 2, 1, 2, 3])
        w.elem_var(0, 0, 0, 0, 2, floats([0.5 * i for i in range(6)]))
    values = _oxm.oxm(str(p)).elemVarValues(0, 0, 0)
    assert values["varValues"].tolist() == [[0, 0.5, 1], [1.5, 2, 2.5]]
    assert c_out() == ""
