import pytest

from scnlib import lib


@pytest.fixture
def c_out(capfd):
    """Returns a function giving what the library printed since the last
    call (C stdout is flushed first)."""

    def read():
        lib.flush()
        return capfd.readouterr().out

    read()
    return read
