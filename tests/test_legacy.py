"""Reading files of the legacy layout (file version below "2."), where node
sets and element lists live inside the geom groups and are numbered by a
one-time scan of the geoms.

The files are built with h5py; they are read in fresh processes, because the
readers choose the layout from the version of the file opened last, a
process-wide state."""
import json
import textwrap

import pytest

from scnlib import h5build, int_attr, run_isolated, text_attr

G = "/top/Geoms/geom_%d"


def f32(values):
    return {"type": "dataset", "dtype": "float32", "value": list(values)}


def i32(values):
    return {"type": "dataset", "dtype": "int32", "value": list(values)}


def version_attrs(style):
    if style == "rw_release":  # the oldest files: file version "1.00"
        return {"api_version": text_attr("1.0"), "rw_release": text_attr("7")}
    return {"scn_api_version": text_attr("1.50.00"), "scn_file_version": text_attr("1.50")}


def legacy_tree(node_counts=(5, 0, 7), style="scn", n_geoms=None):
    """Geoms with the given node counts; geoms with nodes carry element
    lists of two records, each record with one variable group."""
    tree = {"/top": {"attrs": version_attrs(style)}}
    tree["/top/Vars/var_0"] = {"attrs": {"varKind": int_attr(3100)}}  # scalar
    tree["/top/Vars/var_1"] = {"attrs": {"varKind": int_attr(3101)}}  # vector
    tree["/top/Geoms"] = {"attrs": {"nGeoms": int_attr(len(node_counts) if n_geoms is None
                                                       else n_geoms)}}
    for g, n in enumerate(node_counts):
        tree[G % g] = {"attrs": {"extentsProvided": int_attr(1), "empty": int_attr(0)}}
        tree[G % g + "/extents"] = f32([g, g, g, g + 1, g + 1, g + 1])
        if n is None:
            continue  # a geom without "nodes"
        tree[G % g + "/nodes"] = {"attrs": {
            "numNodes": int_attr(n), "nodeDimension": int_attr(3), "hasNodeIds": int_attr(1),
            "numNodalVars": int_attr(1), "nodeNormalIndex": int_attr(10 + g)}}
        if n:
            tree[G % g + "/nodes/coords"] = f32(range(100 * g, 100 * g + 3 * n))
            tree[G % g + "/nodes/ids"] = i32(range(10 * g, 10 * g + n))
        tree[G % g + "/nodes/var_0"] = {"attrs": {
            "varIndex": int_attr(0), "numValues": int_attr(n), "useUndefined": int_attr(1),
            "undefinedValue": {"dtype": "float32", "value": -g}}}
        tree[G % g + "/nodes/var_0/vals"] = f32([g + 0.5] * n)
        lists = G % g + "/elemlists"
        tree[lists] = {"attrs": {"numElementLists": int_attr(2), "numElemVars": int_attr(1),
                                 "elemNormalIndex": int_attr(20 + g), "hasElemIds": int_attr(1)}}
        for rec in range(2):
            path = f"{lists}/elemlist_{rec}"
            tree[path] = {"attrs": {"elemListType": int_attr(2004 + rec), "elemCount": int_attr(1),
                                    "lenList": int_attr(3)}}
            tree[path + "/conn"] = i32([g, rec, 9])
            tree[path + "/ids"] = i32([1000 * g + rec])
            # slot information of list L lives in the variable group of record L
            tree[path + "/var_0"] = {"attrs": {
                "varIndex": int_attr(rec), "useUndefined": int_attr(rec),
                "undefinedValue": {"dtype": "float32", "value": 100 * g + rec},
                "numValues": int_attr(1)}}
            tree[path + "/var_0/vals"] = f32([g + rec / 4] * (1 if rec == 0 else 3))
    return tree


def read_isolated(tmp_path, tree, body):
    """Builds the file, then runs `body` in a fresh process with `r` open on
    it. `body` stores results in `res`; returns (res, what the geometry
    readers printed)."""
    path, out = tmp_path / "legacy.h5", tmp_path / "res.json"
    h5build(path, tree)
    src = (
        "import json\nimport numpy as np\n"
        "from geomlib import fptr, iptr, out_floats, out_ints\n"
        "from scnlib import close, lib, open_read\n"
        f"r = open_read({str(path)!r})\nres = {{}}\n"
        + textwrap.dedent(body)
        + f"\nclose(r)\nlib.flush()\njson.dump(res, open({str(out)!r}, 'w'))\n")
    printed = run_isolated(src)
    # Opening the oldest files reports the absent current version attributes.
    printed = "".join(line for line in printed.splitlines(keepends=True)
                      if not line.startswith("Error opening group for attribute: scn_"))
    return json.loads(out.read_text()), printed


SCAN = """
res["counts"] = [lib.scn_read_geom_num(r), lib.scn_read_nodes_num(r),
                 lib.scn_read_elem_list_num(r)]
h = r.contents
res["fields"] = [h.geomCount, h.nodeSetsFound, h.elemListsFound]
res["nodesInGeom"] = [h.nodesInGeom[i] for i in range(max(h.nodeSetsFound, 0))]
res["elemsInGeom"] = [h.elemsInGeom[i] for i in range(max(h.elemListsFound, 0))]
"""


@pytest.mark.parametrize("style", ["scn", "rw_release"])
def test_scan_numbers_node_sets_and_element_lists(tmp_path, style):
    res, printed = read_isolated(tmp_path, legacy_tree(style=style), SCAN)
    assert res["counts"] == [3, 2, 2]
    assert res["fields"] == [3, 2, 2]
    assert res["nodesInGeom"] == [0, 2] and res["elemsInGeom"] == [0, 2]
    assert printed == ""


SCAN_EDGES = [
    # label, tree, geom / node-set / element-list counts
    ("geom 1 without nodes", legacy_tree((5, None, 7)), [0, 1, 1]),
    ("no Geoms group", {"/top": {"attrs": version_attrs("scn")}}, [0, -1, -1]),
    ("nGeoms 0", legacy_tree((), n_geoms=0), [0, -1, -1]),
    ("nGeoms beyond the geoms stored", legacy_tree((5, 7), n_geoms=2_000_000_000), [0, 2, 2]),
]


@pytest.mark.parametrize("label,tree,counts", SCAN_EDGES, ids=[e[0] for e in SCAN_EDGES])
def test_scan_edge_cases(tmp_path, label, tree, counts):
    res, printed = read_isolated(tmp_path, tree, SCAN)
    assert res["counts"] == counts
    assert printed == ""


def test_node_sets_are_read_through_the_index(tmp_path):
    res, printed = read_isolated(tmp_path, legacy_tree(), """
    lib.scn_read_nodes_num(r)
    info = [out_ints() for _ in range(5)]
    res["info"] = lib.scn_read_nodes_info(r, 1, *[iptr(o) for o in info]), [int(o[0]) for o in info]
    c, i = out_floats(21), out_ints(7)
    res["coords"] = lib.scn_read_nodes_coords(r, 1, fptr(c)), c.tolist()
    res["ids"] = lib.scn_read_nodes_ids(r, 1, iptr(i)), i.tolist()
    vi, nv, uu, uv = out_ints(), out_ints(), out_ints(), out_floats()
    res["var"] = (lib.scn_read_nodes_var_info(r, 1, 0, iptr(vi), iptr(nv), iptr(uu), fptr(uv)),
                  [int(vi[0]), int(nv[0]), int(uu[0]), float(uv[0])])
    v = out_floats(7)
    res["vals"] = lib.scn_read_nodes_var_values(r, 1, 0, fptr(v)), v.tolist()
    """)
    # node set 1 is the second geom with nodes: geom 2
    assert res["info"] == [0, [7, 3, 1, 1, 12]]
    assert res["coords"] == [0, list(range(200, 221))]
    assert res["ids"] == [0, list(range(20, 27))]
    assert res["var"] == [0, [0, 7, 1, -2.0]]
    assert res["vals"] == [0, [2.5] * 7]
    assert printed == ""


def test_geom_info_names_the_geom_itself(tmp_path):
    res, printed = read_isolated(tmp_path, legacy_tree(), """
    lib.scn_read_geom_num(r)
    for g in range(3):
        wn, we, ep = out_ints(), out_ints(), out_ints()
        res[g] = lib.scn_read_geom_info(r, g, iptr(wn), iptr(we), iptr(ep)), [int(wn[0]), int(we[0]), int(ep[0])]
    e, mn, mx = out_ints(), out_floats(3), out_floats(3)
    res["extents"] = lib.scn_read_geom_extents(r, 2, iptr(e), fptr(mn), fptr(mx)), mn.tolist() + mx.tolist()
    """)
    assert res["0"] == [0, [0, 0, 1]]
    assert res["1"] == [0, [-1, -1, 1]]  # no nodes
    assert res["2"] == [0, [2, 2, 1]]
    assert res["extents"] == [0, [2, 2, 2, 3, 3, 3]]
    assert printed == ""


def test_element_lists_are_read_through_the_index(tmp_path):
    res, printed = read_isolated(tmp_path, legacy_tree(), """
    lib.scn_read_elem_list_num(r)
    info = [out_ints() for _ in range(4)]
    res["list"] = lib.scn_read_elem_list_info(r, 1, *[iptr(o) for o in info]), [int(o[0]) for o in info]
    vi, uu, uv = out_ints(), out_ints(), out_floats()
    res["slot"] = (lib.scn_read_elem_list_var_info(r, 1, 0, iptr(vi), iptr(uu), fptr(uv)),
                   [int(vi[0]), int(uu[0]), float(uv[0])])
    t, n, ln = out_ints(), out_ints(), out_ints()
    res["elem"] = lib.scn_read_elem_info(r, 1, 0, iptr(t), iptr(n), iptr(ln)), [int(t[0]), int(n[0]), int(ln[0])]
    c, i = out_ints(3), out_ints(1)
    res["conn"] = lib.scn_read_elem_connectivity(r, 1, 1, iptr(c)), c.tolist()
    res["ids"] = lib.scn_read_elem_ids(r, 1, 1, iptr(i)), i.tolist()
    v = out_floats(3)
    res["vals"] = lib.scn_read_elem_var_values(r, 1, 1, 0, fptr(v)), v.tolist()
    """)
    # list 1 is in geom 2; its slot 0 is the variable group of record 1 there
    assert res["list"] == [0, [2, 1, 22, 1]]
    assert res["slot"] == [0, [1, 1, 201.0]]
    assert res["elem"] == [0, [2004, 1, 3]]
    assert res["conn"] == [0, [2, 1, 9]]
    assert res["ids"] == [0, [2001]]
    assert res["vals"] == [0, [2.25] * 3]  # a vector variable: 3 floats
    assert printed == ""


OUT_OF_RANGE = [
    ("scn_read_nodes_info(r, 2, None, None, None, None, None)",
     "scn_read_nodes_info: error no legacy node set 2\n"),
    ("scn_read_nodes_coords(r, -1, None)", "scn_read_nodes_coords: error no legacy node set -1\n"),
    ("scn_read_nodes_var_values(r, 5, 0, None)",
     "scn_read_nodes_var_values: error no legacy node set 5\n"),
    ("scn_read_elem_list_info(r, 2, None, None, None, None)",
     "scn_read_elem_list_info: error no legacy element list 2\n"),
    ("scn_read_elem_connectivity(r, 7, 0, None)",
     "scn_read_elem_connectivity: error no legacy element list 7\n"),
]


@pytest.mark.parametrize("scanned", [True, False])
@pytest.mark.parametrize("call,message", OUT_OF_RANGE)
def test_indices_outside_the_scan_are_refused(tmp_path, call, message, scanned):
    # before the scan has run every index is outside it
    res, printed = read_isolated(tmp_path, legacy_tree(), f"""
    if {scanned}:
        lib.scn_read_geom_num(r)
    res["status"] = lib.{call}
    """)
    assert res["status"] == 1
    assert printed == message


def test_malformed_legacy_node_set_is_refused_without_overrun(tmp_path):
    tree = legacy_tree()
    tree[G % 2 + "/nodes/coords"] = f32(range(500))
    res, printed = read_isolated(tmp_path, tree, """
    lib.scn_read_nodes_num(r)
    c = out_floats(21)
    res["status"] = lib.scn_read_nodes_coords(r, 1, fptr(c))
    res["untouched"] = bool((c == -77.0).all())
    """)
    assert res == {"status": 1, "untouched": True}
    assert printed == "Error reading dataset: coords\n"


def test_opening_a_version_2_file_switches_every_handle(tmp_path):
    v2 = tmp_path / "v2.h5"
    h5build(v2, {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                                    "scn_file_version": text_attr("2.00")}},
                 "/top/Nodes": {"attrs": {"nNodes": int_attr(4)}}})
    res, printed = read_isolated(tmp_path, legacy_tree(), f"""
    res["before"] = lib.scn_read_nodes_num(r)
    other = open_read({str(v2)!r})
    res["after"] = lib.scn_read_nodes_num(r)  # r's file has no /top/Nodes
    res["other"] = lib.scn_read_nodes_num(other)
    """)
    assert res == {"before": 2, "after": 0, "other": 4}
    assert printed == ""


def test_write_handle_of_a_process_that_read_nothing_uses_version_2(tmp_path):
    printed = run_isolated(f"""
import numpy as np
from geomlib import fptr
from scnlib import close, lib, open_write
h = open_write({str(tmp_path / "w.h5")!r})
lib.scn_write_geom(h, 0, 0, 0, 0, 0, None, None)
lib.scn_write_nodes(h, 0, 1, 3, 0, 0, 0, fptr(np.zeros(3, np.float32)), None)
counts = lib.scn_read_geom_num(h), lib.scn_read_nodes_num(h)
close(h)
lib.flush()
print(counts)
""")
    assert printed == "(1, 1)\n"
