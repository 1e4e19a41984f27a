"""Scripts install nothing by themselves: they name the packages that are missing."""

import os
import subprocess
from pathlib import Path

import pytest

ROOT = Path(__file__).parents[2]


@pytest.fixture
def run_without_packages(tmp_path):
    """Runs a script where no Debian package is installed but those named; returns what it did."""

    def run(script, *arguments, installed=()):
        rows = "".join(f"echo '{package} installed'\n" for package in installed)
        (tmp_path / "dpkg-query").write_text(f"#!/bin/sh\n{rows}")
        (tmp_path / "apt-get").write_text(f"#!/bin/sh\ntouch {tmp_path}/apt_was_called\nexit 1\n")
        for name in ("dpkg-query", "apt-get"):
            (tmp_path / name).chmod(0o755)
        environment = {**os.environ, "PATH": f"{tmp_path}:{os.environ['PATH']}"}
        return subprocess.run(
            [str(ROOT / "scripts" / script), *arguments],
            env=environment,
            capture_output=True,
            text=True,
        )

    return run


@pytest.mark.parametrize(
    ("script", "arguments", "part", "package"),
    [
        ("build", ["dev"], "build", "libgtest-dev"),
        ("build", ["product"], "demo", "libsqlite3-dev"),
        ("build", ["fuzz"], "fuzz", "clang"),
        ("format", ["--check"], "lint", "black"),
        ("lint", ["--quick"], "lint", "flake8"),
        ("fuzz", [], "fuzz", "libclang-rt-dev"),
        ("bench", ["--smoke"], "bench", "libbenchmark-dev"),
        ("mutate", [], "mutation", "clang-14"),
    ],
)
def test_a_script_names_missing_packages_and_installs_none(
    run_without_packages, tmp_path, script, arguments, part, package
):
    done = run_without_packages(script, *arguments)
    assert done.returncode == 1
    first, *more = done.stderr.splitlines()
    assert not more
    assert first.startswith("missing packages: ")
    assert first.endswith(f"; scripts/setup {part} installs them")
    assert package in first.replace(";", "").split()
    assert not (tmp_path / "apt_was_called").exists()


def test_what_is_installed_is_not_missing(run_without_packages):
    done = run_without_packages("setup", "--check", "demo", installed=["g++", "cmake"])
    missing = done.stderr.partition(";")[0].split()[2:]
    assert "ninja-build" in missing
    assert not {"g++", "cmake"} & set(missing)


def test_the_demo_needs_what_its_commands_need_but_no_test_library(run_without_packages):
    missing = run_without_packages("setup", "--check", "demo").stderr
    assert " python3-pandas" in missing  # its last lines show commands that read CSV files
    for package in ("libgtest-dev", "clang", "python3-pytest", "valgrind", "mypy"):
        assert f" {package}" not in missing


def test_setup_refuses_an_unknown_part(run_without_packages):
    done = run_without_packages("setup", "nonsense")
    assert done.returncode == 2
    assert done.stderr.startswith("usage: ")
