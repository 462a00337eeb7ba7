"""Parts, reps and render-attribute records."""
import ctypes
from ctypes import POINTER, c_char_p, c_int

import pytest

from scnlib import HandleP, b, close, h5build, h5dump, int_attr, ints, lib, open_read, \
    open_write, text_attr

IP = POINTER(c_int)
lib.declare("scn_write_part", c_int, HandleP, c_int, c_char_p, c_char_p, c_int, c_int, c_int)
lib.declare("scn_write_rep", c_int, HandleP, c_int, c_int, c_int, IP, c_int)
lib.declare("scn_write_rendAttr", c_int, HandleP, c_int)
for _name in ("part", "rep", "rendAttr"):
    lib.declare(f"scn_read_{_name}_num", c_int, HandleP)
lib.declare("scn_read_part_info", c_int, HandleP, c_int, c_char_p, c_char_p, IP)
lib.declare("scn_read_part_static_rep", c_int, HandleP, c_int)
lib.declare("scn_read_part_dynamic_rep", c_int, HandleP, c_int)
lib.declare("scn_read_rep_info", c_int, HandleP, c_int, IP, IP, IP)
lib.declare("scn_read_rep_geoms", c_int, HandleP, c_int, IP)

GUARD = -77
TOP = {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                          "scn_file_version": text_attr("2.00")}}}
# (index, name, description, partType, static rep, dynamic rep); part 5 is
# first written as ("a", "b", 0, 1, 2).
PARTS = [(0, "model", "the whole model", 0, 0, 1), (1, "", "", 19, -1, 7),
         (5, "n" * 255, "d" * 256, 1234, 3, 3)]
# (index, geoms, repType, rendAttrIndex)
REPS = [(0, [], 1000, 0), (1, [4, 2, 9, 0], 1005, 2), (2, list(range(150)), 1002, 1)]


def read_part(r, index):
    name, desc, ptype = (ctypes.create_string_buffer(257), ctypes.create_string_buffer(257),
                         c_int())
    status = lib.scn_read_part_info(r, index, name, desc, ptype)
    return (status, name.raw[:256], desc.raw[:256], ptype.value,
            lib.scn_read_part_static_rep(r, index), lib.scn_read_part_dynamic_rep(r, index))


def test_round_trip_and_layout(tmp_path, c_out):
    h = open_write(None)
    assert lib.scn_write_part(h, 0, b"a", b"b", 0, 0, 0) == 1
    assert lib.scn_write_rep(h, 0, 1, 1000, ints([1]), 0) == 1
    assert lib.scn_write_rendAttr(h, 0) == 1
    assert c_out() == ("scn_write_part: error creating Parts group\n"
                       "scn_write_rep: error creating Reps group\n"
                       "scn_write_rendAttr: error creating RendAttrs group\n")
    assert close(h) == 0
    p = tmp_path / "p.h5"
    h = open_write(p)
    assert lib.scn_write_part(h, 5, b"a", b"b", 0, 1, 2) == 0
    for index, name, desc, ptype, srep, drep in PARTS:
        assert lib.scn_write_part(h, index, b(name), b(desc), ptype, srep, drep) == 0
    for index, geoms, rtype, rend in REPS:
        assert lib.scn_write_rep(h, index, len(geoms), rtype, ints(geoms) if geoms else None,
                                 rend) == 0
    for index in (0, 1):
        assert lib.scn_write_rendAttr(h, index) == 0
    assert close(h) == 0

    t = h5dump(p)
    assert [t[f"/top/{g}"]["attrs"][f"n{g}"]["value"] for g in ("Parts", "Reps", "RendAttrs")] \
        == [3, 3, 2]
    part = t["/top/Parts/part_5"]["attrs"]
    assert {k: (a["dtype"], a["shape"]) for k, a in part.items()} == {
        "numAttrs": ("int32", []), "partName": ("int8", [256]), "partDesc": ("int8", [256]),
        "partType": ("int32", []), "staticRepIndex": ("int32", []),
        "dynamicRepIndex": ("int32", [])}
    assert part["numAttrs"]["value"] == 0
    # A description filling the field carries no terminator.
    assert part["partDesc"]["value"] == [ord("d")] * 256
    assert part["partName"]["value"] == [ord("n")] * 255 + [0]
    assert t["/top/RendAttrs/rendAttr_1"]["attrs"] == \
        {"numAttrs": {"dtype": "int32", "shape": [], "value": 0}}
    assert {k: (a["dtype"], a["value"]) for k, a in t["/top/Reps/rep_1"]["attrs"].items()} == \
        {"numRepGeoms": ("int32", 4), "repType": ("int32", 1005), "rendAttrIndex": ("int32", 2)}
    assert "/top/Reps/rep_0/geomIndicies" not in t
    small, big = t["/top/Reps/rep_1/geomIndicies"], t["/top/Reps/rep_2/geomIndicies"]
    assert (small["dtype"], small["value"], small["chunks"], small["filters"]) == \
        ("int32", [4, 2, 9, 0], None, [])
    assert (big["chunks"], big["filters"], big["gzip_level"]) == ([150], ["shuffle", "deflate"], 9)

    r = open_read(p)
    assert (lib.scn_read_part_num(r), lib.scn_read_rep_num(r), lib.scn_read_rendAttr_num(r)) \
        == (3, 3, 2)
    for index, name, desc, ptype, srep, drep in PARTS:
        fields = [text.encode().ljust(256, b"\0") for text in (name, desc)]
        assert read_part(r, index) == (0, *fields, ptype, srep, drep)
    for index, geoms, rtype, rend in REPS:
        n, rt, ra = c_int(), c_int(), c_int()
        assert lib.scn_read_rep_info(r, index, n, rt, ra) == 0
        assert (n.value, rt.value, ra.value) == (len(geoms), rtype, rend)
        buf = ints([GUARD] * (len(geoms) + 1))
        assert lib.scn_read_rep_geoms(r, index, buf) == (0 if geoms else 1)
        assert list(buf) == geoms + [GUARD]
    assert c_out() == "Error opening dataset: geomIndicies\n"  # rep 0 has no geoms
    # Null outputs read nothing; missing records are reported.
    assert lib.scn_read_part_info(r, 0, None, None, None) == 0
    assert lib.scn_read_rep_info(r, 1, None, None, None) == 0
    assert lib.scn_read_rep_geoms(r, 1, None) == 0
    assert lib.scn_read_part_static_rep(r, 4) == -1
    assert lib.scn_read_part_dynamic_rep(r, 4) == -1
    assert lib.scn_read_rep_geoms(r, 9, None) == 1
    assert c_out() == (
        "scn_read_part_static_rep: error opening group '/top/Parts/part_4'\n"
        "scn_read_part_dynamic_rep: error opening group '/top/Parts/part_4'\n"
        "scn_read_rep_info: error opening group '/top/Reps/rep_9'\n")
    assert close(r) == 0


# Malformed files: nothing may be written past the 256-byte name buffers or
# the numRepGeoms entries the rep announces.
@pytest.mark.parametrize("rep_attrs,length,message", [
    ({"numRepGeoms": int_attr(2)}, 4, "Error reading dataset: geomIndicies\n"),
    ({"numRepGeoms": int_attr(-1)}, 1, "Error reading dataset: geomIndicies\n"),
    ({}, 2, "Error opening group for attribute: numRepGeoms\n"),
])
def test_malformed_rep_does_not_overrun(tmp_path, c_out, rep_attrs, length, message):
    p = tmp_path / "bad.h5"
    h5build(p, {**TOP, "/top/Reps": {"attrs": {"nReps": int_attr(1)}},
                "/top/Reps/rep_0": {"attrs": rep_attrs},
                "/top/Reps/rep_0/geomIndicies": {"type": "dataset", "dtype": "int32",
                                                 "value": [5] * length}})
    r = open_read(p)
    buf = ints([GUARD] * 3)
    assert lib.scn_read_rep_geoms(r, 0, buf) == 1
    assert list(buf) == [GUARD] * 3
    assert c_out() == message
    assert close(r) == 0


def test_overlong_name_is_refused(tmp_path, c_out):
    p = tmp_path / "bad.h5"
    h5build(p, {**TOP, "/top/Parts": {"attrs": {"nParts": int_attr(1)}},
                "/top/Parts/part_0": {"attrs": {"partName": text_attr("x" * 300, 300),
                                                "partDesc": text_attr("ok"),
                                                "partType": int_attr(2)}}})
    r = open_read(p)
    name, desc, ptype = ctypes.create_string_buffer(b"\x01" * 300, 300), \
        ctypes.create_string_buffer(256), c_int()
    assert lib.scn_read_part_info(r, 0, name, desc, ptype) == 1
    assert name.raw[256:] == b"\x01" * 44
    assert (desc.value, ptype.value) == (b"ok", 2)
    assert c_out() == "Error reading attribute: partName\n"
    assert close(r) == 0
