"""The inspector by mouse and by keyboard: every test asks the store what it then holds."""

from __future__ import annotations

import re
from collections.abc import Iterator

import kvr
import numpy as np
import pytest
from conftest import Page
from inspector_page import TIMES, Inspector, emptied, fill, shown
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.select import Select


@pytest.fixture
def store() -> Iterator[kvr.Store]:
    for store in emptied():
        fill(store)
        yield store


@pytest.fixture
def inspector(page: Page, store: kvr.Store) -> Iterator[Inspector]:
    made = Inspector(page)
    with store.view(browser=False) as view:
        made.open(view.url)
        yield made
        page.driver.get("about:blank")


def focus_list(page: Page) -> None:
    page.focus(".tree")


# ---- The list ----


@pytest.mark.parametrize("by", ["run", "path", "source", "label", "model"])
def test_the_list_has_the_groups_of_each_column_in_either_order(
    inspector: Inspector, store: kvr.Store, by: str
) -> None:
    page = inspector.page
    Select(page.one("select[aria-label='Group by']")).select_by_value(by)
    names = store.columns[by].names()
    page.wait(lambda: inspector.groups() == names, f"the groups {names}, not {inspector.groups()}")
    page.one("button.order").send_keys(Keys.ENTER)
    page.wait(lambda: inspector.groups() == names[::-1], "the groups in the other order")


def test_a_group_closes_and_opens_by_mouse_and_by_keyboard(inspector: Inspector) -> None:
    page = inspector.page
    assert inspector.rows()[:3] == ["Monday", "speed", "torque"]
    inspector.toggle("Monday")
    assert inspector.rows()[:3] == ["Monday", "Tuesday", "speed"]
    focus_list(page)
    page.press(Keys.HOME, Keys.ARROW_RIGHT)
    assert inspector.rows()[:3] == ["Monday", "speed", "torque"]
    page.press(Keys.ARROW_DOWN, Keys.ARROW_LEFT, Keys.ARROW_LEFT)
    assert inspector.rows()[:2] == ["Monday", "Tuesday"]
    page.press("*")
    assert inspector.rows()[:3] == ["Monday", "speed", "torque"]


def test_the_list_shows_what_is_searched_for_as_it_is_typed(inspector: Inspector) -> None:
    page = inspector.page
    page.press("/")
    page.press("car/", "t")
    assert inspector.rows() == ["Monday", "torque", "Tuesday", "torque"]
    assert page.text(".signals .found") == "2 of 10 signals"
    page.press(" ", "tues")
    assert inspector.rows() == ["Tuesday", "torque"]
    page.press("x")
    assert inspector.rows() == []
    assert page.text(".tree-empty") == "No signal has this in its names."
    page.press(Keys.ESCAPE)
    assert len(inspector.rows()) == 12


def test_a_tick_shows_a_signal_and_hides_it_again(inspector: Inspector, store: kvr.Store) -> None:
    inspector.tick("torque", "Tuesday")
    inspector.sees(lambda: shown(store) == [("Tuesday", "torque")], "the signal to be shown")
    inspector.tick("torque", "Tuesday")
    inspector.sees(lambda: shown(store) == [], "no signal to be shown")


def test_the_space_bar_ticks_the_row_that_typing_found(
    inspector: Inspector, store: kvr.Store
) -> None:
    page = inspector.page
    focus_list(page)
    page.press("to")
    page.press(" ")
    inspector.sees(lambda: shown(store) == [("Monday", "torque")], "the signal to be shown")
    page.press(" ")
    inspector.sees(lambda: shown(store) == [], "no signal to be shown")


def test_the_tick_of_a_group_shows_all_of_it(inspector: Inspector, store: kvr.Store) -> None:
    everything = [("Monday", signal.label) for signal in store.runs["Monday"].signals]
    inspector.tick("speed", "Monday")
    inspector.sees(lambda: inspector.ticks()["Monday"] == "mixed", "a mixed tick")
    inspector.tick("Monday")
    inspector.sees(lambda: shown(store) == everything, "all signals of the run to be shown")
    inspector.sees(lambda: inspector.ticks()["Monday"] == "true", "a whole tick")
    inspector.tick("Monday")
    inspector.sees(lambda: shown(store) == [], "no signal to be shown")


def test_the_tick_of_a_group_takes_what_the_search_shows(
    inspector: Inspector, store: kvr.Store
) -> None:
    inspector.page.type("input[type=search]", "torque")
    inspector.tick("Monday")
    inspector.sees(lambda: shown(store) == [("Monday", "torque")], "the found signal to be shown")


def test_a_signal_that_the_program_shows_is_ticked_here(
    inspector: Inspector, store: kvr.Store
) -> None:
    store.runs["Tuesday"]["gear"].visible = True
    inspector.sees(lambda: inspector.ticks()["gear"] == "true", "the tick")
    inspector.sees(lambda: inspector.plots() == [["gear"]], "the plot")


# ---- The plots ----


def test_signals_of_one_unit_share_a_plot(inspector: Inspector) -> None:
    for run in ("Monday", "Tuesday"):
        inspector.tick("speed", run)
        inspector.tick("torque", run)
    inspector.sees(lambda: inspector.plots() == [["speed", "speed"], ["torque", "torque"]], "two plots")


def test_a_plot_is_added_for_the_next_signal_by_mouse_and_by_keyboard(inspector: Inspector) -> None:
    page = inspector.page
    inspector.tick("speed", "Monday")
    inspector.press_button("+ Plot")
    page.wait(lambda: inspector.fields().get("plots") == "1~", "the address to tell of the plot")
    inspector.tick("speed", "Tuesday")
    inspector.sees(lambda: inspector.plots() == [["speed"], ["speed"]], "the signal in the new plot")
    focus_list(page)
    page.press("torq", " ")  # of Tuesday: the row after the active one
    inspector.sees(lambda: len(inspector.plots()) == 3, "a plot of its own unit")
    page.press(Keys.ESCAPE, "a")
    inspector.sees(lambda: inspector.plots()[3:] == [[]], "the plot that was added")


def test_a_signal_moves_to_another_plot_by_keyboard(inspector: Inspector) -> None:
    page = inspector.page
    inspector.tick("speed", "Monday")
    inspector.tick("torque", "Monday")
    inspector.sees(lambda: inspector.plots() == [["speed"], ["torque"]], "two plots")
    page.run("arguments[0].focus()", inspector.chip("torque"))
    up = ActionChains(page.driver).key_down(Keys.SHIFT).send_keys(Keys.ARROW_UP).key_up(Keys.SHIFT)
    up.perform()
    page.settle()
    assert inspector.plots() == [["speed", "torque"]]
    down = ActionChains(page.driver).key_down(Keys.SHIFT).send_keys(Keys.ARROW_DOWN).key_up(Keys.SHIFT)
    down.perform()  # the focus went with the signal
    page.settle()
    assert inspector.plots() == [["speed"], ["torque"]]


def test_a_signal_moves_to_another_plot_by_mouse(inspector: Inspector) -> None:
    inspector.tick("speed", "Monday")
    inspector.tick("torque", "Monday")
    inspector.sees(lambda: inspector.plots() == [["speed"], ["torque"]], "two plots")
    inspector.drag(inspector.chip("speed"), inspector.area(1))
    assert inspector.plots() == [["torque", "speed"]]
    inspector.drag(inspector.chip("speed"), inspector.page.one(".add-plot"))
    assert inspector.plots() == [["torque"], ["speed"]]


def test_a_signal_moves_to_another_plot_by_the_field(inspector: Inspector) -> None:
    inspector.tick("speed", "Monday")
    inspector.tick("torque", "Monday")
    inspector.choose("speed", "Monday")
    inspector.pick("plot", "Look", "2")
    assert inspector.plots() == [["torque", "speed"]]
    inspector.pick("plot", "Look", "a new one")
    assert inspector.plots() == [["torque"], ["speed"]]


@pytest.mark.parametrize("how", ["mouse", "keyboard"])
def test_a_plot_that_is_removed_hides_its_signals(
    inspector: Inspector, store: kvr.Store, how: str
) -> None:
    page = inspector.page
    inspector.tick("speed", "Monday")
    inspector.tick("torque", "Monday")
    inspector.sees(lambda: len(inspector.plots()) == 2, "two plots")
    if how == "mouse":
        page.click("[aria-label='Remove plot 1']")
    else:
        page.run("arguments[0].focus()", inspector.chip("speed"))
        page.press("x")
    inspector.sees(lambda: shown(store) == [("Monday", "torque")], "one signal to be shown")
    assert inspector.plots() == [["torque"]]


def test_delete_hides_a_signal_of_a_plot(inspector: Inspector, store: kvr.Store) -> None:
    inspector.tick("speed", "Monday")
    inspector.tick("speed", "Tuesday")
    inspector.sees(lambda: inspector.plots() == [["speed", "speed"]], "one plot")
    inspector.page.run("arguments[0].focus()", inspector.chip("speed", 1))
    inspector.page.press(Keys.DELETE)
    inspector.sees(lambda: shown(store) == [("Monday", "speed")], "one signal to be shown")


def test_the_plots_zoom_and_pan_by_mouse_and_show_all_again(inspector: Inspector) -> None:
    page = inspector.page
    inspector.tick("speed", "Monday")
    mouse = page.mouse(inspector.area())
    mouse.drag(0.25, 0.5)
    window = page.wait(inspector.window, "a window")
    assert window == pytest.approx((15, 30), abs=0.2)
    mouse.drag(0.75, 0.25, Keys.SHIFT)
    page.wait(lambda: inspector.window() == pytest.approx((22.5, 37.5), abs=0.3), "a later window")
    mouse.wheel(0.5, -400)
    page.wait(lambda: inspector.window()[1] - inspector.window()[0] < 12, "a narrower window")
    mouse.double_click()
    page.wait(lambda: inspector.window() is None, "all of the time")


def test_the_plots_zoom_and_pan_by_keyboard(inspector: Inspector) -> None:
    page = inspector.page
    inspector.tick("speed", "Monday")
    page.press(Keys.ESCAPE)
    page.press("+", "+")
    window = page.wait(inspector.window, "a window")
    assert window == pytest.approx((30 - 60 / 4.5, 30 + 60 / 4.5), abs=0.1)
    page.press(Keys.ARROW_RIGHT)
    page.wait(lambda: inspector.window()[0] > window[0] + 1, "a later window")
    page.press(Keys.HOME)
    page.wait(lambda: inspector.window() is None, "all of the time")


def test_a_zoomed_window_is_fetched_three_screens_wide(inspector: Inspector) -> None:
    page = inspector.page
    inspector.tick("speed", "Monday")
    page.mouse(inspector.area()).drag(0.4, 0.5)
    page.wait(inspector.window, "a window")

    def fetched() -> list[str]:
        return [one for one in page.requests() if "/api/curves" in one and "from=" in one]

    query = page.wait(fetched, "a request for the window")[-1].split("?")[1]
    fields = dict(pair.split("=") for pair in query.split("&"))
    assert float(fields["from"]) == pytest.approx(18, abs=0.3)
    assert float(fields["to"]) == pytest.approx(36, abs=0.3)


def test_readings_at_the_cursor_are_the_samples_in_force(
    inspector: Inspector, store: kvr.Store
) -> None:
    page = inspector.page
    inspector.tick("speed", "Monday")
    page.mouse(inspector.area()).move(0.4)
    page.wait(lambda: page.texts(".legend-value") != [""], "a reading")
    hint = page.one(".legend-value").get_attribute("title")
    value, index = re.fullmatch(r"(\S+), sample (\d+) at \S+", hint).groups()
    index = int(index)
    assert float(value) == store.runs["Monday"]["speed"].values[index]
    assert TIMES[index] == pytest.approx(24, abs=0.2)


def test_two_cursors_show_the_change_between_their_samples(
    inspector: Inspector, store: kvr.Store
) -> None:
    page = inspector.page
    inspector.tick("speed", "Monday")
    inspector.tick("gear", "Monday")
    mouse = page.mouse(inspector.area())
    mouse.click(0.25)
    mouse.move(0.75)
    speed = store.runs["Monday"]["speed"].values

    def row(curve: str) -> list[str]:
        return page.texts(f".pinned tr[data-curve='{curve}'] td")

    page.wait(lambda: len(row("1")) == 4 and row("1")[3] not in ("", "0"), "the table of readings")
    pinned, here, change, samples = row("1")
    first, last = (int(np.flatnonzero(speed == float(text))[0]) for text in (pinned, here))
    assert TIMES[[first, last]] == pytest.approx([15, 45], abs=0.2)
    assert float(change) == pytest.approx(speed[last] - speed[first], rel=1e-8)
    assert int(samples) == last - first
    assert row("3") == [str(first // 1200), str(last // 1200), str(last // 1200 - first // 1200), samples]


def test_the_cursor_steps_from_sample_to_sample_by_keyboard(inspector: Inspector) -> None:
    page = inspector.page
    inspector.tick("gear", "Monday")
    page.press(Keys.ESCAPE, *["+"] * 12)  # so few samples that all of them are fetched
    first, last = page.wait(inspector.window, "a window")
    page.wait(lambda: (last - first) / (TIMES[1] - TIMES[0]) < 100, "a narrow window")

    def sample() -> int | None:
        found = re.search(r"sample (\d+)", page.one(".legend-value").get_attribute("title"))
        return int(found[1]) if found else None

    page.press("]")
    begin = page.wait(sample, "a reading")
    page.press("]", "]")
    page.wait(lambda: sample() == begin + 2, f"sample {begin + 2}, not {sample()}")
    page.press("[")
    page.wait(lambda: sample() == begin + 1, f"sample {begin + 1}, not {sample()}")


# ---- A signal's details ----


def test_colour_dash_and_visibility_are_changed_in_place(
    inspector: Inspector, store: kvr.Store
) -> None:
    page = inspector.page
    speed = store.runs["Monday"]["speed"]
    inspector.choose("speed", "Monday")
    page.all(".palette-color")[2].click()
    inspector.sees(lambda: speed.color == pytest.approx((0x1A / 255, 0x8A / 255, 0x4A / 255)), "the colour")
    page.run(
        "arguments[0].value = '#123456'; arguments[0].dispatchEvent(new Event('change'))",
        page.one("input[type=color]"),
    )
    inspector.sees(lambda: speed.color == pytest.approx((0x12 / 255, 0x34 / 255, 0x56 / 255)), "the colour")
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
    inspector.sees(lambda: inspector.field("absolute", "Tolerance").get_attribute("value") == "0.5", "the run's")
    assert not inspector.switch("Tolerance").is_selected()
    inspector.enter("relative", "Tolerance", "0.01")
    inspector.sees(lambda: speed.tolerance == kvr.Tolerance(absolute=0.5, relative=0.01), "the tolerance")
    assert not speed.tolerance.inherited
    inspector.sees(lambda: inspector.switch("Tolerance").is_selected(), "its own tolerance")
    inspector.switch("Tolerance").click()
    inspector.sees(lambda: speed.tolerance.inherited, "the run's tolerance")
    inspector.sees(lambda: inspector.field("relative", "Tolerance").get_attribute("value") == "0", "the run's amount")


def test_a_tolerance_with_a_window_has_all_its_fields(
    inspector: Inspector, store: kvr.Store
) -> None:
    torque = store.runs["Monday"]["torque"]
    inspector.choose("torque", "Monday")
    inspector.pick("allowed by", "Tolerance", "a window")
    inspector.sees(lambda: torque.tolerance.type == 1, "the window")
    texts = {"from": "10", "to": "1e1", "step": "2", "absolute at first": "0.5", "relative at first": "0.25"}
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
    inspector.sees(lambda: (speed.sync.type, speed.sync.function_name) == (1, "grid"), "the function")


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
    assert [signal.label for signal in store.runs[2].signals] == ["speed", "torque", "gear", "place", "note"]
    inspector.sees(lambda: inspector.fields().get("chosen") == f"r{store.runs[2].id}", "the copy to be chosen")


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
