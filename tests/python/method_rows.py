"""The methods that have to be registered, as tests/support/method_rows.def lists them by hand."""

from __future__ import annotations

import re
from dataclasses import dataclass
from pathlib import Path

TYPES = {
    "a": "any",
    "i": "int32 scalar",
    "d": "double scalar",
    "s": "string",
    "l": "logical scalar",
}
ROW = re.compile(r'^(REPOSITORY|MAP)_ROW\((\d+), (\w+), \w+, "(\w*)", "(\w*)",', re.M)
CLASSES = {"REPOSITORY": "Dravik.kvr.SignalRepository", "MAP": "Dravik.kvr.Map"}


@dataclass(frozen=True)
class MethodRow:
    cls: str
    place: int
    name: str
    inputs: list[str]
    outputs: list[str]


def method_rows(cls: type) -> list[MethodRow]:
    """The rows of a host class, in their order."""
    text = (Path(__file__).parent.parent / "support" / "method_rows.def").read_text()
    rows = []
    for macro, place, name, inputs, outputs in ROW.findall(text):
        types = {**TYPES, "h": CLASSES[macro]}
        names = [[types[letter] for letter in letters] for letters in (inputs, outputs)]
        rows.append(MethodRow(CLASSES[macro], int(place), name, *names))
    return [row for row in rows if row.cls.endswith("." + cls.__name__)]
