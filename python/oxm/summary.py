"""What a scene file holds, as plain Python data."""
import _oxm

# (key, counting method, label) of every collection a file object counts.
COLLECTIONS = (
    ("scenes", "sceneNum", "scenes"),
    ("parts", "partNum", "parts"),
    ("partSources", "partSrcNum", "part sources"),
    ("reps", "repNum", "reps"),
    ("rendAttrs", "rendAttrNum", "render attributes"),
    ("geoms", "geomNum", "geoms"),
    ("nodeSets", "nodeNum", "node sets"),
    ("elemLists", "elemListNum", "element lists"),
    ("vars", "varNum", "variables"),
    ("vports", "vportNum", "viewports"),
)


def _records(count, read):
    """read(i) for every record; an unreadable record becomes None."""
    out = []
    for i in range(max(count, 0)):
        try:
            out.append(read(i))
        except RuntimeError:
            out.append(None)
    return out


def summarize(path):
    """Counts of every collection and the headline fields of the scenes,
    parts, variables, node sets and element lists of the file at *path*."""
    f = _oxm.oxm(path)
    counts = {key: getattr(f, method)() for key, method, _ in COLLECTIONS}
    return {
        "file": str(f.filename),
        "counts": counts,
        "scenes": _records(counts["scenes"], f.sceneInfo),
        "parts": _records(counts["parts"], f.partInfo),
        "vars": _records(counts["vars"], lambda i: {
            k: v for k, v in f.varInfo(i).items() if not hasattr(v, "dtype")}),
        "nodeSets": _records(counts["nodeSets"], lambda i: {
            k: v for k, v in f.nodeInfo(i).items() if k != "coords"}),
        "elemLists": _records(counts["elemLists"], lambda i: [
            _element_record(f.elemInfo(i, r))
            for r in range(f.elemListInfo(i)["numElemRecs"])]),
    }


def _element_record(info):
    return "%s x%d" % (info["elemListTypeString"], info["elemCount"])
