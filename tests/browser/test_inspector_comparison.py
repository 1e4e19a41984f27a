"""Two runs compared in the inspector."""

from __future__ import annotations

import kvr
from browser_page import Page
from inspector_page import Inspector, compared, statuses
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.select import Select


def test_two_runs_are_compared_with_the_settings_in_force(
    inspector: Inspector, store: kvr.Store
) -> None:
    store.runs["Monday"].tolerance = kvr.Tolerance(relative=0.03)
    store.runs["Monday"]["torque"].tolerance = kvr.Tolerance(relative=0.001)
    found = compared(inspector)
    assert found == {v.baseline.label: v.status for v in kvr.compare(*store.runs).verdicts}
    assert found["speed"] == "within" and found["torque"] == "out"


def test_the_other_run_may_be_the_baseline_and_options_may_be_given(
    inspector: Inspector, store: kvr.Store
) -> None:
    page = inspector.page
    page.press("c")
    Select(page.one("#compare-baseline")).select_by_visible_text("Tuesday")
    Select(page.one("#compare-other")).select_by_visible_text("Monday")
    page.click(".compare-more summary")

    def option(text: str) -> object:
        found = page.driver.find_element(By.XPATH, f"//label[span[normalize-space()='{text}']]")
        return found.find_element(By.CSS_SELECTOR, "input, select")

    Select(option("tolerance")).select_by_visible_text("for all")
    option("relative").clear()
    option("relative").send_keys("0.5")
    option("only").send_keys("car/speed/*, car/torque/*", Keys.ENTER)
    inspector.sees(lambda: statuses(page) == {"speed": "within", "torque": "within"}, "the pairs")
    assert page.text(".summary h1").endswith("Tuesday against Monday")


def test_a_comparison_is_judged_again_when_a_tolerance_changes(
    inspector: Inspector, store: kvr.Store
) -> None:
    assert compared(inspector)["speed"] == "out"
    store.runs["Monday"]["speed"].tolerance = kvr.Tolerance(relative=0.03)
    inspector.sees(lambda: statuses(inspector.page).get("speed") == "within", "the new verdict")


def test_a_comparison_that_is_closed_is_gone(inspector: Inspector) -> None:
    page = inspector.page
    compared(inspector)
    inspector.press_button("Close", ".compare-form")
    page.wait(lambda: page.one(".comparison").is_displayed() is False, "the comparison to go")
    assert "Choose two runs" in page.text(".compare-pane > .notice")


def test_the_pair_shows_both_sides_the_band_and_the_difference(inspector: Inspector) -> None:
    page = inspector.page
    compared(inspector)
    page.wait(lambda: len(page.all(".pair .plot")) == 2, "the plots of the pair")
    page.mouse(page.all(".pair .u-over")[0]).move(0.5)

    def value(name: str) -> str:
        return page.texts(f".readings [data-reading={name}] .value")[0]

    page.wait(lambda: value("difference"), "values at the cursor")
    sides = float(value("baseline")), float(value("other"))
    assert float(value("difference")) == abs(sides[1] - sides[0])


def test_the_view_of_a_comparison_opens_with_it(page: Page, store: kvr.Store) -> None:
    with kvr.compare(*store.runs).view(browser=False) as view:
        page.open(view.url)
        page.wait(lambda: statuses(page).get("speed") == "out", "the table of pairs")
        assert page.one("main.comparison").is_displayed()
        page.open("about:blank")


def test_runs_are_compared_and_copied_by_keyboard_alone(
    inspector: Inspector, store: kvr.Store
) -> None:
    page = inspector.page

    def tab_to(text: str) -> None:
        for _ in range(60):
            if page.run("return document.activeElement.textContent") == text:
                return
            page.press(Keys.TAB)
        raise AssertionError(f"no key leads to {text}")

    page.press("l", Keys.HOME, Keys.ENTER, Keys.ESCAPE, "d")
    tab_to("Copy")
    page.press(Keys.ENTER)
    inspector.sees(lambda: len(store.runs) == 3, "the copy")
    page.press("c")
    tab_to("Compare")
    page.press(Keys.ENTER)
    inspector.sees(lambda: statuses(page).get("speed") == "out", "the table of pairs")


def test_a_run_is_compared_from_its_details(inspector: Inspector) -> None:
    page = inspector.page
    inspector.choose("Tuesday")
    inspector.press_button("Compare…")
    baseline = Select(page.one("#compare-baseline")).first_selected_option.text
    other = Select(page.one("#compare-other")).first_selected_option.text
    assert (baseline, other) == ("Tuesday", "Monday")


def test_keys_go_from_the_signals_to_a_comparison_and_back(inspector: Inspector) -> None:
    """The first list of runs took the focus, and with it the letters that are keys."""
    page = inspector.page
    page.press("c")
    assert page.one(".compare-pane").is_displayed()
    page.press(Keys.ENTER)
    inspector.sees(lambda: statuses(page), "the table of pairs")
    page.press("s")
    assert page.one("main.explore").is_displayed()
    assert not page.one(".compare-pane").is_displayed()


def test_a_run_is_not_compared_with_itself(inspector: Inspector, store: kvr.Store) -> None:
    """With one run alone "Compare" said that all pairs passed."""
    page = inspector.page
    page.press("c")
    Select(page.one("#compare-other")).select_by_visible_text("Monday")
    assert not page.one(".compare-form [type=submit]").is_enabled()
    assert page.text(".compare-pane > .notice").startswith("Choose two different runs")
    Select(page.one("#compare-other")).select_by_visible_text("Tuesday")
    assert page.one(".compare-form [type=submit]").is_enabled()
    store.runs["Tuesday"].remove()
    inspector.sees(
        lambda: page.text(".compare-pane > .notice").startswith("There is only one run."),
        "what is missing",
    )
    assert not page.one(".compare-form [type=submit]").is_enabled()


def test_a_narrow_window_scrolls_to_a_pair_of_full_height(inspector: Inspector) -> None:
    page = inspector.page
    page.set_size(800, 700)
    compared(inspector)
    page.wait(lambda: len(page.all(".pair .plot")) == 2, "the plots of the pair")
    fits = "const e = document.querySelector('.pair'); return e.scrollHeight <= e.clientHeight + 1"
    inspector.sees(lambda: page.run(fits), "all of the pair")
    pane = page.one(".compare-pane")
    page.run("arguments[0].scrollTop = 1e6", pane)
    bottom = page.run("return document.querySelector('.pair').getBoundingClientRect().bottom")
    assert bottom <= page.run("return innerHeight") + 1
