"""varInfo, and the attribute dictionaries of viewports and render
attributes."""
import numpy as np
import pytest

import _oxm
from oxm_files import RENDATTR, TOP, VPORT, Writer
from scnlib import h5build, int_attr, text_attr

O = _oxm
BASE_KEYS = {"varName": str, "varDesc": str, "centering": int, "centeringString": str,
             "kind": int, "kindString": str, "extentsExist": bool, "paletteExist": bool}
PALETTE_KEYS = {"paletteName": str, "interpolation": int, "interpolationString": str,
                "paletteMin": float, "paletteMax": float, "numSamples": int, "colorspace": int,
                "colorspaceString": str, "numAlphaValues": int, "alphaControl": np.ndarray,
                "alphaColors": np.ndarray}
RGB = {"numRedValues": int, "numGreenValues": int, "numBlueValues": int,
       "redControl": np.ndarray, "redColors": np.ndarray, "greenControl": np.ndarray,
       "greenColors": np.ndarray, "blueControl": np.ndarray, "blueColors": np.ndarray}
HSV = {"numHueValues": int, "numSatValues": int, "numValValues": int,
       "hueControl": np.ndarray, "hueColors": np.ndarray, "satControl": np.ndarray,
       "satColors": np.ndarray, "valControl": np.ndarray, "valColors": np.ndarray}


def channels(*counts):
    return [([i / 10 for i in range(n)], [c + i / 100 for i in range(n)])
            for c, n in enumerate(counts)]


# Closing a writer shuts HDF5 down, closing every file still open: both
# files are written before either is opened.
@pytest.fixture(scope="module")
def files(tmp_path_factory):
    d = tmp_path_factory.mktemp("var_attrs")
    write_vars(d / "vars.h5")
    write_attrs(d / "attrs.h5")
    return d


def write_vars(p):
    with Writer(p) as f:
        f.variable(0, "pressure", 3100, desc="static pressure")
        f.variable(1, "p", 3100, lo=[-2.5], hi=[7.0])
        f.variable(2, "velocity", 3101, centering=3001, lo=[1, 2, 3], hi=[4, 5, 6])
        f.variable(3, "z", 3103, lo=[-1.0], hi=[1.0])
        f.variable(4, "rgb", 3100)
        f.palette(4, "rainbow", 10, channels(2, 3, 4, 2), interp=10, lo=-1.0, hi=2.0,
                  samples=64)
        f.variable(5, "hsv", 3101, centering=77)
        f.palette(5, "p" * 40, 20, channels(1, 0, 2, 3), interp=20)
        f.variable(6, "n" * 64, 3105, lo=[1.0], hi=[2.0], desc="d" * 128)


@pytest.fixture(scope="module")
def var_oxm(files):
    return _oxm.oxm(str(files / "vars.h5"))


@pytest.mark.parametrize("var, keys", [
    (0, BASE_KEYS),
    (1, {**BASE_KEYS, "min": float, "max": float}),
    (2, {**BASE_KEYS, "min": np.ndarray, "max": np.ndarray}),
    (3, {**BASE_KEYS, "min": float, "max": float}),
    (4, {**BASE_KEYS, **PALETTE_KEYS, **RGB}),
    (5, {**BASE_KEYS, **PALETTE_KEYS, **HSV}),
    # Kinds without extents layout: the extents read leaves its zeros.
    (6, {**BASE_KEYS, "min": np.ndarray, "max": np.ndarray}),
])
def test_var_keys(var_oxm, var, keys):
    info = var_oxm.varInfo(var)
    assert {k: type(v) for k, v in info.items()} == keys


@pytest.mark.parametrize("var, expected", [
    (0, {"varName": "pressure", "varDesc": "static pressure", "centering": 3000,
         "centeringString": "OXR_CENTER_NODE", "kind": 3100, "kindString": "OXR_VAR_SCALAR",
         "extentsExist": False, "paletteExist": False}),
    (1, {"min": -2.5, "max": 7.0, "extentsExist": True}),
    (2, {"centeringString": "OXR_CENTER_ELEMENT", "kindString": "OXR_VAR_VECTOR"}),
    (3, {"min": -1.0, "max": 1.0, "kindString": "OXR_VAR_COMPLEX_SCALAR"}),
    (4, {"paletteName": "rainbow", "interpolation": 10, "interpolationString": "OXR_PART_BND",
         "paletteMin": -1.0, "paletteMax": 2.0, "numSamples": 64, "colorspace": 10,
         "colorspaceString": "OXR_PART_BND", "numRedValues": 2, "numGreenValues": 3,
         "numBlueValues": 4, "numAlphaValues": 2}),
    # The palette name comes back as its first 31 characters.
    (5, {"centering": 77, "centeringString": "ERROR: Unknown enum.", "paletteName": "p" * 31,
         "interpolationString": "ERROR: Unknown enum.", "colorspaceString":
         "ERROR: Unknown enum.", "numHueValues": 1, "numSatValues": 0, "numValValues": 2,
         "numAlphaValues": 3}),
    (6, {"varName": "n" * 64, "varDesc": "d" * 128, "kindString": "OXR_VAR_PER_PART_CONSTANT"}),
])
def test_var_values(var_oxm, var, expected):
    info = var_oxm.varInfo(var)
    assert {k: info[k] for k in expected} == expected


def test_vector_extents_and_palette_arrays(var_oxm):
    info = var_oxm.varInfo(2)
    assert info["min"].dtype == np.float32 and info["min"].tolist() == [1, 2, 3]
    assert info["max"].tolist() == [4, 5, 6]
    for var, names in [(4, ["red", "green", "blue"]), (5, ["hue", "sat", "val"])]:
        info = var_oxm.varInfo(var)
        counts = [info[k] for k in info if k.startswith("num") and k != "numSamples"]
        for c, (name, n) in enumerate(zip(names + ["alpha"], counts)):
            control, colors = info[name + "Control"], info[name + "Colors"]
            assert control.dtype == colors.dtype == np.float32
            assert control.shape == colors.shape == (n,)
            assert np.allclose(control, [i / 10 for i in range(n)])
            assert np.allclose(colors, [c + i / 100 for i in range(n)])


def test_var_failures(var_oxm, c_out):
    with pytest.raises(RuntimeError, match="^Can't read var info$"):
        var_oxm.varInfo(99)
    assert "scn_read_var_info: error opening group '/top/Vars/var_99'" in c_out()


def var_record(**extra):
    attrs = {"varName": text_attr("v", 64), "varDesc": text_attr("", 128),
             "varCentering": int_attr(3000), "varKind": int_attr(3100),
             "extentsProvided": int_attr(0), "paletteProvided": int_attr(1),
             "paletteName": text_attr("p", 64), "paletteInterp": int_attr(10),
             "colorSpace": int_attr(10), "nSamples": int_attr(2), "nRedOrHue": int_attr(2),
             "nGrnOrSat": int_attr(0), "nBluOrVal": int_attr(0), "nAlpha": int_attr(0)}
    attrs.update({k: int_attr(v) for k, v in extra.items()})
    return {**TOP, "/top/Vars": {"attrs": {"nVars": int_attr(1)}},
            "/top/Vars/var_0": {"attrs": attrs}}


@pytest.mark.parametrize("case, tree", [
    ("channel datasets missing", var_record()),
    ("negative channel count", var_record(nGrnOrSat=-3)),
])
def test_palette_without_colours_still_returns(tmp_path, case, tree):
    p = tmp_path / "pal.h5"
    h5build(p, tree)
    info = _oxm.oxm(str(p)).varInfo(0)
    assert info["paletteExist"] is True and info["numRedValues"] == 2
    assert not any(k.endswith(("Control", "Colors")) for k in info)


# ---- attribute dictionaries ------------------------------------------------

def f(*values):
    return [float(v) for v in values]


NAMES = {getattr(O, n): n for n in dir(O) if n.startswith(("OXR_VPORT_", "OXR_RENDATTR_"))}
# (owner kind, tag, stored values, expected value); each on its own record.
ATTRS = [
    (RENDATTR, O.OXR_RENDATTR_ISVISIBLE, [1], True),
    (RENDATTR, O.OXR_RENDATTR_ISVISIBLE, [2], False),
    (RENDATTR, O.OXR_RENDATTR_TRACERCOLORBY1D, [0], False),
    (VPORT, O.OXR_VPORT_BOUNDSZLABELS, [1], True),
    (RENDATTR, O.OXR_RENDATTR_COLORBYVAR, [-5], -5),
    (VPORT, O.OXR_VPORT_NUMLIGHTS, [3], 3),
    (RENDATTR, O.OXR_RENDATTR_ELEMENTREP, [1003], 1003),
    (RENDATTR, O.OXR_RENDATTR_ELEMENTREP, [1006], None),
    (RENDATTR, O.OXR_RENDATTR_MIRRORAXES, [128], 128),
    (RENDATTR, O.OXR_RENDATTR_MIRRORAXES, [3], None),
    (RENDATTR, O.OXR_RENDATTR_SHOW1D, [8], 8),
    (RENDATTR, O.OXR_RENDATTR_SHOW1D, [16], None),
    (RENDATTR, O.OXR_RENDATTR_SHADETYPE2D0, [1502], 1502),
    (RENDATTR, O.OXR_RENDATTR_COLORBY0DVEC, [1021], 1021),
    (RENDATTR, O.OXR_RENDATTR_COLORBY0DVEC, [1022], None),
    (RENDATTR, O.OXR_RENDATTR_NODEREP, [1607], 1607),
    (RENDATTR, O.OXR_RENDATTR_NODEREP, [1608], None),
    (RENDATTR, O.OXR_RENDATTR_NODESCALESPACE, [1702], None),
    (RENDATTR, O.OXR_RENDATTR_LINEREP, [1805], 1805),
    (RENDATTR, O.OXR_RENDATTR_LINEREP, [1829], None),
    (RENDATTR, O.OXR_RENDATTR_VECTORTIPSTYLE, [20], 20),
    (RENDATTR, O.OXR_RENDATTR_VECTORTIPSTYLE, [30], None),
    (VPORT, O.OXR_VPORT_PROJTYPE, [20], 20),
    (VPORT, O.OXR_VPORT_PROJTYPE, [25], None),
    (VPORT, O.OXR_VPORT_BOUNDSYSUBGRIDTYPE, [30], 30),
    (VPORT, O.OXR_VPORT_BACKGROUNDFILLTYPE, [40], 40),
    (VPORT, O.OXR_VPORT_ZTRANSFORM, [1], 1),
    (VPORT, O.OXR_VPORT_ZTRANSFORM, [2], None),
    (RENDATTR, O.OXR_RENDATTR_LINEWIDTH, f(2.5), 2.5),
    (VPORT, O.OXR_VPORT_ZNEAR, f(0.25), 0.25),
    (VPORT, O.OXR_VPORT_POSITION, f(1, 2), f(1, 2)),
    (RENDATTR, O.OXR_RENDATTR_TRACERRGB, f(1, 0, 1), f(1, 0, 1)),
    (RENDATTR, O.OXR_RENDATTR_RGBA2D0, f(1, 2, 3, 4), f(1, 2, 3, 4)),
    (VPORT, O.OXR_VPORT_LIGHTPOS, f(*range(8)), f(*range(8))),
    (VPORT, O.OXR_VPORT_ROTMAT, f(*range(16)), f(*range(16))),
    (VPORT, O.OXR_VPORT_BOUNDSXLABELFORMAT, b"%8.3f", "%8.3f"),
    (VPORT, O.OXR_VPORT_BOUNDSYLABELFORMAT, b"F" * 16, "F" * 16),
    (VPORT, O.OXR_VPORT_AXISFONTFAMILY, b"A" * 40, "A" * 40),
    (VPORT, O.OXR_VPORT_BOUNDS_FONTFAMILY, "Düsseldorf".encode(), "Düsseldorf"),
    (RENDATTR, O.OXR_RENDATTR_VARLABELFORMAT, b"%g", None),
    (RENDATTR, O.OXR_RENDATTR_CULLFACE2D, [1], None),
    (RENDATTR, O.OXR_RENDATTR_VECTORSCALE, f(3), None),
    (VPORT, O.OXR_VPORT_AXISLABELSCALE, f(3), None),
]


def write_attrs(p):
    with Writer(p) as w:
        w.vport_parts(0, [])
        w.rendAttr(0)
        for i, (kind, tag, stored, _) in enumerate(ATTRS, start=1):
            if kind == VPORT:
                w.vport_parts(i, [])
            else:
                w.rendAttr(i)
            w.attrs(kind, i, [(tag, stored)])
        w.rendAttr(100)
        w.attrs(RENDATTR, 100, [(O.OXR_RENDATTR_ISVISIBLE, [1]),
                                (O.OXR_RENDATTR_NUMINSTANCE, [2]),
                                (O.OXR_RENDATTR_INSTANCE, f(*range(32))),
                                (O.OXR_RENDATTR_LINEWIDTH, f(1.5))])
        w.rendAttr(101)
        w.attrs(RENDATTR, 101, [(O.OXR_RENDATTR_INSTANCE, [])])
        w.rendAttr(102)
        w.attrs(RENDATTR, 102, [(O.OXR_RENDATTR_NUMINSTANCE, [0]),
                                (O.OXR_RENDATTR_NUMINSTANCE, [-1]),
                                (O.OXR_RENDATTR_INSTANCE, [])])
        # The store sizes the instances by the first count, the dictionary
        # by the last: a larger first count must not be read into the array.
        w.rendAttr(103)
        w.attrs(RENDATTR, 103, [(O.OXR_RENDATTR_NUMINSTANCE, [3]),
                                (O.OXR_RENDATTR_NUMINSTANCE, [1]),
                                (O.OXR_RENDATTR_INSTANCE, f(*range(48)))])
        w.rendAttr(104)
        w.attrs(RENDATTR, 104, [(O.OXR_RENDATTR_LINEWIDTH, f(1)),
                                (O.OXR_RENDATTR_LINEWIDTH, f(2))])


@pytest.fixture(scope="module")
def attr_oxm(files):
    return _oxm.oxm(str(files / "attrs.h5"))


@pytest.mark.parametrize("index", range(1, len(ATTRS) + 1),
                         ids=[f"{a[1]}={a[2]!r:.12}" for a in ATTRS])
def test_attr_conversion(attr_oxm, index):
    kind, tag, _, expected = ATTRS[index - 1]
    result = (attr_oxm.vportAttrs if kind == VPORT else attr_oxm.rendAttrs)(index)
    assert list(result) == [NAMES[tag]]
    value = next(iter(result.values()))
    if isinstance(expected, list):
        assert isinstance(value, np.ndarray) and value.dtype == np.float32
        assert value.shape == (len(expected),) and value.tolist() == expected
    else:
        assert type(value) is type(expected) and value == expected


def test_records_without_attributes(attr_oxm):
    assert attr_oxm.vportAttrs(0) == {}
    assert attr_oxm.rendAttrs(0) == {}


def test_instances(attr_oxm):
    result = attr_oxm.rendAttrs(100)
    assert list(result) == ["OXR_RENDATTR_ISVISIBLE", "OXR_RENDATTR_NUMINSTANCE",
                            "OXR_RENDATTR_INSTANCE", "OXR_RENDATTR_LINEWIDTH"]
    inst = result["OXR_RENDATTR_INSTANCE"]
    assert inst.dtype == np.float32 and inst.shape == (2, 4, 4)
    assert inst.ravel().tolist() == f(*range(32))
    assert result["OXR_RENDATTR_NUMINSTANCE"] == 2 and result["OXR_RENDATTR_LINEWIDTH"] == 1.5
    assert attr_oxm.rendAttrs(102) == {"OXR_RENDATTR_NUMINSTANCE": -1,
                                       "OXR_RENDATTR_INSTANCE": None}
    assert attr_oxm.rendAttrs(103) == {"OXR_RENDATTR_NUMINSTANCE": 1}
    assert attr_oxm.rendAttrs(104) == {"OXR_RENDATTR_LINEWIDTH": 2.0}


@pytest.mark.parametrize("method, index, message", [
    ("rendAttrs", 101, "Failed to read numinstances"),
    ("vportAttrs", 555, "Could not get number of vport attributes"),
    ("rendAttrs", 555, "Could not get number of vport attributes"),
])
def test_attr_failures(attr_oxm, c_out, method, index, message):
    with pytest.raises(RuntimeError) as err:
        getattr(attr_oxm, method)(index)
    assert str(err.value) == message


def test_unnamed_tags_share_one_key(tmp_path):
    p = tmp_path / "unnamed.h5"
    rec = {"attrs": {"numAttrs": int_attr(3), "ivalsLen": int_attr(1),
                     "fvalsLen": int_attr(0), "cvalsLen": int_attr(0)}}
    h5build(p, {**TOP, "/top/RendAttrs": {"attrs": {"nRendAttrs": int_attr(1)}},
                "/top/RendAttrs/rendAttr_0": rec,
                "/top/RendAttrs/rendAttr_0/attrTags": {"type": "dataset", "dtype": "int32",
                                                       "value": [1109, 1100, 1110]},
                "/top/RendAttrs/rendAttr_0/attrPtrs": {"type": "dataset", "dtype": "int32",
                                                       "value": [0, 0, 0]},
                "/top/RendAttrs/rendAttr_0/ivals": {"type": "dataset", "dtype": "int32",
                                                    "value": [1]}})
    result = _oxm.oxm(str(p)).rendAttrs(0)
    assert result == {"ERROR: Unknown enum.": None, "OXR_RENDATTR_ISVISIBLE": True}
