"""What keeps the package's generated tables, stubs and types honest."""
import ast
import os
import re
import shutil
import subprocess
import sys

import pytest

import _oxm
import oxm

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PACKAGE = os.path.join(ROOT, "python", "oxm")


def test_generated_files_match_their_sources():
    """_capi_decls.py (the public headers), _oxm.pyi and enums.pyi (the
    constant table) regenerate to the committed text."""
    run = subprocess.run([sys.executable, os.path.join(PACKAGE, "_gen_capi.py"), "--check", ROOT],
                         capture_output=True, text=True)
    assert (run.returncode, run.stdout) == (0, "")


@pytest.mark.skipif(not shutil.which("nm"), reason="nm is not installed")
def test_every_exported_entry_is_declared():
    out = subprocess.run(["nm", "-D", "--defined-only", _oxm.__file__], check=True,
                         capture_output=True, text=True).stdout
    exported = {line.split()[-1] for line in out.splitlines()
                if re.search(r" T (scn|attr_)", line)}
    assert exported == set(oxm._capi.ENTRIES)


def _stub_names(path):
    tree = ast.parse(open(path, encoding="utf-8").read())
    constants = {n.target.id for n in tree.body if isinstance(n, ast.AnnAssign)}
    cls = next(n for n in tree.body if isinstance(n, ast.ClassDef) and n.name == "oxm")
    methods = {n.name for n in cls.body if isinstance(n, ast.FunctionDef)} - {"__init__"}
    return constants, methods


def test_the_module_stub_lies_beside_the_module_and_lists_it():
    constants, methods = _stub_names(os.path.join(os.path.dirname(_oxm.__file__), "_oxm.pyi"))
    assert constants == {n for n in dir(_oxm) if n.startswith("OXR_")}
    assert methods == {n for n in dir(_oxm.oxm) if not n.startswith("_")} - {"filename"}


ENUMS = [  # class, value, the member's name
    (oxm.ElemType, 2004, "OXR_ELEM_TRILIST"),
    (oxm.AnimLoop, 0, "OXR_ANIM_ONCE"),
    (oxm.AnimRun, 0, "OXR_ANIM_STOP"),
    (oxm.ColorSpace, 20, "OXR_PALETTE_HSV"),
    (oxm.enums.VportTag, 4207, "OXR_VPORT_ROTMAT"),
    (oxm.enums.ImageTag, 1000, "OXR_IMAGE_U_X0Y0X1Y1"),
]


@pytest.mark.parametrize("cls,value,name", ENUMS, ids=[e[2] for e in ENUMS])
def test_enumerations_are_named_by_the_constant_table(cls, value, name):
    assert cls(value).name == name and getattr(_oxm, name) == value


def test_version_is_the_project_version():
    text = open(os.path.join(ROOT, "pyproject.toml"), encoding="utf-8").read()
    assert f'version = "{oxm.__version__}"' in text


def test_package_passes_mypy_strict():
    pytest.importorskip("mypy", reason="mypy is not installed")
    env = dict(os.environ, MYPYPATH=os.path.dirname(_oxm.__file__))
    run = subprocess.run([sys.executable, "-m", "mypy", "--strict", "--no-incremental", PACKAGE],
                         capture_output=True, text=True, env=env, cwd=ROOT)
    assert run.returncode == 0, run.stdout
