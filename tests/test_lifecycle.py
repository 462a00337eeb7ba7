"""Opening, stamping and closing scene files through the C entries."""
import ctypes
import os
import textwrap
from ctypes import POINTER, c_char_p, c_int

import pytest

from scnlib import (HandleP, b, close, h5build, h5dump, int_attr, lib, open_read, open_write,
                    run_isolated, text_attr)


def test_identity_strings():
    assert lib.scnapi_name() == b"HDF5 ScnAPI"
    assert lib.scnapi_desc() == b"HDF5 implemenation of Scn API"
    assert lib.scnapi_version() == b"2.00.00"
    assert lib.scnfile_version() == b"2.00"


def test_input_files_kind_is_zero_padded():
    count = c_int(-1)
    buf = ctypes.create_string_buffer(b"\xff" * 24, 24)
    assert lib.scnapi_input_files(ctypes.byref(count), buf) == 0
    assert count.value == 1
    assert buf.raw[:20] == b"Scenario" + b"\0" * 12
    assert buf.raw[20:] == b"\xff" * 4  # nothing past the 20 bytes


def test_first_init_and_compression_table_in_fresh_process():
    out = run_isolated(textwrap.dedent("""
        import ctypes
        from scnlib import lib
        count = ctypes.c_int(-1)
        names = ctypes.POINTER(ctypes.c_char_p)()
        lib.scnapi_compression_avail(ctypes.byref(count), ctypes.byref(names))
        print(count.value)
        print(lib.scnapi_init(), lib.scnapi_init(), lib.scnapi_init())
        lib.scnapi_compression_avail(ctypes.byref(count), ctypes.byref(names))
        print(" ".join(names[i].decode() for i in range(count.value)))
    """))
    before, inits, table = out.splitlines()
    assert before == "0"  # reading alone never fills the table
    assert inits == "1 0 0"
    # Deflate is always first; Szip follows when the HDF5 build has it.
    assert table in ("Deflate", "Deflate Szip")


def test_write_begin_stamps_versions(tmp_path):
    path = tmp_path / "a.h5"
    h = open_write(path)
    assert h.contents.fileId >= 0
    assert h.contents.fileName == os.fsencode(path)
    assert h.contents.directory == os.fsencode(tmp_path)
    assert h.contents.compression == 0  # Deflate, the default
    assert close(h) == 0 and not h
    top = h5dump(path)["/top"]["attrs"]
    assert set(top) == {"scn_api_version", "scn_file_version"}
    for name, text in [("scn_api_version", "2.00.00"), ("scn_file_version", "2.00")]:
        assert top[name]["dtype"] == "int8" and top[name]["shape"] == [256]
        assert top[name]["value"] == list(text.encode()) + [0] * (256 - len(text))


@pytest.mark.parametrize("name, directory", [
    ("a.h5", b"./"),
    ("sub/a.h5", b"sub"),
])
def test_directory_of_name(tmp_path, monkeypatch, name, directory):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "sub").mkdir()
    h = open_write(name)
    assert h.contents.directory == directory
    assert close(h) == 0


@pytest.mark.parametrize("opener", [lambda: lib.scn_write_begin(None, 0),
                                    lambda: lib.scn_read_begin((c_char_p * 1)(None))])
def test_null_name_gives_handle_without_file(opener):
    h = opener()
    assert h and h.contents.fileId == -1 and h.contents.fileName == b""
    assert close(h) == 0


def test_truncate_replaces_non_hdf5_file(tmp_path, c_out):
    path = tmp_path / "plain.txt"
    path.write_text("not a scene file")
    h = open_write(path, 0)
    assert h.contents.fileId >= 0
    assert close(h) == 0
    assert "/top" in h5dump(path)
    assert c_out() == ""


def test_append_refuses_non_hdf5_file(tmp_path, c_out):
    path = tmp_path / "plain.txt"
    path.write_text("keep me")
    h = open_write(path, 1)
    assert h.contents.fileId == -1 and h.contents.fileName == b""
    assert c_out() == (f"scn_write_begin: error opening {path}, "
                       "non hdf5 file by that name exists already\n")
    assert close(h) == 0
    assert path.read_text() == "keep me"


def test_append_creates_missing_file_and_keeps_records(tmp_path):
    path = tmp_path / "new.h5"
    h = open_write(path, 1)
    assert h.contents.fileId >= 0
    assert close(h) == 0
    h5build(path, {"/top": {"attrs": {"scn_api_version": text_attr("1.00.00"),
                                      "scn_file_version": text_attr("1.00")}},
                   "/top/Scenes": {"attrs": {"nScenes": int_attr(2)}}})
    h = open_write(path, 1)
    assert close(h) == 0
    tree = h5dump(path)
    assert tree["/top/Scenes"]["attrs"]["nScenes"]["value"] == 2
    assert tree["/top"]["attrs"]["scn_api_version"]["text"] == "2.00.00"
    assert tree["/top"]["attrs"]["scn_file_version"]["text"] == "2.00"


def test_write_begin_unwritable_path(tmp_path, c_out):
    path = tmp_path / "missing_dir" / "a.h5"
    h = open_write(path, 0)
    assert h.contents.fileId == -1
    assert c_out() == f"scn_write_begin: error opening {path} in truncate mode\n"
    assert close(h) == 0


def test_long_name_is_cut_to_fit_field(tmp_path):
    deep = tmp_path / ("d" * 200)
    deep.mkdir()
    path = deep / ("f" * 100 + ".h5")
    h = open_write(path)
    assert h.contents.fileId >= 0
    assert h.contents.fileName == os.fsencode(path)[:255]
    assert close(h) == 0
    assert path.exists()  # opened under its full name


def test_framework_version_round_trip(tmp_path, c_out):
    path = tmp_path / "fw.h5"
    h = open_write(path)
    assert lib.scn_write_framework_version(h, b"viewer 7.1") == 0
    assert close(h) == 0
    attr = h5dump(path)["/top"]["attrs"]["framework_version"]
    assert attr["shape"] == [256] and attr["text"] == "viewer 7.1"
    r = open_read(path)
    buf = ctypes.create_string_buffer(256)
    assert lib.scn_read_framework_version(r, buf) == 0
    assert buf.value == b"viewer 7.1"
    assert lib.scn_read_framework_version(r, None) == 0
    assert close(r) == 0
    assert c_out() == ""


def test_framework_version_missing(tmp_path, c_out):
    path = tmp_path / "nofw.h5"
    assert close(open_write(path)) == 0
    r = open_read(path)
    buf = ctypes.create_string_buffer(256)
    assert lib.scn_read_framework_version(r, buf) == 1
    assert c_out() == "Error opening group for attribute: framework_version\n"
    assert close(r) == 0


def test_framework_version_on_handle_without_file(c_out):
    h = lib.scn_write_begin(None, 0)
    assert lib.scn_write_framework_version(h, b"x") == 1
    assert lib.scn_read_framework_version(h, ctypes.create_string_buffer(256)) == 1
    assert c_out() == ("scn_write_framework_version: error opening group /top\n"
                       "scn_read_framework_version: error opening group /top\n")
    assert close(h) == 0


def _versions(**attrs):
    return {"/top": {"attrs": {k: text_attr(v, 300 if k == "wide" else 256)
                               for k, v in attrs.items()}}}


@pytest.mark.parametrize("tree, message", [
    ({"/other": {}}, "scn_read_set_filenames: error opening group /top\n"),
    (_versions(scn_api_version="2.00.00"),
     "Error opening group for attribute: scn_file_version\n"
     "Error opening group for attribute: rw_release\n"
     "scn_read_set_filenames: error getting version info\n"),
    (_versions(scn_file_version="2.00"),
     "Error opening group for attribute: scn_api_version\n"
     "Error opening group for attribute: api_version\n"
     "scn_read_set_filenames: error getting version info\n"),
    # A version attribute wider than the 256-byte buffer is refused.
    ({"/top": {"attrs": {"scn_api_version": text_attr("2.00.00", 300),
                         "scn_file_version": text_attr("2.00")}}},
     "Error reading attribute: scn_api_version\n"
     "Error opening group for attribute: api_version\n"
     "scn_read_set_filenames: error getting version info\n"),
], ids=["no-top", "no-file-version", "no-api-version", "wide-version"])
def test_read_begin_refuses(tmp_path, c_out, tree, message):
    path = tmp_path / "bad.h5"
    h5build(path, tree)
    assert not open_read(path)
    assert c_out() == message


@pytest.mark.parametrize("content", [None, b"plain text"], ids=["missing", "not-hdf5"])
def test_read_begin_unopenable(tmp_path, c_out, content):
    path = tmp_path / "x.h5"
    if content is not None:
        path.write_bytes(content)
    assert not open_read(path)
    assert c_out() == f"scn_read_set_filenames: error opening {path}\n"


def test_legacy_versions_in_fresh_process(tmp_path):
    legacy = tmp_path / "legacy.h5"
    h5build(legacy, _versions(api_version="1.01.00", rw_release="7.3"))
    current = tmp_path / "current.h5"
    h5build(current, {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                                         "scn_file_version": text_attr("2.00"),
                                         "framework_version": text_attr("fw 3")}}})
    out = run_isolated(textwrap.dedent(f"""
        import ctypes
        from scnlib import close, lib, open_read
        buf = ctypes.create_string_buffer(256)
        def show(*values):
            lib.flush()
            print(*values, flush=True)
        r = open_read({str(current)!r})
        show(lib.scn_read_framework_version(r, buf), buf.value.decode()); close(r)
        r = open_read({str(legacy)!r})
        show(bool(r), lib.scn_read_framework_version(r, buf), buf.value.decode()); close(r)
        # Once a legacy file was read, every file reports framework 1.00.
        r = open_read({str(current)!r})
        show(lib.scn_read_framework_version(r, buf), buf.value.decode()); close(r)
    """))
    assert out.splitlines() == [
        "0 fw 3",
        "Error opening group for attribute: scn_api_version",
        "Error opening group for attribute: scn_file_version",
        "True 0 1.00",
        "0 1.00",
    ]


def test_close_null_pointer_and_handle():
    assert lib.scnapi_close(None) == 1
    empty = HandleP()
    assert lib.scnapi_close(ctypes.byref(empty)) == 0


@pytest.mark.parametrize("closer, other_count, other_close", [
    ("scnapi_close_file", 1, (0, "")),
    # the other handle's file went with HDF5: its close fails and keeps it
    ("scnapi_close", 0, (1, "Error closing the file!\n")),
])
def test_closing_one_file_and_the_others(closer, other_count, other_close, tmp_path, c_out):
    """scnapi_close shuts HDF5 down, closing every other handle's file too;
    scnapi_close_file leaves them open."""
    path = tmp_path / "two.h5"
    h = open_write(path)
    assert lib.scn_write_scene(h, 0, b"s", 1, 0, 0, 1, 0, 0, ctypes.c_float(1)) == 0
    assert close(h) == 0
    first, second = open_read(path), open_read(path)
    assert getattr(lib, closer)(ctypes.byref(first)) == 0 and not first
    assert lib.scn_read_scene_num(second) == other_count
    c_out()
    assert (lib.scnapi_close_file(ctypes.byref(second)), c_out()) == other_close


def test_compression_choice_is_stored_unchecked(tmp_path):
    h = open_write(tmp_path / "c.h5")
    assert lib.scn_write_set_compression(h, 17) == 0
    assert h.contents.compression == 17
    assert close(h) == 0


def test_fresh_handle_store_fields(tmp_path):
    h = open_write(tmp_path / "s.h5")
    c = h.contents
    assert (c.ibufSize, c.fbufSize, c.cbufSize) == (60, 200, 240)
    assert (c.geomCount, c.nodeSetsFound, c.elemListsFound) == (-1, -1, -1)
    assert not c.nodesInGeom and not c.elemsInGeom
    assert (c.attrKind, c.numAttrs, c.expectedAttrs) == (0, 0, 0)
    assert close(h) == 0
