"""The store as windows see it: what they ask, what they change, and what they are told."""

from __future__ import annotations

import asyncio
import time
from collections.abc import Callable
from contextlib import suppress
from functools import partial
from typing import Any, TypeVar

import vormel

from kvr._reading.signals import Series
from kvr._store.run import Run
from kvr._store.signal import Signal
from kvr._store.store import Store
from kvr._view.blocks import encoded
from kvr._view.comparison import LiveComparison, Made, Plan
from kvr._view.curves import Curve, Curves, Name, Window, reading
from kvr._view.events import Events
from kvr._view.files import ShownFile, states_of
from kvr._view.mirror import Changes, Look, Mirror
from kvr._view.pairs import PairCurves
from kvr._view.problems import Problem, problem_of
from kvr._view.state import patch_of, state_json
from kvr._view.worker import Busy, Worker

_SLICE = 0.02  # seconds of the store's thread for one part of a look at everything
_PAUSE = 1.0  # seconds between two looks while windows listen, ...
_SHARE = 0.05  # ... or more, so that they take at most this share of the time

Result = TypeVar("Result")


class Inspection:
    """Used on the server's loop alone; made there too.

    files   what the runs were loaded from
    plan    what is compared from the beginning
    """

    def __init__(self, files: tuple[ShownFile, ...], plan: Plan | None = None) -> None:
        self._files = files
        self._planned = plan
        self._told_files = states_of(files)
        self._worker = Worker()
        self._mirror = Mirror()
        self._looking = asyncio.Lock()
        self.events = Events()
        self._curves = Curves(self._series)
        self._pairs = PairCurves(self._do, self._mirror, self._curves)
        self._live = LiveComparison(self._worker, lambda: self.revision, self._tell_comparison)

    @property
    def revision(self) -> int:
        """It grows with every change of the store that was seen."""
        return self._mirror.revision

    async def _do(self, job: Callable[[], Result]) -> Result:
        """The job's result, from the store's thread. Windows are told what it came upon."""

        def work() -> tuple[Result, Changes]:
            return job(), self._mirror.take_changes()

        result, changes = await self._worker.run(work)
        self._publish(changes)
        return result

    # ---- Seeing what changed ----

    async def watch(self) -> None:
        """Look at the store and the files again and again while a window listens; never returns."""
        if self._planned is not None:
            self._live.begin(self._planned)
        pause = _PAUSE
        while True:
            await asyncio.sleep(pause)
            if not len(self.events):
                continue
            began = time.monotonic()
            try:
                await self._look()
                await self._look_at_files()
            except Busy:  # the program keeps the store busy: it is looked at later
                pass
            except Exception as error:
                problem_of(error)  # logs it
            pause = max(_PAUSE, (time.monotonic() - began) / _SHARE)

    async def _look(self) -> None:
        """Look at all of the store, a slice at a time: other jobs come in between."""
        async with self._looking:
            look = self._mirror.look()
            while await self._worker.run(partial(_advance, look)):
                pass
            await self._do(lambda: None)

    async def _look_at_files(self) -> list[dict[str, str]]:
        states = await asyncio.to_thread(states_of, self._files)
        if states != self._told_files:
            self._told_files = states
            self.events.tell("files", states, self.revision)
        return states

    def _publish(self, changes: Changes) -> None:
        if not changes:
            return
        self._curves.drop(changes.gone)
        if changes.came_or_went:
            self._pairs.drop()
            self.events.tell("reload", {"revision": changes.revision}, changes.revision)
        else:
            self.events.tell("patch", patch_of(changes), changes.revision)
        self._live.store_changed(changes)

    def _tell_comparison(self, revision: int) -> None:
        self.events.tell("comparison", {"revision": revision}, self.revision)

    # ---- What windows ask ----

    async def state(self) -> bytes:
        """The JSON of all runs and signals, after a look at the store."""
        files = await self._look_at_files()
        await self._look()
        return await self._do(partial(state_json, self._mirror, vormel.__version__, files))

    async def groups(self, by: str, descending: bool) -> list[dict[str, Any]]:
        return await self._do(partial(_groups, by, descending))

    async def curves(self, names: list[Name], texts: list[str], window: Window) -> bytes:
        """A block for each curve, under the name that it was asked by."""
        found = await self._all(names)

        def draw() -> bytes:
            return encoded(curve.block(text, window) for text, curve in zip(texts, found))

        return await asyncio.to_thread(draw)

    async def _all(self, names: list[Name]) -> list[Curve]:
        # Curves that are kept are of this store only if it was not cleared.
        ids = sorted({name.signal for name in names})
        await self._do(lambda: [self._mirror.signal(number) for number in ids])
        return [await self._curves.curve(name) for name in names]

    async def readings(self, names: list[Name], at: list[float]) -> list[list[Any]]:
        """For each curve the sample in force at each of the times."""
        ids = sorted({name.signal for name in names})
        found = await self._do(lambda: {number: self._read(number) for number in ids})
        curves = [
            await self._curves.curve(name) if found[name.signal].values.dtype.kind != "U" else None
            for name in names
        ]
        return [
            [reading(found[name.signal], name, curve, time) for time in at]
            for name, curve in zip(names, curves)
        ]

    async def _series(self, number: int) -> Series:
        return await self._do(lambda: self._read(number))

    def _read(self, number: int) -> Series:
        return self._mirror.signal(number)._series()

    # ---- What windows change ----

    async def change_signals(self, ids: list[int], change: Callable[[Signal], None]) -> int:
        """Change these signals, none if one of them is gone; returns the revision."""

        def work() -> None:
            for signal in [self._mirror.signal(number) for number in ids]:
                change(signal)
            self._mirror.look_at(ids)

        await self._do(work)
        return self.revision

    async def change_run(self, number: int, change: Callable[[Run], None]) -> int:
        def work() -> None:
            change(self._mirror.run(number))
            self._mirror.look_at_run(number)

        await self._do(work)
        return self.revision

    async def copy_run(self, number: int, instance: int | None) -> tuple[int, int]:
        """The id of the copy, and the revision."""
        copy = await self._do(lambda: self._mirror.run(number).copy(instance).id)
        await self._do(lambda: self._mirror.look_at_run(copy))
        return copy, self.revision

    async def remove(self, number: int, *, is_run: bool) -> int:
        def work() -> None:
            if is_run:
                self._mirror.run(number).remove()
            else:
                self._mirror.signal(number).remove()

        await self._do(work)
        await self._do(self._mirror.look_at_runs)
        return self.revision

    # ---- The comparison ----

    async def made(self) -> Made | None:
        """The comparison, when it is made; None if there is none."""
        return await self._live.finished()

    async def compare(self, baseline: int, other: int, options: dict[str, Any]) -> Made:
        runs = await self._do(lambda: (self._mirror.run(baseline), self._mirror.run(other)))
        return await self._live.compare(Plan(*runs, options))

    def drop_comparison(self) -> None:
        self._live.drop()

    async def pair(self, index: int, component: int | None, window: Window) -> bytes:
        made = await self.made()
        if made is None:
            raise Problem(404, "nothing is compared; choose two runs")
        if index >= len(made.comparison):
            raise Problem(409, "the comparison is another one by now; load it again")
        return await self._pairs.answer(made.comparison.verdicts[index], component, window)

    # ---- Files for people ----

    async def write(self, path: str, runs: list[int] | None) -> None:
        """Write these runs, None for all, in the format of the path's ending."""

        def work() -> None:
            chosen = None if runs is None else [self._mirror.run(number) for number in runs]
            Store().save(path, chosen)

        await self._do(work)

    async def name_of(self, run: int) -> str:
        return await self._do(lambda: self._mirror.run(run).name)

    async def write_report(self, path: str) -> None:
        made = await self.made()
        if made is None:
            raise Problem(404, "nothing is compared; choose two runs")
        write: Callable[[str], None] | None = getattr(made.comparison, "to_html", None)
        if write is None:
            raise Problem(501, "reports are not part of this installation")
        await self._do(partial(write, path))

    # ---- The end ----

    def close(self) -> None:
        """Let no window wait: the server is about to end."""
        self.events.end()
        self._live.close()
        self._worker.close()


def _advance(look: Look) -> bool:
    """Take steps for the time of a slice; False at the end."""
    end = time.monotonic() + _SLICE
    while look.step():
        if time.monotonic() > end:
            return True
    return False


def _groups(by: str, descending: bool) -> list[dict[str, Any]]:
    column = Store().columns[by]
    names = column.names(descending)
    groups = []
    for name in names:
        with suppress(KeyError):  # it went meanwhile
            groups.append({"name": name, "ids": [member.id for member in column[name]]})
    return groups
