"""Uses an installation as its users do: the packages, the libraries behind them, the command.

    smoke.py PREFIX

Run it with Debian's Python, where the packages of PREFIX are the only ones that can be found. It
fails if anything that belongs to the product comes from outside PREFIX.
"""

from __future__ import annotations

import subprocess
import sys
import tempfile
from pathlib import Path

import kvr
import vormel

PACKAGES = ("vormel", "kvr")
LIBRARIES = (
    "libvormel_embedded",
    "libkvr_compare",
    "libkvr_recording",
    "kvrntob",
    "_vormel",
    "_kvr",
)

BASE = "time,speed\n0,1\n1,2\n2,3\n"
CHANGED = "time,speed\n0,1\n1,2\n2,4\n"


def check_store() -> None:
    repo = vormel.Dravik.kvr.SignalRepository()
    run = repo.createEmptyRun("Monday", 1)
    assert repo.getRunName(run) == "Monday"
    signal = kvr.Store().runs[0].add("speed", [4.5, 7.0], time=[0.0, 0.1])
    assert list(signal.values) == [4.5, 7.0]


def check_origin(prefix: Path) -> None:
    """Every file of the product that is mapped or imported lies below the prefix."""
    mapped = {line.split(maxsplit=5)[5].strip() for line in open("/proc/self/maps") if "/" in line}
    imported = {getattr(module, "__file__", None) or "" for module in list(sys.modules.values())}
    files = {Path(path) for path in mapped | imported}
    libraries = {path for path in files if path.name.partition(".")[0] in LIBRARIES}
    assert len(libraries) == len(LIBRARIES), libraries
    ours = libraries | {path for path in files if path.parent.name in PACKAGES}
    outside = [str(path) for path in ours if not path.resolve().is_relative_to(prefix)]
    assert not outside, outside


def run_command(prefix: Path, *arguments: str) -> subprocess.CompletedProcess[str]:
    command = [str(prefix / "bin/kvr"), *arguments]
    return subprocess.run(command, capture_output=True, text=True)


def check_command(prefix: Path) -> None:
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        (folder / "base.csv").write_text(BASE)
        (folder / "changed.csv").write_text(CHANGED)
        base, changed = str(folder / "base.csv"), str(folder / "changed.csv")
        expected = {
            ("--help",): (0, "usage: kvr"),
            ("compare", base, base): (0, "passed"),
            ("compare", base, changed): (1, "failed: 1 of 1"),
            ("compare", base, str(folder / "absent.csv")): (2, "absent.csv"),
            ("campaign", name, name): (0, "2 pairs: passed 2"),
        }
        for arguments, (status, words) in expected.items():
            done = run_command(prefix, *arguments)
            told = done.stdout + done.stderr
            assert done.returncode == status and words in told, (arguments, done.returncode, told)


def main() -> None:
    prefix = Path(sys.argv[1]).resolve()
    check_store()
    kvr.compare  # noqa: B018  brings the extension of kvr
    check_origin(prefix)
    check_command(prefix)


if __name__ == "__main__":
    main()
