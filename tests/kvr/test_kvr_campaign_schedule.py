"""What goes out together and what comes back, with a runner in this process."""

import os
from pathlib import Path

import kvr
import pytest
from campaign_files import expected, outcome, write_pairs
from kvr._campaign import campaign, schedule, work
from kvr._campaign.pairs import from_python


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


def test_a_worker_stops_after_two_seconds_but_not_before_its_first_job(tmp_path, monkeypatch):
    pairs = write_pairs(tmp_path, 4)
    jobs = [work.Job(number, *pair, {}) for number, pair in enumerate(pairs)]
    seconds = iter([0.0, 1.9, 2.1])  # at the beginning, before the second and the third
    monkeypatch.setattr(work.time, "monotonic", lambda: next(seconds))
    assert len(work.run_batch(jobs, work.program_version())) == 2


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
