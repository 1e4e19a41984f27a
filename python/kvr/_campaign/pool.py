"""Workers as processes of this machine."""

from __future__ import annotations

import gc
import multiprocessing
import os
import signal
import threading
import time
from collections import deque
from collections.abc import Callable, Iterator, Sequence
from concurrent.futures import FIRST_COMPLETED, Future, ProcessPoolExecutor, wait
from concurrent.futures.process import BrokenProcessPool
from contextlib import contextmanager, suppress
from multiprocessing import resource_tracker
from typing import Any, TypeVar

from kvr._campaign.schedule import RETRIES, Batch, Ended, WorkerDied
from kvr._campaign.work import Outcome, run_batch

_T = TypeVar("_T")
_FALSE_STARTS = 100  # one after the other, of a worker that has started before
_OBJECTS_UNTIL_COLLECTED = 100_000  # in a worker; Python's own threshold is 700
_MOST_WORKERS = 1024  # far more than processors; pairs are read ahead for each
_AHEAD = 2  # batches a worker has, so that it need not wait for the next


class Pool:
    """A runner on up to `jobs` processes, started when there is work, and anew when one dies.

    Each process is a pool of its own, so that its death is that of one batch and not of all.
    """

    def __init__(self, jobs: int) -> None:
        self.width = min(jobs, _MOST_WORKERS)
        self._seats: list[_Seat] = []

    def room(self) -> bool:
        return len(self._seats) < self.width or any(seat.room() for seat in self._seats)

    def start(self, batch: Batch, version: str) -> None:
        seat = min(self._seats, key=lambda seat: seat.load(), default=None)
        if seat is None or (seat.load() and len(self._seats) < self.width):
            seat = _Seat()
            self._seats.append(seat)
        seat.start(batch, version)

    def ended(self) -> list[Ended]:
        running = [seat.first() for seat in self._seats if seat.load()]
        wait(running, return_when=FIRST_COMPLETED)
        return [ended for seat in self._seats for ended in seat.ended()]

    def close(self) -> None:
        """A further Ctrl-C counts when the workers are gone; Python would wait for their work."""
        interruption: BaseException | None = None
        while True:
            try:
                for seat in self._seats:
                    seat.close()
                break
            except (KeyboardInterrupt, SystemExit) as error:
                interruption = error
        if interruption is not None:
            raise interruption


class _Seat:
    """One worker, and the batches that it has in their order."""

    def __init__(self) -> None:
        self._executor: ProcessPoolExecutor | None = None
        self._pid: Future[int] = Future()  # known once the worker has started
        self._false_starts = 0  # one after the other
        self._most_false_starts = RETRIES
        self._batches: deque[tuple[Batch, str, Future[list[Outcome]]]] = deque()

    def room(self) -> bool:
        return len(self._batches) < _AHEAD

    def load(self) -> int:
        return len(self._batches)

    def first(self) -> Future[list[Outcome]]:
        return self._batches[0][2]

    def start(self, batch: Batch, version: str) -> None:
        if self._executor is None:
            self._executor = _executor()
            self._pid = _submit(self._executor, os.getpid)
        future = _submit(self._executor, run_batch, batch.jobs, version)
        self._batches.append((batch, version, future))

    def ended(self) -> list[Ended]:
        """The batches that have ended. After a death the first one is charged, the others move.

        Raises RuntimeError if no worker can start.
        """
        found: list[Ended] = []
        while self._batches and self._batches[0][2].done():
            batch, _, future = self._batches[0]
            error = future.exception()
            if isinstance(error, BrokenProcessPool):
                if self._has_started():
                    self._batches.popleft()
                    death = WorkerDied(f"process {self._pid.result()} ended")
                    found.append(Ended(batch, death))
                self._start_again()
                break
            self._batches.popleft()
            found.append(Ended(batch, error if error is not None else future.result()))
        return found

    def close(self) -> None:
        """End the worker, also while it works."""
        if self._executor is None:
            return
        if self._batches and self._pid.exception() is None:
            with suppress(ProcessLookupError):
                os.kill(self._pid.result(), signal.SIGKILL)
        self._executor.shutdown(wait=True, cancel_futures=True)
        self._executor = None

    def _has_started(self) -> bool:
        if self._pid.exception() is None:
            # It can start here; from now on, only something that goes on killing it prevents that.
            self._false_starts, self._most_false_starts = 0, _FALSE_STARTS
            return True
        self._false_starts += 1
        if self._false_starts > self._most_false_starts:
            raise RuntimeError(
                "the worker processes cannot start; a script must call kvr.campaign under "
                'if __name__ == "__main__"'
            )
        return False

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


def _submit(executor: ProcessPoolExecutor, call: Callable[..., _T], *arguments: Any) -> Future[_T]:
    try:
        with _interrupts_held():
            return executor.submit(call, *arguments)
    except BrokenProcessPool as error:  # it died without work; `ended` sees to the rest
        failed: Future[_T] = Future()
        failed.set_exception(error)
        return failed


@contextmanager
def _interrupts_held() -> Iterator[None]:
    """Keep Ctrl-C from this thread, and from a process that it starts until `_begin` runs there."""
    resource_tracker.ensure_running()  # its start would let Ctrl-C through again
    before = signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGINT})
    try:
        yield
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, before)


def _begin(parent: int) -> None:
    """Runs first in a worker: Ctrl-C is for the parent, and no worker outlives it."""
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    signal.pthread_sigmask(signal.SIG_UNBLOCK, {signal.SIGINT})
    # A look at a large run makes hundreds of thousands of objects, none of them garbage.
    gc.set_threshold(_OBJECTS_UNTIL_COLLECTED)

    def watch() -> None:
        while os.getppid() == parent:
            time.sleep(0.5)
        os._exit(1)

    threading.Thread(target=watch, name="kvr-parent", daemon=True).start()


def processors() -> int:
    return max(len(os.sched_getaffinity(0)), 1)


__all__: Sequence[str] = ("Pool", "processors")
