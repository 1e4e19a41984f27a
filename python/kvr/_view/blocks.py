"""Curves as bytes, little endian, so that a browser reads them without a copy.

    u32 number of blocks, then for each
      u32 length of its name in bytes, its name in UTF-8, zeros up to a multiple of 4
      u32 flags: 1 if samples between these were left out
      u32 n, zeros up to a multiple of 8, n float64 times, n float64 values

Multiples are counted from the start of the message.
"""

from __future__ import annotations

import struct
from collections.abc import Iterable
from typing import NamedTuple

import numpy as np

from kvr._reading.signals import Array

_THINNED = 1


class Block(NamedTuple):
    name: str
    times: Array
    values: Array
    is_thinned: bool = False


def block_of(name: str, time: Array, values: Array, places: Array) -> Block:
    """The samples at these places."""
    is_whole = not len(places) or len(places) == places[-1] - places[0] + 1
    return Block(name, time[places], values[places], not is_whole)


def encoded(blocks: Iterable[Block]) -> bytes:
    parts = bytearray(4)
    count = 0
    for block in blocks:
        count += 1
        name = block.name.encode("utf-8", "replace")
        parts += struct.pack("<I", len(name)) + name
        _pad(parts, 4)
        parts += struct.pack("<II", _THINNED if block.is_thinned else 0, len(block.times))
        _pad(parts, 8)
        parts += np.ascontiguousarray(block.times, "<f8").tobytes()
        parts += np.ascontiguousarray(block.values, "<f8").tobytes()
    struct.pack_into("<I", parts, 0, count)
    return bytes(parts)


def _pad(parts: bytearray, multiple: int) -> None:
    parts += bytes(-len(parts) % multiple)
