"""Draws signals with the colours and line styles that the store gave them."""

from __future__ import annotations

from datetime import date
from pathlib import Path
from typing import Any

import matplotlib
import numpy as np

matplotlib.use("Agg")
from matplotlib import pyplot  # noqa: E402  the backend is chosen first

from tour.nowcast import from_seconds  # noqa: E402
from tour.recorder import samples  # noqa: E402


def draw(path: Path, title: str, unit: str, since: date, lines: dict[str, dict[str, Any]]) -> None:
    """Writes a PNG of the signals in `lines`, which has their names in the legend as keys."""
    figure, axes = pyplot.subplots(figsize=(9, 5), dpi=120)
    for name, signal in lines.items():
        draw_line(axes, name, signal, since)
    axes.set(title=title, xlabel="Month", ylabel=unit)
    axes.yaxis.set_major_formatter("{x:,.0f}")
    axes.grid(alpha=0.3)
    axes.legend()
    figure.autofmt_xdate()
    path.parent.mkdir(parents=True, exist_ok=True)
    figure.savefig(path)
    pyplot.close(figure)


def draw_line(axes: Any, name: str, signal: dict[str, Any], since: date) -> None:
    time, values = samples(signal)
    months = [from_seconds(number) for number in time]
    shown = np.array([month >= since for month in months])
    axes.plot(
        [month for month in months if month >= since],
        values[shown],  # a gap breaks the line
        color=tuple(np.ravel(signal["LineColor"])),
        linestyle=signal["LineDashed"],
        linewidth=2,
        label=name,
    )
