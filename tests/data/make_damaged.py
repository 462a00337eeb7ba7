"""Damaged scene files that the tests (and the fuzz smoke) replay, made
from seed files of the fuzz corpus.

Byte damage (committed in tests/data): a few bytes changed, each where
libhdf5 1.10.8 goes wrong if a reader hands the value to H5Dread or H5Aread
unchecked.
Count damage (written on demand, with h5py): count attributes set below the
arrays they count (a reader that trusted the stored length would write past
its caller's array) and far above them (a caller that trusted the count
would allocate gigabytes).

    python tests/data/make_damaged.py tests/data          # byte damage
    python tests/data/make_damaged.py --counts DIRECTORY  # count damage
"""
import os
import shutil
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
CORPUS = os.path.join(HERE, "..", "..", "fuzz", "corpus")

# name: (seed, {offset: new byte}, the refusal the readers print)
DAMAGE = {
    # The contiguous layout of scene 0's aplane 0 "annotIndices" (2 ints)
    # turned compact, holding 4 bytes: H5Dread copies 8 out of a 4-byte
    # buffer (from scn_read_scene_aplane_indices).
    "compact_aplane_indices.h5": ("scenes.h5", {19129: 0, 19130: 4, 19131: 0},
                                  "Error reading dataset: annotIndices"),
    # The same for node set 0's slot 1 "vals" (12 floats), from
    # scn_read_nodes_var_values.
    "compact_node_values.h5": ("geometry.h5", {18737: 0, 18738: 4, 18739: 0},
                               "Error reading dataset: vals"),
    # Node set 0's int type of "ids" made 2.75 GB wide: H5Dread allocates
    # and fills conversion buffers of that size.
    "wide_node_ids.h5": ("geometry.h5", {15839: 164}, "Error reading dataset: ids"),
    # Node set 0's deflated "coords" (one chunk of 120 floats) given an
    # 8-byte float type: H5Dread copies 960 bytes out of the 480 decoded.
    "wide_compressed_coords.h5": ("compressed.h5", {15236: 8}, "Error reading dataset: coords"),
    # The same chunk's filter mask set to skip Deflate: H5Dread copies 480
    # bytes out of the 149 stored.
    "undecoded_chunk.h5": ("compressed.h5", {15804: 2}, "Error reading dataset: coords"),
    # The int type of "/top/Geoms" "nGeoms" given a precision of 65312 bits:
    # converting it walks its bits far past the value (H5Aread).
    "wide_count_bits.h5": ("compressed.h5", {9987: 255}, "Error reading attribute: nGeoms"),
}


def damaged(name):
    seed, changes, _ = DAMAGE[name]
    data = bytearray(open(os.path.join(CORPUS, seed), "rb").read())
    for offset, value in changes.items():
        data[offset] = value
    return bytes(data)


# seed: [(record group, count attribute, the arrays it counts)]
COUNTED = {
    "sources.h5": [("/top/Psrcs/psrc_0", "nSteps", ["partIndices", "stepValues"])],
    "elements.h5": [("/top/ElemLists/elemlist_0/elem_0", "elemCount", ["ids", "vals"]),
                    ("/top/ElemLists/elemlist_0/elem_1", "lenList", ["conn"])],
    "geometry.h5": [("/top/Nodes/nodes_0", "numNodes", ["coords", "ids"]),
                    ("/top/Nodes/nodes_0/var_1", "numValues", ["vals"])],
    "variables.h5": [("/top/Vars/var_0", "nGrnOrSat", ["grnOrSatCntl", "grnOrSatCols"])],
    "views.h5": [("/top/Vports/vport_1", "nParts", ["partIndices"]),
                 ("/top/Aplanes/aplane_0", "nAnnots", ["annotIndices"])],
    "parts.h5": [("/top/Reps/rep_0", "numRepGeoms", ["geomIndicies"])],
    "scenes.h5": [("/top/Scenes/scene_0/parts/part_0", "nFrames", ["sourceIndices", "stepNums"]),
                  ("/top/Scenes/scene_0/vports/vport_0", "nParts", ["partIndices"])],
    "annotations.h5": [("/top/Annots/annot_0", "nQueries", ["queryIndices"]),
                       ("/top/Images/image_0", "width", ["pixels", "depth"])],
}
LOW, HIGH = 1, 2**16


def write_counted(directory, seeds=tuple(COUNTED)):
    """Each seed twice, its counts set to LOW and to HIGH; returns
    {file: [the arrays whose reads must be refused]}."""
    import h5py

    written = {}
    for seed in seeds:
        counts = COUNTED[seed]
        for value in (LOW, HIGH):
            path = os.path.join(directory, f"{seed[:-3]}_counts_{value}.h5")
            shutil.copyfile(os.path.join(CORPUS, seed), path)
            with h5py.File(path, "r+") as f:
                for group, count, _ in counts:
                    f[group].attrs[count] = f[group].attrs[count].dtype.type(value)
            written[path] = [array for _, _, arrays in counts for array in arrays]
    return written


if __name__ == "__main__":
    if sys.argv[1] == "--counts":
        write_counted(sys.argv[2])
    else:
        for name in DAMAGE:
            with open(os.path.join(sys.argv[1], name), "wb") as out:
                out.write(damaged(name))
