"""An open file, and what was read of it, go with the last object that stands for a part of it."""

import gc
import weakref

import kvr
import numpy as np
import pytest

RAW = """Title: a circuit
Date: Thu Jan  1 00:00:00 2026
Plotname: Transient Analysis
Flags: real
No. Variables: 2
No. Points: 2
Variables:
\t0\ttime\ttime
\t1\tv(1)\tvoltage
Values:
0\t0.0
\t1.0
1\t1.0
\t2.0
"""


@pytest.fixture(params=["kvr", "csv", "h5", "raw"])
def path(request, store, tmp_path):
    path = tmp_path / f"drive.{request.param}"
    if request.param == "raw":
        path.write_text(RAW)
    else:
        run = store.new_run("Monday")
        for label in ("speed", "force"):
            run.add(label, np.arange(100.0), time=np.arange(100.0))
        store.save(path)
        store.clear()
    return path


@pytest.fixture
def no_collector():
    gc.collect()
    gc.disable()
    yield
    gc.enable()


def test_file_goes_with_the_last_of_its_objects(path, no_collector):
    recording = kvr.open(path)
    gone = weakref.ref(recording)
    signal = recording.runs[0].signals[0]
    assert len(signal.values) == len(signal.time)
    del recording
    assert gone() is not None and signal.run.signals[0] == signal
    del signal
    assert gone() is None


def test_files_of_a_comparison_go_with_it(path, no_collector):
    comparison = kvr.compare(path, path)
    gone = weakref.ref(comparison.verdicts[0].baseline.run._recording)
    assert comparison.passed and comparison.verdicts[0].series().difference.any() == 0
    assert gone() is not None
    del comparison
    assert gone() is None


def test_loading_and_failing_keep_nothing_open(path, store, no_collector):
    store.load(path)
    with pytest.raises(FileNotFoundError):
        kvr.compare(path, "nowhere.kvr")
    kept = [one for one in gc.get_objects() if isinstance(one, kvr.Recording)]
    assert kept == []


def test_objects_of_one_thing_are_equal_and_those_of_two_are_not(path):
    with kvr.open(path) as recording, kvr.open(path) as again:
        run, signals = recording.runs[0], recording.runs[0].signals
        assert run == recording.runs[0] and hash(run) == hash(recording.runs[0])
        assert signals[0] == signals[0] and hash(signals[0]) == hash(run.signals[0])
        assert run != again.runs[0] and signals[0] != again.runs[0].signals[0]
        assert len({*run.signals, *recording.runs[0].signals}) == len(run)
        assert run.signals[-1] == list(run)[-1] and run.signals[:1] == [run.signals[0]]
        assert run in recording.runs and run.signals[0] in run
        with pytest.raises(IndexError):
            run.signals[len(run)]
