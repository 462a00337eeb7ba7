"""The records of a scene file as small read-only objects.

Each family has a reader ``read_<family>(file, index...)`` that makes one
record from the library's info call; bulk arrays are read on first access
(``functools.cached_property``) into numpy arrays that numpy allocates and
the library fills in place, and kept.
"""
from __future__ import annotations

import ctypes
from dataclasses import dataclass, field, fields
from functools import cached_property
from typing import TYPE_CHECKING, Any, Callable, Dict, Generic, Iterator, List, Optional, Sequence
from typing import Tuple, Type, TypeVar, Union, overload

import numpy as np
import numpy.typing as npt

from . import attrs as _attrs
from ._capi import call, operation, text
from ._elements import shape_connectivity
from ._errors import ScnError
from .enums import (AnimLoop, AnimRun, AnnotType, Centering, ColorSpace, ElemType, PartType,
                    PixelFormat, RepType, VarKind)

if TYPE_CHECKING:
    from ._file import SceneFile

IntArray = npt.NDArray[np.int32]
FloatArray = npt.NDArray[np.float32]
R = TypeVar("R")

# Floats per value of a variable, by its kind; other kinds store none.
COMPONENTS = {3100: 1, 3101: 3, 3102: 3, 3103: 2, 3104: 6}
# Floats in each of a variable's minimum and maximum, by its kind (scalar
# kinds one, vector kinds three); other kinds have no extents.
EXTENT_WIDTH = {3100: 1, 3103: 1, 3101: 3, 3102: 3, 3104: 3}
# Bytes per pixel, by pixel format.
PIXEL_BYTES = {1: 1, 2: 1, 4: 2, 8: 3, 16: 4}


_FIELDS: Dict[type, Tuple[str, ...]] = {}


def _make(cls: Type[R], *values: Any) -> R:
    """A record from its field values in order, without the dataclass
    initialiser's per-field checks (records are made once per read)."""
    names = _FIELDS.get(cls)
    if names is None:
        names = _FIELDS[cls] = tuple(f.name for f in fields(cls))  # type: ignore[arg-type]
    obj = object.__new__(cls)
    obj.__dict__.update(zip(names, values))
    return obj


def _field(buf: Any, width: int = 256) -> str:
    """A text field of `width` bytes that the library copied into `buf`:
    up to its first NUL, never past the field (a full field has none)."""
    buf[width] = b"\0"
    return text(buf.value)


def _member(cls: Any, value: int) -> Any:
    """The enum member of the value, or the int when it has none."""
    return cls._value2member_map_.get(value, value)


class Family(Generic[R], Sequence[R]):
    """The records of one family (or of one record's sub-records): len(),
    indexing (negative indices and slices too) and iteration; each access
    reads the record."""

    __slots__ = ("_count", "_read", "_n", "_what")

    def __init__(self, what: str, count: Callable[[], int], read: Callable[[int], R]) -> None:
        self._what = what
        self._count = count
        self._read = read
        self._n: Optional[int] = None

    def __len__(self) -> int:
        if self._n is None:
            self._n = max(int(self._count()), 0)
        return self._n

    @overload
    def __getitem__(self, index: int) -> R: ...

    @overload
    def __getitem__(self, index: slice) -> List[R]: ...

    def __getitem__(self, index: Union[int, slice]) -> Union[R, List[R]]:
        if isinstance(index, slice):
            return [self._read(i) for i in range(*index.indices(len(self)))]
        n = self._n if self._n is not None else len(self)
        i = index if type(index) is int else index.__index__()
        if i < 0:
            i += n
        if not 0 <= i < n:
            raise IndexError(f"{self._what} index {index} out of range ({n} records)")
        return self._read(i)

    def __iter__(self) -> Iterator[R]:
        for i in range(len(self)):
            yield self._read(i)

    def read(self, index: int) -> R:
        """Record `index` whether or not the counter reaches it (counters
        count the records written, not the highest index); ScnError when
        the file has no such record."""
        return self._read(int(index))

    def __repr__(self) -> str:
        return f"<{self._what}: {len(self)} records>"


def _fill(f: SceneFile, dtype: Any, shape: Tuple[int, ...], entry: str,
          *args: Any) -> npt.NDArray[Any]:
    """A new array of `shape` that `entry` (called with the handle, `args`
    and the array's address) fills; an empty one without calling the
    library when the shape holds nothing. Zero-filled (lazily, by calloc):
    a dataset created but never written leaves the array as it was."""
    if min(shape, default=0) < 0:
        raise ScnError(f"{entry}: the file announces a negative count {shape}")
    arr = np.zeros(shape, dtype)
    if arr.size:
        with operation:
            call(entry, f._handle(), *args, arr.ctypes.data)
    return arr


def _fill_pair(f: SceneFile, n: int, entry: str, *args: Any,
               second: Any = np.int32) -> Tuple[IntArray, Any]:
    """Two arrays of `n` entries that one library call fills (frame arrays,
    source steps)."""
    a, b = np.zeros(max(n, 0), np.int32), np.zeros(max(n, 0), second)
    if n > 0:
        with operation:
            call(entry, f._handle(), *args, a.ctypes.data, b.ctypes.data)
    return a, b


def _read_attrs(f: SceneFile, kind: int, index: int) -> _attrs.Attrs:
    with operation:
        return _attrs.read(f._handle(), kind, index)


# ---- scenes ----------------------------------------------------------------

@dataclass(frozen=True)
class Scene:
    """A scene: an animation over frames, with its sub-records."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    name: str
    n_frames: int
    start_frame: int
    end_frame: int
    stride: int
    loop_mode: Union[AnimLoop, int]
    run_mode: Union[AnimRun, int]
    fps: float
    n_parts: int
    n_annots: int
    n_vports: int
    n_aplanes: int
    n_views: int

    @cached_property
    def parts(self) -> Family[ScenePart]:
        return Family("scene part", lambda: self.n_parts, lambda i: read_scene_part(self, i))

    @cached_property
    def annots(self) -> Family[SceneAnnot]:
        return Family("scene annot", lambda: self.n_annots, lambda i: read_scene_annot(self, i))

    @cached_property
    def vports(self) -> Family[SceneVport]:
        return Family("scene vport", lambda: self.n_vports, lambda i: read_scene_vport(self, i))

    @cached_property
    def aplanes(self) -> Family[SceneAplane]:
        return Family("scene aplane", lambda: self.n_aplanes,
                      lambda i: read_scene_aplane(self, i))

    @cached_property
    def views(self) -> Family[SceneView]:
        return Family("scene view", lambda: self.n_views, lambda i: read_scene_view(self, i))

    def render(self, frame: int = 0, size: Tuple[int, int] = (640, 480),
               vport: Optional[int] = None, view: Optional[int] = None) -> Any:
        """A frame of the scene as an RGB array (see SceneFile.render)."""
        return self.file.render(self.index, frame, size, vport, view)

    def show(self, frame: int = 0, size: Tuple[int, int] = (640, 480),
             vport: Optional[int] = None, view: Optional[int] = None) -> None:
        """Displays a frame of the scene in Jupyter."""
        self.file.show(self.index, frame, size, vport, view)

    def _repr_png_(self) -> Optional[bytes]:
        """Jupyter shows a scene as its first played frame (as text when
        pyvista is not installed)."""
        try:
            from .render import played_frames, to_png
            return to_png(self.render(played_frames(self.file, self.index)[0], (480, 360)))
        except ImportError:
            return None


def read_scene(f: SceneFile, index: int) -> Scene:
    i, a = f._ints, f._int_addr
    with operation:
        call("scn_read_scene_info", f._handle(), index, f._text1, *a[:11], f._float_addr[0])
        return _make(Scene, f, index, _field(f._text1), i[5], i[6], i[7], i[8],
                     _member(AnimLoop, i[9]), _member(AnimRun, i[10]), f._floats[0],
                     i[0], i[1], i[2], i[3], i[4])


class _Frames:
    """Mixin of the sub-records with per-frame arrays: the source record and
    the step within it of every frame, read together on first access."""

    scene: Scene
    index: int
    n_frames: int
    _frame_entry = ""

    @cached_property
    def _frames(self) -> Tuple[IntArray, IntArray]:
        return _fill_pair(self.scene.file, self.n_frames, self._frame_entry, *self._frame_args())

    def _frame_args(self) -> Tuple[int, ...]:
        return (self.scene.index, self.index)

    @property
    def source_indices(self) -> IntArray:
        """Record index of the source shown at each frame."""
        return self._frames[0]

    @property
    def step_nums(self) -> IntArray:
        """Step within that source at each frame."""
        return self._frames[1]


@dataclass(frozen=True)
class ScenePart(_Frames):
    """A part of a scene: at each frame, the part source and its step shown."""

    scene: Scene = field(repr=False, compare=False)
    index: int
    name: str
    description: str
    n_frames: int
    _frame_entry = "scn_read_scene_part_frame"


def read_scene_part(s: Scene, index: int) -> ScenePart:
    f = s.file
    with operation:
        call("scn_read_scene_part_info", f._handle(), s.index, index, f._text1, f._text2,
             f._int_addr[0])
        return _make(ScenePart, s, index, _field(f._text1), _field(f._text2),
                         f._ints[0])


@dataclass(frozen=True)
class SceneAnnot(_Frames):
    """An annotation of a scene: at each frame, the annotation source and its
    step shown."""

    scene: Scene = field(repr=False, compare=False)
    index: int
    n_frames: int
    _frame_entry = "scn_read_scene_annot_frame"


def read_scene_annot(s: Scene, index: int) -> SceneAnnot:
    f = s.file
    with operation:
        call("scn_read_scene_annot_info", f._handle(), s.index, index, f._int_addr[0])
        return _make(SceneAnnot, s, index, f._ints[0])


@dataclass(frozen=True)
class SceneVport(_Frames):
    """A viewport of a scene: the parts it shows, and at each frame the
    viewport source and its step."""

    scene: Scene = field(repr=False, compare=False)
    index: int
    n_frames: int
    n_parts: int
    _frame_entry = "scn_read_scene_vport_frame"

    @cached_property
    def part_indices(self) -> IntArray:
        """The parts the viewport shows."""
        return _fill(self.scene.file, np.int32, (self.n_parts,), "scn_read_scene_vport_indices",
                     self.scene.index, self.index)


def read_scene_vport(s: Scene, index: int) -> SceneVport:
    f = s.file
    with operation:
        call("scn_read_scene_vport_info", f._handle(), s.index, index, *f._int_addr[:2])
        return _make(SceneVport, s, index, f._ints[0], f._ints[1])


@dataclass(frozen=True)
class SceneAplane:
    """An annotation plane of a scene: plane record `aplane` and the
    annotations placed on it."""

    scene: Scene = field(repr=False, compare=False)
    index: int
    aplane: int
    n_annots: int

    @cached_property
    def annot_indices(self) -> IntArray:
        """The annotations placed on the plane."""
        return _fill(self.scene.file, np.int32, (self.n_annots,), "scn_read_scene_aplane_indices",
                     self.scene.index, self.index)


def read_scene_aplane(s: Scene, index: int) -> SceneAplane:
    f = s.file
    with operation:
        call("scn_read_scene_aplane_info", f._handle(), s.index, index, *f._int_addr[:2])
        return _make(SceneAplane, s, index, f._ints[0], f._ints[1])


@dataclass(frozen=True)
class SceneView:
    """A named view: for every viewport of the scene, its own frames."""

    scene: Scene = field(repr=False, compare=False)
    index: int
    name: str

    @cached_property
    def vports(self) -> Family[ViewVport]:
        return Family("view vport", lambda: self.scene.n_vports,
                      lambda i: read_view_vport(self, i))


def read_scene_view(s: Scene, index: int) -> SceneView:
    f = s.file
    with operation:
        call("scn_read_scene_view_info", f._handle(), s.index, index, f._text1)
        return _make(SceneView, s, index, _field(f._text1))


@dataclass(frozen=True)
class ViewVport(_Frames):
    """A viewport of a view: at each frame, its viewport source and step."""

    view: SceneView = field(repr=False, compare=False)
    index: int
    n_frames: int
    _frame_entry = "scn_read_scene_view_vport"

    @property
    def scene(self) -> Scene:  # type: ignore[override]
        return self.view.scene

    def _frame_args(self) -> Tuple[int, ...]:
        return (self.view.scene.index, self.view.index, self.index)


def read_view_vport(v: SceneView, index: int) -> ViewVport:
    f = v.scene.file
    with operation:
        call("scn_read_scene_view_vport_info", f._handle(), v.scene.index, v.index, index,
             f._int_addr[0])
        return _make(ViewVport, v, index, f._ints[0])


# ---- sources -----------------------------------------------------------------

@dataclass(frozen=True)
class Source:
    """A part, annotation or viewport source: steps naming records."""

    file: SceneFile = field(repr=False, compare=False)
    family: str = field(repr=False)
    index: int
    n_steps: int
    step_id: int

    @cached_property
    def _steps(self) -> Tuple[IntArray, FloatArray]:
        return _fill_pair(self.file, self.n_steps, f"scn_read_{self.family}_steps", self.index,
                          second=np.float32)

    @property
    def indices(self) -> IntArray:
        """The record (part, annotation or viewport) shown at each step."""
        return self._steps[0]

    @property
    def step_values(self) -> FloatArray:
        return self._steps[1]


def read_source(f: SceneFile, family: str, index: int) -> Source:
    with operation:
        call(f"scn_read_{family}_info", f._handle(), index, *f._int_addr[:2])
        return _make(Source, f, family, index, f._ints[0], f._ints[1])


# ---- parts, reps, render attributes ----------------------------------------

@dataclass(frozen=True)
class Part:
    """A part: a displayable object (the model, a clip, a contour...) drawn
    by its static and dynamic reps, with tagged attributes."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    name: str
    description: str
    part_type: Union[PartType, int]
    static_rep: int
    dynamic_rep: int

    @cached_property
    def attrs(self) -> _attrs.Attrs:
        return _read_attrs(self.file, 1, self.index)


def read_part(f: SceneFile, index: int) -> Part:
    with operation:
        h = f._handle()
        call("scn_read_part_info", h, index, f._text1, f._text2, f._int_addr[0])
        return _make(Part, f, index, _field(f._text1), _field(f._text2),
                    _member(PartType, f._ints[0]), call("scn_read_part_static_rep", h, index),
                    call("scn_read_part_dynamic_rep", h, index))


@dataclass(frozen=True)
class Rep:
    """A rep: the geoms it draws and the render attribute it uses."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    rep_type: Union[RepType, int]
    n_geoms: int
    rend_attr: int

    @cached_property
    def geoms(self) -> IntArray:
        return _fill(self.file, np.int32, (self.n_geoms,), "scn_read_rep_geoms", self.index)


def read_rep(f: SceneFile, index: int) -> Rep:
    with operation:
        call("scn_read_rep_info", f._handle(), index, *f._int_addr[:3])
        i = f._ints
        return _make(Rep, f, index, _member(RepType, i[1]), i[0], i[2])


@dataclass(frozen=True)
class RendAttr:
    """A render attribute: how a rep is drawn, all in tagged attributes."""

    file: SceneFile = field(repr=False, compare=False)
    index: int

    @cached_property
    def attrs(self) -> _attrs.Attrs:
        return _read_attrs(self.file, 2, self.index)


# ---- geometry ----------------------------------------------------------------

@dataclass(frozen=True)
class Geom:
    """A geom: a node set and an element list, with optional extents."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    node_set: int
    elem_list: int
    extents_provided: bool

    @cached_property
    def _extents(self) -> Tuple[bool, FloatArray, FloatArray]:
        f = self.file
        lo, hi = np.zeros(3, np.float32), np.zeros(3, np.float32)
        with operation:
            call("scn_read_geom_extents", f._handle(), self.index, f._int_addr[0],
                 lo.ctypes.data, hi.ctypes.data)
            return f._ints[0] != 0, lo, hi

    @property
    def empty(self) -> bool:
        return self._extents[0]

    @property
    def minimum(self) -> FloatArray:
        """Smallest x, y, z (zeros without extents)."""
        return self._extents[1]

    @property
    def maximum(self) -> FloatArray:
        return self._extents[2]

    @cached_property
    def attrs(self) -> _attrs.Attrs:
        return _read_attrs(self.file, 7, self.index)


def read_geom(f: SceneFile, index: int) -> Geom:
    with operation:
        call("scn_read_geom_info", f._handle(), index, *f._int_addr[:3])
        i = f._ints
        return _make(Geom, f, index, i[0], i[1], i[2] != 0)


def _values_shape(n: int, components: int) -> Tuple[int, ...]:
    return (n,) if components == 1 else (n, components)


@dataclass(frozen=True)
class NodeSet:
    """A node set: node coordinates, optional ids, and variable slots."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    n_nodes: int
    dimension: int
    has_ids: bool
    n_vars: int
    normal_index: int

    @cached_property
    def coords(self) -> FloatArray:
        """(n_nodes, dimension) coordinates."""
        return _fill(self.file, np.float32, (self.n_nodes, self.dimension),
                     "scn_read_nodes_coords", self.index)

    @cached_property
    def ids(self) -> Optional[IntArray]:
        """Node ids, or None when the node set has none."""
        if not self.has_ids:
            return None
        return _fill(self.file, np.int32, (self.n_nodes,), "scn_read_nodes_ids", self.index)

    @cached_property
    def vars(self) -> Family[NodeVar]:
        return Family("node variable", lambda: self.n_vars, lambda i: read_node_var(self, i))


def read_node_set(f: SceneFile, index: int) -> NodeSet:
    with operation:
        call("scn_read_nodes_info", f._handle(), index, *f._int_addr[:5])
        i = f._ints
        return _make(NodeSet, f, index, i[0], i[1], i[2] != 0, i[3], i[4])


@dataclass(frozen=True)
class NodeVar:
    """The values of one variable slot of a node set."""

    node_set: NodeSet = field(repr=False, compare=False)
    slot: int
    var_index: int
    n_values: int
    use_undefined: bool
    undefined_value: float

    @cached_property
    def values(self) -> FloatArray:
        """(n_values,) for scalars, (n_values, components) otherwise."""
        f = self.node_set.file
        comps = f._components(self.var_index)
        return _fill(f, np.float32, _values_shape(self.n_values, comps) if comps else (0,),
                     "scn_read_nodes_var_values", self.node_set.index, self.slot)


def read_node_var(s: NodeSet, slot: int) -> NodeVar:
    f = s.file
    with operation:
        call("scn_read_nodes_var_info", f._handle(), s.index, slot, *f._int_addr[:3],
             f._float_addr[0])
        i = f._ints
        return _make(NodeVar, s, slot, i[0], i[1], i[2] != 0, f._floats[0])


@dataclass(frozen=True)
class ElemList:
    """An element list: element records of one type each, and variable
    slots whose values each record holds."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    n_records: int
    n_vars: int
    normal_index: int
    has_ids: bool

    @cached_property
    def records(self) -> Family[Element]:
        """The element records, each of one element type."""
        return Family("element record", lambda: self.n_records, lambda i: read_element(self, i))

    @cached_property
    def vars(self) -> Family[ElemListVar]:
        """The variable slots of the list."""
        return Family("element variable", lambda: self.n_vars,
                      lambda i: read_elem_list_var(self, i))


def read_elem_list(f: SceneFile, index: int) -> ElemList:
    with operation:
        call("scn_read_elem_list_info", f._handle(), index, *f._int_addr[:4])
        i = f._ints
        return _make(ElemList, f, index, i[0], i[1], i[2], i[3] != 0)


@dataclass(frozen=True)
class ElemListVar:
    """A variable slot of an element list."""

    elem_list: ElemList = field(repr=False, compare=False)
    slot: int
    var_index: int
    use_undefined: bool
    undefined_value: float


def read_elem_list_var(e: ElemList, slot: int) -> ElemListVar:
    f = e.file
    with operation:
        call("scn_read_elem_list_var_info", f._handle(), e.index, slot, *f._int_addr[:2],
             f._float_addr[0])
        return _make(ElemListVar, e, slot, f._ints[0], f._ints[1] != 0, f._floats[0])


@dataclass(frozen=True)
class Element:
    """An element record: `count` elements of one type."""

    elem_list: ElemList = field(repr=False, compare=False)
    index: int
    elem_type: Union[ElemType, int]
    count: int
    length: int

    @cached_property
    def connectivity(self) -> IntArray:
        """(count, nodes per element) for the fixed-size types, else the
        flat count-prefixed list (see oxm._elements)."""
        conn = _fill(self.elem_list.file, np.int32, (self.length,), "scn_read_elem_connectivity",
                     self.elem_list.index, self.index)
        return shape_connectivity(self.elem_type, conn, self.count)

    @cached_property
    def ids(self) -> Optional[IntArray]:
        """Element ids, or None when the list has none."""
        if not self.elem_list.has_ids:
            return None
        return _fill(self.elem_list.file, np.int32, (self.count,), "scn_read_elem_ids",
                     self.elem_list.index, self.index)

    @cached_property
    def values(self) -> Family[FloatArray]:
        """Per variable slot of the list: (count,) for scalars, (count,
        components) otherwise."""
        return Family("element values", lambda: self.elem_list.n_vars, self._slot_values)

    def _slot_values(self, slot: int) -> FloatArray:
        f = self.elem_list.file
        comps = f._components(self.elem_list.vars[slot].var_index)
        return _fill(f, np.float32, _values_shape(self.count, comps) if comps else (0,),
                     "scn_read_elem_var_values", self.elem_list.index, self.index, slot)


def read_element(e: ElemList, index: int) -> Element:
    f = e.file
    with operation:
        call("scn_read_elem_info", f._handle(), e.index, index, *f._int_addr[:3])
        i = f._ints
        return _make(Element, e, index, _member(ElemType, i[0]), i[1], i[2])


# ---- variables -------------------------------------------------------------

@dataclass(frozen=True)
class Palette:
    """A variable's colour palette. ``channels`` holds four (control
    points, colours) pairs: red or hue, green or saturation, blue or value,
    alpha."""

    name: str
    interpolation: int
    color_space: Union[ColorSpace, int]
    min_value: float
    max_value: float
    n_samples: int
    channels: Tuple[Tuple[FloatArray, FloatArray], ...] = field(repr=False)


@dataclass(frozen=True)
class Variable:
    """A variable: name, centering, kind, optional extents and palette."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    name: str
    description: str
    centering: Union[Centering, int]
    kind: Union[VarKind, int]
    extents_provided: bool
    palette_provided: bool

    @property
    def components(self) -> int:
        """Floats per value (0 for kinds that store no values)."""
        return COMPONENTS.get(int(self.kind), 0)

    @cached_property
    def _extents(self) -> Tuple[Any, Any]:
        width = EXTENT_WIDTH.get(int(self.kind), 0)
        if not self.extents_provided or not width:
            return None, None
        lo, hi = np.zeros(width, np.float32), np.zeros(width, np.float32)
        with operation:
            call("scn_read_var_extents", self.file._handle(), self.index, lo.ctypes.data,
                 hi.ctypes.data)
        return (float(lo[0]), float(hi[0])) if width == 1 else (lo, hi)

    @property
    def minimum(self) -> Union[float, FloatArray, None]:
        """Smallest value (a float for scalar kinds, 3 floats for vector
        kinds), or None without extents."""
        value: Union[float, FloatArray, None] = self._extents[0]
        return value

    @property
    def maximum(self) -> Union[float, FloatArray, None]:
        value: Union[float, FloatArray, None] = self._extents[1]
        return value

    @cached_property
    def palette(self) -> Optional[Palette]:
        if not self.palette_provided:
            return None
        f = self.file
        name = ctypes.create_string_buffer(32)
        i, a, fl = f._ints, f._int_addr, f._floats
        with operation:
            h = f._handle()
            call("scn_read_var_palette_info", h, self.index, name, a[0], a[1], f._float_addr[0],
                 f._float_addr[1], *a[2:7])
            counts = [max(i[k], 0) for k in range(3, 7)]
            arrays = [np.zeros(n, np.float32) for n in counts for _ in range(2)]
            call("scn_read_var_palette_colors", h, self.index, *[x.ctypes.data for x in arrays])
            return Palette(text(name.raw), i[0], _member(ColorSpace, i[1]), fl[0], fl[1], i[2],
                           tuple((arrays[2 * c], arrays[2 * c + 1]) for c in range(4)))


def read_variable(f: SceneFile, index: int) -> Variable:
    with operation:
        call("scn_read_var_info", f._handle(), index, f._text1, f._text2, *f._int_addr[:4])
        i = f._ints
        return _make(Variable, f, index, _field(f._text1, 64), _field(f._text2, 128),
                        _member(Centering, i[0]), _member(VarKind, i[1]), i[2] != 0, i[3] != 0)


# ---- viewports, annotation planes, annotations, images, queries, notes ------

@dataclass(frozen=True)
class Vport:
    """A viewport record: the parts it shows; camera, lights and axes are
    tagged attributes."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    n_parts: int

    @cached_property
    def parts(self) -> IntArray:
        """The parts the viewport shows."""
        return _fill(self.file, np.int32, (self.n_parts,), "scn_read_vport_indices", self.index)

    @cached_property
    def attrs(self) -> _attrs.Attrs:
        return _read_attrs(self.file, 3, self.index)


def read_vport(f: SceneFile, index: int) -> Vport:
    with operation:
        call("scn_read_vport_info", f._handle(), index, f._int_addr[0])
        return _make(Vport, f, index, f._ints[0])


@dataclass(frozen=True)
class Aplane:
    """An annotation plane: the annotations it carries, placed by its
    tagged attributes."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    n_annots: int

    @cached_property
    def annots(self) -> IntArray:
        """The annotations the plane carries."""
        return _fill(self.file, np.int32, (self.n_annots,), "scn_read_aplane_indices",
                     self.index)

    @cached_property
    def attrs(self) -> _attrs.Attrs:
        return _read_attrs(self.file, 4, self.index)


def read_aplane(f: SceneFile, index: int) -> Aplane:
    with operation:
        call("scn_read_aplane_info", f._handle(), index, f._int_addr[0])
        return _make(Aplane, f, index, f._ints[0])


@dataclass(frozen=True)
class Annot:
    """An annotation (text, image, plot or legend), its queries and images."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    annot_type: Union[AnnotType, int]
    n_queries: int
    mono_image: int
    stereo_image: int

    @cached_property
    def queries(self) -> IntArray:
        return _fill(self.file, np.int32, (self.n_queries,), "scn_read_annot_indices",
                     self.index)

    @cached_property
    def attrs(self) -> _attrs.Attrs:
        return _read_attrs(self.file, 5, self.index)


def read_annot(f: SceneFile, index: int) -> Annot:
    with operation:
        call("scn_read_annot_info", f._handle(), index, *f._int_addr[:4])
        i = f._ints
        return _make(Annot, f, index, _member(AnnotType, i[0]), i[1], i[2], i[3])


@dataclass(frozen=True)
class Image:
    """An image: pixels of a format, and optional depth."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    width: int
    height: int
    pixel_format: Union[PixelFormat, int]
    has_depth: bool

    @cached_property
    def pixels(self) -> Optional[npt.NDArray[np.uint8]]:
        """(height, width) for one byte per pixel, else (height, width,
        bytes per pixel); None for a format without pixels."""
        per = PIXEL_BYTES.get(int(self.pixel_format))
        if per is None:
            return None
        shape = (self.height, self.width) + ((per,) if per > 1 else ())
        return _fill(self.file, np.uint8, shape, "scn_read_image_pixels", self.index)

    @cached_property
    def depth(self) -> Optional[FloatArray]:
        """(height, width) depth values, or None."""
        if not self.has_depth:
            return None
        return _fill(self.file, np.float32, (self.height, self.width), "scn_read_image_depth",
                     self.index)

    @cached_property
    def attrs(self) -> _attrs.Attrs:
        return _read_attrs(self.file, 6, self.index)


def read_image(f: SceneFile, index: int) -> Image:
    with operation:
        call("scn_read_image_info", f._handle(), index, *f._int_addr[:4])
        i = f._ints
        return _make(Image, f, index, i[0], i[1], _member(PixelFormat, i[2]), i[3] != 0)


@dataclass(frozen=True)
class Query:
    """A plot query: its name, axis labels and the part it samples."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    name: str
    x_label: str
    y_label: str
    part_index: int


def read_query(f: SceneFile, index: int) -> Query:
    bufs = [ctypes.create_string_buffer(64) for _ in range(3)]
    with operation:
        call("scn_read_query_info", f._handle(), index, *bufs, f._int_addr[0])
        name, x_label, y_label = (text(b.raw) for b in bufs)
        return _make(Query, f, index, name, x_label, y_label, f._ints[0])


@dataclass(frozen=True)
class Note:
    """A note of free text."""

    file: SceneFile = field(repr=False, compare=False)
    index: int
    length: int

    @cached_property
    def text(self) -> str:
        buf = ctypes.create_string_buffer(max(self.length, 0) + 1)
        if self.length > 0:
            with operation:
                call("scn_read_note_text", self.file._handle(), self.index, buf)
        return text(buf.raw)

    @cached_property
    def attrs(self) -> _attrs.Attrs:
        return _read_attrs(self.file, 8, self.index)


def read_note(f: SceneFile, index: int) -> Note:
    with operation:
        call("scn_read_note_info", f._handle(), index, f._int_addr[0])
        return _make(Note, f, index, f._ints[0])
