#!/usr/bin/python3
"""What the inspector's server takes for what a window asks, the window's own part included.

Run with the package kvr on the path; scripts/bench does. Prints a dict for each repetition. Answers
are checked before they are timed. Times are processor time in nanoseconds, of the server and of the
window, which share the process.

    judge_again    1,000 pairs of 1e4 samples, after a tolerance of their run changed, to the answer
    judge_one      the same after a tolerance of one signal changed
    window         a window of a signal of 1e7 samples in 1,500 columns
    curves         20 curves of 1e6 samples in 1,500 columns
    state          the state of 10,000 signals
    show           10,000 signals made visible
"""

import argparse
import http.client
import json
import os
import time
import urllib.parse
from typing import Any, Callable

import kvr
import numpy as np

TINY = "KVR_BENCH_TINY" in os.environ
REPEATS = 1 if TINY else 5


def sized(size: int) -> int:
    return min(size, 50) if TINY else size


class Window:
    """A browser's window, as plain HTTP on one connection."""

    def __init__(self, url: str) -> None:
        parts = urllib.parse.urlsplit(url)
        self._connection = http.client.HTTPConnection(parts.hostname or "", parts.port)
        self._headers = {"Origin": f"http://{parts.netloc}", "Content-Type": "application/json"}
        self._connection.request("GET", f"/?{parts.query}")
        answer = self._connection.getresponse()
        answer.read()
        self._headers["Cookie"] = str(answer.getheader("set-cookie")).partition(";")[0]

    def ask(self, method: str, path: str, body: Any = None) -> bytes:
        text = None if body is None else json.dumps(body)
        self._connection.request(method, path, text, self._headers)
        answer = self._connection.getresponse()
        data = answer.read()
        assert answer.status == 200, data
        return data


def least(call: Callable[[int], object]) -> float:
    """Nanoseconds of the quickest call; each gets another number."""
    found = []
    for number in range(REPEATS):
        begin = time.process_time()
        call(number)
        found.append((time.process_time() - begin) * 1e9)
    return min(found)


def judging(store: kvr.Store, window: Window) -> dict[str, float]:
    count, length = sized(1000), sized(10_000)
    random, times = np.random.default_rng(1), np.arange(float(length))
    runs = store.new_run("baseline"), store.new_run("other")
    for number in range(count):
        values = random.normal(size=length)
        runs[0].add(f"s{number}", values, times, path=f"p/{number}")
        runs[1].add(f"s{number}", values + 1.0, times, path=f"p/{number}")
    window.ask("PUT", "/api/comparison", {"baseline": runs[0].id, "other": runs[1].id})

    def judge_again(number: int) -> None:
        tolerance = {"absolute": 2.0 - number % 2 * 1.5}
        window.ask("PATCH", f"/api/runs/{runs[0].id}", {"tolerance": tolerance})
        found = window.ask("GET", "/api/comparison")
        assert (b'"passed":true' in found) == (number % 2 == 0)

    def judge_one(number: int) -> None:
        tolerance = {"absolute": 2.0 + number}
        window.ask("PATCH", f"/api/signals/{runs[0].signals[0].id}", {"tolerance": tolerance})
        window.ask("GET", "/api/comparison")

    found = {"judge_again": least(judge_again), "judge_one": least(judge_one)}
    window.ask("DELETE", "/api/comparison")
    return found


def drawing(store: kvr.Store, window: Window) -> dict[str, float]:
    random, run = np.random.default_rng(2), store.new_run("long")

    def add(length: int) -> int:
        values = np.cumsum(random.random(length) - 0.5)
        return run.add("a", values, np.arange(float(length))).id

    long, many = add(sized(10_000_000)), [add(sized(1_000_000)) for _ in range(20)]
    of = ",".join(map(str, many))

    def draw_window(number: int) -> None:
        ends = f"from={number + 1}&to={sized(10_000_000) // 2}"
        data = window.ask("GET", f"/api/curves?of={long}&columns=1500&{ends}")
        assert len(data) < 4 * 1500 * 16 + 1000

    def draw_curves(number: int) -> None:
        data = window.ask("GET", f"/api/curves?of={of}&columns=1500")
        assert len(data) > 20 * min(sized(1_000_000), 1500) * 16

    draw_window(0), draw_curves(0)  # builds the trees
    return {"window": least(draw_window), "curves": least(draw_curves)}


def showing(store: kvr.Store, window: Window) -> dict[str, float]:
    run, count = store.new_run("many"), sized(10_000)
    ids = [run.add(f"s{i}", [1.0, 2.0], [0.0, 1.0], path=f"p/{i % 100}").id for i in range(count)]

    def state(_: int) -> None:
        assert len(json.loads(window.ask("GET", "/api/state"))["signals"]["id"]) == count

    def show(number: int) -> None:
        window.ask("PATCH", "/api/signals", {"ids": ids, "visible": number % 2 == 0})
        assert run.signals[-1].visible == (number % 2 == 0)

    return {"state": least(state), "show": least(show)}


def cases() -> dict[str, float]:
    store, found = kvr.Store(), {}
    with store.view(browser=False) as view:
        window = Window(view.url)
        for part in (judging, drawing, showing):
            found |= part(store, window)
            for run in store.runs:
                run.remove()
    return found


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--repetitions", type=int, default=1)
    options = parser.parse_args()
    print(json.dumps([cases() for _ in range(options.repetitions)], indent=1))


if __name__ == "__main__":
    main()
