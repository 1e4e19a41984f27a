"""Samples of recordings are read into memory that freed samples had, never into that of others."""

import os
import subprocess
import sys
import threading

import kvr
import numpy as np
import pytest

SIZES = (0, 1, 8191, 8192, 10_000, 10_001, 100_000)


@pytest.fixture
def recording(store, tmp_path):
    """Signals of several sizes and shapes, each with numbers of its own."""
    run = store.new_run("Monday")
    for number, size in enumerate(SIZES * 3):
        run.add(f"s{number}", expected(number, size), time=np.arange(float(size)))
    run.add("wide", np.arange(60_000).reshape(100, 20, 30), time=np.arange(100.0))
    run.add("narrow", np.zeros((50_000, 0, 3)), time=np.arange(50_000.0))
    store.save(tmp_path / "drive.kvr")
    store.clear()
    with kvr.open(tmp_path / "drive.kvr") as opened:
        yield opened


def expected(number, size):
    return np.arange(size, dtype=float) * 3 + number


def test_samples_that_are_in_use_are_never_written_over(recording):
    signals = recording.runs[0].signals
    for kept in range(1, 6):
        held = {}
        for number, size in list(enumerate(SIZES * 3)) * 2:
            values = signals[number].values
            assert np.array_equal(values, expected(number, size))
            if number % kept == 0:
                held[number] = values
        for number, values in held.items():
            assert np.array_equal(values, expected(number, SIZES[number % len(SIZES)]))


def test_views_keep_the_samples(recording):
    signals = recording.runs[0].signals
    views = [signals[6].values[50_000:], signals[6].time[::2]]
    for _ in range(20):
        _ = signals[13].values, signals[20].values
    assert np.array_equal(views[0], expected(6, 100_000)[50_000:])
    assert np.array_equal(views[1], np.arange(0.0, 100_000, 2))


def test_shapes_and_classes_stay(recording):
    for _ in range(3):
        wide, narrow = recording.runs[0]["wide"].values, recording.runs[0]["narrow"].values
        assert wide.dtype == np.int64 and not wide.flags.writeable
        assert np.array_equal(wide, np.arange(60_000).reshape(100, 20, 30))
        assert narrow.shape == (50_000, 0, 3)
        del wide, narrow


def test_threads_get_memory_of_their_own(recording):
    wrong = []

    def read(number):
        for _ in range(100):
            values = recording.runs[0].signals[number].values
            if not np.array_equal(values, expected(number, 100_000)):
                wrong.append(number)

    threads = [threading.Thread(target=read, args=(number,)) for number in (6, 13, 20)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert wrong == []


# In a process of its own, which holds nothing else that the system could have back.
READING = """
import sys, kvr

def resident():
    fields = open("/proc/self/status").read().split("VmRSS:")[1].split()
    return int(fields[0]) * 1024

with kvr.open(sys.argv[1]) as recording:
    signals = recording.runs[0].signals
    before = resident()
    held = [signal.values for signal in signals]
    most = resident()
    del held
    print(most - before, resident() - before)
"""


@pytest.mark.skipif(
    "asan" in os.environ.get("LD_PRELOAD", ""),
    reason="the sanitizer keeps freed memory for a while",
)
def test_little_memory_is_kept(store, tmp_path):
    path = tmp_path / "large.kvr"
    run = store.new_run("Monday")
    for number in range(12):
        run.add(f"s{number}", np.full(2_000_000, float(number)), time=np.arange(2_000_000.0))
    store.save(path)
    command = [sys.executable, "-c", READING, str(path)]
    most, left = map(
        int, subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout.split()
    )
    assert most > 12 * 16_000_000
    assert left < 60_000_000  # the blocks that are kept, and what the reader itself took
