"""Finding things by name: near misses, shell patterns and regular expressions."""

from __future__ import annotations

import difflib
import re
from collections.abc import Callable, Iterable
from fnmatch import fnmatchcase
from itertools import islice

_SHOWN = 5  # names in one message
_SEARCHED = 10_000  # names among which near misses are looked for
_LONGEST = 200  # characters of a name that are looked at and shown


def near_misses(name: str, names: Iterable[str]) -> str:
    """A clause for an error text: the names that look like `name`, or the first that there are."""
    known = list(dict.fromkeys(names))
    close = close_names(name, known)
    if close:
        return f"did you mean {listed(close, 'or')}?"
    if len(known) > _SHOWN:
        return f"there are {listed(known[:_SHOWN], 'and')} and {len(known) - _SHOWN} more"
    return f"there is {listed(known, 'and')}" if known else ""


def close_names(name: str, names: Iterable[str]) -> list[str]:
    """Those of the first names that look like `name`, the closest first."""
    lower = {one.lower(): one for one in islice(names, _SEARCHED) if len(one) <= _LONGEST}
    sought = name[:_LONGEST].lower()
    return [lower[hit] for hit in difflib.get_close_matches(sought, lower, n=_SHOWN)]


def listed(names: Iterable[str], conjunction: str) -> str:
    """Names quoted and joined as in a sentence."""
    return joined([quoted(name) for name in names], conjunction)


def quoted(name: str) -> str:
    """The name in quotes, cut where it is very long."""
    return repr(name) if len(name) <= _LONGEST else f"{name[:_LONGEST]!r}..."


def joined(words: list[str], conjunction: str) -> str:
    """Words joined as in a sentence."""
    if len(words) < 2:
        return "".join(words)
    return f"{', '.join(words[:-1])} {conjunction} {words[-1]}"


def matcher(pattern: str | re.Pattern[str]) -> Callable[[str], bool]:
    """A test of texts: a shell pattern covers all of a text, a regular expression any part."""
    if isinstance(pattern, re.Pattern):
        compiled = pattern
        return lambda text: compiled.search(text) is not None
    if isinstance(pattern, str):
        shell = pattern
        return lambda text: fnmatchcase(text, shell)
    raise TypeError(f"a pattern is a text or a compiled regular expression, not {pattern!r}")
