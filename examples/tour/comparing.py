"""The two runs compared as the store's settings say, and what to try next."""

from __future__ import annotations

import os
import textwrap
from collections.abc import Iterator
from pathlib import Path

import kvr

from tour.nowcast import DATA, DAYS

KVR = Path(kvr.__file__).parents[2] / "bin" / "kvr"
MEANINGS = {True: "0, passed", False: "1, which stands for a difference"}


def compared(first: int, second: int) -> Iterator[str]:
    """The verdicts that fail, worst first, the sentence of the worst, and the exit code."""
    runs = kvr.Store().runs
    comparison = kvr.compare(runs.by_id(first), runs.by_id(second))
    summary, *table = str(comparison).splitlines()
    yield summary
    yield from table[: 1 + len(comparison.failed)]
    worst = comparison.worst_first()[0]
    yield from textwrap.wrap(f"{worst.label}: {worst.text}", 98)
    yield f"The command kvr compare would exit with {MEANINGS[comparison.passed]}"


def next_steps() -> list[str]:
    """Commands for the shell, from the folder that the demo was started in."""
    command = os.path.relpath(KVR)
    first, second = (os.path.relpath(DATA / f"{day}.csv") for day in DAYS)
    return [
        f"{command} compare {first} {second} --relative 0.005",
        f"{command} compare {first} {second} --relative 0.05 && echo agreed",
        f"{command} show {second} TTLCONS",
    ]
