"""python -m kvr: the command."""

from __future__ import annotations

import sys

from kvr._command.main import main

if __name__ == "__main__":
    sys.exit(main())
