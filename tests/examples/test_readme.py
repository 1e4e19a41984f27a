"""The README shows the first example as it is, and what it prints."""

import doctest
import re
import shlex
import subprocess
import sys
from pathlib import Path

FIRST_STEPS = Path(__file__).parents[2] / "examples" / "first_steps.py"


def test_readme_shows_the_first_example(readme_blocks):
    assert readme_blocks["python"][0] == FIRST_STEPS.read_text()


def test_readme_shows_what_the_first_example_prints(readme_blocks, run_example):
    assert readme_blocks["text"][0] == run_example("first_steps.py")


def test_commands_print_what_the_readme_shows(readme_blocks):
    (block,) = readme_blocks["console"]
    commands = [line[2:] for line in block.splitlines() if line.startswith("$ ")]
    assert len(commands) == 2
    printed = ""
    for command in commands:
        built = command.replace("build/release/bin/kvr", f"{shlex.quote(sys.executable)} -m kvr")
        done = subprocess.run(
            built, shell=True, cwd=FIRST_STEPS.parents[1], capture_output=True, text=True
        )
        printed += f"$ {command}\n{done.stdout}"
    assert printed == block


def test_keeping_a_run_prints_what_the_readme_shows(readme_blocks, tmp_path, monkeypatch):
    (tmp_path / "examples").symlink_to(FIRST_STEPS.parent)
    monkeypatch.chdir(tmp_path)
    (block,) = readme_blocks["pycon"]
    examples = doctest.DocTestParser().get_doctest(block, {}, "README.md", None, None)
    failures, tests = doctest.DocTestRunner().run(examples)
    assert (failures, tests) == (0, 8)


def test_readme_names_commands_that_exist(readme_blocks):
    root = FIRST_STEPS.parents[1]
    commands = [line.split()[0] for line in readme_blocks["sh"][0].splitlines()]
    assert commands == ["scripts/demo", "scripts/test"]
    assert all((root / command).is_file() for command in commands)


def test_files_named_in_the_architecture_exist():
    document = FIRST_STEPS.parents[1] / "docs" / "architecture.md"
    rows = re.findall(r"^\| .*`.*", document.read_text(), re.MULTILINE)
    missing = []
    for row in rows:
        folder = ""
        for name in re.findall(r"`([\w/]+\.(?:cpp|h|py|def))`", row):
            folder = name.rpartition("/")[0] or folder  # a bare name lies beside the one before it
            if not (document.parents[1] / folder / name.rpartition("/")[2]).is_file():
                missing.append(name)
    assert len(rows) > 20 and missing == []


def test_folder_map_names_folders_that_exist(readme_blocks):
    root = FIRST_STEPS.parents[1]
    named = [line.split()[0] for block in readme_blocks["map"] for line in block.splitlines()]
    assert named
    assert [name for name in named if not (root / name).is_dir()] == []
