"""Scene files for the _oxm file-object tests, written through the library's
C writers (ctypes) on a private set of declarations. Python 3 and 2.7."""
from __future__ import division

import ctypes
import gc
from ctypes import POINTER, c_char_p, c_float, c_int, c_void_p

import _oxm
from scnlib import PY2, HandleP, ScnLib, b, close, floats, ints, open_write, text_attr

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
    "scn_write_scene_part": (HandleP, c_int, c_int, c_char_p, c_char_p, c_int, IP, IP),
    "scn_write_scene_annot": (HandleP, c_int, c_int, c_int, IP, IP),
    "scn_write_scene_vport": (HandleP, c_int, c_int, c_int, c_int, IP, IP, IP),
    "scn_write_scene_aplane": (HandleP, c_int, c_int, c_int, c_int, IP),
    "scn_write_scene_view": (HandleP, c_int, c_int, c_char_p),
    "scn_write_scene_view_vport": (HandleP, c_int, c_int, c_int, c_int, IP, IP),
    "scn_write_asrc": (HandleP, c_int, c_int, c_int, IP, FP),
    "scn_write_vsrc": (HandleP, c_int, c_int, c_int, IP, FP),
    "scn_write_aplane": (HandleP, c_int, c_int, IP),
    "scn_write_annot": (HandleP, c_int, c_int, c_int, c_int, c_int, IP),
    "scn_write_image": (HandleP, c_int, c_int, c_int, c_int, c_int, c_char_p, FP),
    "scn_write_query": (HandleP, c_int, c_char_p, c_char_p, c_char_p, c_int),
    "scn_write_note": (HandleP, c_int, c_int, c_char_p),
    "scn_write_framework_version": (HandleP, c_char_p),
    "scn_write_num_attributes": (HandleP, c_int, c_int, c_int),
    "scn_write_attr": (HandleP, c_int, c_int, c_int, c_void_p),
}
for _name, _args in _SIGNATURES.items():
    w.declare(_name, c_int, *_args)

RENDATTR, VPORT = 2, 3
SCALAR, VECTOR, NVECTOR, CSCALAR, CVECTOR, CONSTANT = range(3100, 3106)
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
            assert status == 0, "scn_write_{}{} -> {}".format(name, args, status)
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
        self.var_palette(index, b(name), interp, space, lo, hi, samples, *(counts + arrays))

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


def text(raw):
    """What a stored text field of bytes `raw` reads as: a str. On 2.7 that
    is the bytes themselves; on 3 they are decoded as UTF-8, or as Latin-1
    when they are not valid UTF-8."""
    if PY2:
        return raw
    try:
        return raw.decode("utf-8")
    except UnicodeDecodeError:
        return raw.decode("latin-1")


def key_order(keys):
    """Keys as a dictionary orders them: by insertion on 3; sorted on 2.7,
    whose dictionaries keep no order."""
    return sorted(keys) if PY2 else list(keys)


def merged(*dicts):
    """One dictionary of all the entries of `dicts`, later ones winning."""
    out = {}
    for d in dicts:
        out.update(d)
    return out


def channels(*counts):
    """Palette channels: channel c has control points i / 10, colours c + i / 100."""
    return [([i / 10 for i in range(n)], [c + i / 100 for i in range(n)])
            for c, n in enumerate(counts)]


def values(count, components, base):
    return [base + i for i in range(count * max(components, 1))]


# Variable i, also node and element slot i: name, description, kind, floats
# per value and the writer's options.
VARS = [
    ("pressure", "static pressure", SCALAR, 1, {}),
    ("velocity", "", VECTOR, 3, {"centering": 3001, "lo": [1, 2, 3], "hi": [4, 5, 6]}),
    ("normal", "", NVECTOR, 3, {}),
    ("z", "", CSCALAR, 2, {"lo": [-1.0], "hi": [1.0]}),
    ("hsv", "", CVECTOR, 6, {"centering": 77}),
    ("n" * 64, "d" * 128, CONSTANT, 0, {"lo": [1.0], "hi": [2.0]}),
]
NODES = 4
ELEMS = [  # type, element count, connectivity, its shape as read
    (2004, 2, [0, 1, 2, 1, 2, 3], (2, 3)),
    (2001, 3, [0, 1, 1, 2, 2, 3], (3, 2)),
    (2006, 1, [0, 1, 2, 3], (1, 4)),
    (2003, 2, [3, 0, 1, 2, 3, 1, 2, 3], (8,)),
    (2004, 1, [0, 1], (2,)),  # shorter than a triangle: kept flat
]


def write_scene(path):
    """A file with records of every family the file object reads."""
    with Writer(path) as f:
        f.scene(0, b"intro", 120, 1, 100, 2, 1, 0, 29.97)
        f.scene(1, u"\xe9".encode("utf-8") * 128, 0, 0, 0, 1, 0, 0, -24.9)
        f.psrc_steps(0, [3, 1, 4], [0.5, 1.5, 2.5], step_id=7)
        f.psrc_steps(1, [], [], step_id=-2)
        f.part(0, b"wing", b"left wing", 2, 0, 1)
        f.part(1, b"x" * 256, b"", 1234, -1, 5)
        f.rep_geoms(0, [4, 2, 9], rep_type=1005, rend_attr=3)
        f.rep_geoms(1, [], rep_type=1000)
        f.vport_parts(0, [])
        f.vport_parts(1, [5, 0, 2])
        f.rendAttr(0)
        f.rendAttr(1)
        f.attrs(RENDATTR, 1, [(_oxm.OXR_RENDATTR_INSTANCE, [])])  # instances without a count
        for var, (name, desc, kind, _, options) in enumerate(VARS):
            f.variable(var, name, kind, desc=desc, **options)
        f.palette(2, "rainbow", 10, channels(2, 3, 4, 2), interp=10, lo=-1.0, hi=2.0, samples=64)
        f.palette(4, "p" * 40, 20, channels(1, 0, 2, 3), interp=20)
        f.geom(0, 0, 0, 1, 0, floats([-1, -2, -3]), floats([1, 2, 3]))
        f.geom(1, 1, 1, 0, 1, None, None)
        f.node_set(0, [float(i) for i in range(NODES * 3)], 3, ids=[11, 12, 13, 14],
                   nvars=len(VARS), normal=-1)
        f.node_set(1, [], 2)
        f.elem_list(0, len(ELEMS), len(VARS), 4, 1)
        f.elem_list(1, 1, 0, -1, 0)
        for rec, (etype, count, conn, _) in enumerate(ELEMS):
            f.elem_rec(0, rec, etype, count, conn, list(range(100, 100 + count)))
        f.elem_rec(1, 0, 2004, 1, [0, 1, 2])
        for var, (_, _, _, comps, _) in enumerate(VARS):
            f.nodes_var(0, var, var, NODES, var % 2, -99.0, floats(values(NODES, comps, 100)))
            f.elem_list_var_info(0, var, var, 1 - var % 2, 1e30)
            f.elem_var(0, 0, var, var, 2, floats(values(2, comps, 10 * var)))
