import sys

from oxm.cli import run

sys.exit(run())
