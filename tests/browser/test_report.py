"""The page of a report, opened from disk in a real browser."""

from __future__ import annotations

import math
import re
import zlib
from pathlib import Path
from typing import Any

import kvr
import numpy as np
import pytest
from browser_page import Page
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

SAMPLES = 20_000
STEPS = np.arange(SAMPLES)
TIME = STEPS * 0.01
HOSTILE = [
    "<img src=x onerror=alert(1)>", "</script><script>alert(1)</script>", "{{constructor.constructor('alert(1)')()}}",
    "${alert(1)}", "\u202egnp.exe", "שלום עולם", "a\tb\nc\x1b[31m", "'\"><svg onload=alert(1)>", "x" * 1_000_000,
]  # fmt: skip


@pytest.fixture(autouse=True)
def empty_store():
    """Runs of one test do not stand in the store of the next."""
    kvr.Store().clear()
    yield
    kvr.Store().clear()
    kvr.functions.clear()


@pytest.fixture
def runs() -> tuple[Any, Any]:
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


@pytest.fixture
def report(page: Page, runs: tuple[Any, Any], tmp_path: Path) -> Page:
    """The page with the report of both runs, shown."""
    kvr.compare(*runs, tolerance=kvr.Tolerance(absolute=0.5)).to_html(tmp_path / "report.html")
    return shown(page, tmp_path / "report.html")


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


# ---- Opening ----


def test_a_report_opens_from_disk_and_asks_for_nothing(report: Page, tmp_path: Path) -> None:
    assert report.requests() == [(tmp_path / "report.html").as_uri()]
    assert "Monday against Tuesday" in report.text("h1")
    assert report.text(".outcome") == "failed"
    assert report.driver.title == "Monday against Tuesday"


def test_what_is_furthest_out_comes_first_and_is_chosen(report: Page) -> None:
    assert labels(report) == [
        "lost", "speed", "text", "alone", "gaps", "events", "constant", "new",
    ]  # fmt: skip
    assert chosen(report) == "lost"


def test_the_sentence_of_the_verdict_stands_above_its_curves(report: Page, runs: Any) -> None:
    report.press("j")
    report.wait(lambda: chosen(report) == "speed", "the second pair")
    verdict = kvr.compare(*runs, tolerance=kvr.Tolerance(absolute=0.5))["speed"]
    assert report.text(".pair-heading .sentence") == verdict.text
    assert report.texts(".plot-title") == [
        "both sides [m/s]",
        "difference, and what is allowed [m/s]",
    ]


def test_something_is_drawn_where_there_are_samples(report: Page) -> None:
    """The canvas has more colours than an empty one, and none of its texts says NaN."""
    script = """
        const canvas = document.querySelector(".plot canvas");
        const {data} = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
        const seen = new Set();
        for (let i = 0; i < data.length; i += 4) seen.add(data.slice(i, i + 4).join());
        return seen.size"""
    report.press("j")
    report.wait(lambda: chosen(report) == "speed", "the second pair")
    assert report.run(script) > 20
    assert "NaN" not in report.text(".pair .readings")


def test_every_status_can_be_looked_at(report: Page) -> None:
    seen = []
    for _ in range(8):
        seen.append((chosen(report), len(report.all(".plot"))))
        report.press("j")
        report.settle()
    assert seen == [
        ("lost", 2), ("speed", 2), ("text", 0), ("alone", 1), ("gaps", 2), ("events", 2),
        ("constant", 2), ("new", 1),
    ]  # fmt: skip


# ---- The table ----


def test_headers_sort_both_ways_and_back(report: Page) -> None:
    header = ".table-head .table-cell:nth-child(5)"
    before = labels(report)
    report.click(f"{header} button")
    assert labels(report) == sorted(before)
    assert report.one(header).get_attribute("aria-sort") == "ascending"
    report.click(f"{header} button")
    assert labels(report) == sorted(before, reverse=True)
    report.click(f"{header} button")
    assert labels(report) == before
    assert report.one(header).get_attribute("aria-sort") == "none"


def test_the_filter_leaves_what_has_its_words(report: Page) -> None:
    report.press("/")
    report.press("WHEEL -gaps")
    assert labels(report) == ["events"]
    assert report.text(".found") == "1 of 8"
    report.press(Keys.ESCAPE)
    assert len(labels(report)) == 8
    report.press("nothing")
    assert report.text(".table-empty") == "No pair matches the filter."


def test_statuses_are_switched_on_and_off(report: Page) -> None:
    report.click(".chip.out")
    assert labels(report) == ["lost", "speed"]
    report.click(".chip.missing")
    assert labels(report) == ["lost", "speed", "alone"]
    report.click(".chip.out")
    report.click(".chip.missing")
    assert len(labels(report)) == 8


def test_the_table_is_walked_by_keys(report: Page) -> None:
    report.focus(".table")
    for key, label in (
        (Keys.ARROW_DOWN, "speed"), (Keys.END, "new"), (Keys.ARROW_UP, "constant"),
        (Keys.HOME, "lost"), (Keys.PAGE_DOWN, "new"),
    ):  # fmt: skip
        report.press(key)
        report.wait(lambda: chosen(report) == label, label)
        active = report.one(".table").get_attribute("aria-activedescendant")
        assert label in report.text(f"#{active}")


def test_a_table_of_many_rows_draws_those_that_are_seen(page: Page, tmp_path: Path) -> None:
    store = kvr.Store()
    runs = [store.new_run(name) for name in ("Monday", "Tuesday")]
    for run in runs:
        for number in range(3000):
            run.add(f"signal {number}", [1.0], time=[0.0])
    kvr.compare(*runs).to_html(tmp_path / "report.html")
    shown(page, tmp_path / "report.html")
    assert len(page.all(".table-row")) < 100
    assert page.one(".table").get_attribute("aria-rowcount") == "3001"
    page.focus(".table")
    page.press(Keys.END)
    page.wait(lambda: "signal 2999" in labels(page), "the last row")
    assert len(page.all(".table-row")) < 100


def test_the_table_is_as_wide_as_its_border_is_dragged(report: Page) -> None:
    border, pairs = report.one("[role=separator]"), report.one(".pairs")
    before = pairs.size["width"]
    ActionChains(report.driver).click_and_hold(border).move_by_offset(-80, 0).release().perform()
    report.settle()
    assert pairs.size["width"] == pytest.approx(before - 80, abs=1)


# ---- The plots ----


@pytest.fixture
def speed(report: Page) -> Page:
    """The report with "speed" chosen."""
    report.press("j")
    report.wait(lambda: chosen(report) == "speed" and len(report.all(".plot")) == 2, "speed")
    report.settle()
    return report


def test_a_drag_zooms_and_a_double_click_shows_everything(speed: Page) -> None:
    mouse = speed.mouse(plot_area(speed))
    mouse.drag(0.25, 0.5)
    first, last = times(speed)
    assert (first, last) == (pytest.approx(50, abs=0.5), pytest.approx(100, abs=0.5))
    mouse.double_click()
    speed.wait(lambda: "from=" not in speed.fragment(), "the whole")


def test_a_drag_with_shift_pans(speed: Page) -> None:
    mouse = speed.mouse(plot_area(speed))
    mouse.drag(0.25, 0.5)
    first, last = times(speed)
    mouse.drag(0.75, 0.25, Keys.SHIFT)
    speed.wait(lambda: times(speed)[0] != first, "another window")
    panned = times(speed)
    assert panned[0] - first == pytest.approx(25, abs=1)
    assert panned[1] - panned[0] == pytest.approx(last - first)


def test_the_wheel_zooms_at_the_cursor(speed: Page) -> None:
    speed.mouse(plot_area(speed)).wheel(0.25, -500)
    first, last = times(speed)
    assert last - first < 150
    assert (50 - first) / (last - first) == pytest.approx(0.25, abs=0.02)


def test_keys_zoom_and_pan(speed: Page) -> None:
    speed.focus(".plots")
    speed.press("+")
    first, last = times(speed)
    assert last - first == pytest.approx(TIME[-1] / 1.5)
    speed.press(Keys.ARROW_RIGHT)
    speed.wait(lambda: times(speed)[0] > first, "a later window")
    speed.press(Keys.HOME)
    speed.wait(lambda: "from=" not in speed.fragment(), "the whole")


def test_the_cursor_reads_real_samples(speed: Page, runs: Any) -> None:
    """Whatever stands at the cursor is a sample of the recordings, to the last digit."""
    mouse = speed.mouse(plot_area(speed))
    for place in (0.1, 0.503, 0.9):
        mouse.move(place)
        for name, run in (("baseline", runs[0]), ("other", runs[1])):
            value, time = reading(speed, "cursor", name)
            sample = round(time / 0.01)
            assert (TIME[sample], run["speed"].values[sample]) == (time, value)


def test_the_worst_value_is_pinned_at_first(speed: Page, runs: Any) -> None:
    assert reading(speed, "pin", "baseline") == (runs[0]["speed"].values[12_000], 120)
    assert reading(speed, "pin", "other") == (runs[1]["speed"].values[12_000], 120)
    assert reading(speed, "pin", "difference")[0] == pytest.approx(5)
    assert reading(speed, "pin", "tolerance") == (0.5, 120)


def test_a_click_pins_and_escape_removes_the_cursors(speed: Page) -> None:
    speed.mouse(plot_area(speed)).click(0.5)
    _, time = reading(speed, "pin", "baseline")
    assert time == pytest.approx(100, abs=1)
    speed.focus(".plots")
    speed.press(Keys.ESCAPE)
    assert set(speed.texts(".readings .value")) == {""}


def test_brackets_move_the_cursor_from_sample_to_sample(speed: Page) -> None:
    speed.press("w")
    speed.focus(".plots")
    speed.press("[")
    before = reading(speed, "cursor", "baseline")[1]
    seen = []
    for _ in range(3):
        speed.press("]")
        seen.append(reading(speed, "cursor", "baseline")[1])
    assert before < seen[0] < seen[1] < seen[2]


def test_jumps_show_the_worst_value_and_each_stretch(speed: Page) -> None:
    speed.press("w")
    first, last = times(speed)
    assert first < 120 < last and last - first < 20
    speed.click(".pair-tools button:nth-child(4)")  # all of the time
    seen = []
    for _ in range(3):
        before = speed.fragment()
        speed.press("n")
        speed.wait(lambda: speed.fragment() != before, "another window")
        seen.append(times(speed))
    for (first, last), (begin, end) in zip(seen, ((10, 10.99), (120, 120), (150, 150.09))):
        assert first < begin <= end < last
    before = speed.fragment()
    speed.press("p")
    speed.wait(lambda: speed.fragment() != before, "the stretch before")
    assert times(speed) == pytest.approx(seen[1])


def test_no_key_is_taken_from_an_input_field(report: Page) -> None:
    report.press("/")
    report.press("jnw0?")
    assert report.one(".filter").get_attribute("value") == "jnw0?"
    assert chosen(report) == "lost"


# ---- The address ----


def test_the_address_holds_what_is_shown(speed: Page, tmp_path: Path) -> None:
    speed.mouse(plot_area(speed)).drag(0.25, 0.5)
    window = times(speed)
    speed.click(".table-head .table-cell:nth-child(5) button")
    speed.type(".filter", "car")
    speed.click(".chip.out")
    speed.wait(
        lambda: "status=out" in speed.fragment() and "sort=label" in speed.fragment(), "the address"
    )
    fragment = speed.fragment()
    speed.open("about:blank")
    shown(speed, tmp_path / "report.html", fragment)
    assert (chosen(speed), labels(speed)) == ("speed", ["speed"])
    assert speed.one(".filter").get_attribute("value") == "car"
    assert times(speed) == window


def test_the_back_button_goes_to_the_pair_before(speed: Page) -> None:
    speed.wait(lambda: "pair=" in speed.fragment(), "the pair in the address")
    speed.driver.back()
    speed.wait(lambda: chosen(speed) == "lost", "the first pair")


def test_an_address_that_means_nothing_shows_the_report(report: Page, tmp_path: Path) -> None:
    report.open("about:blank")
    fragment = "#pair=999&from=9&to=1&status=x&sort=-none&component=-4&filter=%ZZ"
    report.open((tmp_path / "report.html").as_uri() + fragment)
    assert "Choose a pair" in report.text(".pair-heading")


# ---- Themes, paper, accessibility, hostile names ----


@pytest.mark.parametrize("theme", ["light", "dark"])
def test_nothing_keeps_people_out(speed: Page, theme: str) -> None:
    speed.set_theme(theme)
    speed.settle()
    assert speed.violations() == []
    speed.press("?")
    assert speed.violations() == []
    speed.press(Keys.ESCAPE)


def test_dark_is_dark_and_light_is_light(report: Page) -> None:
    grounds = {}
    for theme in ("light", "dark"):
        report.set_theme(theme)
        color = report.run("return getComputedStyle(document.body).backgroundColor")
        grounds[theme] = sum(map(int, re.findall(r"\d+", color)[:3]))
    assert grounds["dark"] < 150 < 600 < grounds["light"]


def test_paper_has_the_summary_all_pairs_and_the_chosen_one(page: Page, tmp_path: Path) -> None:
    store = kvr.Store()
    runs = [store.new_run(name) for name in ("Monday", "Tuesday")]
    for shift, run in enumerate(runs):
        for number in range(150):
            run.add(f"printed{number:03}", [1.0, 2.0 + shift], time=[0.0, 1.0])
    kvr.compare(*runs).to_html(tmp_path / "report.html")
    shown(page, tmp_path / "report.html")
    assert len(page.all(".table-row")) < 100
    printed = page.pdf()
    assert printed.startswith(b"%PDF") and pages(printed) >= 3
    page.settle()
    assert len(page.all(".table-row")) < 100


def pages(document: bytes) -> int:
    """How many pages a PDF has; its objects may be compressed."""
    parts = [document]
    for stream in re.findall(rb"stream\r?\n(.*?)endstream", document, re.DOTALL):
        try:
            parts.append(zlib.decompress(stream))
        except zlib.error:
            continue
    return sum(len(re.findall(rb"/Type\s*/Page\b(?!s)", part)) for part in parts)


def test_hostile_names_are_shown_as_texts(page: Page, tmp_path: Path) -> None:
    store = kvr.Store()
    runs = [store.new_run(HOSTILE[1]), store.new_run(HOSTILE[0])]
    for run in runs:
        for name in HOSTILE:
            run.add(name, [1.0, 2.0], time=[0.0, 1.0], path=name, unit=name[:300], source=name)
    kvr.compare(*runs).to_html(tmp_path / "report.html")
    # A dialog that opens fails whatever comes next; nothing may have been added to the page.
    shown(page, tmp_path / "report.html")
    for name in HOSTILE:
        page.press("j")
        page.settle()
    assert page.run("return document.images.length + document.querySelectorAll('svg').length") == 0
    assert len(page.all("script:not([id])")) == 1
    texts = labels(page)
    assert "<img src=x onerror=alert(1)>" in texts
    assert "⟨202E⟩gnp.exe" in texts and "a␉b␊c␛[31m" in texts
    assert max(map(len, texts)) <= 200
    width = page.run("return document.documentElement.scrollWidth - innerWidth")
    assert width <= 0


def test_a_damaged_report_says_so(page: Page, runs: Any, tmp_path: Path) -> None:
    path = tmp_path / "report.html"
    kvr.compare(*runs).to_html(path)
    text = path.read_text()
    path.write_text(re.sub(r'(id="kvr-data">.{400}).{300}', r"\1", text))
    page.open(path)
    assert "This report cannot be shown" in page.text("[role=alert]")
    path.write_text(re.sub(r'(id="kvr-block-\d+">.{20}).{10}', r"\1", text))
    page.open(path)
    page.wait(lambda: page.texts(".pair .notice") not in ([], [""]), "a notice")
    assert chosen(page) == "lost"
