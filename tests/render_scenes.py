"""Scene files for the rendering tests and benchmark, written through
oxm.create: a small writer of whole scenes (parts over source steps, one
viewport, annotation planes) and a scene that uses most of what the
renderer draws."""
import numpy as np

import oxm

TRI, QUAD, HEX, LINESTRIP = 2004, 2006, 2014, 2002
UNLIT = {"OXR_RENDATTR_SHADETYPE2D": 1500}


def triangle(x0=0.0, y0=0.0, size=1.0, z=0.0):
    """Coordinates and connectivity of one triangle."""
    return ([[x0, y0, z], [x0 + size, y0, z], [x0, y0 + size, z]], TRI, [[0, 1, 2]])


def write_scene(path, parts, vport=None, n_frames=1, variables=(), planes=(), scene=True,
                compression=None):
    """A scene file: `parts` is a list of dicts with "steps" (per source
    step a list of geometries (coords, element type, connectivity[,
    node values[, element values]]) and "attrs" (the render attribute's);
    frame k shows step "frames"[k] (default k, wrapped). `vport`: the
    viewport's attributes (None: no viewport). `variables`: (name,
    centering, palette channels, range[, colour space]). `planes`:
    per annotation plane (attrs, [(annot type, attrs)])."""
    with oxm.create(path, compression=compression) as w:
        for name, centering, channels, value_range, *space in variables:
            v = w.variable(name=name, centering=centering)
            w.palette(v, name, channels, value_range=value_range,
                      color_space=space[0] if space else 10, n_samples=256)
        for p, part in enumerate(parts):
            ra = w.rend_attr(attrs=part.get("attrs", {}))
            records = []
            for geoms in part["steps"]:
                geom_ids = [_geom(w, *g) for g in geoms]
                rep = w.rep(geoms=geom_ids, rend_attr=ra)
                records.append(w.part(name=f"part{p}", static_rep=rep))
            w.part_source(indices=records)
        if scene:
            w.scene(name="test", n_frames=n_frames)
            for p, part in enumerate(parts):
                n = len(part["steps"])
                steps = part.get("frames", [k % n for k in range(n_frames)])
                w.scene_part(0, name=f"part{p}", sources=[p] * len(steps), steps=steps)
        if vport is not None:
            w.vport(parts=range(len(parts)), attrs=vport)
            w.vport_source(indices=[0])
            if scene:
                w.scene_vport(0, sources=[0] * n_frames, steps=[0] * n_frames)
        annot = 0
        for a, (plane_attrs, annots) in enumerate(planes):
            for annot_type, attrs in annots:
                w.annot(annot_type=annot_type, attrs=attrs)
            w.aplane(annots=range(annot, annot + len(annots)), attrs=plane_attrs)
            if scene:
                w.scene_aplane(0, aplane=a)
            annot += len(annots)
    return path


def _geom(w, coords, elem_type, conn, node_values=None, elem_values=None):
    """node_values, elem_values: (variable, values)."""
    coords = np.asarray(coords, np.float32)
    n = w.node_set(coords=coords, n_vars=int(node_values is not None))
    if node_values is not None:
        w.node_var(n, 0, node_values[0], node_values[1])
    lst = w.elem_list(n_records=1, n_vars=int(elem_values is not None))
    w.elem(lst, 0, elem_type, conn)
    if elem_values is not None:
        w.elem_list_var(lst, 0, elem_values[0])
        w.elem_var(lst, 0, 0, elem_values[0], elem_values[1])
    return w.geom(node_set=n, elem_list=lst, extents=(coords.min(0), coords.max(0)))


def grid(nx, ny, warp=0.0):
    """A quadrilateral grid over [0, 2] x [0, 1], bent by `warp`."""
    x, y = np.meshgrid(np.linspace(0, 2, nx + 1), np.linspace(0, 1, ny + 1))
    z = warp * np.sin(np.pi * x) * np.sin(np.pi * y)
    coords = np.stack([x.ravel(), y.ravel(), z.ravel()], axis=1)
    k = np.arange((nx + 1) * ny).reshape(ny, nx + 1)[:, :nx].ravel()
    quads = np.stack([k, k + 1, k + nx + 2, k + nx + 1], axis=1)
    return coords, quads


def hex_block(origin, n=(3, 2, 2), h=0.2):
    """Hexahedra filling a block of n cells of size h at `origin`."""
    idx = np.indices((n[0] + 1, n[1] + 1, n[2] + 1)).reshape(3, -1).T
    coords = np.asarray(origin) + h * idx
    ijk = np.indices(n).reshape(3, -1).T

    def node(d):
        i, j, k = (ijk + d).T
        return (i * (n[1] + 1) + j) * (n[2] + 1) + k
    corners = [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0), (0, 0, 1), (1, 0, 1), (1, 1, 1),
               (0, 1, 1)]
    return coords, np.stack([node(np.array(c)) for c in corners], axis=1)


def build_features(path, frames=2):
    """A plate (node temperatures) that bends over the frames, a block of
    hexahedra (element pressures), a probe line and a hidden part, seen at
    an angle over a blended background, with a title and two legends."""
    blue_white_red = (([0, 0.5, 1], [0, 1, 1]), ([0, 0.5, 1], [0, 1, 0]),
                      ([0, 0.5, 1], [1, 1, 0]), ([0, 1], [1, 1]))
    hue = (([0, 1], [0.66, 0.0]), ([0, 1], [1, 1]), ([0, 1], [1, 1]))
    steps = []
    for k in range(frames):
        coords, quads = grid(24, 12, warp=0.25 * k)
        temperature = 280 + 60 * coords[:, 0] / 2 * (1 + coords[:, 2])
        steps.append([(coords, QUAD, quads, (0, temperature))])
    block, hexes = hex_block((2.25, 0.2, 0.0))
    pressure = np.linspace(0.0, 1.0, len(hexes))
    line = np.stack([np.linspace(0, 2, 9), np.full(9, 0.5), 0.4 + 0.1 * np.cos(np.arange(9))], 1)
    lit = {"OXR_RENDATTR_SHADETYPE2D": 1502}
    parts = [
        {"steps": steps, "attrs": {**lit, "OXR_RENDATTR_COLORBY2D": 1021,
                                   "OXR_RENDATTR_COLORBYVAR": 0,
                                   "OXR_RENDATTR_ISHIDDENLINE": 1,
                                   "OXR_RENDATTR_RGBA2D1": [0.2, 0.2, 0.2, 1]}},
        {"steps": [[(block, HEX, hexes, None, (1, pressure))]],
         "attrs": {"OXR_RENDATTR_SHADETYPE2D": 1501, "OXR_RENDATTR_COLORBY2D": 1021,
                   "OXR_RENDATTR_COLORBYVAR": 1}},
        {"steps": [[(line, LINESTRIP, [np.arange(9)])]],
         "attrs": {"OXR_RENDATTR_RGBA1D": [1, 0.85, 0.1, 1], "OXR_RENDATTR_LINEWIDTH": 3.0}},
        {"steps": [[triangle(0.5, 0.2, 0.6, 0.3)]],
         "attrs": {"OXR_RENDATTR_ISVISIBLE": 0, "OXR_RENDATTR_RGBA2D": [1, 0, 1, 1]}},
    ]
    vport = {"OXR_VPORT_LOOKFROM": [1.75, -3.3, 3.0], "OXR_VPORT_LOOKAT": [1.75, 0.5, 0.1],
             "OXR_VPORT_UPDIR": [0, 0, 1], "OXR_VPORT_PERANG": 30.0,
             "OXR_VPORT_PROJTYPE": 30, "OXR_VPORT_BACKGROUNDFILLTYPE": 30,
             "OXR_VPORT_BACKGROUNDNUMCOL": 2,
             "OXR_VPORT_BACKGROUNDCOLORS": [0.0, 0.0, 0.05, 1] + [0.25, 0.3, 0.45, 1] + [0] * 8,
             "OXR_VPORT_BACKGROUNDPOS": [0, 1, 0, 0]}
    title = {"OXR_ANNOT_TEXT_STRING": "scnapi features", "OXR_ANNOT_TEXT_POS": [0.5, 0.95],
             "OXR_ANNOT_TEXT_XALIGN": 10, "OXR_ANNOT_TEXT_YALIGN": 40,
             "OXR_ANNOT_TEXT_RGB": [1, 1, 1], "OXR_ANNOT_TEXT_SCALE": 1.5}
    legend_t = {"OXR_ANNOT_LEGEND_VAR": 0, "OXR_ANNOT_LEGEND_POS": [0.9, 0.2],
                "OXR_ANNOT_LEGEND_WIDTH": 0.04, "OXR_ANNOT_LEGEND_HEIGHT": 0.6,
                "OXR_ANNOT_LEGEND_RGB": [1, 1, 1], "OXR_ANNOT_LEGEND_LABELFORMAT": "%.0f"}
    legend_p = {"OXR_ANNOT_LEGEND_VAR": 1, "OXR_ANNOT_LEGEND_POS": [0.1, 0.04],
                "OXR_ANNOT_LEGEND_WIDTH": 0.5, "OXR_ANNOT_LEGEND_HEIGHT": 0.04,
                "OXR_ANNOT_LEGEND_ORIENT": 10, "OXR_ANNOT_LEGEND_RGB": [1, 1, 1]}
    return write_scene(path, parts, vport, n_frames=frames,
                       variables=[("temperature", 3000, blue_white_red, (280.0, 340.0)),
                                  ("pressure", 3001, hue, (0.0, 1.0), 20)],
                       planes=[({"OXR_APLANE_TYPE": 0},
                                [(10, title), (50, legend_t), (50, legend_p)])])
