"""Damaged files read by every reader: the read_file program (the fuzz
target's reading, tests/c) in a subprocess, so that a crash fails the test
rather than the run. Each damaged dataset is refused with a diagnostic; the
fuzz corpus reads without a crash, and the files of it that the library's
writers wrote without a refusal (the hand-built legacy ones hold values
that do not fit their slots' variables)."""
import glob
import os
import subprocess
import sys

import pytest

import _oxm

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "data"))
from make_damaged import COUNTED, DAMAGE, damaged, write_counted  # noqa: E402

READ_FILE = os.path.join(os.path.dirname(os.path.dirname(_oxm.__file__)), "tests", "c", "read_file")
CORPUS = sorted(glob.glob(os.path.join(HERE, "..", "fuzz", "corpus", "*.h5")))

pytestmark = pytest.mark.skipif(not os.path.exists(READ_FILE), reason="needs the CMake build tree")


def read_file(path):
    """What every reader printed on the file; fails on a crash."""
    run = subprocess.run([READ_FILE, path], capture_output=True, text=True, errors="replace",
                         timeout=120)
    assert run.returncode == 0, run.stderr[-3000:]
    lines = run.stdout.splitlines()
    assert lines[-1] == "== done"
    return lines


@pytest.mark.parametrize("name", sorted(DAMAGE))
def test_damaged_values_are_refused_before_hdf5_copies_them(name):
    path = os.path.join(HERE, "data", name)
    with open(path, "rb") as f:
        assert f.read() == damaged(name), "regenerate with tests/data/make_damaged.py"
    assert DAMAGE[name][2] in read_file(path)


@pytest.mark.parametrize("seed", sorted(COUNTED))
def test_counts_below_or_far_above_their_arrays_are_refused(seed, tmp_path):
    for path, arrays in write_counted(str(tmp_path), [seed]).items():
        refused = {line for line in read_file(path) if line.startswith("Error reading dataset")}
        assert refused == {f"Error reading dataset: {name}" for name in arrays}, path


@pytest.mark.parametrize("path", CORPUS, ids=[os.path.basename(p) for p in CORPUS])
def test_corpus_files_read_whole(path):
    refused = [line for line in read_file(path) if line.startswith("Error reading dataset")]
    assert not refused or os.path.basename(path).startswith("legacy")
