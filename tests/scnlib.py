"""The library's C entries, reached through ctypes on the built _oxm module
(which exports them), plus helpers shared by the tests.

Written for Python 3 and 2.7 alike: the _oxm tests also run on 2.7."""
import base64
import ctypes
import json
import os
import subprocess
import sys
from ctypes import POINTER, c_char, c_char_p, c_float, c_int, c_int64

import _oxm

PY2 = sys.version_info[0] == 2
HERE = os.path.dirname(os.path.abspath(__file__))
# h5py is a Python 3 tool here: a 2.7 run names a Python 3 that has it.
H5TOOL_PYTHON = os.environ.get("H5TOOL_PYTHON", sys.executable)
NAME_LEN = 256
MAX_ATTRTAGS = 150


class Handle(ctypes.Structure):
    """Mirror of scnapi_handle, field for field."""

    _fields_ = [
        ("directory", c_char * NAME_LEN),
        ("fileName", c_char * NAME_LEN),
        ("fileId", c_int64),
        ("compression", c_int),
        ("attrKind", c_int),
        ("attrIndex", c_int),
        ("numAttrs", c_int),
        ("expectedAttrs", c_int),
        ("attrTags", c_int * MAX_ATTRTAGS),
        ("attrPtrs", c_int * MAX_ATTRTAGS),
        ("ivalsLen", c_int),
        ("fvalsLen", c_int),
        ("cvalsLen", c_int),
        ("ibufSize", c_int),
        ("ibuf", POINTER(c_int)),
        ("fbufSize", c_int),
        ("fbuf", POINTER(c_float)),
        ("cbufSize", c_int),
        ("cbuf", POINTER(c_char)),
        ("geomCount", c_int),
        ("nodeSetsFound", c_int),
        ("elemListsFound", c_int),
        ("nodesInGeom", POINTER(c_int)),
        ("elemsInGeom", POINTER(c_int)),
    ]


HandleP = POINTER(Handle)


class ScnLib:
    """The C entries with their declared signatures."""

    def __init__(self, path):
        self.dll = ctypes.CDLL(path)
        self._libc = ctypes.CDLL(None)
        self._libc.fflush.argtypes = [ctypes.c_void_p]

    def declare(self, name, restype, *argtypes):
        func = getattr(self.dll, name)
        func.restype = restype
        func.argtypes = list(argtypes)
        return func

    def __getattr__(self, name):
        return getattr(self.dll, name)

    def flush(self):
        """Flush C stdout, where the library prints its diagnostics."""
        self._libc.fflush(None)


lib = ScnLib(_oxm.__file__)
for _name in ("scnapi_name", "scnapi_desc", "scnapi_version", "scnfile_version"):
    lib.declare(_name, c_char_p)
lib.declare("scnapi_init", c_int)
lib.declare("scnapi_compression_avail", c_int, POINTER(c_int), POINTER(POINTER(c_char_p)))
lib.declare("scnapi_input_files", c_int, POINTER(c_int), c_char_p)
lib.declare("scn_write_begin", HandleP, c_char_p, c_int)
lib.declare("scn_write_set_compression", c_int, HandleP, c_int)
lib.declare("scn_write_framework_version", c_int, HandleP, c_char_p)
lib.declare("scn_read_begin", HandleP, POINTER(c_char_p))
lib.declare("scn_read_framework_version", c_int, HandleP, c_char_p)
lib.declare("scnapi_close", c_int, POINTER(HandleP))
lib.declare("scnapi_close_file", c_int, POINTER(HandleP))
lib.declare("scn_read_scene_num", c_int, HandleP)


def b(text):
    """A path or str as the bytes the C entries take (None stays None)."""
    if text is None or isinstance(text, bytes):
        return text
    if PY2:
        text = text if isinstance(text, unicode) else str(text)  # noqa: F821
        return text.encode(sys.getfilesystemencoding())
    return os.fsencode(text)


def open_write(path, append=0):
    return lib.scn_write_begin(b(path), append)


def open_read(path):
    names = (c_char_p * 1)(b(path))
    return lib.scn_read_begin(names)


def close(handle):
    """scnapi_close on a handle (a HandleP, nulled on success); returns the
    status."""
    return lib.scnapi_close(ctypes.byref(handle))


def ints(values):
    return (c_int * len(values))(*values)


def floats(values):
    return (c_float * len(values))(*values)


def run(args, stdin=None, env=None):
    """Runs a command to its end: (exit status, stdout, stderr) as text."""
    proc = subprocess.Popen(args, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, cwd=HERE, env=env, universal_newlines=True)
    out, err = proc.communicate(stdin)
    return proc.returncode, out, err


def _h5tool(args, stdin=None):
    """Runs tests/h5tool.py with `args` (command, file, ...)."""
    status, out, err = run([H5TOOL_PYTHON, os.path.join(HERE, "h5tool.py")]
                           + [str(a) for a in args], stdin)
    assert status == 0, err
    return out


def h5dump(path):
    """The file's tree as h5py sees it, read in a separate process."""
    return json.loads(_h5tool(["dump", path]))


def h5build(path, tree, libver=None):
    """Write a file from a tree description with h5py, in a separate process
    (libver "v110": in the file format of HDF5 1.10)."""
    _h5tool(["build", path] + ([libver] if libver else []), json.dumps(tree))


def h5edit(files):
    """Apply h5tool's edit operations ({file: [operation, ...]}) with h5py,
    in one separate process."""
    _h5tool(["edit"], json.dumps({str(k): v for k, v in files.items()}))


def h5chunk(path, dataset, data=None, filter_mask=0):
    """The first raw chunk of a dataset as (filter mask, stored bytes), read
    with h5py in a separate process; with `data`, replaces it instead."""
    if data is None:
        chunk = json.loads(_h5tool(["get_chunk", path, dataset]))
        return chunk["filter_mask"], base64.b64decode(chunk["data"])
    _h5tool(["put_chunk", path, dataset],
            json.dumps({"filter_mask": filter_mask, "data": base64.b64encode(data).decode()}))


def text_attr(text, size=NAME_LEN):
    """Build-format attribute: a zero-padded int8 string field."""
    return {"dtype": "int8", "text": text, "size": size}


def int_attr(value):
    return {"dtype": "int32", "value": value}


def isolated_env(*first):
    """The environment of a fresh interpreter that imports this _oxm, with
    the folders `first` ahead of everything on its path."""
    env = dict(os.environ)
    env["PYTHONPATH"] = os.pathsep.join(
        list(first) + [os.path.dirname(os.path.abspath(_oxm.__file__)), HERE,
                       env.get("PYTHONPATH", "")])
    return env


def run_isolated(source):
    """Run Python source in a fresh process (the library keeps process-wide
    state, such as the version of the file read last); returns its stdout."""
    status, out, err = run([sys.executable, "-c", source], env=isolated_env())
    if status != 0:
        raise AssertionError("isolated run failed:\n" + err)
    return out
