"""Several windows of the inspector, and a server or a file that goes."""

from __future__ import annotations

from collections.abc import Iterator
from pathlib import Path

import kvr
import pytest
from browser_page import Page
from inspector_page import Inspector, Wire, compared, emptied, fill, shown, statuses
from kvr._base.view import View
from kvr._view.handle import start
from kvr._view.opening import load_files


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
    inspector.sees(
        lambda: statuses(page).get("speed") == "within", "the verdict of the new tolerance"
    )


# ---- The server ----


def test_a_server_that_is_gone_is_said_and_what_is_shown_stays(
    page: Page, store: kvr.Store
) -> None:
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
