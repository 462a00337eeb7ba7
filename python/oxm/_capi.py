"""The low level: every exported C entry of the library, through ctypes.

The entries are reached on the ``_oxm`` module, which carries the library,
rather than through a second extension module: the library keeps
process-wide state (the versions of the file read last, the compression
table), and a second copy of it would disagree with the first. Their
signatures come from ``_capi_decls`` (generated from the public headers);
their result kinds from ``RESULT_RULES``, by name.

Every call goes through ``call``, inside an ``operation``: the library's
diagnostics, which it prints on C ``stdout``, are captured for the whole
operation (one record read is several C calls) and attached to the
``ScnError`` a failed call raises, or issued as a ``ScnWarning`` when the
operation succeeded anyway. Nothing reaches the script's standard output.
"""
from __future__ import annotations

import ctypes
import os
import re
import tempfile
import warnings
from ctypes import byref, c_char_p, c_float, c_int, c_int64, c_long, c_void_p
from types import TracebackType
from typing import Any, Dict, List, Optional, Tuple, Type, TypeVar

import _oxm

from . import _h5
from ._capi_decls import DECLS
from ._errors import ScnError, ScnWarning

lib = ctypes.CDLL(_oxm.__file__)

# C types passed by value; every other declared type is a pointer, passed as
# an address (int), bytes, None, a ctypes array or byref(). Texts returned
# arrive as bytes.
_BY_VALUE: Dict[str, Any] = {"int": c_int, "float": c_float}
_RESULTS: Dict[str, Any] = {"int": c_int, "const char*": c_char_p}

STATUS, COUNT, HANDLE, VALUE = "status", "count", "handle", "value"
# (pattern on the entry's name, what its result means); the first match wins.
RESULT_RULES: Tuple[Tuple[str, str], ...] = (
    (r"_num$|^scn_read_num_attributes$", COUNT),  # a count; -1 for failure
    (r"_begin$", HANDLE),  # a handle; null for failure
    # A stored index, -1 when unreadable -- but -1 may be stored as well.
    (r"^scn_read_part_(static|dynamic)_rep$", VALUE),
    (r"^scnapi_(init|name|desc|version)$|^scnfile_version$|^attr_classify$", VALUE),
    (r"", STATUS),  # 0 for success
)


def result_kind(name: str) -> str:
    return next(kind for pattern, kind in RESULT_RULES if re.search(pattern, name))


ENTRIES: Dict[str, Tuple[Any, str]] = {}
for _name, _restype, _args in DECLS:
    _func = getattr(lib, _name)
    _func.restype = _RESULTS.get(_restype, c_void_p)
    _func.argtypes = [_BY_VALUE.get(a, c_void_p) for a in _args]
    ENTRIES[_name] = (_func, result_kind(_name))


# ---- capture of the library's diagnostics ----------------------------------

def _lines(data: bytes) -> List[str]:
    return data.decode("utf-8", "replace").splitlines()


class _MemCapture:
    """Points the C library's ``stdout`` at an in-memory stream while an
    operation runs (glibc's open_memstream): no system call per operation.
    Python's own output goes to file descriptor 1, not through C's
    ``stdout``, and is unaffected."""

    mode = "memstream"

    def __init__(self, libc: Any) -> None:
        self._var = c_void_p.in_dll(libc, "stdout")
        self._buf = c_void_p()
        self._size = ctypes.c_size_t()
        libc.open_memstream.restype = c_void_p
        libc.open_memstream.argtypes = [c_void_p, c_void_p]
        self._ftell = libc.ftell
        self._ftell.restype, self._ftell.argtypes = c_long, [c_void_p]
        self._fflush = libc.fflush
        self._fflush.argtypes = [c_void_p]
        self._fseek = libc.fseek
        self._fseek.argtypes = [c_void_p, c_long, c_int]
        self._fp = libc.open_memstream(byref(self._buf), byref(self._size))
        if not self._fp:
            raise OSError("open_memstream failed")
        # The stream's write pointer and its buffer's start (struct _IO_FILE,
        # public in glibc's headers): equal while nothing was printed since
        # the last take, which spares the ftell of most operations.
        self._write_base = c_void_p.from_address(self._fp + 4 * ctypes.sizeof(c_void_p))
        self._write_ptr = c_void_p.from_address(self._fp + 5 * ctypes.sizeof(c_void_p))
        self._saved: Optional[int] = None
        self.depth = 0

    def enter(self) -> None:
        if self.depth == 0:
            self._saved = self._var.value
            self._var.value = self._fp
        self.depth += 1

    def exit(self) -> List[str]:
        self.depth -= 1
        if self.depth:
            return []
        self._var.value = self._saved
        return self.take()

    def take(self) -> List[str]:
        """The lines printed so far in this operation, removed."""
        if self._write_ptr.value == self._write_base.value:
            return []
        n = self._ftell(self._fp)
        if n <= 0:
            return []
        self._fflush(self._fp)  # updates the buffer's address
        data = ctypes.string_at(self._buf.value or 0, n)
        self._fseek(self._fp, 0, 0)
        return _lines(data)


class _FdCapture:
    """Points file descriptor 1 at a temporary file while an operation runs:
    the fallback where C's ``stdout`` cannot be swapped (C libraries other
    than glibc). Several system calls per operation."""

    mode = "fd"

    def __init__(self, libc: Any) -> None:
        self._fflush = libc.fflush
        self._fflush.argtypes = [c_void_p]
        self._fd, path = tempfile.mkstemp(prefix="oxm-diagnostics-")
        os.unlink(path)
        self._saved = -1
        self.depth = 0

    def enter(self) -> None:
        if self.depth == 0:
            self._fflush(None)  # earlier C output goes where it was meant to
            self._saved = os.dup(1)
            os.dup2(self._fd, 1)
        self.depth += 1

    def exit(self) -> List[str]:
        self.depth -= 1
        if self.depth:
            return []
        lines = self.take()
        os.dup2(self._saved, 1)
        os.close(self._saved)
        return lines

    def take(self) -> List[str]:
        self._fflush(None)
        n = os.lseek(self._fd, 0, os.SEEK_CUR)
        if n <= 0:
            return []
        data = os.pread(self._fd, n, 0)
        os.lseek(self._fd, 0, os.SEEK_SET)
        os.ftruncate(self._fd, 0)
        return _lines(data)


_libc = ctypes.CDLL(None)


def _new_capture(mode: Optional[str]) -> Any:
    if mode != "fd" and hasattr(_libc, "gnu_get_libc_version"):
        try:
            return _MemCapture(_libc)
        except (OSError, ValueError, AttributeError):
            pass
    return _FdCapture(_libc)


_capture = _new_capture(os.environ.get("OXM_CAPTURE"))


def capture_mode() -> str:
    """How diagnostics are captured: "memstream" or "fd"."""
    return str(_capture.mode)


def set_capture_mode(mode: str) -> None:
    """Chooses "memstream" (where possible) or "fd"; for measurements and
    tests. Not while an operation runs."""
    global _capture
    if _capture.depth:
        raise RuntimeError("an operation is running")
    _capture = _new_capture(mode)


def take_diagnostics() -> List[str]:
    """The lines the library printed so far in the running operation,
    removed from it."""
    return list(_capture.take())


class _Operation:
    """``with operation:`` -- the diagnostics of every call inside go to the
    ScnError a failed call raises, or to a ScnWarning at the end of an
    operation that succeeded. Reentrant: only the outermost one reports."""

    __slots__ = ()

    def __enter__(self) -> None:
        _capture.enter()

    def __exit__(self, et: Optional[Type[BaseException]], ev: Optional[BaseException],
                 tb: Optional[TracebackType]) -> None:
        lines = _capture.exit()
        if lines and et is None:
            warnings.warn(ScnWarning(lines), stacklevel=2)


operation = _Operation()


def call(name: str, *args: Any) -> Any:
    """Calls C entry `name`; raises ScnError when its result means failure
    (by the entry's result kind), with the operation's diagnostics."""
    func, kind = ENTRIES[name]
    if not _capture.depth:
        with operation:
            return call(name, *args)
    result = func(*args)
    if kind is STATUS:
        failed = result != 0
    elif kind is COUNT:
        failed = result < 0
    elif kind is HANDLE:
        failed = not result
    else:
        return result
    if failed:
        raise ScnError(f"{name} failed", _capture.take(), name, result)
    return result


def text(raw: bytes) -> str:
    """A text the library stored: the bytes up to the first NUL, as UTF-8,
    or as Latin-1 where they are not valid UTF-8 (so that every stored name
    can be read)."""
    end = raw.find(b"\0")
    if end >= 0:
        raw = raw[:end]
    try:
        return raw.decode("utf-8")
    except UnicodeDecodeError:
        return raw.decode("latin-1")


# ---- handles -----------------------------------------------------------------

# The handle is a plain record whose documented head is directory[256],
# fileName[256] and then the HDF5 id of its file.
FILE_ID_OFFSET = 2 * 256


def file_id(handle: int) -> int:
    return c_int64.from_address(handle + FILE_ID_OFFSET).value


def open_read(path: bytes) -> int:
    names = (c_char_p * 1)(path)
    return int(call("scn_read_begin", names))


def close_handle(handle: int) -> None:
    """Releases a handle without shutting HDF5 down (other handles of the
    process keep their files)."""
    call("scnapi_close_file", byref(c_void_p(handle)))


_Owner = TypeVar("_Owner", bound="HandleOwner")


class HandleOwner:
    """An object that holds one library handle (a file opened for reading
    or writing): ``close()``, ``closed``, use in a ``with`` block, and the
    handle released when the object is collected."""

    path: str
    _h: Optional[int] = None

    @property
    def closed(self) -> bool:
        return self._h is None

    def close(self) -> None:
        """Releases the file (a written file is complete once closed);
        further use raises ValueError. Idempotent."""
        h, self._h = self._h, None
        if h is not None:
            close_handle(h)

    def __enter__(self: _Owner) -> _Owner:
        return self

    def __exit__(self, et: Optional[Type[BaseException]], ev: Optional[BaseException],
                 tb: Optional[TracebackType]) -> None:
        self.close()

    def __del__(self) -> None:
        if self._h is not None:
            try:
                self.close()
            except Exception:  # interpreter shutdown
                pass

    def __repr__(self) -> str:
        state = "closed" if self.closed else "open"
        return f"<oxm.{type(self).__name__} {self.path!r} ({state})>"


def compression_names() -> List[str]:
    count = c_int()
    names = ctypes.POINTER(c_char_p)()
    call("scnapi_compression_avail", byref(count), byref(names))
    return [(names[i] or b"").decode() for i in range(count.value)]


# ---- the version state -----------------------------------------------------

# The readers branch on the versions of the file that scn_read_begin opened
# last, process-wide. A file's version key is what that call reads from its
# "/top" group; two files with equal keys give the library the same state.
_VERSION_ATTRS = ("scn_api_version", "api_version", "scn_file_version", "rw_release")
_KEYS: Dict[Tuple[Any, ...], Tuple[Any, ...]] = {}


def version_key(handle: int) -> Tuple[Any, ...]:
    """The version key of a read handle's file, interned (compare with
    ``is``)."""
    if not _h5.AVAILABLE:  # HDF5's entries not reachable: every file is its own key
        return (handle,)
    top = _h5.File("", file_id(handle))
    found = [top.attr("/top", name) for name in _VERSION_ATTRS]
    key = tuple(None if a is None else a.value.rstrip(b"\0") if isinstance(a.value, bytes)
                else a.type for a in found)
    return _KEYS.setdefault(key, key)


with operation:
    lib.scnapi_init()  # also switches HDF5's automatic error printing off
