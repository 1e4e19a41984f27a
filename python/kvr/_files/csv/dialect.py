"""The dialect of a CSV file: separator, quotes, decimal sign, header, units and time column."""

from __future__ import annotations

import csv
import re
from bisect import bisect_left
from collections import Counter
from collections.abc import Iterator, Sequence
from dataclasses import dataclass
from typing import NoReturn

from kvr._base.errors import FormatError
from kvr._base.names import near_misses
from kvr._base.text import shown
from kvr._files.csv import dates as _dates_in_text

_SAMPLE = 200  # rows that are looked at
_DELIMITERS = (",", ";", "\t", "|")
_TIME_NAMES = ("time", "t", "date", "datetime", "timestamp")
_POINT_NUMBER = re.compile(r"\s*[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?\s*")
COMMA_NUMBER = re.compile(r"\s*[+-]?(\d+,\d*|\d*,\d+)([eE][+-]?\d+)?\s*")
_THOUSANDS = re.compile(r"\s*[+-]?\d{1,3}(,\d{3})+\s*")
_OTHER_NUMBER = re.compile(r"\s*([+-]?(nan|inf|infinity)|true|false)\s*", re.IGNORECASE)
LABEL_WITH_UNIT = re.compile(r"(.*\S)\s+\[([^\[\]]*)\]", re.DOTALL)
_DECLARED = re.compile(r'"?sep=(.)"?\n', re.IGNORECASE)  # a first line that spreadsheets write
_SINGLE_QUOTED = re.compile(r"(?:^|[,;\t|])'[^'\n]*'(?:[,;\t|]|$)", re.MULTILINE)


@dataclass(frozen=True)
class Dialect:
    """The dialect of one file.

    data_line  lines before the first row of values
    time       the place of the time column among the columns
    clock      the place of the column with the times of day of its dates; None if they have them
    spare      the place behind a separator at the end of each row; None without such
    dates      the formats that its dates may have, with the times of day; empty if it has numbers
    """

    delimiter: str
    quote: str
    decimal: str
    labels: tuple[str, ...]
    units: tuple[str, ...]
    data_line: int
    time: int
    clock: int | None
    dates: tuple[str, ...]
    spare: int | None = None

    def is_number(self, cell: str) -> bool:
        return _is_number(cell, self.decimal)

    def is_signal(self, place: int) -> bool:
        return place not in (self.time, self.clock, self.spare)


@dataclass(frozen=True)
class _Row:
    cells: list[str]
    end: int  # lines up to its end


def find_dialect(
    path: str,
    head: str,
    delimiter: str | None,
    decimal: str | None,
    quote: str | None,
    time: str | None,
) -> Dialect:
    """The dialect of a file that begins with `head`; parts that are given are not detected.

    Raises FormatError for an empty file and for one without a time column.
    """
    if not head.strip():
        raise FormatError(path, "is empty")
    declared = _DECLARED.match(head)
    quote = quote or ("'" if '"' not in head and _SINGLE_QUOTED.search(head) else '"')
    delimiter = delimiter or (declared[1] if declared else _find_delimiter(path, head, quote))
    rows = list(rows_of(head, delimiter, quote, _SAMPLE))
    if declared:
        rows[0] = _Row(["#"], rows[0].end)
    comments, rows = _without_comments(rows)
    if not rows:
        raise FormatError(
            path, "holds comments alone" if comments else "holds no cell with a value"
        )
    decimal = decimal or _find_decimal(rows, delimiter)
    header, rows = _take_header(comments, rows, decimal)
    width = len(rows[0].cells) if rows else len(header.cells)
    names = header.cells if header.cells else [f"column {i + 1}" for i in range(width)]
    spare = _spare_place(header, rows)
    if spare == len(names):
        names = [*names, ""]
    labels, units = _split_units(names)
    if rows and _is_unit_row(rows[0].cells, rows[1:], decimal):
        units = _given_units(rows[0].cells, units)
        header, rows = rows[0], rows[1:]
    times = _find_time(path, labels, rows, decimal, time)
    return Dialect(
        delimiter, quote, decimal, tuple(labels), tuple(units), header.end, *times, spare
    )


def rows_of(text: str, delimiter: str, quote: str, most: int | None = None) -> Iterator[_Row]:
    """The rows that are not blank. A separator of " " stands for any white space."""
    lines = text.split("\n")
    if delimiter == " ":
        lines = [" ".join(line.split()) for line in lines]
    limit = csv.field_size_limit(max(len(text), 1))
    try:
        reader = csv.reader((f"{line}\n" for line in lines), delimiter=delimiter, quotechar=quote)
        count = 0
        for cells in reader:
            if not any(cells) and len(cells) < 2:
                continue
            yield _Row(cells, reader.line_num)
            count += 1
            if count == most:
                return
    finally:
        csv.field_size_limit(limit)


def _find_delimiter(path: str, head: str, quote: str) -> str:
    order: tuple[str, ...] = _DELIMITERS
    if re.search(r"\.tsv(\.gz)?$", path, re.IGNORECASE):
        order = ("\t", *(d for d in _DELIMITERS if d != "\t"))
    best = max(order, key=lambda delimiter: _likelihood(head, delimiter, quote))
    if _likelihood(head, best, quote)[0] > 0:
        return best
    return " " if _likelihood(head, " ", quote)[0] > 0.5 else best


def _likelihood(head: str, delimiter: str, quote: str) -> tuple[float, float, int]:
    """How far the rows agree in having several cells, how many are numbers, how many there are."""
    rows = [row.cells for row in rows_of(head, delimiter, quote, _SAMPLE)]
    rows = [cells for cells in rows if not cells[0].startswith("#")] or rows
    if not rows:
        return 0.0, 0.0, 0
    width, agreeing = Counter(map(len, rows)).most_common(1)[0]
    if width < 2:
        return 0.0, 0.0, width
    cells = [cell for row in rows[1:20] for cell in row[:100] if cell.strip()]
    numbers = sum(_is_number(cell, ".") or _is_number(cell, ",") for cell in cells)
    return agreeing / len(rows), numbers / max(len(cells), 1), width


def _find_decimal(rows: Sequence[_Row], delimiter: str) -> str:
    cells = [cell for row in rows for cell in row.cells[:1000]]
    commas = [cell for cell in cells if COMMA_NUMBER.fullmatch(cell)]
    points = [cell for cell in cells if "." in cell and _POINT_NUMBER.fullmatch(cell)]
    if not commas or len(points) > len(commas):
        return "."
    # Between quotes in a file with commas as separators, 1,234 may well be a thousand.
    if delimiter == "," and all(_THOUSANDS.fullmatch(cell) for cell in commas):
        return "."
    return ","


def _is_number(cell: str, decimal: str) -> bool:
    if _POINT_NUMBER.fullmatch(cell) or _OTHER_NUMBER.fullmatch(cell):
        return True
    return decimal == "," and COMMA_NUMBER.fullmatch(cell) is not None


def _without_comments(rows: list[_Row]) -> tuple[list[_Row], list[_Row]]:
    """The rows that begin with "#" at the top of the file, and the others."""
    count = 0
    while count < len(rows) and rows[count].cells[0].lstrip().startswith("#"):
        count += 1
    return rows[:count], rows[count:]


def _take_header(comments: list[_Row], rows: list[_Row], decimal: str) -> tuple[_Row, list[_Row]]:
    """The row of names, without cells if there is none, and the rows after it."""
    names = rows[0].cells
    words = [cell for cell in names if cell.strip() and not _is_value(cell, decimal)]
    if not _dates_in_text.are_times_of_day(cell.strip() for cell in words):
        return rows[0], rows[1:]
    if not names[0].strip() and any(row.cells[0].strip() for row in rows[1:]):
        return rows[0], rows[1:]  # numbers as names, with none for the times
    before = comments[-1].end if comments else 0
    if comments and len(comments[-1].cells) == len(rows[0].cells):
        first, *others = comments[-1].cells
        return _Row([first.lstrip().lstrip("#").strip(), *others], before), rows
    return _Row([], before), rows


def _spare_place(header: _Row, rows: Sequence[_Row]) -> int | None:
    """The place of the last cell if it is empty in all rows and has no name."""
    width = len(rows[0].cells) if rows else 0
    named = header.cells[width - 1 :] if len(header.cells) >= width - 1 > 1 else ["?"]
    if any(name.strip() for name in named):
        return None
    is_spare = all(len(row.cells) == width and not row.cells[-1].strip() for row in rows)
    return width - 1 if is_spare else None


def _is_value(cell: str, decimal: str) -> bool:
    return _is_number(cell, decimal) or bool(_dates_in_text.formats_of([cell]))


def _split_units(names: Sequence[str]) -> tuple[list[str], list[str]]:
    labels, units = [], []
    for place, name in enumerate(names):
        name = name.strip()
        found = LABEL_WITH_UNIT.fullmatch(name)
        labels.append((found[1] if found else name) or f"column {place + 1}")
        units.append(found[2].strip() if found else "")
    return labels, units


def _is_unit_row(cells: Sequence[str], below: Sequence[_Row], decimal: str) -> bool:
    """Whether the second row has words, and none of them above another word or a date."""
    words = [place for place, cell in enumerate(cells) if cell.strip()]
    if not words or any(_is_value(cells[place], decimal) for place in words):
        return False
    return any(
        place < len(below[0].cells) and _is_value(below[0].cells[place], decimal)
        for place in words
        if below
    )


def _given_units(cells: Sequence[str], units: Sequence[str]) -> list[str]:
    given = [cell.strip().removeprefix("[").removesuffix("]").strip() for cell in cells]
    given += [""] * (len(units) - len(given))
    return [new or old for new, old in zip(given, units)]


def _find_time(
    path: str, labels: Sequence[str], rows: Sequence[_Row], decimal: str, name: str | None
) -> tuple[int, int | None, tuple[str, ...]]:
    """The places of the times and of their times of day, and the formats that the dates may have."""
    if name is not None and name not in labels:
        hint = near_misses(name, labels)
        raise FormatError(path, f"no column is named {name!r}; {hint}", "line 1")
    named = [labels.index(name)] if name is not None else _places_named_as_times(labels)
    for place in named or [0]:
        cells = [cell for _, cell in _filled(rows, place)]
        dates = _dates_in_text.formats_of(cells)
        if dates:
            clock, dates = _with_clock(labels, rows, place) or (None, dates)
            return place, clock, dates
        if all(_is_number(cell, decimal) for cell in cells):
            return place, None, ()
    if named:
        _raise_no_time(path, labels[named[0]], _filled(rows, named[0]), decimal)
    raise FormatError(
        path,
        "has no time column: neither one named 'time', 't' or 'date', nor a first column of "
        "numbers or dates; call it 'time', or name it with the option time",
    )


def _places_named_as_times(labels: Sequence[str]) -> list[int]:
    lower = [label.lower() for label in labels]
    return [lower.index(name) for name in _TIME_NAMES if name in lower]


def _filled(rows: Sequence[_Row], place: int) -> list[tuple[int, str]]:
    """The cells of a column that are not empty, each with its line."""
    return [
        (row.end, row.cells[place].strip())
        for row in rows
        if place < len(row.cells) and row.cells[place].strip()
    ]


def _with_clock(
    labels: Sequence[str], rows: Sequence[_Row], place: int
) -> tuple[int, tuple[str, ...]] | None:
    """The place of times of day beside a column of days, and the formats of both together.

    A column of them belongs to the days if it is named as a time, or if days stand several times.
    """
    days = dict(_filled(rows, place))
    for beside in (place + 1, place - 1):
        clocks = dict(_filled(rows, beside)) if 0 <= beside < len(labels) else {}
        if not clocks or not _dates_in_text.are_times_of_day(clocks.values()):
            continue
        if labels[beside].lower() not in _TIME_NAMES and len(set(days.values())) == len(days):
            continue
        both = days.keys() & clocks.keys()
        moments = [_dates_in_text.moment(days[line], clocks[line]) for line in both]
        formats = _dates_in_text.formats_of(moments)
        if formats:
            return beside, formats
    return None


def _raise_no_time(
    path: str, label: str, cells: Sequence[tuple[int, str]], decimal: str
) -> NoReturn:
    """Raises FormatError for the first cell that is no time, or another kind than those above."""

    def are_times(count: int) -> bool:
        above = [cell for _, cell in cells[:count]]
        return bool(_dates_in_text.formats_of(above)) or all(_is_number(c, decimal) for c in above)

    count = bisect_left(range(len(cells)), True, key=lambda place: not are_times(place + 1))
    line, cell = cells[count]
    fault = "is neither a number nor a date; correct it"
    if _is_value(cell, decimal):
        fault = "is not written as those above it; write all times alike"
    raise FormatError(
        path,
        f"'{shown(cell, 40)}' {fault}, or name another column of times with the option time",
        f"line {line}, column '{shown(label, 80)}'",
    )
