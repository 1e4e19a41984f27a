"""kvr compare: two runs, signal by signal."""

from __future__ import annotations

import argparse
import sys
from collections.abc import Callable

from kvr._base.text import shown
from kvr._base.writing import write
from kvr._command.changes import Changes, add_comparison_arguments, count
from kvr._command.main import DIFFERS, NOTHING_COMPARED, PASSED
from kvr._command.outputs import is_standard, require_others
from kvr._command.terminal import colored, width
from kvr._comparing.compare import compare_runs, rules_of
from kvr._comparing.comparison import Comparison
from kvr._comparing.pairing import patterns_of
from kvr._comparing.report import report_of
from kvr._comparing.results import json_text, junit_text
from kvr._comparing.table import lines
from kvr._files.opening import open_run, split_name

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
    add(
        "--html", metavar="FILE", help="write a page of all pairs and curves; - for standard output"
    )
    add_comparison_arguments(parser)
    add("--jobs", metavar="N", type=count, help="threads; as many as processors by default")
    add("--quiet", action="store_true", help="print nothing but errors")


def run(options: argparse.Namespace) -> int:
    inputs = [split_name(side)[0] for side in (options.baseline, options.other)]
    require_others((options.json, options.junit, options.html), inputs)
    changes = Changes.of(vars(options))
    comparison = compare_runs(
        open_run(options.baseline),
        open_run(options.other),
        match=options.match,
        rules=rules_of(options.coverage, options.time_tolerance),
        choose=changes.choose,
        overrides=changes.shown(),
        only=patterns_of("only", options.only),
        ignore=patterns_of("ignore", options.ignore),
        strict=options.strict,
        threads=options.jobs,
        progress=True if sys.stderr.isatty() and not options.quiet else None,
    )
    on_output = [
        _written(json_text, comparison, options.json),
        _written(junit_text, comparison, options.junit),
        _write_page(comparison, options.html),
    ]
    if not options.quiet and not any(on_output):
        _print(comparison)
    if not comparison.paired:
        return NOTHING_COMPARED
    return PASSED if comparison.passed else DIFFERS


def _written(text: Callable[[Comparison], str], comparison: Comparison, path: str | None) -> bool:
    """Write the text if a path is given; returns whether it went to the standard output."""
    if path is None:
        return False
    if is_standard(path):
        sys.stdout.write(text(comparison))
        return True
    write(text(comparison), path)
    return False


def _write_page(comparison: Comparison, path: str | None) -> bool:
    """As `_written`, of the page."""
    if path is None:
        return False
    if is_standard(path):
        sys.stdout.flush()
        sys.stdout.buffer.write(report_of(comparison))
        return True
    comparison.to_html(path)
    return False


# ---- The table ----


def _print(comparison: Comparison) -> None:
    verdicts = comparison.worst_first()
    print(shown(comparison.summary(), width()))
    for warning in comparison.warnings:
        print(f"kvr: warning: {shown(warning, 1000)}", file=sys.stderr)
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
