"""Batches, parts and retries: what runs when, so that every pair gets its result exactly once.

Small pairs share a batch, because handing over a batch costs more than comparing them. Large pairs
whose files can be read in parts are split by their signals. When a worker dies, each pair of its
batch is tried again in a batch of its own, up to RETRIES times, so that only the pair at fault fails.
"""

from __future__ import annotations

import warnings
from collections import deque
from collections.abc import Iterator
from dataclasses import dataclass, field, replace
from glob import escape
from itertools import chain, islice
from typing import Any, NamedTuple, Protocol, Union

from kvr._campaign.pairs import FilePair, SeenFile
from kvr._campaign.results import Failure, PairResult, Summary
from kvr._campaign.work import CHANGED, Job, Outcome
from kvr._files.formats import is_read_by_signal

RETRIES = 3
_BATCH_SECONDS = 0.3, 4.0  # at least, at most
_BATCH_COST = 0.004  # seconds that a batch takes the caller and the scheduler, which have but one
_PART_SECONDS = 2.0
_SMALL_PART_SECONDS = 0.3  # each worker of a part opens both files and pairs their signals again
_MOST_PAIRS = 256  # of a batch
_MOST_PARTS = 64
_KNOWN = 100  # known results handed on together
_OPENING = 200_000  # opening a pair costs as much as comparing so many bytes
_FIRST_RATE = 50e6  # bytes a second, until it is known


def batch_seconds(workers: int) -> float:
    """How long a batch is to take, so that making batches keeps up with so many workers."""
    least, most = _BATCH_SECONDS
    return min(max(least, workers * _BATCH_COST), most)


class WorkerDied(Exception):
    """The worker of a batch is gone; the text says which. `charge`: how many retries that costs."""

    def __init__(self, text: str, charge: int = 1) -> None:
        super().__init__(text)
        self.charge = charge


@dataclass
class Batch:
    """Jobs that go to a worker together."""

    jobs: list[Job]


class Ended(NamedTuple):
    """A batch that has ended: the outcomes of its first jobs, or what went wrong with all of them.

    The worker had no time for the jobs without an outcome.
    """

    batch: Batch
    result: Union[list[Outcome], BaseException]


class Runner(Protocol):
    """Where batches run."""

    width: int  # how many run at a time

    def room(self) -> bool:
        """Whether another batch can be started without piling up."""

    def start(self, batch: Batch, version: str) -> None:
        ...

    def ended(self) -> list[Ended]:
        """Wait until batches have ended; each is returned once."""

    def close(self) -> None:
        """End what is running, and let go of all that was started."""


class Planned(NamedTuple):
    """A pair to compare, the key of its result, and its options.

    sides   as workers open them, whose working folder is another
    files   as the caller sees them
    report  the file to write a report to if the pair fails, "" for none
    """

    pair: FilePair
    key: str
    options: dict[str, Any]
    sides: tuple[str, str]
    files: tuple[SeenFile, SeenFile]
    report: str = ""


class Settled(NamedTuple):
    """A result that needs no worker, and its key; "" if the results file has it already."""

    key: str
    result: PairResult


Found = list[tuple[str, PairResult]]  # results and their keys


@dataclass
class _Open:
    """A pair that is being compared: the outcomes of its parts so far, and its retries.

    joined  the result of a pair that was cut, while a worker makes its report
    """

    planned: Planned
    weight: int  # of a part
    parts: list[Outcome | None] = field(default_factory=lambda: [None])
    deaths: int = 0
    joined: PairResult | None = None


class Schedule:
    """Runs pairs on a runner. `run` yields each pair's key and result once."""

    def __init__(self, runner: Runner, version: str) -> None:
        self._runner = runner
        self._version = version
        self._open: dict[int, _Open] = {}
        self._waiting: deque[Job] = deque()
        self._retries: deque[Batch] = deque()
        self._running = 0
        self._next = 0
        self._ahead = 0  # the weight of what waits
        self._seconds = 0.0
        self._weight = 0
        self._part_seconds = _PART_SECONDS

    def run(self, plan: Iterator[Union[Planned, Settled]]) -> Iterator[Found]:
        """Results as they come, in groups that became known together.

        What the plan has settled is handed on as it is.
        """
        # Fewer pairs than workers are cut into smaller parts, so that none has nothing to do.
        first = list(islice(plan, self._runner.width))
        if len(first) < self._runner.width:
            self._part_seconds = _SMALL_PART_SECONDS
        plan = chain(first, plan)
        more = True
        while more or self._open:
            known: Found = []
            while self._runner.room() and len(known) < _KNOWN:
                more = more and self._read(plan, known)
                batch = self._next_batch()
                if batch is None:
                    break
                self._runner.start(batch, self._version)
                self._running += 1
            if known:
                yield known
            elif self._running:
                found = [result for ended in self._runner.ended() for result in self._end(ended)]
                if found:
                    yield found

    # ---- What goes out ----

    def _read(self, plan: Iterator[Union[Planned, Settled]], known: Found) -> bool:
        """Read pairs ahead, for all workers; False if there are no more."""
        wanted = self._runner.width * batch_seconds(self._runner.width) * 2 * self._rate()
        most = self._runner.width * _MOST_PAIRS
        while self._ahead < wanted and len(self._waiting) < most and len(known) < _KNOWN:
            planned = next(plan, None)
            if planned is None:
                return False
            if isinstance(planned, Settled):
                known.append(planned)
            else:
                self._take(planned)
        return True

    def _take(self, planned: Planned) -> None:
        weight = sum(file.size for file in planned.files) + _OPENING
        number, self._next = self._next, self._next + 1
        parts = self._parts(planned, weight)
        self._open[number] = _Open(planned, weight // parts, [None] * parts)
        self._ahead += weight // parts * parts
        report = planned.report if parts == 1 else ""
        for part in range(parts):
            self._waiting.append(Job(number, *planned.sides, planned.options, part, parts, report))

    def _parts(self, planned: Planned, weight: int) -> int:
        if not all(is_read_by_signal(file.path) for file in planned.files):
            return 1
        wanted = int(weight / (self._part_seconds * self._rate())) + 1
        return min(wanted, self._runner.width * 4, _MOST_PARTS)

    def _next_batch(self) -> Batch | None:
        if self._retries:
            return self._retries.popleft()
        if not self._waiting:
            return None
        width = self._runner.width
        share = min(batch_seconds(width) * self._rate(), self._ahead / width)
        jobs: list[Job] = []
        weight = 0
        while self._waiting and len(jobs) < _MOST_PAIRS:
            next_weight = self._open[self._waiting[0].number].weight
            if jobs and weight + next_weight > share:
                break
            jobs.append(self._waiting.popleft())
            weight += next_weight
        self._ahead -= weight
        return Batch(jobs)

    def _rate(self) -> float:
        """Bytes a second of one worker, as measured so far."""
        return self._weight / self._seconds if self._seconds > 0.5 else _FIRST_RATE

    # ---- What comes back ----

    def _end(self, ended: Ended) -> Iterator[tuple[str, PairResult]]:
        self._running -= 1
        jobs, result = ended.batch.jobs, ended.result
        if isinstance(result, WorkerDied):
            yield from self._retry(ended.batch, result)
            return
        if isinstance(result, BaseException):
            text = str(result) or type(result).__name__
            result = [Outcome(None, text, 0.0) for _ in jobs]
        self._put_back(jobs[len(result) :])
        for job, outcome in zip(jobs, result):
            self._seconds += outcome.seconds
            self._weight += self._open[job.number].weight
            yield from self._keep(job, outcome)

    def _put_back(self, jobs: list[Job]) -> None:
        """What a worker handed back because its batch took long comes next."""
        self._waiting.extendleft(reversed(jobs))
        self._ahead += sum(self._open[job.number].weight for job in jobs)

    def _retry(self, batch: Batch, death: WorkerDied) -> Iterator[tuple[str, PairResult]]:
        """Each job again, in a batch of its own; a pair that has no retry left gets its result."""
        for job in batch.jobs:
            self._open[job.number].deaths += death.charge
            if self._open[job.number].deaths <= RETRIES:
                self._retries.append(Batch([job]))
                continue
            text = f"its worker died {RETRIES + 1} times, at last: {death}"
            yield from self._keep(job, Outcome(None, text, 0.0))

    def _keep(self, job: Job, outcome: Outcome) -> Iterator[tuple[str, PairResult]]:
        opened = self._open[job.number]
        opened.parts[job.part] = outcome
        outcomes = [part for part in opened.parts if part is not None]
        if len(outcomes) < len(opened.parts):
            return
        if outcome.doubt:
            warnings.warn(f"a report is missing: {outcome.doubt}", RuntimeWarning, 2)
        if opened.joined is None:
            result = _result(opened.planned, outcomes)
            if len(opened.parts) > 1 and self._report_on(job.number, result):
                return
        else:
            result = opened.joined
        del self._open[job.number]
        yield opened.planned.key, replace(result, report=outcome.report)

    def _report_on(self, number: int, result: PairResult) -> bool:
        """Have a worker make the report of a pair that was cut: of the failures that are kept."""
        opened = self._open[number]
        planned = opened.planned
        if not planned.report or result.passed or not result.comparison:
            return False
        opened.parts, opened.joined = [None], result
        options = {**planned.options, "only": [_only(one) for one in result.comparison.failed]}
        self._waiting.append(Job(number, *planned.sides, options, report=planned.report))
        self._ahead += opened.weight
        return True


def _only(failure: Failure) -> str:
    """A pattern of the option `only` for one signal."""
    return escape(f"{failure.path}/{failure.label}" if failure.path else failure.label)


def _result(planned: Planned, outcomes: list[Outcome]) -> PairResult:
    pair = planned.pair
    seconds = sum(outcome.seconds for outcome in outcomes)
    error = next((outcome.error for outcome in outcomes if outcome.error is not None), None)
    if error is None:
        error = _what_changed(planned, outcomes)
    summaries = [outcome.summary for outcome in outcomes if outcome.summary is not None]
    summary = Summary.joined(summaries) if error is None else None
    return PairResult(pair.baseline, pair.other, summary, seconds, error)


def _what_changed(planned: Planned, outcomes: list[Outcome]) -> str | None:
    """An error if two parts of a pair were compared from different contents of a file."""
    for place, file in enumerate(planned.files):
        if any(outcome.files[place] != outcomes[0].files[place] for outcome in outcomes):
            return f"{file.path}: {CHANGED}"
    return None
