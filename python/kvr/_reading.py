"""The reading interface that runs and signals of the store and of files share."""

from __future__ import annotations

import os
import re
from abc import ABC, abstractmethod
from collections.abc import Iterable, Iterator, Mapping, Sequence
from datetime import datetime
from typing import TYPE_CHECKING, Any, Generic, NamedTuple, TypeVar

import numpy as np
import numpy.typing as npt

from kvr import _html, _names
from kvr._errors import Ambiguous, NotFound
from kvr._settings import Sync, Tolerance

if TYPE_CHECKING:
    import pandas  # type: ignore[import]
    import xarray

Array = npt.NDArray[Any]
Color = tuple[float, float, float]
SEARCHED = ("label", "path", "source", "model", "sid", "root_source", "time_source")


class Series(NamedTuple):
    """The time and the values of a signal, as they were found: nothing is checked.

    time    any array, as a vector if it had one row or one column
    values  time along the first axis
    """

    time: Array
    values: Array


class Facts(NamedTuple):
    """Who a signal is, in one look; the fields are those of the signal, `run` is the run's id."""

    run: int
    label: str
    path: str = ""
    model: str = ""
    source: str = ""
    root_source: str = ""
    time_source: str = ""
    port: int = 0
    channel: tuple[int, ...] = ()
    sid: str = ""


class Extent(NamedTuple):
    """What values a signal has.

    kind   the name of their class, as NumPy's; "text" for texts
    shape  of a sample
    span   the first and the last time, nothing without samples
    """

    kind: str
    samples: int
    shape: tuple[int, ...]
    span: tuple[float, ...]


class Everything(NamedTuple):
    """All of a signal, in one look."""

    facts: Facts
    series: Series
    metadata: Any
    color: Color
    dash: str
    visible: bool
    tolerance: Tolerance
    sync: Sync
    parent: Any


class SignalReader(ABC):
    """A signal, for reading.

    id            its number: in the store, or from 1 in the order of a file
    label, path, model, source, root_source, time_source, sid
                  texts that tell it apart and where it came from; "" where not known
    port          the number of its port, 0 if it has none
    channel       numbers that tell it apart within its port
    metadata      whatever was kept with it, None if nothing was
    unit          the text under "unit" in the metadata, else None
    """

    __slots__ = ()

    @property
    @abstractmethod
    def id(self) -> int:
        ...

    @property
    @abstractmethod
    def run(self) -> RunReader[Any]:
        ...

    @property
    @abstractmethod
    def label(self) -> str:
        ...

    @property
    @abstractmethod
    def path(self) -> str:
        ...

    @property
    @abstractmethod
    def model(self) -> str:
        ...

    @property
    @abstractmethod
    def source(self) -> str:
        ...

    @property
    @abstractmethod
    def root_source(self) -> str:
        ...

    @property
    @abstractmethod
    def time_source(self) -> str:
        ...

    @property
    @abstractmethod
    def port(self) -> int:
        ...

    @property
    @abstractmethod
    def channel(self) -> tuple[int, ...]:
        ...

    @property
    @abstractmethod
    def sid(self) -> str:
        ...

    @property
    @abstractmethod
    def metadata(self) -> Any:
        ...

    @property
    @abstractmethod
    def tolerance(self) -> Tolerance:
        ...

    @property
    @abstractmethod
    def sync(self) -> Sync:
        ...

    @property
    @abstractmethod
    def color(self) -> Color:
        ...

    @property
    @abstractmethod
    def dash(self) -> str:
        ...

    @property
    @abstractmethod
    def visible(self) -> bool:
        ...

    @abstractmethod
    def _series(self) -> Series:
        """Time and values as found. Raises NoValues, or FormatError from a file."""

    def _key(self) -> Any:
        """Stands for the signal in a dictionary, without keeping what it has read."""
        return self

    def _everything(self) -> Everything:
        return Everything(
            self._facts(), self._series(), self.metadata, self.color, self.dash, self.visible,
            self.tolerance, self.sync, getattr(self, "parent", None),
        )  # fmt: skip

    def _extent(self) -> Extent:
        """What values it has; a file may know without reading them. Raises as `_series`."""
        time, values = self._series()
        kind = "text" if values.dtype.kind in "UO" else values.dtype.name
        span: tuple[float, ...] = ()
        if time.size and time.dtype.kind in "iuf":
            span = float(time.flat[0]), float(time.flat[-1])
        return Extent(kind, len(values), values.shape[1:], span)

    def _facts(self) -> Facts:
        names = Facts._fields[1:]
        return Facts(self.run.id, *(getattr(self, name) for name in names))

    @property
    def unit(self) -> str | None:
        """The unit of the values, None if not known."""
        return unit_in(self.metadata)

    @property
    def time(self) -> Array:
        """The times, (n,), read-only. Seconds since 1970-01-01 if `time_source` says so.

        Raises NoValues if the signal has no readable time series.
        """
        return self._series().time

    @property
    def values(self) -> Array:
        """The samples, (n,) or (n, ...), read-only; arrays of `str` for a signal of text.

        Raises NoValues if the signal has no readable time series.
        """
        return self._series().values

    def plot(self, ax: Any = None) -> Any:
        """Draw it into matplotlib axes, the present ones if None is given; returns the axes.

        Steps or lines, as its synchronisation options say. Raises ValueError for what is not real
        numbers, MissingPackage without matplotlib.

        >>> run = kvr.Store().new_run("Monday")
        >>> speed = run.add("speed", [4.5, 7.0], time=[0.0, 0.1], unit="m/s")
        >>> from matplotlib.figure import Figure
        >>> speed.plot(Figure().subplots()).get_ylabel()
        'm/s'
        """
        from kvr import _plots

        return _plots.draw(self, ax)

    def to_series(self) -> pandas.Series[Any]:
        """The signal as a pandas Series: its values over its times, named by its label.

        Raises ValueError for a signal of several components, MissingPackage without pandas.

        >>> run = kvr.Store().new_run("Monday")
        >>> run.add("speed", [4.5, 7.0], time=[0.0, 0.1]).to_series().tolist()
        [4.5, 7.0]
        """
        from kvr import _frames

        return _frames.series(self)


Signal = TypeVar("Signal", bound=SignalReader)


class Look(NamedTuple):
    """A signal, who it is, and what else a look at its whole run told; None if it did not.

    settings  the tolerance and the synchronisation options in force
    """

    signal: SignalReader
    facts: Facts
    series: Series | None = None
    settings: tuple[Tolerance, Sync] | None = None


class RunReader(ABC, Generic[Signal]):
    """A run, for reading: a named sequence of signals.

    id        its number: in the store, or from 1 in the order of a file
    name      need not be unique, may be empty
    instance  the instance of the host that it belongs to, None if it stands in no list
    version   the version of the host that recorded it, as text
    created   an aware datetime in UTC
    """

    __slots__ = ()

    @property
    @abstractmethod
    def id(self) -> int:
        ...

    @property
    @abstractmethod
    def name(self) -> str:
        ...

    @property
    @abstractmethod
    def instance(self) -> int | None:
        ...

    @property
    @abstractmethod
    def version(self) -> str:
        ...

    @property
    @abstractmethod
    def created(self) -> datetime:
        ...

    @property
    @abstractmethod
    def signals(self) -> Sequence[Signal]:
        ...

    @property
    @abstractmethod
    def tolerance(self) -> Tolerance:
        ...

    @property
    @abstractmethod
    def sync(self) -> Sync:
        ...

    def _looks(self) -> Sequence[Look]:
        """A look at each signal, in their order; in fewer steps than signal by signal."""
        return [Look(signal, signal._facts()) for signal in self.signals]

    def __len__(self) -> int:
        return len(self.signals)

    def __bool__(self) -> bool:
        return True  # a run is one also without signals

    def __iter__(self) -> Iterator[Signal]:
        return iter(self.signals)

    def _labelled(self, label: str) -> list[Signal]:
        return [signal for signal in self.signals if signal.label == label]

    def __getitem__(self, label: str) -> Signal:
        """The signal of this label. Raises NotFound, or Ambiguous if several have it."""
        if not isinstance(label, str):
            raise TypeError(f"signals are looked up by label; {label!r} is not a text")
        found = self._labelled(label)
        if len(found) == 1:
            return found[0]
        if found:
            places = [signal.path or "an empty path" for signal in found[:10]]
            more = [f"{len(found) - 10} more"] if len(found) > 10 else []
            raise Ambiguous(
                f"{len(found)} signals are labelled {_names.quoted(label)}, "
                f"at {_names.joined(places + more, 'and')}"
            )
        labels = [signal.label for signal in self.signals]
        hint = _names.near_misses(label, labels) if labels else "the run has no signals"
        raise NotFound(f"no signal is labelled {_names.quoted(label)}; {hint}")

    def __contains__(self, wanted: object) -> bool:
        if isinstance(wanted, str):
            return bool(self._labelled(wanted))
        return any(signal == wanted for signal in self.signals)

    def find(self, pattern: str | re.Pattern[str], by: str = "label") -> list[Signal]:
        """The signals whose `by` matches, in the order of the run.

        A text is a shell pattern for the whole of it (``*``, ``?``, ``[...]``; case counts); a
        compiled regular expression may match anywhere. `by` is "label", "path", "source", "model",
        "sid", "root_source" or "time_source", else ValueError.

        >>> run = kvr.Store().new_run("Monday")
        >>> for name in ("engine", "engine oil", "brake"):
        ...     _ = run.add(name, [1.0], time=[0.0])
        >>> [signal.label for signal in run.find("eng*")]
        ['engine', 'engine oil']
        """
        return matching(self.signals, pattern, by)

    def to_dataframe(self) -> pandas.DataFrame:
        """The signals as columns over all their times; NaN where a signal has no sample.

        Columns are labels, with the path in front where a label stands twice, and with the
        component behind, as in ``force[0,1]``. Raises MissingPackage without pandas.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> run.to_dataframe()["speed"].tolist()
        [4.5, 7.0]
        """
        from kvr import _frames

        return _frames.dataframe(self)

    def to_xarray(self) -> xarray.Dataset:
        """The signals as variables of a Dataset, named as the columns of `to_dataframe`.

        Signals of equal times share the dimension "time"; others have one of their own.
        Raises MissingPackage without xarray.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> run.to_xarray()["speed"].dims
        ('time',)
        """
        from kvr import _frames

        return _frames.dataset(self)

    def plot(self, ax: Any = None) -> Any:
        """Draw its signals into matplotlib axes, as ``Signal.plot``; returns the axes.

        Texts and complex numbers are left out. Raises NoValues, MissingPackage without matplotlib.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> from matplotlib.figure import Figure
        >>> [line.get_label() for line in run.plot(Figure().subplots()).lines]
        ['speed']
        """
        from kvr import _plots

        return _plots.draw_run(self, ax)

    def save(self, path: str | os.PathLike[str]) -> None:
        """Write the run to a file, as ``Store.save``.

        >>> import pathlib, tempfile
        >>> path = pathlib.Path(tempfile.mkdtemp(), "monday.csv")
        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1], unit="m/s")
        >>> run.save(path)
        >>> print(path.read_text(), end="")
        time,speed [m/s]
        0.0,4.5
        0.1,7.0
        """
        from kvr import _formats

        _formats.save(path, [self], append=False)

    def _repr_html_(self) -> str:
        rows = [
            (signal.id, signal.label, signal.path, signal.unit or "")
            for signal in self.signals[: _html.ROWS]
        ]
        header = ("id", "label", "path", "unit")
        return _html.table(f"Run {self.id}: {self.name}", header, rows, len(self))


def unit_in(metadata: Any) -> str | None:
    """The unit that metadata have, None if they have none."""
    unit = metadata.get("unit") if isinstance(metadata, Mapping) else None
    return unit if isinstance(unit, str) else None


AnyRun = TypeVar("AnyRun", bound=RunReader[Any])


def run_named(runs: Sequence[AnyRun], name: str, owner: str, place: str = "") -> AnyRun:
    """The run of this name. Raises NotFound; Ambiguous if several share it.

    `owner` has the runs; `place` stands in front of the text of an error.
    """
    found = [run for run in runs if run.name == name]
    if len(found) == 1:
        return found[0]
    if found:
        ids = _names.joined([str(run.id) for run in found], "and")
        raise Ambiguous(
            f"{place}{len(found)} runs are named {_names.quoted(name)}, with the ids {ids}"
        )
    hint = _names.near_misses(name, [run.name for run in runs])
    wanted = _names.quoted(name)
    raise NotFound(f"{place}no run is named {wanted}; {hint or f'{owner} has no runs'}")


def run_numbered(runs: Iterable[AnyRun], number: int) -> AnyRun:
    """The run of this id. Raises NotFound."""
    found = next((run for run in runs if run.id == number), None)
    if found is None:
        raise NotFound(f"no run has the id {number}")
    return found


def matching(signals: Sequence[Signal], pattern: str | re.Pattern[str], by: str) -> list[Signal]:
    """Those of the signals whose field `by` matches. Raises ValueError for an unknown field."""
    if by not in SEARCHED:
        raise ValueError(f"by must be {_names.listed(SEARCHED, 'or')}, not {by!r}")
    matches = _names.matcher(pattern)
    return [signal for signal in signals if matches(getattr(signal, by))]


def read_only(array: Array) -> Array:
    """The array, made read-only: itself if it is, else a view."""
    if array.flags.writeable:
        array = array.view()
        array.flags.writeable = False
    return array


def as_texts(cells: Array) -> Array:
    """An array of `str` objects as one of texts, unless that takes far more memory.

    NumPy keeps every text at the length of the longest, four bytes a character.
    """
    total = sum(map(len, cells.flat))
    longest = max(map(len, cells.flat), default=0)
    if longest * cells.size > 16 * total + 1_000_000:
        return cells
    return np.array(cells, dtype=f"U{max(longest, 1)}")
