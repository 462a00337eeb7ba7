"""How the OXR_ constants group into the enumerations of ``oxm.enums``: one
row per class. Pure data, shared by ``oxm.enums`` (which builds the classes
from the constants ``_oxm`` publishes) and the stub generator (which reads
the same constants from vocab/oxr_table.def)."""
from typing import Iterable, List, NamedTuple, Optional, Tuple


class Group(NamedTuple):
    cls: str
    prefix: str
    lo: int = 0
    hi: int = 0
    names: Tuple[str, ...] = ()  # explicit members, where a prefix mixes meanings
    kind: Optional[int] = None   # owner kind, for the attribute-tag classes


ENUM_GROUPS: Tuple[Group, ...] = (
    Group("PartType", "OXR_PART_", 0, 19),
    Group("RepType", "OXR_REP_", 1000, 1005),
    Group("ElemType", "OXR_ELEM_", 2000, 2014),
    Group("Centering", "OXR_CENTER_", 3000, 3002),
    Group("VarKind", "OXR_VAR_", 3100, 3105),
    Group("ColorSpace", "OXR_PALETTE_", names=("OXR_PALETTE_RGB", "OXR_PALETTE_HSV")),
    Group("AnimLoop", "OXR_ANIM_", names=("OXR_ANIM_ONCE", "OXR_ANIM_LOOP", "OXR_ANIM_BOUNCE")),
    Group("AnimRun", "OXR_ANIM_", names=("OXR_ANIM_STOP", "OXR_ANIM_PLAY", "OXR_ANIM_RECORD")),
    Group("AnnotType", "OXR_ANNOT_", names=("OXR_ANNOT_NONE", "OXR_ANNOT_TEXT", "OXR_ANNOT_IMAGE",
                                            "OXR_ANNOT_PLOT", "OXR_ANNOT_LEGEND")),
    Group("AplaneType", "OXR_APLANE_", 0, 1),
    Group("PixelFormat", "OXR_IMG_FMT_", 1, 16),
    Group("Projection", "OXR_PROJ_", 10, 30),
    # attribute tags, one class per owner kind (notes accept no tag)
    Group("PartTag", "OXR_PART_", 200, 412, kind=1),
    Group("RendAttrTag", "OXR_RENDATTR_", 1100, 1191, kind=2),
    Group("VportTag", "OXR_VPORT_", 4100, 4301, kind=3),
    Group("AplaneTag", "OXR_APLANE_", 5000, 5107, kind=4),
    Group("AnnotTag", "OXR_ANNOT_", 6001, 6301, kind=5),
    Group("ImageTag", "OXR_IMAGE_", 1000, 1000, kind=6),
    Group("GeomTag", "OXR_GEOM_", 7000, 7000, kind=7),
)


def members(group: Group, constants: Iterable[Tuple[str, int]]) -> List[Tuple[str, int]]:
    """The (name, value) members of `group` among `constants`: the explicit
    names in their order, or the prefix's names in the value range ordered
    by value, then name (the first name of a value is the member, the
    others its aliases)."""
    table = dict(constants)
    if group.names:
        return [(name, table[name]) for name in group.names]
    found = [(name, value) for name, value in table.items()
             if name.startswith(group.prefix) and group.lo <= value <= group.hi]
    return sorted(found, key=lambda item: (item[1], item[0]))
