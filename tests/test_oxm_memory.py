"""Memory of the file object's arrays: no leaks when read repeatedly, and
buffers that cannot be allocated (Python 3 and 2.7)."""
import json
import os

import numpy as np
import pytest

import _oxm
from oxm_files import TOP, Writer, merged
from scnlib import floats, h5build, int_attr, run_isolated, text_attr

try:
    import tracemalloc
except ImportError:  # 2.7
    tracemalloc = None

NODES = 200000
UNDER_ASAN = "asan" in os.environ.get("LD_PRELOAD", "")




class memory_in_use(object):
    """Within the block, a function giving the memory in use. On 3 that is
    what tracemalloc traces: numpy reports its array buffers to it, so an
    array (or its dictionary) that is never released stays counted. 2.7 has
    no tracemalloc: the process's resident memory, which is coarser."""

    def __enter__(self):
        if tracemalloc:
            tracemalloc.start()
            return lambda: tracemalloc.get_traced_memory()[0]
        return resident_memory

    def __exit__(self, *exc):
        if tracemalloc:
            tracemalloc.stop()


def resident_memory():
    with open("/proc/self/status") as f:
        return next(int(line.split()[1]) for line in f if line.startswith("VmRSS:")) * 1024


@pytest.fixture(scope="module")
def big_file(tmp_path_factory):
    p = tmp_path_factory.mktemp("big") / "big.h5"
    coords = floats(np.arange(NODES * 3, dtype=np.float32))
    with Writer(p) as f:
        f.variable(0, "v", 3101)
        f.node_set(0, [], 3)  # replaced below with the large set
        f.nodes(0, NODES, 3, 0, 1, -1, coords, None)
        f.nodes_var(0, 0, 0, NODES, 0, 0.0, coords)
        f.elem_list(0, 1, 0, -1, 1)
        f.elem_rec(0, 0, 2004, NODES // 3, list(range(NODES // 3 * 3)),
                   list(range(NODES // 3)))
        f.psrc_steps(0, list(range(NODES)), [0.5] * NODES)
    return p


# The sanitizer's quarantine keeps freed memory resident for a while.
@pytest.mark.skipif(tracemalloc is None and UNDER_ASAN,
                    reason="resident memory under the sanitizer's allocator")
def test_reading_arrays_repeatedly_does_not_grow_memory(big_file):
    o = _oxm.oxm(str(big_file))
    calls = [lambda: o.nodeInfo(0), lambda: o.nodeVarValues(0, 0), lambda: o.elemInfo(0, 0),
             lambda: o.partSrcSteps(0)]
    for call in calls:  # warm up caches
        call()
    with memory_in_use() as in_use:
        before = in_use()
        for _ in range(30):
            for call in calls:
                result = call()
        del result
        grown = in_use() - before
    # Each round allocates about 8 MB of arrays: a leak would keep 240 MB.
    assert grown < (2**20 if tracemalloc else 16 * 2**20)
    assert o.partSrcSteps(0)["stepvals"].shape == (NODES,)
    assert o.nodeVarValues(0, 0)["varValues"].shape == (NODES, 3)


LIMITED = r"""
import json, resource, sys
import _oxm
o = _oxm.oxm(PATH)
with open("/proc/self/status") as f:
    vm = next(int(l.split()[1]) for l in f if l.startswith("VmSize")) * 1024
resource.setrlimit(resource.RLIMIT_AS, (vm + 256 * 2**20, resource.RLIM_INFINITY))
out = []
for name, args, keys in CALLS:
    try:
        result = getattr(o, name)(*args)
        out.append({k: None if result.get(k) is None else "present" for k in keys})
    except Exception as e:
        out.append([type(e).__name__, str(e)])
json.dump(out, open(RESULT, "w"))
"""
HUGE = 2**28


def counted(**attrs):
    return {"attrs": {k: int_attr(v) for k, v in attrs.items()}}


def data(dtype, n):
    return {"type": "dataset", "dtype": dtype, "value": list(range(n))}


VAR = merged({"varName": text_attr("v", 64), "varDesc": text_attr("", 128),
               "varCentering": int_attr(3000), "varKind": int_attr(3100),
               "extentsProvided": int_attr(0), "paletteProvided": int_attr(1),
               "paletteName": text_attr("p", 64)},
              counted(paletteInterp=0, colorSpace=10, nSamples=2, nRedOrHue=HUGE, nGrnOrSat=0,
                      nBluOrVal=0, nAlpha=0)["attrs"])
E = "/top/ElemLists/elemlist_0"
# Counts far above the stored data, each with the method's outcome: the
# reader refuses the array (its "Error reading dataset" line) before any
# memory is spent on it.
CASES = [
    ("elemInfo", (0, 0), ["connectivity", "ids"], {"connectivity": "present", "ids": None}, "ids"),
    ("elemInfo", (0, 1), ["connectivity", "ids"], {"connectivity": "present", "ids": None}, "ids"),
    ("elemVarValues", (0, 0, 0), [], ["RuntimeError", "Can't read part source steps"], "vals"),
    ("nodeInfo", (0,), ["coords"], {"coords": None}, "coords"),
    ("nodeInfo", (1,), ["coords"], {"coords": None}, "coords"),  # stored, never written
    ("nodeVarValues", (0, 0), [], ["RuntimeError", "Can't read node var values steps"], "vals"),
    ("partSrcSteps", (0,), [], ["RuntimeError", "Can't read part source steps"],
     "partIndices stepValues"),
    ("repGeoms", (0,), [], ["RuntimeError", "Can't read part source steps"], "geomIndicies"),
    ("vportIndices", (0,), [], ["RuntimeError", "Can't read part source steps"], "partIndices"),
    ("varInfo", (0,), ["redControl", "numRedValues"], {"redControl": None, "numRedValues": "present"},
     "redOrHueCntl redOrHueCols"),
]


@pytest.mark.skipif(UNDER_ASAN,
                    reason="the sanitizer's allocator does not honour an address-space limit")
def test_counts_beyond_the_stored_data_cost_no_memory(tmp_path):
    p = tmp_path / "counts.h5"
    conn_ids = dict(("{}/elem_{}/{}".format(E, i, name), data("int32", 4))
                    for i in (0, 1) for name in ("conn", "ids"))
    h5build(p, merged(TOP, conn_ids, {
        "/top/ElemLists": counted(nElemLists=1), E: counted(numElemRecs=2, hasElemIds=1),
        E + "/elem_0": counted(elemListType=2004, elemCount=HUGE, lenList=4),
        E + "/elem_1": counted(elemListType=2004, elemCount=2**31 - 1, lenList=4),
        E + "/elem_0/var_0": counted(numValues=HUGE), E + "/elem_0/var_0/vals": data("float32", 4),
        "/top/Nodes": counted(nNodes=2),
        "/top/Nodes/nodes_0": counted(numNodes=HUGE, nodeDimension=3, hasNodeIds=0,
                                      numNodalVars=1, nodeNormalIndex=0),
        "/top/Nodes/nodes_0/coords": data("float32", 12),
        "/top/Nodes/nodes_0/var_0": counted(varIndex=0, numValues=HUGE),
        "/top/Nodes/nodes_0/var_0/vals": data("float32", 4),
        "/top/Nodes/nodes_1": counted(numNodes=HUGE, nodeDimension=1, hasNodeIds=0,
                                      numNodalVars=0, nodeNormalIndex=0),
        "/top/Nodes/nodes_1/coords": {"type": "dataset", "dtype": "float32", "shape": [HUGE]},
        "/top/Vars": counted(nVars=1), "/top/Vars/var_0": {"attrs": VAR},
        "/top/Vars/var_0/redOrHueCntl": data("float32", 2),
        "/top/Vars/var_0/redOrHueCols": data("float32", 2),
        "/top/Psrcs": counted(nPsrcs=1), "/top/Psrcs/psrc_0": counted(nSteps=HUGE, stepId=0),
        "/top/Psrcs/psrc_0/partIndices": data("int32", 4),
        "/top/Psrcs/psrc_0/stepValues": data("float32", 4),
        "/top/Reps": counted(nReps=1),
        "/top/Reps/rep_0": counted(numRepGeoms=HUGE, repType=1005, rendAttrIndex=0),
        "/top/Reps/rep_0/geomIndicies": data("int32", 4),
        "/top/Vports": counted(nVports=1), "/top/Vports/vport_0": counted(numAttrs=0, nParts=HUGE),
        "/top/Vports/vport_0/partIndices": data("int32", 4)}))
    result = str(tmp_path / "result.json")
    printed = run_isolated(LIMITED.replace("PATH", repr(str(p))).replace("RESULT", repr(result))
                           .replace("CALLS", repr([case[:3] for case in CASES])))
    with open(result) as f:
        assert json.load(f) == [case[3] for case in CASES]
    refused = [line for line in printed.splitlines() if line.startswith("Error")]
    assert refused == ["Error reading dataset: " + name for case in CASES
                       for name in case[4].split()]
