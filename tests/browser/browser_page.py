"""A page in the browser, and the mouse over it, for the tests."""

from __future__ import annotations

import base64
import json
import time
from collections.abc import Callable
from pathlib import Path
from typing import Any

import kvr
from selenium import webdriver
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.remote.webelement import WebElement

PATIENCE = 20  # seconds
BUILT = Path(kvr.__file__).resolve().parents[2]  # build/PRESET
AXE = BUILT / "inspector" / "node_modules" / "axe-core" / "axe.min.js"


class Page:
    """The browser with one page: what tests do and look at, in a few words."""

    def __init__(self, driver: webdriver.Chrome) -> None:
        self.driver = driver

    # ---- Opening ----

    def open(self, address: str | Path) -> None:
        """Open an address, or a file from disk."""
        self.driver.get(address.as_uri() if isinstance(address, Path) else address)

    def requests(self) -> list[str]:
        """The addresses that were asked for since the last call, but for data within the page."""
        found = []
        for entry in self.driver.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                found.append(message["params"]["request"]["url"])
        return [one for one in found if not one.startswith(("data:", "blob:"))]

    def errors(self) -> list[str]:
        """What the browser's console said since the last call: errors, and what the policy forbade."""
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def set_theme(self, theme: str) -> None:
        """ "dark" or "light"."""
        feature = {"name": "prefers-color-scheme", "value": theme}
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [feature]})

    def set_size(self, width: int, height: int) -> None:
        self.driver.set_window_size(width, height)

    # ---- Looking ----

    def all(self, selector: str) -> list[WebElement]:
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector: str) -> WebElement:
        """The only element; waits until it is there."""
        found = self.wait(lambda: self.all(selector), f"{selector} to be there")
        assert len(found) == 1, f"{len(found)} elements are {selector}"
        return found[0]

    def texts(self, selector: str) -> list[str]:
        """The texts of all elements, read at once."""
        script = "return [...document.querySelectorAll(arguments[0])].map((e) => e.textContent)"
        return self.run(script, selector)

    def text(self, selector: str) -> str:
        return self.one(selector).text

    def fragment(self) -> str:
        """The part of the address after "#"."""
        return self.run("return location.hash")

    def run(self, script: str, *arguments: Any) -> Any:
        return self.driver.execute_script(script, *arguments)

    def wait(self, look: Callable[[], Any], what: str) -> Any:
        """The first result of `look` that holds; fails after PATIENCE seconds."""
        end = time.monotonic() + PATIENCE
        while True:
            found = look()
            if found:
                return found
            assert time.monotonic() < end, f"waited for {what}"
            time.sleep(0.02)

    def settle(self) -> None:
        """Wait until what was asked for is drawn: two frames."""
        self.driver.execute_async_script(
            "const done = arguments[0]; requestAnimationFrame(() => requestAnimationFrame(() => done()))"
        )

    # ---- Doing ----

    def click(self, selector: str) -> None:
        self.one(selector).click()
        self.settle()

    def type(self, selector: str, text: str) -> None:
        """Replace the text of an input field."""
        field = self.one(selector)
        field.send_keys(Keys.CONTROL, "a")
        field.send_keys(text or Keys.DELETE)
        self.settle()

    def press(self, *keys: str) -> None:
        """Press keys on what has the focus."""
        ActionChains(self.driver).send_keys(*keys).perform()
        self.settle()

    def focus(self, selector: str) -> None:
        self.run("arguments[0].focus()", self.one(selector))

    def mouse(self, element: WebElement) -> Mouse:
        return Mouse(self, element)

    # ---- Results ----

    def screenshot(self, path: str | Path) -> None:
        self.driver.save_screenshot(str(path))

    def pdf(self) -> bytes:
        made = self.driver.execute_cdp_cmd("Page.printToPDF", {"printBackground": True})
        return base64.b64decode(made["data"])

    def violations(self) -> list[str]:
        """What the accessibility checker finds, with the first element of each."""
        if not self.run("return typeof axe === 'object'"):
            # A page's policy allows no other script; the browser's own door does.
            self.driver.execute_cdp_cmd("Runtime.evaluate", {"expression": AXE.read_text()})
        found = self.driver.execute_async_script(
            "axe.run(document, {resultTypes: ['violations']}).then("
            "(r) => arguments[0](r.violations.map((v) => v.id + ': ' + v.nodes[0].html)),"
            "(e) => arguments[0]([String(e)]))"
        )
        return list(found)


class Mouse:
    """The mouse over an element; places are parts of its width and height, from 0 to 1."""

    def __init__(self, page: Page, element: WebElement) -> None:
        self._page = page
        self._element = element

    def _offset(self, x: float, y: float) -> tuple[int, int]:
        size = self._element.size
        return round((x - 0.5) * size["width"]), round((y - 0.5) * size["height"])

    def _chain(self) -> ActionChains:
        return ActionChains(self._page.driver, duration=20)

    def move(self, x: float, y: float = 0.5) -> None:
        self._chain().move_to_element_with_offset(self._element, *self._offset(x, y)).perform()
        self._page.settle()

    def click(self, x: float, y: float = 0.5) -> None:
        chain = self._chain().move_to_element_with_offset(self._element, *self._offset(x, y))
        chain.click().perform()
        self._page.settle()

    def double_click(self, x: float = 0.5, y: float = 0.5) -> None:
        chain = self._chain().move_to_element_with_offset(self._element, *self._offset(x, y))
        chain.double_click().perform()
        self._page.settle()

    def drag(self, start: float, end: float, key: str | None = None) -> None:
        """Drag from one place to another, with a key held down."""
        chain = self._chain().move_to_element_with_offset(self._element, *self._offset(start, 0.5))
        if key is not None:
            chain.key_down(key)
        chain.click_and_hold()
        chain.move_to_element_with_offset(self._element, *self._offset(end, 0.5)).release()
        if key is not None:
            chain.key_up(key)
        chain.perform()
        self._page.settle()

    def wheel(self, x: float, delta: int) -> None:
        """Turn the wheel; below 0 is away from the user."""
        place = self._page.run(
            "const r = arguments[0].getBoundingClientRect(); return [r.x, r.y, r.width, r.height]",
            self._element,
        )
        event = {
            "type": "mouseWheel", "x": place[0] + x * place[2], "y": place[1] + place[3] / 2,
            "deltaX": 0, "deltaY": delta,
        }  # fmt: skip
        self._page.driver.execute_cdp_cmd("Input.dispatchMouseEvent", event)
        self._page.settle()
