"""The large pair of which a worker compares parts: opened and paired once, not for each part.

A pair is kept for the parts that follow, and for a few seconds only: the worker may belong to a cluster
that goes on. Each thread of a worker has a pair of its own, for files are read by one thread at a time.
"""

from __future__ import annotations

import threading
from collections.abc import Hashable
from typing import NamedTuple

from kvr._comparing.pairing import Pairs
from kvr._files.opening import OpenRun

_SECONDS = 5.0


class Opened(NamedTuple):
    """Both runs, and which of their signals belong together."""

    baseline: OpenRun
    other: OpenRun
    pairs: Pairs


class Kept:
    """Opened pairs that no thread uses now, by what decides them."""

    def __init__(self) -> None:
        self._lock = threading.Lock()
        self._pairs: dict[Hashable, list[Opened]] = {}
        self._timer: threading.Timer | None = None

    def take(self, key: Hashable) -> Opened | None:
        """The pair of this key, which is then the caller's; pairs of other keys are let go."""
        with self._lock:
            found = self._pairs.get(key, [])
            taken = found.pop() if found else None
            self._pairs = {key: found} if found else {}
        return taken

    def keep(self, key: Hashable, opened: Opened) -> None:
        with self._lock:
            self._pairs.setdefault(key, []).append(opened)
            if self._timer:
                self._timer.cancel()
            self._timer = threading.Timer(_SECONDS, self.clear)
            self._timer.daemon = True
            self._timer.start()

    def clear(self) -> None:
        with self._lock:
            self._pairs.clear()


kept = Kept()
