"""Storage helpers and the collection convention, driven by the
storage_probe program and checked on the file with h5py."""
import os
import subprocess

import pytest

import _oxm
from scnlib import h5dump

PROBE = os.path.join(os.path.dirname(os.path.dirname(_oxm.__file__)), "tests", "c", "storage_probe")

pytestmark = pytest.mark.skipif(not os.path.exists(PROBE), reason="needs the CMake build tree")

# Each step's diagnostics (exact lines) and its result.
EXPECTED = """\
== int100 -> 0
== int101 -> 0
== flt500 -> 0
== chr300 -> 0
== chr12 -> 0
== none101 -> 0
== past101 -> 0
== rewrite_same -> 0
== rewritten -> 0
== rewrite_shorter -> 0
== att_int -> 0
== att_int_again -> 0
== att_flt -> 0
== att_str -> 0
== att_str_wider -> 0
== att_str_empty -> 0
== read_chr12_terminated -> 0
text=hello world!
Error reading dataset: chr12
== read_chr12_no_room_for_nul -> -1
Error reading dataset: int101
== read_int101_into_3 -> -1
== read_unwritten -> 0
unwritten=11,22,33,44
Error opening dataset: nothing
== read_missing_dataset -> -1
Error opening group for attribute: nothing
== read_missing_att -> -1
== read_missing_att_quiet -> -1
== read_count -> 0
count=6
Error reading attribute: label
== read_str_as_int -> -1
Error reading attribute: label
== read_label_into_3 -> -1
== record_5 -> 0
== record_5_again -> 0
== record_0 -> 0
== count -> 2
== count_absent -> 0
probe_write_sub: error probe_7 group does not exist
== nested_missing_parent -> 1
Error opening group for attribute: nSubs
probe_write_sub: error reading existing nSubs
== nested_no_counter -> 1
== nested_1 -> 0
== nested_1_again -> 0
probe_read: error opening group '/top/Probes/probe_3'
== read_missing_record -> 1
== close -> 0
"""


@pytest.fixture(scope="module")
def probe(tmp_path_factory):
    path = tmp_path_factory.mktemp("probe") / "probe.h5"
    run = subprocess.run([PROBE, str(path)], capture_output=True, text=True, check=True)
    return run.stdout, h5dump(path)


def test_diagnostics_and_results(probe):
    assert probe[0] == EXPECTED


def _layout(entry):
    return entry["chunks"], entry["filters"], entry["gzip_level"]


@pytest.mark.parametrize("name, dtype, length, layout", [
    ("int100", "int32", 100, (None, [], None)),           # 100 elements: contiguous
    ("flt500", "float32", 500, ([500], ["shuffle", "deflate"], 9)),
    ("chr300", "int8", 300, (None, [], None)),            # chars never compressed
    ("chr12", "int8", 12, (None, [], None)),
    ("none101", "int32", 101, (None, [], None)),          # handle compression -1
    ("past101", "int32", 101, (None, [], None)),          # index past the table
    ("int101", "int32", 101, ([101], ["shuffle", "deflate"], 9)),
    ("rewritten", "int32", 3, (None, [], None)),          # replaced by 3 elements
])
def test_dataset_layout(probe, name, dtype, length, layout):
    entry = probe[1]["/top/" + name]
    assert (entry["dtype"], entry["shape"]) == (dtype, [length])
    assert _layout(entry) == layout


def test_values_and_overwrites(probe):
    tree = probe[1]
    assert tree["/top/int100"]["value"] == [i * 7 - 3 for i in range(100)]
    assert tree["/top/int101"]["value"] == [i * 7 - 3 for i in range(101)]
    assert tree["/top/rewritten"]["value"] == [9, 8, 7]
    assert tree["/top/flt500"]["value"] == [2.5] * 500
    assert tree["/top/chr12"]["text"] == "hello world!"
    attrs = tree["/top"]["attrs"]
    assert attrs["count"] == {"dtype": "int32", "shape": [], "value": 6}
    assert attrs["rate"] == {"dtype": "float32", "shape": [], "value": 24.5}
    # A string attribute of another width is replaced, not overrun.
    assert attrs["label"]["shape"] == [4] and attrs["label"]["text"] == "wxyz"
    # A string of width 0 is an empty array, not a scalar.
    assert (attrs["empty"]["dtype"], attrs["empty"]["shape"]) == ("int8", [0])


def test_collection_layout(probe):
    tree = probe[1]
    assert tree["/top/Probes"]["attrs"]["nProbes"]["value"] == 2
    assert {k for k in tree if k.startswith("/top/Probes/probe_")} >= {
        "/top/Probes/probe_5", "/top/Probes/probe_0"}
    assert "/top/Probes/probe_7" not in tree
    # Nested: the sub-collection group carries no attribute, the parent counts.
    assert tree["/top/Probes/probe_5/subs"]["attrs"] == {}
    assert tree["/top/Probes/probe_5"]["attrs"]["nSubs"]["value"] == 1
    # The record whose counting failed stays, uncounted.
    assert "/top/Probes/probe_5/subs/sub_0" in tree
    assert tree["/top/Probes/probe_5/subs/sub_1"]["attrs"]["value"]["value"] == 1
