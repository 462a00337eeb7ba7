"""Variable records, extents and palettes, and the component count of each
variable kind as the value writers apply it."""
import ctypes

import numpy as np
import pytest

from geomlib import (COMPLEX_SCALAR, COMPLEX_VECTOR, NORMALIZED_VECTOR, PER_PART_CONSTANT,
                     SCALAR, VECTOR, CENTER_ELEMENT, fptr, iptr, out_floats, out_ints,
                     write_var)
from scnlib import close, h5build, h5dump, int_attr, lib, open_read, open_write, text_attr


def top(version="2.00"):
    return {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                               "scn_file_version": text_attr(version)}}}


# ---- component count ------------------------------------------------------

COMPONENTS = [(SCALAR, 1), (VECTOR, 3), (NORMALIZED_VECTOR, 3), (COMPLEX_SCALAR, 2),
              (COMPLEX_VECTOR, 6), (PER_PART_CONSTANT, 0), (3106, 0), (0, 0)]


def write_values(h, holder, var_index, count):
    """Writes `count` values of variable var_index through the node writer
    (holder "nodes") or the element writer (holder "elems")."""
    vals = np.arange(6 * count, dtype=np.float32)
    if holder == "nodes":
        lib.scn_write_nodes(h, 0, count, 3, 0, 1, 0, fptr(np.zeros(3 * count, np.float32)), None)
        return lib.scn_write_nodes_var(h, 0, 0, var_index, count, 0, 0.0, fptr(vals))
    lib.scn_write_elem_list(h, 0, 1, 1, 0, 0)
    lib.scn_write_elem(h, 0, 0, 2000, count, count, iptr(np.arange(count, dtype=np.int32)), None)
    return lib.scn_write_elem_var(h, 0, 0, 0, var_index, count, fptr(vals))


@pytest.mark.parametrize("holder,vals_path", [("nodes", "/top/Nodes/nodes_0/var_0/vals"),
                                              ("elems", "/top/ElemLists/elemlist_0/elem_0/var_0/vals")])
@pytest.mark.parametrize("kind,components", COMPONENTS)
def test_value_writers_store_component_count_floats_per_value(tmp_path, c_out, holder, vals_path,
                                                              kind, components):
    path = tmp_path / "c.h5"
    h = open_write(path)
    assert write_var(h, 2, kind) == 0
    assert write_values(h, holder, 2, 4) == 0
    close(h)
    tree = h5dump(path)
    if components:
        assert tree[vals_path]["shape"] == [4 * components]
        assert tree[vals_path]["value"] == list(range(4 * components))
    else:
        assert vals_path not in tree
    assert tree[vals_path.rsplit("/", 1)[0]]["attrs"]["numValues"]["value"] == 4
    assert c_out() == ""


# ---- variable records -----------------------------------------------------

EXTENTS = [
    # kind, minimum, maximum, stored "extents"
    (SCALAR, [-2.5], [7.0], [-2.5, 7.0]),
    (COMPLEX_SCALAR, [1.0], [2.0], [1.0, 2.0]),
    (VECTOR, [1, 2, 3], None, [1, 2, 3, 0, 0, 0]),
    (NORMALIZED_VECTOR, None, [4, 5, 6], [0, 0, 0, 4, 5, 6]),
    (COMPLEX_VECTOR, [-1, -2, -3], [1, 2, 3], [-1, -2, -3, 1, 2, 3]),
    (PER_PART_CONSTANT, [1, 2, 3], [4, 5, 6], []),
]


@pytest.mark.parametrize("kind,minimum,maximum,stored", EXTENTS)
def test_var_extents_layout_and_round_trip(tmp_path, c_out, kind, minimum, maximum, stored):
    path = tmp_path / "v.h5"
    h = open_write(path)
    assert write_var(h, 0, kind, extents=1, minimum=minimum, maximum=maximum) == 0
    close(h)
    assert h5dump(path)["/top/Vars/var_0/extents"]["value"] == stored

    r = open_read(path)
    mn, mx = out_floats(3), out_floats(3)
    assert lib.scn_read_var_extents(r, 0, fptr(mn), fptr(mx)) == 0
    width = len(stored) // 2
    assert list(mn[:width]) == stored[:width] and list(mx[:width]) == stored[width:]
    assert all(mn[width:] == -77.0) and all(mx[width:] == -77.0)  # untouched
    close(r)
    assert c_out() == ""


def test_var_record_layout(tmp_path):
    path = tmp_path / "v.h5"
    h = open_write(path)
    assert write_var(h, 1, VECTOR, name="velocity", desc="flow velocity",
                     centering=CENTER_ELEMENT, extents=0, palette=1) == 0
    assert write_var(h, 0, SCALAR, name="p") == 0
    close(h)
    tree = h5dump(path)
    assert tree["/top/Vars"]["attrs"]["nVars"]["value"] == 2
    attrs = tree["/top/Vars/var_1"]["attrs"]
    assert (attrs["varName"]["dtype"], attrs["varName"]["shape"]) == ("int8", [64])
    assert (attrs["varDesc"]["dtype"], attrs["varDesc"]["shape"]) == ("int8", [128])
    assert attrs["varName"]["text"] == "velocity" and attrs["varDesc"]["text"] == "flow velocity"
    assert {k: attrs[k]["value"] for k in ("varCentering", "varKind", "extentsProvided",
                                           "paletteProvided")} == {
        "varCentering": 3001, "varKind": 3101, "extentsProvided": 0, "paletteProvided": 1}
    assert all(attrs[k]["dtype"] == "int32" for k in ("varCentering", "varKind"))
    assert "/top/Vars/var_1/extents" not in tree


def test_var_info_round_trip_and_long_texts(tmp_path, c_out):
    path = tmp_path / "v.h5"
    name, desc = "N" * 70, "D" * 127
    h = open_write(path)
    assert write_var(h, 0, COMPLEX_VECTOR, name=name, desc=desc, centering=3002, extents=1,
                     palette=0, minimum=[0, 0, 0], maximum=[1, 1, 1]) == 0
    close(h)
    assert h5dump(path)["/top/Vars/var_0"]["attrs"]["varName"]["value"] == [ord("N")] * 64

    r = open_read(path)
    assert lib.scn_read_var_num(r) == 1
    vname, vdesc = ctypes.create_string_buffer(b"\x01" * 80), ctypes.create_string_buffer(128)
    cen, kind, ext, pal = out_ints(), out_ints(), out_ints(), out_ints()
    assert lib.scn_read_var_info(r, 0, vname, vdesc, iptr(cen), iptr(kind), iptr(ext),
                                 iptr(pal)) == 0
    assert vname.raw[:64] == b"N" * 64 and vname.raw[64:] == b"\x01" * 16 + b"\0"
    assert vdesc.value == desc.encode()
    assert (cen[0], kind[0], ext[0], pal[0]) == (3002, COMPLEX_VECTOR, 1, 0)
    # every output may be skipped
    assert lib.scn_read_var_info(r, 0, None, None, None, None, None, None) == 0
    close(r)
    assert c_out() == ""


def test_counter_counts_new_records_only(tmp_path):
    path = tmp_path / "v.h5"
    h = open_write(path)
    assert write_var(h, 5, SCALAR) == 0
    assert write_var(h, 5, VECTOR) == 0
    close(h)
    tree = h5dump(path)
    assert tree["/top/Vars"]["attrs"]["nVars"]["value"] == 1
    assert tree["/top/Vars/var_5"]["attrs"]["varKind"]["value"] == VECTOR


# ---- palettes -------------------------------------------------------------

def palette_args(name, counts):
    arrays = []
    for c, n in enumerate(counts):
        arrays.append(np.linspace(0, 1, n, dtype=np.float32))
        arrays.append(np.arange(n, dtype=np.float32) + 10 * c)
    return name, arrays


def write_palette(h, index, name, counts, arrays, lo=-1.5, hi=9.0):
    ptrs = [fptr(a) for a in arrays]
    return lib.scn_write_var_palette(h, index, name.encode(), 7, 20, lo, hi, 256, *counts, *ptrs)


def test_palette_layout_and_round_trip(tmp_path, c_out):
    path = tmp_path / "p.h5"
    counts = [3, 2, 150, 0]
    name, arrays = palette_args("A" * 20 + "b" * 20, counts)
    h = open_write(path)
    assert write_var(h, 0, SCALAR, palette=0) == 0
    assert write_palette(h, 0, name, counts, arrays) == 0
    close(h)

    tree = h5dump(path)
    attrs = tree["/top/Vars/var_0"]["attrs"]
    assert attrs["paletteProvided"]["value"] == 1
    assert attrs["paletteName"]["shape"] == [64] and attrs["paletteName"]["text"] == name
    assert {k: attrs[k]["value"] for k in ("paletteInterp", "colorSpace", "nSamples", "nRedOrHue",
                                           "nGrnOrSat", "nBluOrVal", "nAlpha")} == {
        "paletteInterp": 7, "colorSpace": 20, "nSamples": 256, "nRedOrHue": 3, "nGrnOrSat": 2,
        "nBluOrVal": 150, "nAlpha": 0}
    assert (attrs["palMinVal"]["dtype"], attrs["palMinVal"]["value"]) == ("float32", -1.5)
    assert "/top/Vars/var_0/alphaCntl" not in tree and "/top/Vars/var_0/alphaCols" not in tree
    big = tree["/top/Vars/var_0/bluOrValCols"]
    assert (big["chunks"], big["filters"], big["gzip_level"]) == ([150], ["shuffle", "deflate"], 9)
    assert tree["/top/Vars/var_0/redOrHueCntl"]["chunks"] is None

    r = open_read(path)
    pname = ctypes.create_string_buffer(b"\x01" * 40)
    ints = {k: out_ints() for k in ("interp", "space", "samples", "r", "g", "b", "a")}
    lo, hi = out_floats(), out_floats()
    assert lib.scn_read_var_palette_info(
        r, 0, pname, iptr(ints["interp"]), iptr(ints["space"]), fptr(lo), fptr(hi),
        iptr(ints["samples"]), iptr(ints["r"]), iptr(ints["g"]), iptr(ints["b"]),
        iptr(ints["a"])) == 0
    assert pname.raw[:33] == name[:31].encode() + b"\0\x01"  # 32 bytes written
    assert [int(v[0]) for v in ints.values()] == [7, 20, 256, 3, 2, 150, 0]
    assert (lo[0], hi[0]) == (-1.5, 9.0)

    outs = [out_floats(max(n, 1)) for n in counts for _ in (0, 1)]
    assert lib.scn_read_var_palette_colors(r, 0, *[fptr(o) for o in outs]) == 0
    for got, want in zip(outs[:6], arrays[:6]):
        assert np.array_equal(got, want)
    assert outs[6][0] == -77.0 and outs[7][0] == -77.0  # alpha untouched
    close(r)
    assert c_out() == ""


def test_rewriting_a_var_turns_its_palette_off_and_keeps_the_items(tmp_path):
    path = tmp_path / "p.h5"
    name, arrays = palette_args("pal", [2, 2, 2, 2])
    h = open_write(path)
    write_var(h, 0, SCALAR)
    assert write_palette(h, 0, name, [2, 2, 2, 2], arrays) == 0
    assert write_var(h, 0, SCALAR, palette=0) == 0
    close(h)
    tree = h5dump(path)
    assert tree["/top/Vars/var_0"]["attrs"]["paletteProvided"]["value"] == 0
    assert tree["/top/Vars/var_0"]["attrs"]["nAlpha"]["value"] == 2
    assert tree["/top/Vars/var_0/alphaCols"]["value"] == [30.0, 31.0]


def test_palette_for_missing_var_fails(tmp_path, c_out):
    path = tmp_path / "p.h5"
    name, arrays = palette_args("pal", [1, 1, 1, 1])
    h = open_write(path)
    write_var(h, 0, SCALAR)
    assert write_palette(h, 3, name, [1, 1, 1, 1], arrays) == 1
    close(h)
    assert c_out() == "scn_write_var_palette: error opening group '/top/Vars/var_3'\n"
    assert "paletteProvided" in h5dump(path)["/top/Vars/var_0"]["attrs"]  # var_0 untouched


def test_missing_palette_array_is_refused_and_the_others_stored(tmp_path, c_out):
    path = tmp_path / "p.h5"
    counts = [2, 0, 0, 0]
    _, arrays = palette_args("pal", counts)
    h = open_write(path)
    write_var(h, 0, SCALAR)
    c_out()
    ptrs = [None] + [fptr(a) for a in arrays[1:]]
    assert lib.scn_write_var_palette(h, 0, b"pal", 7, 20, 0.0, 1.0, 256, *counts, *ptrs) == 1
    close(h)
    assert c_out() == "Error writing dataset: redOrHueCntl\n"
    tree = h5dump(path)
    assert "/top/Vars/var_0/redOrHueCntl" not in tree
    assert tree["/top/Vars/var_0/redOrHueCols"]["value"] == [0.0, 1.0]


def test_palette_without_range_reads_as_empty_range(tmp_path, c_out):
    path = tmp_path / "p.h5"
    tree = top()
    tree["/top/Vars/var_0"] = {"attrs": {
        "paletteName": text_attr("x", 64), "paletteInterp": int_attr(1), "colorSpace": int_attr(10),
        "nSamples": int_attr(8), "nRedOrHue": int_attr(0), "nGrnOrSat": int_attr(0),
        "nBluOrVal": int_attr(0), "nAlpha": int_attr(0)}}
    h5build(path, tree)
    r = open_read(path)
    lo, hi = out_floats(), out_floats()
    assert lib.scn_read_var_palette_info(r, 0, None, None, None, fptr(lo), fptr(hi), None, None,
                                         None, None, None) == 0
    assert (lo[0], hi[0]) == (1.0, -1.0)
    close(r)
    assert c_out() == ""


# ---- reader failures ------------------------------------------------------

READ_FAILURES = [
    ("scn_read_var_info", (None,) * 6, "scn_read_var_info: error opening group '/top/Vars/var_4'\n"),
    ("scn_read_var_extents", (None, None),
     "scn_read_var_extents: error opening group '/top/Vars/var_4'\n"),
    ("scn_read_var_palette_info", (None,) * 10,
     "scn_read_var_palette_info: error opening group '/top/Vars/var_4'\n"),
    ("scn_read_var_palette_colors", (None,) * 8,
     "scn_read_var_palette_colors: error opening group '/top/Vars/var_4'\n"),
]


@pytest.mark.parametrize("entry,args,message", READ_FAILURES)
def test_readers_of_a_missing_record_fail(tmp_path, c_out, entry, args, message):
    path = tmp_path / "v.h5"
    h = open_write(path)
    write_var(h, 0, SCALAR)
    close(h)
    r = open_read(path)
    assert getattr(lib, entry)(r, 4, *args) == 1
    close(r)
    assert c_out() == message


def malformed_var(**over):
    attrs = {"varName": text_attr("v", 64), "varDesc": text_attr("", 128),
             "varCentering": int_attr(3000), "varKind": int_attr(SCALAR),
             "extentsProvided": int_attr(1), "paletteProvided": int_attr(1),
             "nRedOrHue": int_attr(2), "nGrnOrSat": int_attr(0), "nBluOrVal": int_attr(0),
             "nAlpha": int_attr(0)}
    tree = top()
    tree["/top/Vars"] = {"attrs": {"nVars": int_attr(1)}}
    tree["/top/Vars/var_0"] = {"attrs": attrs}
    tree["/top/Vars/var_0/extents"] = {"type": "dataset", "dtype": "float32", "value": [1, 2]}
    tree["/top/Vars/var_0/redOrHueCntl"] = {"type": "dataset", "dtype": "float32", "value": [0, 1]}
    tree["/top/Vars/var_0/redOrHueCols"] = {"type": "dataset", "dtype": "float32", "value": [0, 1]}
    for key, value in over.items():
        if isinstance(value, dict) and value.get("type") == "dataset":
            tree["/top/Vars/var_0/" + key] = value
        else:
            attrs[key] = value
    return tree


def dataset(values):
    return {"type": "dataset", "dtype": "float32", "value": values}


MALFORMED = [
    # name, changes, call, expected message
    ("long palette array", {"redOrHueCols": dataset(list(range(50)))}, "colors",
     "Error reading dataset: redOrHueCols\n"),
    ("negative count", {"nRedOrHue": int_attr(-3)}, "colors", ""),
    ("scalar extents of 6", {"extents": dataset([1, 2, 3, 4, 5, 6])}, "extents",
     "Error reading dataset: extents\n"),
    ("name wider than 64", {"varName": text_attr("v", 300)}, "info",
     "Error reading attribute: varName\n"),
]


@pytest.mark.parametrize("label,changes,call,message", MALFORMED, ids=[m[0] for m in MALFORMED])
def test_malformed_var_records_never_overrun(tmp_path, c_out, label, changes, call, message):
    path = tmp_path / "m.h5"
    h5build(path, malformed_var(**changes))
    r = open_read(path)
    outs = [out_floats(2) for _ in range(8)]
    name = ctypes.create_string_buffer(64)
    mn, mx = out_floats(1), out_floats(1)
    if call == "colors":
        status = lib.scn_read_var_palette_colors(r, 0, *[fptr(o) for o in outs])
    elif call == "extents":
        status = lib.scn_read_var_extents(r, 0, fptr(mn), fptr(mx))
        assert (mn[0], mx[0]) == (0.0, 0.0)
    else:
        status = lib.scn_read_var_info(r, 0, name, None, None, None, None, None)
    close(r)
    assert status == (1 if message else 0)
    assert c_out() == message
