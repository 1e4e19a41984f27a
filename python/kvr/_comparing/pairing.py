"""Which signal of one run is compared with which of another."""

from __future__ import annotations

from collections import Counter, deque
from collections.abc import Iterable, Iterator, Sequence
from fnmatch import fnmatchcase
from itertools import zip_longest
from operator import itemgetter
from typing import Any, NamedTuple, Optional, Union

from kvr._base import text
from kvr._base.names import listed
from kvr._reading.runs import Looks

Match = Union[str, Sequence[str]]
MATCHES = {
    "path": ("path", "port", "channel"),
    "name": ("label",),
    "source": ("source",),
    "sid": ("sid",),
}
_TEXTS = ("label", "path", "model", "source", "root_source", "time_source", "sid")
FIELDS = (*_TEXTS, "port", "channel")


_Key = tuple[Any, ...]
_Waiting = dict[_Key, Union[int, "deque[int]"]]  # places of signals
Pair = tuple[Optional[int], Optional[int]]
Couple = tuple[int, int]  # a pair of which both sides are there


class Pairs(NamedTuple):
    """Pairs in the order of the baseline, None for a missing partner; then what is left over.

    Each is two places, in the looks at the baseline and in those at the other.
    """

    looks: tuple[Looks, Looks]
    pairs: list[Pair]
    warnings: list[str]


def fields_of(match: Match) -> tuple[str, ...]:
    """The fields that make the key. Raises ValueError for unknown words."""
    if isinstance(match, str):
        if match not in MATCHES:
            raise ValueError(
                f"match must be {listed(MATCHES, 'or')}, or a tuple of fields, not {match!r}"
            )
        return MATCHES[match]
    if not isinstance(match, Iterable):
        raise TypeError(f"match must be a word or a tuple of fields, not {match!r:.80}")
    fields = tuple(match)
    unknown = [field for field in fields if field not in FIELDS]
    if unknown or not fields:
        what = f"has no field {unknown[0]!r}" if unknown else "needs a field"
        raise ValueError(f"match {what}; a field is {listed(FIELDS, 'or')}")
    return fields


def patterns_of(name: str, patterns: str | Iterable[str]) -> tuple[str, ...]:
    """One or several shell patterns as a tuple. Raises TypeError for what is no text."""
    if not isinstance(patterns, Iterable):
        raise TypeError(f"{name} takes shell patterns, not {patterns!r:.80}")
    found = (patterns,) if isinstance(patterns, str) else tuple(patterns)
    for pattern in found:
        if not isinstance(pattern, str):
            raise TypeError(f"{name} takes shell patterns, not {pattern!r}")
    return found


class Pairing:
    """Pairs two runs' signals while they are read.

    Signals of equal keys are paired in their order. Raises ValueError for unknown words.
    """

    def __init__(
        self,
        baseline: Looks,
        other: Looks,
        match: Match,
        only: Sequence[str],
        ignore: Sequence[str],
    ) -> None:
        self.looks = baseline, other
        self._fields = fields_of(match)
        self._only, self._ignore = only, ignore
        self._keys: tuple[list[_Key], list[_Key]] = [], []
        # Signals that wait for a partner; of equal keys those of one side alone do.
        self._waiting: tuple[_Waiting, _Waiting] = {}, {}
        self._couples: list[Couple] = []

    def couples(self) -> Iterator[Sequence[Couple]]:
        """The pairs with both sides, as signals become known."""
        baseline, other = self._waiting
        # In turn, so that the first pairs are known when few signals are.
        for arrived in zip_longest(*(looks.arriving() for looks in self.looks), fillvalue=range(0)):
            found = [(here, there) for there, here in self._meet(0, arrived[0], baseline, other)]
            found += self._meet(1, arrived[1], other, baseline)
            self._couples += found
            yield found

    def _meet(
        self, side: int, arrived: range, waiting: _Waiting, partners: _Waiting
    ) -> Iterator[tuple[int, int]]:
        """The partners of signals that have arrived, and these; the others are put with those waiting."""
        places, keys = self._wanted_keys(self.looks[side], arrived)
        self._keys[side].extend(keys)
        for place, key in zip(places, keys):
            partner = partners.pop(key, None)
            if partner is None:
                _queue(waiting, key, place)
            elif isinstance(partner, int):
                yield partner, place
            else:
                yield partner.popleft(), place
                if partner:
                    partners[key] = partner

    def pairs(self) -> Pairs:
        """All pairs, once all signals are known. Raises ValueError for an idle pattern of `only`."""
        if self._only:
            names = [name for looks in self.looks for name in _full_names(looks, range(len(looks)))]
            for pattern in self._only:
                if not any(fnmatchcase(name, pattern) for name in names):
                    raise ValueError(f"only={pattern!r} matches no signal on either side")
        missing, extra = map(_places_in, self._waiting)
        pairs: list[Pair] = [*self._couples, *((here, None) for here in missing)]
        pairs.sort(key=itemgetter(0))
        pairs += [(None, there) for there in sorted(extra)]
        return Pairs(self.looks, pairs, list(_warnings(*self._keys)))

    def _wanted_keys(self, looks: Looks, places: range) -> tuple[Sequence[int], list[_Key]]:
        """The places that patterns leave, and their keys."""
        keys = _keys(looks, self._fields, places)
        if not (self._only or self._ignore):
            return places, keys
        names = _full_names(looks, places)
        wanted = [i for i, name in enumerate(names) if self._is_wanted(name)]
        return [places[i] for i in wanted], [keys[i] for i in wanted]

    def _is_wanted(self, name: str) -> bool:
        if self._only and not any(fnmatchcase(name, pattern) for pattern in self._only):
            return False
        return not any(fnmatchcase(name, pattern) for pattern in self._ignore)


def pair(
    baseline: Looks,
    other: Looks,
    match: Match,
    only: Sequence[str],
    ignore: Sequence[str],
) -> Pairs:
    """Pair two runs' signals. Raises ValueError for a pattern of `only` that matches nowhere."""
    pairing = Pairing(baseline, other, match, only, ignore)
    for _ in pairing.couples():
        pass
    return pairing.pairs()


def _full_names(looks: Looks, places: range) -> list[str]:
    """The texts that patterns are matched with: path and label, or the label alone."""
    both = zip(looks.column("path", places), looks.column("label", places))
    return [f"{path}/{label}" if path else label for path, label in both]


# Begins a key that has the label in the place of empty texts. It meets no value of a field.
_LABEL = object()


def _keys(looks: Looks, fields: tuple[str, ...], places: range) -> list[_Key]:
    """The values of the fields. Where all texts among them are empty the label takes their place."""
    columns = [looks.column(field, places) for field in fields]
    rows: list[_Key] = list(zip(*columns))
    texts = [column for field, column in zip(fields, columns) if field in _TEXTS]
    if not texts or all(texts[0]):
        return rows
    numbers = [place for place, field in enumerate(fields) if field not in _TEXTS]
    labels = looks.column("label", places)
    for place, has_text in enumerate(map(any, zip(*texts))):
        if not has_text:
            row = rows[place]
            rows[place] = (_LABEL, labels[place], *(row[number] for number in numbers))
    return rows


def _queue(waiting: _Waiting, key: _Key, place: int) -> None:
    """Put a place behind those that wait under its key: nearly always there is none."""
    before = waiting.setdefault(key, place)
    if isinstance(before, int):
        if before != place:
            waiting[key] = deque((before, place))
    else:
        before.append(place)


def _places_in(waiting: _Waiting) -> Iterator[int]:
    for places in waiting.values():
        if isinstance(places, int):
            yield places
        else:
            yield from places


def _warnings(baseline: list[_Key], other: list[_Key]) -> Iterator[str]:
    """One for each key that stands several times on a side."""
    if len(set(baseline)) == len(baseline) and len(set(other)) == len(other):
        return
    here, there = Counter(baseline), Counter(other)
    for key in dict.fromkeys([*here, *there]):
        if here[key] > 1 or there[key] > 1:
            yield _warning(key, here[key], there[key])


def _warning(key: _Key, here: int, there: int) -> str:
    # Beside texts, numbers of signals without ports and channels say nothing.
    has_text = any(isinstance(value, str) for value in key)
    left_out = ("", 0, ()) if has_text else ()
    parts = [value for value in key if value is not _LABEL and value not in left_out]
    name = text.shown(", ".join(map(str, parts)), 200)
    return (
        f"the key '{name}' stands {_times(here)} in the baseline and {_times(there)} in the other; "
        f"its signals are paired in their order"
    )


def _times(count: int) -> str:
    return {0: "nowhere", 1: "once", 2: "twice"}.get(count, f"{count} times")
