"""Comparing runs: verdicts, settings, sides, threads and progress."""

import collections
import math
from pathlib import Path

import kvr
import numpy as np
import pytest
import vormel
from kvr import _kvr
from vormel.Dravik.kvr import SignalRepository

DATA = Path(__file__).parents[2] / "examples" / "data"
DAYS = DATA / "2016-06-29.csv", DATA / "2016-07-29.csv"
NAN = math.nan


@pytest.fixture
def two(store):
    """Two runs, and a way to add signals to both."""
    return store.new_run("baseline"), store.new_run("other")


def fill(run, *labels, values=(1.0, 2.0), **fields):
    for label in labels:
        run.add(label, values, time=np.arange(float(len(values))), **fields)


def statuses(comparison):
    return [(verdict.label, verdict.status) for verdict in comparison]


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


def test_extra_signals_alone_do_not_pass(two):
    fill(two[1], "a")
    comparison = kvr.compare(*two)
    assert (comparison.failed, comparison.passed) == ([], False)
    two[0].add("text", ["x"], time=[0.0])
    two[1].add("text", ["x"], time=[0.0])
    assert not kvr.compare(*two, ignore="a").passed  # a pair, but nothing was compared


def test_verdict_without_a_partner_holds_nothing_but_who_it_is(two):
    fill(two[0], "a")
    fill(two[1], "b")
    nothing = {
        "first_out", "last_out", "worst", "max_difference", "max_difference_time", "max_relative",
        "max_relative_time", "rms", "reason", "tolerance", "sync", "tolerance_source", "sync_source",
    }  # fmt: skip
    counts = {
        "instants", "instants_out", "judged", "out", "lost", "gained", "gaps", "outside",
        "uncovered", "beyond", "intervals_total",
    }  # fmt: skip
    for verdict in kvr.compare(*two):
        assert {getattr(verdict, name) for name in nothing} == {None}
        assert {getattr(verdict, name) for name in counts} == {0}
        assert verdict.intervals == ()


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


def test_given_record_replaces_the_whole_of_the_stored_one(two):
    for run in two:
        fill(run, "a")
    two[0]["a"].tolerance = kvr.Tolerance.window(5, 6, absolute=3)
    two[0]["a"].sync = kvr.Sync("uniform", "linear", interval=0)
    assert kvr.compare(*two)["a"].reason == "bad-settings"
    found = kvr.compare(*two, tolerance=kvr.Tolerance(relative=1), sync=kvr.Sync())["a"]
    assert (found.status, found.judged) == ("within", 2)
    assert (found.tolerance, found.sync) == (kvr.Tolerance(relative=1), kvr.Sync())


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


@pytest.mark.parametrize(
    "data",
    [vormel.array([1.0, 2.0], "cell"), {"a": 1.0}, "ab", ["a", "b"], vormel.array([], "cell")],
)
def test_cells_structures_and_texts_are_not_numeric(two, add_foreign, data):
    for run in two:
        add_foreign(run, {"Time": np.array([0.0, 1.0]), "Data": data})
    found = kvr.compare(*two)["foreign"]
    assert (found.status, found.reason) == ("incomparable", "not-numeric")


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
    from kvr._files import opening
    from kvr._files.recording import FileRuns

    class Twice:
        path = "x.two"
        runs = FileRuns([kvr.open(DAYS[0]).runs[0], kvr.open(DAYS[1]).runs[0]])

    monkeypatch.setattr(opening, "open_recording", lambda path: Twice)
    with pytest.raises(kvr.Ambiguous) as caught:
        kvr.compare("x.two", "x.two")
    assert str(caught.value) == (
        "x.two has 2 runs, '2016-06-29' and '2016-07-29'; name one as x.two#2016-06-29"
    )


# ---- Threads and progress ----


@pytest.mark.parametrize("threads", [1, 2, 7])
def test_result_does_not_depend_on_threads(threads):
    one = kvr.compare(*DAYS, match="name", threads=1).to_dict()
    assert kvr.compare(*DAYS, match="name", threads=threads).to_dict() == one


@pytest.mark.parametrize("threads", [100_000, 10**20])
def test_no_more_threads_start_than_there_are_signals(two, monkeypatch, threads):
    for run in two:
        fill(run, "a", "b")
    asked = []
    judging = _kvr.PairJudging
    monkeypatch.setattr(
        _kvr, "PairJudging", lambda *given: asked.append(given[3]) or judging(*given)
    )
    one = kvr.compare(*two, threads=1).to_dict()
    assert kvr.compare(*two, threads=threads).to_dict() == one
    assert asked == [1, 2]


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


# ---- The sentence ----


def test_text_of_a_verdict_is_a_sentence(two):
    fill(two[0], "a", values=[857.0])
    fill(two[1], "a", values=[872.0])
    two[0].tolerance = kvr.Tolerance(relative=0.01)
    assert kvr.compare(*two)["a"].text == (
        "out at 1 of 1 instant, first at 0: 872 instead of 857, off by 15, allowed 8.57 "
        "(relative 0.01, from the run)"
    )


# ---- What it takes from the store ----


@pytest.fixture
def calls(monkeypatch):
    """Counts the calls of methods of the store by their names."""
    counts = collections.Counter()
    for name in ("getSignal", "getTolerance", "getSyncOptions"):
        method = getattr(SignalRepository, name)

        def counted(self, *arguments, name=name, method=method):
            counts[name] += 1
            return method(self, *arguments)

        monkeypatch.setattr(SignalRepository, name, counted)
    return counts


def test_each_signal_is_read_once_and_the_settings_of_a_run_once(two, calls):
    for run in two:
        fill(run, *map(str, range(20)))
    calls.clear()
    assert kvr.compare(*two).passed
    assert calls["getSignal"] == 40
    assert calls["getTolerance"] <= 2
    assert calls["getSyncOptions"] <= 2


def test_own_settings_among_those_of_the_run_are_found(two):
    for run in two:
        fill(run, *map(str, range(6)))
    two[0].tolerance = kvr.Tolerance(1)
    two[0]["3"].tolerance = kvr.Tolerance(3)
    two[0]["4"].sync = kvr.Sync("intersection")
    found = kvr.compare(*two)
    assert [v.tolerance.absolute for v in found] == [1, 1, 1, 3, 1, 1]
    assert [v.tolerance_source for v in found] == ["run", "run", "run", "own", "run", "run"]
    assert [v.sync.method for v in found] == ["union"] * 4 + ["intersection", "union"]
    assert [v.sync_source for v in found] == ["run"] * 4 + ["own", "run"]


def test_verdicts_are_made_when_they_are_looked_at(two, monkeypatch):
    from kvr._comparing import verdicts

    for run in two:
        fill(run, *map(str, range(5)))
    made = []
    verdict = verdicts.Verdict
    monkeypatch.setattr(verdicts, "Verdict", lambda **fields: made.append(1) or verdict(**fields))
    found = kvr.compare(*two)
    assert found.passed
    assert (found.counts["within"], found.failed, len(found), made) == (5, [], 5, [])
    assert found[1] is found.verdicts[1]
    assert made == [1]
    assert [v.label for v in found.verdicts[-2:]] == ["3", "4"]
    with pytest.raises(IndexError):
        found[5]


def test_result_does_not_hold_the_series(two):
    for run in two:
        fill(run, "a", "b", values=[1.0] * 100)
    kvr.compare(*two)
    before = vormel.live_arrays()
    found = kvr.compare(*two)
    assert vormel.live_arrays() == before
    assert found["a"].judged == 100
