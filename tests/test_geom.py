"""Geoms, node sets and node variables in the version-2 layout."""
import numpy as np
import pytest

from geomlib import (SCALAR, VECTOR, fptr, iptr, layout, out_floats, out_ints, write_var)
from scnlib import close, h5build, h5dump, int_attr, lib, open_read, open_write, text_attr


def geom(h, index, nodes=0, elems=0, provided=1, empty=0, mn=(1, 2, 3), mx=(4, 5, 6)):
    mnp = fptr(np.asarray(mn, np.float32)) if mn is not None else None
    mxp = fptr(np.asarray(mx, np.float32)) if mx is not None else None
    return lib.scn_write_geom(h, index, nodes, elems, provided, empty, mnp, mxp)


def nodes(h, index, coords, ids=None, dim=3, nvars=0, normal=-1):
    coords = np.ascontiguousarray(coords, np.float32)
    n = coords.size // dim if dim else 0
    idp = iptr(np.ascontiguousarray(ids, np.int32)) if ids is not None else None
    return lib.scn_write_nodes(h, index, n, dim, int(ids is not None), nvars, normal,
                               fptr(coords), idp)


# ---- geoms ----------------------------------------------------------------

GEOM_EXTENTS = [
    # provided, empty, min, max, stored "extents" (None: absent), extents read back
    (1, 0, (1, 2, 3), (4, 5, 6), [1, 2, 3, 4, 5, 6], [1, 2, 3, 4, 5, 6]),
    (1, 0, None, (4, 5, 6), [0, 0, 0, 4, 5, 6], [0, 0, 0, 4, 5, 6]),
    (1, 1, (1, 2, 3), (4, 5, 6), [0] * 6, [0] * 6),
    (0, 0, (1, 2, 3), (4, 5, 6), None, [0] * 6),
]


@pytest.mark.parametrize("provided,empty,mn,mx,stored,read", GEOM_EXTENTS)
def test_geom_layout_and_round_trip(tmp_path, c_out, provided, empty, mn, mx, stored, read):
    path = tmp_path / "g.h5"
    h = open_write(path)
    assert geom(h, 0, nodes=4, elems=9, provided=provided, empty=empty, mn=mn, mx=mx) == 0
    close(h)
    tree = h5dump(path)
    assert tree["/top/Geoms"]["attrs"]["nGeoms"]["value"] == 1
    attrs = {k: v["value"] for k, v in tree["/top/Geoms/geom_0"]["attrs"].items()}
    assert attrs == {"numAttrs": 0, "whichNodes": 4, "whichElemList": 9,
                     "extentsProvided": provided, "empty": empty}
    if stored is None:
        assert "/top/Geoms/geom_0/extents" not in tree
    else:
        assert tree["/top/Geoms/geom_0/extents"]["value"] == stored

    r = open_read(path)
    assert lib.scn_read_geom_num(r) == 1
    wn, we, ep, em = out_ints(), out_ints(), out_ints(), out_ints()
    assert lib.scn_read_geom_info(r, 0, iptr(wn), iptr(we), iptr(ep)) == 0
    assert (wn[0], we[0], ep[0]) == (4, 9, provided)
    got_mn, got_mx = out_floats(3), out_floats(3)
    assert lib.scn_read_geom_extents(r, 0, iptr(em), fptr(got_mn), fptr(got_mx)) == 0
    assert em[0] == empty and list(got_mn) + list(got_mx) == read
    # a null empty output still honours the stored flag
    assert lib.scn_read_geom_extents(r, 0, None, fptr(got_mn), None) == 0
    assert list(got_mn) == read[:3]
    close(r)
    assert c_out() == ""


def test_rewritten_geom_keeps_count_and_attribute_count(tmp_path):
    path = tmp_path / "g.h5"
    h = open_write(path)
    geom(h, 3)
    geom(h, 3, nodes=7)
    geom(h, 0)
    close(h)
    tree = h5dump(path)
    assert tree["/top/Geoms"]["attrs"]["nGeoms"]["value"] == 2
    assert tree["/top/Geoms/geom_3"]["attrs"]["whichNodes"]["value"] == 7
    assert tree["/top/Geoms/geom_3"]["attrs"]["numAttrs"]["value"] == 0


# ---- node sets ------------------------------------------------------------

def test_node_set_layout_and_compression_threshold(tmp_path, c_out):
    # 34 nodes: 102 coordinates are compressed, 34 ids are not
    path = tmp_path / "n.h5"
    coords = np.arange(102, dtype=np.float32) / 4
    h = open_write(path)
    assert nodes(h, 0, coords, ids=np.arange(34) + 100, nvars=2, normal=5) == 0
    assert nodes(h, 1, np.zeros(0), dim=3) == 0                      # no nodes
    assert nodes(h, 2, [[0, 0], [1, 1]], dim=2) == 0                   # no ids
    close(h)
    tree = h5dump(path)
    assert tree["/top/Nodes"]["attrs"]["nNodes"]["value"] == 3
    attrs = {k: v["value"] for k, v in tree["/top/Nodes/nodes_0"]["attrs"].items()}
    assert attrs == {"numNodes": 34, "nodeDimension": 3, "hasNodeIds": 1, "numNodalVars": 2,
                     "nodeNormalIndex": 5}
    c = tree["/top/Nodes/nodes_0/coords"]
    assert (c["dtype"], c["shape"], c["chunks"], c["filters"], c["gzip_level"]) == (
        "float32", [102], [102], ["shuffle", "deflate"], 9)
    assert c["value"] == coords.tolist()
    i = tree["/top/Nodes/nodes_0/ids"]
    assert (i["dtype"], i["chunks"], i["filters"], i["value"]) == (
        "int32", None, [], list(range(100, 134)))
    assert not any(k.startswith("/top/Nodes/nodes_1/") for k in tree)
    assert "/top/Nodes/nodes_2/coords" in tree and "/top/Nodes/nodes_2/ids" not in tree
    assert c_out() == ""


def test_node_set_round_trip(tmp_path, c_out):
    path = tmp_path / "n.h5"
    coords = np.random.default_rng(1).random(30, dtype=np.float32)
    h = open_write(path)
    nodes(h, 0, coords, ids=[7, 8, 9, 1, 2, 3, 4, 5, 6, 0], nvars=1, normal=2)
    close(h)
    r = open_read(path)
    assert lib.scn_read_nodes_num(r) == 1
    info = [out_ints() for _ in range(5)]
    assert lib.scn_read_nodes_info(r, 0, *[iptr(o) for o in info]) == 0
    assert [int(o[0]) for o in info] == [10, 3, 1, 1, 2]
    got, ids = out_floats(30), out_ints(10)
    assert lib.scn_read_nodes_coords(r, 0, fptr(got)) == 0
    assert lib.scn_read_nodes_ids(r, 0, iptr(ids)) == 0
    assert np.array_equal(got, coords) and ids.tolist() == [7, 8, 9, 1, 2, 3, 4, 5, 6, 0]
    close(r)
    assert c_out() == ""


def test_large_node_set_with_values_round_trips_compressed(tmp_path, c_out):
    n = 2_000_000
    path = tmp_path / "big.h5"
    coords = np.arange(3 * n, dtype=np.float32) * 0.5
    ids = np.arange(n, dtype=np.int32)[::-1].copy()
    vals = np.arange(3 * n, dtype=np.float32) % 1000
    h = open_write(path)
    assert write_var(h, 0, VECTOR) == 0
    assert nodes(h, 0, coords, ids=ids, nvars=1) == 0
    assert lib.scn_write_nodes_var(h, 0, 0, 0, n, 0, 0.0, fptr(vals)) == 0
    close(h)
    info = layout(path, "/top/Nodes/nodes_0/coords", "/top/Nodes/nodes_0/ids",
                  "/top/Nodes/nodes_0/var_0/vals")
    for name, size in (("coords", 3 * n), ("ids", n), ("var_0/vals", 3 * n)):
        d = info["/top/Nodes/nodes_0/" + name]
        assert (d["shape"], d["chunks"], d["compression"], d["opts"], d["shuffle"]) == (
            [size], [size], "gzip", 9, True)

    r = open_read(path)
    got_c, got_i, got_v = np.empty_like(coords), np.empty_like(ids), np.empty_like(vals)
    assert lib.scn_read_nodes_coords(r, 0, fptr(got_c)) == 0
    assert lib.scn_read_nodes_ids(r, 0, iptr(got_i)) == 0
    assert lib.scn_read_nodes_var_values(r, 0, 0, fptr(got_v)) == 0
    close(r)
    assert np.array_equal(got_c, coords) and np.array_equal(got_i, ids)
    assert np.array_equal(got_v, vals)
    assert c_out() == ""


# ---- node variables -------------------------------------------------------

def test_node_variable_layout_and_round_trip(tmp_path, c_out):
    path = tmp_path / "v.h5"
    vals = np.array([1.5, -1e30, 3.25], np.float32)
    h = open_write(path)
    write_var(h, 4, SCALAR)
    nodes(h, 0, np.zeros(9), nvars=1)
    assert lib.scn_write_nodes_var(h, 0, 2, 4, 3, 1, -1e30, fptr(vals)) == 0
    close(h)
    tree = h5dump(path)
    g = tree["/top/Nodes/nodes_0/var_2"]["attrs"]
    assert {k: v["value"] for k, v in g.items() if k != "undefinedValue"} == {
        "varIndex": 4, "numValues": 3, "useUndefined": 1}
    assert (g["undefinedValue"]["dtype"], g["undefinedValue"]["value"]) == (
        "float32", float(np.float32(-1e30)))
    assert tree["/top/Nodes/nodes_0/var_2/vals"]["value"] == vals.tolist()

    r = open_read(path)
    vi, nv, uu, uv = out_ints(), out_ints(), out_ints(), out_floats()
    assert lib.scn_read_nodes_var_info(r, 0, 2, iptr(vi), iptr(nv), iptr(uu), fptr(uv)) == 0
    assert (vi[0], nv[0], uu[0], uv[0]) == (4, 3, 1, np.float32(-1e30))
    got = out_floats(3)
    assert lib.scn_read_nodes_var_values(r, 0, 2, fptr(got)) == 0
    assert np.array_equal(got, vals)
    close(r)
    assert c_out() == ""


def test_node_variable_needs_its_node_set(tmp_path, c_out):
    path = tmp_path / "v.h5"
    h = open_write(path)
    write_var(h, 0, SCALAR)
    assert lib.scn_write_nodes_var(h, 3, 0, 0, 1, 0, 0.0, fptr(out_floats())) == 1
    close(h)
    assert c_out() == "scn_write_nodes_var: error creating var_n group\n"
    assert "/top/Nodes" not in h5dump(path)


def test_node_variable_of_missing_variable_has_no_values(tmp_path, c_out):
    path = tmp_path / "v.h5"
    h = open_write(path)
    nodes(h, 0, np.zeros(3))
    assert lib.scn_write_nodes_var(h, 0, 0, 7, 1, 0, 0.0, fptr(out_floats(6))) == 0
    close(h)
    assert c_out() == "scn_read_var_info: error opening group '/top/Vars/var_7'\n"
    tree = h5dump(path)
    assert tree["/top/Nodes/nodes_0/var_0"]["attrs"]["numValues"]["value"] == 1
    assert "/top/Nodes/nodes_0/var_0/vals" not in tree


# ---- counts and reader failures --------------------------------------------

def test_counts_of_absent_collections_are_zero(tmp_path, c_out):
    path = tmp_path / "e.h5"
    close(open_write(path))
    r = open_read(path)
    assert (lib.scn_read_geom_num(r), lib.scn_read_nodes_num(r)) == (0, 0)
    close(r)
    assert c_out() == ""


READ_FAILURES = [
    ("scn_read_geom_info", (None,) * 3, "scn_read_geom_info: error opening group '/top/Geoms/geom_5'\n"),
    ("scn_read_geom_extents", (None,) * 3,
     "scn_read_geom_extents: error opening group '/top/Geoms/geom_5'\n"),
    ("scn_read_nodes_info", (None,) * 5,
     "scn_read_nodes_info: error opening group '/top/Nodes/nodes_5'\n"),
    ("scn_read_nodes_coords", (None,), "scn_read_nodes_coords: error opening group '/top/Nodes/nodes_5'\n"),
    ("scn_read_nodes_ids", (None,), "scn_read_nodes_ids: error opening group '/top/Nodes/nodes_5'\n"),
    ("scn_read_nodes_var_info", (0,) + (None,) * 4,
     "scn_read_nodes_var_info: error opening group '/top/Nodes/nodes_5/var_0'\n"),
    ("scn_read_nodes_var_values", (0, None),
     "scn_read_nodes_var_values: error opening group '/top/Nodes/nodes_5/var_0'\n"),
]


@pytest.mark.parametrize("entry,args,message", READ_FAILURES)
def test_readers_of_a_missing_record_fail(tmp_path, c_out, entry, args, message):
    path = tmp_path / "e.h5"
    h = open_write(path)
    geom(h, 0)
    nodes(h, 0, np.zeros(3))
    close(h)
    r = open_read(path)
    assert getattr(lib, entry)(r, 5, *args) == 1
    close(r)
    assert c_out() == message


def test_missing_dataset_is_reported(tmp_path, c_out):
    path = tmp_path / "e.h5"
    h = open_write(path)
    nodes(h, 0, np.zeros(3))  # no ids
    close(h)
    r = open_read(path)
    ids = out_ints(1)
    assert lib.scn_read_nodes_ids(r, 0, iptr(ids)) == 1
    close(r)
    assert ids[0] == -77
    assert c_out() == "Error opening dataset: ids\n"


def top_v2():
    return {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                               "scn_file_version": text_attr("2.00")}}}


def malformed_nodes(num_nodes=2, dim=3, coords=6, ids=2, num_values=2, kind=SCALAR, vals=2,
                    extents=6):
    f32 = lambda n: {"type": "dataset", "dtype": "float32", "value": [0.5] * n}
    tree = top_v2()
    tree["/top/Vars/var_0"] = {"attrs": {"varKind": int_attr(kind)}}
    tree["/top/Geoms/geom_0"] = {"attrs": {"extentsProvided": int_attr(1), "empty": int_attr(0)}}
    tree["/top/Geoms/geom_0/extents"] = f32(extents)
    tree["/top/Nodes/nodes_0"] = {"attrs": {"numNodes": int_attr(num_nodes),
                                            "nodeDimension": int_attr(dim)}}
    tree["/top/Nodes/nodes_0/coords"] = f32(coords)
    tree["/top/Nodes/nodes_0/ids"] = {"type": "dataset", "dtype": "int32", "value": [1] * ids}
    tree["/top/Nodes/nodes_0/var_0"] = {"attrs": {"varIndex": int_attr(0),
                                                  "numValues": int_attr(num_values)}}
    tree["/top/Nodes/nodes_0/var_0/vals"] = f32(vals)
    return tree


MALFORMED = [
    # label, file changes, reader, message
    ("coords longer than counts", {"coords": 400}, "coords", "Error reading dataset: coords\n"),
    ("negative numNodes", {"num_nodes": -5}, "coords",
     "Error reading dataset: coords\n"),
    ("negative dimension", {"dim": -1}, "coords",
     "Error reading dataset: coords\n"),
    ("overflowing product", {"num_nodes": 70000, "dim": 70000}, "coords",
     "Error reading dataset: coords\n"),
    ("ids longer than numNodes", {"ids": 3}, "ids", "Error reading dataset: ids\n"),
    ("negative numNodes for ids", {"num_nodes": -1}, "ids",
     "Error reading dataset: ids\n"),
    ("vals longer than numValues", {"vals": 3}, "vals", "Error reading dataset: vals\n"),
    ("vals of a vector read as scalar", {"kind": VECTOR, "vals": 7}, "vals",
     "Error reading dataset: vals\n"),
    ("extents of 3", {"extents": 3}, "extents", "Error reading dataset: extents\n"),
    ("extents of 9", {"extents": 9}, "extents", "Error reading dataset: extents\n"),
]


@pytest.mark.parametrize("label,changes,reader,message", MALFORMED, ids=[m[0] for m in MALFORMED])
def test_malformed_node_sets_are_refused_without_overrun(tmp_path, c_out, label, changes, reader,
                                                         message):
    path = tmp_path / "m.h5"
    h5build(path, malformed_nodes(**changes))
    r = open_read(path)
    # Buffers sized exactly from the counts of the well-formed record.
    fbuf, ibuf = out_floats(6), out_ints(2)
    calls = {
        "coords": lambda: lib.scn_read_nodes_coords(r, 0, fptr(fbuf)),
        "ids": lambda: lib.scn_read_nodes_ids(r, 0, iptr(ibuf)),
        "vals": lambda: lib.scn_read_nodes_var_values(r, 0, 0, fptr(fbuf)),
        "extents": lambda: lib.scn_read_geom_extents(r, 0, None, fptr(fbuf), fptr(fbuf[3:])),
    }
    assert calls[reader]() == 1
    close(r)
    assert c_out() == message
    if reader != "extents":
        assert all(fbuf == -77.0) and all(ibuf == -77)


# ---- writer refusals --------------------------------------------------------

WRITE_REFUSALS = [
    # label, call on a file with var_0 (scalar), nodes_0, elemlist_0 (with ids) and its empty
    # record 1, message, an attribute that is still written
    ("null coords", lambda h: lib.scn_write_nodes(h, 1, 4, 3, 0, 0, 0, None, None),
     "Error writing dataset: coords\n", ("/top/Nodes/nodes_1", "numNodes", 4)),
    ("negative numNodes", lambda h: lib.scn_write_nodes(h, 1, -4, 3, 0, 0, 0, None, None),
     "Error creating dataspace for dataset: coords\n", ("/top/Nodes/nodes_1", "numNodes", -4)),
    ("overflowing coords", lambda h: lib.scn_write_nodes(h, 1, 1 << 20, 1 << 12, 0, 0, 0, None, None),
     "Error creating dataspace for dataset: coords\n",
     ("/top/Nodes/nodes_1", "nodeDimension", 4096)),
    ("null values", lambda h: lib.scn_write_nodes_var(h, 0, 1, 0, 3, 0, 0.0, None),
     "Error writing dataset: vals\n", ("/top/Nodes/nodes_0/var_1", "numValues", 3)),
    ("null connectivity", lambda h: lib.scn_write_elem(h, 0, 0, 2004, 1, 3, None, None),
     "Error writing dataset: conn\nError writing dataset: ids\n",
     ("/top/ElemLists/elemlist_0/elem_0", "lenList", 3)),
    ("negative element values", lambda h: lib.scn_write_elem_var(h, 0, 1, 0, 0, -1, None),
     "Error creating dataspace for dataset: vals\n",
     ("/top/ElemLists/elemlist_0/elem_1/var_0", "numValues", -1)),
]


@pytest.mark.parametrize("label,call,message,kept", WRITE_REFUSALS, ids=[w[0] for w in WRITE_REFUSALS])
def test_writers_refuse_missing_or_impossible_arrays(tmp_path, c_out, label, call, message, kept):
    path = tmp_path / "w.h5"
    h = open_write(path)
    write_var(h, 0, SCALAR)
    nodes(h, 0, np.zeros(3))
    lib.scn_write_elem_list(h, 0, 1, 1, 0, 1)
    lib.scn_write_elem(h, 0, 1, 2004, 0, 0, None, None)
    c_out()
    assert call(h) == 1
    close(h)
    assert c_out() == message
    group, attr, value = kept
    tree = h5dump(path)
    assert tree[group]["attrs"][attr]["value"] == value
    assert not any(k.startswith(group + "/") and tree[k]["type"] == "dataset"
                   and k.count("/") == group.count("/") + 1 for k in tree)
