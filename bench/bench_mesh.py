"""Write and read a large mesh through scnapi and through h5py, same run.

    python bench/bench_mesh.py [--nodes N] [--tets M] [--repeat R]

The library writes through its C entries (ctypes over the _oxm module) and
reads through the _oxm file object; h5py writes and reads the same datasets
with the same storage (one chunk, shuffle, Deflate level 9, or contiguous)
in a separate process, so that its bundled HDF5 never shares ours. Prints
seconds, throughput and the scnapi/h5py ratio for each step, and the memory
a read costs beyond the arrays it returns.
"""
import argparse
import ctypes
import json
import os
import resource
import subprocess
import sys
import tempfile
import textwrap
import time

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests"))

import _oxm  # noqa: E402
from scnlib import b, close, lib, open_write  # noqa: E402

IP = ctypes.POINTER(ctypes.c_int)
FP = ctypes.POINTER(ctypes.c_float)
lib.declare("scn_write_nodes", ctypes.c_int, ctypes.c_void_p, *[ctypes.c_int] * 6, FP, IP)
lib.declare("scn_write_elem_list", ctypes.c_int, ctypes.c_void_p, *[ctypes.c_int] * 5)
lib.declare("scn_write_elem", ctypes.c_int, ctypes.c_void_p, *[ctypes.c_int] * 5, IP, IP)
lib.declare("scn_write_var", ctypes.c_int, ctypes.c_void_p, ctypes.c_int, ctypes.c_char_p,
            ctypes.c_char_p, *[ctypes.c_int] * 4, FP, FP)
lib.declare("scn_write_nodes_var", ctypes.c_int, ctypes.c_void_p, *[ctypes.c_int] * 5,
            ctypes.c_float, FP)

TETLIST, SCALAR, NODE = 2011, 3100, 3000


def mesh(nodes, tets):
    rng = np.random.default_rng(7)
    coords = rng.random((nodes, 3), dtype=np.float32)
    ids = np.arange(1, nodes + 1, dtype=np.int32)
    conn = rng.integers(0, nodes, size=(tets, 4), dtype=np.int32)
    tet_ids = np.arange(1, tets + 1, dtype=np.int32)
    values = np.sin(coords[:, 0] * 6).astype(np.float32)
    return coords, ids, conn, tet_ids, values


def ptr(arr, kind):
    return arr.ctypes.data_as(kind)


def scnapi_write(path, data, compress):
    coords, ids, conn, tet_ids, values = data
    start = time.perf_counter()
    h = open_write(path)
    if not compress:
        lib.scn_write_set_compression(h, -1)
    status = lib.scn_write_var(h, 0, b"f", b"", NODE, SCALAR, 0, 0, None, None)
    status |= lib.scn_write_nodes(h, 0, len(coords), 3, 1, 1, -1, ptr(coords, FP), ptr(ids, IP))
    status |= lib.scn_write_nodes_var(h, 0, 0, 0, len(values), 0, 0.0, ptr(values, FP))
    status |= lib.scn_write_elem_list(h, 0, 1, 0, -1, 1)
    status |= lib.scn_write_elem(h, 0, 0, TETLIST, len(conn), conn.size, ptr(conn, IP),
                                 ptr(tet_ids, IP))
    status |= close(h)
    assert status == 0
    return time.perf_counter() - start


def scnapi_read(path):
    start = time.perf_counter()
    f = _oxm.oxm(path)
    arrays = [f.nodeInfo(0)["coords"], f.elemInfo(0, 0)["connectivity"],
              f.nodeVarValues(0, 0)["varValues"]]
    return time.perf_counter() - start, arrays


H5PY_SIDE = textwrap.dedent("""
    import json, sys, time
    import h5py, numpy as np
    path, nodes, tets, compress = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4] == "1"
    rng = np.random.default_rng(7)
    coords = rng.random((nodes, 3), dtype=np.float32).reshape(-1)
    ids = np.arange(1, nodes + 1, dtype=np.int32)
    conn = rng.integers(0, nodes, size=(tets, 4), dtype=np.int32).reshape(-1)
    tet_ids = np.arange(1, tets + 1, dtype=np.int32)
    values = np.sin(coords[0::3] * 6).astype(np.float32)
    def put(group, name, arr):
        opts = dict(chunks=(arr.size,), shuffle=True, compression="gzip", compression_opts=9)
        group.create_dataset(name, data=arr, **(opts if compress and arr.size > 100 else {}))
    start = time.perf_counter()
    with h5py.File(path, "w") as f:
        n = f.create_group("top/Nodes/nodes_0")
        put(n, "coords", coords); put(n, "ids", ids)
        put(f.create_group("top/Nodes/nodes_0/var_0"), "vals", values)
        e = f.create_group("top/ElemLists/elemlist_0/elem_0")
        put(e, "conn", conn); put(e, "ids", tet_ids)
    write = time.perf_counter() - start
    start = time.perf_counter()
    with h5py.File(path, "r") as f:
        arrays = [f["top/Nodes/nodes_0/coords"][()].reshape(-1, 3),
                  f["top/ElemLists/elemlist_0/elem_0/conn"][()].reshape(-1, 4),
                  f["top/Nodes/nodes_0/var_0/vals"][()]]
    read = time.perf_counter() - start
    print(json.dumps({"write": write, "read": read}))
""")


def h5py_times(path, nodes, tets, compress):
    out = subprocess.run([sys.executable, "-c", H5PY_SIDE, path, str(nodes), str(tets),
                          "1" if compress else "0"], check=True, capture_output=True, text=True)
    return json.loads(out.stdout)


def rss_mib():
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * os.sysconf("SC_PAGE_SIZE") / 2**20


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--nodes", type=int, default=2_000_000)
    parser.add_argument("--tets", type=int, default=1_000_000)
    parser.add_argument("--repeat", type=int, default=3)
    args = parser.parse_args()
    data = mesh(args.nodes, args.tets)
    mib = sum(a.nbytes for a in data) / 2**20
    read_mib = (data[0].nbytes + data[2].nbytes + data[4].nbytes) / 2**20  # coords, conn, values
    print(f"mesh: {args.nodes} nodes, {args.tets} tets, {mib:.1f} MiB of arrays; "
          f"best of {args.repeat}")
    print(f"{'storage':<12}{'step':<7}{'scnapi s':>10}{'h5py s':>10}{'MiB/s':>9}{'ratio':>8}")
    with tempfile.TemporaryDirectory() as tmp:
        ours, theirs = os.path.join(tmp, "scnapi.h5"), os.path.join(tmp, "h5py.h5")
        for compress in (False, True):
            label = "deflate-9" if compress else "contiguous"
            write = min(scnapi_write(ours, data, compress) for _ in range(args.repeat))
            read = min(scnapi_read(ours)[0] for _ in range(args.repeat))
            ref = [h5py_times(theirs, args.nodes, args.tets, compress) for _ in range(args.repeat)]
            ref_write = min(r["write"] for r in ref)
            ref_read = min(r["read"] for r in ref)
            for step, t, r, size in (("write", write, ref_write, mib),
                                     ("read", read, ref_read, read_mib)):
                print(f"{label:<12}{step:<7}{t:>10.3f}{r:>10.3f}{size / t:>9.0f}{t / r:>8.2f}")
            size = os.path.getsize(ours) / 2**20
            print(f"{'':<12}file   {size:>9.1f} MiB (h5py {os.path.getsize(theirs) / 2**20:.1f})")
        before = rss_mib()
        for _ in range(5):
            _, arrays = scnapi_read(ours)
            del arrays
        grown = rss_mib() - before
        peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024
        print(f"memory: 5 more full reads grew the process by {grown:.1f} MiB "
              f"(arrays read per pass: {read_mib:.1f} MiB; "
              f"peak RSS {peak:.0f} MiB)")


if __name__ == "__main__":
    main()
