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

# word, collection group, counter, count attribute, index dataset
FAMILIES = [
    ("vport", "Vports", "nVports", "nParts", "partIndices"),
    ("aplane", "Aplanes", "nAplanes", "nAnnots", "annotIndices"),
]
family = pytest.mark.parametrize("word, group, counter, count, dataset", FAMILIES)


def call(name, word, *args):
    return getattr(lib, name.format(word))(*args)


@family
def test_file_without_records(word, group, counter, count, dataset, tmp_path, c_out):
    path = tmp_path / "empty.h5"
    assert close(open_write(path)) == 0
    r = open_read(path)
    assert call("scn_read_{}_num", word, r) == 0
    assert close(r) == 0
    assert c_out() == ""


@family
def test_write_and_rewrite(word, group, counter, count, dataset, tmp_path, c_out):
    path = tmp_path / "rec.h5"
    h = open_write(path)
    assert call("scn_write_{}", word, h, 0, 3, ints([4, 5, 6])) == 0
    assert close(h) == 0
    tree = h5dump(path)
    assert tree[f"/top/{group}"]["attrs"][counter]["value"] == 1
    rec = tree[f"/top/{group}/{word}_0"]["attrs"]
    assert {k: (v["dtype"], v["shape"], v["value"]) for k, v in rec.items()} == {
        "numAttrs": ("int32", [], 0), count: ("int32", [], 3)}
    indices = tree[f"/top/{group}/{word}_0/{dataset}"]
    assert (indices["dtype"], indices["shape"], indices["value"]) == ("int32", [3], [4, 5, 6])

    h = open_write(path, 1)
    assert call("scn_write_{}", word, h, 0, 2, ints([8, 9])) == 0
    assert close(h) == 0
    tree = h5dump(path)
    assert tree[f"/top/{group}"]["attrs"][counter]["value"] == 1
    assert tree[f"/top/{group}/{word}_0"]["attrs"][count]["value"] == 2
    assert tree[f"/top/{group}/{word}_0/{dataset}"]["value"] == [8, 9]

    r = open_read(path)
    assert call("scn_read_{}_num", word, r) == 1
    n = c_int(-1)
    assert call("scn_read_{}_info", word, r, 0, n) == 0 and n.value == 2
    out = ints([-1, -1, -1])
    assert call("scn_read_{}_indices", word, r, 0, out) == 0
    assert list(out) == [8, 9, -1]
    assert close(r) == 0
    assert c_out() == ""


@family
def test_record_without_indices(word, group, counter, count, dataset, tmp_path, c_out):
    path = tmp_path / "zero.h5"
    h = open_write(path)
    assert call("scn_write_{}", word, h, 0, 0, None) == 0
    assert close(h) == 0
    tree = h5dump(path)
    assert tree[f"/top/{group}/{word}_0"]["attrs"][count]["value"] == 0
    assert f"/top/{group}/{word}_0/{dataset}" not in tree
    r = open_read(path)
    assert call("scn_read_{}_indices", word, r, 0, ints([0])) == 1
    assert c_out() == f"Error opening dataset: {dataset}\n"
    assert close(r) == 0


@family
def test_info_with_null_count_tests_presence(word, group, counter, count, dataset, tmp_path,
                                             c_out):
    path = tmp_path / "presence.h5"
    h = open_write(path)
    call("scn_write_{}", word, h, 0, 1, ints([1]))
    assert close(h) == 0
    r = open_read(path)
    assert call("scn_read_{}_info", word, r, 0, None) == 0
    assert call("scn_read_{}_info", word, r, 9, None) == 1
    assert call("scn_read_{}_indices", word, r, 9, ints([0])) == 1
    assert c_out() == (f"scn_read_{word}_info: error opening group '/top/{group}/{word}_9'\n"
                       f"scn_read_{word}_indices: error opening group '/top/{group}/{word}_9'\n")
    assert close(r) == 0


@family
def test_counter_counts_created_records(word, group, counter, count, dataset, tmp_path):
    path = tmp_path / "sparse.h5"
    h = open_write(path)
    call("scn_write_{}", word, h, 0, 1, ints([1]))
    call("scn_write_{}", word, h, 5, 1, ints([2]))
    call("scn_write_{}", word, h, 5, 1, ints([3]))
    assert close(h) == 0
    r = open_read(path)
    assert call("scn_read_{}_num", word, r) == 2
    out = ints([0])
    assert call("scn_read_{}_indices", word, r, 5, out) == 0 and out[0] == 3
    assert close(r) == 0


@family
@pytest.mark.parametrize("n, chunked", [(100, False), (101, True)])
def test_index_compression(word, group, counter, count, dataset, n, chunked, tmp_path):
    path = tmp_path / "big.h5"
    h = open_write(path)
    assert call("scn_write_{}", word, h, 0, n, ints(range(n))) == 0
    assert close(h) == 0
    stored = h5dump(path)[f"/top/{group}/{word}_0/{dataset}"]
    assert stored["value"] == list(range(n))
    assert (stored["chunks"] == [n]) == chunked
    assert ("deflate" in stored["filters"]) == chunked


@family
def test_writing_without_a_file(word, group, counter, count, dataset, c_out):
    h = open_write(None)
    assert call("scn_write_{}", word, h, 0, 1, ints([1])) == 1
    assert c_out() == f"scn_write_{word}: error creating {group} group\n"
    assert close(h) == 0


@family
def test_missing_index_array_is_refused(word, group, counter, count, dataset, tmp_path, c_out):
    path = tmp_path / "null.h5"
    h = open_write(path)
    assert call("scn_write_{}", word, h, 0, 2, None) == 1
    assert c_out() == f"Error writing dataset: {dataset}\n"
    assert close(h) == 0
    assert h5dump(path)[f"/top/{group}/{word}_0"]["attrs"][count]["value"] == 2


def malformed(word, group, counter, count, dataset, stored_count, values):
    tree = {"/top": {"type": "group", "attrs": {"scn_api_version": text_attr("2.00.00"),
                                                 "scn_file_version": text_attr("2.00")}},
            f"/top/{group}": {"type": "group", "attrs": {counter: int_attr(1)}},
            f"/top/{group}/{word}_0": {"type": "group", "attrs": {count: int_attr(stored_count)}}}
    if values is not None:
        tree[f"/top/{group}/{word}_0/{dataset}"] = {"type": "dataset", "dtype": "int32",
                                                    "value": values}
    return tree


@family
@pytest.mark.parametrize("stored_count, values", [(2, [1, 2, 3, 4]), (-1, [1]), (0, [7])])
def test_more_indices_than_counted_are_refused(word, group, counter, count, dataset,
                                               stored_count, values, tmp_path, c_out):
    path = tmp_path / "bad.h5"
    h5build(path, malformed(word, group, counter, count, dataset, stored_count, values))
    r = open_read(path)
    out = ints([-1] * 2)
    assert call("scn_read_{}_indices", word, r, 0, out) == 1
    assert list(out) == [-1, -1]
    assert c_out() == f"Error reading dataset: {dataset}\n"
    assert close(r) == 0


@family
def test_missing_count(word, group, counter, count, dataset, tmp_path, c_out):
    path = tmp_path / "nocount.h5"
    tree = malformed(word, group, counter, count, dataset, 1, [5])
    del tree[f"/top/{group}/{word}_0"]["attrs"][count]
    h5build(path, tree)
    r = open_read(path)
    n = c_int(-1)
    assert call("scn_read_{}_info", word, r, 0, n) == 1
    assert call("scn_read_{}_indices", word, r, 0, ints([0])) == 1
    assert c_out() == (f"Error opening group for attribute: {count}\n" * 2)
    assert close(r) == 0
