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


ALLOCATION = r"""
import json, resource, sys
import _oxm
o = _oxm.oxm(sys.argv[1] if len(sys.argv) > 1 else PATH)
with open("/proc/self/status") as f:
    vm = next(int(l.split()[1]) for l in f if l.startswith("VmSize")) * 1024
resource.setrlimit(resource.RLIMIT_AS, (vm + 256 * 2**20, resource.RLIM_INFINITY))
out = {}
for name, call in [("nodeInfo", lambda: o.nodeInfo(0)),
                   ("repGeoms", lambda: o.repGeoms(0)),
                   ("nodeVarValues", lambda: o.nodeVarValues(0, 0))]:
    try:
        out[name] = sorted(call())
    except Exception as e:
        out[name] = [type(e).__name__, str(e)]
print(json.dumps(out))
"""


@pytest.mark.skipif(UNDER_ASAN,
                    reason="the sanitizer's allocator does not honour an address-space limit")
def test_buffers_that_cannot_be_allocated(tmp_path):
    huge = 400000000  # 1.6 GB of 32-bit values: far above the limit set
    p = tmp_path / "huge.h5"
    var = {"varName": text_attr("v", 64), "varDesc": text_attr("", 128),
           "varCentering": int_attr(3000), "varKind": int_attr(3100),
           "extentsProvided": int_attr(0), "paletteProvided": int_attr(0)}
    h5build(p, merged(TOP, {
                "/top/Nodes": {"attrs": {"nNodes": int_attr(1)}},
                "/top/Nodes/nodes_0": {"attrs": {k: int_attr(v) for k, v in dict(
                    numNodes=huge, nodeDimension=1, hasNodeIds=0, numNodalVars=1,
                    nodeNormalIndex=0).items()}},
                "/top/Vars": {"attrs": {"nVars": int_attr(1)}},
                "/top/Vars/var_0": {"attrs": var},
                "/top/Reps": {"attrs": {"nReps": int_attr(1)}},
                "/top/Reps/rep_0": {"attrs": {"numRepGeoms": int_attr(huge),
                                              "repType": int_attr(1005),
                                              "rendAttrIndex": int_attr(0)}}}))
    out = json.loads(run_isolated(ALLOCATION.replace("PATH", repr(str(p)))))
    assert out.pop("nodeInfo")[0] == "MemoryError"
    assert out == {
        "repGeoms": ["RuntimeError", "Can't allocate memory in repGeoms"],
        # The values' buffer is left out of the dictionary.
        "nodeVarValues": ["varDesc", "varName"],
    }
