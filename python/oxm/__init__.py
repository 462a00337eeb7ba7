"""Scene files from Python: read every record family, write scene files,
and move meshes in and out.

>>> import oxm
>>> with oxm.open("demo.h5") as f:                        # written by oxm demo
...     print([p.name for p in f.parts[:2]])
...     coords = f.node_sets[0].coords
['body', 'outline']

The ``OXR_`` constants of the scene-file vocabulary are attributes of this
package too; ``oxm.enums`` groups them into IntEnum classes.
"""
import _oxm

from . import enums, render
from ._errors import ScnError, ScnWarning
from ._file import SceneFile, open
from ._version import __version__
from ._meshes import from_meshio
from ._paths import get_cmake_dir, get_include, get_pkgconfig_dir
from ._records import (Annot, Aplane, Element, ElemList, ElemListVar, Family, Geom, Image,
                       NodeSet, NodeVar, Note, Palette, Part, Query, RendAttr, Rep, Scene,
                       SceneAnnot, SceneAplane, ScenePart, SceneView, SceneVport, Source,
                       Variable, ViewVport, Vport)
from ._writer import SceneWriter, create
from .attrs import Attrs, OwnerKind
from .enums import (AnimLoop, AnimRun, AnnotType, AplaneType, Centering, ColorSpace, ElemType,
                    PartType, PixelFormat, Projection, RepType, VarKind)

__all__ = [
    "Annot", "Aplane", "Element", "ElemList", "ElemListVar", "Family", "Geom", "Image", "NodeSet",
    "NodeVar", "Note", "Palette", "Part", "Query", "RendAttr", "Rep", "Scene", "SceneAnnot",
    "SceneAplane", "ScenePart", "SceneView", "SceneVport", "Source", "Variable", "ViewVport",
    "Vport",
    "AnimLoop", "AnimRun", "AnnotType", "AplaneType", "Attrs", "Centering", "ColorSpace",
    "ElemType", "OwnerKind", "PartType", "PixelFormat", "Projection", "RepType", "SceneFile",
    "SceneWriter", "ScnError", "ScnWarning", "VarKind", "__version__", "create", "enums",
    "from_meshio", "get_cmake_dir", "get_include", "get_pkgconfig_dir", "open", "render",
]

for _name in dir(_oxm):
    if _name.startswith("OXR_"):
        globals()[_name] = getattr(_oxm, _name)
del _name
