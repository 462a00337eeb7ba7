"""Sphinx configuration of the scnapi documentation (``make docs``)."""
import os
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "_ext"))

import oxm  # noqa: E402  (the package documented, with _oxm built)

project = "scnapi"
author = "the scnapi developers"
copyright = "the scnapi developers"
release = version = oxm.__version__

extensions = [
    "sphinx.ext.autodoc",
    "sphinx.ext.napoleon",
    "scnapi_sphinx",
]
exclude_patterns = ["_build", "_ext"]
primary_domain = "py"
default_role = "code"
highlight_language = "none"
smartquotes = False  # names in the file are quoted exactly

autodoc_member_order = "bysource"
autodoc_typehints = "signature"
autodoc_typehints_format = "short"
# Shown by name: the unions behind them say less than their names.
autodoc_type_aliases = {name: name for name in (
    "ArrayLike", "PathLike")}
napoleon_google_docstring = True

html_theme = "furo"
html_title = f"scnapi {release}"
html_show_sourcelink = False


def _alias_names(app, what, name, obj, options, signature, annotation):
    """Aliases nested in other types (Optional[ArrayLike]) by name too."""
    def fix(text):
        return re.sub(r"TypeAliasForwardRef\('(\w+)'\)", r"\1", text) if text else text
    return fix(signature), fix(annotation)


def setup(app):
    app.connect("autodoc-process-signature", _alias_names)
