"""Comparing many pairs of files."""

from __future__ import annotations

import os
from collections.abc import Iterable, Iterator
from contextlib import ExitStack, closing
from dataclasses import replace
from typing import Any, Union

from kvr._campaign.journal import Journal, key_of
from kvr._campaign.pairs import FilePair, Pair, from_python, look_at
from kvr._campaign.pool import Pool, processors
from kvr._campaign.reports import ReportFolder
from kvr._campaign.results import PairResult
from kvr._campaign.schedule import Planned, Runner, Schedule, Settled
from kvr._campaign.work import program_version
from kvr._comparing.compare import require_options


def campaign(
    pairs: Iterable[Pair],
    *,
    client: Any = None,
    jobs: int | None = None,
    results: str | os.PathLike[str] | None = None,
    **options: Any,
) -> Iterator[PairResult]:
    """Compare many pairs of files, and give each pair's result as it is finished.

    pairs    tuples (baseline, other) of paths, "file#run name" where a file has several runs, or
             (baseline, other, options) with options of that pair; read as they are needed
    client   a ``distributed.Client``: the pairs are compared on its workers, which must see the
             files under the same paths. Without one, processes of this machine do it.
    jobs     how many processes; None: as many as there are processors. Not with a client.
    results  a file to which every result is appended before it is given, a line of JSON each. If it
             is there, the pairs that it has results of are not compared again, unless a file, the
             options or the program has changed; their results are given as well, and a pair that
             stands twice is given once.
    options  as for ``kvr.compare``, without `threads` and `progress`

    What befalls a pair is its result: `error` says why it could not be compared. A worker that dies
    costs the pairs that it was at a retry, three times. Results come in no particular order.
    Leaving the loop, or Ctrl-C, ends the workers; nothing that was given is lost.

    Raises TypeError and ValueError for wrong arguments, OSError and FormatError for a results file
    that cannot be used. In a script, call it under ``if __name__ == "__main__"``: the processes
    import the script.

    >>> import pathlib, tempfile
    >>> folder = pathlib.Path(tempfile.mkdtemp())
    >>> for name, value in ("base.csv", 2), ("same.csv", 2), ("other.csv", 3):
    ...     _ = (folder / name).write_text(f"time,speed\\\\n0,1\\\\n1,{value}\\\\n")
    >>> pairs = [(folder / "base.csv", folder / name) for name in ("same.csv", "other.csv")]
    >>> sorted(result.status for result in kvr.campaign(pairs, jobs=1))
    ['differs', 'passed']
    """
    require_options(options)
    return start(from_python(pairs), options, client, jobs, results)


def start(
    pairs: Iterator[FilePair],
    options: dict[str, Any],
    client: Any = None,
    jobs: int | None = None,
    results: str | os.PathLike[str] | None = None,
    reports: ReportFolder | None = None,
) -> Iterator[PairResult]:
    """`campaign` with options that were looked at, those of pairs too.

    They may have `choose`, which must get to the workers by pickling. Workers write a report of each
    pair that fails into `reports`; results that are known already get those that are missing.
    """
    if client is not None and jobs is not None:
        raise TypeError("give a client or jobs, not both")
    count = processors() if jobs is None else _whole(jobs)
    journal = None if results is None else Journal(results)
    try:
        runner = Pool(count) if client is None else _cluster(client)
    except BaseException:
        if journal:
            journal.close()
        raise
    # The caller may change it before asking for the first result; workers have another.
    folder = os.getcwd()
    return _run(pairs, options, folder, runner, journal, reports)


def _run(
    pairs: Iterator[FilePair],
    options: dict[str, Any],
    folder: str,
    runner: Runner,
    journal: Journal | None,
    reports: ReportFolder | None,
) -> Iterator[PairResult]:
    version = program_version()
    with ExitStack() as stack:
        if journal:
            stack.enter_context(closing(journal))
        stack.enter_context(closing(runner))
        plan = _plan(pairs, options, folder, version, journal, reports)
        for found in Schedule(runner, version).run(plan):
            if journal:
                journal.append([(key, result) for key, result in found if key])
            for _, result in found:
                yield result


def _plan(
    pairs: Iterator[FilePair],
    options: dict[str, Any],
    folder: str,
    version: str,
    journal: Journal | None,
    reports: ReportFolder | None,
) -> Iterator[Union[Planned, Settled]]:
    """The pairs to compare, and the results that are known without. Names count from `folder`."""
    for pair in pairs:
        own = {**options, **pair.options}
        sides = os.path.join(folder, pair.baseline), os.path.join(folder, pair.other)
        files = look_at(sides[0]), look_at(sides[1])
        key = key_of(pair, files, own, version) if journal or reports else ""
        report = reports.place(pair, key) if reports else ""
        if journal:
            is_new, done = journal.take(key)
            if not is_new:
                continue
            if done and _has_its_report(done, report):
                known = report if _wants_report(done) else ""
                yield Settled("", replace(done, report=known))
                continue
            if done:
                key = ""  # it is in the file, and is compared again for its report alone
        if pair.alone:
            yield Settled(key, PairResult.of_one_side(pair, bool(own.get("strict"))))
        else:
            yield Planned(pair, key if journal else "", own, sides, files, report)


def _has_its_report(done: PairResult, report: str) -> bool:
    return not report or not _wants_report(done) or os.path.exists(report)


def _wants_report(done: PairResult) -> bool:
    return done.comparison is not None and not done.passed


def _whole(jobs: Any) -> int:
    if isinstance(jobs, bool) or not isinstance(jobs, int):
        raise TypeError(f"jobs must be a whole number, not {jobs!r}")
    if jobs < 1:
        raise ValueError(f"jobs must be 1 or more, not {jobs}")
    return jobs


def _cluster(client: Any) -> Runner:
    from kvr._campaign.cluster import Cluster

    return Cluster(client)
