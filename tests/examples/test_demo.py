"""The demo tells its whole story on one screen and draws its picture."""

import shlex
import signal
import struct
import subprocess
import urllib.request

import kvr
import pytest


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    return tmp_path_factory.mktemp("demo")


@pytest.fixture(scope="module")
def output(run_example, folder):
    return run_example("demo.py", folder)


@pytest.fixture(scope="module")
def sections(output):
    """The lines under each title, which starts at the margin."""
    titled = {}
    title = ""
    for line in output.splitlines():
        if line.startswith(" "):
            titled[title].append(line.strip())
        else:
            title = line
            titled[title] = []
    return titled


def test_demo_fits_on_a_screen(output):
    lines = output.splitlines()
    assert len(lines) <= 65
    # The paths of the files are the caller's.
    told = lines[: lines.index("Try next")]
    fixed = [line for line in told if not line.strip().startswith(("Drawn in", "Written:"))]
    assert max(map(len, fixed)) <= 100


def test_demo_shows_both_recordings_as_runs(sections):
    runs = sections["Runs of instance 1"]
    assert [line.split()[:4] for line in runs] == [
        ["1", "As", "of", "2016-06-29"],
        ["2", "As", "of", "2016-07-29"],
    ]
    assert all("29 signals" in line for line in runs)


def test_demo_reads_back_the_figure_in_the_file(sections):
    assert "by source 2016-06-29/UNRATE   13 nowcast/labor/UNRATE            May 2016: 4.7" in (
        sections["Read back"]
    )


def test_demo_shows_a_failure_with_class_method_and_text(sections):
    assert sections["An id that is not there"] == [
        "KVR:kvr:NON_EXISTENT in getSignal: 'ID' does not exist."
    ]


def test_demo_draws_a_picture(folder):
    content = (folder / "TTLCONS.png").read_bytes()
    assert content.startswith(b"\x89PNG\r\n\x1a\n")
    assert struct.unpack(">II", content[16:24]) == (1080, 600)


def test_demo_leaves_a_recording_that_compares_like_the_store(folder, sections):
    recording = folder / "nowcast.kvr"
    names = [run.name for run in kvr.open(recording).runs]
    assert names == ["As of 2016-06-29", "As of 2016-07-29"]
    found = kvr.compare(*(f"{recording}#{name}" for name in names))
    assert found.summary() in sections["Run 2 compared with run 1"]


def test_demo_leaves_a_report(folder, sections):
    report = (folder / "report.html").read_text()
    assert report.startswith("<!doctype html>")
    assert "As of 2016-06-29 against As of 2016-07-29" in report
    last = sections["Run 2 compared with run 1"][-1]
    assert last.startswith(f"Written: {folder}") and last.endswith("nowcast.kvr for kvr")


def test_demo_tells_own_settings_from_those_of_the_run(sections):
    plain, tolerant, uniform = sections["Settings in force in run 1"]
    assert plain.count("(run)") == 2
    assert tolerant.index("(own)") < tolerant.index("(run)")
    assert uniform.index("(run)") < uniform.index("(own)")


def test_demo_reads_values_back_from_the_scratch_file(sections):
    assert sections["Scratch file"] == [
        "run 4 recorded in file mode: 29 signals read back equal to run 1"
    ]


def test_demo_ends_with_the_comparison_of_its_two_runs(output, sections):
    titles = [line for line in output.splitlines() if not line.startswith(" ")]
    assert titles[-2:] == ["Run 2 compared with run 1", "Try next"]
    summary, header, *rows = sections[titles[-2]]
    assert summary == "As of 2016-06-29 against As of 2016-07-29: within 22, out 7"
    assert header.split() == ["status", "excess", "first", "out", "signal"]
    failed = rows[:7]
    assert all(row.startswith("out ") for row in failed)
    assert failed[0].split() == [
        "out", "22610.5", "2014-04-01", "nowcast/construction/TTLCONS:", "Construction", "spending"
    ]  # fmt: skip
    excess = [float(row.split()[1]) for row in failed]
    assert excess == sorted(excess, reverse=True)
    assert " ".join(rows[7:-2]) == (
        "Construction spending: out at 23 of 378 instants, first at 2014-04-01: 1002975 instead of "
        "992914, off by 10061, allowed 4964.57 (relative 0.005, from the run)"
    )
    assert rows[-2].endswith("would exit with 1, which stands for a difference")


def test_commands_that_the_demo_names_work_where_it_ran(sections):
    *commands, _ = sections["Try next"]
    found = [subprocess.run(line, shell=True, capture_output=True, text=True) for line in commands]
    assert [done.returncode for done in found] == [1, 0, 0]
    assert [done.stderr for done in found] == ["", "", ""]
    compared, agreed, shown = (done.stdout.splitlines() for done in found)
    assert compared[0] == "2016-06-29 against 2016-07-29: within 22, out 7"
    assert agreed[-2:] == ["passed", "agreed"]
    assert shown[0].split() == ["signal", "TTLCONS"]


def test_inspector_that_the_demo_names_opens_where_it_ran(sections):
    command = sections["Try next"][-1].partition("#")[0]
    process = subprocess.Popen(
        [*shlex.split(command), "--no-browser"], stdout=subprocess.PIPE, text=True
    )
    try:
        address = process.stdout.readline().split()[-1]
        assert address.startswith("http://127.0.0.1:")
        cookies = urllib.request.build_opener(urllib.request.HTTPCookieProcessor())
        assert cookies.open(address, timeout=30).status == 200
    finally:
        process.send_signal(signal.SIGINT)
    assert process.wait(30) == 0


def test_demo_keeps_the_index_of_a_replaced_entry_and_closes_a_gap(sections):
    made, inserted, replaced, deleted, failed = sections["A typed map"]
    assert made == "made from two samples: keys char, values double"
    assert inserted == "inserted    1: copper = 2.1  2: oil = 48.3  3: gold = 1322"
    assert replaced == "replaced    1: copper = 2.1  2: oil = 41.6  3: gold = 1322"
    assert deleted == "deleted     1: oil = 41.6  2: gold = 1322"
    assert failed.startswith("KVR:kvr:KEY_NOT_IN_MAP in getDataByKey:")
