"""The list of signals, by mouse and by keyboard: what it shows, and what the store then holds."""

from __future__ import annotations

import kvr
import pytest
from inspector_page import Inspector, focus_list, shown
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.select import Select


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


def test_signals_of_a_group_say_first_which_run_they_are_of(inspector: Inspector) -> None:
    """A narrow list cut the run off behind the path, and the signals of two runs looked the same."""
    page = inspector.page
    Select(page.one("select[aria-label='Group by']")).select_by_value("label")
    page.type("input[type=search]", "speed")
    assert page.texts(".tree-where") == ["Monday · car/speed", "Tuesday · car/speed"]


def test_the_foot_of_the_list_counts_one_signal_as_one(
    inspector: Inspector, store: kvr.Store
) -> None:
    assert inspector.page.text(".signals .found") == "10 signals"
    store.clear()
    store.new_run("Monday").add("speed", [1.0], [0.0])
    inspector.sees(lambda: inspector.page.text(".signals .found") == "1 signal", "the count")


def test_enter_on_a_chosen_row_goes_on_to_its_details(inspector: Inspector) -> None:
    """In the list "d" is a letter to search for: no key led from a signal to its fields."""
    page = inspector.page
    focus_list(page)
    page.press("to", Keys.ENTER)
    focused = "return document.querySelector(arguments[0]).contains(document.activeElement)"
    assert page.text(".details h2") == "torque"
    assert page.run(focused, ".tree")
    page.press(Keys.ENTER)
    assert page.run(focused, ".details-pane")
