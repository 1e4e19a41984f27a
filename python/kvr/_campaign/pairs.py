"""Which files a campaign compares."""

from __future__ import annotations

import csv
import os
from collections.abc import Iterable, Iterator, Mapping
from typing import Any, NamedTuple, Union

from kvr._files.opening import split_name

PathLike = Union[str, "os.PathLike[str]"]
Pair = Union[tuple[PathLike, PathLike], tuple[PathLike, PathLike, Mapping[str, Any]]]


class FilePair(NamedTuple):
    """Two files, and the options of this pair that stand before those of the campaign.

    alone    "missing" if only the baseline's folder has the file, "extra" if only the other's
    """

    baseline: str
    other: str
    options: dict[str, Any]
    alone: str = ""


class SeenFile(NamedTuple):
    """The file of a side as the caller sees it. `time` is None if it cannot be looked at."""

    path: str
    size: int
    time: int | None


def look_at(side: str) -> SeenFile:
    """Where the file of a side is, without the name of a run, its size and its time."""
    try:
        status, path = os.stat(side), side
    except (OSError, ValueError):
        path = split_name(side)[0]
        try:
            status = os.stat(path)
        except (OSError, ValueError):
            return SeenFile(path, 0, None)
    return SeenFile(path, status.st_size, status.st_mtime_ns)


def from_python(pairs: Iterable[Pair]) -> Iterator[FilePair]:
    """Pairs as callers give them, one by one. Raises TypeError for what is no pair."""
    for pair in pairs:
        yield pair if isinstance(pair, FilePair) else _file_pair(pair)


def _file_pair(pair: Any) -> FilePair:
    is_text = isinstance(pair, (str, bytes))
    parts = tuple(pair) if isinstance(pair, Iterable) and not is_text else ()
    if not 2 <= len(parts) <= 3:
        raise TypeError(
            f"a pair is (baseline, other) or (baseline, other, options), not {pair!r:.200}"
        )
    options = parts[2] if len(parts) == 3 else {}
    if not isinstance(options, Mapping):
        raise TypeError(f"the options of a pair are a dict, not {options!r:.80}")
    return FilePair(_path(parts[0]), _path(parts[1]), dict(options))


def _path(path: Any) -> str:
    if isinstance(path, (str, os.PathLike)):
        text = os.fspath(path)
        if isinstance(text, str):
            return text
    raise TypeError(f"a file is named by a text or a path, not {path!r:.80}")


def from_folders(baseline: str, other: str, endings: tuple[str, ...]) -> Iterator[FilePair]:
    """Files of the same relative name below two folders, in order of their names.

    Files without one of the `endings`, in lower case, and hidden ones are passed over. What stands
    on one side only is missing or extra. Links to folders are followed, unless they lead back to a
    folder that they stand in. Raises OSError for a folder that cannot be listed.
    """
    here, there = (set(_files_below(folder, endings)) for folder in (baseline, other))
    for name in sorted(here | there):
        paths = os.path.join(baseline, name), os.path.join(other, name)
        if name not in there:
            yield FilePair(*paths, {}, "missing")
        elif name not in here:
            yield FilePair(*paths, {}, "extra")
        else:
            yield FilePair(*paths, {})


def _files_below(
    folder: str, endings: tuple[str, ...], above: frozenset[tuple[int, int]] = frozenset()
) -> Iterator[str]:
    """Names relative to the folder. `above` are the device and inode of each folder it stands in."""
    status = os.stat(folder)
    identity = status.st_dev, status.st_ino
    if identity in above:
        return
    with os.scandir(folder) as entries:
        visible = [entry for entry in entries if not entry.name.startswith(".")]
    for entry in visible:
        if entry.is_dir():
            for name in _files_below(entry.path, endings, above | {identity}):
                yield os.path.join(entry.name, name)
        elif entry.name.lower().endswith(endings):
            yield entry.name


def from_table(path: str, read_options: Any) -> Iterator[FilePair]:
    """The pairs of a CSV file with the header ``baseline,other``, and a column for each option.

    Relative names count from the folder of the file. `read_options` makes options of the texts of
    the further columns, by their names. Rows of empty cells are passed over. Raises OSError,
    ValueError with the line.
    """
    folder = os.path.dirname(path)
    rows = _rows_of(path)
    _, cells = next(rows, (1, []))
    header = [name.strip() for name in cells]
    if header[:2] != ["baseline", "other"]:
        raise ValueError(f"{path}, line 1: the header must begin with baseline,other")
    for name in header:
        if header.count(name) > 1:
            raise ValueError(f"{path}, line 1: there are two columns {name!r}")
    for line, row in rows:
        if not any(cell.strip() for cell in row):
            continue
        place = f"{path}, line {line}"
        if len(row) != len(header):
            raise ValueError(f"{place}: {len(row)} cells, but the header has {len(header)}")
        if "" in row[:2]:
            raise ValueError(f"{place}: {header[row.index('')]} is empty; name a file")
        given = {name: text for name, text in zip(header[2:], row[2:]) if text}
        try:
            options = read_options(given)
        except ValueError as error:
            raise ValueError(f"{place}: {error}") from None
        yield FilePair(os.path.join(folder, row[0]), os.path.join(folder, row[1]), options)


def _rows_of(path: str) -> Iterator[tuple[int, list[str]]]:
    """The cells of each row of a CSV file, and the line that they end in."""
    with open(path, encoding="utf-8-sig", newline="") as file:
        rows = csv.reader(file, strict=True)
        try:
            for row in rows:
                yield rows.line_num, row
        except UnicodeDecodeError:
            raise ValueError(f"{path}: is not UTF-8; save the table in that encoding") from None
        except csv.Error as error:
            raise ValueError(f"{path}, line {rows.line_num}: is not CSV: {error}") from None
