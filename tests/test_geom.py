"""Geoms, node sets and node variables in the version-2 layout; the large
meshes of node sets and element records; the writers' refusals and the
readers of missing records of every geometry family."""
import json
import subprocess
import sys

import numpy as np
import pytest

from geomlib import SCALAR, TOP, VECTOR, call, check, f32, floats, group, i32
from scnlib import close, open_read

NODES = "/top/Nodes/nodes_0"
# var_0 (scalar), nodes_0, and elemlist_0 (with ids) with an empty record 1
SETUP = [("scn_write_var", 0, b"v", b"", 3000, SCALAR, 0, 0, None, None),
         ("scn_write_nodes", 0, 1, 3, 0, 0, 0, floats(0, 0, 0), None),
         ("scn_write_elem_list", 0, 1, 1, 0, 1), ("scn_write_elem", 0, 1, 2004, 0, 0, None, None)]


def geom_case(provided, empty, mn, mx, stored, read):
    g = "/top/Geoms/geom_0"
    return (f"geom extents {provided}{empty}",
            [("scn_write_geom", 0, 4, 9, provided, empty, mn, mx)],
            {"/top/Geoms": {"nGeoms": 1}, g + "/extents": stored, g: {
                "numAttrs": 0, "whichNodes": 4, "whichElemList": 9, "extentsProvided": provided,
                "empty": empty}},
            [("scn_read_geom_num", (1, [])),
             ("scn_read_geom_info", 0, *"iii", (0, [4, 9, provided])),
             ("scn_read_geom_extents", 0, "i", "f3", "f3", (0, [empty, read[:3], read[3:]])),
             # a null empty output still honours the stored flag
             ("scn_read_geom_extents", 0, None, "f3", None, (0, [read[:3]]))], "")


COORDS = np.arange(102, dtype=np.float32) / 4  # 102 coordinates: compressed
IDS = np.arange(134, 100, -1, dtype=np.int32)  # 34 ids: not compressed
UNDEFINED = float(np.float32(-1e30))
MISSING = [  # entry, *args, group
    ("scn_read_geom_extents", 5, None, None, None, "/top/Geoms/geom_5"),
    ("scn_read_nodes_info", 5, *[None] * 5, "/top/Nodes/nodes_5"),
    ("scn_read_nodes_var_values", 5, 0, None, "/top/Nodes/nodes_5/var_0"),
    ("scn_read_elem_list_var_info", 5, 0, None, None, None, "/top/ElemLists/elemlist_5/var_0"),
    ("scn_read_elem_ids", 5, 1, None, "/top/ElemLists/elemlist_5/elem_1"),
    ("scn_read_elem_var_values", 5, 1, 2, None, "/top/ElemLists/elemlist_5/elem_1/var_2"),
    ("scn_read_var_palette_colors", 5, *[None] * 8, "/top/Vars/var_5"),
]
CASES = [
    geom_case(1, 0, floats(1, 2, 3), floats(4, 5, 6), [1, 2, 3, 4, 5, 6], [1, 2, 3, 4, 5, 6]),
    geom_case(1, 0, None, floats(4, 5, 6), [0, 0, 0, 4, 5, 6], [0, 0, 0, 4, 5, 6]),
    geom_case(1, 1, floats(1, 2, 3), floats(4, 5, 6), [0] * 6, [0] * 6),
    geom_case(0, 0, floats(1, 2, 3), floats(4, 5, 6), None, [0] * 6),
    ("node sets and a node variable",
     [("scn_write_var", 4, b"v", b"", 3000, SCALAR, 0, 0, None, None),
      ("scn_write_nodes", 0, 34, 3, 1, 2, 5, COORDS, IDS),
      ("scn_write_nodes", 1, 0, 3, 0, 0, -1, None, None),             # no nodes
      ("scn_write_nodes", 2, 2, 2, 0, 0, -1, floats(0, 0, 1, 1), None),  # no ids
      ("scn_write_nodes_var", 0, 2, 4, 3, 1, -1e30, floats(1.5, -1e30, 3.25))],
     {"/top/Nodes": {"nNodes": 3},
      NODES: {"numNodes": 34, "nodeDimension": 3, "hasNodeIds": 1, "numNodalVars": 2,
              "nodeNormalIndex": 5},
      NODES + "/coords": COORDS.tolist(), NODES + "/coords.dtype": "float32",
      NODES + "/coords.chunks": [102], NODES + "/coords.filters": ["shuffle", "deflate"],
      NODES + "/coords.gzip_level": 9, NODES + "/ids": IDS.tolist(), NODES + "/ids.dtype": "int32",
      NODES + "/ids.chunks": None, NODES + "/ids.filters": [],
      "/top/Nodes/nodes_1/coords": None, "/top/Nodes/nodes_1/ids": None,
      "/top/Nodes/nodes_2/coords": [0, 0, 1, 1], "/top/Nodes/nodes_2/ids": None,
      NODES + "/var_2": {"varIndex": 4, "numValues": 3, "useUndefined": 1,
                         "undefinedValue": UNDEFINED},
      NODES + "/var_2:undefinedValue.type": "float32[]"},
     [("scn_read_nodes_num", (3, [])),
      ("scn_read_nodes_info", 0, *"iiiii", (0, [34, 3, 1, 2, 5])),
      ("scn_read_nodes_coords", 0, "f102", (0, [COORDS.tolist()])),
      ("scn_read_nodes_ids", 0, "i34", (0, [IDS.tolist()])),
      ("scn_read_nodes_var_info", 0, 2, *"iiif", (0, [4, 3, 1, UNDEFINED])),
      ("scn_read_nodes_ids", 2, "i2", (1, [[-77, -77]]))],  # a set without ids has none
     "Error opening dataset: ids\n"),
    ("readers of missing records", SETUP, {},  # a sample of each family
     [(*row[:-1], (1, [])) for row in MISSING],
     "".join(f"{row[0]}: error opening group '{row[-1]}'\n" for row in MISSING)),
]


@pytest.mark.parametrize("label,source,stored,reads,printed", CASES, ids=[c[0] for c in CASES])
def test_layout_and_round_trip(tmp_path, c_out, label, source, stored, reads, printed):
    check(tmp_path / "g.h5", c_out, source, stored, reads, printed)


def malformed_nodes(num_nodes=2, dim=3, coords=6, ids=2, num_values=2, kind=SCALAR, vals=2,
                    extents=6):
    return {**TOP, "/top/Vars/var_0": group(varKind=kind),
            "/top/Geoms/geom_0": group(extentsProvided=1, empty=0),
            "/top/Geoms/geom_0/extents": f32([0.5] * extents),
            NODES: group(numNodes=num_nodes, nodeDimension=dim),
            NODES + "/coords": f32([0.5] * coords), NODES + "/ids": i32([1] * ids),
            NODES + "/var_0": group(varIndex=0, numValues=num_values),
            NODES + "/var_0/vals": f32([0.5] * vals)}


READERS = {  # into buffers sized from the counts of the well-formed record: left untouched
    "coords": ("scn_read_nodes_coords", 0, "f6", (1, [[-77.0] * 6])),
    "ids": ("scn_read_nodes_ids", 0, "i2", (1, [[-77] * 2])),
    "vals": ("scn_read_nodes_var_values", 0, 0, "f6", (1, [[-77.0] * 6])),
    "extents": ("scn_read_geom_extents", 0, None, "f3", "f3", (1, [[0.0] * 3, [0.0] * 3])),
}
MALFORMED = [
    ("coords longer than counts", {"coords": 400}, "coords"),
    ("negative numNodes", {"num_nodes": -5}, "coords"),
    ("negative dimension", {"dim": -1}, "coords"),
    ("overflowing product", {"num_nodes": 70000, "dim": 70000}, "coords"),
    ("ids longer than numNodes", {"ids": 3}, "ids"),
    ("negative numNodes for ids", {"num_nodes": -1}, "ids"),
    ("vals longer than numValues", {"vals": 3}, "vals"),
    ("vals of a vector read as scalar", {"kind": VECTOR, "vals": 7}, "vals"),
    ("extents of 3", {"extents": 3}, "extents"),
    ("extents of 9", {"extents": 9}, "extents"),
]


@pytest.mark.parametrize("label,changes,reader", MALFORMED, ids=[m[0] for m in MALFORMED])
def test_malformed_node_sets_are_refused_without_overrun(tmp_path, c_out, label, changes, reader):
    check(tmp_path / "m.h5", c_out, malformed_nodes(**changes), {}, [READERS[reader]],
          f"Error reading dataset: {reader}\n")


PAL, N1, E0 = floats(0, 1), "/top/Nodes/nodes_1", "/top/ElemLists/elemlist_0"
REFUSALS = [
    # label, call on the SETUP file, message, what the file holds after it
    ("null coords", ("scn_write_nodes", 1, 4, 3, 0, 0, 0, None, None),
     "Error writing dataset: coords\n", {N1 + "/coords": None, N1 + ":numNodes": 4}),
    ("negative numNodes", ("scn_write_nodes", 1, -4, 3, 0, 0, 0, None, None),
     "Error creating dataspace for dataset: coords\n",
     {N1 + "/coords": None, N1 + ":numNodes": -4}),
    ("overflowing coords", ("scn_write_nodes", 1, 1 << 20, 1 << 12, 0, 0, 0, None, None),
     "Error creating dataspace for dataset: coords\n",
     {N1 + "/coords": None, N1 + ":nodeDimension": 4096}),
    ("null values", ("scn_write_nodes_var", 0, 1, 0, 3, 0, 0.0, None),
     "Error writing dataset: vals\n", {NODES + "/var_1/vals": None, NODES + "/var_1:numValues": 3}),
    ("null connectivity", ("scn_write_elem", 0, 0, 2004, 1, 3, None, None),
     "Error writing dataset: conn\nError writing dataset: ids\n",
     {E0 + "/elem_0/conn": None, E0 + "/elem_0/ids": None, E0 + "/elem_0:lenList": 3}),
    ("negative element values", ("scn_write_elem_var", 0, 1, 0, 0, -1, None),
     "Error creating dataspace for dataset: vals\n",
     {E0 + "/elem_1/var_0/vals": None, E0 + "/elem_1/var_0:numValues": -1}),
    ("null palette control points",
     ("scn_write_var_palette", 0, b"p", 7, 20, 0.0, 1.0, 256, 2, 0, 0, 0, None, PAL, *[None] * 6),
     "Error writing dataset: redOrHueCntl\n",
     {"/top/Vars/var_0/redOrHueCntl": None, "/top/Vars/var_0/redOrHueCols": [0, 1]}),
    ("node values of a missing node set", ("scn_write_nodes_var", 3, 0, 0, 1, 0, 0.0, PAL),
     "scn_write_nodes_var: error creating var_n group\n", {"/top/Nodes/nodes_3": None}),
    ("element of a missing list", ("scn_write_elem", 4, 0, 2004, 0, 0, None, None),
     "scn_write_elem: error opening group '/top/ElemLists/elemlist_4'\n",
     {"/top/ElemLists/elemlist_4": None}),
    ("palette of a missing variable",
     ("scn_write_var_palette", 3, b"p", 7, 20, 0.0, 1.0, 256, 0, 0, 0, 0, *[None] * 8),
     "scn_write_var_palette: error opening group '/top/Vars/var_3'\n",
     {"/top/Vars/var_3": None, "/top/Vars/var_0:paletteProvided": 0}),
]


@pytest.mark.parametrize("label,write,message,stored", REFUSALS, ids=[w[0] for w in REFUSALS])
def test_writers_refuse_missing_or_impossible_arrays_and_records(tmp_path, c_out, label, write,
                                                                 message, stored):
    check(tmp_path / "w.h5", c_out, SETUP + [write], stored, [], message, failing=1)


def test_large_meshes_round_trip_compressed(tmp_path, c_out):
    n = 1_000_000  # tetrahedra, on 2 n nodes
    lst = "/top/ElemLists/elemlist_0/elem_0"
    arrays = {NODES + "/coords": np.arange(6 * n, dtype=np.float32) * 0.5,
              NODES + "/ids": np.arange(2 * n, dtype=np.int32)[::-1].copy(),
              NODES + "/var_0/vals": np.arange(6 * n, dtype=np.float32) % 1000,
              lst + "/conn": (np.arange(4 * n, dtype=np.int64) * 7919 % 250_000).astype(np.int32),
              lst + "/ids": np.arange(n, dtype=np.int32) + 1,
              lst + "/var_0/vals": (np.arange(3 * n, dtype=np.float32) % 17) * 0.25}
    coords, ids, vals, conn, elem_ids, elem_vals = arrays.values()
    reads = [("scn_read_nodes_coords", 0), ("scn_read_nodes_ids", 0),
             ("scn_read_nodes_var_values", 0, 0), ("scn_read_elem_connectivity", 0, 0),
             ("scn_read_elem_ids", 0, 0), ("scn_read_elem_var_values", 0, 0, 0)]
    check(tmp_path / "big.h5", c_out,
          [("scn_write_var", 0, b"v", b"", 3000, VECTOR, 0, 0, None, None),
           ("scn_write_nodes", 0, 2 * n, 3, 1, 1, -1, coords, ids),
           ("scn_write_nodes_var", 0, 0, 0, 2 * n, 0, 0.0, vals),
           ("scn_write_elem_list", 0, 1, 1, 0, 1),
           ("scn_write_elem_list_var_info", 0, 0, 0, 0, 0.0),
           ("scn_write_elem", 0, 0, 2011, n, 4 * n, conn, elem_ids),
           ("scn_write_elem_var", 0, 0, 0, 0, n, elem_vals)], {}, [])
    r = open_read(tmp_path / "big.h5")
    for (entry, *args), want in zip(reads, arrays.values()):
        got = np.empty_like(want)
        assert call(entry, r, *args, got)[0] == 0 and np.array_equal(got, want), entry
    close(r)
    # Layout read with h5py in a separate process, without dumping the values.
    src = ("import h5py, json, sys\nf = h5py.File(sys.argv[1], 'r')\n"
           "print(json.dumps([[f[n].shape, f[n].chunks, f[n].compression, f[n].compression_opts,"
           " f[n].shuffle] for n in sys.argv[2:]]))\n")
    res = subprocess.run([sys.executable, "-c", src, str(tmp_path / "big.h5"), *arrays],
                         check=True, capture_output=True, text=True)
    assert json.loads(res.stdout) == [[[a.size], [a.size], "gzip", 9, True]
                                      for a in arrays.values()]
