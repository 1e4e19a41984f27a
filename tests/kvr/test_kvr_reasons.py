"""Every reason for which a pair is incomparable, from a file through the command to the results."""

import json
import os
import subprocess
import sys
from xml.etree import ElementTree

import pytest

# A format of another package, whose files name one case: it reads signals that a CSV cannot hold.
FORMAT = """
import numpy as np
from datetime import datetime, timezone

import kvr
from kvr._base.errors import NoValues
from kvr._reading.signals import Series
from kvr._files.recording import FileRun, FileRuns, FileSignal, Recording


def fail(*given):
    raise ValueError("no luck today")


kvr.functions["fails"] = fail
NORMAL = [0.0, 1.0], [1.0, 2.0]
SERIES = {
    "text": ([0.0, 1.0], np.array(["a", "b"])),
    "objects": ([0.0], np.array([object()], dtype=object)),
    "falling": ([1.0, 0.0], [1.0, 2.0]),
    "nan time": ([0.0, np.nan], [1.0, 2.0]),
    "infinite time": ([0.0, np.inf], [1.0, 2.0]),
    "logical time": (np.array([False, True]), [1.0, 2.0]),
    "complex time": (np.array([0, 1j]), [1.0, 2.0]),
    "short time": ([0.0], [1.0, 2.0]),
    "matrix": ([0.0, 1.0], np.ones((2, 3))),
    "far": ([8.0, 9.0], [1.0, 2.0]),
}
TOLERANCES = {
    "negative": kvr.Tolerance(-1.0),
    "nan window": kvr.Tolerance.window(0, float("nan")),
    "falls below": kvr.Tolerance.window(0, 5, step=1, absolute=0.5, absolute_step=-1),
    "unknown function": kvr.Tolerance.function("nobody"),
    "failing function": kvr.Tolerance.function("fails"),
    "empty window": kvr.Tolerance.window(8, 9),
}
SYNCS = {
    "no step": kvr.Sync("uniform", interval=0.0),
    "too many steps": kvr.Sync("uniform", interval=1e-12),
    "unknown sync": kvr.Sync.custom("nobody"),
    "failing sync": kvr.Sync.custom("fails"),
    "intersection": kvr.Sync("intersection"),
}


class Case(FileSignal):
    def __init__(self, run, case):
        self.run_, self.case = run, case

    id = property(lambda self: 1)
    run = property(lambda self: self.run_)
    label = property(lambda self: "speed")
    tolerance = property(lambda self: TOLERANCES.get(self.case, kvr.Tolerance()))
    sync = property(lambda self: SYNCS.get(self.case, kvr.Sync()))

    def _series(self):
        if self.case == "lost":
            raise NoValues("lost")
        time, values = SERIES.get(self.case, NORMAL)
        return Series(np.asarray(time), np.asarray(values))


class CaseRun(FileRun):
    def __init__(self, case):
        self.signals_ = [Case(self, case)]

    id = property(lambda self: 1)
    name = property(lambda self: self.signals_[0].case)
    created = property(lambda self: datetime(2020, 1, 1, tzinfo=timezone.utc))
    signals = property(lambda self: self.signals_)


class Cases(Recording):
    def __init__(self, path):
        super().__init__(path)
        with open(path) as file:
            self.runs_ = FileRuns([CaseRun(file.read())])

    runs = property(lambda self: self.runs_)

    def close(self):
        pass


FORMAT = kvr.Format("cases", (".case",), Cases)
"""

CASES = [
    # What the baseline is, what the other is, why they are not compared.
    ("lost", "normal", "no-values"),
    ("normal", "lost", "no-values"),
    ("text", "normal", "not-numeric"),
    ("normal", "objects", "not-numeric"),
    ("falling", "normal", "bad-time"),
    ("normal", "nan time", "bad-time"),
    ("infinite time", "normal", "bad-time"),
    ("normal", "logical time", "bad-time"),
    ("complex time", "normal", "bad-time"),
    ("normal", "short time", "bad-time"),
    ("matrix", "normal", "shape-differs"),
    ("negative", "normal", "bad-settings"),
    ("nan window", "normal", "bad-settings"),
    ("no step", "normal", "bad-settings"),
    ("too many steps", "normal", "bad-settings"),
    ("unknown function", "normal", "no-function"),
    ("unknown sync", "normal", "no-function"),
    ("failing function", "normal", "function-failed"),
    ("failing sync", "normal", "function-failed"),
    ("falls below", "normal", "bad-settings"),
    ("empty window", "normal", "nothing-compared"),
    # Of two reasons the one that is tested first.
    ("lost", "text", "no-values"),
    ("text", "falling", "not-numeric"),
    ("falling", "matrix", "bad-time"),
    ("negative", "matrix", "shape-differs"),
]


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    """A folder to import from, with a package that brings the format."""
    folder = tmp_path_factory.mktemp("cases")
    (folder / "case_format.py").write_text(FORMAT)
    info = folder / "case_format-1.0.dist-info"
    info.mkdir()
    (info / "METADATA").write_text("Metadata-Version: 2.1\nName: case-format\nVersion: 1.0\n")
    (info / "entry_points.txt").write_text("[kvr.formats]\ncases = case_format:FORMAT\n")
    for case in {name for pair in CASES for name in pair[:2]} | {"far", "intersection"}:
        (folder / f"{case}.case").write_text(case)
    return folder


def compared(folder, baseline, other, *options):
    path = os.pathsep.join([str(folder), os.environ.get("PYTHONPATH", "")])
    return subprocess.run(
        [sys.executable, "-m", "kvr", "compare", f"{baseline}.case", f"{other}.case", *options],
        capture_output=True, text=True, cwd=folder, env=os.environ | {"PYTHONPATH": path},
    )  # fmt: skip


@pytest.mark.parametrize(("baseline", "other", "reason"), CASES)
def test_reason_comes_out_of_the_command(folder, tmp_path, baseline, other, reason):
    results = tmp_path / "r.json", tmp_path / "r.xml"
    done = compared(folder, baseline, other, "--json", results[0], "--junit", results[1])
    assert (done.returncode, done.stderr) == (1, "")
    summary, _, row, outcome = done.stdout.splitlines()
    assert summary == f"{baseline} against {other}: incomparable 1"
    assert row.split() == [reason, "speed"]
    (verdict,) = json.loads(results[0].read_text())["verdicts"]
    assert (verdict["status"], verdict["reason"]) == ("incomparable", reason)
    assert verdict["differs"]
    counts = ("judged", "out", "lost", "gained", "gaps", "uncovered", "intervals_total")
    assert [verdict[name] for name in counts] == [0] * len(counts)
    assert (verdict["worst"], verdict["first_out"], verdict["intervals"]) == (None, None, [])
    assert outcome == f"failed: 1 of 1; speed: {verdict['text']}"
    (failure,) = ElementTree.parse(results[1]).getroot().iter("failure")
    assert (failure.get("type"), failure.get("message")) == (reason, verdict["text"])


def test_failure_of_a_function_is_told(folder):
    assert "ValueError: no luck today" in compared(folder, "failing function", "normal").stdout


def test_pair_without_a_common_time_is_out_or_not_compared_by_coverage(folder):
    assert "does not cover 2 samples" in compared(folder, "normal", "far").stdout
    done = compared(folder, "normal", "far", "--coverage", "common")
    assert done.returncode == 1
    assert done.stdout.splitlines()[2].split() == ["nothing-compared", "speed"]


def test_given_field_of_a_group_mends_bad_settings_of_another(folder):
    """A tolerance of functions or windows gives way to --absolute, a custom sync to --sync."""
    for case in ("unknown function", "falls below", "nan window", "negative"):
        assert compared(folder, case, "normal", "--absolute", "0").returncode == 0
    for case in ("unknown sync", "no step"):
        assert compared(folder, case, "normal", "--sync", "union").returncode == 0
    assert compared(folder, "unknown sync", "normal", "--interp", "linear").returncode == 1
