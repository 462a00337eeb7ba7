"""Scenes with their part, annotation, viewport, annotation-plane and view
sub-records."""
import ctypes
from ctypes import POINTER, c_char_p, c_float, c_int

import pytest

from scnlib import HandleP, close, h5build, h5dump, int_attr, ints, lib, open_read, \
    open_write, text_attr

IP, FP, H = POINTER(c_int), POINTER(c_float), HandleP
lib.declare("scn_write_scene", c_int, H, c_int, c_char_p, *[c_int] * 6, c_float)
lib.declare("scn_write_scene_part", c_int, H, c_int, c_int, c_char_p, c_char_p, c_int, IP, IP)
lib.declare("scn_write_scene_annot", c_int, H, c_int, c_int, c_int, IP, IP)
lib.declare("scn_write_scene_vport", c_int, H, c_int, c_int, c_int, c_int, IP, IP, IP)
lib.declare("scn_write_scene_aplane", c_int, H, c_int, c_int, c_int, c_int, IP)
lib.declare("scn_write_scene_view", c_int, H, c_int, c_int, c_char_p)
lib.declare("scn_write_scene_view_vport", c_int, H, c_int, c_int, c_int, c_int, IP, IP)
lib.declare("scn_read_scene_info", c_int, H, c_int, c_char_p, *[IP] * 11, FP)
lib.declare("scn_read_scene_part_info", c_int, H, c_int, c_int, c_char_p, c_char_p, IP)
for _name in ("part_frame", "annot_frame", "vport_frame", "vport_info", "aplane_info"):
    lib.declare(f"scn_read_scene_{_name}", c_int, H, c_int, c_int, IP, IP)
for _name in ("annot_info", "vport_indices", "aplane_indices"):
    lib.declare(f"scn_read_scene_{_name}", c_int, H, c_int, c_int, IP)
lib.declare("scn_read_scene_view_info", c_int, H, c_int, c_int, c_char_p)
lib.declare("scn_read_scene_view_vport_info", c_int, H, c_int, c_int, c_int, IP)
lib.declare("scn_read_scene_view_vport", c_int, H, c_int, c_int, c_int, IP, IP)

GUARD, LONG = -77, 150  # LONG: frames of the compressed arrays
SRC, STEP = [i % 4 for i in range(LONG)], [LONG - i for i in range(LONG)]


def call(name, r, *args, outs=(), arrays=()):
    """Runs a reader with int outputs `outs` (names) and int arrays of the
    given capacities (each one slot larger, filled with GUARD); returns the
    status and the values read."""
    scalars = [c_int(GUARD) for _ in outs]
    bufs = [ints([GUARD] * (n + 1)) for n in arrays]
    status = getattr(lib, name)(r, *args, *scalars, *bufs)
    return (status, *[s.value for s in scalars], *[list(x) for x in bufs])


def scene_info(r, index):
    name, counts, fps = ctypes.create_string_buffer(256), [c_int(GUARD) for _ in range(11)], \
        c_float()
    status = lib.scn_read_scene_info(r, index, name, *counts, fps)
    return status, name.raw, [c.value for c in counts], fps.value


# (reader, index arguments, output names, array capacities, expected result)
ROUND_TRIP = [
    ("scn_read_scene_part_info", (0, 0, None, None), ("nFrames",), (), (0, LONG)),
    ("scn_read_scene_part_frame", (0, 0), (), (LONG, LONG), (0, SRC + [GUARD], STEP + [GUARD])),
    ("scn_read_scene_part_info", (0, 1, None, None), ("nFrames",), (), (0, 0)),
    ("scn_read_scene_annot_info", (0, 0), ("nFrames",), (), (0, 2)),
    ("scn_read_scene_annot_frame", (0, 0), (), (2, 2), (0, [3, 1, GUARD], [0, 9, GUARD])),
    ("scn_read_scene_vport_info", (0, 0), ("nFrames", "nParts"), (), (0, LONG, 3)),
    ("scn_read_scene_vport_indices", (0, 0), (), (3,), (0, [0, 1, 2, GUARD])),
    ("scn_read_scene_vport_frame", (0, 0), (), (LONG, LONG), (0, SRC + [GUARD], STEP + [GUARD])),
    ("scn_read_scene_vport_info", (0, 1), ("nFrames", "nParts"), (), (0, 2, 0)),
    ("scn_read_scene_vport_frame", (0, 1), (), (2, 2), (0, [1, 1, GUARD], [2, 3, GUARD])),
    ("scn_read_scene_aplane_info", (0, 0), ("aplaneIndex", "nAnnots"), (), (0, 4, 2)),
    ("scn_read_scene_aplane_indices", (0, 0), (), (2,), (0, [1, 0, GUARD])),
    ("scn_read_scene_aplane_info", (0, 1), ("aplaneIndex", "nAnnots"), (), (0, 5, 0)),
    ("scn_read_scene_view_vport_info", (0, 0, 1), ("nFrames",), (), (0, 2)),
    ("scn_read_scene_view_vport", (0, 0, 1), (), (2, 2), (0, [6, 7, GUARD], [8, 9, GUARD])),
]


def sig(entry):
    """Names, dtypes and shapes of a group's attributes, or a dataset's."""
    if entry.get("type") == "dataset":
        return f"{entry['dtype']}{entry['shape']}"
    return " ".join(f"{k}:{a['dtype']}{a['shape']}" for k, a in sorted(entry["attrs"].items()))


SCENE = ("endFrame:int32[] fps:float32[] loopMode:int32[] nAnnots:int32[] nAplanes:int32[] "
         "nFrames:int32[] nParts:int32[] nViews:int32[] nVports:int32[] runMode:int32[] "
         "sceneName:int8[256] startFrame:int32[] stride:int32[]")


def test_round_trip_and_layout(tmp_path, c_out):
    p = tmp_path / "scene.h5"
    h = open_write(p)
    assert lib.scn_write_scene(h, 0, b"flight", LONG, 1, 149, 2, 1, 2, 24.5) == 0
    assert lib.scn_write_scene(h, 1, None, 3, 0, 2, 1, 0, 0, 0.0) == 0
    assert lib.scn_write_scene_part(h, 0, 0, b"wing", b"left wing", LONG, ints(SRC),
                                    ints(STEP)) == 0
    assert lib.scn_write_scene_part(h, 0, 1, b"tail", b"", 0, None, None) == 0
    assert lib.scn_write_scene_annot(h, 0, 0, 2, ints([3, 1]), ints([0, 9])) == 0
    assert lib.scn_write_scene_vport(h, 0, 0, LONG, 3, ints([0, 1, 2]), ints(SRC),
                                     ints(STEP)) == 0
    assert lib.scn_write_scene_vport(h, 0, 1, 2, 0, None, ints([1, 1]), ints([2, 3])) == 0
    assert lib.scn_write_scene_aplane(h, 0, 0, 4, 2, ints([1, 0])) == 0
    assert lib.scn_write_scene_aplane(h, 0, 1, 5, 0, None) == 0
    assert lib.scn_write_scene_view(h, 0, 0, b"front") == 0
    assert lib.scn_write_scene_view(h, 0, -1, b"side") == 0
    assert lib.scn_write_scene_view_vport(h, 0, 0, 1, 2, ints([6, 7]), ints([8, 9])) == 0
    assert close(h) == 0

    r = open_read(p)
    assert lib.scn_read_scene_num(r) == 2
    # nParts, nAnnots, nVports, nAplanes, nViews, nFrames, start, end, stride, loop, run
    assert scene_info(r, 0) == (0, b"flight".ljust(256, b"\0"),
                                [2, 1, 2, 2, 2, LONG, 1, 149, 2, 1, 2], 24.5)
    assert scene_info(r, 1) == (0, b"\0" * 256, [0] * 5 + [3, 0, 2, 1, 0, 0], 0.0)
    for reader, args, outs, arrays, expected in ROUND_TRIP:
        assert call(reader, r, *args, outs=outs, arrays=arrays) == expected, reader
    name, desc = ctypes.create_string_buffer(256), ctypes.create_string_buffer(256)
    assert lib.scn_read_scene_part_info(r, 0, 0, name, desc, None) == 0
    assert (name.value, desc.value) == (b"wing", b"left wing")
    for view, text in ((0, b"front"), (1, b"side")):
        assert lib.scn_read_scene_view_info(r, 0, view, name) == 0 and name.value == text
    assert lib.scn_read_scene_info(r, 0, *[None] * 13) == 0  # null outputs read nothing
    assert c_out() == ""
    assert call("scn_read_scene_part_frame", r, 0, 1, arrays=(0, 0)) == (1, [GUARD], [GUARD])
    # Index arrays share the messages of their record's info entry.
    assert lib.scn_read_scene_info(r, 4, *[None] * 13) == 1
    assert lib.scn_read_scene_vport_indices(r, 0, 7, None) == 1
    assert lib.scn_read_scene_aplane_indices(r, 0, 7, None) == 1
    assert c_out() == (
        "Error opening dataset: sourceIndices\nError opening dataset: stepNums\n"
        "scn_read_scene_info: error opening group '/top/Scenes/scene_4'\n"
        "scn_read_scene_vport_info: error opening group '/top/Scenes/scene_0/vports/vport_7'\n"
        "scn_read_scene_aplane_info: error opening group '/top/Scenes/scene_0/aplanes/aplane_7'\n")
    assert close(r) == 0

    t = h5dump(p)
    assert t["/top/Scenes"]["attrs"]["nScenes"]["value"] == 2
    s0 = "/top/Scenes/scene_0/"
    assert sig(t[s0[:-1]]) == sig(t["/top/Scenes/scene_1"]) == SCENE
    assert not [k for k in t if k.startswith("/top/Scenes/scene_1/")]
    assert [sig(t[s0 + k]) for k in ("parts", "annots", "vports", "aplanes", "views",
                                     "parts/part_1", "annots/annot_0", "vports/vport_1",
                                     "aplanes/aplane_1", "views/view_1", "views/view_0/vport_0",
                                     "views/view_0/vport_1")] == [""] * 5 + [
        "nFrames:int32[] partDesc:int8[256] partName:int8[256]", "nFrames:int32[]",
        "nFrames:int32[] nParts:int32[]", "aplaneIndex:int32[] nAnnots:int32[]",
        "viewName:int8[256]", "", "nFrames:int32[]"]  # the view copied both viewports
    long, two = f"int32[{LONG}]", "int32[2]"
    assert {k[len(s0):]: sig(e) for k, e in t.items() if k.startswith(s0) and "dtype" in e} == {
        "parts/part_0/sourceIndices": long, "parts/part_0/stepNums": long,
        "annots/annot_0/sourceIndices": two, "annots/annot_0/stepNums": two,
        "vports/vport_0/partIndices": "int32[3]", "vports/vport_0/sourceIndices": long,
        "vports/vport_0/stepNums": long, "vports/vport_1/sourceIndices": two,
        "vports/vport_1/stepNums": two, "aplanes/aplane_0/annotIndices": two,
        "views/view_0/vport_1/stepNums": two, "views/view_0/vport_1/vsrcIndices": two}
    assert t[s0 + "views/view_1"]["attrs"]["viewName"]["value"] == list(b"side") + [0] * 252
    for name in ("sourceIndices", "stepNums", "partIndices"):
        d = t[f"{s0}vports/vport_0/{name}"]
        assert (d["chunks"], d["filters"], d["gzip_level"]) == (
            (None, [], None) if name == "partIndices" else ([LONG], ["shuffle", "deflate"], 9))


def test_views_rewrites_and_refusals(tmp_path, c_out):
    h = open_write(None)
    assert lib.scn_write_scene(h, 0, b"s", 1, 0, 0, 1, 0, 0, 1.0) == 1
    assert c_out() == "scn_write_scene: error creating Scenes group\n"
    assert close(h) == 0
    p = tmp_path / "v.h5"
    h = open_write(p)
    assert lib.scn_write_scene(h, 0, b"s", 1, 0, 0, 1, 0, 0, 1.0) == 0
    for v in range(4):
        assert lib.scn_write_scene_vport(h, 0, v, 0, 0, None, None, None) == 0
    assert lib.scn_write_scene_view(h, 0, 0, b"a") == 0
    assert lib.scn_write_scene_view(h, 0, 1, b"b") == 0
    assert lib.scn_write_scene_view(h, 0, -1, b"c") == 0  # takes "nViews"
    assert c_out() == ""
    # Rewriting a view renames it but reports each viewport it already has.
    assert lib.scn_write_scene_view(h, 0, 0, b"renamed") == 1
    assert c_out() == "scn_write_scene_view: error creating vport_n group\n" * 4
    # Sub-records of a scene, or view viewports, that were never written.
    assert lib.scn_write_scene_part(h, 3, 0, b"p", b"d", 1, ints([0]), ints([0])) == 1
    assert lib.scn_write_scene_view(h, 3, 0, b"v") == 1
    assert lib.scn_write_scene_view(h, 3, -1, b"v") == 1
    assert c_out() == ("scn_write_scene_part: error scene_3 group does not exist\n"
                       + "scn_write_scene_view: error scene_3 group does not exist\n" * 2)
    for scene, view, vport in ((0, 2, 4), (3, 0, 0)):
        assert lib.scn_write_scene_view_vport(h, scene, view, vport, 1, ints([1]), ints([1])) == 1
        assert c_out() == (f"scn_write_scene_view_vport: error scene_{scene}/views/view_{view}/"
                           f"vport_{vport} group does not exist\n")
    # Rewriting the scene keeps its sub-records and their counters.
    assert lib.scn_write_scene(h, 0, b"again", 5, 0, 4, 1, 0, 1, 10.0) == 0
    assert close(h) == 0
    t = h5dump(p)
    scene = {k: a["value"] for k, a in t["/top/Scenes/scene_0"]["attrs"].items()}
    assert [scene[k] for k in ("nVports", "nViews", "nFrames", "runMode")] == [4, 3, 5, 1]
    assert not [k for k in t if k.startswith("/top/Scenes/scene_3")]
    assert sorted(k for k in t if k.startswith("/top/Scenes/scene_0/views/view_2/")) == \
        [f"/top/Scenes/scene_0/views/view_2/vport_{v}" for v in range(4)]
    assert [t[f"/top/Scenes/scene_0/views/view_{w}"]["attrs"]["viewName"]["text"]
            for w in range(3)] == ["renamed", "b", "c"]


def scene_tree(version, scene_attrs):
    return {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                               "scn_file_version": text_attr(version)}},
            "/top/Scenes": {"attrs": {"nScenes": int_attr(1)}},
            "/top/Scenes/scene_0": {"attrs": {k: int_attr(v) for k, v in scene_attrs.items()}}}


FULL = {"nParts": 1, "nAnnots": 2, "nVports": 3, "nAplanes": 4, "nViews": 5, "nFrames": 6,
        "startFrame": 7, "endFrame": 8, "stride": 9, "loopMode": 1}


# (file version, scene attributes, status, counters read, message); runMode
# is absent throughout and reads as 0 without a word.
@pytest.mark.parametrize("version,scene_attrs,status,expected,message", [
    ("1.03", FULL, 0, [1, 2, 3, 4, 0, 6, 7, 8, 9, 1, 0], ""),
    ("1.04", FULL, 0, [1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 0], ""),
    ("2.00", {k: v for k, v in FULL.items() if k not in ("nAnnots", "stride")}, 1,
     [1, 0, 3, 4, 5, 6, 7, 8, GUARD, 1, 0],
     "Error opening group for attribute: sceneName\nError opening group for attribute: nAnnots\n"
     "Error opening group for attribute: stride\n"),
])
def test_scene_info_of_older_files(tmp_path, c_out, version, scene_attrs, status, expected,
                                   message):
    p = tmp_path / "old.h5"
    tree = scene_tree(version, scene_attrs)
    if status == 0:
        tree["/top/Scenes/scene_0"]["attrs"]["sceneName"] = text_attr("old")
    tree["/top/Scenes/scene_0"]["attrs"]["fps"] = {"dtype": "float32", "value": 2.5}
    h5build(p, tree)
    r = open_read(p)
    assert lib.scn_read_scene_num(r) == 1
    got_status, _, counts, fps = scene_info(r, 0)
    assert (got_status, counts, fps) == (status, expected, 2.5)
    assert c_out() == message
    assert close(r) == 0


def refused_reads(*names):
    return "".join(f"Error reading dataset: {name}\n" for name in names)


# Malformed files: no array may be read past the count its record announces.
@pytest.mark.parametrize("record,counts,arrays,reader,args,message", [
    ("parts/part_0", {"nFrames": 2}, ("sourceIndices", "stepNums"),
     "scn_read_scene_part_frame", (0, 0), refused_reads("sourceIndices", "stepNums")),
    ("annots/annot_0", {"nFrames": -1}, ("sourceIndices", "stepNums"),
     "scn_read_scene_annot_frame", (0, 0), refused_reads("sourceIndices", "stepNums")),
    ("vports/vport_0", {"nParts": 2, "nFrames": 9}, ("partIndices",),
     "scn_read_scene_vport_indices", (0, 0), refused_reads("partIndices")),
    # nFrames missing: the attribute reader reports it for each array.
    ("vports/vport_0", {"nParts": 9}, ("sourceIndices", "stepNums"),
     "scn_read_scene_vport_frame", (0, 0), "Error opening group for attribute: nFrames\n" * 2),
    ("aplanes/aplane_0", {"nAnnots": 2}, ("annotIndices",),
     "scn_read_scene_aplane_indices", (0, 0), refused_reads("annotIndices")),
    ("views/view_0/vport_0", {"nFrames": 2}, ("vsrcIndices", "stepNums"),
     "scn_read_scene_view_vport", (0, 0, 0), refused_reads("vsrcIndices", "stepNums")),
])
def test_malformed_arrays_do_not_overrun(tmp_path, c_out, record, counts, arrays, reader, args,
                                         message):
    p = tmp_path / "bad.h5"
    tree = scene_tree("2.00", {})
    tree[f"/top/Scenes/scene_0/{record}"] = {"attrs": {k: int_attr(v) for k, v in counts.items()}}
    for name in arrays:
        tree[f"/top/Scenes/scene_0/{record}/{name}"] = {"type": "dataset", "dtype": "int32",
                                                       "value": [3] * 5}
    h5build(p, tree)
    r = open_read(p)
    assert call(reader, r, *args, arrays=[2] * len(arrays)) == \
        (1, *[[GUARD] * 3 for _ in arrays])
    assert c_out() == message
    assert close(r) == 0
