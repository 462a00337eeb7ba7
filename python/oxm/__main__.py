import sys

from oxm.cli import main

sys.exit(main())
