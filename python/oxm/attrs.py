"""Tagged attributes: reading them into a read-only mapping keyed by constant
name with values converted by tag, and encoding a caller's mapping for the
announce-and-add protocol of the writer.

Render attributes and viewports convert exactly as ``_oxm``'s ``rendAttrs``
and ``vportAttrs`` do (booleans, enumerations with their legal values,
floats, arrays, texts, instance matrices, and a few tags left unconverted
as None). The other owner kinds convert by the library's classification of
the tag (``attr_classify``): one int or float becomes a Python number,
several become a numpy array, characters a str up to the first NUL.
"""
from __future__ import annotations

import ctypes
from ctypes import byref, c_int
from enum import IntEnum
from typing import Any, Dict, Iterator, List, Mapping, Optional, Tuple, Union

import numpy as np

from . import _capi
from ._capi import text
from ._errors import ScnError
from .enums import TAG_ENUMS, tag_name, tag_value

Key = Union[str, int]


class OwnerKind(IntEnum):
    """The records that carry tagged attributes, by the library's codes."""

    PART = 1
    REND_ATTR = 2
    VPORT = 3
    APLANE = 4
    ANNOT = 5
    IMAGE = 6
    GEOM = 7
    NOTE = 8


FLOAT, INT, CHAR = 0, 1, 2  # the library's value types (SCNAPI_ATTR_*)

# Tags whose number of values another tag of the record gives:
# dependent -> (governing tag, values per unit of the governing value).
DEPENDENT: Dict[int, Tuple[int, int]] = {294: (293, 1), 1188: (1187, 16), 6200: (6001, 1)}

# ---- conversion of render attributes and viewports ------------------------

_BOOL, _INT, _FLOAT, _ARRAY, _TEXT, _INSTANCES, _SKIP = range(7)


def _names(text: str) -> List[str]:
    return ["OXR_" + word for word in text.split()]


_RULE_NAMES = {
    _BOOL: _names("""
        RENDATTR_ISVISIBLE RENDATTR_USEAUXCLIP RENDATTR_SHOWNODEIDS RENDATTR_SHOWELEMENTIDS
        RENDATTR_ISHIDDENLINE RENDATTR_SHOWCOORDS RENDATTR_FILL2D RENDATTR_VECTORTIPFIXEDSIZE
        RENDATTR_ANIMATEDTRACES RENDATTR_DRAWTRACES RENDATTR_TRACERMULTPULSE
        RENDATTR_TRACERCOLORBY1D VPORT_ISVISIBLE VPORT_ISHIDDENLINE VPORT_IS2D VPORT_FILL2D
        VPORT_AXISVISIBLE VPORT_AXISLABELS VPORT_AXISARROWS VPORT_BOUNDSVISIBLE
        VPORT_BOUNDSXAXISVISIBLE VPORT_BOUNDSYAXISVISIBLE VPORT_BOUNDSZAXISVISIBLE
        VPORT_BOUNDSGRIDFIXED VPORT_BOUNDSXLABELS VPORT_BOUNDSYLABELS VPORT_BOUNDSZLABELS"""),
    _INT: _names("""
        RENDATTR_DISPLACEBYVARID RENDATTR_NODESPHEREDETAIL RENDATTR_SCALENODEBYVARID
        RENDATTR_COLORBYVAR RENDATTR_ALPHABYVAR RENDATTR_VECTORVAR RENDATTR_TRACERTIMEVAR
        RENDATTR_NUMINSTANCE VPORT_AXISFONTSTYLE VPORT_NUMLIGHTS VPORT_BACKGROUNDNUMCOL
        VPORT_LIGHTSCREENCOORDS VPORT_BOUNDSFONTSTYLE VPORT_BOUNDSAXISWIDTH VPORT_BOUNDSGRIDWIDTH
        VPORT_BOUNDSXGRIDNUM VPORT_BOUNDSYGRIDNUM VPORT_BOUNDSZGRIDNUM VPORT_BOUNDSSUBGRIDWIDTH
        VPORT_BOUNDSXSUBGRIDNUM VPORT_BOUNDSYSUBGRIDNUM VPORT_BOUNDSZSUBGRIDNUM"""),
    _FLOAT: _names("""
        RENDATTR_SHRINKFACTOR1D2D RENDATTR_DISPLACEMENTSCALE RENDATTR_NODESCALESCREEN
        RENDATTR_NODESCALEGEOM RENDATTR_LINEWIDTH RENDATTR_FILLRATIO RENDATTR_DIFFUSELIGHT
        RENDATTR_SHININESS RENDATTR_HIGHLIGHTINTENSITY RENDATTR_VECTORTIPSCALE
        RENDATTR_VECTORTIPANGLE RENDATTR_TRACERCURTIME RENDATTR_TRACERTIME RENDATTR_TRACERDELTA
        RENDATTR_TRACERINTERVAL RENDATTR_TRACERWIDTH VPORT_AXISSCALE VPORT_ZNEAR VPORT_ZFAR
        VPORT_PERANG VPORT_WIDTH VPORT_HEIGHT VPORT_BOUNDSWIDTH VPORT_BOUNDSHEIGHT
        VPORT_BOUNDSXLABELSCALE VPORT_BOUNDSYLABELSCALE VPORT_BOUNDSZLABELSCALE"""),
    _ARRAY: _names("""
        VPORT_AXISPOS VPORT_POSITION VPORT_BOUNDSMIN RENDATTR_TRACERRGB VPORT_LOOKAT
        VPORT_LOOKFROM VPORT_UPDIR VPORT_TRANSCENTER RENDATTR_RGBA0D RENDATTR_RGBA0DVEC
        RENDATTR_RGBA1D RENDATTR_RGBA1D0 RENDATTR_RGBA2D RENDATTR_RGBA2D1 RENDATTR_RGBA2D0
        VPORT_AXISRGBA VPORT_BORDERRGBA VPORT_BOUNDSAXISRGBA VPORT_BOUNDSGRIDRGBA
        VPORT_BOUNDSSUBGRIDRGBA VPORT_BOUNDSXLABELRGBA VPORT_BOUNDSYLABELRGBA
        VPORT_BOUNDSZLABELRGBA VPORT_BACKGROUNDPOS VPORT_LIGHTDIFF VPORT_LIGHTSPEC VPORT_LIGHTAMB
        VPORT_LIGHTPOS VPORT_ROTMAT VPORT_TRANSMAT VPORT_SCALMAT VPORT_BACKGROUNDCOLORS"""),
    _TEXT: _names("""
        VPORT_BOUNDSXLABELFORMAT VPORT_BOUNDSYLABELFORMAT VPORT_BOUNDSZLABELFORMAT
        VPORT_AXISFONTFAMILY VPORT_BOUNDS_FONTFAMILY"""),
    _INSTANCES: _names("RENDATTR_INSTANCE"),
    _SKIP: _names("""
        RENDATTR_CULLFACE2D RENDATTR_CULLFACE2D1 RENDATTR_CULLFACE2D0 RENDATTR_TRACERNUMTIPS
        RENDATTR_DRAWTRACETIPS RENDATTR_SHOW1DQUAD RENDATTR_SHOWVARLABELS
        RENDATTR_VARLABELSPACING RENDATTR_LABELVAR RENDATTR_VARLABELFORMAT RENDATTR_DETAIL
        RENDATTR_FONTSTYLE RENDATTR_FONTFAMILY RENDATTR_FONT RENDATTR_TEXTRGB
        RENDATTR_TEXTXALIGN RENDATTR_TEXTYALIGN RENDATTR_NODEBITMAP RENDATTR_VECTORSCALE
        RENDATTR_LINEPATTERN RENDATTR_FONTSCALE RENDATTR_TEXTOCCLUSION RENDATTR_TEXTSCALEWIN
        VPORT_BORDERVISIBLE VPORT_BOUNDSAXISCULLING VPORT_AXISLABELSCALE"""),
}
_GRID_STYLES = (1800, 1801, 1802, 1804, 1805)
_GRID_TYPES = (10, 20, 30)
# Enumeration tags and their legal values; other values read as None.
_LEGAL: Dict[str, Tuple[int, ...]] = {
    "OXR_RENDATTR_ELEMENTREP": tuple(range(1000, 1006)),
    "OXR_RENDATTR_MIRRORAXES": (0, 1, 2, 4, 8, 16, 32, 64, 128),
    **{f"OXR_RENDATTR_SHOW{d}": (0, 1, 2, 4, 8) for d in ("0D", "1D", "2D")},
    **{f"OXR_RENDATTR_SHADETYPE{s}": (1500, 1501, 1502)
       for s in ("0D", "1D", "1D0", "2D", "2D1", "2D0")},
    **{f"OXR_RENDATTR_COLORBY{s}": (1020, 1021)
       for s in ("0D", "0DVEC", "1D", "1D0", "2D", "2D1", "2D0")},
    "OXR_RENDATTR_NODEREP": tuple(range(1600, 1608)),
    "OXR_RENDATTR_NODESCALESPACE": (1700, 1701),
    "OXR_RENDATTR_LINEREP": _GRID_STYLES,
    **{f"OXR_VPORT_BOUNDS{a}{s}GRIDSTYLE": _GRID_STYLES for a in "XYZ" for s in ("", "SUB")},
    "OXR_RENDATTR_VECTORTIPSTYLE": (0, 10, 20),
    "OXR_VPORT_PROJTYPE": _GRID_TYPES,
    **{f"OXR_VPORT_BOUNDS{a}{s}GRIDTYPE": _GRID_TYPES for a in "XYZ" for s in ("", "SUB")},
    "OXR_VPORT_BACKGROUNDFILLTYPE": (10, 20, 30, 40),
    **{f"OXR_VPORT_{a}TRANSFORM": (0, 1) for a in "XYZ"},
}
_DISPLAY_RULES: Dict[str, int] = {name: rule for rule, names in _RULE_NAMES.items()
                                  for name in names}
_DISPLAY_KINDS = (OwnerKind.REND_ATTR, OwnerKind.VPORT)
# tag -> constant name, per owner kind
_TAG_NAMES: Dict[int, Dict[int, str]] = {
    kind: {int(m): m.name for m in cls} for kind, cls in TAG_ENUMS.items()}


def _generic(name: Optional[str], raw: Any) -> Any:
    """Conversion by classification: one number as a Python number, several
    as the array, characters as text."""
    if isinstance(raw, bytes):
        return text(raw)
    return raw[0].item() if raw.size == 1 else raw


def _display(name: Optional[str], raw: Any) -> Any:
    rule = _DISPLAY_RULES.get(name or "")
    if name in _LEGAL:
        value = int(raw[0])
        return value if value in _LEGAL[name] else None
    if rule is None or rule == _SKIP:
        return None
    if rule == _BOOL:
        return int(raw[0]) == 1
    if rule == _INT:
        return int(raw[0])
    if rule == _FLOAT:
        return float(raw[0])
    if rule == _TEXT:
        return text(raw)
    if rule == _INSTANCES:
        return raw.reshape(-1, 4, 4)
    return raw


class Attrs(Mapping[Key, Any]):
    """The tagged attributes of one record, read-only: keys are the tags'
    constant names (a tag without a name on this kind of record keeps its
    number as key), values converted by tag. ``raw`` maps the same keys to
    the values as stored (int32/float32 arrays, bytes; None for a tag the
    library does not accept), ``tags`` lists the tags in file order."""

    __slots__ = ("_values", "raw", "tags")

    def __init__(self, values: Dict[Key, Any], raw: Dict[Key, Any],
                 tags: Tuple[int, ...]) -> None:
        self._values = values
        self.raw = raw
        self.tags = tags

    def __getitem__(self, key: Key) -> Any:
        return self._values[key]

    def __iter__(self) -> Iterator[Key]:
        return iter(self._values)

    def __len__(self) -> int:
        return len(self._values)

    def __repr__(self) -> str:
        return f"Attrs({self._values!r})"


EMPTY = Attrs({}, {}, ())
_classify = _capi.ENTRIES["attr_classify"][0]
_read_attr = _capi.ENTRIES["scn_read_attr"][0]
_ARRAY_TYPES = {INT: np.int32, FLOAT: np.float32}
# Scratch outputs, reused by every call (the library is used from one thread).
_TYPE, _COUNT = c_int(), c_int()
_TYPE_REF, _COUNT_REF = byref(_TYPE), byref(_COUNT)
_SCRATCH = ctypes.create_string_buffer(1024)  # grows for larger attributes
_TAGS = (c_int * 150)()  # a record holds at most 150 attributes


# (kind, tag) -> classification of the tags whose count depends on no other
# tag: it never changes, so the library is asked once per process.
_FIXED: Dict[Tuple[int, int], Optional[Tuple[int, int]]] = {}


def classify(handle: Optional[int], kind: int, tag: int) -> Optional[Tuple[int, int]]:
    """(type, count) of `tag` on a record of `kind`, or None when the
    library rejects it; dependent counts from the record in the handle's
    store (none without a handle)."""
    fixed = tag not in DEPENDENT
    if fixed and (kind, tag) in _FIXED:
        return _FIXED[kind, tag]
    found = (None if _classify(handle if not fixed else None, kind, tag, _TYPE_REF, _COUNT_REF)
             else (_TYPE.value, _COUNT.value))
    if fixed:
        _FIXED[kind, tag] = found
    return found


def _value(handle: int, kind: int, index: int, ordinal: int, vtype: int, count: int) -> Any:
    """The stored values of one attribute: bytes for text, else an array.
    The library fills a scratch buffer, from which the values are copied
    (cheaper than an array of their own for it to fill: most values are
    one number)."""
    global _SCRATCH
    size = count * (1 if vtype == CHAR else 4)
    if size > len(_SCRATCH):
        _SCRATCH = ctypes.create_string_buffer(size)
    status = _read_attr(handle, kind, index, ordinal, _SCRATCH)
    if status != 0:
        raise ScnError("scn_read_attr failed", _capi.take_diagnostics(), "scn_read_attr",
                             status)
    if vtype == CHAR:
        return _SCRATCH.raw[:count]
    return np.frombuffer(memoryview(_SCRATCH), _ARRAY_TYPES[vtype], count).copy()


def read(handle: int, kind: int, index: int) -> Attrs:
    """The attributes of record `index` of owner kind `kind` (inside an
    operation)."""
    call = _capi.call
    n = call("scn_read_num_attributes", handle, kind, index)
    if n == 0:
        return EMPTY
    call("scn_read_attribute_ids", handle, kind, index, _TAGS)
    values: Dict[Key, Any] = {}
    raw: Dict[Key, Any] = {}
    convert = _display if kind in _DISPLAY_KINDS else _generic
    names = _TAG_NAMES.get(kind, {})
    tag_list = _TAGS[:n]
    for ordinal, tag in enumerate(tag_list):
        name = names.get(tag)
        key: Key = tag if name is None else name
        found = classify(handle, kind, tag)
        if found is None:
            raw[key] = values[key] = None
            continue
        raw[key] = stored = _value(handle, kind, index, ordinal, *found)
        values[key] = convert(name, stored)
    return Attrs(values, raw, tuple(tag_list))


# ---- writing ---------------------------------------------------------------

def _governor_value(dependent: int, value: Any) -> int:
    """The governing count implied by a dependent tag's values."""
    _, per = DEPENDENT[dependent]
    if dependent == 6200:
        return len(value.encode("utf-8") if isinstance(value, str) else bytes(value))
    return int(np.asarray(value).size) // per


def _encode(name: str, vtype: int, count: int, value: Any) -> Any:
    if vtype == CHAR:
        data = value.encode("utf-8") if isinstance(value, str) else value
        if not isinstance(data, (bytes, bytearray)):
            raise TypeError(f"attrs[{name}]: a text (str or bytes) is expected")
        if len(data) > count:
            raise ValueError(f"attrs[{name}]: at most {count} bytes of text, got {len(data)}")
        return ctypes.create_string_buffer(bytes(data), max(count, 1))
    arr = np.asarray(value)
    allowed = "biu" if vtype == INT else "biuf"
    if arr.dtype.kind not in allowed:
        raise TypeError(f"attrs[{name}]: {'int' if vtype == INT else 'float'} values "
                        f"are expected, got {arr.dtype}")
    if arr.size != count:
        raise ValueError(f"attrs[{name}]: {count} values expected, got {arr.size}")
    return np.ascontiguousarray(arr.ravel(), _ARRAY_TYPES[vtype])


def encode(kind: int, attrs: Mapping[Any, Any]) -> List[Tuple[int, Any]]:
    """(tag, buffer) in writing order for a caller's {name or value: values},
    checked against the classification before the library sees any of it.
    A dependent tag (contour levels, instance matrices, a text string)
    comes after its governing tag, which is added from the values' length
    when the caller leaves it out."""
    given: Dict[int, Tuple[str, Any]] = {}
    for key, value in attrs.items():
        try:
            tag: Optional[int] = tag_value(kind, key)
        except ValueError:
            tag = None
        if tag is None or classify(None, kind, tag) is None:
            raise ValueError(f"attrs: {key!r} is not an attribute tag of a "
                             f"{OwnerKind(kind).name.lower()} record")
        name = tag_name(kind, tag) or str(tag)
        given[tag] = (name, value)
    for dependent, (governor, _) in DEPENDENT.items():
        if dependent in given and governor not in given:
            name = tag_name(kind, governor) or str(governor)
            given[governor] = (name, _governor_value(dependent, given[dependent][1]))
    out = []
    for tag in sorted(given, key=lambda t: t in DEPENDENT):
        name, value = given[tag]
        cls = classify(None, kind, tag)
        assert cls is not None
        vtype, count = cls
        if tag in DEPENDENT:
            governor, per = DEPENDENT[tag]
            count += per * int(np.asarray(given[governor][1]).ravel()[0])
        out.append((tag, _encode(name, vtype, count, value)))
    return out


def write(handle: int, kind: int, index: int, items: List[Tuple[int, Any]]) -> None:
    """Announces and adds the attributes of one record, as `encode` gave
    them (inside an operation); the library writes them when the last is
    added."""
    if not items:
        return
    _capi.call("scn_write_num_attributes", handle, kind, index, len(items))
    for tag, buf in items:
        ptr = buf.ctypes.data if isinstance(buf, np.ndarray) else buf
        _capi.call("scn_write_attr", handle, kind, index, tag, ptr)
