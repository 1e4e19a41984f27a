"""The inspector's server: what windows ask and change, and what the store then holds."""

import doctest
import json
import math
import re
import time
from datetime import datetime, timezone
from pathlib import Path

import jsonschema
import kvr
import numpy as np
import pytest
from viewing import Window

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")
from kvr._view import comparison  # noqa: E402  it needs them
from kvr._view.routes import make_app  # noqa: E402

SCHEMA = json.loads((Path(__file__).parents[2] / "docs" / "comparison.schema.json").read_text())


@pytest.fixture(scope="module")
def view():
    with kvr.Store().view(browser=False) as view:
        yield view


@pytest.fixture(scope="module")
def admitted(view):
    return Window(view.url)


@pytest.fixture
def window(admitted):
    yield admitted
    admitted.send("DELETE", "/api/comparison")


@pytest.fixture
def speed(run):
    return run.add("speed", [4.5, 7.0, 9.5], time=[0.0, 0.1, 0.2], path="car/engine", unit="m/s")


# ---- The state ----


def test_state_of_an_empty_store(window):
    state = window.get("/api/state")
    assert (state["runs"], state["files"], state["tolerances"]) == ([], [], [])
    assert set(map(len, state["signals"].values())) == {0}


def test_state_has_every_run(store, run, window):
    run.created = datetime(2024, 5, 1, 12, tzinfo=timezone.utc)
    other = store.new_run("Tuesday", instance=3)
    first, second = window.get("/api/state")["runs"]
    assert first == {
        "id": run.id, "name": "Monday", "instance": 1, "version": run.version,
        "created": "2024-05-01T12:00:00+00:00", "signals": [], "tolerance": None, "sync": None,
    }  # fmt: skip
    assert (second["id"], second["instance"]) == (other.id, 3)


def test_state_has_every_column_of_a_signal(run, speed, window):
    part = run.add(
        "force", np.zeros((4, 2, 3), np.int16), time=np.arange(4), path="car", model="m", source="s",
        root_source="r", port=2, channel=(1, 2), sid="x:1", parent=speed,
    )  # fmt: skip
    part.color, part.dash, part.visible = "#102030", "--", True
    part.tolerance = kvr.Tolerance(absolute=0.5)
    state = window.get("/api/state")
    row = {name: column[1] for name, column in state["signals"].items()}
    assert state["tolerances"][row.pop("tolerance")] == kvr.Tolerance(absolute=0.5).to_fields()
    assert state["syncs"][row.pop("sync")] == kvr.Sync().to_fields()
    assert row == {
        "id": part.id, "run": run.id, "label": "force", "path": "car", "model": "m", "source": "s",
        "root_source": "r", "time_source": "", "port": 2, "channel": [1, 2], "sid": "x:1",
        "unit": None, "parent": speed.id, "class": "int16", "samples": 4, "shape": [2, 3],
        "start": 0.0, "end": 3.0, "color": "#102030", "dash": "--", "visible": True,
        "tolerance_inherited": False, "sync_inherited": True, "is_date": False, "drawable": True,
    }  # fmt: skip
    assert [state["signals"][name][0] for name in ("unit", "parent")] == ["m/s", None]


def test_settings_that_signals_share_stand_once_in_the_state(run, window):
    for _ in range(5):
        run.add("a", [1.0], time=[0.0])
    run.tolerance = kvr.Tolerance(relative=0.25)
    state = window.get("/api/state")
    assert [record["relative"] for record in state["tolerances"]] == [0.25]
    assert state["signals"]["tolerance"] == [0] * 5
    assert state["runs"][0]["tolerance"] == 0


@pytest.mark.parametrize(
    ("values", "kind", "drawable"),
    [(["a", "b"], "text", False), ([True, False], "bool", True), ([1j, 2], "complex128", True),
     (np.zeros((2, 0)), "float64", True), (np.array([1, 2**63], np.uint64), "uint64", True)],
)  # fmt: skip
def test_state_says_what_can_be_drawn(run, window, values, kind, drawable):
    signal = run.add("a", values, time=[0, 1])
    row = window.signals()[signal.id]
    assert (row["class"], row["drawable"]) == (kind, drawable)


def test_dates_and_infinite_times_are_told(run, window):
    dated = run.add("a", [1.0], time=[np.datetime64("2024-01-01")])
    endless = run.add("b", [1.0, 2.0], time=[0.0, np.inf])
    rows = window.signals()
    assert (rows[dated.id]["is_date"], rows[dated.id]["start"]) == (True, 1704067200.0)
    assert rows[endless.id]["end"] == "Infinity"


def test_signal_without_readable_values_is_told_as_such(run, add_foreign, window):
    signal = add_foreign(run, 1.0)
    row = window.signals()[signal.id]
    assert (row["class"], row["samples"], row["start"], row["drawable"]) == ("none", 0, None, False)


def test_names_of_any_characters_pass_as_they_are(store, window):
    name = "<img src=x onerror=alert(1)>\u202e\x07\n\u2028é😀"
    run = store.new_run(name)
    signal = run.add(name, [1.0], time=[0.0], path=name)
    assert window.get("/api/state")["runs"][0]["name"] == name
    assert window.signals()[signal.id]["label"] == name
    assert window.get("/api/groups?by=path")[0]["name"] == name


@pytest.mark.parametrize("descending", [False, True])
@pytest.mark.parametrize("by", ["path", "source", "label", "model", "run"])
def test_groups_are_those_of_the_store(store, run, window, by, descending):
    for label, path in (("a", "x"), ("b", "x"), ("a", "é")):
        run.add(label, [1.0], time=[0.0], path=path, model=label)
    store.new_run("Monday")
    store.new_run("Tuesday")
    found = window.get(f"/api/groups?by={by}&descending={int(descending)}")
    column = store.columns[by]
    assert found == [
        {"name": name, "ids": [member.id for member in column[name]]}
        for name in column.names(descending)
    ]
    assert found


# ---- Curves ----


def test_short_curve_comes_whole(run, speed, window):
    times, values, is_thinned = window.curves(f"/api/curves?of={speed.id}")[str(speed.id)]
    assert (times.tolist(), values.tolist()) == ([0.0, 0.1, 0.2], [4.5, 7.0, 9.5])
    assert not is_thinned


def test_curves_come_in_the_order_and_under_the_names_asked_for(run, window):
    values = np.arange(12).reshape(2, 2, 3) * (1 + 2j)
    signal = run.add("a", values, time=[0, 1])
    names = [f"{signal.id}", f"{signal.id}.1", f"{signal.id}.5i", f"{signal.id}i"]
    blocks = window.curves(f"/api/curves?of={','.join(names)}")
    assert list(blocks) == names
    found = [values.tolist() for _, values, _ in blocks.values()]
    # Component 1, column by column, is row 1 of column 0.
    assert found == [
        values[:, 0, 0].real.tolist(), values[:, 1, 0].real.tolist(),
        values[:, 1, 2].imag.tolist(), values[:, 0, 0].imag.tolist(),
    ]  # fmt: skip


def test_long_curve_keeps_its_extremes_and_its_ends(run, window):
    values = np.zeros(100_000)
    values[[31_000, 77_777]] = 5.0, -7.0
    signal = run.add("a", values, time=np.arange(100_000))
    times, values, is_thinned = window.curves(f"/api/curves?of={signal.id}&columns=100")[
        str(signal.id)
    ]
    assert is_thinned and len(times) <= 1000
    assert {31_000.0, 77_777.0, 0.0, 99_999.0} <= set(times)
    assert (values.max(), values.min()) == (5.0, -7.0)


def test_window_has_one_sample_beyond_on_either_side(run, window):
    signal = run.add("a", np.arange(100.0), time=np.arange(100.0))
    times, _, is_thinned = window.curves(f"/api/curves?of={signal.id}&from=10.5&to=13.5")[
        str(signal.id)
    ]
    assert times.tolist() == [10.0, 11.0, 12.0, 13.0, 14.0]
    assert not is_thinned


@pytest.mark.parametrize(("ends", "times"), [("from=98.5", [98, 99]), ("to=0.5", [0, 1]),
                                             ("from=1000", [99]), ("to=-5", [0]),
                                             ("from=200&to=300", [99])])  # fmt: skip
def test_window_with_an_open_end_or_beyond_the_signal(run, window, ends, times):
    signal = run.add("a", np.arange(100.0), time=np.arange(100.0))
    found, _, _ = window.curves(f"/api/curves?of={signal.id}&{ends}")[str(signal.id)]
    assert found.tolist() == times


def test_gaps_events_and_infinities_come_as_they_are(run, window):
    times, values = [0.0, 1.0, 1.0, 2.0, 3.0], [0.0, np.nan, np.inf, -np.inf, 1.0]
    signal = run.add("a", values, time=times)
    found = window.curves(f"/api/curves?of={signal.id}")[str(signal.id)]
    assert found[0].tolist() == times
    assert np.array_equal(found[1], values, equal_nan=True)


def test_signal_without_samples_has_an_empty_curve(run, window):
    signal = run.add("a", [], time=[])
    found = window.curves(f"/api/curves?of={signal.id}&from=0&to=1")[str(signal.id)]
    assert [len(part) for part in found[:2]] == [0, 0]


def test_reading_is_the_last_sample_at_or_before_the_time(run, window):
    signal = run.add("a", [1, 2, 3, 4], time=[0.0, 1.0, 1.0, 2.0])
    at = [-1, 0, 0.5, 1.0, 7, "-Infinity"]
    found = window.send("POST", "/api/readings", {"of": [str(signal.id)], "at": at})
    last = {"index": 3, "time": 2.0, "value": 4}
    assert found == [
        [
            None,
            {"index": 0, "time": 0.0, "value": 1, "next": {"index": 1, "time": 1.0, "value": 2}},
            {"index": 0, "time": 0.0, "value": 1, "next": {"index": 1, "time": 1.0, "value": 2}},
            {"index": 2, "time": 1.0, "value": 3, "next": last},
            {**last, "next": None},
            None,
        ]
    ]


def test_readings_are_exact_in_every_class(run, window):
    samples = {
        "whole": (np.array([2**63 + 1], np.uint64), 2**63 + 1),
        "truth": ([True], True),
        "single": (np.array([0.1], np.float32), float(np.float32(0.1))),
        "gap": ([np.nan], "NaN"),
        "complex": ([3 - 4j], 3.0),
        "text": (["é"], "é"),
    }
    ids = [str(run.add(name, values, time=[0]).id) for name, (values, _) in samples.items()]
    found = window.send("POST", "/api/readings", {"of": ids, "at": [0]})
    assert [row[0]["value"] for row in found] == [value for _, value in samples.values()]


# ---- Changes ----


def test_display_is_changed_in_the_store(speed, window):
    window.send(
        "PATCH", f"/api/signals/{speed.id}", {"visible": True, "color": "#ff8000", "dash": ":"}
    )
    assert (speed.visible, speed.dash) == (True, ":")
    assert speed.color == (1.0, 128 / 255, 0.0)
    window.send("PATCH", f"/api/signals/{speed.id}", {"visible": False, "color": [0, 0.5, 1]})
    assert (speed.visible, speed.color) == (False, (0.0, 0.5, 1.0))


def test_settings_are_changed_in_the_store_and_given_back_to_the_run(run, speed, window):
    run.tolerance = kvr.Tolerance(absolute=3)
    path = f"/api/signals/{speed.id}"
    window.send(
        "PATCH",
        path,
        {"tolerance": {"relative": 0.5}, "sync": {"method": "uniform", "interval": 2}},
    )
    assert speed.tolerance == kvr.Tolerance(relative=0.5)
    assert speed.sync == kvr.Sync("uniform", interval=2)
    assert not (speed.tolerance.inherited or speed.sync.inherited)
    window.send("PATCH", path, {"tolerance": None, "sync": None})
    assert (speed.tolerance, speed.tolerance.inherited) == (kvr.Tolerance(absolute=3), True)
    assert speed.sync.inherited


@pytest.mark.parametrize(
    "wanted",
    [kvr.Tolerance(math.inf, math.nan), kvr.Tolerance.window(1, 2, 0.5, 1, 2, 3, 4),
     kvr.Tolerance.function("settling"), kvr.Tolerance(-0.0, 5e-324)],
)  # fmt: skip
def test_every_field_of_a_tolerance_reaches_the_store(speed, window, wanted):
    record = {
        name: ("NaN" if math.isnan(value) else "Infinity" if math.isinf(value) else value)
        if isinstance(value, float)
        else value
        for name, value in wanted.to_fields().items()
    }
    window.send("PATCH", f"/api/signals/{speed.id}", {"tolerance": record})
    assert speed.tolerance == wanted
    state = window.get("/api/state")
    assert state["tolerances"][window.signals()[speed.id]["tolerance"]] == record


def test_many_signals_are_changed_at_once(run, window):
    ids = [run.add("a", [1.0], time=[0.0]).id for _ in range(20)]
    window.send(
        "PATCH", "/api/signals", {"ids": ids[:10], "visible": True, "sync": {"interp": "linear"}}
    )
    assert [signal.visible for signal in run.signals] == [True] * 10 + [False] * 10
    assert [signal.sync.interp for signal in run.signals] == ["linear"] * 10 + ["zoh"] * 10


def test_none_of_many_is_changed_if_one_is_gone(run, speed, window):
    answer = window.ask("PATCH", "/api/signals", {"ids": [speed.id, 99], "visible": True})
    assert (answer.status, answer.error) == (410, "signal 99 was removed; load the state again")
    assert not speed.visible


def test_run_is_changed_in_the_store(run, speed, window):
    change = {"name": "Sunday", "created": "2024-05-01T12:00:00+02:00", "tolerance": {"absolute": 1},
              "sync": {"method": "intersection"}}  # fmt: skip
    window.send("PATCH", f"/api/runs/{run.id}", change)
    assert run.name == "Sunday"
    assert run.created == datetime(2024, 5, 1, 10, tzinfo=timezone.utc)
    assert (run.tolerance, run.sync) == (kvr.Tolerance(absolute=1), kvr.Sync("intersection"))
    assert speed.tolerance == kvr.Tolerance(absolute=1)


def test_run_without_signals_has_no_settings_to_change(run, window):
    answer = window.ask("PATCH", f"/api/runs/{run.id}", {"name": "x", "tolerance": {}})
    assert (answer.status, run.name) == (422, "Monday")


def test_run_is_copied(store, run, speed, window):
    found = window.send("POST", f"/api/runs/{run.id}/copy", {"instance": 4})
    copy = store.runs.by_id(found["id"])
    assert (copy.instance, [signal.label for signal in copy]) == (4, ["speed"])
    assert window.send("POST", f"/api/runs/{run.id}/copy")["id"] == copy.id + 1
    assert store.runs[2].instance == 1


def test_run_and_signal_are_removed(store, run, speed, window):
    run.add("keep", [1.0], time=[0.0])
    window.send("DELETE", f"/api/signals/{speed.id}")
    assert [signal.label for signal in run] == ["keep"]
    window.send("DELETE", f"/api/runs/{run.id}")
    assert len(store) == 0


def test_every_change_leads_to_a_new_revision_and_a_look_does_not(run, speed, window):
    path = f"/api/signals/{speed.id}"
    seen = [window.get("/api/state")["revision"]]
    for change in ({"visible": True}, {"color": "#123456"}, {"tolerance": {"absolute": 9}}):
        seen.append(window.send("PATCH", path, change)["revision"])
    assert seen == list(range(seen[0], seen[0] + 4))
    assert window.send("PATCH", path, {"visible": True})["revision"] == seen[-1]
    assert window.get("/api/state")["revision"] == seen[-1]


def test_what_the_program_changes_is_in_the_next_state(store, run, speed, window):
    before = window.get("/api/state")["revision"]
    speed.color = "#abcdef"
    run.name = "Sunday"
    run.tolerance = kvr.Tolerance(absolute=7)
    other = store.new_run("Tuesday").add("b", [1.0], time=[0.0])
    state = window.get("/api/state")
    assert state["revision"] > before
    assert [one["name"] for one in state["runs"]] == ["Sunday", "Tuesday"]
    rows = window.signals()
    assert (rows[speed.id]["color"], rows[other.id]["label"]) == ("#abcdef", "b")
    assert state["tolerances"][rows[speed.id]["tolerance"]]["absolute"] == 7


# ---- Comparison ----


@pytest.fixture
def pair(store, run, speed):
    other = store.new_run("Tuesday")
    other.add("speed", [4.5, 7.0, 9.9], time=[0.0, 0.1, 0.2], path="car/engine")
    return run, other


def compare(window, pair, **options):
    first, second = pair
    body = {"baseline": first.id, "other": second.id, "options": options}
    return window.send("PUT", "/api/comparison", body)


def test_comparison_is_that_of_the_package(window, pair):
    run, other = pair
    run.add("only here", [1.0], time=[0.0])
    other.add("only there", [1j], time=[0.0])
    found = compare(window, pair)
    assert found == window.get("/api/comparison")
    assert (found.pop("is_date"), found.pop("revision") > 0) == ([False] * 3, True)
    expected = kvr.compare(run, other)
    assert found == json.loads(expected.to_json())
    jsonschema.validate(found, SCHEMA)
    assert [verdict["status"] for verdict in found["verdicts"]] == ["out", "missing", "extra"]


def test_comparison_takes_every_option(window, pair):
    run, other = pair
    options = {
        "match": ["label", "path"], "coverage": "common", "time_tolerance": 0.01, "strict": True,
        "tolerance": {"absolute": 1}, "sync": {"interp": "linear"}, "only": ["car/*"], "ignore": ["x"],
    }  # fmt: skip
    found = compare(window, pair, **options)
    expected = kvr.compare(
        run, other, match=("label", "path"), coverage="common", time_tolerance=0.01, strict=True,
        tolerance=kvr.Tolerance(1), sync=kvr.Sync(interp="linear"), only=["car/*"], ignore="x",
    )  # fmt: skip
    assert found["options"] == json.loads(expected.to_json())["options"]
    assert found["passed"] and expected.passed


def test_there_is_no_comparison_before_one_is_asked_for_and_after_it_was_dropped(window, pair):
    assert window.get("/api/comparison") is None
    compare(window, pair)
    window.send("DELETE", "/api/comparison")
    assert window.get("/api/comparison") is None
    assert window.ask("GET", "/api/pair?index=0").status == 404


def test_comparison_is_judged_anew_when_a_tolerance_changes(window, pair):
    run, _ = pair
    assert not compare(window, pair)["passed"]
    window.send("PATCH", f"/api/runs/{run.id}", {"tolerance": {"absolute": 1}})
    found = window.get("/api/comparison")
    assert found["passed"]
    assert found["verdicts"][0]["tolerance"]["absolute"] == 1


def test_only_pairs_whose_settings_changed_are_judged_again(window, pair, monkeypatch):
    run, other = pair
    for side in pair:
        for i in range(20):
            side.add(f"s{i}", [1.0], time=[0.0], path="p")
    compare(window, pair)
    judged = []

    def judge(*given):
        judged.append(given)
        return original(*given)

    original = comparison.judge
    monkeypatch.setattr(comparison, "judge", judge)
    window.send("PATCH", f"/api/signals/{run.signals[0].id}", {"tolerance": {"absolute": 1}})
    assert window.get("/api/comparison")["passed"]
    assert len(judged) == 1
    window.send("PATCH", f"/api/signals/{run.signals[0].id}", {"visible": True})
    window.get("/api/comparison")
    assert len(judged) == 1


def test_comparison_with_a_registered_function_calls_it(window, pair):
    kvr.functions["wide"] = lambda instants, baseline, other: np.full(len(instants), 9.0)
    record = kvr.Tolerance.function("wide").to_fields()
    assert compare(window, pair, tolerance=record)["passed"]


def test_signal_that_comes_or_goes_is_in_the_comparison(window, pair):
    run, other = pair
    compare(window, pair)
    window.send("DELETE", f"/api/signals/{other.signals[0].id}")
    assert [v["status"] for v in window.get("/api/comparison")["verdicts"]] == ["missing"]


def test_comparison_of_a_run_that_went_is_gone(window, pair):
    run, other = pair
    compare(window, pair)
    window.send("DELETE", f"/api/runs/{other.id}")
    assert window.get("/api/comparison") is None
    body = {"baseline": run.id, "other": other.id}
    assert window.ask("PUT", "/api/comparison", body).status == 410


def test_pair_has_both_signals_the_band_and_the_difference(window, pair):
    compare(window, pair, tolerance={"absolute": 0.25})
    blocks = window.curves("/api/pair?index=0")
    assert list(blocks) == ["baseline", "other", "difference", "tolerance", "low", "high"]
    values = {name: values.tolist() for name, (_, values, _) in blocks.items()}
    assert values["baseline"] == [4.5, 7.0, 9.5]
    assert values["other"] == [4.5, 7.0, 9.9]
    assert values["difference"] == [0.0, 0.0, 9.9 - 9.5]
    assert values["low"] == [4.25, 6.75, 9.25]
    assert values["high"] == [4.75, 7.25, 9.75]
    assert values["tolerance"] == [0.25] * 3
    assert blocks["difference"][0].tolist() == [0.0, 0.1, 0.2]


def test_band_is_on_the_compared_instants_and_signals_on_their_own(store, run, window):
    run.add("a", [0.0, 1.0], time=[0.0, 1.0])
    other = store.new_run("Tuesday")
    other.add("a", [0.0, 3.0], time=[0.0, 0.5])
    compare(window, (run, other), coverage="common")
    blocks = window.curves("/api/pair?index=0")
    assert blocks["other"][0].tolist() == [0.0, 0.5]
    assert blocks["difference"][0].tolist() == [0.0, 0.5]
    assert blocks["difference"][1].tolist() == [0.0, 3.0]


def test_pair_in_a_window_keeps_the_worst_instant_and_the_ends_of_what_is_out(store, run, window):
    rng = np.random.default_rng(5)
    time = np.arange(100_000.0)
    values = rng.normal(size=100_000)
    run.add("a", values, time=time)
    other = store.new_run("Tuesday")
    changed = values + 0.0
    changed[[40_000, 40_001, 70_123]] += 1e-3, 2e-3, 1e-3
    other.add("a", changed, time=time)
    compare(window, (run, other))
    times, values, is_thinned = window.curves("/api/pair?index=0&columns=50")["difference"]
    assert is_thinned and len(times) < 1000
    assert {40_000.0, 40_001.0, 70_123.0} <= set(times)


def test_pair_of_complex_components_has_imaginary_parts_and_the_modulus(store, run, window):
    values = np.array([[1 + 2j, 3 + 4j]])
    run.add("a", values, time=[0.0])
    other = store.new_run("Tuesday")
    other.add("a", values + [0, 3 - 4j], time=[0.0])
    compare(window, (run, other))
    worst = window.curves("/api/pair?index=0")
    assert list(worst) == [
        "baseline", "baseline imaginary", "other", "other imaginary", "difference", "tolerance",
    ]  # fmt: skip
    assert [worst[name][1].tolist() for name in worst] == [[3.0], [4.0], [6.0], [0.0], [5.0], [0.0]]
    first = window.curves("/api/pair?index=0&component=0")
    assert (first["baseline imaginary"][1][0], first["difference"][1][0]) == (2.0, 0.0)


def test_component_of_a_pair_counts_in_the_order_of_the_verdict(store, run, window):
    values = np.zeros((1, 2, 3))
    run.add("a", values, time=[0.0])
    other = store.new_run("Tuesday")
    values[0, 0, 1] = 7.0
    other.add("a", values, time=[0.0])
    found = compare(window, (run, other))
    assert found["verdicts"][0]["worst"]["component"] == 1
    assert window.curves("/api/pair?index=0")["other"][1].tolist() == [7.0]
    assert window.curves("/api/pair?index=0&component=1")["difference"][1].tolist() == [7.0]
    assert window.curves("/api/pair?index=0&component=3")["other"][1].tolist() == [0.0]
    assert window.ask("GET", "/api/pair?index=0&component=6").status == 422


def test_pair_without_a_partner_or_a_curve_has_only_what_can_be_drawn(store, run, window):
    run.add("here", [1.0], time=[0.0])
    run.add("text", ["x"], time=[0.0])
    other = store.new_run("Tuesday")
    other.add("text", [2.0], time=[0.0])
    compare(window, (run, other))
    assert list(window.curves("/api/pair?index=0")) == ["baseline"]
    assert list(window.curves("/api/pair?index=1")) == ["other"]


def test_pair_beyond_the_comparison_is_a_conflict(window, pair):
    compare(window, pair)
    assert window.ask("GET", "/api/pair?index=1").status == 409


# ---- Files for people ----


def test_runs_are_exported_as_a_recording(store, run, speed, window, tmp_path):
    store.new_run("Tuesday")
    answer = window.ask("GET", f"/api/export.kvr?runs={run.id}")
    assert answer.headers["content-disposition"] == 'attachment; filename="Monday.kvr"'
    (tmp_path / "a.kvr").write_bytes(answer.data)
    with kvr.open(tmp_path / "a.kvr") as recording:
        assert [one.name for one in recording.runs] == ["Monday"]
        assert recording.runs[0]["speed"].values.tolist() == [4.5, 7.0, 9.5]
    (tmp_path / "b.kvr").write_bytes(window.ask("GET", "/api/export.kvr").data)
    with kvr.open(tmp_path / "b.kvr") as recording:
        assert [one.name for one in recording.runs] == ["Monday", "Tuesday"]


def test_run_is_exported_as_csv(run, speed, window):
    pytest.importorskip("pandas")
    answer = window.ask("GET", f"/api/export.csv?run={run.id}")
    assert answer.data == b"time,speed [m/s]\n0.0,4.5\n0.1,7.0\n0.2,9.5\n"
    assert answer.headers["content-disposition"] == 'attachment; filename="Monday.csv"'


def test_comparison_is_exported_as_a_report(window, pair):
    assert window.ask("GET", "/api/report.html").status == 404
    compare(window, pair)
    answer = window.ask("GET", "/api/report.html")
    assert answer.status == 200, answer.data
    assert answer.headers["content-disposition"] == 'attachment; filename="report.html"'
    assert answer.headers["content-type"] == "text/html; charset=utf-8"
    assert answer.data.startswith(b"<!doctype html>")
    assert b"connect-src 'none'" in answer.data


def test_what_a_format_cannot_hold_is_told_without_the_servers_folders(run, window):
    pytest.importorskip("pandas")
    run.add("a", [1j], time=[0.0])
    answer = window.ask("GET", f"/api/export.csv?run={run.id}")
    assert (answer.status, answer.error) == (
        422, "Monday.csv: 'a' is complex, which CSV files cannot hold",
    )  # fmt: skip


@pytest.mark.parametrize(
    "name", ["../../etc/passwd", "a\r\nSet-Cookie: x=y", '"; x="', "\u202e", ""]
)
def test_name_of_an_exported_file_is_harmless(store, window, name):
    run = store.new_run(name)
    answer = window.ask("GET", f"/api/export.kvr?runs={run.id}")
    assert answer.status == 200
    disposition = answer.headers["content-disposition"]
    assert disposition.count('"') == 2
    assert not set(disposition.partition('"')[2]) & set("/\\\r\n\u202e")
    assert "set-cookie" not in answer.headers


def test_exported_files_leave_nothing_behind(run, speed, window, tmp_path, monkeypatch):
    monkeypatch.setenv("TMPDIR", str(tmp_path))
    monkeypatch.setattr("tempfile.tempdir", None)
    window.ask("GET", "/api/export.kvr")
    window.ask("GET", "/api/export.kvr?runs=99")
    window.ask("GET", f"/api/export.csv?run={run.id}")
    end = time.monotonic() + 10
    while list(tmp_path.iterdir()) and time.monotonic() < end:
        time.sleep(0.01)  # the last answer is here before its file is removed
    assert list(tmp_path.iterdir()) == []


# ---- What is wrong with a request ----

WRONG = [
    ("PATCH", "/api/signals/1", b"{", 400, "the body is no JSON"),
    ("PATCH", "/api/signals/1", b"\xff", 400, "the body is no JSON"),
    ("PATCH", "/api/signals/1", b"NaN", 400, "NaN is no JSON number"),
    ("PATCH", "/api/signals/1", b"[" * 100_000, 400, "the body is no JSON"),
    ("PATCH", "/api/signals/1", b"1" * 10_000, 400, "the body is no JSON"),
    ("PATCH", "/api/signals/1", [], 422, "the body must be a JSON object"),
    ("PATCH", "/api/signals/1", {"colour": "x"}, 422, "there is no field 'colour'"),
    ("PATCH", "/api/signals/1", {"visible": 1}, 422, "visible must be true or false"),
    ("PATCH", "/api/signals/1", {"color": "red"}, 422, "color must be '#rrggbb'"),
    ("PATCH", "/api/signals/1", {"color": [0, 1]}, 422, "color must be three numbers"),
    ("PATCH", "/api/signals/1", {"color": [0, 1, 1.5]}, 422, "numbers from 0 to 1"),
    ("PATCH", "/api/signals/1", {"dash": "\0"}, 422, "dash must not contain a NUL"),
    ("PATCH", "/api/signals/1", {"dash": "\ud800"}, 422, "dash has half a character at position 0"),
    ("PATCH", "/api/signals/1", {"tolerance": 1}, 422, "tolerance must be an object"),
    ("PATCH", "/api/signals/1", {"tolerance": {"type": 3}}, 422, "tolerance.type must be"),
    ("PATCH", "/api/signals/1", {"tolerance": {"absolute": "1"}}, 422, "tolerance.absolute must be"),
    ("PATCH", "/api/signals/1", {"tolerance": {"absolute": 10**400}}, 422, "too large a number"),
    ("PATCH", "/api/signals/1", {"sync": {"method": "x"}}, 422, "sync.method must be"),
    ("PATCH", "/api/signals/1", {"sync": {"method": []}}, 422, "sync.method must be"),
    ("PATCH", "/api/signals", {"visible": True}, 422, "ids must be a list"),
    ("PATCH", "/api/signals", {"ids": [1.0]}, 422, "ids[0] must be a whole number"),
    ("PATCH", "/api/signals", {"ids": [2**40]}, 422, "ids[0] must be a whole number"),
    ("PATCH", "/api/runs/1", {"name": None}, 422, "name must be a text"),
    ("PATCH", "/api/runs/1", {"created": "2024-05-01"}, 422, "created must be a time with an offset"),
    ("PATCH", "/api/runs/1", {"created": "0001-01-01T00:00+23:59"}, 422, "created must be"),
    ("PATCH", "/api/runs/1", {"tolerance": None}, 422, "tolerance must be an object"),
    ("POST", "/api/runs/1/copy", {"instance": 2**31}, 422, "instance must be a whole number"),
    ("PUT", "/api/comparison", {}, 422, "baseline must be a whole number"),
    ("PUT", "/api/comparison", {"baseline": 1, "other": 1, "options": []}, 422, "options must be"),
    ("PUT", "/api/comparison", {"baseline": 1, "other": 1, "options": {"match": "x"}}, 422, "match must be"),
    ("PUT", "/api/comparison", {"baseline": 1, "other": 1, "options": {"only": ["x"]}}, 422, "matches no signal"),
    ("PUT", "/api/comparison", {"baseline": 1, "other": 1, "options": {"coverage": "x"}}, 422, "coverage must be"),
    ("PUT", "/api/comparison", {"baseline": 1, "other": 1, "options": {"time_tolerance": -1}}, 422, "0 or more"),
    ("POST", "/api/readings", {"at": [1]}, 422, "of must name 1 to 256 curves"),
    ("POST", "/api/readings", {"of": ["1"], "at": [None]}, 422, "at[0] must be a number"),
    ("GET", "/api/groups", None, 422, "by must be"),
    ("GET", "/api/groups?by=path&descending=2", None, 422, "descending must be"),
    ("GET", "/api/curves", None, 422, "of must name 1 to 256 curves"),
    ("GET", "/api/curves?of=a", None, 422, "'a' is no curve"),
    ("GET", "/api/curves?of=1.1.1", None, 422, "'1.1.1' is no curve"),
    ("GET", "/api/curves?of=-1", None, 422, "'-1' is no curve"),
    ("GET", "/api/curves?of=1&of=1", None, 422, "of stands in the address twice"),
    ("GET", "/api/curves?of=1&from=nan", None, 422, "from must be a finite number"),
    ("GET", "/api/curves?of=1&from=2&to=1", None, 422, "to must not be below from"),
    ("GET", "/api/curves?of=1&columns=0", None, 422, "columns must be 1 or more"),
    ("GET", "/api/curves?of=1&columns=1e9", None, 422, "columns must be a whole number"),
    ("GET", "/api/curves?of=1.3", None, 422, "1.3: there is no component 3; a sample has 1"),
    ("GET", "/api/curves?of=1i", None, 422, "this signal is real"),
    ("GET", "/api/pair", None, 422, "the address needs index="),
    ("GET", "/api/export.kvr?runs=1,x", None, 422, "runs must be ids"),
    ("GET", "/api/export.csv", None, 422, "the address needs run="),
    ("GET", "/api/state?x=1", None, 422, "there is no field 'x'"),
]  # fmt: skip


@pytest.mark.parametrize(("method", "path", "body", "status", "text"), WRONG)
def test_wrong_request_is_told_what_is_wrong(speed, window, method, path, body, status, text):
    answer = window.ask(method, path, body)
    assert (answer.status, text in answer.error) == (status, True), answer.error


def test_body_of_another_type_is_refused(speed, window):
    answer = window.ask("PATCH", "/api/signals/1", {"visible": True}, Content_Type="text/plain")
    assert (answer.status, speed.visible) == (415, False)


@pytest.mark.parametrize(
    ("method", "path", "body"),
    [
        ("PATCH", "/api/signals/99", {"visible": True}), ("DELETE", "/api/signals/99", None),
        ("PATCH", "/api/runs/99", {"name": "x"}), ("DELETE", "/api/runs/99", None),
        ("POST", "/api/runs/99/copy", None), ("GET", "/api/curves?of=99", None),
        ("POST", "/api/readings", {"of": ["99"], "at": [0]}),
        ("PUT", "/api/comparison", {"baseline": 99, "other": 99}),
        ("GET", "/api/export.kvr?runs=99", None), ("GET", "/api/export.csv?run=99", None),
    ],
)  # fmt: skip
def test_what_is_gone_is_410(window, method, path, body):
    answer = window.ask(method, path, body)
    assert answer.status == 410
    assert answer.error.endswith("99 was removed; load the state again")


def test_page_that_is_not_built_is_told(window, monkeypatch, tmp_path):
    monkeypatch.setattr("kvr._view.routes._PAGE", tmp_path)
    answer = window.ask("GET", "/page.js")
    assert (answer.status, answer.error) == (503, "page.js is not built: scripts/build makes it")


def test_page_is_served_as_what_it_is(window, monkeypatch, tmp_path):
    monkeypatch.setattr("kvr._view.routes._PAGE", tmp_path)
    for name in ("page.html", "page.js", "page.css"):
        (tmp_path / name).write_text(name)
    found = [window.ask("GET", path) for path in ("/", "/page.js", "/page.css")]
    assert [answer.data for answer in found] == [b"page.html", b"page.js", b"page.css"]
    assert [answer.headers["content-type"] for answer in found] == [
        "text/html; charset=utf-8", "text/javascript; charset=utf-8", "text/css; charset=utf-8",
    ]  # fmt: skip


# ---- The document ----


def routes_of_the_document():
    """Method and address of every row of the protocol's table."""
    text = (Path(__file__).parents[2] / "docs" / "inspector.md").read_text()
    table = text.partition("| request | answer |")[2].partition("\n\n")[0]
    found = set()
    for row in table.splitlines()[2:]:
        method = None
        for word in re.findall(r"`([^`]*)`", row.split("|")[1]):
            parts = word.split()
            if parts[0].isupper():
                method = parts.pop(0)
            path = parts[0].partition("?")[0] if parts else None
            if path is None:  # as in `GET`, `DELETE /api/comparison`
                found.add((method, "/api/comparison"))
            else:
                found.add((method, path.replace("ID", "{id}")))
    return found


def test_document_lists_every_request_that_is_answered():
    routes = make_app(None).routes
    answered = {(method, route.path) for route in routes for method in route.methods}
    assert routes_of_the_document() == answered - {("GET", "/favicon.ico")}


def test_example_of_the_document_prints_what_it_says():
    document = Path(__file__).parents[2] / "docs" / "inspector.md"
    failures, tests = doctest.testfile(str(document), module_relative=False)
    assert (failures, tests) == (0, 5)
