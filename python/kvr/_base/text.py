"""Makes texts from outside safe to show on one line."""

from __future__ import annotations

import unicodedata

# Control characters, format characters (which can turn the direction of a line), surrogates,
# and separators of lines.
_UNFIT = {"Cc", "Cf", "Cs", "Zl", "Zp"}


def shown(text: str, width: int) -> str:
    """The text on one line of at most `width` characters, with what is unfit to show escaped."""
    if width < 1:
        return ""
    head = text[: width + 1]
    if not head.isprintable():
        head = "".join(_escaped(character) for character in head)
    if len(text) <= width and len(head) <= width:
        return head
    return head[: width - 1] + "…"


def _escaped(character: str) -> str:
    if unicodedata.category(character) in _UNFIT:
        return character.encode("unicode_escape").decode("ascii")
    return character
