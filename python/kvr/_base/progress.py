"""Reports the progress of a comparison."""

from __future__ import annotations

import sys
import time
from collections.abc import Callable
from typing import Union

Progress = Union[None, bool, Callable[[int, int], object]]
_WIDTH = 40
_PAUSE = 0.1  # seconds between two looks of the bar


def reporter(progress: Progress, total: int) -> Callable[[int], object]:
    """A function of how many are done. False is no progress, as None."""
    if progress is None or progress is False:
        return lambda done: None
    if progress is True:
        return _bar(total)
    if not callable(progress):
        raise TypeError(f"progress must be a callable or True, not {progress!r}")
    call = progress
    return lambda done: call(done, total)


def _bar(total: int) -> Callable[[int], object]:
    """A bar on standard error, if that is a terminal; it goes away when all is done."""
    if not sys.stderr.isatty():
        return lambda done: None
    drawn = 0.0

    def draw(done: int) -> None:
        nonlocal drawn
        now = time.monotonic()
        if done < total and now - drawn < _PAUSE:
            return
        drawn = now
        filled = _WIDTH * done // max(total, 1)
        bar = f"\r[{'#' * filled}{'.' * (_WIDTH - filled)}] {done} of {total} "
        sys.stderr.write(bar if done < total else "\r\033[K")
        sys.stderr.flush()

    return draw
