"""Verdicts as lines of text."""

from __future__ import annotations

import math
from collections.abc import Sequence

from kvr._base.text import shown
from kvr._comparing.verdict import Verdict

_HEADER = ("status", "excess", "first out", "signal")
_LEAST = 12  # characters that the name of a signal gets at least


def lines(verdicts: Sequence[Verdict], width: int) -> list[str]:
    """A header and a line a verdict, none wider than `width`; as columns."""
    rows = [_HEADER, *(_row(verdict) for verdict in verdicts)]
    widths = [max(len(row[place]) for row in rows) for place in range(3)]
    name_width = max(width - sum(widths) - 6, _LEAST)
    return [_line(row, widths, name_width)[:width].rstrip() for row in rows]


def _line(row: tuple[str, str, str, str], widths: Sequence[int], name_width: int) -> str:
    cells = [cell.ljust(width) for cell, width in zip(row, widths)]
    return "  ".join([*cells, shown(row[3], name_width)])


def _row(verdict: Verdict) -> tuple[str, str, str, str]:
    name = f"{verdict.path}: {verdict.label}" if verdict.path else verdict.label
    return (
        verdict.reason or verdict.status,
        "" if verdict.excess is None else _excess_text(verdict.excess),
        verdict.first_out_text,
        name,
    )


def _excess_text(excess: float) -> str:
    """The excess in few characters."""
    if math.isnan(excess):
        return "lost"
    return "infinite" if math.isinf(excess) else f"{excess:.6g}"
