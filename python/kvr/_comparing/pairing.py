"""Which signal of one run is compared with which of another."""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Sequence
from fnmatch import fnmatchcase
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


Pair = tuple[Optional[int], Optional[int]]


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


def pair(
    baseline: Looks,
    other: Looks,
    match: Match,
    only: Sequence[str],
    ignore: Sequence[str],
) -> Pairs:
    """Pair two runs' signals. Raises ValueError for a pattern of `only` that matches nowhere."""
    fields = fields_of(match)
    first = _keys(baseline, fields)
    second = _keys(other, fields)
    if only or ignore:
        here, there = _full_names(baseline), _full_names(other)
        for pattern in only:
            if not any(fnmatchcase(name, pattern) for name in (*here, *there)):
                raise ValueError(f"only={pattern!r} matches no signal on either side")
        first = {place: first[place] for place in _wanted(here, only, ignore)}
        second = {place: second[place] for place in _wanted(there, only, ignore)}
    return Pairs((baseline, other), *_paired(first, second))


def _full_names(looks: Looks) -> list[str]:
    """The texts that patterns are matched with: path and label, or the label alone."""
    both = zip(looks.column("path"), looks.column("label"))
    return [f"{path}/{label}" if path else label for path, label in both]


def _wanted(names: Sequence[str], only: Sequence[str], ignore: Sequence[str]) -> Iterator[int]:
    for place, name in enumerate(names):
        if only and not any(fnmatchcase(name, pattern) for pattern in only):
            continue
        if not any(fnmatchcase(name, pattern) for pattern in ignore):
            yield place


_Key = tuple[Any, ...]
_Keys = dict[int, _Key]  # of places, in their order

# Begins a key that has the label in the place of empty texts. It meets no value of a field.
_LABEL = object()


def _keys(looks: Looks, fields: tuple[str, ...]) -> _Keys:
    """The values of the fields. Where all texts among them are empty the label takes their place."""
    columns = [looks.column(field) for field in fields]
    rows: Iterator[_Key] = zip(*columns)
    texts = [column for field, column in zip(fields, columns) if field in _TEXTS]
    if not texts:
        return dict(enumerate(rows))
    numbers = [place for place, field in enumerate(fields) if field not in _TEXTS]
    labels = looks.column("label")
    keys = {}
    for place, (row, has_text) in enumerate(zip(rows, map(any, zip(*texts)))):
        if not has_text:
            row = (_LABEL, labels[place], *(row[number] for number in numbers))
        keys[place] = row
    return keys


def _paired(baseline: _Keys, other: _Keys) -> tuple[list[Pair], list[str]]:
    here = {key: place for place, key in baseline.items()}
    there = {key: place for place, key in other.items()}
    warnings: list[str] = []
    if len(here) == len(baseline) and len(there) == len(other):
        partners = {place: there[key] for place, key in baseline.items() if key in there}
    else:
        partners = _partners_in_order(baseline, other, warnings)
    taken = set(partners.values())
    pairs: list[Pair] = [(place, partners.get(place)) for place in baseline]
    pairs += [(None, place) for place in other if place not in taken]
    return pairs, warnings


def _partners_in_order(baseline: _Keys, other: _Keys, warnings: list[str]) -> dict[int, int]:
    """The partners where keys stand several times, with a warning for each such key."""
    here, there = _groups(baseline), _groups(other)
    partners: dict[int, int] = {}
    for key in dict.fromkeys([*here, *there]):
        first, second = here.get(key, []), there.get(key, [])
        partners.update(zip(first, second))
        if len(first) > 1 or len(second) > 1:
            warnings.append(_warning(key, len(first), len(second)))
    return partners


def _groups(keys: _Keys) -> dict[_Key, list[int]]:
    """The places of each key, in their order."""
    groups: dict[_Key, list[int]] = {}
    for place, key in keys.items():
        groups.setdefault(key, []).append(place)
    return groups


def _warning(key: _Key, here: int, there: int) -> str:
    parts = [value for value in key if value is not _LABEL and value not in ("", 0, ())]
    name = text.shown(", ".join(map(str, parts)), 200)
    return (
        f"the key '{name}' stands {_times(here)} in the baseline and {_times(there)} in the other; "
        f"its signals are paired in their order"
    )


def _times(count: int) -> str:
    return {0: "nowhere", 1: "once", 2: "twice"}.get(count, f"{count} times")
