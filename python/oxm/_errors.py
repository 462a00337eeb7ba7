"""The package's exception and warning."""
from typing import Optional, Sequence


class ScnError(RuntimeError):
    """A library call failed. ``entry`` is the C entry, ``status`` its
    result and ``diagnostics`` the lines the library printed during the
    operation; the message ends with the last of them."""

    def __init__(self, message: str, diagnostics: Sequence[str] = (),
                 entry: Optional[str] = None, status: Optional[int] = None) -> None:
        self.diagnostics = list(diagnostics)
        self.entry = entry
        self.status = status
        if self.diagnostics:
            message = f"{message}: {self.diagnostics[-1]}"
        super().__init__(message)


class ScnWarning(UserWarning):
    """A read succeeded but the library printed diagnostics (for example an
    optional item of a record that could not be read). ``diagnostics``
    holds the lines."""

    def __init__(self, diagnostics: Sequence[str]) -> None:
        self.diagnostics = list(diagnostics)
        super().__init__("; ".join(self.diagnostics))
