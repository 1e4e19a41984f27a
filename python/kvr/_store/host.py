"""The store of the process, reached through the class that the module registers.

An object of this package keeps the host object it was made through, and works through a new one at
every call. The two reach the same store unless ``clean`` dropped it in between: the old host object
goes on showing the dropped store, the new one shows the present store. That is how an object knows
that it is gone although the numbers of the present store begin at 1 again.
"""

from __future__ import annotations

import importlib
from typing import Any

import vormel

_SignalRepository: Any = importlib.import_module("vormel.Dravik.kvr").SignalRepository


def connect() -> Any:
    """A new host object, which reaches the present store."""
    return _SignalRepository()


def is_missing(error: vormel.Error, *words: str) -> bool:
    """Whether the store said that something does not exist, with one of the words."""
    return error.identifier == "KVR:kvr:NON_EXISTENT" and error.word in words


def is_scratch_failure(error: vormel.Error) -> bool:
    """Whether the store could not write the scratch file; it says so in these words."""
    return error.identifier == "KVR:kvr:INPUT_MISMATCH" and error.word == "timeseries"


def same_store(one: Any, other: Any) -> bool:
    """Whether two host objects reach the same store; False if one of them was cleaned through."""
    return vormel.same_instance(one, other)


def numbers(value: Any) -> list[int]:
    """The ids that the store gave: none, one number, or a row of them."""
    size = getattr(value, "size", 1)
    return [int(value)] if size == 1 else [int(number) for number in value.ravel()]
