"""Campaigns on a cluster: a scheduler and workers as processes of their own."""

import os
import signal
import subprocess
import sys
import time
from pathlib import Path

import kvr
import pytest
from campaign_files import expected, facts, outcome, write_pairs

distributed = pytest.importorskip("distributed")


class LocalCluster:
    """A scheduler and two workers on this machine, and a client."""

    def __init__(self, folder):
        self.folder = folder
        self.port = "0"
        self.file = folder / "scheduler.json"
        self.scheduler = self._start_scheduler()
        self.workers = [self._worker(number) for number in range(2)]
        self.client = distributed.Client(scheduler_file=str(self.file))
        self.client.wait_for_workers(2)

    def _process(self, name, *arguments):
        log = open(self.folder / f"{name}.log", "ab")
        command = [sys.executable, "-m", f"distributed.cli.{name.split('-')[0]}", *arguments]
        return subprocess.Popen(command, stdout=log, stderr=log)

    def _start_scheduler(self):
        scheduler = self._process(
            "dask_scheduler", "--host", "127.0.0.1", "--port", self.port, "--no-dashboard",
            "--scheduler-file", str(self.file),
        )  # fmt: skip
        while not self.file.exists():
            assert scheduler.poll() is None
            time.sleep(0.05)
        return scheduler

    def _worker(self, number):
        return self._process(
            f"dask_worker-{number}", "--nthreads", "1", "--no-dashboard", "--host", "127.0.0.1",
            "--local-directory", str(self.folder), "--scheduler-file", str(self.file),
        )  # fmt: skip

    def kill_a_worker(self, number):
        """Kill the process that computes; the one that watches over it starts another."""
        watcher = self.workers[number].pid
        for pid in Path(f"/proc/{watcher}/task/{watcher}/children").read_text().split():
            if "spawn_main" in Path(f"/proc/{pid}/cmdline").read_text():
                os.kill(int(pid), signal.SIGKILL)

    def close(self):
        self.client.close()
        for process in (*self.workers, self.scheduler):
            process.terminate()
        for process in (*self.workers, self.scheduler):
            process.wait(30)


@pytest.fixture(scope="module")
def cluster(tmp_path_factory):
    running = LocalCluster(tmp_path_factory.mktemp("cluster"))
    yield running
    running.close()


def test_a_cluster_gives_the_verdicts_of_one_process(cluster, tmp_path):
    pairs = write_pairs(tmp_path, 50)
    assert outcome(kvr.campaign(pairs, client=cluster.client)) == expected(pairs)


def test_a_cluster_and_processes_write_the_same_results(cluster, tmp_path):
    pairs = write_pairs(tmp_path, 20)
    on_cluster = kvr.campaign(pairs, client=cluster.client, results=tmp_path / "results.jsonl")
    given = facts(on_cluster)
    assert facts(kvr.campaign(pairs, jobs=2)) == given
    assert facts(kvr.campaign(pairs, jobs=2, results=tmp_path / "results.jsonl")) == given


def test_killed_workers_lose_and_double_nothing(cluster, tmp_path):
    pairs = write_pairs(tmp_path, 600)
    found = []
    for result in kvr.campaign(pairs, client=cluster.client):
        found.append(result)
        if len(found) % 150 == 0:
            cluster.kill_a_worker(len(found) // 150 % 2)
    assert outcome(found) == expected(pairs)


def test_the_cluster_goes_on_after_a_campaign_that_is_left(cluster, tmp_path):
    running = kvr.campaign(write_pairs(tmp_path, 500), client=cluster.client)
    next(running)
    running.close()
    assert cluster.client.submit(sum, [1, 2]).result() == 3


def test_a_client_that_is_asynchronous_is_refused():
    class Asynchronous:
        asynchronous = True

    with pytest.raises(TypeError, match="not asynchronous"):
        kvr.campaign([], client=Asynchronous())


def test_without_distributed_the_error_names_it(monkeypatch):
    monkeypatch.setitem(sys.modules, "distributed", None)
    with pytest.raises(kvr.MissingPackage, match="distributed"):
        kvr.campaign([], client=object())
