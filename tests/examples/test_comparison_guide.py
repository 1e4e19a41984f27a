"""The guide to comparing: its examples run, its pictures are drawn from them, its C++ is compiled."""

import doctest
import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

DOCS = Path(__file__).parents[2] / "docs"
GUIDE = DOCS / "comparison.md"
TEXT = GUIDE.read_text(encoding="utf-8")
PICTURES = re.findall(r"!\[.+\]\(comparison/([a-z]+\.svg)\)", TEXT)


def test_examples_of_the_guide_print_what_they_say():
    failures, tests = doctest.testfile(str(GUIDE), module_relative=False)
    assert failures == 0
    assert tests > 40


@pytest.fixture(scope="module")
def drawn(tmp_path_factory):
    folder = tmp_path_factory.mktemp("drawn")
    subprocess.run(
        [sys.executable, DOCS / "draw_comparison.py", folder], check=True, env=os.environ
    )
    return folder


def test_pictures_are_those_of_the_examples(drawn):
    assert sorted(path.name for path in drawn.iterdir()) == sorted(PICTURES)
    for name in PICTURES:
        assert (drawn / name).read_text() == (
            DOCS / "comparison" / name
        ).read_text(), f"{name} is old; run docs/draw_comparison.py"


def test_every_picture_stands_in_the_guide_and_all_are_small():
    files = list((DOCS / "comparison").iterdir())
    assert sorted(path.name for path in files) == sorted(PICTURES)
    assert sum(path.stat().st_size for path in files) < 300_000


def test_pictures_mark_the_values_that_are_out():
    crosses = {
        name: (DOCS / "comparison" / name).read_text().count('class="out"') for name in PICTURES
    }
    assert crosses["union.svg"] == crosses["event.svg"] == crosses["gaps.svg"] == 1
    assert crosses["late.svg"] == crosses["intersection.svg"] == 0


def test_guide_shows_the_function_of_the_native_example():
    (block,) = re.findall(r"```cpp\n(.*?)```", TEXT, re.S)
    assert block in (DOCS.parent / "examples" / "compare_runs.cpp").read_text(encoding="utf-8")


def test_guide_names_every_status_and_reason_of_the_schema():
    schema = (DOCS / "comparison.schema.json").read_text()
    for word in ("within", "out", "missing", "extra", "incomparable", "no-values", "not-numeric",
                 "bad-time", "shape-differs", "bad-settings", "no-function", "function-failed",
                 "nothing-compared"):  # fmt: skip
        assert f'"{word}"' in schema
        assert f"| `{word}` |" in TEXT
