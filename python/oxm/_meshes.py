"""Meshes out (meshio, pyvista) and in (meshio). Both libraries are
optional: they are imported when used."""
from __future__ import annotations

import importlib
from typing import TYPE_CHECKING, Any, Dict, List, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np

from ._errors import ScnError
from ._elements import CellBlock, cell_blocks, from_cells
from ._file import PathLike
from ._records import EXTENT_WIDTH
from ._writer import create

if TYPE_CHECKING:
    from ._file import SceneFile

# Names under which node and element ids travel in a mesh's data.
NODE_IDS, ELEMENT_IDS = "node_ids", "element_ids"
# Variable kinds by floats per value, for data brought in.
_KINDS = {1: 3100, 2: 3103, 3: 3101, 6: 3104}
# The palette from_meshio gives each variable: blue to red, opaque.
_PALETTE = (([0, 1], [0, 1]), ([0, 1], [0, 0]), ([0, 1], [1, 0]), ([0, 1], [1, 1]))


def _require(module: str, extra: str) -> Any:
    try:
        return importlib.import_module(module)
    except ImportError:
        raise ImportError(f"this needs the optional package {module!r}: "
                          f"pip install scnapi[{extra}]") from None


class Geometry(NamedTuple):
    points: Any
    blocks: List[CellBlock]
    point_data: Dict[str, Any]
    cell_data: Dict[str, List[Any]]


def _name(taken: Dict[str, Any], name: str) -> str:
    base, n = name or "var", 1
    while name in taken or not name:
        n += 1
        name = f"{base}_{n}"
    return name


def geometry(f: SceneFile, geom: int) -> Geometry:
    """The points, cell blocks and data of geom `geom`."""
    g = f.geoms[geom]
    nodes = f.node_sets[g.node_set]
    point_data: Dict[str, Any] = {}
    for var in nodes.vars:
        if var.values.size:
            point_data[_name(point_data, f.variables[var.var_index].name)] = var.values
    if nodes.ids is not None:
        point_data[_name(point_data, NODE_IDS)] = nodes.ids
    blocks: List[CellBlock] = []
    cell_data: Dict[str, List[Any]] = {}
    if g.elem_list >= 0:
        elems = f.elem_lists[g.elem_list]
        records = [(r, cell_blocks(r.elem_type, r.connectivity, r.count)) for r in elems.records]
        blocks = [b for _, bs in records for b in bs]
        for slot in elems.vars:
            values = [_slot_values(r, slot.slot) for r, _ in records]
            known = [v for v in values if v is not None]
            if not known:
                continue
            # records without values of the slot get NaN
            filled = [np.full((r.count,) + known[0].shape[1:], np.nan, np.float32)
                      if v is None else v for v, (r, _) in zip(values, records)]
            cell_data[_name(cell_data, f.variables[slot.var_index].name)] = [
                v[b.owners] for v, (_, bs) in zip(filled, records) for b in bs]
        ids = [(r.ids, bs) for r, bs in records if r.ids is not None]
        if ids:
            cell_data[_name(cell_data, ELEMENT_IDS)] = [i[b.owners] for i, bs in ids for b in bs]
    return Geometry(nodes.coords, blocks, point_data, cell_data)


def _slot_values(record: Any, slot: int) -> Optional[Any]:
    """An element record's values of a slot, one per element; None when
    the record has none."""
    try:
        values = record.values[slot]
    except ScnError:
        return None
    return values if values.size and len(values) == record.count else None


def merged(f: SceneFile, geoms: Union[int, Sequence[int]]) -> Geometry:
    """The geometry of one geom, or of several as one mesh: their points
    one after another, their cells renumbered to match, and the point and
    cell data that all of them have."""
    parts = [geometry(f, g) for g in ([geoms] if isinstance(geoms, int) else geoms)]
    if len(parts) == 1:
        return parts[0]
    if not parts:
        raise ValueError("geoms: at least one geom expected")
    dim = max(p.points.shape[1] for p in parts)
    points = np.zeros((sum(len(p.points) for p in parts), dim), np.float32)
    blocks, offset = [], 0
    for p in parts:
        points[offset:offset + len(p.points), :p.points.shape[1]] = p.points
        blocks += [b._replace(cells=b.cells + offset) for b in p.blocks]
        offset += len(p.points)
    point_data = {k: np.concatenate([p.point_data[k] for p in parts])
                  for k in parts[0].point_data if all(k in p.point_data for p in parts)}
    cell_data = {k: [a for p in parts for a in p.cell_data[k]]
                 for k in parts[0].cell_data if all(k in p.cell_data for p in parts)}
    return Geometry(points, blocks, point_data, cell_data)


def to_meshio(f: SceneFile, geom: Union[int, Sequence[int]]) -> Any:
    meshio = _require("meshio", "meshio")
    g = merged(f, geom)
    return meshio.Mesh(g.points, [(b.meshio, b.cells) for b in g.blocks],
                       point_data=g.point_data, cell_data=g.cell_data)


def to_pyvista(f: SceneFile, geom: Union[int, Sequence[int]]) -> Any:
    pv = _require("pyvista", "pyvista")
    g = merged(f, geom)
    points = np.zeros((len(g.points), 3), np.float32)
    points[:, :g.points.shape[1]] = g.points[:, :3]
    cells = [np.hstack([np.full((len(b.cells), 1), b.cells.shape[1]), b.cells]).ravel()
             for b in g.blocks]
    types = [np.full(len(b.cells), b.vtk, np.uint8) for b in g.blocks]
    grid = pv.UnstructuredGrid(np.concatenate(cells) if cells else np.empty(0, np.int64),
                               np.concatenate(types) if types else np.empty(0, np.uint8), points)
    for name, values in g.point_data.items():
        grid.point_data[name] = values
    for name, per_block in g.cell_data.items():
        grid.cell_data[name] = np.concatenate(per_block)
    return grid


def part_steps(f: SceneFile, source: int = 0) -> List[Tuple[float, int, List[int]]]:
    """For each step of part source `source`: its value, the part record
    it names and the geoms of that part's static rep."""
    src = f.part_sources[source]
    out = []
    for value, part in zip(src.step_values.tolist(), src.indices.tolist()):
        rep = f.parts[part].static_rep
        out.append((value, part, f.reps[rep].geoms.tolist() if rep >= 0 else []))
    return out


def _variable_data(name: str, data: Any, count: int) -> Tuple[int, Any]:
    """(kind, values) of a data array of a mesh; ValueError naming it when
    it is not one value (of 1, 2, 3 or 6 components) per point or cell."""
    arr = np.asarray(data)
    if arr.dtype.kind not in "biuf":
        raise ValueError(f"mesh data {name!r}: numbers expected, got {arr.dtype}")
    if arr.ndim == 2 and arr.shape[1] == 1:
        arr = arr[:, 0]
    comps = 1 if arr.ndim == 1 else arr.shape[1] if arr.ndim == 2 else 0
    if comps not in _KINDS or len(arr) != count:
        raise ValueError(f"mesh data {name!r}: one value of 1, 2, 3 or 6 components per "
                         f"point or cell expected, got shape {arr.shape}")
    return _KINDS[comps], arr


def _extents(kind: int, values: Any) -> Tuple[Any, Any]:
    width = EXTENT_WIDTH[kind]
    if width == 1:
        return float(values.min()), float(values.max())
    return values.min(axis=0)[:width], values.max(axis=0)[:width]


def from_meshio(mesh: Any, path: PathLike, name: str = "mesh",
                compression: Optional[str] = "deflate") -> None:
    """Writes a complete scene file from a meshio mesh: a part with its rep
    and render attribute, a geom with its node set and element lists (one
    element record per cell block), a variable per point and cell data
    array with extents and a default palette, and a scene of one frame with
    a viewport that shows the part. "node_ids" and "element_ids" data
    become the node and element ids.

    >>> import meshio
    >>> mesh = meshio.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [("triangle", [[0, 1, 2]])])
    >>> oxm.from_meshio(mesh, "wing.h5", name="wing")
    """
    points = np.asarray(mesh.points)
    if points.ndim != 2 or points.shape[1] not in (1, 2, 3):
        raise ValueError(f"mesh: points of shape (n, 1-3) expected, got {points.shape}")
    n_points, n_cells = len(points), [len(block.data) for block in mesh.cells]
    node_ids = mesh.point_data.get(NODE_IDS)
    elem_ids = mesh.cell_data.get(ELEMENT_IDS)
    point_vars = [(k, *_variable_data(k, v, n_points)) for k, v in mesh.point_data.items()
                  if k != NODE_IDS]
    cell_vars = [(k, [_variable_data(k, d, n) for d, n in zip(v, n_cells)])
                 for k, v in mesh.cell_data.items() if k != ELEMENT_IDS]
    blocks = [from_cells(block.type, block.data) for block in mesh.cells]
    lo, hi = np.zeros(3), np.zeros(3)
    if n_points:
        lo[:points.shape[1]], hi[:points.shape[1]] = points.min(axis=0), points.max(axis=0)
    with create(path, compression) as w:
        variables = []
        for var_name, kind, values in point_vars:
            variables.append(_variable(w, var_name, 3000, kind, [values]))
        for var_name, per_block in cell_vars:
            variables.append(_variable(w, var_name, 3001, per_block[0][0] if per_block else 3100,
                                       [v for _, v in per_block]))
        w.node_set(coords=points, ids=node_ids, n_vars=len(point_vars))
        for slot, (_, _, values) in enumerate(point_vars):
            w.node_var(0, slot, variables[slot], values)
        w.elem_list(n_records=len(blocks), n_vars=len(cell_vars), has_ids=elem_ids is not None)
        for slot in range(len(cell_vars)):
            w.elem_list_var(0, slot, variables[len(point_vars) + slot])
        for rec, (elem_type, conn, count) in enumerate(blocks):
            w.elem(0, rec, elem_type, conn, None if elem_ids is None else elem_ids[rec])
            for slot, (_, per_block) in enumerate(cell_vars):
                w.elem_var(0, rec, slot, variables[len(point_vars) + slot], per_block[rec][1])
        w.geom(node_set=0, elem_list=0, extents=(lo, hi))
        w.rend_attr(attrs={"OXR_RENDATTR_ISVISIBLE": 1})
        w.rep(geoms=[0], rend_attr=0)
        w.part(name=name, description="from meshio", static_rep=0)
        w.part_source(indices=[0], step_values=[0.0])
        w.vport(parts=[0])
        w.vport_source(indices=[0], step_values=[0.0])
        w.scene(name=name, n_frames=1)
        w.scene_part(0, name=name, description="from meshio", sources=[0], steps=[0])
        w.scene_vport(0, parts=[0], sources=[0], steps=[0])


def _variable(w: Any, name: str, centering: int, kind: int, arrays: List[Any]) -> int:
    """A variable with the extents of its arrays and the default palette."""
    data = [a for a in arrays if a.size]
    extents = _extents(kind, np.concatenate(data)) if data else None
    index = int(w.variable(name=name.encode("utf-8")[:64].decode("utf-8", "ignore"),
                           centering=centering, kind=kind, extents=extents))
    lo = float(np.min(extents[0])) if extents else 0.0
    hi = float(np.max(extents[1])) if extents else 1.0
    w.palette(index, "default", _PALETTE, value_range=(lo, hi))
    return index
