"""What a frame shows (oxm.render.resolve) and how attributes are drawn
(oxm.render._style), without VTK."""
import subprocess
import sys

import numpy as np
import pytest

import oxm
from oxm.render import resolve
from oxm.render import _style as st
from render_scenes import build_features, triangle


@pytest.fixture(scope="module")
def refs(tmp_path_factory):
    """Sources, steps, reps and records that resolve every way: present,
    out of frames, out of the file."""
    path = tmp_path_factory.mktemp("frames") / "refs.h5"
    with oxm.create(path) as w:
        for k in range(3):
            coords, etype, conn = triangle(k)
            w.node_set(coords=coords)
            w.elem_list()
            w.elem(k, 0, etype, conn)
            w.geom(node_set=k, elem_list=k)
        w.rend_attr()
        w.rend_attr()
        w.rep(geoms=[0], rend_attr=0)
        w.rep(geoms=[1], rend_attr=0)
        w.rep(geoms=[2, 1], rend_attr=1)
        w.part(static_rep=0, dynamic_rep=1)  # static drawn
        w.part(static_rep=-1, dynamic_rep=2)  # dynamic, without a static
        w.part(static_rep=7, dynamic_rep=1)  # static not in the file: dynamic
        w.part(static_rep=-1, dynamic_rep=-1)  # none
        w.part_source(indices=[0, 1])
        w.part_source(indices=[2, 3, 9])
        w.scene(n_frames=3)
        w.scene_part(0, name="a", sources=[0, 0, 0], steps=[0, 1, 1])
        w.scene_part(0, name="b", sources=[1, 1], steps=[0, 2])
        w.scene_part(0, name="c", sources=[5, 1, 1], steps=[0, 5, 1])
        w.vport(parts=[0])
        w.vport(parts=[1])
        w.vport_source(indices=[0, 1])
        w.scene_vport(0, parts=[0, 2], sources=[0, 0, 0], steps=[0, 1, 0])
        w.scene_vport(0, parts=[], sources=[0, 0, 0], steps=[1, 1, 1])
        w.scene_view(0, name="close-up")
        w.scene_view_vport(0, 0, 0, sources=[0, 0, 0], steps=[1, 1, 1])
        for _ in range(3):
            w.annot()
        w.annot_source(indices=[0, 1])
        w.scene_annot(0, sources=[0, 0, 0], steps=[0, 1, 0])
        w.scene_annot(0, sources=[0, 0, 0], steps=[1, 1, 1])
        w.aplane(annots=[2])
        w.scene_aplane(0, aplane=0, annots=[0])
        w.scene_aplane(0, aplane=0, annots=[])
    with oxm.open(path) as f:
        yield f


def summary(frame):
    return ([(p.scene_part, p.part, p.rep.rep, p.rep.geoms) for p in frame.parts],
            [(v.scene_vport, v.vport, v.scene_parts, v.parts) for v in frame.vports],
            [(p.aplane, p.annots) for p in frame.planes])


VPORTS = [(0, 0, (0, 2), (0,)), (1, 1, None, (1,))]
FRAMES = [
    (0, None, [(0, 0, 0, (0,)), (1, 2, 1, (1,))], VPORTS,
     ['scene part 1 ("b"): rep 7 is not in the file',
      'scene part 2 ("c"): part source 5 is not in the file']),
    (1, None, [(0, 1, 2, (2, 1))], [(0, 1, (0, 2), (1,)), VPORTS[1]],
     ['scene part 1 ("b"): part 9 is not in the file',
      'scene part 2 ("c"): part source 1 has 3 steps, not step 5']),
    (2, None, [(0, 1, 2, (2, 1))], VPORTS,
     ['scene part 1 ("b"): has 2 frames, none at frame 2',
      'scene part 2 ("c"): part 3 has no rep in the file']),
    (0, 0, [(0, 0, 0, (0,)), (1, 2, 1, (1,))], [(0, 1, (0, 2), (1,))],
     ['scene part 1 ("b"): rep 7 is not in the file',
      'scene part 2 ("c"): part source 5 is not in the file',
      "scene viewport 1 in view 0: view vport 1 is not in the file"]),
]


@pytest.mark.parametrize("frame, view, parts, vports, skipped", FRAMES)
def test_frame_resolution(refs, frame, view, parts, vports, skipped):
    got = resolve(refs, 0, frame, view)
    # scene annotation 0 is on plane 0 (its frames pick the record), the
    # plane's second placement carries the record's own list, annotation 1
    # is on no plane
    first = 0 if frame != 1 else 1
    assert summary(got) == (parts, vports, [(0, (first,)), (0, (2,)), (None, (1,))])
    assert got.skipped == skipped


def test_viewports_show_the_parts_they_list(refs):
    frame = resolve(refs, 0, 0)
    assert [p.scene_part for p in frame.parts_in(frame.vports[0])] == [0]
    # the second lists part record 1, which scene part 0 shows at frame 1
    assert [p.scene_part for p in frame.parts_in(frame.vports[1])] == [0]


@pytest.mark.parametrize("args, message", [
    ((1, 0, None), "scene 1: the file has 1 scenes"),
    ((0, 3, None), "frame 3: scene 0 has 3 frames"),
    ((0, 0, 1), "view 1: scene 0 has 1 views"),
])
def test_what_the_file_lacks_is_refused(refs, args, message):
    with pytest.raises(ValueError, match=f"^{message}$"):
        resolve(refs, *args)


def test_a_file_without_scenes_shows_every_part(tmp_path):
    with oxm.create(tmp_path / "bare.h5") as w:
        w.rep(geoms=[0])
        w.part(static_rep=0)
        w.part(static_rep=0)
    with oxm.open(tmp_path / "bare.h5") as f:
        frame = resolve(f)
    assert summary(frame) == ([(None, 0, 0, (0,)), (None, 1, 0, (0,))],
                              [(None, None, None, None)], [])


# ---- drawing rules ------------------------------------------------------------------

RED, GREEN = [1, 0, 0, 1], [0, 1, 0, 0.5]
STYLES = [  # render attributes, rep type -> (layer dim, shape, rgba, by var, lit) and mode
    ({}, 1005, [(2, "surface", st.GREY, False, True), (1, "wireframe", st.GREY, False, True),
                (0, "points", st.GREY, False, True)], "elements"),
    ({"OXR_RENDATTR_RGBA2D": RED, "OXR_RENDATTR_SHADETYPE2D": 1500, "OXR_RENDATTR_SHOW1D": 0,
      "OXR_RENDATTR_SHOW0D": 1}, 1005, [(2, "surface", tuple(RED), False, False)], "elements"),
    ({"OXR_RENDATTR_SHOW2D": 4, "OXR_RENDATTR_RGBA2D1": GREEN, "OXR_RENDATTR_COLORBY2D1": 1021,
      "OXR_RENDATTR_SHOW1D": 2, "OXR_RENDATTR_RGBA1D": RED, "OXR_RENDATTR_SHOW0D": 0},
     1005, [(2, "wireframe", tuple(GREEN), True, True), (1, "points", tuple(RED), False, True)],
     "elements"),
    ({"OXR_RENDATTR_SHOW2D": 2, "OXR_RENDATTR_LINEREP": 1800}, 1001,
     [(2, "points", st.GREY, False, True), (0, "points", st.GREY, False, True)], "box"),
    ({"OXR_RENDATTR_ELEMENTREP": 1002}, 1000, 3, "points"),
    ({"OXR_RENDATTR_ISVISIBLE": 0}, 1005, 3, "elements"),
]


@pytest.mark.parametrize("attrs, rep_type, layers, mode", STYLES)
def test_render_attributes_choose_the_layers(tmp_path, attrs, rep_type, layers, mode):
    with oxm.create(tmp_path / "ra.h5") as w:
        w.rend_attr(attrs={**attrs, "OXR_RENDATTR_COLORBYVAR": 4})
    with oxm.open(tmp_path / "ra.h5") as f:
        style = st.part_style(f.rend_attrs[0].attrs, rep_type)
    assert style.mode == mode
    assert style.visible == ("OXR_RENDATTR_ISVISIBLE" not in attrs)
    if isinstance(layers, list):
        assert [tuple(layer) for layer in style.layers] == layers
        assert style.var == (4 if any(layer[3] for layer in layers) else None)


def test_camera_from_the_viewport():
    cam = st.camera({"OXR_VPORT_LOOKFROM": np.array([0, 0, 10.0]),
                     "OXR_VPORT_LOOKAT": np.array([0, 0, 0.0]),
                     "OXR_VPORT_UPDIR": np.array([0, 0, 1.0]),  # along the sight: replaced
                     "OXR_VPORT_PERANG": 60.0, "OXR_VPORT_ZNEAR": 1.0, "OXR_VPORT_ZFAR": 20.0,
                     "OXR_VPORT_PROJTYPE": 20})
    assert cam.position == (0, 0, 10) and cam.focal_point == (0, 0, 0)
    assert cam.view_up == (1.0, 0.0, 0.0) and cam.view_angle == 60.0
    assert cam.clipping == (1.0, 20.0) and cam.parallel
    assert cam.parallel_scale == pytest.approx(10 / np.sqrt(3))
    assert st.camera({"OXR_VPORT_LOOKAT": np.zeros(3)}) is None


def test_viewport_place_and_background():
    attrs = {"OXR_VPORT_POSITION": np.array([0.5, 0.25]), "OXR_VPORT_WIDTH": 0.75,
             "OXR_VPORT_HEIGHT": 0.5, "OXR_VPORT_BACKGROUNDFILLTYPE": 30,
             "OXR_VPORT_BACKGROUNDNUMCOL": 3,
             "OXR_VPORT_BACKGROUNDCOLORS": np.array([1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 1, 1] + [0] * 4),
             "OXR_VPORT_BACKGROUNDPOS": np.array([0.5, 1.0, 0.0, 0.0])}
    assert st.viewport_rect(attrs) == (0.5, 0.25, 1.0, 0.75)
    assert st.background(attrs) == ((0, 0, 1), (0, 1, 0))  # lowest to highest
    assert st.background({**attrs, "OXR_VPORT_BACKGROUNDFILLTYPE": 20}) == ((1, 0, 0),) * 2
    assert st.background({}) == (st.WINDOW, st.WINDOW)


@pytest.mark.parametrize("space, interp, channels, expected", [
    (10, 10, (([0, 1], [0, 1]), ([0, 1], [1, 0]), ([], []), ([0.5], [0.25])),
     [[0, 1, 1, 0.25], [0.5, 0.5, 1, 0.25], [1, 0, 1, 0.25]]),
    (10, 30, (([0, 0.5], [0, 1]), ([0], [1]), ([0], [0])),
     [[0, 1, 0, 1], [1, 1, 0, 1], [1, 1, 0, 1]]),
    (20, 10, (([0, 1], [0, 240]), ([0], [1]), ([0], [1])),
     [[1, 0, 0, 1], [0, 1, 0, 1], [0, 0, 1, 1]]),
])
def test_palette_tables(space, interp, channels, expected):
    palette = oxm.Palette("p", interp, space, 0.0, 1.0, 3,
                          tuple((np.array(p, np.float32), np.array(c, np.float32))
                                for p, c in channels))
    assert np.allclose(st.palette_table(palette), expected)


@pytest.mark.parametrize("label_format, kept", [
    ("%.2f", True), ("%-#6.3g", True), ("100%% at %5.1e", True),
    ("%s", False), ("%f %f", False), ("%n", False), ("%.2f%", False)])
def test_legend_label_formats_hold_one_number(label_format, kept):
    attrs = {"OXR_ANNOT_LEGEND_VAR": 0, "OXR_ANNOT_LEGEND_LABELFORMAT": label_format}
    legend = st.annotation(50, attrs, (0.0, 0.0, 1.0, 1.0))
    assert legend.label_format == (label_format if kept else None)


def test_value_range_falls_back_from_palette_to_extents_to_data():
    palette = oxm.Palette("p", 10, 10, 1.0, -1.0, 2, ())  # the reader's "no range"

    class Var:
        minimum, maximum = 2.0, 4.0
    assert st.value_range(palette, Var, np.array([5.0, 9.0])) == (2.0, 4.0)
    assert st.value_range(palette, None, np.array([5.0, np.nan, 9.0])) == (5.0, 9.0)
    assert st.value_range(None, None, np.array([3.0])) == (2.5, 3.5)


def test_without_pyvista_the_message_says_what_to_install(tmp_path):
    demo = build_features(tmp_path / "demo.h5")
    done = subprocess.run([sys.executable, "-c", "import sys; sys.modules['pyvista'] = None; "
                           "import oxm; oxm.open(sys.argv[1]).render()", str(demo)],
                          capture_output=True, text=True)
    assert done.stderr.strip().splitlines()[-1] == (
        "ImportError: rendering needs the optional package 'pyvista' (with VTK): "
        "pip install scnapi[render]")
