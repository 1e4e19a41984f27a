"""Results of a comparison for other programs: plain values, JSON, JUnit, a frame."""

from __future__ import annotations

import json
import math
import re
from typing import TYPE_CHECKING, Any

from kvr._base.packages import need
from kvr._base.settings import Sync, Tolerance
from kvr._comparing.verdict import Identity, Interval, Verdict, Worst

if TYPE_CHECKING:
    import pandas  # type: ignore[import]

    from kvr._comparing.comparison import Comparison

VERSION = 1
_FACTS = (
    "status", "reason", "text", "tolerance", "tolerance_source", "sync", "sync_source",
    "instants", "instants_out", "judged", "out", "lost", "gained", "gaps", "outside",
    "uncovered", "beyond", "first_out", "last_out", "worst", "max_difference",
    "max_difference_time", "max_relative", "max_relative_time", "rms", "intervals",
    "intervals_total",
)  # fmt: skip
# What XML cannot hold, and the other control characters, which it holds but nobody should print.
_NOT_XML = re.compile(r"[^\t\n\r\u0020-\u007e\u00a0-\ud7ff\ue000-\ufffd\U00010000-\U0010ffff]")


# ---- Plain values ----


def plain(comparison: Comparison) -> dict[str, Any]:
    verdicts = [plain_verdict(verdict) for verdict in comparison.verdicts]
    return {**plain_summary(comparison), "verdicts": verdicts}


def plain_summary(comparison: Comparison) -> dict[str, Any]:
    """All but the verdicts."""
    return {
        "version": VERSION,
        "passed": comparison.passed,
        "counts": comparison.counts,
        "options": {name: _plain(value) for name, value in comparison.options.items()},
        "baseline": dict(vars(comparison.baseline)),
        "other": dict(vars(comparison.other)),
        "warnings": list(comparison.warnings),
    }


def plain_verdict(verdict: Verdict) -> dict[str, Any]:
    """A verdict as plain values; a side is who the signal was, None for a missing one."""
    facts = {name: _plain(getattr(verdict, name)) for name in _FACTS}
    return {
        **facts,
        "differs": verdict.differs,
        "baseline": _plain(verdict.baseline_identity),
        "other": _plain(verdict.other_identity),
    }


def _plain(value: Any) -> Any:
    if isinstance(value, (Tolerance, Sync)):
        return value.to_fields()
    if isinstance(value, Interval):
        return dict(vars(value))
    if isinstance(value, (Identity, Worst)):
        return {name: _plain(part) for name, part in value._asdict().items()}
    if isinstance(value, (tuple, list)):
        return [_plain(part) for part in value]
    return value


# ---- JSON ----


def json_text(comparison: Comparison) -> str:
    return json.dumps(for_json(plain(comparison)), indent=1, allow_nan=False) + "\n"


def for_json(value: Any) -> Any:
    """Plain values with NaN, infinities and complex numbers in the form that they have in JSON."""
    if isinstance(value, dict):
        return {name: for_json(part) for name, part in value.items()}
    if isinstance(value, list):
        return [for_json(part) for part in value]
    if isinstance(value, complex):
        return [for_json(value.real), for_json(value.imag)]
    if isinstance(value, float) and not math.isfinite(value):
        return "NaN" if math.isnan(value) else "Infinity" if value > 0 else "-Infinity"
    return value


# ---- JUnit ----


def junit_text(comparison: Comparison) -> str:
    failures = len(comparison.failed)
    name = f"{comparison.baseline.run} against {comparison.other.run}"
    counts = f'tests="{len(comparison)}" failures="{failures}" errors="0" skipped="0"'
    starts = CaseStarts()
    cases = [_case(starts, verdict, comparison.fails(verdict)) for verdict in comparison.verdicts]
    return "\n".join(
        [
            '<?xml version="1.0" encoding="UTF-8"?>',
            f"<testsuites {counts}>",
            f"<testsuite name={attribute(name)} {counts}>",
            *cases,
            "</testsuite>",
            "</testsuites>",
            "",
        ]
    )


class CaseStarts:
    """Makes the beginnings of the cases of a suite, each with a name of its own.

    CI systems keep one case of those that share class name and name: a failing one could be lost.
    """

    def __init__(self) -> None:
        self._taken: dict[tuple[str, str], int] = {}  # how often each name was wanted

    def start(self, place: str, name: str) -> str:
        place, plain = printable(place), printable(name)
        name = plain
        while (place, name) in self._taken:
            self._taken[place, plain] += 1
            name = f"{plain} ({self._taken[place, plain]})"
        self._taken[place, name] = 1
        return f"<testcase classname={attribute(place)} name={attribute(name)}"


def _case(starts: CaseStarts, verdict: Verdict, fails: bool) -> str:
    start = starts.start(verdict.path or "signals", verdict.label or "no label")
    if not fails:
        return f"{start}/>"
    kind = attribute(verdict.reason or verdict.status)
    return f"{start}><failure type={kind} message={attribute(verdict.text)}/></testcase>"


def printable(text: str) -> str:
    """The text with characters replaced that XML cannot hold, or nobody should print."""
    return _NOT_XML.sub("\ufffd", text)


def attribute(text: str) -> str:
    """The text in quotes; characters that XML cannot hold are replaced, line ends kept as such."""
    # Imported here, for it imports clients of HTTP and mail: a tenth of the start of a worker.
    from xml.sax.saxutils import quoteattr

    return quoteattr(printable(text), {"\n": "&#10;", "\r": "&#13;", "\t": "&#9;"})


# ---- A frame ----


def dataframe(comparison: Comparison) -> pandas.DataFrame:
    frames = need("pandas", "to_dataframe")
    rows = [_row(verdict) for verdict in comparison.verdicts]
    columns = list(_row(Verdict("", None, "")))  # also where there are no rows
    return frames.DataFrame(rows, columns=columns)


def _row(verdict: Verdict) -> dict[str, Any]:
    row: dict[str, Any] = {"label": verdict.label, "path": verdict.path, "differs": verdict.differs}
    for name in _FACTS:
        value = getattr(verdict, name)
        if name == "worst":
            parts = value or (None,) * len(Worst._fields)
            row.update(zip((f"worst_{field}" for field in Worst._fields), parts))
        elif name not in ("intervals",):
            row[name] = value
    return row
