"""Workers of a distributed cluster that the caller runs: neither started nor ended here."""

from __future__ import annotations

import asyncio
import importlib
import math
import os
import queue
import time
import uuid
import warnings
from contextlib import suppress
from typing import Any, NamedTuple

from kvr._base.packages import need
from kvr._campaign.schedule import RETRIES, Batch, Ended, WorkerDied
from kvr._campaign.work import run_batch, unfitness

_AHEAD = 2  # batches for each thread of the cluster
_LOOK_AGAIN = 2.0  # seconds between two looks at which workers there are
_PATIENCE = (
    10.0  # seconds without a worker after which a warning says so; a cluster may be starting
)


class _Sent(NamedTuple):
    """A batch that the cluster has.

    workers   the addresses of those that may run it, None for all
    attempts  how often it was sent before
    """

    future: Any
    batch: Batch
    version: str
    workers: frozenset[str] | None
    attempts: int


class Cluster:
    """A runner on the workers of `client`, as many as there are at the time.

    The scheduler moves a batch whose worker dies to another one, as often as its setting
    "allowed-failures" says. Batches that are lost with the scheduler are sent again. A worker with
    another version of the program, or without the files, gets no more batches; a warning says so,
    and its batches go to the others.
    Raises TypeError for a client that is asynchronous, ValueError for one that is closed.
    """

    def __init__(self, client: Any) -> None:
        self._distributed = need("distributed", "campaign")
        if getattr(client, "asynchronous", True):
            raise TypeError("client must be a distributed.Client that is not asynchronous")
        if client.status in ("closed", "closing"):
            raise ValueError("client is closed; give one that is connected")
        self._client = client
        self._name = uuid.uuid4().hex
        self._count = 0
        self._running: dict[str, _Sent] = {}
        self._finished: queue.SimpleQueue[tuple[str, Any]] = queue.SimpleQueue()
        self._threads: dict[str, int] = {}  # of each worker that is fit, by its address
        self._unfit: dict[str, str] = {}  # the other workers, and what is wrong with them
        self._looked = 0.0
        self._worked = time.monotonic()  # when there was a worker last; infinite once that was told
        self._error: RuntimeError | None = None  # that ended the campaign
        self.width = 1
        self._look()

    def room(self) -> bool:
        if time.monotonic() - self._looked > _LOOK_AGAIN:
            self._look()
        return len(self._running) < self.width * _AHEAD

    def start(self, batch: Batch, version: str) -> None:
        self._send(batch, version, 0)

    def ended(self) -> list[Ended]:
        """Raises RuntimeError if the scheduler is gone for good, or if no worker is fit."""
        found: list[Ended] = []
        # All that is there: their results get onto the disk together.
        while not found or not self._finished.empty():
            try:
                ended = self._next()
            except RuntimeError:
                if not found:
                    raise
                break  # what has ended counts; the next call raises it again
            if ended is not None:
                found.append(ended)
        return found

    def _next(self) -> Ended | None:
        """The batch that ended next; None if none did for a while, or if it was sent again."""
        if self._error is not None:
            raise self._error
        try:
            self._require_scheduler()
            key, result = self._finished.get(timeout=_LOOK_AGAIN)
            sent = self._running.pop(key)
            status = sent.future.status
            _release(sent.future)
            return self._ended(sent, status, result)
        except queue.Empty:
            self._look()
            return None
        except RuntimeError as error:
            self._error = error
            raise

    def close(self) -> None:
        """Let go of what is running; the cluster goes on."""
        for sent in self._running.values():
            _release(sent.future)
        self._running.clear()

    # ---- What goes out ----

    def _send(self, batch: Batch, version: str, attempts: int) -> None:
        # Work is sent by name: the same text could have run before, with other files.
        self._count += 1
        key = f"kvr-campaign-{self._name}-{self._count}"
        workers = frozenset(self._threads) if self._unfit else None
        self._require_scheduler()
        future = self._client.submit(
            run_batch, batch.jobs, version, key=key, pure=False,
            workers=None if workers is None else sorted(workers),
        )  # fmt: skip
        self._running[key] = _Sent(future, batch, version, workers, attempts)
        self._client.loop.add_callback(self._follow, key, future)

    async def _follow(self, key: str, future: Any) -> None:
        """Runs in the client's thread."""
        try:
            result = await future.result()
        except (Exception, asyncio.CancelledError) as error:
            result = error
        self._finished.put((key, result))

    def _require_scheduler(self) -> None:
        if self._client.status in ("closed", "closing"):
            raise RuntimeError(
                "the scheduler is gone or the client was closed; "
                "start the campaign again with its results"
            )

    # ---- What comes back ----

    def _ended(self, sent: _Sent, status: str, result: Any) -> Ended | None:
        """What became of a batch; None if it was sent again."""
        if not isinstance(result, BaseException):
            unseen = [one.unseen for one in result if os.path.exists(one.unseen)]
            if not unseen or not self._find_unfit(sent, unseen):
                return Ended(sent.batch, result)
        elif isinstance(result, importlib.import_module("distributed.scheduler").KilledWorker):
            return Ended(sent.batch, _death(sent.batch, result))
        elif status == "error" and not self._find_unfit(sent, []) and sent.attempts >= RETRIES:
            return Ended(sent.batch, result)
        # Lost with the scheduler or on the way, or run by a worker that is no longer used.
        self._send(sent.batch, sent.version, sent.attempts + 1)
        return None

    # ---- Which workers there are ----

    def _look(self) -> None:
        """Count the workers; once one was found unfit, new ones are examined first."""
        self._looked = time.monotonic()
        if self._client.status != "running":
            return
        with suppress(OSError):
            threads = self._client.nthreads()
            self._unfit = {a: what for a, what in self._unfit.items() if a in threads}
            self._threads = {a: count for a, count in threads.items() if a not in self._unfit}
            self.width = max(sum(self._threads.values()), 1)
        self._tell_of_no_workers()
        self._send_on_what_waits_for_nobody()

    def _tell_of_no_workers(self) -> None:
        if self._threads:
            self._worked = self._looked
        elif self._looked - self._worked > _PATIENCE:
            self._worked = math.inf
            warnings.warn("the cluster has no workers; the campaign waits", RuntimeWarning, 2)

    def _send_on_what_waits_for_nobody(self) -> None:
        """Send batches again whose workers are all gone: no other may take them."""
        for key, sent in list(self._running.items()):
            if sent.workers is not None and not sent.workers & set(self._threads):
                sent.future.cancel()  # comes back as cancelled, and is sent again

    def _find_unfit(self, sent: _Sent, unseen: list[str]) -> bool:
        """Examine the workers; whether one turned out that the batch may have been on.

        Raises RuntimeError if no worker is left.
        """
        try:
            answers = self._client.run(unfitness, sent.version, unseen, on_error="return")
        except OSError:
            return True  # the scheduler is gone; the batch is lost with it
        found = False
        for address, answer in answers.items():
            what = _what_is_wrong(answer)
            if not what:
                continue
            found = found or sent.workers is None or address in sent.workers
            if address not in self._unfit:
                self._unfit[address] = what
                warnings.warn(f"worker {address} is not used: {what}", RuntimeWarning, 2)
        self._look()
        if self._unfit and not self._threads:
            address, what = next(iter(self._unfit.items()))
            raise RuntimeError(f"no worker can be used; worker {address}: {what}")
        return found


def _what_is_wrong(answer: Any) -> str:
    if isinstance(answer, OSError):
        return ""  # it has just gone
    if isinstance(answer, BaseException):
        return f"the package kvr cannot run there: {answer}"
    return str(answer)


def _death(batch: Batch, error: Any) -> WorkerDied:
    worker = getattr(error.last_worker, "address", "unknown")
    # The scheduler has tried this batch several times; a single pair has had its retries.
    charge = RETRIES + 1 if len(batch.jobs) == 1 else 1
    return WorkerDied(f"worker {worker} is gone", charge)


def _release(future: Any) -> None:
    """The scheduler forgets the batch and tells its worker; nothing waits for that."""
    with suppress(Exception):  # the client may be closed
        future.release()
