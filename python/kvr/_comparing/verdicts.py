"""The verdicts of a comparison: plain findings that become Verdict objects when they are looked at."""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any, overload

from kvr import _kvr
from kvr._comparing.verdict import Identity, Rules, Settings, Verdict, finished
from kvr._comparing.pairing import Pair
from kvr._reading.runs import Look, Looks


class Found:
    """What was found of all pairs, at their places: nothing for those without a partner.

    findings  of pairs that were judged in batches
    fields    of pairs that were judged by themselves
    """

    def __init__(self, looks: tuple[Looks, Looks], pairs: Sequence[Pair]) -> None:
        self.looks = looks
        self.pairs = pairs
        self.settings: list[Settings | None] = [None] * len(pairs)
        self.dated: list[bool] = [False] * len(pairs)
        self.findings: list[_kvr.Finding | None] = [None] * len(pairs)
        self.fields: dict[int, dict[str, Any]] = {}

    def statuses(self) -> list[str]:
        """The status of each pair."""
        return [
            self._lone_status(place) if finding is None else finding.status
            for place, finding in enumerate(self.findings)
        ]

    def labels(self) -> list[str]:
        """The label of each pair: that of the baseline signal, else of the other."""
        baseline, other = (looks.column("label") for looks in self.looks)
        return [
            baseline[here] if here is not None else other[there]  # type: ignore[index]
            for here, there in self.pairs
        ]

    def _lone_status(self, place: int) -> str:
        fields = self.fields.get(place)
        if fields is not None:
            return str(fields["status"])
        return "missing" if self.pairs[place][1] is None else "extra"

    def verdict(self, place: int, runs: tuple[str, str], rules: Rules) -> Verdict:
        """The verdict with all its fields; the names of the runs go into the identities."""
        looks = [
            None if one is None else side[one] for side, one in zip(self.looks, self.pairs[place])
        ]
        baseline, other = looks
        known: dict[str, Any] = {
            "baseline": baseline.signal if baseline else None,
            "other": other.signal if other else None,
            "baseline_identity": _identity(baseline, runs[0]),
            "other_identity": _identity(other, runs[1]),
        }
        settings = self.settings[place]
        if settings is None:
            text = _kvr.describe_alone(other is None)
            return Verdict(status=self._lone_status(place), reason=None, text=text, **known)
        fields, finding = self.fields.get(place), self.findings[place]
        if fields is None:
            assert finding is not None
            fields = finished(finding.fields())
        known |= settings._asdict()
        return Verdict(**fields, **known, _rules=rules, _dated=self.dated[place])


def _identity(look: Look | None, run: str) -> Identity | None:
    if look is None:
        return None
    facts = look.facts
    return Identity(
        run, look.signal.id, facts.label, facts.path, facts.source, facts.port, facts.channel
    )


class Verdicts(Sequence[Verdict]):
    """Verdicts in their order. Each becomes an object when it is first looked at.

    statuses  of all verdicts, in their order, without making objects
    """

    def __init__(self, found: Found, runs: tuple[str, str], rules: Rules) -> None:
        self._found = found
        self._runs = runs
        self._rules = rules
        self._made: dict[int, Verdict] = {}
        self._places: dict[str, list[int]] | None = None
        self.statuses = found.statuses()

    def __len__(self) -> int:
        return len(self.statuses)

    @overload
    def __getitem__(self, key: int) -> Verdict:
        ...

    @overload
    def __getitem__(self, key: slice) -> list[Verdict]:
        ...

    def __getitem__(self, key: int | slice) -> Verdict | list[Verdict]:
        if isinstance(key, slice):
            return [self[place] for place in range(*key.indices(len(self)))]
        try:
            place = range(len(self))[key]
        except IndexError:
            raise IndexError(f"there are {len(self)} verdicts, none at position {key}") from None
        made = self._made.get(place)
        if made is None:
            made = self._made[place] = self._found.verdict(place, self._runs, self._rules)
        return made

    def labels(self) -> dict[str, list[int]]:
        """Where the verdicts of each label stand, without making objects."""
        if self._places is None:
            self._places = {}
            for place, label in enumerate(self._found.labels()):
                self._places.setdefault(label, []).append(place)
        return self._places

    def __repr__(self) -> str:
        return f"<{len(self)} verdicts>"
