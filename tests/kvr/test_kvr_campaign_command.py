"""The command kvr campaign, run as a process."""

import json
import os
import resource
import signal
import subprocess
import sys
import time
import xml.etree.ElementTree as xml
from collections import Counter
from pathlib import Path

import kvr
import pytest
from campaign_files import default_interrupt, write_pairs

ENVIRONMENT = {**os.environ, "NO_COLOR": "1"}
LAUNCHER = Path(kvr.__file__).parents[2] / "bin" / "kvr"


def campaign(*arguments, **options):
    command = [sys.executable, "-m", "kvr", "campaign", *map(str, arguments)]
    done = subprocess.run(command, capture_output=True, text=True, env=ENVIRONMENT, **options)
    return done.returncode, done.stdout, done.stderr


@pytest.fixture
def folders(tmp_path):
    """Two folders with files a, b and sub/c, of which b differs."""
    for side in ("base", "other"):
        (tmp_path / side / "sub").mkdir(parents=True)
        for name in ("a.csv", "b.csv", "sub/c.csv"):
            last = 3 if (side, name) == ("other", "b.csv") else 2
            (tmp_path / side / name).write_text(f"time,speed\n0,1\n1,{last}\n")
    return tmp_path / "base", tmp_path / "other"


def read_rows(path):
    return [json.loads(line) for line in path.read_text().splitlines()]


def test_two_folders_are_paired_by_relative_names(folders, tmp_path):
    code, out, err = campaign(*folders, "--results", tmp_path / "r.jsonl")
    assert (code, err) == (1, "")
    assert out.startswith("3 pairs: passed 2, differs 1; signals: within 2, out 1\n")
    rows = {
        os.path.relpath(row["baseline"], folders[0]): row for row in read_rows(tmp_path / "r.jsonl")
    }
    assert {name: row["passed"] for name, row in rows.items()} == {
        "a.csv": True,
        "b.csv": False,
        "sub/c.csv": True,
    }


def test_the_table_has_what_failed_and_the_last_line_how_many(folders):
    _, out, _ = campaign(*folders)
    lines = out.splitlines()
    assert lines[1].split() == ["status", "pair", "what"]
    assert lines[2].startswith(f"differs  {folders[1]}/b.csv  speed: out at 1 of 2 instants")
    assert lines[3:] == ["failed: 1"]


def test_all_within_is_exit_0(folders):
    code, out, _ = campaign(*folders, "--absolute", 5)
    assert code == 0 and out.splitlines()[-1] == "passed"


def test_a_file_of_the_baseline_alone_fails_and_one_of_the_other_only_if_strict(folders):
    (folders[1] / "b.csv").write_text("time,speed\n0,1\n1,2\n")
    (folders[1] / "new.csv").write_text("time,speed\n0,1\n1,2\n")
    code, out, _ = campaign(*folders)
    assert code == 0 and out.startswith("4 pairs: passed 3, extra 1;")
    code, out, _ = campaign(*folders, "--strict")
    assert code == 1 and f"extra   {folders[1]}/new.csv" in out
    results = folders[0].parent / "results.jsonl"
    first = campaign(*folders, "--results", results)
    assert [row["alone"] for row in read_rows(results)].count("extra") == 1
    assert campaign(*folders, "--results", results) == first
    assert len(read_rows(results)) == 4
    (folders[1] / "new.csv").unlink()
    (folders[1] / "sub" / "c.csv").unlink()
    code, out, _ = campaign(*folders)
    assert code == 1 and f"missing  {folders[1]}/sub/c.csv" in out


def test_a_pair_that_cannot_be_compared_fails(folders):
    (folders[1] / "a.csv").write_bytes(b"\0\0\0")
    code, out, _ = campaign(*folders, "--absolute", 5)
    assert code == 1 and "error 1" in out and f"{folders[1]}/a.csv" in out


def test_files_of_no_known_format_and_hidden_ones_are_passed_over(folders):
    (folders[0] / "notes.txt").write_text("notes")
    (folders[0] / ".hidden.csv").write_text("time,speed\n0,1\n")
    assert campaign(*folders)[1].startswith("3 pairs:")


def test_empty_folders_are_exit_3(tmp_path):
    for name in ("base", "other"):
        (tmp_path / name).mkdir()
    code, out, _ = campaign(tmp_path / "base", tmp_path / "other")
    assert code == 3 and out.startswith("0 pairs: none")


def test_a_table_names_pairs_relative_to_itself_with_options_of_their_own(folders, tmp_path):
    rows = ["baseline,other,absolute", "base/a.csv,other/a.csv,", "base/b.csv,other/b.csv,5"]
    (tmp_path / "pairs.csv").write_text("\n".join(rows))
    assert campaign("--pairs", tmp_path / "pairs.csv", cwd="/")[0] == 0
    (tmp_path / "pairs.csv").write_text("\n".join(rows).replace(",5", ",0.5"))
    assert campaign("--pairs", tmp_path / "pairs.csv", cwd="/")[0] == 1


@pytest.mark.parametrize(
    ("table", "error"),
    [
        ("", "line 1: the header must begin with baseline,other"),
        ("a,b\n", "line 1: the header must begin with baseline,other"),
        ("baseline,other\nx.csv\n", "line 2: 1 cells, but the header has 2"),
        ("baseline,other,abs\nx.csv,y.csv,1\n", "line 2: there is no option 'abs'"),
        ("baseline,other,absolute\nx.csv,y.csv,-1\n", "line 2: absolute: '-1' is not understood"),
        ("baseline,other,coverage\nx.csv,y.csv,all\n", "line 2: coverage must be"),
    ],
)
def test_a_wrong_table_is_one_line_with_its_place(tmp_path, table, error):
    (tmp_path / "pairs.csv").write_text(table)
    code, out, err = campaign("--pairs", tmp_path / "pairs.csv")
    assert (code, out) == (2, "")
    assert err.startswith(f"kvr: {tmp_path}/pairs.csv, {error}") and err.count("\n") == 1


def test_wrong_arguments_are_exit_2(folders, tmp_path):
    for arguments, error in [
        ((folders[0],), "name two folders"),
        ((folders[0], folders[1], "--pairs", "x"), "name two folders or --pairs, not both"),
        ((folders[0], folders[1] / "a.csv"), "is not a folder"),
        ((folders[0], tmp_path / "none"), "none: there is no such folder; check the name"),
    ]:
        code, out, err = campaign(*arguments)
        assert (code, out) == (2, "") and error in err and err.count("\n") == 1
    assert campaign(*folders, "--jobs", 1, "--scheduler", "tcp://127.0.0.1:1")[0] == 2


def test_junit_goes_to_the_standard_output(folders, tmp_path):
    code, out, err = campaign(*folders, "--junit", "-", cwd=tmp_path)
    assert (code, err) == (1, "")
    assert len(xml.fromstring(out).findall("testsuite")) == 3
    assert not (tmp_path / "-").exists()


def test_place_that_cannot_be_written_is_told(folders, tmp_path):
    (tmp_path / "taken").mkdir()
    for place, reason in (("none/r.xml", "No such file"), ("taken", "Is a directory")):
        code, _, err = campaign(*folders, "--junit", tmp_path / place)
        assert code == 2
        assert err.startswith(f"kvr: {tmp_path / place}: cannot be written, {reason}")
    assert not list(tmp_path.glob("**/.kvr-*"))


def test_results_file_that_cannot_be_made_says_what_to_do(folders, tmp_path):
    place = tmp_path / "none" / "r.jsonl"
    code, out, err = campaign(*folders, "--results", place)
    assert (code, out) == (2, "")
    assert (
        err == f"kvr: {place}: cannot be written, No such file or directory; name another place\n"
    )


def test_campaign_that_compares_nothing_says_so(tmp_path):
    (tmp_path / "pairs.csv").write_text("baseline,other\n")
    code, out, err = campaign("--pairs", tmp_path / "pairs.csv")
    assert (code, err) == (3, "")
    assert out.splitlines()[-1] == "nothing was compared"


def test_junit_has_a_suite_a_pair(folders, tmp_path):
    (folders[1] / "a.csv").unlink()
    campaign(*folders, "--junit", tmp_path / "results.xml")
    suites = {
        suite.get("name").split(" against ")[0]: suite
        for suite in xml.parse(tmp_path / "results.xml").getroot()
    }
    counts = {
        os.path.relpath(name, folders[0]): (
            suite.get("tests"),
            suite.get("failures"),
            suite.get("errors"),
        )
        for name, suite in suites.items()
    }
    assert counts == {
        "a.csv": ("1", "0", "1"),
        "b.csv": ("1", "1", "0"),
        "sub/c.csv": ("1", "0", "0"),
    }
    failure = suites[str(folders[0] / "b.csv")].find("testcase/failure")
    assert failure.get("message").startswith("out at 1 of 2 instants")


def test_junit_names_the_pair_in_each_case(folders, tmp_path):
    """CI systems keep one case of those that share class name and name, whatever their suites."""
    for name in ("a.csv", "sub/c.csv"):
        (folders[1] / name).write_text("time,speed,speed\n0,1,1\n1,7,7\n")
        (folders[0] / name).write_text("time,speed,speed\n0,1,1\n1,2,2\n")
    for name in ("d.csv", "e.csv"):
        (folders[0] / name).write_text("")
        (folders[1] / name).write_text("")
    campaign(*folders, "--junit", tmp_path / "results.xml")
    suites = xml.parse(tmp_path / "results.xml").getroot()
    cases = [case for suite in suites for case in suite]
    assert len({(case.get("classname"), case.get("name")) for case in cases}) == len(cases) == 7
    for suite in suites:
        assert all(case.get("classname") == suite.get("name") for case in suite)


@pytest.mark.skipif(not LAUNCHER.exists(), reason="the package lies in its source folder")
@pytest.mark.parametrize("path", [None, LAUNCHER.parents[1] / "python"])
def test_workers_of_the_launcher_start(folders, path):
    environment = {name: value for name, value in ENVIRONMENT.items() if name != "PYTHONPATH"}
    if path:
        environment["PYTHONPATH"] = str(path)
    done = subprocess.run(
        [LAUNCHER, "campaign", *folders, "--jobs", "2"],
        capture_output=True, text=True, env=environment,
    )  # fmt: skip
    assert (done.returncode, done.stderr) == (1, "")
    assert done.stdout.startswith("3 pairs: passed 2, differs 1;")


def test_a_campaign_started_again_does_what_is_missing(folders, tmp_path):
    results = tmp_path / "results.jsonl"
    first = campaign(*folders, "--results", results)
    again = campaign(*folders, "--results", results)
    assert again == first and len(read_rows(results)) == 3


def test_more_workers_than_open_files_allow_are_told(folders, tmp_path):
    limit = (64, resource.getrlimit(resource.RLIMIT_NOFILE)[1])
    for number in range(40):
        for folder in folders:
            (folder / f"{number}.csv").write_text("time,speed\n0,1\n")
    code, out, err = campaign(
        *folders, "--jobs", 40, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, limit)
    )
    assert (code, out) == (2, "")
    assert err == (
        "kvr: too many files are open at once; raise the limit, as with ulimit -n, or use fewer jobs\n"
    )


def test_interrupting_keeps_what_is_finished_and_ends_at_once(tmp_path):
    pairs = write_pairs(tmp_path, 2000)
    rows = ["baseline,other", *(",".join(pair) for pair in pairs)]
    (tmp_path / "pairs.csv").write_text("\n".join(rows))
    results = tmp_path / "results.jsonl"
    command = [sys.executable, "-m", "kvr", "campaign", "--pairs", str(tmp_path / "pairs.csv"),
               "--results", str(results), "--jobs", "2"]  # fmt: skip
    with subprocess.Popen(
        command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True,
        preexec_fn=default_interrupt,
    ) as process:  # fmt: skip
        while not results.exists() or not results.stat().st_size:
            assert process.poll() is None
            time.sleep(0.01)
        os.killpg(process.pid, signal.SIGINT)  # as the terminal does: workers get it too
        out, err = process.communicate()
    assert (process.returncode, out, err) == (130, "", "kvr: interrupted\n")
    kept = Counter((row["baseline"], row["other"]) for row in read_rows(results))
    assert 0 < len(kept) < 2000 and set(kept.values()) == {1}
    code, out, _ = campaign("--pairs", tmp_path / "pairs.csv", "--results", results)
    assert code == 1 and out.startswith("2000 pairs: passed 1333, differs 667;")
    assert len(read_rows(results)) == 2000
