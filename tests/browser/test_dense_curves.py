"""Curves that fill columns of pixels: the picture has what the samples say, in reports and in the inspector."""

from __future__ import annotations

from collections.abc import Iterator
from pathlib import Path
from typing import Any

import kvr
import numpy as np
import pytest
from browser_page import Page
from inspector_page import Inspector, emptied
from numpy.typing import NDArray

Doubles = NDArray[np.float64]

COUNT = 240_000
TIMES = np.linspace(0.0, 60.0, COUNT)
CALM, GAP = (0.0, 20.0), (30.0, 35.0)
MARGIN = 0.06  # of the span of the values, free above and below
COLORED = """
const [area, canvas] = [arguments[0], arguments[0].closest('.uplot').querySelector('canvas')];
const [inner, outer] = [area.getBoundingClientRect(), canvas.getBoundingClientRect()];
const ratio = canvas.width / outer.width;
const place = [inner.x - outer.x, inner.y - outer.y, inner.width, inner.height].map((n) => Math.round(n * ratio));
const [width, height] = place.slice(2);
const copy = new OffscreenCanvas(width, height).getContext('2d', {willReadFrequently: true});
copy.drawImage(canvas, ...place, 0, 0, width, height);
const {data} = copy.getImageData(0, 0, width, height);
const rows = [];
for (let y = 0; y < height; y++) {
  let row = '';
  for (let x = 0; x < width; x++) {
    const [red, green, blue, alpha] = data.subarray(4 * (y * width + x), 4 * (y * width + x) + 4);
    row += alpha > 60 && Math.max(red, green, blue) - Math.min(red, green, blue) > arguments[1] ? '#' : ' ';
  }
  rows.push(row);
}
return rows;
"""
COUNT_LINES = """
window.longest = 0;
const lines = new WeakMap();
const {lineTo} = Path2D.prototype;
Path2D.prototype.lineTo = function (...place) {
  lines.set(this, (lines.get(this) ?? 0) + 1);
  lineTo.apply(this, place);
};
const {stroke} = CanvasRenderingContext2D.prototype;
CanvasRenderingContext2D.prototype.stroke = function (...path) {
  if (path.length > 0) window.longest = Math.max(window.longest, lines.get(path[0]) ?? 0);
  stroke.apply(this, path);
};
"""


def dense_values() -> Doubles:
    """Calm, then noise of growing height with a gap in it."""
    noise = np.random.default_rng(7).uniform(-1, 1, COUNT) * (0.3 + TIMES / 60)
    values = np.where(TIMES < CALM[1], 0.5 * np.sin(TIMES / 3), noise)
    values[(TIMES >= GAP[0]) & (TIMES < GAP[1])] = np.nan
    return values


@pytest.fixture
def store() -> Iterator[kvr.Store]:
    for store in emptied():
        store.new_run("Monday").add("noise", dense_values(), TIMES).color = "#0b5fd0"
        yield store


def colored(page: Page, area: Any, least: int = 60) -> NDArray[np.bool_]:
    """Which pixels of a plot have so much colour: those of its curves, not of its grid."""
    rows = page.run(COLORED, area, least)
    return np.array([[pixel == "#" for pixel in row] for row in rows])


def check(
    pixels: NDArray[np.bool_], values: Doubles, solid: float, begin: float = 0.0, slack: int = 4
) -> None:
    """Each column of pixels has colour from its least to its largest sample, and none in the gap.

    `slack`: pixels, for half a line, rounding, and edges that are half covered.
    """
    height, width = pixels.shape
    finite = values[np.isfinite(values)]
    low, high = float(finite.min()), float(finite.max())
    room = (high - low) * MARGIN
    rows = (high + room - values) / (high - low + 2 * room) * height
    columns = np.minimum((TIMES / 60 * width).astype(int), width - 1)
    filled = []
    for column in range(3 + int(begin / 60 * width), width - 3):
        time = (column + 0.5) / width * 60
        here = np.flatnonzero(pixels[:, column])
        if GAP[0] + 0.2 < time < GAP[1] - 0.2:
            assert len(here) == 0, f"column {column} is in the gap"
        elif not any(abs(time - border) < 0.2 for border in (*CALM, *GAP)):
            own = rows[columns == column]
            near = rows[np.abs(columns - column) <= 2]  # a line is wider than a column
            assert near.min() - slack <= here[0] <= own.min() + slack, f"top of column {column}"
            assert own.max() - slack <= here[-1] <= near.max() + slack, f"end of column {column}"
            if time > CALM[1]:
                filled.append(len(here) / (here[-1] - here[0] + 1))
    assert np.mean(filled) > solid


@pytest.mark.parametrize("ratio", [1, 2])
def test_the_inspector_draws_a_dense_curve_from_its_least_to_its_largest_samples(
    page: Page, store: kvr.Store, ratio: int
) -> None:
    store.signals[0].visible = True
    size = {"width": 1440, "height": 900, "deviceScaleFactor": ratio, "mobile": False}
    page.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", size)
    inspector = Inspector(page)
    with store.view(browser=False) as view:
        inspector.open(view.url)
        page.wait(lambda: colored(page, inspector.area()).any(), "the curve")
        check(colored(page, inspector.area()), dense_values(), 0.97)
        page.open("about:blank")
    page.driver.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})


@pytest.mark.parametrize(("dash", "most"), [("--", 0.95), (":", 0.95), ("-.", 1.0)])
def test_a_dense_curve_with_dashes_is_as_high_and_has_blanks(
    page: Page, store: kvr.Store, dash: str, most: float
) -> None:
    signal = store.signals[0]
    signal.visible, signal.dash = True, dash
    inspector = Inspector(page)
    with store.view(browser=False) as view:
        inspector.open(view.url)
        page.wait(lambda: colored(page, inspector.area()).any(), "the curve")
        pixels, whole = (colored(page, inspector.area(), least) for least in (60, 180))
        page.open("about:blank")
    check(pixels, dense_values(), 0.6, CALM[1], slack=10)
    noisy = slice(round(pixels.shape[1] * 0.7), -3)
    tops, ends = pixels.argmax(axis=0), len(pixels) - pixels[::-1].argmax(axis=0)
    part = whole[:, noisy].sum() / (ends - tops)[noisy].sum()
    assert 0.6 < part < most, "the blanks between the dashes"


def test_a_report_draws_dense_curves_from_their_least_to_their_largest_samples(
    page: Page, store: kvr.Store, tmp_path: Path
) -> None:
    [run] = store.runs
    path = tmp_path / "report.html"
    kvr.compare(run, run.copy()).to_html(path)
    page.open(path)
    area = page.wait(lambda: page.all(".pair .u-over"), "the plots")[0]
    page.wait(lambda: colored(page, area).any(), "the curves")
    check(colored(page, area), dense_values(), 0.9)


def test_no_path_of_a_dense_curve_has_many_lines(page: Page, store: kvr.Store) -> None:
    """A browser without a graphics processor took seconds for a path of thousands of high lines."""
    made = page.driver.execute_cdp_cmd(
        "Page.addScriptToEvaluateOnNewDocument", {"source": COUNT_LINES}
    )
    store.signals[0].visible = True
    inspector = Inspector(page)
    with store.view(browser=False) as view:
        inspector.open(view.url)
        page.wait(lambda: colored(page, inspector.area()).any(), "the curve")
        longest = page.run("return longest")
        page.open("about:blank")
    page.driver.execute_cdp_cmd(
        "Page.removeScriptToEvaluateOnNewDocument", {"identifier": made["identifier"]}
    )
    assert 0 < longest <= 65
