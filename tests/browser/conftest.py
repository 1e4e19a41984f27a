"""A real browser for the tests of the page: headless Chromium, as Debian packages it."""

from __future__ import annotations

import os
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import kvr
import pytest
from browser_page import PATIENCE, Page
from inspector_page import Inspector, emptied, fill
from report_page import chosen, make_runs, shown
from selenium import webdriver
from selenium.webdriver.chrome.service import Service

FLAGS = (
    "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
    "--disable-dev-shm-usage", "--force-device-scale-factor=1", "--hide-scrollbars",
    "--window-size=1440,900", "--lang=en",
)  # fmt: skip


@pytest.fixture(scope="session")
def driver(tmp_path_factory: pytest.TempPathFactory) -> Iterator[webdriver.Chrome]:
    """One browser for all tests, with a profile of its own."""
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for flag in (*FLAGS, f"--user-data-dir={tmp_path_factory.mktemp('profile')}"):
        options.add_argument(flag)
    options.set_capability("goog:loggingPrefs", {"performance": "ALL", "browser": "ALL"})
    # The driver is found by its path, so that nothing is looked for on a network.
    service = Service("/usr/bin/chromedriver", env={**os.environ, "LC_ALL": "C.UTF-8"})
    browser = webdriver.Chrome(options=options, service=service)
    try:
        browser.set_script_timeout(PATIENCE)
        yield browser
    finally:
        browser.quit()


@pytest.fixture
def page(driver: webdriver.Chrome) -> Iterator[Page]:
    """An empty page; a test that leaves errors in the console fails."""
    driver.get("about:blank")
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": []})
    driver.set_window_size(1440, 900)
    made = Page(driver)
    made.requests(), made.errors()
    yield made
    assert made.errors() == []


@pytest.fixture
def store() -> Iterator[kvr.Store]:
    """The store with two runs of five signals each."""
    for store in emptied():
        fill(store)
        yield store


@pytest.fixture
def inspector(page: Page, store: kvr.Store) -> Iterator[Inspector]:
    """A window of the inspector that shows the store."""
    made = Inspector(page)
    with store.view(browser=False) as view:
        made.open(view.url)
        yield made
        page.driver.get("about:blank")


# ---- Reports ----


@pytest.fixture
def empty_store() -> Iterator[None]:
    """Runs of one test do not stand in the store of the next."""
    kvr.Store().clear()
    yield
    kvr.Store().clear()
    kvr.functions.clear()


@pytest.fixture
def runs(empty_store: None) -> tuple[Any, Any]:
    return make_runs()


@pytest.fixture
def report(page: Page, runs: tuple[Any, Any], tmp_path: Path) -> Page:
    """The page with the report of both runs, shown."""
    kvr.compare(*runs, tolerance=kvr.Tolerance(absolute=0.5)).to_html(tmp_path / "report.html")
    return shown(page, tmp_path / "report.html")


@pytest.fixture
def speed(report: Page) -> Page:
    """The report with "speed" chosen."""
    report.press("j")
    report.wait(lambda: chosen(report) == "speed" and len(report.all(".plot")) == 2, "speed")
    report.settle()
    return report
