"""Writing a scene file: ``SceneWriter`` and ``create``.

Every method takes plain values and numpy arrays (any numeric dtype and
layout, converted once to the library's 32-bit types), checks them against
their counts before the library sees them (ValueError or TypeError naming
the argument) and returns the record index it wrote. Indices default to the
next free one of their family.
"""
from __future__ import annotations

import errno
import os
from ctypes import byref, c_int
from typing import Any, Dict, List, Mapping, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _capi, attrs as _attrs
from ._capi import call, operation
from ._elements import ELEMENTS, count_elements
from ._errors import ScnError
from ._file import PathLike
from ._records import COMPONENTS, EXTENT_WIDTH, PIXEL_BYTES
from .enums import AnimLoop, AnimRun, Centering, ColorSpace, PartType, RepType, VarKind

Attrs = Optional[Mapping[Any, Any]]
ArrayLike = npt.ArrayLike
_INT32 = (-2 ** 31, 2 ** 31 - 1)
_PIXEL_FORMATS = {1: 2, 2: 4, 3: 8, 4: 16}  # channels -> L, LA, RGB, RGBA


def _array(name: str, value: ArrayLike, dtype: Any, kinds: str) -> Any:
    """`value` as a C-contiguous array of `dtype`; TypeError naming the
    argument when its values are not of `kinds` (numpy dtype kinds)."""
    arr = np.asarray(value)
    if arr.size == 0 and arr.dtype.kind not in kinds:
        arr = arr.astype(dtype)
    if arr.dtype.kind not in kinds:
        what = "integers" if "f" not in kinds else "numbers"
        raise TypeError(f"{name}: {what} expected, got values of type {arr.dtype}")
    if dtype is np.int32 and arr.size and (arr.min() < _INT32[0] or arr.max() > _INT32[1]):
        raise ValueError(f"{name}: values outside the 32-bit range")
    return np.ascontiguousarray(arr, dtype)


def _ints(name: str, value: Optional[ArrayLike], length: Optional[int] = None) -> Any:
    """A flat int32 array, of `length` entries when given."""
    arr = _array(name, [] if value is None else value, np.int32, "biu").ravel()
    if length is not None and arr.size != length:
        raise ValueError(f"{name}: {length} values expected, got {arr.size}")
    return arr


def _floats(name: str, value: ArrayLike, shape: Optional[Tuple[int, ...]] = None) -> Any:
    arr = _array(name, value, np.float32, "biuf")
    if shape is not None and arr.shape != shape:
        raise ValueError(f"{name}: shape {shape} expected, got {arr.shape}")
    return arr


def _ptr(arr: Any) -> Optional[int]:
    return int(arr.ctypes.data) if arr.size else None


def _text(name: str, value: Union[str, bytes, None], width: int) -> bytes:
    if value is None:
        return b""
    if isinstance(value, str):
        value = value.encode("utf-8")
    if not isinstance(value, (bytes, bytearray)):
        raise TypeError(f"{name}: str or bytes expected, got {type(value).__name__}")
    if len(value) > width:
        raise ValueError(f"{name}: at most {width} bytes, got {len(value)}")
    if b"\0" in value:
        raise ValueError(f"{name}: a text without NUL bytes expected")
    return bytes(value)


def _frames(sources: ArrayLike, steps: ArrayLike) -> Tuple[Any, Any]:
    src = _ints("sources", sources)
    return src, _ints("steps", steps, src.size)


class SceneWriter(_capi.HandleOwner):
    """A scene file being written. Use it in a ``with`` block (or call
    ``close()``); each method writes one record and returns its index.

    >>> with oxm.create("out.h5") as w:
    ...     v = w.variable(name="temperature", extents=(280.0, 305.0))
    ...     n = w.node_set(coords=[[0, 0, 0], [1, 0, 0], [0, 1, 0]], n_vars=1)
    ...     slot = w.node_var(n, 0, v, values=[280.0, 290.0, 305.0])
    ...     lst = w.elem_list(n_records=1)
    ...     rec = w.elem(lst, 0, oxm.ElemType.OXR_ELEM_TRILIST, [[0, 1, 2]])
    ...     g = w.geom(node_set=n, elem_list=lst)
    """

    def __init__(self, path: PathLike, compression: Optional[str] = "deflate",
                 append: bool = False) -> None:
        self.path = os.fsdecode(os.fspath(path))
        raw = os.fsencode(os.fspath(path))
        self._h: Optional[int] = None
        names = _capi.compression_names()
        wanted = {"deflate": "Deflate", "szip": "Szip", None: None}
        if compression not in wanted:
            raise ValueError(f"compression: 'deflate', 'szip' or None, not {compression!r}")
        method = wanted[compression]
        if method is not None and method not in names:
            raise ValueError(f"compression: {compression!r} is not available here "
                             f"(available: {', '.join(names) or 'none'})")
        folder = os.path.dirname(os.path.abspath(self.path))
        if not os.path.isdir(folder):
            raise FileNotFoundError(errno.ENOENT, os.strerror(errno.ENOENT), self.path)
        with operation:
            h = call("scn_write_begin", raw, int(bool(append)))
            if _capi.file_id(h) < 0:
                lines = _capi.take_diagnostics()
                _capi.close_handle(h)
                raise OSError(errno.EIO, "cannot write a scene file here: "
                              + ("; ".join(lines) or "unknown error"), self.path)
            self._h = h
            call("scn_write_set_compression", h, -1 if method is None else names.index(method))
        self._append = bool(append)
        self._next: Dict[Any, int] = {}
        self._var_kinds: Dict[int, int] = {}
        self._node_sets: Dict[int, Tuple[int, int]] = {}  # n_nodes, n_vars
        self._elem_lists: Dict[int, Tuple[int, int, bool]] = {}  # n_records, n_vars, has_ids
        self._elems: Dict[Tuple[int, int], int] = {}  # element count
        self._scene_vports: Dict[int, int] = {}

    # ---- plumbing ------------------------------------------------------------

    def _handle(self) -> int:
        if self._h is None:
            raise ValueError(f"I/O operation on closed scene writer {self.path!r}")
        return self._h

    def _index(self, family: Any, index: Optional[int]) -> int:
        """The record index to write: `index`, or the next free one of the
        family (in append mode counted from the file first)."""
        if family not in self._next:
            self._next[family] = self._count_in_file(family) if self._append else 0
        if index is None:
            index = self._next[family]
        index = int(index)
        if index < 0:
            raise ValueError(f"index: a record index is not negative, got {index}")
        self._next[family] = max(self._next[family], index + 1)
        return index

    def _count_in_file(self, family: Any) -> int:
        if isinstance(family, str):
            return max(int(call(f"scn_read_{family}_num", self._handle())), 0)
        kind, scene = family[0], family[1]
        if kind not in ("scene_part", "scene_annot", "scene_vport", "scene_aplane", "scene_view"):
            return 0
        counts = [c_int() for _ in range(5)]
        try:
            with operation:
                call("scn_read_scene_info", self._handle(), scene, None,
                     *[byref(c) for c in counts], *[None] * 7)
        except ScnError:
            return 0
        position = ("scene_part", "scene_annot", "scene_vport", "scene_aplane", "scene_view")
        return counts[position.index(kind)].value

    def _attrs(self, kind: int, index: int, items: List[Tuple[int, Any]]) -> None:
        """Writes a record's attributes, encoded (and so checked) before the
        record itself was written."""
        _attrs.write(self._handle(), kind, index, items)

    def _components(self, variable: int) -> int:
        """Floats per value of a variable of this file."""
        kind = self._var_kinds.get(variable)
        if kind is None:
            out = c_int()
            try:
                with operation:
                    call("scn_read_var_info", self._handle(), variable, None, None, None,
                         byref(out), None, None)
            except ScnError:
                raise ValueError(f"variable: variable {variable} has not been written") from None
            kind = self._var_kinds[variable] = out.value
        return COMPONENTS.get(kind, 0)

    def _values(self, variable: int, values: ArrayLike, count: Optional[int]) -> Tuple[int, Any]:
        """(number of values, float32 array) for `variable`: (n,) for
        scalars, (n, components) otherwise."""
        comps = self._components(variable)
        arr = _floats("values", values)
        if comps == 0:
            if arr.size:
                raise ValueError(f"values: variable {variable} stores no values")
            return (count or 0), arr
        n = arr.shape[0] if arr.ndim else 1
        expected = (n,) if comps == 1 else (n, comps)
        if arr.shape != expected and not (comps == 1 and arr.shape == (n, 1)):
            raise ValueError(f"values: shape {expected} expected for a variable of "
                             f"{comps} components, got {arr.shape}")
        if count is not None and n != count:
            raise ValueError(f"values: {count} values expected, got {n}")
        return n, arr

    # ---- file-level ----------------------------------------------------------

    def framework_version(self, version: str) -> None:
        """Records the producer's framework version."""
        with operation:
            call("scn_write_framework_version", self._handle(),
                 _text("version", version, 256))

    # ---- scenes ----------------------------------------------------------------

    def scene(self, index: Optional[int] = None, name: str = "", n_frames: int = 1, *,
              start_frame: int = 0, end_frame: Optional[int] = None, stride: int = 1,
              loop_mode: int = AnimLoop.OXR_ANIM_ONCE, run_mode: int = AnimRun.OXR_ANIM_STOP,
              fps: float = 24.0) -> int:
        """A scene of `n_frames` frames (played from `start_frame` to
        `end_frame`, default the last frame)."""
        last = n_frames - 1 if end_frame is None else end_frame
        name_b = _text("name", name, 256)
        with operation:
            index = self._index("scene", index)
            call("scn_write_scene", self._handle(), index, name_b, int(n_frames),
                 int(start_frame), int(last), int(stride), int(loop_mode), int(run_mode),
                 float(fps))
        return index

    def scene_part(self, scene: int, index: Optional[int] = None, name: str = "",
                   description: str = "", sources: ArrayLike = (), steps: ArrayLike = ()) -> int:
        """Part `index` of a scene: at each frame, the part source and its
        step shown."""
        src, stp = _frames(sources, steps)
        name_b, desc_b = _text("name", name, 256), _text("description", description, 256)
        with operation:
            index = self._index(("scene_part", scene), index)
            call("scn_write_scene_part", self._handle(), scene, index, name_b, desc_b, src.size,
                 _ptr(src), _ptr(stp))
        return index

    def scene_annot(self, scene: int, index: Optional[int] = None, sources: ArrayLike = (),
                    steps: ArrayLike = ()) -> int:
        src, stp = _frames(sources, steps)
        with operation:
            index = self._index(("scene_annot", scene), index)
            call("scn_write_scene_annot", self._handle(), scene, index, src.size, _ptr(src),
                 _ptr(stp))
        return index

    def scene_vport(self, scene: int, index: Optional[int] = None, parts: ArrayLike = (),
                    sources: ArrayLike = (), steps: ArrayLike = ()) -> int:
        """Viewport `index` of a scene: the parts it shows, and at each
        frame the viewport source and its step."""
        src, stp = _frames(sources, steps)
        part_a = _ints("parts", parts)
        with operation:
            index = self._index(("scene_vport", scene), index)
            call("scn_write_scene_vport", self._handle(), scene, index, src.size, part_a.size,
                 _ptr(part_a), _ptr(src), _ptr(stp))
        return index

    def scene_aplane(self, scene: int, index: Optional[int] = None, aplane: int = 0,
                     annots: ArrayLike = ()) -> int:
        """Annotation plane `index` of a scene: record `aplane` with the
        annotations placed on it."""
        ann = _ints("annots", annots)
        with operation:
            index = self._index(("scene_aplane", scene), index)
            call("scn_write_scene_aplane", self._handle(), scene, index, int(aplane), ann.size,
                 _ptr(ann))
        return index

    def scene_view(self, scene: int, index: Optional[int] = None, name: str = "") -> int:
        """A named view of a scene; write it after the scene's viewports
        (it gets one viewport of its own for each)."""
        name_b = _text("name", name, 256)
        with operation:
            index = self._index(("scene_view", scene), index)
            call("scn_write_scene_view", self._handle(), scene, index, name_b)
        return index

    def scene_view_vport(self, scene: int, view: int, vport: int, sources: ArrayLike = (),
                         steps: ArrayLike = ()) -> int:
        """The frames of viewport `vport` in a view."""
        src, stp = _frames(sources, steps)
        with operation:
            call("scn_write_scene_view_vport", self._handle(), scene, view, int(vport), src.size,
                 _ptr(src), _ptr(stp))
        return int(vport)

    # ---- sources ---------------------------------------------------------------

    def _source(self, family: str, index: Optional[int], indices: ArrayLike,
                step_values: Optional[ArrayLike], step_id: int) -> int:
        idx = _ints("indices", indices)
        vals = _floats("step_values", np.arange(idx.size) if step_values is None else step_values,
                       (idx.size,))
        with operation:
            index = self._index(family, index)
            call(f"scn_write_{family}", self._handle(), index, idx.size, int(step_id), _ptr(idx),
                 _ptr(vals))
        return index

    def part_source(self, index: Optional[int] = None, indices: ArrayLike = (),
                    step_values: Optional[ArrayLike] = None, step_id: int = 0) -> int:
        """A part source: the part shown at each step and the step's value
        (default 0, 1, 2, ...)."""
        return self._source("psrc", index, indices, step_values, step_id)

    def annot_source(self, index: Optional[int] = None, indices: ArrayLike = (),
                     step_values: Optional[ArrayLike] = None, step_id: int = 0) -> int:
        return self._source("asrc", index, indices, step_values, step_id)

    def vport_source(self, index: Optional[int] = None, indices: ArrayLike = (),
                     step_values: Optional[ArrayLike] = None, step_id: int = 0) -> int:
        return self._source("vsrc", index, indices, step_values, step_id)

    # ---- parts, reps, render attributes ----------------------------------------

    def part(self, index: Optional[int] = None, name: str = "", description: str = "",
             part_type: int = PartType.OXR_PART_MODEL, static_rep: int = 0,
             dynamic_rep: Optional[int] = None, attrs: Attrs = None) -> int:
        """A part drawn by its static rep and dynamic rep (default: the
        static one)."""
        name_b, desc_b = _text("name", name, 256), _text("description", description, 256)
        dynamic = static_rep if dynamic_rep is None else dynamic_rep
        items = _attrs.encode(1, attrs or {})
        with operation:
            index = self._index("part", index)
            call("scn_write_part", self._handle(), index, name_b, desc_b, int(part_type),
                 int(static_rep), int(dynamic))
            self._attrs(1, index, items)
        return index

    def rep(self, index: Optional[int] = None, geoms: ArrayLike = (),
            rep_type: int = RepType.OXR_REP_FULL, rend_attr: int = 0) -> int:
        """A rep: the geoms it draws and the render attribute it uses."""
        g = _ints("geoms", geoms)
        with operation:
            index = self._index("rep", index)
            call("scn_write_rep", self._handle(), index, g.size, int(rep_type), _ptr(g),
                 int(rend_attr))
        return index

    def rend_attr(self, index: Optional[int] = None, attrs: Attrs = None) -> int:
        """A render attribute; its content is its tagged attributes."""
        items = _attrs.encode(2, attrs or {})
        with operation:
            index = self._index("rendAttr", index)
            call("scn_write_rendAttr", self._handle(), index)
            self._attrs(2, index, items)
        return index

    # ---- geometry ----------------------------------------------------------------

    def geom(self, index: Optional[int] = None, node_set: int = 0, elem_list: int = 0,
             extents: Optional[Tuple[ArrayLike, ArrayLike]] = None, empty: bool = False,
             attrs: Attrs = None) -> int:
        """A geom: a node set and an element list, with optional extents
        (minimum, maximum), 3 floats each."""
        lo = hi = np.empty(0, np.float32)
        if extents is not None:
            lo, hi = (_floats(f"extents[{i}]", e, (3,)) for i, e in enumerate(extents))
        items = _attrs.encode(7, attrs or {})
        with operation:
            index = self._index("geom", index)
            call("scn_write_geom", self._handle(), index, int(node_set), int(elem_list),
                 int(extents is not None), int(bool(empty)), _ptr(lo), _ptr(hi))
            self._attrs(7, index, items)
        return index

    def node_set(self, index: Optional[int] = None, coords: ArrayLike = np.empty((0, 3)),
                 ids: Optional[ArrayLike] = None, n_vars: int = 0, normal_index: int = -1) -> int:
        """A node set: (n, dimension) coordinates, optional node ids, and
        the number of variable slots that node_var fills."""
        xyz = _floats("coords", coords)
        if xyz.ndim != 2:
            raise ValueError(f"coords: an (n, dimension) array expected, got shape {xyz.shape}")
        n = xyz.shape[0]
        id_a = None if ids is None else _ints("ids", ids, n)
        with operation:
            index = self._index("nodes", index)
            call("scn_write_nodes", self._handle(), index, n, xyz.shape[1], int(id_a is not None),
                 int(n_vars), int(normal_index), _ptr(xyz),
                 None if id_a is None else _ptr(id_a))
        self._node_sets[index] = (n, int(n_vars))
        return index

    def node_var(self, node_set: int, slot: int, variable: int, values: ArrayLike,
                 undefined: Optional[float] = None) -> int:
        """The values of `variable` in slot `slot` of a node set: (n,) for
        scalars, (n, components) otherwise, one per node. Values equal to
        `undefined` mark undefined ones."""
        known = self._node_sets.get(node_set)
        if known and not 0 <= slot < known[1]:
            raise ValueError(f"slot: node set {node_set} has {known[1]} variable slots")
        n, vals = self._values(variable, values, known[0] if known else None)
        with operation:
            call("scn_write_nodes_var", self._handle(), node_set, int(slot), int(variable), n,
                 int(undefined is not None), float(undefined or 0.0), _ptr(vals))
        return int(slot)

    def elem_list(self, index: Optional[int] = None, n_records: int = 1, n_vars: int = 0,
                  normal_index: int = -1, has_ids: bool = False) -> int:
        """An element list of `n_records` element records (written with
        elem) and `n_vars` variable slots (elem_list_var, elem_var)."""
        with operation:
            index = self._index("elem_list", index)
            call("scn_write_elem_list", self._handle(), index, int(n_records), int(n_vars),
                 int(normal_index), int(bool(has_ids)))
        self._elem_lists[index] = (int(n_records), int(n_vars), bool(has_ids))
        return index

    def elem_list_var(self, elem_list: int, slot: int, variable: int,
                      undefined: Optional[float] = None) -> int:
        """Declares variable slot `slot` of an element list."""
        known = self._elem_lists.get(elem_list)
        if known and not 0 <= slot < known[1]:
            raise ValueError(f"slot: element list {elem_list} has {known[1]} variable slots")
        with operation:
            call("scn_write_elem_list_var_info", self._handle(), elem_list, int(slot),
                 int(variable), int(undefined is not None), float(undefined or 0.0))
        return int(slot)

    def elem(self, elem_list: int, index: int, elem_type: int, connectivity: Any,
             ids: Optional[ArrayLike] = None) -> int:
        """Element record `index` of a list: elements of one type. For the
        fixed-size types the connectivity is (count, nodes per element) or
        its flat form; for polygons and strips a list of node lists, or the
        flat form of each element's node count followed by its nodes."""
        shape = ELEMENTS.get(int(elem_type))
        if shape is None:
            raise ValueError(f"elem_type: {elem_type} is not an element type")
        known = self._elem_lists.get(elem_list)
        if known and not 0 <= index < known[0]:
            raise ValueError(f"index: element list {elem_list} has {known[0]} records")
        if shape.nodes:
            conn = _ints("connectivity", connectivity)
            if conn.size % shape.nodes:
                raise ValueError(f"connectivity: a multiple of {shape.nodes} node references "
                                 f"expected, got {conn.size}")
            count = conn.size // shape.nodes
        else:
            if isinstance(connectivity, (list, tuple)) and connectivity and \
                    np.ndim(connectivity[0]) == 1:
                parts = [_ints(f"connectivity[{i}]", c) for i, c in enumerate(connectivity)]
                conn = np.concatenate([np.r_[np.int32(p.size), p] for p in parts]).astype(np.int32)
            else:
                conn = _ints("connectivity", connectivity)
            count = count_elements(conn)
        if known and known[2] and ids is None:
            raise ValueError(f"ids: element list {elem_list} has element ids")
        if known and not known[2] and ids is not None:
            raise ValueError(f"ids: element list {elem_list} was written without element ids")
        id_a = _ints("ids", [] if ids is None else ids, None if ids is None else count)
        with operation:
            call("scn_write_elem", self._handle(), elem_list, int(index), int(elem_type), count,
                 conn.size, _ptr(conn), _ptr(id_a))
        self._elems[(elem_list, int(index))] = count
        return int(index)

    def elem_var(self, elem_list: int, elem: int, slot: int, variable: int,
                 values: ArrayLike) -> int:
        """The values of `variable` in slot `slot` of an element record, one
        per element: (count,) for scalars, (count, components) otherwise."""
        known = self._elem_lists.get(elem_list)
        if known and not 0 <= slot < known[1]:
            raise ValueError(f"slot: element list {elem_list} has {known[1]} variable slots")
        n, vals = self._values(variable, values, self._elems.get((elem_list, elem)))
        with operation:
            call("scn_write_elem_var", self._handle(), elem_list, int(elem), int(slot),
                 int(variable), n, _ptr(vals))
        return int(slot)

    # ---- variables ---------------------------------------------------------------

    def variable(self, index: Optional[int] = None, name: str = "", description: str = "",
                 centering: int = Centering.OXR_CENTER_NODE,
                 kind: int = VarKind.OXR_VAR_SCALAR,
                 extents: Optional[Tuple[ArrayLike, ArrayLike]] = None) -> int:
        """A variable; `extents` is (minimum, maximum): one float each for
        scalar kinds, 3 each for vector kinds."""
        width = EXTENT_WIDTH.get(int(kind), 0)
        lo = hi = np.empty(0, np.float32)
        if extents is not None:
            if not width:
                raise ValueError(f"extents: a variable of kind {kind} has none")
            lo, hi = (_floats(f"extents[{i}]", np.ravel(e), (width,))
                      for i, e in enumerate(extents))
        name_b, desc_b = _text("name", name, 64), _text("description", description, 128)
        with operation:
            index = self._index("var", index)
            call("scn_write_var", self._handle(), index, name_b, desc_b, int(centering),
                 int(kind), int(extents is not None), 0, _ptr(lo), _ptr(hi))
        self._var_kinds[index] = int(kind)
        return index

    def palette(self, variable: int, name: str = "", channels: Sequence[Any] = (),
                color_space: int = ColorSpace.OXR_PALETTE_RGB, interpolation: int = 10,
                value_range: Tuple[float, float] = (0.0, 1.0), n_samples: int = 256) -> int:
        """The palette of a variable: up to four (control points, colours)
        pairs, red or hue, green or saturation, blue or value, alpha."""
        if len(channels) > 4:
            raise ValueError(f"channels: at most 4, got {len(channels)}")
        arrays = []
        for c, pair in enumerate(list(channels) + [((), ())] * (4 - len(channels))):
            control = _floats(f"channels[{c}]", pair[0]).ravel()
            arrays += [control, _floats(f"channels[{c}]", pair[1], control.shape)]
        name_b = _text("name", name, 64)
        with operation:
            call("scn_write_var_palette", self._handle(), int(variable), name_b,
                 int(interpolation), int(color_space), float(value_range[0]),
                 float(value_range[1]), int(n_samples), *[a.size for a in arrays[::2]],
                 *[_ptr(a) for a in arrays])
        return int(variable)

    # ---- viewports, annotation planes, annotations, images, queries, notes ------

    def vport(self, index: Optional[int] = None, parts: ArrayLike = (),
              attrs: Attrs = None) -> int:
        """A viewport showing `parts`; its camera, lights and axes are
        tagged attributes."""
        p = _ints("parts", parts)
        items = _attrs.encode(3, attrs or {})
        with operation:
            index = self._index("vport", index)
            call("scn_write_vport", self._handle(), index, p.size, _ptr(p))
            self._attrs(3, index, items)
        return index

    def aplane(self, index: Optional[int] = None, annots: ArrayLike = (),
               attrs: Attrs = None) -> int:
        a = _ints("annots", annots)
        items = _attrs.encode(4, attrs or {})
        with operation:
            index = self._index("aplane", index)
            call("scn_write_aplane", self._handle(), index, a.size, _ptr(a))
            self._attrs(4, index, items)
        return index

    def annot(self, index: Optional[int] = None, annot_type: int = 10,
              queries: ArrayLike = (), mono_image: int = -1, stereo_image: int = -1,
              attrs: Attrs = None) -> int:
        """An annotation (text, image, plot, legend: `annot_type`)."""
        q = _ints("queries", queries)
        items = _attrs.encode(5, attrs or {})
        with operation:
            index = self._index("annot", index)
            call("scn_write_annot", self._handle(), index, int(annot_type), q.size,
                 int(mono_image), int(stereo_image), _ptr(q))
            self._attrs(5, index, items)
        return index

    def image(self, index: Optional[int] = None, pixels: ArrayLike = np.empty((0, 0), np.uint8),
              depth: Optional[ArrayLike] = None, pixel_format: Optional[int] = None,
              attrs: Attrs = None) -> int:
        """An image of (height, width) or (height, width, channels) bytes;
        the format follows from the channels (1 luminance, 2 luminance and
        alpha, 3 RGB, 4 RGBA) unless given. `depth`: (height, width)."""
        px = _array("pixels", pixels, np.int64, "biu")
        if px.ndim not in (2, 3) or (px.ndim == 3 and px.shape[2] not in _PIXEL_FORMATS):
            raise ValueError(f"pixels: (height, width[, 1-4]) expected, got shape {px.shape}")
        if px.size and (px.min() < 0 or px.max() > 255):
            raise ValueError("pixels: byte values 0-255 expected")
        height, width = px.shape[:2]
        channels = px.shape[2] if px.ndim == 3 else 1
        fmt = _PIXEL_FORMATS[channels] if pixel_format is None else int(pixel_format)
        if PIXEL_BYTES.get(fmt) != channels:
            raise ValueError(f"pixel_format: {fmt} does not store {channels} bytes per pixel")
        data = np.ascontiguousarray(px, np.uint8)
        dep = None if depth is None else _floats("depth", depth, (height, width))
        items = _attrs.encode(6, attrs or {})
        with operation:
            index = self._index("image", index)
            call("scn_write_image", self._handle(), index, width, height, fmt,
                 int(dep is not None), _ptr(data), None if dep is None else _ptr(dep))
            self._attrs(6, index, items)
        return index

    def query(self, index: Optional[int] = None, name: str = "", x_label: str = "",
              y_label: str = "", part: int = 0) -> int:
        """A plot query sampling `part`."""
        texts = [_text(n, v, 256) for n, v in (("name", name), ("x_label", x_label),
                                                ("y_label", y_label))]
        with operation:
            index = self._index("query", index)
            call("scn_write_query", self._handle(), index, *texts, int(part))
        return index

    def note(self, index: Optional[int] = None, text: str = "") -> int:
        """A note of free text (notes carry no tagged attributes)."""
        data = text.encode("utf-8") if isinstance(text, str) else text
        if not isinstance(data, (bytes, bytearray)):
            raise TypeError(f"text: str or bytes expected, got {type(text).__name__}")
        with operation:
            index = self._index("note", index)
            call("scn_write_note", self._handle(), index, len(data), bytes(data))
        return index

    def attrs(self, kind: int, index: int, attrs: Mapping[Any, Any]) -> None:
        """Writes the tagged attributes of an existing record of owner kind
        `kind` (oxm.OwnerKind), replacing those it had."""
        items = _attrs.encode(int(kind), attrs)
        with operation:
            _attrs.write(self._handle(), int(kind), int(index), items)


def create(path: PathLike, compression: Optional[str] = "deflate",
           append: bool = False) -> SceneWriter:
    """Creates the scene file at `path` (or adds to it with `append`) and
    returns its SceneWriter. `compression`: "deflate" (default), "szip"
    where available, or None; it applies to arrays of more than 100 values.

    >>> with oxm.create("out.h5") as w:
    ...     scene = w.scene(name="overview", n_frames=3)
    ...     part = w.part(name="plate", attrs={"OXR_PART_CLIP_TYPE": 103})
    """
    return SceneWriter(path, compression, append)
