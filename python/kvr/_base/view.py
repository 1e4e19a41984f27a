"""The handle of a server that shows the store in a browser."""

from __future__ import annotations

import html
import os
import threading
import weakref
from types import TracebackType
from typing import Protocol

_END = 1.0  # seconds that closing takes at most


class _Server(Protocol):
    """What a handle does with its server."""

    def stop(self) -> None:
        """Begin the end."""

    def wait(self, timeout: float | None) -> bool:
        """Wait for the end; whether it has come."""

    def drop_sockets(self) -> None:
        """In the child of a fork: let go of the parent's sockets."""

    def new_token(self) -> str:
        """What admits one browser, once."""


class View:
    """A server of the inspector that runs. Closed by `close`, as a context, or with the process.

    address   where it is, without a token: a browser that was admitted may open it again

    >>> with kvr.Store().view(browser=False) as view:
    ...     view.url.startswith(view.address + "?token=")
    True
    """

    def __init__(self, address: str, server: _Server) -> None:
        self.address = address
        self._server = server
        self._process = os.getpid()
        self._lock = threading.Lock()
        _views.add(self)

    @property
    def url(self) -> str:
        """An address that admits one browser, once; every look makes a new one."""
        return f"{self.address}?token={self._server.new_token()}"

    def wait(self, timeout: float | None = None) -> bool:
        """Wait until it is closed, or for so many seconds; returns whether it is closed.

        >>> with kvr.Store().view(browser=False) as view:
        ...     view.wait(timeout=0.01)
        False
        """
        return self._process != os.getpid() or self._server.wait(timeout)

    def close(self) -> None:
        """End the server, which takes less than a second. What was changed stays in the store.

        >>> view = kvr.Store().view(browser=False)
        >>> view.close()
        >>> view.wait()
        True
        """
        if self._process != os.getpid():
            return  # the server is the parent's
        with self._lock:
            self._server.stop()
            self._server.wait(_END)

    def __enter__(self) -> View:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        state = "closed" if self.wait(0) else "running"
        return f"<View at {self.address}, {state}>"

    def _repr_html_(self) -> str:
        if self.wait(0):
            return html.escape(repr(self))
        link = html.escape(self.url, quote=True)
        return (
            f'<a href="{link}" target="_blank" rel="noopener noreferrer">'
            f"Open the inspector</a> at {html.escape(self.address)}"
        )


_views: weakref.WeakSet[View] = weakref.WeakSet()


def _drop_in_child() -> None:
    for view in list(_views):
        view._server.drop_sockets()


os.register_at_fork(after_in_child=_drop_in_child)
