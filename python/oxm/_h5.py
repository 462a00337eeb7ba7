"""A look at a file's HDF5 structure: group members, attributes with their
type and shape, datasets with their extent, layout and filters, and whole
small datasets read as numpy arrays.

It uses the HDF5 that ``_oxm`` links, through ctypes on the module (h5py
would bring a second HDF5 into the process). Only calls that HDF5 1.10 and
1.14 both provide; every id opened in a call is closed before it returns.
HDF5's automatic error printing is off (the package's set-up switches it
off), so a failed look-up is a quiet negative result.
"""
from __future__ import annotations

import ctypes
from ctypes import POINTER, byref, c_char_p, c_int, c_int64, c_size_t, c_uint, c_uint64
from typing import Any, Callable, Dict, Iterator, List, NamedTuple, Optional, Tuple

import numpy as np
import numpy.typing as npt

import _oxm

lib = ctypes.CDLL(_oxm.__file__)  # the same loaded library as the package's C entries
_hid, _herr = c_int64, c_int
_DECLS: Tuple[Tuple[str, Any, List[Any]], ...] = (
    ("H5open", _herr, []),
    ("H5Fis_hdf5", c_int, [c_char_p]),
    ("H5Fopen", _hid, [c_char_p, c_uint, _hid]),
    ("H5Fclose", _herr, [_hid]),
    ("H5Oopen", _hid, [_hid, c_char_p, _hid]),
    ("H5Oclose", _herr, [_hid]),
    ("H5Iget_type", c_int, [_hid]),
    ("H5Lexists", c_int, [_hid, c_char_p, _hid]),
    ("H5Lget_name_by_idx", ctypes.c_ssize_t,
     [_hid, c_char_p, c_int, c_int, c_uint64, c_char_p, c_size_t, _hid]),
    ("H5Aget_name_by_idx", ctypes.c_ssize_t,
     [_hid, c_char_p, c_int, c_int, c_uint64, c_char_p, c_size_t, _hid]),
    ("H5Aopen_by_name", _hid, [_hid, c_char_p, c_char_p, _hid, _hid]),
    ("H5Aget_type", _hid, [_hid]),
    ("H5Aget_space", _hid, [_hid]),
    ("H5Aread", _herr, [_hid, _hid, ctypes.c_void_p]),
    ("H5Aclose", _herr, [_hid]),
    ("H5Dopen2", _hid, [_hid, c_char_p, _hid]),
    ("H5Dget_type", _hid, [_hid]),
    ("H5Dget_space", _hid, [_hid]),
    ("H5Dget_create_plist", _hid, [_hid]),
    ("H5Dget_storage_size", c_uint64, [_hid]),
    ("H5Dread", _herr, [_hid, _hid, _hid, _hid, _hid, ctypes.c_void_p]),
    ("H5Dclose", _herr, [_hid]),
    ("H5Tget_class", c_int, [_hid]),
    ("H5Tget_size", c_size_t, [_hid]),
    ("H5Tget_sign", c_int, [_hid]),
    ("H5Tclose", _herr, [_hid]),
    ("H5Sget_simple_extent_type", c_int, [_hid]),
    ("H5Sget_simple_extent_ndims", c_int, [_hid]),
    ("H5Sget_simple_extent_dims", c_int, [_hid, POINTER(c_uint64), POINTER(c_uint64)]),
    ("H5Sclose", _herr, [_hid]),
    ("H5Pget_layout", c_int, [_hid]),
    ("H5Pget_chunk", c_int, [_hid, c_int, POINTER(c_uint64)]),
    ("H5Pget_nfilters", c_int, [_hid]),
    ("H5Pget_filter2", c_int, [_hid, c_uint, POINTER(c_uint), POINTER(c_size_t),
                               POINTER(c_uint), c_size_t, c_char_p, POINTER(c_uint)]),
    ("H5Pclose", _herr, [_hid]),
)
H5: Dict[str, Any] = {}
try:
    for _name, _res, _args in _DECLS:
        H5[_name] = getattr(lib, _name)
        H5[_name].restype, H5[_name].argtypes = _res, _args
    H5["H5open"]()  # the H5T_NATIVE_* ids below exist only once the library is open
except AttributeError:  # a build whose HDF5 entries are not reachable
    H5.clear()
AVAILABLE = bool(H5)

# HDF5's constants (stable across 1.10 .. 1.14)
_RDONLY, _DEFAULT, _ALL = 0, 0, 0
_INDEX_NAME, _ITER_INC = 0, 0
_GROUP, _DATASET = 2, 5  # H5I_type_t
CLASSES = {0: "int", 1: "float", 3: "string"}  # H5T_class_t; others are "other"
_SCALAR, _SIMPLE = 0, 1  # H5S_class_t
LAYOUTS = {0: "compact", 1: "contiguous", 2: "chunked", 3: "virtual"}
FILTERS = {1: "deflate", 2: "shuffle", 3: "fletcher32", 4: "szip", 5: "nbit", 6: "scaleoffset"}
_NATIVE = {np.dtype(np.int32): "H5T_NATIVE_INT_g", np.dtype(np.float32): "H5T_NATIVE_FLOAT_g",
           np.dtype(np.int8): "H5T_NATIVE_SCHAR_g"}
# Deflate inflates at most about 1032-fold: a dataset whose extent needs far
# more bytes than it stores is refused rather than read into a huge buffer.
_MAX_RATIO, _SLACK = 1100, 1 << 16


def _native(dtype: Any) -> int:
    return int(c_int64.in_dll(lib, _NATIVE[np.dtype(dtype)]).value)


def is_hdf5(path: str) -> bool:
    """True when `path` is an HDF5 file (False for other files and for
    files that cannot be examined)."""
    return AVAILABLE and bool(H5["H5Fis_hdf5"](path.encode()) > 0)


class Type(NamedTuple):
    cls: str  # "int", "float", "string" or "other"
    size: int  # bytes per value
    signed: bool
    shape: Optional[Tuple[int, ...]]  # () for a scalar; None for a null dataspace


class Attr(NamedTuple):
    type: Type
    value: Any  # int32/float32 array, bytes for 1-byte ints, None when not read


class Dataset(NamedTuple):
    type: Type
    layout: str
    chunks: Optional[Tuple[int, ...]]
    filters: Tuple[Tuple[str, Tuple[int, ...]], ...]  # (name, client values) in pipeline order
    storage: int  # bytes stored


def _type(type_id: int, space_id: int) -> Type:
    cls = CLASSES.get(H5["H5Tget_class"](type_id), "other")
    size = int(H5["H5Tget_size"](type_id))
    signed = H5["H5Tget_sign"](type_id) == 1
    kind = H5["H5Sget_simple_extent_type"](space_id)
    shape: Optional[Tuple[int, ...]] = None
    if kind == _SCALAR:
        shape = ()
    elif kind == _SIMPLE:
        ndims = max(H5["H5Sget_simple_extent_ndims"](space_id), 0)
        dims = (c_uint64 * max(ndims, 1))()
        H5["H5Sget_simple_extent_dims"](space_id, dims, None)
        shape = tuple(int(d) for d in dims[:ndims])
    return Type(cls, size, signed, shape)


def _elements(shape: Optional[Tuple[int, ...]]) -> int:
    return int(np.prod(shape, dtype=np.int64)) if shape else (0 if shape is None else 1)


class File:
    """An HDF5 file opened read-only: ``with File(path) as h5: ...``.
    Paths are absolute HDF5 paths ("/top/Parts")."""

    def __init__(self, path: str, fid: Optional[int] = None) -> None:
        """Opens `path`, or looks into the open file id `fid` (which stays
        open)."""
        if not AVAILABLE:
            raise OSError(f"{path}: HDF5's entries are not reachable in this build")
        self.path = path
        self._owned = fid is None
        self._fid = int(H5["H5Fopen"](path.encode(), _RDONLY, _DEFAULT)) if fid is None else fid
        if self._fid < 0:
            raise OSError(f"{path}: cannot be opened as an HDF5 file")

    def close(self) -> None:
        fid, self._fid = self._fid, -1
        if fid >= 0 and self._owned:
            H5["H5Fclose"](fid)

    def __enter__(self) -> File:
        return self

    def __exit__(self, *exc: Any) -> None:
        self.close()

    def _with(self, opener: str, closer: str, path: str, use: Callable[[int], Any]) -> Any:
        """use(id) on the object at `path` opened with `opener`; None when it
        cannot be opened."""
        hid = int(H5[opener](self._fid, path.encode(), _DEFAULT))
        if hid < 0:
            return None
        try:
            return use(hid)
        finally:
            H5[closer](hid)

    def kind(self, path: str) -> Optional[str]:
        """"group", "dataset", "other", or None when nothing is at `path`."""
        if path != "/" and not self._exists(path):
            return None
        found = self._with("H5Oopen", "H5Oclose", path, H5["H5Iget_type"])
        return None if found is None else {_GROUP: "group", _DATASET: "dataset"}.get(found, "other")

    def _exists(self, path: str) -> bool:
        # H5Lexists fails when a parent is missing: test each level
        parts = path.strip("/").split("/")
        return all(H5["H5Lexists"](self._fid, ("/" + "/".join(parts[:k])).encode(), _DEFAULT) > 0
                   for k in range(1, len(parts) + 1))

    def _names(self, entry: str, path: str) -> List[str]:
        names: List[str] = []
        n, buf = 0, ctypes.create_string_buffer(1024)
        while True:
            length = H5[entry](self._fid, path.encode(), _INDEX_NAME, _ITER_INC, n, buf,
                               len(buf), _DEFAULT)
            if length < 0:
                return names
            if length >= len(buf):
                buf = ctypes.create_string_buffer(length + 1)
                continue
            names.append(buf.value.decode("utf-8", "replace"))
            n += 1

    def members(self, path: str) -> List[str]:
        """The names of the links in the group at `path`, in name order."""
        return self._names("H5Lget_name_by_idx", path)

    def attr_names(self, path: str) -> List[str]:
        return self._names("H5Aget_name_by_idx", path)

    def attr(self, path: str, name: str, read: bool = True) -> Optional[Attr]:
        """Attribute `name` of the object at `path` (None when absent), with
        its value when it is a number or a 1-byte integer array (bytes) and
        `read` is set."""
        aid = int(H5["H5Aopen_by_name"](self._fid, path.encode(), name.encode(), _DEFAULT,
                                         _DEFAULT))
        if aid < 0:
            return None
        try:
            tid, sid = int(H5["H5Aget_type"](aid)), int(H5["H5Aget_space"](aid))
            try:
                t = _type(tid, sid)
            finally:
                H5["H5Tclose"](tid)
                H5["H5Sclose"](sid)
            if not read or t.cls not in ("int", "float") or t.shape is None:
                return Attr(t, None)
            count = _elements(t.shape)
            dtype = np.int8 if (t.cls, t.size) == ("int", 1) else (
                np.int32 if t.cls == "int" else np.float32)
            value = np.zeros(max(count, 1), dtype)
            if H5["H5Aread"](aid, _native(dtype), value.ctypes.data) < 0:
                return Attr(t, None)
            value = value[:count]
            return Attr(t, value.tobytes() if dtype is np.int8 else value)
        finally:
            H5["H5Aclose"](aid)

    def dataset(self, path: str) -> Optional[Dataset]:
        """What the dataset at `path` is and how it is stored; None when
        there is no dataset there."""
        def info(did: int) -> Dataset:
            tid, sid, pid = (int(H5[f](did)) for f in ("H5Dget_type", "H5Dget_space",
                                                         "H5Dget_create_plist"))
            try:
                t = _type(tid, sid)
                layout = LAYOUTS.get(H5["H5Pget_layout"](pid), "other")
                chunks = None
                if layout == "chunked":
                    dims = (c_uint64 * 32)()
                    n = H5["H5Pget_chunk"](pid, 32, dims)
                    chunks = tuple(int(d) for d in dims[:max(n, 0)])
                filters = []
                for k in range(max(H5["H5Pget_nfilters"](pid), 0)):
                    flags, nvals, config = c_uint(), c_size_t(8), c_uint()
                    vals, name = (c_uint * 8)(), ctypes.create_string_buffer(64)
                    code = H5["H5Pget_filter2"](pid, k, byref(flags), byref(nvals), vals, 64,
                                                name, byref(config))
                    filters.append((FILTERS.get(code, str(code)),
                                    tuple(int(v) for v in vals[:min(nvals.value, 8)])))
                return Dataset(t, layout, chunks, tuple(filters),
                               int(H5["H5Dget_storage_size"](did)))
            finally:
                H5["H5Tclose"](tid)
                H5["H5Sclose"](sid)
                H5["H5Pclose"](pid)
        if self.kind(path) != "dataset":
            return None
        found: Optional[Dataset] = self._with("H5Dopen2", "H5Dclose", path, info)
        return found

    def read(self, path: str, dtype: Any) -> npt.NDArray[Any]:
        """The whole dataset at `path` as a flat array of `dtype` (int32,
        float32 or int8); ValueError when it cannot be read, or when its
        extent needs far more bytes than the file stores for it."""
        info = self.dataset(path)
        if info is None or info.type.shape is None:
            raise ValueError(f"{path}: no dataset to read")
        count = _elements(info.type.shape)
        want = count * np.dtype(dtype).itemsize
        if info.storage == 0 or want > _MAX_RATIO * info.storage + _SLACK:
            raise ValueError(f"{path}: {info.storage} bytes stored for {count} values")
        out = np.empty(count, dtype)

        def fill(did: int) -> int:
            return int(H5["H5Dread"](did, _native(dtype), _ALL, _ALL, _DEFAULT, out.ctypes.data))
        if self._with("H5Dopen2", "H5Dclose", path, fill) != 0:
            raise ValueError(f"{path}: the dataset cannot be read")
        return out

    def walk(self, path: str = "/") -> Iterator[Tuple[str, str]]:
        """(path, kind) of every object below the group at `path`, depth
        first in name order."""
        for name in self.members(path):
            child = path.rstrip("/") + "/" + name
            kind = self.kind(child) or "other"
            yield child, kind
            if kind == "group":
                yield from self.walk(child)
