"""kvr compare: two runs, signal by signal."""

from __future__ import annotations

import argparse
import math
import sys
from collections.abc import Callable
from typing import Any

from kvr._command import DIFFERS, NOTHING_COMPARED, PASSED
from kvr._comparing import COVERAGES, compare_runs, rules_of
from kvr._comparison import Comparison
from kvr._opening import open_run
from kvr._pairing import patterns_of
from kvr._results import json_text, junit_text, write
from kvr._settings import INTERPOLATIONS, METHODS, Sync, Tolerance
from kvr._table import lines
from kvr._terminal import colored, width
from kvr._text import shown
from kvr._verdict import Settings

_ROWS = 200  # printed at most
_EPILOG = """\
example: kvr compare monday.csv tuesday.csv --relative 0.01 --junit results.xml

exit codes: 0 passed, 1 differs, 2 could not be done, 3 nothing was compared"""


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.epilog = _EPILOG
    add = parser.add_argument
    add("baseline", metavar="BASE", help="decides what must be there; a file, or FILE#RUN")
    add("other", metavar="OTHER", help="the run that is judged; a file, or FILE#RUN")
    add("--json", metavar="FILE", help="write the results as JSON; - for standard output")
    add("--junit", metavar="FILE", help="write the results as JUnit XML; - for standard output")
    add("--absolute", metavar="X", type=_amount, help="allow X in the unit of the signal")
    add("--relative", metavar="X", type=_finite_amount, help="allow this fraction of the baseline")
    add("--sync", metavar="METHOD", type=_sync, help="union, intersection, or uniform:STEP")
    add("--interp", choices=INTERPOLATIONS, help="values between samples")
    add("--time-tolerance", metavar="X", type=_amount, default=0.0, help="in the unit of the time")
    add("--coverage", choices=COVERAGES, default="baseline",
        help="baseline: what the other does not reach is out; common: it is not")  # fmt: skip
    add("--match", metavar="HOW", default="path", type=_match,
        help="path, name, source, sid, or fields such as label,path")  # fmt: skip
    add("--only", metavar="PATTERN", action="append", default=[], help="compare these alone")
    add("--ignore", metavar="PATTERN", action="append", default=[], help="leave these out")
    add("--strict", action="store_true", help="signals that only OTHER has fail too")
    add("--jobs", metavar="N", type=_count, help="threads; as many as processors by default")
    add("--quiet", action="store_true", help="print nothing but errors")


def run(options: argparse.Namespace) -> int:
    comparison = compare_runs(
        open_run(options.baseline),
        open_run(options.other),
        match=options.match,
        rules=rules_of(options.coverage, options.time_tolerance),
        choose=_chooser(options),
        overrides=_overrides(options),
        only=patterns_of("only", options.only),
        ignore=patterns_of("ignore", options.ignore),
        strict=options.strict,
        threads=options.jobs,
        progress=True if sys.stderr.isatty() and not options.quiet else None,
    )
    on_output = [
        _written(json_text, comparison, options.json),
        _written(junit_text, comparison, options.junit),
    ]
    if not options.quiet and not any(on_output):
        _print(comparison)
    if not comparison.paired:
        return NOTHING_COMPARED
    return PASSED if comparison.passed else DIFFERS


def _written(text: Callable[[Comparison], str], comparison: Comparison, path: str | None) -> bool:
    """Write the text if it was asked for; returns whether it went to the standard output."""
    if path is None:
        return False
    if path == "-":
        sys.stdout.write(text(comparison))
        return True
    write(text(comparison), path)
    return False


# ---- Settings ----


def _chooser(options: argparse.Namespace) -> Callable[[Settings], Settings]:
    """The stored settings of a signal with the fields that were given in their places.

    As in the store, giving a field of a tolerance selects its group, and a method the methods.
    """
    allowed = _given(options, "absolute", "relative")
    if allowed:
        allowed["type"] = 0
    timing = dict(options.sync or {}) | _given(options, "interp")
    if options.sync:
        timing["type"] = 0

    def choose(settings: Settings) -> Settings:
        if allowed:
            changed = Tolerance._make(settings.tolerance.to_fields() | allowed)
            settings = settings._replace(tolerance=changed, tolerance_source="override")
        if timing:
            changed = Sync._make(settings.sync.to_fields() | timing)
            settings = settings._replace(sync=changed, sync_source="override")
        return settings

    return choose


def _overrides(options: argparse.Namespace) -> dict[str, Any]:
    tolerance = _given(options, "absolute", "relative")
    sync = dict(options.sync or {}) | _given(options, "interp")
    return {"tolerance": tolerance or None, "sync": sync or None}


def _given(options: argparse.Namespace, *names: str) -> dict[str, Any]:
    values = {name: getattr(options, name) for name in names}
    return {name: value for name, value in values.items() if value is not None}


# ---- Arguments ----


def _amount(text: str) -> float:
    number = float(text)
    if math.isnan(number) or number < 0:
        raise argparse.ArgumentTypeError(f"{text} is not 0 or more")
    return number


def _finite_amount(text: str) -> float:
    number = _amount(text)
    if math.isinf(number):
        raise argparse.ArgumentTypeError(f"{text} is not a finite number")
    return number


_amount.__name__ = _finite_amount.__name__ = "number"  # for the parser's messages


def _sync(text: str) -> dict[str, Any]:
    method, colon, step = text.partition(":")
    if method not in METHODS or bool(colon) != (method == "uniform"):
        raise argparse.ArgumentTypeError(
            f"{text!r} is not union, intersection or uniform:STEP, such as uniform:0.1"
        )
    if method != "uniform":
        return {"method": method}
    interval = _finite_amount(step)
    if interval == 0:
        raise argparse.ArgumentTypeError("the step of uniform must be above 0")
    return {"method": method, "interval": interval}


def _match(text: str) -> str | tuple[str, ...]:
    return tuple(text.split(",")) if "," in text else text


def _count(text: str) -> int:
    number = int(text)
    if number < 1:
        raise argparse.ArgumentTypeError(f"{text} is not 1 or more")
    return number


_count.__name__ = "whole number"


# ---- The table ----


def _print(comparison: Comparison) -> None:
    verdicts = comparison.worst_first()
    print(shown(comparison.summary(), width()))
    for warning in comparison.warnings:
        print(f"kvr: warning: {warning}", file=sys.stderr)
    if verdicts:
        header, *rows = lines(verdicts[:_ROWS], width())
        print(header)
        for verdict, row in zip(verdicts, rows):
            color = "red" if comparison.fails(verdict) else "green"
            print(colored(row, color if verdict.status != "extra" or color == "red" else "yellow"))
    if len(verdicts) > _ROWS:
        print(f"and {len(verdicts) - _ROWS} more; --json writes them all")
    print(_outcome(comparison))


def _outcome(comparison: Comparison) -> str:
    if not comparison.paired:
        return colored("nothing was compared", "yellow")
    if comparison.passed:
        return colored("passed", "green")
    first = comparison.worst_first()[0]
    text = shown(f"{first.label}: {first.text}", 400)
    return f"{colored('failed', 'red')}: {len(comparison.failed)} of {len(comparison)}; {text}"
