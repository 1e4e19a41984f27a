"""The files that were loaded: whether each is still what it was when it was read."""

from __future__ import annotations

import os
from typing import NamedTuple, Optional

_Mark = Optional[tuple[int, int, int, int]]


def mark_of(path: str) -> _Mark:
    """What tells a file from a later one at its place; None if there is none."""
    try:
        found = os.stat(path)
    except OSError:
        return None
    return found.st_dev, found.st_ino, found.st_size, found.st_mtime_ns


class ShownFile(NamedTuple):
    """A file, as it was before it was read."""

    path: str
    mark: _Mark

    @staticmethod
    def at(path: str) -> ShownFile:
        return ShownFile(path, mark_of(path))

    def state(self) -> str:
        """ "same", "changed" or "gone"."""
        present = mark_of(self.path)
        if present is None:
            return "gone"
        return "same" if present == self.mark else "changed"


def states_of(files: tuple[ShownFile, ...]) -> list[dict[str, str]]:
    return [{"path": file.path, "state": file.state()} for file in files]
