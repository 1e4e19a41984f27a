"""The errors of the package.

    Error
    ├── Gone         (LookupError)  the run or signal was removed, or the store was cleared
    ├── NotFound     (KeyError)     no run, signal or group of this name
    ├── Ambiguous    (KeyError)     several runs or signals share the name
    ├── NoValues     (LookupError)  the record of a signal holds no readable time series
    ├── FormatError  (ValueError)   a file is damaged, foreign, crafted or newer
    └── MissingPackage (ImportError) an optional package is not installed

Wrong arguments raise the built-in ValueError, TypeError and OverflowError.
"""

from __future__ import annotations

import os


class Error(Exception):
    """Base of the errors that only this package raises.

    >>> issubclass(kvr.Gone, kvr.Error)
    True
    """


class Gone(Error, LookupError):
    """The object stands for a run or signal that was removed, or for one of a store since cleared.

    A run removed by the store's ``removeEmptyRun`` is an exception: the store gives its number out
    again, and an object of the old run then stands for the new one.

    >>> run = kvr.Store().new_run("Monday")
    >>> run.remove()
    >>> run.name
    Traceback (most recent call last):
    kvr.Gone: run 1 was removed
    """


class _KeyedError(Error, KeyError):
    """A KeyError that shows its text as it is, not quoted."""

    def __str__(self) -> str:
        return str(self.args[0]) if self.args else ""


class NotFound(_KeyedError):
    """No run, signal or group has this name or number.

    >>> kvr.Store().runs["Monday"]
    Traceback (most recent call last):
    kvr.NotFound: no run is named 'Monday'; the store has no runs
    """


class Ambiguous(_KeyedError):
    """Several runs or signals share the name; the text lists them.

    >>> run = kvr.Store().new_run("Monday")
    >>> for path in ("car/engine", "car/gearbox"):
    ...     _ = run.add("speed", [4.5], time=[0.0], path=path)
    >>> run["speed"]
    Traceback (most recent call last):
    kvr.Ambiguous: 2 signals are labelled 'speed', at car/engine and car/gearbox
    """


class NoValues(Error, LookupError):
    """The record of the signal holds no readable time series.

    Its values lay in a scratch file that is gone, or whoever added it gave something else than a
    time series.

    >>> issubclass(kvr.NoValues, LookupError)
    True
    """


class FormatError(Error, ValueError):
    """A file is not what its format says: damaged, foreign, crafted or newer.

    path    the file, as it was named
    what    what is wrong, and what to do about it
    where   the place in the file, such as "line 7, column 'speed'"; empty if it is the whole file

    >>> error = kvr.FormatError("a.csv", "'oops' is not a number", "line 7, column 'speed'")
    >>> print(error)
    a.csv, line 7, column 'speed': 'oops' is not a number
    """

    def __init__(self, path: str | os.PathLike[str], what: str, where: str = "") -> None:
        self.path = os.fspath(path)
        self.what = what
        self.where = where
        super().__init__(self.path, what, where)

    def __str__(self) -> str:
        place = f"{self.path}, {self.where}" if self.where else self.path
        return f"{place}: {self.what}"


class MissingPackage(Error, ImportError):
    """A package that this function needs is not installed; the text names it.

    >>> issubclass(kvr.MissingPackage, ImportError)
    True
    """


for _error in (Error, Gone, NotFound, Ambiguous, NoValues, FormatError, MissingPackage):
    _error.__module__ = "kvr"  # as users name them
