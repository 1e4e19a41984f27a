"""What a server shows: files that are loaded into the store, and the runs of a comparison."""

from __future__ import annotations

from typing import Any

from kvr._comparing.compare import plan_of
from kvr._comparing.comparison import Comparison, SideInfo
from kvr._files.formats import open as open_recording
from kvr._files.opening import split_name
from kvr._reading.runs import run_numbered
from kvr._reading.signals import SignalReader
from kvr._store.loading import load, load_runs
from kvr._store.run import Run, run_of_number
from kvr._view.comparison import Plan
from kvr._view.files import ShownFile


def load_files(names: list[str]) -> tuple[ShownFile, ...]:
    """Load every FILE, or FILE#RUN, into the store. Raises as ``Store.load``.

    Each file is marked before it is read: one that changes while it is read counts as changed.
    """
    files: dict[str, ShownFile] = {}
    for given in names:
        path, run = split_name(given)
        files.setdefault(path, ShownFile.at(path))
        load(path, run)
    return tuple(files.values())


def plan_of_comparison(comparison: Comparison) -> Plan:
    """The same comparison on runs of the store, where those of files are loaded now.

    Raises Gone for a run that was removed, and as ``Store.load`` for one of a file.
    """
    options = dict(comparison.options)
    if not isinstance(options["match"], str):
        options["match"] = tuple(options["match"])
    sides = [
        (comparison.baseline, next((v.baseline for v in comparison if v.baseline), None)),
        (comparison.other, next((v.other for v in comparison if v.other), None)),
    ]
    baseline, other = (_run_of(side, signal) for side, signal in sides)
    return Plan(baseline, other, plan_of(**options))


def _run_of(side: SideInfo, signal: SignalReader | None) -> Run:
    run: Any = signal.run if signal is not None else None
    if isinstance(run, Run):
        run._repository()  # raises Gone
        return run
    if run is not None:
        return load_runs([run], side.file or "the recording")[0]
    if side.file is not None:
        with open_recording(side.file) as recording:
            return load_runs([run_numbered(recording.runs, side.id)], side.file)[0]
    return run_of_number(side.id)  # without signals nothing else tells it
