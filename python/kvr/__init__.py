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
    from kvr._comparing.compare import compare as compare
    from kvr._comparing.compare import compare_series as compare_series
    from kvr._comparing.comparison import Comparison as Comparison
    from kvr._base.errors import Ambiguous as Ambiguous
    from kvr._base.errors import Error as Error
    from kvr._base.errors import FormatError as FormatError
    from kvr._base.errors import Gone as Gone
    from kvr._base.errors import MissingPackage as MissingPackage
    from kvr._base.errors import NotFound as NotFound
    from kvr._base.errors import NoValues as NoValues
    from kvr._files.formats import Format as Format
    from kvr._files.formats import open as open
    from kvr._comparing.functions import functions as functions
    from kvr._store.map import Map as Map
    from kvr._files.recording import Recording as Recording
    from kvr._store.run import Run as Run
    from kvr._base.settings import Sync as Sync
    from kvr._base.settings import Tolerance as Tolerance
    from kvr._store.signal import Signal as Signal
    from kvr._store.store import Runs as Runs
    from kvr._store.store import Store as Store
    from kvr._comparing.verdict import Verdict as Verdict
    from kvr._base.view import View as View
    from kvr._kvr import __version__ as __version__

# Public name, module that defines it.
_HOMES = {
    "Ambiguous": "_base.errors",
    "Comparison": "_comparing.comparison",
    "Error": "_base.errors",
    "Format": "_files.formats",
    "FormatError": "_base.errors",
    "Gone": "_base.errors",
    "Map": "_store.map",
    "MissingPackage": "_base.errors",
    "NoValues": "_base.errors",
    "NotFound": "_base.errors",
    "PairResult": "_campaign.results",
    "Recording": "_files.recording",
    "Run": "_store.run",
    "Runs": "_store.store",
    "Signal": "_store.signal",
    "Store": "_store.store",
    "Sync": "_base.settings",
    "Tolerance": "_base.settings",
    "Verdict": "_comparing.verdict",
    "View": "_base.view",
    "campaign": "_campaign.campaign",
    "compare": "_comparing.compare",
    "compare_series": "_comparing.compare",
    "functions": "_comparing.functions",
    "open": "_files.formats",
}

__all__ = list(_HOMES)  # noqa: PLE0604  names, all of them
_HOMES["__version__"] = "_kvr"


if not TYPE_CHECKING:  # or every misspelt name would pass as one of these

    def __getattr__(name: str) -> object:
        if name not in _HOMES:
            raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
        found = getattr(_importlib.import_module(f"{__name__}.{_HOMES[name]}"), name)
        globals()[name] = found
        return found

    def __dir__() -> list[str]:
        return sorted({*globals(), *_HOMES})
