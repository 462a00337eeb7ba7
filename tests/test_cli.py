"""The oxm command."""
import json

import pytest

from oxm.cli import main
from oxm_files import Writer


@pytest.fixture
def scene_file(tmp_path):
    path = tmp_path / "run.h5"
    with Writer(path) as w:
        w.scene(0, b"orbit", 12, 2, 11, 3, 1, 1, 30.0)
        w.part(0, b"wing", b"", 10, 0, 0)
        w.variable(0, b"pressure", 3100, lo=[1.0], hi=[9.5])
        w.node_set(0, [0.0, 0.0, 1.0, 0.0, 0.0, 1.0], 2)
        w.elem_list(0, 1, 0, -1, 0)
        w.elem_rec(0, 0, 2004, 1, [0, 1, 2])
    return path


def test_summary_text(scene_file, capsys):
    assert main([str(scene_file)]) == 0
    out = capsys.readouterr().out.splitlines()
    assert out[0] == str(scene_file)
    assert out[1].startswith("  1 scenes, 1 parts, 0 part sources, 0 reps, 0 render attributes,")
    assert out[2:] == [
        '  scene 0: "orbit", 12 frames (2..11 by 3) at 30 fps',
        '  part 0: "wing" OXR_PART_BND',
        '  variable 0: "pressure" OXR_VAR_SCALAR at OXR_CENTER_NODE, range [1.0, 9.5]',
        "  node set 0: 3 nodes in 2-D",
        "  element list 0: OXR_ELEM_TRILIST x1",
    ]


def test_summary_json(scene_file, capsys):
    assert main(["--json", str(scene_file)]) == 0
    info = json.loads(capsys.readouterr().out)
    assert info["counts"]["nodeSets"] == 1 and info["counts"]["vports"] == 0
    assert info["nodeSets"][0]["nodeCount"] == 3


def test_unopenable_file_fails_but_others_are_summarised(scene_file, tmp_path, capsys):
    assert main([str(tmp_path / "missing.h5"), str(scene_file)]) == 1
    captured = capsys.readouterr()
    assert "No such file or directory" in captured.err
    assert str(scene_file) in captured.out
