"""Two days of 29 economic series: known numbers, from files, the store, arrays and the command."""

import json
import os
import subprocess
import sys
from pathlib import Path

import kvr
import numpy as np
import pytest

DATA = Path(__file__).parents[2] / "examples" / "data"
DAYS = DATA / "2016-06-29.csv", DATA / "2016-07-29.csv"
OUT = [(0, 17), (1e-4, 17), (1e-3, 10), (2e-3, 8), (1e-2, 3), (5e-2, 0)]
METHODS = ["union", "intersection", "uniform"]


def from_files(tolerance, tmp_path):
    return kvr.compare(*DAYS, match="name", tolerance=tolerance).to_dict()


def from_the_store(tolerance, tmp_path):
    """The runs are loaded, and judged by the tolerance that the store keeps with the first."""
    store = kvr.Store()
    (first,), (second,) = (store.load(day) for day in DAYS)
    first.tolerance = tolerance
    return kvr.compare(first, second, match="name").to_dict()


def from_the_command(tolerance, tmp_path):
    path = tmp_path / "result.json"
    options = ["--match", "name", "--relative", str(tolerance.relative), "--json", path, "--quiet"]
    done = subprocess.run([sys.executable, "-m", "kvr", "compare", *DAYS, *options], env=os.environ)
    result = json.loads(path.read_text())
    assert done.returncode == (0 if result["passed"] else 1)
    return result


WAYS = [from_files, from_the_store, from_the_command]


@pytest.mark.parametrize("way", WAYS)
@pytest.mark.parametrize(("relative", "out"), OUT)
def test_signals_that_are_out(way, relative, out, tmp_path):
    result = way(kvr.Tolerance(relative=relative), tmp_path)
    assert result["counts"] == {
        "within": 29 - out, "out": out, "missing": 0, "extra": 0, "incomparable": 0,
    }  # fmt: skip
    assert result["passed"] == (out == 0)


@pytest.mark.parametrize("way", WAYS)
def test_values_that_are_judged_revised_and_gained(way, tmp_path):
    verdicts = way(kvr.Tolerance(), tmp_path)["verdicts"]
    names = ("judged", "out", "gained", "lost")
    totals = {name: sum(verdict[name] for verdict in verdicts) for name in names}
    assert totals == {"judged": 8653, "out": 85, "gained": 21, "lost": 0}
    assert {verdict["beyond"] for verdict in verdicts} == {1}  # the second day has a month more


def test_arrays_tell_what_the_files_tell():
    first, second = (kvr.open(day).runs[0] for day in DAYS)
    found = [
        kvr.compare_series(one.time, one.values, second[one.label].time, second[one.label].values)
        for one in first
    ]
    assert sum(verdict.status == "out" for verdict in found) == 17
    assert sum(verdict.judged for verdict in found) == 8653


@pytest.mark.parametrize("interp", ["zoh", "linear"])
@pytest.mark.parametrize("method", METHODS)
def test_run_and_its_copy_agree_for_every_method(store, method, interp):
    (run,) = store.load(DAYS[0])
    sync = kvr.Sync(method, interp if method != "uniform" else "zoh", interval=86400)
    for other in (run, run.copy()):
        comparison = kvr.compare(run, other, sync=sync)
        assert comparison.counts["within"] == 29
        assert comparison.passed


@pytest.mark.parametrize("method", ["union", "intersection", "uniform:86400"])
def test_command_finds_a_file_equal_to_itself_for_every_method(method):
    command = [sys.executable, "-m", "kvr", "compare", DAYS[0], DAYS[0], "--sync", method]
    done = subprocess.run(command, capture_output=True, text=True, env=os.environ)
    assert (done.returncode, done.stdout.splitlines()[-1]) == (0, "passed")


def test_revised_values_are_those_that_differ_in_the_files():
    """Counted once more without the comparison, month by month."""
    first, second = (kvr.open(day).runs[0] for day in DAYS)
    verdicts = {verdict.label: verdict for verdict in kvr.compare(*DAYS, match="name")}
    for signal in first:
        was, now = signal.values.astype(float), second[signal.label].values[:-1].astype(float)
        numbers = ~np.isnan(was)
        assert verdicts[signal.label].out == np.count_nonzero(numbers & (was != now))
        assert verdicts[signal.label].gained == np.count_nonzero(~numbers & ~np.isnan(now))
