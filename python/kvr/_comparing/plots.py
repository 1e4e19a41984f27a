"""Pictures of pairs with matplotlib, which is imported when it is needed."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

from kvr._base.packages import need
from kvr._reading.frames import times_of
from kvr._reading.plots import by_component, looks_of

if TYPE_CHECKING:
    from kvr._comparing.verdict import Verdict
    from kvr._reading.signals import Array

_MARKS = 200  # instants that are marked by a line each


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
        flat = by_component(values)
        for place in range(flat.shape[1]):
            label = None if place else name
            own = looks if flat.shape[1] == 1 else {}
            axes.plot(instants, flat[:, place], label=label, **own)
    out = by_component(series.out).any(axis=1)
    _mark(axes, instants[out])
    axes.set_title(verdict.label.replace("$", r"\$"))
    axes.set_xlabel("time in UTC" if instants.dtype.kind == "M" else "time")
    axes.legend()
    return axes


def _mark(axes: Any, instants: Array) -> None:
    """A line from the bottom to the top at each instant; of many, one artist, which draws faster."""
    looks: dict[str, Any] = {"color": "red", "alpha": 0.2, "zorder": 0}
    if len(instants) > _MARKS:
        axes.vlines(instants, 0, 1, transform=axes.get_xaxis_transform(), **looks)
        return
    for instant in instants:
        axes.axvline(instant, **looks)


def _pair_looks(verdict: Verdict) -> list[dict[str, Any]]:
    """Colour and dashes of both sides, none where they would look the same."""
    sides = [verdict.baseline, verdict.other]
    looks = [looks_of(side) if side is not None else {} for side in sides]
    return looks if looks[0] != looks[1] else [{}, {}]
