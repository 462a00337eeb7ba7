"""What one frame of a scene shows, as plain data: the parts with their
reps, geoms and render attributes, the viewports with their records, and
the annotation planes with their annotations. No drawing here.

A scene's sub-records choose, frame by frame, a source and a step of it;
the step names the record shown. Whatever the file names but does not
hold (a frame past a sub-record's frames, a source, step or record index
outside the file) is skipped and said in ``Frame.skipped``.
"""
from __future__ import annotations

from dataclasses import dataclass, field
from typing import (TYPE_CHECKING, Any, Callable, Dict, FrozenSet, List, Optional, Set,
                    Tuple, TypeVar)

from .._errors import ScnError

if TYPE_CHECKING:
    from .._file import SceneFile
    from .._records import Family, Source

R = TypeVar("R")


@dataclass(frozen=True)
class DrawnRep:
    """A rep drawn for a part: its type, render attribute and geoms."""

    rep: int
    rep_type: int
    rend_attr: int
    geoms: Tuple[int, ...]


@dataclass(frozen=True)
class DrawnPart:
    """A scene part at the frame: the part record that its source's step
    names, and the rep drawn for it."""

    scene_part: Optional[int]  # None when the file has no scene
    name: str
    part: int
    rep: DrawnRep
    records: FrozenSet[int] = frozenset()  # the part records it shows over all frames


@dataclass(frozen=True)
class FrameVport:
    """A viewport at the frame: its viewport record (None: a default
    camera fitted to the bounds) and the scene parts it shows (None: all)."""

    scene_vport: Optional[int]
    vport: Optional[int]
    scene_parts: Optional[Tuple[int, ...]]
    parts: Optional[Tuple[int, ...]]  # part records, when the scene viewport lists none


@dataclass(frozen=True)
class FramePlane:
    """An annotation plane (None: the whole window) and the annotation
    records placed on it at the frame."""

    aplane: Optional[int]
    annots: Tuple[int, ...]


@dataclass
class Frame:
    """What frame `frame` of scene `scene` shows: its parts, viewports and
    annotation planes, and a line for each thing the file names but does
    not hold (`skipped`)."""

    scene: Optional[int]
    frame: int
    parts: List[DrawnPart] = field(default_factory=list)
    vports: List[FrameVport] = field(default_factory=list)
    planes: List[FramePlane] = field(default_factory=list)
    skipped: List[str] = field(default_factory=list)

    def parts_in(self, vport: FrameVport) -> List[DrawnPart]:
        """The parts that a viewport shows. The scene viewport lists scene
        parts (they persist over the frames, while the part records change
        with the steps); without such a list the viewport record's own
        list of part records applies; without either, every part."""
        if vport.scene_parts is not None:
            return [p for p in self.parts if p.scene_part in vport.scene_parts]
        if vport.parts is not None:
            # A viewport record lists part records; a scene part shows a
            # record of its source at each frame, and it is in the
            # viewport when the list names any of them (a viewport written
            # once lists the records of one step).
            return [p for p in self.parts if p.records & set(vport.parts)]
        return list(self.parts)


class _Resolver:
    def __init__(self, f: SceneFile, frame: int) -> None:
        self.f = f
        self.frame = frame
        self.skipped: List[str] = []
        self._read: Dict[Tuple[int, int], Any] = {}

    def read(self, family: Family[R], index: int) -> Optional[R]:
        """Record `index` of a family, or None when the file has none; each
        read once."""
        key = (id(family), index)
        if key not in self._read:
            try:
                self._read[key] = family.read(index) if index >= 0 else None
            except ScnError:
                self._read[key] = None
        return self._read[key]  # type: ignore[no-any-return]

    def record(self, family: Family[R], index: int, what: str) -> Optional[R]:
        """Record `index` of a family, or None (said) when the file has none."""
        found = self.read(family, index)
        if found is None:
            self.skipped.append(f"{what}: no {family._what} (index {index})" if index < 0
                                else f"{what}: {family._what} {index} is not in the file")
        return found

    def step(self, sub: Any, sources: Family[Source], what: str,
             frames: Any = None) -> Optional[int]:
        """The record index that sub-record `sub` shows at the frame: its
        frame arrays (or those of `frames`) pick a source and a step."""
        frames = sub if frames is None else frames
        if not 0 <= self.frame < frames.n_frames:
            self.skipped.append(f"{what}: has {frames.n_frames} frames, none at frame {self.frame}")
            return None
        try:
            src, step = int(frames.source_indices[self.frame]), int(frames.step_nums[self.frame])
        except ScnError:
            self.skipped.append(f"{what}: its frames are not readable")
            return None
        source = self.record(sources, src, what)
        if source is None:
            return None
        if not 0 <= step < source.n_steps:
            self.skipped.append(f"{what}: {sources._what} {src} has {source.n_steps} steps, "
                                f"not step {step}")
            return None
        return int(source.indices[step])

    def rep(self, part: Any, what: str) -> Optional[DrawnRep]:
        # A part's static rep is how it is drawn at rest; the dynamic rep
        # (by its types: a box, points, a sparse subset) is what a viewer
        # shows while the camera moves. A still image draws the static rep,
        # and the dynamic one only when the part has no static rep.
        for index in (part.static_rep, part.dynamic_rep):
            if index < 0:
                continue
            rep = self.record(self.f.reps, index, what)
            if rep is None:
                continue
            try:
                geoms = tuple(int(g) for g in rep.geoms)
            except ScnError:
                self.skipped.append(f"{what}: the geoms of rep {index} are not readable")
                geoms = ()
            return DrawnRep(index, int(rep.rep_type), rep.rend_attr, geoms)
        self.skipped.append(f"{what}: part {part.index} has no rep in the file")
        return None

    def part(self, scene_part: Optional[int], name: str, index: int, what: str,
             records: FrozenSet[int] = frozenset()) -> Optional[DrawnPart]:
        part = self.record(self.f.parts, index, what)
        if part is None:
            return None
        rep = self.rep(part, what)
        return None if rep is None else DrawnPart(scene_part, name or part.name, index, rep,
                                                  records | {index})

    def records(self, sub: Any) -> FrozenSet[int]:
        """The records a sub-record's sources name at any of its frames."""
        out = set()
        pairs = {(int(s), int(t)) for s, t in zip(sub.source_indices, sub.step_nums)}
        for src, step in pairs:
            source = self.read(self.f.part_sources, src)
            try:
                if source is not None and 0 <= step < source.n_steps:
                    out.add(int(source.indices[step]))
            except ScnError:
                continue
        return frozenset(out)


def resolve(f: SceneFile, scene: int = 0, frame: int = 0, view: Optional[int] = None) -> Frame:
    """What frame `frame` of scene `scene` shows (with the viewport frames
    of view `view` when given). A file without scenes shows every part,
    through a default viewport. ValueError for a scene, frame or view that
    the file does not have."""
    n_scenes = len(f.scenes)
    r = _Resolver(f, frame)
    out = Frame(None if n_scenes == 0 else scene, frame)
    if n_scenes == 0:
        if scene != 0 or frame != 0:
            raise ValueError("the file has no scenes: only scene 0, frame 0 can be shown")
        for index in range(len(f.parts)):
            _add(out.parts, r.part(None, "", index, f"part {index}"))
        out.vports.append(FrameVport(None, None, None, None))
        out.skipped = r.skipped
        return out
    if not 0 <= scene < n_scenes:
        raise ValueError(f"scene {scene}: the file has {n_scenes} scenes")
    s = f.scenes[scene]
    if not 0 <= frame < max(s.n_frames, 1):
        raise ValueError(f"frame {frame}: scene {scene} has {s.n_frames} frames")
    if view is not None and not 0 <= view < s.n_views:
        raise ValueError(f"view {view}: scene {scene} has {s.n_views} views")
    views = s.views[view].vports if view is not None else None

    for sp in _all(s.parts, r, f"scene {scene}"):
        what = f'scene part {sp.index} ("{sp.name}")'
        part = r.step(sp, f.part_sources, what)
        if part is not None:
            _add(out.parts, r.part(sp.index, sp.name, part, what, r.records(sp)))

    for sv in _all(s.vports, r, f"scene {scene}"):
        what = f"scene viewport {sv.index}"
        frames = r.record(views, sv.index, f"{what} in view {view}") if views else sv
        if frames is None:
            continue
        shown = r.step(sv, f.vport_sources, what, frames)
        vport = None if shown is None else r.record(f.vports, shown, what)
        if shown is not None and vport is None:
            continue  # the record is missing: the viewport is not drawn
        listed = _ints(lambda: sv.part_indices, r, what)
        own = _ints(lambda: vport.parts, r, what) if vport is not None else ()
        out.vports.append(FrameVport(sv.index, shown, listed or None, own or None))
    if not out.vports:  # a scene without viewports: one default viewport
        out.vports.append(FrameVport(None, None, None, None))

    # Annotation planes list scene annotations, whose frames pick the
    # annotation records; a plane that lists none carries the annotation
    # records of its own record. Scene annotations on no plane are drawn
    # over the whole window.
    placed: Set[int] = set()
    annot_of: Dict[int, int] = {}
    for sa in _all(s.annots, r, f"scene {scene}"):
        what = f"scene annotation {sa.index}"
        annot = r.step(sa, f.annot_sources, what)
        if annot is not None and r.record(f.annots, annot, what) is not None:
            annot_of[sa.index] = annot
    for sp_ in _all(s.aplanes, r, f"scene {scene}"):
        what = f"scene annotation plane {sp_.index}"
        plane = r.record(f.aplanes, sp_.aplane, what)
        if plane is None:
            continue
        listed = _ints(lambda: sp_.annot_indices, r, what)
        placed.update(listed)
        if listed:
            annots = tuple(annot_of[a] for a in listed if a in annot_of)
        else:
            annots = tuple(a for a in _ints(lambda: plane.annots, r, what)
                           if r.record(f.annots, a, what) is not None)
        out.planes.append(FramePlane(sp_.aplane, annots))
    free = tuple(a for k, a in sorted(annot_of.items()) if k not in placed)
    if free:
        out.planes.append(FramePlane(None, free))
    out.skipped = r.skipped
    return out


def _add(out: List[DrawnPart], part: Optional[DrawnPart]) -> None:
    if part is not None:
        out.append(part)


def _all(family: Family[R], r: _Resolver, what: str) -> List[R]:
    """The sub-records a scene counts, without those the file lacks."""
    return [x for x in (r.record(family, i, what) for i in range(len(family))) if x is not None]


def _ints(read: Callable[[], Any], r: _Resolver, what: str) -> Tuple[int, ...]:
    try:
        return tuple(int(x) for x in read())
    except ScnError:
        r.skipped.append(f"{what}: its index list is not readable")
        return ()
