"""The types of the package, as mypy sees them."""

import subprocess
import sys
from pathlib import Path

import kvr
import pytest

SOURCES = Path(__file__).parents[2] / "python"
USER = """
import kvr

store = kvr.Store()
run = store.new_run("a", instance=1)
signal: kvr.Signal = run.add("speed", [1.0], time=[0.0])
name: str = run.name
verdict: kvr.Verdict = kvr.compare(run, "b.csv")["speed"]
{line}
"""


def mypy(tmp_path, *arguments):
    done = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--follow-imports=silent",
         f"--cache-dir={tmp_path}", *arguments],
        capture_output=True, text=True, env={"MYPYPATH": str(SOURCES), "PATH": "/usr/bin:/bin"},
    )  # fmt: skip
    return done.stdout + done.stderr


@pytest.fixture(scope="module")
def cache(tmp_path_factory):
    pytest.importorskip("mypy")
    return tmp_path_factory.mktemp("mypy")


def test_package_is_clean_under_strict_checks(cache):
    assert mypy(cache, str(SOURCES / "kvr")).startswith("Success: no issues found")


@pytest.mark.parametrize(
    ("line", "error"),
    [
        ("reveal_type(signal.unit)", 'Revealed type is "Union[builtins.str, None]"'),
        ("kvr.Sotre", 'Module has no attribute "Sotre"'),
        ("run.nmae", '"Run" has no attribute "nmae"'),
        ("run.add('a', [1.0])", 'Missing positional argument "time"'),
        ("signal.tolerance = 0.1", 'variable has type "Tolerance"'),
        ("kvr.compare(run, 3)", 'Argument 2 to "compare" has incompatible type "int"'),
    ],
)
def test_user_of_the_package_is_checked(cache, tmp_path, line, error):
    program = tmp_path / "program.py"
    program.write_text(USER.format(line=line))
    assert error in mypy(cache, str(program))


def test_package_says_that_it_is_typed():
    assert (Path(kvr.__file__).parent / "py.typed").exists()
