"""The file object's method table, counting methods, and the readers of
scenes, part sources, parts, reps and viewports."""
import numpy as np
import pytest

import _oxm
from oxm_files import TOP, Writer
from scnlib import h5build, int_attr, text_attr

DOCS = {
    "partSrcNum": "Return the number of parts in the file.",
    "partSrcInfo": "Return info about the given part.",
    "partSrcSteps": "Return the steps associated with the part.",
    "partNum": "Return the steps associated with the part.",
    "partInfo": "Return info about the given part.",
    "partStaticRep": "Return static rep for the given part.",
    "partDynamicRep": "Return dynamic rep for the given part.",
    "geomNum": "Return the number of geoms in the file.",
    "geomInfo": "Return info about the given geom.",
    "geomExtents": "Return the extents associated with the geom.",
    "repNum": "Return the number of reps in the file.",
    "repInfo": "Return info about the given rep.",
    "repGeoms": "Return the geoms associated with the rep.",
    "elemListNum": "Return the number of elemlists in the file.",
    "elemListInfo": "Return info about the given elemlist.",
    "elemListVarInfo": "Return info about the given variable in the given elemlist.",
    "elemInfo": "Return info about the given element record in the given elemlist.",
    "elemVarValues": "Return var values for the given var and element record in the given "
                     "elemlist.",
    "vportNum": "Return the number of viewports in the file.",
    "vportInfo": "Return info about the given viewport.",
    "vportIndices": "Return the indices associated with the viewport.",
    "vportAttrs": "Return the attrs associated with the viewport.",
    "rendAttrNum": "Return the number of rendAttrs in the file.",
    "rendAttrs": "Return the attrs associated with the rendAttr.",
    "varNum": "Return the number of vars in the file.",
    "varInfo": "Return info about the given var.",
    "nodeNum": "Return the number of nodes in the file.",
    "nodeInfo": "Return info dict about the given node.",
    "nodeVarInfo": "Return info about vars in the given nodes.",
    "nodeVarValues": "Return var values for given nodes.",
    "sceneNum": "Return the number of scenes in the file.",
    "sceneInfo": "Return info dict about the given scene.",
}
ARITY = {"elemListVarInfo": 2, "elemInfo": 2, "nodeVarInfo": 2, "nodeVarValues": 2,
         "elemVarValues": 3}
COUNTS = ["partSrcNum", "partNum", "geomNum", "repNum", "elemListNum", "vportNum",
          "rendAttrNum", "varNum", "nodeNum", "sceneNum"]
READERS = [m for m in DOCS if m not in COUNTS]


@pytest.fixture(scope="module")
def scene_file(tmp_path_factory):
    p = tmp_path_factory.mktemp("records") / "records.h5"
    with Writer(p) as f:
        f.scene(0, b"intro", 120, 1, 100, 2, 1, 0, 29.97)
        f.scene(1, "é".encode() * 128, 0, 0, 0, 1, 0, 0, -24.9)
        f.psrc_steps(0, [3, 1, 4], [0.5, 1.5, 2.5], step_id=7)
        f.psrc_steps(1, [], [], step_id=-2)
        f.part(0, b"wing", b"left wing", 2, 0, 1)
        f.part(1, b"x" * 256, b"", 1234, -1, 5)
        f.rep_geoms(0, [4, 2, 9], rep_type=1005, rend_attr=3)
        f.rep_geoms(1, [], rep_type=1000)
        f.vport_parts(0, [])
        f.vport_parts(1, [5, 0, 2])
        f.rendAttr(0)
    return p


@pytest.fixture(scope="module")
def oxm(scene_file):
    return _oxm.oxm(str(scene_file))


def test_method_table_and_docs():
    assert {m for m in dir(_oxm.oxm) if not m.startswith("_") and m != "filename"} == set(DOCS)
    for name, doc in DOCS.items():
        assert getattr(_oxm.oxm, name).__doc__ == doc


@pytest.mark.parametrize("method, expected", [
    ("sceneNum", 2), ("partSrcNum", 2), ("partNum", 2), ("repNum", 2), ("vportNum", 2),
    ("rendAttrNum", 1), ("geomNum", 0), ("elemListNum", 0), ("nodeNum", 0), ("varNum", 0)])
def test_counts_ignore_arguments(oxm, method, expected):
    count = getattr(oxm, method)
    assert count() == expected
    assert count(1, 2, 3) == expected
    assert count("anything") == expected


@pytest.mark.parametrize("method, args, expected", [
    ("sceneInfo", (0,), {"name": "intro", "nParts": 0, "nAnnots": 0, "nVports": 0,
                         "nAplanes": 0, "nViews": 0, "nFrames": 120, "startFrame": 1,
                         "endFrame": 100, "stride": 2, "loopMode": 1, "runMode": 0,
                         "fps": 29}),
    ("partSrcInfo", (0,), {"stepCount": 3, "stepID": 7}),
    ("partSrcInfo", (1,), {"stepCount": 0, "stepID": -2}),
    ("partInfo", (0,), {"name": "wing", "description": "left wing", "partType": 2,
                        "partTypeString": "OXR_PART_CONTOUR"}),
    # A name filling its whole field has no terminator and is read whole.
    ("partInfo", (1,), {"name": "x" * 256, "description": "", "partType": 1234,
                        "partTypeString": "ERROR: Unknown enum."}),
    ("repInfo", (0,), {"geomCount": 3, "repType": 1005, "repTypeString": "OXR_REP_FULL",
                       "rendAttrIndex": 3}),
    ("repInfo", (1,), {"geomCount": 0, "repType": 1000, "repTypeString": "OXR_REP_NONE",
                       "rendAttrIndex": 0}),
    ("vportInfo", (0,), {"numParts": 0}),
    ("vportInfo", (1,), {"numParts": 3}),
    ("partStaticRep", (0,), 0), ("partDynamicRep", (0,), 1),
    ("partStaticRep", (1,), -1), ("partDynamicRep", (1,), 5),
])
def test_values(oxm, method, args, expected):
    result = getattr(oxm, method)(*args)
    # Exact keys, values and value types (True == 1, so types separately).
    assert result == expected
    if isinstance(expected, dict):
        assert {k: type(v) for k, v in result.items()} == {k: type(v) for k, v in expected.items()}
    else:
        assert type(result) is int


def test_full_field_of_multibyte_text(oxm):
    # 256 bytes of a two-byte character: decoded, nothing cut, fps truncated
    # toward zero.
    info = oxm.sceneInfo(1)
    assert info["name"] == "é" * 128
    assert info["fps"] == -24


@pytest.mark.parametrize("method, args, expected", [
    ("partSrcSteps", (0,), {"indexes": ([3, 1, 4], np.int32), "stepvals": ([0.5, 1.5, 2.5],
                                                                           np.float32)}),
    # A source without steps: empty arrays, not an error.
    ("partSrcSteps", (1,), {"indexes": ([], np.int32), "stepvals": ([], np.float32)}),
    ("repGeoms", (0,), {"indexes": ([4, 2, 9], np.int32)}),
    ("vportIndices", (0,), {"partIndexes": ([], np.int32)}),
    ("vportIndices", (1,), {"partIndexes": ([5, 0, 2], np.int32)}),
])
def test_arrays(oxm, method, args, expected):
    result = getattr(oxm, method)(*args)
    assert list(result) == list(expected)
    for key, (values, dtype) in expected.items():
        array = result[key]
        assert array.dtype == dtype and array.shape == (len(values),)
        assert array.tolist() == values
        assert array.flags.c_contiguous and array.flags.writeable and array.flags.owndata


@pytest.mark.parametrize("method, args, message, printed", [
    ("sceneInfo", (7,), "Can't read scene info", "scn_read_scene_info"),
    ("partSrcInfo", (5,), "Can't read part source info", "scn_read_psrc_info"),
    ("partSrcSteps", (5,), "Can't read part source info", "scn_read_psrc_info"),
    ("partInfo", (2,), "Can't read part source info", "scn_read_part_info"),
    ("repInfo", (-1,), "Can't read geom info", "scn_read_rep_info"),
    ("repGeoms", (9,), "Can't read rep info", "scn_read_rep_info"),
    # A rep without geoms stores no geom list: the list read fails.
    ("repGeoms", (1,), "Can't read part source steps", "Error opening dataset"),
    ("vportInfo", (4,), "Can't read geom info", "scn_read_vport_info"),
    ("vportIndices", (4,), "Can't read rep info", "scn_read_vport_info"),
])
def test_failures(oxm, c_out, method, args, message, printed):
    with pytest.raises(RuntimeError) as err:
        getattr(oxm, method)(*args)
    assert str(err.value) == message
    assert printed in c_out()


def test_part_rep_of_missing_part_is_minus_one(oxm, c_out):
    assert oxm.partStaticRep(99) == -1
    assert oxm.partDynamicRep(99) == -1
    assert "scn_read_part_static_rep: error opening group '/top/Parts/part_99'" in c_out()


@pytest.mark.parametrize("method", READERS)
def test_argument_errors(oxm, c_out, method):
    n = ARITY.get(method, 1)
    for args in [(), ("0",) * n, (0,) * (n + 1), (2**40,) * n]:
        with pytest.raises((TypeError, OverflowError)):
            getattr(oxm, method)(*args)
    assert c_out() == ""


@pytest.mark.parametrize("method", sorted(DOCS))
def test_uninitialised_object_raises(method):
    blank = _oxm.oxm.__new__(_oxm.oxm)
    with pytest.raises(ValueError):
        getattr(blank, method)(*(0,) * ARITY.get(method, 1))


def test_counts_of_absent_collections(tmp_path):
    p = tmp_path / "empty.h5"
    h5build(p, TOP)
    o = _oxm.oxm(str(p))
    assert [getattr(o, m)() for m in COUNTS] == [0] * len(COUNTS)


def test_latin1_fallback_for_invalid_utf8(tmp_path):
    p = tmp_path / "latin.h5"
    h5build(p, {**TOP, "/top/Parts": {"attrs": {"nParts": int_attr(1)}},
                "/top/Parts/part_0": {"attrs": {"partName": text_attr("caf\xe9 \xff"),
                                                "partDesc": text_attr("ok"),
                                                "partType": int_attr(0)}}})
    info = _oxm.oxm(str(p)).partInfo(0)
    assert info["name"] == "caf\xe9 \xff" and info["partTypeString"] == "OXR_PART_MODEL"


# Stored counts that disagree with the stored arrays, or are impossible.
MALFORMED = [
    ("repGeoms", {"/top/Reps": {"attrs": {"nReps": int_attr(1)}},
                  "/top/Reps/rep_0": {"attrs": {"numRepGeoms": int_attr(2),
                                                "repType": int_attr(1005),
                                                "rendAttrIndex": int_attr(0)}},
                  "/top/Reps/rep_0/geomIndicies": {"type": "dataset", "dtype": "int32",
                                                   "value": [1, 2, 3, 4, 5]}},
     "Can't read part source steps"),
    ("repGeoms", {"/top/Reps": {"attrs": {"nReps": int_attr(1)}},
                  "/top/Reps/rep_0": {"attrs": {"numRepGeoms": int_attr(-4),
                                                "repType": int_attr(1005),
                                                "rendAttrIndex": int_attr(0)}}},
     "Can't allocate memory in repGeoms"),
    ("partSrcSteps", {"/top/Psrcs": {"attrs": {"nPsrcs": int_attr(1)}},
                      "/top/Psrcs/psrc_0": {"attrs": {"nSteps": int_attr(2),
                                                      "stepId": int_attr(0)}},
                      "/top/Psrcs/psrc_0/partIndices": {"type": "dataset", "dtype": "int32",
                                                        "value": [1, 2, 3, 4]},
                      "/top/Psrcs/psrc_0/stepValues": {"type": "dataset", "dtype": "float32",
                                                       "value": [1, 2, 3, 4]}},
     "Can't read part source steps"),
    ("vportIndices", {"/top/Vports": {"attrs": {"nVports": int_attr(1)}},
                      "/top/Vports/vport_0": {"attrs": {"numAttrs": int_attr(0),
                                                        "nParts": int_attr(1)}},
                      "/top/Vports/vport_0/partIndices": {"type": "dataset",
                                                          "dtype": "int32",
                                                          "value": [7, 8, 9]}},
     "Can't read part source steps"),
]


@pytest.mark.parametrize("method, tree, message", MALFORMED,
                         ids=[f"{m[0]}-{i}" for i, m in enumerate(MALFORMED)])
def test_malformed_counts_fail_cleanly(tmp_path, c_out, method, tree, message):
    p = tmp_path / "bad.h5"
    h5build(p, {**TOP, **tree})
    with pytest.raises(RuntimeError) as err:
        getattr(_oxm.oxm(str(p)), method)(0)
    assert str(err.value) == message
