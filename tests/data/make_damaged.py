"""Writes the damaged scene files the tests replay: seed files of the fuzz
corpus with a few bytes changed, each where libhdf5 1.10.8 goes wrong if a
reader hands the dataset to H5Dread unchecked.

    python tests/data/make_damaged.py tests/data
"""
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
CORPUS = os.path.join(HERE, "..", "..", "fuzz", "corpus")

# name: (seed, {offset: new byte}, the dataset the readers must refuse)
DAMAGE = {
    # The contiguous layout of scene 0's aplane 0 "annotIndices" (2 ints)
    # turned compact, holding 4 bytes: H5Dread copies 8 out of a 4-byte
    # buffer (from scn_read_scene_aplane_indices).
    "compact_aplane_indices.h5": ("scenes.h5", {19129: 0, 19130: 4, 19131: 0}, "annotIndices"),
    # The same for node set 0's slot 1 "vals" (12 floats), from
    # scn_read_nodes_var_values.
    "compact_node_values.h5": ("geometry.h5", {18737: 0, 18738: 4, 18739: 0}, "vals"),
    # Node set 0's int type of "ids" made 2.75 GB wide: H5Dread allocates
    # and fills conversion buffers of that size.
    "wide_node_ids.h5": ("geometry.h5", {15839: 164}, "ids"),
}


def damaged(name):
    seed, changes, _ = DAMAGE[name]
    data = bytearray(open(os.path.join(CORPUS, seed), "rb").read())
    for offset, value in changes.items():
        data[offset] = value
    return bytes(data)


if __name__ == "__main__":
    for name in DAMAGE:
        with open(os.path.join(sys.argv[1], name), "wb") as out:
            out.write(damaged(name))
