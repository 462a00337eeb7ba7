"""Render frames of a scene file to PNG, GIF or MP4.

  oxm render run.h5 -o frame.png
      The first frame the scene plays (--frame F, --scene S), every
      viewport with its camera, the parts with their colours and palettes,
      the texts and legends, at 640x480 (--size WxH).

  oxm render run.h5 --frames all -o frames.png
      Every frame the scene plays: frames_0000.png, frames_0001.png, ...
      (numbered by frame); to OUT ending in .gif or .mp4, one animation at
      the scene's frame rate (--fps N).

  oxm render run.h5 --vport 1 --view 0 -o v1.png
      Scene viewport 1 alone over the whole image, with the frames of the
      scene's view 0.

What the file names but does not hold is left out, with a line "not
drawn" on standard error. Needs pyvista (pip install scnapi[render]);
animations also imageio, MP4 imageio-ffmpeg; a progress bar with tqdm on
a terminal.
"""
from __future__ import annotations

import argparse
import sys
import warnings
from typing import Tuple

from ..render import RenderWarning, frames, played_frames, save
from ._common import CliError, open_scene, progress


def _size(text: str) -> Tuple[int, int]:
    try:
        w, h = (int(x) for x in text.lower().split("x"))
    except ValueError:
        raise argparse.ArgumentTypeError(f"WxH expected, got {text!r}") from None
    return w, h


def add_args(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("file", metavar="FILE", help="the scene file")
    parser.add_argument("-o", "--output", required=True, metavar="OUT",
                        help="a .png, .gif or .mp4 file")
    parser.add_argument("--scene", type=int, default=0, help="the scene (default 0)")
    which = parser.add_mutually_exclusive_group()
    which.add_argument("--frame", type=int, help="the frame (default the first played)")
    which.add_argument("--frames", choices=["all"], help="every frame the scene plays")
    parser.add_argument("--vport", type=int, help="this scene viewport alone, over the image")
    parser.add_argument("--view", type=int, help="the viewport frames of this view")
    parser.add_argument("--size", type=_size, default=(640, 480), metavar="WxH",
                        help="the image size (default 640x480)")
    parser.add_argument("--fps", type=float, help="frames per second of an animation "
                                                  "(default the scene's)")


def run(args: argparse.Namespace) -> int:
    with open_scene(args.file) as f, warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always", RenderWarning)
        try:
            played = played_frames(f, args.scene)
            scene_fps = f.scenes[args.scene].fps if len(f.scenes) else 0.0
        except IndexError:
            raise CliError(args.file, f"no scene {args.scene} ({len(f.scenes)} scenes)") from None
        which = played if args.frames else [played[0] if args.frame is None else args.frame]
        images = frames(f, args.scene, which, args.size, args.vport, args.view)
        try:
            written = save(progress(images, len(which), "frames"), args.output,
                           args.fps or scene_fps, sequence=bool(args.frames))
        except ValueError as exc:
            raise CliError(args.file, str(exc)) from None
    for w in caught:
        if issubclass(w.category, RenderWarning):
            print(f"oxm: {args.file}: not drawn: {w.message}", file=sys.stderr)
        else:
            warnings.warn(w.message)
    last = f" .. {written[-1]} ({len(written)} files)" if len(written) > 1 else ""
    print(f"oxm: wrote {written[0]}{last}", file=sys.stderr)
    return 0
