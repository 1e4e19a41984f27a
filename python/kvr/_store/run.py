"""A run of the store."""

from __future__ import annotations

import os
from collections.abc import Callable, Iterable, Iterator, Mapping
from datetime import datetime
from itertools import chain
from typing import TYPE_CHECKING, Any

import numpy.typing as npt
import vormel

from kvr._base import dates as _dates
from kvr._base.errors import Gone, NotFound, NoValues
from kvr._base.names import quoted
from kvr._base.settings import Sync, Tolerance
from kvr._reading import adding
from kvr._files import formats
from kvr._reading.runs import Looks, RunReader
from kvr._reading.signals import Everything, Facts
from kvr._store import host as _host
from kvr._store.signal import Signal

if TYPE_CHECKING:
    import pandas  # type: ignore[import]

# The store lists the runs of an instance, but not the instances. Numbers met so far are tried
# first, then those that the run's signals carry, then these.
_USUAL_INSTANCES = (range(1 << 16), range(-1, -257, -1))
_instances_met: dict[int, None] = {}


class Run(RunReader[Signal]):
    """A run of the store: made by ``Store.new_run``, found in ``Store.runs``.

    Everything is read from the store when it is asked for, and set there at once. An object of a
    run that was removed raises Gone. Iteration and ``len`` go over its signals, in the order in
    which they were added; ``run["speed"]`` is the signal of that label.

    Runs are equal if they stand for the same run of the same store.

    >>> run = kvr.Store().new_run("Monday")
    >>> _ = run.add("speed", [4.5, 7.0, 9.5], time=[0.0, 0.1, 0.2])
    >>> run["speed"].values
    array([4.5, 7. , 9.5])
    """

    __slots__ = ("_host", "_id")

    def __init__(self, host: Any, number: int) -> None:
        self._host = host
        self._id = number

    def _repository(self) -> Any:
        """A host object that reaches the store with this run. Raises Gone."""
        present = _host.connect()
        if _host.same_store(self._host, present):
            try:
                present.getDateCreated(self._id)
                return present
            except vormel.Error as error:
                if not _host.is_missing(error, "Run ID"):
                    raise
        raise Gone(f"run {self._id} was removed")

    # ---- Who it is ----

    @property
    def id(self) -> int:
        """Its number in the store."""
        return self._id

    @property
    def name(self) -> str:
        """The name, any text, not necessarily unique. Settable."""
        return str(self._repository().getRunName(self._id))

    @name.setter
    def name(self, value: str) -> None:
        self._repository().setRunName(self._id, adding.text("name", value))

    @property
    def instance(self) -> int | None:
        """The instance in whose list of runs the store has this run; None if it is in none.

        The store does not list its instances. A run without signals that another program put under
        a number outside -256 to 65535 reads as None.
        """
        repository = self._repository()
        carried = self._carried_instances(repository)
        for candidate in chain(tuple(_instances_met), carried, *_USUAL_INSTANCES):
            if self._id in _host.numbers(repository.getAllRunIDs(candidate)):
                _instances_met[int(candidate)] = None
                return int(candidate)
        return None

    def _carried_instances(self, repository: Any) -> Iterator[int]:
        for number in self._signal_numbers(repository):
            yield repository.getInstanceID(number)

    @property
    def version(self) -> str:
        """The version of the host that recorded it."""
        return str(self._repository().getVersion(self._id))

    @property
    def created(self) -> datetime:
        """When it was recorded: an aware datetime in UTC. Settable; a naive one is a ValueError."""
        return _dates.from_host_day(float(self._repository().getDateCreated(self._id)))

    @created.setter
    def created(self, value: datetime) -> None:
        self._repository().setDateCreated(self._id, _dates.to_host_day(value))

    # ---- Its signals ----

    def _signal_count(self, repository: Any) -> int:
        try:
            repository.getID(self._id, 1)
        except vormel.Error as error:
            if _host.is_missing(error, "Run ID", "Index"):
                return 0
            raise
        return int(repository.getSignalCount(self._id))

    def _signal_numbers(self, repository: Any) -> list[int]:
        number_at, run = repository.getID, self._id
        count = self._signal_count(repository)
        return [int(number_at(run, place)) for place in range(1, count + 1)]

    @property
    def signals(self) -> tuple[Signal, ...]:
        """The signals as they are now, in the order in which they were added."""
        numbers = self._signal_numbers(self._repository())
        return tuple(Signal(self._host, number) for number in numbers)

    def _looks(self, wants_settings: bool = True, reads: bool = True) -> Looks:
        from kvr._store.looks import StoreLooks

        repository = self._repository()
        numbers = self._signal_numbers(repository)
        looks = StoreLooks(self._host, repository, numbers, wants_settings)
        if reads:
            for _ in looks.arriving():
                pass
        return looks

    def _everything_of(self) -> Callable[[Signal], Everything]:
        repository = self._repository()
        return lambda signal: signal._everything_in(repository)

    def __len__(self) -> int:
        return self._signal_count(self._repository())

    def _labelled(self, label: str) -> list[Signal]:
        from kvr._store.columns import group_members

        repository = self._repository()
        members = group_members(repository, "GSIGNALNAME", label)
        own = (n for n in members if repository.isValidSignalID(self._id, n))
        return [Signal(self._host, number) for number in own]

    def add(
        self,
        label: str,
        values: npt.ArrayLike,
        time: npt.ArrayLike,
        *,
        path: str = "",
        model: str = "",
        source: str = "",
        root_source: str = "",
        time_source: str = "",
        port: int = 0,
        channel: int | Iterable[int] = (),
        sid: str = "",
        unit: str | None = None,
        metadata: Any = None,
        parent: Signal | None = None,
    ) -> Signal:
        """Add a signal and return it.

        values   (n,) or (n, ...): numbers, truths or texts, kept in their class
        time     (n,): numbers that do not fall, or dates, which become seconds since 1970-01-01
        unit     goes into the metadata under "unit"
        parent   a signal of the store that this one is part of

        Raises ValueError, which says what does not fit and where; Gone if the run or the parent
        is; OSError where the scratch file cannot be written. A refused signal leaves the store as
        it was.

        >>> run = kvr.Store().new_run("Monday")
        >>> run.add("speed", [4.5, 7.0], time=[0.0, 0.1], path="car/engine", unit="m/s")
        <Signal 1 'speed' at 'car/engine' of run 1>
        >>> run.add("speed", [4.5, 7.0], time=[0.1, 0.0])
        Traceback (most recent call last):
        ValueError: time falls at time[1]: 0.0 comes after 0.1
        """
        texts = {"label": label, "path": path, "model": model, "source": source, "sid": sid}
        for name, value in (texts | {"root_source": root_source}).items():
            adding.text(name, value)
        times, dates = adding.time_vector(time)
        time_source = adding.source_of_time(time_source, dates)
        samples = adding.sample_array(values, times.size)
        port = adding.int32("port", port, least=0)
        channels = tuple(adding.channel_numbers(channel))
        metadata = adding.host_metadata(adding.metadata_with_unit(metadata, unit))
        if parent is not None and not isinstance(parent, Signal):
            raise TypeError(f"parent must be a kvr.Signal, not {parent!r}")
        above = 0
        if parent is not None:
            parent._repository()  # raises Gone
            above = parent.id
        facts = Facts(
            self._id, label, path, model, source, root_source, time_source, port, channels, sid
        )
        return self._put(self._repository(), facts, times.reshape(-1, 1), samples, metadata, above)

    def _put(
        self,
        repository: Any,
        facts: Facts,
        times: Any,
        samples: npt.NDArray[Any],
        metadata: Any,
        above: int,
    ) -> Signal:
        """Add a signal whose parts are checked; `times` are a column. Raises OSError as `add`."""
        series = adding.host_series(samples, times)
        sample_dims = list(samples.shape[1:]) or [1]
        _, label, path, model, source, root_source, time_source, port, channel, sid = facts
        try:
            number = repository.add(
                None, self._id, root_source, time_source, source, series, path, model, label,
                1, sample_dims, port, list(channel), sid, metadata, above, source,
            )  # fmt: skip
        except vormel.Error as error:
            if _host.is_scratch_failure(error):
                raise OSError("the values cannot be written to the scratch file") from error
            raise
        return Signal(self._host, int(number))

    def add_frame(
        self,
        frame: pandas.DataFrame | pandas.Series[Any],
        *,
        time: Any = None,
        path: str = "",
        units: Mapping[Any, str] | None = None,
    ) -> tuple[Signal, ...]:
        """Add every column of a pandas DataFrame as a signal, or a Series as one; returns them.

        time     the column that has the times; None takes the index
        path     of the signals; with several levels of column names, all but the last follow it
        units    by column; None takes ``frame.attrs["units"]``, or ``attrs["unit"]`` of a Series

        Times are numbers, dates (aware ones as UTC) or timedeltas, which become seconds. Missing
        values are NaN, in texts "". Raises as ``add``, KeyError without such a column; a refused
        column leaves the store as it was.

        >>> import pandas
        >>> frame = pandas.DataFrame({"speed": [4.5, 7.0]}, index=[0.0, 0.1])
        >>> frame.attrs["units"] = {"speed": "m/s"}
        >>> (speed,) = kvr.Store().new_run("Monday").add_frame(frame)
        >>> speed.values, speed.unit
        (array([4.5, 7. ]), 'm/s')
        """
        from kvr._store.adding_frames import columns_of

        added: list[Signal] = []
        try:
            for column in columns_of(frame, time, units):
                place = "/".join(part for part in (path, column.path) if part)
                try:
                    signal = self.add(
                        column.label, column.values, column.time, path=place, unit=column.unit
                    )
                except ValueError as error:
                    raise ValueError(f"column {column.label[:80]!r}: {error}") from error
                added.append(signal)
        except BaseException:
            for signal in added:
                signal.remove()
            raise
        return tuple(added)

    # ---- How its signals are compared ----

    @property
    def tolerance(self) -> Tolerance:
        """The tolerance of its signals that have none of their own. Settable.

        A run to which no signal was ever added has none to set: ValueError. It reads as the
        store's default, which allows nothing.
        """
        structure = self._settings("getToleranceByRun")
        if structure is None:
            return Tolerance()
        return Tolerance._from_store(structure)  # type: ignore[no-any-return]

    @tolerance.setter
    def tolerance(self, value: Tolerance) -> None:
        if not isinstance(value, Tolerance):
            raise TypeError(f"tolerance must be a kvr.Tolerance, not {value!r}")
        self._set_settings("setToleranceByRun", "tolerance", value.to_dict())

    @property
    def sync(self) -> Sync:
        """The synchronisation options of its signals that have none of their own. Settable.

        A run to which no signal was ever added has none to set: ValueError. It reads as the
        store's defaults: union, zoh.
        """
        structure = self._settings("getSyncOptionsByRun")
        if structure is None:
            return Sync()
        return Sync._from_store(structure)  # type: ignore[no-any-return]

    @sync.setter
    def sync(self, value: Sync) -> None:
        if not isinstance(value, Sync):
            raise TypeError(f"sync must be a kvr.Sync, not {value!r}")
        self._set_settings("setSyncOptionsByRun", "sync", value.to_dict())

    def _settings(self, method: str) -> dict[str, Any] | None:
        repository = self._repository()
        try:
            structure: dict[str, Any] = getattr(repository, method)(self._id)
        except vormel.Error as error:
            if _host.is_missing(error, "Run ID"):
                return None
            raise
        return structure

    def _set_settings(self, method: str, name: str, structure: dict[str, Any]) -> None:
        repository = self._repository()
        try:
            getattr(repository, method)(self._id, structure)
        except vormel.Error as error:
            if _host.is_missing(error, "Run ID"):
                raise ValueError(
                    f"run {self._id} has no signals, and so no {name} to set: add a signal first"
                ) from None
            raise

    # ---- The rest ----

    def copy(self, instance: int | None = None) -> Run:
        """A new run with the same name and copies of the signals, in the same instance or another.

        Copies start with the store's default settings and with colours of their own, hidden, and
        without parents. Raises NoValues, and copies nothing, if values lay in a scratch file that
        is gone.

        >>> store = kvr.Store()
        >>> twin = store.new_run("Monday").copy()
        >>> twin.name, twin.id, len(store)
        ('Monday', 2, 2)
        """
        if instance is None:
            own = self.instance
            instance = 1 if own is None else own
        instance = adding.int32("instance", instance)
        repository = self._repository()
        count = len(run_numbers(repository))
        try:
            number = int(repository.copyRun(self._id, instance))
        except vormel.Error as error:
            for begun in run_numbers(repository)[count:]:
                repository.removeRun(begun)
            if not _host.is_missing(error, "ID"):
                raise
            raise NoValues(
                f"run {self._id} cannot be copied: the values of a signal, kept in the scratch "
                f"file, are lost: {error}"
            ) from error
        _instances_met[instance] = None
        return Run(self._host, number)

    def _save(self, path: str | os.PathLike[str]) -> None:
        formats.save(path, [self], append=False)

    def remove(self) -> None:
        """Remove the run and its signals from the store.

        >>> store = kvr.Store()
        >>> store.new_run("Monday").remove()
        >>> len(store)
        0
        """
        self._repository().removeRun(self._id)

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Run):
            return NotImplemented
        if self._id != other._id:
            return False
        return self._host is other._host or _host.same_store(self._host, other._host)

    def __hash__(self) -> int:
        return hash((Run, self._id))

    def __repr__(self) -> str:
        try:
            return f"<Run {self._id} {quoted(self.name)}, {_counted(len(self), 'signal')}>"
        except Gone:
            return f"<Run {self._id}, gone>"


def new_run(name: str, instance: int) -> Run:
    """A new, empty run in the store of the process."""
    name, instance = adding.text("name", name), adding.int32("instance", instance)
    host = _host.connect()
    number = int(host.createEmptyRun(name, instance))
    _instances_met[instance] = None
    return Run(host, number)


def run_numbers(repository: Any) -> list[int]:
    """The ids of the runs that the store lists, each once, in the order of creation.

    The store's list can name a run twice, or one that is gone: where ``removeEmptyRun`` removed
    another run than the newest, numbers are given out twice.
    """
    count = repository.getGroupCount("GRUNNAME")
    listed = dict.fromkeys(int(repository.getRunID(i)) for i in range(1, count + 1))
    return [number for number in listed if repository.isValidRunID(number)]


def run_of_number(number: int) -> Run:
    """The run of an id. Raises NotFound."""
    number = adding.whole_number("id", number)
    host = _host.connect()
    if not adding.fits_int32(number) or not host.isValidRunID(number):
        raise NotFound(f"no run has the id {number}")
    return Run(host, number)


def _counted(count: int, noun: str) -> str:
    return f"{count} {noun}" if count == 1 else f"{count} {noun}s"
