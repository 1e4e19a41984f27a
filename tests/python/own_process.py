"""Programs that may crash the interpreter, each run in a process of its own."""

from __future__ import annotations

import os
import signal
import subprocess
import sys
from pathlib import Path


def run_alone(program: str, *arguments: str, seconds: float = 60) -> str:
    """Run a program; return what it prints. A crash, an error or a hang fails, with its output."""
    environment = {**os.environ, "PYTHONFAULTHANDLER": "1"}
    folder = str(Path(__file__).parent)
    environment["PYTHONPATH"] = os.pathsep.join([environment.get("PYTHONPATH", ""), folder])
    try:
        done = subprocess.run(
            [sys.executable, "-c", program, *arguments],
            capture_output=True,
            text=True,
            env=environment,
            timeout=seconds * (5 if under_sanitizer() else 1),
        )
    except subprocess.TimeoutExpired as late:
        raise AssertionError(f"no end after {late.timeout} s\n{late.stdout!r}\n{late.stderr!r}")
    if done.returncode != 0:
        how = signal.Signals(-done.returncode).name if done.returncode < 0 else done.returncode
        raise AssertionError(f"ended with {how}\n{done.stdout[-4000:]}\n{done.stderr[-6000:]}")
    return done.stdout


def under_sanitizer() -> bool:
    return "asan" in os.environ.get("LD_PRELOAD", "")


def wants_long_form() -> bool:
    return bool(os.environ.get("KVR_LONG_TESTS"))
