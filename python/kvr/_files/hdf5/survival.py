"""Tries in a child process work that may crash.

The HDF5 library is written in C: on some damaged files it crashes or does not return. A forked child
does the work first. If the child does not finish, the file is damaged, and this process does not read
it.
"""

from __future__ import annotations

import faulthandler
import os
import resource
from collections.abc import Callable
from contextlib import suppress

from kvr._base.packages import need


_SECONDS = 5
_BYTES_A_SECOND = 10_000_000  # far slower than any disk or decompression


def survives(work: Callable[[], object], size: int) -> bool:
    """Whether a forked child gets to the end of the work, also by an exception.

    `size` is the greatest number of bytes that the work reads; it sets the limit of processor time.

    Costs a fork and the work itself. Raises OSError if no process can be made.
    """
    # Held over the fork, so that no other thread leaves it locked in the child.
    with need("h5py._hl.base", "HDF5").phil:
        child = os.fork()
        if child == 0:
            _work_and_end(work, _SECONDS + size // _BYTES_A_SECOND)
    _, status = os.waitpid(child, 0)
    return status == 0


def _work_and_end(work: Callable[[], object], seconds: int) -> None:
    try:
        faulthandler.disable()  # a crash is a result here and must not be reported
        with suppress(ValueError, OSError):
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds))
        work()
    finally:
        os._exit(0)
