"""Bringing runs of files into the store."""

from __future__ import annotations

import os
from collections.abc import Iterable, Iterator, Sequence
from typing import Any

from kvr._base.errors import FormatError
from kvr._base.settings import Sync, Tolerance
from kvr._base.text import shown
from kvr._files.formats import open as open_recording
from kvr._files.recording import FileRun, FileSignal, Recording
from kvr._reading.runs import RunReader, run_named
from kvr._store.run import Run, new_run
from kvr._store.signal import Signal


def load(source: str | os.PathLike[str] | Recording, runs: Iterable[str] | str | None) -> list[Run]:
    if not isinstance(source, Recording):
        with open_recording(source) as recording:
            return load(recording, runs)
    names = [runs] if isinstance(runs, str) else runs
    if names is not None and not isinstance(names, Iterable):
        raise TypeError(f"runs of a file are chosen by name; {names!r:.80} is not a text")
    chosen = list(source.runs) if names is None else [_run_named(source, name) for name in names]
    return load_runs(chosen, source.path)


def load_runs(chosen: Sequence[RunReader[Any]], path: str) -> list[Run]:
    """Bring runs of one file into the store; if one cannot be loaded, none is. Raises as `load`."""
    loaded: list[Run] = []
    try:
        for run in chosen:
            instance = run.instance
            loaded.append(new_run(_kept(run.name), 1 if instance is None else instance))
            loaded[-1].created = run.created
        _fill(chosen, loaded, path)
        for made, run in zip(loaded, chosen):
            _set_settings(made, run)
    except BaseException:
        for made in loaded:
            made.remove()
        raise
    return loaded


def _run_named(recording: Recording, name: str) -> FileRun:
    """The run of the file with this name. Raises NotFound and Ambiguous, which name the file."""
    if not isinstance(name, str):
        raise TypeError(f"runs of a file are chosen by name; {name!r} is not a text")
    return run_named(list(recording.runs), name, "the file", f"{recording.path}: ")


def _kept(text: str) -> str:
    """The text as the store can keep it: without NUL, and without the halves of characters."""
    return text.replace("\0", "").encode("utf-8", "replace").decode()


class _Filling:
    """A run that its signals are being added to. `waiting` is the next one, None at the end."""

    def __init__(self, run: Run, source: RunReader[Any]) -> None:
        self.run = run
        self._rest: Iterator[FileSignal] = iter(source.signals)
        self.waiting: FileSignal | None = None
        self.advance()

    def advance(self) -> None:
        self.waiting = next(self._rest, None)


def _fill(sources: Sequence[Any], runs: list[Run], path: str) -> None:
    """Add the signals of all runs, each run in its order, and parents before their parts.

    A parent can be in another run: a run whose next signal is part of one that is not there yet
    waits for the others.
    """
    added: dict[Any, Signal] = {}  # by the key of the signal in the file
    here = {source.id for source in sources}
    fillings = [_Filling(run, source) for run, source in zip(runs, sources)]
    while unfinished := [filling for filling in fillings if filling.waiting is not None]:
        before = len(added)
        for filling in unfinished:
            while (signal := filling.waiting) is not None:
                parent = signal.parent
                if parent is not None and parent.run.id not in here:
                    parent = None
                if parent is not None and parent._key() not in added:
                    break
                above = None if parent is None else added[parent._key()]
                added[signal._key()] = _add(filling.run, signal, above, path)
                filling.advance()
        if len(added) == before:
            stuck = unfinished[0].waiting
            assert stuck is not None
            what = "the store does not take it: the signal that it is part of comes after it"
            raise FormatError(path, what, _place(stuck))


def _place(signal: FileSignal) -> str:
    return f"signal '{shown(signal.label, 80)}'"


def _add(run: Run, signal: FileSignal, parent: Signal | None, path: str) -> Signal:
    found = signal._series()
    try:
        made = run.add(
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
            metadata=signal._held_metadata(),
            parent=parent,
        )
        if signal._keeps_display:
            made.color, made.dash = signal.color, _kept(signal.dash)
            made.visible = signal.visible
    except ValueError as error:
        raise FormatError(path, f"the store does not take it: {error}", _place(signal)) from error
    tolerance, sync = signal.tolerance, signal.sync
    if not tolerance.inherited:
        made.tolerance = tolerance
    if not sync.inherited:
        made.sync = sync
    return made


def _set_settings(run: Run, source: RunReader[Any]) -> None:
    """A run without signals has no settings to set."""
    if not len(run):
        return
    if source.tolerance != Tolerance():
        run.tolerance = source.tolerance
    if source.sync != Sync():
        run.sync = source.sync
