"""The headers of an ngspice raw file: which plots it holds, and where their values lie.

A file is one plot after the other. Each has a header of text, "Values:" and numbers as text, or
"Binary:" and little-endian doubles, two a value in complex plots. Values stand point by point, the
variables in their order.
"""

from __future__ import annotations

import math
import mmap
import re
from collections.abc import Iterator
from dataclasses import dataclass, replace

from kvr._base.errors import FormatError
from kvr._base.text import shown

_COUNT = re.compile(r"\d{1,15}")


@dataclass(frozen=True)
class Variable:
    """A vector of a plot. `length` is below the number of points for one that is shorter."""

    name: str
    type: str
    length: int


@dataclass(frozen=True)
class Plot:
    """A plot and the place of its values.

    padded  whether shorter variables are filled up to the number of points
    start   the byte at which the values begin, from 0
    end     the byte behind them
    """

    title: str
    name: str
    date: str
    is_complex: bool
    padded: bool
    binary: bool
    points: int
    variables: tuple[Variable, ...]
    start: int
    end: int

    @property
    def numbers(self) -> int:
        """How many values are stored, a complex one counted once."""
        if self.padded:
            return self.points * len(self.variables)
        return sum(variable.length for variable in self.variables)


def read_plots(path: str, data: mmap.mmap) -> list[Plot]:
    """The plots in the order of the file. Raises FormatError."""
    plots: list[Plot] = []
    reader = _Reader(path, data)
    while reader.skip_blank():
        plots.append(reader.plot())
    if not plots:
        raise FormatError(path, "holds no plot")
    return plots


class _Reader:
    """A place in the file that moves from header to header."""

    def __init__(self, path: str, data: mmap.mmap) -> None:
        self._path = path
        self._data = data
        self._at = 0
        self._after_binary = False

    def skip_blank(self) -> bool:
        """Moves to the next byte that is not white space; False at the end of the file."""
        while self._at < len(self._data) and self._data[self._at] in b" \t\r\n":
            self._at += 1
        return self._at < len(self._data)

    def plot(self) -> Plot:
        begin = self._at
        if self._data[begin : begin + 6].lower() != b"title:":
            raise self._no_plot(begin)
        fields: dict[str, str] = {}
        for heading, rest in self._headings():
            if heading == "variables":
                variables = self._variables(fields, rest)
            elif heading in ("values", "binary"):
                if "variables" not in fields:
                    raise self._error(begin, "the header has no 'Variables:'")
                return self._finished(fields, variables, heading == "binary")
            fields.setdefault(heading, rest)
        raise self._error(self._at, "the header does not end; the file is cut off")

    def _no_plot(self, begin: int) -> FormatError:
        if begin == 0:
            return FormatError(
                self._path, "is no raw file of ngspice: it does not begin with 'Title:'"
            )
        return self._error(
            begin,
            "no plot begins here, though the one before ends; 'No. Points' of a simulation that "
            "was stopped says too little: run it to its end",
        )

    def _headings(self) -> Iterator[tuple[str, str]]:
        """The headings in lower case with what stands behind the colon."""
        while self._at < len(self._data):
            begin = self._at
            line = self._line()
            heading, colon, rest = line.partition(":")
            if not colon:
                if line.strip():
                    raise self._error(begin, f"'{shown(line.strip(), 40)}' is not a heading")
                continue
            yield heading.strip().lower(), rest.strip()

    def _line(self) -> str:
        """The line here, without its end; moves behind it."""
        end = self._data.find(b"\n", self._at)
        end = len(self._data) if end < 0 else end
        line = self._data[self._at : min(end, self._at + 100_000)]
        self._at = min(end + 1, len(self._data))
        try:
            return line.decode()
        except UnicodeDecodeError:
            return line.decode("latin-1")

    def _count(self, fields: dict[str, str], heading: str) -> int:
        if heading.lower() not in fields:
            raise self._error(self._at, f"the header has no '{heading}:'")
        text = fields[heading.lower()]
        if not _COUNT.fullmatch(text):
            raise self._error(self._at, f"'{heading}' is no number: '{shown(text, 40)}'")
        return int(text)

    def _variables(self, fields: dict[str, str], rest: str) -> tuple[Variable, ...]:
        """The lines after "Variables:"; the first may stand on the same line."""
        count = self._count(fields, "No. Variables")
        points = self._count(fields, "No. Points")
        found: list[Variable] = []
        while len(found) < count:
            begin = self._at
            if not rest and begin == len(self._data):
                raise self._error(begin, f"the file ends after {len(found)} of {count} variables")
            line, rest = rest or self._line(), ""
            found.append(self._variable(begin, line, len(found), points))
        return tuple(found)

    def _variable(self, begin: int, line: str, place: int, points: int) -> Variable:
        words = line.split()
        if len(words) < 3 or words[0] != str(place):
            raise self._error(
                begin, f"variable {place} is not a number, a name and a type: "
                f"'{shown(line.strip(), 60)}'"
            )  # fmt: skip
        length = points
        for word in words[3:]:
            if word.startswith("dims="):
                sizes = word[5:].split(",")
                if not all(_COUNT.fullmatch(size) for size in sizes):
                    found = shown(word, 40)
                    raise self._error(begin, f"the dimensions '{found}' are no numbers")
                length = math.prod(map(int, sizes))
        if length > points:
            raise self._error(begin, f"'{words[1]}' has {length} points, its plot {points}")
        return Variable(words[1], words[2].lower(), length)

    def _finished(
        self, fields: dict[str, str], variables: tuple[Variable, ...], binary: bool
    ) -> Plot:
        """The plot whose values begin here; moves behind them."""
        points = self._count(fields, "No. Points")
        if not variables:
            raise self._error(self._at, "the plot has no variables, and so no time")
        flags = fields.get("flags", "").lower().split()
        plot = Plot(
            title=fields["title"],
            name=fields.get("plotname", ""),
            date=fields.get("date", ""),
            is_complex="complex" in flags,
            padded="unpadded" not in flags,
            binary=binary,
            points=points,
            variables=variables,
            start=self._at,
            end=0,
        )
        end = self._end_of_binary(plot) if binary else self._end_of_text()
        self._at = end
        self._after_binary |= binary
        return replace(plot, end=end)

    def _end_of_binary(self, plot: Plot) -> int:
        size = 16 if plot.is_complex else 8
        end = plot.start + plot.numbers * size
        if end > len(self._data):
            stored = (len(self._data) - plot.start) // size
            raise self._error(
                len(self._data),
                f"the file ends after {stored} of the {plot.numbers} values of "
                f"'{shown(plot.name, 60)}': 'No. Points' is wrong or the file is cut off",
            )
        return end

    def _end_of_text(self) -> int:
        next_title = re.compile(rb"^title:", re.IGNORECASE | re.MULTILINE)
        found = next_title.search(self._data, self._at)
        return found.start() if found else len(self._data)

    def _error(self, byte: int, what: str) -> FormatError:
        """Bytes count from 1, and so do lines, which count as long as all before is text."""
        if self._after_binary or byte >= len(self._data):
            return FormatError(self._path, what, f"byte {byte + 1}")
        return FormatError(self._path, what, f"line {self._data[:byte].count(10) + 1}")
