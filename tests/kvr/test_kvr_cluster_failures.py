"""Campaigns on clusters that lose their scheduler, or that have workers which cannot take part."""

import os
import subprocess
import warnings

import kvr
import pytest
from campaign_files import expected, outcome, write_pairs
from kvr._campaign.cluster import Cluster, _Sent
from kvr._campaign.schedule import Batch
from kvr._campaign.work import Outcome
from kvr._command import campaign as command
from kvr._command.main import main

pytest.importorskip("distributed")
from local_cluster import LocalCluster  # noqa: E402


@pytest.fixture
def cluster(tmp_path):
    (tmp_path / "cluster").mkdir()
    with LocalCluster(tmp_path / "cluster") as running:
        yield running


def test_a_scheduler_that_is_restarted_loses_and_doubles_nothing(cluster, tmp_path):
    pairs = write_pairs(tmp_path, 3000)
    found = []
    for result in kvr.campaign(pairs, client=cluster.client, results=tmp_path / "r.jsonl"):
        found.append(result)
        if len(found) in (500, 1500):
            cluster.restart_scheduler()
    assert outcome(found) == expected(pairs)
    assert len((tmp_path / "r.jsonl").read_text().splitlines()) == len(pairs)


def test_a_scheduler_that_is_gone_ends_the_campaign_which_can_be_started_again(cluster, tmp_path):
    pairs = write_pairs(tmp_path, 1000)
    results = tmp_path / "r.jsonl"
    found = []
    cluster.client._timeout = 3  # seconds that it looks for the scheduler
    with pytest.raises(RuntimeError, match="the scheduler is gone; start the campaign again"):
        for result in kvr.campaign(pairs, client=cluster.client, results=results):
            found.append(result)
            if len(found) == 200:
                cluster.kill_scheduler()
    assert len(found) <= len(results.read_text().splitlines()) < 1000
    assert outcome(kvr.campaign(pairs, jobs=2, results=results)) == expected(pairs)
    assert len(results.read_text().splitlines()) == 1000


# ---- Workers that cannot take part ----


def without_files(cluster, folder):
    """A worker with a file system of its own, in which the folder is empty."""
    mounted = f'mount -t tmpfs none "{folder}" && exec "$@"'
    isolated = ["unshare", "--user", "--map-root-user", "--mount", "sh", "-c", mounted, "sh"]
    if subprocess.run([*isolated, "true"], capture_output=True).returncode:
        pytest.skip("this system does not allow file systems of one's own: unshare --mount")
    cluster.add_worker(before=isolated)
    return f"it does not see {folder}"


def with_another_version(cluster, folder):
    preload = folder.parent / "older.py"
    preload.write_text("from kvr import _kvr\n_kvr.__version__ = '0.0.1'\n")
    cluster.add_worker("--preload", str(preload))
    return "its program is version 0.0.1/.*, the campaign's is "


def without_the_package(cluster, folder):
    environment = {name: text for name, text in os.environ.items() if name != "PYTHONPATH"}
    cluster.add_worker(environment=environment)
    return "the package kvr cannot run there: .*No module named 'kvr'"


UNFIT = [without_files, with_another_version, without_the_package]


@pytest.fixture(scope="module")
def fit_cluster(tmp_path_factory):
    with LocalCluster(tmp_path_factory.mktemp("cluster"), workers=1) as running:
        yield running


@pytest.mark.parametrize("add_unfit", UNFIT)
def test_a_worker_that_cannot_take_part_is_left_out_and_named(fit_cluster, tmp_path, add_unfit):
    folder = tmp_path / "pairs"
    folder.mkdir()
    pairs = write_pairs(folder, 300)
    what = add_unfit(fit_cluster, folder)
    fit_cluster.client.wait_for_workers(2)
    try:
        with pytest.warns(RuntimeWarning, match=f"worker tcp://.* is not used: {what}") as told:
            found = list(kvr.campaign(pairs, client=fit_cluster.client))
    finally:
        fit_cluster.remove_worker()
    assert outcome(found) == expected(pairs)
    assert len([one for one in told if "is not used" in str(one.message)]) == 1


@pytest.mark.parametrize("add_unfit", UNFIT)
def test_without_a_worker_that_can_take_part_the_campaign_ends(fit_cluster, tmp_path, add_unfit):
    folder = tmp_path / "pairs"
    folder.mkdir()
    pairs = write_pairs(folder, 3)
    fit_cluster.remove_worker()
    what = add_unfit(fit_cluster, folder)
    fit_cluster.client.wait_for_workers(1)
    try:
        with warnings.catch_warnings(), pytest.raises(RuntimeError, match=f"no worker.*: {what}"):
            warnings.simplefilter("ignore")
            list(kvr.campaign(pairs, client=fit_cluster.client))
    finally:
        fit_cluster.remove_worker()
        fit_cluster.add_worker()
        fit_cluster.client.wait_for_workers(1)


def test_what_has_ended_counts_when_the_scheduler_is_gone():
    """Two batches are there, the first of them whole; sending the second one again fails."""

    class Client:
        asynchronous, status, loop = False, "running", None

        def nthreads(self):
            return {"tcp://a": 1}

    class Future:
        def __init__(self, status):
            self.status = status

        def release(self):
            pass

    client = Client()
    runner = Cluster(client)
    outcomes = [Outcome(None, "is cut", 0.0)]
    for key, status, result in (("a", "finished", outcomes), ("b", "cancelled", OSError("gone"))):
        runner._running[key] = _Sent(Future(status), Batch([]), "1", None, 0)
        runner._finished.put((key, result))
    ended = runner._ended

    def last_words(sent, status, result):
        client.status = "closed" if status == "finished" else client.status
        return ended(sent, status, result)

    runner._ended = last_words
    assert [one.result for one in runner.ended()] == [outcomes]
    for _ in range(2):
        with pytest.raises(RuntimeError, match="the scheduler is gone"):
            runner.ended()


@pytest.mark.parametrize(
    "address", ["tcp://127.0.0.1:1", "bogus://x", "tcp://", "inproc://x", "tls://a:1"]
)
def test_an_address_without_a_scheduler_is_one_line_that_names_it(
    tmp_path, capsys, monkeypatch, address
):
    monkeypatch.setattr(command, "_CONNECT_SECONDS", 1)
    assert main(["campaign", str(tmp_path), str(tmp_path), "--scheduler", address]) == 2
    out, err = capsys.readouterr()
    assert out == "" and err.count("\n") == 1
    assert err.startswith(f"kvr: {address}: no scheduler was reached there; check the address (")


def test_an_empty_address_is_refused_and_nothing_is_compared(tmp_path, capsys):
    assert main(["campaign", str(tmp_path), str(tmp_path), "--scheduler", ""]) == 2
    assert capsys.readouterr().err == (
        "kvr: --scheduler: the address is empty; name one, such as tcp://10.0.0.1:8786\n"
    )
