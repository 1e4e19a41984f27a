"""The store of the process, reached through the class that the module registers.

An object of this package keeps the host object it was made through, and works through a new one at
every call. The two reach the same store unless ``clean`` dropped it in between: the old host object
goes on showing the dropped store, the new one shows the present store. That is how an object knows
that it is gone although the numbers of the present store begin at 1 again.
"""

from __future__ import annotations

import importlib
import math
import os
import threading
from typing import Any

import vormel

_SignalRepository: Any = importlib.import_module("vormel.Dravik.kvr").SignalRepository


# Two threads that move the date of one run at a time would each take the store for another one.
_looking = threading.RLock()


def _renew_lock() -> None:
    """In a new process: whoever held the lock is not there."""
    global _looking
    _looking = threading.RLock()


os.register_at_fork(after_in_child=_renew_lock)


def connect() -> Any:
    """A new host object, which reaches the present store."""
    return _SignalRepository()


def is_missing(error: vormel.Error, *words: str) -> bool:
    """Whether the store said that something does not exist, with one of the words."""
    return error.identifier == "KVR:kvr:NON_EXISTENT" and error.word in words


def is_scratch_failure(error: vormel.Error) -> bool:
    """Whether the store could not write the scratch file; it says so in these words."""
    return error.identifier == "KVR:kvr:INPUT_MISMATCH" and error.word == "timeseries"


def same_store(one: Any, other: Any, run: int) -> bool:
    """Whether two host objects reach the same store; False as well if `run` is not in both.

    The store tells nothing about itself that another store could not tell, not even its dates, for
    a program sets those. So the date of the run is moved by its last bit through the one, looked
    for through the other, and put back.
    """
    try:
        with _looking:
            return _moves_together(one, other, run)
    except vormel.CallError:
        raise
    except vormel.Error:
        return False  # the run is missing on one side, or `one` was cleaned through and is dead


def _moves_together(one: Any, other: Any, run: int) -> bool:
    date = float(one.getDateCreated(run))
    if not _same_number(float(other.getDateCreated(run)), date):
        return False
    moved = math.nextafter(date, math.inf) if math.isfinite(date) else 0.0
    try:
        one.setDateCreated(run, moved)
        return float(other.getDateCreated(run)) == moved
    finally:
        one.setDateCreated(run, date)


def _same_number(one: float, other: float) -> bool:
    return one == other or (math.isnan(one) and math.isnan(other))


def numbers(value: Any) -> list[int]:
    """The ids that the store gave: none, one number, or a row of them."""
    size = getattr(value, "size", 1)
    return [int(value)] if size == 1 else [int(number) for number in value.ravel()]
