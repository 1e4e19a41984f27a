"""A cluster for tests: a scheduler and workers as processes of their own."""

import os
import signal
import subprocess
import sys
import time
from contextlib import suppress
from pathlib import Path

import distributed


class LocalCluster:
    """A scheduler, workers on this machine, and a client. The folder is the workers' own."""

    def __init__(self, folder, workers=2):
        self.folder = folder
        self.file = folder / "scheduler.json"
        self.workers = []
        self.scheduler = self._start_scheduler("0")
        self.client = distributed.Client(scheduler_file=str(self.file), timeout=60)
        self.address = self.client.scheduler.address
        for _ in range(workers):
            self.add_worker()
        self.client.wait_for_workers(workers)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def _process(self, name, *arguments, before=(), environment=None):
        command = [*before, sys.executable, "-m", f"distributed.cli.{name}", *arguments]
        with open(self.folder / f"{name}.log", "ab") as log:
            return subprocess.Popen(
                command, stdout=log, stderr=log, cwd=self.folder, env=environment,
                start_new_session=True,
            )  # fmt: skip

    def _start_scheduler(self, port):
        self.file.unlink(missing_ok=True)
        scheduler = self._process(
            "dask_scheduler", "--host", "127.0.0.1", "--port", port, "--no-dashboard",
            "--scheduler-file", str(self.file),
        )  # fmt: skip
        while not self.file.exists():
            assert scheduler.poll() is None, (self.folder / "dask_scheduler.log").read_text()
            time.sleep(0.02)
        return scheduler

    def add_worker(self, *arguments, threads=1, before=(), environment=None):
        self.workers.append(
            self._process(
                "dask_worker", "--nthreads", str(threads), "--no-dashboard", "--host", "127.0.0.1",
                "--local-directory", str(self.folder), "--scheduler-file", str(self.file),
                *arguments, before=before, environment=environment,
            )  # fmt: skip
        )

    def remove_worker(self, number=-1):
        _end(self.workers.pop(number))

    def kill_a_worker(self, number):
        """Kill the process that computes; the one that watches over it starts another."""
        watcher = self.workers[number].pid
        for pid in _children(watcher):
            if b"spawn_main" in Path(f"/proc/{pid}/cmdline").read_bytes():
                os.kill(pid, signal.SIGKILL)
                return True
        return False

    def kill_scheduler(self):
        _end(self.scheduler)

    def restart_scheduler(self):
        """Another scheduler at the same address, as after a crash; and workers for it."""
        self.kill_scheduler()
        self.scheduler = self._start_scheduler(self.address.rpartition(":")[2])
        count = len(self.workers)
        while self.workers:
            self.remove_worker()
        for _ in range(count):
            self.add_worker()

    def close(self):
        with suppress(TimeoutError):  # the scheduler may be gone
            self.client.close(timeout=10)
        for process in (*self.workers, self.scheduler):
            _end(process)


def _children(pid):
    """Of all its threads."""
    lists = [path.read_text() for path in Path(f"/proc/{pid}/task").glob("*/children")]
    return [int(child) for text in lists for child in text.split()]


def _end(process):
    """Kill a process that leads a session, with all processes of that session."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait(30)
