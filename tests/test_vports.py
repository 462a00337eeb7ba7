"""Viewports and annotation planes: records listing part or annotation
indices."""
from ctypes import POINTER, c_int

import pytest

from scnlib import HandleP, close, h5build, h5dump, int_attr, ints, lib, open_read, open_write, text_attr

for _word in ("vport", "aplane"):
    lib.declare(f"scn_write_{_word}", c_int, HandleP, c_int, c_int, POINTER(c_int))
    lib.declare(f"scn_read_{_word}_num", c_int, HandleP)
    lib.declare(f"scn_read_{_word}_info", c_int, HandleP, c_int, POINTER(c_int))
    lib.declare(f"scn_read_{_word}_indices", c_int, HandleP, c_int, POINTER(c_int))

GUARD = -77
# word, collection group, counter, count attribute, index dataset
family = pytest.mark.parametrize("word, group, counter, count, dataset", [
    ("vport", "Vports", "nVports", "nParts", "partIndices"),
    ("aplane", "Aplanes", "nAplanes", "nAnnots", "annotIndices"),
])


def fn(name, word):
    return getattr(lib, name.format(word))


@family
def test_round_trip_and_layout(word, group, counter, count, dataset, tmp_path, c_out):
    path = tmp_path / "rec.h5"
    write = fn("scn_write_{}", word)
    h = open_write(path)
    assert write(h, 0, 3, ints([4, 5, 6])) == 0
    assert write(h, 1, 0, None) == 0
    assert write(h, 7, 100, ints(range(100))) == 0
    assert write(h, 8, 101, ints(range(101))) == 0
    assert close(h) == 0
    h = open_write(path, 1)
    assert write(h, 0, 2, ints([8, 9])) == 0  # rewritten: replaced, not counted again
    assert close(h) == 0

    t = h5dump(path)
    rec = f"/top/{group}/{word}_"
    assert t[f"/top/{group}"]["attrs"] == {counter: {"dtype": "int32", "shape": [], "value": 4}}
    assert {k: (v["dtype"], v["shape"], v["value"]) for k, v in t[rec + "0"]["attrs"].items()} \
        == {"numAttrs": ("int32", [], 0), count: ("int32", [], 2)}
    assert t[rec + "1"]["attrs"][count]["value"] == 0 and rec + "1/" + dataset not in t
    for index, want, layout in ((0, [8, 9], (None, [], None)),
                                (7, list(range(100)), (None, [], None)),
                                (8, list(range(101)), ([101], ["shuffle", "deflate"], 9))):
        d = t[f"{rec}{index}/{dataset}"]
        assert (d["dtype"], d["value"], (d["chunks"], d["filters"], d["gzip_level"])) == \
            ("int32", want, layout)

    r = open_read(path)
    assert fn("scn_read_{}_num", word)(r) == 4
    n, out = c_int(-1), ints([GUARD] * 102)
    assert fn("scn_read_{}_info", word)(r, 0, n) == 0 and n.value == 2
    assert fn("scn_read_{}_info", word)(r, 0, None) == 0  # tests presence only
    assert fn("scn_read_{}_indices", word)(r, 0, out) == 0 and list(out)[:3] == [8, 9, GUARD]
    assert fn("scn_read_{}_indices", word)(r, 8, out) == 0
    assert list(out) == list(range(101)) + [GUARD]
    assert c_out() == ""
    assert fn("scn_read_{}_indices", word)(r, 1, out) == 1
    assert fn("scn_read_{}_info", word)(r, 9, None) == 1
    assert fn("scn_read_{}_indices", word)(r, 9, out) == 1
    assert c_out() == (f"Error opening dataset: {dataset}\n"
                       f"scn_read_{word}_info: error opening group '/top/{group}/{word}_9'\n"
                       f"scn_read_{word}_indices: error opening group '/top/{group}/{word}_9'\n")
    assert close(r) == 0


@family
def test_refused_writes(word, group, counter, count, dataset, tmp_path, c_out):
    h = open_write(None)
    assert fn("scn_write_{}", word)(h, 0, 1, ints([1])) == 1
    assert c_out() == f"scn_write_{word}: error creating {group} group\n"
    assert close(h) == 0
    path = tmp_path / "null.h5"
    h = open_write(path)
    assert fn("scn_write_{}", word)(h, 0, 2, None) == 1
    assert c_out() == f"Error writing dataset: {dataset}\n"
    assert close(h) == 0
    assert h5dump(path)[f"/top/{group}/{word}_0"]["attrs"][count]["value"] == 2


# Malformed files: no more indices are read than the record's count announces.
@family
@pytest.mark.parametrize("stored_count, values, message", [
    (2, [1, 2, 3, 4], "Error reading dataset: {}\n"), (-1, [1], "Error reading dataset: {}\n"),
    (0, [7], "Error reading dataset: {}\n"), (None, [5], "Error opening group for attribute: {}\n"),
])
def test_more_indices_than_counted_are_refused(word, group, counter, count, dataset,
                                               stored_count, values, message, tmp_path, c_out):
    path = tmp_path / "bad.h5"
    rec = {} if stored_count is None else {count: int_attr(stored_count)}
    h5build(path, {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                                      "scn_file_version": text_attr("2.00")}},
                   f"/top/{group}": {"attrs": {counter: int_attr(1)}},
                   f"/top/{group}/{word}_0": {"attrs": rec},
                   f"/top/{group}/{word}_0/{dataset}": {"type": "dataset", "dtype": "int32",
                                                        "value": values}})
    r = open_read(path)
    out = ints([GUARD] * 2)
    assert fn("scn_read_{}_indices", word)(r, 0, out) == 1 and list(out) == [GUARD] * 2
    assert c_out() == message.format(dataset if stored_count is not None else count)
    assert close(r) == 0
