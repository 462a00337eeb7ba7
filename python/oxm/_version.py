"""The package version, from the project's one declaration of it: the
pyproject.toml of the source tree when the package runs from there, else
the installed distribution's metadata."""
import os
import re
from importlib import metadata

_PYPROJECT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..",
                          "pyproject.toml")


def _version() -> str:
    try:
        with open(_PYPROJECT, encoding="utf-8") as f:
            found = re.search(r'^\[project\][^\[]*?^version\s*=\s*"([^"]+)"', f.read(), re.M | re.S)
        if found:
            return found.group(1)
    except OSError:
        pass
    try:
        return metadata.version("scnapi")
    except metadata.PackageNotFoundError:
        return "0+unknown"


__version__ = _version()
