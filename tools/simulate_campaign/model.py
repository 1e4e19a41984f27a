"""A discrete-event model of a campaign.

    caller     one queue: makes batches, and takes in their results; each costs it time
    scheduler  one queue: each batch passes it once on its way out and once on its way back
    workers    one batch at a time; a batch first reads its files, then computes
    files      a file system whose bandwidth is shared evenly by the workers that read
    cores      processors that all of this shares; None: each process has its own
    deaths     of a worker at work, at random; the batch is done again, when the worker is back

Batches are cut as `kvr.campaign` does it: for a time, up to a number of pairs, smaller at the end, and
two for each worker at a time. Times are in seconds.
"""

from __future__ import annotations

import heapq
import random
from collections import deque
from collections.abc import Callable
from dataclasses import dataclass, field
from itertools import count


@dataclass(frozen=True)
class Costs:
    """What one campaign on one kind of machine costs.

    start            of a worker, until it takes its first batch
    caller_pair      of a pair in the caller: planned, packed, its result written
    caller_batch     of a batch in the caller: sent, received, the results file on disk
    scheduler_batch  of a batch in the scheduler, both ways; 0 where there is none
    worker_pair      of a pair in the worker beyond its comparison
    worker_batch     of a batch in the worker
    """

    start: float = 0.0
    caller_pair: float = 0.0
    caller_batch: float = 0.0
    scheduler_batch: float = 0.0
    worker_pair: float = 0.0
    worker_batch: float = 0.0


@dataclass(frozen=True)
class Campaign:
    """What is to be done, and with what.

    pairs         how many
    compare       seconds of comparing one
    size          bytes that a worker reads for one
    workers       how many
    bandwidth     of the file system, in bytes a second; 0: reading takes no time
    cores         processors of the one machine; None: as many as processes
    death_every   mean seconds of work between two deaths of a worker; 0: none die
    batch_seconds, most_pairs, ahead
                  how batches are cut, and how many each worker has at most
    """

    pairs: int
    compare: float
    workers: int
    size: float = 0.0
    bandwidth: float = 0.0
    cores: float | None = None
    death_every: float = 0.0
    batch_seconds: float = 0.3
    most_pairs: int = 256
    ahead: int = 2


@dataclass
class Figures:
    """What came of it; busy times as shares of the whole time."""

    seconds: float = 0.0
    batches: int = 0
    deaths: int = 0
    done: int = 0
    caller_busy: float = 0.0
    scheduler_busy: float = 0.0
    workers_busy: float = 0.0


@dataclass
class _Server:
    """Does one thing after the other."""

    queue: deque[tuple[float, Callable[[], None]]] = field(default_factory=deque)
    is_busy: bool = False
    busy: float = 0.0


@dataclass
class _Shared:
    """Does everything at a time, at a rate that is shared evenly: a file system, a few cores.

    `progress` counts what each of its tasks has got since the beginning of time; a task ends when
    that reaches its mark.
    """

    rate: float
    most: float  # that one task gets
    progress: float = 0.0
    at: float = 0.0
    marks: list[tuple[float, int, Callable[[], None]]] = field(default_factory=list)
    version: int = 0

    def speed(self) -> float:
        return min(self.rate / len(self.marks), self.most) if self.marks else 0.0

    def advance(self, now: float) -> None:
        self.progress += (now - self.at) * self.speed()
        self.at = now


class Simulation:
    """One campaign. `run` gives its figures; the same seed gives the same."""

    def __init__(self, campaign: Campaign, costs: Costs, seed: int = 1) -> None:
        self.campaign = campaign
        self.costs = costs
        self.now = 0.0
        self.figures = Figures()
        self._chance = random.Random(seed)
        self._events: list[tuple[float, int, Callable[[], None]]] = []
        self._number = count()
        self._caller, self._scheduler = _Server(), _Server()
        self._files = _Shared(campaign.bandwidth, campaign.bandwidth)
        self._cores = _Shared(campaign.cores or 0.0, 1.0)
        self._left = campaign.pairs  # not yet in a batch
        self._out = 0  # batches between the caller and its results
        self._held = [deque[int]() for _ in range(campaign.workers)]  # pairs of each batch
        self._is_idle = [True] * campaign.workers
        self._loads = [0] * campaign.workers  # batches of each
        # Loads and workers; an entry that is not the worker's load any more is out of date.
        self._least = [(0, worker) for worker in range(campaign.workers)]

    def run(self) -> Figures:
        for worker in range(self.campaign.workers):
            self._is_idle[worker] = False
            self._after(self.costs.start, lambda worker=worker: self._next(worker))
        self._send()
        while self._events:
            self.now, _, action = heapq.heappop(self._events)
            action()
        found = self.figures
        found.seconds = self.now
        if self.now:
            found.caller_busy = self._caller.busy / self.now
            found.scheduler_busy = self._scheduler.busy / self.now
            found.workers_busy /= self.now * self.campaign.workers
        return found

    # ---- The caller ----

    def _send(self) -> None:
        """Make batches as long as there is room for them."""
        while self._left and self._out < self.campaign.workers * self.campaign.ahead:
            pairs = self._batch()
            self._left -= pairs
            self._out += 1
            self.figures.batches += 1
            cost = self.costs.caller_batch / 2 + self.costs.caller_pair / 2 * pairs
            self._serve(self._caller, cost, lambda pairs=pairs: self._schedule(pairs))

    def _batch(self) -> int:
        campaign = self.campaign
        by_time = int(campaign.batch_seconds / max(campaign.compare, 1e-9))
        share = -(-self._left // campaign.workers)
        return max(min(by_time, campaign.most_pairs, share), 1)

    def _receive(self, pairs: int) -> None:
        def received() -> None:
            self._out -= 1
            self.figures.done += pairs
            self._send()

        cost = self.costs.caller_batch / 2 + self.costs.caller_pair / 2 * pairs
        self._serve(self._caller, cost, received)

    # ---- The scheduler ----

    def _schedule(self, pairs: int) -> None:
        def scheduled() -> None:
            worker = self._least_loaded()
            self._load(worker, 1)
            self._held[worker].append(pairs)
            if self._is_idle[worker]:
                self._next(worker)

        self._serve(self._scheduler, self.costs.scheduler_batch / 2, scheduled)

    def _least_loaded(self) -> int:
        while True:
            load, worker = heapq.heappop(self._least)
            if load == self._loads[worker]:
                return worker

    def _load(self, worker: int, change: int) -> None:
        self._loads[worker] += change
        heapq.heappush(self._least, (self._loads[worker], worker))

    # ---- A worker ----

    def _next(self, worker: int) -> None:
        self._is_idle[worker] = not self._held[worker]
        if self._is_idle[worker]:
            return
        pairs = self._held[worker].popleft()
        began = self.now
        compute = pairs * (self.campaign.compare + self.costs.worker_pair)
        compute += self.costs.worker_batch

        def ended() -> None:
            self.figures.workers_busy += self.now - began
            if self._dies(self.now - began):
                self.figures.deaths += 1
                self._held[worker].appendleft(pairs)
                self._after(self.costs.start, lambda: self._next(worker))
                return
            self._load(worker, -1)
            self._serve(
                self._scheduler, self.costs.scheduler_batch / 2, lambda: self._receive(pairs)
            )
            self._next(worker)

        self._read(pairs * self.campaign.size, lambda: self._compute(compute, ended))

    def _dies(self, seconds: float) -> bool:
        """Whether a worker died in these seconds of work, which are then lost."""
        every = self.campaign.death_every
        return bool(every) and self._chance.expovariate(1 / every) < seconds

    def _read(self, size: float, then: Callable[[], None]) -> None:
        if size and self.campaign.bandwidth:
            self._share(self._files, size, then)
        else:
            then()

    def _compute(self, seconds: float, then: Callable[[], None]) -> None:
        if self.campaign.cores is None:
            self._after(seconds, then)
        else:
            self._share(self._cores, seconds, then)

    # ---- Time ----

    def _after(self, seconds: float, action: Callable[[], None]) -> None:
        heapq.heappush(self._events, (self.now + seconds, next(self._number), action))

    def _serve(self, server: _Server, cost: float, then: Callable[[], None]) -> None:
        server.queue.append((cost, then))
        if not server.is_busy:
            self._begin(server)

    def _begin(self, server: _Server) -> None:
        server.is_busy = bool(server.queue)
        if not server.is_busy:
            return
        cost, then = server.queue.popleft()
        server.busy += cost

        def ended() -> None:
            then()
            self._begin(server)

        # The caller and the scheduler need a core as well; nothing that costs nothing does.
        self._compute(cost, ended) if cost else self._after(0.0, ended)

    def _share(self, shared: _Shared, amount: float, then: Callable[[], None]) -> None:
        shared.advance(self.now)
        heapq.heappush(shared.marks, (shared.progress + amount, next(self._number), then))
        self._expect(shared)

    def _expect(self, shared: _Shared) -> None:
        """Plan the end of the task that ends next; earlier plans no longer hold."""
        shared.version += 1
        if not shared.marks:
            return
        version = shared.version
        wait = max(shared.marks[0][0] - shared.progress, 0.0) / shared.speed()

        def ended() -> None:
            if shared.version != version:
                return
            shared.advance(self.now)
            mark, _, then = heapq.heappop(shared.marks)
            shared.progress = mark
            self._expect(shared)
            then()

        self._after(wait, ended)


def simulate(campaign: Campaign, costs: Costs, seed: int = 1) -> Figures:
    """The figures of a campaign. A campaign without pairs takes no time."""
    if not campaign.pairs:
        return Figures()
    return Simulation(campaign, costs, seed).run()
