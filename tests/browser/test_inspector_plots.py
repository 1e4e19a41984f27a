"""The inspector's plots, by mouse and by keyboard."""

from __future__ import annotations

import re

import kvr
import numpy as np
import pytest
from inspector_page import TIMES, Inspector, focus_list, shown
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys


def test_signals_of_one_unit_share_a_plot(inspector: Inspector) -> None:
    for run in ("Monday", "Tuesday"):
        inspector.tick("speed", run)
        inspector.tick("torque", run)
    inspector.sees(
        lambda: inspector.plots() == [["speed", "speed"], ["torque", "torque"]], "two plots"
    )


def test_a_plot_is_added_for_the_next_signal_by_mouse_and_by_keyboard(inspector: Inspector) -> None:
    page = inspector.page
    inspector.tick("speed", "Monday")
    inspector.press_button("+ Plot")
    page.wait(lambda: inspector.fields().get("plots") == "1~", "the address to tell of the plot")
    inspector.tick("speed", "Tuesday")
    inspector.sees(
        lambda: inspector.plots() == [["speed"], ["speed"]], "the signal in the new plot"
    )
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
    down = (
        ActionChains(page.driver).key_down(Keys.SHIFT).send_keys(Keys.ARROW_DOWN).key_up(Keys.SHIFT)
    )
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
    assert row("3") == [
        str(first // 1200),
        str(last // 1200),
        str(last // 1200 - first // 1200),
        samples,
    ]


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


def test_samples_of_a_store_that_was_filled_anew_are_fetched_again(
    inspector: Inspector, store: kvr.Store
) -> None:
    page = inspector.page
    inspector.tick("speed", "Monday")
    mouse = page.mouse(inspector.area())
    mouse.move(0.01)
    page.wait(lambda: page.texts(".legend-value")[0].startswith("20."), "a sample")
    page.wait(lambda: [one for one in page.requests() if "/api/curves" in one], "a request")
    store.clear()
    other = store.new_run("Monday").add(
        "speed", 7 * np.ones(3), [0.0, 30.0, 60.0], path="car/speed"
    )
    other.visible = True
    page.wait(lambda: [one for one in page.requests() if "/api/curves" in one], "a request")
    mouse.move(0.5)
    page.wait(lambda: page.texts(".legend-value") == ["7"], "the new samples")
