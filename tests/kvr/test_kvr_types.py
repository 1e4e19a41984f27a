"""What mypy tells users of the package. scripts/lint looks at the package itself."""

import subprocess
import sys
from pathlib import Path

import kvr
import pytest

ROOT = Path(__file__).parents[2]
SOURCES = ROOT / "python"
CACHE = ROOT / "build/mypy_cache"  # as scripts/lint has left it
USER = """
import kvr

store = kvr.Store()
run = store.new_run("a", instance=1)
signal: kvr.Signal = run.add("speed", [1.0], time=[0.0])
name: str = run.name
verdict: kvr.Verdict = kvr.compare(run, "b.csv")["speed"]
{line}
"""

# A line of a user's program, and what mypy says of it.
LINES = {
    "reveal_type(signal.unit)": 'Revealed type is "Union[builtins.str, None]"',
    "kvr.Sotre": 'Module has no attribute "Sotre"',
    "run.nmae": '"Run" has no attribute "nmae"',
    "run.add('a', [1.0])": 'Missing positional argument "time"',
    "signal.tolerance = 0.1": 'variable has type "Tolerance"',
    "kvr.compare(run, 3)": 'Argument 2 to "compare" has incompatible type "int"',
}


@pytest.fixture(scope="module")
def said(tmp_path_factory):
    """What mypy says of each line's program. All are looked at in one run, which takes long."""
    pytest.importorskip("mypy")
    folder = tmp_path_factory.mktemp("programs")
    names = [f"program_{number}.py" for number in range(len(LINES))]
    for name, line in zip(names, LINES):
        (folder / name).write_text(USER.format(line=line))
    done = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", f"--cache-dir={CACHE}", *names],
        cwd=folder, capture_output=True, text=True,
        env={"MYPYPATH": str(SOURCES), "PATH": "/usr/bin:/bin"},
    )  # fmt: skip
    found = done.stdout.splitlines()
    return {
        line: [text for text in found if text.startswith(f"{name}:")]
        for name, line in zip(names, LINES)
    }


@pytest.mark.parametrize("line", LINES)
def test_user_of_the_package_is_checked(said, line):
    (finding,) = said[line]
    assert LINES[line] in finding


def test_package_says_that_it_is_typed():
    assert (Path(kvr.__file__).parent / "py.typed").exists()
