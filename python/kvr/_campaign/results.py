"""What a campaign keeps of a comparison: small, plain, fit for a line of JSON."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass
from typing import Any

from kvr._campaign.pairs import FilePair
from kvr._comparing import ranking
from kvr._comparing.comparison import Comparison
from kvr._comparing.results import for_json
from kvr._comparing.verdict import STATUSES, Verdict

KEPT_FAILURES = 100


@dataclass(frozen=True)
class Failure:
    """A verdict that fails. `excess` and `first_out` are None where there are none."""

    label: str
    path: str
    status: str
    reason: str | None
    excess: float | None
    first_out: float | None
    text: str

    @staticmethod
    def of(verdict: Verdict) -> Failure:
        return Failure(
            verdict.label,
            verdict.path,
            verdict.status,
            verdict.reason,
            verdict.excess,
            verdict.first_out,
            verdict.text,
        )


@dataclass(frozen=True)
class Summary:
    """A comparison in short.

    counts        how many verdicts have each status
    failed        the verdicts that fail, worst first, 100 of `failed_total` at most
    warnings      texts about keys that stand several times
    """

    counts: dict[str, int]
    failed: tuple[Failure, ...]
    failed_total: int
    warnings: tuple[str, ...] = ()

    @staticmethod
    def of(comparison: Comparison) -> Summary:
        failed = sorted(map(Failure.of, comparison.failed), key=ranking.rank)
        return Summary(
            comparison.counts,
            tuple(failed[:KEPT_FAILURES]),
            len(failed),
            tuple(comparison.warnings),
        )

    @staticmethod
    def joined(parts: Sequence[Summary]) -> Summary:
        """The summary of a pair that was compared in parts, given in their order."""
        failed = [failure for part in parts for failure in part.failed]
        failed.sort(key=ranking.rank)
        return Summary(
            {status: sum(part.counts[status] for part in parts) for status in STATUSES},
            tuple(failed[:KEPT_FAILURES]),
            sum(part.failed_total for part in parts),
            parts[0].warnings,  # they are about the pair, and the same in every part
        )

    @property
    def compared(self) -> int:
        """How many pairs of signals were compared: they are within or out."""
        return ranking.compared(self.counts)

    @property
    def paired(self) -> int:
        """How many verdicts are on a pair of signals, compared or not."""
        return ranking.paired(self.counts)

    @property
    def passed(self) -> bool:
        """Whether at least one pair of signals was compared and none fails."""
        return ranking.passes(self.counts, self.failed_total)


@dataclass(frozen=True)
class PairResult:
    """What became of one pair of a campaign.

    baseline, other  the files as they were named
    comparison       their comparison in short; None if there was an error
    seconds          how long comparing took, all parts together
    error            why the pair could not be compared, else None
    alone            "missing" or "extra" for a file that only one of two folders has, else ""
    report           the file of its report, if one was asked for and the pair fails, else ""

    A pair passes if it was compared and nothing fails, or if it is extra and the campaign is not
    strict.

    >>> import pathlib, tempfile
    >>> path = pathlib.Path(tempfile.mkdtemp(), "drive.csv")
    >>> _ = path.write_text("time,speed\\n0,4.5\\n1,7.0\\n")
    >>> (result,) = kvr.campaign([(path, path)], jobs=1)
    >>> result.passed, result.counts["within"], result.error
    (True, 1, None)
    """

    baseline: str
    other: str
    comparison: Summary | None
    seconds: float
    error: str | None = None
    alone: str = ""
    report: str = ""

    @staticmethod
    def of_one_side(pair: FilePair, strict: bool) -> PairResult:
        """The result for a file that has no partner."""
        error = None
        if pair.alone == "missing":
            error = f"{pair.other}: is missing; only the baseline has it"
        elif strict:
            error = f"{pair.other}: is extra; the baseline does not have it"
        return PairResult(pair.baseline, pair.other, None, 0.0, error, pair.alone)

    @property
    def pair(self) -> tuple[str, str]:
        """The two files as they were named."""
        return self.baseline, self.other

    @property
    def passed(self) -> bool:
        """Whether the pair passes."""
        if self.comparison is None:
            return self.alone == "extra" and self.error is None
        return self.comparison.passed

    @property
    def counts(self) -> dict[str, int]:
        """How many verdicts have each status; zeros after an error."""
        return dict(self.comparison.counts) if self.comparison else dict.fromkeys(STATUSES, 0)

    @property
    def status(self) -> str:
        """One word: "passed", "differs", "nothing" if no signals were paired,
        "missing", "extra" or "error"."""
        if self.comparison is None:
            return self.alone or "error"
        if self.comparison.passed:
            return "passed"
        return "differs" if self.comparison.paired or self.comparison.failed_total else "nothing"

    @property
    def text(self) -> str:
        """What matters in one line: the error, or the worst verdict."""
        if self.comparison is None:
            return self.error or ""
        if not self.comparison.failed:
            return "" if self.comparison.compared else "no signals were compared"
        worst = self.comparison.failed[0]
        return f"{worst.label}: {worst.text}"

    @property
    def rank(self) -> tuple[int, float]:
        """Sorts results that fail, the worst first: errors, then by the worst signal.

        >>> kvr.PairResult("a.csv", "b.csv", None, 0.0, "b.csv: is empty").rank
        (0, 0.0)
        """
        if self.comparison is None or not self.comparison.failed:
            return 0, 0.0
        place, excess = ranking.rank(self.comparison.failed[0])
        return place + 1, excess

    def to_dict(self) -> dict[str, Any]:
        """The result as the results file has it, without the key.

        >>> kvr.PairResult("a.csv", "b.csv", None, 0.0, "b.csv: is empty").to_dict()["error"]
        'b.csv: is empty'
        """
        summary = self.comparison
        return {
            "baseline": self.baseline,
            "other": self.other,
            "passed": self.passed,
            "counts": self.counts,
            "seconds": self.seconds,
            "error": self.error,
            "alone": self.alone,
            "failed": [for_json(dict(vars(f))) for f in summary.failed] if summary else [],
            "failed_total": summary.failed_total if summary else 0,
            "warnings": list(summary.warnings) if summary else [],
        }

    @staticmethod
    def from_dict(data: dict[str, Any]) -> PairResult:
        """The result that `to_dict` gave. Raises KeyError, TypeError, ValueError for other data.

        >>> result = kvr.PairResult("a.csv", "b.csv", None, 0.0, "b.csv: is empty")
        >>> kvr.PairResult.from_dict(result.to_dict()) == result
        True
        """
        error, alone = data["error"], data["alone"]
        _require(error is None or isinstance(error, str), "error")
        _require(alone in ("", "missing", "extra"), "alone")
        summary = _summary(data) if error is None and not alone else None
        baseline, other = _texts(data, "baseline", "other")
        return PairResult(baseline, other, summary, float(data["seconds"]), error, alone)


def _summary(data: dict[str, Any]) -> Summary:
    failed = tuple(_failure(plain) for plain in data["failed"])
    counts = {status: data["counts"][status] for status in STATUSES}
    total, warnings = data["failed_total"], data["warnings"]
    for number in (*counts.values(), total):
        _require(type(number) is int and number >= 0, "counts")
    _require(len(failed) == min(total, KEPT_FAILURES), "failed_total")
    _require(total <= sum(counts.values()), "failed_total")
    _require(isinstance(warnings, list) and all(isinstance(w, str) for w in warnings), "warnings")
    return Summary(counts, failed, total, tuple(warnings))


def _failure(plain: dict[str, Any]) -> Failure:
    _texts(plain, "label", "path", "status", "text")
    _require(plain["status"] in STATUSES, "status")
    _require(plain["reason"] is None or isinstance(plain["reason"], str), "reason")
    for name in ("excess", "first_out"):
        value = plain[name]
        plain[name] = None if value is None else float(value)  # "NaN" and "Infinity" are texts
    return Failure(**plain)


def _texts(data: dict[str, Any], *names: str) -> list[str]:
    for name in names:
        _require(isinstance(data[name], str), name)
    return [data[name] for name in names]


def _require(is_so: bool, name: str) -> None:
    if not is_so:
        raise ValueError(f"no result of a pair has such {name}")
