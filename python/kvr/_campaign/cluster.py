"""Workers of a distributed cluster that the caller runs: neither started nor ended here."""

from __future__ import annotations

import importlib
import time
import uuid
from contextlib import suppress
from typing import Any

from kvr._base.packages import need
from kvr._campaign.schedule import RETRIES, Batch, Ended, WorkerDied
from kvr._campaign.work import run_batch

_AHEAD = 2  # batches for each thread of the cluster
_LOOK_AGAIN = 2.0  # seconds between two looks at how large the cluster is


class Cluster:
    """A runner on the workers of `client`, as many as there are at the time.

    The scheduler moves a batch whose worker dies to another one, as often as its setting
    "allowed-failures" says. Batches that are lost with the scheduler are sent again.
    Raises TypeError for a client that is asynchronous.
    """

    def __init__(self, client: Any) -> None:
        self._distributed = need("distributed", "campaign")
        if getattr(client, "asynchronous", True):
            raise TypeError("client must be a distributed.Client that is not asynchronous")
        self._client = client
        self._name = uuid.uuid4().hex
        self._running: dict[str, tuple[Any, Batch, str]] = {}
        self._completed = self._distributed.as_completed(
            loop=client.loop, with_results=True, raise_errors=False
        )
        self._count = 0
        self._looked = 0.0
        self.width = 1
        self._look()

    def room(self) -> bool:
        if time.monotonic() - self._looked > _LOOK_AGAIN:
            self._look()
        return len(self._running) < self.width * _AHEAD

    def start(self, batch: Batch, version: str) -> None:
        # Work is sent by name: the same text could have run before, with other files.
        self._count += 1
        key = f"kvr-campaign-{self._name}-{self._count}"
        future = self._client.submit(run_batch, batch.jobs, version, key=key, pure=False)
        self._running[key] = future, batch, version
        self._completed.add(future)

    def ended(self) -> list[Ended]:
        found: list[Ended] = []
        while not found:
            future, result = next(self._completed)
            _, batch, version = self._running.pop(future.key)
            status = future.status
            future.release()
            if status == "finished":
                found.append(Ended(batch, result))
            elif status == "cancelled":
                self._send_again(batch, version)
            else:
                found.append(Ended(batch, self._what_happened(batch, result)))
        return found

    def close(self) -> None:
        """Cancel what is running; the cluster goes on."""
        futures = [future for future, _, _ in self._running.values()]
        self._running.clear()
        with suppress(Exception):  # the scheduler may be gone
            self._client.cancel(futures)

    def _look(self) -> None:
        with suppress(OSError):
            self.width = max(sum(self._client.nthreads().values()), 1)
        self._looked = time.monotonic()

    def _send_again(self, batch: Batch, version: str) -> None:
        """Raises RuntimeError if there is no scheduler any more."""
        if self._client.status in ("closed", "closing"):
            raise RuntimeError("the scheduler is gone; start the campaign again with its results")
        self.start(batch, version)

    def _what_happened(self, batch: Batch, result: Any) -> BaseException:
        error: BaseException = result[1] if isinstance(result, tuple) else result
        killed = importlib.import_module("distributed.scheduler").KilledWorker
        if isinstance(error, killed):
            worker = getattr(error.last_worker, "address", "unknown")
            # The scheduler has tried this batch several times; a single pair has had its retries.
            charge = RETRIES + 1 if len(batch.jobs) == 1 else 1
            return WorkerDied(f"worker {worker} is gone", charge)
        return error
