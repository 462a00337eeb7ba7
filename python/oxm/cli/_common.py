"""What the commands share: opening a file with a one-line reason when it
fails, the library's diagnostics, JSON output, array summaries and the
progress bar."""
from __future__ import annotations

import json
import math
import os
import sys
import warnings
from enum import IntEnum
from typing import Any, Iterable, Iterator, TypeVar

import numpy as np

from .. import _capi, _h5
from .._errors import ScnError, ScnWarning
from .._file import SceneFile
from .._layout import TOP

T = TypeVar("T")


class CliError(Exception):
    """A failure that ends a command's work on one file: one line,
    "oxm: <path>: <reason>"."""

    def __init__(self, path: str, reason: str) -> None:
        super().__init__(f"{path}: {reason}")
        self.path = path
        self.reason = reason


def fail(exc: BaseException) -> None:
    """Reports `exc` as one line on standard error (its diagnostics go to
    the -v output)."""
    if isinstance(exc, ScnError):
        diagnostics(exc)
    print(f"oxm: {exc}", file=sys.stderr)


def diagnostics(exc: ScnError) -> None:
    """Hands the library's lines of a failed call to the -v output."""
    if exc.diagnostics:
        warnings.warn(ScnWarning(exc.diagnostics), stacklevel=2)


def why_not_scene_file(path: str) -> str:
    """Why the file at `path` cannot be read as a scene file."""
    if not os.path.lexists(path):
        return "No such file or directory"
    if os.path.isdir(path):
        return "Is a directory"
    if not os.access(path, os.R_OK):
        return "Permission denied"
    if not _h5.is_hdf5(path):
        return "not an HDF5 file"
    try:
        with _h5.File(path) as h5:
            if h5.kind("/top") != "group":
                return "not a scene file (an HDF5 file without a /top group)"
            missing = [i.name for i in TOP if not i.optional and not any(
                h5.attr("/top", n, read=False) for n in (i.name, i.alt) if n)]
            if missing:
                return f"not a scene file (no {' or '.join(missing)} on /top)"
    except OSError:
        return "cannot be opened as an HDF5 file"
    return "not a readable scene file"


def is_scene_file(path: str) -> bool:
    try:
        with _h5.File(path) as h5:
            return h5.kind("/top") == "group"
    except OSError:
        return False


def open_scene(path: str) -> SceneFile:
    """The scene file at `path`; CliError with one line saying why not."""
    try:
        return SceneFile(path)
    except (OSError, ScnError) as exc:
        if isinstance(exc.__cause__, ScnError):
            diagnostics(exc.__cause__)
        raise CliError(path, why_not_scene_file(path)) from None


def attempt(read: Any) -> Any:
    """read() -- or {"error": message} when the library fails it."""
    try:
        return read()
    except (ScnError, ValueError) as exc:
        if isinstance(exc, ScnError):
            diagnostics(exc)
        return {"error": str(exc)}


def failed(value: Any) -> bool:
    return isinstance(value, dict) and set(value) == {"error"}


def jsonable(value: Any) -> Any:
    """`value` as plain JSON data: enum members by name, numpy values as
    numbers and lists, non-finite floats as the strings "NaN", "Infinity"
    and "-Infinity" (which JSON lacks)."""
    if isinstance(value, IntEnum):
        return value.name
    if isinstance(value, dict):
        return {str(k): jsonable(v) for k, v in value.items()}
    if isinstance(value, (list, tuple)):
        return [jsonable(v) for v in value]
    if isinstance(value, np.ndarray):
        return jsonable(value.tolist())
    if isinstance(value, np.generic):
        return jsonable(value.item())
    if isinstance(value, float) and not math.isfinite(value):
        return "NaN" if math.isnan(value) else ("Infinity" if value > 0 else "-Infinity")
    if isinstance(value, bytes):
        return value.decode("latin-1")
    return value


def print_json(value: Any) -> None:
    print(json.dumps(jsonable(value), indent=2, allow_nan=False))


def number(value: Any) -> str:
    """A number as people write it: integers plainly, floats with up to 6
    significant digits."""
    if isinstance(value, (float, np.floating)):
        return f"{float(value):.6g}"
    return str(value)


def numbers(values: Any) -> str:
    """A short list of numbers, to 4 significant digits."""
    flat = np.asarray(values).ravel()
    if flat.dtype.kind == "f":
        flat = np.where(np.abs(flat) < 1e-9, 0.0, flat)
        return "[" + ", ".join(f"{v:.4g}" for v in flat.tolist()) + "]"
    return "[" + ", ".join(number(v) for v in flat.tolist()) + "]"


EDGE = 3  # values shown at each end of a summarised array
WHOLE = 16  # arrays of up to this many values are shown whole


def summary(arr: Any) -> Any:
    """A dict that stands for a bulk array: shape, dtype, min, max and its
    first and last values; small arrays stay whole."""
    arr = np.asarray(arr)
    if arr.size <= WHOLE:
        return arr
    flat = arr.ravel()
    finite = flat[np.isfinite(flat)] if flat.dtype.kind == "f" else flat
    return {"shape": list(arr.shape), "dtype": str(arr.dtype),
            "min": finite.min() if finite.size else None,
            "max": finite.max() if finite.size else None,
            "first": flat[:EDGE], "last": flat[-EDGE:]}


def progress(items: Iterable[T], total: int, what: str) -> Iterator[T]:
    """`items`, with a progress bar on standard error when it is a terminal,
    the work lasts over a second and tqdm is installed."""
    if not sys.stderr.isatty():
        yield from items
        return
    try:
        from tqdm import tqdm  # type: ignore[import-untyped]
    except ImportError:
        yield from items
        return
    yield from tqdm(items, total=total, desc=what, unit="", file=sys.stderr, delay=1.0,
                    leave=False, disable=False)


def library_version() -> str:
    name, version, file_version = (_capi.call(e).decode() for e in (
        "scnapi_name", "scnapi_version", "scnfile_version"))
    return f"{name} {version}, file format {file_version}"
