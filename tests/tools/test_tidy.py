"""tools/tidy.py looks at a source again only when something that it is compiled from has changed."""

import json
import os
import subprocess
import sys
from pathlib import Path

import pytest

TIDY = Path(__file__).parents[2] / "tools/tidy.py"

# In place of clang-tidy: notes the source and keeps the commands that it is given; finds something
# in a source with the word "bad".
STUB = """#!/bin/sh
case "$1" in --version) echo stub; exit 0 ;; esac
for source; do [ "$before" != -p ] || cp "$source/compile_commands.json" given.json; before=$source; done
basename "$source" >>looked_at
! grep -H bad "$source"
"""

NINJA = """rule cxx
  command = g++ -MD -MF $out.d -o $out -c $in
  depfile = $out.d
  deps = gcc
build a.o: cxx ../../a.cpp
build b.o: cxx ../../b.cpp
"""


class Project:
    def __init__(self, root: Path) -> None:
        self.root = root
        self.build = root / "build/tree"
        self.build.mkdir(parents=True)
        (root / "bin").mkdir()
        stub = root / "bin/clang-tidy"
        stub.write_text(STUB)
        stub.chmod(0o755)
        self.environment = {**os.environ, "PATH": f"{root / 'bin'}:{os.environ['PATH']}"}
        self.environment.pop("KVR_LINT_BASE", None)
        (self.build / "build.ninja").write_text(NINJA)
        commands = [
            {"file": str(root / f"{name}.cpp"), "command": f"g++ -o {name}.o -c {name}.cpp"}
            for name in "ab"
        ]
        (self.build / "compile_commands.json").write_text(json.dumps(commands))
        self.write("a.cpp", '#include "a.h"\n')
        self.write("a.h", "")
        self.write("b.cpp", "")
        self.write(".clang-tidy", "Checks: '*'\n")
        self.git("init", "-q", "-b", "main")
        self.commit()

    def write(self, name: str, text: str) -> None:
        (self.root / name).write_text(text)

    def run(self, *command: str) -> subprocess.CompletedProcess:
        return subprocess.run(
            command, cwd=self.root, env=self.environment, capture_output=True, text=True
        )

    def git(self, *arguments: str) -> None:
        identity = ["-c", "user.name=t", "-c", "user.email=t@localhost"]
        done = self.run("git", *identity, *arguments)
        assert done.returncode == 0, done.stderr

    def commit(self) -> None:
        self.git("add", "a.cpp", "a.h", "b.cpp", ".clang-tidy")
        self.git("commit", "-q", "-m", "x")

    def looked_at(self, *arguments: str, passes: bool = True) -> list[str]:
        assert self.run("ninja", "-C", str(self.build)).returncode == 0
        seen = self.root / "looked_at"
        seen.unlink(missing_ok=True)
        done = self.run(sys.executable, str(TIDY), "build/tree", *arguments)
        assert done.returncode == (0 if passes else 1), done.stdout + done.stderr
        return sorted(seen.read_text().split()) if seen.exists() else []


@pytest.fixture
def project(tmp_path):
    return Project(tmp_path)


def test_sources_that_passed_are_not_looked_at_again(project):
    assert project.looked_at() == ["a.cpp", "b.cpp"]
    assert project.looked_at() == []


def test_a_changed_header_brings_back_what_includes_it(project):
    project.looked_at()
    project.write("a.h", "// other\n")
    assert project.looked_at() == ["a.cpp"]


def test_changed_checks_bring_back_everything(project):
    project.looked_at()
    project.write(".clang-tidy", "Checks: '-*'\n")
    assert project.looked_at() == ["a.cpp", "b.cpp"]


def test_a_source_with_findings_is_looked_at_until_it_passes(project):
    project.write("b.cpp", "// bad\n")
    assert project.looked_at(passes=False) == ["a.cpp", "b.cpp"]
    assert project.looked_at(passes=False) == ["b.cpp"]
    project.write("b.cpp", "// good\n")
    assert project.looked_at() == ["b.cpp"]


def test_clang_is_not_given_a_precompiled_header_of_gcc(project):
    commands = project.build / "compile_commands.json"
    plain = commands.read_text()
    header = f" -Winvalid-pch -include {project.root}/build/tree/all.dir/cmake_pch.hxx"
    commands.write_text(plain.replace("g++", "g++" + header))
    assert project.looked_at() == ["a.cpp", "b.cpp"]
    assert json.loads((project.root / "given.json").read_text()) == json.loads(plain)


def test_only_folders_and_files_that_are_named_are_looked_at(project):
    assert project.looked_at("b.cpp") == ["b.cpp"]


def test_changed_takes_what_the_branch_changed_committed_or_not(project):
    project.git("checkout", "-q", "-b", "branch")
    project.write("a.h", "// other\n")
    project.commit()
    assert project.looked_at("--changed") == ["a.cpp"]
    project.write("b.cpp", "// other\n")
    assert project.looked_at("--changed", "a.cpp") == []
    assert project.looked_at("--changed") == ["b.cpp"]


def test_changed_on_main_takes_the_last_commit(project):
    project.write("b.cpp", "// other\n")
    project.commit()
    assert project.looked_at("--changed") == ["b.cpp"]


def test_changed_takes_everything_in_a_clone_without_history(project):
    assert project.looked_at("--changed") == ["a.cpp", "b.cpp"]


def test_nothing_is_begun_after_the_time_given(project):
    assert project.looked_at("--minutes", "0") == []
    assert project.looked_at("--minutes", "5") == ["a.cpp", "b.cpp"]
