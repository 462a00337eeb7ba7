"""Pictures of scene files, without the application that made them.

Three steps: ``resolve`` says what a frame shows (parts, reps, geoms,
render attributes, viewports, annotations) as plain data; the painter
builds VTK actors from it (pyvista meshes made from the file's arrays) and
draws them offscreen; the picture comes back as a numpy array. Rendering
needs pyvista (``pip install scnapi[render]``); animations also imageio.
"""
from __future__ import annotations

import importlib
import importlib.util
import os
import warnings
from typing import TYPE_CHECKING, Any, Iterable, Iterator, List, Optional, Sequence, Tuple

from ._frame import DrawnPart, DrawnRep, Frame, FramePlane, FrameVport, resolve

if TYPE_CHECKING:
    from .._file import SceneFile

__all__ = ["DEFAULT_SIZE", "DrawnPart", "DrawnRep", "Frame", "FramePlane", "FrameVport",
           "RenderWarning", "frames", "played_frames", "render", "resolve", "save", "show",
           "to_png"]

DEFAULT_SIZE = (640, 480)


class RenderWarning(UserWarning):
    """Something the file names was not drawn (a frame past a sub-record's
    frames, a record the file does not hold); the message says what."""


def _size(size: Sequence[int]) -> Tuple[int, int]:
    w, h = (int(x) for x in size)
    if not (0 < w <= 16384 and 0 < h <= 16384):
        raise ValueError(f"size: width and height of 1 to 16384 pixels expected, got {w}x{h}")
    return w, h


def frames(f: SceneFile, scene: int = 0, which: Optional[Iterable[int]] = None,
           size: Sequence[int] = DEFAULT_SIZE, vport: Optional[int] = None,
           view: Optional[int] = None) -> Iterator[Tuple[int, Any]]:
    """(frame, image) for each frame of `which` (default the frames the
    scene plays), images as (height, width, 3) uint8 arrays. What was not
    drawn is issued as a RenderWarning per frame."""
    from ._scene import Painter
    painter = Painter(f, _size(size))
    for frame in (played_frames(f, scene) if which is None else which):
        content = resolve(f, scene, frame, view)
        image = painter.draw(content, vport)
        for line in content.skipped:
            warnings.warn(f"frame {frame}: {line}", RenderWarning, stacklevel=2)
        yield frame, image


def render(f: SceneFile, scene: int = 0, frame: int = 0, size: Sequence[int] = DEFAULT_SIZE,
           vport: Optional[int] = None, view: Optional[int] = None) -> Any:
    """Frame `frame` of scene `scene` as a (height, width, 3) uint8 RGB
    array of `size` (width, height)."""
    return next(frames(f, scene, [frame], size, vport, view))[1]


def show(f: SceneFile, scene: int = 0, frame: int = 0, size: Sequence[int] = DEFAULT_SIZE,
         vport: Optional[int] = None, view: Optional[int] = None) -> None:
    """Displays a frame in Jupyter (or any IPython display)."""
    try:
        ipython: Any = importlib.import_module("IPython.display")
    except ImportError:
        raise ImportError("show() displays in Jupyter or IPython (pip install ipython); "
                          "render() gives the image as an array") from None
    ipython.display(ipython.Image(data=to_png(render(f, scene, frame, size, vport, view))))


def played_frames(f: SceneFile, scene: int) -> List[int]:
    """The frames a scene plays: start to end frame by its stride, within
    its frames (all of them when that leaves none); [0] for a file without
    scenes."""
    if len(f.scenes) == 0:
        return [0]
    s = f.scenes[scene]
    played = [k for k in range(s.start_frame, s.end_frame + 1, max(s.stride, 1))
              if 0 <= k < s.n_frames]
    return played or list(range(max(s.n_frames, 1)))


def to_png(image: Any) -> bytes:
    """An RGB(A) uint8 image as PNG bytes (written by VTK)."""
    import numpy as np
    from ._scene import _require
    _require()
    from vtkmodules.util import numpy_support
    from vtkmodules.vtkCommonDataModel import vtkImageData
    from vtkmodules.vtkIOImage import vtkPNGWriter
    h, w, channels = image.shape
    data = vtkImageData()
    data.SetDimensions(w, h, 1)
    pixels = np.ascontiguousarray(image[::-1].reshape(-1, channels), np.uint8)
    to_vtk: Any = numpy_support.numpy_to_vtk
    data.GetPointData().SetScalars(to_vtk(pixels, deep=True))
    writer = vtkPNGWriter()
    writer.SetInputData(data)
    writer.WriteToMemoryOn()
    writer.Write()
    return bytes(memoryview(writer.GetResult()))


def numbered(path: str, frame: int) -> str:
    """The file of one frame of a sequence: out.png -> out_0007.png."""
    stem, ext = os.path.splitext(path)
    return f"{stem}_{frame:04d}{ext}"


def save(images: Iterable[Tuple[int, Any]], path: str, fps: float = 10.0,
         sequence: bool = False) -> List[str]:
    """Writes (frame, image) pairs to `path`: a .png (a numbered .png per
    frame with `sequence`), or one animated .gif or .mp4 (imageio; MP4
    also imageio-ffmpeg). Returns the files written."""
    ext = os.path.splitext(path)[1].lower()
    if ext == ".png":
        written = []
        for frame, image in images:
            name = numbered(path, frame) if sequence else path
            with open(name, "wb") as out:
                out.write(to_png(image))
            written.append(name)
        return written
    if ext not in (".gif", ".mp4"):
        raise ValueError(f"{path}: the output is a .png, .gif or .mp4 file")
    try:
        import imageio.v2 as imageio
    except ImportError:
        raise ImportError("animations need the optional package 'imageio': "
                          "pip install scnapi[render]") from None
    fps = fps if fps > 0 else 10.0
    if ext == ".mp4":
        if importlib.util.find_spec("imageio_ffmpeg") is None:
            raise ImportError("MP4 output needs the optional package 'imageio-ffmpeg': "
                              "pip install imageio-ffmpeg (or write a .gif)")
        writer: Any = imageio.get_writer(path, fps=fps)
    else:  # a frame's duration in milliseconds; loop 0 plays forever
        writer = imageio.get_writer(path, mode="I", duration=1000.0 / fps, loop=0)
    with writer:
        for _, image in images:
            writer.append_data(image)
    return [path]
