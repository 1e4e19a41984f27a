#!/usr/bin/python3
"""The cost of comparing from Python and as a command, beside other packages doing the same.

Run with the package kvr on the path; scripts/bench does. Prints a dict for each repetition. Every
result is checked before it is timed. Times are processor time in nanoseconds, but for the two cases
of threads, which are clock time.

    union_linear, union_zoh, uniform, intersection
                   of compare_numpy.py, a sample of one side
    pairs          kvr.compare of two runs of the store, n signals of 100 samples each: a pair
    threads_1, threads_2
                   the same with 1,000 signals of 1e4 samples on different times, by 1 or 2 threads,
                   in turns: the least of five
    csv_compare    kvr compare of two CSV files, 100 columns of 1e5 rows
    csv_pandas     pandas reading both of them
    help           the process kvr --help
    python         the process python3 -c pass
"""

import argparse
import json
import os
import resource
import subprocess
import sys
import tempfile
import time
from typing import Callable

import kvr
import numpy as np
import pandas
from kvr._command.main import main as command

import compare_numpy

TINY = "KVR_BENCH_TINY" in os.environ


def sized(size: int) -> int:
    return min(size, 64) if TINY else size


def spent(call: Callable[[], object], clock: Callable[[], float] = time.process_time) -> float:
    """Nanoseconds of one call."""
    begin = clock()
    call()
    return (clock() - begin) * 1e9


def children() -> float:
    """Processor time of the processes that were started and have ended."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def numpy_cases() -> dict[str, float]:
    """Each once: they take seconds, and vary little."""
    count = sized(10_000_000)
    different = compare_numpy.different_times(count)
    cases = {
        case.__name__: compare_numpy.nanoseconds(case, different, 1)
        for case in (compare_numpy.union_linear, compare_numpy.union_zoh, compare_numpy.uniform)
    }
    every_other = compare_numpy.every_other_time(count)
    cases["intersection"] = compare_numpy.nanoseconds(compare_numpy.intersection, every_other, 1)
    return cases


def two_runs(signals: int, samples: int, shift: float) -> tuple[kvr.Run, kvr.Run]:
    """Two runs of the store; the times of the second are later by the shift."""
    store = kvr.Store()
    time = np.arange(float(samples))
    runs = store.new_run("baseline"), store.new_run("other")
    for run, times in zip(runs, (time, time + shift)):
        for number in range(signals):
            values = np.sin(times * 0.001 + number)
            run.add(f"signal {number}", values, time=times, path=f"model/block {number}")
    return runs


def compared(runs: tuple[kvr.Run, kvr.Run], threads: int) -> kvr.Comparison:
    return kvr.compare(*runs, tolerance=kvr.Tolerance(0.1), coverage="common", threads=threads)


def store_cases() -> dict[str, float]:
    runs = two_runs(sized(10_000), 100, 0.0)
    found = compared(runs, 1)
    assert found.passed and found.compared == len(runs[0])
    cases = {"pairs": spent(lambda: compared(runs, 1)) / len(found)}
    kvr.Store().clear()
    runs = two_runs(sized(1000), sized(10_000), 0.25)
    assert compared(runs, 2).passed
    turns = [[elapsed(runs, threads) for threads in (1, 2)] for _ in range(5)]
    cases["threads_1"], cases["threads_2"] = map(min, zip(*turns))
    kvr.Store().clear()
    return cases


def elapsed(runs: tuple[kvr.Run, kvr.Run], threads: int) -> float:
    return spent(lambda: compared(runs, threads), time.perf_counter)


def csv_cases(folder: str) -> dict[str, float]:
    rows, columns = sized(100_000), sized(100)
    random = np.random.default_rng(1)
    values = random.random((rows, columns)).round(6)
    header = ",".join(["time", *(f"s{i}" for i in range(columns))])
    paths = [os.path.join(folder, name) for name in ("a.csv", "b.csv")]
    for path in paths:
        table = np.column_stack([np.arange(rows), values])
        np.savetxt(path, table, "%.6g", ",", header=header, comments="")
    options = ["compare", *paths, "--quiet"]
    assert command(options) == 0
    assert len(pandas.read_csv(paths[0])) == rows
    return {
        "csv_compare": spent(lambda: command(options)),
        "csv_pandas": spent(lambda: [pandas.read_csv(path) for path in paths]),
    }


def process_cases() -> dict[str, float]:
    helped = [sys.executable, "-m", "kvr", "--help"]
    plain = [sys.executable, "-c", "pass"]
    output = subprocess.run(helped, check=True, capture_output=True, text=True).stdout
    assert "compare two runs" in output
    return {
        name: min(
            spent(lambda: subprocess.run(line, check=True, stdout=subprocess.DEVNULL), children)
            for _ in range(5)
        )
        for name, line in (("help", helped), ("python", plain))
    }


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--repetitions", type=int, default=1)
    options = parser.parse_args()
    samples = []
    beside = numpy_cases()
    for _ in range(options.repetitions):
        with tempfile.TemporaryDirectory() as folder:
            samples.append({**beside, **store_cases(), **csv_cases(folder), **process_cases()})
    print(json.dumps(samples, indent=1))


if __name__ == "__main__":
    main()
