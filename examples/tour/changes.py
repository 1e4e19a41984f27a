"""A copy of a run, the same recording in file mode, and a removal with what it leaves."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Any

import numpy as np

from tour.nowcast import Recording
from tour.reading import failure
from tour.recorder import block_path, equal_signals, record
from tour.settings import tolerance


def copied(repo: Any, run: int, instance: int) -> Iterator[str]:
    copy = repo.copyRun(run, instance)
    first = int(repo.getID(copy, 1))
    yield (
        f"run {run} copied to run {copy}: {equal_signals(repo, run, copy)} signals equal; "
        f"signal {first} has {tolerance(repo, first)}"
    )


def kept_in_file(repo: Any, recording: Recording, memory_run: int, instance: int) -> Iterator[str]:
    repo.writeToFile()
    file_run = record(repo, recording, instance)
    repo.stopWritingToFile()
    yield (
        f"run {file_run} recorded in file mode: "
        f"{equal_signals(repo, memory_run, file_run)} signals read back equal to run {memory_run}"
    )


def removed(repo: Any, run: int, instance: int, code: str) -> Iterator[str]:
    group = block_path(code)
    signal = int(repo.getID(run, 1))
    before = repo.getIDCount(group, "GBLOCKPATH")
    repo.remove(signal)
    yield (
        f"signal {signal} removed: group {group} had {before} signals, has "
        f"{repo.getIDCount(group, 'GBLOCKPATH')}; run {run} has {repo.getSignalCount(run)}"
    )
    repo.removeRun(run)
    left = ", ".join(str(number) for number in np.ravel(repo.getAllRunIDs(instance)))
    yield (
        f"run {run} removed: runs {left} are left with {repo.getSignalCount()} signals in "
        f"{repo.getGroupCount('GBLOCKPATH')} block paths"
    )
    yield failure(repo.getRunName, run)
