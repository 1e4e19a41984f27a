"""The inspector's server and a real browser: who is let in, what stays when the server goes."""

from __future__ import annotations

import http.server
import os
import signal
import subprocess
import sys
import threading
from collections.abc import Iterator
from pathlib import Path

import kvr
import pytest
from browser_page import Page

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")

ROWS = ".tree-row"


@pytest.fixture(autouse=True)
def store() -> Iterator[kvr.Store]:
    """The store with one run, without that of the test before."""
    store = kvr.Store()
    store.clear()
    run = store.new_run("Monday")
    for label in ("speed", "torque"):
        run.add(label, [1.0, 2.0, 3.0], time=[0.0, 1.0, 2.0], path="car/" + label)
    yield store
    store.clear()


@pytest.fixture
def view(store: kvr.Store) -> Iterator[kvr.View]:
    with store.view(browser=False) as view:
        yield view


def open_inspector(page: Page, address: str) -> None:
    page.open(address)
    page.wait(lambda: page.all(ROWS), "the list of signals")


class Site:
    """Another site: pages of this machine under a name that is not the server's."""

    def __init__(self) -> None:
        pages = self.pages = {}

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self) -> None:
                text = pages.get(self.path, "<!doctype html>").encode()
                self.send_response(200)
                self.send_header("Content-Type", "text/html")
                self.end_headers()
                self.wfile.write(text)

            def log_message(self, *_: object) -> None:
                pass

        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self._thread = threading.Thread(target=self._server.serve_forever)
        self._thread.start()
        self.address = f"http://localhost:{self._server.server_port}"

    def put(self, path: str, text: str) -> str:
        """Serve this page; its address."""
        self.pages[path] = f"<!doctype html><title>another site</title><body>{text}"
        return self.address + path

    def close(self) -> None:
        self._server.shutdown()
        self._server.server_close()
        self._thread.join()


@pytest.fixture
def site() -> Iterator[Site]:
    site = Site()
    yield site
    site.close()


# ---- Who is let in ----


def test_printed_address_shows_the_page_and_leaves_no_token(page: Page, view: kvr.View) -> None:
    open_inspector(page, view.url)
    assert page.run("return location.href").partition("#")[0] == view.address
    assert page.run("return document.cookie") == ""
    entries = page.driver.execute_cdp_cmd("Page.getNavigationHistory", {})["entries"]
    assert not [entry for entry in entries if "token" in entry["url"]]
    assert page.run("return document.referrer") == ""


def test_admitted_browser_opens_further_windows_without_a_token(page: Page, view: kvr.View) -> None:
    open_inspector(page, view.url)
    first = page.driver.current_window_handle
    page.driver.switch_to.new_window("tab")
    open_inspector(page, view.address)
    page.driver.close()
    page.driver.switch_to.window(first)


def test_link_on_another_site_admits_as_one_of_a_notebook_does(
    page: Page, view: kvr.View, site: Site
) -> None:
    page.open(site.put("/", f'<a id="link" href="{view.url}">open</a>'))
    page.one("#link").click()
    page.wait(lambda: page.all(ROWS), "the list of signals")
    assert page.run("return location.href").partition("#")[0] == view.address


def test_link_on_another_site_opens_a_server_that_admitted_the_browser_before(
    page: Page, view: kvr.View, site: Site
) -> None:
    open_inspector(page, view.url)
    page.open(site.put("/", f'<a id="link" href="{view.address}">open</a>'))
    page.one("#link").click()
    page.wait(lambda: page.all(ROWS), "the list of signals")


def test_another_site_can_neither_change_nor_read_the_store(
    page: Page, view: kvr.View, site: Site, store: kvr.Store
) -> None:
    open_inspector(page, view.url)
    page.open(site.put("/", "nothing here"))
    script = """
        const [address, done] = arguments;
        const asks = [
            fetch(address + "api/state", {credentials: "include"}).then((r) => r.text()),
            fetch(address + "api/runs/1", {method: "DELETE", credentials: "include"}),
            fetch(address + "api/signals/1", {
                method: "POST", credentials: "include", mode: "no-cors", body: '{"visible": true}',
            }).then((r) => r.type),
            fetch(address + "page.js", {mode: "no-cors", credentials: "include"}).then((r) => r.type),
        ];
        Promise.allSettled(asks).then((all) => done(all.map((one) => one.value ?? "refused")));
    """
    found = page.driver.execute_async_script(script, view.address)
    assert found[:2] == ["refused", "refused"]
    assert set(found[2:]) <= {"refused", "opaque"}  # nothing can be read of an opaque answer
    assert (len(store), store.signal(1).visible) == (1, False)
    assert page.errors()  # the browser says what it refused


def test_another_site_cannot_frame_the_page(page: Page, view: kvr.View, site: Site) -> None:
    open_inspector(page, view.url)
    page.open(site.put("/", f'<iframe id="frame" src="{view.address}"></iframe>'))
    page.driver.switch_to.frame(page.one("#frame"))
    # Loaded by now, as the page around it: what the browser shows in place of the inspector.
    assert "kvr" not in page.run("return document.title + document.documentElement.outerHTML")
    assert not page.all(ROWS)
    page.driver.switch_to.default_content()
    page.errors()  # the browser says what it refused


def test_policy_of_the_page_runs_no_script_of_a_text(page: Page, view: kvr.View) -> None:
    open_inspector(page, view.url)
    page.run(
        "const s = document.createElement('script'); s.textContent = 'window.ran = true';"
        "document.body.append(s); const i = document.createElement('img');"
        "i.setAttribute('onerror', 'window.ran = true'); i.src = 'data:,'; document.body.append(i)"
    )
    page.settle()
    assert page.run("return window.ran") is None
    assert any("Content Security Policy" in error for error in page.errors())


def test_nothing_is_asked_of_another_machine(page: Page, view: kvr.View) -> None:
    page.requests()
    open_inspector(page, view.url)
    page.settle()
    asked = page.requests()
    assert asked
    assert {address for address in asked if not address.startswith(view.address)} == set()


# ---- Two windows ----


def test_change_of_one_window_is_seen_in_the_other(
    page: Page, view: kvr.View, store: kvr.Store
) -> None:
    open_inspector(page, view.url)
    first = page.driver.current_window_handle
    page.driver.switch_to.new_window("tab")
    open_inspector(page, view.address)
    change = """
        const done = arguments[0];
        fetch("/api/runs/1", {
            method: "PATCH", headers: {"Content-Type": "application/json"}, body: '{"name": "Sunday"}',
        }).then((r) => done(r.status));
    """
    assert page.driver.execute_async_script(change) == 200
    page.driver.close()
    page.driver.switch_to.window(first)
    page.wait(lambda: "Sunday" in page.run("return document.body.textContent"), "the new name")
    assert store.runs[0].name == "Sunday"


# ---- The server goes ----


def command(folder: Path, *options: str) -> tuple[subprocess.Popen[str], str]:
    """kvr view as a process, and the address that it printed."""
    process = subprocess.Popen(
        [sys.executable, "-m", "kvr", "view", "drive.csv", "--no-browser", *options],
        stdout=subprocess.PIPE, text=True, cwd=folder, env=os.environ,
    )  # fmt: skip
    assert process.stdout is not None
    return process, process.stdout.readline().strip()


def test_window_keeps_what_it_shows_when_the_server_is_killed_and_says_so(
    page: Page, tmp_path: Path
) -> None:
    (tmp_path / "drive.csv").write_text("time,speed\n0,1\n1,2\n")
    process, address = command(tmp_path)
    try:
        open_inspector(page, address)
        process.send_signal(signal.SIGKILL)
        process.wait()
        text = "return document.querySelector('.banner').textContent"
        page.wait(lambda: "does not answer" in page.run(text), "the banner")
        assert page.all(ROWS)

        port = address.partition("?")[0].rstrip("/").rpartition(":")[2]
        process.communicate()
        process, second = command(tmp_path, "--port", port)
        page.wait(lambda: "does not know this window" in page.run(text), "the other banner")
        assert page.all(ROWS)
        page.errors()  # the browser tells of every request that failed
        open_inspector(page, second)
        assert page.run(text) == ""
    finally:
        page.open("about:blank")  # or the window asks a server that is gone
        process.kill()
        process.communicate()
        page.errors()
