"""Judging many pairs in several threads.

Signals are read in the calling thread, for the store takes calls from one thread at a time; arrays
are judged in the threads, a few batches ahead. Small pairs share a batch: handing one over costs
more than judging it.
"""

from __future__ import annotations

from collections.abc import Callable
from concurrent.futures import FIRST_COMPLETED, Future, ThreadPoolExecutor, wait
from typing import Any, NamedTuple

from kvr import _kvr
from kvr._dates import EPOCH_SOURCE
from kvr._pairing import Pair, Subject
from kvr._reading import SignalReader
from kvr._sides import Side, side_of_signal
from kvr._verdict import Identity, Rules, Settings, Verdict, calls_python, judge

Choose = Callable[[SignalReader], Settings]

_AHEAD = 4  # batches for each thread that are read ahead
_BATCH_PAIRS = 64
_BATCH_SAMPLES = 100_000


class _Task(NamedTuple):
    place: int
    baseline: Side
    other: Side
    settings: Settings
    known: dict[str, Any]  # the fields of the verdict that do not come from judging


def judged(
    pairs: list[Pair],
    runs: tuple[str, str],
    rules: Rules,
    choose: Choose,
    threads: int,
    report: Callable[[int], object],
) -> list[Verdict]:
    """The verdicts in the order of the pairs; `report` is told how many there are by now.

    Whatever is raised, KeyboardInterrupt too, first ends what the threads are at.
    """
    stop = _kvr.Stop()
    with ThreadPoolExecutor(threads, "kvr-compare") as pool:
        judging = _Judging(pool, threads, len(pairs), rules, stop)
        try:
            for place, (here, there) in enumerate(pairs):
                known = _known(here, there, runs)
                if here is None or there is None:
                    judging.keep(place, _alone(known, missing=there is None))
                else:
                    settings = choose(here.signal)
                    dated = here.facts.time_source == EPOCH_SOURCE
                    known |= {**settings._asdict(), "_rules": rules, "_dated": dated}
                    sides = side_of_signal(here.signal), side_of_signal(there.signal)
                    judging.take(_Task(place, *sides, settings, known))
                report(judging.done)
            while judging.waits():
                report(judging.done)
        except BaseException:
            stop.set()
            judging.cancel()
            raise
    report(judging.done)
    return judging.verdicts()


class _Judging:
    """The verdicts so far, the batch that is being filled, and the batches that are judged."""

    def __init__(
        self, pool: ThreadPoolExecutor, threads: int, count: int, rules: Rules, stop: _kvr.Stop
    ) -> None:
        self._pool = pool
        self._most = threads * _AHEAD
        self._rules = rules
        self._stop = stop
        self._verdicts: list[Verdict | None] = [None] * count
        self._batch: list[_Task] = []
        self._samples = 0
        self._running: set[Future[list[Verdict]]] = set()
        self._places: dict[Future[list[Verdict]], list[int]] = {}
        self.done = 0

    def keep(self, place: int, verdict: Verdict) -> None:
        self._verdicts[place] = verdict
        self.done += 1

    def take(self, task: _Task) -> None:
        """Judge a pair: at once if that calls functions of Python, else in a batch."""
        if calls_python(task.settings):
            self.keep(task.place, _verdict(task, self._rules, self._stop))
            return
        self._batch.append(task)
        self._samples += len(task.baseline.times) + len(task.other.times)
        if len(self._batch) >= _BATCH_PAIRS or self._samples >= _BATCH_SAMPLES:
            self._submit()
            if len(self._running) >= self._most:
                self._collect()

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

    def verdicts(self) -> list[Verdict]:
        return [verdict for verdict in self._verdicts if verdict is not None]

    def _submit(self) -> None:
        if self._batch:
            future = self._pool.submit(_batch_verdicts, self._batch, self._rules, self._stop)
            self._running.add(future)
            self._places[future] = [task.place for task in self._batch]
            self._batch, self._samples = [], 0

    def _collect(self) -> None:
        finished, self._running = wait(self._running, return_when=FIRST_COMPLETED)
        for future in finished:
            for place, verdict in zip(self._places.pop(future), future.result()):
                self.keep(place, verdict)


def _batch_verdicts(batch: list[_Task], rules: Rules, stop: _kvr.Stop) -> list[Verdict]:
    return [_verdict(task, rules, stop) for task in batch]


def _verdict(task: _Task, rules: Rules, stop: _kvr.Stop) -> Verdict:
    dated = task.known["_dated"]
    fields = judge(task.baseline, task.other, task.settings, rules, dated, stop)
    return Verdict(**fields, **task.known)


def _known(here: Subject | None, there: Subject | None, runs: tuple[str, str]) -> dict[str, Any]:
    return {
        "baseline": here.signal if here else None,
        "other": there.signal if there else None,
        "baseline_identity": _identity(here, runs[0]),
        "other_identity": _identity(there, runs[1]),
    }


def _identity(subject: Subject | None, run: str) -> Identity | None:
    if subject is None:
        return None
    facts = subject.facts
    return Identity(
        run, subject.signal.id, facts.label, facts.path, facts.source, facts.port, facts.channel
    )


def _alone(known: dict[str, Any], missing: bool) -> Verdict:
    status = "missing" if missing else "extra"
    return Verdict(status=status, reason=None, text=_kvr.describe_alone(missing), **known)
