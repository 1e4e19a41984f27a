"""The errors that calls of the host raise."""

from __future__ import annotations


class Error(Exception):
    """A failure that a module or the host itself raised.

    identifier   such as "KVR:kvr:NON_EXISTENT"; "Vormel:..." for a failure of the host
    word         the one string that the failure carries, else None
    function     the plain name of the host method that was running, else None
    """

    identifier: str
    word: str | None
    function: str | None

    def __init__(
        self,
        text: str = "",
        identifier: str = "",
        word: str | None = None,
        function: str | None = None,
    ) -> None:
        super().__init__(text)
        self.identifier = identifier
        self.word = word
        self.function = function


class CallError(Error, TypeError):
    """A call that the host refused before the method's body ran. It changed nothing."""


class MethodError(CallError, AttributeError):
    """A call of a method that the class does not have."""


class OutOfMemoryError(Error, MemoryError):
    """Memory was exhausted."""
