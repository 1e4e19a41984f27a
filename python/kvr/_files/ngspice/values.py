"""The values of a plot of an ngspice raw file: columns of what stands there point by point."""

from __future__ import annotations

import mmap
import re
import warnings
from collections.abc import Iterator
from dataclasses import dataclass

import numpy as np

from kvr._base.errors import FormatError
from kvr._base.text import shown
from kvr._files.ngspice.header import Plot
from kvr._reading.signals import Array

_NUMBER = rb"[+-]?(\d+\.?\d*([eE][+-]?\d+)?|\.\d+([eE][+-]?\d+)?|nan|inf(inity)?)"


class BinaryValues:
    """Values that are copied out of the mapped file when they are asked for."""

    def __init__(self, plot: Plot, data: mmap.mmap) -> None:
        self._plot = plot
        self._data = data

    def column(self, place: int) -> Array:
        """A variable, (its length,), complex in a complex plot."""
        plot = self._plot
        kind = np.dtype("<c16" if plot.is_complex else "<f8")
        flat = np.frombuffer(self._data, kind, plot.numbers, plot.start)
        chosen = flat[_places(plot, place)]
        return np.array(chosen, kind.newbyteorder("="))


class TextValues:
    """Values that are parsed at once. Raises FormatError when made."""

    def __init__(self, path: str, plot: Plot, data: mmap.mmap) -> None:
        self._plot = plot
        text = data[plot.start : plot.end]
        numbers = _parsed(text)
        expected = _points_before(plot, np.arange(plot.points)) + np.arange(plot.points)
        width = 2 if plot.is_complex else 1
        # A point is its number, then its values: the numbers stand before what `expected` counts.
        places = expected * width - np.arange(plot.points) * (width - 1)
        if numbers is None or len(numbers) != plot.points + plot.numbers * width:
            raise _first_fault(path, plot, data, text)
        if not np.array_equal(numbers[places], np.arange(plot.points)):
            raise _first_fault(path, plot, data, text)
        values = np.delete(numbers, places)
        self._flat = values.view(complex) if plot.is_complex else values

    def column(self, place: int) -> Array:
        """A variable, (its length,), complex in a complex plot."""
        return np.array(self._flat[_places(self._plot, place)])


def _places(plot: Plot, place: int) -> Array | slice:
    """Where the values of a variable stand among all of its plot."""
    width = len(plot.variables)
    length = plot.variables[place].length
    if plot.padded or all(variable.length == plot.points for variable in plot.variables):
        return slice(place, place + length * width, width)
    points = np.arange(length)
    before = sum((plot.variables[k].length > points).astype(int) for k in range(place))
    return _points_before(plot, points) + before


def _points_before(plot: Plot, points: Array) -> Array:
    """How many values stand before each of the points."""
    if plot.padded:
        return points * len(plot.variables)
    before = np.zeros(len(points), np.int64)
    for variable in plot.variables:
        before += np.minimum(points, variable.length)
    return before


def _parsed(text: bytes) -> Array | None:
    """All numbers of the text, None if something else stands among them."""
    with warnings.catch_warnings():
        warnings.simplefilter("error", DeprecationWarning)
        try:
            return np.fromstring(text.replace(b",", b" "), float, sep=" ")
        except DeprecationWarning:  # how NumPy tells of what is no number
            return None


def _first_fault(path: str, plot: Plot, data: mmap.mmap, text: bytes) -> FormatError:
    """The error that names the first line at which the values are not what the header says."""
    line = data[: plot.start].count(b"\n") + 1
    place = 0
    expected = _expected_words(plot)
    for line, words in enumerate(text.split(b"\n"), line):
        for word in words.split():
            wanted = next(expected, None)
            if wanted is None:
                what = f"a value more than the {plot.points} points of the header"
                return FormatError(path, what, f"line {line}")
            if not wanted.pattern.fullmatch(word):
                found = shown(word[:60].decode("latin-1"), 40)
                return FormatError(path, f"'{found}' is not {wanted.what}", f"line {line}")
            place = wanted.point
    return FormatError(
        path,
        f"the values end in point {place + 1} of {plot.points}: 'No. Points' is wrong or the file "
        f"is cut off",
        f"line {line}",
    )


@dataclass(frozen=True)
class _Word:
    """What should stand at a place of the text."""

    point: int
    what: str
    pattern: re.Pattern[bytes]


def _expected_words(plot: Plot) -> Iterator[_Word]:
    real = re.compile(_NUMBER, re.IGNORECASE)
    pair = re.compile(_NUMBER + b"," + _NUMBER, re.IGNORECASE)
    value = ("two numbers with a comma between", pair) if plot.is_complex else ("a number", real)
    for point in range(plot.points):
        yield _Word(point, f"the number {point} of the point", re.compile(str(point).encode()))
        for variable in plot.variables:
            if plot.padded or point < variable.length:
                yield _Word(point, *value)
