from scnlib import close, h5dump, open_read, open_write, lib


def test_smoke(tmp_path, c_out):
    p = tmp_path / "a.h5"
    h = open_write(p)
    assert h.contents.fileId >= 0
    assert close(h) == 0 and not h
    t = h5dump(p)
    assert t["/top"]["attrs"]["scn_api_version"]["text"] == "2.00.00"
    r = open_read(p)
    assert lib.scn_read_scene_num(r) == 0
    assert close(r) == 0
    assert c_out() == ""
