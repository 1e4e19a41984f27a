"""Runs and signals as Python objects with NumPy arrays, files of runs, comparison of runs.

    >>> import kvr
    >>> store = kvr.Store()
    >>> run = store.new_run("Monday")
    >>> speed = run.add("speed", [4.5, 7.0, 9.5], time=[0.0, 0.1, 0.2], unit="m/s")
    >>> run["speed"].values
    array([4.5, 7. , 9.5])

Names are imported when they are first used, so that ``import kvr`` costs next to nothing.
"""

from __future__ import annotations

import importlib as _importlib
from typing import TYPE_CHECKING

if TYPE_CHECKING:
    from kvr._campaign.campaign import campaign as campaign
    from kvr._campaign.results import PairResult as PairResult
    from kvr._comparing import compare as compare
    from kvr._comparing import compare_series as compare_series
    from kvr._comparison import Comparison as Comparison
    from kvr._errors import Ambiguous as Ambiguous
    from kvr._errors import Error as Error
    from kvr._errors import FormatError as FormatError
    from kvr._errors import Gone as Gone
    from kvr._errors import MissingPackage as MissingPackage
    from kvr._errors import NotFound as NotFound
    from kvr._errors import NoValues as NoValues
    from kvr._formats import Format as Format
    from kvr._formats import open as open
    from kvr._functions import functions as functions
    from kvr._map import Map as Map
    from kvr._recording import Recording as Recording
    from kvr._run import Run as Run
    from kvr._settings import Sync as Sync
    from kvr._settings import Tolerance as Tolerance
    from kvr._signal import Signal as Signal
    from kvr._store import Runs as Runs
    from kvr._store import Store as Store
    from kvr._verdict import Verdict as Verdict

# Public name, module that defines it.
_HOMES = {
    "Ambiguous": "_errors",
    "Comparison": "_comparison",
    "Error": "_errors",
    "Format": "_formats",
    "FormatError": "_errors",
    "Gone": "_errors",
    "Map": "_map",
    "MissingPackage": "_errors",
    "NoValues": "_errors",
    "NotFound": "_errors",
    "PairResult": "_campaign.results",
    "Recording": "_recording",
    "Run": "_run",
    "Runs": "_store",
    "Signal": "_signal",
    "Store": "_store",
    "Sync": "_settings",
    "Tolerance": "_settings",
    "Verdict": "_verdict",
    "campaign": "_campaign.campaign",
    "compare": "_comparing",
    "compare_series": "_comparing",
    "functions": "_functions",
    "open": "_formats",
}

__all__ = list(_HOMES)  # noqa: PLE0604  names, all of them


if not TYPE_CHECKING:  # or every misspelt name would pass as one of these

    def __getattr__(name: str) -> object:
        if name not in _HOMES:
            raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
        found = getattr(_importlib.import_module(f"{__name__}.{_HOMES[name]}"), name)
        globals()[name] = found
        return found

    def __dir__() -> list[str]:
        return sorted({*globals(), *_HOMES})
