"""The host's functions as a mapping."""

from __future__ import annotations

from collections.abc import Callable, Iterator, MutableMapping
from functools import partial
from typing import Any

from vormel import _vormel


class HostFunctions(MutableMapping[str, Callable[[], Any]]):
    """The functions that modules call by name, each a callable without arguments.

    Setting an entry replaces the host's own function, deleting it puts the host's own back; the
    names are always the same. An entry that is not replaced gives a callable that calls the host's
    own function, and goes on doing so after a replacement.

    What a callable raises fails the call of the module that asked for it, with the exception as
    the failure's cause.
    """

    def __getitem__(self, name: str) -> Callable[[], Any]:
        replacement = _vormel.function_set_for(name)
        if replacement is not None:
            return replacement
        return partial(_vormel.call_own_function, name)

    def __setitem__(self, name: str, function: Callable[[], Any]) -> None:
        if not callable(function):
            raise TypeError(f"the function {name!r} must be callable, not {function!r}")
        _vormel.set_function(name, function)

    def __delitem__(self, name: str) -> None:
        _vormel.reset_function(name)

    def __iter__(self) -> Iterator[str]:
        return iter(_vormel.function_names())

    def __len__(self) -> int:
        return len(_vormel.function_names())

    def clear(self) -> None:
        """Put all of the host's own functions back."""
        for name in self:
            del self[name]

    def __repr__(self) -> str:
        replaced = [name for name in self if _vormel.function_set_for(name) is not None]
        return f"<host functions {', '.join(self)}; replaced: {', '.join(replaced) or 'none'}>"
