"""The scene file's layout as data: every record family with its groups,
counters, attributes, datasets and cross references.

``oxm check`` walks a file against this table; ``oxm info`` and ``oxm dump``
take the families' names and order from it. A family's records are groups
"<word>_<index>" in its collection group under "/top", counted by an int
attribute of that group; a record may hold nested levels (a scene's parts,
a node set's variable slots), counted by an attribute of an enclosing
record.

Sizes are products of factors: numbers, names of int attributes of the
record or of an enclosing one (the nearest wins), and derived sizes that
start with "@" (the checker computes them: "@components" is the floats per
value of the variable the record's "varIndex" names, "@slot_components"
that of the element list's slot with the record's index, "@extents" the
length of a variable's extents by its kind, "@pixel_bytes" the bytes per
pixel of the image's format). A level's `rule` names a check that the
table cannot say: element connectivity against its type, node references
against the node set.
"""
from typing import Dict, NamedTuple, Optional, Tuple, Union

INT, FLOAT, TEXT, BYTES = "int", "float", "text", "bytes"
Size = Tuple[Union[int, str], ...]


class Item(NamedTuple):
    """An attribute (INT or FLOAT scalar, TEXT: a 1-D array of chars of
    `size`) or a dataset (1-D INT, FLOAT or BYTES array of `size` values)
    of a record group."""

    name: str
    type: str
    dataset: bool = False
    size: Size = ()
    ref: Optional[str] = None  # the family whose record index each value is
    none: bool = False  # -1 stands for "no record"
    when: Optional[str] = None  # only when this int attribute is not 0
    optional: bool = False  # older writers leave it out
    alt: Optional[str] = None  # the name older files use instead
    steps_of: Optional[str] = None  # step numbers into the sources this dataset lists
    equals: Optional[str] = None  # an int attribute whose value this one repeats


def attr(name: str, type: str = INT, *size: Union[int, str], **kw: object) -> Item:
    return Item(name, type, False, size, **kw)  # type: ignore[arg-type]


def data(name: str, type: str, *size: Union[int, str], **kw: object) -> Item:
    return Item(name, type, True, size, **kw)  # type: ignore[arg-type]


def text(name: str, width: Union[int, str] = 256, **kw: object) -> Item:
    return Item(name, TEXT, False, (width,), **kw)  # type: ignore[arg-type]


class Level(NamedTuple):
    """Records "<word>_<n>" for n below the int attribute `counter`; in
    the group `folder` of the enclosing record when it is set."""

    word: str
    counter: str
    items: Tuple[Item, ...] = ()
    folder: str = ""
    levels: Tuple["Level", ...] = ()
    optional: bool = False  # records below the count may be missing
    tagged: int = 0  # owner kind of the records' tagged attributes (0: none)
    rule: str = ""  # a check of the checker's own for these records


class Family(NamedTuple):
    key: str  # the SceneFile sequence
    label: str  # one record, in messages
    group: str  # the collection group under "/top"
    level: Level  # its counter: an attribute of the collection group


# The tagged attribute store of a record group (its "numAttrs" is written
# with the record, the rest when it has attributes).
TAGGED = (
    attr("numAttrs"),
    *(attr(n, when="numAttrs") for n in ("ivalsLen", "fvalsLen", "cvalsLen")),
    data("attrTags", INT, "numAttrs"), data("attrPtrs", INT, "numAttrs"),
    *(data(n, t, n + "Len", when="numAttrs") for n, t in (("ivals", INT), ("fvals", FLOAT),
                                                          ("cvals", BYTES))),
)
MAX_ATTRS = 150


def _frames(sources: str, name: str = "sourceIndices") -> Tuple[Item, ...]:
    return (data(name, INT, "nFrames", ref=sources),
            data("stepNums", INT, "nFrames", steps_of=name))


def _source(key: str, label: str, group: str, word: str, indices: str, target: str) -> Family:
    return Family(key, label, group, Level(word, "n" + group, (
        attr("nSteps"), attr("stepId"), data(indices, INT, "nSteps", ref=target),
        data("stepValues", FLOAT, "nSteps"))))


def _channel(count: str, prefix: str) -> Tuple[Item, ...]:
    return (attr(count, when="paletteProvided"),
            *(data(prefix + s, FLOAT, count, when="paletteProvided") for s in ("Cntl", "Cols")))


FAMILIES: Tuple[Family, ...] = (
    Family("scenes", "scene", "Scenes", Level("scene", "nScenes", (
        attr("nParts"), attr("nAnnots"), attr("nVports"), attr("nAplanes"),
        attr("nViews", optional=True), text("sceneName"), attr("nFrames"), attr("startFrame"),
        attr("endFrame"), attr("stride"), attr("loopMode"), attr("runMode", optional=True),
        attr("fps", FLOAT)), levels=(
        Level("part", "nParts", (text("partName"), text("partDesc"), attr("nFrames"),
                                 *_frames("part_sources")), folder="parts"),
        Level("annot", "nAnnots", (attr("nFrames"), *_frames("annot_sources")), folder="annots"),
        Level("vport", "nVports", (attr("nParts"), attr("nFrames"),
                                   data("partIndices", INT, "nParts", ref="parts"),
                                   *_frames("vport_sources")), folder="vports"),
        Level("aplane", "nAplanes", (attr("aplaneIndex", ref="aplanes"), attr("nAnnots"),
                                     data("annotIndices", INT, "nAnnots", ref="annots")),
              folder="aplanes"),
        Level("view", "nViews", (text("viewName"),), folder="views", levels=(
            Level("vport", "nVports", (attr("nFrames"), *_frames("vport_sources", "vsrcIndices"))),
        )),
    ))),
    _source("part_sources", "part source", "Psrcs", "psrc", "partIndices", "parts"),
    _source("annot_sources", "annotation source", "Asrcs", "asrc", "annotIndices", "annots"),
    _source("vport_sources", "viewport source", "Vsrcs", "vsrc", "vpIndices", "vports"),
    Family("parts", "part", "Parts", Level("part", "nParts", (
        text("partName"), text("partDesc"), attr("partType"),
        attr("staticRepIndex", ref="reps", none=True),
        attr("dynamicRepIndex", ref="reps", none=True)), tagged=1)),
    Family("reps", "rep", "Reps", Level("rep", "nReps", (
        attr("numRepGeoms"), attr("repType"),
        data("geomIndicies", INT, "numRepGeoms", ref="geoms"),
        attr("rendAttrIndex", ref="rend_attrs")))),
    Family("rend_attrs", "render attribute", "RendAttrs", Level("rendAttr", "nRendAttrs",
                                                                tagged=2)),
    Family("geoms", "geom", "Geoms", Level("geom", "nGeoms", (
        attr("whichNodes", ref="node_sets"), attr("whichElemList", ref="elem_lists", none=True),
        attr("extentsProvided"), attr("empty"),
        data("extents", FLOAT, 6, when="extentsProvided")), tagged=7, rule="node_range")),
    Family("node_sets", "node set", "Nodes", Level("nodes", "nNodes", (
        attr("numNodes"), attr("nodeDimension"), attr("hasNodeIds"), attr("numNodalVars"),
        attr("nodeNormalIndex"), data("coords", FLOAT, "numNodes", "nodeDimension"),
        data("ids", INT, "numNodes", when="hasNodeIds")), levels=(
        Level("var", "numNodalVars", (
            attr("varIndex", ref="variables"), attr("numValues", equals="numNodes"),
            attr("useUndefined"), attr("undefinedValue", FLOAT),
            data("vals", FLOAT, "numValues", "@components"))),
    ))),
    Family("elem_lists", "element list", "ElemLists", Level("elemlist", "nElemLists", (
        attr("numElemRecs"), attr("numElemVars"), attr("elemNormalIndex"), attr("hasElemIds")),
        levels=(
        Level("var", "numElemVars", (attr("varIndex", ref="variables"), attr("useUndefined"),
                                     attr("undefinedValue", FLOAT))),
        Level("elem", "numElemRecs", (
            attr("elemListType"), attr("elemCount"), attr("lenList"),
            data("conn", INT, "lenList"), data("ids", INT, "elemCount", when="hasElemIds")),
            rule="connectivity", levels=(Level("var", "numElemVars", (
                attr("numValues", equals="elemCount"),
                data("vals", FLOAT, "numValues", "@slot_components")), optional=True),)),
    ))),
    Family("variables", "variable", "Vars", Level("var", "nVars", (
        text("varName", 64), text("varDesc", 128), attr("varCentering"), attr("varKind"),
        attr("extentsProvided"), data("extents", FLOAT, "@extents", when="extentsProvided"),
        attr("paletteProvided"), text("paletteName", 64, when="paletteProvided"),
        attr("paletteInterp", when="paletteProvided"), attr("colorSpace", when="paletteProvided"),
        attr("palMinVal", FLOAT, optional=True), attr("palMaxVal", FLOAT, optional=True),
        attr("nSamples", when="paletteProvided"), *_channel("nRedOrHue", "redOrHue"),
        *_channel("nGrnOrSat", "grnOrSat"), *_channel("nBluOrVal", "bluOrVal"),
        *_channel("nAlpha", "alpha")))),
    Family("vports", "viewport", "Vports", Level("vport", "nVports", (
        attr("nParts"), data("partIndices", INT, "nParts", ref="parts")), tagged=3)),
    Family("aplanes", "annotation plane", "Aplanes", Level("aplane", "nAplanes", (
        attr("nAnnots"), data("annotIndices", INT, "nAnnots", ref="annots")), tagged=4)),
    Family("annots", "annotation", "Annots", Level("annot", "nAnnots", (
        attr("annotType"), attr("nQueries"), data("queryIndices", INT, "nQueries", ref="queries"),
        attr("monoImageIndex", ref="images", none=True),
        attr("stereoImageIndex", ref="images", none=True)), tagged=5)),
    Family("images", "image", "Images", Level("image", "nImages", (
        attr("width"), attr("height"), attr("pixelFormat"), attr("hasDepth"),
        data("pixels", BYTES, "width", "height", "@pixel_bytes"),
        data("depth", FLOAT, "width", "height", when="hasDepth")), tagged=6)),
    Family("queries", "query", "Queries", Level("query", "nQueries", (
        text("queryName"), text("xAxisLabel"), text("yAxisLabel"),
        attr("partIndex", ref="parts")))),
    Family("notes", "note", "Notes", Level("note", "nNotes", (
        attr("noteLen"), text("noteText", "noteLen")), tagged=8)),
)
BY_KEY: Dict[str, Family] = {f.key: f for f in FAMILIES}

# The version attributes of "/top" (older files carry the `alt` names).
TOP = (text("scn_api_version", alt="api_version"), text("scn_file_version", alt="rw_release"),
       text("framework_version", optional=True))

# Tagged attributes whose value is a record index (-1: none).
TAG_REFS: Dict[str, str] = {
    **{f"OXR_RENDATTR_{t}": "variables" for t in (
        "COLORBYVAR", "ALPHABYVAR", "VECTORVAR", "DISPLACEBYVARID", "SCALENODEBYVARID",
        "TRACERTIMEVAR")},
    "OXR_ANNOT_LEGEND_VAR": "variables", "OXR_ANNOT_PLOT_VPORT": "vports",
    "OXR_ANNOT_GEOM_INDEX": "geoms",
}
