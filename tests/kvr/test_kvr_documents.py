"""The tutorial and the page on formats: their blocks run and print what stands there."""

import doctest
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

# The environment of other programs: without the sanitizer of a build under test.
UNSANITIZED = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}
ROOT = Path(__file__).parents[2]
NUMBER = re.compile(r"-?\d+\.?\d*(?:e[-+]?\d+)?")


@pytest.fixture
def folder(tmp_path, monkeypatch):
    """A folder that looks like that of the sources, with the command on the path."""
    (tmp_path / "examples").symlink_to(ROOT / "examples")
    command = tmp_path / "bin" / "kvr"
    command.parent.mkdir()
    command.write_text(f'#!/bin/sh\nexec {sys.executable} -m kvr "$@"\n')
    command.chmod(0o755)
    monkeypatch.setenv("PATH", f"{command.parent}:{os.environ['PATH']}")
    monkeypatch.chdir(tmp_path)
    return tmp_path


def console_blocks(document):
    """The commands of the console blocks, each with the text below it."""
    for block in re.findall(r"```console\n(.*?)```", document, re.DOTALL):
        for part in re.split(r"^\$ ", block, flags=re.MULTILINE)[1:]:
            command, _, output = part.partition("\n")
            yield command, output


def assert_alike(printed, expected):
    """The same words, and numbers that differ by less than a hundredth.

    The last digits of a simulation depend on the processor and its mathematical library, and with
    them the widths of columns.
    """
    assert NUMBER.sub("#", printed).split() == NUMBER.sub("#", expected).split(), printed
    numbers = [[float(n) for n in NUMBER.findall(text)] for text in (printed, expected)]
    assert numbers[0] == pytest.approx(numbers[1], rel=0.01)


def test_commands_of_the_tutorial_print_what_stands_there(folder):
    assert shutil.which("ngspice"), "ngspice is not installed: apt install ngspice"
    commands = list(console_blocks((ROOT / "docs" / "tutorial.md").read_text()))
    assert len(commands) == 6
    for command, output in commands:
        own = command.startswith("kvr")
        environment = os.environ if own else UNSANITIZED
        done = subprocess.run(
            command, shell=True, capture_output=True, text=True, cwd=folder, env=environment
        )
        assert done.returncode == (1 if "failed:" in output else 0), done.stderr
        assert_alike(done.stdout, output)
    failures, examples = doctest.testfile(str(ROOT / "docs" / "tutorial.md"), module_relative=False)
    assert (failures, examples) == (0, 12)


def test_simulation_that_fails_is_told(folder):
    circuit = folder / "circuit"
    shutil.copytree(ROOT / "examples" / "circuit", circuit)
    text = (circuit / "converter.cir").read_text()
    (circuit / "converter.cir").write_text(
        text.replace("Ron=20m", "Ron=20m Unknown=1").replace(".tran", ".trap")
    )
    done = subprocess.run(
        [circuit / "simulate", "out"], capture_output=True, text=True, cwd=folder,
        env=UNSANITIZED,
    )  # fmt: skip
    assert done.returncode == 1
    assert ".trap" in done.stderr


def test_examples_of_the_formats_print_what_they_say(folder):
    failures, examples = doctest.testfile(str(ROOT / "docs" / "formats.md"), module_relative=False)
    assert (failures, examples) == (0, 12)
