"""When a comparison passes, and which failure is worse: the rule for comparisons and their summaries.

`counts` says how many verdicts have each status.
"""

from __future__ import annotations

import math
from collections.abc import Mapping
from typing import Protocol

Rank = tuple[int, float]  # the lower, the worse
NO_FAILURE: Rank = (3, 0.0)


class Judged(Protocol):
    """A verdict, or what is kept of one. `excess` is None where nothing was judged."""

    @property
    def status(self) -> str:
        ...

    @property
    def excess(self) -> float | None:
        ...


def rank(failure: Judged) -> Rank:
    """Lost and infinite values come first, then what is out, by its excess, then the rest."""
    excess = failure.excess
    if failure.status != "out":
        return 2, 0.0
    if excess is None:
        return 1, 0.0
    return (1, -excess) if math.isfinite(excess) else (0, 0.0)


def compared(counts: Mapping[str, int]) -> int:
    """How many pairs of signals were compared: they are within or out."""
    return counts["within"] + counts["out"]


def paired(counts: Mapping[str, int]) -> int:
    """How many verdicts are on a pair of signals, compared or not."""
    return compared(counts) + counts["incomparable"]


def passes(counts: Mapping[str, int], failures: int) -> bool:
    """Whether at least one pair was compared and none of the verdicts fails."""
    return compared(counts) > 0 and failures == 0
