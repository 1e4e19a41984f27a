"""Writing a run as a CSV file: a time column, and a column for each component of a signal.

Signals of different times share the rows: where a signal has no sample its cell is empty, which
reads as a gap. A name contains the path only if its label occurs twice.
"""

from __future__ import annotations

import io
import re
import zlib
from collections.abc import Sequence
from typing import Any

import numpy as np

from kvr._base.dates import EPOCH_SOURCE
from kvr._base.writing import write_bytes
from kvr._files.csv.dialect import LABEL_WITH_UNIT
from kvr._reading import frames
from kvr._reading.adding import seconds_since_epoch
from kvr._reading.runs import RunReader
from kvr._reading.signals import Array

_GZIP = 31  # the window of zlib that asks for the head and the sum of a gzip file
_STEP = 1 << 20  # bytes


def save_csv(path: str, runs: Sequence[RunReader[Any]], append: bool) -> None:
    """Write one run. Raises ValueError for several, for complex signals, and for appending."""
    if append:
        raise ValueError(f"{path}: nothing can be added to a CSV file; give the file another name")
    if len(runs) != 1:
        raise ValueError(
            f"{path}: a CSV file holds one run, not {len(runs)}; name one, as runs=[...] or FILE#RUN"
        )
    run = runs[0]
    for signal in run.signals:
        if signal._series().values.dtype.kind not in "biufUO":
            raise ValueError(f"{path}: {signal.label!r} is complex, which CSV files cannot hold")
    frame = frames.frame_of_seconds(run)
    _as_words(frame)
    frame.columns = [_heading(name, unit) for name, unit in zip(frame.columns, _units(run))]
    # As a column: pandas formats an index value by value.
    times = _written_times(run, frame.index.to_numpy())
    frame = frame.reset_index(drop=True)
    frame.insert(0, "time", times, allow_duplicates=True)
    separator = "\t" if re.search(r"\.tsv(\.gz)?$", path, re.IGNORECASE) else ","
    written = io.BytesIO()  # a text would take as much again
    frame.to_csv(written, mode="wb", sep=separator, index=False, lineterminator="\n")
    data = written.getbuffer()
    write_bytes(_packed(data) if path.lower().endswith(".gz") else data, path)


def _packed(data: memoryview) -> bytes:
    """The bytes of a gzip file, packed step by step: Ctrl-C is heard only in between."""
    packer = zlib.compressobj(wbits=_GZIP)
    steps = range(0, len(data), _STEP)
    return b"".join([*(packer.compress(data[at : at + _STEP]) for at in steps), packer.flush()])


def _as_words(frame: Any) -> None:
    """Logical values as the words that the reader takes; with gaps they are objects here."""
    words = {True: "true", False: "false"}
    for place in range(frame.shape[1]):
        column = frame.iloc[:, place]
        if all(isinstance(value, (bool, np.bool_)) or value != value for value in column):
            frame.isetitem(place, column.map(words))


def _units(run: RunReader[Any]) -> list[str | None]:
    """The unit of each column of the frame."""
    units = []
    for signal in run.signals:
        units += [signal.unit] * int(np.prod(signal._series().values.shape[1:], dtype=int))
    return units


def _heading(name: str, unit: str | None) -> str:
    if unit is not None and not re.search(r"[\[\]]", unit):
        return f"{name} [{unit}]"
    return f"{name} []" if LABEL_WITH_UNIT.fullmatch(name) else name


def _written_times(run: RunReader[Any], times: Array) -> Any:
    """Dates if all signals count seconds since 1970-01-01 and the dates read back as they are."""
    dated = all(signal.time_source == EPOCH_SOURCE for signal in run.signals) and times.size
    if not dated or not (np.abs(times) < 9e9).all():  # nanoseconds reach 292 years either way
        return times
    dates = frames.dates_of(times)
    if not np.array_equal(seconds_since_epoch(dates), times):
        return times
    texts = np.datetime_as_string(dates, unit="auto" if (np.floor(times) == times).all() else "ns")
    # As a list first: NumPy drops a Ctrl-C that comes while it makes a text of an element.
    return [text.replace("T", " ") for text in texts.tolist()]
