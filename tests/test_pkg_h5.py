"""oxm._h5, the look at a file's HDF5 structure, against h5py's view of the
same file (read in a separate process)."""
import numpy as np
import pytest

import oxm
from oxm import _h5
from oxm.demo import build_demo
from scnlib import h5dump

DTYPES = {"int32": ("int", 4), "float32": ("float", 4), "int8": ("int", 1)}


@pytest.fixture(scope="module")
def demo(tmp_path_factory):
    path = str(tmp_path_factory.mktemp("h5") / "demo.h5")
    build_demo(path, nu=24, nv=12, states=2, frames=24)
    return path


def test_every_object_attribute_and_dataset_is_seen_as_h5py_sees_it(demo):
    tree = h5dump(demo)
    with _h5.File(demo) as h5:
        assert dict(h5.walk("/")) == {p: e["type"] for p, e in tree.items() if p != "/"}
        for path, entry in tree.items():
            assert sorted(h5.attr_names(path)) == sorted(entry["attrs"])
            for name, a in entry["attrs"].items():
                found = h5.attr(path, name)
                assert (found.type.cls, found.type.size) == DTYPES[a["dtype"]]
                assert list(found.type.shape) == a["shape"]
                value = found.value
                assert (value.split(b"\0", 1)[0].decode() == a["text"] if "text" in a
                        else np.ravel(value).tolist() == np.ravel(a["value"]).tolist())
            if entry["type"] == "dataset":
                info = h5.dataset(path)
                assert (list(info.type.shape), info.chunks and list(info.chunks)) == (
                    entry["shape"], entry["chunks"])
                assert [n for n, _ in info.filters] == entry["filters"]
                assert h5.read(path, np.float32).tolist() == pytest.approx(
                    np.ravel(entry["value"]).tolist())


def test_absent_objects_and_files(demo, tmp_path):
    with _h5.File(demo) as h5:
        assert (h5.kind("/top/None/x"), h5.attr("/top", "none"), h5.dataset("/top")) == (
            None, None, None)
        with pytest.raises(ValueError, match="no dataset"):
            h5.read("/top/Parts", np.int32)
    (tmp_path / "x.txt").write_text("x")
    assert not _h5.is_hdf5(str(tmp_path / "x.txt")) and not _h5.is_hdf5(str(tmp_path / "no"))
    with pytest.raises(OSError, match="cannot be opened"):
        _h5.File(str(tmp_path / "x.txt"))


def test_several_geoms_make_one_mesh(demo):
    """Geoms 0 and 1 (body and outline of state 0) share node set 0: their
    points come one after the other, the outline's cells renumbered, and
    only the data both have is kept."""
    pytest.importorskip("meshio", reason="meshio is not installed")
    with oxm.open(demo) as f:
        body, outline, both = f.to_meshio(0), f.to_meshio(1), f.to_meshio([0, 1])
    n = len(body.points)
    assert np.array_equal(both.points, np.concatenate([body.points, outline.points]))
    assert [(c.type, c.data.tolist()) for c in both.cells] == [
        (c.type, c.data.tolist()) for c in body.cells] + [
        (c.type, (c.data + n).tolist()) for c in outline.cells]
    assert sorted(both.point_data) == ["node_ids", "temperature"] and both.cell_data == {}
