"""Comparing two arrays: what the verdict tells, reasons, aligned series, functions."""

import math
import threading

import kvr
import numpy as np
import pytest

NAN = math.nan


def same_times(baseline, other, **options):
    """The verdict on two lists of values at the times 0, 1, 2, ..."""
    return kvr.compare_series(range(len(baseline)), baseline, range(len(other)), other, **options)


@pytest.fixture
def two(store):
    """Two runs, and a way to add signals to both."""
    return store.new_run("baseline"), store.new_run("other")


def fill(run, *labels, values=(1.0, 2.0), **fields):
    for label in labels:
        run.add(label, values, time=np.arange(float(len(values))), **fields)


# ---- One pair: what the verdict tells ----


def test_verdict_tells_what_was_found():
    verdict = same_times([1, 2, 4, 8, NAN], [1, 2.5, 4.25, NAN, 7], tolerance=kvr.Tolerance(0.25))
    assert (verdict.status, verdict.reason, verdict.differs) == ("out", None, True)
    assert (verdict.instants, verdict.instants_out) == (5, 2)
    assert (verdict.judged, verdict.out, verdict.lost, verdict.gained) == (4, 2, 1, 1)
    assert (verdict.gaps, verdict.outside, verdict.uncovered, verdict.beyond) == (0, 0, 0, 0)
    assert (verdict.first_out, verdict.last_out) == (1.0, 3.0)
    assert verdict.worst.time == 3.0
    assert math.isnan(verdict.worst.other)
    assert (verdict.max_difference, verdict.max_difference_time) == (0.5, 1.0)
    assert (verdict.max_relative, verdict.max_relative_time) == (0.25, 1.0)
    assert verdict.rms == math.sqrt((0 + 0.25 + 0.0625) / 3)
    assert [(i.first, i.last, i.count) for i in verdict.intervals] == [(1, 1, 1), (3, 3, 1)]
    assert verdict.intervals_total == 2
    assert (verdict.baseline, verdict.other, verdict.baseline_identity) == (None, None, None)
    assert (verdict.tolerance, verdict.tolerance_source) == (kvr.Tolerance(0.25), "override")
    assert verdict.text.startswith("out at 2 of 5 instants, first at 1: 2.5 instead of 2")


def test_worst_of_complex_signals_is_complex():
    verdict = same_times([1 + 1j], [1 + 5j])
    assert (verdict.worst.baseline, verdict.worst.other) == (1 + 1j, 1 + 5j)
    assert verdict.worst.difference == 4.0


def test_component_is_numbered_as_numpy_does():
    baseline = np.zeros((2, 2, 3))
    other = baseline.copy()
    other[1, 1, 0] = 7
    for one in (other, np.asfortranarray(other)):
        verdict = kvr.compare_series([0, 1], baseline, [0, 1], one)
        assert (verdict.worst.component, verdict.worst.time, verdict.out) == (3, 1.0, 1)


@pytest.mark.parametrize(
    ("arguments", "reason"),
    [
        (([0], ["a"], [0], [1]), "not-numeric"),
        (([0], [1], [0], np.array(["2020"], "M8[Y]")), "not-numeric"),
        (([0], [object()], [0], [1]), "not-numeric"),
        (([0, 1], [1], [0], [1]), "bad-time"),
        (([NAN], [1], [0], [1]), "bad-time"),
        (([math.inf], [1], [0], [1]), "bad-time"),
        (([1, 0], [1, 1], [0], [1]), "bad-time"),
        (([True], [1], [0], [1]), "bad-time"),
        (([1j], [1], [0], [1]), "bad-time"),
        (([[0]], [1], [0], [1]), "bad-time"),
        ((["a"], [1], [0], [1]), "bad-time"),
        ((np.array(["2020"], "M8[Y]"), [1], [0], [1]), "bad-time"),
        ((np.array(["NaT"], "M8[s]"), [1], np.array(["2020"], "M8[Y]"), [1]), "bad-time"),
        (([0], [1], [0], [[1, 2]]), "shape-differs"),
        (([0], [1], [5], [1]), "nothing-compared"),
    ],
)
def test_pair_that_cannot_be_judged_has_a_reason(arguments, reason):
    coverage = "common" if reason == "nothing-compared" else "baseline"
    verdict = kvr.compare_series(*arguments, coverage=coverage)
    assert (verdict.status, verdict.reason) == ("incomparable", reason)
    assert verdict.differs
    assert verdict.text.startswith("incomparable: ")
    assert len(verdict.series().instants) == 0


def test_dates_of_different_units_meet():
    days = np.array(["1970-01-01", "1970-01-02"], "M8[D]")
    verdict = kvr.compare_series(days, [1, 2], days.astype("M8[ns]"), [1, 3])
    assert (verdict.status, verdict.first_out) == ("out", 86400.0)


@pytest.mark.parametrize(
    "dtype", ["bool", "int8", "uint64", "float16", "longdouble", ">f8", ">c16"]
)
def test_values_of_every_class_are_compared(dtype):
    values = np.array([0, 1, 1]).astype(dtype)
    assert same_times(values, [0.0, 1.0, 1.0]).status == "within"
    assert same_times(values, [0.0, 1.0, 2.0]).status == "out"


def test_views_with_steps_are_read_in_place():
    base = np.arange(20.0).reshape(10, 2)
    backwards = base[::-1, ::-1]
    assert kvr.compare_series(range(10), backwards, range(10), backwards.copy()).status == "within"
    assert kvr.compare_series(range(10), base[:, 1], range(10), base[:, 0]).max_difference == 1.0


def test_trailing_dimensions_of_one_do_not_count():
    assert kvr.compare_series([0], [[1]], [0], [1]).status == "within"
    assert kvr.compare_series([0], [[[1], [2]]], [0], [[1, 2]]).status == "within"


def test_masked_elements_are_refused_not_compared():
    masked = np.ma.masked_array([1.0, 9.0], [False, True])
    with pytest.raises(ValueError, match="values has masked elements"):
        same_times([1.0, 2.0], masked)
    with pytest.raises(ValueError, match="time has masked elements"):
        kvr.compare_series(masked, [1, 2], [0, 1], [1, 2])
    assert same_times([1.0, 2.0], np.ma.masked_array([1.0, 2.0])).status == "within"


def test_empty_baseline_is_within():
    assert kvr.compare_series([], [], [0], [1]).status == "within"
    assert kvr.compare_series([0], [1], [], []).status == "out"  # its sample is uncovered


@pytest.mark.parametrize(
    ("options", "text"),
    [
        (dict(coverage="all"), "coverage must be 'baseline' or 'common', not 'all'"),
        (dict(time_tolerance=-1), "time_tolerance must be 0 or more"),
        (dict(time_tolerance=NAN), "time_tolerance must be 0 or more"),
    ],
)
def test_bad_options_are_refused(options, text):
    with pytest.raises(ValueError, match=text):
        same_times([1], [1], **options)
    for wrong in (dict(tolerance=0.1), dict(sync="union"), dict(tolerance=None)):
        with pytest.raises(TypeError):
            same_times([1], [1], **wrong)


def test_series_are_aligned_with_what_was_judged():
    verdict = kvr.compare_series([0, 2], [1.0, 3.0], [0, 1, 2], [1.0, 9.0, 3.0], sync=kvr.Sync())
    series = verdict.series()
    assert series.instants.tolist() == [0, 1, 2]
    assert series.baseline.tolist() == [1, 1, 3]
    assert series.other.tolist() == [1, 9, 3]
    assert series.difference.tolist() == [0, 8, 0]
    assert series.tolerance.tolist() == [0, 0, 0]
    assert series.out.tolist() == [False, True, False]
    assert series.out.dtype == bool


def test_series_of_many_components_keep_their_shape():
    values = np.arange(12.0).reshape(2, 3, 2)
    series = kvr.compare_series([0, 1], values, [0, 1], values + 1j).series()
    assert series.baseline.shape == series.out.shape == (2, 3, 2)
    np.testing.assert_array_equal(series.baseline, values)
    np.testing.assert_array_equal(series.other, values + 1j)
    assert series.difference.tolist() == np.ones((2, 3, 2)).tolist()


def test_series_of_runs_are_read_anew(two):
    for run, values in zip(two, ([1.0, 2.0], [1.0, 3.0])):
        fill(run, "a", values=values)
    verdict = kvr.compare(*two)["a"]
    assert verdict.series().difference.tolist() == [0, 1]
    two[1].remove()
    with pytest.raises(kvr.Gone):
        verdict.series()


def test_series_of_a_missing_signal_is_refused(two):
    fill(two[0], "a")
    with pytest.raises(ValueError, match="there is no pair to align: missing"):
        kvr.compare(*two)["a"].series()


# ---- Functions ----


def test_tolerance_function_gets_instants_and_values():
    got = []

    def allow(t, baseline, other):
        got.append((t.tolist(), baseline.tolist(), other.tolist(), baseline.flags.writeable))
        return np.where(t < 1, 0.5, 0.0)

    kvr.functions["f"] = allow
    verdict = same_times([1, 2], [1.5, 2.5], tolerance=kvr.Tolerance.function("f"))
    assert got == [([0, 1], [1, 2], [1.5, 2.5], False)]
    assert (verdict.out, verdict.first_out) == (1, 1.0)
    assert "by f" in verdict.text


def test_tolerance_function_of_components_may_answer_for_each_or_for_all():
    baseline = np.zeros((2, 3, 1))
    other = baseline + [[1], [2], [3]]
    shapes = []

    def each(t, a, b):
        shapes.append(a.shape)
        return np.broadcast_to([1, 2, 2.5], (2, 3))

    kvr.functions["each"] = each
    kvr.functions["all"] = lambda t, a, b: [2, 3]
    for name, out in (("each", 2), ("all", 1)):
        found = kvr.compare_series(
            [0, 1], baseline, [0, 1], other, tolerance=kvr.Tolerance.function(name)
        )
        assert found.out == out
    assert shapes == [(2, 3)]  # trailing dimensions of 1 are dropped


def test_sync_function_gives_the_instants():
    kvr.functions["ends"] = lambda baseline, other: [baseline[0], other[-1], other[-1], 99]
    verdict = same_times([1, 5, 3], [1, 6, 3], sync=kvr.Sync.custom("ends"))
    assert (verdict.status, verdict.instants, verdict.judged) == ("within", 2, 2)


def test_function_that_nobody_registered_is_no_function():
    for options in (dict(tolerance=kvr.Tolerance.function("f")), dict(sync=kvr.Sync.custom("f"))):
        assert same_times([1], [1], **options).reason == "no-function"


def raising(*arguments):
    raise KeyError("no such thing")


@pytest.mark.parametrize(
    ("function", "text"),
    [
        (raising, "KeyError: 'no such thing'"),
        (lambda *a: [1.0], "shape (1,) instead of (2,)"),
        (lambda *a: 1.0, "shape () instead of (2,)"),
        (lambda *a: ["a", "b"], "not real numbers"),
        (lambda *a: [True, False], "bool, not real numbers"),
        (lambda *a: [1j, 1], "complex128, not real numbers"),
        (lambda *a: [0.0, -1.0], ""),
        (lambda *a: [0.0, NAN], ""),
        (lambda *a: None, "not real numbers"),
    ],
)
def test_function_that_fails_makes_the_pair_incomparable(function, text):
    kvr.functions["f"] = function
    verdict = same_times([1, 2], [1, 2], tolerance=kvr.Tolerance.function("f"))
    assert (verdict.reason, verdict.judged) == ("function-failed", 0)
    assert text in verdict.text
    assert "\n" not in verdict.text


@pytest.mark.parametrize("answer", [[1, 0], [NAN], [[0, 1]], ["a"], None, [math.inf]])
def test_sync_function_that_fails_makes_the_pair_incomparable(answer):
    kvr.functions["f"] = lambda *times: answer
    assert same_times([1, 2], [1, 2], sync=kvr.Sync.custom("f")).reason == "function-failed"


def test_functions_run_in_the_thread_that_asked_and_may_use_the_store(two):
    names = set()

    def allow(t, baseline, other):
        names.add(threading.current_thread())
        assert len(kvr.Store()) == 2
        return np.zeros(len(t))

    kvr.functions["f"] = allow
    for run in two:
        fill(run, *map(str, range(20)))
    two[0].tolerance = kvr.Tolerance.function("f")
    assert kvr.compare(*two, threads=4).passed
    assert names == {threading.current_thread()}


def test_ctrl_c_in_a_function_is_no_failure_of_the_function():
    def interrupt(*arguments):
        raise KeyboardInterrupt

    kvr.functions["f"] = interrupt
    with pytest.raises(KeyboardInterrupt):
        same_times([1], [1], tolerance=kvr.Tolerance.function("f"))
