"""How the file's attributes are drawn, as plain data: the layers of a
part from its render attribute, the camera, place and background of a
viewport, the colour table of a palette, and the texts and legends of the
annotation planes. No drawing here; every choice a viewer makes where the
file leaves it open is commented where it is made.
"""
from __future__ import annotations

import math
import re
from typing import Any, Mapping, NamedTuple, Optional, Tuple

import numpy as np
import _oxm

RGBA = Tuple[float, float, float, float]
Vec3 = Tuple[float, float, float]

GREY: RGBA = (0.8, 0.8, 0.8, 1.0)  # a part without colours
EDGE: RGBA = (0.0, 0.0, 0.0, 1.0)  # edges over faces without a colour of their own
POINT_SIZE = 4.0  # pixels; the node scales are not drawn

# Layers by (dimension of the elements, dimension they are shown as): the
# suffix of their show, colour, colour-by and shading tags.
SUFFIX = {(2, 2): "2D", (2, 1): "2D1", (2, 0): "2D0", (1, 1): "1D", (1, 0): "1D0", (0, 0): "0D"}
SHOWN = {_oxm.OXR_SHOW_2D: 2, _oxm.OXR_SHOW_1D: 1, _oxm.OXR_SHOW_0D: 0}
SHAPES = {2: "surface", 1: "wireframe", 0: "points"}


class Layer(NamedTuple):
    """The elements of one dimension (3-D elements by their boundary
    faces, as 2) drawn as surfaces, wireframe or points."""

    dim: int
    shape: str
    rgba: RGBA
    by_var: bool
    lit: bool


class PartStyle(NamedTuple):
    visible: bool
    mode: str  # "elements", "points" (the nodes), "box" (the bounds' outline) or "none"
    layers: Tuple[Layer, ...]
    var: Optional[int]  # the variable coloured by, when a layer asks for one
    line_width: float
    edges: Optional[RGBA]  # edges drawn over the faces, in this colour
    spheres: bool  # points drawn as spheres
    light: Tuple[float, float, float, float]  # ambient, diffuse, specular, specular power


def _rgba(value: Any) -> Optional[RGBA]:
    if value is None or np.size(value) != 4 or not np.all(np.isfinite(value)):
        return None
    r, g, b, a = (min(max(float(x), 0.0), 1.0) for x in np.ravel(value))
    return (r, g, b, a)


# A rep type (the rep's own, or the render attribute's element
# representation) decides what of the geoms is drawn. A sparse subset is
# drawn whole: the file does not say which elements or nodes it keeps.
_REP_MODES = {
    _oxm.OXR_REP_NONE: "none", _oxm.OXR_REP_BOX: "box", _oxm.OXR_REP_POINTS: "points",
    _oxm.OXR_REP_SPARSE_POINTS: "points", _oxm.OXR_REP_SPARSE_ELEMENTS: "elements",
    _oxm.OXR_REP_FULL: "elements"}


def part_style(attrs: Mapping[Any, Any], rep_type: int, hidden_line: bool = False) -> PartStyle:
    """The style of a rep from its render attribute's converted attributes
    (a mapping by tag name; missing tags take a viewer's defaults)."""
    a = attrs.get
    visible = a("OXR_RENDATTR_ISVISIBLE") is not False
    elem_rep = a("OXR_RENDATTR_ELEMENTREP")
    mode = _REP_MODES.get(elem_rep if elem_rep is not None else rep_type, "elements")
    # The part's colour: its face colour, else its line or point colour.
    base = next((c for c in (_rgba(a(f"OXR_RENDATTR_RGBA{s}")) for s in ("2D", "1D", "0D"))
                 if c is not None), GREY)
    lines_off = a("OXR_RENDATTR_LINEREP") == _oxm.OXR_LREP_NONE
    layers = []
    for dim in (2, 1, 0):
        # OXR_RENDATTR_SHOW<d> says what elements of dimension d are shown
        # as: faces, edges (wireframe), nodes, or nothing (none, or the
        # vectors, which are not drawn). Without the tag they are shown
        # as what they are.
        show = a(f"OXR_RENDATTR_SHOW{dim}D")
        shown = dim if show is None else SHOWN.get(show)
        if shown is None:
            continue
        shown = min(shown, dim)
        if shown == 1 and lines_off:  # the line representation "none" hides lines
            continue
        suffix = SUFFIX[(dim, shown)]
        rgba = _rgba(a(f"OXR_RENDATTR_RGBA{suffix}")) or base
        by_var = a(f"OXR_RENDATTR_COLORBY{suffix}") == _oxm.OXR_COLORBY_VAR
        # Shading "none" draws the colour unlit, exactly as given; flat and
        # Gouraud shading (and no tag) are lit by the viewport's light.
        lit = a(f"OXR_RENDATTR_SHADETYPE{suffix}") != _oxm.OXR_SHADE_NONE
        layers.append(Layer(dim, SHAPES[shown], rgba, by_var, lit))
    var = a("OXR_RENDATTR_COLORBYVAR")
    width = a("OXR_RENDATTR_LINEWIDTH")
    hidden = bool(a("OXR_RENDATTR_ISHIDDENLINE")) or hidden_line
    return PartStyle(
        visible, mode, tuple(layers),
        var if isinstance(var, int) and any(layer.by_var for layer in layers) else None,
        min(_positive(width, 1.0), 64.0),
        # Hidden-line display: the element edges over the faces, which hide
        # what lies behind them; in the edge colour of the faces' layer.
        (_rgba(a("OXR_RENDATTR_RGBA2D1")) or EDGE) if hidden and not lines_off else None,
        a("OXR_RENDATTR_NODEREP") == _oxm.OXR_NREP_SPHERE,
        _light(a("OXR_RENDATTR_DIFFUSELIGHT"), a("OXR_RENDATTR_HIGHLIGHTINTENSITY"),
               a("OXR_RENDATTR_SHININESS")))


def _light(diffuse: Optional[float], highlight: Optional[float],
           shininess: Optional[float]) -> Tuple[float, float, float, float]:
    """How lit layers take the light: diffuse as the render attribute says
    (0.8 without it) and ambient light for the rest, so that faces along
    the line of sight are not black; highlights of the given intensity and
    shininess (an exponent of 1 to 128; no highlights by default)."""
    d = min(max(diffuse, 0.0), 1.0) if diffuse is not None else 0.8
    spec = min(max(highlight, 0.0), 1.0) if highlight is not None else 0.0
    power = min(max(shininess, 1.0), 128.0) if shininess is not None else 10.0
    return 1.0 - d, d, spec, power


# ---- viewports -----------------------------------------------------------------

class Camera(NamedTuple):
    position: Vec3
    focal_point: Vec3
    view_up: Vec3
    view_angle: float  # degrees, vertical
    clipping: Optional[Tuple[float, float]]  # None: fitted to what is drawn
    parallel: bool
    parallel_scale: float


DEFAULT_ANGLE = 30.0


def _vec(value: Any) -> Optional[Vec3]:
    if value is None or np.size(value) != 3 or not np.all(np.isfinite(value)):
        return None
    x, y, z = (float(v) for v in np.ravel(value))
    return (x, y, z)


def camera(attrs: Mapping[Any, Any]) -> Optional[Camera]:
    """The viewport's camera, or None (a default camera fitted to the
    bounds) when the viewport does not give both look-from and look-at."""
    a = attrs.get
    eye, at = _vec(a("OXR_VPORT_LOOKFROM")), _vec(a("OXR_VPORT_LOOKAT"))
    if eye is None or at is None:
        return None
    view = np.subtract(at, eye)
    distance = float(np.linalg.norm(view))
    if distance == 0.0:
        return None
    up = _vec(a("OXR_VPORT_UPDIR"))
    if up is None or np.linalg.norm(np.cross(view, up)) < 1e-6 * distance * np.linalg.norm(up):
        # no up direction, or one along the line of sight: the axis most
        # across the line of sight
        axis = int(np.argmin(np.abs(view)))
        up = (float(axis == 0), float(axis == 1), float(axis == 2))
    angle = a("OXR_VPORT_PERANG")
    angle = float(angle) if angle and 0.0 < angle < 180.0 else DEFAULT_ANGLE
    near, far = a("OXR_VPORT_ZNEAR"), a("OXR_VPORT_ZFAR")
    clipping = (float(near), float(far)) if near is not None and far is not None \
        and 0.0 < near < far else None
    # The identity projection maps the model straight to the screen, as an
    # orthographic one does; perspective otherwise (and without the tag).
    parallel = a("OXR_VPORT_PROJTYPE") in (_oxm.OXR_PROJ_ORTHO, _oxm.OXR_PROJ_IDENT)
    # An orthographic view shows at the look-at point what a perspective
    # view of the same angle shows there: half the height is
    # distance * tan(angle / 2).
    scale = distance * math.tan(math.radians(angle) / 2.0)
    return Camera(eye, at, up, angle, clipping, parallel, scale)


def viewport_rect(attrs: Mapping[Any, Any]) -> Tuple[float, float, float, float]:
    """(xmin, ymin, xmax, ymax) of the viewport in the image, as fractions
    of its width and height from the lower left corner: its position and
    size are floats, fractions of the window (clipped to it)."""
    a = attrs.get
    x, y = _pair(a("OXR_VPORT_POSITION"), (0.0, 0.0))
    w = _positive(a("OXR_VPORT_WIDTH"), 1.0 - x)
    h = _positive(a("OXR_VPORT_HEIGHT"), 1.0 - y)
    x0, y0 = min(max(x, 0.0), 1.0), min(max(y, 0.0), 1.0)
    return x0, y0, max(min(x + w, 1.0), x0), max(min(y + h, 1.0), y0)


class Background(NamedTuple):
    bottom: Vec3
    top: Vec3  # equal to bottom for a solid fill


WINDOW: Vec3 = (0.0, 0.0, 0.0)  # behind the viewports, and the fill "none" or "inherit"


def background(attrs: Mapping[Any, Any]) -> Background:
    """The fill of a viewport from its background colours: up to four RGBA
    colours (OXR_VPORT_BACKGROUNDCOLORS, OXR_VPORT_BACKGROUNDNUMCOL of them)
    at heights OXR_VPORT_BACKGROUNDPOS. A solid fill takes the first; a
    blend runs from the lowest colour at the bottom to the highest at the
    top (in between colours are not drawn). Without a fill type, given
    colours fill solid."""
    a = attrs.get
    colours = a("OXR_VPORT_BACKGROUNDCOLORS")
    fill = a("OXR_VPORT_BACKGROUNDFILLTYPE")
    if colours is None or np.size(colours) != 16 or fill in (_oxm.OXR_VPFILL_NONE,
                                                              _oxm.OXR_VPFILL_INHERIT):
        return Background(WINDOW, WINDOW)
    rgb = [tuple(min(max(float(c), 0.0), 1.0) for c in colours[4 * k: 4 * k + 3])
           for k in range(4)]
    n = a("OXR_VPORT_BACKGROUNDNUMCOL")
    n = min(max(int(n), 1), 4) if isinstance(n, int) else 1
    if fill != _oxm.OXR_VPFILL_BLEND or n < 2:
        return Background(rgb[0], rgb[0])  # type: ignore[arg-type]
    pos = a("OXR_VPORT_BACKGROUNDPOS")
    heights = list(pos[:n]) if pos is not None and np.size(pos) == 4 else list(range(n))
    order = sorted(range(n), key=lambda k: heights[k])
    return Background(rgb[order[0]], rgb[order[-1]])  # type: ignore[arg-type]


# ---- palettes ---------------------------------------------------------------------

MAX_SAMPLES = 1024


def _hsv_to_rgb(h: Any, s: Any, v: Any) -> Any:
    i = np.floor(h * 6.0) % 6
    f = h * 6.0 - np.floor(h * 6.0)
    p, q, t = v * (1 - s), v * (1 - f * s), v * (1 - (1 - f) * s)
    table = [(v, t, p), (q, v, p), (p, v, t), (p, q, v), (t, p, v), (v, p, q)]
    return np.stack([np.choose(i.astype(int), [row[c] for row in table]) for c in range(3)],
                    axis=1)


def palette_table(palette: Any) -> Any:
    """The palette's colours as an (n, 4) RGBA float table over its value
    range, n its sample count: a small count gives bands, as a viewer shows
    them. Control points are positions across the range, 0 at the
    palette's minimum and 1 at its maximum; each channel is interpolated
    linearly between its points (held constant for the constant
    interpolation) and held beyond them. Hues are fractions of the circle
    (degrees when above 1). A channel without points is 1 (alpha: opaque)."""
    n = palette.n_samples if 2 <= palette.n_samples <= MAX_SAMPLES else 256
    x = np.linspace(0.0, 1.0, n)
    step = palette.interpolation == _oxm.OXR_PALETTE_CONSTANT
    out = np.ones((n, 4))
    for c, (points, values) in enumerate(palette.channels):
        if len(points) == 0 or len(points) != len(values):
            continue
        order = np.argsort(points, kind="stable")
        p, v = np.asarray(points, float)[order], np.asarray(values, float)[order]
        if step:
            out[:, c] = v[np.clip(np.searchsorted(p, x, side="right") - 1, 0, len(p) - 1)]
        else:
            out[:, c] = np.interp(x, p, v)
    if int(palette.color_space) == _oxm.OXR_PALETTE_HSV:
        hue = out[:, 0] / 360.0 if out[:, 0].max() > 1.0 else out[:, 0]
        out[:, :3] = _hsv_to_rgb(hue % 1.0, np.clip(out[:, 1], 0, 1), np.clip(out[:, 2], 0, 1))
    return np.clip(np.nan_to_num(out, nan=1.0), 0.0, 1.0)


def value_range(palette: Any, variable: Any, data: Any = None) -> Tuple[float, float]:
    """The values a palette spans: the palette's own minimum and maximum,
    else the variable's extents (scalar kinds), else the range of `data`,
    else 0 to 1."""
    candidates = []
    if palette is not None:
        candidates.append((palette.min_value, palette.max_value))
    if variable is not None and isinstance(variable.minimum, float):
        candidates.append((variable.minimum, variable.maximum))
    if data is not None and np.size(data) and np.isfinite(data).any():
        candidates.append((float(np.nanmin(data)), float(np.nanmax(data))))
    for lo, hi in candidates:
        if math.isfinite(lo) and math.isfinite(hi) and lo < hi:
            return float(lo), float(hi)
    for lo, hi in candidates:  # one value: a range around it
        if math.isfinite(lo) and lo == hi:
            return lo - 0.5, lo + 0.5
    return 0.0, 1.0


# ---- annotations ------------------------------------------------------------------

Rect = Tuple[float, float, float, float]


class Text(NamedTuple):
    text: str
    anchor: Tuple[float, float]  # fractions of the image, from the lower left
    rgb: Vec3
    opacity: float
    height: float  # fraction of the image height
    halign: str  # "left", "centre", "right"
    valign: str  # "bottom", "centre", "top"
    angle: float
    bold: bool
    italic: bool


class Legend(NamedTuple):
    var: int
    rect: Rect  # fractions of the image
    rgb: Vec3
    vertical: bool
    label_format: Optional[str]
    height: float  # text height, fraction of the image height


TEXT_HEIGHT = 1.0 / 24.0  # of the image height, at text scale 1
_HALIGN = {_oxm.OXR_ANNOT_ALIGN_LEFT: "left", _oxm.OXR_ANNOT_ALIGN_CENTER: "centre",
           _oxm.OXR_ANNOT_ALIGN_RIGHT: "right"}
_VALIGN = {_oxm.OXR_ANNOT_ALIGN_BOTTOM: "bottom", _oxm.OXR_ANNOT_ALIGN_CENTER: "centre",
           _oxm.OXR_ANNOT_ALIGN_TOP: "top"}


def plane_rect(attrs: Optional[Mapping[Any, Any]]) -> Optional[Rect]:
    """Where a 2-D annotation plane lies in the image (fractions, from the
    lower left): at OXR_APLANE_POS with OXR_APLANE_WIDTH and HEIGHT
    (default the whole image). None for a 3-D plane, which is not drawn."""
    if attrs is None:
        return (0.0, 0.0, 1.0, 1.0)
    a = attrs.get
    if a("OXR_APLANE_TYPE") == _oxm.OXR_APLANE_3D:
        return None
    x, y = _pair(a("OXR_APLANE_POS"), (0.0, 0.0))
    return (x, y, _positive(a("OXR_APLANE_WIDTH"), 1.0), _positive(a("OXR_APLANE_HEIGHT"), 1.0))


def _in_plane(plane: Rect, pos: Any, default: Tuple[float, float]) -> Tuple[float, float]:
    """A position given as fractions of the plane, as fractions of the image."""
    u, v = _pair(pos, default)
    return plane[0] + u * plane[2], plane[1] + v * plane[3]


def _vec3(value: Any, default: Vec3) -> Vec3:
    v = _vec(value)
    return default if v is None else tuple(min(max(c, 0.0), 1.0) for c in v)  # type: ignore


def _finite(value: Any, default: float) -> float:
    ok = isinstance(value, (int, float)) and math.isfinite(value)
    return float(value) if ok else default


def _positive(value: Any, default: float) -> float:
    v = _finite(value, 0.0)
    return v if v > 0 else default


def _pair(value: Any, default: Tuple[float, float]) -> Tuple[float, float]:
    if value is None or np.size(value) != 2 or not np.all(np.isfinite(value)):
        return default
    return float(value[0]), float(value[1])


# A label format is handed to C's printf with one double: one conversion
# of a double (flags, width, precision) and nothing else that printf reads.
_FORMAT = re.compile(r"^([^%]|%%)*%[-+ #0]*\d{0,3}(\.\d{1,3})?[eEfgG]([^%]|%%)*$")


def annotation(annot_type: int, attrs: Mapping[Any, Any], plane: Rect) -> Optional[Any]:
    """A Text or Legend for an annotation on a plane; None for the types
    that are not drawn (images, plots) and texts without a string."""
    a = attrs.get
    if annot_type == _oxm.OXR_ANNOT_TEXT:
        text = a("OXR_ANNOT_TEXT_STRING")
        if not text:
            return None
        style = a("OXR_ANNOT_TEXT_FONTSTYLE") or 0
        opacity = _positive(a("OXR_ANNOT_OPACITY"), 1.0)
        return Text(text, _in_plane(plane, a("OXR_ANNOT_TEXT_POS"), (0.0, 0.0)),
                    _vec3(a("OXR_ANNOT_TEXT_RGB"), (1.0, 1.0, 1.0)),
                    min(opacity, 1.0),
                    TEXT_HEIGHT * _positive(a("OXR_ANNOT_TEXT_SCALE"), 1.0),
                    _HALIGN.get(a("OXR_ANNOT_TEXT_XALIGN") or 0, "left"),
                    _VALIGN.get(a("OXR_ANNOT_TEXT_YALIGN") or 0, "bottom"),
                    _finite(a("OXR_ANNOT_TEXT_ANGLE"), 0.0),
                    bool(style & _oxm.OXR_FONT_BOLD), bool(style & _oxm.OXR_FONT_ITALIC))
    if annot_type == _oxm.OXR_ANNOT_LEGEND:
        var = a("OXR_ANNOT_LEGEND_VAR")
        if not isinstance(var, int) or var < 0:
            return None
        # Default: a bar along the right edge of the plane.
        x, y = _in_plane(plane, a("OXR_ANNOT_LEGEND_POS"), (0.88, 0.1))
        w = _positive(a("OXR_ANNOT_LEGEND_WIDTH"), 0.1) * plane[2]
        h = _positive(a("OXR_ANNOT_LEGEND_HEIGHT"), 0.8) * plane[3]
        orient = a("OXR_ANNOT_LEGEND_ORIENT")
        vertical = orient == _oxm.OXR_ANNOT_VERT or (orient != _oxm.OXR_ANNOT_HORZ and h >= w)
        fmt = a("OXR_ANNOT_LEGEND_LABELFORMAT") or ""
        return Legend(var, (x, y, w, h), _vec3(a("OXR_ANNOT_LEGEND_RGB"), (1.0, 1.0, 1.0)),
                      vertical, fmt if _FORMAT.match(fmt) else None,
                      TEXT_HEIGHT * _positive(a("OXR_ANNOT_LEGEND_FONTSCALE"), 1.0))
    return None

