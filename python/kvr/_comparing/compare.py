"""Comparing two signals, and two runs."""

from __future__ import annotations

import math
import os
from collections.abc import Iterable
from typing import Any, Union

import numpy.typing as npt

from kvr import _kvr
from kvr._base.names import listed
from kvr._base.progress import Progress
from kvr._base.settings import Sync, Tolerance, number
from kvr._comparing.comparison import Comparison, SideInfo
from kvr._comparing.judging import Choose, KnownPairs, judged
from kvr._comparing.pairing import Match, Pairing, Pairs, fields_of, pair, patterns_of
from kvr._comparing.sides import A_DATE, side_of_arrays
from kvr._comparing.verdict import Rules, Settings, Verdict, judge
from kvr._files.opening import OpenRun, RunOrPath, open_run
from kvr._reading.adding import truth, whole_number

COVERAGES = ("baseline", "common")


def compare_series(
    baseline_time: npt.ArrayLike,
    baseline_values: npt.ArrayLike,
    other_time: npt.ArrayLike,
    other_values: npt.ArrayLike,
    *,
    tolerance: Tolerance = Tolerance(),
    sync: Sync = Sync(),
    coverage: str = "baseline",
    time_tolerance: float = 0.0,
) -> Verdict:
    """Judge one pair of plain arrays: times (n,), values (n,) or (n, ...), each side with its n.

    coverage        "baseline": a sample of the baseline that the other does not reach is out;
                    "common": such samples are counted only
    time_tolerance  how far in time, in the unit of the times, the baseline may be looked up

    Arrays that cannot be compared make the verdict "incomparable", with a reason. Raises ValueError
    for unknown words, a time tolerance that is negative or NaN, ragged lists and masked elements.

    >>> verdict = kvr.compare_series([0, 1, 2], [1, 2, 3], [0, 1, 2], [1, 2, 3.5])
    >>> verdict.status, verdict.first_out, verdict.worst.difference
    ('out', 2.0, 0.5)
    """
    rules = rules_of(coverage, time_tolerance)
    settings = _override(tolerance, sync)
    sides = side_of_arrays(baseline_time, baseline_values), side_of_arrays(other_time, other_values)
    dated = sides[0].clock == A_DATE
    fields = judge(*sides, settings, rules, dated, _kvr.Stop())
    known = settings._asdict()
    return Verdict(**fields, **known, _sides=sides, _rules=rules, _dated=dated)


def compare(
    baseline: RunOrPath,
    other: RunOrPath,
    *,
    match: Match = "path",
    coverage: str = "baseline",
    time_tolerance: float = 0.0,
    tolerance: Tolerance | None = None,
    sync: Sync | None = None,
    only: str | Iterable[str] = (),
    ignore: str | Iterable[str] = (),
    strict: bool = False,
    threads: int | None = None,
    progress: Progress = None,
) -> Comparison:
    """Compare two runs, signal by signal. The baseline decides what must be there.

    baseline, other  a run of a store or recording, or a path: "file#run name" where a file has
                     several runs
    match            how signals are paired: "path" (path, port, channel), "name" (label),
                     "source", "sid", or a tuple of fields such as ("label", "path")
    coverage, time_tolerance
                     as for ``kvr.compare_series``
    tolerance, sync  in place of those that are stored with the baseline signals
    only, ignore     shell patterns for "path/label"; the label alone where the path is empty
    strict           whether a signal that only the other has fails too
    threads          None: as many as there are processors. Pairs whose settings name a registered
                     function are judged in the calling thread.
    progress         a callable (done, total), or True for a bar on the terminal

    Raises ValueError for unknown words, a bad time tolerance, and a pattern of `only` that matches
    on neither side; as ``kvr.open`` for a path; NotFound and Ambiguous for the run of a file; Gone.

    >>> run = kvr.Store().new_run("Monday")
    >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
    >>> kvr.compare(run, run.copy()).passed
    True
    """
    plan = plan_of(match, coverage, time_tolerance, tolerance, sync, only, ignore, strict)
    return compare_runs(
        open_run(baseline), open_run(other), **plan, threads=threads, progress=progress
    )


def plan_of(
    match: Match = "path",
    coverage: str = "baseline",
    time_tolerance: float = 0.0,
    tolerance: Tolerance | None = None,
    sync: Sync | None = None,
    only: str | Iterable[str] = (),
    ignore: str | Iterable[str] = (),
    strict: bool = False,
) -> dict[str, Any]:
    """The options of ``kvr.compare`` as `compare_runs` takes them."""
    fields_of(match)
    chosen = None if tolerance is None and sync is None else _chooser(tolerance, sync)
    return {
        "match": match,
        "rules": rules_of(coverage, time_tolerance),
        "choose": chosen or (lambda settings: settings),
        "overrides": {"tolerance": tolerance, "sync": sync},
        "only": patterns_of("only", only),
        "ignore": patterns_of("ignore", ignore),
        "strict": truth("strict", strict),
    }


def require_options(options: dict[str, Any]) -> None:
    """Check the options of ``kvr.compare`` before anything is compared. Raises as it does."""
    _require_known(options)
    plan_of(**options)


def _require_known(options: dict[str, Any]) -> None:
    known = "match", "coverage", "time_tolerance", "tolerance", "sync", "only", "ignore", "strict"
    for name in options:
        if name not in known:
            raise TypeError(
                f"{name!r} is no option of a campaign; there are {listed(known, 'and')}"
            )


def compare_part(
    baseline: Union[RunOrPath, OpenRun],
    other: Union[RunOrPath, OpenRun],
    part: tuple[int, int],
    choose: Choose | None = None,
    found: Pairs | None = None,
    **options: Any,
) -> Comparison:
    """The share `part[0]` of `part[1]` of ``kvr.compare``, judged in one thread.

    `choose` stands in the place of `tolerance` and `sync`; `found` are the pairs of `pairs_of_part`.
    """
    _require_known(options)
    plan = plan_of(**options)
    if choose:
        plan["choose"] = choose
    sides = (_opened(baseline), _opened(other))
    return compare_runs(*sides, **plan, threads=1, part=part, found=found)


def pairs_of_part(
    baseline: OpenRun, other: OpenRun, choose: Choose | None = None, **options: Any
) -> Pairs:
    """What belongs together, for all parts of a comparison with these options."""
    plan = plan_of(**options)
    looks = baseline.run._looks(), other.run._looks(wants_settings=False)
    return pair(*looks, plan["match"], plan["only"], plan["ignore"])


def _opened(side: Union[RunOrPath, OpenRun]) -> OpenRun:
    return side if isinstance(side, OpenRun) else open_run(side)


def compare_runs(
    baseline: OpenRun,
    other: OpenRun,
    *,
    match: Match,
    rules: Rules,
    choose: Choose,
    overrides: dict[str, Any],
    only: tuple[str, ...],
    ignore: tuple[str, ...],
    strict: bool,
    threads: int | None,
    progress: Progress = None,
    part: tuple[int, int] = (0, 1),
    found: Pairs | None = None,
) -> Comparison:
    """`compare` with a free choice of the settings of each baseline signal.

    `part` (i, n) judges only the share i of n of the pairs, counted from 0. `found` are the pairs if
    they are known.
    """
    count = _thread_count(threads)
    matched = fields_of(match)
    runs = (baseline.run.name, other.run.name)
    if found is None:
        looks = baseline.run._looks(), other.run._looks(wants_settings=False, reads=False)
        pairing: Pairing | KnownPairs = Pairing(*looks, match, only, ignore)
    else:
        pairing = KnownPairs(found)
    if part != (0, 1):
        pairing = KnownPairs(_share_of(pairing, *part))
    verdicts, found = judged(pairing, runs, rules, choose, count, progress)
    options = {
        "match": match if isinstance(match, str) else list(matched),
        "coverage": rules.coverage,
        "time_tolerance": rules.time_tolerance,
        **overrides,
        "only": list(only),
        "ignore": list(ignore),
        "strict": strict,
    }
    here, there = map(len, pairing.looks)
    sides = (SideInfo.of(*baseline, here), SideInfo.of(*other, there))
    return Comparison(verdicts, sides, options, found.warnings)


def _share_of(pairing: Pairing | KnownPairs, share: int, shares: int) -> Pairs:
    for _ in pairing.couples():
        pass
    whole = pairing.pairs()
    total = len(whole.pairs)
    pairs = whole.pairs[total * share // shares : total * (share + 1) // shares]
    return whole._replace(pairs=pairs)


# ---- Settings ----


def _override(tolerance: Tolerance, sync: Sync) -> Settings:
    _require_settings(tolerance, sync)
    return Settings(tolerance, "override", sync, "override")


def _require_settings(tolerance: Any, sync: Any) -> None:
    if not isinstance(tolerance, Tolerance):
        raise TypeError(f"tolerance must be a kvr.Tolerance, not {tolerance!r}")
    if not isinstance(sync, Sync):
        raise TypeError(f"sync must be a kvr.Sync, not {sync!r}")


def _chooser(tolerance: Tolerance | None, sync: Sync | None) -> Choose:
    _require_settings(tolerance or Tolerance(), sync or Sync())

    def choose(settings: Settings) -> Settings:
        if tolerance is not None:
            settings = settings._replace(tolerance=tolerance, tolerance_source="override")
        if sync is not None:
            settings = settings._replace(sync=sync, sync_source="override")
        return settings

    return choose


def rules_of(coverage: str, time_tolerance: float) -> Rules:
    """The options that apply to all pairs. Raises ValueError."""
    if coverage not in COVERAGES:
        raise ValueError(f"coverage must be {listed(COVERAGES, 'or')}, not {coverage!r}")
    width = number("time_tolerance", time_tolerance)
    if math.isnan(width) or width < 0:
        raise ValueError(f"time_tolerance must be 0 or more, not {time_tolerance!r}")
    return Rules(coverage, width)


def _thread_count(threads: int | None) -> int:
    if threads is None:
        return max(len(os.sched_getaffinity(0)), 1)
    threads = whole_number("threads", threads)
    if threads < 1:
        raise ValueError(f"threads must be 1 or more, not {threads}")
    return threads
