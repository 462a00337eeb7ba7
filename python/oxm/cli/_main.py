"""The oxm command's parser and dispatch: one table of subcommands, each a
module with ``add_args(parser)`` and ``run(args) -> int``."""
from __future__ import annotations

import argparse
import os
import sys
import traceback
import warnings
from types import ModuleType
from typing import Any, Optional, Sequence, TextIO, Tuple, Type, Union

from .._errors import ScnError, ScnWarning
from .._version import __version__
from . import _check, _convert, _demo, _dump, _info, _render
from ._common import CliError, fail, library_version

# (name, module): the one place where a command is registered.
COMMANDS: Tuple[Tuple[str, ModuleType], ...] = (
    ("info", _info),
    ("dump", _dump),
    ("check", _check),
    ("convert", _convert),
    ("demo", _demo),
    ("render", _render),
)


def first_line(doc: Optional[str]) -> str:
    return doc.strip().splitlines()[0] if doc else ""


def build_parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="oxm", description="Look into scene files, check them, convert them to and from "
        "meshes, render them, and write a sample one.",
        epilog="'oxm COMMAND --help' tells more about each command.")
    parser.add_argument("--version", action="version",
                        version=f"oxm {__version__} ({library_version()})")
    verbose = dict(action="store_true", help="show the library's diagnostics on standard error")
    parser.add_argument("-v", "--verbose", **verbose)  # type: ignore[arg-type]
    commands = parser.add_subparsers(dest="command", metavar="COMMAND", required=True)
    for name, module in COMMANDS:
        sub = commands.add_parser(name, help=first_line(module.__doc__),
                                  description=module.__doc__,
                                  formatter_class=argparse.RawDescriptionHelpFormatter)
        # -v after the command too; SUPPRESS keeps the parent's value otherwise
        sub.add_argument("-v", "--verbose", default=argparse.SUPPRESS,
                         **verbose)  # type: ignore[arg-type]
        module.add_args(sub)
        sub.set_defaults(run=module.run)
    return parser


def _show_diagnostics(verbose: bool, stream: TextIO) -> Any:
    """The warnings hook of a run: the library's diagnostics on standard
    error under -v, dropped otherwise; other warnings as Python shows
    them."""
    shown = warnings.showwarning

    def show(message: Union[Warning, str], category: Type[Warning], *args: Any,
             **kw: Any) -> None:
        if isinstance(message, ScnWarning):
            if verbose:
                for line in message.diagnostics:
                    print(f"oxm: library: {line}", file=stream)
        else:
            shown(message, category, *args, **kw)
    return show


def main(argv: Optional[Sequence[str]] = None) -> int:
    """Runs ``oxm`` with `argv` (default: the command line); returns the
    exit status: 0 done, 1 a file could not be read or has problems, 2 a
    usage error."""
    try:
        args = build_parser().parse_args(argv)
    except SystemExit as exc:  # --help, --version, usage errors
        return exc.code if isinstance(exc.code, int) else 2
    with warnings.catch_warnings():
        warnings.simplefilter("always", ScnWarning)
        warnings.showwarning = _show_diagnostics(args.verbose, sys.stderr)
        try:
            return int(args.run(args))
        except BrokenPipeError:
            # A closed pipe (oxm ... | head) ends the command quietly; Python
            # flushes stdout again at exit, so point it at /dev/null first.
            devnull = os.open(os.devnull, os.O_WRONLY)
            os.dup2(devnull, sys.stdout.fileno())
            return 1
        except KeyboardInterrupt:
            return 130
        except (CliError, ScnError, OSError, ValueError, ImportError) as exc:
            fail(exc)
            return 1
        except Exception as exc:  # a fault of oxm itself: one line, the trace under -v
            print(f"oxm: internal error: {type(exc).__name__}: {exc}", file=sys.stderr)
            if args.verbose:
                traceback.print_exc()
            return 1
