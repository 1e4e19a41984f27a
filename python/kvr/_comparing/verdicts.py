"""The verdicts of a comparison: plain findings that become Verdict objects when they are looked at."""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any, overload

from kvr import _kvr
from kvr._comparing.verdict import Identity, Rules, Settings, Verdict, finished
from kvr._comparing.pairing import Pair
from kvr._reading.runs import Look, Looks


class Found:
    """What was found of all pairs.

    native    the verdicts of pairs that the extension judged, at the places of their baseline signals
    fields    of the other ones, likewise
    dated     whether the times of each baseline signal are dates; once all are known
    settings  that each baseline signal was judged with; None if it was not
    """

    def __init__(self, looks: tuple[Looks, Looks], native: _kvr.PairJudging) -> None:
        self.looks = looks
        self.native = native
        self.dated: list[bool] = []
        self.settings: list[Settings | None] = [None] * len(looks[0])
        self.fields: dict[int, dict[str, Any]] = {}

    def statuses(self, pairs: Sequence[Pair]) -> list[str]:
        """The status of each pair."""
        found = self.native.statuses()
        for place, fields in self.fields.items():
            found[place] = fields["status"]
        return ["extra" if here is None else found[here] or "missing" for here, there in pairs]

    def labels(self, pairs: Sequence[Pair]) -> list[str]:
        """The label of each pair: that of the baseline signal, else of the other."""
        baseline, other = (looks.column("label") for looks in self.looks)
        return [
            baseline[here] if here is not None else other[there]  # type: ignore[index]
            for here, there in pairs
        ]

    def verdict(self, pair: Pair, runs: tuple[str, str], rules: Rules) -> Verdict:
        """The verdict with all its fields; the names of the runs go into the identities."""
        here, there = pair
        baseline = None if here is None else self.looks[0][here]
        other = None if there is None else self.looks[1][there]
        known: dict[str, Any] = {
            "baseline": baseline.signal if baseline else None,
            "other": other.signal if other else None,
            "baseline_identity": _identity(baseline, runs[0]),
            "other_identity": _identity(other, runs[1]),
        }
        if here is None or there is None:
            status = "missing" if there is None else "extra"
            text = _kvr.describe_alone(there is None)
            return Verdict(status=status, reason=None, text=text, **known)
        settings, dated = self.settings[here], self.dated[here]
        fields = self.fields.get(here)
        if fields is None:
            found = self.native.fields(here, dated)
            assert found is not None
            fields = finished(found)
        assert settings is not None
        known |= settings._asdict()
        return Verdict(**fields, **known, _rules=rules, _dated=dated)


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

    def __init__(
        self, found: Found, pairs: Sequence[Pair], runs: tuple[str, str], rules: Rules
    ) -> None:
        self._found = found
        self._pairs = pairs
        self._runs = runs
        self._rules = rules
        self._made: dict[int, Verdict] = {}
        self._places: dict[str, list[int]] | None = None
        self.statuses = found.statuses(pairs)

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
            made = self._made[place] = self._found.verdict(
                self._pairs[place], self._runs, self._rules
            )
        return made

    def labels(self) -> dict[str, list[int]]:
        """Where the verdicts of each label stand, without making objects."""
        if self._places is None:
            self._places = {}
            for place, label in enumerate(self._found.labels(self._pairs)):
                self._places.setdefault(label, []).append(place)
        return self._places

    def __repr__(self) -> str:
        return f"<{len(self)} verdicts>"
