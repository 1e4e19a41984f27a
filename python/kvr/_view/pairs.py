"""The curves of a pair: both signals, the band of the tolerance, and the difference below."""

from __future__ import annotations

import asyncio
import dataclasses
from collections import OrderedDict
from collections.abc import Awaitable, Callable
from typing import Any, NamedTuple

import numpy as np

from kvr._base.errors import Gone, NoValues
from kvr._comparing.sides import side_of_signal
from kvr._comparing.verdict import Verdict
from kvr._reading.signals import Array
from kvr._store.signal import Signal
from kvr._view.blocks import Block, block_of, encoded
from kvr._view.curves import Curve, Curves, Name, Window
from kvr._view.mirror import Mirror, SignalRow
from kvr._view.problems import wrong

Do = Callable[[Callable[[], Any]], Awaitable[Any]]  # runs a job on the store's thread

_MOST_INSTANTS = 40_000_000  # five arrays of them are made
_KEPT = 4  # alignments; those of the pairs that were looked at last


class Band(NamedTuple):
    """One component on the compared instants: difference, tolerance, and baseline -/+ tolerance."""

    difference: Curve
    tolerance: Curve
    low: Curve
    high: Curve

    def blocks(self, window: Window, keep: list[int], is_complex: bool) -> list[Block]:
        """All on the same instants: those that any of them needs."""
        shown = self[:2] if is_complex else self
        places = np.unique(np.concatenate([curve.window(window, keep) for curve in shown]))
        names = Band._fields
        return [block_of(name, c.time, c.values, places) for name, c in zip(names, shown)]


class _Look(NamedTuple):
    """What the store says of a side now. `shape` is that of a sample as it is compared."""

    row: SignalRow
    shape: tuple[int, ...]


class PairCurves:
    """Answers what a pair looks like in a window. Used on the server's loop alone."""

    def __init__(self, do: Do, mirror: Mirror, curves: Curves) -> None:
        self._do = do
        self._mirror = mirror
        self._curves = curves
        self._bands: OrderedDict[
            tuple[int, int], tuple[Verdict, asyncio.Task[Band]]
        ] = OrderedDict()

    def drop(self) -> None:
        self._bands.clear()

    async def answer(self, verdict: Verdict, component: int | None, window: Window) -> bytes:
        """A block for each curve that there is. Components count from 0 in the order of NumPy.

        `component` None is that of the worst value, else the first. Raises Problem, Gone.
        """
        sides = await self._do(lambda: [_look(self._mirror, s) for s in _signals(verdict)])
        looks = [side for side in sides if side is not None]
        if not looks:
            raise Gone("both signals of this pair were removed")
        shape = looks[0].shape
        total = int(np.prod(shape, dtype=np.int64))
        if component is None:
            component = verdict.worst.component if verdict.worst else 0
        if component >= total:
            raise wrong(f"there is no component {component}; a sample has {total}, counted from 0")
        blocks: list[Block] = []
        is_complex = False
        for name, side in zip(("baseline", "other"), sides):
            drawn = await self._side(name, side, component, window)
            is_complex = is_complex or len(drawn) > 1
            blocks += drawn
        if verdict.instants and None not in sides:
            band = await self._band(verdict, component)
            blocks += band.blocks(window, _kept(verdict, band.difference.time), is_complex)
        return encoded(blocks)

    async def _side(
        self, name: str, side: _Look | None, component: int, window: Window
    ) -> list[Block]:
        """The curve of a side, of a complex one both parts; none if it cannot be drawn."""
        if side is None or not side.row.contents.drawable:
            return []
        place = np.unravel_index(component, side.shape) if side.shape else ()
        column = int(np.ravel_multi_index(place, side.shape, order="F")) if side.shape else 0
        parts = [(name, False)]
        if side.row.contents.kind.startswith("complex"):
            parts.append((f"{name} imaginary", True))
        curves = [await self._curves.curve(Name(side.row.id, column, part)) for _, part in parts]
        return [curve.block(part[0], window) for part, curve in zip(parts, curves)]

    async def _band(self, verdict: Verdict, component: int) -> Band:
        if verdict.instants > _MOST_INSTANTS:
            raise wrong(f"{verdict.instants} compared instants are too many to draw")
        key = id(verdict), component
        if key not in self._bands:
            task = asyncio.create_task(self._aligned(verdict, component))
            self._bands[key] = verdict, task  # the verdict is held, so that its id stays its own
            while len(self._bands) > _KEPT:
                self._bands.popitem(last=False)
        self._bands.move_to_end(key)
        try:
            return await asyncio.shield(self._bands[key][1])
        except Exception:
            self._bands.pop(key, None)
            raise

    async def _aligned(self, verdict: Verdict, component: int) -> Band:
        sides = await self._do(lambda: _sides(verdict))
        held = dataclasses.replace(verdict, _sides=sides)
        return await asyncio.to_thread(_band_of, held, component)


def _signals(verdict: Verdict) -> tuple[Signal | None, Signal | None]:
    return verdict.baseline, verdict.other  # type: ignore[return-value]  # runs of the store


def _look(mirror: Mirror, signal: Signal | None) -> _Look | None:
    """What is known of the signal; None without one, and for one that was removed."""
    if signal is None:
        return None
    try:
        signal._repository()
    except Gone:
        return None
    mirror.look_at((signal.id,))
    row = mirror.signals.get(signal.id)
    if row is None:
        return None
    shape = row.contents.shape
    while shape and shape[-1] == 1:  # as sides are compared
        shape = shape[:-1]
    return _Look(row, shape)


def _sides(verdict: Verdict) -> Any:
    here, there = _signals(verdict)
    assert here is not None and there is not None
    for signal in (here, there):
        signal._repository()  # raises Gone, where the comparison sees no values
    try:
        return side_of_signal(here), side_of_signal(there)
    except NoValues as error:
        raise wrong(str(error)) from None


def _band_of(verdict: Verdict, component: int) -> Band:
    aligned = verdict.series()
    instants = np.ascontiguousarray(aligned.instants, np.float64)

    def part(values: Array) -> Array:
        column: Array = values.reshape(len(instants), -1)[:, component]
        return column

    tolerance, difference = part(aligned.tolerance), part(aligned.difference)
    baseline = part(aligned.baseline).real
    curves = (difference, tolerance, baseline - tolerance, baseline + tolerance)
    return Band(*(_curve(instants, values) for values in curves))


def _curve(instants: Array, values: Array) -> Curve:
    return Curve(instants, np.ascontiguousarray(values, np.float64), values.nbytes)


def _kept(verdict: Verdict, instants: Array) -> list[int]:
    """Where the worst value and the ends of the stretches out stand among the instants."""
    times = [end for stretch in verdict.intervals for end in (stretch.first, stretch.last)]
    if verdict.worst is not None:
        times.append(verdict.worst.time)
    places = np.searchsorted(instants, times)
    return [int(place) for place in places if place < len(instants)]
