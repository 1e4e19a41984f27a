"""Tolerances and synchronisation options of runs and signals, and groups of signals."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Any

COLUMNS = ("GRUNNAME", "GBLOCKPATH", "GDATASOURCE", "GSIGNALNAME", "GMODEL")


def settings(repo: Any, run: int) -> Iterator[str]:
    """The run's settings, one signal's own tolerance, another's own options, and who has what."""
    repo.setRelativeToleranceByRun(run, 0.005)
    repo.setSyncMethodByRun(run, "intersection")
    repo.setInterpMethodByRun(run, "linear")
    plain, tolerant, uniform = (int(repo.getID(run, index)) for index in (1, 13, 26))
    repo.setAbsoluteTolerance(tolerant, 0.1)
    repo.setSyncMethod(uniform, "uniform")
    repo.setUniformTimeInterval(uniform, 30.0)
    for signal in (plain, tolerant, uniform):
        yield (
            f"{repo.getSignal(signal)['SignalLabel']:<22}"
            f"{tolerance(repo, signal):<37}{options(repo, signal)}"
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
        f"every {values['UniformTimeInterval']:g} ({origin})"
    )


def groups(repo: Any) -> Iterator[str]:
    """Each column: how many groups, first and last name in both orders."""
    for column in COLUMNS:
        count = repo.getGroupCount(column)
        for order in ("ASC", "DESC"):
            names = [repo.getGroup(index, column, order) for index in range(1, count + 1)]
            yield f"{column:<12}{count:>3}  {order:<5}{summary(names)}"


def summary(names: list[str]) -> str:
    return names[0] if len(names) == 1 else f"{names[0]} ... {names[-1]}"
