"""Variable records, extents and palettes, and the component count of each
variable kind as the value writers and readers apply it."""
import numpy as np
import pytest

from geomlib import (COMPLEX_SCALAR, COMPLEX_VECTOR, NORMALIZED_VECTOR, PER_PART_CONSTANT,
                     SCALAR, TOP, VECTOR, check, f32, floats, group, ints)
from scnlib import int_attr, text_attr

VAR = "/top/Vars/var_0"
VALS = np.arange(24, dtype=np.float32)
HOLDERS = {  # the values' group, its attributes, reader and writer calls
    "nodes": ("/top/Nodes/nodes_0/var_0", {"varIndex": 2, "numValues": 4, "useUndefined": 0,
                                           "undefinedValue": 0.0},
              ("scn_read_nodes_var_values", 0, 0), [
        ("scn_write_nodes", 0, 4, 3, 0, 1, 0, np.zeros(12, np.float32), None),
        ("scn_write_nodes_var", 0, 0, 2, 4, 0, 0.0, VALS)]),
    "elems": ("/top/ElemLists/elemlist_0/elem_0/var_0", {"numValues": 4},
              ("scn_read_elem_var_values", 0, 0, 0), [
        ("scn_write_elem_list", 0, 1, 1, 0, 0), ("scn_write_elem_list_var_info", 0, 0, 2, 0, 0.0),
        ("scn_write_elem", 0, 0, 2000, 4, 4, ints(0, 1, 2, 3), None),
        ("scn_write_elem_var", 0, 0, 0, 2, 4, VALS)]),
}


def var(index, kind, name=b"v", desc=b"", centering=3000, extents=0, palette=0, lo=None, hi=None):
    return ("scn_write_var", index, name, desc, centering, kind, extents, palette, lo, hi)


def values_case(holder, kind, n):
    """Four values of a variable of `kind` (None: no variable record), n floats each."""
    group_path, attrs, read, writes = HOLDERS[holder]
    return (f"{holder}-{kind}", ([var(2, kind)] if kind is not None else []) + writes,
            {group_path: attrs, group_path + "/vals": list(range(4 * n)) or None},
            [(*read, f"f{4 * n + 1}", (0, [list(range(4 * n)) + [-77.0]]))] if n else [],
            "scn_read_var_info: error opening group '/top/Vars/var_2'\n" if kind is None else "")


def extents_case(kind, lo, hi, stored):
    w = len(stored) // 2  # the outputs beyond the kind's width are left untouched
    return (f"extents-{kind}", [var(0, kind, extents=1, lo=lo, hi=hi)], {VAR + "/extents": stored},
            [("scn_read_var_extents", 0, "f3", "f3",
              (0, [stored[:w] + [-77.0] * (3 - w), stored[w:] + [-77.0] * (3 - w)]))], "")


PALETTE = [np.linspace(0, 1, 3, dtype=np.float32), floats(0, 1, 2), floats(0, 1), floats(10, 11),
           np.linspace(0, 1, 150, dtype=np.float32), np.arange(20, 170, dtype=np.float32)]
NAME = "A" * 20 + "b" * 20
CASES = [
    *[values_case(holder, kind, n) for holder in HOLDERS for kind, n in [
        (SCALAR, 1), (VECTOR, 3), (NORMALIZED_VECTOR, 3), (COMPLEX_SCALAR, 2), (COMPLEX_VECTOR, 6),
        (PER_PART_CONSTANT, 0), (3106, 0), (0, 0), (None, 0)]],
    extents_case(SCALAR, floats(-2.5), floats(7.0), [-2.5, 7.0]),
    extents_case(COMPLEX_SCALAR, floats(1.0), floats(2.0), [1.0, 2.0]),
    extents_case(VECTOR, floats(1, 2, 3), None, [1, 2, 3, 0, 0, 0]),
    extents_case(NORMALIZED_VECTOR, None, floats(4, 5, 6), [0, 0, 0, 4, 5, 6]),
    extents_case(COMPLEX_VECTOR, floats(-1, -2, -3), floats(1, 2, 3), [-1, -2, -3, 1, 2, 3]),
    extents_case(PER_PART_CONSTANT, floats(1, 2, 3), floats(4, 5, 6), []),
    ("var records",
     [var(1, VECTOR, b"velocity", b"flow velocity", centering=3001, palette=1),
      var(0, COMPLEX_VECTOR, b"N" * 70, b"D" * 127, centering=3002, extents=1,
          lo=floats(0, 0, 0), hi=floats(1, 1, 1))],
     {"/top/Vars": {"nVars": 2}, "/top/Vars/var_1/extents": None,
      "/top/Vars/var_1": {"varName": "velocity", "varDesc": "flow velocity", "varCentering": 3001,
                          "varKind": 3101, "extentsProvided": 0, "paletteProvided": 1},
      "/top/Vars/var_1:varName.type": "int8[64]", "/top/Vars/var_1:varDesc.type": "int8[128]",
      "/top/Vars/var_1:varCentering.type": "int32[]", "/top/Vars/var_1:varKind.type": "int32[]",
      VAR + ":varName": "N" * 64},
     [("scn_read_var_num", (2, [])),
      ("scn_read_var_info", 0, "s80", "s128", *"iiii",
       (0, [b"N" * 64 + b"\x01" * 16 + b"\0", b"D" * 127 + b"\0\0", 3002, COMPLEX_VECTOR, 1, 0])),
      ("scn_read_var_info", 1, None, None, *"iiii", (0, [3001, VECTOR, 0, 1])),
      ("scn_read_var_info", 0, *[None] * 6, (0, []))], ""),  # every output may be skipped
    ("palette",
     [var(0, SCALAR), ("scn_write_var_palette", 0, NAME.encode(), 7, 20, -1.5, 9.0, 256, 3, 2, 150,
                       0, *PALETTE, None, None)],
     {VAR: {"varName": "v", "varDesc": "", "varCentering": 3000, "varKind": 3100,
            "extentsProvided": 0, "paletteProvided": 1, "paletteName": NAME, "paletteInterp": 7,
            "colorSpace": 20, "palMinVal": -1.5, "palMaxVal": 9.0, "nSamples": 256,
            "nRedOrHue": 3, "nGrnOrSat": 2, "nBluOrVal": 150, "nAlpha": 0},
      VAR + ":paletteName.type": "int8[64]", VAR + ":palMinVal.type": "float32[]",
      VAR + "/alphaCntl": None, VAR + "/alphaCols": None, VAR + "/redOrHueCntl.chunks": None,
      VAR + "/bluOrValCols.chunks": [150], VAR + "/bluOrValCols.gzip_level": 9,
      VAR + "/bluOrValCols.filters": ["shuffle", "deflate"]},
     [("scn_read_var_palette_info", 0, "s40", *"iiffiiiii",  # 32 bytes of the name written
       (0, [NAME[:31].encode() + b"\0" + b"\x01" * 8 + b"\0", 7, 20, -1.5, 9.0, 256, 3, 2, 150,
            0])),
      ("scn_read_var_palette_colors", 0, *"f3 f3 f2 f2 f150 f150 f1 f1".split(),
       (0, [a.tolist() for a in PALETTE] + [[-77.0], [-77.0]]))], ""),  # alpha untouched
    ("rewriting a var turns its palette off and keeps the items",
     [var(0, SCALAR), ("scn_write_var_palette", 0, b"p", 7, 20, 0.0, 1.0, 8, 2, 2, 2, 2,
                       *[floats(30, 31)] * 8), var(0, VECTOR)],
     {"/top/Vars": {"nVars": 1}, VAR + ":varKind": VECTOR, VAR + ":paletteProvided": 0,
      VAR + ":nAlpha": 2, VAR + "/alphaCols": [30, 31]}, [], ""),
]


@pytest.mark.parametrize("label,source,stored,reads,printed", CASES, ids=[c[0] for c in CASES])
def test_layout_and_round_trip(tmp_path, c_out, label, source, stored, reads, printed):
    check(tmp_path / "v.h5", c_out, source, stored, reads, printed)


def malformed_var(**over):
    attrs = {"varName": text_attr("v", 64), "varDesc": text_attr("", 128),
             **group(varCentering=3000, varKind=SCALAR, extentsProvided=1, paletteProvided=1,
                     nRedOrHue=2, nGrnOrSat=0, nBluOrVal=0, nAlpha=0)["attrs"]}
    tree = {**TOP, "/top/Vars": group(nVars=1), VAR: {"attrs": attrs},
            VAR + "/extents": f32([1, 2]), VAR + "/redOrHueCntl": f32([0, 1]),
            VAR + "/redOrHueCols": f32([0, 1])}
    for key, value in over.items():
        if value.get("type") == "dataset":
            tree[VAR + "/" + key] = value
        else:
            attrs[key] = value
    return tree


COLORS = ("scn_read_var_palette_colors", 0, *["f2"] * 8)
MALFORMED = [
    # label, changes, read (entry, *args, (status, outputs)), message
    ("long palette array", {"redOrHueCols": f32(range(50))},
     (*COLORS, (1, [[0.0, 1.0]] + [[-77.0] * 2] * 7)), "Error reading dataset: redOrHueCols\n"),
    ("negative count", {"nRedOrHue": int_attr(-3)}, (*COLORS, (0, [[-77.0] * 2] * 8)), ""),
    ("scalar extents of 6", {"extents": f32([1, 2, 3, 4, 5, 6])},
     ("scn_read_var_extents", 0, "f", "f", (1, [0.0, 0.0])), "Error reading dataset: extents\n"),
    ("name wider than 64", {"varName": text_attr("v", 300)},
     ("scn_read_var_info", 0, "s64", *[None] * 5, (1, [b"\x01" * 64 + b"\0"])),
     "Error reading attribute: varName\n"),
    ("palette without range: the empty range", {},
     ("scn_read_var_palette_info", 0, None, None, None, "f", "f", *[None] * 5, (0, [1.0, -1.0])),
     ""),
]


@pytest.mark.parametrize("label,changes,read,message", MALFORMED, ids=[m[0] for m in MALFORMED])
def test_malformed_var_records_never_overrun(tmp_path, c_out, label, changes, read, message):
    check(tmp_path / "m.h5", c_out, malformed_var(**changes), {}, [read], message)
