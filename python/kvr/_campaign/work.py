"""The work of a worker: compares the jobs of a batch, also when some of them fail."""

from __future__ import annotations

import os
import platform
import time
from typing import Any, NamedTuple

from kvr._base.error_lines import told
from kvr._campaign.results import Summary


class Job(NamedTuple):
    """A pair, or a part of one: the share `part` of `parts`, counted from 0, of its signals."""

    number: int
    baseline: str
    other: str
    options: dict[str, Any]
    part: int = 0
    parts: int = 1


class Outcome(NamedTuple):
    """What became of a job: a summary, or an error."""

    summary: Summary | None
    error: str | None
    seconds: float


def program_version() -> str:
    """What must be the same on every worker for results to be the same."""
    import numpy
    import vormel

    parts = (getattr(vormel, "__version__", ""), platform.python_version(), numpy.__version__)
    return "/".join(parts)


def run_batch(jobs: list[Job], version: str) -> list[Outcome]:
    """Compare the jobs. Raises RuntimeError if this worker's program is another version."""
    own = program_version()
    if own != version:
        raise RuntimeError(
            f"worker {platform.node()}: its program is version {own}, the campaign's is {version}"
        )
    return [_outcome(job) for job in jobs]


def _outcome(job: Job) -> Outcome:
    started = time.perf_counter()
    try:
        summary, error = _compared(job), None
    except Exception as raised:
        summary, error = None, told(raised)
    return Outcome(summary, error, time.perf_counter() - started)


def _compared(job: Job) -> Summary:
    from kvr._comparing.compare import compare_part
    from kvr._files.opening import split_name

    files = [split_name(side)[0] for side in (job.baseline, job.other)]
    before = [_identity(file) for file in files]
    comparison = compare_part(job.baseline, job.other, (job.part, job.parts), **job.options)
    for file, identity in zip(files, before):
        if _identity(file) != identity:
            raise ValueError(f"{file}: changed while it was read; compare it again")
    return Summary.of(comparison)


def _identity(file: str) -> tuple[int, int, int]:
    status = os.stat(file)
    return status.st_ino, status.st_size, status.st_mtime_ns
