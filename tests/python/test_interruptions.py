"""Ctrl-C ends a program between calls of the host and inside host functions."""

import os
import signal
import threading

import pytest
import vormel


@pytest.fixture
def ctrl_c():
    """Sends the process what Ctrl-C sends it, a little later and from another thread."""
    timers = []

    def send():
        timers.append(threading.Timer(0.05, os.kill, [os.getpid(), signal.SIGINT]))
        timers[-1].start()

    yield send
    for timer in timers:
        timer.join()


def test_ctrl_c_ends_a_loop_of_calls_between_two_of_them(repo, ctrl_c):
    run = repo.createEmptyRun("Monday", 1)
    finished = 0
    with pytest.raises(KeyboardInterrupt):
        ctrl_c()
        while True:
            repo.setRunName(run, str(finished + 1))
            finished += 1
    assert repo.getRunName(run) in (str(finished), str(finished + 1))
    assert repo.getRunCount() == 1


def test_ctrl_c_ends_a_host_function_that_waits_and_the_call_with_it(repo, ctrl_c):
    def wait():
        ctrl_c()
        assert not threading.Event().wait(60)

    vormel.functions["version"] = wait
    with pytest.raises(KeyboardInterrupt):
        repo.createEmptyRun("Monday", 1)
    del vormel.functions["version"]
    assert repo.getRunCount() == 0
    assert repo.getRunName(repo.createEmptyRun("Tuesday", 1)) == "Tuesday"


def test_ctrl_c_during_a_conversion_refuses_the_call(any_map, ctrl_c):
    class Waiting:
        def __array__(self):
            ctrl_c()
            assert not threading.Event().wait(60)

    with pytest.raises(KeyboardInterrupt):
        any_map.insert("a", Waiting())
    assert any_map.getCount() == 0
