"""Judging many pairs in several threads.

Signals are read in the calling thread, for the store takes calls from one thread at a time; arrays
are judged in the threads, a few batches ahead. Small pairs share a batch: handing one over costs
more than judging it.
"""

from __future__ import annotations

from collections.abc import Callable, Sequence
from concurrent.futures import FIRST_COMPLETED, Future, ThreadPoolExecutor, wait
from typing import NamedTuple, Union

from kvr import _kvr
from kvr._base.dates import EPOCH_SOURCE
from kvr._base.settings import Sync, Tolerance
from kvr._comparing.pairing import Pair
from kvr._comparing.sides import Side, side_of_arrays, side_of_signal
from kvr._comparing.verdict import Rules, Settings, calls_python, judge, native_rules
from kvr._comparing.verdicts import Found, Verdicts
from kvr._reading.runs import Looks

Choose = Callable[[Settings], Settings]

_AHEAD = 4  # batches for each thread that are read ahead
_BATCH_PAIRS = 256
_BATCH_SAMPLES = 250_000

# A side is one, or the place of a signal whose samples the extension holds.
_Task = tuple[Union[int, Side], Union[int, Side], _kvr.Rules, bool]


def judged(
    looks: tuple[Looks, Looks],
    pairs: Sequence[Pair],
    runs: tuple[str, str],
    rules: Rules,
    choose: Choose,
    threads: int,
    report: Callable[[int], object],
) -> Verdicts:
    """The verdicts in the order of the pairs; `report` is told how many there are by now.

    `choose` may see each distinct pair of settings once only. Whatever is raised, KeyboardInterrupt
    too, first ends what the threads are at.
    """
    stop = _kvr.Stop()
    found = Found(looks, pairs)
    with ThreadPoolExecutor(threads, "kvr-compare") as pool:
        judging = _Judging(pool, threads, found, rules, choose, stop)
        try:
            for place, (here, there) in enumerate(pairs):
                if here is None or there is None:
                    judging.done += 1
                else:
                    judging.take(place, here, there)
                report(judging.done)
            while judging.waits():
                report(judging.done)
        except BaseException:
            stop.set()
            judging.cancel()
            raise
    report(judging.done)
    for side in looks:
        side.release()
    return Verdicts(found, runs, rules)


class _Chosen(NamedTuple):
    """What pairs are judged with whose baseline signals have the same settings."""

    stored: tuple[Tolerance, Sync]  # held, so that no others get their ids
    settings: Settings
    native: _kvr.Rules
    calls_python: bool


class _Judging:
    """The batch that is being filled, and the batches that are judged."""

    def __init__(
        self,
        pool: ThreadPoolExecutor,
        threads: int,
        found: Found,
        rules: Rules,
        choose: Choose,
        stop: _kvr.Stop,
    ) -> None:
        self._pool = pool
        self._most = threads * _AHEAD
        self._found = found
        self._rules = rules
        self._choose = choose
        self._stop = stop
        baseline, other = found.looks
        self._settings_of = baseline.settings
        self._baseline_samples, self._other_samples = baseline.samples(), other.samples()
        self._dated = [source == EPOCH_SOURCE for source in baseline.column("time_source")]
        self._chosen: dict[tuple[int, int], _Chosen] = {}
        self._batch: list[_Task] = []
        self._members: list[int] = []
        self._samples = 0
        self._running: set[Future[list[_kvr.Finding]]] = set()
        self._waiting: dict[Future[list[_kvr.Finding]], list[int]] = {}
        self.done = 0

    def take(self, place: int, here: int, there: int) -> None:
        """Judge a pair: at once if that calls functions of Python, else in a batch."""
        chosen = self._choice(self._settings_of(here))
        dated = self._dated[here]
        self._found.settings[place] = chosen.settings
        self._found.dated[place] = dated
        looks = self._found.looks
        if chosen.calls_python:
            sides = _side_of(looks[0], here), _side_of(looks[1], there)
            self._found.fields[place] = judge(
                *sides, chosen.settings, self._rules, dated, self._stop
            )
            self.done += 1
            return
        baseline: int | Side = here
        other: int | Side = there
        baseline_samples, other_samples = self._baseline_samples[here], self._other_samples[there]
        if baseline_samples < 0:
            baseline = _side_of(looks[0], here)
            baseline_samples = len(baseline.times)
        if other_samples < 0:
            other = _side_of(looks[1], there)
            other_samples = len(other.times)
        self._batch.append((baseline, other, chosen.native, dated))
        self._members.append(place)
        self._samples += baseline_samples + other_samples
        if len(self._batch) >= _BATCH_PAIRS or self._samples >= _BATCH_SAMPLES:
            self._submit()
            if len(self._running) >= self._most:
                self._collect()

    def _choice(self, stored: tuple[Tolerance, Sync]) -> _Chosen:
        """What these settings come to. Most pairs share the records of their run."""
        key = id(stored[0]), id(stored[1])
        known = self._chosen.get(key)
        if known is None:
            settings = self._choose(_stored_settings(*stored))
            native = native_rules(settings, self._rules)
            known = _Chosen(stored, settings, native, calls_python(settings))
            self._chosen[key] = known
        return known

    def waits(self) -> bool:
        """Wait until more verdicts are there; False if all are."""
        self._submit()
        if not self._running:
            return False
        self._collect()
        return True

    def cancel(self) -> None:
        for future in self._running:
            future.cancel()

    def _submit(self) -> None:
        if self._batch:
            baseline, other = (looks.held for looks in self._found.looks)
            future = self._pool.submit(_kvr.judge_all, self._batch, baseline, other, self._stop)
            self._running.add(future)
            self._waiting[future] = self._members
            self._batch, self._members, self._samples = [], [], 0

    def _collect(self) -> None:
        finished, self._running = wait(self._running, return_when=FIRST_COMPLETED)
        for future in finished:
            members = self._waiting.pop(future)
            for place, finding in zip(members, future.result()):
                self._found.findings[place] = finding
            self.done += len(members)


def _side_of(looks: Looks, place: int) -> Side:
    look = looks[place]
    return side_of_signal(look.signal) if look.series is None else side_of_arrays(*look.series)


def _stored_settings(tolerance: Tolerance, sync: Sync) -> Settings:
    """The settings in force for a baseline signal, its own or its run's."""
    tolerance_source = "run" if tolerance.inherited else "own"
    return Settings(tolerance, tolerance_source, sync, "run" if sync.inherited else "own")
