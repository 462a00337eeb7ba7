"""Annotations, images, queries and notes."""
import ctypes
from ctypes import POINTER, c_char, c_char_p, c_float, c_int

import pytest

from scnlib import (HandleP, close, floats, h5build, h5dump, int_attr, ints, lib, open_read,
                    open_write, text_attr)

IntP = POINTER(c_int)
lib.declare("scn_write_annot", c_int, HandleP, c_int, c_int, c_int, c_int, c_int, IntP)
lib.declare("scn_write_image", c_int, HandleP, c_int, c_int, c_int, c_int, c_int, c_char_p,
            POINTER(c_float))
lib.declare("scn_write_query", c_int, HandleP, c_int, c_char_p, c_char_p, c_char_p, c_int)
lib.declare("scn_write_note", c_int, HandleP, c_int, c_int, c_char_p)
for _family in ("annot", "image", "query", "note"):
    lib.declare(f"scn_read_{_family}_num", c_int, HandleP)
lib.declare("scn_read_annot_info", c_int, HandleP, c_int, IntP, IntP, IntP, IntP)
lib.declare("scn_read_annot_indices", c_int, HandleP, c_int, IntP)
lib.declare("scn_read_image_info", c_int, HandleP, c_int, IntP, IntP, IntP, IntP)
lib.declare("scn_read_image_pixels", c_int, HandleP, c_int, ctypes.c_void_p)
lib.declare("scn_read_image_depth", c_int, HandleP, c_int, POINTER(c_float))
lib.declare("scn_read_query_info", c_int, HandleP, c_int, ctypes.c_void_p, ctypes.c_void_p,
            ctypes.c_void_p, IntP)
lib.declare("scn_read_note_info", c_int, HandleP, c_int, IntP)
lib.declare("scn_read_note_text", c_int, HandleP, c_int, ctypes.c_void_p)


def top(file_version="2.00"):
    return {"/top": {"type": "group", "attrs": {"scn_api_version": text_attr("2.00.00"),
                                                 "scn_file_version": text_attr(file_version)}}}


def attrs_of(tree, path):
    return {k: v["value"] for k, v in tree[path]["attrs"].items()}


def outs(n):
    return [c_int(-99) for _ in range(n)]


def signed(data):
    return [b - 256 if b > 127 else b for b in data]


# ---- counts --------------------------------------------------------------------


@pytest.mark.parametrize("family", ["annot", "image", "query", "note"])
def test_absent_collections_count_zero(family, tmp_path, c_out):
    path = tmp_path / "empty.h5"
    assert close(open_write(path)) == 0
    r = open_read(path)
    assert getattr(lib, f"scn_read_{family}_num")(r) == 0
    assert close(r) == 0
    assert c_out() == ""


@pytest.mark.parametrize("entry, group, call", [
    ("scn_write_annot", "Annots", lambda h: lib.scn_write_annot(h, 0, 10, 0, 1, 2, None)),
    ("scn_write_image", "Images", lambda h: lib.scn_write_image(h, 0, 1, 1, 2, 0, b"x", None)),
    ("scn_write_query", "Queries", lambda h: lib.scn_write_query(h, 0, b"q", None, None, 0)),
    ("scn_write_note", "Notes", lambda h: lib.scn_write_note(h, 0, 1, b"n")),
])
def test_writing_without_a_file(entry, group, call, c_out):
    h = open_write(None)
    assert call(h) == 1
    assert c_out() == f"{entry}: error creating {group} group\n"
    assert close(h) == 0


# ---- annotations ---------------------------------------------------------------


def test_annotation_round_trip(tmp_path, c_out):
    path = tmp_path / "annot.h5"
    h = open_write(path)
    assert lib.scn_write_annot(h, 0, 40, 3, 7, 8, ints([2, 0, 1])) == 0
    assert lib.scn_write_annot(h, 1, 10, 0, -1, -1, None) == 0
    assert close(h) == 0
    tree = h5dump(path)
    assert attrs_of(tree, "/top/Annots") == {"nAnnots": 2}
    assert attrs_of(tree, "/top/Annots/annot_0") == {
        "numAttrs": 0, "annotType": 40, "nQueries": 3, "monoImageIndex": 7, "stereoImageIndex": 8}
    q = tree["/top/Annots/annot_0/queryIndices"]
    assert (q["dtype"], q["value"]) == ("int32", [2, 0, 1])
    assert attrs_of(tree, "/top/Annots/annot_1")["nQueries"] == 0
    assert "/top/Annots/annot_1/queryIndices" not in tree

    r = open_read(path)
    assert lib.scn_read_annot_num(r) == 2
    t, n, mono, stereo = outs(4)
    assert lib.scn_read_annot_info(r, 0, t, n, mono, stereo) == 0
    assert (t.value, n.value, mono.value, stereo.value) == (40, 3, 7, 8)
    assert lib.scn_read_annot_info(r, 0, None, None, None, None) == 0
    got = ints([-1] * 4)
    assert lib.scn_read_annot_indices(r, 0, got) == 0 and list(got) == [2, 0, 1, -1]
    assert c_out() == ""
    assert lib.scn_read_annot_indices(r, 1, got) == 1
    assert c_out() == "Error opening dataset: queryIndices\n"
    assert lib.scn_read_annot_info(r, 5, t, None, None, None) == 1
    assert c_out() == "scn_read_annot_info: error opening group '/top/Annots/annot_5'\n"
    assert close(r) == 0


def test_query_indices_longer_than_counted_are_refused(tmp_path, c_out):
    path = tmp_path / "bad.h5"
    tree = top()
    tree["/top/Annots"] = {"type": "group", "attrs": {"nAnnots": int_attr(1)}}
    tree["/top/Annots/annot_0"] = {"type": "group", "attrs": {"nQueries": int_attr(1)}}
    tree["/top/Annots/annot_0/queryIndices"] = {"type": "dataset", "dtype": "int32",
                                                "value": [1, 2, 3]}
    h5build(path, tree)
    r = open_read(path)
    got = ints([-1, -1])
    assert lib.scn_read_annot_indices(r, 0, got) == 1 and list(got) == [-1, -1]
    assert c_out() == "Error reading dataset: queryIndices\n"
    assert close(r) == 0


# ---- images --------------------------------------------------------------------


@pytest.mark.parametrize("fmt, per_pixel", [(1, 1), (2, 1), (4, 2), (8, 3), (16, 4), (0, 0),
                                            (3, 0), (32, 0)])
def test_pixel_bytes_per_format(fmt, per_pixel, tmp_path, c_out):
    path = tmp_path / "img.h5"
    size = 4 * 3 * per_pixel
    pixels = bytes((i * 37) % 256 for i in range(max(size, 1)))
    h = open_write(path)
    assert lib.scn_write_image(h, 0, 4, 3, fmt, 0, pixels, None) == 0
    assert close(h) == 0
    tree = h5dump(path)
    assert attrs_of(tree, "/top/Images/image_0") == {
        "numAttrs": 0, "width": 4, "height": 3, "pixelFormat": fmt, "hasDepth": 0}
    assert "/top/Images/image_0/depth" not in tree
    r = open_read(path)
    got = (c_char * (size + 1))(*([b"#"] * (size + 1)))
    if per_pixel:
        stored = tree["/top/Images/image_0/pixels"]
        assert (stored["dtype"], stored["shape"], stored["chunks"]) == ("int8", [size], None)
        assert stored["value"] == signed(pixels[:size])
        assert lib.scn_read_image_pixels(r, 0, got) == 0
        assert bytes(got) == pixels[:size] + b"#"
    else:
        assert "/top/Images/image_0/pixels" not in tree
        c_out()
        assert lib.scn_read_image_pixels(r, 0, got) == 1
        assert c_out() == "Error opening dataset: pixels\n"
    assert lib.scn_read_image_depth(r, 0, floats([0.0])) == 1
    assert close(r) == 0


def test_depth_round_trip_and_compression(tmp_path):
    path = tmp_path / "depth.h5"
    small = [i / 8 for i in range(12)]
    large = [i / 4 for i in range(11 * 10)]
    h = open_write(path)
    assert lib.scn_write_image(h, 0, 4, 3, 16, 1, bytes(48), floats(small)) == 0
    assert lib.scn_write_image(h, 1, 11, 10, 2, 1, bytes(110), floats(large)) == 0
    assert lib.scn_write_image(h, 2, 0, 5, 2, 1, None, None) == 0
    assert close(h) == 0
    tree = h5dump(path)
    d0 = tree["/top/Images/image_0/depth"]
    assert (d0["dtype"], d0["value"], d0["chunks"]) == ("float32", small, None)
    d1 = tree["/top/Images/image_1/depth"]
    assert d1["chunks"] == [110] and d1["filters"][-1] == "deflate" and d1["gzip_level"] == 9
    assert tree["/top/Images/image_1/pixels"]["chunks"] is None
    assert "/top/Images/image_2/pixels" not in tree and "/top/Images/image_2/depth" not in tree
    r = open_read(path)
    w, hgt, fmt, has = outs(4)
    assert lib.scn_read_image_info(r, 1, w, hgt, fmt, has) == 0
    assert (w.value, hgt.value, fmt.value, has.value) == (11, 10, 2, 1)
    got = (c_float * 110)()
    assert lib.scn_read_image_depth(r, 1, got) == 0 and list(got) == large
    assert close(r) == 0


@pytest.mark.parametrize("width, height, fmt, has_depth, message", [
    (-2, -3, 8, 0, "Error creating dataspace for dataset: pixels\n"),
    (-2, 3, 1, 1, "Error creating dataspace for dataset: pixels\n"
                  "Error creating dataspace for dataset: depth\n"),
    (4, 3, 8, 1, "Error writing dataset: depth\n"),  # no depth array given
    (65536, 65536, 1, 0, "Error creating dataspace for dataset: pixels\n"),  # above INT_MAX
])
def test_unusable_image_arrays_are_refused(width, height, fmt, has_depth, message, tmp_path,
                                           c_out):
    path = tmp_path / "neg.h5"
    h = open_write(path)
    pixels = bytes(36) if width > 0 else None
    assert lib.scn_write_image(h, 0, width, height, fmt, has_depth, pixels, None) == 1
    assert c_out() == message
    assert close(h) == 0
    assert attrs_of(h5dump(path), "/top/Images/image_0")["width"] == width


@pytest.mark.parametrize("attrs, pixels, message", [
    ({"width": 2, "height": 2, "pixelFormat": 8}, list(range(20)), "Error reading dataset: pixels\n"),
    ({"width": -2, "height": -2, "pixelFormat": 8}, list(range(12)), "Error reading dataset: pixels\n"),
    ({"width": 65536, "height": 65536, "pixelFormat": 0}, list(range(4)), "Error reading dataset: pixels\n"),
    ({"width": 2, "height": 2}, list(range(12)), "Error opening group for attribute: pixelFormat\n"),
])
def test_pixels_beyond_the_announced_size_are_refused(attrs, pixels, message, tmp_path, c_out):
    path = tmp_path / "bad.h5"
    tree = top()
    tree["/top/Images"] = {"type": "group", "attrs": {"nImages": int_attr(1)}}
    tree["/top/Images/image_0"] = {"type": "group",
                                   "attrs": {k: int_attr(v) for k, v in attrs.items()}}
    tree["/top/Images/image_0/pixels"] = {"type": "dataset", "dtype": "int8", "value": pixels}
    h5build(path, tree)
    r = open_read(path)
    got = (c_char * 12)(*([b"#"] * 12))
    assert lib.scn_read_image_pixels(r, 0, got) == 1
    assert bytes(got) == b"#" * 12
    assert c_out() == message
    assert close(r) == 0


# ---- queries -------------------------------------------------------------------


def test_query_texts(tmp_path, c_out):
    path = tmp_path / "query.h5"
    name = bytes(65 + i % 26 for i in range(100))
    long_label = b"y" * 300
    h = open_write(path)
    assert lib.scn_write_query(h, 0, name, None, long_label, 4) == 0
    assert lib.scn_write_query(h, 1, b"short", b"x axis", b"", -1) == 0
    assert close(h) == 0
    tree = h5dump(path)
    q0 = tree["/top/Queries/query_0"]["attrs"]
    assert set(q0) == {"queryName", "xAxisLabel", "yAxisLabel", "partIndex"}  # no numAttrs
    assert q0["queryName"]["shape"] == [256] and q0["queryName"]["dtype"] == "int8"
    assert q0["queryName"]["text"] == name.decode()
    assert q0["xAxisLabel"]["value"] == [0] * 256
    assert q0["yAxisLabel"]["value"] == [ord("y")] * 256
    assert q0["partIndex"]["value"] == 4

    r = open_read(path)
    assert lib.scn_read_query_num(r) == 2
    bufs = [ctypes.create_string_buffer(b"#" * 70, 70) for _ in range(3)]
    part = c_int(0)
    assert lib.scn_read_query_info(r, 0, *bufs, part) == 0
    assert bufs[0].raw == name[:64] + b"#" * 6  # 64 bytes, no terminator
    assert bufs[1].raw == b"\0" * 64 + b"#" * 6
    assert bufs[2].raw == b"y" * 64 + b"#" * 6
    assert part.value == 4
    assert lib.scn_read_query_info(r, 1, bufs[0], None, None, None) == 0
    assert bufs[0].raw[:7] == b"short\0\0"
    assert close(r) == 0
    assert c_out() == ""


def test_missing_query_text_leaves_the_buffer(tmp_path, c_out):
    path = tmp_path / "q.h5"
    tree = top()
    tree["/top/Queries"] = {"type": "group", "attrs": {"nQueries": int_attr(1)}}
    tree["/top/Queries/query_0"] = {"type": "group", "attrs": {
        "queryName": text_attr("abc"), "yAxisLabel": text_attr("b" * 300, 300),
        "partIndex": int_attr(2)}}
    h5build(path, tree)
    r = open_read(path)
    bufs = [ctypes.create_string_buffer(b"#" * 64, 64) for _ in range(3)]
    part = c_int(0)
    assert lib.scn_read_query_info(r, 0, *bufs, part) == 1
    assert bufs[0].raw[:4] == b"abc\0"
    assert bufs[1].raw == b"#" * 64 and bufs[2].raw == b"#" * 64
    assert part.value == 2
    assert c_out() == ("Error opening group for attribute: xAxisLabel\n"
                       "Error reading attribute: yAxisLabel\n")
    assert close(r) == 0


# ---- notes ---------------------------------------------------------------------


def test_notes_with_negative_index_take_the_next(tmp_path, c_out):
    path = tmp_path / "notes.h5"
    h = open_write(path)
    for text in (b"first", b"second note", b"3"):
        assert lib.scn_write_note(h, -1, len(text), text) == 0
    assert close(h) == 0
    tree = h5dump(path)
    assert attrs_of(tree, "/top/Notes") == {"nNotes": 3}
    for i, text in enumerate((b"first", b"second note", b"3")):
        rec = tree[f"/top/Notes/note_{i}"]["attrs"]
        assert rec["numAttrs"]["value"] == 0 and rec["noteLen"]["value"] == len(text)
        assert rec["noteText"]["shape"] == [len(text)] and rec["noteText"]["text"] == text.decode()
    r = open_read(path)
    assert lib.scn_read_note_num(r) == 3
    n = c_int(0)
    assert lib.scn_read_note_info(r, 1, n) == 0 and n.value == 11
    buf = ctypes.create_string_buffer(b"#" * 12, 12)
    assert lib.scn_read_note_text(r, 1, buf) == 0 and buf.raw == b"second note#"
    assert close(r) == 0
    assert c_out() == ""


def test_note_length_is_the_callers(tmp_path):
    path = tmp_path / "len.h5"
    h = open_write(path)
    assert lib.scn_write_note(h, 2, 4, b"abcdefgh") == 0
    assert lib.scn_write_note(h, 3, 6, None) == 0
    assert lib.scn_write_note(h, 4, 0, b"") == 0
    assert close(h) == 0
    tree = h5dump(path)
    assert tree["/top/Notes/note_2"]["attrs"]["noteText"]["value"] == list(b"abcd")
    assert tree["/top/Notes/note_3"]["attrs"]["noteText"]["value"] == [0] * 6
    assert "noteText" not in tree["/top/Notes/note_4"]["attrs"]
    r = open_read(path)
    buf = ctypes.create_string_buffer(b"#", 1)
    assert lib.scn_read_note_text(r, 4, buf) == 0 and buf.raw == b"#"
    assert close(r) == 0


def test_note_with_unreadable_counter(tmp_path, c_out):
    path = tmp_path / "nocount.h5"
    tree = top()
    tree["/top/Notes"] = {"type": "group", "attrs": {}}
    h5build(path, tree)
    h = open_write(path, 1)
    assert lib.scn_write_note(h, -1, 1, b"x") == 1
    assert c_out() == ("Error opening group for attribute: nNotes\n"
                       "scn_write_note: error reading existing nNotes\n")
    assert close(h) == 0
    assert [k for k in h5dump(path) if k.startswith("/top/Notes/")] == []


@pytest.mark.parametrize("version", ["1.02", "1.00", "0.9"])
def test_notes_of_files_before_1_03(version, tmp_path, c_out):
    path = tmp_path / "old.h5"
    tree = top(version)
    tree["/top/Notes"] = {"type": "group", "attrs": {"nNotes": int_attr(1)}}
    tree["/top/Notes/note_0"] = {"type": "group", "attrs": {
        "noteText": text_attr("an old note", 256)}}
    h5build(path, tree)
    r = open_read(path)
    for index in (0, 7):
        n = c_int(0)
        assert lib.scn_read_note_info(r, index, n) == 0 and n.value == 256
    buf = ctypes.create_string_buffer(256)
    assert lib.scn_read_note_text(r, 0, buf) == 0 and buf.value == b"an old note"
    assert close(r) == 0
    assert c_out() == ""


@pytest.mark.parametrize("note_len, text_size, message", [
    (4, 10, "Error reading attribute: noteText\n"),
    (-1, 10, "Error reading attribute: noteText\n"),
])
def test_note_text_longer_than_its_length_is_refused(note_len, text_size, message, tmp_path,
                                                     c_out):
    path = tmp_path / "bad.h5"
    tree = top("1.03")
    tree["/top/Notes"] = {"type": "group", "attrs": {"nNotes": int_attr(1)}}
    tree["/top/Notes/note_0"] = {"type": "group", "attrs": {
        "noteLen": int_attr(note_len), "noteText": text_attr("x" * text_size, text_size)}}
    h5build(path, tree)
    r = open_read(path)
    buf = ctypes.create_string_buffer(b"#" * 4, 4)
    assert lib.scn_read_note_text(r, 0, buf) == 1 and buf.raw == b"####"
    assert c_out() == message
    assert lib.scn_read_note_text(r, 3, buf) == 1
    assert c_out() == "scn_read_note_text: error opening group '/top/Notes/note_3'\n"
    assert close(r) == 0
