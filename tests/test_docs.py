"""The generated parts of the documentation (docs/_ext/docgen.py): the C
reference names every exported entry with the comment above it, the command
reference every option of every parser, the format tables every item of the
layout table, and the tag tables what the library accepts."""
import os
import re
import sys

import pytest

from oxm import _layout
from oxm._gen_capi import parse_headers
from oxm.cli._main import COMMANDS, build_parser

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "docs", "_ext"))
import docgen  # noqa: E402

HEADER = """/*
 * A family.
 * Part of the public interface: include scnapi/scnapi.h.
 *
 * Its *second* paragraph names scn_b.
 */
#ifndef SCNAPI_SCN_X_H
#define SCNAPI_SCN_X_H

/* ---- writers ---- */

/* Both of these, up to the blank line. */
SCNAPI_EXPORT int scn_a(scnapi_handle *h,
                        int index);
SCNAPI_EXPORT int scn_b(scnapi_handle *h);
/* Only scn_c: a comment ends the group before it; `tag` and a_b_. */
SCNAPI_EXPORT int scn_c(scnapi_handle *h);

SCNAPI_EXPORT int scn_d(scnapi_handle *h);
/* Value types. */
#define SCNAPI_X_INT 1
#define SCNAPI_X_CHAR 2

#endif /* SCNAPI_SCN_X_H */
"""


def test_a_comment_documents_the_declarations_below_it_up_to_a_blank_line():
    header = docgen.parse_header(HEADER, "scn_x.h")
    assert docgen.paragraphs(header.intro) == [
        "A family. Part of the public interface: include scnapi/scnapi.h.",
        "Its *second* paragraph names scn_b."]
    got = [(" ".join(g.doc), [d.name for d in g.decls]) for g in header.groups]
    assert got == [("writers", []),
                   ("Both of these, up to the blank line.", ["scn_a", "scn_b"]),
                   ("Only scn_c: a comment ends the group before it; `tag` and a_b_.", ["scn_c"]),
                   ("", ["scn_d"]),
                   ("Value types.", ["SCNAPI_X_INT", "SCNAPI_X_CHAR"])]
    assert header.groups[1].decls[0].text == "int scn_a(scnapi_handle *h, int index);"
    assert docgen.undocumented([header]) == ["scn_d"]


def test_comment_prose_shows_literally_and_links_the_names_it_mentions():
    rst = docgen.c_api_rst([docgen.parse_header(HEADER, "scn_x.h")])
    assert "Its \\*second\\* paragraph names :c:func:`scn_b`." in rst
    assert "Only :c:func:`scn_c`: a comment ends the group before it; \\`tag\\` and a\\_b\\_." \
        in rst
    assert "include scnapi/scnapi.h" not in rst  # said once, on the page
    assert ".. c:macro:: SCNAPI_X_INT\n             SCNAPI_X_CHAR\n" in rst
    assert "``SCNAPI_X_INT`` = ``1``, ``SCNAPI_X_CHAR`` = ``2``" in rst


def test_the_c_reference_documents_every_exported_entry_once():
    headers = docgen.read_headers()
    assert docgen.undocumented(headers) == []
    rst = docgen.c_api_rst(headers)
    signatures = re.findall(r"^(?:\.\. c:function:: | {16})[\w ]+?\**(\w+)\(", rst, re.M)
    assert sorted(signatures) == sorted(name for name, _, _ in parse_headers(ROOT))
    for name in ("scnapi_handle", "scnapi_hid_t", "SCNAPI_NAME_LEN", "SCNAPI_ATTR_CHAR"):
        assert re.search(rf"^\.\. c:\w+:: {name}$|^ {{13,}}{name}$", rst, re.M), name


def test_the_command_reference_has_every_subcommand_and_option():
    rst = docgen.commands_rst()
    parser = build_parser()
    subs = docgen._subparsers(parser)
    assert [name for name, _ in COMMANDS] == list(subs)
    sections = re.split(r"^\.\. program:: ", rst, flags=re.M)[1:]
    assert [s.split("\n", 1)[0] for s in sections] == ["oxm"] + [f"oxm {n}" for n in subs]
    # the examples of a command's description become a definition list
    for _, module in COMMANDS:
        for example in re.findall(r"^  (oxm .*)$", module.__doc__ or "", re.M):
            assert f"\n``{example}``\n   " in rst
    for section, sub in zip(sections, [parser, *subs.values()]):
        options = re.findall(r"^\.\. option:: (.*)$", section, re.M)
        wanted = [a for a in sub._actions if a.help and not a.help.startswith("show this")
                  and a.dest != "command"]
        assert len(options) == len(wanted)
        for action, line in zip(wanted, options):
            assert all(s in line for s in action.option_strings) or \
                line == (action.metavar or action.dest)


@pytest.mark.parametrize("family", _layout.FAMILIES, ids=lambda f: f.key)
def test_a_family_table_names_every_level_and_item(family):
    rst = docgen.layout_rst(family.key)
    paths = re.findall(r"^Records ``([^`]+)``, counted by ``(\w+)``", rst, re.M)

    def walk(level, parent):
        path = f"{parent}/{level.folder + '/' if level.folder else ''}{level.word}_<>"
        yield path, level
        for sub in level.levels:
            yield from walk(sub, path)

    levels = list(walk(family.level, f"/top/{family.group}"))
    assert [(re.sub(r"<\w>", "<>", p), c) for p, c in paths] == \
        [(p, level.counter) for p, level in levels]
    for _, level in levels:
        for item in level.items:
            assert f"   * - ``{item.name}``\n" in rst


@pytest.mark.parametrize("what, rows", [
    ("families", len(_layout.FAMILIES)), ("top", len(_layout.TOP)),
    ("tagged", len(_layout.TAGGED)), ("elements", 15)])
def test_the_overview_tables(what, rows):
    rst = docgen.layout_rst(what)
    assert rst.count("\n   * - ") == rows + 1  # and the header


@pytest.mark.parametrize("kind, tag, carries", [
    (3, "OXR_VPORT_LOOKFROM", "float × 3"),
    (3, "OXR_VPORT_AXISFONTFAMILY", "char × 40"),
    (2, "OXR_RENDATTR_INSTANCE", "float × (16 × OXR_RENDATTR_NUMINSTANCE)"),
    (1, "OXR_PART_CONTOUR_LEVELS", "float × (OXR_PART_CONTOUR_NUMLEVELS)"),
    (5, "OXR_ANNOT_TEXT_STRING", "char × (OXR_ANNOT_TEXT_STRLEN + 1)"),
    (1, "OXR_PART_PLANECLIP_POINTS", "float × 9"),
    (1, "OXR_PART_VECTOR_TIPANGLE", "rejected"),
    (6, "OXR_IMAGE_U_X0Y0X1Y1", "int × 4"),
])
def test_the_tag_tables(kind, tag, carries):
    groups = dict(docgen.tag_classes(kind))
    assert tag in [name for name, _ in groups[carries]]
    names = [name for members in groups.values() for name, _ in members]
    assert len(names) == len(set(names))


def test_a_note_accepts_no_tag():
    assert docgen.tag_classes(8) == []
    assert docgen.tags_rst(8) == "No tag is accepted.\n"
