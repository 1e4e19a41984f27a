"""The plots of a report, by mouse and by keyboard."""

from __future__ import annotations

from pathlib import Path
from typing import Any

import kvr
import numpy as np
import pytest
from browser_page import Page
from report_page import TIME, chosen, plot_area, reading, shown, times
from selenium.webdriver.common.keys import Keys

pytestmark = pytest.mark.usefixtures("empty_store")


def test_a_drag_zooms_and_a_double_click_shows_everything(speed: Page) -> None:
    mouse = speed.mouse(plot_area(speed))
    mouse.drag(0.25, 0.5)
    first, last = times(speed)
    assert (first, last) == (pytest.approx(50, abs=0.5), pytest.approx(100, abs=0.5))
    mouse.double_click()
    speed.wait(lambda: "from=" not in speed.fragment(), "the whole")


def test_a_drag_with_shift_pans(speed: Page) -> None:
    mouse = speed.mouse(plot_area(speed))
    mouse.drag(0.25, 0.5)
    first, last = times(speed)
    mouse.drag(0.75, 0.25, Keys.SHIFT)
    speed.wait(lambda: times(speed)[0] != first, "another window")
    panned = times(speed)
    assert panned[0] - first == pytest.approx(25, abs=1)
    assert panned[1] - panned[0] == pytest.approx(last - first)


def test_the_wheel_zooms_at_the_cursor(speed: Page) -> None:
    speed.mouse(plot_area(speed)).wheel(0.25, -500)
    first, last = times(speed)
    assert last - first < 150
    assert (50 - first) / (last - first) == pytest.approx(0.25, abs=0.02)


def test_keys_zoom_and_pan(speed: Page) -> None:
    speed.focus(".plots")
    speed.press("+")
    first, last = times(speed)
    assert last - first == pytest.approx(TIME[-1] / 1.5)
    speed.press(Keys.ARROW_RIGHT)
    speed.wait(lambda: times(speed)[0] > first, "a later window")
    speed.press(Keys.HOME)
    speed.wait(lambda: "from=" not in speed.fragment(), "the whole")


def test_the_cursor_reads_real_samples(speed: Page, runs: Any) -> None:
    """Whatever stands at the cursor is a sample of the recordings, to the last digit."""
    mouse = speed.mouse(plot_area(speed))
    for place in (0.1, 0.503, 0.9):
        mouse.move(place)
        for name, run in (("baseline", runs[0]), ("other", runs[1])):
            value, time = reading(speed, "cursor", name)
            sample = round(time / 0.01)
            assert (TIME[sample], run["speed"].values[sample]) == (time, value)


def test_the_worst_value_is_pinned_at_first(speed: Page, runs: Any) -> None:
    assert reading(speed, "pin", "baseline") == (runs[0]["speed"].values[12_000], 120)
    assert reading(speed, "pin", "other") == (runs[1]["speed"].values[12_000], 120)
    assert reading(speed, "pin", "difference")[0] == pytest.approx(5)
    assert reading(speed, "pin", "tolerance") == (0.5, 120)


def test_a_click_pins_and_escape_removes_the_cursors(speed: Page) -> None:
    speed.mouse(plot_area(speed)).click(0.5)
    _, time = reading(speed, "pin", "baseline")
    assert time == pytest.approx(100, abs=1)
    speed.focus(".plots")
    speed.press(Keys.ESCAPE)
    assert set(speed.texts(".readings .value")) == {""}


def test_brackets_move_the_cursor_from_sample_to_sample(speed: Page) -> None:
    speed.press("w")
    speed.focus(".plots")
    speed.press("[")
    before = reading(speed, "cursor", "baseline")[1]
    seen = []
    for _ in range(3):
        speed.press("]")
        seen.append(reading(speed, "cursor", "baseline")[1])
    assert before < seen[0] < seen[1] < seen[2]


def test_jumps_show_the_worst_value_and_each_stretch(speed: Page) -> None:
    speed.press("w")
    first, last = times(speed)
    assert first < 120 < last and last - first < 20
    speed.click(".pair-tools button:nth-child(4)")  # all of the time
    seen = []
    for _ in range(3):
        before = speed.fragment()
        speed.press("n")
        speed.wait(lambda: speed.fragment() != before, "another window")
        seen.append(times(speed))
    for (first, last), (begin, end) in zip(seen, ((10, 10.99), (120, 120), (150, 150.09))):
        assert first < begin <= end < last
    before = speed.fragment()
    speed.press("p")
    speed.wait(lambda: speed.fragment() != before, "the stretch before")
    assert times(speed) == pytest.approx(seen[1])


def test_no_key_is_taken_from_an_input_field(report: Page) -> None:
    report.press("/")
    report.press("jnw0?")
    assert report.one(".filter").get_attribute("value") == "jnw0?"
    assert chosen(report) == "lost"


def test_a_date_at_the_cursor_is_told_as_finely_as_the_plots_show_it(
    page: Page, tmp_path: Path
) -> None:
    """The worst sample, of 1 September, was pinned "at 2015-08-31 05:46:40", and the change cut off."""
    store = kvr.Store()
    days = np.arange("1985-01", "2016-07", dtype="datetime64[M]").astype("datetime64[s]")
    values = np.arange(len(days), dtype=float)
    store.new_run("June").add("spending", values, days)
    values[days == np.datetime64("2015-09-01")] += 5
    store.new_run("July").add("spending", values, days)
    kvr.compare(*store.runs).to_html(tmp_path / "report.html")
    shown(page, tmp_path / "report.html")
    page.mouse(plot_area(page)).move(0.5)
    page.wait(lambda: page.texts(".readings thead th")[0] != "cursor", "the cursor")
    heads = page.texts(".readings thead th")
    assert heads[1] == "pinned at 2015-09-01"
    assert page.run(
        "const e = document.querySelector('.readings'); return e.scrollWidth <= e.clientWidth"
    )
