"""Scene files for the _oxm file-object tests, written through the library's
C writers (ctypes) on a private set of declarations."""
import ctypes
import gc
from ctypes import POINTER, c_char_p, c_float, c_int, c_void_p

import _oxm
from scnlib import HandleP, ScnLib, b, close, floats, ints, open_write, text_attr

IP = POINTER(c_int)
FP = POINTER(c_float)

w = ScnLib(_oxm.__file__)
_SIGNATURES = {
    "scn_write_scene": (HandleP, c_int, c_char_p, c_int, c_int, c_int, c_int, c_int, c_int,
                        c_float),
    "scn_write_psrc": (HandleP, c_int, c_int, c_int, IP, FP),
    "scn_write_part": (HandleP, c_int, c_char_p, c_char_p, c_int, c_int, c_int),
    "scn_write_rep": (HandleP, c_int, c_int, c_int, IP, c_int),
    "scn_write_rendAttr": (HandleP, c_int),
    "scn_write_vport": (HandleP, c_int, c_int, IP),
    "scn_write_geom": (HandleP, c_int, c_int, c_int, c_int, c_int, FP, FP),
    "scn_write_nodes": (HandleP, c_int, c_int, c_int, c_int, c_int, c_int, FP, IP),
    "scn_write_nodes_var": (HandleP, c_int, c_int, c_int, c_int, c_int, c_float, FP),
    "scn_write_elem_list": (HandleP, c_int, c_int, c_int, c_int, c_int),
    "scn_write_elem_list_var_info": (HandleP, c_int, c_int, c_int, c_int, c_float),
    "scn_write_elem": (HandleP, c_int, c_int, c_int, c_int, c_int, IP, IP),
    "scn_write_elem_var": (HandleP, c_int, c_int, c_int, c_int, c_int, FP),
    "scn_write_var": (HandleP, c_int, c_char_p, c_char_p, c_int, c_int, c_int, c_int, FP, FP),
    "scn_write_var_palette": (HandleP, c_int, c_char_p, c_int, c_int, c_float, c_float, c_int,
                              c_int, c_int, c_int, c_int, FP, FP, FP, FP, FP, FP, FP, FP),
    "scn_write_num_attributes": (HandleP, c_int, c_int, c_int),
    "scn_write_attr": (HandleP, c_int, c_int, c_int, c_void_p),
}
for _name, _args in _SIGNATURES.items():
    w.declare(_name, c_int, *_args)

RENDATTR, VPORT = 2, 3
TOP = {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                          "scn_file_version": text_attr("2.00")}}}


def _ints(values):
    return ints(values) if values else None


def _floats(values):
    return floats(values) if values else None


class Writer:
    """A scene file being written; every call must succeed."""

    def __init__(self, path):
        self.h = open_write(path)
        assert self.h

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        # Closing shuts HDF5 down, which closes the files of every reader
        # still open: release the unreachable ones first.
        gc.collect()
        assert close(self.h) == 0

    def __getattr__(self, name):
        entry = getattr(w, "scn_write_" + name)

        def call(*args):
            status = entry(self.h, *args)
            assert status == 0, f"scn_write_{name}{args} -> {status}"
        return call

    def psrc_steps(self, index, parts, values, step_id=0):
        self.psrc(index, len(parts), step_id, _ints(parts), _floats(values))

    def rep_geoms(self, index, geoms, rep_type=1005, rend_attr=0):
        self.rep(index, len(geoms), rep_type, _ints(geoms), rend_attr)

    def vport_parts(self, index, parts):
        self.vport(index, len(parts), _ints(parts))

    def node_set(self, index, coords, dim, ids=None, nvars=0, normal=-1):
        count = len(coords) // dim if dim else 0
        self.nodes(index, count, dim, 1 if ids else 0, nvars, normal, _floats(coords), _ints(ids))

    def elem_rec(self, lst, rec, etype, count, conn, ids=None):
        self.elem(lst, rec, etype, count, len(conn), _ints(conn), _ints(ids))

    def variable(self, index, name, kind, centering=3000, lo=None, hi=None, desc=""):
        ext = lo is not None
        self.var(index, b(name), b(desc), centering, kind, 1 if ext else 0, 0,
                 _floats(lo), _floats(hi))

    def palette(self, index, name, space, channels, interp=10, lo=0.0, hi=1.0, samples=256):
        """channels: four (control, colours) pairs."""
        counts = [len(c) for c, _ in channels]
        arrays = [_floats(a) for pair in channels for a in pair]
        self.var_palette(index, b(name), interp, space, lo, hi, samples, *counts, *arrays)

    def attrs(self, kind, index, items):
        """items: (tag, values) with values a list of ints, floats or bytes."""
        self.num_attributes(kind, index, len(items))
        for tag, values in items:
            if isinstance(values, bytes):
                buf = ctypes.create_string_buffer(values, max(len(values), 1))
            elif values and isinstance(values[0], float):
                buf = floats(values)
            else:
                buf = ints(values)
            self.attr(kind, index, tag, ctypes.cast(buf, c_void_p))
