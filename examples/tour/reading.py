"""What was recorded: the runs, their signals, ways to reach one, a failure, and a picture."""

from __future__ import annotations

from collections.abc import Iterator
from datetime import date
from pathlib import Path
from typing import Any

import numpy as np
import vormel

from tour.nowcast import from_day_number, from_seconds
from tour.picture import draw
from tour.recorder import samples, signals_of


def runs(repo: Any, instance: int) -> Iterator[str]:
    for run in np.ravel(repo.getAllRunIDs(instance)):
        signals = signals_of(repo, run)
        months = len(samples(signals[0])[0])
        gaps = sum(int(np.isnan(samples(signal)[1]).sum()) for signal in signals)
        yield (
            f"{run}  {repo.getRunName(run)}  created {from_day_number(repo.getDateCreated(run))}"
            f"   {len(signals)} signals of {months} months, {gaps} gaps kept"
        )


def signals(repo: Any, run: int) -> Iterator[str]:
    cells = [f"{s['DataID']:>2} {s['SignalLabel']:<22}" for s in signals_of(repo, run)]
    height = -(-len(cells) // 4)
    for row in range(height):
        yield "".join(cells[row::height])


def ways_to_read(repo: Any, run: int, source: str) -> Iterator[str]:
    yield from shown("by id 12", repo.getSignal(12))
    yield from shown(f"by source {source}", repo.getSignal(source))
    yield from shown(f"by run {run}, index 3", repo.getSignal(run, 3))
    yield from shown("by second run, index 13", repo.getSignalByRunIndex(2, 13))


def shown(way: str, signal: dict[str, Any]) -> Iterator[str]:
    time, values = samples(signal)
    last = np.flatnonzero(~np.isnan(values))[-1]
    month = from_seconds(time[last]).strftime("%b %Y")
    yield f"{way:<28} {signal['DataID']:>3} {signal['BlockSource']:<31} {month}: {values[last]:,g}"


def failure(call: Any, *arguments: Any) -> str:
    """The failure of a call, as its caller meets it."""
    try:
        call(*arguments)
    except vormel.Error as error:
        return f"{error.identifier} in {error.function}: {error}"
    return "no failure"


def pictured(repo: Any, runs: list[int], index: int, file: Path) -> Iterator[str]:
    lines = {repo.getRunName(run): repo.getSignal(run, index) for run in runs}
    label = next(iter(lines.values()))["SignalLabel"]
    draw(
        file,
        f"{label}, as known on two days",
        "Million dollars, annual rate",
        date(2013, 1, 1),
        lines,
    )
    for name, signal in lines.items():
        colour = ", ".join(f"{part:g}" for part in np.ravel(signal["LineColor"]))
        yield f"{label} {name}: colour ({colour}), style {signal['LineDashed']!r}"
