"""A report in the browser, and the runs that it compares."""

from __future__ import annotations

import math
import re
from pathlib import Path
from typing import Any

import kvr
import numpy as np
from browser_page import Page

SAMPLES = 20_000
STEPS = np.arange(SAMPLES)
TIME = STEPS * 0.01


def make_runs() -> tuple[Any, Any]:
    """Signals of every status; "speed" is out in three stretches, the worst one at 120."""
    store = kvr.Store()
    baseline, other = store.new_run("Monday"), store.new_run("Tuesday")
    rng = np.random.default_rng(7)
    wave = np.sin(TIME) * 10 + rng.normal(size=SAMPLES) * 0.1
    changed = wave.copy()
    changed[1000:1100] += 2.0
    changed[12_000] += 5.0
    changed[15_000:15_010] -= 1.0
    baseline.add("speed", wave, time=TIME, path="car/engine", unit="m/s")
    other.add("speed", changed, time=TIME, path="car/engine")
    gaps = np.where((STEPS // 500) % 4 == 1, np.nan, wave)
    for run in (baseline, other):
        run.add("gaps", gaps, time=TIME, path="car/wheel")
        run.add("events", [0.0, 1.0, 5.0, 2.0], time=[0.0, 1.0, 1.0, 2.0], path="car/wheel")
        run.add("constant", [3.0, 3.0], time=[0.0, 1.0], path="car/clock")
        run.add("text", ["a", "b"], time=[0.0, 1.0], path="car/clock")
    baseline.add("alone", wave, time=TIME, path="car/old")
    other.add("new", wave, time=TIME, path="car/new")
    baseline.add("lost", [1.0, 2.0, 3.0], time=[0.0, 1.0, 2.0])
    other.add("lost", [1.0, math.nan, 3.0], time=[0.0, 1.0, 2.0])
    return baseline, other


def shown(page: Page, path: Path, fragment: str = "") -> Page:
    page.open(path.as_uri() + fragment)
    page.one(".table-row[aria-selected=true]")
    page.settle()
    return page


def labels(page: Page) -> list[str]:
    return page.texts(".table-row .table-cell:nth-child(5)")


def chosen(page: Page) -> str:
    return str(page.texts(".pair-heading h2 bdi")[0])


def times(page: Page) -> tuple[float, float]:
    """The window of time in the address, once it stands there."""

    def look() -> Any:
        fields = dict(re.findall(r"(\w+)=([^&]*)", page.fragment()))
        return "from" in fields and (float(fields["from"]), float(fields["to"]))

    found: tuple[float, float] = page.wait(look, "a window in the address")
    return found


def plot_area(page: Page) -> Any:
    return page.wait(lambda: page.all(".plot .u-over"), "a plot")[0]


def reading(page: Page, where: str, name: str) -> tuple[float, float]:
    """Value and time of a sample in the table of readings, at the "cursor" or the "pin"."""
    row = f".readings [data-reading={name}]"
    (value,) = page.texts(f"{row} .at-{where}.value")
    (time,) = page.texts(f"{row} .at-{where}.time")
    return float(value), float(time)
