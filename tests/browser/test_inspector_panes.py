"""The borders between the inspector's panes, by mouse and by keyboard."""

from __future__ import annotations

import kvr
import pytest
from inspector_page import Inspector, compared, statuses
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

SIGNALS = "[role=separator][aria-label='Width of the signals']"
DETAILS = "[role=separator][aria-label='Width of the details']"
PAIRS = "[role=separator][aria-label='Width of the table of pairs']"


@pytest.fixture
def panes(inspector: Inspector) -> Inspector:
    """All three panes, without widths of the test before."""
    inspector.page.run("sessionStorage.clear()")
    inspector.page.driver.refresh()
    inspector.page.wait(inspector.rows, "the list of signals")
    inspector.tick("speed", "Monday")
    inspector.choose("speed", "Monday")
    inspector.area()
    return inspector


def width(inspector: Inspector, selector: str) -> int:
    return round(inspector.page.one(selector).rect["width"])


def drag(inspector: Inspector, separator: str, by: int) -> None:
    page = inspector.page
    chain = ActionChains(page.driver, duration=20)
    chain.click_and_hold(page.one(separator)).move_by_offset(by, 0).release().perform()
    page.settle()


def value(inspector: Inspector, separator: str, name: str = "now") -> int:
    return int(inspector.page.one(separator).get_attribute(f"aria-value{name}"))


def test_panes_are_as_wide_as_their_borders_are_dragged(panes: Inspector) -> None:
    signals, details, plots = (
        width(panes, one) for one in (".signals", ".details-pane", ".u-over")
    )
    drag(panes, SIGNALS, 120)
    drag(panes, DETAILS, -60)
    assert width(panes, ".signals") == pytest.approx(signals + 120, abs=1)
    assert width(panes, ".details-pane") == pytest.approx(details + 60, abs=1)
    assert width(panes, ".u-over") == pytest.approx(plots - 180, abs=3)
    drag(panes, SIGNALS, -50)
    assert width(panes, ".signals") == pytest.approx(signals + 70, abs=1)


def test_borders_are_moved_by_keys_and_say_where_they_are(panes: Inspector) -> None:
    page = panes.page
    before = width(panes, ".signals")
    assert value(panes, SIGNALS) == before
    page.focus(SIGNALS)
    page.press(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
    wider = width(panes, ".signals")
    assert before + 20 < wider == value(panes, SIGNALS)
    page.press(Keys.ARROW_LEFT)
    assert before < width(panes, ".signals") < wider
    assert panes.window() is None, "the plots did not pan"
    page.focus(DETAILS)
    details = width(panes, ".details-pane")
    page.press(Keys.ARROW_LEFT)
    assert width(panes, ".details-pane") > details


@pytest.mark.parametrize("pane", ["signals", "details"])
def test_no_pane_takes_all_of_the_window(panes: Inspector, pane: str) -> None:
    separator, element = {
        "signals": (SIGNALS, ".signals"), "details": (DETAILS, ".details-pane")
    }[pane]  # fmt: skip
    page = panes.page
    page.focus(separator)
    page.press(Keys.END)
    assert width(panes, element) == pytest.approx(value(panes, separator, "max"), abs=1)
    page.press(Keys.HOME)
    assert width(panes, element) == value(panes, separator, "min")
    for one in (SIGNALS, DETAILS):
        page.focus(one)
        page.press(Keys.END)
    page.set_size(900, 700)
    page.settle()
    assert all(width(panes, one) >= 190 for one in (".signals", ".plot-pane", ".details-pane"))
    assert page.run("return document.documentElement.scrollWidth <= innerWidth")


def test_a_width_is_kept_when_the_page_is_loaded_again(panes: Inspector) -> None:
    page = panes.page
    usual = width(panes, ".signals")
    drag(panes, SIGNALS, 90)
    dragged = width(panes, ".signals")
    page.driver.refresh()
    page.wait(panes.rows, "the list of signals")
    page.settle()
    assert width(panes, ".signals") == dragged
    ActionChains(page.driver).double_click(page.one(SIGNALS)).perform()
    page.settle()
    assert width(panes, ".signals") == usual
    page.driver.refresh()
    page.wait(panes.rows, "the list of signals")
    assert width(panes, ".signals") == usual


def test_the_table_of_a_comparison_is_as_wide_as_its_border_is_dragged(
    inspector: Inspector, store: kvr.Store
) -> None:
    page = inspector.page
    page.run("sessionStorage.clear()")
    compared(inspector)
    page.wait(lambda: page.all(".pair .plot"), "the plots of the pair")
    table, plots = width(inspector, ".pairs"), page.all(".pair .u-over")[0].size["width"]
    drag(inspector, PAIRS, 150)
    assert width(inspector, ".pairs") == pytest.approx(table + 150, abs=1)
    inspector.sees(
        lambda: abs(page.all(".pair .u-over")[0].size["width"] - (plots - 150)) <= 8,
        "the narrower plots",
    )
    store.runs["Monday"].tolerance = kvr.Tolerance(relative=0.03)
    inspector.sees(lambda: statuses(page).get("speed") == "within", "the new verdicts")
    assert width(inspector, ".pairs") == pytest.approx(table + 150, abs=1)
