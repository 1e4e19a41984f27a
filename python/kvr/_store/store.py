"""The store of the process, and its runs."""

from __future__ import annotations

import os
import re
from collections.abc import Iterable, Iterator, Sequence
from importlib import import_module
from types import TracebackType
from typing import TYPE_CHECKING, Any, overload

import vormel

from kvr._base import html
from kvr._base.errors import NotFound
from kvr._reading import adding
from kvr._reading.runs import RunReader, require_place, run_named
from kvr._reading.signals import matching
from kvr._store import host as _host
from kvr._store.columns import Columns, group_members
from kvr._store.run import Run, new_run, run_numbers, run_of_number
from kvr._store.signal import Signal, _exists

if TYPE_CHECKING:
    from kvr._files.recording import Recording
    from kvr._base.view import View


class Runs(Sequence[Run]):
    """The runs of the store, in the order of creation, as they are at every look.

    ``runs[0]`` is the first, ``runs[-1]`` the last, ``runs["Monday"]`` the one of that name:
    NotFound, a KeyError, if there is none, and Ambiguous if several share it.

    >>> store = kvr.Store()
    >>> _ = store.new_run("Monday"), store.new_run("Tuesday")
    >>> [run.name for run in store.runs]
    ['Monday', 'Tuesday']
    """

    def __len__(self) -> int:
        return len(run_numbers(_host.connect()))

    def __iter__(self) -> Iterator[Run]:
        repository = _host.connect()
        return iter([Run(repository, number) for number in run_numbers(repository)])

    @overload
    def __getitem__(self, key: int | str) -> Run:
        ...

    @overload
    def __getitem__(self, key: slice) -> list[Run]:
        ...

    def __getitem__(self, key: int | str | slice) -> Run | list[Run]:
        if isinstance(key, str):
            return run_named(list(self), key, "the store")
        repository = _host.connect()
        numbers = run_numbers(repository)
        require_place(key, len(numbers), "the store")
        chosen = numbers[key]
        if isinstance(chosen, list):
            return [Run(repository, number) for number in chosen]
        return Run(repository, chosen)

    def __contains__(self, wanted: object) -> bool:
        if isinstance(wanted, str):
            return any(run.name == wanted for run in self)
        return any(run == wanted for run in self)

    def by_id(self, number: int) -> Run:
        """The run of this id, also one that stands in no list. Raises NotFound.

        >>> kvr.Store().new_run("Monday") == kvr.Store().runs.by_id(1)
        True
        """
        return run_of_number(number)

    def __repr__(self) -> str:
        return f"<{len(self)} runs>"


class FileMode:
    """What ``Store.to_file`` returns: leaving its context ends file mode."""

    def __init__(self, store: Store) -> None:
        self._store = store

    def __enter__(self) -> Store:
        return self._store

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self._store.to_memory()


class Store:
    """The store of the process: every Store is a view of the same one and holds nothing itself.

    Iteration, ``len`` and ``in`` go over the runs; ``in`` also takes the name of a run.

    >>> store = kvr.Store()
    >>> run = store.new_run("Monday", instance=1)
    >>> speed = run.add("speed", [4.5, 7.0, 9.5], time=[0.0, 0.1, 0.2], path="car/engine")
    >>> speed.tolerance = kvr.Tolerance(relative=0.01)
    >>> store.runs["Monday"]["speed"].values
    array([4.5, 7. , 9.5])
    """

    __slots__ = ("__weakref__",)  # it has no state of its own

    @property
    def runs(self) -> Runs:
        """The runs in the order of creation, by position or by name."""
        return Runs()

    @property
    def signals(self) -> tuple[Signal, ...]:
        """All signals as they are now: run by run, in the order in which they were added."""
        repository = _host.connect()
        signals = [signal for run in self for signal in run.signals]
        if len(signals) < repository.getSignalCount():  # some belong to a run in no list
            known = {signal.id for signal in signals}
            signals += [Signal(repository, n) for n in _every_signal(repository) if n not in known]
        return tuple(signals)

    @property
    def columns(self) -> Columns:
        """The columns "path", "source", "label", "model" and "run": from group names to members.

        >>> store = kvr.Store()
        >>> _ = store.new_run("Monday").add("speed", [4.5], time=[0.0])
        >>> store.columns["label"].names()
        ['speed']
        """
        return Columns()

    def new_run(self, name: str, instance: int = 1) -> Run:
        """Make an empty run. Names need not be unique. Raises ValueError for a NUL in the name.

        >>> kvr.Store().new_run("Monday")
        <Run 1 'Monday', 0 signals>
        """
        return new_run(name, instance)

    def signal(self, number: int) -> Signal:
        """The signal of this id. Raises NotFound.

        >>> kvr.Store().signal(7)
        Traceback (most recent call last):
        kvr.NotFound: no signal has the id 7
        """
        number = adding.whole_number("id", number)
        repository = _host.connect()
        if not adding.fits_int32(number) or not _exists(repository, number):
            raise NotFound(f"no signal has the id {number}")
        return Signal(repository, number)

    def find(self, pattern: str | re.Pattern[str], by: str = "label") -> list[Signal]:
        """The signals of all runs whose `by` matches; ``Run.find`` tells patterns and fields.

        >>> store = kvr.Store()
        >>> _ = store.new_run("Monday").add("speed", [4.5], time=[0.0], path="car/engine")
        >>> [signal.label for signal in store.find("*/engine", by="path")]
        ['speed']
        """
        return matching(self.signals, pattern, by)

    def load(
        self,
        source: str | os.PathLike[str] | Recording,
        runs: Iterable[str] | str | None = None,
    ) -> list[Run]:
        """Bring the runs of a file into the store and return them, in the order of the file.

        `runs` names those to bring; None brings all. Raises FormatError, NotFound for a name that
        no run has, and OSError; the store then has none of the runs.

        >>> import pathlib, tempfile
        >>> path = pathlib.Path(tempfile.mkdtemp(), "drive.csv")
        >>> _ = path.write_text("time,speed\\n0,4.5\\n1,7.0\\n")
        >>> kvr.Store().load(path)
        [<Run 1 'drive', 1 signal>]
        """
        from kvr._store.loading import load

        return load(source, runs)

    def save(
        self,
        path: str | os.PathLike[str],
        runs: Iterable[str | Run] | str | Run | None = None,
        append: bool = False,
    ) -> None:
        """Write runs to a file, in the format of its ending, in place of an old file.

        `runs` are runs or names of runs, None for all. `append` adds to the file, where the format
        can. A CSV file holds one run, and keeps neither settings nor display. Raises ValueError for
        what the format cannot hold, NotFound, OSError; an old file then stays as it was.

        >>> import pathlib, tempfile
        >>> path = pathlib.Path(tempfile.mkdtemp(), "week.kvr")
        >>> store = kvr.Store()
        >>> _ = store.new_run("Monday"), store.new_run("Tuesday")
        >>> store.save(path, runs=["Monday"])
        >>> store.save(path, runs=["Tuesday"], append=True)
        >>> [run.name for run in kvr.open(path).runs]
        ['Monday', 'Tuesday']
        """
        from kvr._files import formats

        chosen = [runs] if isinstance(runs, (str, Run)) else self.runs if runs is None else runs
        if not isinstance(chosen, Iterable):
            raise TypeError(f"runs are runs or names of runs, not {chosen!r:.80}")
        found = [self.runs[run] if isinstance(run, str) else run for run in chosen]
        for run in found:
            if not isinstance(run, RunReader):
                raise TypeError(f"runs are runs or names of runs, not {run!r}")
        formats.save(path, found, adding.truth("append", append))

    def view(self, *, port: int = 0, browser: bool = True) -> View:
        """Show the store in the inspector: serve it on this machine, and open the browser.

        Returns at once; the server runs on threads of its own until the handle is closed or the
        process ends. The handle has `.url`, `.close()` and `.wait()`, and is a context manager.
        The store may be used meanwhile: windows see changes within some seconds. A call that comes
        while the server is inside a host function of Python is refused as busy; repeat it.
        Raises MissingPackage without starlette and uvicorn, OSError for a port that is taken.

        >>> with kvr.Store().view(browser=False) as view:
        ...     view.url.startswith("http://127.0.0.1:")
        True
        """
        # By name: the server stands on the store, not the store on the server.
        view: View = import_module("kvr._view.handle").view_store(port=port, browser=browser)
        return view

    def clear(self) -> None:
        """Empty the store: the store's ``clean``. Every run and signal of it is gone then.

        >>> store = kvr.Store()
        >>> _ = store.new_run("Monday")
        >>> store.clear()
        >>> len(store)
        0
        """
        _host.connect().clean()

    def to_file(self) -> FileMode:
        """Keep the values of later signals in a new scratch file; as a context, until its end.

        There is one scratch file: starting another one loses the values of signals in the first.
        Signals that are in the file stay there when the mode ends. Raises OSError where the host
        has no folder for it.

        >>> store = kvr.Store()
        >>> with store.to_file():
        ...     speed = store.new_run("Monday").add("speed", [4.5, 7.0], time=[0.0, 0.1])
        >>> speed.values
        array([4.5, 7. ])
        """
        try:
            _host.connect().writeToFile()
        except vormel.Error as error:
            if _host.is_scratch_failure(error):
                raise OSError("the host names no folder for the scratch file") from error
            raise
        return FileMode(self)

    def to_memory(self) -> None:
        """Keep the values of later signals in memory. Those in the scratch file stay there.

        >>> kvr.Store().to_memory()
        """
        _host.connect().stopWritingToFile()

    def __len__(self) -> int:
        return len(self.runs)

    def __bool__(self) -> bool:
        return True  # a store is one also without runs

    def __iter__(self) -> Iterator[Run]:
        return iter(self.runs)

    def __contains__(self, wanted: object) -> bool:
        return wanted in self.runs

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Store)

    def __hash__(self) -> int:
        return hash(Store)

    def __repr__(self) -> str:
        repository = _host.connect()
        return f"<Store of {len(self)} runs, {int(repository.getSignalCount())} signals>"

    def _repr_html_(self) -> str:
        runs = self.runs
        rows = [(run.id, run.name, _created_text(run), len(run)) for run in runs[: html.ROWS]]
        return html.table("Runs", ("id", "name", "created", "signals"), rows, len(runs))


def _created_text(run: Run) -> str:
    try:
        return f"{run.created:%Y-%m-%d %H:%M}"
    except ValueError:  # another program set what is not a date
        return ""


def _every_signal(repository: Any) -> list[int]:
    """The ids of all signals, of runs in no list too, in the order in which they were added."""
    count = repository.getGroupCount("GSIGNALNAME")
    names = [repository.getGroup(i, "GSIGNALNAME", "ASC") for i in range(1, count + 1)]
    return sorted(n for name in names for n in group_members(repository, "GSIGNALNAME", name))
