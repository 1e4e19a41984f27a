"""Which samples of a pair a report keeps: real ones, thinned to what a screen can tell apart."""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any, NamedTuple

import numpy as np

from kvr import _kvr
from kvr._report.packing import Block, Doubles, Places


class SideCurve(NamedTuple):
    """A component of a side: times that never fall, values; the imaginary parts of complex ones."""

    times: Doubles
    values: Doubles
    imaginary: Doubles | None


class AlignedCurve(NamedTuple):
    """A component on the compared instants; `at` is the baseline there, None for complex values.

    tolerance           None: that of `absolute` and `relative` everywhere
    absolute, relative  of a constant tolerance, so that it need not be kept; else None
    """

    instants: Doubles
    at: Doubles | None
    difference: Doubles
    tolerance: Doubles | None
    absolute: float | None
    relative: float | None


class ComponentCurves(NamedTuple):
    """What can be drawn of a component of a pair; marks are times whose samples are always kept."""

    component: int
    baseline: SideCurve | None
    other: SideCurve | None
    aligned: AlignedCurve | None
    marks: Doubles


def packed(
    components: Sequence[ComponentCurves], components_total: int, columns: int, beside: bool
) -> bytes:
    """A block with about so many pixel columns of each component.

    Of every column the first, the lowest, the highest and the last sample are kept. `beside` keeps the
    samples before and after the marks too.
    """
    block = Block()
    headers = [_component(block, one, columns, beside) for one in components]
    return block.packed(headers, components_total)


def _component(block: Block, curves: ComponentCurves, columns: int, beside: bool) -> dict[str, Any]:
    header: dict[str, Any] = {"component": curves.component, "aligned": None}
    shared = _shared_places(curves, columns, beside)
    for name, side in (("baseline", curves.baseline), ("other", curves.other)):
        header[name] = header[f"{name}_imaginary"] = None
        if side is None or not len(side.times):
            continue
        places = shared
        if places is None:
            places = _thinned(side, columns, _places(side.times, curves.marks, beside))
        times = block.add_times(side.times, places)
        thinned = len(places) < len(side.times)
        like = header["baseline"]["values"] if name == "other" and shared is not None else None
        values = side.values[places]
        base = curves.baseline.values[places] if like is not None and curves.baseline else None
        number = block.add_values(values, like, base)
        header[name] = {"times": times, "values": number, "thinned": thinned}
        if side.imaginary is not None:
            number = block.add_values(side.imaginary[places])
            header[f"{name}_imaginary"] = {"times": times, "values": number, "thinned": thinned}
    if curves.aligned is not None and len(curves.aligned.instants):
        header["aligned"] = _aligned(block, curves, columns, beside, shared)
    return header


def _shared_places(curves: ComponentCurves, columns: int, beside: bool) -> Places | None:
    """The places to keep on a time base that both sides and the instants share; None if they differ."""
    here, there, aligned = curves.baseline, curves.other, curves.aligned
    if here is None or there is None or aligned is None or not len(here.times):
        return None
    for times in (there.times, aligned.instants):
        if times is not here.times and not np.array_equal(times, here.times):
            return None
    chosen = [_thinned(here, columns, _places(here.times, curves.marks, beside))]
    if not np.array_equal(here.values, there.values):
        chosen.append(_thinned(there, columns))
        chosen.append(_window(aligned.instants, aligned.difference, columns))
    return _both(*chosen)


def _aligned(
    block: Block, curves: ComponentCurves, columns: int, beside: bool, shared: Places | None
) -> dict[str, Any]:
    aligned = curves.aligned
    assert aligned is not None
    places = shared
    if places is None:
        keep = _places(aligned.instants, curves.marks, beside)
        places = _window(aligned.instants, aligned.difference, columns, keep)
        if aligned.at is not None:
            places = _both(places, _window(aligned.instants, aligned.at, columns))
    at = None if aligned.at is None else aligned.at[places]
    difference = aligned.difference[places]
    tolerance = _tolerance_at(aligned, at, places)
    is_apart = shared is not None and _is_apart(curves, places, difference)
    return {
        "times": block.add_times(aligned.instants, places),
        "at": None if at is None else block.add_values(at),
        "difference": None if is_apart else block.add_values(difference),
        "tolerance": None if tolerance is None else block.add_values(tolerance),
        "absolute": aligned.absolute if tolerance is None else 0.0,
        "relative": aligned.relative if tolerance is None else 0.0,
        "thinned": len(places) < len(aligned.instants),
    }


def _tolerance_at(aligned: AlignedCurve, at: Doubles | None, places: Places) -> Doubles | None:
    """The tolerance at these places; None where the page can compute it, to the last bit."""
    absolute, relative = aligned.absolute, aligned.relative
    known = None if aligned.tolerance is None else aligned.tolerance[places]
    if at is None or absolute is None or relative is None:
        return known
    with np.errstate(all="ignore"):
        computed = np.maximum(absolute, relative * np.abs(at))
    if not np.isfinite([absolute, relative]).all():
        # JSON has no such numbers.
        return np.asarray(computed, np.float64) if known is None else known
    if known is None or np.array_equal(computed, known, equal_nan=True):
        return None
    return known


def _is_apart(curves: ComponentCurves, places: Places, difference: Doubles) -> bool:
    """Whether the difference is |baseline - other| everywhere, to the last bit."""
    here, there = curves.baseline, curves.other
    if here is None or there is None or here.imaginary is not None or there.imaginary is not None:
        return False
    with np.errstate(all="ignore"):
        computed = np.abs(here.values[places] - there.values[places])
    return bool(np.array_equal(computed, difference, equal_nan=True))


# ---- Thinning ----


def _places(times: Doubles, marks: Doubles, beside: bool) -> Places:
    """The samples at or around these times: in force, and the first that is not before."""
    last = len(times) - 1
    in_force = np.searchsorted(times, marks, "right") - 1
    not_before = np.searchsorted(times, marks, "left")
    chosen = [in_force, not_before]
    if beside:
        chosen += [not_before - 1, in_force + 1]
    return _both(np.clip(np.concatenate(chosen), 0, last))


def _thinned(side: SideCurve, columns: int, keep: Places | None = None) -> Places:
    places = _window(side.times, side.values, columns, keep)
    if side.imaginary is None:
        return places
    return _both(places, _window(side.times, side.imaginary, columns))


def _both(*places: Places) -> Places:
    """All of the places, rising, each once."""
    chosen: Places = np.unique(np.concatenate(places))
    return chosen


def _window(times: Doubles, values: Doubles, columns: int, keep: Places | None = None) -> Places:
    tree = _kvr.Thinned(times, values)
    kept = [] if keep is None else keep.tolist()
    return tree.window(float(times[0]), float(times[-1]), columns, keep=kept)
