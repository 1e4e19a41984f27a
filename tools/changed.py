"""What a change touches.

    changed.py PATTERN...

Exits with 0 if a file whose name matches one of the patterns differs from where the branch left main
(on main itself, from the commit before), or if there is no commit to compare with; else with 1.
KVR_LINT_BASE names another commit to compare with.
"""

from __future__ import annotations

import os
import subprocess
import sys
from fnmatch import fnmatch
from pathlib import Path


def changed_files() -> set[Path] | None:
    """What differs from the commit to compare with; None, for everything, if there is none."""
    named = os.environ.get("KVR_LINT_BASE")
    base = _commit(named) if named else None
    main = _commit("origin/main") or _commit("main")
    if base is None and main is not None:
        base = _output_of("git", "merge-base", "HEAD", main).strip()
        if base == _commit("HEAD"):
            base = None
    base = base or _commit("HEAD~1")
    if base is None:
        return None
    listed = _output_of("git", "diff", "--name-only", base)
    listed += _output_of("git", "ls-files", "--others", "--exclude-standard")
    return {Path(line) for line in listed.splitlines()}


def _output_of(*command: str) -> str:
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def _commit(name: str) -> str | None:
    """The full name of a commit; None if the clone does not have it."""
    command = ["git", "rev-parse", "--verify", "--quiet", name + "^{commit}"]
    return subprocess.run(command, capture_output=True, text=True).stdout.strip() or None


def main(patterns: list[str]) -> int:
    changed = changed_files()
    if changed is None:
        return 0
    return 0 if any(fnmatch(str(path), p) for path in changed for p in patterns) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
