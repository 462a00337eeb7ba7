"""ctypes signatures of the variable, geometry and element-list entries, the
table-driven check their tests share, and builders of hand-made files.
Python 3 and 2.7 (the _oxm tests use the builders)."""
from __future__ import division

import ctypes
from ctypes import POINTER, c_char_p, c_float, c_int

import numpy as np

from scnlib import HandleP, close, h5build, h5dump, int_attr, lib, open_read, open_write, text_attr

F = POINTER(c_float)
I = POINTER(c_int)
H = HandleP

_SIGNATURES = {
    # variables
    "scn_write_var": (H, c_int, c_char_p, c_char_p, c_int, c_int, c_int, c_int, F, F),
    "scn_write_var_palette": (H, c_int, c_char_p, c_int, c_int, c_float, c_float,
                              c_int, c_int, c_int, c_int, c_int) + (F,) * 8,
    "scn_read_var_num": (H,),
    "scn_read_var_info": (H, c_int, c_char_p, c_char_p, I, I, I, I),
    "scn_read_var_extents": (H, c_int, F, F),
    "scn_read_var_palette_info": (H, c_int, c_char_p, I, I, F, F, I, I, I, I, I),
    "scn_read_var_palette_colors": (H, c_int) + (F,) * 8,
    # geoms and node sets
    "scn_write_geom": (H, c_int, c_int, c_int, c_int, c_int, F, F),
    "scn_write_nodes": (H, c_int, c_int, c_int, c_int, c_int, c_int, F, I),
    "scn_write_nodes_var": (H, c_int, c_int, c_int, c_int, c_int, c_float, F),
    "scn_read_geom_num": (H,),
    "scn_read_geom_info": (H, c_int, I, I, I),
    "scn_read_geom_extents": (H, c_int, I, F, F),
    "scn_read_nodes_num": (H,),
    "scn_read_nodes_info": (H, c_int, I, I, I, I, I),
    "scn_read_nodes_coords": (H, c_int, F),
    "scn_read_nodes_ids": (H, c_int, I),
    "scn_read_nodes_var_info": (H, c_int, c_int, I, I, I, F),
    "scn_read_nodes_var_values": (H, c_int, c_int, F),
    # element lists
    "scn_write_elem_list": (H, c_int, c_int, c_int, c_int, c_int),
    "scn_write_elem_list_var_info": (H, c_int, c_int, c_int, c_int, c_float),
    "scn_write_elem": (H, c_int, c_int, c_int, c_int, c_int, I, I),
    "scn_write_elem_var": (H, c_int, c_int, c_int, c_int, c_int, F),
    "scn_read_elem_list_num": (H,),
    "scn_read_elem_list_info": (H, c_int, I, I, I, I),
    "scn_read_elem_list_var_info": (H, c_int, c_int, I, I, F),
    "scn_read_elem_info": (H, c_int, c_int, I, I, I),
    "scn_read_elem_connectivity": (H, c_int, c_int, I),
    "scn_read_elem_ids": (H, c_int, c_int, I),
    "scn_read_elem_var_values": (H, c_int, c_int, c_int, F),
}
for _name, _args in _SIGNATURES.items():
    lib.declare(_name, c_int, *_args)

SCALAR, VECTOR, NORMALIZED_VECTOR, COMPLEX_SCALAR, COMPLEX_VECTOR, PER_PART_CONSTANT = range(3100, 3106)
TOP = {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                          "scn_file_version": text_attr("2.00")}}}


def fptr(arr):
    return arr.ctypes.data_as(F)


def floats(*values):
    return np.array(values, np.float32)


def ints(*values):
    return np.array(values, np.int32)


def call(entry, *args):
    """Calls C entry `entry`. numpy arrays pass as pointers; an output code passes
    a fresh output filled with -77 (bytes 1 for text): "i"/"f" one int/float,
    "i7"/"f7" an array, "s40" a text buffer. Returns (status, [each output's
    value: a number, a list, or the buffer's raw bytes])."""
    outs, cargs = [], []
    for arg in args:
        if isinstance(arg, str):
            code, n = arg, int(arg[1:] or 1)
            arg = (ctypes.create_string_buffer(b"\x01" * n) if code[0] == "s" else
                   np.full(n, -77, np.int32 if code[0] == "i" else np.float32))
            outs.append((arg, len(code) > 1))
        if isinstance(arg, np.ndarray):
            arg = arg.ctypes.data_as(I if arg.dtype == np.int32 else F)
        cargs.append(arg)
    return getattr(lib, entry)(*cargs), [
        o.raw if isinstance(o, ctypes.Array) else o.tolist() if whole else o[0].item()
        for o, whole in outs]


def flat(tree):
    """A dump as {group: {attribute: value}, dataset: value, "path:attr": value,
    "path:attr.type": dtype and shape, "dataset.chunks" (and .dtype, .filters,
    .gzip_level)}; int8 attributes by their text."""
    out = {}
    for path, e in tree.items():
        attrs = {k: a.get("text", a["value"]) for k, a in e["attrs"].items()}
        out[path] = attrs if e["type"] == "group" else e["value"]
        for k, a in e["attrs"].items():
            key = "{}:{}".format(path, k)
            out[key], out[key + ".type"] = attrs[k], "{}{}".format(a["dtype"], a["shape"])
        for k in ("dtype", "chunks", "filters", "gzip_level") if e["type"] == "dataset" else ():
            out["{}.{}".format(path, k)] = e[k]
    return out


def check(path, c_out, source, stored, reads, printed="", failing=0):
    """Writes the file (`source`: writer calls (entry, *args), each returning
    0 but the last `failing` ones 1, or a tree for h5build), compares the dump
    with `stored` (flat keys; None: absent), runs the reads (entry, *args,
    (status, outputs)) on it and compares all that was printed with `printed`."""
    if isinstance(source, dict):
        h5build(path, source)
    else:
        h = open_write(path)
        assert [(s[0], call(s[0], h, *s[1:])[0]) for s in source] == [
            (s[0], int(i >= len(source) - failing)) for i, s in enumerate(source)]
        close(h)
    if stored:
        dump = flat(h5dump(path))
        assert {k: dump.get(k) for k in stored} == stored
    r = open_read(path)
    assert [call(rd[0], r, *rd[1:-1]) for rd in reads] == [rd[-1] for rd in reads]
    close(r)
    assert c_out() == printed


def group(**values):
    """A group of int (and float32) attributes."""
    return {"attrs": {k: {"dtype": "float32", "value": v} if isinstance(v, float) else int_attr(v)
                      for k, v in values.items()}}


def f32(values):
    return {"type": "dataset", "dtype": "float32", "value": list(values)}


def i32(values):
    return {"type": "dataset", "dtype": "int32", "value": list(values)}


G = "/top/Geoms/geom_%d"


def version_attrs(style):
    """Version attributes of a legacy file."""
    if style == "rw_release":  # the oldest files: file version "1.00"
        return {"api_version": text_attr("1.0"), "rw_release": text_attr("7")}
    return {"scn_api_version": text_attr("1.50.00"), "scn_file_version": text_attr("1.50")}


def legacy_tree(node_counts=(5, 0, 7), style="scn", n_geoms=None):
    """Geoms with the given node counts (None: no "nodes" group); geoms with
    nodes carry element lists of two records, each with one variable group."""
    tree = {"/top": {"attrs": version_attrs(style)},
            "/top/Vars/var_0": group(varKind=3100), "/top/Vars/var_1": group(varKind=3101),
            "/top/Geoms": group(nGeoms=len(node_counts) if n_geoms is None else n_geoms)}
    for g, n in enumerate(node_counts):
        tree[G % g] = group(extentsProvided=1, empty=0)
        tree[G % g + "/extents"] = f32([g, g, g, g + 1, g + 1, g + 1])
        if n is None:
            continue
        tree[G % g + "/nodes"] = group(numNodes=n, nodeDimension=3, hasNodeIds=1,
                                       numNodalVars=1, nodeNormalIndex=10 + g)
        if n:
            tree[G % g + "/nodes/coords"] = f32(range(100 * g, 100 * g + 3 * n))
            tree[G % g + "/nodes/ids"] = i32(range(10 * g, 10 * g + n))
        tree[G % g + "/nodes/var_0"] = group(varIndex=0, numValues=n, useUndefined=1,
                                             undefinedValue=float(-g))
        tree[G % g + "/nodes/var_0/vals"] = f32([g + 0.5] * n)
        lists = G % g + "/elemlists"
        tree[lists] = group(numElementLists=2, numElemVars=1, elemNormalIndex=20 + g,
                            hasElemIds=1)
        for rec in range(2):
            path = "{}/elemlist_{}".format(lists, rec)
            tree[path] = group(elemListType=2004 + rec, elemCount=1, lenList=3)
            tree[path + "/conn"] = i32([g, rec, 9])
            tree[path + "/ids"] = i32([1000 * g + rec])
            # slot information of list L lives in the variable group of record L
            tree[path + "/var_0"] = group(varIndex=rec, useUndefined=rec, numValues=1,
                                          undefinedValue=float(100 * g + rec))
            tree[path + "/var_0/vals"] = f32([g + rec / 4] * (1 if rec == 0 else 3))
    return tree
