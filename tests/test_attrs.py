"""Tagged attribute store: classification, writing, the file layout,
loading, serving and malformed records."""
import ctypes
from ctypes import POINTER, c_char, c_float, c_int, c_void_p

import pytest

from scnlib import (HandleP, close, h5build, h5dump, int_attr, ints, lib, open_read, open_write,
                    text_attr)

lib.declare("scn_write_num_attributes", c_int, HandleP, c_int, c_int, c_int)
lib.declare("scn_write_attr", c_int, HandleP, c_int, c_int, c_int, c_void_p)
lib.declare("scn_read_num_attributes", c_int, HandleP, c_int, c_int)
lib.declare("scn_read_attribute_ids", c_int, HandleP, c_int, c_int, POINTER(c_int))
lib.declare("scn_read_attr", c_int, HandleP, c_int, c_int, c_int, c_void_p)

FLOAT, INT, CHAR = 0, 1, 2
PART, RENDATTR, VPORT, APLANE, ANNOT, IMAGE, GEOM, NOTE = range(1, 9)
WORDS = {PART: "part", RENDATTR: "rendAttr", VPORT: "vport", APLANE: "aplane", ANNOT: "annot",
         IMAGE: "image", GEOM: "geom", NOTE: "note"}
COLLECTIONS = {kind: word[0].upper() + word[1:] + "s" for kind, word in WORDS.items()}

# Every (kind, type, count) class with a representative tag, plus the first
# and last tags of each kind and the tags next to the gaps inside it.
CLASSES = [
    (PART, INT, 1, [200, 293, 411]), (PART, INT, 2, [242]), (PART, INT, 3, [212, 283]),
    (PART, FLOAT, 1, [221, 412]), (PART, FLOAT, 2, [371]), (PART, FLOAT, 3, [231, 409]),
    (PART, FLOAT, 9, [243]),
    (RENDATTR, INT, 1, [1100, 1111, 1187]), (RENDATTR, FLOAT, 1, [1105, 1108, 1185]),
    (RENDATTR, FLOAT, 3, [1166]), (RENDATTR, FLOAT, 4, [1116, 1145]), (RENDATTR, CHAR, 16, [1176]),
    (VPORT, INT, 1, [4100, 4147, 4238]), (VPORT, FLOAT, 1, [4202, 4211, 4239]),
    (VPORT, FLOAT, 2, [4200]), (VPORT, FLOAT, 3, [4206]), (VPORT, FLOAT, 4, [4201, 4230]),
    (VPORT, FLOAT, 8, [4232]), (VPORT, FLOAT, 16, [4207, 4209, 4231]),
    (VPORT, CHAR, 16, [4144, 4146]), (VPORT, CHAR, 40, [4300, 4301]),
    (APLANE, INT, 1, [5000, 5001]), (APLANE, FLOAT, 1, [5107]), (APLANE, FLOAT, 2, [5103]),
    (APLANE, FLOAT, 3, [5100]),
    (ANNOT, INT, 1, [6001, 6011, 6021, 6034]), (ANNOT, FLOAT, 1, [6100, 6121]),
    (ANNOT, FLOAT, 2, [6119]), (ANNOT, FLOAT, 3, [6103]), (ANNOT, FLOAT, 4, [6101]),
    (ANNOT, CHAR, 16, [6203]), (ANNOT, CHAR, 40, [6201, 6210]), (ANNOT, CHAR, 64, [6204]),
    (IMAGE, INT, 4, [1000]), (GEOM, INT, 1, [7000]),
]
# Tags whose count comes from another tag: (kind, tag, type, governor, per unit, extra).
DEPENDENT = [(PART, 294, FLOAT, 293, 1, 0), (RENDATTR, 1188, FLOAT, 1187, 16, 0),
             (ANNOT, 6200, CHAR, 6001, 1, 1)]
GOVERNORS = {governor for _, _, _, governor, _, _ in DEPENDENT}
# Refused tags: the neighbours of each kind's tags, its gaps, other kinds' tags.
REJECTED = [(kind, tag) for kind, tags in {
    PART: [0, 199, 355, 413, 1100], RENDATTR: [1099, 1109, 1110, 1139, 1177, 1184, 1189, 4100],
    VPORT: [200, 4099, 4148, 4210, 4240, 4299, 4302], APLANE: [4100, 4999, 5002, 5099, 5108],
    ANNOT: [50, 6000, 6012, 6020, 6035, 6099, 6122, 6211, 6300], IMAGE: [999, 1001, 7000],
    GEOM: [1000, 6999, 7001], NOTE: [0, 8000], 9: [4100]}.items() for tag in tags]


def sample(tag, typ, count):
    """Distinct values for a tag; texts overrun their field on odd tags."""
    if typ == INT:
        return [tag * 10 + j for j in range(count)]
    if typ == FLOAT:
        return [tag + j / 4 for j in range(count)]
    return (b"t%d" % tag) * (20 if tag % 2 else 1)


def as_c(typ, values):
    if typ == CHAR:
        return ctypes.create_string_buffer(values)
    return ((c_int if typ == INT else c_float) * len(values))(*values)


def padded(text, count):
    return text[:count].ljust(count, b"\0")


def read_values(h, kind, index, ordinal, typ, count):
    """scn_read_attr into a buffer of exactly the classified size, plus one
    guard element that must stay untouched."""
    ctype, guard = {INT: (c_int, -7), FLOAT: (c_float, -7.0), CHAR: (c_char, b"#")}[typ]
    out = (ctype * (count + 1))()
    out[count] = guard
    status = lib.scn_read_attr(h, kind, index, ordinal, out)
    assert out[count] == guard
    return status, bytes(out)[:count] if typ == CHAR else list(out)[:count]


def owner_tree(kinds=tuple(WORDS), api="2.00.00"):
    """Record 0 of each kind, with "numAttrs" 0."""
    tree = {"/top": {"attrs": {"scn_api_version": text_attr(api),
                               "scn_file_version": text_attr("2.00")}}}
    for kind in kinds:
        tree[f"/top/{COLLECTIONS[kind]}/{WORDS[kind]}_0"] = {"attrs": {"numAttrs": int_attr(0)}}
    return tree


def open_owners(path):
    h5build(path, owner_tree())
    return open_write(path, 1)


def write_record(h, kind, index, entries):
    """Announces and writes [(tag, type, count, values)]; all must be accepted."""
    assert lib.scn_write_num_attributes(h, kind, index, len(entries)) == 0
    for tag, typ, _, values in entries:
        assert lib.scn_write_attr(h, kind, index, tag, as_c(typ, values)) == 0, tag


# ---- classification ----------------------------------------------------------


@pytest.mark.parametrize("kind, tag, values, message", [
    *[(kind, tag, ints([1] * 64), "invalid tag (0x%04x)" % tag) for kind, tag in REJECTED],
    (VPORT, 4207, None, "no values for tag (0x106f)"),
    (0, 4100, ints([1]), "Did not previously call scn_write_num_attributes "),  # kind 0: none
])
def test_refused_attributes(kind, tag, values, message, c_out):
    h = open_write(None)
    assert lib.scn_write_num_attributes(h, kind, 0, 5) == 0
    assert lib.scn_write_attr(h, kind, 0, tag, values) == 1
    assert c_out() == f"scn_write_attr: {message}\n"
    s = h.contents
    assert (s.numAttrs, s.ivalsLen, s.fvalsLen, s.cvalsLen) == (0, 0, 0, 0)
    assert close(h) == 0


@pytest.mark.parametrize("kind, tag, typ, governor, per, extra", DEPENDENT)
@pytest.mark.parametrize("governing", [None, 0, 5, -1, 2**30])
def test_dependent_counts(kind, tag, typ, governor, per, extra, governing, c_out):
    """The count is per x the governing tag's value + extra; a negative or
    absurd result refuses the tag."""
    h = open_write(None)
    assert lib.scn_write_num_attributes(h, kind, 0, 10) == 0
    if governing is not None:
        assert lib.scn_write_attr(h, kind, 0, governor, ints([governing])) == 0
    n = per * (governing or 0) + extra
    typ_out, count_out = ctypes.c_int(-1), ctypes.c_int(-1)
    classified = lib.attr_classify(h, kind, tag, ctypes.byref(typ_out), ctypes.byref(count_out))
    status = lib.scn_write_attr(h, kind, 0, tag, ctypes.create_string_buffer(4096))
    assert (classified, count_out.value) == (status, n if status == 0 else 0)
    if status == 0:
        assert typ_out.value == typ
    length = h.contents.fvalsLen if typ == FLOAT else h.contents.cvalsLen
    if 0 <= n <= 2**24:
        assert (status, length) == (0, n)
    else:
        assert (status, length) == (1, 0)
        assert c_out() == "scn_write_attr: invalid tag (0x%04x)\n" % tag
    assert close(h) == 0


# ---- round trips and layout ----------------------------------------------------


def all_entries(kind):
    """Every listed tag of a kind once (a governing tag counts 3), then each
    dependent tag after a second governing tag that must not count."""
    entries = [(tag, typ, count, [3] if tag in GOVERNORS else sample(tag, typ, count))
               for k, typ, count, tags in CLASSES if k == kind for tag in tags]
    for k, tag, typ, governor, per, extra in DEPENDENT:
        if k == kind:
            count = per * 3 + extra
            entries.append((governor, INT, 1, [9]))
            entries.append((tag, typ, count, [i / 2 for i in range(count)] if typ == FLOAT
                            else b"x" * (count - 1)))
    return entries


# 150 attributes whose values pass every buffer of a fresh handle (the texts
# need 241 bytes with the terminator).
FULL = ([(4300, CHAR, 40, bytes([65 + i]) * 40) for i in range(6)]
        + [(4207, FLOAT, 16, list(range(16 * i, 16 * i + 16))) for i in range(44)]
        + [(4100, INT, 1, [i]) for i in range(100)])


@pytest.mark.parametrize("kind, entries", [(kind, all_entries(kind)) for kind in WORDS
                                           if kind != NOTE] + [(VPORT, FULL)],
                         ids=[WORDS[kind] for kind in WORDS if kind != NOTE] + ["vport150"])
def test_round_trip_and_layout(kind, entries, tmp_path, c_out):
    path = tmp_path / "attrs.h5"
    h = open_owners(path)
    write_record(h, kind, 0, entries)
    assert h.contents.attrKind == 0  # flushed at the announced count
    assert close(h) == 0

    stored = [(typ, count, padded(v, count) if typ == CHAR else v) for _, typ, count, v in entries]
    ptrs, arrays = [], {INT: [], FLOAT: [], CHAR: b""}
    for typ, _, values in stored:
        ptrs.append(len(arrays[typ]))
        arrays[typ] += values
    tree = h5dump(path)
    base = f"/top/{COLLECTIONS[kind]}/{WORDS[kind]}_0"
    assert {k: (a["dtype"], a["shape"], a["value"]) for k, a in tree[base]["attrs"].items()} == {
        "numAttrs": ("int32", [], len(entries)), "ivalsLen": ("int32", [], len(arrays[INT])),
        "fvalsLen": ("int32", [], len(arrays[FLOAT])), "cvalsLen": ("int32", [], len(arrays[CHAR]))}
    for name, dtype, want in (("attrTags", "int32", [t for t, *_ in entries]),
                              ("attrPtrs", "int32", ptrs), ("ivals", "int32", arrays[INT]),
                              ("fvals", "float32", arrays[FLOAT]),
                              ("cvals", "int8", [b - 256 if b > 127 else b for b in arrays[CHAR]])):
        if not want:
            assert f"{base}/{name}" not in tree
            continue
        d, n = tree[f"{base}/{name}"], len(want)
        # Arrays over 100 values are one deflated, shuffled chunk; texts never.
        assert (d["dtype"], d["shape"], d["value"], d["chunks"], d["filters"], d["gzip_level"]) \
            == (dtype, [n], want) + (([n], ["shuffle", "deflate"], 9) if n > 100 and dtype != "int8"
                                     else (None, [], None)), name

    r = open_read(path)
    assert lib.scn_read_num_attributes(r, kind, 0) == len(entries)
    s = r.contents
    assert s.ibufSize >= s.ivalsLen and s.fbufSize >= s.fvalsLen and s.cbufSize > s.cvalsLen
    tags = (c_int * 150)()
    assert lib.scn_read_attribute_ids(r, kind, 0, tags) == 0
    assert list(tags)[:len(entries)] == [t for t, *_ in entries]
    for i, (typ, count, values) in enumerate(stored):
        assert read_values(r, kind, 0, i, typ, count) == (0, values), entries[i][0]
    assert close(r) == 0
    assert c_out() == ""


# ---- writing: limits, order, flushing and buffers --------------------------------


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
    assert h5dump(path)["/top/Vports/vport_0/ivals"]["value"] == list(range(150))


def test_when_records_are_flushed(tmp_path, c_out):
    path = tmp_path / "flush.h5"
    h = open_owners(path)
    s = h.contents
    # At the announced count, not before.
    assert lib.scn_write_num_attributes(h, VPORT, 0, 3) == 0
    for value in (1, 2):
        assert lib.scn_write_attr(h, VPORT, 0, 4100 + value, ints([value])) == 0
    assert (s.attrKind, s.numAttrs) == (VPORT, 2)
    assert lib.scn_write_attr(h, VPORT, 0, 4100, ints([3])) == 0
    assert (s.attrKind, s.numAttrs, s.ivalsLen) == (0, 0, 0)
    # Announcing the record again discards it; announcing another flushes it.
    assert lib.scn_write_num_attributes(h, APLANE, 0, 3) == 0
    assert lib.scn_write_attr(h, APLANE, 0, 5000, ints([1])) == 0
    assert lib.scn_write_num_attributes(h, APLANE, 0, 3) == 0
    assert lib.scn_write_attr(h, APLANE, 0, 5001, ints([2])) == 0
    assert lib.scn_write_attr(h, APLANE, 0, 5104, as_c(FLOAT, [0.5])) == 0
    assert lib.scn_write_num_attributes(h, ANNOT, 0, 3) == 0
    # An attribute of a record never announced flushes the held one and is refused.
    assert lib.scn_write_attr(h, ANNOT, 0, 6001, ints([1])) == 0
    assert lib.scn_write_attr(h, GEOM, 0, 7000, ints([1])) == 1
    assert c_out() == "scn_write_attr: Did not previously call scn_write_num_attributes \n"
    assert s.attrKind == 0
    # Flushing into a missing record group fails and empties the store.
    assert lib.scn_write_num_attributes(h, NOTE, 4, 1) == 0
    assert lib.scn_write_num_attributes(h, GEOM, 4, 1) == 1
    assert lib.scn_write_num_attributes(h, GEOM, 4, 1) == 0
    assert lib.scn_write_attr(h, GEOM, 4, 7000, ints([3])) == 1
    assert c_out() == ("attr_flush: error note_4 group does not exist\n"
                       "scn_write_num_attributes: flushing failed\n"
                       "attr_flush: error geom_4 group does not exist\n"
                       "scn_write_attr: writing rep attrs to file failed\n")
    assert (s.attrKind, s.numAttrs, s.ivalsLen) == (0, 0, 0)
    # Closing does not flush.
    assert lib.scn_write_num_attributes(h, IMAGE, 0, 2) == 0
    assert lib.scn_write_attr(h, IMAGE, 0, 1000, ints([1, 2, 3, 4])) == 0
    assert close(h) == 0
    tree = h5dump(path)
    assert tree["/top/Vports/vport_0/ivals"]["value"] == [1, 2, 3]
    assert tree["/top/Aplanes/aplane_0/attrTags"]["value"] == [5001, 5104]
    assert tree["/top/Aplanes/aplane_0/fvals"]["value"] == [0.5]
    assert tree["/top/Annots/annot_0/attrTags"]["value"] == [6001]
    assert tree["/top/Images/image_0"]["attrs"]["numAttrs"]["value"] == 0
    assert "/top/Images/image_0/attrTags" not in tree


@pytest.mark.parametrize("kind, tag, typ, count, times, field, grown", [
    (IMAGE, 1000, INT, 4, 15, "ibufSize", 60), (IMAGE, 1000, INT, 4, 16, "ibufSize", 72),
    (VPORT, 4207, FLOAT, 16, 12, "fbufSize", 200), (VPORT, 4207, FLOAT, 16, 13, "fbufSize", 240),
    (VPORT, 4300, CHAR, 40, 6, "cbufSize", 240), (VPORT, 4300, CHAR, 40, 7, "cbufSize", 288),
    (VPORT, 4207, FLOAT, 16, 100, "fbufSize", 1773),
])
def test_write_buffers_grow_by_a_fifth(kind, tag, typ, count, times, field, grown):
    h = open_write(None)
    assert (h.contents.ibufSize, h.contents.fbufSize, h.contents.cbufSize) == (60, 200, 240)
    assert lib.scn_write_num_attributes(h, kind, 0, 1000) == 0
    for i in range(times):
        assert lib.scn_write_attr(h, kind, 0, tag, as_c(typ, sample(tag + i, typ, count))) == 0
    assert getattr(h.contents, field) == grown
    assert close(h) == 0


# ---- reading, and malformed records ----------------------------------------------


def record(kind=VPORT, **items):
    """(kind, tree): a viewport record with an int, a float and a text
    attribute; items replace stored ones (numbers: attributes, lists:
    datasets) or drop them (None)."""
    items = {"numAttrs": 3, "ivalsLen": 1, "fvalsLen": 2, "cvalsLen": 16,
             "attrTags": [4100, 4200, 4144], "attrPtrs": [0, 0, 0], "ivals": [7],
             "fvals": [1.0, 2.0], "cvals": [65] * 16, **items}
    dtypes = {"fvals": "float32", "cvals": "int8"}
    rec = f"/top/{COLLECTIONS[kind]}/{WORDS[kind]}_0"
    tree = owner_tree(kinds=())
    tree[rec] = {"attrs": {k: int_attr(v) for k, v in items.items() if isinstance(v, int)}}
    for name, value in items.items():
        if isinstance(value, list):
            tree[f"{rec}/{name}"] = {"type": "dataset", "dtype": dtypes.get(name, "int32"),
                                     "value": value}
    return kind, tree


def test_serving_the_loaded_record(tmp_path, c_out):
    """A viewport record whose first tag is unknown: it loads, and only that
    attribute is refused when served."""
    path = tmp_path / "serve.h5"
    h5build(path, {**record(attrTags=[9999, 4200, 4144])[1], **owner_tree(kinds=(APLANE,))})
    r = open_read(path)
    num = lambda kind, index=0: lib.scn_read_num_attributes(r, kind, index)
    ids = lambda kind: lib.scn_read_attribute_ids(r, kind, 0, (c_int * 150)())
    attr = lambda kind, ordinal=0: lib.scn_read_attr(r, kind, 0, ordinal, (c_float * 16)())
    served = ("scn_read_attribute_ids: Incorrect attr info for {0}, in handle\n"
              "scn_read_attr: Incorrect attr info for {0}, in handle\n")
    assert ids(VPORT) == 1 and attr(VPORT) == 1  # nothing loaded yet
    assert c_out() == served.format("vport")
    for kind, index, word in ((VPORT, 3, "vport"), (9, 0, "unknown")):
        assert num(kind, index) == -1
        assert c_out() == (f"scn_read_num_attributes: error opening {word} group\n"
                           "scn_read_num_attributes: loading attrs failed\n")
    assert num(VPORT) == 3
    for ordinal in (-1, 3, 150):
        assert attr(VPORT, ordinal) == 1
        assert c_out() == f"scn_read_attr: no attribute {ordinal} in the vport record\n"
    assert read_values(r, VPORT, 0, 0, INT, 1) == (1, [0])
    assert read_values(r, VPORT, 0, 1, FLOAT, 2) == (0, [1.0, 2.0])
    assert read_values(r, VPORT, 0, 2, CHAR, 16) == (0, b"A" * 16)
    assert ids(APLANE) == 1 and attr(APLANE) == 1
    assert c_out() == served.format("aplane")
    r.contents.numAttrs = 1  # served from the cache: a reload would bring back 3
    assert num(VPORT) == 1
    assert num(APLANE) == 0 and num(VPORT) == 3
    tags = (c_int * 150)()
    assert lib.scn_read_attribute_ids(r, VPORT, 0, tags) == 0 and tags[:4] == [9999, 4200, 4144, 0]
    assert close(r) == 0


@pytest.mark.parametrize("api, expected", [("1.02.00", 0), ("1.01", 0), ("1.02.01", -1),
                                           ("2.00.00", -1)])
def test_geom_attributes_of_old_files(api, expected, tmp_path, c_out):
    path = tmp_path / "old.h5"
    h5build(path, owner_tree(kinds=(PART,), api=api))  # no geom group at all
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, GEOM, 0) == expected
    assert (c_out() == "") == (expected == 0)
    if expected == 0:
        assert lib.scn_read_attribute_ids(r, GEOM, 0, (c_int * 1)()) == 0
    assert close(r) == 0


def failed(*lines):
    """The loader's lines (storage ones, "Error ...", carry no prefix), then
    its failure."""
    prefix = "scn_read_num_attributes: "
    return "".join(("" if line.startswith("Error") else prefix) + line + "\n"
                   for line in lines + ("loading attrs failed",))


@pytest.mark.parametrize("kind_tree, message", [
    (record(numAttrs=151), "scn_read_num_attributes: Exceeds OXR_MAX_ATTRTAGS\n"),
    (record(numAttrs=2**31 - 1), "scn_read_num_attributes: Exceeds OXR_MAX_ATTRTAGS\n"),
    (record(numAttrs=-1), failed("numAttrs out of range (-1)")),
    (record(numAttrs=None),
     failed("Error opening group for attribute: numAttrs", "error reading numAttrs")),
    (record(fvalsLen=None),
     failed("Error opening group for attribute: fvalsLen", "error reading fvalsLen")),
    (record(ivalsLen=-3), failed("ivalsLen out of range (-3)")),
    (record(cvalsLen=2**30), failed("cvalsLen out of range (1073741824)")),
    # A value array that does not hold its length: the check stands for the
    # read, and fails as it ("error reading ibuf"), before any buffer grows.
    (record(fvalsLen=2**24 - 1), failed("fvals holds 2 values, not 16777215", "error reading fbuf")),
    (record(ivalsLen=5, ivals=None), failed("Error opening dataset: ivals", "error reading ibuf")),
    (record(cvals=None), failed("Error opening dataset: cvals", "error reading cbuf")),
    (record(attrPtrs=None), failed("Error opening dataset: attrPtrs")),
    (record(numAttrs=2),
     failed("attrTags holds 3 values, not 2", "attrPtrs holds 3 values, not 2")),
    (record(numAttrs=4),
     failed("attrTags holds 3 values, not 4", "attrPtrs holds 3 values, not 4")),
    (record(cvalsLen=10), failed("cvals holds 16 values, not 10", "error reading cbuf")),
    (record(ivalsLen=2), failed("ivals holds 1 values, not 2", "error reading ibuf")),
])
def test_inconsistent_records_fail_cleanly(kind_tree, message, tmp_path, c_out):
    """Each is refused before a buffer grows, and leaves the store empty."""
    path = tmp_path / "bad.h5"
    kind, tree = kind_tree
    h5build(path, tree)
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, kind, 0) == -1
    assert c_out() == message
    s = r.contents
    assert (s.attrKind, s.numAttrs, s.ivalsLen, s.fvalsLen, s.cvalsLen) == (0, 0, 0, 0, 0)
    assert s.ibufSize == 60 and s.fbufSize == 200 and s.cbufSize <= 241
    assert lib.scn_read_attribute_ids(r, kind, 0, (c_int * 150)()) == 1
    assert c_out() == f"scn_read_attribute_ids: Incorrect attr info for {WORDS[kind]}, in handle\n"
    assert close(r) == 0


@pytest.mark.parametrize("kind_tree, ordinal, typ, count, served", [
    # Offsets past the loaded values: those positions are zeros.
    (record(attrPtrs=[1, 0, 0]), 0, INT, 1, (0, [0])),
    (record(attrPtrs=[0, 1, 0]), 1, FLOAT, 2, (0, [2.0, 0.0])),
    (record(attrPtrs=[0, 2**31 - 1, 0]), 1, FLOAT, 2, (0, [0.0, 0.0])),
    (record(attrTags=[4100, 4200, 4300]), 2, CHAR, 40, (0, b"A" * 16 + bytes(24))),
    # A text length (6001 = 100) claiming more bytes than are stored.
    (record(ANNOT, numAttrs=2, fvalsLen=0, cvalsLen=3, attrTags=[6200, 6001], attrPtrs=[0, 0],
            ivals=[100], fvals=None, cvals=[104, 105, 0]), 0, CHAR, 101, (0, b"hi" + bytes(99))),
    # A negative offset is refused.
    (record(attrPtrs=[0, 0, -1]), 2, CHAR, 16, (1, bytes(16))),
])
def test_served_values_never_pass_the_loaded_arrays(kind_tree, ordinal, typ, count, served,
                                                   tmp_path, c_out):
    path = tmp_path / "offsets.h5"
    kind, tree = kind_tree
    h5build(path, tree)
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, kind, 0) == (2 if kind == ANNOT else 3)
    # What an earlier record left past the loaded values must not show through.
    s = r.contents
    for buf, used, size, width in ((s.ibuf, s.ivalsLen, s.ibufSize, 4),
                                   (s.fbuf, s.fvalsLen, s.fbufSize, 4),
                                   (s.cbuf, s.cvalsLen + 1, s.cbufSize, 1)):
        ctypes.memset(ctypes.cast(buf, c_void_p).value + used * width, 0x55, (size - used) * width)
    assert read_values(r, kind, 0, ordinal, typ, count) == served
    assert c_out() == ("" if served[0] == 0 else
                       "scn_read_attr: values of attribute 2 (tag 0x1030) lie outside cvals\n")
    assert close(r) == 0


# A dependent tag added before its governing count (which the order of adding
# allows) is stored without values of its own; a reader, seeing the whole
# list, counts them in full from the tag's offset: the next attributes'
# values of that type, then zeros.
@pytest.mark.parametrize("kind, entries, stored, served", [
    (PART, [(294, FLOAT, 3, []), (293, INT, 1, [3]), (221, FLOAT, 1, [2.5]),
            (222, FLOAT, 1, [4.5])],
     {"fvals": [2.5, 4.5]}, [[2.5, 4.5, 0.0], [3], [2.5], [4.5]]),
    (RENDATTR, [(1188, FLOAT, 16, []), (1187, INT, 1, [1]), (1116, FLOAT, 4, [1.0, 2, 3, 4])],
     {"fvals": [1, 2, 3, 4]}, [[1.0, 2, 3, 4] + [0.0] * 12, [1], [1.0, 2, 3, 4]]),
    (ANNOT, [(6200, CHAR, 6, b"hello"), (6001, INT, 1, [5]), (6201, CHAR, 40, b"Arial")],
     {"cvals": list(b"hArial") + [0] * 35}, [b"hArial", [5], b"Arial".ljust(40, b"\0")]),
], ids=["contour levels", "instances", "text"])
def test_dependent_tag_before_its_count(kind, entries, stored, served, tmp_path, c_out):
    path = tmp_path / "order.h5"
    h = open_owners(path)
    write_record(h, kind, 0, entries)
    assert close(h) == 0
    tree = h5dump(path)
    base = f"/top/{COLLECTIONS[kind]}/{WORDS[kind]}_0"
    assert {name: tree[f"{base}/{name}"]["value"] for name in stored} == stored
    r = open_read(path)
    assert lib.scn_read_num_attributes(r, kind, 0) == len(entries)
    got = [read_values(r, kind, 0, i, typ, count) for i, (_, typ, count, _) in enumerate(entries)]
    assert got == [(0, values) for values in served]
    assert close(r) == 0
    assert c_out() == ""
