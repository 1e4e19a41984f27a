"""The work of a worker: compares the jobs of a batch, also when some of them fail."""

from __future__ import annotations

import os
import platform
import time
from collections.abc import Sequence
from typing import TYPE_CHECKING, Any, NamedTuple

from kvr._base.error_lines import told
from kvr._base.errors import Error
from kvr._campaign.results import Summary
from kvr._files.formats import status_of

if TYPE_CHECKING:
    from kvr._comparing.comparison import Comparison

CHANGED = "changed while it was read; compare it again"
_ENOUGH = 8.0  # seconds after which a worker hands back the jobs that it has not begun


class Job(NamedTuple):
    """A pair, or a part of one: the share `part` of `parts`, counted from 0, of its signals.

    report  the file to write a report to if the pair fails, "" for none; of whole pairs only
    """

    number: int
    baseline: str
    other: str
    options: dict[str, Any]
    part: int = 0
    parts: int = 1
    report: str = ""


class Outcome(NamedTuple):
    """What became of a job: a summary, or an error.

    unseen  the file that is not there
    files   sizes and times of the two files that were compared, None after an error
    report  the file of the report that was written, else ""
    doubt   why it could not be written, else ""
    """

    summary: Summary | None
    error: str | None
    seconds: float
    unseen: str = ""
    files: Any = None
    report: str = ""
    doubt: str = ""


def program_version() -> str:
    """What must be the same on every worker for results to be the same."""
    import numpy

    from kvr import _kvr  # without the host, which comparing files of numbers does not need

    return "/".join((_kvr.__version__, platform.python_version(), numpy.__version__))


def run_batch(jobs: Sequence[Job], version: str) -> list[Outcome]:
    """Compare the jobs in their order; the first at least, and no new one after 8 seconds.

    Raises RuntimeError if this worker's program is another version.
    """
    wrong = unfitness(version, ())
    if wrong:
        raise RuntimeError(f"worker {platform.node()}: {wrong}")
    began = time.monotonic()
    outcomes: list[Outcome] = []
    for job in jobs:
        if outcomes and time.monotonic() - began > _ENOUGH:
            break
        outcomes.append(_outcome(job))
    return outcomes


def unfitness(version: str, files: Sequence[str]) -> str:
    """Why this process cannot work for a campaign of that version on those files; "" if it can."""
    own = program_version()
    if own != version:
        return f"its program is version {own}, the campaign's is {version}"
    for file in files:
        if not os.path.exists(file):
            return f"it does not see {file}; make the file reachable there under the same path"
    return ""


def _outcome(job: Job) -> Outcome:
    started = time.perf_counter()
    try:
        comparison, files = _compared(job)
        summary = Summary.of(comparison)
        seconds = time.perf_counter() - started
        report, doubt = _reported(job, comparison)
    except Exception as error:
        is_gone = isinstance(error, FileNotFoundError)
        unseen = str(getattr(error, "filename", "") or "") if is_gone else ""
        return Outcome(None, told(error), time.perf_counter() - started, unseen)
    return Outcome(summary, None, seconds, "", files, report, doubt)


def _reported(job: Job, comparison: Comparison) -> tuple[str, str]:
    """Write the report of a pair that fails; the file, and why it could not be written."""
    if not job.report or comparison.passed:
        return "", ""
    try:
        comparison.to_html(job.report)
    except (OSError, Error) as error:
        return "", told(error)
    return job.report, ""


def _compared(job: Job) -> tuple[Comparison, list[tuple[int, int]]]:
    from kvr._files.opening import split_name

    paths = [split_name(side)[0] for side in (job.baseline, job.other)]
    before = [_identity(path) for path in paths]
    try:
        comparison = _comparison(job, before)
    finally:  # an error may come from the change
        _require_unchanged(paths, before)
    return comparison, [identity[1:] for identity in before]


def _comparison(job: Job, identities: Sequence[tuple[int, int, int]]) -> Comparison:
    """Of a part, with runs that are kept open between parts."""
    from kvr._campaign.kept import Opened, kept
    from kvr._comparing.compare import compare_part, pairs_of_part
    from kvr._files.opening import open_run

    if job.parts == 1:
        return compare_part(job.baseline, job.other, (0, 1), **job.options)
    ways = [job.options.get(name) for name in ("match", "only", "ignore")]
    key = job.baseline, job.other, *identities, repr(ways)
    opened = kept.take(key)
    if opened is None:
        runs = open_run(job.baseline), open_run(job.other)
        opened = Opened(*runs, pairs_of_part(*runs, **job.options))
    part = job.part, job.parts
    found = compare_part(opened.baseline, opened.other, part, found=opened.pairs, **job.options)
    kept.keep(key, opened)
    return found


def _require_unchanged(paths: Sequence[str], before: Sequence[tuple[int, int, int]]) -> None:
    """Raises ValueError, FileNotFoundError."""
    for path, identity in zip(paths, before):
        if _identity(path) != identity:
            raise ValueError(f"{path}: {CHANGED}") from None


def _identity(path: str) -> tuple[int, int, int]:
    status = status_of(path)
    return status.st_ino, status.st_size, status.st_mtime_ns
