"""The inspector in the browser, and a small store for it."""

from __future__ import annotations

import socket
import threading
from collections.abc import Iterator
from contextlib import suppress
from typing import Any

import kvr
import numpy as np
from browser_page import Page
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.remote.webelement import WebElement

COUNT = 6001
TIMES = np.linspace(0.0, 60.0, COUNT)


def fill(store: kvr.Store) -> tuple[kvr.Run, kvr.Run]:
    """Two runs of five signals each; those of the second are 2 % larger."""
    runs = store.new_run("Monday"), store.new_run("Tuesday")
    for run, gain in zip(runs, (1.0, 1.02)):
        speed = 20 + 5 * np.sin(TIMES / 5)
        torque = 120 + 40 * np.sin(TIMES / 3 + 1)
        run.add(
            "speed", speed * gain, TIMES, path="car/speed", unit="m/s", source="ecu", model="car"
        )
        run.add(
            "torque", torque * gain, TIMES, path="car/torque", unit="Nm", source="ecu", model="car"
        )
        run.add(
            "gear", np.arange(COUNT) // 1200, TIMES, path="car/gear", source="can", model="gearbox"
        )
        place = np.stack([TIMES * gain, -TIMES], axis=1)
        run.add("place", place, TIMES, path="car/place", unit="m", source="gps", model="car")
        run.add(
            "note", np.array(["go", "stop"]), [0.0, 60.0], path="log", source="log", model="log"
        )
    return runs


class Inspector:
    """A window of the inspector: what people do in it, and what they see."""

    def __init__(self, page: Page) -> None:
        self.page = page

    def open(self, address: str) -> None:
        self.page.open(address)
        self.page.wait(lambda: self.page.all(".tree-row"), "the list of signals")
        self.page.settle()

    # ---- The list ----

    def rows(self) -> list[str]:
        """The names of the rows that are drawn, groups and signals, from top to bottom."""
        return self.page.run(
            "return [...document.querySelectorAll('.tree-row')].map("
            "(row) => row.querySelector('.tree-name > :first-child').textContent)"
        )

    def groups(self) -> list[str]:
        return self.page.texts(".tree-row.group .tree-name")

    def row(self, name: str, group: str | None = None) -> WebElement:
        """The row of a signal, below a group if one is named."""
        found = [place for place, text in enumerate(self.rows()) if text == name]
        if group is not None:
            above = self.rows().index(group)
            found = [place for place in found if place > above][:1]
        assert len(found) == 1, f"{len(found)} rows are {name}: {self.rows()}"
        return self.page.all(".tree-row")[found[0]]

    def tick(self, name: str, group: str | None = None) -> None:
        self._click_in_row("tree-tick", name, group)

    def choose(self, name: str, group: str | None = None) -> None:
        self._click_in_row("tree-name", name, group)

    def toggle(self, group: str) -> None:
        """Open or close a group by mouse."""
        self._click_in_row("tree-arrow", group, None)

    def _click_in_row(self, part: str, name: str, group: str | None) -> None:
        def click() -> bool:
            with suppress(StaleElementReferenceException):  # drawn anew in between
                self.row(name, group).find_element(By.CLASS_NAME, part).click()
                return True
            return False

        self.page.wait(click, f"the row of {name}")
        self.page.settle()

    def ticks(self) -> dict[str, str]:
        """aria-checked of the rows by name; the last one of a name."""
        states = self.page.run(
            "return [...document.querySelectorAll('.tree-row')].map("
            "(row) => row.getAttribute('aria-checked'))"
        )
        return dict(zip(self.rows(), states))

    # ---- The plots ----

    def plots(self) -> list[list[str]]:
        """The names of the signals of each plot."""
        return self.page.run(
            "return [...document.querySelectorAll('.legend')].filter((one) => one.isConnected).map((one) =>"
            " [...one.querySelectorAll('.legend-chip > bdi:first-of-type')].map((name) => name.textContent))"
        )

    def chip(self, name: str, which: int = 0) -> WebElement:
        names = self.page.texts(".legend-chip > bdi:first-of-type")
        places = [place for place, text in enumerate(names) if text == name]
        return self.page.all(".legend-chip")[places[which]]

    def area(self, plot: int = 0) -> WebElement:
        return self.page.wait(lambda: self.page.all(".u-over"), "a plot")[plot]

    def window(self) -> tuple[float, float] | None:
        """The window that the address tells; None for all of the time."""
        fields = self.fields()
        return (float(fields["t0"]), float(fields["t1"])) if "t0" in fields else None

    def fields(self) -> dict[str, str]:
        pairs = self.page.run("return [...new URLSearchParams(location.hash.slice(1))]")
        return dict(pairs)

    def drag(self, element: WebElement, target: WebElement) -> None:
        chain = ActionChains(self.page.driver, duration=50)
        chain.click_and_hold(element).move_to_element(target).release().perform()
        self.page.settle()

    # ---- Details ----

    def field(self, label: str, section: str) -> WebElement:
        """The control of this label in a section of the details."""
        place = f"//section[@aria-label='{section}']//label[normalize-space()='{label}']"
        found = self.page.driver.find_element(By.XPATH, place)
        return self.page.one(f"#{found.get_attribute('for')}")

    def enter(self, label: str, section: str, text: str) -> None:
        field = self.field(label, section)
        field.send_keys(Keys.CONTROL, "a")
        field.send_keys(text, Keys.ENTER)
        self.page.settle()

    def pick(self, label: str, section: str, text: str) -> None:
        """Pick an option by keyboard."""
        field = self.field(label, section)
        field.find_element(By.XPATH, f"./option[normalize-space()='{text}']").click()
        self.page.settle()

    def switch(self, section: str) -> WebElement:
        return self.page.one(f"section[aria-label='{section}'] input[role=switch]")

    def refusals(self) -> list[str]:
        return [text for text in self.page.texts(".field-refusal") if text]

    def press_button(self, text: str, within: str = "body") -> None:
        script = (
            "return [...document.querySelectorAll(arguments[0] + ' button')].filter((one) =>"
            " one.textContent === arguments[1] && one.getClientRects().length > 0)"
        )
        found = self.page.run(script, within, text)
        assert len(found) == 1, f"{len(found)} buttons are {text}"
        found[0].click()
        self.page.settle()

    # ---- Waiting for the store ----

    def sees(self, look: Any, what: str) -> Any:
        return self.page.wait(look, what)


def shown(store: kvr.Store) -> list[tuple[str, str]]:
    """Run and label of the signals that are shown."""
    return [(signal.run.name, signal.label) for signal in store.signals if signal.visible]


def emptied() -> Iterator[kvr.Store]:
    """The store, emptied before and after."""
    store = kvr.Store()
    store.clear()
    yield store
    store.clear()


def focus_list(page: Page) -> None:
    page.focus(".tree")


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


class Wire:
    """A connection to a server, under a port of its own, that can be cut and restored."""

    def __init__(self, behind: int) -> None:
        self.behind = behind
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = int(self._listener.getsockname()[1])
        self._open: list[socket.socket] = []
        self._is_cut = False
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def __enter__(self) -> Wire:
        return self

    def __exit__(self, *_: object) -> None:
        with suppress(OSError):
            self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        self.cut()
        self._thread.join()

    def cut(self) -> None:
        """End what is connected, and whatever connects from now on."""
        self._is_cut = True
        for one in self._open:
            with suppress(OSError):
                one.shutdown(socket.SHUT_RDWR)

    def restore(self) -> None:
        self._is_cut = False

    def _serve(self) -> None:
        with suppress(OSError):
            while True:
                here, _ = self._listener.accept()
                if self._is_cut:
                    here.close()
                    continue
                there = socket.create_connection(("127.0.0.1", self.behind))
                self._open += [here, there]
                for source, target in ((here, there), (there, here)):
                    threading.Thread(
                        target=self._pass_on, args=(source, target), daemon=True
                    ).start()

    def _pass_on(self, source: socket.socket, target: socket.socket) -> None:
        """Pass on what comes; the server hears of its own port, and no other."""
        with suppress(OSError), source, target:
            while data := source.recv(1 << 16):
                target.sendall(data.replace(b":%d" % self.port, b":%d" % self.behind))
            target.shutdown(socket.SHUT_RDWR)
