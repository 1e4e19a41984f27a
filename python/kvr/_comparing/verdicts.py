"""The verdicts of a comparison: plain findings that become Verdict objects when they are looked at."""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any, overload

from kvr import _kvr
from kvr._comparing.verdict import Identity, Rules, Settings, Verdict, finished
from kvr._reading.runs import Look
from kvr._reading.signals import Facts, SignalReader


class Found:
    """What is known of one pair: its sides, and what was found if it has both."""

    __slots__ = ("baseline", "other", "settings", "dated", "finding", "fields")

    def __init__(self, baseline: Look | None, other: Look | None) -> None:
        # Not the series of the looks: they are as large as the runs.
        self.baseline = (baseline.signal, baseline.facts) if baseline else None
        self.other = (other.signal, other.facts) if other else None
        self.settings: Settings | None = None
        self.dated = False
        self.finding: _kvr.Finding | None = None
        self.fields: dict[str, Any] | None = None  # of a pair that was judged by itself

    @property
    def status(self) -> str:
        if self.finding is not None:
            return self.finding.status
        if self.fields is not None:
            return str(self.fields["status"])
        return "missing" if self.other is None else "extra"

    def verdict(self, runs: tuple[str, str], rules: Rules) -> Verdict:
        """The verdict with all its fields; the names of the runs go into the identities."""
        known: dict[str, Any] = {
            "baseline": self.baseline[0] if self.baseline else None,
            "other": self.other[0] if self.other else None,
            "baseline_identity": _identity(self.baseline, runs[0]),
            "other_identity": _identity(self.other, runs[1]),
        }
        if self.settings is None:
            text = _kvr.describe_alone(self.other is None)
            return Verdict(status=self.status, reason=None, text=text, **known)
        fields = self.fields
        if fields is None:
            assert self.finding is not None
            fields = finished(self.finding.fields())
        settings = self.settings._asdict()
        return Verdict(**fields, **known, **settings, _rules=rules, _dated=self.dated)


def _identity(side: tuple[SignalReader, Facts] | None, run: str) -> Identity | None:
    if side is None:
        return None
    signal, facts = side
    return Identity(
        run, signal.id, facts.label, facts.path, facts.source, facts.port, facts.channel
    )


class Verdicts(Sequence[Verdict]):
    """Verdicts in their order. Each becomes an object when it is first looked at.

    statuses  of all verdicts, in their order, without making objects
    """

    def __init__(self, found: Sequence[Found], runs: tuple[str, str], rules: Rules) -> None:
        self._found = found
        self._runs = runs
        self._rules = rules
        self._made: dict[int, Verdict] = {}
        self.statuses = [one.status for one in found]

    def __len__(self) -> int:
        return len(self._found)

    @overload
    def __getitem__(self, key: int) -> Verdict:
        ...

    @overload
    def __getitem__(self, key: slice) -> list[Verdict]:
        ...

    def __getitem__(self, key: int | slice) -> Verdict | list[Verdict]:
        if isinstance(key, slice):
            return [self[place] for place in range(*key.indices(len(self)))]
        place = range(len(self))[key]
        made = self._made.get(place)
        if made is None:
            made = self._made[place] = self._found[place].verdict(self._runs, self._rules)
        return made

    def __repr__(self) -> str:
        return f"<{len(self)} verdicts>"
