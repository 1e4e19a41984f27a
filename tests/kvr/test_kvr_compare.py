"""Comparing arrays and runs: verdicts, pairing, settings, threads, and known answers."""

import math
import signal as signals
import subprocess
import sys
import threading
import time
from pathlib import Path

import hypothesis
import kvr
import numpy as np
import pytest
import vormel
from hypothesis import strategies as st

DATA = Path(__file__).parents[2] / "examples" / "data"
DAYS = DATA / "2016-06-29.csv", DATA / "2016-07-29.csv"
NAN = math.nan


def pair_of(*arguments, **options):
    return kvr.compare_series(*arguments, **options)


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


def statuses(comparison):
    return [(verdict.label, verdict.status) for verdict in comparison]


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


# ---- Two runs ----


def test_verdicts_stand_in_the_order_of_the_baseline_then_the_extras(two):
    baseline, other = two
    fill(baseline, "c", "a", "b")
    fill(other, "x", "b", "c", "y")
    other.add("text", ["a"], time=[0.0])
    baseline.add("text", ["a"], time=[0.0])
    comparison = kvr.compare(baseline, other)
    assert statuses(comparison) == [
        ("c", "within"), ("a", "missing"), ("b", "within"), ("text", "incomparable"),
        ("x", "extra"), ("y", "extra"),
    ]  # fmt: skip
    assert comparison.counts == {
        "within": 2, "out": 0, "missing": 1, "extra": 2, "incomparable": 1,
    }  # fmt: skip
    assert [verdict.label for verdict in comparison.failed] == ["a", "text"]
    assert not comparison.passed
    missing, extra = comparison["a"], comparison["x"]
    assert (missing.other, missing.baseline) == (None, baseline["a"])
    assert (extra.other, extra.baseline) == (other["x"], None)
    assert (missing.instants, missing.max_difference, missing.worst) == (0, None, None)
    assert missing.text == "missing: the other has no such signal"
    assert (missing.differs, extra.differs) == (True, False)


def test_extra_fails_only_if_strict(two):
    fill(two[0], "a")
    fill(two[1], "a", "b")
    assert kvr.compare(*two).passed
    strict = kvr.compare(*two, strict=True)
    assert not strict.passed
    assert [verdict.label for verdict in strict.failed] == ["b"]


def test_nothing_compared_does_not_pass(two):
    assert not kvr.compare(*two).passed
    fill(two[0], "a", values=(1.0,))
    assert not kvr.compare(*two).passed


def test_verdict_is_found_by_label(two):
    fill(two[0], "a", "a", "b")
    comparison = kvr.compare(*two)
    assert comparison["b"].label == "b"
    assert comparison[0].label == "a"
    assert [verdict.label for verdict in comparison[1:]] == ["a", "b"]
    with pytest.raises(kvr.Ambiguous, match="2 verdicts are on 'a'"):
        comparison["a"]
    with pytest.raises(kvr.NotFound, match="no verdict is on 'c'"):
        comparison["c"]


def test_identity_stays_when_the_signals_are_gone(two):
    fill(two[0], "a", path="p", source="s", port=2, channel=[1, 2])
    comparison = kvr.compare(two[0], two[0])
    two[0].remove()
    identity = comparison[0].baseline_identity
    assert identity == ("baseline", 1, "a", "p", "s", 2, (1, 2))


# ---- Pairing ----


def paired(two, first, second, **options):
    """Pairs as (baseline id, other id), 0 for none. Runs are made of dicts of fields."""
    for run, signals_of_run in zip(two, (first, second)):
        for fields in signals_of_run:
            run.add(**({"label": "l", "values": [1.0], "time": [0.0]} | fields))
    comparison = kvr.compare(*two, **options)
    ids = [
        tuple(side.id if side else 0 for side in (v.baseline_identity, v.other_identity))
        for v in comparison
    ]
    return ids, comparison.warnings


def test_path_pairs_path_port_and_channel_whatever_the_label(two):
    first = [dict(path="p", port=1), dict(path="p", port=2), dict(path="p", channel=[1])]
    second = [
        dict(path="p", channel=[1], label="x"),
        dict(path="p", port=2),
        dict(path="q", port=1),
    ]
    assert paired(two, first, second) == ([(1, 0), (2, 5), (3, 4), (0, 6)], [])


def test_empty_path_pairs_by_label_port_and_channel(two):
    first = [dict(label="a"), dict(label="b", port=1), dict(label="c")]
    second = [dict(label="b"), dict(label="a"), dict(label="b", port=1), dict(path="c")]
    assert paired(two, first, second)[0] == [(1, 5), (2, 6), (3, 0), (0, 4), (0, 7)]


def test_name_source_and_sid_pair_by_their_text(two):
    first = [dict(label="a", source="s", sid="1"), dict(label="b", source="t", sid="2")]
    second = [dict(label="b", source="s", sid="2"), dict(label="a", source="u", sid="1")]
    assert paired(two, first, second, match="name")[0] == [(1, 4), (2, 3)]
    assert [v.other.id if v.other else 0 for v in kvr.compare(*two, match="source")] == [3, 0, 4]
    assert [v.other.id for v in kvr.compare(*two, match="sid")] == [4, 3]


def test_signal_without_key_texts_is_keyed_by_its_label_apart_from_the_others(two):
    first = [dict(label="a"), dict(label="s")]
    second = [dict(label="x", source="a"), dict(label="a"), dict(label="b", source="s")]
    assert paired(two, first, second, match="source")[0] == [(1, 4), (2, 0), (0, 3), (0, 5)]


def test_tuple_of_fields_pairs_by_all_of_them(two):
    first = [dict(label="a", path="p", port=1), dict(label="a", path="q")]
    second = [dict(label="a", path="q"), dict(label="a", path="p", port=2)]
    assert paired(two, first, second, match=("label", "path"))[0] == [(1, 4), (2, 3)]
    assert len(kvr.compare(*two, match=("label", "path", "port"))) == 3


def test_numbers_of_a_tuple_stay_where_the_texts_are_empty(two):
    first = [dict(label="a", port=1), dict(label="a", port=2)]
    second = [dict(label="a", port=2), dict(label="a", port=1)]
    assert paired(two, first, second, match=("source", "port"))[0] == [(1, 4), (2, 3)]


def test_key_that_stands_several_times_is_paired_in_order_with_one_warning(two):
    first = [dict(path="p"), dict(path="p"), dict(path="p")]
    second = [dict(path="p"), dict(path="q"), dict(path="p")]
    ids, warnings = paired(two, first, second)
    assert ids == [(1, 4), (2, 6), (3, 0), (0, 5)]
    assert warnings == [
        "the key 'p' stands 3 times in the baseline and twice in the other; "
        "its signals are paired in their order"
    ]


def test_only_and_ignore_look_at_path_and_label_on_both_sides(two):
    first = [dict(path="car/a", label="x"), dict(path="car/b", label="y"), dict(label="z")]
    second = [dict(path="car/a", label="w"), dict(path="car/b", label="y")]
    assert paired(two, first, second, only="car/a/*")[0] == [(1, 4)]
    assert len(kvr.compare(*two, ignore=["*/y", "z"])) == 1
    assert statuses(kvr.compare(*two, only=["*x", "z"])) == [("x", "missing"), ("z", "missing")]
    assert statuses(kvr.compare(*two, only="*/w")) == [("w", "extra")]
    with pytest.raises(ValueError, match="only='car' matches no signal on either side"):
        kvr.compare(*two, only=["z", "car"])
    with pytest.raises(ValueError, match="only='Z'"):
        kvr.compare(*two, only="Z")
    assert len(kvr.compare(*two, only="z", ignore="*")) == 0
    with pytest.raises(TypeError):
        kvr.compare(*two, only=[1])


@pytest.mark.parametrize("match", ["label", "Path", ("label", "colour"), (), ("id",)])
def test_unknown_ways_of_pairing_are_refused(two, match):
    with pytest.raises(ValueError, match="match "):
        kvr.compare(*two, match=match)


@hypothesis.settings(deadline=None, max_examples=100)
@hypothesis.given(
    st.lists(st.sampled_from(["a", "b", "", "c"]), max_size=8),
    st.lists(st.sampled_from(["a", "b", "", "d"]), max_size=8),
    st.sampled_from(["path", "name", "source"]),
)
def test_each_signal_stands_in_one_verdict(first, second, match):
    store = kvr.Store()
    runs = store.new_run("a"), store.new_run("b")
    for run, names in zip(runs, (first, second)):
        for name in names:
            run.add(name, [1.0], time=[0.0], path=name, source=name)
    comparison = kvr.compare(*runs, match=match, threads=1)
    assert [v.baseline.id for v in comparison if v.baseline] == [s.id for s in runs[0]]
    assert sorted(v.other.id for v in comparison if v.other) == [s.id for s in runs[1]]
    expected = sum(min(first.count(name), second.count(name)) for name in set(first))
    assert comparison.counts["within"] == expected
    for run in runs:
        run.remove()


# ---- Settings ----


def test_settings_in_force_for_the_baseline_apply(two):
    baseline, other = two
    fill(baseline, "own", "run")
    fill(other, "own", "run", values=(1.5, 2.5))
    other.tolerance = kvr.Tolerance(9)
    baseline.tolerance = kvr.Tolerance(0.5)
    baseline["own"].tolerance = kvr.Tolerance(0.25)
    baseline["own"].sync = kvr.Sync("intersection")
    comparison = kvr.compare(baseline, other)
    assert statuses(comparison) == [("own", "out"), ("run", "within")]
    own, run = comparison
    assert (own.tolerance, own.tolerance_source) == (kvr.Tolerance(0.25), "own")
    assert (own.sync, own.sync_source) == (kvr.Sync("intersection"), "own")
    assert (run.tolerance_source, run.sync_source) == ("run", "run")
    assert "from the signal" in own.text
    wide = kvr.compare(baseline, other, tolerance=kvr.Tolerance(1))
    assert wide.passed
    assert (wide["own"].tolerance_source, wide["own"].sync_source) == ("override", "own")


def test_bad_settings_are_said_by_the_verdict(two):
    for run in two:
        fill(run, "a")
    for tolerance in (kvr.Tolerance(-1), kvr.Tolerance(NAN), kvr.Tolerance(0, math.inf)):
        assert kvr.compare(*two, tolerance=tolerance)["a"].reason == "bad-settings"
    assert kvr.compare(*two, sync=kvr.Sync("uniform", interval=0))["a"].reason == "bad-settings"


def test_lost_values_make_the_pair_incomparable_under_its_name(store, tmp_path):
    vormel.functions["tempdir"] = lambda: f"{tmp_path}/"
    baseline, other = store.new_run("a"), store.new_run("b")
    fill(other, "speed", path="car")
    with store.to_file():
        fill(baseline, "speed", path="car")
    (tmp_path / "KVR.vdf").unlink()
    (verdict,) = kvr.compare(store.runs["a"], other)
    assert (verdict.label, verdict.reason) == ("speed", "no-values")
    assert verdict.other is not None


def test_record_without_a_time_series_has_no_values(two, add_foreign):
    for run in two:
        add_foreign(run, 1.0)
    assert kvr.compare(*two)["foreign"].reason == "no-values"


# ---- Sides ----


def test_sides_may_be_files(tmp_path):
    path = tmp_path / "a#b.csv"
    path.write_text("time,a\n0,1\n")
    assert kvr.compare(path, str(path)).passed
    assert kvr.compare(f"{path}#a#b", path).passed
    with pytest.raises(kvr.NotFound, match="no run is named 'c'"):
        kvr.compare(f"{path}#c", path)
    with pytest.raises(FileNotFoundError):
        kvr.compare(path, tmp_path / "none.csv#x")
    with pytest.raises(TypeError, match="a side is a run or a path"):
        kvr.compare(path, 3)


def test_file_with_several_runs_wants_a_name(monkeypatch, tmp_path):
    from kvr import _opening
    from kvr._recording import FileRuns

    class Twice:
        path = "x.two"
        runs = FileRuns([kvr.open(DAYS[0]).runs[0], kvr.open(DAYS[1]).runs[0]])

    monkeypatch.setattr(_opening, "open_recording", lambda path: Twice)
    with pytest.raises(kvr.Ambiguous) as caught:
        kvr.compare("x.two", "x.two")
    assert str(caught.value) == (
        "x.two has 2 runs, '2016-06-29' and '2016-07-29'; name one as x.two#2016-06-29"
    )


# ---- Threads, progress, interruption ----


@pytest.mark.parametrize("threads", [1, 2, 7])
def test_result_does_not_depend_on_threads(threads):
    one = kvr.compare(*DAYS, match="name", threads=1).to_dict()
    assert kvr.compare(*DAYS, match="name", threads=threads).to_dict() == one


def test_threads_must_be_a_whole_number_above_0(two):
    for wrong in (0, -1):
        with pytest.raises(ValueError, match="threads must be 1 or more"):
            kvr.compare(*two, threads=wrong)
    for wrong in (1.5, "2", True):
        with pytest.raises(TypeError):
            kvr.compare(*two, threads=wrong)


def test_progress_is_told_to_the_end(two):
    for run in two:
        fill(run, *map(str, range(50)))
    told = []
    kvr.compare(*two, progress=lambda done, total: told.append((done, total)))
    assert told[-1] == (50, 50)
    assert told == sorted(told)
    with pytest.raises(TypeError):
        kvr.compare(*two, progress=3)


def test_error_of_progress_ends_the_comparison(two):
    for run in two:
        fill(run, *map(str, range(50)))

    def fail(done, total):
        raise RuntimeError("enough")

    with pytest.raises(RuntimeError, match="enough"):
        kvr.compare(*two, progress=fail)


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
        process.send_signal(signals.SIGINT)
        assert process.stdout.readline() == "interrupted\n"
        # 0.2 seconds on a machine of its own; other tests may have the processors.
        assert time.monotonic() - began < 1.0
    finally:
        process.kill()
        process.wait()


# ---- Known answers ----


def nowcast(relative=0.0, **options):
    return kvr.compare(*DAYS, match="name", tolerance=kvr.Tolerance(relative=relative), **options)


@pytest.mark.parametrize(
    ("relative", "out"), [(0, 17), (1e-4, 17), (1e-3, 10), (2e-3, 8), (1e-2, 3), (5e-2, 0)]
)
def test_nowcast_signals_that_are_out(relative, out):
    comparison = nowcast(relative)
    assert comparison.counts["out"] == out
    assert comparison.counts["within"] == 29 - out
    assert comparison.passed == (out == 0)


def test_nowcast_values_revised_and_gained():
    comparison = nowcast()
    names = ("judged", "out", "gained", "lost")
    totals = {name: sum(getattr(verdict, name) for verdict in comparison) for name in names}
    assert totals == {"judged": 8653, "out": 85, "gained": 21, "lost": 0}
    assert {verdict.beyond for verdict in comparison} == {1}  # the second day has a month more


@pytest.mark.parametrize("interp", ["zoh", "linear"])
@pytest.mark.parametrize("method", ["union", "intersection", "uniform"])
def test_run_and_its_copy_agree_for_every_method(store, method, interp):
    (run,) = store.load(DAYS[0])
    sync = kvr.Sync(method, interp if method != "uniform" else "zoh", interval=86400)
    for other in (run, run.copy()):
        comparison = kvr.compare(run, other, sync=sync)
        assert comparison.counts["within"] == 29
        assert comparison.passed


def test_text_of_a_verdict_is_a_sentence(two):
    fill(two[0], "a", values=[857.0])
    fill(two[1], "a", values=[872.0])
    two[0].tolerance = kvr.Tolerance(relative=0.01)
    assert kvr.compare(*two)["a"].text == (
        "out at 1 of 1 instant, first at 0: 872 instead of 857, off by 15, allowed 8.57 "
        "(relative 0.01, from the run)"
    )
