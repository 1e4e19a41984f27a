"""Times that are dates are shown as dates; results for programs keep the numbers."""

import json
import os
import subprocess
import sys
from xml.etree import ElementTree

import kvr
import numpy as np
import pytest

SECOND = 1577836800.0  # 2020-01-01


def run_kvr(folder, *arguments):
    done = subprocess.run(
        [sys.executable, "-m", "kvr", *arguments],
        capture_output=True, text=True, cwd=folder, env=os.environ,
    )  # fmt: skip
    return done.stdout


@pytest.fixture
def files(tmp_path):
    (tmp_path / "a.csv").write_text("date,x\n2020-01-01,1\n2020-01-02T12:30:00,2\n")
    (tmp_path / "b.csv").write_text("date,x\n2020-01-01,1\n2020-01-02T12:30:00,3\n")
    return tmp_path


def test_sentence_table_and_page_of_runs_with_dates(store):
    runs = store.new_run("a"), store.new_run("b")
    dates = np.array(["2020-01-01", "2020-01-02T12:30"], "M8[s]")
    for run, last in zip(runs, (2.0, 3.0)):
        run.add("x", [1.0, last], time=dates)
    comparison = kvr.compare(*runs)
    assert "first at 2020-01-02 12:30:00: 3 instead of 2" in comparison["x"].text
    assert str(comparison).splitlines()[2].split() == ["out", "1", "2020-01-02", "12:30:00", "x"]
    assert "2020-01-02 12:30:00" in comparison._repr_html_()
    assert comparison["x"].first_out == SECOND + 131400


def test_sentence_of_arrays_with_dates():
    days = np.array(["2020-01-01", "2020-01-02"], "M8[D]")
    assert "first at 2020-01-02: " in kvr.compare_series(days, [1, 2], days, [1, 3]).text
    assert "first at 1: " in kvr.compare_series([0, 1], [1, 2], [0, 1], [1, 3]).text


def test_numbers_are_no_dates_whatever_their_size(store):
    runs = store.new_run("a"), store.new_run("b")
    for run, value in zip(runs, (2.0, 3.0)):
        run.add("x", [value], time=[SECOND])
    assert "first at 1577836800: " in kvr.compare(*runs)["x"].text


def test_compare_prints_dates_and_writes_numbers(files):
    out = run_kvr(files, "compare", "a.csv", "b.csv", "--json", "r.json", "--junit", "r.xml")
    assert out.splitlines()[2].split() == ["out", "1", "2020-01-02", "12:30:00", "x"]
    assert "first at 2020-01-02 12:30:00: 3 instead of 2" in out
    (verdict,) = json.loads((files / "r.json").read_text())["verdicts"]
    assert verdict["first_out"] == verdict["worst"]["time"] == SECOND + 131400
    (failure,) = ElementTree.parse(files / "r.xml").getroot().iter("failure")
    assert "first at 2020-01-02 12:30:00" in failure.get("message")


def test_ls_prints_the_span_as_dates_and_as_numbers_in_json(files):
    out = run_kvr(files, "ls", "a.csv", "--signals")
    assert "2020-01-01 to 2020-01-02 12:30:00" in out
    document = json.loads(run_kvr(files, "ls", "a.csv", "--signals", "--json"))
    assert document["runs"][0]["signals"][0]["span"] == [SECOND, SECOND + 131400]


def test_show_prints_samples_span_and_axis_as_dates(files):
    lines = run_kvr(files, "show", "a.csv", "x").splitlines()
    assert "span       2020-01-01 to 2020-01-02 12:30:00" in lines
    assert "      2020-01-01  1" in lines
    assert "2020-01-02 12:30:00  2" in lines
    assert lines[-1].split() == ["2020-01-01", "2020-01-02", "12:30:00"]
