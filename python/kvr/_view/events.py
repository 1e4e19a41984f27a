"""What windows are told without asking: server-sent events, to every window that listens."""

from __future__ import annotations

import asyncio
import json
from collections.abc import AsyncIterator
from typing import Any

from kvr._view.problems import Problem

_MOST_WINDOWS = 64
_MOST_WAITING = 256  # events for a window that reads slowly; then it is told to load all again
_QUIET = 15.0  # seconds without an event, after which a comment keeps the connection alive

_COMMENT = b": still here\n\n"


class Listener:
    """The events for one window."""

    def __init__(self) -> None:
        self._waiting: list[bytes] = []
        self._is_told = asyncio.Event()
        self._ended = False

    def tell(self, event: bytes, instead: bytes) -> None:
        """Add an event; if too many wait, `instead` takes the place of all."""
        if len(self._waiting) >= _MOST_WAITING:
            self._waiting = [instead]
        else:
            self._waiting.append(event)
        self._is_told.set()

    def end(self) -> None:
        self._ended = True
        self._is_told.set()

    async def parts(self) -> AsyncIterator[bytes]:
        while not self._ended:
            try:
                await asyncio.wait_for(self._is_told.wait(), _QUIET)
            except asyncio.TimeoutError:
                yield _COMMENT
                continue
            self._is_told.clear()
            waiting, self._waiting = self._waiting, []
            if waiting:
                yield b"".join(waiting)


class Events:
    """The windows that listen. Used on the server's loop alone."""

    def __init__(self) -> None:
        self._listeners: set[Listener] = set()
        self._ended = False

    def __len__(self) -> int:
        return len(self._listeners)

    def listen(self, revision: int) -> AsyncIterator[bytes]:
        """The stream for one window, until it goes or the server ends. Raises Problem at once.

        It begins with the revision, so that a window knows what it missed while it was away.
        """
        if self._ended or len(self._listeners) >= _MOST_WINDOWS:
            raise Problem(503, f"{_MOST_WINDOWS} windows are open; close some")
        return self._stream(_event("hello", {"revision": revision}))

    async def _stream(self, first: bytes) -> AsyncIterator[bytes]:
        listener = Listener()
        self._listeners.add(listener)
        try:
            yield first
            async for part in listener.parts():
                yield part
        finally:
            self._listeners.discard(listener)

    def tell(self, kind: str, data: Any, revision: int) -> None:
        """Tell all windows. One that reads too slowly hears only that it should load all again."""
        event = _event(kind, data)
        instead = _event("reload", {"revision": revision})
        for listener in self._listeners:
            listener.tell(event, instead)

    def end(self) -> None:
        """End all streams."""
        self._ended = True
        for listener in self._listeners:
            listener.end()


def _event(kind: str, data: Any) -> bytes:
    text = json.dumps(data, allow_nan=False, separators=(",", ":"))
    return f"event: {kind}\ndata: {text}\n\n".encode("ascii")
