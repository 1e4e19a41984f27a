"""Writing runs as a recording file, or adding them to one."""

from __future__ import annotations

import os
from collections.abc import Callable, Iterator, Sequence
from contextlib import contextmanager
from datetime import timedelta
from typing import Any

import numpy as np

from kvr import _kvr
from kvr._base import text
from kvr._base.dates import EPOCH
from kvr._base.errors import NoValues
from kvr._base.writing import unwritable
from kvr._reading.runs import RunReader
from kvr._reading.signals import Array, Everything, SignalReader, unit_in

_RunAndSignals = tuple[RunReader[Any], Sequence[SignalReader]]
_MICROSECOND = timedelta(microseconds=1)
_KINDS = {np.dtype(name).newbyteorder("=") for name in (
    "bool", "int8", "int16", "int32", "int64", "uint8", "uint16", "uint32", "uint64",
    "float32", "float64", "complex64", "complex128",
)}  # fmt: skip


def save_recording(
    path: str,
    runs: Sequence[RunReader[Any]],
    append: bool,
    tell: Callable[[int], object],
) -> None:
    """Write the runs, in place of an old file or behind the runs that are in it.

    Parents are kept where they are among the signals that are written. Raises ValueError for what
    a recording cannot hold, FormatError, OSError; an old file then stays as it was.
    """
    content = [(run, run.signals) for run in runs]
    while True:
        appends = append and os.path.exists(path)
        try:
            return _save(path, content, appends, not append, tell)
        except FileExistsError:
            if appends or not append:
                raise
            # Another process made the file meanwhile: add to that one.


def _save(
    path: str,
    content: Sequence[_RunAndSignals],
    appends: bool,
    replaces: bool,
    tell: Callable[[int], object],
) -> None:
    """Write a file or add to it. FileExistsError for a new one that may not replace what is there."""
    with _told_as_unwritable(path):
        writer = _kvr.RecordingWriter(path, appends, _expected_bytes(content), replaces)
        try:
            _write(writer, path, content, tell)
            writer.commit()
        finally:
            writer.close()


@contextmanager
def _told_as_unwritable(path: str) -> Iterator[None]:
    """Errors of the file system, as those of a file to be written; a busy file stays one."""
    try:
        yield
    except BlockingIOError:
        raise
    except OSError as error:
        if error.filename != path:  # of another file, whose values are read
            raise
        raise unwritable(path, error) from error


def _expected_bytes(content: Sequence[_RunAndSignals]) -> int:
    """About as many bytes as the samples have: all signals are taken to be like the first."""
    for _, signals in content:
        for signal in signals:
            try:
                return int(signal._series().values.nbytes) * sum(len(each) for _, each in content)
            except NoValues:
                return 0
    return 0


def _write(
    writer: _kvr.RecordingWriter,
    path: str,
    content: Sequence[_RunAndSignals],
    tell: Callable[[int], object],
) -> None:
    numbers: dict[Any, int] = {}  # of all runs
    parts: list[tuple[int, Any, dict[Any, int]]] = []
    done = 0
    for run, signals in content:
        own: dict[Any, int] = {}  # a run may be among the runs twice
        try:
            writer.add_run(_run_fields(run))
        except ValueError as error:
            raise ValueError(f"{path}: run {text.shown(repr(run.name), 80)}: {error}") from error
        everything_of = run._everything_of()
        for signal in signals:
            try:
                found = everything_of(signal)
                number = _add(writer, found)
            except (ValueError, NoValues) as error:
                place = f"{path}: signal {text.shown(repr(signal.label), 80)}"
                raise type(error)(f"{place}: {error}") from error
            own[signal._key()] = number
            if found.parent is not None:
                parts.append((number, found.parent._key(), own))
            done += 1
            tell(done)
        numbers.update(own)
    for number, parent, own in parts:
        above = own.get(parent, numbers.get(parent))
        if above is not None:
            writer.set_parent(number, above)


def _run_fields(run: RunReader[Any]) -> dict[str, Any]:
    return {
        "name": run.name,
        "version": run.version,
        "created": (run.created - EPOCH) // _MICROSECOND,
        "instance": run.instance,
        "tolerance": run.tolerance.to_fields(),
        "sync": run.sync.to_fields(),
    }


def _add(writer: _kvr.RecordingWriter, found: Everything) -> int:
    """Write a signal; returns its number in the file."""
    tolerance, sync, metadata = found.tolerance, found.sync, found.metadata
    settings: dict[str, Any] = {
        "unit": unit_in(metadata),
        "visible": found.visible,
        "tolerance": None if tolerance is None else tolerance.to_fields(),
        "sync": None if sync is None else sync.to_fields(),
    }
    held = b"" if metadata is None else _bytes(metadata)
    if found.record is not None:
        import vormel  # here, so that files of numbers are written without the host

        number = writer.add_record(found.record, vormel.Object, settings, held)
        if number is not None:
            return number
    facts, (time, values), color, dash = found.content()
    fields = {**facts._asdict(), **settings, "color": color, "dash": dash}
    samples, shape = _samples(values)
    return writer.add_signal(fields, _plain(time, "time"), samples, shape, held)


def _samples(values: Array) -> tuple[Any, tuple[int, ...]]:
    """Numbers as an array, texts as the bytes of the host's cells; and their shape."""
    if values.dtype.kind == "U" or (
        values.dtype == object and all(isinstance(value, str) for value in values.flat)
    ):
        import vormel  # here, so that files of numbers are written without the host

        cells = values.astype(object).reshape(-1, 1)
        return _bytes(vormel.array(cells, "cell")), values.shape
    return _plain(values, "values"), values.shape


def _plain(array: Array, name: str) -> Array:
    if array.dtype.isnative and array.dtype in _KINDS and array.flags.c_contiguous:
        return array
    if array.dtype.newbyteorder("=") not in _KINDS:
        raise ValueError(f"its {name} are of class {array.dtype}, which a recording cannot hold")
    native = array.dtype.newbyteorder("=")
    return np.ascontiguousarray(array, native).reshape(array.shape)


def _bytes(value: Any) -> bytes:
    import vormel

    try:
        data: bytes = vormel.dumps(value)
    except vormel.Error as error:
        raise ValueError(f"{error}") from error
    return data
