"""What the server knows of the store: a row for each run and signal, and what changed since a look.

The store tells nobody of a change, and the program around the server may make some, through this
package or through the module. The server therefore looks: at all of the store when the state is
asked for, at what it changed itself after each change, and again and again while a window listens.
"""

from __future__ import annotations

from typing import Any, NamedTuple, TypeVar

import numpy as np
import vormel

from kvr._store import host as _host
from kvr._base.dates import EPOCH_SOURCE
from kvr._base.errors import Gone, NoValues
from kvr._reading.signals import Facts, Series, unit_in
from kvr._store.run import Run, run_numbers
from kvr._base.settings import Sync, Tolerance
from kvr._store.signal import Signal, _color_of, _facts_of, _metadata_of
from kvr._store.store import Store
from kvr._store.values import series_of

Settings = TypeVar("Settings", Tolerance, Sync)


class RunRow(NamedTuple):
    """A run; `tolerance` and `sync` are None without signals, `created` if it is no date."""

    id: int
    name: str
    instance: int | None
    version: str
    created: str | None
    signals: tuple[int, ...]
    tolerance: Tolerance | None
    sync: Sync | None


class Contents(NamedTuple):
    """What a signal holds, which never changes.

    kind    the class of its values as NumPy names it, "text" for texts, "none" if there are none
    shape   of a sample
    start   the first time and the last, None without samples
    """

    facts: Facts
    kind: str
    samples: int
    shape: tuple[int, ...]
    start: float | None
    end: float | None
    drawable: bool


class SignalRow(NamedTuple):
    """A signal: what it holds, and what can change."""

    id: int
    contents: Contents
    unit: str | None
    parent: int | None
    color: str
    dash: str
    visible: bool
    tolerance: Tolerance
    tolerance_inherited: bool
    sync: Sync
    sync_inherited: bool


class Changes:
    """What a look found: that runs or signals came or went, and fields of others that changed.

    signals, runs  the changed fields by name, of each id
    gone           ids of signals that are there no more; None if the store was cleared
    revision       of the store with these changes
    """

    def __init__(self) -> None:
        self.came_or_went = False
        self.signals: dict[int, dict[str, Any]] = {}
        self.runs: dict[int, dict[str, Any]] = {}
        self.gone: set[int] | None = set()
        self.revision = 0

    def __bool__(self) -> bool:
        return self.came_or_went or bool(self.signals or self.runs)


class Mirror:
    """The rows as they were last seen. Only the worker's thread uses it."""

    def __init__(self) -> None:
        self._anchor: Any = None  # reaches the store that the rows are of
        self.runs: dict[int, RunRow] = {}
        self.signals: dict[int, SignalRow] = {}
        self._order: list[int] = []  # of the signals, also of those that have no row yet
        self._contents: dict[int, Contents] = {}
        self._changes = Changes()
        self.revision = 1

    def take_changes(self) -> Changes:
        """What changed since this was last asked; if anything did, the revision is a new one."""
        changes, self._changes = self._changes, Changes()
        if changes:
            self.revision += 1
        changes.revision = self.revision
        return changes

    # ---- Looking ----

    def look(self) -> Look:
        """A look at all of the store, to be taken in steps."""
        return Look(self)

    def order(self) -> list[int]:
        """The ids of all signals, run by run, as of the last look at the runs."""
        return list(self._order)

    def look_at(self, signals: list[int] | tuple[int, ...]) -> None:
        """Look at these signals, whose runs did not change."""
        self._present()
        for number in signals:
            self._look_at(number)

    def look_at_run(self, number: int) -> None:
        """Look at a run, and at its signals, which may have their settings from it."""
        self.look_at_runs()
        row = self.runs.get(number)
        self.look_at(row.signals if row else ())

    def look_at_runs(self) -> None:
        """Look at which runs and signals there are, and at what the runs are."""
        repository = self._present()
        seen: dict[int, RunRow] = {}
        for number in run_numbers(repository):
            try:
                seen[number] = self._run_row(repository, number)
            except (Gone, vormel.Error) as error:
                if isinstance(error, vormel.CallError):
                    raise
        order = [signal for row in seen.values() for signal in row.signals]
        if len(order) < repository.getSignalCount():  # some belong to a run in no list
            listed = set(order)
            order += [s.id for s in Store().signals if s.id not in listed]
        self._compare_runs(seen)
        self._compare_order(order)

    def _present(self) -> Any:
        """A host object of the present store; the rows are of no other."""
        repository = _host.connect()
        if self._anchor is None:
            self._anchor = repository
        elif not _host.same_store(self._anchor, repository):
            self._anchor = repository
            self._forget()
        return repository

    def _forget(self) -> None:
        """The store was cleared: its numbers begin at 1 again, for other runs and signals."""
        self.runs, self.signals, self._order, self._contents = {}, {}, [], {}
        self._changes.came_or_went = True
        self._changes.gone = None

    def _run_row(self, repository: Any, number: int) -> RunRow:
        known = self.runs.get(number)
        run = Run(repository, number)
        signals = tuple(run._signal_numbers(repository))
        tolerance = sync = None
        if signals:
            tolerance = _same(run.tolerance, known and known.tolerance)
            sync = _same(run.sync, known and known.sync)
        try:
            created = run.created.isoformat()
        except ValueError:
            created = None
        instance, version = (
            (known.instance, known.version) if known else (run.instance, run.version)
        )
        return RunRow(number, run.name, instance, version, created, signals, tolerance, sync)

    def _compare_runs(self, seen: dict[int, RunRow]) -> None:
        if list(seen) != list(self.runs):
            self._changes.came_or_went = True
        for number, row in seen.items():
            changed = _changed(self.runs.get(number), row)
            if changed:
                self._changes.runs.setdefault(number, {}).update(changed)
        self.runs = seen

    def _compare_order(self, order: list[int]) -> None:
        if order == self._order:
            return
        self._changes.came_or_went = True
        for number in set(self._order).difference(order):
            self._drop(number)
        self._order = order

    def _drop(self, number: int) -> None:
        self.signals.pop(number, None)
        self._contents.pop(number, None)
        if self._changes.gone is not None:
            self._changes.gone.add(number)

    def _look_at(self, number: int) -> None:
        known = self.signals.get(number)
        try:
            row = self._signal_row(number, known)
        except Gone:
            return  # the next look at the runs tells
        if row == known:
            return
        if known is None:
            self._changes.came_or_went = True
        else:
            changed = _changed(known, row)
            self._changes.signals.setdefault(number, {}).update(changed)
        self.signals[number] = row

    def _signal_row(self, number: int, known: SignalRow | None) -> SignalRow:
        signal = Signal(self._anchor, number)
        repository = signal._repository()
        color, dash, unit = "#000000", "-", None
        try:
            record = signal._record(repository)
        except NoValues:
            contents = self._contents.get(number) or _without_values(signal)
        else:
            contents = self._contents.get(number) or _contents_of(record)
            color, dash = _hex(_color_of(record)), str(record["LineDashed"])
            unit = unit_in(_metadata_of(record))
        self._contents[number] = contents
        run = self.runs.get(contents.facts.run)
        tolerance_inherited = bool(repository.isToleranceInherited(number))
        tolerance = run.tolerance if run and tolerance_inherited else None
        if tolerance is None:
            read = Tolerance._from_store(repository.getTolerance(number))
            tolerance = _same(read, known and known.tolerance)
        sync_inherited = bool(repository.isSyncOptionsInherited(number))
        sync = run.sync if run and sync_inherited else None
        if sync is None:
            sync = _same(Sync._from_store(repository.getSyncOptions(number)), known and known.sync)
        parent = known.parent if known else _parent_of(repository, number)
        if parent is not None and parent not in self._contents:
            parent = _parent_of(repository, number)
        return SignalRow(
            number, contents, unit, parent, color, dash, bool(repository.getVisibility(number)),
            tolerance, tolerance_inherited, sync, sync_inherited,
        )  # fmt: skip

    # ---- Answering ----

    def rows(self) -> list[SignalRow]:
        """The signals that were looked at: run by run, in the order in which they were added."""
        return [self.signals[number] for number in self._order if number in self.signals]

    def signal(self, number: int) -> Signal:
        """The signal of this id in the present store. Raises Gone."""
        found = Signal(self._present(), number)
        found._repository()
        return found

    def run(self, number: int) -> Run:
        """The run of this id in the present store. Raises Gone."""
        found = Run(self._present(), number)
        found._repository()
        return found


class Look:
    """A look at all of the store, a step a signal; between two steps the store may change.

    A step that fails, because the store is busy, can be taken again.
    """

    def __init__(self, mirror: Mirror) -> None:
        self._mirror = mirror
        self._rest: list[int] | None = None  # the next one last; None before the runs

    def step(self) -> bool:
        """Look at the next; False if there was none left."""
        if self._rest is None:
            self._mirror.look_at_runs()
            self._rest = self._mirror.order()[::-1]
            return True
        if not self._rest:
            return False
        self._mirror.look_at(self._rest[-1:])
        self._rest.pop()
        return True


def _same(read: Settings, known: Settings | None) -> Settings:
    """The known record if the one that was read equals it: most signals then share one."""
    return known if known is not None and known == read else read


def _changed(known: Any, row: Any) -> dict[str, Any]:
    """The fields of a row that are not as they were known; none of a row that is new."""
    if known is None or known == row:
        return {}
    pairs = zip(row._fields, known, row)
    return {name: value for name, old, value in pairs if value != old}


def _parent_of(repository: Any, number: int) -> int | None:
    above = int(repository.getChildrenAndParent(number)[2])
    if not above:
        return None
    try:
        repository.getVisibility(above)
    except vormel.Error as error:
        if _host.is_missing(error, "ID"):
            return None
        raise
    return above


def _contents_of(record: dict[str, Any]) -> Contents:
    try:
        time, values = series_of(record)
    except NoValues:
        return Contents(_facts_of(record), "none", 0, (), None, None, False)
    kind = "text" if values.dtype.kind in "UO" else values.dtype.name
    start, end = _span(time)
    drawable = is_drawable(Series(time, values))
    return Contents(_facts_of(record), kind, len(values), values.shape[1:], start, end, drawable)


def _without_values(signal: Signal) -> Contents:
    """What is known of a signal whose values are lost with the scratch file."""
    return Contents(signal._facts(), "none", 0, (), None, None, False)


def is_drawable(series: Series) -> bool:
    """Whether it has a curve: numbers or truths over a vector of as many times."""
    time, values = series
    return (
        values.dtype.kind in "biufc"
        and time.ndim == 1
        and time.dtype.kind in "biuf"
        and len(time) == len(values)
    )


def _span(time: np.ndarray[Any, Any]) -> tuple[float | None, float | None]:
    if not time.size or time.dtype.kind not in "biuf":
        return None, None
    return float(time.flat[0]), float(time.flat[-1])


def _hex(color: tuple[float, float, float]) -> str:
    return "#" + "".join(f"{round(255 * part):02x}" for part in color)


def is_date(facts: Facts) -> bool:
    """Whether its times are seconds since 1970-01-01."""
    return facts.time_source == EPOCH_SOURCE
