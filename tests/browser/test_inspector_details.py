"""The details of a signal and a run: what is changed in place, and what the store then holds."""

from __future__ import annotations

import kvr
import numpy as np
import pytest
from inspector_page import Inspector, focus_list
from selenium.webdriver.common.keys import Keys


# ---- A signal's details ----


def test_colour_dash_and_visibility_are_changed_in_place(
    inspector: Inspector, store: kvr.Store
) -> None:
    page = inspector.page
    speed = store.runs["Monday"]["speed"]
    inspector.choose("speed", "Monday")
    page.all(".palette-color")[2].click()
    inspector.sees(
        lambda: speed.color == pytest.approx((0x1A / 255, 0x8A / 255, 0x4A / 255)), "the colour"
    )
    page.run(
        "arguments[0].value = '#123456'; arguments[0].dispatchEvent(new Event('change'))",
        page.one("input[type=color]"),
    )
    inspector.sees(
        lambda: speed.color == pytest.approx((0x12 / 255, 0x34 / 255, 0x56 / 255)), "the colour"
    )
    inspector.pick("line", "Look", "dash-dotted")
    inspector.sees(lambda: speed.dash == "-.", "the dashes")
    inspector.switch("Look").send_keys(" ")
    inspector.sees(lambda: speed.visible, "the signal to be shown")


def test_a_tolerance_of_two_amounts_is_changed_in_place_and_inherited_again(
    inspector: Inspector, store: kvr.Store
) -> None:
    speed = store.runs["Monday"]["speed"]
    store.runs["Monday"].tolerance = kvr.Tolerance(absolute=0.5)
    focus_list(inspector.page)
    inspector.page.press("sp", Keys.ENTER, "d")
    inspector.sees(
        lambda: inspector.field("absolute", "Tolerance").get_attribute("value") == "0.5",
        "the run's",
    )
    assert not inspector.switch("Tolerance").is_selected()
    inspector.enter("relative", "Tolerance", "0.01")
    inspector.sees(
        lambda: speed.tolerance == kvr.Tolerance(absolute=0.5, relative=0.01), "the tolerance"
    )
    assert not speed.tolerance.inherited
    inspector.sees(lambda: inspector.switch("Tolerance").is_selected(), "its own tolerance")
    inspector.switch("Tolerance").click()
    inspector.sees(lambda: speed.tolerance.inherited, "the run's tolerance")
    inspector.sees(
        lambda: inspector.field("relative", "Tolerance").get_attribute("value") == "0",
        "the run's amount",
    )


def test_a_tolerance_with_a_window_has_all_its_fields(
    inspector: Inspector, store: kvr.Store
) -> None:
    torque = store.runs["Monday"]["torque"]
    inspector.choose("torque", "Monday")
    inspector.pick("allowed by", "Tolerance", "a window")
    inspector.sees(lambda: torque.tolerance.type == 1, "the window")
    texts = {
        "from": "10",
        "to": "1e1",
        "step": "2",
        "absolute at first": "0.5",
        "relative at first": "0.25",
    }
    for label, text in texts.items():
        inspector.enter(label, "Tolerance", text)
    fields = inspector.page.all("section[aria-label='Tolerance'] .field:not([hidden]) input.entry")
    for place, text in ((4, "-0.125"), (6, "Infinity")):
        fields[place].send_keys(Keys.CONTROL, "a")
        fields[place].send_keys(text, Keys.ENTER)
        inspector.page.settle()
    wanted = kvr.Tolerance.window(10, 10, 2, 0.5, -0.125, 0.25, np.inf)
    inspector.sees(lambda: torque.tolerance == wanted, f"{wanted}, not {torque.tolerance}")


def test_a_tolerance_and_a_synchronisation_may_be_functions(
    inspector: Inspector, store: kvr.Store
) -> None:
    speed = store.runs["Monday"]["speed"]
    inspector.choose("speed", "Monday")
    inspector.pick("allowed by", "Tolerance", "a function")
    inspector.enter("name", "Tolerance", "wide")
    inspector.sees(lambda: speed.tolerance == kvr.Tolerance.function("wide"), "the function")
    inspector.pick("compared at", "Synchronisation", "a function")
    inspector.enter("name", "Synchronisation", "grid")
    inspector.sees(
        lambda: (speed.sync.type, speed.sync.function_name) == (1, "grid"), "the function"
    )


def test_synchronisation_options_are_changed_in_place_and_inherited_again(
    inspector: Inspector, store: kvr.Store
) -> None:
    speed = store.runs["Monday"]["speed"]
    inspector.choose("speed", "Monday")
    inspector.pick("compared at", "Synchronisation", "uniform steps")
    inspector.enter("step", "Synchronisation", "0.25")
    inspector.pick("between", "Synchronisation", "straight line")
    wanted = kvr.Sync("uniform", "linear", 0.25)
    inspector.sees(lambda: speed.sync == wanted, f"{wanted}, not {speed.sync}")
    inspector.switch("Synchronisation").send_keys(" ")
    inspector.sees(lambda: speed.sync.inherited, "the run's options")


def test_what_is_no_number_is_refused_beside_the_field_and_the_old_value_comes_back(
    inspector: Inspector, store: kvr.Store
) -> None:
    before = store.runs["Monday"]["speed"].tolerance
    inspector.choose("speed", "Monday")
    inspector.enter("absolute", "Tolerance", "much")
    assert inspector.refusals() == ["“much”: this is not a number"]
    assert inspector.field("absolute", "Tolerance").get_attribute("value") == "0"
    assert store.runs["Monday"]["speed"].tolerance == before
    inspector.enter("absolute", "Tolerance", "1")
    inspector.sees(lambda: inspector.refusals() == [], "the refusal to go")


def test_what_the_server_refuses_is_said_beside_the_field_and_the_old_value_comes_back(
    inspector: Inspector, store: kvr.Store
) -> None:
    inspector.choose("Monday")
    inspector.enter("created", "Run", "0000-01-01")
    inspector.sees(lambda: len(inspector.refusals()) == 1, "the refusal")
    assert "created" in inspector.refusals()[0]
    field = inspector.field("created", "Run").get_attribute("value")
    assert field.startswith(str(store.runs["Monday"].created.date()))
    inspector.page.errors()  # the browser notes every refused request


# ---- A run's details ----


def test_a_run_is_renamed_and_dated(inspector: Inspector, store: kvr.Store) -> None:
    run = store.runs["Monday"]
    inspector.choose("Monday")
    inspector.enter("name", "Run", "Friday")
    inspector.sees(lambda: run.name == "Friday", "the name")
    inspector.sees(lambda: "Friday" in inspector.rows(), "the name in the list")
    inspector.enter("created", "Run", "2024-05-01 12:30")
    inspector.sees(lambda: run.created.isoformat() == "2024-05-01T12:30:00+00:00", "the date")


def test_the_settings_of_a_run_are_those_of_its_signals(
    inspector: Inspector, store: kvr.Store
) -> None:
    inspector.choose("Monday")
    inspector.enter("relative", "Tolerance of its signals", "0.5")
    speed = store.runs["Monday"]["speed"]
    inspector.sees(lambda: speed.tolerance == kvr.Tolerance(relative=0.5), "the tolerance")
    assert speed.tolerance.inherited
    inspector.pick("compared at", "Synchronisation of its signals", "times of both")
    inspector.sees(lambda: speed.sync.method == "intersection", "the options")


def test_a_run_is_copied(inspector: Inspector, store: kvr.Store) -> None:
    inspector.choose("Monday")
    inspector.press_button("Copy")
    inspector.sees(lambda: len(store.runs) == 3, "the copy")
    assert [signal.label for signal in store.runs[2].signals] == [
        "speed",
        "torque",
        "gear",
        "place",
        "note",
    ]
    inspector.sees(
        lambda: inspector.fields().get("chosen") == f"r{store.runs[2].id}", "the copy to be chosen"
    )


def test_a_run_is_removed_after_a_question(inspector: Inspector, store: kvr.Store) -> None:
    page = inspector.page
    inspector.choose("Tuesday")
    inspector.press_button("Remove…")
    assert page.text("dialog.ask h2") == "Remove the run “Tuesday” with 5 signals?"
    page.press(Keys.ESCAPE)
    page.wait(lambda: not page.all("dialog.ask"), "the question to go")
    assert len(store.runs) == 2
    inspector.press_button("Remove…")
    inspector.press_button("Remove", "dialog.ask")
    inspector.sees(lambda: [run.name for run in store.runs] == ["Monday"], "the run to go")
    inspector.sees(lambda: inspector.groups() == ["Monday"], "the list without it")


def test_a_signal_is_removed_after_a_question(inspector: Inspector, store: kvr.Store) -> None:
    inspector.choose("gear", "Monday")
    inspector.press_button("Remove…")
    inspector.press_button("Remove", "dialog.ask")
    inspector.sees(lambda: len(store.signals) == 9, "the signal to go")
    inspector.sees(lambda: inspector.rows().count("gear") == 1, "the list without it")
