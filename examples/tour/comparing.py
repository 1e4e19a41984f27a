"""The two runs compared as the store's settings say, kept in files, and what to try next."""

from __future__ import annotations

import os
import textwrap
from collections.abc import Iterator
from pathlib import Path

import kvr

from tour.nowcast import DATA, DAYS

KVR = Path(kvr.__file__).parents[2] / "bin" / "kvr"
REPORT, RECORDING = "report.html", "nowcast.kvr"
MEANINGS = {True: "0, passed", False: "1, which stands for a difference"}


def compared(first: int, second: int, folder: Path) -> Iterator[str]:
    """The verdicts that fail, worst first, the sentence of the worst, the exit code, and the files.

    Both runs go into `folder` as a recording, and the comparison as a report.
    """
    store = kvr.Store()
    runs = [store.runs.by_id(number) for number in (first, second)]
    comparison = kvr.compare(*runs)
    summary, *table = str(comparison).splitlines()
    yield summary
    yield from table[: 1 + len(comparison.failed)]
    worst = comparison.worst_first()[0]
    yield from textwrap.wrap(f"{worst.label}: {worst.text}", 98)
    yield f"The command kvr compare would exit with {MEANINGS[comparison.passed]}"
    store.save(folder / RECORDING, [run.name for run in runs])
    comparison.to_html(folder / REPORT)
    yield f"Written: {folder / REPORT} for a browser, {folder / RECORDING} for kvr"


def next_steps(folder: Path) -> list[str]:
    """Commands for the shell, from the folder that the demo was started in."""
    command = os.path.relpath(KVR)
    first, second = (os.path.relpath(DATA / f"{day}.csv") for day in DAYS)
    return [
        f"{command} compare {first} {second} --relative 0.005",
        f"{command} compare {first} {second} --relative 0.05 && echo agreed",
        f"{command} show {second} TTLCONS",
        f"{command} view {os.path.relpath(folder / RECORDING)}  # needs python3-starlette, python3-uvicorn",
    ]
