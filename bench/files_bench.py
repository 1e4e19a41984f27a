#!/usr/bin/python3
"""The cost of reading files through kvr, beside other libraries reading the same files.

Run with the package kvr on the path. Prints a list with a dict for each repetition. Every result is
checked before it is timed. Times are processor time in nanoseconds.

    csv_kvr, csv_pandas        a CSV file of 100 columns of 1e5 rows, all values
    csv_pandas_exact           the same with numbers as exact as those of kvr
    ngspice_kvr, ngspice_numpy a binary raw file of 100 variables of 1e5 points, all values; numpy
                               reads it as one array and copies the columns
    hdf5_kvr, hdf5_h5py        100 datasets of 1e5 values with one scale, opened and read
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


def spent(read: Read) -> float:
    begin = time.process_time()
    read()
    return (time.process_time() - begin) * 1e9


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--repetitions", type=int, default=1)
    options = parser.parse_args()
    table = np.random.default_rng(1).random((ROWS, COLUMNS + 1))
    table[:, 0] = np.arange(ROWS)
    with tempfile.TemporaryDirectory() as folder:
        cases: dict[str, Read] = {}
        for make in (csv_cases, ngspice_cases, hdf5_cases):
            cases |= make(folder, table)
        for name, read in cases.items():
            off = 1e-10 if name == "csv_pandas" else 0  # its numbers are not exact
            np.testing.assert_allclose(read(), table[:, 1:].T, rtol=off)
        samples = []
        for _ in range(options.repetitions):
            rounds = [{name: spent(read) for name, read in cases.items()} for _ in range(ROUNDS)]
            samples.append({name: min(one[name] for one in rounds) for name in cases})
    print(json.dumps(samples, indent=1))


if __name__ == "__main__":
    main()
