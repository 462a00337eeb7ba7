"""Compressed and uncompressed arrays: scnapi against h5py, same run.

    python bench/bench_deflate.py [--nodes N] [--repeat R]

The mesh is a jittered structured grid of N nodes (coordinates: 3 float32
per node) cut into N tetrahedra (connectivity: 4 int32 per tetrahedron),
listed in a locally shuffled order the way meshers leave them ("conn") or in
cell order ("conn-sorted", which compresses far better). Every
measurement runs in a fresh process: scnapi through its C entries (ctypes
over the _oxm module), h5py on its own (so that its bundled HDF5 never
shares ours), both on the same files with the same storage (one chunk,
shuffle, Deflate level 9; or contiguous). Each process times its one step
and reports its peak resident memory above what it held before the step.
Prints medians over R repetitions, the spread of the scnapi/h5py ratio, the
file sizes and the peak memory of a compressed read per array byte.
"""
import argparse
import ctypes
import itertools
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
NODES = "top/Nodes/nodes_0"
ELEM = "top/ElemLists/elemlist_0/elem_0"
DATASETS = {"coords": f"{NODES}/coords", "coords-curved": f"{NODES}/coords",
            "conn": f"{ELEM}/conn", "conn-sorted": f"{ELEM}/conn"}


def mesh(nodes):
    """Coordinates (nodes, 3) of the grid mesh, jittered and mapped onto a
    smooth curved shell without jitter, and its connectivity (nodes, 4),
    locally shuffled and in cell order. Jitter leaves the low bits of the
    coordinates as random as an unstructured mesher's (shuffled and deflated
    they keep about 0.69 of their size); the smooth shell is a structured
    mesh's (about 0.37)."""
    n = max(2, round(nodes ** (1 / 3)))
    nz = -(-nodes // (n * n)) + 1
    rng = np.random.default_rng(7)
    idx = np.arange(nodes)
    lattice = np.stack([idx % n, idx // n % n, idx // (n * n)], axis=1)
    h = 1.0 / n
    coords = (lattice * h + rng.normal(0, 0.05 * h, (nodes, 3))).astype(np.float32)
    u, v, w = (lattice * h).T
    curved = np.stack([(1 + 0.5 * u) * np.cos(np.pi * v), (1 + 0.5 * u) * np.sin(np.pi * v),
                       w + 0.05 * np.sin(2 * np.pi * u)], axis=1).astype(np.float32)
    corner = np.array([1, n, n * n])
    # The six tetrahedra of a cell: paths from corner 0 to corner 7 along the axes.
    kuhn = np.array([np.cumsum([0] + [corner[a] for a in perm]) for perm in
                     itertools.permutations(range(3))])
    cells = (n - 1) * (n - 1) * max(1, nz - 2)
    tets = np.arange(nodes)
    cell = tets // 6 % cells
    base = cell % (n - 1) + n * (cell // (n - 1) % (n - 1) + n * (cell // (n - 1) ** 2))
    conn = np.minimum(base[:, None] + kuhn[tets % 6], nodes - 1).astype(np.int32)
    order = np.concatenate([rng.permutation(w) for w in np.array_split(
        tets, max(1, nodes // 256))])  # tetrahedra shuffled within 256
    return coords, curved, conn[order], conn


# ---- one step, in a child process -------------------------------------------

def memory(field):
    """VmRSS (resident now) or VmHWM (peak resident) of this process, bytes.
    Not ru_maxrss: a child's includes the RSS of the parent it was forked from."""
    with open("/proc/self/status") as f:
        return next(int(line.split()[1]) * 1024 for line in f if line.startswith(field + ":"))


def scnapi_side():
    """The step function of the scnapi side, its entries declared."""
    sys.path.insert(0, os.path.join(HERE, "..", "tests"))
    from scnlib import close, lib, open_read, open_write
    FP, IP, H = ctypes.POINTER(ctypes.c_float), ctypes.POINTER(ctypes.c_int), ctypes.c_void_p
    lib.declare("scn_write_nodes", ctypes.c_int, H, *[ctypes.c_int] * 6, FP, IP)
    lib.declare("scn_write_elem_list", ctypes.c_int, H, *[ctypes.c_int] * 5)
    lib.declare("scn_write_elem", ctypes.c_int, H, *[ctypes.c_int] * 5, IP, IP)
    lib.declare("scn_read_nodes_coords", ctypes.c_int, H, ctypes.c_int, FP)
    lib.declare("scn_read_elem_connectivity", ctypes.c_int, H, ctypes.c_int, ctypes.c_int, IP)

    def step(op, name, path, data, compress):
        coords = name.startswith("coords")
        ptr = FP if coords else IP
        if op == "write":
            h = open_write(path)
            if not compress:
                lib.scn_write_set_compression(h, -1)
            if coords:
                status = lib.scn_write_nodes(h, 0, len(data) // 3, 3, 0, 0, -1,
                                             data.ctypes.data_as(FP), None)
            else:
                status = lib.scn_write_elem_list(h, 0, 1, 0, -1, 0) or lib.scn_write_elem(
                    h, 0, 0, 2011, len(data) // 4, len(data), data.ctypes.data_as(IP), None)
            assert status == 0 and close(h) == 0
            return None
        out = np.empty(data, np.float32 if coords else np.int32)
        h = open_read(path)
        status = (lib.scn_read_nodes_coords(h, 0, out.ctypes.data_as(ptr)) if coords
                  else lib.scn_read_elem_connectivity(h, 0, 0, out.ctypes.data_as(ptr)))
        assert status == 0 and close(h) == 0
        return out
    return step


def h5py_side():
    import h5py

    def step(op, name, path, data, compress):
        if op == "write":
            opts = dict(chunks=(data.size,), shuffle=True, compression="gzip", compression_opts=9)
            with h5py.File(path, "w") as f:
                f.create_dataset(DATASETS[name], data=data, **(opts if compress else {}))
            return None
        with h5py.File(path, "r") as f:
            return f[DATASETS[name]][()]
    return step


def child(side, op, name, path, source, compress):
    """Runs one step and prints its time and peak memory; reads check their
    result against the source array."""
    step = scnapi_side() if side == "scnapi" else h5py_side()
    expected = np.load(source)
    data = expected.reshape(-1) if op == "write" else expected.size
    with open("/proc/self/clear_refs", "w") as f:
        f.write("5")  # the peak so far (imports, loading) is not the step's: reset it
    before = memory("VmRSS")
    start = time.perf_counter()
    out = step(op, name, path, data, compress == "1")
    seconds = time.perf_counter() - start
    peak = memory("VmHWM") - before
    if out is not None:
        assert np.array_equal(out.reshape(-1), expected.reshape(-1))
    print(json.dumps({"seconds": seconds, "peak": peak}))


# ---- the runs ---------------------------------------------------------------

def run(side, op, name, path, source, compress):
    env = dict(os.environ, OPENBLAS_NUM_THREADS="1")  # numpy's idle threads are noise
    out = subprocess.run([sys.executable, __file__, "--child", side, op, name, path, source,
                          "1" if compress else "0"], check=True, capture_output=True, text=True,
                         env=env)
    return json.loads(out.stdout.strip().splitlines()[-1])


def compare(label, op, name, files, source, nbytes, compress, repeat):
    """Times one step on both sides; prints and returns the medians."""
    ours, theirs = [], []
    for _ in range(repeat):  # interleaved, so that load on the machine hits both alike
        ours.append(run("scnapi", op, name, files["scnapi" if op == "write" else "read"],
                        source, compress))
        theirs.append(run("h5py", op, name, files["h5py" if op == "write" else "read"],
                          source, compress))
    t_ours = statistics.median(r["seconds"] for r in ours)
    t_theirs = statistics.median(r["seconds"] for r in theirs)
    ratios = sorted(b["seconds"] / a["seconds"] for a, b in zip(ours, theirs))
    print(f"{label:<11}{op:<6}{name:<12}{t_ours * 1e3:>9.0f}{t_theirs * 1e3:>9.0f}"
          f"{nbytes / t_ours / 1e6:>9.0f}{nbytes / t_theirs / 1e6:>9.0f}"
          f"{t_theirs / t_ours:>8.2f}  {ratios[0]:.2f}-{ratios[-1]:.2f}")
    return ours, theirs


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--nodes", type=int, default=10_000_000)
    parser.add_argument("--repeat", type=int, default=5)
    parser.add_argument("--child", nargs=6, help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.child:
        return child(*args.child)
    coords, curved, conn, conn_sorted = mesh(args.nodes)
    print(f"mesh: {args.nodes} nodes, coords {coords.nbytes / 1e6:.0f} MB float32, "
          f"connectivity {conn.nbytes / 1e6:.0f} MB int32; medians of {args.repeat}, "
          f"each step in a fresh process")
    print(f"{'storage':<11}{'step':<6}{'array':<12}{'scnapi':>9}{'h5py':>9}{'MB/s':>9}{'MB/s':>9}"
          f"{'speedup':>8}  spread\n{'':<29}{'ms':>9}{'ms':>9}{'scnapi':>9}{'h5py':>9}")
    with tempfile.TemporaryDirectory() as tmp:
        sources, sizes = {}, {}
        for name, arr in (("coords", coords), ("coords-curved", curved), ("conn", conn),
                          ("conn-sorted", conn_sorted)):
            sources[name], sizes[name] = os.path.join(tmp, f"{name}.npy"), arr.nbytes
            np.save(sources[name], arr)
        del coords, curved, conn, conn_sorted
        peaks = {}
        for compress, label in ((True, "deflate-9"), (False, "contiguous")):
            for name, source in sources.items():
                if not compress and name in ("conn-sorted", "coords-curved"):
                    continue
                files = {side: os.path.join(tmp, f"{side}-{name}.h5") for side in ("scnapi", "h5py")}
                if compress and name.startswith("conn"):  # zlib's level 9 takes minutes: not compared
                    run("scnapi", "write", name, files["scnapi"], source, compress)
                else:
                    compare(label, "write", name, files, source, sizes[name], compress, args.repeat)
                if compress and name.startswith("coords"):
                    mb = [os.path.getsize(files[side]) / 1e6 for side in ("scnapi", "h5py")]
                    print(f"{'':<11}{'file':<18}{mb[0]:>8.1f}M{mb[1]:>8.1f}M"
                          f"  ({mb[0] / mb[1]:.4f} of h5py's size)")
                files["read"] = files["scnapi"]
                ours, theirs = compare(label, "read", name, files, source, sizes[name], compress,
                                       args.repeat)
                if compress:
                    peaks[name] = [statistics.median(r["peak"] for r in side) / sizes[name]
                                   for side in (ours, theirs)]
        for name, (ours, theirs) in peaks.items():
            print(f"peak memory of a compressed read of {name}: scnapi {ours:.2f} x the array, "
                  f"h5py {theirs:.2f} x")


if __name__ == "__main__":
    main()
