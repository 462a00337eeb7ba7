"""Sphinx directives that place the generated references in the pages
(their text comes from ``docgen``):

- ``.. c-api::``: every public header, each entry with the comment above it;
  the build fails when an exported entry has none.
- ``.. oxm-commands::``: ``oxm`` and each subcommand, from their parsers.
- ``.. layout-table:: KEY``: the groups and items of a record family of
  ``oxm._layout`` (or ``top``: the version attributes; ``tagged``: the
  tagged attribute store).
- ``.. attribute-tags:: KIND``: the tags a record of owner kind KIND
  accepts, by the library's classification.
"""
from __future__ import annotations

import glob
import os
from typing import Any, Callable, Dict, List

from docutils import nodes
from sphinx.application import Sphinx
from sphinx.errors import ExtensionError
from sphinx.util.docutils import SphinxDirective
from sphinx.util.parsing import nested_parse_to_nodes

import docgen


def _c_api(_: str) -> str:
    headers = docgen.read_headers()
    missing = docgen.undocumented(headers)
    if missing:
        raise ExtensionError("entries without a comment in the public headers: "
                             + ", ".join(missing))
    return docgen.c_api_rst(headers)


_SOURCES: Dict[str, Callable[[str], str]] = {
    "c-api": _c_api,
    "oxm-commands": lambda _: docgen.commands_rst(),
    "layout-table": docgen.layout_rst,
    "attribute-tags": lambda kind: docgen.tags_rst(int(kind)),
}
# The files each directive's text comes from: a page is read again when
# one of them changes.
_DEPENDS: Dict[str, List[str]] = {
    "c-api": ["scnapi/scnapi.h", "scnapi/scn_*.h"],
    "oxm-commands": ["python/oxm/cli/*.py"],
    "layout-table": ["python/oxm/_layout.py", "python/oxm/_elements.py"],
    "attribute-tags": ["scnapi/attr_classes.cpp", "python/oxm/attrs.py",
                       "python/oxm/_enum_table.py", "vocab/oxr_table.def"],
}


def _directive(name: str) -> type:
    class Generated(SphinxDirective):
        optional_arguments = 1

        def run(self) -> List[nodes.Node]:
            for pattern in _DEPENDS[name]:
                for path in sorted(glob.glob(os.path.join(docgen.ROOT, pattern))):
                    self.env.note_dependency(path)
            text = _SOURCES[name](self.arguments[0] if self.arguments else "")
            return list(nested_parse_to_nodes(self.state, text, source=f"<{name}>",
                                              allow_section_headings=True))

    Generated.__name__ = name.title().replace("-", "") + "Directive"
    return Generated


def setup(app: Sphinx) -> Dict[str, Any]:
    for name in _SOURCES:
        app.add_directive(name, _directive(name))
    return {"version": "1", "parallel_read_safe": True}

