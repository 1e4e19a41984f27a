"""Results of a comparison for other programs: plain values, JSON, JUnit, a frame."""

from __future__ import annotations

import json
import math
import os
import re
import tempfile
from contextlib import suppress
from typing import IO, TYPE_CHECKING, Any
from xml.sax.saxutils import quoteattr

from kvr._frames import need
from kvr._settings import Sync, Tolerance
from kvr._verdict import Identity, Interval, Verdict, Worst

if TYPE_CHECKING:
    import pandas  # type: ignore[import]

    from kvr._comparison import Comparison

VERSION = 1
CANNOT_BE_WRITTEN = "cannot be written"
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
    return {
        "version": VERSION,
        "passed": comparison.passed,
        "counts": comparison.counts,
        "options": {name: _plain(value) for name, value in comparison.options.items()},
        "baseline": dict(vars(comparison.baseline)),
        "other": dict(vars(comparison.other)),
        "warnings": list(comparison.warnings),
        "verdicts": [plain_verdict(verdict) for verdict in comparison.verdicts],
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
    cases = [_case(verdict, comparison.fails(verdict)) for verdict in comparison.verdicts]
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


def _case(verdict: Verdict, fails: bool) -> str:
    place = attribute(verdict.path or "signals")
    start = f"<testcase classname={place} name={attribute(verdict.label or 'no label')}"
    if not fails:
        return f"{start}/>"
    kind = attribute(verdict.reason or verdict.status)
    return f"{start}><failure type={kind} message={attribute(verdict.text)}/></testcase>"


def attribute(text: str) -> str:
    """The text in quotes; characters that XML cannot hold are replaced, line ends kept as such."""
    return quoteattr(_NOT_XML.sub("\ufffd", text), {"\n": "&#10;", "\r": "&#13;", "\t": "&#9;"})


# ---- A frame ----


def dataframe(comparison: Comparison) -> pandas.DataFrame:
    frames = need("pandas", "to_dataframe")
    rows = [_row(verdict) for verdict in comparison.verdicts]
    return frames.DataFrame(rows)


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


# ---- Files ----


def write(text: str, path: str | os.PathLike[str] | None) -> str:
    """The text, written to the path if there is one."""
    if path is not None:
        write_bytes(text.encode("utf-8", "replace"), path)
    return text


def write_bytes(data: bytes | memoryview, path: str | os.PathLike[str]) -> None:
    """Write a file beside its place, and put it there when it is complete and on disk.

    Raises OSError that names the file; an old file then stays as it was.
    """
    folder = os.path.dirname(os.path.abspath(os.fspath(path)))
    try:
        _write_beside(data, folder, path)
    except OSError as error:
        raise unwritable(path, error) from error


def unwritable(path: str | os.PathLike[str], error: OSError) -> OSError:
    """The error as one of the file that was to be written, not of the one beside it."""
    return OSError(error.errno, f"{CANNOT_BE_WRITTEN}, {error.strerror}", os.fspath(path))


def _write_beside(data: bytes | memoryview, folder: str, path: str | os.PathLike[str]) -> None:
    handle, beside = tempfile.mkstemp(prefix=".kvr-", dir=folder)
    try:
        with os.fdopen(handle, "wb") as file:
            file.write(data)
            put_in_place(file, beside, path)
    except BaseException:
        with suppress(OSError):
            os.unlink(beside)
        raise


def put_in_place(file: IO[Any], beside: str, path: str | os.PathLike[str]) -> None:
    """Put a complete file that was written beside its place there, once it is on disk."""
    file.flush()
    os.fsync(file.fileno())
    os.chmod(beside, 0o666 & ~_umask())
    os.replace(beside, path)


def _umask() -> int:
    """The permissions that new files do not get. It can be read only by setting it."""
    mask = os.umask(0o077)
    os.umask(mask)
    return mask
