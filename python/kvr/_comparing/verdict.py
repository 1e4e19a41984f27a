"""The verdict on one pair of signals."""

from __future__ import annotations

import math
from dataclasses import dataclass, field
from typing import Any, NamedTuple

from kvr import _kvr
from kvr._base.dates import time_text
from kvr._base.settings import INTERPOLATIONS, METHODS, Sync, Tolerance
from kvr._comparing.calls import calls_of
from kvr._comparing.sides import Side, side_of_signal
from kvr._reading.signals import Array, SignalReader

STATUSES = ("within", "out", "missing", "extra", "incomparable")
SOURCES = ("own", "run", "override")


class Identity(NamedTuple):
    """Who a signal was when it was compared; its fields are those of the signal."""

    run: str
    id: int
    label: str
    path: str
    source: str
    port: int
    channel: tuple[int, ...]


class Worst(NamedTuple):
    """The value furthest out; `tolerance` is NaN where the baseline is infinite."""

    time: float
    baseline: float | complex
    other: float | complex
    difference: float
    tolerance: float
    component: int


@dataclass(frozen=True)
class Interval:
    """A stretch of consecutive instants that are out: two times, and how many instants."""

    first: float
    last: float
    count: int


class AlignedSeries(NamedTuple):
    """Both signals on their common instants, (n,); the others (n,) or (n, ...).

    difference  NaN where nothing was judged
    tolerance   NaN where there is none
    out         True for a value that is out
    """

    instants: Array
    baseline: Array
    other: Array
    difference: Array
    tolerance: Array
    out: Array


class Settings(NamedTuple):
    """What a pair is judged with, and whose it is: "own", "run" or "override"."""

    tolerance: Tolerance
    tolerance_source: str
    sync: Sync
    sync_source: str


@dataclass(frozen=True)
class Rules:
    """The options that apply to all pairs of a comparison."""

    coverage: str = "baseline"
    time_tolerance: float = 0.0


@dataclass(frozen=True, eq=False, repr=False)
class Verdict:
    """What the comparison of one pair found. Without a partner, counts are 0 and facts None.

    status              "within", "out", "missing", "extra" or "incomparable"
    reason              why it is incomparable, else None
    baseline, other     the signals, None for a missing one
    baseline_identity, other_identity
                        run, id, label, path, source, port and channel as they were
    tolerance, sync     the settings used; tolerance_source, sync_source: "own" of the baseline
                        signal, its "run"'s or "override"
    instants, instants_out
                        compared instants, and those with a value out
    judged, out, lost, gained, gaps, outside
                        counts of values; their sum without `out` and `lost` is instants times
                        components. Lost: the other has no number; gained: the baseline has none;
                        gaps: neither has; outside: outside the window of the tolerance
    uncovered, beyond   samples of the baseline, and of the other, outside the common span
    first_out, last_out times of values out
    worst               the value furthest out
    max_difference, max_difference_time, max_relative, max_relative_time, rms
                        over the judged values with a finite difference
    intervals           stretches of instants out, the first 100 of `intervals_total`
    text                all that matters in one sentence

    >>> run = kvr.Store().new_run("Monday")
    >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
    >>> verdict = kvr.compare(run, run.copy())["speed"]
    >>> verdict.status, verdict.judged, verdict.differs
    ('within', 2, False)
    """

    status: str
    reason: str | None
    text: str
    baseline: SignalReader | None = None
    other: SignalReader | None = None
    baseline_identity: Identity | None = None
    other_identity: Identity | None = None
    tolerance: Tolerance | None = None
    tolerance_source: str | None = None
    sync: Sync | None = None
    sync_source: str | None = None
    instants: int = 0
    instants_out: int = 0
    judged: int = 0
    out: int = 0
    lost: int = 0
    gained: int = 0
    gaps: int = 0
    outside: int = 0
    uncovered: int = 0
    beyond: int = 0
    first_out: float | None = None
    last_out: float | None = None
    worst: Worst | None = None
    max_difference: float | None = None
    max_difference_time: float | None = None
    max_relative: float | None = None
    max_relative_time: float | None = None
    rms: float | None = None
    intervals: tuple[Interval, ...] = ()
    intervals_total: int = 0
    _sides: tuple[Side, Side] | None = field(default=None)
    _rules: Rules = field(default_factory=Rules)
    _dated: bool = False  # whether its times are seconds since 1970-01-01

    @property
    def differs(self) -> bool:
        """Whether the pair fails in a comparison that is not strict: all but within and extra."""
        return self.status not in ("within", "extra")

    @property
    def excess(self) -> float | None:
        """How far the worst value is beyond its tolerance; NaN if it is lost, else inf if infinite."""
        if self.worst is None:
            return None
        difference, other = self.worst.difference, self.worst.other
        if math.isfinite(difference):
            return difference - self.worst.tolerance
        return math.nan if other != other else math.inf

    @property
    def label(self) -> str:
        """The label of the baseline signal, else of the other; "" for plain arrays."""
        identity = self.baseline_identity or self.other_identity
        return identity.label if identity else ""

    @property
    def path(self) -> str:
        """The path of the baseline signal, else of the other; "" for plain arrays."""
        identity = self.baseline_identity or self.other_identity
        return identity.path if identity else ""

    @property
    def first_out_text(self) -> str:
        """When the first value is out, as people read it: a date where the times are dates."""
        return "" if self.first_out is None else time_text(self.first_out, self._dated)

    def series(self) -> AlignedSeries:
        """Both signals on their common instants, with what was judged there, computed anew.

        Empty for an incomparable pair. Raises ValueError without a partner, Gone if a signal is.

        >>> verdict = kvr.compare_series([0, 1], [1.0, 2.0], [0, 1], [1.0, 2.5])
        >>> verdict.series().difference
        array([0. , 0.5])
        """
        sides = self._sides
        if sides is None:
            if self.baseline is None or self.other is None:
                raise ValueError(f"there is no pair to align: {self.text}")
            sides = side_of_signal(self.baseline), side_of_signal(self.other)
        shape = _shape_of(*sides)
        instants, *matrices = self._aligned(*sides)
        values = (matrix.reshape(len(instants), *shape) for matrix in matrices)
        baseline, other, difference, tolerance, out = values
        return AlignedSeries(instants, baseline, other, difference, tolerance, out.astype(bool))

    def _aligned(self, baseline: Side, other: Side) -> tuple[Array, ...]:
        """As `series`, of sides that were read: (n,) instants, the others (n, components)."""
        assert self.tolerance is not None and self.sync is not None
        settings = Settings(self.tolerance, "own", self.sync, "own")
        _, aligned = _run_judge(
            baseline, other, settings, self._rules, self._dated, _kvr.Stop(), wants_series=True
        )
        assert aligned is not None
        return aligned

    def plot(self, ax: Any = None) -> Any:
        """Draw both sides into matplotlib axes, with the instants out marked; returns the axes.

        In the colours and dashes of the store where the two differ, dates on the axis of times.
        Raises as ``series``, ValueError for complex signals, MissingPackage without matplotlib.

        >>> verdict = kvr.compare_series([0, 1], [1.0, 2.0], [0, 1], [1.0, 2.5])
        >>> from matplotlib.figure import Figure
        >>> [line.get_label() for line in verdict.plot(Figure().subplots()).lines[:2]]
        ['baseline', 'other']
        """
        from kvr._comparing import plots

        return plots.draw_pair(self, ax)

    def __repr__(self) -> str:
        name = f" {self.label!r}" if self.label else ""
        return f"<Verdict{name}: {self.text}>"


def judge(
    baseline: Side, other: Side, settings: Settings, rules: Rules, dated: bool, stop: _kvr.Stop
) -> dict[str, Any]:
    """The fields of the verdict on a pair, by their names. Lets other threads run meanwhile.

    `dated` has its text tell times as dates. Raises _kvr.Stopped if another thread set `stop`.
    """
    fields, _ = _run_judge(baseline, other, settings, rules, dated, stop, wants_series=False)
    return finished(fields)


def finished(fields: dict[str, Any]) -> dict[str, Any]:
    """The fields of the extension as those of a Verdict."""
    worst = fields["worst"]
    fields["worst"] = None if worst is None else Worst(*worst)
    fields["intervals"] = tuple(Interval(*interval) for interval in fields["intervals"])
    if fields["status"] == "incomparable" and fields["reason"] != "nothing-compared":
        for name in ("max_difference", "max_relative", "rms"):
            fields[name] = None
    return fields


def calls_python(settings: Settings) -> bool:
    """Whether judging calls registered functions."""
    return settings.tolerance.type == 2 or settings.sync.type == 1


def _run_judge(
    baseline: Side,
    other: Side,
    settings: Settings,
    rules: Rules,
    dated: bool,
    stop: _kvr.Stop,
    *,
    wants_series: bool,
) -> tuple[dict[str, Any], tuple[Array, ...] | None]:
    tolerance, sync = settings.tolerance, settings.sync
    tolerance_call, sync_call = calls_of(tolerance, sync, _shape_of(baseline, other))
    return _kvr.judge(
        baseline,
        other,
        tolerance.to_dict(),
        _coded(sync),
        tolerance_call,
        sync_call,
        SOURCES.index(settings.tolerance_source),
        rules.coverage == "baseline",
        rules.time_tolerance,
        dated,
        stop,
        wants_series,
    )


def native_rules(settings: Settings, rules: Rules) -> _kvr.Rules:
    """The settings of pairs that call no functions, as the extension takes them."""
    return _kvr.Rules(
        settings.tolerance.to_dict(),
        _coded(settings.sync),
        SOURCES.index(settings.tolerance_source),
        rules.coverage == "baseline",
        rules.time_tolerance,
    )


def _coded(sync: Sync) -> dict[str, Any]:
    """The options under the names of the store's structure, with the two words as their codes."""
    words = sync.to_dict()
    words["SyncMethod"] = METHODS.index(sync.method)
    words["InterpMethod"] = INTERPOLATIONS.index(sync.interp)
    return words


def _shape_of(baseline: Side, other: Side) -> tuple[int, ...]:
    """The shape of a sample: a side without samples has none."""
    return baseline.shape if len(baseline.values) else other.shape
