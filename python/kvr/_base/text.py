"""Makes texts from outside safe to show on one line."""

from __future__ import annotations

import unicodedata

# Control characters, format characters (which can turn the direction of a line), surrogates,
# and separators of lines.
_UNFIT = {"Cc", "Cf", "Cs", "Zl", "Zp"}


def shown(text: str, width: int) -> str:
    """The text on one line of at most `width` columns, with what is unfit to show escaped."""
    if width < 1:
        return ""
    head = text[: width + 1]
    if not head.isprintable():
        head = "".join(_escaped(character) for character in head)
    if len(text) <= width and columns(head) <= width:
        return head
    return _first_columns(head, width - 1) + "…"


def padded(text: str, width: int) -> str:
    """The text with spaces up to `width` columns."""
    return text + " " * (width - columns(text))


def columns(text: str) -> int:
    """How many columns of a terminal the text takes: wide characters two, accents none."""
    return len(text) if text.isascii() else sum(map(_columns_of, text))


def _columns_of(character: str) -> int:
    if unicodedata.combining(character):
        return 0
    return 2 if unicodedata.east_asian_width(character) in "WF" else 1


def _first_columns(text: str, width: int) -> str:
    """As many characters from the start as take no more than `width` columns."""
    if text.isascii():
        return text[:width]
    taken = 0
    for place, character in enumerate(text):
        taken += _columns_of(character)
        if taken > width:
            return text[:place]
    return text


def _escaped(character: str) -> str:
    if unicodedata.category(character) in _UNFIT:
        return character.encode("unicode_escape").decode("ascii")
    return character
