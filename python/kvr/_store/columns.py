"""The columns that the store groups its signals by."""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Mapping
from typing import Any, Union

import vormel

from kvr._base.errors import NotFound
from kvr._base.names import listed, near_misses, quoted
from kvr._store import host
from kvr._store.run import Run, run_numbers
from kvr._store.signal import Signal, _exists

_KEYWORDS = {
    "path": "GBLOCKPATH",
    "source": "GDATASOURCE",
    "label": "GSIGNALNAME",
    "model": "GMODEL",
}
_COMPARISONS = 5000  # of names: about as long as reading the facts of one signal takes
COLUMNS = (*_KEYWORDS, "run")


class Column(Mapping[str, "list[Signal]"]):
    """A column: from the name of a group to its signals, in the order in which they were added.

    The store goes through all names to give one, so that many are read from the signals instead.
    Names come in the order of their bytes; any other name raises NotFound, a KeyError. The store
    keeps a name whose signals were all removed; its list is empty.

    >>> run = kvr.Store().new_run("Monday")
    >>> for path in ("car/engine", "car/brake", "car/engine"):
    ...     _ = run.add("speed", [1.0], time=[0.0], path=path)
    >>> column = kvr.Store().columns["path"]
    >>> {path: len(signals) for path, signals in column.items()}
    {'car/brake': 1, 'car/engine': 2}
    """

    def __init__(self, name: str) -> None:
        self._field = name
        self._keyword = _KEYWORDS[name]

    def names(self, descending: bool = False) -> list[str]:
        """The names of the groups in the order of their bytes, or the other way round."""
        repository = host.connect()
        count = repository.getGroupCount(self._keyword)
        if count * count > _COMPARISONS * repository.getSignalCount():
            found = self._names_of_signals(repository)
            if len(found) == count:  # else some groups have lost all their signals
                return sorted(found, key=str.encode, reverse=descending)
        order = "DESC" if descending else "ASC"
        return [str(repository.getGroup(i, self._keyword, order)) for i in range(1, count + 1)]

    def _names_of_signals(self, repository: Any) -> set[str]:
        runs = (Run(repository, number) for number in run_numbers(repository))
        return {getattr(signal, self._field) for run in runs for signal in run.signals}

    def __getitem__(self, name: str) -> list[Signal]:
        repository = host.connect()
        if not isinstance(name, str) or not _has_group(repository, self._keyword, name):
            raise _no_group(name, self.names())
        numbers = group_members(repository, self._keyword, name)
        return [Signal(repository, number) for number in numbers]

    def __contains__(self, name: object) -> bool:
        return isinstance(name, str) and _has_group(host.connect(), self._keyword, name)

    def get(self, name: str, default: Any = None) -> Any:
        return self[name] if name in self else default

    def __iter__(self) -> Iterator[str]:
        return iter(self.names())

    def __len__(self) -> int:
        return int(host.connect().getGroupCount(self._keyword))

    def __repr__(self) -> str:
        return f"<column of {len(self)} groups>"


class RunColumn(Mapping[str, "list[Run]"]):
    """The column of runs: from a name to the runs that share it, all in the order of creation.

    >>> store = kvr.Store()
    >>> for name in ("Monday", "Tuesday", "Monday"):
    ...     _ = store.new_run(name)
    >>> {name: len(runs) for name, runs in store.columns["run"].items()}
    {'Monday': 2, 'Tuesday': 1}
    """

    def _groups(self) -> dict[str, list[Run]]:
        repository = host.connect()
        groups: dict[str, list[Run]] = {}
        for number in run_numbers(repository):
            name = str(repository.getRunName(number))
            groups.setdefault(name, []).append(Run(repository, number))
        return groups

    def names(self, descending: bool = False) -> list[str]:
        """The names, each once, in the order of creation, which the store keeps either way."""
        return list(self._groups())

    def __getitem__(self, name: str) -> list[Run]:
        groups = self._groups()
        if name not in groups:
            raise _no_group(name, groups)
        return groups[name]

    def __iter__(self) -> Iterator[str]:
        return iter(self._groups())

    def __len__(self) -> int:
        return len(self._groups())

    def __repr__(self) -> str:
        return f"<column of {len(self)} groups>"


class Columns(Mapping[str, Union[Column, RunColumn]]):
    """The columns of the store: "path", "source", "label", "model" and "run"."""

    def __getitem__(self, name: str) -> Column | RunColumn:
        if name == "run":
            return RunColumn()
        if name not in _KEYWORDS:
            raise NotFound(f"a column is {listed(COLUMNS, 'or')}, not {name!r:.80}")
        return Column(name)

    def __iter__(self) -> Iterator[str]:
        return iter(COLUMNS)

    def __len__(self) -> int:
        return len(COLUMNS)

    def __repr__(self) -> str:
        return f"<columns {', '.join(COLUMNS)}>"


def _no_group(name: object, names: Iterable[str]) -> NotFound:
    """The error for a name that the column does not have."""
    if not isinstance(name, str):
        return NotFound(f"no group is named {name!r:.80}; names are texts")
    return NotFound(
        f"no group is named {quoted(name)}; {near_misses(name, names) or 'it is empty'}"
    )


def _has_group(repository: Any, keyword: str, name: str) -> bool:
    # Half a character would become another one on its way to the store, which keeps UTF-8.
    if not name.isascii() and name != name.encode("utf-8", "replace").decode():
        return False
    try:
        repository.getIDCount(name, keyword)
    except vormel.CallError:
        return False  # a NUL in the name
    except vormel.Error as error:
        if host.is_missing(error, "group name"):
            return False
        raise
    return True


def group_members(repository: Any, keyword: str, name: str) -> list[int]:
    """The ids of the signals in a group that are still there; none if there is no such group."""
    if not _has_group(repository, keyword, name):
        return []
    count = repository.getIDCount(name, keyword)
    numbers = (int(repository.getIDFromGroup(i, name, keyword)) for i in range(1, count + 1))
    return [number for number in numbers if _exists(repository, number)]
