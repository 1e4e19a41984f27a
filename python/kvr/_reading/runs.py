"""What a run of the store and of a file have in common."""

from __future__ import annotations

import operator
import os
import re
from abc import ABC, abstractmethod
from collections.abc import Callable, Iterable, Iterator, Sequence
from datetime import datetime
from typing import TYPE_CHECKING, Any, Generic, NamedTuple, TypeVar, overload

from kvr._base import html
from kvr._base.errors import Ambiguous, NotFound
from kvr._base.names import joined, near_misses, quoted
from kvr._base.settings import Sync, Tolerance
from kvr._reading import frames, plots
from kvr._reading.adding import whole_number
from kvr._reading.signals import Everything, Facts, Series, Signal, SignalReader, matching

if TYPE_CHECKING:
    import pandas  # type: ignore[import]
    import xarray


class Look(NamedTuple):
    """A signal, who it is, and what else a look at its whole run told; None if it did not.

    settings  the tolerance and the synchronisation options in force
    """

    signal: SignalReader
    facts: Facts
    series: Series | None = None
    settings: tuple[Tolerance, Sync] | None = None


class Looks(Sequence[Look]):
    """A look at each signal of a run, in their order.

    held  what the extension holds of them, None if it holds nothing
    """

    held: Any = None

    def __init__(self, looks: Sequence[Look]) -> None:
        self._looks = looks

    def __len__(self) -> int:
        return len(self._looks)

    @overload
    def __getitem__(self, place: int) -> Look:
        ...

    @overload
    def __getitem__(self, place: slice) -> Sequence[Look]:
        ...

    def __getitem__(self, place: int | slice) -> Look | Sequence[Look]:
        return self._looks[place]

    def arriving(self) -> Iterator[range]:
        """The places of the signals as they become known; for the others there is no look yet."""
        yield range(len(self))

    def column(self, field: str, places: range | None = None) -> list[Any]:
        """A field of the facts of the signals at these places, which follow each other, or of all."""
        looks = self._looks if places is None else self._looks[places.start : places.stop]
        return [getattr(look.facts, field) for look in looks]

    def settings(self, place: int) -> tuple[Tolerance, Sync]:
        """The tolerance and the synchronisation options in force for a signal."""
        look = self._looks[place]
        return look.settings or (look.signal.tolerance, look.signal.sync)

    def release(self) -> None:
        """Let go of all samples, which may be as large as the run."""


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

    def _looks(self, wants_settings: bool = True, reads: bool = True) -> Looks:
        """A look at each signal, in their order; in fewer steps than signal by signal.

        Without `wants_settings` the settings of the looks are not asked for. Without `reads` signals
        may be read later, by `Looks.arriving`.
        """
        return Looks([Look(signal, signal._facts()) for signal in self.signals])

    def _everything_of(self) -> Callable[[Signal], Everything]:
        """A function that reads all of a signal of the run, for reading one after the other."""
        return lambda signal: signal._everything()

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
                f"{len(found)} signals are labelled {quoted(label)}, "
                f"at {joined(places + more, 'and')}"
            )
        labels = [signal.label for signal in self.signals]
        hint = near_misses(label, labels) if labels else "the run has no signals"
        raise NotFound(f"no signal is labelled {quoted(label)}; {hint}")

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
        return frames.dataframe(self)

    def to_xarray(self) -> xarray.Dataset:
        """The signals as variables of a Dataset, named as the columns of `to_dataframe`.

        Signals of equal times share the dimension "time"; others have one of their own.
        Raises MissingPackage without xarray.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> run.to_xarray()["speed"].dims
        ('time',)
        """
        return frames.dataset(self)

    def plot(self, ax: Any = None) -> Any:
        """Draw its signals into matplotlib axes, as ``Signal.plot``; returns the axes.

        Texts and complex numbers are left out. Raises NoValues, MissingPackage without matplotlib.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> from matplotlib.figure import Figure
        >>> [line.get_label() for line in run.plot(Figure().subplots()).lines]
        ['speed']
        """
        return plots.draw_run(self, ax)

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
        self._save(path)

    @abstractmethod
    def _save(self, path: str | os.PathLike[str]) -> None:
        """As `save`: the formats stand above this folder."""

    def _repr_html_(self) -> str:
        rows = [
            (signal.id, signal.label, signal.path, signal.unit or "")
            for signal in self.signals[: html.ROWS]
        ]
        header = ("id", "label", "path", "unit")
        return html.table(f"Run {self.id}: {self.name}", header, rows, len(self))


AnyRun = TypeVar("AnyRun", bound=RunReader[Any])


def require_place(key: Any, count: int, owner: str) -> None:
    """Raises IndexError for a position that `owner` with `count` runs has not, TypeError for none."""
    if isinstance(key, slice):
        return
    if not hasattr(key, "__index__"):
        raise TypeError(f"runs are looked up by name or position, not by {key!r:.80}")
    if not -count <= operator.index(key) < count:
        runs = "1 run" if count == 1 else f"{count} runs"
        raise IndexError(f"{owner} has {runs}, none at position {key}")


def run_named(runs: Sequence[AnyRun], name: str, owner: str, place: str = "") -> AnyRun:
    """The run of this name. Raises NotFound; Ambiguous if several share it.

    `owner` has the runs; `place` stands in front of the text of an error.
    """
    found = [run for run in runs if run.name == name]
    if len(found) == 1:
        return found[0]
    if found:
        ids = joined([str(run.id) for run in found], "and")
        raise Ambiguous(f"{place}{len(found)} runs are named {quoted(name)}, with the ids {ids}")
    hint = near_misses(name, [run.name for run in runs])
    wanted = quoted(name)
    raise NotFound(f"{place}no run is named {wanted}; {hint or f'{owner} has no runs'}")


def run_numbered(runs: Iterable[AnyRun], number: int) -> AnyRun:
    """The run of this id. Raises NotFound, TypeError for what is no whole number."""
    number = whole_number("id", number)
    found = next((run for run in runs if run.id == number), None)
    if found is None:
        raise NotFound(f"no run has the id {number}")
    return found
