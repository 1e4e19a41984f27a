"""The command's usage: its version, misspelt words, tables of names of every kind."""

import json
import re
import subprocess
import sys

import kvr
import numpy as np
import pytest
import vormel


def run_kvr(*arguments, cwd=None):
    done = subprocess.run(
        [sys.executable, "-m", "kvr", *map(str, arguments)], capture_output=True, text=True, cwd=cwd
    )
    assert "Traceback" not in done.stderr
    return done.returncode, done.stdout, done.stderr


@pytest.fixture
def week(store, tmp_path):
    """A recording of two runs."""
    for name in ("Monday", "Tuesday"):
        run = store.new_run(name)
        run.add("速度", [1.0, 2.0], time=[0, 1], unit="m/s")
        run.add("e\u0301tat", np.ones((2, 3)), time=[0, 1])
        run.add("plain", [True, False], time=[0, 1])
    store.save(tmp_path / "week.kvr")
    return tmp_path / "week.kvr"


def test_version_is_that_of_the_packages():
    assert kvr.__version__ == vormel.__version__
    assert run_kvr("--version") == (0, f"kvr {kvr.__version__}\n", "")


@pytest.mark.parametrize(
    ("arguments", "text"),
    [
        (["compar", "a", "b"], "kvr: there is no command 'compar'; did you mean 'compare'?; see kvr"),
        (["lss"], "kvr: there is no command 'lss'; did you mean 'ls'?; see kvr"),
        (["ls", "a", "--jsn"], "kvr ls: unrecognized arguments: --jsn; did you mean --json?; see kvr ls"),
        (["compare", "a", "b", "--relatve=1"],
         "kvr compare: unrecognized arguments: --relatve=1; did you mean --relative?; see kvr compare"),
        (["compare", "a", "b", "c"], "kvr compare: unrecognized arguments: c; see kvr compare"),
        (["compare", "a", "b", "--sync", "uniform:x"],
         "kvr compare: argument --sync: the step of 'uniform:x' is not a number; see kvr compare"),
    ],
)  # fmt: skip
def test_misspelt_words_are_told_with_what_they_may_mean(arguments, text):
    assert run_kvr(*arguments) == (2, "", f"{text} --help\n")


def test_one_field_can_be_the_key(tmp_path):
    (tmp_path / "a.csv").write_text("time,a\n0,1\n")
    for field in ("label", "model", "port", "label,path"):
        code, out, _ = run_kvr(
            "compare", "a.csv", "a.csv", "--match", field, "--json", "-", cwd=tmp_path
        )
        assert code == 0
        assert json.loads(out)["options"]["match"] == field.split(",")
    assert run_kvr("compare", "a.csv", "a.csv", "--match", "colour", cwd=tmp_path)[0] == 2


def test_signals_of_several_runs_stand_with_their_run(week):
    _, out, _ = run_kvr("ls", week, "--signals")
    header, *rows = out.splitlines()
    assert header.split()[:2] == ["run", "signal"]
    assert [row.split()[0] for row in rows] == ["Monday"] * 3 + ["Tuesday"] * 3
    _, out, _ = run_kvr("ls", f"{week}#Monday", "--signals")
    assert out.split()[0] == "signal"


def test_columns_of_a_table_stand_below_each_other_for_wide_and_combining_characters(week):
    _, out, _ = run_kvr("ls", f"{week}#Monday", "--signals")
    # As a terminal shows it: wide characters on two columns, accents on none.
    shown = [re.sub("[速度]", "xx", line).replace("\u0301", "") for line in out.splitlines()]
    places = {
        line.index(word) for line, word in zip(shown, ("class", "float64", "float64", "bool"))
    }
    assert len(places) == 1


def test_convert_refuses_a_format_that_cannot_be_written_before_it_reads(tmp_path):
    assert run_kvr("convert", "none.csv", "out.raw", cwd=tmp_path) == (
        2, "", "kvr: out.raw: files of format 'ngspice' can only be read; "
        "name one with another ending\n",
    )  # fmt: skip


def test_verify_refuses_a_folder_and_a_run_that_is_not_there(week):
    folder = week.parent
    assert run_kvr("verify", folder) == (2, "", f"kvr: {folder}: is a folder; name a file in it\n")
    assert run_kvr("verify", f"{week}#Tuesday") == (0, f"{week}: sound\n", "")
    code, out, err = run_kvr("verify", f"{week}#Teusday")
    assert (code, out) == (2, "")
    assert err == f"kvr: {week}: no run is named 'Teusday'; did you mean 'Tuesday'?\n"


def test_a_run_whose_name_another_has_is_not_proposed(store, tmp_path):
    for name in ("day", "day", "night"):
        store.new_run(name).add("a", [1.0], time=[0.0])
    store.save(tmp_path / "w.kvr")
    found = run_kvr("compare", "w.kvr", "w.kvr", cwd=tmp_path)
    assert found[2] == (
        "kvr: w.kvr has 3 runs, 'day', 'day' and 'night'; name one as w.kvr#night\n"
    )
    found = run_kvr("compare", "w.kvr#night", "w.kvr#day", cwd=tmp_path)
    assert found[2] == (
        "kvr: w.kvr: 2 runs are named 'day', with the ids 1 and 2; "
        "choose one in Python, with runs.by_id\n"
    )


@pytest.mark.parametrize("arguments", [("ls", ""), ("compare", "", "a.csv"), ("verify", "")])
def test_an_empty_name_of_a_file_is_shown_as_such(tmp_path, arguments):
    found = run_kvr(*arguments, cwd=tmp_path)
    assert found == (2, "", "kvr: '': there is no such file; check the name\n")
