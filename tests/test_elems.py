"""Element lists, element records and element values in the version-2
layout."""
import numpy as np
import pytest

from geomlib import (COMPLEX_VECTOR, ELEM_TETLIST, ELEM_TRILIST, SCALAR, VECTOR, fptr, iptr,
                     layout, out_floats, out_ints, write_var)
from scnlib import close, h5build, h5dump, int_attr, lib, open_read, open_write, text_attr

LIST = "/top/ElemLists/elemlist_0"


def elem(h, lst, index, etype, conn, ids=None, count=None):
    conn = np.ascontiguousarray(conn, np.int32)
    count = (len(ids) if ids is not None else 0) if count is None else count
    idp = iptr(np.ascontiguousarray(ids, np.int32)) if ids is not None else None
    return lib.scn_write_elem(h, lst, index, etype, count, conn.size, iptr(conn), idp)


def test_elem_list_layout_and_counter(tmp_path, c_out):
    path = tmp_path / "e.h5"
    h = open_write(path)
    assert lib.scn_write_elem_list(h, 2, 3, 1, 8, 1) == 0
    assert lib.scn_write_elem_list(h, 2, 4, 2, 9, 0) == 0
    assert lib.scn_write_elem_list(h, 0, 1, 0, 0, 0) == 0
    close(h)
    tree = h5dump(path)
    assert tree["/top/ElemLists"]["attrs"]["nElemLists"]["value"] == 2
    attrs = {k: v["value"] for k, v in tree["/top/ElemLists/elemlist_2"]["attrs"].items()}
    assert attrs == {"numElemRecs": 4, "numElemVars": 2, "elemNormalIndex": 9, "hasElemIds": 0}

    r = open_read(path)
    assert lib.scn_read_elem_list_num(r) == 2
    outs = [out_ints() for _ in range(4)]
    assert lib.scn_read_elem_list_info(r, 2, *[iptr(o) for o in outs]) == 0
    assert [int(o[0]) for o in outs] == [4, 2, 9, 0]
    close(r)
    assert c_out() == ""


def test_elem_list_slot_round_trip(tmp_path, c_out):
    path = tmp_path / "e.h5"
    h = open_write(path)
    lib.scn_write_elem_list(h, 0, 1, 2, 0, 0)
    assert lib.scn_write_elem_list_var_info(h, 0, 1, 6, 1, 99.5) == 0
    close(h)
    attrs = h5dump(path)[LIST + "/var_1"]["attrs"]
    assert {k: v["value"] for k, v in attrs.items()} == {"varIndex": 6, "useUndefined": 1,
                                                        "undefinedValue": 99.5}
    assert attrs["undefinedValue"]["dtype"] == "float32"
    r = open_read(path)
    vi, uu, uv = out_ints(), out_ints(), out_floats()
    assert lib.scn_read_elem_list_var_info(r, 0, 1, iptr(vi), iptr(uu), fptr(uv)) == 0
    assert (vi[0], uu[0], uv[0]) == (6, 1, 99.5)
    close(r)
    assert c_out() == ""


def test_elem_record_layout_and_round_trip(tmp_path, c_out):
    path = tmp_path / "e.h5"
    conn = np.arange(120, dtype=np.int32)  # 40 triangles: compressed
    h = open_write(path)
    lib.scn_write_elem_list(h, 0, 2, 0, 0, 1)
    assert elem(h, 0, 0, ELEM_TRILIST, conn, ids=np.arange(40) + 1000) == 0
    assert elem(h, 0, 1, ELEM_TETLIST, [], count=0) == 0
    close(h)
    tree = h5dump(path)
    attrs = {k: v["value"] for k, v in tree[LIST + "/elem_0"]["attrs"].items()}
    assert attrs == {"elemListType": ELEM_TRILIST, "elemCount": 40, "lenList": 120}
    c = tree[LIST + "/elem_0/conn"]
    assert (c["dtype"], c["chunks"], c["filters"], c["gzip_level"], c["value"]) == (
        "int32", [120], ["shuffle", "deflate"], 9, conn.tolist())
    assert tree[LIST + "/elem_0/ids"]["chunks"] is None
    assert not any(k.startswith(LIST + "/elem_1/") for k in tree)  # nothing to store

    r = open_read(path)
    t, n, ln = out_ints(), out_ints(), out_ints()
    assert lib.scn_read_elem_info(r, 0, 0, iptr(t), iptr(n), iptr(ln)) == 0
    assert (t[0], n[0], ln[0]) == (ELEM_TRILIST, 40, 120)
    got_c, got_i = out_ints(120), out_ints(40)
    assert lib.scn_read_elem_connectivity(r, 0, 0, iptr(got_c)) == 0
    assert lib.scn_read_elem_ids(r, 0, 0, iptr(got_i)) == 0
    assert np.array_equal(got_c, conn) and got_i.tolist() == list(range(1000, 1040))
    assert c_out() == ""
    # a record without connectivity has nothing to read
    assert lib.scn_read_elem_connectivity(r, 0, 1, iptr(got_c)) == 1
    close(r)
    assert c_out() == "Error opening dataset: conn\n"


def test_list_without_ids_stores_no_ids(tmp_path, c_out):
    path = tmp_path / "e.h5"
    h = open_write(path)
    lib.scn_write_elem_list(h, 0, 1, 0, 0, 0)
    assert elem(h, 0, 0, ELEM_TRILIST, [0, 1, 2], ids=[5]) == 0
    close(h)
    tree = h5dump(path)
    assert LIST + "/elem_0/conn" in tree and LIST + "/elem_0/ids" not in tree
    assert c_out() == ""


def test_elem_into_unwritten_list_creates_nothing(tmp_path, c_out):
    path = tmp_path / "e.h5"
    h = open_write(path)
    assert elem(h, 4, 0, ELEM_TRILIST, [0, 1, 2]) == 1
    close(h)
    assert c_out() == "scn_write_elem: error opening group '/top/ElemLists/elemlist_4'\n"
    assert "/top/ElemLists" not in h5dump(path)


def test_elem_values_round_trip(tmp_path, c_out):
    path = tmp_path / "e.h5"
    vals = np.arange(24, dtype=np.float32) - 3
    h = open_write(path)
    write_var(h, 1, COMPLEX_VECTOR)
    lib.scn_write_elem_list(h, 0, 1, 1, 0, 0)
    lib.scn_write_elem_list_var_info(h, 0, 0, 1, 0, 0.0)
    elem(h, 0, 0, ELEM_TRILIST, np.arange(12), count=4)
    assert lib.scn_write_elem_var(h, 0, 0, 0, 1, 4, fptr(vals)) == 0
    close(h)
    tree = h5dump(path)
    assert tree[LIST + "/elem_0/var_0"]["attrs"]["numValues"]["value"] == 4
    assert tree[LIST + "/elem_0/var_0/vals"]["value"] == vals.tolist()
    r = open_read(path)
    got = out_floats(24)
    assert lib.scn_read_elem_var_values(r, 0, 0, 0, fptr(got)) == 0
    assert np.array_equal(got, vals)
    close(r)
    assert c_out() == ""


def test_elem_values_of_missing_variable(tmp_path, c_out):
    path = tmp_path / "e.h5"
    h = open_write(path)
    lib.scn_write_elem_list(h, 0, 1, 1, 0, 0)
    elem(h, 0, 0, ELEM_TRILIST, [0, 1, 2], count=1)
    assert lib.scn_write_elem_var(h, 0, 0, 0, 3, 1, fptr(out_floats(6))) == 0
    close(h)
    assert c_out() == "scn_read_var_info: error opening group '/top/Vars/var_3'\n"
    tree = h5dump(path)
    assert tree[LIST + "/elem_0/var_0"]["attrs"] == {
        "numValues": {"dtype": "int32", "shape": [], "value": 1}}
    assert LIST + "/elem_0/var_0/vals" not in tree


def test_large_element_record_round_trips_compressed(tmp_path, c_out):
    n = 1_000_000  # tetrahedra
    path = tmp_path / "big.h5"
    conn = (np.arange(4 * n, dtype=np.int64) * 7919 % 250_000).astype(np.int32)
    ids = np.arange(n, dtype=np.int32) + 1
    vals = (np.arange(3 * n, dtype=np.float32) % 17) * 0.25
    h = open_write(path)
    write_var(h, 0, VECTOR)
    lib.scn_write_elem_list(h, 0, 1, 1, 0, 1)
    lib.scn_write_elem_list_var_info(h, 0, 0, 0, 0, 0.0)
    assert elem(h, 0, 0, ELEM_TETLIST, conn, ids=ids) == 0
    assert lib.scn_write_elem_var(h, 0, 0, 0, 0, n, fptr(vals)) == 0
    close(h)
    info = layout(path, LIST + "/elem_0/conn", LIST + "/elem_0/ids", LIST + "/elem_0/var_0/vals")
    for name, size in (("conn", 4 * n), ("ids", n), ("var_0/vals", 3 * n)):
        d = info[LIST + "/elem_0/" + name]
        assert (d["shape"], d["chunks"], d["compression"], d["opts"], d["shuffle"]) == (
            [size], [size], "gzip", 9, True)
    r = open_read(path)
    got_c, got_i, got_v = np.empty_like(conn), np.empty_like(ids), np.empty_like(vals)
    assert lib.scn_read_elem_connectivity(r, 0, 0, iptr(got_c)) == 0
    assert lib.scn_read_elem_ids(r, 0, 0, iptr(got_i)) == 0
    assert lib.scn_read_elem_var_values(r, 0, 0, 0, fptr(got_v)) == 0
    close(r)
    assert np.array_equal(got_c, conn) and np.array_equal(got_i, ids)
    assert np.array_equal(got_v, vals)
    assert c_out() == ""


# ---- reader failures ------------------------------------------------------

READ_FAILURES = [
    ("scn_read_elem_list_info", (None,) * 4,
     "scn_read_elem_list_info: error opening group '/top/ElemLists/elemlist_3'\n"),
    ("scn_read_elem_list_var_info", (0,) + (None,) * 3,
     "scn_read_elem_list_var_info: error opening group '/top/ElemLists/elemlist_3/var_0'\n"),
    ("scn_read_elem_info", (1,) + (None,) * 3,
     "scn_read_elem_info: error opening group '/top/ElemLists/elemlist_3/elem_1'\n"),
    ("scn_read_elem_connectivity", (1, None),
     "scn_read_elem_connectivity: error opening group '/top/ElemLists/elemlist_3/elem_1'\n"),
    ("scn_read_elem_ids", (1, None),
     "scn_read_elem_ids: error opening group '/top/ElemLists/elemlist_3/elem_1'\n"),
    ("scn_read_elem_var_values", (1, 2, None),
     "scn_read_elem_var_values: error opening group '/top/ElemLists/elemlist_3/elem_1/var_2'\n"),
]


@pytest.mark.parametrize("entry,args,message", READ_FAILURES)
def test_readers_of_a_missing_record_fail(tmp_path, c_out, entry, args, message):
    path = tmp_path / "e.h5"
    h = open_write(path)
    lib.scn_write_elem_list(h, 0, 1, 0, 0, 0)
    close(h)
    r = open_read(path)
    assert getattr(lib, entry)(r, 3, *args) == 1
    close(r)
    assert c_out() == message


def malformed_list(count=2, len_list=6, conn=6, ids=2, kind=SCALAR, vals=2, slot=True):
    tree = {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                               "scn_file_version": text_attr("2.00")}}}
    tree["/top/Vars/var_0"] = {"attrs": {"varKind": int_attr(kind)}}
    tree[LIST] = {"attrs": {"numElemRecs": int_attr(1), "hasElemIds": int_attr(1)}}
    if slot:
        tree[LIST + "/var_0"] = {"attrs": {"varIndex": int_attr(0)}}
    tree[LIST + "/elem_0"] = {"attrs": {"elemCount": int_attr(count), "lenList": int_attr(len_list)}}
    tree[LIST + "/elem_0/conn"] = {"type": "dataset", "dtype": "int32", "value": [1] * conn}
    tree[LIST + "/elem_0/ids"] = {"type": "dataset", "dtype": "int32", "value": [1] * ids}
    tree[LIST + "/elem_0/var_0"] = {"attrs": {"numValues": int_attr(count)}}
    tree[LIST + "/elem_0/var_0/vals"] = {"type": "dataset", "dtype": "float32", "value": [1] * vals}
    return tree


MALFORMED = [
    ("conn longer than lenList", {"conn": 7}, "conn", "Error reading dataset: conn\n"),
    ("negative lenList", {"len_list": -6}, "conn",
     "Error reading dataset: conn\n"),
    ("ids longer than elemCount", {"ids": 40}, "ids", "Error reading dataset: ids\n"),
    ("negative elemCount", {"count": -2}, "ids", "Error reading dataset: ids\n"),
    ("vals longer than elemCount", {"vals": 3}, "vals", "Error reading dataset: vals\n"),
    ("vals beyond elemCount times components", {"kind": VECTOR, "vals": 6, "count": 1}, "vals",
     "Error reading dataset: vals\n"),
    ("vals without a slot", {"slot": False}, "vals",
     "scn_read_elem_var_values: error opening group '/top/ElemLists/elemlist_0/var_0'\n"),
]


@pytest.mark.parametrize("label,changes,reader,message", MALFORMED, ids=[m[0] for m in MALFORMED])
def test_malformed_element_records_are_refused_without_overrun(tmp_path, c_out, label, changes,
                                                               reader, message):
    path = tmp_path / "m.h5"
    h5build(path, malformed_list(**changes))
    r = open_read(path)
    ibuf, fbuf = out_ints(6), out_floats(2)
    calls = {"conn": lambda: lib.scn_read_elem_connectivity(r, 0, 0, iptr(ibuf)),
             "ids": lambda: lib.scn_read_elem_ids(r, 0, 0, iptr(ibuf)),
             "vals": lambda: lib.scn_read_elem_var_values(r, 0, 0, 0, fptr(fbuf))}
    assert calls[reader]() == 1
    close(r)
    assert c_out() == message
    assert all(ibuf == -77) and all(fbuf == -77.0)
