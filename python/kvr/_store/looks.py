"""All signals of a run of the store in few calls: one record a signal, settings of the run once."""

from __future__ import annotations

from typing import Any

import vormel

from kvr._base.errors import NoValues
from kvr._base.settings import Sync, Tolerance
from kvr._reading.runs import Look
from kvr._store.signal import Signal, _facts_of
from kvr._store.values import series_of

_KEPT = 256 << 20  # bytes of series that are held; those beyond are read again when needed


def looks_at(host: Any, repository: Any, numbers: list[int]) -> list[Look]:
    """A look at each of the run's signals. A record that cannot be read is left to the signal."""
    settings = _Settings(repository)
    looks: list[Look] = []
    kept = 0
    for number in numbers:
        signal = Signal(host, number)
        try:
            record = repository.getSignal(number)
        except vormel.CallError:
            raise
        except vormel.Error:
            looks.append(Look(signal, signal._facts()))
            continue
        facts = signal._known = _facts_of(record)
        series = None
        if kept < _KEPT:
            try:
                series = series_of(record)
                kept += series.time.nbytes + series.values.nbytes
            except NoValues:
                pass
        looks.append(Look(signal, facts, series, settings.of(number)))
    return looks


class _Settings:
    """The settings in force for signals of one run; those of the run are read once."""

    def __init__(self, repository: Any) -> None:
        self._repository = repository
        self._tolerance: Tolerance | None = None
        self._sync: Sync | None = None

    def of(self, number: int) -> tuple[Tolerance, Sync]:
        repository = self._repository
        if not repository.isToleranceInherited(number):
            tolerance = Tolerance._from_store(repository.getTolerance(number))
        elif self._tolerance is None:
            tolerance = Tolerance._from_store(repository.getTolerance(number), inherited=True)
            self._tolerance = tolerance
        else:
            tolerance = self._tolerance
        if not repository.isSyncOptionsInherited(number):
            sync = Sync._from_store(repository.getSyncOptions(number))
        elif self._sync is None:
            sync = Sync._from_store(repository.getSyncOptions(number), inherited=True)
            self._sync = sync
        else:
            sync = self._sync
        return tolerance, sync
