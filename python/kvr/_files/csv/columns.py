"""The columns of a CSV file as arrays."""

from __future__ import annotations

import io
from collections.abc import Iterator, Sequence
from typing import Any

import numpy as np

from kvr import _kvr
from kvr._base.errors import FormatError
from kvr._base.packages import need
from kvr._base.text import shown
from kvr._files.csv import text as _csv_text
from kvr._files.csv.dates import ISO, moment
from kvr._files.csv.dialect import COMMA_NUMBER, Dialect, rows_of
from kvr._reading.adding import seconds_since_epoch
from kvr._reading.signals import Array, as_texts, read_only

_NO_NUMBER = {"nan", "+nan", "-nan", "na", "n/a", "#n/a", "null", "none", "-"}


class Columns:
    """The time and the other columns of a file, read at once. Raises FormatError when made.

    time     (n,), seconds since 1970-01-01 for dates
    columns  an array (n,) for each column that is a signal, None for the others
    """

    def __init__(self, path: str, dialect: Dialect) -> None:
        self._path = path
        self._dialect = dialect
        text = _csv_text.read_all(path)
        body = _after_lines(text, dialect.data_line)
        self._body = body
        arrays = self._arrays(body)
        kept = ~_blank_rows(arrays)
        if not kept.all():
            arrays = [array[kept] for array in arrays]
        self._require_nothing_spare(arrays)
        self.time = read_only(self._times(arrays))
        self.columns = [
            read_only(self._column(array, place)) if dialect.is_signal(place) else None
            for place, array in enumerate(arrays)
        ]
        del self._body

    def _arrays(self, body: str) -> list[Array]:
        """The columns: plain numbers as such, others as pandas reads them."""
        plain = self._plain_numbers(body)
        others = [place for place, array in enumerate(plain) if array is None]
        if len(others) == len(plain):
            self._require_equal_widths(body)
        frame = self._parse(body, others) if others else None
        return [
            frame[place].to_numpy() if array is None else array for place, array in enumerate(plain)
        ]

    def _plain_numbers(self, body: str) -> list[Array | None]:
        """The columns of numbers alone; None for the others, and for all if rows are not equal."""
        dialect = self._dialect
        found = None
        if dialect.quote not in body and dialect.delimiter.isascii() and dialect.delimiter != " ":
            width = len(dialect.labels)
            found = _kvr.read_numbers(body, width, dialect.delimiter, dialect.decimal)
        return [None] * len(dialect.labels) if found is None else found

    def _parse(self, body: str, places: list[int]) -> Any:
        pandas = need("pandas", "reading CSV files")
        dialect = self._dialect
        separator = {"sep": r"\s+"} if dialect.delimiter == " " else {"sep": dialect.delimiter}
        try:
            return pandas.read_csv(
                io.StringIO(body),
                **separator,
                header=None,
                names=range(len(dialect.labels)),
                usecols=places,
                index_col=False,
                quotechar=dialect.quote,
                decimal=dialect.decimal,
                na_values=[""],
                keep_default_na=False,
                skipinitialspace=True,
                float_precision="round_trip",
                low_memory=False,
            )
        except pandas.errors.EmptyDataError:
            return pandas.DataFrame(columns=places, dtype=float)
        except (pandas.errors.ParserError, ValueError) as error:
            detail = " ".join(str(error).split())
            if "EOF inside string" in detail:
                raise FormatError(
                    self._path,
                    "a text in quotes does not end; close it, or name the quote with the option "
                    "quote",
                    self._where_quote_begins(body),
                ) from error
            raise FormatError(self._path, f"cannot be read: {shown(detail, 200)}") from error

    def _where_quote_begins(self, body: str) -> str:
        """The line of the last row, which a quote that does not end takes up to the end."""
        begin = end = self._dialect.data_line
        for row in rows_of(body, self._dialect.delimiter, self._dialect.quote):
            begin, end = end + 1, self._dialect.data_line + row.end
        return f"line {begin}"

    # ---- Widths ----

    def _require_equal_widths(self, body: str) -> None:
        dialect = self._dialect
        if dialect.quote not in body and dialect.delimiter != " ":
            counts = _cells_by_line(body, dialect.delimiter)
            if not ((counts == len(dialect.labels)) | (counts == 0)).all():
                self._raise_ragged(body)
        else:
            self._raise_ragged(body)

    def _raise_ragged(self, body: str) -> None:
        """Raises FormatError for the first row of another width, if there is one."""
        expected = len(self._dialect.labels)
        for row in rows_of(body, self._dialect.delimiter, self._dialect.quote):
            if len(row.cells) != expected:
                raise FormatError(
                    self._path,
                    f"has {len(row.cells)} cells instead of {expected}; is it cut off, or does a "
                    f"text hold the separator without quotes?",
                    f"line {self._dialect.data_line + row.end}",
                )

    def _require_nothing_spare(self, arrays: Sequence[Array]) -> None:
        place = self._dialect.spare
        if place is None:
            return
        filled = np.flatnonzero(~_blank_rows([arrays[place]]))
        if filled.size:
            what = "has a value, but no name: name the column"
            raise FormatError(self._path, what, self._where(int(filled[0]), place))

    # ---- Values ----

    def _where(self, row: int, place: int) -> str:
        """Line and column of a value; `row` counts rows that are not blank."""
        dialect = self._dialect
        rows = (
            r for r in rows_of(self._body, dialect.delimiter, dialect.quote)
            if any(cell.strip() for cell in r.cells)
        )  # fmt: skip
        line = next((r.end for i, r in enumerate(rows) if i == row), None)
        name = shown(dialect.labels[place], 80)
        return f"line {dialect.data_line + line}, column '{name}'" if line else f"column '{name}'"

    def _column(self, array: Array, place: int) -> Array:
        if array.dtype != object:
            return array
        cells = ["" if cell != cell else str(cell).strip() for cell in array]
        truths = [cell.lower() for cell in cells]
        if set(truths) <= {"true", "false", ""}:
            return _truths(truths)
        if self._dialect.decimal == ",":
            self._require_one_sign(cells, place)
        numbers = [self._number(cell) for cell in cells]
        bad = [row for row, number in enumerate(numbers) if number is None]
        if not bad:
            return np.array(numbers, float)
        filled = sum(map(bool, cells))
        if len(bad) * 2 < filled:
            raise FormatError(
                self._path,
                f"'{shown(cells[bad[0]], 40)}' is not a number, as most of its column are; "
                f"correct it, or leave it empty for a gap",
                self._where(bad[0], place),
            )
        texts = np.empty(len(array), object)
        texts[:] = ["" if cell != cell else str(cell) for cell in array]
        return as_texts(texts)

    def _require_one_sign(self, cells: Sequence[str], place: int) -> None:
        """Raises FormatError for 1.234 among decimal commas, which may be 1234."""
        if not any(COMMA_NUMBER.fullmatch(cell) for cell in cells):
            return
        for row, cell in enumerate(cells):
            if "." in cell and self._dialect.is_number(cell):
                raise FormatError(
                    self._path,
                    f"'{shown(cell, 40)}' has a point, while others of its column have a decimal "
                    f"comma; write all of them alike, without separators of thousands",
                    self._where(row, place),
                )

    def _number(self, cell: str) -> float | None:
        """The number of a cell, NaN for one that stands for none, None for what is no number."""
        if not cell or cell.lower() in _NO_NUMBER:
            return np.nan
        if self._dialect.decimal == ",":
            cell = cell.replace(",", ".")
        try:
            return None if "_" in cell else float(cell)
        except ValueError:
            return None

    # ---- Times ----

    def _times(self, arrays: Sequence[Array]) -> Array:
        place = self._dialect.time
        if self._dialect.dates:
            return self._dates(self._moments(arrays), place)
        array = arrays[place]
        if array.dtype == object:
            array = self._column(array, place)
        if array.dtype.kind not in "iuf":
            raise FormatError(
                self._path, "the time is neither numbers nor dates", self._where(0, place)
            )
        return array

    def _moments(self, arrays: Sequence[Array]) -> list[str]:
        """The dates, with the times of day that another column may have."""
        dialect = self._dialect
        days = self._filled(arrays[dialect.time], dialect.time)
        if dialect.clock is None:
            return days
        clocks = self._filled(arrays[dialect.clock], dialect.clock)
        return [moment(day, clock) for day, clock in zip(days, clocks)]

    def _filled(self, array: Array, place: int) -> list[str]:
        cells = ["" if cell != cell else str(cell).strip() for cell in array]
        for row, cell in enumerate(cells):
            if not cell:
                raise FormatError(self._path, "the time is missing", self._where(row, place))
        return cells

    def _dates(self, cells: Sequence[str], place: int) -> Array:
        parsed = [self._parsed(cells, form) for form in self._dialect.dates]
        times = [time for time in parsed if isinstance(time, np.ndarray)]
        if not times:
            row = max(bad for bad in parsed if isinstance(bad, int))
            found = f"'{shown(cells[row], 40)}' {_fault(cells[row], self._dialect.dates)}"
            raise FormatError(self._path, found, self._where(row, place))
        rising = (time for time in times if not (np.diff(time) < 0).any())
        return next(rising, times[0])

    def _parsed(self, cells: Sequence[str], form: str) -> Array | int:
        """Seconds since 1970-01-01, or the first row that is no date of this format."""
        try:
            return _iso(cells) if form == ISO else _formatted(cells, form)
        except ValueError:
            for row, cell in enumerate(cells):
                try:
                    _iso([cell]) if form == ISO else _formatted([cell], form)
                except ValueError:
                    return row
            return 0


def _after_lines(text: str, count: int) -> str:
    start = 0
    for _ in range(count):
        end = text.find("\n", start)
        if end < 0:
            return ""
        start = end + 1
    return text[start:]


def _cells_by_line(body: str, delimiter: str) -> Array:
    """The number of cells of every line, 0 for a blank one."""
    data = np.frombuffer(body.encode("utf-8", "surrogatepass"), np.uint8)
    ends = np.append(np.flatnonzero(data == ord("\n")), data.size)
    separators = np.flatnonzero(data == ord(delimiter))
    upto = np.searchsorted(separators, ends)
    lengths = np.diff(ends, prepend=-1) - 1
    return np.where(lengths > 0, np.diff(upto, prepend=0) + 1, 0)


def _blank_rows(arrays: Sequence[Array]) -> Array:
    """Which rows have nothing but empty cells, as spreadsheets leave them."""
    blank = np.ones(len(arrays[0]), bool)
    for array in arrays:
        if not blank.any():
            break
        if array.dtype.kind == "f":
            blank &= np.isnan(array)
        elif array.dtype == object:
            blank &= np.array([cell != cell for cell in array], bool)
        else:
            blank[:] = False
    return blank


def _fault(cell: str, formats: Sequence[str]) -> str:
    """What is wrong with a cell that could not be read as a date."""
    pandas = need("pandas", "reading dates")
    for form in formats:
        try:
            _iso([cell]) if form == ISO else _formatted([cell], form)
        except pandas.errors.OutOfBoundsDatetime:
            return "is a date outside 1677 to 2262; give seconds since 1970-01-01, as numbers"
        except ValueError:
            continue
    return "is not a date"


def _truths(words: Sequence[str]) -> Array:
    """Truths; with gaps among them, which truths cannot have, the numbers 1 and 0."""
    if "" not in words:
        return np.array([word == "true" for word in words])
    return np.array([{"true": 1.0, "false": 0.0, "": np.nan}[word] for word in words])


def _iso(cells: Sequence[str]) -> Array:
    pandas = need("pandas", "reading dates")
    times = pandas.to_datetime(list(cells), utc=True)
    return seconds_since_epoch(times.tz_localize(None).to_numpy())


def _formatted(cells: Sequence[str], form: str) -> Array:
    pandas = need("pandas", "reading dates")
    return seconds_since_epoch(pandas.to_datetime(list(cells), format=form).to_numpy())


def places_of_signals(dialect: Dialect) -> Iterator[int]:
    """The places of the columns that are signals."""
    return (place for place in range(len(dialect.labels)) if dialect.is_signal(place))
