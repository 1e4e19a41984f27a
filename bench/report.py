#!/usr/bin/python3
"""Runs the benchmarks of a build tree and prints the figures that are aimed at, with a verdict each.

    report.py BUILD            the quick form, minutes
    report.py BUILD --full     more repetitions, larger sizes
    report.py BUILD --smoke    every benchmark once with tiny tables; prints no figures

A figure is a relation between benchmarks, such as ours to a peer. Its benchmarks run side by side in
one process, again and again in new processes; what is shown is the median of the relations, and the
JSON beside the table (BUILD/bench/figures.json) keeps them all. Times are processor time.
"""

import argparse
import datetime
import json
import os
import re
import statistics
import subprocess
import sys

import figures

PYTHON_BENCH = os.path.join(os.path.dirname(os.path.abspath(__file__)), "python_face_bench.py")
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


class Runner:
    """The benchmark programs of a build tree."""

    def __init__(self, build, min_time):
        self.build = build
        self.min_time = min_time

    def program(self, name, options):
        command = [os.path.join(self.build, "bench", name), *options]
        return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout

    def sample(self, program, names):
        """Time of each benchmark, per entry if it counts entries; and its counters."""
        pattern = "^(" + "|".join(re.escape(name) for name in names) + ")(/iterations:.*)?$"
        options = [
            f"--benchmark_filter={pattern}",
            f"--benchmark_min_time={self.min_time}",
            "--benchmark_format=json",
        ]
        values = {}
        for run in json.loads(self.program(program, options))["benchmarks"]:
            if run.get("error_occurred"):
                sys.exit(f"{run['name']}: {run['error_message']}")
            name = re.sub("/iterations:.*", "", run["name"])
            if "items_per_second" in run:
                values[name] = 1e9 / run["items_per_second"]
            else:
                values[name] = run["cpu_time"] * NANOSECONDS[run["time_unit"]]
            if "bytes_per_signal" in run:
                values[name] = run["bytes_per_signal"]
        missing = set(names) - set(values)
        if missing:
            sys.exit(f"no benchmark in {program}: {', '.join(sorted(missing))}")
        return values

    def python_samples(self, repetitions):
        options = [f"--seconds={self.min_time}", f"--repetitions={repetitions}"]
        path = os.pathsep.join(os.path.join(self.build, part) for part in ("python", "bench"))
        command = ["/usr/bin/python3", PYTHON_BENCH, *options]
        environment = dict(os.environ, PYTHONPATH=path)
        output = subprocess.run(command, check=True, stdout=subprocess.PIPE, env=environment).stdout
        return json.loads(output)


def measure(runner, rows, rounds, progress):
    """Of each row the values of its figure, one a round."""
    values = {row: [] for row in rows}
    for number in range(rounds):
        for row in rows:
            if number >= (row.rounds or rounds):
                continue
            progress(f"round {number + 1} of {rounds}: {row.operation}")
            sample = {}
            if any(name.startswith(figures.PYTHON) for name in row.names):
                python = measure.python.setdefault(number, None) or runner.python_samples(1)[0]
                measure.python[number] = python
                sample.update({figures.PYTHON + name: value for name, value in python.items()})
            native = [name for name in row.names if not name.startswith(figures.PYTHON)]
            if native:
                sample.update(runner.sample(row.program, native))
            values[row].append(row.value(sample))
    return values


measure.python = {}


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        model = next((line for line in info if line.startswith("model name")), ": unknown")
    return {
        "processor": model.split(":", 1)[1].strip(),
        "cores": os.cpu_count(),
        "load": [round(load, 1) for load in os.getloadavg()],
        "system": " ".join((os.uname().sysname, os.uname().release)),
        "date": datetime.datetime.now().isoformat(timespec="minutes"),
    }


def results(values):
    table = []
    for row, numbers in values.items():
        median = statistics.median(numbers)
        table.append(
            {
                "operation": row.operation,
                "at": row.at,
                "figure": row.figure,
                "limit": row.limit,
                "is": median,
                "unit": row.unit,
                "verdict": "reached" if median <= row.limit else "missed",
                "all": numbers,
            }
        )
    return table


def print_table(table):
    def line(*cells):
        print("{:<44} {:<12} {:>10}  {:>9} {:<8}  {}".format(*cells))

    line("operation", "at", "is", "at most", "", "of")
    for row in table:
        unit = {"x": " x", "ns": " ns", "B": " B"}[row["unit"]]
        shown = f"{row['is']:.4f}" if row["is"] < 0.01 else f"{row['is']:.2f}"
        line(
            row["operation"],
            row["at"],
            shown + unit,
            f"{row['limit']:g}{unit}",
            row["verdict"],
            row["figure"],
        )
    missed = sum(row["verdict"] == "missed" for row in table)
    print(f"{len(table) - missed} of {len(table)} figures reached")


def show_progress(text):
    if sys.stderr.isatty():
        print(f"\r\033[K{text}", end="", file=sys.stderr, flush=True)


def smoke(build):
    """Every benchmark, in tables so small that all take seconds together."""
    os.environ["KVR_BENCH_TINY"] = "1"
    runner = Runner(build, 0.0001)
    count = 0
    for program in figures.PROGRAMS:
        options = ["--benchmark_min_time=0.0001", "--benchmark_format=json"]
        runs = json.loads(runner.program(program, options))["benchmarks"]
        failed = [run["name"] for run in runs if run.get("error_occurred")]
        if failed or not runs:
            sys.exit(f"{program}: {', '.join(failed) or 'no benchmarks'}")
        count += len(runs)
    count += len(runner.python_samples(1)[0])
    print(f"bench: {count} benchmarks ran")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", help="a build tree with the target kvr_benchmarks built")
    form = parser.add_mutually_exclusive_group()
    form.add_argument("--full", action="store_true")
    form.add_argument("--smoke", action="store_true")
    parser.add_argument("--only", default="", help="rows whose operation contains this text")
    options = parser.parse_args()
    if options.smoke:
        return smoke(options.build)
    runner = Runner(options.build, 0.2 if options.full else 0.02)
    rows = [row for row in figures.rows(options.full) if options.only in row.operation]
    values = measure(runner, rows, 11 if options.full else 5, show_progress)
    show_progress("")
    table = results(values)
    facts = machine()
    print(", ".join(f"{name}: {value}" for name, value in facts.items()))
    print_table(table)
    path = os.path.join(options.build, "bench", "figures.json")
    with open(path, "w", encoding="utf-8") as file:
        json.dump({"machine": facts, "figures": table}, file, indent=1)
    print(f"all values: {path}")


if __name__ == "__main__":
    main()
