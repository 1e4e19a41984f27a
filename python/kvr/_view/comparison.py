"""The comparison that all windows see: made anew, as far as needed, whenever the store changes.

Signals are read on the store's thread, a part at a time; their arrays are judged on other threads,
so that windows are served meanwhile. A pair is judged again only if its signals or settings are
not those that it was judged with.
"""

from __future__ import annotations

import asyncio
import os
from collections.abc import Callable
from typing import Any, NamedTuple

from kvr import _kvr
from kvr._base.dates import EPOCH_SOURCE
from kvr._comparing.comparison import Comparison, SideInfo
from kvr._comparing.judging import stored_settings
from kvr._comparing.pairing import pair
from kvr._comparing.results import for_json
from kvr._comparing.sides import Side, side_of_signal
from kvr._comparing.verdict import Rules, Settings, calls_python, judge, native_rules
from kvr._comparing.verdicts import Found, Verdicts
from kvr._store.run import Run
from kvr._view.mirror import Changes
from kvr._view.problems import Problem
from kvr._view.state import json_bytes
from kvr._view.worker import Worker

_READ_BYTES = 128 << 20  # of samples that are read before they are judged
_READ_PAIRS = 256
_THREADS = max(len(os.sched_getaffinity(0)), 1)
_SETTINGS = {"tolerance", "tolerance_inherited", "sync", "sync_inherited"}


class Plan(NamedTuple):
    """Which runs are compared, and how: the arguments of `compare_runs`, checked."""

    baseline: Run
    other: Run
    options: dict[str, Any]


class Made(NamedTuple):
    """A comparison, and the JSON that windows get. `revision` is the store's."""

    comparison: Comparison
    revision: int

    def json(self) -> bytes:
        comparison = self.comparison
        dates = [verdict._dated for verdict in comparison.verdicts]
        plain = {**comparison.to_dict(), "revision": self.revision, "is_date": dates}
        return json_bytes(for_json(plain))


class _Task(NamedTuple):
    """A pair that is to be judged, and where its verdict stands."""

    place: int
    found: Found


class _Reading(NamedTuple):
    """What one look at both runs told."""

    found: list[Found]
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
            await self._judge(read.tasks, plan.options["rules"], stop)
        except (_kvr.Stopped, asyncio.CancelledError):
            raise asyncio.CancelledError from None
        except Exception as error:  # a run is gone, or a pattern matches nothing any more
            had_one, self.made, self._failure = self.made is not None, None, error
            if had_one:
                self._tell(self._revision())
            return
        self._put(plan, read)

    def _known_of(self, plan: Plan) -> dict[Any, Found]:
        """The pairs judged so far, by their signals; of another plan none."""
        if self.made is None:
            return {}
        return {_key(found): found for found in self.made.comparison.verdicts._found}

    def _put(self, plan: Plan, read: _Reading) -> None:
        runs = (read.sides[0].run, read.sides[1].run)
        old = self.made
        verdicts = Verdicts(read.found, runs, plan.options["rules"])
        told = _told_options(plan.options)
        comparison = Comparison(verdicts, read.sides, told, read.warnings)
        self.made = Made(comparison, read.revision)
        if old is None or not _same(old.comparison, comparison):
            self._tell(read.revision)

    # ---- Judging ----

    async def _judge(self, tasks: list[_Task], rules: Rules, stop: _kvr.Stop) -> None:
        place = 0
        while place < len(tasks):
            start = place
            sides = await self._worker.run(lambda: _sides(tasks, start))
            batch = tasks[place : place + len(sides)]
            place += len(sides)
            shares = [(batch[i::_THREADS], sides[i::_THREADS]) for i in range(_THREADS)]
            jobs = [asyncio.to_thread(_judge_some, *share, rules, stop) for share in shares]
            await asyncio.gather(*jobs)


def _key(found: Found) -> tuple[Any, ...]:
    here, there = found.baseline, found.other
    return here and here[0], there and there[0]


def _same(old: Comparison, new: Comparison) -> bool:
    """Whether no pair came, went or was judged again, and the runs have the same names."""
    before, after = old.verdicts._found, new.verdicts._found
    names = [(side.run, side.id) for side in (old.baseline, old.other)]
    if names != [(side.run, side.id) for side in (new.baseline, new.other)]:
        return False
    return len(before) == len(after) and all(map(_is_same, before, after))


def _is_same(old: Found, new: Found) -> bool:
    return old is new or (
        new.settings is None and old.status == new.status and _key(old) == _key(new)
    )


def _read(plan: Plan, known: dict[Any, Found], revision: int) -> _Reading:
    """Look at both runs. Pairs that are known with the same settings are taken as they are."""
    options = plan.options
    here, there = plan.baseline._looks(), plan.other._looks()
    matched = pair(here, there, options["match"], options["only"], options["ignore"])
    found: list[Found] = []
    tasks: list[_Task] = []
    for first, second in matched.pairs:
        one = Found(first, second)
        if first is not None and second is not None:
            settings: Settings = options["choose"](stored_settings(first))
            one.settings = settings
            one.dated = first.facts.time_source == EPOCH_SOURCE
            old = known.get(_key(one))
            if old is not None and old.settings == settings and not calls_python(settings):
                one = old
            else:
                tasks.append(_Task(len(found), one))
        found.append(one)
    sides = SideInfo.of(plan.baseline, None), SideInfo.of(plan.other, None)
    return _Reading(found, tasks, sides, matched.warnings, revision)


_Sides = tuple[Side, Side]


def _sides(tasks: list[_Task], start: int) -> list[_Sides]:
    """The arrays of the next pairs, until there are many or long ones."""
    sides: list[_Sides] = []
    size = 0
    for task in tasks[start : start + _READ_PAIRS]:
        here, there = task.found.baseline, task.found.other
        assert here is not None and there is not None
        both = side_of_signal(here[0]), side_of_signal(there[0])
        sides.append(both)
        size += sum(side.times.nbytes + side.values.nbytes for side in both)
        if size > _READ_BYTES:
            break
    return sides


def _judge_some(tasks: list[_Task], sides: list[_Sides], rules: Rules, stop: _kvr.Stop) -> None:
    """Judge each pair; raises _kvr.Stopped if `stop` is set."""
    natives: dict[Settings, _kvr.Rules] = {}
    batch: list[tuple[Side, Side, _kvr.Rules, bool]] = []
    members: list[Found] = []
    for task, (here, there) in zip(tasks, sides):
        found = task.found
        assert found.settings is not None
        if calls_python(found.settings):
            found.fields = judge(here, there, found.settings, rules, found.dated, stop)
            continue
        if found.settings not in natives:
            natives[found.settings] = native_rules(found.settings, rules)
        batch.append((here, there, natives[found.settings], found.dated))
        members.append(found)
    if batch:
        for found, finding in zip(members, _kvr.judge_all(batch, stop)):
            found.finding = finding


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
