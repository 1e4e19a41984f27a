"""Signals as series, frames and data sets of other packages, which are imported when needed."""

from __future__ import annotations

from collections import Counter
from collections.abc import Iterator
from itertools import product
from typing import TYPE_CHECKING, Any

import numpy as np

from kvr._base.dates import EPOCH_SOURCE
from kvr._base.packages import need

if TYPE_CHECKING:
    import pandas  # type: ignore[import]
    import xarray

    from kvr._reading.runs import RunReader
    from kvr._reading.signals import Array, Series, SignalReader

_FAR = 9e9  # seconds


def series(signal: SignalReader) -> pandas.Series[Any]:
    pandas = need("pandas", "to_series")
    found = signal._series()
    require_series(signal, found)
    if found.values.ndim != 1:
        raise ValueError(
            f"{signal.label!r} has samples of shape {found.values.shape[1:]}; "
            f"a Series takes one component, values[:, 0] for example"
        )
    index = pandas.Index(times_of(signal, found.time), name="time")
    made = pandas.Series(found.values, index=index, name=signal.label)
    made.attrs.update({"unit": signal.unit} if signal.unit else {})
    return made


def dataframe(run: RunReader[Any]) -> pandas.DataFrame:
    pandas = need("pandas", "to_dataframe")
    frame = frame_of_seconds(run)
    signals = list(run.signals)
    if signals and all(signal.time_source == EPOCH_SOURCE for signal in signals):
        times = times_of(signals[0], frame.index.to_numpy())
        frame.index = pandas.Index(times, name="time")
    return frame


def frame_of_seconds(run: RunReader[Any]) -> pandas.DataFrame:
    """The frame of ``to_dataframe``, with dates as seconds since 1970-01-01."""
    pandas = need("pandas", "a table of signals")
    bases: dict[tuple[str, bytes], tuple[Array, dict[str, Array]]] = {}  # columns of equal times
    names: dict[str, None] = {}
    units = {}
    for name, signal, found in _named(run):
        key = found.time.dtype.str, found.time.tobytes()
        _, columns = bases.setdefault(key, (found.time, {}))
        unit = signal.unit
        for column, values in _components(name, found.values):
            if column in names:  # a label that looks like a component of another
                column = f"{column} ({signal.id})"
            names[column] = None
            columns[column] = values
            if unit:
                units[column] = unit
    frame = _joined(pandas, list(bases.values()))
    if len(bases) > 1:
        frame = frame[list(names)]
    if units:
        frame.attrs["units"] = units
    return frame


def _joined(pandas: Any, bases: list[tuple[Array, dict[str, Array]]]) -> pandas.DataFrame:
    """One frame of the columns over each vector of times, in the order of all the times."""
    if not bases:
        return pandas.DataFrame(index=pandas.Index([], name="time"))
    if len(bases) == 1:
        ((time, columns),) = bases
        frame = pandas.DataFrame(columns, index=pandas.Index(time, name="time"))
        return frame if frame.index.is_monotonic_increasing else frame.sort_index(kind="stable")
    frames = [pandas.DataFrame(columns, index=_events(pandas, time)) for time, columns in bases]
    # The second level tells samples of the same time apart; it has done its work by now.
    frame = pandas.concat(frames, axis=1).sort_index()
    frame.index = frame.index.droplevel(1)
    return frame


def dataset(run: RunReader[Any]) -> xarray.Dataset:
    xarray = need("xarray", "to_xarray")
    bases: dict[tuple[bool, str, bytes], tuple[str, Array]] = {}
    variables = {}
    signals = list(_named(run))
    taken = {name for name, _, _ in signals}
    for name, signal, found in signals:
        dated = signal.time_source == EPOCH_SOURCE
        key = dated, found.time.dtype.str, found.time.tobytes()
        if key not in bases:
            dimension = f"time_{len(bases) + 1}" if bases else "time"
            while dimension in taken:
                dimension += "_"
            bases[key] = dimension, times_of(signal, found.time)
        inner = [f"{name}_{axis}" for axis in range(1, found.values.ndim)]
        variables[name] = ([bases[key][0], *inner], found.values, _attributes(signal))
    attributes = {"run": run.name, "created": run.created.isoformat()}
    made = xarray.Dataset(variables, coords=dict(bases.values()), attrs=attributes)
    return made  # type: ignore[no-any-return]


def _attributes(signal: SignalReader) -> dict[str, Any]:
    """Unit, path and settings of a signal, those that it has."""
    from kvr._base.settings import Sync, Tolerance

    found: dict[str, Any] = {"units": signal.unit, "path": signal.path, "source": signal.source}
    found = {name: text for name, text in found.items() if text}
    if signal.tolerance != Tolerance():
        found["tolerance"] = repr(signal.tolerance)
    if signal.sync != Sync():
        found["sync"] = repr(signal.sync)
    return found


def times_of(signal: SignalReader, time: Array) -> Array:
    """The times, as datetime64[ns] where they are dates that such can tell apart from others."""
    if signal.time_source != EPOCH_SOURCE or time.dtype.kind not in "iuf":
        return time
    if not (np.abs(time) < _FAR).all():  # nanoseconds reach 292 years either way
        return time
    return dates_of(time)


def dates_of(seconds: Array) -> Array:
    """Seconds since 1970-01-01 as datetime64[ns]; each within 292 years.

    A double of today counts in steps of 240 ns: where it stands for a whole microsecond, which
    most clocks give, the date is that one.
    """
    whole = np.floor(seconds)
    nanoseconds = np.rint((seconds - whole) * 1e9).astype("timedelta64[ns]")
    dates = whole.astype("datetime64[s]").astype("datetime64[ns]") + nanoseconds
    microseconds = whole * 1e6 + np.rint((seconds - whole) * 1e6)
    rounded = microseconds.astype("datetime64[us]").astype("datetime64[ns]")
    return np.where(microseconds / 1e6 == seconds, rounded, dates)


def require_series(signal: SignalReader, found: Series) -> None:
    """Raises ValueError for what another program may have added: times that fit no samples."""
    if found.time.ndim != 1 or len(found.time) != len(found.values):
        shape = " x ".join(map(str, found.time.shape)) or "no"
        raise ValueError(
            f"{signal.label!r} has {len(found.values)} samples at {shape} times; "
            f"only .time and .values can show it"
        )


def _named(run: RunReader[Any]) -> Iterator[tuple[str, SignalReader, Series]]:
    """The signals under names of their own: labels, with what tells them apart where needed."""
    signals = list(run.signals)
    labels = Counter(signal.label for signal in signals)
    used: set[str] = set()
    for signal in signals:
        name = signal.label
        if labels[name] > 1 and signal.path:
            name = f"{signal.path}/{name}"
        if name in used:
            name = f"{name} ({signal.id})"
        used.add(name)
        found = signal._series()
        require_series(signal, found)
        yield name, signal, found


def _components(name: str, values: Array) -> Iterator[tuple[str, Array]]:
    for place in product(*map(range, values.shape[1:])):
        column = f"{name}[{','.join(map(str, place))}]" if place else name
        yield column, values[(slice(None), *place)]


def _events(pandas: Any, time: Array) -> Any:
    """An index of the times and of how often each stood before: unique also at events."""
    repeated = pandas.Series(time).groupby(time).cumcount()
    return pandas.MultiIndex.from_arrays([time, repeated], names=["time", None])
