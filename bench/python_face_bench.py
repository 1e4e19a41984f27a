#!/usr/bin/python3
"""What a call from Python costs, beside a bare pybind11 method without arguments.

Run with the package and the module bare_pybind on the path; scripts/bench does. Times are processor
time in nanoseconds, from repetitions in which all cases take turns.

    bare            a method without arguments, bound with pybind11
    no_argument     a method without arguments: getCount of a map
    map_get         getDataByKey, a double by a text key
    get_signal      getSignal by id among n signals, a dict of 19 fields
    failing_lookup  getDataByKey of a missing key, raised and caught
    add_1000        add of a series of 1000 samples
    dict_get        a look-up in a dict, by a method call
    sqlite_select   a select of 19 columns by id among n rows, in memory, with Python's sqlite3
"""

import argparse
import json
import os
import sqlite3
import time
import timeit

import bare_pybind
import numpy as np
import vormel
from vormel.Dravik.kvr import Map, SignalRepository

SAMPLES = 1000
COLUMNS = 19


def series():
    return vormel.timeseries(np.arange(float(SAMPLES)), np.arange(float(SAMPLES)))


def signal_arguments(run, number, values):
    """The 17 arguments of add."""
    return (None, run, f"root/{number}", f"time/{number}", f"recorder/data/{number}", values,
            "model/subsystem/block", "model", f"signal {number}", 1, [1], 1, [1], f"sid:{number}",
            None, None, f"recorder/data/{number}")  # fmt: skip


def filled_repository(count):
    repo = SignalRepository()
    run = repo.createEmptyRun("bench", 1)
    values = vormel.timeseries(0.0, 0.0)
    ids = [repo.add(*signal_arguments(run, number, values)) for number in range(count)]
    assert repo.getSignalCount() == count
    return repo, ids


def filled_database(count):
    database = sqlite3.connect(":memory:")
    columns = ", ".join(f"c{i} text" for i in range(1, COLUMNS))
    database.execute(f"create table signals(id integer primary key, {columns})")
    marks = ", ".join("?" * COLUMNS)
    rows = ((number, *[f"recorder/data/{number}"] * (COLUMNS - 1)) for number in range(count))
    database.executemany(f"insert into signals values ({marks})", rows)
    return database


class Renewed:
    """Gives the arguments of add for a new run, and removes the run that it gave before."""

    def __init__(self, repo, values):
        self.repo, self.values, self.run = repo, values, None

    def __call__(self):
        if self.run is not None:
            self.repo.removeRun(self.run)
        self.run = self.repo.createEmptyRun("series", 1)
        return signal_arguments(self.run, 0, self.values)


SETUPS = {"add_1000": "arguments = renewed()"}
MOST_TIMES = {"add_1000": 2000}  # as the native benchmark: the samples are to fit what was freed

FAILING_LOOKUP = """
try:
    get("missing")
except Error:
    pass
"""


def cases(count):
    """Of each case the statement to time and the names in it and in its set-up."""
    entries = Map("k", 1.0)
    entries.insert("a", 2.0)
    assert entries.getDataByKey("a") == 2.0 and not entries.isKey("missing")
    repo, ids = filled_repository(count)
    asked = np.int32(ids[count // 2])
    assert len(repo.getSignal(asked)) == COLUMNS
    select = f"select * from signals where id = {count // 2}"
    return {
        "bare": ("call()", {"call": bare_pybind.Counter().getCount}),
        "no_argument": ("call()", {"call": entries.getCount}),
        "map_get": ("get('a')", {"get": entries.getDataByKey}),
        "get_signal": ("get(asked)", {"get": repo.getSignal, "asked": asked}),
        "failing_lookup": (FAILING_LOOKUP, {"get": entries.getDataByKey, "Error": vormel.Error}),
        "add_1000": ("add(*arguments)", {"add": repo.add, "renewed": Renewed(repo, series())}),
        "dict_get": ("get('a')", {"get": {"a": 2.0}.get}),
        "sqlite_select": (
            "execute(select).fetchone()",
            {"execute": filled_database(count).execute, "select": select},
        ),
    }


def samples(count, seconds, repetitions):
    """A dict for each repetition: of each case the nanoseconds that it takes once."""
    timers, numbers = {}, {}
    for name, (statement, names) in cases(count).items():
        setup = SETUPS.get(name, "pass")
        timers[name] = timeit.Timer(statement, setup, time.process_time, names)
        once = max(timers[name].timeit(10) / 10, 1e-8)
        numbers[name] = min(max(int(seconds / once), 1), MOST_TIMES.get(name, 10**9))
        timers[name].timeit(numbers[name])  # warms up
    return [
        {name: timer.timeit(numbers[name]) / numbers[name] * 1e9 for name, timer in timers.items()}
        for _ in range(repetitions)
    ]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--signals", type=int, default=100_000)
    parser.add_argument("--seconds", type=float, default=0.05, help="of each call and repetition")
    parser.add_argument("--repetitions", type=int, default=5)
    options = parser.parse_args()
    tiny = "KVR_BENCH_TINY" in os.environ
    count = 64 if tiny else options.signals
    print(json.dumps(samples(count, options.seconds, options.repetitions), indent=1))


if __name__ == "__main__":
    main()
