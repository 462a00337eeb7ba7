"""Convert a scene file to a mesh file, or a mesh file to a scene file.

  oxm convert run.h5 run.vtu
      The geometry of geom 0 (--geom N): its nodes, every element record
      as cells, node variables as point data and element variables as cell
      data. Any format meshio writes, chosen by OUT's extension: .vtu for
      ParaView, .vtk, .xdmf, .msh, .stl, .obj, .exo and the others.

  oxm convert run.h5 run.pvd --all-steps
      One mesh per step of part source 0 (--source N): the geoms of the
      static rep of the part record the step names (several geoms make one
      mesh), at the time of the step's value. Written as run_0000.vtu,
      run_0001.vtu, ... beside a ParaView collection run.pvd (OUT may end
      in .pvd or .vtu). With OUT ending in .xdmf: one XDMF time series; its
      steps must have the same nodes and cells, and coordinates that move
      are written as the point data "displacement" from the first step.

  oxm convert mesh.vtu mesh.h5
      A mesh that meshio reads, into a complete scene file: a part with its
      rep and render attribute, a geom, a variable per data array with
      extents and a palette, a scene of one frame with a viewport.

Formats that meshio reads and writes through h5py or netCDF4 (XDMF, MED,
H5M, HMF, CGNS, Exodus) are converted in a separate process: those
packages carry an HDF5 of their own. Needs meshio (pip install
scnapi[meshio]); a progress bar with tqdm on a terminal.
"""
from __future__ import annotations

import argparse
import os
import subprocess
import sys
import tempfile
from typing import Any, List, Optional, Tuple
from xml.sax.saxutils import quoteattr

import numpy as np

from .._file import SceneFile
from .._meshes import _require, from_meshio, part_steps
from ._common import CliError, is_scene_file, open_scene, progress, why_not_scene_file

# meshio's formats that need h5py or netCDF4
ISOLATED = (".xdmf", ".xmf", ".h5m", ".med", ".hmf", ".cgns", ".e", ".exo", ".ex2")
XDMF = (".xdmf", ".xmf")
CHILD = os.path.join(os.path.dirname(os.path.abspath(__file__)), "_isolated.py")


def _ext(path: str) -> str:
    return os.path.splitext(path)[1].lower()


def _isolated(path: str, *args: str, cwd: Optional[str] = None) -> None:
    """Runs _isolated.py with `args` (in folder `cwd`); CliError for `path`
    when it fails."""
    run = subprocess.run([sys.executable, CHILD, *args], capture_output=True, text=True, cwd=cwd)
    if run.returncode != 0:
        lines = run.stderr.strip().splitlines()
        raise CliError(path, lines[-1] if lines else f"failed with status {run.returncode}")


def _known(meshio: Any, path: str) -> None:
    """CliError unless meshio has a format for the file name `path`."""
    name = path.lower()
    if not any(name.endswith(ext) for ext in meshio.extension_to_filetypes):
        raise CliError(path, f"no mesh format has the extension {_ext(path) or '(none)'!r}; "
                             "meshio knows " + ", ".join(sorted(meshio.extension_to_filetypes)))


def write_mesh(mesh: Any, path: str) -> None:
    if _ext(path) in ISOLATED:
        with tempfile.TemporaryDirectory() as tmp:
            vtu = os.path.join(tmp, "mesh.vtu")
            mesh.write(vtu)
            _isolated(path, "convert", vtu, path)
        return
    try:
        mesh.write(path)
    except (ValueError, KeyError, TypeError) as exc:
        raise CliError(path, str(exc).strip() or type(exc).__name__) from None
    except Exception as exc:  # meshio's own errors (WriteError, ...)
        raise CliError(path, f"{type(exc).__name__}: {exc}") from None


def read_mesh(meshio: Any, path: str) -> Any:
    if _ext(path) in ISOLATED:
        with tempfile.TemporaryDirectory() as tmp:
            vtu = os.path.join(tmp, "mesh.vtu")
            _isolated(path, "convert", path, vtu)
            return meshio.read(vtu)
    try:
        return meshio.read(path)
    except Exception as exc:  # meshio's ReadError and the format readers' errors
        raise CliError(path, f"cannot be read as a mesh ({exc})") from None


def _steps(f: SceneFile, source: int) -> List[Tuple[float, Any]]:
    """(value, mesh) of every step of a part source."""
    if not 0 <= source < len(f.part_sources):
        raise CliError(f.path, f"no part source {source} ({len(f.part_sources)} part sources)")
    out = []
    steps = part_steps(f, source)
    for k, (value, part, geoms) in enumerate(progress(steps, len(steps), "reading steps")):
        if not geoms:
            raise CliError(f.path, f"step {k} of part source {source} names part {part}, "
                                   "whose static rep has no geoms")
        out.append((value, f.to_meshio(geoms)))
    return out


def write_pvd(path: str, steps: List[Tuple[float, Any]]) -> List[str]:
    """Each step as <stem>_NNNN.vtu beside the ParaView collection
    <stem>.pvd; the names written."""
    stem = os.path.splitext(path)[0]
    names = [f"{stem}_{k:04d}.vtu" for k in range(len(steps))]
    for name, (_, mesh) in progress(list(zip(names, steps)), len(steps), "writing steps"):
        mesh.write(name)
    rows = "".join(f'    <DataSet timestep="{value:.9g}" group="" part="0" '
                   f'file={quoteattr(os.path.basename(name))}/>\n'
                   for name, (value, _) in zip(names, steps))
    with open(stem + ".pvd", "w", encoding="utf-8") as out:
        out.write('<?xml version="1.0"?>\n<VTKFile type="Collection" version="0.1" '
                  f'byte_order="LittleEndian">\n  <Collection>\n{rows}  </Collection>\n'
                  '</VTKFile>\n')
    return names + [stem + ".pvd"]


def write_series(path: str, steps: List[Tuple[float, Any]]) -> None:
    """The steps as one XDMF time series: one mesh, data per step."""
    first = steps[0][1]
    for _, mesh in steps:
        same = len(mesh.points) == len(first.points) and len(mesh.cells) == len(first.cells) and \
            all(a.type == b.type and np.array_equal(a.data, b.data)
                for a, b in zip(mesh.cells, first.cells))
        if not same:
            raise CliError(path, "an XDMF time series keeps one mesh, but the steps' nodes or "
                                 "cells differ: write .pvd instead")
    if any(not np.array_equal(mesh.points, first.points) for _, mesh in steps):
        for _, mesh in steps:
            mesh.point_data["displacement"] = mesh.points - first.points
    with tempfile.TemporaryDirectory() as tmp:
        pairs = []
        for k, (value, mesh) in enumerate(steps):
            vtu = os.path.join(tmp, f"step_{k}.vtu")
            mesh.points = first.points
            mesh.write(vtu)
            pairs.append(f"{value:.9g}={vtu}")
        # meshio's time series puts its .h5 in the current folder: OUT's
        folder = os.path.dirname(os.path.abspath(path))
        _isolated(path, "series", os.path.basename(path), *pairs, cwd=folder)


def add_args(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("input", metavar="IN", help="a scene file, or a mesh that meshio reads")
    parser.add_argument("output", metavar="OUT",
                        help="a mesh file (its extension names the format), or a scene file")
    parser.add_argument("--geom", type=int, default=0, metavar="N",
                        help="the geom to convert (default 0)")
    parser.add_argument("--all-steps", action="store_true",
                        help="one mesh per step of a part source (see above)")
    parser.add_argument("--source", type=int, default=0, metavar="N",
                        help="the part source of --all-steps (default 0)")


def run(args: argparse.Namespace) -> int:
    meshio = _require("meshio", "meshio")
    src, dst = args.input, args.output
    if not os.path.isfile(src):
        raise CliError(src, why_not_scene_file(src))
    if not is_scene_file(src):
        if args.all_steps:
            raise CliError(src, "--all-steps converts a scene file, and this is not one")
        _known(meshio, src)
        from_meshio(read_mesh(meshio, src), dst, name=os.path.splitext(os.path.basename(src))[0])
        return 0
    if not args.all_steps:
        _known(meshio, dst)
    sidecar = os.path.splitext(os.path.abspath(dst))[0] + ".h5"
    if _ext(dst) in XDMF and os.path.exists(sidecar) and os.path.samefile(sidecar, src):
        raise CliError(dst, f"its data would go to {sidecar}, the scene file being converted: "
                            "choose another name")
    with open_scene(src) as f:
        if not args.all_steps:
            if not 0 <= args.geom < len(f.geoms):
                raise CliError(src, f"no geom {args.geom} ({len(f.geoms)} geoms)")
            write_mesh(f.to_meshio(args.geom), dst)
            return 0
        if _ext(dst) not in XDMF + (".pvd", ".vtu"):
            raise CliError(dst, "--all-steps writes a .pvd collection (OUT ending in .pvd or "
                                ".vtu) or an XDMF time series (.xdmf)")
        steps = _steps(f, args.source)
    if not steps:
        raise CliError(src, f"part source {args.source} has no steps")
    if _ext(dst) in XDMF:
        write_series(dst, steps)
    else:
        write_pvd(dst, steps)
    return 0
