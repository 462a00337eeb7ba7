"""The oxm command: ``oxm COMMAND ...``; ``main(argv)`` runs it in-process
and returns the exit status."""
from ._main import COMMANDS, main

__all__ = ["COMMANDS", "main"]
