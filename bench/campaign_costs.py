#!/usr/bin/python3
"""Measures what the model of tools/simulate_campaign needs, and the campaigns that it is checked with.

    campaign_costs.py tools/simulate_campaign/costs.json

Run with the package kvr on the path. Costs are processor time, which other load changes little; the
campaigns are clock time, the least of two.
"""

from __future__ import annotations

import argparse
import json
import os
import pickle
import platform
import resource
import statistics
import tempfile
import time
import tracemalloc
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import kvr
from kvr._campaign import schedule, work
from kvr._campaign.journal import Journal
from kvr._campaign.results import PairResult, Summary
from kvr._comparing.verdict import STATUSES

from campaign_bench import Pairs, cluster, pair_that_takes, processes_of, recordings

_ROUNDS = 2
_TICKS = os.sysconf("SC_CLK_TCK")
_WAIT = "KVR_BENCH_WAIT"  # seconds that workers wait in place of comparing
_SUMMARY = Summary(dict.fromkeys(STATUSES, 0) | {"within": 10}, (), 0)


def used_by(pid: int) -> float:
    """Processor seconds of a process."""
    fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / _TICKS


@contextmanager
def pairs_at_most(count: int) -> Iterator[None]:
    before = schedule._MOST_PAIRS
    schedule._MOST_PAIRS = count
    try:
        yield
    finally:
        schedule._MOST_PAIRS = before


def caller_costs(pairs: Pairs, folder: Path, **where: Any) -> dict[str, float]:
    """Of a pair and of a batch, from campaigns with batches of two sizes; and of the scheduler."""
    sizes = 2, 64
    caller, scheduler = [], []
    schedulers = processes_of("dask_scheduler") if "client" in where else []
    for size in sizes:
        results = folder / f"{size}.jsonl"
        results.unlink(missing_ok=True)
        before = time.process_time(), sum(map(used_by, schedulers))
        with pairs_at_most(size):
            count = sum(result.passed for result in kvr.campaign(pairs, results=results, **where))
        assert count == len(pairs)
        caller.append((time.process_time() - before[0]) / count)
        scheduler.append((sum(map(used_by, schedulers)) - before[1]) / count)
    # caller = pair + batch / size
    batch = (caller[0] - caller[1]) / (1 / sizes[0] - 1 / sizes[1])
    return {
        "caller_pair": max(caller[1] - batch / sizes[1], 0.0),
        "caller_batch": batch + disk_seconds(folder),
        "scheduler_batch": scheduler[0] * sizes[0],
    }


def disk_seconds(folder: Path) -> float:
    """Of having a line on disk, which a batch waits for once."""
    spent = []
    with open(folder / "line", "ab") as file:
        for _ in range(50):
            file.write(b"x" * 20_000)
            file.flush()
            began = time.perf_counter()
            os.fdatasync(file.fileno())
            spent.append(time.perf_counter() - began)
    return statistics.median(spent)


def worker_costs() -> dict[str, float]:
    """Of a pair beyond its comparison: unpacked, its outcome made and packed."""
    outcome = work._outcome
    jobs = [work.Job(number, f"/folder/{number}.csv", "/b.csv", {}) for number in range(256)]
    packed = pickle.dumps(jobs)
    work._outcome = stand_in
    try:
        began = time.process_time()
        for _ in range(50):
            pickle.dumps(work.run_batch(pickle.loads(packed), work.program_version()))
        spent = time.process_time() - began
    finally:
        work._outcome = outcome
    return {"worker_pair": spent / 50 / len(jobs), "worker_batch": 0.0}


def stand_in(job: work.Job) -> work.Outcome:
    """In place of a comparison: waits as long as it would take."""
    began = time.perf_counter()
    if _WAIT in os.environ:
        time.sleep(float(os.environ[_WAIT]))
    return work.Outcome(_SUMMARY, None, time.perf_counter() - began, files=[(1, 2), (3, 4)])


def one_core(folder: Path) -> dict[str, float]:
    """Files a second of small pairs, and samples a second of a large one, in processor time."""
    small, large = recordings(folder, "one", 10, 100), recordings(folder, "ten", 10, 1_000_000)
    spent = []
    for pair, times in ((small, 200), (large, 3)):
        jobs = [work.Job(0, *pair, {})] * times
        began = time.process_time()
        outcomes = work.run_batch(jobs, work.program_version())
        assert len(outcomes) == times and not any(outcome.error for outcome in outcomes)
        spent.append((time.process_time() - began) / times)
    return {
        "seconds of a pair of 10 x 100": spent[0],
        "samples a second": 10 * 1_000_000 / spent[1],
    }


def result_sizes(folder: Path) -> dict[str, float]:
    """Bytes of a result in its file, and in the memory of a caller that has read it."""
    count = 20_000
    path = folder / "sizes.jsonl"
    journal = Journal(path)
    for start in range(0, count, 1000):
        numbers = range(start, start + 1000)
        names = [f"/recordings/baseline/2026-11/drive {number:06}.kvr" for number in numbers]
        rows = [PairResult(name, name, _SUMMARY, 0.0123456) for name in names]
        journal.append([(f"{number:032x}", row) for number, row in zip(numbers, rows)])
    journal.close()
    tracemalloc.start()
    journal = Journal(path)
    held = tracemalloc.get_traced_memory()[0] / count
    tracemalloc.stop()
    journal.close()
    return {"in the file": path.stat().st_size / count, "in memory": held}


def elapsed(pairs: Pairs, **where: Any) -> tuple[float, float]:
    """Seconds of a campaign, and those of the median comparison in it."""
    began = time.perf_counter()
    seconds = [result.seconds for result in kvr.campaign(pairs, **where)]
    assert len(seconds) == len(pairs)
    return time.perf_counter() - began, statistics.median(seconds)


def least(pairs: Pairs, **where: Any) -> tuple[float, float]:
    return min(elapsed(pairs, **where) for _ in range(_ROUNDS))


def measured(folder: Path) -> dict[str, Any]:
    pair = pair_that_takes(folder, 0.02)
    few, many = [pair] * 20, [pair] * 400
    small = [recordings(folder, f"small {number}", 1, 2) for number in range(1000)]
    start = min(elapsed(few[:1], jobs=1)[0] for _ in range(_ROUNDS)) - 0.02
    common = worker_costs()
    found: dict[str, Any] = {
        "one core": one_core(folder),
        "bytes of a result": result_sizes(folder),
        "pool": {"start": start, **common, **caller_costs(small, folder, jobs=2)},
        "cluster": {"start": 0.0, **common},
    }
    found["pool"]["scheduler_batch"] = 0.0
    with cluster(folder, 2) as client:
        elapsed(few, client=client)
        found["cluster"] |= caller_costs(small, folder, client=client)
    found["runs"] = runs_of(few, many, folder)
    return found


def runs_of(few: Pairs, many: Pairs, folder: Path) -> list[dict[str, Any]]:
    """Campaigns whose workers wait 20 ms in place of comparing, so that they need no processor."""
    os.environ[_WAIT] = "0.02"
    os.environ["PYTHONPATH"] += os.pathsep + os.path.dirname(os.path.abspath(__file__))
    runs = []
    for where in ("pool", "cluster"):
        for workers in (1, 2, 4):
            start = 0.0
            if where == "pool":
                start = least(many[:workers], jobs=workers)[0] - float(os.environ[_WAIT])
                seconds, compare = least(many, jobs=workers)
            else:
                place = folder / f"cluster {workers}"
                place.mkdir()
                with cluster(place, workers, "--preload", "campaign_costs") as client:
                    elapsed(few * workers, client=client)  # they have imported what they need
                    seconds, compare = least(many, client=client)
            run = {"where": where, "workers": workers, "pairs": len(many), "start": start}
            runs.append({**run, "seconds": seconds, "compare": compare})
    return runs


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("file")
    options = parser.parse_args()
    load = os.getloadavg()[0]
    with tempfile.TemporaryDirectory() as folder:
        found = measured(Path(folder))
    found["machine"] = {
        "cores": os.cpu_count(),
        "python": platform.python_version(),
        "load at start": round(load, 1),
        "load at end": round(os.getloadavg()[0], 1),
        "memory of the caller": resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024,
    }
    Path(options.file).write_text(json.dumps(found, indent=1) + "\n")


if _WAIT in os.environ:  # in the workers too, which import this
    work._outcome = stand_in

if __name__ == "__main__":
    main()
