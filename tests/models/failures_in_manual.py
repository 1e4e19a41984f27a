#!/usr/bin/python3
"""failures_in_manual MODELS_TEST MANUAL: random steps raise no failure that the manual leaves out.

The other way round, tests/python/test_manual.py raises every failure that the manual lists.
"""

from __future__ import annotations

import json
import re
import subprocess
import sys
from collections import defaultdict
from pathlib import Path

STEPS = 100_000
METHOD = re.compile(r"^(\w+) +\d+$")
FAILURE = re.compile(r'^ +\d+  KVR:kvr:(\w+)(?: with "(.*)"| without a word)$')

Failures = dict[str, set[tuple[str, str | None]]]


def listed(manual: Path) -> Failures:
    failures: Failures = defaultdict(set)
    for cls in json.loads(manual.read_text(encoding="utf-8"))["classes"]:
        for method in cls["methods"]:
            forms = [failure for form in method["forms"] for failure in form["failures"]]
            failures[method["name"]] |= {(one["class"], one["word"]) for one in forms}
            if method["counted"]:
                failures[method["name"]].add(("INVALID_SIGNATURE", None))
    return failures


def raised(program: str) -> Failures:
    output = subprocess.run(
        [program, f"--steps={STEPS}", "--by-method=1"], check=True, capture_output=True, text=True
    ).stdout
    failures: Failures = defaultdict(set)
    name = ""
    for line in output.splitlines():
        if method := METHOD.match(line):
            name = method.group(1)
        elif failure := FAILURE.match(line):
            failures[name].add((failure.group(1), failure.group(2)))
    return failures


def main(program: str, manual: str) -> None:
    known, seen = listed(Path(manual)), raised(program)
    if sum(map(len, seen.values())) < 200:
        sys.exit(f"the steps raised next to nothing: {dict(seen)}")
    missing = {name: seen[name] - known[name] for name in seen if seen[name] - known[name]}
    if missing:
        sys.exit(f"raised, but not in the manual: {missing}")


if __name__ == "__main__":
    main(*sys.argv[1:])
