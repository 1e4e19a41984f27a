#!/usr/bin/python3
"""What campaigns cost beyond their comparisons, and what a second worker brings.

Run with the package kvr on the path; scripts/bench does. Prints a dict for each repetition. Every
result is checked before it is counted. Times are clock time in nanoseconds, from the call to the last
result, with the workers' start: other load on the machine shows.

    pairs_1, pairs_2      pairs of 20 ms, by 1 or 2 processes
    beyond_pool           a pair of 5 ms, by 1 process: what it takes beyond its comparison
    beyond_cluster        the same by one worker of a cluster
    pair_1, pair_2        one pair of 1e4 signals of 1,000 samples, by 1 or 2 processes; starting a
                          process takes as long as half of the comparison
    pair_cluster_1, pair_cluster_2
                          the same by 1 or 2 workers of a cluster, which are there already
    tiny                  a pair of a few bytes, by 2 processes, with a results file
    tiny_memory           of the caller meanwhile, at most, in bytes
    again                 the same campaign started again when it is finished

KVR_BENCH_FULL in the environment has more pairs, and 1e5 tiny ones.
"""

from __future__ import annotations

import argparse
import json
import os
import subprocess
import sys
import tempfile
import time
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import kvr
import numpy as np

TINY = "KVR_BENCH_TINY" in os.environ
FULL = "KVR_BENCH_FULL" in os.environ
Pairs = list[tuple[str, str]]


def sized(small: int, full: int) -> int:
    return 4 if TINY else full if FULL else small


def recordings(folder: Path, name: str, signals: int, samples: int) -> tuple[str, str]:
    """Two recordings of as many signals, all within."""
    store = kvr.Store()
    run = store.new_run("Monday")
    times = np.arange(float(samples))
    for number in range(signals):
        values = np.sin(times * 0.001 + number)
        run.add(f"signal {number}", values, time=times, path=f"model/block {number}")
    sides = tuple(str(folder / f"{name} {side}.kvr") for side in ("base", "other"))
    for side in sides:
        run.save(side)
    store.clear()
    return sides[0], sides[1]


def pair_that_takes(folder: Path, seconds: float) -> tuple[str, str]:
    """A pair whose comparison takes about so long here."""
    samples = 100_000
    for attempt in range(3):
        pair = recordings(folder, f"{seconds} {attempt}", 10, 64 if TINY else samples)
        took = min(result.seconds for result in kvr.campaign([pair] * 9, jobs=1))
        if TINY or 0.9 < took / seconds < 1.1:
            break
        samples = int(samples * seconds / took)
    return pair


def run(pairs: Pairs, **options: Any) -> tuple[float, float]:
    """Nanoseconds of a campaign in which all pass, and those of its comparisons."""
    began = time.perf_counter()
    spent, count = 0.0, 0
    for result in kvr.campaign(pairs, **options):
        assert result.passed, result
        spent += result.seconds
        count += 1
    assert count == len(pairs)
    return (time.perf_counter() - began) * 1e9, spent * 1e9


@contextmanager
def cluster(folder: Path, workers: int, *arguments: str) -> Iterator[Any]:
    """The client of a scheduler and workers that are processes of their own."""
    import distributed

    file = str(folder / "scheduler.json")
    quiet = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
    common = ["--host", "127.0.0.1", "--no-dashboard", "--scheduler-file", file]
    start = [sys.executable, "-m"]
    commands = [[*start, "distributed.cli.dask_scheduler", "--port", "0", *common]]
    for _ in range(workers):
        place = ["--nthreads", "1", "--local-directory", str(folder), *arguments]
        commands.append([*start, "distributed.cli.dask_worker", *place, *common])
    processes = [subprocess.Popen(command, **quiet) for command in commands]
    try:
        with distributed.Client(scheduler_file=file) as client:
            client.wait_for_workers(workers)
            yield client
    finally:
        for process in reversed(processes):
            process.terminate()
            process.wait()


def processes_of(program: str) -> list[int]:
    """Of this process's children, those that run the program."""
    lists = [path.read_text() for path in Path("/proc/self/task").glob("*/children")]
    children = [int(pid) for text in lists for pid in text.split()]
    return [pid for pid in children if program in Path(f"/proc/{pid}/cmdline").read_text()]


def two_workers(folder: Path) -> dict[str, float]:
    pairs = [pair_that_takes(folder, 0.02)] * sized(200, 1000)
    cases = {f"pairs_{jobs}": run(pairs, jobs=jobs)[0] for jobs in (1, 2)}
    large = [recordings(folder, "large", sized(10_000, 10_000), 1000)]
    cases |= {f"pair_{jobs}": run(large, jobs=jobs)[0] for jobs in (1, 2)}
    for workers in (1, 2):
        place = folder / f"cluster {workers}"
        place.mkdir()
        with cluster(place, workers) as client:
            run(large, client=client)  # the workers have imported what they need
            spent = []
            for _ in range(3):
                os.utime(large[0][0])  # workers keep what they opened for some seconds
                spent.append(run(large, client=client)[0])
            cases[f"pair_cluster_{workers}"] = min(spent)
    return cases


def beyond(folder: Path) -> dict[str, float]:
    pairs = [pair_that_takes(folder, 0.005)] * sized(1000, 10_000)
    whole, spent = run(pairs, jobs=1)
    cases = {"beyond_pool": (whole - spent) / len(pairs)}
    with cluster(folder, 1) as client:
        run(pairs[:20], client=client)  # the worker has imported what it needs
        whole, spent = run(pairs, client=client)
    return cases | {"beyond_cluster": (whole - spent) / len(pairs)}


def tiny(folder: Path) -> dict[str, float]:
    """In a process of its own, whose memory is that of the campaign."""
    count = sized(10_000, 100_000)
    for side in ("b", "o"):
        (folder / side).mkdir()
        for number in range(count):
            first = number - number % 1000  # file systems allow so many links of a file
            path = folder / side / f"{number}.csv"
            if number == first:
                path.write_text("time,speed\n0,1\n1,2\n")
            else:
                os.link(folder / side / f"{first}.csv", path)
    command = [sys.executable, __file__, "--tiny", str(folder), str(count)]
    cases = {}
    for name in ("tiny", "again"):
        output = subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout
        nanoseconds, memory = json.loads(output)
        cases[name] = nanoseconds / count if name == "tiny" else nanoseconds
        if name == "tiny":
            cases["tiny_memory"] = memory
    return cases


def peak_memory() -> int:
    """Bytes that this program held at most; getrusage also counts the process that started it."""
    status = Path("/proc/self/status").read_text()
    (line,) = (line for line in status.splitlines() if line.startswith("VmHWM:"))
    return int(line.split()[1]) * 1024


def run_tiny(folder: str, count: int) -> None:
    pairs = [(f"{folder}/b/{number}.csv", f"{folder}/o/{number}.csv") for number in range(count)]
    nanoseconds, _ = run(pairs, jobs=2, results=f"{folder}/results.jsonl")
    print(json.dumps([nanoseconds, peak_memory()]))


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--repetitions", type=int, default=1)
    parser.add_argument("--tiny", nargs=2, metavar=("FOLDER", "COUNT"))
    parser.add_argument("--only", default="", help="of two_workers, beyond and tiny")
    options = parser.parse_args()
    if options.tiny:
        run_tiny(options.tiny[0], int(options.tiny[1]))
        return
    samples = []
    for _ in range(options.repetitions):
        cases: dict[str, float] = {}
        for measure in (two_workers, beyond, tiny):
            if options.only in measure.__name__:
                with tempfile.TemporaryDirectory() as folder:
                    cases |= measure(Path(folder))
        samples.append(cases)
    print(json.dumps(samples, indent=1))


if __name__ == "__main__":
    main()
