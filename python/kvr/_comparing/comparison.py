"""The result of comparing two runs."""

from __future__ import annotations

import os
from collections.abc import Iterator, Sequence
from dataclasses import dataclass
from importlib import import_module
from typing import TYPE_CHECKING, Any, overload

from kvr._base import html
from kvr._base import names
from kvr._base.errors import Ambiguous, NotFound
from kvr._base.text import shown
from kvr._comparing import ranking
from kvr._comparing import table as _table
from kvr._comparing.verdict import STATUSES, Verdict
from kvr._comparing.verdicts import Verdicts
from kvr._reading.runs import RunReader

if TYPE_CHECKING:
    import pandas  # type: ignore[import]

    from kvr._base.view import View

_TEXT_ROWS = 20  # in str()


@dataclass(frozen=True)
class SideInfo:
    """Which run was compared: its file, None for one of the store, and who it was."""

    file: str | None
    run: str
    id: int
    signals: int

    @staticmethod
    def of(run: RunReader[Any], path: str | None, signals: int) -> SideInfo:
        return SideInfo(path, run.name, run.id, signals)


class Comparison(Sequence[Verdict]):
    """What the comparison of two runs found: a sequence of verdicts.

    verdicts  in the order of the baseline run, then the extras in the order of the other
    failed    those of them that fail
    passed    whether at least one pair was compared and none fails
    counts    how many verdicts have each status
    warnings  texts about keys that stand several times
    options   what was asked for

    ``comparison["speed"]`` is the verdict of that label: NotFound, Ambiguous.

    >>> run = kvr.Store().new_run("Monday")
    >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
    >>> other = kvr.Store().new_run("Tuesday")
    >>> _ = other.add("speed", [4.5, 7.5], time=[0.0, 0.1])
    >>> comparison = kvr.compare(run, other)
    >>> comparison.passed, comparison["speed"].worst.difference
    (False, 0.5)
    >>> print(comparison)
    Monday against Tuesday: out 1
    status  excess  first out  signal
    out     0.5     0.1        speed
    """

    def __init__(
        self,
        verdicts: Verdicts,
        sides: tuple[SideInfo, SideInfo],
        options: dict[str, Any],
        warnings: Sequence[str],
    ) -> None:
        self.verdicts = verdicts
        self.baseline, self.other = sides
        self.options = options
        self.warnings = list(warnings)

    def fails(self, verdict: Verdict) -> bool:
        """Whether a verdict fails: it differs, or it is an extra and the comparison is strict.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> comparison = kvr.compare(run, run.copy())
        >>> comparison.fails(comparison["speed"])
        False
        """
        return verdict.differs or (verdict.status == "extra" and bool(self.options["strict"]))

    @property
    def failed(self) -> list[Verdict]:
        """The verdicts that fail, in their order."""
        return [self.verdicts[place] for place in self._failing()]

    def _failing(self) -> list[int]:
        """Where the verdicts stand that fail."""
        passing = ("within",) if self.options["strict"] else ("within", "extra")
        statuses = enumerate(self.verdicts.statuses)
        return [place for place, status in statuses if status not in passing]

    @property
    def compared(self) -> int:
        """How many pairs were compared: they are within or out."""
        return ranking.compared(self.counts)

    @property
    def paired(self) -> int:
        """How many verdicts are on a pair, compared or not."""
        return ranking.paired(self.counts)

    @property
    def passed(self) -> bool:
        """Whether at least one pair was compared and none fails."""
        return ranking.passes(self.counts, len(self._failing()))

    @property
    def counts(self) -> dict[str, int]:
        """How many verdicts have each status, also those that none has."""
        counts = dict.fromkeys(STATUSES, 0)
        for status in self.verdicts.statuses:
            counts[status] += 1
        return counts

    def __len__(self) -> int:
        return len(self.verdicts)

    def __bool__(self) -> bool:
        return True  # an empty comparison is one, too; ask `passed`

    def __iter__(self) -> Iterator[Verdict]:
        return iter(self.verdicts)

    @overload
    def __getitem__(self, key: int | str) -> Verdict:
        ...

    @overload
    def __getitem__(self, key: slice) -> list[Verdict]:
        ...

    def __getitem__(self, key: int | str | slice) -> Verdict | list[Verdict]:
        if not isinstance(key, str):
            return self.verdicts[key]
        labels = self.verdicts.labels()
        found = labels.get(key, [])
        if len(found) == 1:
            return self.verdicts[found[0]]
        if found:
            places = [self.verdicts[place].path or "an empty path" for place in found[:10]]
            raise Ambiguous(
                f"{len(found)} verdicts are on {key!r}, at {names.joined(places, 'and')}"
            )
        hint = names.near_misses(key, labels)
        raise NotFound(f"no verdict is on {key!r}; {hint or 'there are none'}")

    def to_dict(self) -> dict[str, Any]:
        """The result as plain values, as they stand in the JSON; numbers stay numbers.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> comparison = kvr.compare(run, run.copy())
        >>> comparison.to_dict()["counts"]["within"]
        1
        """
        from kvr._comparing.results import plain

        return plain(self)

    def to_json(self, path: str | os.PathLike[str] | None = None) -> str:
        """The result as JSON, also written to `path`; docs/comparison.schema.json describes it.

        NaN and infinities are the texts "NaN", "Infinity" and "-Infinity", complex numbers are
        [re, im].

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> comparison = kvr.compare(run, run.copy())
        >>> print(comparison.to_json().splitlines()[2])
         "passed": true,
        """
        from kvr._comparing.results import json_text
        from kvr._base.writing import write

        return write(json_text(self), path)

    def to_junit(self, path: str | os.PathLike[str] | None = None) -> str:
        """The result as JUnit XML, also written to `path`: a test case a pair.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> comparison = kvr.compare(run, run.copy())
        >>> comparison.to_junit().count("<testcase ")
        1
        """
        from kvr._comparing.results import junit_text
        from kvr._base.writing import write

        return write(junit_text(self), path)

    def to_html(self, path: str | os.PathLike[str]) -> None:
        """Write the result as one file that a browser shows from disk, without a network.

        A table of all pairs, and of each pair both signals, the tolerance and the difference, which
        can be zoomed. Curves are thinned to what a screen can tell apart; the samples that are kept
        are real ones, the worst one and the ends of what is out always among them. The file has at
        most 5 MB for 1,000 pairs; of more than 2,000 pairs those that fail are drawn first.

        Raises Gone if a signal was removed since, OSError that names the file; an old file then
        stays as it was.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> comparison = kvr.compare(run, run.copy())
        >>> import pathlib, tempfile
        >>> comparison.to_html(pathlib.Path(tempfile.mkdtemp(), "speed.html"))
        """
        from kvr._comparing.report import report_of
        from kvr._base.writing import write_bytes

        write_bytes(report_of(self), path)

    def to_dataframe(self) -> pandas.DataFrame:
        """A row a verdict, its plain facts as columns. Raises MissingPackage without pandas.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> comparison = kvr.compare(run, run.copy())
        >>> comparison.to_dataframe()["status"].tolist()
        ['within']
        """
        from kvr._comparing.results import dataframe

        return dataframe(self)

    def view(self, *, port: int = 0, browser: bool = True) -> View:
        """Show the store with this comparison in the inspector, as ``Store.view``.

        It is made anew from the runs in the store, and follows their settings. Runs of files are
        loaded into the store first, and stay there. Raises as ``Store.view``, Gone for a run that
        was removed, and as ``Store.load`` for one of a file.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> with kvr.compare(run, run.copy()).view(browser=False) as view:
        ...     view.url.startswith("http://127.0.0.1:")
        True
        """
        # By name: the server stands on the comparison, not the comparison on the server.
        handle = import_module("kvr._view.handle")
        view: View = handle.view_comparison(self, port=port, browser=browser)
        return view

    def worst_first(self) -> list[Verdict]:
        """The verdicts that fail, the furthest out first, then the others in their order.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> comparison = kvr.compare(run, run.copy())
        >>> [verdict.label for verdict in comparison.worst_first()]
        ['speed']
        """
        return sorted(self.verdicts, key=self._rank)

    def _rank(self, verdict: Verdict) -> ranking.Rank:
        """Sorts verdicts as `worst_first` does."""
        return ranking.rank(verdict) if self.fails(verdict) else ranking.NO_FAILURE

    def __str__(self) -> str:
        rows = self.worst_first()
        table = _table.lines(rows[:_TEXT_ROWS], 100)
        more = [f"and {len(rows) - _TEXT_ROWS} more"] if len(rows) > _TEXT_ROWS else []
        return "\n".join([self.summary(), *(table if rows else []), *more])

    def summary(self) -> str:
        """One line: the two runs, and how many verdicts have each status.

        >>> run = kvr.Store().new_run("Monday")
        >>> _ = run.add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> comparison = kvr.compare(run, run.copy())
        >>> comparison.summary()
        'Monday against Monday: within 1'
        """
        runs = " against ".join(shown(side.run, 60) for side in (self.baseline, self.other))
        counts = ", ".join(f"{status} {count}" for status, count in self.counts.items() if count)
        return f"{runs}: {counts or 'no signals'}"

    def __repr__(self) -> str:
        return f"<Comparison of {self.summary()}>"

    def _repr_html_(self) -> str:
        verdicts = self.worst_first()
        rows = [(v.status, v.label, v.path, v.text) for v in verdicts[: html.ROWS]]
        header = ("status", "label", "path", "verdict")
        return html.table(self.summary(), header, rows, len(verdicts))
