"""Verify scene files against the file format: every problem, one per line.

Looks at the HDF5 structure itself (groups, attribute types and shapes,
dataset extents), not only at what the library's readers return: counters
against the record groups present, cross references between records (and
step numbers against their sources), array lengths against the counts that
announce them, value lengths against the variables' kinds, tagged
attributes against the tags each kind of record accepts, and the version
attributes. Each problem is printed as "FILE:HDF5-PATH: message". Exit
status 0 when every file is clean, 1 otherwise.
"""
from __future__ import annotations

import argparse
import re
import sys
from typing import Any, Dict, List, NamedTuple, Optional, Tuple

import numpy as np

from .. import _h5
from .._elements import ELEMENTS, split
from .._layout import (BY_KEY, FAMILIES, FLOAT, INT, MAX_ATTRS, TAG_REFS, TAGGED, TEXT, TOP,
                       Family, Item, Level)
from .._records import COMPONENTS, EXTENT_WIDTH, PIXEL_BYTES
from ..attrs import DEPENDENT, classify
from ..enums import tag_name
from ._common import CliError, print_json, progress, why_not_scene_file

_TYPES = {INT: ("int", 4), FLOAT: ("float", 4), TEXT: ("int", 1), "bytes": ("int", 1)}
_VALUE_TYPES = {0: ("fvalsLen", "fvals"), 1: ("ivalsLen", "ivals"), 2: ("cvalsLen", "cvals")}
_OWNERS = {f.level.tagged: f.label for f in FAMILIES if f.level.tagged}
# Families the older layout (file versions before 2) keeps elsewhere.
_LEGACY_GEOMETRY = ("geoms", "node_sets", "elem_lists")


class Problem(NamedTuple):
    path: str
    message: str


class Record(NamedTuple):
    """A record group being checked, with the values read from it and the
    record that encloses it."""

    path: str
    level: Level
    number: int
    values: Dict[str, Any]
    parent: Optional["Record"]

    def get(self, name: str) -> Any:
        rec: Optional[Record] = self
        while rec is not None:
            if name in rec.values:
                return rec.values[name]
            rec = rec.parent
        return None


def _describe(t: _h5.Type) -> str:
    what = f"{t.size * 8}-bit {t.cls}" if t.cls in ("int", "float") else t.cls
    if t.shape is None:
        return f"an empty {what}"
    article = "an" if what[0] in "8aeiou" else "a"
    return f"{article} {what} scalar" if t.shape == () else \
        f"{article} {what} array of shape {list(t.shape)}"


def _expected(item: Item, length: Optional[int]) -> str:
    if item.type == TEXT:
        return f"a 1-D array of {'' if length is None else length} chars".replace("  ", " ")
    return f"a 32-bit {item.type} scalar" if not item.dataset else \
        f"a 1-D {'8-bit int' if item.type == 'bytes' else '32-bit ' + item.type} array"


class Checker:
    """The problems of one open HDF5 file, found by walking the layout
    table."""

    def __init__(self, h5: _h5.File) -> None:
        self.h5 = h5
        self.problems: List[Problem] = []
        self.notes: List[str] = []
        self.counts: Dict[str, int] = {}
        self._ints: Dict[Tuple[str, str], Optional[int]] = {}
        self._nodes: Dict[Tuple[int, int], Optional[Any]] = {}

    def report(self, path: str, message: str) -> None:
        self.problems.append(Problem(path, message))

    def run(self) -> List[Problem]:
        if self.h5.kind("/top") != "group":
            self.report("/", "no /top group: not a scene file")
            return self.problems
        legacy = self._top()
        groups = {f.group for f in FAMILIES}
        for name in self.h5.members("/top"):
            if name not in groups:
                self.report(f"/top/{name}", "unexpected member")
        for family in FAMILIES:
            self.counts[family.key] = self._counter(family)
        for family in FAMILIES:
            if legacy and family.key in _LEGACY_GEOMETRY:
                continue
            group = f"/top/{family.group}"
            if self.h5.kind(group) == "group":
                self._level(group, family.level, self.counts[family.key],
                            f"{family.level.counter} = {self.counts[family.key]}", None)
        if legacy:
            self.notes.append("a file of the older layout: its geoms, node sets and element "
                              "lists are not checked")
        return self.problems

    # ---- file level -----------------------------------------------------------

    def _top(self) -> bool:
        """Checks the version attributes; True for a file of the older
        layout."""
        versions: Dict[str, bytes] = {}
        for item in TOP:
            name = item.name if self.h5.attr("/top", item.name, read=False) else item.alt
            found = self.h5.attr("/top", name) if name else None
            if found is None:
                if not item.optional:
                    self.report("/top", f"missing attribute {item.name}")
                continue
            self._check_type(f"/top/{name}", item, found.type, 256)
            # files that name their version "rw_release" are of version 1.00
            versions[item.name] = b"1.00" if name == item.alt == "rw_release" else \
                found.value.split(b"\0", 1)[0] if isinstance(found.value, bytes) else b""
        return versions.get("scn_file_version", b"2.00")[:2] < b"2."

    def _counter(self, family: Family) -> int:
        group = f"/top/{family.group}"
        kind = self.h5.kind(group)
        if kind is None:
            return 0
        if kind != "group":
            self.report(group, "not a group")
            return 0
        value = self._attr(Record(group, family.level, -1, {}, None),
                           Item(family.level.counter, INT))
        return value if isinstance(value, int) and value > 0 else 0

    # ---- records ----------------------------------------------------------------

    def _level(self, folder: str, level: Level, count: int, counted: str,
               parent: Optional[Record]) -> None:
        """The records of `level` in `folder`: every index below `count`,
        none beyond."""
        found = {}
        for name in self.h5.members(folder):
            match = re.fullmatch(rf"{level.word}_(0|[1-9][0-9]*)", name)
            if match:
                found[int(match.group(1))] = f"{folder}/{name}"
            elif level.folder or parent is None:
                self.report(f"{folder}/{name}", "unexpected member")
        for index in range(count):
            if index not in found and not level.optional:
                self.report(folder, f"{level.word}_{index} is missing ({counted})")
        for index, path in sorted(found.items()):
            if index >= count:
                self.report(path, f"beyond the count ({counted}): readers do not see it")
            elif self.h5.kind(path) != "group":
                self.report(path, "not a group")
            else:
                self._record(Record(path, level, index, {}, parent))

    def _record(self, rec: Record) -> None:
        items = rec.level.items + (TAGGED if rec.level.tagged else ())
        names = {i.name for i in items} | {i.alt for i in items if i.alt}
        for item in items:
            if not item.dataset:
                rec.values[item.name] = self._attr(rec, item)
        for name in self.h5.attr_names(rec.path):
            if name not in names:
                self.report(f"{rec.path}/{name}", "unexpected attribute")
        arrays = {item.name: self._dataset(rec, item) for item in items if item.dataset}
        folders = {s.folder for s in rec.level.levels if s.folder}
        direct = [s.word for s in rec.level.levels if not s.folder]
        for name in self.h5.members(rec.path):
            if name in names and self.h5.kind(f"{rec.path}/{name}") == "dataset":
                continue
            if name in folders or any(re.fullmatch(rf"{w}_(0|[1-9][0-9]*)", name)
                                      for w in direct):
                continue
            self.report(f"{rec.path}/{name}", "unexpected member")
        if rec.level.tagged and (rec.values.get("numAttrs") or 0) > 0:
            self._tagged(rec, arrays)
        if rec.level.rule:
            getattr(self, "_" + rec.level.rule)(rec)
        for sub in rec.level.levels:
            count = rec.get(sub.counter)
            count = count if isinstance(count, int) and count > 0 else 0
            folder = f"{rec.path}/{sub.folder}" if sub.folder else rec.path
            if sub.folder and self.h5.kind(folder) != "group":
                if count:
                    self.report(rec.path, f"missing group {sub.folder} ({sub.counter} = {count})")
                continue
            self._level(folder, sub, count, f"{sub.counter} = {count}", rec)

    def _check_type(self, path: str, item: Item, t: _h5.Type, length: Optional[int]) -> bool:
        cls, size = _TYPES[item.type]
        shape_ok = (t.shape == () if not item.dataset and item.type in (INT, FLOAT) else
                    t.shape is not None and len(t.shape) == 1 and
                    (length is None or item.dataset or t.shape[0] == length))
        if t.cls != cls or t.size != size or not shape_ok or (item.type == INT and not t.signed):
            self.report(path, f"{_describe(t)}, expected {_expected(item, length)}")
            return False
        return True

    def _attr(self, rec: Record, item: Item) -> Any:
        """Checks attribute `item` of `rec`; its value (int, float or bytes)
        or None."""
        name = item.name
        found = self.h5.attr(rec.path, name)
        if found is None and item.alt:
            name, found = item.alt, self.h5.attr(rec.path, item.alt)
        width = self._size(rec, item.size)[0] if item.type == TEXT else None
        if found is None:
            needed = not item.optional and (item.when is None or rec.get(item.when))
            if needed and width != 0:
                self.report(rec.path, f"missing attribute {item.name}")
            return None
        path = f"{rec.path}/{name}"
        if not self._check_type(path, item, found.type, width) or found.value is None:
            return None
        value: Any = found.value if item.type == TEXT else found.value[0].item()
        if item.ref:
            self._refs(path, np.array([value]), item)
        if item.equals is not None:
            other = rec.get(item.equals)
            if isinstance(other, int) and other != value:
                self.report(path, f"{value}, but {item.equals} = {other}")
        return value

    def _dataset(self, rec: Record, item: Item) -> Optional[Any]:
        """Checks dataset `item` of `rec`; its values when a check needs
        them."""
        path = f"{rec.path}/{item.name}"
        wanted = item.when is None or rec.get(item.when)
        length, factors = self._size(rec, item.size)
        info = self.h5.dataset(path)
        if info is None:
            if wanted and length and self.h5.kind(path) is None:
                self.report(rec.path, f"missing dataset {item.name} ({length} values for "
                                      f"{factors})")
            elif self.h5.kind(path) is not None:
                self.report(path, "not a dataset")
            return None
        if not self._check_type(path, item, info.type, None) or not wanted:
            return None
        assert info.type.shape is not None
        stored = info.type.shape[0]
        if length is not None and stored != length:
            self.report(path, f"{stored} values, expected {length} ({factors})")
            return None
        # values are read for the checks that need them (small int arrays)
        tags = rec.level.tagged and item.type == INT and item in TAGGED
        if not (item.ref or item.steps_of or tags):
            return None
        try:
            values = self.h5.read(path, np.int32 if item.type == INT else np.float32)
        except ValueError as exc:
            self.report(path, str(exc).split(": ", 1)[-1])
            return None
        if item.ref:
            self._refs(path, values, item)
        if item.steps_of:
            self._steps(rec, path, values, item.steps_of)
        return values

    def _size(self, rec: Record, size: Tuple[Any, ...]) -> Tuple[Optional[int], str]:
        """The product of the factors of `size` for `rec` (None when one is
        unknown) and how it came about."""
        total: Optional[int] = 1
        words = []
        for factor in size:
            if isinstance(factor, int):
                value: Optional[int] = factor
                words.append(str(factor))
            elif factor.startswith("@"):
                value, word = self._derived(rec, factor)
                words.append(word)
            else:
                got = rec.get(factor)
                value = got if isinstance(got, int) else None
                words.append(f"{factor} {value}")
            total = None if value is None or total is None else total * max(value, 0)
        return total, " x ".join(words)

    def _derived(self, rec: Record, name: str) -> Tuple[Optional[int], str]:
        if name == "@extents":
            kind = rec.get("varKind")
            return (2 * EXTENT_WIDTH.get(kind, 0) if isinstance(kind, int) else None), f"kind {kind}"
        if name == "@pixel_bytes":
            fmt = rec.get("pixelFormat")
            return (PIXEL_BYTES.get(fmt, 0) if isinstance(fmt, int) else None), \
                f"pixel format {fmt}"
        if name == "@components":
            var = rec.get("varIndex")
        else:  # "@slot_components": the variable of the list's slot
            lst = rec.parent.parent if rec.parent else None
            var = self._int(f"{lst.path}/var_{rec.number}", "varIndex") if lst else None
        kind = self._int(f"/top/Vars/var_{var}", "varKind") if isinstance(var, int) else None
        comps = None if kind is None else COMPONENTS.get(kind, 0)
        return comps, f"{comps} components of variable {var}"

    def _int(self, path: str, name: str) -> Optional[int]:
        """An int attribute of another record, read once."""
        key = (path, name)
        if key not in self._ints:
            found = self.h5.attr(path, name) if self.h5.kind(path) == "group" else None
            ok = found is not None and found.type.cls == "int" and found.value is not None and \
                not isinstance(found.value, bytes) and found.value.size == 1
            self._ints[key] = int(found.value[0]) if ok and found is not None else None
        return self._ints[key]

    # ---- cross references -----------------------------------------------------

    def _refs(self, path: str, values: Any, item: Item) -> None:
        family = BY_KEY[str(item.ref)]
        self._ref_values(path, values, family, item.none, "" if values.size == 1 and
                         not item.dataset else "index")

    def _ref_values(self, path: str, values: Any, family: Family, none: bool,
                    indexed: str, what: str = "") -> None:
        count = self.counts.get(family.key, 0)
        bad = (values < 0) | (values >= count)
        if none:
            bad &= values != -1
        where = np.flatnonzero(bad)
        if where.size:
            k = int(where[0])
            more = f" (and {where.size - 1} more)" if where.size > 1 else ""
            at = f"[{k}]" if indexed else ""
            self.report(f"{path}{at}", f"{what}{family.label} {int(values[k])} does not exist "
                                       f"({family.level.counter} = {count}){more}")

    def _steps(self, rec: Record, path: str, steps: Any, sources_name: str) -> None:
        item = next(i for i in rec.level.items if i.name == sources_name)
        family = BY_KEY[str(item.ref)]
        try:
            sources = self.h5.read(f"{rec.path}/{sources_name}", np.int32)
        except ValueError:
            return
        for f, (source, step) in enumerate(zip(sources.tolist(), steps.tolist())):
            if not 0 <= source < self.counts.get(family.key, 0):
                continue  # reported with the sources
            n = self._int(f"/top/{family.group}/{family.level.word}_{source}", "nSteps")
            if n is not None and not 0 <= step < n:
                self.report(f"{path}[{f}]", f"step {step} of {family.label} {source}, "
                                            f"which has {n} steps")
                return

    # ---- tagged attributes -------------------------------------------------------

    def _tagged(self, rec: Record, arrays: Dict[str, Any]) -> None:
        n = rec.values["numAttrs"]
        if n > MAX_ATTRS:
            self.report(f"{rec.path}/numAttrs", f"{n} attributes, at most {MAX_ATTRS}")
            return
        tags, ptrs = arrays.get("attrTags"), arrays.get("attrPtrs")
        if tags is None or ptrs is None:
            return
        kind = rec.level.tagged
        ivals = arrays.get("ivals")
        used, consistent = {0: 0, 1: 0, 2: 0}, True
        for k, (tag, ptr) in enumerate(zip(tags.tolist(), ptrs.tolist())):
            name = tag_name(kind, tag)
            found = classify(None, kind, tag)
            if found is None:
                self.report(f"{rec.path}/attrTags[{k}]", f"tag {tag}{f' ({name})' if name else ''}"
                                                         f" is not an attribute of a "
                                                         f"{_OWNERS[kind]} record")
                consistent = False
                continue
            vtype, count = found
            if tag in DEPENDENT:
                governor, per = DEPENDENT[tag]
                if governor in tags.tolist() and ivals is not None:
                    gptr = int(ptrs[tags.tolist().index(governor)])
                    count += per * int(ivals[gptr]) if 0 <= gptr < ivals.size else 0
            length_name, values_name = _VALUE_TYPES[vtype]
            length = rec.values.get(length_name) or 0
            if ptr < 0 or ptr + count > length:
                self.report(f"{rec.path}/attrPtrs[{k}]", f"values {ptr}..{ptr + count - 1} of "
                            f"tag {name or tag} lie outside {values_name} ({length_name} = "
                            f"{length})")
                consistent = False
                continue
            used[vtype] += count
            if name in TAG_REFS and ivals is not None and vtype == 1:
                self._ref_values(f"{rec.path}/ivals[{ptr}]", ivals[ptr:ptr + 1],
                                 BY_KEY[TAG_REFS[name]], True, "", f"{name}: ")
        for vtype, (length_name, _) in _VALUE_TYPES.items():
            length = rec.values.get(length_name) or 0
            if consistent and used[vtype] != length:
                self.report(f"{rec.path}/{length_name}", f"{length}, but the tags use "
                                                         f"{used[vtype]} values")

    # ---- geometry ------------------------------------------------------------------

    def _node_refs(self, elem_list: int, record: int) -> Optional[Any]:
        """The node references of an element record, or None when its type
        or connectivity cannot be read."""
        key = (elem_list, record)
        if key not in self._nodes:
            path = f"/top/ElemLists/elemlist_{elem_list}/elem_{record}"
            etype, count = self._int(path, "elemListType"), self._int(path, "elemCount")
            refs = None
            if etype in ELEMENTS and count is not None:
                try:
                    conn = (self.h5.read(f"{path}/conn", np.int32)
                            if self.h5.kind(f"{path}/conn") else np.empty(0, np.int32))
                    refs = conn if ELEMENTS[etype].nodes else (
                        np.concatenate(split(conn, count)) if count else conn[:0])
                except ValueError:
                    refs = None
            self._nodes[key] = refs
        return self._nodes[key]

    def _connectivity(self, rec: Record) -> None:
        etype, count, length = (rec.values.get(n) for n in ("elemListType", "elemCount",
                                                            "lenList"))
        if not isinstance(etype, int) or not isinstance(count, int):
            return
        shape = ELEMENTS.get(etype)
        if shape is None:
            self.report(f"{rec.path}/elemListType", f"{etype} is not an element type")
            return
        if shape.nodes and length != count * shape.nodes:
            self.report(f"{rec.path}/lenList", f"{length}, expected elemCount {count} x "
                                               f"{shape.nodes} nodes")
            return
        list_index = rec.parent.number if rec.parent else 0
        if not shape.nodes and length and self._node_refs(list_index, rec.number) is None:
            self.report(f"{rec.path}/conn", f"does not hold {count} count-prefixed elements")
            return
        refs = self._node_refs(list_index, rec.number)
        if refs is not None and refs.size and refs.min() < 0:
            self.report(f"{rec.path}/conn", f"a negative node reference ({int(refs.min())})")

    def _node_range(self, rec: Record) -> None:
        nodes, elems = rec.values.get("whichNodes"), rec.values.get("whichElemList")
        if not (isinstance(nodes, int) and isinstance(elems, int)) or \
                not 0 <= nodes < self.counts["node_sets"] or \
                not 0 <= elems < self.counts["elem_lists"]:
            return
        n = self._int(f"/top/Nodes/nodes_{nodes}", "numNodes")
        records = self._int(f"/top/ElemLists/elemlist_{elems}", "numElemRecs") or 0
        top = -1
        for r in range(max(records, 0)):
            refs = self._node_refs(elems, r)
            if refs is not None and refs.size:
                top = max(top, int(refs.max()))
        if n is not None and top >= n:
            self.report(rec.path, f"element list {elems} refers to node {top}, but node set "
                                  f"{nodes} has {n} nodes")


def check_file(path: str) -> Tuple[List[Problem], List[str]]:
    """The problems of the scene file at `path` and notes on what was not
    checked; CliError when it is no HDF5 file at all."""
    if not _h5.is_hdf5(path):
        raise CliError(path, why_not_scene_file(path))
    try:
        with _h5.File(path) as h5:
            checker = Checker(h5)
            return checker.run(), checker.notes
    except OSError:
        raise CliError(path, why_not_scene_file(path)) from None


def add_args(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("files", nargs="+", metavar="FILE", help="scene files")
    parser.add_argument("--json", action="store_true",
                        help='a JSON list of {"file", "path", "problem"}')


def run(args: argparse.Namespace) -> int:
    found: List[Dict[str, Optional[str]]] = []
    for path in progress(args.files, len(args.files), "checking"):
        try:
            problems, notes = check_file(path)
        except CliError as exc:
            print(f"oxm: {exc}", file=sys.stderr)
            found.append({"file": path, "path": None, "problem": exc.reason})
            continue
        for note in notes:
            print(f"oxm: {path}: {note}", file=sys.stderr)
        found += [{"file": path, "path": p.path, "problem": p.message} for p in problems]
        if not args.json:
            for p in problems:
                print(f"{path}:{p.path}: {p.message}")
            if not problems:
                print(f"{path}: no problems found")
    if args.json:
        print_json(found)
    return 1 if found else 0
