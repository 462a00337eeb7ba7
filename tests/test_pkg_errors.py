"""Error paths of the oxm package, the capture of the library's diagnostics
(nothing reaches standard output or error), and files of different layouts
read at once."""
import json
import textwrap
import warnings

import numpy as np
import pytest

import oxm
from geomlib import legacy_tree
from oxm import _capi
from scnlib import h5build, int_attr, run_isolated, text_attr

TOP = {"/top": {"attrs": {"scn_api_version": text_attr("2.00.00"),
                          "scn_file_version": text_attr("2.00")}}}


def gap_file(path):
    """Part 0 announced by the counter but written as index 1."""
    with oxm.create(path) as w:
        w.part(index=1, name="late")
        w.elem_list(n_records=1, has_ids=True)
        w.scene(name="s")


def write(path, call):
    with oxm.create(path) as w:
        w.variable(name="t")
        w.node_set(coords=np.zeros((2, 3)), n_vars=1)
        w.elem_list(n_records=1, has_ids=True)
        call(w)


ERRORS = [  # label, action on a scratch path, exception, texts its message holds, diagnostics
    ("open a missing file", lambda p: oxm.open(p / "none.h5"), FileNotFoundError,
     ["none.h5"], None),
    ("open a file that is not HDF5", lambda p: (p / "x.txt").write_text("x") and oxm.open(p / "x.txt"),
     OSError, ["x.txt", "scn_read_set_filenames: error opening"], None),
    ("create in a missing folder", lambda p: oxm.create(p / "no" / "x.h5"), FileNotFoundError,
     ["x.h5"], None),
    ("unknown compression", lambda p: oxm.create(p / "x.h5", compression="lzf"), ValueError,
     ["compression", "lzf"], None),
    ("a record the counter announces but the file lacks",
     lambda p: gap_file(p / "g.h5") or oxm.open(p / "g.h5").parts[0], oxm.ScnError,
     ["scn_read_part_info failed"],
     ["scn_read_part_info: error opening group '/top/Parts/part_0'"]),
    ("an index past the end", lambda p: gap_file(p / "g.h5") or oxm.open(p / "g.h5").parts[1],
     IndexError, ["part index 1"], None),
    ("a scene part of a missing scene",
     lambda p: write(p / "w.h5", lambda w: w.scene_part(5, name="x")), oxm.ScnError,
     ["scn_write_scene_part failed"], ["scn_write_scene_part: error scene_5 group does not exist"]),
    ("an element record of a missing list",
     lambda p: write(p / "w.h5", lambda w: w.elem(3, 0, 2004, [0, 1, 2])), oxm.ScnError,
     ["scn_write_elem failed"], ["scn_write_elem: error opening group '/top/ElemLists/elemlist_3'"]),
    ("coordinates of one dimension",
     lambda p: write(p / "w.h5", lambda w: w.node_set(coords=[1, 2, 3])), ValueError,
     ["coords"], None),
    ("node ids of the wrong length",
     lambda p: write(p / "w.h5", lambda w: w.node_set(coords=np.zeros((2, 3)), ids=[1])),
     ValueError, ["ids", "2 values expected"], None),
    ("float connectivity",
     lambda p: write(p / "w.h5", lambda w: w.elem(0, 0, 2004, [0.5, 1, 2], ids=[1])), TypeError,
     ["connectivity"], None),
    ("a list with ids given none",
     lambda p: write(p / "w.h5", lambda w: w.elem(0, 0, 2004, [0, 1, 2])), ValueError,
     ["ids"], None),
    ("polygon counts that do not match",
     lambda p: write(p / "w.h5", lambda w: w.elem(0, 0, 2003, [4, 0, 1], ids=[1])), ValueError,
     ["connectivity"], None),
    ("values of a variable not written",
     lambda p: write(p / "w.h5", lambda w: w.node_var(0, 0, 7, [1, 2])), ValueError,
     ["variable", "7"], None),
    ("values of the wrong shape",
     lambda p: write(p / "w.h5", lambda w: w.node_var(0, 0, 0, [[1, 2], [3, 4]])), ValueError,
     ["values"], None),
    ("a slot past the node set's",
     lambda p: write(p / "w.h5", lambda w: w.node_var(0, 1, 0, [1, 2])), ValueError,
     ["slot"], None),
    ("a tag of another record kind",
     lambda p: write(p / "w.h5", lambda w: w.vport(attrs={"OXR_RENDATTR_ISVISIBLE": 1})),
     ValueError, ["attrs", "OXR_RENDATTR_ISVISIBLE", "vport"], None),
    ("a tag number no record accepts",
     lambda p: write(p / "w.h5", lambda w: w.rend_attr(attrs={1109: 1})), ValueError,
     ["attrs", "1109"], None),
    ("text for a float tag",
     lambda p: write(p / "w.h5", lambda w: w.vport(attrs={"OXR_VPORT_ZNEAR": "near"})),
     TypeError, ["attrs[OXR_VPORT_ZNEAR]"], None),
    ("too many values for a tag",
     lambda p: write(p / "w.h5", lambda w: w.vport(attrs={"OXR_VPORT_LOOKAT": [1, 2, 3, 4]})),
     ValueError, ["attrs[OXR_VPORT_LOOKAT]", "3 values expected"], None),
    ("a text longer than its tag's field",
     lambda p: write(p / "w.h5", lambda w: w.vport(attrs={"OXR_VPORT_AXISFONTFAMILY": "f" * 41})),
     ValueError, ["attrs[OXR_VPORT_AXISFONTFAMILY]", "40 bytes"], None),
    ("a name longer than its field",
     lambda p: write(p / "w.h5", lambda w: w.variable(name="n" * 65)), ValueError,
     ["name", "64 bytes"], None),
    ("a name that is not text", lambda p: write(p / "w.h5", lambda w: w.part(name=5)),
     TypeError, ["name"], None),
    ("pixels beyond a byte",
     lambda p: write(p / "w.h5", lambda w: w.image(pixels=np.full((2, 2), 256))), ValueError,
     ["pixels"], None),
    ("a pixel format of other width",
     lambda p: write(p / "w.h5", lambda w: w.image(pixels=np.zeros((2, 2, 3), np.uint8), pixel_format=16)),
     ValueError, ["pixel_format"], None),
]


@pytest.mark.parametrize("mode", ["memstream", "fd"])
@pytest.mark.parametrize("label,action,exc,texts,diagnostics", ERRORS, ids=[e[0] for e in ERRORS])
def test_errors_name_their_cause_and_print_nothing(tmp_path, capfd, mode, label, action, exc,
                                                   texts, diagnostics):
    _capi.set_capture_mode(mode)
    try:
        with pytest.raises(exc) as info:
            action(tmp_path)
    finally:
        _capi.set_capture_mode("memstream")
    message = str(info.value)
    assert [t for t in texts if t not in message] == []
    if diagnostics is not None:
        assert info.value.diagnostics == diagnostics
        assert message.endswith(diagnostics[-1])
    _capi.lib.scnapi_init()  # any C output still buffered would show below
    assert capfd.readouterr() == ("", "")


def test_a_read_that_succeeds_with_diagnostics_warns(tmp_path, capfd):
    h5build(tmp_path / "p.h5", {**TOP, "/top/Parts": {"attrs": {"nParts": int_attr(1)}},
                                "/top/Parts/part_0": {"attrs": {
                                    "partName": text_attr("p"), "partDesc": text_attr(""),
                                    "partType": int_attr(0), "dynamicRepIndex": int_attr(4)}}})
    with oxm.open(tmp_path / "p.h5") as f, pytest.warns(oxm.ScnWarning) as record:
        part = f.parts[0]
    assert (part.static_rep, part.dynamic_rep) == (-1, 4)
    assert record[0].message.diagnostics == [
        "Error opening group for attribute: staticRepIndex"]
    assert capfd.readouterr() == ("", "")


def test_closed_files_refuse_use(tmp_path):
    gap_file(tmp_path / "g.h5")
    f = oxm.open(tmp_path / "g.h5")
    f.close()
    f.close()
    with pytest.raises(ValueError, match="closed"):
        len(f.scenes)
    w = oxm.create(tmp_path / "h.h5")
    w.close()
    with pytest.raises(ValueError, match="closed"):
        w.part(name="x")


def test_files_of_different_layouts_read_together(tmp_path):
    """Each file reads with its own layout, whichever was opened last
    (in a fresh process: the library's version state is process-wide)."""
    h5build(tmp_path / "old.h5", legacy_tree())
    with oxm.create(tmp_path / "new.h5") as w:
        w.node_set(coords=np.arange(6).reshape(2, 3))
        w.elem_list()
        w.elem(0, 0, 2004, [0, 1, 1])
    out = run_isolated(textwrap.dedent(f"""
        import json, warnings, oxm
        warnings.simplefilter("error")
        old, new = oxm.open({str(tmp_path / "old.h5")!r}), oxm.open({str(tmp_path / "new.h5")!r})
        reads = []
        for _ in range(2):
            reads += [len(old.node_sets), old.node_sets[1].coords[0].tolist(),
                      new.node_sets[0].coords[1].tolist(), old.elem_lists[1].records[1].ids.tolist(),
                      new.elem_lists[0].records[0].connectivity.tolist(), len(new.node_sets)]
        print(json.dumps(reads))
        """))
    assert json.loads(out) == [2, [200, 201, 202], [3, 4, 5], [2001], [[0, 1, 1]], 1] * 2


def test_legacy_layouts_read_like_the_current_one(tmp_path):
    h5build(tmp_path / "old.h5", legacy_tree(style="rw_release"))
    out = run_isolated(textwrap.dedent(f"""
        import json, warnings, oxm
        warnings.simplefilter("error")
        f = oxm.open({str(tmp_path / "old.h5")!r})
        g, n, e = f.geoms[2], f.node_sets[1], f.elem_lists[1]
        print(json.dumps([len(f.geoms), g.node_set, g.maximum.tolist(), n.n_nodes, n.ids.tolist(),
                          n.vars[0].values.tolist(), e.vars[0].var_index,
                          e.records[0].elem_type.name, e.records[1].values[0].tolist(),
                          f.framework_version]))
        """))
    assert json.loads(out) == [3, 2, [3, 3, 3], 7, list(range(20, 27)), [2.5] * 7, 1,
                               "OXR_ELEM_TRILIST", [[2.25] * 3], "1.00"]
