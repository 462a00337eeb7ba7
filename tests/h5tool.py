"""Independent reader and writer of HDF5 files for the tests, built on h5py.

Run as a subprocess (``python h5tool.py dump FILE`` / ``build FILE`` with a
JSON description on stdin) so that h5py's bundled HDF5 never shares a process
with the library under test.

Dump format: ``{path: entry}`` for every group and dataset below "/", where a
group entry is ``{"type": "group", "attrs": {...}}`` and a dataset entry adds
``dtype``, ``shape``, ``chunks``, ``filters`` (pipeline names in order),
``gzip_level`` and ``value``. An attribute is ``{"dtype", "shape", "value"}``;
int8 arrays also carry ``text`` (bytes up to the first NUL, Latin-1).

Build format: ``{path: entry}`` written in key order, where a group entry is
``{"type": "group", "attrs": {...}}`` and a dataset entry is ``{"type":
"dataset", "dtype", "value", "attrs"}`` (optionally ``"chunks"``,
``"compression"``; ``"shape"`` in place of ``"value"`` makes a dataset that is
never written). An attribute is ``{"dtype", "value"}``: a number makes a
scalar, a list a one-dimensional array, and ``"text"`` with ``"size"`` a
zero-padded int8 array.
"""
import json
import sys

import h5py
import numpy as np


def _value(arr):
    if isinstance(arr, np.ndarray):
        return arr.tolist()
    if isinstance(arr, (bytes, np.bytes_)):
        return arr.decode("latin-1")
    if isinstance(arr, np.generic):
        return arr.item()
    return arr


def _attr(obj, name):
    info = obj.attrs.get_id(name)
    value = obj.attrs[name]
    out = {"dtype": str(info.dtype), "shape": list(info.shape), "value": _value(value)}
    if info.dtype == np.int8 and info.shape:
        raw = np.asarray(value).astype(np.uint8).tobytes()
        out["text"] = raw.split(b"\0", 1)[0].decode("latin-1")
    return out


def _filters(dset):
    names = {h5py.h5z.FILTER_SHUFFLE: "shuffle", h5py.h5z.FILTER_DEFLATE: "deflate",
             h5py.h5z.FILTER_SZIP: "szip"}
    plist = dset.id.get_create_plist()
    out, level = [], None
    for i in range(plist.get_nfilters()):
        code, _flags, values, _name = plist.get_filter(i)
        out.append(names.get(code, str(code)))
        if code == h5py.h5z.FILTER_DEFLATE:
            level = values[0]
    return out, level


def dump(path):
    tree = {}
    with h5py.File(path, "r") as f:
        def visit(name, obj):
            key = "/" + name
            attrs = {a: _attr(obj, a) for a in obj.attrs}
            if isinstance(obj, h5py.Group):
                tree[key] = {"type": "group", "attrs": attrs}
                return
            filters, level = _filters(obj)
            entry = {"type": "dataset", "attrs": attrs, "dtype": str(obj.dtype),
                     "shape": list(obj.shape), "chunks": list(obj.chunks) if obj.chunks else None,
                     "filters": filters, "gzip_level": level, "value": _value(obj[()])}
            if obj.dtype == np.int8:
                entry["text"] = obj[()].astype(np.uint8).tobytes().split(b"\0", 1)[0].decode("latin-1")
            tree[key] = entry
        tree["/"] = {"type": "group", "attrs": {a: _attr(f, a) for a in f.attrs}}
        f.visititems(visit)
    json.dump(tree, sys.stdout)


def _attr_value(desc):
    dtype = np.dtype(desc["dtype"])
    if "text" in desc:
        raw = desc["text"].encode("latin-1")
        size = desc.get("size", len(raw))
        buf = np.zeros(size, dtype=np.uint8)
        buf[: min(len(raw), size)] = np.frombuffer(raw[:size], dtype=np.uint8)
        return buf.view(np.int8).astype(dtype)
    return np.asarray(desc["value"], dtype=dtype)


def build(path, tree):
    with h5py.File(path, "w") as f:
        for key, entry in tree.items():
            if entry.get("type", "group") == "group":
                obj = f.require_group(key) if key != "/" else f
            else:
                data = None if "shape" in entry else _attr_value(entry)
                obj = f.create_dataset(key, shape=entry.get("shape"), dtype=entry["dtype"],
                                       data=data, chunks=entry.get("chunks"),
                                       compression=entry.get("compression"))
            for name, desc in entry.get("attrs", {}).items():
                obj.attrs.create(name, _attr_value(desc))


if __name__ == "__main__":
    command, target = sys.argv[1], sys.argv[2]
    if command == "dump":
        dump(target)
    elif command == "build":
        build(target, json.load(sys.stdin))
    else:
        sys.exit(f"unknown command {command}")
