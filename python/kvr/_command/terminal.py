"""What the command writes on a terminal: widths, colours, tables and plots."""

from __future__ import annotations

import os
import shutil
import sys
from collections.abc import Sequence

import numpy as np

from kvr._base.dates import time_text
from kvr._base.text import columns, padded, shown
from kvr._reading.signals import Array

_COLORS = {"red": "31", "green": "32", "yellow": "33", "bold": "1"}
_HEIGHT = 10  # of a plot, in lines
_LEAST_WIDTH = 40


def width() -> int:
    """The characters in a line; what is not a terminal gets long ones."""
    if not sys.stdout.isatty():
        return 200
    return max(shutil.get_terminal_size().columns, _LEAST_WIDTH)


def colored(text: str, color: str) -> str:
    """The text in a colour, where a terminal shows it and NO_COLOR is not set."""
    if os.environ.get("NO_COLOR") or os.environ.get("TERM") == "dumb" or not sys.stdout.isatty():
        return text
    return f"\033[{_COLORS[color]}m{text}\033[0m"


def table(header: Sequence[str], rows: Sequence[Sequence[str]], wide: int) -> list[str]:
    """Lines no longer than the terminal, for which the column `wide` is cut where needed."""
    fitted = [[shown(cell, 200) for cell in row] for row in [header, *rows]]
    widths = [max(columns(row[place]) for row in fitted) for place in range(len(header))]
    spare = width() - sum(widths) - 2 * (len(widths) - 1)
    widths[wide] = max(widths[wide] + min(spare, 0), min(widths[wide], 12))
    return [
        "  ".join(padded(shown(cell, w), w) for cell, w in zip(row, widths)).rstrip()
        for row in fitted
    ]


def plot(time: Array, values: Array, dated: bool = False) -> list[str]:
    """A plot of real values over time in characters: the range of each column of characters.

    `dated` has the ends of the axis told as dates.
    """
    count = min(width() - 14, 100)
    finite = np.isfinite(values) & np.isfinite(time)
    if not finite.any() or count < 10:
        return []
    time, values = time[finite].astype(float), values[finite].astype(float)
    low, high, start, span = values.min(), values.max(), time[0], time[-1] - time[0]
    places = np.minimum(((time - start) / (span or 1) * count).astype(int), count - 1)
    scale = (_HEIGHT - 1) / ((high - low) or 1)
    rows = np.rint((values - low) * scale).astype(int)
    grid = np.full((_HEIGHT, count), " ")
    for column in np.unique(places):
        inside = rows[places == column]
        grid[inside.min() : inside.max() + 1, column] = "*"
    lines = ["|" + "".join(row).rstrip() for row in grid[::-1]]
    lines[0] = f"{high:>12.6g} {lines[0]}"
    lines[-1] = f"{low:>12.6g} {lines[-1]}"
    lines[1:-1] = [" " * 13 + line for line in lines[1:-1]]
    first, last = time_text(start, dated), time_text(time[-1], dated)
    axis = first.ljust(max(count - len(last), len(first) + 1)) + last
    return [*lines, " " * 14 + axis]
