"""Pictures of signals with matplotlib, which is imported when it is needed."""

from __future__ import annotations

import io
import math
import os
from typing import TYPE_CHECKING, Any

from kvr._base.packages import need
from kvr._reading.frames import require_series, times_of

if TYPE_CHECKING:
    from kvr._reading.runs import RunReader
    from kvr._reading.signals import Array, SignalReader

_DASHES = ("-", "--", ":", "-.")


def draw_run(run: RunReader[Any], axes: Any) -> Any:
    """Draw the signals that can be drawn, with a legend. Returns the axes."""
    if axes is None:
        axes = need("matplotlib.pyplot", "plot").gca()
    for signal in run.signals:
        if _can_be_drawn(signal._series().values):
            draw(signal, axes)
    if axes.lines:
        axes.legend()
    return axes


def _can_be_drawn(values: Array) -> bool:
    return values.dtype.kind in "biuf"


def require_drawable(signal: SignalReader) -> None:
    """Raises ValueError for what is not real numbers, each at its time."""
    found = signal._series()
    require_series(signal, found)
    values = found.values
    if not _can_be_drawn(values):
        kind = "text" if values.dtype.kind in "UO" else values.dtype.name
        raise ValueError(f"{signal.label!r} holds values of class {kind}, which cannot be drawn")


def by_component(values: Array) -> Array:
    """The values (n, components)."""
    return values.reshape(len(values), math.prod(values.shape[1:]))


def draw(signal: SignalReader, axes: Any) -> Any:
    """Draw the signal as steps or as lines, as it is compared. Returns the axes."""
    require_drawable(signal)
    time, values = signal._series()
    if axes is None:
        axes = need("matplotlib.pyplot", "plot").gca()
    style = "default" if signal.sync.interp == "linear" else "steps-post"
    flat = by_component(values).astype(float)
    looks = looks_of(signal) if flat.shape[1] == 1 else {}
    shown = times_of(signal, time)
    axes.plot(shown, flat, label=signal.label.replace("$", r"\$"), drawstyle=style, **looks)
    is_dated = shown.dtype.kind == "M"
    axes.set_xlabel("time in UTC" if is_dated else (signal.time_source or "time"))
    axes.set_ylabel(signal.unit or "")
    return axes


def looks_of(signal: SignalReader) -> dict[str, Any]:
    """Colour and dashes; of a signal that has none, those of the axes."""
    if not signal._has_color():
        return {}
    dash = signal.dash if signal.dash in _DASHES else "-"  # the store keeps any text
    return {"color": signal.color, "linestyle": dash}


def picture_of(signal: SignalReader, path: str) -> bytes:
    """A picture as the ending of the path says. Raises ValueError for an unknown ending."""
    figure = need("matplotlib.figure", "--plot").Figure(figsize=(9, 5), dpi=120)
    axes = draw(signal, figure.subplots())
    axes.set_title(signal.label.replace("$", r"\$"))
    axes.grid(alpha=0.3)
    picture = io.BytesIO()
    ending = os.path.splitext(path)[1].lstrip(".").lower() or "png"
    figure.savefig(picture, format=ending)
    return picture.getvalue()
