"""Threads that judge while signals are read: same verdicts, and an orderly end whatever happens."""

import os
import signal
import subprocess
import sys
import time

import kvr
import numpy as np
import pytest

PAIRS = 300
# 0.2 seconds on a machine of its own; other tests may have the processors.
PATIENCE = 1.0


@pytest.fixture
def two(store):
    """Two runs of pairs on different times, one in three of them out."""
    runs = store.new_run("baseline"), store.new_run("other")
    times = np.arange(200.0)
    for number in range(PAIRS):
        values = np.sin(times * 0.1 + number)
        runs[0].add(f"signal {number}", values, time=times)
        runs[1].add(f"signal {number}", values + (number % 3 == 0), time=times + 0.25)
    return runs


def fields_of(comparison):
    return [
        {name: value for name, value in vars(verdict).items() if not name.startswith("_")}
        for verdict in comparison
    ]


def thread_count():
    return len(os.listdir("/proc/self/task"))


def ends_with(count):
    """Whether this process comes to so many threads; an ended one is listed for a moment more."""
    deadline = time.monotonic() + 5.0
    while thread_count() != count and time.monotonic() < deadline:
        time.sleep(0.01)
    return thread_count() == count


@pytest.mark.parametrize("threads", [2, 3, 16])
def test_verdicts_are_equal_to_the_bit_whatever_the_threads(two, threads):
    options = {"sync": kvr.Sync("union", "linear"), "tolerance": kvr.Tolerance(0.3)}
    one = kvr.compare(*two, threads=1, **options)
    assert one.counts["out"] > 0
    assert fields_of(kvr.compare(*two, threads=threads, **options)) == fields_of(one)


def test_no_thread_is_left(two):
    before = thread_count()
    kvr.compare(*two, threads=4)
    assert ends_with(before)


@pytest.mark.parametrize("threads", [1, 4])
def test_what_a_function_raises_beside_the_threads_ends_the_comparison(two, threads):
    def interrupt(*arguments):
        raise KeyboardInterrupt

    kvr.functions["f"] = interrupt
    two[0]["signal 150"].tolerance = kvr.Tolerance.function("f")
    before = thread_count()
    with pytest.raises(KeyboardInterrupt):
        kvr.compare(*two, threads=threads)
    assert ends_with(before)


def test_a_function_that_fails_beside_the_threads_is_one_verdict(two):
    def fail(*arguments):
        raise ValueError("not today")

    kvr.functions["f"] = fail
    two[0]["signal 150"].tolerance = kvr.Tolerance.function("f")
    found = kvr.compare(*two, threads=4, coverage="common")
    assert [verdict.label for verdict in found if verdict.reason] == ["signal 150"]
    assert "not today" in found["signal 150"].text


def test_a_function_may_change_the_store_in_the_middle(two):
    """The others are judged by what was read before."""
    whole = kvr.compare(*two, threads=1, coverage="common")

    def remove(t, baseline, other):
        for run in two:
            run["signal 299"].remove()
            run.add("later", [1.0], time=[0.0])
        return np.full(len(t), 10.0)

    kvr.functions["f"] = remove
    two[0]["signal 0"].tolerance = kvr.Tolerance.function("f")
    found = kvr.compare(*two, threads=4, coverage="common")
    assert len(found) == PAIRS
    assert [v.status for v in found][1:] == [v.status for v in whole][1:]
    with pytest.raises(kvr.Gone):
        found["signal 299"].series()


def test_a_function_that_removes_a_signal_it_is_about_to_judge_ends_in_gone(two):
    def remove(t, baseline, other):
        if "signal 200" in two[0]:
            two[0]["signal 200"].remove()
        return np.zeros(len(t))

    kvr.functions["f"] = remove
    two[0].tolerance = kvr.Tolerance.function("f")
    before = thread_count()
    with pytest.raises(kvr.Gone):
        kvr.compare(*two, threads=4)
    assert ends_with(before)


def test_a_process_forked_in_a_function_can_unwind(two):
    """It has none of the threads, and must not wait for them."""
    parent, ended = os.getpid(), []

    def fork(t, baseline, other):
        child = os.fork()
        if child == 0:
            raise KeyboardInterrupt  # out of the comparison, in the child
        deadline = time.monotonic() + 60.0
        while not ended and time.monotonic() < deadline:
            time.sleep(0.01)
            ended.extend(pid for pid in [os.waitpid(child, os.WNOHANG)[0]] if pid)
        if not ended:
            os.kill(child, signal.SIGKILL)
            os.waitpid(child, 0)
        return np.zeros(len(t))

    kvr.functions["f"] = fork
    two[0]["signal 0"].tolerance = kvr.Tolerance.function("f")
    try:
        kvr.compare(*two, threads=4, coverage="common")
    except KeyboardInterrupt:
        if os.getpid() != parent:
            os._exit(0)
        raise
    assert len(ended) == 1


INTERRUPTED = """
import kvr, numpy, signal, sys
signal.signal(signal.SIGINT, signal.default_int_handler)  # a shell's background jobs ignore it
store = kvr.Store()
run = store.new_run("a")
time = numpy.arange(2000.0)
for number in range(300):
    run.add(str(number), numpy.sin(time), time=time)
copy = run.copy()
sync = kvr.Sync("uniform", "linear", 1e-4)  # 2e7 instants a pair
print("ready", flush=True)
try:
    kvr.compare(run, copy, sync=sync, threads=int(sys.argv[1]))
    print("finished", flush=True)
except KeyboardInterrupt:
    print("interrupted", flush=True)
"""


@pytest.mark.parametrize("threads", ["1", "2", "6"])
def test_ctrl_c_ends_what_all_threads_are_at(threads):
    process = subprocess.Popen(
        [sys.executable, "-c", INTERRUPTED, threads], stdout=subprocess.PIPE, text=True
    )
    try:
        assert process.stdout.readline() == "ready\n"
        time.sleep(0.5)
        began = time.monotonic()
        process.send_signal(signal.SIGINT)
        assert process.stdout.readline() == "interrupted\n"
        assert time.monotonic() - began < PATIENCE
        assert process.wait(10) == 0
    finally:
        process.kill()
        process.wait()
