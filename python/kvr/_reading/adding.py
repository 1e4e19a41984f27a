"""Checks and converts the arguments of a new signal."""

from __future__ import annotations

import operator
from collections.abc import Iterable, Mapping
from contextlib import suppress
from datetime import date, datetime, timezone
from typing import Any, NoReturn

import numpy as np

from kvr._base.dates import EPOCH_SOURCE
from kvr._reading.signals import Array

_INT32 = np.iinfo(np.int32)
_STORED = {np.dtype(name) for name in (
    "bool", "int8", "int16", "int32", "int64", "uint8", "uint16", "uint32", "uint64",
    "float32", "float64", "complex64", "complex128",
)}  # fmt: skip

_WAYS_OUT = {  # by the kind of what the store has no class for
    "f": "; convert them, as in values.astype(float)",
    "c": "; convert them, as in values.astype(complex)",
    "M": "; give numbers, as in (values - start) / numpy.timedelta64(1, 's')",
    "m": "; give numbers, as in values / numpy.timedelta64(1, 's')",
    "S": "; give texts, as in numpy.char.decode(values, 'utf-8')",
}


def text(name: str, value: Any) -> str:
    """The text. Raises TypeError for anything else, ValueError if the store cannot keep it."""
    if not isinstance(value, str):
        raise TypeError(f"{name} must be a text, not {value!r}")
    if "\0" in value:
        raise ValueError(f"{name} has a NUL at position {value.index(chr(0))}: {value[:80]!r}")
    try:
        value.encode()
    except UnicodeEncodeError as error:
        raise ValueError(
            f"{name} has half a character at position {error.start}: {value[:80]!r}"
        ) from None
    return value


def whole_number(name: str, value: Any) -> int:
    """The whole number, as `int`. Raises TypeError."""
    if not isinstance(value, (bool, np.bool_)):
        with suppress(TypeError):  # of an array too
            return operator.index(value)
    raise TypeError(f"{name} must be a whole number, not {value!r:.80}")


def truth(name: str, value: Any) -> bool:
    """Whether the value, a truth or a number, is true. Raises TypeError for texts and None."""
    if not isinstance(value, (int, float, np.bool_, np.number)):  # bool("no") is True
        raise TypeError(f"{name} must be True or False, not {value!r:.80}")
    return bool(value)


def fits_int32(number: int) -> bool:
    return int(_INT32.min) <= number <= int(_INT32.max)


def int32(name: str, value: Any, least: int = _INT32.min) -> int:
    """The whole number. Raises TypeError, or ValueError if it does not fit into an int32."""
    number = whole_number(name, value)
    if not least <= number <= _INT32.max:
        raise ValueError(f"{name} must be from {least} to {_INT32.max}, not {number}")
    return number


def channel_numbers(channel: int | Iterable[int]) -> list[int]:
    """The channel as a list; one number may stand alone."""
    is_scalar = isinstance(channel, np.ndarray) and channel.ndim == 0
    if is_scalar or not isinstance(channel, Iterable):
        return [int32("channel", channel)]
    return [int32(f"channel[{i}]", number) for i, number in enumerate(channel)]


def time_vector(time: Any) -> tuple[Array, bool]:
    """The times (n,), and whether they were dates, which become seconds since 1970-01-01.

    Raises ValueError if they are no vector of real numbers or dates, NaN, or fall.
    """
    times = array_of("time", time)
    require_unmasked("time", time)
    if times.ndim != 1:
        raise ValueError(f"time must be a vector, not of shape {times.shape}")
    if times.dtype == object:
        times = _numbers_or_dates(times)
    if times.dtype.kind == "M":
        return _seconds(times), True
    if times.dtype.kind == "m":
        raise ValueError("time must be real numbers or dates, not timedeltas; give seconds, as in "
                         "time / np.timedelta64(1, 's')")  # fmt: skip
    if times.dtype.kind not in "iuf" or times.dtype.newbyteorder("=") not in _STORED:
        raise ValueError(f"time must be real numbers or dates, not of class {times.dtype}")
    _require_rising(times)
    return times, False


def array_of(name: str, value: Any) -> Array:
    """The value as an array. Raises ValueError for lists of unequal lengths."""
    try:
        return np.asarray(value)
    except ValueError as error:
        if not isinstance(value, (list, tuple)):
            raise
        shapes = [_shape(item) for item in value]
        odd = next((i for i, shape in enumerate(shapes) if shape != shapes[0]), None)
        if odd is None:
            raise ValueError(f"{name} is ragged: {error}") from error
        raise ValueError(
            f"{name} is ragged: {name}[{odd}] has the shape {shapes[odd]}, "
            f"{name}[0] has {shapes[0]}"
        ) from None


def _shape(value: Any) -> tuple[int, ...] | None:
    """None if the value is ragged itself."""
    try:
        return np.shape(value)
    except ValueError:
        return None


def _numbers_or_dates(times: Array) -> Array:
    """Objects as numbers, or as datetime64; dates without a zone are taken as UTC."""
    if times.size and all(_is_number(time) for time in times):
        return np.array(times.tolist())
    moments = np.empty(times.shape, "datetime64[us]")
    for i, time in enumerate(times):
        moments[i] = _moment(i, time)
    return moments


def _moment(place: int, value: Any) -> np.datetime64:
    if not isinstance(value, (date, np.datetime64)):
        raise ValueError(f"time[{place}] is neither a number nor a date: {value!r:.80}")
    if value != value:
        return np.datetime64("NaT")
    if isinstance(value, datetime) and value.tzinfo is not None:
        value = value.astimezone(timezone.utc).replace(tzinfo=None)
    return np.datetime64(value, "us")


def seconds_since_epoch(dates: Array) -> Array:
    """datetime64 of any unit as seconds since 1970-01-01; NaT becomes NaN."""
    if np.datetime_data(dates.dtype)[0] == "as":  # too fine for the arithmetic of NumPy
        seconds = dates.astype("int64") * (np.datetime_data(dates.dtype)[1] * 1e-18)
        return np.where(np.isnat(dates), np.nan, seconds)
    whole = dates.astype("datetime64[s]")
    fraction = (dates - whole) / np.timedelta64(1, "s")
    seconds = whole.astype("int64").astype(float) + fraction
    return np.where(np.isnat(dates), np.nan, seconds)


def _seconds(dates: Array) -> Array:
    missing = np.flatnonzero(np.isnat(dates))
    if missing.size:
        raise ValueError(f"time[{missing[0]}] is not a date (NaT)")
    falling = np.flatnonzero(dates[1:] < dates[:-1])
    if falling.size:
        _raise_falling(dates, int(falling[0]) + 1)
    return seconds_since_epoch(dates)


def _require_rising(times: Array) -> None:
    missing = np.flatnonzero(np.isnan(times)) if times.dtype.kind == "f" else np.array([], int)
    if missing.size:
        raise ValueError(f"time[{missing[0]}] is NaN")
    falling = np.flatnonzero(times[1:] < times[:-1])
    if falling.size:
        _raise_falling(times, int(falling[0]) + 1)


def _raise_falling(times: Array, at: int) -> NoReturn:
    raise ValueError(f"time falls at time[{at}]: {times[at]} comes after {times[at - 1]}")


def require_unmasked(name: str, value: Any) -> None:
    """Raises ValueError if the value is a masked array with masked elements."""
    if isinstance(value, np.ma.MaskedArray) and np.any(value.mask):
        raise ValueError(f"{name} has masked elements; fill them first, with NaN for example")


def sample_array(values: Any, count: int) -> Array:
    """The samples, time first, in a class that the store has, or as an object array of texts.

    Raises ValueError if they have no such class, or are not as many as `count`, the times.
    """
    require_unmasked("values", values)
    samples = values if isinstance(values, np.ndarray) else _from_list(values)
    if samples.ndim == 0:
        raise ValueError(f"values must be an array with time as its first axis, not {values!r:.80}")
    if samples.dtype == object:
        samples = _numbers_in(samples)
    if samples.dtype.kind in "UO":
        samples = _texts(samples)
    elif samples.dtype.newbyteorder("=") not in _STORED:
        raise ValueError(
            f"values of class {samples.dtype} have no class in the store"
            f"{_WAYS_OUT.get(samples.dtype.kind, '')}"
        )
    if len(samples) != count:
        raise ValueError(f"values have {len(samples)} samples, but time has {count}")
    return samples


def _from_list(values: Any) -> Array:
    samples = array_of("values", values)
    if samples.dtype.kind == "U":  # NumPy turns numbers among texts into texts
        return np.asarray(values, dtype=object)
    if samples.dtype.kind == "f" and samples.size and np.abs(samples).max() >= 1 << 63:
        return _wide_integers(samples, values)
    return samples


def _wide_integers(samples: Array, values: Any) -> Array:
    """NumPy makes doubles of integers from 2^63 on in a list; where all fit uint64, these."""
    objects = np.asarray(values, dtype=object)
    if all(isinstance(value, (int, np.integer)) and value >= 0 for value in objects.flat):
        return objects.astype(np.uint64)
    return samples


def _numbers_in(objects: Array) -> Array:
    """Numbers that lie in an array of objects as an array of numbers; other objects as they are."""
    if any(isinstance(value, str) for value in objects.flat):
        return objects
    for place in np.ndindex(objects.shape):
        if not _is_number(objects[place]):
            raise ValueError(f"{_place('values', place)} is not a number: {objects[place]!r:.80}")
    numbers = _from_list(objects.tolist()) if objects.size else objects
    if numbers.dtype != object or not objects.size:
        return numbers
    place = next(place for place in np.ndindex(objects.shape) if _is_too_wide(objects[place]))
    raise ValueError(f"{_place('values', place)} fits neither int64 nor uint64: {objects[place]}")


def _is_number(value: Any) -> bool:
    return isinstance(value, (int, float, complex, np.number, np.bool_))


def _is_too_wide(value: Any) -> bool:
    return isinstance(value, int) and not -(1 << 63) <= value < 1 << 64


def _place(name: str, place: tuple[int, ...]) -> str:
    return f"{name}[{', '.join(map(str, place))}]"


def _texts(samples: Array) -> Array:
    texts = np.empty(samples.shape, object)
    for place in np.ndindex(samples.shape):
        value = samples[place]
        name = _place("values", place)
        if not isinstance(value, str):
            raise ValueError(f"{name} is not a text, as others are: {value!r:.80}")
        texts[place] = text(name, str(value))
    return texts


def host_series(samples: Array, times: Any) -> Any:
    """The host's time series: one column for (n,), else as it is, time first.

    `times` are one column, of NumPy or of the host.
    """
    import vormel  # here, so that comparing files does not start the host

    column = samples.reshape(-1, 1) if samples.ndim == 1 else samples
    data = vormel.array(column, "cell") if column.dtype == object else column
    return vormel.timeseries(data, times)


def metadata_with_unit(metadata: Any, unit: str | None) -> Any:
    """The metadata with the unit under "unit". Raises ValueError if that place is taken."""
    if unit is None:
        return metadata
    text("unit", unit)
    if metadata is None:
        return {"unit": unit}
    if not isinstance(metadata, Mapping):
        raise ValueError(f"metadata must be a dict to take a unit, not {metadata!r:.80}")
    if metadata.get("unit", unit) != unit:
        raise ValueError(f"metadata has another unit, {metadata['unit']!r}, than {unit!r}")
    return {**metadata, "unit": unit}


def host_metadata(metadata: Any) -> Any:
    """The metadata as the host keeps them. Raises TypeError for what it cannot keep."""
    import vormel

    try:
        return vormel.array(metadata)
    except vormel.CallError as error:
        if error.identifier == "Vormel:Busy":
            raise
        raise TypeError(f"metadata cannot be kept: {error}") from error


def source_of_time(time_source: str, dates: bool) -> str:
    """The text to keep as the source of the times. Raises ValueError if dates have another."""
    text("time_source", time_source)
    if dates and time_source not in ("", EPOCH_SOURCE):
        raise ValueError(
            f"time_source must be {EPOCH_SOURCE!r} for dates, not {time_source!r}; "
            f"leave it out or give numbers"
        )
    return EPOCH_SOURCE if dates else time_source
