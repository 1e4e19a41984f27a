"""The comparison that all windows see: made anew, as far as needed, whenever the store changes.

Signals are read on the store's thread, a part at a time; their arrays are judged on other threads,
so that windows are served meanwhile. A pair is judged again only if its signals or settings are
not those that it was judged with.
"""

from __future__ import annotations

import asyncio
import operator
import os
from collections.abc import Callable
from dataclasses import replace
from functools import partial
from typing import Any, NamedTuple, Optional

from kvr import _kvr
from kvr._base.dates import EPOCH_SOURCE
from kvr._comparing.comparison import Comparison, SideInfo
from kvr._comparing.pairing import pair
from kvr._comparing.results import for_json, plain_summary, plain_verdict
from kvr._comparing.sides import Side, side_of_signal
from kvr._comparing.verdict import Identity, Rules, Settings, Verdict, calls_python, judge
from kvr._reading.runs import Look
from kvr._store.run import Run
from kvr._store.signal import Signal
from kvr._view.mirror import Changes
from kvr._view.problems import Problem
from kvr._view.state import json_bytes
from kvr._view.worker import Worker

_READ_BYTES = 128 << 20  # of samples that are read before they are judged
_READ_PAIRS = 256
_THREADS = max(len(os.sched_getaffinity(0)), 1)
_SETTINGS = {"tolerance", "tolerance_inherited", "sync", "sync_inherited"}

_Key = tuple[Optional[Signal], Optional[Signal]]


class Plan(NamedTuple):
    """Which runs are compared, and how: the arguments of `compare_runs`, checked."""

    baseline: Run
    other: Run
    options: dict[str, Any]


class Made:
    """A comparison, and the JSON that windows get. `revision` is the store's.

    known    the JSON of verdicts, which stays as it is until they are judged again
    """

    def __init__(self, comparison: Comparison, revision: int, known: dict[Verdict, bytes]) -> None:
        self.comparison = comparison
        self.revision = revision
        self._known = known
        self._json: bytes | None = None

    def json(self) -> bytes:
        if self._json is None:
            verdicts = self.comparison.verdicts
            dates = [verdict._dated for verdict in verdicts]
            told = plain_summary(self.comparison) | {"revision": self.revision, "is_date": dates}
            for verdict in verdicts:
                if verdict not in self._known:
                    self._known[verdict] = json_bytes(for_json(plain_verdict(verdict)))
            texts = b",".join(self._known[verdict] for verdict in verdicts)
            self._json = b'%s,"verdicts":[%s]}' % (json_bytes(for_json(told))[:-1], texts)
        return self._json

    def json_of(self, verdicts: list[Verdict]) -> dict[Verdict, bytes]:
        """The JSON of those of these verdicts that are in it."""
        return {verdict: self._known[verdict] for verdict in verdicts if verdict in self._known}


class _Verdicts(list[Verdict]):
    """Verdicts in their order, as a comparison holds them."""

    @property
    def statuses(self) -> list[str]:
        return [verdict.status for verdict in self]


class _Task(NamedTuple):
    """A verdict that has only who its signals are: they are to be judged."""

    place: int
    verdict: Verdict
    settings: Settings


class _Reading(NamedTuple):
    """What one look at both runs told."""

    verdicts: list[Verdict]
    tasks: list[_Task]
    sides: tuple[SideInfo, SideInfo]
    warnings: list[str]
    revision: int


class LiveComparison:
    """At most one comparison. Used on the server's loop alone.

    made     the newest, None if there is none
    """

    def __init__(
        self, worker: Worker, revision: Callable[[], int], tell: Callable[[int], None]
    ) -> None:
        self._worker = worker
        self._revision = revision
        self._tell = tell
        self._plan: Plan | None = None
        self._running: asyncio.Task[None] | None = None
        self._stop = _kvr.Stop()
        self._failure: Exception | None = None
        self.made: Made | None = None

    async def compare(self, plan: Plan) -> Made:
        """Compare these runs from now on. Raises what comparing raises; Problem if superseded."""
        self.begin(plan)
        made = await self.finished()
        if self._plan is not plan:
            raise Problem(409, "another window has begun another comparison; look at that one")
        if made is None:
            raise self._failure or Problem(503, "the server is about to end")
        return made

    def begin(self, plan: Plan) -> None:
        """Compare these runs from now on."""
        self._plan, self.made, self._failure = plan, None, None
        self._start()

    async def finished(self) -> Made | None:
        """The newest comparison, once all that is being judged is; None if there is none."""
        while (running := self._running) is not None and not running.done():
            await asyncio.wait([running])
        return self.made

    def drop(self) -> None:
        """Compare nothing from now on."""
        self._end()
        was_there = self._plan is not None
        self._plan = self.made = None
        if was_there:
            self._tell(self._revision())

    def store_changed(self, changes: Changes) -> None:
        """Make it anew if the changes can matter to it."""
        if self._plan is None:
            return
        number = self._plan.baseline.id
        settings = any(_SETTINGS & set(fields) for fields in changes.signals.values())
        renamed = any("name" in fields for fields in changes.runs.values())
        if changes.came_or_went or settings or renamed or number in changes.runs:
            self._start()

    def close(self) -> None:
        self._end()
        self._plan = self.made = None

    def _end(self) -> None:
        """End what is being judged."""
        self._stop.set()
        if self._running is not None:
            self._running.cancel()
        self._running = None

    def _start(self) -> None:
        self._end()
        self._stop = _kvr.Stop()
        assert self._plan is not None
        self._running = asyncio.create_task(self._make(self._plan, self._stop))

    async def _make(self, plan: Plan, stop: _kvr.Stop) -> None:
        known = self._known_of(plan)
        try:
            read = await self._worker.run(lambda: _read(plan, known, self._revision()))
            await self._judge(read, plan.options["rules"], stop)
        except (_kvr.Stopped, asyncio.CancelledError):
            raise asyncio.CancelledError from None
        except Exception as error:  # a run is gone, or a pattern matches nothing any more
            had_one, self.made, self._failure = self.made is not None, None, error
            if had_one:
                self._tell(self._revision())
            return
        self._put(plan, read)

    def _known_of(self, plan: Plan) -> dict[_Key, Verdict]:
        """The verdicts so far, by their signals; of another plan none."""
        return {_key(verdict): verdict for verdict in self.made.comparison} if self.made else {}

    def _put(self, plan: Plan, read: _Reading) -> None:
        old = self.made
        verdicts: Any = _Verdicts(read.verdicts)
        told = _told_options(plan.options)
        comparison = Comparison(verdicts, read.sides, told, read.warnings)
        known = old.json_of(read.verdicts) if old else {}
        self.made = Made(comparison, read.revision, known)
        if old is None or not _same(old.comparison, comparison):
            self._tell(read.revision)

    async def _judge(self, read: _Reading, rules: Rules, stop: _kvr.Stop) -> None:
        """Judge the tasks, a batch after the other, and put the verdicts in their places."""
        start = 0
        while start < len(read.tasks):
            sides = await self._worker.run(partial(_sides, read.tasks, start))
            batch = list(zip(read.tasks[start : start + len(sides)], sides))
            start += len(sides)
            shares = [batch[i::_THREADS] for i in range(_THREADS)]
            jobs = [asyncio.to_thread(_judge_some, share, rules, stop) for share in shares]
            for share in await asyncio.gather(*jobs):
                for place, verdict in share:
                    read.verdicts[place] = verdict


def _key(verdict: Verdict) -> _Key:
    here: Any = verdict.baseline
    there: Any = verdict.other
    return here, there


def _same(old: Comparison, new: Comparison) -> bool:
    """Whether no pair came, went or was judged again, and the runs have the same names."""
    names = [(side.run, side.id) for side in (old.baseline, old.other)]
    if names != [(side.run, side.id) for side in (new.baseline, new.other)]:
        return False
    return len(old) == len(new) and all(map(operator.is_, old, new))


# ---- On the store's thread ----


def _read(plan: Plan, known: dict[_Key, Verdict], revision: int) -> _Reading:
    """Look at both runs. Verdicts that are known with the same settings are taken as they are."""
    options = plan.options
    looks = plan.baseline._looks(), plan.other._looks()
    matched = pair(*looks, options["match"], options["only"], options["ignore"])
    names = plan.baseline.name, plan.other.name
    verdicts: list[Verdict] = []
    tasks: list[_Task] = []
    for here, there in matched.pairs:
        first = None if here is None else looks[0][here]
        second = None if there is None else looks[1][there]
        key: Any = (first and first.signal, second and second.signal)
        settings = None
        if first is not None and second is not None:
            settings = options["choose"](_stored_settings(key[0]))
        verdict = known.get(key)
        identities = _identity(first, names[0]), _identity(second, names[1])
        if verdict is None or not _is_as_known(verdict, identities, settings):
            verdict = _unjudged(key, identities)
            if settings is not None:
                tasks.append(_Task(len(verdicts), verdict, settings))
        verdicts.append(verdict)
    sides = (
        SideInfo.of(plan.baseline, None, len(looks[0])),
        SideInfo.of(plan.other, None, len(looks[1])),
    )
    return _Reading(verdicts, tasks, sides, matched.warnings, revision)


def _is_as_known(
    verdict: Verdict,
    identities: tuple[Identity | None, Identity | None],
    settings: Settings | None,
) -> bool:
    """Whether judging would find the same; registered functions may answer otherwise."""
    if (verdict.baseline_identity, verdict.other_identity) != identities:
        return False
    used = (verdict.tolerance, verdict.tolerance_source, verdict.sync, verdict.sync_source)
    return settings is None or (used == settings and not calls_python(settings))


def _stored_settings(signal: Signal) -> Settings:
    """The settings in force for a baseline signal, its own or its run's."""
    tolerance, sync = signal.tolerance, signal.sync
    sources = ["run" if one.inherited else "own" for one in (tolerance, sync)]
    return Settings(tolerance, sources[0], sync, sources[1])


def _identity(look: Look | None, run: str) -> Identity | None:
    if look is None:
        return None
    facts = look.facts
    return Identity(
        run, look.signal.id, facts.label, facts.path, facts.source, facts.port, facts.channel
    )


def _unjudged(key: _Key, identities: tuple[Identity | None, Identity | None]) -> Verdict:
    """The verdict on a signal without a partner; of a pair nothing but who it is is right."""
    is_missing = key[1] is None
    return Verdict(
        status="missing" if is_missing else "extra",
        reason=None,
        text=_kvr.describe_alone(is_missing),
        baseline=key[0],
        other=key[1],
        baseline_identity=identities[0],
        other_identity=identities[1],
    )


_Pair = tuple[Side, Side, bool]  # and whether its times are dates


def _sides(tasks: list[_Task], start: int) -> list[_Pair]:
    """The arrays of the next pairs, until there are many or long ones."""
    sides: list[_Pair] = []
    size = 0
    for task in tasks[start : start + _READ_PAIRS]:
        here, there = task.verdict.baseline, task.verdict.other
        assert here is not None and there is not None
        both = side_of_signal(here), side_of_signal(there)
        sides.append((*both, here.time_source == EPOCH_SOURCE))
        size += sum(side.times.nbytes + side.values.nbytes for side in both)
        if size > _READ_BYTES:
            break
    return sides


# ---- On other threads ----


def _judge_some(
    share: list[tuple[_Task, _Pair]], rules: Rules, stop: _kvr.Stop
) -> list[tuple[int, Verdict]]:
    """The verdicts on these pairs, and their places; raises _kvr.Stopped if `stop` is set."""
    judged = []
    for (place, verdict, settings), (here, there, dated) in share:
        fields = judge(here, there, settings, rules, dated, stop) | settings._asdict()
        judged.append((place, replace(verdict, **fields, _rules=rules, _dated=dated)))
    return judged


def _told_options(options: dict[str, Any]) -> dict[str, Any]:
    """The options as a result tells them."""
    match, rules = options["match"], options["rules"]
    return {
        "match": match if isinstance(match, str) else list(match),
        "coverage": rules.coverage,
        "time_tolerance": rules.time_tolerance,
        **options["overrides"],
        "only": list(options["only"]),
        "ignore": list(options["ignore"]),
        "strict": options["strict"],
    }
