"""clang-tidy over C++ sources, each only when something that it is compiled from has changed.

    tidy.py BUILD [--changed] [--minutes N] [FOLDER...]

BUILD is a tree of Ninja that is up to date: its records tell which headers a source includes. A
source that passed is not looked at again until its text, a header, its compiler options, the checks
or clang-tidy change. With --changed only sources are looked at that depend on a file which differs
from where the branch left main; on main itself, from the commit before. KVR_LINT_BASE names another
commit to compare with. With --minutes no source is begun after that time: sources that changed
themselves come first, and the last line tells how many are left. Exits with 1 if clang-tidy finds
something.
"""

from __future__ import annotations

import argparse
import hashlib
import json
import math
import os
import re
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

from changed import changed_files

CHECKS = Path(".clang-tidy")
PRECOMPILED = re.compile(r" -Winvalid-pch -include \S+/cmake_pch\.hxx")


@dataclass(frozen=True)
class Source:
    path: Path  # relative to the project's root
    command: str
    headers: tuple[Path, ...]  # all that it includes; those of the project relative to its root


def output_of(*command: str) -> str:
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def relative(path: Path) -> Path:
    root = Path.cwd()
    return path.relative_to(root) if path.is_relative_to(root) else path


def included_by_object(build: Path) -> dict[str, tuple[Path, ...]]:
    """What Ninja knows of each object file."""
    included: dict[str, tuple[Path, ...]] = {}
    for block in output_of("ninja", "-C", str(build), "-t", "deps").split("\n\n"):
        head, *files = block.splitlines() or [""]
        if "(VALID)" in head:
            paths = (relative((build / line.strip()).resolve()) for line in files)
            included[head.partition(":")[0]] = tuple(paths)
    return included


def sources(build: Path, folders: list[Path]) -> list[Source]:
    """The project's sources below the folders. One that is compiled for two programs counts once."""
    included = included_by_object(build)
    found: dict[Path, Source] = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        path = relative(Path(entry["file"]))
        compiled = re.search(r" -o (\S+)", entry["command"])
        if path.is_absolute() or path.is_relative_to(relative(build)) or compiled is None:
            continue
        if folders and not any(path.is_relative_to(folder) for folder in folders):
            continue
        headers = included.get(compiled[1], ())
        if path not in found or len(headers) > len(found[path].headers):
            found[path] = Source(path, entry["command"], headers)
    return [found[path] for path in sorted(found)]


class Linter:
    def __init__(self, build: Path) -> None:
        self.build = build
        self.passed = build.parent / "lint"
        self.passed.mkdir(exist_ok=True)
        commands = (build / "compile_commands.json").read_text()
        # clang cannot read the precompiled headers of g++.
        (self.passed / "compile_commands.json").write_text(PRECOMPILED.sub("", commands))
        self.tool = output_of("clang-tidy", "--version") + CHECKS.read_text()
        self.sums: dict[Path, str] = {}

    def sum_of(self, path: Path) -> str:
        """Of a file's content; of a system header its size and time stand for the content."""
        if path not in self.sums:
            if path.is_absolute():
                status = path.stat()
                self.sums[path] = f"{status.st_size} {status.st_mtime_ns}"
            else:
                self.sums[path] = hashlib.sha256(path.read_bytes()).hexdigest()
        return self.sums[path]

    def key(self, source: Source) -> str:
        files = (source.path, *source.headers)
        parts = [self.tool, source.command, *(f"{path} {self.sum_of(path)}" for path in files)]
        return hashlib.sha256("\n".join(parts).encode()).hexdigest()

    def record(self, source: Source) -> Path:
        return self.passed / str(source.path).replace("/", "+")

    def is_known(self, source: Source) -> bool:
        record = self.record(source)
        return bool(source.headers) and record.exists() and record.read_text() == self.key(source)

    def findings(self, source: Source) -> str:
        """What clang-tidy says; empty if the source passes, which is recorded."""
        command = ["clang-tidy", "--quiet", "-p", str(self.passed)]
        # The options are those of g++.
        command.append("--extra-arg=-Wno-unknown-warning-option")
        command.append("--extra-arg=-Wno-ignored-optimization-argument")
        done = subprocess.run([*command, str(source.path)], capture_output=True, text=True)
        if done.returncode == 0:
            self.record(source).write_text(self.key(source))
            return ""
        return done.stdout or done.stderr


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=Path)
    parser.add_argument("--changed", action="store_true")
    parser.add_argument("--minutes", type=float, default=math.inf)
    parser.add_argument("folders", nargs="*", type=Path)
    options = parser.parse_intermixed_args()

    linter = Linter(options.build.resolve())
    chosen = sources(linter.build, options.folders)
    if options.changed:
        changed = changed_files()
        if changed is not None and CHECKS not in changed:
            chosen = [s for s in chosen if not changed.isdisjoint((s.path, *s.headers))]
            chosen.sort(key=lambda source: source.path not in changed)
    pending = [source for source in chosen if not linter.is_known(source)]
    end = time.monotonic() + 60 * options.minutes
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        looks = pool.map(lambda s: linter.findings(s) if time.monotonic() < end else None, pending)
        findings = [text for text in looks if text is not None]
    print("".join(findings), end="")
    left = f", {len(pending) - len(findings)} left" if len(findings) < len(pending) else ""
    looked = f"{len(findings)} of {len(chosen)} sources looked at{left}"
    print(f"lint: clang-tidy: {looked}", file=sys.stderr)
    return 1 if any(findings) else 0


if __name__ == "__main__":
    sys.exit(main())
