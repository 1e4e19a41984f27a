"""Thinning of curves from Python: what it takes, refuses and keeps alive."""

import gc
import threading
import weakref

import numpy as np
import pytest
from kvr._kvr import Thinned

NAN, INFINITY = float("nan"), float("inf")


def thinned(values, time=None):
    values = np.asarray(values, dtype=np.float64)
    return Thinned(np.arange(float(len(values))) if time is None else time, values)


def test_a_window_keeps_first_lowest_highest_and_last_of_a_column():
    kept = thinned([5, 6, 9, 6, 5, 1, 3, 4]).window(0, 7, 1)
    assert kept.dtype == np.int64
    assert kept.tolist() == [0, 2, 5, 7]


def test_a_window_keeps_a_sample_on_either_side_and_further_ones():
    curve = thinned(np.zeros(1000))
    assert curve.window(100, 200, 1).tolist() == [99, 100, 200, 201]
    assert curve.window(100, 200, 1, keep=[150, 120, 5]).tolist() == [99, 100, 120, 150, 200, 201]
    assert curve.window(100, 200, columns=1, keep=np.array([150])).tolist()[2] == 150


def test_column_extremes_are_those_of_numpy():
    values = np.random.default_rng(1).normal(size=100_000)
    kept = thinned(values).window(0, 99_999, 100)
    assert len(kept) <= 400
    columns = values.reshape(100, 1000)
    for places in (columns.argmin(axis=1), columns.argmax(axis=1)):
        assert set((np.arange(100) * 1000 + places).tolist()) <= set(kept.tolist())


def test_extremes_are_indices_of_both_ends_included():
    curve = thinned([3, NAN, INFINITY, -INFINITY, NAN])
    assert len(curve) == 5
    assert curve.extremes(0, 4) == (3, 2)
    assert curve.extremes(0, 1) == (0, 0)
    assert curve.extremes(4, 4) is None


def test_nothing_is_kept_of_no_samples():
    curve = thinned([])
    assert len(curve) == 0
    assert curve.window(0, 1, 100).tolist() == []
    assert curve.window(-INFINITY, INFINITY, 100).dtype == np.int64


@pytest.mark.parametrize("dtype", ["float32", "int64", "bool", "complex128", ">f8", "O", "U1"])
def test_other_numbers_than_doubles_are_refused(dtype):
    good, other = np.zeros(2), np.zeros(2).astype(dtype)
    with pytest.raises(TypeError, match="^values: .* in place of float64$"):
        Thinned(good, other)
    with pytest.raises(TypeError, match="^time: .* in place of float64$"):
        Thinned(other, good)


def test_other_things_than_arrays_are_refused():
    with pytest.raises(TypeError):
        Thinned([0.0, 1.0], np.zeros(2))
    with pytest.raises(TypeError):
        Thinned(np.zeros(2), None)


UNALIGNED = np.frombuffer(bytes(17), dtype=np.float64, offset=1, count=2)


@pytest.mark.parametrize(
    "other", [np.zeros(4)[::2], np.zeros((2, 1)), np.zeros(()), np.zeros(2)[::-1], UNALIGNED]
)
def test_other_layouts_are_refused(other):
    with pytest.raises(ValueError, match="^values: not a contiguous array of one dimension$"):
        Thinned(np.zeros(2), other)
    with pytest.raises(ValueError, match="^time: not a contiguous array of one dimension$"):
        Thinned(other, np.zeros(2))


def test_times_that_fall_or_are_missing_are_refused():
    with pytest.raises(ValueError, match="^1 values for 2 times$"):
        Thinned(np.zeros(2), np.zeros(1))
    with pytest.raises(ValueError, match="^the time of sample 1 is NaN$"):
        thinned([1, 2], np.array([0, NAN]))
    with pytest.raises(ValueError, match="^the time of sample 2 is before that of the sample"):
        thinned([1, 2, 3], np.array([0.0, 1.0, 0.5]))


def test_windows_that_are_none_are_refused():
    curve = thinned([1, 2, 3])
    for window in ((1, 0, 5), (NAN, 1, 5), (0, 1, 0)):
        with pytest.raises(ValueError, match="^a window "):
            curve.window(*window)
    with pytest.raises(TypeError):
        curve.window(0, 1, -1)
    for sample in (-1, 3):
        with pytest.raises(IndexError, match=f"^there is no sample {sample}$"):
            curve.window(0, 1, 1, keep=[sample])
        with pytest.raises(IndexError, match=f"^there is no sample {sample}$"):
            curve.extremes(sample, sample)
    with pytest.raises(IndexError, match="^sample 2 is after sample 1$"):
        curve.extremes(2, 1)


def test_arrays_live_as_long_as_the_object_and_no_longer():
    time, values = np.arange(1000.0), np.arange(1000.0)
    ends = [weakref.ref(time), weakref.ref(values)]
    curve = Thinned(time, values)
    del time, values
    gc.collect()
    assert all(end() is not None for end in ends)
    assert curve.window(0, 999, 1).tolist() == [0, 999]
    del curve
    gc.collect()
    assert all(end() is None for end in ends)


def test_a_refused_array_is_let_go():
    time = np.array([1.0, 0.0])
    end = weakref.ref(time)
    with pytest.raises(ValueError):
        Thinned(time, np.zeros(2))
    del time
    gc.collect()
    assert end() is None


def test_read_only_arrays_are_taken(run):
    signal = run.add("speed", [4.5, 7.0, 9.5], time=[0.0, 0.1, 0.2])
    assert not signal.values.flags.writeable
    assert Thinned(signal.time, signal.values).extremes(0, 2) == (0, 2)


def test_an_array_that_changes_leads_to_no_index_outside():
    values = np.random.default_rng(2).normal(size=100_000)
    time = np.arange(100_000.0)
    curve = Thinned(time, values)
    for change in (NAN, INFINITY, 0.0):
        values[:] = change
        time[:] = change
        kept = curve.window(-INFINITY, INFINITY, 10)
        assert ((kept >= 0) & (kept < 100_000)).all()


def test_threads_get_the_same_windows():
    values = np.random.default_rng(3).normal(size=100_000)
    curve = thinned(values)
    expected = curve.window(0, 99_999, 1000).tolist()
    found = []
    threads = [
        threading.Thread(target=lambda: found.append(curve.window(0, 99_999, 1000).tolist()))
        for _ in range(8)
    ]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert found == [expected] * 8
