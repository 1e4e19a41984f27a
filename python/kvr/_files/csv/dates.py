"""Dates written as text."""

from __future__ import annotations

import re
from collections.abc import Iterable, Sequence
from datetime import datetime
from itertools import product

ISO = "iso"  # 2016-06-29, with a time behind "T" or a space, with "Z" or an offset
_ISO = re.compile(
    r"\d{4}-\d{2}(-\d{2}([T ]\d{1,2}:\d{2}(:\d{2}([.,]\d+)?)?)?)?\s*(Z|UTC|[+-]\d{2}:?\d{2})?"
)
# Where a date can be read both ways the month comes first, unless the times would fall then.
_DAYS = (
    "%m/%d/%y", "%m/%d/%Y", "%d/%m/%y", "%d/%m/%Y", "%Y/%m/%d", "%d.%m.%Y", "%d.%m.%y",
    "%d-%m-%Y", "%d-%b-%Y", "%d %b %Y", "%b %d, %Y",
)  # fmt: skip
_TIMES = ("", " %H:%M", " %H:%M:%S", " %H:%M:%S.%f", " %I:%M %p", " %I:%M:%S %p")
_FORMATS = tuple(day + time for day, time in product(_DAYS, _TIMES))
_CLOCK = re.compile(r"\d{1,2}:\d{2}(:\d{2}([.,]\d+)?)?( ?[AaPp][Mm])?")
_LOOKS = re.compile(r"\s*(\d{1,4}[-/. ]|[A-Za-z]{3} \d)")


def formats_of(cells: Sequence[str]) -> tuple[str, ...]:
    """The formats in which all of the cells are dates; none if they are none."""
    if not cells or not all(_LOOKS.match(cell) for cell in cells):
        return ()
    if all(_ISO.fullmatch(cell.strip()) for cell in cells):
        return (ISO,)
    return tuple(form for form in _FORMATS if all(_is_date(cell, form) for cell in cells))


def are_times_of_day(cells: Iterable[str]) -> bool:
    """Whether all cells are times of day, such as 14:05 or 2:05:00 PM."""
    return all(_CLOCK.fullmatch(cell) for cell in cells)


def moment(day: str, clock: str) -> str:
    """The text of a date with a time of day."""
    return f"{day} {clock.replace(',', '.')}"


def _is_date(cell: str, form: str) -> bool:
    try:
        datetime.strptime(cell.strip(), form)
    except ValueError:
        return False
    return True
