"""docs/methods.md agrees with the module, and its examples do what they show."""

import doctest
import re
import subprocess
import sys
from pathlib import Path

import pytest
import vormel
from manual_cases import drop_store

ROOT = Path(__file__).parent.parent.parent
PAGE = ROOT / "docs" / "methods.md"
MANUAL = Path(vormel.__file__).with_name("kvrntob.json")


@pytest.fixture(autouse=True)
def store_is_dropped(live_arrays_return_to_their_number):
    yield
    drop_store()


def test_page_is_what_the_tables_say():
    done = subprocess.run(
        [sys.executable, ROOT / "scripts" / "write_methods", "--check", MANUAL],
        capture_output=True,
        text=True,
    )
    assert done.returncode == 0, done.stdout + done.stderr


def test_check_finds_another_table(tmp_path):
    other = tmp_path / "kvrntob.json"
    other.write_text(MANUAL.read_text().replace("Returns the name of a run.", "Names a run."))
    done = subprocess.run(
        [sys.executable, ROOT / "scripts" / "write_methods", "--check", other],
        capture_output=True,
        text=True,
    )
    assert done.returncode == 1
    assert "+Names a run." in done.stdout
    assert "run scripts/write_methods" in done.stderr


def test_examples_print_what_the_page_shows():
    drop_store()
    blocks = re.findall(r"^```python\n(.*?)^```", PAGE.read_text(), re.M | re.S)
    headings = re.findall(r"^## ", PAGE.read_text(), re.M)
    assert len(blocks) == len(headings) + 1, "an example for each family, and the imports"
    test = doctest.DocTestParser().get_doctest("".join(blocks), {}, PAGE.name, str(PAGE), 0)
    report = []
    result = doctest.DocTestRunner(verbose=False).run(test, out=report.append)
    assert result.attempted > 30
    assert result.failed == 0, "".join(report)
    test.globs.clear()
