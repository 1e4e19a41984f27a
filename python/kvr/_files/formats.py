"""The table of file formats, to which other packages add through entry points."""

from __future__ import annotations

import importlib
import inspect
import os
import stat
from collections.abc import Callable, Sequence
from dataclasses import dataclass
from typing import Any, NamedTuple

from kvr._base.errors import FormatError
from kvr._base.names import listed
from kvr._base.progress import Progress, reporter
from kvr._base.text import shown
from kvr._files.recording import Recording
from kvr._reading.runs import RunReader

ENTRY_POINTS = "kvr.formats"

Tell = Callable[[int], object]
Save = Callable[[str, Sequence[RunReader[Any]], bool, Tell], None]


@dataclass(frozen=True)
class Format:
    """A format of files. A package adds one as an entry point of the group "kvr.formats".

    name       such as "csv"
    endings    of the files, in lower case, such as (".csv", ".csv.gz")
    open       called with the path and the options of ``kvr.open``; returns a Recording
    save       called with the path, the runs to write, whether to add them to the file, and a
               function to call with the number of signals written so far; None if the format is for
               reading only. On failure an old file must stay as it was.
    by_signal  whether reading some signals takes no time for the others

    >>> def open_log(path: str) -> kvr.Recording:
    ...     return kvr.open(path, format="csv", delimiter=" ")
    >>> kvr.Format("log", (".log",), open_log).endings
    ('.log',)
    """

    name: str
    endings: tuple[str, ...]
    open: Callable[..., Recording]
    save: Save | None = None
    by_signal: bool = False


def _open_csv(
    path: str,
    delimiter: str | None = None,
    decimal: str | None = None,
    quote: str | None = None,
    time: str | None = None,
) -> Recording:
    module = importlib.import_module("kvr._files.csv.recording")
    recording: Recording = module.CsvRecording(
        path, delimiter=delimiter, decimal=decimal, quote=quote, time=time
    )
    return recording


def _save_csv(path: str, runs: Sequence[RunReader[Any]], append: bool, tell: Tell) -> None:
    importlib.import_module("kvr._files.csv.writing").save_csv(path, runs, append)
    tell(sum(map(len, runs)))


def _open_recording(path: str) -> Recording:
    recording: Recording = importlib.import_module("kvr._files.sqlite.recording").RecordingFile(
        path
    )
    return recording


def _save_recording(path: str, runs: Sequence[RunReader[Any]], append: bool, tell: Tell) -> None:
    importlib.import_module("kvr._files.sqlite.writing").save_recording(path, runs, append, tell)


def _open_ngspice(path: str) -> Recording:
    recording: Recording = importlib.import_module("kvr._files.ngspice.recording").NgspiceRecording(
        path
    )
    return recording


def _open_hdf5(path: str) -> Recording:
    recording: Recording = importlib.import_module("kvr._files.hdf5.recording").Hdf5Recording(path)
    return recording


def _save_hdf5(path: str, runs: Sequence[RunReader[Any]], append: bool, tell: Tell) -> None:
    importlib.import_module("kvr._files.hdf5.writing").save_hdf5(path, runs, append, tell)


_OWN = (
    Format("recording", (".kvr",), _open_recording, _save_recording, by_signal=True),
    Format("csv", (".csv", ".tsv", ".csv.gz", ".tsv.gz"), _open_csv, _save_csv),
    Format("hdf5", (".h5", ".hdf5"), _open_hdf5, _save_hdf5, by_signal=True),
    Format("ngspice", (".raw",), _open_ngspice),
)


class _Others(NamedTuple):
    """The formats of other packages, and a clause for each that cannot be loaded."""

    formats: list[Format]
    failures: dict[str, str]  # by the name of the entry point


def _others() -> _Others:
    """Loads the entry points of the group. One that fails does not keep the others from loading."""
    from importlib.metadata import entry_points

    found = _Others([], {})
    for point in sorted(entry_points(group=ENTRY_POINTS), key=lambda point: point.name):
        try:
            loaded = point.load()
            if not isinstance(loaded, Format):
                raise TypeError(f"{point.value} is no kvr.Format")
        except (Exception, SystemExit) as error:  # whatever the import of a foreign module raises
            owner = f" of the package {point.dist.name}" if point.dist else ""
            reason = f"{type(error).__name__}: {shown(str(error), 200)}"
            found.failures[point.name] = f"{point.name!r}{owner} cannot be loaded ({reason})"
        else:
            found.formats.append(loaded)
    return found


def format_of(path: str, name: str | None) -> Format:
    """The format of this name, or else of this file's ending. Raises ValueError, FormatError.

    Own formats come first; the entry points of other packages are loaded only if none fits.
    """
    others = _Others([], {})
    for own in (True, False):
        if not own:
            others = _others()
        for candidate in _OWN if own else others.formats:
            by_name, by_ending = candidate.name == name, path.lower().endswith(candidate.endings)
            if by_name if name is not None else by_ending:
                return candidate
    names = listed([candidate.name for candidate in (*_OWN, *others.formats)], "or")
    if name in others.failures:
        raise ValueError(f"format {others.failures[name]}")
    if name is not None:
        raise ValueError(f"format must be {names}, not {name!r}")
    broken = "".join(f"; the format {failure}" for failure in others.failures.values())
    raise FormatError(
        path,
        f"its ending is of no known format; name the format, {names}, or give the file its "
        f"ending{broken}",
    )


def known_endings() -> tuple[str, ...]:
    """The endings of all formats, those of other packages too."""
    return tuple(ending for known in (*_OWN, *_others().formats) for ending in known.endings)


def is_read_by_signal(path: str) -> bool:
    """Whether reading some signals of the file takes no time for the others."""
    return any(path.lower().endswith(own.endings) and own.by_signal for own in _OWN)


def open(path: str | os.PathLike[str], format: str | None = None, **options: Any) -> Recording:
    """Open a file of runs for reading.

    `format` is the name of a format; None goes by the ending of the file. Format "csv" takes the
    options `delimiter`, `decimal`, `quote` and `time`, the name of the time column, where they are
    not to be found out.

    Raises OSError for a file that cannot be opened, FormatError for one that is not what its format
    says, ValueError for an unknown format, TypeError for an unknown option.

    >>> import pathlib, tempfile
    >>> path = pathlib.Path(tempfile.mkdtemp(), "drive.csv")
    >>> _ = path.write_text("time,speed [m/s]\\n0.0,4.5\\n0.1,7.0\\n")
    >>> with kvr.open(path) as recording:
    ...     speed = recording.runs["drive"]["speed"]
    ...     speed.values, speed.unit
    (array([4.5, 7. ]), 'm/s')
    """
    path = _as_text(path)
    mode = status_of(path).st_mode
    if stat.S_ISDIR(mode):
        raise FormatError(path, "is a folder; name a file in it")
    if not stat.S_ISREG(mode):
        raise FormatError(path, "is not a regular file")
    chosen = format_of(path, format)
    _require_options(chosen, options)
    return chosen.open(path, **options)


def status_of(path: str) -> os.stat_result:
    """As os.stat, whose ValueError for a NUL does not name the file. Raises OSError, ValueError."""
    if "\0" in path:
        raise ValueError(f"{path!r}: no file has a NUL in its name; check the name")
    return os.stat(path)


def _as_text(path: Any) -> str:
    """The path as a text. Raises TypeError for bytes and what is no path."""
    if isinstance(path, (str, os.PathLike)):
        text = os.fspath(path)
        if isinstance(text, str):
            return text
    raise TypeError(f"path must be a text or a path, not {path!r:.80}")


def _require_options(chosen: Format, options: dict[str, Any]) -> None:
    """Raises TypeError for an option that opening a file of the format does not take."""
    if not options:
        return
    _, *taken = inspect.signature(chosen.open).parameters.values()
    if any(parameter.kind is parameter.VAR_KEYWORD for parameter in taken):
        return
    names = [parameter.name for parameter in taken]
    for name in options:
        if name not in names:
            known = f"takes {listed(names, 'and')}" if names else "takes no options"
            raise TypeError(f"format {chosen.name!r} has no option {name!r}, it {known}")


def save(
    path: str | os.PathLike[str],
    runs: Sequence[RunReader[Any]],
    append: bool,
    progress: Progress = None,
) -> None:
    """Write runs in the format of the path's ending. Raises ValueError, FormatError, OSError.

    `progress` is told how many of the signals are written.
    """
    path = _as_text(path)
    write = require_writable(path, format_of(path, None))
    write(path, runs, append, reporter(progress, sum(map(len, runs))))


def require_writable(path: str, chosen: Format) -> Save:
    """What writes files of the format. Raises ValueError if nothing does."""
    if chosen.save is None:
        raise ValueError(
            f"{path}: files of format {chosen.name!r} can only be read; name one with another ending"
        )
    return chosen.save
