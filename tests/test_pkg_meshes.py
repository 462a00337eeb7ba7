"""Meshes out of scene files (meshio, pyvista, VTK's own reader of the VTU
that meshio writes) and in (from_meshio)."""
import sys

import numpy as np
import pytest

import oxm

meshio = pytest.importorskip("meshio", reason="meshio is not installed")

E = oxm.ElemType
# element type, connectivity as written, (meshio type, cells) it gives
RECORDS = [
    (E.OXR_ELEM_TRILIST, [[0, 1, 2], [1, 3, 2]], [("triangle", [[0, 1, 2], [1, 3, 2]])]),
    (E.OXR_ELEM_QUADLIST, [[0, 1, 3, 2]], [("quad", [[0, 1, 3, 2]])]),
    (E.OXR_ELEM_POLYGONS, [[0, 1, 2], [0, 1, 3, 2]],
     [("polygon", [[0, 1, 2]]), ("polygon", [[0, 1, 3, 2]])]),
    (E.OXR_ELEM_TRISTRIP, [[0, 1, 2, 3]], [("triangle", [[0, 1, 2], [2, 1, 3]])]),
    (E.OXR_ELEM_LINESTRIP, [[0, 1, 3]], [("line", [[0, 1], [1, 3]])]),
    (E.OXR_ELEM_QUADSTRIP, [[0, 1, 2, 3, 4, 5]], [("quad", [[0, 1, 3, 2], [2, 3, 5, 4]])]),
    (E.OXR_ELEM_TETLIST, [[0, 1, 2, 4]], [("tetra", [[0, 1, 2, 4]])]),
]
POINTS = np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0], [0, 0, 1], [1, 0, 1]], float)


@pytest.fixture
def scene_file(tmp_path):
    path = tmp_path / "mesh.h5"
    with oxm.create(path) as w:
        w.variable(name="t")
        w.variable(name="u", kind=3101, centering=3001)
        w.node_set(coords=POINTS, ids=range(10, 16), n_vars=1)
        w.node_var(0, 0, 0, np.arange(6) * 1.5)
        w.elem_list(n_records=len(RECORDS), n_vars=1, has_ids=True)
        w.elem_list_var(0, 0, 1)
        for rec, (etype, conn, _) in enumerate(RECORDS):
            w.elem(0, rec, etype, conn, ids=100 * rec + np.arange(len(conn)))
            w.elem_var(0, rec, 0, 1, np.full((len(conn), 3), rec))
        w.geom(node_set=0, elem_list=0)
    return path


def test_to_meshio_maps_every_record_to_its_cells(scene_file):
    with oxm.open(scene_file) as f:
        mesh = f.to_meshio(0)
    assert [(c.type, c.data.tolist()) for c in mesh.cells] == [
        block for _, _, blocks in RECORDS for block in blocks]
    assert mesh.point_data["t"].tolist() == (np.arange(6) * 1.5).tolist()
    assert mesh.point_data["node_ids"].tolist() == list(range(10, 16))
    cells_of = [(rec, len(cells)) for rec, (_, _, blocks) in enumerate(RECORDS)
                for _, cells in blocks]
    assert [u[:, 0].tolist() for u in mesh.cell_data["u"]] == [[rec] * n for rec, n in cells_of]
    strip_ids = mesh.cell_data["element_ids"][5].tolist()  # a strip's cells keep its id
    assert strip_ids == [400, 400]


def test_vtu_reads_back_in_meshio_and_vtk(scene_file, tmp_path):
    with oxm.open(scene_file) as f:
        f.to_meshio(0).write(tmp_path / "m.vtu")
    back = meshio.read(tmp_path / "m.vtu")
    assert np.allclose(back.points, POINTS)
    assert sum(len(c.data) for c in back.cells) == 12
    vtk = pytest.importorskip("vtk", reason="vtk is not installed")
    reader = vtk.vtkXMLUnstructuredGridReader()
    reader.SetFileName(str(tmp_path / "m.vtu"))
    reader.Update()
    grid = reader.GetOutput()
    assert [grid.GetCellType(i) for i in range(grid.GetNumberOfCells())] == \
        [5, 5, 9, 7, 7, 5, 5, 3, 3, 9, 9, 10]
    assert grid.GetPointData().GetArray("t").GetValue(5) == 7.5


def test_to_pyvista_carries_the_same_cells(scene_file):
    pytest.importorskip("pyvista", reason="pyvista is not installed")
    with oxm.open(scene_file) as f:
        grid = f.to_pyvista(0)
    assert grid.celltypes.tolist() == [5, 5, 9, 7, 7, 5, 5, 3, 3, 9, 9, 10]
    assert grid.cell_data["element_ids"].tolist()[:3] == [0, 1, 100]


def test_from_meshio_writes_a_complete_scene_file(tmp_path):
    mesh = meshio.Mesh(POINTS[:, :2], [("triangle", [[0, 1, 2]]), ("quad", [[0, 1, 3, 2]]),
                                       ("polygon", [[0, 1, 3, 5, 4]])],
                       point_data={"h": np.arange(6.0), "node_ids": np.arange(6) + 1},
                       cell_data={"flux": [np.ones((1, 3)), np.zeros((1, 3)), np.ones((1, 3))]})
    oxm.from_meshio(mesh, tmp_path / "in.h5", name="plate")
    with oxm.open(tmp_path / "in.h5") as f:
        part, scene = f.parts[0], f.scenes[0]
        assert (part.name, f.reps[part.static_rep].geoms.tolist()) == ("plate", [0])
        assert (scene.n_frames, scene.parts[0].source_indices.tolist()) == (1, [0])
        assert f.part_sources[0].indices.tolist() == [0] and f.vports[0].parts.tolist() == [0]
        h, flux = f.variables
        assert (h.name, h.kind, h.minimum, h.maximum, h.palette.name) == ("h", 3100, 0, 5, "default")
        assert (flux.kind, flux.centering, flux.maximum.tolist()) == (3101, 3001, [1, 1, 1])
        assert f.geoms[0].maximum.tolist() == [1, 1, 0]
        assert f.node_sets[0].ids.tolist() == list(range(1, 7))
        back = f.to_meshio(0)
    assert [(c.type, c.data.tolist()) for c in back.cells] == [
        (c.type, c.data.tolist()) for c in mesh.cells]
    assert back.cell_data["flux"][1].tolist() == [[0, 0, 0]]


def test_data_that_is_no_variable_is_refused(tmp_path):
    mesh = meshio.Mesh(POINTS, [("vertex", [[0]])], point_data={"m": np.zeros((6, 4))})
    with pytest.raises(ValueError, match="'m'"):
        oxm.from_meshio(mesh, tmp_path / "x.h5")


def test_missing_optional_package_names_the_extra(scene_file, monkeypatch):
    monkeypatch.setitem(sys.modules, "pyvista", None)
    with oxm.open(scene_file) as f, pytest.raises(ImportError, match=r"scnapi\[pyvista\]"):
        f.to_pyvista(0)
