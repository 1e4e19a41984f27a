"""The functions that tolerances and synchronisation options name."""

from __future__ import annotations

from collections.abc import Callable, Iterator, MutableMapping
from typing import Any


class Functions(MutableMapping[str, Callable[..., Any]]):
    """The functions of ``Tolerance.function`` and ``Sync.custom``, by name.

    A tolerance function is called with the instants (n,) and the values of both sides there, each
    (n,) or (n, ...). It returns the tolerance of each instant, (n,), or of each value, of the shape
    of the values: numbers >= 0, or NaN where the baseline is NaN.

    A sync function is called with the times of both sides and returns the instants, rising.

    Both get read-only arrays, and run in the thread that asked for the comparison. What a function
    raises makes its pair incomparable, with the reason "function-failed". The process has one
    registry; it lasts as long as the process.

    >>> kvr.functions["settling"] = lambda t, baseline, other: 0.5 * (t < 1.0)
    >>> list(kvr.functions)
    ['settling']
    """

    def __init__(self) -> None:
        self._callables: dict[str, Callable[..., Any]] = {}

    def __getitem__(self, name: str) -> Callable[..., Any]:
        return self._callables[name]

    def __setitem__(self, name: str, function: Callable[..., Any]) -> None:
        if not isinstance(name, str):
            raise TypeError(f"the name of a function must be a text, not {name!r}")
        if not callable(function):
            raise TypeError(f"the function {name!r} must be callable, not {function!r}")
        self._callables[name] = function

    def __delitem__(self, name: str) -> None:
        del self._callables[name]

    def __iter__(self) -> Iterator[str]:
        return iter(self._callables)

    def __len__(self) -> int:
        return len(self._callables)

    def __repr__(self) -> str:
        return f"<functions: {', '.join(self) or 'none'}>"


functions = Functions()
