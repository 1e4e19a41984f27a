"""The host's days and the dates of Python."""

from __future__ import annotations

import math
from datetime import datetime, timedelta, timezone

EPOCH_DAY = 719528  # the host's number of 1970-01-01
EPOCH = datetime(1970, 1, 1, tzinfo=timezone.utc)
_LAST_DAY = math.nextafter(3652425.0, 0.0)  # the last day number before year 10000
EPOCH_SOURCE = "seconds since 1970-01-01"  # the time source of signals that came with dates


def from_host_day(day: float) -> datetime:
    """The instant that a host's day number stands for, taken as UTC.

    A day number counts in steps of some 10 microseconds: of the instants that it can stand for,
    this is the roundest one, so that whole seconds come back as whole seconds.
    Raises ValueError for what is no date: NaN, infinite, before year 1 or after year 9999.
    """
    try:
        nearest = EPOCH + timedelta(days=day - EPOCH_DAY)
    except (OverflowError, ValueError):
        raise ValueError(f"the day number {day!r} of the store is not a date") from None
    for step in (1_000_000, 1_000, 100, 10):
        rounded = _rounded(nearest, step)
        if to_host_day(rounded) == day:
            return rounded
    return nearest


def time_text(time: float, dated: bool) -> str:
    """A time in few characters; where times are seconds since 1970-01-01, the date in UTC."""
    if not dated:
        return f"{time:.6g}"
    from kvr import _kvr  # here, so that dates can be had without the comparison

    return _kvr.date_text(float(time))


def _rounded(moment: datetime, step: int) -> datetime:
    """The moment at the nearest whole number of steps, in microseconds."""
    up = moment.microsecond % step * 2 >= step
    down = moment.replace(microsecond=moment.microsecond // step * step)
    try:
        return down + timedelta(microseconds=step) if up else down
    except OverflowError:
        return down


def to_host_day(moment: datetime) -> float:
    """The day number of an aware datetime.

    Raises TypeError, ValueError for a naive one and for one that is no date in UTC.
    """
    if not isinstance(moment, datetime):
        raise TypeError(f"a date must be an aware datetime, not {moment!r}")
    if moment.tzinfo is None or moment.utcoffset() is None:
        raise ValueError(f"{moment!r} has no time zone; give an aware datetime, such as in UTC")
    try:
        moment.astimezone(timezone.utc)
    except OverflowError:
        raise ValueError(f"{moment!r} is before year 1 or after year 9999 in UTC") from None
    # The last instants of year 9999 are nearer to a day number that stands for no date.
    return min(EPOCH_DAY + (moment - EPOCH) / timedelta(days=1), _LAST_DAY)
