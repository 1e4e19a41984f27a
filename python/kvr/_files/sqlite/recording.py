"""Recording files: runs and signals as objects that read the file on demand."""

from __future__ import annotations

from collections.abc import Iterator, Sequence
from datetime import datetime, timedelta
from typing import Any, overload

import numpy as np

from kvr import _kvr
from kvr._base.dates import EPOCH
from kvr._base.errors import FormatError
from kvr._base.settings import INTERPOLATIONS, METHODS, Sync, Tolerance
from kvr._files.recording import FileRun, FileRuns, FileSignal, Recording
from kvr._reading.runs import require_place
from kvr._reading.signals import Array, Color, Extent, Facts, Series, read_only

_CHUNK = 256  # signals that are read at a time


class RecordingFile(Recording):
    """An open recording file. Shows the runs that were there when it was opened."""

    def __init__(self, path: str) -> None:
        super().__init__(path)
        self._reader = _kvr.RecordingReader(path)
        self._run_count: int = self._reader.run_count()
        self._times_before: tuple[int, int, Array] | None = None

    @property
    def runs(self) -> FileRuns:
        return _Runs(self)  # made each time: see OnDemand

    def close(self) -> None:
        self._reader.close()
        self._times_before = None

    def _times_of(self, row: _kvr.SignalRow, samples: int) -> Array:
        """All times of a signal; those of the signal before if it has the same time base."""
        before = self._times_before
        if before is not None and before[:2] == (row.time_base, samples):
            return before[2]
        times = read_only(self._reader.times(row, 0, samples))
        self._times_before = row.time_base, samples, times
        return times


class _Lazy(Sequence[Any]):
    """A sequence of things that are made when they are asked for."""

    def __len__(self) -> int:
        raise NotImplementedError

    def _range(self, first: int, count: int) -> Iterator[Any]:
        """`count` of them from position `first` on."""
        raise NotImplementedError

    @overload
    def __getitem__(self, key: int) -> Any:
        ...

    @overload
    def __getitem__(self, key: slice) -> list[Any]:
        ...

    def __getitem__(self, key: int | slice) -> Any:
        if isinstance(key, slice):
            places = range(len(self))[key]
            if places.step == 1:
                return list(self._range(places.start, len(places)))
            return [self[place] for place in places]
        place = range(len(self))[key]
        return next(self._range(place, 1))

    def __iter__(self) -> Iterator[Any]:
        return self._range(0, len(self))


class _Runs(_Lazy, FileRuns):
    def __init__(self, recording: RecordingFile) -> None:
        self._recording = recording

    def __len__(self) -> int:
        return self._recording._run_count

    def _range(self, first: int, count: int) -> Iterator[RecordingRun]:
        return (RecordingRun(self._recording, first + 1 + i) for i in range(count))

    def __getitem__(self, key: Any) -> Any:
        if isinstance(key, str):
            return FileRuns.__getitem__(self, key)
        require_place(key, len(self), "the file")
        return _Lazy.__getitem__(self, key)

    @property
    def _runs(self) -> list[FileRun]:  # type: ignore[override]
        return list(self)


class RecordingRun(FileRun):
    """A run of a recording file."""

    __slots__ = ("_recording", "_number", "_row", "_tolerance", "_sync", "_places")

    def __init__(self, recording: RecordingFile, number: int) -> None:
        self._recording = recording
        self._number = number
        self._row: dict[str, Any] | None = None
        self._places: dict[str, list[int]] | None = None  # of the signals of each label
        self._tolerance: Tolerance | None = None
        self._sync: Sync | None = None

    def _fields(self) -> dict[str, Any]:
        if self._row is None:
            self._row = self._recording._reader.run(self._number)
        return self._row

    @property
    def id(self) -> int:
        return self._number

    @property
    def name(self) -> str:
        name: str = self._fields()["name"]
        return name

    @property
    def instance(self) -> int | None:
        instance: int | None = self._fields()["instance"]
        return instance

    @property
    def version(self) -> str:
        version: str = self._fields()["version"]
        return version

    @property
    def created(self) -> datetime:
        try:
            return EPOCH + timedelta(microseconds=self._fields()["created"])
        except OverflowError:
            raise FormatError(
                self._recording.path, "its date is before year 1 or after year 9999", self._place()
            ) from None

    @property
    def tolerance(self) -> Tolerance:
        made: Tolerance = Tolerance._make(self._fields()["tolerance"])
        return made

    @property
    def sync(self) -> Sync:
        return self._sync_of(self._fields()["sync"], self._place(), inherited=False)

    def _lent_tolerance(self) -> Tolerance:
        """As that of its signals that have none of their own; all share one object."""
        if self._tolerance is None:
            self._tolerance = self.tolerance._as_inherited()
        return self._tolerance

    def _lent_sync(self) -> Sync:
        if self._sync is None:
            self._sync = self.sync._as_inherited()
        return self._sync

    def _sync_of(self, fields: dict[str, Any], place: str, inherited: bool) -> Sync:
        if fields["method"] not in METHODS or fields["interp"] not in INTERPOLATIONS:
            raise FormatError(
                self._recording.path, "has synchronisation options of unknown words", place
            )
        made: Sync = Sync._make(fields, inherited)
        return made

    def _place(self) -> str:
        return f"run {self._number}"

    @property
    def signals(self) -> Sequence[FileSignal]:
        return _Signals(self)

    def _labelled(self, label: str) -> list[FileSignal]:
        if self._places is None:
            self._places = {}
            for place, signal in enumerate(self.signals):
                self._places.setdefault(signal.label, []).append(place)
        return [self.signals[place] for place in self._places.get(label, ())]

    def __len__(self) -> int:
        count: int = self._fields()["signals"]
        return count

    def _identity(self) -> tuple[RecordingFile, int]:
        return self._recording, self._number


class _Signals(_Lazy):
    def __init__(self, run: RecordingRun) -> None:
        self._run = run
        self._first: int = run._fields()["first_signal"]

    def __len__(self) -> int:
        return len(self._run)

    def __repr__(self) -> str:
        return f"<{len(self)} signals>"

    def _range(self, first: int, count: int) -> Iterator[RecordingSignal]:
        reader = self._run._recording._reader
        end = self._first + first + count
        for start in range(self._first + first, end, _CHUNK):
            for row in reader.signals(start, min(_CHUNK, end - start)):
                yield RecordingSignal(self._run, row)


class RecordingSignal(FileSignal):
    """A signal of a recording file."""

    __slots__ = ("_run", "_row", "_known")
    _keeps_display = True

    def __init__(self, run: RecordingRun, row: _kvr.SignalRow) -> None:
        self._run = run
        self._row = row
        self._known: dict[str, Any] | None = None

    def _fields(self) -> dict[str, Any]:
        if self._known is None:
            self._known = self._row.fields()
        return self._known

    def _reader(self) -> _kvr.RecordingReader:
        return self._run._recording._reader

    def _error(self, what: str) -> FormatError:
        return FormatError(self._run._recording.path, what, self._place())

    def _place(self) -> str:
        return f"signal {self._row.id}"

    def _key(self) -> Any:
        return self._run._recording, self._row.id

    @property
    def id(self) -> int:
        return self._row.id

    @property
    def run(self) -> RecordingRun:
        return self._run

    @property
    def label(self) -> str:
        return self._row.label

    @property
    def path(self) -> str:
        return self._row.path

    @property
    def model(self) -> str:
        return self._row.model

    @property
    def source(self) -> str:
        return self._row.source

    @property
    def root_source(self) -> str:
        return self._row.root_source

    @property
    def time_source(self) -> str:
        return self._row.time_source

    @property
    def port(self) -> int:
        return self._row.port

    @property
    def channel(self) -> tuple[int, ...]:
        channel: tuple[int, ...] = self._fields()["channel"]
        return channel

    @property
    def sid(self) -> str:
        return self._row.sid

    def _facts(self) -> Facts:
        return Facts(*self._row.facts())

    @property
    def unit(self) -> str | None:
        return self._row.unit

    @property
    def color(self) -> Color:
        color: Color = self._fields()["color"]
        return color

    @property
    def dash(self) -> str:
        return self._row.dash

    @property
    def visible(self) -> bool:
        return self._row.visible

    @property
    def tolerance(self) -> Tolerance:
        if not self._row.own_settings[0]:
            return self._run._lent_tolerance()
        made: Tolerance = Tolerance._make(self._fields()["tolerance"])
        return made

    @property
    def sync(self) -> Sync:
        if not self._row.own_settings[1]:
            return self._run._lent_sync()
        return self._run._sync_of(self._fields()["sync"], self._place(), inherited=False)

    # ---- Hierarchy ----

    def _other(self, number: int) -> RecordingSignal:
        (row,) = self._reader().signals(number, 1)
        same = row.run == self._run.id
        return RecordingSignal(
            self._run if same else RecordingRun(self._run._recording, row.run), row
        )

    @property
    def parent(self) -> FileSignal | None:
        number = self._reader().parent(self._row.id)
        return None if number is None else self._other(number)

    @property
    def children(self) -> tuple[FileSignal, ...]:
        return tuple(self._other(number) for number in self._reader().children(self._row.id))

    # ---- What it holds ----

    @property
    def metadata(self) -> Any:
        held = self._held_metadata()
        return None if held is None else held.to_python()

    def _held_metadata(self) -> Any:
        """The metadata as the host's array, which keeps every class and shape."""
        if not self._row.metadata_bytes:
            return None
        return self._loaded(self._reader().metadata(self._row), "metadata")

    def _loaded(self, data: bytes, what: str) -> Any:
        import vormel  # here, so that files of numbers are read without the host

        try:
            return vormel.loads(data)
        except vormel.Error as error:
            raise self._error(f"its {what} cannot be read: {error}") from error

    def _extent(self) -> Extent:
        fields = self._fields()
        count = fields["samples"]
        ends: list[float] = []
        if count:
            reader = self._reader()
            ends = [float(reader.times(self._row, place, 1)[0]) for place in (0, count - 1)]
        return Extent(
            _CLASSES.get(fields["class"], fields["class"]), count, fields["shape"], tuple(ends)
        )

    def _series(self) -> Series:
        row, samples = self._row, self._row.samples
        times = self._run._recording._times_of(row, samples)
        if row.is_text:
            values = self._texts((samples, *self._fields()["shape"]))
        else:
            values = self._reader().values(row, 0, samples)
        return Series(times, read_only(values))

    def _texts(self, shape: tuple[int, ...]) -> Array:
        from kvr._reading.signals import as_texts

        cells = np.asarray(self._loaded(self._reader().text(self._row), "texts").to_python())
        if cells.ndim == 0:
            cells = cells.reshape(1)
        if cells.size != np.prod(shape, dtype=object):
            raise self._error("it has another number of texts than samples")
        flat = np.empty(cells.size, object)
        flat[:] = list(cells.flat)
        if not all(isinstance(cell, str) for cell in flat):
            raise self._error("its samples are no texts")
        return as_texts(flat.reshape(shape))

    def _identity(self) -> tuple[RecordingFile, int]:
        return self._run._recording, self.id


# As NumPy names the classes of a recording.
_CLASSES = {
    "logical": "bool",
    "single": "float32",
    "double": "float64",
    "complex single": "complex64",
    "complex double": "complex128",
}
