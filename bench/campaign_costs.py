#!/usr/bin/python3
"""Measures what the model of tools/simulate_campaign needs, and the campaigns that it is checked with.

    campaign_costs.py tools/simulate_campaign/costs.json

Run with the package kvr on the path. Costs are processor time, which other load changes little; the
campaigns are clock time, the least of three.
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
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import kvr
from kvr._campaign import schedule, work
from kvr._campaign.results import Summary
from kvr._comparing.verdict import STATUSES

from campaign_bench import Pairs, cluster, pair_that_takes, processes_of, recordings

_ROUNDS = 3
_TICKS = os.sysconf("SC_CLK_TCK")


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
    counts = dict.fromkeys(STATUSES, 0) | {"within": 10}
    compared = work._compared
    work._compared = lambda job: (Summary(counts, (), 0), [(1, 2), (3, 4)])
    jobs = [work.Job(number, f"/folder/{number}.csv", "/b.csv", {}) for number in range(256)]
    packed = pickle.dumps(jobs)
    try:
        began = time.process_time()
        for _ in range(50):
            pickle.dumps(work.run_batch(pickle.loads(packed), work.program_version()))
        spent = time.process_time() - began
    finally:
        work._compared = compared
    return {"worker_pair": spent / 50 / len(jobs), "worker_batch": 0.0}


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
    few, many = [pair] * 50, [pair] * 500
    small = [recordings(folder, f"small {number}", 1, 2) for number in range(2000)]
    start = min(elapsed(few[:1], jobs=1)[0] for _ in range(_ROUNDS)) - 0.02
    common = worker_costs()
    found: dict[str, Any] = {
        "pool": {"start": start, **common},
        "cluster": {"start": 0.0, **common},
    }
    found["pool"] |= caller_costs(small, folder, jobs=2) | {"scheduler_batch": 0.0}
    runs = []
    for workers in (1, 2, 4):
        seconds, compare = least(many, jobs=workers)
        runs.append({"where": "pool", "workers": workers, "seconds": seconds, "compare": compare})
    for workers in (1, 2, 4):
        place = folder / f"cluster {workers}"
        place.mkdir()
        with cluster(place, workers) as client:
            elapsed(few, client=client)  # the workers have imported what they need
            seconds, compare = least(many, client=client)
            if workers == 2:
                found["cluster"] |= caller_costs(small, place, client=client)
        runs.append(
            {"where": "cluster", "workers": workers, "seconds": seconds, "compare": compare}
        )
    # More workers than processors wait for each other: the comparison alone is that of one worker.
    for where in ("pool", "cluster"):
        mine = [run for run in runs if run["where"] == where]
        for run in mine:
            run["compare"] = mine[0]["compare"]
    found["runs"] = [{**run, "pairs": len(many), "cores": os.cpu_count()} for run in runs]
    return found


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


if __name__ == "__main__":
    main()
