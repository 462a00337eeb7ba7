"""Write a sample scene file and print what it holds.

A torus of 28,800 nodes per state whose tube swells in a travelling wave
(triangle and quadrilateral element records), a node-centred temperature
and an element-centred flow vector with extents and palettes, a body part
and an outline part with their reps and render attributes, a viewport per
frame of a camera orbit, an annotation plane with a title and a legend, an
image, a note, and a scene of 24 frames over the part and viewport
sources. Written through the oxm package's writer (oxm.demo.build_demo).
"""
from __future__ import annotations

import argparse
import sys
import time

from ..demo import build_demo
from . import _info


def add_args(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("output", nargs="?", default="demo.h5", metavar="OUT",
                        help="the file to write (default demo.h5)")


def run(args: argparse.Namespace) -> int:
    start = time.perf_counter()
    build_demo(args.output)
    print(f"oxm: wrote {args.output} in {time.perf_counter() - start:.2f} s", file=sys.stderr)
    return _info.run(argparse.Namespace(files=[args.output], json=False))
