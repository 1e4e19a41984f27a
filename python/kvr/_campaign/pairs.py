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
        if isinstance(pair, FilePair):
            yield pair
            continue
        if isinstance(pair, (str, bytes)) or not 2 <= len(pair) <= 3:
            raise TypeError(f"a pair is (baseline, other) or (baseline, other, options): {pair!r}")
        baseline, other, *options = pair
        yield FilePair(_path(baseline), _path(other), dict(*options))


def _path(path: Any) -> str:
    path = os.fspath(path)
    if not isinstance(path, str):
        raise TypeError(f"a file is named by a text or a path, not {path!r}")
    return path


def from_folders(baseline: str, other: str, endings: tuple[str, ...]) -> Iterator[FilePair]:
    """Files of the same relative name below two folders, in order of their names.

    Files without one of the `endings`, in lower case, and hidden ones are passed over. What stands
    on one side only is missing or extra. Raises OSError for a folder that cannot be listed.
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


def _files_below(folder: str, endings: tuple[str, ...]) -> Iterator[str]:
    def refuse(error: OSError) -> None:
        raise error

    for place, folders, names in os.walk(folder, onerror=refuse):
        folders[:] = [name for name in folders if not name.startswith(".")]
        for name in names:
            if not name.startswith(".") and name.lower().endswith(endings):
                yield os.path.relpath(os.path.join(place, name), folder)


def from_table(path: str, read_options: Any) -> Iterator[FilePair]:
    """The pairs of a CSV file with the header ``baseline,other``, and a column for each option.

    Relative names count from the folder of the file. `read_options` makes options of the texts of
    the further columns, by their names. Raises OSError, ValueError with the line.
    """
    folder = os.path.dirname(path)
    with open(path, encoding="utf-8-sig", newline="") as file:
        rows = csv.reader(file)
        header = [name.strip() for name in next(rows, [])]
        if header[:2] != ["baseline", "other"]:
            raise ValueError(f"{path}, line 1: the header must begin with baseline,other")
        for row in rows:
            if not row:
                continue
            place = f"{path}, line {rows.line_num}"
            if len(row) != len(header):
                raise ValueError(f"{place}: {len(row)} cells, but the header has {len(header)}")
            sides = [os.path.join(folder, cell) for cell in row[:2]]
            given = {name: text for name, text in zip(header[2:], row[2:]) if text}
            try:
                options = read_options(given)
            except ValueError as error:
                raise ValueError(f"{place}: {error}") from None
            yield FilePair(sides[0], sides[1], options)
