"""Every record family written with oxm.create, read back through oxm.open
(values), through _oxm (the same values) and through h5py in another
process (the layout)."""
import numpy as np
import pytest

import _oxm
import oxm
from scnlib import h5dump

E = oxm.ElemType
COORDS = np.arange(600, dtype=np.float64).reshape(200, 3) / 4
PIXELS = np.arange(18).reshape(2, 3, 3)


def write_all(path, **options):
    """One file with records of every family, tagged attributes of all
    eight owner kinds and arrays given in assorted dtypes and layouts."""
    with oxm.create(path, **options) as w:
        w.framework_version("test 1.0")
        w.variable(name="p", description="pressure", kind=3100, extents=(-1, 2))
        w.variable(name="v", kind=3101, centering=3001, extents=([0, 0, 0], [1, 2, 3]))
        w.palette(0, "cool", [([0, 1], [0, 1]), ([0.5], [0.25]), ((), ()), ([0, 1], [1, 1])],
                  value_range=(-1, 2), n_samples=64)
        w.node_set(coords=COORDS, ids=np.arange(11, 211, dtype=np.int64), n_vars=2)
        w.node_var(0, 0, 0, np.arange(200, dtype=np.int16), undefined=-99)
        w.node_var(0, 1, 1, np.asfortranarray(COORDS))
        w.elem_list(n_records=3, n_vars=2, normal_index=4, has_ids=True)
        w.elem_list_var(0, 0, 0)
        w.elem_list_var(0, 1, 1, undefined=2.0 ** 100)
        w.elem(0, 0, E.OXR_ELEM_TRILIST, [[0, 1, 2], [1, 2, 3]], ids=[100, 101])
        w.elem(0, 1, E.OXR_ELEM_POLYGONS, [[0, 1, 2, 3], [4, 5, 6]], ids=[102, 103])
        w.elem(0, 2, E.OXR_ELEM_HEXLIST, np.arange(8), ids=[104])
        w.elem_var(0, 0, 0, 0, [5, 6])
        w.elem_var(0, 0, 1, 1, [[1, 2, 3], [4, 5, 6]])
        w.geom(node_set=0, elem_list=0, extents=([0, 0, 0], [1, 1, 0]),
               attrs={oxm.enums.GeomTag.OXR_GEOM_POLYORDER: 20})
        w.rend_attr(attrs={"OXR_RENDATTR_ISVISIBLE": True, 1141: [1, 0, 0, 1],
                           "OXR_RENDATTR_SHADETYPE2D": 1499,
                           "OXR_RENDATTR_INSTANCE": np.eye(4)[None].repeat(2, 0)})
        w.rep(geoms=[0], rend_attr=0)
        w.part(name="plate", description="the model", part_type=2,
               attrs={"OXR_PART_CONTOUR_LEVELS": [1, 2, 3], "OXR_PART_PLANECLIP_SAMPLES": [4, 5]})
        w.part_source(indices=[0, 0], step_values=[0.0, 1.5], step_id=7)
        w.annot_source(indices=[0])
        w.vport_source(indices=[0, 0, 0])
        w.vport(parts=[0], attrs={"OXR_VPORT_PROJTYPE": 20, "OXR_VPORT_AXISFONTFAMILY": "Helvetica",
                                  "OXR_VPORT_ROTMAT": np.eye(4)})
        w.aplane(annots=[0], attrs={"OXR_APLANE_TYPE": 1, "OXR_APLANE_CENTER": [0, 0.5, 0]})
        w.annot(annot_type=10, queries=[0], mono_image=0,
                attrs={"OXR_ANNOT_TEXT_STRING": "hello", "OXR_ANNOT_TEXT_RGB": [1, 1, 0]})
        w.image(pixels=PIXELS, depth=np.ones((2, 3)), attrs={"OXR_IMAGE_U_X0Y0X1Y1": [0, 0, 2, 3]})
        w.image(pixels=np.full((1, 2), 7, np.uint8))
        w.query(name="q" * 100, x_label="t", y_label="p", part=0)
        w.note(text="a note")
        w.scene(name="overview", n_frames=3, loop_mode=1, run_mode=1, fps=30)
        w.scene_part(0, name="plate", sources=[0, 0, 0], steps=[0, 1, 1])
        w.scene_annot(0, sources=[0] * 3, steps=[0] * 3)
        w.scene_vport(0, parts=[0], sources=[0] * 3, steps=[0, 1, 2])
        w.scene_aplane(0, aplane=0, annots=[0])
        w.scene_view(0, name="front")
        w.scene_view_vport(0, 0, 0, sources=[0, 0, 0], steps=[2, 2, 2])


@pytest.fixture(scope="module")
def written(tmp_path_factory):
    path = tmp_path_factory.mktemp("pkg") / "all.h5"
    write_all(path)
    return path


def plain(value):
    if isinstance(value, np.ndarray):
        return value.tolist()
    if isinstance(value, (list, tuple)):
        return [plain(v) for v in value]
    if isinstance(value, dict) or isinstance(value, oxm.Attrs):
        return {k: plain(v) for k, v in value.items()}
    return value


READS = [  # expression on the open file `f`, value read back
    ("f.framework_version", "test 1.0"),
    ("[len(getattr(f, n)) for n in FAMILIES]",
     [1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 1, 1, 1, 2, 1, 1]),
    ("f.scenes[0].name, f.scenes[0].n_frames, f.scenes[0].end_frame, f.scenes[0].fps",
     ["overview", 3, 2, 30.0]),
    ("f.scenes[0].loop_mode, f.scenes[0].run_mode", [oxm.AnimLoop.OXR_ANIM_LOOP, 1]),
    ("f.scenes[0].parts[0].name, f.scenes[0].parts[0].step_nums", ["plate", [0, 1, 1]]),
    ("f.scenes[0].annots[0].source_indices", [0, 0, 0]),
    ("f.scenes[0].vports[0].part_indices, f.scenes[0].vports[0].step_nums", [[0], [0, 1, 2]]),
    ("f.scenes[0].aplanes[0].aplane, f.scenes[0].aplanes[0].annot_indices", [0, [0]]),
    ("f.scenes[0].views[0].name, f.scenes[0].views[0].vports[0].step_nums", ["front", [2, 2, 2]]),
    ("f.part_sources[0].step_id, f.part_sources[0].indices, f.part_sources[0].step_values",
     [7, [0, 0], [0.0, 1.5]]),
    ("f.annot_sources[0].step_values, f.vport_sources[-1].indices", [[0.0], [0, 0, 0]]),
    ("f.parts[0].name, f.parts[0].description, f.parts[0].part_type.name, f.parts[0].dynamic_rep",
     ["plate", "the model", "OXR_PART_CONTOUR", 0]),
    ("f.reps[0].rep_type, f.reps[0].geoms, f.reps[0].rend_attr", [1005, [0], 0]),
    ("f.geoms[0].node_set, f.geoms[0].empty, f.geoms[0].maximum", [0, False, [1, 1, 0]]),
    ("f.node_sets[0].coords.shape, f.node_sets[0].ids[:2], f.node_sets[0].coords[1]",
     [[200, 3], [11, 12], [0.75, 1.0, 1.25]]),
    ("f.node_sets[0].vars[0].values[:3], f.node_sets[0].vars[0].undefined_value", [[0, 1, 2], -99]),
    ("f.node_sets[0].vars[1].values.shape, f.node_sets[0].vars[1].values[1]",
     [[200, 3], [0.75, 1.0, 1.25]]),
    ("f.elem_lists[0].normal_index, f.elem_lists[0].vars[1].undefined_value", [4, 2.0 ** 100]),
    ("[(r.elem_type.name, r.count) for r in f.elem_lists[0].records]",
     [["OXR_ELEM_TRILIST", 2], ["OXR_ELEM_POLYGONS", 2], ["OXR_ELEM_HEXLIST", 1]]),
    ("f.elem_lists[0].records[1].connectivity, f.elem_lists[0].records[1].ids",
     [[4, 0, 1, 2, 3, 3, 4, 5, 6], [102, 103]]),
    ("f.elem_lists[0].records[2].connectivity.shape", [1, 8]),
    ("list(f.elem_lists[0].records[0].values)", [[5, 6], [[1, 2, 3], [4, 5, 6]]]),
    ("f.variables[0].name, f.variables[0].description, f.variables[0].minimum, f.variables[0].maximum",
     ["p", "pressure", -1.0, 2.0]),
    ("f.variables[1].kind.name, f.variables[1].centering.name, f.variables[1].maximum",
     ["OXR_VAR_VECTOR", "OXR_CENTER_ELEMENT", [1, 2, 3]]),
    ("f.variables[0].palette.name, f.variables[0].palette.max_value, f.variables[0].palette.channels",
     ["cool", 2.0, [[[0, 1], [0, 1]], [[0.5], [0.25]], [[], []], [[0, 1], [1, 1]]]]),
    ("f.vports[0].parts, f.aplanes[0].annots, f.annots[0].queries", [[0], [0], [0]]),
    ("f.annots[0].annot_type, f.annots[0].mono_image, f.annots[0].stereo_image", [10, 0, -1]),
    ("f.images[0].pixels, f.images[0].depth.shape", [PIXELS.tolist(), [2, 3]]),
    ("f.images[1].pixel_format.name, f.images[1].pixels, f.images[1].depth",
     ["OXR_IMG_FMT_L", [[7, 7]], None]),
    ("f.queries[0].name, f.queries[0].x_label", ["q" * 64, "t"]),
    ("f.notes[0].text, f.notes[0].length", ["a note", 6]),
    # tagged attributes of the eight owner kinds
    ("f.parts[0].attrs", {"OXR_PART_PLANECLIP_SAMPLES": [4, 5], "OXR_PART_CONTOUR_NUMLEVELS": 3,
                        "OXR_PART_CONTOUR_LEVELS": [1, 2, 3]}),
    ("f.rend_attrs[0].attrs", {"OXR_RENDATTR_ISVISIBLE": True, "OXR_RENDATTR_RGBA2D": [1, 0, 0, 1],
                             "OXR_RENDATTR_SHADETYPE2D": None, "OXR_RENDATTR_NUMINSTANCE": 2,
                             "OXR_RENDATTR_INSTANCE": np.eye(4)[None].repeat(2, 0).tolist()}),
    ("f.vports[0].attrs", {"OXR_VPORT_PROJTYPE": 20, "OXR_VPORT_AXISFONTFAMILY": "Helvetica",
                         "OXR_VPORT_ROTMAT": np.eye(4).ravel().tolist()}),
    ("f.aplanes[0].attrs", {"OXR_APLANE_TYPE": 1, "OXR_APLANE_CENTER": [0, 0.5, 0]}),
    ("f.annots[0].attrs", {"OXR_ANNOT_TEXT_RGB": [1, 1, 0], "OXR_ANNOT_TEXT_STRLEN": 5,
                         "OXR_ANNOT_TEXT_STRING": "hello"}),
    ("f.images[0].attrs, f.images[1].attrs", [{"OXR_IMAGE_U_X0Y0X1Y1": [0, 0, 2, 3]}, {}]),
    ("f.geoms[0].attrs", {"OXR_GEOM_POLYORDER": 20}),
    ("f.notes[0].attrs", {}),
    ("f.rend_attrs[0].attrs.raw['OXR_RENDATTR_SHADETYPE2D']", [1499]),
]
FAMILIES = ["scenes", "part_sources", "annot_sources", "vport_sources", "parts", "reps",
            "rend_attrs", "geoms", "node_sets", "elem_lists", "variables", "vports", "aplanes",
            "annots", "images", "queries", "notes"]


@pytest.mark.parametrize("expr,expected", READS, ids=[r[0][2:42] for r in READS])
def test_written_records_read_back(written, expr, expected):
    with oxm.open(written) as f:
        got = eval(expr, {"f": f, "FAMILIES": FAMILIES})
        assert plain(got) == expected


AGREE = [  # _oxm method and arguments, its key, the oxm expression of the same value
    ("sceneInfo", (0,), "name", "f.scenes[0].name"),
    ("sceneInfo", (0,), "nVports", "f.scenes[0].n_vports"),
    ("partSrcSteps", (0,), "stepvals", "f.part_sources[0].step_values"),
    ("partInfo", (0,), "partTypeString", "f.parts[0].part_type.name"),
    ("repGeoms", (0,), "indexes", "f.reps[0].geoms"),
    ("geomExtents", (0,), "maxValues", "f.geoms[0].maximum"),
    ("nodeInfo", (0,), "coords", "f.node_sets[0].coords"),
    ("nodeVarValues", (0, 1), "varValues", "f.node_sets[0].vars[1].values"),
    ("elemInfo", (0, 0), "connectivity", "f.elem_lists[0].records[0].connectivity"),
    ("elemInfo", (0, 2), "ids", "f.elem_lists[0].records[2].ids"),
    ("elemVarValues", (0, 0, 1), "varValues", "f.elem_lists[0].records[0].values[1]"),
    ("varInfo", (0,), "redColors", "f.variables[0].palette.channels[0][1]"),
    ("varInfo", (1,), "max", "f.variables[1].maximum"),
    ("vportIndices", (0,), "partIndexes", "f.vports[0].parts"),
    ("vportAttrs", (0,), None, "dict(f.vports[0].attrs)"),
    ("rendAttrs", (0,), None, "dict(f.rend_attrs[0].attrs)"),
]


def test_oxm_and_the_module_read_the_same(written):
    old = _oxm.oxm(str(written))
    with oxm.open(written) as f:
        for method, args, key, expr in AGREE:
            result = getattr(old, method)(*args)
            assert plain(result if key is None else result[key]) == plain(eval(expr)), method


STORED = {  # path in the h5py dump -> what is stored there
    "/top/Parts/part_0": {"numAttrs": 3, "partName": "plate", "partType": 2},
    "/top/Nodes/nodes_0": {"numNodes": 200, "nodeDimension": 3, "hasNodeIds": 1,
                           "numNodalVars": 2},
    "/top/Nodes/nodes_0/coords.dtype": "float32",
    "/top/Nodes/nodes_0/coords.chunks": [600],
    "/top/Nodes/nodes_0/coords.filters": ["shuffle", "deflate"],
    "/top/Nodes/nodes_0/ids": list(range(11, 211)),
    "/top/ElemLists/elemlist_0/elem_1/conn": [4, 0, 1, 2, 3, 3, 4, 5, 6],
    "/top/Annots/annot_0/attrTags": [6103, 6001, 6200],
    "/top/Annots/annot_0/cvals": [104, 101, 108, 108, 111, 0],
    "/top/Images/image_0/pixels": PIXELS.ravel().tolist(),
    "/top/Scenes/scene_0/views/view_0/vport_0/stepNums": [2, 2, 2],
}


def flat_dump(path):
    out = {}
    for key, entry in h5dump(path).items():
        if entry["type"] == "group":
            out[key] = {k: a.get("text", a["value"]) for k, a in entry["attrs"].items()}
        else:
            out[key] = entry["value"]
            for field in ("dtype", "chunks", "filters"):
                out[f"{key}.{field}"] = entry[field]
    return out


def test_layout_seen_by_h5py(written):
    dump = flat_dump(written)
    for path, want in STORED.items():
        got = dump[path]
        assert ({k: got[k] for k in want} if isinstance(want, dict) else got) == want, path


@pytest.mark.parametrize("compression,filters", [(None, None), ("deflate", ["shuffle", "deflate"])])
def test_compression_choice(tmp_path, compression, filters):
    with oxm.create(tmp_path / "c.h5", compression=compression) as w:
        w.node_set(coords=COORDS)
    dump = flat_dump(tmp_path / "c.h5")
    assert (dump["/top/Nodes/nodes_0/coords.filters"] or None) == filters


def test_append_continues_each_family(tmp_path):
    path = tmp_path / "a.h5"
    with oxm.create(path) as w:
        w.part(name="a")
        w.scene(name="s")
        w.scene_part(0, name="p")
    with oxm.create(path, append=True) as w:
        assert (w.part(name="b"), w.scene_part(0, name="q"), w.note(text="n")) == (1, 1, 0)
    with oxm.open(path) as f:
        assert [p.name for p in f.parts] == ["a", "b"]
        assert [p.name for p in f.scenes[0].parts] == ["p", "q"]
