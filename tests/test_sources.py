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


def fn(word, what):
    return getattr(lib, f"scn_{what}".replace("*", word))


def read_steps(r, word, index, capacity):
    idx, val = ints([GUARD] * capacity), floats([GUARD] * capacity)
    status = fn(word, "read_*_steps")(r, index, idx, val)
    return status, list(idx), list(val)


@pytest.mark.parametrize("word,group,counter,array", FAMILIES)
def test_round_trip_and_layout(tmp_path, c_out, word, group, counter, array):
    p = tmp_path / "s.h5"
    steps = {n: ([(7 * i) % 11 for i in range(n)], [0.5 * i - 2.0 for i in range(n)])
             for n in (2, 100, 101)}
    h = open_write(p)
    assert fn(word, "write_*")(h, 0, 101, 42, ints(steps[101][0]), floats(steps[101][1])) == 0
    assert fn(word, "write_*")(h, 3, 2, 1, ints(steps[2][0]), floats(steps[2][1])) == 0
    # Rewritten with another length: the arrays are replaced, not counted again.
    assert fn(word, "write_*")(h, 3, 100, -3, ints(steps[100][0]), floats(steps[100][1])) == 0
    assert fn(word, "write_*")(h, 1, 0, 5, None, None) == 0
    assert close(h) == 0

    t = h5dump(p)
    assert t[f"/top/{group}"]["attrs"] == {counter: {"dtype": "int32", "shape": [], "value": 3}}
    assert {k: (a["dtype"], a["shape"], a["value"]) for k, a in
            t[f"/top/{group}/{word}_0"]["attrs"].items()} == \
        {"nSteps": ("int32", [], 101), "stepId": ("int32", [], 42)}
    assert not [k for k in t if k.startswith(f"/top/{group}/{word}_1/")]
    for index, n in ((0, 101), (3, 100)):
        for name, dtype, want in ((array, "int32", steps[n][0]),
                                  ("stepValues", "float32", steps[n][1])):
            d = t[f"/top/{group}/{word}_{index}/{name}"]
            assert (d["dtype"], d["shape"], d["value"]) == (dtype, [n], want)
            # Arrays over 100 entries are one deflated, shuffled chunk.
            assert (d["chunks"], d["filters"], d["gzip_level"]) == \
                (([n], ["shuffle", "deflate"], 9) if n > 100 else (None, [], None))

    r = open_read(p)
    assert fn(word, "read_*_num")(r) == 3
    n, step_id = c_int(), c_int()
    assert fn(word, "read_*_info")(r, 3, n, step_id) == 0 and (n.value, step_id.value) == (100, -3)
    assert read_steps(r, word, 0, 103) == (0, steps[101][0] + [GUARD] * 2,
                                           steps[101][1] + [GUARD] * 2)
    assert read_steps(r, word, 3, 100) == (0, *steps[100])
    assert fn(word, "read_*_info")(r, 0, None, None) == 0  # null outputs read nothing
    assert fn(word, "read_*_steps")(r, 0, None, None) == 0
    assert c_out() == ""
    assert read_steps(r, word, 1, 1) == (1, [GUARD], [GUARD])
    assert fn(word, "read_*_info")(r, 7, n, None) == 1 and n.value == 100
    assert c_out() == (f"Error opening dataset: {array}\nError opening dataset: stepValues\n"
                       f"scn_read_{word}_info: error opening group '/top/{group}/{word}_7'\n")
    assert close(r) == 0


@pytest.mark.parametrize("word, path, steps, indices, message", [
    *[(word, None, 1, [1], f"scn_write_{word}: error creating {group} group\n")
      for word, group, _, _ in FAMILIES],
    ("asrc", "s.h5", -4, [1], "Error creating dataspace for dataset: annotIndices\n"
                              "Error creating dataspace for dataset: stepValues\n"),
    ("vsrc", "s.h5", 2, None, "Error writing dataset: vpIndices\n"),
])
def test_refused_writes(tmp_path, c_out, word, path, steps, indices, message):
    h = open_write(path and tmp_path / path)
    assert fn(word, "write_*")(h, 0, steps, 0, indices and ints(indices), floats([1.0, 2.0])) == 1
    assert c_out() == message
    assert close(h) == 0


# Malformed files: the arrays may not overrun the nSteps the record announces.
# The collection carries no counter: the count reads as 0, reported.
@pytest.mark.parametrize("steps,message", [
    (2, "Error reading dataset: partIndices\nError reading dataset: stepValues\n"),  # 5 stored
    (-3, "Error reading dataset: partIndices\nError reading dataset: stepValues\n"),
    (None, "Error opening group for attribute: nSteps\n" * 2),
])
def test_malformed_counts_do_not_overrun(tmp_path, c_out, steps, message):
    p = tmp_path / "bad.h5"
    rec = {"attrs": {} if steps is None else {"nSteps": int_attr(steps)}}
    h5build(p, {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                                   "scn_file_version": text_attr("2.00")}},
                "/top/Psrcs": {}, "/top/Psrcs/psrc_0": rec,
                "/top/Psrcs/psrc_0/partIndices": {"type": "dataset", "dtype": "int32",
                                                  "value": [1, 2, 3, 4, 5]},
                "/top/Psrcs/psrc_0/stepValues": {"type": "dataset", "dtype": "float32",
                                                 "value": [1.0] * 5}})
    r = open_read(p)
    assert lib.scn_read_psrc_num(r) == 0
    assert read_steps(r, "psrc", 0, 3) == (1, [GUARD] * 3, [GUARD] * 3)
    assert c_out() == "Error opening group for attribute: nPsrcs\n" + message
    assert close(r) == 0
