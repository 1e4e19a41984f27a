"""Puts recordings into a signal repository, and takes their values out again."""

from __future__ import annotations

from typing import Any

import numpy as np
import vormel

from tour.nowcast import SERIES, Recording, day_number

MODEL = "nowcast"
TIME_SOURCE = "seconds since 1970-01-01"


def block_path(code: str) -> str:
    return f"{MODEL}/{SERIES[code][0]}/{code}"


def data_source(recording: Recording, code: str) -> str:
    return f"{recording.day}/{code}"


def record(repo: Any, recording: Recording, instance: int) -> int:
    """Adds the recording as a run of its own, a signal for each series, and returns its id."""
    run = repo.createEmptyRun(f"As of {recording.day}", instance)
    repo.setDateCreated(run, day_number(recording.day))
    for code in SERIES:
        add_series(repo, run, recording, code)
    return run


def add_series(repo: Any, run: int, recording: Recording, code: str) -> int:
    row = recording.values[code]
    source = data_source(recording, code)
    return repo.add(
        None,
        run,
        f"{recording.day}.csv",  # root source
        TIME_SOURCE,
        source,
        vormel.timeseries(row, recording.time, Name=code),
        block_path(code),
        MODEL,
        SERIES[code][1],  # signal label
        1,  # time dimension
        np.array([1], np.int32),  # sample dimensions
        1,  # port index
        [],  # channel
        code,  # identifier string
        {"code": code, "gaps": int(np.isnan(row).sum())},  # metadata
        [],  # no parent
        source,  # root data source
    )


def samples(signal: dict[str, Any]) -> tuple[np.ndarray, np.ndarray]:
    """Time and values of a signal that was read."""
    series = signal["DataValues"]
    return np.ravel(series.Time), np.ravel(series.Data)


def signals_of(repo: Any, run: int) -> list[dict[str, Any]]:
    return [repo.getSignal(run, index) for index in range(1, int(repo.getSignalCount(run)) + 1)]


def equal_signals(repo: Any, one: int, other: int) -> int:
    """How many signals of two runs agree in time and values, gap for gap."""
    pairs = zip(signals_of(repo, one), signals_of(repo, other))
    return sum(
        all(np.array_equal(a, b, equal_nan=True) for a, b in zip(samples(left), samples(right)))
        for left, right in pairs
    )
