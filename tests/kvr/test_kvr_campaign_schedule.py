"""What goes out together and what comes back, with a runner in this process."""

import os
import threading
from pathlib import Path

import kvr
import pytest
from campaign_files import expected, outcome, write_pairs
from kvr._campaign import campaign, kept, schedule, work
from kvr._campaign.pairs import from_python
from kvr._files import opening


class InProcess:
    """Runs each batch when its result is wanted. `run` may be replaced."""

    width = 1

    def __init__(self, run=work.run_batch):
        self.run = run
        self.batches = []
        self.waiting = []

    def room(self):
        return len(self.waiting) < 2

    def start(self, batch, version):
        self.waiting.append((batch, version))

    def ended(self):
        batch, version = self.waiting.pop(0)
        self.batches.append(batch.jobs)
        return [schedule.Ended(batch, self.run(batch.jobs, version))]

    def close(self):
        pass


@pytest.fixture
def run_on(monkeypatch):
    def run(runner, pairs, **options):
        monkeypatch.setattr(campaign, "Pool", lambda jobs: runner)
        return list(campaign.start(from_python(pairs), options))

    return run


def test_jobs_that_a_worker_hands_back_are_compared_later(run_on, tmp_path, monkeypatch):
    pairs = write_pairs(tmp_path, 30)
    monkeypatch.setattr(work, "_ENOUGH", 0)
    runner = InProcess()
    assert outcome(run_on(runner, pairs)) == expected(pairs)
    assert len(runner.batches) == 30 and max(map(len, runner.batches)) > 1


def test_a_worker_stops_after_eight_seconds_but_not_before_its_first_job(tmp_path, monkeypatch):
    pairs = write_pairs(tmp_path, 4)
    jobs = [work.Job(number, *pair, {}) for number, pair in enumerate(pairs)]
    seconds = iter([0.0, 7.9, 8.1])  # at the beginning, before the second and the third
    monkeypatch.setattr(work.time, "monotonic", lambda: next(seconds))
    assert len(work.run_batch(jobs, work.program_version())) == 2


@pytest.mark.parametrize(("workers", "seconds"), [(1, 0.3), (50, 0.3), (200, 0.8), (9999, 4)])
def test_batches_are_longer_for_more_workers(workers, seconds):
    assert schedule.batch_seconds(workers) == pytest.approx(seconds)


def test_a_file_that_changes_between_two_parts_is_told(run_on, tmp_path, monkeypatch):
    paths = [str(tmp_path / name) for name in ("base.kvr", "other.kvr")]
    made = kvr.Store().new_run("Monday")
    for number in range(4):
        made.add(f"s{number}", [1.0, 2.0], time=[0.0, 1.0])
    for path in paths:
        made.save(path)
    monkeypatch.setattr(schedule, "_FIRST_RATE", 1.0)  # so slow that any file is large

    def changing(jobs, version):
        found = work.run_batch(jobs, version)
        os.utime(paths[1], (1e9, 1e9))
        return found

    (result,) = run_on(InProcess(changing), [paths])
    assert result.error == f"{paths[1]}: changed while it was read; compare it again"
    whole = run_on(InProcess(), [paths])[0]
    assert whole.passed and whole.counts["within"] == 4


def test_relative_names_hold_for_workers_in_other_folders(run_on, tmp_path, monkeypatch):
    ((baseline, other),) = write_pairs(tmp_path, 1)
    named = os.path.basename(baseline), f"{os.path.basename(other)}#other0"

    def elsewhere(jobs, version):
        with monkeypatch.context() as patch:
            patch.chdir("/")
            return work.run_batch(jobs, version)

    monkeypatch.chdir(tmp_path)
    (result,) = run_on(InProcess(elsewhere), [named])
    assert (result.error, result.pair, result.counts["out"]) == (None, named, 1)


def test_a_file_that_vanishes_after_it_was_planned_is_told(run_on, tmp_path):
    pairs = write_pairs(tmp_path, 2)

    def late(jobs, version):
        Path(pairs[0][1]).unlink(missing_ok=True)
        return work.run_batch(jobs, version)

    gone, kept = sorted(run_on(InProcess(late), pairs), key=lambda result: result.pair)
    assert gone.error == f"{pairs[0][1]}: there is no such file; check the name"
    assert kept.passed


def test_parts_of_a_pair_share_what_is_opened_and_paired(run_on, tmp_path, monkeypatch):
    paths = [str(tmp_path / name) for name in ("base.kvr", "other.kvr")]
    for path, last in zip(paths, (2.0, 3.0)):
        made = kvr.Store().new_run("Monday")
        for number in range(8):
            made.add(f"s{number}", [1.0, last if number == 5 else 2.0], time=[0.0, 1.0])
        made.save(path)
    monkeypatch.setattr(schedule, "_FIRST_RATE", 1.0)  # so slow that any file is large
    opened = []
    open_run = opening.open_run
    monkeypatch.setattr(opening, "open_run", lambda side: opened.append(side) or open_run(side))
    runner = InProcess()
    (result,) = run_on(runner, [paths])
    assert sum(map(len, runner.batches)) == 4 and opened == paths
    assert [failure.label for failure in result.comparison.failed] == ["s5"]
    (only,) = run_on(runner, [paths], only=("s1", "s2"))
    assert only.passed and only.counts["within"] == 2 and len(opened) == 4
    os.utime(paths[1], (1e9, 1e9))
    run_on(runner, [paths], only=("s1", "s2"))
    assert len(opened) == 6


@pytest.mark.parametrize(("count", "jobs"), [(1, 4), (2, 8), (3, 3)])
def test_fewer_pairs_than_workers_are_cut_into_smaller_parts(
    run_on, tmp_path, monkeypatch, count, jobs
):
    """Otherwise a pair of less than two seconds kept one worker busy, and the others idle."""
    pairs = []
    for pair in range(count):
        made = kvr.Store().new_run("Monday")
        for number in range(8):
            made.add(f"s{number}", [1.0, 2.0], time=[0.0, 1.0])
        made.save(tmp_path / f"{pair}.kvr")
        pairs.append((str(tmp_path / f"{pair}.kvr"), str(tmp_path / f"{pair}.kvr")))
    # Each takes a second.
    weight = 2 * os.path.getsize(pairs[0][0]) + schedule._OPENING
    monkeypatch.setattr(schedule, "_FIRST_RATE", float(weight))
    runner = InProcess()
    runner.width = 3
    found = run_on(runner, pairs)
    assert [result.counts["within"] for result in found] == [8] * count
    assert sum(map(len, runner.batches)) == jobs


def test_what_is_kept_open_is_let_go_after_some_seconds(monkeypatch):
    gone = threading.Event()
    monkeypatch.setattr(kept, "_SECONDS", 0.01)
    held = kept.Kept()
    monkeypatch.setattr(held, "clear", lambda: (kept.Kept.clear(held), gone.set()))
    held.keep("a", "opened")
    assert gone.wait(60)
    assert held.take("a") is None


def test_two_threads_do_not_share_what_is_kept_open():
    held = kept.Kept()
    held.keep("a", "opened")
    assert held.take("a") == "opened"
    assert held.take("a") is None  # the first one has it
    held.keep("a", "opened")
    assert held.take("b") is None
    assert held.take("a") is None  # another pair came in between
    held.clear()
