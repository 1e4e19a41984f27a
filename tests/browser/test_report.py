"""The page of a report, opened from disk in a real browser."""

from __future__ import annotations

import re
import zlib
from pathlib import Path
from typing import Any

import kvr
import pytest
from browser_page import Page
from report_page import chosen, labels, plot_area, shown, times
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

HOSTILE = [
    "<img src=x onerror=alert(1)>", "</script><script>alert(1)</script>", "{{constructor.constructor('alert(1)')()}}",
    "${alert(1)}", "\u202egnp.exe", "שלום עולם", "a\tb\nc\x1b[31m", "'\"><svg onload=alert(1)>", "x" * 1_000_000,
]  # fmt: skip
pytestmark = pytest.mark.usefixtures("empty_store")


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
