#!/usr/bin/python3
"""What thinning a long curve costs, beside the least that anything could do.

Run with the package kvr on the path; scripts/bench does. Prints a dict for each repetition. Results
are checked before they are timed. Times are processor time in nanoseconds.

    build          Thinned of n samples
    one_pass       NumPy's lowest and highest of the same values, and lowest of the times
    window         a window over all samples in 1,000 columns, when the caches hold other data
    read_kept      NumPy reading the times and values of that window, likewise
    window_warm    the same window again
"""

import argparse
import json
import os
import statistics
import time
from typing import Callable

import numpy as np
from kvr._kvr import Thinned

TINY = "KVR_BENCH_TINY" in os.environ
SAMPLES = 10_000 if TINY else 10_000_000
COLUMNS = 10 if TINY else 1000
LARGER_THAN_CACHES = np.zeros(1000 if TINY else 20_000_000)


def spent(call: Callable[[], object]) -> float:
    """Nanoseconds of one call."""
    begin = time.process_time()
    call()
    return (time.process_time() - begin) * 1e9


def spent_cold(call: Callable[[], object]) -> float:
    """The median of a few calls, each after the caches were filled with other data."""
    found = []
    for _ in range(5):
        LARGER_THAN_CACHES.sum()
        found.append(spent(call))
    return statistics.median(found)


def cases() -> dict[str, float]:
    random = np.random.default_rng(1)
    times = np.cumsum(0.5 + random.random(SAMPLES))
    values = np.cumsum(random.random(SAMPLES) - 0.5)
    thinned = Thinned(times, values)
    assert thinned.extremes(0, SAMPLES - 1) == (values.argmin(), values.argmax())

    def window() -> object:
        return thinned.window(times[0], times[-1], COLUMNS)

    kept = thinned.window(times[0], times[-1], COLUMNS)
    assert 3 * COLUMNS <= len(kept) <= 4 * COLUMNS
    return {
        "build": min(spent(lambda: Thinned(times, values)) for _ in range(5)),
        "one_pass": min(spent(lambda: (times.min(), values.min(), values.max())) for _ in range(5)),
        "window": spent_cold(window),
        "read_kept": spent_cold(lambda: (times[kept], values[kept])),
        "window_warm": min(spent(window) for _ in range(5)),
    }


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--repetitions", type=int, default=1)
    options = parser.parse_args()
    print(json.dumps([cases() for _ in range(options.repetitions)], indent=1))


if __name__ == "__main__":
    main()
