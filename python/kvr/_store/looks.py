"""All signals of a run of the store in few calls: one record a signal, settings of the run once."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Any, overload

import vormel

from kvr import _kvr
from kvr._base.errors import NoValues
from kvr._base.settings import Sync, Tolerance
from kvr._reading.runs import Look, Looks
from kvr._reading.signals import Facts, Series
from kvr._store.signal import Signal, _facts_of
from kvr._store.values import series_of

_FIRST, _AT_ONCE = 8, 128  # signals that are read before someone looks at them
_KEPT = 256 << 20  # bytes of series that are held; those beyond are read again when needed


class StoreLooks(Looks):
    """The extension holds what is plain, which is nearly all; `_others` are the looks at the rest.

    `arriving` reads the signals. A record that cannot be read is left to the signal.
    """

    def __init__(
        self, host: Any, repository: Any, numbers: list[int], wants_settings: bool
    ) -> None:
        self._host = host
        self._repository = repository
        self._numbers = numbers
        self._others: dict[int, Look] = {}
        self.held = _kvr.SignalRecords(vormel.Object)
        self._bytes = 0  # of the series of the others
        self._source = _Settings(repository) if wants_settings else None
        self._settings: list[tuple[Tolerance, Sync]] = []

    def arriving(self) -> Iterator[range]:
        first, count, step = 0, len(self._numbers), _FIRST
        while first < count:
            end, step = min(first + step, count), min(step * 2, _AT_ONCE)
            if len(self.held) < end:
                self._read_to(end)
            yield range(first, end)
            first = end
        # A result keeps the looks, and must not keep an object of the host.
        self._repository = self._source = None

    def _read_to(self, end: int) -> None:
        held, read = self.held, self._repository.getSignal
        if self._source is not None:
            self._settings += map(self._source.of, self._numbers[len(held) : end])
        while len(held) < end:
            try:
                record = held.read_to(read, self._numbers, end, _KEPT - self._bytes)
            except vormel.CallError:
                raise
            except vormel.Error:
                signal = Signal(self._host, self._numbers[len(held)])
                self._add_other(signal, signal._facts())
                continue
            if record is not None:
                is_wanted = held.bytes + self._bytes < _KEPT
                series = self._series_in(record) if is_wanted else None
                signal = Signal(self._host, self._numbers[len(held)])
                self._add_other(signal, _facts_of(record), series)

    def _add_other(self, signal: Signal, facts: Facts, series: Series | None = None) -> None:
        place = len(self.held)
        self.held.add_nothing()
        signal._known = facts
        self._others[place] = Look(signal, facts, series, self._settings_at(place))

    def _settings_at(self, place: int) -> tuple[Tolerance, Sync] | None:
        return self._settings[place] if self._settings else None

    def _series_in(self, record: dict[str, Any]) -> Series | None:
        try:
            series = series_of(record)
        except NoValues:
            return None
        self._bytes += series.time.nbytes + series.values.nbytes
        return series

    def __len__(self) -> int:
        return len(self._numbers)

    @overload
    def __getitem__(self, place: int) -> Look:
        ...

    @overload
    def __getitem__(self, place: slice) -> list[Look]:
        ...

    def __getitem__(self, place: int | slice) -> Look | list[Look]:
        if isinstance(place, slice):
            return [self[one] for one in range(*place.indices(len(self)))]
        place = range(len(self))[place]
        other = self._others.get(place)
        if other is not None:
            return other
        signal = Signal(self._host, self._numbers[place])
        signal._known = facts = Facts(*self.held.facts(place))
        return Look(signal, facts, None, self._settings_at(place))

    def column(self, field: str, places: range | None = None) -> list[Any]:
        places = range(len(self)) if places is None else places
        values: list[Any] = self.held.column(field, places.start, places.stop)
        if self._others:
            for place in places:
                if place in self._others:
                    values[place - places.start] = getattr(self._others[place].facts, field)
        return values

    def settings(self, place: int) -> tuple[Tolerance, Sync]:
        return self._settings[place]

    def release(self) -> None:
        self.held.drop_series()
        self._others = {place: look._replace(series=None) for place, look in self._others.items()}


class _Settings:
    """The settings in force for signals of one run; those of the run are read once."""

    def __init__(self, repository: Any) -> None:
        self._repository = repository
        self._tolerance: Tolerance | None = None
        self._sync: Sync | None = None
        self._both: tuple[Tolerance, Sync] | None = None

    def of(self, number: int) -> tuple[Tolerance, Sync]:
        """Of a signal. Signals that inherit both get the same tuple."""
        repository = self._repository
        inherits_tolerance = repository.isToleranceInherited(number)
        inherits_sync = repository.isSyncOptionsInherited(number)
        if inherits_tolerance and inherits_sync and self._both is not None:
            return self._both
        tolerance = self._inherited_tolerance(number) if inherits_tolerance else None
        sync = self._inherited_sync(number) if inherits_sync else None
        both = (
            tolerance or Tolerance._from_store(repository.getTolerance(number)),
            sync or Sync._from_store(repository.getSyncOptions(number)),
        )
        if inherits_tolerance and inherits_sync:
            self._both = both
        return both

    def _inherited_tolerance(self, number: int) -> Tolerance:
        if self._tolerance is None:
            held = self._repository.getTolerance(number)
            self._tolerance = Tolerance._from_store(held, inherited=True)
        return self._tolerance

    def _inherited_sync(self, number: int) -> Sync:
        if self._sync is None:
            held = self._repository.getSyncOptions(number)
            self._sync = Sync._from_store(held, inherited=True)
        return self._sync
