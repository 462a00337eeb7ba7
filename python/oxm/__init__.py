"""Scene files from Python.

``oxm.open(path)`` opens a scene file for reading and returns the
``_oxm.oxm`` file object; the ``OXR_`` constants of the scene-file
vocabulary are available as attributes of this package.
"""
import _oxm
from _oxm import oxm as SceneFile
from oxm._paths import get_cmake_dir, get_include, get_pkgconfig_dir  # noqa: F401

__all__ = ["SceneFile", "open"]

for _name in dir(_oxm):
    if _name.startswith("OXR_"):
        globals()[_name] = getattr(_oxm, _name)
del _name


def open(path):
    """Open the scene file at *path* (str, bytes or os.PathLike) for reading."""
    return SceneFile(path)
