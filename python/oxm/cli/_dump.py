"""Every record of a scene file, or of one family, or one record.

Each record shows its fields, its tagged attributes and its sub-records.
Bulk arrays (coordinates, connectivity, values, frames, pixels) are
summarised by shape, dtype, minimum, maximum and their first and last
values, shown whole with --full, and left out with --header (like
'ncdump -h'). --json gives one JSON document.
"""
from __future__ import annotations

import argparse
import sys
from dataclasses import fields, is_dataclass
from enum import IntEnum
from typing import Any, Dict, List, Optional, Tuple

import numpy as np

from .. import _records as r
from .._layout import FAMILIES
from ..attrs import Attrs
from ._common import CliError, attempt, fail, failed, number, open_scene, print_json, summary
from ._info import has_errors

# Per record class: its bulk arrays, and what else it shows besides its
# fields (sub-records, tagged attributes, small derived values).
ARRAYS: Dict[type, Tuple[str, ...]] = {
    r.ScenePart: ("source_indices", "step_nums"), r.SceneAnnot: ("source_indices", "step_nums"),
    r.SceneVport: ("part_indices", "source_indices", "step_nums"),
    r.SceneAplane: ("annot_indices",), r.ViewVport: ("source_indices", "step_nums"),
    r.Source: ("indices", "step_values"), r.Rep: ("geoms",), r.NodeSet: ("coords", "ids"),
    r.NodeVar: ("values",), r.Element: ("connectivity", "ids", "values"), r.Vport: ("parts",),
    r.Aplane: ("annots",), r.Annot: ("queries",), r.Image: ("pixels", "depth"),
}
MORE: Dict[type, Tuple[str, ...]] = {
    r.Scene: ("parts", "annots", "vports", "aplanes", "views"), r.SceneView: ("vports",),
    r.Part: ("attrs",), r.RendAttr: ("attrs",), r.Geom: ("empty", "minimum", "maximum", "attrs"),
    r.NodeSet: ("vars",), r.ElemList: ("vars", "records"),
    r.Variable: ("components", "minimum", "maximum", "palette"), r.Vport: ("attrs",),
    r.Aplane: ("attrs",), r.Annot: ("attrs",), r.Image: ("attrs",), r.Note: ("text", "attrs"),
}
FAMILY_KEYS = [f.key for f in FAMILIES]


class Dumper:
    def __init__(self, header: bool, full: bool) -> None:
        self.header = header
        self.full = full

    def record(self, rec: Any) -> Dict[str, Any]:
        out = {f.name: self.value(getattr(rec, f.name)) for f in fields(rec) if f.repr}
        names = MORE.get(type(rec), ()) + (() if self.header else ARRAYS.get(type(rec), ()))
        for name in names:
            out[name] = attempt(lambda name=name: self.value(getattr(rec, name)))
        return out

    def records(self, family: r.Family[Any], index: Optional[int] = None) -> List[Any]:
        which = range(len(family)) if index is None else [index]
        return [attempt(lambda i=i: self.value(family[i])) for i in which]

    def value(self, v: Any) -> Any:
        if isinstance(v, r.Family):
            return self.records(v)
        if isinstance(v, Attrs):
            return {str(k): self.value(x) for k, x in v.items()}
        if isinstance(v, r.Palette):
            out = {f.name: self.value(getattr(v, f.name)) for f in fields(v) if f.repr}
            out["channels"] = [{"control": self.value(c), "colours": self.value(x)}
                               for c, x in v.channels]
            return out
        if is_dataclass(v):
            return self.record(v)
        if isinstance(v, np.ndarray):
            return v if self.full else summary(v)
        return v


def dump(f: Any, family: Optional[str], index: Optional[int], header: bool,
         full: bool) -> Dict[str, Any]:
    d = Dumper(header, full)
    out: Dict[str, Any] = {"file": f.path}
    for key in ([family] if family else FAMILY_KEYS):
        out[key] = attempt(lambda key=key: d.records(getattr(f, key), index))
    return out


def _is_array(v: Any) -> bool:
    return isinstance(v, dict) and "shape" in v and "dtype" in v


def _scalar(v: Any) -> str:
    if isinstance(v, IntEnum):
        return v.name
    if isinstance(v, str):
        return repr(v)
    if isinstance(v, np.ndarray):
        return "[" + ", ".join(number(x) for x in v.ravel()) + "]" if v.ndim <= 1 else \
            "\n" + np.array2string(v, threshold=sys.maxsize, max_line_width=100, separator=", ")
    if isinstance(v, dict) and _is_array(v):
        first = ", ".join(number(x) for x in v["first"])
        last = ", ".join(number(x) for x in v["last"])
        return (f"{v['dtype']}{v['shape']} min {number(v['min'])} max {number(v['max'])}: "
                f"{first}, ..., {last}")
    return number(v)


def _lines(value: Any, pad: str) -> List[str]:
    out: List[str] = []
    items = value.items() if isinstance(value, dict) else enumerate(value)
    for key, v in items:
        label = f"[{key}]" if isinstance(key, int) else str(key)
        nested = (isinstance(v, dict) and not _is_array(v) and not failed(v)) or \
            (isinstance(v, list) and v and isinstance(v[0], dict))
        if nested:
            out.append(f"{pad}{label}:")
            out += _lines(v, pad + "  ")
        elif failed(v):
            out.append(f"{pad}{label}: unreadable ({v['error']})")
        elif isinstance(v, list):
            out.append(f"{pad}{label}: []")
        else:
            text = _scalar(v).replace("\n", "\n" + pad + "  ")
            out.append(f"{pad}{label}: {text}")
    return out


def add_args(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("file", metavar="FILE", help="a scene file")
    parser.add_argument("--family", choices=FAMILY_KEYS, metavar="NAME",
                        help=f"one family: {', '.join(FAMILY_KEYS)}")
    parser.add_argument("--index", type=int, metavar="N", help="one record of the family")
    parser.add_argument("--header", action="store_true", help="leave the bulk arrays out")
    parser.add_argument("--full", action="store_true", help="show the bulk arrays whole")
    parser.add_argument("--json", action="store_true", help="one JSON document")


def run(args: argparse.Namespace) -> int:
    if args.index is not None and args.family is None:
        return _usage("--index needs --family")
    try:
        with open_scene(args.file) as f:
            if args.index is not None and not -len(getattr(f, args.family)) <= args.index < \
                    len(getattr(f, args.family)):
                raise CliError(args.file, f"{args.family} has no record {args.index} "
                                          f"({len(getattr(f, args.family))} records)")
            out = dump(f, args.family, args.index, args.header, args.full)
    except CliError as exc:
        fail(exc)
        if args.json:
            print_json({"file": args.file, "error": exc.reason})
        return 1
    status = 1 if has_errors(out) else 0
    if status:
        print(f"oxm: {args.file}: some records cannot be read", file=sys.stderr)
    if args.json:
        print_json(out)
    else:
        print(out.pop("file"))
        print("\n".join(_lines(out, "  ")))
    return status


def _usage(message: str) -> int:
    print(f"usage: oxm dump FILE [--family NAME [--index N]] ...\noxm dump: error: {message}",
          file=sys.stderr)
    return 2
