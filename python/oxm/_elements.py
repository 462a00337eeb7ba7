"""Element types: how an element record's connectivity divides into
elements, and the matching meshio and VTK cell types. The one table every
part of the package uses (reader shapes, meshes out and in).

Connectivity conventions of this package (the library stores the integers
unchanged):
- node references count from 0, into the geom's node set;
- fixed-size types store their elements' nodes one element after another;
- polygons and strips (variable size) store, per element, its node count
  followed by its nodes: [3, a, b, c, 4, d, e, f, g] is a triangle and a
  quadrilateral. A line strip of k nodes is k - 1 segments; a triangle
  strip of k nodes k - 2 triangles (every other one reversed, so that all
  face the same way); a quadrilateral strip of k nodes (pairs of nodes
  across the strip, k even) (k - 2) / 2 quadrilaterals.
"""
from __future__ import annotations

from typing import Dict, List, NamedTuple, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

IntArray = npt.NDArray[np.int32]


class ElemShape(NamedTuple):
    nodes: int  # nodes per element; 0 for the variable-size types
    meshio: str  # meshio cell type (of the cells a strip expands into)
    vtk: int  # VTK cell type of those cells
    strip: Optional[str] = None  # "line", "tri" or "quad" for strips


ELEMENTS: Dict[int, ElemShape] = {
    2000: ElemShape(1, "vertex", 1),  # OXR_ELEM_POINTS
    2001: ElemShape(2, "line", 3),  # OXR_ELEM_LINELIST
    2002: ElemShape(0, "line", 3, "line"),  # OXR_ELEM_LINESTRIP
    2003: ElemShape(0, "polygon", 7),  # OXR_ELEM_POLYGONS
    2004: ElemShape(3, "triangle", 5),  # OXR_ELEM_TRILIST
    2005: ElemShape(0, "triangle", 5, "tri"),  # OXR_ELEM_TRISTRIP
    2006: ElemShape(4, "quad", 9),  # OXR_ELEM_QUADLIST
    2007: ElemShape(0, "quad", 9, "quad"),  # OXR_ELEM_QUADSTRIP
    2008: ElemShape(3, "line3", 21),  # OXR_ELEM_LINE3LIST
    2009: ElemShape(6, "triangle6", 22),  # OXR_ELEM_TRI6LIST
    2010: ElemShape(8, "quad8", 23),  # OXR_ELEM_QUAD8LIST
    2011: ElemShape(4, "tetra", 10),  # OXR_ELEM_TETLIST
    2012: ElemShape(5, "pyramid", 14),  # OXR_ELEM_PYRLIST
    2013: ElemShape(6, "wedge", 13),  # OXR_ELEM_WEDGELIST
    2014: ElemShape(8, "hexahedron", 12),  # OXR_ELEM_HEXLIST
}
# meshio cell type -> element type, for the types a mesh can bring in.
FROM_MESHIO: Dict[str, int] = {s.meshio: t for t, s in ELEMENTS.items() if s.strip is None}


def shape_connectivity(elem_type: int, conn: IntArray, count: int) -> IntArray:
    """(count, nodes) for the fixed-size types when the length fits, else
    the flat list."""
    shape = ELEMENTS.get(elem_type)
    if shape and shape.nodes and conn.size == count * shape.nodes:
        return conn.reshape(count, shape.nodes)
    return conn


def count_elements(conn: IntArray) -> int:
    """The number of count-prefixed elements `conn` holds exactly;
    ValueError when its counts and node lists do not match."""
    pos, n = 0, 0
    while pos < conn.size:
        k = int(conn[pos])
        if k < 0 or pos + 1 + k > conn.size:
            raise ValueError("connectivity: element counts and node lists do not match")
        pos, n = pos + 1 + k, n + 1
    return n


def split(conn: Sequence[int] | IntArray, count: int) -> List[IntArray]:
    """The node lists of `count` count-prefixed elements; ValueError when
    the list does not hold exactly that."""
    flat = np.asarray(conn, np.int32).ravel()
    out, pos = [], 0
    for _ in range(count):
        if pos >= flat.size or flat[pos] < 0 or pos + 1 + flat[pos] > flat.size:
            raise ValueError("connectivity does not hold the announced elements")
        n = int(flat[pos])
        out.append(flat[pos + 1: pos + 1 + n])
        pos += 1 + n
    if pos != flat.size:
        raise ValueError("connectivity holds more than the announced elements")
    return out


def _strip_cells(kind: str, nodes: IntArray) -> IntArray:
    k = nodes.size
    if kind == "line":
        return np.stack([nodes[:-1], nodes[1:]], axis=1) if k >= 2 else np.empty((0, 2), np.int32)
    if kind == "tri":
        if k < 3:
            return np.empty((0, 3), np.int32)
        tris = np.stack([nodes[:-2], nodes[1:-1], nodes[2:]], axis=1)
        tris[1::2, :2] = tris[1::2, 1::-1]  # every other triangle reversed
        return tris
    pairs = nodes[: k - k % 2].reshape(-1, 2)
    return np.stack([pairs[:-1, 0], pairs[:-1, 1], pairs[1:, 1], pairs[1:, 0]], axis=1)


class CellBlock(NamedTuple):
    meshio: str
    vtk: int
    cells: IntArray  # (n, nodes per cell)
    owners: IntArray  # the element of the record each cell comes from


def cell_blocks(elem_type: int, conn: IntArray, count: int) -> List[CellBlock]:
    """The cells of one element record, in blocks of one cell type and size
    (strips expanded, polygons grouped by size); ValueError for a type or a
    connectivity this table cannot read."""
    shape = ELEMENTS.get(elem_type)
    if shape is None:
        raise ValueError(f"element type {elem_type} has no cell type")
    flat = np.asarray(conn, np.int32).ravel()
    if shape.nodes:
        if flat.size != count * shape.nodes:
            raise ValueError(f"{count} elements of type {elem_type} need "
                             f"{count * shape.nodes} node references, not {flat.size}")
        cells = flat.reshape(count, shape.nodes)
        return [CellBlock(shape.meshio, shape.vtk, cells, np.arange(count, dtype=np.int32))]
    groups: Dict[int, Tuple[List[IntArray], List[int]]] = {}
    for element, nodes in enumerate(split(flat, count)):
        cells = _strip_cells(shape.strip, nodes) if shape.strip else nodes.reshape(1, -1)
        if len(cells):
            lists, owners = groups.setdefault(cells.shape[1], ([], []))
            lists.append(cells)
            owners += [element] * len(cells)
    return [CellBlock(shape.meshio, shape.vtk, np.concatenate(lists), np.array(owners, np.int32))
            for _, (lists, owners) in sorted(groups.items())]


def from_cells(cell_type: str, cells: npt.ArrayLike) -> Tuple[int, IntArray, int]:
    """(element type, flat connectivity, element count) for a block of
    meshio cells; polygons are stored count-prefixed."""
    if cell_type not in FROM_MESHIO:
        raise ValueError(f"meshio cell type {cell_type!r} has no element type")
    elem_type = FROM_MESHIO[cell_type]
    data = np.asarray(cells, np.int32)
    if data.ndim != 2:
        raise ValueError(f"{cell_type} cells must be a 2-D array")
    if ELEMENTS[elem_type].nodes == 0:
        sizes = np.full((len(data), 1), data.shape[1], np.int32)
        return elem_type, np.hstack([sizes, data]).ravel(), len(data)
    return elem_type, np.ascontiguousarray(data).ravel(), len(data)
