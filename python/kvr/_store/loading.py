"""Bringing runs of files into the store."""

from __future__ import annotations

import os
from collections.abc import Iterable, Iterator, Sequence
from typing import Any

import vormel

from kvr._base.errors import FormatError
from kvr._base.settings import Sync, Tolerance
from kvr._base.text import shown
from kvr._files.formats import open as open_recording
from kvr._files.recording import FileRun, FileSignal, Recording
from kvr._reading import adding
from kvr._reading.runs import RunReader, run_named
from kvr._reading.signals import Array, Facts
from kvr._store import host as _host
from kvr._store.run import Run, new_run
from kvr._store.signal import Signal, as_color


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
    return text if text.isascii() and "\0" not in text else _mended(text)


def _mended(text: str) -> str:
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
    adder = _Adder(path)
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
                added[signal._key()] = adder.add(filling.run, signal, above)
                filling.advance()
        if len(added) == before:
            stuck = unfinished[0].waiting
            assert stuck is not None
            what = "the store does not take it: the signal that it is part of comes after it"
            raise FormatError(path, what, _place(stuck))


def _place(signal: FileSignal) -> str:
    return f"signal '{shown(signal.label, 80)}'"


class _Adder:
    """Adds signals of a file to runs of the store.

    What `Run.add` checks is checked here as far as a file can be wrong. Times that signals share
    are checked and converted once: a file's arrays are read-only.
    """

    def __init__(self, path: str) -> None:
        self._path = path
        self._repository = _host.connect()
        self._times: Array | None = None
        self._are_dates = False
        self._host_times: Any = None

    def add(self, run: Run, signal: FileSignal, parent: Signal | None) -> Signal:
        facts, (times, values) = signal._facts(), signal._series()
        above = 0 if parent is None else parent.id
        metadata = adding.host_metadata(signal._held_metadata())
        try:
            self._use(times)
            samples = adding.sample_array(values, times.size)
            kept = _as_the_store_keeps(facts, self._are_dates)
            made = run._put(self._repository, kept, self._host_times, samples, metadata, above)
            if signal._keeps_display:
                self._show(made.id, signal)
        except ValueError as error:
            what = f"the store does not take it: {error}"
            raise FormatError(self._path, what, _place(signal)) from error
        tolerance, sync = signal.tolerance, signal.sync
        if not tolerance.inherited:
            made.tolerance = tolerance
        if not sync.inherited:
            made.sync = sync
        return made

    def _use(self, times: Array) -> None:
        """Take these times for the next signal. Raises ValueError as `adding.time_vector`."""
        if times is self._times and not times.flags.writeable:
            return
        self._times = None
        checked, self._are_dates = adding.time_vector(times)
        self._host_times = vormel.array(checked.reshape(-1, 1))
        self._times = times

    def _show(self, number: int, signal: FileSignal) -> None:
        """Set how it is drawn: the store gave it looks of its own. Raises ValueError."""
        repository = self._repository
        repository.setLineColor(number, *as_color(signal.color))
        repository.setLineStyle(number, _kept(signal.dash))
        if signal.visible:  # no new signal is
            repository.setVisibility(number, True)


def _as_the_store_keeps(facts: Facts, are_dates: bool) -> Facts:
    """The facts with texts that the store can keep. Raises ValueError for numbers it cannot."""
    run, label, path, model, source, root_source, time_source, port, channel, sid = facts
    return Facts(
        run, _kept(label), _kept(path), _kept(model), _kept(source), _kept(root_source),
        adding.source_of_time(_kept(time_source), are_dates), adding.int32("port", port, least=0),
        tuple(adding.channel_numbers(channel)), _kept(sid),
    )  # fmt: skip


def _set_settings(run: Run, source: RunReader[Any]) -> None:
    """A run without signals has no settings to set."""
    if not len(run):
        return
    if source.tolerance != Tolerance():
        run.tolerance = source.tolerance
    if source.sync != Sync():
        run.sync = source.sync
