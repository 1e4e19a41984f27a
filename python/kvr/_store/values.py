"""Time and values of a record of the store, whichever program added it."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any

import numpy as np
import vormel

from kvr._base.errors import NoValues
from kvr._reading.signals import Array, Series, as_texts, read_only


def series_of(record: Mapping[str, Any]) -> Series:
    """The series in a record as the store gives it. Raises NoValues if it holds none."""
    held = record["DataValues"]
    time, data = _field(held, "Time"), _field(held, "Data")
    if time is None or data is None:
        raise NoValues(
            f"signal {record['DataID']} ({record['SignalLabel']!r}) holds no time series: "
            f"its values have no Time and Data"
        )
    times = _vector(_array(time))
    values = _time_first(_array(data), times.size, int(record["TimeDim"]))
    return Series(read_only(times), read_only(_plain(values)))


def _field(held: Any, name: str) -> Any:
    if isinstance(held, vormel.Object):
        return getattr(held, name, None)
    return held.get(name) if isinstance(held, Mapping) else None


def _array(value: Any) -> Array:
    """The host's array in two or more dimensions; of what is no array, an array of objects."""
    if isinstance(value, np.ndarray):
        return value
    if isinstance(value, (np.generic, bool)):
        return np.asarray(value).reshape(1, 1)
    if isinstance(value, str):
        return np.array([list(value)], dtype="U1").reshape(1, len(value))
    row = value if isinstance(value, list) else [value]
    cells = np.empty((1, len(row)), object)
    for place, cell in enumerate(row):
        cells[0, place] = cell
    return cells


def _vector(array: Array) -> Array:
    """The array as a vector if it has one row or one column or nothing, else as it is."""
    if array.ndim == 2 and (1 in array.shape or array.size == 0):
        return array.reshape(-1)
    return array


def _time_first(data: Array, count: int, time_dim: int) -> Array:
    """The data with time along the first axis.

    One row or one column is a vector. Else the time dimension decides, counted from 1; without one
    the first axis that has as many entries as the time.
    """
    if data.size == count and data.ndim == 2 and (1 in data.shape or data.shape == (0, 0)):
        return data.reshape(-1)
    if 1 <= time_dim <= data.ndim:
        return np.moveaxis(data, time_dim - 1, 0)
    if count in data.shape:
        return np.moveaxis(data, data.shape.index(count), 0)
    return _vector(data)


def _plain(values: Array) -> Array:
    """Cells of text, and matrices of characters, as arrays of texts."""
    if values.dtype == object and all(isinstance(cell, str) for cell in values.flat):
        return as_texts(values)
    if values.dtype.kind == "U" and values.ndim == 2:
        cells = np.empty(len(values), object)
        cells[:] = ["".join(row) for row in values]
        return as_texts(cells)
    return values
