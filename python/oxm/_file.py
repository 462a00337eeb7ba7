"""Reading a scene file: ``SceneFile`` and ``open``."""
from __future__ import annotations

import ctypes
import errno
import os
import warnings
from ctypes import addressof, c_float, c_int
from typing import TYPE_CHECKING, Any, Dict, List, Optional, Sequence, Tuple, Union

from . import _capi
from . import _records as rec
from ._capi import call, operation
from ._errors import ScnError, ScnWarning

if TYPE_CHECKING:
    import meshio  # type: ignore[import-untyped]
    import pyvista

PathLike = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]

# The version key of the file that the package opened for reading last: the
# library's readers branch on it, process-wide (see SceneFile._handle).
_active: List[Optional[Tuple[Any, ...]]] = [None]

_SCRATCH_INTS = 16
_OLD_VERSIONS = {"Error opening group for attribute: scn_api_version",
                 "Error opening group for attribute: scn_file_version"}


class SceneFile(_capi.HandleOwner):
    """A scene file opened for reading, with one sequence of records per
    family. Records are read when indexed; their bulk arrays when first
    used. Use it in a ``with`` block, or call ``close()``.

    >>> with oxm.open("demo.h5") as f:
    ...     print(len(f.parts), f.parts[0].name)
    ...     xyz = f.node_sets[0].coords                   # (n, 3) float32
    ...     tris = f.elem_lists[0].records[0].connectivity
    6 body
    """

    def __init__(self, path: PathLike) -> None:
        self.path = os.fsdecode(os.fspath(path))
        self._path = os.fsencode(os.fspath(path))
        self._h: Optional[int] = None
        self._var_components: Dict[int, int] = {}
        self._ints = (c_int * _SCRATCH_INTS)()
        self._int_addr = [addressof(self._ints) + 4 * k for k in range(_SCRATCH_INTS)]
        self._floats = (c_float * 2)()
        self._float_addr = [addressof(self._floats) + 4 * k for k in range(2)]
        self._text1 = ctypes.create_string_buffer(257)
        self._text2 = ctypes.create_string_buffer(257)
        if not os.path.exists(self._path):
            raise FileNotFoundError(errno.ENOENT, os.strerror(errno.ENOENT), self.path)
        try:
            self._open()
        except ScnError as exc:
            raise OSError(errno.EIO, f"not a readable scene file ({exc})", self.path) from exc
        F = rec.Family
        self.scenes = F("scene", self._counter("scene"), lambda i: rec.read_scene(self, i))
        self.part_sources = self._sources("psrc", "part")
        self.annot_sources = self._sources("asrc", "annotation")
        self.vport_sources = self._sources("vsrc", "viewport")
        self.parts = F("part", self._counter("part"), lambda i: rec.read_part(self, i))
        self.reps = F("rep", self._counter("rep"), lambda i: rec.read_rep(self, i))
        self.rend_attrs = F("render attribute", self._counter("rendAttr"),
                            lambda i: rec._make(rec.RendAttr, self, i))
        self.geoms = F("geom", self._counter("geom"), lambda i: rec.read_geom(self, i))
        self.node_sets = F("node set", self._counter("nodes"),
                           lambda i: rec.read_node_set(self, i))
        self.elem_lists = F("element list", self._counter("elem_list"),
                            lambda i: rec.read_elem_list(self, i))
        self.variables = F("variable", self._counter("var"), lambda i: rec.read_variable(self, i))
        self.vports = F("viewport", self._counter("vport"), lambda i: rec.read_vport(self, i))
        self.aplanes = F("annotation plane", self._counter("aplane"),
                         lambda i: rec.read_aplane(self, i))
        self.annots = F("annotation", self._counter("annot"), lambda i: rec.read_annot(self, i))
        self.images = F("image", self._counter("image"), lambda i: rec.read_image(self, i))
        self.queries = F("query", self._counter("query"), lambda i: rec.read_query(self, i))
        self.notes = F("note", self._counter("note"), lambda i: rec.read_note(self, i))

    def _sources(self, family: str, word: str) -> rec.Family[rec.Source]:
        return rec.Family(f"{word} source", self._counter(family),
                          lambda i: rec.read_source(self, family, i))

    def _counter(self, family: str) -> Any:
        entry = f"scn_read_{family}_num"
        return lambda: call(entry, self._handle())

    # ---- the handle and the library's version state ------------------------

    def _open(self) -> None:
        with operation:
            h = _capi.open_read(self._path)
            # The oldest files carry their versions under older names, which
            # the library tries after reporting the current ones missing.
            lines = [line for line in _capi.take_diagnostics() if line not in _OLD_VERSIONS]
            if lines:
                warnings.warn(ScnWarning(lines), stacklevel=3)
            self._h = h
            self._key = _capi.version_key(h)
            _active[0] = self._key
            # Numbers the node sets and element lists of the legacy layout
            # (a one-time scan per handle that the node and element readers
            # rely on); one group read in the current layout.
            call("scn_read_geom_num", h)

    def _handle(self) -> int:
        """The open handle, with the library's version state made this
        file's.

        The readers choose the layout (and a few version-dependent items)
        from the versions of the file opened for reading last, process-wide.
        When another file with other versions was opened since, this file
        is opened again: a fresh handle re-establishes its versions (about
        the cost of opening the file, paid only on such a switch; files of
        one layout share the state and never reopen)."""
        h = self._h
        if h is None:
            raise ValueError(f"I/O operation on closed scene file {self.path!r}")
        if _active[0] is not self._key:
            self._h = None
            _capi.close_handle(h)
            self._open()
            h = self._h
            assert h is not None
        return h

    def _components(self, var_index: int) -> int:
        """Floats per value of variable `var_index` (0 when unreadable)."""
        comps = self._var_components.get(var_index)
        if comps is None:
            try:  # the kind alone, from the record (which a counter may not count)
                with operation:
                    call("scn_read_var_info", self._handle(), var_index, None, None, None,
                         self._int_addr[0], None, None)
                comps = rec.COMPONENTS.get(self._ints[0], 0)
            except ScnError:
                comps = 0
            self._var_components[var_index] = comps
        return comps

    # ---- file-level --------------------------------------------------------

    @property
    def framework_version(self) -> Optional[str]:
        """The producer's framework version ("1.00" for the oldest files),
        or None when the file does not record one."""
        buf = ctypes.create_string_buffer(257)
        try:
            with operation:
                call("scn_read_framework_version", self._handle(), buf)
        except ScnError:
            return None
        return _capi.text(buf.raw[:256])

    # ---- meshes --------------------------------------------------------------

    def to_meshio(self, geom: Union[int, Sequence[int]] = 0) -> "meshio.Mesh":
        """The geometry of geom `geom` as a ``meshio.Mesh``: its node
        coordinates, every element record as cells of its type, node
        variables as point data and element variables as cell data (by
        variable name), node and element ids as "node_ids" and
        "element_ids". Several geoms make one mesh (their points one after
        another, the data they all have). Needs meshio
        (``pip install scnapi[meshio]``).

        >>> with oxm.open("demo.h5") as f:
        ...     f.to_meshio(0).write("demo.vtu")
        """
        from ._meshes import to_meshio
        return to_meshio(self, geom)

    def to_pyvista(self, geom: Union[int, Sequence[int]] = 0) -> "pyvista.UnstructuredGrid":
        """The geometry of geom `geom` as a ``pyvista.UnstructuredGrid``,
        with the same data as ``to_meshio``. Needs pyvista
        (``pip install scnapi[pyvista]``)."""
        from ._meshes import to_pyvista
        grid: pyvista.UnstructuredGrid = to_pyvista(self, geom)
        return grid


    # ---- pictures --------------------------------------------------------------

    def render(self, scene: int = 0, frame: int = 0, size: Tuple[int, int] = (640, 480),
               vport: Optional[int] = None, view: Optional[int] = None) -> Any:
        """Frame `frame` of scene `scene` as a (height, width, 3) uint8 RGB
        array of `size` (width, height): every viewport (or scene viewport
        `vport` alone, filling the image; with the viewport frames of view
        `view` when given), its parts, texts and legends. What the file
        names but does not hold is skipped with an ``oxm.render.RenderWarning``.
        Needs pyvista (``pip install scnapi[render]``).

        >>> with oxm.open("demo.h5") as f:
        ...     image = f.render(frame=3, size=(320, 240))
        >>> image.shape
        (240, 320, 3)
        """
        from .render import render
        return render(self, scene, frame, size, vport, view)

    def show(self, scene: int = 0, frame: int = 0, size: Tuple[int, int] = (640, 480),
             vport: Optional[int] = None, view: Optional[int] = None) -> None:
        """Displays ``render(...)`` in Jupyter."""
        from .render import show
        show(self, scene, frame, size, vport, view)


def open(path: PathLike) -> SceneFile:
    """Opens the scene file at `path` (str, bytes or os.PathLike) for
    reading. FileNotFoundError when it does not exist, OSError when it is
    not a scene file.

    >>> with oxm.open("demo.h5") as f:
    ...     for part in f.parts[:2]:
    ...         print(part.index, part.name, part.part_type.name)
    0 body OXR_PART_MODEL
    1 outline OXR_PART_EXTRACT
    """
    return SceneFile(path)
