"""The inspector as a window: comparisons, files, several windows, a server that goes, names that attack."""

from __future__ import annotations

from collections.abc import Iterator
from pathlib import Path

import kvr
import numpy as np
import pytest
from conftest import Page
from kvr._base.view import View
from kvr._view.handle import start
from kvr._view.opening import load_files
from inspector_page import TIMES, Inspector, Wire, emptied, fill, shown
from selenium.webdriver.common.by import By
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


# ---- Comparison ----


def statuses(page: Page) -> dict[str, str]:
    """Status by label, as the table of pairs shows them."""
    rows = page.run(
        "return [...document.querySelectorAll('.pairs .table-row')].map("
        "(row) => [...row.querySelectorAll('.table-cell')].map((cell) => cell.textContent))"
    )
    return {row[4]: row[0].split(" ")[-1] for row in rows}


def compared(inspector: Inspector) -> dict[str, str]:
    inspector.page.press(Keys.ESCAPE, "c")
    inspector.press_button("Compare", ".compare-form")
    return inspector.sees(lambda: statuses(inspector.page), "the table of pairs")


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
    inspector.sees(lambda: statuses(inspector.page)["speed"] == "within", "the new verdict")


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
    page.wait(lambda: page.texts(".readings tbody tr:first-child .value")[0], "values at the cursor")
    texts = page.texts(".readings tbody tr:first-child .value")[:3]
    baseline, other, difference = map(float, texts)
    assert difference == abs(other - baseline)


def test_a_run_is_compared_from_its_details(inspector: Inspector) -> None:
    page = inspector.page
    inspector.choose("Tuesday")
    inspector.press_button("Compare…")
    baseline = Select(page.one("#compare-baseline")).first_selected_option.text
    other = Select(page.one("#compare-other")).first_selected_option.text
    assert (baseline, other) == ("Tuesday", "Monday")


# ---- Files ----


@pytest.fixture
def downloads(page: Page, tmp_path: Path) -> Path:
    page.driver.execute_cdp_cmd(
        "Browser.setDownloadBehavior", {"behavior": "allow", "downloadPath": str(tmp_path)}
    )
    return tmp_path


def downloaded(page: Page, folder: Path, ending: str) -> Path:
    return page.wait(lambda: list(folder.glob(f"*{ending}")), f"a file {ending}")[0]


def save(inspector: Inspector, beginning: str) -> None:
    page = inspector.page
    page.press(Keys.ESCAPE)
    inspector.press_button("Save", ".bar")
    texts = page.texts(".menu-item")
    [place] = [place for place, text in enumerate(texts) if text.startswith(beginning)]
    page.press(*[Keys.ARROW_DOWN] * place, Keys.ENTER)


def test_runs_are_saved_as_a_recording(inspector: Inspector, downloads: Path) -> None:
    save(inspector, "All runs (2)")
    path = downloaded(inspector.page, downloads, ".kvr")
    with kvr.open(path) as recording:
        assert [run.name for run in recording.runs] == ["Monday", "Tuesday"]
        speed = recording.runs["Tuesday"]["speed"]
        assert np.array_equal(speed.values, kvr.Store().runs["Tuesday"]["speed"].values)


def test_a_chosen_run_is_saved_as_csv(inspector: Inspector, downloads: Path) -> None:
    inspector.choose("speed", "Monday")
    save(inspector, "Run “Monday” as CSV")
    path = downloaded(inspector.page, downloads, ".csv")
    with kvr.open(path) as recording:
        speed = recording.runs[0]["speed"]
        assert np.array_equal(speed.values, kvr.Store().runs["Monday"]["speed"].values)


def test_the_plots_are_saved_as_a_picture(inspector: Inspector, downloads: Path) -> None:
    inspector.tick("speed", "Monday")
    inspector.area()
    save(inspector, "The plots")
    path = downloaded(inspector.page, downloads, ".png")
    inspector.page.wait(lambda: path.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n", "a whole picture")


def test_a_comparison_is_saved_as_a_report(inspector: Inspector, downloads: Path) -> None:
    compared(inspector)
    save(inspector, "The comparison")
    path = downloaded(inspector.page, downloads, ".html")
    page = inspector.page
    page.open(path)
    page.wait(lambda: page.texts(".summary h1"), "the report")
    assert page.text(".summary h1").endswith("Monday against Tuesday")


# ---- The address ----


def test_an_address_shows_another_window_the_same(inspector: Inspector, store: kvr.Store) -> None:
    page = inspector.page
    Select(page.one("select[aria-label='Group by']")).select_by_value("path")
    page.type("input[type=search]", "car")
    inspector.tick("car/speed")
    inspector.choose("speed", "car/speed")
    page.mouse(inspector.area()).drag(0.25, 0.5)
    window = page.wait(inspector.window, "a window")
    page.wait(lambda: inspector.fields().get("chosen") == "1", "the address")
    address = page.run("return location.href")
    assert "token" not in address
    page.open("about:blank")
    inspector.open(address)
    assert inspector.groups() == [f"car/{name}" for name in ("gear", "place", "speed", "torque")]
    assert page.text(".details h2") == "speed"
    page.wait(lambda: inspector.window() == pytest.approx(window), "the window")
    page.settle()
    assert inspector.window() == pytest.approx(window)


# ---- Several windows ----


@pytest.fixture
def other(page: Page) -> Iterator[str]:
    """A second window; closed at the end."""
    first = page.driver.current_window_handle
    page.driver.switch_to.new_window("window")
    second = page.driver.current_window_handle
    page.driver.switch_to.window(first)
    yield second
    page.driver.switch_to.window(second)
    page.driver.close()
    page.driver.switch_to.window(first)


def test_two_windows_see_each_others_changes(
    inspector: Inspector, store: kvr.Store, other: str
) -> None:
    page = inspector.page
    first = page.driver.current_window_handle
    address = page.run("return location.origin + '/'")
    page.driver.switch_to.window(other)
    inspector.open(address)
    inspector.choose("speed", "Monday")
    page.driver.switch_to.window(first)
    inspector.tick("torque", "Monday")
    inspector.choose("speed", "Monday")
    inspector.enter("absolute", "Tolerance", "2.5")
    page.driver.switch_to.window(other)
    inspector.sees(lambda: inspector.plots() == [["torque"]], "the signal that the other one shows")
    inspector.sees(
        lambda: inspector.field("absolute", "Tolerance").get_attribute("value") == "2.5",
        "the tolerance of the other one",
    )
    inspector.choose("Tuesday")
    inspector.press_button("Remove…")
    inspector.press_button("Remove", "dialog.ask")
    page.driver.switch_to.window(first)
    inspector.sees(lambda: inspector.groups() == ["Monday"], "the run to be gone here too")


def test_a_comparison_of_one_window_is_that_of_the_other(
    inspector: Inspector, store: kvr.Store, other: str
) -> None:
    page = inspector.page
    first = page.driver.current_window_handle
    address = page.run("return location.origin + '/#view=comparison'")
    page.driver.switch_to.window(other)
    page.open(address)
    page.wait(lambda: page.all("#compare-baseline option"), "the runs")
    page.driver.switch_to.window(first)
    compared(inspector)
    inspector.press_button("Signals")
    inspector.choose("speed", "Monday")
    inspector.enter("relative", "Tolerance", "0.03")
    page.driver.switch_to.window(other)
    inspector.sees(lambda: statuses(page).get("speed") == "within", "the verdict of the new tolerance")


# ---- The server ----


def test_a_server_that_is_gone_is_said_and_what_is_shown_stays(page: Page, store: kvr.Store) -> None:
    inspector = Inspector(page)
    with store.view(browser=False) as view:
        inspector.open(view.url)
        inspector.tick("speed", "Monday")
        inspector.sees(lambda: inspector.plots() == [["speed"]], "the plot")
    page.wait(lambda: page.all(".banner .warning"), "the line that says so")
    assert page.text(".banner").startswith("The server does not answer.")
    assert inspector.plots() == [["speed"]]
    assert len(inspector.rows()) == 12
    inspector.tick("torque", "Monday")
    inspector.sees(lambda: inspector.ticks()["Monday"] == "mixed", "the list")
    assert shown(store) == [("Monday", "speed")]
    inspector.sees(lambda: inspector.plots() == [["speed"]], "the tick to be taken back")
    page.open("about:blank")
    page.errors()  # the browser notes every request that fails


def test_a_server_that_was_started_again_asks_for_its_new_address(
    page: Page, store: kvr.Store
) -> None:
    inspector = Inspector(page)
    with store.view(browser=False) as view:
        inspector.open(view.url)
        port = port_of(view)
    page.wait(lambda: page.all(".banner .warning"), "the line that says so")
    with store.view(browser=False, port=port) as view:
        page.wait(lambda: "Open the whole address" in page.text(".banner"), "what to do")
        inspector.open(view.url)
        page.wait(lambda: page.texts(".banner") == [""], "the line to go")
        page.open("about:blank")
    page.errors()  # the browser notes every request that is refused


def test_a_window_comes_back_by_itself(page: Page, store: kvr.Store) -> None:
    inspector = Inspector(page)
    with store.view(browser=False) as view, Wire(port_of(view)) as wire:
        inspector.open(view.url.replace(str(wire.behind), str(wire.port)))
        wire.cut()
        page.wait(lambda: "does not answer" in page.texts(".banner")[0], "the line that says so")
        store.runs["Monday"]["speed"].visible = True
        wire.restore()
        page.wait(lambda: page.texts(".banner") == [""], "the line to go")
        inspector.sees(lambda: inspector.plots() == [["speed"]], "what changed meanwhile")
        page.open("about:blank")
    page.errors()  # the browser notes every request that fails


def port_of(view: View) -> int:
    return int(view.address.rsplit(":", 1)[1].strip("/"))


def test_a_file_that_changes_is_said(page: Page, tmp_path: Path) -> None:
    path = tmp_path / "drive.kvr"
    for store in emptied():
        fill(store)
        store.save(path)
        store.clear()
        with start(browser=False, files=load_files([str(path)])) as view:
            inspector = Inspector(page)
            inspector.open(view.url)
            path.write_bytes(b"other")
            said = f"{path} has changed since it was loaded."
            page.wait(lambda: said in page.texts(".banner")[0], "the line that says so")
            path.unlink()
            said = f"{path} is gone since it was loaded."
            page.wait(lambda: said in page.texts(".banner")[0], "the line that says so")
            assert len(inspector.rows()) == 12
            page.open("about:blank")


# ---- Names that attack ----

HOSTILE = {
    "<img src=x onerror=alert(1)>": "<img src=x onerror=alert(1)>",
    "{{constructor.constructor('alert(1)')()}}": "{{constructor.constructor('alert(1)')()}}",
    "<script>alert(1)</script>": "<script>alert(1)</script>",
    "\u202eevil\x07\x1b[31m": "⟨202E⟩evil␇␛[31m",
    "שלום": "שלום",
}


def test_names_that_attack_are_texts(page: Page) -> None:
    for store in emptied():
        long = "x" * 1_000_000
        for run_name in ("<b onclick=alert(2)>run</b>", "other"):
            run = store.new_run(run_name)
            for name in (*HOSTILE, long):
                run.add(name, np.sin(TIMES), TIMES, path=name, unit=name[:80], source=name)
        inspector = Inspector(page)
        with store.view(browser=False) as view:
            inspector.open(view.url)
            assert inspector.rows()[0] == "<b onclick=alert(2)>run</b>"
            assert set(HOSTILE.values()) <= set(inspector.rows())
            inspector.page.all(".tree-row.group .tree-tick")[0].click()
            inspector.sees(lambda: sum(map(len, inspector.plots())) == 6, "all signals in plots")
            for name in (*HOSTILE.values(), inspector.rows()[6]):
                inspector.choose(name, inspector.rows()[0])
                page.settle()
            inspector.choose("<b onclick=alert(2)>run</b>")
            inspector.press_button("Comparison")
            inspector.press_button("Compare", ".compare-form")
            page.wait(lambda: page.texts(".summary h1"), "the comparison")
            assert page.all("img, b[onclick], .page script") == []
            page.open("about:blank")  # a dialog would have failed every step


# ---- For everybody ----


@pytest.mark.parametrize("theme", ["light", "dark"])
def test_every_view_is_accessible(inspector: Inspector, theme: str) -> None:
    page = inspector.page
    page.set_theme(theme)
    assert page.violations() == []
    inspector.tick("speed", "Monday")
    inspector.tick("place", "Monday")
    inspector.choose("speed", "Monday")
    mouse = page.mouse(inspector.area())
    mouse.click(0.25)
    mouse.move(0.75)
    page.wait(lambda: page.all(".pinned tbody tr"), "the table of readings")
    inspector.enter("absolute", "Tolerance", "much")
    inspector.press_button("Save", ".bar")
    assert page.violations() == []
    page.press(Keys.ESCAPE)
    inspector.choose("Monday")
    assert page.violations() == []
    inspector.press_button("Remove…")
    assert page.violations() == []
    page.press(Keys.ESCAPE)
    page.press("?")
    assert page.violations() == []
    page.press(Keys.ESCAPE)
    inspector.press_button("Comparison")
    inspector.press_button("Compare", ".compare-form")
    page.wait(lambda: page.texts(".summary h1"), "the comparison")
    page.click(".compare-more summary")
    assert page.violations() == []


@pytest.mark.parametrize("size", [(900, 700), (1280, 800), (3840, 2160)])
def test_nothing_is_cut_off_from_900_pixels_on(inspector: Inspector, size: tuple[int, int]) -> None:
    page = inspector.page
    page.set_size(*size)
    inspector.tick("speed", "Monday")
    inspector.tick("torque", "Monday")
    inspector.choose("speed", "Monday")
    page.settle()
    assert page.run("return document.documentElement.scrollWidth <= innerWidth")
    assert page.run("return document.documentElement.scrollHeight <= innerHeight")
    widths = [one.size["width"] for one in (*page.all(".signals"), inspector.area(), *page.all(".details-pane"))]
    assert all(width >= 190 for width in widths), widths


def test_nothing_is_asked_of_another_machine(inspector: Inspector) -> None:
    page = inspector.page
    inspector.tick("speed", "Monday")
    inspector.choose("speed", "Monday")
    compared(inspector)
    origin = page.run("return location.origin")
    asked = page.requests()
    assert any("/api/curves" in one for one in asked)
    assert [one for one in asked if not one.startswith(origin + "/")] == []
