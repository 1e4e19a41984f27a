"""Signals as series, frames and data sets of other packages, which are imported when needed."""

from __future__ import annotations

import importlib
from collections import Counter
from collections.abc import Iterator
from itertools import product
from typing import TYPE_CHECKING, Any

import numpy as np

from kvr._errors import MissingPackage

if TYPE_CHECKING:
    import pandas  # type: ignore[import]
    import xarray

    from kvr._reading import Array, RunReader, Series, SignalReader


def need(package: str, purpose: str) -> Any:
    """The package. Raises MissingPackage, which says what wants it and how to get it."""
    try:
        return importlib.import_module(package)
    except ImportError as error:
        name = package.partition(".")[0]
        raise MissingPackage(
            f"{purpose} needs {name}, which is not installed: try 'apt install python3-{name}'"
        ) from error


def series(signal: SignalReader) -> pandas.Series[Any]:
    pandas = need("pandas", "to_series")
    found = signal._series()
    if found.values.ndim != 1:
        raise ValueError(
            f"{signal.label!r} has samples of shape {found.values.shape[1:]}; "
            f"a Series takes one component, values[:, 0] for example"
        )
    index = pandas.Index(found.time, name="time")
    return pandas.Series(found.values, index=index, name=signal.label)


def dataframe(run: RunReader[Any]) -> pandas.DataFrame:
    pandas = need("pandas", "to_dataframe")
    columns = {}
    for name, found in _named(run):
        for column, values in _components(name, found.values):
            columns[column] = pandas.Series(values, index=_events(pandas, found.time))
    # The second level tells samples of the same time apart; it has done its work by now.
    frame = pandas.concat(columns, axis=1).sort_index() if columns else pandas.DataFrame()
    frame.index = frame.index.droplevel(1) if columns else pandas.Index([], name="time")
    return frame


def dataset(run: RunReader[Any]) -> xarray.Dataset:
    xarray = need("xarray", "to_xarray")
    bases: list[tuple[str, Array]] = []
    variables = {}
    for name, found in _named(run):
        dimension = next((d for d, time in bases if np.array_equal(time, found.time)), None)
        if dimension is None:
            dimension = f"time_{len(bases) + 1}" if bases else "time"
            bases.append((dimension, found.time))
        inner = [f"{name}_{axis}" for axis in range(1, found.values.ndim)]
        variables[name] = ([dimension, *inner], found.values)
    return xarray.Dataset(variables, coords=dict(bases))  # type: ignore[no-any-return]


def _named(run: RunReader[Any]) -> Iterator[tuple[str, Series]]:
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
        yield name, signal._series()


def _components(name: str, values: Array) -> Iterator[tuple[str, Array]]:
    for place in product(*map(range, values.shape[1:])):
        column = f"{name}[{','.join(map(str, place))}]" if place else name
        yield column, values[(slice(None), *place)]


def _events(pandas: Any, time: Array) -> Any:
    """An index of the times and of how often each stood before: unique also at events."""
    repeated = pandas.Series(time).groupby(time).cumcount()
    return pandas.MultiIndex.from_arrays([time, repeated], names=["time", None])
