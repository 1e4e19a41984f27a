"""The folder of reports of a campaign: one for each pair that fails, and a page over all pairs.

    FOLDER/index.html       the page; written when the campaign ends
    FOLDER/pairs/NAME.html  the reports; workers write them as the pairs finish

The name of a report is made of the pair's and of the key of its result: whoever finds a report of that
name has the one of this result, also when the campaign is started again.
"""

from __future__ import annotations

import os
import re
from collections import Counter
from collections.abc import Mapping
from contextlib import suppress
from datetime import datetime, timezone
from typing import Any

from kvr._base.writing import unwritable, write_bytes
from kvr._campaign.pairs import FilePair
from kvr._campaign.results import PairResult
from kvr._comparing.results import for_json
from kvr._report.page import page_of

_PAIRS = "pairs"
_LONGEST_NAME = 80
_KEY = 16  # characters of the key in a name
_OWN_NAME = re.compile(rf"[A-Za-z0-9._-]*-[0-9a-f]{{{_KEY}}}\.html")
_MOST_ROWS = 200_000  # pairs that pass are left out of larger pages
_LONGEST_TEXT = 400


class ReportFolder:
    """Makes the folder. Raises OSError that names it, kvr.Error if the build left the page out."""

    def __init__(self, path: str | os.PathLike[str]) -> None:
        page_of("", {})  # now, and not when all pairs are compared
        self.path = os.path.abspath(os.fspath(path))
        self._pairs = os.path.join(self.path, _PAIRS)
        try:
            os.makedirs(self._pairs, exist_ok=True)
        except OSError as error:
            raise unwritable(self.path, error) from error

    def place(self, pair: FilePair, key: str) -> str:
        """Where the report of a pair belongs. The names of files may be anything."""
        name = re.sub(r"[^A-Za-z0-9._]+", "-", os.path.basename(pair.other)).strip(".-")
        return os.path.join(self._pairs, f"{name[:_LONGEST_NAME]}-{key[:_KEY]}.html")

    def write(self, summary: CampaignPage) -> None:
        """Write the page, and remove the reports of earlier results. Raises OSError, kvr.Error."""
        write_bytes(summary.page(self.path), os.path.join(self.path, "index.html"))
        for name in os.listdir(self._pairs):
            if _OWN_NAME.fullmatch(name) and name not in summary.linked:
                with suppress(FileNotFoundError):
                    os.unlink(os.path.join(self._pairs, name))


class CampaignPage:
    """The page over all pairs: a table that can be sorted and filtered, worst first."""

    def __init__(self, title: str, options: Mapping[str, Any]) -> None:
        self._title = title
        self._options = dict(options)
        self._counts: Counter[str] = Counter()
        self._signals: Counter[str] = Counter()
        self._rows: list[tuple[tuple[int, float], PairResult]] = []
        self.linked: set[str] = set()

    def add(self, result: PairResult) -> None:
        self._counts[result.status] += 1
        self._signals.update(result.counts)
        if result.report:
            self.linked.add(os.path.basename(result.report))
        if not result.passed:
            self._rows.append((result.rank, result))
        elif len(self._rows) < _MOST_ROWS:
            self._rows.append(((9, 0.0), result))

    def page(self, folder: str) -> bytes:
        """The file, which is to stand in `folder`: links count from there."""
        self._rows.sort(key=lambda row: (row[0], row[1].other))
        rows = [_row(result, folder) for _, result in self._rows]
        data = {
            "kind": "campaign",
            "title": self._title,
            "made": datetime.now(timezone.utc).isoformat(timespec="seconds"),
            "options": for_json(self._options),
            "counts": dict(self._counts),
            "signals": dict(self._signals),
            "columns": {name: [row[name] for row in rows] for name in _COLUMNS},
        }
        return page_of(self._title, data)


_COLUMNS = (
    "status", "baseline", "other", "what", "excess", "first_out", "failed", "compared", "seconds",
    "report",
)  # fmt: skip


def _row(result: PairResult, folder: str) -> dict[str, Any]:
    summary = result.comparison
    worst = summary.failed[0] if summary and summary.failed else None
    return {
        "status": result.status,
        "baseline": result.baseline,
        "other": result.other,
        "what": result.text[:_LONGEST_TEXT],
        "excess": for_json(worst.excess) if worst else None,
        "first_out": for_json(worst.first_out) if worst else None,
        "failed": summary.failed_total if summary else 0,
        "compared": summary.compared if summary else 0,
        "seconds": round(result.seconds, 4),
        "report": f"{_PAIRS}/{os.path.basename(result.report)}" if result.report else None,
    }
