"""Judging the pairs of two runs.

Signals are read in the calling thread, for the store takes calls from one thread at a time. Threads
of the extension judge meanwhile what was read; they do not need the interpreter. The calling thread
judges too when it has read enough.
"""

from __future__ import annotations

from collections.abc import Callable, Iterator, Sequence
from operator import itemgetter
from typing import NamedTuple

from kvr import _kvr
from kvr._base.dates import EPOCH_SOURCE
from kvr._base.progress import Progress, reporter
from kvr._base.settings import Sync, Tolerance
from kvr._comparing.pairing import Couple, Pairing, Pairs
from kvr._comparing.sides import Side, side_of_arrays, side_of_signal
from kvr._comparing.verdict import Rules, Settings, calls_python, judge, native_rules
from kvr._comparing.verdicts import Found, Verdicts
from kvr._reading.runs import Looks

Choose = Callable[[Settings], Settings]

_MOST_THREADS = 1024  # far more than processors; the system has a limit for all its processes


def judged(
    pairing: Pairing | KnownPairs,
    runs: tuple[str, str],
    rules: Rules,
    choose: Choose,
    threads: int,
    progress: Progress = None,
) -> tuple[Verdicts, Pairs]:
    """The verdicts in the order of the pairs, and these; progress is told once all are known.

    `choose` may see each distinct pair of settings once only. Whatever is raised, KeyboardInterrupt
    too, first ends what the threads are at.
    """
    looks = pairing.looks
    signals = len(looks[0])
    useful = max(min(threads, signals, _MOST_THREADS), 1)
    native = _kvr.PairJudging(looks[0].held, looks[1].held, signals, useful)
    found = Found(looks, native)
    try:
        judging = _Judging(found, rules, choose)
        for couples in pairing.couples():
            judging.take(couples)
        pairs = pairing.pairs()
        judging.finish(reporter(progress, len(pairs.pairs)), pairs)
    finally:
        native.close()
    for side in looks:
        side.release()
    return Verdicts(found, pairs.pairs, runs, rules), pairs


class KnownPairs:
    """Pairs that are known from before, in the place of a Pairing."""

    def __init__(self, pairs: Pairs) -> None:
        self.looks = pairs.looks
        self._pairs = pairs

    def couples(self) -> Iterator[Sequence[Couple]]:
        couples = []
        for here, there in self._pairs.pairs:
            if here is not None and there is not None:
                couples.append((here, there))
        yield couples

    def pairs(self) -> Pairs:
        return self._pairs


class _Chosen(NamedTuple):
    """What pairs are judged with whose baseline signals have the same settings."""

    stored: tuple[Tolerance, Sync]  # held, so that no others get their ids
    settings: Settings
    native: _kvr.Rules
    calls_python: bool


class _Judging:
    """Hands pairs over to the extension, in groups of equal settings."""

    def __init__(self, found: Found, rules: Rules, choose: Choose) -> None:
        self._found = found
        self._native = found.native
        self._rules = rules
        self._choose = choose
        self._chosen: dict[tuple[int, int], _Chosen] = {}
        self._unread: list[tuple[Couple, _kvr.Rules]] = []
        self._calling: list[Couple] = []

    def take(self, couples: Sequence[Couple]) -> None:
        """Have pairs judged whose samples are held; keep the others for `finish`."""
        settings, settings_of = self._found.settings, self._found.looks[0].settings
        group: list[Couple] = []
        current: _Chosen | None = None
        last: object = None
        for couple in couples:
            stored = settings_of(couple[0])
            if current is None or stored is not last:
                last, chosen = stored, self._choice(stored)
                if chosen is not current:
                    self._hand_over(group, current)
                    group, current = [], chosen
            settings[couple[0]] = current.settings
            group.append(couple)
        self._hand_over(group, current)

    def finish(self, report: Callable[[int], object], pairs: Pairs) -> None:
        """Judge the other pairs; `report` is told how many are done by now."""
        alone = sum(here is None or there is None for here, there in pairs.pairs)
        judged_here = self._found.fields

        def tell() -> None:
            report(alone + len(judged_here) + self._native.done)

        looks = self._found.looks
        self._found.dated = [source == EPOCH_SOURCE for source in looks[0].column("time_source")]
        tell()
        for (here, there), rules in sorted(self._unread, key=itemgetter(0)):
            self._native.add(here, _given(looks[0], here), _given(looks[1], there), rules)
            tell()
        for couple in sorted(self._calling):
            self._call(*couple)
            tell()
        while self._native.wait():
            tell()
        tell()

    def _hand_over(self, group: list[Couple], chosen: _Chosen | None) -> None:
        if chosen is None:
            return
        if chosen.calls_python:
            self._calling += group
            return
        for couple in self._native.add_held(group, chosen.native):
            self._unread.append((couple, chosen.native))

    def _call(self, here: int, there: int) -> None:
        """Judge a pair whose settings name functions of Python, which run in this thread."""
        looks, settings = self._found.looks, self._found.settings[here]
        assert settings is not None
        sides = _side_of(looks[0], here), _side_of(looks[1], there)
        dated = self._found.dated[here]
        fields = judge(*sides, settings, self._rules, dated, _kvr.Stop())
        self._found.fields[here] = fields

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


def _given(looks: Looks, place: int) -> int | Side:
    """A side as the extension takes it: a place if it holds the samples."""
    return place if looks.held and looks.held.holds(place) else _side_of(looks, place)


def _side_of(looks: Looks, place: int) -> Side:
    look = looks[place]
    return side_of_signal(look.signal) if look.series is None else side_of_arrays(*look.series)


def _stored_settings(tolerance: Tolerance, sync: Sync) -> Settings:
    """The settings in force for a baseline signal, its own or its run's."""
    tolerance_source = "run" if tolerance.inherited else "own"
    return Settings(tolerance, tolerance_source, sync, "run" if sync.inherited else "own")
