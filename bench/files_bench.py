#!/usr/bin/python3
"""The cost of reading and writing files through kvr, beside other libraries doing the same.

Run with the package kvr on the path. Prints a list with a dict for each repetition. Every result is
checked before it is timed. Times are processor time in nanoseconds.

    csv_kvr, csv_pandas        a CSV file of 100 columns of 1e5 rows, all values
    csv_pandas_exact           the same with numbers as exact as those of kvr
    ngspice_kvr, ngspice_numpy a binary raw file of 100 variables of 1e5 points, all values; numpy
                               reads it as one array and copies the columns
    hdf5_kvr, hdf5_h5py        100 datasets of 1e5 values with one scale, opened and read
    save_kvr, save_h5py        1e4 signals of 1,000 values saved from memory: a recording, and a file
                               with one dataset a signal
    load_kvr, load_h5py        reading all values of these files
    compare_recordings         kvr.compare of two recordings, 200 signals of 1e5 values on one time
                               base, in one thread
    read_recordings            reading the times and values of both
"""

import argparse
import json
import os
import tempfile
import time
from typing import Callable

import h5py
import kvr
import numpy as np
import numpy.typing as npt
import pandas

TINY = "KVR_BENCH_TINY" in os.environ
COLUMNS = 100
ROWS = 64 if TINY else 100_000
ROUNDS = 1 if TINY else 3

Table = npt.NDArray[np.float64]
Read = Callable[[], list[Table]]
Step = Callable[[], object]

SIGNALS, SAMPLES = (20, 10) if TINY else (10_000, 1000)
LONG_SIGNALS, LONG_SAMPLES = (4, 10) if TINY else (200, 100_000)


def kvr_columns(path: str) -> list[Table]:
    with kvr.open(path) as recording:
        (run,) = recording.runs
        return [signal.values for signal in run]


def csv_cases(folder: str, table: Table) -> dict[str, Read]:
    path = os.path.join(folder, "a.csv")
    names = ["time", *(f"s{i}" for i in range(COLUMNS))]
    pandas.DataFrame(table, columns=names).to_csv(path, index=False)

    def with_pandas(**options: str) -> list[Table]:
        frame = pandas.read_csv(path, **options)
        return [frame[name].to_numpy() for name in names[1:]]

    return {
        "csv_kvr": lambda: kvr_columns(path),
        "csv_pandas": with_pandas,
        "csv_pandas_exact": lambda: with_pandas(float_precision="round_trip"),
    }


def ngspice_cases(folder: str, table: Table) -> dict[str, Read]:
    path = os.path.join(folder, "a.raw")
    lines = ["Title: a", "Plotname: Transient Analysis", "Flags: real"]
    lines += [f"No. Variables: {COLUMNS + 1}", f"No. Points: {len(table)}", "Variables:"]
    lines += ["\t0\ttime\ttime", *(f"\t{i + 1}\tv({i})\tvoltage" for i in range(COLUMNS))]
    header = "\n".join([*lines, "Binary:", ""]).encode()
    with open(path, "wb") as file:
        file.write(header)
        file.write(table.tobytes())

    def with_numpy() -> list[Table]:
        values = np.fromfile(path, float, offset=len(header)).reshape(-1, COLUMNS + 1)
        return [values[:, place].copy() for place in range(1, COLUMNS + 1)]

    return {"ngspice_kvr": lambda: kvr_columns(path), "ngspice_numpy": with_numpy}


def hdf5_cases(folder: str, table: Table) -> dict[str, Read]:
    path = os.path.join(folder, "a.h5")
    with h5py.File(path, "w", track_order=True) as file:
        file["time"] = table[:, 0]
        file["time"].make_scale("time")
        for place in range(COLUMNS):
            item = file.create_dataset(f"s{place:03}", data=table[:, place + 1])
            item.dims[0].attach_scale(file["time"])

    def with_h5py() -> list[Table]:
        with h5py.File(path) as file:
            return [file[name][()] for name in file if name != "time"]

    return {"hdf5_kvr": lambda: kvr_columns(path), "hdf5_h5py": with_h5py}


def saved_run(path: str, table: Table, shift: float = 0.0) -> kvr.Run:
    """A run of the store with the rows of the table, saved in the file too."""
    run = kvr.Store().new_run("bench")
    times = np.arange(float(table.shape[1]))
    for number, row in enumerate(table):
        run.add(f"s{number:05}", row + shift, times)
    run.save(path)
    return run


def small_signal_cases(folder: str) -> dict[str, Step]:
    table = np.random.default_rng(2).random((SIGNALS, SAMPLES))
    ours, theirs = os.path.join(folder, "small.kvr"), os.path.join(folder, "small.h5")
    run = saved_run(ours, table)

    def save_with_h5py() -> None:
        with h5py.File(theirs, "w") as file:
            file["time"] = np.arange(float(SAMPLES))
            for number, row in enumerate(table):
                file[f"s{number:05}"] = row

    def load_with_h5py() -> list[Table]:
        with h5py.File(theirs) as file:
            return [file[name][()] for name in file if name != "time"]

    save_with_h5py()
    for found in (kvr_columns(ours), load_with_h5py()):
        np.testing.assert_array_equal(found, table)
    return {
        "save_kvr": lambda: run.save(ours),
        "save_h5py": save_with_h5py,
        "load_kvr": lambda: kvr_columns(ours),
        "load_h5py": load_with_h5py,
    }


def recording_cases(folder: str) -> dict[str, Step]:
    table = np.random.default_rng(3).random((LONG_SIGNALS, LONG_SAMPLES))
    paths = [os.path.join(folder, name) for name in ("a.kvr", "b.kvr")]
    for path, shift in zip(paths, (0.0, 0.25)):
        saved_run(path, table, shift).remove()

    def compare() -> kvr.Comparison:
        return kvr.compare(*paths, tolerance=kvr.Tolerance(0.5), threads=1)

    def read() -> int:
        values = 0
        for path in paths:
            with kvr.open(path) as recording:
                for signal in recording.runs[0]:
                    values += signal.time.size + signal.values.size
        return values

    found = compare()
    assert found.passed and found.compared == LONG_SIGNALS
    assert found["s00001"].max_difference > 0.2
    assert read() == 4 * table.size
    return {"compare_recordings": compare, "read_recordings": read}


def spent(step: Step) -> float:
    begin = time.process_time()
    step()
    return (time.process_time() - begin) * 1e9


def memory_folder() -> str | None:
    """A folder in memory, if there is one: the disk is the same for all cases."""
    return "/dev/shm" if os.access("/dev/shm", os.W_OK) else None


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--repetitions", type=int, default=1)
    options = parser.parse_args()
    table = np.random.default_rng(1).random((ROWS, COLUMNS + 1))
    table[:, 0] = np.arange(ROWS)
    with tempfile.TemporaryDirectory(dir=memory_folder()) as folder:
        reads: dict[str, Read] = {}
        for make in (csv_cases, ngspice_cases, hdf5_cases):
            reads |= make(folder, table)
        for name, read in reads.items():
            off = 1e-10 if name == "csv_pandas" else 0  # its numbers are not exact
            np.testing.assert_allclose(read(), table[:, 1:].T, rtol=off)
        cases: dict[str, Step] = {**reads, **small_signal_cases(folder), **recording_cases(folder)}
        samples = []
        for _ in range(options.repetitions):
            rounds = [{name: spent(step) for name, step in cases.items()} for _ in range(ROUNDS)]
            samples.append({name: min(one[name] for one in rounds) for name in cases})
    print(json.dumps(samples, indent=1))


if __name__ == "__main__":
    main()
