"""The package's Python files under mypy --strict."""

import subprocess
import sys
from pathlib import Path

import pytest
import vormel
from own_process import under_sanitizer

pytestmark = pytest.mark.skipif(under_sanitizer(), reason="mypy is no program of ours")


def mypy(*arguments):
    # Debian's mypy belongs to Debian's Python, which runs the tests.
    done = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--cache-dir=/dev/null", *arguments],
        capture_output=True,
        text=True,
    )
    return done.returncode, done.stdout + done.stderr


def test_package_passes_mypy_strict():
    status, output = mypy(str(Path(vormel.__file__).parent))
    assert status == 0, output


def test_caller_is_told_of_wrong_arguments(tmp_path):
    program = tmp_path / "caller.py"
    program.write_text(
        "import vormel\n"
        "import numpy as np\n"
        "array = vormel.array([1, 2], 'double')\n"
        "shape: tuple[int, ...] = array.shape\n"
        "face = np.asarray(array)\n"
        "vormel.array(1, 6)\n"
        "vormel.arrray(1)\n"
        "array.shpae\n"
    )
    status, output = mypy(str(program))
    lines = [line.split(":")[1] for line in output.splitlines() if "error:" in line]
    assert (status, lines) == (1, ["6", "8"]), output
