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
``"compression"``, ``"compression_opts"``, ``"shuffle"``, ``"fletcher32"``;
``"shape"`` in place of ``"value"`` makes a dataset that is never written).
An attribute is ``{"dtype", "value"}``: a number makes a scalar, a list a
one-dimensional array, and ``"text"`` with ``"size"`` a zero-padded int8
array. ``build FILE v110`` writes in the file format of HDF5 1.10 (where a
dataset of one chunk has the single-chunk index).

Edits: ``edit`` takes ``{file: [operation, ...]}`` on stdin and applies each
file's operations in order:
``{"op": "attr", "path", "name", "dtype", "value" | "text", "size"}`` sets an
attribute (made anew, so its type may change), ``{"op": "delattr", "path",
"name"}``, ``{"op": "delete", "path"}``, ``{"op": "group", "path"}``, and
``{"op": "dataset", "path", "dtype", "value"}`` replaces a dataset, or with
``"index"`` sets one of its values in place.

Raw chunks: ``get_chunk FILE DATASET`` prints the first chunk as
``{"filter_mask", "data"}`` (data in base64); ``put_chunk FILE DATASET``
replaces it with the one given on stdin, as stored bytes.
"""
import base64
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


def build(path, tree, libver=None):
    with h5py.File(path, "w", libver=libver) as f:
        for key, entry in tree.items():
            if entry.get("type", "group") == "group":
                obj = f.require_group(key) if key != "/" else f
            else:
                data = None if "shape" in entry else _attr_value(entry)
                options = {k: entry[k] for k in ("chunks", "compression", "compression_opts",
                                                 "shuffle", "fletcher32") if k in entry}
                if options.get("chunks"):
                    options["chunks"] = tuple(options["chunks"])
                obj = f.create_dataset(key, shape=entry.get("shape"), dtype=entry["dtype"],
                                       data=data, **options)
            for name, desc in entry.get("attrs", {}).items():
                obj.attrs.create(name, _attr_value(desc))


def edit(files):
    for path, operations in files.items():
        _edit(path, operations)


def _edit(path, operations):
    with h5py.File(path, "r+") as f:
        for op in operations:
            kind, target = op["op"], op["path"]
            if kind == "attr":
                if op["name"] in f[target].attrs:
                    del f[target].attrs[op["name"]]
                f[target].attrs.create(op["name"], _attr_value(op))
            elif kind == "delattr":
                del f[target].attrs[op["name"]]
            elif kind == "delete":
                del f[target]
            elif kind == "group":
                f.create_group(target)
            elif "index" in op:
                f[target][op["index"]] = op["value"]
            else:
                del f[target]
                f.create_dataset(target, data=_attr_value(op))


def get_chunk(path, name):
    with h5py.File(path, "r") as f:
        mask, data = f[name].id.read_direct_chunk((0,) * f[name].ndim)
    json.dump({"filter_mask": mask, "data": base64.b64encode(data).decode()}, sys.stdout)


def put_chunk(path, name, chunk):
    with h5py.File(path, "r+") as f:
        f[name].id.write_direct_chunk((0,) * f[name].ndim, base64.b64decode(chunk["data"]),
                                      chunk["filter_mask"])


if __name__ == "__main__":
    command, target = sys.argv[1], (sys.argv[2:] or [None])[0]
    if command == "dump":
        dump(target)
    elif command == "build":
        build(target, json.load(sys.stdin), *sys.argv[3:])
    elif command == "edit":
        edit(json.load(sys.stdin))
    elif command == "get_chunk":
        get_chunk(target, sys.argv[3])
    elif command == "put_chunk":
        put_chunk(target, sys.argv[3], json.load(sys.stdin))
    else:
        sys.exit(f"unknown command {command}")
