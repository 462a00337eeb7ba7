"""ctypes signatures of the variable, geometry and element-list entries, and
helpers shared by their tests."""
import json
import subprocess
import sys
from ctypes import POINTER, c_char_p, c_float, c_int

import numpy as np

from scnlib import HandleP, lib

F = POINTER(c_float)
I = POINTER(c_int)
H = HandleP

_SIGNATURES = {
    # variables
    "scn_write_var": (H, c_int, c_char_p, c_char_p, c_int, c_int, c_int, c_int, F, F),
    "scn_write_var_palette": (H, c_int, c_char_p, c_int, c_int, c_float, c_float,
                              c_int, c_int, c_int, c_int, c_int) + (F,) * 8,
    "scn_read_var_num": (H,),
    "scn_read_var_info": (H, c_int, c_char_p, c_char_p, I, I, I, I),
    "scn_read_var_extents": (H, c_int, F, F),
    "scn_read_var_palette_info": (H, c_int, c_char_p, I, I, F, F, I, I, I, I, I),
    "scn_read_var_palette_colors": (H, c_int) + (F,) * 8,
    # geoms and node sets
    "scn_write_geom": (H, c_int, c_int, c_int, c_int, c_int, F, F),
    "scn_write_nodes": (H, c_int, c_int, c_int, c_int, c_int, c_int, F, I),
    "scn_write_nodes_var": (H, c_int, c_int, c_int, c_int, c_int, c_float, F),
    "scn_read_geom_num": (H,),
    "scn_read_geom_info": (H, c_int, I, I, I),
    "scn_read_geom_extents": (H, c_int, I, F, F),
    "scn_read_nodes_num": (H,),
    "scn_read_nodes_info": (H, c_int, I, I, I, I, I),
    "scn_read_nodes_coords": (H, c_int, F),
    "scn_read_nodes_ids": (H, c_int, I),
    "scn_read_nodes_var_info": (H, c_int, c_int, I, I, I, F),
    "scn_read_nodes_var_values": (H, c_int, c_int, F),
    # element lists
    "scn_write_elem_list": (H, c_int, c_int, c_int, c_int, c_int),
    "scn_write_elem_list_var_info": (H, c_int, c_int, c_int, c_int, c_float),
    "scn_write_elem": (H, c_int, c_int, c_int, c_int, c_int, I, I),
    "scn_write_elem_var": (H, c_int, c_int, c_int, c_int, c_int, F),
    "scn_read_elem_list_num": (H,),
    "scn_read_elem_list_info": (H, c_int, I, I, I, I),
    "scn_read_elem_list_var_info": (H, c_int, c_int, I, I, F),
    "scn_read_elem_info": (H, c_int, c_int, I, I, I),
    "scn_read_elem_connectivity": (H, c_int, c_int, I),
    "scn_read_elem_ids": (H, c_int, c_int, I),
    "scn_read_elem_var_values": (H, c_int, c_int, c_int, F),
}
for _name, _args in _SIGNATURES.items():
    lib.declare(_name, c_int, *_args)

SCALAR, VECTOR, NORMALIZED_VECTOR, COMPLEX_SCALAR, COMPLEX_VECTOR, PER_PART_CONSTANT = range(3100, 3106)
CENTER_NODE, CENTER_ELEMENT = 3000, 3001
ELEM_TRILIST, ELEM_TETLIST = 2004, 2011


def fptr(arr):
    return arr.ctypes.data_as(F)


def iptr(arr):
    return arr.ctypes.data_as(I)


def out_ints(n=1, fill=-77):
    return np.full(n, fill, dtype=np.int32)


def out_floats(n=1, fill=-77.0):
    return np.full(n, fill, dtype=np.float32)


def layout(path, *datasets):
    """Shape, chunks, filters and deflate level of large datasets, read with
    h5py in a separate process without dumping their values."""
    src = (
        "import h5py, json, sys\n"
        "f = h5py.File(sys.argv[1], 'r')\n"
        "out = {}\n"
        "for name in sys.argv[2:]:\n"
        "    d = f[name]\n"
        "    out[name] = {'shape': list(d.shape), 'chunks': list(d.chunks) if d.chunks else None,\n"
        "                 'compression': d.compression, 'opts': d.compression_opts,\n"
        "                 'shuffle': d.shuffle}\n"
        "print(json.dumps(out))\n")
    res = subprocess.run([sys.executable, "-c", src, str(path), *datasets],
                         check=True, capture_output=True, text=True)
    return json.loads(res.stdout)


def write_var(h, index, kind, name="v", desc="", centering=CENTER_NODE, extents=0,
              palette=0, minimum=None, maximum=None):
    mn = fptr(np.asarray(minimum, dtype=np.float32)) if minimum is not None else None
    mx = fptr(np.asarray(maximum, dtype=np.float32)) if maximum is not None else None
    return lib.scn_write_var(h, index, name.encode(), desc.encode(), centering, kind,
                             extents, palette, mn, mx)
