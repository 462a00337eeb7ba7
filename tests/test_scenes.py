"""Scenes with their part, annotation, viewport, annotation-plane and view
sub-records."""
import ctypes
from ctypes import POINTER, c_char_p, c_float, c_int

import pytest

from scnlib import HandleP, close, h5build, h5dump, int_attr, ints, lib, open_read, \
    open_write, text_attr

IP, FP = POINTER(c_int), POINTER(c_float)
H = HandleP
lib.declare("scn_write_scene", c_int, H, c_int, c_char_p, *[c_int] * 6, c_float)
lib.declare("scn_write_scene_part", c_int, H, c_int, c_int, c_char_p, c_char_p, c_int, IP, IP)
lib.declare("scn_write_scene_annot", c_int, H, c_int, c_int, c_int, IP, IP)
lib.declare("scn_write_scene_vport", c_int, H, c_int, c_int, c_int, c_int, IP, IP, IP)
lib.declare("scn_write_scene_aplane", c_int, H, c_int, c_int, c_int, c_int, IP)
lib.declare("scn_write_scene_view", c_int, H, c_int, c_int, c_char_p)
lib.declare("scn_write_scene_view_vport", c_int, H, c_int, c_int, c_int, c_int, IP, IP)
lib.declare("scn_read_scene_info", c_int, H, c_int, c_char_p, *[IP] * 11, FP)
lib.declare("scn_read_scene_part_info", c_int, H, c_int, c_int, c_char_p, c_char_p, IP)
lib.declare("scn_read_scene_part_frame", c_int, H, c_int, c_int, IP, IP)
lib.declare("scn_read_scene_annot_info", c_int, H, c_int, c_int, IP)
lib.declare("scn_read_scene_annot_frame", c_int, H, c_int, c_int, IP, IP)
lib.declare("scn_read_scene_vport_info", c_int, H, c_int, c_int, IP, IP)
lib.declare("scn_read_scene_vport_indices", c_int, H, c_int, c_int, IP)
lib.declare("scn_read_scene_vport_frame", c_int, H, c_int, c_int, IP, IP)
lib.declare("scn_read_scene_aplane_info", c_int, H, c_int, c_int, IP, IP)
lib.declare("scn_read_scene_aplane_indices", c_int, H, c_int, c_int, IP)
lib.declare("scn_read_scene_view_info", c_int, H, c_int, c_int, c_char_p)
lib.declare("scn_read_scene_view_vport_info", c_int, H, c_int, c_int, c_int, IP)
lib.declare("scn_read_scene_view_vport", c_int, H, c_int, c_int, c_int, IP, IP)

GUARD = -77
LONG = 150  # frames of the compressed arrays
SRC, STEP = [i % 4 for i in range(LONG)], [LONG - i for i in range(LONG)]


def top(version="2.00"):
    return {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                               "scn_file_version": text_attr(version)}}}


def call(name, r, *args, outs=(), arrays=()):
    """Runs a reader with int outputs `outs` (names) and int arrays of the
    given capacities (each one slot larger, filled with GUARD); returns the
    status and the values read."""
    scalars = [c_int(GUARD) for _ in outs]
    bufs = [ints([GUARD] * (n + 1)) for n in arrays]
    status = getattr(lib, name)(r, *args, *scalars, *bufs)
    return (status, *[s.value for s in scalars], *[list(x) for x in bufs])


@pytest.fixture
def scene_file(tmp_path):
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
    return p


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


def test_round_trip(scene_file, c_out):
    r = open_read(scene_file)
    assert lib.scn_read_scene_num(r) == 2
    name = ctypes.create_string_buffer(256)
    counts = [c_int(GUARD) for _ in range(11)]
    fps = c_float()
    assert lib.scn_read_scene_info(r, 0, name, *counts, fps) == 0
    # nParts, nAnnots, nVports, nAplanes, nViews, nFrames, start, end, stride, loop, run
    assert (name.value, [c.value for c in counts], fps.value) == \
        (b"flight", [2, 1, 2, 2, 2, LONG, 1, 149, 2, 1, 2], 24.5)
    assert lib.scn_read_scene_info(r, 1, name, *counts, fps) == 0
    assert (name.raw, [c.value for c in counts]) == (b"\0" * 256, [0] * 5 + [3, 0, 2, 1, 0, 0])

    for reader, args, outs, arrays, expected in ROUND_TRIP:
        assert call(reader, r, *args, outs=outs, arrays=arrays) == expected, reader
    desc = ctypes.create_string_buffer(256)
    assert lib.scn_read_scene_part_info(r, 0, 0, name, desc, None) == 0
    assert (name.value, desc.value) == (b"wing", b"left wing")
    for view, text in ((0, b"front"), (1, b"side")):
        assert lib.scn_read_scene_view_info(r, 0, view, name) == 0 and name.value == text
    assert c_out() == ""
    assert close(r) == 0


def attrs(entry):
    return {k: a["value"] for k, a in entry["attrs"].items()}


def test_layout(scene_file):
    t = h5dump(scene_file)
    assert attrs(t["/top/Scenes"]) == {"nScenes": 2}
    scene = t["/top/Scenes/scene_0"]["attrs"]
    assert {k: a["dtype"] for k, a in scene.items()} == {
        **{k: "int32" for k in ("nParts", "nAnnots", "nVports", "nAplanes", "nViews", "nFrames",
                                "startFrame", "endFrame", "stride", "loopMode", "runMode")},
        "sceneName": "int8", "fps": "float32"}
    assert (scene["sceneName"]["shape"], scene["sceneName"]["text"]) == ([256], "flight")
    for sub in ("parts", "annots", "vports", "aplanes", "views"):
        assert t[f"/top/Scenes/scene_0/{sub}"]["attrs"] == {}
    assert "/top/Scenes/scene_1/parts" not in t
    part = t["/top/Scenes/scene_0/parts/part_1"]
    assert {k: a["text"] if "text" in a else a["value"] for k, a in part["attrs"].items()} == \
        {"partName": "tail", "partDesc": "", "nFrames": 0}
    assert not [k for k in t if k.startswith("/top/Scenes/scene_0/parts/part_1/")]
    assert attrs(t["/top/Scenes/scene_0/aplanes/aplane_0"]) == {"aplaneIndex": 4, "nAnnots": 2}
    assert attrs(t["/top/Scenes/scene_0/views/view_1"]) == {"viewName": list(b"side") + [0] * 252}
    # The view copied the scene's two viewports; only vport_1 was filled in.
    assert [k for k in t if k.startswith("/top/Scenes/scene_0/views/view_0/")] == \
        ["/top/Scenes/scene_0/views/view_0/vport_0", "/top/Scenes/scene_0/views/view_0/vport_1",
         "/top/Scenes/scene_0/views/view_0/vport_1/stepNums",
         "/top/Scenes/scene_0/views/view_0/vport_1/vsrcIndices"]
    assert t["/top/Scenes/scene_0/views/view_0/vport_0"]["attrs"] == {}
    vport = "/top/Scenes/scene_0/vports/vport_0/"
    for name in ("sourceIndices", "stepNums"):
        d = t[vport + name]
        assert (d["dtype"], d["chunks"], d["filters"], d["gzip_level"]) == \
            ("int32", [LONG], ["shuffle", "deflate"], 9)
    assert (t[vport + "partIndices"]["chunks"], t[vport + "partIndices"]["filters"]) == (None, [])


def test_views(tmp_path, c_out):
    p = tmp_path / "v.h5"
    h = open_write(p)
    assert lib.scn_write_scene(h, 0, b"s", 1, 0, 0, 1, 0, 0, 1.0) == 0
    for v in range(4):
        assert lib.scn_write_scene_vport(h, 0, v, 0, 0, None, None, None) == 0
    assert lib.scn_write_scene_view(h, 0, 0, b"a") == 0
    assert lib.scn_write_scene_view(h, 0, 1, b"b") == 0
    assert lib.scn_write_scene_view(h, 0, -1, b"c") == 0
    assert c_out() == ""
    # Rewriting a view renames it but reports each viewport it already has.
    assert lib.scn_write_scene_view(h, 0, 0, b"renamed") == 1
    assert c_out() == "scn_write_scene_view: error creating vport_n group\n" * 4
    assert lib.scn_write_scene_view_vport(h, 0, 2, 4, 1, ints([1]), ints([1])) == 1
    assert c_out() == ("scn_write_scene_view_vport: error scene_0/views/view_2/vport_4 group "
                       "does not exist\n")
    assert close(h) == 0
    t = h5dump(p)
    assert t["/top/Scenes/scene_0"]["attrs"]["nViews"]["value"] == 3
    assert t["/top/Scenes/scene_0/views/view_0"]["attrs"]["viewName"]["text"] == "renamed"
    assert t["/top/Scenes/scene_0/views/view_2"]["attrs"]["viewName"]["text"] == "c"
    assert sorted(k for k in t if k.startswith("/top/Scenes/scene_0/views/view_2/")) == \
        [f"/top/Scenes/scene_0/views/view_2/vport_{v}" for v in range(4)]


def test_rewritten_scene_keeps_its_sub_records(scene_file):
    h = open_write(scene_file, append=1)
    assert lib.scn_write_scene(h, 0, b"again", 5, 0, 4, 1, 0, 1, 10.0) == 0
    assert close(h) == 0
    t = h5dump(scene_file)
    assert attrs(t["/top/Scenes"]) == {"nScenes": 2}
    scene = attrs(t["/top/Scenes/scene_0"])
    assert [scene[k] for k in ("nParts", "nAnnots", "nVports", "nAplanes", "nViews",
                               "nFrames", "runMode")] == [2, 1, 2, 2, 2, 5, 1]
    assert "/top/Scenes/scene_0/parts/part_0/stepNums" in t


# (writer call, message) for sub-records of a scene that was never written
MISSING_SCENE = [
    (lambda h: lib.scn_write_scene_part(h, 3, 0, b"p", b"d", 1, ints([0]), ints([0])),
     "scn_write_scene_part: error scene_3 group does not exist\n"),
    (lambda h: lib.scn_write_scene_annot(h, 3, 0, 0, None, None),
     "scn_write_scene_annot: error scene_3 group does not exist\n"),
    (lambda h: lib.scn_write_scene_vport(h, 3, 0, 0, 0, None, None, None),
     "scn_write_scene_vport: error scene_3 group does not exist\n"),
    (lambda h: lib.scn_write_scene_aplane(h, 3, 0, 0, 0, None),
     "scn_write_scene_aplane: error scene_3 group does not exist\n"),
    (lambda h: lib.scn_write_scene_view(h, 3, 0, b"v"),
     "scn_write_scene_view: error scene_3 group does not exist\n"),
    (lambda h: lib.scn_write_scene_view(h, 3, -1, b"v"),
     "scn_write_scene_view: error scene_3 group does not exist\n"),
    (lambda h: lib.scn_write_scene_view_vport(h, 3, 0, 0, 0, None, None),
     "scn_write_scene_view_vport: error scene_3/views/view_0/vport_0 group does not exist\n"),
]


@pytest.mark.parametrize("write,message", MISSING_SCENE)
def test_sub_record_of_missing_scene(tmp_path, c_out, write, message):
    p = tmp_path / "m.h5"
    h = open_write(p)
    assert lib.scn_write_scene(h, 0, b"s", 1, 0, 0, 1, 0, 0, 1.0) == 0
    assert write(h) == 1
    assert c_out() == message
    assert close(h) == 0
    assert [k for k in h5dump(p) if k.startswith("/top/Scenes/")] == ["/top/Scenes/scene_0"]


def test_write_scene_without_file(c_out):
    h = open_write(None)
    assert lib.scn_write_scene(h, 0, b"s", 1, 0, 0, 1, 0, 0, 1.0) == 1
    assert c_out() == "scn_write_scene: error creating Scenes group\n"
    assert close(h) == 0


# (reader call on a file with scene 0 only, message)
MISSING_RECORD = [
    (lambda r: lib.scn_read_scene_info(r, 4, *[None] * 13),
     "scn_read_scene_info: error opening group '/top/Scenes/scene_4'\n"),
    (lambda r: lib.scn_read_scene_part_frame(r, 0, 2, None, None),
     "scn_read_scene_part_frame: error opening group '/top/Scenes/scene_0/parts/part_2'\n"),
    (lambda r: lib.scn_read_scene_vport_indices(r, 0, 7, None),
     "scn_read_scene_vport_info: error opening group '/top/Scenes/scene_0/vports/vport_7'\n"),
    (lambda r: lib.scn_read_scene_aplane_indices(r, 0, 7, None),
     "scn_read_scene_aplane_info: error opening group '/top/Scenes/scene_0/aplanes/aplane_7'\n"),
    (lambda r: lib.scn_read_scene_view_vport(r, 0, 0, 2, None, None),
     "scn_read_scene_view_vport: error opening group "
     "'/top/Scenes/scene_0/views/view_0/vport_2'\n"),
]


@pytest.mark.parametrize("read,message", MISSING_RECORD)
def test_reading_missing_records(scene_file, c_out, read, message):
    r = open_read(scene_file)
    assert read(r) == 1
    assert c_out() == message
    assert close(r) == 0


def test_null_outputs_and_empty_arrays(scene_file, c_out):
    r = open_read(scene_file)
    assert lib.scn_read_scene_annot_info(r, 0, 0, None) == 0
    assert lib.scn_read_scene_info(r, 0, *[None] * 13) == 0
    assert c_out() == ""
    assert call("scn_read_scene_part_frame", r, 0, 1, arrays=(0, 0)) == (1, [GUARD], [GUARD])
    assert c_out() == "Error opening dataset: sourceIndices\nError opening dataset: stepNums\n"
    assert close(r) == 0


def scene_tree(version, scene_attrs):
    return {**top(version), "/top/Scenes": {"attrs": {"nScenes": int_attr(1)}},
            "/top/Scenes/scene_0": {"attrs": {k: int_attr(v) for k, v in scene_attrs.items()}}}


FULL = {"nParts": 1, "nAnnots": 2, "nVports": 3, "nAplanes": 4, "nViews": 5, "nFrames": 6,
        "startFrame": 7, "endFrame": 8, "stride": 9, "loopMode": 1}


# (file version, scene attributes, status, counters read, message); runMode
# is absent throughout and reads as 0 without a word.
@pytest.mark.parametrize("version,scene_attrs,status,expected,message", [
    ("1.03", FULL, 0, [1, 2, 3, 4, 0, 6, 7, 8, 9, 1, 0], ""),
    ("1.04", FULL, 0, [1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 0], ""),
    ("2.00", FULL, 0, [1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 0], ""),
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
    name, counts, fps = ctypes.create_string_buffer(256), [c_int(GUARD) for _ in range(11)], \
        c_float()
    assert lib.scn_read_scene_info(r, 0, name, *counts, fps) == status
    assert ([c.value for c in counts], fps.value) == (expected, 2.5)
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
