#!/usr/bin/python3
"""Runs the benchmarks of a build tree and prints the figures with their limits and verdicts.

    report.py BUILD            the quick form, minutes
    report.py BUILD --full     more repetitions
    report.py BUILD --smoke    every benchmark once with tiny tables; prints no figures

A figure is a relation between benchmarks, such as this project to a peer. Its benchmarks take turns in one
process, each after a run that warms it up, and that in several new processes; what is shown is the
median of the relations. BUILD/bench/figures.json keeps them all, figures.md the table for a document.
Times are processor time.
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

FOLDER = os.path.dirname(os.path.abspath(__file__))
# As main.cpp has it for the native benchmarks.
KEEP_FREED_MEMORY = {
    "MALLOC_TRIM_THRESHOLD_": str(2**31 - 1),
    "MALLOC_MMAP_THRESHOLD_": str(32 << 20),
}
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


class Runner:
    """The benchmark programs of a build tree."""

    def __init__(self, build, min_time):
        self.build = build
        self.min_time = min_time

    def program(self, name, options):
        command = [os.path.join(self.build, "bench", name), *options]
        return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout

    def samples(self, program, names, repetitions):
        """Of each repetition: time of each benchmark, per entry if it counts entries; or its counter.

        NAME#COUNTER stands for that counter of the benchmark NAME.
        """
        plain = {name.split("#")[0] for name in names}
        pattern = "^(" + "|".join(map(re.escape, sorted(plain))) + ")(/iterations:.*)?$"
        options = [
            f"--benchmark_filter={pattern}",
            f"--benchmark_min_time={self.min_time}",
            f"--benchmark_min_warmup_time={self.min_time}",
            f"--benchmark_repetitions={repetitions}",
            "--benchmark_enable_random_interleaving=true",
            "--benchmark_format=json",
        ]
        samples = [{} for _ in range(repetitions)]
        for run in json.loads(self.program(program, options))["benchmarks"]:
            if run.get("error_occurred"):
                sys.exit(f"{run['name']}: {run['error_message']}")
            if run["run_type"] != "iteration":
                continue  # a mean of the repetitions
            name = re.sub("/(iterations|repeats):.*", "", run["run_name"])
            values = samples[run["repetition_index"]]
            if "items_per_second" in run:
                values[name] = 1e9 / run["items_per_second"]
            else:
                values[name] = run["cpu_time"] * NANOSECONDS[run["time_unit"]]
            if "bytes_per_signal" in run:
                values[name] = run["bytes_per_signal"]
            for counter in ("peak_bytes", "percent"):
                if counter in run:
                    values[f"{name}#{counter}"] = run[counter]
        missing = set(names) - set(samples[-1])
        if missing:
            sys.exit(f"no benchmark in {program}: {', '.join(sorted(missing))}")
        return samples

    def python_samples(self, prefix, repetitions):
        """Of each repetition: time of each case of the Python program whose names begin so."""
        options = [f"--repetitions={repetitions}"]
        if prefix == figures.PYTHON:
            options.append(f"--seconds={self.min_time}")
        path = os.pathsep.join(os.path.join(self.build, part) for part in ("python", "bench"))
        command = ["/usr/bin/python3", os.path.join(FOLDER, figures.PYTHON_PROGRAMS[prefix])]
        environment = dict(os.environ, PYTHONPATH=path, **KEEP_FREED_MEMORY)
        done = subprocess.run(
            [*command, *options], check=True, stdout=subprocess.PIPE, env=environment
        )
        samples = json.loads(done.stdout)
        return [{prefix + name: value for name, value in one.items()} for one in samples]


def prefix_of(name):
    """What the name of a Python case begins with; None for a native benchmark."""
    return next((prefix for prefix in figures.PYTHON_PROGRAMS if name.startswith(prefix)), None)


def measure(runner, rows, rounds, repetitions, progress):
    """Of each row the values of its figure, one a repetition."""
    values = {row: [] for row in rows}
    for number in range(rounds):
        python = {}
        shared = {}
        for row in rows:
            if number >= (row.rounds or rounds):
                continue
            progress(f"round {number + 1} of {rounds}: {row.operation}")
            often = row.repetitions or (1 if row.rounds else repetitions)
            samples = [{} for _ in range(often)]
            native = [name for name in row.names if prefix_of(name) is None]
            if row.together:
                if row.together not in shared:
                    shared[row.together] = runner.samples(row.program, row.together, often)
                samples = shared[row.together]
            elif native:
                samples = runner.samples(row.program, native, often)
            for prefix in {prefix_of(name) for name in row.names} - {None}:
                if prefix not in python:
                    python[prefix] = runner.python_samples(prefix, often)
                for sample, more in zip(samples, python[prefix]):
                    sample.update(more)
            values[row] += [row.value(sample) for sample in samples]
    return values


def load():
    return f"{os.getloadavg()[0]:.1f}"


def machine(form):
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        model = next((line for line in info if line.startswith("model name")), ": unknown")
    return {
        "form": form,
        "date": datetime.datetime.now().isoformat(sep=" ", timespec="minutes"),
        "processor": model.split(":", 1)[1].strip(),
        "cores": os.cpu_count(),
        "system": " ".join((os.uname().sysname, os.uname().release)),
        "python": "Python " + sys.version.split()[0],
        "load at start": load(),
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


# The multiples that a value of a unit is shown in, largest first.
MULTIPLES = {
    "ns": (("s", 1e9), ("ms", 1e6), ("us", 1e3), ("ns", 1)),
    "B": (("MB", 1e6), ("KB", 1e3), ("B", 1)),
    "%": (("%", 1),),
}


def quantity(value, unit):
    """A value to three digits, in a multiple of its unit that has few of them before the point."""
    if unit == "x":
        return f"{value:#.3g}" if 0.001 <= abs(value) < 1000 else f"{value:.1g}"
    sizes = MULTIPLES[unit]
    name, size = next((pair for pair in sizes if abs(value) >= pair[1]), sizes[-1])
    return f"{value / size:.4g} {name}" if unit == "%" else f"{value / size:.3g} {name}"


def shown(row):
    """A row of the table as texts: operation, at, is, at most, verdict, what it relates to."""
    value, limit = (quantity(row[key], row["unit"]) for key in ("is", "limit"))
    return (row["operation"], row["at"], value, limit, row["verdict"], row["figure"])


def print_table(table):
    layout = "{:<42} {:<23} {:>9}  {:>8}  {:<8}  {}"
    print(layout.format("operation", "at", "is", "at most", "", "of"))
    for row in table:
        print(layout.format(*shown(row)))
    print(count_of_reached(table))


def count_of_reached(table):
    reached = sum(row["verdict"] == "reached" for row in table)
    return f"{reached} of {len(table)} figures reached"


def write_document(path, facts, table):
    """The table and where it comes from, for a Markdown document."""
    with open(path, "w", encoding="utf-8") as file:
        print(f"\n{facts['form'].capitalize()} form, {facts['date']}, on {facts['processor']}, "
              f"{facts['cores']} cores, {facts['system']}, {facts['python']}; load "
              f"{facts['load at start']} at the start, {facts['load at end']} at the end. "
              f"{count_of_reached(table)}.\n", file=file)  # fmt: skip
        print("| operation | at | is | at most | |\n|---|---|---|---|---|", file=file)
        for row in table:
            print("| " + " | ".join(shown(row)[:5]) + " |", file=file)
        print(file=file)


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
    count += sum(len(runner.python_samples(prefix, 1)[0]) for prefix in figures.PYTHON_PROGRAMS)
    for row in figures.rows(False) + figures.rows(True):
        shown(*results({row: [row.limit]}))  # every unit has its form
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
    rounds, repetitions, min_time = (5, 4, 0.1) if options.full else (2, 3, 0.02)
    if options.full:
        os.environ["KVR_BENCH_FULL"] = "1"
    facts = machine("full" if options.full else "quick")
    rows = [row for row in figures.rows(options.full) if options.only in row.operation]
    runner = Runner(options.build, min_time)
    values = measure(runner, rows, rounds, repetitions, show_progress)
    show_progress("")
    table = results(values)
    facts["load at end"] = load()
    path = os.path.join(options.build, "bench", "figures")
    with open(path + ".json", "w", encoding="utf-8") as file:
        json.dump({"machine": facts, "figures": table}, file, indent=1)
    print(", ".join(f"{name}: {value}" for name, value in facts.items()))
    print_table(table)
    write_document(path + ".md", facts, table)
    print(f"all values: {path}.json")


if __name__ == "__main__":
    main()
