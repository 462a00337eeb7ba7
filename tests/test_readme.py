"""The README's examples run: its shell lines of oxm commands (in-process),
its Python blocks (in order, in one namespace, in one folder), and its C
lines, which must be lines of examples/scene_roundtrip.c (ctest builds and
runs that program)."""
import os
import re
import shlex

import pytest

from oxm.cli import main

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BLOCKS = re.findall(r"^```(\w+)\n(.*?)^```$", open(os.path.join(ROOT, "README.md")).read(),
                    re.M | re.S)


def test_the_readme_has_examples_of_every_kind():
    assert {lang for lang, _ in BLOCKS} == {"sh", "python", "c"}


def test_the_examples_run(tmp_path, monkeypatch, capsys):
    pytest.importorskip("meshio", reason="the examples convert meshes")
    pytest.importorskip("pyvista", reason="the examples render")
    monkeypatch.chdir(tmp_path)
    namespace = {}
    for lang, code in BLOCKS:
        if lang == "sh":
            for line in code.splitlines():
                args = shlex.split(line, comments=True)
                assert args[0] == "oxm", line
                assert main(args[1:]) == 0, (line, capsys.readouterr().err)
        elif lang == "python":
            exec(compile(code, "README.md", "exec"), namespace)


def test_the_c_lines_are_the_example_program():
    source = {line.strip() for line in open(os.path.join(ROOT, "examples", "scene_roundtrip.c"))}
    lines = [line.strip() for lang, code in BLOCKS if lang == "c" for line in code.splitlines()]
    assert lines and [line for line in lines if line and line not in source] == []
