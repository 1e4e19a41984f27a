"""The model of campaigns: textbook answers, and the tables of docs/scaling.md."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

ROOT = Path(__file__).parents[2]
TOOL = ROOT / "tools" / "simulate_campaign"
sys.path.insert(0, str(TOOL))

from model import Campaign, Costs, simulate  # noqa: E402

FREE = Costs()


def test_one_worker_takes_the_sum():
    found = simulate(Campaign(pairs=1000, compare=0.01, workers=1), FREE)
    assert found.seconds == pytest.approx(10)
    assert found.done == 1000 and found.workers_busy == pytest.approx(1)


def test_workers_share_equal_pairs_evenly():
    found = simulate(Campaign(pairs=1000, compare=0.01, workers=4, most_pairs=1), FREE)
    assert found.seconds == pytest.approx(2.5)
    assert found.batches == 1000


def test_a_worker_starts_once():
    found = simulate(Campaign(pairs=100, compare=0.01, workers=1), Costs(start=3))
    assert found.seconds == pytest.approx(4)


def test_a_caller_that_takes_longer_than_the_workers_decides():
    """It works 2 ms on each pair; 50 workers would take 0.2 ms."""
    found = simulate(Campaign(pairs=5000, compare=0.01, workers=50), Costs(caller_pair=0.002))
    assert found.seconds == pytest.approx(10, rel=0.05)
    assert found.caller_busy == pytest.approx(1, rel=0.05)


def test_a_scheduler_hands_on_so_many_batches_a_second():
    """1,000 batches of one pair, 10 ms each in the scheduler: 10 s, however many workers there are."""
    campaign = Campaign(pairs=1000, compare=0.5, workers=100, batch_seconds=0.5)
    found = simulate(campaign, Costs(scheduler_batch=0.01))
    assert found.batches == 1000
    assert found.seconds == pytest.approx(10, rel=0.1)
    assert found.scheduler_busy == pytest.approx(1, rel=0.1)


def test_a_file_system_gives_all_readers_its_bandwidth_together():
    """100 pairs of 10 MB at 100 MB/s: 10 s, with one worker and with 20 that compute nothing."""
    for workers in (1, 20):
        campaign = Campaign(100, 0.0, workers, size=1e7, bandwidth=1e8, most_pairs=1)
        assert simulate(campaign, FREE).seconds == pytest.approx(10)


def test_reading_and_computing_follow_each_other_in_one_worker():
    campaign = Campaign(100, 0.05, 1, size=1e6, bandwidth=1e8)
    assert simulate(campaign, FREE).seconds == pytest.approx(100 * (0.05 + 0.01))


def test_more_workers_than_cores_bring_nothing():
    for workers in (2, 8):
        campaign = Campaign(pairs=1000, compare=0.01, workers=workers, cores=2)
        assert simulate(campaign, FREE).seconds == pytest.approx(5, rel=0.03)


def test_two_workers_on_cores_that_the_caller_needs_as_well():
    """40 s of work and 10 s of the caller on two cores: 25 s, if none waits for another."""
    campaign = Campaign(pairs=4000, compare=0.01, workers=2, cores=2)
    found = simulate(campaign, Costs(caller_pair=0.0025))
    assert found.seconds == pytest.approx(25, rel=0.05)


def test_work_that_is_lost_with_workers_is_done_again():
    """
    A batch takes T = 1 s, workers die each M = 2 s of work, and the next try begins at once: until a
    try succeeds, 1 / exp(-T / M) tries are made.
    """
    campaign = Campaign(20_000, 1.0, 100, batch_seconds=1.0, death_every=2.0)
    found = simulate(campaign, FREE)
    tries = (found.deaths + found.batches) / found.batches
    assert tries == pytest.approx(2.718281828**0.5, rel=0.03)
    assert found.done == 20_000


def test_the_same_seed_gives_the_same():
    campaign = Campaign(5000, 0.1, 10, death_every=5.0)
    assert simulate(campaign, FREE, 3) == simulate(campaign, FREE, 3)
    assert simulate(campaign, FREE, 3) != simulate(campaign, FREE, 4)


def test_no_pairs_take_no_time():
    assert simulate(Campaign(0, 1.0, 3), FREE).seconds == 0


def printed(*arguments):
    command = [sys.executable, TOOL, *arguments]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.rstrip()


def test_the_tables_of_the_page_are_what_the_tool_prints():
    page = (ROOT / "docs" / "scaling.md").read_text(encoding="utf-8")
    begin, end = "<!-- model -->\n", "<!-- /model -->"
    section = page[page.index(begin) + len(begin) : page.index(end)].strip("\n")
    if os.environ.get("KVR_LONG_TESTS"):
        assert section == printed()
    else:
        quick = printed("--quick")
        assert "| pool | 2 |" in quick and section.startswith(quick)
