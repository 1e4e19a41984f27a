"""The page over all pairs of a campaign, opened from disk."""

import math
import os
import subprocess
import sys

import pytest
from selenium.webdriver.common.keys import Keys

HOSTILE = "<img src=x onerror=document.title='hit'>\u202e.csv"


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    """40 pairs: every seventh differs by its number, one is damaged, one missing, one hostile."""
    root = tmp_path_factory.mktemp("campaign")
    for number in range(40):
        for side in ("base", "other"):
            (root / side / "sub").mkdir(parents=True, exist_ok=True)
            off = number if side == "other" and number % 7 == 0 else 0
            rows = [f"{t},{math.sin(t / 50) + off * (200 < t < 230)}" for t in range(500)]
            name = HOSTILE if number == 35 else f"sub/drive{number}.csv"
            (root / side / name).write_text("\n".join(["time,speed", *rows, ""]))
    (root / "other" / "sub" / "drive3.csv").write_bytes(b"\0")
    (root / "other" / "sub" / "drive4.csv").unlink()
    command = [sys.executable, "-m", "kvr", "campaign", root / "base", root / "other"]
    done = subprocess.run([*command, "--html", root / "html", "--quiet"], env=os.environ)
    assert done.returncode == 1
    return root / "html"


def names(page):
    page.settle()
    return page.texts(".table-row .table-cell:nth-child(2)")


def rows_shown(page, count):
    page.wait(lambda: page.all(".table-row"), "rows")
    page.wait(lambda: page.one(".table").get_attribute("aria-rowcount") == str(count + 1), "rows")


def test_it_opens_from_disk_worst_first_and_asks_no_network(page, folder):
    page.open(folder / "index.html")
    rows_shown(page, 40)
    assert page.texts(".summary .sentence") == ["7 of 40 pairs fail."]
    statuses = page.texts(".table-row .table-cell:first-child")
    assert [status.split()[1] for status in statuses[:8]] == [
        "error", "missing", *["differs"] * 5, "passed",
    ]  # fmt: skip
    excesses = page.texts(".table-row .table-cell:nth-child(3)")
    assert [float(text) for text in excesses[2:7]] == [35, 28, 21, 14, 7]
    assert page.requests() == [(folder / "index.html").as_uri()]
    assert page.violations() == []


def test_names_of_files_are_texts(page, folder):
    page.open(folder / "index.html")
    rows_shown(page, 40)
    assert names(page)[2] == HOSTILE.replace("\u202e", "⟨202E⟩")
    assert page.all("img") == [] and page.driver.title.endswith("other")


def test_a_row_leads_to_its_report_and_back(page, folder):
    page.open(folder / "index.html")
    rows_shown(page, 40)
    page.focus(".table")
    page.press(Keys.HOME, Keys.ARROW_DOWN, Keys.ARROW_DOWN, Keys.ARROW_DOWN, Keys.ENTER)
    page.wait(lambda: "/pairs/" in page.driver.current_url, "the report")
    assert page.texts("h1 bdi") == ["drive28", "drive28"]
    page.driver.back()
    rows_shown(page, 40)
    page.all(".report-link")[0].click()
    page.wait(lambda: "/pairs/" in page.driver.current_url, "the report")


def test_it_filters_and_sorts_and_the_address_keeps_both(page, folder):
    page.open(folder / "index.html")
    rows_shown(page, 40)
    page.press("/")
    page.type(".filter", "drive2")
    rows_shown(page, 11)
    page.click(".chip.within")
    rows_shown(page, 9)
    page.all(".table-sort")[1].click()
    assert names(page) == [f"sub/drive{n}.csv" for n in (2, 20, 22, 23, 24, 25, 26, 27, 29)]
    address = page.driver.current_url
    assert "filter=drive2" in address and "status=passed" in address and "sort=pair" in address
    page.open("about:blank")
    page.open(address)
    rows_shown(page, 9)
    assert names(page)[0] == "sub/drive2.csv"


@pytest.mark.parametrize("theme", ["dark", "light"])
def test_both_themes_can_be_read(page, folder, theme):
    page.set_theme(theme)
    page.open(folder / "index.html")
    rows_shown(page, 40)
    assert page.violations() == []
