"""Ctrl-C ends a comparison at once, in a program and in the command."""

import os
import signal
import subprocess
import sys
import time

import pytest

# 0.2 seconds on a machine of its own; other tests may have the processors.
PATIENCE = 1.0

# Two samples a side, and 2e9 instants: one comparison that takes many seconds.
INTERRUPTED = """
import kvr, sys
sync = kvr.Sync("uniform", "linear", 1e-9)
store = kvr.Store()
run = store.new_run("a")
run.add("a", [0.0, 1.0], time=[0.0, 2.0])
copy = run.copy()
print("ready", flush=True)
try:
    if sys.argv[1] == "series":
        kvr.compare_series([0, 2], [0.0, 1.0], [0, 2], [0.0, 1.0], sync=sync)
    else:
        kvr.compare(run, copy, sync=sync)
    print("finished", flush=True)
except KeyboardInterrupt:
    print("interrupted", flush=True)
"""


@pytest.mark.parametrize("what", ["series", "runs"])
def test_ctrl_c_ends_a_comparison_at_once(what):
    process = subprocess.Popen(
        [sys.executable, "-c", INTERRUPTED, what], stdout=subprocess.PIPE, text=True
    )
    try:
        assert process.stdout.readline() == "ready\n"
        time.sleep(1.0)
        began = time.monotonic()
        process.send_signal(signal.SIGINT)
        assert process.stdout.readline() == "interrupted\n"
        assert time.monotonic() - began < PATIENCE
    finally:
        process.kill()
        process.wait()


def interrupted_command(folder, *options, after):
    """Exit code and errors of the command, interrupted so many seconds after its start."""
    process = subprocess.Popen(
        [sys.executable, "-m", "kvr", "compare", "a.csv", "a.csv", *options],
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, cwd=folder, env=os.environ,
    )  # fmt: skip
    try:
        time.sleep(after)
        began = time.monotonic()
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=20)
        assert time.monotonic() - began < PATIENCE
        return process.returncode, errors
    finally:
        process.kill()
        process.wait()


@pytest.mark.parametrize("jobs", ["1", "2"])
def test_ctrl_c_ends_the_command_with_130_while_it_compares(tmp_path, jobs):
    (tmp_path / "a.csv").write_text("time,a\n0,0\n2,1\n")
    options = ("--sync", "uniform:1e-9", "--interp", "linear", "--jobs", jobs)
    found = interrupted_command(tmp_path, *options, after=2.0)
    assert found == (130, "kvr: interrupted\n")


def test_ctrl_c_leaves_no_results_behind(tmp_path):
    (tmp_path / "a.csv").write_text("time,a\n0,0\n2,1\n")
    options = ("--sync", "uniform:1e-9", "--json", "r.json")
    assert interrupted_command(tmp_path, *options, after=2.0)[0] == 130
    assert os.listdir(tmp_path) == ["a.csv"]


# Its worker tells when it starts, and takes a second to begin.
STARTING = """
import sys, time
if __name__ == "__mp_main__":
    print("starting", flush=True)
    time.sleep(1.0)
import kvr
if __name__ == "__main__":
    try:
        for result in kvr.campaign([("a.csv", "a.csv")], jobs=1):
            print("finished", flush=True)
    except KeyboardInterrupt:
        print("interrupted", flush=True)
"""


def campaign_of(program, folder):
    """The program, at the head of a process group of its own, beside the file that it compares."""
    (folder / "a.csv").write_text("time,a\n0,0\n2,1\n")
    (folder / "compared.py").write_text(program)
    return subprocess.Popen(
        [sys.executable, "compared.py"], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
        cwd=folder, start_new_session=True,
    )  # fmt: skip


def test_a_worker_that_is_starting_leaves_ctrl_c_to_its_parent(tmp_path):
    with campaign_of(STARTING, tmp_path) as process:
        assert process.stdout.readline() == "starting\n"
        os.killpg(process.pid, signal.SIGINT)  # as the terminal does
        assert process.communicate() == ("interrupted\n", "")


# Its worker begins a comparison of many seconds as soon as it has started.
BUSY = STARTING.replace("jobs=1", 'jobs=1, sync=kvr.Sync("uniform", "linear", 1e-9)')


def test_a_second_ctrl_c_does_not_wait_for_the_work_of_the_workers(tmp_path):
    with campaign_of(BUSY, tmp_path) as process:
        try:
            assert process.stdout.readline() == "starting\n"
            for _ in range(2):
                os.killpg(process.pid, signal.SIGINT)
                time.sleep(0.2)
            assert process.communicate(timeout=5 * PATIENCE)[0] == "interrupted\n"
        finally:
            process.kill()


def test_a_campaign_that_is_told_to_end_leaves_no_file_and_no_worker(tmp_path):
    (tmp_path / "a.csv").write_text("time,a\n0,0\n2,1\n")
    (tmp_path / "pairs.csv").write_text("baseline,other\na.csv,a.csv\n")
    options = ("--junit", "r.xml", "--sync", "uniform:1e-9", "--interp", "linear", "--jobs", "1")
    with subprocess.Popen(
        [sys.executable, "-m", "kvr", "campaign", "--pairs", "pairs.csv", *options],
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, cwd=tmp_path,
    ) as process:  # fmt: skip
        try:
            while not list(tmp_path.glob(".kvr-*")):
                assert process.poll() is None
                time.sleep(0.01)
            time.sleep(1.0)  # the worker starts
            process.terminate()
            # The workers hold these pipes as well: both end when all have gone.
            assert process.communicate(timeout=5 * PATIENCE) == ("", "")
        finally:
            process.kill()
    assert process.returncode == 128 + signal.SIGTERM
    assert sorted(os.listdir(tmp_path)) == ["a.csv", "pairs.csv"]
