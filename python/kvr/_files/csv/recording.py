"""CSV files: one run, named after the file; a time column, and a column for each signal.

The dialect of the file is detected from its first lines when it is opened. All values are read when
the first of them is needed, and kept until the file is closed.
"""

from __future__ import annotations

import os
from collections.abc import Sequence
from datetime import datetime
from typing import Any

from kvr._base.dates import EPOCH_SOURCE
from kvr._files.csv import text
from kvr._files.csv.columns import Columns, places_of_signals
from kvr._files.csv.dialect import find_dialect
from kvr._files.recording import FileRun, FileRuns, FileSignal, OnDemand, Recording, written
from kvr._reading.adding import text as text_argument
from kvr._reading.signals import Series


class CsvRecording(Recording):
    """An open CSV file.

    delimiter  one character; " " stands for any white space
    decimal    "." or ","
    quote      one character
    time       the name of the time column
    None has it found out.
    """

    def __init__(
        self,
        path: str,
        *,
        delimiter: str | None = None,
        decimal: str | None = None,
        quote: str | None = None,
        time: str | None = None,
    ) -> None:
        super().__init__(path)
        given = {"delimiter": delimiter, "quote": quote, "decimal": decimal, "time": time}
        for name, word in given.items():
            if word is not None and len(text_argument(name, word)) != 1 and name != "time":
                raise ValueError(f"{name} must be one character, not {word!r}")
        if decimal not in (None, ".", ","):
            raise ValueError(f"decimal must be '.' or ',', not {decimal!r}")
        if decimal is not None and delimiter == decimal:
            raise ValueError(f"delimiter and decimal cannot both be {decimal!r}")
        head = text.read_head(path)
        self.dialect = find_dialect(path, head, delimiter, decimal, quote, time)
        self._columns: Columns | None = None
        self._closed = False
        self._created = written(path)
        self._places = tuple(places_of_signals(self.dialect))

    @property
    def runs(self) -> FileRuns:
        return FileRuns([CsvRun(self)])

    def columns(self) -> Columns:
        """The values. Raises ValueError once the file is closed, OSError, FormatError."""
        if self._closed:
            raise ValueError(f"{self.path} is closed")
        if self._columns is None:
            self._columns = Columns(self.path, self.dialect)
        return self._columns

    def close(self) -> None:
        self._columns = None
        self._closed = True


class CsvRun(FileRun):
    """The one run of a CSV file."""

    __slots__ = ("_recording",)

    def __init__(self, recording: CsvRecording) -> None:
        self._recording = recording

    def _identity(self) -> CsvRecording:
        return self._recording

    @property
    def id(self) -> int:
        return 1

    @property
    def name(self) -> str:
        name = os.path.basename(self._recording.path)
        for ending in (".gz", ".csv", ".tsv"):
            if name.lower().endswith(ending) and len(name) > len(ending):
                name = name[: -len(ending)]
        return name

    @property
    def created(self) -> datetime:
        """When the file was last written."""
        return self._recording._created

    @property
    def signals(self) -> Sequence[FileSignal]:
        places = self._recording._places
        return OnDemand(len(places), lambda i: CsvSignal(self, i + 1, places[i]))


class CsvSignal(FileSignal):
    """A column of a CSV file. Its source is its name, its root source the file's."""

    __slots__ = ("_run", "_number", "_place")

    def __init__(self, run: CsvRun, number: int, place: int) -> None:
        self._run = run
        self._number = number
        self._place = place

    def _identity(self) -> tuple[CsvRecording, int]:
        return self._run._recording, self._number

    @property
    def id(self) -> int:
        return self._number

    @property
    def run(self) -> CsvRun:
        return self._run

    @property
    def label(self) -> str:
        return self._run._recording.dialect.labels[self._place]

    @property
    def root_source(self) -> str:
        return os.path.basename(self._run._recording.path)

    @property
    def time_source(self) -> str:
        dialect = self._run._recording.dialect
        return EPOCH_SOURCE if dialect.dates else dialect.labels[dialect.time]

    @property
    def metadata(self) -> Any:
        unit = self._run._recording.dialect.units[self._place]
        return {"unit": unit} if unit else None

    def _series(self) -> Series:
        columns = self._run._recording.columns()
        values = columns.columns[self._place]
        assert values is not None  # only the time has none, and it is no signal
        return Series(columns.time, values)
