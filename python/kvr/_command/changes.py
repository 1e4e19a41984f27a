"""Settings that a command line changes field by field, and the options for them.

A field that is given replaces the stored one; the others keep their stored values.
"""

from __future__ import annotations

import argparse
import math
from collections.abc import Mapping
from typing import Any, NamedTuple

from kvr._base.settings import INTERPOLATIONS, METHODS, Sync, Tolerance
from kvr._comparing.compare import COVERAGES
from kvr._comparing.pairing import FIELDS, MATCHES
from kvr._comparing.verdict import Settings


class Changes(NamedTuple):
    """Fields of tolerances and synchronisation options, by the names of their attributes.

    As in the store, giving a field of a tolerance selects its group, and a method the methods.
    """

    tolerance: dict[str, Any]
    sync: dict[str, Any]

    @staticmethod
    def of(given: Mapping[str, Any]) -> Changes:
        """From the options `absolute`, `relative`, `sync` and `interp`, None where not given."""
        tolerance = _given(given, "absolute", "relative")
        sync = dict(given.get("sync") or {}) | _given(given, "interp")
        return Changes(tolerance, sync)

    def choose(self, settings: Settings) -> Settings:
        """The stored settings of a signal, changed."""
        if self.tolerance:
            fields = settings.tolerance.to_fields() | self.tolerance | {"type": 0}
            settings = settings._replace(
                tolerance=Tolerance._make(fields), tolerance_source="override"
            )
        if self.sync:
            fields = settings.sync.to_fields() | self.sync
            if "method" in self.sync:
                fields["type"] = 0
            settings = settings._replace(sync=Sync._make(fields), sync_source="override")
        return settings

    def shown(self) -> dict[str, Any]:
        """What was changed, as the options of a result tell it."""
        return {"tolerance": self.tolerance or None, "sync": self.sync or None}


def _given(options: Mapping[str, Any], *names: str) -> dict[str, Any]:
    return {name: options[name] for name in names if options.get(name) is not None}


def add_comparison_arguments(parser: argparse.ArgumentParser) -> None:
    """The options that ``kvr compare`` and ``kvr campaign`` share."""
    add = parser.add_argument
    add("--absolute", metavar="X", type=amount, help="allow X in the unit of the signal")
    add("--relative", metavar="X", type=finite_amount, help="allow this fraction of the baseline")
    add("--sync", metavar="METHOD", type=sync, help="union, intersection, or uniform:STEP")
    add("--interp", choices=INTERPOLATIONS, help="values between samples")
    add("--time-tolerance", metavar="X", type=amount, default=0.0, help="in the unit of the time")
    add("--coverage", choices=COVERAGES, default="baseline",
        help="baseline: what the other does not reach is out; common: it is not")  # fmt: skip
    add("--match", metavar="HOW", default="path", type=match,
        help="path, name, source, sid, or fields such as label,path")  # fmt: skip
    add("--only", metavar="PATTERN", action="append", default=[], help="compare these alone")
    add("--ignore", metavar="PATTERN", action="append", default=[], help="leave these out")
    add("--strict", action="store_true", help="signals that only OTHER has fail too")


# ---- Values of options; raise ArgumentTypeError or ValueError ----


def amount(text: str) -> float:
    number = float(text)
    if math.isnan(number) or number < 0:
        raise argparse.ArgumentTypeError(f"{text} is not 0 or more")
    return number


def finite_amount(text: str) -> float:
    number = amount(text)
    if math.isinf(number):
        raise argparse.ArgumentTypeError(f"{text} is not a finite number")
    return number


amount.__name__ = finite_amount.__name__ = "number"  # for the parser's messages


def sync(text: str) -> dict[str, Any]:
    method, colon, step = text.partition(":")
    if method not in METHODS or bool(colon) != (method == "uniform"):
        raise argparse.ArgumentTypeError(
            f"{text!r} is not union, intersection or uniform:STEP, such as uniform:0.1"
        )
    if method != "uniform":
        return {"method": method}
    try:
        interval = finite_amount(step)
    except ValueError:
        raise argparse.ArgumentTypeError(f"the step of {text!r} is not a number") from None
    if interval == 0:
        raise argparse.ArgumentTypeError("the step of uniform must be above 0")
    return {"method": method, "interval": interval}


def match(text: str) -> str | tuple[str, ...]:
    """A word of ``kvr.compare``, or one or more fields."""
    if "," in text or (text in FIELDS and text not in MATCHES):
        return tuple(text.split(","))
    return text


def count(text: str) -> int:
    number = int(text)
    if number < 1:
        raise argparse.ArgumentTypeError(f"{text} is not 1 or more")
    return number


count.__name__ = "whole number"
