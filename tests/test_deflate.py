"""Compressed arrays through the direct chunk path (raw chunk, libdeflate,
in-memory shuffle): every family's int and float arrays round-trip and read
back with h5py under the filters they declare; files of other writers and
other layouts read as before; damaged chunks fail cleanly."""
import ctypes
import zlib

import numpy as np
import pytest

from geomlib import SCALAR, call, check, flat
from scnlib import (close, h5build, h5chunk, h5dump, int_attr, lib, open_read, open_write,
                    text_attr)


def int_data(n):  # all four bytes of each value vary, signs too
    return (np.arange(n, dtype=np.int64) * 2654435761 % 2**32 - 2**31).astype(np.int32)


def float_data(n):
    return (np.arange(n, dtype=np.float32) - n / 3) * np.float32(1.37)


def family_arrays(n):
    """(writer calls, reader calls with their results, {dataset: array}) for
    one int or float array of n elements in each family that stores any."""
    iv, fv, iv2 = int_data(n), float_data(n), int_data(n)[::-1].copy()
    S, N, E = "/top/Scenes/scene_0/parts/part_0/", "/top/Nodes/nodes_0/", \
        "/top/ElemLists/elemlist_0/elem_0/"
    writes = [("scn_write_psrc", 0, n, 7, iv, fv),
              ("scn_write_scene", 0, b"s", n, 0, n - 1, 1, 0, 0, ctypes.c_float(24.0)),
              ("scn_write_scene_part", 0, 0, b"p", b"", n, iv, iv2),
              ("scn_write_rep", 0, n, 0, iv, 0),
              ("scn_write_var", 0, b"v", b"", 3000, SCALAR, 0, 0, None, None),
              ("scn_write_nodes", 0, n, 1, 1, 1, -1, fv, iv),
              ("scn_write_nodes_var", 0, 0, 0, n, 0, 0.0, fv),
              ("scn_write_elem_list", 0, 1, 1, 0, 1),
              ("scn_write_elem_list_var_info", 0, 0, 0, 0, 0.0),
              ("scn_write_elem", 0, 0, 2011, n, n, iv, iv2),
              ("scn_write_elem_var", 0, 0, 0, 0, n, fv),
              ("scn_write_vport", 0, n, iv),
              ("scn_write_annot", 0, 10, n, -1, -1, iv),
              ("scn_write_image", 0, n, 1, 2, 1, bytes(n), fv)]
    i, f = f"i{n}", f"f{n}"
    reads = [("scn_read_psrc_steps", 0, i, f, [iv, fv]),
             ("scn_read_scene_part_frame", 0, 0, i, i, [iv, iv2]),
             ("scn_read_rep_geoms", 0, i, [iv]),
             ("scn_read_nodes_coords", 0, f, [fv]), ("scn_read_nodes_ids", 0, i, [iv]),
             ("scn_read_nodes_var_values", 0, 0, f, [fv]),
             ("scn_read_elem_connectivity", 0, 0, i, [iv]), ("scn_read_elem_ids", 0, 0, i, [iv2]),
             ("scn_read_elem_var_values", 0, 0, 0, f, [fv]),
             ("scn_read_vport_indices", 0, i, [iv]),
             ("scn_read_annot_indices", 0, i, [iv]), ("scn_read_image_depth", 0, f, [fv])]
    reads = [(*r[:-1], (0, [a.tolist() for a in r[-1]])) for r in reads]
    stored = {"/top/Psrcs/psrc_0/partIndices": iv, "/top/Psrcs/psrc_0/stepValues": fv,
              S + "sourceIndices": iv, S + "stepNums": iv2, "/top/Reps/rep_0/geomIndicies": iv,
              N + "coords": fv, N + "ids": iv, N + "var_0/vals": fv, E + "conn": iv,
              E + "ids": iv2, E + "var_0/vals": fv, "/top/Vports/vport_0/partIndices": iv,
              "/top/Annots/annot_0/queryIndices": iv, "/top/Images/image_0/depth": fv}
    return writes, reads, stored


def compression_index(name):
    count, names = ctypes.c_int(), ctypes.POINTER(ctypes.c_char_p)()
    lib.scnapi_init()
    lib.scnapi_compression_avail(ctypes.byref(count), ctypes.byref(names))
    found = [names[i].decode() for i in range(count.value)]
    if name not in found:
        pytest.skip(f"{name} is not available")
    return found.index(name)


# Per compression: the layout of an array of more than 100 elements.
LAYOUTS = {"Deflate": (["shuffle", "deflate"], 9), "Szip": (["shuffle", "szip"], None),
           None: ([], None)}


@pytest.mark.parametrize("compression,n", [("Deflate", 100), ("Deflate", 101), ("Deflate", 257),
                                           ("Deflate", 40_001), ("Szip", 40_001), (None, 40_001)])
def test_family_arrays_round_trip_and_read_back_with_h5py(tmp_path, c_out, compression, n):
    writes, reads, arrays = family_arrays(n)
    index = compression_index(compression) if compression else -1
    compressed = compression and n > 100
    filters, level = LAYOUTS[compression] if compressed else LAYOUTS[None]
    stored = {}
    for path, arr in arrays.items():
        stored.update({path: arr.tolist(), f"{path}.dtype": str(arr.dtype),
                       f"{path}.chunks": [n] if compressed else None,
                       f"{path}.filters": filters, f"{path}.gzip_level": level})
    check(tmp_path / "f.h5", c_out, [("scn_write_set_compression", index)] + writes, stored, reads)


def test_compressed_chunk_is_deflated_by_the_library(tmp_path, c_out):
    """The chunk of a Deflate dataset is the library's own stream (libdeflate
    encodes differently from the zlib behind HDF5's filter), and it inflates
    to the shuffled values."""
    coords = np.linspace(0, 1, 3 * 2000, dtype=np.float32)
    path = tmp_path / "own.h5"
    check(path, c_out, [("scn_write_set_compression", compression_index("Deflate")),
                        ("scn_write_nodes", 0, 2000, 3, 0, 0, -1, coords, None)],
          {}, [])
    mask, chunk = h5chunk(path, "/top/Nodes/nodes_0/coords")
    shuffled = coords.view(np.uint8).reshape(-1, 4).T.tobytes()
    assert mask == 0 and zlib.decompress(chunk) == shuffled
    assert chunk != zlib.compress(shuffled, 9)


def nodes_file(coords, ids, **layout):
    """A node set written by h5py, its two arrays stored with `layout`
    (chunks "one": one chunk of the array's length)."""
    n = len(ids)
    group = {"attrs": {k: int_attr(v) for k, v in dict(
        numNodes=n, nodeDimension=3, hasNodeIds=1, numNodalVars=0, nodeNormalIndex=-1).items()}}
    tree = {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                               "scn_file_version": text_attr("2.00")}},
            "/top/Nodes": {"attrs": {"nNodes": int_attr(1)}}, "/top/Nodes/nodes_0": group}
    dtypes = {name: layout.pop(f"{name}_dtype", None) for name in ("coords", "ids")}
    for name, arr in (("coords", coords), ("ids", ids)):
        tree[f"/top/Nodes/nodes_0/{name}"] = {
            "type": "dataset", "dtype": dtypes[name] or str(arr.dtype), "value": arr.tolist(),
            **layout, **({"chunks": [arr.size]} if layout.get("chunks") == "one" else {})}
    return tree


N_NODES = 3001
FOREIGN = [  # label, h5py storage, file format
    ("shuffle and deflate, one chunk", dict(chunks="one", shuffle=True,
                                            compression="gzip", compression_opts=9), None),
    ("the same, single-chunk index", dict(chunks="one", shuffle=True,
                                          compression="gzip", compression_opts=9), "v110"),
    ("deflate alone", dict(chunks="one", compression="gzip", compression_opts=9), None),
    ("deflate level 1", dict(chunks="one", shuffle=True, compression="gzip",
                             compression_opts=1), None),
    ("several chunks", dict(chunks=[1000], shuffle=True, compression="gzip"), None),
    ("checksum filter too", dict(chunks="one", shuffle=True, compression="gzip",
                                 fletcher32=True), None),
    ("big-endian", dict(chunks="one", shuffle=True, compression="gzip",
                        coords_dtype=">f4"), None),
    ("contiguous", {}, None),
]


@pytest.mark.parametrize("label,layout,libver", FOREIGN, ids=[f[0] for f in FOREIGN])
def test_files_of_other_writers_read_and_keep_their_filters_when_rewritten(
        tmp_path, c_out, label, layout, libver):
    path = tmp_path / "h5py.h5"
    coords, ids = float_data(3 * N_NODES), int_data(N_NODES)
    h5build(path, nodes_file(coords, ids, **layout), libver)
    before = flat(h5dump(path))
    r = open_read(path)
    assert call("scn_read_nodes_coords", r, 0, f"f{coords.size}") == (0, [coords.tolist()])
    assert call("scn_read_nodes_ids", r, 0, f"i{ids.size}") == (0, [ids.tolist()])
    close(r)
    # Rewritten in place by the library: new values under the same storage.
    h = open_write(path, append=1)
    assert call("scn_write_nodes", h, 0, N_NODES, 3, 1, 0, -1, -coords, ids + 1)[0] == 0
    close(h)
    after = flat(h5dump(path))
    for name, want in (("coords", -coords), ("ids", ids + 1)):
        key = f"/top/Nodes/nodes_0/{name}"
        assert after[key] == want.tolist()
        assert [after[f"{key}.{k}"] for k in ("dtype", "chunks", "filters", "gzip_level")] == \
            [before[f"{key}.{k}"] for k in ("dtype", "chunks", "filters", "gzip_level")]
    assert c_out() == ""


def shuffled(arr):
    return arr.view(np.uint8).reshape(arr.size, arr.itemsize).T.tobytes()


DAMAGE = [  # label, (stored chunk, plain bytes, shuffled bytes) -> (chunk, filter mask), readable
    ("truncated", lambda c, p, s: (c[: len(c) // 2], 0), False),
    ("one byte short", lambda c, p, s: (c[:-1], 0), False),
    ("bit flipped", lambda c, p, s: (c[:100] + bytes([c[100] ^ 4]) + c[101:], 0), False),
    ("checksum flipped", lambda c, p, s: (c[:-1] + bytes([c[-1] ^ 1]), 0), False),
    ("inflates short", lambda c, p, s: (zlib.compress(s[:-4], 9), 0), False),
    ("inflates long", lambda c, p, s: (zlib.compress(s + bytes(4), 9), 0), False),
    ("not a stream", lambda c, p, s: (bytes(64), 0), False),
    ("bytes after the stream", lambda c, p, s: (c + b"tail", 0), True),
    ("stored with deflate skipped", lambda c, p, s: (s, 2), True),
    ("stored with shuffle skipped", lambda c, p, s: (zlib.compress(p, 9), 1), True),
]


@pytest.mark.parametrize("label,damage,readable", DAMAGE, ids=[d[0] for d in DAMAGE])
def test_damaged_or_unusual_chunks(tmp_path, c_out, label, damage, readable):
    path, n = tmp_path / "d.h5", 3 * 1001
    coords = float_data(n)
    h = open_write(path)
    assert call("scn_write_nodes", h, 0, 1001, 3, 0, 0, -1, coords, None)[0] == 0
    close(h)
    dataset = "/top/Nodes/nodes_0/coords"
    mask, chunk = h5chunk(path, dataset)
    assert (mask, zlib.decompress(chunk)) == (0, shuffled(coords))
    h5chunk(path, dataset, *damage(chunk, coords.tobytes(), shuffled(coords)))
    r = open_read(path)
    out = np.full(n + 64, -77, np.float32)  # the reader may use the first n only
    status, _ = call("scn_read_nodes_coords", r, 0, out)
    close(r)
    assert np.all(out[n:] == -77)
    if readable:
        assert (status, c_out()) == (0, "") and np.array_equal(out[:n], coords)
    else:
        assert (status, c_out()) == (1, "Error reading dataset: coords\n")
