"""Render one frame of the demo scene (oxm demo) and of a million triangles.

    python bench/bench_render.py [--triangles N] [--size WxH] [--repeat R]

Prints, per scene, the median over R runs (each with a fresh file object
and renderer, after one warm-up render that creates the GL context) of the
seconds spent reading (what the frame shows and the arrays of its geoms),
building the VTK scene (meshes from the arrays, actors, texts) and
rendering (drawing and reading the pixels back), and the share of reading
and building in the whole.
"""
import argparse
import os
import statistics
import sys
import tempfile
import time

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests"))

import oxm  # noqa: E402
from oxm.render import resolve  # noqa: E402
from oxm.render._scene import Painter  # noqa: E402
from oxm.demo import build_demo  # noqa: E402
from render_scenes import write_scene  # noqa: E402


def big_scene(path, triangles):
    """A bent sheet of about `triangles` triangles, coloured by a node
    variable through a palette, seen by a viewport; compressed as
    producers write them."""
    n = int(np.sqrt(triangles / 2))
    x, y = np.meshgrid(np.linspace(0, 2, n + 1), np.linspace(0, 1, n + 1))
    coords = np.stack([x.ravel(), y.ravel(), 0.2 * np.sin(3 * x.ravel()) * y.ravel()], axis=1)
    k = np.arange((n + 1) * n).reshape(n, n + 1)[:, :n].ravel()
    tris = np.concatenate([np.stack([k, k + 1, k + n + 2], 1),
                           np.stack([k, k + n + 2, k + n + 1], 1)])
    ramp = (([0, 1], [0, 1]), ([0, 0.5, 1], [0, 1, 0]), ([0, 1], [1, 0]))
    parts = [{"steps": [[(coords, 2004, tris, (0, coords[:, 2]))]],
              "attrs": {"OXR_RENDATTR_COLORBY2D": 1021, "OXR_RENDATTR_COLORBYVAR": 0}}]
    vport = {"OXR_VPORT_LOOKFROM": [1, -2, 2], "OXR_VPORT_LOOKAT": [1, 0.5, 0],
             "OXR_VPORT_UPDIR": [0, 0, 1]}
    write_scene(path, parts, vport, variables=[("z", 3000, ramp, (-0.2, 0.2))],
                compression="deflate")
    return len(tris)


def measure(path, size, frame):
    timings = {"read": 0.0, "build": 0.0, "render": 0.0}
    start = time.perf_counter()
    with oxm.open(path) as f:
        content = resolve(f, 0, frame)
        timings["read"] += time.perf_counter() - start
        Painter(f, size, timings).draw(content)
    return timings


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--triangles", type=int, default=1_000_000)
    parser.add_argument("--size", default="800x600")
    parser.add_argument("--repeat", type=int, default=3)
    args = parser.parse_args()
    size = tuple(int(v) for v in args.size.split("x"))
    with tempfile.TemporaryDirectory() as tmp:
        demo = os.path.join(tmp, "demo.h5")
        build_demo(demo)
        big = os.path.join(tmp, "big.h5")
        count = big_scene(big, args.triangles)
        measure(demo, size, 0)  # warm-up: the GL context, fonts
        print(f"{'scene':<24}{'read s':>9}{'build s':>9}{'render s':>10}"
              f"{'read+build share':>18}")
        for name, path, frame in (("demo (frame 8)", demo, 8), (f"{count} triangles", big, 0)):
            runs = [measure(path, size, frame) for _ in range(args.repeat)]
            med = {k: statistics.median(r[k] for r in runs) for k in runs[0]}
            total = sum(med.values())
            print(f"{name:<24}{med['read']:>9.3f}{med['build']:>9.3f}{med['render']:>10.3f}"
                  f"{(med['read'] + med['build']) / total:>17.0%}")
    print(f"(medians of {args.repeat} runs at {size[0]}x{size[1]}, after one warm-up render)")


if __name__ == "__main__":
    main()
