"""The _oxm module and its file object (Python 3 and 2.7)."""
import errno
import gc
import os
import sys

import pytest

import _oxm
from scnlib import PY2, close, h5build, int_attr, isolated_env, open_write, run, text_attr

if PY2:
    PATH_TYPES = [("str", str), ("unicode", unicode)]  # noqa: F821
    NOT_FOUND = OSError
else:
    import pathlib
    PATH_TYPES = [("str", str), ("path", pathlib.Path), ("bytes", lambda p: str(p).encode())]
    NOT_FOUND = FileNotFoundError  # noqa: F821

VERSIONS = {"scn_api_version": text_attr("2.00.00"), "scn_file_version": text_attr("2.00")}


@pytest.fixture
def scene_file(tmp_path):
    path = tmp_path / "scenes.h5"
    h5build(path, {"/top": {"attrs": VERSIONS},
                   "/top/Scenes": {"attrs": {"nScenes": int_attr(3)}}})
    return path


@pytest.fixture
def empty_file(tmp_path):
    path = tmp_path / "empty.h5"
    assert close(open_write(path)) == 0
    return path


def test_module_surface():
    public = [n for n in dir(_oxm) if not n.startswith("__")]
    constants = [n for n in public if n.startswith("OXR_")]
    assert len(constants) == 650
    assert all(type(getattr(_oxm, n)) is int for n in constants)
    assert sorted(set(public) - set(constants)) == ["oxm"]  # no functions, no OXM
    assert _oxm.__doc__ == "Example module that creates an extension type."


@pytest.mark.parametrize("name, value", [
    ("OXR_VPORT_ROTMAT", 4207), ("OXR_CENTER_NODE", 3000), ("OXR_TRACE_B0TH", 2),
    ("OXR_ANNOT_TEXT", 10), ("OXR_ANNOT_HORZ", 10), ("OXR_PALETTE_RGB", 10),
    ("OXR_PALETTE_LINEAR", 10), ("OXR_IMAGE_U_X0Y0X1Y1", 1000), ("OXR_REP_NONE", 1000),
    ("OXR_MAX_RENDATTR_ENUM", 1191), ("OXR_FRAMEWORK_VERSION", 1), ("OXR_ANIM_BOUNCE", 2),
    ("OXR_VPORT_ZTRANSFORM", 4238), ("OXR_NOTE_PLACEHOLDER", 8000), ("OXR_GEOM_POLYORDER", 7000),
])
def test_constant_values(name, value):
    assert getattr(_oxm, name) == value


def test_unnamed_values_stay_unnamed():
    values = {getattr(_oxm, n) for n in dir(_oxm) if n.startswith("OXR_")}
    assert not {1109, 1110, 4210} & values


def test_type_identity():
    t = _oxm.oxm
    assert (t.__name__, t.__module__, t.__doc__) == ("OXM", "_oxm", "OXM File Object")
    assert t.filename.__doc__ == "The filename."
    with pytest.raises(TypeError):
        type("Sub", (t,), {})


@pytest.mark.parametrize("args, kwargs, error", [
    ((), {}, TypeError), (("a", "b"), {}, TypeError), ((), {"name": "a"}, TypeError),
    ((3,), {}, TypeError), (("a\0b",), {}, ValueError)])
def test_constructor_argument_errors(args, kwargs, error):
    with pytest.raises(error):
        _oxm.oxm(*args, **kwargs)


@pytest.mark.parametrize("convert", [c for _, c in PATH_TYPES], ids=[n for n, _ in PATH_TYPES])
def test_open_by_position_and_keyword(scene_file, convert):
    arg = convert(scene_file)
    for f in (_oxm.oxm(arg), _oxm.oxm(filename=arg)):
        assert f.filename is arg
        assert f.sceneNum() == 3
        assert repr(f) == '<_oxm.oxm("{}")>'.format(scene_file)


def test_counting_ignores_arguments(scene_file, empty_file):
    f = _oxm.oxm(str(scene_file))
    assert f.sceneNum(1, 2, 3) == f.sceneNum() == 3
    assert _oxm.oxm(str(empty_file)).sceneNum() == 0


def test_missing_file_raises_file_not_found(tmp_path, capfd):
    path = str(tmp_path / "nope.h5")
    with pytest.raises(NOT_FOUND) as err:
        _oxm.oxm(path)
    assert (err.value.errno, err.value.filename) == (errno.ENOENT, path)
    assert capfd.readouterr().out == "scn_read_set_filenames: error opening {}\n".format(path)


@pytest.mark.parametrize("setup", ["text", "no-top"])
def test_unreadable_scene_file_raises_os_error(tmp_path, setup):
    path = tmp_path / "bad.h5"
    if setup == "text":
        with open(str(path), "w") as f:
            f.write("hello")
    else:
        h5build(path, {"/elsewhere": {}})
    with pytest.raises(OSError, match=str(path)) as err:
        _oxm.oxm(str(path))
    assert type(err.value) is OSError


def test_filename_member_is_independent_of_file(scene_file):
    f = _oxm.oxm(str(scene_file))
    f.filename = "other.h5"
    assert f.filename == "other.h5"
    assert repr(f) == '<_oxm.oxm("other.h5")>'
    assert f.sceneNum() == 3  # still the first file
    del f.filename
    with pytest.raises(AttributeError):
        f.filename
    assert repr(f) == '<_oxm.oxm("")>'


def test_uninitialised_object(scene_file):
    f = _oxm.oxm.__new__(_oxm.oxm)
    assert f.filename == ""
    assert repr(f) == '<_oxm.oxm("")>'
    with pytest.raises(ValueError):
        f.sceneNum()
    f.__init__(str(scene_file))
    assert f.sceneNum() == 3


def test_reinitialising_switches_file(scene_file, empty_file):
    f = _oxm.oxm(str(scene_file))
    f.__init__(str(empty_file))
    assert f.filename == str(empty_file)
    assert f.sceneNum() == 0


def test_destroying_one_object_keeps_others_open(scene_file):
    first = _oxm.oxm(str(scene_file))
    second = _oxm.oxm(str(scene_file))
    del first
    gc.collect()
    assert second.sceneNum() == 3


def test_module_exports_every_library_entry():
    import ctypes
    import glob
    import os
    import re

    root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "scnapi")
    declared = set()
    for header in glob.glob(os.path.join(root, "*.h")):
        with open(header) as f:
            declared |= set(re.findall(r"SCNAPI_EXPORT\s+[\w\s\*]+?\b(\w+)\s*\(", f.read()))
    assert len(declared) > 100
    module = ctypes.CDLL(_oxm.__file__)
    assert [name for name in sorted(declared) if not hasattr(module, name)] == []


# numpy's API binding at import, against stand-ins for numpy.core.multiarray
# (None: the module is missing). A stand-in's API table answers the ABI
# version (slot 0), the byte order (210) and the feature version (211).
API_TABLE = """
import ctypes
def _slot(restype, value):
    f = ctypes.CFUNCTYPE(restype)(lambda: value)
    _kept.append(f)
    return ctypes.cast(f, ctypes.c_void_p).value
_kept = []
_table = (ctypes.c_void_p * 212)()
_table[0] = _slot(ctypes.c_uint, {abi})
_table[210] = _slot(ctypes.c_int, {order})
_table[211] = _slot(ctypes.c_uint, {feature})
_new = ctypes.pythonapi.PyCObject_FromVoidPtr
_new.restype, _new.argtypes = ctypes.py_object, [ctypes.c_void_p, ctypes.c_void_p]
_ARRAY_API = _new(ctypes.addressof(_table), None)
"""
GOOD = dict(abi=0x1000009, feature=10, order=1)
FAILED = "ImportError: numpy.core.multiarray failed to import\n"
IMPORTS = [  # case, stand-in module, what 2.7 prints before the ImportError (None: imports)
    ("no-multiarray", None, FAILED),
    ("no-api", "", "AttributeError: _ARRAY_API not found\n"),
    ("not-cobject", "_ARRAY_API = 0", "RuntimeError: _ARRAY_API is not PyCObject object\n"),
    ("abi", API_TABLE.format(**dict(GOOD, abi=0x1000008)), "RuntimeError: module compiled against ABI "
     "version 1000009 but this version of numpy is 1000008\n"),
    ("feature-9", API_TABLE.format(**dict(GOOD, feature=9)), "RuntimeError: module compiled against API "
     "version a but this version of numpy is 9\n"),
    ("unknown-order", API_TABLE.format(**dict(GOOD, order=0)), "RuntimeError: FATAL: module compiled as unknown "
     "endian\n"),
    ("big-endian", API_TABLE.format(**dict(GOOD, order=2)), "RuntimeError: FATAL: module compiled as little "
     "endian, but detected different endianness at runtime\n"),
    ("ok", API_TABLE.format(**GOOD), None),
    ("feature-13", API_TABLE.format(**dict(GOOD, feature=13)), None),
]
IMPORT = """
try:
    import _oxm
    print("imported %d" % _oxm.OXR_CENTER_NODE)
except ImportError as e:
    print("ImportError: %s" % e)
"""


# The stand-ins' tables are 2.7's; on 3 numpy's own procedure is used.
BINDINGS = IMPORTS if PY2 else IMPORTS[:1]


@pytest.mark.parametrize("case, multiarray, printed", BINDINGS,
                         ids=[case for case, _, _ in BINDINGS])
def test_numpy_binding_at_import(tmp_path, case, multiarray, printed):
    core = tmp_path / "numpy" / "core"
    os.makedirs(str(core))
    for init in (tmp_path / "numpy", core):
        open(str(init / "__init__.py"), "w").close()
    if multiarray is not None:
        with open(str(core / "multiarray.py"), "w") as f:
            f.write(multiarray)
    status, out, err = run([sys.executable, "-c", IMPORT], env=isolated_env(str(tmp_path)))
    assert status == 0, err
    if printed is None:
        assert (out, err) == ("imported 3000\n", "")
        return
    assert out == FAILED
    if PY2:  # 3 prints what numpy's own procedure found
        assert err == printed
