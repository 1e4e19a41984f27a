"""The HTTP server: one socket, one thread, an end within a second."""

from __future__ import annotations

import asyncio
import logging
import socket
import threading
from collections.abc import Callable, Coroutine
from contextlib import suppress
from typing import Any

import uvicorn  # type: ignore[import]
from starlette.types import ASGIApp
from uvicorn.protocols.http.h11_impl import H11Protocol  # type: ignore[import]

from kvr._view.policy import HEADERS, malformed_answer
from kvr._view.sessions import Sessions

_MOST_CONNECTIONS = 512
_GRACE = 0.4  # seconds in which answers may be completed at the end
_SILENT = logging.getLogger("kvr.view.http")
_SILENT.addHandler(logging.NullHandler())
_SILENT.propagate = False


class _Protocol(H11Protocol):  # type: ignore[misc]  # it has no types
    """Answers with the policy's headers also what is no HTTP, and logs no request."""

    def __init__(self, *given: Any, **named: Any) -> None:
        super().__init__(*given, **named)
        self.logger = _SILENT

    def send_400_response(self, msg: str) -> None:
        if self.cycle is None or self.cycle.response_complete:
            self.transport.write(malformed_answer())
        self.transport.close()


class Server(uvicorn.Server):  # type: ignore[misc]  # it has no types
    """Serves until `should_exit` is set; then calls `ending`, and ends within a second.

    beside    runs beside the server, and is cancelled at its end
    """

    def __init__(
        self,
        app: ASGIApp,
        beside: Callable[[], Coroutine[Any, Any, None]],
        ending: Callable[[], None],
        ready: Callable[[], None],
    ) -> None:
        config = uvicorn.Config(
            app,
            http=_Protocol,
            loop="asyncio",
            ws="none",
            lifespan="off",
            interface="asgi3",
            log_config=None,
            access_log=False,
            server_header=False,
            headers=list(HEADERS.items()),
            limit_concurrency=_MOST_CONNECTIONS,
            timeout_keep_alive=30,
        )
        super().__init__(config)
        self._beside = beside
        self._ending = ending
        self._ready = ready
        self._task: asyncio.Task[None] | None = None

    def install_signal_handlers(self) -> None:
        """The thread that serves is not the one that gets signals."""

    async def startup(self, sockets: Any = None) -> None:
        # Before the first connection: later ones get these from the server's clock.
        self.server_state.default_headers = self.config.encoded_headers
        await super().startup(sockets)
        self._task = asyncio.create_task(self._beside())
        self._ready()

    async def shutdown(self, sockets: Any = None) -> None:
        if self._task is not None:
            self._task.cancel()
        self._ending()
        asyncio.get_running_loop().call_later(_GRACE, self._force)
        await super().shutdown(sockets)

    def _force(self) -> None:
        """Break the connections that are still there: a browser that reads slowly, or not at all."""
        self.force_exit = True
        for connection in list(self.server_state.connections):
            with suppress(Exception):
                connection.transport.abort()


class ServerThread:
    """A server on a socket that listens, on a thread of its own.

    `make` gets a function to call when requests are answered, and is called on that thread.
    """

    def __init__(
        self,
        listener: socket.socket,
        sessions: Sessions,
        make: Callable[[Callable[[], None]], Server],
    ) -> None:
        self._listener = listener
        self._sessions = sessions
        self._make = make
        self._server: Server | None = None
        self._failure: BaseException | None = None
        self._is_ready = threading.Event()
        self._thread = threading.Thread(target=self._run, name="kvr-view", daemon=True)

    def start(self) -> None:
        """Returns when requests are answered. Raises what kept the server from starting."""
        self._thread.start()
        self._is_ready.wait()
        if self._failure is not None:
            self._thread.join()
            raise self._failure

    def wait(self, timeout: float | None) -> bool:
        """Wait for the end; whether it has come."""
        self._thread.join(timeout)
        return not self._thread.is_alive()

    def new_token(self) -> str:
        """What admits one browser, once."""
        return self._sessions.new_token()

    def stop(self) -> None:
        """Begin the end."""
        if self._server is not None:
            self._server.should_exit = True

    def drop_sockets(self) -> None:
        """In the child of a fork: close the copies of the sockets, which are the parent's."""
        with suppress(OSError):
            self._listener.close()
        connections = self._server.server_state.connections if self._server else ()
        for connection in list(connections):
            with suppress(Exception):
                held: Any = connection.transport.get_extra_info("socket")
                held._sock.close()

    def _run(self) -> None:
        try:
            asyncio.run(self._serve())
        except BaseException as error:
            self._failure = error
        finally:
            self._listener.close()
            self._is_ready.set()

    async def _serve(self) -> None:
        self._server = self._make(self._is_ready.set)
        await self._server.serve([self._listener])
