"""oxm convert (scene file to meshes and back, every step of a part source)
and oxm demo (what the sample scene holds)."""
import json
import re
import subprocess
import sys
import xml.etree.ElementTree as ET

import numpy as np
import pytest

import oxm
from oxm.cli import main
from oxm.demo import build_demo
from scnlib import isolated_env

meshio = pytest.importorskip("meshio", reason="meshio is not installed")
SMALL = dict(nu=24, nv=12, states=2, frames=24)


@pytest.fixture(scope="module")
def demo(tmp_path_factory):
    path = tmp_path_factory.mktemp("convert") / "demo.h5"
    build_demo(path, **SMALL)
    return path


def _geometry(path, node_set=0):
    """What a round trip keeps: coordinates, each record's connectivity,
    node and element values, ids."""
    with oxm.open(path) as f:
        nodes, elems = f.node_sets[node_set], f.elem_lists[0]
        return {"coords": nodes.coords, "node values": nodes.vars[0].values,
                "node ids": nodes.ids,
                **{f"record {r.index}": (int(r.elem_type), r.connectivity, r.values[0], r.ids)
                   for r in elems.records}}


def _same(a, b):
    assert a.keys() == b.keys()
    for key in a:
        for x, y in zip(*(v if isinstance(v, tuple) else (v,) for v in (a[key], b[key]))):
            assert np.array_equal(x, y), key


@pytest.mark.parametrize("via", ["vtu", "vtk", "xdmf"])
def test_a_scene_file_round_trips_through_a_mesh_file(demo, tmp_path, capsys, via):
    mesh, back = str(tmp_path / f"demo.{via}"), str(tmp_path / "back.h5")
    assert main(["convert", str(demo), mesh]) == 0
    assert main(["convert", mesh, back]) == 0
    _same(_geometry(demo), _geometry(back))
    assert main(["check", back]) == 0, capsys.readouterr().out


def test_all_steps_make_a_paraview_collection(demo, tmp_path):
    assert main(["convert", str(demo), str(tmp_path / "run.vtu"), "--all-steps"]) == 0
    sets = ET.parse(tmp_path / "run.pvd").getroot().findall("./Collection/DataSet")
    assert [(d.get("timestep"), d.get("file")) for d in sets] == [
        ("0", "run_0000.vtu"), ("0.5", "run_0001.vtu")]
    with oxm.open(demo) as f:  # step k: the body of state k, its node set k
        for k, d in enumerate(sets):
            mesh = meshio.read(tmp_path / d.get("file"))
            assert np.array_equal(mesh.points, f.node_sets[k].coords)
            assert np.array_equal(mesh.point_data["temperature"], f.node_sets[k].vars[0].values)
            assert [c.type for c in mesh.cells] == ["triangle", "quad"]


def test_all_steps_make_an_xdmf_time_series_with_the_motion_as_displacement(demo, tmp_path):
    out = tmp_path / "run.xdmf"
    assert main(["convert", str(demo), str(out), "--all-steps"]) == 0
    read = subprocess.run([sys.executable, "-c", f"""if 1:
        import json, meshio
        r = meshio.xdmf.TimeSeriesReader({str(out)!r})
        points, cells = r.read_points_cells()
        steps = [r.read_data(k) for k in range(r.num_steps)]
        print(json.dumps([len(points), [t for t, _, _ in steps],
                          [float(abs(p["displacement"]).max()) for _, p, _ in steps]]))
        """], capture_output=True, text=True, env=isolated_env())
    assert read.returncode == 0, read.stderr
    count, times, moved = json.loads(read.stdout)
    with oxm.open(demo) as f:
        shift = np.abs(f.node_sets[1].coords - f.node_sets[0].coords).max()
    assert (count, times) == (288, [0.0, 0.5]) and moved == pytest.approx([0.0, shift])


CONVERT_ERRORS = [  # args, the line on standard error
    (["{demo}", "{tmp}/x.foo"], r"x\.foo: no mesh format has the extension '\.foo'"),
    (["{demo}", "{tmp}/x.vtk", "--all-steps"], r"--all-steps writes a \.pvd collection"),
    (["{demo}", "{tmp}/x.vtu", "--geom", "9"], r"no geom 9 \(4 geoms\)"),
    (["{demo}", "{tmp}/x.pvd", "--all-steps", "--source", "5"], r"no part source 5"),
    (["{tmp}/none.vtu", "{tmp}/x.h5"], r"none\.vtu: No such file or directory"),
    (["{demo}", "{demo_xdmf}"], r"demo\.xdmf: its data would go to .*demo\.h5, the scene file "
                                r"being converted"),
]


@pytest.mark.parametrize("args,err", CONVERT_ERRORS, ids=[" ".join(a) for a, _ in CONVERT_ERRORS])
def test_convert_refuses_with_one_line(demo, tmp_path, capsys, args, err):
    names = dict(demo=demo, tmp=tmp_path, demo_xdmf=demo.with_suffix(".xdmf"))
    assert main(["convert"] + [a.format(**names) for a in args]) == 1
    lines = capsys.readouterr().err.splitlines()
    assert len(lines) == 1 and re.search(err, lines[0]), lines


def test_the_sample_scene_holds_what_it_promises(tmp_path, capsys):
    """The full-size demo: a body of tens of thousands of nodes with
    triangle and quad records, a scalar and a vector with extents and
    palettes, two parts with reps and render attributes, viewports with a
    camera, an annotation plane with a text and a legend, an image, a note,
    a scene of 24 frames over part and viewport sources; clean for check."""
    path = str(tmp_path / "demo.h5")
    assert main(["demo", path]) == 0
    assert re.search(r"wrote .*demo\.h5 in [\d.]+ s", capsys.readouterr().err)
    E, V = oxm.ElemType, oxm.VarKind
    with oxm.open(path) as f:
        assert f.node_sets[0].n_nodes >= 20000
        assert [r.elem_type for r in f.elem_lists[0].records] == [E.OXR_ELEM_TRILIST,
                                                                  E.OXR_ELEM_QUADLIST]
        assert [(v.kind, v.minimum is not None, v.palette is not None) for v in f.variables] \
            == [(V.OXR_VAR_SCALAR, True, True), (V.OXR_VAR_VECTOR, True, True)]
        assert {p.name for p in f.parts} == {"body", "outline"}
        assert [f.reps[p.static_rep].rend_attr for p in f.parts[:2]] == [0, 1]
        assert f.rend_attrs[0].attrs["OXR_RENDATTR_COLORBYVAR"] == 0
        assert {"OXR_VPORT_LOOKFROM", "OXR_VPORT_PERANG", "OXR_VPORT_PROJTYPE"} <= set(
            f.vports[0].attrs)
        assert [a.annot_type for a in f.annots] == [oxm.AnnotType.OXR_ANNOT_TEXT,
                                                    oxm.AnnotType.OXR_ANNOT_LEGEND]
        assert f.aplanes[0].annots.tolist() == [0, 1]
        assert f.images[0].pixels.shape == (64, 96, 3) and f.notes[0].length > 0
        scene = f.scenes[0]
        assert scene.n_frames == 24 and len(f.vport_sources[0].indices) == 24
        assert scene.parts[0].step_nums.tolist() == [0] * 8 + [1] * 8 + [2] * 8
    assert main(["check", path]) == 0
