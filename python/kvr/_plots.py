"""Pictures of signals with matplotlib, which is imported when it is needed."""

from __future__ import annotations

import io
import math
import os
from typing import TYPE_CHECKING, Any

from kvr._frames import need, times_of
from kvr._reading import Array, RunReader, SignalReader
from kvr._recording import FileSignal

if TYPE_CHECKING:
    from kvr._verdict import Verdict

_NO_COLOR = (0.0, 0.0, 0.0)  # of signals in files that keep no colours


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
    """Raises ValueError for what is not real numbers."""
    values = signal._series().values
    if not _can_be_drawn(values):
        kind = "text" if values.dtype.kind in "UO" else values.dtype.name
        raise ValueError(f"{signal.label!r} holds values of class {kind}, which cannot be drawn")


def _components(values: Array) -> Array:
    """The values (n, components)."""
    return values.reshape(len(values), math.prod(values.shape[1:]))


def draw(signal: SignalReader, axes: Any) -> Any:
    """Draw the signal as steps or as lines, as it is compared. Returns the axes."""
    require_drawable(signal)
    time, values = signal._series()
    if axes is None:
        axes = need("matplotlib.pyplot", "plot").gca()
    style = "default" if signal.sync.interp == "linear" else "steps-post"
    flat = _components(values).astype(float)
    looks = _looks(signal) if flat.shape[1] == 1 else {}
    shown = times_of(signal, time)
    axes.plot(shown, flat, label=signal.label.replace("$", r"\$"), drawstyle=style, **looks)
    is_dated = shown.dtype.kind == "M"
    axes.set_xlabel("time in UTC" if is_dated else (signal.time_source or "time"))
    axes.set_ylabel(signal.unit or "")
    return axes


def _looks(signal: SignalReader) -> dict[str, Any]:
    """Colour and dashes; of a file that has none, those of the axes."""
    if isinstance(signal, FileSignal) and signal.color == _NO_COLOR:
        return {}
    return {"color": signal.color, "linestyle": signal.dash}


def draw_pair(verdict: Verdict, axes: Any) -> Any:
    """Draw both sides of a pair, and mark the instants that are out. Returns the axes."""
    series = verdict.series()
    if any(values.dtype.kind == "c" for values in (series.baseline, series.other)):
        raise ValueError(f"{verdict.label!r} is complex, which cannot be drawn over time")
    if axes is None:
        axes = need("matplotlib.pyplot", "plot").gca()
    instants = series.instants
    dated = [one for one in (verdict.baseline, verdict.other) if one is not None]
    if dated:
        shown = [times_of(one, instants) for one in dated]
        instants = next((times for times in shown if times.dtype.kind != "M"), shown[0])
    sides = (("baseline", series.baseline), ("other", series.other))
    for (name, values), looks in zip(sides, _pair_looks(verdict)):
        flat = _components(values)
        for place in range(flat.shape[1]):
            label = None if place else name
            own = looks if flat.shape[1] == 1 else {}
            axes.plot(instants, flat[:, place], label=label, **own)
    out = _components(series.out).any(axis=1)
    for instant in instants[out]:
        axes.axvline(instant, color="red", alpha=0.2, zorder=0)
    axes.set_title(verdict.label.replace("$", r"\$"))
    axes.set_xlabel("time in UTC" if instants.dtype.kind == "M" else "time")
    axes.legend()
    return axes


def _pair_looks(verdict: Verdict) -> list[dict[str, Any]]:
    """Colour and dashes of both sides, none where they would look the same."""
    sides = [verdict.baseline, verdict.other]
    looks = [_looks(side) if side is not None else {} for side in sides]
    return looks if looks[0] != looks[1] else [{}, {}]


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
