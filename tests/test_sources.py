"""Part, annotation and viewport sources: one layout under three names."""
from ctypes import POINTER, c_float, c_int

import pytest

from scnlib import HandleP, close, floats, h5build, h5dump, int_attr, ints, lib, open_read, \
    open_write, text_attr

# (family word, collection group, counter, record-index array)
FAMILIES = [("psrc", "Psrcs", "nPsrcs", "partIndices"),
            ("asrc", "Asrcs", "nAsrcs", "annotIndices"),
            ("vsrc", "Vsrcs", "nVsrcs", "vpIndices")]
IP, FP = POINTER(c_int), POINTER(c_float)
for word, *_ in FAMILIES:
    lib.declare(f"scn_write_{word}", c_int, HandleP, c_int, c_int, c_int, IP, FP)
    lib.declare(f"scn_read_{word}_num", c_int, HandleP)
    lib.declare(f"scn_read_{word}_info", c_int, HandleP, c_int, IP, IP)
    lib.declare(f"scn_read_{word}_steps", c_int, HandleP, c_int, IP, FP)

GUARD = -77  # fills the buffer slots past what a record announces
TOP = {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                          "scn_file_version": text_attr("2.00")}}}


def fn(word, what):
    return getattr(lib, f"scn_{what}".replace("*", word))


def read_steps(r, word, index, capacity):
    idx, val = ints([GUARD] * capacity), floats([GUARD] * capacity)
    status = fn(word, "read_*_steps")(r, index, idx, val)
    return status, list(idx), list(val)


@pytest.mark.parametrize("word,group,counter,array", FAMILIES)
@pytest.mark.parametrize("n", [1, 3, 150])
def test_round_trip_and_layout(tmp_path, c_out, word, group, counter, array, n):
    p = tmp_path / "s.h5"
    indices, values = [(7 * i) % 11 for i in range(n)], [0.5 * i - 2.0 for i in range(n)]
    h = open_write(p)
    assert fn(word, "write_*")(h, 0, n, 42, ints(indices), floats(values)) == 0
    assert fn(word, "write_*")(h, 1, 2, -3, ints([9, 8]), floats([1.5, 2.5])) == 0
    assert close(h) == 0

    r = open_read(p)
    assert fn(word, "read_*_num")(r) == 2
    steps, step_id = c_int(), c_int()
    assert fn(word, "read_*_info")(r, 0, steps, step_id) == 0
    assert (steps.value, step_id.value) == (n, 42)
    assert read_steps(r, word, 0, n + 2) == (0, indices + [GUARD] * 2, values + [GUARD] * 2)
    assert read_steps(r, word, 1, 2) == (0, [9, 8], [1.5, 2.5])
    assert close(r) == 0
    assert c_out() == ""

    t = h5dump(p)
    assert t[f"/top/{group}"]["attrs"] == {counter: {"dtype": "int32", "shape": [], "value": 2}}
    rec = t[f"/top/{group}/{word}_0"]
    assert {k: (a["dtype"], a["value"]) for k, a in rec["attrs"].items()} == \
        {"nSteps": ("int32", n), "stepId": ("int32", 42)}
    for name, dtype in ((array, "int32"), ("stepValues", "float32")):
        d = t[f"/top/{group}/{word}_0/{name}"]
        assert (d["dtype"], d["shape"]) == (dtype, [n])
        # Arrays over 100 entries are one deflated, shuffled chunk.
        if n > 100:
            assert (d["chunks"], d["filters"], d["gzip_level"]) == ([n], ["shuffle", "deflate"], 9)
        else:
            assert (d["chunks"], d["filters"]) == (None, [])


@pytest.mark.parametrize("word,group,counter,array", FAMILIES)
def test_no_steps_no_arrays(tmp_path, c_out, word, group, counter, array):
    p = tmp_path / "s.h5"
    h = open_write(p)
    assert fn(word, "write_*")(h, 0, 0, 5, None, None) == 0
    assert close(h) == 0
    assert not [k for k in h5dump(p) if k.startswith(f"/top/{group}/{word}_0/")]
    r = open_read(p)
    assert read_steps(r, word, 0, 1) == (1, [GUARD], [GUARD])
    assert c_out() == f"Error opening dataset: {array}\nError opening dataset: stepValues\n"
    assert close(r) == 0


def test_counter_counts_created_groups(tmp_path):
    p = tmp_path / "s.h5"
    h = open_write(p)
    for index in (5, 5, 2):
        assert lib.scn_write_psrc(h, index, 1, 0, ints([1]), floats([1.0])) == 0
    # Rewriting with another length replaces the arrays.
    assert lib.scn_write_psrc(h, 2, 3, 1, ints([4, 5, 6]), floats([1, 2, 3])) == 0
    assert close(h) == 0
    r = open_read(p)
    assert lib.scn_read_psrc_num(r) == 2
    assert read_steps(r, "psrc", 2, 3) == (0, [4, 5, 6], [1.0, 2.0, 3.0])
    assert close(r) == 0


def test_absent_and_missing(tmp_path, c_out):
    p = tmp_path / "s.h5"
    h = open_write(p)
    assert lib.scn_write_psrc(h, 0, 0, 0, None, None) == 0
    assert close(h) == 0
    r = open_read(p)
    assert lib.scn_read_asrc_num(r) == 0
    assert c_out() == ""
    steps = c_int(-5)
    assert lib.scn_read_vsrc_info(r, 7, steps, None) == 1
    assert lib.scn_read_psrc_steps(r, 3, None, None) == 1
    assert steps.value == -5
    assert c_out() == ("scn_read_vsrc_info: error opening group '/top/Vsrcs/vsrc_7'\n"
                       "scn_read_psrc_steps: error opening group '/top/Psrcs/psrc_3'\n")
    # Null outputs read nothing.
    assert lib.scn_read_psrc_info(r, 0, None, None) == 0
    assert lib.scn_read_psrc_steps(r, 0, None, None) == 0
    assert close(r) == 0
    assert c_out() == ""


def test_negative_step_count_is_refused_on_write(tmp_path, c_out):
    h = open_write(tmp_path / "s.h5")
    assert lib.scn_write_asrc(h, 0, -4, 0, ints([1]), floats([1.0])) == 1
    assert c_out() == ("Error creating dataspace for dataset: annotIndices\n"
                       "Error creating dataspace for dataset: stepValues\n")
    assert close(h) == 0


def test_missing_step_arrays_are_refused_on_write(tmp_path, c_out):
    h = open_write(tmp_path / "s.h5")
    assert lib.scn_write_vsrc(h, 0, 2, 0, None, floats([1.0, 2.0])) == 1
    assert c_out() == "Error writing dataset: vpIndices\n"
    assert close(h) == 0


# Malformed files: the arrays may not overrun the nSteps the record announces.
REFUSED_READS = "Error reading dataset: partIndices\nError reading dataset: stepValues\n"


@pytest.mark.parametrize("steps,length,announced,message", [
    (2, 5, 2, REFUSED_READS),         # arrays longer than nSteps
    (-3, 2, 2, REFUSED_READS),        # negative nSteps
    (None, 2, 2, "Error opening group for attribute: nSteps\n" * 2),  # nSteps missing
])
def test_malformed_counts_do_not_overrun(tmp_path, c_out, steps, length, announced, message):
    p = tmp_path / "bad.h5"
    rec = {"attrs": {"stepId": int_attr(1)}}
    if steps is not None:
        rec["attrs"]["nSteps"] = int_attr(steps)
    h5build(p, {**TOP, "/top/Psrcs": {"attrs": {"nPsrcs": int_attr(1)}}, "/top/Psrcs/psrc_0": rec,
                "/top/Psrcs/psrc_0/partIndices": {"type": "dataset", "dtype": "int32",
                                                  "value": list(range(1, length + 1))},
                "/top/Psrcs/psrc_0/stepValues": {"type": "dataset", "dtype": "float32",
                                                 "value": [1.0] * length}})
    r = open_read(p)
    assert read_steps(r, "psrc", 0, announced + 1) == \
        (1, [GUARD] * (announced + 1), [GUARD] * (announced + 1))
    assert c_out() == message
    assert close(r) == 0


def test_counter_missing_reads_as_zero(tmp_path, c_out):
    p = tmp_path / "bad.h5"
    h5build(p, {**TOP, "/top/Vsrcs": {}})
    r = open_read(p)
    assert lib.scn_read_vsrc_num(r) == 0
    assert c_out() == "Error opening group for attribute: nVsrcs\n"
    assert close(r) == 0


@pytest.mark.parametrize("word,group,counter,array", FAMILIES)
def test_write_without_file_fails(c_out, word, group, counter, array):
    h = open_write(None)
    assert fn(word, "write_*")(h, 0, 1, 0, ints([1]), floats([1.0])) == 1
    assert c_out() == f"scn_write_{word}: error creating {group} group\n"
    assert close(h) == 0
