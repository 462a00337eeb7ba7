"""Geoms as pyvista meshes to draw: one PolyData per dimension of the
elements (faces, lines, points), built from the file's arrays with numpy,
carrying the values of the variable a part is coloured by.
"""
from __future__ import annotations

from typing import TYPE_CHECKING, Any, Dict, List, NamedTuple, Optional, Tuple

import numpy as np

from .._elements import CellBlock, cell_blocks
from .._errors import ScnError

if TYPE_CHECKING:
    from .._file import SceneFile

VALUES = "values"  # the name of the colouring array in the meshes
# VTK cell types drawn as they are, by dimension; every other type (the
# quadratic and the 3-D elements) is drawn by its boundary surface.
_VERTEX, _LINE, _LINE3 = 1, 3, 21
_FACES = (5, 7, 9)  # triangle, polygon, quadrilateral


class Piece(NamedTuple):
    dim: int  # 2 faces (3-D elements: their boundary), 1 lines, 0 points
    mesh: Any  # pyvista.PolyData
    by_point: bool  # the values are per node (else per element), when there are any


class GeomArrays(NamedTuple):
    """A geom as read: node coordinates, cells by dimension drawn as they
    are, the other cells (drawn by their surface), each with its values."""

    points: Any  # (n, 3) float32
    cells: Dict[int, List[Tuple[Any, Any]]]  # dim -> [(cells (m, k), values per cell)]
    solids: List[Tuple[CellBlock, Any]]
    point_values: Optional[Any]  # per node, when the variable is node-centred here


class GeomMeshes(NamedTuple):
    points: Any  # (n, 3) float32
    pieces: List[Piece]
    point_values: Optional[Any]


def _magnitude(values: Any) -> Any:
    """One float per value: the value itself, or the length of a vector
    (complex values: the norm of all their components)."""
    v = np.asarray(values, np.float32)
    return v if v.ndim == 1 else np.sqrt(np.sum(v.astype(np.float64) ** 2, axis=1))


def _undefined(values: Any, slot: Any) -> Any:
    """Values equal to the slot's undefined value become NaN (drawn in the
    part's own colour)."""
    if slot.use_undefined:
        values = np.where(values == np.float32(slot.undefined_value), np.nan, values)
    return values


def _cell_array(pv: Any, blocks: List[Tuple[Any, Any]]) -> Any:
    """A CellArray of (n, k) node-index blocks, from offsets and
    connectivity without a loop over the cells."""
    conn = np.concatenate([c.ravel() for c, _ in blocks]).astype(np.int64)
    sizes = np.concatenate([np.full(len(c), c.shape[1], np.int64) for c, _ in blocks])
    offsets = np.zeros(len(sizes) + 1, np.int64)
    np.cumsum(sizes, out=offsets[1:])
    return pv.CellArray.from_arrays(offsets, conn)


def read(f: SceneFile, geom: int, var: Optional[int],
         skipped: List[str]) -> Optional[GeomArrays]:
    """The arrays of geom `geom` with the values of variable `var` (None:
    no colouring), or None (said in `skipped`) when the file does not hold
    its geometry. Element records that name nodes outside the node set are
    left out."""
    what = f"geom {geom}"
    try:
        g = f.geoms.read(geom)
        nodes = f.node_sets.read(g.node_set)
        coords = nodes.coords
    except ScnError as exc:
        skipped.append(f"{what}: not drawn, its nodes are not readable ({exc})")
        return None
    n = len(coords)
    points = np.zeros((n, 3), np.float32)
    points[:, :min(coords.shape[1], 3)] = coords[:, :3]

    point_values = None
    if var is not None:
        for slot in nodes.vars:
            if slot.var_index == var:
                values = _magnitude(slot.values)
                if len(values) == n:
                    point_values = _undefined(values, slot)
                break

    by_dim: Dict[int, List[Tuple[Any, Any]]] = {0: [], 1: [], 2: []}  # (cells, values)
    solids: List[Tuple[CellBlock, Any]] = []
    if g.elem_list >= 0:
        try:
            elems = f.elem_lists.read(g.elem_list)
            slots = [s for s in elems.vars if s.var_index == var] if var is not None else []
            records = list(elems.records)
        except ScnError as exc:
            skipped.append(f"{what}: its elements are not readable ({exc})")
            records, slots = [], []
        for rec in records:
            try:
                blocks = cell_blocks(int(rec.elem_type), rec.connectivity, rec.count)
                values = _element_values(rec, slots, point_values is None)
            except (ValueError, ScnError) as exc:
                skipped.append(f"{what}: element record {rec.index} not drawn ({exc})")
                continue
            for b in blocks:
                if b.cells.size and (b.cells.min() < 0 or b.cells.max() >= n):
                    skipped.append(f"{what}: element record {rec.index} not drawn (it names "
                                   f"nodes outside the {n} of node set {g.node_set})")
                    break
            else:
                for b in blocks:
                    cell_values = None if values is None else values[b.owners]
                    if b.vtk == _VERTEX:
                        by_dim[0].append((b.cells, cell_values))
                    elif b.vtk == _LINE:
                        by_dim[1].append((b.cells, cell_values))
                    elif b.vtk == _LINE3:  # end, end, middle: two segments
                        c = b.cells
                        halves = np.concatenate([c[:, [0, 2]], c[:, [2, 1]]])
                        by_dim[1].append((halves, None if cell_values is None
                                          else np.concatenate([cell_values, cell_values])))
                    elif b.vtk in _FACES:
                        by_dim[2].append((b.cells, cell_values))
                    else:
                        solids.append((b, cell_values))

    return GeomArrays(points, by_dim, solids, point_values)


def build(pv: Any, g: GeomArrays) -> GeomMeshes:
    """The meshes to draw of a geom: one PolyData per dimension, sharing
    the points."""
    pieces = []
    keys = {0: "verts", 1: "lines", 2: "faces"}
    by_point = g.point_values is not None
    for dim, cells in g.cells.items():
        if cells:
            mesh = pv.PolyData(g.points, **{keys[dim]: _cell_array(pv, cells)})
            pieces.append(Piece(dim, _with_values(mesh, g.point_values, cells), by_point))
    if g.solids:
        pieces.append(Piece(2, _surface(pv, g.points, g.solids, g.point_values), by_point))
    return GeomMeshes(g.points, pieces, g.point_values)


def _element_values(rec: Any, slots: List[Any], wanted: bool) -> Optional[Any]:
    """Per element of a record, the values of the colouring variable."""
    if not wanted or not slots:
        return None
    values = rec.values[slots[0].slot]
    if len(values) != rec.count:
        return None
    return _undefined(_magnitude(values), slots[0])


def _with_values(mesh: Any, point_values: Optional[Any], blocks: List[Tuple[Any, Any]]) -> Any:
    if point_values is not None:
        mesh.point_data[VALUES] = point_values
    elif all(v is not None for _, v in blocks):
        mesh.cell_data[VALUES] = np.concatenate([v for _, v in blocks]).astype(np.float32)
    return mesh


def _surface(pv: Any, points: Any, solids: List[Tuple[CellBlock, Any]],
             point_values: Optional[Any]) -> Any:
    """The boundary faces of 3-D and quadratic elements (quadratic sides
    subdivided once), with their values."""
    cells = np.concatenate([np.hstack([np.full((len(b.cells), 1), b.cells.shape[1]),
                                       b.cells]).ravel() for b, _ in solids])
    types = np.concatenate([np.full(len(b.cells), b.vtk, np.uint8) for b, _ in solids])
    grid = pv.UnstructuredGrid(cells.astype(np.int64), types, points)
    if point_values is not None:
        grid.point_data[VALUES] = point_values
    elif all(v is not None for _, v in solids):
        grid.cell_data[VALUES] = np.concatenate([v for _, v in solids]).astype(np.float32)
    from vtkmodules.vtkFiltersGeometry import vtkDataSetSurfaceFilter
    surface = vtkDataSetSurfaceFilter()
    surface.SetNonlinearSubdivisionLevel(1)
    surface.SetInputData(grid)
    surface.Update()
    return pv.wrap(surface.GetOutput())


def outline(pv: Any, bounds: Any) -> Any:
    """The edges of a bounding box (xmin, xmax, ymin, ymax, zmin, zmax)."""
    return pv.Box(bounds=bounds, level=0).extract_all_edges()


def nodes_of(pv: Any, geoms: List[GeomMeshes]) -> Any:
    """Every node of the geoms as a point, with its values."""
    points = np.concatenate([g.points for g in geoms])
    mesh = pv.PolyData(points)  # one vertex per point
    if all(g.point_values is not None for g in geoms):
        mesh.point_data[VALUES] = np.concatenate([g.point_values for g in geoms])
    return mesh
