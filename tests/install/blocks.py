#!/usr/bin/python3
"""Writes the code blocks of a document that name a file.

    blocks.py DOCUMENT FOLDER

A block that begins with ```cmake program/CMakeLists.txt becomes that file below the folder.
"""

from __future__ import annotations

import re
import sys
from pathlib import Path

NAMED_BLOCK = re.compile(r"^```\w+ (\S+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def main(document: Path, folder: Path) -> int:
    blocks = NAMED_BLOCK.findall(document.read_text())
    if not blocks:
        print(f"{document} has no block with a file name", file=sys.stderr)
        return 1
    for name, text in blocks:
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
    return 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1]), Path(sys.argv[2])))
