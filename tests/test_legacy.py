"""Reading files of the legacy layout (file version below "2."), where node
sets and element lists live inside the geom groups and are numbered by a
one-time scan of the geoms.

The files are built with h5py; they are read in fresh processes, because the
readers choose the layout from the version of the file opened last, a
process-wide state."""
import json
import textwrap

import pytest

from geomlib import TOP, G, f32, legacy_tree, version_attrs
from scnlib import h5build, int_attr, run_isolated

def read_isolated(tmp_path, tree, body):
    """Builds the file, then runs `body` in a fresh process with `r` open on
    it. `body` stores results in `res`; returns (res, what was printed)."""
    path, out = tmp_path / "legacy.h5", tmp_path / "res.json"
    h5build(path, tree)
    src = ("import json, signal\nfrom geomlib import call\n"
           "signal.alarm(60)\n"  # a scan that never ends fails rather than hangs
           "from scnlib import close, lib, open_read\n"
           f"r = open_read({str(path)!r})\nres = {{}}\n" + textwrap.dedent(body)
           + f"\nclose(r)\nlib.flush()\njson.dump(res, open({str(out)!r}, 'w'))\n")
    printed = run_isolated(src)
    # Opening the oldest files reports the absent current version attributes.
    printed = "".join(line for line in printed.splitlines(keepends=True)
                      if not line.startswith("Error opening group for attribute: scn_"))
    return json.loads(out.read_text()), printed


SCAN = """
res["counts"] = [lib.scn_read_geom_num(r), lib.scn_read_nodes_num(r), lib.scn_read_elem_list_num(r)]
h = r.contents
res["nodesInGeom"] = [h.nodesInGeom[i] for i in range(max(h.nodeSetsFound, 0))]
res["elemsInGeom"] = [h.elemsInGeom[i] for i in range(max(h.elemListsFound, 0))]
"""
SCANS = [
    # label, tree, geom / node-set / element-list counts, geoms of the node sets and lists
    ("nodes 5, 0, 7", legacy_tree(), [3, 2, 2], [0, 2]),
    ("file version 1.00", legacy_tree(style="rw_release"), [3, 2, 2], [0, 2]),
    ("geom 1 without nodes", legacy_tree((5, None, 7)), [0, 1, 1], [0]),
    ("no Geoms group", {"/top": {"attrs": version_attrs("scn")}}, [0, -1, -1], []),
    ("nGeoms 0", legacy_tree((), n_geoms=0), [0, -1, -1], []),
    ("nGeoms beyond the geoms stored", legacy_tree((5, 7), n_geoms=2_000_000_000), [0, 2, 2],
     [0, 1]),
]


@pytest.mark.parametrize("label,tree,counts,geoms", SCANS, ids=[s[0] for s in SCANS])
def test_scan_numbers_node_sets_and_element_lists(tmp_path, label, tree, counts, geoms):
    res, printed = read_isolated(tmp_path, tree, SCAN)
    assert res == {"counts": counts, "nodesInGeom": geoms, "elemsInGeom": geoms}
    assert printed == ""


INDEXED = [  # entry, *args, (status, outputs), read once the scan has run
    # geoms name themselves when they have nodes
    ("scn_read_geom_info", 0, *"iii", (0, [0, 0, 1])),
    ("scn_read_geom_info", 1, *"iii", (0, [-1, -1, 1])),
    ("scn_read_geom_info", 2, *"iii", (0, [2, 2, 1])),
    ("scn_read_geom_extents", 2, "i", "f3", "f3", (0, [0, [2, 2, 2], [3, 3, 3]])),
    # node set 1 is the second geom with nodes: geom 2
    ("scn_read_nodes_info", 1, *"iiiii", (0, [7, 3, 1, 1, 12])),
    ("scn_read_nodes_coords", 1, "f21", (0, [list(range(200, 221))])),
    ("scn_read_nodes_ids", 1, "i7", (0, [list(range(20, 27))])),
    ("scn_read_nodes_var_info", 1, 0, *"iiif", (0, [0, 7, 1, -2.0])),
    ("scn_read_nodes_var_values", 1, 0, "f7", (0, [[2.5] * 7])),
    # list 1 is in geom 2; its slot 0 is the variable group of record 1 there
    ("scn_read_elem_list_info", 1, *"iiii", (0, [2, 1, 22, 1])),
    ("scn_read_elem_list_var_info", 1, 0, *"iif", (0, [1, 1, 201.0])),
    ("scn_read_elem_info", 1, 0, *"iii", (0, [2004, 1, 3])),
    ("scn_read_elem_connectivity", 1, 1, "i3", (0, [[2, 1, 9]])),
    ("scn_read_elem_ids", 1, 1, "i1", (0, [[2001]])),
    ("scn_read_elem_var_values", 1, 1, 0, "f3", (0, [[2.25] * 3])),  # a vector: 3 floats
    # node set 0 (geom 0) stores more coordinates than its counts: refused, untouched
    ("scn_read_nodes_coords", 0, "f15", (1, [[-77.0] * 15])),
]


OUTSIDE = [  # legacy indices the scan did not find: entry, *args, what the message names
    ("scn_read_nodes_info", 2, None, None, None, None, None, "node set 2"),
    ("scn_read_nodes_coords", -1, None, "node set -1"),
    ("scn_read_nodes_var_values", 5, 0, None, "node set 5"),
    ("scn_read_elem_list_info", 2, None, None, None, None, "element list 2"),
    ("scn_read_elem_connectivity", 7, 0, None, "element list 7"),
]


def test_records_are_read_through_the_index_and_other_indices_refused(tmp_path):
    tree = legacy_tree()
    tree[G % 0 + "/nodes/coords"] = f32(range(500))
    outside = [row[:-1] for row in OUTSIDE]
    res, printed = read_isolated(tmp_path, tree, f"""
    res["before the scan"] = [call(e, r, *a) for e, *a in {outside!r}]
    lib.scn_read_geom_num(r)
    res["indexed"] = [call(e, r, *a) for e, *a in {[row[:-1] for row in INDEXED]!r}]
    res["after the scan"] = [call(e, r, *a) for e, *a in {outside!r}]
    """)
    assert res == {"before the scan": [[1, []]] * 5, "indexed": [list(row[-1]) for row in INDEXED],
                   "after the scan": [[1, []]] * 5}
    refusals = "".join(f"{row[0]}: error no legacy {row[-1]}\n" for row in OUTSIDE)
    assert printed == refusals + "Error reading dataset: coords\n" + refusals


def test_opening_a_version_2_file_switches_every_handle(tmp_path):
    v2 = tmp_path / "v2.h5"
    h5build(v2, {**TOP, "/top/Nodes": {"attrs": {"nNodes": int_attr(4)}}})
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
