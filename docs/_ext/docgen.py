"""The generated parts of the documentation, as reST text: the C API
reference from the public headers' comments, the command reference from the
oxm command's parsers, and the file-format tables from the package's layout
table and the library's tag classification.

Pure functions without Sphinx, so that the tests can check them; the Sphinx
extension ``scnapi_sphinx`` places their text in the pages.
"""
from __future__ import annotations

import argparse
import os
import re
from typing import TYPE_CHECKING, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple

if TYPE_CHECKING:
    from oxm._layout import Family, Item, Level

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def escape(text: str) -> str:
    """Prose as reST text that shows literally (no emphasis, roles or
    references)."""
    return re.sub(r"([\\*`|_])", r"\\\1", text)


def paragraphs(lines: Sequence[str]) -> List[str]:
    """Lines of prose joined into paragraphs (blank lines separate them)."""
    out: List[str] = []
    current: List[str] = []
    for line in list(lines) + [""]:
        if line.strip():
            current.append(line.strip())
        elif current:
            out.append(" ".join(current))
            current = []
    return out


def table(header: Sequence[str], rows: Sequence[Sequence[str]], widths: str = "") -> List[str]:
    """A reST list-table; cells are reST text."""
    lines = [".. list-table::", "   :header-rows: 1"]
    if widths:
        lines.append(f"   :widths: {widths}")
    lines.append("")
    for row in [header, *rows]:
        for k, cell in enumerate(row):
            lines.append(f"   {'*' if k == 0 else ' '} - {cell}" if cell else
                         f"   {'*' if k == 0 else ' '} -")
    return lines + [""]


def heading(text: str, char: str) -> List[str]:
    return [text, char * len(text), ""]


# ---- the C API reference ------------------------------------------------------

class CDecl(NamedTuple):
    kind: str  # "function", "macro", "type", "struct"
    name: str
    text: str  # the declaration as written (SCNAPI_EXPORT dropped)


class CGroup(NamedTuple):
    """Declarations and the comment written above them; a heading when
    `decls` is empty (a "---- title ----" comment)."""

    doc: List[str]  # lines of the comment, prose
    decls: List[CDecl]


class CHeader(NamedTuple):
    name: str
    intro: List[str]
    groups: List[CGroup]


_TOKEN = re.compile(r"""
    (?P<comment>/\*.*?\*/)
  | (?P<export>SCNAPI_EXPORT\b[^;]*;)
  | (?P<struct>typedef\s+struct\s+\w+\s*\{.*?\}\s*(?P<sname>\w+)\s*;)
  | (?P<typedef>typedef\s[^;{]*?\b(?P<tname>\w+)\s*;)
  | (?P<define>^\#define\s+(?P<mname>[A-Z]\w*)[ \t]+\S[^\n]*)
  | (?P<blank>\n[ \t]*(?=\n))
  | (?P<other>^\#[^\n]*|^[^\s/][^\n]*)
""", re.S | re.M | re.X)
_FUNC_NAME = re.compile(r"(\w+)\s*\(")


def _comment_lines(comment: str) -> List[str]:
    body = comment[2:-2]
    return [re.sub(r"^\*( |$)", "", line.strip()) for line in body.splitlines()]


def parse_header(text: str, name: str) -> CHeader:
    """The header's leading comment and its declarations, each with the
    comment written above it: a comment documents the declarations that
    follow it up to a blank line or the next comment."""
    intro: List[str] = []
    groups: List[CGroup] = []
    doc: Optional[List[str]] = None  # the comment that applies now
    decls: List[CDecl] = []

    def close() -> None:
        nonlocal doc, decls
        if decls:
            groups.append(CGroup(doc or [], decls))
        doc, decls = None, []

    for m in _TOKEN.finditer(text):
        kind = m.lastgroup if m.lastgroup not in ("sname", "tname", "mname") else None
        if m.group("comment"):
            lines = _comment_lines(m.group("comment"))
            close()
            title = re.fullmatch(r"\s*-{2,}\s*(.*?)\s*-{2,}\s*", " ".join(lines))
            if not intro and not groups and m.start() == text.find("/*"):
                intro = lines
            elif title:
                groups.append(CGroup([title.group(1)], []))
            else:
                doc = lines
        elif m.group("export"):
            decl = " ".join(m.group("export").split())[len("SCNAPI_EXPORT "):]
            decls.append(CDecl("function", _FUNC_NAME.search(decl).group(1), decl))
        elif m.group("struct"):
            decls.append(CDecl("struct", m.group("sname"), m.group("struct")))
        elif m.group("typedef"):
            decls.append(CDecl("type", m.group("tname"), " ".join(m.group("typedef").split())))
        elif m.group("define"):
            mname = m.group("mname")
            if not re.fullmatch(r"SCNAPI_\w+_H|SCNAPI_EXPORT", mname):
                decls.append(CDecl("macro", mname, m.group("define").strip()))
        else:  # a blank line, or a line that is none of the above
            del kind
            close()
    close()
    return CHeader(name, intro, groups)


def header_files(root: str = ROOT) -> List[str]:
    """scnapi/scnapi.h, then the family headers in the order it includes them."""
    with open(os.path.join(root, "scnapi", "scnapi.h"), encoding="utf-8") as f:
        text = f.read()
    return ["scnapi.h"] + re.findall(r'^#include\s+"(scn_\w+\.h)"', text, re.M)


def read_headers(root: str = ROOT) -> List[CHeader]:
    headers = []
    for name in header_files(root):
        with open(os.path.join(root, "scnapi", name), encoding="utf-8") as f:
            headers.append(parse_header(f.read(), name))
    return headers


def undocumented(headers: Sequence[CHeader]) -> List[str]:
    """Exported entries that no comment describes."""
    return [d.name for h in headers for g in h.groups for d in g.decls
            if d.kind == "function" and not any(line.strip() for line in g.doc)]


def _linked(para: str, names: Dict[str, str]) -> str:
    """A paragraph of comment prose as reST, the reference's names as links."""
    pattern = re.compile(r"\b(" + "|".join(sorted(names, key=len, reverse=True)) + r")\b")
    parts = pattern.split(para)
    return "".join(f":c:{names[p]}:`{p}`" if k % 2 else escape(p) for k, p in enumerate(parts))


_INCLUDE_NOTE = "Part of the public interface: include scnapi/scnapi.h."


def _directive(kind: str, names: Sequence[str], body: List[str]) -> List[str]:
    """A C-domain directive for one or more declarations sharing `body`."""
    pad = " " * len(f".. c:{kind}:: ")
    out = [f".. c:{kind}:: {names[0]}", *(pad + n for n in names[1:]), ""]
    return out + ["   " + line if line else "" for line in body]


def c_api_rst(headers: Sequence[CHeader]) -> str:
    """The reference of every header: a section per header with its leading
    comment, then each group of declarations with the comment above them."""
    roles = {"function": "func", "macro": "macro", "type": "type", "struct": "struct"}
    names = {d.name: roles[d.kind] for h in headers for g in h.groups for d in g.decls}
    out: List[str] = []
    for header in headers:
        out += heading(header.name, "-")
        for para in paragraphs(header.intro):
            para = para.replace(_INCLUDE_NOTE, "").strip()
            out += [_linked(para, names), ""] if para else []
        groups = [g for k, g in enumerate(header.groups)
                  if g.decls or (k + 1 < len(header.groups) and header.groups[k + 1].decls)]
        for group in groups:
            if not group.decls:
                out += heading(group.doc[0][:1].upper() + group.doc[0][1:], "~")
                continue
            doc = [p for para in paragraphs(group.doc) for p in (_linked(para, names), "")]
            for kind in ("struct", "type", "macro", "function"):
                decls = [d for d in group.decls if d.kind == kind]
                if not decls:
                    continue
                body = list(doc)
                if kind == "struct":
                    body += [".. code-block:: c", ""]
                    body += ["   " + line for line in decls[0].text.splitlines()] + [""]
                if kind == "macro":
                    body += [", ".join(f"``{d.name}`` = ``{d.text.split(None, 2)[2]}``"
                                       for d in decls), ""]
                sigs = [d.text.rstrip(";") if kind == "function" else d.name for d in decls]
                out += _directive(kind, sigs, body)
    return "\n".join(out) + "\n"


# ---- the command reference ------------------------------------------------------

def _subparsers(parser: argparse.ArgumentParser) -> Dict[str, argparse.ArgumentParser]:
    for action in parser._actions:
        if isinstance(action, argparse._SubParsersAction):
            return dict(action.choices)
    return {}


def _option_rst(parser: argparse.ArgumentParser, action: argparse.Action) -> List[str]:
    formatter = parser._get_formatter()
    if action.option_strings:
        arg = "" if action.nargs == 0 else " " + formatter._format_args(
            action, formatter._get_default_metavar_for_optional(action))
        names = ", ".join(s + arg for s in action.option_strings)
    else:
        names = formatter._get_default_metavar_for_positional(action)
        names = action.metavar if isinstance(action.metavar, str) else names
    help_text = formatter._expand_help(action) if action.help else ""
    if action.choices and not all(str(c) in help_text for c in action.choices):
        help_text += f" (one of: {', '.join(map(str, action.choices))})"
    return [f".. option:: {names}", "", "   " + escape(help_text.strip()), ""]


def _description_rst(doc: str) -> List[str]:
    """A command's description: prose paragraphs, and its examples (a line
    "  oxm ..." with its explanation indented below) as a definition
    list."""
    out: List[str] = []
    for block in re.split(r"\n\s*\n", doc.strip("\n")):
        lines = block.splitlines()
        if lines and re.match(r"  \S", lines[0]) and all(
                re.match(r"     +\S", line) for line in lines[1:]):
            out += [f"``{lines[0].strip()}``",
                    "   " + escape(" ".join(line.strip() for line in lines[1:])), ""]
        else:
            out += [escape(p) + "\n" for p in paragraphs(lines)]
    return out


def _parser_rst(prog: str, parser: argparse.ArgumentParser, doc: str) -> List[str]:
    usage = parser.format_usage().strip()
    out = [".. code-block:: text", "", "   " + usage.replace("\n", "\n   "), ""]
    out += _description_rst(doc)
    out += [f".. program:: {prog}", ""]
    for action in parser._actions:
        if isinstance(action, (argparse._HelpAction, argparse._SubParsersAction)):
            continue
        out += _option_rst(parser, action)
    return out


def commands_rst() -> str:
    """A section for ``oxm`` and one for each of its subcommands, from the
    parsers the command itself runs."""
    from oxm.cli._main import COMMANDS, build_parser
    parser = build_parser()
    out = heading("oxm", "-")
    out += _parser_rst("oxm", parser, f"{parser.description}\n\n{parser.epilog}")
    subs = _subparsers(parser)
    for name, module in COMMANDS:
        out += heading(f"oxm {name}", "-")
        out += _parser_rst(f"oxm {name}", subs[name], module.__doc__ or "")
    return "\n".join(out) + "\n"


# ---- the file format's tables ----------------------------------------------------

_STORED = {("int", False): "int attribute", ("float", False): "float attribute",
           ("text", False): "char attribute", ("int", True): "int dataset",
           ("float", True): "float dataset", ("bytes", True): "char dataset"}
_DERIVED = {"@components": "floats per value of its variable",
            "@slot_components": "floats per value of the slot's variable",
            "@extents": "2 or 6 by the kind",
            "@pixel_bytes": "bytes per pixel of the format"}


def _size(item: "Item") -> str:
    if not item.size:
        return "1"
    return " × ".join(_DERIVED.get(str(f), f"``{f}``" if isinstance(f, str) else str(f))
                      for f in item.size)


def _notes(item: "Item", labels: Dict[str, str]) -> str:
    notes = []
    if item.ref:
        label = labels[item.ref]
        notes.append(f"index of {'an' if label[0] in 'aeiou' else 'a'} {label} record"
                     + (", -1 for none" if item.none else ""))
    if item.steps_of:
        notes.append(f"a step of the source that ``{item.steps_of}`` names")
    if item.equals:
        notes.append(f"repeats ``{item.equals}``")
    if item.when:
        notes.append(f"only when ``{item.when}`` is not 0")
    if item.optional:
        notes.append("absent in files of older writers")
    if item.alt:
        notes.append(f"older files: ``{item.alt}``")
    return "; ".join(notes)


def items_rst(items: Sequence["Item"], labels: Dict[str, str]) -> List[str]:
    rows = [(f"``{i.name}``", _STORED[(i.type, i.dataset)], _size(i), _notes(i, labels))
            for i in items]
    return table(("Name", "Stored as", "Values", "Notes"), rows, "20 16 26 38")


def levels(family: "Family") -> Iterator[Tuple[str, str, "Level"]]:
    """(record path, what counts the records, level) for each level of a
    family, outermost first."""
    letters = "ijkl"

    def walk(level: "Level", parent: str, chain: List[Tuple[str, "Level"]]
             ) -> Iterator[Tuple[str, str, "Level"]]:
        folder = level.folder + "/" if level.folder else ""
        path = f"{parent}/{folder}{level.word}_<{letters[len(chain)]}>"
        # the counter is an attribute of the nearest enclosing record that has it
        owner = next((p for p, lv in reversed(chain)
                      if any(i.name == level.counter for i in lv.items)), parent)
        yield path, f"``{level.counter}`` of ``{owner}``", level
        for sub in level.levels:
            yield from walk(sub, path, chain + [(path, level)])

    yield from walk(family.level, f"/top/{family.group}", [])


def family_rst(key: str) -> str:
    """The groups of one record family: for each level its record path, its
    counter and its items."""
    from oxm._layout import BY_KEY, FAMILIES
    labels = {f.key: f.label for f in FAMILIES}
    out: List[str] = []
    for path, counter, level in levels(BY_KEY[key]):
        facts = [f"Records ``{path}``, counted by {counter}."]
        if level.optional:
            facts.append("Records below the count may be missing.")
        if level.tagged:
            facts.append(f"They carry tagged attributes (owner kind {level.tagged}): "
                         "their ``numAttrs`` and the :ref:`tagged attribute store "
                         "<tagged-store>`.")
        out += [" ".join(facts), ""]
        out += items_rst(level.items, labels) if level.items else ["No items of their own.", ""]
    return "\n".join(out) + "\n"


def families_rst() -> str:
    """One row per record family: its collection group, counter, records
    and the SceneFile sequence that reads them."""
    from oxm._layout import FAMILIES
    rows = [(f"``/top/{f.group}``", f"``{f.level.counter}``",
             f"``{f.level.word}_<i>``", str(f.level.tagged or ""), f"``{f.key}``")
            for f in FAMILIES]
    return "\n".join(table(("Collection group", "Counter", "Records", "Owner kind",
                             "SceneFile sequence"), rows, "22 18 22 14 24")) + "\n"


def elements_rst() -> str:
    """The element types: nodes per element and the matching cell types."""
    from oxm._elements import ELEMENTS
    from oxm.enums import ElemType
    rows = [(f"``{ElemType(code).name}``", str(code),
             str(shape.nodes) if shape.nodes else "count-prefixed",
             f"``{shape.meshio}``" + (f" ({shape.strip} strip)" if shape.strip else ""),
             str(shape.vtk)) for code, shape in sorted(ELEMENTS.items())]
    return "\n".join(table(("Type", "Value", "Nodes per element", "meshio cells",
                             "VTK cell type"), rows, "30 10 18 28 14")) + "\n"


def layout_rst(what: str) -> str:
    """A family's tables; or "top" (the version attributes), "tagged" (the
    items of the tagged attribute store), "families" (the list of
    families) or "elements" (the element types)."""
    from oxm._layout import TAGGED, TOP
    if what in ("top", "tagged"):
        return "\n".join(items_rst(TOP if what == "top" else TAGGED, {})) + "\n"
    if what == "families":
        return families_rst()
    if what == "elements":
        return elements_rst()
    return family_rst(what)


def tag_classes(kind: int) -> List[Tuple[str, List[Tuple[str, int]]]]:
    """The named tags of owner kind `kind` grouped by what they carry
    ("int × 3", "float × (OXR_PART_CONTOUR_NUMLEVELS)"), the rejected ones
    last: the library's own classification, asked tag by tag."""
    from oxm import attrs
    from oxm.enums import TAG_ENUMS
    types = {attrs.INT: "int", attrs.FLOAT: "float", attrs.CHAR: "char"}
    cls = TAG_ENUMS.get(kind)
    groups: Dict[Tuple[int, int, int, str], List[Tuple[str, int]]] = {}
    for name, member in (cls.__members__.items() if cls else ()):
        tag = int(member)
        found = attrs.classify(None, kind, tag)
        if found is None:
            key = (9, 0, 0, "rejected")
        elif tag in attrs.DEPENDENT:
            governor, per = attrs.DEPENDENT[tag]
            count = (f"{per} × " if per > 1 else "") + cls(governor).name
            count += f" + {found[1]}" if found[1] else ""
            key = (found[0] + 1, 1, 0, f"{types[found[0]]} × ({count})")
        else:
            key = (found[0] + 1, 0, found[1], f"{types[found[0]]} × {found[1]}")
        groups.setdefault(key, []).append((name, tag))
    # int first, then float, then char; fixed counts before dependent ones
    order = sorted(groups, key=lambda k: ({2: 0, 1: 1, 3: 2}.get(k[0], 9), k[1:]))
    return [(k[3], groups[k]) for k in order]


def tags_rst(kind: int) -> str:
    rows = [(escape(what), ", ".join(f"``{name}`` ({value})" for name, value in names))
            for what, names in tag_classes(kind)]
    if not rows:
        return "No tag is accepted.\n"
    return "\n".join(table(("Values", "Tags"), rows, "22 78")) + "\n"
