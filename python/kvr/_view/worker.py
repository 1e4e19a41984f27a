"""The one thread of a server that touches the store.

The store takes calls from one thread at a time. The program that the server runs in may call it
from threads of its own: while one of them is inside a call that lets other threads run, the host
refuses the server's calls as busy. The worker then waits and repeats the whole job, so a job
either reads, or sets what may be set twice, or ends with the one call that changes something.
"""

from __future__ import annotations

import asyncio
import queue
import threading
import time
from collections.abc import Callable
from concurrent.futures import Future
from contextlib import suppress
from typing import Any, TypeVar

import vormel

_PATIENCE = 30.0  # seconds that a job waits for a store that is busy
_FIRST_WAIT, _LONGEST_WAIT = 0.001, 0.05

Result = TypeVar("Result")
_Job = tuple["Future[Any]", Callable[[], Any]]


class Busy(Exception):
    """Another thread of the program stayed inside the store for too long."""


class Worker:
    """Runs jobs one after the other on a thread of its own, until `close`.

    The thread is a daemon: a job that hangs does not keep the process from ending.
    """

    def __init__(self) -> None:
        self._jobs: queue.SimpleQueue[_Job | None] = queue.SimpleQueue()
        self._closing = threading.Event()
        self._thread = threading.Thread(target=self._work, name="kvr-view-store", daemon=True)
        self._thread.start()

    async def run(self, job: Callable[[], Result]) -> Result:
        """The result of the job, or what it raised; Busy if the store was not free in time."""
        future: Future[Result] = Future()
        if self._closing.is_set():
            raise asyncio.CancelledError
        self._jobs.put((future, job))
        return await asyncio.wrap_future(future)

    def close(self) -> None:
        """Cancel the jobs that wait; the one that runs is the last."""
        self._closing.set()
        self._jobs.put(None)

    def _work(self) -> None:
        while (task := self._jobs.get()) is not None:
            self._do(*task)
            del task  # what the job returned must not live until the next one
        with suppress(queue.Empty):
            while True:
                if (left := self._jobs.get_nowait()) is not None:
                    left[0].cancel()

    def _do(self, future: Future[Any], job: Callable[[], Any]) -> None:
        if self._closing.is_set():
            future.cancel()
        if not future.set_running_or_notify_cancel():
            return
        try:
            result = self._patiently(job)
        except BaseException as error:
            future.set_exception(error)
        else:
            future.set_result(result)

    def _patiently(self, job: Callable[[], Result]) -> Result:
        wait, end = _FIRST_WAIT, time.monotonic() + _PATIENCE
        while True:
            try:
                return job()
            except vormel.CallError as error:
                if error.identifier != "Vormel:Busy":
                    raise
                if time.monotonic() > end or self._closing.is_set():
                    raise Busy(
                        f"another thread of the program was inside the store for {_PATIENCE:g} s"
                    ) from error
            self._closing.wait(wait)
            wait = min(2 * wait, _LONGEST_WAIT)
