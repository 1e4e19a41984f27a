"""kvr campaign: many pairs of files."""

from __future__ import annotations

import argparse
import contextlib
import heapq
import os
import signal
import sys
import threading
import time
import warnings
from collections import Counter
from collections.abc import Callable, Iterator, Sequence
from typing import Any, NoReturn

from kvr._base.names import listed
from kvr._base.packages import need
from kvr._base.settings import INTERPOLATIONS
from kvr._base.text import shown
from kvr._campaign.campaign import start
from kvr._campaign.junit import JUnitFile
from kvr._campaign.pairs import FilePair, from_folders, from_table
from kvr._campaign.reports import CampaignPage, ReportFolder
from kvr._campaign.results import PairResult
from kvr._command.changes import (
    Changes,
    add_comparison_arguments,
    amount,
    count,
    finite_amount,
    match,
    sync,
)
from kvr._command.main import DIFFERS, NOTHING_COMPARED, PASSED
from kvr._command.outputs import is_standard, require_others, require_unread
from kvr._command.terminal import colored, table
from kvr._comparing.compare import require_options
from kvr._files.formats import known_endings
from kvr._files.opening import split_name

_ROWS = 200  # printed at most
_PAUSE = 0.2  # seconds between two looks of the progress line
_CONNECT_SECONDS = 10
_RULES = ("coverage", "match", "time_tolerance", "only", "ignore", "strict")
_EPILOG = """\
example: kvr campaign baselines/ today/ --relative 0.01 --results today.jsonl

The files of two folders are paired by their names relative to them. A table of pairs has the header
baseline,other; further columns may be named absolute, relative, sync, interp, time_tolerance,
coverage, match and strict, and hold for their pair.

exit codes: 0 passed, 1 differs or a pair could not be compared, 2 could not be done,
3 nothing was compared"""


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.epilog = _EPILOG
    add = parser.add_argument
    add("baseline", metavar="BASE", nargs="?", help="folder that decides what must be there")
    add("other", metavar="OTHER", nargs="?", help="folder that is judged")
    add("--pairs", metavar="FILE", help="a CSV of pairs, in place of two folders")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--jobs", metavar="N", type=count, help="processes; one a processor")
    where.add_argument("--scheduler", metavar="ADDRESS", help="of the cluster that compares")
    add("--results", metavar="FILE", help="append results here; done pairs are not done again")
    add(
        "--html", metavar="DIR", help="write a page over all pairs, and a report of each that fails"
    )
    add("--junit", metavar="FILE", help="write the results as JUnit XML; - for standard output")
    add("--quiet", action="store_true", help="print nothing but errors")
    add_comparison_arguments(parser)


def run(options: argparse.Namespace) -> int:
    given = vars(options)
    rules = {name: given[name] for name in _RULES}
    require_options(rules)
    require_others((options.junit, options.results), [options.pairs] if options.pairs else [])
    pairs = _pairs(options)
    require_unread(options.junit, (split_name(side)[0] for pair in pairs for side in pair[:2]))
    tally = _Tally(len(pairs), progress=sys.stderr.isatty() and not options.quiet)
    with contextlib.ExitStack() as stack:
        stack.enter_context(_warnings_as_lines())
        stack.enter_context(_ended_by_sigterm())
        target = "-" if is_standard(options.junit) else options.junit
        junit = stack.enter_context(JUnitFile(target)) if target else None
        client = None
        if options.scheduler is not None:
            client = stack.enter_context(_client(options.scheduler))
        reports = ReportFolder(options.html) if options.html else None
        page = CampaignPage(_title(options), _shown_options(given))
        changes = {**rules, "choose": Changes.of(given).choose}
        results = start(iter(pairs), changes, client, options.jobs, options.results, reports)
        for result in stack.enter_context(contextlib.closing(results)):  # type: ignore[type-var]
            tally.add(result)
            if reports:
                page.add(result)
            if junit:
                junit.add(result)
        if reports:
            reports.write(page)
    if not options.quiet and not is_standard(options.junit):
        tally.print()
    return tally.exit_code()


def _title(options: argparse.Namespace) -> str:
    return options.pairs or f"{options.baseline} against {options.other}"


def _shown_options(given: dict[str, Any]) -> dict[str, Any]:
    """What was asked for besides the defaults."""
    usual = {"coverage": "baseline", "match": "path", "time_tolerance": 0.0, "strict": False}
    asked = {name: given[name] for name in (*_RULES, "absolute", "relative", "sync", "interp")}
    return {
        name: value
        for name, value in asked.items()
        if value not in (None, []) and value != usual.get(name)
    }


def _client(address: str) -> Any:
    distributed = need("distributed", "campaign")
    if not address:
        raise ValueError("--scheduler: the address is empty; name one, such as tcp://10.0.0.1:8786")
    try:
        return distributed.Client(address, timeout=_CONNECT_SECONDS)
    except Exception as error:  # of whatever class the parts of the address lead to
        text = f"{address}: no scheduler was reached there; check the address"
        raise ValueError(f"{text} ({shown(str(error), 200)})") from error


@contextlib.contextmanager
def _ended_by_sigterm() -> Iterator[None]:
    """Clean up when a service or a CI system ends the campaign, as after Ctrl-C."""
    if threading.current_thread() is not threading.main_thread():
        yield
        return

    def end(number: int, _: object) -> NoReturn:
        raise SystemExit(128 + number)

    before = signal.signal(signal.SIGTERM, end)
    try:
        yield
    finally:
        signal.signal(signal.SIGTERM, before)


@contextlib.contextmanager
def _warnings_as_lines() -> Iterator[None]:
    """Print the warnings of a campaign like all messages of the command."""

    with warnings.catch_warnings():
        warnings.simplefilter("always", RuntimeWarning)
        setattr(warnings, "showwarning", _show_warning)
        yield


def _show_warning(message: Warning | str, *_: Any) -> None:
    clear = "\r\033[K" if sys.stderr.isatty() else ""
    print(f"{clear}kvr: warning: {shown(str(message), 1000)}", file=sys.stderr)


def _pairs(options: argparse.Namespace) -> list[FilePair]:
    folders = options.baseline, options.other
    if options.pairs is not None:
        if any(folders):
            raise ValueError("name two folders or --pairs, not both")
        base = vars(options)
        return list(from_table(options.pairs, lambda given: _own_options(given, base)))
    if not all(folders):
        raise ValueError("name two folders, or a table of pairs with --pairs")
    for folder in folders:
        if not os.path.exists(folder):
            raise ValueError(f"{folder}: there is no such folder; check the name")
        if not os.path.isdir(folder):
            raise ValueError(f"{folder}: is not a folder; to compare two files use kvr compare")
    return list(from_folders(*folders, known_endings()))


def _one_of(words: Sequence[str]) -> Callable[[str], str]:
    def chosen(text: str) -> str:
        if text not in words:
            raise ValueError(f"it is {listed(words, 'or')}")
        return text

    return chosen


def _truth(text: str) -> bool:
    if text.lower() not in ("true", "1", "false", "0"):
        raise ValueError("it is true or false")
    return text.lower() in ("true", "1")


_COLUMNS: dict[str, Callable[[str], Any]] = {
    "absolute": amount,
    "relative": finite_amount,
    "sync": sync,
    "interp": _one_of(INTERPOLATIONS),
    "time_tolerance": amount,
    "coverage": str,
    "match": match,
    "strict": _truth,
}


def _own_options(given: dict[str, str], base: dict[str, Any]) -> dict[str, Any]:
    """The options of a pair, read from the further columns of its row. Raises ValueError."""
    own: dict[str, Any] = {}
    for name, text in given.items():
        if name not in _COLUMNS:
            raise ValueError(
                f"there is no option {name!r}; a column is one of {', '.join(_COLUMNS)}"
            )
        try:
            own[name] = _COLUMNS[name](text)
        except (argparse.ArgumentTypeError, ValueError) as error:
            raise ValueError(f"{name}: {text!r} is not understood ({error})") from None
    rules = {name: value for name, value in own.items() if name in _RULES}
    require_options(rules)
    if len(rules) < len(own):
        rules["choose"] = Changes.of({**base, **own}).choose
    return rules


class _Tally:
    """The results so far: counts, the worst failures, and a line of progress."""

    def __init__(self, total: int, progress: bool) -> None:
        self._total = total
        self._progress = progress
        self._counts: Counter[str] = Counter()
        self._signals: Counter[str] = Counter()
        self._failed = 0
        self._worst: list[tuple[tuple[int, float], int, tuple[str, str, str]]] = []
        self._started = self._drawn = time.monotonic()

    def add(self, result: PairResult) -> None:
        self._counts[result.status] += 1
        self._signals.update(result.counts)
        if not result.passed:
            self._failed += 1
            # Negated: the heap lets go of what is least bad.
            rank = tuple(-part for part in result.rank)
            row = (rank, -self._failed, (result.status, result.other, result.text))
            if len(self._worst) < _ROWS:
                heapq.heappush(self._worst, row)  # type: ignore[misc]
            else:
                heapq.heappushpop(self._worst, row)  # type: ignore[misc]
        if self._progress:
            self._draw()

    def exit_code(self) -> int:
        if not self._signals["within"] + self._signals["out"] and not self._failed:
            return NOTHING_COMPARED
        if self._total == self._counts["nothing"] + self._counts["extra"]:
            return NOTHING_COMPARED
        return DIFFERS if self._failed else PASSED

    def print(self) -> None:
        pairs = ", ".join(f"{status} {number}" for status, number in self._counts.most_common())
        signals = ", ".join(
            f"{status} {number}" for status, number in self._signals.items() if number
        )
        print(f"{self._total} pairs: {pairs or 'none'}; signals: {signals or 'none'}")
        if self._worst:
            rows = [row for _, _, row in sorted(self._worst, reverse=True)]
            header, *lines = table(("status", "pair", "what"), rows, 2)
            print(header)
            for line in lines:
                print(colored(line, "red"))
        if self._failed > len(self._worst):
            print(f"and {self._failed - len(self._worst)} more; --results writes them all")
        code = self.exit_code()
        if code == NOTHING_COMPARED:
            print(colored("nothing was compared", "yellow"))
        elif code == PASSED:
            print(colored("passed", "green"))
        else:
            print(colored(f"failed: {self._failed}", "red"))

    def _draw(self) -> None:
        done, now = sum(self._counts.values()), time.monotonic()
        if done < self._total and now - self._drawn < _PAUSE:
            return
        self._drawn = now
        rate = done / max(now - self._started, 1e-9)
        left = (self._total - done) / rate
        text = f"{done} of {self._total} pairs, {rate:.1f} a second, {_clock(left)} left"
        text += f", {self._failed} failed" if self._failed else ""
        sys.stderr.write("\r\033[K" + (shown(text, 78) if done < self._total else ""))
        sys.stderr.flush()


def _clock(seconds: float) -> str:
    minutes, seconds = divmod(int(seconds), 60)
    hours, minutes = divmod(minutes, 60)
    return f"{hours}:{minutes:02}:{seconds:02}" if hours else f"{minutes}:{seconds:02}"
