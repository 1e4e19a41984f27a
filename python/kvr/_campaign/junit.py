"""The results of a campaign as JUnit XML: a suite a pair."""

from __future__ import annotations

import os
import sys
import tempfile
from contextlib import suppress
from types import TracebackType
from typing import TextIO

from kvr._base.writing import is_device, put_in_place, unwritable
from kvr._campaign.results import Failure, PairResult, Summary
from kvr._comparing.results import CaseStarts, attribute


class JUnitFile:
    """A file that results are added to; put in its place, whole, when the block ends well.

    The path "-" stands for the standard output. Raises OSError that names the file.
    """

    def __init__(self, path: str) -> None:
        self._path = path
        self._beside: str | None = None
        self._file: TextIO = sys.stdout
        if path == "-":
            return
        try:
            if is_device(path):
                handle = os.open(path, os.O_WRONLY)
            else:
                folder = os.path.dirname(os.path.realpath(path))
                handle, self._beside = tempfile.mkstemp(prefix=".kvr-", dir=folder)
        except OSError as error:
            raise unwritable(path, error) from error
        self._file = os.fdopen(handle, "w", encoding="utf-8", errors="replace")

    def add(self, result: PairResult) -> None:
        self._file.write(_suite(result))

    def __enter__(self) -> JUnitFile:
        self._file.write('<?xml version="1.0" encoding="UTF-8"?>\n<testsuites>\n')
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        if kind is None:
            self._file.write("</testsuites>\n")
        if self._path == "-":
            return
        try:
            with self._file:
                if kind is None and self._beside is not None:
                    put_in_place(self._file, self._beside, os.path.realpath(self._path))
        except OSError as failure:
            raise unwritable(self._path, failure) from failure
        finally:
            if self._beside is not None:
                with suppress(OSError):
                    os.unlink(self._beside)


def _suite(result: PairResult) -> str:
    title = f"{result.baseline} against {result.other}"
    cases = _cases(result, title)
    failures = sum("<failure" in case for case in cases)
    errors = sum("<error" in case for case in cases)
    counts = f'tests="{len(cases)}" failures="{failures}" errors="{errors}" skipped="0"'
    start = f'<testsuite name={attribute(title)} {counts} time="{result.seconds:.6f}">'
    return "\n".join([start, *cases, "</testsuite>", ""])


def _cases(result: PairResult, title: str) -> list[str]:
    """A case for each verdict that fails and is kept, and one for all the others together.

    The pair is their class name: CI systems tell cases apart by that and the name, not by suites.
    """
    summary = result.comparison
    starts = CaseStarts()
    if summary is None:
        return [_case(starts.start(title, "files"), "error", result.error)]
    if not summary.paired and not summary.failed_total:
        return [_case(starts.start(title, "files"), "nothing", result.text)]
    cases = [_failed(starts, title, failure) for failure in summary.failed]
    rest = _rest(starts, title, summary)
    return [*cases, *([rest] if rest else [])]


def _rest(starts: CaseStarts, title: str, summary: Summary) -> str:
    hidden = summary.failed_total - len(summary.failed)
    if hidden:
        text = f"{hidden} more signals fail"
        return _case(starts.start(title, "the others"), "failed", text)
    passing = sum(summary.counts.values()) - summary.failed_total
    return _case(starts.start(title, f"{passing} more signals"), "", None) if passing else ""


def _failed(starts: CaseStarts, title: str, failure: Failure) -> str:
    label = failure.label or "no label"
    name = f"{failure.path}/{label}" if failure.path else label
    return _case(starts.start(title, name), failure.reason or failure.status, failure.text)


def _case(start: str, kind: str, text: str | None) -> str:
    if text is None:
        return f"{start}/>"
    tag = "error" if kind == "error" else "failure"
    return f"{start}><{tag} type={attribute(kind)} message={attribute(text)}/></testcase>"
