"""The report of a comparison: its verdicts and the curves of its pairs, in one file."""

from __future__ import annotations

import os
from collections.abc import Mapping
from typing import TYPE_CHECKING, Any

from kvr._base.dates import EPOCH_SOURCE
from kvr._comparing.report_curves import PackedPairs, places_to_draw
from kvr._comparing.results import for_json, plain_summary, plain_verdict
from kvr._report.page import page_of, size_of
from kvr._reading.plots import looks_of

if TYPE_CHECKING:
    from kvr._base.settings import Sync, Tolerance
    from kvr._comparing.comparison import Comparison
    from kvr._comparing.verdict import Verdict
    from kvr._reading.signals import SignalReader

# With 1,000 pairs of 1e5 samples the file is to have at most 5 MB.
LARGEST = 4_900_000


def report_of(comparison: Comparison) -> bytes:
    """The file. Raises Gone if a signal was removed since, kvr.Error if the build has no page."""
    data = _Data(comparison)
    threads = len(os.sched_getaffinity(0))
    places = places_to_draw(comparison)
    data.add_looks(places)
    room = LARGEST - size_of(data.plain())
    curves = PackedPairs(comparison, places, room, threads)
    data.set_curves(curves.numbers)
    return page_of(_title(comparison), data.plain(), curves.blocks)


def _title(comparison: Comparison) -> str:
    return f"{comparison.baseline.run} against {comparison.other.run}"


class _Data:
    """The comparison as the page reads it: verdicts as rows, settings and looks in tables."""

    def __init__(self, comparison: Comparison) -> None:
        self._comparison = comparison
        self._tolerances: dict[Tolerance, int] = {}
        self._syncs: dict[Sync, int] = {}
        self._looks: dict[tuple[str, str], int] = {}
        self._fields: list[str] = []
        self._rows = [self._row(verdict) for verdict in comparison.verdicts]
        self._pairs: list[dict[str, Any]] = [
            {"curves": None, "looks": [None, None], "unit": None, "is_date": _is_dated(verdict)}
            for verdict in comparison.verdicts
        ]

    def plain(self) -> dict[str, Any]:
        return {
            "kind": "comparison",
            "comparison": for_json(plain_summary(self._comparison)),
            "fields": self._fields,
            "verdicts": self._rows,
            "tolerances": [for_json(one.to_fields()) for one in self._tolerances],
            "syncs": [for_json(one.to_fields()) for one in self._syncs],
            "looks": list(self._looks),
            "pairs": self._pairs,
        }

    def _row(self, verdict: Verdict) -> list[Any]:
        facts = plain_verdict(verdict)
        facts["tolerance"] = _number_in(self._tolerances, verdict.tolerance)
        facts["sync"] = _number_in(self._syncs, verdict.sync)
        # One list of numbers: there may be 100 intervals a verdict.
        facts["intervals"] = [
            n for one in verdict.intervals for n in (one.first, one.last, one.count)
        ]
        self._fields = list(facts)
        return [fact if name == "intervals" else for_json(fact) for name, fact in facts.items()]

    def add_looks(self, places: list[int]) -> None:
        """Say how the pairs at these places look, and that they have curves, as yet of any number."""
        for place in places:
            verdict = self._comparison.verdicts[place]
            sides = [verdict.baseline, verdict.other]
            units = (side.unit for side in sides if side is not None)
            self._pairs[place].update(
                curves=place,
                looks=[self._look(side) for side in sides],
                unit=next((unit for unit in units if unit), None),
            )

    def set_curves(self, numbers: Mapping[int, int]) -> None:
        """Say which block has the curves of the pair at a place; those of others have none."""
        for place, pair in enumerate(self._pairs):
            pair["curves"] = numbers.get(place)

    def _look(self, signal: SignalReader | None) -> int | None:
        looks = {} if signal is None else looks_of(signal)
        if not looks:
            return None
        parts = (round(255 * part) for part in looks["color"])
        color = "#" + "".join(f"{part:02x}" for part in parts)
        return _number_in(self._looks, (color, looks["linestyle"]))


def _is_dated(verdict: Verdict) -> bool:
    """Whether the times are seconds since 1970-01-01 on every side."""
    sides = [side for side in (verdict.baseline, verdict.other) if side is not None]
    return all(side.time_source == EPOCH_SOURCE for side in sides)


def _number_in(table: dict[Any, int], key: Any) -> int | None:
    """The place of the key in the table, where it is put if it is new; None for None."""
    return None if key is None else table.setdefault(key, len(table))
