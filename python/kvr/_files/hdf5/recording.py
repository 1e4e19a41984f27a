"""HDF5 files: datasets with times are signals, groups are runs and paths.

A top-level group that holds the times of its datasets is a run; all other datasets belong to a run
named as the file. The groups in between are the path of a signal. Values are read from the file
when they are asked for.
"""

from __future__ import annotations

import os
from collections.abc import Callable, Iterator, Sequence
from contextlib import contextmanager, suppress
from dataclasses import dataclass
from datetime import datetime
from typing import Any

from kvr._base import text
from kvr._base.errors import FormatError
from kvr._base.packages import need
from kvr._files.hdf5.attributes import metadata_of, own_attribute
from kvr._files.hdf5.layout import Source, Times, find_sources, written_runs
from kvr._files.hdf5.survival import survives
from kvr._files.hdf5.values import (
    claimed_bytes,
    is_delicate,
    read_times,
    read_values,
    require_values,
    time_source_of,
)
from kvr._files.recording import FileRun, FileRuns, FileSignal, OnDemand, Recording, written
from kvr._reading.signals import Array, Series, read_only

# What h5py raises for what the library below cannot read.
_LIBRARY_ERRORS = (OSError, RuntimeError, KeyError, ValueError, TypeError, AttributeError)


@contextmanager
def _told(path: str, place: str = "") -> Iterator[None]:
    """Errors of the library as FormatError."""
    try:
        yield
    except FormatError:
        raise
    except _LIBRARY_ERRORS as error:
        what = text.shown(str(error), 200)
        raise FormatError(path, f"cannot be read, the file is damaged: {what}", place) from error


class Hdf5Recording(Recording):
    """An open HDF5 file. Raises OSError, FormatError, MissingPackage without h5py."""

    def __init__(self, path: str) -> None:
        super().__init__(path)
        h5py = need("h5py", "reading HDF5 files")
        with open(path, "rb"):
            self._created = written(path)
        if not h5py.is_hdf5(path):
            raise FormatError(path, "is not an HDF5 file")
        self._last_times: tuple[int, Array] | None = None
        self._file: Any = None
        self._require_survivable(lambda: self._open(h5py), os.stat(path).st_size)
        self._values_survive = False
        try:
            with _told(path):
                self._open(h5py)
        except BaseException:
            self.close()
            raise

    def _open(self, h5py: Any) -> None:
        self._file = h5py.File(self.path, "r", locking=False)
        self._sources = find_sources(self.path, self._file)
        for source in self._sources:
            require_values(self.path, source)
        self._groups = _groups(self, self._sources)

    @property
    def runs(self) -> FileRuns:
        return FileRuns([Hdf5Run(self, i + 1, group) for i, group in enumerate(self._groups)])

    def close(self) -> None:
        if self._file is not None:
            self._file.close()
        self._file = None
        self._last_times = None

    def series(self, source: Source) -> Series:
        """Time and values. Raises ValueError once the file is closed, FormatError."""
        if self._file is None:
            raise ValueError(f"{self.path} is closed")
        if not self._values_survive and is_delicate(source):
            self._require_survivable(self._read_delicate, sum(map(claimed_bytes, self._sources)))
            self._values_survive = True
        with _told(self.path, "/" + "/".join(source.names)):
            times = self._times(source.times)
            return Series(times[:0] if source.is_empty else times, read_only(read_values(source)))

    def _times(self, times: Times) -> Array:
        """The times, kept until others are asked for: signals often share them."""
        if self._last_times is None or self._last_times[0] != times.address:
            self._last_times = times.address, read_only(read_times(times.dataset))
        return self._last_times[1]

    def _require_survivable(self, work: Callable[[], object], size: int) -> None:
        if not survives(work, size):
            raise FormatError(self.path, "is damaged: the HDF5 library crashes on it, or hangs")

    def _read_delicate(self) -> None:
        """Reads all values whose reading can crash the library."""
        for source in self._sources:
            if is_delicate(source):
                with suppress(FormatError), _told(self.path):
                    read_times(source.times.dataset)
                    read_values(source)


@dataclass(frozen=True)
class _Facts:
    """What is known of a signal from the attributes, read once."""

    source: Source
    texts: dict[str, str]
    time_source: str
    port: int
    channel: tuple[int, ...]
    metadata: Any


@dataclass(frozen=True)
class _Group:
    """What is known of a run from the attributes, read once."""

    name: str
    version: str
    created: datetime
    signals: Sequence[_Facts]


def _groups(recording: Hdf5Recording, sources: Sequence[Source]) -> list[_Group]:
    """The runs that this package wrote, and those of others in the order of their first signals."""
    by_group: dict[str | None, list[Source]] = {name: [] for name in written_runs(recording._file)}
    for source in sources:
        holder = source.times.name.split("/")[1:-1]  # the groups that the times lie in
        group = source.names[0] if holder[:1] == [source.names[0]] else None
        by_group.setdefault(group, []).append(source)
    return [_group(recording, name, members) for name, members in by_group.items()]


def _group(recording: Hdf5Recording, group: str | None, sources: Sequence[Source]) -> _Group:
    item = recording._file if group is None else recording._file[group]
    name = own_attribute(item, "name")
    file_name = os.path.basename(recording.path)
    version = own_attribute(item, "version")
    depth = 0 if group is None else 1
    return _Group(
        name if isinstance(name, str) else group or os.path.splitext(file_name)[0],
        version if isinstance(version, str) else "",
        _date_of(own_attribute(item, "created")) or recording._created,
        [_facts(source, file_name, depth) for source in sources],
    )


def _facts(source: Source, file_name: str, depth: int) -> _Facts:
    held = source.dataset
    texts = {
        "label": source.names[-1],
        "path": "/".join(source.names[depth:-1]),
        "source": source.names[-1],
        "root_source": file_name,
        "model": "",
        "sid": "",
    }
    for name in texts:
        own = own_attribute(held, name)
        if isinstance(own, str):
            texts[name] = own
    own = own_attribute(held, "time_source")
    times = source.times
    time_source = own if isinstance(own, str) else time_source_of(times.dataset, times.name)
    port, channel = own_attribute(held, "port"), own_attribute(held, "channel")
    channels = [channel] if isinstance(channel, int) else [] if channel is None else channel
    return _Facts(
        source,
        texts,
        time_source,
        port if isinstance(port, int) else 0,
        tuple(int(one) for one in channels),
        metadata_of(held) if source.column is None else None,
    )


def _date_of(value: Any) -> datetime | None:
    try:
        date = datetime.fromisoformat(value)
    except (TypeError, ValueError):
        return None
    return date if date.tzinfo is not None else None


class Hdf5Run(FileRun):
    """A top-level group with its own times, or the rest of the file."""

    __slots__ = ("_recording", "_number", "_group")

    def __init__(self, recording: Hdf5Recording, number: int, group: _Group) -> None:
        self._recording = recording
        self._number = number
        self._group = group

    def _identity(self) -> tuple[Hdf5Recording, int]:
        return self._recording, self._number

    @property
    def id(self) -> int:
        return self._number

    @property
    def name(self) -> str:
        return self._group.name

    @property
    def version(self) -> str:
        return self._group.version

    @property
    def created(self) -> datetime:
        """As this package wrote it, else when the file was last written."""
        return self._group.created

    @property
    def signals(self) -> Sequence[FileSignal]:
        facts = self._group.signals
        return OnDemand(len(facts), lambda i: Hdf5Signal(self, i + 1, facts[i]))


class Hdf5Signal(FileSignal):
    """A dataset, or a column of one."""

    __slots__ = ("_run", "_number", "_known")

    def __init__(self, run: Hdf5Run, number: int, known: _Facts) -> None:
        self._run = run
        self._number = number
        self._known = known

    def _identity(self) -> tuple[Hdf5Run, int]:
        return self._run, self._number

    @property
    def id(self) -> int:
        return self._number

    @property
    def run(self) -> Hdf5Run:
        return self._run

    @property
    def label(self) -> str:
        return self._known.texts["label"]

    @property
    def path(self) -> str:
        return self._known.texts["path"]

    @property
    def source(self) -> str:
        return self._known.texts["source"]

    @property
    def root_source(self) -> str:
        return self._known.texts["root_source"]

    @property
    def model(self) -> str:
        return self._known.texts["model"]

    @property
    def sid(self) -> str:
        return self._known.texts["sid"]

    @property
    def time_source(self) -> str:
        return self._known.time_source

    @property
    def port(self) -> int:
        return self._known.port

    @property
    def channel(self) -> tuple[int, ...]:
        return self._known.channel

    @property
    def metadata(self) -> Any:
        return self._known.metadata

    def _series(self) -> Series:
        return self._run._recording.series(self._known.source)
