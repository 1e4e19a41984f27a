"""The inspector's server: what a window is told of the store."""

from datetime import datetime, timezone

import kvr
import numpy as np
import pytest

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")


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
