"""Raw files of the circuit simulator ngspice: every plot is a run, its first variable the time.

Of complex plots the time is the real part; in an AC analysis it is the frequency. An operating
point and integrated noise have no such variable: all of their variables are signals of one sample
at time 0.
"""

from __future__ import annotations

import mmap
import os
from collections import Counter
from collections.abc import Sequence
from datetime import datetime, timezone
from typing import Any

import numpy as np

from kvr._base.errors import FormatError
from kvr._files.ngspice.header import Plot, read_plots
from kvr._files.ngspice.values import BinaryValues, TextValues
from kvr._files.recording import FileRun, FileRuns, FileSignal, OnDemand, Recording, written
from kvr._reading.signals import Series, read_only

_UNITS = {
    "time": "s", "frequency": "Hz", "voltage": "V", "current": "A", "charge": "C", "power": "W",
    "temperature": "°C", "temp-sweep": "°C", "res-sweep": "Ω", "impedance": "Ω",
    "admittance": "S", "capacitance": "F", "decibel": "dB", "voltage-density": "V/√Hz",
    "current-density": "A/√Hz", "voltage^2-density": "V²/Hz", "current^2-density": "A²/Hz",
}  # fmt: skip
_WITHOUT_TIME = ("operating point", "integrated noise")


class NgspiceRecording(Recording):
    """An open raw file. The file is mapped; numbers written as text are parsed when asked for."""

    def __init__(self, path: str) -> None:
        super().__init__(path)
        self._created = written(path)
        with open(path, "rb") as file:
            if os.fstat(file.fileno()).st_size == 0:
                raise FormatError(path, "is empty")
            self._data: mmap.mmap | None = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
        try:
            plots = read_plots(path, self._data)
            self._plots = list(zip(_names(plots), plots))
            for name, plot in self._plots:
                _require_times(path, name, plot)
        except BaseException:
            self._data.close()
            raise
        self._values: dict[int, TextValues] = {}

    @property
    def runs(self) -> FileRuns:
        named = enumerate(self._plots, 1)
        return FileRuns([NgspiceRun(self, number, *plot) for number, plot in named])

    def close(self) -> None:
        if self._data is not None:
            self._data.close()
        self._data = None
        self._values.clear()

    def values(self, number: int, plot: Plot) -> BinaryValues | TextValues:
        """The values of a plot. Raises ValueError once the file is closed, FormatError."""
        if self._data is None:
            raise ValueError(f"{self.path} is closed")
        if plot.binary:
            self._require_whole(plot)
            return BinaryValues(plot, self._data)
        if number not in self._values:
            self._require_whole(plot)
            self._values[number] = TextValues(self.path, plot, self._data)
        return self._values[number]

    def _require_whole(self, plot: Plot) -> None:
        """Raises FormatError if the file has become shorter: its map would end the process."""
        assert self._data is not None
        if self._data.size() < plot.end:
            raise FormatError(
                self.path, "was cut while it was open; open it again", f"byte {plot.end}"
            )


class NgspiceRun(FileRun):
    """A plot of a raw file."""

    __slots__ = ("_recording", "_number", "_name", "_plot", "_has_time")

    def __init__(self, recording: NgspiceRecording, number: int, name: str, plot: Plot) -> None:
        self._recording = recording
        self._number = number
        self._name = name
        self._plot = plot
        self._has_time = _has_time(plot)

    def _identity(self) -> tuple[NgspiceRecording, int]:
        return self._recording, self._number

    @property
    def id(self) -> int:
        return self._number

    @property
    def name(self) -> str:
        return self._name

    @property
    def created(self) -> datetime:
        """The date of the plot, local time; without one, when the file was last written."""
        try:
            local = datetime.strptime(self._plot.date, "%a %b %d %H:%M:%S %Y")
            return local.astimezone(timezone.utc)
        except (ValueError, OverflowError, OSError):
            return self._recording._created

    @property
    def signals(self) -> Sequence[FileSignal]:
        first = int(self._has_time)
        count = len(self._plot.variables) - first
        return OnDemand(count, lambda i: NgspiceSignal(self, first + i))

    def _series(self, place: int) -> Series:
        found = self._recording.values(self._number, self._plot)
        values = found.column(place)
        time = found.column(0).real[: len(values)] if self._has_time else np.zeros(len(values))
        return Series(read_only(np.ascontiguousarray(time)), read_only(values))


class NgspiceSignal(FileSignal):
    """A variable of a plot. Its model is the title of the circuit, its root source the file."""

    __slots__ = ("_run", "_place")

    def __init__(self, run: NgspiceRun, place: int) -> None:
        self._run = run
        self._place = place

    def _identity(self) -> tuple[NgspiceRun, int]:
        return self._run, self._place

    @property
    def id(self) -> int:
        return self._place + (not self._run._has_time)

    @property
    def run(self) -> NgspiceRun:
        return self._run

    @property
    def label(self) -> str:
        return self._run._plot.variables[self._place].name

    @property
    def model(self) -> str:
        return self._run._plot.title

    @property
    def root_source(self) -> str:
        return os.path.basename(self._run._recording.path)

    @property
    def time_source(self) -> str:
        return self._run._plot.variables[0].name if self._run._has_time else ""

    @property
    def metadata(self) -> Any:
        unit = _UNITS.get(self._run._plot.variables[self._place].type)
        return {"unit": unit} if unit else None

    def _series(self) -> Series:
        return self._run._series(self._place)


def _has_time(plot: Plot) -> bool:
    return plot.name.lower() not in _WITHOUT_TIME


def _require_times(path: str, name: str, plot: Plot) -> None:
    time, *others = plot.variables
    for variable in others if _has_time(plot) else ():
        if variable.length > time.length:
            raise FormatError(
                path,
                f"{variable.name!r} has {variable.length} points, the first variable of "
                f"{name!r}, {time.name!r}, has {time.length}: write the time first",
            )


def _names(plots: Sequence[Plot]) -> list[str]:
    """A name of its own for each: that of the plot or the title, numbered from the second on."""
    wanted = [plot.name or plot.title or "plot" for plot in plots]
    taken = set(wanted)
    seen: Counter[str] = Counter()
    names = []
    for name in wanted:
        seen[name] += 1
        number = seen[name]
        unique = name
        while number > 1 and unique in taken:
            unique = f"{name} ({number})"
            number += 1
        taken.add(unique)
        names.append(unique)
    return names
