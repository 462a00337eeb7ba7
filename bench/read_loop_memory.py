"""Resident memory of a process that reads a large scene file in a loop.

    python bench/read_loop_memory.py [--nodes N] [--rounds R]

Runs under Python 3 and 2.7 alike (make py27; PYTHONPATH=build-py27/binding).
Writes one node set of N nodes with a vector variable, a triangle list and a
part source of N steps, then reads them all R times through the file object.
Prints the resident memory after the first round and after the last, the
bytes of arrays each round returns, and the growth as a share of all the
bytes the rounds returned: near 0 when every array is released.
"""
from __future__ import division, print_function

import argparse
import os
import sys
import tempfile

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests"))

import _oxm  # noqa: E402
from oxm_files import Writer  # noqa: E402
from scnlib import floats  # noqa: E402

MB = 2.0**20


def resident():
    with open("/proc/self/status") as f:
        return next(int(line.split()[1]) for line in f if line.startswith("VmRSS:")) * 1024


def write(path, nodes):
    coords = floats(np.arange(nodes * 3, dtype=np.float32))
    tris = nodes // 3
    with Writer(path) as f:
        f.variable(0, "v", 3101)
        f.nodes(0, nodes, 3, 0, 1, -1, coords, None)
        f.nodes_var(0, 0, 0, nodes, 0, 0.0, coords)
        f.elem_list(0, 1, 0, -1, 1)
        f.elem_rec(0, 0, 2004, tris, list(range(tris * 3)), list(range(tris)))
        f.psrc_steps(0, list(range(nodes)), [0.5] * nodes)


def one_round(o):
    """Reads everything once; returns the bytes of the arrays returned."""
    results = [o.nodeInfo(0), o.nodeVarValues(0, 0), o.elemInfo(0, 0), o.partSrcSteps(0)]
    return sum(v.nbytes for r in results for v in r.values() if isinstance(v, np.ndarray))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--nodes", type=int, default=300000)
    parser.add_argument("--rounds", type=int, default=200)
    args = parser.parse_args()
    folder = tempfile.mkdtemp()
    path = os.path.join(folder, "big.h5")
    write(path, args.nodes)
    o = _oxm.oxm(path)
    per_round = one_round(o)
    start = resident()
    for _ in range(args.rounds - 1):
        one_round(o)
    end = resident()
    returned = per_round * args.rounds
    print("Python %d.%d, %d nodes, %d rounds" % (sys.version_info[:2] + (args.nodes, args.rounds)))
    print("arrays per round     %8.1f MB" % (per_round / MB))
    print("resident after 1     %8.1f MB" % (start / MB))
    print("resident after %-5d %8.1f MB" % (args.rounds, end / MB))
    print("growth / returned    %8.5f" % ((end - start) / returned))
    del o
    os.remove(path)
    os.rmdir(folder)


if __name__ == "__main__":
    main()
