"""The formats of files: a small table, to which other packages add through entry points."""

from __future__ import annotations

import importlib
import os
import stat
from collections.abc import Callable, Sequence
from dataclasses import dataclass
from typing import Any

from kvr._errors import FormatError
from kvr._names import listed
from kvr._reading import RunReader
from kvr._recording import Recording

ENTRY_POINTS = "kvr.formats"


@dataclass(frozen=True)
class Format:
    """A format of files. A package adds one as an entry point of the group "kvr.formats".

    name     such as "csv"
    endings  of the files, in lower case, such as (".csv", ".csv.gz")
    open     called with the path and the options of ``kvr.open``; returns a Recording
    save     called with the path, the runs to write and whether to add them to the file; None if
             the format is for reading only
    """

    name: str
    endings: tuple[str, ...]
    open: Callable[..., Recording]
    save: Callable[[str, Sequence[RunReader[Any]], bool], None] | None = None


def _open_csv(path: str, **options: Any) -> Recording:
    recording: Recording = importlib.import_module("kvr._csv").CsvRecording(path, **options)
    return recording


def _save_csv(path: str, runs: Sequence[RunReader[Any]], append: bool) -> None:
    importlib.import_module("kvr._csv_write").save_csv(path, runs, append)


_OWN = (Format("csv", (".csv", ".tsv", ".csv.gz", ".tsv.gz"), _open_csv, _save_csv),)


_BY_SIGNAL = (".kvr", ".h5", ".hdf5")  # endings of files of which signals can be read alone


def known_formats() -> list[Format]:
    """All formats: the package's own, then those of other packages, which load when asked here."""
    from importlib.metadata import entry_points

    return [*_OWN, *(point.load() for point in entry_points(group=ENTRY_POINTS))]


def format_of(path: str, name: str | None) -> Format:
    """The format of this name, or else of this file's ending. Raises ValueError, FormatError."""
    for formats in (lambda: list(_OWN), known_formats):  # others are looked for only if needed
        for candidate in formats():
            by_name, by_ending = candidate.name == name, path.lower().endswith(candidate.endings)
            if by_name if name is not None else by_ending:
                return candidate
    names = listed([candidate.name for candidate in known_formats()], "or")
    if name is not None:
        raise ValueError(f"format must be {names}, not {name!r}")
    raise FormatError(path, f"its ending is of no known format; name the format, {names}")


def is_known(path: str) -> bool:
    """Whether some format has the ending of this name."""
    return any(path.lower().endswith(known.endings) for known in known_formats())


def is_cut(path: str) -> bool:
    """Whether a file's signals can be read without reading the others."""
    return path.lower().split("#")[0].endswith(_BY_SIGNAL)


def open(path: str | os.PathLike[str], format: str | None = None, **options: Any) -> Recording:
    """Open a file of runs for reading.

    `format` is the name of a format; None goes by the ending of the file. Format "csv" takes the
    options `delimiter`, `decimal`, `quote` and `time`, the name of the time column, where they are
    not to be found out.

    Raises OSError for a file that cannot be opened, FormatError for one that is not what its format
    says, ValueError for an unknown format or option.

    >>> import pathlib, tempfile
    >>> path = pathlib.Path(tempfile.mkdtemp(), "drive.csv")
    >>> _ = path.write_text("time,speed [m/s]\\n0.0,4.5\\n0.1,7.0\\n")
    >>> with kvr.open(path) as recording:
    ...     speed = recording.runs["drive"]["speed"]
    ...     speed.values, speed.unit
    (array([4.5, 7. ]), 'm/s')
    """
    path = os.fspath(path)
    if not isinstance(path, str):
        raise TypeError(f"path must be a text or a path, not {path!r}")
    mode = os.stat(path).st_mode
    if stat.S_ISDIR(mode):
        raise FormatError(path, "is a folder; name a file in it")
    if not stat.S_ISREG(mode):
        raise FormatError(path, "is not a regular file")
    return format_of(path, format).open(path, **options)


def save(path: str | os.PathLike[str], runs: Sequence[RunReader[Any]], append: bool) -> None:
    """Write runs in the format of the path's ending. Raises ValueError, FormatError, OSError."""
    path = os.fspath(path)
    chosen = format_of(path, None)
    if chosen.save is None:
        raise ValueError(f"{path}: files of format {chosen.name!r} can only be read")
    chosen.save(path, runs, append)
