"""Sphinx configuration of the scnapi documentation (``make docs``)."""
import os
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

autodoc_member_order = "bysource"
autodoc_typehints = "description"
autodoc_typehints_format = "short"
autodoc_class_signature = "separated"
napoleon_google_docstring = True

html_theme = "furo"
html_title = f"scnapi {release}"
html_show_sourcelink = False
