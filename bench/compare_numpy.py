#!/usr/bin/python3
"""The same comparisons as compare_bench, written with NumPy: seconds a sample of one side.

compare_numpy.py [SAMPLES] prints a line per case: its name and nanoseconds. The arrays are made as
those of compare_bench are: times that rise by 0.5 to 1.5, values that wander by up to 0.1.
"""

import sys
import time
from typing import Callable

import numpy as np
import numpy.typing as npt

Doubles = npt.NDArray[np.float64]
Case = Callable[[Doubles, Doubles, Doubles, Doubles], int]
REPETITIONS = 3
TOLERANCE = 0.3


def out_of(baseline: Doubles, other: Doubles) -> int:
    difference = np.abs(baseline - other)
    equal = baseline == other
    return int(np.count_nonzero(~(equal | (difference <= TOLERANCE))))


def within_span(instants: Doubles, tf: Doubles, tg: Doubles) -> Doubles:
    start, end = max(tf[0], tg[0]), min(tf[-1], tg[-1])
    inside: Doubles = instants[(instants >= start) & (instants <= end)]
    return inside


def held(instants: Doubles, times: Doubles, values: Doubles) -> Doubles:
    found: Doubles = values[np.searchsorted(times, instants, side="right") - 1]
    return found


def union_linear(tf: Doubles, f: Doubles, tg: Doubles, g: Doubles) -> int:
    instants = within_span(np.union1d(tf, tg), tf, tg)
    return out_of(np.interp(instants, tf, f), np.interp(instants, tg, g))


def union_zoh(tf: Doubles, f: Doubles, tg: Doubles, g: Doubles) -> int:
    instants = within_span(np.union1d(tf, tg), tf, tg)
    return out_of(held(instants, tf, f), held(instants, tg, g))


def intersection(tf: Doubles, f: Doubles, tg: Doubles, g: Doubles) -> int:
    _, in_f, in_g = np.intersect1d(tf, tg, return_indices=True)
    return out_of(f[in_f], g[in_g])


def uniform(tf: Doubles, f: Doubles, tg: Doubles, g: Doubles) -> int:
    start, end = max(tf[0], tg[0]), min(tf[-1], tg[-1])
    instants = start + np.arange(int(end - start) + 1)
    return out_of(held(instants, tf, f), held(instants, tg, g))


def uniform_linear(tf: Doubles, f: Doubles, tg: Doubles, g: Doubles) -> int:
    start, end = max(tf[0], tg[0]), min(tf[-1], tg[-1])
    instants = start + np.arange(int(end - start) + 1)
    return out_of(np.interp(instants, tf, f), np.interp(instants, tg, g))


def different_times(count: int) -> tuple[Doubles, Doubles, Doubles, Doubles]:
    random = np.random.default_rng(1)
    tf = np.cumsum(0.5 + random.random(count))
    tg = np.cumsum(0.5 + random.random(count))
    return (
        tf,
        np.sin(tf * 0.001) + 0.1 * random.random(count),
        tg,
        np.sin(tg * 0.001) + 0.1 * random.random(count),
    )


def every_other_time(count: int) -> tuple[Doubles, Doubles, Doubles, Doubles]:
    random = np.random.default_rng(1)
    tf = np.arange(count, dtype=np.float64)
    tg = tf + np.where(np.arange(count) % 2 == 0, 0.0, 0.5 * random.random(count))
    return (
        tf,
        np.sin(tf * 0.001) + 0.1 * random.random(count),
        tg,
        np.sin(tg * 0.001) + 0.1 * random.random(count),
    )


def nanoseconds(
    case: Case, arrays: tuple[Doubles, Doubles, Doubles, Doubles], repetitions: int = REPETITIONS
) -> float:
    """The best processor time of a few, a sample of one side."""
    best = float("inf")
    for _ in range(repetitions):
        begin = time.process_time()
        if case(*arrays) != 0:
            sys.exit(f"{case.__name__}: values out of tolerance")
        best = min(best, time.process_time() - begin)
    return best / len(arrays[0]) * 1e9


def main() -> None:
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 10_000_000
    for case in (union_linear, union_zoh, uniform, uniform_linear):
        print(f"numpy/{case.__name__} {nanoseconds(case, different_times(count)):.1f}", flush=True)
    print(f"numpy/intersection {nanoseconds(intersection, every_other_time(count)):.1f}")


if __name__ == "__main__":
    main()
