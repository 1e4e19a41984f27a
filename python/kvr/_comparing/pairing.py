"""Which signal of one run is compared with which of another."""

from __future__ import annotations

from collections.abc import Iterable, Sequence
from fnmatch import fnmatchcase
from operator import attrgetter
from typing import Any, NamedTuple, Optional, Union

from kvr._base import text
from kvr._base.names import listed
from kvr._reading.runs import Look

Match = Union[str, Sequence[str]]
_MATCHES = {
    "path": ("path", "port", "channel"),
    "name": ("label",),
    "source": ("source",),
    "sid": ("sid",),
}
_TEXTS = ("label", "path", "model", "source", "root_source", "time_source", "sid")
_FIELDS = (*_TEXTS, "port", "channel")


Pair = tuple[Optional[Look], Optional[Look]]


class Pairs(NamedTuple):
    """Pairs in the order of the baseline, None for a missing partner; then what is left over."""

    pairs: list[Pair]
    warnings: list[str]


def fields_of(match: Match) -> tuple[str, ...]:
    """The fields that make the key. Raises ValueError for unknown words."""
    if isinstance(match, str):
        if match not in _MATCHES:
            raise ValueError(
                f"match must be {listed(_MATCHES, 'or')}, or a tuple of fields, not {match!r}"
            )
        return _MATCHES[match]
    fields = tuple(match)
    unknown = [field for field in fields if field not in _FIELDS]
    if unknown or not fields:
        what = f"has no field {unknown[0]!r}" if unknown else "needs a field"
        raise ValueError(f"match {what}; a field is {listed(_FIELDS, 'or')}")
    return fields


def patterns_of(name: str, patterns: str | Iterable[str]) -> tuple[str, ...]:
    """One or several shell patterns as a tuple. Raises TypeError for what is no text."""
    found = (patterns,) if isinstance(patterns, str) else tuple(patterns)
    for pattern in found:
        if not isinstance(pattern, str):
            raise TypeError(f"{name} takes shell patterns, not {pattern!r}")
    return found


def pair(
    baseline: Sequence[Look],
    other: Sequence[Look],
    match: Match,
    only: Sequence[str],
    ignore: Sequence[str],
) -> Pairs:
    """Pair two runs' signals. Raises ValueError for a pattern of `only` that matches nowhere."""
    fields = fields_of(match)
    for pattern in only:
        if not any(fnmatchcase(_full_name(subject), pattern) for subject in (*baseline, *other)):
            raise ValueError(f"only={pattern!r} matches no signal on either side")
    first = [subject for subject in baseline if _is_wanted(subject, only, ignore)]
    second = [subject for subject in other if _is_wanted(subject, only, ignore)]
    return _paired(_by_key(first, fields), _by_key(second, fields), len(first), len(second))


def _full_name(subject: Look) -> str:
    """The text that patterns are matched with: path and label, or the label alone."""
    path, label = subject.facts.path, subject.facts.label
    return f"{path}/{label}" if path else label


def _is_wanted(subject: Look, only: Sequence[str], ignore: Sequence[str]) -> bool:
    if not only and not ignore:
        return True
    name = _full_name(subject)
    if only and not any(fnmatchcase(name, pattern) for pattern in only):
        return False
    return not any(fnmatchcase(name, pattern) for pattern in ignore)


_Key = tuple[Any, ...]
_Groups = dict[_Key, list[tuple[int, Look]]]


def _by_key(subjects: Iterable[Look], fields: tuple[str, ...]) -> _Groups:
    """The subjects of each key, with their places in the run."""
    # The names that are cut off again make it a tuple also where one field or none follows.
    texts = attrgetter("label", "label", *(field for field in fields if field in _TEXTS))
    numbers = attrgetter("label", "label", *(field for field in fields if field not in _TEXTS))
    values = attrgetter("label", *fields)
    has_texts = any(field in _TEXTS for field in fields)
    groups: _Groups = {}
    for place, subject in enumerate(subjects):
        facts = subject.facts
        # Where all texts among the fields are empty the label takes their place. Such a key is
        # marked, so that it never meets one of the fields themselves.
        if not has_texts or any(texts(facts)[2:]):
            key: _Key = ("fields", *values(facts)[1:])
        else:
            key = ("label", *numbers(facts)[1:])
        groups.setdefault(key, []).append((place, subject))
    return groups


def _paired(baseline: _Groups, other: _Groups, here_count: int, there_count: int) -> Pairs:
    first: list[Pair] = [(None, None)] * here_count
    second: list[Pair] = [(None, None)] * there_count
    warnings = []
    for key in dict.fromkeys([*baseline, *other]):
        here, there = baseline.get(key, []), other.get(key, [])
        for number, (place, subject) in enumerate(here):
            partner = there[number][1] if number < len(there) else None
            first[place] = (subject, partner)
        for place, subject in there[len(here) :]:
            second[place] = (None, subject)
        if len(here) > 1 or len(there) > 1:
            warnings.append(_warning(key, len(here), len(there)))
    extras = [pair for pair in second if pair != (None, None)]
    return Pairs(first + extras, warnings)


def _warning(key: _Key, here: int, there: int) -> str:
    parts = [value for value in key[1:] if value not in ("", 0, ())]
    name = text.shown(", ".join(map(str, parts)), 200)
    return (
        f"the key '{name}' stands {_times(here)} in the baseline and {_times(there)} in the other; "
        f"its signals are paired in their order"
    )


def _times(count: int) -> str:
    return {0: "nowhere", 1: "once", 2: "twice"}.get(count, f"{count} times")
