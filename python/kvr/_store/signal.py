"""A signal of the store."""

from __future__ import annotations

import re
from collections.abc import Iterable, Sequence
from functools import partial
from typing import TYPE_CHECKING, Any

import numpy as np
import vormel

from kvr._base.errors import Gone, NoValues
from kvr._base.names import quoted
from kvr._base.settings import Sync, Tolerance
from kvr._reading.signals import Color, Content, Everything, Facts, Series, SignalReader
from kvr._store import host as _host
from kvr._store.values import series_of

if TYPE_CHECKING:
    from kvr._store.run import Run


class Signal(SignalReader):
    """A signal of the store: found through its run, made by ``Run.add``.

    Everything is read from the store when it is asked for, and set there at once. An object of a
    signal that was removed raises Gone.

    id, run, label, path, model, source, root_source, time_source, port, channel, sid
                 who it is and where it came from; these never change
    time, values  read-only, (n,) and (n, ...), sharing memory with the store where they have more
                 than one sample and lie in memory
    parent       the signal it is part of; None without one, and once that was removed
    children     the signals that are part of it, the oldest first

    Signals are equal if they stand for the same signal of the same store.

    >>> run = kvr.Store().new_run("Monday")
    >>> speed = run.add("speed", [4.5, 7.0, 9.5], time=[0.0, 0.1, 0.2], unit="m/s")
    >>> speed.values, speed.unit
    (array([4.5, 7. , 9.5]), 'm/s')
    """

    __slots__ = ("_host", "_id", "_known")

    def __init__(self, host: Any, number: int) -> None:
        self._host = host
        self._id = number
        self._known: Facts | None = None

    # ---- The store behind it ----

    def _repository(self) -> Any:
        """A host object that reaches the store with this signal. Raises Gone."""
        present = _host.connect()
        if _host.same_store(self._host, present) and _exists(present, self._id):
            return present
        raise Gone(f"signal {self._id} was removed")

    def _record(self, repository: Any) -> dict[str, Any]:
        try:
            record: dict[str, Any] = repository.getSignal(self._id)
        except vormel.CallError:
            raise
        except vormel.Error as error:
            raise NoValues(
                f"the values of signal {self._id}, kept in the scratch file, are lost: {error}"
            ) from error
        return record

    def _facts(self) -> Facts:
        repository = self._repository()
        if self._known is None:
            try:
                self._known = _facts_of(self._record(repository))
            except NoValues:
                self._known = _facts_from_columns(repository, self._id)
        return self._known

    # ---- Who it is ----

    @property
    def id(self) -> int:
        """Its number in the store."""
        return self._id

    @property
    def run(self) -> Run:
        """The run that it belongs to."""
        from kvr._store.run import Run

        return Run(self._host, self._facts().run)

    @property
    def label(self) -> str:
        """The name of the signal, as displays show it."""
        return self._facts().label

    @property
    def path(self) -> str:
        """The path of the block that it came from, an empty text if none is known."""
        return self._facts().path

    @property
    def model(self) -> str:
        """The model that it came from, an empty text if none is known."""
        return self._facts().model

    @property
    def source(self) -> str:
        """The name of the data that it came from."""
        return self._facts().source

    @property
    def root_source(self) -> str:
        """The name of the whole that its data came from."""
        return self._facts().root_source

    @property
    def time_source(self) -> str:
        """Where its times came from; of dates 'seconds since 1970-01-01'."""
        return self._facts().time_source

    @property
    def port(self) -> int:
        """The number of its port, 0 if it has none."""
        return self._facts().port

    @property
    def channel(self) -> tuple[int, ...]:
        """The numbers that tell it apart within its port."""
        return self._facts().channel

    @property
    def sid(self) -> str:
        """The identifier of its block, an empty text if none is known."""
        return self._facts().sid

    @property
    def parent(self) -> Signal | None:
        """The signal that it is part of; None without one, and once that was removed."""
        repository = self._repository()
        number = int(repository.getChildrenAndParent(self._id)[2])
        return Signal(self._host, number) if number and _exists(repository, number) else None

    @property
    def children(self) -> tuple[Signal, ...]:
        """The signals that are part of it, the oldest first."""
        repository = self._repository()
        numbers = _host.numbers(repository.getChildrenAndParent(self._id)[1])
        return tuple(Signal(self._host, n) for n in numbers if _exists(repository, n))

    # ---- What it holds ----

    def _series(self) -> Series:
        return series_of(self._record(self._repository()))

    @property
    def metadata(self) -> Any:
        """Whatever is kept with the signal; None if nothing is. Settable."""
        return _metadata_of(self._record(self._repository()))

    @metadata.setter
    def metadata(self, value: Any) -> None:
        from kvr._reading.adding import host_metadata

        self._repository().setMetaData(self._id, host_metadata(value))

    def _everything(self) -> Everything:
        return self._everything_in(self._repository())

    def _everything_in(self, repository: Any) -> Everything:
        record = self._record(repository)
        above = int(record["ParentID"])
        tolerance = sync = None
        if not repository.isToleranceInherited(self._id):
            tolerance = Tolerance._from_store(repository.getTolerance(self._id))
        if not repository.isSyncOptionsInherited(self._id):
            sync = Sync._from_store(repository.getSyncOptions(self._id))
        return Everything(
            _metadata_of(record),
            bool(repository.getVisibility(self._id)),
            tolerance,
            sync,
            Signal(self._host, above) if above and _exists(repository, above) else None,
            partial(_content_of, record),
            record,
        )

    # ---- How it is drawn ----

    @property
    def color(self) -> Color:
        """Red, green and blue from 0 to 1. Settable, also as "#rrggbb"; else ValueError.

        What is neither a text nor numbers is a TypeError.
        """
        return _color_of(self._record(self._repository()))

    @color.setter
    def color(self, value: str | Sequence[float]) -> None:
        self._repository().setLineColor(self._id, *as_color(value))

    @property
    def dash(self) -> str:
        """The line style, "-", "--", ":" or "-."; any text can be set."""
        return str(self._record(self._repository())["LineDashed"])

    @dash.setter
    def dash(self, value: str) -> None:
        from kvr._reading.adding import text

        self._repository().setLineStyle(self._id, text("dash", value))

    @property
    def visible(self) -> bool:
        """Whether displays show it; a new signal is hidden. Settable; a TypeError for texts."""
        return bool(self._repository().getVisibility(self._id))

    @visible.setter
    def visible(self, value: bool) -> None:
        from kvr._reading.adding import truth

        self._repository().setVisibility(self._id, truth("visible", value))

    # ---- How it is compared ----

    @property
    def tolerance(self) -> Tolerance:
        """The tolerance in force: its own, or its run's if `.inherited`.

        Setting one gives the signal its own, ``del`` returns to the run's.
        """
        repository = self._repository()
        inherited = bool(repository.isToleranceInherited(self._id))
        structure = repository.getTolerance(self._id)
        return Tolerance._from_store(structure, inherited)  # type: ignore[no-any-return]

    @tolerance.setter
    def tolerance(self, value: Tolerance) -> None:
        if not isinstance(value, Tolerance):
            raise TypeError(f"tolerance must be a kvr.Tolerance, not {value!r}")
        self._repository().setTolerance(self._id, value.to_dict())

    @tolerance.deleter
    def tolerance(self) -> None:
        self._repository().resetTolerance(self._id)

    @property
    def sync(self) -> Sync:
        """The synchronisation options in force: its own, or its run's if `.inherited`.

        Setting some gives the signal its own, ``del`` returns to the run's.
        """
        repository = self._repository()
        inherited = bool(repository.isSyncOptionsInherited(self._id))
        structure = repository.getSyncOptions(self._id)
        return Sync._from_store(structure, inherited)  # type: ignore[no-any-return]

    @sync.setter
    def sync(self, value: Sync) -> None:
        if not isinstance(value, Sync):
            raise TypeError(f"sync must be a kvr.Sync, not {value!r}")
        self._repository().setSyncOptions(self._id, value.to_dict())

    @sync.deleter
    def sync(self) -> None:
        self._repository().resetSyncOptions(self._id)

    # ---- The rest ----

    def remove(self) -> None:
        """Remove it from the store; without a parent of its own it takes its children along.

        >>> run = kvr.Store().new_run("Monday")
        >>> run.add("speed", [4.5], time=[0.0]).remove()
        >>> len(run)
        0
        """
        self._repository().remove(self._id)

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Signal):
            return NotImplemented
        if self._id != other._id:
            return False
        return self._host is other._host or _host.same_store(self._host, other._host)

    def __hash__(self) -> int:
        return hash((Signal, self._id))

    def __repr__(self) -> str:
        try:
            facts = self._facts()
        except Gone:
            return f"<Signal {self._id}, gone>"
        place = f" at {quoted(facts.path)}" if facts.path else ""
        return f"<Signal {self._id} {quoted(facts.label)}{place} of run {facts.run}>"


def _exists(repository: Any, signal: int) -> bool:
    try:
        repository.getVisibility(signal)
    except vormel.Error as error:
        if _host.is_missing(error, "ID"):
            return False
        raise
    return True


def _metadata_of(record: dict[str, Any]) -> Any:
    held = record["MetaData"]
    nothing = isinstance(held, np.ndarray) and held.size == 0 and held.dtype == float
    return None if nothing else held


def _content_of(record: dict[str, Any]) -> Content:
    dash = str(record["LineDashed"])
    return Content(_facts_of(record), series_of(record), _color_of(record), dash)


def _color_of(record: dict[str, Any]) -> Color:
    red, green, blue = np.ravel(record["LineColor"]).tolist()
    return red, green, blue


def _facts_of(record: dict[str, Any]) -> Facts:
    port = _host.numbers(record["PortIndex"])
    return Facts(
        run=int(record["RunID"]),
        label=record["SignalLabel"],
        path=record["BlockSource"],
        model=record["ModelSource"],
        source=record["DataSource"],
        root_source=record["RootSource"],
        time_source=record["TimeSource"],
        port=port[0] if port else 0,
        channel=tuple(_host.numbers(record["Channel"])),
        sid=record["SID"],
    )


def _facts_from_columns(repository: Any, signal: int) -> Facts:
    """The facts of a signal whose record cannot be read, because its values are lost.

    What stands in no column is taken as not given.
    """
    runs = (int(repository.getRunID(i + 1)) for i in range(repository.getGroupCount("GRUNNAME")))
    run = next((run for run in runs if _holds(repository, run, signal)), None)
    if run is None:
        raise NoValues(f"signal {signal} stands in no listed run, and its record cannot be read")
    columns = ("GSIGNALNAME", "GBLOCKPATH", "GMODEL", "GDATASOURCE")
    label, path, model, source = (_group_of(repository, signal, column) for column in columns)
    return Facts(run, label, path, model, source)


def _holds(repository: Any, run: int, signal: int) -> bool:
    return bool(repository.isValidRunID(run) and repository.isValidSignalID(run, signal))


def _group_of(repository: Any, signal: int, column: str) -> str:
    for i in range(1, repository.getGroupCount(column) + 1):
        name = str(repository.getGroup(i, column, "ASC"))
        count = repository.getIDCount(name, column)
        if any(repository.getIDFromGroup(k, name, column) == signal for k in range(1, count + 1)):
            return name
    return ""


_HEX_COLOR = re.compile(r"#([0-9a-fA-F]{2})([0-9a-fA-F]{2})([0-9a-fA-F]{2})")


def _part_of_color(part: Any) -> float:
    if not isinstance(part, (int, float, np.number, np.bool_)) or isinstance(
        part, np.complexfloating
    ):
        raise TypeError(f"color must be '#rrggbb' or three numbers, not one with {part!r:.80}")
    return float(part)


def as_color(value: str | Sequence[float]) -> Color:
    if isinstance(value, str):
        match = _HEX_COLOR.fullmatch(value)
        if match is None:
            raise ValueError(f"color must be '#rrggbb' or three numbers, not {value!r:.80}")
        value = [int(part, 16) / 255 for part in match.groups()]
    if not isinstance(value, Iterable):
        raise TypeError(f"color must be '#rrggbb' or three numbers, not {value!r}")
    parts = [_part_of_color(part) for part in value]
    if len(parts) != 3 or not all(0 <= part <= 1 for part in parts):
        raise ValueError(f"color must be three numbers from 0 to 1, not {value!r}")
    red, green, blue = parts
    return red, green, blue
