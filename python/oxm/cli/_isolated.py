"""meshio conversions that go through h5py or netCDF4, in a process of their
own: those packages carry their own HDF5, which must not meet the one that
the scene-file library uses. Run as a script (never imported by oxm):

    python _isolated.py convert SRC DST          # any format to any format
    python _isolated.py series DST T=VTU ...     # VTU steps to an XDMF time series

A failure prints one line on standard error and exits with status 1.
"""
import sys
from typing import List

import meshio  # type: ignore[import-untyped]


def series(dst: str, steps: List[str]) -> None:
    pairs = [(float(t), meshio.read(p)) for t, p in (s.split("=", 1) for s in steps)]
    with meshio.xdmf.TimeSeriesWriter(dst) as writer:
        writer.write_points_cells(pairs[0][1].points, pairs[0][1].cells)
        for t, mesh in pairs:
            writer.write_data(t, point_data=mesh.point_data, cell_data=mesh.cell_data)


def main(argv: List[str]) -> int:
    try:
        if argv[0] == "convert":
            meshio.write(argv[2], meshio.read(argv[1]))
        else:
            series(argv[1], argv[2:])
    except Exception as exc:  # reported by the parent as one line
        print(f"{type(exc).__name__}: {exc}".splitlines()[0], file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
