"""Tagged attribute store: classification, writing, the file layout,
loading, serving and malformed records."""
import ctypes
from ctypes import POINTER, c_char, c_char_p, c_float, c_int, c_void_p

import pytest

from scnlib import (HandleP, close, floats, h5build, h5dump, int_attr, ints, lib, open_read,
                    open_write, text_attr)

lib.declare("scn_write_num_attributes", c_int, HandleP, c_int, c_int, c_int)
lib.declare("scn_write_attr", c_int, HandleP, c_int, c_int, c_int, c_void_p)
lib.declare("scn_read_num_attributes", c_int, HandleP, c_int, c_int)
lib.declare("scn_read_attribute_ids", c_int, HandleP, c_int, c_int, POINTER(c_int))
lib.declare("scn_read_attr", c_int, HandleP, c_int, c_int, c_int, c_void_p)
lib.declare("scn_write_vport", c_int, HandleP, c_int, c_int, POINTER(c_int))
lib.declare("scn_write_aplane", c_int, HandleP, c_int, c_int, POINTER(c_int))
lib.declare("scn_write_annot", c_int, HandleP, c_int, c_int, c_int, c_int, c_int, POINTER(c_int))
lib.declare("scn_write_image", c_int, HandleP, c_int, c_int, c_int, c_int, c_int, c_char_p,
            POINTER(c_float))
lib.declare("scn_write_note", c_int, HandleP, c_int, c_int, c_char_p)

FLOAT, INT, CHAR = 0, 1, 2
PART, RENDATTR, VPORT, APLANE, ANNOT, IMAGE, GEOM, NOTE = range(1, 9)
WORDS = {PART: "part", RENDATTR: "rendAttr", VPORT: "vport", APLANE: "aplane", ANNOT: "annot",
         IMAGE: "image", GEOM: "geom", NOTE: "note"}
COLLECTIONS = {PART: "Parts", RENDATTR: "RendAttrs", VPORT: "Vports", APLANE: "Aplanes",
               ANNOT: "Annots", IMAGE: "Images", GEOM: "Geoms", NOTE: "Notes"}

# The accepted tags of every owner kind, as (type, count, tag list).
CLASSES = {
    PART: [
        (INT, 1, "200-202, 210, 211, 220, 230, 240, 241, 290, 292, 293, 300, 301, 306, 307, 309,"
                 " 330, 340, 345-347, 350, 351, 353, 360, 364, 365, 370, 380, 400, 401, 404, 407,"
                 " 408, 411"),
        (INT, 2, "242"),
        (INT, 3, "212-214, 282, 283"),
        (FLOAT, 1, "221-224, 252, 261, 272, 291, 302-305, 308, 332, 334, 341, 342, 344, 348, 349,"
                   " 354, 361, 363, 383, 384, 386, 387, 405, 406, 410, 412"),
        (FLOAT, 2, "371"),
        (FLOAT, 3, "231, 232, 250, 251, 260, 270, 271, 280, 281, 331, 333, 343, 352, 362, 372-374,"
                   " 381, 382, 385, 402, 403, 409"),
        (FLOAT, 9, "243"),
    ],
    RENDATTR: [
        (INT, 1, "1100-1104, 1106, 1107, 1111-1115, 1117, 1119, 1120, 1123-1128, 1130, 1133-1138,"
                 " 1140, 1142, 1144, 1149-1152, 1155-1158, 1162, 1165, 1167-1173, 1175, 1186, 1187"),
        (FLOAT, 1, "1105, 1108, 1121, 1122, 1132, 1146-1148, 1153, 1154, 1159-1161, 1163, 1164,"
                   " 1174, 1185"),
        (FLOAT, 3, "1166"),
        (FLOAT, 4, "1116, 1118, 1129, 1131, 1141, 1143, 1145"),
        (CHAR, 16, "1176"),
    ],
    VPORT: [
        (INT, 1, "4100-4143, 4147, 4236-4238"),
        (FLOAT, 1, "4202, 4211-4213, 4215, 4216, 4219, 4220, 4224-4226, 4239"),
        (FLOAT, 2, "4200, 4214, 4218"),
        (FLOAT, 3, "4203-4206"),
        (FLOAT, 4, "4201, 4217, 4221-4223, 4227-4230"),
        (FLOAT, 8, "4232-4235"),
        (FLOAT, 16, "4207-4209, 4231"),
        (CHAR, 16, "4144-4146"),
        (CHAR, 40, "4300, 4301"),
    ],
    APLANE: [
        (INT, 1, "5000, 5001"),
        (FLOAT, 1, "5104-5107"),
        (FLOAT, 2, "5103"),
        (FLOAT, 3, "5100-5102"),
    ],
    ANNOT: [
        (INT, 1, "6001-6011, 6021-6034"),
        (FLOAT, 1, "6100, 6104, 6105, 6107, 6108, 6110, 6120, 6121"),
        (FLOAT, 2, "6102, 6106, 6117, 6119"),
        (FLOAT, 3, "6103, 6109, 6114-6116, 6118"),
        (FLOAT, 4, "6101"),
        (CHAR, 16, "6203"),
        (CHAR, 40, "6201, 6202, 6207-6210"),
        (CHAR, 64, "6204-6206"),
    ],
    IMAGE: [(INT, 4, "1000")],
    GEOM: [(INT, 1, "7000")],
    NOTE: [],
}
# Tags whose count comes from another tag: (kind, tag, type, governor, per unit, extra).
DEPENDENT = [(PART, 294, FLOAT, 293, 1, 0), (RENDATTR, 1188, FLOAT, 1187, 16, 0),
             (ANNOT, 6200, CHAR, 6001, 1, 1)]


def expand(tags):
    out = []
    for item in tags.split(","):
        first, _, last = item.strip().partition("-")
        out.extend(range(int(first), int(last or first) + 1))
    return out


def accepted(kind):
    """{tag: (type, count)} of the fixed-count tags of a kind."""
    return {tag: (typ, count) for typ, count, tags in CLASSES[kind] for tag in expand(tags)}


def sample(tag, typ, count):
    """Distinct values for a tag: ints, floats, or a text shorter than its field."""
    if typ == INT:
        return [tag * 10 + j for j in range(count)]
    if typ == FLOAT:
        return [tag + j / 4 for j in range(count)]
    return (b"t%d" % tag)[:count]


def as_c(typ, values):
    if typ == INT:
        return ints(values)
    if typ == FLOAT:
        return floats(values)
    return ctypes.create_string_buffer(values)


def read_values(h, kind, index, ordinal, typ, count):
    """scn_read_attr into a buffer of exactly the classified size, plus one
    guard element that must stay untouched."""
    buf = {INT: c_int, FLOAT: c_float, CHAR: c_char}[typ] * (count + 1)
    out = buf()
    out[count] = {INT: -7, FLOAT: -7.0, CHAR: b"#"}[typ]
    status = lib.scn_read_attr(h, kind, index, ordinal, out)
    assert out[count] == {INT: -7, FLOAT: -7.0, CHAR: b"#"}[typ]
    if typ == CHAR:
        return status, bytes(out)[:count]
    return status, list(out)[:count]


TOP = {"/top": {"type": "group", "attrs": {"scn_api_version": text_attr("2.00.00"),
                                            "scn_file_version": text_attr("2.00")}}}


def owner_tree(kinds=(PART, RENDATTR, GEOM), index=0, api="2.00.00"):
    tree = {"/top": {"type": "group", "attrs": {"scn_api_version": text_attr(api),
                                                 "scn_file_version": text_attr("2.00")}}}
    for kind in kinds:
        tree[f"/top/{COLLECTIONS[kind]}"] = {"type": "group", "attrs": {}}
        tree[f"/top/{COLLECTIONS[kind]}/{WORDS[kind]}_{index}"] = {
            "type": "group", "attrs": {"numAttrs": int_attr(0)}}
    return tree


def open_owners(path, index=0):
    """A write handle (append mode) on a file holding record `index` of every
    owner kind: parts, render attributes and geoms built with h5py, the
    others by their own writers."""
    h5build(path, owner_tree(index=index))
    h = open_write(path, 1)
    assert lib.scn_write_vport(h, index, 0, None) == 0
    assert lib.scn_write_aplane(h, index, 0, None) == 0
    assert lib.scn_write_annot(h, index, 0, 0, -1, -1, None) == 0
    assert lib.scn_write_image(h, index, 0, 0, 0, 0, None, None) == 0
    assert lib.scn_write_note(h, index, 4, b"note") == 0
    return h


def write_record(h, kind, index, entries):
    """Announces and writes [(tag, type, values)]; all must be accepted."""
    assert lib.scn_write_num_attributes(h, kind, index, len(entries)) == 0
    for tag, typ, values in entries:
        assert lib.scn_write_attr(h, kind, index, tag, as_c(typ, values)) == 0, tag


def padded(text, count):
    return text[:count] + b"\0" * (count - len(text[:count]))


# ---- classification -------------------------------------------------------


def probe(h, kind, tag):
    """(status, type, count) of writing `tag` alone into a freshly announced
    record, read off the store's lengths."""
    lib.scn_write_num_attributes(h, kind, 0, 1000)
    status = lib.scn_write_attr(h, kind, 0, tag, ctypes.create_string_buffer(4096))
    s = h.contents
    grown = {INT: s.ivalsLen, FLOAT: s.fvalsLen, CHAR: s.cvalsLen}
    used = [(typ, n) for typ, n in grown.items() if n]
    return status, s.numAttrs, used


@pytest.mark.parametrize("kind", [0, PART, RENDATTR, VPORT, APLANE, ANNOT, IMAGE, GEOM, NOTE, 9])
def test_classification_of_every_tag(kind, c_out):
    """Every tag from 0 to 8200 against the table: accepted tags take their
    count of values of their type, all others are refused."""
    expected = accepted(kind) if kind in CLASSES else {}
    dependents = {tag for k, tag, *_ in DEPENDENT if k == kind}
    h = open_write(None)
    wrong = []
    for tag in range(0, 8201):
        status, n, used = probe(h, kind, tag)
        if tag in dependents:
            continue  # counted from another tag; see test_dependent_counts
        want = (0, 1, [expected[tag]]) if tag in expected else (1, 0, [])
        if (status, n, used) != want:
            wrong.append((tag, status, used))
    assert wrong == []
    out = c_out()
    if kind == 0:  # announcing kind 0 names no record
        assert out.count("Did not previously call scn_write_num_attributes") == 8201
    else:
        refused = 8201 - len(expected) - len(dependents)
        assert out.count("scn_write_attr: invalid tag (0x") == refused
    assert close(h) == 0


@pytest.mark.parametrize("kind, tag", [
    (PART, 355), (PART, 0), (PART, 19), (PART, 199), (PART, 413), (RENDATTR, 1139),
    (RENDATTR, 1177), (RENDATTR, 1184), (RENDATTR, 1189), (RENDATTR, 1191), (RENDATTR, 4100),
    (VPORT, 4148), (VPORT, 4210), (APLANE, 0), (APLANE, 1), (ANNOT, 6035), (ANNOT, 6300),
    (ANNOT, 6301), (ANNOT, 50), (IMAGE, 1001), (GEOM, 7001), (NOTE, 8000), (9, 4100),
])
def test_rejected_tag_message(kind, tag, c_out):
    h = open_write(None)
    assert lib.scn_write_num_attributes(h, kind, 0, 5) == 0
    assert lib.scn_write_attr(h, kind, 0, tag, ints([1] * 64)) == 1
    assert c_out() == "scn_write_attr: invalid tag (0x%04x)\n" % tag
    assert h.contents.numAttrs == 0 and h.contents.ivalsLen == 0
    assert close(h) == 0


def test_attribute_without_values(c_out):
    h = open_write(None)
    assert lib.scn_write_num_attributes(h, VPORT, 0, 2) == 0
    assert lib.scn_write_attr(h, VPORT, 0, 4207, None) == 1
    assert c_out() == "scn_write_attr: no values for tag (0x106f)\n"
    assert h.contents.numAttrs == 0 and h.contents.fvalsLen == 0
    assert close(h) == 0


@pytest.mark.parametrize("kind, tag, typ, governor, per, extra", DEPENDENT)
@pytest.mark.parametrize("n", [0, 1, 5])
def test_dependent_counts(kind, tag, typ, governor, per, extra, n):
    h = open_write(None)
    assert lib.scn_write_num_attributes(h, kind, 0, 10) == 0
    assert lib.scn_write_attr(h, kind, 0, governor, ints([n])) == 0
    assert lib.scn_write_attr(h, kind, 0, tag, ctypes.create_string_buffer(4096)) == 0
    s = h.contents
    assert (s.fvalsLen if typ == FLOAT else s.cvalsLen) == per * n + extra
    assert close(h) == 0


@pytest.mark.parametrize("kind, tag, typ, governor, per, extra", DEPENDENT)
def test_dependent_tag_before_its_governor_gets_the_count_without_it(
        kind, tag, typ, governor, per, extra):
    h = open_write(None)
    assert lib.scn_write_num_attributes(h, kind, 0, 10) == 0
    assert lib.scn_write_attr(h, kind, 0, tag, ctypes.create_string_buffer(64)) == 0
    assert lib.scn_write_attr(h, kind, 0, governor, ints([3])) == 0
    s = h.contents
    assert (s.fvalsLen if typ == FLOAT else s.cvalsLen) == extra
    assert close(h) == 0


def test_first_governing_tag_wins():
    h = open_write(None)
    assert lib.scn_write_num_attributes(h, PART, 0, 10) == 0
    assert lib.scn_write_attr(h, PART, 0, 293, ints([2])) == 0
    assert lib.scn_write_attr(h, PART, 0, 293, ints([7])) == 0
    assert lib.scn_write_attr(h, PART, 0, 294, floats([1.0] * 7)) == 0
    assert h.contents.fvalsLen == 2
    assert close(h) == 0


@pytest.mark.parametrize("n", [-1, -100, 2**30])
def test_absurd_governing_count_refuses_the_dependent_tag(n, c_out):
    h = open_write(None)
    assert lib.scn_write_num_attributes(h, RENDATTR, 0, 10) == 0
    assert lib.scn_write_attr(h, RENDATTR, 0, 1187, ints([n])) == 0
    c_out()
    assert lib.scn_write_attr(h, RENDATTR, 0, 1188, floats([0.0] * 16)) == 1
    assert c_out() == "scn_write_attr: invalid tag (0x04a4)\n"
    assert h.contents.fvalsLen == 0 and h.contents.numAttrs == 1
    assert close(h) == 0


# ---- round trips and layout -------------------------------------------------


def all_entries(kind):
    """Every accepted tag of a kind once, then each dependent tag after a
    second governing tag that must not count."""
    governors = {governor: [3] for k, _, _, governor, _, _ in DEPENDENT if k == kind}
    entries = [(tag, typ, governors.get(tag) or sample(tag, typ, count))
               for tag, (typ, count) in sorted(accepted(kind).items())]
    for k, tag, typ, governor, per, extra in DEPENDENT:
        if k == kind:
            entries.append((governor, INT, [9]))
            count = per * 3 + extra
            entries.append((tag, typ, [i / 2 for i in range(count)] if typ == FLOAT
                            else b"x" * (count - 1)))
    return entries


def expected_count(kind, entries, tag, typ):
    for k, dep, dtyp, governor, per, extra in DEPENDENT:
        if (k, dep) == (kind, tag):
            first = next(v for t, _, v in entries if t == governor)
            return per * first[0] + extra
    return accepted(kind)[tag][1]


@pytest.mark.parametrize("kind", [PART, RENDATTR, VPORT, APLANE, ANNOT, IMAGE, GEOM])
def test_every_entry_round_trips(kind, tmp_path, c_out):
    path = tmp_path / "attrs.h5"
    entries = all_entries(kind)
    assert len(entries) <= 150
    h = open_owners(path)
    write_record(h, kind, 0, entries)
    assert h.contents.attrKind == 0  # flushed at the announced count
    assert close(h) == 0

    counts = [expected_count(kind, entries, tag, typ) for tag, typ, _ in entries]
    ptrs, arrays = [], {INT: [], FLOAT: [], CHAR: b""}
    for (tag, typ, values), count in zip(entries, counts):
        ptrs.append(len(arrays[typ]))
        arrays[typ] += values if typ != CHAR else padded(values, count)
    tree = h5dump(path)
    group = tree[f"/top/{COLLECTIONS[kind]}/{WORDS[kind]}_0"]
    record = {k: v["value"] for k, v in group["attrs"].items()}
    assert record == {**record, "numAttrs": len(entries), "ivalsLen": len(arrays[INT]),
                      "fvalsLen": len(arrays[FLOAT]), "cvalsLen": len(arrays[CHAR])}
    base = f"/top/{COLLECTIONS[kind]}/{WORDS[kind]}_0/"
    assert tree[base + "attrTags"]["value"] == [t for t, _, _ in entries]
    assert tree[base + "attrTags"]["dtype"] == "int32"
    assert tree[base + "attrPtrs"]["value"] == ptrs
    for typ, name, dtype in ((INT, "ivals", "int32"), (FLOAT, "fvals", "float32"),
                             (CHAR, "cvals", "int8")):
        if arrays[typ]:
            assert tree[base + name]["dtype"] == dtype
            stored = tree[base + name]["value"]
            want = ([b - 256 if b > 127 else b for b in arrays[typ]] if typ == CHAR
                    else list(arrays[typ]))
            assert stored == want, name
        else:
            assert base + name not in tree

    r = open_read(path)
    assert lib.scn_read_num_attributes(r, kind, 0) == len(entries)
    tags = (c_int * 150)()
    assert lib.scn_read_attribute_ids(r, kind, 0, tags) == 0
    assert list(tags)[:len(entries)] == [t for t, _, _ in entries]
    for i, ((tag, typ, values), count) in enumerate(zip(entries, counts)):
        status, got = read_values(r, kind, 0, i, typ, count)
        assert status == 0
        assert got == (padded(values, count) if typ == CHAR else values), tag
    assert close(r) == 0
    assert c_out() == ""


def test_text_string_takes_its_length_plus_a_zero(tmp_path):
    path = tmp_path / "text.h5"
    h = open_owners(path)
    write_record(h, ANNOT, 0, [(6001, INT, [5]), (6200, CHAR, b"hello")])
    assert close(h) == 0
    tree = h5dump(path)
    assert tree["/top/Annots/annot_0/cvals"]["value"] == list(b"hello\0")
    assert tree["/top/Annots/annot_0/attrPtrs"]["value"] == [0, 0]


def test_text_string_without_length_tag_gets_one_byte(tmp_path):
    path = tmp_path / "text.h5"
    h = open_owners(path)
    write_record(h, ANNOT, 0, [(6200, CHAR, b"hello")])
    assert close(h) == 0
    group = h5dump(path)["/top/Annots/annot_0/cvals"]
    assert group["value"] == [ord("h")]
    assert h5dump(path)["/top/Annots/annot_0"]["attrs"]["cvalsLen"]["value"] == 1


def test_long_text_is_cut_to_its_count(tmp_path):
    path = tmp_path / "cut.h5"
    h = open_owners(path)
    write_record(h, VPORT, 0, [(4144, CHAR, b"0123456789abcdefXYZ")])
    assert close(h) == 0
    assert h5dump(path)["/top/Vports/vport_0/cvals"]["value"] == list(b"0123456789abcdef")


def test_value_arrays_over_100_are_compressed_chars_never(tmp_path):
    path = tmp_path / "big.h5"
    h = open_owners(path)
    entries = ([(1187, INT, [7])] + [(1100 + i, INT, [i]) for i in range(5)]
               + [(1188, FLOAT, [float(i) for i in range(112)])] + [(1176, CHAR, b"f")] * 7)
    write_record(h, RENDATTR, 0, entries)
    write_record(h, IMAGE, 0, [(1000, INT, [1, 2, 3, 4])] * 26)
    assert close(h) == 0
    tree = h5dump(path)
    fvals = tree["/top/RendAttrs/rendAttr_0/fvals"]
    assert fvals["shape"] == [112] and fvals["chunks"] == [112]
    assert fvals["filters"][-1] == "deflate" and fvals["gzip_level"] == 9
    assert tree["/top/RendAttrs/rendAttr_0/ivals"]["chunks"] is None  # 6 ints
    assert tree["/top/RendAttrs/rendAttr_0/cvals"]["shape"] == [112]
    assert tree["/top/RendAttrs/rendAttr_0/cvals"]["chunks"] is None
    ivals = tree["/top/Images/image_0/ivals"]
    assert ivals["shape"] == [104] and ivals["chunks"] == [104] and "deflate" in ivals["filters"]


# ---- writing: limits, order and flushing ------------------------------------


def test_150_attributes_and_no_more(tmp_path, c_out):
    path = tmp_path / "max.h5"
    h = open_owners(path)
    assert lib.scn_write_num_attributes(h, VPORT, 0, 151) == 0
    for i in range(150):
        assert lib.scn_write_attr(h, VPORT, 0, 4100, ints([i])) == 0
    assert lib.scn_write_attr(h, VPORT, 0, 4100, ints([150])) == 1
    assert c_out() == "scn_write_attr: Trying to exceed OXR_MAX_ATTRTAGS\n"
    assert lib.scn_write_num_attributes(h, APLANE, 0, 0) == 0  # flushes the viewport
    assert close(h) == 0
    tree = h5dump(path)
    assert tree["/top/Vports/vport_0"]["attrs"]["numAttrs"]["value"] == 150
    assert tree["/top/Vports/vport_0/ivals"]["value"] == list(range(150))
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, VPORT, 0) == 150
    assert read_values(r, VPORT, 0, 149, INT, 1) == (0, [149])
    assert close(r) == 0


def test_attribute_without_announcement(c_out):
    h = open_write(None)
    assert lib.scn_write_attr(h, VPORT, 0, 4100, ints([1])) == 1
    assert c_out() == "scn_write_attr: Did not previously call scn_write_num_attributes \n"
    assert close(h) == 0


def test_attribute_for_an_unannounced_record_flushes_the_announced_one(tmp_path, c_out):
    path = tmp_path / "other.h5"
    h = open_owners(path)
    assert lib.scn_write_num_attributes(h, VPORT, 0, 3) == 0
    assert lib.scn_write_attr(h, VPORT, 0, 4100, ints([1])) == 0
    c_out()
    assert lib.scn_write_attr(h, APLANE, 0, 5000, ints([1])) == 1
    assert c_out() == "scn_write_attr: Did not previously call scn_write_num_attributes \n"
    assert h.contents.attrKind == 0
    assert close(h) == 0
    tree = h5dump(path)
    assert tree["/top/Vports/vport_0"]["attrs"]["numAttrs"]["value"] == 1
    assert tree["/top/Aplanes/aplane_0"]["attrs"]["numAttrs"]["value"] == 0


def test_flush_at_the_announced_count_or_the_next_announcement(tmp_path):
    path = tmp_path / "flush.h5"
    h = open_owners(path)
    assert lib.scn_write_num_attributes(h, VPORT, 0, 3) == 0
    lib.scn_write_attr(h, VPORT, 0, 4100, ints([1]))
    lib.scn_write_attr(h, VPORT, 0, 4101, ints([2]))
    assert (h.contents.attrKind, h.contents.numAttrs) == (VPORT, 2)  # not yet written
    lib.scn_write_attr(h, VPORT, 0, 4102, ints([3]))
    assert (h.contents.attrKind, h.contents.numAttrs, h.contents.ivalsLen) == (0, 0, 0)

    assert lib.scn_write_num_attributes(h, APLANE, 0, 3) == 0
    lib.scn_write_attr(h, APLANE, 0, 5000, ints([1]))
    lib.scn_write_attr(h, APLANE, 0, 5104, floats([0.5]))
    assert lib.scn_write_num_attributes(h, ANNOT, 0, 3) == 0
    lib.scn_write_attr(h, ANNOT, 0, 6001, ints([1]))
    assert close(h) == 0  # the annotation's single attribute is lost
    tree = h5dump(path)
    assert tree["/top/Vports/vport_0/ivals"]["value"] == [1, 2, 3]
    assert tree["/top/Aplanes/aplane_0"]["attrs"]["numAttrs"]["value"] == 2
    assert tree["/top/Aplanes/aplane_0/fvals"]["value"] == [0.5]
    assert tree["/top/Annots/annot_0"]["attrs"]["numAttrs"]["value"] == 0
    assert "/top/Annots/annot_0/attrTags" not in tree


def test_reannouncing_a_record_discards_its_attributes(tmp_path):
    path = tmp_path / "again.h5"
    h = open_owners(path)
    assert lib.scn_write_num_attributes(h, VPORT, 0, 2) == 0
    lib.scn_write_attr(h, VPORT, 0, 4100, ints([1]))
    assert lib.scn_write_num_attributes(h, VPORT, 0, 1) == 0
    lib.scn_write_attr(h, VPORT, 0, 4101, ints([9]))
    assert close(h) == 0
    assert h5dump(path)["/top/Vports/vport_0/attrTags"]["value"] == [4101]


@pytest.mark.parametrize("kind", list(WORDS))
def test_flush_into_a_missing_record_group(kind, tmp_path, c_out):
    path = tmp_path / "missing.h5"
    h5build(path, TOP)
    h = open_write(path, 1)
    assert lib.scn_write_num_attributes(h, kind, 4, 2) == 0
    assert lib.scn_write_num_attributes(h, VPORT, 0, 1) == 1
    assert c_out() == (f"attr_flush: error {WORDS[kind]}_4 group does not exist\n"
                       "scn_write_num_attributes: flushing failed\n")
    assert h.contents.attrKind == 0
    assert close(h) == 0


def test_flush_failure_when_the_count_is_reached(tmp_path, c_out):
    path = tmp_path / "missing.h5"
    h5build(path, TOP)
    h = open_write(path, 1)
    assert lib.scn_write_num_attributes(h, GEOM, 2, 1) == 0
    assert lib.scn_write_attr(h, GEOM, 2, 7000, ints([3])) == 1
    assert c_out() == ("attr_flush: error geom_2 group does not exist\n"
                       "scn_write_attr: writing rep attrs to file failed\n")
    assert (h.contents.attrKind, h.contents.numAttrs, h.contents.ivalsLen) == (0, 0, 0)
    assert close(h) == 0


def growth(capacity, needed):
    while capacity < needed:
        capacity = int(capacity * 1.2)
    return capacity


@pytest.mark.parametrize("kind, tag, typ, count, times, field, start", [
    (IMAGE, 1000, INT, 4, 15, "ibufSize", 60),
    (IMAGE, 1000, INT, 4, 16, "ibufSize", 60),
    (VPORT, 4207, FLOAT, 16, 12, "fbufSize", 200),
    (VPORT, 4207, FLOAT, 16, 13, "fbufSize", 200),
    (VPORT, 4300, CHAR, 40, 6, "cbufSize", 240),
    (VPORT, 4300, CHAR, 40, 7, "cbufSize", 240),
    (VPORT, 4207, FLOAT, 16, 100, "fbufSize", 200),
])
def test_capacity_grows_by_a_fifth(kind, tag, typ, count, times, field, start):
    h = open_write(None)
    assert getattr(h.contents, field) == start
    assert lib.scn_write_num_attributes(h, kind, 0, 1000) == 0
    for i in range(times):
        values = sample(tag + i, typ, count)
        assert lib.scn_write_attr(h, kind, 0, tag, as_c(typ, values)) == 0
    assert getattr(h.contents, field) == growth(start, count * times)
    assert close(h) == 0


def test_61_ints_grow_the_int_buffer_to_72(tmp_path):
    h = open_write(None)
    lib.scn_write_num_attributes(h, RENDATTR, 0, 1000)
    lib.scn_write_attr(h, RENDATTR, 0, 1187, ints([0]))
    for i in range(60):
        lib.scn_write_attr(h, RENDATTR, 0, 1100, ints([i]))
    assert (h.contents.ivalsLen, h.contents.ibufSize) == (61, 72)
    assert h.contents.ibuf[60] == 59 and h.contents.ibuf[0] == 0
    assert close(h) == 0


# ---- reading -----------------------------------------------------------------


def vport_file(path, entries=((4100, INT, [1]), (4207, FLOAT, list(range(16))))):
    h = open_owners(path)
    write_record(h, VPORT, 0, list(entries))
    assert close(h) == 0


def test_the_loaded_record_is_served_from_the_cache(tmp_path):
    path = tmp_path / "cache.h5"
    vport_file(path)
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, VPORT, 0) == 2
    r.contents.numAttrs = 1  # a reload would bring back 2
    assert lib.scn_read_num_attributes(r, VPORT, 0) == 1
    assert lib.scn_read_num_attributes(r, APLANE, 0) == 0
    assert lib.scn_read_num_attributes(r, VPORT, 0) == 2
    assert close(r) == 0


@pytest.mark.parametrize("entry, call", [
    ("scn_read_attribute_ids", lambda r, kind: lib.scn_read_attribute_ids(r, kind, 0, (c_int * 150)())),
    ("scn_read_attr", lambda r, kind: lib.scn_read_attr(r, kind, 0, 0, (c_int * 16)())),
])
def test_serving_another_record(entry, call, tmp_path, c_out):
    path = tmp_path / "serve.h5"
    vport_file(path)
    r = open_read(path)
    assert call(r, VPORT) == 1  # nothing loaded yet
    assert c_out() == f"{entry}: Incorrect attr info for vport, in handle\n"
    assert lib.scn_read_num_attributes(r, VPORT, 0) == 2
    assert call(r, APLANE) == 1
    assert c_out() == f"{entry}: Incorrect attr info for aplane, in handle\n"
    assert call(r, VPORT) == 0
    assert close(r) == 0


@pytest.mark.parametrize("ordinal", [-1, 2, 149, 150, 100000])
def test_ordinal_outside_the_record(ordinal, tmp_path, c_out):
    path = tmp_path / "ordinal.h5"
    vport_file(path)
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, VPORT, 0) == 2
    assert lib.scn_read_attr(r, VPORT, 0, ordinal, (c_float * 16)()) == 1
    assert c_out() == f"scn_read_attr: no attribute {ordinal} in the vport record\n"
    assert close(r) == 0


def test_missing_record_group(tmp_path, c_out):
    path = tmp_path / "none.h5"
    vport_file(path)
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, VPORT, 3) == -1
    assert c_out() == ("scn_read_num_attributes: error opening vport group\n"
                       "scn_read_num_attributes: loading attrs failed\n")
    assert lib.scn_read_num_attributes(r, 9, 0) == -1
    assert c_out() == ("scn_read_num_attributes: error opening unknown group\n"
                       "scn_read_num_attributes: loading attrs failed\n")
    assert close(r) == 0


@pytest.mark.parametrize("api, expected", [("1.02.00", 0), ("1.01", 0), ("1.02.01", -1),
                                           ("2.00.00", -1)])
def test_geom_attributes_of_old_files(api, expected, tmp_path, c_out):
    path = tmp_path / "old.h5"
    h5build(path, owner_tree(kinds=(PART,), api=api))  # no geom group at all
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, GEOM, 0) == expected
    out = c_out()
    assert (out == "") == (expected == 0)
    if expected == 0:
        assert lib.scn_read_attribute_ids(r, GEOM, 0, (c_int * 1)()) == 0
    assert close(r) == 0


def test_240_bytes_of_text_load_into_a_fresh_handle(tmp_path):
    path = tmp_path / "text240.h5"
    texts = [bytes([65 + i]) * 40 for i in range(6)]
    vport_file(path, [(4300, CHAR, t) for t in texts])
    r = open_read(path)
    assert r.contents.cbufSize == 240
    assert lib.scn_read_num_attributes(r, VPORT, 0) == 6
    assert r.contents.cbufSize >= 241
    for i, text in enumerate(texts):
        assert read_values(r, VPORT, 0, i, CHAR, 40) == (0, text)
    assert close(r) == 0


def test_large_record_grows_the_read_buffers(tmp_path):
    path = tmp_path / "large.h5"
    levels = [i * 0.5 for i in range(500)]
    h = open_owners(path)
    write_record(h, PART, 0, [(293, INT, [500]), (294, FLOAT, levels)])
    assert close(h) == 0
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, PART, 0) == 2
    assert r.contents.fbufSize >= 500
    assert read_values(r, PART, 0, 1, FLOAT, 500) == (0, levels)
    assert close(r) == 0


def test_unknown_tags_in_a_loaded_record_are_refused_one_by_one(tmp_path, c_out):
    path = tmp_path / "unknown.h5"
    tree = dict(TOP)
    tree["/top/Vports"] = {"type": "group", "attrs": {}}
    tree["/top/Vports/vport_0"] = {"type": "group", "attrs": {
        "numAttrs": int_attr(2), "ivalsLen": int_attr(2), "fvalsLen": int_attr(0),
        "cvalsLen": int_attr(0)}}
    tree["/top/Vports/vport_0/attrTags"] = {"type": "dataset", "dtype": "int32", "value": [9999, 4100]}
    tree["/top/Vports/vport_0/attrPtrs"] = {"type": "dataset", "dtype": "int32", "value": [0, 1]}
    tree["/top/Vports/vport_0/ivals"] = {"type": "dataset", "dtype": "int32", "value": [5, 6]}
    h5build(path, tree)
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, VPORT, 0) == 2
    assert read_values(r, VPORT, 0, 0, INT, 0)[0] == 1
    assert read_values(r, VPORT, 0, 1, INT, 1) == (0, [6])
    assert close(r) == 0
    assert c_out() == ""


# ---- malformed records -----------------------------------------------------


def record_tree(attrs=None, datasets=None, drop=()):
    """A viewport record with an int, a float and a text attribute, with
    stored items replaced or dropped."""
    base_attrs = {"numAttrs": 3, "ivalsLen": 1, "fvalsLen": 2, "cvalsLen": 16}
    base_attrs.update(attrs or {})
    base_sets = {"attrTags": ("int32", [4100, 4200, 4144]), "attrPtrs": ("int32", [0, 0, 0]),
                 "ivals": ("int32", [7]), "fvals": ("float32", [1.0, 2.0]),
                 "cvals": ("int8", [65] * 16)}
    base_sets.update(datasets or {})
    tree = dict(TOP)
    rec = "/top/Vports/vport_0"
    tree["/top/Vports"] = {"type": "group", "attrs": {"nVports": int_attr(1)}}
    tree[rec] = {"type": "group", "attrs": {k: int_attr(v) for k, v in base_attrs.items()
                                            if k not in drop}}
    for name, (dtype, value) in base_sets.items():
        if name not in drop:
            tree[f"{rec}/{name}"] = {"type": "dataset", "dtype": dtype, "value": value}
    return tree


FAILED = "scn_read_num_attributes: loading attrs failed\n"


@pytest.mark.parametrize("tree, message", [
    (record_tree({"numAttrs": 151}), "scn_read_num_attributes: Exceeds OXR_MAX_ATTRTAGS\n"),
    (record_tree({"numAttrs": 2**31 - 1}), "scn_read_num_attributes: Exceeds OXR_MAX_ATTRTAGS\n"),
    (record_tree({"numAttrs": -1}), "scn_read_num_attributes: numAttrs out of range (-1)\n" + FAILED),
    (record_tree(drop=["numAttrs"]), "Error opening group for attribute: numAttrs\n"
     "scn_read_num_attributes: error reading numAttrs\n" + FAILED),
    (record_tree(drop=["fvalsLen"]), "Error opening group for attribute: fvalsLen\n"
     "scn_read_num_attributes: error reading fvalsLen\n" + FAILED),
    (record_tree({"ivalsLen": -3}), "scn_read_num_attributes: ivalsLen out of range (-3)\n" + FAILED),
    (record_tree({"cvalsLen": 2**30}),
     "scn_read_num_attributes: cvalsLen out of range (1073741824)\n" + FAILED),
    (record_tree({"fvalsLen": 2**24 - 1}),
     "scn_read_num_attributes: fvals holds 2 values, not 16777215\n" + FAILED),
    (record_tree({"ivalsLen": 5}, drop=["ivals"]), "Error opening dataset: ivals\n" + FAILED),
    (record_tree(drop=["attrPtrs"]), "Error opening dataset: attrPtrs\n" + FAILED),
    (record_tree({"numAttrs": 2}),
     "scn_read_num_attributes: attrTags holds 3 values, not 2\n"
     "scn_read_num_attributes: attrPtrs holds 3 values, not 2\n" + FAILED),
    (record_tree({"numAttrs": 4}),
     "scn_read_num_attributes: attrTags holds 3 values, not 4\n"
     "scn_read_num_attributes: attrPtrs holds 3 values, not 4\n" + FAILED),
    (record_tree({"cvalsLen": 10}), "scn_read_num_attributes: cvals holds 16 values, not 10\n" + FAILED),
    (record_tree({"ivalsLen": 2}), "scn_read_num_attributes: ivals holds 1 values, not 2\n" + FAILED),
    (record_tree(datasets={"attrPtrs": ("int32", [1, 0, 0])}),
     "scn_read_num_attributes: values of attribute 0 (tag 0x1004) lie outside ivals\n" + FAILED),
    (record_tree(datasets={"attrPtrs": ("int32", [0, 1, 0])}),
     "scn_read_num_attributes: values of attribute 1 (tag 0x1068) lie outside fvals\n" + FAILED),
    (record_tree(datasets={"attrPtrs": ("int32", [0, 0, -1])}),
     "scn_read_num_attributes: values of attribute 2 (tag 0x1030) lie outside cvals\n" + FAILED),
    (record_tree(datasets={"attrPtrs": ("int32", [0, 2**31 - 1, 0])}),
     "scn_read_num_attributes: values of attribute 1 (tag 0x1068) lie outside fvals\n" + FAILED),
    (record_tree(datasets={"attrTags": ("int32", [4100, 4200, 4300])}),
     "scn_read_num_attributes: values of attribute 2 (tag 0x10cc) lie outside cvals\n" + FAILED),
])
def test_inconsistent_records_fail_cleanly(tree, message, tmp_path, c_out):
    path = tmp_path / "bad.h5"
    h5build(path, tree)
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, VPORT, 0) == -1
    assert c_out() == message
    s = r.contents
    assert (s.attrKind, s.numAttrs, s.ivalsLen, s.fvalsLen, s.cvalsLen) == (0, 0, 0, 0, 0)
    assert s.ibufSize == 60 and s.fbufSize == 200 and s.cbufSize <= 241
    assert lib.scn_read_attribute_ids(r, VPORT, 0, (c_int * 150)()) == 1
    assert c_out() == "scn_read_attribute_ids: Incorrect attr info for vport, in handle\n"
    assert close(r) == 0


def test_the_untouched_record_loads(tmp_path):
    path = tmp_path / "good.h5"
    h5build(path, record_tree())
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, VPORT, 0) == 3
    assert read_values(r, VPORT, 0, 1, FLOAT, 2) == (0, [1.0, 2.0])
    assert read_values(r, VPORT, 0, 2, CHAR, 16) == (0, b"A" * 16)
    assert close(r) == 0


def test_dependent_count_past_the_values(tmp_path, c_out):
    """A text length that claims more bytes than are stored."""
    path = tmp_path / "dep.h5"
    tree = dict(TOP)
    tree["/top/Annots"] = {"type": "group", "attrs": {}}
    tree["/top/Annots/annot_0"] = {"type": "group", "attrs": {
        "numAttrs": int_attr(2), "ivalsLen": int_attr(1), "fvalsLen": int_attr(0),
        "cvalsLen": int_attr(3)}}
    tree["/top/Annots/annot_0/attrTags"] = {"type": "dataset", "dtype": "int32", "value": [6200, 6001]}
    tree["/top/Annots/annot_0/attrPtrs"] = {"type": "dataset", "dtype": "int32", "value": [0, 0]}
    tree["/top/Annots/annot_0/ivals"] = {"type": "dataset", "dtype": "int32", "value": [100]}
    tree["/top/Annots/annot_0/cvals"] = {"type": "dataset", "dtype": "int8", "value": [104, 105, 0]}
    h5build(path, tree)
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, ANNOT, 0) == -1
    assert c_out() == ("scn_read_num_attributes: values of attribute 0 (tag 0x1838) lie outside"
                       " cvals\n" + FAILED)
    assert close(r) == 0
