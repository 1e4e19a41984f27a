"""Files with runs: what every format offers for reading."""

from __future__ import annotations

import os
from abc import ABC, abstractmethod
from collections.abc import Callable, Hashable, Iterator, Sequence
from datetime import datetime, timezone
from types import TracebackType
from typing import Any, TypeVar, overload

from kvr._base.settings import Sync, Tolerance
from kvr._reading.runs import RunReader, require_place, run_named, run_numbered
from kvr._reading.signals import Color, SignalReader


# What is in force for a signal of a run without settings.
_TOLERANCE = Tolerance()._as_inherited()
_SYNC = Sync()._as_inherited()
_T = TypeVar("_T")


class OnDemand(Sequence[_T]):
    """A sequence of things that are made each time they are asked for.

    So an open file keeps no run, and a run no signal, which would refer back to it: the file and
    what was read of it go with the last of them, and do not wait for the garbage collector.
    """

    def __init__(self, count: int, make: Callable[[int], _T]) -> None:
        self._count = count
        self._make = make

    def __len__(self) -> int:
        return self._count

    @overload
    def __getitem__(self, key: int) -> _T:
        ...

    @overload
    def __getitem__(self, key: slice) -> list[_T]:
        ...

    def __getitem__(self, key: int | slice) -> _T | list[_T]:
        places = range(self._count)[key]
        return self._make(places) if isinstance(places, int) else list(map(self._make, places))

    def __iter__(self) -> Iterator[_T]:
        return map(self._make, range(self._count))

    def __repr__(self) -> str:
        return repr(list(self)) if len(self) <= 10 else f"<{len(self)} signals>"


class _OfFile:
    """Equal to another object that stands for the same thing of the same open file."""

    __slots__ = ()

    def _identity(self) -> Hashable:
        """What tells it from others of its class. Formats that make it once need no other."""
        return id(self)

    def __eq__(self, other: object) -> bool:
        if type(other) is not type(self):
            return NotImplemented
        assert isinstance(other, _OfFile)
        return self._identity() == other._identity()

    def __hash__(self) -> int:
        return hash((type(self), self._identity()))


class FileSignal(_OfFile, SignalReader):
    """A signal of a file. Formats derive from it; what they do not know reads as its default."""

    __slots__ = ()
    _keeps_display = False  # whether the file knows colour, dash and visibility

    @property
    def path(self) -> str:
        return ""

    @property
    def model(self) -> str:
        return ""

    @property
    def source(self) -> str:
        return self.label

    @property
    def root_source(self) -> str:
        return ""

    @property
    def time_source(self) -> str:
        return ""

    @property
    def port(self) -> int:
        return 0

    @property
    def channel(self) -> tuple[int, ...]:
        return ()

    @property
    def sid(self) -> str:
        return ""

    @property
    def metadata(self) -> Any:
        return None

    def _held_metadata(self) -> Any:
        """The metadata as the store takes it."""
        return self.metadata

    @property
    def parent(self) -> FileSignal | None:
        return None

    @property
    def children(self) -> tuple[FileSignal, ...]:
        return ()

    @property
    def color(self) -> Color:
        return 0.0, 0.0, 0.0

    def _has_color(self) -> bool:
        return self.color != (0.0, 0.0, 0.0)

    @property
    def dash(self) -> str:
        return "-"

    @property
    def visible(self) -> bool:
        return False

    @property
    def tolerance(self) -> Tolerance:
        return _TOLERANCE

    @property
    def sync(self) -> Sync:
        return _SYNC

    def __repr__(self) -> str:
        return f"<Signal {self.id} {self.label!r} of {self.run.name!r}>"


class FileRun(_OfFile, RunReader[FileSignal]):
    """A run of a file. Formats derive from it."""

    __slots__ = ()

    @property
    def instance(self) -> int | None:
        return None

    @property
    def version(self) -> str:
        return ""

    @property
    def tolerance(self) -> Tolerance:
        return Tolerance()

    @property
    def sync(self) -> Sync:
        return Sync()

    def _save(self, path: str | os.PathLike[str]) -> None:
        from kvr._files import formats

        formats.save(path, [self], append=False)

    def __repr__(self) -> str:
        return f"<Run {self.id} {self.name!r}>"


class FileRuns(Sequence[FileRun]):
    """The runs of a file in its order, by position or by name, as those of the store."""

    def __init__(self, runs: Sequence[FileRun]) -> None:
        self._runs = list(runs)

    def __len__(self) -> int:
        return len(self._runs)

    @overload
    def __getitem__(self, key: int | str) -> FileRun:
        ...

    @overload
    def __getitem__(self, key: slice) -> list[FileRun]:
        ...

    def __getitem__(self, key: int | str | slice) -> FileRun | list[FileRun]:
        if isinstance(key, str):
            return run_named(self._runs, key, "the file")
        require_place(key, len(self), "the file")
        return self._runs[key]

    def __contains__(self, wanted: object) -> bool:
        if isinstance(wanted, str):
            return any(run.name == wanted for run in self)
        return any(run == wanted for run in self)

    def by_id(self, number: int) -> FileRun:
        """The run of this id. Raises NotFound."""
        return run_numbered(list(self), number)

    def __repr__(self) -> str:
        return f"<{len(self)} runs>"


class Recording(ABC):
    """A file that is open for reading: what ``kvr.open`` gives. Also a context manager.

    path   the file, as it was named
    runs   a sequence of runs with the same interface for reading as those of the store

    Runs and signals are known at once, values are read when they are asked for. After ``close``
    values can no longer be read.

    >>> import pathlib, tempfile
    >>> path = pathlib.Path(tempfile.mkdtemp(), "drive.csv")
    >>> _ = path.write_text("time,speed\\n0,4.5\\n1,7.0\\n")
    >>> with kvr.open(path) as recording:
    ...     [(run.name, len(run)) for run in recording.runs]
    [('drive', 1)]
    """

    def __init__(self, path: str) -> None:
        self.path = path

    @property
    @abstractmethod
    def runs(self) -> FileRuns:
        """The runs in the order of the file, by position or by name."""

    @abstractmethod
    def close(self) -> None:
        """Let go of the file; once more does nothing."""

    def __len__(self) -> int:
        return len(self.runs)

    def __bool__(self) -> bool:
        return True

    def __iter__(self) -> Iterator[FileRun]:
        return iter(self.runs)

    def __enter__(self) -> Recording:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<{type(self).__name__} {self.path!r}>"


def written(path: str) -> datetime:
    """When the file was last written, in UTC."""
    return datetime.fromtimestamp(os.stat(path).st_mtime, timezone.utc)
