"""What a signal of the store and of a file have in common."""

from __future__ import annotations

import re
from abc import ABC, abstractmethod
from collections.abc import Callable, Mapping, Sequence
from typing import TYPE_CHECKING, Any, NamedTuple, TypeVar

import numpy as np
import numpy.typing as npt

from kvr._base.names import listed, matcher
from kvr._base.settings import Sync, Tolerance
from kvr._reading import frames, plots

if TYPE_CHECKING:
    import pandas  # type: ignore[import]

    from kvr._reading.runs import RunReader

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


class Content(NamedTuple):
    """Who a signal is, its samples, and how it is drawn."""

    facts: Facts
    series: Series
    color: Color
    dash: str


class Everything(NamedTuple):
    """All of a signal, in one look. Settings are its own, None if it has those of its run.

    content  called for what is not here
    record   the content as the store keeps it, which the extension may take instead; None of a file
    """

    metadata: Any
    visible: bool
    tolerance: Tolerance | None
    sync: Sync | None
    parent: Any
    content: Callable[[], Content]
    record: dict[str, Any] | None = None


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

    def _has_color(self) -> bool:
        """Whether its colour was given to it. Of a file it may be what stands for none."""
        return True

    @abstractmethod
    def _series(self) -> Series:
        """Time and values as found. Raises NoValues, or FormatError from a file."""

    def _key(self) -> Any:
        """Stands for the signal in a dictionary, without keeping what it has read."""
        return self

    def _content(self) -> Content:
        return Content(self._facts(), self._series(), self.color, self.dash)

    def _everything(self) -> Everything:
        tolerance, sync = self.tolerance, self.sync
        return Everything(
            self.metadata, self.visible,
            None if tolerance.inherited else tolerance, None if sync.inherited else sync,
            getattr(self, "parent", None), self._content,
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
        return plots.draw(self, ax)

    def to_series(self) -> pandas.Series[Any]:
        """The signal as a pandas Series: its values over its times, named by its label.

        Raises ValueError for a signal of several components, MissingPackage without pandas.

        >>> run = kvr.Store().new_run("Monday")
        >>> run.add("speed", [4.5, 7.0], time=[0.0, 0.1]).to_series().tolist()
        [4.5, 7.0]
        """
        return frames.series(self)


def unit_in(metadata: Any) -> str | None:
    """The unit that metadata have, None if they have none."""
    unit = metadata.get("unit") if isinstance(metadata, Mapping) else None
    return unit if isinstance(unit, str) else None


Signal = TypeVar("Signal", bound=SignalReader)


def matching(signals: Sequence[Signal], pattern: str | re.Pattern[str], by: str) -> list[Signal]:
    """Those of the signals whose field `by` matches. Raises ValueError for an unknown field."""
    if by not in SEARCHED:
        raise ValueError(f"by must be {listed(SEARCHED, 'or')}, not {by!r}")
    matches = matcher(pattern)
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
