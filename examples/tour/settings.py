"""Tolerances and synchronisation options of runs and signals, and groups of signals."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Any

DAY = 86400.0  # seconds
COLUMNS = ("GRUNNAME", "GBLOCKPATH", "GDATASOURCE", "GSIGNALNAME", "GMODEL")


def settings(repo: Any, run: int) -> Iterator[str]:
    """The run's settings, one signal's own tolerance, another's own options, and who has what."""
    repo.setRelativeToleranceByRun(run, 0.005)
    repo.setSyncMethodByRun(run, "intersection")
    repo.setInterpMethodByRun(run, "linear")
    plain, tolerant, uniform = (int(repo.getID(run, index)) for index in (1, 13, 26))
    repo.setAbsoluteTolerance(tolerant, 0.1)
    repo.setSyncMethod(uniform, "uniform")
    repo.setUniformTimeInterval(uniform, 30 * DAY)
    for signal in (plain, tolerant, uniform):
        yield (
            f"{repo.getSignal(signal)['SignalLabel']:<22}"
            f"{tolerance(repo, signal):<34}{options(repo, signal)}"
        )


def tolerance(repo: Any, signal: int) -> str:
    values = repo.getTolerance(signal)
    origin = "run" if repo.isToleranceInherited(signal) else "own"
    return f"absolute {values['absolute']:g}, relative {values['relative']:g} ({origin})"


def options(repo: Any, signal: int) -> str:
    values = repo.getSyncOptions(signal)
    origin = "run" if repo.isSyncOptionsInherited(signal) else "own"
    return (
        f"{values['SyncMethod']}, {values['InterpMethod']}, "
        f"every {values['UniformTimeInterval']:.10g} s ({origin})"
    )


def groups(repo: Any) -> Iterator[str]:
    """Each column: how many groups, the first names in ascending and in descending order."""
    for column in COLUMNS:
        count = repo.getGroupCount(column)
        first, last = (repo.getGroup(1, column, order) for order in ("ASC", "DESC"))
        names = first if count == 1 else f"{first} ... {last}"
        yield f"{column:<12}{count:>3}  {names}"
