"""The inspector's server: two runs compared, and the curves of a pair."""

import json
from pathlib import Path

import jsonschema
import kvr
import numpy as np
import pytest
from viewing import compare

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")
from kvr._view import comparison  # noqa: E402  it needs them

SCHEMA = json.loads((Path(__file__).parents[2] / "docs" / "comparison.schema.json").read_text())


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
