"""Reading records through oxm against the C entries from C++, same run.

    python bench/bench_records.py [--records N] [--nodes M] [--repeat R]

Writes a file with N parts (3 tagged attributes each), N variables, N node
sets and N scenes with oxm.create, then times per record, best of R passes:
- the C++ reader (build/bench/read_records: the info calls, a part's rep
  indices), and oxm materialising the same record (SceneFile.parts[i],
  variables[i], node_sets[i], scenes[i]); target ratio oxm / C++ <= 1.5;
- a part with its tagged attributes ("part+attrs": the store loaded and
  every attribute served, against dict(part.attrs)), reported beside it:
  the attributes are a store of their own, read on first use;
- a bulk array, the coordinates of a node set of M nodes, through oxm
  (node_sets[i].coords) and through _oxm (nodeInfo(i)["coords"]); target
  ratio <= 1.0;
- oxm's own cost per record, with the library's entries replaced by one that
  returns at once (scn_write_set_compression): what the package adds to a
  record whatever the HDF5 work costs;
- the two ways of capturing the library's diagnostics, per operation;
- reopening a file when another file's versions were established since.
"""
import argparse
import json
import os
import subprocess
import sys
import tempfile
import time

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
import _oxm  # noqa: E402
import oxm  # noqa: E402
from oxm import _capi, _file  # noqa: E402

CPP_READER = os.path.join(HERE, "..", "build", "bench", "read_records")


def write(path, records, nodes):
    with oxm.create(path) as w:
        for i in range(records):
            w.part(name=f"part {i}", description="bench", part_type=i % 20, static_rep=i,
                   attrs={"OXR_PART_CLIP_TYPE": 103, "OXR_PART_CYLINDERCLIP_RADIUS": 2.5,
                          "OXR_PART_CONTOUR_LEVELS": [1, 2, 3]})
            w.variable(name=f"var {i}", kind=3101, extents=([0, 0, 0], [1, 1, 1]))
            w.node_set(coords=np.zeros((4, 3)))
            w.scene(name=f"scene {i}", n_frames=10)
        w.node_set(coords=np.random.default_rng(1).random((nodes, 3)))


def best(repeat, run):
    times = []
    for _ in range(repeat):
        start = time.perf_counter()
        run()
        times.append(time.perf_counter() - start)
    return min(times)


def materialise_part(part):
    return (part.name, part.description, part.part_type, part.static_rep, part.dynamic_rep)


def materialise_part_attrs(part):
    return materialise_part(part), dict(part.attrs)


def oxm_records(path, repeat):
    out = {}
    with oxm.open(path) as f:
        families = {"part": (f.parts, materialise_part),
                    "part+attrs": (f.parts, materialise_part_attrs), "variable": (f.variables, None),
                    "node_set": (f.node_sets, None), "scene": (f.scenes, None)}
        for name, (seq, use) in families.items():
            n = len(seq) - (1 if name == "node_set" else 0)  # the bulk node set aside
            def read(seq=seq, use=use or (lambda record: record), n=n):
                for i in range(n):  # each record dropped after use, as a reader loop does
                    use(seq[i])
            out[name] = best(repeat, read) / n
    return out


def own_cost(path, repeat):
    """Per record, with every reader entry replaced by a no-op entry (the
    extra arguments are ignored under the C calling convention)."""
    noop = _capi.ENTRIES["scn_write_set_compression"][0]
    saved = dict(_capi.ENTRIES)
    out = {}
    with oxm.open(path) as f:
        try:
            for name, kind in saved.items():
                if name.startswith("scn_read_") and kind[1] in (_capi.STATUS, _capi.VALUE):
                    fake = type(noop)(("scn_write_set_compression", _capi.lib))
                    fake.restype, fake.argtypes = noop.restype, saved[name][0].argtypes
                    _capi.ENTRIES[name] = (fake, kind[1])
            n = 20000
            # parts without their attributes, which need the store's count
            for name, read in (("part", lambda: f.parts[0]), ("variable", lambda: f.variables[0]),
                               ("node_set", lambda: f.node_sets[0]), ("scene", lambda: f.scenes[0])):
                def run(read=read):
                    for _ in range(n):
                        read()
                out[name] = best(repeat, run) / n
        finally:
            _capi.ENTRIES.update(saved)
    return out


def bulk(path, repeat):
    with oxm.open(path) as f:
        last = len(f.node_sets) - 1
        ours = best(repeat, lambda: f.node_sets[last].coords)
    module = _oxm.oxm(str(path))
    theirs = best(repeat, lambda: module.nodeInfo(last)["coords"])
    return ours, theirs


def capture_cost(repeat):
    results = {}
    for mode in ("memstream", "fd"):
        _capi.set_capture_mode(mode)
        n = 20000

        def run():
            for _ in range(n):
                with _capi.operation:
                    pass
        results[mode] = best(repeat, run) / n
    _capi.set_capture_mode("memstream")
    return results


def reopen_cost(path, repeat):
    with oxm.open(path) as f:
        def run():
            _file._active[0] = None  # as if a file of other versions was opened since
            f._handle()
        return best(repeat * 20, run)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--records", type=int, default=2000)
    parser.add_argument("--nodes", type=int, default=2_000_000)
    parser.add_argument("--repeat", type=int, default=5)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--write", help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.write:
        return write(args.write, args.records, args.nodes)
    with tempfile.TemporaryDirectory() as tmp:
        path = os.path.join(tmp, "records.h5")
        # written by another process, so that this one's HDF5 only reads
        subprocess.run([sys.executable, __file__, "--write", path, "--records",
                        str(args.records), "--nodes", str(args.nodes)], check=True)
        cpp, ours = {}, {}
        for _ in range(args.rounds):  # alternated, against the drift of a busy machine
            run = json.loads(subprocess.run([CPP_READER, path, str(args.repeat)], check=True,
                                            capture_output=True, text=True).stdout)
            mine = oxm_records(path, args.repeat)
            for name in run:
                cpp[name] = min(cpp.get(name, 1e9), run[name])
                ours[name] = min(ours.get(name, 1e9), mine[name])
        print(f"records ({args.records} per family, microseconds per record, best of "
              f"{args.repeat} x {args.rounds}):")
        print(f"  {'family':10} {'C++':>8} {'oxm':>8} {'ratio':>6}  (target <= 1.5)")
        for name in cpp:
            print(f"  {name:10} {cpp[name] * 1e6:8.2f} {ours[name] * 1e6:8.2f} "
                  f"{ours[name] / cpp[name]:6.2f}")
        own = own_cost(path, args.repeat)
        print("oxm's own cost per record (no-op entries, microseconds): " + ", ".join(
            f"{name} {cost * 1e6:.2f}" for name, cost in own.items()))
        mine, module = bulk(path, args.repeat)
        print(f"bulk coordinates of {args.nodes} nodes: oxm {mine * 1e3:.2f} ms, "
              f"_oxm {module * 1e3:.2f} ms, ratio {mine / module:.2f} (target <= 1.0)")
        costs = capture_cost(args.repeat)
        print("capture per operation: " + ", ".join(
            f"{mode} {cost * 1e6:.2f} us" for mode, cost in costs.items())
              + f" (in use: {_capi.capture_mode()})")
        print(f"reopening a file on a version switch: {reopen_cost(path, args.repeat) * 1e6:.0f} us")


if __name__ == "__main__":
    sys.exit(main())
