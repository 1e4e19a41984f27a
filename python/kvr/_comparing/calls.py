"""Registered functions as the extension calls them: plain doubles in and out, answers checked."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

import numpy as np

from kvr._base.settings import Sync, Tolerance
from kvr._comparing.functions import functions
from kvr._reading.signals import Array

Call = Callable[..., Array]


def calls_of(
    tolerance: Tolerance, sync: Sync, shape: tuple[int, ...]
) -> tuple[Call | None, Call | None]:
    """The functions that the settings name, None for one that is not needed or not registered."""
    judge = functions.get(tolerance.function_name) if tolerance.type == 2 else None
    choose = functions.get(sync.function_name) if sync.type == 1 else None
    return (
        None if judge is None else _tolerance_call(judge, shape),
        None if choose is None else _sync_call(choose),
    )


def _tolerance_call(function: Callable[..., Any], shape: tuple[int, ...]) -> Call:
    def call(instants: Array, baseline: Array, other: Array) -> Array:
        full = (len(instants), *shape)
        answer = np.asarray(function(instants, baseline.reshape(full), other.reshape(full)))
        _require_real("tolerance", answer)
        if answer.shape not in ((len(instants),), full):
            raise ValueError(
                f"the tolerance function returned shape {answer.shape} "
                f"instead of {(len(instants),)}" + (f" or {full}" if shape else "")
            )
        return np.ascontiguousarray(answer, float)

    return call


def _sync_call(function: Callable[..., Any]) -> Call:
    def call(baseline: Array, other: Array) -> Array:
        answer = np.asarray(function(baseline, other))
        if answer.size == 0 and answer.ndim == 1:
            return np.zeros(0)
        _require_real("sync", answer)
        if answer.ndim != 1:
            raise ValueError(f"the sync function returned shape {answer.shape}, not a vector")
        return np.ascontiguousarray(answer, float)

    return call


def _require_real(what: str, answer: Array) -> None:
    if answer.dtype.kind not in "iuf":
        raise TypeError(f"the {what} function returned {answer.dtype}, not real numbers")
