"""Workers as processes of this machine."""

from __future__ import annotations

import multiprocessing
import os
import signal
import threading
import time
from collections import deque
from collections.abc import Sequence
from concurrent.futures import FIRST_COMPLETED, Future, ProcessPoolExecutor, wait
from concurrent.futures.process import BrokenProcessPool
from contextlib import suppress

from kvr._campaign.schedule import Batch, Ended, WorkerDied
from kvr._campaign.work import Outcome, run_batch

_AHEAD = 2  # batches a worker has, so that it need not wait for the next


class Pool:
    """A runner on `jobs` processes, started anew when one dies.

    Each process is a pool of its own, so that its death is that of one batch and not of all.
    """

    def __init__(self, jobs: int) -> None:
        self.width = jobs
        self._seats = [_Seat() for _ in range(jobs)]

    def room(self) -> bool:
        return any(seat.room() for seat in self._seats)

    def start(self, batch: Batch, version: str) -> None:
        seat = min((seat for seat in self._seats if seat.room()), key=lambda seat: seat.load())
        seat.start(batch, version)

    def ended(self) -> list[Ended]:
        running = [seat.first() for seat in self._seats if seat.load()]
        wait(running, return_when=FIRST_COMPLETED)
        return [ended for seat in self._seats for ended in seat.ended()]

    def close(self) -> None:
        for seat in self._seats:
            seat.close()


class _Seat:
    """One worker, and the batches that it has in their order."""

    def __init__(self) -> None:
        self._executor: ProcessPoolExecutor | None = None
        self._pid = 0
        self._batches: deque[tuple[Batch, str, Future[list[Outcome]]]] = deque()

    def room(self) -> bool:
        return len(self._batches) < _AHEAD

    def load(self) -> int:
        return len(self._batches)

    def first(self) -> Future[list[Outcome]]:
        return self._batches[0][2]

    def start(self, batch: Batch, version: str) -> None:
        self._batches.append((batch, version, self._submit(batch, version)))

    def ended(self) -> list[Ended]:
        """The batches that have ended. After a death the first one is charged, the others move."""
        found: list[Ended] = []
        while self._batches and self._batches[0][2].done():
            batch, _, future = self._batches.popleft()
            error = future.exception()
            if isinstance(error, BrokenProcessPool):
                found.append(Ended(batch, WorkerDied(f"process {self._pid} ended")))
                self._start_again()
                break
            found.append(Ended(batch, error if error is not None else future.result()))
        return found

    def close(self) -> None:
        """End the worker, also while it works."""
        if self._executor is None:
            return
        if self._batches:
            with suppress(ProcessLookupError):
                os.kill(self._pid, signal.SIGKILL)
        self._executor.shutdown(wait=True, cancel_futures=True)
        self._executor = None

    def _submit(self, batch: Batch, version: str) -> Future[list[Outcome]]:
        if self._executor is None:
            self._executor = _executor()
            self._pid = _pid_of(self._executor)
        try:
            return self._executor.submit(run_batch, batch.jobs, version)
        except BrokenProcessPool as error:  # it died without work; `ended` sees to the rest
            failed: Future[list[Outcome]] = Future()
            failed.set_exception(error)
            return failed

    def _start_again(self) -> None:
        assert self._executor is not None
        self._executor.shutdown(wait=True)
        self._executor = None
        waiting, self._batches = self._batches, deque()
        for batch, version, _ in waiting:
            self.start(batch, version)


def _executor() -> ProcessPoolExecutor:
    context = multiprocessing.get_context("spawn")
    return ProcessPoolExecutor(1, context, _begin, (os.getpid(),))


def _pid_of(executor: ProcessPoolExecutor) -> int:
    """Starts the worker. Raises RuntimeError if it cannot start."""
    try:
        return executor.submit(os.getpid).result()
    except BrokenProcessPool:
        executor.shutdown(wait=False)
        raise RuntimeError(
            "the worker processes cannot start; a script must call kvr.campaign under "
            'if __name__ == "__main__"'
        ) from None


def _begin(parent: int) -> None:
    """Runs first in a worker: Ctrl-C is for the parent, and no worker outlives it."""
    signal.signal(signal.SIGINT, signal.SIG_IGN)

    def watch() -> None:
        while os.getppid() == parent:
            time.sleep(0.5)
        os._exit(1)

    threading.Thread(target=watch, name="kvr-parent", daemon=True).start()


def processors() -> int:
    return max(len(os.sched_getaffinity(0)), 1)


__all__: Sequence[str] = ("Pool", "processors")
