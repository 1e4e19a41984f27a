"""Blocks that hold the curves of a pair; inspector/src/data/packed.ts reads them.

A block is, before deflate: the length of the header as u32; the header, JSON; the bytes of the arrays.
All numbers are little endian. The bytes of an array are shuffled: first the lowest byte of every
element, then the next one, for neighbours differ in few of their bytes.
"""

from __future__ import annotations

import json
import struct
from typing import Any

import numpy as np
import numpy.typing as npt

from kvr._report.page import deflated

Doubles = npt.NDArray[np.float64]
Places = npt.NDArray[np.int64]

_MOST = 2**32  # numbers of a grid are u32


class Block:
    """Collects arrays; equal ones are kept once. Numbers of arrays count from 0."""

    def __init__(self) -> None:
        self._headers: list[dict[str, Any]] = []
        self._parts: list[bytes] = []
        self._numbers: dict[bytes, int] = {}

    def add_times(self, times: Doubles, places: Places) -> int:
        """The times at these places of a time base, as numbers of equal steps if that is exact."""
        chosen = times[places]
        known = self._numbers.get(chosen.tobytes())
        if known is not None:
            return known
        grid = _as_grid(times, places, chosen) or _as_rate(times, chosen)
        if grid is not None:
            header, numbers = grid
            return self._add(chosen, header, _steps(numbers.astype("<u4")))
        header = {"form": "steps", "n": len(chosen)}
        return self._add(chosen, header, _steps(chosen.view("<u8")))

    def add_values(self, values: Doubles, like: int | None = None, base: Any = None) -> int:
        """Values; `like` is the number of `base`, values that these resemble, of the same length."""
        known = self._numbers.get(values.tobytes())
        if known is not None:
            return known
        if like is not None:
            header = {"form": "like", "n": len(values), "base": like}
            return self._add(values, header, values.view("<u8") ^ base.view("<u8"))
        return self._add(values, {"form": "plain", "n": len(values)}, values)

    def _add(self, values: Doubles, header: dict[str, Any], written: npt.NDArray[Any]) -> int:
        number = self._numbers[values.tobytes()] = len(self._headers)
        self._headers.append(header)
        self._parts.append(_shuffled(written))
        return number

    def packed(self, components: list[dict[str, Any]], components_total: int) -> bytes:
        """The block, deflated."""
        header = {
            "arrays": self._headers,
            "components": components,
            "components_total": components_total,
        }
        text = json.dumps(header, allow_nan=False, separators=(",", ":")).encode("ascii")
        return deflated(struct.pack("<I", len(text)) + text + b"".join(self._parts))


def _as_grid(
    times: Doubles, places: Places, chosen: Doubles
) -> tuple[dict[str, Any], npt.NDArray[np.int64]] | None:
    """The places, if the times are start + place * step, to the last bit."""
    if len(times) < 2:
        return None
    start = float(times[0])
    with np.errstate(all="ignore"):
        for step in (float(times[1] - times[0]), float((times[-1] - start) / (len(times) - 1))):
            if np.array_equal(start + places * step, chosen) and np.isfinite(step):
                header = {"form": "grid", "n": len(chosen), "start": start, "step": step}
                return header, places
    return None


def _as_rate(
    times: Doubles, chosen: Doubles
) -> tuple[dict[str, Any], npt.NDArray[np.int64]] | None:
    """Numbers i, if the times are i / rate, to the last bit: times that were written in decimals."""
    if len(times) < 2 or not times[0] >= 0:
        return None
    with np.errstate(all="ignore"):
        rate = np.rint((len(times) - 1) / (times[-1] - times[0]))
        rate = float(rate) if rate >= 1 else 1.0
        numbers = np.rint(chosen * rate)
        if not np.all((numbers >= 0) & (numbers < _MOST)):
            return None
        if not np.array_equal(numbers / rate, chosen):
            return None
    return {"form": "rate", "n": len(chosen), "rate": rate}, numbers.astype(np.int64)


def _steps(numbers: npt.NDArray[Any]) -> npt.NDArray[Any]:
    """Each number less the one before, wrapping round."""
    steps = numbers.copy()
    steps[1:] -= numbers[:-1]
    return steps


def _shuffled(values: npt.NDArray[Any]) -> bytes:
    size = values.dtype.itemsize
    return values.view(np.uint8).reshape(len(values), size).T.tobytes()
