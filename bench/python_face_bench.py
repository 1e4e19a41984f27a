#!/usr/bin/python3
"""What a call from Python costs, beside a bare pybind11 function without arguments.

Run with the package on the path:  PYTHONPATH=build/release/python bench/python_face_bench.py [n]

    no_argument     a method without arguments: getCount of a map
    map_get         getDataByKey, a double by a text key
    get_signal      getSignal by id, a dict of 19 fields
    failing_lookup  getDataByKey of a missing key, raised and caught
    add_1000        add of a series of 1000 samples
"""

import sys
import time
import timeit

import numpy as np
import vormel
from vormel import _vormel
from vormel.Dravik.kvr import Map, SignalRepository

SAMPLES = 1000


def signal_arguments(run, series):
    """The 17 arguments of add."""
    return (None, run, "root", "time", "data", series, "block", "model", "label",
            1, [1], 1, [1], "sid", None, None, "root")  # fmt: skip


def fail(entries):
    try:
        entries.getDataByKey("missing")
    except vormel.Error:
        pass


def cases():
    entries = Map("k", 1.0)
    entries.insert("a", 2.0)
    repo = SignalRepository()
    run = repo.createEmptyRun("bench", 1)
    series = vormel.timeseries(np.arange(float(SAMPLES)), np.arange(float(SAMPLES)))
    yield "no_argument", entries.getCount
    yield "map_get", lambda: entries.getDataByKey("a")
    yield "failing_lookup", lambda: fail(entries)
    arguments = signal_arguments(run, series)
    signal = repo.add(*arguments)
    handle = np.int32(signal)
    yield "get_signal", lambda: repo.getSignal(handle)
    yield "add_1000", lambda: repo.add(*arguments)


def nanoseconds(call, number):
    seconds = timeit.repeat(call, number=number, repeat=7, timer=time.process_time)
    return min(seconds) / number * 1e9


def main():
    number = int(sys.argv[1]) if len(sys.argv) > 1 else 20_000
    bare = nanoseconds(_vormel.has_modules, number)
    print(f"{'call':<16}{'ns':>10}{'x bare':>10}")
    print(f"{'bare':<16}{bare:>10.0f}{1:>10.2f}")
    for name, call in cases():
        cost = nanoseconds(call, number)
        print(f"{name:<16}{cost:>10.0f}{cost / bare:>10.2f}")


if __name__ == "__main__":
    main()
