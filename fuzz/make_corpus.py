"""Writes the fuzz target's seed corpus: small scene files, one or two record
families each, written by the library's own writers (through the _oxm
module), plus files of the legacy layout, which nothing writes and which
are built by hand with h5py as the tests build them.

    python fuzz/make_corpus.py fuzz/corpus

The damaged files of tests/data are these files with bytes changed at fixed
offsets (tests/data/make_damaged.py): rewriting a seed they use means
finding those offsets anew, which the test comparing them says.
"""
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests"))

import _oxm as O  # noqa: E402
from geomlib import legacy_tree  # noqa: E402
from oxm_files import RENDATTR, VPORT, Writer, channels  # noqa: E402
from scnlib import floats, h5build, ints  # noqa: E402

PART, APLANE, ANNOT, IMAGE, GEOM = 1, 4, 5, 6, 7
SCALAR, VECTOR, NVECTOR, CSCALAR, CVECTOR, CONSTANT = range(3100, 3106)


def scenes(f):
    f.scene(0, b"intro", 3, 0, 2, 1, 1, 0, 24.0)
    f.scene_part(0, 0, b"wing", b"left", 3, ints([0, 1, 0]), ints([2, 1, 0]))
    f.scene_annot(0, 0, 3, ints([1, 1, 1]), ints([0, 1, 2]))
    f.scene_vport(0, 0, 2, 2, ints([0, 1]), ints([0, 0]), ints([1, 2]))
    f.scene_aplane(0, 0, 4, 2, ints([0, 3]))
    f.scene_view(0, 0, b"front")
    f.scene_view_vport(0, 0, 0, 2, ints([1, 0]), ints([2, 2]))


def sources(f):
    f.psrc_steps(0, [3, 1, 4], [0.5, 1.5, 2.5], step_id=7)
    f.psrc_steps(1, [], [])
    f.asrc(0, 2, 1, ints([0, 1]), floats([0.0, 1.0]))
    f.vsrc(0, 1, 2, ints([5]), floats([9.5]))


def parts(f):
    f.part(0, b"wing", b"left wing", 2, 0, 1)
    f.rep_geoms(0, [4, 2, 9], rend_attr=0)
    f.rep_geoms(1, [])
    f.rendAttr(0)
    f.attrs(PART, 0, [(O.OXR_PART_CONTOUR_NUMLEVELS, [2]),
                      (O.OXR_PART_CONTOUR_LEVELS, [0.5, 1.5]), (O.OXR_PART_PLANECLIP_POINTS, [0.25] * 9)])
    f.attrs(RENDATTR, 0, [(O.OXR_RENDATTR_ISVISIBLE, [1]), (O.OXR_RENDATTR_NUMINSTANCE, [1]),
                          (O.OXR_RENDATTR_INSTANCE, [float(i) for i in range(16)]),
                          (O.OXR_RENDATTR_RGBA2D, [1.0, 0.5, 0.25, 1.0])])


def dependent_first(f):
    """Dependent tags added before their governing counts."""
    f.part(0, b"p", b"", 2, 0, 0)
    f.rendAttr(0)
    f.attrs(PART, 0, [(O.OXR_PART_CONTOUR_LEVELS, []), (O.OXR_PART_CONTOUR_NUMLEVELS, [3]),
                      (O.OXR_PART_CONTOUR_DISPLAYOFFSET, [2.5])])
    f.attrs(RENDATTR, 0, [(O.OXR_RENDATTR_INSTANCE, []), (O.OXR_RENDATTR_NUMINSTANCE, [2]),
                          (O.OXR_RENDATTR_RGBA2D, [1.0, 2.0, 3.0, 4.0])])


def geometry(f, nodes=4):
    f.variable(0, "p", SCALAR)
    f.variable(1, "v", VECTOR, centering=3001, lo=[1, 2, 3], hi=[4, 5, 6])
    f.geom(0, 0, 0, 1, 0, floats([-1, -2, -3]), floats([1, 2, 3]))
    f.geom(1, 1, 1, 0, 1, None, None)
    f.node_set(0, [float(i) for i in range(nodes * 3)], 3, ids=list(range(10, 10 + nodes)), nvars=2)
    for var, comps in ((0, 1), (1, 3)):
        f.nodes_var(0, var, var, nodes, var, -99.0, floats([i / 2 for i in range(nodes * comps)]))
    f.attrs(GEOM, 0, [(O.OXR_GEOM_POLYORDER, [2])])


def elements(f, slots=True):
    f.variable(0, "p", SCALAR)
    f.variable(1, "z", CVECTOR)
    f.elem_list(0, 2, 2, 4, 1)
    if slots:
        for var in (0, 1):
            f.elem_list_var_info(0, var, var, var, 1e30)
    f.elem_rec(0, 0, O.OXR_ELEM_TRILIST, 2, [0, 1, 2, 1, 2, 3], [100, 101])
    f.elem_rec(0, 1, O.OXR_ELEM_POLYGONS, 1, [3, 0, 1, 2], [102])
    for var, comps in ((0, 1), (1, 6)):
        f.elem_var(0, 0, var, var, 2, floats([i / 4 for i in range(2 * comps)]))


def variables(f):
    for var, kind in enumerate((SCALAR, VECTOR, NVECTOR, CSCALAR, CVECTOR, CONSTANT)):
        lo, hi = ([1.0, 2.0, 3.0], [4.0, 5.0, 6.0]) if kind in (VECTOR, NVECTOR, CVECTOR) else ([-1.0], [1.0])
        f.variable(var, f"v{var}", kind, lo=lo, hi=hi, desc="d")
    f.palette(0, "rainbow", 10, channels(2, 3, 1, 2), lo=-1.0, hi=2.0)
    f.palette(4, "hsv", 20, channels(1, 0, 2, 3))


def views(f):
    f.vport_parts(0, [])
    f.vport_parts(1, [5, 0, 2])
    f.aplane(0, 2, ints([1, 0]))
    f.attrs(VPORT, 1, [(O.OXR_VPORT_PROJTYPE, [20]), (O.OXR_VPORT_ROTMAT, [float(i) for i in range(16)]),
                       (O.OXR_VPORT_AXISFONTFAMILY, b"Helvetica"), (O.OXR_VPORT_POSITION, [0.5, 0.5])])
    f.attrs(APLANE, 0, [(5000, [1]), (5103, [0.5, 0.25])])


def annotations(f):
    f.annot(0, 10, 2, 0, -1, ints([1, 0]))
    f.image(0, 3, 2, O.OXR_IMG_FMT_RGB, 1, bytes(range(18)), floats([0.5] * 6))
    f.image(1, 2, 2, O.OXR_IMG_FMT_LA, 0, bytes(8), None)
    f.query(0, b"probe", b"x", b"y", 0)
    f.note(0, 5, b"hello")
    f.note(1, 0, b"")
    f.attrs(ANNOT, 0, [(O.OXR_ANNOT_TEXT_STRING, b"hi"), (O.OXR_ANNOT_TEXT_STRLEN, [5]),
                       (O.OXR_ANNOT_TEXT_FONT_FAMILY, b"Arial")])
    f.attrs(IMAGE, 0, [(O.OXR_IMAGE_U_X0Y0X1Y1, [0, 0, 3, 2])])


def compressed(f):
    """Arrays of more than 100 values: one deflated chunk each."""
    geometry(f, nodes=40)
    f.psrc_steps(0, list(range(120)), [i / 8 for i in range(120)])


def framework(f):
    f.framework_version(b"producer 3.1")
    f.variable(0, "p", SCALAR)


WRITTEN = {"scenes": scenes, "sources": sources, "parts": parts, "dependent_first": dependent_first,
           "geometry": geometry, "elements": elements,
           "elements_without_slots": lambda f: elements(f, slots=False), "variables": variables,
           "views": views, "annotations": annotations, "compressed": compressed,
           "framework": framework, "empty": lambda f: None}
LEGACY = {"legacy": legacy_tree((0, 3)), "legacy_rw_release": legacy_tree((2,), style="rw_release"),
          "legacy_missing_nodes": legacy_tree((2, None))}


def main(out):
    os.makedirs(out, exist_ok=True)
    for name, write in WRITTEN.items():
        with Writer(os.path.join(out, name + ".h5")) as f:
            write(f)
    for name, tree in LEGACY.items():
        h5build(os.path.join(out, name + ".h5"), tree)


if __name__ == "__main__":
    main(sys.argv[1])
