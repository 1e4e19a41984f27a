"""The curves that a report keeps: a total of bytes shared out to the pairs, failing ones first."""

from __future__ import annotations

from concurrent.futures import Future, ThreadPoolExecutor
from typing import TYPE_CHECKING, Any, NamedTuple, Optional

import numpy as np

from kvr._comparing.sides import A_DATE, NUMBERS, UNUSABLE, Side, side_of_signal
from kvr._report.curves import AlignedCurve, ComponentCurves, SideCurve, packed
from kvr._report.page import block_size

if TYPE_CHECKING:
    from kvr._comparing.comparison import Comparison
    from kvr._comparing.verdict import Verdict
    from kvr._reading.signals import Array, SignalReader

MOST_PAIRS = 2000  # beyond them a pair would get too few samples to be worth a curve
MOST_COMPONENTS = 8
MOST_ALIGNED = 10_000_000  # values; each takes 40 bytes while a pair is packed
_FAILING, _PASSING = 5.0, 1.0  # shares of the room
# Full screens have up to 4,000 columns; there is no use in more than can be zoomed into.
_FEWEST_COLUMNS, _MOST_OF_PASSING, _MOST_OF_FAILING = 12, 2000, 8000
_TIGHT = 100  # columns below which samples beside the marks are not kept
_FIRST_GUESS = 60.0  # bytes for a column
_TRIES = 3  # to pack a pair into its share
_WAVE = 16  # pairs

# Instants, then (n, components): baseline, other, difference, tolerance; None if it is constant.
Aligned = tuple["Array", "Array", "Array", "Array", Optional["Array"]]


def places_to_draw(comparison: Comparison) -> list[int]:
    """The places of the verdicts that get curves, those that fail first, the furthest out in front."""
    verdicts = comparison.verdicts
    order = sorted(range(len(verdicts)), key=lambda place: comparison._rank(verdicts[place]))
    return order[:MOST_PAIRS]


class PackedPairs:
    """The blocks of the pairs that are kept.

    numbers  place of a verdict to the number of its block, from 0; pairs with equal curves share one
    blocks   deflated, in the order of their numbers
    """

    def __init__(self, comparison: Comparison, places: list[int], room: int, threads: int) -> None:
        """Pack the pairs at these places into about `room` bytes.

        Pairs are read in this thread, and packed in several, a wave after the other.

        What a pair gets is known when its wave begins: it does not depend on the threads.
        """
        self.numbers: dict[int, int] = {}
        self.blocks: list[bytes] = []
        self._verdicts = comparison.verdicts
        self._seen: dict[Any, int] = {}
        room_left = _Room(room, [comparison.fails(self._verdicts[place]) for place in places])
        with ThreadPoolExecutor(threads, "kvr-report") as pool:
            for start in range(0, len(places), _WAVE):
                self._add(places[start : start + _WAVE], room_left, pool)

    def _add(self, places: list[int], room: _Room, pool: ThreadPoolExecutor) -> None:
        """Pack the pairs of a wave."""
        shares = room.shares(len(places))
        packing: list[tuple[int, Future[_Packed]]] = []
        number = len(self.blocks)
        for place, share in zip(places, shares):
            pair = _Pair.of(self._verdicts[place])
            if pair is None:
                continue
            earlier = self._equal_one(pair)
            if earlier is not None:
                self.numbers[place] = earlier
                continue
            self.numbers[place] = number + len(packing)
            self._seen[pair.key()] = place
            aligned = pair.aligned() if pair.calls_python() else None
            packing.append((place, pool.submit(_fitting, pair, aligned, share, room.rate)))
        for _, future in packing:
            block = future.result()
            self.blocks.append(block.data)
            room.use(block)

    def _equal_one(self, pair: _Pair) -> int | None:
        """The block of an earlier pair with the same arrays and settings."""
        earlier = self._seen.get(pair.key())
        if earlier is None:
            return None
        other = _Pair.of(self._verdicts[earlier])
        return self.numbers[earlier] if other is not None and pair.equals(other) else None


class _Packed(NamedTuple):
    """A block, and how many pixel columns it has in all its components."""

    data: bytes
    columns: int


class _Room:
    """The bytes that are left, and how they are shared out: failing pairs get more.

    rate  bytes that a pixel column takes, as seen so far
    """

    def __init__(self, room: int, failing: list[bool]) -> None:
        self.rate = _FIRST_GUESS
        self._left = float(room)
        self._weights = [_FAILING if fails else _PASSING for fails in failing]

    def shares(self, count: int) -> list[float]:
        """The bytes for each of the next pairs."""
        unit = max(0.0, self._left) / sum(self._weights)
        weights, self._weights = self._weights[:count], self._weights[count:]
        return [unit * weight for weight in weights]

    def use(self, block: _Packed) -> None:
        size = block_size(block.data)
        self._left -= size
        self.rate = 0.9 * self.rate + 0.1 * size / block.columns


def _fitting(pair: _Pair, aligned: Aligned | None, share: float, rate: float) -> _Packed:
    """The block of a pair in about so many bytes."""
    curves = pair.curves(aligned)
    most = _MOST_OF_FAILING if pair.verdict.differs else _MOST_OF_PASSING
    columns = _columns(0.9 * share / rate / max(1, len(curves)), most)
    block = packed(curves, pair.components, columns, columns >= _TIGHT)
    for _ in range(_TRIES):
        size = block_size(block)
        if size <= share or columns == _FEWEST_COLUMNS:
            break
        columns = _columns(min(0.95 * columns * share / size, columns - 1), most)
        block = packed(curves, pair.components, columns, columns >= _TIGHT)
    return _Packed(block, columns * max(1, len(curves)))


def _columns(wanted: float, most: int) -> int:
    return int(min(max(wanted, _FEWEST_COLUMNS), most))


class _Pair(NamedTuple):
    """What can be drawn of a verdict: sides None where they are missing or hold no numbers."""

    verdict: Verdict
    baseline: Side | None
    other: Side | None
    components: int

    @staticmethod
    def of(verdict: Verdict) -> _Pair | None:
        """None if neither side can be drawn."""
        baseline, other = _drawable(verdict.baseline), _drawable(verdict.other)
        sides = [side for side in (baseline, other) if side is not None]
        if not sides:
            return None
        return _Pair(verdict, baseline, other, max(_matrix(side).shape[1] for side in sides))

    def key(self) -> Any:
        """Equal for equal pairs: a few samples and all that tells the verdicts apart cheaply."""
        verdict = self.verdict
        facts = verdict.instants, verdict.out, verdict.rms, verdict.tolerance, verdict.sync
        return (*facts, *(_sketch(side) for side in (self.baseline, self.other)))

    def equals(self, other: _Pair) -> bool:
        sides = (self.baseline, other.baseline), (self.other, other.other)
        return all(_are_equal(here, there) for here, there in sides)

    def curves(self, aligned: Aligned | None) -> list[ComponentCurves]:
        """The components that are kept: the worst one, and the first ones."""
        verdict = self.verdict
        worst = 0 if verdict.worst is None else verdict.worst.component
        wanted = [worst, *(one for one in range(self.components) if one != worst)]
        if aligned is None:
            aligned = self.aligned()
        marks = _marks(verdict)
        return [
            ComponentCurves(
                component,
                _side_curve(self.baseline, component),
                _side_curve(self.other, component),
                None if aligned is None else _aligned_curve(verdict, aligned, component),
                marks,
            )
            for component in sorted(wanted[:MOST_COMPONENTS])
        ]

    def calls_python(self) -> bool:
        """Whether aligning calls registered functions, which run in the calling thread."""
        verdict = self.verdict
        return (verdict.tolerance is not None and verdict.tolerance.type == 2) or (
            verdict.sync is not None and verdict.sync.type == 1
        )

    def aligned(self) -> Aligned | None:
        """Both sides on the compared instants; None if nothing was compared, or too many values.

        A fine grid may have far more instants than both sides have samples.
        """
        if self.verdict.status not in ("within", "out"):
            return None
        if self.verdict.instants * self.components > MOST_ALIGNED:
            return None
        assert self.baseline is not None and self.other is not None
        plain = _aligned_plainly(self.verdict, self.baseline, self.other)
        if plain is not None:
            return plain
        instants, here, there, difference, tolerance, _ = self.verdict._aligned(
            self.baseline, self.other
        )
        return instants, here, there, difference, tolerance


def _aligned_plainly(verdict: Verdict, baseline: Side, other: Side) -> Aligned | None:
    """What `Verdict.series` computes, faster, for the most frequent case; None for others.

    That is: equal times without events, every time an instant, finite real values, a constant
    tolerance.
    """
    rule, sync = verdict.tolerance, verdict.sync
    if rule is None or rule.type != 0 or sync is None or sync.type or sync.method == "uniform":
        return None
    times = baseline.times
    here, there = (_matrix(side) for side in (baseline, other))
    if here.dtype != np.float64 or there.dtype != np.float64:
        return None
    if not np.array_equal(times, other.times) or not np.all(times[1:] > times[:-1]):
        return None
    with np.errstate(invalid="ignore", over="ignore"):
        difference = np.abs(here - there)
    if any(np.isinf(matrix).any() for matrix in (here, there, difference)):
        return None
    return times, here, there, difference, None


def _drawable(signal: SignalReader | None) -> Side | None:
    """The side of a signal with times and numbers that can be drawn; None for others."""
    if signal is None:
        return None
    side = side_of_signal(signal)
    if side.content != NUMBERS or side.clock == UNUSABLE or len(side.times) != len(side.values):
        return None
    times = np.ascontiguousarray(side.times, np.float64)
    if (
        not len(times)
        or not np.isfinite(times[[0, -1]]).all()
        or not np.all(times[1:] >= times[:-1])
    ):
        return None
    return side._replace(times=times)


def _matrix(side: Side) -> Array:
    return side.values.reshape(len(side.values), -1)


def _sketch(side: Side | None) -> Any:
    if side is None:
        return None
    few = slice(None, None, max(1, len(side.times) // 32))
    values = np.ascontiguousarray(_matrix(side)[few])
    return len(side.times), side.times[few].tobytes(), values.dtype.str, values.tobytes()


def _are_equal(here: Side | None, there: Side | None) -> bool:
    if here is None or there is None:
        return here is there
    is_date = here.clock == A_DATE, there.clock == A_DATE
    arrays = (here.times, there.times), (here.values, there.values)
    return is_date[0] == is_date[1] and all(
        a.dtype == b.dtype and np.array_equal(a.view(np.uint8), b.view(np.uint8))
        for a, b in ((np.ascontiguousarray(x), np.ascontiguousarray(y)) for x, y in arrays)
    )


def _side_curve(side: Side | None, component: int) -> SideCurve | None:
    if side is None:
        return None
    matrix = _matrix(side)
    if component >= matrix.shape[1]:
        return None
    values = matrix[:, component]
    if values.dtype.kind != "c":
        return SideCurve(side.times, np.ascontiguousarray(values, np.float64), None)
    parts = (np.ascontiguousarray(part, np.float64) for part in (values.real, values.imag))
    return SideCurve(side.times, *parts)


def _aligned_curve(verdict: Verdict, aligned: Aligned, component: int) -> AlignedCurve | None:
    instants, at, _, difference, tolerance = aligned
    if not len(instants):
        return None
    rule = verdict.tolerance
    is_constant = rule is not None and rule.type == 0
    return AlignedCurve(
        np.ascontiguousarray(instants, np.float64),
        None if at.dtype.kind == "c" else np.ascontiguousarray(at[:, component], np.float64),
        np.ascontiguousarray(difference[:, component]),
        None if tolerance is None else np.ascontiguousarray(tolerance[:, component]),
        rule.absolute if rule is not None and is_constant else None,
        rule.relative if rule is not None and is_constant else None,
    )


def _marks(verdict: Verdict) -> Array:
    """The times whose samples are always kept: the worst one, and both ends of what is out."""
    marks = [time for one in verdict.intervals for time in (one.first, one.last)]
    times = verdict.first_out, verdict.last_out, verdict.max_difference_time
    marks += [time for time in times if time is not None]
    if verdict.worst is not None:
        marks.append(verdict.worst.time)
    return np.unique(np.array(marks, np.float64))
