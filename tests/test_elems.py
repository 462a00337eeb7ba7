"""Element lists, element records and element values in the version-2
layout."""
import numpy as np
import pytest

from geomlib import SCALAR, TOP, VECTOR, check, f32, group, i32, ints

LIST = "/top/ElemLists/elemlist_0"
CONN = np.arange(120, dtype=np.int32)  # 40 triangles: compressed


def test_element_lists_slots_and_records_layout_and_round_trip(tmp_path, c_out):
    check(tmp_path / "e.h5", c_out, [
        ("scn_write_elem_list", 2, 3, 1, 8, 1),
        ("scn_write_elem_list", 2, 4, 2, 9, 0),  # rewritten: counted once
        ("scn_write_elem_list", 0, 2, 2, 0, 1),
        ("scn_write_elem_list_var_info", 0, 1, 6, 1, 99.5),
        ("scn_write_elem", 0, 0, 2004, 40, 120, CONN, np.arange(1000, 1040, dtype=np.int32)),
        ("scn_write_elem", 0, 1, 2011, 0, 0, None, None),             # nothing to store
        ("scn_write_elem", 2, 0, 2004, 1, 3, ints(0, 1, 2), ints(5)),  # a list without ids
    ], {
        "/top/ElemLists": {"nElemLists": 2},
        "/top/ElemLists/elemlist_2": {"numElemRecs": 4, "numElemVars": 2, "elemNormalIndex": 9,
                                      "hasElemIds": 0},
        LIST + "/var_1": {"varIndex": 6, "useUndefined": 1, "undefinedValue": 99.5},
        LIST + "/var_1:undefinedValue.type": "float32[]",
        LIST + "/elem_0": {"elemListType": 2004, "elemCount": 40, "lenList": 120},
        LIST + "/elem_0/conn": CONN.tolist(), LIST + "/elem_0/conn.dtype": "int32",
        LIST + "/elem_0/conn.chunks": [120], LIST + "/elem_0/conn.gzip_level": 9,
        LIST + "/elem_0/conn.filters": ["shuffle", "deflate"],
        LIST + "/elem_0/ids": list(range(1000, 1040)), LIST + "/elem_0/ids.chunks": None,
        LIST + "/elem_1/conn": None, LIST + "/elem_1/ids": None,
        "/top/ElemLists/elemlist_2/elem_0/conn": [0, 1, 2],
        "/top/ElemLists/elemlist_2/elem_0/ids": None,
    }, [
        ("scn_read_elem_list_num", (2, [])),
        ("scn_read_elem_list_info", 2, *"iiii", (0, [4, 2, 9, 0])),
        ("scn_read_elem_list_var_info", 0, 1, *"iif", (0, [6, 1, 99.5])),
        ("scn_read_elem_info", 0, 0, *"iii", (0, [2004, 40, 120])),
        ("scn_read_elem_connectivity", 0, 0, "i120", (0, [CONN.tolist()])),
        ("scn_read_elem_ids", 0, 0, "i40", (0, [list(range(1000, 1040))])),
        # a record without connectivity has nothing to read
        ("scn_read_elem_connectivity", 0, 1, "i3", (1, [[-77] * 3])),
    ], "Error opening dataset: conn\n")


def malformed_list(count=2, len_list=6, conn=6, ids=2, kind=SCALAR, vals=2, slot=False):
    tree = {**TOP, "/top/Vars/var_0": group(varKind=kind),
            LIST: group(numElemRecs=1, hasElemIds=1),
            LIST + "/elem_0": group(elemCount=count, lenList=len_list),
            LIST + "/elem_0/conn": i32([1] * conn), LIST + "/elem_0/ids": i32([1] * ids),
            LIST + "/elem_0/var_0": group(numValues=count),
            LIST + "/elem_0/var_0/vals": f32([1] * vals)}
    if slot:
        tree[LIST + "/var_0"] = group(varIndex=0)
    return tree


READERS = {  # into buffers sized from the counts of the well-formed record: left untouched
    "conn": ("scn_read_elem_connectivity", 0, 0, "i6", (1, [[-77] * 6])),
    "ids": ("scn_read_elem_ids", 0, 0, "i2", (1, [[-77] * 2])),
    "vals": ("scn_read_elem_var_values", 0, 0, 0, "f2", (1, [[-77.0] * 2])),
}
MALFORMED = [
    ("conn longer than lenList", {"conn": 7}, "conn", "Error reading dataset: conn\n"),
    ("negative lenList", {"len_list": -6}, "conn", "Error reading dataset: conn\n"),
    ("ids longer than elemCount", {"ids": 40}, "ids", "Error reading dataset: ids\n"),
    ("negative elemCount", {"count": -2}, "ids", "Error reading dataset: ids\n"),
    ("conn shorter than lenList", {"conn": 5}, "conn", "Error reading dataset: conn\n"),
    ("ids shorter than elemCount", {"ids": 1}, "ids", "Error reading dataset: ids\n"),
    # values must be elemCount values of 1, 2, 3 or 6 components
    ("vals not a whole number of components", {"vals": 3}, "vals",
     "Error reading dataset: vals\n"),
    ("vals beyond six components", {"count": 1, "vals": 7}, "vals",
     "Error reading dataset: vals\n"),
    # with a slot naming the variable, its kind decides
    ("vals beyond the slot variable's components", {"slot": True, "vals": 6}, "vals",
     "Error reading dataset: vals\n"),
]


@pytest.mark.parametrize("label,changes,reader,message", MALFORMED, ids=[m[0] for m in MALFORMED])
def test_malformed_element_records_are_refused_without_overrun(tmp_path, c_out, label, changes,
                                                               reader, message):
    check(tmp_path / "m.h5", c_out, malformed_list(**changes), {}, [READERS[reader]], message)


@pytest.mark.parametrize("kind, components", [(SCALAR, 1), (VECTOR, 3), (3104, 6)])
def test_element_values_read_without_the_lists_slot(tmp_path, c_out, kind, components):
    """Values written by the element-value writer alone: the reader needs no
    slot of the list, and takes the stored values whole."""
    vals = np.arange(2 * components, dtype=np.float32) / 4
    check(tmp_path / "v.h5", c_out, [
        ("scn_write_var", 0, b"v", b"", 3001, kind, 0, 0, None, None),
        ("scn_write_elem_list", 0, 1, 1, 0, 0),
        ("scn_write_elem", 0, 0, 2004, 2, 6, ints(0, 1, 2, 1, 2, 3), None),
        ("scn_write_elem_var", 0, 0, 0, 0, 2, vals),
    ], {LIST + "/var_0": None, LIST + "/elem_0/var_0/vals": vals.tolist()}, [
        ("scn_read_elem_var_values", 0, 0, 0, f"f{2 * components}", (0, [vals.tolist()])),
    ])
