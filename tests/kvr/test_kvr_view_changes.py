"""The inspector's server: what windows change, and what the store then holds."""

import math
from datetime import datetime, timezone

import kvr
import pytest

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")


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
