"""Every example of the README and of the documentation (docs/, and the
docstrings the Python reference shows) runs.

A page's examples run in order, in one namespace, in a folder of their own
that holds the sample scene as demo.h5:

- ``python`` blocks are executed; ``pycon`` blocks are doctests, their
  output compared (with ``...`` standing for any text);
- ``sh`` lines are commands that must succeed (a comment "(exit status N)"
  asks for another status); ``console`` blocks are ``$ command`` lines with
  the output the command prints, compared the same way; ``oxm`` commands run
  in-process, others in a shell;
- ``c`` lines must be lines of a program of examples/, which ctest builds
  and runs, and ``literalinclude`` may show only those programs;
- ``text`` blocks show output and run nothing; no other kind is allowed.

A page says what its examples need in a comment "examples-need: NAMES"
(meshio, pyvista, render); without it the page is skipped, with the reason.
"""
import doctest
import glob
import importlib
import os
import pkgutil
import re
import shlex
import shutil
import subprocess
import textwrap
from typing import List, NamedTuple

import pytest

import oxm
from oxm.cli import main

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PAGES = ["README.md"] + sorted(os.path.relpath(p, ROOT) for p in glob.glob(
    os.path.join(ROOT, "docs", "**", "*.rst"), recursive=True))
RUN = {"python", "pycon", "sh", "console", "c"}
SHOWN = {"text"}
FLAGS = doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE


class Block(NamedTuple):
    lang: str
    code: str
    line: int


def read(page: str) -> str:
    with open(os.path.join(ROOT, page), encoding="utf-8") as f:
        return f.read()


def blocks(page: str) -> List[Block]:
    """The code blocks of a page: Markdown fences or reST code-block
    directives, their text dedented."""
    text = read(page)
    if page.endswith(".md"):
        found = re.finditer(r"^```(\w+)\n(.*?)^```$", text, re.M | re.S)
        return [Block(m.group(1), m.group(2), text.count("\n", 0, m.start()) + 2)
                for m in found]
    found = re.finditer(r"^\.\. code-block:: (\w+)\n((?:[ \t]+:.*\n)*)\n((?:(?:[ \t]+.*)?\n)+)",
                        text, re.M)
    return [Block(m.group(1), textwrap.dedent(m.group(3)).strip("\n") + "\n",
                  text.count("\n", 0, m.start(3)) + 1) for m in found]


def needs(page: str) -> List[str]:
    found = re.search(r"examples-need: ([\w, ]+)", read(page))
    return [n.strip() for n in found.group(1).split(",")] if found else []


def expected_status(line: str) -> int:
    found = re.search(r"#.*\(exit status (\d+)\)", line)
    return int(found.group(1)) if found else 0


def run_command(line: str, capsys: pytest.CaptureFixture) -> "tuple[int, str]":
    """(exit status, standard output) of one command line."""
    args = shlex.split(line, comments=True)
    if args[0] == "oxm":
        capsys.readouterr()
        status = main(args[1:])
        return status, capsys.readouterr().out
    done = subprocess.run(line, shell=True, stdout=subprocess.PIPE, text=True)
    return done.returncode, done.stdout


def compare(got: str, want: str, where: str) -> None:
    checker = doctest.OutputChecker()
    if not checker.check_output(want, got, FLAGS):
        raise AssertionError(where + "\n" + checker.output_difference(
            doctest.Example("", want), got, FLAGS))


def run_console(block: Block, where: str, capsys: pytest.CaptureFixture) -> None:
    for chunk in re.split(r"^(?=\$ )", block.code, flags=re.M):
        if not chunk.strip():
            continue
        command, _, want = chunk[2:].partition("\n")
        status, out = run_command(command, capsys)
        assert status == expected_status(command), (where, command)
        compare(out, want, f"{where}: {command}")


def run_page(page: str, capsys: pytest.CaptureFixture) -> None:
    namespace: dict = {"__name__": "__example__"}
    runner = doctest.DocTestRunner(optionflags=FLAGS)
    for block in blocks(page):
        where = f"{page}:{block.line}"
        if block.lang == "python":
            exec(compile(block.code, where, "exec"), namespace)
        elif block.lang == "pycon":
            test = doctest.DocTestParser().get_doctest(block.code, namespace, where, page,
                                                       block.line)
            test.globs = namespace  # one namespace for the page (not a copy)
            report: List[str] = []
            result = runner.run(test, out=report.append, clear_globs=False)
            assert result.failed == 0, "".join(report)
        elif block.lang == "sh":
            for line in block.code.splitlines():
                if line.strip():
                    status, _ = run_command(line, capsys)
                    assert status == expected_status(line), (where, line)
        elif block.lang == "console":
            run_console(block, where, capsys)


def skip_unless_available(what: List[str]) -> None:
    for name in what:
        module = {"render": "pyvista"}.get(name, name)  # VTK draws through pyvista
        pytest.importorskip(module, reason=f"the examples need {name}")


@pytest.fixture(scope="session")
def demo_file(tmp_path_factory: pytest.TempPathFactory) -> str:
    path = str(tmp_path_factory.mktemp("demo") / "demo.h5")
    from oxm.demo import build_demo
    build_demo(path)
    return path


@pytest.fixture
def demo_folder(tmp_path, monkeypatch, demo_file):
    shutil.copy(demo_file, tmp_path / "demo.h5")
    monkeypatch.chdir(tmp_path)
    return tmp_path


def test_the_pages_have_examples_of_every_kind():
    langs = {b.lang for page in PAGES for b in blocks(page)}
    assert RUN <= langs <= RUN | SHOWN


@pytest.mark.parametrize("page", PAGES)
def test_every_block_runs_or_shows_output(page):
    assert [b for b in blocks(page) if b.lang not in RUN | SHOWN] == []
    # reST literal blocks ("::") would be examples that nothing runs
    if page.endswith(".rst"):
        assert re.findall(r"^(?!\.\.).*::\s*$", read(page), re.M) == []


@pytest.mark.parametrize("page", PAGES)
def test_the_examples_run(page, demo_folder, capsys):
    skip_unless_available(needs(page))
    run_page(page, capsys)


def example_programs():
    return {os.path.relpath(p, ROOT): {line.strip() for line in open(p)}
            for p in glob.glob(os.path.join(ROOT, "examples", "*.c"))}


@pytest.mark.parametrize("page", PAGES)
def test_c_examples_are_lines_of_the_example_programs(page):
    programs = example_programs()
    known = set().union(*programs.values())
    lines = [line.strip() for b in blocks(page) if b.lang == "c" for line in b.code.splitlines()]
    assert [line for line in lines if line and line not in known] == []
    for target in re.findall(r"^\.\. literalinclude:: (\S+)", read(page), re.M):
        path = os.path.normpath(os.path.join(os.path.dirname(page), target))
        assert path in programs, f"{page} shows {target}, which no test builds"


def docstring_tests():
    finder = doctest.DocTestFinder(exclude_empty=True)
    for info in pkgutil.walk_packages(oxm.__path__, "oxm."):
        if info.name.endswith("__main__"):
            continue
        try:
            module = importlib.import_module(info.name)
        except ImportError:  # an optional part whose dependency is missing
            continue
        for test in finder.find(module):
            if test.examples:
                yield pytest.param(test, id=test.name)


@pytest.mark.parametrize("test", list(docstring_tests()))
def test_docstring_examples_run(test, demo_folder):
    source = "".join(e.source for e in test.examples)
    skip_unless_available([n for n, used in (("meshio", "meshio"), ("render", "render("))
                           if used in source])
    test.globs.update({"oxm": oxm, "np": importlib.import_module("numpy")})
    report: List[str] = []
    result = doctest.DocTestRunner(optionflags=FLAGS).run(test, out=report.append)
    assert result.failed == 0, "".join(report)
