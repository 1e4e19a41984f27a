"""What the tests of the examples share."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

ROOT = Path(__file__).parents[2]


@pytest.fixture(scope="session")
def run_example():
    """Runs a program of examples/ in a process of its own; returns what it prints."""

    def run(name, *arguments):
        done = subprocess.run(
            [sys.executable, ROOT / "examples" / name, *arguments],
            capture_output=True,
            text=True,
            env=os.environ,
        )
        assert done.returncode == 0, done.stderr
        assert done.stderr == ""
        return done.stdout

    return run


@pytest.fixture(scope="session")
def readme_blocks():
    """The fenced blocks of the README, in order, by language."""
    blocks = {}
    for part in (ROOT / "README.md").read_text().split("```")[1::2]:
        language, _, text = part.partition("\n")
        blocks.setdefault(language, []).append(text)
    return blocks
