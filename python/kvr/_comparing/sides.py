"""One side of a comparison in the form that the extension takes."""

from __future__ import annotations

from typing import Any, NamedTuple

import numpy as np

from kvr._base.errors import NoValues
from kvr._reading.adding import array_of, require_unmasked, seconds_since_epoch
from kvr._reading.signals import Array, SignalReader

# As the library counts them.
NUMBERS, NOT_NUMERIC, NOTHING = 0, 1, 2
A_NUMBER, A_DATE, UNUSABLE = 0, 1, 2

_DOUBLE = np.dtype(np.float64)
_NO_TIMES = np.zeros(0)
_NO_VALUES = np.zeros((0, 1))


class Side(NamedTuple):
    """The extension reads this by position.

    values  (n,), or (n, m): the m components of a sample in the order of NumPy
    shape   of a sample, without trailing dimensions of 1
    """

    content: int
    clock: int
    times: Array
    values: Array
    shape: tuple[int, ...]


def side_of_signal(signal: SignalReader) -> Side:
    """The side that a signal is. A signal without a readable time series is one without content."""
    try:
        time, values = signal._series()
    except NoValues:
        return Side(NOTHING, A_NUMBER, _NO_TIMES, _NO_VALUES, ())
    return side_of_arrays(time, values)


def side_of_arrays(time: Any, values: Any) -> Side:
    """The side that two arrays make; the comparison reports what is wrong with them.

    Raises ValueError for masked elements, which the comparison cannot see.
    """
    if _is_plain(time) and _is_plain(values):
        return Side(NUMBERS, A_NUMBER, time, values, ())
    require_unmasked("time", time)
    require_unmasked("values", values)
    samples = _comparable(array_of("values", values))
    if samples is None:
        return Side(NOT_NUMERIC, A_NUMBER, _NO_TIMES, _NO_VALUES, ())
    if samples.ndim == 0:
        samples = samples.reshape(1)
    clock, times = _times(array_of("time", time))
    shape = samples.shape[1:]
    while shape and shape[-1] == 1:
        shape = shape[:-1]
    matrix = samples.reshape(len(samples), int(np.prod(shape, dtype=np.int64)))
    return Side(NUMBERS, clock, times, matrix, shape)


def _is_plain(array: Any) -> bool:
    """Whether it is a vector of native doubles, as most are, which needs no further test."""
    return type(array) is np.ndarray and array.dtype is _DOUBLE and array.ndim == 1


def _comparable(array: Array) -> Array | None:
    """The array in a class that the library reads; None if it holds no numbers."""
    if array.dtype.kind not in "biufc":
        # An empty array has whatever class NumPy gave it.
        return np.zeros(array.shape) if array.size == 0 and array.dtype == object else None
    if array.dtype == np.float16:
        return array.astype(np.float32)
    if array.dtype.kind == "f" and array.dtype.itemsize > 8:
        return array.astype(np.float64)
    if array.dtype.kind == "c" and array.dtype.itemsize > 16:
        return array.astype(np.complex128)
    return array if array.dtype.isnative else array.astype(array.dtype.newbyteorder("="))


def _times(array: Array) -> tuple[int, Array]:
    if array.ndim == 1 and array.dtype.kind == "M":
        return A_DATE, seconds_since_epoch(array)  # NaT becomes NaN, which is no usable time
    if array.ndim == 1 and array.dtype.kind in "iuf":
        numbers = _comparable(array)
        assert numbers is not None
        return A_NUMBER, numbers
    return UNUSABLE, _NO_TIMES
