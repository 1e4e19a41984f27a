"""The inspector as a window: files, its address, names that attack, small and large screens."""

from __future__ import annotations

from pathlib import Path

import kvr
import numpy as np
import pytest
from browser_page import Page
from inspector_page import TIMES, Inspector, compared, emptied
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.select import Select


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
    widths = [
        one.size["width"]
        for one in (*page.all(".signals"), inspector.area(), *page.all(".details-pane"))
    ]
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
