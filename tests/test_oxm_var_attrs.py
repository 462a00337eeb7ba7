"""The attribute dictionaries of viewports and render attributes (Python 3
and 2.7)."""
import numpy as np
import pytest

import _oxm as O
from oxm_files import RENDATTR, VPORT, Writer, key_order, text


def f(*values):
    return [float(v) for v in values]


NAMES = {getattr(O, n): n for n in dir(O) if n.startswith(("OXR_VPORT_", "OXR_RENDATTR_"))}
# (owner kind, tag, stored values, expected value): one tag of each conversion
# rule (and of each array length) plus edge cases; each on its own record.
ATTRS = [
    (RENDATTR, O.OXR_RENDATTR_ISVISIBLE, [1], True),
    (RENDATTR, O.OXR_RENDATTR_ISVISIBLE, [2], False),  # only 1 is true
    (VPORT, O.OXR_VPORT_BOUNDSZLABELS, [1], True),
    (RENDATTR, O.OXR_RENDATTR_COLORBYVAR, [-5], -5),
    (VPORT, O.OXR_VPORT_NUMLIGHTS, [3], 3),
    (RENDATTR, O.OXR_RENDATTR_ELEMENTREP, [1003], 1003),
    (RENDATTR, O.OXR_RENDATTR_ELEMENTREP, [1006], None),  # outside the tag's values
    (RENDATTR, O.OXR_RENDATTR_MIRRORAXES, [128], 128),
    (RENDATTR, O.OXR_RENDATTR_MIRRORAXES, [3], None),  # a combination of planes
    (RENDATTR, O.OXR_RENDATTR_NODEREP, [1608], None),  # a bitmap shape
    (VPORT, O.OXR_VPORT_PROJTYPE, [20], 20),
    (VPORT, O.OXR_VPORT_PROJTYPE, [25], None),
    (RENDATTR, O.OXR_RENDATTR_LINEWIDTH, f(2.5), 2.5),
    (VPORT, O.OXR_VPORT_ZNEAR, f(0.25), 0.25),
    (VPORT, O.OXR_VPORT_POSITION, f(1, 2), f(1, 2)),
    (RENDATTR, O.OXR_RENDATTR_TRACERRGB, f(1, 0, 1), f(1, 0, 1)),
    (RENDATTR, O.OXR_RENDATTR_RGBA2D0, f(1, 2, 3, 4), f(1, 2, 3, 4)),
    (VPORT, O.OXR_VPORT_LIGHTPOS, f(*range(8)), f(*range(8))),
    (VPORT, O.OXR_VPORT_ROTMAT, f(*range(16)), f(*range(16))),  # matrices stay flat
    (VPORT, O.OXR_VPORT_BOUNDSYLABELFORMAT, b"F" * 16, "F" * 16),  # whole field, no terminator
    (VPORT, O.OXR_VPORT_AXISFONTFAMILY, b"A" * 40, "A" * 40),
    (VPORT, O.OXR_VPORT_BOUNDS_FONTFAMILY, u"D\xfcsseldorf".encode("utf-8"),
     text(u"D\xfcsseldorf".encode("utf-8"))),
    (RENDATTR, O.OXR_RENDATTR_VARLABELFORMAT, b"%g", None),  # not converted
    (VPORT, O.OXR_VPORT_AXISLABELSCALE, f(3), None),
]


@pytest.fixture(scope="module")
def attr_oxm(tmp_path_factory):
    p = tmp_path_factory.mktemp("attrs") / "attrs.h5"
    with Writer(p) as w:
        for i, (kind, tag, stored, _) in enumerate(ATTRS, start=1):
            w.vport_parts(i, []) if kind == VPORT else w.rendAttr(i)
            w.attrs(kind, i, [(tag, stored)])
        w.rendAttr(100)
        w.attrs(RENDATTR, 100, [(O.OXR_RENDATTR_ISVISIBLE, [1]), (O.OXR_RENDATTR_NUMINSTANCE, [2]),
                                (O.OXR_RENDATTR_INSTANCE, f(*range(32))),
                                (O.OXR_RENDATTR_LINEWIDTH, f(1.5))])
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
        w.attrs(RENDATTR, 104, [(O.OXR_RENDATTR_LINEWIDTH, f(1)), (O.OXR_RENDATTR_LINEWIDTH, f(2))])
        # Instances added before their count: stored without values, read in
        # full from their offset (the colour added after them, then zeros).
        w.rendAttr(105)
        w.attrs(RENDATTR, 105, [(O.OXR_RENDATTR_INSTANCE, []), (O.OXR_RENDATTR_NUMINSTANCE, [2]),
                                (O.OXR_RENDATTR_RGBA2D, f(1, 2, 3, 4))])
    return O.oxm(str(p))


@pytest.mark.parametrize("index", range(1, len(ATTRS) + 1),
                         ids=["{}={!r:.12}".format(a[1], a[2]) for a in ATTRS])
def test_attr_conversion(attr_oxm, index):
    kind, tag, _, expected = ATTRS[index - 1]
    result = (attr_oxm.vportAttrs if kind == VPORT else attr_oxm.rendAttrs)(index)
    assert list(result) == [NAMES[tag]]
    value = result[NAMES[tag]]
    if isinstance(expected, list):
        assert isinstance(value, np.ndarray) and value.dtype == np.float32
        assert value.shape == (len(expected),) and value.tolist() == expected
    else:
        assert type(value) is type(expected) and value == expected


def test_instances_and_repeated_tags(attr_oxm):
    result = attr_oxm.rendAttrs(100)
    assert key_order(result) == key_order(["OXR_RENDATTR_ISVISIBLE", "OXR_RENDATTR_NUMINSTANCE",
                                           "OXR_RENDATTR_INSTANCE", "OXR_RENDATTR_LINEWIDTH"])
    inst = result["OXR_RENDATTR_INSTANCE"]
    assert inst.dtype == np.float32 and inst.shape == (2, 4, 4)
    assert inst.ravel().tolist() == f(*range(32))
    assert result["OXR_RENDATTR_NUMINSTANCE"] == 2 and result["OXR_RENDATTR_LINEWIDTH"] == 1.5
    # a later attribute replaces an earlier one of the same name
    assert attr_oxm.rendAttrs(102) == {"OXR_RENDATTR_NUMINSTANCE": -1,
                                       "OXR_RENDATTR_INSTANCE": None}
    assert attr_oxm.rendAttrs(103) == {"OXR_RENDATTR_NUMINSTANCE": 1}
    assert attr_oxm.rendAttrs(104) == {"OXR_RENDATTR_LINEWIDTH": 2.0}
    before = attr_oxm.rendAttrs(105)
    assert before["OXR_RENDATTR_INSTANCE"].shape == (2, 4, 4)
    assert before["OXR_RENDATTR_INSTANCE"].ravel().tolist() == f(1, 2, 3, 4) + [0.0] * 28
    assert before["OXR_RENDATTR_RGBA2D"].tolist() == f(1, 2, 3, 4)
