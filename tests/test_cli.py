"""The oxm command: each subcommand on the sample scene and on damaged files
(exit status, what goes to standard output and to standard error, JSON
that parses), run in-process through oxm.cli.main and, where the C
library's own output matters, as a real process."""
import json
import os
import re
import shutil
import subprocess
import sys

import pytest

from oxm.cli import main
from oxm.demo import build_demo
from scnlib import h5build, h5edit, isolated_env

SMALL = dict(nu=24, nv=12, states=2, frames=24)  # 288 nodes per state


# Damaged files for check, each made from the sample scene by one edit:
# (label, edits, the problems reported as (HDF5 path, message pattern)).
def _attr(path, name, value, dtype="int32"):
    return {"op": "attr", "path": path, "name": name, "dtype": dtype, "value": value}


ELEM0 = "/top/ElemLists/elemlist_0/elem_0"
CHECKS = [
    ("counter above the records", [_attr("/top/Parts", "nParts", 5)],
     [("/top/Parts", r"part_4 is missing \(nParts = 5\)")]),
    ("a record beyond the counter", [_attr("/top/Notes", "nNotes", 0)],
     [("/top/Notes/note_0", r"beyond the count \(nNotes = 0\): readers do not see it")]),
    ("a reference to a missing record", [_attr("/top/Reps/rep_0", "rendAttrIndex", 9)],
     [("/top/Reps/rep_0/rendAttrIndex", r"render attribute 9 does not exist \(nRendAttrs = 2\)")]),
    ("-1 where no record may be absent", [_attr("/top/Geoms/geom_1", "whichNodes", -1)],
     [("/top/Geoms/geom_1/whichNodes", r"node set -1 does not exist \(nNodes = 2\)")]),
    ("a step beyond its source",
     [{"op": "dataset", "path": "/top/Scenes/scene_0/vports/vport_0/stepNums", "index": 5,
       "value": 99}],
     [("/top/Scenes/scene_0/vports/vport_0/stepNums[5]",
       r"step 99 of viewport source 0, which has 24 steps")]),
    ("an array shorter than its count",
     [{"op": "dataset", "path": "/top/Nodes/nodes_0/ids", "dtype": "int32", "value": [1] * 287}],
     [("/top/Nodes/nodes_0/ids", r"287 values, expected 288 \(numNodes 288\)")]),
    ("values of the wrong number of components",
     [{"op": "dataset", "path": f"{ELEM0}/var_0/vals", "dtype": "float32", "value": [0] * 192}],
     [(f"{ELEM0}/var_0/vals", r"192 values, expected 288 \(numValues 96 x 3 components of "
                              r"variable 1\)")]),
    ("a variable's kind changed under its values", [_attr("/top/Vars/var_1", "varKind", 3100)],
     [(f"{ELEM0}/var_0/vals", r"288 values, expected 96 \(numValues 96 x 1 components of "
                              r"variable 1\)"),
      ("/top/ElemLists/elemlist_0/elem_1/var_0/vals", r"720 values, expected 240 .*"),
      ("/top/Vars/var_1/extents", r"6 values, expected 2 \(kind 3100\)")]),
    ("fewer values than nodes", [_attr("/top/Nodes/nodes_1/var_0", "numValues", 5)],
     [("/top/Nodes/nodes_1/var_0/numValues", r"5, but numNodes = 288"),
      ("/top/Nodes/nodes_1/var_0/vals", r"288 values, expected 5 \(numValues 5 x 1 "
                                        r"components of variable 0\)")]),
    ("a node reference beyond the node set",
     [{"op": "dataset", "path": f"{ELEM0}/conn", "index": 0, "value": 288}],
     [(f"/top/Geoms/geom_{g}", rf"element list 0 refers to node 288, but node set {n} has 288 "
                               r"nodes") for g, n in ((0, 0), (2, 1))]),
    ("connectivity that does not fit the element type", [_attr(ELEM0, "lenList", 287)],
     [(f"{ELEM0}/conn", r"288 values, expected 287 \(lenList 287\)"),
      (f"{ELEM0}/lenList", r"287, expected elemCount 96 x 3 nodes")]),
    ("a tag that a render attribute does not take",
     [{"op": "dataset", "path": "/top/RendAttrs/rendAttr_0/attrTags", "index": 0,
       "value": 4100}],
     [("/top/RendAttrs/rendAttr_0/attrTags[0]",
       r"tag 4100 is not an attribute of a render attribute record")]),
    ("tag values beyond their buffer", [_attr("/top/RendAttrs/rendAttr_1", "fvalsLen", 4)],
     [("/top/RendAttrs/rendAttr_1/fvals", r"5 values, expected 4 \(fvalsLen 4\)"),
      ("/top/RendAttrs/rendAttr_1/attrPtrs[3]",
       r"values 4..4 of tag OXR_RENDATTR_LINEWIDTH lie outside fvals \(fvalsLen = 4\)")]),
    ("a tagged reference to a missing variable",
     [{"op": "dataset", "path": "/top/Annots/annot_1/ivals", "index": 0, "value": 5}],
     [("/top/Annots/annot_1/ivals[0]", r"OXR_ANNOT_LEGEND_VAR: variable 5 does not exist "
                                       r"\(nVars = 2\)")]),
    ("an attribute of the wrong type", [_attr("/top/Scenes/scene_0", "fps", 12)],
     [("/top/Scenes/scene_0/fps", r"a 32-bit int scalar, expected a 32-bit float scalar")]),
    ("a text of the wrong width", [_attr("/top/Notes/note_0", "noteLen", 3)],
     [("/top/Notes/note_0/noteText", r"an 8-bit int array of shape \[\d+\], expected a 1-D "
                                     r"array of 3 chars")]),
    ("a missing attribute", [{"op": "delattr", "path": "/top/Parts/part_0", "name": "partType"}],
     [("/top/Parts/part_0", r"missing attribute partType")]),
    ("a missing version attribute",
     [{"op": "delattr", "path": "/top", "name": "scn_api_version"}],
     [("/top", r"missing attribute scn_api_version")]),
    ("a member the format does not have", [{"op": "group", "path": "/top/Parts/extra"}],
     [("/top/Parts/extra", r"unexpected member")]),
]


@pytest.fixture(scope="module")
def files(tmp_path_factory):
    """The small sample scene, a damaged copy (part records 4-6 announced
    but missing), and paths that are no scene file."""
    tmp = tmp_path_factory.mktemp("cli")
    build_demo(tmp / "demo.h5", **SMALL)
    shutil.copy(tmp / "demo.h5", tmp / "damaged.h5")
    edits = {tmp / "damaged.h5": [_attr("/top/Parts", "nParts", 7)]}
    for k, (_, ops, _) in enumerate(CHECKS):  # the damaged files of check, made at once
        shutil.copy(tmp / "demo.h5", tmp / f"bad{k}.h5")
        edits[tmp / f"bad{k}.h5"] = ops
    h5edit(edits)
    h5build(tmp / "plain.h5", {"/data": {"type": "group", "attrs": {}}})
    (tmp / "text.txt").write_text("not HDF5")
    (tmp / "folder").mkdir()
    return {name: str(tmp / f) for name, f in (
        ("demo", "demo.h5"), ("damaged", "damaged.h5"), ("plain", "plain.h5"),
        ("text", "text.txt"), ("folder", "folder"), ("missing", "missing.h5"), ("tmp", "."))}


def oxm_run(capsys, args):
    status = main(args)
    out, err = capsys.readouterr()
    return status, out, err


# args ({name} stands for a file of the fixture), exit status, what stdout
# holds (a regex, or a test of the JSON document it must be), a regex stderr matches
RUNS = [
    (["--version"], 0, r"^oxm \d+\.\d+\.\d+ \(HDF5 ScnAPI 2\.00\.00, file format 2\.00\)\n$", ""),
    ([], 2, r"^$", r"required: COMMAND"),
    (["info", "--bogus", "{demo}"], 2, r"^$", r"unrecognized arguments: --bogus"),
    (["dump", "{demo}", "--family", "nope"], 2, r"^$", r"invalid choice: 'nope'"),
    (["dump", "{demo}", "--index", "1"], 2, r"^$", r"--index needs --family"),
    (["info", "{demo}"], 0, r"records: 1 scene, 2 part sources, 1 annotation source, 1 viewport "
     r"source, 4 parts, .*\n  scene 0: \"orbit\", 24 frames \(0\.\.23 by 1\) at 12 fps"
     r"(.|\n)*node set 0: 288 nodes in 3-D, 1 variable, with ids\n(.|\n)*element list 0: 96 "
     r"OXR_ELEM_TRILIST, 240 OXR_ELEM_QUADLIST in 2 records", r"^$"),
    (["info", "{demo}"], 0, r"compression: shuffle \+ deflate 9 \(\d+ arrays(.|\n)*viewport 0: "
     r"parts \[0, 1\], camera at \[4\.915, 0, 3\.441\] looking at \[0, 0, 0\], 30 degrees\n",
     r"^$"),
    (["info", "--json", "{demo}", "{demo}"], 0,
     lambda doc: len(doc) == 2 and doc[0]["counts"]["vports"] == 24, r"^$"),
    (["info", "{missing}"], 1, r"^$", r"^oxm: {missing}: No such file or directory\n$"),
    (["info", "{folder}"], 1, r"^$", r"^oxm: {folder}: Is a directory\n$"),
    (["info", "{text}"], 1, r"^$", r"^oxm: {text}: not an HDF5 file\n$"),
    (["info", "{plain}"], 1, r"^$", r"^oxm: {plain}: not a scene file \(an HDF5 file without"),
    (["info", "--json", "{missing}", "{demo}"], 1,
     lambda doc: doc[0] == {"file": doc[0]["file"], "error": "No such file or directory"}
     and doc[1]["counts"]["parts"] == 4, r"No such file"),
    (["info", "--json", "{damaged}"], 1,
     lambda doc: ["error" in p for p in doc["parts"]] == [False] * 4 + [True] * 3,
     r"\A(?!.*library)(.|\n)*some records cannot be read"),
    (["-v", "info", "{damaged}"], 1, r"part 6: unreadable",
     r"oxm: library: scn_read_part_info: error opening group '/top/Parts/part_6'"),
    (["dump", "{demo}", "--family", "node_sets", "--index", "-1"], 0,
     r"coords: float32\[288, 3\] min -?[\d.]+ max [\d.]+: ", r"^$"),
    (["dump", "{demo}", "--header"], 0, r"\A(?!(.|\n)*coords)(.|\n)*OXR_VPORT_LOOKFROM: \[", r"^$"),
    (["dump", "{demo}", "--family", "variables", "--json"], 0,
     lambda doc: [v["palette"]["name"] for v in doc["variables"]] == ["cool-warm", "speed"], ""),
    (["dump", "{demo}", "--family", "images", "--full", "--json"], 0,
     lambda doc: len(doc["images"][0]["pixels"]) == 64, ""),
    (["dump", "{damaged}", "--json"], 1,
     lambda doc: doc["parts"][6]["error"].startswith("scn_read_part_info failed"), r"cannot be"),
    (["dump", "{demo}", "--family", "parts", "--index", "9"], 1, r"^$",
     r"parts has no record 9 \(4 records\)"),
    (["dump", "--json", "{text}"], 1, lambda doc: doc["error"] == "not an HDF5 file", ""),
    (["check", "{demo}"], 0, r"^{demo}: no problems found\n$", r"^$"),
    (["check", "--json", "{demo}"], 0, lambda doc: doc == [], r"^$"),
    (["check", "--json", "{missing}", "{damaged}"], 1,
     lambda doc: [d["problem"] for d in doc] == ["No such file or directory"] + [
         f"part_{k} is missing (nParts = 7)" for k in (4, 5, 6)], r"No such file"),
    (["check", "{plain}"], 1, r"^{plain}:/: no /top group: not a scene file\n$", r"^$"),
]


@pytest.mark.parametrize("args,status,out,err", RUNS, ids=[" ".join(r[0]) for r in RUNS])
def test_command(files, capsys, args, status, out, err):
    got = oxm_run(capsys, [a.format(**files) for a in args])
    assert got[0] == status, got
    if callable(out):
        assert out(json.loads(got[1])), got[1]
    else:
        assert re.search(out.format(**{k: re.escape(v) for k, v in files.items()}), got[1]), got[1]
    assert re.search(err.format(**{k: re.escape(v) for k, v in files.items()}), got[2]), got[2]


def test_the_process_prints_one_json_document_and_no_diagnostic(files):
    """As a process (the library prints on the C stdout, below Python's):
    stdout is one JSON document, the diagnostics go to stderr under -v."""
    run = subprocess.run([sys.executable, "-m", "oxm", "-v", "info", "--json", files["damaged"],
                          files["missing"]], capture_output=True, text=True, env=isolated_env())
    assert run.returncode == 1
    assert [d.get("error") is None for d in json.loads(run.stdout)] == [True, False]
    assert "oxm: library: scn_read_part_info: error opening group" in run.stderr


def test_the_console_script_is_main():
    text = open(os.path.join(os.path.dirname(__file__), "..", "pyproject.toml")).read()
    assert re.search(r'^oxm = "oxm\.cli:main"$', text, re.M)


@pytest.mark.parametrize("k,problems", list(enumerate(c[2] for c in CHECKS)),
                         ids=[c[0] for c in CHECKS])
def test_check_finds_each_kind_of_problem(files, capsys, k, problems):
    bad = os.path.join(os.path.dirname(files["demo"]), f"bad{k}.h5")
    status, out, _ = oxm_run(capsys, ["check", "--json", bad])
    found = sorted((d["path"], d["problem"]) for d in json.loads(out))
    assert status == 1 and len(found) == len(problems), found
    for (path, problem), (want_path, pattern) in zip(found, sorted(problems)):
        assert path == want_path and re.fullmatch(pattern, problem), (path, problem)
