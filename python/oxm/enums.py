"""Enumerations of the scene file as ``enum.IntEnum`` classes.

The classes are built from the ``OXR_`` constants that ``_oxm`` publishes
(the project's one constant table), grouped by ``_enum_table.ENUM_GROUPS``;
member names are the constant names (``ElemType.OXR_ELEM_TRILIST``), and
names that share a value are aliases. ``enums.pyi`` carries the same
classes for type checkers.
"""
from enum import IntEnum
from typing import Dict, List, Optional, Tuple, Type, Union

import _oxm

from ._enum_table import ENUM_GROUPS, members

_CONSTANTS: List[Tuple[str, int]] = [
    (name, getattr(_oxm, name)) for name in dir(_oxm) if name.startswith("OXR_")]

TAG_ENUMS: Dict[int, Type[IntEnum]] = {}
for _group in ENUM_GROUPS:
    _cls = IntEnum(_group.cls, members(_group, _CONSTANTS), module=__name__)  # type: ignore[misc]
    globals()[_group.cls] = _cls
    if _group.kind is not None:
        TAG_ENUMS[_group.kind] = _cls
del _group, _cls


def enum_value(cls: Type[IntEnum], value: int) -> Union[IntEnum, int]:
    """The member of `cls` with `value`, or the plain int when the value has
    no member (a file may hold codes that this vocabulary does not name)."""
    try:
        return cls(value)
    except ValueError:
        return int(value)


def tag_name(kind: int, tag: int) -> Optional[str]:
    """The constant name of attribute tag `tag` on owner kind `kind`, or
    None when the tag has no name there."""
    cls = TAG_ENUMS.get(kind)
    if cls is None:
        return None
    try:
        return cls(tag).name
    except ValueError:
        return None


def tag_value(kind: int, key: Union[str, int]) -> int:
    """The tag for a constant name, a value or an enum member; ValueError
    when a name is not a tag of owner kind `kind`."""
    if isinstance(key, str):
        cls = TAG_ENUMS.get(kind)
        if cls is None or key not in cls.__members__:
            raise ValueError(f"{key!r} is not an attribute tag of this record")
        return int(cls.__members__[key])
    if isinstance(key, bool) or not isinstance(key, int):
        raise TypeError(f"attribute keys are tag names or values, not {type(key).__name__}")
    return int(key)
