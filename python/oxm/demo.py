"""A sample scene file, written through the package's writer: what a
visualisation of a simulation records at the end of a session.

The body is a torus whose tube swells in a wave that travels around it,
recorded in a few states. Each state has its own node set (coordinates and
a node-centred temperature) and shares two element lists: the surface
(a band of triangles and the rest quadrilaterals, with an element-centred
flow vector) and an outline (four rings of lines). Two parts show them,
one part record per state, stepped through by two part sources; a scene of
`frames` frames plays the states while the camera orbits the body through
one viewport record per frame. An annotation plane carries a title and a
legend of the temperature; an image holds a map of the temperature, a note
says what the file is.

>>> from oxm.demo import build_demo
>>> build_demo("demo.h5")
"""
from __future__ import annotations

from typing import Any, Dict, Tuple

import numpy as np
import numpy.typing as npt

from ._file import PathLike
from ._version import __version__
from ._writer import SceneWriter, create
from .enums import AnimLoop, AnimRun, AnnotType, Centering, ColorSpace, ElemType, PartType, VarKind

Floats = npt.NDArray[np.float32]
R_RING, R_TUBE, SWELL = 1.0, 0.35, 0.15  # torus radii, and the wave's share of the tube
# Palettes as (control points, values) of red/hue, green/sat., blue/value, alpha.
COOL_WARM = (([0, 0.5, 1], [0.23, 0.87, 0.71]), ([0, 0.5, 1], [0.30, 0.87, 0.02]),
             ([0, 0.5, 1], [0.75, 0.87, 0.15]), ([0, 1], [1, 1]))
SPEED_HSV = (([0, 1], [0.66, 0.0]), ([0, 1], [0.9, 0.9]), ([0, 1], [1, 1]), ([0, 1], [1, 1]))
IMAGE_SIZE = (64, 96)  # height, width of the temperature map


def _angles(nu: int, nv: int) -> Tuple[Floats, Floats]:
    u, v = np.meshgrid(np.arange(nu) * (2 * np.pi / nu), np.arange(nv) * (2 * np.pi / nv),
                       indexing="ij")
    return u.ravel(), v.ravel()


def surface(u: Any, v: Any, t: float) -> Tuple[Floats, Floats]:
    """Coordinates (n, 3) and temperature (n,) at angles u (around the
    ring) and v (around the tube), time t in [0, 1)."""
    wave = np.sin(3 * u - 2 * np.pi * t)
    r = R_TUBE * (1 + SWELL * wave)
    xyz = np.stack([(R_RING + r * np.cos(v)) * np.cos(u), (R_RING + r * np.cos(v)) * np.sin(u),
                    r * np.sin(v)], axis=-1)
    outer = 0.5 * (1 + np.cos(v))  # 1 on the outer equator, 0 on the inner one
    temperature = 285 + 30 * outer + 25 * outer * 0.5 * (1 + wave) - 8 * np.sin(v)
    return xyz.astype(np.float32), temperature.astype(np.float32)


def _cells(nu: int, nv: int, band: int) -> Tuple[Any, Any, Any]:
    """Triangles of the band i < `band`, quadrilaterals elsewhere, and the
    outline's line segments, as node indices (node (i, j) is i * nv + j)."""
    i, j = np.meshgrid(np.arange(nu), np.arange(nv), indexing="ij")
    a, b = i * nv + j, (i + 1) % nu * nv + j
    c, d = (i + 1) % nu * nv + (j + 1) % nv, i * nv + (j + 1) % nv
    quads = np.stack([a, b, c, d], axis=-1)  # counter-clockwise seen from outside
    tris = quads[:band].reshape(-1, 4)[:, [0, 1, 2, 0, 2, 3]].reshape(-1, 3)
    rings = [np.stack([a[:, k], b[:, k]], axis=-1) for k in (0, nv // 2)]
    meridians = [np.stack([a[k, :], d[k, :]], axis=-1) for k in (0, nu // 2)]
    return tris, quads[band:].reshape(-1, 4), np.concatenate(rings + meridians)


def _flow(xyz: Floats, cells: Any) -> Floats:
    """A flow vector at each element's centre: around the ring, strongest
    outside, with a swirl around the tube."""
    centre = xyz[cells].mean(axis=1)
    u = np.arctan2(centre[:, 1], centre[:, 0])
    v = np.arctan2(centre[:, 2], np.hypot(centre[:, 0], centre[:, 1]) - R_RING)
    along_u = np.stack([-np.sin(u), np.cos(u), np.zeros_like(u)], axis=-1)
    along_v = np.stack([-np.sin(v) * np.cos(u), -np.sin(v) * np.sin(u), np.cos(v)], axis=-1)
    speed = (1.5 * (0.6 + 0.4 * np.cos(v)))[:, None]
    flow: Floats = (speed * along_u + (0.4 * np.sin(3 * u))[:, None] * along_v).astype(np.float32)
    return flow


def _colour(palette: Any, x: Any) -> Any:
    return np.stack([np.interp(x, c, vals) for c, vals in palette[:3]], axis=-1)


def _vport_attrs(frame: int, frames: int) -> Dict[str, Any]:
    """A camera on a circle around the body, 35 degrees above its plane."""
    angle, up = 2 * np.pi * frame / frames, np.radians(35)
    eye = 6.0 * np.array([np.cos(angle) * np.cos(up), np.sin(angle) * np.cos(up), np.sin(up)])
    return {"OXR_VPORT_LOOKFROM": eye, "OXR_VPORT_LOOKAT": [0.0, 0.0, 0.0],
            "OXR_VPORT_UPDIR": [0.0, 0.0, 1.0], "OXR_VPORT_PERANG": 30.0,
            "OXR_VPORT_ZNEAR": 0.1, "OXR_VPORT_ZFAR": 20.0, "OXR_VPORT_PROJTYPE": 30,
            "OXR_VPORT_ISVISIBLE": 1, "OXR_VPORT_POSITION": [0.0, 0.0],
            "OXR_VPORT_WIDTH": 1.0, "OXR_VPORT_HEIGHT": 1.0,
            "OXR_VPORT_BACKGROUNDFILLTYPE": 30, "OXR_VPORT_BACKGROUNDNUMCOL": 2,
            "OXR_VPORT_BACKGROUNDCOLORS": [0.05, 0.07, 0.16, 1.0, 0.55, 0.6, 0.7, 1.0] + [0.0] * 8}


def build_demo(path: PathLike, nu: int = 240, nv: int = 120, states: int = 3,
               frames: int = 24) -> None:
    """Writes the sample scene to `path`: a torus of `nu` x `nv` nodes in
    `states` states, played over a scene of `frames` frames."""
    u, v = _angles(nu, nv)
    times = [k / states for k in range(states)]
    shapes = [surface(u, v, t) for t in times]
    tris, quads, lines = _cells(nu, nv, max(nu // 6, 1))
    flows = [_flow(shapes[0][0], tris), _flow(shapes[0][0], quads)]
    t_lo = float(min(t.min() for _, t in shapes))
    t_hi = float(max(t.max() for _, t in shapes))
    speed = np.linalg.norm(np.concatenate(flows), axis=1)
    with create(path) as w:
        w.framework_version(f"oxm demo {__version__}")
        w.variable(name="temperature", description="surface temperature [K]",
                   centering=Centering.OXR_CENTER_NODE, kind=VarKind.OXR_VAR_SCALAR,
                   extents=(t_lo, t_hi))
        w.palette(0, "cool-warm", COOL_WARM, ColorSpace.OXR_PALETTE_RGB, value_range=(t_lo, t_hi))
        flow_all = np.concatenate(flows)
        w.variable(name="flow", description="surface flow velocity [m/s]",
                   centering=Centering.OXR_CENTER_ELEMENT, kind=VarKind.OXR_VAR_VECTOR,
                   extents=(flow_all.min(axis=0), flow_all.max(axis=0)))
        w.palette(1, "speed", SPEED_HSV, ColorSpace.OXR_PALETTE_HSV,
                  value_range=(float(speed.min()), float(speed.max())))
        _geometry(w, shapes, tris, quads, lines, flows)
        _display(w, states, times)
        _annotations(w, u, v, t_lo, t_hi)
        _scene(w, states, frames)


def _geometry(w: SceneWriter, shapes: Any, tris: Any, quads: Any, lines: Any,
              flows: Any) -> None:
    w.elem_list(n_records=2, n_vars=1, has_ids=True)
    w.elem_list_var(0, 0, 1)
    w.elem(0, 0, ElemType.OXR_ELEM_TRILIST, tris, ids=np.arange(len(tris)) + 1)
    w.elem(0, 1, ElemType.OXR_ELEM_QUADLIST, quads, ids=np.arange(len(quads)) + len(tris) + 1)
    for rec, flow in enumerate(flows):
        w.elem_var(0, rec, 0, 1, flow)
    w.elem_list(n_records=1)
    w.elem(1, 0, ElemType.OXR_ELEM_LINELIST, lines)
    for k, (xyz, temperature) in enumerate(shapes):
        w.node_set(coords=xyz, ids=np.arange(len(xyz)) + 1, n_vars=1)
        w.node_var(k, 0, 0, temperature)
        for elems in (0, 1):
            w.geom(node_set=k, elem_list=elems, extents=(xyz.min(axis=0), xyz.max(axis=0)),
                   attrs={"OXR_GEOM_POLYORDER": 30})  # counter-clockwise from outside


def _display(w: SceneWriter, states: int, times: Any) -> None:
    """Per state a body part and an outline part, each with its rep; the
    body coloured by the temperature, the outline in dark lines."""
    w.rend_attr(attrs={"OXR_RENDATTR_ISVISIBLE": 1, "OXR_RENDATTR_RGBA2D": [0.8, 0.8, 0.85, 1.0],
                       "OXR_RENDATTR_COLORBY2D": 1021, "OXR_RENDATTR_COLORBYVAR": 0,
                       "OXR_RENDATTR_SHADETYPE2D": 1502, "OXR_RENDATTR_LINEWIDTH": 1.0})
    w.rend_attr(attrs={"OXR_RENDATTR_ISVISIBLE": 1, "OXR_RENDATTR_RGBA1D": [0.1, 0.1, 0.12, 1.0],
                       "OXR_RENDATTR_COLORBY1D": 1020, "OXR_RENDATTR_LINEWIDTH": 2.5})
    for k in range(states):
        for kind, (name, part_type) in enumerate((("body", PartType.OXR_PART_MODEL),
                                                  ("outline", PartType.OXR_PART_EXTRACT))):
            index = 2 * k + kind
            w.rep(geoms=[index], rend_attr=kind)
            w.part(name=name, description=f"state {k} (t = {times[k]:.2f} s)",
                   part_type=part_type, static_rep=index)
    for kind in (0, 1):
        w.part_source(indices=range(kind, 2 * states, 2), step_values=times)


def _annotations(w: SceneWriter, u: Any, v: Any, t_lo: float, t_hi: float) -> None:
    title = "Torus: surface temperature"
    w.annot(annot_type=AnnotType.OXR_ANNOT_TEXT, attrs={
        "OXR_ANNOT_TEXT_STRING": title, "OXR_ANNOT_TEXT_POS": [0.03, 0.93],
        "OXR_ANNOT_TEXT_RGB": [1.0, 1.0, 1.0], "OXR_ANNOT_TEXT_SCALE": 1.0,
        "OXR_ANNOT_TEXT_FONT_FAMILY": "Helvetica", "OXR_ANNOT_TEXT_XALIGN": 20,
        "OXR_ANNOT_TEXT_FONTSTYLE": 2})
    w.annot(annot_type=AnnotType.OXR_ANNOT_LEGEND, attrs={
        "OXR_ANNOT_LEGEND_VAR": 0, "OXR_ANNOT_LEGEND_POS": [0.88, 0.15],
        "OXR_ANNOT_LEGEND_WIDTH": 0.05, "OXR_ANNOT_LEGEND_HEIGHT": 0.7,
        "OXR_ANNOT_LEGEND_RGB": [1.0, 1.0, 1.0], "OXR_ANNOT_LEGEND_FONTSCALE": 0.8,
        "OXR_ANNOT_LEGEND_ORIENT": 20, "OXR_ANNOT_LEGEND_FONT_FAMILY": "Helvetica",
        "OXR_ANNOT_LEGEND_LABELFORMAT": "%.0f K"})
    w.aplane(annots=[0, 1], attrs={"OXR_APLANE_TYPE": 0, "OXR_APLANE_POS": [0.0, 0.0],
                                   "OXR_APLANE_WIDTH": 1.0, "OXR_APLANE_HEIGHT": 1.0})
    w.annot_source(indices=[0, 1], step_values=[0.0, 0.0])
    height, width = IMAGE_SIZE
    uu, vv = np.meshgrid(np.linspace(0, 2 * np.pi, width), np.linspace(np.pi, -np.pi, height))
    _, temperature = surface(uu, vv, 0.0)
    rgb = _colour(COOL_WARM, (temperature - t_lo) / (t_hi - t_lo))
    w.image(pixels=np.round(255 * rgb).astype(np.uint8),
            attrs={"OXR_IMAGE_U_X0Y0X1Y1": [0, 0, width - 1, height - 1]})
    w.query(name="temperature along the outer equator", x_label="angle [deg]",
            y_label="temperature [K]", part=0)
    w.note(text=f"Sample scene written by oxm {__version__} (oxm demo): a torus whose tube "
                f"swells in a travelling wave, {len(u)} nodes per state, coloured by its "
                "surface temperature, with an element-centred flow vector.")


def _scene(w: SceneWriter, states: int, frames: int) -> None:
    """The scene: the states in turn while the camera orbits once."""
    for frame in range(frames):
        w.vport(parts=[0, 1], attrs=_vport_attrs(frame, frames))
    w.vport_source(indices=range(frames), step_values=np.arange(frames) / frames)
    w.scene(name="orbit", n_frames=frames, loop_mode=AnimLoop.OXR_ANIM_LOOP,
            run_mode=AnimRun.OXR_ANIM_PLAY, fps=12.0)
    state = np.arange(frames) * states // frames
    for source, name in enumerate(("body", "outline")):
        w.scene_part(0, name=name, description=f"{name} through the states",
                     sources=[source] * frames, steps=state)
    w.scene_vport(0, parts=[0, 1], sources=[0] * frames, steps=range(frames))
    w.scene_aplane(0, aplane=0, annots=[0, 1])
    for annot in (0, 1):
        w.scene_annot(0, sources=[0] * frames, steps=[annot] * frames)
    w.scene_view(0, name="orbit")
    w.scene_view_vport(0, 0, 0, sources=[0] * frames, steps=range(frames))
