"""Pictures of signals with matplotlib, which is imported when it is needed."""

from __future__ import annotations

import io
import os
from typing import TYPE_CHECKING, Any

from kvr._frames import need
from kvr._reading import SignalReader
from kvr._results import write_bytes

if TYPE_CHECKING:
    from kvr._verdict import AlignedSeries


def draw(signal: SignalReader, axes: Any) -> Any:
    """Draw the signal as steps or as lines, as it is compared. Returns the axes."""
    if axes is None:
        axes = need("matplotlib.pyplot", "plot").gca()
    time, values = signal._series()
    if values.dtype.kind not in "biuf":
        raise ValueError(f"{signal.label!r} holds {values.dtype}, which cannot be drawn")
    style = "default" if signal.sync.interp == "linear" else "steps-post"
    flat = values.reshape(len(values), -1).astype(float)
    looks = {"color": signal.color, "linestyle": signal.dash} if flat.shape[1] == 1 else {}
    axes.plot(time, flat, label=signal.label, drawstyle=style, **looks)
    axes.set_xlabel(signal.time_source or "time")
    axes.set_ylabel(signal.unit or "")
    return axes


def draw_pair(label: str, series: AlignedSeries, axes: Any) -> Any:
    """Draw both sides of a pair, and mark the instants that are out. Returns the axes."""
    if axes is None:
        axes = need("matplotlib.pyplot", "plot").gca()
    for name, values in (("baseline", series.baseline), ("other", series.other)):
        if values.dtype.kind == "c":
            raise ValueError(f"{label!r} is complex, which cannot be drawn over time")
        flat = values.reshape(len(values), -1)
        for place in range(flat.shape[1]):
            axes.plot(series.instants, flat[:, place], label=None if place else name)
    out = series.out.reshape(len(series.out), -1).any(axis=1)
    for instant in series.instants[out]:
        axes.axvline(instant, color="red", alpha=0.2, zorder=0)
    axes.set_title(label.replace("$", r"\$"))
    axes.legend()
    return axes


def save_picture(signal: SignalReader, path: str) -> None:
    """Draw the signal into a file, by its ending. Raises ValueError for an unknown ending."""
    figure = need("matplotlib.figure", "--plot").Figure(figsize=(9, 5), dpi=120)
    axes = draw(signal, figure.subplots())
    axes.set_title(signal.label.replace("$", r"\$"))
    axes.grid(alpha=0.3)
    picture = io.BytesIO()
    ending = os.path.splitext(path)[1].lstrip(".").lower() or "png"
    figure.savefig(picture, format=ending)
    write_bytes(picture.getvalue(), path)
