"""Drawing a resolved frame with VTK, offscreen: one renderer per viewport,
one actor per drawn layer of a part, texts and colour bars over them, and
the picture read back as a numpy array.
"""
from __future__ import annotations

import os
import sys
import time
from types import SimpleNamespace
from typing import TYPE_CHECKING, Any, Dict, List, Optional, Tuple

import numpy as np

from .._errors import ScnError
from . import _build, _style
from ._frame import DrawnPart, Frame, FramePlane, FrameVport

if TYPE_CHECKING:
    from .._file import SceneFile


def _require() -> Tuple[Any, Any]:
    """pyvista and the VTK classes that draw, ready for offscreen use."""
    if sys.platform.startswith("linux") and not (os.environ.get("DISPLAY")
                                                 or os.environ.get("WAYLAND_DISPLAY")):
        # Without a display, VTK's wheels render through EGL (Mesa's
        # software renderer will do); saying so spares the X attempt.
        os.environ.setdefault("VTK_DEFAULT_OPENGL_WINDOW", "vtkEGLRenderWindow")
    try:
        import pyvista
        import vtkmodules.vtkRenderingFreeType  # noqa: F401 (text)
        import vtkmodules.vtkRenderingOpenGL2  # noqa: F401 (the OpenGL classes)
        from vtkmodules.util.numpy_support import vtk_to_numpy
        from vtkmodules.vtkCommonCore import vtkLookupTable
        from vtkmodules.vtkRenderingAnnotation import vtkScalarBarActor
        from vtkmodules.vtkRenderingCore import (vtkActor, vtkPolyDataMapper, vtkRenderer,
                                                 vtkRenderWindow, vtkTextActor,
                                                 vtkWindowToImageFilter)
    except ImportError:
        raise ImportError("rendering needs the optional package 'pyvista' (with VTK): "
                          "pip install scnapi[render]") from None
    return pyvista, SimpleNamespace(**{k: v for k, v in locals().items() if k.startswith("vtk")})


_JUSTIFY = {"left": 0, "centre": 1, "right": 2, "bottom": 0, "top": 2}


class Painter:
    """Draws frames of one scene file at one size; keeps the meshes it
    built and the attributes it read for the next frames."""

    def __init__(self, f: SceneFile, size: Tuple[int, int],
                 timings: Optional[Dict[str, float]] = None) -> None:
        self.pv, self.vtk = _require()
        self.f = f
        self.size = (int(size[0]), int(size[1]))
        # seconds spent reading the file's arrays, building the VTK scene
        # and rendering it, summed over the frames drawn
        self.timings = {"read": 0.0, "build": 0.0, "render": 0.0} if timings is None \
            else timings
        # The meshes of the frame drawn last, kept for the next frame (which
        # often shows the same geoms); the others are let go.
        self._meshes: Dict[Tuple[int, Optional[int]], Optional[_build.GeomMeshes]] = {}
        self._used: Dict[Tuple[int, Optional[int]], Optional[_build.GeomMeshes]] = {}
        self._attrs: Dict[Tuple[str, int], Any] = {}

    # ---- records -----------------------------------------------------------------

    def attrs(self, family: str, index: Optional[int], skipped: List[str]) -> Any:
        """The converted attributes of a record (empty when it has none or
        the file does not hold them)."""
        if index is None:
            return {}
        key = (family, index)
        if key not in self._attrs:
            try:
                self._attrs[key] = getattr(self.f, family).read(index).attrs
            except ScnError:
                skipped.append(f"{family} {index}: attributes not readable, defaults used")
                self._attrs[key] = {}
        return self._attrs[key]

    def variable(self, index: int, skipped: List[str]) -> Any:
        try:
            return self.f.variables.read(index)
        except ScnError:
            skipped.append(f"variable {index} is not in the file: coloured as constant")
            return None

    def lut(self, var: Any, data: Any, nan: _style.RGBA) -> Any:
        """A lookup table of the variable's palette (a grey ramp without
        one) over its range."""
        vtk = self.vtk
        try:
            palette = var.palette
        except ScnError:
            palette = None
        lut = vtk.vtkLookupTable()
        if palette is not None:
            table = _style.palette_table(palette)
            lut.SetNumberOfTableValues(len(table))
            for i, rgba in enumerate(table):
                lut.SetTableValue(i, *rgba)
        else:
            lut.SetHueRange(0.0, 0.0)
            lut.SetSaturationRange(0.0, 0.0)
            lut.SetValueRange(0.2, 1.0)
            lut.Build()
        lut.SetRange(*_style.value_range(palette, var, data))
        lut.SetNanColor(*nan)  # undefined values: the part's own colour
        return lut

    # ---- a frame -------------------------------------------------------------------

    def draw(self, frame: Frame, vport: Optional[int] = None) -> Any:
        """The frame as an (height, width, 3) uint8 array; with `vport`,
        scene viewport `vport` alone over the whole image."""
        vtk = self.vtk
        skipped = frame.skipped
        start, read = time.perf_counter(), self.timings["read"]
        window = vtk.vtkRenderWindow()
        window.SetOffScreenRendering(1)
        window.SetSize(*self.size)
        window.SetMultiSamples(0)  # no anti-aliasing: colours stay exact
        window.SetNumberOfLayers(2)
        base = vtk.vtkRenderer()  # the window's background, behind the viewports
        base.SetBackground(*_style.WINDOW)
        window.AddRenderer(base)
        vports = frame.vports
        if vport is not None:
            vports = [v for v in vports if v.scene_vport == vport]
            if not vports:
                raise ValueError(f"viewport {vport}: the scene has no such viewport")
        for v in vports:
            ren = self._viewport(frame, v, vport is not None, skipped)
            if ren is not None:
                window.AddRenderer(ren)
        overlay = vtk.vtkRenderer()
        overlay.SetLayer(1)
        overlay.InteractiveOff()
        for plane in frame.planes:
            for actor in self._annotations(plane, skipped):
                overlay.AddViewProp(actor)
        window.AddRenderer(overlay)
        built = time.perf_counter()
        self.timings["build"] += built - start - (self.timings["read"] - read)
        pixels = self._capture(window)
        self._meshes, self._used = self._used, {}
        self.timings["render"] += time.perf_counter() - built
        return pixels

    def _capture(self, window: Any) -> Any:
        """Renders the window and reads its pixels back, top row first."""
        window.Render()
        grab = self.vtk.vtkWindowToImageFilter()
        grab.SetInput(window)
        grab.SetInputBufferTypeToRGB()
        grab.ReadFrontBufferOff()
        grab.Update()
        image = grab.GetOutput()
        w, h, _ = image.GetDimensions()
        pixels = self.vtk.vtk_to_numpy(image.GetPointData().GetScalars())
        window.Finalize()  # the GL context goes now, not with the garbage
        return pixels.reshape(h, w, 3)[::-1].copy()

    def _viewport(self, frame: Frame, v: FrameVport, whole: bool,
                  skipped: List[str]) -> Optional[Any]:
        attrs = self.attrs("vports", v.vport, skipped)
        if attrs.get("OXR_VPORT_ISVISIBLE") is False:
            return None
        ren = self.vtk.vtkRenderer()
        ren.SetViewport(*((0.0, 0.0, 1.0, 1.0) if whole else _style.viewport_rect(attrs)))
        bg = _style.background(attrs)
        ren.SetBackground(*bg.bottom)
        if bg.top != bg.bottom:
            ren.SetBackground2(*bg.top)
            ren.GradientBackgroundOn()
        ren.SetUseDepthPeeling(1)  # translucent parts drawn in depth order
        hidden = attrs.get("OXR_VPORT_ISHIDDENLINE") is True
        for part in frame.parts_in(v):
            for actor in self._part(part, hidden, skipped):
                ren.AddActor(actor)
        cam = _style.camera(attrs)
        camera = ren.GetActiveCamera()
        if cam is None:
            ren.ResetCamera()  # looking down -z at the bounds of what is drawn
        else:
            camera.SetPosition(*cam.position)
            camera.SetFocalPoint(*cam.focal_point)
            camera.SetViewUp(*cam.view_up)
            camera.SetViewAngle(cam.view_angle)
            camera.SetParallelProjection(cam.parallel)
            camera.SetParallelScale(cam.parallel_scale)
        if cam is not None and cam.clipping is not None:
            camera.SetClippingRange(*cam.clipping)
        else:
            ren.ResetCameraClippingRange()
        return ren

    def _part(self, part: DrawnPart, hidden: bool, skipped: List[str]) -> List[Any]:
        attrs = self.attrs("rend_attrs", part.rep.rend_attr, skipped)
        style = _style.part_style(attrs, part.rep.rep_type, hidden)
        if not style.visible or style.mode == "none":
            return []
        var = None
        if style.var is not None:
            var = self.variable(style.var, skipped)
        meshes = [m for m in (self.meshes(g, None if var is None else var.index, skipped)
                              for g in part.rep.geoms) if m is not None]
        if not meshes:
            return []
        if style.mode == "box":
            bounds = self.pv.PolyData(np.concatenate([m.points for m in meshes])).bounds
            rgba = style.layers[0].rgba if style.layers else _style.GREY
            layer = _style.Layer(1, "wireframe", rgba, False, False)
            return [self._actor(_build.outline(self.pv, bounds), layer, style, None)]
        if style.mode == "points":  # the nodes, in the colour of the first layer
            first = style.layers[0] if style.layers else _style.Layer(0, "", _style.GREY,
                                                                      False, True)
            layer = first._replace(shape="points")
            lut = self._lut(var, layer, meshes)
            return [self._actor(_build.nodes_of(self.pv, meshes), layer, style, lut)]
        actors = []
        for layer in style.layers:
            lut = self._lut(var, layer, meshes)
            for m in meshes:
                for piece in m.pieces:
                    if piece.dim == layer.dim:
                        actors.append(self._actor(piece.mesh, layer, style, lut, piece.by_point))
        return actors

    def meshes(self, geom: int, var: Optional[int],
               skipped: List[str]) -> Optional[_build.GeomMeshes]:
        key = (geom, var)
        if key not in self._used:
            if key in self._meshes:
                self._used[key] = self._meshes[key]
            else:
                start = time.perf_counter()
                arrays = _build.read(self.f, geom, var, skipped)
                self.timings["read"] += time.perf_counter() - start
                self._used[key] = None if arrays is None else _build.build(self.pv, arrays)
        return self._used[key]

    def _lut(self, var: Any, layer: _style.Layer, meshes: List[_build.GeomMeshes]) -> Any:
        if var is None or not layer.by_var:
            return None
        data = [p.mesh.point_data.get(_build.VALUES) if p.by_point
                else p.mesh.cell_data.get(_build.VALUES) for m in meshes for p in m.pieces]
        data = [d for d in data if d is not None]
        if not data:
            return None
        return self.lut(var, np.concatenate(data), layer.rgba)

    def _actor(self, mesh: Any, layer: _style.Layer, style: _style.PartStyle, lut: Any,
               by_point: bool = True) -> Any:
        vtk = self.vtk
        mapper = vtk.vtkPolyDataMapper()
        mapper.SetInputData(mesh)
        data = mesh.point_data if by_point else mesh.cell_data
        if lut is not None and _build.VALUES in data:
            mapper.SetLookupTable(lut)
            mapper.UseLookupTableScalarRangeOn()
            mapper.SelectColorArray(_build.VALUES)
            if by_point:
                mapper.SetScalarModeToUsePointFieldData()
                # Node values are interpolated across the elements before
                # they are mapped: the colours in between are the palette's
                # own, not blends of the corner colours.
                mapper.InterpolateScalarsBeforeMappingOn()
            else:
                mapper.SetScalarModeToUseCellFieldData()  # one colour per element
            mapper.ScalarVisibilityOn()
        else:
            mapper.ScalarVisibilityOff()
        actor = vtk.vtkActor()
        actor.SetMapper(mapper)
        prop = actor.GetProperty()
        prop.SetColor(*layer.rgba[:3])
        prop.SetOpacity(layer.rgba[3])
        {"surface": prop.SetRepresentationToSurface, "wireframe": prop.SetRepresentationToWireframe,
         "points": prop.SetRepresentationToPoints}[layer.shape]()
        prop.SetLighting(layer.lit)
        if layer.lit:
            ambient, diffuse, specular, power = style.light
            prop.SetAmbient(ambient)
            prop.SetDiffuse(diffuse)
            prop.SetSpecular(specular)
            prop.SetSpecularPower(power)
        prop.SetLineWidth(style.line_width)
        prop.SetPointSize(_style.POINT_SIZE)
        if style.spheres and layer.shape == "points":
            prop.RenderPointsAsSpheresOn()
        if style.edges is not None and layer.shape == "surface":
            prop.EdgeVisibilityOn()
            prop.SetEdgeColor(*style.edges[:3])
        return actor

    # ---- annotations -------------------------------------------------------------

    def _annotations(self, plane: FramePlane, skipped: List[str]) -> List[Any]:
        rect = _style.plane_rect(None if plane.aplane is None
                                 else self.attrs("aplanes", plane.aplane, skipped))
        if rect is None:
            skipped.append(f"annotation plane {plane.aplane}: a 3-D plane, not drawn")
            return []
        actors = []
        for index in plane.annots:
            try:
                annot = self.f.annots.read(index)
                item = _style.annotation(int(annot.annot_type), annot.attrs, rect)
            except ScnError:
                skipped.append(f"annotation {index}: not readable")
                continue
            if isinstance(item, _style.Text):
                actors.append(self._text(item))
            elif isinstance(item, _style.Legend):
                actors += self._legend(item, skipped)
        return actors

    def _font(self, prop: Any, rgb: _style.Vec3, height: float) -> None:
        prop.SetColor(*rgb)
        prop.SetFontFamilyToArial()
        prop.SetFontSize(max(int(round(height * self.size[1])), 1))

    def _text(self, t: _style.Text) -> Any:
        actor = self.vtk.vtkTextActor()
        actor.SetInput(t.text)
        actor.GetPositionCoordinate().SetCoordinateSystemToNormalizedDisplay()
        actor.SetPosition(*t.anchor)
        prop = actor.GetTextProperty()
        self._font(prop, t.rgb, t.height)
        prop.SetOpacity(t.opacity)
        prop.SetJustification(_JUSTIFY[t.halign])
        prop.SetVerticalJustification(_JUSTIFY[t.valign])
        prop.SetOrientation(t.angle)
        prop.SetBold(t.bold)
        prop.SetItalic(t.italic)
        return actor

    def _legend(self, legend: _style.Legend, skipped: List[str]) -> List[Any]:
        """A colour bar of the variable's palette, its labels and title."""
        var = self.variable(legend.var, skipped)
        if var is None:
            return []
        lut = self.lut(var, None, _style.GREY)
        bar = self.vtk.vtkScalarBarActor()
        bar.SetLookupTable(lut)
        fmt = legend.label_format or "%-#6.3g"  # VTK's own
        bar.SetLabelFormat(fmt)
        # The legend's box is the colour bar's; the labels go beside it
        # (above a horizontal bar), in text of the legend's height: the
        # actor's box grows by their room. The variable's name is the
        # title, above it all, ending at the bar's end on the right half of
        # the image (starting at its start on the left half).
        w, h = self.size
        text = legend.height * h
        labels = max(len((fmt % v).strip()) for v in lut.GetRange()) * 0.6 * text + 0.5 * text
        x, y, bw, bh = legend.rect
        if legend.vertical:
            bar.SetOrientationToVertical()
            room = labels / w
            bar.SetBarRatio(bw / (bw + room))
            top, bw = y + bh, bw + room
        else:
            bar.SetOrientationToHorizontal()
            room = 1.4 * text / h
            bar.SetBarRatio(bh / (bh + room))
            bh += room
            top = y + bh
        bar.GetPositionCoordinate().SetCoordinateSystemToNormalizedDisplay()
        bar.SetPosition(x, y)
        bar.SetWidth(bw)
        bar.SetHeight(bh)
        bar.UnconstrainedFontSizeOn()
        prop = bar.GetLabelTextProperty()
        self._font(prop, legend.rgb, legend.height)
        prop.ShadowOff()
        prop.ItalicOff()
        prop.BoldOff()
        right = x + legend.rect[2] / 2 > 0.5
        title = _style.Text(var.name, (x + legend.rect[2] if right else x, top + 0.7 * text / h),
                            legend.rgb, 1.0, legend.height, "right" if right else "left",
                            "bottom", 0.0, False, False)
        return [bar, self._text(title)]
