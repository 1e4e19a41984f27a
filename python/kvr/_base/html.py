"""Small tables for notebooks. Names of runs and signals are data: they are escaped."""

from __future__ import annotations

import html
from collections.abc import Iterable, Sequence

from kvr._base.text import shown

ROWS = 50  # in a table
WIDTH = 200  # characters in a cell


def table(caption: str, header: Sequence[str], rows: Iterable[Sequence[object]], total: int) -> str:
    """An HTML table of at most ROWS rows that says how many more there are."""
    lines = [f"<table><caption>{_cell(caption)}</caption>", _row("th", header)]
    count = 0
    for row in rows:
        if count == ROWS:
            break
        lines.append(_row("td", row))
        count += 1
    if total > count:
        lines.append(f'<tr><td colspan="{len(header)}">and {total - count} more</td></tr>')
    return "\n".join([*lines, "</table>"])


def _row(tag: str, cells: Sequence[object]) -> str:
    return "<tr>" + "".join(f"<{tag}>{_cell(cell)}</{tag}>" for cell in cells) + "</tr>"


def _cell(value: object) -> str:
    return html.escape(shown(str(value), WIDTH))
