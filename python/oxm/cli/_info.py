"""What scene files hold, in a few lines each.

The library's and the file's versions, the framework that wrote the file,
the compression of its arrays, the number of records of every family, and
one line for each scene (frames and rate), part, node set (nodes), element
list (elements by type), variable (kind, centering, range, palette),
viewport (parts, camera), annotation plane, annotation, image and note.
With --json one JSON document: an object for one file, a list for several.
"""
from __future__ import annotations

import argparse
import sys
from collections import Counter
from typing import Any, Callable, Dict, List, Optional, Tuple

from .. import _h5
from .._file import SceneFile
from .._layout import FAMILIES, TOP
from .._records import Annot, Aplane, ElemList, Image, NodeSet, Note, Part, Scene, Variable, Vport
from .._version import __version__
from ._common import (CliError, attempt, fail, failed, library_version, number, numbers,
                      open_scene, print_json)

Entry = Dict[str, Any]
NOTE_CHARS = 60  # of a note's text shown


def _name(value: Any) -> Any:
    return getattr(value, "name", value)


def _scene(s: Scene) -> Entry:
    return {"name": s.name, "frames": s.n_frames, "start": s.start_frame, "end": s.end_frame,
            "stride": s.stride, "fps": s.fps, "loop": _name(s.loop_mode), "run": _name(s.run_mode),
            "parts": s.n_parts, "viewports": s.n_vports, "annotations": s.n_annots,
            "annotation_planes": s.n_aplanes, "views": s.n_views}


def _part(p: Part) -> Entry:
    return {"name": p.name, "type": _name(p.part_type), "static_rep": p.static_rep,
            "dynamic_rep": p.dynamic_rep}


def _node_set(n: NodeSet) -> Entry:
    return {"nodes": n.n_nodes, "dimension": n.dimension, "variables": n.n_vars,
            "ids": n.has_ids}


def _elem_list(e: ElemList) -> Entry:
    counts: Dict[str, int] = Counter()
    for r in e.records:
        counts[str(_name(r.elem_type))] += r.count
    return {"records": e.n_records, "elements": dict(counts), "variables": e.n_vars}


def _variable(v: Variable) -> Entry:
    palette = v.palette
    return {"name": v.name, "kind": _name(v.kind), "centering": _name(v.centering),
            "min": v.minimum, "max": v.maximum,
            "palette": None if palette is None else {"name": palette.name,
                                                     "space": _name(palette.color_space)}}


def _vport(v: Vport) -> Entry:
    a = v.attrs
    return {"parts": v.parts, "look_from": a.get("OXR_VPORT_LOOKFROM"),
            "look_at": a.get("OXR_VPORT_LOOKAT"), "angle": a.get("OXR_VPORT_PERANG"),
            "projection": a.get("OXR_VPORT_PROJTYPE")}


def _aplane(a: Aplane) -> Entry:
    return {"annotations": a.annots, "type": a.attrs.get("OXR_APLANE_TYPE")}


def _annot(a: Annot) -> Entry:
    return {"type": _name(a.annot_type), "text": a.attrs.get("OXR_ANNOT_TEXT_STRING"),
            "variable": a.attrs.get("OXR_ANNOT_LEGEND_VAR"), "image": a.mono_image}


def _image(i: Image) -> Entry:
    return {"width": i.width, "height": i.height, "format": _name(i.pixel_format),
            "depth": i.has_depth}


def _note(n: Note) -> Entry:
    return {"length": n.length, "text": n.text}


def _plural(count: int, label: str) -> str:
    if count == 1:
        return f"{count} {label}"
    plural = label[:-1] + "ies" if label[-1] == "y" and label[-2] not in "aeiou" else label + "s"
    return f"{count} {plural}"


def _range(e: Entry) -> str:
    if e["min"] is None:
        return "no range"
    lo, hi = e["min"], e["max"]
    return f"range {numbers(lo)} .. {numbers(hi)}" if hasattr(lo, "__len__") else \
        f"range [{number(lo)}, {number(hi)}]"


def _clip(text: Optional[str]) -> str:
    text = " ".join((text or "").split())
    return repr(text if len(text) <= NOTE_CHARS else text[:NOTE_CHARS - 3] + "...")


def _camera(e: Entry) -> str:
    """What the viewport's tagged attributes tell of its camera."""
    at = "" if e["look_from"] is None else f" at {numbers(e['look_from'])}"
    to = "" if e["look_at"] is None else f" looking at {numbers(e['look_at'])}"
    angle = "" if e["angle"] is None else f", {number(e['angle'])} degrees"
    return f", camera{at}{to}{angle}" if at or to or angle else ""


# family, its builder and its line: the records listed one line each
LINES: Tuple[Tuple[str, str, Callable[[Any], Entry], Callable[[Entry], str]], ...] = (
    ("scenes", "scene", _scene, lambda e: f'"{e["name"]}", {e["frames"]} frames '
     f'({e["start"]}..{e["end"]} by {e["stride"]}) at {number(e["fps"])} fps, {e["loop"]}; '
     f'{_plural(e["parts"], "part")}, {_plural(e["viewports"], "viewport")}, '
     f'{_plural(e["annotations"], "annotation")}, '
     f'{_plural(e["annotation_planes"], "annotation plane")}, {_plural(e["views"], "view")}'),
    ("parts", "part", _part, lambda e: f'"{e["name"]}" {e["type"]}, static rep '
     f'{e["static_rep"]}, dynamic rep {e["dynamic_rep"]}'),
    ("node_sets", "node set", _node_set, lambda e: f'{e["nodes"]} nodes in {e["dimension"]}-D, '
     f'{_plural(e["variables"], "variable")}{", with ids" if e["ids"] else ""}'),
    ("elem_lists", "element list", _elem_list, lambda e: ", ".join(
        f"{n} {t}" for t, n in e["elements"].items()) + f' in {_plural(e["records"], "record")}'
     f', {_plural(e["variables"], "variable")}'),
    ("variables", "variable", _variable, lambda e: f'"{e["name"]}" {e["kind"]} at '
     f'{e["centering"]}, {_range(e)}' + (f', palette "{e["palette"]["name"]}" '
                                          f'({e["palette"]["space"]})' if e["palette"] else "")),
    ("vports", "viewport", _vport, lambda e: f'parts {numbers(e["parts"])}{_camera(e)}'),
    ("aplanes", "annotation plane", _aplane,
     lambda e: f'annotations {numbers(e["annotations"])}'),
    ("annots", "annotation", _annot, lambda e: e["type"] + (
        f' {_clip(e["text"])}' if e["text"] else "") + (
        f' of variable {e["variable"]}' if e["variable"] is not None else "")),
    ("images", "image", _image, lambda e: f'{e["width"]} x {e["height"]} {e["format"]}'
     f'{", with depth" if e["depth"] else ""}'),
    ("notes", "note", _note, lambda e: f'{e["length"]} bytes: {_clip(e["text"])}'),
)


def _text_attr(h5: _h5.File, name: str) -> Optional[str]:
    found = h5.attr("/top", name)
    if found is None or not isinstance(found.value, bytes):
        return None
    return found.value.split(b"\0", 1)[0].decode("utf-8", "replace")


def _pipeline(filters: Tuple[Tuple[str, Tuple[int, ...]], ...]) -> str:
    return " + ".join(f"{n} {v[0]}" if n == "deflate" and v else n for n, v in filters) or "none"


def storage(path: str) -> Tuple[Dict[str, Optional[str]], Dict[str, int]]:
    """The version attributes of the file, and how many of its int and
    float arrays of more than 100 values (the ones the library compresses)
    are stored with each filter pipeline."""
    with _h5.File(path) as h5:
        versions = {item.name: _text_attr(h5, item.name) or (
            _text_attr(h5, item.alt) if item.alt else None) for item in TOP}
        pipelines: Dict[str, int] = Counter()
        for obj, kind in h5.walk("/top"):
            info = h5.dataset(obj) if kind == "dataset" else None
            if info and info.type.shape and info.type.shape[0] > 100 and info.type.size == 4:
                pipelines[_pipeline(info.filters)] += 1
    return versions, dict(pipelines)


def summarize(f: SceneFile) -> Entry:
    """Everything `oxm info` tells about the open file `f`."""
    versions, pipelines = storage(f.path)
    versions["framework_version"] = f.framework_version or versions["framework_version"]
    out: Entry = {"file": f.path, "oxm": __version__, "versions": versions,
                  "compression": pipelines,
                  "counts": {fam.key: attempt(lambda key=fam.key: len(getattr(f, key)))
                             for fam in FAMILIES}}
    for key, _, build, _ in LINES:
        count = out["counts"][key]
        out[key] = [] if failed(count) else [
            {"index": i, **attempt(lambda i=i: build(getattr(f, key)[i]))} for i in range(count)]
    return out


def has_errors(value: Any) -> bool:
    if isinstance(value, dict):
        return "error" in value or any(has_errors(v) for v in value.values())
    return isinstance(value, list) and any(has_errors(v) for v in value)


def text(info: Entry, library: str) -> str:
    v = info["versions"]
    lines = [info["file"],
             f"  library: {library} (oxm {info['oxm']})",
             f"  file: API version {v['scn_api_version']}, file version {v['scn_file_version']}"
             f", framework {v['framework_version'] or 'not recorded'}",
             "  compression: " + ("; ".join(f"{p} ({_plural(n, 'array')} of more than 100 "
                                            f"values)" for p, n in info["compression"].items())
                                  or "no array of more than 100 values"),
             "  records: " + ", ".join(
                 f"{c['error']} ({fam.label}s)" if failed(c) else _plural(c, fam.label)
                 for fam in FAMILIES for c in [info["counts"][fam.key]])]
    for key, label, _, line in LINES:
        for e in info[key]:
            body = f"unreadable ({e['error']})" if "error" in e else line(e)
            lines.append(f"  {label} {e['index']}: {body}")
    return "\n".join(lines)


def add_args(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("files", nargs="+", metavar="FILE", help="scene files")
    parser.add_argument("--json", action="store_true", help="one JSON document")


def run(args: argparse.Namespace) -> int:
    entries: List[Entry] = []
    status = 0
    for path in args.files:
        try:
            with open_scene(path) as f:
                info = summarize(f)
        except (CliError, OSError) as exc:
            fail(exc if isinstance(exc, CliError) else CliError(path, str(exc)))
            entries.append({"file": path, "error": getattr(exc, "reason", str(exc))})
            status = 1
            continue
        if has_errors(info):
            status = 1
            print(f"oxm: {path}: some records cannot be read", file=sys.stderr)
        entries.append(info)
        if not args.json:
            print(text(info, library_version()))
    if args.json:
        print_json(entries if len(args.files) > 1 else entries[0])  # a list for several files
    return status
