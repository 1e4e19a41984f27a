"""Curves of signals: which component, drawn in which window, and trees that make that fast."""

from __future__ import annotations

import asyncio
import re
from collections import OrderedDict
from collections.abc import Awaitable, Callable, Sequence
from typing import Any, NamedTuple

import numpy as np

from kvr._kvr import Thinned
from kvr._reading.signals import Array, Series
from kvr._base.text import shown
from kvr._view.blocks import Block, block_of
from kvr._view.mirror import is_drawable
from kvr._view.problems import Problem, wrong

_NAME = re.compile(r"(\d{1,10})(?:\.(\d{1,10}))?(i?)", re.ASCII)
_MOST_NAMES = 256
MOST_COLUMNS = 20_000
DEFAULT_COLUMNS = 1000
_KEPT_BYTES = 512 << 20  # of curves beside the store's own arrays


class Window(NamedTuple):
    """Which times are drawn, None for the whole, and in how many columns of pixels."""

    first: float | None
    last: float | None
    columns: int


class Name(NamedTuple):
    """A curve: a signal, a component of its samples, column by column from 0, and which part."""

    signal: int
    component: int
    is_imaginary: bool

    def __str__(self) -> str:
        return f"{self.signal}.{self.component}{'i' if self.is_imaginary else ''}"


def names_of(texts: list[str]) -> list[Name]:
    """The curves that ID, ID.K and either with an i at the end mean. Raises Problem."""
    if not texts or len(texts) > _MOST_NAMES:
        raise wrong(f"of must name 1 to {_MOST_NAMES} curves")
    return [_name_of(text) for text in texts]


def _name_of(text: str) -> Name:
    match = _NAME.fullmatch(text)
    if match is None or int(match[1]) >= 2**31:
        raise wrong(f"{shown(repr(text), 80)} is no curve; one is ID, ID.K, IDi or ID.Ki")
    return Name(int(match[1]), int(match[2] or 0), bool(match[3]))


class Curve:
    """The times and values of one component, and the tree that finds their extremes."""

    def __init__(self, time: Array, values: Array, owned: int) -> None:
        self.time = time
        self.values = values
        self.thinned = Thinned(time, values)
        self.bytes = owned + 16 + len(time)  # the tree takes less than a byte a sample

    def window(self, window: Window, keep: Sequence[int] = ()) -> Array:
        """The places of the samples to draw."""
        if not len(self.time):
            return np.zeros(0, np.int64)
        first = self.time[0] if window.first is None else window.first
        last = self.time[-1] if window.last is None else window.last
        if last < first:  # one end is the signal's own, and the other lies beyond it
            first = last = first if window.last is None else last
        return self.thinned.window(float(first), float(last), window.columns, keep=keep)

    def block(self, name: str, window: Window) -> Block:
        return block_of(name, self.time, self.values, self.window(window))


def component_of(series: Series, component: int, is_imaginary: bool) -> Curve:
    """The curve of a component, counted column by column. Raises Problem."""
    time, values = series
    if not is_drawable(series):
        raise wrong("this signal has no curve: its values are no numbers over as many times")
    shape = values.shape[1:]
    count = int(np.prod(shape, dtype=np.int64))
    if component >= count:
        raise wrong(f"there is no component {component}; a sample has {count}, counted from 0")
    if shape:
        every: Any = (slice(None), *place_of(component, shape))
        values = values[every]
    if values.dtype.kind == "c":
        values = values.imag if is_imaginary else values.real
    elif is_imaginary:
        raise wrong("this signal is real: it has no imaginary part")
    owned = 0
    time, values, given = _doubles(time), _doubles(values), (time, values)
    for made, source in zip((time, values), given):
        if not np.shares_memory(made, source, max_work=1):
            owned += made.nbytes
    return Curve(time, values, owned)


def place_of(component: int, shape: tuple[int, ...]) -> tuple[int, ...]:
    """Where a component stands in a sample of this shape, counted column by column."""
    return tuple(int(index) for index in np.unravel_index(component, shape, order="F"))


def _doubles(array: Array) -> Array:
    return np.ascontiguousarray(array, np.float64)


class Curves:
    """Curves that were drawn lately, up to a number of bytes. Used on the server's loop alone."""

    def __init__(self, series_of: Callable[[int], Awaitable[Series]]) -> None:
        self._series_of = series_of
        self._kept: OrderedDict[Name, Curve] = OrderedDict()
        self._made: dict[Name, asyncio.Task[Curve]] = {}  # right now; several may wait for one
        self._bytes = 0

    async def curve(self, name: Name) -> Curve:
        """The curve, made if it is not kept. Raises Problem, Gone, NoValues."""
        kept = self._kept.get(name)
        if kept is not None:
            self._kept.move_to_end(name)
            return kept
        task = self._made.get(name)
        if task is None:
            task = self._made[name] = asyncio.create_task(self._make(name))
        return await asyncio.shield(task)

    async def _make(self, name: Name) -> Curve:
        try:
            series = await self._series_of(name.signal)
            curve = await asyncio.to_thread(component_of, series, name.component, name.is_imaginary)
            if name in self._made:  # else it was dropped meanwhile
                self._keep(name, curve)
            return curve
        except Problem as problem:
            raise Problem(problem.status, f"{name}: {problem.text}") from None
        finally:
            self._made.pop(name, None)

    def _keep(self, name: Name, curve: Curve) -> None:
        self._kept[name] = curve
        self._bytes += curve.bytes
        while self._bytes > _KEPT_BYTES and len(self._kept) > 1:
            _, oldest = self._kept.popitem(last=False)
            self._bytes -= oldest.bytes

    def drop(self, signals: set[int] | None) -> None:
        """Forget the curves of these signals, None for all."""
        for name in [name for name in self._kept if signals is None or name.signal in signals]:
            self._bytes -= self._kept.pop(name).bytes
        for name in [name for name in self._made if signals is None or name.signal in signals]:
            del self._made[name]


# ---- Readings ----


def reading(series: Series, name: Name, curve: Curve | None, at: float) -> dict[str, Any] | None:
    """The sample in force at a time, the last at or before it, and the next one; None before all."""
    time = series.time if curve is None else curve.time
    place = int(np.searchsorted(time, at, side="right")) - 1
    if place < 0:
        return None
    found = _sample(series, name, place)
    has_next = place + 1 < len(time)
    return {**found, "next": _sample(series, name, place + 1) if has_next else None}


def _sample(series: Series, name: Name, place: int) -> dict[str, Any]:
    value = series.values[place]
    if series.values.ndim > 1:
        value = value[place_of(name.component, series.values.shape[1:])]
    plain = value.item() if isinstance(value, np.generic) else value
    if isinstance(plain, complex):
        plain = plain.imag if name.is_imaginary else plain.real
    return {"index": place, "time": float(series.time[place]), "value": plain}
