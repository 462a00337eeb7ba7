"""Annotations, images, queries and notes."""
import ctypes
from ctypes import POINTER, c_char, c_char_p, c_float, c_int

import pytest

from scnlib import (HandleP, close, floats, h5build, h5dump, int_attr, ints, lib, open_read,
                    open_write, text_attr)

IntP, VoidP = POINTER(c_int), ctypes.c_void_p
lib.declare("scn_write_annot", c_int, HandleP, c_int, c_int, c_int, c_int, c_int, IntP)
lib.declare("scn_write_image", c_int, HandleP, c_int, c_int, c_int, c_int, c_int, c_char_p,
            POINTER(c_float))
lib.declare("scn_write_query", c_int, HandleP, c_int, c_char_p, c_char_p, c_char_p, c_int)
lib.declare("scn_write_note", c_int, HandleP, c_int, c_int, c_char_p)
for _family in ("annot", "image", "query", "note"):
    lib.declare(f"scn_read_{_family}_num", c_int, HandleP)
for _name in ("annot_info", "image_info"):
    lib.declare(f"scn_read_{_name}", c_int, HandleP, c_int, IntP, IntP, IntP, IntP)
lib.declare("scn_read_annot_indices", c_int, HandleP, c_int, VoidP)
lib.declare("scn_read_image_pixels", c_int, HandleP, c_int, VoidP)
lib.declare("scn_read_image_depth", c_int, HandleP, c_int, POINTER(c_float))
lib.declare("scn_read_query_info", c_int, HandleP, c_int, VoidP, VoidP, VoidP, IntP)
lib.declare("scn_read_note_info", c_int, HandleP, c_int, IntP)
lib.declare("scn_read_note_text", c_int, HandleP, c_int, VoidP)


def build(path, group, records, version="2.00", counter=True):
    """A file with one collection; records maps names below it to their
    attributes, or to a dataset's value list."""
    tree = {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                               "scn_file_version": text_attr(version)}},
            f"/top/{group}": {"attrs": {f"n{group}": int_attr(1)} if counter else {}}}
    for name, item in records.items():
        tree[f"/top/{group}/{name}"] = ({"type": "dataset", "dtype": "int8" if "pixels" in name
                                         else "int32", "value": item}
                                        if isinstance(item, list) else {"attrs": item})
    h5build(path, tree)


def attrs_of(tree, path):
    return {k: (v["dtype"], v["value"]) for k, v in tree[path]["attrs"].items()}


def outs(n):
    return [c_int(-99) for _ in range(n)]


def test_annotation_round_trip(tmp_path, c_out):
    h = open_write(None)
    assert lib.scn_write_annot(h, 0, 10, 0, 1, 2, None) == 1
    assert lib.scn_write_image(h, 0, 1, 1, 2, 0, b"x", None) == 1
    assert lib.scn_write_query(h, 0, b"q", None, None, 0) == 1
    assert lib.scn_write_note(h, 0, 1, b"n") == 1
    assert c_out() == "".join(f"scn_write_{entry}: error creating {group} group\n" for entry, group
                              in (("annot", "Annots"), ("image", "Images"), ("query", "Queries"),
                                  ("note", "Notes")))
    assert close(h) == 0
    path = tmp_path / "annot.h5"
    h = open_write(path)
    assert lib.scn_write_annot(h, 0, 40, 3, 7, 8, ints([2, 0, 1])) == 0
    assert lib.scn_write_annot(h, 1, 10, 0, -1, -1, None) == 0
    assert close(h) == 0
    tree = h5dump(path)
    assert attrs_of(tree, "/top/Annots") == {"nAnnots": ("int32", 2)}
    assert attrs_of(tree, "/top/Annots/annot_0") == {
        "numAttrs": ("int32", 0), "annotType": ("int32", 40), "nQueries": ("int32", 3),
        "monoImageIndex": ("int32", 7), "stereoImageIndex": ("int32", 8)}
    q = tree["/top/Annots/annot_0/queryIndices"]
    assert (q["dtype"], q["value"]) == ("int32", [2, 0, 1])
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
    assert lib.scn_read_annot_info(r, 5, t, None, None, None) == 1
    assert c_out() == ("Error opening dataset: queryIndices\n"
                       "scn_read_annot_info: error opening group '/top/Annots/annot_5'\n")
    assert close(r) == 0


# (pixelFormat, bytes per pixel): unknown formats store no pixels.
FORMATS = [(1, 1), (2, 1), (4, 2), (8, 3), (16, 4), (0, 0), (3, 0), (32, 0)]


def test_images_round_trip_and_layout(tmp_path, c_out):
    path = tmp_path / "img.h5"
    pixels = bytes((i * 37) % 256 for i in range(48))
    small, large = [i / 8 for i in range(10 * 10)], [i / 4 for i in range(11 * 10)]
    h = open_write(path)
    for index, (fmt, _) in enumerate(FORMATS):
        assert lib.scn_write_image(h, index, 4, 3, fmt, 0, pixels, None) == 0
    assert lib.scn_write_image(h, 8, 10, 10, 16, 1, bytes(400), floats(small)) == 0
    assert lib.scn_write_image(h, 9, 11, 10, 2, 1, bytes(110), floats(large)) == 0
    assert lib.scn_write_image(h, 10, 0, 5, 2, 1, None, None) == 0
    assert close(h) == 0
    tree = h5dump(path)
    image = "/top/Images/image_"
    assert attrs_of(tree, image + "3") == {
        "numAttrs": ("int32", 0), "width": ("int32", 4), "height": ("int32", 3),
        "pixelFormat": ("int32", 8), "hasDepth": ("int32", 0)}
    r = open_read(path)
    for index, (fmt, per_pixel) in enumerate(FORMATS):
        size = 12 * per_pixel
        got = (c_char * 49)(*([b"#"] * 49))
        assert f"{image}{index}/depth" not in tree
        if per_pixel:
            stored = tree[f"{image}{index}/pixels"]
            assert (stored["dtype"], stored["shape"], stored["chunks"], stored["value"]) == (
                "int8", [size], None, [b - 256 if b > 127 else b for b in pixels[:size]])
            assert lib.scn_read_image_pixels(r, index, got) == 0
            assert bytes(got) == pixels[:size] + b"#" * (49 - size)
        else:
            assert f"{image}{index}/pixels" not in tree
            assert lib.scn_read_image_pixels(r, index, got) == 1
            assert c_out() == "Error opening dataset: pixels\n"
    # Depth arrays over 100 values are compressed; pixels never.
    d8, d9 = tree[image + "8/depth"], tree[image + "9/depth"]
    assert (d8["dtype"], d8["value"], d8["chunks"], d8["filters"]) == ("float32", small, None, [])
    assert (d9["chunks"], d9["filters"], d9["gzip_level"]) == ([110], ["shuffle", "deflate"], 9)
    assert tree[image + "8/pixels"]["chunks"] is None
    assert not [k for k in tree if k.startswith(image + "10/")]
    w, hgt, fmt, has = outs(4)
    assert lib.scn_read_image_info(r, 9, w, hgt, fmt, has) == 0
    assert (w.value, hgt.value, fmt.value, has.value) == (11, 10, 2, 1)
    got = (c_float * 110)()
    assert lib.scn_read_image_depth(r, 9, got) == 0 and list(got) == large
    assert lib.scn_read_image_depth(r, 0, got) == 1
    assert c_out() == "Error opening dataset: depth\n"
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
    assert attrs_of(h5dump(path), "/top/Images/image_0")["width"] == ("int32", width)


def test_query_texts(tmp_path, c_out):
    path = tmp_path / "query.h5"
    name = bytes(65 + i % 26 for i in range(100))
    h = open_write(path)
    assert lib.scn_write_query(h, 0, name, None, b"y" * 300, 4) == 0
    assert lib.scn_write_query(h, 1, b"short", b"x axis", b"", -1) == 0
    assert close(h) == 0
    q0 = h5dump(path)["/top/Queries/query_0"]["attrs"]
    # No numAttrs; texts fill 256-byte fields.
    assert {k: (a["dtype"], a["shape"]) for k, a in q0.items()} == {
        "queryName": ("int8", [256]), "xAxisLabel": ("int8", [256]),
        "yAxisLabel": ("int8", [256]), "partIndex": ("int32", [])}
    assert q0["queryName"]["text"] == name.decode()
    assert q0["xAxisLabel"]["value"] == [0] * 256
    assert q0["yAxisLabel"]["value"] == [ord("y")] * 256

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


def test_notes_round_trip(tmp_path, c_out):
    """A negative index takes the next ("nNotes"); the length is the caller's."""
    path = tmp_path / "notes.h5"
    texts = (b"first", b"second note", b"3")
    h = open_write(path)
    for text in texts:
        assert lib.scn_write_note(h, -1, len(text), text) == 0
    assert lib.scn_write_note(h, 5, 4, b"abcdefgh") == 0
    assert lib.scn_write_note(h, 6, 6, None) == 0
    assert lib.scn_write_note(h, 7, 0, b"") == 0
    assert close(h) == 0
    tree = h5dump(path)
    assert attrs_of(tree, "/top/Notes") == {"nNotes": ("int32", 6)}
    for index, text in zip((0, 1, 2, 5, 6), texts + (b"abcd", b"\0" * 6)):
        assert attrs_of(tree, f"/top/Notes/note_{index}") == {
            "numAttrs": ("int32", 0), "noteLen": ("int32", len(text)),
            "noteText": ("int8", list(text))}
    assert "noteText" not in tree["/top/Notes/note_7"]["attrs"]
    r = open_read(path)
    assert lib.scn_read_note_num(r) == 6
    n = c_int(0)
    assert lib.scn_read_note_info(r, 1, n) == 0 and n.value == 11
    buf = ctypes.create_string_buffer(b"#" * 12, 12)
    assert lib.scn_read_note_text(r, 1, buf) == 0 and buf.raw == b"second note#"
    assert lib.scn_read_note_text(r, 7, buf) == 0 and buf.raw == b"second note#"
    assert c_out() == ""
    assert lib.scn_read_note_text(r, 3, buf) == 1
    assert c_out() == "scn_read_note_text: error opening group '/top/Notes/note_3'\n"
    assert close(r) == 0


def test_note_with_unreadable_counter(tmp_path, c_out):
    path = tmp_path / "nocount.h5"
    build(path, "Notes", {}, counter=False)
    h = open_write(path, 1)
    assert lib.scn_write_note(h, -1, 1, b"x") == 1
    assert c_out() == ("Error opening group for attribute: nNotes\n"
                       "scn_write_note: error reading existing nNotes\n")
    assert close(h) == 0
    assert [k for k in h5dump(path) if k.startswith("/top/Notes/")] == []


@pytest.mark.parametrize("version, length", [("0.9", 256), ("1.00", 256), ("1.02", 256),
                                             ("1.03", 11)])
def test_note_lengths_by_file_version(version, length, tmp_path, c_out):
    """Files before 1.03 store no length: their texts fill 256 bytes."""
    path = tmp_path / "old.h5"
    build(path, "Notes", {"note_0": {"noteLen": int_attr(11),
                                     "noteText": text_attr("an old note", length)}}, version)
    r = open_read(path)
    n = c_int(0)
    assert lib.scn_read_note_info(r, 0, n) == 0 and n.value == length
    buf = ctypes.create_string_buffer(length)
    assert lib.scn_read_note_text(r, 0, buf) == 0 and buf.value == b"an old note"
    assert c_out() == ""
    # Without a stored length, even a missing record reports 256.
    assert lib.scn_read_note_info(r, 7, n) == (0 if length == 256 else 1) and n.value == length
    assert close(r) == 0


def pixels_of(attrs, n):
    return {"image_0": {k: int_attr(v) for k, v in attrs.items()}, "image_0/pixels": list(range(n))}


# Malformed files (of version 1.03, the first with note lengths): nothing is
# read past what the record announces; (group, records, reader, buffer size, message).
@pytest.mark.parametrize("group, records, read, size, message", [
    ("Annots", {"annot_0": {"nQueries": int_attr(1)}, "annot_0/queryIndices": [1, 2, 3]},
     lib.scn_read_annot_indices, 8, "Error reading dataset: queryIndices\n"),
    ("Images", pixels_of({"width": 2, "height": 2, "pixelFormat": 8}, 20),
     lib.scn_read_image_pixels, 12, "Error reading dataset: pixels\n"),
    ("Images", pixels_of({"width": -2, "height": -2, "pixelFormat": 8}, 12),
     lib.scn_read_image_pixels, 12, "Error reading dataset: pixels\n"),
    ("Images", pixels_of({"width": 65536, "height": 65536, "pixelFormat": 0}, 4),
     lib.scn_read_image_pixels, 12, "Error reading dataset: pixels\n"),
    ("Images", pixels_of({"width": 2, "height": 2}, 12),
     lib.scn_read_image_pixels, 12, "Error opening group for attribute: pixelFormat\n"),
    ("Notes", {"note_0": {"noteLen": int_attr(4), "noteText": text_attr("x" * 10, 10)}},
     lib.scn_read_note_text, 4, "Error reading attribute: noteText\n"),
    ("Notes", {"note_0": {"noteLen": int_attr(-1), "noteText": text_attr("x" * 10, 10)}},
     lib.scn_read_note_text, 4, "Error reading attribute: noteText\n"),
])
def test_malformed_records_are_refused(group, records, read, size, message, tmp_path, c_out):
    path = tmp_path / "bad.h5"
    build(path, group, records, "1.03")
    r = open_read(path)
    got = ctypes.create_string_buffer(b"#" * size, size)
    assert read(r, 0, got) == 1 and got.raw == b"#" * size
    assert c_out() == message
    assert close(r) == 0


def test_missing_or_overlong_query_text_leaves_the_buffer(tmp_path, c_out):
    path = tmp_path / "q.h5"
    build(path, "Queries", {"query_0": {"queryName": text_attr("abc"), "partIndex": int_attr(2),
                                        "yAxisLabel": text_attr("b" * 300, 300)}})
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
