"""Campaigns on a cluster: a scheduler and workers as processes of their own."""

import os
import random
import subprocess
import sys
from pathlib import Path

import kvr
import pytest
from campaign_files import (
    expected,
    facts,
    outcome,
    told_by_campaign,
    told_by_one_process,
    write_damaged_pairs,
    write_pairs,
)
from kvr._campaign.campaign import start
from kvr._campaign.pairs import from_python
from kvr._campaign.reports import ReportFolder

pytest.importorskip("distributed")
from local_cluster import LocalCluster  # noqa: E402


@pytest.fixture(scope="module")
def cluster(tmp_path_factory):
    with LocalCluster(tmp_path_factory.mktemp("cluster")) as running:
        yield running


def test_a_cluster_gives_the_verdicts_of_one_process(cluster, tmp_path):
    pairs = write_pairs(tmp_path, 50)
    assert outcome(kvr.campaign(pairs, client=cluster.client)) == expected(pairs)


def test_a_cluster_and_processes_write_the_same_results(cluster, tmp_path):
    pairs = write_pairs(tmp_path, 20)
    on_cluster = kvr.campaign(pairs, client=cluster.client, results=tmp_path / "results.jsonl")
    given = facts(on_cluster)
    assert facts(kvr.campaign(pairs, jobs=2)) == given
    assert facts(kvr.campaign(pairs, jobs=2, results=tmp_path / "results.jsonl")) == given


def test_damaged_files_get_the_errors_of_one_process(cluster, tmp_path):
    pairs = write_damaged_pairs(tmp_path)[:-1]  # not the huge one: workers have little memory
    assert told_by_campaign(kvr.campaign(pairs, client=cluster.client)) == told_by_one_process(
        pairs
    )


def test_relative_names_hold_for_workers_in_other_folders(cluster, tmp_path, monkeypatch):
    pairs = write_pairs(tmp_path, 3)
    monkeypatch.chdir(tmp_path)
    named = [tuple(map(os.path.basename, pair)) for pair in pairs]
    assert outcome(kvr.campaign(named, client=cluster.client)) == expected(named)


def test_workers_killed_at_random_lose_and_double_nothing(cluster, tmp_path):
    kills = 200 if os.environ.get("KVR_LONG_TESTS") else 6
    pairs = write_pairs(tmp_path, 200 * kills)
    chance = random.Random(1)
    found, killed = [], 0
    for result in kvr.campaign(pairs, client=cluster.client):
        found.append(result)
        if len(found) >= 200 * killed and killed < kills:
            killed += cluster.kill_a_worker(chance.randrange(2))
    assert killed == kills
    assert outcome(found) == expected(pairs)


def test_the_lines_of_the_readme_run(cluster, tmp_path):
    readme = (Path(__file__).parents[2] / "README.md").read_text(encoding="utf-8")
    section = readme[readme.index("## When one machine is not enough") :]
    lines = section[section.index("```sh") + 6 : section.index("```\n", section.index("```sh") + 6)]
    lines = lines.replace("tcp://10.0.0.1:8786", cluster.address).splitlines()
    assert len(lines) == 2 and cluster.address in lines[1]
    for folder in ("baselines", "today"):
        (tmp_path / folder).mkdir()
    pairs = write_pairs(tmp_path, 6)
    rows = ["baseline,other"]
    for baseline, other in pairs:
        name = os.path.basename(baseline)
        os.rename(baseline, tmp_path / "baselines" / name)
        os.rename(other, tmp_path / "today" / name)
        rows.append(f"baselines/{name},today/{name}")
    (tmp_path / "pairs.csv").write_text("\n".join(rows))
    (tmp_path / "kvr").write_text(f'#!/bin/sh\nexec {sys.executable} -m kvr "$@"\n')
    (tmp_path / "kvr").chmod(0o755)
    environment = {**os.environ, "PATH": f"{tmp_path}:{os.environ['PATH']}"}
    for line in lines:
        done = subprocess.run(
            line, shell=True, cwd=tmp_path, env=environment, capture_output=True, text=True
        )
        assert done.returncode == 1, done.stderr  # two of the pairs differ
        assert done.stdout.startswith("6 pairs: passed 4, differs 2;")
    # The options of the two differ, and with them the results.
    assert len((tmp_path / "today.jsonl").read_text().splitlines()) == 12


def test_workers_of_a_cluster_write_the_reports(cluster, tmp_path):
    pairs = write_pairs(tmp_path, 9)
    folder = ReportFolder(tmp_path / "html")
    found = list(start(from_python(pairs), {}, client=cluster.client, reports=folder))
    assert [bool(result.report) for result in found] == [not result.passed for result in found]
    assert len(os.listdir(tmp_path / "html" / "pairs")) == 3


def test_the_cluster_goes_on_after_a_campaign_that_is_left(cluster, tmp_path):
    running = kvr.campaign(write_pairs(tmp_path, 500), client=cluster.client)
    next(running)
    running.close()
    assert cluster.client.submit(sum, [1, 2]).result() == 3


def test_a_worker_with_many_threads_gives_the_same(cluster, tmp_path):
    pairs = [pair for pair in write_damaged_pairs(tmp_path)[:-1] if "good" in pair[1]] * 20
    cluster.add_worker(threads=4)
    cluster.client.wait_for_workers(3)
    try:
        found = told_by_campaign(kvr.campaign(pairs, client=cluster.client))
    finally:
        cluster.remove_worker()
    assert found == told_by_one_process(pairs)


def test_a_client_that_is_asynchronous_is_refused():
    class Asynchronous:
        asynchronous = True

    with pytest.raises(TypeError, match="not asynchronous"):
        kvr.campaign([], client=Asynchronous())


def test_without_distributed_the_error_names_it(monkeypatch):
    monkeypatch.setitem(sys.modules, "distributed", None)
    with pytest.raises(kvr.MissingPackage, match="distributed"):
        kvr.campaign([], client=object())
