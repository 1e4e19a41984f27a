"""Judging many pairs in several threads.

Signals are read in the calling thread, for the store takes calls from one thread at a time; arrays
are judged in the threads, a few batches ahead. Small pairs share a batch: handing one over costs
more than judging it.
"""

from __future__ import annotations

from collections.abc import Callable
from concurrent.futures import FIRST_COMPLETED, Future, ThreadPoolExecutor, wait

from kvr import _kvr
from kvr._base.dates import EPOCH_SOURCE
from kvr._comparing.pairing import Pair
from kvr._comparing.sides import Side, side_of_arrays, side_of_signal
from kvr._comparing.verdict import Rules, Settings, calls_python, judge, native_rules
from kvr._comparing.verdicts import Found, Verdicts
from kvr._reading.runs import Look
from kvr._reading.signals import SignalReader

Choose = Callable[[Settings], Settings]

_AHEAD = 4  # batches for each thread that are read ahead
_BATCH_PAIRS = 256
_BATCH_SAMPLES = 100_000

_Task = tuple[Side, Side, _kvr.Rules, bool]


def judged(
    pairs: list[Pair],
    runs: tuple[str, str],
    rules: Rules,
    choose: Choose,
    threads: int,
    report: Callable[[int], object],
) -> Verdicts:
    """The verdicts in the order of the pairs; `report` is told how many there are by now.

    Whatever is raised, KeyboardInterrupt too, first ends what the threads are at.
    """
    stop = _kvr.Stop()
    found: list[Found] = []
    with ThreadPoolExecutor(threads, "kvr-compare") as pool:
        judging = _Judging(pool, threads, rules, stop)
        try:
            for here, there in pairs:
                one = Found(here, there)
                found.append(one)
                if here is None or there is None:
                    judging.done += 1
                else:
                    one.settings = choose(stored_settings(here))
                    one.dated = here.facts.time_source == EPOCH_SOURCE
                    judging.take(one, _side(here), _side(there))
                report(judging.done)
            while judging.waits():
                report(judging.done)
        except BaseException:
            stop.set()
            judging.cancel()
            raise
    report(judging.done)
    return Verdicts(found, runs, rules)


def stored_settings(look: Look) -> Settings:
    """The settings in force for a baseline signal, its own or its run's."""
    signal: SignalReader = look.signal
    tolerance, sync = look.settings or (signal.tolerance, signal.sync)
    tolerance_source = "run" if tolerance.inherited else "own"
    return Settings(tolerance, tolerance_source, sync, "run" if sync.inherited else "own")


def _side(look: Look) -> Side:
    return side_of_signal(look.signal) if look.series is None else side_of_arrays(*look.series)


class _Judging:
    """The batch that is being filled, and the batches that are judged."""

    def __init__(
        self, pool: ThreadPoolExecutor, threads: int, rules: Rules, stop: _kvr.Stop
    ) -> None:
        self._pool = pool
        self._most = threads * _AHEAD
        self._rules = rules
        self._stop = stop
        self._native: dict[tuple[int, int, str], tuple[Settings, _kvr.Rules]] = {}
        self._batch: list[_Task] = []
        self._members: list[Found] = []
        self._samples = 0
        self._running: set[Future[list[_kvr.Finding]]] = set()
        self._waiting: dict[Future[list[_kvr.Finding]], list[Found]] = {}
        self.done = 0

    def take(self, found: Found, baseline: Side, other: Side) -> None:
        """Judge a pair: at once if that calls functions of Python, else in a batch."""
        assert found.settings is not None
        dated = found.dated
        if calls_python(found.settings):
            found.fields = judge(baseline, other, found.settings, self._rules, dated, self._stop)
            self.done += 1
            return
        self._batch.append((baseline, other, self._rules_for(found.settings), dated))
        self._members.append(found)
        self._samples += len(baseline.times) + len(other.times)
        if len(self._batch) >= _BATCH_PAIRS or self._samples >= _BATCH_SAMPLES:
            self._submit()
            if len(self._running) >= self._most:
                self._collect()

    def _rules_for(self, settings: Settings) -> _kvr.Rules:
        """The settings as the extension takes them. Most pairs share the records of their run."""
        key = id(settings.tolerance), id(settings.sync), settings.tolerance_source
        known = self._native.get(key)
        if known is None:
            # The settings are held too, so that no other record gets their id.
            known = self._native[key] = settings, native_rules(settings, self._rules)
        return known[1]

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
            future = self._pool.submit(_kvr.judge_all, self._batch, self._stop)
            self._running.add(future)
            self._waiting[future] = self._members
            self._batch, self._members, self._samples = [], [], 0

    def _collect(self) -> None:
        finished, self._running = wait(self._running, return_when=FIRST_COMPLETED)
        for future in finished:
            members = self._waiting.pop(future)
            for found, finding in zip(members, future.result()):
                found.finding = finding
            self.done += len(members)
