"""Bringing runs of files into the store."""

from __future__ import annotations

import os
from collections.abc import Iterable
from typing import Any

from kvr import _text
from kvr._errors import FormatError
from kvr._formats import open as open_recording
from kvr._reading import RunReader
from kvr._recording import Recording
from kvr._run import Run, new_run


def load(
    source: str | os.PathLike[str] | Recording, runs: Iterable[str] | str | None
) -> list[Run]:
    if not isinstance(source, Recording):
        with open_recording(source) as recording:
            return load(recording, runs)
    names = [runs] if isinstance(runs, str) else runs
    chosen = list(source.runs) if names is None else [source.runs[name] for name in names]
    loaded: list[Run] = []
    try:
        for run in chosen:
            loaded.append(new_run(_kept(run.name), 1))
            _fill(loaded[-1], run, source.path)
    except BaseException:
        for run_so_far in loaded:
            run_so_far.remove()
        raise
    return loaded


def _kept(text: str) -> str:
    """The text as the store can keep it: without NUL, and without the halves of characters."""
    return text.replace("\0", "").encode("utf-8", "replace").decode()


def _fill(run: Run, source: RunReader[Any], path: str) -> None:
    run.created = source.created
    for signal in source.signals:
        found = signal._series()
        try:
            run.add(
                _kept(signal.label),
                found.values,
                found.time,
                path=_kept(signal.path),
                model=_kept(signal.model),
                source=_kept(signal.source),
                root_source=_kept(signal.root_source),
                time_source=_kept(signal.time_source),
                port=signal.port,
                channel=signal.channel,
                sid=_kept(signal.sid),
                metadata=signal.metadata,
            )
        except ValueError as error:
            place = f"signal '{_text.shown(signal.label, 80)}'"
            raise FormatError(path, f"the store does not take it: {error}", place) from error
