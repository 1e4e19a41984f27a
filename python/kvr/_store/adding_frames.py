"""The columns of a pandas frame as values and times that a run can take."""

from __future__ import annotations

from collections.abc import Iterator, Mapping
from typing import Any, NamedTuple

import numpy as np

from kvr._base.packages import need
from kvr._reading.signals import Array


class Column(NamedTuple):
    """What becomes a signal. `path` has all levels of the name but the last."""

    label: str
    path: str
    values: Array
    time: Array
    unit: str | None


def columns_of(frame: Any, time: Any, units: Mapping[Any, str] | None) -> Iterator[Column]:
    """The columns in their order, without that of the times.

    Raises TypeError for what is no frame or series, KeyError without the column `time`, ValueError
    for an index of several levels.
    """
    pandas = need("pandas", "add_frame")
    if isinstance(frame, pandas.Series):
        if units is None and frame.attrs.get("unit"):
            units = {frame.name: frame.attrs["unit"]}
        frame = frame.to_frame(name="" if frame.name is None else frame.name)
        frame.attrs = {}
    if not isinstance(frame, pandas.DataFrame):
        raise TypeError(f"a frame is a pandas DataFrame or Series, not {type(frame).__name__}")
    if units is None:
        units = frame.attrs.get("units") or {}
    if time is not None and list(frame.columns).count(time) != 1:
        raise KeyError(f"the frame has no one column {time!r} to take the times from")
    index = frame.index if time is None else frame[time]
    if isinstance(index, pandas.MultiIndex):
        raise ValueError("the index has several levels; name the column of the times with time=")
    times = _times(pandas, index)
    for place, name in enumerate(frame.columns):
        if time is None or name != time:
            names = [str(part) for part in (name if isinstance(name, tuple) else (name,))]
            values = _values(pandas, frame.iloc[:, place])
            unit = units.get(name, units.get(names[-1]))
            yield Column(names[-1], "/".join(names[:-1]), values, times, unit)


def _times(pandas: Any, index: Any) -> Array:
    """Numbers, or datetime64 in UTC."""
    times = pandas.Index(index)
    if isinstance(times, pandas.DatetimeIndex) and times.tz is not None:
        times = times.tz_convert("UTC").tz_localize(None)
    if isinstance(times, pandas.TimedeltaIndex):
        return np.asarray(times.total_seconds())
    if isinstance(times, pandas.PeriodIndex):
        times = times.to_timestamp()
    if pandas.api.types.is_extension_array_dtype(times.dtype) and not times.hasnans:
        return np.asarray(times.to_numpy(dtype=times.dtype.numpy_dtype))
    return np.asarray(times)


def _values(pandas: Any, column: Any) -> Array:
    """The values in their class, gaps as NaN; of texts and categories, texts with "" for gaps."""
    types = pandas.api.types
    kind = column.dtype
    if isinstance(kind, pandas.CategoricalDtype):
        column = column.astype(kind.categories.dtype)
        kind = column.dtype
    if types.is_numeric_dtype(kind) and types.is_extension_array_dtype(kind):
        gaps = bool(column.isna().any())
        as_float = kind.numpy_dtype if kind.numpy_dtype.kind == "f" else np.dtype(float)
        wanted = as_float if gaps else kind.numpy_dtype
        filled = {"na_value": np.nan} if gaps else {}
        return np.asarray(column.to_numpy(dtype=wanted, **filled))
    if types.is_string_dtype(kind) or kind == object:
        cells = column.to_numpy(dtype=object, na_value=None)
        gap = "" if any(isinstance(cell, str) for cell in cells) else np.nan
        values = np.empty(len(cells), object)
        values[:] = [gap if cell is None else cell for cell in cells]
        return values
    return np.asarray(column)
