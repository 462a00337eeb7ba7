"""`oxm render`: pictures of a scene file's frames."""
from __future__ import annotations

import argparse
import sys
import warnings
from typing import Tuple

from .._errors import ScnError


def _size(text: str) -> Tuple[int, int]:
    try:
        w, h = (int(x) for x in text.lower().split("x"))
    except ValueError:
        raise argparse.ArgumentTypeError(f"WxH expected, got {text!r}") from None
    return w, h


def add_args(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("file", help="scene file")
    parser.add_argument("-o", "--output", required=True,
                        help="a .png (with --frames all: out_0000.png, ... one per frame), "
                             ".gif or .mp4")
    parser.add_argument("--scene", type=int, default=0, help="scene (default 0)")
    which = parser.add_mutually_exclusive_group()
    which.add_argument("--frame", type=int, default=None, help="frame (default the first played)")
    which.add_argument("--frames", choices=["all"], help="every frame the scene plays")
    parser.add_argument("--vport", type=int, default=None,
                        help="this scene viewport alone, filling the image")
    parser.add_argument("--view", type=int, default=None, help="the viewport frames of a view")
    parser.add_argument("--size", type=_size, default=(640, 480), help="WxH (default 640x480)")
    parser.add_argument("--fps", type=float, default=None,
                        help="frames per second of a .gif or .mp4 (default the scene's)")


def run(args: argparse.Namespace) -> int:
    from . import RenderWarning, frames, played_frames, save
    from .. import open as open_file
    status = 0
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always", RenderWarning)
        try:
            with open_file(args.file) as f:
                played = played_frames(f, args.scene) if len(f.scenes) else [0]
                which = played if args.frames else [played[0] if args.frame is None
                                                    else args.frame]
                fps = args.fps or (f.scenes[args.scene].fps if len(f.scenes) else 0.0)
                images = frames(f, args.scene, which, args.size, args.vport, args.view)
                for name in save(images, args.output, fps, sequence=bool(args.frames)):
                    print(name)
        except (OSError, ValueError, ImportError, ScnError, IndexError) as exc:
            print(f"oxm render: {exc}", file=sys.stderr)
            status = 1
    for w in caught:
        what = "not drawn" if issubclass(w.category, RenderWarning) else "warning"
        print(f"oxm render: {what}: {w.message}", file=sys.stderr)
    return status


def main(argv: list[str]) -> int:
    parser = argparse.ArgumentParser(prog="oxm render",
                                     description="Render frames of a scene file to PNG, "
                                                 "GIF or MP4.")
    add_args(parser)
    return run(parser.parse_args(argv))
