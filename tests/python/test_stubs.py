"""The stubs of the host's packages: type checkers find wrong calls, and pass right ones."""

import os
import subprocess
import sys
from pathlib import Path

import pytest
import vormel
from own_process import under_sanitizer

pytestmark = pytest.mark.skipif(under_sanitizer(), reason="mypy is no program of ours")

PACKAGE = Path(vormel.__file__).parent

START = """\
import numpy as np
import vormel
from vormel.Dravik.kvr import Map, SignalRepository

repo = SignalRepository()
entries = Map("k", 1.0)
"""


def checked(tmp_path, program):
    """The errors of mypy --strict, each as its line in the program and its text."""
    file = tmp_path / "program.py"
    file.write_text(START + program)
    done = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--no-error-summary", "--hide-error-codes",
         f"--cache-dir={PACKAGE.parent / 'mypy_cache'}", str(file)],
        capture_output=True,
        text=True,
        env={**os.environ, "MYPYPATH": ""},
    )  # fmt: skip
    assert done.stderr == ""
    lines = [line.split(":", 3) for line in done.stdout.splitlines() if ": error:" in line]
    first = START.count("\n")
    return [(int(number) - first, text.strip()) for _, number, _, text in lines]


def test_correct_program_passes(tmp_path):
    program = """\
run: int = repo.createEmptyRun("Monday", 1)
number: int = repo.add(
    None, np.int32(run), "bus", "clock", "bus.speed", vormel.timeseries([4.5], [0.0]),
    "car/engine", "car", "speed", [], [], [], None, "", None, [], "bus.speed")
label: str = repo.getSignal(number)["SignalLabel"]
repo.setTimeStep(number, 0.5)
repo.setTimeStep(run, 1, np.float32(0.5))
repo.remove(run, 1, nargout=0)
root, children, parent = repo.getChildrenAndParent(number)
is_root: bool = root
parent_id: int = parent
name: str = repo.getRunName(run, nargout=1)
nothing: None = repo.setTolerance(number, repo.getTolerance(number))
repo.setSyncOptions(number, {"SyncMethod": "union"})
entries.insert("a", 2)
found: bool = entries.isKey("a")
value = entries.getDataByKey("a")
both = entries.getDataByKey("a", nargout=2)
store = vormel.Dravik.kvr.SignalRepository()
count: int = store.getNextRunID()
listed: list[str] = [method.name for method in vormel.methods(Map)]
repo.setVisibility(vormel.array(1, "int8"), True)
"""
    assert checked(tmp_path, program) == []


WRONG = {
    "repo.getRunNme(1)": '"SignalRepository" has no attribute "getRunNme"; maybe "getRunName"',
    "vormel.Dravik.kvr.Map('k', 1).clear()": '"Map" has no attribute "clear"',
    "repo.getRunName('one')": 'No overload variant of "getRunName" of "SignalRepository" matches',
    "repo.createEmptyRun(1, 1)": 'No overload variant of "createEmptyRun"',
    "repo.setTimeStep(1, 'half')": 'No overload variant of "setTimeStep"',
    "repo.setTimeStep(1, 1.5, 0.5)": 'No overload variant of "setTimeStep"',
    "repo.getRunName(1, 2)": 'No overload variant of "getRunName"',
    "repo.getRunName()": 'All overload variants of "getRunName" of "SignalRepository" require at',
    "repo.getRunName(1, nargot=1)": 'No overload variant of "getRunName"',
    "number: int = repo.getRunName(1)": 'Incompatible types in assignment (expression has type "str"',
    "text: str = repo.getRunName(1, nargout=0)": "Incompatible types in assignment (expression has",
    "Map('k')": 'Too few arguments for "Map"',
    "repo.getSignal(1).SignalLabel": '"Dict[str, Any]" has no attribute "SignalLabel"',
}


def test_each_wrong_line_is_found_and_no_other(tmp_path):
    found = checked(tmp_path, "".join(f"{line}\nrepo.getRunCount()\n" for line in WRONG))
    assert [number for number, _ in found] == list(range(1, 2 * len(WRONG), 2))
    for (_, text), (line, error) in zip(found, WRONG.items()):
        assert text.startswith(error), (line, text)


def test_stubs_agree_with_the_running_package():
    allowed = Path(__file__).with_name("stubtest_allowlist.txt")
    done = subprocess.run(
        [sys.executable, "-m", "mypy.stubtest", "--concise", "--ignore-unused-allowlist",
         f"--allowlist={allowed}", "vormel"],
        capture_output=True,
        text=True,
        env={**os.environ, "MYPY_CACHE_DIR": str(PACKAGE.parent / "mypy_cache")},
    )  # fmt: skip
    assert (done.returncode, done.stdout) == (0, ""), done.stdout + done.stderr


def test_every_method_is_in_a_stub():
    stub = (PACKAGE / "Dravik" / "kvr" / "__init__.pyi").read_text()
    for cls in (vormel.Dravik.kvr.SignalRepository, vormel.Dravik.kvr.Map):
        for method in vormel.methods(cls):
            if method.name != cls.__name__:
                assert f"    def {method.name}(self" in stub, method.name
